/*
 * Boot image packages and the boot flash update.
 *
 * A package is a ustar archive whose first member, "boot.txt", names for
 * each card type the members that go into its flash partitions; it may be
 * wrapped as the first member of an outer archive, which is unwrapped in
 * memory (nothing is written anywhere). Loading reads the stream whole and
 * checks it completely before anything is written: every header (magic,
 * checksum, octal size within the file, terminated name), the version line,
 * every card description and every member a card names.
 *
 * The tables (pimagefiledata and pcarddata inside the library; read
 * through qorl_boot_pkg_image and qorl_boot_pkg_card) are module-wide and
 * serve one package at a time per process:
 * a package loaded with populate_flash_data is held until
 * qorl_boot_pkg_free, and qorl_boot_fwupdate holds its own from loading to
 * the end of the update. Meanwhile another load, update or free gets
 * QOR_STATUS_DEVBUSY and touches nothing.
 */
#ifndef QORL_BOOT_H
#define QORL_BOOT_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "qorl.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The package version this library reads ("boot.txt" line 1: "Version=2.3.0.0"). */
#define QORL_BOOT_PKG_VERSION "2.3.0.0"
/* Packages larger than this are refused with QOR_STATUS_BAD_FILE. */
#define QORL_BOOT_PKG_MAX_SIZE (64u << 20)
/* Adapters an all-adapters update serves at most. */
#define QORL_BOOT_MAX_ADAPTERS 16

/* One archive member, in archive order. */
typedef struct IMAGEFILE_DATA_S {
	char iname[100];      /* member name */
	uint8_t *ibuf;        /* its data, isize bytes */
	int isize;
	qor_boolean_t ialloc; /* ibuf is owned by the table */
} IMAGEFILE_DATA_T, *PIFDATA;

/* One card description of "boot.txt"; an empty name: no image of that kind. */
typedef struct CARD_DATA_S {
	uint32_t card_type;
	char firmware_name[100];     /* FIRMWARE: firmware partition */
	char option_rom_name[100];   /* OPTROM: first option ROM */
	char option_rom_2_name[100]; /* OPTROM2: second option ROM */
	char boot_overlay_name[100]; /* BOOTOVL */
	char pxe_overlay_name[100];  /* PXEOVL */
	char fw_config_name[100];    /* FWCFG: written to each port below */
	uint8_t *port;               /* partition instances for FWCFG */
	int portcnt;
} CARD_DATA_T, *PCDATA;

/*
 * Loads the package the stream holds (read whole, from its start when it
 * can seek) into the module-wide tables and gives their counts.
 * QOR_STATUS_OK, or: QOR_STATUS_BAD_FILE (not a ustar archive, a bad
 * header, a member past the end, no end block, "boot.txt" not first, a bad
 * version line, larger than QORL_BOOT_PKG_MAX_SIZE), QOR_STATUS_BOOT_VERSION
 * (another package version), QOR_STATUS_FAILED (a card description that
 * cannot be read, a stream that cannot be read), QOR_STATUS_FILE_NOT_FOUND
 * (a card names a member the package lacks), QOR_STATUS_ENOMEM,
 * QOR_STATUS_DEVBUSY (a package is held), QOR_STATUS_EINVAL (a NULL
 * argument). On failure nothing is held and the counts are 0. The caller
 * keeps fp.
 */
qor_status_t populate_flash_data(FILE *fp, int *image_count, int *card_count);
/* Frees the tables populate_flash_data loaded; QOR_STATUS_OK (also when
 * nothing is held), or QOR_STATUS_DEVBUSY while an update holds them or a
 * call is using them. */
qor_status_t qorl_boot_pkg_free(void);
/* Entry i of the held package's image table (archive order) or card table
 * (file order); NULL for an index beyond its count, or while no package
 * is held by populate_flash_data. Valid until qorl_boot_pkg_free. */
const IMAGEFILE_DATA_T *qorl_boot_pkg_image(int i);
const CARD_DATA_T *qorl_boot_pkg_card(int i);

/*
 * Progress of one adapter's update, written by the update as it goes. A
 * caller that watches from another thread reads it with
 * qorl_boot_progress_get; the update never waits for the reader.
 */
typedef enum qorl_boot_state {
	QORL_BOOT_IDLE = 0,    /* not started (or no such adapter) */
	QORL_BOOT_RUNNING = 1,
	QORL_BOOT_DONE = 2     /* status holds the adapter's result */
} qorl_boot_state_t;

