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

/* XOR of the first sz / 4 32-bit words at buf, in host order (trailing
 * bytes ignored; buf need not be aligned). A firmware image is valid when
 * this is 0. 0 for NULL or sz below 4. */
uint32_t qor_checksum_u32(uint32_t *buf, int sz);

#ifdef __cplusplus
}
#endif

#endif
