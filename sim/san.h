// The emulated SAN behind each FC and FCoE function, and the Ethernet side
// of converged cards: ports, logical ports, remote ports, IT nexus, trunks.
// Model functions here change state under Sim::mu (callers hold it); other
// emulator modules (events, schedules) call them to make things happen.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "scsi_target.h"
#include "sim.h"
#include "qor/ioctl/qor_ioctl_all.h"

namespace qorsim {
namespace san {

struct RPort {
	wwn_t pwwn = 0, nwwn = 0;
	uint32_t pid = 0; // stored form: the 3 address bytes first
	bool target = true;
	bool online = true;     // logged in
	bool registered = true; // known to the name server
	std::string symname;
	uint32_t host = 0, bus = 0, scsi_target = 0;
	uint32_t assigned_speed = 0; // qor_port_speed_t, 0: none
	uint32_t df_sz = 2112;
	uint32_t lesb[6] = {};
	qor_rport_stats_t stats{};
	qor_itnim_stats_t itn{};
	qor_itnim_iostats_t io{};
	qor_itnim_ioprofile_t prof{};
	scsi::Target lus; // logical units, when a target
};

struct LPort {
	uint16_t vf_id = 0;
	wwn_t pwwn = 0, nwwn = 0;
	uint32_t pid = 0;
	bool base = false;
	std::string symname;
	uint32_t roles = QOR_LPORT_ROLE_FCP_IM;
	qor_lport_stats_t stats{};
	qor_itnim_iostats_t io{};
	std::vector<RPort> rports;
};

enum class Link { fabric, p2p, loop, down };

// One FC or FCoE function's port, or an Ethernet function's port.
struct Port {
	Link link = Link::fabric;
	bool enabled = true;
	bool fcoe = false, eth = false;
	uint32_t speed_supported = QOR_PORT_SPEED_8GBPS;
	uint32_t link_speed = QOR_PORT_SPEED_8GBPS; // what the far end runs at best
	uint8_t cfg_speed = QOR_PORT_SPEED_AUTO, cfg_topo = QOR_PORT_TOPOLOGY_AUTO;
	bool cfg_hardalpa = false;
	uint8_t hardalpa = 0;
	uint16_t maxfrsize = 2112;
	bool trunked = false, ratelimit = false, io_profile = true;
	uint16_t fcoe_vlan = 0;
	wwn_t fabric_name = 0;
	uint32_t pid = 0;
	qor_port_rnid_t rnid{};
	qor_port_stats_t stats{};
	struct qor_fcoe_stats_s fcoe_stats{};
	qor_ethport_attr_t eth_attr{};
	qor_ethport_stats_t eth_stats{};
	std::vector<LPort> lports; // [0] is the base port
	uint64_t activity = 0;
};

// The function's port model (built from its "port" / "eth" topology keys).
Port &port_of(Function &f);
// Builds every function's model; throws std::invalid_argument on bad input.
void build_all(Model &m);

// ---- state changes for other emulator modules (Sim::mu held) -------------
// Physical link up or down: the port's state, its logical ports' addresses
// and its remote ports' logins follow.
void set_link(Model &m, Function &f, bool up);
// A remote port logs in or out; false when the function has no such port.
bool set_rport_online(Model &m, Function &f, wwn_t rpwwn, bool online);
// Whether the port is up now (enabled and linked).
bool link_up(const Port &p);
uint32_t port_state(const Port &p);
inline bool rport_up(const Port &p, const RPort &rp)
{
	return link_up(p) && rp.online;
}

// The logical port a request names (by its vf_id and pwwn); sets the
// request's status and returns null when there is none.
template <class Rec> LPort *lport_of(Req &r, Rec &v, wwn_t pwwn)
{
	Port &p = port_of(*r.fn);
	bool vf_known = false;
	for (auto &l : p.lports) {
		vf_known = vf_known || l.vf_id == v.vf_id;
		if (l.vf_id == v.vf_id && l.pwwn == pwwn)
			return &l;
	}
	v.status = vf_known ? QOR_STATUS_UNKNOWN_LWWN : QOR_STATUS_UNKNOWN_VFID;
	return nullptr;
}

// The remote port of that logical port, likewise.
template <class Rec> RPort *rport_of(Req &r, Rec &v, wwn_t pwwn, wwn_t rpwwn)
{
	LPort *l = lport_of(r, v, pwwn);
	if (!l)
		return nullptr;
	for (auto &rp : l->rports)
		if (rp.pwwn == rpwwn)
			return &rp;
	v.status = QOR_STATUS_UNKNOWN_RWWN;
	return nullptr;
}

// Fabric reply faults, for the emulator's C control API.
enum Fault : int {
	FAULT_NONE = 0,
	FAULT_NS_REJECT = 1,   // the name server rejects every query
	FAULT_NS_BAD_LEN = 2,  // name length claims more bytes than sent
	FAULT_NS_SHORT = 3,    // response cut inside the CT header
	FAULT_RSPSZ_OVER = 4,  // response size claims more than the room
	FAULT_RLS_RJT = 5,     // RLS answered with LS_RJT
	FAULT_RLS_SHORT = 6,   // RLS accept cut short
};

} // namespace san
} // namespace qorsim
