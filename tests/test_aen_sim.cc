// The emulator's events: state changes raise what the drivers raise, the
// topology's schedule makes them happen in virtual time, queues are bounded;
// and mxt events prints a scheduled change.
#include <algorithm>
#include <cstdio>
#include <map>
#include <sys/wait.h>

#include <nlohmann/json.hpp>

#include "aen_util.h"
#include "testutil.h"

namespace {

constexpr int FC = QORSIM_DRV_FC;
constexpr int ETH = QORSIM_DRV_ETH;
const uint64_t kR1 = qt::wwn("21:00:02:5a:30:00:00:01");

const char *kSan = R"({
  "adapters": [
    { "serial": "QXA2210F001",
      "functions": [
        { "type": "fc", "pwwn": "20:00:02:5a:31:0a:f0:00",
          "fcport": { "rports": [ { "pwwn": "21:00:02:5a:30:00:00:01" },
                                  { "pwwn": "21:00:02:5a:30:00:00:02", "role": "initiator" } ] } },
        { "type": "fc", "pwwn": "20:00:02:5a:31:0a:f0:01" } ] },
    { "serial": "QXC2214C007",
      "functions": [ { "type": "eth", "mac": "02:5a:31:0c:c0:02" } ] }
  ]%s
})";

std::string topo(const std::string &extra = "")
{
	char buf[4096];
	snprintf(buf, sizeof buf, kSan, extra.c_str());
	return buf;
}

class AenSim : public qt::SimTest {
protected:
	void SetUp() override
	{
		qt::SimTest::SetUp();
		topology(topo());
		ASSERT_TRUE(qt::load_library());
	}
	void TearDown() override
	{
		qorl_aen_exit();
		qorl_libexit();
		qt::SimTest::TearDown();
	}
	// (category, type) of everything queued for the test identity on one controller.
	static std::vector<std::pair<uint32_t, int>> queued(int drv, int inst)
	{
		std::vector<std::pair<uint32_t, int>> v;
		qorl_t *q = qt::controller(drv, inst);
		qor_aen_entry_t buf[64];
		for (int n = 64; n == 64;) {
			n = 64;
			if (qorl_aen_get_events(q, buf, &n, qor_aen_app_test) != QOR_STATUS_OK)
				break;
			for (int i = 0; i < n; i++)
				v.emplace_back(buf[i].aen_category, buf[i].aen_type);
		}
		return v;
	}
};

using Ev = std::pair<uint32_t, int>;

struct ChangeRow {
	const char *name;
	std::function<int()> change;
	int drv, inst; // where the events are expected
	std::vector<Ev> want;
};

