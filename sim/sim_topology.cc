// Topology files: JSON text to a hardware model, with validation and
// defaults. The format is documented in docs/topology.md.
#include "sim.h"
#include "san.h"

#include "defs/qor_defs_card.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <set>

namespace qorsim {

namespace {

using nlohmann::json;

struct BadTopology {
	std::string msg;
};

[[noreturn]] void fail(const std::string &path, const std::string &what)
{
	throw BadTopology{(path.empty() ? std::string("topology") : path) + ": " + what};
}

// Checks that every key of an object is known; keys starting with '_' are
// comments.
void check_keys(const json &j, const std::string &path, std::initializer_list<const char *> keys)
{
	if (!j.is_object())
		fail(path, "must be an object");
	for (auto it = j.begin(); it != j.end(); ++it) {
		const std::string &k = it.key();
		if (!k.empty() && k[0] == '_')
			continue;
		bool known = false;
		for (const char *x : keys)
			known = known || k == x;
		if (!known)
			fail(path, "unknown key '" + k + "'");
	}
}

std::string sub(const std::string &path, const std::string &key) { return path + "." + key; }

// Integers may be given as numbers or as text ("0x1d", "42").
int64_t get_int(const json &j, const std::string &path, int64_t lo, int64_t hi)
{
	int64_t v = 0;
	if (j.is_number_integer()) {
		v = j.is_number_unsigned() && j.get<uint64_t>() > INT64_MAX ? INT64_MAX : j.get<int64_t>();
	} else if (j.is_string()) {
		const std::string s = j.get<std::string>();
		char *end = nullptr;
		errno = 0;
		long long x = strtoll(s.c_str(), &end, 0);
		if (s.empty() || *end != '\0' || errno)
			fail(path, "'" + s + "' is not an integer");
		v = x;
	} else {
		fail(path, "must be an integer");
	}
	if (v < lo || v > hi)
		fail(path, "must be between " + std::to_string(lo) + " and " + std::to_string(hi));
	return v;
}

template <class T>
void opt_int(const json &o, const std::string &path, const char *key, T &out, int64_t lo, int64_t hi)
{
	if (o.contains(key))
		out = static_cast<T>(get_int(o[key], sub(path, key), lo, hi));
}

void opt_bool(const json &o, const std::string &path, const char *key, bool &out)
{
	if (!o.contains(key))
		return;
	if (!o[key].is_boolean())
		fail(sub(path, key), "must be true or false");
	out = o[key].get<bool>();
}

// Text that must fit a NUL-terminated field of `room` bytes.
void opt_str(const json &o, const std::string &path, const char *key, std::string &out, size_t room)
{
	if (!o.contains(key))
		return;
	if (!o[key].is_string())
		fail(sub(path, key), "must be a string");
	std::string s = o[key].get<std::string>();
	if (s.size() >= room)
		fail(sub(path, key), "at most " + std::to_string(room - 1) + " characters");
	out = s;
}

// "aa:bb:..." with n hex bytes.
bool parse_hex_bytes(const std::string &s, uint8_t *out, int n)
{
	if (s.size() != static_cast<size_t>(n * 3 - 1))
		return false;
	for (int i = 0; i < n; i++) {
		const char *p = s.c_str() + i * 3;
		if (!isxdigit(static_cast<unsigned char>(p[0])) || !isxdigit(static_cast<unsigned char>(p[1])))
			return false;
		if (i + 1 < n && p[2] != ':')
			return false;
		char hex[3] = {p[0], p[1], 0};
		out[i] = static_cast<uint8_t>(strtoul(hex, nullptr, 16));
	}
	return true;
}

bool opt_wwn(const json &o, const std::string &path, const char *key, wwn_t &out)
{
	if (!o.contains(key))
		return false;
	uint8_t b[8];
	if (!o[key].is_string() || !parse_hex_bytes(o[key].get<std::string>(), b, 8))
		fail(sub(path, key), "must be a WWN like \"20:00:00:11:22:33:44:55\"");
	memcpy(&out, b, 8);
	return true;
}

bool opt_mac(const json &o, const std::string &path, const char *key, mac_t &out)
{
	if (!o.contains(key))
		return false;
	if (!o[key].is_string() || !parse_hex_bytes(o[key].get<std::string>(), out.mac, 6))
		fail(sub(path, key), "must be a MAC address like \"02:11:22:33:44:55\"");
	return true;
}

void opt_reserved(const json &o, const std::string &path, const char *key, json &out, bool array)
{
	if (!o.contains(key))
		return;
	if (array ? !o[key].is_array() : !o[key].is_object())
		fail(sub(path, key), array ? "must be an array" : "must be an object");
	out = o[key];
}

constexpr const char *kStateNames[] = {nullptr,	      "uninit", "reset",     "semwait",
				       "hwinit",      "getattr", "operational", "initfail",
				       "fail",	      "disabling", "disabled", "fwmismatch",
				       "enabling"};

uint32_t get_state(const json &j, const std::string &path)
{
	if (j.is_string()) {
		for (uint32_t i = 1; i < std::size(kStateNames); i++)
			if (j.get<std::string>() == kStateNames[i])
				return i;
		if (j.get<std::string>().find_first_not_of("0123456789") != std::string::npos)
			fail(path, "unknown state '" + j.get<std::string>() +
					   "' (operational, disabled, enabling, disabling, fail, ...)");
	}
	return static_cast<uint32_t>(get_int(j, path, 1, 12));
}

struct Named {
	const char *name;
	int value;
};
#define QORSIM_ERRNO_ROW(e) {#e, e}
constexpr Named kErrnos[] = {
	QORSIM_ERRNO_ROW(EPERM),  QORSIM_ERRNO_ROW(ENOENT), QORSIM_ERRNO_ROW(EINTR),
	QORSIM_ERRNO_ROW(EIO),    QORSIM_ERRNO_ROW(ENXIO),  QORSIM_ERRNO_ROW(EBADF),
	QORSIM_ERRNO_ROW(EAGAIN), QORSIM_ERRNO_ROW(ENOMEM), QORSIM_ERRNO_ROW(EACCES),
	QORSIM_ERRNO_ROW(EFAULT), QORSIM_ERRNO_ROW(EBUSY),  QORSIM_ERRNO_ROW(ENODEV),
	QORSIM_ERRNO_ROW(EINVAL), QORSIM_ERRNO_ROW(EMFILE), QORSIM_ERRNO_ROW(ENOTTY),
	QORSIM_ERRNO_ROW(ENOSPC), QORSIM_ERRNO_ROW(ENOSYS), QORSIM_ERRNO_ROW(ETIMEDOUT),
	QORSIM_ERRNO_ROW(EOPNOTSUPP),
};
#undef QORSIM_ERRNO_ROW

#define QORSIM_STATUS_ROW(name, value) {#name, value},
constexpr Named kStatuses[] = {QOR_STATUS_LIST(QORSIM_STATUS_ROW)};
#undef QORSIM_STATUS_ROW

int get_named(const json &j, const std::string &path, const Named *tab, size_t n, int64_t hi, const char *what)
{
	if (j.is_string()) {
		for (size_t i = 0; i < n; i++)
			if (j.get<std::string>() == tab[i].name)
				return tab[i].value;
		const std::string s = j.get<std::string>();
		if (s.empty() || !isdigit(static_cast<unsigned char>(s[0])))
			fail(path, "unknown " + std::string(what) + " '" + s + "'");
	}
	return static_cast<int>(get_int(j, path, 0, hi));
}

int get_errno(const json &j, const std::string &path)
{
	return get_named(j, path, kErrnos, std::size(kErrnos), 4095, "errno name");
}

int get_driver(const json &j, const std::string &path)
{
	if (j.is_string() && j.get<std::string>() == "fc")
		return QORSIM_DRV_FC;
	if (j.is_string() && j.get<std::string>() == "eth")
		return QORSIM_DRV_ETH;
	fail(path, "must be \"fc\" or \"eth\"");
}

// Stable derived addresses: a locally administered MAC per adapter from a
// hash of its serial number, the PCI function in the last byte.
mac_t derived_mac(const std::string &serial, uint32_t pcifn)
{
	uint32_t h = 2166136261u;
	for (unsigned char c : serial)
		h = (h ^ c) * 16777619u;
	mac_t m{{0x02, static_cast<uint8_t>(h >> 24), static_cast<uint8_t>(h >> 16),
		 static_cast<uint8_t>(h >> 8), static_cast<uint8_t>(h), static_cast<uint8_t>(pcifn)}};
	return m;
}

wwn_t derived_wwn(uint8_t b0, const mac_t &m)
{
	uint8_t b[8] = {b0, 0, m.mac[0], m.mac[1], m.mac[2], m.mac[3], m.mac[4], m.mac[5]};
	wwn_t w;
	memcpy(&w, b, 8);
	return w;
}

void default_fwstats(Function &f)
{
	qor_fw_stats_t &s = f.fwstats;
	s = qor_fw_stats_t{};
	s.ioc_stats.enable_reqs = 1;
	s.ioc_stats.get_attr_reqs = 3;
	s.iocfc_stats.cfg_reqs = 1;
	s.port_stats.fpg_stats.intr_evt = 42;
	s.port_stats.fpg_stats.intr = 40;
	s.port_stats.fpg_stats.sig_regained = 1;
	s.port_stats.physm_stats.module_inserts = 1;
	s.macmod_stats.mac_on = f.drv == QORSIM_DRV_ETH || f.ioc_type == QOR_IOC_TYPE_FCoE ? 1 : 0;
}

void default_iocfc(Function &f)
{
	qor_iocfc_attr_t &a = f.iocfc;
	a = qor_iocfc_attr_t{};
	a.config.fwcfg = {1, 256, 1024, 2000, 128, 0, 0, 64, 64, 4, 100, {}};
	a.config.drvcfg.num_reqq_elems = 256;
	a.config.drvcfg.num_rspq_elems = 64;
	a.config.drvcfg.num_sgpgs = 2048;
	a.config.drvcfg.num_sboot_tgts = 16;
	a.config.drvcfg.num_sboot_luns = 16;
	a.config.drvcfg.path_tov = 30;
	a.intr_attr.coalesce = 1;
	a.intr_attr.delay = 1125;
	a.intr_attr.latency = 225;
}

uint32_t get_status(const json &j, const std::string &path)
{
	return static_cast<uint32_t>(get_named(j, path, kStatuses, std::size(kStatuses), UINT32_MAX, "status"));
}

// A fault's "count": a number, "once" (the default) or "always".
int get_count(const json &jf, const std::string &path)
{
	if (!jf.contains("count"))
		return 1;
	const json &c = jf["count"];
	if (c.is_string() && c.get<std::string>() == "always")
		return QORSIM_ALWAYS;
	if (c.is_string() && c.get<std::string>() == "once")
		return 1;
	return static_cast<int>(get_int(c, sub(path, "count"), 1, INT32_MAX));
}

// This family's models (include/defs/qor_defs_card.h): a known card type
// names its model and description.
struct CardModel {
	uint32_t code;
	const char *model;
	const char *descr;
};
#define QORSIM_CARD_ROW(code, model, ports, speed, cna, descr) {code, model, descr},
constexpr CardModel kCards[] = {QOR_CARD_TYPE_LIST(QORSIM_CARD_ROW)};
#undef QORSIM_CARD_ROW

const CardModel *card_model(uint32_t code)
{
	for (const auto &c : kCards)
		if (c.code == code)
			return &c;
	return nullptr;
}

uint32_t get_part_type(const json &j, const std::string &path)
{
	uint32_t t = 0;
	if (j.is_string() && flash_type_by_name(j.get<std::string>(), t))
		return t;
	if (j.is_string() && !j.get<std::string>().empty() && !isdigit(static_cast<unsigned char>(j.get<std::string>()[0])))
		fail(path, "unknown partition '" + j.get<std::string>() + "' (optrom, fw, cfg, vpd, bootovl, pxeovl, ...)");
	return static_cast<uint32_t>(get_int(j, path, 1, 15));
}

// A card's "flash": partition sizes and the option ROM switch.
void parse_flash(const json &j, const std::string &path, Adapter &a)
{
	check_keys(j, path, {"part_size", "optrom_enabled"});
	if (j.contains("part_size")) {
		const std::string pp = sub(path, "part_size");
		if (!j["part_size"].is_object())
			fail(pp, "must be an object of partition names and sizes");
		for (auto it = j["part_size"].begin(); it != j["part_size"].end(); ++it) {
			uint32_t t = get_part_type(it.key(), pp);
			a.flash.room[t] = static_cast<uint32_t>(get_int(it.value(), sub(pp, it.key()), 0, 64 << 20));
		}
	}
	opt_bool(j, path, "optrom_enabled", a.flash.optrom_on);
}

// {"flash": "write_fail" | "readback_differs" | "erase_timeout", "adapter": N,
//  "part": name, "instance": N, "status": S, "count": N}
void parse_flash_fault(const json &jf, const std::string &path, Model &m)
{
	check_keys(jf, path, {"flash", "adapter", "part", "instance", "status", "count"});
	constexpr Named kinds[] = {{"write_fail", QORSIM_FLASH_WRITE_FAIL},
				   {"readback_differs", QORSIM_FLASH_READBACK_DIFFERS},
				   {"erase_timeout", QORSIM_FLASH_ERASE_TIMEOUT}};
	FlashFault x;
	x.kind = get_named(jf["flash"], sub(path, "flash"), kinds, std::size(kinds), 0, "flash fault");
	if (!jf.contains("adapter"))
		fail(sub(path, "adapter"), "required with \"flash\"");
	const int64_t ai = get_int(jf["adapter"], sub(path, "adapter"), 0, static_cast<int64_t>(m.adapters.size()) - 1);
	if (jf.contains("part"))
		x.type = get_part_type(jf["part"], sub(path, "part"));
	opt_int(jf, path, "instance", x.instance, -1, 255);
	if (jf.contains("status"))
		x.status = get_status(jf["status"], sub(path, "status"));
	x.remaining = get_count(jf, path);
	x.id = m.next_flash_fault++;
	m.adapters[static_cast<size_t>(ai)].flash.faults.push_back(x);
}

void parse_function(const json &jf, const std::string &path, Model &m, int ai, int fi,
		    std::vector<int> &explicit_inst)
{
	check_keys(jf, path,
		   {"type", "port", "pcifn", "instance", "device_id", "hwpath", "pwwn", "nwwn", "factory_pwwn",
		    "factory_nwwn", "mac", "factory_mac", "current_mac", "port_name", "eth_name", "pvid", "state",
		    "transition_ms", "intr", "fcport", "ethport"});
	Adapter &a = m.adapters[ai];
	Function f;
	f.adapter = ai;
	if (!jf.contains("type") || !jf["type"].is_string())
		fail(sub(path, "type"), "required: \"fc\", \"fcoe\" or \"eth\"");
	const std::string type = jf["type"].get<std::string>();
	if (type == "fc")
		f.ioc_type = QOR_IOC_TYPE_FC;
	else if (type == "fcoe")
		f.ioc_type = QOR_IOC_TYPE_FCoE;
	else if (type == "eth")
		f.ioc_type = QOR_IOC_TYPE_LL;
	else
		fail(sub(path, "type"), "unknown function type '" + type + "' (fc, fcoe, eth)");
	f.drv = f.ioc_type == QOR_IOC_TYPE_LL ? QORSIM_DRV_ETH : QORSIM_DRV_FC;

	// Port numbers count per driver on the card unless given.
	int same_side = 0;
	for (int k : a.fns)
		same_side += m.fns[k].drv == f.drv;
	f.port = same_side;
	opt_int(jf, path, "port", f.port, 0, 255);
	f.pcifn = static_cast<uint32_t>(fi);
	opt_int(jf, path, "pcifn", f.pcifn, 0, 255);
	for (int k : a.fns) {
		if (m.fns[k].pcifn == f.pcifn)
			fail(sub(path, "pcifn"), "PCI function " + std::to_string(f.pcifn) + " appears twice on the adapter");
		if (m.fns[k].drv == f.drv && m.fns[k].port == f.port)
			fail(sub(path, "port"), "port " + std::to_string(f.port) + " appears twice for one driver on the adapter");
	}
	int inst = -1;
	opt_int(jf, path, "instance", inst, 0, kMaxInstances - 1);
	explicit_inst.push_back(inst);
	f.device_id = a.device_id;
	opt_int(jf, path, "device_id", f.device_id, 0, 0xffff);
	f.hwpath = a.hwpath + "." + std::to_string(f.pcifn);
	opt_str(jf, path, "hwpath", f.hwpath, 32);
	if (f.hwpath.size() >= 32)
		fail(sub(path, "hwpath"), "derived hardware path is too long; give one of at most 31 characters");

	const mac_t dm = derived_mac(a.serial, f.pcifn);
	if (f.drv == QORSIM_DRV_FC) {
		f.pwwn = derived_wwn(0x20, dm);
		f.nwwn = derived_wwn(0x10, dm);
	}
	opt_wwn(jf, path, "pwwn", f.pwwn);
	opt_wwn(jf, path, "nwwn", f.nwwn);
	f.factory_pwwn = f.pwwn;
	f.factory_nwwn = f.nwwn;
	opt_wwn(jf, path, "factory_pwwn", f.factory_pwwn);
	opt_wwn(jf, path, "factory_nwwn", f.factory_nwwn);
	if (f.ioc_type != QOR_IOC_TYPE_FC)
		f.mac = dm;
	opt_mac(jf, path, "mac", f.mac);
	f.factory_mac = f.mac;
	f.current_mac = f.mac;
	opt_mac(jf, path, "factory_mac", f.factory_mac);
	opt_mac(jf, path, "current_mac", f.current_mac);
	opt_str(jf, path, "port_name", f.port_name, 64);
	if (jf.contains("eth_name"))
		opt_str(jf, path, "eth_name", f.eth_name, 64);
	else
		f.eth_name = "\x01"; // numbered once instances are known
	opt_int(jf, path, "pvid", f.pvid, 0, 4095);
	if (jf.contains("state"))
		f.state = get_state(jf["state"], sub(path, "state"));
	opt_int(jf, path, "transition_ms", f.transition_ms, -1, INT64_MAX / 1000000);
	default_iocfc(f);
	if (jf.contains("intr")) {
		const std::string ip = sub(path, "intr");
		const json &ji = jf["intr"];
		check_keys(ji, ip, {"coalesce", "delay", "latency"});
		bool co = f.iocfc.intr_attr.coalesce;
		opt_bool(ji, ip, "coalesce", co);
		f.iocfc.intr_attr.coalesce = co;
		opt_int(ji, ip, "delay", f.iocfc.intr_attr.delay, 0, 0xffff);
		opt_int(ji, ip, "latency", f.iocfc.intr_attr.latency, 0, 0xffff);
	}
	opt_reserved(jf, path, "fcport", f.port_cfg, false);
	opt_reserved(jf, path, "ethport", f.eth_cfg, false);
	default_fwstats(f);
	f.stats.drv_stats.ioc_boots = 1;
	f.stats.drv_stats.ioc_enables = f.state == QOR_IOC_OPERATIONAL ? 1 : 0;
	f.stats.drv_stats.enable_reqs = f.stats.drv_stats.ioc_enables;
	f.stats.drv_stats.enable_replies = f.stats.drv_stats.ioc_enables;
	f.stats.fw_stats.enable_reqs = f.stats.drv_stats.ioc_enables;
	a.fns.push_back(static_cast<int>(m.fns.size()));
	m.fns.push_back(std::move(f));
}

void parse_adapter(const json &ja, const std::string &path, Model &m, size_t ai, std::vector<int> &explicit_inst)
{
	check_keys(ja, path,
		   {"serial", "model", "model_descr", "manufacturer", "hwpath", "name", "node_symname", "hw_ver",
		    "fw_ver", "optrom_ver", "os_type", "bios_ver", "efi_ver", "ob_ver", "chip_rev", "driver_ver",
		    "card_type", "max_speed", "prototype", "asic_rev", "pcie_gen", "pcie_lanes", "pcie_lanes_orig",
		    "cna_capable", "trunk_capable", "is_mezz", "pci", "functions", "trunk", "flash"});
	if (!ja.contains("functions") || !ja["functions"].is_array())
		fail(sub(path, "functions"), "required: an array of PCI functions");
	const json &jfs = ja["functions"];
	bool converged = false;
	for (const auto &jf : jfs)
		converged = converged || (jf.is_object() && jf.contains("type") && jf["type"].is_string() &&
					  jf["type"].get<std::string>() != "fc");

	m.adapters.emplace_back();
	Adapter &a = m.adapters.back();
	char buf[64];
	snprintf(buf, sizeof buf, "QX%09zu", ai + 1);
	a.serial = buf;
	opt_str(ja, path, "serial", a.serial, 12);
	if (a.serial.empty())
		fail(sub(path, "serial"), "must not be empty");
	a.cna_capable = converged;
	opt_bool(ja, path, "cna_capable", a.cna_capable);
	a.max_speed = a.cna_capable ? 10 : 8;
	opt_int(ja, path, "max_speed", a.max_speed, 0, 255);
	a.card_type = a.cna_capable ? 632 : 612;
	opt_int(ja, path, "card_type", a.card_type, 0, UINT32_MAX);
	const CardModel *known = card_model(a.card_type);
	a.model = known ? known->model : "QX-" + std::to_string(a.card_type);
	opt_str(ja, path, "model", a.model, 16);
	a.manufacturer = "QOR Inc";
	opt_str(ja, path, "manufacturer", a.manufacturer, 8);
	snprintf(buf, sizeof buf, "0000:%02zx:00", (5 + 2 * ai) & 0xff);
	a.hwpath = buf;
	opt_str(ja, path, "hwpath", a.hwpath, 28);
	opt_str(ja, path, "name", a.name[0], 64);
	a.name[1] = a.name[0];
	a.hw_ver = "Rev-C2";
	a.fw_ver = "3.2.1.0";
	a.optrom_ver = "3.2.1.0";
	a.os_type = "Linux";
	a.bios_ver = "3.2.1.0";
	a.efi_ver = "3.2.1.0";
	a.ob_ver = "3.2.1.0";
	a.chip_rev = "C2";
	a.driver_ver[0] = a.driver_ver[1] = "3.2.1.0";
	opt_str(ja, path, "hw_ver", a.hw_ver, 64);
	opt_str(ja, path, "fw_ver", a.fw_ver, 64);
	opt_str(ja, path, "optrom_ver", a.optrom_ver, 64);
	opt_str(ja, path, "os_type", a.os_type, 64);
	opt_str(ja, path, "bios_ver", a.bios_ver, 64);
	opt_str(ja, path, "efi_ver", a.efi_ver, 64);
	opt_str(ja, path, "ob_ver", a.ob_ver, 64);
	opt_str(ja, path, "chip_rev", a.chip_rev, 8);
	opt_str(ja, path, "driver_ver", a.driver_ver[0], 64);
	a.driver_ver[1] = a.driver_ver[0];
	a.node_symname = a.model + " | " + a.driver_ver[0] + " | qorhost";
	opt_str(ja, path, "node_symname", a.node_symname, 256);
	std::string descr = a.model + " " + std::to_string(a.max_speed) + "Gbps " +
			    std::to_string(jfs.size()) +
			    (a.cna_capable ? "-function converged network adapter" : "-port Fibre Channel host bus adapter");
	a.model_descr = known ? known->descr : descr.substr(0, 127);
	opt_str(ja, path, "model_descr", a.model_descr, 128);
	opt_int(ja, path, "prototype", a.prototype, 0, 255);
	if (ja.contains("asic_rev")) {
		std::string r;
		opt_str(ja, path, "asic_rev", r, 2);
		if (r.size() != 1)
			fail(sub(path, "asic_rev"), "must be one character");
		a.asic_rev = r[0];
	}
	opt_int(ja, path, "pcie_gen", a.pcie_gen, 0, 255);
	opt_int(ja, path, "pcie_lanes", a.pcie_lanes, 0, 255);
	a.pcie_lanes_orig = a.pcie_lanes;
	opt_int(ja, path, "pcie_lanes_orig", a.pcie_lanes_orig, 0, 255);
	opt_bool(ja, path, "trunk_capable", a.trunk_capable);
	opt_bool(ja, path, "is_mezz", a.is_mezz);
	a.vendor_id = 0x1e6b;
	a.device_id = a.cna_capable ? 0x14 : 0x13;
	a.ssvid = a.vendor_id;
	if (ja.contains("pci")) {
		const std::string pp = sub(path, "pci");
		check_keys(ja["pci"], pp, {"vendor_id", "device_id", "ssid", "ssvid"});
		opt_int(ja["pci"], pp, "vendor_id", a.vendor_id, 0, 0xffff);
		opt_int(ja["pci"], pp, "device_id", a.device_id, 0, 0xffff);
		a.ssvid = a.vendor_id;
		opt_int(ja["pci"], pp, "ssvid", a.ssvid, 0, 0xffff);
	}
	a.ssid = static_cast<uint16_t>(a.device_id + 0x100);
	if (ja.contains("pci"))
		opt_int(ja["pci"], sub(path, "pci"), "ssid", a.ssid, 0, 0xffff);
	if (ja.contains("flash"))
		parse_flash(ja["flash"], sub(path, "flash"), a);
	json trunk;
	opt_reserved(ja, path, "trunk", trunk, false);
	a.trunk_cfg = trunk;
	for (size_t fi = 0; fi < jfs.size(); fi++)
		parse_function(jfs[fi], sub(path, "functions[" + std::to_string(fi) + "]"), m, static_cast<int>(ai),
			       static_cast<int>(fi), explicit_inst);
}

void parse_fault(const json &jf, const std::string &path, Model &m)
{
	if (jf.is_object() && jf.contains("flash")) {
		parse_flash_fault(jf, path, m);
		return;
	}
	check_keys(jf, path, {"code", "instance", "errno", "status", "count", "open", "driver", "version"});
	if (jf.contains("open")) {
		check_keys(jf, path, {"open", "errno"});
		const std::string node = jf["open"].is_string() ? jf["open"].get<std::string>() : "";
		int n = node == QOR_DEV_FC ? NODE_FC : node == QOR_DEV_IPFC ? NODE_IPFC : node == QOR_DEV_ETH ? NODE_ETH : 0;
		if (!n)
			fail(sub(path, "open"), "must be \"/dev/qor\", \"/dev/qoripfc\" or \"/dev/vek\"");
		m.open_err[n] = jf.contains("errno") ? get_errno(jf["errno"], sub(path, "errno")) : ENOENT;
		return;
	}
	if (jf.contains("driver")) {
		check_keys(jf, path, {"driver", "version"});
		int d = get_driver(jf["driver"], sub(path, "driver"));
		if (!jf.contains("version"))
			fail(sub(path, "version"), "required with \"driver\"");
		m.drv[d].version = static_cast<uint32_t>(get_int(jf["version"], sub(path, "version"), 0, UINT32_MAX));
		return;
	}
	if (!jf.contains("code"))
		fail(path, "needs \"code\" (a request fault), \"open\" or \"driver\"");
	if (jf.contains("version"))
		fail(sub(path, "version"), "belongs to a \"driver\" fault");
	Fault f;
	f.id = m.next_fault++;
	f.key = static_cast<uint32_t>(get_int(jf["code"], sub(path, "code"), 0, UINT32_MAX)) & 0xffff;
	opt_int(jf, path, "instance", f.instance, -1, kMaxInstances - 1);
	if (!jf.contains("errno") && !jf.contains("status"))
		fail(path, "a request fault needs \"errno\" or \"status\"");
	if (jf.contains("errno"))
		f.err = get_errno(jf["errno"], sub(path, "errno"));
	if (jf.contains("status"))
		f.status = get_status(jf["status"], sub(path, "status"));
	f.remaining = get_count(jf, path);
	m.faults.push_back(f);
}

void parse_driver(const json &jd, const std::string &path, Driver &d, int &count)
{
	check_keys(jd, path, {"present", "version", "count", "transition_ms"});
	opt_bool(jd, path, "present", d.present);
	opt_int(jd, path, "version", d.version, 0, UINT32_MAX);
	opt_int(jd, path, "count", count, 0, kMaxInstances);
	opt_int(jd, path, "transition_ms", d.transition_ms, -1, INT64_MAX / 1000000);
}

void build(const json &j, Model &m)
{
	check_keys(j, "", {"drivers", "transition_ms", "adapters", "faults", "schedule", "clock", "flash_latency"});
	if (j.contains("flash_latency")) {
		const json &fl = j["flash_latency"];
		check_keys(fl, "flash_latency", {"write_ms", "erase_ms", "wall"});
		int64_t w = 0, e = 0;
		opt_int(fl, "flash_latency", "write_ms", w, 0, 3600000);
		opt_int(fl, "flash_latency", "erase_ms", e, 0, 3600000);
		m.flash_write_ns = static_cast<uint64_t>(w) * 1000000u;
		m.flash_erase_ns = static_cast<uint64_t>(e) * 1000000u;
		opt_bool(fl, "flash_latency", "wall", m.flash_wall);
	}
	int counts[kDrivers] = {-1, -1};
	if (j.contains("transition_ms")) {
		int64_t t = get_int(j["transition_ms"], "transition_ms", -1, INT64_MAX / 1000000);
		m.drv[0].transition_ms = m.drv[1].transition_ms = t;
	}
	if (j.contains("drivers")) {
		check_keys(j["drivers"], "drivers", {"fc", "eth"});
		if (j["drivers"].contains("fc"))
			parse_driver(j["drivers"]["fc"], "drivers.fc", m.drv[0], counts[0]);
		if (j["drivers"].contains("eth"))
			parse_driver(j["drivers"]["eth"], "drivers.eth", m.drv[1], counts[1]);
	}
	if (j.contains("clock")) {
		check_keys(j["clock"], "clock", {"epoch"});
		opt_int(j["clock"], "clock", "epoch", m.epoch_s, 0, UINT32_MAX);
	}
	std::vector<int> explicit_inst;
	if (j.contains("adapters")) {
		if (!j["adapters"].is_array())
			fail("adapters", "must be an array");
		std::set<std::string> serials;
		for (size_t ai = 0; ai < j["adapters"].size(); ai++) {
			parse_adapter(j["adapters"][ai], "adapters[" + std::to_string(ai) + "]", m, ai, explicit_inst);
			if (!serials.insert(m.adapters.back().serial).second)
				fail("adapters[" + std::to_string(ai) + "].serial",
				     "serial number " + m.adapters.back().serial + " appears twice");
		}
	}

	// Instances: explicit ones first, then each driver numbers the rest in
	// order of appearance with the lowest free numbers.
	for (int d = 0; d < kDrivers; d++) {
		std::vector<int> owner(kMaxInstances, -1);
		for (size_t i = 0; i < m.fns.size(); i++) {
			if (m.fns[i].drv != d || explicit_inst[i] < 0)
				continue;
			if (owner[explicit_inst[i]] >= 0)
				fail("adapters", std::string(d ? "Ethernet" : "FC") + " driver instance " +
							 std::to_string(explicit_inst[i]) + " is given twice");
			owner[explicit_inst[i]] = static_cast<int>(i);
			m.fns[i].instance = explicit_inst[i];
		}
		int next = 0, top = -1;
		for (size_t i = 0; i < m.fns.size(); i++) {
			if (m.fns[i].drv != d)
				continue;
			if (m.fns[i].instance < 0) {
				while (next < kMaxInstances && owner[next] >= 0)
					next++;
				if (next >= kMaxInstances)
					fail("adapters", "more than 256 functions on one driver");
				owner[next] = static_cast<int>(i);
				m.fns[i].instance = next;
			}
			top = std::max(top, m.fns[i].instance);
		}
		Driver &dr = m.drv[d];
		dr.count = counts[d] >= 0 ? counts[d] : top + 1;
		if (dr.count <= top)
			fail(std::string("drivers.") + (d ? "eth" : "fc") + ".count",
			     "must be above the highest instance (" + std::to_string(top) + ")");
		dr.by_inst.assign(dr.count, -1);
		for (int k = 0; k <= top; k++)
			dr.by_inst[k] = owner[k];
	}
	for (auto &f : m.fns)
		if (f.eth_name == "\x01")
			f.eth_name = f.drv == QORSIM_DRV_ETH ? "eth" + std::to_string(f.instance) : "";

	if (j.contains("faults")) {
		if (!j["faults"].is_array())
			fail("faults", "must be an array");
		for (size_t i = 0; i < j["faults"].size(); i++)
			parse_fault(j["faults"][i], "faults[" + std::to_string(i) + "]", m);
	}
	opt_reserved(j, "", "schedule", m.schedule_cfg, true);
	// The SAN behind each function (sim/drv_san.cc); bad input throws.
	san::build_all(m);
	// Timed changes (sim/sim_schedule.cc); bad input throws.
	build_schedule(m);
}

} // namespace

bool parse_topology(const std::string &text, Model &out, std::string &err)
{
	try {
		json j = json::parse(text, nullptr, true, true);
		Model m;
		build(j, m);
		out = std::move(m);
		return true;
	} catch (const BadTopology &e) {
		err = e.msg;
	} catch (const json::parse_error &e) {
		err = std::string("not valid JSON: ") + e.what();
	} catch (const std::exception &e) {
		err = std::string("bad topology: ") + e.what();
	}
	return false;
}

const char *default_topology_text()
{
	return R"({
  "drivers": {
    "fc":  { "present": true, "version": 4133 },
    "eth": { "present": true, "version": 4133 }
  },
  "transition_ms": 2500,
  "adapters": [
    {
      "serial": "QXA2210F001",
      "model": "QX-612",
      "model_descr": "QX-612 8Gbps dual-port Fibre Channel host bus adapter",
      "card_type": 612,
      "hwpath": "0000:05:00",
      "max_speed": 8,
      "trunk_capable": true,
      "fw_ver": "3.2.1.0",
      "driver_ver": "3.2.1.0",
      "pci": { "vendor_id": "0x1e6b", "device_id": "0x13", "ssid": "0x113", "ssvid": "0x1e6b" },
      "functions": [
        { "type": "fc", "port": 0, "pcifn": 0, "hwpath": "0000:05:00.0",
          "pwwn": "20:00:02:5a:31:0a:f0:00", "nwwn": "10:00:02:5a:31:0a:f0:00",
          "fcport": { "link": "fabric", "fabric_name": "10:00:00:05:1e:fa:b0:01",
            "rports": [
              { "pwwn": "50:06:0e:80:10:3a:7c:00", "nwwn": "50:06:0e:80:10:3a:7c:00", "pid": "0x011a00",
                "role": "target", "symname": "QX-Array A ctl0 port 0" },
              { "pwwn": "50:06:0e:80:10:3a:7c:01", "nwwn": "50:06:0e:80:10:3a:7c:01", "pid": "0x011b00",
                "role": "target", "symname": "QX-Array A ctl1 port 0" },
              { "pwwn": "21:00:00:24:ff:4c:8e:10", "nwwn": "20:00:00:24:ff:4c:8e:10", "pid": "0x011c00",
                "role": "initiator", "symname": "backup-host hba0" } ] } },
        { "type": "fc", "port": 1, "pcifn": 1, "hwpath": "0000:05:00.1",
          "pwwn": "20:00:02:5a:31:0a:f0:01", "nwwn": "10:00:02:5a:31:0a:f0:01",
          "fcport": { "link": "p2p",
            "rports": [
              { "pwwn": "50:01:43:80:02:5b:6e:20", "nwwn": "50:01:43:80:02:5b:6e:2f",
                "role": "target", "symname": "QX-Tape drive 0" } ] } }
      ]
    },
    {
      "serial": "QXC2214C007",
      "model": "QX-632",
      "model_descr": "QX-632 10Gbps dual-port converged network adapter",
      "card_type": 632,
      "hwpath": "0000:07:00",
      "max_speed": 10,
      "cna_capable": true,
      "fw_ver": "3.2.1.0",
      "driver_ver": "3.2.1.0",
      "pci": { "vendor_id": "0x1e6b", "device_id": "0x14", "ssid": "0x114", "ssvid": "0x1e6b" },
      "functions": [
        { "type": "fcoe", "port": 0, "pcifn": 0, "hwpath": "0000:07:00.0",
          "pwwn": "20:00:02:5a:31:0c:c0:00", "nwwn": "10:00:02:5a:31:0c:c0:00",
          "mac": "02:5a:31:0c:c0:00",
          "fcport": { "link": "fabric", "fabric_name": "10:00:00:05:1e:fc:0e:01",
            "rports": [
              { "pwwn": "50:0a:09:81:86:f7:1c:10", "nwwn": "50:0a:09:80:86:f7:1c:10", "pid": "0x220500",
                "role": "target", "symname": "QX-Filer fcoe 0a" } ] } },
        { "type": "fcoe", "port": 1, "pcifn": 1, "hwpath": "0000:07:00.1",
          "pwwn": "20:00:02:5a:31:0c:c0:01", "nwwn": "10:00:02:5a:31:0c:c0:01",
          "mac": "02:5a:31:0c:c0:01" },
        { "type": "eth", "port": 0, "pcifn": 2, "hwpath": "0000:07:00.2",
          "mac": "02:5a:31:0c:c0:02", "eth_name": "eth0" },
        { "type": "eth", "port": 1, "pcifn": 3, "hwpath": "0000:07:00.3",
          "mac": "02:5a:31:0c:c0:03", "eth_name": "eth1" }
      ]
    }
  ]
}
)";
}

} // namespace qorsim
