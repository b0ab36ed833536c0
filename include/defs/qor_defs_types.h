/*
 * Basic types shared by the library, the drivers and their management
 * programs. Compiles as C11 and C++.
 */
#ifndef QOR_DEFS_TYPES_H
#define QOR_DEFS_TYPES_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#include "qor_defs_status.h"

/* Layout checks against the driver interface; static_assert in C11 and C++. */
#define QOR_CHECK_SIZE(type, size) \
	static_assert(sizeof(type) == (size), #type " size")
#define QOR_CHECK_OFF(type, field, off) \
	static_assert(offsetof(type, field) == (off), #type "." #field " offset")

typedef enum qor_boolean { QOR_FALSE = 0, QOR_TRUE = 1 } qor_boolean_t;

/* A world-wide name: its 8 bytes in wire order, compared as 64 bits. */
typedef uint64_t wwn_t;

/* An Ethernet MAC address, passed and returned by value. */
typedef struct mac_s {
	uint8_t mac[6];
} mac_t;

typedef enum qor_ioc_type {
	QOR_IOC_TYPE_FC = 1,
	QOR_IOC_TYPE_FCoE = 2,
	QOR_IOC_TYPE_LL = 3
} qor_ioc_type_e;

/* The kind of management program; the drivers queue events per kind. */
typedef enum qor_aen_app {
	qor_aen_app_mxt = 0,
	qor_aen_app_dxm = 1,
	qor_aen_app_cim = 2,
	qor_aen_app_snia = 3,
	qor_aen_app_test = 4
} qor_aen_app_t;

typedef enum qor_ioc_state {
	QOR_IOC_UNINIT = 1,
	QOR_IOC_RESET = 2,
	QOR_IOC_SEMWAIT = 3,
	QOR_IOC_HWINIT = 4,
	QOR_IOC_GETATTR = 5,
	QOR_IOC_OPERATIONAL = 6,
	QOR_IOC_INITFAIL = 7,
	QOR_IOC_FAIL = 8,
	QOR_IOC_DISABLING = 9,
	QOR_IOC_DISABLED = 10,
	QOR_IOC_FWMISMATCH = 11,
	QOR_IOC_ENABLING = 12
} qor_ioc_state_t;

typedef enum qor_port_speed {
	QOR_PORT_SPEED_UNKNOWN = 0,
	QOR_PORT_SPEED_1GBPS = 1,
	QOR_PORT_SPEED_2GBPS = 2,
	QOR_PORT_SPEED_4GBPS = 4,
	QOR_PORT_SPEED_8GBPS = 8,
	QOR_PORT_SPEED_10GBPS = 10,
	QOR_PORT_SPEED_AUTO = 15,
	QOR_PORT_SPEED_16GBPS = 16
} qor_port_speed_t;

typedef enum qor_port_topology {
	QOR_PORT_TOPOLOGY_NONE = 0,
	QOR_PORT_TOPOLOGY_P2P = 1,
	QOR_PORT_TOPOLOGY_LOOP = 2,
	QOR_PORT_TOPOLOGY_AUTO = 3
} qor_port_topology_t;

typedef enum qor_port_states {
	QOR_PORT_ST_UNINIT = 1,
	QOR_PORT_ST_ENABLING_QWAIT = 2,
	QOR_PORT_ST_ENABLING = 3,
	QOR_PORT_ST_LINKDOWN = 4,
	QOR_PORT_ST_LINKUP = 5,
	QOR_PORT_ST_DISABLING_QWAIT = 6,
	QOR_PORT_ST_DISABLING = 7,
	QOR_PORT_ST_DISABLED = 8,
	QOR_PORT_ST_STOPPED = 9,
	QOR_PORT_ST_IOCDOWN = 10,
	QOR_PORT_ST_IOCDIS = 11,
	QOR_PORT_ST_FWMISMATCH = 12,
	QOR_PORT_ST_PREBOOT_DISABLED = 13,
	QOR_PORT_ST_TOGGLING_QWAIT = 14,
	QOR_PORT_ST_MAX_STATE = 15
} qor_port_states_t;

typedef enum qor_port_type {
	QOR_PORT_TYPE_UNKNOWN = 1,
	QOR_PORT_TYPE_NPORT = 5,
	QOR_PORT_TYPE_NLPORT = 6,
	QOR_PORT_TYPE_LPORT = 20,
	QOR_PORT_TYPE_P2P = 21,
	QOR_PORT_TYPE_VPORT = 22
} qor_port_type_t;

typedef enum qor_port_opmode {
	QOR_PORT_OPMODE_NORMAL = 0,
	QOR_PORT_OPMODE_LB_INT = 1,
	QOR_PORT_OPMODE_LB_SLW = 2,
	QOR_PORT_OPMODE_LB_EXT = 4,
	QOR_PORT_OPMODE_LB_CBL = 8,
	QOR_PORT_OPMODE_LB_NLINT = 32
} qor_port_opmode_t;

typedef enum qor_log_severity {
	QOR_LOG_INVALID = 0,
	QOR_LOG_CRITICAL = 1,
	QOR_LOG_ERROR = 2,
	QOR_LOG_WARNING = 3,
	QOR_LOG_INFO = 4
} qor_log_severity_t;

typedef enum qor_auth_algo {
	QOR_AUTH_ALGO_MD5 = 1,
	QOR_AUTH_ALGO_SHA1 = 2,
	QOR_AUTH_ALGO_MS = 3,
	QOR_AUTH_ALGO_SM = 4
} qor_auth_algo_t;

typedef enum qor_auth_group {
	QOR_AUTH_GROUP_DHNULL = 0,
	QOR_AUTH_GROUP_DH768 = 1,
	QOR_AUTH_GROUP_DH1024 = 2,
	QOR_AUTH_GROUP_DH1280 = 4,
	QOR_AUTH_GROUP_DH1536 = 8,
	QOR_AUTH_GROUP_ALL = 256
} qor_auth_group_t;

typedef enum qor_auth_secretsource {
	QOR_AUTH_SECSRC_LOCAL = 1,
	QOR_AUTH_SECSRC_RADIUS = 2,
	QOR_AUTH_SECSRC_TACACS = 3
} qor_auth_secretsource_t;

/* Fibre Channel classes of service. */
typedef enum fc_cos {
	FC_CLASS_2 = 4,
	FC_CLASS_3 = 8,
	FC_CLASS_2_3 = 12
} fc_cos_t;

/* Time of an event. */
typedef struct qor_timeval_s {
	uint32_t tv_sec;
	uint32_t tv_usec;
} qor_timeval_t;

/* Display-name enumerations; each value has a row in the code-to-text tables. */

typedef enum qor_flash_status {
	QOR_FLASH_STATUS_GOOD = 0,
	QOR_FLASH_STATUS_NOT_PRESENT = 1,
	QOR_FLASH_STATUS_UNINIT = 2,
	QOR_FLASH_STATUS_BAD = 3,
	QOR_FLASH_STATUS_EMPTY = 4,
	QOR_FLASH_STATUS_CKFAIL = 5
} qor_flash_status_t;

typedef enum qor_flash_part_type {
	QOR_FLASH_PART_OPTROM = 1,
	QOR_FLASH_PART_FWIMG = 2,
	QOR_FLASH_PART_FWCFG = 3,
	QOR_FLASH_PART_DRV = 4,
	QOR_FLASH_PART_BOOT = 5,
	QOR_FLASH_PART_ASIC = 6,
	QOR_FLASH_PART_MFG = 7,
	QOR_FLASH_PART_OPTROM2 = 8,
	QOR_FLASH_PART_VPD = 9,
	QOR_FLASH_PART_PBC = 10,
	QOR_FLASH_PART_BOOTOVL = 11,
	QOR_FLASH_PART_LOG = 12,
	QOR_FLASH_PART_PXECFG = 13,
	QOR_FLASH_PART_PXEOVL = 14,
	QOR_FLASH_PART_PORTCFG = 15
} qor_flash_part_type_t;

typedef enum qor_rport_state {
	QOR_RPORT_UNINIT = 0,
	QOR_RPORT_OFFLINE = 1,
	QOR_RPORT_PLOGI = 2,
	QOR_RPORT_ONLINE = 3,
	QOR_RPORT_PLOGI_RETRY = 4,
	QOR_RPORT_NSQUERY = 5,
	QOR_RPORT_ADISC = 6,
	QOR_RPORT_LOGO = 7,
	QOR_RPORT_LOGORCV = 8,
	QOR_RPORT_NSDISC = 9
} qor_rport_state_t;

typedef enum qor_itnim_state {
	QOR_ITNIM_OFFLINE = 0,
	QOR_ITNIM_PRLI_SEND = 1,
	QOR_ITNIM_PRLI_SENT = 2,
	QOR_ITNIM_PRLI_RETRY = 3,
	QOR_ITNIM_HCB_ONLINE = 4,
	QOR_ITNIM_ONLINE = 5,
	QOR_ITNIM_HCB_OFFLINE = 6,
	QOR_ITNIM_INITIATIOR = 7
} qor_itnim_state_t;

typedef enum qor_auth_status {
	QOR_AUTH_ST_NO_AUTH = 0,
	QOR_AUTH_ST_UNINIT = 1,
	QOR_AUTH_ST_NEG_SEND = 2,
	QOR_AUTH_ST_CHAL_WAIT = 3,
	QOR_AUTH_ST_NEG_RETRY = 4,
	QOR_AUTH_ST_REPLY_SEND = 5,
	QOR_AUTH_ST_STATUS_WAIT = 6,
	QOR_AUTH_ST_SUCCESS = 7,
	QOR_AUTH_ST_FAILED = 8,
	QOR_AUTH_ST_UNKNOWN = 9
} qor_auth_status_t;

typedef enum qor_auth_rej_code {
	QOR_AUTH_RJT_CODE_AUTH_FAILURE = 1,
	QOR_AUTH_RJT_CODE_LOGICAL_ERR = 2,
	QOR_AUTH_RJT_CODE_NO_PASSWORD = 254,
	QOR_AUTH_RJT_CODE_LOGICAL_ERR_OTHER = 255
} qor_auth_rej_code_t;

typedef enum qor_auth_rej_code_exp {
	QOR_AUTH_RJT_EXP_MECH_UNUSABLE = 1,
	QOR_AUTH_RJT_EXP_DH_GROUP_UNUSABLE = 2,
	QOR_AUTH_RJT_EXP_HASH_FUNC_UNUSABLE = 3,
	QOR_AUTH_RJT_EXP_AUTH_XACT_STARTED = 4,
	QOR_AUTH_RJT_EXP_AUTH_FAILED = 5,
	QOR_AUTH_RJT_EXP_INCORRECT_PAYLOAD = 6,
	QOR_AUTH_RJT_EXP_INCORRECT_PROTO_MSG = 7,
	QOR_AUTH_RJT_EXP_RESTART_AUTH_PROTO = 8,
	QOR_AUTH_RJT_EXP_AUTH_CONCAT_UNSUPP = 9,
	QOR_AUTH_RJT_EXP_PROTO_VER_UNSUPP = 10,
	QOR_AUTH_RJT_EXP_NONE_2 = 254,
	QOR_AUTH_RJT_EXP_NONE = 255
} qor_auth_rej_code_exp_t;

typedef enum qor_vport_state {
	QOR_VPORT_UNINIT = 0,
	QOR_VPORT_OFFLINE = 1,
	QOR_VPORT_FDISC_SEND = 2,
	QOR_VPORT_FDISC = 3,
	QOR_VPORT_FDISC_RETRY = 4,
	QOR_VPORT_ONLINE = 5,
	QOR_VPORT_DELETING = 6,
	QOR_VPORT_LOGO_SEND = 7,
	QOR_VPORT_LOGO = 8,
	QOR_VPORT_ERROR = 9
} qor_vport_state_t;

typedef enum qor_qos_state {
	QOR_QOS_DISABLED = 0,
	QOR_QOS_ONLINE = 1,
	QOR_QOS_OFFLINE = 2
} qor_qos_state_t;

typedef enum qor_qos_priority {
	QOR_QOS_UNKNOWN = 0,
	QOR_QOS_HIGH = 1,
	QOR_QOS_MED = 2,
	QOR_QOS_LOW = 3
} qor_qos_priority_t;

/* Why an Ethernet-side link is down; 39 and 40 are not assigned. */
typedef enum qor_port_linkstate_rsn {
	QOR_PORT_LINKSTATE_RSN_PEER_TIMEOUT = 20,
	QOR_PORT_LINKSTATE_RSN_PEER_SHUTDOWN = 21,
	QOR_PORT_LINKSTATE_RSN_NO_DCBX = 22,
	QOR_PORT_LINKSTATE_RSN_NO_PG_TLV = 23,
	QOR_PORT_LINKSTATE_RSN_NO_PFC_TLV = 24,
	QOR_PORT_LINKSTATE_RSN_NO_FCOE_TLV = 25,
	QOR_PORT_LINKSTATE_RSN_PG_INCOMPAT = 26,
	QOR_PORT_LINKSTATE_RSN_PFC_INCOMPAT = 27,
	QOR_PORT_LINKSTATE_RSN_FCOE_INCOMPAT = 28,
	QOR_PORT_LINKSTATE_RSN_BAD_PGID = 29,
	QOR_PORT_LINKSTATE_RSN_BAD_BW = 30,
	QOR_PORT_LINKSTATE_RSN_BAD_PFC = 31,
	QOR_PORT_LINKSTATE_RSN_BAD_APP = 32,
	QOR_PORT_LINKSTATE_RSN_FCOE_PFC_OFF = 33,
	QOR_PORT_LINKSTATE_RSN_DUP_CTRL_TLV = 34,
	QOR_PORT_LINKSTATE_RSN_DUP_FEAT_TLV = 35,
	QOR_PORT_LINKSTATE_RSN_CFG_APPLYING = 36,
	QOR_PORT_LINKSTATE_RSN_PROTO_INIT = 37,
	QOR_PORT_LINKSTATE_RSN_PHY_LINK_DOWN = 38,
	QOR_PORT_LINKSTATE_RSN_ISCSI_INCOMPAT = 41,
	QOR_PORT_LINKSTATE_RSN_ISCSI_PFC_OFF = 42,
	QOR_PORT_LINKSTATE_RSN_ISCSI_FCOE_OVERLAP = 43
} qor_port_linkstate_rsn_t;

typedef enum qor_ethport_cee_state {
	QOR_ETHPORT_CEE_LINKDOWN = 1,
	QOR_ETHPORT_CEE_LINKUP = 2
} qor_ethport_cee_state_t;

typedef enum qor_trunk_state {
	QOR_TRUNK_DISABLED = 0,
	QOR_TRUNK_ONLINE = 1,
	QOR_TRUNK_OFFLINE = 2
} qor_trunk_state_t;

typedef enum qor_trunk_link_state {
	QOR_TRUNK_LINK_STATE_UP = 1,
	QOR_TRUNK_LINK_STATE_DN_LINKDN = 2,
	QOR_TRUNK_LINK_STATE_DN_GRP_MIS = 3,
	QOR_TRUNK_LINK_STATE_DN_SPD_MIS = 4,
	QOR_TRUNK_LINK_STATE_DN_MODE_MIS = 5
} qor_trunk_link_state_t;

typedef enum qor_trunk_link_fctl {
	QOR_TRUNK_LINK_FCTL_NORMAL = 0,
	QOR_TRUNK_LINK_FCTL_VC = 1,
	QOR_TRUNK_LINK_FCTL_VC_QOS = 2
} qor_trunk_link_fctl_t;

typedef enum qor_cee_status {
	QOR_CEE_UP = 0,
	QOR_CEE_PHY_UP = 1,
	QOR_CEE_LOOPBACK = 2,
	QOR_CEE_PHY_DOWN = 3
} qor_cee_status_t;

typedef enum qor_defs_sfp_media {
	QOR_SFP_MEDIA_UNKNOWN = 0,
	QOR_SFP_MEDIA_CU = 1,
	QOR_SFP_MEDIA_LW = 2,
	QOR_SFP_MEDIA_SW = 3,
	QOR_SFP_MEDIA_EL = 4,
	QOR_SFP_MEDIA_UNSUPPORT = 5
} qor_defs_sfp_media_t;

/* Port log module and event names: fixed 8 bytes, NUL-padded. */
typedef struct qor_plog_mid_strings_s {
	char m_str[8];
} qor_plog_mid_strings_t;

typedef struct qor_plog_eid_strings_s {
	char e_str[8];
} qor_plog_eid_strings_t;

#endif
