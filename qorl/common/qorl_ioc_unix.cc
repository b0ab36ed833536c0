// Request channel, lock wrappers, library lifecycle and time text.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <pthread.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "qorl_config.h"
#include "qorl_int.h"
#include "qorl_ioc.h"

namespace qorl {
qor_aen_app_t application_id = qor_aen_app_mxt;

// Standard error: standard output belongs to the program (mxt prints its
// JSON documents there).
void report(const char *fmt, ...)
{
	char line[1024];
	va_list ap;
	va_start(ap, fmt);
	std::vsnprintf(line, sizeof line, fmt, ap);
	va_end(ap);
	std::fprintf(stderr, "%s\n", line);
}
} // namespace qorl

namespace {

struct errno_row {
	int err;
	qor_status_t status;
};

constexpr errno_row errno_table[] = {
	{EINTR, QOR_STATUS_EINTR}, {EIO, QOR_STATUS_EIO},       {ENXIO, QOR_STATUS_ENXIO},
	{EBADF, QOR_STATUS_EBADF}, {ENODEV, QOR_STATUS_NODEV},  {EINVAL, QOR_STATUS_EINVAL},
	{ENOTTY, QOR_STATUS_ENOTTY},
};

qor_status_t qorl_get_status(int err)
{
	for (const auto &row : errno_table)
		if (row.err == err)
			return row.status;
	return QOR_STATUS_FAILED;
}

qor_status_t send(int fd, uint32_t code, void *rec)
{
	if (ioctl(fd, code, rec) == -1)
		return qorl_get_status(errno);
	return QOR_STATUS_OK;
}

} // namespace

extern "C" {

qor_status_t qorl_ioctl(qorl_t *qorl, uint32_t cmd, qorl_args_t *qorl_args, int, int, int)
{
	// The Ethernet driver answers the same request numbers under its own type byte.
	if (!qorl::is_fc_side(qorl->ioc_type))
		cmd = (cmd & ~0xff00u) | (QOR_IOCTL_TYPE_ETH << 8);
	return send(qorl->fd, cmd, qorl_args);
}

qor_status_t qorl_ioctl_nomask(qorl_t *qorl, uint32_t cmd, void *buf, int len)
{
	qorl_args_t args{};
	if (len < 0 || (size_t)len > sizeof(args))
		return QOR_STATUS_EINVAL;
	std::memcpy(&args, buf, (size_t)len);
	qor_status_t st = qorl_ioctl(qorl, cmd, &args, 0, 0, 0);
	std::memcpy(buf, &args, (size_t)len);
	return st;
}

qor_status_t qorl_ioctl_ipfc(qorl_t *qorl, uint32_t cmd, qorl_args_t *qorl_args, int, int, int)
{
	return send(qorl->ipfc_fd, cmd, qorl_args);
}

void qorl_get_mutex_lock(void *mutex)
{
	pthread_mutex_lock(static_cast<pthread_mutex_t *>(mutex));
}

void qorl_release_mutex_lock(void *mutex)
{
	pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex));
}

int qorl_get_unix_fd(qorl_t *qorl)
{
	return qorl->fd;
}

void qorl_update_file_handle(qorl_t *src, qorl_t *dst)
{
	src->fd = dst->fd;
}

qor_status_t qorl_libinit(qor_aen_app_t app_id)
{
	qorl::application_id = app_id;
	return QOR_STATUS_OK;
}

qor_status_t qorl_libload(void)
{
	return qorl_config_load(qorl_get_cfg_path());
}

void qorl_libsync(void)
{
	(void)qorl_config_sync(qorl_get_cfg_path());
}

void qorl_libunload(void)
{
	qorl_config_unload();
}

void qorl_libexit(void)
{
	// Records of one pass share a descriptor: close each one once, so a
	// number reused meanwhile by another thread is never closed by mistake.
	int total = qorl_ioc_get_num();
	qorl_t *head = qorl_ioc_get_list();
	int closed[2] = {-1, -1};
	for (int i = 0; i < total; i++) {
		auto *q = static_cast<qorl_t *>(find(head, i, e_ic));
		if (!q || q->fd < 0 || q->fd == closed[0] || q->fd == closed[1])
			continue;
		close(q->fd);
		closed[closed[0] < 0 ? 0 : 1] = q->fd;
	}
}

qor_status_t qorl_get_time_string(uint64_t time_val, char *time_str, uint8_t len)
{
	if (!time_str || len < 2)
		return QOR_STATUS_FAILED;
	time_t t = (time_t)time_val;
	struct tm *tm = localtime(&t);
	if (!tm)
		return QOR_STATUS_FAILED;
	return strftime(time_str, (size_t)len - 1, "%x %X", tm) ? QOR_STATUS_OK : QOR_STATUS_FAILED;
}

} // extern "C"
