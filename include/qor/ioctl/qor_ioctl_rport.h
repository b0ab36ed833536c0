/*
 * Records of the remote port requests. The virtual fabric takes the
 * header's reserved word.
 */
#ifndef QOR_IOCTL_RPORT_H
#define QOR_IOCTL_RPORT_H

#include "qor_ioctl.h"
#include "../../defs/qor_defs_rport.h"

/* Add and remove. */
typedef struct qor_ioctl_rport_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t pwwn;
	wwn_t rpwwn;
} qor_ioctl_rport_t;
QOR_CHECK_SIZE(qor_ioctl_rport_t, 24);
QOR_CHECK_OFF(qor_ioctl_rport_t, rpwwn, 16);

typedef struct qor_ioctl_rport_stats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t pwwn;
	wwn_t rpwwn;
	qor_rport_stats_t stats;
} qor_ioctl_rport_stats_t;
QOR_CHECK_SIZE(qor_ioctl_rport_stats_t, 288);
QOR_CHECK_OFF(qor_ioctl_rport_stats_t, stats, 24);

typedef struct qor_ioctl_rport_reset_stats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t pwwn;
	wwn_t rpwwn;
} qor_ioctl_rport_reset_stats_t;
QOR_CHECK_SIZE(qor_ioctl_rport_reset_stats_t, 24);

typedef struct qor_ioctl_rport_attr_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t pwwn;
	wwn_t rpwwn;
	qor_rport_attr_t attr;
} qor_ioctl_rport_attr_t;
QOR_CHECK_SIZE(qor_ioctl_rport_attr_t, 344);
QOR_CHECK_OFF(qor_ioctl_rport_attr_t, attr, 24);

typedef struct qor_ioctl_rport_scsi_addr_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t pwwn;
	wwn_t rpwwn;
	uint32_t host;
	uint32_t bus;
	uint32_t target;
	uint32_t lun;
} qor_ioctl_rport_scsi_addr_t;
QOR_CHECK_SIZE(qor_ioctl_rport_scsi_addr_t, 40);
QOR_CHECK_OFF(qor_ioctl_rport_scsi_addr_t, host, 24);
QOR_CHECK_OFF(qor_ioctl_rport_scsi_addr_t, lun, 36);

typedef struct qor_ioctl_rport_set_speed_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	uint32_t speed; /* qor_port_speed_t */
	uint32_t rsvd;
	wwn_t pwwn;
	wwn_t rpwwn;
} qor_ioctl_rport_set_speed_t;
QOR_CHECK_SIZE(qor_ioctl_rport_set_speed_t, 32);
QOR_CHECK_OFF(qor_ioctl_rport_set_speed_t, speed, 8);
QOR_CHECK_OFF(qor_ioctl_rport_set_speed_t, pwwn, 16);
QOR_CHECK_OFF(qor_ioctl_rport_set_speed_t, rpwwn, 24);

#endif