const ChangeRow kChanges[] = {
	{"link_down", [] { return qorsim_set_link(FC, 0, 0); }, FC, 0,
	 {{QOR_AEN_CAT_PORT, QOR_PORT_AEN_OFFLINE},
	  {QOR_AEN_CAT_LPORT, QOR_LPORT_AEN_OFFLINE},
	  {QOR_AEN_CAT_RPORT, QOR_RPORT_AEN_OFFLINE},
	  {QOR_AEN_CAT_ITNIM, QOR_ITNIM_AEN_OFFLINE},
	  {QOR_AEN_CAT_RPORT, QOR_RPORT_AEN_OFFLINE}}},
	{"link_up_when_up", [] { return qorsim_set_link(FC, 0, 1); }, FC, 0, {}},
	{"rport_target_offline", [] { return qorsim_set_rport_online(FC, 0, kR1, 0); }, FC, 0,
	 {{QOR_AEN_CAT_RPORT, QOR_RPORT_AEN_OFFLINE}, {QOR_AEN_CAT_ITNIM, QOR_ITNIM_AEN_OFFLINE}}},
	{"rport_online_when_online", [] { return qorsim_set_rport_online(FC, 0, kR1, 1); }, FC, 0, {}},
	{"ioc_disable", [] { return qorsim_set_ioc_enabled(FC, 1, 0); }, FC, 1,
	 {{QOR_AEN_CAT_IOC, QOR_IOC_AEN_DISABLE}, {QOR_AEN_CAT_PORT, QOR_PORT_AEN_DISABLE}}},
	{"eth_link_down", [] { return qorsim_set_link(ETH, 0, 0); }, ETH, 0,
	 {{QOR_AEN_CAT_ETHPORT, QOR_ETHPORT_AEN_LINKDOWN}}},
	{"eth_disable", [] { return qorsim_set_ioc_enabled(ETH, 0, 0); }, ETH, 0,
	 {{QOR_AEN_CAT_IOC, QOR_IOC_AEN_DISABLE}, {QOR_AEN_CAT_ETHPORT, QOR_ETHPORT_AEN_DISABLE}}},
	{"adapter_disable", [] { return qorsim_set_adapter_enabled(0, 0); }, FC, 1,
	 {{QOR_AEN_CAT_IOC, QOR_IOC_AEN_DISABLE}, {QOR_AEN_CAT_PORT, QOR_PORT_AEN_DISABLE}}},
	{"adapter_add", [] { return qorsim_adapter_event(0, QOR_ADAPTER_AEN_ADD); }, FC, 0,
	 {{QOR_AEN_CAT_ADAPTER, QOR_ADAPTER_AEN_ADD}}},
	{"audit", [] { return qorsim_audit_event(FC, 0, QOR_AUDIT_AEN_FLASH_ERASE, 1, 2); }, FC, 0,
	 {{QOR_AEN_CAT_AUDIT, QOR_AUDIT_AEN_FLASH_ERASE}}},
};

class AenSimChange : public AenSim, public ::testing::WithParamInterface<ChangeRow> {};

void PrintTo(const ChangeRow &r, std::ostream *os)
{
	*os << r.name;
}

TEST_P(AenSimChange, RaisesTheDriversEvents)
{
	const ChangeRow &r = GetParam();
	ASSERT_EQ(r.change(), 0) << qorsim_error();
	EXPECT_EQ(queued(r.drv, r.inst), r.want);
}

INSTANTIATE_TEST_SUITE_P(Changes, AenSimChange, ::testing::ValuesIn(kChanges),
			 [](const auto &p) { return std::string(p.param.name); });

TEST_F(AenSim, ChangesToUnknownObjectsFail)
{
	EXPECT_EQ(qorsim_set_link(FC, 9, 0), -1);
	EXPECT_EQ(qorsim_set_rport_online(FC, 1, kR1, 0), -1);
	EXPECT_NE(std::string(qorsim_error()).find("remote port"), std::string::npos) << qorsim_error();
	EXPECT_EQ(qorsim_set_adapter_enabled(5, 0), -1);
}

TEST_F(AenSim, ScheduledChangesHappenAtTheirVirtualTime)
{
	topology(topo(R"(, "schedule": [
	  { "at_ms": 200, "action": "rport_offline", "instance": 0, "rpwwn": "21:00:02:5a:30:00:00:01" },
	  { "at_ms": 300, "action": "event", "instance": 1, "count": 3,
	    "event": { "category": "lport", "type": "new", "data": { "lpwwn": "2a:00:00:00:00:00:00:01" } } },
	  { "at_ms": 400, "action": "audit", "instance": 1, "repeat": 2, "every_ms": 100 } ])"));
	EXPECT_TRUE(queued(FC, 0).empty());
	qorsim_advance_ns(199000000);
	EXPECT_TRUE(queued(FC, 0).empty());
	qorsim_advance_ns(1000000);
	EXPECT_EQ(queued(FC, 0), (std::vector<Ev>{{QOR_AEN_CAT_RPORT, QOR_RPORT_AEN_OFFLINE},
						{QOR_AEN_CAT_ITNIM, QOR_ITNIM_AEN_OFFLINE}}));
	qorsim_advance_ns(1000000000);
	EXPECT_EQ(queued(FC, 1), (std::vector<Ev>{{QOR_AEN_CAT_LPORT, QOR_LPORT_AEN_NEW},
						{QOR_AEN_CAT_LPORT, QOR_LPORT_AEN_NEW},
						{QOR_AEN_CAT_LPORT, QOR_LPORT_AEN_NEW},
						{QOR_AEN_CAT_AUDIT, QOR_AUDIT_AEN_FLASH_UPDATE},
						{QOR_AEN_CAT_AUDIT, QOR_AUDIT_AEN_FLASH_UPDATE}}));
}

