// Logical port, remote port, IT nexus and fabric pass-through requests,
// answered from the SAN model (sim/san_model.cc).
#include "san.h"
#include "scsi_model.h"

#include <cerrno>
#include <cstring>

#include "protocol/fc_ct.h"
#include "protocol/fc_els.h"

namespace qorsim {
namespace {

using namespace san;

// The logical port a record names: `lpwwn` where it has one, else `pwwn`.
template <class Rec> wwn_t lport_wwn(const Rec &v)
{
	if constexpr (requires { v.lpwwn; })
		return v.lpwwn;
	else
		return v.pwwn;
}

// The requests below name a logical port, a remote port of it, or the
// target of an IT nexus. Each finds what it names, or answers the driver's
// status for what is missing, then runs fn with the status set to OK; fn
// may set another and returns 0 or an errno.
template <class Rec, class Fn> int on_lport(Req &r, Fn fn)
{
	auto &v = r.as<Rec>();
	LPort *l = find_lport(port_of(*r.fn), v.vf_id, lport_wwn(v), &v.status);
	if (!l)
		return 0;
	v.status = QOR_STATUS_OK;
	return fn(v, *l);
}

template <class Rec, class Fn> int on_rport(Req &r, Fn fn)
{
	return on_lport<Rec>(r, [&](Rec &v, LPort &l) {
		RPort *rp = find_rport(l, v.rpwwn);
		if (!rp) {
			v.status = QOR_STATUS_UNKNOWN_RWWN;
			return 0;
		}
		return fn(v, l, *rp);
	});
}

// Initiators have no IT nexus.
template <class Rec, class Fn> int on_itnim(Req &r, Fn fn)
{
	return on_rport<Rec>(r, [&](Rec &v, LPort &l, RPort &rp) {
		if (!rp.target) {
			v.status = QOR_STATUS_NO_FCPIM_NEXUS;
			return 0;
		}
		return fn(v, l, rp, *rp.target);
	});
}

int h_lport_attr(Req &r)
{
	return on_lport<qor_ioctl_lport_attr_t>(r, [&](auto &v, LPort &l) {
		const Port &p = port_of(*r.fn);
		qor_lport_attr_t &a = v.port_attr;
		memset(&a, 0, sizeof a);
		const bool up = link_up(*r.fn);
		a.state = up ? QOR_LPORT_ONLINE : QOR_LPORT_OFFLINE;
		a.pid = up ? l.pid : 0;
		a.port_cfg.pwwn = l.pwwn;
		a.port_cfg.nwwn = l.nwwn;
		snprintf(a.port_cfg.sym_name.symname, sizeof a.port_cfg.sym_name.symname, "%s", l.symname.c_str());
		a.port_cfg.roles = l.roles;
		a.port_type = !up		   ? QOR_PORT_TYPE_UNKNOWN
			      : !l.base		   ? QOR_PORT_TYPE_VPORT
			      : p.link == Link::p2p  ? QOR_PORT_TYPE_P2P
			      : p.link == Link::loop ? QOR_PORT_TYPE_NLPORT
						     : QOR_PORT_TYPE_NPORT;
		a.fabric_name = p.fabric_name;
		if (p.fcoe)
			memcpy(a.fpma_mac, r.fn->mac.mac, 6);
		return 0;
	});
}

int h_lport_iostats(Req &r)
{
	return on_lport<qor_ioctl_lport_iostats_t>(r, [](auto &v, LPort &l) { return v.iostats = l.io, 0; });
}

int h_lport_stats(Req &r)
{
	return on_lport<qor_ioctl_lport_stats_t>(r, [](auto &v, LPort &l) { return v.port_stats = l.stats, 0; });
}

int h_lport_reset(Req &r)
{
	return on_lport<qor_ioctl_lport_reset_stats_t>(r, [](auto &, LPort &l) {
		l.stats = qor_lport_stats_t{};
		l.io = qor_itnim_iostats_t{};
		return 0;
	});
}

// Writes what fits of the list and reports how many there are; a list that
// does not fit is refused, so a caller knows to ask again with more room.
int h_lport_rports(Req &r)
{
	return on_lport<qor_ioctl_lport_get_rports_t>(r, [](auto &v, LPort &l) {
		const uint32_t total = (uint32_t)l.rports.size();
		const uint32_t n = total < v.nrports ? total : v.nrports;
		std::vector<wwn_t> w(n);
		for (uint32_t i = 0; i < n; i++)
			w[i] = l.rports[i].pwwn;
		if (int e = copy_to_user(v.rbuf_ptr, w.data(), n * sizeof(wwn_t)))
			return e;
		v.status = total <= v.nrports ? QOR_STATUS_OK : QOR_STATUS_ENOMEM;
		v.nrports = total;
		return 0;
	});
}

// Adding a port already there does nothing; an unknown one is kept, but it
// cannot log in.
int h_rport_add(Req &r)
{
	return on_lport<qor_ioctl_rport_t>(r, [](auto &v, LPort &l) {
		if (v.rpwwn == 0)
			v.status = QOR_STATUS_INVALID_WWN;
		else if (!find_rport(l, v.rpwwn))
			l.rports.push_back(unknown_rport(v.rpwwn));
		return 0;
	});
}

int h_rport_remove(Req &r)
{
	return on_rport<qor_ioctl_rport_t>(r, [](auto &, LPort &l, RPort &rp) {
		l.rports.erase(l.rports.begin() + (&rp - l.rports.data()));
		return 0;
	});
}

int h_rport_stats(Req &r)
{
	return on_rport<qor_ioctl_rport_stats_t>(r, [](auto &v, LPort &, RPort &rp) { return v.stats = rp.stats, 0; });
}

int h_rport_reset(Req &r)
{
	return on_rport<qor_ioctl_rport_reset_stats_t>(r, [](auto &, LPort &, RPort &rp) {
		rp.stats = qor_rport_stats_t{};
		return 0;
	});
}

int h_rport_attr(Req &r)
{
	return on_rport<qor_ioctl_rport_attr_t>(r, [&](auto &v, LPort &, RPort &rp) {
		const Port &p = port_of(*r.fn);
		const bool up = rport_up(*r.fn, rp);
		qor_rport_attr_t &a = v.attr;
		memset(&a, 0, sizeof a);
		a.nwwn = rp.nwwn;
		a.pwwn = rp.pwwn;
		a.cos_supported = FC_CLASS_3;
		a.pid = up ? rp.pid : 0;
		a.df_sz = rp.df_sz;
		a.state = up ? QOR_RPORT_ONLINE : QOR_RPORT_OFFLINE;
		a.fc_cos = FC_CLASS_3;
		snprintf(a.symname.symname, sizeof a.symname.symname, "%s", rp.symname.c_str());
		a.scsi_function = rp.target ? QOR_RPORT_TARGET : QOR_RPORT_INITIATOR;
		const uint32_t sp = p.cfg_speed == QOR_PORT_SPEED_AUTO ? p.link_speed : p.cfg_speed;
		a.curr_speed = up ? (rp.assigned_speed ? rp.assigned_speed : sp) : 0;
		a.trl_enforced = rp.assigned_speed != 0 && p.ratelimit;
		a.assigned_speed = rp.assigned_speed;
		return 0;
	});
}

// A nexus whose remote port is logged in now.
template <class Rec, class Fn> int on_live_itnim(Req &r, Fn fn)
{
	return on_itnim<Rec>(r, [&](Rec &v, LPort &l, RPort &rp, Target &t) {
		if (!rport_up(*r.fn, rp)) {
			v.status = QOR_STATUS_RPORT_OFFLINE;
			return 0;
		}
		return fn(v, l, rp, t);
	});
}

int h_rport_scsi(Req &r)
{
	return on_live_itnim<qor_ioctl_rport_scsi_addr_t>(r, [](auto &v, LPort &, RPort &, Target &t) {
		v.host = t.host;
		v.bus = t.bus;
		v.target = t.id;
		v.lun = 0;
		return 0;
	});
}

// A command to a logical unit: sense length and SCSI status say nothing
// until the target has answered.
int h_scsi(Req &r)
{
	auto &rec = r.as<qor_ioctl_scsi_t>();
	const uint32_t sense_room = rec.snssz;
	rec.snssz = 0;
	rec.scsi_status = SCSI_STATUS_GOOD;
	return on_live_itnim<qor_ioctl_scsi_t>(r, [&](auto &v, LPort &, RPort &rp, Target &t) {
		return scsi::exchange(t.lus, rp.pwwn, v, sense_room);
	});
}

int h_rport_speed(Req &r)
{
	return on_rport<qor_ioctl_rport_set_speed_t>(r, [&](auto &v, LPort &, RPort &rp) {
		if (!speed_fits(port_of(*r.fn), v.speed))
			v.status = QOR_STATUS_UNSUPP_SPEED;
		else
			rp.assigned_speed = v.speed == QOR_PORT_SPEED_AUTO ? 0 : v.speed;
		return 0;
	});
}

int h_itnim_attr(Req &r)
{
	return on_itnim<qor_ioctl_itnim_attr_t>(r, [&](auto &v, LPort &, RPort &rp, Target &) {
		memset(&v.attr, 0, sizeof v.attr);
		v.attr.state = rport_up(*r.fn, rp) ? QOR_ITNIM_ONLINE : QOR_ITNIM_OFFLINE;
		v.attr.rec_support = 1;
		return 0;
	});
}

int h_itnim_iostats(Req &r)
{
	return on_itnim<qor_ioctl_itnim_iostats_t>(r, [&](auto &v, LPort &l, RPort &rp, Target &t) {
		traffic(*r.fn, l, rp);
		return v.iostats = t.io, 0;
	});
}

int h_itnim_reset(Req &r)
{
	return on_itnim<qor_ioctl_itnim_reset_stats_t>(r, [](auto &, LPort &, RPort &, Target &t) {
		t.io = qor_itnim_iostats_t{};
		t.itn = qor_itnim_stats_t{};
		return 0;
	});
}

int h_itnim_itnstats(Req &r)
{
	return on_itnim<qor_ioctl_itnim_itnstats_t>(r, [](auto &v, LPort &, RPort &, Target &t) { return v.itnstats = t.itn, 0; });
}

int h_itnim_ioprofile(Req &r)
{
	return on_itnim<qor_ioctl_itnim_ioprofile_t>(r, [&](auto &v, LPort &, RPort &, Target &t) {
		if (port_of(*r.fn).io_profile)
			v.ioprofile = t.prof;
		else
			v.status = QOR_STATUS_IOPROFILE_OFF;
		return 0;
	});
}

// ---- fabric pass-through ---------------------------------------------------------

constexpr uint32_t kMaxPayload = 4096;

bool fchdr_ok(const fchs_t &h, uint8_t r_ctl, uint8_t type, const uint8_t d_id[3], uint32_t s_pid)
{
	uint8_t s_id[3];
	fc_pid_to_wire(s_pid, s_id);
	return h.r_ctl == r_ctl && h.type == type && memcmp(h.d_id, d_id, 3) == 0 && memcmp(h.s_id, s_id, 3) == 0 &&
	       fc_get_be24(h.f_ctl) == FC_FCTL_REQ_SINGLE && fc_get_be16(h.rx_id) == 0xFFFF && h.cs_ctl == 0 &&
	       h.df_ctl == 0 && fc_get_be16(h.seq_cnt) == 0;
}

// The fabric's answer to a checked frame, or the status that refuses it. CT
// units go to the directory or the management server, both of which pass
// name server queries to the name server; link services go to a remote
// port, or to a domain controller (dst null, the switch's WWN or none given).
uint32_t route(Function &f, qor_ioctl_fcpt_t &v, LPort &l, RPort *dst, const std::vector<uint8_t> &req,
	       std::vector<uint8_t> &out)
{
	const Port &p = port_of(f);
	if (v.fchs.r_ctl == FC_RCTL_FC4_UNSOL_CTL) {
		uint8_t server[3];
		fc_put_be24(server, fc_get_be24(v.fchs.d_id) == FC_MANAGEMENT_SERVER ? FC_MANAGEMENT_SERVER
										      : FC_DIRECTORY_SERVER);
		if (p.link != Link::fabric)
			return QOR_STATUS_NO_FABRIC;
		if (!fchdr_ok(v.fchs, FC_RCTL_FC4_UNSOL_CTL, FC_TYPE_SERVICES, server, l.pid) ||
		    req.size() < sizeof(ct_hdr_t))
			return QOR_STATUS_BADFRMHDR;
		out = name_server(l, req);
		return QOR_STATUS_OK;
	}
	if (v.fchs.r_ctl == FC_RCTL_ELS_REQ && !dst && (fc_get_be24(v.fchs.d_id) & 0xFFFF00u) == FC_DOMAIN_CONTROLLER) {
		if (p.link != Link::fabric)
			return QOR_STATUS_NO_FABRIC;
		if (!fchdr_ok(v.fchs, FC_RCTL_ELS_REQ, FC_TYPE_ELS, v.fchs.d_id, p.pid))
			return QOR_STATUS_BADFRMHDR;
		out = domain_controller(l, v.fchs.d_id, req);
		return QOR_STATUS_OK;
	}
	if (v.fchs.r_ctl != FC_RCTL_ELS_REQ || !dst ||
	    !fchdr_ok(v.fchs, FC_RCTL_ELS_REQ, FC_TYPE_ELS, reinterpret_cast<const uint8_t *>(&dst->pid), p.pid))
		return QOR_STATUS_BADFRMHDR;
	if (!rport_up(f, *dst))
		return QOR_STATUS_RPORT_OFFLINE;
	out = link_service(*dst, req);
	return QOR_STATUS_OK;
}

int h_fcpt(Req &r)
{
	auto &v = r.as<qor_ioctl_fcpt_t>();
	const uint32_t room = v.rspsz;
	v.rspsz = 0;
	return on_lport<qor_ioctl_fcpt_t>(r, [&](auto &, LPort &l) {
		if (!link_up(*r.fn)) {
			v.status = QOR_STATUS_PORT_OFFLINE;
			return 0;
		}
		if (v.reqsz == 0 || v.reqsz > kMaxPayload || v.cos != FC_CLASS_3) {
			v.status = QOR_STATUS_EINVAL;
			return 0;
		}
		std::vector<uint8_t> req(v.reqsz);
		if (int e = copy_from_user(req.data(), v.reqbuf_ptr, req.size()))
			return e;
		note_payload(req);
		RPort *dst = v.dpwwn ? find_rport(l, v.dpwwn) : nullptr;
		const bool to_switch = v.dpwwn != 0 && v.dpwwn == port_of(*r.fn).fabric_name;
		if (v.dpwwn && !dst && !to_switch)
			v.status = QOR_STATUS_UNKNOWN_RWWN;
		else if ((v.nport_nexus_needed != 0) != (v.dpwwn != 0))
			v.status = QOR_STATUS_EINVAL;
		std::vector<uint8_t> out;
		if (v.status == QOR_STATUS_OK)
			v.status = route(*r.fn, v, l, dst, req, out);
		if (v.status != QOR_STATUS_OK)
			return 0;
		// The size of the whole reply, also when it did not fit the room.
		uint32_t size = (uint32_t)out.size();
		if (!canned_reply(&out, &size) && fabric_fault() == FAULT_RSPSZ_OVER)
			size = room + 100;
		const size_t n = out.size() < room ? out.size() : room;
		if (int e = copy_to_user(v.rspbuf_ptr, out.data(), n))
			return e;
		v.rspsz = size;
		return 0;
	});
}

} // namespace
} // namespace qorsim

