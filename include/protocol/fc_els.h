/*
 * Extended link service payloads (FC-LS) used here: the link service reply
 * words and Read Link Error Status (RLS). Wire order; compiles as C11 and C++.
 */
#ifndef FC_ELS_H
#define FC_ELS_H

#include "fc_fchs.h"

/* Link service command codes (byte 0 of the payload). */
#define FC_ELS_LS_RJT 0x01
#define FC_ELS_ACC 0x02
#define FC_ELS_RLS 0x0F

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
