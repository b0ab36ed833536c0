// The emulator's core: the process-wide model, emulated descriptors,
// virtual clock, event queues and the request dispatcher.
#include "sim.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <new>
#include <sstream>

#include <sys/stat.h>

#include <pthread.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace qorsim {

// ---- the Sim singleton ----------------------------------------------------

namespace {

Sim *g_sim;
pthread_once_t g_once = PTHREAD_ONCE_INIT;

void init_sim()
{
	Sim *s = new Sim;
	std::string text, err;
	const char *path = getenv("QORSIM_TOPOLOGY");
	bool ok = path && *path ? read_text_file(path, text, err) : (text = default_topology_text(), true);
	if (ok && !parse_topology(text, s->m, err)) {
		ok = false;
		err = std::string(path && *path ? path : "the built-in topology") + ": " + err;
	}
	if (ok) {
		apply_config(s->m);
		// Changes due at 0 ms happen with the load.
		advance_locked(s->m, 0);
	}
	if (!ok) {
		// Nothing sensible to emulate: both nodes then fail to open.
		fprintf(stderr, "qorsim: invalid topology: %s; the emulated drivers are absent\n", err.c_str());
		s->m = Model{};
		s->m.drv[0].present = s->m.drv[1].present = false;
	}
	g_sim = s;
}

} // namespace

Sim &sim()
{
	pthread_once(&g_once, init_sim);
	return *g_sim;
}

bool read_text_file(const char *path, std::string &out, std::string &err)
{
	// A device or a pipe could give text without end (or wait for a writer).
	constexpr off_t kMaxSize = 16 << 20;
	struct stat st;
	if (stat(path, &st) == 0 && (!S_ISREG(st.st_mode) || st.st_size > kMaxSize)) {
		err = std::string("topology file ") + path +
		      (S_ISREG(st.st_mode) ? " is larger than 16 MiB" : " is not a regular file");
		return false;
	}
	std::ifstream in(path, std::ios::binary);
	if (!in) {
		err = std::string("cannot open topology file ") + path + ": " + strerror(errno);
		return false;
	}
	std::ostringstream ss;
	ss << in.rdbuf();
	if (in.bad()) {
		err = std::string("cannot read topology file ") + path;
		return false;
	}
	out = ss.str();
	return true;
}

Function *Model::fn_at(int d, int instance)
{
	if (d < 0 || d >= kDrivers || instance < 0 || instance >= drv[d].count)
		return nullptr;
	int i = drv[d].by_inst[instance];
	return i < 0 ? nullptr : &fns[i];
}

// ---- descriptors --------------------------------------------------------------

namespace {

struct FdSlot {
	std::atomic<uint8_t> node;
	int8_t app; // under Sim::mu
	bool readable;
};
FdSlot g_fd[kMaxFd];
std::vector<int> *g_open_fds; // under Sim::mu; created with the Sim

std::vector<int> &open_fds()
{
	if (!g_open_fds)
		g_open_fds = new std::vector<int>;
	return *g_open_fds;
}

} // namespace

Node fd_node(int fd)
{
	if (fd < 0 || fd >= kMaxFd)
		return NODE_NONE;
	return static_cast<Node>(g_fd[fd].node.load(std::memory_order_acquire));
}

int fd_app(int fd) { return fd_node(fd) == NODE_NONE ? -1 : g_fd[fd].app; }

void fd_set_app(int fd, int app)
{
	if (fd_node(fd) != NODE_NONE)
		g_fd[fd].app = static_cast<int8_t>(app);
}

// Called with Sim::mu held.
int fd_track(int fd, Node n)
{
	if (fd < 0 || fd >= kMaxFd)
		return EMFILE;
	g_fd[fd].app = -1;
	g_fd[fd].readable = false;
	open_fds().push_back(fd);
	g_fd[fd].node.store(n, std::memory_order_release);
	return 0;
}

// Called with Sim::mu held; false when fd was not emulated.
bool fd_untrack(int fd)
{
	if (fd_node(fd) == NODE_NONE)
		return false;
	g_fd[fd].node.store(NODE_NONE, std::memory_order_release);
	auto &v = open_fds();
	for (size_t i = 0; i < v.size(); i++)
		if (v[i] == fd) {
			v[i] = v.back();
			v.pop_back();
			break;
		}
	return true;
}

int fd_open_count()
{
	std::lock_guard lk(sim().mu);
	return static_cast<int>(open_fds().size());
}

