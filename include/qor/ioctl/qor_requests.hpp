// The request list seen from C++: one descriptor per line of
// qor_requests.def, found by the request's code. The library's executor
// and the emulator's handler registration both read it, so a request's
// record, side and effect are stated once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "qor_ioctl_all.h"

namespace qor {

// Which drivers a request is for: bit 0 the FC driver, bit 1 the Ethernet driver.
enum class side : uint8_t { FC = 1, ETH = 2, BOTH = 3 };

// What a request addresses: the controller its record names, or the driver.
enum class target : uint8_t { CTL, DRV };

struct request_info {
	uint32_t code;
	uint8_t type;
	uint8_t nr;
	uint16_t size;
	qor::side side;
	qor::target target;
	bool mutates;      // changes the driver's state
	const char *name;  // as in QOR_IOCTL_<name>
	const char *label; // the emulator's word for it
};

namespace detail {
constexpr bool mutates_GET = false, mutates_SET = true;
}

// Every request, in list order.
inline constexpr request_info requests[] = {
#define QOR_REQUEST(name, type, nr, rec, side_, target_, effect, code, label) \
	{QOR_IOCTL_##name, type, nr, sizeof(rec), side::side_, target::target_, detail::mutates_##effect, #name, label},
#include "qor_requests.def"
#undef QOR_REQUEST
};

constexpr bool serves_fc(side s) { return static_cast<uint8_t>(s) & 1u; }
constexpr bool serves_eth(side s) { return static_cast<uint8_t>(s) & 2u; }

namespace detail {
// Past the end (a build error) for a code not in the list.
constexpr size_t index_of(uint32_t code)
{
	size_t i = 0;
	while (requests[i].code != code)
		++i;
	return i;
}

constexpr bool codes_unique()
{
	for (size_t i = 0; i < std::size(requests); i++)
		for (size_t j = i + 1; j < std::size(requests); j++)
			if (requests[i].code == requests[j].code ||
			    (requests[i].type == requests[j].type && requests[i].nr == requests[j].nr))
				return false;
	return true;
}
static_assert(codes_unique(), "two lines of the request list name the same request");

template <uint32_t Code, class Rec> struct request_base {
	using record = Rec;
	static constexpr const request_info &info = requests[index_of(Code)];
	static constexpr uint32_t code = Code;
	static constexpr qor::side side = info.side;
	static constexpr qor::target target = info.target;
	static constexpr bool mutates = info.mutates;
	static constexpr const char *label = info.label;
};
} // namespace detail

// The descriptor of one request; there is one for each code of the list.
template <uint32_t Code> struct request;
#define QOR_REQUEST(name, type, nr, rec, ...) \
	template <> struct request<QOR_IOCTL_##name> : detail::request_base<QOR_IOCTL_##name, rec> {};
#include "qor_requests.def"
#undef QOR_REQUEST

// Requests by name: req::IOC_GET_ATTR is the code whose descriptor is
// request<req::IOC_GET_ATTR>.
namespace req {
#define QOR_REQUEST(name, ...) constexpr uint32_t name = QOR_IOCTL_##name;
#include "qor_requests.def"
#undef QOR_REQUEST
} // namespace req

} // namespace qor
