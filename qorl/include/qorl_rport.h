/*
 * Remote ports of a logical port, and the fabric pass-through built on them
 * (name server symbolic name, remote link error status). FC-side
 * controllers only: an Ethernet controller gets QOR_STATUS_FAILED without a
 * request. Compiles as C11 and C++; nothing throws.
 */
#ifndef QORL_RPORT_H
#define QORL_RPORT_H

#include "qorl.h"
#include "qorl_stats.h"

#ifdef __cplusplus
extern "C" {
#endif

/* RLS accept as handed back by the driver. */
typedef struct qorl_rls_rsp_s {
	uint32_t rls_acc; /* reply code in byte 0 (0x02 accept), bytes 1-3 zero */
	qor_rport_remote_link_stats_t lseb;
} qorl_rls_rsp_t;

qor_status_t qorl_rport_add(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn);
qor_status_t qorl_rport_remove(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn);
/* pwwn 0 names the physical port's own logical port. attr is filled
 * whenever the request reached the driver. */
qor_status_t qorl_rport_get_attr(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn, qor_rport_attr_t *attr);
/* pwwn 0 as above; the raw record whenever the request reached the driver. */
qor_status_t qorl_rport_get_stats(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn, qor_rport_stats_t *stats);
qor_status_t qorl_rport_reset_stats(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn);
/* The operating system's SCSI host, bus and target; set only on success. */
qor_status_t qorl_rport_get_scsi_address(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn, uint32_t *host,
					 uint32_t *bus, uint32_t *target);
qor_status_t qorl_rport_set_speed(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn, qor_port_speed_t spd);

/*
 * Sends the frame (header fchs, payload reqbuf of reqsz bytes) from logical
 * port lpwwn to dpwwn (0: a fabric address) and waits up to tsecs seconds.
 * The driver writes the response into rspbuf; *rspsz is its room on entry
 * and, when the request reached the driver, the size the driver reports on
 * return, also one above the room (how much the reply needed). The result
 * is the driver's status.
 */
qor_status_t qorl_fcpt(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t dpwwn, uint32_t tsecs, qor_boolean_t cts,
		       fc_cos_t cos, fchs_t *fchs, void *reqbuf, uint32_t reqsz, void *rspbuf, uint32_t *rspsz);
/*
 * The remote port's symbolic name from the fabric name server (GSPN_ID),
 * asked from logical port lpwwn; rport_pid is the remote port's address as
 * its attributes store it. QOR_STATUS_PORT_OFFLINE when the logical port
 * has no address, QOR_STATUS_FABRIC_RJT when the reply holds no accept.
 * The reply is read from the library's own cleared buffer whatever size was
 * reported, so a name ends where the reply did. An empty name leaves
 * symname untouched; otherwise it is terminated.
 */
qor_status_t qorl_get_rport_symname(qorl_t *qorl, uint16_t vf_id, uint32_t rport_pid, wwn_t lpwwn, wwn_t rpwwn,
				    qor_rport_symname_t *symname);
/*
 * The remote port's link error status block (RLS) as
 * QORL_RPORT_REMOTE_LINK_STATS_COUNT (6) pairs. QOR_STATUS_PORT_OFFLINE or
 * QOR_STATUS_RPORT_OFFLINE when an address is missing (nothing sent),
 * QOR_STATUS_FAILED when the reply is not an accept. The accept is read from
 * the library's own cleared 28 bytes whatever size was reported; counters
 * that did not arrive read 0.
 */
qor_status_t qorl_rport_get_remote_link_error_status(qorl_t *qorl, wwn_t lpwwn, wwn_t rpwwn, qorl_stats_t *stats);

#ifdef __cplusplus
}
#endif

#endif
