/*
 * Control of the emulated SAN for tests in the same process: faults in the
 * fabric's replies to pass-through frames, and the last frame payload the
 * fabric received. Thread-safe; compiles as C11 and C++.
 */
#ifndef QORSIM_SAN_H
#define QORSIM_SAN_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define QORSIM_SAN_FAULT_NONE 0
#define QORSIM_SAN_FAULT_NS_REJECT 1   /* name server rejects */
#define QORSIM_SAN_FAULT_NS_BAD_LEN 2  /* name length beyond the bytes sent */
#define QORSIM_SAN_FAULT_NS_SHORT 3    /* reply cut inside the CT header */
#define QORSIM_SAN_FAULT_RSPSZ_OVER 4  /* reply size above the caller's room */
#define QORSIM_SAN_FAULT_RLS_RJT 5     /* RLS answered with LS_RJT */
#define QORSIM_SAN_FAULT_RLS_SHORT 6   /* RLS accept cut short */
#define QORSIM_SAN_FAULT_RNID_SHORT 7  /* RNID accept cut inside its port name */

/* Every later pass-through reply gets this fault until it is set back to 0. */
void qorsim_san_fabric_fault(int mode);
/*
 * Every later pass-through reply is these n bytes, its size reported as
 * claimed (0: n), whatever the request; bytes NULL goes back to the fabric's
 * own answers. Only the caller's room is written, as always.
 */
void qorsim_san_fabric_reply(const uint8_t *bytes, size_t n, uint32_t claimed);
/* Copies the last pass-through request payload (at most room bytes); its size. */
size_t qorsim_san_last_payload(uint8_t *buf, size_t room);

#ifdef __cplusplus
}
#endif

#endif
