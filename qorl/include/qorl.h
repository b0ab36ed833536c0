/*
 * qorl: host-side management library for the adapter family.
 *
 * Core interface: the controller record, the request channel, last error,
 * application identity and the library's load and unload steps.
 * Every function here is safe to call from C; none throws.
 */
#ifndef QORL_H
#define QORL_H

#include <stdint.h>

#include "qor/ioctl/qor_ioctl_all.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * One controller (PCI function) as a driver instance sees it. Owned by the
 * controller list; valid until the next discovery. Callers never free it.
 */
typedef struct qorl_s qorl_t;
struct qorl_s {
	int fd;                   /* node that serves the controller */
	int ipfc_fd;              /* IP-over-FC node, -1 when not open */
	int instance;             /* driver instance, sent as qord_num */
	int port_num;             /* port number on its adapter */
	char devpath[256];        /* "/dev/qor" or "/dev/vek" */
	char ioc_hwpath[32];      /* the function's hardware (PCI) path */
	char adapter_hwpath[32];  /* the card's hardware path */
	char serialnum[12];       /* the card's serial number */
	char name[64];            /* the card's name */
	char port_name[64];       /* the port's name */
	char eth_name[64];        /* network interface (Ethernet side) */
	wwn_t pwwn;
	wwn_t nwwn;
	wwn_t factorypwwn;
	wwn_t factorynwwn;
	int id;                   /* list position, or port number in adapter copies */
	mac_t mac;
	mac_t factory_mac;
	mac_t current_mac;
	qor_ioc_type_e ioc_type;
	qorl_t *next;
};

/* Scratch record in which one request is built. */
typedef struct qorl_args_s {
	qorl_ioctl_t qorl_ioctl;
} qorl_args_t;

/* Kinds of the generic lists. */
typedef enum ADAPTER_IOC { e_ic = 0, e_ad = 1 } ad_ioc;

/*
 * Request channel. Each returns the translated failure of the system call,
 * or QOR_STATUS_OK when the request reached the driver; the driver's own
 * status is then in the record. The trailing lengths are not used.
 */
qor_status_t qorl_ioctl(qorl_t *qorl, uint32_t cmd, qorl_args_t *qorl_args,
			int qor_len, int vek_len, int size);
/* Sends len bytes (at most sizeof(qorl_ioctl_t)) of caller memory; copies them back. */
qor_status_t qorl_ioctl_nomask(qorl_t *qorl, uint32_t cmd, void *buf, int len);
/* Sends on the IP-over-FC node, code unchanged. */
qor_status_t qorl_ioctl_ipfc(qorl_t *qorl, uint32_t cmd, qorl_args_t *qorl_args,
			     int qor_len, int vek_len, int size);

/* Last error: written only by discovery and adapter naming. */
void qorl_set_last_error(qor_status_t status);
qor_status_t qorl_get_last_error(void);

/* Lock wrappers: the only way the library takes its mutexes. */
void qorl_get_mutex_lock(void *mutex);
void qorl_release_mutex_lock(void *mutex);
/* The controller's node descriptor, watched by event subscriptions. */
int qorl_get_unix_fd(qorl_t *qorl);
/* Sets src's fd to dst's fd. */
void qorl_update_file_handle(qorl_t *src, qorl_t *dst);

/* Lifecycle. */
qor_status_t qorl_libinit(qor_aen_app_t app_id);
qor_status_t qorl_libload(void);
void qorl_libsync(void);
void qorl_libunload(void);
void qorl_libexit(void);
/* Local "%x %X" text of time_val (seconds since the epoch) in at most len - 1 bytes. */
qor_status_t qorl_get_time_string(uint64_t time_val, char *time_str, uint8_t len);

#ifdef __cplusplus
}
#endif

#endif
