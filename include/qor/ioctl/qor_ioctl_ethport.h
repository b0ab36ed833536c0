/*
 * Records of the Ethernet port requests (statistics, attributes) and FCoE
 * requests (statistics, statistics reset, enable, disable).
 */
#ifndef QOR_IOCTL_ETHPORT_H
#define QOR_IOCTL_ETHPORT_H

#include "qor_ioctl.h"
#include "../../defs/qor_defs_ethport.h"

typedef struct qor_ioctl_ethport_stats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_ethport_stats_t stats;
} qor_ioctl_ethport_stats_t;
QOR_CHECK_SIZE(qor_ioctl_ethport_stats_t, 496);
QOR_CHECK_OFF(qor_ioctl_ethport_stats_t, stats, 8);

typedef struct qor_ioctl_ethport_attr_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_ethport_attr_t attr;
} qor_ioctl_ethport_attr_t;
QOR_CHECK_SIZE(qor_ioctl_ethport_attr_t, 24);
QOR_CHECK_OFF(qor_ioctl_ethport_attr_t, attr, 8);

typedef struct qor_ioctl_fcport_stats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_fcport_stats_t stats;
} qor_ioctl_fcport_stats_t;
QOR_CHECK_SIZE(qor_ioctl_fcport_stats_t, 368);
QOR_CHECK_OFF(qor_ioctl_fcport_stats_t, stats, 8);

#endif
