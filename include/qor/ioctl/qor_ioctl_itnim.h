/*
 * Records of the IT nexus requests, named by logical and remote port WWN.
 * The virtual fabric takes the header's reserved word.
 */
#ifndef QOR_IOCTL_ITNIM_H
#define QOR_IOCTL_ITNIM_H

#include "qor_ioctl.h"
#include "../../defs/qor_defs_itnim.h"

typedef struct qor_ioctl_itnim_attr_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t lpwwn;
	wwn_t rpwwn;
	qor_itnim_attr_t attr;
} qor_ioctl_itnim_attr_t;
QOR_CHECK_SIZE(qor_ioctl_itnim_attr_t, 32);
QOR_CHECK_OFF(qor_ioctl_itnim_attr_t, attr, 24);

typedef struct qor_ioctl_itnim_iostats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t lpwwn;
	wwn_t rpwwn;
	qor_itnim_iostats_t iostats;
} qor_ioctl_itnim_iostats_t;
QOR_CHECK_SIZE(qor_ioctl_itnim_iostats_t, 216);
QOR_CHECK_OFF(qor_ioctl_itnim_iostats_t, iostats, 24);

typedef struct qor_ioctl_itnim_reset_stats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t lpwwn;
	wwn_t rpwwn;
} qor_ioctl_itnim_reset_stats_t;
QOR_CHECK_SIZE(qor_ioctl_itnim_reset_stats_t, 24);

typedef struct qor_ioctl_itnim_itnstats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t lpwwn;
	wwn_t rpwwn;
	qor_itnim_stats_t itnstats;
} qor_ioctl_itnim_itnstats_t;
QOR_CHECK_SIZE(qor_ioctl_itnim_itnstats_t, 72);
QOR_CHECK_OFF(qor_ioctl_itnim_itnstats_t, itnstats, 24);

typedef struct qor_ioctl_itnim_ioprofile_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t lpwwn;
	wwn_t rpwwn;
	qor_itnim_ioprofile_t ioprofile;
} qor_ioctl_itnim_ioprofile_t;
QOR_CHECK_SIZE(qor_ioctl_itnim_ioprofile_t, 320);
QOR_CHECK_OFF(qor_ioctl_itnim_ioprofile_t, ioprofile, 24);

#endif
