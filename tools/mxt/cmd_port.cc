// mxt port, mxt trunk: physical ports and trunking.
#include <cstdio>
#include <cstring>

#include "mxt.h"
#include "qorl_adapter.h"
#include "qorl_config.h"
#include "qorl_port.h"
#include "qorl_state.h"

namespace mxt {

qorl_t *port_arg(const std::string &ap, side s)
{
	int ad = 0, port = 0;
	char tail;
	if (sscanf(ap.c_str(), "%d/%d%c", &ad, &port, &tail) != 2 || ad < 1 || port < 0)
		fail("'" + ap + "' is not a port address; ports are named ADAPTER/PORT, e.g. 1/0");
	qorl_adapter_t *a = qorl_adapter_get_by_idx(ad);
	if (!a)
		fail("no adapter " + std::to_string(ad) + "; 'mxt adapter list' shows the adapters");
	qorl_t *q = s == side::fc ? qorl_adapter_get_fcioc(a, port)
		    : s == side::eth ? qorl_adapter_get_ethioc(a, port)
				     : qorl_adapter_get_ioc(a, port);
	if (!q) {
		const char *what = s == side::fc ? "a Fibre Channel or FCoE port" : s == side::eth ? "an Ethernet port" : "a port";
		fail("adapter " + std::to_string(ad) + " has no " + what + " " + std::to_string(port) +
		     "; 'mxt port list' shows the ports");
	}
	return q;
}

std::string pid_text(uint32_t pid)
{
	uint8_t b[4];
	memcpy(b, &pid, 4);
	char s[8];
	snprintf(s, sizeof s, "%02x%02x%02x", b[0], b[1], b[2]);
	return s;
}

namespace {

const char *cos_text(uint32_t c)
{
	switch (c) {
	case FC_CLASS_2:
		return "class 2";
	case FC_CLASS_3:
		return "class 3";
	case FC_CLASS_2_3:
		return "class 2 and 3";
	default:
		return "unknown";
	}
}

std::string trimmed(const char *s)
{
	std::string t(s);
	while (!t.empty() && t.back() == ' ')
		t.pop_back();
	return t;
}

std::string speed_text(uint32_t sp)
{
	return trimmed(qorl_port_speed_to_string((qor_port_speed_t)sp));
}

doc attr_doc(const qor_port_attr_t &a)
{
	const qor_port_cfg_t &c = a.pport_cfg;
	doc d;
	d["pwwn"] = wwn_text(a.pwwn);
	d["nwwn"] = wwn_text(a.nwwn);
	d["factorypwwn"] = wwn_text(a.factorypwwn);
	d["factorynwwn"] = wwn_text(a.factorynwwn);
	d["port_symname"] = field(a.port_symname.symname);
	d["port_state"] = qorl_port_get_state_name((qor_port_states_t)a.port_state);
	d["port_type"] = qorl_port_type_to_string((qor_port_type_t)a.port_type);
	d["pid"] = pid_text(a.pid);
	d["speed"] = speed_text(a.speed);
	d["speed_supported"] = speed_text(a.speed_supported);
	d["topology"] = qorl_port_topology_to_string((qor_port_topology_t)a.topology);
	d["cos_supported"] = cos_text(a.cos_supported);
	d["pbind_enabled"] = a.pbind_enabled != 0;
	d["beacon"] = a.beacon != 0;
	d["link_e2e_beacon"] = a.link_e2e_beacon != 0;
	d["plog_enabled"] = a.plog_enabled != 0;
	d["loopback"] = a.loopback;
	d["authfail"] = a.authfail != 0;
	d["io_profile"] = a.io_profile != 0;
	d["fcoe_vlan"] = a.fcoe_vlan;
	d["pport_cfg"] = {{"topology", qorl_port_topology_to_string((qor_port_topology_t)c.topology)},
			  {"speed", speed_text(c.speed)},
			  {"trunked", c.trunked != 0},
			  {"qos_enabled", c.qos_enabled != 0},
			  {"cfg_hardalpa", c.cfg_hardalpa != 0},
			  {"hardalpa", c.hardalpa},
			  {"maxfrsize", c.maxfrsize},
			  {"rx_bbcredit", c.rx_bbcredit},
			  {"tx_bbcredit", c.tx_bbcredit},
			  {"ratelimit", c.ratelimit != 0},
			  {"trl_def_speed", speed_text(c.trl_def_speed)},
			  {"path_tov", c.path_tov},
			  {"q_depth", c.q_depth}};
	return d;
}

qor_port_attr_t read_attr(qorl_t *q, const std::string &ap)
{
	qor_port_attr_t a;
	qor_status_t st = qorl_port_get_attr(q, &a);
	if (st != QOR_STATUS_OK)
		fail_status("reading the attributes of port " + ap, st);
	return a;
}

const char *type_word(int t)
{
	return t == QOR_IOC_TYPE_FC ? "fc" : t == QOR_IOC_TYPE_FCoE ? "fcoe" : "eth";
}

void list()
{
	open_session();
	doc rows = doc::array();
	unsigned n = qorl_adapter_get_count();
	for (unsigned ad = 1; ad <= n; ad++) {
		qorl_adapter_t *a = qorl_adapter_get_by_idx((int)ad);
		if (!a)
			continue;
		for (int p = 0; p < a->port_count; p++) {
			qorl_t *q = qorl_adapter_get_ioc(a, p);
			if (!q)
				continue;
			doc r;
			r["port"] = std::to_string(ad) + "/" + std::to_string(p);
			r["ioc_type"] = type_word(q->ioc_type);
			qor_port_attr_t at;
			qor_status_t st = qorl_port_get_attr(q, &at);
			bool fc = q->ioc_type != QOR_IOC_TYPE_LL;
			r["pwwn"] = fc ? wwn_text(q->pwwn) : "-";
			r["port_state"] = st == QOR_STATUS_OK ? qorl_port_get_state_name((qor_port_states_t)at.port_state) : "unknown";
			r["speed"] = st == QOR_STATUS_OK ? speed_text(at.speed) : "-";
			r["topology"] = st == QOR_STATUS_OK && fc ? qorl_port_topology_to_string((qor_port_topology_t)at.topology) : "-";
			r["pid"] = st == QOR_STATUS_OK && fc ? pid_text(at.pid) : "-";
			rows.push_back(r);
		}
	}
	print(rows);
}

void show(const std::string &ap)
{
	open_session();
	qorl_t *q = port_arg(ap, side::any);
	doc d;
	d["port"] = ap;
	d["ioc_type"] = type_word(q->ioc_type);
	d.update(attr_doc(read_attr(q, ap)));
	print(d);
}

void changed(qor_status_t st, const std::string &what, const std::string &hint = "")
{
	if (st != QOR_STATUS_OK)
		fail_status(what, st, hint);
	sync_config();
}

qor_port_speed_t parse_speed(const std::string &s)
{
	static const std::pair<const char *, qor_port_speed_t> words[] = {
		{"1", QOR_PORT_SPEED_1GBPS},   {"2", QOR_PORT_SPEED_2GBPS},   {"4", QOR_PORT_SPEED_4GBPS},
		{"8", QOR_PORT_SPEED_8GBPS},   {"10", QOR_PORT_SPEED_10GBPS}, {"16", QOR_PORT_SPEED_16GBPS},
		{"auto", QOR_PORT_SPEED_AUTO},
	};
	for (auto &w : words)
		if (s == w.first)
			return w.second;
	fail("unknown speed '" + s + "'; use 1, 2, 4, 8, 10, 16 (Gbps) or auto");
}

qor_port_topology_t parse_topology(const std::string &s)
{
	if (s == "p2p")
		return QOR_PORT_TOPOLOGY_P2P;
	if (s == "loop")
		return QOR_PORT_TOPOLOGY_LOOP;
	if (s == "auto")
		return QOR_PORT_TOPOLOGY_AUTO;
	fail("unknown topology '" + s + "'; use p2p, loop or auto");
}

void stats(const std::string &ap, bool reset)
{
	open_session();
	qorl_t *q = port_arg(ap, side::any);
	if (reset) {
		qor_status_t st = qorl_port_reset_stats(q);
		if (st != QOR_STATUS_OK)
			fail_status("resetting the statistics of port " + ap, st);
		return;
	}
	qorl_stats_long_t pairs[QORL_PORT_ETH_STATS_COUNT];
	qor_status_t st = qorl_port_get_stats(q, pairs);
	if (st != QOR_STATUS_OK)
		fail_status("reading the statistics of port " + ap, st);
	print(pairs_doc(pairs, q->ioc_type == QOR_IOC_TYPE_FC ? QORL_PORT_FC_STATS_COUNT : QORL_PORT_ETH_STATS_COUNT));
}

doc trunk_doc(const qor_trunk_attr_t &t)
{
	doc d;
	d["state"] = qorl_trunk_state_to_string((qor_trunk_state_t)t.state);
	d["speed"] = speed_text(t.speed);
	d["port_id"] = pid_text(t.port_id);
	doc links = doc::array();
	for (const auto &l : t.link_attr)
		links.push_back({{"trunk_wwn", wwn_text(l.trunk_wwn)},
				 {"fctl", qorl_trunk_link_fctl_to_string((qor_trunk_link_fctl_t)l.fctl)},
				 {"link_state", qorl_trunk_link_state_to_string((qor_trunk_link_state_t)l.link_state)},
				 {"speed", speed_text(l.speed)},
				 {"deskew", l.deskew}});
	d["link_attr"] = links;
	return d;
}

void trunk(const std::string &verb, int ad)
{
	open_session();
	const std::string what = "adapter " + std::to_string(ad);
	if (verb == "show") {
		qor_trunk_attr_t t;
		qor_status_t st = qorl_trunk_query((uint32_t)ad, &t);
		if (st != QOR_STATUS_OK)
			fail_status("reading the trunk of " + what, st);
		doc d;
		d["adapter"] = ad;
		d.update(trunk_doc(t));
		print(d);
		return;
	}
	qor_status_t st = verb == "enable" ? qorl_trunk_enable((uint32_t)ad) : qorl_trunk_disable((uint32_t)ad);
	if (st != QOR_STATUS_OK)
		fail_status(verb + " trunking on " + what, st,
			    st == QOR_STATUS_TRUNK_UNSUPP ? "this adapter cannot trunk its ports" : "");
	sync_config();
}

} // namespace

void register_port(CLI::App &app)
{
	auto *p = app.add_subcommand("port", "physical ports, addressed as ADAPTER/PORT (e.g. 1/0)");
	p->require_subcommand(1);
	p->add_subcommand("list", "list the ports of every adapter")->callback(list);

	static std::string ap, value;
	static bool reset = false;
	auto addr = [](CLI::App *c) { c->add_option("PORT", ap, "ADAPTER/PORT, e.g. 1/0")->required(); };

	auto *s = p->add_subcommand("show", "attributes of a port");
	addr(s);
	s->callback([] { show(ap); });

	auto *e = p->add_subcommand("enable", "enable a port (kept in the configuration)");
	addr(e);
	e->callback([] {
		open_session();
		changed(qorl_port_enable(port_arg(ap, side::any)), "enabling port " + ap);
	});
	auto *d = p->add_subcommand("disable", "disable a port (kept in the configuration)");
	addr(d);
	d->callback([] {
		open_session();
		changed(qorl_port_disable(port_arg(ap, side::any)), "disabling port " + ap);
	});

	auto *sp = p->add_subcommand("speed", "set a port's speed (kept in the configuration)");
	addr(sp);
	sp->add_option("SPEED", value, "1, 2, 4, 8, 10, 16 (Gbps) or auto")->required();
	sp->callback([] {
		open_session();
		qor_port_speed_t v = parse_speed(value);
		changed(qorl_port_cfg_speed(port_arg(ap, side::fc), v), "setting the speed of port " + ap,
			"'mxt port show " + ap + "' shows the highest supported speed");
	});

	auto *t = p->add_subcommand("topology", "set a port's topology (kept in the configuration)");
	addr(t);
	t->add_option("TOPO", value, "p2p, loop or auto")->required();
	t->callback([] {
		open_session();
		qor_port_topology_t v = parse_topology(value);
		changed(qorl_port_cfg_topology(port_arg(ap, side::fc), v), "setting the topology of port " + ap);
	});

	auto *al = p->add_subcommand("alpa", "set (or clear) a port's hard loop address (kept in the configuration)");
	addr(al);
	al->add_option("ALPA", value, "the address (0x01-0xef), or 'clear'")->required();
	al->callback([] {
		open_session();
		qorl_t *q = port_arg(ap, side::fc);
		if (value == "clear") {
			changed(qorl_port_clr_hardalpa(q), "clearing the hard ALPA of port " + ap);
			return;
		}
		char *end = nullptr;
		unsigned long v = strtoul(value.c_str(), &end, 0);
		if (value.empty() || *end || v > 0xff)
			fail("'" + value + "' is not a loop address; give 0x01 to 0xef, or 'clear'");
		changed(qorl_port_cfg_hardalpa(q, (uint8_t)v), "setting the hard ALPA of port " + ap);
	});

	static int frsz = 0;
	auto *f = p->add_subcommand("frame-size", "set a port's maximum frame size (kept in the configuration)");
	addr(f);
	f->add_option("N", frsz, "bytes")->required()->check(CLI::Range(0, 65535));
	f->callback([] {
		open_session();
		changed(qorl_port_cfg_maxfrsize(port_arg(ap, side::fc), (uint16_t)frsz),
			"setting the frame size of port " + ap);
	});

	auto *st = p->add_subcommand("stats", "a port's statistics");
	addr(st);
	st->add_flag("--reset", reset, "reset the counters instead of showing them");
	st->callback([] { stats(ap, reset); });

	static std::string verb;
	static int ad = 0;
	auto *tr = app.add_subcommand("trunk", "trunking of an adapter's ports");
	tr->require_subcommand(1);
	for (const char *v : {"show", "enable", "disable"}) {
		auto *c = tr->add_subcommand(v, std::string(v) + " the trunk of an adapter");
		c->add_option("ADAPTER", ad, "adapter number")->required();
		std::string vs = v;
		c->callback([vs] { trunk(vs, ad); });
	}
}

} // namespace mxt
