/*
 * Common Transport (FC-GS) preamble and the name server queries by port
 * address (GPN_ID, GNN_ID, GSPN_ID, GFF_ID) and by FC-4 type (GID_FT), in
 * wire order. Compiles as C11 and C++.
 */
#ifndef FC_CT_H
#define FC_CT_H

#include "fc_fchs.h"

#define CT_GS3_REVISION 0x01
#define CT_GSTYPE_DIRSERVICE 0xFC
#define CT_GSSUBTYPE_NAMESERVER 0x02

/* Command/response codes. */
#define CT_RSP_REJECT 0x8001
#define CT_RSP_ACCEPT 0x8002
#define GS_GPN_ID 0x0112  /* port name of a port address */
#define GS_GNN_ID 0x0113  /* node name of a port address */
#define GS_GSPN_ID 0x0118 /* get symbolic port name of a port address */
#define GS_GFF_ID 0x011F  /* FC-4 features of a port address */
#define GS_GID_FT 0x0171  /* port addresses of an FC-4 type */

/* Reject reason codes (FC-GS). */
#define CT_RSN_INV_CMD 0x01
#define CT_RSN_LOGICAL_BUSY 0x05
#define CT_RSN_UNABLE_TO_PERF 0x09
#define CT_NS_EXP_PORTID_NOT_REG 0x01
#define CT_NS_EXP_FC4TYPE_NOT_REG 0x07

/* FC-4 type of FCP. */
#define FC_TYPE_FCP 0x08

typedef struct ct_hdr_s {
	uint8_t rev_id;
	uint8_t in_id[3];
	uint8_t gs_type;
	uint8_t gs_sub_type;
	uint8_t options;
	uint8_t rsvrd;
	uint8_t cmd_rsp_code[2]; /* most significant byte first */
	uint8_t max_res_size[2];
	uint8_t frag_id;
	uint8_t reason_code;
	uint8_t exp_code;
	uint8_t vendor_unq;
} ct_hdr_t;
FC_CHECK_SIZE(ct_hdr_t, 16);
FC_CHECK_OFF(ct_hdr_t, gs_type, 4);
FC_CHECK_OFF(ct_hdr_t, cmd_rsp_code, 8);
FC_CHECK_OFF(ct_hdr_t, max_res_size, 10);
FC_CHECK_OFF(ct_hdr_t, reason_code, 13);

/* GSPN_ID request payload: the port address asked about. */
typedef struct fcgs_gspnid_req_s {
	uint8_t rsvd;
	uint8_t dap[3];
} fcgs_gspnid_req_t;
FC_CHECK_SIZE(fcgs_gspnid_req_t, 4);

/* GSPN_ID accept payload, after the CT header: a length and the name. */
#define FC_SYMNAME_MAX 255
typedef struct fcgs_gspnid_rsp_s {
	uint8_t spn_len;
	uint8_t spn[FC_SYMNAME_MAX];
} fcgs_gspnid_rsp_t;
FC_CHECK_SIZE(fcgs_gspnid_rsp_t, 256);

/* GID_FT request payload: scopes and the FC-4 type. */
typedef struct fcgs_gidft_req_s {
	uint8_t rsvd;
	uint8_t domain_scope;
	uint8_t area_scope;
	uint8_t fc4_type;
} fcgs_gidft_req_t;
FC_CHECK_SIZE(fcgs_gidft_req_t, 4);

/* One GID_FT accept entry; the last one has FC_GID_LAST in ctl. */
#define FC_GID_LAST 0x80
typedef struct fcgs_gid_entry_s {
	uint8_t ctl;
	uint8_t pid[3];
} fcgs_gid_entry_t;
FC_CHECK_SIZE(fcgs_gid_entry_t, 4);

/* GFF_ID accept: four bits of features per FC-4 type, type t in the
 * 32-bit big-endian word t / 8 at bit (t % 8) * 4. */
#define FC_GFF_LEN 128
#define FC_FEATURE_TARGET 0x1
#define FC_FEATURE_INITIATOR 0x2

/* A whole GSPN_ID exchange as it sits in the buffers. */
typedef struct fcgs_gspnid_frame_s {
	ct_hdr_t ct;
	fcgs_gspnid_req_t req;
} fcgs_gspnid_frame_t;
FC_CHECK_SIZE(fcgs_gspnid_frame_t, 20);

typedef struct fcgs_gspnid_acc_frame_s {
	ct_hdr_t ct;
	fcgs_gspnid_rsp_t rsp;
} fcgs_gspnid_acc_frame_t;
FC_CHECK_SIZE(fcgs_gspnid_acc_frame_t, 272);
FC_CHECK_OFF(fcgs_gspnid_acc_frame_t, rsp, 16);

#endif
