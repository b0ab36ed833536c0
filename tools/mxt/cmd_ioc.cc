// mxt ioc: controllers.
#include "mxt.h"
#include "qorl_ioc.h"
#include "qorl_state.h"

namespace mxt {

namespace {

const char *type_word(int t)
{
	switch (t) {
	case QOR_IOC_TYPE_FC:
		return "fc";
	case QOR_IOC_TYPE_FCoE:
		return "fcoe";
	case QOR_IOC_TYPE_LL:
		return "eth";
	default:
		return "unknown";
	}
}

bool fc_side(int t)
{
	return t == QOR_IOC_TYPE_FC || t == QOR_IOC_TYPE_FCoE;
}

qorl_t *controller(int id)
{
	qorl_t *q = qorl_ioc_open_idx(id);
	if (!q)
		fail("no controller " + std::to_string(id) + "; 'mxt ioc list' shows the controllers");
	return q;
}

doc identity(const qor_ioctl_ioc_info_t &i)
{
	doc d;
	d["serialnum"] = field(i.serialnum);
	d["hwpath"] = field(i.hwpath);
	d["adapter_hwpath"] = field(i.adapter_hwpath);
	d["name"] = field(i.name);
	d["port_name"] = field(i.port_name);
	d["eth_name"] = field(i.eth_name);
	d["pwwn"] = wwn_text(i.pwwn);
	d["nwwn"] = wwn_text(i.nwwn);
	d["factorypwwn"] = wwn_text(i.factorypwwn);
	d["factorynwwn"] = wwn_text(i.factorynwwn);
	d["mac"] = mac_text(i.mac);
	d["factory_mac"] = mac_text(i.factory_mac);
	d["current_mac"] = mac_text(i.current_mac);
	d["ioc_type"] = type_word((int)i.ioc_type);
	d["pvid"] = i.pvid;
	return d;
}

doc attributes(const qor_ioc_attr_t &a)
{
	const qor_adapter_attr_t &ad = a.adapter_attr;
	doc d;
	d["ioc_type"] = type_word((int)a.ioc_type);
	d["state"] = qorl_ioc_state_to_string((qor_ioc_state_t)a.state);
	doc x;
	x["manufacturer"] = field(ad.manufacturer);
	x["serial_num"] = field(ad.serial_num);
	x["card_type"] = ad.card_type;
	x["model"] = field(ad.model);
	x["model_descr"] = field(ad.model_descr);
	x["pwwn"] = wwn_text(ad.pwwn);
	x["node_symname"] = field(ad.node_symname);
	x["hw_ver"] = field(ad.hw_ver);
	x["fw_ver"] = field(ad.fw_ver);
	x["optrom_ver"] = field(ad.optrom_ver);
	x["os_type"] = field(ad.os_type);
	x["mac"] = mac_text(ad.mac);
	x["nports"] = ad.nports;
	x["max_speed"] = ad.max_speed;
	x["prototype"] = ad.prototype;
	x["asic_rev"] = std::string(1, ad.asic_rev ? ad.asic_rev : '-');
	x["pcie_gen"] = ad.pcie_gen;
	x["pcie_lanes_orig"] = ad.pcie_lanes_orig;
	x["pcie_lanes"] = ad.pcie_lanes;
	x["cna_capable"] = ad.cna_capable != 0;
	x["is_mezz"] = ad.is_mezz != 0;
	x["trunk_capable"] = ad.trunk_capable != 0;
	d["adapter_attr"] = x;
	const qor_ioc_driver_attr_t &dr = a.driver_attr;
	d["driver_attr"] = {{"driver", field(dr.driver)},       {"driver_ver", field(dr.driver_ver)},
			    {"fw_ver", field(dr.fw_ver)},       {"bios_ver", field(dr.bios_ver)},
			    {"efi_ver", field(dr.efi_ver)},     {"ob_ver", field(dr.ob_ver)}};
	char id[8];
	auto hex = [&](unsigned v) {
		snprintf(id, sizeof id, "0x%04x", v);
		return std::string(id);
	};
	const qor_ioc_pci_attr_t &p = a.pci_attr;
	d["pci_attr"] = {{"vendor_id", hex(p.vendor_id)}, {"device_id", hex(p.device_id)}, {"ssid", hex(p.ssid)},
			 {"ssvid", hex(p.ssvid)},         {"pcifn", p.pcifn},                {"chip_rev", field(p.chip_rev)}};
	d["port_id"] = a.port_id;
	return d;
}

doc statistics(const qor_ioc_stats_t &s)
{
	const qor_ioc_drv_stats_t &d = s.drv_stats;
	const qor_ioc_fw_stats_t &f = s.fw_stats;
	doc out;
	out["drv_stats"] = {{"ioc_isrs", d.ioc_isrs},         {"ioc_enables", d.ioc_enables},
			    {"ioc_disables", d.ioc_disables}, {"ioc_hb_fails", d.ioc_hb_fails},
			    {"ioc_boots", d.ioc_boots},       {"stats_tmos", d.stats_tmos},
			    {"hb_count", d.hb_count},         {"disable_reqs", d.disable_reqs},
			    {"enable_reqs", d.enable_reqs},   {"disable_replies", d.disable_replies},
			    {"enable_replies", d.enable_replies}};
	out["fw_stats"] = {{"enable_reqs", f.enable_reqs},     {"disable_reqs", f.disable_reqs},
			   {"get_attr_reqs", f.get_attr_reqs}, {"dbg_sync", f.dbg_sync},
			   {"dbg_dump", f.dbg_dump},           {"unknown_reqs", f.unknown_reqs}};
	return out;
}

void list()
{
	open_session();
	doc rows = doc::array();
	int total = qorl_ioc_get_num();
	for (int i = 0; i < total; i++) {
		qorl_t *q = qorl_ioc_open_idx(i);
		if (!q)
			continue;
		qor_ioc_attr_t attr;
		qor_status_t st = qorl_ioc_get_attr(q, &attr);
		doc r;
		r["id"] = q->id;
		r["ioc_type"] = type_word(q->ioc_type);
		r["instance"] = q->instance;
		r["port_num"] = q->port_num;
		r["serialnum"] = field(q->serialnum);
		r["pwwn"] = fc_side(q->ioc_type) ? wwn_text(q->pwwn) : "-";
		r["mac"] = q->ioc_type == QOR_IOC_TYPE_FC ? "-" : mac_text(q->mac);
		r["ioc_hwpath"] = field(q->ioc_hwpath);
		r["state"] = st == QOR_STATUS_OK ? qorl_ioc_state_to_string((qor_ioc_state_t)attr.state) : "unknown";
		r["port_name"] = field(q->port_name);
		rows.push_back(r);
	}
	print(rows);
}

void show(int id)
{
	open_session();
	qorl_t *q = controller(id);
	qor_ioctl_ioc_info_t info;
	qor_status_t st = qorl_ioc_get_info(q, &info);
	if (st != QOR_STATUS_OK)
		fail_status("reading the identity of controller " + std::to_string(id), st);
	qor_ioc_attr_t attr;
	st = qorl_ioc_get_attr(q, &attr);
	if (st != QOR_STATUS_OK)
		fail_status("reading the attributes of controller " + std::to_string(id), st);
	qor_ioc_stats_t stats;
	st = qorl_ioc_get_stats(q, &stats);
	if (st != QOR_STATUS_OK)
		fail_status("reading the statistics of controller " + std::to_string(id), st);
	doc d;
	d["id"] = q->id;
	d["instance"] = q->instance;
	d["devpath"] = field(q->devpath);
	d["identity"] = identity(info);
	d["attributes"] = attributes(attr);
	d["statistics"] = statistics(stats);
	if (fc_side(q->ioc_type)) {
		qor_iocfc_attr_t fc;
		if (qorl_iocfc_get_attr(q, &fc) == QOR_STATUS_OK)
			d["intr_attr"] = {{"coalesce", fc.intr_attr.coalesce != 0},
					  {"delay", fc.intr_attr.delay},
					  {"latency", fc.intr_attr.latency}};
	}
	print(d);
}

void coalesce(int id, const std::string &mode, int delay, int latency)
{
	open_session();
	qorl_t *q = controller(id);
	bool on = mode == "on";
	qor_status_t st = qorl_iocfc_intr_set(q, on ? QOR_TRUE : QOR_FALSE, (uint16_t)delay, (uint16_t)latency);
	if (st != QOR_STATUS_OK)
		fail_status("setting interrupt coalescing of controller " + std::to_string(id), st,
			    fc_side(q->ioc_type) ? "" : "coalescing applies to FC and FCoE controllers only");
	sync_config();
}

void name(int id, const std::string &text)
{
	open_session();
	qorl_t *q = controller(id);
	qor_status_t st = qorl_ioc_set_name(q, const_cast<char *>(text.c_str()));
	if (st != QOR_STATUS_OK)
		fail_status("naming controller " + std::to_string(id), st,
			    st == QOR_STATUS_EINVAL ? "names hold at most 63 characters" : "");
	sync_config();
}

} // namespace

void register_ioc(CLI::App &app)
{
	auto *ioc = app.add_subcommand("ioc", "controllers (one per PCI function: FC, FCoE, Ethernet)");
	ioc->require_subcommand(1);
	ioc->add_subcommand("list", "list the controllers")->callback(list);

	static int id = 0;
	auto *s = ioc->add_subcommand("show", "attributes, identity and statistics of a controller");
	s->add_option("ID", id, "controller id, as 'mxt ioc list' shows it")->required();
	s->callback([] { show(id); });

	static std::string mode;
	static int delay = 1125, latency = 225;
	auto *c = ioc->add_subcommand("coalesce", "turn interrupt coalescing of an FC or FCoE controller on or off");
	c->add_option("ID", id, "controller id")->required();
	c->add_option("MODE", mode, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
	c->add_option("--delay", delay, "interrupt delay in microseconds")->check(CLI::Range(0, 65535));
	c->add_option("--latency", latency, "interrupt latency in microseconds")->check(CLI::Range(0, 65535));
	c->callback([] { coalesce(id, mode, delay, latency); });

	static std::string text;
	auto *n = ioc->add_subcommand("name", "name a controller's port (kept in the configuration)");
	n->add_option("ID", id, "controller id")->required();
	n->add_option("TEXT", text, "the name, at most 63 characters")->required();
	n->callback([] { name(id, text); });
}

} // namespace mxt
