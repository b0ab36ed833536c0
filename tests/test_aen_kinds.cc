// The event kinds as data: the field tables agree with the record structs
// (offsets and sizes are checked where the table is made, member types
// here, at compile time), the table's lookups, and the integer field
// reader and writer that the emulator and mxt share.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "defs/qor_defs_aen_names.h"

namespace {

// The member's declared type is what the field's kind reads.
template <class M> constexpr bool kind_fits(qor_aen_field_kind_t k)
{
	using T = std::remove_cv_t<M>;
	switch (k) {
	case QOR_AEN_FIELD_WWN:
		return std::is_same_v<T, wwn_t>;
	case QOR_AEN_FIELD_MAC:
		return std::is_same_v<T, uint8_t[6]>;
	case QOR_AEN_FIELD_TEXT:
		return std::is_array_v<T> && std::is_same_v<std::remove_extent_t<T>, char>;
	case QOR_AEN_FIELD_IOC_TYPE:
	case QOR_AEN_FIELD_ROLES:
		return std::is_same_v<T, int16_t>;
	case QOR_AEN_FIELD_INT:
		return std::is_integral_v<T> && std::is_signed_v<T>;
	case QOR_AEN_FIELD_UINT:
		return std::is_integral_v<T> && std::is_unsigned_v<T>;
	}
	return false;
}

#define CHECK_FIELD(k, name, member, off, size, fk)                                                         \
	static_assert(kind_fits<decltype(((qor_##k##_aen_data_t *)nullptr)->member)>(QOR_AEN_FIELD_##fk), \
		      "qor_" #k "_aen_data_t." #name " has the type its kind reads");
#define CHECK_KIND(k, cat, last) QOR_AEN_FIELDS_##k(CHECK_FIELD)
QOR_AEN_KINDS(CHECK_KIND)
#undef CHECK_KIND
#undef CHECK_FIELD

std::vector<const qor_aen_names_t *> rows()
{
	int n = 0;
	const qor_aen_names_t *t = qor_aen_names(&n);
	std::vector<const qor_aen_names_t *> v;
	for (int i = 0; i < n; i++)
		v.push_back(&t[i]);
	return v;
}

TEST(AenKinds, EightKindsInCategoryOrderThenTheCategoriesWithoutOne)
{
	std::vector<std::pair<std::string, uint32_t>> got;
	for (auto *r : rows())
		got.emplace_back(r->kind, r->cat);
	const std::vector<std::pair<std::string, uint32_t>> want = {
		{"adapter", 1}, {"port", 2}, {"lport", 3}, {"rport", 4}, {"itnim", 5},
		{"audit", 8},   {"ioc", 9},  {"ethport", 10}, {"tin", 6}, {"ipfc", 7}};
	EXPECT_EQ(got, want);
}

TEST(AenKinds, FieldsAreInRecordOrderWithoutOverlapAndNamedInSnakeCase)
{
	for (auto *r : rows()) {
		std::set<std::string> names;
		unsigned end = 0;
		for (int i = 0; i < r->nfields; i++) {
			const qor_aen_field_t &f = r->fields[i];
			EXPECT_GE(f.offset, end) << r->kind << "." << f.name;
			end = f.offset + f.size;
			EXPECT_TRUE(names.insert(f.name).second) << r->kind << "." << f.name;
			for (const char *c = f.name; *c; c++)
				EXPECT_TRUE(std::islower(static_cast<unsigned char>(*c)) || *c == '_')
					<< r->kind << "." << f.name;
		}
	}
}

TEST(AenKinds, LookupsByCodeAndName)
{
	for (auto *r : rows()) {
		EXPECT_EQ(qor_aen_category(r->cat), r);
		EXPECT_EQ(qor_aen_category_named(r->kind), r);
		for (int t = 1; t <= r->ntypes; t++) {
			const char *name = qor_aen_type_name(r, t);
			ASSERT_NE(name, nullptr) << r->kind << " " << t;
			EXPECT_EQ(qor_aen_type_code(r, name), t) << r->kind << " " << name;
		}
		EXPECT_EQ(qor_aen_type_name(r, 0), nullptr);
		EXPECT_EQ(qor_aen_type_name(r, r->ntypes + 1), nullptr);
		for (int i = 0; i < r->nfields; i++)
			EXPECT_EQ(qor_aen_field_named(r, r->fields[i].name), &r->fields[i]);
		EXPECT_EQ(qor_aen_field_named(r, "rsvd"), nullptr) << r->kind;
	}
	EXPECT_EQ(qor_aen_category(0), nullptr);
	EXPECT_EQ(qor_aen_category(11), nullptr);
	EXPECT_EQ(qor_aen_category_named("Port"), nullptr);
	EXPECT_EQ(qor_aen_category_named(nullptr), nullptr);
	const qor_aen_names_t *port = qor_aen_category(QOR_AEN_CAT_PORT);
	EXPECT_EQ(qor_aen_type_code(port, "sfp_unsupport"), QOR_PORT_AEN_SFP_UNSUPPORT);
	EXPECT_EQ(qor_aen_type_code(port, "linkup"), 0) << "an Ethernet port type";
	EXPECT_STREQ(qor_aen_type_name(qor_aen_category(QOR_AEN_CAT_IOC), QOR_IOC_AEN_FWCFG_ERROR), "fwcfg_error");
	EXPECT_EQ(qor_aen_field_named(qor_aen_category(QOR_AEN_CAT_ITNIM), "qos_priority"), nullptr);
}

// Every integer field takes its extremes and refuses one past them, touching
// no byte outside itself; reading gives back the value with its sign.
TEST(AenKinds, IntegerFieldsKeepTheirWidthAndSign)
{
	for (auto *r : rows())
		for (int i = 0; i < r->nfields; i++) {
			const qor_aen_field_t &f = r->fields[i];
			if (f.kind != QOR_AEN_FIELD_UINT && f.kind != QOR_AEN_FIELD_INT && f.kind != QOR_AEN_FIELD_IOC_TYPE &&
			    f.kind != QOR_AEN_FIELD_ROLES)
				continue;
			const std::string what = std::string(r->kind) + "." + f.name;
			const unsigned bits = 8u * f.size;
			ASSERT_LT(bits, 64u) << what;
			const bool sign = f.kind != QOR_AEN_FIELD_UINT;
			const int64_t lo = sign ? -(int64_t{1} << (bits - 1)) : 0;
			const int64_t hi = sign ? (int64_t{1} << (bits - 1)) - 1 : (int64_t{1} << bits) - 1;
			for (int64_t v : {lo, hi, int64_t{1}}) {
				qor_aen_data_t d;
				std::memset(&d, 0xab, sizeof d);
				ASSERT_EQ(qor_aen_field_set_int(&f, &d, v), 1) << what << " = " << v;
				EXPECT_EQ(qor_aen_field_int(&f, &d), v) << what;
				const auto *b = reinterpret_cast<const uint8_t *>(&d);
				for (size_t k = 0; k < sizeof d; k++) {
					if (k < f.offset || k >= f.offset + f.size) {
						ASSERT_EQ(b[k], 0xab) << what << " wrote byte " << k;
					}
				}
			}
			for (int64_t v : {lo - 1, hi + 1}) {
				qor_aen_data_t d{};
				EXPECT_EQ(qor_aen_field_set_int(&f, &d, v), 0) << what << " = " << v;
				EXPECT_EQ(qor_aen_field_int(&f, &d), 0) << what;
			}
		}
	// Through the struct, to tie the bytes to the members.
	qor_aen_data_t d{};
	const qor_aen_names_t *rport = qor_aen_category(QOR_AEN_CAT_RPORT);
	ASSERT_EQ(qor_aen_field_set_int(qor_aen_field_named(rport, "qos_flow_id"), &d, 4000000000), 1);
	ASSERT_EQ(qor_aen_field_set_int(qor_aen_field_named(rport, "qos_priority"), &d, 3), 1);
	EXPECT_EQ(d.rport.priv.qos_flow_id, 4000000000u);
	EXPECT_EQ(d.rport.priv.qos_priority, 3);
	const qor_aen_names_t *port = qor_aen_category(QOR_AEN_CAT_PORT);
	ASSERT_EQ(qor_aen_field_set_int(qor_aen_field_named(port, "level"), &d, -2), 1);
	EXPECT_EQ(d.port.level, -2);
}

} // namespace
