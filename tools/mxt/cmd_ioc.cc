// mxt ioc: controllers.
#include <cstring>

#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorl_state.h"
#include "table.h"

namespace mxt {

namespace {

bool fc_side(uint32_t t)
{
	return t == QOR_IOC_TYPE_FC || t == QOR_IOC_TYPE_FCoE;
}

doc state_of(qorl_t *q)
{
	qor_ioc_attr_t attr;
	if (qorl_ioc_get_attr(q, &attr) != QOR_STATUS_OK)
		return nullptr;
	return word_value(qorl_ioc_state_to_string((qor_ioc_state_t)attr.state));
}

doc identity(const qor_ioctl_ioc_info_t &i)
{
	doc d;
	d["serial_num"] = field(i.serialnum);
	d["ioc_hwpath"] = field(i.hwpath);
	d["adapter_hwpath"] = field(i.adapter_hwpath);
	d["name"] = field(i.name);
	d["port_name"] = field(i.port_name);
	d["eth_name"] = field(i.eth_name);
	d["pwwn"] = wwn_value(i.pwwn);
	d["nwwn"] = wwn_value(i.nwwn);
	d["factory_pwwn"] = wwn_value(i.factorypwwn);
	d["factory_nwwn"] = wwn_value(i.factorynwwn);
	d["mac"] = mac_value(i.mac.mac);
	d["factory_mac"] = mac_value(i.factory_mac.mac);
	d["current_mac"] = mac_value(i.current_mac.mac);
	d["ioc_type"] = type_value(i.ioc_type);
	d["pvid"] = i.pvid;
	return d;
}

std::string hex16(unsigned v)
{
	char s[8];
	snprintf(s, sizeof s, "0x%04x", v);
	return s;
}

doc attributes(const qor_ioc_attr_t &a)
{
	const qor_adapter_attr_t &ad = a.adapter_attr;
	doc d;
	d["ioc_type"] = type_value(a.ioc_type);
	d["state"] = word_value(qorl_ioc_state_to_string((qor_ioc_state_t)a.state));
	doc x;
	x["manufacturer"] = field(ad.manufacturer);
	x["serial_num"] = field(ad.serial_num);
	x["card_type"] = ad.card_type;
	x["model"] = field(ad.model);
	x["model_descr"] = field(ad.model_descr);
	x["pwwn"] = wwn_value(ad.pwwn);
	x["node_symname"] = field(ad.node_symname);
	x["hw_ver"] = field(ad.hw_ver);
	x["fw_ver"] = field(ad.fw_ver);
	x["optrom_ver"] = field(ad.optrom_ver);
	x["os_type"] = field(ad.os_type);
	x["mac"] = mac_value(ad.mac);
	x["nports"] = ad.nports;
	put_speed(x, "max_speed", ad.max_speed);
	x["prototype"] = ad.prototype;
	x["asic_rev"] = ad.asic_rev ? doc(std::string(1, ad.asic_rev)) : doc();
	x["pcie_gen"] = ad.pcie_gen;
	x["pcie_lanes_orig"] = ad.pcie_lanes_orig;
	x["pcie_lanes"] = ad.pcie_lanes;
	x["cna_capable"] = ad.cna_capable != 0;
	x["is_mezz"] = ad.is_mezz != 0;
	x["trunk_capable"] = ad.trunk_capable != 0;
	d["adapter_attr"] = x;
	d["driver_attr"] = driver_doc(a.driver_attr);
	const qor_ioc_pci_attr_t &p = a.pci_attr;
	d["pci_attr"] = {{"vendor_id", hex16(p.vendor_id)},
			 {"device_id", hex16(p.device_id)},
			 {"ssid", hex16(p.ssid)},
			 {"ssvid", hex16(p.ssvid)},
			 {"pcifn", p.pcifn},
			 {"chip_rev", field(p.chip_rev)}};
	d["port_num"] = a.port_id;
	return d;
}

doc statistics(const qor_ioc_stats_t &s)
{
	const qor_ioc_drv_stats_t &d = s.drv_stats;
	const qor_ioc_fw_stats_t &f = s.fw_stats;
	doc out;
	out["drv_stats"] = {{"ioc_isrs", d.ioc_isrs},
			    {"ioc_enables", d.ioc_enables},
			    {"ioc_disables", d.ioc_disables},
			    {"ioc_hb_fails", d.ioc_hb_fails},
			    {"ioc_boots", d.ioc_boots},
			    {"stats_tmos", d.stats_tmos},
			    {"hb_count", d.hb_count},
			    {"disable_reqs", d.disable_reqs},
			    {"enable_reqs", d.enable_reqs},
			    {"disable_replies", d.disable_replies},
			    {"enable_replies", d.enable_replies}};
	out["fw_stats"] = {{"enable_reqs", f.enable_reqs},     {"disable_reqs", f.disable_reqs},
			   {"get_attr_reqs", f.get_attr_reqs}, {"dbg_sync", f.dbg_sync},
			   {"dbg_dump", f.dbg_dump},           {"unknown_reqs", f.unknown_reqs}};
	return out;
}

} // namespace

doc driver_doc(const qor_ioc_driver_attr_t &dr)
{
	return {{"driver", field(dr.driver)},   {"driver_ver", field(dr.driver_ver)}, {"fw_ver", field(dr.fw_ver)},
		{"bios_ver", field(dr.bios_ver)}, {"efi_ver", field(dr.efi_ver)},       {"ob_ver", field(dr.ob_ver)}};
}

doc port_of(qorl_t *q)
{
	int ad = 0, port = 0;
	if (qorl_adapter_get_adapter_port(q, &ad, &port) != QOR_STATUS_OK)
		return nullptr;
	return std::to_string(ad) + "/" + std::to_string(port);
}

doc controller_key(qorl_t *q)
{
	if (!q)
		return {{"driver", nullptr}, {"instance", nullptr}, {"port", nullptr}};
	return {{"driver", fc_side(q->ioc_type) ? "fc" : "eth"}, {"instance", q->instance}, {"port", port_of(q)}};
}

std::string controller_text(const doc &key)
{
	if (key["driver"].is_null())
		return "-";
	std::string s = key["driver"].get<std::string>() + " instance " + key["instance"].dump();
	return key["port"].is_null() ? s : s + " (port " + key["port"].get<std::string>() + ")";
}

qorl_t *listed_controller(const qorl_t *copy)
{
	int n = qorl_ioc_get_num();
	for (int i = 0; i < n; i++) {
		qorl_t *q = qorl_ioc_open_idx(i);
		if (q && q->instance == copy->instance && fc_side(q->ioc_type) == fc_side(copy->ioc_type) &&
		    strcmp(q->ioc_hwpath, copy->ioc_hwpath) == 0)
			return q;
	}
	return nullptr;
}

doc controller_doc(qorl_t *q)
{
	doc d;
	d["id"] = q->id;
	d["ioc_type"] = type_value(q->ioc_type);
	d["instance"] = q->instance;
	d["port"] = port_of(q);
	d["port_num"] = q->port_num;
	d["serial_num"] = field(q->serialnum);
	d["pwwn"] = fc_side(q->ioc_type) ? wwn_value(q->pwwn) : doc();
	d["mac"] = q->ioc_type != QOR_IOC_TYPE_FC ? mac_value(q->mac.mac) : doc();
	d["ioc_hwpath"] = field(q->ioc_hwpath);
	d["state"] = state_of(q);
	d["port_name"] = field(q->port_name);
	return d;
}

doc ioc_list(call &)
{
	doc rows = doc::array();
	int total = qorl_ioc_get_num();
	for (int i = 0; i < total; i++)
		if (qorl_t *q = qorl_ioc_open_idx(i))
			rows.push_back(controller_doc(q));
	return rows;
}

doc ioc_show(call &c)
{
	qor_ioctl_ioc_info_t info;
	check(qorl_ioc_get_info(c.q, &info), "reading the identity of " + c.where());
	qor_ioc_attr_t attr;
	check(qorl_ioc_get_attr(c.q, &attr), "reading the attributes of " + c.where());
	qor_ioc_stats_t stats;
	check(qorl_ioc_get_stats(c.q, &stats), "reading the statistics of " + c.where());
	doc d;
	d["id"] = c.q->id;
	d["instance"] = c.q->instance;
	d["port"] = port_of(c.q);
	d["devpath"] = field(c.q->devpath);
	d["identity"] = identity(info);
	d["attributes"] = attributes(attr);
	d["statistics"] = statistics(stats);
	d["intr_attr"] = nullptr;
	qor_iocfc_attr_t fc;
	if (fc_side(c.q->ioc_type) && qorl_iocfc_get_attr(c.q, &fc) == QOR_STATUS_OK)
		d["intr_attr"] = {{"coalesce", fc.intr_attr.coalesce != 0},
				  {"delay", fc.intr_attr.delay},
				  {"latency", fc.intr_attr.latency}};
	return d;
}

doc ioc_coalesce(call &c)
{
	return c.changed(qorl_iocfc_intr_set(c.q, c.words["MODE"] == "on" ? QOR_TRUE : QOR_FALSE,
					     (uint16_t)c.numbers["--delay"], (uint16_t)c.numbers["--latency"]),
			 "setting interrupt coalescing of " + c.where());
}

std::string name_rules(const qorl_t *q)
{
	// What the configuration file can hold, and the words that would make a
	// port's line look like another key.
	std::string s = "a name is at most 63 characters of UTF-8 text without control characters, '\"', ';' or '\\'";
	if (q)
		s += std::string(", and a port's name may not contain 'adapter'") +
		     (fc_side(q->ioc_type) ? "" : " or 'qor'");
	return s;
}

doc ioc_name(call &c)
{
	qor_status_t st = qorl_ioc_set_name(c.q, c.words["TEXT"].data());
	return c.changed(st, "naming " + c.where(), st == QOR_STATUS_EINVAL ? name_rules(c.q) : "");
}

} // namespace mxt
