// Event records: fetch, dispatch by category, the reader thread, and the
// subscription kinds other than audit.
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstddef>
#include <cstring>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <unistd.h>

#include "protocol/fc_fchs.h"
#include "qorl_aen_family.h"
#include "qorl_audit.h"
#include "qorl_int.h"
#include "qorl_ioc.h"
#include "qorl_lport.h"

namespace qorl::aen {

// ---- callbacks running on this thread ----------------------------------------

namespace {
thread_local int tl_depth;
} // namespace

void callback_enter()
{
	tl_depth++;
}

void callback_leave()
{
	tl_depth--;
}

bool in_callback()
{
	return tl_depth > 0;
}

// ---- lists and locks ----------------------------------------------------------

pthread_mutex_t adapter_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t ioc_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t port_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t lport_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t rport_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t itnim_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t ethport_mutex = PTHREAD_MUTEX_INITIALIZER;

qorl_adapter_aen_cbhandle_t *adapterCBList;
qorl_ioc_aen_cbhandle_t *iocCBList;
qorl_port_aen_cbhandle_t *portCBList;
qorl_lport_aen_cbhandle_t *lportCBList;
qorl_rport_aen_cbhandle_t *rportCBList;
qorl_itnim_aen_cbhandle_t *itnimCBList;
namespace ethport_module {
qorl_ethport_aen_cbhandle_t *portCBList;
}

namespace {

// A SNIA-form subscription keeps its callback in the native field.
template <class To, class From> inline To snia_fn(From f)
{
	return reinterpret_cast<To>(reinterpret_cast<void (*)(void)>(f));
}

inline bool mac_eq(const uint8_t *a, const uint8_t *b)
{
	return std::memcmp(a, b, 6) == 0;
}

// ---- the kinds: what each matches and calls -------------------------------------

struct adapter_kind : kind_base<QOR_AEN_CAT_ADAPTER, adapter_mutex, adapterCBList> {
	static constexpr bool warn_unknown = false;

	static bool engine_match(const handle_t &h, uint16_t, const data_t &d, int ev)
	{
		if (ev == QOR_ADAPTER_AEN_ADD && h.fd == -1)
			return true;
		return std::strncmp(h.data.serial_num, d.serial_num, sizeof d.serial_num) == 0;
	}
	static bool call_snia(const handle_t &h, uint16_t, const data_t &d, uint32_t snia)
	{
		snia_fn<qorl_adapter_snia_cbfn_t>(h.cbfn)(h.userData, d.pwwn, snia);
		return true;
	}
};

struct ioc_kind : kind_base<QOR_AEN_CAT_IOC, ioc_mutex, iocCBList> {
	static bool engine_match(const handle_t &h, uint16_t inst, const data_t &, int)
	{
		return same_inst(h.inst, inst);
	}
	static bool direct_match(const handle_t &h, qorl_t *q, const data_t &, int)
	{
		if (is_fc_side(q->ioc_type))
			return is_fc_side(h.qorl->ioc_type) && same_pwwn(h.qorl, q);
		return !is_fc_side(h.qorl->ioc_type) && h.qorl->instance == q->instance;
	}
};

struct port_kind : kind_base<QOR_AEN_CAT_PORT, port_mutex, portCBList> {
	static bool engine_match(const handle_t &h, uint16_t inst, const data_t &d, int)
	{
		return same_inst(h.inst, inst) &&
		       ((d.pwwn != 0 && d.pwwn == h.data.pwwn) || mac_eq(d.mac, h.data.mac));
	}
	static bool direct_match(const handle_t &h, qorl_t *q, const data_t &d, int)
	{
		if (is_fc_side(q->ioc_type))
			return is_fc_side(h.qorl->ioc_type) && same_pwwn(h.qorl, q) && h.data.pwwn == d.pwwn;
		return !is_fc_side(h.qorl->ioc_type) && mac_equal(qorl_ioc_get_mac(h.qorl), qorl_ioc_get_mac(q)) &&
		       mac_eq(h.data.mac, d.mac);
	}
};

struct lport_kind : kind_base<QOR_AEN_CAT_LPORT, lport_mutex, lportCBList> {
	static constexpr bool warn_unknown = false;

