/*
 * Controller attribute and statistics records filled by the drivers.
 */
#ifndef QOR_DEFS_IOC_H
#define QOR_DEFS_IOC_H

#include "qor_defs_types.h"

typedef struct qor_mfg_vpd_s {
	uint8_t version;
	uint8_t vpd_sig[3];
	uint8_t chksum;
	uint8_t vendor;
	uint8_t len;
	uint8_t rsv;
	uint8_t data[512];
} qor_mfg_vpd_t;
QOR_CHECK_SIZE(qor_mfg_vpd_t, 520);

typedef struct qor_adapter_attr_s {
	char manufacturer[8];
	char serial_num[12];
	uint32_t card_type;
	char model[16];
	char model_descr[128];
	wwn_t pwwn;
	char node_symname[256];
	char hw_ver[64];
	char fw_ver[64];
	char optrom_ver[64];
	char os_type[64];
	qor_mfg_vpd_t vpd;
	uint8_t mac[6];
	uint8_t nports;
	uint8_t max_speed;
	uint8_t prototype;
	char asic_rev;
	uint8_t pcie_gen;
	uint8_t pcie_lanes_orig;
	uint8_t pcie_lanes;
	uint8_t cna_capable;
	uint8_t is_mezz;
	uint8_t trunk_capable;
} qor_adapter_attr_t;
QOR_CHECK_SIZE(qor_adapter_attr_t, 1224);

typedef struct qor_ioc_driver_attr_s {
	char driver[16];
	char driver_ver[64];
	char fw_ver[64];
	char bios_ver[64];
	char efi_ver[64];
	char ob_ver[64];
} qor_ioc_driver_attr_t;
QOR_CHECK_SIZE(qor_ioc_driver_attr_t, 336);

typedef struct qor_ioc_pci_attr_s {
	uint16_t vendor_id;
	uint16_t device_id;
	uint16_t ssid;
	uint16_t ssvid;
	uint32_t pcifn;
	uint32_t rsvd;
	char chip_rev[8];
} qor_ioc_pci_attr_t;
QOR_CHECK_SIZE(qor_ioc_pci_attr_t, 24);

typedef struct qor_ioc_attr_s {
	uint32_t ioc_type; /* qor_ioc_type_e */
	uint32_t state;    /* qor_ioc_state_t */
	qor_adapter_attr_t adapter_attr;
	qor_ioc_driver_attr_t driver_attr;
	qor_ioc_pci_attr_t pci_attr;
	uint8_t port_id;
	uint8_t rsvd[7];
} qor_ioc_attr_t;
QOR_CHECK_SIZE(qor_ioc_attr_t, 1600);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr, 8);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.serial_num, 16);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.card_type, 28);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.model, 32);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.model_descr, 48);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.pwwn, 176);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.node_symname, 184);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.hw_ver, 440);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.fw_ver, 504);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.optrom_ver, 568);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.os_type, 632);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.vpd, 696);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.vpd.data, 704);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.mac, 1216);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.nports, 1222);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.asic_rev, 1225);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.cna_capable, 1229);
QOR_CHECK_OFF(qor_ioc_attr_t, adapter_attr.trunk_capable, 1231);
QOR_CHECK_OFF(qor_ioc_attr_t, driver_attr, 1232);
QOR_CHECK_OFF(qor_ioc_attr_t, driver_attr.driver_ver, 1248);
QOR_CHECK_OFF(qor_ioc_attr_t, driver_attr.ob_ver, 1504);
QOR_CHECK_OFF(qor_ioc_attr_t, pci_attr, 1568);
QOR_CHECK_OFF(qor_ioc_attr_t, pci_attr.pcifn, 1576);
QOR_CHECK_OFF(qor_ioc_attr_t, pci_attr.chip_rev, 1584);
QOR_CHECK_OFF(qor_ioc_attr_t, port_id, 1592);

typedef struct qor_ioc_drv_stats_s {
	uint32_t ioc_isrs;
	uint32_t ioc_enables;
	uint32_t ioc_disables;
	uint32_t ioc_hb_fails;
	uint32_t ioc_boots;
	uint32_t stats_tmos;
	uint32_t hb_count;
	uint32_t disable_reqs;
	uint32_t enable_reqs;
	uint32_t disable_replies;
	uint32_t enable_replies;
} qor_ioc_drv_stats_t;

typedef struct qor_ioc_fw_stats_s {
	uint32_t enable_reqs;
	uint32_t disable_reqs;
	uint32_t get_attr_reqs;
	uint32_t dbg_sync;
	uint32_t dbg_dump;
	uint32_t unknown_reqs;
} qor_ioc_fw_stats_t;

