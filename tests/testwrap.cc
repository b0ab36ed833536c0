// The suites' ioctl: straight to the emulator, unless a suite has set
// qt::ioctl_wrap to see or change what the drivers answer.
#include <sys/ioctl.h>

#include <cstdarg>

#include "testutil.h"

namespace qt {
std::function<int(int, unsigned long, void *, ioctl_fn *)> ioctl_wrap;
}

extern "C" int ioctl(int fd, unsigned long request, ...)
{
	va_list ap;
	va_start(ap, request);
	void *arg = va_arg(ap, void *);
	va_end(ap);
	static auto next = qt::next_fn<qt::ioctl_fn>("ioctl");
	return qt::ioctl_wrap ? qt::ioctl_wrap(fd, request, arg, next) : next(fd, request, arg);
}
