/*
 * Physical port and trunk requests: enable/disable, attributes, statistics,
 * topology, speed, hard ALPA, frame size, RNID data, trunk switches and
 * trunk attributes.
 */
#ifndef QOR_IOCTL_PORT_H
#define QOR_IOCTL_PORT_H

#include "qor_ioctl.h"
#include "../../defs/qor_defs_port.h"

typedef struct qor_ioctl_port_attr_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_port_attr_t attr;
} qor_ioctl_port_attr_t;
QOR_CHECK_SIZE(qor_ioctl_port_attr_t, 384);
QOR_CHECK_OFF(qor_ioctl_port_attr_t, attr, 8);

/* The driver writes buf_size bytes of qor_port_stats_t at buf_ptr. */
typedef struct qor_ioctl_port_stats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	uint32_t buf_size;
	uint32_t rsvd1;
	uint64_t buf_ptr;
} qor_ioctl_port_stats_t;
QOR_CHECK_SIZE(qor_ioctl_port_stats_t, 24);
QOR_CHECK_OFF(qor_ioctl_port_stats_t, buf_size, 8);
QOR_CHECK_OFF(qor_ioctl_port_stats_t, buf_ptr, 16);

typedef struct qor_ioctl_port_cfg_topo_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	uint32_t topo; /* qor_port_topology_t */
	uint32_t rsvd1;
} qor_ioctl_port_cfg_topo_t;
QOR_CHECK_SIZE(qor_ioctl_port_cfg_topo_t, 16);
QOR_CHECK_OFF(qor_ioctl_port_cfg_topo_t, topo, 8);

typedef struct qor_ioctl_port_cfg_speed_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	uint32_t speed; /* qor_port_speed_t */
	uint32_t rsvd1;
} qor_ioctl_port_cfg_speed_t;
QOR_CHECK_SIZE(qor_ioctl_port_cfg_speed_t, 16);
QOR_CHECK_OFF(qor_ioctl_port_cfg_speed_t, speed, 8);

typedef struct qor_ioctl_port_alpa_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	uint8_t alpa;
	uint8_t rsvd1[7];
} qor_ioctl_port_alpa_t;
QOR_CHECK_SIZE(qor_ioctl_port_alpa_t, 16);
QOR_CHECK_OFF(qor_ioctl_port_alpa_t, alpa, 8);

/* The frame size takes the header's reserved word. */
typedef struct qor_ioctl_port_cfg_maxfrsize_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t maxfrsize; /* bytes */
} qor_ioctl_port_cfg_maxfrsize_t;
QOR_CHECK_SIZE(qor_ioctl_port_cfg_maxfrsize_t, 8);
QOR_CHECK_OFF(qor_ioctl_port_cfg_maxfrsize_t, maxfrsize, 6);

typedef struct qor_ioctl_port_rnid_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_port_rnid_t info;
	uint32_t rsvd1;
	uint32_t pad_;
} qor_ioctl_port_rnid_t;
QOR_CHECK_SIZE(qor_ioctl_port_rnid_t, 64);
QOR_CHECK_OFF(qor_ioctl_port_rnid_t, info, 8);
QOR_CHECK_OFF(qor_ioctl_port_rnid_t, rsvd1, 56);

typedef struct qor_ioctl_trunk_attr_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_trunk_attr_t attr;
} qor_ioctl_trunk_attr_t;
QOR_CHECK_SIZE(qor_ioctl_trunk_attr_t, 72);
QOR_CHECK_OFF(qor_ioctl_trunk_attr_t, attr, 8);

