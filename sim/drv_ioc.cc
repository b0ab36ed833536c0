// Controller requests of both drivers: version, instance list, identity,
// attributes, statistics, enable/disable, names, FC attributes and
// interrupt coalescing.
#include "sim.h"

#include <cerrno>
#include <cstring>
#include <set>

namespace qorsim {
namespace {

template <size_t N>
void put(char (&dst)[N], const std::string &s)
{
	size_t n = s.size() < N - 1 ? s.size() : N - 1;
	memcpy(dst, s.data(), n);
	dst[n] = '\0';
}

// A name field from a caller must be terminated within its 64 bytes.
bool get_name(const char (&src)[64], std::string &out)
{
	const void *nul = memchr(src, '\0', sizeof src);
	if (!nul)
		return false;
	out.assign(src, static_cast<const char *>(nul));
	return true;
}

uint32_t &status_of(Req &r) { return r.as<qor_ioctl_gen_t>().status; }

int64_t transition_ms(const Model &m, const Function &f)
{
	return f.transition_ms != -2 ? f.transition_ms : m.drv[f.drv].transition_ms;
}

void finish_transition(Model &m, Function &f, uint32_t target)
{
	f.state = target;
	auto &d = f.stats.drv_stats;
	if (target == QOR_IOC_OPERATIONAL) {
		d.ioc_enables++;
		d.enable_replies++;
	} else {
		d.ioc_disables++;
		d.disable_replies++;
	}
	state_event(m, f, target);
}

// Moves to `via` now and to `target` after the transition time; a newer
// transition makes an older pending completion void.
void start_transition(Model &m, Function &f, uint32_t via, uint32_t target)
{
	f.state = via;
	const uint64_t gen = ++f.gen;
	const int64_t ms = transition_ms(m, f);
	if (ms < 0)
		return;
	if (ms == 0) {
		finish_transition(m, f, target);
		return;
	}
	const int drv = f.drv, inst = f.instance;
	schedule(m, m.now_ns + static_cast<uint64_t>(ms) * 1000000u, [drv, inst, gen, target](Model &mm) {
		Function *ff = mm.fn_at(drv, inst);
		if (ff && ff->gen == gen)
			finish_transition(mm, *ff, target);
	});
}

int h_version(Req &r)
{
	auto &v = r.as<qor_ioctl_ioc_get_version_t>();
	v.status = QOR_STATUS_OK;
	v.version = r.m.drv[r.drv].version;
	return 0;
}

int h_get_inst(Req &r)
{
	auto &v = r.as<qor_ioctl_ioc_get_inst_t>();
	const Driver &d = r.m.drv[r.drv];
	memset(&v, 0, sizeof v);
	v.cnt = static_cast<uint32_t>(d.count);
	for (int i = 0; i < d.count && i < kMaxInstances; i++)
		if (d.by_inst[i] >= 0)
			v.bm[i / 8] |= static_cast<uint8_t>(1u << (i % 8));
	return 0;
}

// Enable and disable are one state change toward opposite ends.
template <bool Enable> int h_switch(Req &r)
{
	Function &f = *r.fn;
	constexpr uint32_t done = Enable ? QOR_IOC_OPERATIONAL : QOR_IOC_DISABLED;
	constexpr uint32_t moving = Enable ? QOR_IOC_ENABLING : QOR_IOC_DISABLING;
	(Enable ? f.stats.drv_stats.enable_reqs : f.stats.drv_stats.disable_reqs)++;
	(Enable ? f.stats.fw_stats.enable_reqs : f.stats.fw_stats.disable_reqs)++;
	(Enable ? f.fwstats.ioc_stats.enable_reqs : f.fwstats.ioc_stats.disable_reqs)++;
	if (f.state == done) {
		status_of(r) = Enable ? QOR_STATUS_IOC_ENABLED : QOR_STATUS_IOC_DISABLED;
		return 0;
	}
	if (f.state != moving)
		start_transition(r.m, f, moving, done);
	status_of(r) = QOR_STATUS_OK;
	return 0;
}

int h_enable(Req &r)
{
	return h_switch<true>(r);
}

int h_disable(Req &r)
{
	return h_switch<false>(r);
}

// The versions the card's flash images carry; the topology's while the
// flash holds no image of that kind.
std::string or_default(const std::string &v, const std::string &dflt)
{
	return v.empty() ? dflt : v;
}

int h_get_attr(Req &r)
{
	const Function &f = *r.fn;
	Adapter &a = r.m.adapters[f.adapter];
	const std::string fw_ver = or_default(flash_fw_version(r.m, a), a.fw_ver);
	const std::string rom_ver = or_default(flash_optrom_version(r.m, a), a.optrom_ver);
	auto &rec = r.as<qor_ioctl_ioc_attr_t>();
	qor_ioc_attr_t &at = rec.ioc_attr;
	memset(&at, 0, sizeof at);
	at.ioc_type = f.ioc_type;
	at.state = f.state;
	qor_adapter_attr_t &ad = at.adapter_attr;
	put(ad.manufacturer, a.manufacturer);
	put(ad.serial_num, a.serial);
	ad.card_type = a.card_type;
	put(ad.model, a.model);
	put(ad.model_descr, a.model_descr);
	ad.pwwn = f.pwwn;
	put(ad.node_symname, a.node_symname);
	put(ad.hw_ver, a.hw_ver);
	put(ad.fw_ver, fw_ver);
	put(ad.optrom_ver, rom_ver);
	put(ad.os_type, a.os_type);
	memcpy(ad.vpd.vpd_sig, "VPD", 3);
	ad.vpd.vendor = 1;
	if (const FlashPart *vp = flash_vpd(r.m, a)) {
		// A whole PCI VPD image in flash is reported as such (version 3).
		ad.vpd.version = 3;
		ad.vpd.len = 0xff;
		memcpy(ad.vpd.data, vp->data.data(), sizeof ad.vpd.data);
	} else {
		const std::string vpd = "SN=" + a.serial + ";PN=" + a.model + ";EC=" + a.hw_ver;
		ad.vpd.version = 1;
		ad.vpd.len = static_cast<uint8_t>(vpd.size() < 255 ? vpd.size() : 255);
		memcpy(ad.vpd.data, vpd.data(), ad.vpd.len);
	}
	uint8_t sum = 0;
	for (unsigned i = 0; i < ad.vpd.len; i++)
		sum = static_cast<uint8_t>(sum + ad.vpd.data[i]);
	ad.vpd.chksum = sum;
	memcpy(ad.mac, f.mac.mac, 6);
	std::set<int> ports;
	for (int k : a.fns)
		ports.insert(r.m.fns[k].port);
	ad.nports = static_cast<uint8_t>(ports.size());
	ad.max_speed = a.max_speed;
	ad.prototype = a.prototype;
	ad.asic_rev = a.asic_rev;
	ad.pcie_gen = a.pcie_gen;
	ad.pcie_lanes_orig = a.pcie_lanes_orig;
	ad.pcie_lanes = a.pcie_lanes;
	ad.cna_capable = a.cna_capable;
	ad.is_mezz = a.is_mezz;
	ad.trunk_capable = a.trunk_capable;
	qor_ioc_driver_attr_t &dr = at.driver_attr;
	put(dr.driver, f.drv == QORSIM_DRV_FC ? "qor" : "vek");
	put(dr.driver_ver, a.driver_ver[f.drv]);
	put(dr.fw_ver, fw_ver);
	put(dr.bios_ver, rom_ver);
	put(dr.efi_ver, a.efi_ver);
	put(dr.ob_ver, a.ob_ver);
	qor_ioc_pci_attr_t &pci = at.pci_attr;
	pci.vendor_id = a.vendor_id;
	pci.device_id = f.device_id;
	pci.ssid = a.ssid;
	pci.ssvid = a.ssvid;
	pci.pcifn = f.pcifn;
	put(pci.chip_rev, a.chip_rev);
	at.port_id = static_cast<uint8_t>(f.port);
	r.fn->fwstats.ioc_stats.get_attr_reqs++;
	r.fn->stats.fw_stats.get_attr_reqs++;
	rec.status = QOR_STATUS_OK;
	return 0;
}

int h_get_info(Req &r)
{
	const Function &f = *r.fn;
	const Adapter &a = r.m.adapters[f.adapter];
	auto &v = r.as<qor_ioctl_ioc_info_t>();
	const uint16_t inst = v.qord_num;
	memset(&v, 0, sizeof v);
	v.qord_num = inst;
	put(v.serialnum, a.serial);
	put(v.hwpath, f.hwpath);
	put(v.adapter_hwpath, a.hwpath);
	put(v.guid, a.serial + "-" + std::to_string(f.pcifn));
	put(v.name, a.name[f.drv]);
	put(v.port_name, f.port_name);
	put(v.eth_name, f.eth_name);
	v.pwwn = f.pwwn;
	v.nwwn = f.nwwn;
	v.factorypwwn = f.factory_pwwn;
	v.factorynwwn = f.factory_nwwn;
	v.mac = f.mac;
	v.factory_mac = f.factory_mac;
	v.current_mac = f.current_mac;
	v.ioc_type = f.ioc_type;
	v.pvid = f.pvid;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_get_stats(Req &r)
{
	auto &v = r.as<qor_ioctl_ioc_stats_t>();
	v.ioc_stats = r.fn->stats;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_reset_stats(Req &r)
{
	r.fn->stats = qor_ioc_stats_t{};
	status_of(r) = QOR_STATUS_OK;
	return 0;
}

int h_get_fwstats(Req &r)
{
	auto &v = r.as<qor_ioctl_ioc_fwstats_t>();
	if (v.buf_size != sizeof(qor_fw_stats_t)) {
		v.status = QOR_STATUS_EINVAL;
		return 0;
	}
	if (int e = copy_to_user(v.buf_ptr, &r.fn->fwstats, sizeof(qor_fw_stats_t)))
		return e;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_reset_fwstats(Req &r)
{
	r.fn->fwstats = qor_fw_stats_t{};
	status_of(r) = QOR_STATUS_OK;
	return 0;
}

// The adapter name of one driver: every function of that driver on the card.
int h_adapter_name(Req &r)
{
	auto &v = r.as<qor_ioctl_ioc_set_adapter_name_t>();
	std::string name;
	if (!get_name(v.name, name)) {
		v.status = QOR_STATUS_EINVAL;
		return 0;
	}
	r.m.adapters[r.fn->adapter].name[r.drv] = name;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_port_name(Req &r)
{
	auto &v = r.as<qor_ioctl_ioc_set_adapter_name_t>();
	std::string name;
	if (!get_name(v.name, name)) {
		v.status = QOR_STATUS_EINVAL;
		return 0;
	}
	r.fn->port_name = name;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_iocfc_attr(Req &r)
{
	auto &v = r.as<qor_ioctl_iocfc_attr_t>();
	v.iocfc_attr = r.fn->iocfc;
	r.fn->fwstats.iocfc_stats.cfg_reqs++;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_iocfc_intr(Req &r)
{
	auto &v = r.as<qor_ioctl_iocfc_intr_t>();
	qor_iocfc_intr_attr_t &ia = r.fn->iocfc.intr_attr;
	ia.coalesce = v.attr.coalesce ? 1 : 0;
	ia.delay = v.attr.delay;
	ia.latency = v.attr.latency;
	r.fn->fwstats.iocfc_stats.set_intr_reqs++;
	v.status = QOR_STATUS_OK;
	return 0;
}

} // namespace
} // namespace qorsim

using namespace qorsim;

// clang-format off
QORSIM_HANDLER(IOC_GET_VERSION,   h_version);
QORSIM_HANDLER(IOC_GET_INST,      h_get_inst);
QORSIM_HANDLER(IOC_ENABLE,        h_enable);
QORSIM_HANDLER(IOC_DISABLE,       h_disable);
QORSIM_HANDLER(IOC_GET_ATTR,      h_get_attr);
QORSIM_HANDLER(IOC_GET_INFO,      h_get_info);
QORSIM_HANDLER(IOC_GET_STATS,     h_get_stats);
QORSIM_HANDLER(IOC_RESET_STATS,   h_reset_stats);
QORSIM_HANDLER(ADAPTER_SET_NAME,  h_adapter_name);
QORSIM_HANDLER(IOC_SET_NAME,      h_port_name);
QORSIM_HANDLER(IOC_GET_FWSTATS,   h_get_fwstats);
QORSIM_HANDLER(IOC_RESET_FWSTATS, h_reset_fwstats);
QORSIM_HANDLER(IOCFC_GET_ATTR,    h_iocfc_attr);
QORSIM_HANDLER(IOCFC_SET_INTR,    h_iocfc_intr);
// clang-format on