// The largest bursts a schedule allows, repeated as often as it allows: what
// the queue keeps and what it lost are as if every copy had been queued
// (the sequence numbers too), without the wait of queueing 10^11 copies.
TEST_F(AenSim, RepeatedBurstsKeepTheLastAndCountTheRest)
{
	topology(topo(R"(, "schedule": [
	  { "at_ms": 1, "action": "event", "instance": 1, "count": 1000000, "repeat": 100000, "every_ms": 1,
	    "event": { "category": "port", "type": "offline" } } ])"));
	qor_aen_entry_t first = qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, {}, 1);
	ASSERT_EQ(qorsim_inject_events(FC, 1, &first, 1), 0);
	int n = 1;
	ASSERT_EQ(qorl_aen_get_events(qt::controller(FC, 1), &first, &n, qor_aen_app_test), QOR_STATUS_OK);
	ASSERT_EQ(n, 1);
	const int32_t seq0 = first.seq_num;
	qorsim_advance_ns(100000ull * 1000000);
	const uint64_t total = 100000ull * 1000000;
	EXPECT_EQ(qorsim_event_count(FC, 1, qor_aen_app_test), 1024);
	EXPECT_EQ(qorsim_event_dropped(FC, 1, qor_aen_app_test), static_cast<int64_t>(total - 1024));
	testing::internal::CaptureStderr();
	ASSERT_EQ(qorl_aen_get_events(qt::controller(FC, 1), &first, &n, qor_aen_app_test), QOR_STATUS_OK);
	EXPECT_NE(testing::internal::GetCapturedStderr().find(std::to_string(total - 1024) + " events lost"),
		  std::string::npos);
	EXPECT_EQ(first.aen_category, QOR_AEN_CAT_PORT);
	EXPECT_EQ(static_cast<uint32_t>(first.seq_num), static_cast<uint32_t>(seq0) + static_cast<uint32_t>(total - 1023));
}

struct BadRow {
	const char *schedule;
	const char *says;
};

TEST(AenSimSchedule, BadEntriesAreRejectedByName)
{
	const BadRow rows[] = {
		{R"([{ "at_ms": 1, "action": "explode" }])", "schedule[0].action: unknown action"},
		{R"([{ "action": "link_down" }])", "schedule[0]: needs \"at_ms\""},
		{R"([{ "at_ms": 1, "action": "link_down", "instance": 7 }])", "schedule[0].instance"},
		{R"([{ "at_ms": 1, "action": "link_down", "rpwwn": "x" }])", "schedule[0].rpwwn: not a key"},
		{R"([{ "at_ms": 1, "action": "rport_offline", "rpwwn": "21:00:02:5a:30:00:00:09" }])",
		 "no remote port"},
		{R"([{ "at_ms": 1, "action": "event", "event": { "category": "port", "data": { "rpwwn": "x" } } }])",
		 "schedule[0].event.data.rpwwn"},
		{R"([{ "at_ms": -5, "action": "link_up" }])", "schedule[0].at_ms"},
	};
	qorsim_reset();
	for (const auto &r : rows) {
		EXPECT_EQ(qorsim_load_topology(topo(std::string(", \"schedule\": ") + r.schedule).c_str()), -1)
			<< r.schedule;
		EXPECT_NE(std::string(qorsim_error()).find(r.says), std::string::npos) << qorsim_error();
	}
}

