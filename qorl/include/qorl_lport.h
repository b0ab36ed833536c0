/*
 * Logical ports (the base port and virtual ports) behind a physical port,
 * named by virtual fabric (vf_id, 0 for the base fabric) and port WWN.
 * FC-side controllers only: an Ethernet controller gets QOR_STATUS_FAILED
 * without a request. Compiles as C11 and C++; nothing throws.
 */
#ifndef QORL_LPORT_H
#define QORL_LPORT_H

#include "qorl.h"
#include "qorl_stats.h"

#ifdef __cplusplus
extern "C" {
#endif

/* lport_attr is filled whenever the request reached the driver. */
qor_status_t qorl_lport_get_attr(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, qor_lport_attr_t *lport_attr);
/* QORL_ITNIM_IOSTATS_COUNT (48) pairs, only on success. */
qor_status_t qorl_lport_get_iostats(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, qorl_stats_t *lport_iostats);
/* QORL_LPORT_STATS_COUNT (52) pairs, only on success. */
qor_status_t qorl_lport_get_stats(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, qorl_stats_t *lport_stats);
qor_status_t qorl_lport_reset_stats(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn);
/*
 * The driver writes at most *nrports WWNs into rports (caller's array) and
 * *nrports comes back as the number of remote ports it knows, also when it
 * refuses. A count above the room means only the room was filled.
 */
qor_status_t qorl_lport_get_rports(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t *rports, uint32_t *nrports);

#ifdef __cplusplus
}
#endif

#endif
