/*
 * Physical port and trunk records shared with the drivers: attributes,
 * configured values, RNID data, trunk attributes and port statistics.
 * Compiles as C11 and C++.
 */
#ifndef QOR_DEFS_PORT_H
#define QOR_DEFS_PORT_H

#include "qor_defs_types.h"

/* A port's symbolic name, NUL-terminated. */
typedef struct fc_symname_s {
	char symname[256];
} fc_symname_t;
QOR_CHECK_SIZE(fc_symname_t, 256);

/* Values the port is configured with (inside the attributes). */
struct qor_port_cfg_s {
	uint8_t topology;      /* qor_port_topology_t */
	uint8_t speed;         /* qor_port_speed_t */
	uint8_t trunked;       /* nonzero: member of a trunk */
	uint8_t qos_enabled;
	uint8_t cfg_hardalpa;  /* nonzero: hardalpa is configured */
	uint8_t hardalpa;
	uint16_t maxfrsize;    /* bytes */
	uint8_t rx_bbcredit;
	uint8_t tx_bbcredit;
	uint8_t ratelimit;     /* nonzero: target rate limiting on */
	uint8_t trl_def_speed; /* qor_port_speed_t */
	uint16_t path_tov;
	uint16_t q_depth;
};
typedef struct qor_port_cfg_s qor_port_cfg_t;
QOR_CHECK_SIZE(qor_port_cfg_t, 16);
QOR_CHECK_OFF(qor_port_cfg_t, maxfrsize, 6);
QOR_CHECK_OFF(qor_port_cfg_t, rx_bbcredit, 8);
QOR_CHECK_OFF(qor_port_cfg_t, path_tov, 12);
QOR_CHECK_OFF(qor_port_cfg_t, q_depth, 14);

/* Physical port attributes, filled by the driver. */
typedef struct qor_port_attr_s {
	wwn_t nwwn;
	wwn_t pwwn;
	wwn_t factorynwwn;
	wwn_t factorypwwn;
	uint32_t cos_supported;   /* fc_cos_t */
	uint32_t rsvd;
	fc_symname_t port_symname;
	uint32_t speed_supported; /* highest supported qor_port_speed_t */
	uint32_t pbind_enabled;   /* qor_boolean_t */
	qor_port_cfg_t pport_cfg;
	uint32_t port_state;      /* qor_port_states_t */
	uint32_t speed;           /* qor_port_speed_t in operation */
	uint32_t topology;        /* qor_port_topology_t in operation */
	uint32_t beacon;
	uint32_t link_e2e_beacon;
	uint32_t plog_enabled;
	uint32_t pid;             /* FC address: its 3 bytes first, in wire order */
	uint32_t port_type;       /* qor_port_type_t */
	uint32_t loopback;        /* qor_port_opmode_t */
	uint32_t authfail;
	uint32_t io_profile;      /* qor_boolean_t */
	uint8_t pad[4];
	uint16_t fcoe_vlan;
	uint8_t rsvd1[6];
} qor_port_attr_t;
QOR_CHECK_SIZE(qor_port_attr_t, 376);
QOR_CHECK_OFF(qor_port_attr_t, pwwn, 8);
QOR_CHECK_OFF(qor_port_attr_t, factorynwwn, 16);
QOR_CHECK_OFF(qor_port_attr_t, factorypwwn, 24);
QOR_CHECK_OFF(qor_port_attr_t, cos_supported, 32);
QOR_CHECK_OFF(qor_port_attr_t, port_symname, 40);
QOR_CHECK_OFF(qor_port_attr_t, speed_supported, 296);
QOR_CHECK_OFF(qor_port_attr_t, pbind_enabled, 300);
QOR_CHECK_OFF(qor_port_attr_t, pport_cfg, 304);
QOR_CHECK_OFF(qor_port_attr_t, port_state, 320);
QOR_CHECK_OFF(qor_port_attr_t, speed, 324);
QOR_CHECK_OFF(qor_port_attr_t, topology, 328);
QOR_CHECK_OFF(qor_port_attr_t, beacon, 332);
QOR_CHECK_OFF(qor_port_attr_t, link_e2e_beacon, 336);
QOR_CHECK_OFF(qor_port_attr_t, plog_enabled, 340);
QOR_CHECK_OFF(qor_port_attr_t, pid, 344);
QOR_CHECK_OFF(qor_port_attr_t, port_type, 348);
QOR_CHECK_OFF(qor_port_attr_t, loopback, 352);
QOR_CHECK_OFF(qor_port_attr_t, authfail, 356);
QOR_CHECK_OFF(qor_port_attr_t, io_profile, 360);
QOR_CHECK_OFF(qor_port_attr_t, pad, 364);
QOR_CHECK_OFF(qor_port_attr_t, fcoe_vlan, 368);
QOR_CHECK_OFF(qor_port_attr_t, rsvd1, 370);

