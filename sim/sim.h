// Internal model of the emulated drivers, shared by the sim/*.cc files.
//
// One process-wide Sim, created on first use and never destroyed (the
// interposed calls can arrive before static constructors and after static
// destructors). Everything in Model is guarded by Sim::mu.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include <nlohmann/json.hpp>

#include "qor/ioctl/qor_requests.hpp"
#include "qorsim.h"
#include "sim_json.h"

namespace qorsim {

namespace san {
struct Port; // the emulated SAN behind a function (sim/san.h)
}

constexpr int kDrivers = 2;
constexpr int kApps = 5;                // qor_aen_app_t values 0..4
constexpr int kMaxInstances = 256;      // bits in the instance bitmap
constexpr size_t kEventQueueMax = 1024; // per controller and application
constexpr size_t kLogMax = 4096;        // entries kept; the oldest go first
constexpr size_t kLogBytes = 2048;      // record bytes kept per direction
constexpr int kMaxFd = 16384;           // emulated descriptors must be below

enum Node : uint8_t { NODE_NONE = 0, NODE_FC = 1, NODE_IPFC = 2, NODE_ETH = 3 };

// One PCI function as one driver instance sees it (a controller).
struct Function {
	int adapter = -1;  // index into Model::adapters
	int drv = QORSIM_DRV_FC;
	int instance = -1;
	uint32_t ioc_type = 1;
	int port = 0;
	uint32_t pcifn = 0;
	uint16_t device_id = 0;
	std::string hwpath;
	wwn_t pwwn = 0, nwwn = 0, factory_pwwn = 0, factory_nwwn = 0;
	mac_t mac{}, factory_mac{}, current_mac{};
	uint16_t pvid = 0;
	std::string port_name, eth_name;
	uint32_t state = QOR_IOC_OPERATIONAL;
	int64_t transition_ms = -2; // -2: the driver's setting
	uint64_t gen = 0;           // bumped by every transition; stale completions check it
	qor_ioc_stats_t stats{};
	qor_fw_stats_t fwstats{};
	qor_iocfc_attr_t iocfc{};
	std::array<std::deque<qor_aen_entry_t>, kApps> aen;
	uint64_t aen_dropped[kApps] = {}; // events a full queue lost since the load
	uint64_t aen_lost[kApps] = {};    // of those, lost since the application last fetched
	// The topology's "fcport" / "ethport" keys, read when the SAN is built.
	nlohmann::json port_cfg;
	nlohmann::json eth_cfg;
	std::shared_ptr<san::Port> san; // built from port_cfg / eth_cfg (sim/san_model.cc)
};

// One flash partition of a card (sim/sim_flash.cc).
struct FlashPart {
	uint32_t type = 0, instance = 0, off = 0, size = 0;
	std::vector<uint8_t> data; // bytes in use
};

// A fault of a card's flash: matches requests on a partition type (0: any)
// and instance (-1: any).
struct FlashFault {
	int id = 0;
	int kind = 0; // QORSIM_FLASH_*
	uint32_t type = 0;
	int instance = -1;
	uint32_t status = 0;
	int remaining = 1; // QORSIM_ALWAYS for no limit
	unsigned hits = 0;
};

// A card's flash: built on first use, from the file under the root when one
// was saved, else with the contents of a fresh card.
struct Flash {
	bool ready = false;
	bool optrom_on = true;
	std::vector<FlashPart> parts;
	std::map<uint32_t, uint32_t> room; // partition type -> size, from the topology
	std::vector<FlashFault> faults;
};

// One card. What it answers about itself is kept in the drivers' record
// forms, filled when the topology is read.
struct Adapter {
	std::string serial, hwpath;
	std::string name[kDrivers]; // adapter name as each driver holds it
	qor_adapter_attr_t attr{};  // its pwwn and mac are the asking function's
	qor_ioc_driver_attr_t driver[kDrivers]{};
	qor_ioc_pci_attr_t pci{}; // its device_id and pcifn are the function's
	std::vector<int> fns;     // indices into Model::fns
	Flash flash;
};

struct Driver {
	bool present = true;
	uint32_t version = QOR_DRV_INTERFACE_VERSION;
	int count = 0;
	std::vector<int> by_inst; // count entries: index into Model::fns, -1 for a gap
	int64_t transition_ms = 2500;
	uint64_t queued[kApps] = {}; // events queued over all controllers
};

struct Fault {
	int id = 0;
	uint32_t key = 0; // code & 0xffff as sent
	int instance = -1;
	int err = 0;
	uint32_t status = 0;
	int remaining = 1; // QORSIM_ALWAYS for no limit
	unsigned hits = 0;
};

// A fault (request or flash) that matched: one use of its count, one hit.
template <class F> F *fault_hit(F &f)
{
	if (f.remaining > 0)
		f.remaining--;
	f.hits++;
	return &f;
}

struct LogRec {
	uint32_t code = 0;
	int8_t drv = 0;
	bool ipfc = false;
	int instance = -1;
	int err = 0;
	uint32_t len = 0;
	std::vector<uint8_t> in, out;
};

uint64_t new_units_serial();

struct Model {
	std::vector<Adapter> adapters;
	std::vector<Function> fns;
	Driver drv[kDrivers];
	int open_err[4] = {}; // per Node: errno for open(), 0 = opens
	std::vector<Fault> faults;
	int next_fault = 0;
	std::deque<LogRec> log;
	bool log_on = true;
	uint64_t now_ns = 0;
	uint64_t epoch_s = 1700000000; // wall time of virtual 0, for event stamps
	unsigned sleeps = 0;
	int32_t seq = 0;
	// Scheduled model changes by virtual due time (ties in insertion order).
	std::multimap<uint64_t, std::function<void(Model &)>> sched;
	nlohmann::json schedule_cfg; // the topology's "schedule", read by build_schedule
	// Time a flash write and an erase take; virtual unless `wall`.
	uint64_t flash_write_ns = 0, flash_erase_ns = 0;
	bool flash_wall = false;
	int next_flash_fault = 0;
	// Which set of logical units this is; a change takes a new one, so the
	// sysfs tree is written again (sim/scsi_model.cc).
	uint64_t units_serial = new_units_serial();

