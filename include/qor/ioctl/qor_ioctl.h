/*
 * The request channel shared with the drivers: request code encoding,
 * module type bytes and the common request header.
 */
#ifndef QOR_IOCTL_H
#define QOR_IOCTL_H

#include "../../defs/qor_defs_types.h"

/* Device nodes. */
#define QOR_DEV_FC "/dev/qor"
#define QOR_DEV_IPFC "/dev/qoripfc"
#define QOR_DEV_ETH "/dev/vek"

/*
 * A request code is a Linux ioctl number: direction 3 (the record goes to
 * the driver and its reply comes back in it), payload size, type, number.
 */
#define QOR_IOC_DIR_RW 3u
#define QOR_IOCTL_CODE(type, nr, size) \
	((uint32_t)((QOR_IOC_DIR_RW << 30) | (((uint32_t)(size) & 0x3fffu) << 16) | \
		    (((uint32_t)(type) & 0xffu) << 8) | ((uint32_t)(nr) & 0xffu)))
#define QOR_IOCTL_TYPE(code) (((code) >> 8) & 0xffu)
#define QOR_IOCTL_NR(code) ((code) & 0xffu)
#define QOR_IOCTL_SIZE(code) (((code) >> 16) & 0x3fffu)

/* Module type bytes. */
#define QOR_IOCTL_TYPE_IOC 0x43     /* controller, adapter, port, aen, flash, ethport */
#define QOR_IOCTL_TYPE_ETH 0x44     /* any request sent to the Ethernet driver */
#define QOR_IOCTL_TYPE_IOCFC 0xB0   /* controller FC attributes, coalescing */
#define QOR_IOCTL_TYPE_LPORT 0xB1
#define QOR_IOCTL_TYPE_RPORT 0xB2
#define QOR_IOCTL_TYPE_FCPT 0xBA    /* fabric pass-through, SCSI */
#define QOR_IOCTL_TYPE_ITNIM 0xBB
#define QOR_IOCTL_TYPE_FCOE 0xC1
#define QOR_IOCTL_TYPE_TRUNK 0xC2

/* The driver interface version this library is built for. */
#define QOR_DRV_INTERFACE_VERSION 4133

/* Common header that opens most request records. */
typedef struct qor_ioctl_gen_s {
	uint32_t status;   /* qor_status_t, written by the driver */
	uint16_t qord_num; /* driver instance of the target controller */
	uint16_t rsvd;
} qor_ioctl_gen_t;
QOR_CHECK_SIZE(qor_ioctl_gen_t, 8);

#endif
