// mxt events: the drivers' asynchronous events, as queued or as they arrive.
//
// The command-line identity has no event queue reader, so this command
// alone runs under the test programs' identity (qor_aen_app_test): it reads
// that identity's queues and, with --follow, starts the library's reader.
#include <csignal>
#include <cstring>
#include <ctime>
#include <iostream>
#include <mutex>
#include <pthread.h>
#include <vector>

#include "table.h"
#include "qorl_adapter.h"
#include "qorl_aen.h"
#include "qorl_audit.h"
#include "qorl_ioc.h"

#include "defs/qor_defs_aen_names.h"

namespace mxt {

namespace {

using category_row = qor_aen_names_t;

// The kinds that carry events of their own (target-mode and IP-over-FC do not).
const std::vector<category_row> &categories()
{
	static const std::vector<category_row> rows = [] {
		int n = 0;
		const qor_aen_names_t *t = qor_aen_names(&n);
		std::vector<category_row> v;
		for (int i = 0; i < n; i++)
			if (t[i].ntypes > 0)
				v.push_back(t[i]);
		return v;
	}();
	return rows;
}

const category_row *category(uint32_t cat)
{
	for (auto &r : categories())
		if (r.cat == cat)
			return &r;
	return nullptr;
}

std::string type_name(uint32_t cat, int type)
{
	const category_row *r = category(cat);
	if (r && type >= 1 && type <= r->ntypes)
		return r->types[type - 1];
	return std::to_string(type);
}

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

// The data record's fields by their names.
doc data_fields(uint32_t cat, const qor_aen_data_t &d)
{
	doc o;
	switch (cat) {
	case QOR_AEN_CAT_ADAPTER:
		o["serial_num"] = field(d.adapter.serial_num);
		o["nports"] = d.adapter.nports;
		o["pwwn"] = wwn_text(d.adapter.pwwn);
		break;
	case QOR_AEN_CAT_PORT:
		o["pwwn"] = wwn_text(d.port.pwwn);
		o["fwwn"] = wwn_text(d.port.fwwn);
		o["phy_port_num"] = d.port.phy_port_num;
		o["ioc_type"] = d.port.ioc_type;
		o["level"] = d.port.level;
		o["mac"] = mac_text(d.port.mac);
		break;
	case QOR_AEN_CAT_LPORT:
		o["vf_id"] = d.lport.vf_id;
		o["roles"] = d.lport.roles;
		o["ppwwn"] = wwn_text(d.lport.ppwwn);
		o["lpwwn"] = wwn_text(d.lport.lpwwn);
		break;
	case QOR_AEN_CAT_RPORT:
		o["vf_id"] = d.rport.vf_id;
		o["ppwwn"] = wwn_text(d.rport.ppwwn);
		o["lpwwn"] = wwn_text(d.rport.lpwwn);
		o["rpwwn"] = wwn_text(d.rport.rpwwn);
		o["qos_priority"] = d.rport.priv.qos_priority;
		o["qos_flow_id"] = d.rport.priv.qos_flow_id;
		break;
	case QOR_AEN_CAT_ITNIM:
		o["vf_id"] = d.itnim.vf_id;
		o["ppwwn"] = wwn_text(d.itnim.ppwwn);
		o["lpwwn"] = wwn_text(d.itnim.lpwwn);
		o["rpwwn"] = wwn_text(d.itnim.rpwwn);
		break;
	case QOR_AEN_CAT_AUDIT:
		o["pwwn"] = wwn_text(d.audit.pwwn);
		o["partition_inst"] = d.audit.partition_inst;
		o["partition_type"] = d.audit.partition_type;
		break;
	case QOR_AEN_CAT_IOC:
		o["pwwn"] = wwn_text(d.ioc.pwwn);
		o["ioc_type"] = d.ioc.ioc_type;
		o["mac"] = mac_text(d.ioc.mac);
		break;
	case QOR_AEN_CAT_ETHPORT:
		o["mac"] = mac_text(d.ethport.mac);
		o["cee_state"] = d.ethport.cee_state;
		break;
	}
	return o;
}

// The field that names the object, for the one-line text form.
std::string object_text(const doc &e)
{
	for (const char *k : {"rpwwn", "lpwwn", "serial_num", "pwwn", "mac"})
		if (e.contains(k))
			return std::string(k) + " " + e[k].get<std::string>();
	return "-";
}

doc event_doc(uint32_t cat, int type, int instance, const qor_timeval_t &tv, const qor_aen_data_t &d)
{
	const category_row *r = category(cat);
	doc e;
	e["category"] = r ? r->kind : std::to_string(cat);
	e["type"] = type_name(cat, type);
	if (instance >= 0)
		e["instance"] = instance;
	else
		e["instance"] = nullptr;
	e["time"] = time_text(tv);
	const doc fields = data_fields(cat, d);
	for (auto it = fields.begin(); it != fields.end(); ++it)
		e[it.key()] = it.value();
	return e;
}

std::mutex out_mu;

void emit_line(const doc &e)
{
	std::lock_guard lk(out_mu);
	if (opts().json) {
		std::cout << e.dump() << std::endl;
		return;
	}
	std::string inst = e["instance"].is_null() ? "-" : std::to_string(e["instance"].get<int>());
	std::cout << e["time"].get<std::string>() << "  " << e["category"].get<std::string>() << " "
		  << e["type"].get<std::string>() << "  instance " << inst << "  " << object_text(e) << std::endl;
}

bool wanted(const std::string &kind, uint32_t cat)
{
	const category_row *r = category(cat);
	return r && (kind.empty() || kind == r->kind);
}

// ---- without --follow: what is queued now ---------------------------------------

void show_queued(const std::string &kind)
{
	doc rows = doc::array();
	int n = qorl_ioc_get_num(), i = 0;
	std::vector<qor_aen_entry_t> buf(QOR_AEN_MAX_ENTRIES);
	for (qorl_t *q = qorl_ioc_get_list(); q && i < n; q = q->next, i++) {
		for (;;) {
			int count = QOR_AEN_MAX_ENTRIES;
			qor_status_t st = qorl_aen_get_events(q, buf.data(), &count, qor_aen_app_test);
			if (st != QOR_STATUS_OK)
				fail_status("reading the events of controller " + std::to_string(q->id), st);
			for (int k = 0; k < count; k++) {
				const qor_aen_entry_t &e = buf[static_cast<size_t>(k)];
				if (wanted(kind, e.aen_category))
					rows.push_back(event_doc(e.aen_category, e.aen_type,
								 e.aen_category == QOR_AEN_CAT_ADAPTER ? -1 : q->instance,
								 e.aen_tv, e.aen_data));
			}
			if (count < QOR_AEN_MAX_ENTRIES)
				break;
		}
	}
	if (opts().json) {
		print(rows);
		return;
	}
	for (auto &e : rows)
		emit_line(e);
}

// ---- --follow: subscriptions and the reader --------------------------------------------

// What a callback knows about its subscription.
struct ctx {
	qorl_t *q = nullptr; // null for adapter subscriptions
	bool all_adapters = false;
	std::string kind;
};
std::vector<ctx *> contexts;

void emit(const ctx *c, uint32_t cat, int type, const qor_timeval_t &tv, const void *data, size_t len)
{
	qor_aen_data_t d{};
	std::memcpy(&d, data, len);
	emit_line(event_doc(cat, type, c->q ? c->q->instance : -1, tv, d));
}

void on_adapter(void *ud, qor_adapter_aen_event_t ev, qor_adapter_aen_data_t *d, qor_timeval_t tv)
{
	auto *c = static_cast<ctx *>(ud);
	// An add reaches the all-adapters subscription and the adapter's own: print it once.
	if ((ev == QOR_ADAPTER_AEN_ADD) != c->all_adapters)
		return;
	emit(c, QOR_AEN_CAT_ADAPTER, ev, tv, d, sizeof *d);
}

void on_ioc(void *ud, qor_ioc_aen_event_t ev, qor_ioc_aen_data_t *d, qor_timeval_t tv)
{
	auto *c = static_cast<ctx *>(ud);
	// Instance numbers of the two drivers overlap: keep the event of this controller.
	bool fc = c->q->ioc_type != QOR_IOC_TYPE_LL;
	if (fc ? d->pwwn != c->q->pwwn : (d->pwwn != 0 || std::memcmp(d->mac, c->q->mac.mac, 6) != 0))
		return;
	emit(c, QOR_AEN_CAT_IOC, ev, tv, d, sizeof *d);
}

void on_port(void *ud, qor_port_aen_event_t ev, qor_port_aen_data_t *d, qor_timeval_t tv)
{
	emit(static_cast<ctx *>(ud), QOR_AEN_CAT_PORT, ev, tv, d, sizeof *d);
}

void subscribe_lport(qorl_t *q, wwn_t lpwwn, const std::string &kind);

void on_lport(void *ud, qor_lport_aen_event_t ev, qor_lport_aen_data_t *d, qor_timeval_t tv)
{
	auto *c = static_cast<ctx *>(ud);
	if (c->kind != "lport-new" || ev == QOR_LPORT_AEN_NEW)
		emit(c, QOR_AEN_CAT_LPORT, ev, tv, d, sizeof *d);
	// A new logical port's own events are followed from now on.
	if (ev == QOR_LPORT_AEN_NEW && c->kind == "lport-new" && d->lpwwn != 0)
		subscribe_lport(c->q, d->lpwwn, "");
}

void on_rport(void *ud, qor_rport_aen_event_t ev, qor_rport_aen_data_t *d, qor_timeval_t tv)
{
	emit(static_cast<ctx *>(ud), QOR_AEN_CAT_RPORT, ev, tv, d, sizeof *d);
}

void on_itnim(void *ud, qor_itnim_aen_event_t ev, qor_itnim_aen_data_t *d, qor_timeval_t tv)
{
	emit(static_cast<ctx *>(ud), QOR_AEN_CAT_ITNIM, ev, tv, d, sizeof *d);
}

void on_audit(void *ud, qor_audit_aen_event_t ev, qor_audit_aen_data_t *d, qor_timeval_t tv)
{
	emit(static_cast<ctx *>(ud), QOR_AEN_CAT_AUDIT, ev, tv, d, sizeof *d);
}

void on_ethport(void *ud, qor_ethport_aen_event_t ev, qor_ethport_aen_data_t *d, qor_timeval_t tv)
{
	emit(static_cast<ctx *>(ud), QOR_AEN_CAT_ETHPORT, ev, tv, d, sizeof *d);
}

std::string g_kind;
bool want(const char *k)
{
	return g_kind.empty() || g_kind == k;
}

ctx *new_ctx(qorl_t *q, const std::string &kind = "")
{
	auto *c = new ctx{q, false, kind};
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
void subscribe_lport(qorl_t *q, wwn_t lpwwn, const std::string &kind)
{
	if (want("lport")) {
		qor_lport_aen_data_t k{};
		k.lpwwn = lpwwn;
		qorl_lport_aen_cbhandle_t *h;
		qorl_lport_aen_register(q, on_lport, new_ctx(q, kind), &k, &h, 0);
	}
	if (lpwwn == 0)
		return;
	if (want("rport")) {
		qor_rport_aen_data_t k{};
		k.lpwwn = lpwwn;
		qorl_rport_aen_cbhandle_t *h;
		qorl_rport_aen_register(q, on_rport, new_ctx(q), &k, &h);
	}
	if (want("itnim")) {
		qor_itnim_aen_data_t k{};
		k.lpwwn = lpwwn;
		qorl_itnim_aen_cbhandle_t *h;
		qorl_itnim_aen_register(q, on_itnim, new_ctx(q), &k, &h, 0);
	}
}

void subscribe_all()
{
	if (want("adapter")) {
		qorl_adapter_aen_cbhandle_t *h;
		ctx *all = new_ctx(nullptr);
		all->all_adapters = true;
		check(qorl_adapter_aen_register(nullptr, on_adapter, all, &h, 0), "adapter events");
		for (unsigned a = 1; a <= qorl_adapter_get_num(); a++)
			if (qorl_adapter_t *ad = qorl_adapter_open_idx(static_cast<int>(a)))
				check(qorl_adapter_aen_register(ad, on_adapter, new_ctx(nullptr), &h, 0), "adapter events");
	}
	int n = qorl_ioc_get_num(), i = 0;
	for (qorl_t *q = qorl_ioc_get_list(); q && i < n; q = q->next, i++) {
		const bool fc = q->ioc_type == QOR_IOC_TYPE_FC || q->ioc_type == QOR_IOC_TYPE_FCoE;
		if (want("ioc")) {
			qorl_ioc_aen_cbhandle_t *h;
			check(qorl_ioc_aen_register(q, on_ioc, new_ctx(q), &h), "controller events");
		}
		if (want("port")) {
			qor_port_aen_data_t k{};
			k.pwwn = q->pwwn;
			std::memcpy(k.mac, q->mac.mac, 6);
			qorl_port_aen_cbhandle_t *h;
			check(qorl_port_aen_register(q, on_port, new_ctx(q), &k, &h), "port events");
		}
		if (!fc) {
			if (want("ethport")) {
				qorl_ethport_aen_cbhandle_t *h;
				check(qorl_ethport_aen_register(q, on_ethport, new_ctx(q), nullptr, &h),
				      "Ethernet port events");
			}
			continue;
		}
		subscribe_lport(q, 0, "lport-new");
		subscribe_lport(q, q->pwwn, "");
		if (want("audit")) {
			qor_audit_aen_data_t k{};
			k.pwwn = q->pwwn;
			qorl_audit_aen_cbhandle_t *h;
			check(qorl_audit_aen_register(q, on_audit, new_ctx(q), &k, &h), "audit events");
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
	for (auto &r : categories())
		names.push_back(r.kind);
	return names;
}

// The runner has opened the session under qor_aen_app_test.
void events_run(bool follow_on, const std::string &kind)
{
	g_kind = kind;
	if (follow_on)
		follow();
	else
		show_queued(kind);
}

} // namespace mxt
