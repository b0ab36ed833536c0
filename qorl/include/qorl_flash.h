/*
 * Flash partitions of an adapter: attributes, read, write (with the
 * firmware checksum and a read-back compare), erase, the manufacturing
 * block and the option ROM switch. Each operation is one driver request on
 * a controller (two for a write: the write and its read-back); the driver
 * moves a whole partition at a time and serialises flash access.
 */
#ifndef QORL_FLASH_H
#define QORL_FLASH_H

#include <stdint.h>

#include "qorl.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Every operation returns the channel's failure when the request could not
 * be sent, else the driver's status, unless it stops earlier as described.
 * A NULL controller gives QOR_STATUS_EINVAL.
 */

/* The partitions of the controller's adapter; attr is filled whenever the
 * request reached the driver. */
qor_status_t qorl_flash_get_attr(qorl_t *qorl, qor_flash_attr_t *attr);

/*
 * Reads partition type/instance, d bytes at most. bfile QOR_TRUE: filename
 * is a path; the file is replaced (never rewritten in place) with the bytes
 * the driver delivered; QOR_STATUS_EFOPEN when it cannot be created,
 * QOR_STATUS_FAILED when writing it fails. bfile QOR_FALSE: filename is a
 * buffer of d bytes that receives them. Once the request reached the driver
 * the data is handed on whatever status it gave. QOR_STATUS_EINVAL for d
 * above INT32_MAX or a NULL filename.
 */
qor_status_t qorl_flash_read_part(qorl_t *qorl, qor_flash_part_type_t type, uint8_t instance, char *filename,
				  uint32_t d, qor_boolean_t bfile);

/*
 * Writes partition type/instance from a file (bfile QOR_TRUE, filename a
 * path; its size as stat reports it) or from size bytes of memory, then
 * reads the partition back and compares. A firmware image (QOR_FLASH_PART_FWIMG)
 * whose 32-bit words do not XOR to 0 gives QOR_STATUS_CHECKSUM_FAIL and
 * nothing is sent. QOR_STATUS_FAILED: the file's size is unknown (it does
 * not exist), it cannot be read whole or is empty, or the read-back differs.
 * QOR_STATUS_EFOPEN: the file cannot be opened. A failed write may leave the
 * partition partly written.
 */
qor_status_t qorl_flash_update_part(qorl_t *qorl, qor_flash_part_type_t type, uint8_t instance,
				    const unsigned char *filename, qor_boolean_t bfile, uint32_t size);

qor_status_t qorl_flash_erase_part(qorl_t *qorl, qor_flash_part_type_t type, uint8_t instance);

/*
 * Writes the manufacturing block: serial number (at most 12 characters) and
 * part number (at most 16), stored without terminator when full; base WWN
 * and MAC; card_type, one of this family's card-type codes
 * (include/defs/qor_defs_card.h), most significant byte first; one WWN for
 * a single-port model, two for the others. QOR_STATUS_EINVAL, with nothing
 * sent, for an unknown card type or a longer (or NULL) text.
 */
qor_status_t qorl_flash_mfg_info(qorl_t *qorl, const char *serial, const char *partnum, wwn_t mfg_wwn, mac_t mac,
				 uint32_t card_type);

/* Lets the adapter's boot code run at the next start, or not. */
qor_status_t qorl_flash_enable_optrom(qorl_t *qorl);
qor_status_t qorl_flash_disable_optrom(qorl_t *qorl);

/* XOR of the first sz / 4 32-bit words at buf, in host order (trailing
 * bytes ignored; buf need not be aligned). A firmware image is valid when
 * this is 0. 0 for NULL or sz below 4. */
uint32_t qor_checksum_u32(uint32_t *buf, int sz);

#ifdef __cplusplus
}
#endif

#endif
