// The subscription family: one list, registration, unregistration,
// descriptor collection and delivery, parameterised by a kind's traits
// (handle type, list head, mutex, match rules, callback form). Every kind
// of qorl_aen.h and qorl_audit.h is an instance of this; the kinds
// themselves are listed once, in defs/qor_defs_aen_names.h.
#pragma once

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <pthread.h>

#include "defs/qor_defs_aen_names.h"
#include "qorl_aen.h"
#include "qorl_audit.h"
#include "qorl_int.h"
#include "qorl_ioc.h"

namespace qorl::aen {

// A kind's handle, record and event code types, named after its kind word.
template <uint32_t Cat> struct kind_types;
#define QORL_AEN_KIND_TYPES_(k, cat, last)                 \
	template <> struct kind_types<cat> {               \
		using handle_t = qorl_##k##_aen_cbhandle_t; \
		using data_t = qor_##k##_aen_data_t;        \
		using event_t = qor_##k##_aen_event_t;      \
	};
QOR_AEN_KINDS(QORL_AEN_KIND_TYPES_)
#undef QORL_AEN_KIND_TYPES_

// What every kind's traits start with: its types, category, list head and
// mutex. A kind adds its match rules and may hide the two defaults.
template <uint32_t Cat, pthread_mutex_t &Mutex, typename kind_types<Cat>::handle_t *&Head>
struct kind_base : kind_types<Cat> {
	static constexpr uint32_t category = Cat;
	static constexpr bool warn_unknown = true;     // unregistering an unknown handle says so
	static constexpr bool direct_empty_ok = false; // direct delivery to an empty list answers OK
	static constexpr pthread_mutex_t &mutex = Mutex;
	static constexpr typename kind_types<Cat>::handle_t *&head = Head;
};

// Makes the reader re-collect its descriptors now (qorl_aen.cc).
void wake_reader();

// Whether this thread is inside a callback: an unregistration made there
// does not wait for running calls.
void callback_enter();
void callback_leave();
bool in_callback();

// A handle and the bookkeeping that closes the race between delivery and
// unregistration. The caller's handle pointer is the node's address.
template <class H> struct node {
	H pub;
	std::atomic<int> refs{1};        // the list's reference, plus pins
	std::atomic<int> running{0};     // callbacks in progress
	std::atomic<bool> removed{false};
};

// The handles one delivery will call, pinned; small deliveries stay on the stack.
template <class H> class pin_set {
public:
	pin_set() = default;
	pin_set(const pin_set &) = delete;
	pin_set &operator=(const pin_set &) = delete;
	~pin_set()
	{
		if (v_ != inline_)
			std::free(v_);
	}
	bool push(H *h)
	{
		if (n_ == cap_) {
			size_t cap = cap_ * 2;
			H **p = static_cast<H **>(std::malloc(cap * sizeof(H *)));
			if (!p)
				return false;
			for (size_t i = 0; i < n_; i++)
				p[i] = v_[i];
			if (v_ != inline_)
				std::free(v_);
			v_ = p;
			cap_ = cap;
		}
		v_[n_++] = h;
		return true;
	}
	size_t size() const { return n_; }
	H *operator[](size_t i) const { return v_[i]; }

private:
	H *inline_[16];
	H **v_ = inline_;
	size_t n_ = 0, cap_ = 16;
};

// K is a kind_base with its match rules.
template <class K> struct family {
	using H = typename K::handle_t;
	using N = node<H>;

	static N *node_of(H *h) { return reinterpret_cast<N *>(h); }

	// A zero-filled handle, or null when memory is short.
	static H *alloc()
	{
		void *p = std::calloc(1, sizeof(N));
		if (!p)
			return nullptr;
		return &(new (p) N)->pub;
	}
	static void unref(N *n)
	{
		if (n->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
			n->~N();
			std::free(n);
		}
	}
	static void discard(H *h) { unref(node_of(h)); }

	// Newest first; the handle is visible to the caller before any delivery.
	static qor_status_t add(H *h, H **out)
	{
		qorl_get_mutex_lock(&K::mutex);
		h->next = K::head;
		K::head = h;
		*out = h;
		qorl_release_mutex_lock(&K::mutex);
		if (h->fd >= 0)
			wake_reader();
		return QOR_STATUS_OK;
	}

	static qor_status_t remove(H *h)
	{
		qorl_get_mutex_lock(&K::mutex);
		H **link = &K::head;
		while (*link && *link != h)
			link = &(*link)->next;
		if (!*link) {
			if constexpr (K::warn_unknown)
				printf("Event callback not registered for handle: %p\n", static_cast<void *>(h));
			qorl_release_mutex_lock(&K::mutex);
			return QOR_STATUS_FAILED;
		}
		*link = h->next;
		N *n = node_of(h);
		n->removed.store(true);
		qorl_release_mutex_lock(&K::mutex);

		// From outside callbacks a call that already started finishes before
		// we return. Inside a callback removal only stops new calls: waiting
		// there could wait for a callback that waits for ours (two callbacks
		// removing each other), or for our own call.
		if (!in_callback())
			for (int v = n->running.load(); v > 0; v = n->running.load())
				n->running.wait(v);
		unref(n);
		return QOR_STATUS_OK;
	}

	static void collect(qorl_aen_fd_list_t *l)
	{
		if (!l)
			return;
		qorl_get_mutex_lock(&K::mutex);
		for (H *h = K::head; h; h = h->next) {
			if (h->fd < 0 || h->fd >= FD_SETSIZE)
				continue;
			FD_SET(h->fd, &l->fd);
			if (h->fd > l->maxfd)
				l->maxfd = h->fd;
		}
		qorl_release_mutex_lock(&K::mutex);
	}

	// Calls `call(handle)` for every handle that `match` picks, newest first,
	// each at most once, with no lock held. The set is fixed when the event
	// arrives; a handle removed meanwhile is skipped. `call` returning false
	// ends the delivery (the rest are not called) and makes it fail.
	// Returns false when the list was empty.
	template <class Match, class Call> static bool deliver(Match &&match, Call &&call, bool *stopped = nullptr)
	{
		pin_set<H> set;
		qorl_get_mutex_lock(&K::mutex);
		const bool empty = K::head == nullptr;
		for (H *h = K::head; h; h = h->next) {
			if (!match(*h))
				continue;
			if (!set.push(h))
				break;
			node_of(h)->refs.fetch_add(1, std::memory_order_relaxed);
		}
		qorl_release_mutex_lock(&K::mutex);

		bool go = true;
		for (size_t i = 0; i < set.size(); i++) {
			H *h = set[i];
			N *n = node_of(h);
			if (go && !n->removed.load(std::memory_order_acquire)) {
				// Pairs with remove(): either it sees us running, or we see it removed.
				n->running.fetch_add(1);
				if (!n->removed.load()) {
					callback_enter();
					go = call(*h);
					callback_leave();
				}
				n->running.fetch_sub(1);
				if (n->removed.load())
					n->running.notify_all();
			}
			unref(n);
		}
		if (stopped)
			*stopped = !go;
		return !empty;
	}
};

// Common fields of the controller kinds: user data, callback, controller,
// its descriptor and instance (-1 and -1 without one), flags.
template <class H, class Fn> inline void bind(H *h, qorl_t *q, Fn cbfn, void *user_data, uint32_t flags)
{
	h->userData = user_data;
	h->cbfn = cbfn;
	h->qorl = q;
	h->flags = flags;
	h->fd = q ? qorl_get_unix_fd(q) : -1;
	h->inst = q ? static_cast<int16_t>(q->instance) : static_cast<int16_t>(-1);
}

// The handle's instance widened with sign, the event's without: handles
// without a controller never match an event.
inline bool same_inst(int16_t handle_inst, uint16_t event_inst)
{
	return static_cast<int>(handle_inst) == static_cast<int>(event_inst);
}

inline bool same_pwwn(const qorl_t *a, qorl_t *b)
{
	return a && qorl_ioc_get_pwwn(const_cast<qorl_t *>(a)) == qorl_ioc_get_pwwn(b);
}

// The callback of one subscriber: SNIA form when asked for and the kind
// has one, else the native form with a private copy of the record, so one
// subscriber cannot change what the next one sees.
template <class K, class H, class D>
inline bool call_kind(const H &h, uint16_t inst, const D *d, int ev, qor_timeval_t tv, uint32_t snia)
{
	if constexpr (requires { K::call_snia(h, inst, *d, snia); })
		if (h.flags & QORL_AEN_FLAG_SNIA)
			return K::call_snia(h, inst, *d, snia);
	D copy = *d;
	h.cbfn(h.userData, static_cast<typename K::event_t>(ev), &copy, tv);
	return true;
}

// Delivery of one fetched event. FAILED only when a kind's call gave up.
template <class K> qor_status_t engine_event(uint16_t inst, typename K::data_t *d, int ev, qor_timeval_t tv)
{
	using H = typename K::handle_t;
	if (!d)
		return QOR_STATUS_OK;
	const uint32_t snia = qorl_snia_event_convert(K::category, static_cast<uint32_t>(ev));
	bool stopped = false;
	family<K>::deliver([&](const H &h) { return K::engine_match(h, inst, *d, ev); },
			   [&](const H &h) { return call_kind<K>(h, inst, d, ev, tv, snia); }, &stopped);
	return stopped ? QOR_STATUS_FAILED : QOR_STATUS_OK;
}

// Direct delivery for a controller: every matching subscriber, in the form
// it asked for, as the reader would call it.
template <class K> qor_status_t direct_event(qorl_t *q, typename K::data_t *d, int ev, qor_timeval_t tv)
{
	using H = typename K::handle_t;
	if (!q || !d)
		return QOR_STATUS_FAILED;
	const uint32_t snia = qorl_snia_event_convert(K::category, static_cast<uint32_t>(ev));
	const auto inst = static_cast<uint16_t>(q->instance & 0xffff);
	bool any = family<K>::deliver([&](const H &h) { return h.qorl && K::direct_match(h, q, *d, ev); },
				      [&](const H &h) { return call_kind<K>(h, inst, d, ev, tv, snia); });
	return any || K::direct_empty_ok ? QOR_STATUS_OK : QOR_STATUS_FAILED;
}

// A registration key of the named fields of the caller's record; refused
// without a record.
template <class D, class... M> auto key_fields(const D *data, M D::*...field)
{
	return [=](auto &h) {
		if (!data)
			return false;
		((h.data.*field = data->*field), ...);
		return true;
	};
}

// Registration of a controller kind; `key` stores the kind's key and
// refuses (false) when it cannot be formed.
template <class K, class Fn, class Key>
qor_status_t register_kind(qorl_t *q, Fn cbfn, void *user_data, uint32_t flags, typename K::handle_t **out,
			   Key &&key)
{
	if (!cbfn || !out)
		return QOR_STATUS_EINVAL;
	auto *h = family<K>::alloc();
	if (!h)
		return QOR_STATUS_ENOMEM;
	bind(h, q, cbfn, user_data, flags);
	if (!key(*h)) {
		family<K>::discard(h);
		return QOR_STATUS_EINVAL;
	}
	return family<K>::add(h, out);
}

} // namespace qorl::aen

