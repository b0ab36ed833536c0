/*
 * Physical ports and trunks. Each operation is one or more driver requests
 * on a controller from the inventory (qorl_t, owned by the controller list).
 * Results: the channel's failure, else the driver's status. Settings that
 * must survive a restart are recorded in the configuration model only after
 * the driver accepted them; they reach the file at the next write-back.
 * Compiles as C11 and C++; nothing throws.
 */
#ifndef QORL_PORT_H
#define QORL_PORT_H

#include "qorl.h"
#include "qorl_stats.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Recorded as enabled (disabled) in the configuration on success. */
qor_status_t qorl_port_enable(qorl_t *qorl);
qor_status_t qorl_port_disable(qorl_t *qorl);
/* attr is filled whenever the request reached the driver, even on a refusal. */
qor_status_t qorl_port_get_attr(qorl_t *qorl, qor_port_attr_t *attr);
/* Text of a port state; 15 and above give "Unknown". Static storage. */
const char *qorl_port_get_state_name(qor_port_states_t port_state);
/* Fills 29 pairs (FC controller) or 42 pairs (FCoE, Ethernet): the caller's
 * array must hold QORL_PORT_ETH_STATS_COUNT entries. Untouched on failure. */
qor_status_t qorl_port_get_stats(qorl_t *qorl, qorl_stats_long_t *stats);
qor_status_t qorl_port_reset_stats(qorl_t *qorl);
/* Values are checked by the driver; accepted ones are persisted. */
qor_status_t qorl_port_cfg_topology(qorl_t *qorl, qor_port_topology_t topo);
qor_status_t qorl_port_cfg_speed(qorl_t *qorl, qor_port_speed_t speed);
qor_status_t qorl_port_cfg_hardalpa(qorl_t *qorl, uint8_t alpa);
qor_status_t qorl_port_clr_hardalpa(qorl_t *qorl);
/* Maximum frame size in bytes. */
qor_status_t qorl_port_cfg_maxfrsize(qorl_t *qorl, uint16_t maxfrsize);
/* RNID identification data; not persisted. */
qor_status_t qorl_port_cfg_rnid_info(qorl_t *qorl, qor_port_rnid_t info);
/* info is filled whenever the request reached the driver. */
qor_status_t qorl_port_get_rnid_info(qorl_t *qorl, qor_port_rnid_t *info);
/* attr is filled only when the driver reports success. */
qor_status_t qorl_port_get_trunk_attr(qorl_t *qorl, qor_trunk_attr_t *attr);

/*
 * Trunking of a whole adapter, by adapter number (from 1). A change that
 * fails on one port is undone on the ports already changed.
 */
qor_status_t qorl_trunk_enable(uint32_t ad);
qor_status_t qorl_trunk_disable(uint32_t ad);
/* The trunk attributes as port 0 of the adapter reports them. */
qor_status_t qorl_trunk_query(uint32_t ad, qor_trunk_attr_t *attr);
/* QOR_STATUS_OK when every trunked port of the controller's adapter is
 * disabled, else QOR_STATUS_NEED_PORTS_DISABLE (or why it was not known). */
qor_status_t qorl_trunk_get_ports_state(qorl_t *qorl);

#ifdef __cplusplus
}
#endif

#endif
