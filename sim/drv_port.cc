// Physical port, trunk, Ethernet port and FCoE requests of the emulated
// drivers, validated the way a driver would.
#include "san.h"

#include <cerrno>
#include <cstring>

namespace qorsim {
namespace {

using namespace san;

uint32_t &status_of(Req &r) { return r.as<qor_ioctl_gen_t>().status; }

bool valid_speed(uint32_t s)
{
	return s == 1 || s == 2 || s == 4 || s == 8 || s == 10 || s == 16;
}

// Arbitrated loop physical addresses with neutral running disparity (FC-AL).
bool valid_alpa(uint8_t a)
{
	static const uint8_t ok[] = {
		0x01, 0x02, 0x04, 0x08, 0x0F, 0x10, 0x17, 0x18, 0x1B, 0x1D, 0x1E, 0x1F, 0x23, 0x25, 0x26, 0x27,
		0x29, 0x2A, 0x2B, 0x2C, 0x2D, 0x2E, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x39, 0x3A, 0x3C, 0x43,
		0x45, 0x46, 0x47, 0x49, 0x4A, 0x4B, 0x4C, 0x4D, 0x4E, 0x51, 0x52, 0x53, 0x54, 0x55, 0x56, 0x59,
		0x5A, 0x5C, 0x63, 0x65, 0x66, 0x67, 0x69, 0x6A, 0x6B, 0x6C, 0x6D, 0x6E, 0x71, 0x72, 0x73, 0x74,
		0x75, 0x76, 0x79, 0x7A, 0x7C, 0x80, 0x81, 0x82, 0x84, 0x88, 0x8F, 0x90, 0x97, 0x98, 0x9B, 0x9D,
		0x9E, 0x9F, 0xA3, 0xA5, 0xA6, 0xA7, 0xA9, 0xAA, 0xAB, 0xAC, 0xAD, 0xAE, 0xB1, 0xB2, 0xB3, 0xB4,
		0xB5, 0xB6, 0xB9, 0xBA, 0xBC, 0xC3, 0xC5, 0xC6, 0xC7, 0xC9, 0xCA, 0xCB, 0xCC, 0xCD, 0xCE, 0xD1,
		0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD9, 0xDA, 0xDC, 0xE0, 0xE1, 0xE2, 0xE4, 0xE8, 0xEF};
	for (uint8_t x : ok)
		if (x == a)
			return true;
	return false;
}

uint32_t op_speed(const Port &p)
{
	if (!link_up(p))
		return QOR_PORT_SPEED_UNKNOWN;
	if (p.cfg_speed != QOR_PORT_SPEED_AUTO)
		return p.cfg_speed;
	return p.link_speed < p.speed_supported ? p.link_speed : p.speed_supported;
}

// Every request on a live port sees some traffic on the wire.
void tick(Port &p)
{
	if (!link_up(p))
		return;
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

bool is_cna_side(const Function &f)
{
	return f.ioc_type != QOR_IOC_TYPE_FC;
}

int h_port_enable(Req &r)
{
	Port &p = port_of(*r.fn);
	if (!p.enabled) {
		p.enabled = true;
		if (p.fcoe)
			p.fcoe_stats.fip_linkups++;
	}
	status_of(r) = QOR_STATUS_OK;
	return 0;
}

int h_port_disable(Req &r)
{
	Port &p = port_of(*r.fn);
	if (p.enabled) {
		p.enabled = false;
		if (p.fcoe)
			p.fcoe_stats.fip_linkdns++;
	}
	status_of(r) = QOR_STATUS_OK;
	return 0;
}

int h_port_attr(Req &r)
{
	Function &f = *r.fn;
	Port &p = port_of(f);
	tick(p);
	auto &v = r.as<qor_ioctl_port_attr_t>();
	qor_port_attr_t &a = v.attr;
	memset(&a, 0, sizeof a);
	a.nwwn = f.nwwn;
	a.pwwn = f.pwwn;
	a.factorynwwn = f.factory_nwwn;
	a.factorypwwn = f.factory_pwwn;
	a.cos_supported = p.eth ? 0 : FC_CLASS_3;
	const Adapter &ad = r.m.adapters[f.adapter];
	snprintf(a.port_symname.symname, sizeof a.port_symname.symname, "%s | %s | port %d", ad.model.c_str(),
		 ad.driver_ver[f.drv].c_str(), f.port);
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
	a.port_state = port_state(p);
	a.speed = op_speed(p);
	const bool up = link_up(p);
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
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_port_stats(Req &r)
{
	Port &p = port_of(*r.fn);
	tick(p);
	auto &v = r.as<qor_ioctl_port_stats_t>();
	if (v.buf_size < sizeof(qor_port_stats_t)) {
		v.status = QOR_STATUS_EINVAL;
		return 0;
	}
	qor_port_stats_t s = p.stats;
	s.fc.secs_reset = r.m.now_ns / 1000000000u + p.activity; // same place in both members
	if (int e = copy_to_user(v.buf_ptr, &s, sizeof s))
		return e;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_port_reset_stats(Req &r)
{
	Port &p = port_of(*r.fn);
	p.stats = qor_port_stats_t{};
	p.eth_stats = qor_ethport_stats_t{};
	p.activity = 0;
	status_of(r) = QOR_STATUS_OK;
	return 0;
}

int h_port_topo(Req &r)
{
	auto &v = r.as<qor_ioctl_port_cfg_topo_t>();
	Port &p = port_of(*r.fn);
	if (is_cna_side(*r.fn))
		v.status = QOR_STATUS_NO_TOPOLOGY_FOR_CNA;
	else if (v.topo < QOR_PORT_TOPOLOGY_P2P || v.topo > QOR_PORT_TOPOLOGY_AUTO)
		v.status = QOR_STATUS_EINVAL;
	else if (v.topo == QOR_PORT_TOPOLOGY_LOOP && p.trunked)
		v.status = QOR_STATUS_TRUNK_ENABLED;
	else {
		p.cfg_topo = (uint8_t)v.topo;
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_port_speed(Req &r)
{
	auto &v = r.as<qor_ioctl_port_cfg_speed_t>();
	Port &p = port_of(*r.fn);
	if (is_cna_side(*r.fn))
		v.status = QOR_STATUS_CMD_NOTSUPP_CNA;
	else if (v.speed != QOR_PORT_SPEED_AUTO && (!valid_speed(v.speed) || v.speed > p.speed_supported))
		v.status = QOR_STATUS_UNSUPP_SPEED;
	else if (v.speed == QOR_PORT_SPEED_1GBPS && p.speed_supported >= QOR_PORT_SPEED_8GBPS)
		v.status = QOR_STATUS_UNSUPP_SPEED; // 8G optics do not run at 1G
	else {
		p.cfg_speed = (uint8_t)v.speed;
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_port_alpa(Req &r)
{
	auto &v = r.as<qor_ioctl_port_alpa_t>();
	Port &p = port_of(*r.fn);
	if (is_cna_side(*r.fn))
		v.status = QOR_STATUS_CMD_NOTSUPP_CNA;
	else if (!valid_alpa(v.alpa))
		v.status = QOR_STATUS_EINVAL;
	else {
		p.cfg_hardalpa = true;
		p.hardalpa = v.alpa;
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_port_clr_alpa(Req &r)
{
	auto &v = r.as<qor_ioctl_port_alpa_t>();
	Port &p = port_of(*r.fn);
	if (is_cna_side(*r.fn)) {
		v.status = QOR_STATUS_CMD_NOTSUPP_CNA;
		return 0;
	}
	p.cfg_hardalpa = false;
	p.hardalpa = 0;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_port_maxfrsz(Req &r)
{
	auto &v = r.as<qor_ioctl_port_cfg_maxfrsize_t>();
	Port &p = port_of(*r.fn);
	const uint16_t n = v.maxfrsize;
	if (n != 512 && n != 1024 && n != 2048 && n != 2112)
		v.status = QOR_STATUS_INVLD_DFSZ;
	else {
		p.maxfrsize = n;
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_port_set_rnid(Req &r)
{
	auto &v = r.as<qor_ioctl_port_rnid_t>();
	Port &p = port_of(*r.fn);
	if (v.info.ip_version != 0 && v.info.ip_version != 4 && v.info.ip_version != 6)
		v.status = QOR_STATUS_EINVAL;
	else {
		p.rnid = v.info;
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_port_get_rnid(Req &r)
{
	auto &v = r.as<qor_ioctl_port_rnid_t>();
	v.info = port_of(*r.fn).rnid;
	v.status = QOR_STATUS_OK;
	return 0;
}

bool trunk_capable(Req &r)
{
	return r.m.adapters[r.fn->adapter].trunk_capable;
}

int h_trunk_switch(Req &r, bool on)
{
	Port &p = port_of(*r.fn);
	if (!trunk_capable(r) || r.fn->ioc_type != QOR_IOC_TYPE_FC)
		status_of(r) = QOR_STATUS_TRUNK_UNSUPP;
	else if (on && p.ratelimit)
		status_of(r) = QOR_STATUS_TRUNK_ERROR_TRL_ENABLED;
	else if (on && p.cfg_topo == QOR_PORT_TOPOLOGY_LOOP)
		status_of(r) = QOR_STATUS_CNFG_FAILED;
	else {
		p.trunked = on;
		status_of(r) = QOR_STATUS_OK;
	}
	return 0;
}

int h_trunk_on(Req &r) { return h_trunk_switch(r, true); }
int h_trunk_off(Req &r) { return h_trunk_switch(r, false); }

int h_trunk_attr(Req &r)
{
	auto &v = r.as<qor_ioctl_trunk_attr_t>();
	if (!trunk_capable(r) || r.fn->ioc_type != QOR_IOC_TYPE_FC) {
		v.status = QOR_STATUS_TRUNK_UNSUPP;
		return 0;
	}
	memset(&v.attr, 0, sizeof v.attr);
	const Adapter &a = r.m.adapters[r.fn->adapter];
	bool all = true, any_up = false;
	int k = 0;
	for (int i : a.fns) {
		Function &f = r.m.fns[i];
		if (f.ioc_type != QOR_IOC_TYPE_FC || k >= QOR_TRUNK_MAX_PORTS)
			continue;
		Port &p = port_of(f);
		all = all && p.trunked;
		auto &l = v.attr.link_attr[k++];
		l.trunk_wwn = f.pwwn;
		l.fctl = QOR_TRUNK_LINK_FCTL_NORMAL;
		l.link_state = !p.trunked ? QOR_TRUNK_LINK_STATE_DN_MODE_MIS
			       : link_up(p) ? QOR_TRUNK_LINK_STATE_UP
					    : QOR_TRUNK_LINK_STATE_DN_LINKDN;
		l.speed = op_speed(p);
		any_up = any_up || (p.trunked && link_up(p));
		v.attr.speed += p.trunked && link_up(p) ? op_speed(p) : 0;
	}
	v.attr.state = !all ? QOR_TRUNK_DISABLED : any_up ? QOR_TRUNK_ONLINE : QOR_TRUNK_OFFLINE;
	if (v.attr.state != QOR_TRUNK_ONLINE)
		v.attr.speed = 0;
	v.attr.port_id = port_of(*r.fn).pid;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_eth_stats(Req &r)
{
	Port &p = port_of(*r.fn);
	tick(p);
	auto &v = r.as<qor_ioctl_ethport_stats_t>();
	v.stats = p.eth_stats;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_eth_attr(Req &r)
{
	Port &p = port_of(*r.fn);
	auto &v = r.as<qor_ioctl_ethport_attr_t>();
	v.attr = p.eth_attr;
	v.attr.port_state = port_state(p);
	v.attr.speed = link_up(p) ? QOR_PORT_SPEED_10GBPS : QOR_PORT_SPEED_UNKNOWN;
	v.status = QOR_STATUS_OK;
	return 0;
}

// FCoE requests on a plain FC function are not understood.
bool fcoe_only(Req &r)
{
	if (r.fn->ioc_type == QOR_IOC_TYPE_FCoE)
		return true;
	status_of(r) = QOR_STATUS_CMD_NOTSUPP;
	return false;
}

int h_fcoe_stats(Req &r)
{
	if (!fcoe_only(r))
		return 0;
	Port &p = port_of(*r.fn);
	tick(p);
	auto &v = r.as<qor_ioctl_fcport_stats_t>();
	v.stats.fcoe = p.fcoe_stats;
	v.stats.fcoe.secs_reset = r.m.now_ns / 1000000000u + p.activity;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_fcoe_reset(Req &r)
{
	if (!fcoe_only(r))
		return 0;
	Port &p = port_of(*r.fn);
	p.fcoe_stats = qor_fcoe_stats_s{};
	status_of(r) = QOR_STATUS_OK;
	return 0;
}

int h_fcoe_enable(Req &r)
{
	if (!fcoe_only(r))
		return 0;
	return h_port_enable(r);
}

int h_fcoe_disable(Req &r)
{
	if (!fcoe_only(r))
		return 0;
	return h_port_disable(r);
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
QORSIM_HANDLER(FCOE_GET_STATS,    h_fcoe_stats);
QORSIM_HANDLER(FCOE_RESET_STATS,  h_fcoe_reset);
QORSIM_HANDLER(FCOE_ENABLE,       h_fcoe_enable);
QORSIM_HANDLER(FCOE_DISABLE,      h_fcoe_disable);
QORSIM_HANDLER(TRUNK_ENABLE,      h_trunk_on);
QORSIM_HANDLER(TRUNK_DISABLE,     h_trunk_off);
QORSIM_HANDLER(TRUNK_GET_ATTR,    h_trunk_attr);
// clang-format on
