// Setters: presence bits, defaults, the global-to-per-slot rule, virtual
// ports and fabrics, adapter setters on discovered adapters.
#include <cstring>
#include <functional>

#include "config_util.h"
#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorl_port.h"

namespace {

using strings = std::vector<std::string>;

const char *const P0 = "20:00:00:11:22:33:00:01";
const char *const P1 = "20:00:00:11:22:33:00:02";

struct setter_case {
	const char *name;
	std::function<void(qorl_t *, int)> set;
	std::string key;    // key as written
	int value;          // a value that is written
	std::string text;   // its written form (after " = ")
	int other;          // a second written value
	std::string other_text;
	int def;            // a value that removes the line (-1: the setter has a mode argument)
	std::string global; // global line that gives every slot `value`; empty: none
};

#define SETTER(fn, T) [](qorl_t *q, int v) { fn(q, (T)v); }

const setter_case setter_cases[] = {
	{"speed", SETTER(qorl_config_speed, qor_port_speed_t), "port-speed", 8, "8;", 4, "4;", 15, "port-speed = 8;"},
	{"speed_zero", SETTER(qorl_config_speed, qor_port_speed_t), "port-speed", 8, "8;", 16, "16;", 0, ""},
	{"topology", SETTER(qorl_config_topology, qor_port_topology_t), "port-topology", 2, "\"loop\";", 1,
	 "\"p2p\";", 0, "port-topology = \"loop\";"},
	{"alpa", [](qorl_t *q, int v) { qorl_config_alpa(q, (uint8_t)v, v ? QOR_TRUE : QOR_FALSE); },
	 "port-hardalpa", 0x7f, "0x7f;", 0xef, "0xef;", 0, ""},
	{"maxfrsz", SETTER(qorl_config_maxfrsz, uint16_t), "port-maxfrsize", 2048, "2048;", 1024, "1024;", 2112,
	 "port-maxfrsize = 2048;"},
	{"trunk", [](qorl_t *q, int v) { qorl_config_trunk(q, (uint32_t)v, v ? QOR_TRUE : QOR_FALSE); },
	 "port-trunk", 0x5, "0, 2;", 0x3, "0, 1;", 0, "port-trunk = 0, 2;"},
	{"enable", SETTER(qorl_config_enable, qor_boolean_t), "port-enable", 0, "\"FALSE\";", 0, "\"FALSE\";", 1,
	 "port-enable = \"FALSE\";"},
	{"ipfc_enable", SETTER(qorl_config_ipfc_enable, qor_boolean_t), "ipfc-enable", 0, "\"FALSE\";", 0,
	 "\"FALSE\";", 1, "ipfc-enable = \"FALSE\";"},
	{"log_level", SETTER(qorl_config_log_level, int), "log-level", 2, "\"Error\";", 3, "\"Warning\";", 0,
	 "log-level = \"Error\";"},
	{"auth_policy", SETTER(qorl_config_auth_policy, qor_boolean_t), "auth-policy", 1, "\"on\";", 1, "\"on\";",
	 0, "auth-policy = \"on\";"},
	{"auth_algo", SETTER(qorl_config_auth_algo, qor_auth_algo_t), "auth-algo", 2, "\"sha1\";", 4, "\"sm\";", 0,
	 "auth-algo = \"sha1\";"},
	{"auth_group", SETTER(qorl_config_auth_group, qor_auth_group_t), "auth-group", 2, "2;", 0, "0;", 1,
	 "auth-group = 2;"},
	{"auth_secretsource", SETTER(qorl_config_auth_secretsource, qor_auth_secretsource_t), "auth-secretsource",
	 2, "\"RADIUS\";", 3, "\"TACACS\";", 1, "auth-secretsource = \"RADIUS\";"},
	{"fcpim", SETTER(qorl_config_fcpim, uint16_t), "pathtov", 30, "30;", 60, "60;", 0, "pathtov = 30;"},
	{"qdepth", SETTER(qorl_config_qdepth, uint16_t), "qdepth", 64, "64;", 128, "128;", 0, "qdepth = 64;"},
	{"qos", SETTER(qorl_config_qos, qor_boolean_t), "qos", 1, "\"TRUE\";", 1, "\"TRUE\";", 0, "qos = \"TRUE\";"},
	{"ratelim", SETTER(qorl_config_ratelim, qor_boolean_t), "ratelim", 1, "\"TRUE\";", 1, "\"TRUE\";", 0,
	 "ratelim = \"TRUE\";"},
	{"defspeed", SETTER(qorl_config_defspeed, qor_port_speed_t), "ratelim-defspeed", 15, "0;", 4, "4;", 1,
	 "ratelim-defspeed = 0;"},
	{"pbind", SETTER(qorl_config_pbind, qor_boolean_t), "persistent-binding", 1, "\"TRUE\";", 1, "\"TRUE\";",
	 0, "persistent-binding = \"TRUE\";"},
	{"secret", [](qorl_t *q, int v) { uint32_t w[2] = {(uint32_t)v, 0xfffffffeu}; qorl_config_auth_secretstring(q, w, v ? 2 : 0); },
	 "auth-encrypt", 7, "\"7,-2\";", 9, "\"9,-2\";", 0, "auth-encrypt = \"7,-2\";"},
};

void PrintTo(const setter_case &c, std::ostream *os) { *os << c.name; }

class ConfigSetter : public ct::Fixture, public ::testing::WithParamInterface<setter_case> {};

// Also: a port without a slot, or none, changes nothing.
TEST_P(ConfigSetter, BitFollowsValue)
{
	const setter_case &c = GetParam();
	qorl_t stranger = ct::fc_port("20:00:00:99:99:99:99:99", false);
	qorl_t q0 = ct::fc_port(P0);
	c.set(&stranger, c.value);
	c.set(nullptr, c.value);
	EXPECT_EQ(ct::lines().size(), 1u);
	c.set(&q0, c.value);
	EXPECT_EQ(ct::lines().back(), "qor0-" + c.key + " = " + c.text);
	c.set(&q0, c.other);
	EXPECT_EQ(ct::lines().back(), "qor0-" + c.key + " = " + c.other_text);
	c.set(&q0, c.def);
	EXPECT_EQ(ct::lines().size(), 1u) << "a default leaves only the WWN line";
}

// The settings that also have a global form.
class ConfigGlobalSetter : public ConfigSetter {};

std::vector<setter_case> with_global_form()
{
	std::vector<setter_case> v;
	for (const auto &c : setter_cases)
		if (!c.global.empty())
			v.push_back(c);
	return v;
}

// A global line stays while a slot is set to its value, and turns per slot
// when one is set to another.
TEST_P(ConfigGlobalSetter, GlobalTurnsPerSlotOnChange)
{
	const setter_case &c = GetParam();
	ct::fc_port(P0);
	qorl_t q1 = ct::fc_port(P1);
	std::string line = c.global + "\n";
	qorl_config_parse(line.data());
	c.set(&q1, c.value);
	EXPECT_EQ(ct::lines().back(), c.global);
	// A second written value where there is one, else the default.
	bool second = c.other_text != c.text;
	c.set(&q1, second ? c.other : c.def);
	strings expect{"qor0-" + c.key + " = " + c.text};
	if (second)
		expect.push_back("qor1-" + c.key + " = " + c.other_text);
	EXPECT_EQ(ct::lines_from(2), expect);
}

INSTANTIATE_TEST_SUITE_P(Port, ConfigSetter, ::testing::ValuesIn(setter_cases),
			 [](const auto &p) { return std::string(p.param.name); });
INSTANTIATE_TEST_SUITE_P(Port, ConfigGlobalSetter, ::testing::ValuesIn(with_global_form()),
			 [](const auto &p) { return std::string(p.param.name); });

class ConfigSetters : public ct::Fixture {};

TEST_F(ConfigSetters, CoalescingRules)
{
	struct step {
		int coalesce, delay, latency;
		strings expect;
	} steps[] = {
		{1, 100, 50, {"qor0-delay = 100;", "qor0-latency = 50;"}},
		{1, 1125, 225, {}},
		{0, 0, 0, {"qor0-coalesce = \"off\";"}},
		// coalescing off keeps the stored delay and latency
		{0, 5, 0, {"qor0-coalesce = \"off\";", "qor0-delay = 1125;"}},
		{1, 1125, 7, {"qor0-delay = 1125;", "qor0-latency = 7;"}},
	};
	qorl_t q = ct::fc_port(P0);
	for (const step &s : steps) {
		qorl_config_iocfc_intr(&q, (qor_boolean_t)s.coalesce, (uint16_t)s.delay, (uint16_t)s.latency);
		strings l = ct::lines();
		EXPECT_EQ(strings(l.begin() + 1, l.end()), s.expect) << s.coalesce << " " << s.delay << " " << s.latency;
	}
}

TEST_F(ConfigSetters, CoalescingGlobalsEachOnTheirOwn)
{
	qorl_t q0 = ct::fc_port(P0);
	ct::fc_port(P1);
	qorl_config_parse((char *)"coalesce = \"on\";\n");
	qorl_config_parse((char *)"delay = 1125;\n");
	qorl_config_parse((char *)"latency = 225;\n");
	qorl_config_iocfc_intr(&q0, QOR_TRUE, 1125, 300);
	EXPECT_EQ(ct::lines_from(2),
		  (strings{"coalesce = \"on\";", "delay = 1125;", "qor0-latency = 300;", "qor1-latency = 225;"}));
}

TEST_F(ConfigSetters, GlobalEnableThenPortAddedLater)
{
	ct::fc_port(P0);
	qorl_t q1 = ct::fc_port(P1);
	qorl_config_parse((char *)"port-enable = \"FALSE\";\n");
	qorl_t q0 = ct::fc_port(P0, false);
	qorl_config_enable(&q0, QOR_TRUE);
	ct::fc_port("20:00:00:11:22:33:00:03");
	strings l = ct::lines();
	EXPECT_EQ(strings(l.begin() + 3, l.end()), (strings{"qor1-port-enable = \"FALSE\";"}));
	(void)q1;
}

TEST_F(ConfigSetters, SecretTooLongChangesNothing)
{
	qorl_t q = ct::fc_port(P0);
	std::vector<uint32_t> words(60, 0x80000000u); // 11 characters each
	std::string text;
	for (int i = 0; i < 40; i++)
		text += i ? ",-2147483648" : "-2147483648";
	const std::string line = "qor0-auth-encrypt = \"" + text + "\";";
	qorl_config_auth_secretstring(&q, words.data(), 40); // 479 characters: fits a line
	EXPECT_EQ(ct::lines().back(), line);
	qorl_config_auth_secretstring(&q, words.data(), 44); // 527: would come back cut
	EXPECT_EQ(ct::lines().back(), line);
	qorl_config_auth_secretstring(&q, nullptr, 3);
	EXPECT_EQ(ct::lines().back(), line);
	qorl_config_auth_secretstring(&q, nullptr, 0);
	EXPECT_EQ(ct::lines().size(), 1u);
}

TEST_F(ConfigSetters, PortNameBothSides)
{
	qorl_t fc = ct::fc_port(P0);
	qorl_t eth{};
	eth.ioc_type = QOR_IOC_TYPE_LL;
	eth.mac = mac_t{{0, 1, 2, 3, 4, 5}};
	qorl_config_ethioc_add(eth.mac);
	qorl_config_ioc_name(&fc, (char *)"fc name");
	qorl_config_ioc_name(&eth, (char *)"eth name");
	EXPECT_EQ(ct::lines(), (strings{"qor0-port-wwn = \"20:00:00:11:22:33:00:01\";", "qor0-port-name = \"fc name\";",
					"vek0-port-mac = \"00:01:02:03:04:05\";", "vek0-port-name = \"eth name\";"}));
	qorl_config_ioc_name(&fc, (char *)"");
	std::string longname(200, 'L');
	qorl_config_ioc_name(&eth, longname.data());
	EXPECT_EQ(ct::lines(), (strings{"qor0-port-wwn = \"20:00:00:11:22:33:00:01\";",
					"vek0-port-mac = \"00:01:02:03:04:05\";",
					"vek0-port-name = \"" + std::string(127, 'L') + "\";"}));
}

// ---- virtual ports and fabrics ------------------------------------------------------

qor_lport_cfg_t lport(const char *pwwn, const char *name, uint32_t roles)
{
	qor_lport_cfg_t c{};
	c.pwwn = qt::wwn(pwwn);
	c.nwwn = qt::wwn("20:00:00:11:22:33:00:0a");
	std::strncpy(c.sym_name.symname, name, sizeof c.sym_name.symname);
	c.roles = roles;
	return c;
}

TEST_F(ConfigSetters, VportAddDelete)
{
	qorl_t q = ct::fc_port(P0);
	qor_lport_cfg_t a = lport("20:00:00:11:22:33:00:09", "vp a", 5), b = lport("20:00:00:11:22:33:00:0b", "vp b", 3);
	qorl_config_vport_add(&q, 1, &a);
	qorl_config_vport_add(&q, 2, &b);
	EXPECT_EQ(ct::lines_from(1),
		  (strings{"qor0-vport-0 = \"20:00:00:11:22:33:00:0b,20:00:00:11:22:33:00:0a,vp b,IM + TM,2\";",
			   "qor0-vport-1 = \"20:00:00:11:22:33:00:09,20:00:00:11:22:33:00:0a,vp a,IM + IP,1\";"}));
	a.roles = 2;
	qorl_config_vport_add(&q, 7, &a); // same WWN: updated in place
	qorl_config_vport_del(&q, qt::wwn("20:00:00:11:22:33:00:0b"));
	qorl_config_vport_del(&q, qt::wwn("20:00:00:11:22:33:00:0c")); // not listed
	EXPECT_EQ(ct::lines_from(1),
		  (strings{"qor0-vport-0 = \"20:00:00:11:22:33:00:09,20:00:00:11:22:33:00:0a,vp a,TM,7\";"}));
	qorl_config_vport_del(&q, qt::wwn("20:00:00:11:22:33:00:09"));
	EXPECT_EQ(ct::lines().size(), 1u);
}

// A name with a comma shifts the fields; one without NUL is cut to 127 characters.
TEST_F(ConfigSetters, VportSymbolicNames)
{
	qorl_t q = ct::fc_port(P0);
	qor_lport_cfg_t a = lport("20:00:00:11:22:33:00:09", "left,right", 1);
	qorl_config_vport_add(&q, 1, &a);
	EXPECT_EQ(ct::lines().back(),
		  "qor0-vport-0 = \"20:00:00:11:22:33:00:09,20:00:00:11:22:33:00:0a,left,right\",0\";");
	std::memset(a.sym_name.symname, 'S', sizeof a.sym_name.symname);
	qorl_config_vport_add(&q, 1, &a);
	EXPECT_EQ(ct::lines().back(),
		  "qor0-vport-0 = \"20:00:00:11:22:33:00:09,20:00:00:11:22:33:00:0a," + std::string(127, 'S') + ",IM,1\";");
}

TEST_F(ConfigSetters, VirtualFabricModeAndList)
{
	qorl_t q = ct::fc_port(P0);
	qorl_config_vf_mode(&q, 5, QOR_TRUE);
	EXPECT_EQ(ct::lines_from(1), (strings{"qor0-vf-enable = \"TRUE\"", "qor0-vf-default = 5;"}));
	qorl_config_vf_mode(&q, 1, QOR_FALSE);
	EXPECT_EQ(ct::lines().size(), 1u);
	qorl_config_vf_list(&q, 3, QOR_TRUE);
	qorl_config_vf_list(&q, 20, QOR_TRUE);
	qorl_config_vf_list(&q, 15, QOR_TRUE);
	EXPECT_EQ(ct::lines().back(), "qor0-vf-list = 3, 15;");
	qorl_config_vf_list(&q, 3, QOR_FALSE);
	qorl_config_vf_list(&q, 15, QOR_FALSE);
	EXPECT_EQ(ct::lines().size(), 1u);
}

TEST_F(ConfigSetters, VirtualFabricGlobals)
{
	qorl_t q0 = ct::fc_port(P0);
	ct::fc_port(P1);
	qorl_config_parse((char *)"vf-list = 1, 2;\n");
	qorl_config_vf_list(&q0, 2, QOR_TRUE); // already there: stays global
	EXPECT_EQ(ct::lines().back(), "vf-list = 1, 2;");
	qorl_config_vf_list(&q0, 1, QOR_FALSE);
	EXPECT_EQ(ct::lines_from(2),
		  (strings{"qor0-vf-list = 2;", "qor1-vf-list = 1, 2;"}));
}

// ---- adapter setters, on the emulator's discovered adapters ---------------------------

class ConfigAdapterSetters : public qt::SimTest {};

TEST_F(ConfigAdapterSetters, NameTrunkAndExists)
{
	ASSERT_GT(qorl_adapter_scan(), 0);
	qorl_adapter_t *ad = qorl_adapter_get_by_idx(1);
	ASSERT_NE(ad, nullptr);
	char sn[12] = {};
	qorl_adapter_get_serial_num(ad, sn);
	ASSERT_GE(qorl_config_ad_lookup(sn), 0) << "discovery adds the adapter";
	qorl_config_ad_name(1, (char *)"lab");
	qorl_config_ad_trunk(1, QOR_TRUE);
	qorl_config_ad_name(999, (char *)"none");
	std::string id = sn;
	strings l = ct::lines();
	EXPECT_EQ(l[0], "adapter-" + id + "-name = \"lab\";");
	EXPECT_EQ(l[1], "adapter-" + id + "-trunk = \"TRUE\";");
	EXPECT_EQ(qorl_config_get_ad_name_exists(1, (char *)"lab", (char *)"other"), QOR_TRUE);
	EXPECT_EQ(qorl_config_get_ad_name_exists(1, (char *)"lab", sn), QOR_FALSE);
	EXPECT_EQ(qorl_config_get_ad_name_exists(1, (char *)"", (char *)"other"), QOR_FALSE);
	EXPECT_EQ(qorl_config_get_ad_name_exists(999, (char *)"lab", (char *)"other"), QOR_FALSE);
	qorl_config_ad_name(1, (char *)"");
	qorl_config_ad_trunk(1, QOR_FALSE);
	EXPECT_EQ(ct::lines().size(), l.size() - 2);

	qorl_t *port = qorl_adapter_get_ioc(ad, 0);
	ASSERT_NE(port, nullptr);
	qorl_config_ioc_name(port, (char *)"p0");
	EXPECT_EQ(qorl_config_get_port_name_exists(1, (char *)"p0", 0), QOR_TRUE);
	EXPECT_EQ(qorl_config_get_port_name_exists(1, (char *)"p1", 0), QOR_FALSE);
	EXPECT_EQ(qorl_config_get_port_name_exists(999, (char *)"p0", 0), QOR_FALSE);
}

// ---- settings persisted by the operations that own them --------------------------------

class ConfigPersistedByOperations : public qt::ScannedTest {
protected:
	// The adapter lines of the file that a write-back now gives for adapter ad.
	strings adapter_lines(int ad)
	{
		const std::string prefix = std::string("adapter-") + qorl_adapter_get_by_idx(ad)->serial_num + "-";
		strings out;
		for (const std::string &l : ct::setting_lines(written_config()))
			if (l.rfind(prefix, 0) == 0)
				out.push_back(l.substr(prefix.size()));
		return out;
	}
};

TEST_F(ConfigPersistedByOperations, TrunkOnlyAfterEveryPortSwitched)
{
	// Refused before anything is switched.
	EXPECT_EQ(qorl_trunk_disable(1), QOR_STATUS_TRUNK_DISABLED);
	EXPECT_EQ(adapter_lines(1), strings{});
	// The second port refuses: the first is switched back and nothing is kept.
	qorsim_fault_request(QOR_IOCTL_TRUNK_ENABLE, fc1->instance, 0, QOR_STATUS_DEVBUSY, 1);
	EXPECT_EQ(qorl_trunk_enable(1), QOR_STATUS_DEVBUSY);
	EXPECT_EQ(adapter_lines(1), strings{});

	ASSERT_EQ(qorl_trunk_enable(1), QOR_STATUS_OK);
	EXPECT_EQ(adapter_lines(1), strings{"trunk = \"TRUE\";"});
	EXPECT_EQ(qorl_trunk_enable(1), QOR_STATUS_TRUNK_ENABLED);
	// Disabling goes from the last port to the first; a refusal at the first keeps it on.
	qorsim_fault_request(QOR_IOCTL_TRUNK_DISABLE, fc0->instance, 0, QOR_STATUS_DEVBUSY, 1);
	EXPECT_EQ(qorl_trunk_disable(1), QOR_STATUS_DEVBUSY);
	EXPECT_EQ(adapter_lines(1), strings{"trunk = \"TRUE\";"});

	ASSERT_EQ(qorl_trunk_disable(1), QOR_STATUS_OK);
	EXPECT_EQ(adapter_lines(1), strings{}) << "a trunk turned off is not written";
	EXPECT_EQ(adapter_lines(2), strings{});
}

TEST_F(ConfigPersistedByOperations, AdapterNameOnlyWhenBothDriversAccepted)
{
	qorsim_fault_request(0xC048440Au, -1, 0, QOR_STATUS_SAME_NAME, 1);
	qorl_adapter_set_name(2, (char *)"cna-2");
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_SAME_NAME);
	EXPECT_EQ(adapter_lines(2), strings{});
	qorl_adapter_set_name(2, (char *)"cna-3");
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_OK);
	EXPECT_EQ(adapter_lines(2), strings{"name = \"cna-3\";"});
	EXPECT_EQ(adapter_lines(1), strings{});
}

