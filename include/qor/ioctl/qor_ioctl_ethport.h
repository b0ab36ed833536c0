/*
 * Ethernet port requests (statistics, attributes) and FCoE requests
 * (statistics, statistics reset, enable, disable).
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

#define QOR_IOCTL_ETHPORT_GET_STATS QOR_IOCTL_CODE(0x43, 0x50, sizeof(qor_ioctl_ethport_stats_t))
#define QOR_IOCTL_ETHPORT_GET_ATTR QOR_IOCTL_CODE(0x43, 0x51, sizeof(qor_ioctl_ethport_attr_t))
#define QOR_IOCTL_FCOE_GET_STATS QOR_IOCTL_CODE(0xC1, 0x01, sizeof(qor_ioctl_fcport_stats_t))
#define QOR_IOCTL_FCOE_RESET_STATS QOR_IOCTL_CODE(0xC1, 0x02, sizeof(qor_ioctl_gen_t))
#define QOR_IOCTL_FCOE_ENABLE QOR_IOCTL_CODE(0xC1, 0x03, sizeof(qor_ioctl_gen_t))
#define QOR_IOCTL_FCOE_DISABLE QOR_IOCTL_CODE(0xC1, 0x04, sizeof(qor_ioctl_gen_t))

static_assert(QOR_IOCTL_ETHPORT_GET_STATS == 0xC1F04350u, "Ethernet statistics code");
static_assert(QOR_IOCTL_ETHPORT_GET_ATTR == 0xC0184351u, "Ethernet attributes code");
static_assert(QOR_IOCTL_FCOE_GET_STATS == 0xC170C101u, "FCoE statistics code");
static_assert(QOR_IOCTL_FCOE_RESET_STATS == 0xC008C102u, "FCoE statistics reset code");
static_assert(QOR_IOCTL_FCOE_ENABLE == 0xC008C103u, "FCoE enable code");
static_assert(QOR_IOCTL_FCOE_DISABLE == 0xC008C104u, "FCoE disable code");

#endif