// The reader's wait on the node reaches the scheduled change in virtual time.
TEST_F(AenSim, ReaderSeesAScheduledRemotePortGoOffline)
{
	topology(topo(R"(, "schedule": [
	  { "at_ms": 200, "action": "rport_offline", "instance": 0, "rpwwn": "21:00:02:5a:30:00:00:01" } ])"));
	qorl_t *q = qt::controller(FC, 0);
	qt::Recorder rec;
	qt::Sub s{&rec, 1, {}};
	qor_rport_aen_data_t key{};
	key.lpwwn = q->pwwn;
	qorl_rport_aen_cbhandle_t *h;
	ASSERT_EQ(qorl_rport_aen_register(q, qt::on_event, &s, &key, &h), QOR_STATUS_OK);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	ASSERT_TRUE(rec.wait_count(1));
	qorl_aen_exit();
	auto c = rec.calls();
	ASSERT_EQ(c.size(), 1u);
	EXPECT_EQ(c[0].event, QOR_RPORT_AEN_OFFLINE);
	EXPECT_EQ(c[0].key, kR1);
	EXPECT_EQ(c[0].id, 200000u) << "time stamp is the virtual time of the change";
	EXPECT_EQ(qorl_rport_aen_unregister(h), QOR_STATUS_OK);
}

// ---- mxt events --follow under the launcher -------------------------------------------------

using Followed = qt::Lines;

// Runs `qorsim --topology <text> -- mxt events --follow <args>` and reads its
// lines until `enough` holds.
Followed follow_mxt(const std::string &topology, const std::vector<std::string> &args,
		    const std::function<bool(const std::vector<std::string> &)> &enough)
{
	std::string dir = qt::make_temp_dir();
	std::string file = dir + "/topo.json";
	qt::write_file(file, topology);
	std::vector<std::string> argv = {QORL_BINARY_DIR "/qorsim", "--topology", file, "--root", dir, "--",
					 QORL_BINARY_DIR "/mxt", "events", "--follow"};
	argv.insert(argv.end(), args.begin(), args.end());
	Followed r = qt::read_lines(argv, enough);
	qt::remove_tree(dir);
	return r;
}

TEST(AenSimMxt, FollowPrintsAScheduledRemotePortOffline)
{
	std::string found;
	Followed f = follow_mxt(topo(R"(, "schedule": [
	  { "at_ms": 200, "action": "rport_offline", "instance": 0, "rpwwn": "21:00:02:5a:30:00:00:01" } ])"),
				{"--json"}, [&](const std::vector<std::string> &lines) {
					for (auto &l : lines)
						if (l.find("\"category\":\"rport\"") != std::string::npos)
							found = l;
					return !found.empty();
				});
	EXPECT_NE(found.find("\"type\":\"offline\""), std::string::npos) << found;
	EXPECT_NE(found.find("\"rpwwn\":\"21:00:02:5a:30:00:00:01\""), std::string::npos) << found;
	EXPECT_TRUE(WIFEXITED(f.status) && WEXITSTATUS(f.status) == 0) << "mxt ends cleanly on SIGTERM";
}

// ---- one event of every kind: topology in; library delivery and mxt output out ---------------

const char *const kF0 = "20:00:02:5a:31:0a:f0:00"; // FC instance 0
const char *const kE0 = "02:5a:31:0c:c0:02";       // Ethernet instance 0

struct KindEvent {
	const char *kind, *type;
	int code;
	const char *driver; // instance 0 of this driver raises it
	const char *data;   // the record's fields as a topology gives them
	std::function<void(qor_aen_data_t &)> record; // the record the library must deliver
	const char *printed; // the fields as mxt events --json prints them; null: as `data`
	const char *object;  // the object of mxt events' text line
};

void set_mac(uint8_t *m, const char *text)
{
	uint64_t w = qt::wwn((std::string("00:00:") + text).c_str());
	std::memcpy(m, reinterpret_cast<const uint8_t *>(&w) + 2, 6);
}

