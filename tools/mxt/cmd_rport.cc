// mxt lport, mxt rport, mxt itnim: logical ports, remote ports, IT nexus.
#include <arpa/inet.h>

#include <cstddef>
#include <vector>

#include "qorl_itnim.h"
#include "qorl_lport.h"
#include "qorl_port.h"
#include "qorl_rport.h"
#include "qorl_state.h"
#include "table.h"

namespace mxt {

namespace {

doc role_value(uint32_t f)
{
	return f == QOR_RPORT_TARGET ? doc("target") : f == QOR_RPORT_INITIATOR ? doc("initiator") : doc();
}

// The physical port's own logical port.
wwn_t base_pwwn(const call &c)
{
	return read_port_attr(c).pwwn;
}

doc lport_doc(const call &c, const qor_lport_attr_t &a)
{
	static const char *const states[] = {"uninit", "fdisc", "online", "offline"};
	const qor_lport_cfg_t &cfg = a.port_cfg;
	doc d;
	d["port"] = c.address();
	d["vf_id"] = 0;
	d["base"] = true;
	d["pwwn"] = wwn_value(cfg.pwwn);
	d["nwwn"] = wwn_value(cfg.nwwn);
	d["state"] = a.state < 4 ? doc(states[a.state]) : doc();
	d["pid"] = pid_value(a.pid);
	d["port_type"] = word_value(qorl_port_type_to_string((qor_port_type_t)a.port_type));
	d["symname"] = field(cfg.sym_name.symname);
	d["roles"] = roles_value(cfg.roles);
	d["fabric_name"] = wwn_value(a.fabric_name);
	d["loopback"] = a.loopback;
	d["authfail"] = a.authfail != 0;
	return d;
}

// A remote port; only its WWN and the error when its attributes cannot be read.
doc rport_doc(wwn_t rw, const qor_rport_attr_t *a, qor_status_t st)
{
	doc d;
	d["pwwn"] = wwn_value(rw);
	d["nwwn"] = a ? wwn_value(a->nwwn) : doc();
	d["pid"] = a ? pid_value(a->pid) : doc();
	d["state"] = a ? word_value(qorl_rport_state_to_string((qor_rport_state_t)a->state)) : doc();
	d["scsi_function"] = a ? role_value(a->scsi_function) : doc();
	put_speed(d, "curr_speed", a ? a->curr_speed : (uint32_t)QOR_PORT_SPEED_UNKNOWN);
	d["symname"] = a ? doc(field(a->symname.symname)) : doc();
	if (!a)
		d["error"] = {{"status", (unsigned)st}, {"name", status_name(st)}};
	return d;
}

doc rport_stats_doc(const qor_rport_stats_t &s)
{
	static const char *const names[] = {
		"offlines",      "onlines",       "rscns",         "plogis",         "plogi_accs",   "plogi_timeouts",
		"plogi_rejects", "plogi_failed",  "plogi_rcvd",    "prli_rcvd",      "adisc_rcvd",   "adisc_rejects",
		"adisc_sent",    "adisc_accs",    "adisc_failed",  "adisc_rejected", "logos",        "logo_accs",
		"logo_failed",   "logo_rejected", "logo_rcvd",     "rpsc_rcvd",      "rpsc_rejects", "rpsc_sent",
		"rpsc_accs",     "rpsc_failed",   "rpsc_rejected", "rjt_insuff_res"};
	static_assert(sizeof names / sizeof names[0] * 4 == offsetof(qor_rport_stats_t, hal_stats));
	const auto *v = reinterpret_cast<const uint32_t *>(&s);
	doc d = doc::object();
	for (size_t i = 0; i < sizeof names / sizeof names[0]; i++)
		d[names[i]] = v[i];
	return d;
}

// The link error status block: the counters come as the remote port sent
// them, big-endian.
doc link_error_doc(qorl_stats_t *lesb)
{
	for (int i = 0; i < QORL_RPORT_REMOTE_LINK_STATS_COUNT; i++)
		lesb[i].value = ntohl(lesb[i].value);
	return pairs_doc(lesb, QORL_RPORT_REMOTE_LINK_STATS_COUNT);
}

} // namespace

// Grows the room when the driver reports more than fitted.
std::vector<wwn_t> rport_wwns(const call &c, wwn_t lpwwn)
{
	std::vector<wwn_t> v(64);
	for (int tries = 0; tries < 4; tries++) {
		uint32_t n = (uint32_t)v.size();
		qor_status_t st = qorl_lport_get_rports(c.q, 0, lpwwn, v.data(), &n);
		if (n > v.size()) {
			v.resize(n);
			continue;
		}
		check(st, "listing the remote ports of " + c.where());
		v.resize(n);
		return v;
	}
	fail("the remote ports of " + c.where() + " keep changing; try again");
}

doc lport_list(call &c)
{
	wwn_t pw = base_pwwn(c);
	qor_lport_attr_t a;
	check(qorl_lport_get_attr(c.q, 0, pw, &a), "reading the logical port of " + c.where());
	return doc::array({lport_doc(c, a)});
}

doc rport_list(call &c)
{
	wwn_t pw = base_pwwn(c);
	doc rows = doc::array();
	for (wwn_t rw : rport_wwns(c, pw)) {
		qor_rport_attr_t a;
		qor_status_t st = qorl_rport_get_attr(c.q, 0, pw, rw, &a);
		rows.push_back(rport_doc(rw, st == QOR_STATUS_OK ? &a : nullptr, st));
	}
	return rows;
}

doc rport_show(call &c)
{
	wwn_t pw = base_pwwn(c);
	const std::string what = "remote port " + wwn_text(c.wwn) + " of " + c.where();
	qor_rport_attr_t a;
	check(qorl_rport_get_attr(c.q, 0, pw, c.wwn, &a), "reading " + what,
	      "'mxt rport list " + c.address() + "' shows the remote ports");
	doc d = {{"port", c.address()}};
	d.update(rport_doc(c.wwn, &a, QOR_STATUS_OK));
	d["df_sz"] = a.df_sz;
	d["cos_supported"] = cos_value(a.cos_supported);
	d["cisc"] = a.cisc != 0;
	d["trl_enforced"] = a.trl_enforced != 0;
	put_speed(d, "assigned_speed", a.assigned_speed);
	d["qos_priority"] = word_value(qorl_qos_priority_to_string((qor_qos_priority_t)a.qos_attr.qos_priority));
	uint32_t host, bus, target;
	d["scsi_address"] = qorl_rport_get_scsi_address(c.q, 0, pw, c.wwn, &host, &bus, &target) == QOR_STATUS_OK
				    ? doc{{"host", host}, {"bus", bus}, {"target", target}}
				    : doc();
	qor_rport_symname_t ns{};
	d["ns_symname"] = a.pid && qorl_get_rport_symname(c.q, 0, a.pid, pw, c.wwn, &ns) == QOR_STATUS_OK
				  ? doc(field(ns.symname))
				  : doc();
	if (c.flags["--stats"]) {
		qor_rport_stats_t s;
		check(qorl_rport_get_stats(c.q, 0, pw, c.wwn, &s), "reading the statistics of " + what);
		d["stats"] = rport_stats_doc(s);
		qorl_stats_t lesb[QORL_RPORT_REMOTE_LINK_STATS_COUNT];
		d["link_error_status"] = qorl_rport_get_remote_link_error_status(c.q, pw, c.wwn, lesb) == QOR_STATUS_OK
						 ? link_error_doc(lesb)
						 : doc();
	}
	return d;
}

doc itnim_show(call &c)
{
	wwn_t pw = base_pwwn(c);
	qor_itnim_attr_t a;
	check(qorl_itnim_get_attr(c.q, 0, pw, c.wwn, &a),
	      "reading the IT nexus to " + wwn_text(c.wwn) + " on " + c.where(),
	      "'mxt rport list " + c.address() + "' shows the remote ports and which are targets");
	doc d;
	d["port"] = c.address();
	d["lpwwn"] = wwn_value(pw);
	d["rpwwn"] = wwn_value(c.wwn);
	d["state"] = word_value(qorl_itnim_state_to_string((qor_itnim_state_t)a.state));
	d["retry"] = a.retry;
	d["task_retry_id"] = a.task_retry_id;
	d["rec_support"] = a.rec_support;
	d["conf_comp"] = a.conf_comp;
	qorl_stats_t its[QORL_ITNIM_STATS_COUNT];
	d["itnstats"] = qorl_itnim_get_itnstats(c.q, 0, pw, c.wwn, its) == QOR_STATUS_OK
				? pairs_doc(its, QORL_ITNIM_STATS_COUNT)
				: doc();
	qorl_stats_t io[QORL_ITNIM_IOSTATS_COUNT];
	const bool have_io = qorl_itnim_get_iostats(c.q, 0, pw, c.wwn, io) == QOR_STATUS_OK;
	d["iostats"] = have_io ? pairs_doc(io, QORL_ITNIM_IOSTATS_COUNT) : doc();
	d["throughput"] = have_io ? doc(qorl_itnim_get_iothroughput(io)) : doc();
	qor_itnim_ioprofile_t p;
	if (qorl_itnim_get_ioprofile(c.q, 0, pw, c.wwn, &p) == QOR_STATUS_OK) {
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
		d["ioprofile"] = nullptr;
	}
	return d;
}

} // namespace mxt
