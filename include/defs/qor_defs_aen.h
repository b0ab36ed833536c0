/*
 * Asynchronous event records queued by the drivers per application.
 */
#ifndef QOR_DEFS_AEN_H
#define QOR_DEFS_AEN_H

#include "qor_defs_types.h"

typedef enum qor_aen_category {
	QOR_AEN_CAT_ADAPTER = 1,
	QOR_AEN_CAT_PORT = 2,
	QOR_AEN_CAT_LPORT = 3,
	QOR_AEN_CAT_RPORT = 4,
	QOR_AEN_CAT_ITNIM = 5,
	QOR_AEN_CAT_TIN = 6,
	QOR_AEN_CAT_IPFC = 7,
	QOR_AEN_CAT_AUDIT = 8,
	QOR_AEN_CAT_IOC = 9,
	QOR_AEN_CAT_ETHPORT = 10,
	QOR_AEN_MAX_CAT = 10
} qor_aen_category_t;

typedef enum qor_adapter_aen_event {
	QOR_ADAPTER_AEN_ADD = 1,
	QOR_ADAPTER_AEN_REMOVE = 2
} qor_adapter_aen_event_t;

typedef enum qor_port_aen_event {
	QOR_PORT_AEN_ONLINE = 1,
	QOR_PORT_AEN_OFFLINE = 2,
	QOR_PORT_AEN_RLIR = 3,
	QOR_PORT_AEN_SFP_INSERT = 4,
	QOR_PORT_AEN_SFP_REMOVE = 5,
	QOR_PORT_AEN_SFP_POM = 6,
	QOR_PORT_AEN_ENABLE = 7,
	QOR_PORT_AEN_DISABLE = 8,
	QOR_PORT_AEN_AUTH_ON = 9,
	QOR_PORT_AEN_AUTH_OFF = 10,
	QOR_PORT_AEN_DISCONNECT = 11,
	QOR_PORT_AEN_QOS_NEG = 12,
	QOR_PORT_AEN_FABRIC_NAME_CHANGE = 13,
	QOR_PORT_AEN_SFP_ACCESS_ERROR = 14,
	QOR_PORT_AEN_SFP_UNSUPPORT = 15
} qor_port_aen_event_t;

typedef enum qor_lport_aen_event {
	QOR_LPORT_AEN_NEW = 1,
	QOR_LPORT_AEN_DELETE = 2,
	QOR_LPORT_AEN_ONLINE = 3,
	QOR_LPORT_AEN_OFFLINE = 4,
	QOR_LPORT_AEN_DISCONNECT = 5,
	QOR_LPORT_AEN_NEW_PROP = 6,
	QOR_LPORT_AEN_DELETE_PROP = 7,
	QOR_LPORT_AEN_NEW_STANDARD = 8,
	QOR_LPORT_AEN_DELETE_STANDARD = 9,
	QOR_LPORT_AEN_NPIV_DUP_WWN = 10,
	QOR_LPORT_AEN_NPIV_FABRIC_MAX = 11,
	QOR_LPORT_AEN_NPIV_UNKNOWN = 12
} qor_lport_aen_event_t;

typedef enum qor_rport_aen_event {
	QOR_RPORT_AEN_ONLINE = 1,
	QOR_RPORT_AEN_OFFLINE = 2,
	QOR_RPORT_AEN_DISCONNECT = 3,
	QOR_RPORT_AEN_QOS_PRIO = 4,
	QOR_RPORT_AEN_QOS_FLOWID = 5
} qor_rport_aen_event_t;

typedef enum qor_itnim_aen_event {
	QOR_ITNIM_AEN_ONLINE = 1,
	QOR_ITNIM_AEN_OFFLINE = 2,
	QOR_ITNIM_AEN_DISCONNECT = 3
} qor_itnim_aen_event_t;

typedef enum qor_audit_aen_event {
	QOR_AUDIT_AEN_AUTH_ENABLE = 1,
	QOR_AUDIT_AEN_AUTH_DISABLE = 2,
	QOR_AUDIT_AEN_FLASH_ERASE = 3,
	QOR_AUDIT_AEN_FLASH_UPDATE = 4
} qor_audit_aen_event_t;

typedef enum qor_ioc_aen_event {
	QOR_IOC_AEN_HBGOOD = 1,
	QOR_IOC_AEN_HB_FAIL = 2,
	QOR_IOC_AEN_ENABLE = 3,
	QOR_IOC_AEN_DISABLE = 4,
	QOR_IOC_AEN_FWMISMATCH = 5,
	QOR_IOC_AEN_FWCFG_ERROR = 6,
	QOR_IOC_AEN_INVALID_VENDOR = 7,
	QOR_IOC_AEN_INVALID_NWWN = 8,
	QOR_IOC_AEN_INVALID_PWWN = 9
} qor_ioc_aen_event_t;

