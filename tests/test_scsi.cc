// SCSI commands through the pass-through: the CDB and record on the wire,
// REPORT LUNS sizing, what comes back from targets that refuse, lie or fall
// silent, and the bounded readers of the replies.
#include <cstring>
#include <filesystem>
#include <memory>
#include <tuple>
#include <vector>

#include "protocol/scsi_decode.h"
#include "protocol/scsi_names.h"
#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorl_rport.h"
#include "qorl_scsi.h"
#include "qorsim_scsi.h"
#include "testutil.h"

namespace {

const wwn_t kTgtA = qt::wwn("50:25:a3:40:10:3a:7c:00");
const wwn_t kInitiator = qt::wwn("21:00:02:5a:30:4c:8e:10");

template <class T> T le(const uint8_t *p)
{
	T v;
	memcpy(&v, p, sizeof v);
	return v;
}
uint32_t le32(const uint8_t *p) { return le<uint32_t>(p); }
uint64_t le64(const uint8_t *p) { return le<uint64_t>(p); }

lun_t lun_of(uint16_t n)
{
	uint8_t b[8];
	scsi_lun_encode(n, b);
	return le<lun_t>(b);
}

// Sense key, ASC and ASCQ.
std::tuple<int, int, int> kcq(const scsi_sense_info_t &s) { return {s.key, s.asc, s.ascq}; }

// The CDB bytes given, then 0xEE up to 16.
std::vector<uint8_t> ee(std::initializer_list<uint8_t> head)
{
	std::vector<uint8_t> v(head);
	v.resize(16, 0xEE);
	return v;
}

scsi_cdb_t cdb_of(std::initializer_list<uint8_t> bytes)
{
	scsi_cdb_t cdb{};
	std::copy(bytes.begin(), bytes.end(), cdb.scsi_cdb);
	return cdb;
}

using Builder = qor_status_t (*)(qorl_t *, uint16_t, wwn_t, wwn_t, lun_t, scsi_cdb_t *, int, void *, uint32_t,
				 uint8_t *, void *, uint32_t *);
using Buf = std::unique_ptr<void, decltype(&free)>;

// Commands from fc0: run() offers the whole 64-byte sense buffer each time,
// reportluns() the room sns_len holds.
class ScsiTest : public qt::ScannedTest {
protected:
	qor_status_t run(Builder fn, uint16_t lun, scsi_cdb_t cdb, void *data, uint32_t len, wwn_t tgt = kTgtA)
	{
		sns_len = sizeof sense;
		memset(sense, 0, sizeof sense);
		return fn(fc0, 0, fc0->pwwn, tgt, lun_of(lun), &cdb, 0, data, len, &status, sense, &sns_len);
	}
	qor_status_t cmd(uint16_t lun, std::initializer_list<uint8_t> bytes, void *data, uint32_t len)
	{
		return run(qorl_scsi_cmnd, lun, cdb_of(bytes), data, len);
	}
	// REPORT LUNS to target A into a new buffer, kept in `out`.
	qor_status_t reportluns(Buf &out, scsi_cdb_t cdb = {})
	{
		out.reset();
		void *b = nullptr;
		qor_status_t st =
			qorl_scsi_reportluns(fc0, 0, fc0->pwwn, kTgtA, 0, &cdb, 0, &b, 0, &status, sense, &sns_len);
		out.reset(b);
		return st;
	}
	const uint8_t *list(const Buf &b) const { return static_cast<const uint8_t *>(b.get()); }
	scsi_sense_info_t decoded() const
	{
		scsi_sense_info_t s;
		scsi_sense_decode(sense, sns_len, &s);
		return s;
	}
	uint8_t status = 0xEE;
	uint8_t sense[64];
	uint32_t sns_len = sizeof sense;
	Buf buf{nullptr, free};
};

// Target A of fc0 with three units of its own.
class Scsi : public ScsiTest {
protected:
	void SetUp() override
	{
		ScsiTest::SetUp();
		ASSERT_EQ(qorsim_scsi_set_luns(QORSIM_DRV_FC, fc0->instance, kTgtA, kUnits, 3), 0) << qorsim_error();
		qorsim_log_clear();
	}
	void fault(int mode, uint32_t arg = 0)
	{
		ASSERT_EQ(qorsim_scsi_fault(QORSIM_DRV_FC, fc0->instance, kTgtA, mode, arg), 0) << qorsim_error();
	}
	void luns(uint16_t n)
	{
		std::vector<qorsim_lun_t> v(n);
		for (uint16_t i = 0; i < n; i++)
			v[i] = qorsim_lun_t{i, QORSIM_LUN_DISK, 512, 2048, nullptr, nullptr, nullptr, nullptr};
		ASSERT_EQ(qorsim_scsi_set_luns(QORSIM_DRV_FC, fc0->instance, kTgtA, v.data(), v.size()), 0);
		qorsim_log_clear();
	}
	static constexpr qorsim_lun_t kUnits[3] = {
		{0, QORSIM_LUN_DISK, 512, 2097152, "QOR", "QX-Disk", "0001", "SERIAL-L0"},
		{1, QORSIM_LUN_DISK, 4096, 0x120000000ull, nullptr, nullptr, nullptr, nullptr},
		{300, QORSIM_LUN_TAPE, 512, 0, nullptr, "QX-Tape", nullptr, nullptr},
	};
};

// ---- what goes on the wire ---------------------------------------------------

struct CdbCase {
	const char *name;
	Builder fn;
	uint32_t iosz;
	std::vector<uint8_t> caller; // bytes the caller set, 0xEE elsewhere
	std::vector<uint8_t> sent;   // all 16 CDB bytes as sent
};

// Bytes not set by a builder keep the caller's 0xEE.
const CdbCase kCdbCases[] = {
	{"inquiry", qorl_scsi_inquiry, 0x1FF, {0xEE, 0x01, 0x80}, ee({0x12, 0x01, 0x80, 0x01, 0xFF})},
	{"inquiry_low16", qorl_scsi_inquiry, 0x12345, {0xEE, 0x00, 0x00}, ee({0x12, 0x00, 0x00, 0x23, 0x45})},
	{"readcapacity", qorl_scsi_readcapacity, 8, {}, ee({0x25})},
	{"readcapacity16", qorl_scsi_readcapacity16, 32, {},
	 ee({0x9E, 0x10, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0x00, 0x00, 0x00, 0x20})},
	{"testunitready", qorl_scsi_testunitready, 0, {}, ee({0x00})},
	{"read10", qorl_scsi_read10, 4096, {0xEE, 0xEE, 0x00, 0x01, 0x02, 0x03},
	 ee({0x28, 0xEE, 0x00, 0x01, 0x02, 0x03, 0xEE, 0x00, 0x08})},
};

class CdbBytes : public Scsi, public ::testing::WithParamInterface<CdbCase> {};

TEST_P(CdbBytes, CdbAndRecordOnTheWire)
{
	const CdbCase &c = GetParam();
	scsi_cdb_t cdb;
	memset(&cdb, 0xEE, sizeof cdb);
	for (size_t i = 0; i < c.caller.size(); i++)
		if (c.caller[i] != 0xEE)
			cdb.scsi_cdb[i] = c.caller[i];
	std::vector<uint8_t> data(c.iosz ? c.iosz : 1);
	uint8_t sns[40];
	uint32_t room = sizeof sns;
	// The builders read from the device whatever direction they are given.
	c.fn(fc0, 0, fc0->pwwn, kTgtA, lun_of(1), &cdb, 1, data.data(), c.iosz, &status, sns, &room);

	auto log = qt::log_entries(QOR_IOCTL_SCSI);
	ASSERT_EQ(log.size(), 1u);
	EXPECT_EQ(log[0].code, 0xC050BA01u);
	ASSERT_EQ(log[0].len, 80u);
	const uint8_t *r = log[0].in;
	// Instance, VF, local and remote port, LUN.
	EXPECT_EQ(std::tuple(r[4] | r[5] << 8, r[6] | r[7] << 8, le64(r + 8), le64(r + 16), le64(r + 24)),
		  std::tuple((int)fc0->instance, 0, fc0->pwwn, kTgtA, lun_of(1)));
	EXPECT_EQ(std::vector<uint8_t>(r + 32, r + 48), c.sent);
	// Direction, data length, sense room, data and sense addresses.
	EXPECT_EQ(std::tuple(le32(r + 48), le32(r + 52), le32(r + 60), le64(r + 64), le64(r + 72)),
		  std::tuple(0u, c.iosz, (uint32_t)sizeof sns, (uint64_t)(uintptr_t)data.data(), (uint64_t)(uintptr_t)sns));
	// The caller's CDB holds what was sent.
	EXPECT_EQ(std::vector<uint8_t>(cdb.scsi_cdb, cdb.scsi_cdb + 16), c.sent);
}

INSTANTIATE_TEST_SUITE_P(Scsi, CdbBytes, ::testing::ValuesIn(kCdbCases),
			 [](const auto &i) { return std::string(i.param.name); });

TEST_F(Scsi, PassThroughSendsCdbAndDirectionAsGiven)
{
	// Missing arguments send nothing.
	scsi_cdb_t cdb{};
	uint8_t data[36];
	void *b = &cdb;
	EXPECT_EQ(qorl_scsi_inquiry(fc0, 0, fc0->pwwn, kTgtA, 0, nullptr, 0, data, 36, &status, sense, &sns_len),
		  QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_scsi_cmnd(nullptr, 0, 0, kTgtA, 0, &cdb, 0, data, 36, &status, sense, &sns_len), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_scsi_reportluns(fc0, 0, fc0->pwwn, kTgtA, 0, nullptr, 0, &b, 0, &status, sense, &sns_len),
		  QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_scsi_reportluns(fc0, 0, fc0->pwwn, kTgtA, 0, &cdb, 0, nullptr, 0, &status, sense, &sns_len),
		  QOR_STATUS_EINVAL);
	EXPECT_EQ(qorsim_log_count(), 0u);
	EXPECT_EQ(status, 0xEE);

	for (int i = 0; i < 16; i++)
		cdb.scsi_cdb[i] = (uint8_t)(0xA0 + i);
	// The emulated driver refuses data to the device: no command it knows takes any.
	for (auto [vf, want] : {std::pair{3, QOR_STATUS_UNKNOWN_VFID}, {0, QOR_STATUS_EINVAL}})
		EXPECT_EQ(qorl_scsi_cmnd(fc0, vf, fc0->pwwn, kTgtA, lun_of(0), &cdb, 1, data, 8, &status, nullptr, nullptr),
			  want);
	auto log = qt::log_entries(QOR_IOCTL_SCSI);
	ASSERT_EQ(log.size(), 2u);
	EXPECT_EQ(log[0].in[6], 3);
	EXPECT_EQ(memcmp(log[0].in + 32, cdb.scsi_cdb, 16), 0);
	// Direction; no sense buffer offered.
	EXPECT_EQ(std::tuple(le32(log[0].in + 48), le32(log[0].in + 60), le64(log[0].in + 72)), std::tuple(1u, 0u, 0ul));
}

// Like any request, the channel hands it to the Ethernet driver under that
// driver's type byte; that driver has no fabric to send it on.
TEST_F(Scsi, EthernetSideGoesToTheEthernetDriver)
{
	scsi_cdb_t cdb{};
	uint8_t data[36];
	EXPECT_EQ(qorl_scsi_inquiry(eth, 0, 0, kTgtA, 0, &cdb, 0, data, 36, &status, sense, &sns_len),
		  QOR_STATUS_UNKNOWN_VFID);
	ASSERT_EQ(qorsim_log_count(), 1u);
	EXPECT_EQ(qorsim_log_count_code(0xC0504401u), 1u);
	EXPECT_EQ(status, SCSI_STATUS_GOOD);
}

// ---- answers ---------------------------------------------------------------------

TEST_F(Scsi, InquiryAndCapacityOfAUnit)
{
	uint8_t data[96] = {};
	ASSERT_EQ(run(qorl_scsi_inquiry, 0, {}, data, sizeof data), QOR_STATUS_OK);
	EXPECT_EQ(status, SCSI_STATUS_GOOD);
	scsi_inquiry_info_t inq;
	ASSERT_TRUE(scsi_inquiry_decode(data, sizeof data, &inq));
	EXPECT_EQ(std::tuple(inq.type, inq.qualifier), std::tuple(SCSI_TYPE_DISK, 0));
	EXPECT_EQ(std::tuple(std::string(inq.vendor), std::string(inq.product), std::string(inq.revision)),
		  std::tuple("QOR", "QX-Disk", "0001"));

	ASSERT_EQ(run(qorl_scsi_inquiry, 0, cdb_of({0, SCSI_INQUIRY_EVPD, SCSI_VPD_UNIT_SERIAL}), data, sizeof data),
		  QOR_STATUS_OK);
	uint8_t page;
	const uint8_t *p;
	size_t n;
	ASSERT_TRUE(scsi_vpd_page(data, sizeof data, &page, &p, &n));
	EXPECT_EQ(page, SCSI_VPD_UNIT_SERIAL);
	EXPECT_EQ(std::string((const char *)p, n), "SERIAL-L0");

	// 0x120000000 blocks of 4 KiB: over 2 TiB, so READ CAPACITY(10) says "ask (16)".
	ASSERT_EQ(run(qorl_scsi_readcapacity, 1, {}, data, 8), QOR_STATUS_OK);
	scsi_capacity_t cap;
	ASSERT_TRUE(scsi_capacity10_decode(data, 8, &cap));
	EXPECT_EQ(std::tuple(cap.last_lba, cap.block_len), std::tuple(0xFFFFFFFFu, 4096u));
	ASSERT_EQ(run(qorl_scsi_readcapacity16, 1, {}, data, 32), QOR_STATUS_OK);
	ASSERT_TRUE(scsi_capacity16_decode(data, 32, &cap));
	EXPECT_EQ(std::tuple(cap.last_lba, cap.bytes), std::tuple(0x11FFFFFFFull, 0x120000000ull * 4096));
}

TEST_F(Scsi, Read10ReturnsThePattern)
{
	std::vector<uint8_t> data(8 * 512);
	scsi_cdb_t cdb{};
	fc_put_be32(cdb.scsi_cdb + SCSI_READ10_LBA_OFF, 1000);
	ASSERT_EQ(run(qorl_scsi_read10, 0, cdb, data.data(), (uint32_t)data.size()), QOR_STATUS_OK);
	ASSERT_EQ(status, SCSI_STATUS_GOOD);
	EXPECT_EQ(sns_len, 0u);
	for (uint64_t b = 0; b < 8; b++) {
		const uint8_t *blk = data.data() + b * 512;
		EXPECT_EQ(fc_get_be64(blk), 1000 + b);
		for (uint32_t i = 8; i < 512; i++)
			ASSERT_EQ(blk[i], (uint8_t)(1000 + b + 0 + i)) << "block " << b << " byte " << i;
	}
}

TEST_F(Scsi, CheckConditionReturnsDriverStatusAndSense)
{
	uint8_t data[64];
	// No unit at LUN 7: ILLEGAL REQUEST, LOGICAL UNIT NOT SUPPORTED.
	EXPECT_EQ(cmd(7, {SCSI_OP_TEST_UNIT_READY}, nullptr, 0), QOR_STATUS_OK);
	EXPECT_EQ(status, SCSI_STATUS_CHECK_CONDITION);
	EXPECT_EQ(sns_len, 18u);
	EXPECT_EQ(decoded().response_code, 0x70);
	EXPECT_EQ(kcq(decoded()), std::tuple(SCSI_SK_ILLEGAL_REQUEST, 0x25, 0x00));
	// A standard INQUIRY there answers with "no unit" rather than refusing.
	EXPECT_EQ(cmd(7, {SCSI_OP_INQUIRY, 0, 0, 0, 36}, data, sizeof data), QOR_STATUS_OK);
	EXPECT_EQ(status, SCSI_STATUS_GOOD);
	EXPECT_EQ(data[0], 0x7F);
	// A tape has no capacity to read.
	EXPECT_EQ(cmd(300, {SCSI_OP_READ_CAPACITY10}, data, 8), QOR_STATUS_OK);
	EXPECT_EQ(status, SCSI_STATUS_CHECK_CONDITION);
	EXPECT_EQ(decoded().asc, SCSI_ASC_INVALID_OPCODE);
	// Past the last block.
	EXPECT_EQ(cmd(0, {SCSI_OP_READ10, 0, 0, 0x20, 0, 0, 0, 0, 1}, data, sizeof data), QOR_STATUS_OK);
	EXPECT_EQ(decoded().asc, SCSI_ASC_LBA_OUT_OF_RANGE);
}

TEST_F(Scsi, UnitAttentionOnceAfterALunIsAdded)
{
	const qorsim_lun_t add{5, QORSIM_LUN_DISK, 512, 100, nullptr, nullptr, nullptr, nullptr};
	ASSERT_EQ(qorsim_scsi_add_lun(QORSIM_DRV_FC, fc0->instance, kTgtA, &add), 0);
	uint8_t data[36];
	EXPECT_EQ(cmd(0, {SCSI_OP_INQUIRY, 0, 0, 0, 36}, data, sizeof data), QOR_STATUS_OK);
	EXPECT_EQ(status, SCSI_STATUS_GOOD) << "INQUIRY does not report it";
	EXPECT_EQ(cmd(0, {SCSI_OP_TEST_UNIT_READY}, nullptr, 0), QOR_STATUS_OK);
	EXPECT_EQ(status, SCSI_STATUS_CHECK_CONDITION);
	EXPECT_EQ(kcq(decoded()), std::tuple(SCSI_SK_UNIT_ATTENTION, 0x3F, 0x0E));
	EXPECT_EQ(cmd(0, {SCSI_OP_TEST_UNIT_READY}, nullptr, 0), QOR_STATUS_OK);
	EXPECT_EQ(status, SCSI_STATUS_GOOD);

	// REPORT LUNS clears it and lists the new unit.
	ASSERT_EQ(qorsim_scsi_add_lun(QORSIM_DRV_FC, fc0->instance, kTgtA, &add), 0);
	ASSERT_EQ(reportluns(buf), QOR_STATUS_OK);
	EXPECT_EQ(scsi_report_luns_length(list(buf), 816), 32u);
	EXPECT_EQ(cmd(1, {SCSI_OP_TEST_UNIT_READY}, nullptr, 0), QOR_STATUS_OK);
	EXPECT_EQ(status, SCSI_STATUS_GOOD);
}

TEST_F(Scsi, DriverRefusalsReachTheCaller)
{
	EXPECT_EQ(run(qorl_scsi_testunitready, 0, {}, nullptr, 0, qt::wwn("50:00:00:00:00:00:00:99")),
		  QOR_STATUS_UNKNOWN_RWWN);
	EXPECT_EQ(run(qorl_scsi_testunitready, 0, {}, nullptr, 0, kInitiator), QOR_STATUS_NO_FCPIM_NEXUS);
	ASSERT_EQ(qorsim_set_rport_online(QORSIM_DRV_FC, fc0->instance, kTgtA, 0), 0);
	EXPECT_EQ(cmd(0, {SCSI_OP_TEST_UNIT_READY}, nullptr, 0), QOR_STATUS_RPORT_OFFLINE);
	EXPECT_EQ(sns_len, 0u);
	ASSERT_EQ(qorsim_set_rport_online(QORSIM_DRV_FC, fc0->instance, kTgtA, 1), 0);
	fault(QORSIM_SCSI_FAULT_NO_ANSWER);
	EXPECT_EQ(cmd(0, {SCSI_OP_TEST_UNIT_READY}, nullptr, 0), QOR_STATUS_ETIMER);
}

// ---- what a failing or lying exchange may not do -----------------------------

TEST_F(Scsi, FailedSystemCallLeavesOutputsAlone)
{
	int f = qorsim_fault_request(QOR_IOCTL_SCSI, -1, EIO, 0, 2);
	scsi_cdb_t cdb{};
	uint8_t data[36];
	memset(data, 0x5A, sizeof data);
	status = 0x77;
	sns_len = 23;
	EXPECT_EQ(qorl_scsi_inquiry(fc0, 0, fc0->pwwn, kTgtA, 0, &cdb, 0, data, sizeof data, &status, sense, &sns_len),
		  QOR_STATUS_EIO);
	EXPECT_EQ(std::tuple(status, sns_len, data[0]), std::tuple(0x77, 23u, 0x5A));
	EXPECT_EQ(reportluns(buf), QOR_STATUS_EIO);
	EXPECT_EQ(std::tuple(status, sns_len), std::tuple(0x77, 23u));
	ASSERT_NE(buf, nullptr) << "the buffer stays the caller's";
	EXPECT_EQ(scsi_report_luns_length(list(buf), 816), 0u);
	EXPECT_EQ(qorsim_fault_hits(f), 2u);
	EXPECT_EQ(qt::log_entries(QOR_IOCTL_SCSI).size(), 2u) << "no retry after a failed call";
}

TEST_F(Scsi, SenseLengthNeverExceedsTheBuffer)
{
	fault(QORSIM_SCSI_FAULT_LONG_SENSE);
	uint8_t sns[64];
	memset(sns, 0xAB, sizeof sns);
	uint32_t room = 32;
	scsi_cdb_t cdb{};
	EXPECT_EQ(qorl_scsi_testunitready(fc0, 0, fc0->pwwn, kTgtA, lun_of(9), &cdb, 0, nullptr, 0, &status, sns, &room),
		  QOR_STATUS_OK);
	EXPECT_EQ(std::tuple(status, room), std::tuple(SCSI_STATUS_CHECK_CONDITION, 32u));
	EXPECT_EQ(le32(qt::log_entries(QOR_IOCTL_SCSI)[0].out + 60), 96u) << "the driver claimed all of it";
	for (size_t i = 32; i < sizeof sns; i++)
		ASSERT_EQ(sns[i], 0xAB) << i;
	scsi_sense_info_t s;
	ASSERT_TRUE(scsi_sense_decode(sns, room, &s));
	EXPECT_EQ(s.asc, SCSI_ASC_LUN_NOT_SUPPORTED);
	// No sense buffer at all: nothing comes back.
	room = 0;
	EXPECT_EQ(qorl_scsi_testunitready(fc0, 0, fc0->pwwn, kTgtA, lun_of(9), &cdb, 0, nullptr, 0, &status, nullptr,
					  &room),
		  QOR_STATUS_OK);
	EXPECT_EQ(room, 0u);
}

TEST_F(Scsi, UnderrunLeavesTheRestOfTheBuffer)
{
	fault(QORSIM_SCSI_FAULT_UNDERRUN, 100);
	std::vector<uint8_t> data(4096, 0xCD);
	EXPECT_EQ(run(qorl_scsi_read10, 0, {}, data.data(), 4096), QOR_STATUS_OK);
	EXPECT_EQ(fc_get_be64(data.data()), 0u);
	EXPECT_EQ(std::tuple(data[99], data[100], data[4095]), std::tuple((uint8_t)(0 + 0 + 99), 0xCD, 0xCD));
}

// ---- REPORT LUNS sizing ----------------------------------------------------------

struct LunsCase {
	uint16_t luns;
	std::vector<uint32_t> allocs; // allocation length of each command sent
	uint32_t length;              // list length in the returned buffer
};

const LunsCase kLunsCases[] = {
	{0, {816}, 0}, {1, {816}, 8}, {101, {816}, 808}, {102, {816, 824}, 816}, {300, {816, 2408}, 2400},
};

class ReportLuns : public Scsi, public ::testing::WithParamInterface<LunsCase> {};

TEST_P(ReportLuns, OneRetryWithTheNeededSize)
{
	const LunsCase &c = GetParam();
	luns(c.luns);
	ASSERT_EQ(reportluns(buf), QOR_STATUS_OK);
	ASSERT_NE(buf, nullptr);
	auto log = qt::log_entries(QOR_IOCTL_SCSI);
	ASSERT_EQ(log.size(), c.allocs.size());
	for (size_t i = 0; i < log.size(); i++) {
		const uint8_t *rec_cdb = log[i].in + 32;
		EXPECT_EQ(rec_cdb[0], SCSI_OP_REPORT_LUNS);
		EXPECT_EQ(fc_get_be32(rec_cdb + 6), c.allocs[i]);
		EXPECT_EQ(le32(log[i].in + 52), c.allocs[i]) << "iosz";
		EXPECT_EQ(le32(log[i].in + 60), (uint32_t)sizeof sense) << "the whole sense buffer each time";
	}
	EXPECT_EQ(fc_get_be32(list(buf)), c.length);
	// Every entry the length claims lies within the buffer (ASan would see otherwise).
	for (uint32_t i = 0; i < c.length / 8; i++)
		EXPECT_EQ(scsi_lun_number(scsi_report_luns_entry(list(buf), i)), i);
}

INSTANTIATE_TEST_SUITE_P(Scsi, ReportLuns, ::testing::ValuesIn(kLunsCases),
			 [](const auto &i) { return std::to_string(i.param.luns) + "_luns"; });

struct LieCase {
	uint32_t claimed;
	uint32_t second_alloc; // 0: no second command
	uint32_t length;       // in the returned buffer
};

const LieCase kLies[] = {
	{0xFFFFFFF8u, SCSI_REPORT_LUNS_MAX_LEN, SCSI_REPORT_LUNS_MAX * 8}, // would wrap to 0
	{0xFFFFFFFFu, SCSI_REPORT_LUNS_MAX_LEN, SCSI_REPORT_LUNS_MAX * 8},
	{0x80000000u, SCSI_REPORT_LUNS_MAX_LEN, SCSI_REPORT_LUNS_MAX * 8},
	{SCSI_REPORT_LUNS_MAX * 8 + 8, SCSI_REPORT_LUNS_MAX_LEN, SCSI_REPORT_LUNS_MAX * 8},
	{1000, 1008, 1000},
	{812, 0, 808}, // not a whole entry more: still fits, cut to the 816 bytes held
	{4, 0, 4},
};

class LyingTarget : public Scsi, public ::testing::WithParamInterface<LieCase> {};

TEST_P(LyingTarget, SizeIsCappedAndTheLengthFitsTheBuffer)
{
	const LieCase &c = GetParam();
	fault(QORSIM_SCSI_FAULT_LUN_LIST_LEN, c.claimed);
	ASSERT_EQ(reportluns(buf), QOR_STATUS_OK);
	auto log = qt::log_entries(QOR_IOCTL_SCSI);
	ASSERT_EQ(log.size(), c.second_alloc ? 2u : 1u);
	if (c.second_alloc) {
		EXPECT_EQ(fc_get_be32(log[1].in + 32 + 6), c.second_alloc);
	}
	const uint8_t *b = list(buf);
	EXPECT_EQ(fc_get_be32(b), c.length);
	// The three real units, then zeros up to the claimed end.
	const uint32_t n = c.length / 8;
	if (n >= 3) {
		EXPECT_EQ(scsi_lun_number(scsi_report_luns_entry(b, 2)), 300);
		EXPECT_EQ(scsi_report_luns_entry(b, 2)[0] & SCSI_LUN_AM_MASK, SCSI_LUN_AM_FLAT);
		EXPECT_EQ(le64(scsi_report_luns_entry(b, n - 1)), 0u);
	}
}

INSTANTIATE_TEST_SUITE_P(Scsi, LyingTarget, ::testing::ValuesIn(kLies),
			 [](const auto &i) { return "claims_" + std::to_string(i.param.claimed); });

TEST_F(Scsi, ReportLunsAfterCheckConditionDoesNotRetry)
{
	luns(200);
	// A select report no target knows.
	ASSERT_EQ(reportluns(buf, cdb_of({0, 0, 0x7F})), QOR_STATUS_OK);
	EXPECT_EQ(status, SCSI_STATUS_CHECK_CONDITION);
	EXPECT_EQ(decoded().asc, SCSI_ASC_INVALID_FIELD_IN_CDB);
	EXPECT_EQ(qt::log_entries(QOR_IOCTL_SCSI).size(), 1u);
}

// ---- the emulated targets of the topology -------------------------------------

// The default hardware's array behind port 1/0, as the topology describes it.
using DefaultTargets = ScsiTest;

std::string osname(uint32_t h, uint32_t b, uint32_t t, uint32_t l)
{
	char name[QORL_OSNAME_LEN] = {};
	char *p = name;
	uint32_t n;
	return qorl_get_osname(h, b, t, l, &p, &n) == QOR_STATUS_OK ? name : "";
}

TEST_F(DefaultTargets, ReportLunsInSamEncoding)
{
	ASSERT_EQ(reportluns(buf), QOR_STATUS_OK);
	ASSERT_EQ(scsi_report_luns_length(list(buf), 8), 32u);
	const uint8_t want[4][8] = {{0, 0}, {0, 1}, {0, 2}, {0x41, 0x2C}}; // peripheral below 256, flat above
	for (int i = 0; i < 4; i++)
		EXPECT_EQ(memcmp(scsi_report_luns_entry(list(buf), i), want[i], 8), 0) << i;
}

TEST_F(DefaultTargets, ReadCapacityTenOverflowsPastItsReach)
{
	uint8_t d[32] = {};
	ASSERT_EQ(cmd(1, {SCSI_OP_READ_CAPACITY10}, d, 8), QOR_STATUS_OK);
	scsi_capacity_t c;
	ASSERT_TRUE(scsi_capacity10_decode(d, 8, &c));
	EXPECT_EQ(c.last_lba, 0xFFFFFFFFu) << "3 TiB of 512-byte blocks";
	const auto rc16 = [&](uint8_t alloc) {
		const uint8_t op = SCSI_OP_SERVICE_ACTION_IN16, sa = SCSI_SAI_READ_CAPACITY16;
		return cmd(1, {op, sa, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, alloc}, d, 32);
	};
	ASSERT_EQ(rc16(32), QOR_STATUS_OK);
	ASSERT_TRUE(scsi_capacity16_decode(d, 32, &c));
	EXPECT_EQ(std::tuple(c.last_lba, c.block_len), std::tuple(6442450943u, 512u));
	ASSERT_EQ(cmd(2, {SCSI_OP_READ_CAPACITY10}, d, 8), QOR_STATUS_OK);
	ASSERT_TRUE(scsi_capacity10_decode(d, 8, &c));
	EXPECT_EQ(std::tuple(c.last_lba, c.block_len), std::tuple(131071u, 4096u));
	// The allocation length of READ CAPACITY(16) bounds what comes back.
	memset(d, 0xAA, sizeof d);
	ASSERT_EQ(rc16(8), QOR_STATUS_OK);
	EXPECT_EQ(std::tuple(d[7], d[8]), std::tuple(0xFF, 0xAA));
}

TEST_F(DefaultTargets, VitalProductDataPages)
{
	uint8_t d[255] = {}, page;
	const uint8_t *p;
	size_t n;
	ASSERT_EQ(cmd(0, {SCSI_OP_INQUIRY, 1, SCSI_VPD_SUPPORTED_PAGES, 0, 255}, d, sizeof d), QOR_STATUS_OK);
	ASSERT_TRUE(scsi_vpd_page(d, sizeof d, &page, &p, &n));
	EXPECT_EQ(std::vector<uint8_t>(p, p + n), (std::vector<uint8_t>{0x00, 0x80, 0x83}));
	ASSERT_EQ(cmd(0, {SCSI_OP_INQUIRY, 1, SCSI_VPD_UNIT_SERIAL, 0, 255}, d, sizeof d), QOR_STATUS_OK);
	ASSERT_TRUE(scsi_vpd_page(d, sizeof d, &page, &p, &n));
	EXPECT_EQ(std::string((const char *)p, n), "QXA7C0000");
	ASSERT_EQ(cmd(0, {SCSI_OP_INQUIRY, 1, SCSI_VPD_DEVICE_ID, 0, 255}, d, sizeof d), QOR_STATUS_OK);
	ASSERT_TRUE(scsi_vpd_page(d, sizeof d, &page, &p, &n));
	size_t off = 0;
	scsi_designator_t desig;
	bool lu_naa = false, port = false;
	while (scsi_vpd83_next(p, n, &off, &desig)) {
		if (desig.association == SCSI_ASSOC_LU && desig.type == SCSI_DESIG_NAA)
			lu_naa = desig.len == 8 && desig.id[0] >> 4 == 5;
		if (desig.association == SCSI_ASSOC_TARGET_PORT && desig.type == SCSI_DESIG_NAA)
			port = desig.piv && desig.protocol == SCSI_PROTO_FCP && memcmp(desig.id, &kTgtA, 8) == 0;
	}
	EXPECT_TRUE(lu_naa);
	EXPECT_TRUE(port) << "the target port's own WWN";
	EXPECT_EQ(cmd(0, {SCSI_OP_INQUIRY, 1, 0x89, 0, 255}, d, sizeof d), QOR_STATUS_OK);
	EXPECT_EQ(status, SCSI_STATUS_CHECK_CONDITION);
	scsi_sense_info_t s;
	ASSERT_TRUE(scsi_sense_decode(sense, sns_len, &s));
	EXPECT_EQ(s.asc, SCSI_ASC_INVALID_FIELD_IN_CDB);
}

// The SCSI address the driver gives a target leads to its units' device
// nodes in every layout the topology asks for; a new set of units replaces
// the tree of the old one, and nothing else in it.
TEST_F(DefaultTargets, DeviceNodesAtTheDriversScsiAddress)
{
	uint32_t h = 0, b = 0, t = 0;
	ASSERT_EQ(qorl_rport_get_scsi_address(fc0, 0, fc0->pwwn, kTgtA, &h, &b, &t), QOR_STATUS_OK);
	EXPECT_EQ(osname(h, b, t, 0), "/dev/sda");   // newer layout
	EXPECT_EQ(osname(h, b, t, 2), "/dev/sdc");   // "block:sdc"
	EXPECT_EQ(osname(h, b, t, 300), "/dev/sdd"); // link "block"
	EXPECT_EQ(osname(h, b, t, 3), "") << "no unit";
	ASSERT_EQ(qorl_rport_get_scsi_address(fc1, 0, fc1->pwwn, qt::wwn("50:25:a3:30:02:5b:6e:20"), &h, &b, &t),
		  QOR_STATUS_OK);
	EXPECT_EQ(osname(h, b, t, 0), "/dev/st0");
	EXPECT_TRUE(std::filesystem::is_symlink(root_path("/sys/class/scsi_device/1:0:0:300/device/block")));

	ASSERT_EQ(osname(1, 0, 0, 2), "/dev/sdc");
	qt::write_file(root_path("/sys/class/scsi_device/7:0:0:0/device/block:sdx"), "");
	const qorsim_lun_t one{5, QORSIM_LUN_DISK, 512, 100, nullptr, nullptr, nullptr, nullptr};
	ASSERT_EQ(qorsim_scsi_set_luns(QORSIM_DRV_FC, fc0->instance, kTgtA, &one, 1), 0);
	EXPECT_EQ(osname(1, 0, 0, 2), "");
	EXPECT_EQ(osname(1, 0, 0, 5), "/dev/sda") << "the first disk name is free again";
	EXPECT_EQ(osname(7, 0, 0, 0), "/dev/sdx") << "not the emulator's";
	EXPECT_EQ(osname(1, 0, 1, 0), "/dev/sde") << "the other target's units keep theirs";
}

class ScsiTopology : public qt::SimTest {};

// A LUN the schedule adds is reported once as REPORTED LUNS DATA HAS CHANGED,
// then listed, and gets a device node.
TEST_F(ScsiTopology, ScheduledLunRaisesOneUnitAttention)
{
	topology(R"({"adapters":[{"functions":[{"type":"fc","fcport":{"rports":[
		{"pwwn":"50:00:00:00:00:00:00:01","luns":[{"lun":0},{"lun":1,"type":"tape","device":null}]}]}}]}],
		"schedule":[{"at_ms":1000,"action":"add_lun","instance":0,"rpwwn":"50:00:00:00:00:00:00:01",
		"lun":{"lun":7,"blocks":64,"device":"sdq"}}]})");
	ASSERT_EQ(qorl_adapter_scan(), 1);
	qorl_t *q = qorl_ioc_open_idx(0);
	const wwn_t t = qt::wwn("50:00:00:00:00:00:00:01");
	scsi_cdb_t cdb{};
	uint8_t st = 0xEE, sns[32];
	uint32_t len = sizeof sns;
	auto tur = [&] {
		cdb = scsi_cdb_t{};
		len = sizeof sns;
		EXPECT_EQ(qorl_scsi_testunitready(q, 0, q->pwwn, t, 0, &cdb, 0, nullptr, 0, &st, sns, &len), QOR_STATUS_OK);
		return st;
	};
	char name[QORL_OSNAME_LEN] = {};
	char *p = name;
	uint32_t n;
	EXPECT_EQ(qorl_get_osname(1, 0, 0, 1, &p, &n), QOR_STATUS_FAILED) << "a unit the OS does not name";
	EXPECT_EQ(tur(), SCSI_STATUS_GOOD);
	qorsim_advance_ns(1000000000ull);
	EXPECT_EQ(tur(), SCSI_STATUS_CHECK_CONDITION);
	scsi_sense_info_t s;
	ASSERT_TRUE(scsi_sense_decode(sns, len, &s));
	EXPECT_EQ(kcq(s), std::tuple(SCSI_SK_UNIT_ATTENTION, 0x3F, 0x0E));
	EXPECT_EQ(tur(), SCSI_STATUS_GOOD) << "once";
	void *buf = nullptr;
	cdb = scsi_cdb_t{};
	ASSERT_EQ(qorl_scsi_reportluns(q, 0, q->pwwn, t, 0, &cdb, 0, &buf, 0, &st, sns, &len), QOR_STATUS_OK);
	EXPECT_EQ(scsi_report_luns_length(static_cast<uint8_t *>(buf), 8), 24u);
	free(buf);
	ASSERT_EQ(qorl_get_osname(1, 0, 0, 7, &p, &n), QOR_STATUS_OK);
	EXPECT_STREQ(name, "/dev/sdq");
}

