/*
 * Records of the controller requests: version, instance list, identity,
 * attributes, statistics, firmware statistics, enable/disable, names, FC
 * attributes and interrupt coalescing.
 */
#ifndef QOR_IOCTL_IOC_H
#define QOR_IOCTL_IOC_H

#include "qor_ioctl.h"
#include "../../defs/qor_defs_ioc.h"

typedef struct qor_ioctl_ioc_get_version_s {
	uint32_t status;
	uint32_t version;
} qor_ioctl_ioc_get_version_t;
QOR_CHECK_SIZE(qor_ioctl_ioc_get_version_t, 8);

/* Instance list: no status field. */
#define QOR_MAX_INSTANCES 128
typedef struct qor_ioctl_ioc_get_inst_s {
	uint32_t cnt;
	uint32_t rsvd;
	uint8_t bm[32]; /* instance i: bit (i % 8) of byte (i / 8) */
} qor_ioctl_ioc_get_inst_t;
QOR_CHECK_SIZE(qor_ioctl_ioc_get_inst_t, 40);
QOR_CHECK_OFF(qor_ioctl_ioc_get_inst_t, bm, 8);

typedef struct qor_ioctl_ioc_info_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	char serialnum[64];
	char hwpath[32];
	char adapter_hwpath[32];
	char guid[128];
	char name[64];
	char port_name[64];
	char eth_name[64];
	wwn_t pwwn;
	wwn_t nwwn;
	wwn_t factorypwwn;
	wwn_t factorynwwn;
	mac_t mac;
	mac_t factory_mac;
	mac_t current_mac;
	uint8_t pad_[2]; /* alignment of ioc_type */
	uint32_t ioc_type; /* qor_ioc_type_e */
	uint16_t pvid;
	uint16_t rsvd1[3];
} qor_ioctl_ioc_info_t;
QOR_CHECK_SIZE(qor_ioctl_ioc_info_t, 520);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, serialnum, 8);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, hwpath, 72);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, adapter_hwpath, 104);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, guid, 136);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, name, 264);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, port_name, 328);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, eth_name, 392);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, pwwn, 456);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, nwwn, 464);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, factorypwwn, 472);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, factorynwwn, 480);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, mac, 488);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, factory_mac, 494);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, current_mac, 500);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, ioc_type, 508);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, pvid, 512);
QOR_CHECK_OFF(qor_ioctl_ioc_info_t, rsvd1, 514);

typedef struct qor_ioctl_ioc_attr_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_ioc_attr_t ioc_attr;
} qor_ioctl_ioc_attr_t;
QOR_CHECK_SIZE(qor_ioctl_ioc_attr_t, 1608);
QOR_CHECK_OFF(qor_ioctl_ioc_attr_t, ioc_attr, 8);

typedef struct qor_ioctl_ioc_stats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_ioc_stats_t ioc_stats;
} qor_ioctl_ioc_stats_t;
QOR_CHECK_SIZE(qor_ioctl_ioc_stats_t, 76);

/* The driver writes the 644-byte qor_fw_stats_t at buf_ptr. */
typedef struct qor_ioctl_ioc_fwstats_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	uint32_t buf_size;
	uint32_t rsvd1;
	uint64_t buf_ptr;
} qor_ioctl_ioc_fwstats_t;
QOR_CHECK_SIZE(qor_ioctl_ioc_fwstats_t, 24);
QOR_CHECK_OFF(qor_ioctl_ioc_fwstats_t, buf_ptr, 16);

typedef struct qor_ioctl_iocfc_attr_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_iocfc_attr_t iocfc_attr;
} qor_ioctl_iocfc_attr_t;
QOR_CHECK_SIZE(qor_ioctl_iocfc_attr_t, 64);

typedef struct qor_ioctl_iocfc_intr_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_iocfc_intr_attr_t attr;
} qor_ioctl_iocfc_intr_t;
QOR_CHECK_SIZE(qor_ioctl_iocfc_intr_t, 16);
QOR_CHECK_OFF(qor_ioctl_iocfc_intr_t, attr, 8);

/* Names a port (request 0x0B) or a whole adapter (request 0x0A). */
typedef struct qor_ioctl_ioc_set_adapter_name_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	char name[64];
} qor_ioctl_ioc_set_adapter_name_t;
QOR_CHECK_SIZE(qor_ioctl_ioc_set_adapter_name_t, 72);

#endif
