// Adapter discovery, lookups, naming and whole-adapter enable/disable.
#include <cerrno>
#include <cstring>

#include "qorl.h"
#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "testutil.h"

namespace {

class Adapter : public qt::SimTest {
protected:
	void SetUp() override
	{
		qt::SimTest::SetUp();
		ASSERT_EQ(qorl_adapter_scan(), 2);
		hba = qorl_adapter_open_idx(1);
		cna = qorl_adapter_open_idx(2);
		ASSERT_TRUE(hba && cna);
		qorsim_log_clear();
	}
	qorl_adapter_t *hba = nullptr, *cna = nullptr;
};

int list_len(qorl_t *l)
{
	int n = 0;
	for (; l; l = l->next)
		n++;
	return n;
}

TEST_F(Adapter, DefaultCardsGroupByHardwarePath)
{
	EXPECT_EQ(qorl_adapter_get_count(), 2u);
	EXPECT_EQ(hba->ioccount, 2);
	EXPECT_EQ(hba->port_count, 2);
	EXPECT_EQ(list_len(hba->fcioc_list), 2);
	EXPECT_EQ(hba->ethioc_list, nullptr);
	EXPECT_EQ(hba->fcioc_list->id, 0);
	EXPECT_EQ(hba->fcioc_list->next->id, 1);
	EXPECT_FALSE(hba->cna_capable);
	EXPECT_EQ(cna->ioccount, 4);
	EXPECT_EQ(cna->port_count, 2);
	EXPECT_EQ(list_len(cna->fcioc_list), 2);
	EXPECT_EQ(list_len(cna->ethioc_list), 2);
	EXPECT_TRUE(cna->cna_capable);
	EXPECT_TRUE(qorl_adapter_is_cna_capable(2));
	EXPECT_FALSE(qorl_adapter_is_cna_capable(0));
	EXPECT_FALSE(qorl_adapter_is_cna_capable(3));
	EXPECT_NE(hba->serial_num[0], 0);
	EXPECT_NE(hba->model_descr[0], 0);
	// The controller records learn their port numbers.
	EXPECT_EQ(qorl_ioc_open_idx(1)->port_num, 1);
	EXPECT_EQ(qorl_ioc_open_idx(5)->port_num, 1);
}

TEST_F(Adapter, NumberLookupsMissOutsideRange)
{
	EXPECT_EQ(qorl_adapter_open_idx(0), nullptr);
	EXPECT_EQ(qorl_adapter_open_idx(3), nullptr);
	EXPECT_EQ(qorl_adapter_get_by_idx(2), cna);
	EXPECT_EQ(qorl_adapter_get_num_ioc(3), -1);
	EXPECT_EQ(qorl_adapter_get_num_port(0), -1);
	EXPECT_EQ(qorl_adapter_get_serial_num_by_idx(9), nullptr);
	EXPECT_EQ(qorl_adapter_get_port(3), nullptr);
}

TEST_F(Adapter, KeyLookups)
{
	EXPECT_EQ(qorl_adapter_open_by_name(cna->serial_num), 2);
	EXPECT_EQ(qorl_adapter_get_idx_by_sn(hba->serial_num), 1u);
	EXPECT_EQ(qorl_adapter_lookup(cna->serial_num), cna);
	char none[] = "nothing";
	EXPECT_EQ(qorl_adapter_open_by_name(none), 0);
	EXPECT_EQ(qorl_adapter_get_idx_by_hwpath(cna->adapter_hwpath), 2u);
	EXPECT_EQ(qorl_adapter_get_idx_by_hwpath(none), 0u);

	char name[] = "lab-east";
	qorl_adapter_set_name(2, name);
	ASSERT_EQ(qorl_get_last_error(), QOR_STATUS_OK);
	EXPECT_EQ(qorl_adapter_open_by_name(name), 2);
	EXPECT_EQ(qorl_adapter_get_idx_by_name(name), 2u);
}

TEST_F(Adapter, WwnAndMacLookupsKeepTheirOwnMissValues)
{
	wwn_t unknown = qt::wwn("10:00:00:00:00:00:00:99");
	EXPECT_EQ(qorl_adapter_open_by_wwn(unknown), 0);
	EXPECT_EQ(qorl_adapter_get_by_pwwn(unknown), 0xFFFFFFFFu);
	EXPECT_EQ(qorl_adapter_get_pcifn(unknown), -1);
	mac_t nomac{{1, 2, 3, 4, 5, 6}};
	EXPECT_EQ(qorl_adapter_get_by_mac(nomac), 0u);

	qorl_t *p1 = qorl_adapter_get_fcioc(cna, 1);
	ASSERT_NE(p1, nullptr);
	EXPECT_EQ(qorl_adapter_get_by_pwwn(p1->nwwn), 2u) << "node WWNs count";
	EXPECT_EQ(qorl_adapter_open_by_wwn(p1->nwwn), 2);
	if (p1->nwwn != p1->pwwn) {
		EXPECT_EQ(qorl_adapter_get_pcifn(p1->nwwn), -1) << "port WWNs only";
	}
	EXPECT_EQ(qorl_adapter_get_pcifn(p1->pwwn), 1);
	EXPECT_EQ(qorl_adapter_get_ioc_idx_by_pwwn(2, p1->pwwn), 1);
	EXPECT_EQ(qorl_adapter_get_ioc_idx_by_pwwn(1, p1->pwwn), -1);
	EXPECT_EQ(qorl_adapter_get_by_mac(p1->mac), 2u) << "FCoE MACs count";
	qorl_t *e1 = qorl_adapter_get_ethioc(cna, 1);
	ASSERT_NE(e1, nullptr);
	EXPECT_EQ(qorl_adapter_get_ioc_idx_by_mac(2, e1->mac), 1);
	EXPECT_EQ(qorl_adapter_get_ioc_idx_by_hwpath(2, e1->ioc_hwpath), 1);
	EXPECT_EQ(qorl_adapter_get_ioc_pwwn(cna, 1), p1->pwwn);
	EXPECT_EQ(qorl_adapter_get_ioc_pwwn(cna, 7), 0u);
	// The controller list's record, not the copy.
	EXPECT_EQ(qorl_adapter_get_port_by_wwn(2, p1->pwwn), qorl_ioc_open_pwwn(p1->pwwn));
}

TEST_F(Adapter, AdapterAndPortOfController)
{
	int ad = -7, port = -7;
	EXPECT_EQ(qorl_adapter_get_adapter_port(qorl_ioc_open_idx(5), &ad, &port), QOR_STATUS_OK);
	EXPECT_EQ(ad, 2);
	EXPECT_EQ(port, 1);
	qorl_t stranger = *qorl_ioc_open_idx(0);
	stranger.pwwn = qt::wwn("10:00:00:00:00:00:00:99");
	memset(&stranger.mac, 0x77, 6);
	ad = port = -7;
	EXPECT_EQ(qorl_adapter_get_adapter_port(&stranger, &ad, &port), QOR_STATUS_FAILED);
	EXPECT_EQ(ad, -7);
	EXPECT_EQ(port, -7);
}

TEST_F(Adapter, FirstControllerPrefersFcPortZero)
{
	EXPECT_EQ(qorl_adapter_get_first_ioc(cna), qorl_adapter_get_fcioc(cna, 0));
	EXPECT_EQ(qorl_adapter_get_first_ioc(nullptr), nullptr);
	EXPECT_EQ(qorl_adapter_get_ioc(cna, 1), qorl_adapter_get_fcioc(cna, 1));
}

TEST_F(Adapter, NamingFcOnlyCardSendsOneRequest)
{
	char name[] = "lab-west";
	qorl_adapter_set_name(1, name);
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_OK);
	auto log = qt::log_entries_any(QOR_IOCTL_ADAPTER_SET_NAME);
	ASSERT_EQ(log.size(), 1u);
	EXPECT_EQ(log[0].code, 0xC048430Au);
	EXPECT_STREQ((const char *)log[0].in + 8, "lab-west");
	EXPECT_STREQ(hba->name, "lab-west");
	EXPECT_STREQ(qorl_adapter_get_name(1), "lab-west") << "the driver now holds it";
}

