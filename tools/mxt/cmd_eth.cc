// mxt eth, mxt fcoe: Ethernet ports and FCoE ports.
#include "mxt.h"
#include "qorl_ethport.h"
#include "qorl_port.h"
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

// Counters of a record of 64-bit fields, named as in the record.
doc counters(const uint64_t *v, std::initializer_list<const char *> names)
{
	doc d = doc::object();
	size_t i = 0;
	for (const char *n : names)
		d[n] = v[i++];
	return d;
}

void eth_show(const std::string &ap)
{
	open_session();
	qorl_t *q = port_arg(ap, side::eth);
	qor_ethport_attr_t a;
	qor_status_t st = qorl_ethport_get_attr(q, &a);
	if (st != QOR_STATUS_OK)
		fail_status("reading the Ethernet attributes of port " + ap, st);
	doc d;
	d["port"] = ap;
	d["eth_name"] = field(q->eth_name);
	d["mac"] = mac_text(q->mac);
	d["mtu"] = a.mtu;
	d["port_state"] = qorl_port_get_state_name((qor_port_states_t)a.port_state);
	d["speed"] = speed_text(a.speed);
	d["speed_supported"] = speed_text(a.speed_supported);
	print(d);
}

void eth_stats(const std::string &ap, bool reset)
{
	open_session();
	qorl_t *q = port_arg(ap, side::eth);
	if (reset) {
		qor_status_t st = qorl_ethport_reset_stats(q);
		if (st != QOR_STATUS_OK)
			fail_status("resetting the Ethernet statistics of port " + ap, st);
		return;
	}
	qor_ethport_stats_t s;
	qor_status_t st = qorl_ethport_get_stats(q, &s);
	if (st != QOR_STATUS_OK)
		fail_status("reading the Ethernet statistics of port " + ap, st);
	doc d;
	d["txf_stats"] = counters(&s.txf_stats.ucast_octets,
				  {"ucast_octets", "ucast", "ucast_vlan", "mcast_octets", "mcast", "mcast_vlan",
				   "bcast_octets", "bcast", "bcast_vlan", "errors", "filter_vlan", "filter_mac_sa"});
	d["rxf_stats"] = counters(&s.rxf_stats.ucast_octets,
				  {"ucast_octets", "ucast", "ucast_vlan", "mcast_octets", "mcast", "mcast_vlan",
				   "bcast_octets", "bcast", "bcast_vlan", "frame_drops"});
	d["drv_stats"] = counters(
		&s.drv_stats.rx_complete,
		{"rx_complete",	      "rx_drop",	     "rx_alloc_fail",	    "rx_cso_err",	  "rx_mac_err",
		 "rx_small_pkt",      "rx_large_pkt",	     "rx_lro",		    "rx_lro_flush",	  "rx_low_rxbuf_count",
		 "rx_schedule",	      "tx_lso4",	     "tx_lso6",		    "tx_lso_err",	  "tx_tcp_cso",
		 "tx_udp_cso",	      "tx_ip4_cso",	     "tx_csum_help",	    "tx_csum_help_err",	  "tx_map_err",
		 "tx_res_drop",	      "tx_small_pkt",	     "tx_large_pkt",	    "tx_out_of_wis_count", "tx_wi_waitq_count",
		 "tx_ctxt_waitq_count", "tx_max_nbs_per_nbl", "link_toggle",	    "cee_toggle",	  "mbox_intr_disable",
		 "mbox_intr_enable",  "tx_stop",	     "tx_wakeup",	    "tx_res_stop",	  "tx_hw_stop",
		 "rx_hw_stop",	      "rx_resume",	     "rx_rss_config_count", "fw_stats_query"});
	print(d);
}

qorl_t *fcoe_port(const std::string &ap)
{
	qorl_t *q = port_arg(ap, side::fc);
	if (q->ioc_type != QOR_IOC_TYPE_FCoE)
		fail("port " + ap + " is a Fibre Channel port, not an FCoE port");
	return q;
}

void fcoe_show(const std::string &ap)
{
	open_session();
	qorl_t *q = fcoe_port(ap);
	qor_port_attr_t a;
	qor_status_t st = qorl_port_get_attr(q, &a);
	if (st != QOR_STATUS_OK)
		fail_status("reading the FCoE port " + ap, st);
	doc d;
	d["port"] = ap;
	d["pwwn"] = wwn_text(a.pwwn);
	d["nwwn"] = wwn_text(a.nwwn);
	d["mac"] = mac_text(q->mac);
	d["port_state"] = qorl_port_get_state_name((qor_port_states_t)a.port_state);
	d["speed"] = speed_text(a.speed);
	d["pid"] = pid_text(a.pid);
	d["fcoe_vlan"] = a.fcoe_vlan;
	print(d);
}

void fcoe_stats(const std::string &ap, bool reset)
{
	open_session();
	qorl_t *q = fcoe_port(ap);
	if (reset) {
		qor_status_t st = qorl_fcoe_reset_stats(q);
		if (st != QOR_STATUS_OK)
			fail_status("resetting the FCoE statistics of port " + ap, st);
		return;
	}
	qorl_stats_long_t pairs[QORL_FCOE_STATS_COUNT];
	qor_status_t st = qorl_fcoe_get_stats(q, pairs);
	if (st != QOR_STATUS_OK)
		fail_status("reading the FCoE statistics of port " + ap, st);
	print(pairs_doc(pairs, QORL_FCOE_STATS_COUNT));
}

void fcoe_switch(const std::string &ap, bool on)
{
	open_session();
	qorl_t *q = fcoe_port(ap);
	qor_status_t st = on ? qorl_fcoe_port_enable(q) : qorl_fcoe_port_disable(q);
	if (st != QOR_STATUS_OK)
		fail_status(std::string(on ? "enabling" : "disabling") + " FCoE port " + ap, st);
	sync_config();
}

} // namespace

void register_eth(CLI::App &app)
{
	static std::string ap;
	static bool reset = false;
	auto addr = [](CLI::App *c) { c->add_option("PORT", ap, "ADAPTER/PORT, e.g. 2/0")->required(); };

	auto *e = app.add_subcommand("eth", "Ethernet ports of converged adapters");
	e->require_subcommand(1);
	auto *es = e->add_subcommand("show", "attributes of an Ethernet port");
	addr(es);
	es->callback([] { eth_show(ap); });
	auto *et = e->add_subcommand("stats", "statistics of an Ethernet port");
	addr(et);
	et->add_flag("--reset", reset, "reset the counters instead of showing them");
	et->callback([] { eth_stats(ap, reset); });

	auto *f = app.add_subcommand("fcoe", "FCoE ports of converged adapters");
	f->require_subcommand(1);
	auto *fs = f->add_subcommand("show", "attributes of an FCoE port");
	addr(fs);
	fs->callback([] { fcoe_show(ap); });
	auto *ft = f->add_subcommand("stats", "statistics of an FCoE port");
	addr(ft);
	ft->add_flag("--reset", reset, "reset the counters instead of showing them");
	ft->callback([] { fcoe_stats(ap, reset); });
	auto *fe = f->add_subcommand("enable", "enable an FCoE port (kept in the configuration)");
	addr(fe);
	fe->callback([] { fcoe_switch(ap, true); });
	auto *fd = f->add_subcommand("disable", "disable an FCoE port (kept in the configuration)");
	addr(fd);
	fd->callback([] { fcoe_switch(ap, false); });
}

} // namespace mxt
