/*
 * SCSI command to a logical unit behind a remote port. The record carries
 * the addresses of the caller's data and sense buffers; the driver moves
 * the data and sense bytes straight between them and the target.
 */
#ifndef QOR_IOCTL_SCSI_H
#define QOR_IOCTL_SCSI_H

#include "qor_ioctl.h"
#include "../../protocol/scsi.h"

typedef struct qor_ioctl_scsi_s {
	uint32_t status;       /* out: the driver's status for the exchange */
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t lpwwn;           /* local port that sends */
	wwn_t rpwwn;           /* remote port of the logical unit */
	lun_t lun;             /* FCP LUN, wire order */
	scsi_cdb_t cdb;
	int32_t write;         /* 0: data from the device */
	uint32_t iosz;         /* data buffer size */
	uint8_t rsvd1[3];
	uint8_t scsi_status;   /* out: SCSI status byte */
	uint32_t snssz;        /* in: sense buffer size; out: sense bytes returned */
	uint64_t iobuf_ptr;    /* the caller's data buffer */
	uint64_t snsbuf_pt;    /* the caller's sense buffer */
} qor_ioctl_scsi_t;
QOR_CHECK_SIZE(qor_ioctl_scsi_t, 80);
QOR_CHECK_OFF(qor_ioctl_scsi_t, status, 0);
QOR_CHECK_OFF(qor_ioctl_scsi_t, qord_num, 4);
QOR_CHECK_OFF(qor_ioctl_scsi_t, vf_id, 6);
QOR_CHECK_OFF(qor_ioctl_scsi_t, lpwwn, 8);
QOR_CHECK_OFF(qor_ioctl_scsi_t, rpwwn, 16);
QOR_CHECK_OFF(qor_ioctl_scsi_t, lun, 24);
QOR_CHECK_OFF(qor_ioctl_scsi_t, cdb, 32);
QOR_CHECK_OFF(qor_ioctl_scsi_t, write, 48);
QOR_CHECK_OFF(qor_ioctl_scsi_t, iosz, 52);
QOR_CHECK_OFF(qor_ioctl_scsi_t, rsvd1, 56);
QOR_CHECK_OFF(qor_ioctl_scsi_t, scsi_status, 59);
QOR_CHECK_OFF(qor_ioctl_scsi_t, snssz, 60);
QOR_CHECK_OFF(qor_ioctl_scsi_t, iobuf_ptr, 64);
QOR_CHECK_OFF(qor_ioctl_scsi_t, snsbuf_pt, 72);

#endif
