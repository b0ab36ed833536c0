// The interposed C library entry points: the driver nodes, their requests
// and waits, the sleep family (virtual time) and the configuration paths.
//
// These run in any thread and possibly before static constructors, so they
// use only static storage until the Sim is needed, and reach the real
// functions through dlsym(RTLD_NEXT).
#undef _FORTIFY_SOURCE
#include "sim.h"
#include "scsi_model.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qorsim {
namespace {

// ---- real functions ---------------------------------------------------------

template <class F>
F real_fn(std::atomic<void *> &slot, const char *name)
{
	void *p = slot.load(std::memory_order_acquire);
	if (!p) {
		p = dlsym(RTLD_NEXT, name);
		if (!p) {
			fprintf(stderr, "qorsim: no next definition of %s\n", name);
			abort();
		}
		slot.store(p, std::memory_order_release);
	}
	return reinterpret_cast<F>(p);
}

#define QORSIM_REAL(name)                                      \
	([]() {                                                \
		static std::atomic<void *> slot_;              \
		return real_fn<decltype(&::name)>(slot_, #name); \
	}())

// ---- configuration path redirection ------------------------------------------

// Without a root the configuration paths cannot be opened at all: the
// emulator never reaches the host's files unless told to with "/".
enum class Root : uint8_t { none, host, dir };

pthread_mutex_t g_root_mu = PTHREAD_MUTEX_INITIALIZER;
char g_root[PATH_MAX]; // the directory, without a trailing '/'
Root g_root_mode = Root::none;
bool g_root_env_read;

void set_root_locked(const char *dir)
{
	g_root_env_read = true;
	size_t n = dir ? strlen(dir) : 0;
	while (n > 0 && dir[n - 1] == '/')
		n--;
	g_root_mode = !dir || !*dir || n >= sizeof g_root ? Root::none : n == 0 ? Root::host : Root::dir;
	memcpy(g_root, dir ? dir : "", g_root_mode == Root::dir ? n : 0);
	g_root[g_root_mode == Root::dir ? n : 0] = '\0';
}

void root_env_locked()
{
	if (!g_root_env_read)
		set_root_locked(getenv("QORSIM_ROOT"));
}

bool starts(const char *s, const char *prefix) { return strncmp(s, prefix, strlen(prefix)) == 0; }

bool scsi_tree(const char *p)
{
	constexpr const char kScsi[] = "/sys/class/scsi_device";
	return starts(p, kScsi) && (p[sizeof kScsi - 1] == '\0' || p[sizeof kScsi - 1] == '/');
}

// Paths that resolve under the root: the configuration files and anything
// beside them that starts with their names, "/etc" itself (fsync after a
// rename), the SCSI device tree and the emulator's own saved state (the
// cards' flash).
bool redirected(const char *p)
{
	if (!p || p[0] != '/')
		return false;
	if (starts(p, "/etc/qor.conf") || starts(p, "/etc/hba.conf"))
		return true;
	if (strcmp(p, "/etc") == 0 || strcmp(p, "/etc/") == 0)
		return true;
	if (starts(p, "/var/lib/qorsim/"))
		return true;
	return scsi_tree(p);
}

// Returns the path to use: `p` itself, or the redirected one in `buf`;
// nullptr (errno set) when there is no root or the result does not fit.
const char *map_path(const char *p, char (&buf)[PATH_MAX])
{
	if (!redirected(p))
		return p;
	pthread_mutex_lock(&g_root_mu);
	root_env_locked();
	const char *out = p;
	const size_t a = strlen(g_root), b = strlen(p);
	if (g_root_mode == Root::none) {
		errno = EACCES;
		out = nullptr;
	} else if (g_root_mode == Root::dir && a + b + 1 > sizeof buf) {
		errno = ENAMETOOLONG;
		out = nullptr;
	} else if (g_root_mode == Root::dir) {
		memcpy(buf, g_root, a);
		memcpy(buf + a, p, b + 1);
		out = buf;
	}
	const bool emulated_tree = out == buf && scsi_tree(p);
	pthread_mutex_unlock(&g_root_mu);
	// The emulated units' tree is there before anyone looks into it.
	if (emulated_tree)
		scsi::ensure_sysfs();
	return out;
}

// ---- driver nodes ---------------------------------------------------------------

Node node_of(const char *p)
{
	if (!p || p[0] != '/' || p[1] != 'd')
		return NODE_NONE;
	if (strcmp(p, QOR_DEV_FC) == 0)
		return NODE_FC;
	if (strcmp(p, QOR_DEV_IPFC) == 0)
		return NODE_IPFC;
	if (strcmp(p, QOR_DEV_ETH) == 0)
		return NODE_ETH;
	return NODE_NONE;
}

// A node's descriptor is an eventfd: readable exactly while its
// application has events queued, so select/poll work natively.
int open_node(Node n, int flags)
{
	Sim &s = sim();
	std::lock_guard lk(s.mu);
	const int d = n == NODE_ETH ? QORSIM_DRV_ETH : QORSIM_DRV_FC;
	int err = !s.m.drv[d].present ? ENOENT : s.m.open_err[n];
	if (err) {
		errno = err;
		return -1;
	}
	int fd = eventfd(0, EFD_NONBLOCK | ((flags & O_CLOEXEC) ? EFD_CLOEXEC : 0));
	if (fd < 0)
		return -1;
	if ((err = fd_track(fd, n)) != 0) {
		QORSIM_REAL(close)(fd);
		errno = err;
		return -1;
	}
	return fd;
}

mode_t mode_arg(int flags, va_list ap)
{
	return (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? static_cast<mode_t>(va_arg(ap, int)) : 0;
}

// ---- waits ------------------------------------------------------------------------

// Waits that involve emulated descriptors: a scheduled model change due
// within the timeout happens at once in virtual time; only when none is due
// does the wait really block (so another thread's events still wake it).
template <class Real>
int wait_emulated(int64_t timeout_ns, Real real)
{
	Sim &s = sim();
	int64_t budget = timeout_ns;
	for (int round = 0; round < 100000; round++) {
		uint64_t due = 0, now = 0;
		bool have;
		{
			std::lock_guard lk(s.mu);
			have = next_due_locked(s.m, &due);
			now = s.m.now_ns;
		}
		const uint64_t delta = have && due > now ? due - now : 0;
		if (!have || (budget >= 0 && delta > static_cast<uint64_t>(budget)))
			return real(budget);
		int r = real(0);
		if (r != 0)
			return r;
		{
			std::lock_guard lk(s.mu);
			advance_locked(s.m, delta);
		}
		if (budget >= 0)
			budget -= static_cast<int64_t>(delta);
		r = real(0);
		if (r != 0)
			return r;
	}
	return real(budget);
}

bool any_emulated(int nfds, const fd_set *r, const fd_set *w, const fd_set *e)
{
	for (int fd = 0; fd < nfds && fd < FD_SETSIZE; fd++)
		if (((r && FD_ISSET(fd, r)) || (w && FD_ISSET(fd, w)) || (e && FD_ISSET(fd, e))) &&
		    fd_node(fd) != NODE_NONE)
			return true;
	return false;
}

bool any_emulated(const pollfd *fds, nfds_t n)
{
	for (nfds_t i = 0; i < n; i++)
		if (fd_node(fds[i].fd) != NODE_NONE)
			return true;
	return false;
}

int64_t ts_ns(const timespec *t) { return t ? t->tv_sec * 1000000000LL + t->tv_nsec : -1; }
timespec ns_ts(int64_t ns) { return timespec{static_cast<time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)}; }

// pselect semantics on copies of the sets, restored before every attempt.
int select_core(int nfds, fd_set *r, fd_set *w, fd_set *e, int64_t timeout_ns, const sigset_t *mask, bool use_mask)
{
	fd_set r0, w0, e0;
	if (r)
		r0 = *r;
	if (w)
		w0 = *w;
	if (e)
		e0 = *e;
	auto real = [&](int64_t ns) {
		if (r)
			*r = r0;
		if (w)
			*w = w0;
		if (e)
			*e = e0;
		timespec ts = ns_ts(ns < 0 ? 0 : ns);
		return QORSIM_REAL(pselect)(nfds, r, w, e, ns < 0 ? nullptr : &ts, use_mask ? mask : nullptr);
	};
	return wait_emulated(timeout_ns, real);
}

int poll_core(pollfd *fds, nfds_t n, int64_t timeout_ns, const sigset_t *mask, bool use_mask)
{
	auto real = [&](int64_t ns) {
		timespec ts = ns_ts(ns < 0 ? 0 : ns);
		return QORSIM_REAL(ppoll)(fds, n, ns < 0 ? nullptr : &ts, use_mask ? mask : nullptr);
	};
	return wait_emulated(timeout_ns, real);
}

// ---- virtual sleeps -----------------------------------------------------------------

void virtual_sleep(uint64_t ns)
{
	Sim &s = sim();
	{
		std::lock_guard lk(s.mu);
		s.m.sleeps++;
		advance_locked(s.m, ns);
	}
	// Polling loops around a sleep still let other threads run.
	sched_yield();
}

} // namespace

void set_root(const char *dir)
{
	pthread_mutex_lock(&g_root_mu);
	set_root_locked(dir);
	pthread_mutex_unlock(&g_root_mu);
}

bool root_dir(std::string &out)
{
	pthread_mutex_lock(&g_root_mu);
	root_env_locked();
	const bool dir = g_root_mode == Root::dir;
	if (dir)
		out = g_root;
	pthread_mutex_unlock(&g_root_mu);
	return dir;
}

bool root_path(const char *path, std::string &out)
{
	char buf[PATH_MAX];
	const char *p = map_path(path, buf);
	if (p)
		out = p;
	return p != nullptr;
}

} // namespace qorsim

