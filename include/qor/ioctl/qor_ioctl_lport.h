/*
 * Records of the logical port requests. The virtual fabric takes the
 * header's reserved word.
 */
#ifndef QOR_IOCTL_LPORT_H
#define QOR_IOCTL_LPORT_H

#include "qor_ioctl.h"
#include "../../defs/qor_defs_lport.h"
#include "../../defs/qor_defs_itnim.h"

typedef struct qor_ioctl_lport_attr_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t pwwn;
	qor_lport_attr_t port_attr;
} qor_ioctl_lport_attr_t;
QOR_CHECK_SIZE(qor_ioctl_lport_attr_t, 232);
QOR_CHECK_OFF(qor_ioctl_lport_attr_t, vf_id, 6);
QOR_CHECK_OFF(qor_ioctl_lport_attr_t, pwwn, 8);
QOR_CHECK_OFF(qor_ioctl_lport_attr_t, port_attr, 16);

typedef struct qor_ioctl_lport_iostats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t pwwn;
	qor_itnim_iostats_t iostats;
} qor_ioctl_lport_iostats_t;
QOR_CHECK_SIZE(qor_ioctl_lport_iostats_t, 208);
QOR_CHECK_OFF(qor_ioctl_lport_iostats_t, iostats, 16);

typedef struct qor_ioctl_lport_stats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t pwwn;
	qor_lport_stats_t port_stats;
} qor_ioctl_lport_stats_t;
QOR_CHECK_SIZE(qor_ioctl_lport_stats_t, 224);
QOR_CHECK_OFF(qor_ioctl_lport_stats_t, port_stats, 16);

typedef struct qor_ioctl_lport_reset_stats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t pwwn;
} qor_ioctl_lport_reset_stats_t;
QOR_CHECK_SIZE(qor_ioctl_lport_reset_stats_t, 16);

/* The driver writes up to nrports WWNs at rbuf_ptr and returns its count. */
typedef struct qor_ioctl_lport_get_rports_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t pwwn;
	uint64_t rbuf_ptr;
	uint32_t nrports; /* in: room; out: count */
	uint32_t rsvd;
} qor_ioctl_lport_get_rports_t;
QOR_CHECK_SIZE(qor_ioctl_lport_get_rports_t, 32);
QOR_CHECK_OFF(qor_ioctl_lport_get_rports_t, rbuf_ptr, 16);
QOR_CHECK_OFF(qor_ioctl_lport_get_rports_t, nrports, 24);

#endif
