// mxt eth, mxt fcoe: Ethernet ports and FCoE ports.
#include "qorl_ethport.h"
#include "qorl_port.h"
#include "qorl_state.h"
#include "table.h"

namespace mxt {

namespace {

// Names of the Ethernet statistics records' 64-bit fields, in order.
constexpr const char *txf_names[] = {
	"ucast_octets", "ucast", "ucast_vlan", "mcast_octets", "mcast", "mcast_vlan",
	"bcast_octets", "bcast", "bcast_vlan", "errors", "filter_vlan", "filter_mac_sa",
};
constexpr const char *rxf_names[] = {
	"ucast_octets", "ucast", "ucast_vlan", "mcast_octets", "mcast", "mcast_vlan",
	"bcast_octets", "bcast", "bcast_vlan", "frame_drops",
};
constexpr const char *drv_names[] = {
	"rx_complete", "rx_drop", "rx_alloc_fail", "rx_cso_err", "rx_mac_err", "rx_small_pkt",
	"rx_large_pkt", "rx_lro", "rx_lro_flush", "rx_low_rxbuf_count", "rx_schedule", "tx_lso4",
	"tx_lso6", "tx_lso_err", "tx_tcp_cso", "tx_udp_cso", "tx_ip4_cso", "tx_csum_help",
	"tx_csum_help_err", "tx_map_err", "tx_res_drop", "tx_small_pkt", "tx_large_pkt",
	"tx_out_of_wis_count", "tx_wi_waitq_count", "tx_ctxt_waitq_count", "tx_max_nbs_per_nbl",
	"link_toggle", "cee_toggle", "mbox_intr_disable", "mbox_intr_enable", "tx_stop", "tx_wakeup",
	"tx_res_stop", "tx_hw_stop", "rx_hw_stop", "rx_resume", "rx_rss_config_count", "fw_stats_query",
};

template <class Record, size_t N> doc counters(const Record &r, const char *const (&names)[N])
{
	static_assert(sizeof r == N * sizeof(uint64_t));
	const auto *v = reinterpret_cast<const uint64_t *>(&r);
	doc d = doc::object();
	for (size_t i = 0; i < N; i++)
		d[names[i]] = v[i];
	return d;
}

} // namespace

doc eth_show(call &c)
{
	qor_ethport_attr_t a;
	check(qorl_ethport_get_attr(c.q, &a), "reading the Ethernet attributes of " + c.where());
	doc d;
	d["port"] = c.address();
	d["eth_name"] = field(c.q->eth_name);
	d["mac"] = mac_value(c.q->mac.mac);
	d["mtu"] = a.mtu;
	d["port_state"] = word_value(qorl_port_get_state_name((qor_port_states_t)a.port_state));
	put_speed(d, "speed", a.speed);
	put_speed(d, "speed_supported", a.speed_supported);
	return d;
}

doc eth_stats(call &c)
{
	return stats_or_reset(c, qorl_ethport_reset_stats, "Ethernet statistics", [&] {
		qor_ethport_stats_t s;
		check(qorl_ethport_get_stats(c.q, &s), "reading the Ethernet statistics of " + c.where());
		return doc{{"txf_stats", counters(s.txf_stats, txf_names)},
			   {"rxf_stats", counters(s.rxf_stats, rxf_names)},
			   {"drv_stats", counters(s.drv_stats, drv_names)}};
	});
}

doc fcoe_show(call &c)
{
	const qor_port_attr_t a = read_port_attr(c);
	doc d;
	d["port"] = c.address();
	d["pwwn"] = wwn_value(a.pwwn);
	d["nwwn"] = wwn_value(a.nwwn);
	d["mac"] = mac_value(c.q->mac.mac);
	d["port_state"] = word_value(qorl_port_get_state_name((qor_port_states_t)a.port_state));
	put_speed(d, "speed", a.speed);
	d["pid"] = pid_value(a.pid);
	d["fcoe_vlan"] = a.fcoe_vlan;
	return d;
}

doc fcoe_stats(call &c)
{
	return stats_or_reset(c, qorl_fcoe_reset_stats, "FCoE statistics", [&] {
		qorl_stats_long_t pairs[QORL_FCOE_STATS_COUNT];
		check(qorl_fcoe_get_stats(c.q, pairs), "reading the FCoE statistics of " + c.where());
		return pairs_doc(pairs, QORL_FCOE_STATS_COUNT);
	});
}

template <bool On> doc fcoe_switch(call &c)
{
	return c.changed(On ? qorl_fcoe_port_enable(c.q) : qorl_fcoe_port_disable(c.q),
			 std::string(On ? "enabling" : "disabling") + " FCoE on " + c.where());
}

template doc fcoe_switch<true>(call &);
template doc fcoe_switch<false>(call &);

} // namespace mxt
