// mxt port, mxt trunk: physical ports and trunking.
#include "qorl_adapter.h"
#include "qorl_port.h"
#include "qorl_state.h"
#include "table.h"

namespace mxt {

namespace {

doc attr_doc(const qor_port_attr_t &a)
{
	const qor_port_cfg_t &c = a.pport_cfg;
	doc d;
	d["pwwn"] = wwn_value(a.pwwn);
	d["nwwn"] = wwn_value(a.nwwn);
	d["factory_pwwn"] = wwn_value(a.factorypwwn);
	d["factory_nwwn"] = wwn_value(a.factorynwwn);
	d["symname"] = field(a.port_symname.symname);
	d["port_state"] = word_value(qorl_port_get_state_name((qor_port_states_t)a.port_state));
	d["port_type"] = word_value(qorl_port_type_to_string((qor_port_type_t)a.port_type));
	d["pid"] = pid_value(a.pid);
	put_speed(d, "speed", a.speed);
	put_speed(d, "speed_supported", a.speed_supported);
	d["topology"] = topology_value(a.topology);
	d["cos_supported"] = cos_value(a.cos_supported);
	d["pbind_enabled"] = a.pbind_enabled != 0;
	d["beacon"] = a.beacon != 0;
	d["link_e2e_beacon"] = a.link_e2e_beacon != 0;
	d["plog_enabled"] = a.plog_enabled != 0;
	d["loopback"] = a.loopback;
	d["authfail"] = a.authfail != 0;
	d["io_profile"] = a.io_profile != 0;
	d["fcoe_vlan"] = a.fcoe_vlan;
	doc cfg;
	cfg["topology"] = topology_value(c.topology);
	put_speed(cfg, "speed", c.speed);
	cfg["trunked"] = c.trunked != 0;
	cfg["qos_enabled"] = c.qos_enabled != 0;
	cfg["cfg_hardalpa"] = c.cfg_hardalpa != 0;
	cfg["hardalpa"] = c.cfg_hardalpa ? doc(c.hardalpa) : doc();
	cfg["maxfrsize"] = c.maxfrsize;
	cfg["rx_bbcredit"] = c.rx_bbcredit;
	cfg["tx_bbcredit"] = c.tx_bbcredit;
	cfg["ratelimit"] = c.ratelimit != 0;
	put_speed(cfg, "trl_def_speed", c.trl_def_speed);
	cfg["path_tov"] = c.path_tov;
	cfg["q_depth"] = c.q_depth;
	d["pport_cfg"] = cfg;
	return d;
}

// One row of 'port list'; what cannot be read is null.
doc list_row(const std::string &ap, qorl_t *q)
{
	const bool fc = q->ioc_type != QOR_IOC_TYPE_LL;
	qor_port_attr_t at;
	const bool have = qorl_port_get_attr(q, &at) == QOR_STATUS_OK;
	doc r;
	r["port"] = ap;
	r["ioc_type"] = type_value(q->ioc_type);
	r["pwwn"] = fc ? wwn_value(q->pwwn) : doc();
	r["port_state"] = have ? word_value(qorl_port_get_state_name((qor_port_states_t)at.port_state)) : doc();
	put_speed(r, "speed", have ? at.speed : (uint32_t)QOR_PORT_SPEED_UNKNOWN);
	r["topology"] = have && fc ? topology_value(at.topology) : doc();
	r["pid"] = have && fc ? pid_value(at.pid) : doc();
	return r;
}

doc trunk_doc(const qor_trunk_attr_t &t)
{
	doc d;
	d["state"] = word_value(qorl_trunk_state_to_string((qor_trunk_state_t)t.state));
	put_speed(d, "speed", t.speed);
	d["pid"] = pid_value(t.port_id);
	doc links = doc::array();
	for (const auto &l : t.link_attr) {
		doc link;
		link["trunk_wwn"] = wwn_value(l.trunk_wwn);
		link["fctl"] = word_value(qorl_trunk_link_fctl_to_string((qor_trunk_link_fctl_t)l.fctl));
		link["link_state"] = word_value(qorl_trunk_link_state_to_string((qor_trunk_link_state_t)l.link_state));
		put_speed(link, "speed", l.speed);
		link["deskew"] = l.deskew;
		links.push_back(link);
	}
	d["links"] = links;
	return d;
}

} // namespace

doc port_list(call &)
{
	doc rows = doc::array();
	unsigned n = qorl_adapter_get_count();
	for (unsigned ad = 1; ad <= n; ad++) {
		qorl_adapter_t *a = qorl_adapter_open_idx((int)ad);
		for (int p = 0; a && p < a->port_count; p++)
			if (qorl_t *q = qorl_adapter_get_ioc(a, p))
				rows.push_back(list_row(std::to_string(ad) + "/" + std::to_string(p), q));
	}
	return rows;
}

qor_port_attr_t read_port_attr(const call &c)
{
	qor_port_attr_t a;
	check(qorl_port_get_attr(c.q, &a), "reading the attributes of " + c.where());
	return a;
}

doc port_show(call &c)
{
	doc d;
	d["port"] = c.address();
	d["ioc_type"] = type_value(c.q->ioc_type);
	d.update(attr_doc(read_port_attr(c)));
	return d;
}

template <bool On> doc port_switch(call &c)
{
	return c.changed(On ? qorl_port_enable(c.q) : qorl_port_disable(c.q),
			 (On ? "enabling " : "disabling ") + c.where());
}
template doc port_switch<true>(call &);
template doc port_switch<false>(call &);

// The driver takes a repeated enable or disable without a word; the port's
// state tells whether it already was so.
template <bool On> const char *port_is(call &c)
{
	qor_port_attr_t a;
	if (qorl_port_get_attr(c.q, &a) != QOR_STATUS_OK)
		return nullptr;
	switch (a.port_state) {
	case QOR_PORT_ST_ENABLING_QWAIT:
	case QOR_PORT_ST_ENABLING:
	case QOR_PORT_ST_LINKDOWN:
	case QOR_PORT_ST_LINKUP:
	case QOR_PORT_ST_TOGGLING_QWAIT:
		return On ? "the port is already enabled" : nullptr;
	case QOR_PORT_ST_DISABLING_QWAIT:
	case QOR_PORT_ST_DISABLING:
	case QOR_PORT_ST_DISABLED:
		return On ? nullptr : "the port is already disabled";
	default:
		return nullptr;
	}
}
template const char *port_is<true>(call &);
template const char *port_is<false>(call &);

doc port_speed(call &c)
{
	qor_status_t st = qorl_port_cfg_speed(c.q, c.speed);
	return c.changed(st, "setting the speed of " + c.where(),
			 st == QOR_STATUS_UNSUPP_SPEED
				 ? "'mxt port show " + c.address() + "' shows the highest supported speed"
				 : "");
}

doc port_topology(call &c)
{
	return c.changed(qorl_port_cfg_topology(c.q, c.topology), "setting the topology of " + c.where());
}

doc port_alpa(call &c)
{
	long alpa = c.numbers["ALPA"];
	if (alpa < 0)
		return c.changed(qorl_port_clr_hardalpa(c.q), "clearing the hard loop address of " + c.where());
	qor_status_t st = qorl_port_cfg_hardalpa(c.q, (uint8_t)alpa);
	return c.changed(st, "setting the hard loop address of " + c.where(),
			 st == QOR_STATUS_EINVAL ? "a hard loop address is one of the 126 valid loop addresses" : "");
}

doc port_frame_size(call &c)
{
	qor_status_t st = qorl_port_cfg_maxfrsize(c.q, (uint16_t)c.numbers["BYTES"]);
	return c.changed(st, "setting the frame size of " + c.where(),
			 st == QOR_STATUS_INVLD_DFSZ ? std::string("use ") + frame_sizes : "");
}

doc port_stats(call &c)
{
	return stats_or_reset(c, qorl_port_reset_stats, "statistics", [&] {
		qorl_stats_long_t pairs[QORL_PORT_ETH_STATS_COUNT];
		check(qorl_port_get_stats(c.q, pairs), "reading the statistics of " + c.where());
		return pairs_doc(pairs, c.q->ioc_type == QOR_IOC_TYPE_FC ? QORL_PORT_FC_STATS_COUNT
									 : QORL_PORT_ETH_STATS_COUNT);
	});
}

doc trunk_show(call &c)
{
	qor_trunk_attr_t t;
	check(qorl_trunk_query((uint32_t)c.adapter, &t), "reading the trunk of " + c.where(),
	      "'mxt adapter list' shows which adapters can trunk");
	doc d;
	d["adapter"] = c.adapter;
	d.update(trunk_doc(t));
	return d;
}

// Trunk settings are persisted by the library's trunk operations.
template <bool On> doc trunk_switch(call &c)
{
	qor_status_t st = On ? qorl_trunk_enable((uint32_t)c.adapter) : qorl_trunk_disable((uint32_t)c.adapter);
	return c.changed(st, std::string(On ? "enabling" : "disabling") + " trunking on " + c.where(),
			 st == QOR_STATUS_TRUNK_UNSUPP ? "this adapter cannot trunk its ports" : "");
}

template doc trunk_switch<true>(call &);
template doc trunk_switch<false>(call &);

} // namespace mxt