TEST(ScsiTopologyErrors, NameThePlace)
{
	auto one = [](const std::string &rport, const std::string &more = "") {
		return R"({"adapters": [{"functions": [{"type": "fc", "fcport": {"rports": [)" + rport + "]}}]}]" + more +
		       "}";
	};
	const std::string rp = "adapters[0].functions[0].fcport.rports[0]";
	struct Row {
		std::string json, says;
	} rows[] = {
		{one(R"({"role": "initiator", "luns": []})"), rp + ".luns: only a target has logical units"},
		{one(R"({"luns": [{"lun": 1}, {"lun": 1}]})"), rp + ".luns[1]: LUN 1 is given twice"},
		{one(R"({"luns": [{"lun": 16384}]})"), rp + ".luns[0].lun: must be an integer from 0 to 16383"},
		{one(R"({"luns": [{"type": "cdrom"}]})"), rp + ".luns[0].type: must be \"disk\" or \"tape\""},
		{one(R"({"luns": [{"block_size": 256}]})"), rp + ".luns[0].block_size: must be an integer from 512"},
		{one(R"({"luns": [{"vendor": "TOO-LONG-V"}]})"), rp + ".luns[0].vendor: must be text of at most 8"},
		{one(R"({"luns": [{"device": "../sda"}]})"), rp + ".luns[0].device: must be a device name"},
		{one(R"({"luns": [{"sysfs": "old"}]})"), rp + ".luns[0].sysfs: must be \"dir\", \"entry\" or \"link\""},
		{one(R"({"luns": [{"lun": 0}], "lun_count": 16384})"), rp + ".lun_count: a target has at most 16384"},
		{one(R"({"scsi_fault": {"mode": "slow"}})"), rp + ".scsi_fault.mode: must be"},
		{one(R"({"pwwn": "50:00:00:00:00:00:00:01"})",
		     R"(, "schedule": [{"at_ms": 1, "action": "add_lun", "rpwwn": "50:00:00:00:00:00:00:02", "lun": {}}])"),
		 "schedule[0].rpwwn: no target with this WWN behind that controller"},
		{one(R"({"pwwn": "50:00:00:00:00:00:00:01"})",
		     R"(, "schedule": [{"at_ms": 1, "action": "add_lun", "rpwwn": "50:00:00:00:00:00:00:01"}])"),
		 "schedule[0]: this action needs \"lun\""},
	};
	for (const auto &row : rows) {
		EXPECT_EQ(qorsim_load_topology(row.json.c_str()), -1) << row.json;
		EXPECT_EQ(std::string(qorsim_error()).rfind(row.says, 0), 0u) << row.json << "\n -> " << qorsim_error();
	}
	qorsim_reset();
}