	Function *fn_at(int drv, int instance);
};

// Everything the interposed calls and the control API share.
struct Sim {
	std::mutex mu;
	Model m;
	bool events_dirty = false;
};

// The Sim, created on first call (thread-safe, usable before constructors).
Sim &sim();

// ---- descriptors -------------------------------------------------------
Node fd_node(int fd); // lock-free; NODE_NONE for descriptors not emulated
int fd_app(int fd);   // under Sim::mu; -1 before an announcement
int fd_track(int fd, Node n); // under Sim::mu; 0 or an errno
bool fd_untrack(int fd);      // under Sim::mu; false when fd was not emulated
int fd_open_count();          // takes Sim::mu
void fd_set_app(int fd, int app);
// Recomputes the readiness of every emulated descriptor (under Sim::mu).
void refresh_ready(Model &m);

// ---- virtual clock and schedule (under Sim::mu) -------------------------
void advance_locked(Model &m, uint64_t ns);
// Due time of the earliest scheduled change; false when none.
bool next_due_locked(const Model &m, uint64_t *due);
void schedule(Model &m, uint64_t due_ns, std::function<void(Model &)> fn);

// ---- events (under Sim::mu) --------------------------------------------
// Queues a copy for every application; fills qord_num, seq_num and, when
// zero, aen_tv.
void queue_event(Model &m, Function &f, const qor_aen_entry_t &e);
// `count` copies of `e`: as many single ones, in time linear in what a queue keeps.
void queue_events(Model &m, Function &f, const qor_aen_entry_t &e, uint64_t count);
void clear_events(Model &m);
// An application fetches from a controller's queue: the events its full
// queue lost since its last fetch (one overflow) are reported once, as a
// warning on stderr.
void end_overflow(Function &f, int app);
// The ioc-category event for a controller state change, if any.
void state_event(Model &m, Function &f, uint32_t new_state);

// ---- events raised by state changes, timed changes (sim/sim_events.cc,
// sim/sim_schedule.cc) ----------------------------------------------------------
// Turns the topology's "schedule" into timed changes; throws
// std::invalid_argument naming the bad entry.
void build_schedule(Model &m);
// Sets qorsim_error() for control functions outside sim_api.cc; returns -1.
int api_error(const std::string &msg);

// ---- topology -----------------------------------------------------------
// Builds a model from JSON text; false with a message on bad input.
bool parse_topology(const std::string &text, Model &out, std::string &err);
const char *default_topology_text();
bool read_text_file(const char *path, std::string &out, std::string &err);
// The settings the root's configuration file holds, taken as the drivers
// take them when they load (sim/sim_persist.cc); nothing without a root.
void apply_config(Model &m);
// A file's bytes (stopping past max) with raw system calls: usable before the
// interposed entry points and under the model's lock. "" when unreadable.
std::string read_raw(const std::string &path, size_t max);

// ---- configuration root (sim/sim_interpose.cc) ------------------------------
// The root for the configuration paths: a directory, "/" for the host's own
// files, or nullptr / "" for none (those paths then cannot be opened).
void set_root(const char *dir);
// Where a configuration path (or the emulator's saved state under
// /var/lib/qorsim) resolves now; false when there is no root.
bool root_path(const char *path, std::string &out);
// The root when it is a directory of the emulator's own (not the host's
// "/"); false otherwise.
bool root_dir(std::string &out);

// ---- flash (sim/sim_flash.cc) ----------------------------------------------
// The card's flash, built or loaded on first use.
Flash &flash_of(Model &m, Adapter &a);
FlashPart *flash_part(Flash &f, uint32_t type, uint32_t instance);
// Saves the card's flash under the root (root_path of
// /var/lib/qorsim/flash-SERIAL.bin, replaced whole); nothing without a root.
void flash_save(const Adapter &a);
// What the card's flash says about it in a controller's attributes: the
// versions its firmware and option ROM images carry and a whole VPD image;
// the topology's values stay where the flash holds none.
void flash_attr(Model &m, Adapter &a, qor_ioc_attr_t &at);
// A partition type by its display name ("optrom", "fw", "cfg", ...).
bool flash_type_by_name(const std::string &name, uint32_t &type);
// Waits while flash writes are held (outside the model's lock).
void flash_hold_wait();
// The first fault of `kind` matching the partition, counted as hit.
FlashFault *flash_fault(Flash &f, int kind, uint32_t type, uint32_t instance);

// ---- request dispatch -----------------------------------------------------
enum : uint8_t { DRV_FC_BIT = 1, DRV_ETH_BIT = 2, DRV_BOTH = 3 };
enum : uint8_t { INST_NONE = 0, INST_GEN = 1 /* u16 at 4 */, INST_AEN = 2 /* i32 at 0 */ };
enum : uint8_t { ROW_MUTATES = 1 }; // a refused (status-faulted) request changes nothing

struct Req;
using Handler = int (*)(Req &); // 0, or the errno the request fails with

// One request of the list as the drivers answer it (make_row). On the
// Ethernet driver the type byte on the wire is 0x44 in place of `type`.
struct ReqRow {
	uint8_t type;
	uint8_t nr;
	uint16_t size;     // record size; the code's size field must match
	uint8_t drivers;   // DRV_*_BIT
	uint8_t inst;      // INST_*: where the record names its controller
	int16_t status_off; // offset of the u32 status word, -1 for none
	uint8_t flags;     // ROW_*
	Handler fn;
	const char *name;
};

struct Req {
	Model &m;
	int drv;
	bool ipfc;
	int fd;
	uint32_t code;
	const ReqRow &row;
	uint8_t *rec;    // row.size bytes, copied in from the caller
	uintptr_t user;  // the caller's record address
	Function *fn;    // the target controller, when the row names one
	uint64_t wall_ns = 0; // real time the request takes, waited after the model is released
	bool held = false;    // a flash write: waits at the hold (qorsim_flash_hold) once released
	template <class T> T &as() { return *reinterpret_cast<T *>(rec); }
};

// Sets the reply's status word (where the request's row has one); 0, for
// a handler to return.
int reply(Req &r, uint32_t status);

// Checked access to caller memory (EFAULT instead of a crash).
int copy_to_user(uintptr_t dst, const void *src, size_t n);
int copy_from_user(void *dst, uintptr_t src, size_t n);

// Answers one ioctl on an emulated descriptor; returns 0 or sets errno.
int dispatch(int fd, Node node, unsigned long request, void *arg);

// The row driver `drv` takes a code for, as sent, or nullptr when it does
// not know the code. The row's size may differ from the code's: the
// dispatcher refuses that code as malformed.
const ReqRow *find_row(int drv, uint32_t code);

// A request's row, all of it read from the request list and its record.
template <uint32_t Code> constexpr ReqRow make_row(Handler fn)
{
	using R = qor::request<Code>;
	using Rec = typename R::record;
	uint8_t inst = INST_NONE;
	if constexpr (R::target == qor::target::CTL) {
		static_assert(requires(Rec r) { r.qord_num; }, "a request for a controller needs a record that names one");
		if constexpr (std::is_same_v<decltype(Rec::qord_num), uint16_t>) {
			static_assert(offsetof(Rec, qord_num) == 4);
			inst = INST_GEN;
		} else {
			static_assert(std::is_same_v<decltype(Rec::qord_num), int32_t> && offsetof(Rec, qord_num) == 0);
			inst = INST_AEN;
		}
	}
	int16_t status_off = -1;
	if constexpr (requires(Rec r) { r.status; })
		status_off = static_cast<int16_t>(offsetof(Rec, status));
	return ReqRow{R::info.type,
		      R::info.nr,
		      R::info.size,
		      static_cast<uint8_t>((qor::serves_fc(R::side) ? DRV_FC_BIT : 0) |
					   (qor::serves_eth(R::side) ? DRV_ETH_BIT : 0)),
		      inst,
		      status_off,
		      static_cast<uint8_t>(R::mutates ? ROW_MUTATES : 0),
		      fn,
		      R::label};
}

// The row of every request of the list, defined by QORSIM_HANDLER; a
// request without a handler, or with two, does not link.
#define QOR_REQUEST(name, ...) extern const ReqRow row_##name __attribute__((visibility("hidden")));
#include "qor/ioctl/qor_requests.def"
#undef QOR_REQUEST

} // namespace qorsim

// Registers the handler of a request of the list by the request's name:
// QORSIM_HANDLER(IOC_GET_ATTR, h_get_attr). Everything else in its row comes
// from the list; rows are constants, usable before any constructor runs.
#define QORSIM_HANDLER(name, handler) \
	constinit const ::qorsim::ReqRow qorsim::row_##name = ::qorsim::make_row<QOR_IOCTL_##name>(handler)
