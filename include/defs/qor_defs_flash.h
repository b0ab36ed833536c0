/*
 * Flash partition and manufacturing block records filled by the drivers.
 * The partition types and statuses (qor_flash_part_type_t,
 * qor_flash_status_t) are in qor_defs_types.h beside their display names.
 */
#ifndef QOR_DEFS_FLASH_H
#define QOR_DEFS_FLASH_H

#include "qor_defs_types.h"

/* Partitions a flash description holds at most. */
#define QOR_FLASH_PART_MAX 32

/* One partition as the driver describes it. */
typedef struct qor_flash_part_attr_s {
	uint32_t part_type;     /* qor_flash_part_type_t */
	uint32_t part_instance;
	uint32_t part_off;      /* offset in the flash */
	uint32_t part_size;     /* room */
	uint32_t part_len;      /* bytes in use */
	uint32_t part_status;   /* qor_flash_status_t */
	char rsv[8];
} qor_flash_part_attr_t;
QOR_CHECK_SIZE(qor_flash_part_attr_t, 32);
QOR_CHECK_OFF(qor_flash_part_attr_t, part_instance, 4);
QOR_CHECK_OFF(qor_flash_part_attr_t, part_off, 8);
QOR_CHECK_OFF(qor_flash_part_attr_t, part_size, 12);
QOR_CHECK_OFF(qor_flash_part_attr_t, part_len, 16);
QOR_CHECK_OFF(qor_flash_part_attr_t, part_status, 20);
QOR_CHECK_OFF(qor_flash_part_attr_t, rsv, 24);

/* The whole flash: npart entries of part are valid. */
typedef struct qor_flash_attr_s {
	uint32_t status;
	uint32_t npart;
	qor_flash_part_attr_t part[QOR_FLASH_PART_MAX];
} qor_flash_attr_t;
QOR_CHECK_SIZE(qor_flash_attr_t, 1032);
QOR_CHECK_OFF(qor_flash_attr_t, npart, 4);
QOR_CHECK_OFF(qor_flash_attr_t, part, 8);

/* Manufacturing block, 256 bytes in flash format. */
#define QOR_MFG_BLOCK_VERSION 2
#define QOR_MFG_SERIALNUM_LEN 12
#define QOR_MFG_PARTNUM_LEN 16
typedef struct qor_mfg_block_s {
	uint8_t version;
	uint8_t mfg_sig[3];     /* "MFG" */
	uint16_t mfgsize;       /* 256 */
	uint16_t u16_chksum;
	char vlox_serialnum[QOR_MFG_SERIALNUM_LEN]; /* not terminated when full */
	char vlox_partnum[QOR_MFG_PARTNUM_LEN];     /* not terminated when full */
	uint8_t mfg_day;
	uint8_t mfg_month;
	uint16_t mfg_year;
	wwn_t mfg_wwn;          /* base WWN, bytes in wire order */
	uint8_t num_wwn;
	uint8_t mfg_speeds;
	uint8_t rsv[2];
	char supplier_id[12];
	char supplier_partnum[24];
	char supplier_serialnum[24];
	char supplier_revision[8];
	mac_t mfg_mac;          /* base MAC */
	uint8_t num_mac;
	uint8_t rsv2;
	uint32_t mfg_type;      /* card type, most significant byte first */
	uint8_t rsv3[108];
	uint8_t md5_chksum[16];
} qor_mfg_block_t;
QOR_CHECK_SIZE(qor_mfg_block_t, 256);
QOR_CHECK_OFF(qor_mfg_block_t, mfg_sig, 1);
QOR_CHECK_OFF(qor_mfg_block_t, mfgsize, 4);
QOR_CHECK_OFF(qor_mfg_block_t, u16_chksum, 6);
QOR_CHECK_OFF(qor_mfg_block_t, vlox_serialnum, 8);
QOR_CHECK_OFF(qor_mfg_block_t, vlox_partnum, 20);
QOR_CHECK_OFF(qor_mfg_block_t, mfg_day, 36);
QOR_CHECK_OFF(qor_mfg_block_t, mfg_month, 37);
QOR_CHECK_OFF(qor_mfg_block_t, mfg_year, 38);
QOR_CHECK_OFF(qor_mfg_block_t, mfg_wwn, 40);
QOR_CHECK_OFF(qor_mfg_block_t, num_wwn, 48);
QOR_CHECK_OFF(qor_mfg_block_t, mfg_speeds, 49);
QOR_CHECK_OFF(qor_mfg_block_t, rsv, 50);
QOR_CHECK_OFF(qor_mfg_block_t, supplier_id, 52);
QOR_CHECK_OFF(qor_mfg_block_t, supplier_partnum, 64);
QOR_CHECK_OFF(qor_mfg_block_t, supplier_serialnum, 88);
QOR_CHECK_OFF(qor_mfg_block_t, supplier_revision, 112);
QOR_CHECK_OFF(qor_mfg_block_t, mfg_mac, 120);
QOR_CHECK_OFF(qor_mfg_block_t, num_mac, 126);
QOR_CHECK_OFF(qor_mfg_block_t, rsv2, 127);
QOR_CHECK_OFF(qor_mfg_block_t, mfg_type, 128);
QOR_CHECK_OFF(qor_mfg_block_t, rsv3, 132);
QOR_CHECK_OFF(qor_mfg_block_t, md5_chksum, 240);

#endif
