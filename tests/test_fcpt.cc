// Fabric pass-through: the GSPN_ID and RLS frames byte for byte, and what
// refused, cut or over-long fabric replies turn into.
#include <cstring>
#include <vector>

#include "protocol/fc_ct.h"
#include "protocol/fc_els.h"
#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorl_lport.h"
#include "qorl_rport.h"
#include "qorsim_san.h"
#include "testutil.h"

namespace {

const wwn_t kTgtA = qt::wwn("50:25:a3:40:10:3a:7c:00");
const uint8_t kTgtAPid[3] = {0x01, 0x1a, 0x00};
const uint8_t kOurPid[3] = {0x10, 0x00, 0x00}; // adapter 1 port 0 on its fabric
const char *const kNameA = "QX-Array A ctl0 port 0";

// A driver that wrote only the first `kept` bytes of a pass-through reply
// (-1: all it had) and reported `reported` as its size (-1: its own).
void cut_replies(int kept, int64_t reported)
{
	qt::ioctl_wrap = [=](int fd, unsigned long request, void *arg, qt::ioctl_fn *next) {
		auto *r = (request & 0xffff) == (QOR_IOCTL_FCPT & 0xffff) ? static_cast<qor_ioctl_fcpt_t *>(arg) : nullptr;
		const uint32_t room = r ? r->rspsz : 0;
		int rc = next(fd, request, arg);
		if (r && rc == 0 && kept >= 0 && (uint32_t)kept < room) {
			memset(reinterpret_cast<uint8_t *>(static_cast<uintptr_t>(r->rspbuf_ptr)) + kept, 0, room - kept);
			r->rspsz = (uint32_t)kept;
		}
		if (r && rc == 0 && reported >= 0)
			r->rspsz = (uint32_t)reported;
		return rc;
	};
}

// A GSPN_ID query about our own address, for the name server.
struct own_name_query {
	fchs_t h;
	fcgs_gspnid_frame_t req{};
	own_name_query()
	{
		uint8_t ns[3];
		fc_put_be24(ns, FC_DIRECTORY_SERVER);
		fc_req_fchdr_build(&h, FC_RCTL_FC4_UNSOL_CTL, ns, kOurPid, FC_TYPE_SERVICES);
		req.ct.rev_id = CT_GS3_REVISION;
		req.ct.gs_type = CT_GSTYPE_DIRSERVICE;
		req.ct.gs_sub_type = CT_GSSUBTYPE_NAMESERVER;
		fc_put_be16(req.ct.cmd_rsp_code, GS_GSPN_ID);
		memcpy(req.req.dap, kOurPid, 3);
	}
};

class Fcpt : public qt::ScannedTest {
protected:
	void TearDown() override
	{
		qorsim_san_fabric_fault(QORSIM_SAN_FAULT_NONE);
		qt::ioctl_wrap = nullptr;
		qt::ScannedTest::TearDown();
	}
	uint32_t pid_of(wwn_t rp)
	{
		qor_rport_attr_t a;
		EXPECT_EQ(qorl_rport_get_attr(fc0, 0, 0, rp, &a), QOR_STATUS_OK);
		return a.pid;
	}
	std::vector<uint8_t> payload()
	{
		std::vector<uint8_t> b(4096);
		b.resize(qorsim_san_last_payload(b.data(), b.size()));
		return b;
	}
	// Target A's name as the caller gets it: `want`, or (nullptr) the caller's buffer untouched.
	void expect_name(uint32_t pid, qor_status_t st, const char *want)
	{
		qor_rport_symname_t n;
		strcpy(n.symname, "before");
		EXPECT_EQ(qorl_get_rport_symname(fc0, 0, pid, fc0->pwwn, kTgtA, &n), st);
		EXPECT_STREQ(n.symname, want ? want : "before");
	}
	// Target A's link counters (`wire` as on the wire); the caller's left alone on a failure.
	void expect_rls(qor_status_t st, const uint32_t (&wire)[6])
	{
		qorl_stats_t s[6];
		memset(s, 0x44, sizeof s);
		EXPECT_EQ(qorl_rport_get_remote_link_error_status(fc0, fc0->pwwn, kTgtA, s), st);
		for (int i = 0; i < 6; i++)
			EXPECT_EQ(s[i].value, st == QOR_STATUS_OK ? __builtin_bswap32(wire[i]) : 0x44444444u) << i;
	}
};

qor_ioctl_fcpt_t sent(size_t i = 0)
{
	auto log = qt::log_entries(QOR_IOCTL_FCPT);
	qor_ioctl_fcpt_t r{};
	if (log.size() > i)
		memcpy(&r, log[i].in, sizeof r);
	return r;
}

TEST_F(Fcpt, GspnIdFrameAndAnswer)
{
	expect_name(pid_of(kTgtA), QOR_STATUS_OK, kNameA);
	qor_ioctl_fcpt_t r = sent();
	EXPECT_EQ(r.qord_num, fc0->instance);
	EXPECT_EQ(r.vf_id, 0);
	EXPECT_EQ(r.lpwwn, fc0->pwwn);
	EXPECT_EQ(r.dpwwn, kTgtA);
	EXPECT_EQ(r.tsecs, 20u);
	EXPECT_EQ(r.cts, 0);
	EXPECT_EQ(r.cos, (uint32_t)FC_CLASS_3);
	EXPECT_EQ(r.nport_nexus_needed, 1);
	EXPECT_EQ(r.reqsz, 20u);
	EXPECT_EQ(r.rspsz, 512u);
	// FC-FS header: R_CTL 02, D_ID FFFFFC, S_ID ours, TYPE 20, F_CTL 290000, RX_ID FFFF.
	const uint8_t hdr[24] = {0x02, 0xFF, 0xFF, 0xFC, 0x00, kOurPid[0], kOurPid[1], kOurPid[2],
				 0x20, 0x29, 0x00, 0x00, 0,    0,    0,    0,
				 0,    0,    0xFF, 0xFF, 0,    0,    0,    0};
	EXPECT_EQ(memcmp(&r.fchs, hdr, 24), 0);
	// FC-GS CT preamble and GSPN_ID payload.
	const uint8_t ct[20] = {0x01, 0, 0, 0, 0xFC, 0x02, 0, 0, 0x01, 0x18, 0, 0, 0, 0, 0, 0,
				0x00, kTgtAPid[0], kTgtAPid[1], kTgtAPid[2]};
	auto p = payload();
	ASSERT_EQ(p.size(), 20u);
	EXPECT_EQ(memcmp(p.data(), ct, 20), 0);
}

TEST_F(Fcpt, RlsFrameAndCounters)
{
	qorl_stats_t s[QORL_RPORT_REMOTE_LINK_STATS_COUNT];
	ASSERT_EQ(qorl_rport_get_remote_link_error_status(fc0, fc0->pwwn, kTgtA, s), QOR_STATUS_OK);
	EXPECT_STREQ(s[0].name, "Link Failure Count");
	// The target's block in the default fabric, big-endian on the wire and
	// handed on in that byte order.
	const uint32_t wire[6] = {1, 2, 0, 0, 7, 3};
	for (int i = 0; i < 6; i++)
		EXPECT_EQ(s[i].value, __builtin_bswap32(wire[i])) << i;
	qor_ioctl_fcpt_t r = sent();
	const uint8_t hdr[24] = {0x22, kTgtAPid[0], kTgtAPid[1], kTgtAPid[2], 0x00, kOurPid[0], kOurPid[1], kOurPid[2],
				 0x01, 0x29,	    0x00,	 0x00,	      0,    0,	       0,	   0,
				 0,    0,	    0xFF,	 0xFF,	      0,    0,	       0,	   0};
	EXPECT_EQ(memcmp(&r.fchs, hdr, 24), 0);
	EXPECT_EQ(r.reqsz, 36u);
	EXPECT_EQ(r.rspsz, 28u);
	auto p = payload();
	ASSERT_EQ(p.size(), 36u);
	EXPECT_EQ(p[0], 0x0F);
	for (size_t i = 1; i < p.size(); i++)
		EXPECT_EQ(p[i], 0) << i;
}

// Offline addresses send nothing; a name that is empty leaves the caller's buffer alone.
TEST_F(Fcpt, OfflineAddressesAndEmptyNames)
{
	topology(R"({"adapters":[{"functions":[{"type":"fc","fcport":{"rports":[
	  {"pwwn":"50:00:00:00:00:00:00:01","online":false},{"pwwn":"50:00:00:00:00:00:00:02","symname":""}]}},
	  {"type":"fc","fcport":{"link":"down"}}]}]})");
	ASSERT_EQ(qorl_adapter_scan(), 1);
	qorl_t *a = qorl_ioc_open_idx(0), *b = qorl_ioc_open_idx(1);
	qorsim_log_clear();
	qorl_stats_t s[6];
	EXPECT_EQ(qorl_rport_get_remote_link_error_status(a, a->pwwn, qt::wwn("50:00:00:00:00:00:00:01"), s),
		  QOR_STATUS_RPORT_OFFLINE);
	EXPECT_EQ(qorl_rport_get_remote_link_error_status(b, b->pwwn, 1, s), QOR_STATUS_PORT_OFFLINE);
	qor_rport_symname_t n;
	EXPECT_EQ(qorl_get_rport_symname(b, 0, 0x10203, b->pwwn, 1, &n), QOR_STATUS_PORT_OFFLINE);
	EXPECT_EQ(qt::log_entries(QOR_IOCTL_FCPT).size(), 0u);

	qor_rport_attr_t ra;
	ASSERT_EQ(qorl_rport_get_attr(a, 0, 0, qt::wwn("50:00:00:00:00:00:00:02"), &ra), QOR_STATUS_OK);
	strcpy(n.symname, "before");
	EXPECT_EQ(qorl_get_rport_symname(a, 0, ra.pid, a->pwwn, ra.pwwn, &n), QOR_STATUS_OK);
	EXPECT_STREQ(n.symname, "before");
}