using namespace qorsim;

// clang-format off
QORSIM_HANDLER(LPORT_GET_ATTR,      h_lport_attr);
QORSIM_HANDLER(LPORT_GET_IOSTATS,   h_lport_iostats);
QORSIM_HANDLER(LPORT_GET_STATS,     h_lport_stats);
QORSIM_HANDLER(LPORT_RESET_STATS,   h_lport_reset);
QORSIM_HANDLER(LPORT_GET_RPORTS,    h_lport_rports);
QORSIM_HANDLER(RPORT_ADD,           h_rport_add);
QORSIM_HANDLER(RPORT_REMOVE,        h_rport_remove);
QORSIM_HANDLER(RPORT_GET_STATS,     h_rport_stats);
QORSIM_HANDLER(RPORT_RESET_STATS,   h_rport_reset);
QORSIM_HANDLER(RPORT_GET_ATTR,      h_rport_attr);
QORSIM_HANDLER(RPORT_GET_SCSI_ADDR, h_rport_scsi);
QORSIM_HANDLER(RPORT_SET_SPEED,     h_rport_speed);
QORSIM_HANDLER(SCSI,                h_scsi);
QORSIM_HANDLER(FCPT,                h_fcpt);
QORSIM_HANDLER(ITNIM_GET_ATTR,      h_itnim_attr);
QORSIM_HANDLER(ITNIM_GET_IOSTATS,   h_itnim_iostats);
QORSIM_HANDLER(ITNIM_RESET_STATS,   h_itnim_reset);
QORSIM_HANDLER(ITNIM_GET_ITNSTATS,  h_itnim_itnstats);
QORSIM_HANDLER(ITNIM_GET_IOPROFILE, h_itnim_ioprofile);
// clang-format on
