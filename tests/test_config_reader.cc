// Reader and model: grammar, classification, buffer limits, value syntaxes,
// lookups. Each case runs in a fresh process, so the model starts empty.
#include <climits>
#include <cstring>
#include <functional>

#include "config_util.h"

namespace {

using strings = std::vector<std::string>;

const std::string W = "qor0-port-wwn = \"20:00:00:11:22:33:00:01\";\n"
		      "qor1-port-wwn = \"20:00:00:11:22:33:00:02\";\n";
const std::string W0 = "qor0-port-wwn = \"20:00:00:11:22:33:00:01\";";
const std::string W1 = "qor1-port-wwn = \"20:00:00:11:22:33:00:02\";";

struct read_case {
	const char *name;
	std::string text;
	strings expect;                  // setting lines of the next write-back ...
	std::function<void()> then = {}; // ... after this, from the from-th on
	size_t from = 0;
};

// A setter on the port of slot 0.
template <class F> std::function<void()> on_p0(F set)
{
	return [set] {
		qorl_t q0 = ct::fc_port("20:00:00:11:22:33:00:01", false);
		set(&q0);
	};
}

std::string piece_line()
{
	// 600 characters: 511 arrive first, the remaining 89 form a line of their own.
	std::string first = "qor0-port-name = \"" + std::string(511 - 18, 'A');
	std::string second = std::string(89 - 21, ' ') + "qor1-port-speed = 8;\n";
	return first + second;
}

const read_case read_cases[] = {
	{"blank_hash_is_no_comment", "  # comment\n", {"  # comment"}},
	{"blank_hash_port_line", "  #qor0-port-speed = 8;\n", {"qor0-port-speed = 8;"}},
	{"hash_first_is_comment", "#qor0-port-speed = 8;\n\n", {}},
	{"global_bare", W + "port-speed=8\n", {W0, W1, "port-speed = 8;"}},
	{"global_semicolon", W + "port-speed = 8;\n", {W0, W1, "port-speed = 8;"}},
	{"global_quoted", W + "port-speed = \"8\";\n", {W0, W1, "port-speed = 8;"}},
	{"global_before_wwn", "port-speed = 8;\n" + W, {W0, W1, "port-speed = 0;"}},
	{"inner_blank_kept", "qor3-port-name = \"my port\";\n", {"qor3-port-name = \"my port\";"}},
	// Read as the classification says, it would name an adapter "port".
	{"adapter_word_in_value_kept", "qor0-port-name = \"adapter-1\";\n", {"qor0-port-name = \"adapter-1\";"}},
	{"slot_above_127_kept", "qor200-port-speed = 4;\n", {"qor200-port-speed = 4;"}},
	{"slot_127", "qor127-port-speed = 4;\n", {"qor127-port-speed = 4;"}},
	{"comment_after_value_kept", "qor0-port-speed = 8; # fast\n", {"qor0-port-speed = 8; # fast"}},
	{"hardalpa_0x", "qor0-port-hardalpa = 0x7f;\n", {"qor0-port-hardalpa = 0x7f;"}},
	{"hardalpa_8_bits", "qor0-port-hardalpa = 1ef;\n", {"qor0-port-hardalpa = 0xef;"}},
	{"hardalpa_upper", "qor2-port-hardalpa = 7F;\n", {"qor2-port-hardalpa = 0x7f;"}},
	{"trunk_list", "qor0-port-trunk = 0, 1;\n", {"qor0-port-trunk = 0, 1;"}},
	{"trunk_list_global", W + "port-trunk = 0, 1;\n", {W0, W1, "port-trunk = 0, 1;"}},
	{"trunk_mod_32", "qor0-port-trunk = 33,16;\n", {"qor0-port-trunk = 1, 16;"}},
	{"trunk_hex_piece_kept", "qor0-port-trunk = 33,0x10;\n", {"qor0-port-trunk = 33,0x10;"}},
	{"trunk_empty_kept", "qor0-port-trunk = ,;\n", {"qor0-port-trunk = ,;"}},
	{"vf_list_16_bits", "qor0-vf-list = 1, 17;\n", {"qor0-vf-list = 1;"}},
	{"bool_case_sensitive", "qor0-port-enable = \"true\";\n", {"qor0-port-enable = \"true\";"}},
	{"bool_false", "qor0-port-enable = \"FALSE\";\n", {"qor0-port-enable = \"FALSE\";"}},
	{"bool_bad_word_before_good", "qor0-port-enable = \"bad\";\nqor0-port-enable = \"FALSE\";\n",
	 {"qor0-port-enable = \"FALSE\";", "qor0-port-enable = \"bad\";"}},
	{"bool_bad_word_changes_nothing", "qor0-port-enable = \"FALSE\";\nqor0-port-enable = \"bad\";\n",
	 {"qor0-port-enable = \"FALSE\";", "qor0-port-enable = \"bad\";"}},
	{"log_unknown_kept", "qor0-log-level = \"Verbose\";\n", {"qor0-log-level = \"Verbose\";"}},
	{"log_header_spellings",
	 "qor0-log-level = \"INFO\";\nqor1-log-level = \"WARN\";\nqor2-log-level = \"ERROR\";\n"
	 "qor3-log-level = \"CRITICAL\";\n",
	 {"qor0-log-level = \"Info\";", "qor1-log-level = \"Warning\";", "qor2-log-level = \"Error\";",
	  "qor3-log-level = \"Critical\";"}},
	{"log_header_spellings_global", W + "log-level = \"WARN\";\n", {W0, W1, "log-level = \"Warning\";"}},
	{"log_known", "qor0-log-level = \"Warning\";\n", {"qor0-log-level = \"Warning\";"}},
	{"topology_word", "qor0-port-topology = \"loop\";\n", {"qor0-port-topology = \"loop\";"}},
	{"topology_case", "qor0-port-topology = \"LOOP\";\n", {"qor0-port-topology = \"LOOP\";"}},
	{"adapter_two_slots", "adapter-SN1-name = \"a\";\nadapter-SN1-trunk = \"TRUE\";\n",
	 {"adapter-SN1-name = \"a\";", "adapter-SN1-trunk = \"TRUE\";"}},
	{"adapter_no_equals_kept", "adapter-SN1-name\nadapter-SN2-name = \"b\";\n",
	 {"adapter-SN2-name = \"b\";", "adapter-SN1-name"}},
	{"adapter_id_too_long_kept", "adapter-ABCDEFGHIJKLMNOP-name = \"n\";\n",
	 {"adapter-ABCDEFGHIJKLMNOP-name = \"n\";"}},
	{"empty_value_is_blank", "qor0-port-name = \"\";\n", {"qor0-port-name = \" \";"}},
	// The first piece's name does not fit the field: kept, as a line of its own.
	{"split_600", piece_line(), {"qor1-port-speed = 8;", "qor0-port-name = \"" + std::string(511 - 18, 'A')}},
	{"padding", "\t qor2-port-speed\t=\t\"16\" ;\n", {"qor2-port-speed = 16;"}},
	{"key_case", "qor0-Port-Speed = 8;\n", {"qor0-Port-Speed = 8;"}},
	{"slot_trailing_digits", "xqor12-port-speed = 8;\n", {"qor12-port-speed = 8;"}},
	{"slot_without_digits", "qor-port-speed = 8;\n", {"qor0-port-speed = 8;"}},
	{"no_equals", "qor0-port-speed 8;\n", {"qor0-port-speed 8;"}},
	{"crlf_value_ends_in_cr", "qor0-port-speed = 8;\r\n", {"qor0-port-speed = 8;\r"}},
	{"ethernet_keys",
	 "vek3-port-mac = \"00:11:22:33:44:55\";\nvek3-port-mtu = 9000;\nvek3-port-name = \"eth\";\n",
	 {"vek3-port-mac = \"00:11:22:33:44:55\";", "vek3-port-name = \"eth\";", "vek3-port-mtu = 9000;"}},
	{"ethernet_fc_key_kept", "vek0-port-speed = 8;\n", {"vek0-port-speed = 8;"}},
		// Read as the classification says, it would set the FC name of slot 0.
	{"qor_in_ethernet_value_kept", "vek0-port-name = \"qor-x\";\n", {"vek0-port-name = \"qor-x\";"}},
	{"auth_words",
	 "qor0-auth-policy = \"on\";\nqor0-auth-algo = \"sha1\";\nqor0-auth-group = 2;\n"
	 "qor0-auth-secretsource = \"RADIUS\";\nqor0-auth-encrypt = \"1,-2,3\";\n",
	 {"qor0-auth-policy = \"on\";", "qor0-auth-algo = \"sha1\";", "qor0-auth-group = 2;",
	  "qor0-auth-secretsource = \"RADIUS\";", "qor0-auth-encrypt = \"1,-2,3\";"}},
	{"auth_bad_words", "qor0-auth-policy = \"ON\";\nqor0-auth-algo = \"sha256\";\n",
	 {"qor0-auth-policy = \"ON\";", "qor0-auth-algo = \"sha256\";"}},
	{"vf_enable_no_semicolon", "qor0-vf-enable = \"TRUE\"\nqor0-vf-default = 5;\n",
	 {"qor0-vf-enable = \"TRUE\"", "qor0-vf-default = 5;"}},
	{"vport_line",
	 "qor0-vport-0 = \"20:00:00:11:22:33:00:09,20:00:00:11:22:33:00:0a,vp1,IM,1\";\n",
	 {"qor0-vport-0 = \"20:00:00:11:22:33:00:09,20:00:00:11:22:33:00:0a,vp1,IM,1\";"}},
	{"vport_update_same_wwn",
	 "qor0-vport-0 = \"20:00:00:11:22:33:00:09,20:00:00:11:22:33:00:0a,vp1,IM,1\";\n"
	 "qor0-vport-1 = \"20:00:00:11:22:33:00:09,20:00:00:11:22:33:00:0a,vp2,TM\";\n",
	 {"qor0-vport-0 = \"20:00:00:11:22:33:00:09,20:00:00:11:22:33:00:0a,vp2,TM,1\";"}},
	{"vport_empty_fields_skipped", "qor0-vport-0 = \"aa,,bb\";\n", {"qor0-vport-0 = \"aa,bb,,,0\";"}},
	{"vport_reverse_order",
	 "qor0-vport-0 = \"aa,bb,one,IM,1\";\nqor0-myvportX = \"cc,dd, two ,TM,2\";\n",
	 {"qor0-vport-0 = \"cc,dd,two,TM,2\";", "qor0-vport-1 = \"aa,bb,one,IM,1\";"}},
	{"tuning_kept", "num-ios = 512;\nrport-del-timeout = 90;\n",
	 {"num-ios = 512;", "rport-del-timeout = 90;"}},
	{"power_kept", "power = \"1\";\nadapter-SN9-power = on;\n",
	 {"power = \"1\";", "adapter-SN9-power = \"on\";"}},
	{"qdepth_kept", "qor0-qdepth = 64;\n", {"qor0-qdepth = 64;"}},
	{"global_adapter_key_kept", "name = x;\nport-wwn = 1;\nport-hardalpa = 1;\n",
	 {"name = x;", "port-wwn = 1;", "port-hardalpa = 1;"}},
	{"key_too_long", "qor0-" + std::string(70, 'k') + " = 1;\n", {"qor0-" + std::string(70, 'k') + " = 1;"}},
	{"number_too_big_kept", "qor0-port-speed = 99999999999999999999;\nqor0-port-maxfrsize = 2147483648;\n",
	 {"qor0-port-speed = 99999999999999999999;", "qor0-port-maxfrsize = 2147483648;"}},
	{"number_not_decimal_kept", "qor0-port-maxfrsize = abc;\nqor0-port-speed = -4;\nqor0-pathtov = 0x10;\n",
	 {"qor0-port-maxfrsize = abc;", "qor0-port-speed = -4;", "qor0-pathtov = 0x10;"}},
	{"number_field_keeps_low_bits", "qor0-port-maxfrsize = 2147483647;\n", {"qor0-port-maxfrsize = 65535;"}},
	{"hex_not_hex_kept", "qor0-port-hardalpa = 0xg1;\nqor1-port-hardalpa = 1ffffffff;\n",
	 {"qor0-port-hardalpa = 0xg1;", "qor1-port-hardalpa = 1ffffffff;"}},
	{"word_and_tuning_kept", "num-ios = many;\nqor0-qos = \"yes\";\n", {"num-ios = many;", "qor0-qos = \"yes\";"}},
	{"text_that_forges_kept", "qor0-port-name = \"a\\\\b\";\nvek1-port-name = \"x\tqor2-port-speed = 4\";\n",
	 {"qor0-port-name = \"a\\\\b\";", "vek1-port-name = \"x\tqor2-port-speed = 4\";"}},
	{"number_leading_zeros", "qor0-port-speed = 000000000000008;\n", {"qor0-port-speed = 8;"}},
	{"slot_number_too_big", "qor99999999999-port-speed = 1;\n", {"qor99999999999-port-speed = 1;"}},
	{"nul_in_line", std::string("qor0-port-speed = 4;\0junk\n", 26), {"qor0-port-speed = 4;"}},
	// The first piece's rest is a comment: no line of its own.
	{"split_comment_piece", "qor0-port-speed = 2" + std::string(511 - 19, ' ') + "#qor1-port-speed = 8;\n",
	 {"qor0-port-speed = 2;"}},
	// A global line reaches the slots known when it was read; a slot set to
	// another value turns it per slot.
	{"global_turns_per_slot", W + "port-speed = 8;\nqor2-port-wwn = \"20:00:00:11:22:33:00:03\";\n",
	 {"qor0-port-speed = 4;", "qor1-port-speed = 8;"},
	 on_p0([](qorl_t *q) { qorl_config_speed(q, QOR_PORT_SPEED_4GBPS); }), 3},
	{"global_list_split_per_slot", W + "port-trunk = 0, 1;\n", {"qor0-port-trunk = 2;", "qor1-port-trunk = 0, 1;"},
	 on_p0([](qorl_t *q) { qorl_config_trunk(q, 0x4, QOR_TRUE); }), 2},
	{"setter_replaces_unreadable_line",
	 W + "qor0-port-maxfrsize = abc;\nqor1-port-maxfrsize = abc;\nport-speed = fast;\n",
	 {W0, W1, "qor0-port-maxfrsize = 2048;", "qor1-port-maxfrsize = abc;", "port-speed = fast;"},
	 on_p0([](qorl_t *q) { qorl_config_maxfrsz(q, 2048); })},
	{"no_newline_at_end", "qor0-port-speed = 4;", {"qor0-port-speed = 4;"}},
};

void PrintTo(const read_case &c, std::ostream *os) { *os << c.name; }

class ConfigRead : public ct::Fixture, public ::testing::WithParamInterface<read_case> {};

TEST_P(ConfigRead, WritesBackAsExpected)
{
	const read_case &c = GetParam();
	ct::load_text(root_, c.text);
	if (c.then)
		c.then();
	EXPECT_EQ(ct::lines_from(c.from), c.expect);
}

INSTANTIATE_TEST_SUITE_P(Lines, ConfigRead, ::testing::ValuesIn(read_cases),
			 [](const auto &p) { return std::string(p.param.name); });

class ConfigReader : public ct::Fixture {};

TEST_F(ConfigReader, MissingFileIsEmptyConfiguration)
{
	std::string p = root_path("/etc/none.conf");
	EXPECT_EQ(qorl_config_load(p.data()), QOR_STATUS_OK);
	EXPECT_EQ(qorl_config_load(nullptr), QOR_STATUS_OK);
	EXPECT_TRUE(ct::lines().empty());
	EXPECT_EQ(qorl_config_ad_get_num(), 0);
	EXPECT_EQ(qorl_config_ioc_get_num(), 0);
}

TEST_F(ConfigReader, AdapterCounter)
{
	ct::load_text(root_, "adapter-SN1-name = \"a\";\nadapter-SN1-trunk = \"TRUE\";\n");
	EXPECT_EQ(qorl_config_ad_get_num(), 2);
	EXPECT_EQ(qorl_config_ad_lookup((char *)"SN1"), 0);
	// A second load adds after the first one's slots ...
	ct::load_text(root_, "adapter-SN2-name = \"b\";\n");
	EXPECT_EQ(qorl_config_ad_lookup((char *)"SN2"), 2);
	// ... until a write-back resets the counter.
	ct::dump();
	ct::load_text(root_, "adapter-SN3-name = \"c\";\n");
	EXPECT_EQ(qorl_config_ad_lookup((char *)"SN3"), 0);
	EXPECT_EQ(qorl_config_ad_lookup((char *)"SN1"), 1);
}

TEST_F(ConfigReader, AdapterLinesBeyondTableKept)
{
	std::string text;
	for (int i = 0; i < 130; i++)
		text += "adapter-A" + std::to_string(i) + "-name = \"n" + std::to_string(i) + "\";\n";
	ct::load_text(root_, text);
	EXPECT_EQ(qorl_config_ad_get_num(), 128);
	EXPECT_EQ(qorl_config_ad_lookup((char *)"A127"), 127);
	EXPECT_EQ(qorl_config_ad_lookup((char *)"A128"), -1);
	strings l = ct::lines();
	ASSERT_EQ(l.size(), 130u);
	EXPECT_EQ(strings(l.end() - 2, l.end()), (strings{"adapter-A128-name = \"n128\";", "adapter-A129-name = \"n129\";"}));
}

TEST_F(ConfigReader, SecondLoadAdds)
{
	ct::load_text(root_, "qor0-port-speed = 8;\n");
	ct::load_text(root_, "qor1-port-speed = 4;\n");
	EXPECT_EQ(ct::lines(), (strings{"qor0-port-speed = 8;", "qor1-port-speed = 4;"}));
}

// A line naming a setting whose value cannot be read is reported once, when
// the file is loaded, with the file and line; other kept lines are not.
TEST_F(ConfigReader, UnreadableSettingsAreReportedOnce)
{
	const std::string p = root_ + "/in.conf";
	qt::write_file(p, "# my comment\n"
			  "qor0-port-wwn = \"20:00:00:11:22:33:00:01\";\n"
			  "qor0-port-maxfrsize = abc;\n"
			  "some-unknown-key = 1;\n"
			  "qor0-port-speed = 99999999999999999999;\n"
			  "qor300-port-speed = 4;\n");
	testing::internal::CaptureStderr();
	ASSERT_EQ(qorl_config_load(const_cast<char *>(p.c_str())), QOR_STATUS_OK);
	const std::string err = testing::internal::GetCapturedStderr();
	const std::string head = "qorl_config_load: " + p + ":";
	EXPECT_EQ(err, head + "3: the value of port-maxfrsize cannot be read; the line is kept as it was\n" + head +
			       "5: the value of port-speed cannot be read; the line is kept as it was\n" + head +
			       "6: the instance number of port-speed is above 127; the line is kept as it was\n");
	// Writing the file back and reading it again in another process says it
	// once more, in that process only.
	testing::internal::CaptureStderr();
	EXPECT_EQ(qorl_config_sync(const_cast<char *>(p.c_str())), QOR_STATUS_OK);
	EXPECT_EQ(ct::dump().find("qor0-port-maxfrsize = abc;"), ct::dump().rfind("qor0-port-maxfrsize"));
	EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ConfigReader, SetDataIgnoresBadArguments)
{
	qorl_config_set_data(9, 0, nullptr);
	qorl_config_set_data(36, 0, (void *)"1");
	qorl_config_set_data(-1, 0, (void *)"1");
	qorl_config_set_data(9, 128, (void *)"1");
	qorl_config_set_data(9, -1, (void *)"1");
	qorl_config_set_data(0, 128, (void *)"X");
	qorl_config_parse(nullptr);
	EXPECT_TRUE(ct::lines().empty());
}

TEST_F(ConfigReader, SetDataCutsText)
{
	std::string longname(300, 'n');
	qorl_config_set_data(QORL_CFG_PORT_NAME, 0, longname.data());
	qorl_config_set_data(QORL_CFG_AD_ID, 0, (void *)"ABCDEFGHIJKLMNOP");
	qorl_config_set_data(QORL_CFG_AD_NAME, 0, longname.data());
	EXPECT_EQ(ct::lines(), (strings{"adapter-ABCDEFGHIJK-name = \"" + std::string(127, 'n') + "\";",
					"qor0-port-name = \"" + std::string(127, 'n') + "\";"}));
}

// ---- value syntaxes ----------------------------------------------------------

TEST(ConfigSyntax, DecimalNumbers)
{
	const std::pair<const char *, int> cases[] = {
		{"8", 8},   {"-5", 5},     {"0x10", 10},      {"12abc", 0},           {"   ", 0},
		{"", 0},    {"8\n", 8},    {"1\n2", 12},      {"2147483647", INT_MAX}, {"2147483648", INT_MAX},
		{"99999999999999999999", INT_MAX}, {"0000000000000000001", 1},
	};
	for (auto [text, want] : cases) {
		std::string s = text;
		EXPECT_EQ(qorl_config_get_num(s.data()), want) << text;
	}
	EXPECT_EQ(qorl_config_get_num(nullptr), -1);
}

TEST(ConfigSyntax, Hexadecimal)
{
	const std::pair<const char *, int> cases[] = {
		{"0x7f", 0x7f}, {"7f", 0x7f}, {"7F", 0x7f}, {"", 0}, {"g1", 1}, {"ffffffff", -1},
		{"1ffffffff", -1}, {"10", 16},
	};
	for (auto [text, want] : cases) {
		std::string s = text;
		EXPECT_EQ(xstrtoi(s.data()), want) << text;
	}
}

TEST(ConfigSyntax, WwnText)
{
	EXPECT_EQ(wwn_convert((char *)"20:00:00:11:22:33:00:01"), qt::wwn("20:00:00:11:22:33:00:01"));
	EXPECT_EQ(wwn_convert((char *)"20:0:0:11:22:33:0:1"), qt::wwn("20:00:00:11:22:33:00:01"));
	EXPECT_EQ(wwn_convert((char *)"2A:BC"), qt::wwn("2a:bc:00:00:00:00:00:00"));
	EXPECT_EQ(wwn_convert((char *)"1:2:3:4:5:6:7:8:9"), qt::wwn("01:02:03:04:05:06:07:08"));
	EXPECT_EQ(wwn_convert((char *)":::"), 0u);
	EXPECT_EQ(wwn_convert(nullptr), 0u);
	EXPECT_EQ(wwn_convert((char *)"1ff"), qt::wwn("ff:00:00:00:00:00:00:00"));
}

TEST(ConfigSyntax, FilterSpace)
{
	const std::pair<const char *, const char *> cases[] = {
		{" \"my port\";\n", "my port"}, {"\"\"", " "}, {"", " "}, {" \t;\"\n", " "},
		{"a\"b;c", "a\"b;c"}, {"x\r\n", "x\r"}, {"\"q", "q"},
	};
	for (auto [in, want] : cases) {
		std::string s = in;
		char out[64];
		qorl_config_filter_space(s.data(), out);
		EXPECT_STREQ(out, want) << in;
	}
}

TEST(ConfigSyntax, KeyAndData)
{
	char temp[512], key[64] = "old", value[512] = "old";
	char line[] = "qor0-port-speed = 8;\n";
	qorl_config_get_key('-', '=', line, temp, key);
	EXPECT_STREQ(key, "port-speed");
	qorl_config_get_data('=', line, temp, value);
	EXPECT_STREQ(value, "8");
	char nodash[] = "speed = 8", noend[] = "a-b", empty[] = "a-=1";
	std::strcpy(key, "old");
	qorl_config_get_key('-', '=', nodash, temp, key);
	qorl_config_get_key('-', '=', noend, temp, key);
	qorl_config_get_key('-', '=', empty, temp, key);
	EXPECT_STREQ(key, "old");
	qorl_config_get_key(' ', '=', nodash, temp, key);
	EXPECT_STREQ(key, "speed");
	std::strcpy(value, "old");
	qorl_config_get_data('=', noend, temp, value);
	EXPECT_STREQ(value, "old");
	std::string longkey = "x-" + std::string(100, 'k') + "=1";
	qorl_config_get_key('-', '=', longkey.data(), temp, key);
	EXPECT_EQ(std::string(key), std::string(63, 'k'));
}

TEST(ConfigSyntax, BitmapToList)
{
	int list[32], num = -1;
	bmptolist(0x5, list, &num);
	ASSERT_EQ(num, 2);
	EXPECT_EQ(list[0], 0);
	EXPECT_EQ(list[1], 2);
	bmptolist(-1, list, &num);
	ASSERT_EQ(num, 32);
	EXPECT_EQ(list[31], 31);
	bmptolist(0, list, &num);
	EXPECT_EQ(num, 0);
}

// ---- lookups and adds ------------------------------------------------------------

TEST(ConfigModel, WwnAddAndLookup)
{
	wwn_t w = qt::wwn("20:00:00:11:22:33:00:01");
	qorl_config_ioc_add(w);
	EXPECT_EQ(qorl_config_ioc_lookup(w), 0);
	EXPECT_EQ(qorl_config_ioc_get_num(), 1);
	qorl_config_set_data(QORL_CFG_PORT_WWN, 1, (void *)"20:00:00:11:22:33:00:AB");
	EXPECT_EQ(qorl_config_ioc_lookup(qt::wwn("20:00:00:11:22:33:00:ab")), 1);
	EXPECT_EQ(qorl_config_ioc_lookup(qt::wwn("20:00:00:11:22:33:00:02")), -1);
	EXPECT_EQ(ct::lines(), (strings{"qor0-port-wwn = \"20:00:00:11:22:33:00:01\";",
					"qor1-port-wwn = \"20:00:00:11:22:33:00:AB\";"}));
}

// Lookups compare numbers kept beside each slot's text; they must follow
// every change of that text.
TEST(ConfigModel, LookupsFollowTheSlotsText)
{
	struct {
		int slot;
		const char *text; // as the file gives it
		const char *wwn;  // what it converts to
	} wwns[] = {
		{2, "20:0:0:11:22:33:0:1", "20:00:00:11:22:33:00:01"},
		{3, "20:00:00:11", "20:00:00:11:00:00:00:00"},
		{4, "20:00:00:11:22:33:00:02:ff:ee", "20:00:00:11:22:33:00:02"},
		{5, "0x20:00:00:11:22:33:00:03", "20:00:00:11:22:33:00:03"},
	};
	for (const auto &c : wwns) {
		qorl_config_set_data(QORL_CFG_PORT_WWN, c.slot, (void *)c.text);
		EXPECT_EQ(qorl_config_ioc_lookup(qt::wwn(c.wwn)), c.slot) << c.text;
	}
	EXPECT_EQ(qorl_config_ioc_lookup(0), 0) << "a slot without WWN text holds WWN 0";
	qorl_config_set_data(QORL_CFG_PORT_WWN, 2, (void *)"20:00:00:11:22:33:00:09");
	EXPECT_EQ(qorl_config_ioc_lookup(qt::wwn("20:00:00:11:22:33:00:01")), -1);
	EXPECT_EQ(qorl_config_ioc_lookup(qt::wwn("20:00:00:11:22:33:00:09")), 2);
	qorl_config_ioc_pwwn(3, qt::wwn("20:00:00:11:22:33:00:0a"));
	EXPECT_EQ(qorl_config_ioc_lookup(qt::wwn("20:00:00:11:00:00:00:00")), -1);
	EXPECT_EQ(qorl_config_ioc_lookup(qt::wwn("20:00:00:11:22:33:00:0a")), 3);

	mac_t m{{0x00, 0x11, 0x22, 0xaa, 0xbb, 0xcc}};
	qorl_config_set_data(QORL_CFG_PORT_MAC, 1, (void *)"00:11:22:aa:bb:cc and more");
	EXPECT_EQ(qorl_config_ethioc_lookup(m), 1) << "the text begins with the MAC's form";
	for (const char *other : {"00:11:22:aa:bb:c", "0:11:22:aa:bb:cc", "00-11-22-aa-bb-cc", "001122aabbcc"}) {
		qorl_config_set_data(QORL_CFG_PORT_MAC, 1, (void *)other);
		EXPECT_EQ(qorl_config_ethioc_lookup(m), -1) << other;
	}
	qorl_config_ethioc_mac(1, m);
	EXPECT_EQ(qorl_config_ethioc_lookup(m), 1);
}

TEST(ConfigModel, FullPortTable)
{
	for (int i = 0; i < 128; i++)
		qorl_config_ioc_add(0x1000 + i);
	qorl_config_ioc_add(0x9999);
	EXPECT_EQ(qorl_config_ioc_lookup(0x9999), -1);
	EXPECT_EQ(qorl_config_ioc_lookup(0x1000 + 127), 127);
	EXPECT_EQ(qorl_config_ioc_get_num(), 128);
	qorl_config_ioc_pwwn(128, 0x9999);
	EXPECT_EQ(qorl_config_ioc_lookup(0x9999), -1);
}

TEST(ConfigModel, MacAddAndLookup)
{
	mac_t m{{0x00, 0x11, 0x22, 0xaa, 0xbb, 0xcc}};
	qorl_config_ethioc_add(m);
	qorl_config_ethioc_add(m); // adds do not look up first
	EXPECT_EQ(qorl_config_ethioc_lookup(m), 0);
	qorl_config_set_data(QORL_CFG_PORT_MAC, 5, (void *)"00:11:22:AA:BB:CD");
	mac_t m2{{0x00, 0x11, 0x22, 0xaa, 0xbb, 0xcd}};
	EXPECT_EQ(qorl_config_ethioc_lookup(m2), -1); // text comparison, case matters
	qorl_config_ethioc_mac(7, m2);
	EXPECT_EQ(qorl_config_ethioc_lookup(m2), 7);
	EXPECT_EQ(ct::lines(), (strings{"vek0-port-mac = \"00:11:22:aa:bb:cc\";",
					"vek1-port-mac = \"00:11:22:aa:bb:cc\";",
					"vek5-port-mac = \"00:11:22:AA:BB:CD\";",
					"vek7-port-mac = \"00:11:22:aa:bb:cd\";"}));
}

TEST(ConfigModel, AdapterAddAndLookup)
{
	qorl_config_ad_add((char *)"SN1");
	qorl_config_ad_add((char *)"SERIAL_NUMBER_TOO_LONG");
	EXPECT_EQ(qorl_config_ad_lookup((char *)"SN1"), 0);
	EXPECT_EQ(qorl_config_ad_lookup((char *)"SERIAL_NUMB"), 1);
	EXPECT_EQ(qorl_config_ad_lookup((char *)"sn1"), -1);
	EXPECT_EQ(qorl_config_ad_lookup(nullptr), -1);
	EXPECT_EQ(qorl_config_ad_get_num(), 2);
	for (int i = 0; i < 200; i++)
		qorl_config_ad_add((char *)"X");
	EXPECT_EQ(qorl_config_ad_get_num(), 128);
	EXPECT_TRUE(ct::lines().empty()); // ids alone are not written
}

TEST(ConfigModel, Hostname)
{
	char host[65];
	std::memset(host, 'x', sizeof host);
	qorl_get_hostname(host);
	EXPECT_LT(strnlen(host, sizeof host), sizeof host);
}

} // namespace