void refresh_ready(Model &m)
{
	for (int fd : open_fds()) {
		FdSlot &s = g_fd[fd];
		int d = s.node.load() == NODE_ETH ? QORSIM_DRV_ETH : QORSIM_DRV_FC;
		bool want = s.app >= 0 && s.app < kApps && m.drv[d].queued[s.app] > 0;
		if (want == s.readable)
			continue;
		uint64_t v = 1;
		ssize_t r = want ? write(fd, &v, sizeof v) : read(fd, &v, sizeof v);
		(void)r;
		s.readable = want;
	}
}

// ---- virtual clock and schedule ---------------------------------------------

void schedule(Model &m, uint64_t due_ns, std::function<void(Model &)> fn)
{
	m.sched.emplace(due_ns, std::move(fn));
}

bool next_due_locked(const Model &m, uint64_t *due)
{
	if (m.sched.empty())
		return false;
	*due = m.sched.begin()->first;
	return true;
}

void advance_locked(Model &m, uint64_t ns)
{
	uint64_t target = m.now_ns + ns < m.now_ns ? UINT64_MAX : m.now_ns + ns;
	while (!m.sched.empty() && m.sched.begin()->first <= target) {
		auto it = m.sched.begin();
		if (it->first > m.now_ns)
			m.now_ns = it->first;
		auto fn = std::move(it->second);
		m.sched.erase(it);
		fn(m);
	}
	m.now_ns = target;
	refresh_ready(m);
}

// ---- events -------------------------------------------------------------------

void queue_event(Model &m, Function &f, const qor_aen_entry_t &e)
{
	qor_aen_entry_t c = e;
	c.qord_num = f.instance;
	c.seq_num = m.seq = static_cast<int32_t>(static_cast<uint32_t>(m.seq) + 1); // wraps as the driver's
	if (c.aen_tv.tv_sec == 0 && c.aen_tv.tv_usec == 0) {
		c.aen_tv.tv_sec = static_cast<uint32_t>(m.epoch_s + m.now_ns / 1000000000u);
		c.aen_tv.tv_usec = static_cast<uint32_t>(m.now_ns % 1000000000u / 1000u);
	}
	Driver &d = m.drv[f.drv];
	for (int a = 0; a < kApps; a++) {
		auto &q = f.aen[a];
		if (q.size() >= kEventQueueMax) {
			q.pop_front(); // a full queue loses its oldest event
			d.queued[a]--;
			f.aen_dropped[a]++;
			f.aen_lost[a]++;
		}
		q.push_back(c);
		d.queued[a]++;
	}
}

void queue_events(Model &m, Function &f, const qor_aen_entry_t &e, uint64_t count)
{
	// Copies before the last kEventQueueMax would be pushed only to be lost.
	const uint64_t lost = count > kEventQueueMax ? count - kEventQueueMax : 0;
	m.seq = static_cast<int32_t>(static_cast<uint32_t>(m.seq) + static_cast<uint32_t>(lost)); // wraps as the driver's
	for (int a = 0; a < kApps; a++) {
		f.aen_dropped[a] += lost;
		f.aen_lost[a] += lost;
	}
	for (uint64_t i = lost; i < count; i++)
		queue_event(m, f, e);
}

void end_overflow(Function &f, int app)
{
	if (!f.aen_lost[app])
		return;
	static constexpr const char *kAppNames[] = {"mxt", "dxm", "cim", "snia", "test"};
	fprintf(stderr,
		"qorsim: warning: %s driver instance %d: the event queue of application %d (%s) was full; "
		"%llu event%s lost, the oldest first\n",
		f.drv == QORSIM_DRV_FC ? "fc" : "eth", f.instance, app, kAppNames[app],
		static_cast<unsigned long long>(f.aen_lost[app]), f.aen_lost[app] == 1 ? "" : "s");
	f.aen_lost[app] = 0;
}

void clear_events(Model &m)
{
	for (auto &f : m.fns)
		for (auto &q : f.aen)
			q.clear();
	for (auto &d : m.drv)
		for (auto &q : d.queued)
			q = 0;
}

namespace {

// The event a controller raises on reaching a state.
struct StateEvent {
	uint32_t state;
	uint32_t category;
	int32_t type;
};
constexpr StateEvent kStateEvents[] = {
	{QOR_IOC_OPERATIONAL, QOR_AEN_CAT_IOC, QOR_IOC_AEN_ENABLE},
	{QOR_IOC_DISABLED, QOR_AEN_CAT_IOC, QOR_IOC_AEN_DISABLE},
	{QOR_IOC_FAIL, QOR_AEN_CAT_IOC, QOR_IOC_AEN_HB_FAIL},
	{QOR_IOC_FWMISMATCH, QOR_AEN_CAT_IOC, QOR_IOC_AEN_FWMISMATCH},
};

} // namespace

