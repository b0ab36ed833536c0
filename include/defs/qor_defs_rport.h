/*
 * Remote port records shared with the drivers: attributes, statistics and
 * the remote link error status block. Compiles as C11 and C++.
 */
#ifndef QOR_DEFS_RPORT_H
#define QOR_DEFS_RPORT_H

#include "qor_defs_types.h"

/* What a remote port is to us, by its SCSI role. */
enum qor_rport_scsi_function {
	QOR_RPORT_INITIATOR = 1,
	QOR_RPORT_TARGET = 2
};

/* A remote port's symbolic name, NUL-terminated within 255 bytes. */
typedef struct qor_rport_symname_s {
	char symname[255];
} qor_rport_symname_t;
QOR_CHECK_SIZE(qor_rport_symname_t, 255);

struct qor_rport_qos_attr_s {
	uint8_t qos_priority; /* qor_qos_priority_t */
	uint8_t rsvd[3];
	uint32_t qos_flow_id;
};
QOR_CHECK_SIZE(struct qor_rport_qos_attr_s, 8);

typedef struct qor_rport_attr_s {
	wwn_t nwwn;
	wwn_t pwwn;
	uint32_t cos_supported; /* fc_cos_t */
	uint32_t pid;           /* FC address: its 3 bytes first, in wire order */
	uint32_t df_sz;         /* maximum data field size */
	uint32_t state;         /* qor_rport_state_t */
	uint32_t fc_cos;
	uint32_t cisc;          /* qor_boolean_t */
	qor_rport_symname_t symname;
	uint8_t pad_;
	uint32_t scsi_function; /* enum qor_rport_scsi_function */
	struct qor_rport_qos_attr_s qos_attr;
	uint32_t curr_speed;     /* qor_port_speed_t */
	uint32_t trl_enforced;   /* qor_boolean_t: target rate limiting applied */
	uint32_t assigned_speed; /* qor_port_speed_t */
} qor_rport_attr_t;
QOR_CHECK_SIZE(qor_rport_attr_t, 320);
QOR_CHECK_OFF(qor_rport_attr_t, pwwn, 8);
QOR_CHECK_OFF(qor_rport_attr_t, cos_supported, 16);
QOR_CHECK_OFF(qor_rport_attr_t, pid, 20);
QOR_CHECK_OFF(qor_rport_attr_t, df_sz, 24);
QOR_CHECK_OFF(qor_rport_attr_t, state, 28);
QOR_CHECK_OFF(qor_rport_attr_t, fc_cos, 32);
QOR_CHECK_OFF(qor_rport_attr_t, cisc, 36);
QOR_CHECK_OFF(qor_rport_attr_t, symname, 40);
QOR_CHECK_OFF(qor_rport_attr_t, scsi_function, 296);
QOR_CHECK_OFF(qor_rport_attr_t, qos_attr, 300);
QOR_CHECK_OFF(qor_rport_attr_t, curr_speed, 308);
QOR_CHECK_OFF(qor_rport_attr_t, trl_enforced, 312);
QOR_CHECK_OFF(qor_rport_attr_t, assigned_speed, 316);

/* The driver's remote port state machine counters. */
struct qor_rport_hal_stats_s {
	uint32_t sm_un_cr;
	uint32_t sm_un_unexp;
	uint32_t sm_cr_on;
	uint32_t sm_cr_del;
	uint32_t sm_cr_hwf;
	uint32_t sm_cr_unexp;
	uint32_t sm_fwc_rsp;
	uint32_t sm_fwc_del;
	uint32_t sm_fwc_off;
	uint32_t sm_fwc_hwf;
	uint32_t sm_fwc_unexp;
	uint32_t sm_on_off;
	uint32_t sm_on_del;
	uint32_t sm_on_hwf;
	uint32_t sm_on_unexp;
	uint32_t sm_fwd_rsp;
	uint32_t sm_fwd_del;
	uint32_t sm_fwd_hwf;
	uint32_t sm_fwd_unexp;
	uint32_t sm_off_del;
	uint32_t sm_off_on;
	uint32_t sm_off_hwf;
	uint32_t sm_off_unexp;
	uint32_t sm_del_fwrsp;
	uint32_t sm_del_hwf;
	uint32_t sm_del_unexp;
	uint32_t sm_delp_fwrsp;
	uint32_t sm_delp_hwf;
	uint32_t sm_delp_unexp;
	uint32_t sm_offp_fwrsp;
	uint32_t sm_offp_del;
	uint32_t sm_offp_hwf;
	uint32_t sm_offp_unexp;
	uint32_t sm_iocd_off;
	uint32_t sm_iocd_del;
	uint32_t sm_iocd_on;
	uint32_t sm_iocd_unexp;
	uint32_t rsvd;
};
QOR_CHECK_SIZE(struct qor_rport_hal_stats_s, 152);

typedef struct qor_rport_stats_s {
	uint32_t offlines;
	uint32_t onlines;
	uint32_t rscns;
	uint32_t plogis;
	uint32_t plogi_accs;
	uint32_t plogi_timeouts;
	uint32_t plogi_rejects;
	uint32_t plogi_failed;
	uint32_t plogi_rcvd;
	uint32_t prli_rcvd;
	uint32_t adisc_rcvd;
	uint32_t adisc_rejects;
	uint32_t adisc_sent;
	uint32_t adisc_accs;
	uint32_t adisc_failed;
	uint32_t adisc_rejected;
	uint32_t logos;
	uint32_t logo_accs;
	uint32_t logo_failed;
	uint32_t logo_rejected;
	uint32_t logo_rcvd;
	uint32_t rpsc_rcvd;
	uint32_t rpsc_rejects;
	uint32_t rpsc_sent;
	uint32_t rpsc_accs;
	uint32_t rpsc_failed;
	uint32_t rpsc_rejected;
	uint32_t rjt_insuff_res;
	struct qor_rport_hal_stats_s hal_stats;
} qor_rport_stats_t;
QOR_CHECK_SIZE(qor_rport_stats_t, 264);
QOR_CHECK_OFF(qor_rport_stats_t, rjt_insuff_res, 108);
QOR_CHECK_OFF(qor_rport_stats_t, hal_stats, 112);

/* Link error status block of a remote port (RLS accept), six counters. */
typedef struct qor_rport_remote_link_stats_s {
	uint32_t lfc;   /* link failures */
	uint32_t lsyc;  /* losses of synchronisation */
	uint32_t lsic;  /* losses of signal */
	uint32_t pspec; /* primitive sequence protocol errors */
	uint32_t itwc;  /* invalid transmission words */
	uint32_t icc;   /* invalid CRCs */
} qor_rport_remote_link_stats_t;
QOR_CHECK_SIZE(qor_rport_remote_link_stats_t, 24);

#endif