// ---- the readers -----------------------------------------------------------------

TEST(ScsiDecode, SenseStopsWhereTheDataEnds)
{
	const uint8_t fixed[18] = {0xF0, 0, 0x25, 0, 0, 0x12, 0x34, 10, 0, 0, 0, 0, 0x3F, 0x0E, 0, 0, 0, 0};
	scsi_sense_info_t s;
	ASSERT_TRUE(scsi_sense_decode(fixed, sizeof fixed, &s));
	EXPECT_EQ(kcq(s), std::tuple(5, 0x3F, 0x0E));
	EXPECT_EQ(std::tuple(s.flags, s.info_valid, s.information), std::tuple(SCSI_SENSE_ILI, 1, 0x1234u));
	ASSERT_TRUE(scsi_sense_decode(fixed, 13, &s));
	EXPECT_EQ(std::tuple(s.asc, s.ascq), std::tuple(0x3F, 0)) << "byte 13 was not delivered";
	uint8_t short_add[18];
	memcpy(short_add, fixed, sizeof short_add);
	short_add[7] = 4; // the data says it ends before the ASC
	ASSERT_TRUE(scsi_sense_decode(short_add, sizeof short_add, &s));
	EXPECT_EQ(s.asc, 0);
	EXPECT_FALSE(scsi_sense_decode(fixed, 2, &s));
	const uint8_t desc[20] = {0x72, 0x06, 0x29, 0x00, 0, 0, 0, 12, 0x00, 10, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0x42};
	ASSERT_TRUE(scsi_sense_decode(desc, sizeof desc, &s));
	EXPECT_EQ(std::tuple(s.key, s.asc, s.information), std::tuple(SCSI_SK_UNIT_ATTENTION, 0x29, 0x42u));
	const uint8_t other[4] = {0x7F, 1, 2, 3};
	EXPECT_FALSE(scsi_sense_decode(other, sizeof other, &s));
}

