// Boot image packages from files, and the boot flash update of one adapter.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "qorl_boot.h"
#include "qorl_flash_int.h"
#include "qorl_int.h"

namespace qorl::flash {
namespace {

// The whole file in one heap block. A package is read once, in memory: an
// outer archive is unwrapped there, never through a file of its own.
qor_status_t read_package_file(const char *path, heap_ptr<uint8_t> &out, size_t &size)
{
	if (!path)
		return QOR_STATUS_FAILED;
	int fd = open(path, O_RDONLY | O_CLOEXEC);
	if (fd < 0)
		return QOR_STATUS_FAILED;
	// One byte beyond the limit tells a package that is too large.
	constexpr size_t limit = QORL_BOOT_PKG_MAX_SIZE + 1;
	size_t cap = 0;
	size = 0;
	qor_status_t st = QOR_STATUS_OK;
	for (;;) {
		if (size == cap) {
			if (cap == limit) {
				st = QOR_STATUS_BAD_FILE;
				break;
			}
			size_t ncap = std::min(limit, cap ? cap * 2 : size_t{1} << 16);
			auto *p = static_cast<uint8_t *>(std::realloc(out.get(), ncap));
			if (!p) {
				st = QOR_STATUS_ENOMEM;
				break;
			}
			(void)out.release();
			out.reset(p);
			cap = ncap;
		}
		ssize_t n = read(fd, out.get() + size, cap - size);
		if (n < 0 && errno == EINTR)
			continue;
		if (n < 0) {
			st = QOR_STATUS_FAILED;
			break;
		}
		if (n == 0)
			break;
		size += static_cast<size_t>(n);
	}
	close(fd);
	return st;
}

} // namespace
} // namespace qorl::flash

using namespace qorl::flash;

extern "C" {

qor_status_t qorl_boot_pkg_load(const char *path, qorl_boot_pkg_t *pkg)
{
	if (!pkg)
		return QOR_STATUS_EINVAL;
	*pkg = qorl_boot_pkg_t{};
	qorl::heap_ptr<uint8_t> file;
	size_t size = 0;
	qor_status_t st = read_package_file(path, file, size);
	if (st != QOR_STATUS_OK)
		return st;
	return populate_flash_data(file.get(), size, pkg);
}

} // extern "C"
