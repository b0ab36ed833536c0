/*
 * Adapters: physical cards found by grouping controllers by the card's
 * hardware path, numbered from 1. Records belong to the adapter list and
 * stay valid until the next adapter discovery.
 */
#ifndef QORL_ADAPTER_H
#define QORL_ADAPTER_H

#include "qorl.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct qorl_adapter_s qorl_adapter_t;
struct qorl_adapter_s {
	char serial_num[12];
	char name[64];
	char model_descr[128];
	char adapter_hwpath[32];
	int ioccount;             /* controllers of both sides */
	qorl_t *fcioc_list;       /* copies of FC-side controllers, id = port number */
	qorl_t *ethioc_list;      /* copies of Ethernet-side controllers, id = port number */
	int id;                   /* adapter number, from 1 */
	qor_boolean_t cna_capable;
	qor_boolean_t trunk_capable;
	int port_count;           /* highest port number + 1 */
	qorl_adapter_t *next;
};

/* Discovery. */
void qorl_adapter_lib_init(void);
/* Rebuilds controllers and adapters; the adapter count, or 0 when discovery stopped early. */
int qorl_adapter_scan(void);
qor_boolean_t qorl_adapter_is_cna_capable(int ad_idx);
qorl_t *qorl_adapter_get_first_ioc(qorl_adapter_t *padapter);
qor_status_t qorl_adapter_get_adapter_port(qorl_t *qorl, int *ad_id, int *port_id);
void qorl_adapter_update_ioc(uint32_t ad, qorl_t *qorl);

/* Lookups by number and key. */
qorl_adapter_t *qorl_adapter_open_idx(int ad_idx);
qorl_adapter_t *qorl_adapter_get_by_idx(int idx);
qorl_adapter_t *qorl_adapter_lookup(char *serial_num);
int qorl_adapter_open_by_name(char *sn);
unsigned int qorl_adapter_get_idx_by_name(char *name);
unsigned int qorl_adapter_get_idx_by_sn(char *sn);
uint32_t qorl_adapter_get_idx_by_hwpath(char *hw);
int qorl_adapter_open_by_wwn(wwn_t wn);
uint32_t qorl_adapter_get_by_pwwn(wwn_t wn);
uint32_t qorl_adapter_get_by_mac(mac_t mac);
int qorl_adapter_get_pcifn(wwn_t wn);

/* Controllers of an adapter (copies, keyed by port number). */
qorl_t *qorl_adapter_get_fcioc(qorl_adapter_t *adapter, int port_num);
qorl_t *qorl_adapter_get_ethioc(qorl_adapter_t *adapter, int port_num);
qorl_t *qorl_adapter_get_ioc(qorl_adapter_t *adapter, int port_num);
char *qorl_adapter_get_fcioc_hwpath(qorl_adapter_t *pa, int id);
char *qorl_adapter_get_ethioc_hwpath(qorl_adapter_t *pa, int id);
wwn_t qorl_adapter_get_ioc_pwwn(qorl_adapter_t *adapter, unsigned int uid);
int qorl_adapter_get_ioc_idx_by_pwwn(uint16_t ad, wwn_t w);
int qorl_adapter_get_ioc_idx_by_mac(uint16_t ad, mac_t mac);
int qorl_adapter_get_ioc_idx_by_hwpath(uint16_t ad, char *hw);
qorl_t *qorl_adapter_get_port(int ad_id);
qorl_t *qorl_adapter_get_port_by_wwn(int ad_id, wwn_t wn);

/* Accessors. */
unsigned int qorl_adapter_get_num(void);
unsigned int qorl_adapter_get_count(void);
int qorl_adapter_get_num_ioc(int ad_id);
int qorl_adapter_get_num_port(int ad_id);
/* Copies serial_num into sn (12 bytes). */
void qorl_adapter_get_serial_num(qorl_adapter_t *adapter, char *sn);
char *qorl_adapter_get_serial_num_by_idx(uint16_t ad_id);
/* Copies model_descr into md (128 bytes). */
void qorl_adapter_get_model(qorl_adapter_t *adapter, char *md);
/* Copies adapter_hwpath into hw (32 bytes). */
void qorl_adapter_get_hw_path(qorl_adapter_t *adapter, char *hw);
/* The adapter's name after refreshing it from the driver; NULL if none. */
char *qorl_adapter_get_name(unsigned int ad_id);

/* Whole-adapter operations; enable and disable wait for every controller. */
qor_boolean_t qorl_adapter_is_disabled(uint32_t ad);
qor_status_t qorl_adapter_enable(uint32_t ad);
qor_status_t qorl_adapter_disable(uint32_t ad);
/* Names the adapter on both drivers and in the configuration; the outcome
 * is the last error. A name that does not fit 63 characters, or that the
 * configuration file cannot carry (control characters, '"', ';', '\',
 * bytes that are not UTF-8), gets QOR_STATUS_EINVAL and changes nothing. */
void qorl_adapter_set_name(unsigned int ad_id, char *name);

#ifdef __cplusplus
}
#endif

#endif