typedef struct qor_ioc_stats_s {
	qor_ioc_drv_stats_t drv_stats;
	qor_ioc_fw_stats_t fw_stats;
} qor_ioc_stats_t;
QOR_CHECK_SIZE(qor_ioc_stats_t, 68);
QOR_CHECK_OFF(qor_ioc_stats_t, fw_stats, 44);

/* Firmware statistics, written by the driver straight into caller memory. */
struct qor_fw_ioc_stats_s {
	uint32_t enable_reqs;
	uint32_t disable_reqs;
	uint32_t get_attr_reqs;
	uint32_t dbg_sync;
	uint32_t dbg_dump;
	uint32_t unknown_reqs;
};

struct qor_fw_iocfc_stats_s {
	uint32_t cfg_reqs;
	uint32_t updq_reqs;
	uint32_t ic_reqs;
	uint32_t unknown_reqs;
	uint32_t set_intr_reqs;
};

struct qor_fw_io_stats_s {
	uint32_t host_abort;
	uint32_t host_cleanup;
	uint32_t fw_io_timeout;
	uint32_t fw_frm_parse;
	uint32_t fw_frm_data;
	uint32_t fw_frm_rsp;
	uint32_t fw_frm_xfer_rdy;
	uint32_t fw_frm_bls_acc;
	uint32_t fw_frm_tgt_abort;
	uint32_t fw_frm_unknown;
	uint32_t fw_data_dma;
	uint32_t fw_frm_drop;
	uint32_t rec_timeout;
	uint32_t error_rec;
	uint32_t wait_for_si;
	uint32_t rec_rsp_inval;
	uint32_t seqr_io_abort;
	uint32_t seqr_io_retry;
	uint32_t itn_cisc_upd_rsp;
	uint32_t itn_cisc_upd_data;
	uint32_t itn_cisc_upd_xfer_rdy;
	uint32_t fcp_data_lost;
	uint32_t ro_set_in_xfer_rdy;
	uint32_t xfer_rdy_ooo_err;
	uint32_t xfer_rdy_unknown_err;
	uint32_t io_abort_timeout;
	uint32_t sler_initiated;
	uint32_t unexp_fcp_rsp;
	uint32_t fcp_rsp_under_run;
	uint32_t fcp_rsp_under_run_wr;
	uint32_t fcp_rsp_under_run_err;
	uint32_t fcp_rsp_resid_inval;
	uint32_t fcp_rsp_over_run;
	uint32_t fcp_rsp_over_run_err;
	uint32_t fcp_rsp_proto_err;
	uint32_t fcp_rsp_sense_err;
	uint32_t fcp_conf_req;
	uint32_t tgt_aborted_io;
	uint32_t ioh_edtov_timeout_event;
	uint32_t ioh_fcp_rsp_excp_event;
	uint32_t ioh_fcp_conf_event;
	uint32_t ioh_mult_frm_rsp_event;
	uint32_t ioh_hit_class2_event;
	uint32_t ioh_miss_other_event;
	uint32_t ioh_seq_cnt_err_event;
	uint32_t ioh_len_err_event;
	uint32_t ioh_seq_len_err_event;
	uint32_t ioh_data_oor_event;
	uint32_t ioh_ro_ooo_event;
	uint32_t ioh_cpu_owned_event;
	uint32_t ioh_unexp_frame_event;
	uint32_t ioh_err_int;
};

struct qor_fw_fpg_stats_s {
	uint32_t intr_evt;
	uint32_t intr;
	uint32_t intr_excess;
	uint32_t intr_cause0;
	uint32_t intr_other;
	uint32_t intr_other_ign;
	uint32_t sig_lost;
	uint32_t sig_regained;
	uint32_t sync_lost;
	uint32_t sync_to;
	uint32_t sync_regained;
	uint32_t div2_overflow;
	uint32_t div2_underflow;
	uint32_t efifo_overflow;
	uint32_t efifo_underflow;
	uint32_t idle_rx;
	uint32_t lrr_rx;
	uint32_t lr_rx;
	uint32_t ols_rx;
	uint32_t nos_rx;
	uint32_t lip_rx;
	uint32_t arbf0_rx;
	uint32_t arb_rx;
	uint32_t mrk_rx;
	uint32_t const_mrk_rx;
	uint32_t prim_unknown;
};

struct qor_fw_physm_stats_s {
	uint32_t module_inserts;
	uint32_t module_xtracts;
	uint32_t module_invalids;
	uint32_t module_read_ign;
	uint32_t laser_faults;
	uint32_t rsvd;
};

