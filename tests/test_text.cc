// The shared text codec: every accepted form, and the near misses that must
// be refused without touching the output.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

#include "defs/qor_defs_lport.h"
#include "qor/qor_text.h"

namespace {

struct wwn_case {
	const char *text;
	bool ok;
};

const wwn_case wwn_cases[] = {
	{"20:00:00:11:22:33:00:01", true},
	{"20:00:00:11:22:33:00:AB", true},
	{"0x2000001122330001", true},
	{"0X2000001122330001", true},
	{"2000001122330001", true},
	{"20:0:0:11:22:33:0:1", false},        // one digit a byte
	{"20:00:00:11:22:33:00", false},       // seven bytes
	{"20:00:00:11:22:33:00:01:02", false}, // nine bytes
	{"20-00-00-11-22-33-00-01", false},
	{"20:00:00:11:22:33:00:0g", false},
	{" 20:00:00:11:22:33:00:01", false},
	{"20:00:00:11:22:33:00:01 ", false},
	{"0x200000112233000", false},
	{"0x20000011223300011", false},
	{"-2000001122330001", false},
	{"", false},
};

class WwnText : public ::testing::TestWithParam<wwn_case> {};

TEST_P(WwnText, ParsesOnlyTheAcceptedForms)
{
	const wwn_case &c = GetParam();
	wwn_t w = 0x5555;
	EXPECT_EQ(qor_wwn_parse(c.text, &w), c.ok ? 1 : 0) << c.text;
	if (!c.ok) {
		EXPECT_EQ(w, 0x5555u) << "output touched on refusal";
		return;
	}
	const uint8_t want[8] = {0x20, 0, 0, 0x11, 0x22, 0x33, 0, uint8_t(std::strstr(c.text, "AB") ? 0xab : 1)};
	EXPECT_EQ(std::memcmp(&w, want, 8), 0) << "bytes not in wire order";
}

INSTANTIATE_TEST_SUITE_P(Forms, WwnText, ::testing::ValuesIn(wwn_cases));

TEST(Text, WwnFormatIsLowerCaseWireOrderAndRoundTrips)
{
	const uint8_t b[8] = {0x10, 0x00, 0x00, 0x00, 0xc9, 0xAA, 0xbb, 0xcc};
	wwn_t w;
	std::memcpy(&w, b, 8);
	char s[QOR_WWN_TEXT_LEN];
	EXPECT_STREQ(qor_wwn_format(w, s), "10:00:00:00:c9:aa:bb:cc");
	wwn_t back = 0;
	ASSERT_TRUE(qor_wwn_parse(s, &back));
	EXPECT_EQ(back, w);
}

TEST(Text, MacForms)
{
	const uint8_t want[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0xab};
	for (const char *t : {"00:11:22:33:44:ab", "00:11:22:33:44:AB", "0x0011223344ab", "0011223344ab"}) {
		uint8_t m[6] = {};
		ASSERT_TRUE(qor_mac_parse(t, m)) << t;
		EXPECT_EQ(std::memcmp(m, want, 6), 0) << t;
	}
	for (const char *t : {"00:11:22:33:44", "0011223344ab00", "00:11:22:33:44:ab:", "0:11:22:33:44:ab"}) {
		uint8_t m[6] = {9, 9, 9, 9, 9, 9};
		EXPECT_FALSE(qor_mac_parse(t, m)) << t;
		EXPECT_EQ(m[0], 9) << t;
	}
	char s[QOR_MAC_TEXT_LEN];
	EXPECT_STREQ(qor_mac_format(want, s), "00:11:22:33:44:ab");
}

TEST(Text, SpeedWords)
{
	struct {
		const char *text;
		int ok;
		qor_port_speed_t speed;
	} cases[] = {
		{"1", 1, QOR_PORT_SPEED_1GBPS},   {"8", 1, QOR_PORT_SPEED_8GBPS},   {"8G", 1, QOR_PORT_SPEED_8GBPS},
		{"8g", 1, QOR_PORT_SPEED_8GBPS},  {"16Gbps", 1, QOR_PORT_SPEED_16GBPS}, {"10", 1, QOR_PORT_SPEED_10GBPS},
		{"auto", 1, QOR_PORT_SPEED_AUTO}, {"AUTO", 1, QOR_PORT_SPEED_AUTO}, {"3", 0, QOR_PORT_SPEED_UNKNOWN},
		{"15", 0, QOR_PORT_SPEED_UNKNOWN}, {"0", 0, QOR_PORT_SPEED_UNKNOWN}, {"08x", 0, QOR_PORT_SPEED_UNKNOWN},
		{"", 0, QOR_PORT_SPEED_UNKNOWN},  {"G", 0, QOR_PORT_SPEED_UNKNOWN}, {"99999999999", 0, QOR_PORT_SPEED_UNKNOWN},
	};
	for (auto &c : cases) {
		qor_port_speed_t s = QOR_PORT_SPEED_UNKNOWN;
		EXPECT_EQ(qor_speed_parse(c.text, &s), c.ok) << c.text;
		EXPECT_EQ(s, c.speed) << c.text;
	}
	EXPECT_EQ(qor_speed_gbps(QOR_PORT_SPEED_AUTO), 0u);
	EXPECT_EQ(qor_speed_gbps(QOR_PORT_SPEED_16GBPS), 16u);
}

TEST(Text, TopologyWords)
{
	qor_port_topology_t t = QOR_PORT_TOPOLOGY_NONE;
	ASSERT_TRUE(qor_topology_parse("P2P", &t));
	EXPECT_EQ(t, QOR_PORT_TOPOLOGY_P2P);
	ASSERT_TRUE(qor_topology_parse("loop", &t));
	EXPECT_EQ(t, QOR_PORT_TOPOLOGY_LOOP);
	EXPECT_FALSE(qor_topology_parse("none", &t));
	EXPECT_FALSE(qor_topology_parse("p2", &t));
	EXPECT_STREQ(qor_topology_word(QOR_PORT_TOPOLOGY_AUTO), "auto");
}

TEST(Text, ControllerTypeWords)
{
	EXPECT_STREQ(qor_ioc_type_word(QOR_IOC_TYPE_FC), "fc");
	EXPECT_STREQ(qor_ioc_type_word(QOR_IOC_TYPE_FCoE), "fcoe");
	EXPECT_STREQ(qor_ioc_type_word(QOR_IOC_TYPE_LL), "eth");
	EXPECT_STREQ(qor_ioc_type_word(0), "unknown");
}

// The role words stand for the logical port's role bits.
TEST(Text, RoleWords)
{
	const std::pair<uint32_t, const char *> roles[] = {
		{QOR_LPORT_ROLE_FCP_IM, "initiator"}, {QOR_LPORT_ROLE_FCP_TM, "target"}, {QOR_LPORT_ROLE_FCP_IPFC, "ipfc"}};
	for (auto [bit, word] : roles) {
		EXPECT_STREQ(qor_role_word(bit), word);
		EXPECT_EQ(qor_role_parse(word), bit);
	}
	for (uint32_t other : {0u, 3u, 8u, 0x80000000u})
		EXPECT_EQ(qor_role_word(other), nullptr) << other;
	for (const char *other : {"Target", "targets", "", "tm"})
		EXPECT_EQ(qor_role_parse(other), 0u) << other;
	EXPECT_EQ(qor_role_parse(nullptr), 0u);
}

} // namespace
