// Library-internal declarations: the request executor, the generic lists,
// library-wide state. Nothing here is exported.
#pragma once

#include <cstring>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "qorl.h"

extern "C" {
// Generic list operations over controller (e_ic) and adapter (e_ad) lists.
void list_append(void *head, void *node, ad_ioc e_type);
void *find(void *head, int id, ad_ioc e_type);
void list_free(void *head, ad_ioc e_type);
}

namespace qorl {

// The application identity under which the drivers queue our events.
extern qor_aen_app_t application_id;

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

// Result of one request: the channel's failure, or the driver's status.
struct outcome {
	qor_status_t status;
	bool sent; // the request reached the driver; its reply is in the record
};

// The executor: stamps the instance, sends through the channel (or, with
// Nomask, through qorl_ioctl_nomask, which hands the record back whatever
// the result), maps the result. Code and record must agree in size; checked
// at compile time.
template <uint32_t Code, bool Nomask = false, class Rec> inline outcome exec(qorl_t *q, Rec &rec)
{
	static_assert(QOR_IOCTL_SIZE(Code) == sizeof(Rec), "request code and record disagree");
	static_assert(!Nomask || sizeof(Rec) <= sizeof(qorl_ioctl_t), "record larger than the scratch union");
	stamp(rec, q);
	qor_status_t ch = Nomask ? qorl_ioctl_nomask(q, Code, &rec, (int)sizeof(Rec))
				 : qorl_ioctl(q, Code, reinterpret_cast<qorl_args_t *>(&rec), 0, 0, 0);
	if (ch != QOR_STATUS_OK)
		return {ch, false};
	return {driver_status(rec), true};
}

template <uint32_t Code, class Rec> inline outcome exec_nomask(qorl_t *q, Rec &rec)
{
	return exec<Code, true>(q, rec);
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

// When a reading operation hands the reply body to its caller.
enum class copy_when { sent, ok };

// The one copy-out rule: send, then copy `body` to `out` when the rule says so.
template <uint32_t Code, class Rec, class Body>
inline qor_status_t query(qorl_t *q, Rec &rec, const Body &body, Body *out, copy_when when)
{
	outcome o = exec<Code>(q, rec);
	if (out && o.sent && (when == copy_when::sent || o.status == QOR_STATUS_OK))
		std::memcpy(static_cast<void *>(out), &body, sizeof(Body));
	return o.status;
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

// Bounded, always-terminated copy of a driver text field into a record field.
template <size_t N, size_t M> inline void copy_text(char (&dst)[N], const char (&src)[M])
{
	size_t n = strnlen(src, M);
	if (n > N - 1)
		n = N - 1;
	std::memcpy(dst, src, n);
	std::memset(dst + n, 0, N - n);
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
