// mxt flash and mxt boot: an adapter's flash partitions, boot image
// packages, and the boot update of one adapter or all with its progress.
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iostream>

#include "defs/qor_defs_card.h"
#include "qorl_adapter.h"
#include "qorl_boot.h"
#include "qorl_flash.h"
#include "qorl_ioc.h"
#include "qorl_state.h"
#include "table.h"

namespace mxt {

namespace {

// "fw:0", as the partition arguments take it back.
std::string part_word(uint32_t type, uint32_t instance)
{
	return std::string(qorl_flash_part_type_to_string((qor_flash_part_type_t)type)) + ":" + std::to_string(instance);
}

std::string part_word(const call &c)
{
	return part_word(c.part, c.part_instance);
}

// Every function of a card reaches its one flash; the first one is asked.
qorl_t *flash_controller(const call &c)
{
	qorl_t *q = qorl_adapter_get_port(c.adapter);
	if (!q)
		fail(c.where() + " has no controller; 'mxt adapter show " + c.address() + "' shows it");
	return q;
}

qor_flash_attr_t read_flash(qorl_t *q, const call &c)
{
	qor_flash_attr_t a{};
	check(qorl_flash_get_attr(q, &a), "reading the flash partitions of " + c.where());
	if (a.npart > QOR_FLASH_PART_MAX)
		a.npart = QOR_FLASH_PART_MAX;
	return a;
}

// The partition the call names, as the adapter describes it.
qor_flash_part_attr_t named_part(qorl_t *q, const call &c)
{
	qor_flash_attr_t a = read_flash(q, c);
	for (uint32_t i = 0; i < a.npart; i++)
		if (a.part[i].part_type == (uint32_t)c.part && a.part[i].part_instance == c.part_instance)
			return a.part[i];
	fail(c.where() + " has no partition " + part_word(c) + "; 'mxt flash list " + c.address() +
	     "' shows its partitions");
}

const char *model_of(uint32_t card_type)
{
#define MXT_CARD_ROW(code, model, ports, speed, cna, descr) {code, model},
	static constexpr struct {
		uint32_t code;
		const char *model;
	} models[] = {QOR_CARD_TYPE_LIST(MXT_CARD_ROW)};
#undef MXT_CARD_ROW
	for (const auto &m : models)
		if (m.code == card_type)
			return m.model;
	return nullptr;
}

doc name_or_null(const char *name)
{
	return *name ? doc(name) : doc();
}

// A readable file named by the caller, not empty, or a failure that says why not.
void readable(const std::string &path, const std::string &what)
{
	const std::string hint = "; give the path of the " + what;
	struct stat st;
	if (stat(path.c_str(), &st) != 0 || access(path.c_str(), R_OK) != 0)
		fail("cannot read " + what + " " + path + ": " + strerror(errno) + hint);
	if (!S_ISREG(st.st_mode))
		fail(what + " " + path + " is not a regular file" + hint);
	if (st.st_size == 0)
		fail(what + " " + path + " is empty" + hint);
}

} // namespace

doc flash_list(call &c)
{
	qorl_t *q = flash_controller(c);
	qor_flash_attr_t a = read_flash(q, c);
	// The versions the card's images carry, as its attributes report them.
	qor_ioc_attr_t ia{};
	const bool have_versions = qorl_ioc_get_attr(q, &ia) == QOR_STATUS_OK;
	doc rows = doc::array();
	for (uint32_t i = 0; i < a.npart; i++) {
		const qor_flash_part_attr_t &p = a.part[i];
		doc version;
		if (have_versions && p.part_len && p.part_type == QOR_FLASH_PART_FWIMG)
			version = name_or_null(field(ia.adapter_attr.fw_ver).c_str());
		if (have_versions && p.part_len && p.part_type == QOR_FLASH_PART_OPTROM)
			version = name_or_null(field(ia.adapter_attr.optrom_ver).c_str());
		rows.push_back({{"partition", word_value(qorl_flash_part_type_to_string((qor_flash_part_type_t)p.part_type))},
				{"instance", p.part_instance},
				{"offset", p.part_off},
				{"size", p.part_size},
				{"used", p.part_len},
				{"state", word_value(qorl_flash_status_to_string((qor_flash_status_t)p.part_status))},
				{"version", version}});
	}
	return rows;
}

doc flash_read(call &c)
{
	qorl_t *q = flash_controller(c);
	const qor_flash_part_attr_t p = named_part(q, c);
	std::string file = c.words["FILE"];
	// The library renames over whatever is there: a link or a directory would go.
	check_replaceable(file);
	qor_status_t st = qorl_flash_read_part(q, c.part, c.part_instance, file.data(), p.part_size, QOR_TRUE);
	check(st, "reading " + part_word(c) + " of " + c.where() + " to " + file,
	      st == QOR_STATUS_EFOPEN || st == QOR_STATUS_FAILED ? "check that the file's directory exists and is writable"
								  : "");
	struct stat s {};
	stat(file.c_str(), &s);
	return {{"adapter", c.adapter},
		{"partition", qorl_flash_part_type_to_string(c.part)},
		{"instance", c.part_instance},
		{"file", file},
		{"bytes", (uint64_t)s.st_size}};
}

doc flash_write(call &c)
{
	const std::string file = c.words["FILE"];
	readable(file, "image file");
	qorl_t *q = flash_controller(c);
	const qor_flash_part_attr_t p = named_part(q, c);
	qor_status_t st = qorl_flash_update_part(q, c.part, c.part_instance,
						 reinterpret_cast<const unsigned char *>(file.c_str()), QOR_TRUE, 0);
	std::string hint;
	if (st == QOR_STATUS_FLASH_BAD_LEN)
		hint = "the partition holds at most " + std::to_string(p.part_size) + " bytes";
	else if (st == QOR_STATUS_FAILED)
		hint = "the file is empty or changed while it was read, or the partition read back differently; "
		       "'mxt flash read' shows what it holds now";
	else if (st == QOR_STATUS_CHECKSUM_FAIL)
		hint = "nothing was written";
	return c.changed(st, "writing " + file + " to " + part_word(c) + " of " + c.where(), hint);
}

doc flash_erase(call &c)
{
	if (isatty(STDIN_FILENO) && !c.flags["--yes"])
		fail("erasing " + part_word(c) + " of " + c.where() +
		     " cannot be undone; repeat the command with --yes to erase it");
	qorl_t *q = flash_controller(c);
	(void)named_part(q, c);
	return c.changed(qorl_flash_erase_part(q, c.part, c.part_instance), "erasing " + part_word(c) + " of " + c.where());
}

doc flash_optrom(call &c)
{
	qorl_t *q = flash_controller(c);
	const bool on = c.words["MODE"] == "on";
	return c.changed(on ? qorl_flash_enable_optrom(q) : qorl_flash_disable_optrom(q),
			 std::string(on ? "enabling" : "disabling") + " the boot code of " + c.where());
}

namespace {

// The package in the library's tables, loaded and checked, or a failure
// that says what is wrong; the tables are freed with it.
struct loaded_package {
	int image_count = 0, card_count = 0;
	explicit loaded_package(const std::string &path)
	{
		readable(path, "package");
		FILE *f = std::fopen(path.c_str(), "rbe");
		if (!f)
			fail("cannot read package " + path + ": " + strerror(errno));
		qor_status_t st = populate_flash_data(f, &image_count, &card_count);
		std::fclose(f);
		check(st, "reading the boot image package " + path,
		      st == QOR_STATUS_FAILED ? "a card description of its boot.txt cannot be read" : "");
	}
	~loaded_package() { (void)qorl_boot_pkg_free(); }
	loaded_package(const loaded_package &) = delete;
	loaded_package &operator=(const loaded_package &) = delete;
};

} // namespace

doc boot_inspect(call &c)
{
	const std::string path = c.words["PKG"];
	const loaded_package pkg(path);
	doc d;
	d["file"] = path;
	d["version"] = QORL_BOOT_PKG_VERSION;
	doc members = doc::array();
	for (int i = 0; const IMAGEFILE_DATA_T *m = qorl_boot_pkg_image(i); i++)
		members.push_back({{"name", field(m->iname)}, {"size", m->isize}});
	d["members"] = members;
	doc cards = doc::array();
	for (int i = 0; i < pkg.card_count; i++) {
		const CARD_DATA_T &k = *qorl_boot_pkg_card(i);
		const char *model = model_of(k.card_type);
		doc ports = doc::array();
		for (int p = 0; p < k.portcnt; p++)
			ports.push_back(k.port[p]);
		cards.push_back({{"card_type", k.card_type},
				 {"model", model ? doc(model) : doc()},
				 {"firmware", name_or_null(k.firmware_name)},
				 {"optrom", name_or_null(k.option_rom_name)},
				 {"optrom2", name_or_null(k.option_rom_2_name)},
				 {"bootovl", name_or_null(k.boot_overlay_name)},
				 {"pxeovl", name_or_null(k.pxe_overlay_name)},
				 {"fwcfg", name_or_null(k.fw_config_name)},
				 {"ports", ports}});
	}
	d["cards"] = cards;
	// The adapters here, when a driver answers; a package is read without one too.
	doc adapters = doc::array();
	const int n = discover(qor_aen_app_mxt);
	for (int a = 1; a <= n; a++) {
		qorl_t *q = qorl_adapter_get_port(a);
		qor_ioc_attr_t ia{};
		if (!q || qorl_ioc_get_attr(q, &ia) != QOR_STATUS_OK)
			continue;
		bool fits = false;
		for (int i = 0; i < pkg.card_count; i++)
			fits = fits || qorl_boot_pkg_card(i)->card_type == ia.adapter_attr.card_type;
		adapters.push_back({{"adapter", a},
				    {"serial_num", field(ia.adapter_attr.serial_num)},
				    {"card_type", ia.adapter_attr.card_type},
				    {"model_descr", field(ia.adapter_attr.model_descr)},
				    {"fits", fits}});
	}
	d["adapters"] = adapters;
	return d;
}

namespace {

using clock_type = std::chrono::steady_clock;

// The update runs on its own thread; this one shows how it goes.
struct update_run {
	qorl_t *q = nullptr; // null: every adapter
	std::string path;
	uint16_t devid = 0;
	uint16_t mask = 0;
	qor_status_t err[QORL_BOOT_MAX_ADAPTERS] = {};
	qorl_boot_progress_t progress[QORL_BOOT_MAX_ADAPTERS] = {};
	qor_status_t st = QOR_STATUS_FAILED;
};

void *run_update(void *arg)
{
	auto &u = *static_cast<update_run *>(arg);
	u.st = qorl_boot_fwupdate_progress(u.q, u.path.c_str(), u.devid, &u.mask, u.err, u.progress);
	return nullptr;
}

// One adapter of the update, as shown.
struct shown {
	int adapter;
	const qorl_boot_progress_t *live;
	qorl_boot_progress_t now{};
	uint32_t lines_done = 0; // written partitions already printed (plain lines)
	bool finished = false;
	double seconds = 0;
};

std::string kib(uint64_t bytes)
{
	char s[32];
	snprintf(s, sizeof s, "%.1f", bytes / 1024.0);
	return s;
}

std::string bar(const shown &a)
{
	constexpr int width = 24;
	const uint64_t total = a.now.bytes_total ? a.now.bytes_total : 1;
	int fill = (int)(a.now.bytes_done * width / total);
	if (fill > width)
		fill = width;
	char secs[32];
	snprintf(secs, sizeof secs, "%.1f s", a.seconds);
	std::string what = a.now.state == QORL_BOOT_IDLE ? "waiting"
			   : a.finished ? (a.now.status == QOR_STATUS_OK ? "done" : "failed")
			   : a.now.part_type ? "writing " + part_word(a.now.part_type, a.now.part_instance)
					     : "preparing";
	return "adapter " + std::to_string(a.adapter) + " [" + std::string(fill, '#') + std::string(width - fill, '.') +
	       "] " + kib(a.now.bytes_done) + "/" + kib(a.now.bytes_total) + " KiB " + secs + " " + what;
}

// Takes a fresh look at every adapter and shows it: bars redrawn in place on
// a terminal, one plain line per partition written otherwise.
void show(std::vector<shown> &all, bool tty, bool redraw, clock_type::time_point start)
{
	const double elapsed = std::chrono::duration<double>(clock_type::now() - start).count();
	for (auto &a : all) {
		qorl_boot_progress_get(a.live, &a.now);
		if (!a.finished)
			a.seconds = elapsed;
		a.finished = a.now.state == QORL_BOOT_DONE;
	}
	if (tty) {
		if (redraw)
			std::cout << "\033[" << all.size() << "A";
		for (auto &a : all)
			std::cout << "\r\033[2K" << bar(a) << "\n";
		std::cout << std::flush;
		return;
	}
	for (auto &a : all) {
		for (; a.lines_done < a.now.nwritten; a.lines_done++)
			std::cout << "adapter " << a.adapter << ": wrote "
				  << part_word(a.now.written[a.lines_done].type, a.now.written[a.lines_done].instance) << "\n";
	}
	std::cout << std::flush;
}

// What a status means, without its number and name.
std::string meaning(qor_status_t st)
{
	const std::string t = status_text(st);
	const size_t at = t.find("): ");
	return at == std::string::npos ? status_name(st) : t.substr(at + 3);
}

doc written_list(const qorl_boot_progress_t &p)
{
	doc w = doc::array();
	for (uint32_t i = 0; i < p.nwritten; i++)
		w.push_back(part_word(p.written[i].type, p.written[i].instance));
	return w;
}

// The adapter's line in the final table; a failure is also said on stderr,
// with what was written and what to do.
doc result_row(const shown &a, qor_status_t st)
{
	const qorl_boot_progress_t &p = a.now;
	qorl_adapter_t *ad = qorl_adapter_open_idx(a.adapter);
	const bool at_write = st != QOR_STATUS_OK && p.state == QORL_BOOT_DONE && p.part_type;
	doc row = {{"adapter", a.adapter},
		   {"serial_num", ad ? field(ad->serial_num) : std::string()},
		   {"status", (unsigned)st},
		   {"name", status_name(st)},
		   {"result", meaning(st)},
		   {"written", written_list(p)},
		   {"failed_partition", at_write ? doc(part_word(p.part_type, p.part_instance)) : doc()},
		   {"seconds", (double)(long)(a.seconds * 100) / 100}};
	if (st != QOR_STATUS_OK) {
		std::string what = "adapter " + std::to_string(a.adapter) + ": ";
		what += at_write ? "writing " + row["failed_partition"].get<std::string>() + " failed: " : "";
		what += status_text(st);
		if (p.nwritten == 0) {
			what += "; nothing was written";
		} else {
			std::string list;
			for (auto &w : row["written"])
				list += (list.empty() ? "" : ", ") + w.get<std::string>();
			what += "; written: " + list + "; the boot code stays off: update adapter " +
				std::to_string(a.adapter) + " again before it is restarted";
		}
		fprintf(stderr, "mxt: %s\n", what.c_str());
	}
	return row;
}

} // namespace

doc boot_update(call &c)
{
	const bool all = c.flags["--all"];
	if (all == (c.adapter > 0))
		fail("name one adapter or give --all; 'mxt adapter list' shows the adapters");
	update_run u;
	u.path = c.words["PKG"];
	readable(u.path, "package");
	if (!c.words["--devid"].empty())
		u.devid = (uint16_t)std::stoul(c.words["--devid"], nullptr, 16);
	std::vector<shown> view;
	// Refused here rather than by the library, which says so on standard output.
	if (all && qorl_adapter_get_count() > QORL_BOOT_MAX_ADAPTERS)
		fail("boot update --all updates at most " + std::to_string(QORL_BOOT_MAX_ADAPTERS) +
		     " adapters at once and there are " + std::to_string(qorl_adapter_get_count()) +
		     "; update them one at a time (mxt boot update " + u.path + " N)");
	if (all) {
		u.q = nullptr;
		for (unsigned a = 1; a <= qorl_adapter_get_count() && a <= QORL_BOOT_MAX_ADAPTERS; a++)
			view.push_back({(int)a, &u.progress[a - 1]});
	} else {
		u.q = flash_controller(c);
		view.push_back({c.adapter, &u.progress[0]});
	}
	const bool tty = !opts().json && isatty(STDOUT_FILENO);
	const auto start = clock_type::now();
	pthread_t th;
	if (pthread_create(&th, nullptr, run_update, &u) != 0)
		fail("cannot start the update: " + std::string(strerror(errno)));
	for (bool first = true;; first = false) {
		if (!opts().json)
			show(view, tty, !first, start);
		timespec until;
		clock_gettime(CLOCK_REALTIME, &until);
		until.tv_nsec += 100000000;
		if (until.tv_nsec >= 1000000000) {
			until.tv_sec++;
			until.tv_nsec -= 1000000000;
		}
		if (pthread_timedjoin_np(th, nullptr, &until) == 0)
			break;
	}
	if (!opts().json)
		show(view, tty, true, start);
	else
		for (auto &a : view)
			qorl_boot_progress_get(a.live, &a.now);
	// Refused before any adapter was touched: the package, the device ID, a busy update.
	const bool started = all ? u.st == QOR_STATUS_OK : view[0].now.state != QORL_BOOT_IDLE;
	if (!started)
		fail_status("updating " + std::string(all ? "every adapter" : c.where()) + " with " + u.path, u.st,
			    u.st == QOR_STATUS_FAILED && all ? "more than 16 adapters, or the package cannot be read"
							     : "nothing was written");
	doc rows = doc::array();
	for (auto &a : view) {
		qor_status_t st = all ? u.err[a.adapter - 1] : u.st;
		rows.push_back(result_row(a, st));
		if (st != QOR_STATUS_OK)
			opts().exit_code = 1;
	}
	return rows;
}

} // namespace mxt
