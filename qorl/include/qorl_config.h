/*
 * Persistent configuration: the in-memory model of "/etc/qor.conf", its
 * reader, the setters that record run-time settings, virtual port and
 * virtual fabric settings, and the write-back.
 *
 * The model is library-wide data without a lock (only the virtual port
 * lists have one): callers serialise loads, setters and write-backs.
 * Setters and lookups report nothing. Compiles as C11 and C++.
 */
#ifndef QORL_CONFIG_H
#define QORL_CONFIG_H

#include <stdint.h>
#include <stdio.h>

#include "qorl.h"
#include "defs/qor_defs_lport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Number of adapter slots and of port slots. */
#define QORL_CFG_MAX_AD 128
#define QORL_CFG_MAX_IOC 128

/* Setting codes: the type of qorl_config_set_data and the presence bit
 * (bit c % 32 of word c / 32 of flags and of the global bitmap). */
enum qorl_cfg_code {
	QORL_CFG_AD_ID = 0,
	QORL_CFG_AD_NAME = 1,
	QORL_CFG_AD_POWER = 2,
	QORL_CFG_AD_TRUNK = 3,
	QORL_CFG_PORT_WWN = 4,
	QORL_CFG_PORT_MAC = 5,
	QORL_CFG_PORT_NAME = 6,
	QORL_CFG_ETH_PORT_NAME = 7,
	QORL_CFG_PORT_MTU = 8,
	QORL_CFG_PORT_SPEED = 9,
	QORL_CFG_PORT_TOPOLOGY = 10,
	QORL_CFG_PORT_HARDALPA = 11,
	QORL_CFG_PORT_MAXFRSIZE = 12,
	QORL_CFG_PORT_TRUNK = 13,
	QORL_CFG_PORT_ENABLE = 14,
	QORL_CFG_IPFC_ENABLE = 15,
	QORL_CFG_LOG_LEVEL = 16,
	QORL_CFG_VF_ENABLE = 17,
	QORL_CFG_VF_DEFAULT = 18,
	QORL_CFG_VF_LIST = 19,
	QORL_CFG_VPORT = 20,
	QORL_CFG_AUTH_POLICY = 21,
	QORL_CFG_AUTH_ALGO = 22,
	QORL_CFG_AUTH_GROUP = 23,
	QORL_CFG_AUTH_SECRETSOURCE = 24,
	QORL_CFG_AUTH_ENCRYPT = 25,
	QORL_CFG_PATHTOV = 27,
	QORL_CFG_QDEPTH = 28,
	QORL_CFG_QOS = 29,
	QORL_CFG_RATELIM = 30,
	QORL_CFG_RATELIM_DEFSPEED = 31,
	QORL_CFG_COALESCE = 32,
	QORL_CFG_DELAY = 33,
	QORL_CFG_LATENCY = 34,
	QORL_CFG_PBIND = 35
};

/* One virtual port of a port slot; entries form a list per slot. */
typedef struct qorl_vf_config qorl_vf_config_t;
struct qorl_vf_config {
	int vidx;                 /* not used */
	char pwwn[32];            /* WWN text, the key of the entry */
	char nwwn[32];
	char role[16];            /* "IM", "IM + TM", ... */
	qor_lport_symname_t name; /* symbolic name, without quotes */
	uint16_t vf_id;
	qorl_vf_config_t *next;
};

/* Adapter slot, keyed by the adapter's serial number. */
typedef struct qorl_ad_config_s {
	uint32_t flags[4];
	char id[12];
	char name[128];
	qor_boolean_t ad_trunk;
} qorl_ad_config_t;

/* Port slot: an FC side keyed by pwwn and an unrelated Ethernet side keyed by mac. */
typedef struct qorl_ioc_config_s {
	uint32_t flags[4];
	char pwwn[32];
	char name[128];
	char mac[32];
	char ethname[128];
	qor_port_speed_t speed;
	qor_port_topology_t topology;
	uint8_t alpa;
	uint16_t maxfrsz;
	uint32_t trunking;
	qor_boolean_t enable;
	qor_boolean_t ipfc_enable;
	int log;
	qor_boolean_t vf_enable;
	uint16_t vf_default_id;
	uint16_t vf_list;
	qorl_vf_config_t *vport;  /* guarded by the library's virtual port lock */
	int vpcount;
	qor_boolean_t authpolicy;
	qor_auth_algo_t authalgo;
	qor_auth_group_t authgroup;
	qor_auth_secretsource_t authssource;
	char authsstring[512];
	uint16_t pathtov;
	uint16_t qdepth;
	qor_boolean_t binding;
	qor_boolean_t qos;
	qor_boolean_t ratelim;
	qor_port_speed_t defspeed;
	qor_boolean_t coalesce;
	uint16_t delay;
	uint16_t latency;
	int mtu;
} qorl_ioc_config_t;

