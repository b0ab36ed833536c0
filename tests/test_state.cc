// Display names, statistics naming and the checksum: pure functions over
// constant tables, so no emulator is involved.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "qorl_state.h"
#include "qorl_stats.h"

namespace {

template <class E> E as(int code)
{
	return static_cast<E>(code);
}

TEST(StateNames, DocumentedEdgeCases)
{
	EXPECT_STREQ(qorl_ioc_state_to_string(as<qor_ioc_state_t>(12)), "unknown");
	EXPECT_STREQ(qorl_ioc_state_to_string(as<qor_ioc_state_t>(1)), "unknown");
	EXPECT_STREQ(qorl_ioc_state_to_string(QOR_IOC_FWMISMATCH), "firmware mismatch");
	EXPECT_STREQ(qorl_port_speed_to_string(QOR_PORT_SPEED_AUTO), "Auto");
	EXPECT_STREQ(qorl_port_speed_to_string(QOR_PORT_SPEED_4GBPS), "4G ");
	EXPECT_STREQ(qorl_auth_rej_code_to_string(as<qor_auth_rej_code_t>(255)), "Logical err");
	EXPECT_STREQ(qorl_auth_rej_code_to_string(as<qor_auth_rej_code_t>(2)), "Logical err");
	EXPECT_STREQ(qorl_cee_status_to_string(as<qor_cee_status_t>(2)), "Loopback");
	EXPECT_STREQ(qorl_cee_status_to_string(as<qor_cee_status_t>(3)), "Linkdown");
	EXPECT_STREQ(qorl_auth_status_to_string(as<qor_auth_status_t>(9)), "unknown");
	EXPECT_STREQ(qorl_auth_status_to_string(as<qor_auth_status_t>(10)), "unknown");
	EXPECT_STREQ(qorl_get_sfp_media(QOR_SFP_MEDIA_UNSUPPORT), "us");
}

// C++ may only name codes within an enumeration's value range; a table whose
// rows cover that whole range has no code to probe the fallback with.
constexpr int no_gap = -2;

// One row per table: its first row, its last row (before the end row) and a
// code it has no row for, which must read "unknown" and not the end text.
struct Probe {
	const char *table;
	const char *(*fn)(int);
	int first_code;
	const char *first;
	int last_code;
	const char *last;
	int missing;
};

#define PROBE(fn, type) #fn, [](int c) { return fn(static_cast<type>(c)); }
const Probe probes[] = {
	{PROBE(qorl_flash_status_to_string, qor_flash_status_t), 0, "good", 5, "badcksum", 6},
	{PROBE(qorl_flash_part_type_to_string, qor_flash_part_type_t), 0, "null", 15, "portcfg", no_gap},
	{PROBE(qorl_ioc_state_to_string, qor_ioc_state_t), 2, "reset", 10, "disabled", 0},
	{PROBE(qorl_port_states_to_string, qor_port_states_t), 0, "Unknown", 15, "Invalid", no_gap},
	{PROBE(qorl_port_speed_to_string, qor_port_speed_t), 0, "---", 15, "Auto", 3},
	{PROBE(qorl_port_type_to_string, qor_port_type_t), 1, "UN", 22, "VP", 0},
	{PROBE(qorl_port_topology_to_string, qor_port_topology_t), 0, "Unknown", 3, "Auto", no_gap},
	{PROBE(qorl_rport_state_to_string, qor_rport_state_t), 0, "uninit", 9, "nsdisc", 10},
	{PROBE(qorl_itnim_state_to_string, qor_itnim_state_t), 0, "offline", 7, "initiator", no_gap},
	{PROBE(qorl_auth_status_to_string, qor_auth_status_t), 0, "no_auth", 8, "failed", 11},
	{PROBE(qorl_auth_algo_to_string, qor_auth_algo_t), 1, "MD5", 4, "SHA1,MD5", 0},
	{PROBE(qorl_auth_group_to_string, qor_auth_group_t), 0, "DH-NULL", 256, "DH-ALL(1,2,3,4)", 3},
	{PROBE(qorl_auth_rej_code_to_string, qor_auth_rej_code_t), 1, "Auth fail", 254, "no password", 3},
	{PROBE(qorl_auth_rej_code_exp_to_string, qor_auth_rej_code_exp_t), 1, "Auth Mech", 254, "-", 11},
	{PROBE(qorl_vport_state_to_string, qor_vport_state_t), 0, "uninit", 9, "Error", 10},
	{PROBE(qorl_log_severity_to_string, qor_log_severity_t), 0, "invalid", 4, "Info", 5},
	{PROBE(qorl_qos_state_to_string, qor_qos_state_t), 0, "Disabled", 2, "Offline", 3},
	{PROBE(qorl_qos_priority_to_string, qor_qos_priority_t), 0, "Unknown", 3, "Low", no_gap},
	{PROBE(qorl_port_linkstate_rsn_to_string, qor_port_linkstate_rsn_t), 20,
	 "Timeout waiting to receive from peer", 43, "iSCSI priority(s) overlap FCoE priority(s)", 39},
	{PROBE(qorl_ethport_cee_state_to_string, qor_ethport_cee_state_t), 1, "Linkdown", 2, "Linkup", 0},
	{PROBE(qorl_trunk_state_to_string, qor_trunk_state_t), 0, "Disabled", 2, "Linkdown", 3},
	{PROBE(qorl_trunk_link_state_to_string, qor_trunk_link_state_t), 1, "Linkup", 5, "MisMode", 0},
	{PROBE(qorl_trunk_link_fctl_to_string, qor_trunk_link_fctl_t), 0, "Normal", 2, "QoS VC", 3},
	{PROBE(qorl_cee_status_to_string, qor_cee_status_t), 0, "CEE Linkup", 2, "Loopback", no_gap},
};
#undef PROBE

TEST(StateNames, EveryTableFirstLastAndFallback)
{
	EXPECT_EQ(std::size(probes), 24u);
	for (const Probe &p : probes) {
		SCOPED_TRACE(p.table);
		EXPECT_STREQ(p.fn(p.first_code), p.first);
		EXPECT_STREQ(p.fn(p.last_code), p.last);
		if (p.missing != no_gap) {
			EXPECT_STREQ(p.fn(p.missing), "unknown");
		}
	}
}

TEST(StateNames, ExactTextsKeepBlanksAndJoinedWords)
{
	for (int code : {1, 2, 4, 8}) {
		std::string s = qorl_port_speed_to_string(static_cast<qor_port_speed_t>(code));
		EXPECT_EQ(s.size(), 3u) << code;
		EXPECT_EQ(s.back(), ' ') << code;
	}
	EXPECT_STREQ(qorl_port_speed_to_string(QOR_PORT_SPEED_16GBPS), "16G");
	EXPECT_STREQ(qorl_port_linkstate_rsn_to_string(QOR_PORT_LINKSTATE_RSN_FCOE_INCOMPAT),
		     "Protocol Error - FCOE values notcompatible");
	EXPECT_STREQ(qorl_port_linkstate_rsn_to_string(QOR_PORT_LINKSTATE_RSN_BAD_PFC),
		     "Invalid PFC values received [PFCs should beconsistent within a priority group]");
	EXPECT_STREQ(qorl_port_linkstate_rsn_to_string(QOR_PORT_LINKSTATE_RSN_PROTO_INIT),
		     "Protocol Initialization in progress Or Waitingto receive from Peer");
	EXPECT_STREQ(qorl_port_linkstate_rsn_to_string(as<qor_port_linkstate_rsn_t>(40)), "unknown");
	EXPECT_STREQ(qorl_ioc_state_to_string(QOR_IOC_INITFAIL), "hwfail");
	EXPECT_STREQ(qorl_port_states_to_string(QOR_PORT_ST_PREBOOT_DISABLED), "Disabled#");
	EXPECT_STREQ(qorl_itnim_state_to_string(QOR_ITNIM_PRLI_SEND), "prli send");
	EXPECT_STREQ(qorl_auth_rej_code_exp_to_string(QOR_AUTH_RJT_EXP_PROTO_VER_UNSUPP), "Proto Ver.");
	EXPECT_STREQ(qorl_vport_state_to_string(QOR_VPORT_FDISC_SEND), "fdisc*");
}

TEST(StateNames, PortLogAndSfpMedia)
{
	EXPECT_STREQ(qor_plog_mid_strings(0), "Invalid");
	EXPECT_STREQ(qor_plog_mid_strings(3), "HAL");
	EXPECT_STREQ(qor_plog_mid_strings(8), "Max");
	EXPECT_STREQ(qor_plog_eid_strings(7), "Tx_Ack1");
	EXPECT_STREQ(qor_plog_eid_strings(24), "trkscn");
	EXPECT_STREQ(qor_plog_eid_strings(25), "");
	EXPECT_STREQ(qorl_get_sfp_media(QOR_SFP_MEDIA_UNKNOWN), "--");
	EXPECT_STREQ(qorl_get_sfp_media(QOR_SFP_MEDIA_EL), "el");
	// Out-of-range indexes answer with entry 0 instead of reading past the table.
	for (int bad : {-1, 9, 1000})
		EXPECT_STREQ(qor_plog_mid_strings(bad), "Invalid") << bad;
	for (int bad : {-1, 26, 1000})
		EXPECT_STREQ(qor_plog_eid_strings(bad), "Invalid") << bad;
	EXPECT_STREQ(qorl_get_sfp_media(as<qor_defs_sfp_media_t>(6)), "--");
	EXPECT_STREQ(qorl_get_sfp_media(as<qor_defs_sfp_media_t>(7)), "--");
}

struct NameTable {
	const char *const *names;
	size_t size;
	size_t count;
	const char *first;
	const char *last;
};

TEST(StatsNames, CountsAndEnds)
{
#define TABLE(t, n) {t, std::size(t), n, t[0], t[n - 1]}
	const NameTable tables[] = {
		TABLE(qorl_port_fc_stats, QORL_PORT_FC_STATS_COUNT),
		TABLE(qorl_port_eth_stats, QORL_PORT_ETH_STATS_COUNT),
		TABLE(qorl_fcoe_stats, QORL_FCOE_STATS_COUNT),
		TABLE(qorl_lport_stats, QORL_LPORT_STATS_COUNT),
		TABLE(qorl_itnim_iostats, QORL_ITNIM_IOSTATS_COUNT),
		TABLE(qorl_itnim_stats, QORL_ITNIM_STATS_COUNT),
		TABLE(qorl_rport_remote_link_stats, QORL_RPORT_REMOTE_LINK_STATS_COUNT),
		TABLE(qorl_vf_stats, QORL_VF_STATS_COUNT),
		TABLE(qorl_qos_stats, QORL_QOS_STATS_COUNT),
		TABLE(qorl_fcpim_del_itn_stats, QORL_FCPIM_DEL_ITN_STATS_COUNT),
		TABLE(qorl_ipfc_stats, QORL_IPFC_STATS_COUNT),
		TABLE(qorl_cee_stats, QORL_CEE_STATS_COUNT),
	};
#undef TABLE
	const size_t counts[] = {29, 42, 45, 52, 48, 11, 6, 11, 9, 8, 10, 18};
	const char *ends[][2] = {
		{"Seconds since stats is reset", "Encoding err frame_8b10b"},
		{"Seconds since stats is reset", "Tx iSCSI zero pause"},
		{"Seconds since stats reset", "Rx FCoE broadcast vlan frames"},
		{"ns_plogi_sent", "Deleted rport (max retry of plogi)"},
		{"Total IO Requests", "TM cleanup completions"},
		{"num rport online", "num sler notification from QOR"},
		{"Link Failure Count", "Invalid CRC Count"},
		{"Num FLOGIs sent", "Internal fabric offline notification sent to other modules"},
		{"QoS Flogi sent", "QoS RSCN received"},
		{"Aborted IO requests", "TM cleaned-up due to IOC down"},
		{"ARP sent", "FARP reject rcvd"},
		{"LLDP Tx Frames", "CEE invalid cfg"},
	};
	for (size_t t = 0; t < std::size(tables); ++t) {
		SCOPED_TRACE(t);
		EXPECT_EQ(tables[t].size, counts[t]);
		EXPECT_EQ(tables[t].count, counts[t]);
		EXPECT_STREQ(tables[t].first, ends[t][0]);
		EXPECT_STREQ(tables[t].last, ends[t][1]);
		for (size_t i = 0; i < tables[t].size; ++i) {
			ASSERT_NE(tables[t].names[i], nullptr) << i;
			EXPECT_LT(strlen(tables[t].names[i]), sizeof(qorl_stats_t{}.name)) << i;
		}
	}
	// Names that differ from their counters' field names.
	EXPECT_STREQ(qorl_lport_stats[4], "NS command rejects");
	EXPECT_STREQ(qorl_lport_stats[30], "MS command retries");
	EXPECT_STREQ(qorl_itnim_iostats[4], "Write data transfered in bytes");
	EXPECT_STREQ(qorl_port_fc_stats[25], "Primitive sequence protocol err.");
}

TEST(StatsNvPair, ThirtyTwoBitRecordInOrder)
{
	// The remote link error status record: six 32-bit counters.
	struct {
		uint32_t lf, loss_sync, loss_sig, prim_seq, inv_tx_word, inv_crc;
	} rec = {1, 2, 3, 0xfffffffeu, 5, 6};
	qorl_stats_t pairs[QORL_RPORT_REMOTE_LINK_STATS_COUNT + 1];
	memset(pairs, 0x5a, sizeof pairs);
	qorl_stats_to_nv_pair(reinterpret_cast<const uint32_t *>(&rec), pairs,
			      qorl_rport_remote_link_stats, QORL_RPORT_REMOTE_LINK_STATS_COUNT);
	const uint32_t want[] = {1, 2, 3, 0xfffffffeu, 5, 6};
	for (int i = 0; i < QORL_RPORT_REMOTE_LINK_STATS_COUNT; ++i) {
		EXPECT_STREQ(pairs[i].name, qorl_rport_remote_link_stats[i]);
		EXPECT_EQ(pairs[i].value, want[i]);
	}
	// Nothing past count is touched.
	EXPECT_EQ(static_cast<unsigned char>(pairs[QORL_RPORT_REMOTE_LINK_STATS_COUNT].name[0]), 0x5au);
}

TEST(StatsNvPair, SixtyFourBitRecordFromUnalignedBuffer)
{
	std::vector<uint64_t> counters(QORL_PORT_FC_STATS_COUNT);
	for (size_t i = 0; i < counters.size(); ++i)
		counters[i] = (uint64_t{1} << 40) + i;
	// One byte off any natural alignment: reading must not depend on it.
	std::vector<unsigned char> raw(counters.size() * 8 + 1);
	memcpy(raw.data() + 1, counters.data(), counters.size() * 8);
	qorl_stats_long_t pairs[QORL_PORT_FC_STATS_COUNT];
	qorl_stats_long_to_nv_pair(reinterpret_cast<const uint64_t *>(raw.data() + 1), pairs,
				   qorl_port_fc_stats, QORL_PORT_FC_STATS_COUNT);
	EXPECT_STREQ(pairs[0].name, "Seconds since stats is reset");
	EXPECT_EQ(pairs[0].value, uint64_t{1} << 40);
	EXPECT_STREQ(pairs[28].name, "Encoding err frame_8b10b");
	EXPECT_EQ(pairs[28].value, (uint64_t{1} << 40) + 28);
}

TEST(StatsNvPair, LongNamesAreCutAndTerminated)
{
	std::string long_name(100, 'x');
	const char *names[] = {long_name.c_str(), nullptr};
	const uint32_t rec[] = {7, 8};
	qorl_stats_t pairs[2];
	memset(pairs, 0x5a, sizeof pairs);
	qorl_stats_to_nv_pair(rec, pairs, names, 2);
	EXPECT_EQ(std::string(pairs[0].name), std::string(63, 'x'));
	EXPECT_EQ(pairs[0].name[63], '\0');
	EXPECT_STREQ(pairs[1].name, "");
	EXPECT_EQ(pairs[1].value, 8u);
	// Degenerate calls leave the output alone.
	qorl_stats_to_nv_pair(rec, pairs, names, 0);
	qorl_stats_to_nv_pair(rec, pairs, names, -3);
	qorl_stats_long_to_nv_pair(nullptr, nullptr, names, 2);
	EXPECT_EQ(pairs[0].value, 7u);
}

TEST(Checksum, Cases)
{
	const uint8_t abc[] = {0x01, 0x02, 0x03};
	EXPECT_EQ(qorl_checksum_u8(abc, 3), 0xFAu);
	std::vector<uint8_t> ff(256, 0xFF);
	EXPECT_EQ(qorl_checksum_u8(ff.data(), 256), 0x00u);
	EXPECT_EQ(qorl_checksum_u8(abc, 0), 0u);
	EXPECT_EQ(qorl_checksum_u8(nullptr, 5), 0u);
	// A block followed by its checksum sums to 0 modulo 256.
	std::vector<uint8_t> blk = {0x10, 0x80, 0xF0, 0x33, 0x7E};
	blk.push_back(static_cast<uint8_t>(qorl_checksum_u8(blk.data(), blk.size())));
	EXPECT_EQ(qorl_checksum_u8(blk.data(), blk.size()), 0u);
	// The sum runs past 8 bits (0xFF + 0x02 = 0x101): only the low byte counts.
	const uint8_t wrap[] = {0xFF, 0x02};
	EXPECT_EQ(qorl_checksum_u8(wrap, 2), 0xFFu);
}

} // namespace
