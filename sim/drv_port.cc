// Physical port, trunk, Ethernet port and FCoE requests of the emulated
// drivers; the settings are checked and taken by the SAN model.
#include "san.h"

#include <cerrno>
#include <cstring>

namespace qorsim {
namespace {

using namespace san;

// Every request on a live port sees some traffic on the wire.
void tick(Function &f)
{
	if (!link_up(f))
		return;
	Port &p = port_of(f);
	p.activity++;
	if (p.eth) {
		qor_ethport_stats_t &s = p.eth_stats;
		s.txf_stats.ucast += 40;
		s.txf_stats.ucast_octets += 40 * 1024;
		s.rxf_stats.ucast += 60;
		s.rxf_stats.ucast_octets += 60 * 1400;
		s.rxf_stats.bcast += 1;
		s.drv_stats.rx_complete += 60;
		s.drv_stats.tx_tcp_cso += 30;
		p.stats.eth.tx_packets += 40;
		p.stats.eth.rx_packets += 61;
		p.stats.eth.frame_1024_1518 += 90;
		return;
	}
	if (p.fcoe) {
		p.fcoe_stats.txf_ucast += 20;
		p.fcoe_stats.txf_ucast_octets += 20 * 2048;
		p.fcoe_stats.rxf_ucast += 30;
		p.fcoe_stats.rxf_ucast_octets += 30 * 2048;
		p.stats.eth.tx_packets += 20;
		p.stats.eth.rx_packets += 30;
		p.stats.eth.tx_bytes += 20 * 2112;
		p.stats.eth.rx_bytes += 30 * 2112;
		return;
	}
	p.stats.fc.tx_frames += 10;
	p.stats.fc.rx_frames += 14;
	p.stats.fc.tx_words += 10 * 540;
	p.stats.fc.rx_words += 14 * 540;
}

// Seconds since the counters were reset, in the place both stats members share.
uint32_t secs_reset(const Req &r, const Port &p)
{
	return static_cast<uint32_t>(r.m.now_ns / 1000000000u + p.activity);
}

int h_port_enable(Req &r)
{
	return reply(r, set_enabled(*r.fn, true));
}

int h_port_disable(Req &r)
{
	return reply(r, set_enabled(*r.fn, false));
}

int h_port_attr(Req &r)
{
	Function &f = *r.fn;
	Port &p = port_of(f);
	tick(f);
	qor_port_attr_t &a = r.as<qor_ioctl_port_attr_t>().attr;
	memset(&a, 0, sizeof a);
	a.nwwn = f.nwwn;
	a.pwwn = f.pwwn;
	a.factorynwwn = f.factory_nwwn;
	a.factorypwwn = f.factory_pwwn;
	a.cos_supported = p.eth ? 0 : FC_CLASS_3;
	const Adapter &ad = r.m.adapters[f.adapter];
	snprintf(a.port_symname.symname, sizeof a.port_symname.symname, "%s | %s | port %d", ad.attr.model,
		 ad.driver[f.drv].driver_ver, f.port);
	a.speed_supported = p.speed_supported;
	a.pport_cfg.topology = p.cfg_topo;
	a.pport_cfg.speed = p.cfg_speed;
	a.pport_cfg.trunked = p.trunked;
	a.pport_cfg.cfg_hardalpa = p.cfg_hardalpa;
	a.pport_cfg.hardalpa = p.hardalpa;
	a.pport_cfg.maxfrsize = p.maxfrsize;
	a.pport_cfg.rx_bbcredit = a.pport_cfg.tx_bbcredit = p.eth ? 0 : 16;
	a.pport_cfg.ratelimit = p.ratelimit;
	a.pport_cfg.trl_def_speed = QOR_PORT_SPEED_1GBPS;
	a.pport_cfg.path_tov = 30;
	a.pport_cfg.q_depth = 32;
	a.port_state = port_state(f);
	a.speed = op_speed(f);
	const bool up = link_up(f);
	a.topology = !up || p.eth ? QOR_PORT_TOPOLOGY_NONE
		     : p.link == Link::loop ? QOR_PORT_TOPOLOGY_LOOP
					    : QOR_PORT_TOPOLOGY_P2P;
	a.pid = up && !p.eth ? p.pid : 0;
	a.port_type = !up || p.eth ? QOR_PORT_TYPE_UNKNOWN
		      : p.link == Link::loop ? QOR_PORT_TYPE_NLPORT
		      : p.link == Link::p2p ? QOR_PORT_TYPE_P2P
					    : QOR_PORT_TYPE_NPORT;
	a.io_profile = p.io_profile;
	a.fcoe_vlan = p.fcoe_vlan;
	return reply(r, QOR_STATUS_OK);
}

int h_port_stats(Req &r)
{
	Port &p = port_of(*r.fn);
	tick(*r.fn);
	auto &v = r.as<qor_ioctl_port_stats_t>();
	if (v.buf_size < sizeof(qor_port_stats_t))
		return reply(r, QOR_STATUS_EINVAL);
	qor_port_stats_t s = p.stats;
	s.fc.secs_reset = secs_reset(r, p);
	if (int e = copy_to_user(v.buf_ptr, &s, sizeof s))
		return e;
	return reply(r, QOR_STATUS_OK);
}

int h_port_reset_stats(Req &r)
{
	Port &p = port_of(*r.fn);
	p.stats = qor_port_stats_t{};
	p.eth_stats = qor_ethport_stats_t{};
	p.activity = 0;
	return reply(r, QOR_STATUS_OK);
}

int h_port_topo(Req &r)
{
	return reply(r, set_topology(*r.fn, r.as<qor_ioctl_port_cfg_topo_t>().topo));
}

int h_port_speed(Req &r)
{
	return reply(r, set_speed(*r.fn, r.as<qor_ioctl_port_cfg_speed_t>().speed));
}

int h_port_alpa(Req &r)
{
	return reply(r, set_hardalpa(*r.fn, true, r.as<qor_ioctl_port_alpa_t>().alpa));
}

int h_port_clr_alpa(Req &r)
{
	return reply(r, set_hardalpa(*r.fn, false, 0));
}

int h_port_maxfrsz(Req &r)
{
	return reply(r, set_maxfrsize(*r.fn, r.as<qor_ioctl_port_cfg_maxfrsize_t>().maxfrsize));
}

int h_port_set_rnid(Req &r)
{
	const qor_port_rnid_t &info = r.as<qor_ioctl_port_rnid_t>().info;
	if (info.ip_version != 0 && info.ip_version != 4 && info.ip_version != 6)
		return reply(r, QOR_STATUS_EINVAL);
	port_of(*r.fn).rnid = info;
	return reply(r, QOR_STATUS_OK);
}

int h_port_get_rnid(Req &r)
{
	r.as<qor_ioctl_port_rnid_t>().info = port_of(*r.fn).rnid;
	return reply(r, QOR_STATUS_OK);
}

int h_trunk_on(Req &r)
{
	return reply(r, set_trunked(r.m, *r.fn, true));
}

int h_trunk_off(Req &r)
{
	return reply(r, set_trunked(r.m, *r.fn, false));
}

int h_trunk_attr(Req &r)
{
	auto &v = r.as<qor_ioctl_trunk_attr_t>();
	const Adapter &a = r.m.adapters[r.fn->adapter];
	if (!a.attr.trunk_capable || r.fn->ioc_type != QOR_IOC_TYPE_FC)
		return reply(r, QOR_STATUS_TRUNK_UNSUPP);
	memset(&v.attr, 0, sizeof v.attr);
	bool all = true, any_up = false;
	int k = 0;
	for (int i : a.fns) {
		Function &f = r.m.fns[i];
		if (f.ioc_type != QOR_IOC_TYPE_FC || k >= QOR_TRUNK_MAX_PORTS)
			continue;
		const Port &p = port_of(f);
		const bool up = p.trunked && link_up(f);
		all = all && p.trunked;
		auto &l = v.attr.link_attr[k++];
		l.trunk_wwn = f.pwwn;
		l.fctl = QOR_TRUNK_LINK_FCTL_NORMAL;
		l.link_state = !p.trunked ? QOR_TRUNK_LINK_STATE_DN_MODE_MIS
			       : up	  ? QOR_TRUNK_LINK_STATE_UP
					  : QOR_TRUNK_LINK_STATE_DN_LINKDN;
		l.speed = op_speed(f);
		any_up = any_up || up;
		v.attr.speed += up ? op_speed(f) : 0;
	}
	v.attr.state = !all ? QOR_TRUNK_DISABLED : any_up ? QOR_TRUNK_ONLINE : QOR_TRUNK_OFFLINE;
	if (v.attr.state != QOR_TRUNK_ONLINE)
		v.attr.speed = 0;
	v.attr.port_id = port_of(*r.fn).pid;
	return reply(r, QOR_STATUS_OK);
}

int h_eth_stats(Req &r)
{
	tick(*r.fn);
	r.as<qor_ioctl_ethport_stats_t>().stats = port_of(*r.fn).eth_stats;
	return reply(r, QOR_STATUS_OK);
}

int h_eth_attr(Req &r)
{
	qor_ethport_attr_t &a = r.as<qor_ioctl_ethport_attr_t>().attr;
	a = port_of(*r.fn).eth_attr;
	a.port_state = port_state(*r.fn);
	a.speed = link_up(*r.fn) ? QOR_PORT_SPEED_10GBPS : QOR_PORT_SPEED_UNKNOWN;
	return reply(r, QOR_STATUS_OK);
}

// FCoE requests on a plain FC function are not understood.
template <int (*Handler)(Req &)> int fcoe_only(Req &r)
{
	return r.fn->ioc_type == QOR_IOC_TYPE_FCoE ? Handler(r) : reply(r, QOR_STATUS_CMD_NOTSUPP);
}

int h_fcoe_stats(Req &r)
{
	Port &p = port_of(*r.fn);
	tick(*r.fn);
	auto &v = r.as<qor_ioctl_fcport_stats_t>();
	v.stats.fcoe = p.fcoe_stats;
	v.stats.fcoe.secs_reset = secs_reset(r, p);
	return reply(r, QOR_STATUS_OK);
}

int h_fcoe_reset(Req &r)
{
	port_of(*r.fn).fcoe_stats = qor_fcoe_stats_s{};
	return reply(r, QOR_STATUS_OK);
}

} // namespace
} // namespace qorsim

