/*
 * Names of the event kinds and of each kind's event types, as tools print
 * them and topology files name them.
 */
#ifndef QOR_DEFS_AEN_NAMES_H
#define QOR_DEFS_AEN_NAMES_H

#include "qor_defs_aen.h"

typedef struct qor_aen_names_s {
	uint32_t cat;              /* qor_aen_category_t */
	const char *kind;
	const char *const *types;  /* index = event code - 1 */
	int ntypes;
} qor_aen_names_t;

/* The table, in category order; *count receives its length. */
static inline const qor_aen_names_t *qor_aen_names(int *count)
{
	static const char *const adapter[] = {"add", "remove"};
	static const char *const port[] = {"online", "offline", "rlir", "sfp_insert", "sfp_remove", "sfp_pom",
					   "enable", "disable", "auth_on", "auth_off", "disconnect", "qos_neg",
					   "fabric_name_change", "sfp_access_error", "sfp_unsupport"};
	static const char *const lport[] = {"new", "delete", "online", "offline", "disconnect", "new_prop",
					    "delete_prop", "new_standard", "delete_standard", "npiv_dup_wwn",
					    "npiv_fabric_max", "npiv_unknown"};
	static const char *const rport[] = {"online", "offline", "disconnect", "qos_prio", "qos_flowid"};
	static const char *const itnim[] = {"online", "offline", "disconnect"};
	static const char *const audit[] = {"auth_enable", "auth_disable", "flash_erase", "flash_update"};
	static const char *const ioc[] = {"hbgood", "hb_fail", "enable", "disable", "fwmismatch", "fwcfg_error",
					  "invalid_vendor", "invalid_nwwn", "invalid_pwwn"};
	static const char *const ethport[] = {"linkup", "linkdown", "enable", "disable"};
#define QOR_AEN_NAMES_ROW_(c, k, t) {c, k, t, (int)(sizeof t / sizeof t[0])}
	static const qor_aen_names_t table[] = {
		QOR_AEN_NAMES_ROW_(QOR_AEN_CAT_ADAPTER, "adapter", adapter),
		QOR_AEN_NAMES_ROW_(QOR_AEN_CAT_PORT, "port", port),
		QOR_AEN_NAMES_ROW_(QOR_AEN_CAT_LPORT, "lport", lport),
		QOR_AEN_NAMES_ROW_(QOR_AEN_CAT_RPORT, "rport", rport),
		QOR_AEN_NAMES_ROW_(QOR_AEN_CAT_ITNIM, "itnim", itnim),
		{QOR_AEN_CAT_TIN, "tin", 0, 0},
		{QOR_AEN_CAT_IPFC, "ipfc", 0, 0},
		QOR_AEN_NAMES_ROW_(QOR_AEN_CAT_AUDIT, "audit", audit),
		QOR_AEN_NAMES_ROW_(QOR_AEN_CAT_IOC, "ioc", ioc),
		QOR_AEN_NAMES_ROW_(QOR_AEN_CAT_ETHPORT, "ethport", ethport),
	};
#undef QOR_AEN_NAMES_ROW_
	*count = (int)(sizeof table / sizeof table[0]);
	return table;
}

#endif