struct qor_fw_snsm_stats_s {
	uint32_t hwsm_success;
	uint32_t hwsm_fails;
	uint32_t hwsm_wdtov;
	uint32_t swsm_success;
	uint32_t swsm_wdtov;
	uint32_t error_resets;
	uint32_t sync_lost;
	uint32_t sig_lost;
};

struct qor_fw_lksm_stats_s {
	uint32_t hwsm_success;
	uint32_t hwsm_fails;
	uint32_t hwsm_wdtov;
	uint32_t swsm_success;
	uint32_t swsm_fails;
	uint32_t swsm_wdtov;
	uint32_t busybufs;
	uint32_t buf_waits;
	uint32_t link_fails;
	uint32_t psp_errors;
	uint32_t lr_unexp;
	uint32_t lrr_unexp;
	uint32_t lr_tx;
	uint32_t lrr_tx;
	uint32_t ols_tx;
	uint32_t nos_tx;
	uint32_t hwsm_lrr_rx;
	uint32_t hwsm_lr_rx;
};

struct qor_fw_fcoe_stats_s {
	uint32_t cee_linkups;
	uint32_t cee_linkdns;
	uint32_t fip_linkups;
	uint32_t fip_linkdns;
	uint32_t fip_fails;
	uint32_t mac_invalids;
};

struct qor_fw_fip_stats_s {
	uint32_t vlan_req;
	uint32_t vlan_notify;
	uint32_t vlan_err;
	uint32_t vlan_timeouts;
	uint32_t vlan_invalids;
	uint32_t disc_req;
	uint32_t disc_rsp;
	uint32_t disc_err;
	uint32_t disc_unsol;
	uint32_t disc_timeouts;
	uint32_t disc_fcf_unavail;
	uint32_t linksvc_unsupp;
	uint32_t linksvc_err;
	uint32_t logo_req;
	uint32_t clrvlink_req;
	uint32_t op_unsupp;
	uint32_t untagged;
	uint32_t invalid_version;
};

struct qor_fw_fcxchg_stats_s {
	uint32_t ua_tag_inv;
	uint32_t ua_state_inv;
};

struct qor_fw_lpsm_stats_s {
	uint32_t cls_rx;
	uint32_t cls_tx;
};

struct qor_fw_lps_stats_s {
	uint32_t mac_invalids;
	uint32_t rsvd;
};

struct qor_fw_trunk_stats_s {
	uint32_t emt_recvd;
	uint32_t emt_accepted;
	uint32_t emt_rejected;
	uint32_t etp_recvd;
	uint32_t etp_accepted;
	uint32_t etp_rejected;
	uint32_t lr_recvd;
	uint32_t rsvd;
};

struct qor_fw_advsm_stats_s {
	uint32_t flogi_sent;
	uint32_t flogi_acc_recvd;
	uint32_t flogi_rjt_recvd;
	uint32_t flogi_retries;
	uint32_t elp_recvd;
	uint32_t elp_accepted;
	uint32_t elp_rejected;
	uint32_t elp_dropped;
};

struct qor_fw_macmod_stats_s {
	uint32_t mac_on;
	uint32_t link_up;
	uint32_t signal_off;
	uint32_t dfe_on;
	uint32_t mac_reset;
	uint32_t pcs_reset;
	uint32_t loopback;
	uint32_t lb_mac_reset;
	uint32_t lb_pcs_reset;
	uint32_t rsvd;
};

struct qor_fw_ctmod_stats_s {
	uint32_t rxa_rds_undrun;
	uint32_t rad_bpc_ovfl;
	uint32_t rad_rlb_bpc_ovfl;
	uint32_t bpc_fcs_err;
	uint32_t txa_tso_hdr;
	uint32_t rsvd;
};

struct qor_fw_ethsndrcv_stats_s {
	uint32_t crc_err;
	uint32_t rsvd;
};

struct qor_fw_fc_port_stats_s {
	struct qor_fw_snsm_stats_s snsm_stats;
	struct qor_fw_lksm_stats_s lksm_stats;
};

struct qor_fw_fcoe_port_stats_s {
	struct qor_fw_fcoe_stats_s fcoe_stats;
	struct qor_fw_fip_stats_s fip_stats;
};

struct qor_fw_port_stats_s {
	struct qor_fw_fpg_stats_s fpg_stats;
	struct qor_fw_physm_stats_s physm_stats;
	union {
		struct qor_fw_fc_port_stats_s fc_stats;
		struct qor_fw_fcoe_port_stats_s fcoe_stats;
	} fc_port;
};

