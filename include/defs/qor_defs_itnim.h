/*
 * IT nexus records shared with the drivers: attributes, statistics, I/O
 * statistics and the I/O latency profile. Compiles as C11 and C++.
 */
#ifndef QOR_DEFS_ITNIM_H
#define QOR_DEFS_ITNIM_H

#include "qor_defs_types.h"

typedef struct qor_itnim_attr_s {
	uint32_t state; /* qor_itnim_state_t */
	uint8_t retry;
	uint8_t task_retry_id;
	uint8_t rec_support;
	uint8_t conf_comp;
} qor_itnim_attr_t;
QOR_CHECK_SIZE(qor_itnim_attr_t, 8);
QOR_CHECK_OFF(qor_itnim_attr_t, retry, 4);
QOR_CHECK_OFF(qor_itnim_attr_t, conf_comp, 7);

/* I/O counters of an IT nexus or a logical port, 32-bit each. */
typedef struct qor_itnim_iostats_s {
	uint32_t total_ios;
	uint32_t input_reqs;
	uint32_t output_reqs;
	uint32_t io_comps;
	uint32_t wr_throughput; /* bytes */
	uint32_t rd_throughput; /* bytes */
	uint32_t iocomp_ok;
	uint32_t iocomp_underrun;
	uint32_t iocomp_overrun;
	uint32_t qwait;
	uint32_t qresumes;
	uint32_t no_iotags;
	uint32_t iocomp_timedout;
	uint32_t iocom_nexus_abort;
	uint32_t iocom_proto_err;
	uint32_t iocom_dif_err;
	uint32_t iocom_sqer_needed;
	uint32_t iocom_res_free;
	uint32_t io_aborts;
	uint32_t iocom_hostabrts;
	uint32_t io_cleanups;
	uint32_t path_tov_expired;
	uint32_t iocomp_aborted;
	uint32_t io_iocdowns;
	uint32_t iocom_utags;
	uint32_t io_tmaborts;
	uint32_t tm_io_comps;
	uint32_t creates;
	uint32_t fw_create;
	uint32_t create_comps;
	uint32_t onlines;
	uint32_t offlines;
	uint32_t fw_delete;
	uint32_t delete_comps;
	uint32_t deletes;
	uint32_t sler_events;
	uint32_t ioc_disabled;
	uint32_t cleanup_comps;
	uint32_t tm_cmnds;
	uint32_t tm_fw_rsps;
	uint32_t tm_success;
	uint32_t tm_failures;
	uint32_t no_tskims;
	uint32_t tm_qwait;
	uint32_t tm_qresumes;
	uint32_t tm_iocdowns;
	uint32_t tm_cleanups;
	uint32_t tm_cleanup_comps;
} qor_itnim_iostats_t;
QOR_CHECK_SIZE(qor_itnim_iostats_t, 192);
QOR_CHECK_OFF(qor_itnim_iostats_t, wr_throughput, 16);
QOR_CHECK_OFF(qor_itnim_iostats_t, rd_throughput, 20);
QOR_CHECK_OFF(qor_itnim_iostats_t, tm_cleanup_comps, 188);

/* IT nexus counters, 32-bit each; the last one is not named. */
struct qor_itnim_stats_s {
	uint32_t onlines;
	uint32_t offlines;
	uint32_t prli_sent;
	uint32_t fcxp_alloc_wait;
	uint32_t prli_rsp_err;
	uint32_t prli_rsp_acc;
	uint32_t initiator;
	uint32_t prli_rsp_parse_err;
	uint32_t prli_rsp_rjt;
	uint32_t timeout;
	uint32_t sler;
	uint32_t rsvd;
};
typedef struct qor_itnim_stats_s qor_itnim_stats_t;
QOR_CHECK_SIZE(qor_itnim_stats_t, 48);

/* Latency buckets of the I/O profile. */
#define QOR_IOBUCKET_MAX 14

typedef struct qor_itnim_latency_s {
	uint32_t min[QOR_IOBUCKET_MAX]; /* 0xFFFFFFFF: the bucket saw no I/O */
	uint32_t max[QOR_IOBUCKET_MAX];
	uint32_t count[QOR_IOBUCKET_MAX];
	uint32_t avg[QOR_IOBUCKET_MAX]; /* from the driver: a sum of ticks */
} qor_itnim_latency_t;
QOR_CHECK_SIZE(qor_itnim_latency_t, 224);
QOR_CHECK_OFF(qor_itnim_latency_t, max, 56);
QOR_CHECK_OFF(qor_itnim_latency_t, count, 112);
QOR_CHECK_OFF(qor_itnim_latency_t, avg, 168);

/* Ticks times clock_res_mul / clock_res_div is the reported time unit. */
struct qor_itnim_ioprofile_s {
	uint32_t clock_res_mul;
	uint32_t clock_res_div;
	uint32_t index; /* buckets in use, at most QOR_IOBUCKET_MAX */
	uint32_t io_profile_start_time;
	uint32_t iocomps[QOR_IOBUCKET_MAX];
	qor_itnim_latency_t io_latency;
};
typedef struct qor_itnim_ioprofile_s qor_itnim_ioprofile_t;
QOR_CHECK_SIZE(qor_itnim_ioprofile_t, 296);
QOR_CHECK_OFF(qor_itnim_ioprofile_t, index, 8);
QOR_CHECK_OFF(qor_itnim_ioprofile_t, io_profile_start_time, 12);
QOR_CHECK_OFF(qor_itnim_ioprofile_t, iocomps, 16);
QOR_CHECK_OFF(qor_itnim_ioprofile_t, io_latency, 72);

#endif
