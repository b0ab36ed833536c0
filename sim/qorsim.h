/*
 * qorsim: userspace stand-in for the two adapter drivers.
 *
 * libqorsim.so interposes open/openat/close/ioctl/select/poll, the sleep
 * family and the configuration paths, so an unmodified program run under
 * LD_PRELOAD (or linked against it) talks to emulated hardware. This header
 * is the control API for tests that run in the same process; a program that
 * does not call it gets the topology named by QORSIM_TOPOLOGY (or the built-in
 * default) and the root named by QORSIM_ROOT.
 *
 * All functions are thread-safe. Compiles as C11 and C++.
 */
#ifndef QORSIM_H
#define QORSIM_H

#include <stddef.h>
#include <stdint.h>

#include "qor/ioctl/qor_ioctl_all.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Drivers, as numbered by this API. */
#define QORSIM_DRV_FC 0  /* "/dev/qor" and "/dev/qoripfc" */
#define QORSIM_DRV_ETH 1 /* "/dev/vek" */

/*
 * Hardware model. Loading replaces the whole model (adapters, driver state,
 * queues) and clears faults, the request log and the virtual clock.
 * Return 0, or -1 with the reason in qorsim_error().
 */
int qorsim_load_topology(const char *json_text);
int qorsim_load_topology_file(const char *path);
/* Back to the built-in default topology, no faults, empty log, clock at 0. */
void qorsim_reset(void);
/* The built-in default topology as JSON text (static storage). */
const char *qorsim_default_topology(void);
/* Why the last call that returned -1 failed (thread-local, static storage). */
const char *qorsim_error(void);

/*
 * Configuration paths ("/etc/qor.conf" and the files beside it that start
 * with that name, "/etc/hba.conf", "/etc" itself, "/sys/class/scsi_device")
 * resolve under dir. "/" gives the host's own files; NULL or "" gives no
 * root: those paths then fail with EACCES, so nothing of the host is read or
 * written. A program that does not call this gets QORSIM_ROOT, or no root.
 */
void qorsim_set_root(const char *dir);
/*
 * The drivers load: the settings the root's configuration file holds (port
 * speed, topology, hard loop address, frame size, enable and trunk state,
 * interrupt coalescing, adapter and port names) are taken into the model,
 * as a real driver takes its parameters when it loads; a setting the driver
 * would refuse is ignored. Loading a topology does not read the file; a
 * program started with QORSIM_ROOT set has it read once at start.
 * Returns 0, or -1 when there is no root.
 */
int qorsim_load_config(void);

/* Virtual clock: the sleep family advances it and returns at once. */
uint64_t qorsim_now_ns(void);
void qorsim_advance_ns(uint64_t ns);
/* Number of sleep-family calls since the last reset. */
unsigned qorsim_sleep_count(void);

/*
 * Fault injection. A fault matches requests by request number and type byte
 * as sent on the wire (code & 0xffff; pass the full code, the size bits are
 * ignored) and by driver instance (-1 for any). The request then fails with
 * errno err when err is not 0, else it is answered normally and its status
 * word is overwritten with status. count is the number of matching requests
 * that fail (QORSIM_ALWAYS for every one). Returns a fault id >= 0, or -1.
 * A status fault on a request that changes the model (enable, names, ...)
 * is a refusal: the model is left as it was. For the Ethernet driver the
 * type byte as sent is 0x44.
 */
#define QORSIM_ALWAYS (-1)
int qorsim_fault_request(uint32_t code, int instance, int err, uint32_t status, int count);
/*
 * The request a driver answers `code` with (as sent: for the Ethernet driver
 * with type byte 0x44), by its label in the request list; NULL when the
 * driver refuses the code (unknown number, or a size not the request's).
 */
const char *qorsim_request_label(int drv, uint32_t code);
/* Makes open() of node ("/dev/qor", "/dev/qoripfc", "/dev/vek") fail with err (0 heals). */
void qorsim_fault_open(const char *node, int err);
/* Clears request faults and open faults. */
void qorsim_fault_clear(void);
/* How many requests fault `id` has hit so far. */
unsigned qorsim_fault_hits(int id);
/* Interface version that a driver reports. */
void qorsim_set_driver_version(int drv, uint32_t version);

/*
 * Request log: every ioctl on an emulated node, in order. `in` holds the
 * record as the caller passed it, `out` as it was handed back (both `len`
 * bytes, the size encoded in the code; longer records that carry pointers
 * are logged up to that size).
 */
typedef struct qorsim_log_entry {
	uint32_t code;     /* as sent, type byte included */
	int drv;           /* QORSIM_DRV_FC or QORSIM_DRV_ETH */
	int ipfc;          /* 1 when sent on "/dev/qoripfc" */
	int instance;      /* target instance as the record names it, -1 for none */
	int err;           /* errno the call failed with, 0 on success */
	size_t len;
	uint8_t in[2048];
	uint8_t out[2048];
} qorsim_log_entry_t;
size_t qorsim_log_count(void);
/* Copies entry i (0 = oldest); returns 0, or -1 when out of range. */
int qorsim_log_get(size_t i, qorsim_log_entry_t *entry);
void qorsim_log_clear(void);
/* Number of logged requests whose code & 0xffff equals code & 0xffff. */
size_t qorsim_log_count_code(uint32_t code);
/* Logging on (default) or off; the log keeps the newest 4096 requests. */
void qorsim_log_enable(int on);

/* Emulated node descriptors currently open. */
int qorsim_open_count(void);

/*
 * How long (virtual milliseconds) an enable or disable of a controller takes
 * before its attributes show the new state; -1 = never. Default 2500.
 */
