// Controller discovery: records, wire bytes, every failure exit of a pass.
#include <cerrno>
#include <cstring>

#include "qorl.h"
#include "qorl_ioc.h"
#include "testutil.h"

namespace {

using qt::SimTest;

std::vector<qorl_t> snapshot()
{
	std::vector<qorl_t> v;
	for (qorl_t *q = qorl_ioc_get_list(); q; q = q->next)
		v.push_back(*q);
	return v;
}

class Discovery : public SimTest {};

TEST_F(Discovery, DefaultHardwareGivesSixControllersFcFirst)
{
	ASSERT_EQ(qorl_ioc_scan(), 6);
	auto v = snapshot();
	ASSERT_EQ(v.size(), 6u);
	int want_inst[] = {0, 1, 2, 3, 0, 1};
	for (int i = 0; i < 6; i++) {
		EXPECT_EQ(v[i].id, i);
		EXPECT_EQ(v[i].instance, want_inst[i]);
		bool fc = i < 4;
		EXPECT_STREQ(v[i].devpath, fc ? "/dev/qor" : "/dev/vek");
		EXPECT_EQ(v[i].ipfc_fd >= 0, fc) << i;
		EXPECT_EQ(v[i].port_num, 0) << "set by adapter discovery only";
	}
	EXPECT_EQ(v[0].ioc_type, QOR_IOC_TYPE_FC);
	EXPECT_EQ(v[2].ioc_type, QOR_IOC_TYPE_FCoE);
	EXPECT_EQ(v[4].ioc_type, QOR_IOC_TYPE_LL);
	EXPECT_EQ(v[0].fd, v[1].fd) << "one descriptor per pass";
	EXPECT_NE(v[0].fd, v[4].fd);
	// FCoE: WWNs and MACs, but no current MAC; Ethernet: MACs and no WWN.
	mac_t zero{};
	EXPECT_NE(v[2].pwwn, 0u);
	EXPECT_FALSE(memcmp(&v[2].mac, &zero, 6) == 0);
	EXPECT_TRUE(memcmp(&v[2].current_mac, &zero, 6) == 0);
	EXPECT_EQ(v[4].pwwn, 0u);
	EXPECT_FALSE(memcmp(&v[4].current_mac, &zero, 6) == 0);
	EXPECT_NE(v[4].eth_name[0], 0);
	EXPECT_EQ(v[0].eth_name[0], 0);
}

TEST_F(Discovery, WireSequenceOfAPass)
{
	qorl_libinit(qor_aen_app_cim);
	ASSERT_EQ(qorl_ioc_scan(), 6);
	auto log = qt::log_entries();
	// FC: version, instances, announcement, 4 identities; Ethernet: same with 2.
	std::vector<uint32_t> want = {0xC0084301, 0xC0284302, 0xC058432B, 0xC2084307, 0xC2084307, 0xC2084307,
				      0xC2084307, 0xC0084401, 0xC0284402, 0xC058442B, 0xC2084407, 0xC2084407};
	ASSERT_EQ(log.size(), want.size());
	for (size_t i = 0; i < want.size(); i++)
		EXPECT_EQ(log[i].code, want[i]) << i;
	// The announcement carries only the identity, at offset 8.
	qor_ioctl_aen_t a;
	memcpy(&a, log[2].in, sizeof a);
	EXPECT_EQ(a.app_id, (uint32_t)qor_aen_app_cim);
	qor_ioctl_aen_t zero{};
	zero.app_id = qor_aen_app_cim;
	EXPECT_EQ(memcmp(&a, &zero, sizeof a), 0);
	// Identity requests are zeroed but for the instance.
	for (int i = 0; i < 4; i++) {
		qor_ioctl_ioc_info_t info;
		memcpy(&info, log[3 + i].in, sizeof info);
		qor_ioctl_ioc_info_t z{};
		z.qord_num = (uint16_t)i;
		EXPECT_EQ(memcmp(&info, &z, sizeof info), 0) << i;
	}
}

TEST_F(Discovery, IdentityDefaultsToCommandLineUtility)
{
	ASSERT_EQ(qorl_ioc_scan(), 6);
	auto ann = qt::log_entries_any(QOR_IOCTL_AEN_APP_REGISTER);
	ASSERT_EQ(ann.size(), 2u);
	for (auto &e : ann) {
		qor_ioctl_aen_t a;
		memcpy(&a, e.in, sizeof a);
		EXPECT_EQ(a.app_id, (uint32_t)qor_aen_app_mxt);
	}
}

// Every failure exit of the FC pass: last error, no FC record, its
// descriptors closed, and the Ethernet pass still runs.
TEST_F(Discovery, FailureExitsOfAPass)
{
	struct Case {
		const char *what;
		uint32_t code;
		int err;
		uint32_t status;
		qor_status_t want;
	} cases[] = {
		{"version errno", QOR_IOCTL_IOC_GET_VERSION, EIO, 0, QOR_STATUS_EIO},
		{"version status", QOR_IOCTL_IOC_GET_VERSION, 0, QOR_STATUS_VERSION_FAIL, QOR_STATUS_VERSION_FAIL},
		{"instances errno", QOR_IOCTL_IOC_GET_INST, ENXIO, 0, QOR_STATUS_ENXIO},
		{"announce errno", QOR_IOCTL_AEN_APP_REGISTER, EINVAL, 0, QOR_STATUS_EINVAL},
		{"identity errno", QOR_IOCTL_IOC_GET_INFO, EBADF, 0, QOR_STATUS_EBADF},
		{"identity status", QOR_IOCTL_IOC_GET_INFO, 0, QOR_STATUS_IOC_FAILURE, QOR_STATUS_IOC_FAILURE},
	};
	for (auto &c : cases) {
		qorsim_reset();
		// FC-side codes only: the Ethernet pass sends type 0x44.
		qorsim_fault_request(c.code, -1, c.err, c.status, QORSIM_ALWAYS);
		EXPECT_EQ(qorl_ioc_scan(), 2) << c.what;
		EXPECT_EQ(qorl_get_last_error(), c.want) << c.what;
		auto v = snapshot();
		ASSERT_EQ(v.size(), 2u) << c.what;
		EXPECT_EQ(v[0].ioc_type, QOR_IOC_TYPE_LL) << c.what;
		EXPECT_EQ(v[0].id, 0) << c.what;
		EXPECT_EQ(qorsim_open_count(), 1) << c.what << ": FC descriptors must be closed";
		for (auto &q : v)
			close(q.fd);
		qorl_set_last_error(QOR_STATUS_OK);
	}
}

TEST_F(Discovery, IdentityFailureAfterRecordsWithdrawsThem)
{
	// The third identity fails: the two records already built go too.
	qorsim_fault_request(QOR_IOCTL_IOC_GET_INFO, 2, 0, QOR_STATUS_FAILED, QORSIM_ALWAYS);
	EXPECT_EQ(qorl_ioc_scan(), 2);
	auto v = snapshot();
	ASSERT_EQ(v.size(), 2u);
	EXPECT_EQ(v[0].ioc_type, QOR_IOC_TYPE_LL);
	EXPECT_EQ(qorsim_open_count(), 1);
}

TEST_F(Discovery, OnlyEthernetDriver)
{
	qorsim_fault_open(QOR_DEV_FC, ENOENT);
	EXPECT_EQ(qorl_ioc_scan(), 2);
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_NO_DRIVER);
	auto v = snapshot();
	ASSERT_EQ(v.size(), 2u);
	EXPECT_EQ(v[0].id, 0);
	EXPECT_EQ(v[1].id, 1);
	EXPECT_EQ(qorsim_open_count(), 1);
}

