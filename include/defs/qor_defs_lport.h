/*
 * Logical port records shared with the drivers. Compiles as C11 and C++.
 */
#ifndef QOR_DEFS_LPORT_H
#define QOR_DEFS_LPORT_H

#include "qor_defs_types.h"

/* Roles of a logical port, one bit each. */
enum qor_lport_role {
	QOR_LPORT_ROLE_FCP_IM = 1,
	QOR_LPORT_ROLE_FCP_TM = 2,
	QOR_LPORT_ROLE_FCP_IPFC = 4
};

/* A logical port's symbolic name. */
typedef struct qor_lport_symname_s {
	char symname[128];
} qor_lport_symname_t;
QOR_CHECK_SIZE(qor_lport_symname_t, 128);

/* Configuration of a logical (virtual) port. */
typedef struct qor_lport_cfg_s {
	wwn_t pwwn;
	wwn_t nwwn;
	qor_lport_symname_t sym_name;
	uint32_t preboot_vp;  /* boolean: created by the boot code */
	uint32_t roles;       /* enum qor_lport_role bits */
	uint8_t tag[16];
} qor_lport_cfg_t;
QOR_CHECK_SIZE(qor_lport_cfg_t, 168);
QOR_CHECK_OFF(qor_lport_cfg_t, pwwn, 0);
QOR_CHECK_OFF(qor_lport_cfg_t, nwwn, 8);
QOR_CHECK_OFF(qor_lport_cfg_t, sym_name, 16);
QOR_CHECK_OFF(qor_lport_cfg_t, preboot_vp, 144);
QOR_CHECK_OFF(qor_lport_cfg_t, roles, 148);
QOR_CHECK_OFF(qor_lport_cfg_t, tag, 152);

/* States of a logical port. */
typedef enum qor_lport_state {
	QOR_LPORT_UNINIT = 0,
	QOR_LPORT_FDISC = 1,
	QOR_LPORT_ONLINE = 2,
	QOR_LPORT_OFFLINE = 3
} qor_lport_state_t;

typedef struct qor_lport_attr_s {
	uint32_t state;        /* qor_lport_state_t */
	uint32_t pid;          /* FC address: its 3 bytes first, in wire order */
	qor_lport_cfg_t port_cfg;
	uint32_t port_type;    /* qor_port_type_t */
	uint32_t loopback;
	wwn_t fabric_name;
	uint8_t fabric_ip_addr[16];
	uint8_t fpma_mac[6];
	uint16_t authfail;
} qor_lport_attr_t;
QOR_CHECK_SIZE(qor_lport_attr_t, 216);
QOR_CHECK_OFF(qor_lport_attr_t, pid, 4);
QOR_CHECK_OFF(qor_lport_attr_t, port_cfg, 8);
QOR_CHECK_OFF(qor_lport_attr_t, port_type, 176);
QOR_CHECK_OFF(qor_lport_attr_t, loopback, 180);
QOR_CHECK_OFF(qor_lport_attr_t, fabric_name, 184);
QOR_CHECK_OFF(qor_lport_attr_t, fabric_ip_addr, 192);
QOR_CHECK_OFF(qor_lport_attr_t, fpma_mac, 208);
QOR_CHECK_OFF(qor_lport_attr_t, authfail, 214);

/* Logical port counters, 32-bit each. */
struct qor_lport_stats_s {
	uint32_t ns_plogi_sent;
	uint32_t ns_plogi_rsp_err;
	uint32_t ns_plogi_acc_err;
	uint32_t ns_plogi_accepts;
	uint32_t ns_rejects;
	uint32_t ns_plogi_unknown_rsp;
	uint32_t ns_plogi_alloc_wait;
	uint32_t ns_retries;
	uint32_t ns_timeouts;
	uint32_t ns_rspnid_sent;
	uint32_t ns_rspnid_accepts;
	uint32_t ns_rspnid_rsp_err;
	uint32_t ns_rspnid_rejects;
	uint32_t ns_rspnid_alloc_wait;
	uint32_t ns_rftid_sent;
	uint32_t ns_rftid_accepts;
	uint32_t ns_rftid_rsp_err;
	uint32_t ns_rftid_rejects;
	uint32_t ns_rftid_alloc_wait;
	uint32_t ns_rffid_sent;
	uint32_t ns_rffid_accepts;
	uint32_t ns_rffid_rsp_err;
	uint32_t ns_rffid_rejects;
	uint32_t ns_rffid_alloc_wait;
	uint32_t ns_gidft_sent;
	uint32_t ns_gidft_accepts;
	uint32_t ns_gidft_rsp_err;
	uint32_t ns_gidft_rejects;
	uint32_t ns_gidft_unknown_rsp;
	uint32_t ns_gidft_alloc_wait;
	uint32_t ms_retries;
	uint32_t ms_timeouts;
	uint32_t ms_plogi_sent;
	uint32_t ms_plogi_rsp_err;
	uint32_t ms_plogi_acc_err;
	uint32_t ms_plogi_accepts;
	uint32_t ms_rejects;
	uint32_t ms_plogi_unknown_rsp;
	uint32_t ms_plogi_alloc_wait;
	uint32_t num_rscn;
	uint32_t num_portid_rscn;
	uint32_t uf_recvs;
	uint32_t uf_recv_drops;
	uint32_t plogi_rcvd;
	uint32_t prli_rcvd;
	uint32_t adisc_rcvd;
	uint32_t prlo_rcvd;
	uint32_t logo_rcvd;
	uint32_t rpsc_rcvd;
	uint32_t un_handled_els_rcvd;
	uint32_t rport_plogi_timeouts;
	uint32_t rport_del_max_plogi_retry;
};
typedef struct qor_lport_stats_s qor_lport_stats_t;
QOR_CHECK_SIZE(qor_lport_stats_t, 208);

#endif
