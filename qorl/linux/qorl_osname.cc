// The device node of a Linux SCSI address, from the sysfs SCSI device tree.
// Two layouts: older kernels put an entry "block:sdc" (or a link named
// "block" to the block device) in the device directory; newer ones a
// directory "block" or "tape" whose entries are the device names.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "qorl_int.h"
#include "qorl_scsi.h"

namespace {

constexpr size_t kPathLen = 128;
constexpr size_t kNameCopy = 32; // entry names are examined up to 31 characters

struct dir_closer {
	void operator()(DIR *d) const { closedir(d); }
};
using dir_ptr = std::unique_ptr<DIR, dir_closer>;

// Opens a directory, relative to `at` when it is not AT_FDCWD: looking up
// the names below an open directory spares walking the whole path again.
// QOR_STATUS_ENOMEM or QOR_STATUS_FAILED when it cannot.
qor_status_t open_dir(int at, const char *path, dir_ptr &out)
{
	int fd = openat(at, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
	out.reset(fd >= 0 ? fdopendir(fd) : nullptr);
	if (out)
		return QOR_STATUS_OK;
	const int err = errno;
	if (fd >= 0)
		close(fd);
	return err == ENOMEM ? QOR_STATUS_ENOMEM : QOR_STATUS_FAILED;
}

// The next entry whose (cut) name passes `want`, copied cut into `name`;
// false at the end or on a read error.
template <class Want>
bool next_entry(DIR *d, char (&name)[kNameCopy], const char **full, Want want, unsigned char *type = nullptr)
{
	for (;;) {
		errno = 0;
		const dirent *e = readdir(d);
		if (!e)
			return false;
		const size_t n = strnlen(e->d_name, sizeof name - 1);
		std::memcpy(name, e->d_name, n);
		name[n] = '\0';
		if (want(std::string_view(name))) {
			*full = e->d_name;
			if (type)
				*type = e->d_type;
			return true;
		}
	}
}

// "<prefix><name>" into the caller's 64-byte buffer, or nothing when it does not fit.
qor_status_t put_name(char *out, const char *prefix, const char *name)
{
	char path[QORL_OSNAME_LEN];
	int n = std::snprintf(path, sizeof path, "%s%s", prefix, name);
	if (n < 0 || (size_t)n >= sizeof path)
		return QOR_STATUS_FAILED;
	std::memcpy(out, path, (size_t)n + 1);
	return QOR_STATUS_OK;
}

} // namespace

extern "C" qor_status_t qorl_get_osname(uint32_t host, uint32_t bus, uint32_t target, uint32_t lun, char **buf,
					uint32_t *ndev)
{
	qorl::put(ndev, 1u);
	if (!buf || !*buf)
		return QOR_STATUS_EINVAL;
	char base[kPathLen];
	std::snprintf(base, sizeof base, "/sys/class/scsi_device/%u:%u:%u:%u/device/", host, bus, target, lun);

	dir_ptr dir;
	if (qor_status_t st = open_dir(AT_FDCWD, base, dir); st != QOR_STATUS_OK)
		return st;
	char name[kNameCopy];
	const char *full = nullptr;
	unsigned char type = DT_UNKNOWN;
	if (!next_entry(
		    dir.get(), name, &full,
		    [](std::string_view n) { return n.starts_with("block") || n.starts_with("tape"); }, &type))
		return QOR_STATUS_FAILED;
	const bool tape = std::string_view(name).starts_with("tape");

	// Older layout, "block:sdc": the name after the colon.
	char *save = nullptr;
	if (strtok_r(name, ":", &save))
		if (const char *dev = strtok_r(nullptr, ":", &save))
			return put_name(*buf, "/dev/", dev);

	// A link "block" to the block device: its last path element. An entry
	// the directory itself calls a directory is none.
	char link[kPathLen];
	const bool fits = std::strlen(base) + std::strlen(full) < kPathLen;
	ssize_t len = fits && type != DT_DIR ? readlinkat(dirfd(dir.get()), full, link, sizeof link) : -1;
	if (len > 0) {
		if ((size_t)len >= sizeof link) {
			len = sizeof link - 1;
			std::fputs("The symbolic link length exceeds the maximum\n", stdout);
		}
		link[len] = '\0';
		const char *slash = std::strrchr(link, '/');
		return slash ? put_name(*buf, "/dev", slash) : QOR_STATUS_OK;
	}

	// Newer layout: a directory whose device entry is the first name with an 's'.
	dir_ptr sub;
	if (qor_status_t st = open_dir(dirfd(dir.get()), tape ? "tape" : "block", sub); st != QOR_STATUS_OK)
		return st;
	dir = std::move(sub);
	if (!next_entry(dir.get(), name, &full, [](std::string_view n) { return n.find('s') != n.npos; }))
		return QOR_STATUS_FAILED;
	return put_name(*buf, "/dev/", full);
}
