/*
 * Extended link service payloads (FC-LS) used here: the link service reply
 * words, Read Link Error Status (RLS), Request Node Identification Data
 * (RNID), Link Incident Record Registration (LIRR) and Scan Remote Loop
 * (SRL). Wire order; compiles as C11 and C++.
 */
#ifndef FC_ELS_H
#define FC_ELS_H

#include "fc_fchs.h"

/* Link service command codes (byte 0 of the payload). */
#define FC_ELS_LS_RJT 0x01
#define FC_ELS_ACC 0x02
#define FC_ELS_RLS 0x0F
#define FC_ELS_RNID 0x78
#define FC_ELS_LIRR 0x7A
#define FC_ELS_SRL 0x7B

/* Domain controller of a domain: FFFC00 | domain. */
#define FC_DOMAIN_CONTROLLER 0xFFFC00u

/* RNID node identification data formats. */
#define FC_RNID_FMT_COMMON 0x00   /* common identification data only */
#define FC_RNID_FMT_TOPOLOGY 0xDF /* general topology discovery format */

/* LS_RJT reason codes. */
#define FC_LS_RJT_RSN_UNABLE 0x09
#define FC_LS_RJT_RSN_CMD_NOT_SUPP 0x0B

/* RLS request as the library sends it: the command code, the rest 0. */
#define FC_RLS_REQ_LEN 36
typedef struct fc_rls_req_s {
	uint8_t els_cmd;  /* FC_ELS_RLS */
	uint8_t rsvd[3];
	uint8_t rsvd1;
	uint8_t port_id[3];
	uint8_t rsvd2[28];
} fc_rls_req_t;
FC_CHECK_SIZE(fc_rls_req_t, FC_RLS_REQ_LEN);
FC_CHECK_OFF(fc_rls_req_t, port_id, 5);

/* Link error status block: six big-endian counters. */
typedef struct fc_lesb_s {
	uint8_t lfc[4];   /* link failures */
	uint8_t lsyc[4];  /* losses of synchronisation */
	uint8_t lsic[4];  /* losses of signal */
	uint8_t pspec[4]; /* primitive sequence protocol errors */
	uint8_t itwc[4];  /* invalid transmission words */
	uint8_t icc[4];   /* invalid CRCs */
} fc_lesb_t;
FC_CHECK_SIZE(fc_lesb_t, 24);

/* RLS accept: the reply word (FC_ELS_ACC, then three zero bytes) and the block. */
typedef struct fc_rls_acc_s {
	uint8_t ls_code;
	uint8_t rsvd[3];
	fc_lesb_t lesb;
} fc_rls_acc_t;
FC_CHECK_SIZE(fc_rls_acc_t, 28);
FC_CHECK_OFF(fc_rls_acc_t, lesb, 4);

/*
 * The short requests (RNID, LIRR, SRL): the command code, three reserved
 * bytes, two parameter bytes (RNID: the data format; LIRR: function and
 * format) and two reserved ones.
 */
typedef struct fc_ls_req8_s {
	uint8_t els_cmd;
	uint8_t rsvd[3];
	uint8_t param[2];
	uint8_t rsvd1[2];
} fc_ls_req8_t;
FC_CHECK_SIZE(fc_ls_req8_t, 8);
FC_CHECK_OFF(fc_ls_req8_t, param, 4);

/* RNID accept: reply word, format, the common identification data (port
 * and node names) and the specific data of the format. */
#define FC_RNID_COMMON_LEN 16
#define FC_RNID_TOPOLOGY_LEN 52
typedef struct fc_rnid_acc_s {
	uint8_t ls_code;
	uint8_t rsvd[3];
	uint8_t node_id_fmt;
	uint8_t common_id_len;   /* 16 */
	uint8_t rsvd1;
	uint8_t specific_id_len; /* 0, or 52 for the topology format */
	uint8_t port_name[8];
	uint8_t node_name[8];
	uint8_t specific[FC_RNID_TOPOLOGY_LEN];
} fc_rnid_acc_t;
FC_CHECK_SIZE(fc_rnid_acc_t, 76);
FC_CHECK_OFF(fc_rnid_acc_t, port_name, 8);
FC_CHECK_OFF(fc_rnid_acc_t, specific, 24);

/* The N_Port_Name an RNID accept carries: 1 with it in name when the
 * got bytes of rsp hold it, 0 otherwise (nothing read past got). */
static inline int fc_rnid_acc_port_name(const uint8_t *rsp, size_t got, uint8_t name[8])
{
	if (!rsp || got < offsetof(fc_rnid_acc_t, node_name))
		return 0;
	memcpy(name, rsp + offsetof(fc_rnid_acc_t, port_name), 8);
	return 1;
}

/* LS_RJT: command code, reserved, reason, explanation, vendor unique. */
typedef struct fc_ls_rjt_s {
	uint8_t ls_code;
	uint8_t rsvd;
	uint8_t reason_code;
	uint8_t reason_code_expl;
	uint8_t vendor_unq;
	uint8_t rsvd1[3];
} fc_ls_rjt_t;
FC_CHECK_SIZE(fc_ls_rjt_t, 8);

#endif