TEST(ScsiDecode, InquiryAndPagesAreBoundedByTheirLengths)
{
	scsi_inquiry_data_t d{};
	d.peripheral = 0x01;
	d.add_len = 200; // claims more than was sent
	memcpy(d.vendor, "ACME\0\0\0\0", 8);
	memcpy(d.product, "Tape\x01 drive      ", 16);
	memcpy(d.revision, "1.0 ", 4);
	const uint8_t *raw = reinterpret_cast<uint8_t *>(&d);
	scsi_inquiry_info_t inq;
	ASSERT_TRUE(scsi_inquiry_decode(raw, sizeof d, &inq));
	EXPECT_EQ(std::tuple(std::string(inq.vendor), std::string(inq.product), std::string(inq.revision)),
		  std::tuple("ACME", "Tape? drive", "1.0"));
	ASSERT_TRUE(scsi_inquiry_decode(raw, 20, &inq));
	EXPECT_STREQ(inq.product, "Tape");
	d.add_len = 10; // ends inside the vendor field
	ASSERT_TRUE(scsi_inquiry_decode(raw, sizeof d, &inq));
	EXPECT_EQ(std::tuple(std::string(inq.vendor), std::string(inq.product)), std::tuple("ACME", ""));

	// A page 0x83 whose last descriptor runs past the page stops before it.
	const uint8_t page[] = {0, 0x83, 0, 20, 0x01, 0x03, 0, 8, 1, 2, 3, 4, 5, 6, 7, 8, 0x02, 0x01, 0, 30, 'A', 'B'};
	uint8_t code;
	const uint8_t *p;
	size_t n, off = 0;
	ASSERT_TRUE(scsi_vpd_page(page, sizeof page, &code, &p, &n));
	EXPECT_EQ(n, 18u);
	scsi_designator_t desig;
	ASSERT_TRUE(scsi_vpd83_next(p, n, &off, &desig));
	EXPECT_EQ(std::tuple(desig.type, desig.len), std::tuple(SCSI_DESIG_NAA, 8u));
	EXPECT_FALSE(scsi_vpd83_next(p, n, &off, &desig));
	EXPECT_FALSE(scsi_vpd_page(page, 3, &code, &p, &n));
}

