/*
 * Statistics naming: name/value pairs and the name tables of the statistics
 * records. Name i of a table belongs to the i-th counter of its record read
 * as a flat array of equal-width counters. Thread-safe; nothing throws.
 */
#ifndef QORL_STATS_H
#define QORL_STATS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Room for a name and its terminator; every table name fits. */
#define QORL_STATS_NAME_LEN 64

typedef struct qorl_stats_s qorl_stats_t;
struct qorl_stats_s {
	char name[QORL_STATS_NAME_LEN];
	uint32_t value;
};

typedef struct qorl_stats_long_s qorl_stats_long_t;
struct qorl_stats_long_s {
	char name[QORL_STATS_NAME_LEN];
	uint64_t value;
};

/* Table sizes, for sizing pair arrays. */
#define QORL_PORT_FC_STATS_COUNT 29           /* 64-bit counters */
#define QORL_PORT_ETH_STATS_COUNT 42          /* 64-bit counters */
#define QORL_FCOE_STATS_COUNT 45              /* 64-bit counters */
#define QORL_LPORT_STATS_COUNT 52             /* 32-bit counters from here on */
#define QORL_ITNIM_IOSTATS_COUNT 48
#define QORL_ITNIM_STATS_COUNT 11
#define QORL_RPORT_REMOTE_LINK_STATS_COUNT 6
#define QORL_VF_STATS_COUNT 11
#define QORL_QOS_STATS_COUNT 9
#define QORL_FCPIM_DEL_ITN_STATS_COUNT 8
#define QORL_IPFC_STATS_COUNT 10
#define QORL_CEE_STATS_COUNT 18

extern const char *const qorl_port_fc_stats[QORL_PORT_FC_STATS_COUNT];
extern const char *const qorl_port_eth_stats[QORL_PORT_ETH_STATS_COUNT];
extern const char *const qorl_fcoe_stats[QORL_FCOE_STATS_COUNT];
extern const char *const qorl_lport_stats[QORL_LPORT_STATS_COUNT];
extern const char *const qorl_itnim_iostats[QORL_ITNIM_IOSTATS_COUNT];
extern const char *const qorl_itnim_stats[QORL_ITNIM_STATS_COUNT];
extern const char *const qorl_rport_remote_link_stats[QORL_RPORT_REMOTE_LINK_STATS_COUNT];
extern const char *const qorl_vf_stats[QORL_VF_STATS_COUNT];
extern const char *const qorl_qos_stats[QORL_QOS_STATS_COUNT];
extern const char *const qorl_fcpim_del_itn_stats[QORL_FCPIM_DEL_ITN_STATS_COUNT];
extern const char *const qorl_ipfc_stats[QORL_IPFC_STATS_COUNT];
extern const char *const qorl_cee_stats[QORL_CEE_STATS_COUNT];

/*
 * Fill count pairs: name i of name_array and counter i of the record at
 * qor_stats (read bytewise, so any alignment will do). Names are cut to 63
 * characters and always terminated; a NULL name gives "". Nothing happens
 * when a pointer is NULL or count <= 0.
 */
void qorl_stats_to_nv_pair(const uint32_t *qor_stats, qorl_stats_t *qorl_stats,
			   const char *const *name_array, int count);
void qorl_stats_long_to_nv_pair(const uint64_t *qor_stats, qorl_stats_long_t *qorl_stats,
				const char *const *name_array, int count);

#ifdef __cplusplus
}
#endif

#endif
