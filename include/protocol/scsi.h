/*
 * SCSI layouts (SAM, SPC, SBC) for commands sent through the pass-through:
 * the CDB, the standard commands' operation codes, REPORT LUNS data and LUN
 * addressing, fixed-format sense, standard INQUIRY data, the VPD pages 0x00,
 * 0x80 and 0x83, READ CAPACITY(10) and (16) data. Wire order: multi-byte
 * fields are big-endian byte arrays. Compiles as C11 and C++.
 */
#ifndef SCSI_H
#define SCSI_H

#include "fc_fchs.h"

#define SCSI_CHECK_SIZE FC_CHECK_SIZE
#define SCSI_CHECK_OFF FC_CHECK_OFF

/* A command descriptor block; bytes past the command's length are zero. */
#define SCSI_CDB_LEN 16
typedef struct scsi_cdb_s {
	uint8_t scsi_cdb[SCSI_CDB_LEN];
} scsi_cdb_t;
SCSI_CHECK_SIZE(scsi_cdb_t, 16);

/* An FCP LUN: the 8 bytes of the FCP_LUN field in wire order, compared as 64 bits. */
typedef uint64_t lun_t;
#define SCSI_LUN_LEN 8

/* Operation codes. */
#define SCSI_OP_TEST_UNIT_READY 0x00
#define SCSI_OP_INQUIRY 0x12
#define SCSI_OP_READ_CAPACITY10 0x25
#define SCSI_OP_READ10 0x28
#define SCSI_OP_SERVICE_ACTION_IN16 0x9E
#define SCSI_SAI_READ_CAPACITY16 0x10 /* service action, CDB byte 1 */
#define SCSI_OP_REPORT_LUNS 0xA0

/* CDB fields the builders set. */
#define SCSI_INQUIRY_EVPD 0x01            /* byte 1 */
#define SCSI_INQUIRY_ALLOC_OFF 3          /* 16-bit allocation length */
#define SCSI_RC16_ALLOC_OFF 10            /* 32-bit allocation length */
#define SCSI_REPORT_LUNS_ALLOC_OFF 6      /* 32-bit allocation length */
#define SCSI_READ10_LBA_OFF 2             /* 32-bit logical block address */
#define SCSI_READ10_LEN_OFF 7             /* 16-bit transfer length in blocks */

/* Status byte. */
#define SCSI_STATUS_GOOD 0x00
#define SCSI_STATUS_CHECK_CONDITION 0x02
#define SCSI_STATUS_CONDITION_MET 0x04
#define SCSI_STATUS_BUSY 0x08
#define SCSI_STATUS_RESERVATION_CONFLICT 0x18
#define SCSI_STATUS_TASK_SET_FULL 0x28
#define SCSI_STATUS_ACA_ACTIVE 0x30
#define SCSI_STATUS_TASK_ABORTED 0x40

/* Sense keys. */
#define SCSI_SK_NO_SENSE 0x0
#define SCSI_SK_RECOVERED_ERROR 0x1
#define SCSI_SK_NOT_READY 0x2
#define SCSI_SK_MEDIUM_ERROR 0x3
#define SCSI_SK_HARDWARE_ERROR 0x4
#define SCSI_SK_ILLEGAL_REQUEST 0x5
#define SCSI_SK_UNIT_ATTENTION 0x6
#define SCSI_SK_DATA_PROTECT 0x7
#define SCSI_SK_BLANK_CHECK 0x8
#define SCSI_SK_VENDOR_SPECIFIC 0x9
#define SCSI_SK_COPY_ABORTED 0xA
#define SCSI_SK_ABORTED_COMMAND 0xB
#define SCSI_SK_VOLUME_OVERFLOW 0xD
#define SCSI_SK_MISCOMPARE 0xE
#define SCSI_SK_COMPLETED 0xF