using namespace qorsim;

#define QORSIM_MAP(p, buf)                       \
	char buf[PATH_MAX];                      \
	const char *mapped_##p = map_path(p, buf); \
	if (!mapped_##p)                         \
		return -1;

#define QORSIM_MAP_PTR(p, buf)                   \
	char buf[PATH_MAX];                      \
	const char *mapped_##p = map_path(p, buf); \
	if (!mapped_##p)                         \
		return nullptr;

#pragma GCC visibility push(default)
extern "C" {

int __open_2(const char *path, int flags);
int __open64_2(const char *path, int flags);
int __openat_2(int dirfd, const char *path, int flags);
int __openat64_2(int dirfd, const char *path, int flags);
int __poll_chk(struct pollfd *fds, nfds_t n, int timeout, size_t fdslen);

// ---- open family ----

int open(const char *path, int flags, ...)
{
	va_list ap;
	va_start(ap, flags);
	mode_t mode = mode_arg(flags, ap);
	va_end(ap);
	if (Node n = node_of(path))
		return open_node(n, flags);
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(open)(mapped_path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
	va_list ap;
	va_start(ap, flags);
	mode_t mode = mode_arg(flags, ap);
	va_end(ap);
	if (Node n = node_of(path))
		return open_node(n, flags);
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(open64)(mapped_path, flags, mode);
}

int openat(int dirfd, const char *path, int flags, ...)
{
	va_list ap;
	va_start(ap, flags);
	mode_t mode = mode_arg(flags, ap);
	va_end(ap);
	if (Node n = node_of(path))
		return open_node(n, flags);
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(openat)(dirfd, mapped_path, flags, mode);
}

int openat64(int dirfd, const char *path, int flags, ...)
{
	va_list ap;
	va_start(ap, flags);
	mode_t mode = mode_arg(flags, ap);
	va_end(ap);
	if (Node n = node_of(path))
		return open_node(n, flags);
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(openat64)(dirfd, mapped_path, flags, mode);
}

int __open_2(const char *path, int flags) { return open(path, flags); }
int __open64_2(const char *path, int flags) { return open64(path, flags); }
int __openat_2(int dirfd, const char *path, int flags) { return openat(dirfd, path, flags); }
int __openat64_2(int dirfd, const char *path, int flags) { return openat64(dirfd, path, flags); }

int creat(const char *path, mode_t mode) { return open(path, O_CREAT | O_WRONLY | O_TRUNC, mode); }
int creat64(const char *path, mode_t mode) { return open64(path, O_CREAT | O_WRONLY | O_TRUNC, mode); }

int close(int fd)
{
	if (fd_node(fd) != NODE_NONE) {
		Sim &s = sim();
		std::lock_guard lk(s.mu);
		fd_untrack(fd);
	}
	return QORSIM_REAL(close)(fd);
}

int ioctl(int fd, unsigned long request, ...)
{
	va_list ap;
	va_start(ap, request);
	void *arg = va_arg(ap, void *);
	va_end(ap);
	if (Node n = fd_node(fd))
		return dispatch(fd, n, request, arg);
	return QORSIM_REAL(ioctl)(fd, request, arg);
}

// ---- waits ----

int select(int nfds, fd_set *r, fd_set *w, fd_set *e, struct timeval *tv)
{
	if (!any_emulated(nfds, r, w, e))
		return QORSIM_REAL(select)(nfds, r, w, e, tv);
	if (tv && (tv->tv_sec < 0 || tv->tv_usec < 0 || tv->tv_usec >= 1000000)) {
		errno = EINVAL;
		return -1;
	}
	int64_t ns = tv ? tv->tv_sec * 1000000000LL + tv->tv_usec * 1000LL : -1;
	int rc = select_core(nfds, r, w, e, ns, nullptr, false);
	if (tv && rc == 0)
		tv->tv_sec = tv->tv_usec = 0;
	return rc;
}

int pselect(int nfds, fd_set *r, fd_set *w, fd_set *e, const struct timespec *ts, const sigset_t *mask)
{
	if (!any_emulated(nfds, r, w, e))
		return QORSIM_REAL(pselect)(nfds, r, w, e, ts, mask);
	if (ts && (ts->tv_sec < 0 || ts->tv_nsec < 0 || ts->tv_nsec >= 1000000000)) {
		errno = EINVAL;
		return -1;
	}
	return select_core(nfds, r, w, e, ts_ns(ts), mask, true);
}

int poll(struct pollfd *fds, nfds_t n, int timeout)
{
	if (!fds || !any_emulated(fds, n))
		return QORSIM_REAL(poll)(fds, n, timeout);
	return poll_core(fds, n, timeout < 0 ? -1 : timeout * 1000000LL, nullptr, false);
}

int __poll_chk(struct pollfd *fds, nfds_t n, int timeout, size_t fdslen)
{
	if (fdslen / sizeof(*fds) < n)
		abort();
	return poll(fds, n, timeout);
}

int ppoll(struct pollfd *fds, nfds_t n, const struct timespec *ts, const sigset_t *mask)
{
	if (!fds || !any_emulated(fds, n))
		return QORSIM_REAL(ppoll)(fds, n, ts, mask);
	if (ts && (ts->tv_sec < 0 || ts->tv_nsec < 0 || ts->tv_nsec >= 1000000000)) {
		errno = EINVAL;
		return -1;
	}
	return poll_core(fds, n, ts_ns(ts), mask, true);
}

// ---- virtual time ----

unsigned int sleep(unsigned int s)
{
	virtual_sleep(static_cast<uint64_t>(s) * 1000000000u);
	return 0;
}

int usleep(useconds_t us)
{
	virtual_sleep(static_cast<uint64_t>(us) * 1000u);
	return 0;
}

int nanosleep(const struct timespec *req, struct timespec *rem)
{
	if (!req || req->tv_nsec < 0 || req->tv_nsec >= 1000000000 || req->tv_sec < 0) {
		errno = EINVAL;
		return -1;
	}
	virtual_sleep(static_cast<uint64_t>(ts_ns(req)));
	if (rem)
		*rem = timespec{0, 0};
	return 0;
}

int clock_nanosleep(clockid_t clk, int flags, const struct timespec *req, struct timespec *rem)
{
	if (!req || req->tv_nsec < 0 || req->tv_nsec >= 1000000000)
		return EINVAL;
	int64_t ns = ts_ns(req);
	if (flags & TIMER_ABSTIME) {
		timespec now{};
		if (clock_gettime(clk, &now) != 0)
			return errno;
		ns -= ts_ns(&now);
	}
	virtual_sleep(ns > 0 ? static_cast<uint64_t>(ns) : 0);
	if (rem && !(flags & TIMER_ABSTIME))
		*rem = timespec{0, 0};
	return 0;
}

// ---- configuration paths ----

FILE *fopen(const char *path, const char *mode)
{
	QORSIM_MAP_PTR(path, buf);
	return QORSIM_REAL(fopen)(mapped_path, mode);
}

FILE *fopen64(const char *path, const char *mode)
{
	QORSIM_MAP_PTR(path, buf);
	return QORSIM_REAL(fopen64)(mapped_path, mode);
}

FILE *freopen(const char *path, const char *mode, FILE *f)
{
	char buf[PATH_MAX];
	const char *p = path ? map_path(path, buf) : nullptr;
	if (path && !p)
		return nullptr;
	return QORSIM_REAL(freopen)(p, mode, f);
}

FILE *freopen64(const char *path, const char *mode, FILE *f)
{
	char buf[PATH_MAX];
	const char *p = path ? map_path(path, buf) : nullptr;
	if (path && !p)
		return nullptr;
	return QORSIM_REAL(freopen64)(p, mode, f);
}

DIR *opendir(const char *path)
{
	QORSIM_MAP_PTR(path, buf);
	return QORSIM_REAL(opendir)(mapped_path);
}

int rename(const char *from, const char *to)
{
	QORSIM_MAP(from, b1);
	QORSIM_MAP(to, b2);
	return QORSIM_REAL(rename)(mapped_from, mapped_to);
}

int renameat(int fd1, const char *from, int fd2, const char *to)
{
	QORSIM_MAP(from, b1);
	QORSIM_MAP(to, b2);
	return QORSIM_REAL(renameat)(fd1, mapped_from, fd2, mapped_to);
}

int renameat2(int fd1, const char *from, int fd2, const char *to, unsigned int flags)
{
	QORSIM_MAP(from, b1);
	QORSIM_MAP(to, b2);
	return QORSIM_REAL(renameat2)(fd1, mapped_from, fd2, mapped_to, flags);
}

int remove(const char *path)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(remove)(mapped_path);
}

int unlink(const char *path)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(unlink)(mapped_path);
}

int unlinkat(int dirfd, const char *path, int flags)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(unlinkat)(dirfd, mapped_path, flags);
}

int stat(const char *path, struct stat *st)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(stat)(mapped_path, st);
}