/* ---- reader ------------------------------------------------------------ */

/* Reads the file at path into the model, adding to what it holds, and keeps
 * a copy of the model as loaded for the write-back. Lines the model does not
 * hold are kept and written back verbatim; a line naming a setting that
 * cannot be read is reported once on standard error. Always QOR_STATUS_OK;
 * a missing file is an empty configuration, one that cannot be read leaves
 * everything as it was. */
qor_status_t qorl_config_load(char *path);
/* Handles one line of the file (up to its first newline); a line the model
 * does not take is kept. NULL is ignored. */
void qorl_config_parse(char *value);
/* Stores the text value for setting code type (0-35) in slot idx (0-127)
 * of the adapter table (codes 0-3) or the port table; sets its bit. A text
 * the configuration cannot carry (control characters, '"', ';', '\', bytes
 * that are not UTF-8, a word that would change its line's kind) changes
 * nothing. */
void qorl_config_set_data(int type, int idx, void *value);
/* Drops blanks, tabs, quotes, ";" and newlines at both ends of input (in
 * place) and copies the rest to output (strlen(input) + 1 bytes, at
 * least 2), or " " when nothing remains. */
void qorl_config_filter_space(char *input, char *output);
/* Cuts the text before the first end (after the first "-" when start is
 * "-") and cleans it into key. temp and key hold 512 and 64 bytes; a
 * longer key is cut to 63 characters. No key leaves key unchanged. */
void qorl_config_get_key(char start, char end, char *input, char *temp, char *key);
/* Cleans the text after the first token of value into config; temp and
 * config hold 512 bytes. No token leaves config unchanged. */
void qorl_config_get_data(char token, char *value, char *temp, char *config);
/* The run of digits at the end of value (newlines passed over); -1 for
 * NULL. A number above 2147483647 gives 2147483647. */
int qorl_config_get_num(char *value);
/* Adapter slots holding an id; port slots holding a port WWN. */
int qorl_config_ad_get_num(void);
int qorl_config_ioc_get_num(void);
/* Bit numbers of bmp in ascending order into list (32 entries); count into num. */
void bmptolist(int bmp, int *list, int *num);

/* ---- model ------------------------------------------------------------- */

/* First port slot whose WWN text converts to wwn, or -1. */
int qorl_config_ioc_lookup(wwn_t wwn);
/* First port slot whose MAC text starts with the text of mac, or -1. */
int qorl_config_ethioc_lookup(mac_t mac);
/* The first slot without a port WWN (MAC) gets this one; nothing when full. */
void qorl_config_ioc_add(wwn_t wwn);
void qorl_config_ethioc_add(mac_t mac);
/* Stores the WWN (MAC) in slot inst directly; inst >= 128 does nothing. */
void qorl_config_ioc_pwwn(uint16_t inst, wwn_t wwn);
void qorl_config_ethioc_mac(uint16_t inst, mac_t mac);
/* First adapter slot whose id equals serialnum, or -1. */
int qorl_config_ad_lookup(char *serialnum);
/* The first adapter slot without an id gets serialnum (at most 11
 * characters); a serial number the file cannot carry gets none. */
void qorl_config_ad_add(char *serialnum);
/* The host's node name into host (65 bytes). */
void qorl_get_hostname(char *host);
/* The WWN of a text "aa:bb:...": up to 8 hexadecimal pieces, missing bytes 0. */
wwn_t wwn_convert(char *value);
/* Every character a hexadecimal digit (others count as 0), modulo 2^32. */
int xstrtoi(char *hex);

/* ---- setters (changes reach the file at the next write-back) ------------
 * Setters that take text change nothing on text the file cannot carry. The
 * port setters record nothing for an Ethernet-side controller. */

