// The emulated SAN as a model: built from the topology's "fcport" and
// "ethport" keys, answering what is up and who is behind whom, and changed
// by link and login events.
#include "san.h"
#include "scsi_model.h"
#include "sim_json.h"

#include <cstring>
#include <set>

#include "protocol/fc_ct.h"
#include "protocol/fc_els.h"
#include "protocol/fc_fchs.h"
#include "qor/qor_text.h"
#include "qorsim_san.h"

namespace qorsim {
namespace san {

namespace {

wwn_t make_wwn(uint8_t b0, uint8_t b1, uint32_t tail)
{
	uint8_t b[8] = {b0, b1, 0x00, 0x24, (uint8_t)(tail >> 24), (uint8_t)(tail >> 16), (uint8_t)(tail >> 8),
			(uint8_t)tail};
	wwn_t w;
	memcpy(&w, b, 8);
	return w;
}

uint32_t stored_pid(uint32_t be24)
{
	uint8_t b[3];
	fc_put_be24(b, be24);
	return fc_pid_from_wire(b);
}

// A 24-bit address given as a number ("0x011a00"), kept in stored form.
void read_pid(const Field &o, const char *key, uint32_t &pid)
{
	uint32_t be24 = 0;
	if (o.read(key, be24, 0, 0xFFFFFF))
		pid = stored_pid(be24);
}

void default_profile(qor_itnim_ioprofile_t &p, uint32_t seed)
{
	p = qor_itnim_ioprofile_t{};
	p.clock_res_mul = 1000;
	p.clock_res_div = 3;
	p.index = 8;
	p.io_profile_start_time = 1700000000u;
	for (int i = 0; i < QOR_IOBUCKET_MAX; i++) {
		qor_itnim_latency_t &l = p.io_latency;
		if (i >= 8 || (i + seed) % 5 == 4) {
			l.min[i] = 0xFFFFFFFFu; // no I/O in this bucket
			continue;
		}
		p.iocomps[i] = 100u * (uint32_t)(i + 1);
		l.count[i] = p.iocomps[i];
		l.min[i] = 3u * (uint32_t)(i + 1);
		l.max[i] = 30u * (uint32_t)(i + 1);
		l.avg[i] = l.count[i] * 12u * (uint32_t)(i + 1); // a sum of ticks
	}
}

void parse_profile(const Field &j, qor_itnim_ioprofile_t &p)
{
	j.object({"clock_res_mul", "clock_res_div", "index", "buckets"});
	j.read("clock_res_mul", p.clock_res_mul, 0, UINT32_MAX);
	j.read("clock_res_div", p.clock_res_div, 0, UINT32_MAX);
	j.read("index", p.index, 0, UINT32_MAX);
	if (!j.has("buckets"))
		return;
	const Field b = j["buckets"];
	const size_t n = b.array();
	if (n > QOR_IOBUCKET_MAX)
		b.fail("at most 14 buckets");
	qor_itnim_latency_t &l = p.io_latency;
	l = qor_itnim_latency_t{}; // given buckets replace the generated ones
	memset(p.iocomps, 0, sizeof p.iocomps);
	for (size_t i = 0; i < n; i++) {
		const Field bi = b[i];
		bi.object({"min", "max", "count", "sum"});
		bi.read("min", l.min[i], 0, UINT32_MAX);
		bi.read("max", l.max[i], 0, UINT32_MAX);
		bi.read("count", l.count[i], 0, UINT32_MAX);
		bi.read("sum", l.avg[i], 0, UINT32_MAX); // the driver sends the sum as avg
		p.iocomps[i] = l.count[i];
	}
}

// The target side of a remote port as the topology gives it.
Target parse_target(const Field &j, uint32_t idx, wwn_t pwwn)
{
	Target t;
	default_profile(t.prof, idx);
	if (j.has("ioprofile"))
		parse_profile(j["ioprofile"], t.prof);
	scsi::parse_units(j, pwwn, t.lus);
	return t;
}

RPort parse_rport(const Field &j, uint32_t idx, uint32_t def_pid, uint32_t seed)
{
	j.object({"pwwn", "nwwn", "pid", "role", "symname", "online", "registered", "df_sz", "lesb", "ioprofile",
		  QORSIM_SCSI_RPORT_KEYS});
	RPort r;
	r.pwwn = make_wwn(0x21, 0x00, seed * 4096 + idx);
	r.nwwn = make_wwn(0x20, 0x00, seed * 4096 + idx);
	j.read_wwn("pwwn", r.pwwn);
	j.read_wwn("nwwn", r.nwwn);
	r.pid = stored_pid(def_pid);
	read_pid(j, "pid", r.pid);
	const bool target = !j.has("role") || j["role"].one_of({"target", "initiator"}) == 0;
	j.read("online", r.online);
	j.read("registered", r.registered);
	r.symname = std::string(target ? "QX-Array port " : "QX-Host port ") + std::to_string(idx);
	j.read("symname", r.symname, 256);
	j.read("df_sz", r.df_sz, 0, 65535);
	const uint32_t lesb[6] = {1, 2, 0, 0, 7 + idx, 3};
	memcpy(r.lesb, lesb, sizeof lesb);
	if (j.has("lesb")) {
		const Field l = j["lesb"];
		if (l.array() != 6)
			l.fail("must be an array of 6 counters");
		for (size_t i = 0; i < 6; i++)
			r.lesb[i] = static_cast<uint32_t>(l[i].integer(0, UINT32_MAX));
	}
	r.stats.plogis = r.stats.plogi_accs = r.online ? 1 : 0;
	r.stats.onlines = r.online ? 1 : 0;
	if (!target) {
		if (j.has("ioprofile"))
			j["ioprofile"].fail("only a target has an I/O profile");
		for (const char *k : {QORSIM_SCSI_RPORT_KEYS})
			if (j.has(k))
				j[k].fail("only a target has logical units");
		return r;
	}
	r.target = parse_target(j, idx, r.pwwn);
	qor_itnim_stats_t &itn = r.target->itn;
	itn.onlines = r.online ? 1 : 0;
	itn.prli_sent = itn.prli_rsp_acc = itn.onlines;
	return r;
}

// Addresses on the port's link: ours, and the i-th remote port's.
struct Addressing {
	Link link;
	uint32_t domain, port;
	uint32_t ours() const
	{
		return link == Link::p2p ? 0x000001u : link == Link::loop ? 0x0000E8u : (domain << 16) | (port << 8);
	}
	uint32_t remote(uint32_t i) const
	{
		return link == Link::p2p ? 0x000002u : link == Link::loop ? 0x0000E0u - i : ((domain + 1) << 16) | ((0x80u + i) << 8);
	}
	uint32_t generated(uint32_t i) const { return ((domain + 2) << 16) | ((i >> 8) << 8) | (i & 0xff); }
	uint32_t vport(uint32_t i) const { return link == Link::fabric ? stored_pid(ours() | (i + 1)) : 0; }
};

// A WWN names one port: a second use fails at `place`.
void take_wwn(std::set<wwn_t> &seen, wwn_t w, const std::string &place, const char *what)
{
	char t[QOR_WWN_TEXT_LEN];
	if (!seen.insert(w).second)
		bad_input(place, std::string(what) + " WWN " + qor_wwn_format(w, t) + " appears twice");
}

// What a whole topology may hold: a bound on the emulator's memory (about a
// kilobyte a remote port, a few hundred bytes a unit), far above any test's;
// and the device names given, each of which names one unit.
constexpr size_t kMaxRports = 262144, kMaxUnits = 1048576, kMaxVports = 65536;
struct Budget {
	size_t rports = 0, units = 0, vports = 0;
	std::set<std::string> devices;

