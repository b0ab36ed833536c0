// Events raised by state changes of the emulated hardware (links, remote
// port logins, enable/disable of controllers and adapters, audit), and the
// control API that makes those changes.
#include "sim_events.h"
#include "defs/qor_defs_aen_names.h"

#include <cstdio>
#include <cstring>
#include <span>
#include <stdexcept>

#include "san.h"

namespace qorsim::ev {

namespace {

qor_aen_entry_t make(uint32_t cat, int type)
{
	qor_aen_entry_t e{};
	e.aen_category = cat;
	e.aen_type = type;
	return e;
}

bool fc_side(const Function &f)
{
	return f.drv == QORSIM_DRV_FC;
}

void port_event(Model &m, Function &f, int type)
{
	san::Port &p = san::port_of(f);
	if (!fc_side(f)) {
		auto e = make(QOR_AEN_CAT_ETHPORT, type == QOR_PORT_AEN_ONLINE    ? QOR_ETHPORT_AEN_LINKUP
						   : type == QOR_PORT_AEN_OFFLINE ? QOR_ETHPORT_AEN_LINKDOWN
						   : type == QOR_PORT_AEN_ENABLE  ? QOR_ETHPORT_AEN_ENABLE
										  : QOR_ETHPORT_AEN_DISABLE);
		std::memcpy(e.aen_data.ethport.mac, f.mac.mac, 6);
		queue_event(m, f, e);
		return;
	}
	auto e = make(QOR_AEN_CAT_PORT, type);
	e.aen_data.port.pwwn = f.pwwn;
	e.aen_data.port.fwwn = p.fabric_name;
	e.aen_data.port.phy_port_num = f.port;
	e.aen_data.port.ioc_type = static_cast<int16_t>(f.ioc_type);
	std::memcpy(e.aen_data.port.mac, f.mac.mac, 6);
	queue_event(m, f, e);
}

void rport_events(Model &m, Function &f, const san::LPort &l, const san::RPort &r, bool online)
{
	auto e = make(QOR_AEN_CAT_RPORT, online ? QOR_RPORT_AEN_ONLINE : QOR_RPORT_AEN_OFFLINE);
	e.aen_data.rport.vf_id = l.vf_id;
	e.aen_data.rport.ppwwn = f.pwwn;
	e.aen_data.rport.lpwwn = l.pwwn;
	e.aen_data.rport.rpwwn = r.pwwn;
	queue_event(m, f, e);
	if (!r.target)
		return;
	auto i = make(QOR_AEN_CAT_ITNIM, online ? QOR_ITNIM_AEN_ONLINE : QOR_ITNIM_AEN_OFFLINE);
	i.aen_data.itnim.vf_id = l.vf_id;
	i.aen_data.itnim.ppwwn = f.pwwn;
	i.aen_data.itnim.lpwwn = l.pwwn;
	i.aen_data.itnim.rpwwn = r.pwwn;
	queue_event(m, f, i);
}

} // namespace

bool link(Model &m, Function &f, bool up)
{
	san::Port &p = san::port_of(f);
	const bool before = san::link_up(p);
	san::set_link(m, f, up);
	if (san::link_up(p) == before)
		return false;
	port_event(m, f, up ? QOR_PORT_AEN_ONLINE : QOR_PORT_AEN_OFFLINE);
	if (!fc_side(f))
		return true;
	for (const auto &l : p.lports) {
		auto e = make(QOR_AEN_CAT_LPORT, up ? QOR_LPORT_AEN_ONLINE : QOR_LPORT_AEN_OFFLINE);
		e.aen_data.lport.vf_id = l.vf_id;
		e.aen_data.lport.roles = static_cast<int16_t>(l.roles);
		e.aen_data.lport.ppwwn = f.pwwn;
		e.aen_data.lport.lpwwn = l.pwwn;
		queue_event(m, f, e);
		// Logins are lost with the link and come back with it.
		for (const auto &r : l.rports)
			if (r.online)
				rport_events(m, f, l, r, up);
	}
	return true;
}

bool rport(Model &m, Function &f, wwn_t rpwwn, bool online)
{
	for (const auto &l : san::port_of(f).lports)
		for (const auto &r : l.rports) {
			if (r.pwwn != rpwwn)
				continue;
			if (r.online == online)
				return false;
			san::set_rport_online(m, f, rpwwn, online);
			rport_events(m, f, l, r, online);
			return true;
		}
	return false;
}

bool ioc_enable(Model &m, Function &f, bool enabled)
{
	const uint32_t target = enabled ? QOR_IOC_OPERATIONAL : QOR_IOC_DISABLED;
	if (f.state == target)
		return false;
	f.state = target;
	f.gen++; // a pending transition no longer applies
	san::port_of(f).enabled = enabled;
	state_event(m, f, target);
	port_event(m, f, enabled ? QOR_PORT_AEN_ENABLE : QOR_PORT_AEN_DISABLE);
	return true;
}

bool adapter_enable(Model &m, size_t adapter, bool enabled)
{
	if (adapter >= m.adapters.size())
		return false;
	bool any = false;
	for (int i : m.adapters[adapter].fns)
		any = ioc_enable(m, m.fns[static_cast<size_t>(i)], enabled) || any;
	return any;
}

bool adapter_event(Model &m, size_t adapter, int type)
{
	if (adapter >= m.adapters.size() || m.adapters[adapter].fns.empty())
		return false;
	const Adapter &a = m.adapters[adapter];
	Function &first = m.fns[static_cast<size_t>(a.fns.front())];
	auto e = make(QOR_AEN_CAT_ADAPTER, type);
	std::snprintf(e.aen_data.adapter.serial_num, sizeof e.aen_data.adapter.serial_num, "%s", a.serial.c_str());
	e.aen_data.adapter.nports = static_cast<uint32_t>(a.fns.size());
	for (int i : a.fns)
		if (m.fns[static_cast<size_t>(i)].drv == QORSIM_DRV_FC) {
			e.aen_data.adapter.pwwn = m.fns[static_cast<size_t>(i)].pwwn;
			break;
		}
	queue_event(m, first, e);
	return true;
}

void audit(Model &m, Function &f, int type, int32_t partition_inst, int32_t partition_type)
{
	auto e = make(QOR_AEN_CAT_AUDIT, type);
	e.aen_data.audit.pwwn = f.pwwn;
	e.aen_data.audit.partition_inst = partition_inst;
	e.aen_data.audit.partition_type = partition_type;
	queue_event(m, f, e);
}

// ---- event records from JSON ---------------------------------------------------------------

namespace {

using nlohmann::json;

// The kinds and type names as the tools print them.
std::span<const qor_aen_names_t> names()
{
	int n = 0;
	const qor_aen_names_t *t = qor_aen_names(&n);
	return {t, static_cast<size_t>(n)};
}

[[noreturn]] void bad(const std::string &path, const std::string &what)
{
	throw std::invalid_argument(path + ": " + what);
}

int64_t num(const json &v, const std::string &path)
{
	if (v.is_number_integer())
		return v.get<int64_t>();
	if (v.is_string()) {
		const std::string s = v.get<std::string>();
		char *end = nullptr;
		long long x = std::strtoll(s.c_str(), &end, 0);
		if (!s.empty() && end && *end == '\0')
			return x;
	}
	bad(path, "must be an integer");
}

void bytes(const json &v, const std::string &path, uint8_t *out, int n, const char *form)
{
	unsigned b[8] = {};
	char tail;
	const std::string s = v.is_string() ? v.get<std::string>() : std::string();
	int got = n == 8 ? std::sscanf(s.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x:%2x:%2x%c", &b[0], &b[1], &b[2], &b[3],
				       &b[4], &b[5], &b[6], &b[7], &tail)
			 : std::sscanf(s.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%c", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5],
				       &tail);
	if (got != n)
		bad(path, std::string("must be ") + form);
	for (int i = 0; i < n; i++)
		out[i] = static_cast<uint8_t>(b[i]);
}

wwn_t wwn(const json &v, const std::string &path)
{
	uint8_t b[8];
	bytes(v, path, b, 8, "a WWN like \"20:00:00:11:22:33:44:55\"");
	wwn_t w;
	std::memcpy(&w, b, 8);
	return w;
}

} // namespace

qor_aen_entry_t entry_from_json(const json &j, const std::string &path)
{
	if (!j.contains("category"))
		bad(path, "an event needs \"category\"");
	const json &jc = j["category"];
	const qor_aen_names_t *c = nullptr;
	for (const auto &n : names())
		if ((jc.is_string() && jc.get<std::string>() == n.kind) || (jc.is_number_integer() && jc.get<int64_t>() == n.cat))
			c = &n;
	uint32_t cat = c ? c->cat : static_cast<uint32_t>(num(jc, path + ".category"));
	int type = 0;
	if (j.contains("type")) {
		const json &jt = j["type"];
		bool found = false;
		if (jt.is_string() && c)
			for (int i = 0; i < c->ntypes; i++)
				if (jt.get<std::string>() == c->types[i]) {
					type = static_cast<int>(i + 1);
					found = true;
				}
		if (!found)
			type = static_cast<int>(num(jt, path + ".type"));
	}
	qor_aen_entry_t e = make(cat, type);
	if (!j.contains("data"))
		return e;
	const json &d = j["data"];
	if (!d.is_object())
		bad(path + ".data", "must be an object");
	qor_aen_data_t &u = e.aen_data;
	for (auto it = d.begin(); it != d.end(); ++it) {
		const std::string k = it.key(), p = path + ".data." + k;
		const json &v = it.value();
		auto wwn_field = [&](wwn_t &w) { w = wwn(v, p); };
		auto mac_field = [&](uint8_t *m) { bytes(v, p, m, 6, "a MAC address like \"02:00:00:00:00:01\""); };
		auto int_field = [&](auto &x) { x = static_cast<std::remove_reference_t<decltype(x)>>(num(v, p)); };
		bool ok = true;
		switch (cat) {
		case QOR_AEN_CAT_ADAPTER:
			if (k == "serial_num" && v.is_string())
				std::snprintf(u.adapter.serial_num, sizeof u.adapter.serial_num, "%s", v.get<std::string>().c_str());
			else if (k == "nports")
				int_field(u.adapter.nports);
			else if (k == "pwwn")
				wwn_field(u.adapter.pwwn);
			else
				ok = false;
			break;
		case QOR_AEN_CAT_PORT:
			if (k == "pwwn")
				wwn_field(u.port.pwwn);
			else if (k == "fwwn")
				wwn_field(u.port.fwwn);
			else if (k == "phy_port_num")
				int_field(u.port.phy_port_num);
			else if (k == "ioc_type")
				int_field(u.port.ioc_type);
			else if (k == "level")
				int_field(u.port.level);
			else if (k == "mac")
				mac_field(u.port.mac);
			else
				ok = false;
			break;
		case QOR_AEN_CAT_LPORT:
			if (k == "vf_id")
				int_field(u.lport.vf_id);
			else if (k == "roles")
				int_field(u.lport.roles);
			else if (k == "ppwwn")
				wwn_field(u.lport.ppwwn);
			else if (k == "lpwwn")
				wwn_field(u.lport.lpwwn);
			else
				ok = false;
			break;
		case QOR_AEN_CAT_RPORT:
		case QOR_AEN_CAT_ITNIM: {
			// Equal layouts up to rpwwn.
			qor_rport_aen_data_t &r = u.rport;
			if (k == "vf_id")
				int_field(r.vf_id);
			else if (k == "ppwwn")
				wwn_field(r.ppwwn);
			else if (k == "lpwwn")
				wwn_field(r.lpwwn);
			else if (k == "rpwwn")
				wwn_field(r.rpwwn);
			else if (k == "qos_priority" && cat == QOR_AEN_CAT_RPORT)
				int_field(r.priv.qos_priority);
			else if (k == "qos_flow_id" && cat == QOR_AEN_CAT_RPORT)
				int_field(r.priv.qos_flow_id);
			else
				ok = false;
			break;
		}
		case QOR_AEN_CAT_AUDIT:
			if (k == "pwwn")
				wwn_field(u.audit.pwwn);
			else if (k == "partition_inst")
				int_field(u.audit.partition_inst);
			else if (k == "partition_type")
				int_field(u.audit.partition_type);
			else
				ok = false;
			break;
		case QOR_AEN_CAT_IOC:
			if (k == "pwwn")
				wwn_field(u.ioc.pwwn);
			else if (k == "ioc_type")
				int_field(u.ioc.ioc_type);
			else if (k == "mac")
				mac_field(u.ioc.mac);
			else
				ok = false;
			break;
		case QOR_AEN_CAT_ETHPORT:
			if (k == "mac")
				mac_field(u.ethport.mac);
			else if (k == "cee_state")
				int_field(u.ethport.cee_state);
			else
				ok = false;
			break;
		default:
			ok = false;
		}
		if (!ok)
			bad(p, "not a field of this category's event data");
	}
	return e;
}

} // namespace qorsim::ev