/* Additional sense codes (ASC, ASCQ) that the emulated targets return. */
#define SCSI_ASC_INVALID_OPCODE 0x20          /* 00: invalid command operation code */
#define SCSI_ASC_LBA_OUT_OF_RANGE 0x21        /* 00: logical block address out of range */
#define SCSI_ASC_INVALID_FIELD_IN_CDB 0x24    /* 00 */
#define SCSI_ASC_LUN_NOT_SUPPORTED 0x25       /* 00: logical unit not supported */
#define SCSI_ASC_TARGET_CHANGED 0x3F          /* target operating conditions have changed */
#define SCSI_ASCQ_REPORTED_LUNS_CHANGED 0x0E  /* 3F/0E: reported LUNs data has changed */

/*
 * REPORT LUNS parameter data: the LUN list length in bytes, 4 reserved
 * bytes, then one 8-byte LUN per entry.
 */
typedef struct scsi_report_luns_data_s {
	uint8_t lun_list_length[4];
	uint8_t rsvd[4];
} scsi_report_luns_data_t;
SCSI_CHECK_SIZE(scsi_report_luns_data_t, 8);
#define SCSI_REPORT_LUNS_HDR_LEN 8
/* Most entries the library takes from one report (more are cut). */
#define SCSI_REPORT_LUNS_MAX 16384u
#define SCSI_REPORT_LUNS_MAX_LEN (SCSI_REPORT_LUNS_HDR_LEN + SCSI_REPORT_LUNS_MAX * SCSI_LUN_LEN)

/*
 * First-level LUN addressing (SAM): bits 7-6 of byte 0 are the address
 * method, the remaining 14 bits of bytes 0 and 1 the LUN number.
 * Peripheral device addressing carries numbers below 256, flat space
 * addressing the rest.
 */
#define SCSI_LUN_AM_MASK 0xC0
#define SCSI_LUN_AM_PERIPHERAL 0x00
#define SCSI_LUN_AM_FLAT 0x40
#define SCSI_LUN_NUMBER_MAX 0x3FFF

static inline void scsi_lun_encode(uint16_t number, uint8_t out[SCSI_LUN_LEN])
{
	memset(out, 0, SCSI_LUN_LEN);
	number &= SCSI_LUN_NUMBER_MAX;
	out[0] = (uint8_t)((number < 256 ? SCSI_LUN_AM_PERIPHERAL : SCSI_LUN_AM_FLAT) | (number >> 8));
	out[1] = (uint8_t)number;
}
/* The 14-bit number of the first level, without the address method bits. */
static inline uint16_t scsi_lun_number(const uint8_t in[SCSI_LUN_LEN])
{
	return (uint16_t)(((in[0] & 0x3F) << 8) | in[1]);
}

/* Fixed-format sense data (response code 0x70 current, 0x71 deferred). */
typedef struct scsi_sense_fixed_s {
	uint8_t response_code;  /* bit 7: information field valid */
	uint8_t obsolete;
	uint8_t flags_key;      /* bit 7 filemark, 6 end of medium, 5 ILI; 3-0 sense key */
	uint8_t information[4];
	uint8_t add_sense_len;  /* bytes that follow this one */
	uint8_t cmd_info[4];
	uint8_t asc;
	uint8_t ascq;
	uint8_t fruc;
	uint8_t sks[3];
} scsi_sense_fixed_t;
SCSI_CHECK_SIZE(scsi_sense_fixed_t, 18);
SCSI_CHECK_OFF(scsi_sense_fixed_t, add_sense_len, 7);
SCSI_CHECK_OFF(scsi_sense_fixed_t, asc, 12);
SCSI_CHECK_OFF(scsi_sense_fixed_t, ascq, 13);
#define SCSI_SENSE_FIXED_CURRENT 0x70
#define SCSI_SENSE_FIXED_DEFERRED 0x71
#define SCSI_SENSE_DESC_CURRENT 0x72
#define SCSI_SENSE_DESC_DEFERRED 0x73
#define SCSI_SENSE_VALID 0x80
#define SCSI_SENSE_FILEMARK 0x80
#define SCSI_SENSE_EOM 0x40
#define SCSI_SENSE_ILI 0x20
#define SCSI_SENSE_MAX_LEN 252 /* 8 + the largest additional length */

