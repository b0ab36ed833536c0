/*
 * Records of the physical port and trunk requests: enable/disable,
 * attributes, statistics, topology, speed, hard ALPA, frame size, RNID
 * data, trunk switches and trunk attributes.
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

#endif