// ---- control API ----------------------------------------------------------------------------

using namespace qorsim;

namespace {

// Runs fn on the named controller under the model's lock, then updates readiness.
template <class Fn> int on_function(int drv, int instance, Fn fn)
{
	if (drv != QORSIM_DRV_FC && drv != QORSIM_DRV_ETH)
		return api_error("no such driver");
	std::lock_guard lk(sim().mu);
	Model &m = sim().m;
	Function *f = m.fn_at(drv, instance);
	if (!f)
		return api_error("driver " + std::to_string(drv) + " has no instance " + std::to_string(instance));
	int rc = fn(m, *f);
	refresh_ready(m);
	return rc;
}

} // namespace

#pragma GCC visibility push(default)
extern "C" {

int qorsim_set_link(int drv, int instance, int up)
{
	return on_function(drv, instance, [up](Model &m, Function &f) {
		ev::link(m, f, up != 0);
		return 0;
	});
}

int qorsim_set_rport_online(int drv, int instance, uint64_t rpwwn, int online)
{
	return on_function(drv, instance, [&](Model &m, Function &f) {
		for (const auto &l : san::port_of(f).lports)
			for (const auto &r : l.rports)
				if (r.pwwn == rpwwn) {
					ev::rport(m, f, rpwwn, online != 0);
					return 0;
				}
		return api_error("the controller has no such remote port");
	});
}

int qorsim_set_ioc_enabled(int drv, int instance, int enabled)
{
	return on_function(drv, instance, [enabled](Model &m, Function &f) {
		ev::ioc_enable(m, f, enabled != 0);
		return 0;
	});
}

int qorsim_set_adapter_enabled(int adapter, int enabled)
{
	std::lock_guard lk(sim().mu);
	Model &m = sim().m;
	if (adapter < 0 || static_cast<size_t>(adapter) >= m.adapters.size())
		return api_error("no adapter " + std::to_string(adapter));
	ev::adapter_enable(m, static_cast<size_t>(adapter), enabled != 0);
	refresh_ready(m);
	return 0;
}

int qorsim_adapter_event(int adapter, int type)
{
	std::lock_guard lk(sim().mu);
	Model &m = sim().m;
	if (adapter < 0 || static_cast<size_t>(adapter) >= m.adapters.size())
		return api_error("no adapter " + std::to_string(adapter));
	if (!ev::adapter_event(m, static_cast<size_t>(adapter), type))
		return api_error("the adapter has no functions");
	refresh_ready(m);
	return 0;
}

int qorsim_audit_event(int drv, int instance, int type, int32_t partition_inst, int32_t partition_type)
{
	return on_function(drv, instance, [&](Model &m, Function &f) {
		ev::audit(m, f, type, partition_inst, partition_type);
		return 0;
	});
}

int64_t qorsim_event_dropped(int drv, int instance, int app)
{
	if ((drv != QORSIM_DRV_FC && drv != QORSIM_DRV_ETH) || app < 0 || app >= kApps)
		return -1;
	std::lock_guard lk(sim().mu);
	Function *f = sim().m.fn_at(drv, instance);
	return f ? static_cast<int64_t>(f->aen_dropped[app]) : -1;
}

} // extern "C"
#pragma GCC visibility pop
