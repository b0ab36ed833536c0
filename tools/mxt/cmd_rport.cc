// mxt lport, mxt rport, mxt itnim: logical ports, remote ports, IT nexus.
#include <vector>

#include "mxt.h"
#include "qorl_itnim.h"
#include "qorl_lport.h"
#include "qorl_port.h"
#include "qorl_rport.h"
#include "qorl_state.h"

namespace mxt {

namespace {

std::string speed_text(uint32_t sp)
{
	std::string t = qorl_port_speed_to_string((qor_port_speed_t)sp);
	while (!t.empty() && t.back() == ' ')
		t.pop_back();
	return t;
}

const char *role_text(uint32_t f)
{
	return f == QOR_RPORT_TARGET ? "target" : f == QOR_RPORT_INITIATOR ? "initiator" : "unknown";
}

wwn_t rpwwn_arg(const std::string &s)
{
	wwn_t w;
	if (!parse_wwn(s, &w))
		fail("'" + s + "' is not a WWN; write it as 8 hex bytes, e.g. 21:00:00:24:ff:00:00:01");
	return w;
}

// The physical port's own logical port.
wwn_t base_pwwn(qorl_t *q, const std::string &ap)
{
	qor_port_attr_t a;
	qor_status_t st = qorl_port_get_attr(q, &a);
	if (st != QOR_STATUS_OK)
		fail_status("reading the attributes of port " + ap, st);
	return a.pwwn;
}

doc lport_doc(const qor_lport_attr_t &a)
{
	static const char *const states[] = {"uninit", "fdisc", "online", "offline"};
	const qor_lport_cfg_t &c = a.port_cfg;
	doc d;
	d["pwwn"] = wwn_text(c.pwwn);
	d["nwwn"] = wwn_text(c.nwwn);
	d["state"] = a.state < 4 ? states[a.state] : "unknown";
	d["pid"] = pid_text(a.pid);
	d["port_type"] = qorl_port_type_to_string((qor_port_type_t)a.port_type);
	d["sym_name"] = field(c.sym_name.symname);
	std::string roles;
	if (c.roles & QOR_LPORT_ROLE_FCP_IM)
		roles += "IM";
	if (c.roles & QOR_LPORT_ROLE_FCP_TM)
		roles += roles.empty() ? "TM" : " + TM";
	if (c.roles & QOR_LPORT_ROLE_FCP_IPFC)
		roles += roles.empty() ? "IPFC" : " + IPFC";
	d["roles"] = roles;
	d["fabric_name"] = wwn_text(a.fabric_name);
	d["loopback"] = a.loopback;
	d["authfail"] = a.authfail != 0;
	return d;
}

// Every remote port WWN of a logical port; grows the room when the driver
// reports more than fitted.
std::vector<wwn_t> rport_wwns(qorl_t *q, wwn_t lpwwn, const std::string &ap)
{
	std::vector<wwn_t> v(64);
	for (int tries = 0; tries < 4; tries++) {
		uint32_t n = (uint32_t)v.size();
		qor_status_t st = qorl_lport_get_rports(q, 0, lpwwn, v.data(), &n);
		if (n > v.size()) {
			v.resize(n);
			continue;
		}
		if (st != QOR_STATUS_OK)
			fail_status("listing the remote ports of port " + ap, st);
		v.resize(n);
		return v;
	}
	fail("the remote ports of port " + ap + " keep changing; try again");
}

doc rport_doc(const qor_rport_attr_t &a)
{
	doc d;
	d["pwwn"] = wwn_text(a.pwwn);
	d["nwwn"] = wwn_text(a.nwwn);
	d["pid"] = pid_text(a.pid);
	d["state"] = qorl_rport_state_to_string((qor_rport_state_t)a.state);
	d["scsi_function"] = role_text(a.scsi_function);
	d["curr_speed"] = speed_text(a.curr_speed);
	d["symname"] = field(a.symname.symname);
	return d;
}

void lport_list(const std::string &ap)
{
	open_session();
	qorl_t *q = port_arg(ap, side::fc);
	wwn_t pw = base_pwwn(q, ap);
	qor_lport_attr_t a;
	qor_status_t st = qorl_lport_get_attr(q, 0, pw, &a);
	if (st != QOR_STATUS_OK)
		fail_status("reading the logical port of port " + ap, st);
	doc r = lport_doc(a);
	r["vf_id"] = 0;
	r["base"] = true;
	doc rows = doc::array();
	rows.push_back(r);
	print(rows);
}

void rport_list(const std::string &ap)
{
	open_session();
	qorl_t *q = port_arg(ap, side::fc);
	wwn_t pw = base_pwwn(q, ap);
	doc rows = doc::array();
	for (wwn_t rw : rport_wwns(q, pw, ap)) {
		qor_rport_attr_t a;
		qor_status_t st = qorl_rport_get_attr(q, 0, pw, rw, &a);
		doc r;
		if (st == QOR_STATUS_OK) {
			r = rport_doc(a);
		} else {
			r["pwwn"] = wwn_text(rw);
			r["state"] = status_name(st);
		}
		rows.push_back(r);
	}
	print(rows);
}

doc rport_stats_doc(const qor_rport_stats_t &s)
{
	static const char *const names[] = {
		"offlines",     "onlines",       "rscns",          "plogis",         "plogi_accs",    "plogi_timeouts",
		"plogi_rejects", "plogi_failed", "plogi_rcvd",     "prli_rcvd",      "adisc_rcvd",    "adisc_rejects",
		"adisc_sent",   "adisc_accs",    "adisc_failed",   "adisc_rejected", "logos",         "logo_accs",
		"logo_failed",  "logo_rejected", "logo_rcvd",      "rpsc_rcvd",      "rpsc_rejects",  "rpsc_sent",
		"rpsc_accs",    "rpsc_failed",   "rpsc_rejected",  "rjt_insuff_res"};
	static_assert(sizeof names / sizeof names[0] * 4 == offsetof(qor_rport_stats_t, hal_stats));
	const auto *v = reinterpret_cast<const uint32_t *>(&s);
	doc d = doc::object();
	for (size_t i = 0; i < sizeof names / sizeof names[0]; i++)
		d[names[i]] = v[i];
	return d;
}

void rport_show(const std::string &ap, const std::string &rws, bool with_stats)
{
	open_session();
	qorl_t *q = port_arg(ap, side::fc);
	wwn_t rw = rpwwn_arg(rws);
	wwn_t pw = base_pwwn(q, ap);
	qor_rport_attr_t a;
	qor_status_t st = qorl_rport_get_attr(q, 0, pw, rw, &a);
	if (st != QOR_STATUS_OK)
		fail_status("reading remote port " + rws + " of port " + ap, st,
			    st == QOR_STATUS_UNKNOWN_RWWN ? "'mxt rport list " + ap + "' shows the remote ports" : "");
	doc d = rport_doc(a);
	d["df_sz"] = a.df_sz;
	d["cos_supported"] = a.cos_supported;
	d["cisc"] = a.cisc != 0;
	d["trl_enforced"] = a.trl_enforced != 0;
	d["assigned_speed"] = speed_text(a.assigned_speed);
	d["qos_priority"] = qorl_qos_priority_to_string((qor_qos_priority_t)a.qos_attr.qos_priority);
	uint32_t host, bus, target;
	if (qorl_rport_get_scsi_address(q, 0, pw, rw, &host, &bus, &target) == QOR_STATUS_OK)
		d["scsi_address"] = {{"host", host}, {"bus", bus}, {"target", target}};
	qor_rport_symname_t ns{};
	if (a.pid && qorl_get_rport_symname(q, 0, a.pid, pw, rw, &ns) == QOR_STATUS_OK)
		d["ns_symname"] = field(ns.symname);
	if (with_stats) {
		qor_rport_stats_t s;
		st = qorl_rport_get_stats(q, 0, pw, rw, &s);
		if (st != QOR_STATUS_OK)
			fail_status("reading the statistics of remote port " + rws, st);
		d["stats"] = rport_stats_doc(s);
		qorl_stats_t lesb[QORL_RPORT_REMOTE_LINK_STATS_COUNT];
		if (qorl_rport_get_remote_link_error_status(q, pw, rw, lesb) == QOR_STATUS_OK)
			d["link_error_status"] = pairs_doc(lesb, QORL_RPORT_REMOTE_LINK_STATS_COUNT);
	}
	print(d);
}

void itnim_show(const std::string &ap, const std::string &rws)
{
	open_session();
	qorl_t *q = port_arg(ap, side::fc);
	wwn_t rw = rpwwn_arg(rws);
	wwn_t pw = base_pwwn(q, ap);
	qor_itnim_attr_t a;
	qor_status_t st = qorl_itnim_get_attr(q, 0, pw, rw, &a);
	if (st != QOR_STATUS_OK)
		fail_status("reading the IT nexus to " + rws + " on port " + ap, st);
	doc d;
	d["lpwwn"] = wwn_text(pw);
	d["rpwwn"] = wwn_text(rw);
	d["state"] = qorl_itnim_state_to_string((qor_itnim_state_t)a.state);
	d["retry"] = a.retry;
	d["task_retry_id"] = a.task_retry_id;
	d["rec_support"] = a.rec_support;
	d["conf_comp"] = a.conf_comp;
	qorl_stats_t its[QORL_ITNIM_STATS_COUNT];
	if (qorl_itnim_get_itnstats(q, 0, pw, rw, its) == QOR_STATUS_OK)
		d["itnstats"] = pairs_doc(its, QORL_ITNIM_STATS_COUNT);
	qorl_stats_t io[QORL_ITNIM_IOSTATS_COUNT];
	if (qorl_itnim_get_iostats(q, 0, pw, rw, io) == QOR_STATUS_OK) {
		d["iostats"] = pairs_doc(io, QORL_ITNIM_IOSTATS_COUNT);
		d["throughput"] = qorl_itnim_get_iothroughput(io);
	}
	qor_itnim_ioprofile_t p;
	st = qorl_itnim_get_ioprofile(q, 0, pw, rw, &p);
	if (st == QOR_STATUS_OK) {
		doc buckets = doc::array();
		for (uint32_t i = 0; i < p.index && i < QOR_IOBUCKET_MAX; i++)
			buckets.push_back({{"bucket", i},
					   {"iocomps", p.iocomps[i]},
					   {"min", p.io_latency.min[i]},
					   {"max", p.io_latency.max[i]},
					   {"avg", p.io_latency.avg[i]},
					   {"count", p.io_latency.count[i]}});
		d["ioprofile"] = buckets;
	} else {
		d["ioprofile"] = status_name(st);
	}
	print(d);
}

} // namespace

void register_rport(CLI::App &app)
{
	static std::string ap, rw;
	static bool with_stats = false;

	auto *l = app.add_subcommand("lport", "logical ports behind a physical port");
	l->require_subcommand(1);
	auto *ll = l->add_subcommand("list", "the logical ports of a port");
	ll->add_option("PORT", ap, "ADAPTER/PORT, e.g. 1/0")->required();
	ll->callback([] { lport_list(ap); });

	auto *r = app.add_subcommand("rport", "remote ports a port has logged in to");
	r->require_subcommand(1);
	auto *rl = r->add_subcommand("list", "the remote ports of a port");
	rl->add_option("PORT", ap, "ADAPTER/PORT, e.g. 1/0")->required();
	rl->callback([] { rport_list(ap); });
	auto *rs = r->add_subcommand("show", "attributes (and statistics) of a remote port");
	rs->add_option("PORT", ap, "ADAPTER/PORT, e.g. 1/0")->required();
	rs->add_option("RPWWN", rw, "the remote port's WWN")->required();
	rs->add_flag("--stats", with_stats, "add its statistics and link error status");
	rs->callback([] { rport_show(ap, rw, with_stats); });

	auto *i = app.add_subcommand("itnim", "IT nexus between a port and a remote target");
	i->require_subcommand(1);
	auto *is = i->add_subcommand("show", "state, statistics and I/O profile of an IT nexus");
	is->add_option("PORT", ap, "ADAPTER/PORT, e.g. 1/0")->required();
	is->add_option("RPWWN", rw, "the target's WWN")->required();
	is->callback([] { itnim_show(ap, rw); });
}

} // namespace mxt