TEST_F(Adapter, NamingConvergedCardReachesBothDrivers)
{
	char name[] = "cna-1";
	qorl_adapter_set_name(2, name);
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_OK);
	auto log = qt::log_entries_any(QOR_IOCTL_ADAPTER_SET_NAME);
	ASSERT_EQ(log.size(), 2u);
	EXPECT_EQ(log[0].code, 0xC048430Au);
	EXPECT_EQ(log[1].code, 0xC048440Au);
	EXPECT_EQ(log[1].instance, qorl_adapter_get_ethioc(cna, 0)->instance);
}

TEST_F(Adapter, SecondDriverRefusalLeavesNameUnchanged)
{
	char before[64];
	strcpy(before, cna->name);
	qorsim_fault_request(0xC048440Au, -1, 0, QOR_STATUS_SAME_NAME, 1);
	char name[] = "cna-2";
	qorl_adapter_set_name(2, name);
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_SAME_NAME);
	EXPECT_STREQ(cna->name, before);
	// The FC driver took it already.
	qor_ioctl_ioc_info_t info;
	ASSERT_EQ(qorl_ioc_get_info(qorl_adapter_get_fcioc(cna, 0), &info), QOR_STATUS_OK);
	EXPECT_STREQ(info.name, "cna-2");
}

