// The emulated SAN behind each FC and FCoE function, and the Ethernet side
// of converged cards: ports, logical ports, remote ports, targets with
// their IT nexus, the fabric's name server. Built from the topology by
// sim/san_model.cc; the drivers' requests on it are in sim/drv_san.cc and
// sim/drv_port.cc. Everything here runs under Sim::mu (callers hold it);
// other emulator modules (events, schedules) call the state changes below
// to make things happen.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "scsi_target.h"
#include "sim.h"
#include "qor/ioctl/qor_ioctl_all.h"

namespace qorsim {
namespace san {

// The SCSI side of a remote port that is a target: its address on the
// host and its IT nexus (counters and latency profile). A target owns
// what lies behind it.
struct Target {
	uint32_t host = 0, bus = 0, id = 0;
	qor_itnim_stats_t itn{};
	qor_itnim_iostats_t io{};
	qor_itnim_ioprofile_t prof{};
	scsi::Target lus; // its logical units
};

// A remote port logged in (or not) to a logical port.
struct RPort {
	wwn_t pwwn = 0, nwwn = 0;
	uint32_t pid = 0;       // stored form: the 3 address bytes first
	bool online = true;     // logged in
	bool registered = true; // known to the name server
	std::string symname;
	uint32_t assigned_speed = 0; // qor_port_speed_t, 0: none
	uint32_t df_sz = 2112;
	uint32_t lesb[6] = {};
	qor_rport_stats_t stats{};
	std::optional<Target> target; // none for an initiator
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

// The function's port model.
Port &port_of(Function &f);
// Builds every function's port from its "fcport" / "ethport" topology
// keys; throws BadInput naming the place.
void build_all(Model &m);

// ---- what the model answers ---------------------------------------------
// Up now: the controller operational, the port enabled, the link there.
bool link_up(const Function &f);
// qor_port_states_t of the port as its attributes report it.
uint32_t port_state(const Function &f);
// Speed the port runs at now (QOR_PORT_SPEED_UNKNOWN when down).
uint32_t op_speed(const Function &f);
bool rport_up(const Function &f, const RPort &r);
// The logical port of (vf_id, pwwn); null with *status set to the driver's
// answer when there is none.
LPort *find_lport(Port &p, uint16_t vf_id, wwn_t pwwn, uint32_t *status);
// The remote port of a logical port; null when it has none.
RPort *find_rport(LPort &l, wwn_t rpwwn);
// A remote port of any of the port's logical ports (its logical port in *l).
RPort *any_rport(Port &p, wwn_t rpwwn, LPort **l = nullptr);
// A look at a live nexus sees some more I/O done.
void traffic(Function &f, LPort &l, RPort &r);
// A remote port added by request: known to nobody, so it cannot log in.
RPort unknown_rport(wwn_t pwwn);

// ---- driver checks shared by requests and configured settings ------------
bool valid_speed(uint32_t gbps);
// Auto, or a valid speed no faster than the port supports.
bool speed_fits(const Port &p, uint32_t speed);
// What the port itself can be set to: 8G optics do not run at 1G either.
bool port_speed_fits(const Port &p, uint32_t speed);
bool valid_alpa(uint8_t alpa);
bool valid_maxfrsize(uint32_t n);

// ---- settings a driver takes, from a request or from the configuration
// file when it loads; each answers the status the request gets ------------
uint32_t set_enabled(Function &f, bool on);
uint32_t set_speed(Function &f, uint32_t speed);
uint32_t set_topology(Function &f, uint32_t topo);
uint32_t set_hardalpa(Function &f, bool on, uint8_t alpa);
uint32_t set_maxfrsize(Function &f, uint32_t bytes);
uint32_t set_trunked(const Model &m, Function &f, bool on);

// ---- state changes for other emulator modules ----------------------------
// Physical link up or down: the port's state, its logical ports' addresses
// and its remote ports' logins follow.
void set_link(Function &f, bool up);
// A remote port logs in or out; false when the function has no such port.
bool set_rport_online(Function &f, wwn_t rpwwn, bool online);

// ---- the fabric's services -------------------------------------------------
// The name server's answer to a CT request (GID_FT, GPN_ID, GNN_ID,
// GSPN_ID, GFF_ID), from its registrations.
std::vector<uint8_t> name_server(LPort &l, const std::vector<uint8_t> &req);
// A remote port's answer to a link service request (RLS, RNID, LIRR).
std::vector<uint8_t> link_service(const RPort &dst, const std::vector<uint8_t> &req);
// The answer of the domain controller at d_id (FFFCdd) to a link service
// (SRL): an accept for the logical port's own domain.
std::vector<uint8_t> domain_controller(const LPort &l, const uint8_t d_id[3], const std::vector<uint8_t> &req);
// Keeps the payload of the last pass-through request (qorsim_san_last_payload).
void note_payload(const std::vector<uint8_t> &req);

// Fabric reply faults, set through the emulator's C control API.
enum Fault : int {
	FAULT_NONE = 0,
	FAULT_NS_REJECT = 1,   // the name server rejects every query
	FAULT_NS_BAD_LEN = 2,  // name length claims more bytes than sent
	FAULT_NS_SHORT = 3,    // response cut inside the CT header
	FAULT_RSPSZ_OVER = 4,  // response size claims more than the room
	FAULT_RLS_RJT = 5,     // RLS answered with LS_RJT
	FAULT_RLS_SHORT = 6,   // RLS accept cut short
	FAULT_RNID_SHORT = 7,  // RNID accept cut inside its port name
};
Fault fabric_fault();
// A reply set through qorsim_san_fabric_reply: true with it in *out and its
// claimed size in *claimed.
bool canned_reply(std::vector<uint8_t> *out, uint32_t *claimed);

} // namespace san
} // namespace qorsim