// Fabric replies that are refusals, cut short or over-long, and what the
// caller sees: a refusal is a status; anything else is read from the
// library's own cleared buffer, whatever size the driver reported.
struct Reply {
	const char *name;
	int fault;
	qor_status_t symname;
	const char *name_read; // nullptr: the caller's buffer untouched
	qor_status_t rls;
	uint32_t counters[6];  // as on the wire (big-endian words)
};
void PrintTo(const Reply &c, std::ostream *os) { *os << c.name; }

const Reply kReplies[] = {
	{"reject", QORSIM_SAN_FAULT_NS_REJECT, QOR_STATUS_FABRIC_RJT, nullptr, QOR_STATUS_OK, {1, 2, 0, 0, 7, 3}},
	// The name length claims 200, 8 characters arrived: the zeros after them end it.
	{"name past the reply", QORSIM_SAN_FAULT_NS_BAD_LEN, QOR_STATUS_OK, "QX-Array", QOR_STATUS_OK, {1, 2, 0, 0, 7, 3}},
	// The accept code arrived, the name length did not: it reads 0.
	{"cut in the CT header", QORSIM_SAN_FAULT_NS_SHORT, QOR_STATUS_OK, nullptr, QOR_STATUS_OK, {1, 2, 0, 0, 7, 3}},
	{"size beyond the room", QORSIM_SAN_FAULT_RSPSZ_OVER, QOR_STATUS_OK, kNameA, QOR_STATUS_OK, {1, 2, 0, 0, 7, 3}},
	{"LS_RJT", QORSIM_SAN_FAULT_RLS_RJT, QOR_STATUS_OK, kNameA, QOR_STATUS_FAILED, {}},
	// 12 bytes of the accept: the first two counters.
	{"short accept", QORSIM_SAN_FAULT_RLS_SHORT, QOR_STATUS_OK, kNameA, QOR_STATUS_OK, {1, 2, 0, 0, 0, 0}},
};

