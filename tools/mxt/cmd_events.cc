// mxt events: the drivers' asynchronous events, as queued or as they arrive.
//
// The command-line identity has no event queue reader, so this command
// alone runs under the test programs' identity (qor_aen_app_test): it reads
// that identity's queues and, with --follow, starts the library's reader.
#include <csignal>
#include <cstring>
#include <ctime>
#include <functional>
#include <iostream>
#include <mutex>
#include <pthread.h>
#include <sys/uio.h>
#include <syslog.h>
#include <vector>

#include <systemd/sd-journal.h>

#include "table.h"
#include "qorl_adapter.h"
#include "qorl_aen.h"
#include "qorl_audit.h"
#include "qorl_ioc.h"

#include "defs/qor_defs_aen_names.h"
#include "qor/qor_text.h"

namespace mxt {

namespace {

// The kinds that carry events of their own (target-mode and IP-over-FC do not).
std::vector<const qor_aen_names_t *> kinds()
{
	int n = 0;
	const qor_aen_names_t *t = qor_aen_names(&n);
	std::vector<const qor_aen_names_t *> v;
	for (int i = 0; i < n; i++)
		if (t[i].nfields > 0)
			v.push_back(&t[i]);
	return v;
}

// The category of each kind's data record, from the one list of kinds.
template <class D> constexpr uint32_t category_of = 0;
#define MXT_EVENTS_CATEGORY_(k, cat, last) template <> constexpr uint32_t category_of<qor_##k##_aen_data_t> = cat;
QOR_AEN_KINDS(MXT_EVENTS_CATEGORY_)
#undef MXT_EVENTS_CATEGORY_

std::string time_text(const qor_timeval_t &tv)
{
	time_t t = static_cast<time_t>(tv.tv_sec);
	struct tm tm;
	gmtime_r(&t, &tm);
	char s[48];
	size_t n = strftime(s, sizeof s, "%Y-%m-%dT%H:%M:%S", &tm);
	snprintf(s + n, sizeof s - n, ".%06uZ", tv.tv_usec % 1000000u);
	return s;
}

// One field of a data record: numbers as numbers, role bits as their
// words; null for a WWN, MAC, text or controller type the driver left empty.
doc field_value(const qor_aen_field_t &f, const void *rec)
{
	const auto *p = static_cast<const uint8_t *>(rec) + f.offset;
	switch (f.kind) {
	case QOR_AEN_FIELD_WWN: {
		wwn_t w;
		std::memcpy(&w, p, sizeof w);
		char s[QOR_WWN_TEXT_LEN];
		return w ? doc(qor_wwn_format(w, s)) : doc(nullptr);
	}
	case QOR_AEN_FIELD_MAC: {
		static const uint8_t none[6] = {};
		char s[QOR_MAC_TEXT_LEN];
		return std::memcmp(p, none, sizeof none) ? doc(qor_mac_format(p, s)) : doc(nullptr);
	}
	case QOR_AEN_FIELD_TEXT: {
		const std::string t = field(reinterpret_cast<const char *>(p), f.size);
		return t.empty() ? doc(nullptr) : doc(t);
	}
	case QOR_AEN_FIELD_IOC_TYPE: {
		const int64_t t = qor_aen_field_int(&f, rec);
		const char *w = t > 0 ? qor_ioc_type_word(static_cast<uint32_t>(t)) : "unknown";
		return std::strcmp(w, "unknown") ? doc(w) : doc(nullptr);
	}
	case QOR_AEN_FIELD_ROLES:
		return roles_value(static_cast<uint16_t>(qor_aen_field_int(&f, rec)));
	default:
		return qor_aen_field_int(&f, rec);
	}
}

// The one emitter: an event as a document, named by the controller that
// queued it (none for adapter events), every field of its category's record
// read from the field table.
doc event_doc(uint32_t cat, int type, qorl_t *q, const qor_timeval_t &tv, const void *data)
{
	const qor_aen_names_t *c = qor_aen_category(cat);
	const char *type_name = qor_aen_type_name(c, type);
	doc e;
	e["category"] = c ? doc(c->kind) : doc(cat);
	e["type"] = type_name ? doc(type_name) : doc(type);
	e.update(controller_key(cat == QOR_AEN_CAT_ADAPTER ? nullptr : q));
	e["time"] = time_text(tv);
	for (int i = 0; c && i < c->nfields; i++)
		e[c->fields[i].name] = field_value(c->fields[i], data);
	return e;
}

std::string text(const doc &v)
{
	return v.is_null() ? "-" : v.is_string() ? v.get<std::string>() : one_line(v);
}

// The field that names the object, for the one-line text form.
std::string object_text(const doc &e)
{
	for (const char *k : {"rpwwn", "lpwwn", "serial_num", "pwwn", "mac"})
		if (e.contains(k) && !e[k].is_null())
			return std::string(k) + " " + text(e[k]);
	return "-";
}

// ---- the journal ------------------------------------------------------------------

// How serious an event is, as a syslog priority: the first row that
// matches the kind (null: any) and type (null: any); information otherwise.
struct priority_row {
	const char *kind, *type;
	int priority;
};
constexpr priority_row priorities[] = {
	{"ioc", "hb_fail", LOG_ERR},
	{"ioc", "fwmismatch", LOG_ERR},
	{"ioc", "fwcfg_error", LOG_ERR},
	{"ioc", "invalid_vendor", LOG_ERR},
	{"ioc", "invalid_nwwn", LOG_ERR},
	{"ioc", "invalid_pwwn", LOG_ERR},
	{"port", "sfp_access_error", LOG_ERR},
	{"port", "sfp_unsupport", LOG_ERR},
	{"lport", "npiv_dup_wwn", LOG_ERR},
	{"lport", "npiv_fabric_max", LOG_ERR},
	{"lport", "npiv_unknown", LOG_ERR},
	{nullptr, "offline", LOG_WARNING},
	{nullptr, "linkdown", LOG_WARNING},
	{nullptr, "disconnect", LOG_WARNING},
	{nullptr, "disable", LOG_WARNING},
	{"adapter", "remove", LOG_WARNING},
	{"port", "sfp_remove", LOG_WARNING},
	{"lport", "delete", LOG_WARNING},
	{"audit", nullptr, LOG_NOTICE},
};

int priority_of(const doc &e)
{
	// A port event that carries the driver's severity (critical 1 to info 4) says it itself.
	if (e["category"] == "port" && e.contains("level") && e["level"].is_number_integer()) {
		static constexpr int by_level[] = {LOG_CRIT, LOG_ERR, LOG_WARNING, LOG_INFO};
		const int level = e["level"].get<int>();
		if (level >= 1 && level <= 4)
			return by_level[level - 1];
	}
	const std::string kind = e["category"].is_string() ? e["category"].get<std::string>() : "";
	const std::string type = e["type"].is_string() ? e["type"].get<std::string>() : "";
	for (const priority_row &r : priorities)
		if ((!r.kind || kind == r.kind) && (!r.type || type == r.type))
			return r.priority;
	return LOG_INFO;
}

// The WWN the event is about: the remote, logical or port WWN it carries.
std::string wwn_of(const doc &e)
{
	for (const char *k : {"rpwwn", "lpwwn", "pwwn", "ppwwn"})
		if (e.contains(k) && e[k].is_string())
			return e[k].get<std::string>();
	return "";
}

// One structured entry: the text line as the message, the priority, and
// the fields a journal query selects by.
void journal_send(const doc &e)
{
	std::vector<std::string> f;
	f.push_back("MESSAGE=" + text(e["category"]) + " " + text(e["type"]) + "  " + controller_text(e) + "  " +
		    object_text(e));
	f.push_back("PRIORITY=" + std::to_string(priority_of(e)));
	f.push_back("SYSLOG_IDENTIFIER=mxt");
	f.push_back("QORL_KIND=" + text(e["category"]));
	f.push_back("QORL_TYPE=" + text(e["type"]));
	std::string adapter, port;
	if (e["port"].is_string()) {
		const std::string ap = e["port"].get<std::string>();
		adapter = ap.substr(0, ap.find('/'));
		port = ap.substr(ap.find('/') + 1);
		f.push_back("QORL_ADDRESS=" + ap);
	} else if (e.contains("serial_num") && e["serial_num"].is_string()) {
		std::string sn = e["serial_num"].get<std::string>();
		if (unsigned idx = qorl_adapter_get_idx_by_sn(sn.data()))
			adapter = std::to_string(idx);
	}
	if (!adapter.empty())
		f.push_back("QORL_ADAPTER=" + adapter);
	if (!port.empty())
		f.push_back("QORL_PORT=" + port);
	if (const std::string w = wwn_of(e); !w.empty())
		f.push_back("QORL_WWN=" + w);
	if (!e["driver"].is_null()) {
		f.push_back("QORL_DRIVER=" + text(e["driver"]));
		f.push_back("QORL_INSTANCE=" + text(e["instance"]));
	}
	f.push_back("QORL_EVENT_TIME=" + text(e["time"]));
	f.push_back("QORL_EVENT=" + one_line(e));
	std::vector<iovec> iov;
	for (std::string &s : f)
		iov.push_back({s.data(), s.size()});
	const int rc = sd_journal_sendv(iov.data(), static_cast<int>(iov.size()));
	if (rc < 0)
		fprintf(stderr, "mxt: warning: the journal did not take an event (%s): %s\n", strerror(-rc),
			one_line(e).c_str());
}

bool g_journal = false;
std::mutex out_mu;

void emit_line(const doc &e)
{
	std::lock_guard lk(out_mu);
	if (g_journal) {
		journal_send(e);
		return;
	}
	if (opts().json) {
		std::cout << one_line(e) << std::endl;
		return;
	}
	std::cout << printable(text(e["time"]) + "  " + text(e["category"]) + " " + text(e["type"]) + "  " +
			       controller_text(e) + "  " + object_text(e))
		  << std::endl;
}

bool wanted(const std::string &kind, uint32_t cat)
{
	const qor_aen_names_t *c = qor_aen_category(cat);
	return c && c->nfields > 0 && (kind.empty() || kind == c->kind);
}

// ---- without --follow: what is queued now ---------------------------------------

// The events queued now: a document for --json, else printed a line each.
doc show_queued(const std::string &kind)
{
	doc rows = doc::array();
	int n = qorl_ioc_get_num(), i = 0;
	std::vector<qor_aen_entry_t> buf(QOR_AEN_MAX_ENTRIES);
	for (qorl_t *q = qorl_ioc_get_list(); q && i < n; q = q->next, i++) {
		for (;;) {
			int count = QOR_AEN_MAX_ENTRIES;
			qor_status_t st;
			{
				// A failed fetch is also printed by the library.
				library_lines_to_stderr quiet;
				st = qorl_aen_get_events(q, buf.data(), &count, qor_aen_app_test);
			}
			if (st != QOR_STATUS_OK)
				fail_status("reading the events of controller " + std::to_string(q->id), st);
			for (int k = 0; k < count; k++) {
				const qor_aen_entry_t &e = buf[static_cast<size_t>(k)];
				if (wanted(kind, e.aen_category))
					rows.push_back(event_doc(e.aen_category, e.aen_type, q, e.aen_tv, &e.aen_data));
			}
			if (count < QOR_AEN_MAX_ENTRIES)
				break;
		}
	}
	if (opts().json && !g_journal)
		return rows;
	for (auto &e : rows)
		emit_line(e);
	return printed();
}

// ---- --follow: subscriptions and the reader --------------------------------------------

// What a callback knows about its subscription. `keep` picks the events
// to print (all without one); `then` runs after each.
struct ctx {
	qorl_t *q = nullptr; // null for adapter subscriptions
	std::function<bool(int ev, const void *data)> keep;
	std::function<void(int ev, const void *data)> then;
};
std::vector<ctx *> contexts;

// The callback of every kind: the record goes to the emitter as delivered.
template <class E, class D> void on_event(void *ud, E ev, D *d, qor_timeval_t tv)
{
	const auto *c = static_cast<const ctx *>(ud);
	if (!c->keep || c->keep(ev, d))
		emit_line(event_doc(category_of<D>, ev, c->q, tv, d));
	if (c->then)
		c->then(ev, d);
}

std::string g_kind;
bool want(const char *k)
{
	return g_kind.empty() || g_kind == k;
}

ctx *new_ctx(qorl_t *q, decltype(ctx::keep) keep = {}, decltype(ctx::then) then = {})
{
	auto *c = new ctx{q, std::move(keep), std::move(then)};
	std::lock_guard lk(out_mu);
	contexts.push_back(c);
	return c;
}

void check(qor_status_t st, const std::string &what)
{
	if (st != QOR_STATUS_OK)
		fail_status("subscribing to " + what, st);
}

// Handles are released with the process; the reader is stopped before exit.
// lpwwn 0 follows the controller's new logical ports, each from then on.
void subscribe_lport(qorl_t *q, wwn_t lpwwn)
{
	if (want("lport")) {
		qor_lport_aen_data_t k{};
		k.lpwwn = lpwwn;
		ctx *c = lpwwn ? new_ctx(q)
			       : new_ctx(
					 q, [](int ev, const void *) { return ev == QOR_LPORT_AEN_NEW; },
					 [q](int ev, const void *d) {
						 wwn_t l = static_cast<const qor_lport_aen_data_t *>(d)->lpwwn;
						 if (ev == QOR_LPORT_AEN_NEW && l != 0)
							 subscribe_lport(q, l);
					 });
		qorl_lport_aen_cbhandle_t *h;
		qorl_lport_aen_register(q, on_event, c, &k, &h, 0);
	}
	if (lpwwn == 0)
		return;
	if (want("rport")) {
		qor_rport_aen_data_t k{};
		k.lpwwn = lpwwn;
		qorl_rport_aen_cbhandle_t *h;
		qorl_rport_aen_register(q, on_event, new_ctx(q), &k, &h);
	}
	if (want("itnim")) {
		qor_itnim_aen_data_t k{};
		k.lpwwn = lpwwn;
		qorl_itnim_aen_cbhandle_t *h;
		qorl_itnim_aen_register(q, on_event, new_ctx(q), &k, &h, 0);
	}
}

void subscribe_all()
{
	if (want("adapter")) {
		// An add reaches the all-adapters subscription and the adapter's own: print it once.
		auto adds = [](bool yes) { return [yes](int ev, const void *) { return (ev == QOR_ADAPTER_AEN_ADD) == yes; }; };
		qorl_adapter_aen_cbhandle_t *h;
		check(qorl_adapter_aen_register(nullptr, on_event, new_ctx(nullptr, adds(true)), &h, 0), "adapter events");
		for (unsigned a = 1; a <= qorl_adapter_get_num(); a++)
			if (qorl_adapter_t *ad = qorl_adapter_open_idx(static_cast<int>(a)))
				check(qorl_adapter_aen_register(ad, on_event, new_ctx(nullptr, adds(false)), &h, 0),
				      "adapter events");
	}
	int n = qorl_ioc_get_num(), i = 0;
	for (qorl_t *q = qorl_ioc_get_list(); q && i < n; q = q->next, i++) {
		const bool fc = q->ioc_type == QOR_IOC_TYPE_FC || q->ioc_type == QOR_IOC_TYPE_FCoE;
		if (want("ioc")) {
			// Instance numbers of the two drivers overlap: keep the events of this controller.
			auto mine = [q, fc](int, const void *p) {
				auto *d = static_cast<const qor_ioc_aen_data_t *>(p);
				return fc ? d->pwwn == q->pwwn : d->pwwn == 0 && std::memcmp(d->mac, q->mac.mac, 6) == 0;
			};
			qorl_ioc_aen_cbhandle_t *h;
			check(qorl_ioc_aen_register(q, on_event, new_ctx(q, mine), &h), "controller events");
		}
		if (want("port")) {
			qor_port_aen_data_t k{};
			k.pwwn = q->pwwn;
			std::memcpy(k.mac, q->mac.mac, 6);
			qorl_port_aen_cbhandle_t *h;
			check(qorl_port_aen_register(q, on_event, new_ctx(q), &k, &h), "port events");
		}
		if (!fc) {
			if (want("ethport")) {
				qorl_ethport_aen_cbhandle_t *h;
				check(qorl_ethport_aen_register(q, on_event, new_ctx(q), nullptr, &h), "Ethernet port events");
			}
			continue;
		}
		subscribe_lport(q, 0);
		subscribe_lport(q, q->pwwn);
		if (want("audit")) {
			qor_audit_aen_data_t k{};
			k.pwwn = q->pwwn;
			qorl_audit_aen_cbhandle_t *h;
			check(qorl_audit_aen_register(q, on_event, new_ctx(q), &k, &h), "audit events");
		}
	}
}

void follow()
{
	// The reader inherits this mask, so the signals that end the command reach us here.
	sigset_t stop;
	sigemptyset(&stop);
	sigaddset(&stop, SIGINT);
	sigaddset(&stop, SIGTERM);
	sigaddset(&stop, SIGHUP);
	pthread_sigmask(SIG_BLOCK, &stop, nullptr);
	subscribe_all();
	qor_status_t st = qorl_aen_init();
	if (st != QOR_STATUS_OK)
		fail("cannot start the event reader: " + std::string(strerror(static_cast<int>(st))));
	int sig = 0;
	sigwait(&stop, &sig);
	qorl_aen_exit();
}

} // namespace

std::vector<std::string> event_kinds()
{
	std::vector<std::string> names;
	for (const qor_aen_names_t *c : kinds())
		names.push_back(c->kind);
	return names;
}

// The runner has opened the session under qor_aen_app_test.
doc events_run(bool follow_on, const std::string &kind, bool journal)
{
	g_kind = kind;
	g_journal = journal;
	if (!follow_on)
		return show_queued(kind);
	follow();
	return printed();
}

} // namespace mxt
