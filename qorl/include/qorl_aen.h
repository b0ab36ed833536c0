/*
 * Event notification: fetching the drivers' event records, per-object
 * subscriptions with callbacks, and the background reader that delivers
 * them. The audit kind lives in qorl_audit.h.
 *
 * Callbacks run on the reader thread (or on the caller of a direct
 * delivery) with no library lock held; they may register, unregister
 * (themselves included) and call any library operation. Once an
 * unregistration has returned, the subscription's callback is not running
 * and is never called again. The event data pointer given to a callback is
 * valid only during the call.
 */
#ifndef QORL_AEN_H
#define QORL_AEN_H

#include <stdint.h>
#include <sys/select.h>

#include "qorl.h"
#include "qorl_adapter.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Subscription flag: call the callback in its SNIA form (adapter, lport, itnim). */
#define QORL_AEN_FLAG_SNIA 1u

/* Descriptors the reader waits on; maxfd is 0 when none was added. */
typedef struct qorl_aen_fd_list_s {
	fd_set fd;
	int maxfd;
} qorl_aen_fd_list_t;

/* Callbacks in the native form: user data, event code, data record, time. */
typedef void (*qorl_adapter_aen_cbfn_t)(void *userData, qor_adapter_aen_event_t event,
					qor_adapter_aen_data_t *data, qor_timeval_t tv);
typedef void (*qorl_ioc_aen_cbfn_t)(void *userData, qor_ioc_aen_event_t event,
				    qor_ioc_aen_data_t *data, qor_timeval_t tv);
typedef void (*qorl_port_aen_cbfn_t)(void *userData, qor_port_aen_event_t event,
				     qor_port_aen_data_t *data, qor_timeval_t tv);
typedef void (*qorl_lport_aen_cbfn_t)(void *userData, qor_lport_aen_event_t event,
				      qor_lport_aen_data_t *data, qor_timeval_t tv);
typedef void (*qorl_rport_aen_cbfn_t)(void *userData, qor_rport_aen_event_t event,
				      qor_rport_aen_data_t *data, qor_timeval_t tv);
typedef void (*qorl_itnim_aen_cbfn_t)(void *userData, qor_itnim_aen_event_t event,
				      qor_itnim_aen_data_t *data, qor_timeval_t tv);
typedef void (*qorl_ethport_aen_cbfn_t)(void *userData, qor_ethport_aen_event_t event,
					qor_ethport_aen_data_t *data, qor_timeval_t tv);

/* Callbacks in the SNIA form (flag QORL_AEN_FLAG_SNIA); the type is 0 for
 * events without a SNIA equivalent. */
typedef void (*qorl_adapter_snia_cbfn_t)(void *userData, wwn_t pwwn, uint32_t event_type);
typedef void (*qorl_lport_snia_cbfn_t)(void *userData, wwn_t lpwwn, uint32_t event_type,
				       uint32_t fcid);
typedef void (*qorl_itnim_snia_cbfn_t)(void *userData, wwn_t lpwwn, wwn_t rpwwn,
				       uint32_t event_type);

/*
 * Subscription handles: owned by the library from registration to
 * unregistration; read-only for the caller. A SNIA-form subscription keeps
 * its SNIA callback in cbfn.
 */
typedef struct qorl_adapter_aen_cbhandle_s qorl_adapter_aen_cbhandle_t;
struct qorl_adapter_aen_cbhandle_s {
	void *userData;
	qorl_adapter_aen_cbfn_t cbfn;
	qor_adapter_aen_data_t data; /* key: serial_num */
	wwn_t pwwn;                  /* the adapter's first controller's port WWN */
	int fd;                      /* -1: every adapter's QOR_ADAPTER_AEN_ADD */
	uint32_t flags;
	qorl_adapter_aen_cbhandle_t *next;
};

typedef struct qorl_ioc_aen_cbhandle_s qorl_ioc_aen_cbhandle_t;
struct qorl_ioc_aen_cbhandle_s {
	void *userData;
	int idx; /* not used */
	qorl_t *qorl;
	qorl_ioc_aen_cbfn_t cbfn;
	qor_ioc_aen_data_t data; /* not used */
	uint32_t flags;
	int fd;
	int16_t inst;
	qorl_ioc_aen_cbhandle_t *next;
};

/* Handles of the port, lport, rport, itnim and ethport kinds (and audit):
 * user data, callback, key record, controller, flags, descriptor, instance. */