class Replies : public Fcpt, public ::testing::WithParamInterface<Reply> {};

TEST_P(Replies, AreBoundedNotRefused)
{
	const Reply &c = GetParam();
	const uint32_t pid = pid_of(kTgtA);
	qorsim_san_fabric_fault(c.fault);
	expect_name(pid, c.symname, c.name_read);
	expect_rls(c.rls, c.counters);
}

INSTANTIATE_TEST_SUITE_P(Fcpt, Replies, ::testing::ValuesIn(kReplies), [](const auto &i) { return qt::test_name(i.param.name); });

// Replies cut anywhere, and sizes that say otherwise than the bytes.
TEST_F(Fcpt, RepliesReadFromTheClearedBuffer)
{
	const uint32_t pid = pid_of(kTgtA);
	struct {
		bool rls; // else the name server's GSPN_ID
		int kept;
		int64_t reported;
		qor_status_t st;
		const char *name; // nullptr: untouched
		uint32_t counters[6];
	} const cases[] = {
		{false, 0, -1, QOR_STATUS_OK, nullptr, {}},          // no reply at all
		{false, 8, -1, QOR_STATUS_FABRIC_RJT, nullptr, {}},  // no accept code
		{false, 9, -1, QOR_STATUS_FABRIC_RJT, nullptr, {}},  // half of it
		{false, 20, -1, QOR_STATUS_OK, "QX-", {}},           // the name cut after 3
		{false, -1, 5, QOR_STATUS_OK, kNameA, {}},           // all there, 5 reported
		{false, -1, 4096, QOR_STATUS_OK, kNameA, {}},        // all there, more reported than the room
		{false, 8, 512, QOR_STATUS_FABRIC_RJT, nullptr, {}},
		{true, 0, -1, QOR_STATUS_FAILED, nullptr, {}},             // no reply: no accept
		{true, 1, -1, QOR_STATUS_OK, nullptr, {0, 0, 0, 0, 0, 0}}, // the reply code alone
		{true, 8, -1, QOR_STATUS_OK, nullptr, {1, 0, 0, 0, 0, 0}}, // and one counter
		{true, -1, 0, QOR_STATUS_OK, nullptr, {1, 2, 0, 0, 7, 3}}, // all there, 0 reported
		{true, -1, 400, QOR_STATUS_OK, nullptr, {1, 2, 0, 0, 7, 3}},
	};
	for (const auto &c : cases) {
		SCOPED_TRACE(testing::Message() << (c.rls ? "RLS" : "GSPN_ID") << " kept " << c.kept << ", reported "
						<< c.reported);
		cut_replies(c.kept, c.reported);
		if (c.rls)
			expect_rls(c.st, c.counters);
		else
			expect_name(pid, c.st, c.name);
	}
}

