/*
 * Controllers: discovery, lookups, accessors, operations and settings.
 * Records belong to the controller list; pointers stay valid until the next
 * discovery. Text results point into the record.
 */
#ifndef QORL_IOC_H
#define QORL_IOC_H

#include "qorl.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Discovery: rebuilds the controller list; returns the number of instances
 * the drivers reported (the bound of every position walk). Failures of a
 * driver pass are left in the last error. */
int qorl_ioc_scan(void);
int qorl_ioc_get_num(void);
qorl_t *qorl_ioc_get_list(void);
/* "/etc/qor.conf". */
char *qorl_get_cfg_path(void);
/* Fills a record from an identity reply and makes sure the configuration knows it. */
void qorl_fill_ioc_info(qorl_t *qorl, qor_ioctl_ioc_info_t *info);
void qorl_get_ioc_params(qorl_t *ioc, qor_ioctl_ioc_info_t *info);
/* Version check on one node; a differing version only warns. */
qor_status_t qorl_ioc_compare_versions(qorl_t *qorl);

/* Lookups: NULL or -1 when nothing matches. */
qorl_t *qorl_ioc_open_idx(int ioc_idx);
qorl_t *qorl_ioc_open_hwpath(char *hwpath);
qorl_t *qorl_ioc_open_pwwn(wwn_t pwwn);
qorl_t *qorl_ioc_open_name(char *name);
qorl_t *qorl_ioc_get_by_eth_name(char *eth_name);
qorl_t *qorl_ioc_get_by_inst(int inst);
int qorl_ioc_get_idx_by_pwwn(wwn_t pwwn);
int qorl_ioc_get_idx_by_mac(mac_t mac);
int qorl_ioc_get_fc_idx_by_name(char *name);
int qorl_ioc_get_eth_idx_by_name(char *name);
int qorl_ioc_get_fc_idx_by_hwpath(char *hwpath);
int qorl_ioc_get_eth_idx_by_hwpath(char *hwpath);
int qorl_ioc_get_inst_num_by_pwwn(wwn_t pwwn);
int qorl_ioc_get_inst_num_by_mac(mac_t mac);

/* Copies devpath (256 bytes), ioc_hwpath and adapter_hwpath (32 bytes each). */
void qorl_ioc_get_path(qorl_t *qorl, char *devpath, char *hwpath, char *adapter_hwpath);
/* Copies the devpath of position ioc_idx; leaves the buffer alone if none. */
void qorl_ioc_get_path_by_idx(int ioc_idx, char *devpath);

/* Accessors. */
wwn_t qorl_ioc_get_pwwn(qorl_t *qorl);
wwn_t qorl_ioc_get_nwwn(qorl_t *qorl);
mac_t qorl_ioc_get_mac(qorl_t *qorl);
mac_t qorl_ioc_get_factory_mac(qorl_t *qorl);
/* Refreshed from the driver first; the stored value when that fails. */
mac_t qorl_ioc_get_current_mac(qorl_t *qorl);
uint32_t qorl_ioc_get_port_num(qorl_t *qorl);
qor_ioc_type_e qorl_ioc_get_ioc_type(qorl_t *qorl);
/* The port's name (not the adapter's). */
char *qorl_ioc_get_name(qorl_t *qorl);
char *qorl_ioc_get_eth_name(qorl_t *qorl);
char *qorl_ioc_get_sn(qorl_t *qorl);
/* Does nothing: records belong to the list. */
void qorl_ioc_close(qorl_t *qorl);

/* Operations. Reading operations copy the reply body whenever the request
 * reached the driver, and return the driver's status. */
qor_status_t qorl_ioc_get_attr(qorl_t *qorl, qor_ioc_attr_t *ioc_attr);
qor_status_t qorl_ioc_get_info(qorl_t *qorl, qor_ioctl_ioc_info_t *ioc_info);
qor_status_t qorl_ioc_get_stats(qorl_t *qorl, qor_ioc_stats_t *ioc_stats);
qor_status_t qorl_ioc_get_fwstats(qorl_t *qorl, qor_fw_stats_t *fwstats);
qor_status_t qorl_ioc_reset_stats(qorl_t *qorl);
qor_status_t qorl_ioc_reset_fwstats(qorl_t *qorl);
/* Enable and disable wait up to 20 one-second polls for the new state. */
qor_status_t qorl_ioc_enable(qorl_t *qorl);
qor_status_t qorl_ioc_disable(qorl_t *qorl);
/* FC side only; QOR_STATUS_FAILED without a request otherwise. */
qor_status_t qorl_iocfc_get_attr(qorl_t *qorl, qor_iocfc_attr_t *iocfc_attr);

/* Settings, recorded in the configuration once the driver accepts them.
 * Coalescing: FC side only; delay and latency in microseconds. */
qor_status_t qorl_iocfc_intr_set(qorl_t *qorl, qor_boolean_t coalesce, uint16_t delay, uint16_t latency);
/* A name longer than 63 characters, or one the configuration file cannot
 * carry (control characters, '"', ';', '\', bytes that are not UTF-8,
 * "adapter" in a port name, "qor" in an Ethernet port name), gets
 * QOR_STATUS_EINVAL and sends nothing. */
qor_status_t qorl_ioc_set_name(qorl_t *qorl, char *name);

#ifdef __cplusplus
}
#endif

#endif
