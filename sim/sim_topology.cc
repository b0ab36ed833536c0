// Topology files: JSON text to a hardware model, with validation and
// defaults. The format is documented in docs/topology.md.
#include "sim.h"
#include "san.h"
#include "sim_json.h"

#include "defs/qor_defs_card.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>

namespace qorsim {

namespace {

using nlohmann::json;

struct Named {
	const char *name;
	int64_t value;
};

// A name of the table, or a number from lo to hi.
int64_t named(const Field &f, const Named *tab, size_t n, int64_t lo, int64_t hi, const char *what)
{
	if (f.is_text()) {
		const std::string s = f.json().get<std::string>();
		for (size_t i = 0; i < n; i++)
			if (s == tab[i].name)
				return tab[i].value;
		if (s.empty() || !isdigit(static_cast<unsigned char>(s[0])))
			f.fail("unknown " + std::string(what) + " '" + s + "'");
	}
	return f.integer(lo, hi);
}

constexpr Named kStates[] = {
	{"uninit", 1},	 {"reset", 2},	    {"semwait", 3},   {"hwinit", 4},	  {"getattr", 5},     {"operational", 6},
	{"initfail", 7}, {"fail", 8},	    {"disabling", 9}, {"disabled", 10}, {"fwmismatch", 11}, {"enabling", 12},
};

uint32_t get_state(const Field &f)
{
	return static_cast<uint32_t>(named(f, kStates, std::size(kStates), 1, 12,
					   "state (operational, disabled, enabling, disabling, fail, ...)"));
}

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

int get_errno(const Field &f)
{
	return static_cast<int>(named(f, kErrnos, std::size(kErrnos), 1, 4095, "errno name"));
}

uint32_t get_status(const Field &f)
{
	return static_cast<uint32_t>(named(f, kStatuses, std::size(kStatuses), 0, UINT32_MAX, "status"));
}

// A fault's "count": a number, "once" (the default) or "always".
int get_count(const Field &jf)
{
	static constexpr Named kCounts[] = {{"once", 1}, {"always", QORSIM_ALWAYS}};
	return jf.has("count") ? static_cast<int>(named(jf["count"], kCounts, std::size(kCounts), 1, INT32_MAX, "count"))
			       : 1;
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

// A partition by its name ("optrom", "fw", ...) or type number.
uint32_t get_part_type(const Field &f)
{
	uint32_t t = 0;
	if (f.is_text() && flash_type_by_name(f.json().get<std::string>(), t))
		return t;
	const std::string s = f.is_text() ? f.json().get<std::string>() : "";
	if (f.is_text() && (s.empty() || !isdigit(static_cast<unsigned char>(s[0]))))
		f.fail("unknown partition '" + s + "' (optrom, fw, cfg, vpd, bootovl, pxeovl, ...)");
	return static_cast<uint32_t>(f.integer(1, 15));
}

// A card's "flash": partition sizes and the option ROM switch.
void parse_flash(const Field &j, Adapter &a)
{
	j.object({"part_size", "optrom_enabled"});
	if (j.has("part_size")) {
		const Field ps = j["part_size"];
		ps.object();
		for (auto it = ps.json().begin(); it != ps.json().end(); ++it) {
			const json name = it.key();
			const Field key(name, ps.place() + "." + it.key());
			a.flash.room[get_part_type(key)] = static_cast<uint32_t>(ps[it.key().c_str()].integer(0, 64 << 20));
		}
	}
	j.read("optrom_enabled", a.flash.optrom_on);
}

// {"flash": "write_fail" | "readback_differs" | "erase_timeout", "adapter": N,
//  "part": name, "instance": N, "status": S, "count": N}
void parse_flash_fault(const Field &jf, Model &m)
{
	jf.object({"flash", "adapter", "part", "instance", "status", "count"});
	static constexpr Named kKinds[] = {{"write_fail", QORSIM_FLASH_WRITE_FAIL},
					   {"readback_differs", QORSIM_FLASH_READBACK_DIFFERS},
					   {"erase_timeout", QORSIM_FLASH_ERASE_TIMEOUT}};
	FlashFault x;
	x.kind = static_cast<int>(named(jf["flash"], kKinds, std::size(kKinds), QORSIM_FLASH_WRITE_FAIL,
					QORSIM_FLASH_ERASE_TIMEOUT, "flash fault (write_fail, readback_differs, erase_timeout)"));
	const size_t ai = static_cast<size_t>(jf.need("adapter", "a \"flash\" fault needs \"adapter\"")
						  .integer(0, static_cast<int64_t>(m.adapters.size()) - 1));
	if (jf.has("part"))
		x.type = get_part_type(jf["part"]);
	jf.read("instance", x.instance, -1, 255);
	if (jf.has("status"))
		x.status = get_status(jf["status"]);
	x.remaining = get_count(jf);
	x.id = m.next_flash_fault++;
	m.adapters[ai].flash.faults.push_back(x);
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

// Vital product data: serial number, model and hardware version, summed.
void make_vpd(Adapter &a)
{
	qor_mfg_vpd_t &vpd = a.attr.vpd;
	const std::string data = "SN=" + a.serial + ";PN=" + a.attr.model + ";EC=" + a.attr.hw_ver;
	vpd.version = 1;
	memcpy(vpd.vpd_sig, "VPD", 3);
	vpd.vendor = 1;
	vpd.len = static_cast<uint8_t>(data.size() < 255 ? data.size() : 255);
	memcpy(vpd.data, data.data(), vpd.len);
	uint8_t sum = 0;
	for (unsigned i = 0; i < vpd.len; i++)
		sum = static_cast<uint8_t>(sum + vpd.data[i]);
	vpd.chksum = sum;
}

void parse_function(const Field &jf, Model &m, int ai, int fi, std::vector<int> &explicit_inst)
{
	jf.object({"type", "port", "pcifn", "instance", "device_id", "hwpath", "pwwn", "nwwn", "factory_pwwn",
		   "factory_nwwn", "mac", "factory_mac", "current_mac", "port_name", "eth_name", "pvid", "state",
		   "transition_ms", "intr", "fcport", "ethport"});
	Adapter &a = m.adapters[ai];
	Function f;
	f.adapter = ai;
	static constexpr uint32_t kTypes[] = {QOR_IOC_TYPE_FC, QOR_IOC_TYPE_FCoE, QOR_IOC_TYPE_LL};
	f.ioc_type = kTypes[jf.need("type", "needs \"type\": \"fc\", \"fcoe\" or \"eth\"").one_of({"fc", "fcoe", "eth"})];
	f.drv = f.ioc_type == QOR_IOC_TYPE_LL ? QORSIM_DRV_ETH : QORSIM_DRV_FC;

	// Port numbers count per driver on the card unless given.
	int same_side = 0;
	for (int k : a.fns)
		same_side += m.fns[k].drv == f.drv;
	f.port = same_side;
	jf.read("port", f.port, 0, 255);
	f.pcifn = static_cast<uint32_t>(fi);
	jf.read("pcifn", f.pcifn, 0, 255);
	for (int k : a.fns) {
		if (m.fns[k].pcifn == f.pcifn)
			jf["pcifn"].fail("PCI function " + std::to_string(f.pcifn) + " appears twice on the adapter");
		if (m.fns[k].drv == f.drv && m.fns[k].port == f.port)
			jf["port"].fail("port " + std::to_string(f.port) + " appears twice for one driver on the adapter");
	}
	int inst = -1;
	jf.read("instance", inst, 0, kMaxInstances - 1);
	explicit_inst.push_back(inst);
	f.device_id = a.pci.device_id;
	jf.read("device_id", f.device_id, 0, 0xffff);
	f.hwpath = a.hwpath + "." + std::to_string(f.pcifn);
	if (!jf.read("hwpath", f.hwpath, 32, Field::Bytes::printable) && f.hwpath.size() >= 32)
		jf["hwpath"].fail("derived hardware path is too long; give one of at most 31 characters");

	const mac_t dm = derived_mac(a.serial, f.pcifn);
	if (f.drv == QORSIM_DRV_FC) {
		f.pwwn = derived_wwn(0x20, dm);
		f.nwwn = derived_wwn(0x10, dm);
	}
	jf.read_wwn("pwwn", f.pwwn);
	jf.read_wwn("nwwn", f.nwwn);
	f.factory_pwwn = f.pwwn;
	f.factory_nwwn = f.nwwn;
	jf.read_wwn("factory_pwwn", f.factory_pwwn);
	jf.read_wwn("factory_nwwn", f.factory_nwwn);
	if (f.ioc_type != QOR_IOC_TYPE_FC)
		f.mac = dm;
	jf.read_mac("mac", f.mac);
	f.factory_mac = f.mac;
	f.current_mac = f.mac;
	jf.read_mac("factory_mac", f.factory_mac);
	jf.read_mac("current_mac", f.current_mac);
	jf.read("port_name", f.port_name, 64);
	if (!jf.read("eth_name", f.eth_name, 64, Field::Bytes::printable))
		f.eth_name = "\x01"; // numbered once instances are known
	jf.read("pvid", f.pvid, 0, 4095);
	if (jf.has("state"))
		f.state = get_state(jf["state"]);
	jf.read("transition_ms", f.transition_ms, -1, INT64_MAX / 1000000);
	default_iocfc(f);
	if (jf.has("intr")) {
		const Field ji = jf["intr"];
		ji.object({"coalesce", "delay", "latency"});
		bool co = f.iocfc.intr_attr.coalesce;
		ji.read("coalesce", co);
		f.iocfc.intr_attr.coalesce = co;
		ji.read("delay", f.iocfc.intr_attr.delay, 0, 0xffff);
		ji.read("latency", f.iocfc.intr_attr.latency, 0, 0xffff);
	}
	if (jf.has("fcport"))
		f.port_cfg = jf["fcport"].object().json();
	if (jf.has("ethport"))
		f.eth_cfg = jf["ethport"].object().json();
	default_fwstats(f);
	f.stats.drv_stats.ioc_boots = 1;
	f.stats.drv_stats.ioc_enables = f.state == QOR_IOC_OPERATIONAL ? 1 : 0;
	f.stats.drv_stats.enable_reqs = f.stats.drv_stats.ioc_enables;
	f.stats.drv_stats.enable_replies = f.stats.drv_stats.ioc_enables;
	f.stats.fw_stats.enable_reqs = f.stats.drv_stats.ioc_enables;
	a.fns.push_back(static_cast<int>(m.fns.size()));
	m.fns.push_back(std::move(f));
}

void parse_adapter(const Field &ja, Model &m, size_t ai, std::vector<int> &explicit_inst)
{
	ja.object({"serial", "model", "model_descr", "manufacturer", "hwpath", "name", "node_symname", "hw_ver",
		   "fw_ver", "optrom_ver", "os_type", "bios_ver", "efi_ver", "ob_ver", "chip_rev", "driver_ver",
		   "card_type", "max_speed", "prototype", "asic_rev", "pcie_gen", "pcie_lanes", "pcie_lanes_orig",
		   "cna_capable", "trunk_capable", "is_mezz", "pci", "functions", "trunk", "flash"});
	const Field jfs = ja.need("functions", "needs \"functions\": an array of PCI functions");
	const size_t nfns = jfs.array();
	bool converged = false;
	for (const auto &jf : jfs.json())
		converged = converged || (jf.is_object() && jf.contains("type") && jf["type"].is_string() &&
					  jf["type"].get<std::string>() != "fc");

	m.adapters.emplace_back();
	Adapter &a = m.adapters.back();
	qor_adapter_attr_t &at = a.attr;
	char buf[64];
	snprintf(buf, sizeof buf, "QX%09zu", ai + 1);
	a.serial = buf;
	if (ja.read("serial", a.serial, 12) && a.serial.empty())
		ja["serial"].fail("must not be empty");
	put_text(at.serial_num, a.serial);
	bool flag = converged;
	ja.read("cna_capable", flag);
	at.cna_capable = flag;
	at.max_speed = flag ? 10 : 8;
	ja.read("max_speed", at.max_speed, 0, 255);
	at.card_type = flag ? 632 : 612;
	ja.read("card_type", at.card_type, 0, UINT32_MAX);
	const CardModel *known = card_model(at.card_type);
	put_text(at.model, known ? known->model : "QX-" + std::to_string(at.card_type));
	ja.read("model", at.model);
	put_text(at.manufacturer, "QOR Inc");
	ja.read("manufacturer", at.manufacturer);
	snprintf(buf, sizeof buf, "0000:%02zx:00", (5 + 2 * ai) & 0xff);
	a.hwpath = buf;
	ja.read("hwpath", a.hwpath, 28, Field::Bytes::printable);
	ja.read("name", a.name[0], 64);
	a.name[1] = a.name[0];
	qor_ioc_driver_attr_t &dr = a.driver[0];
	struct Text {
		const char *key;
		char (*field)[64];
		const char *def;
	} texts[] = {{"hw_ver", &at.hw_ver, "Rev-C2"},	    {"os_type", &at.os_type, "Linux"},
		     {"optrom_ver", &at.optrom_ver, "3.2.1.0"}, {"fw_ver", &dr.fw_ver, "3.2.1.0"},
		     {"bios_ver", &dr.bios_ver, "3.2.1.0"},	    {"efi_ver", &dr.efi_ver, "3.2.1.0"},
		     {"ob_ver", &dr.ob_ver, "3.2.1.0"},	    {"driver_ver", &dr.driver_ver, "3.2.1.0"}};
	for (const Text &t : texts) {
		put_text(*t.field, t.def);
		ja.read(t.key, *t.field);
	}
	memcpy(at.fw_ver, dr.fw_ver, sizeof at.fw_ver);
	a.driver[1] = dr;
	put_text(a.driver[0].driver, "qor");
	put_text(a.driver[1].driver, "vek");
	put_text(at.node_symname, std::string(at.model) + " | " + dr.driver_ver + " | qorhost");
	ja.read("node_symname", at.node_symname);
	put_text(at.model_descr, known ? std::string(known->descr)
				       : std::string(at.model) + " " + std::to_string(at.max_speed) + "Gbps " +
						 std::to_string(nfns) +
						 (at.cna_capable ? "-function converged network adapter"
								 : "-port Fibre Channel host bus adapter"));
	ja.read("model_descr", at.model_descr);
	ja.read("prototype", at.prototype, 0, 255);
	at.asic_rev = 'C';
	std::string rev;
	if (ja.read("asic_rev", rev, 2)) {
		if (rev.size() != 1)
			ja["asic_rev"].fail("must be one character");
		at.asic_rev = rev[0];
	}
	at.pcie_gen = 2;
	ja.read("pcie_gen", at.pcie_gen, 0, 255);
	at.pcie_lanes = 8;
	ja.read("pcie_lanes", at.pcie_lanes, 0, 255);
	at.pcie_lanes_orig = at.pcie_lanes;
	ja.read("pcie_lanes_orig", at.pcie_lanes_orig, 0, 255);
	flag = false;
	ja.read("trunk_capable", flag);
	at.trunk_capable = flag;
	flag = false;
	ja.read("is_mezz", flag);
	at.is_mezz = flag;
	make_vpd(a);
	qor_ioc_pci_attr_t &pci = a.pci;
	pci.vendor_id = 0xf1e0;
	pci.device_id = at.cna_capable ? 0x14 : 0x13;
	put_text(pci.chip_rev, "C2");
	ja.read("chip_rev", pci.chip_rev);
	const Field jp = ja["pci"];
	if (ja.has("pci")) {
		jp.object({"vendor_id", "device_id", "ssid", "ssvid"});
		jp.read("vendor_id", pci.vendor_id, 0, 0xffff);
		jp.read("device_id", pci.device_id, 0, 0xffff);
	}
	pci.ssvid = pci.vendor_id;
	pci.ssid = static_cast<uint16_t>(pci.device_id + 0x100);
	if (ja.has("pci")) {
		jp.read("ssvid", pci.ssvid, 0, 0xffff);
		jp.read("ssid", pci.ssid, 0, 0xffff);
	}
	if (ja.has("flash"))
		parse_flash(ja["flash"], a);
	if (ja.has("trunk"))
		ja["trunk"].object(); // reserved
	std::set<int> ports;
	for (size_t fi = 0; fi < nfns; fi++) {
		parse_function(jfs[fi], m, static_cast<int>(ai), static_cast<int>(fi), explicit_inst);
		ports.insert(m.fns.back().port);
	}
	at.nports = static_cast<uint8_t>(ports.size());
}

void parse_fault(const Field &jf, Model &m)
{
	if (jf.has("flash")) {
		parse_flash_fault(jf, m);
		return;
	}
	jf.object({"code", "instance", "errno", "status", "count", "open", "driver", "version"});
	if (jf.has("open")) {
		jf.object({"open", "errno"});
		static constexpr int kNodes[] = {NODE_FC, NODE_IPFC, NODE_ETH};
		const int n = kNodes[jf["open"].one_of({QOR_DEV_FC, QOR_DEV_IPFC, QOR_DEV_ETH})];
		m.open_err[n] = jf.has("errno") ? get_errno(jf["errno"]) : ENOENT;
		return;
	}
	if (jf.has("driver")) {
		jf.object({"driver", "version"});
		const size_t d = jf["driver"].one_of({"fc", "eth"});
		m.drv[d].version = static_cast<uint32_t>(
			jf.need("version", "a \"driver\" fault needs \"version\"").integer(0, UINT32_MAX));
		return;
	}
	const Field code = jf.need("code", "needs \"code\" (a request fault), \"open\" or \"driver\"");
	if (jf.has("version"))
		jf["version"].fail("belongs to a \"driver\" fault");
	Fault f;
	f.id = m.next_fault++;
	f.key = static_cast<uint32_t>(code.integer(0, UINT32_MAX)) & 0xffff;
	jf.read("instance", f.instance, -1, kMaxInstances - 1);
	if (!jf.has("errno") && !jf.has("status"))
		jf.fail("a request fault needs \"errno\" or \"status\"");
	if (jf.has("errno"))
		f.err = get_errno(jf["errno"]);
	if (jf.has("status"))
		f.status = get_status(jf["status"]);
	f.remaining = get_count(jf);
	m.faults.push_back(f);
}

void parse_driver(const Field &jd, Driver &d, int &count)
{
	jd.object({"present", "version", "count", "transition_ms"});
	jd.read("present", d.present);
	jd.read("version", d.version, 0, UINT32_MAX);
	jd.read("count", count, 0, kMaxInstances);
	jd.read("transition_ms", d.transition_ms, -1, INT64_MAX / 1000000);
}

// Instances: explicit ones first, then each driver numbers the rest in
// order of appearance with the lowest free numbers.
void number_instances(Model &m, int d, const std::vector<int> &explicit_inst, int count)
{
	std::vector<int> owner(kMaxInstances, -1);
	for (size_t i = 0; i < m.fns.size(); i++) {
		if (m.fns[i].drv != d || explicit_inst[i] < 0)
			continue;
		if (owner[explicit_inst[i]] >= 0)
			bad_input("adapters", std::string(d ? "Ethernet" : "FC") + " driver instance " +
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
				bad_input("adapters", "more than 256 functions on one driver");
			owner[next] = static_cast<int>(i);
			m.fns[i].instance = next;
		}
		top = std::max(top, m.fns[i].instance);
	}
	Driver &dr = m.drv[d];
	dr.count = count >= 0 ? count : top + 1;
	if (dr.count <= top)
		bad_input(std::string("drivers.") + (d ? "eth" : "fc") + ".count",
			  "must be above the highest instance (" + std::to_string(top) + ")");
	dr.by_inst.assign(dr.count, -1);
	for (int k = 0; k <= top; k++)
		dr.by_inst[k] = owner[k];
}

void build(const Field &j, Model &m)
{
	j.object({"drivers", "transition_ms", "adapters", "faults", "schedule", "clock", "flash_latency"});
	if (j.has("flash_latency")) {
		const Field fl = j["flash_latency"];
		fl.object({"write_ms", "erase_ms", "wall"});
		uint64_t w = 0, e = 0;
		fl.read("write_ms", w, 0, 3600000);
		fl.read("erase_ms", e, 0, 3600000);
		m.flash_write_ns = w * 1000000u;
		m.flash_erase_ns = e * 1000000u;
		fl.read("wall", m.flash_wall);
	}
	int counts[kDrivers] = {-1, -1};
	if (j.read("transition_ms", m.drv[0].transition_ms, -1, INT64_MAX / 1000000))
		m.drv[1].transition_ms = m.drv[0].transition_ms;
	if (j.has("drivers")) {
		const Field jd = j["drivers"];
		jd.object({"fc", "eth"});
		if (jd.has("fc"))
			parse_driver(jd["fc"], m.drv[0], counts[0]);
		if (jd.has("eth"))
			parse_driver(jd["eth"], m.drv[1], counts[1]);
	}
	if (j.has("clock"))
		j["clock"].object({"epoch"}).read("epoch", m.epoch_s, 0, UINT32_MAX);
	std::vector<int> explicit_inst;
	if (j.has("adapters")) {
		const Field ja = j["adapters"];
		std::set<std::string> serials;
		for (size_t ai = 0, n = ja.array(); ai < n; ai++) {
			parse_adapter(ja[ai], m, ai, explicit_inst);
			if (!serials.insert(m.adapters.back().serial).second)
				ja[ai]["serial"].fail("serial number " + m.adapters.back().serial + " appears twice");
		}
	}
	for (int d = 0; d < kDrivers; d++)
		number_instances(m, d, explicit_inst, counts[d]);
	for (auto &f : m.fns)
		if (f.eth_name == "\x01")
			f.eth_name = f.drv == QORSIM_DRV_ETH ? "eth" + std::to_string(f.instance) : "";

	if (j.has("faults")) {
		const Field jf = j["faults"];
		for (size_t i = 0, n = jf.array(); i < n; i++)
			parse_fault(jf[i], m);
	}
	if (j.has("schedule")) {
		j["schedule"].array();
		m.schedule_cfg = j["schedule"].json();
	}
	// The SAN behind each function (sim/san_model.cc); bad input throws.
	san::build_all(m);
	// Timed changes (sim/sim_schedule.cc); bad input throws.
	build_schedule(m);
}

} // namespace

bool parse_topology(const std::string &text, Model &out, std::string &err)
{
	json j;
	try {
		// The parser takes a NUL for the end and would ignore what follows.
		if (const size_t nul = text.find('\0'); nul != std::string::npos) {
			err = "not valid JSON: a NUL byte at offset " + std::to_string(nul);
			return false;
		}
		j = parse_json(text);
	} catch (const BadInput &e) {
		err = e.what();
		return false;
	} catch (const json::exception &e) {
		// The parser's own error id ("[json.exception.parse_error.101] ") says nothing to a reader.
		const std::string what = e.what();
		const size_t id = what.rfind("] ", what.find(' '));
		err = "not valid JSON: " + (id == std::string::npos ? what : what.substr(id + 2));
		return false;
	}
	try {
		Model m;
		build(Field(j, ""), m);
		out = std::move(m);
		return true;
	} catch (const BadInput &e) {
		err = e.what();
	} catch (const std::exception &e) {
		err = std::string("bad topology: ") + e.what();
	}
	return false;
}

} // namespace qorsim