TEST_F(Fcpt, PassThroughFieldsAndRoom)
{
	// A fabric-addressed request (no destination port) needs no nexus.
	own_name_query q;
	fchs_t &h = q.h;
	fcgs_gspnid_frame_t &req = q.req;
	qt::Guarded<20> buf;
	uint8_t *rsp = buf.buf;
	uint32_t room = sizeof buf.buf;
	ASSERT_EQ(qorl_fcpt(fc0, 0, fc0->pwwn, 0, 5, QOR_TRUE, FC_CLASS_3, &h, &req, sizeof req, rsp, &room),
		  QOR_STATUS_OK);
	qor_lport_attr_t la;
	ASSERT_EQ(qorl_lport_get_attr(fc0, 0, fc0->pwwn, &la), QOR_STATUS_OK);
	EXPECT_EQ(room, sizeof(ct_hdr_t) + 1 + strlen(la.port_cfg.sym_name.symname))
		<< "the whole reply's size comes back";
	EXPECT_GT(room, sizeof buf.buf);
	EXPECT_TRUE(buf.intact()) << "the fabric wrote no more than the room";
	EXPECT_EQ(fc_get_be16(rsp + 8), CT_RSP_ACCEPT);
	qor_ioctl_fcpt_t r = sent();
	EXPECT_EQ(r.nport_nexus_needed, 0);
	EXPECT_EQ(r.cts, 1);
	EXPECT_EQ(r.tsecs, 5u);
	EXPECT_EQ(r.reqbuf_ptr, (uint64_t)(uintptr_t)&req);
	EXPECT_EQ(r.rspbuf_ptr, (uint64_t)(uintptr_t)rsp);

	// A point-to-point port has no name server.
	room = sizeof rsp;
	EXPECT_EQ(qorl_fcpt(fc1, 0, fc1->pwwn, 0, 5, QOR_FALSE, FC_CLASS_3, &h, &req, sizeof req, rsp, &room),
		  QOR_STATUS_NO_FABRIC);
	// A frame header that does not match the sender is refused by the driver.
	h.s_id[2] ^= 1;
	room = sizeof rsp;
	EXPECT_EQ(qorl_fcpt(fc0, 0, fc0->pwwn, 0, 5, QOR_FALSE, FC_CLASS_3, &h, &req, sizeof req, rsp, &room),
		  QOR_STATUS_BADFRMHDR);
	h.s_id[2] ^= 1;

	// The driver's own size reaches the caller, also above the room it gave;
	// a channel failure leaves the size alone.
	qorsim_san_fabric_fault(QORSIM_SAN_FAULT_RSPSZ_OVER);
	room = sizeof buf.buf;
	EXPECT_EQ(qorl_fcpt(fc0, 0, fc0->pwwn, 0, 5, QOR_FALSE, FC_CLASS_3, &h, &req, sizeof req, rsp, &room),
		  QOR_STATUS_OK);
	EXPECT_EQ(room, sizeof buf.buf + 100);
	qorsim_fault_request(QOR_IOCTL_FCPT, -1, EIO, 0, 1);
	room = sizeof buf.buf;
	EXPECT_EQ(qorl_fcpt(fc0, 0, fc0->pwwn, 0, 5, QOR_FALSE, FC_CLASS_3, &h, &req, sizeof req, rsp, &room),
		  QOR_STATUS_EIO);
	EXPECT_EQ(room, sizeof buf.buf);
}

} // namespace
