// Controller requests of both drivers: version, instance list, identity,
// attributes, statistics, enable/disable, names, FC attributes and
// interrupt coalescing.
#include "sim.h"

#include <cerrno>
#include <cstring>

namespace qorsim {
namespace {

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
	if (f.state == done)
		return reply(r, Enable ? QOR_STATUS_IOC_ENABLED : QOR_STATUS_IOC_DISABLED);
	if (f.state != moving)
		start_transition(r.m, f, moving, done);
	return reply(r, QOR_STATUS_OK);
}

int h_enable(Req &r)
{
	return h_switch<true>(r);
}

int h_disable(Req &r)
{
	return h_switch<false>(r);
}

int h_get_attr(Req &r)
{
	Function &f = *r.fn;
	const Adapter &a = r.m.adapters[f.adapter];
	qor_ioc_attr_t &at = r.as<qor_ioctl_ioc_attr_t>().ioc_attr;
	memset(&at, 0, sizeof at);
	at.ioc_type = f.ioc_type;
	at.state = f.state;
	at.adapter_attr = a.attr;
	at.adapter_attr.pwwn = f.pwwn;
	memcpy(at.adapter_attr.mac, f.mac.mac, 6);
	at.driver_attr = a.driver[f.drv];
	at.pci_attr = a.pci;
	at.pci_attr.device_id = f.device_id;
	at.pci_attr.pcifn = f.pcifn;
	flash_attr(r.m, r.m.adapters[f.adapter], at);
	at.port_id = static_cast<uint8_t>(f.port);
	f.fwstats.ioc_stats.get_attr_reqs++;
	f.stats.fw_stats.get_attr_reqs++;
	return reply(r, QOR_STATUS_OK);
}

int h_get_info(Req &r)
{
	const Function &f = *r.fn;
	const Adapter &a = r.m.adapters[f.adapter];
	auto &v = r.as<qor_ioctl_ioc_info_t>();
	const uint16_t inst = v.qord_num;
	memset(&v, 0, sizeof v);
	v.qord_num = inst;
	put_text(v.serialnum, a.serial);
	put_text(v.hwpath, f.hwpath);
	put_text(v.adapter_hwpath, a.hwpath);
	put_text(v.guid, a.serial + "-" + std::to_string(f.pcifn));
	put_text(v.name, a.name[f.drv]);
	put_text(v.port_name, f.port_name);
	put_text(v.eth_name, f.eth_name);
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
	r.as<qor_ioctl_ioc_stats_t>().ioc_stats = r.fn->stats;
	return reply(r, QOR_STATUS_OK);
}

int h_reset_stats(Req &r)
{
	r.fn->stats = qor_ioc_stats_t{};
	return reply(r, QOR_STATUS_OK);
}

int h_get_fwstats(Req &r)
{
	auto &v = r.as<qor_ioctl_ioc_fwstats_t>();
	if (v.buf_size != sizeof(qor_fw_stats_t))
		return reply(r, QOR_STATUS_EINVAL);
	if (int e = copy_to_user(v.buf_ptr, &r.fn->fwstats, sizeof(qor_fw_stats_t)))
		return e;
	return reply(r, QOR_STATUS_OK);
}

int h_reset_fwstats(Req &r)
{
	r.fn->fwstats = qor_fw_stats_t{};
	return reply(r, QOR_STATUS_OK);
}

// A name from a caller must be terminated within its 64 bytes.
int set_name(Req &r, std::string &dst)
{
	const char(&src)[64] = r.as<qor_ioctl_ioc_set_adapter_name_t>().name;
	const void *nul = memchr(src, '\0', sizeof src);
	if (!nul)
		return reply(r, QOR_STATUS_EINVAL);
	dst.assign(src, static_cast<const char *>(nul));
	return reply(r, QOR_STATUS_OK);
}

// The adapter name of one driver: every function of that driver on the card.
int h_adapter_name(Req &r)
{
	return set_name(r, r.m.adapters[r.fn->adapter].name[r.drv]);
}

int h_port_name(Req &r)
{
	return set_name(r, r.fn->port_name);
}

int h_iocfc_attr(Req &r)
{
	r.as<qor_ioctl_iocfc_attr_t>().iocfc_attr = r.fn->iocfc;
	r.fn->fwstats.iocfc_stats.cfg_reqs++;
	return reply(r, QOR_STATUS_OK);
}

int h_iocfc_intr(Req &r)
{
	const qor_iocfc_intr_attr_t &in = r.as<qor_ioctl_iocfc_intr_t>().attr;
	qor_iocfc_intr_attr_t &ia = r.fn->iocfc.intr_attr;
	ia.coalesce = in.coalesce ? 1 : 0;
	ia.delay = in.delay;
	ia.latency = in.latency;
	r.fn->fwstats.iocfc_stats.set_intr_reqs++;
	return reply(r, QOR_STATUS_OK);
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