// ---- text from callers: checked before it reaches a driver or the file --------------------

enum : unsigned { ON_FC = 1, ON_ETH = 2, ON_ADAPTER = 4, EVERYWHERE = 7 };

struct text_case {
	const char *name;
	std::string text;
	unsigned refused; // where the text is refused
};
void PrintTo(const text_case &c, std::ostream *os) { *os << c.name; }

const text_case text_cases[] = {
	{"newline forging a setting", "x\nqor1-port-enable = \"FALSE\";", EVERYWHERE},
	{"quote", "a\"b", EVERYWHERE},
	{"semicolon", "a;b", EVERYWHERE},
	{"backslash", "a\\b", EVERYWHERE},
	{"tab", "a\tb", EVERYWHERE},
	{"carriage return", "a\r", EVERYWHERE},
	{"delete", "a\x7f", EVERYWHERE},
	{"C1 control", "a\xc2\x85", EVERYWHERE},
	{"lone continuation byte", "\x80x", EVERYWHERE},
	{"overlong slash", "\xc0\xaf", EVERYWHERE},
	{"surrogate", "\xed\xa0\x80", EVERYWHERE},
	{"cut character", "ab\xe2\x82", EVERYWHERE},
	{"above U+10FFFF", "\xf4\x90\x80\x80", EVERYWHERE},
	{"latin-1", "caf\xe9", EVERYWHERE},
	// Words that would make the reader take the line for another kind.
	{"adapter word", "my adapter-1", ON_FC | ON_ETH},
	{"qor word", "qor-x", ON_ETH},
	// Accepted everywhere.
	{"plain", "port 1-a", 0},
	{"equals and hash", "x=y #z", 0},
	{"two-byte UTF-8", "caf\xc3\xa9", 0},
	{"three-byte UTF-8", "\xe6\x97\xa5\xe6\x9c\xac", 0},
	{"four-byte UTF-8", "\xf0\x9f\x98\x80", 0},
	{"vek word", "vek-x", 0},
	{"empty", "", 0},
};

