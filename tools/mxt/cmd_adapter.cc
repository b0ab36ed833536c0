// mxt adapter: physical cards.
#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorl_state.h"
#include "table.h"

namespace mxt {

namespace {

// A controller copy of the adapter as its controller appears in 'ioc list'.
doc controller_of(const qorl_t *copy)
{
	qorl_t *q = listed_controller(copy);
	return q ? controller_doc(q) : doc();
}

doc adapter_doc(qorl_adapter_t *a)
{
	doc d;
	d["adapter"] = a->id;
	d["serial_num"] = field(a->serial_num);
	d["name"] = field(a->name);
	d["model_descr"] = field(a->model_descr);
	d["adapter_hwpath"] = field(a->adapter_hwpath);
	d["ioccount"] = a->ioccount;
	d["port_count"] = a->port_count;
	d["cna_capable"] = a->cna_capable != 0;
	d["trunk_capable"] = a->trunk_capable != 0;
	doc ports = doc::array();
	for (int p = 0; p < a->port_count; p++) {
		doc port;
		port["port"] = std::to_string(a->id) + "/" + std::to_string(p);
		port["port_num"] = p;
		if (qorl_t *c = qorl_adapter_get_fcioc(a, p))
			port["fc"] = controller_of(c);
		if (qorl_t *c = qorl_adapter_get_ethioc(a, p))
			port["eth"] = controller_of(c);
		ports.push_back(port);
	}
	d["ports"] = ports;
	return d;
}

} // namespace

doc adapter_list(call &)
{
	doc rows = doc::array();
	for (unsigned i = 1; i <= qorl_adapter_get_count(); i++)
		if (qorl_adapter_t *a = qorl_adapter_open_idx((int)i))
			rows.push_back(adapter_doc(a));
	return rows;
}

doc adapter_show(call &c)
{
	return adapter_doc(c.ad);
}

doc adapter_name(call &c)
{
	qorl_adapter_set_name((unsigned)c.adapter, c.words["TEXT"].data());
	qor_status_t st = qorl_get_last_error();
	return c.changed(st, "naming " + c.where(), st == QOR_STATUS_EINVAL ? name_rules(nullptr) : "");
}

namespace {

// The controllers of the adapter that are not in the state a switch waited
// for, with the state each is in.
std::string laggards(qorl_adapter_t *a, bool on)
{
	std::string s;
	for (int p = 0; p < a->port_count; p++)
		for (qorl_t *copy : {qorl_adapter_get_fcioc(a, p), qorl_adapter_get_ethioc(a, p)}) {
			qor_ioc_attr_t attr;
			if (!copy)
				continue;
			std::string state = "its state cannot be read";
			if (qorl_ioc_get_attr(copy, &attr) == QOR_STATUS_OK) {
				if (attr.state == (on ? QOR_IOC_OPERATIONAL : QOR_IOC_DISABLED))
					continue;
				const doc word = word_value(qorl_ioc_state_to_string((qor_ioc_state_t)attr.state));
				state = word.is_null() ? "state " + std::to_string(attr.state) : word.get<std::string>();
			}
			s += (s.empty() ? "" : ", ") + controller_text(controller_key(copy)) + " is not " +
			     (on ? "operational" : "disabled") + " (" + state + ")";
		}
	return s;
}

} // namespace

template <bool On> doc adapter_switch(call &c)
{
	qor_status_t st = On ? qorl_adapter_enable((uint32_t)c.adapter) : qorl_adapter_disable((uint32_t)c.adapter);
	std::string hint;
	// A controller that did not get there in time is the one failure the
	// library reports as QOR_STATUS_FAILED here.
	if (st == QOR_STATUS_FAILED)
		hint = "timed out after 20 seconds per controller: " + laggards(c.ad, On) +
		       "; 'mxt ioc list' shows the states";
	return c.changed(st, (On ? "enabling " : "disabling ") + c.where(), hint);
}

const char *adapter_disabled(call &c)
{
	return qorl_adapter_is_disabled((uint32_t)c.adapter) ? "every controller is already disabled" : nullptr;
}

template doc adapter_switch<true>(call &);
template doc adapter_switch<false>(call &);

} // namespace mxt