const KindEvent kKindEvents[] = {
	{"adapter", "add", QOR_ADAPTER_AEN_ADD, "fc",
	 R"({"serial_num": "QXA2210F001", "nports": 2, "pwwn": "20:00:02:5a:31:0a:f0:00"})",
	 [](qor_aen_data_t &d) {
		 std::strcpy(d.adapter.serial_num, "QXA2210F001");
		 d.adapter.nports = 2;
		 d.adapter.pwwn = qt::wwn(kF0);
	 },
	 nullptr,
	 "serial_num QXA2210F001"},
	{"port", "sfp_pom", QOR_PORT_AEN_SFP_POM, "fc",
	 R"({"pwwn": "20:00:02:5a:31:0a:f0:00", "fwwn": "0x1000025a30000001", "phy_port_num": 1,
	     "ioc_type": "fcoe", "level": -3, "mac": "02:5a:31:0a:f0:10"})",
	 [](qor_aen_data_t &d) {
		 d.port.pwwn = qt::wwn(kF0);
		 d.port.fwwn = qt::wwn("10:00:02:5a:30:00:00:01");
		 d.port.phy_port_num = 1;
		 d.port.ioc_type = QOR_IOC_TYPE_FCoE;
		 d.port.level = -3;
		 set_mac(d.port.mac, "02:5a:31:0a:f0:10");
	 },
	 R"({"pwwn": "20:00:02:5a:31:0a:f0:00", "fwwn": "10:00:02:5a:30:00:00:01", "phy_port_num": 1,
	     "ioc_type": "fcoe", "level": -3, "mac": "02:5a:31:0a:f0:10"})",
	 "pwwn 20:00:02:5a:31:0a:f0:00"},
	{"lport", "npiv_dup_wwn", QOR_LPORT_AEN_NPIV_DUP_WWN, "fc",
	 R"({"vf_id": 7, "roles": ["ipfc", "initiator"], "ppwwn": "20:00:02:5a:31:0a:f0:00",
	     "lpwwn": "20:00:02:5a:31:0a:f0:00"})",
	 [](qor_aen_data_t &d) {
		 d.lport.vf_id = 7;
		 d.lport.roles = QOR_LPORT_ROLE_FCP_IM | QOR_LPORT_ROLE_FCP_IPFC;
		 d.lport.ppwwn = d.lport.lpwwn = qt::wwn(kF0);
	 },
	 R"({"vf_id": 7, "roles": ["initiator", "ipfc"], "ppwwn": "20:00:02:5a:31:0a:f0:00",
	     "lpwwn": "20:00:02:5a:31:0a:f0:00"})",
	 "lpwwn 20:00:02:5a:31:0a:f0:00"},
	{"rport", "qos_prio", QOR_RPORT_AEN_QOS_PRIO, "fc",
	 R"({"vf_id": 65535, "ppwwn": "20:00:02:5a:31:0a:f0:00", "lpwwn": "20:00:02:5a:31:0a:f0:00",
	     "rpwwn": "21:00:02:5a:30:00:00:09", "qos_priority": 2, "qos_flow_id": 4000000000})",
	 [](qor_aen_data_t &d) {
		 d.rport.vf_id = 65535;
		 d.rport.ppwwn = d.rport.lpwwn = qt::wwn(kF0);
		 d.rport.rpwwn = qt::wwn("21:00:02:5a:30:00:00:09");
		 d.rport.priv.qos_priority = 2;
		 d.rport.priv.qos_flow_id = 4000000000u;
	 },
	 nullptr,
	 "rpwwn 21:00:02:5a:30:00:00:09"},
	{"itnim", "disconnect", QOR_ITNIM_AEN_DISCONNECT, "fc",
	 R"({"vf_id": "0x10", "lpwwn": "20:00:02:5a:31:0a:f0:00", "rpwwn": "2100025a30000009"})",
	 [](qor_aen_data_t &d) {
		 d.itnim.vf_id = 16;
		 d.itnim.lpwwn = qt::wwn(kF0);
		 d.itnim.rpwwn = qt::wwn("21:00:02:5a:30:00:00:09");
	 },
	 R"({"vf_id": 16, "ppwwn": null, "lpwwn": "20:00:02:5a:31:0a:f0:00", "rpwwn": "21:00:02:5a:30:00:00:09"})",
	 "rpwwn 21:00:02:5a:30:00:00:09"},
	{"audit", "flash_erase", QOR_AUDIT_AEN_FLASH_ERASE, "fc",
	 R"({"pwwn": "20:00:02:5a:31:0a:f0:00", "partition_inst": -1, "partition_type": 2147483647})",
	 [](qor_aen_data_t &d) {
		 d.audit.pwwn = qt::wwn(kF0);
		 d.audit.partition_inst = -1;
		 d.audit.partition_type = 2147483647;
	 },
	 nullptr,
	 "pwwn 20:00:02:5a:31:0a:f0:00"},
	{"ioc", "hb_fail", QOR_IOC_AEN_HB_FAIL, "fc", R"({"pwwn": "20:00:02:5a:31:0a:f0:00", "ioc_type": 1})",
	 [](qor_aen_data_t &d) {
		 d.ioc.pwwn = qt::wwn(kF0);
		 d.ioc.ioc_type = QOR_IOC_TYPE_FC;
	 },
	 R"({"pwwn": "20:00:02:5a:31:0a:f0:00", "ioc_type": "fc", "mac": null})", "pwwn 20:00:02:5a:31:0a:f0:00"},
	{"ethport", "linkup", QOR_ETHPORT_AEN_LINKUP, "eth", R"({"mac": "02:5A:31:0C:C0:02", "cee_state": 2})",
	 [](qor_aen_data_t &d) {
		 set_mac(d.ethport.mac, kE0);
		 d.ethport.cee_state = 2;
	 },
	 R"({"mac": "02:5a:31:0c:c0:02", "cee_state": 2})", "mac 02:5a:31:0c:c0:02"},
};

