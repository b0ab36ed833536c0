// The cards' flash: partition table, the contents of a fresh card, the
// versions its images carry, faults, and the file under the root that keeps
// a card's flash across runs.
#include "flash_image.h"
#include "sim.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <cstdio>
#include <cstring>
#include <set>

#include "defs/qor_defs_card.h"
#include "defs/qor_defs_flash.h"

namespace qorsim {

namespace {

struct PartRow {
	uint32_t type;
	const char *name;
	bool per_port;
	uint32_t size;
};

// The partition table of every card, in flash order; "cfg" and "portcfg"
// have one instance per port.
constexpr PartRow kParts[] = {
	{QOR_FLASH_PART_OPTROM, "optrom", false, 256u << 10},  {QOR_FLASH_PART_FWIMG, "fw", false, 512u << 10},
	{QOR_FLASH_PART_FWCFG, "cfg", true, 16u << 10},        {QOR_FLASH_PART_BOOT, "boot", false, 64u << 10},
	{QOR_FLASH_PART_ASIC, "asic", false, 16u << 10},       {QOR_FLASH_PART_MFG, "mfg", false, 4u << 10},
	{QOR_FLASH_PART_OPTROM2, "optrom2", false, 256u << 10}, {QOR_FLASH_PART_VPD, "vpd", false, 4u << 10},
	{QOR_FLASH_PART_PBC, "pbc", false, 16u << 10},         {QOR_FLASH_PART_BOOTOVL, "bootovl", false, 64u << 10},
	{QOR_FLASH_PART_LOG, "log", false, 64u << 10},         {QOR_FLASH_PART_PXECFG, "pxecfg", false, 16u << 10},
	{QOR_FLASH_PART_PXEOVL, "pxeovl", false, 128u << 10},  {QOR_FLASH_PART_PORTCFG, "portcfg", true, 16u << 10},
};

std::vector<uint8_t> filler(size_t n, uint8_t seed)
{
	std::vector<uint8_t> b(n);
	for (size_t i = 0; i < n; i++)
		b[i] = static_cast<uint8_t>(i * 31 + seed);
	return b;
}

int ports_of(const Model &m, const Adapter &a)
{
	std::set<int> ports;
	for (int k : a.fns)
		ports.insert(m.fns[k].port);
	return ports.empty() ? 1 : static_cast<int>(ports.size());
}

std::vector<uint8_t> mfg_block(const Model &m, const Adapter &a)
{
	qor_mfg_block_t b{};
	b.version = QOR_MFG_BLOCK_VERSION;
	std::memcpy(b.mfg_sig, "MFG", 3);
	b.mfgsize = sizeof b;
	std::memcpy(b.vlox_serialnum, a.serial.data(), std::min(a.serial.size(), sizeof b.vlox_serialnum));
	std::memcpy(b.vlox_partnum, a.attr.model, strnlen(a.attr.model, sizeof b.vlox_partnum));
	for (int k : a.fns)
		if (const Function &f = m.fns[k]; f.drv == QORSIM_DRV_FC) {
			b.mfg_wwn = f.factory_pwwn;
			break;
		}
	if (!a.fns.empty())
		b.mfg_mac = m.fns[a.fns[0]].factory_mac;
	b.num_wwn = ports_of(m, a) == 1 ? 1 : 2;
	const uint32_t ct = a.attr.card_type;
	const uint8_t be[4] = {static_cast<uint8_t>(ct >> 24), static_cast<uint8_t>(ct >> 16),
			       static_cast<uint8_t>(ct >> 8), static_cast<uint8_t>(ct)};
	std::memcpy(&b.mfg_type, be, 4);
	const auto *p = reinterpret_cast<const uint8_t *>(&b);
	return std::vector<uint8_t>(p, p + sizeof b);
}

// What a card carries when it leaves the factory.
std::vector<uint8_t> fresh_contents(const Model &m, const Adapter &a, uint32_t type, uint32_t instance)
{
	switch (type) {
	case QOR_FLASH_PART_OPTROM: {
		auto rom = image::optrom(a.attr.optrom_ver, a.pci.device_id);
		image::swap_words(rom);
		return rom;
	}
	case QOR_FLASH_PART_FWIMG:
		return image::firmware(a.driver[0].fw_ver);
	case QOR_FLASH_PART_FWCFG:
		return filler(1024, static_cast<uint8_t>(3 + instance));
	case QOR_FLASH_PART_BOOT:
		return filler(8192, 5);
	case QOR_FLASH_PART_ASIC:
		return filler(2048, 6);
	case QOR_FLASH_PART_MFG:
		return mfg_block(m, a);
	case QOR_FLASH_PART_PBC:
		return filler(512, 10);
	case QOR_FLASH_PART_PORTCFG:
		return filler(256, static_cast<uint8_t>(15 + instance));
	default:
		return {};
	}
}

// ---- the file under the root ----------------------------------------------------------

constexpr size_t kVpdImage = sizeof qor_mfg_vpd_t{}.data;

constexpr char kMagic[8] = {'Q', 'X', 'F', 'L', 'A', 'S', 'H', '1'};
constexpr size_t kFileMax = 64u << 20;

// Where the card's flash is kept under the root; false without a root.
bool flash_file(const Adapter &a, std::string &path)
{
	std::string name;
	for (char c : a.serial)
		name += isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '.' ? c : '_';
	return root_path(("/var/lib/qorsim/flash-" + name + ".bin").c_str(), path);
}

void put_u32(std::string &out, uint32_t v)
{
	out.append(reinterpret_cast<const char *>(&v), 4);
}

bool get_u32(const std::string &in, size_t &at, uint32_t &v)
{
	if (in.size() - at < 4)
		return false;
	std::memcpy(&v, in.data() + at, 4);
	at += 4;
	return true;
}

// Contents saved by an earlier run: the magic, the option ROM switch, then
// (type, instance, length, bytes) per partition. A partition the file lacks
// keeps its fresh contents; a damaged file is not used at all.
bool load_file(const std::string &path, Flash &f)
{
	const std::string in = read_raw(path, kFileMax);
	if (in.empty())
		return false;
	size_t at = sizeof kMagic;
	uint32_t on, n;
	if (in.size() < at || std::memcmp(in.data(), kMagic, sizeof kMagic) != 0 || !get_u32(in, at, on) ||
	    !get_u32(in, at, n) || n > f.parts.size()) {
		fprintf(stderr, "qorsim: %s is not a flash file; the card keeps its fresh contents\n", path.c_str());
		return false;
	}
	std::vector<std::pair<FlashPart *, std::vector<uint8_t>>> got;
	for (uint32_t i = 0; i < n; i++) {
		uint32_t type, inst, len;
		if (!get_u32(in, at, type) || !get_u32(in, at, inst) || !get_u32(in, at, len) || in.size() - at < len) {
			fprintf(stderr, "qorsim: %s is cut short; the card keeps its fresh contents\n", path.c_str());
			return false;
		}
		FlashPart *p = flash_part(f, type, inst);
		if (p && len <= p->size)
			got.emplace_back(p, std::vector<uint8_t>(in.begin() + static_cast<long>(at),
								     in.begin() + static_cast<long>(at + len)));
		at += len;
	}
	for (auto &[p, data] : got)
		p->data = std::move(data);
	f.optrom_on = on != 0;
	return true;
}

bool make_dirs(const std::string &dir)
{
	for (size_t i = 1; i <= dir.size(); i++) {
		if (i < dir.size() && dir[i] != '/')
			continue;
		const std::string d = dir.substr(0, i);
		if (syscall(SYS_mkdirat, AT_FDCWD, d.c_str(), 0755) != 0 && errno != EEXIST)
			return false;
	}
	return true;
}

bool write_all(int fd, const std::string &s)
{
	for (size_t done = 0; done < s.size();) {
		long w = syscall(SYS_write, fd, s.data() + done, s.size() - done);
		if (w < 0 && errno == EINTR)
			continue;
		if (w <= 0)
			return false;
		done += static_cast<size_t>(w);
	}
	return true;
}

} // namespace

bool flash_type_by_name(const std::string &name, uint32_t &type)
{
	for (const auto &r : kParts)
		if (name == r.name) {
			type = r.type;
			return true;
		}
	return false;
}

FlashPart *flash_part(Flash &f, uint32_t type, uint32_t instance)
{
	for (auto &p : f.parts)
		if (p.type == type && p.instance == instance)
			return &p;
	return nullptr;
}

Flash &flash_of(Model &m, Adapter &a)
{
	Flash &f = a.flash;
	if (f.ready)
		return f;
	f.ready = true;
	const int ports = ports_of(m, a);
	uint32_t off = 0;
	for (const auto &r : kParts)
		for (int i = 0; i < (r.per_port ? ports : 1); i++) {
			FlashPart p;
			p.type = r.type;
			p.instance = static_cast<uint32_t>(i);
			p.off = off;
			p.size = f.room.count(r.type) ? f.room[r.type] : r.size;
			p.data = fresh_contents(m, a, r.type, p.instance);
			if (p.data.size() > p.size)
				p.data.resize(p.size);
			off += p.size;
			f.parts.push_back(std::move(p));
		}
	std::string path;
	if (flash_file(a, path))
		(void)load_file(path, f);
	return f;
}

void flash_save(const Adapter &a)
{
	std::string path;
	if (!a.flash.ready || !flash_file(a, path))
		return;
	std::string out(kMagic, sizeof kMagic);
	put_u32(out, a.flash.optrom_on ? 1 : 0);
	put_u32(out, static_cast<uint32_t>(a.flash.parts.size()));
	for (const auto &p : a.flash.parts) {
		put_u32(out, p.type);
		put_u32(out, p.instance);
		put_u32(out, static_cast<uint32_t>(p.data.size()));
		out.append(p.data.begin(), p.data.end());
	}
	// Replaced whole: a reader sees the old file or the new one.
	const std::string tmp = path + ".tmp." + std::to_string(getpid());
	if (!make_dirs(path.substr(0, path.rfind('/'))))
		return;
	int fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
	if (fd < 0)
		return;
	bool ok = write_all(fd, out);
	ok = syscall(SYS_close, fd) == 0 && ok;
	if (!ok || syscall(SYS_renameat, AT_FDCWD, tmp.c_str(), AT_FDCWD, path.c_str()) != 0) {
		syscall(SYS_unlinkat, AT_FDCWD, tmp.c_str(), 0);
		fprintf(stderr, "qorsim: cannot save the flash of card %s to %s\n", a.serial.c_str(), path.c_str());
	}
}

void flash_attr(Model &m, Adapter &a, qor_ioc_attr_t &at)
{
	Flash &f = flash_of(m, a);
	if (const FlashPart *p = flash_part(f, QOR_FLASH_PART_FWIMG, 0)) {
		const std::string v = image::firmware_version(p->data);
		if (!v.empty()) {
			put_text(at.adapter_attr.fw_ver, v);
			put_text(at.driver_attr.fw_ver, v);
		}
	}
	if (const FlashPart *p = flash_part(f, QOR_FLASH_PART_OPTROM, 0)) {
		const std::string v = image::optrom_version(p->data);
		if (!v.empty()) {
			put_text(at.adapter_attr.optrom_ver, v);
			put_text(at.driver_attr.bios_ver, v);
		}
	}
	// A whole PCI VPD image in flash is reported as such (version 3).
	const FlashPart *vp = flash_part(f, QOR_FLASH_PART_VPD, 0);
	qor_mfg_vpd_t &vpd = at.adapter_attr.vpd;
	if (vp && vp->data.size() == kVpdImage) {
		vpd.version = 3;
		vpd.len = 0xff;
		memcpy(vpd.data, vp->data.data(), sizeof vpd.data);
		uint8_t sum = 0;
		for (unsigned i = 0; i < vpd.len; i++)
			sum = static_cast<uint8_t>(sum + vpd.data[i]);
		vpd.chksum = sum;
	}
}

FlashFault *flash_fault(Flash &f, int kind, uint32_t type, uint32_t instance)
{
	for (auto &x : f.faults) {
		if (x.kind != kind || x.remaining == 0 || (x.type && x.type != type) ||
		    (x.instance >= 0 && static_cast<uint32_t>(x.instance) != instance))
			continue;
		return fault_hit(x);
	}
	return nullptr;
}

namespace {
std::mutex g_hold_mu;
std::condition_variable g_hold_cv;
bool g_hold;
int g_held;
} // namespace

void flash_hold_wait()
{
	std::unique_lock lk(g_hold_mu);
	g_held++;
	g_hold_cv.wait(lk, [] { return !g_hold; });
	g_held--;
}

} // namespace qorsim

#pragma GCC visibility push(default)
extern "C" {

void qorsim_flash_hold(int on)
{
	{
		std::lock_guard lk(qorsim::g_hold_mu);
		qorsim::g_hold = on != 0;
	}
	qorsim::g_hold_cv.notify_all();
}

int qorsim_flash_held(void)
{
	std::lock_guard lk(qorsim::g_hold_mu);
	return qorsim::g_held;
}

} // extern "C"
#pragma GCC visibility pop
