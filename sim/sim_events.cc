// Events raised by state changes of the emulated hardware (links, remote
// port logins, enable/disable of controllers and adapters, audit), and the
// control API that makes those changes.
#include "sim_events.h"
#include "defs/qor_defs_aen_names.h"
#include "qor/qor_text.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "san.h"
#include "sim_json.h"

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
	const san::Port &p = san::port_of(f);
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

// The remote port and IT nexus records start alike.
template <class D> void name_rport(D &d, const Function &f, const san::LPort &l, const san::RPort &r)
{
	d.vf_id = l.vf_id;
	d.ppwwn = f.pwwn;
	d.lpwwn = l.pwwn;
	d.rpwwn = r.pwwn;
}

void rport_events(Model &m, Function &f, const san::LPort &l, const san::RPort &r, bool online)
{
	auto e = make(QOR_AEN_CAT_RPORT, online ? QOR_RPORT_AEN_ONLINE : QOR_RPORT_AEN_OFFLINE);
	name_rport(e.aen_data.rport, f, l, r);
	queue_event(m, f, e);
	if (!r.target)
		return;
	auto i = make(QOR_AEN_CAT_ITNIM, online ? QOR_ITNIM_AEN_ONLINE : QOR_ITNIM_AEN_OFFLINE);
	name_rport(i.aen_data.itnim, f, l, r);
	queue_event(m, f, i);
}

} // namespace

bool link(Model &m, Function &f, bool up)
{
	const bool before = san::link_up(f);
	san::set_link(f, up);
	if (san::link_up(f) == before)
		return false;
	port_event(m, f, up ? QOR_PORT_AEN_ONLINE : QOR_PORT_AEN_OFFLINE);
	if (!fc_side(f))
		return true;
	for (const auto &l : san::port_of(f).lports) {
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
	san::LPort *l = nullptr;
	const san::RPort *r = san::any_rport(san::port_of(f), rpwwn, &l);
	if (!r || r->online == online)
		return false;
	san::set_rport_online(f, rpwwn, online);
	rport_events(m, f, *l, *r, online);
	return true;
}

// The controller's state and the events of it; its port keeps its own
// enable state, but is not up while the controller is down.
bool ioc_enable(Model &m, Function &f, bool enabled)
{
	const uint32_t target = enabled ? QOR_IOC_OPERATIONAL : QOR_IOC_DISABLED;
	if (f.state == target)
		return false;
	f.state = target;
	f.gen++; // a pending transition no longer applies
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

template <class Each> std::string listed(int n, Each each)
{
	std::string s;
	for (int i = 0; i < n; i++)
		s += (i ? ", " : "") + std::string(each(i));
	return s;
}

std::string known_categories()
{
	int n = 0;
	const qor_aen_names_t *t = qor_aen_names(&n);
	return listed(n, [t](int i) { return t[i].kind; });
}

// The category's row (null for a number without one) and its code.
const qor_aen_names_t *category_of(const Field &v, uint32_t *cat)
{
	if (v.is_text())
		if (const qor_aen_names_t *c = qor_aen_category_named(v.json().get<std::string>().c_str())) {
			*cat = c->cat;
			return c;
		}
	int64_t x = 0;
	if (!v.try_integer(&x) || x < 0 || x > UINT32_MAX)
		v.fail("must be a category (" + known_categories() + ") or its number");
	*cat = static_cast<uint32_t>(x);
	return qor_aen_category(*cat);
}

int type_of(const qor_aen_names_t *c, const Field &v)
{
	if (v.is_text())
		if (int t = qor_aen_type_code(c, v.json().get<std::string>().c_str()))
			return t;
	int64_t x = 0;
	if (!v.try_integer(&x) || x < INT32_MIN || x > INT32_MAX)
		v.fail("must be an event type of the category" +
		       (c && c->ntypes ? " (" + listed(c->ntypes, [c](int i) { return c->types[i]; }) + ")" : std::string()) +
		       " or its number");
	return static_cast<int>(x);
}

// Writes one field of a data record from its JSON value, as the field's kind reads it.
void set_field(const qor_aen_field_t &f, qor_aen_data_t &rec, const Field &v)
{
	uint8_t *p = reinterpret_cast<uint8_t *>(&rec) + f.offset;
	switch (f.kind) {
	case QOR_AEN_FIELD_WWN: {
		const wwn_t w = v.wwn();
		std::memcpy(p, &w, sizeof w);
		return;
	}
	case QOR_AEN_FIELD_MAC: {
		const mac_t m = v.mac();
		std::memcpy(p, m.mac, sizeof m.mac);
		return;
	}
	case QOR_AEN_FIELD_TEXT: {
		const std::string s = v.text(f.size);
		std::memset(p, 0, f.size);
		std::memcpy(p, s.data(), s.size());
		return;
	}
	case QOR_AEN_FIELD_IOC_TYPE:
		for (uint32_t t : {QOR_IOC_TYPE_FC, QOR_IOC_TYPE_FCoE, QOR_IOC_TYPE_LL})
			if (v.is_text() && v.json().get<std::string>() == qor_ioc_type_word(t)) {
				qor_aen_field_set_int(&f, &rec, t);
				return;
			}
		break;
	case QOR_AEN_FIELD_ROLES:
		if (v.json().is_array()) {
			int64_t bits = 0;
			for (const auto &w : v.json()) {
				const uint32_t b = w.is_string() ? qor_role_parse(w.get<std::string>().c_str()) : 0;
				if (!b)
					v.fail("must be a list of \"initiator\", \"target\", \"ipfc\" or an integer");
				bits |= b;
			}
			qor_aen_field_set_int(&f, &rec, bits);
			return;
		}
		break;
	default:
		break;
	}
	int64_t x = 0;
	if (!v.try_integer(&x) || !qor_aen_field_set_int(&f, &rec, x)) {
		const int bits = 8 * f.size;
		const bool sign = f.kind != QOR_AEN_FIELD_UINT;
		const int64_t lo = sign ? -(int64_t{1} << (bits - 1)) : 0;
		const int64_t hi = sign ? (int64_t{1} << (bits - 1)) - 1 : (int64_t{1} << bits) - 1;
		const char *words = f.kind == QOR_AEN_FIELD_IOC_TYPE ? "must be \"fc\", \"fcoe\", \"eth\" or "
				    : f.kind == QOR_AEN_FIELD_ROLES ? "must be a list of \"initiator\", \"target\", \"ipfc\" or "
								    : "must be ";
		v.fail(words + std::string("an integer from ") + std::to_string(lo) + " to " + std::to_string(hi));
	}
}

} // namespace

int type_from_json(uint32_t cat, const Field &v)
{
	return type_of(qor_aen_category(cat), v);
}

qor_aen_entry_t entry_from_json(const Field &j)
{
	j.object({"category", "type", "data"});
	uint32_t cat = 0;
	const qor_aen_names_t *c = category_of(j.need("category", "an event needs \"category\""), &cat);
	qor_aen_entry_t e = make(cat, j.has("type") ? type_of(c, j["type"]) : 0);
	if (!j.has("data"))
		return e;
	const Field d = j["data"];
	for (auto it = d.object().json().begin(); it != d.json().end(); ++it) {
		const qor_aen_field_t *f = qor_aen_field_named(c, it.key().c_str());
		const Field v = d[it.key().c_str()];
		if (!f)
			v.fail("not a field of this category's event data" +
			       (c && c->nfields ? " (" + listed(c->nfields, [c](int i) { return c->fields[i].name; }) + ")"
						: std::string(" (it has none)")));
		set_field(*f, e.aen_data, v);
	}
	return e;
}

} // namespace qorsim::ev

