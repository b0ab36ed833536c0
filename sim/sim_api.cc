// The control API of qorsim.h.
#include "sim.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <algorithm>

using namespace qorsim;

namespace {

thread_local char t_error[1024];

int set_error(const std::string &msg)
{
	snprintf(t_error, sizeof t_error, "%s", msg.c_str());
	return -1;
}

// Swaps in a freshly built model; descriptors stay open and announced.
void install(Model &&m, bool log_on)
{
	Sim &s = sim();
	std::lock_guard lk(s.mu);
	s.m = std::move(m);
	s.m.log_on = log_on;
	// Changes due at 0 ms happen with the load.
	advance_locked(s.m, 0);
}

bool valid_drv(int drv) { return drv == QORSIM_DRV_FC || drv == QORSIM_DRV_ETH; }

// A card's flash under the model's lock; nullptr (error set) for no such card.
Flash *card_flash(Model &m, int adapter)
{
	if (adapter < 0 || static_cast<size_t>(adapter) >= m.adapters.size()) {
		set_error("no adapter " + std::to_string(adapter));
		return nullptr;
	}
	return &flash_of(m, m.adapters[static_cast<size_t>(adapter)]);
}

FlashPart *card_part(Model &m, int adapter, uint32_t type, int instance)
{
	Flash *f = card_flash(m, adapter);
	FlashPart *p = f && instance >= 0 ? flash_part(*f, type, static_cast<uint32_t>(instance)) : nullptr;
	if (f && !p)
		set_error("the adapter has no such partition");
	return p;
}

} // namespace

// For the control functions of sim/sim_events.cc.
int qorsim::api_error(const std::string &msg)
{
	return set_error(msg);
}