#define QORL_AEN_CBHANDLE_BODY(kind)                  \
	void *userData;                               \
	qorl_##kind##_aen_cbfn_t cbfn;                \
	qor_##kind##_aen_data_t data;                 \
	qorl_t *qorl;                                 \
	uint32_t flags;                               \
	int fd;      /* -1 without a controller */    \
	int16_t inst; /* -1 without a controller */   \
	struct qorl_##kind##_aen_cbhandle_s *next

typedef struct qorl_port_aen_cbhandle_s {
	QORL_AEN_CBHANDLE_BODY(port); /* key: pwwn (FC, FCoE) or mac (Ethernet) */
} qorl_port_aen_cbhandle_t;
typedef struct qorl_lport_aen_cbhandle_s {
	QORL_AEN_CBHANDLE_BODY(lport); /* key: lpwwn, 0 for QOR_LPORT_AEN_NEW */
} qorl_lport_aen_cbhandle_t;
typedef struct qorl_rport_aen_cbhandle_s {
	QORL_AEN_CBHANDLE_BODY(rport); /* key: lpwwn */
} qorl_rport_aen_cbhandle_t;
typedef struct qorl_itnim_aen_cbhandle_s {
	QORL_AEN_CBHANDLE_BODY(itnim); /* key: lpwwn, rpwwn (0: every target) */
} qorl_itnim_aen_cbhandle_t;
typedef struct qorl_ethport_aen_cbhandle_s {
	QORL_AEN_CBHANDLE_BODY(ethport); /* key: the controller's mac */
} qorl_ethport_aen_cbhandle_t;

/*
 * Registration. Returns QOR_STATUS_OK with the handle in *cbhandle,
 * QOR_STATUS_ENOMEM, or QOR_STATUS_EINVAL (no callback, no handle pointer,
 * no key record, or a port/Ethernet-port subscription without a
 * controller); on failure no handle is made. A subscription with a
 * controller makes the reader watch that controller at once.
 * Unregistration: QOR_STATUS_OK, or QOR_STATUS_FAILED for an unknown handle.
 */

/* adapter NULL: QOR_ADAPTER_AEN_ADD of every adapter. flag: QORL_AEN_FLAG_SNIA or 0. */
qor_status_t qorl_adapter_aen_register(qorl_adapter_t *adapter, qorl_adapter_aen_cbfn_t cbfn,
				       void *user_data, qorl_adapter_aen_cbhandle_t **cbhandle,
				       uint32_t flag);
qor_status_t qorl_adapter_aen_unregister(qorl_adapter_aen_cbhandle_t *cbhandle);
void qorl_adapter_fd_collect(qorl_aen_fd_list_t *fd_list);
qor_status_t qorl_adapter_event(qor_adapter_aen_data_t *data, qor_adapter_aen_event_t eventType,
				qor_timeval_t tv);

qor_status_t qorl_ioc_aen_register(qorl_t *qorl, qorl_ioc_aen_cbfn_t cbfn, void *user_data,
				   qorl_ioc_aen_cbhandle_t **cbhandle);
qor_status_t qorl_ioc_aen_unregister(qorl_ioc_aen_cbhandle_t *cbhandle);
void qorl_ioc_fd_collect(qorl_aen_fd_list_t *fd_list);
qor_status_t qorl_ioc_event(uint16_t inst, qor_ioc_aen_data_t *data, qor_ioc_aen_event_t eventType,
			    qor_timeval_t tv);
qor_status_t qorl_ioc_windows_event(qorl_t *qorl, qor_ioc_aen_data_t *data,
				    qor_ioc_aen_event_t eventType, qor_timeval_t tv);

qor_status_t qorl_port_aen_register(qorl_t *qorl, qorl_port_aen_cbfn_t cbfn, void *user_data,
				    qor_port_aen_data_t *data, qorl_port_aen_cbhandle_t **cbhandle);
qor_status_t qorl_port_aen_unregister(qorl_port_aen_cbhandle_t *cbhandle);
void qorl_port_fd_collect(qorl_aen_fd_list_t *fd_list);
qor_status_t qorl_port_event(uint16_t inst, qor_port_aen_data_t *data,
			     qor_port_aen_event_t eventType, qor_timeval_t tv);
qor_status_t qorl_port_windows_event(qorl_t *qorl, qor_port_aen_data_t *data,
				     qor_port_aen_event_t eventType, qor_timeval_t tv);

/* flag: QORL_AEN_FLAG_SNIA or 0. */
qor_status_t qorl_lport_aen_register(qorl_t *qorl, qorl_lport_aen_cbfn_t cbfn, void *user_data,
				     qor_lport_aen_data_t *data, qorl_lport_aen_cbhandle_t **cbhandle,
				     uint32_t flag);
