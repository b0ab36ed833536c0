// Files mxt writes are replaced whole: a temporary file beside the target,
// written, synced and renamed over it, so a reader (node_exporter, a
// support engineer's script) never sees half a file.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "mxt.h"

namespace mxt {

namespace {

std::string dir_of(const std::string &path)
{
	size_t slash = path.rfind('/');
	return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

std::string base_of(const std::string &path)
{
	size_t slash = path.rfind('/');
	return slash == std::string::npos ? path : path.substr(slash + 1);
}

const char *const replace_hint = "give the name of a file in a directory you can write";

[[noreturn]] void fail_errno(const std::string &what, int err, const std::string &hint)
{
	fail(what + ": " + strerror(err) + "; " + hint);
}

} // namespace

void check_replaceable(const std::string &path)
{
	if (path.empty() || base_of(path).empty())
		fail("no file name in '" + path + "'; " + replace_hint);
	struct stat st;
	if (lstat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode))
		fail(path + " exists and is not a regular file; it is left alone; " + replace_hint);
}

int create_beside(const std::string &path, std::string *tmp)
{
	check_replaceable(path);
	const std::string dir = dir_of(path);
	// Named so that no reader's pattern ("*.prom", "*.tar.gz") picks it up.
	*tmp = dir + "/." + base_of(path) + ".XXXXXX";
	int fd = mkstemp(tmp->data());
	if (fd < 0)
		fail_errno("cannot create a file in " + dir, errno, replace_hint);
	const mode_t mask = umask(0);
	umask(mask);
	fchmod(fd, 0666 & ~mask);
	return fd;
}

void replace_file_with(const std::string &path, const std::function<void(int fd)> &write)
{
	const std::string hint = replace_hint;
	std::string tmp;
	const int fd = create_beside(path, &tmp);
	try {
		write(fd);
		if (fsync(fd) != 0)
			fail_errno("writing " + path, errno, hint);
	} catch (...) {
		close(fd);
		unlink(tmp.c_str());
		throw;
	}
	const int closed = close(fd);
	const int err = errno;
	if (closed != 0 || rename(tmp.c_str(), path.c_str()) != 0) {
		const int e = closed != 0 ? err : errno;
		unlink(tmp.c_str());
		fail_errno("writing " + path, e, hint);
	}
}

void write_to(const std::string &path, const std::function<void(int fd)> &write)
{
	struct stat st;
	if (::stat(path.c_str(), &st) != 0 || S_ISREG(st.st_mode) || S_ISDIR(st.st_mode))
		return replace_file_with(path, write);
	const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
	if (fd < 0)
		fail_errno("cannot write " + path, errno, "give a file you can write");
	try {
		write(fd);
	} catch (...) {
		close(fd);
		throw;
	}
	if (close(fd) != 0)
		fail_errno("writing " + path, errno, "check the space left on its file system");
}

void write_all(int fd, std::string_view data, const std::string &path)
{
	for (size_t at = 0; at < data.size();) {
		ssize_t n = ::write(fd, data.data() + at, data.size() - at);
		if (n < 0 && errno == EINTR)
			continue;
		if (n <= 0)
			fail_errno("writing " + path, errno, "check the space left on its file system");
		at += (size_t)n;
	}
}

} // namespace mxt
