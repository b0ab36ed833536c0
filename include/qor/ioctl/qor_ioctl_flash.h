/*
 * Flash requests: partition attributes, read, write and erase of one
 * partition, the manufacturing block, option ROM enable and disable.
 * Read and write move the whole partition in one request through the
 * caller-side buffer at buf_ptr.
 */
#ifndef QOR_IOCTL_FLASH_H
#define QOR_IOCTL_FLASH_H

#include "qor_ioctl.h"
#include "../../defs/qor_defs_flash.h"

typedef struct qor_ioctl_flash_attr_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_flash_attr_t attr; /* out */
} qor_ioctl_flash_attr_t;
QOR_CHECK_SIZE(qor_ioctl_flash_attr_t, 1040);
QOR_CHECK_OFF(qor_ioctl_flash_attr_t, attr, 8);

/* Read, write or erase one partition (erase uses no buffer). */
typedef struct qor_ioctl_flash_s {
	uint32_t status;
	uint16_t qord_num;
	uint8_t instance; /* partition instance */
	uint8_t rsvd;
	uint32_t type;    /* qor_flash_part_type_t */
	int32_t bufsz;    /* buffer size in; for a read, bytes delivered out */
	uint64_t buf_ptr; /* caller-side buffer */
} qor_ioctl_flash_t;
QOR_CHECK_SIZE(qor_ioctl_flash_t, 24);
QOR_CHECK_OFF(qor_ioctl_flash_t, instance, 6);
QOR_CHECK_OFF(qor_ioctl_flash_t, rsvd, 7);
QOR_CHECK_OFF(qor_ioctl_flash_t, type, 8);
QOR_CHECK_OFF(qor_ioctl_flash_t, bufsz, 12);
QOR_CHECK_OFF(qor_ioctl_flash_t, buf_ptr, 16);

typedef struct qor_ioctl_flash_mfg_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t rsvd;
	qor_mfg_block_t mfgblk; /* in */
} qor_ioctl_flash_mfg_t;
QOR_CHECK_SIZE(qor_ioctl_flash_mfg_t, 264);
QOR_CHECK_OFF(qor_ioctl_flash_mfg_t, mfgblk, 8);

#endif