TEST_F(Adapter, NamingMissingAdapterOrOverlongName)
{
	char name[] = "x";
	qorl_adapter_set_name(3, name);
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_NO_ADAPTER);
	std::string longname(64, 'n');
	qorl_adapter_set_name(1, longname.data());
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorsim_log_count(), 0u);
}

TEST_F(Adapter, NameRefreshFallsBackWhenIdentityFails)
{
	char stored[64];
	strcpy(stored, hba->name);
	qorsim_fault_request(QOR_IOCTL_IOC_GET_INFO, -1, EIO, 0, 1);
	EXPECT_STREQ(qorl_adapter_get_name(1), stored);
	EXPECT_EQ(qorl_adapter_get_name(5), nullptr);
}

TEST_F(Adapter, EnableOfRunningAdapter)
{
	EXPECT_EQ(qorl_adapter_enable(1), QOR_STATUS_AD_IS_ENABLE);
	EXPECT_EQ(qorl_adapter_enable(9), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_adapter_disable(9), QOR_STATUS_FAILED);
}

TEST_F(Adapter, DisableAndEnableWholeCard)
{
	EXPECT_EQ(qorl_adapter_disable(2), QOR_STATUS_OK);
	EXPECT_TRUE(qorl_adapter_is_disabled(2));
	EXPECT_FALSE(qorl_adapter_is_disabled(1));
	EXPECT_EQ(qt::log_entries_any(QOR_IOCTL_IOC_DISABLE).size(), 4u);
	EXPECT_EQ(qorl_adapter_enable(2), QOR_STATUS_OK);
	EXPECT_FALSE(qorl_adapter_is_disabled(2));
}

TEST_F(Adapter, EnableWithOneAlreadyRunningSucceeds)
{
	ASSERT_EQ(qorl_ioc_disable(qorl_adapter_get_fcioc(hba, 1)), QOR_STATUS_OK);
	EXPECT_EQ(qorl_adapter_enable(1), QOR_STATUS_OK);
}

TEST_F(Adapter, EnableKeepsGoingAfterFailureAndReportsLastOne)
{
	ASSERT_EQ(qorl_adapter_disable(1), QOR_STATUS_OK);
	qorsim_fault_request(QOR_IOCTL_IOC_ENABLE, 0, 0, QOR_STATUS_DEVBUSY, 1);
	EXPECT_EQ(qorl_adapter_enable(1), QOR_STATUS_DEVBUSY);
	EXPECT_EQ(qt::log_entries_any(QOR_IOCTL_IOC_ENABLE).size(), 2u);
}

TEST_F(Adapter, RescanRebuildsSameNumbers)
{
	char sn1[12];
	qorl_adapter_get_serial_num(hba, sn1);
	ASSERT_EQ(qorl_adapter_scan(), 2);
	EXPECT_STREQ(qorl_adapter_open_idx(1)->serial_num, sn1);
}

TEST_F(Adapter, IdentityFailureStopsDiscoveryWithCount)
{
	qorsim_fault_request(QOR_IOCTL_IOC_GET_INFO, 2, 0, QOR_STATUS_FAILED, QORSIM_ALWAYS);
	// Controller discovery's own identity read of instance 2 fails first.
	qorsim_fault_clear();
	qorsim_fault_request(QOR_IOCTL_IOC_GET_ATTR, 2, EIO, 0, QORSIM_ALWAYS);
	EXPECT_EQ(qorl_adapter_scan(), 0);
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_EIO);
	EXPECT_EQ(qorl_adapter_get_count(), 1u) << "the count equals the adapters listed";
	EXPECT_NE(qorl_adapter_open_idx(1), nullptr);
}

} // namespace

namespace {

// That PCI function's identity is refused, and adapter discovery stops there.
TEST(AdapterRefusedIdentity, StopsDiscoveryWithFailed)
{
	qorsim_reset();
	ASSERT_EQ(qorsim_load_topology(R"({"drivers":{"eth":{"present":false}},"adapters":[
	  {"serial":"FIRST","functions":[{"type":"fc"}]},
	  {"serial":"SECOND","functions":[{"type":"fc","pcifn":0,"device_id":"0x17"},
	                                  {"type":"fc","pcifn":1,"device_id":"0x17"}]}]})"),
		  0)
		<< qorsim_error();
	EXPECT_EQ(qorl_adapter_scan(), 0);
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_adapter_get_count(), 2u);
	qor_ioctl_ioc_info_t info;
	EXPECT_EQ(qorl_ioc_get_info(qorl_ioc_open_idx(1), &info), QOR_STATUS_OK) << "function 0 is answered";
	EXPECT_EQ(qorl_ioc_get_info(qorl_ioc_open_idx(2), &info), QOR_STATUS_FAILED);
}

} // namespace
