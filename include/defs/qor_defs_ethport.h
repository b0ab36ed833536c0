/*
 * Ethernet port and FCoE records shared with the drivers: attributes,
 * Ethernet statistics and FCoE statistics. Compiles as C11 and C++.
 */
#ifndef QOR_DEFS_ETHPORT_H
#define QOR_DEFS_ETHPORT_H

#include "qor_defs_types.h"

typedef struct qor_ethport_attr_s {
	uint32_t mtu;             /* bytes */
	uint32_t speed_supported; /* qor_port_speed_t */
	uint32_t port_state;      /* qor_port_states_t */
	uint32_t speed;           /* qor_port_speed_t */
} qor_ethport_attr_t;
QOR_CHECK_SIZE(qor_ethport_attr_t, 16);

/* Transmit function counters. */
struct vek_stats_txf {
	uint64_t ucast_octets;
	uint64_t ucast;
	uint64_t ucast_vlan;
	uint64_t mcast_octets;
	uint64_t mcast;
	uint64_t mcast_vlan;
	uint64_t bcast_octets;
	uint64_t bcast;
	uint64_t bcast_vlan;
	uint64_t errors;
	uint64_t filter_vlan;
	uint64_t filter_mac_sa;
};
QOR_CHECK_SIZE(struct vek_stats_txf, 96);

/* Receive function counters. */
struct vek_stats_rxf {
	uint64_t ucast_octets;
	uint64_t ucast;
	uint64_t ucast_vlan;
	uint64_t mcast_octets;
	uint64_t mcast;
	uint64_t mcast_vlan;
	uint64_t bcast_octets;
	uint64_t bcast;
	uint64_t bcast_vlan;
	uint64_t frame_drops;
};
QOR_CHECK_SIZE(struct vek_stats_rxf, 80);

/* The Ethernet driver's own counters. */
struct vekd_ethport_stats_s {
	uint64_t rx_complete;
	uint64_t rx_drop;
	uint64_t rx_alloc_fail;
	uint64_t rx_cso_err;
	uint64_t rx_mac_err;
	uint64_t rx_small_pkt;
	uint64_t rx_large_pkt;
	uint64_t rx_lro;
	uint64_t rx_lro_flush;
	uint64_t rx_low_rxbuf_count;
	uint64_t rx_schedule;
	uint64_t tx_lso4;
	uint64_t tx_lso6;
	uint64_t tx_lso_err;
	uint64_t tx_tcp_cso;
	uint64_t tx_udp_cso;
	uint64_t tx_ip4_cso;
	uint64_t tx_csum_help;
	uint64_t tx_csum_help_err;
	uint64_t tx_map_err;
	uint64_t tx_res_drop;
	uint64_t tx_small_pkt;
	uint64_t tx_large_pkt;
	uint64_t tx_out_of_wis_count;
	uint64_t tx_wi_waitq_count;
	uint64_t tx_ctxt_waitq_count;
	uint64_t tx_max_nbs_per_nbl;
	uint64_t link_toggle;
	uint64_t cee_toggle;
	uint64_t mbox_intr_disable;
	uint64_t mbox_intr_enable;
	uint64_t tx_stop;
	uint64_t tx_wakeup;
	uint64_t tx_res_stop;
	uint64_t tx_hw_stop;
	uint64_t rx_hw_stop;
	uint64_t rx_resume;
	uint64_t rx_rss_config_count;
	uint64_t fw_stats_query;
};
QOR_CHECK_SIZE(struct vekd_ethport_stats_s, 312);

typedef struct qor_ethport_stats_s {
	struct vek_stats_txf txf_stats;
	struct vek_stats_rxf rxf_stats;
	struct vekd_ethport_stats_s drv_stats;
} qor_ethport_stats_t;
QOR_CHECK_SIZE(qor_ethport_stats_t, 488);
QOR_CHECK_OFF(qor_ethport_stats_t, rxf_stats, 96);
QOR_CHECK_OFF(qor_ethport_stats_t, drv_stats, 176);

/* FCoE counters, 64-bit each. */
struct qor_fcoe_stats_s {
	uint64_t secs_reset;
	uint64_t cee_linkups;
	uint64_t cee_linkdns;
	uint64_t fip_linkups;
	uint64_t fip_linkdns;
	uint64_t fip_fails;
	uint64_t mac_invalids;
	uint64_t vlan_req;
	uint64_t vlan_notify;
	uint64_t vlan_err;
	uint64_t vlan_timeouts;
	uint64_t vlan_invalids;
	uint64_t disc_req;
	uint64_t disc_rsp;
	uint64_t disc_err;
	uint64_t disc_unsol;
	uint64_t disc_timeouts;
	uint64_t disc_fcf_unavail;
	uint64_t linksvc_unsupp;
	uint64_t linksvc_err;
	uint64_t logo_req;
	uint64_t clrvlink_req;
	uint64_t op_unsupp;
	uint64_t untagged;
	uint64_t txf_ucast;
	uint64_t txf_ucast_vlan;
	uint64_t txf_ucast_octets;
	uint64_t txf_mcast;
	uint64_t txf_mcast_vlan;
	uint64_t txf_mcast_octets;
	uint64_t txf_bcast;
	uint64_t txf_bcast_vlan;
	uint64_t txf_bcast_octets;
	uint64_t txf_timeout;
	uint64_t txf_parity_errors;
	uint64_t txf_fid_parity_errors;
	uint64_t rxf_ucast_octets;
	uint64_t rxf_ucast;
	uint64_t rxf_ucast_vlan;
	uint64_t rxf_mcast_octets;
	uint64_t rxf_mcast;
	uint64_t rxf_mcast_vlan;
	uint64_t rxf_bcast_octets;
	uint64_t rxf_bcast;
	uint64_t rxf_bcast_vlan;
};
QOR_CHECK_SIZE(struct qor_fcoe_stats_s, 360);

typedef union qor_fcport_stats_u {
	struct qor_fcoe_stats_s fcoe;
} qor_fcport_stats_t;
QOR_CHECK_SIZE(qor_fcport_stats_t, 360);

#endif
