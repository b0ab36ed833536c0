/*
 * Boot image packages and the boot flash update.
 *
 * A package is a ustar archive whose first member, "boot.txt", names for
 * each card type the members that go into its flash partitions; it may be
 * wrapped as the first member of an outer archive. Loading reads it whole
 * into memory and checks it completely before anything is written: every
 * header (magic, checksum, octal size within the file, terminated name),
 * the version line, every card description and every member a card names.
 * The tables belong to the caller's package record; concurrent loads and
 * updates share nothing.
 */
#ifndef QORL_BOOT_H
#define QORL_BOOT_H

#include <stddef.h>
#include <stdint.h>

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

/* A loaded package; zero it before loading, free it with qorl_boot_pkg_free. */
typedef struct qorl_boot_pkg_s {
	PIFDATA pimagefiledata;
	int image_count;
	PCDATA pcarddata;
	int card_count;
} qorl_boot_pkg_t;

/*
 * Loads a package held in memory (size bytes at buf) into pkg, unwrapping
 * an outer archive. QOR_STATUS_OK, or: QOR_STATUS_BAD_FILE (not a ustar
 * archive, a bad header, a member past the end, no end block, "boot.txt"
 * not first, a bad version line), QOR_STATUS_BOOT_VERSION (another package
 * version), QOR_STATUS_FAILED (a card description that cannot be read),
 * QOR_STATUS_FILE_NOT_FOUND (a card names a member the package lacks),
 * QOR_STATUS_ENOMEM. On failure pkg is left empty. buf may be freed after.
 */
qor_status_t populate_flash_data(const uint8_t *buf, size_t size, qorl_boot_pkg_t *pkg);
/* Reads the package file at path and loads it as above; a file that
 * cannot be opened or read gives QOR_STATUS_FAILED. Nothing is written
 * anywhere. */
qor_status_t qorl_boot_pkg_load(const char *path, qorl_boot_pkg_t *pkg);
/* Frees the tables and empties pkg; an empty or NULL pkg is fine. */
void qorl_boot_pkg_free(qorl_boot_pkg_t *pkg);

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
