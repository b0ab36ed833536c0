/*
 * The event kinds as data: for each category its kind word, its event type
 * names and the fields of its data record (name, offset, size, how to show
 * them). The library's dispatch, the emulator's topology reader and the
 * tools' event output all work from these lists. Compiles as C11 and C++.
 */
#ifndef QOR_DEFS_AEN_NAMES_H
#define QOR_DEFS_AEN_NAMES_H

#include <string.h>

#include "qor_defs_aen.h"

/*
 * The kinds, in category order: X(kind, category, last event code). A
 * kind's data record is qor_<kind>_aen_data_t, the union member <kind>;
 * its event codes are qor_<kind>_aen_event_t, numbered from 1.
 */
#define QOR_AEN_KINDS(X)                                        \
	X(adapter, QOR_AEN_CAT_ADAPTER, QOR_ADAPTER_AEN_REMOVE) \
	X(port, QOR_AEN_CAT_PORT, QOR_PORT_AEN_SFP_UNSUPPORT)   \
	X(lport, QOR_AEN_CAT_LPORT, QOR_LPORT_AEN_NPIV_UNKNOWN) \
	X(rport, QOR_AEN_CAT_RPORT, QOR_RPORT_AEN_QOS_FLOWID)   \
	X(itnim, QOR_AEN_CAT_ITNIM, QOR_ITNIM_AEN_DISCONNECT)   \
	X(audit, QOR_AEN_CAT_AUDIT, QOR_AUDIT_AEN_FLASH_UPDATE) \
	X(ioc, QOR_AEN_CAT_IOC, QOR_IOC_AEN_INVALID_PWWN)       \
	X(ethport, QOR_AEN_CAT_ETHPORT, QOR_ETHPORT_AEN_DISABLE)

/* Categories that have a name but no kind: nobody subscribes to them. */
#define QOR_AEN_OTHER_CATEGORIES(X) \
	X(tin, QOR_AEN_CAT_TIN)     \
	X(ipfc, QOR_AEN_CAT_IPFC)

/* Event type names of each kind, in code order (code 1 first). */
#define QOR_AEN_TYPES_adapter "add", "remove"
#define QOR_AEN_TYPES_port                                                                              \
	"online", "offline", "rlir", "sfp_insert", "sfp_remove", "sfp_pom", "enable", "disable", "auth_on", \
		"auth_off", "disconnect", "qos_neg", "fabric_name_change", "sfp_access_error", "sfp_unsupport"
#define QOR_AEN_TYPES_lport                                                                           \
	"new", "delete", "online", "offline", "disconnect", "new_prop", "delete_prop", "new_standard", \
		"delete_standard", "npiv_dup_wwn", "npiv_fabric_max", "npiv_unknown"
#define QOR_AEN_TYPES_rport "online", "offline", "disconnect", "qos_prio", "qos_flowid"
#define QOR_AEN_TYPES_itnim "online", "offline", "disconnect"
#define QOR_AEN_TYPES_audit "auth_enable", "auth_disable", "flash_erase", "flash_update"
#define QOR_AEN_TYPES_ioc                                                                                 \
	"hbgood", "hb_fail", "enable", "disable", "fwmismatch", "fwcfg_error", "invalid_vendor", "invalid_nwwn", \
		"invalid_pwwn"
#define QOR_AEN_TYPES_ethport "linkup", "linkdown", "enable", "disable"

/* How a field is read and shown. */
typedef enum qor_aen_field_kind {
	QOR_AEN_FIELD_WWN = 1, /* wwn_t, wire order */
	QOR_AEN_FIELD_MAC,     /* 6 bytes */
	QOR_AEN_FIELD_UINT,    /* unsigned integer of the field's size */
	QOR_AEN_FIELD_INT,     /* signed integer of the field's size */
	QOR_AEN_FIELD_TEXT,    /* NUL-terminated text in a fixed-size array */
	QOR_AEN_FIELD_IOC_TYPE, /* i16 controller type (qor_ioc_type_e) */
	QOR_AEN_FIELD_ROLES     /* i16 logical port role bits (enum qor_lport_role) */
} qor_aen_field_kind_t;

/*
 * Fields of each data record, in record order (reserved bytes left out):
 * F(kind, name, member, offset, size, field kind). Offsets count from the
 * start of the record (aen_data) as the driver interface lays them out;
 * the checks below hold them against the structs.
 */
#define QOR_AEN_FIELDS_adapter(F)                       \
	F(adapter, serial_num, serial_num, 0, 12, TEXT) \
	F(adapter, nports, nports, 12, 4, UINT)         \
	F(adapter, pwwn, pwwn, 16, 8, WWN)
#define QOR_AEN_FIELDS_port(F)                          \
	F(port, pwwn, pwwn, 0, 8, WWN)                  \
	F(port, fwwn, fwwn, 8, 8, WWN)                  \
	F(port, phy_port_num, phy_port_num, 16, 4, INT) \
	F(port, ioc_type, ioc_type, 20, 2, IOC_TYPE)    \
	F(port, level, level, 22, 2, INT)               \
	F(port, mac, mac, 24, 6, MAC)