	static bool engine_match(const handle_t &h, uint16_t inst, const data_t &d, int ev)
	{
		if (!same_inst(h.inst, inst))
			return false;
		if (ev == QOR_LPORT_AEN_NEW)
			return h.data.lpwwn == 0;
		return d.lpwwn == h.data.lpwwn;
	}
	static bool direct_match(const handle_t &h, qorl_t *q, const data_t &d, int ev)
	{
		return same_pwwn(h.qorl, q) &&
		       ((ev == QOR_LPORT_AEN_NEW && h.data.lpwwn == 0) || d.lpwwn == h.data.lpwwn);
	}
	// The port's address comes from the driver; no controller left: the
	// event is abandoned for every remaining subscriber.
	static bool call_snia(const handle_t &h, uint16_t inst, const data_t &d, uint32_t snia)
	{
		qorl_t *c = qorl_ioc_get_by_inst(inst);
		if (!c)
			return false;
		qor_lport_attr_t attr{};
		uint32_t fcid = 0;
		if (qorl_lport_get_attr(c, 0, d.lpwwn, &attr) == QOR_STATUS_OK) {
			// SNIA callers get the address as a number (0x011a00).
			uint8_t b[3];
			fc_pid_to_wire(attr.pid, b);
			fcid = fc_get_be24(b);
		}
		snia_fn<qorl_lport_snia_cbfn_t>(h.cbfn)(h.userData, d.lpwwn, snia, fcid);
		return true;
	}
};

struct rport_kind : kind_base<QOR_AEN_CAT_RPORT, rport_mutex, rportCBList> {
	static bool engine_match(const handle_t &h, uint16_t inst, const data_t &d, int)
	{
		return same_inst(h.inst, inst) && d.lpwwn == h.data.lpwwn;
	}
	static bool direct_match(const handle_t &h, qorl_t *q, const data_t &d, int)
	{
		return same_pwwn(h.qorl, q) && d.lpwwn == h.data.lpwwn;
	}
};

struct itnim_kind : kind_base<QOR_AEN_CAT_ITNIM, itnim_mutex, itnimCBList> {
	static constexpr bool warn_unknown = false;

	static bool key_match(const handle_t &h, const data_t &d)
	{
		return d.lpwwn == h.data.lpwwn && (h.data.rpwwn == 0 || d.rpwwn == h.data.rpwwn);
	}
	static bool engine_match(const handle_t &h, uint16_t inst, const data_t &d, int)
	{
		return same_inst(h.inst, inst) && key_match(h, d);
	}
	static bool direct_match(const handle_t &h, qorl_t *q, const data_t &d, int)
	{
		return same_pwwn(h.qorl, q) && key_match(h, d);
	}
	static bool call_snia(const handle_t &h, uint16_t, const data_t &d, uint32_t snia)
	{
		snia_fn<qorl_itnim_snia_cbfn_t>(h.cbfn)(h.userData, d.lpwwn, d.rpwwn, snia);
		return true;
	}
};

struct ethport_kind : kind_base<QOR_AEN_CAT_ETHPORT, ethport_mutex, ethport_module::portCBList> {
	static bool engine_match(const handle_t &h, uint16_t inst, const data_t &d, int)
	{
		return same_inst(h.inst, inst) && mac_eq(d.mac, h.data.mac);
	}
	static bool direct_match(const handle_t &h, qorl_t *q, const data_t &d, int)
	{
		return mac_equal(qorl_ioc_get_mac(h.qorl), qorl_ioc_get_mac(q)) && mac_eq(d.mac, h.data.mac);
	}
};

// ---- registration keys ------------------------------------------------------------

bool key_port(qorl_port_aen_cbhandle_t &h, qorl_t *q, const qor_port_aen_data_t *d)
{
	if (!q || !d)
		return false;
	if (is_fc_side(q->ioc_type))
		h.data.pwwn = d->pwwn;
	else
		std::memcpy(h.data.mac, d->mac, sizeof h.data.mac);
	return true;
}

bool key_ethport(qorl_ethport_aen_cbhandle_t &h, qorl_t *q, const qor_ethport_aen_data_t *)
{
	if (!q)
		return false;
	mac_t m = qorl_ioc_get_mac(q);
	std::memcpy(h.data.mac, m.mac, sizeof h.data.mac);
	return true;
}

// ---- the list of kinds ------------------------------------------------------------------

// A kind's delivery entry in one form: its record is the union member at
// offset 0; the adapter's entry takes no instance.
template <class D, class E>
qor_status_t call_entry(qor_status_t (*fn)(uint16_t, D *, E, qor_timeval_t), uint16_t inst, qor_aen_data_t *u,
			int ev, qor_timeval_t tv)
{
	return fn(inst, reinterpret_cast<D *>(u), static_cast<E>(ev), tv);
}
template <class D, class E>
qor_status_t call_entry(qor_status_t (*fn)(D *, E, qor_timeval_t), uint16_t, qor_aen_data_t *u, int ev,
			qor_timeval_t tv)
{
	return fn(reinterpret_cast<D *>(u), static_cast<E>(ev), tv);
}
template <auto Fn> qor_status_t deliver(uint16_t inst, qor_aen_data_t *u, int ev, qor_timeval_t tv)
{
	return call_entry(Fn, inst, u, ev, tv);
}

struct kind_entry {
	uint32_t category;
	void (*collect)(qorl_aen_fd_list_t *);
	qor_status_t (*deliver)(uint16_t inst, qor_aen_data_t *data, int type, qor_timeval_t tv);
};

#define QORL_AEN_KIND_ENTRY_(k, cat, last) {cat, qorl_##k##_fd_collect, deliver<qorl_##k##_event>},
constexpr kind_entry kKinds[] = {QOR_AEN_KINDS(QORL_AEN_KIND_ENTRY_)};
#undef QORL_AEN_KIND_ENTRY_

constexpr auto kByCategory = [] {
	std::array<const kind_entry *, QOR_AEN_MAX_CAT + 1> a{};
	for (const kind_entry &k : kKinds)
		a[k.category] = &k;
	return a;
}();

const kind_entry *kind_of(uint32_t category)
{
	return category < kByCategory.size() ? kByCategory[category] : nullptr;
}

} // namespace
} // namespace qorl::aen