#pragma GCC visibility push(default)
extern "C" {

int qorsim_load_topology(const char *json_text)
{
	if (!json_text)
		return set_error("no topology text");
	Model m;
	std::string err;
	if (!parse_topology(json_text, m, err))
		return set_error(err);
	bool log_on;
	{
		std::lock_guard lk(sim().mu);
		log_on = sim().m.log_on;
	}
	install(std::move(m), log_on);
	return 0;
}

int qorsim_load_topology_file(const char *path)
{
	if (!path)
		return set_error("no topology file");
	std::string text, err;
	if (!read_text_file(path, text, err))
		return set_error(err);
	Model m;
	if (!parse_topology(text, m, err))
		return set_error(std::string(path) + ": " + err);
	bool log_on;
	{
		std::lock_guard lk(sim().mu);
		log_on = sim().m.log_on;
	}
	install(std::move(m), log_on);
	return 0;
}

void qorsim_reset(void)
{
	Model m;
	std::string err;
	if (!parse_topology(default_topology_text(), m, err)) {
		fprintf(stderr, "qorsim: built-in topology: %s\n", err.c_str());
		abort();
	}
	install(std::move(m), true);
	qorsim_flash_hold(0);
}

const char *qorsim_default_topology(void) { return default_topology_text(); }

const char *qorsim_error(void) { return t_error; }

void qorsim_set_root(const char *dir) { set_root(dir); }

int qorsim_load_config(void)
{
	std::string path;
	if (!root_path("/etc/qor.conf", path))
		return set_error("no root: the emulator has no configuration file");
	std::lock_guard lk(sim().mu);
	apply_config(sim().m);
	return 0;
}

uint64_t qorsim_now_ns(void)
{
	std::lock_guard lk(sim().mu);
	return sim().m.now_ns;
}

void qorsim_advance_ns(uint64_t ns)
{
	std::lock_guard lk(sim().mu);
	advance_locked(sim().m, ns);
}

unsigned qorsim_sleep_count(void)
{
	std::lock_guard lk(sim().mu);
	return sim().m.sleeps;
}

int qorsim_fault_request(uint32_t code, int instance, int err, uint32_t status, int count)
{
	if (count == 0 || count < QORSIM_ALWAYS)
		return set_error("fault count must be positive or QORSIM_ALWAYS");
	if (instance < -1 || instance >= kMaxInstances)
		return set_error("fault instance out of range");
	if (err < 0)
		return set_error("fault errno must not be negative");
	std::lock_guard lk(sim().mu);
	Model &m = sim().m;
	Fault f;
	f.id = m.next_fault++;
	f.key = code & 0xffff;
	f.instance = instance;
	f.err = err;
	f.status = status;
	f.remaining = count;
	m.faults.push_back(f);
	return f.id;
}

unsigned qorsim_fault_hits(int id)
{
	std::lock_guard lk(sim().mu);
	for (const auto &f : sim().m.faults)
		if (f.id == id)
			return f.hits;
	return 0;
}

void qorsim_fault_open(const char *node, int err)
{
	if (!node)
		return;
	int n = strcmp(node, QOR_DEV_FC) == 0     ? NODE_FC
		: strcmp(node, QOR_DEV_IPFC) == 0 ? NODE_IPFC
		: strcmp(node, QOR_DEV_ETH) == 0  ? NODE_ETH
						  : 0;
	if (!n)
		return;
	std::lock_guard lk(sim().mu);
	sim().m.open_err[n] = err;
}

void qorsim_fault_clear(void)
{
	std::lock_guard lk(sim().mu);
	Model &m = sim().m;
	m.faults.clear();
	for (int &e : m.open_err)
		e = 0;
}

void qorsim_set_driver_version(int drv, uint32_t version)
{
	if (!valid_drv(drv))
		return;
	std::lock_guard lk(sim().mu);
	sim().m.drv[drv].version = version;
}

size_t qorsim_log_count(void)
{
	std::lock_guard lk(sim().mu);
	return sim().m.log.size();
}

int qorsim_log_get(size_t i, qorsim_log_entry_t *entry)
{
	if (!entry)
		return -1;
	std::lock_guard lk(sim().mu);
	const auto &log = sim().m.log;
	if (i >= log.size())
		return -1;
	const LogRec &r = log[i];
	memset(entry, 0, sizeof *entry);
	entry->code = r.code;
	entry->drv = r.drv;
	entry->ipfc = r.ipfc;
	entry->instance = r.instance;
	entry->err = r.err;
	entry->len = r.len;
	memcpy(entry->in, r.in.data(), std::min(r.in.size(), sizeof entry->in));
	memcpy(entry->out, r.out.data(), std::min(r.out.size(), sizeof entry->out));
	return 0;
}

void qorsim_log_clear(void)
{
	std::lock_guard lk(sim().mu);
	sim().m.log.clear();
}

size_t qorsim_log_count_code(uint32_t code)
{
	std::lock_guard lk(sim().mu);
	size_t n = 0;
	for (const auto &r : sim().m.log)
		n += (r.code & 0xffff) == (code & 0xffff);
	return n;
}

void qorsim_log_enable(int on)
{
	std::lock_guard lk(sim().mu);
	sim().m.log_on = on != 0;
}

int qorsim_open_count(void) { return fd_open_count(); }

void qorsim_set_transition_ms(int drv, int instance, int64_t ms)
{
	if (!valid_drv(drv))
		return;
	if (ms < -1)
		ms = -1;
	std::lock_guard lk(sim().mu);
	Model &m = sim().m;
	if (instance < 0) {
		m.drv[drv].transition_ms = ms;
		for (auto &f : m.fns)
			if (f.drv == drv)
				f.transition_ms = -2;
	} else if (Function *f = m.fn_at(drv, instance)) {
		f->transition_ms = ms;
	}
}

int qorsim_ioc_state(int drv, int instance)
{
	if (!valid_drv(drv))
		return -1;
	std::lock_guard lk(sim().mu);
	Function *f = sim().m.fn_at(drv, instance);
	return f ? static_cast<int>(f->state) : -1;
}

int qorsim_set_ioc_state(int drv, int instance, uint32_t state)
{
	if (!valid_drv(drv) || state < QOR_IOC_UNINIT || state > QOR_IOC_ENABLING)
		return set_error("bad driver or state");
	std::lock_guard lk(sim().mu);
	Function *f = sim().m.fn_at(drv, instance);
	if (!f)
		return set_error("no such controller");
	f->state = state;
	f->gen++; // any pending transition is void
	return 0;
}

void qorsim_set_flash_latency(uint64_t write_ns, uint64_t erase_ns, int wall)
{
	std::lock_guard lk(sim().mu);
	sim().m.flash_write_ns = write_ns;
	sim().m.flash_erase_ns = erase_ns;
	sim().m.flash_wall = wall != 0;
}

int qorsim_flash_fault(int adapter, int kind, uint32_t type, int instance, uint32_t status, int count)
{
	if (kind < QORSIM_FLASH_WRITE_FAIL || kind > QORSIM_FLASH_ERASE_TIMEOUT)
		return set_error("unknown flash fault kind");
	if (count == 0 || count < QORSIM_ALWAYS)
		return set_error("fault count must be positive or QORSIM_ALWAYS");
	std::lock_guard lk(sim().mu);
	Flash *f = card_flash(sim().m, adapter);
	if (!f)
		return -1;
	FlashFault x;
	x.id = sim().m.next_flash_fault++;
	x.kind = kind;
	x.type = type;
	x.instance = instance < 0 ? -1 : instance;
	x.status = status;
	x.remaining = count;
	f->faults.push_back(x);
	return x.id;
}

unsigned qorsim_flash_fault_hits(int adapter, int id)
{
	std::lock_guard lk(sim().mu);
	Flash *f = card_flash(sim().m, adapter);
	if (f)
		for (const auto &x : f->faults)
			if (x.id == id)
				return x.hits;
	return 0;
}

int qorsim_flash_set_part_size(int adapter, uint32_t type, int instance, uint32_t size)
{
	std::lock_guard lk(sim().mu);
	FlashPart *p = card_part(sim().m, adapter, type, instance);
	if (!p)
		return -1;
	p->size = size;
	return 0;
}

long qorsim_flash_get(int adapter, uint32_t type, int instance, void *buf, size_t n)
{
	std::lock_guard lk(sim().mu);
	FlashPart *p = card_part(sim().m, adapter, type, instance);
	if (!p)
		return -1;
	if (buf && !p->data.empty())
		memcpy(buf, p->data.data(), std::min(n, p->data.size()));
	return static_cast<long>(p->data.size());
}

int qorsim_flash_put(int adapter, uint32_t type, int instance, const void *buf, size_t n)
{
	std::lock_guard lk(sim().mu);
	FlashPart *p = card_part(sim().m, adapter, type, instance);
	if (!p)
		return -1;
	if (n > p->size || (n && !buf))
		return set_error("the contents do not fit the partition");
	const auto *b = static_cast<const uint8_t *>(buf);
	p->data.assign(b, b + n);
	flash_save(sim().m.adapters[static_cast<size_t>(adapter)]);
	return 0;
}

int qorsim_flash_optrom_enabled(int adapter)
{
	std::lock_guard lk(sim().mu);
	Flash *f = card_flash(sim().m, adapter);
	return f ? (f->optrom_on ? 1 : 0) : -1;
}

} // extern "C"
#pragma GCC visibility pop