#define QOR_AEN_FIELDS_lport(F)             \
	F(lport, vf_id, vf_id, 0, 2, UINT)  \
	F(lport, roles, roles, 2, 2, ROLES) \
	F(lport, ppwwn, ppwwn, 8, 8, WWN)   \
	F(lport, lpwwn, lpwwn, 16, 8, WWN)
/* The remote port and IT nexus records start alike. */
#define QOR_AEN_FIELDS_NEXUS_(F, k)      \
	F(k, vf_id, vf_id, 0, 2, UINT)  \
	F(k, ppwwn, ppwwn, 8, 8, WWN)   \
	F(k, lpwwn, lpwwn, 16, 8, WWN)  \
	F(k, rpwwn, rpwwn, 24, 8, WWN)
#define QOR_AEN_FIELDS_rport(F)                                \
	QOR_AEN_FIELDS_NEXUS_(F, rport)                        \
	F(rport, qos_priority, priv.qos_priority, 32, 1, UINT) \
	F(rport, qos_flow_id, priv.qos_flow_id, 36, 4, UINT)
#define QOR_AEN_FIELDS_itnim(F) QOR_AEN_FIELDS_NEXUS_(F, itnim)
#define QOR_AEN_FIELDS_audit(F)                                 \
	F(audit, pwwn, pwwn, 0, 8, WWN)                         \
	F(audit, partition_inst, partition_inst, 8, 4, INT)     \
	F(audit, partition_type, partition_type, 12, 4, INT)
#define QOR_AEN_FIELDS_ioc(F)                       \
	F(ioc, pwwn, pwwn, 0, 8, WWN)               \
	F(ioc, ioc_type, ioc_type, 8, 2, IOC_TYPE)  \
	F(ioc, mac, mac, 10, 6, MAC)
#define QOR_AEN_FIELDS_ethport(F)                   \
	F(ethport, mac, mac, 0, 6, MAC)             \
	F(ethport, cee_state, cee_state, 6, 2, UINT)

/* A field's size suits its kind. */
#define QOR_AEN_FIELD_SIZE_OK_(fk, n)                                                           \
	((fk) == QOR_AEN_FIELD_WWN        ? (n) == 8                                            \
	 : (fk) == QOR_AEN_FIELD_MAC      ? (n) == 6                                            \
	 : (fk) == QOR_AEN_FIELD_IOC_TYPE ? (n) == 2                                            \
	 : (fk) == QOR_AEN_FIELD_ROLES    ? (n) == 2                                            \
	 : (fk) == QOR_AEN_FIELD_TEXT     ? (n) >= 1                                            \
					  : ((n) == 1 || (n) == 2 || (n) == 4 || (n) == 8))