	void take_vport(const Field &at)
	{
		if (++vports > kMaxVports)
			at.fail("a topology has at most " + std::to_string(kMaxVports) + " virtual ports");
	}

	void take(const RPort &r, const Field &at)
	{
		if (++rports > kMaxRports)
			at.fail("a topology has at most " + std::to_string(kMaxRports) + " remote ports");
		if (!r.target)
			return;
		if ((units += r.target->lus.units.size()) > kMaxUnits)
			at.fail("a topology has at most " + std::to_string(kMaxUnits) + " logical units");
		for (const scsi::Unit &u : r.target->lus.units)
			if (!u.devname.empty() && !devices.insert(u.devname).second)
				at.fail("device " + u.devname + " appears twice");
	}
};

void build_rports(const Field &j, const Function &f, const Addressing &at, uint32_t seed, LPort &base, Budget &b)
{
	if (j.has("rports")) {
		const Field rs = j["rports"];
		for (size_t i = 0, n = rs.array(); i < n; i++) {
			base.rports.push_back(parse_rport(rs[i], (uint32_t)i, at.remote((uint32_t)i), seed));
			b.take(base.rports.back(), rs[i]);
		}
	}
	uint32_t extra = 0;
	j.read("rport_count", extra, 0, 4096);
	const nlohmann::json none = nlohmann::json::object();
	for (uint32_t k = 0; k < extra; k++) {
		const uint32_t i = (uint32_t)base.rports.size();
		const Field generated(none, j["rport_count"].place());
		base.rports.push_back(parse_rport(generated, i, at.generated(i), seed));
		b.take(base.rports.back(), generated);
	}
	std::set<wwn_t> seen;
	for (size_t i = 0; i < base.rports.size(); i++)
		take_wwn(seen, base.rports[i].pwwn,
			 i < base.rports.size() - extra ? j["rports"][i].place() + ".pwwn" : j["rport_count"].place(),
			 "remote port");
	uint32_t id = 0;
	for (auto &r : base.rports)
		if (r.target) {
			r.target->host = (uint32_t)f.instance + 1;
			r.target->id = id++;
		}
}

void build_vports(const Field &j, const Addressing &at, uint32_t seed, Port &p, Budget &b)
{
	if (!j.has("vports"))
		return;
	const Field vs = j["vports"];
	for (size_t i = 0, n = vs.array(); i < n; i++) {
		const Field v = vs[i];
		b.take_vport(v);
		v.object({"pwwn", "nwwn", "vf_id", "symname"});
		LPort l;
		v.read("vf_id", l.vf_id, 0, 4095);
		l.pwwn = make_wwn(0x2A, 0x00, seed * 256 + (uint32_t)i);
		l.nwwn = make_wwn(0x1A, 0x00, seed * 256 + (uint32_t)i);
		v.read_wwn("pwwn", l.pwwn);
		v.read_wwn("nwwn", l.nwwn);
		l.pid = at.vport((uint32_t)i);
		l.symname = "vport " + std::to_string(i);
		v.read("symname", l.symname, 128);
		p.lports.push_back(std::move(l));
	}
}

void build_fc(const Model &m, const Function &f, Port &p, const Field &j, Budget &b)
{
	j.object({"link", "speed_supported", "link_speed", "enabled", "ratelimit", "trunked", "io_profile", "fcoe_vlan",
		  "pid", "fabric_name", "symname", "rports", "rport_count", "vports"});
	const Adapter &a = m.adapters[f.adapter];
	p.fcoe = f.ioc_type == QOR_IOC_TYPE_FCoE;
	static constexpr Link kLinks[] = {Link::fabric, Link::p2p, Link::loop, Link::down};
	if (j.has("link"))
		p.link = kLinks[j["link"].one_of({"fabric", "p2p", "loop", "down"})];
	p.speed_supported = p.fcoe ? uint32_t{QOR_PORT_SPEED_10GBPS} : a.attr.max_speed;
	j.read("speed_supported", p.speed_supported, 1, 16);
	p.link_speed = p.speed_supported;
	j.read("link_speed", p.link_speed, 1, 16);
	j.read("enabled", p.enabled);
	j.read("ratelimit", p.ratelimit);
	j.read("trunked", p.trunked);
	j.read("io_profile", p.io_profile);
	p.fcoe_vlan = p.fcoe ? 1002 : 0;
	j.read("fcoe_vlan", p.fcoe_vlan, 0, 4095);
	const Addressing at{p.link, (p.fcoe ? 0x20u : 0x10u) + (uint32_t)f.adapter, (uint32_t)f.port};
	p.pid = stored_pid(at.ours());
	read_pid(j, "pid", p.pid);
	if (p.link == Link::fabric) {
		p.fabric_name = make_wwn(0x10, 0x00, 0xFA000000u + at.domain);
		j.read_wwn("fabric_name", p.fabric_name);
	}
	p.rnid.wwn = f.nwwn;
	p.rnid.unittype = 0x0A;
	p.rnid.portid = p.pid;

	LPort base;
	base.base = true;
	base.pwwn = f.pwwn;
	base.nwwn = f.nwwn;
	base.pid = p.pid;
	base.symname = std::string(a.attr.model) + " port " + std::to_string(f.port);
	j.read("symname", base.symname, 128);
	const uint32_t seed = (uint32_t)(f.adapter * 16 + f.port + 1);
	build_rports(j, f, at, seed, base, b);
	base.stats.ns_plogi_sent = base.stats.ns_plogi_accepts = p.link == Link::fabric ? 1 : 0;
	base.stats.ns_gidft_sent = base.stats.ns_gidft_accepts = p.link == Link::fabric ? 1 : 0;
	p.lports.push_back(std::move(base));
	build_vports(j, at, seed, p, b);
	if (p.link == Link::down)
		p.enabled = true;
}

void build_eth(Port &p, const Field &j)
{
	j.object({"link_up", "mtu"});
	p.eth = true;
	bool up = true;
	j.read("link_up", up);
	p.link = up ? Link::p2p : Link::down;
	p.speed_supported = p.link_speed = QOR_PORT_SPEED_10GBPS;
	p.eth_attr.mtu = 1500;
	j.read("mtu", p.eth_attr.mtu, 68, 9216);
	p.eth_attr.speed_supported = QOR_PORT_SPEED_10GBPS;
}

} // namespace

void build_all(Model &m)
{
	static const nlohmann::json none = nlohmann::json::object();
	std::set<wwn_t> ports; // the FC side's port WWNs, logical ports included
	Budget budget;
	for (size_t ai = 0; ai < m.adapters.size(); ai++) {
		const auto &fns = m.adapters[ai].fns;
		for (size_t k = 0; k < fns.size(); k++) {
			Function &f = m.fns[fns[k]];
			const bool eth = f.ioc_type == QOR_IOC_TYPE_LL;
			const nlohmann::json &cfg = eth ? f.eth_cfg : f.port_cfg;
			const Field j(cfg.is_object() ? cfg : none, "adapters[" + std::to_string(ai) + "].functions[" +
									       std::to_string(k) + (eth ? "].ethport" : "].fcport"));
			auto p = std::make_shared<Port>();
			if (eth)
				build_eth(*p, j);
			else
				build_fc(m, f, *p, j, budget);
			for (size_t i = 0; !eth && i < p->lports.size(); i++)
				take_wwn(ports, p->lports[i].pwwn,
					 i ? j["vports"][i - 1].place() + ".pwwn"
					   : "adapters[" + std::to_string(ai) + "].functions[" + std::to_string(k) + "].pwwn",
					 "port");
			f.san = std::move(p);
		}
	}
	scsi::name_units(m);
}

Port &port_of(Function &f)
{
	if (!f.san)
		f.san = std::make_shared<Port>();
	return *f.san;
}

// ---- what the model answers ------------------------------------------------

namespace {

const Port &port_of(const Function &f)
{
	static const Port none;
	return f.san ? *f.san : none;
}

} // namespace

bool link_up(const Function &f)
{
	const Port &p = port_of(f);
	return f.state == QOR_IOC_OPERATIONAL && p.enabled && p.link != Link::down;
}

uint32_t port_state(const Function &f)
{
	if (f.state == QOR_IOC_DISABLED || f.state == QOR_IOC_DISABLING)
		return QOR_PORT_ST_IOCDIS;
	if (f.state != QOR_IOC_OPERATIONAL)
		return QOR_PORT_ST_IOCDOWN;
	const Port &p = port_of(f);
	if (!p.enabled)
		return QOR_PORT_ST_DISABLED;
	return p.link == Link::down ? QOR_PORT_ST_LINKDOWN : QOR_PORT_ST_LINKUP;
}

uint32_t op_speed(const Function &f)
{
	if (!link_up(f))
		return QOR_PORT_SPEED_UNKNOWN;
	const Port &p = port_of(f);
	if (p.cfg_speed != QOR_PORT_SPEED_AUTO)
		return p.cfg_speed;
	return p.link_speed < p.speed_supported ? p.link_speed : p.speed_supported;
}

bool rport_up(const Function &f, const RPort &r)
{
	return link_up(f) && r.online;
}

LPort *find_lport(Port &p, uint16_t vf_id, wwn_t pwwn, uint32_t *status)
{
	bool vf_known = false;
	for (auto &l : p.lports) {
		vf_known = vf_known || l.vf_id == vf_id;
		if (l.vf_id == vf_id && l.pwwn == pwwn)
			return &l;
	}
	*status = vf_known ? QOR_STATUS_UNKNOWN_LWWN : QOR_STATUS_UNKNOWN_VFID;
	return nullptr;
}

RPort *find_rport(LPort &l, wwn_t rpwwn)
{
	for (auto &r : l.rports)
		if (r.pwwn == rpwwn)
			return &r;
	return nullptr;
}

RPort *any_rport(Port &p, wwn_t rpwwn, LPort **lp)
{
	for (auto &l : p.lports)
		if (RPort *r = find_rport(l, rpwwn)) {
			if (lp)
				*lp = &l;
			return r;
		}
	return nullptr;
}

void traffic(Function &f, LPort &l, RPort &r)
{
	if (!rport_up(f, r) || !r.target)
		return;
	const uint32_t n = 64;
	for (qor_itnim_iostats_t *io : {&r.target->io, &l.io}) {
		io->total_ios += n;
		io->input_reqs += n / 2;
		io->output_reqs += n / 2;
		io->io_comps += n;
		io->iocomp_ok += n;
		io->rd_throughput += n / 2 * 8192;
		io->wr_throughput += n / 2 * 4096;
	}
	qor_port_stats_t &s = port_of(f).stats;
	s.fc.tx_frames += 3 * n;
	s.fc.rx_frames += 5 * n;
	s.fc.tx_words += 3 * n * 300;
	s.fc.rx_words += 5 * n * 600;
}

RPort unknown_rport(wwn_t pwwn)
{
	RPort r;
	r.pwwn = pwwn;
	r.online = false;
	r.registered = false;
	r.target.emplace();
	default_profile(r.target->prof, 0);
	return r;
}

// ---- driver checks -----------------------------------------------------------

bool valid_speed(uint32_t s)
{
	return s == 1 || s == 2 || s == 4 || s == 8 || s == 10 || s == 16;
}

bool speed_fits(const Port &p, uint32_t speed)
{
	return speed == QOR_PORT_SPEED_AUTO || (valid_speed(speed) && speed <= p.speed_supported);
}

bool port_speed_fits(const Port &p, uint32_t speed)
{
	return speed_fits(p, speed) && !(speed == QOR_PORT_SPEED_1GBPS && p.speed_supported >= QOR_PORT_SPEED_8GBPS);
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

bool valid_maxfrsize(uint32_t n)
{
	return n == 512 || n == 1024 || n == 2048 || n == 2112;
}

// ---- settings --------------------------------------------------------------------

namespace {

// Converged functions take their speed and addressing from the Ethernet side.
bool cna_side(const Function &f)
{
	return f.ioc_type != QOR_IOC_TYPE_FC;
}

} // namespace

uint32_t set_enabled(Function &f, bool on)
{
	Port &p = port_of(f);
	if (p.enabled != on) {
		p.enabled = on;
		if (p.fcoe)
			(on ? p.fcoe_stats.fip_linkups : p.fcoe_stats.fip_linkdns)++;
	}
	return QOR_STATUS_OK;
}

uint32_t set_speed(Function &f, uint32_t speed)
{
	Port &p = port_of(f);
	if (cna_side(f))
		return QOR_STATUS_CMD_NOTSUPP_CNA;
	if (!port_speed_fits(p, speed))
		return QOR_STATUS_UNSUPP_SPEED;
	p.cfg_speed = static_cast<uint8_t>(speed);
	return QOR_STATUS_OK;
}

uint32_t set_topology(Function &f, uint32_t topo)
{
	Port &p = port_of(f);
	if (cna_side(f))
		return QOR_STATUS_NO_TOPOLOGY_FOR_CNA;
	if (topo < QOR_PORT_TOPOLOGY_P2P || topo > QOR_PORT_TOPOLOGY_AUTO)
		return QOR_STATUS_EINVAL;
	if (topo == QOR_PORT_TOPOLOGY_LOOP && p.trunked)
		return QOR_STATUS_TRUNK_ENABLED;
	p.cfg_topo = static_cast<uint8_t>(topo);
	return QOR_STATUS_OK;
}

uint32_t set_hardalpa(Function &f, bool on, uint8_t alpa)
{
	Port &p = port_of(f);
	if (cna_side(f))
		return QOR_STATUS_CMD_NOTSUPP_CNA;
	if (on && !valid_alpa(alpa))
		return QOR_STATUS_EINVAL;
	p.cfg_hardalpa = on;
	p.hardalpa = on ? alpa : 0;
	return QOR_STATUS_OK;
}

uint32_t set_maxfrsize(Function &f, uint32_t bytes)
{
	if (!valid_maxfrsize(bytes))
		return QOR_STATUS_INVLD_DFSZ;
	port_of(f).maxfrsize = static_cast<uint16_t>(bytes);
	return QOR_STATUS_OK;
}

uint32_t set_trunked(const Model &m, Function &f, bool on)
{
	Port &p = port_of(f);
	if (!m.adapters[f.adapter].attr.trunk_capable || f.ioc_type != QOR_IOC_TYPE_FC)
		return QOR_STATUS_TRUNK_UNSUPP;
	if (on && p.ratelimit)
		return QOR_STATUS_TRUNK_ERROR_TRL_ENABLED;
	if (on && p.cfg_topo == QOR_PORT_TOPOLOGY_LOOP)
		return QOR_STATUS_CNFG_FAILED;
	p.trunked = on;
	return QOR_STATUS_OK;
}

// ---- state changes ------------------------------------------------------------

void set_link(Function &f, bool up)
{
	Port &p = port_of(f);
	if (up == (p.link != Link::down))
		return;
	p.link = up ? Link::fabric : Link::down;
	if (p.eth)
		p.eth_stats.drv_stats.link_toggle++;
	else if (!up)
		p.stats.fc.link_failures++;
}

bool set_rport_online(Function &f, wwn_t rpwwn, bool online)
{
	RPort *r = any_rport(port_of(f), rpwwn);
	if (!r)
		return false;
	if (r->online != online) {
		r->online = online;
		(online ? r->stats.onlines : r->stats.offlines)++;
		if (r->target)
			(online ? r->target->itn.onlines : r->target->itn.offlines)++;
	}
	return true;
}

// ---- the fabric's services --------------------------------------------------

namespace {

Fault g_fabric_fault;                 // under Sim::mu
bool g_canned;                        // under Sim::mu
std::vector<uint8_t> g_canned_bytes;  // under Sim::mu
uint32_t g_canned_claimed;            // under Sim::mu
std::vector<uint8_t> g_last_payload; // under Sim::mu

template <class T> std::vector<uint8_t> bytes_of(const T &rec, size_t n = sizeof(T))
{
	const auto *b = reinterpret_cast<const uint8_t *>(&rec);
	return std::vector<uint8_t>(b, b + n);
}

} // namespace

Fault fabric_fault()
{
	return g_fabric_fault;
}

bool canned_reply(std::vector<uint8_t> *out, uint32_t *claimed)
{
	if (!g_canned)
		return false;
	*out = g_canned_bytes;
	*claimed = g_canned_claimed ? g_canned_claimed : (uint32_t)g_canned_bytes.size();
	return true;
}

void note_payload(const std::vector<uint8_t> &req)
{
	g_last_payload = req;
}

namespace {

// A port the name server knows by address: our own logical port, or a
// registered remote port of it.
struct NsEntry {
	bool self = false;
	const RPort *rp = nullptr;
	explicit operator bool() const { return self || rp; }
};

NsEntry ns_lookup(const LPort &l, uint32_t pid)
{
	NsEntry e;
	e.self = pid == l.pid;
	for (const auto &r : l.rports)
		if (!e.self && !e.rp && r.pid == pid && r.registered)
			e.rp = &r;
	return e;
}

template <class T> void append(std::vector<uint8_t> &out, const T &rec, size_t n = sizeof(T))
{
	const auto *b = reinterpret_cast<const uint8_t *>(&rec);
	out.insert(out.end(), b, b + n);
}

} // namespace

// The name server's answers to the queries by address (GPN_ID, GNN_ID,
// GSPN_ID, GFF_ID) and by FC-4 type (GID_FT), from its registrations.
std::vector<uint8_t> name_server(LPort &l, const std::vector<uint8_t> &req)
{
	ct_hdr_t rsp{};
	const auto *ct = reinterpret_cast<const ct_hdr_t *>(req.data());
	rsp.rev_id = CT_GS3_REVISION;
	rsp.gs_type = ct->gs_type;
	rsp.gs_sub_type = ct->gs_sub_type;
	auto reject = [&](uint8_t reason, uint8_t expl) {
		l.stats.ns_rejects++;
		fc_put_be16(rsp.cmd_rsp_code, CT_RSP_REJECT);
		rsp.reason_code = reason;
		rsp.exp_code = expl;
		return bytes_of(rsp);
	};
	std::vector<uint8_t> acc;
	fc_put_be16(rsp.cmd_rsp_code, CT_RSP_ACCEPT);
	append(acc, rsp);

	l.stats.ns_plogi_sent++; // every query opens a session with the server
	l.stats.ns_plogi_accepts++;
	if (ct->rev_id != CT_GS3_REVISION || ct->gs_type != CT_GSTYPE_DIRSERVICE ||
	    ct->gs_sub_type != CT_GSSUBTYPE_NAMESERVER || req.size() < sizeof(ct_hdr_t) + 4)
		return reject(CT_RSN_INV_CMD, 0);
	const uint16_t cmd = fc_get_be16(ct->cmd_rsp_code);
	const uint8_t *arg = req.data() + sizeof(ct_hdr_t);
	if (g_fabric_fault == FAULT_NS_REJECT)
		return reject(CT_RSN_UNABLE_TO_PERF, CT_NS_EXP_PORTID_NOT_REG);

	if (cmd == GS_GID_FT) {
		const auto *q = reinterpret_cast<const fcgs_gidft_req_t *>(arg);
		std::vector<uint32_t> pids;
		if (q->fc4_type == FC_TYPE_FCP) {
			pids.push_back(l.pid);
			for (const auto &r : l.rports)
				if (r.registered && r.online)
					pids.push_back(r.pid);
		}
		std::erase_if(pids, [&](uint32_t pid) {
			uint8_t b[3];
			fc_pid_to_wire(pid, b);
			return pid == 0 || (q->domain_scope && b[0] != q->domain_scope) ||
			       (q->domain_scope && q->area_scope && b[1] != q->area_scope);
		});
		if (pids.empty())
			return reject(CT_RSN_UNABLE_TO_PERF, CT_NS_EXP_FC4TYPE_NOT_REG);
		for (size_t i = 0; i < pids.size(); i++) {
			fcgs_gid_entry_t e{};
			e.ctl = i + 1 == pids.size() ? FC_GID_LAST : 0;
			fc_pid_to_wire(pids[i], e.pid);
			append(acc, e);
		}
		return acc;
	}

	const auto *q = reinterpret_cast<const fcgs_gspnid_req_t *>(arg);
	const NsEntry e = ns_lookup(l, fc_pid_from_wire(q->dap));
	const bool by_id = cmd == GS_GPN_ID || cmd == GS_GNN_ID || cmd == GS_GSPN_ID || cmd == GS_GFF_ID;
	if (!by_id)
		return reject(CT_RSN_INV_CMD, 0);
	if (!e || q->rsvd != 0)
		return reject(CT_RSN_UNABLE_TO_PERF, CT_NS_EXP_PORTID_NOT_REG);
	switch (cmd) {
	case GS_GPN_ID:
	case GS_GNN_ID: {
		const wwn_t w = cmd == GS_GPN_ID ? (e.self ? l.pwwn : e.rp->pwwn) : (e.self ? l.nwwn : e.rp->nwwn);
		append(acc, w); // a wwn_t holds its bytes in wire order
		return acc;
	}
	case GS_GFF_ID: {
		uint8_t ff[FC_GFF_LEN] = {};
		const uint32_t feat = e.self ? ((l.roles & QOR_LPORT_ROLE_FCP_IM) ? FC_FEATURE_INITIATOR : 0) |
						       ((l.roles & QOR_LPORT_ROLE_FCP_TM) ? FC_FEATURE_TARGET : 0)
					     : e.rp->target ? FC_FEATURE_TARGET
							    : FC_FEATURE_INITIATOR;
		fc_put_be32(ff + FC_TYPE_FCP / 8 * 4, feat << (FC_TYPE_FCP % 8 * 4));
		append(acc, ff);
		return acc;
	}
	default: // GSPN_ID
		break;
	}
	const std::string &name = e.self ? l.symname : e.rp->symname;
	fcgs_gspnid_acc_frame_t a{};
	a.ct = rsp;
	const size_t n = name.size() < FC_SYMNAME_MAX ? name.size() : FC_SYMNAME_MAX;
	a.rsp.spn_len = (uint8_t)n;
	memcpy(a.rsp.spn, name.data(), n);
	size_t len = sizeof(ct_hdr_t) + 1 + n;
	if (g_fabric_fault == FAULT_NS_BAD_LEN) {
		a.rsp.spn_len = 200; // claims far more than is sent
		len = sizeof(ct_hdr_t) + 1 + (n < 8 ? n : 8);
	} else if (g_fabric_fault == FAULT_NS_SHORT) {
		len = 10;
	}
	return bytes_of(a, len);
}

namespace {

std::vector<uint8_t> ls_rjt(uint8_t reason)
{
	fc_ls_rjt_t rj{};
	rj.ls_code = FC_ELS_LS_RJT;
	rj.reason_code = reason;
	return bytes_of(rj);
}

std::vector<uint8_t> ls_acc()
{
	const uint8_t acc[4] = {FC_ELS_ACC, 0, 0, 0};
	return std::vector<uint8_t>(acc, acc + sizeof acc);
}

} // namespace

std::vector<uint8_t> link_service(const RPort &dst, const std::vector<uint8_t> &req)
{
	if (req.size() < 8)
		return ls_rjt(FC_LS_RJT_RSN_CMD_NOT_SUPP);
	switch (req[0]) {
	case FC_ELS_RLS: {
		if (g_fabric_fault == FAULT_RLS_RJT)
			return ls_rjt(FC_LS_RJT_RSN_UNABLE);
		fc_rls_acc_t acc{};
		acc.ls_code = FC_ELS_ACC;
		uint8_t *w[6] = {acc.lesb.lfc, acc.lesb.lsyc, acc.lesb.lsic, acc.lesb.pspec, acc.lesb.itwc, acc.lesb.icc};
		for (int i = 0; i < 6; i++)
			fc_put_be32(w[i], dst.lesb[i]);
		return bytes_of(acc, g_fabric_fault == FAULT_RLS_SHORT ? 12 : sizeof acc);
	}
	case FC_ELS_RNID: {
		// The common data always; the topology data when asked for (other
		// formats get the common data alone, as the standard has it).
		fc_rnid_acc_t acc{};
		acc.ls_code = FC_ELS_ACC;
		const bool topo = req[4] == FC_RNID_FMT_TOPOLOGY;
		acc.node_id_fmt = topo ? FC_RNID_FMT_TOPOLOGY : FC_RNID_FMT_COMMON;
		acc.common_id_len = FC_RNID_COMMON_LEN;
		acc.specific_id_len = topo ? FC_RNID_TOPOLOGY_LEN : 0;
		memcpy(acc.port_name, &dst.pwwn, 8);
		memcpy(acc.node_name, &dst.nwwn, 8);
		if (topo) {
			fc_put_be32(acc.specific, dst.target ? 0x0a : 0x07); // storage subsystem or host
			fc_put_be32(acc.specific + 8, 1);                    // attached nodes
		}
		if (g_fabric_fault == FAULT_RNID_SHORT)
			return bytes_of(acc, 12);
		return bytes_of(acc, topo ? sizeof acc : offsetof(fc_rnid_acc_t, specific));
	}
	case FC_ELS_LIRR:
		return ls_acc();
	default:
		return ls_rjt(FC_LS_RJT_RSN_CMD_NOT_SUPP);
	}
}

std::vector<uint8_t> domain_controller(const LPort &l, const uint8_t d_id[3], const std::vector<uint8_t> &req)
{
	uint8_t ours[3];
	fc_pid_to_wire(l.pid, ours);
	if (req.size() < 8 || req[0] != FC_ELS_SRL)
		return ls_rjt(FC_LS_RJT_RSN_CMD_NOT_SUPP);
	return d_id[2] == ours[0] ? ls_acc() : ls_rjt(FC_LS_RJT_RSN_UNABLE);
}

} // namespace san
} // namespace qorsim

using namespace qorsim;

extern "C" __attribute__((visibility("default"))) void qorsim_san_fabric_fault(int mode)
{
	std::lock_guard lk(sim().mu);
	san::g_fabric_fault = static_cast<san::Fault>(mode);
}

extern "C" __attribute__((visibility("default"))) void qorsim_san_fabric_reply(const uint8_t *bytes, size_t n,
										 uint32_t claimed)
{
	std::lock_guard lk(sim().mu);
	san::g_canned = bytes != nullptr;
	san::g_canned_bytes.assign(bytes, bytes ? bytes + n : bytes);
	san::g_canned_claimed = claimed;
}

extern "C" __attribute__((visibility("default"))) size_t qorsim_san_last_payload(uint8_t *buf, size_t room)
{
	std::lock_guard lk(sim().mu);
	const auto &p = san::g_last_payload;
	const size_t n = p.size() < room ? p.size() : room;
	if (n)
		memcpy(buf, p.data(), n);
	return p.size();
}
