/*
 * Ethernet ports and FCoE ports of converged adapters. Ethernet statistics
 * and attributes are for Ethernet-side controllers, FCoE operations for
 * FC-side ones: the other side gets QOR_STATUS_FAILED without a request.
 * Compiles as C11 and C++; nothing throws.
 */
#ifndef QORL_ETHPORT_H
#define QORL_ETHPORT_H

#include "qorl.h"
#include "qorl_stats.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The raw record, filled whenever the request reached the driver. */
qor_status_t qorl_ethport_get_stats(qorl_t *qorl, qor_ethport_stats_t *stats);
/* The physical port's statistics reset, on any controller. */
qor_status_t qorl_ethport_reset_stats(qorl_t *qorl);
/* Filled whenever the request reached the driver. */
qor_status_t qorl_ethport_get_attr(qorl_t *qorl, qor_ethport_attr_t *attr);
/* Recorded as enabled (disabled) in the configuration on success. */
qor_status_t qorl_fcoe_port_enable(qorl_t *qorl);
qor_status_t qorl_fcoe_port_disable(qorl_t *qorl);
/* QORL_FCOE_STATS_COUNT (45) pairs, only on success. */
qor_status_t qorl_fcoe_get_stats(qorl_t *qorl, qorl_stats_long_t *stats);
qor_status_t qorl_fcoe_reset_stats(qorl_t *qorl);

#ifdef __cplusplus
}
#endif

#endif