// The four entry points of every kind but the adapter, alike but for their
// types: unregister, descriptor collection, engine and direct delivery.
#define QORL_AEN_KIND_ENTRY_POINTS(k)                                                                    \
	qor_status_t qorl_##k##_aen_unregister(qorl_##k##_aen_cbhandle_t *cbhandle)                        \
	{                                                                                                  \
		return qorl::aen::family<k##_kind>::remove(cbhandle);                                      \
	}                                                                                                  \
	void qorl_##k##_fd_collect(qorl_aen_fd_list_t *fd_list)                                            \
	{                                                                                                  \
		qorl::aen::family<k##_kind>::collect(fd_list);                                             \
	}                                                                                                  \
	qor_status_t qorl_##k##_event(uint16_t inst, qor_##k##_aen_data_t *data,                           \
				      qor_##k##_aen_event_t eventType, qor_timeval_t tv)                   \
	{                                                                                                  \
		return qorl::aen::engine_event<k##_kind>(inst, data, eventType, tv);                       \
	}                                                                                                  \
	qor_status_t qorl_##k##_windows_event(qorl_t *qorl, qor_##k##_aen_data_t *data,                    \
					      qor_##k##_aen_event_t eventType, qor_timeval_t tv)           \
	{                                                                                                  \
		return qorl::aen::direct_event<k##_kind>(qorl, data, eventType, tv);                       \
	}
