/*
 * Display names: the words every management tool shows for codes, the port
 * log's module and event names, SFP media names, and the 8-bit checksum.
 * All results point to constant text owned by the library: never change or
 * free them. Every function here is thread-safe, never fails and never throws.
 */
#ifndef QORL_STATE_H
#define QORL_STATE_H

#include <stdint.h>

#include "defs/qor_defs_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One row of a code-to-text table; a table ends with the row {-1, ...}. */
typedef struct qor_state_s {
	int code;
	const char *str;
} qor_state_t;

/*
 * Code-to-text lookups: the text of the code's row, or "unknown" when the
 * table has no row for the code.
 */
const char *qorl_flash_status_to_string(qor_flash_status_t state);
const char *qorl_flash_part_type_to_string(qor_flash_part_type_t state);
const char *qorl_ioc_state_to_string(qor_ioc_state_t state);
const char *qorl_port_states_to_string(qor_port_states_t state);
/* Speeds below 10G end in one blank so every speed prints 3 characters wide. */
const char *qorl_port_speed_to_string(qor_port_speed_t state);
const char *qorl_port_type_to_string(qor_port_type_t state);
const char *qorl_port_topology_to_string(qor_port_topology_t state);
const char *qorl_rport_state_to_string(qor_rport_state_t state);
const char *qorl_itnim_state_to_string(qor_itnim_state_t state);
const char *qorl_auth_status_to_string(qor_auth_status_t state);
const char *qorl_auth_algo_to_string(qor_auth_algo_t state);
const char *qorl_auth_group_to_string(qor_auth_group_t state);
const char *qorl_auth_rej_code_to_string(qor_auth_rej_code_t state);
const char *qorl_auth_rej_code_exp_to_string(qor_auth_rej_code_exp_t state);
const char *qorl_vport_state_to_string(qor_vport_state_t state);
const char *qorl_log_severity_to_string(qor_log_severity_t state);
const char *qorl_qos_state_to_string(qor_qos_state_t state);
const char *qorl_qos_priority_to_string(qor_qos_priority_t state);
const char *qorl_port_linkstate_rsn_to_string(qor_port_linkstate_rsn_t state);
const char *qorl_ethport_cee_state_to_string(qor_ethport_cee_state_t state);
const char *qorl_trunk_state_to_string(qor_trunk_state_t state);
const char *qorl_trunk_link_state_to_string(qor_trunk_link_state_t state);
const char *qorl_trunk_link_fctl_to_string(qor_trunk_link_fctl_t state);
const char *qorl_cee_status_to_string(qor_cee_status_t state);

/* Port log names: module 0..8, event 0..25; other indexes give "Invalid". */
const char *qor_plog_mid_strings(int index);
const char *qor_plog_eid_strings(int index);

/* SFP media name; an index outside the enumeration gives "--". */
const char *qorl_get_sfp_media(qor_defs_sfp_media_t media);

/*
 * Two's complement of the low 8 bits of the byte sum (0..255): a block
 * followed by its checksum byte sums to 0 modulo 256. Empty or NULL gives 0.
 */
uint32_t qorl_checksum_u8(const uint8_t *buf, uint32_t count);

#ifdef __cplusplus
}
#endif

#endif