TEST(ScsiDecode, ReportLunsNeededSizeNeverWraps)
{
	for (auto [have, need] : {std::pair{0u, 8u}, {7u, 8u}, {808u, 816u}, {816u, 824u},
				  {0xFFFFFFF8u, (uint32_t)SCSI_REPORT_LUNS_MAX_LEN}})
		EXPECT_EQ(scsi_report_luns_needed(have), need) << have;
	const uint8_t hdr[12] = {0, 0, 0, 64, 0, 0, 0, 0, 0, 1, 0, 0};
	EXPECT_EQ(scsi_report_luns_count(hdr, sizeof hdr), 0u) << "no whole entry held";
	EXPECT_EQ(scsi_report_luns_count(hdr, 7), 0u);
	uint8_t lun[8];
	scsi_lun_encode(255, lun);
	EXPECT_EQ(std::tuple(lun[0], lun[1]), std::tuple(0x00, 0xFF));
	scsi_lun_encode(256, lun);
	EXPECT_EQ(std::tuple(lun[0], lun[1]), std::tuple(0x41, 0x00));
	EXPECT_EQ(scsi_lun_number(lun), 256);
}

TEST(ScsiDecode, StandardNames)
{
	EXPECT_STREQ(scsi_asc_name(0x25, 0x00), "LOGICAL UNIT NOT SUPPORTED");
	EXPECT_STREQ(scsi_asc_name(0x3F, 0x0E), "REPORTED LUNS DATA HAS CHANGED");
	EXPECT_EQ(scsi_asc_name(0x3F, 0x0F), nullptr);
	EXPECT_EQ(scsi_asc_name(0x80, 0x00), nullptr) << "vendor specific codes have no standard name";
	EXPECT_STREQ(scsi_sense_key_name(SCSI_SK_UNIT_ATTENTION), "UNIT ATTENTION");
	EXPECT_STREQ(scsi_sense_key_name(0xF5), "ILLEGAL REQUEST") << "the key is the low four bits";
	EXPECT_STREQ(scsi_status_name(SCSI_STATUS_CHECK_CONDITION), "CHECK CONDITION");
	EXPECT_EQ(scsi_status_name(0x01), nullptr);
	EXPECT_STREQ(scsi_type_word(0x01), "tape");
	EXPECT_STREQ(scsi_type_word(0x7F), "none") << "the qualifier bits are not the type";
	EXPECT_EQ(scsi_type_word(0x10), nullptr);
	EXPECT_STREQ(scsi_designator_word(SCSI_DESIG_NAA), "naa");
	EXPECT_EQ(scsi_association_word(3), nullptr);
}

} // namespace