#define QOR_IOCTL_PORT_ENABLE QOR_IOCTL_CODE(0x43, 0x2C, sizeof(qor_ioctl_gen_t))
#define QOR_IOCTL_PORT_DISABLE QOR_IOCTL_CODE(0x43, 0x2D, sizeof(qor_ioctl_gen_t))
#define QOR_IOCTL_PORT_GET_ATTR QOR_IOCTL_CODE(0x43, 0x2E, sizeof(qor_ioctl_port_attr_t))
#define QOR_IOCTL_PORT_GET_STATS QOR_IOCTL_CODE(0x43, 0x2F, sizeof(qor_ioctl_port_stats_t))
#define QOR_IOCTL_PORT_RESET_STATS QOR_IOCTL_CODE(0x43, 0x32, sizeof(qor_ioctl_gen_t))
#define QOR_IOCTL_PORT_CFG_TOPO QOR_IOCTL_CODE(0x43, 0x33, sizeof(qor_ioctl_port_cfg_topo_t))
#define QOR_IOCTL_PORT_CFG_SPEED QOR_IOCTL_CODE(0x43, 0x34, sizeof(qor_ioctl_port_cfg_speed_t))
#define QOR_IOCTL_PORT_CFG_ALPA QOR_IOCTL_CODE(0x43, 0x35, sizeof(qor_ioctl_port_alpa_t))
#define QOR_IOCTL_PORT_CLR_ALPA QOR_IOCTL_CODE(0x43, 0x36, sizeof(qor_ioctl_port_alpa_t))
#define QOR_IOCTL_PORT_CFG_MAXFRSZ QOR_IOCTL_CODE(0x43, 0x37, sizeof(qor_ioctl_port_cfg_maxfrsize_t))
#define QOR_IOCTL_PORT_CFG_RNID QOR_IOCTL_CODE(0x43, 0x3A, sizeof(qor_ioctl_port_rnid_t))
#define QOR_IOCTL_PORT_GET_RNID QOR_IOCTL_CODE(0x43, 0x3B, sizeof(qor_ioctl_port_rnid_t))
#define QOR_IOCTL_TRUNK_ENABLE QOR_IOCTL_CODE(0xC2, 0x01, sizeof(qor_ioctl_gen_t))
#define QOR_IOCTL_TRUNK_DISABLE QOR_IOCTL_CODE(0xC2, 0x02, sizeof(qor_ioctl_gen_t))
#define QOR_IOCTL_TRUNK_GET_ATTR QOR_IOCTL_CODE(0xC2, 0x03, sizeof(qor_ioctl_trunk_attr_t))

static_assert(QOR_IOCTL_PORT_ENABLE == 0xC008432Cu, "port enable code");
static_assert(QOR_IOCTL_PORT_DISABLE == 0xC008432Du, "port disable code");
static_assert(QOR_IOCTL_PORT_GET_ATTR == 0xC180432Eu, "port attributes code");
static_assert(QOR_IOCTL_PORT_GET_STATS == 0xC018432Fu, "port statistics code");
static_assert(QOR_IOCTL_PORT_RESET_STATS == 0xC0084332u, "port statistics reset code");
static_assert(QOR_IOCTL_PORT_CFG_TOPO == 0xC0104333u, "topology code");
static_assert(QOR_IOCTL_PORT_CFG_SPEED == 0xC0104334u, "speed code");
static_assert(QOR_IOCTL_PORT_CFG_ALPA == 0xC0104335u, "set hard ALPA code");
static_assert(QOR_IOCTL_PORT_CLR_ALPA == 0xC0104336u, "clear hard ALPA code");
static_assert(QOR_IOCTL_PORT_CFG_MAXFRSZ == 0xC0084337u, "frame size code");
static_assert(QOR_IOCTL_PORT_CFG_RNID == 0xC040433Au, "set RNID code");
static_assert(QOR_IOCTL_PORT_GET_RNID == 0xC040433Bu, "get RNID code");
static_assert(QOR_IOCTL_TRUNK_ENABLE == 0xC008C201u, "trunk on code");
static_assert(QOR_IOCTL_TRUNK_DISABLE == 0xC008C202u, "trunk off code");
static_assert(QOR_IOCTL_TRUNK_GET_ATTR == 0xC048C203u, "trunk attributes code");

#endif
