// The request list against what is built from it: the codes, the emulator's
// rows on each driver, and the library's refusal of the other side.
#include <cerrno>
#include <cstring>
#include <functional>
#include <set>
#include <string>

#include "qor/ioctl/qor_requests.hpp"
#include "qorl_ethport.h"
#include "qorl_ioc.h"
#include "qorl_itnim.h"
#include "qorl_lport.h"
#include "qorl_port.h"
#include "qorl_rport.h"
#include "qorl_scsi.h"
#include "testutil.h"

namespace {

// Each line's descriptor carries its record and the code it was checked against.
#define QOR_REQUEST(name, type, nr, rec, side, target, effect, literal, label)                 \
	static_assert(qor::request<QOR_IOCTL_##name>::info.code == (literal) &&                \
		      std::is_same_v<qor::request<QOR_IOCTL_##name>::record, rec> &&            \
		      QOR_IOCTL_SIZE(literal) == sizeof(rec) && (literal) >> 30 == QOR_IOC_DIR_RW, \
		      #name);
#include "qor/ioctl/qor_requests.def"
#undef QOR_REQUEST

uint32_t on_ethernet(uint32_t code)
{
	return (code & ~0xff00u) | (QOR_IOCTL_TYPE_ETH << 8);
}

std::string label_or_none(const char *l)
{
	return l ? l : "(none)";
}

TEST(RequestList, NamesAndLabelsAreUnique)
{
	std::set<std::string> names, labels;
	for (const auto &r : qor::requests) {
		EXPECT_TRUE(names.insert(r.name).second) << r.name;
		EXPECT_TRUE(labels.insert(r.label).second) << r.label;
	}
}

// The Ethernet driver knows a request by number and size only; where a
// request of another module matches one of the controller module in both,
// it answers the controller module's.
const qor::request_info *ethernet_owner(const qor::request_info &r)
{
	for (const auto &o : qor::requests)
		if (o.type == QOR_IOCTL_TYPE_IOC && qor::serves_eth(o.side) && on_ethernet(o.code) == on_ethernet(r.code))
			return &o;
	return &r;
}

TEST(RequestList, EveryRequestIsServedByTheDriversOfItsSide)
{
	qorsim_reset();
	for (const auto &r : qor::requests) {
		SCOPED_TRACE(r.name);
		const std::string fc = label_or_none(qorsim_request_label(QORSIM_DRV_FC, r.code));
		const std::string eth = label_or_none(qorsim_request_label(QORSIM_DRV_ETH, on_ethernet(r.code)));
		if (qor::serves_fc(r.side))
			EXPECT_EQ(fc, r.label);
		else
			EXPECT_EQ(fc, "(none)");
		if (qor::serves_eth(r.side))
			EXPECT_EQ(eth, ethernet_owner(r)->label);
		else
			EXPECT_NE(eth, r.label);
		EXPECT_EQ(qorsim_request_label(QORSIM_DRV_ETH, r.code), nullptr) << "the Ethernet driver's own type byte only";
	}
}

TEST(RequestList, AWrongSizeIsNoRequest)
{
	qorsim_reset();
	for (const auto &r : qor::requests) {
		SCOPED_TRACE(r.name);
		const uint32_t bigger = r.code + (1u << 16);
		EXPECT_EQ(qorsim_request_label(QORSIM_DRV_FC, bigger), nullptr);
		EXPECT_EQ(qorsim_request_label(QORSIM_DRV_ETH, on_ethernet(bigger)), nullptr);
	}
}

using Sides = qt::ScannedTest;

// The library operation that sends each request meant for one side only.
struct OneSideOp {
	uint32_t code;
	std::function<qor_status_t(qorl_t *)> op;
};

const wwn_t kTgt = qt::wwn("50:25:a3:40:10:3a:7c:00");

std::vector<OneSideOp> one_side_ops()
{
	static qor_iocfc_attr_t iocfc;
	static qor_lport_attr_t lattr;
	static qor_rport_attr_t rattr;
	static qor_rport_stats_t rstats;
	static qor_itnim_attr_t iattr;
	static qor_itnim_ioprofile_t prof;
	static qorl_stats_t pairs[64];
	static qorl_stats_long_t long_pairs[64];
	static qor_ethport_stats_t estats;
	static qor_ethport_attr_t eattr;
	static wwn_t rports[8];
	static uint32_t n, h, b, t, rspsz;
	static uint8_t buf[64];
	static fchs_t fchs;
	auto pwwn = [](qorl_t *q) { return q->pwwn; };
	return {
		{QOR_IOCTL_PORT_ENABLE, [](qorl_t *q) { return qorl_port_enable(q); }},
		{QOR_IOCTL_PORT_DISABLE, [](qorl_t *q) { return qorl_port_disable(q); }},
		{QOR_IOCTL_PORT_CFG_TOPO, [](qorl_t *q) { return qorl_port_cfg_topology(q, QOR_PORT_TOPOLOGY_LOOP); }},
		{QOR_IOCTL_PORT_CFG_SPEED, [](qorl_t *q) { return qorl_port_cfg_speed(q, QOR_PORT_SPEED_4GBPS); }},
		{QOR_IOCTL_PORT_CFG_ALPA, [](qorl_t *q) { return qorl_port_cfg_hardalpa(q, 0xE8); }},
		{QOR_IOCTL_PORT_CLR_ALPA, [](qorl_t *q) { return qorl_port_clr_hardalpa(q); }},
		{QOR_IOCTL_PORT_CFG_MAXFRSZ, [](qorl_t *q) { return qorl_port_cfg_maxfrsize(q, 1024); }},
		{QOR_IOCTL_IOCFC_GET_ATTR, [](qorl_t *q) { return qorl_iocfc_get_attr(q, &iocfc); }},
		{QOR_IOCTL_IOCFC_SET_INTR, [](qorl_t *q) { return qorl_iocfc_intr_set(q, QOR_TRUE, 10, 20); }},
		{QOR_IOCTL_LPORT_GET_ATTR, [=](qorl_t *q) { return qorl_lport_get_attr(q, 0, pwwn(q), &lattr); }},
		{QOR_IOCTL_LPORT_GET_IOSTATS, [=](qorl_t *q) { return qorl_lport_get_iostats(q, 0, pwwn(q), pairs); }},
		{QOR_IOCTL_LPORT_GET_STATS, [=](qorl_t *q) { return qorl_lport_get_stats(q, 0, pwwn(q), pairs); }},
		{QOR_IOCTL_LPORT_RESET_STATS, [=](qorl_t *q) { return qorl_lport_reset_stats(q, 0, pwwn(q)); }},
		{QOR_IOCTL_LPORT_GET_RPORTS,
		 [=](qorl_t *q) { return n = 8, qorl_lport_get_rports(q, 0, pwwn(q), rports, &n); }},
		{QOR_IOCTL_RPORT_ADD, [=](qorl_t *q) { return qorl_rport_add(q, 0, pwwn(q), kTgt); }},
		{QOR_IOCTL_RPORT_REMOVE, [=](qorl_t *q) { return qorl_rport_remove(q, 0, pwwn(q), kTgt); }},
		// pwwn 0: the base port would be read first, on the right side only.
		{QOR_IOCTL_RPORT_GET_STATS, [](qorl_t *q) { return qorl_rport_get_stats(q, 0, 0, kTgt, &rstats); }},
		{QOR_IOCTL_RPORT_RESET_STATS, [](qorl_t *q) { return qorl_rport_reset_stats(q, 0, 0, kTgt); }},
		{QOR_IOCTL_RPORT_GET_ATTR, [](qorl_t *q) { return qorl_rport_get_attr(q, 0, 0, kTgt, &rattr); }},
		{QOR_IOCTL_RPORT_GET_SCSI_ADDR,
		 [=](qorl_t *q) { return qorl_rport_get_scsi_address(q, 0, pwwn(q), kTgt, &h, &b, &t); }},
		{QOR_IOCTL_RPORT_SET_SPEED,
		 [=](qorl_t *q) { return qorl_rport_set_speed(q, 0, pwwn(q), kTgt, QOR_PORT_SPEED_4GBPS); }},
		{QOR_IOCTL_FCPT,
		 [=](qorl_t *q) {
			 return rspsz = sizeof buf, qorl_fcpt(q, 0, pwwn(q), kTgt, 20, QOR_FALSE, FC_CLASS_3, &fchs, buf,
							      4, buf, &rspsz);
		 }},
		{QOR_IOCTL_ITNIM_GET_ATTR, [=](qorl_t *q) { return qorl_itnim_get_attr(q, 0, pwwn(q), kTgt, &iattr); }},
		{QOR_IOCTL_ITNIM_GET_IOSTATS,
		 [=](qorl_t *q) { return qorl_itnim_get_iostats(q, 0, pwwn(q), kTgt, pairs); }},
		{QOR_IOCTL_ITNIM_RESET_STATS, [=](qorl_t *q) { return qorl_itnim_reset_stats(q, 0, pwwn(q), kTgt); }},
		{QOR_IOCTL_ITNIM_GET_ITNSTATS,
		 [=](qorl_t *q) { return qorl_itnim_get_itnstats(q, 0, pwwn(q), kTgt, pairs); }},
		{QOR_IOCTL_ITNIM_GET_IOPROFILE,
		 [=](qorl_t *q) { return qorl_itnim_get_ioprofile(q, 0, pwwn(q), kTgt, &prof); }},
		{QOR_IOCTL_ETHPORT_GET_STATS, [](qorl_t *q) { return qorl_ethport_get_stats(q, &estats); }},
		{QOR_IOCTL_ETHPORT_GET_ATTR, [](qorl_t *q) { return qorl_ethport_get_attr(q, &eattr); }},
		{QOR_IOCTL_FCOE_GET_STATS, [](qorl_t *q) { return qorl_fcoe_get_stats(q, long_pairs); }},
		{QOR_IOCTL_FCOE_RESET_STATS, [](qorl_t *q) { return qorl_fcoe_reset_stats(q); }},
		{QOR_IOCTL_FCOE_ENABLE, [](qorl_t *q) { return qorl_fcoe_port_enable(q); }},
		{QOR_IOCTL_FCOE_DISABLE, [](qorl_t *q) { return qorl_fcoe_port_disable(q); }},
	};
}

TEST_F(Sides, TheOtherSideIsRefusedBeforeAnythingIsSent)
{
	const auto ops = one_side_ops();
	for (const auto &r : qor::requests) {
		if (r.side == qor::side::BOTH)
			continue;
		SCOPED_TRACE(r.name);
		const OneSideOp *op = nullptr;
		for (const auto &o : ops)
			if (o.code == r.code)
				op = &o;
		ASSERT_NE(op, nullptr) << "no operation listed for this request";
		const bool fc = r.side == qor::side::FC;
		for (qorl_t *wrong : fc ? std::vector<qorl_t *>{eth} : std::vector<qorl_t *>{fc0, fcoe}) {
			const std::string before = written_config();
			qorsim_log_clear();
			EXPECT_EQ(op->op(wrong), QOR_STATUS_FAILED);
			EXPECT_EQ(qorsim_log_count(), 0u);
			EXPECT_EQ(written_config(), before) << "nothing recorded";
		}
		// On its own side the operation is the one that sends it.
		for (qorl_t *right : fc ? std::vector<qorl_t *>{fc0, fcoe} : std::vector<qorl_t *>{eth}) {
			qorsim_log_clear();
			(void)op->op(right);
			auto log = qt::log_entries_any(r.code);
			ASSERT_FALSE(log.empty());
			EXPECT_EQ(log.back().code, fc ? r.code : on_ethernet(r.code));
		}
	}
}

TEST_F(Sides, TrunkRequestsReachTheEthernetDriver)
{
	qor_trunk_attr_t a;
	memset(&a, 0x5A, sizeof a);
	EXPECT_EQ(qorl_port_get_trunk_attr(eth, &a), QOR_STATUS_TRUNK_UNSUPP);
	EXPECT_EQ(a.state, 0x5A5A5A5Au) << "copied only on success";
	auto log = qt::log_entries();
	ASSERT_EQ(log.size(), 1u);
	EXPECT_EQ(log[0].code, 0xC0484403u);
	EXPECT_EQ(log[0].drv, QORSIM_DRV_ETH);
	EXPECT_EQ(log[0].err, 0);
}

} // namespace