/* Every field is the struct member it names and lies within its record. */
#define QOR_AEN_FIELD_CHECK_(k, name, member, off, size, fk)                                            \
	static_assert(offsetof(qor_##k##_aen_data_t, member) == (off) &&                                \
			      sizeof(((qor_##k##_aen_data_t *)0)->member) == (size) &&                  \
			      (off) + (size) <= sizeof(qor_##k##_aen_data_t) &&                         \
			      QOR_AEN_FIELD_SIZE_OK_(QOR_AEN_FIELD_##fk, size),                         \
		      "qor_" #k "_aen_data_t." #name);
#define QOR_AEN_KIND_CHECK_(k, cat, last)                                                              \
	QOR_AEN_FIELDS_##k(QOR_AEN_FIELD_CHECK_)                                                      \
	static_assert(offsetof(qor_aen_data_t, k) == 0 && sizeof(qor_##k##_aen_data_t) <= sizeof(qor_aen_data_t), \
		      "qor_aen_data_t." #k);
QOR_AEN_KINDS(QOR_AEN_KIND_CHECK_)

typedef struct qor_aen_field_s {
	const char *name; /* snake_case, the record's field name */
	uint16_t offset;  /* within the category's data record */
	uint16_t size;
	qor_aen_field_kind_t kind;
} qor_aen_field_t;

typedef struct qor_aen_names_s {
	uint32_t cat;              /* qor_aen_category_t */
	const char *kind;
	const char *const *types;  /* index = event code - 1 */
	int ntypes;
	const qor_aen_field_t *fields; /* in record order */
	int nfields;
	uint32_t size;             /* of the data record; 0 without a kind */
} qor_aen_names_t;

/* The table: the kinds in category order, then the other categories;
 * *count receives its length. */
static inline const qor_aen_names_t *qor_aen_names(int *count)
{
#define QOR_AEN_FIELD_ROW_(k, name, member, off, size, fk) {#name, off, size, QOR_AEN_FIELD_##fk},
#define QOR_AEN_KIND_ARRAYS_(k, cat, last)                                                     \
	static const char *const k##_types[] = {QOR_AEN_TYPES_##k};                            \
	static const qor_aen_field_t k##_fields[] = {QOR_AEN_FIELDS_##k(QOR_AEN_FIELD_ROW_)};  \
	static_assert(sizeof k##_types / sizeof k##_types[0] == (last), #k " event type names");
#define QOR_AEN_KIND_ROW_(k, cat, last)                                                             \
	{cat, #k, k##_types, (int)(sizeof k##_types / sizeof k##_types[0]), k##_fields,               \
	 (int)(sizeof k##_fields / sizeof k##_fields[0]), (uint32_t)sizeof(qor_##k##_aen_data_t)},
#define QOR_AEN_OTHER_ROW_(k, cat) {cat, #k, 0, 0, 0, 0, 0},
	QOR_AEN_KINDS(QOR_AEN_KIND_ARRAYS_)
	static const qor_aen_names_t table[] = {QOR_AEN_KINDS(QOR_AEN_KIND_ROW_)
							QOR_AEN_OTHER_CATEGORIES(QOR_AEN_OTHER_ROW_)};
#undef QOR_AEN_FIELD_ROW_
#undef QOR_AEN_KIND_ARRAYS_
#undef QOR_AEN_KIND_ROW_
#undef QOR_AEN_OTHER_ROW_
	*count = (int)(sizeof table / sizeof table[0]);
	return table;
}

/* The row of a category, or NULL for an unknown one. */
static inline const qor_aen_names_t *qor_aen_category(uint32_t cat)
{
	int n, i;
	const qor_aen_names_t *t = qor_aen_names(&n);
	for (i = 0; i < n; i++)
		if (t[i].cat == cat)
			return &t[i];
	return 0;
}

/* The row of a kind word ("port"), or NULL. */
static inline const qor_aen_names_t *qor_aen_category_named(const char *kind)
{
	int n, i;
	const qor_aen_names_t *t = qor_aen_names(&n);
	for (i = 0; kind && i < n; i++)
		if (strcmp(t[i].kind, kind) == 0)
			return &t[i];
	return 0;
}

/* The name of an event code of the category, or NULL. */
static inline const char *qor_aen_type_name(const qor_aen_names_t *c, int type)
{
	return c && type >= 1 && type <= c->ntypes ? c->types[type - 1] : 0;
}

/* The event code of a type name of the category, or 0. */
static inline int qor_aen_type_code(const qor_aen_names_t *c, const char *name)
{
	int i;
	for (i = 0; c && name && i < c->ntypes; i++)
		if (strcmp(c->types[i], name) == 0)
			return i + 1;
	return 0;
}

/* The field of the category's record with that name, or NULL. */
static inline const qor_aen_field_t *qor_aen_field_named(const qor_aen_names_t *c, const char *name)
{
	int i;
	for (i = 0; c && name && i < c->nfields; i++)
		if (strcmp(c->fields[i].name, name) == 0)
			return &c->fields[i];
	return 0;
}

/* The value of an integer field (UINT, INT, IOC_TYPE, ROLES) of the record, widened with its sign. */
static inline int64_t qor_aen_field_int(const qor_aen_field_t *f, const void *rec)
{
	const uint8_t *p = (const uint8_t *)rec + f->offset;
	const int sign = f->kind != QOR_AEN_FIELD_UINT;
	uint8_t u8;
	uint16_t u16;
	uint32_t u32;
	int64_t v;
	switch (f->size) {
	case 1:
		memcpy(&u8, p, 1);
		return sign ? (int64_t)(int8_t)u8 : (int64_t)u8;
	case 2:
		memcpy(&u16, p, 2);
		return sign ? (int64_t)(int16_t)u16 : (int64_t)u16;
	case 4:
		memcpy(&u32, p, 4);
		return sign ? (int64_t)(int32_t)u32 : (int64_t)u32;
	default:
		memcpy(&v, p, 8);
		return v;
	}
}

/* Stores v in an integer field of the record; 0 (record untouched) when v
 * does not fit the field's size and sign. */
static inline int qor_aen_field_set_int(const qor_aen_field_t *f, void *rec, int64_t v)
{
	uint8_t *p = (uint8_t *)rec + f->offset;
	const int sign = f->kind != QOR_AEN_FIELD_UINT;
	const unsigned bits = 8u * f->size;
	uint8_t u8 = (uint8_t)v;
	uint16_t u16 = (uint16_t)v;
	uint32_t u32 = (uint32_t)v;
	if (bits < 64) {
		const int64_t lo = sign ? -((int64_t)1 << (bits - 1)) : 0;
		const int64_t hi = sign ? ((int64_t)1 << (bits - 1)) - 1 : ((int64_t)1 << bits) - 1;
		if (v < lo || v > hi)
			return 0;
	} else if (!sign && v < 0) {
		return 0;
	}
	switch (f->size) {
	case 1:
		memcpy(p, &u8, 1);
		break;
	case 2:
		memcpy(p, &u16, 2);
		break;
	case 4:
		memcpy(p, &u32, 4);
		break;
	default:
		memcpy(p, &v, 8);
		break;
	}
	return 1;
}

#endif