typedef enum qor_ethport_aen_event {
	QOR_ETHPORT_AEN_LINKUP = 1,
	QOR_ETHPORT_AEN_LINKDOWN = 2,
	QOR_ETHPORT_AEN_ENABLE = 3,
	QOR_ETHPORT_AEN_DISABLE = 4
} qor_ethport_aen_event_t;

typedef struct qor_adapter_aen_data_s {
	char serial_num[12];
	uint32_t nports;
	wwn_t pwwn;
} qor_adapter_aen_data_t;
QOR_CHECK_SIZE(qor_adapter_aen_data_t, 24);

typedef struct qor_port_aen_data_s {
	wwn_t pwwn;
	wwn_t fwwn;
	int32_t phy_port_num;
	int16_t ioc_type;
	int16_t level;
	uint8_t mac[6];
	int16_t rsvd;
} qor_port_aen_data_t;
QOR_CHECK_SIZE(qor_port_aen_data_t, 32);
QOR_CHECK_OFF(qor_port_aen_data_t, mac, 24);

typedef struct qor_lport_aen_data_s {
	uint16_t vf_id;
	int16_t roles;
	uint32_t rsvd;
	wwn_t ppwwn;
	wwn_t lpwwn;
} qor_lport_aen_data_t;
QOR_CHECK_SIZE(qor_lport_aen_data_t, 24);

typedef struct qor_rport_aen_qos_s {
	uint8_t qos_priority;
	uint8_t rsvd[3];
	uint32_t qos_flow_id;
} qor_rport_aen_qos_t;

typedef struct qor_rport_aen_data_s {
	uint16_t vf_id;
	uint16_t rsvd[3];
	wwn_t ppwwn;
	wwn_t lpwwn;
	wwn_t rpwwn;
	qor_rport_aen_qos_t priv;
} qor_rport_aen_data_t;
QOR_CHECK_SIZE(qor_rport_aen_data_t, 40);
QOR_CHECK_OFF(qor_rport_aen_data_t, priv, 32);

typedef struct qor_itnim_aen_data_s {
	uint16_t vf_id;
	uint16_t rsvd[3];
	wwn_t ppwwn;
	wwn_t lpwwn;
	wwn_t rpwwn;
} qor_itnim_aen_data_t;
QOR_CHECK_SIZE(qor_itnim_aen_data_t, 32);

typedef struct qor_audit_aen_data_s {
	wwn_t pwwn;
	int32_t partition_inst;
	int32_t partition_type;
} qor_audit_aen_data_t;
QOR_CHECK_SIZE(qor_audit_aen_data_t, 16);

typedef struct qor_ioc_aen_data_s {
	wwn_t pwwn;
	int16_t ioc_type;
	uint8_t mac[6];
} qor_ioc_aen_data_t;
QOR_CHECK_SIZE(qor_ioc_aen_data_t, 16);

typedef struct qor_ethport_aen_data_s {
	uint8_t mac[6];
	uint16_t cee_state;
} qor_ethport_aen_data_t;
QOR_CHECK_SIZE(qor_ethport_aen_data_t, 8);

typedef union qor_aen_data_u {
	qor_adapter_aen_data_t adapter;
	qor_port_aen_data_t port;
	qor_lport_aen_data_t lport;
	qor_rport_aen_data_t rport;
	qor_itnim_aen_data_t itnim;
	qor_audit_aen_data_t audit;
	qor_ioc_aen_data_t ioc;
	qor_ethport_aen_data_t ethport;
} qor_aen_data_t;
QOR_CHECK_SIZE(qor_aen_data_t, 40);

typedef struct qor_aen_entry_s {
	uint32_t aen_category; /* qor_aen_category_t */
	int32_t aen_type;
	qor_aen_data_t aen_data;
	qor_timeval_t aen_tv;
	int32_t seq_num;
	int32_t qord_num;
} qor_aen_entry_t;
QOR_CHECK_SIZE(qor_aen_entry_t, 64);
QOR_CHECK_OFF(qor_aen_entry_t, aen_data, 8);
QOR_CHECK_OFF(qor_aen_entry_t, aen_tv, 48);
QOR_CHECK_OFF(qor_aen_entry_t, seq_num, 56);
QOR_CHECK_OFF(qor_aen_entry_t, qord_num, 60);

#endif