qor_status_t qorl_lport_aen_unregister(qorl_lport_aen_cbhandle_t *cbhandle);
void qorl_lport_fd_collect(qorl_aen_fd_list_t *fd_list);
/* QOR_STATUS_FAILED when a SNIA-form subscriber's controller is gone. */
qor_status_t qorl_lport_event(uint16_t inst, qor_lport_aen_data_t *data,
			      qor_lport_aen_event_t eventType, qor_timeval_t tv);
qor_status_t qorl_lport_windows_event(qorl_t *qorl, qor_lport_aen_data_t *data,
				      qor_lport_aen_event_t eventType, qor_timeval_t tv);

qor_status_t qorl_rport_aen_register(qorl_t *qorl, qorl_rport_aen_cbfn_t cbfn, void *user_data,
				     qor_rport_aen_data_t *data, qorl_rport_aen_cbhandle_t **cbhandle);
qor_status_t qorl_rport_aen_unregister(qorl_rport_aen_cbhandle_t *cbhandle);
void qorl_rport_fd_collect(qorl_aen_fd_list_t *fd_list);
qor_status_t qorl_rport_event(uint16_t inst, qor_rport_aen_data_t *data,
			      qor_rport_aen_event_t eventType, qor_timeval_t tv);
qor_status_t qorl_rport_windows_event(qorl_t *qorl, qor_rport_aen_data_t *data,
				      qor_rport_aen_event_t eventType, qor_timeval_t tv);

/* flag: QORL_AEN_FLAG_SNIA or 0. */
qor_status_t qorl_itnim_aen_register(qorl_t *qorl, qorl_itnim_aen_cbfn_t cbfn, void *user_data,
				     qor_itnim_aen_data_t *data, qorl_itnim_aen_cbhandle_t **cbhandle,
				     uint32_t flag);
qor_status_t qorl_itnim_aen_unregister(qorl_itnim_aen_cbhandle_t *cbhandle);
void qorl_itnim_fd_collect(qorl_aen_fd_list_t *fd_list);
qor_status_t qorl_itnim_event(uint16_t inst, qor_itnim_aen_data_t *data,
			      qor_itnim_aen_event_t eventType, qor_timeval_t tv);
qor_status_t qorl_itnim_windows_event(qorl_t *qorl, qor_itnim_aen_data_t *data,
				      qor_itnim_aen_event_t eventType, qor_timeval_t tv);

/* data is not consulted: the key is the controller's own MAC. */
qor_status_t qorl_ethport_aen_register(qorl_t *qorl, qorl_ethport_aen_cbfn_t cbfn, void *user_data,
				       qor_ethport_aen_data_t *data,
				       qorl_ethport_aen_cbhandle_t **cbhandle);
qor_status_t qorl_ethport_aen_unregister(qorl_ethport_aen_cbhandle_t *cbhandle);
void qorl_ethport_fd_collect(qorl_aen_fd_list_t *fd_list);
qor_status_t qorl_ethport_event(uint16_t inst, qor_ethport_aen_data_t *data,
				qor_ethport_aen_event_t eventType, qor_timeval_t tv);
qor_status_t qorl_ethport_windows_event(qorl_t *qorl, qor_ethport_aen_data_t *data,
					qor_ethport_aen_event_t eventType, qor_timeval_t tv);

/* SNIA event type of a library event; 0 when it has none. */
uint32_t qorl_snia_event_convert(uint32_t category, uint32_t event);

/*
 * Fetches up to *count (at most 64) waiting events of the controller for
 * app_id into entry. *count becomes the number returned when the request
 * reached the driver; entries are copied only when the driver's status is OK.
 */
qor_status_t qorl_aen_get_events(qorl_t *qorl, qor_aen_entry_t *entry, int *count,
				 qor_aen_app_t app_id);

/* Hands readcnt / 64 entries to the delivery of their categories, in order. */
void qorl_aen_handling(int readcnt, qor_aen_entry_t *entry);
/* Adds every subscribed controller's descriptor to fd_list. */
void qorl_aen_fd_collect(qorl_aen_fd_list_t *fd_list);

/*
 * Starts the reader thread unless the application is the command-line
 * utility (or a reader already runs). 0, or the error number of thread
 * creation.
 */
qor_status_t qorl_aen_init(void);
/* Stops the reader and waits for it to end; returns at once when none runs. */
void qorl_aen_exit(void);

#ifdef __cplusplus
}
#endif

#endif
