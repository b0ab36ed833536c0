// Whole-file replacement by temporary file and rename.
#include "qorl_file.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qorl {

namespace {

constexpr size_t stream_buf = 1 << 16;

// Makes a rename in the directory of path durable. Some file systems refuse
// fsync on a directory; the new file is in place either way.
void sync_dir(const char *path)
{
	char dir[file_replacement::path_room];
	size_t n = strnlen(path, sizeof dir - 1);
	std::memcpy(dir, path, n);
	dir[n] = '\0';
	char *slash = std::strrchr(dir, '/');
	if (!slash)
		std::strcpy(dir, ".");
	else if (slash == dir)
		dir[1] = '\0';
	else
		*slash = '\0';
	int dfd = ::open(dir, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
	if (dfd >= 0) {
		(void)fsync(dfd);
		close(dfd);
	}
}

} // namespace

file_replacement::~file_replacement()
{
	discard();
}

void file_replacement::discard()
{
	if (f_) {
		std::fclose(f_);
		f_ = nullptr;
	}
	if (tmp_[0]) {
		unlink(tmp_);
		tmp_[0] = '\0';
	}
}

qor_status_t file_replacement::open(const char *path)
{
	discard();
	if (!path || !*path || std::strlen(path) > sizeof tmp_ - 48)
		return QOR_STATUS_EFOPEN;
	target_ = path;

	// A directory can never be replaced by the new file.
	struct stat st;
	if (::lstat(path, &st) == 0 && S_ISDIR(st.st_mode))
		return QOR_STATUS_EFOPEN;
	mode_t mode = 0644;
	bool have_old = ::stat(path, &st) == 0 && S_ISREG(st.st_mode);
	if (have_old)
		mode = st.st_mode & 07777;

	static std::atomic<unsigned> counter;
	int fd = -1;
	for (int tries = 0; fd < 0 && tries < 16; tries++) {
		std::snprintf(tmp_, sizeof tmp_, "%s.tmp.%ld.%u", path, static_cast<long>(getpid()), counter++);
		fd = ::open(tmp_, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
		if (fd < 0 && errno != EEXIST)
			break;
	}
	if (fd < 0) {
		tmp_[0] = '\0';
		return QOR_STATUS_EFOPEN;
	}
	(void)fchmod(fd, mode); // open's mode went through the umask
	if (have_old && (st.st_uid != geteuid() || st.st_gid != getegid()))
		(void)fchown(fd, st.st_uid, st.st_gid);
	f_ = fdopen(fd, "w");
	if (!f_) {
		close(fd);
		discard();
		return QOR_STATUS_EFOPEN;
	}
	if (!buf_)
		buf_.reset(new (std::nothrow) char[stream_buf]);
	if (buf_)
		std::setvbuf(f_, buf_.get(), _IOFBF, stream_buf);
	return QOR_STATUS_OK;
}

qor_status_t file_replacement::commit()
{
	if (!f_)
		return QOR_STATUS_EIO;
	bool bad = std::fflush(f_) != 0 || std::ferror(f_) || fsync(fileno(f_)) != 0;
	if (std::fclose(f_) != 0)
		bad = true;
	f_ = nullptr;
	if (bad || std::rename(tmp_, target_) != 0) {
		discard();
		return QOR_STATUS_EIO;
	}
	tmp_[0] = '\0';
	sync_dir(target_);
	return QOR_STATUS_OK;
}

file_lock::~file_lock()
{
	if (fd_ >= 0) {
		(void)flock(fd_, LOCK_UN);
		close(fd_);
	}
}

qor_status_t file_lock::take(const char *path)
{
	char name[file_replacement::path_room];
	if (fd_ >= 0 || !path || std::snprintf(name, sizeof name, "%s.lock", path) >= (int)sizeof name)
		return QOR_STATUS_EFOPEN;
	fd_ = ::open(name, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
	if (fd_ < 0)
		return QOR_STATUS_EFOPEN;
	int rc;
	do
		rc = flock(fd_, LOCK_EX);
	while (rc != 0 && errno == EINTR);
	if (rc != 0) {
		close(fd_);
		fd_ = -1;
		return QOR_STATUS_EIO;
	}
	return QOR_STATUS_OK;
}

} // namespace qorl