/* Peripheral byte: qualifier in bits 7-5, device type in bits 4-0. */
#define SCSI_PQ_CONNECTED 0x00
#define SCSI_PQ_NOT_SUPPORTED 0x60 /* no logical unit at this LUN */
#define SCSI_TYPE_DISK 0x00
#define SCSI_TYPE_TAPE 0x01
#define SCSI_TYPE_NONE 0x1F

/* Standard INQUIRY data, the first 36 bytes. */
typedef struct scsi_inquiry_data_s {
	uint8_t peripheral;
	uint8_t rmb;             /* bit 7: removable medium */
	uint8_t version;         /* 5: SPC-3, 6: SPC-4 */
	uint8_t response_format; /* bits 3-0: 2; bit 4 HISUP */
	uint8_t add_len;         /* bytes that follow this one */
	uint8_t flags[3];
	uint8_t vendor[8];       /* ASCII, space padded */
	uint8_t product[16];
	uint8_t revision[4];
} scsi_inquiry_data_t;
SCSI_CHECK_SIZE(scsi_inquiry_data_t, 36);
SCSI_CHECK_OFF(scsi_inquiry_data_t, vendor, 8);
SCSI_CHECK_OFF(scsi_inquiry_data_t, product, 16);
SCSI_CHECK_OFF(scsi_inquiry_data_t, revision, 32);

/* Vital product data pages: a 4-byte header, then the page. */
#define SCSI_VPD_SUPPORTED_PAGES 0x00
#define SCSI_VPD_UNIT_SERIAL 0x80
#define SCSI_VPD_DEVICE_ID 0x83
typedef struct scsi_vpd_hdr_s {
	uint8_t peripheral;
	uint8_t page_code;
	uint8_t page_len[2]; /* bytes that follow the header */
} scsi_vpd_hdr_t;
SCSI_CHECK_SIZE(scsi_vpd_hdr_t, 4);

/* Device identification (page 0x83): designation descriptors, each a
 * 4-byte header and `len` bytes of designator. */
typedef struct scsi_vpd_desig_s {
	uint8_t proto_codeset; /* bits 7-4 protocol identifier, 3-0 code set */
	uint8_t piv_assoc_type; /* bit 7 PIV, 5-4 association, 3-0 designator type */
	uint8_t rsvd;
	uint8_t len;
} scsi_vpd_desig_t;
SCSI_CHECK_SIZE(scsi_vpd_desig_t, 4);
#define SCSI_CODESET_BINARY 1
#define SCSI_CODESET_ASCII 2
#define SCSI_CODESET_UTF8 3
#define SCSI_ASSOC_LU 0
#define SCSI_ASSOC_TARGET_PORT 1
#define SCSI_ASSOC_TARGET_DEVICE 2
#define SCSI_DESIG_VENDOR 0
#define SCSI_DESIG_T10 1
#define SCSI_DESIG_EUI64 2
#define SCSI_DESIG_NAA 3
#define SCSI_DESIG_REL_TGT_PORT 4
#define SCSI_PROTO_FCP 0

/* READ CAPACITY(10) data. A last LBA of 0xFFFFFFFF means "ask READ CAPACITY(16)". */
typedef struct scsi_read_capacity10_data_s {
	uint8_t last_lba[4];
	uint8_t block_len[4];
} scsi_read_capacity10_data_t;
SCSI_CHECK_SIZE(scsi_read_capacity10_data_t, 8);
#define SCSI_RC10_LBA_OVERFLOW 0xFFFFFFFFu

/* READ CAPACITY(16) data. */
typedef struct scsi_read_capacity16_data_s {
	uint8_t last_lba[8];
	uint8_t block_len[4];
	uint8_t prot;   /* P_TYPE, PROT_EN */
	uint8_t lbppbe; /* logical blocks per physical block exponent */
	uint8_t lalba[2];
	uint8_t rsvd[16];
} scsi_read_capacity16_data_t;
SCSI_CHECK_SIZE(scsi_read_capacity16_data_t, 32);
SCSI_CHECK_OFF(scsi_read_capacity16_data_t, block_len, 8);

#endif