using namespace qorsim;

// clang-format off
QORSIM_HANDLER(PORT_ENABLE,       h_port_enable);
QORSIM_HANDLER(PORT_DISABLE,      h_port_disable);
QORSIM_HANDLER(PORT_GET_ATTR,     h_port_attr);
QORSIM_HANDLER(PORT_GET_STATS,    h_port_stats);
QORSIM_HANDLER(PORT_RESET_STATS,  h_port_reset_stats);
QORSIM_HANDLER(PORT_CFG_TOPO,     h_port_topo);
QORSIM_HANDLER(PORT_CFG_SPEED,    h_port_speed);
QORSIM_HANDLER(PORT_CFG_ALPA,     h_port_alpa);
QORSIM_HANDLER(PORT_CLR_ALPA,     h_port_clr_alpa);
QORSIM_HANDLER(PORT_CFG_MAXFRSZ,  h_port_maxfrsz);
QORSIM_HANDLER(PORT_CFG_RNID,     h_port_set_rnid);
QORSIM_HANDLER(PORT_GET_RNID,     h_port_get_rnid);
QORSIM_HANDLER(ETHPORT_GET_STATS, h_eth_stats);
QORSIM_HANDLER(ETHPORT_GET_ATTR,  h_eth_attr);
QORSIM_HANDLER(FCOE_GET_STATS,    fcoe_only<h_fcoe_stats>);
QORSIM_HANDLER(FCOE_RESET_STATS,  fcoe_only<h_fcoe_reset>);
QORSIM_HANDLER(FCOE_ENABLE,       fcoe_only<h_port_enable>);
QORSIM_HANDLER(FCOE_DISABLE,      fcoe_only<h_port_disable>);
QORSIM_HANDLER(TRUNK_ENABLE,      h_trunk_on);
QORSIM_HANDLER(TRUNK_DISABLE,     h_trunk_off);
QORSIM_HANDLER(TRUNK_GET_ATTR,    h_trunk_attr);
// clang-format on
