// Physical port and trunk operations: bytes on the wire, what is copied
// back, and persistence only after the driver accepted.
#include <cerrno>
#include <cstring>
#include <string>

#include "qorl_adapter.h"
#include "qorl_config.h"
#include "qorl_ioc.h"
#include "qorl_port.h"
#include "testutil.h"

namespace {

using Port = qt::ScannedTest;

template <class T> T body(const qorsim_log_entry_t &e, size_t off, bool out = false)
{
	T v;
	memcpy(&v, (out ? e.out : e.in) + off, sizeof v);
	return v;
}

struct Setting {
	const char *name;
	uint32_t code;
	qor_status_t (*apply)(qorl_t *);
	size_t off;      // where the value travels
	uint32_t value;  // as it travels
	const char *line; // what the configuration then carries
};

const Setting kSettings[] = {
	{"speed", QOR_IOCTL_PORT_CFG_SPEED, [](qorl_t *q) { return qorl_port_cfg_speed(q, QOR_PORT_SPEED_4GBPS); }, 8, 4,
	 "qor0-port-speed = 4;"},
	{"topology", QOR_IOCTL_PORT_CFG_TOPO, [](qorl_t *q) { return qorl_port_cfg_topology(q, QOR_PORT_TOPOLOGY_LOOP); },
	 8, 2, "qor0-port-topology"},
	{"alpa", QOR_IOCTL_PORT_CFG_ALPA, [](qorl_t *q) { return qorl_port_cfg_hardalpa(q, 0xE8); }, 8, 0xE8,
	 "qor0-port-hardalpa"},
	{"frame size", QOR_IOCTL_PORT_CFG_MAXFRSZ, [](qorl_t *q) { return qorl_port_cfg_maxfrsize(q, 1024); }, 6, 1024,
	 "qor0-port-maxfrsize = 1024;"},
	{"disable", QOR_IOCTL_PORT_DISABLE, [](qorl_t *q) { return qorl_port_disable(q); }, 0, 0, "qor0-port-enable"},
};

TEST_F(Port, SettingsTravelAndPersistOnlyWhenAccepted)
{
	for (const Setting &s : kSettings) {
		SCOPED_TRACE(s.name);
		qorsim_log_clear();
		// Refused first: the setting must not reach the configuration.
		qorsim_fault_request(s.code, -1, 0, QOR_STATUS_CNFG_FAILED, 1);
		EXPECT_EQ(s.apply(fc0), QOR_STATUS_CNFG_FAILED);
		EXPECT_EQ(written_config().find(s.line), std::string::npos);
		// A channel failure neither.
		qorsim_fault_request(s.code, -1, EIO, 0, 1);
		EXPECT_EQ(s.apply(fc0), QOR_STATUS_EIO);
		EXPECT_EQ(written_config().find(s.line), std::string::npos);

		EXPECT_EQ(s.apply(fc0), QOR_STATUS_OK);
		auto log = qt::log_entries(s.code);
		ASSERT_EQ(log.size(), 3u);
		EXPECT_EQ(log[2].code, s.code);
		EXPECT_EQ(body<uint16_t>(log[2], 4), fc0->instance);
		if (s.code == QOR_IOCTL_PORT_CFG_MAXFRSZ) {
			EXPECT_EQ(body<uint16_t>(log[2], s.off), s.value);
		} else if (s.off == 8 && s.code == QOR_IOCTL_PORT_CFG_ALPA) {
			EXPECT_EQ(body<uint8_t>(log[2], s.off), s.value);
		} else if (s.off) {
			EXPECT_EQ(body<uint32_t>(log[2], s.off), s.value);
		}
		EXPECT_NE(written_config().find(s.line), std::string::npos) << written_config();
	}
}

// The settings recorded in a port's FC slot: an Ethernet function has no
// such slot, and a line recorded for it would later belong to whichever FC
// port takes the slot number.
TEST_F(Port, FcSettingsOfAnEthernetPortAreRefusedAndNotRecorded)
{
	const std::string before = written_config();
	for (const Setting &s : kSettings) {
		SCOPED_TRACE(s.name);
		qorsim_log_clear();
		EXPECT_EQ(s.apply(eth), QOR_STATUS_FAILED);
		EXPECT_EQ(qorsim_log_count(), 0u);
	}
	EXPECT_EQ(qorl_port_enable(eth), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_port_clr_hardalpa(eth), QOR_STATUS_FAILED);
	// The setters themselves find no FC slot for it either.
	qorl_config_enable(eth, QOR_FALSE);
	qorl_config_speed(eth, QOR_PORT_SPEED_8GBPS);
	qorl_config_alpa(eth, 0xE8, QOR_TRUE);
	qorl_config_maxfrsz(eth, 1024);
	qorl_config_topology(eth, QOR_PORT_TOPOLOGY_LOOP);
	EXPECT_EQ(written_config(), before);
}

TEST_F(Port, DriverValidatesValuesAndTheyStick)
{
	EXPECT_EQ(qorl_port_cfg_speed(fc0, QOR_PORT_SPEED_16GBPS), QOR_STATUS_UNSUPP_SPEED);
	EXPECT_EQ(qorl_port_cfg_speed(fc0, (qor_port_speed_t)3), QOR_STATUS_UNSUPP_SPEED);
	EXPECT_EQ(qorl_port_cfg_hardalpa(fc0, 0x03), QOR_STATUS_EINVAL) << "not a valid loop address";
	EXPECT_EQ(qorl_port_cfg_maxfrsize(fc0, 1000), QOR_STATUS_INVLD_DFSZ);
	EXPECT_EQ(qorl_port_cfg_topology(fcoe, QOR_PORT_TOPOLOGY_P2P), QOR_STATUS_NO_TOPOLOGY_FOR_CNA);
	EXPECT_EQ(written_config().find("qor0-port-speed"), std::string::npos);

	ASSERT_EQ(qorl_port_cfg_speed(fc0, QOR_PORT_SPEED_4GBPS), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_cfg_hardalpa(fc0, 0x01), QOR_STATUS_OK);
	qor_port_attr_t a;
	ASSERT_EQ(qorl_port_get_attr(fc0, &a), QOR_STATUS_OK);
	EXPECT_EQ(a.speed, (uint32_t)QOR_PORT_SPEED_4GBPS);
	EXPECT_EQ(a.pport_cfg.speed, QOR_PORT_SPEED_4GBPS);
	EXPECT_EQ(a.pport_cfg.hardalpa, 0x01);
	EXPECT_EQ(a.pport_cfg.cfg_hardalpa, 1);

	ASSERT_EQ(qorl_port_clr_hardalpa(fc0), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_cfg_speed(fc0, QOR_PORT_SPEED_AUTO), QOR_STATUS_OK);
	EXPECT_EQ(written_config().find("qor0-port-speed"), std::string::npos) << "auto is the default";
	ASSERT_EQ(qorl_port_disable(fc0), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_get_attr(fc0, &a), QOR_STATUS_OK);
	EXPECT_EQ(a.port_state, (uint32_t)QOR_PORT_ST_DISABLED);
	EXPECT_EQ(a.pid, 0u);
	EXPECT_EQ(a.pport_cfg.cfg_hardalpa, 0);
	ASSERT_EQ(qorl_port_enable(fc0), QOR_STATUS_OK);
	EXPECT_EQ(written_config().find("qor0-port-enable"), std::string::npos) << "enabled is the default";
}

TEST_F(Port, AttributesCopiedOnRefusalNotOnChannelFailure)
{
	qor_port_attr_t a;
	memset(&a, 0xAB, sizeof a);
	qorsim_fault_request(QOR_IOCTL_PORT_GET_ATTR, -1, 0, QOR_STATUS_IOC_NON_OP, 1);
	EXPECT_EQ(qorl_port_get_attr(fc1, &a), QOR_STATUS_IOC_NON_OP);
	EXPECT_EQ(a.pwwn, fc1->pwwn);

	memset(&a, 0xAB, sizeof a);
	qorsim_fault_request(QOR_IOCTL_PORT_GET_ATTR, -1, ENXIO, 0, 1);
	EXPECT_EQ(qorl_port_get_attr(fc1, &a), QOR_STATUS_ENXIO);
	EXPECT_EQ(a.pwwn, 0xABABABABABABABABull);
	// The request goes out with a zeroed attribute area.
	auto log = qt::log_entries(QOR_IOCTL_PORT_GET_ATTR);
	ASSERT_EQ(log.size(), 2u);
	for (size_t i = 8; i < 384; i++)
		ASSERT_EQ(log[0].in[i], 0) << i;
}

TEST_F(Port, StatisticsPairCountsFollowTheKind)
{
	struct Case {
		qorl_t *q;
		int n;
		const char *last;
	} cases[] = {{fc0, QORL_PORT_FC_STATS_COUNT, "Encoding err frame_8b10b"},
		     {fcoe, QORL_PORT_ETH_STATS_COUNT, "Tx iSCSI zero pause"},
		     {eth, QORL_PORT_ETH_STATS_COUNT, "Tx iSCSI zero pause"}};
	for (const Case &c : cases) {
		qorl_stats_long_t s[QORL_PORT_ETH_STATS_COUNT + 1];
		memset(s, 0, sizeof s);
		strcpy(s[c.n].name, "sentinel");
		ASSERT_EQ(qorl_port_get_stats(c.q, s), QOR_STATUS_OK);
		EXPECT_STREQ(s[0].name, "Seconds since stats is reset");
		EXPECT_STREQ(s[c.n - 1].name, c.last);
		EXPECT_STREQ(s[c.n].name, "sentinel") << "nothing past the kind's count";
	}
	auto log = qt::log_entries();
	ASSERT_EQ(log.size(), 3u);
	EXPECT_EQ(log[0].code, QOR_IOCTL_PORT_GET_STATS);
	EXPECT_EQ(body<uint32_t>(log[0], 8), 336u);
	EXPECT_NE(body<uint64_t>(log[0], 16), 0u);
	EXPECT_EQ(log[2].code, 0xC018442Fu) << "Ethernet side goes to the Ethernet driver";

	// Counters move, a reset clears them, a refusal leaves the pairs alone.
	qorl_stats_long_t a[QORL_PORT_ETH_STATS_COUNT], b[QORL_PORT_ETH_STATS_COUNT];
	ASSERT_EQ(qorl_port_get_stats(fc0, a), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_get_stats(fc0, b), QOR_STATUS_OK);
	EXPECT_GT(b[1].value, a[1].value);
	ASSERT_EQ(qorl_port_reset_stats(fc0), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_get_stats(fc0, a), QOR_STATUS_OK);
	EXPECT_LT(a[1].value, b[1].value);
	qorsim_fault_request(QOR_IOCTL_PORT_GET_STATS, -1, 0, QOR_STATUS_FAILED, 1);
	memset(b, 0x5A, sizeof b);
	EXPECT_EQ(qorl_port_get_stats(fc0, b), QOR_STATUS_FAILED);
	EXPECT_EQ(b[0].value, 0x5A5A5A5A5A5A5A5Aull);
}

TEST_F(Port, RnidRoundTripAndCopyRules)
{
	qor_port_rnid_t in{};
	in.wwn = qt::wwn("10:00:00:00:c9:aa:bb:cc");
	in.unittype = 3;
	in.ip_version = 4;
	in.ipaddr[0] = 192;
	ASSERT_EQ(qorl_port_cfg_rnid_info(fc0, in), QOR_STATUS_OK);
	auto log = qt::log_entries(QOR_IOCTL_PORT_CFG_RNID);
	ASSERT_EQ(log.size(), 1u);
	EXPECT_EQ(memcmp(log[0].in + 8, &in, sizeof in), 0);
	qor_port_rnid_t out;
	ASSERT_EQ(qorl_port_get_rnid_info(fc0, &out), QOR_STATUS_OK);
	EXPECT_EQ(memcmp(&out, &in, sizeof in), 0);
	in.ip_version = 5;
	EXPECT_EQ(qorl_port_cfg_rnid_info(fc0, in), QOR_STATUS_EINVAL);
	qorsim_fault_request(QOR_IOCTL_PORT_GET_RNID, -1, 0, QOR_STATUS_FAILED, 1);
	memset(&out, 0, sizeof out);
	EXPECT_EQ(qorl_port_get_rnid_info(fc0, &out), QOR_STATUS_FAILED);
	EXPECT_EQ(out.unittype, 3u) << "copied whatever the driver's status";
}

TEST_F(Port, StateNames)
{
	EXPECT_STREQ(qorl_port_get_state_name(QOR_PORT_ST_LINKUP), "Linkup");
	EXPECT_STREQ(qorl_port_get_state_name((qor_port_states_t)14), "Link toggling (qwait)");
	EXPECT_STREQ(qorl_port_get_state_name(QOR_PORT_ST_MAX_STATE), "Unknown");
	EXPECT_STREQ(qorl_port_get_state_name((qor_port_states_t)-1), "Unknown");
}

TEST_F(Port, TrunkEnableQueryDisable)
{
	qor_trunk_attr_t t;
	EXPECT_EQ(qorl_trunk_enable(2), QOR_STATUS_TRUNK_UNSUPP);
	EXPECT_EQ(qorl_trunk_enable(9), QOR_STATUS_FAILED);
	EXPECT_EQ(qorsim_log_count(), 0u);
	EXPECT_EQ(qorl_trunk_disable(1), QOR_STATUS_TRUNK_DISABLED);
	ASSERT_EQ(qorl_trunk_enable(1), QOR_STATUS_OK);
	EXPECT_EQ(qt::log_entries(QOR_IOCTL_TRUNK_ENABLE).size(), 2u);
	EXPECT_EQ(qorl_trunk_enable(1), QOR_STATUS_TRUNK_ENABLED);
	ASSERT_EQ(qorl_trunk_query(1, &t), QOR_STATUS_OK);
	EXPECT_EQ(t.state, (uint32_t)QOR_TRUNK_ONLINE);
	EXPECT_EQ(t.speed, 16u);
	EXPECT_EQ(t.link_attr[1].trunk_wwn, fc1->pwwn);
	EXPECT_EQ(qorl_trunk_get_ports_state(fc0), QOR_STATUS_NEED_PORTS_DISABLE);
	ASSERT_EQ(qorl_port_disable(fc0), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_disable(fc1), QOR_STATUS_OK);
	EXPECT_EQ(qorl_trunk_get_ports_state(fc0), QOR_STATUS_OK);
	qorsim_log_clear();
	ASSERT_EQ(qorl_trunk_disable(1), QOR_STATUS_OK);
	auto off = qt::log_entries(QOR_IOCTL_TRUNK_DISABLE);
	ASSERT_EQ(off.size(), 2u);
	EXPECT_EQ(off[0].instance, fc1->instance) << "from the last port to the first";
	ASSERT_EQ(qorl_trunk_query(1, &t), QOR_STATUS_OK);
	EXPECT_EQ(t.state, (uint32_t)QOR_TRUNK_DISABLED);
}

TEST_F(Port, TrunkFailureOnSecondPortIsUndone)
{
	qorsim_fault_request(QOR_IOCTL_TRUNK_ENABLE, fc1->instance, 0, QOR_STATUS_DEVBUSY, 1);
	EXPECT_EQ(qorl_trunk_enable(1), QOR_STATUS_DEVBUSY);
	auto off = qt::log_entries(QOR_IOCTL_TRUNK_DISABLE);
	ASSERT_EQ(off.size(), 1u);
	EXPECT_EQ(off[0].instance, fc0->instance);
	qor_port_attr_t a;
	ASSERT_EQ(qorl_port_get_attr(fc0, &a), QOR_STATUS_OK);
	EXPECT_EQ(a.pport_cfg.trunked, 0) << "the adapter is left as it was";
	qor_trunk_attr_t t;
	memset(&t, 0x11, sizeof t);
	qorsim_fault_request(QOR_IOCTL_TRUNK_GET_ATTR, -1, 0, QOR_STATUS_FAILED, 1);
	EXPECT_EQ(qorl_trunk_query(1, &t), QOR_STATUS_FAILED);
	EXPECT_EQ(t.state, 0x11111111u) << "trunk attributes only on success";
}

TEST_F(Port, TrunkDisableFailureTurnsUpperPortsBackOn)
{
	ASSERT_EQ(qorl_trunk_enable(1), QOR_STATUS_OK);
	qorsim_log_clear();
	qorsim_fault_request(QOR_IOCTL_TRUNK_DISABLE, fc0->instance, 0, QOR_STATUS_DEVBUSY, 1);
	EXPECT_EQ(qorl_trunk_disable(1), QOR_STATUS_DEVBUSY);
	auto on = qt::log_entries(QOR_IOCTL_TRUNK_ENABLE);
	ASSERT_EQ(on.size(), 1u);
	EXPECT_EQ(on[0].instance, fc1->instance);
	qor_port_attr_t a;
	ASSERT_EQ(qorl_port_get_attr(fc1, &a), QOR_STATUS_OK);
	EXPECT_NE(a.pport_cfg.trunked, 0);
}

TEST_F(Port, RateLimitedPortBlocksTrunk)
{
	topology(R"({"adapters":[{"trunk_capable":true,"functions":[
	  {"type":"fc","fcport":{"ratelimit":true,"trunked":true}},{"type":"fc"}]}]})");
	ASSERT_EQ(qorl_adapter_scan(), 1);
	EXPECT_EQ(qorl_trunk_enable(1), QOR_STATUS_TRUNK_ERROR_TRL_ENABLED) << "rate limit is checked first";
	EXPECT_EQ(qt::log_entries(QOR_IOCTL_TRUNK_ENABLE).size(), 0u);
}

} // namespace
