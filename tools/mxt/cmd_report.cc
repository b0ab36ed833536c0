// mxt report: a support bundle. One .tar.gz with the versions, the JSON of
// every reading command of the table run over the whole inventory (every
// adapter, controller, port and remote port it addresses), the
// configuration files, and the emulator's topology when emulated.
#include <archive.h>
#include <archive_entry.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "table.h"

namespace mxt {

namespace {

// Files larger than this are the wrong file.
constexpr off_t max_file = 16 << 20;

struct member {
	std::string name, content;
};

struct bundle {
	std::vector<member> members;
	doc skipped = doc::array(); // files not taken, and why
	doc failed = doc::array();  // commands that failed, with their error

	void add(const std::string &name, const std::string &content) { members.push_back({name, content}); }
	void add_json(const std::string &name, const doc &d) { add(name, d.dump(2, ' ', false, doc::error_handler_t::replace) + "\n"); }
};

// A file read as it is, never through a symbolic link: the link itself is
// refused, and only a regular file of sane size is taken.
bool read_plain(const std::string &path, std::string *out, std::string *why)
{
	int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
	if (fd < 0) {
		*why = errno == ELOOP ? "a symbolic link, not followed" : strerror(errno);
		return false;
	}
	struct stat st;
	if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size > max_file) {
		*why = !S_ISREG(st.st_mode) ? "not a regular file" : "larger than 16 MiB";
		close(fd);
		return false;
	}
	out->clear();
	char buf[65536];
	for (ssize_t n; (n = read(fd, buf, sizeof buf)) != 0;) {
		if (n < 0 && errno == EINTR)
			continue;
		if (n < 0 || (off_t)(out->size() + (size_t)n) > max_file) {
			*why = n < 0 ? strerror(errno) : "grew past 16 MiB while read";
			close(fd);
			return false;
		}
		out->append(buf, (size_t)n);
	}
	close(fd);
	return true;
}

void add_file(bundle &b, const std::string &path, const std::string &name)
{
	std::string text, why;
	if (read_plain(path, &text, &why))
		b.add(name, text);
	else
		b.skipped.push_back({{"path", path}, {"reason", why}});
}

// ---- the commands over the inventory ----------------------------------------------

using args = std::map<std::string, std::string>;

// The ports of a side: "A/P" of every port whose controller of that side exists.
std::vector<std::string> ports_of(side s)
{
	std::vector<std::string> out;
	for (unsigned a = 1; a <= qorl_adapter_get_count(); a++) {
		qorl_adapter_t *ad = qorl_adapter_open_idx((int)a);
		for (int p = 0; ad && p < ad->port_count; p++) {
			qorl_t *q = s == side::any   ? qorl_adapter_get_ioc(ad, p)
				    : s == side::eth ? qorl_adapter_get_ethioc(ad, p)
						     : qorl_adapter_get_fcioc(ad, p);
			if (q && on_side(q, s))
				out.push_back(std::to_string(a) + "/" + std::to_string(p));
		}
	}
	return out;
}

// The remote port WWNs behind an FC port address; none when they cannot be read.
std::vector<std::string> rports_of(const std::string &ap)
{
	const int a = std::atoi(ap.c_str()), p = std::atoi(ap.c_str() + ap.find('/') + 1);
	qorl_adapter_t *ad = qorl_adapter_open_idx(a);
	qorl_t *q = ad ? qorl_adapter_get_fcioc(ad, p) : nullptr;
	std::vector<std::string> out;
	if (!q)
		return out;
	try {
		for (wwn_t w : rport_wwns(q, "port " + ap, base_lport(q, "port " + ap)))
			out.push_back(wwn_text(w));
	} catch (const failure &) {
	}
	return out;
}

// Every argument set a row can be run with over the inventory: its
// addresses enumerated, options left to their defaults. None for a row that
// needs a value the inventory cannot give (a name, a speed, ...).
std::vector<args> argument_sets(const command &cmd)
{
	std::vector<args> sets = {{}};
	for (const param &p : cmd.params) {
		if (!required(p))
			continue;
		std::vector<args> next;
		for (const args &s : sets) {
			std::vector<std::string> values;
			switch (p.type) {
			case arg::adapter:
				for (unsigned a = 1; a <= qorl_adapter_get_count(); a++)
					values.push_back(std::to_string(a));
				break;
			case arg::controller:
				for (int i = 0; i < qorl_ioc_get_num(); i++)
					if (qorl_t *q = qorl_ioc_open_idx(i); q && on_side(q, cmd.needs))
						values.push_back(std::to_string(i));
				break;
			case arg::port:
				values = ports_of(cmd.needs);
				break;
			case arg::wwn:
				for (const param &o : cmd.params)
					if (o.type == arg::port && s.count(o.name))
						values = rports_of(s.at(o.name));
				break;
			default:
				return {};
			}
			for (const std::string &v : values) {
				args more = s;
				more[p.name] = v;
				next.push_back(more);
			}
		}
		sets = next;
	}
	return sets;
}

// "commands/rport-show_1-0_5025a340103a7c00.json"
std::string member_name(const command &cmd, const args &a)
{
	std::string n = "commands/" + std::string(cmd.path);
	for (char &ch : n)
		if (ch == ' ')
			ch = '-';
	for (const param &p : cmd.params)
		if (auto v = a.find(p.name); v != a.end()) {
			n += "_";
			for (char ch : v->second)
				if (ch != ':')
					n += ch == '/' ? '-' : ch;
		}
	return n + ".json";
}

void add_commands(bundle &b, const command &self)
{
	// The configuration as the library renders it repeats the file's lines:
	// not when the file is a link to somewhere else.
	struct stat st;
	const std::string cfg = qorl_get_cfg_path();
	const bool cfg_linked = lstat(cfg.c_str(), &st) == 0 && S_ISLNK(st.st_mode);
	for (const command &cmd : commands()) {
		if (cmd.does != effect::reads || &cmd == &self)
			continue;
		if (cmd.run == config_show && cfg_linked) {
			b.skipped.push_back({{"path", cfg + " (mxt config show)"}, {"reason", "a symbolic link, not followed"}});
			continue;
		}
		std::map<std::string, bool> flags;
		for (const param &p : cmd.params)
			if (p.type == arg::flag)
				flags[p.name] = p.in_report;
		for (const args &a : argument_sets(cmd)) {
			const std::string name = member_name(cmd, a);
			doc out;
			try {
				out = collect(cmd, a, flags);
			} catch (const failure &f) {
				out = error_doc(f);
				b.failed.push_back({{"member", name}, {"error", out["error"]}});
			}
			if (!out.is_discarded())
				b.add_json(name, out);
		}
	}
}

// ---- versions and the emulator ------------------------------------------------------

std::string utc(time_t t, const char *format)
{
	struct tm tm;
	gmtime_r(&t, &tm);
	char s[40];
	strftime(s, sizeof s, format, &tm);
	return s;
}

std::string host_name()
{
	char h[HOST_NAME_MAX + 1] = {};
	if (gethostname(h, sizeof h - 1) != 0 || !h[0])
		return "host";
	return h;
}

// The emulator's library, when this process runs under it.
using default_topology_fn = const char *(*)();
default_topology_fn emulator()
{
	return reinterpret_cast<default_topology_fn>(dlsym(RTLD_DEFAULT, "qorsim_default_topology"));
}

doc versions(time_t now)
{
	doc v;
	v["mxt"] = QORL_VERSION;
	Dl_info info{};
	char real[PATH_MAX];
	v["library"] = dladdr(reinterpret_cast<void *>(&qorl_libinit), &info) && info.dli_fname &&
				       realpath(info.dli_fname, real)
			       ? doc(real)
			       : doc();
	struct utsname u;
	v["kernel"] = uname(&u) == 0 ? doc(std::string(u.sysname) + " " + u.release + " " + u.version + " " + u.machine)
				     : doc();
	v["host"] = host_name();
	v["time"] = utc(now, "%Y-%m-%dT%H:%M:%SZ");
	doc drivers = doc::array();
	for (int i = 0; i < qorl_ioc_get_num(); i++) {
		qorl_t *q = qorl_ioc_open_idx(i);
		qor_ioc_attr_t a;
		if (!q || qorl_ioc_get_attr(q, &a) != QOR_STATUS_OK)
			continue;
		doc d = {{"id", i}};
		d.update(driver_doc(a.driver_attr));
		d["optrom_ver"] = field(a.adapter_attr.optrom_ver);
		drivers.push_back(d);
	}
	v["controllers"] = drivers;
	const char *root = getenv("QORSIM_ROOT"), *topo = getenv("QORSIM_TOPOLOGY");
	v["emulated"] = emulator() ? doc{{"root", root ? doc(root) : doc()}, {"topology", topo ? doc(topo) : doc()}}
				   : doc();
	return v;
}

void add_emulator(bundle &b)
{
	default_topology_fn builtin = emulator();
	if (!builtin)
		return;
	const char *topo = getenv("QORSIM_TOPOLOGY");
	if (topo && *topo)
		add_file(b, topo, "emulator/topology.json");
	else if (const char *text = builtin())
		b.add("emulator/topology.json", text);
}

// ---- the archive -----------------------------------------------------------------------

void write_archive(int fd, const std::string &path, const std::string &top, const bundle &b, time_t now)
{
	archive *a = archive_write_new();
	auto check_ar = [&](int rc, const char *what) {
		if (rc < ARCHIVE_WARN) {
			std::string err = archive_error_string(a) ? archive_error_string(a) : "unknown error";
			archive_write_free(a);
			fail(std::string("writing ") + path + ": " + what + ": " + err +
			     "; check the space left on its file system");
		}
	};
	check_ar(archive_write_add_filter_gzip(a), "gzip");
	check_ar(archive_write_set_format_pax_restricted(a), "tar format");
	check_ar(archive_write_open_fd(a, fd), "open");
	for (const member &m : b.members) {
		archive_entry *e = archive_entry_new();
		archive_entry_set_pathname(e, (top + "/" + m.name).c_str());
		archive_entry_set_size(e, (la_int64_t)m.content.size());
		archive_entry_set_filetype(e, AE_IFREG);
		archive_entry_set_perm(e, 0644);
		archive_entry_set_mtime(e, now, 0);
		int rc = archive_write_header(a, e);
		archive_entry_free(e);
		check_ar(rc, "member header");
		if (!m.content.empty() && archive_write_data(a, m.content.data(), m.content.size()) < 0)
			check_ar(ARCHIVE_FATAL, "member data");
	}
	check_ar(archive_write_close(a), "close");
	archive_write_free(a);
}

// The name a bundle's members live under: the file name without .tar.gz.
std::string top_dir(const std::string &path)
{
	std::string base = path.substr(path.rfind('/') == std::string::npos ? 0 : path.rfind('/') + 1);
	for (const char *ext : {".tar.gz", ".tgz"}) {
		const size_t n = strlen(ext);
		if (base.size() > n && base.compare(base.size() - n, n, ext) == 0)
			return base.substr(0, base.size() - n);
	}
	return base.empty() ? "qorl-report" : base;
}

// Every command runs in the JSON form while the bundle is made.
struct json_form {
	bool was = opts().json;
	json_form() { opts().json = true; }
	~json_form() { opts().json = was; }
};

} // namespace

