// mxt adapter: physical cards.
#include "mxt.h"
#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorl_state.h"

namespace mxt {

namespace {

qorl_adapter_t *adapter(int n)
{
	qorl_adapter_t *a = qorl_adapter_open_idx(n);
	if (!a)
		fail("no adapter " + std::to_string(n) + "; 'mxt adapter list' shows the adapters");
	return a;
}

doc controller_doc(qorl_t *c)
{
	doc d;
	d["port_num"] = c->port_num;
	d["ioc_type"] = c->ioc_type == QOR_IOC_TYPE_FC ? "fc" : c->ioc_type == QOR_IOC_TYPE_FCoE ? "fcoe" : "eth";
	d["instance"] = c->instance;
	d["ioc_hwpath"] = field(c->ioc_hwpath);
	if (c->ioc_type != QOR_IOC_TYPE_LL)
		d["pwwn"] = wwn_text(c->pwwn);
	if (c->ioc_type != QOR_IOC_TYPE_FC)
		d["mac"] = mac_text(c->mac);
	d["port_name"] = field(c->port_name);
	qor_ioc_attr_t attr;
	d["state"] = qorl_ioc_get_attr(c, &attr) == QOR_STATUS_OK
			     ? qorl_ioc_state_to_string((qor_ioc_state_t)attr.state)
			     : "unknown";
	return d;
}

doc adapter_doc(qorl_adapter_t *a, bool with_ports)
{
	doc d;
	d["id"] = a->id;
	d["serial_num"] = field(a->serial_num);
	d["name"] = field(a->name);
	d["model_descr"] = field(a->model_descr);
	d["adapter_hwpath"] = field(a->adapter_hwpath);
	d["ioccount"] = a->ioccount;
	d["port_count"] = a->port_count;
	d["cna_capable"] = a->cna_capable != 0;
	d["trunk_capable"] = a->trunk_capable != 0;
	if (with_ports) {
		doc ports = doc::array();
		for (int p = 0; p < a->port_count; p++) {
			doc port;
			port["port"] = p;
			if (qorl_t *c = qorl_adapter_get_fcioc(a, p))
				port["fc"] = controller_doc(c);
			if (qorl_t *c = qorl_adapter_get_ethioc(a, p))
				port["eth"] = controller_doc(c);
			ports.push_back(port);
		}
		d["ports"] = ports;
	}
	return d;
}

void list()
{
	open_session();
	doc rows = doc::array();
	for (unsigned i = 1; i <= qorl_adapter_get_count(); i++)
		if (qorl_adapter_t *a = qorl_adapter_open_idx((int)i))
			rows.push_back(adapter_doc(a, opts().json));
	print(rows);
}

void show(int n)
{
	open_session();
	print(adapter_doc(adapter(n), true));
}

void name(int n, const std::string &text)
{
	open_session();
	adapter(n);
	qorl_adapter_set_name((unsigned)n, const_cast<char *>(text.c_str()));
	qor_status_t st = qorl_get_last_error();
	if (st != QOR_STATUS_OK)
		fail_status("naming adapter " + std::to_string(n), st,
			    st == QOR_STATUS_EINVAL ? "names hold at most 63 characters" : "");
	sync_config();
}

void enable(int n, bool on)
{
	open_session();
	adapter(n);
	qor_status_t st = on ? qorl_adapter_enable((uint32_t)n) : qorl_adapter_disable((uint32_t)n);
	if (st != QOR_STATUS_OK)
		fail_status(std::string(on ? "enabling" : "disabling") + " adapter " + std::to_string(n), st);
}

} // namespace

void register_adapter(CLI::App &app)
{
	auto *ad = app.add_subcommand("adapter", "adapters (physical cards), numbered from 1");
	ad->require_subcommand(1);
	ad->add_subcommand("list", "list the adapters (with --json, their controllers by port)")->callback(list);

	static int n = 0;
	auto *s = ad->add_subcommand("show", "an adapter and its controllers by port");
	s->add_option("N", n, "adapter number")->required();
	s->callback([] { show(n); });

	static std::string text;
	auto *nm = ad->add_subcommand("name", "name an adapter on both drivers and in the configuration");
	nm->add_option("N", n, "adapter number")->required();
	nm->add_option("TEXT", text, "the name, at most 63 characters")->required();
	nm->callback([] { name(n, text); });

	auto *e = ad->add_subcommand("enable", "enable every controller of an adapter (waits until they run)");
	e->add_option("N", n, "adapter number")->required();
	e->callback([] { enable(n, true); });
	auto *d = ad->add_subcommand("disable", "disable every controller of an adapter (waits until they stop)");
	d->add_option("N", n, "adapter number")->required();
	d->callback([] { enable(n, false); });
}

} // namespace mxt