class CallerText : public ConfigPersistedByOperations, public ::testing::WithParamInterface<text_case> {};

TEST_P(CallerText, IsCheckedBeforeAnythingIsSentOrRecorded)
{
	const text_case &c = GetParam();
	char *t = const_cast<char *>(c.text.c_str());
	struct {
		const char *what;
		unsigned where;
		std::function<qor_status_t()> op;
	} ops[] = {
		{"FC port name", ON_FC, [&] { return qorl_ioc_set_name(fc0, t); }},
		{"FCoE port name", ON_FC, [&] { return qorl_ioc_set_name(fcoe, t); }},
		{"Ethernet port name", ON_ETH, [&] { return qorl_ioc_set_name(eth, t); }},
		{"adapter name", ON_ADAPTER,
		 [&] {
			 qorl_adapter_set_name(2, t);
			 return qorl_get_last_error();
		 }},
	};
	for (const auto &op : ops) {
		SCOPED_TRACE(op.what);
		const bool refused = c.refused & op.where;
		const std::string before = written_config();
		qorsim_log_clear();
		EXPECT_EQ(op.op(), refused ? QOR_STATUS_EINVAL : QOR_STATUS_OK);
		if (refused) {
			EXPECT_EQ(qorsim_log_count(), 0u) << "sent to a driver";
			EXPECT_EQ(written_config(), before);
		}
	}
	if (c.refused == 0 && !c.text.empty()) {
		EXPECT_NE(written_config().find("-name = \"" + c.text + "\";"), std::string::npos);
	}
}