int lstat(const char *path, struct stat *st)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(lstat)(mapped_path, st);
}

int fstatat(int dirfd, const char *path, struct stat *st, int flags)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(fstatat)(dirfd, mapped_path, st, flags);
}

int stat64(const char *path, struct stat64 *st)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(stat64)(mapped_path, st);
}

int lstat64(const char *path, struct stat64 *st)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(lstat64)(mapped_path, st);
}

int fstatat64(int dirfd, const char *path, struct stat64 *st, int flags)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(fstatat64)(dirfd, mapped_path, st, flags);
}

int statx(int dirfd, const char *path, int flags, unsigned int mask, struct statx *st)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(statx)(dirfd, mapped_path, flags, mask, st);
}

int access(const char *path, int mode)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(access)(mapped_path, mode);
}

int faccessat(int dirfd, const char *path, int mode, int flags)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(faccessat)(dirfd, mapped_path, mode, flags);
}

int chmod(const char *path, mode_t mode)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(chmod)(mapped_path, mode);
}

ssize_t readlink(const char *path, char *out, size_t n)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(readlink)(mapped_path, out, n);
}

ssize_t readlinkat(int dirfd, const char *path, char *out, size_t n)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(readlinkat)(dirfd, mapped_path, out, n);
}

long pathconf(const char *path, int name)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(pathconf)(mapped_path, name);
}

int mkdir(const char *path, mode_t mode)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(mkdir)(mapped_path, mode);
}

int truncate(const char *path, off_t len)
{
	QORSIM_MAP(path, buf);
	return QORSIM_REAL(truncate)(mapped_path, len);
}

} // extern "C"
#pragma GCC visibility pop