typedef struct qor_fw_stats_s {
	struct qor_fw_ioc_stats_s ioc_stats;
	struct qor_fw_iocfc_stats_s iocfc_stats;
	struct qor_fw_io_stats_s io_stats;
	struct qor_fw_port_stats_s port_stats;
	struct qor_fw_fcxchg_stats_s fcxchg_stats;
	struct qor_fw_lpsm_stats_s lpsm_stats;
	struct qor_fw_lps_stats_s lps_stats;
	struct qor_fw_trunk_stats_s trunk_stats;
	struct qor_fw_advsm_stats_s advsm_stats;
	struct qor_fw_macmod_stats_s macmod_stats;
	struct qor_fw_ctmod_stats_s ctmod_stats;
	struct qor_fw_ethsndrcv_stats_s ethsndrcv_stats;
} qor_fw_stats_t;
QOR_CHECK_SIZE(qor_fw_stats_t, 644);
QOR_CHECK_OFF(qor_fw_stats_t, iocfc_stats, 24);
QOR_CHECK_OFF(qor_fw_stats_t, io_stats, 44);
QOR_CHECK_OFF(qor_fw_stats_t, port_stats, 252);
QOR_CHECK_OFF(qor_fw_stats_t, port_stats.physm_stats, 356);
QOR_CHECK_OFF(qor_fw_stats_t, port_stats.fc_port, 380);
QOR_CHECK_OFF(qor_fw_stats_t, port_stats.fc_port.fc_stats.lksm_stats, 412);
QOR_CHECK_OFF(qor_fw_stats_t, port_stats.fc_port.fcoe_stats.fip_stats, 404);
QOR_CHECK_OFF(qor_fw_stats_t, fcxchg_stats, 484);
QOR_CHECK_OFF(qor_fw_stats_t, lpsm_stats, 492);
QOR_CHECK_OFF(qor_fw_stats_t, lps_stats, 500);
QOR_CHECK_OFF(qor_fw_stats_t, trunk_stats, 508);
QOR_CHECK_OFF(qor_fw_stats_t, advsm_stats, 540);
QOR_CHECK_OFF(qor_fw_stats_t, macmod_stats, 572);
QOR_CHECK_OFF(qor_fw_stats_t, ctmod_stats, 612);
QOR_CHECK_OFF(qor_fw_stats_t, ethsndrcv_stats, 636);

typedef struct qor_iocfc_fwcfg_s {
	uint16_t num_fabrics;
	uint16_t num_lports;
	uint16_t num_rports;
	uint16_t num_ioim_reqs;
	uint16_t num_tskim_reqs;
	uint16_t num_iotm_reqs;
	uint16_t num_tsktm_reqs;
	uint16_t num_fcxp_reqs;
	uint16_t num_uf_bufs;
	uint8_t num_cqs;
	uint8_t fw_tick_res;
	uint8_t rsvd[4];
} qor_iocfc_fwcfg_t;
QOR_CHECK_SIZE(qor_iocfc_fwcfg_t, 24);

typedef struct qor_iocfc_drvcfg_s {
	uint16_t num_reqq_elems;
	uint16_t num_rspq_elems;
	uint16_t num_sgpgs;
	uint16_t num_sboot_tgts;
	uint16_t num_sboot_luns;
	uint16_t ioc_recover;
	uint16_t min_cfg;
	uint16_t path_tov;
	uint32_t delay_comp; /* qor_boolean_t */
	uint32_t rsvd;
} qor_iocfc_drvcfg_t;
QOR_CHECK_SIZE(qor_iocfc_drvcfg_t, 24);

typedef struct qor_iocfc_cfg_s {
	qor_iocfc_fwcfg_t fwcfg;
	qor_iocfc_drvcfg_t drvcfg;
} qor_iocfc_cfg_t;

/* Interrupt coalescing; delay and latency in microseconds. */
typedef struct qor_iocfc_intr_attr_s {
	uint8_t coalesce;
	uint8_t rsvd[3];
	uint16_t latency;
	uint16_t delay;
} qor_iocfc_intr_attr_t;
QOR_CHECK_SIZE(qor_iocfc_intr_attr_t, 8);

typedef struct qor_iocfc_attr_s {
	qor_iocfc_cfg_t config;
	qor_iocfc_intr_attr_t intr_attr;
} qor_iocfc_attr_t;
QOR_CHECK_SIZE(qor_iocfc_attr_t, 56);
QOR_CHECK_OFF(qor_iocfc_attr_t, config.drvcfg.delay_comp, 40);
QOR_CHECK_OFF(qor_iocfc_attr_t, intr_attr, 48);

#endif