void qorsim_set_transition_ms(int drv, int instance, int64_t ms);

/* Controller state as the attributes report it (qor_ioc_state_t), -1 when
 * there is no such controller. Setting it voids a pending transition and
 * raises no event. */
int qorsim_ioc_state(int drv, int instance);
int qorsim_set_ioc_state(int drv, int instance, uint32_t state);

/*
 * Events. Each controller keeps one queue per application identity
 * (qor_aen_app_t 0..4, at most 1024 events each). A full queue drops its
 * oldest event and counts it (qorsim_event_dropped); the next fetch by that
 * application ends the overflow with one warning line on stderr naming the
 * driver, the instance, the application and the number of events lost.
 * Injecting queues a copy of each event for every application,
 * with qord_num set to the instance, a running seq_num and, when aen_tv is
 * zero, the virtual time (seconds from 1700000000, or the topology's
 * clock.epoch). A descriptor announced for application A (request 0x2B) is
 * readable while any controller of its driver has events queued for A.
 * Return 0, or -1 with the reason in qorsim_error().
 */
int qorsim_inject_event(int drv, int instance, const qor_aen_entry_t *e);
int qorsim_inject_events(int drv, int instance, const qor_aen_entry_t *e, size_t n);
/* Events queued on one controller for one application; -1 for none such. */
int qorsim_event_count(int drv, int instance, int app);

/*
 * State changes that raise the events the drivers raise for them, queued for
 * every application (sim/sim_events.cc). A change to the state already held
 * raises nothing. Return 0, or -1 with the reason in qorsim_error().
 *
 * Link up/down: FC/FCoE port online/offline, its logical ports online/offline,
 * and offline/online of the remote ports (and IT nexus of targets) logged in;
 * Ethernet: link up/down.
 */
int qorsim_set_link(int drv, int instance, int up);
/* A remote port of any logical port of the controller logs in or out:
 * remote port online/offline, and IT nexus online/offline for a target. */
int qorsim_set_rport_online(int drv, int instance, uint64_t rpwwn, int online);
/* Controller enabled/disabled at once (no transition): controller enable or
 * disable, and port (or Ethernet port) enable or disable. */
int qorsim_set_ioc_enabled(int drv, int instance, int enabled);
/* Every function of adapter `adapter` (topology order, from 0) as above. */
int qorsim_set_adapter_enabled(int adapter, int enabled);
/* Adapter add (type 1) or remove (type 2) event, raised by its first function. */
int qorsim_adapter_event(int adapter, int type);
/* Audit event (QOR_AUDIT_AEN_*) of a controller's port. */
int qorsim_audit_event(int drv, int instance, int type, int32_t partition_inst, int32_t partition_type);
/* Events one controller's full queue for app has dropped since the model was
 * loaded (every overflow, reported or not); -1 for none such. */
int64_t qorsim_event_dropped(int drv, int instance, int app);

/*
 * Flash. Each adapter (topology order, from 0) has its own flash with the
 * partition table of docs/topology.md; its contents survive across requests
 * and, under a root, across runs (root/var/lib/qorsim/flash-SERIAL.bin).
 * Return 0 (or the value described), or -1 with the reason in qorsim_error().
 *
 * Latency: every partition write takes write_ns and every erase erase_ns,
 * on the virtual clock; with wall nonzero the request really takes that
 * long, waited after the emulator's lock is released so that requests to
 * several adapters overlap.
 */
void qorsim_set_flash_latency(uint64_t write_ns, uint64_t erase_ns, int wall);

/*
 * Flash faults, matching requests on partition `type` (0: any) and
 * `instance` (-1: any) of one adapter, `count` times (QORSIM_ALWAYS: every
 * time). Returns a fault id >= 0.
 *   QORSIM_FLASH_WRITE_FAIL       a write answers `status` (QOR_STATUS_FAILED
 *                                 when 0) and changes nothing
 *   QORSIM_FLASH_READBACK_DIFFERS a write is accepted but stores one byte wrong
 *   QORSIM_FLASH_ERASE_TIMEOUT    an erase takes its time, then answers
 *                                 QOR_STATUS_ETIMER and erases nothing
 */
#define QORSIM_FLASH_WRITE_FAIL 1
#define QORSIM_FLASH_READBACK_DIFFERS 2
#define QORSIM_FLASH_ERASE_TIMEOUT 3
int qorsim_flash_fault(int adapter, int kind, uint32_t type, int instance, uint32_t status, int count);
/* How many requests flash fault `id` of the adapter has hit. */
unsigned qorsim_flash_fault_hits(int adapter, int id);
/* The room of a partition, in bytes; a write of a larger image answers
 * QOR_STATUS_FLASH_BAD_LEN and changes nothing. */
int qorsim_flash_set_part_size(int adapter, uint32_t type, int instance, uint32_t size);
/* Copies up to n bytes of a partition's contents to buf; returns the bytes
 * it holds, or -1 when there is no such partition. */
long qorsim_flash_get(int adapter, uint32_t type, int instance, void *buf, size_t n);
/* Sets a partition's contents (no latency, no faults). */
int qorsim_flash_put(int adapter, uint32_t type, int instance, const void *buf, size_t n);
/* Holds every flash write (of any adapter) until released: the request has
 * changed the flash, and its caller waits outside the emulator's lock, so a
 * test can act while writes are in flight. Releasing lets them all return. */
void qorsim_flash_hold(int on);
/* Flash writes waiting at the hold. */
int qorsim_flash_held(void);
/* 1 when the adapter's option ROM is enabled, 0 when not, -1 for no adapter. */
int qorsim_flash_optrom_enabled(int adapter);

#ifdef __cplusplus
}
#endif

#endif
