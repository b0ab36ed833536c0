// Controller lookups, operations and settings against the emulated drivers.
#include <cerrno>
#include <cstring>

#include "qorl.h"
#include "qorl_adapter.h"
#include "qorl_config.h"
#include "qorl_ioc.h"
#include "testutil.h"

namespace {

class Ioc : public qt::SimTest {
protected:
	void SetUp() override
	{
		qt::SimTest::SetUp();
		ASSERT_EQ(qorl_ioc_scan(), 6);
		fc = qorl_ioc_open_idx(0);
		fcoe = qorl_ioc_open_idx(2);
		eth = qorl_ioc_open_idx(4);
		ASSERT_TRUE(fc && fcoe && eth);
		ASSERT_EQ(fcoe->ioc_type, QOR_IOC_TYPE_FCoE);
		ASSERT_EQ(eth->ioc_type, QOR_IOC_TYPE_LL);
		qorsim_log_clear();
	}
	qorl_t *fc = nullptr, *fcoe = nullptr, *eth = nullptr;
};

TEST_F(Ioc, PositionLookupsMissOutsideTheList)
{
	EXPECT_EQ(qorl_ioc_open_idx(-1), nullptr);
	EXPECT_EQ(qorl_ioc_open_idx(6), nullptr);
	EXPECT_EQ(qorl_ioc_open_idx(5), qorl_ioc_open_idx(5));
	char buf[256] = "untouched";
	qorl_ioc_get_path_by_idx(6, buf);
	EXPECT_STREQ(buf, "untouched");
	qorl_ioc_get_path_by_idx(4, buf);
	EXPECT_STREQ(buf, "/dev/vek");
}

TEST_F(Ioc, SideRulesOfTheLookups)
{
	EXPECT_EQ(qorl_ioc_open_pwwn(0), nullptr) << "an Ethernet record's zero WWN is not a match";
	EXPECT_EQ(qorl_ioc_open_pwwn(fcoe->pwwn), fcoe);
	EXPECT_EQ(qorl_ioc_get_idx_by_pwwn(fc->pwwn), 0);
	EXPECT_EQ(qorl_ioc_get_idx_by_pwwn(0x1122334455667788ull), -1);
	EXPECT_EQ(qorl_ioc_get_inst_num_by_pwwn(fcoe->pwwn), fcoe->instance);
	EXPECT_EQ(qorl_ioc_get_idx_by_mac(fcoe->mac), 2) << "FCoE functions are found by MAC";
	EXPECT_EQ(qorl_ioc_get_inst_num_by_mac(fcoe->mac), -1) << "but only Ethernet ones by instance";
	EXPECT_EQ(qorl_ioc_get_inst_num_by_mac(eth->mac), eth->instance);
	EXPECT_EQ(qorl_ioc_get_idx_by_mac(eth->mac), 4);
	EXPECT_EQ(qorl_ioc_get_fc_idx_by_hwpath(fcoe->ioc_hwpath), 2);
	EXPECT_EQ(qorl_ioc_get_eth_idx_by_hwpath(fcoe->ioc_hwpath), -1);
	EXPECT_EQ(qorl_ioc_get_eth_idx_by_hwpath(eth->ioc_hwpath), 4);
	EXPECT_EQ(qorl_ioc_get_fc_idx_by_hwpath(nullptr), -1);
	EXPECT_EQ(qorl_ioc_get_eth_idx_by_hwpath(nullptr), -1);
	EXPECT_EQ(qorl_ioc_open_hwpath(eth->ioc_hwpath), eth);
	EXPECT_EQ(qorl_ioc_get_by_eth_name(eth->eth_name), eth);
	EXPECT_EQ(qorl_ioc_get_by_inst(1), qorl_ioc_open_idx(1));
	EXPECT_EQ(qorl_ioc_get_by_inst(99), nullptr);
	EXPECT_EQ(qorsim_log_count(), 0u) << "lookups send nothing";
}

TEST_F(Ioc, PortNameLookupsAndAccessor)
{
	char fcoe_name[] = "fcoe-a";
	char eth_name[] = "eth-a";
	ASSERT_EQ(qorl_ioc_set_name(fcoe, fcoe_name), QOR_STATUS_OK);
	ASSERT_EQ(qorl_ioc_set_name(eth, eth_name), QOR_STATUS_OK);
	EXPECT_EQ(qorl_ioc_get_fc_idx_by_name(fcoe_name), 2);
	EXPECT_EQ(qorl_ioc_get_eth_idx_by_name(fcoe_name), -1);
	EXPECT_EQ(qorl_ioc_get_eth_idx_by_name(eth_name), 4);
	EXPECT_STREQ(qorl_ioc_get_name(fcoe), "fcoe-a") << "the port name, not the adapter's";
	// The set request carries the name at offset 8.
	auto log = qt::log_entries_any(QOR_IOCTL_IOC_SET_NAME);
	ASSERT_EQ(log.size(), 2u);
	EXPECT_EQ(log[1].code, 0xC048440Bu);
	EXPECT_STREQ((const char *)log[1].in + 8, "eth-a");
}

TEST_F(Ioc, OpenNameMatchesAdapterName)
{
	char name[64];
	strcpy(name, fcoe->name);
	if (name[0]) {
		qorl_t *q = qorl_ioc_open_name(name);
		ASSERT_NE(q, nullptr);
		EXPECT_STREQ(q->name, name);
	}
	char none[] = "no-such-adapter";
	EXPECT_EQ(qorl_ioc_open_name(none), nullptr);
}

TEST_F(Ioc, RefusedNameChangesNothing)
{
	char before[64];
	strcpy(before, fc->port_name);
	qorsim_fault_request(QOR_IOCTL_IOC_SET_NAME, -1, 0, QOR_STATUS_SAME_NAME, 1);
	char name[] = "new";
	EXPECT_EQ(qorl_ioc_set_name(fc, name), QOR_STATUS_SAME_NAME);
	EXPECT_STREQ(fc->port_name, before);
}

TEST_F(Ioc, OverlongNameIsRefusedBeforeSending)
{
	std::string name(64, 'x');
	EXPECT_EQ(qorl_ioc_set_name(fc, name.data()), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorsim_log_count(), 0u);
	std::string fits(63, 'y');
	EXPECT_EQ(qorl_ioc_set_name(fc, fits.data()), QOR_STATUS_OK);
	EXPECT_STREQ(fc->port_name, fits.c_str());
}

TEST_F(Ioc, AttributesCopiedEvenWhenDriverRefuses)
{
	qorsim_fault_request(QOR_IOCTL_IOC_GET_ATTR, -1, 0, QOR_STATUS_IOC_NON_OP, 1);
	qor_ioc_attr_t attr;
	memset(&attr, 0xAA, sizeof attr);
	EXPECT_EQ(qorl_ioc_get_attr(qorl_ioc_open_idx(1), &attr), QOR_STATUS_IOC_NON_OP);
	EXPECT_EQ(attr.port_id, 1);
	EXPECT_EQ(attr.ioc_type, (uint32_t)QOR_IOC_TYPE_FC);
}

TEST_F(Ioc, FailedRequestLeavesCallerRecordAlone)
{
	struct {
		const char *what;
		uint32_t code;
	} cases[] = {{"attributes", QOR_IOCTL_IOC_GET_ATTR}, {"statistics", QOR_IOCTL_IOC_GET_STATS},
		     {"fc attributes", QOR_IOCTL_IOCFC_GET_ATTR}};
	for (auto &c : cases) {
		qorsim_fault_clear();
		qorsim_fault_request(c.code, -1, EIO, 0, 1);
		union {
			qor_ioc_attr_t a;
			qor_ioc_stats_t s;
			qor_iocfc_attr_t f;
		} u;
		memset(&u, 0xAA, sizeof u);
		qor_status_t st = c.code == QOR_IOCTL_IOC_GET_ATTR    ? qorl_ioc_get_attr(fc, &u.a)
				  : c.code == QOR_IOCTL_IOC_GET_STATS ? qorl_ioc_get_stats(fc, &u.s)
								      : qorl_iocfc_get_attr(fc, &u.f);
		EXPECT_EQ(st, QOR_STATUS_EIO) << c.what;
		unsigned char *p = (unsigned char *)&u;
		for (size_t i = 0; i < sizeof u; i++)
			ASSERT_EQ(p[i], 0xAA) << c.what << " byte " << i;
	}
}

TEST_F(Ioc, RequestBytesCarryTheInstance)
{
	qor_ioc_stats_t s;
	qorl_t *q = qorl_ioc_open_idx(3);
	EXPECT_EQ(qorl_ioc_get_stats(q, &s), QOR_STATUS_OK);
	EXPECT_EQ(qorl_ioc_reset_stats(q), QOR_STATUS_OK);
	EXPECT_EQ(qorl_ioc_reset_fwstats(q), QOR_STATUS_OK);
	auto log = qt::log_entries();
	ASSERT_EQ(log.size(), 3u);
	uint32_t want[] = {0xC04C4308u, 0xC0084309u, 0xC008430Du};
	for (int i = 0; i < 3; i++) {
		EXPECT_EQ(log[i].code, want[i]);
		qor_ioctl_gen_t g;
		memcpy(&g, log[i].in, sizeof g);
		EXPECT_EQ(g.qord_num, 3);
		EXPECT_EQ(g.status, 0u);
	}
}

TEST_F(Ioc, FirmwareStatisticsWrittenIntoCallerRecord)
{
	qor_fw_stats_t fw;
	memset(&fw, 0xAA, sizeof fw);
	EXPECT_EQ(qorl_ioc_get_fwstats(fc, &fw), QOR_STATUS_OK);
	auto log = qt::log_entries(QOR_IOCTL_IOC_GET_FWSTATS);
	ASSERT_EQ(log.size(), 1u);
	qor_ioctl_ioc_fwstats_t r;
	memcpy(&r, log[0].in, sizeof r);
	EXPECT_EQ(r.buf_size, 644u);
	EXPECT_EQ(r.buf_ptr, (uint64_t)(uintptr_t)&fw);
	EXPECT_NE(fw.ioc_stats.enable_reqs, 0xAAAAAAAAu) << "the driver filled the record";
}

TEST_F(Ioc, FcAttributesAndCoalescingAreFcOnly)
{
	qor_iocfc_attr_t a;
	EXPECT_EQ(qorl_iocfc_get_attr(eth, &a), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_iocfc_intr_set(eth, QOR_TRUE, 100, 50), QOR_STATUS_FAILED);
	EXPECT_EQ(qorsim_log_count(), 0u) << "nothing is sent for the wrong side";

	EXPECT_EQ(qorl_iocfc_intr_set(fcoe, QOR_FALSE, 300, 60), QOR_STATUS_OK);
	auto log = qt::log_entries(QOR_IOCTL_IOCFC_SET_INTR);
	ASSERT_EQ(log.size(), 1u);
	const uint8_t want[] = {0, 0, 0, 0, 2, 0, 0, 0, /* coalesce */ 0, 0, 0, 0, /* latency */ 60, 0, /* delay */ 44, 1};
	EXPECT_EQ(memcmp(log[0].in, want, sizeof want), 0);
	EXPECT_EQ(qorl_iocfc_get_attr(fcoe, &a), QOR_STATUS_OK);
	EXPECT_EQ(a.intr_attr.coalesce, 0);
	EXPECT_EQ(a.intr_attr.delay, 300);
	EXPECT_EQ(a.intr_attr.latency, 60);
}

TEST_F(Ioc, IdentityCopiesWholeReply)
{
	qor_ioctl_ioc_info_t info{};
	EXPECT_EQ(qorl_ioc_get_info(eth, &info), QOR_STATUS_OK);
	EXPECT_EQ(info.ioc_type, (uint32_t)QOR_IOC_TYPE_LL);
	EXPECT_STREQ(info.eth_name, eth->eth_name);
	// identity then attributes
	auto log = qt::log_entries();
	ASSERT_EQ(log.size(), 2u);
	EXPECT_EQ(log[0].code, 0xC2084407u);
	EXPECT_EQ(log[1].code, 0xC6484406u);
}

TEST_F(Ioc, CurrentMacFallsBackToStoredOne)
{
	mac_t stored = eth->current_mac;
	qorsim_fault_request(QOR_IOCTL_IOC_GET_INFO, -1, EIO, 0, 1);
	mac_t m = qorl_ioc_get_current_mac(eth);
	EXPECT_EQ(memcmp(&m, &stored, sizeof m), 0);
}

// Enable and disable: the waits run on the emulator's clock.
TEST_F(Ioc, EnableOfRunningControllerReturnsAtOnce)
{
	EXPECT_EQ(qorl_ioc_enable(fc), QOR_STATUS_IOC_ENABLED);
	EXPECT_EQ(qorsim_sleep_count(), 0u);
}

TEST_F(Ioc, DisableThenEnableWaitUntilStateShows)
{
	qorsim_set_transition_ms(QORSIM_DRV_FC, fc->instance, 2500);
	EXPECT_EQ(qorl_ioc_disable(fc), QOR_STATUS_OK);
	EXPECT_EQ(qorsim_sleep_count(), 3u) << "the state shows on the third poll";
	qor_ioc_attr_t attr;
	ASSERT_EQ(qorl_ioc_get_attr(fc, &attr), QOR_STATUS_OK);
	EXPECT_EQ(attr.state, (uint32_t)QOR_IOC_DISABLED);
	EXPECT_EQ(qorl_ioc_disable(fc), QOR_STATUS_IOC_DISABLED);

	qorsim_set_transition_ms(QORSIM_DRV_FC, fc->instance, 0);
	EXPECT_EQ(qorl_ioc_enable(fc), QOR_STATUS_OK);
	EXPECT_EQ(qorsim_sleep_count(), 4u) << "one poll when the state is there at once";
}

TEST_F(Ioc, EnableTimesOutAfterTwentyPolls)
{
	ASSERT_EQ(qorl_ioc_disable(eth), QOR_STATUS_OK);
	unsigned before = qorsim_sleep_count();
	qorsim_set_transition_ms(QORSIM_DRV_ETH, eth->instance, -1);
	EXPECT_EQ(qorl_ioc_enable(eth), QOR_STATUS_FAILED);
	EXPECT_EQ(qorsim_sleep_count() - before, 20u);
	EXPECT_EQ(qt::log_entries(0xC6484406u).size() >= 20u, true);
}

TEST_F(Ioc, FailedAttributeReadsCountAsPolls)
{
	qorsim_fault_request(QOR_IOCTL_IOC_GET_ATTR, -1, EIO, 0, QORSIM_ALWAYS);
	EXPECT_EQ(qorl_ioc_disable(fc), QOR_STATUS_FAILED);
	EXPECT_EQ(qorsim_sleep_count(), 20u);
}

TEST_F(Ioc, RefusedEnableDoesNotWait)
{
	ASSERT_EQ(qorl_ioc_disable(fc), QOR_STATUS_OK);
	unsigned before = qorsim_sleep_count();
	qorsim_fault_request(QOR_IOCTL_IOC_ENABLE, -1, 0, QOR_STATUS_DEVBUSY, 1);
	EXPECT_EQ(qorl_ioc_enable(fc), QOR_STATUS_DEVBUSY);
	EXPECT_EQ(qorsim_sleep_count(), before);
}

// ---- near twins: keys that differ only in their last byte or in letter case ----------

class Twins : public qt::SimTest {
protected:
	void SetUp() override
	{
		qt::SimTest::SetUp();
		topology(R"({"adapters":[
		  {"name":"Lab","functions":[
		    {"type":"fc","port":0,"pwwn":"20:00:00:11:22:33:44:00"},
		    {"type":"fc","port":1,"pwwn":"20:00:00:11:22:33:44:01"},
		    {"type":"eth","port":0,"mac":"02:00:00:00:00:00","eth_name":"Eth-A"},
		    {"type":"eth","port":1,"mac":"02:00:00:00:00:01","eth_name":"eth-a"}]},
		  {"name":"lab","functions":[{"type":"fc","pwwn":"20:00:00:11:22:33:44:02"}]}]})");
		ASSERT_EQ(qorl_adapter_scan(), 2);
		for (int i = 0; i < 5; i++)
			ASSERT_NE(q[i] = qorl_ioc_open_idx(i), nullptr);
		ASSERT_EQ(q[0]->pwwn, w[0]);
		ASSERT_EQ(q[1]->pwwn, w[1]);
		ASSERT_EQ(q[2]->pwwn, w[2]);
		ASSERT_TRUE(memcmp(&q[3]->mac, &m[0], 6) == 0 && memcmp(&q[4]->mac, &m[1], 6) == 0);
	}
	const wwn_t w[3] = {qt::wwn("20:00:00:11:22:33:44:00"), qt::wwn("20:00:00:11:22:33:44:01"),
			    qt::wwn("20:00:00:11:22:33:44:02")};
	const mac_t m[2] = {{{2, 0, 0, 0, 0, 0}}, {{2, 0, 0, 0, 0, 1}}};
	qorl_t *q[5] = {};
};