void state_event(Model &m, Function &f, uint32_t new_state)
{
	for (const auto &se : kStateEvents) {
		if (se.state != new_state)
			continue;
		qor_aen_entry_t e{};
		e.aen_category = se.category;
		e.aen_type = se.type;
		if (f.drv == QORSIM_DRV_FC)
			e.aen_data.ioc.pwwn = f.pwwn;
		e.aen_data.ioc.ioc_type = static_cast<int16_t>(f.ioc_type);
		memcpy(e.aen_data.ioc.mac, f.mac.mac, 6);
		queue_event(m, f, e);
	}
}

int reply(Req &r, uint32_t status)
{
	if (r.row.status_off >= 0)
		memcpy(r.rec + r.row.status_off, &status, sizeof status);
	return 0;
}

// ---- caller memory ------------------------------------------------------------

// process_vm_* on our own process turns a bad address into EFAULT, as a
// driver's copy to or from user memory would.
int copy_to_user(uintptr_t dst, const void *src, size_t n)
{
	if (n == 0)
		return 0;
	if (dst == 0)
		return EFAULT;
	iovec l{const_cast<void *>(src), n}, r{reinterpret_cast<void *>(dst), n};
	ssize_t w = process_vm_writev(getpid(), &l, 1, &r, 1, 0);
	// Written again where memory checkers see it: to them a write to a
	// "remote" process leaves the caller's buffer uninitialised.
	if (w == static_cast<ssize_t>(n) || (w < 0 && errno == ENOSYS)) {
		memcpy(reinterpret_cast<void *>(dst), src, n);
		return 0;
	}
	return EFAULT;
}

int copy_from_user(void *dst, uintptr_t src, size_t n)
{
	if (n == 0)
		return 0;
	if (src == 0)
		return EFAULT;
	iovec l{dst, n}, r{reinterpret_cast<void *>(src), n};
	ssize_t got = process_vm_readv(getpid(), &l, 1, &r, 1, 0);
	if (got == static_cast<ssize_t>(n))
		return 0;
	if (got < 0 && errno == ENOSYS) {
		memcpy(dst, reinterpret_cast<const void *>(src), n);
		return 0;
	}
	return EFAULT;
}

// ---- request table ------------------------------------------------------------

namespace {

// Every request of the list, by its handler's row.
const ReqRow *const kRows[] = {
#define QOR_REQUEST(name, ...) &row_##name,
#include "qor/ioctl/qor_requests.def"
#undef QOR_REQUEST
};

// Rows by request number, the controller module's (0x43) first. Built on
// first use and never destroyed: requests may come after static destructors.
const std::vector<const ReqRow *> &rows_numbered(uint8_t nr)
{
	using Index = std::array<std::vector<const ReqRow *>, 256>;
	static const Index &idx = *[] {
		auto *x = new Index;
		for (const ReqRow *r : kRows) {
			auto &v = (*x)[r->nr];
			v.insert(r->type == QOR_IOCTL_TYPE_IOC ? v.begin() : v.end(), r);
		}
		return x;
	}();
	return idx[nr];
}

} // namespace

// The FC driver knows a request by type byte and number. The Ethernet driver
// sees its own type byte on every request, so it knows one by number and
// size; where two of its requests share both, it answers the controller
// module's. A row of the right number but another size is still returned:
// the driver refuses that code as malformed.
const ReqRow *find_row(int drv, uint32_t code)
{
	const uint8_t type = static_cast<uint8_t>(QOR_IOCTL_TYPE(code));
	const auto &v = rows_numbered(static_cast<uint8_t>(QOR_IOCTL_NR(code)));
	if (drv == QORSIM_DRV_FC) {
		for (const ReqRow *r : v)
			if (r->type == type)
				return r->drivers & DRV_FC_BIT ? r : nullptr;
		return nullptr;
	}
	if (type != QOR_IOCTL_TYPE_ETH)
		return nullptr;
	const ReqRow *first = nullptr;
	for (const ReqRow *r : v) {
		if (!(r->drivers & DRV_ETH_BIT))
			continue;
		if (r->size == QOR_IOCTL_SIZE(code))
			return r;
		if (!first)
			first = r;
	}
	return first;
}

extern "C" __attribute__((visibility("default"))) const char *qorsim_request_label(int drv, uint32_t code)
{
	if ((drv != QORSIM_DRV_FC && drv != QORSIM_DRV_ETH) || (code >> 30) != QOR_IOC_DIR_RW)
		return nullptr;
	const ReqRow *r = find_row(drv, code);
	return r && r->size == QOR_IOCTL_SIZE(code) ? r->name : nullptr;
}