doc report(call &c)
{
	const time_t now = time(nullptr);
	std::string path = c.words.count("--output,-o") ? c.words["--output,-o"] : "";
	if (path.empty())
		path = "qorl-report-" + host_name() + "-" + utc(now, "%Y%m%dT%H%M%SZ") + ".tar.gz";
	bundle b;
	{
		json_form form;
		b.add_json("versions.json", versions(now));
		add_commands(b, c.cmd);
	}
	add_file(b, qorl_get_cfg_path(), "files/qor.conf");
	add_file(b, "/etc/hba.conf", "files/hba.conf");
	add_emulator(b);
	doc manifest;
	manifest["members"] = doc::array();
	for (const member &m : b.members)
		manifest["members"].push_back(m.name);
	manifest["skipped"] = b.skipped;
	manifest["failed"] = b.failed;
	b.add_json("manifest.json", manifest);
	const std::string top = top_dir(path);
	replace_file_with(path, [&](int fd) { write_archive(fd, path, top, b, now); });
	for (const doc &s : b.skipped)
		if (s["reason"] != strerror(ENOENT))
			fprintf(stderr, "mxt: note: %s was left out of the bundle: %s\n", s["path"].get<std::string>().c_str(),
			s["reason"].get<std::string>().c_str());
	return {{"path", path}, {"members", b.members.size()}, {"skipped", b.skipped.size()}, {"failed", b.failed.size()}};
}

} // namespace mxt