// ---- the reader ------------------------------------------------------------------

namespace {

using namespace qorl::aen;

std::atomic<uint32_t> cancelthread{0};
pthread_t eventThreadIdPoll;
pthread_t eventThreadIdQuery;
pthread_attr_t eventThreadAttr;
int is_solaris;
std::atomic<bool> reader_up{false};
// Bumped by every stop, so a reader that outlives its stop never resumes.
std::atomic<unsigned> reader_gen{0};
thread_local bool tl_is_reader;

// One eventfd for the process: a registration or a stop request makes the
// reader's select return at once.
std::atomic<int> wake_fd{-1};
pthread_once_t wake_once = PTHREAD_ONCE_INIT;
void make_wake_fd()
{
	wake_fd.store(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
}

void drain_wake(int fd)
{
	uint64_t v;
	ssize_t r = read(fd, &v, sizeof v);
	(void)r;
}

bool stop_requested(unsigned gen)
{
	return cancelthread.load() != 0 || reader_gen.load() != gen;
}

// Waits up to 5 seconds, cut short by a wake-up.
void pause_5s(int wfd)
{
	if (wfd < 0 || wfd >= FD_SETSIZE) {
		sleep(5);
		return;
	}
	fd_set rd;
	FD_ZERO(&rd);
	FD_SET(wfd, &rd);
	timeval tv{5, 0};
	if (select(wfd + 1, &rd, nullptr, nullptr, &tv) > 0)
		drain_wake(wfd);
}

// Room for a full batch: the request header and 64 entries.
constexpr size_t kBatchBytes = sizeof(qor_ioctl_aen_t) + (QOR_AEN_MAX_ENTRIES - 1) * sizeof(qor_aen_entry_t);

// One request built in `rec` with room for n entries, which stay in
// rec->aen_list. `sent` tells a driver's answer from a channel failure;
// `got` is the returned count, cut to the room.
qor_status_t send_fetch(qorl_t *qorl, qor_ioctl_aen_t *rec, int n, qor_aen_app_t app_id, bool *sent, int *got)
{
	*sent = false;
	std::memset(static_cast<void *>(rec), 0, offsetof(qor_ioctl_aen_t, aen_list));
	rec->aen_count = n;
	rec->app_id = app_id;
	errno = 0;
	qorl::outcome o = qorl::exec<qorl::req::AEN_GET>(qorl, *rec);
	if (!o.sent) {
		int err = errno;
		printf("%s:%d ioctl error: %s, fd: %d, app: %d inst: %d\n", "qorl_aen_get_events", __LINE__,
		       strerror(err), qorl->fd, static_cast<int>(app_id), qorl->instance);
		return o.status;
	}
	*sent = true;
	// Never more than the room, whatever the driver claims.
	*got = rec->aen_count < 0 ? 0 : rec->aen_count > n ? n : rec->aen_count;
	return o.status;
}

// Drains one controller: full batches are followed at once by another
// fetch. The entries are dispatched from the request record itself.
void drain(qorl_t *q, qor_aen_app_t app, qor_ioctl_aen_t *rec, unsigned gen)
{
	for (;;) {
		int count = 0;
		bool sent;
		qor_status_t st = send_fetch(q, rec, QOR_AEN_MAX_ENTRIES, app, &sent, &count);
		if (st == QOR_STATUS_OK && count >= 1)
			qorl_aen_handling(count * static_cast<int>(sizeof(qor_aen_entry_t)), rec->aen_list);
		if (!sent || count != QOR_AEN_MAX_ENTRIES || stop_requested(gen))
			return;
	}
}

} // namespace

extern "C" {

void *qorl_aen_thread_poll(void *arg);
void *qorl_aen_thread_query(void *arg);

void *qorl_aen_thread_poll(void *arg)
{
	const qor_aen_app_t app = qorl::application_id;
	const unsigned gen = reader_gen.load();
	tl_is_reader = true;
	auto *buf = static_cast<qor_ioctl_aen_t *>(malloc(kBatchBytes));
	if (!buf) {
		printf("%s:%d: malloc failed\n", __func__, __LINE__);
		return nullptr;
	}
	const int split = arg ? *static_cast<int *>(arg) : 0;
	const int wfd = wake_fd.load();

	while (!stop_requested(gen)) {
		qorl_aen_fd_list_t l;
		FD_ZERO(&l.fd);
		l.maxfd = 0;
		qorl_aen_fd_collect(&l);
		int maxfd = l.maxfd;
		if (wfd >= 0 && wfd < FD_SETSIZE) {
			FD_SET(wfd, &l.fd);
			if (wfd > maxfd)
				maxfd = wfd;
		}
		const int total = qorl_ioc_get_num();
		qorl_t *list = qorl_ioc_get_list();
		timeval tv{5, 0};
		int n = select(maxfd + 1, &l.fd, nullptr, nullptr, &tv);
		if (n < 0) {
			if (errno == EINTR)
				continue;
			printf("%s:%d: select failed: error %s\n", __func__, __LINE__, strerror(errno));
			pause_5s(wfd);
			continue;
		}
		if (n == 0)
			continue;
		if (wfd >= 0 && wfd < FD_SETSIZE && FD_ISSET(wfd, &l.fd))
			drain_wake(wfd);
		int i = 0;
		for (qorl_t *q = list; q && i < total && !stop_requested(gen); q = q->next, i++) {
			if (split && !qorl::is_fc_side(q->ioc_type))
				continue;
			if (q->fd < 0 || q->fd >= FD_SETSIZE || !FD_ISSET(q->fd, &l.fd))
				continue;
			drain(q, app, buf, gen);
		}
	}
	free(buf);
	return nullptr;
}

// For drivers without a descriptor to wait on: drains every controller each
// pass. Not started by qorl_aen_init.
void *qorl_aen_thread_query(void *arg)
{
	const qor_aen_app_t app = qorl::application_id;
	const unsigned gen = reader_gen.load();
	auto *buf = static_cast<qor_ioctl_aen_t *>(malloc(kBatchBytes));
	if (!buf) {
		printf("%s:%d: malloc failed\n", __func__, __LINE__);
		return nullptr;
	}
	const int split = arg ? *static_cast<int *>(arg) : 0;
	while (!stop_requested(gen)) {
		const int total = qorl_ioc_get_num();
		int i = 0;
		for (qorl_t *q = qorl_ioc_get_list(); q && i < total && !stop_requested(gen); q = q->next, i++) {
			if (split && qorl::is_fc_side(q->ioc_type))
				continue;
			drain(q, app, buf, gen);
		}
		pause_5s(wake_fd.load());
	}
	free(buf);
	return nullptr;
}

qor_status_t qorl_aen_init(void)
{
	if (qorl::application_id == qor_aen_app_mxt || reader_up.load())
		return QOR_STATUS_OK;
	pthread_once(&wake_once, make_wake_fd);
	eventThreadIdPoll = pthread_t{};
	eventThreadIdQuery = pthread_t{};
	pthread_attr_init(&eventThreadAttr);
	// Joinable, so that stopping can wait for the reader instead of sleeping.
	pthread_attr_setdetachstate(&eventThreadAttr, PTHREAD_CREATE_JOINABLE);
	pthread_attr_setinheritsched(&eventThreadAttr, PTHREAD_INHERIT_SCHED);
	pthread_attr_setscope(&eventThreadAttr, PTHREAD_SCOPE_SYSTEM);
	is_solaris = 0;
	cancelthread.store(0);
	int rc = pthread_create(&eventThreadIdPoll, &eventThreadAttr, qorl_aen_thread_poll, &is_solaris);
	if (rc != 0) {
		pthread_attr_destroy(&eventThreadAttr);
		return static_cast<qor_status_t>(rc);
	}
	pthread_setname_np(eventThreadIdPoll, "qorl-aen");
	reader_up.store(true);
	return QOR_STATUS_OK;
}

void qorl_aen_exit(void)
{
	if (!reader_up.load())
		return;
	cancelthread.store(1);
	reader_gen.fetch_add(1);
	reader_up.store(false);
	pthread_attr_destroy(&eventThreadAttr);
	if (tl_is_reader) {
		// Called from a callback: the reader ends when the callback returns.
		pthread_detach(pthread_self());
		return;
	}
	wake_reader();
	pthread_join(eventThreadIdPoll, nullptr);
	cancelthread.store(0);
}

qor_status_t qorl_aen_get_events(qorl_t *qorl, qor_aen_entry_t *entry, int *count, qor_aen_app_t app_id)
{
	if (!qorl || !entry || !count)
		return QOR_STATUS_EINVAL;
	const int n = *count > QOR_AEN_MAX_ENTRIES ? QOR_AEN_MAX_ENTRIES : *count;
	const size_t room = n > 0 ? static_cast<size_t>(n) : 0;
	auto rec = qorl::heap_record<qor_ioctl_aen_t>(room * sizeof(qor_aen_entry_t));
	if (!rec)
		return QOR_STATUS_ENOMEM;
	bool sent;
	int got = 0;
	qor_status_t st = send_fetch(qorl, rec.get(), n, app_id, &sent, &got);
	if (!sent)
		return st;
	*count = got;
	if (st == QOR_STATUS_OK && got > 0)
		std::memcpy(static_cast<void *>(entry), rec->aen_list, static_cast<size_t>(got) * sizeof(qor_aen_entry_t));
	return st;
}

void qorl_aen_handling(int readcnt, qor_aen_entry_t *entry)
{
	if (!entry || readcnt <= 0)
		return;
	const int n = readcnt / static_cast<int>(sizeof(qor_aen_entry_t));
	for (int i = 0; i < n; i++) {
		qor_aen_entry_t &e = entry[i];
		// Target-mode, IP-over-FC and unknown categories have no kind.
		if (const kind_entry *k = kind_of(e.aen_category))
			k->deliver(static_cast<uint16_t>(e.qord_num & 0xffff), &e.aen_data, e.aen_type, e.aen_tv);
	}
}

void qorl_aen_fd_collect(qorl_aen_fd_list_t *fd_list)
{
	for (const kind_entry &k : kKinds)
		k.collect(fd_list);
}

uint32_t qorl_snia_event_convert(uint32_t category, uint32_t event)
{
	struct row {
		uint32_t category, event, snia;
	};
	static constexpr row rows[] = {
		{QOR_AEN_CAT_ADAPTER, QOR_ADAPTER_AEN_ADD, 0x101},     // adapter add
		{QOR_AEN_CAT_ADAPTER, QOR_ADAPTER_AEN_REMOVE, 0x102},  // adapter remove
		{QOR_AEN_CAT_LPORT, QOR_LPORT_AEN_ONLINE, 0x202},      // port online
		{QOR_AEN_CAT_LPORT, QOR_LPORT_AEN_OFFLINE, 0x201},     // port offline
		{QOR_AEN_CAT_ITNIM, QOR_ITNIM_AEN_ONLINE, 0x402},      // target online
		{QOR_AEN_CAT_ITNIM, QOR_ITNIM_AEN_OFFLINE, 0x401},     // target offline
		{QOR_AEN_CAT_ITNIM, QOR_ITNIM_AEN_DISCONNECT, 0x403},  // target removed
	};
	for (const auto &r : rows)
		if (r.category == category && r.event == event)
			return r.snia;
	return 0;
}

// ---- the kinds' entry points ----------------------------------------------------------

qor_status_t qorl_adapter_aen_register(qorl_adapter_t *adapter, qorl_adapter_aen_cbfn_t cbfn, void *user_data,
				       qorl_adapter_aen_cbhandle_t **cbhandle, uint32_t flag)
{
	using F = family<adapter_kind>;
	if (!cbfn || !cbhandle)
		return QOR_STATUS_EINVAL;
	auto *h = F::alloc();
	if (!h)
		return QOR_STATUS_ENOMEM;
	h->userData = user_data;
	h->cbfn = cbfn;
	h->flags = flag;
	h->fd = -1;
	if (adapter) {
		qorl::copy_text(h->data.serial_num, adapter->serial_num);
		if (qorl_t *c = qorl_adapter_get_first_ioc(adapter)) {
			h->pwwn = c->pwwn;
			h->fd = qorl_get_unix_fd(c);
		}
	}
	return F::add(h, cbhandle);
}

qor_status_t qorl_adapter_aen_unregister(qorl_adapter_aen_cbhandle_t *cbhandle)
{
	return family<adapter_kind>::remove(cbhandle);
}

void qorl_adapter_fd_collect(qorl_aen_fd_list_t *fd_list)
{
	family<adapter_kind>::collect(fd_list);
}

qor_status_t qorl_adapter_event(qor_adapter_aen_data_t *data, qor_adapter_aen_event_t eventType, qor_timeval_t tv)
{
	return engine_event<adapter_kind>(0, data, eventType, tv);
}

qor_status_t qorl_ioc_aen_register(qorl_t *qorl, qorl_ioc_aen_cbfn_t cbfn, void *user_data,
				   qorl_ioc_aen_cbhandle_t **cbhandle)
{
	return register_kind<ioc_kind>(qorl, cbfn, user_data, 0, cbhandle, [](auto &) { return true; });
}

QORL_AEN_KIND_ENTRY_POINTS(ioc)

qor_status_t qorl_port_aen_register(qorl_t *qorl, qorl_port_aen_cbfn_t cbfn, void *user_data,
				    qor_port_aen_data_t *data, qorl_port_aen_cbhandle_t **cbhandle)
{
	return register_kind<port_kind>(qorl, cbfn, user_data, 0, cbhandle,
					[&](auto &h) { return key_port(h, qorl, data); });
}

QORL_AEN_KIND_ENTRY_POINTS(port)

qor_status_t qorl_lport_aen_register(qorl_t *qorl, qorl_lport_aen_cbfn_t cbfn, void *user_data,
				     qor_lport_aen_data_t *data, qorl_lport_aen_cbhandle_t **cbhandle, uint32_t flag)
{
	return register_kind<lport_kind>(qorl, cbfn, user_data, flag, cbhandle,
					 key_fields(data, &qor_lport_aen_data_t::lpwwn));
}

QORL_AEN_KIND_ENTRY_POINTS(lport)

qor_status_t qorl_rport_aen_register(qorl_t *qorl, qorl_rport_aen_cbfn_t cbfn, void *user_data,
				     qor_rport_aen_data_t *data, qorl_rport_aen_cbhandle_t **cbhandle)
{
	return register_kind<rport_kind>(qorl, cbfn, user_data, 0, cbhandle,
					 key_fields(data, &qor_rport_aen_data_t::lpwwn));
}

QORL_AEN_KIND_ENTRY_POINTS(rport)

qor_status_t qorl_itnim_aen_register(qorl_t *qorl, qorl_itnim_aen_cbfn_t cbfn, void *user_data,
				     qor_itnim_aen_data_t *data, qorl_itnim_aen_cbhandle_t **cbhandle, uint32_t flag)
{
	return register_kind<itnim_kind>(qorl, cbfn, user_data, flag, cbhandle,
					 key_fields(data, &qor_itnim_aen_data_t::lpwwn, &qor_itnim_aen_data_t::rpwwn));
}

QORL_AEN_KIND_ENTRY_POINTS(itnim)

qor_status_t qorl_ethport_aen_register(qorl_t *qorl, qorl_ethport_aen_cbfn_t cbfn, void *user_data,
				       qor_ethport_aen_data_t *data, qorl_ethport_aen_cbhandle_t **cbhandle)
{
	return register_kind<ethport_kind>(qorl, cbfn, user_data, 0, cbhandle,
					   [&](auto &h) { return key_ethport(h, qorl, data); });
}

QORL_AEN_KIND_ENTRY_POINTS(ethport)

} // extern "C"

namespace qorl::aen {

void wake_reader()
{
	int fd = wake_fd.load();
	if (fd < 0)
		return;
	uint64_t one = 1;
	ssize_t r = write(fd, &one, sizeof one);
	(void)r;
}

} // namespace qorl::aen