void qorl_config_speed(qorl_t *qorl, qor_port_speed_t speed);
void qorl_config_topology(qorl_t *qorl, qor_port_topology_t topo);
void qorl_config_alpa(qorl_t *qorl, uint8_t alpa, qor_boolean_t mode);
void qorl_config_maxfrsz(qorl_t *qorl, uint16_t maxfrsz);
void qorl_config_trunk(qorl_t *qorl, uint32_t pp_bmap, qor_boolean_t mode);
void qorl_config_enable(qorl_t *qorl, qor_boolean_t enable);
void qorl_config_ipfc_enable(qorl_t *qorl, qor_boolean_t enable);
void qorl_config_log_level(qorl_t *qorl, int log_level);
void qorl_config_auth_policy(qorl_t *qorl, qor_boolean_t mode);
void qorl_config_auth_algo(qorl_t *qorl, qor_auth_algo_t algo);
void qorl_config_auth_group(qorl_t *qorl, qor_auth_group_t group);
void qorl_config_auth_secretsource(qorl_t *qorl, qor_auth_secretsource_t source);
/* size words as comma-separated signed decimals; a text that would not fit
 * one line of the file (485 characters) changes nothing. */
void qorl_config_auth_secretstring(qorl_t *qorl, uint32_t *encrypt_data, int size);
void qorl_config_fcpim(qorl_t *qorl, uint16_t pathtov);
void qorl_config_qdepth(qorl_t *qorl, uint16_t qdepth);
void qorl_config_qos(qorl_t *qorl, qor_boolean_t mode);
void qorl_config_ratelim(qorl_t *qorl, qor_boolean_t mode);
void qorl_config_defspeed(qorl_t *qorl, qor_port_speed_t speed);
void qorl_config_pbind(qorl_t *qorl, qor_boolean_t mode);
/* Delay and latency are kept only while coalescing is on. */
void qorl_config_iocfc_intr(qorl_t *qorl, qor_boolean_t coalesce, uint16_t delay,
			    uint16_t latency);
/* FC side: slot by WWN, name; Ethernet side: slot by MAC, ethname. At most 127 characters. */
void qorl_config_ioc_name(qorl_t *qorl, char *name);
/* Adapter number idx (from 1), slot by serial number. */
void qorl_config_ad_name(int idx, char *name);
void qorl_config_ad_trunk(int idx, qor_boolean_t mode);
/* QOR_TRUE when adapter idx is not the one with serial snum and its slot carries the name nm. */
qor_boolean_t qorl_config_get_ad_name_exists(int idx, char *nm, char *snum);
/* QOR_TRUE when port port_num of adapter idx carries the name nm in its slot. */
qor_boolean_t qorl_config_get_port_name_exists(int idx, char *nm, int port_num);

/* ---- virtual ports and virtual fabrics ---------------------------------- */

/* Adds or updates an entry of slot idx from "pwwn,nwwn,symname,role,vf_id". */
void qorl_config_set_vportdata(int idx, char *data);
void qorl_config_vport_add(qorl_t *qorl, uint16_t vf_id, qor_lport_cfg_t *port_cfg);
void qorl_config_vport_del(qorl_t *qorl, wwn_t vpwwn);
/* Fabric 1 is the default and is not written. */
void qorl_config_vf_mode(qorl_t *qorl, uint16_t vf_id, qor_boolean_t mode);
/* Adds (mode true) or removes fabric vf_id (0-15; others change nothing). */
void qorl_config_vf_list(qorl_t *qorl, uint16_t vf_id, qor_boolean_t mode);

/* ---- write-back --------------------------------------------------------- */

/* Replaces the file at path atomically. For the file last loaded: under a
 * lock on "<path>.lock", the file is read again and what this process
 * changed since it loaded is applied onto it; the model is then the file
 * written. Any other path gets the model's text. QOR_STATUS_EFOPEN when the
 * path is a directory or the file, its lock or the new file cannot be
 * opened; QOR_STATUS_EIO when reading or writing fails once opened;
 * QOR_STATUS_ENOMEM. After a failure the file and the model stay as they
 * were. */
qor_status_t qorl_config_sync(char *path);
/* Header and adapter sections; resets the reader's adapter counter. */
qor_status_t qorl_config_ad_update(FILE *fd);
/* Port sections, then the driver parameters the file held that have no
 * section of their own (tuning keys, "power", Ethernet MTU). */
void qorl_config_ioc_update(FILE *fd);
/* Keeps the model. */
void qorl_config_unload(void);

#ifdef __cplusplus
}
#endif

#endif
