// Event queue requests: fetch a controller's queued events for one
// application, and the application announcement of a descriptor.
#include "sim.h"

#include <cerrno>
#include <cstring>

namespace qorsim {
namespace {

constexpr size_t kAenHeader = offsetof(qor_ioctl_aen_t, aen_list);

int h_aen_get(Req &r)
{
	auto &v = r.as<qor_ioctl_aen_t>();
	if (v.aen_count < 0)
		return EINVAL;
	if (v.app_id >= static_cast<uint32_t>(kApps)) {
		v.status = QOR_STATUS_EINVAL;
		v.aen_count = 0;
		return 0;
	}
	end_overflow(*r.fn, static_cast<int>(v.app_id));
	auto &q = r.fn->aen[v.app_id];
	size_t n = q.size() < static_cast<size_t>(v.aen_count) ? q.size() : static_cast<size_t>(v.aen_count);
	// Entries past the first lie beyond the declared record: write them
	// before dequeuing so a bad buffer loses no event.
	if (n > 1) {
		std::vector<qor_aen_entry_t> rest(q.begin() + 1, q.begin() + static_cast<std::ptrdiff_t>(n));
		if (int e = copy_to_user(r.user + kAenHeader + sizeof(qor_aen_entry_t),
					 rest.data(), rest.size() * sizeof(qor_aen_entry_t)))
			return e;
	}
	if (n > 0)
		v.aen_list[0] = q.front();
	q.erase(q.begin(), q.begin() + static_cast<std::ptrdiff_t>(n));
	r.m.drv[r.drv].queued[v.app_id] -= n;
	v.aen_count = static_cast<int32_t>(n);
	v.status = QOR_STATUS_OK;
	return 0;
}

// Events are queued per application; a descriptor becomes readable for
// the application it announced.
int h_app_register(Req &r)
{
	const uint32_t app = r.as<qor_ioctl_aen_t>().app_id;
	if (app >= static_cast<uint32_t>(kApps))
		return reply(r, QOR_STATUS_EINVAL);
	fd_set_app(r.fd, static_cast<int>(app));
	return reply(r, QOR_STATUS_OK);
}

} // namespace
} // namespace qorsim

using namespace qorsim;

// clang-format off
QORSIM_HANDLER(AEN_GET,          h_aen_get);
QORSIM_HANDLER(AEN_APP_REGISTER, h_app_register);
// clang-format on
