/*
 * IT nexus (initiator-target relation) between a logical port (lpwwn) and a
 * remote target port (rpwwn). FC-side controllers only: an Ethernet
 * controller gets QOR_STATUS_FAILED without a request. Compiles as C11 and
 * C++; nothing throws.
 */
#ifndef QORL_ITNIM_H
#define QORL_ITNIM_H

#include "qorl.h"
#include "qorl_stats.h"

#ifdef __cplusplus
extern "C" {
#endif

/* attr is filled whenever the request reached the driver. */
qor_status_t qorl_itnim_get_attr(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, qor_itnim_attr_t *attr);
/* QORL_ITNIM_STATS_COUNT (11) pairs, only on success. */
qor_status_t qorl_itnim_get_itnstats(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, qorl_stats_t *stats);
/* QORL_ITNIM_IOSTATS_COUNT (48) pairs, only on success. */
qor_status_t qorl_itnim_get_iostats(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, qorl_stats_t *stats);
qor_status_t qorl_itnim_reset_stats(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn);
/*
 * The latency profile with min, max and avg of each bucket in use turned
 * into the reported unit (avg per I/O). A zero clock divisor from the
 * driver gives QOR_STATUS_FAILED and leaves stats untouched; a driver
 * refusal copies the profile unconverted.
 */
qor_status_t qorl_itnim_get_ioprofile(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn,
				      qor_itnim_ioprofile_t *stats);
/* Read plus write bytes from pairs as qorl_itnim_get_iostats fills them
 * (at most 48 are looked at); the sum wraps at 32 bits. */
uint32_t qorl_itnim_get_iothroughput(const qorl_stats_t *stats);

#ifdef __cplusplus
}
#endif

#endif
