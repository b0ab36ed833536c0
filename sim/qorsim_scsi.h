/*
 * Control of the emulated targets' logical units for tests in the same
 * process. A target is named by the controller that sees it (driver and
 * instance, as in qorsim.h) and its port WWN; every logical port of that
 * controller that knows the target sees the same change. Thread-safe;
 * compiles as C11 and C++. Return 0, or -1 with the reason in qorsim_error().
 */
#ifndef QORSIM_SCSI_H
#define QORSIM_SCSI_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Peripheral device types of a unit. */
#define QORSIM_LUN_DISK 0x00
#define QORSIM_LUN_TAPE 0x01

typedef struct qorsim_lun_s {
	uint16_t lun;        /* LUN number, 0-16383 */
	uint8_t type;        /* QORSIM_LUN_DISK or QORSIM_LUN_TAPE */
	uint32_t block_size; /* 512-65536; 0: 512 */
	uint64_t blocks;
	const char *vendor;  /* NULL or "": the defaults ("QOR", "QX-Disk", ...) */
	const char *product;
	const char *revision;
	const char *serial;
} qorsim_lun_t;

/* Replaces the target's logical units (n 0: none; REPORT LUNS is then empty). */
int qorsim_scsi_set_luns(int drv, int instance, uint64_t rpwwn, const qorsim_lun_t *luns, size_t n);
/* Adds a unit (or replaces the one with its number); the target then reports
 * REPORTED LUNS DATA HAS CHANGED once. */
int qorsim_scsi_add_lun(int drv, int instance, uint64_t rpwwn, const qorsim_lun_t *lun);

/* Faults of one target's answers, until set back to QORSIM_SCSI_FAULT_NONE. */
#define QORSIM_SCSI_FAULT_NONE 0
#define QORSIM_SCSI_FAULT_UNDERRUN 1     /* only arg bytes of any data reach the buffer */
#define QORSIM_SCSI_FAULT_NO_ANSWER 2    /* the target is silent: the driver answers QOR_STATUS_ETIMER */
#define QORSIM_SCSI_FAULT_LONG_SENSE 3   /* 96 bytes of sense; the driver reports all 96 whatever the room */
#define QORSIM_SCSI_FAULT_LUN_LIST_LEN 4 /* REPORT LUNS claims a list length of arg bytes */
int qorsim_scsi_fault(int drv, int instance, uint64_t rpwwn, int mode, uint32_t arg);

#ifdef __cplusplus
}
#endif

#endif
