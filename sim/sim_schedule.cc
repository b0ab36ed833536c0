// The topology's "schedule": state changes at given virtual times, so that
// an unmodified program sees links drop, remote ports log out, controllers
// go down and events arrive while it waits. Actions are looked up by name
// in one table; each validates its arguments when the topology is loaded.
#include <cstring>
#include <stdexcept>

#include "qor/qor_text.h"
#include "san.h"
#include "scsi_model.h"
#include "sim_events.h"
#include "sim_json.h"

namespace qorsim {

namespace {

// What one entry names, checked against the model at load time.
struct Target {
	int drv = QORSIM_DRV_FC;
	int instance = 0;
	wwn_t rpwwn = 0;
};

using Run = std::function<void(Model &)>;

Target controller_of(Model &m, const Field &e)
{
	Target t;
	if (e.has("driver"))
		t.drv = static_cast<int>(e["driver"].one_of({"fc", "eth"}));
	e.read("instance", t.instance, 0, kMaxInstances - 1);
	if (!m.fn_at(t.drv, t.instance))
		e["instance"].fail(std::string(t.drv ? "the Ethernet" : "the FC") + " driver has no instance " +
				   std::to_string(t.instance));
	return t;
}

size_t adapter_of(Model &m, const Field &e)
{
	const Field a = e.need("adapter", "this action needs \"adapter\" (its position in \"adapters\", from 0)");
	return static_cast<size_t>(a.integer(0, static_cast<int64_t>(m.adapters.size()) - 1));
}

// An action on one controller, found again when it runs.
Run on_controller(Model &m, const Field &e, std::function<void(Model &, Function &)> fn)
{
	const Target t = controller_of(m, e);
	return [t, fn](Model &mm) {
		if (Function *f = mm.fn_at(t.drv, t.instance))
			fn(mm, *f);
	};
}

Run link(bool up, Model &m, const Field &e)
{
	return on_controller(m, e, [up](Model &mm, Function &f) { ev::link(mm, f, up); });
}

Run rport(bool online, Model &m, const Field &e)
{
	const Target t = controller_of(m, e);
	const wwn_t rpwwn = e.need("rpwwn", "this action needs \"rpwwn\"").wwn();
	if (!san::any_rport(san::port_of(*m.fn_at(t.drv, t.instance)), rpwwn))
		e["rpwwn"].fail("no remote port with this WWN behind that controller");
	return on_controller(m, e, [rpwwn, online](Model &mm, Function &f) { ev::rport(mm, f, rpwwn, online); });
}

Run ioc(bool en, Model &m, const Field &e)
{
	return on_controller(m, e, [en](Model &mm, Function &f) { ev::ioc_enable(mm, f, en); });
}

Run adapter_enable(bool en, Model &m, const Field &e)
{
	const size_t a = adapter_of(m, e);
	return [a, en](Model &mm) { ev::adapter_enable(mm, a, en); };
}

Run adapter_event(int type, Model &m, const Field &e)
{
	const size_t a = adapter_of(m, e);
	return [a, type](Model &mm) { ev::adapter_event(mm, a, type); };
}

Run audit(Model &m, const Field &e)
{
	const int type = e.has("type") ? ev::type_from_json(QOR_AEN_CAT_AUDIT, e["type"]) : QOR_AUDIT_AEN_FLASH_UPDATE;
	int32_t inst = 0, ptype = 0;
	e.read("partition_inst", inst, INT32_MIN, INT32_MAX);
	e.read("partition_type", ptype, INT32_MIN, INT32_MAX);
	return on_controller(m, e, [=](Model &mm, Function &f) { ev::audit(mm, f, type, inst, ptype); });
}

// Any event record, `count` copies at once (a burst).
Run raw_event(Model &m, const Field &e)
{
	const qor_aen_entry_t rec =
		ev::entry_from_json(e.need("event", "this action needs \"event\" ({\"category\", \"type\", \"data\"})"));
	int64_t count = 1;
	e.read("count", count, 1, 1000000);
	return on_controller(m, e, [rec, count](Model &mm, Function &f) { queue_events(mm, f, rec, count); });
}

// A target gets a logical unit; it reports REPORTED LUNS DATA HAS CHANGED once.
Run add_lun(Model &m, const Field &e)
{
	const Target t = controller_of(m, e);
	const Field rp = e.need("rpwwn", "this action needs \"rpwwn\"");
	const wwn_t rpwwn = rp.wwn();
	if (!scsi::for_target(*m.fn_at(t.drv, t.instance), rpwwn, [](san::Target &) {}))
		rp.fail("no target with this WWN behind that controller");
	const scsi::Unit u = scsi::parse_unit(e.need("lun", "this action needs \"lun\" (a unit as in \"luns\")"), 0);
	return on_controller(m, e, [rpwwn, u](Model &mm, Function &f) { scsi::add_unit(mm, f, rpwwn, u); });
}

// An action: the keys it takes besides the common ones, and how it is
// prepared (validated) into something to run at its time.
struct Action {
	const char *name;
	std::vector<const char *> keys;
	std::function<Run(Model &, const Field &)> prepare;
};

template <auto Fn, auto Arg> Run with(Model &m, const Field &e)
{
	return Fn(Arg, m, e);
}

const std::vector<Action> &actions()
{
	static const std::vector<Action> v = {
		{"link_up", {"driver", "instance"}, with<link, true>},
		{"link_down", {"driver", "instance"}, with<link, false>},
		{"rport_online", {"driver", "instance", "rpwwn"}, with<rport, true>},
		{"rport_offline", {"driver", "instance", "rpwwn"}, with<rport, false>},
		{"ioc_enable", {"driver", "instance"}, with<ioc, true>},
		{"ioc_disable", {"driver", "instance"}, with<ioc, false>},
		{"adapter_enable", {"adapter"}, with<adapter_enable, true>},
		{"adapter_disable", {"adapter"}, with<adapter_enable, false>},
		{"adapter_add", {"adapter"}, with<adapter_event, QOR_ADAPTER_AEN_ADD>},
		{"adapter_remove", {"adapter"}, with<adapter_event, QOR_ADAPTER_AEN_REMOVE>},
		{"audit", {"driver", "instance", "type", "partition_inst", "partition_type"}, audit},
		{"event", {"driver", "instance", "event", "count"}, raw_event},
		{"add_lun", {"driver", "instance", "rpwwn", "lun"}, add_lun},
	};
	return v;
}

} // namespace

void build_schedule(Model &m)
{
	if (m.schedule_cfg.is_null())
		return;
	const Field s(m.schedule_cfg, "schedule");
	for (size_t i = 0, n = s.array(); i < n; i++) {
		const Field e = s[i];
		e.object();
		const Field act = e.need("action", "needs \"action\"");
		const Action *a = nullptr;
		std::string known;
		for (const auto &x : actions()) {
			known += (known.empty() ? "" : ", ") + std::string(x.name);
			if (act.is_text() && act.json().get<std::string>() == x.name)
				a = &x;
		}
		if (!a)
			act.fail("unknown action " + act.json().dump() + "; known: " + known);
		for (auto it = e.json().begin(); it != e.json().end(); ++it) {
			const std::string &k = it.key();
			if (k.empty() || k[0] == '_' || k == "action" || k == "at_ms" || k == "repeat" || k == "every_ms")
				continue;
			bool ok = false;
			for (const char *x : a->keys)
				ok = ok || k == x;
			if (!ok)
				e[k.c_str()].fail(std::string("not a key of action \"") + a->name + "\"");
		}
		const int64_t at = e.need("at_ms", "needs \"at_ms\" (virtual milliseconds after start)").integer(0, INT64_MAX / 1000000);
		int64_t repeat = 1, every = 0;
		e.read("repeat", repeat, 1, 100000);
		e.read("every_ms", every, 0, INT64_MAX / 1000000 / 100000);
		Run run = a->prepare(m, e);
		for (int64_t r = 0; r < repeat; r++)
			schedule(m, static_cast<uint64_t>(at + r * every) * 1000000u, run);
	}
}

} // namespace qorsim
