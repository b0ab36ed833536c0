// Logical ports, remote ports and IT nexus against the emulated fabric.
#include <cstring>
#include <vector>

#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorl_itnim.h"
#include "qorl_lport.h"
#include "qorl_rport.h"
#include "testutil.h"

namespace {

const wwn_t kTgtA = qt::wwn("50:25:a3:40:10:3a:7c:00");
const wwn_t kTgtB = qt::wwn("50:25:a3:40:10:3a:7c:01");
const wwn_t kInit = qt::wwn("21:00:02:5a:30:4c:8e:10");

using Rport = qt::ScannedTest;

template <class T> T at(const uint8_t *p, size_t off)
{
	T v;
	memcpy(&v, p + off, sizeof v);
	return v;
}

TEST_F(Rport, ListHonoursRoomAndReportsCount)
{
	wwn_t w[4] = {};
	uint32_t n = 4;
	ASSERT_EQ(qorl_lport_get_rports(fc0, 0, fc0->pwwn, w, &n), QOR_STATUS_OK);
	ASSERT_EQ(n, 3u);
	EXPECT_EQ(w[0], kTgtA);
	EXPECT_EQ(w[2], kInit);
	EXPECT_EQ(w[3], 0u);
	auto log = qt::log_entries(QOR_IOCTL_LPORT_GET_RPORTS);
	ASSERT_EQ(log.size(), 1u);
	EXPECT_EQ(at<uint64_t>(log[0].in, 8), fc0->pwwn);
	EXPECT_EQ(at<uint64_t>(log[0].in, 16), (uint64_t)(uintptr_t)w);
	EXPECT_EQ(at<uint32_t>(log[0].in, 24), 4u);

	// Too little room: only the room is written, the count still comes back.
	wwn_t one[2] = {0, 0x77};
	n = 1;
	EXPECT_EQ(qorl_lport_get_rports(fc0, 0, fc0->pwwn, one, &n), QOR_STATUS_ENOMEM);
	EXPECT_EQ(n, 3u);
	EXPECT_EQ(one[0], kTgtA);
	EXPECT_EQ(one[1], 0x77u);
	// A refusal also hands the count back; a channel failure does not.
	qorsim_fault_request(QOR_IOCTL_LPORT_GET_RPORTS, -1, 0, QOR_STATUS_FAILED, 1);
	n = 4;
	EXPECT_EQ(qorl_lport_get_rports(fc0, 0, fc0->pwwn, w, &n), QOR_STATUS_FAILED);
	EXPECT_EQ(n, 3u);
	qorsim_fault_request(QOR_IOCTL_LPORT_GET_RPORTS, -1, EIO, 0, 1);
	n = 4;
	EXPECT_EQ(qorl_lport_get_rports(fc0, 0, fc0->pwwn, w, &n), QOR_STATUS_EIO);
	EXPECT_EQ(n, 4u);
	n = 4;
	EXPECT_EQ(qorl_lport_get_rports(fc0, 3, fc0->pwwn, w, &n), QOR_STATUS_UNKNOWN_VFID);
	EXPECT_EQ(qorl_lport_get_rports(fc0, 0, kTgtA, w, &n), QOR_STATUS_UNKNOWN_LWWN);
}

TEST_F(Rport, EthernetSideIsRefusedWithoutRequest)
{
	wwn_t w[1];
	uint32_t n = 1;
	qor_rport_attr_t ra;
	qor_itnim_attr_t ia;
	qor_lport_attr_t la;
	EXPECT_EQ(qorl_lport_get_rports(eth, 0, 1, w, &n), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_lport_get_attr(eth, 0, 1, &la), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_rport_get_attr(eth, 0, 1, 2, &ra), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_itnim_get_attr(eth, 0, 1, 2, &ia), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_rport_add(eth, 0, 1, 2), QOR_STATUS_FAILED);
	EXPECT_EQ(qorsim_log_count(), 0u);
}

TEST_F(Rport, AttributesWithBasePortDefault)
{
	qor_rport_attr_t a;
	ASSERT_EQ(qorl_rport_get_attr(fc0, 0, 0, kTgtB, &a), QOR_STATUS_OK);
	EXPECT_EQ(a.pwwn, kTgtB);
	EXPECT_EQ(a.state, (uint32_t)QOR_RPORT_ONLINE);
	EXPECT_EQ(a.scsi_function, (uint32_t)QOR_RPORT_TARGET);
	const uint8_t pid[4] = {0x01, 0x1b, 0x00, 0x00};
	EXPECT_EQ(memcmp(&a.pid, pid, 4), 0) << "address bytes first, in wire order";
	EXPECT_STREQ(a.symname.symname, "QX-Array A ctl1 port 0");
	auto log = qt::log_entries(QOR_IOCTL_RPORT_GET_ATTR);
	ASSERT_EQ(log.size(), 1u);
	EXPECT_EQ(at<uint64_t>(log[0].in, 8), fc0->pwwn) << "pwwn 0 becomes the port's own";
	EXPECT_EQ(at<uint64_t>(log[0].in, 16), kTgtB);

	// When the port's attributes cannot be read nothing more is sent.
	qorsim_log_clear();
	qorsim_fault_request(QOR_IOCTL_PORT_GET_ATTR, -1, 0, QOR_STATUS_IOC_NON_OP, 1);
	EXPECT_EQ(qorl_rport_get_attr(fc0, 0, 0, kTgtB, &a), QOR_STATUS_IOC_NON_OP);
	EXPECT_EQ(qt::log_entries(QOR_IOCTL_RPORT_GET_ATTR).size(), 0u);

	// An unknown remote port: refused, but the (cleared) body is copied.
	memset(&a, 0xEE, sizeof a);
	EXPECT_EQ(qorl_rport_get_attr(fc0, 0, fc0->pwwn, 0x1234, &a), QOR_STATUS_UNKNOWN_RWWN);
	EXPECT_EQ(a.pwwn, 0u);
}

TEST_F(Rport, StatisticsScsiAddressSpeed)
{
	qor_rport_stats_t s;
	ASSERT_EQ(qorl_rport_get_stats(fc0, 0, 0, kTgtA, &s), QOR_STATUS_OK);
	EXPECT_EQ(s.onlines, 1u);
	ASSERT_EQ(qorl_rport_reset_stats(fc0, 0, 0, kTgtA), QOR_STATUS_OK);
	ASSERT_EQ(qorl_rport_get_stats(fc0, 0, 0, kTgtA, &s), QOR_STATUS_OK);
	EXPECT_EQ(s.onlines, 0u);

	uint32_t h = 99, b = 99, t = 99;
	ASSERT_EQ(qorl_rport_get_scsi_address(fc0, 0, fc0->pwwn, kTgtB, &h, &b, &t), QOR_STATUS_OK);
	EXPECT_EQ(t, 1u);
	EXPECT_EQ(h, (uint32_t)fc0->instance + 1);
	h = b = t = 99;
	EXPECT_EQ(qorl_rport_get_scsi_address(fc0, 0, fc0->pwwn, kInit, &h, &b, &t), QOR_STATUS_NO_FCPIM_NEXUS);
	EXPECT_EQ(h, 99u) << "set only on success";

	EXPECT_EQ(qorl_rport_set_speed(fc0, 0, fc0->pwwn, kTgtA, QOR_PORT_SPEED_16GBPS), QOR_STATUS_UNSUPP_SPEED);
	ASSERT_EQ(qorl_rport_set_speed(fc0, 0, fc0->pwwn, kTgtA, QOR_PORT_SPEED_2GBPS), QOR_STATUS_OK);
	auto log = qt::log_entries(QOR_IOCTL_RPORT_SET_SPEED);
	ASSERT_EQ(log.size(), 2u);
	EXPECT_EQ(at<uint32_t>(log[1].in, 8), 2u);
	EXPECT_EQ(at<uint64_t>(log[1].in, 16), fc0->pwwn);
	EXPECT_EQ(at<uint64_t>(log[1].in, 24), kTgtA);
	qor_rport_attr_t a;
	ASSERT_EQ(qorl_rport_get_attr(fc0, 0, 0, kTgtA, &a), QOR_STATUS_OK);
	EXPECT_EQ(a.assigned_speed, 2u);
	EXPECT_EQ(a.curr_speed, 2u);
}

TEST_F(Rport, AddRemoveStick)
{
	const wwn_t x = qt::wwn("21:00:02:5a:30:00:00:99");
	ASSERT_EQ(qorl_rport_add(fc0, 0, fc0->pwwn, x), QOR_STATUS_OK);
	wwn_t w[8];
	uint32_t n = 8;
	ASSERT_EQ(qorl_lport_get_rports(fc0, 0, fc0->pwwn, w, &n), QOR_STATUS_OK);
	EXPECT_EQ(n, 4u);
	EXPECT_EQ(w[3], x);
	ASSERT_EQ(qorl_rport_remove(fc0, 0, fc0->pwwn, x), QOR_STATUS_OK);
	EXPECT_EQ(qorl_rport_remove(fc0, 0, fc0->pwwn, x), QOR_STATUS_UNKNOWN_RWWN);
}

TEST_F(Rport, LportStatisticsPairs)
{
	qor_lport_attr_t la;
	ASSERT_EQ(qorl_lport_get_attr(fc0, 0, fc0->pwwn, &la), QOR_STATUS_OK);
	EXPECT_EQ(la.state, (uint32_t)QOR_LPORT_ONLINE);
	EXPECT_EQ(la.port_cfg.pwwn, fc0->pwwn);
	qorl_stats_t s[QORL_LPORT_STATS_COUNT + 1];
	memset(s, 0, sizeof s);
	ASSERT_EQ(qorl_lport_get_stats(fc0, 0, fc0->pwwn, s), QOR_STATUS_OK);
	EXPECT_STREQ(s[0].name, "ns_plogi_sent");
	EXPECT_STREQ(s[51].name, "Deleted rport (max retry of plogi)");
	EXPECT_STREQ(s[52].name, "");
	qorl_stats_t io[QORL_ITNIM_IOSTATS_COUNT];
	memset(io, 0x33, sizeof io);
	qorsim_fault_request(QOR_IOCTL_LPORT_GET_IOSTATS, -1, 0, QOR_STATUS_FAILED, 1);
	EXPECT_EQ(qorl_lport_get_iostats(fc0, 0, fc0->pwwn, io), QOR_STATUS_FAILED);
	EXPECT_EQ(io[0].value, 0x33333333u) << "pairs only on success";
	ASSERT_EQ(qorl_lport_get_iostats(fc0, 0, fc0->pwwn, io), QOR_STATUS_OK);
	EXPECT_STREQ(io[47].name, "TM cleanup completions");
	ASSERT_EQ(qorl_lport_reset_stats(fc0, 0, fc0->pwwn), QOR_STATUS_OK);
}

TEST_F(Rport, ItnimStatisticsAndThroughput)
{
	qor_itnim_attr_t a;
	ASSERT_EQ(qorl_itnim_get_attr(fc0, 0, fc0->pwwn, kTgtA, &a), QOR_STATUS_OK);
	EXPECT_EQ(a.state, (uint32_t)QOR_ITNIM_ONLINE);
	EXPECT_EQ(qorl_itnim_get_attr(fc0, 0, fc0->pwwn, kInit, &a), QOR_STATUS_NO_FCPIM_NEXUS);
	qorl_stats_t its[QORL_ITNIM_STATS_COUNT];
	ASSERT_EQ(qorl_itnim_get_itnstats(fc0, 0, fc0->pwwn, kTgtA, its), QOR_STATUS_OK);
	EXPECT_STREQ(its[10].name, "num sler notification from QOR");
	qorl_stats_t io1[QORL_ITNIM_IOSTATS_COUNT], io2[QORL_ITNIM_IOSTATS_COUNT];
	ASSERT_EQ(qorl_itnim_get_iostats(fc0, 0, fc0->pwwn, kTgtA, io1), QOR_STATUS_OK);
	ASSERT_EQ(qorl_itnim_get_iostats(fc0, 0, fc0->pwwn, kTgtA, io2), QOR_STATUS_OK);
	EXPECT_GT(io2[0].value, io1[0].value) << "I/O keeps flowing";
	EXPECT_EQ(qorl_itnim_get_iothroughput(io2), io2[4].value + io2[5].value);
	ASSERT_EQ(qorl_itnim_reset_stats(fc0, 0, fc0->pwwn, kTgtA), QOR_STATUS_OK);
}

TEST(Throughput, NamesDecideNotPositions)
{
	qorl_stats_t s[QORL_ITNIM_IOSTATS_COUNT] = {};
	EXPECT_EQ(qorl_itnim_get_iothroughput(s), 0u);
	strcpy(s[40].name, "Read data transfered in bytes");
	s[40].value = 7;
	EXPECT_EQ(qorl_itnim_get_iothroughput(s), 7u) << "a missing write counter counts 0";
	strcpy(s[3].name, "Write data transfered in bytes");
	s[3].value = 0xFFFFFFFFu;
	EXPECT_EQ(qorl_itnim_get_iothroughput(s), 6u) << "the sum wraps";
	memset(s[10].name, 'x', sizeof s[10].name); // unterminated name is compared safely
	EXPECT_EQ(qorl_itnim_get_iothroughput(s), 6u);
	EXPECT_EQ(qorl_itnim_get_iothroughput(nullptr), 0u);
}

// Profiles given to the emulated target; the library converts them.
struct ProfileCase {
	const char *name;
	const char *profile;
	qor_status_t st;
	uint32_t min0, max0, avg0, min1, avg1, max14;
};

void PrintTo(const ProfileCase &c, std::ostream *os) { *os << c.name; }

const ProfileCase kProfiles[] = {
	{"unit clock", R"({"clock_res_mul":1,"clock_res_div":1,"index":2,
	   "buckets":[{"min":4,"max":10,"count":4,"sum":24},{"min":"0xFFFFFFFF","max":0,"count":0,"sum":5}]})",
	 QOR_STATUS_OK, 4, 10, 6, 0, 5, 0},
	{"scaled", R"({"clock_res_mul":10,"clock_res_div":4,"index":1,
	   "buckets":[{"min":4,"max":10,"count":5,"sum":100}]})",
	 QOR_STATUS_OK, 10, 25, 50, 0, 0, 0},
	{"zero divisor", R"({"clock_res_mul":1,"clock_res_div":0,"index":1,"buckets":[{"min":1,"max":1,"count":1,"sum":1}]})",
	 QOR_STATUS_FAILED, 0xAAAAAAAA, 0xAAAAAAAA, 0xAAAAAAAA, 0xAAAAAAAA, 0xAAAAAAAA, 0xAAAAAAAA},
	{"index past the buckets", R"({"clock_res_mul":2,"clock_res_div":1,"index":99,
	   "buckets":[{"min":1,"max":1,"count":1,"sum":3}]})",
	 QOR_STATUS_OK, 2, 2, 6, 0, 0, 0},
};

