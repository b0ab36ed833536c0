// Ethernet port and FCoE operations.
#include <cerrno>
#include <cstring>
#include <string>

#include "qorl_adapter.h"
#include "qorl_config.h"
#include "qorl_ethport.h"
#include "qorl_ioc.h"
#include "qorl_port.h"
#include "testutil.h"

namespace {

// Faults match the code as sent: the Ethernet driver's type byte.
constexpr uint32_t kEthAttrOnWire = (QOR_IOCTL_ETHPORT_GET_ATTR & ~0xff00u) | 0x4400u;

using Eth = qt::ScannedTest;

TEST_F(Eth, StatisticsAndAttributesGoToTheEthernetDriver)
{
	qor_ethport_stats_t s;
	ASSERT_EQ(qorl_ethport_get_stats(eth, &s), QOR_STATUS_OK);
	EXPECT_GT(s.txf_stats.ucast, 0u);
	qor_ethport_attr_t a;
	ASSERT_EQ(qorl_ethport_get_attr(eth, &a), QOR_STATUS_OK);
	EXPECT_EQ(a.mtu, 1500u);
	EXPECT_EQ(a.port_state, (uint32_t)QOR_PORT_ST_LINKUP);
	auto log = qt::log_entries();
	ASSERT_EQ(log.size(), 2u);
	EXPECT_EQ(log[0].code, 0xC1F04450u);
	EXPECT_EQ(log[1].code, 0xC0184451u);
	EXPECT_EQ(log[0].drv, QORSIM_DRV_ETH);
}

TEST_F(Eth, AttributesCopiedOnRefusalNotOnChannelFailure)
{
	qor_ethport_attr_t a;
	memset(&a, 0x7F, sizeof a);
	qorsim_fault_request(kEthAttrOnWire, -1, 0, QOR_STATUS_FAILED, 1);
	EXPECT_EQ(qorl_ethport_get_attr(eth, &a), QOR_STATUS_FAILED);
	EXPECT_EQ(a.mtu, 1500u);
	memset(&a, 0x7F, sizeof a);
	qorsim_fault_request(kEthAttrOnWire, -1, EIO, 0, 1);
	EXPECT_EQ(qorl_ethport_get_attr(eth, &a), QOR_STATUS_EIO);
	EXPECT_EQ(a.mtu, 0x7F7F7F7Fu);
}

TEST_F(Eth, SideTestsSendNothing)
{
	qor_ethport_stats_t s;
	qor_ethport_attr_t a;
	qorl_stats_long_t p[QORL_FCOE_STATS_COUNT];
	EXPECT_EQ(qorl_ethport_get_stats(fcoe, &s), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_ethport_get_attr(fc0, &a), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_fcoe_get_stats(eth, p), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_fcoe_port_enable(eth), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_fcoe_reset_stats(eth), QOR_STATUS_FAILED);
	EXPECT_EQ(qorsim_log_count(), 0u);
	EXPECT_EQ(qorl_fcoe_get_stats(fc0, p), QOR_STATUS_CMD_NOTSUPP) << "the driver knows FC from FCoE";
}

TEST_F(Eth, ResetIsThePortReset)
{
	ASSERT_EQ(qorl_ethport_reset_stats(eth), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_reset_stats(eth), QOR_STATUS_OK);
	auto log = qt::log_entries();
	ASSERT_EQ(log.size(), 2u);
	EXPECT_EQ(log[0].code, log[1].code);
	EXPECT_EQ(log[0].code, 0xC0084432u);
}

TEST_F(Eth, FcoeEnableDisablePersistOnlyWhenAccepted)
{
	qorsim_fault_request(QOR_IOCTL_FCOE_DISABLE, -1, 0, QOR_STATUS_DEVBUSY, 1);
	EXPECT_EQ(qorl_fcoe_port_disable(fcoe), QOR_STATUS_DEVBUSY);
	EXPECT_EQ(written_config().find("port-enable"), std::string::npos);
	ASSERT_EQ(qorl_fcoe_port_disable(fcoe), QOR_STATUS_OK);
	EXPECT_NE(written_config().find("port-enable"), std::string::npos);
	qor_port_attr_t a;
	ASSERT_EQ(qorl_port_get_attr(fcoe, &a), QOR_STATUS_OK);
	EXPECT_EQ(a.port_state, (uint32_t)QOR_PORT_ST_DISABLED);
	ASSERT_EQ(qorl_fcoe_port_enable(fcoe), QOR_STATUS_OK);
	EXPECT_EQ(written_config().find("port-enable"), std::string::npos);
	auto log = qt::log_entries(QOR_IOCTL_FCOE_ENABLE);
	ASSERT_EQ(log.size(), 1u);
	EXPECT_EQ(log[0].code, 0xC008C103u);
}

TEST_F(Eth, FcoeStatisticsPairsOnlyOnSuccess)
{
	qorl_stats_long_t p[QORL_FCOE_STATS_COUNT];
	memset(p, 0x21, sizeof p);
	qorsim_fault_request(QOR_IOCTL_FCOE_GET_STATS, -1, 0, QOR_STATUS_FAILED, 1);
	EXPECT_EQ(qorl_fcoe_get_stats(fcoe, p), QOR_STATUS_FAILED);
	EXPECT_EQ(p[0].value, 0x2121212121212121ull);
	ASSERT_EQ(qorl_fcoe_get_stats(fcoe, p), QOR_STATUS_OK);
	EXPECT_STREQ(p[44].name, "Rx FCoE broadcast vlan frames");
	EXPECT_GT(p[24].value, 0u) << "Tx FCoE unicast frames move";
	ASSERT_EQ(qorl_fcoe_reset_stats(fcoe), QOR_STATUS_OK);
	ASSERT_EQ(qorl_fcoe_get_stats(fcoe, p), QOR_STATUS_OK);
	EXPECT_EQ(p[26].value, 20u * 2048u) << "one request's traffic since the reset";
}

} // namespace