// ---- dispatch -------------------------------------------------------------------

namespace {

Fault *match_fault(Model &m, uint32_t key, int instance)
{
	for (auto &f : m.faults) {
		if (f.remaining == 0 || f.key != key)
			continue;
		if (f.instance >= 0 && f.instance != instance)
			continue;
		return fault_hit(f);
	}
	return nullptr;
}

void log_bytes(std::vector<uint8_t> &dst, const uint8_t *rec, size_t rec_len, uintptr_t user, size_t len)
{
	size_t n = len < kLogBytes ? len : kLogBytes;
	dst.assign(n, 0);
	if (rec && rec_len >= n)
		memcpy(dst.data(), rec, n);
	else if (copy_from_user(dst.data(), user, n) != 0)
		dst.clear();
}

void log_push(Model &m, LogRec &&r)
{
	if (m.log.size() >= kLogMax)
		m.log.pop_front();
	m.log.push_back(std::move(r));
}

// Real time passing, whatever the program's sleeps are made to do.
void wall_wait(uint64_t ns)
{
	timespec t{static_cast<time_t>(ns / 1000000000u), static_cast<long>(ns % 1000000000u)};
	while (syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &t, &t) != 0 && errno == EINTR) {
	}
}

int run_handler(Req &r)
{
	try {
		return r.row.fn(r);
	} catch (const std::bad_alloc &) {
		return ENOMEM;
	} catch (...) {
		return EIO;
	}
}

} // namespace

int dispatch(int fd, Node node, unsigned long request, void *arg)
{
	Sim &s = sim();
	const uint32_t code = static_cast<uint32_t>(request);
	const int drv = node == NODE_ETH ? QORSIM_DRV_ETH : QORSIM_DRV_FC;
	const size_t size = QOR_IOCTL_SIZE(code);
	const uintptr_t user = reinterpret_cast<uintptr_t>(arg);

	const ReqRow *row = nullptr;
	if (request <= 0xffffffffUL && (code >> 30) == QOR_IOC_DIR_RW)
		row = find_row(drv, code);
	int err = !row ? ENOTTY : size != row->size ? EINVAL : 0;

	std::unique_lock lk(s.mu);
	Model &m = s.m;
	uint64_t wall_ns = 0;
	bool held = false;
	if (!err && !m.drv[drv].present)
		err = ENODEV;

	std::vector<uint64_t> buf;
	uint8_t *rec = nullptr;
	if (!err) {
		buf.resize((row->size + 7) / 8);
		rec = reinterpret_cast<uint8_t *>(buf.data());
		err = copy_from_user(rec, user, row->size);
		if (err)
			rec = nullptr;
	}
	LogRec lr;
	if (m.log_on) {
		lr.code = code;
		lr.drv = static_cast<int8_t>(drv);
		lr.ipfc = node == NODE_IPFC;
		lr.len = static_cast<uint32_t>(size);
		log_bytes(lr.in, rec, row ? row->size : 0, user, size);
	}

	int instance = -1;
	Function *f = nullptr;
	if (!err && row->inst != INST_NONE) {
		if (row->inst == INST_GEN) {
			uint16_t v;
			memcpy(&v, rec + 4, 2);
			instance = v;
		} else {
			int32_t v;
			memcpy(&v, rec, 4);
			instance = v;
		}
		f = m.fn_at(drv, instance);
		if (!f)
			err = ENXIO;
	}
	Fault *fault = nullptr;
	if (!err) {
		fault = match_fault(m, code & 0xffff, instance);
		if (fault && fault->err)
			err = fault->err;
	}
	if (!err) {
		bool refused = fault && row->status_off >= 0 && (row->flags & ROW_MUTATES);
		if (!refused) {
			Req r{m, drv, node == NODE_IPFC, fd, code, *row, rec, user, f};
			err = run_handler(r);
			wall_ns = r.wall_ns;
			held = r.held;
		}
		if (!err && fault && row->status_off >= 0)
			memcpy(rec + row->status_off, &fault->status, 4);
		if (!err)
			err = copy_to_user(user, rec, row->size);
	}
	if (m.log_on) {
		lr.instance = instance;
		lr.err = err;
		log_bytes(lr.out, err ? nullptr : rec, row ? row->size : 0, user, size);
		log_push(m, std::move(lr));
	}
	refresh_ready(m);
	lk.unlock();
	// A request that takes real time (a flash write) lets others run meanwhile.
	if (wall_ns)
		wall_wait(wall_ns);
	if (held)
		flash_hold_wait();
	if (err) {
		errno = err;
		return -1;
	}
	return 0;
}

} // namespace qorsim