TEST_F(Twins, WwnsAndMacsDifferingInTheLastByteAreToldApart)
{
	for (int i = 0; i < 3; i++) {
		SCOPED_TRACE(i);
		EXPECT_EQ(qorl_ioc_open_pwwn(w[i]), q[i]);
		EXPECT_EQ(qorl_ioc_get_idx_by_pwwn(w[i]), i);
		EXPECT_EQ(qorl_ioc_get_inst_num_by_pwwn(w[i]), q[i]->instance);
		EXPECT_EQ(qorl_adapter_get_by_pwwn(w[i]), i < 2 ? 1u : 2u);
		EXPECT_EQ(qorl_adapter_open_by_wwn(w[i]), i < 2 ? 1 : 2);
		EXPECT_EQ(qorl_config_ioc_lookup(w[i]), i) << "each port its own slot";
	}
	EXPECT_EQ(qorl_adapter_get_ioc_idx_by_pwwn(1, w[0]), 0);
	EXPECT_EQ(qorl_adapter_get_ioc_idx_by_pwwn(1, w[1]), 1);
	EXPECT_EQ(qorl_adapter_get_ioc_idx_by_pwwn(1, w[2]), -1);
	EXPECT_EQ(qorl_adapter_get_port_by_wwn(1, w[1]), q[1]);
	EXPECT_EQ(qorl_adapter_get_port_by_wwn(1, w[2]), nullptr);
	EXPECT_EQ(qorl_adapter_get_pcifn(w[1]), 1);
	for (int i = 0; i < 2; i++) {
		SCOPED_TRACE(i);
		EXPECT_EQ(qorl_ioc_get_idx_by_mac(m[i]), 3 + i);
		EXPECT_EQ(qorl_ioc_get_inst_num_by_mac(m[i]), q[3 + i]->instance);
		EXPECT_EQ(qorl_adapter_get_ioc_idx_by_mac(1, m[i]), i);
		EXPECT_EQ(qorl_config_ethioc_lookup(m[i]), i);
	}
	// A setting of one twin is recorded for that twin only.
	ASSERT_EQ(qorl_ioc_set_name(q[1], (char *)"second"), QOR_STATUS_OK);
	EXPECT_EQ(qorl_config_get_port_name_exists(1, (char *)"second", 1), QOR_TRUE);
	EXPECT_EQ(qorl_config_get_port_name_exists(1, (char *)"second", 0), QOR_FALSE);
}