// The topology with one scheduled event of every kind, at 100 ms.
std::string kind_topology()
{
	nlohmann::json sched = nlohmann::json::array();
	for (const auto &k : kKindEvents)
		sched.push_back({{"at_ms", 100},
				 {"action", "event"},
				 {"driver", k.driver},
				 {"event", {{"category", k.kind}, {"type", k.type}, {"data", nlohmann::json::parse(k.data)}}}});
	return topo(", \"schedule\": " + sched.dump());
}

TEST_F(AenSim, ATopologyEventOfEveryKindReachesItsSubscriberWithItsFields)
{
	topology(kind_topology());
	qorl_t *fc = qt::controller(FC, 0), *eth = qt::controller(ETH, 0);
	ASSERT_TRUE(fc && eth);
	std::map<std::string, qt::Records> got;
	int ad = 0, port = 0;
	ASSERT_EQ(qorl_adapter_get_adapter_port(fc, &ad, &port), QOR_STATUS_OK);
	qorl_adapter_aen_cbhandle_t *ha;
	ASSERT_EQ(qorl_adapter_aen_register(qorl_adapter_open_idx(ad), qt::keep_record, &got["adapter"], &ha, 0),
		  QOR_STATUS_OK);
	qorl_ioc_aen_cbhandle_t *hi;
	ASSERT_EQ(qorl_ioc_aen_register(fc, qt::keep_record, &got["ioc"], &hi), QOR_STATUS_OK);
	qor_port_aen_data_t pk{.pwwn = fc->pwwn};
	qorl_port_aen_cbhandle_t *hp;
	ASSERT_EQ(qorl_port_aen_register(fc, qt::keep_record, &got["port"], &pk, &hp), QOR_STATUS_OK);
	qor_lport_aen_data_t lk{.lpwwn = fc->pwwn};
	qorl_lport_aen_cbhandle_t *hl;
	ASSERT_EQ(qorl_lport_aen_register(fc, qt::keep_record, &got["lport"], &lk, &hl, 0), QOR_STATUS_OK);
	qor_rport_aen_data_t rk{.lpwwn = fc->pwwn};
	qorl_rport_aen_cbhandle_t *hr;
	ASSERT_EQ(qorl_rport_aen_register(fc, qt::keep_record, &got["rport"], &rk, &hr), QOR_STATUS_OK);
	qor_itnim_aen_data_t ik{.lpwwn = fc->pwwn};
	qorl_itnim_aen_cbhandle_t *hn;
	ASSERT_EQ(qorl_itnim_aen_register(fc, qt::keep_record, &got["itnim"], &ik, &hn, 0), QOR_STATUS_OK);
	qor_audit_aen_data_t uk{.pwwn = fc->pwwn};
	qorl_audit_aen_cbhandle_t *hu;
	ASSERT_EQ(qorl_audit_aen_register(fc, qt::keep_record, &got["audit"], &uk, &hu), QOR_STATUS_OK);
	qorl_ethport_aen_cbhandle_t *he;
	ASSERT_EQ(qorl_ethport_aen_register(eth, qt::keep_record, &got["ethport"], nullptr, &he), QOR_STATUS_OK);

	qorsim_advance_ns(200000000);
	for (qorl_t *q : {fc, eth}) {
		qor_aen_entry_t buf[64];
		int n = 64;
		ASSERT_EQ(qorl_aen_get_events(q, buf, &n, qor_aen_app_test), QOR_STATUS_OK);
		qorl_aen_handling(n * static_cast<int>(sizeof(qor_aen_entry_t)), buf);
	}
	for (const auto &k : kKindEvents) {
		SCOPED_TRACE(k.kind);
		const qt::Records &v = got[k.kind];
		ASSERT_EQ(v.size(), 1u);
		EXPECT_EQ(v[0].event, k.code);
		qor_aen_data_t want{};
		k.record(want);
		ASSERT_LE(v[0].bytes.size(), sizeof want);
		EXPECT_EQ(v[0].bytes, std::vector<uint8_t>(reinterpret_cast<const uint8_t *>(&want),
							   reinterpret_cast<const uint8_t *>(&want) + v[0].bytes.size()));
	}
	for (qor_status_t st : {qorl_adapter_aen_unregister(ha), qorl_ioc_aen_unregister(hi), qorl_port_aen_unregister(hp),
				qorl_lport_aen_unregister(hl), qorl_rport_aen_unregister(hr), qorl_itnim_aen_unregister(hn),
				qorl_audit_aen_unregister(hu), qorl_ethport_aen_unregister(he)})
		EXPECT_EQ(st, QOR_STATUS_OK);
}