#define QORL_BOOT_MAX_WRITES 48
typedef struct qorl_boot_part_s {
	uint32_t type;     /* qor_flash_part_type_t */
	uint32_t instance;
} qorl_boot_part_t;

typedef struct qorl_boot_progress_s {
	uint32_t state;         /* qorl_boot_state_t */
	uint32_t ad_id;         /* adapter number; 0 for a controller given by the caller */
	uint32_t status;        /* qor_status_t, once done */
	uint32_t part_type;     /* partition being written (or that failed); 0 for none */
	uint32_t part_instance;
	uint32_t nwritten;      /* entries of written[] */
	uint64_t bytes_done;    /* bytes written and verified so far */
	uint64_t bytes_total;   /* bytes the adapter's update writes */
	qorl_boot_part_t written[QORL_BOOT_MAX_WRITES]; /* partitions written, in order */
} qorl_boot_progress_t;

/*
 * Writes the boot image package at fwimgfile to the adapter of controller
 * qorl, or to every adapter (at most 16, one worker each) when qorl is NULL.
 *
 * devid: 0 to use each controller's own PCI device ID; 0x13, 0x14, 0x17 or
 * 0x21 to use that one for the whole update (0x14, 0x17 and 0x21 are
 * written into the option ROM images); any other value gives
 * QOR_STATUS_INVALID_DEVID. For each adapter the card description of its
 * card type is written: firmware, first option ROM (device ID and checksums
 * fixed, version taken; the OEM model's VPD rebuilt after it), second
 * option ROM, boot overlay, PXE overlay, firmware configuration per port;
 * then the option ROM is enabled. A failed write stops that adapter at once
 * and leaves its option ROM off; what was written stays written.
 *
 * All adapters: bit (n - 1) of *status is set for each adapter n updated,
 * err_code[n - 1] holds its result and the entries of adapters not present
 * QOR_STATUS_FAILED; the result is QOR_STATUS_OK once the workers ran,
 * QOR_STATUS_FAILED for more than 16 adapters. One controller: the result
 * is the adapter's. The package tables being one per process, an update
 * (of one adapter or all) while another runs in this process, or while a
 * package loaded with populate_flash_data is held, gets QOR_STATUS_DEVBUSY.
 * Any failure before flashing (devid, package, busy) is also stored in all
 * 16 err_code entries. status and err_code may be NULL.
 */
qor_status_t qorl_boot_fwupdate(qorl_t *qorl, const char *fwimgfile, uint16_t devid, uint16_t *status,
				qor_status_t *err_code);
/* As above, reporting progress: progress[n - 1] for adapter n when all are
 * updated (16 entries), progress[0] for one controller. May be NULL. */
qor_status_t qorl_boot_fwupdate_progress(qorl_t *qorl, const char *fwimgfile, uint16_t devid, uint16_t *status,
					 qor_status_t *err_code, qorl_boot_progress_t *progress);
/* A consistent copy of a progress record another thread is writing. */
void qorl_boot_progress_get(const qorl_boot_progress_t *live, qorl_boot_progress_t *snapshot);

/*
 * With a package held from populate_flash_data (image_count and card_count
 * at most as it gave them, else QOR_STATUS_EINVAL; QOR_STATUS_DEVBUSY while
 * qorl_boot_fwupdate holds the tables):
 *
 * One adapter: the card description for cardtype written through
 * controller qorl with device ID devid (used as given), as above.
 */
qor_status_t qorl_boot_flash_data(qorl_t *qorl, uint16_t devid, uint32_t cardtype, int image_count,
				  int card_count);
/* Every adapter, one joinable worker each, with each controller's own
 * device ID, results as above. The per-adapter work records are one per
 * process: QOR_STATUS_DEVBUSY while another update of all adapters runs. */
qor_status_t qorl_update_adapter_thread(uint16_t *status, qor_status_t *err_code, int image_count,
					int card_count);

/* Value of octal digit text up to its NUL, modulo 2^32 (no character is checked). */
int octal_to_decimal(const char *octal);
/* 8 to the power pwr (modulo 2^32); 1 for pwr <= 0. */
int power(int pwr);
/* Items of a comma-separated list: the number of commas plus one (0 for NULL). */
int get_card_type_cnt(const char *s);
int get_port_cnt(const char *s);

#ifdef __cplusplus
}
#endif

#endif