// ---- control API ----------------------------------------------------------------------------

using namespace qorsim;

namespace {

// Runs fn on the named controller under the model's lock, then updates
// readiness; fn returns 0 or -1 (api_error).
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

// The same for an adapter, by its position in the topology.
template <class Fn> int on_adapter(int adapter, Fn fn)
{
	std::lock_guard lk(sim().mu);
	Model &m = sim().m;
	if (adapter < 0 || static_cast<size_t>(adapter) >= m.adapters.size())
		return api_error("no adapter " + std::to_string(adapter));
	int rc = fn(m, static_cast<size_t>(adapter));
	refresh_ready(m);
	return rc;
}

// A count of one controller's queue for one application; -1 for none such.
template <class Fn> int64_t queue_count(int drv, int instance, int app, Fn fn)
{
	if ((drv != QORSIM_DRV_FC && drv != QORSIM_DRV_ETH) || app < 0 || app >= kApps)
		return -1;
	std::lock_guard lk(sim().mu);
	const Function *f = sim().m.fn_at(drv, instance);
	return f ? static_cast<int64_t>(fn(*f)) : -1;
}

} // namespace

#pragma GCC visibility push(default)
extern "C" {

int qorsim_set_link(int drv, int instance, int up)
{
	return on_function(drv, instance, [up](Model &m, Function &f) { return ev::link(m, f, up != 0), 0; });
}

int qorsim_set_rport_online(int drv, int instance, uint64_t rpwwn, int online)
{
	return on_function(drv, instance, [&](Model &m, Function &f) {
		if (!san::any_rport(san::port_of(f), rpwwn))
			return api_error("the controller has no such remote port");
		return ev::rport(m, f, rpwwn, online != 0), 0;
	});
}

int qorsim_set_ioc_enabled(int drv, int instance, int enabled)
{
	return on_function(drv, instance, [enabled](Model &m, Function &f) { return ev::ioc_enable(m, f, enabled != 0), 0; });
}

int qorsim_set_adapter_enabled(int adapter, int enabled)
{
	return on_adapter(adapter, [enabled](Model &m, size_t a) { return ev::adapter_enable(m, a, enabled != 0), 0; });
}

int qorsim_adapter_event(int adapter, int type)
{
	return on_adapter(adapter, [type](Model &m, size_t a) {
		return ev::adapter_event(m, a, type) ? 0 : api_error("the adapter has no functions");
	});
}

int qorsim_audit_event(int drv, int instance, int type, int32_t partition_inst, int32_t partition_type)
{
	return on_function(drv, instance, [&](Model &m, Function &f) {
		return ev::audit(m, f, type, partition_inst, partition_type), 0;
	});
}

int qorsim_inject_events(int drv, int instance, const qor_aen_entry_t *e, size_t n)
{
	if (!e && n)
		return api_error("no events");
	return on_function(drv, instance, [e, n](Model &m, Function &f) {
		for (size_t i = 0; i < n; i++)
			queue_event(m, f, e[i]);
		return 0;
	});
}

int qorsim_inject_event(int drv, int instance, const qor_aen_entry_t *e)
{
	return qorsim_inject_events(drv, instance, e, 1);
}

int qorsim_event_count(int drv, int instance, int app)
{
	return static_cast<int>(queue_count(drv, instance, app, [app](const Function &f) { return f.aen[app].size(); }));
}

int64_t qorsim_event_dropped(int drv, int instance, int app)
{
	return queue_count(drv, instance, app, [app](const Function &f) { return f.aen_dropped[app]; });
}

} // extern "C"
#pragma GCC visibility pop