// The setters take text from any caller: on text they refuse they change nothing.
TEST_P(CallerText, SettersChangeNothingOnTextTheyRefuse)
{
	const text_case &c = GetParam();
	char *t = const_cast<char *>(c.text.c_str());
	qor_lport_cfg_t vp{};
	vp.pwwn = qt::wwn("20:00:00:11:22:33:00:09");
	vp.nwwn = qt::wwn("20:00:00:11:22:33:00:0a");
	vp.roles = QOR_LPORT_ROLE_FCP_IM;
	ASSERT_LT(c.text.size(), sizeof vp.sym_name.symname);
	std::strcpy(vp.sym_name.symname, t);
	std::string record = "20:00:00:11:22:33:00:0b,20:00:00:11:22:33:00:0c," + c.text + ",IM,1";
	struct {
		const char *what;
		unsigned where;
		std::function<void()> set;
	} setters[] = {
		{"qorl_config_ioc_name FC", ON_FC, [&] { qorl_config_ioc_name(fc0, t); }},
		{"qorl_config_ioc_name Ethernet", ON_ETH, [&] { qorl_config_ioc_name(eth, t); }},
		{"qorl_config_ad_name", ON_ADAPTER, [&] { qorl_config_ad_name(1, t); }},
		{"qorl_config_vport_add", ON_FC, [&] { qorl_config_vport_add(fc0, 1, &vp); }},
		{"qorl_config_set_vportdata", ON_FC, [&] { qorl_config_set_vportdata(0, record.data()); }},
		{"port name", ON_FC, [&] { qorl_config_set_data(QORL_CFG_PORT_NAME, 0, t); }},
		{"Ethernet port name", ON_ETH, [&] { qorl_config_set_data(QORL_CFG_ETH_PORT_NAME, 0, t); }},
		{"adapter name", ON_ADAPTER, [&] { qorl_config_set_data(QORL_CFG_AD_NAME, 0, t); }},
		{"secret text", ON_FC, [&] { qorl_config_set_data(QORL_CFG_AUTH_ENCRYPT, 0, t); }},
	};
	for (const auto &s : setters) {
		SCOPED_TRACE(s.what);
		const std::string before = written_config();
		s.set();
		if (c.refused & s.where) {
			EXPECT_EQ(written_config(), before);
		} else if (!c.text.empty()) {
			EXPECT_NE(written_config().find(c.text), std::string::npos);
		}
	}
}

INSTANTIATE_TEST_SUITE_P(Config, CallerText, ::testing::ValuesIn(text_cases),
			 [](const auto &p) { return qt::test_name(p.param.name); });

} // namespace