TEST_F(Discovery, NoDriverAtAll)
{
	qorsim_fault_open(QOR_DEV_FC, ENOENT);
	qorsim_fault_open(QOR_DEV_ETH, ENOENT);
	EXPECT_EQ(qorl_ioc_scan(), 0);
	EXPECT_EQ(qorl_ioc_get_list(), nullptr);
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_NO_DRIVER);
	EXPECT_EQ(qorsim_open_count(), 0);
}

TEST_F(Discovery, IpfcNodeMissingIsNoError)
{
	qorsim_fault_open(QOR_DEV_IPFC, ENOENT);
	EXPECT_EQ(qorl_ioc_scan(), 6);
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_OK);
	EXPECT_EQ(qorl_ioc_open_idx(0)->ipfc_fd, -1);
}

TEST_F(Discovery, VersionMismatchOnlyWarnsOncePerPass)
{
	qorsim_set_driver_version(QORSIM_DRV_FC, 4132);
	testing::internal::CaptureStdout();
	EXPECT_EQ(qorl_ioc_scan(), 6);
	std::string out = testing::internal::GetCapturedStdout();
	EXPECT_EQ(out, "\nWARNING: MXT and Driver versions don't match!!!\n\n");
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_OK);
}

TEST_F(Discovery, RebuildGivesEqualListWithoutLeakingRecords)
{
	ASSERT_EQ(qorl_ioc_scan(), 6);
	auto a = snapshot();
	ASSERT_EQ(qorl_ioc_scan(), 6);
	auto b = snapshot();
	ASSERT_EQ(a.size(), b.size());
	for (size_t i = 0; i < a.size(); i++) {
		EXPECT_EQ(a[i].id, b[i].id);
		EXPECT_EQ(a[i].instance, b[i].instance);
		EXPECT_EQ(a[i].pwwn, b[i].pwwn);
		EXPECT_STREQ(a[i].ioc_hwpath, b[i].ioc_hwpath);
	}
}