TEST_F(Twins, NamesDifferingOnlyInLetterCaseAreToldApart)
{
	ASSERT_EQ(qorl_ioc_set_name(q[0], (char *)"Port-A"), QOR_STATUS_OK);
	ASSERT_EQ(qorl_ioc_set_name(q[1], (char *)"port-a"), QOR_STATUS_OK);
	ASSERT_EQ(qorl_ioc_set_name(q[3], (char *)"Eth-Port"), QOR_STATUS_OK);
	ASSERT_EQ(qorl_ioc_set_name(q[4], (char *)"eth-port"), QOR_STATUS_OK);
	EXPECT_EQ(qorl_ioc_get_fc_idx_by_name((char *)"Port-A"), 0);
	EXPECT_EQ(qorl_ioc_get_fc_idx_by_name((char *)"port-a"), 1);
	EXPECT_EQ(qorl_ioc_get_fc_idx_by_name((char *)"PORT-A"), -1);
	EXPECT_EQ(qorl_ioc_get_eth_idx_by_name((char *)"Eth-Port"), 3);
	EXPECT_EQ(qorl_ioc_get_eth_idx_by_name((char *)"eth-port"), 4);
	EXPECT_EQ(qorl_ioc_get_by_eth_name((char *)"Eth-A"), q[3]);
	EXPECT_EQ(qorl_ioc_get_by_eth_name((char *)"eth-a"), q[4]);
	EXPECT_EQ(qorl_ioc_get_by_eth_name((char *)"ETH-A"), nullptr);
	EXPECT_EQ(qorl_adapter_get_idx_by_name((char *)"Lab"), 1u);
	EXPECT_EQ(qorl_adapter_get_idx_by_name((char *)"lab"), 2u);
	EXPECT_EQ(qorl_adapter_get_idx_by_name((char *)"LAB"), 0u);
	EXPECT_EQ(qorl_adapter_open_by_name((char *)"lab"), 2);
	EXPECT_EQ(qorl_ioc_open_name((char *)"lab"), q[2]);
	EXPECT_EQ(qorl_config_get_port_name_exists(1, (char *)"port-a", 0), QOR_FALSE);
	EXPECT_EQ(qorl_config_get_port_name_exists(1, (char *)"port-a", 1), QOR_TRUE);
	// The adapter names as the configuration holds them.
	qorl_adapter_set_name(1, (char *)"Lab2");
	qorl_adapter_set_name(2, (char *)"lab2");
	ASSERT_EQ(qorl_get_last_error(), QOR_STATUS_OK);
	EXPECT_EQ(qorl_config_get_ad_name_exists(1, (char *)"lab2", nullptr), QOR_FALSE);
	EXPECT_EQ(qorl_config_get_ad_name_exists(2, (char *)"lab2", nullptr), QOR_TRUE);
}

} // namespace
