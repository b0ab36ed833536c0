/*
 * Fabric pass-through: one frame sequence built by the caller (link service
 * or CT request) sent from a logical port; the driver writes the response
 * at rspbuf_ptr within rspsz bytes.
 */
#ifndef QOR_IOCTL_FCPT_H
#define QOR_IOCTL_FCPT_H

#include "qor_ioctl.h"
#include "../../protocol/fc_fchs.h"

typedef struct qor_ioctl_fcpt_s {
	uint32_t status;
	uint16_t qord_num;
	uint16_t vf_id;
	wwn_t lpwwn;               /* logical port that sends */
	wwn_t dpwwn;               /* destination port, 0 for a fabric address */
	uint32_t tsecs;            /* time-out, seconds */
	int32_t cts;               /* qor_boolean_t */
	uint32_t cos;              /* fc_cos_t */
	uint32_t rsvd;
	fchs_t fchs;               /* frame header to send */
	int32_t nport_nexus_needed; /* 1 when dpwwn is not 0 */
	uint32_t reqsz;
	uint32_t rspsz;            /* in: room; out: response size */
	uint32_t rsvd1;
	uint64_t reqbuf_ptr;
	uint64_t rspbuf_ptr;
} qor_ioctl_fcpt_t;
QOR_CHECK_SIZE(qor_ioctl_fcpt_t, 96);
QOR_CHECK_OFF(qor_ioctl_fcpt_t, lpwwn, 8);
QOR_CHECK_OFF(qor_ioctl_fcpt_t, dpwwn, 16);
QOR_CHECK_OFF(qor_ioctl_fcpt_t, tsecs, 24);
QOR_CHECK_OFF(qor_ioctl_fcpt_t, cts, 28);
QOR_CHECK_OFF(qor_ioctl_fcpt_t, cos, 32);
QOR_CHECK_OFF(qor_ioctl_fcpt_t, fchs, 40);
QOR_CHECK_OFF(qor_ioctl_fcpt_t, nport_nexus_needed, 64);
QOR_CHECK_OFF(qor_ioctl_fcpt_t, reqsz, 68);
QOR_CHECK_OFF(qor_ioctl_fcpt_t, rspsz, 72);
QOR_CHECK_OFF(qor_ioctl_fcpt_t, reqbuf_ptr, 80);
QOR_CHECK_OFF(qor_ioctl_fcpt_t, rspbuf_ptr, 88);

#endif