class Profile : public qt::SimTest, public ::testing::WithParamInterface<ProfileCase> {};

TEST_P(Profile, Converted)
{
	const ProfileCase &c = GetParam();
	topology(std::string(R"({"adapters":[{"functions":[{"type":"fc","fcport":{"rports":[
	  {"pwwn":"50:00:00:00:00:00:00:01","ioprofile":)") + c.profile + "}]}}]}]}");
	ASSERT_EQ(qorl_adapter_scan(), 1);
	qorl_t *q = qorl_ioc_open_idx(0);
	qor_itnim_ioprofile_t p;
	memset(&p, 0xAA, sizeof p);
	EXPECT_EQ(qorl_itnim_get_ioprofile(q, 0, q->pwwn, qt::wwn("50:00:00:00:00:00:00:01"), &p), c.st);
	EXPECT_EQ(p.io_latency.min[0], c.min0);
	EXPECT_EQ(p.io_latency.max[0], c.max0);
	EXPECT_EQ(p.io_latency.avg[0], c.avg0);
	EXPECT_EQ(p.io_latency.min[1], c.min1);
	EXPECT_EQ(p.io_latency.avg[1], c.avg1) << "a bucket without I/O keeps the driver's avg";
	if (c.st == QOR_STATUS_OK) {
		EXPECT_EQ(p.io_latency.max[13], c.max14);
	}
}

INSTANTIATE_TEST_SUITE_P(Rport, Profile, ::testing::ValuesIn(kProfiles),
			 [](const auto &i) { return qt::test_name(i.param.name); });

TEST_F(Rport, ProfileRefusalCopiesUnconverted)
{
	qorsim_fault_request(QOR_IOCTL_ITNIM_GET_IOPROFILE, -1, 0, QOR_STATUS_IOPROFILE_OFF, 1);
	qor_itnim_ioprofile_t p{};
	EXPECT_EQ(qorl_itnim_get_ioprofile(fc0, 0, fc0->pwwn, kTgtA, &p), QOR_STATUS_IOPROFILE_OFF);
	EXPECT_EQ(p.clock_res_div, 3u);
	EXPECT_EQ(p.io_latency.avg[0], 12u * 100u) << "still the driver's sum";
}

} // namespace
