// The emulated SAN: models built from the topology, logical port, remote
// port, IT nexus and fabric pass-through requests, and the fabric's name
// server and link services.
#include "san.h"
#include "qorsim_san.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "protocol/fc_ct.h"
#include "protocol/fc_els.h"

namespace qorsim {
namespace san {

namespace {

using nlohmann::json;

[[noreturn]] void bad(const std::string &path, const std::string &what)
{
	throw std::invalid_argument(path + ": " + what);
}

int64_t num(const json &o, const std::string &path, const char *key, int64_t def, int64_t lo, int64_t hi)
{
	if (!o.contains(key))
		return def;
	const json &j = o[key];
	int64_t v = 0;
	if (j.is_number_integer())
		v = j.get<int64_t>();
	else if (j.is_string()) {
		char *end = nullptr;
		const std::string s = j.get<std::string>();
		v = strtoll(s.c_str(), &end, 0);
		if (s.empty() || *end)
			bad(path + "." + key, "'" + s + "' is not an integer");
	} else
		bad(path + "." + key, "must be an integer");
	if (v < lo || v > hi)
		bad(path + "." + key, "must be between " + std::to_string(lo) + " and " + std::to_string(hi));
	return v;
}

bool flag(const json &o, const std::string &path, const char *key, bool def)
{
	if (!o.contains(key))
		return def;
	if (!o[key].is_boolean())
		bad(path + "." + key, "must be true or false");
	return o[key].get<bool>();
}

std::string text(const json &o, const std::string &path, const char *key, const std::string &def, size_t room)
{
	if (!o.contains(key))
		return def;
	if (!o[key].is_string() || o[key].get<std::string>().size() >= room)
		bad(path + "." + key, "must be a text of at most " + std::to_string(room - 1) + " characters");
	return o[key].get<std::string>();
}

wwn_t wwn_at(const json &o, const std::string &path, const char *key, wwn_t def)
{
	if (!o.contains(key))
		return def;
	unsigned v[8];
	char tail;
	if (!o[key].is_string() || sscanf(o[key].get<std::string>().c_str(), "%2x:%2x:%2x:%2x:%2x:%2x:%2x:%2x%c",
					  &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7], &tail) != 8)
		bad(path + "." + key, "must be a WWN like \"21:00:00:24:ff:00:00:01\"");
	uint8_t b[8];
	for (int i = 0; i < 8; i++)
		b[i] = (uint8_t)v[i];
	wwn_t w;
	memcpy(&w, b, 8);
	return w;
}

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

uint32_t pid_at(const json &o, const std::string &path, const char *key, uint32_t def_be24)
{
	return stored_pid((uint32_t)num(o, path, key, def_be24, 0, 0xFFFFFF));
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

void parse_profile(const json &j, const std::string &path, qor_itnim_ioprofile_t &p)
{
	p.clock_res_mul = (uint32_t)num(j, path, "clock_res_mul", p.clock_res_mul, 0, UINT32_MAX);
	p.clock_res_div = (uint32_t)num(j, path, "clock_res_div", p.clock_res_div, 0, UINT32_MAX);
	p.index = (uint32_t)num(j, path, "index", p.index, 0, UINT32_MAX);
	if (!j.contains("buckets"))
		return;
	if (!j["buckets"].is_array() || j["buckets"].size() > QOR_IOBUCKET_MAX)
		bad(path + ".buckets", "must be an array of at most 14 buckets");
	qor_itnim_latency_t &l = p.io_latency;
	l = qor_itnim_latency_t{}; // given buckets replace the generated ones
	memset(p.iocomps, 0, sizeof p.iocomps);
	for (size_t i = 0; i < j["buckets"].size(); i++) {
		const json &b = j["buckets"][i];
		const std::string bp = path + ".buckets[" + std::to_string(i) + "]";
		l.min[i] = (uint32_t)num(b, bp, "min", 0, 0, UINT32_MAX);
		l.max[i] = (uint32_t)num(b, bp, "max", 0, 0, UINT32_MAX);
		l.count[i] = (uint32_t)num(b, bp, "count", 0, 0, UINT32_MAX);
		l.avg[i] = (uint32_t)num(b, bp, "sum", 0, 0, UINT32_MAX);
		p.iocomps[i] = l.count[i];
	}
}

RPort parse_rport(const json &j, const std::string &path, uint32_t idx, uint32_t def_pid, uint32_t seed)
{
	if (!j.is_object())
		bad(path, "must be an object");
	RPort r;
	r.pwwn = wwn_at(j, path, "pwwn", make_wwn(0x21, 0x00, seed * 4096 + idx));
	r.nwwn = wwn_at(j, path, "nwwn", make_wwn(0x20, 0x00, seed * 4096 + idx));
	r.pid = pid_at(j, path, "pid", def_pid);
	const std::string role = text(j, path, "role", "target", 16);
	if (role != "target" && role != "initiator")
		bad(path + ".role", "must be \"target\" or \"initiator\"");
	r.target = role == "target";
	r.online = flag(j, path, "online", true);
	r.registered = flag(j, path, "registered", true);
	char name[64];
	snprintf(name, sizeof name, "%s %u", r.target ? "QX-Array port" : "QX-Host port", idx);
	r.symname = text(j, path, "symname", name, 255);
	r.df_sz = (uint32_t)num(j, path, "df_sz", 2112, 0, 65535);
	if (j.contains("lesb")) {
		if (!j["lesb"].is_array() || j["lesb"].size() != 6)
			bad(path + ".lesb", "must be an array of 6 counters");
		for (int i = 0; i < 6; i++)
			r.lesb[i] = (uint32_t)num(json{{"v", j["lesb"][i]}}, path + ".lesb", "v", 0, 0, UINT32_MAX);
	} else {
		const uint32_t d[6] = {1, 2, 0, 0, 7 + idx, 3};
		memcpy(r.lesb, d, sizeof d);
	}
	default_profile(r.prof, idx);
	if (j.contains("ioprofile"))
		parse_profile(j["ioprofile"], path + ".ioprofile", r.prof);
	r.stats.plogis = r.stats.plogi_accs = r.online ? 1 : 0;
	r.stats.onlines = r.online ? 1 : 0;
	r.itn.onlines = r.target && r.online ? 1 : 0;
	r.itn.prli_sent = r.itn.prli_rsp_acc = r.itn.onlines;
	r.itn.initiator = r.target ? 0 : 1;
	return r;
}

void build_fc(Model &m, Function &f, Port &p, const std::string &path)
{
	const json &j = f.port_cfg.is_object() ? f.port_cfg : json::object();
	const Adapter &a = m.adapters[f.adapter];
	const int ai = f.adapter;
	p.fcoe = f.ioc_type == QOR_IOC_TYPE_FCoE;
	const std::string link = text(j, path, "link", "fabric", 16);
	if (link == "fabric")
		p.link = Link::fabric;
	else if (link == "p2p")
		p.link = Link::p2p;
	else if (link == "loop")
		p.link = Link::loop;
	else if (link == "down")
		p.link = Link::down;
	else
		bad(path + ".link", "must be \"fabric\", \"p2p\", \"loop\" or \"down\"");
	p.speed_supported = (uint32_t)num(j, path, "speed_supported", p.fcoe ? (int64_t)QOR_PORT_SPEED_10GBPS : (int64_t)a.max_speed, 1, 16);
	p.link_speed = (uint32_t)num(j, path, "link_speed", p.speed_supported, 1, 16);
	p.enabled = flag(j, path, "enabled", true);
	p.ratelimit = flag(j, path, "ratelimit", false);
	p.trunked = flag(j, path, "trunked", false);
	p.io_profile = flag(j, path, "io_profile", true);
	p.fcoe_vlan = (uint16_t)num(j, path, "fcoe_vlan", p.fcoe ? 1002 : 0, 0, 4095);
	const uint32_t domain = (p.fcoe ? 0x20u : 0x10u) + (uint32_t)ai;
	const uint32_t our_pid = p.link == Link::p2p ? 0x000001u
				 : p.link == Link::loop ? 0x0000E8u
							: (domain << 16) | ((uint32_t)f.port << 8);
	p.pid = pid_at(j, path, "pid", our_pid);
	p.fabric_name = p.link == Link::fabric ? wwn_at(j, path, "fabric_name", make_wwn(0x10, 0x00, 0xFA000000u + domain)) : 0;
	p.rnid.wwn = f.nwwn;
	p.rnid.unittype = 0x0A;
	p.rnid.portid = p.pid;

	LPort base;
	base.base = true;
	base.pwwn = f.pwwn;
	base.nwwn = f.nwwn;
	base.pid = p.pid;
	base.symname = text(j, path, "symname", a.model + " port " + std::to_string(f.port), 128);
	const uint32_t seed = (uint32_t)(ai * 16 + f.port + 1);
	auto remote_pid = [&](uint32_t i) {
		if (p.link == Link::p2p)
			return 0x000002u;
		if (p.link == Link::loop)
			return 0x0000E0u - i;
		return ((domain + 1) << 16) | ((0x80u + i) << 8);
	};
	if (j.contains("rports")) {
		if (!j["rports"].is_array())
			bad(path + ".rports", "must be an array");
		for (size_t i = 0; i < j["rports"].size(); i++)
			base.rports.push_back(parse_rport(j["rports"][i], path + ".rports[" + std::to_string(i) + "]",
							  (uint32_t)i, remote_pid((uint32_t)i), seed));
	}
	const uint32_t extra = (uint32_t)num(j, path, "rport_count", 0, 0, 4096);
	for (uint32_t k = 0; k < extra; k++) {
		const uint32_t i = (uint32_t)base.rports.size();
		base.rports.push_back(parse_rport(json::object(), path + ".rport_count", i,
						  ((domain + 2) << 16) | ((i >> 8) << 8) | (i & 0xff), seed));
	}
	uint32_t tgt = 0;
	for (auto &r : base.rports) {
		r.host = (uint32_t)f.instance + 1;
		r.scsi_target = r.target ? tgt++ : 0;
	}
	base.stats.ns_plogi_sent = base.stats.ns_plogi_accepts = p.link == Link::fabric ? 1 : 0;
	base.stats.ns_gidft_sent = base.stats.ns_gidft_accepts = p.link == Link::fabric ? 1 : 0;
	p.lports.push_back(std::move(base));

	if (j.contains("vports")) {
		if (!j["vports"].is_array())
			bad(path + ".vports", "must be an array");
		for (size_t i = 0; i < j["vports"].size(); i++) {
			const json &v = j["vports"][i];
			const std::string vp = path + ".vports[" + std::to_string(i) + "]";
			LPort l;
			l.vf_id = (uint16_t)num(v, vp, "vf_id", 0, 0, 4095);
			l.pwwn = wwn_at(v, vp, "pwwn", make_wwn(0x2A, 0x00, seed * 256 + (uint32_t)i));
			l.nwwn = wwn_at(v, vp, "nwwn", make_wwn(0x1A, 0x00, seed * 256 + (uint32_t)i));
			l.pid = p.link == Link::fabric ? stored_pid((domain << 16) | ((uint32_t)f.port << 8) | (uint32_t)(i + 1)) : 0;
			l.symname = text(v, vp, "symname", "vport " + std::to_string(i), 128);
			p.lports.push_back(std::move(l));
		}
	}
	static const char *const keys[] = {"link", "speed_supported", "link_speed", "enabled", "ratelimit", "trunked",
					   "io_profile", "fcoe_vlan", "pid", "fabric_name", "symname", "rports",
					   "rport_count", "vports"};
	for (auto it = j.begin(); it != j.end(); ++it) {
		bool known = it.key()[0] == '_';
		for (const char *k : keys)
			known = known || it.key() == k;
		if (!known)
			bad(path, "unknown key '" + it.key() + "'");
	}
	if (p.link == Link::down)
		p.enabled = true;
}

void build_eth(Function &f, Port &p, const std::string &path)
{
	const json &j = f.eth_cfg.is_object() ? f.eth_cfg : json::object();
	p.eth = true;
	p.link = flag(j, path, "link_up", true) ? Link::p2p : Link::down;
	p.speed_supported = p.link_speed = QOR_PORT_SPEED_10GBPS;
	p.eth_attr.mtu = (uint32_t)num(j, path, "mtu", 1500, 68, 9216);
	p.eth_attr.speed_supported = QOR_PORT_SPEED_10GBPS;
}

} // namespace

bool link_up(const Port &p)
{
	return p.enabled && p.link != Link::down;
}

uint32_t port_state(const Port &p)
{
	if (!p.enabled)
		return QOR_PORT_ST_DISABLED;
	return p.link == Link::down ? QOR_PORT_ST_LINKDOWN : QOR_PORT_ST_LINKUP;
}

void build_all(Model &m)
{
	for (size_t i = 0; i < m.fns.size(); i++) {
		Function &f = m.fns[i];
		auto p = std::make_shared<Port>();
		std::string path = "adapters[" + std::to_string(f.adapter) + "].functions[" + std::to_string(i) + "]";
		if (f.ioc_type == QOR_IOC_TYPE_LL)
			build_eth(f, *p, path + ".ethport");
		else
			build_fc(m, f, *p, path + ".fcport");
		f.san = std::move(p);
	}
}

Port &port_of(Function &f)
{
	if (!f.san)
		f.san = std::make_shared<Port>();
	return *f.san;
}

void set_link(Model &, Function &f, bool up)
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

bool set_rport_online(Model &, Function &f, wwn_t rpwwn, bool online)
{
	for (auto &l : port_of(f).lports)
		for (auto &r : l.rports)
			if (r.pwwn == rpwwn) {
				if (r.online != online) {
					r.online = online;
					(online ? r.stats.onlines : r.stats.offlines)++;
					if (r.target)
						(online ? r.itn.onlines : r.itn.offlines)++;
				}
				return true;
			}
	return false;
}

} // namespace san

namespace {

using namespace san;

int g_fabric_fault;                 // under Sim::mu
std::vector<uint8_t> g_last_payload; // under Sim::mu

template <class Rec> Rec &rec_of(Req &r) { return r.as<Rec>(); }

// Each look at a live nexus sees some more I/O done.
void traffic(Port &p, LPort &l, RPort &rp)
{
	if (!rport_up(p, rp) || !rp.target)
		return;
	const uint32_t n = 64;
	for (qor_itnim_iostats_t *io : {&rp.io, &l.io}) {
		io->total_ios += n;
		io->input_reqs += n / 2;
		io->output_reqs += n / 2;
		io->io_comps += n;
		io->iocomp_ok += n;
		io->rd_throughput += n / 2 * 8192;
		io->wr_throughput += n / 2 * 4096;
	}
	p.stats.fc.tx_frames += 3 * n;
	p.stats.fc.rx_frames += 5 * n;
	p.stats.fc.tx_words += 3 * n * 300;
	p.stats.fc.rx_words += 5 * n * 600;
}

int h_lport_attr(Req &r)
{
	auto &v = rec_of<qor_ioctl_lport_attr_t>(r);
	LPort *l = lport_of(r, v, v.pwwn);
	if (!l)
		return 0;
	Port &p = port_of(*r.fn);
	qor_lport_attr_t &a = v.port_attr;
	memset(&a, 0, sizeof a);
	const bool up = link_up(p);
	a.state = up ? QOR_LPORT_ONLINE : QOR_LPORT_OFFLINE;
	a.pid = up ? l->pid : 0;
	a.port_cfg.pwwn = l->pwwn;
	a.port_cfg.nwwn = l->nwwn;
	snprintf(a.port_cfg.sym_name.symname, sizeof a.port_cfg.sym_name.symname, "%s", l->symname.c_str());
	a.port_cfg.roles = l->roles;
	a.port_type = !up ? QOR_PORT_TYPE_UNKNOWN
		      : !l->base ? QOR_PORT_TYPE_VPORT
		      : p.link == Link::p2p ? QOR_PORT_TYPE_P2P
		      : p.link == Link::loop ? QOR_PORT_TYPE_NLPORT
					     : QOR_PORT_TYPE_NPORT;
	a.fabric_name = p.fabric_name;
	if (p.fcoe)
		memcpy(a.fpma_mac, r.fn->mac.mac, 6);
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_lport_iostats(Req &r)
{
	auto &v = rec_of<qor_ioctl_lport_iostats_t>(r);
	if (LPort *l = lport_of(r, v, v.pwwn)) {
		v.iostats = l->io;
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_lport_stats(Req &r)
{
	auto &v = rec_of<qor_ioctl_lport_stats_t>(r);
	if (LPort *l = lport_of(r, v, v.pwwn)) {
		v.port_stats = l->stats;
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_lport_reset(Req &r)
{
	auto &v = rec_of<qor_ioctl_lport_reset_stats_t>(r);
	if (LPort *l = lport_of(r, v, v.pwwn)) {
		l->stats = qor_lport_stats_t{};
		l->io = qor_itnim_iostats_t{};
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

// Writes what fits of the list and reports how many there are; a list that
// does not fit is refused, so a caller knows to ask again with more room.
int h_lport_rports(Req &r)
{
	auto &v = rec_of<qor_ioctl_lport_get_rports_t>(r);
	LPort *l = lport_of(r, v, v.pwwn);
	if (!l)
		return 0;
	const uint32_t total = (uint32_t)l->rports.size();
	const uint32_t n = total < v.nrports ? total : v.nrports;
	if (n) {
		std::vector<wwn_t> w(n);
		for (uint32_t i = 0; i < n; i++)
			w[i] = l->rports[i].pwwn;
		if (int e = copy_to_user(v.rbuf_ptr, w.data(), n * sizeof(wwn_t)))
			return e;
	}
	v.status = total <= v.nrports ? QOR_STATUS_OK : QOR_STATUS_ENOMEM;
	v.nrports = total;
	return 0;
}

int h_rport_add(Req &r)
{
	auto &v = rec_of<qor_ioctl_rport_t>(r);
	LPort *l = lport_of(r, v, v.pwwn);
	if (!l)
		return 0;
	if (v.rpwwn == 0) {
		v.status = QOR_STATUS_INVALID_WWN;
		return 0;
	}
	for (auto &rp : l->rports)
		if (rp.pwwn == v.rpwwn) {
			v.status = QOR_STATUS_OK; // already logged in: nothing to do
			return 0;
		}
	// Not known to the fabric: kept, but it cannot log in.
	RPort rp;
	rp.pwwn = v.rpwwn;
	rp.online = false;
	rp.registered = false;
	default_profile(rp.prof, 0);
	l->rports.push_back(rp);
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_rport_remove(Req &r)
{
	auto &v = rec_of<qor_ioctl_rport_t>(r);
	LPort *l = lport_of(r, v, v.pwwn);
	if (!l)
		return 0;
	for (size_t i = 0; i < l->rports.size(); i++)
		if (l->rports[i].pwwn == v.rpwwn) {
			l->rports.erase(l->rports.begin() + (long)i);
			v.status = QOR_STATUS_OK;
			return 0;
		}
	v.status = QOR_STATUS_UNKNOWN_RWWN;
	return 0;
}

int h_rport_stats(Req &r)
{
	auto &v = rec_of<qor_ioctl_rport_stats_t>(r);
	if (RPort *rp = rport_of(r, v, v.pwwn, v.rpwwn)) {
		v.stats = rp->stats;
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_rport_reset(Req &r)
{
	auto &v = rec_of<qor_ioctl_rport_reset_stats_t>(r);
	if (RPort *rp = rport_of(r, v, v.pwwn, v.rpwwn)) {
		rp->stats = qor_rport_stats_t{};
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_rport_attr(Req &r)
{
	auto &v = rec_of<qor_ioctl_rport_attr_t>(r);
	RPort *rp = rport_of(r, v, v.pwwn, v.rpwwn);
	if (!rp)
		return 0;
	Port &p = port_of(*r.fn);
	const bool up = rport_up(p, *rp);
	qor_rport_attr_t &a = v.attr;
	memset(&a, 0, sizeof a);
	a.nwwn = rp->nwwn;
	a.pwwn = rp->pwwn;
	a.cos_supported = FC_CLASS_3;
	a.pid = up ? rp->pid : 0;
	a.df_sz = rp->df_sz;
	a.state = up ? QOR_RPORT_ONLINE : QOR_RPORT_OFFLINE;
	a.fc_cos = FC_CLASS_3;
	snprintf(a.symname.symname, sizeof a.symname.symname, "%s", rp->symname.c_str());
	a.scsi_function = rp->target ? QOR_RPORT_TARGET : QOR_RPORT_INITIATOR;
	const uint32_t sp = p.cfg_speed == QOR_PORT_SPEED_AUTO ? p.link_speed : p.cfg_speed;
	a.curr_speed = up ? (rp->assigned_speed ? rp->assigned_speed : sp) : 0;
	a.trl_enforced = rp->assigned_speed != 0 && p.ratelimit;
	a.assigned_speed = rp->assigned_speed;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_rport_scsi(Req &r)
{
	auto &v = rec_of<qor_ioctl_rport_scsi_addr_t>(r);
	RPort *rp = rport_of(r, v, v.pwwn, v.rpwwn);
	if (!rp)
		return 0;
	if (!rp->target) {
		v.status = QOR_STATUS_NO_FCPIM_NEXUS;
		return 0;
	}
	if (!rport_up(port_of(*r.fn), *rp)) {
		v.status = QOR_STATUS_RPORT_OFFLINE;
		return 0;
	}
	v.host = rp->host;
	v.bus = rp->bus;
	v.target = rp->scsi_target;
	v.lun = 0;
	v.status = QOR_STATUS_OK;
	return 0;
}

bool valid_speed(uint32_t s)
{
	return s == 1 || s == 2 || s == 4 || s == 8 || s == 10 || s == 16;
}

int h_rport_speed(Req &r)
{
	auto &v = rec_of<qor_ioctl_rport_set_speed_t>(r);
	RPort *rp = rport_of(r, v, v.pwwn, v.rpwwn);
	if (!rp)
		return 0;
	const Port &p = port_of(*r.fn);
	if (v.speed != QOR_PORT_SPEED_AUTO && (!valid_speed(v.speed) || v.speed > p.speed_supported)) {
		v.status = QOR_STATUS_UNSUPP_SPEED;
		return 0;
	}
	rp->assigned_speed = v.speed == QOR_PORT_SPEED_AUTO ? 0 : v.speed;
	v.status = QOR_STATUS_OK;
	return 0;
}

// The target behind an IT nexus request; initiators have none.
template <class Rec> RPort *itn_of(Req &r, Rec &v, LPort **lp = nullptr)
{
	LPort *l = lport_of(r, v, v.lpwwn);
	if (!l)
		return nullptr;
	for (auto &rp : l->rports)
		if (rp.pwwn == v.rpwwn) {
			if (!rp.target) {
				v.status = QOR_STATUS_NO_FCPIM_NEXUS;
				return nullptr;
			}
			if (lp)
				*lp = l;
			return &rp;
		}
	v.status = QOR_STATUS_UNKNOWN_RWWN;
	return nullptr;
}

int h_itnim_attr(Req &r)
{
	auto &v = rec_of<qor_ioctl_itnim_attr_t>(r);
	RPort *rp = itn_of(r, v);
	if (!rp)
		return 0;
	memset(&v.attr, 0, sizeof v.attr);
	v.attr.state = rport_up(port_of(*r.fn), *rp) ? QOR_ITNIM_ONLINE : QOR_ITNIM_OFFLINE;
	v.attr.rec_support = 1;
	v.status = QOR_STATUS_OK;
	return 0;
}

int h_itnim_iostats(Req &r)
{
	auto &v = rec_of<qor_ioctl_itnim_iostats_t>(r);
	LPort *l = nullptr;
	if (RPort *rp = itn_of(r, v, &l)) {
		traffic(port_of(*r.fn), *l, *rp);
		v.iostats = rp->io;
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_itnim_reset(Req &r)
{
	auto &v = rec_of<qor_ioctl_itnim_reset_stats_t>(r);
	if (RPort *rp = itn_of(r, v)) {
		rp->io = qor_itnim_iostats_t{};
		rp->itn = qor_itnim_stats_t{};
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_itnim_itnstats(Req &r)
{
	auto &v = rec_of<qor_ioctl_itnim_itnstats_t>(r);
	if (RPort *rp = itn_of(r, v)) {
		v.itnstats = rp->itn;
		v.status = QOR_STATUS_OK;
	}
	return 0;
}

int h_itnim_ioprofile(Req &r)
{
	auto &v = rec_of<qor_ioctl_itnim_ioprofile_t>(r);
	RPort *rp = itn_of(r, v);
	if (!rp)
		return 0;
	if (!port_of(*r.fn).io_profile) {
		v.status = QOR_STATUS_IOPROFILE_OFF;
		return 0;
	}
	v.ioprofile = rp->prof;
	v.status = QOR_STATUS_OK;
	return 0;
}

// ---- fabric pass-through ---------------------------------------------------------

constexpr uint32_t kMaxPayload = 4096;

struct Reply {
	std::vector<uint8_t> bytes;
};

RPort *rport_by_pid(LPort &l, uint32_t stored)
{
	for (auto &rp : l.rports)
		if (rp.pid == stored)
			return &rp;
	return nullptr;
}

// Name server: GSPN_ID answered from the fabric's registrations.
void name_server(Port &p, LPort &l, const std::vector<uint8_t> &req, Reply &out)
{
	ct_hdr_t rsp{};
	const auto *ct = reinterpret_cast<const ct_hdr_t *>(req.data());
	rsp.rev_id = CT_GS3_REVISION;
	rsp.gs_type = ct->gs_type;
	rsp.gs_sub_type = ct->gs_sub_type;
	auto reject = [&](uint8_t reason, uint8_t expl) {
		fc_put_be16(rsp.cmd_rsp_code, CT_RSP_REJECT);
		rsp.reason_code = reason;
		rsp.exp_code = expl;
		out.bytes.assign(reinterpret_cast<uint8_t *>(&rsp), reinterpret_cast<uint8_t *>(&rsp) + sizeof rsp);
	};
	l.stats.ns_plogi_sent++; // every query opens a session with the server
	l.stats.ns_plogi_accepts++;
	if (ct->rev_id != CT_GS3_REVISION || ct->gs_type != CT_GSTYPE_DIRSERVICE ||
	    ct->gs_sub_type != CT_GSSUBTYPE_NAMESERVER) {
		l.stats.ns_rejects++;
		return reject(CT_RSN_INV_CMD, 0);
	}
	if (fc_get_be16(ct->cmd_rsp_code) != GS_GSPN_ID || req.size() < sizeof(fcgs_gspnid_frame_t)) {
		l.stats.ns_rejects++;
		return reject(CT_RSN_INV_CMD, 0);
	}
	const auto *q = reinterpret_cast<const fcgs_gspnid_frame_t *>(req.data());
	const uint32_t pid = fc_pid_from_wire(q->req.dap);
	const RPort *rp = rport_by_pid(l, pid);
	const bool self = pid == l.pid;
	if (g_fabric_fault == FAULT_NS_REJECT || (!self && (!rp || !rp->registered)) || q->req.rsvd != 0) {
		l.stats.ns_rejects++;
		return reject(CT_RSN_UNABLE_TO_PERF, CT_NS_EXP_PORTID_NOT_REG);
	}
	const std::string &name = self ? l.symname : rp->symname;
	fcgs_gspnid_acc_frame_t acc{};
	acc.ct = rsp;
	fc_put_be16(acc.ct.cmd_rsp_code, CT_RSP_ACCEPT);
	size_t n = name.size() < FC_SYMNAME_MAX ? name.size() : FC_SYMNAME_MAX;
	acc.rsp.spn_len = (uint8_t)n;
	memcpy(acc.rsp.spn, name.data(), n);
	size_t len = sizeof(ct_hdr_t) + 1 + n;
	if (g_fabric_fault == FAULT_NS_BAD_LEN) {
		acc.rsp.spn_len = 200; // claims far more than is sent
		len = sizeof(ct_hdr_t) + 1 + (n < 8 ? n : 8);
	} else if (g_fabric_fault == FAULT_NS_SHORT) {
		len = 10;
	}
	const auto *b = reinterpret_cast<const uint8_t *>(&acc);
	out.bytes.assign(b, b + len);
	(void)p;
}

void link_service(Port &p, RPort *dst, const std::vector<uint8_t> &req, Reply &out)
{
	(void)p;
	auto ls_rjt = [&](uint8_t reason) {
		fc_ls_rjt_t rj{};
		rj.ls_code = FC_ELS_LS_RJT;
		rj.reason_code = reason;
		const auto *b = reinterpret_cast<const uint8_t *>(&rj);
		out.bytes.assign(b, b + sizeof rj);
	};
	if (req.empty() || req[0] != FC_ELS_RLS || req.size() < 8)
		return ls_rjt(FC_LS_RJT_RSN_CMD_NOT_SUPP);
	if (g_fabric_fault == FAULT_RLS_RJT)
		return ls_rjt(FC_LS_RJT_RSN_UNABLE);
	fc_rls_acc_t acc{};
	acc.ls_code = FC_ELS_ACC;
	uint8_t *w[6] = {acc.lesb.lfc, acc.lesb.lsyc, acc.lesb.lsic, acc.lesb.pspec, acc.lesb.itwc, acc.lesb.icc};
	for (int i = 0; i < 6; i++)
		fc_put_be32(w[i], dst->lesb[i]);
	const auto *b = reinterpret_cast<const uint8_t *>(&acc);
	out.bytes.assign(b, b + (g_fabric_fault == FAULT_RLS_SHORT ? 12 : sizeof acc));
}

bool fchdr_ok(const fchs_t &h, uint8_t r_ctl, uint8_t type, const uint8_t d_id[3], uint32_t s_pid)
{
	uint8_t s_id[3];
	fc_pid_to_wire(s_pid, s_id);
	return h.r_ctl == r_ctl && h.type == type && memcmp(h.d_id, d_id, 3) == 0 && memcmp(h.s_id, s_id, 3) == 0 &&
	       fc_get_be24(h.f_ctl) == FC_FCTL_REQ_SINGLE && fc_get_be16(h.rx_id) == 0xFFFF && h.cs_ctl == 0 &&
	       h.df_ctl == 0 && fc_get_be16(h.seq_cnt) == 0;
}

int h_fcpt(Req &r)
{
	auto &v = rec_of<qor_ioctl_fcpt_t>(r);
	Port &p = port_of(*r.fn);
	LPort *l = lport_of(r, v, v.lpwwn);
	const uint32_t room = v.rspsz;
	v.rspsz = 0;
	if (!l)
		return 0;
	if (!link_up(p)) {
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
	g_last_payload = req;
	RPort *dst = nullptr;
	if (v.dpwwn) {
		for (auto &rp : l->rports)
			if (rp.pwwn == v.dpwwn)
				dst = &rp;
		if (!dst) {
			v.status = QOR_STATUS_UNKNOWN_RWWN;
			return 0;
		}
	}
	if ((v.nport_nexus_needed != 0) != (v.dpwwn != 0)) {
		v.status = QOR_STATUS_EINVAL;
		return 0;
	}
	Reply out;
	uint8_t ns[3];
	fc_put_be24(ns, FC_DIRECTORY_SERVER);
	if (v.fchs.r_ctl == FC_RCTL_FC4_UNSOL_CTL) {
		if (p.link != Link::fabric) {
			v.status = QOR_STATUS_NO_FABRIC;
			return 0;
		}
		if (!fchdr_ok(v.fchs, FC_RCTL_FC4_UNSOL_CTL, FC_TYPE_SERVICES, ns, l->pid) ||
		    req.size() < sizeof(ct_hdr_t)) {
			v.status = QOR_STATUS_BADFRMHDR;
			return 0;
		}
		name_server(p, *l, req, out);
	} else if (v.fchs.r_ctl == FC_RCTL_ELS_REQ) {
		if (!dst || !fchdr_ok(v.fchs, FC_RCTL_ELS_REQ, FC_TYPE_ELS, reinterpret_cast<const uint8_t *>(&dst->pid),
				      p.pid)) {
			v.status = QOR_STATUS_BADFRMHDR;
			return 0;
		}
		if (!rport_up(p, *dst)) {
			v.status = QOR_STATUS_RPORT_OFFLINE;
			return 0;
		}
		link_service(p, dst, req, out);
	} else {
		v.status = QOR_STATUS_BADFRMHDR;
		return 0;
	}
	size_t n = out.bytes.size() < room ? out.bytes.size() : room;
	if (int e = copy_to_user(v.rspbuf_ptr, out.bytes.data(), n))
		return e;
	v.rspsz = (uint32_t)n;
	if (g_fabric_fault == FAULT_RSPSZ_OVER)
		v.rspsz = room + 100;
	v.status = QOR_STATUS_OK;
	return 0;
}

} // namespace
} // namespace qorsim

using namespace qorsim;

extern "C" __attribute__((visibility("default"))) void qorsim_san_fabric_fault(int mode)
{
	std::lock_guard lk(sim().mu);
	g_fabric_fault = mode;
}

extern "C" __attribute__((visibility("default"))) size_t qorsim_san_last_payload(uint8_t *buf, size_t room)
{
	std::lock_guard lk(sim().mu);
	size_t n = g_last_payload.size() < room ? g_last_payload.size() : room;
	if (n)
		memcpy(buf, g_last_payload.data(), n);
	return g_last_payload.size();
}

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
QORSIM_HANDLER(FCPT,                h_fcpt);
QORSIM_HANDLER(ITNIM_GET_ATTR,      h_itnim_attr);
QORSIM_HANDLER(ITNIM_GET_IOSTATS,   h_itnim_iostats);
QORSIM_HANDLER(ITNIM_RESET_STATS,   h_itnim_reset);
QORSIM_HANDLER(ITNIM_GET_ITNSTATS,  h_itnim_itnstats);
QORSIM_HANDLER(ITNIM_GET_IOPROFILE, h_itnim_ioprofile);
// clang-format on