// Each field of each kind, as mxt events --follow prints it in JSON and in text.
TEST(AenSimMxt, FollowPrintsEveryFieldOfEveryKind)
{
	const size_t kinds = std::size(kKindEvents);
	auto all = [kinds](const std::vector<std::string> &lines) { return lines.size() >= kinds; };
	Followed js = follow_mxt(kind_topology(), {"--json"}, all);
	Followed tx = follow_mxt(kind_topology(), {}, all);
	ASSERT_EQ(js.lines.size(), kinds);
	ASSERT_EQ(tx.lines.size(), kinds);
	for (const auto &k : kKindEvents) {
		SCOPED_TRACE(k.kind);
		nlohmann::json want = nlohmann::json::parse(k.printed ? k.printed : k.data);
		want["category"] = k.kind;
		want["type"] = k.type;
		// Instance 0 of the FC driver serves port 1/0, of the Ethernet driver port 2/0.
		const bool adapter = std::string(k.kind) == "adapter", fc = std::string(k.driver) == "fc";
		want["driver"] = adapter ? nlohmann::json(nullptr) : nlohmann::json(k.driver);
		want["instance"] = adapter ? nlohmann::json(nullptr) : nlohmann::json(0);
		want["port"] = adapter ? nlohmann::json(nullptr) : nlohmann::json(fc ? "1/0" : "2/0");
		int seen = 0;
		for (const auto &l : js.lines) {
			nlohmann::json got = nlohmann::json::parse(l);
			if (got["category"] != k.kind)
				continue;
			seen++;
			EXPECT_EQ(got["time"], "2023-11-14T22:13:20.100000Z");
			got.erase("time");
			EXPECT_EQ(got, want);
		}
		EXPECT_EQ(seen, 1);
		const std::string named = adapter ? "-" : std::string(k.driver) + " instance 0 (port " + (fc ? "1/0" : "2/0") + ")";
		const std::string line =
			std::string("2023-11-14T22:13:20.100000Z  ") + k.kind + " " + k.type + "  " + named + "  " + k.object;
		EXPECT_NE(std::find(tx.lines.begin(), tx.lines.end(), line), tx.lines.end()) << line;
	}
}

} // namespace
