// What the SNIA layer's two modules share: the load state, the adapter
// count the handles run to, and the subscriptions made for SNIA callers.
#pragma once

#include <atomic>
#include <cstdint>

#include "qorl_snia.h"

namespace qorl::snia {

// Adapters seen by the last successful scan (the handles run 1..totalnum).
extern std::atomic<uint32_t> totalnum;

// Whether a SNIA or CPQFC load holds the library: handles mean something.
bool loaded();

// A call through an entry point: it cannot overlap the first load's
// initialisation or the last free's teardown, and it answers `refused`
// when no load holds the library.
void call_begin();
void call_end();
template <class R, class F> R guarded(R refused, F &&f)
{
	call_begin();
	R r = loaded() ? f() : refused;
	call_end();
	return r;
}
template <class F> void guarded(F &&f)
{
	call_begin();
	if (loaded())
		f();
	call_end();
}

// CPQFC's load: initialises the library unless a load holds it already,
// and (then only) rescans.
void cpqfc_load();

// The kinds of subscription a SNIA caller can hold.
enum class sub_kind : uint8_t { adapter, lport, itnim };

// Remembers a subscription made for a SNIA caller, so that the last free
// removes it; false (nothing kept) when no load holds the library or
// memory is short.
bool track(void *h, sub_kind k);
// Forgets it, telling its kind; false when it is not known.
bool untrack(void *h, sub_kind *k);
// Takes it off its kind's list (waits for its running calls unless called
// from inside a callback).
qor_status_t unsubscribe(void *h, sub_kind k);

} // namespace qorl::snia