/* Request Node Identification data. */
typedef struct qor_port_rnid_s {
	wwn_t wwn;
	uint32_t unittype;
	uint32_t portid;
	uint32_t attached_nodes_num;
	uint16_t ip_version;
	uint16_t udp_port;
	uint8_t ipaddr[16];
	uint16_t rsvd;
	uint16_t topologydiscoveryflags;
	uint8_t pad[4];
} qor_port_rnid_t;
QOR_CHECK_SIZE(qor_port_rnid_t, 48);
QOR_CHECK_OFF(qor_port_rnid_t, unittype, 8);
QOR_CHECK_OFF(qor_port_rnid_t, portid, 12);
QOR_CHECK_OFF(qor_port_rnid_t, attached_nodes_num, 16);
QOR_CHECK_OFF(qor_port_rnid_t, ip_version, 20);
QOR_CHECK_OFF(qor_port_rnid_t, udp_port, 22);
QOR_CHECK_OFF(qor_port_rnid_t, ipaddr, 24);
QOR_CHECK_OFF(qor_port_rnid_t, rsvd, 40);
QOR_CHECK_OFF(qor_port_rnid_t, topologydiscoveryflags, 42);

/* One member link of a trunk. */
struct qor_trunk_link_attr_s {
	wwn_t trunk_wwn;
	uint32_t fctl;       /* qor_trunk_link_fctl_t */
	uint32_t link_state; /* qor_trunk_link_state_t */
	uint32_t speed;      /* qor_port_speed_t */
	uint32_t deskew;
};
QOR_CHECK_SIZE(struct qor_trunk_link_attr_s, 24);

#define QOR_TRUNK_MAX_PORTS 2

typedef struct qor_trunk_attr_s {
	uint32_t state;   /* qor_trunk_state_t */
	uint32_t speed;   /* qor_port_speed_t */
	uint32_t port_id;
	uint32_t rsvd;
	struct qor_trunk_link_attr_s link_attr[QOR_TRUNK_MAX_PORTS];
} qor_trunk_attr_t;
QOR_CHECK_SIZE(qor_trunk_attr_t, 64);
QOR_CHECK_OFF(qor_trunk_attr_t, port_id, 8);
QOR_CHECK_OFF(qor_trunk_attr_t, link_attr, 16);

/* Fibre Channel port counters, 64-bit each. */
struct qor_port_fc_stats_s {
	uint64_t secs_reset;
	uint64_t tx_frames;
	uint64_t tx_words;
	uint64_t tx_lip;
	uint64_t tx_nos;
	uint64_t tx_ols;
	uint64_t tx_lr;
	uint64_t tx_lrr;
	uint64_t rx_frames;
	uint64_t rx_words;
	uint64_t lip_count;
	uint64_t nos_count;
	uint64_t ols_count;
	uint64_t lr_count;
	uint64_t lrr_count;
	uint64_t invalid_crcs;
	uint64_t invalid_crc_gd_eof;
	uint64_t undersized_frm;
	uint64_t oversized_frm;
	uint64_t bad_eof_frm;
	uint64_t error_frames;
	uint64_t dropped_frames;
	uint64_t link_failures;
	uint64_t loss_of_syncs;
	uint64_t loss_of_signals;
	uint64_t primseq_errs;
	uint64_t bad_os_count;
	uint64_t err_enc_out;
	uint64_t err_enc;
};
QOR_CHECK_SIZE(struct qor_port_fc_stats_s, 232);

/* Ethernet (FCoE or plain Ethernet) port counters, 64-bit each. */
struct qor_port_eth_stats_s {
	uint64_t secs_reset;
	uint64_t frame_64;
	uint64_t frame_65_127;
	uint64_t frame_128_255;
	uint64_t frame_256_511;
	uint64_t frame_512_1023;
	uint64_t frame_1024_1518;
	uint64_t frame_1519_1522;
	uint64_t tx_bytes;
	uint64_t tx_packets;
	uint64_t tx_mcast_packets;
	uint64_t tx_bcast_packets;
	uint64_t tx_control_frame;
	uint64_t tx_drop;
	uint64_t tx_jabber;
	uint64_t tx_fcs_error;
	uint64_t tx_fragments;
	uint64_t rx_bytes;
	uint64_t rx_packets;
	uint64_t rx_mcast_packets;
	uint64_t rx_bcast_packets;
	uint64_t rx_control_frames;
	uint64_t rx_unknown_opcode;
	uint64_t rx_drop;
	uint64_t rx_jabber;
	uint64_t rx_fcs_error;
	uint64_t rx_alignment_error;
	uint64_t rx_frame_length_error;
	uint64_t rx_code_error;
	uint64_t rx_fragments;
	uint64_t rx_pause;
	uint64_t rx_zero_pause;
	uint64_t tx_pause;
	uint64_t tx_zero_pause;
	uint64_t rx_fcoe_pause;
	uint64_t rx_fcoe_zero_pause;
	uint64_t tx_fcoe_pause;
	uint64_t tx_fcoe_zero_pause;
	uint64_t rx_iscsi_pause;
	uint64_t rx_iscsi_zero_pause;
	uint64_t tx_iscsi_pause;
	uint64_t tx_iscsi_zero_pause;
};
QOR_CHECK_SIZE(struct qor_port_eth_stats_s, 336);

/* The driver fills the member that matches the controller's kind. */
typedef union qor_port_stats_u {
	struct qor_port_fc_stats_s fc;
	struct qor_port_eth_stats_s eth;
} qor_port_stats_t;
QOR_CHECK_SIZE(qor_port_stats_t, 336);

#endif
