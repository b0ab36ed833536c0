// Library-internal declarations: the request executor, the generic lists,
// library-wide state. Nothing here is exported.
#pragma once

#include <cstring>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <type_traits>

#include "qor/ioctl/qor_requests.hpp"
#include "qorl.h"
#include "qorl_config.h"
#include "qorl_stats.h"

extern "C" {
// Generic list operations over controller (e_ic) and adapter (e_ad) lists.
void list_append(void *head, void *node, ad_ioc e_type);
void *find(void *head, int id, ad_ioc e_type);
void list_free(void *head, ad_ioc e_type);
}

namespace qorl {

// The application identity under which the drivers queue our events.
extern qor_aen_app_t application_id;

// The library's message line to standard error, for input that the caller
// cannot be told about through a result (a line of the configuration file
// that could not be read). One line per call; a newline is added.
void report(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

inline bool is_fc_side(int ioc_type)
{
	return ioc_type == QOR_IOC_TYPE_FC || ioc_type == QOR_IOC_TYPE_FCoE;
}

// Reading a record's instance and status through whatever header it has.
template <class Rec> inline void stamp(Rec &rec, const qorl_t *q)
{
	if constexpr (requires { rec.qord_num; })
		rec.qord_num = static_cast<decltype(rec.qord_num)>(q->instance & 0xffff);
}
template <class Rec> inline qor_status_t driver_status(const Rec &rec)
{
	if constexpr (requires { rec.status; })
		return static_cast<qor_status_t>(rec.status);
	else
		return QOR_STATUS_OK;
}

// The list's descriptors; req::X names request X by its code.
namespace req = qor::req;
template <uint32_t Code> using request = qor::request<Code>;

// Whether request Code is for the controller's side. Operations that send
// something else first ask this, so the other side sees nothing at all.
template <uint32_t Code> inline bool serves(const qorl_t *q)
{
	return is_fc_side(q->ioc_type) ? qor::serves_fc(request<Code>::side) : qor::serves_eth(request<Code>::side);
}

// Result of one request: the channel's failure, or the driver's status.
struct outcome {
	qor_status_t status;
	bool sent; // the request reached the driver; its reply is in the record
};

// How a request travels: qorl_ioctl, or qorl_ioctl_nomask, which hands the
// record back whatever the result.
enum class channel { ioctl, nomask };

// The executor: refuses a request of the other side with QOR_STATUS_FAILED
// before anything is sent, stamps the instance, sends, maps the result. The
// record must be the request's own; checked at compile time.
template <uint32_t Code, channel Ch = channel::ioctl, class Rec> inline outcome exec(qorl_t *q, Rec &rec)
{
	static_assert(std::is_same_v<Rec, typename request<Code>::record>, "not the record of this request");
	static_assert(Ch == channel::ioctl || sizeof(Rec) <= sizeof(qorl_ioctl_t), "record larger than the scratch union");
	if (!serves<Code>(q))
		return {QOR_STATUS_FAILED, false};
	stamp(rec, q);
	qor_status_t ch = Ch == channel::nomask
				  ? qorl_ioctl_nomask(q, Code, &rec, (int)sizeof(Rec))
				  : qorl_ioctl(q, Code, reinterpret_cast<qorl_args_t *>(&rec), 0, 0, 0);
	if (ch != QOR_STATUS_OK)
		return {ch, false};
	return {driver_status(rec), true};
}

// Request without body: the 8-byte header only.
template <uint32_t Code> inline qor_status_t exec_gen(qorl_t *q)
{
	qor_ioctl_gen_t rec{};
	return exec<Code>(q, rec).status;
}

// A setting: sent, and recorded (persist()) only once the driver accepted it.
template <uint32_t Code, class Rec, class Persist> inline qor_status_t apply(qorl_t *q, Rec &rec, Persist persist)
{
	outcome o = exec<Code>(q, rec);
	if (o.sent && o.status == QOR_STATUS_OK)
		persist();
	return o.status;
}

// Enabling or disabling a port, FC or FCoE: the port's enable setting is
// recorded once the driver accepted the request.
template <uint32_t Code> inline qor_status_t switch_port(qorl_t *q, qor_boolean_t enable)
{
	qor_ioctl_gen_t rec{};
	return apply<Code>(q, rec, [&] { qorl_config_enable(q, enable); });
}

// The port's attributes for a frame sent from its address:
// QOR_STATUS_PORT_OFFLINE while it has none.
qor_status_t port_address(qorl_t *q, qor_port_attr_t &attr);

// When a reading operation hands the reply on to its caller.
enum class copy_when { sent, ok };

// The one copy-out rule: send, then hand the reply on (take()) when the rule says so.
template <uint32_t Code, channel Ch = channel::ioctl, class Rec, class Take>
inline qor_status_t reply(qorl_t *q, Rec &rec, copy_when when, Take take)
{
	outcome o = exec<Code, Ch>(q, rec);
	if (o.sent && (when == copy_when::sent || o.status == QOR_STATUS_OK))
		take();
	return o.status;
}

// Reply body `body` (a part of rec) copied to the caller's `out`, if given.
template <uint32_t Code, channel Ch = channel::ioctl, class Rec, class Body>
inline qor_status_t query(qorl_t *q, Rec &rec, const Body &body, Body *out, copy_when when)
{
	return reply<Code, Ch>(q, rec, when, [&] {
		if (out)
			std::memcpy(static_cast<void *>(out), &body, sizeof(Body));
	});
}

// An optional scalar out-parameter.
template <class T> inline void put(T *out, T v)
{
	if (out)
		*out = v;
}

// Statistics reply `body`, a record of counters, as name/value pairs:
// 32-bit counters to qorl_stats_t, 64-bit ones to qorl_stats_long_t; only
// when the driver agreed. Never more pairs than the record has counters.
template <uint32_t Code, class Rec, class Body, class Pair>
inline qor_status_t pairs(qorl_t *q, Rec &rec, const Body &body, Pair *out, const char *const *names, int n)
{
	using counter = std::conditional_t<std::is_same_v<Pair, qorl_stats_t>, uint32_t, uint64_t>;
	static_assert(std::is_same_v<Pair, qorl_stats_t> || std::is_same_v<Pair, qorl_stats_long_t>);
	static_assert(sizeof(Body) % sizeof(counter) == 0, "not a record of counters");
	constexpr int room = (int)(sizeof(Body) / sizeof(counter));
	return reply<Code>(q, rec, copy_when::ok, [&] {
		if (!out)
			return;
		const auto *c = reinterpret_cast<const counter *>(&body);
		if constexpr (std::is_same_v<counter, uint32_t>)
			qorl_stats_to_nv_pair(c, out, names, n < room ? n : room);
		else
			qorl_stats_long_to_nv_pair(c, out, names, n < room ? n : room);
	});
}

// Frees a chain of malloc'd records linked through their `next`.
template <class T> inline void free_chain(T *n)
{
	while (n) {
		T *next = n->next;
		std::free(n);
		n = next;
	}
}

// Heap block owned for the length of one call.
struct free_deleter {
	void operator()(void *p) const { std::free(p); }
};
template <class T> using heap_ptr = std::unique_ptr<T, free_deleter>;
template <class T> inline heap_ptr<T> heap_alloc(size_t bytes)
{
	return heap_ptr<T>(static_cast<T *>(std::calloc(1, bytes)));
}
// A cleared request record with `trailing` bytes of room after it.
template <class Rec> inline heap_ptr<Rec> heap_record(size_t trailing = 0)
{
	return heap_alloc<Rec>(sizeof(Rec) + trailing);
}

// Bounded, always-terminated copy of a driver text field (at most its
// first m bytes) into a record field, the rest of which is cleared.
template <size_t N> inline void copy_text(char (&dst)[N], const char *src, size_t m)
{
	size_t n = strnlen(src, m);
	if (n > N - 1)
		n = N - 1;
	std::memcpy(dst, src, n);
	std::memset(dst + n, 0, N - n);
}
template <size_t N, size_t M> inline void copy_text(char (&dst)[N], const char (&src)[M])
{
	copy_text(dst, src, M);
}

// Copies a caller's NUL-terminated text into a fixed field; false when it does not fit.
template <size_t N> inline bool put_text(char (&dst)[N], const char *src)
{
	if (!src)
		return false;
	size_t n = strnlen(src, N);
	if (n >= N)
		return false;
	std::memcpy(dst, src, n);
	std::memset(dst + n, 0, N - n);
	return true;
}

inline bool mac_equal(const mac_t &a, const mac_t &b)
{
	return std::memcmp(a.mac, b.mac, sizeof a.mac) == 0;
}

} // namespace qorl