TEST_F(Discovery, CfgPath)
{
	EXPECT_STREQ(qorl_get_cfg_path(), "/etc/qor.conf");
}

} // namespace

namespace {

// The instance bitmap bounds: gaps are skipped, 128 is the most a driver has.
class DiscoveryCounts : public qt::SimTest {};

TEST_F(DiscoveryCounts, GapInBitmapKeepsPositionsDense)
{
	topology(R"({"drivers":{"fc":{"count":3},"eth":{"present":false}},
	  "adapters":[{"functions":[{"type":"fc","instance":0},{"type":"fc","instance":2}]}]})");
	EXPECT_EQ(qorl_ioc_scan(), 3) << "the count, not the records, is the total";
	auto v = snapshot();
	ASSERT_EQ(v.size(), 2u);
	EXPECT_EQ(v[0].instance, 0);
	EXPECT_EQ(v[1].instance, 2);
	EXPECT_EQ(v[1].id, 1);
	EXPECT_EQ(qorl_ioc_open_idx(2), nullptr) << "position 2 is a gap";
	EXPECT_EQ(qorl_ioc_get_by_inst(2), qorl_ioc_open_idx(1)) << "lookups walk past the gap";
	EXPECT_EQ(qt::log_entries(QOR_IOCTL_IOC_GET_INFO).size(), 2u) << "only set bits are asked";
}

// Bits at or above the reported count are not instances: none is asked for.
TEST_F(DiscoveryCounts, InstanceBitAtTheCountIsNotWalked)
{
	topology(R"({"drivers":{"eth":{"present":false}},
	  "adapters":[{"functions":[{"type":"fc"},{"type":"fc"},{"type":"fc"}]}]})");
	// The instance list of either driver (whatever its type byte) reports a
	// count one below its bits: count 2, bits 0, 1 and 2.
	qt::ioctl_wrap = [](int fd, unsigned long request, void *arg, qt::ioctl_fn *next) {
		int rc = next(fd, request, arg);
		if (rc == 0 && (request & ~0xff00ul) == (QOR_IOCTL_IOC_GET_INST & ~0xff00u))
			static_cast<qor_ioctl_ioc_get_inst_t *>(arg)->cnt -= 1;
		return rc;
	};
	EXPECT_EQ(qorl_ioc_scan(), 2);
	qt::ioctl_wrap = nullptr;
	auto v = snapshot();
	ASSERT_EQ(v.size(), 2u);
	EXPECT_EQ(v[0].instance, 0);
	EXPECT_EQ(v[1].instance, 1);
	auto asked = qt::log_entries(QOR_IOCTL_IOC_GET_INFO);
	ASSERT_EQ(asked.size(), 2u);
	for (const auto &e : asked)
		EXPECT_NE(e.instance, 2);
}

TEST_F(DiscoveryCounts, MoreThan128InstancesFailThePass)
{
	for (int count : {128, 129}) {
		qorsim_reset();
		std::string t = R"({"drivers":{"fc":{"count":)" + std::to_string(count) +
				R"(}},"adapters":[{"functions":[{"type":"fc"}]}]})";
		topology(t);
		qorl_set_last_error(QOR_STATUS_OK);
		int open_before = qorsim_open_count();
		int n = qorl_ioc_scan();
		if (count == 128) {
			EXPECT_EQ(n, 128);
			EXPECT_EQ(snapshot().size(), 1u);
		} else {
			EXPECT_EQ(n, 0);
			EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_EIO);
			EXPECT_EQ(qorsim_open_count() - open_before, 1) << "only the Ethernet node stays open";
		}
		qorl_libexit();
	}
}

} // namespace
