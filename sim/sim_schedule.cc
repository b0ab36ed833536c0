// The topology's "schedule": state changes at given virtual times, so that
// an unmodified program sees links drop, remote ports log out, controllers
// go down and events arrive while it waits. Actions are looked up by name
// in one table; each validates its arguments when the topology is loaded.
#include <cstring>
#include <stdexcept>

#include "qor/qor_text.h"
#include "san.h"
#include "sim_events.h"

namespace qorsim {

namespace {

using nlohmann::json;

[[noreturn]] void bad(const std::string &path, const std::string &what)
{
	throw std::invalid_argument(path + ": " + what);
}

int64_t integer(const json &o, const std::string &path, const char *key, int64_t def, int64_t lo, int64_t hi)
{
	if (!o.contains(key))
		return def;
	int64_t x = 0;
	if (!as_integer(o[key], &x))
		bad(path + "." + key, "must be an integer");
	if (x < lo || x > hi)
		bad(path + "." + key, "must be between " + std::to_string(lo) + " and " + std::to_string(hi));
	return x;
}

// What one entry names, checked against the model at load time.
struct Target {
	int drv = QORSIM_DRV_FC;
	int instance = 0;
	size_t adapter = 0;
	wwn_t rpwwn = 0;
};

using Run = std::function<void(Model &, Function *)>;

Function &function_of(Model &m, const json &e, const std::string &path, Target &t)
{
	if (e.contains("driver")) {
		const json &d = e["driver"];
		if (d == "fc")
			t.drv = QORSIM_DRV_FC;
		else if (d == "eth")
			t.drv = QORSIM_DRV_ETH;
		else
			bad(path + ".driver", "must be \"fc\" or \"eth\"");
	}
	t.instance = static_cast<int>(integer(e, path, "instance", 0, 0, kMaxInstances - 1));
	Function *f = m.fn_at(t.drv, t.instance);
	if (!f)
		bad(path + ".instance", std::string(t.drv ? "the Ethernet" : "the FC") + " driver has no instance " +
						std::to_string(t.instance));
	return *f;
}

wwn_t rpwwn_of(Model &m, const json &e, const std::string &path, Target &t)
{
	Function &f = function_of(m, e, path, t);
	if (!e.contains("rpwwn"))
		bad(path, "this action needs \"rpwwn\"");
	const json &w = e["rpwwn"];
	if (!w.is_string() || !qor_wwn_parse(w.get<std::string>().c_str(), &t.rpwwn))
		bad(path + ".rpwwn", "must be a WWN like \"21:00:00:24:ff:00:00:01\"");
	for (const auto &l : san::port_of(f).lports)
		for (const auto &r : l.rports)
			if (r.pwwn == t.rpwwn)
				return t.rpwwn;
	bad(path + ".rpwwn", "no remote port with this WWN behind that controller");
}

size_t adapter_of(Model &m, const json &e, const std::string &path)
{
	int64_t a = integer(e, path, "adapter", -1, 0, static_cast<int64_t>(m.adapters.size()) - 1);
	if (a < 0)
		bad(path, "this action needs \"adapter\" (its position in \"adapters\", from 0)");
	return static_cast<size_t>(a);
}

// An action: the keys it takes besides the common ones, and how it is
// prepared (validated) into something to run at its time.
struct Action {
	const char *name;
	std::vector<const char *> keys;
	std::function<Run(Model &, const json &, const std::string &)> prepare;
};

Run on_controller(Model &m, const json &e, const std::string &path, std::function<void(Model &, Function &)> fn)
{
	Target t;
	function_of(m, e, path, t);
	return [t, fn](Model &mm, Function *) {
		if (Function *f = mm.fn_at(t.drv, t.instance))
			fn(mm, *f);
	};
}

Run link(bool up, Model &m, const json &e, const std::string &path)
{
	return on_controller(m, e, path, [up](Model &mm, Function &f) { ev::link(mm, f, up); });
}

Run rport(bool online, Model &m, const json &e, const std::string &path)
{
	Target t;
	rpwwn_of(m, e, path, t);
	return [t, online](Model &mm, Function *) {
		if (Function *f = mm.fn_at(t.drv, t.instance))
			ev::rport(mm, *f, t.rpwwn, online);
	};
}

Run ioc(bool en, Model &m, const json &e, const std::string &path)
{
	return on_controller(m, e, path, [en](Model &mm, Function &f) { ev::ioc_enable(mm, f, en); });
}

Run adapter_enable(bool en, Model &m, const json &e, const std::string &path)
{
	size_t a = adapter_of(m, e, path);
	return [a, en](Model &mm, Function *) { ev::adapter_enable(mm, a, en); };
}

Run adapter_event(int type, Model &m, const json &e, const std::string &path)
{
	size_t a = adapter_of(m, e, path);
	return [a, type](Model &mm, Function *) { ev::adapter_event(mm, a, type); };
}

Run audit(Model &m, const json &e, const std::string &path)
{
	const int type = e.contains("type") ? ev::type_from_json(QOR_AEN_CAT_AUDIT, e["type"], path + ".type")
					    : QOR_AUDIT_AEN_FLASH_UPDATE;
	const int32_t inst = static_cast<int32_t>(integer(e, path, "partition_inst", 0, INT32_MIN, INT32_MAX));
	const int32_t ptype = static_cast<int32_t>(integer(e, path, "partition_type", 0, INT32_MIN, INT32_MAX));
	return on_controller(m, e, path,
			     [=](Model &mm, Function &f) { ev::audit(mm, f, type, inst, ptype); });
}

// Any event record, `count` copies at once (a burst).
Run raw_event(Model &m, const json &e, const std::string &path)
{
	if (!e.contains("event"))
		bad(path, "this action needs \"event\" ({\"category\", \"type\", \"data\"})");
	const qor_aen_entry_t rec = ev::entry_from_json(e["event"], path + ".event");
	const int64_t count = integer(e, path, "count", 1, 1, 1000000);
	return on_controller(m, e, path, [rec, count](Model &mm, Function &f) {
		for (int64_t i = 0; i < count; i++)
			queue_event(mm, f, rec);
	});
}

const std::vector<Action> &actions()
{
	static const std::vector<Action> v = {
		{"link_up", {"driver", "instance"}, [](Model &m, const json &e, const std::string &p) { return link(true, m, e, p); }},
		{"link_down", {"driver", "instance"}, [](Model &m, const json &e, const std::string &p) { return link(false, m, e, p); }},
		{"rport_online", {"driver", "instance", "rpwwn"},
		 [](Model &m, const json &e, const std::string &p) { return rport(true, m, e, p); }},
		{"rport_offline", {"driver", "instance", "rpwwn"},
		 [](Model &m, const json &e, const std::string &p) { return rport(false, m, e, p); }},
		{"ioc_enable", {"driver", "instance"}, [](Model &m, const json &e, const std::string &p) { return ioc(true, m, e, p); }},
		{"ioc_disable", {"driver", "instance"}, [](Model &m, const json &e, const std::string &p) { return ioc(false, m, e, p); }},
		{"adapter_enable", {"adapter"},
		 [](Model &m, const json &e, const std::string &p) { return adapter_enable(true, m, e, p); }},
		{"adapter_disable", {"adapter"},
		 [](Model &m, const json &e, const std::string &p) { return adapter_enable(false, m, e, p); }},
		{"adapter_add", {"adapter"},
		 [](Model &m, const json &e, const std::string &p) { return adapter_event(QOR_ADAPTER_AEN_ADD, m, e, p); }},
		{"adapter_remove", {"adapter"},
		 [](Model &m, const json &e, const std::string &p) { return adapter_event(QOR_ADAPTER_AEN_REMOVE, m, e, p); }},
		{"audit", {"driver", "instance", "type", "partition_inst", "partition_type"}, audit},
		{"event", {"driver", "instance", "event", "count"}, raw_event},
	};
	return v;
}

} // namespace

void build_schedule(Model &m)
{
	const json &s = m.schedule_cfg;
	if (s.is_null())
		return;
	if (!s.is_array())
		bad("schedule", "must be an array");
	for (size_t i = 0; i < s.size(); i++) {
		const std::string path = "schedule[" + std::to_string(i) + "]";
		const json &e = s[i];
		if (!e.is_object())
			bad(path, "must be an object");
		if (!e.contains("action") || !e["action"].is_string())
			bad(path, "needs \"action\"");
		const std::string name = e["action"].get<std::string>();
		const Action *a = nullptr;
		std::string known;
		for (const auto &x : actions()) {
			known += (known.empty() ? "" : ", ") + std::string(x.name);
			if (name == x.name)
				a = &x;
		}
		if (!a)
			bad(path + ".action", "unknown action \"" + name + "\"; known: " + known);
		for (auto it = e.begin(); it != e.end(); ++it) {
			const std::string &k = it.key();
			if (k.empty() || k[0] == '_' || k == "action" || k == "at_ms" || k == "repeat" || k == "every_ms")
				continue;
			bool ok = false;
			for (const char *x : a->keys)
				ok = ok || k == x;
			if (!ok)
				bad(path + "." + k, "not a key of action \"" + name + "\"");
		}
		if (!e.contains("at_ms"))
			bad(path, "needs \"at_ms\" (virtual milliseconds after start)");
		const int64_t at = integer(e, path, "at_ms", 0, 0, INT64_MAX / 1000000);
		const int64_t repeat = integer(e, path, "repeat", 1, 1, 100000);
		const int64_t every = integer(e, path, "every_ms", 0, 0, INT64_MAX / 1000000 / 100000);
		Run run = a->prepare(m, e, path);
		for (int64_t r = 0; r < repeat; r++)
			schedule(m, static_cast<uint64_t>(at + r * every) * 1000000u, [run](Model &mm) { run(mm, nullptr); });
	}
}

} // namespace qorsim
