// The emulator's events: state changes raise what the drivers raise, the
// topology's schedule makes them happen in virtual time, queues are bounded;
// and mxt events prints a scheduled change.
#include <csignal>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

#include "aen_util.h"
#include "testutil.h"

namespace {

constexpr int FC = QORSIM_DRV_FC;
constexpr int ETH = QORSIM_DRV_ETH;
const uint64_t kR1 = qt::wwn("21:00:00:24:ff:00:00:01");

const char *kSan = R"({
  "adapters": [
    { "serial": "QXA2210F001",
      "functions": [
        { "type": "fc", "pwwn": "20:00:02:5a:31:0a:f0:00",
          "fcport": { "rports": [ { "pwwn": "21:00:00:24:ff:00:00:01" },
                                  { "pwwn": "21:00:00:24:ff:00:00:02", "role": "initiator" } ] } },
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

TEST_F(AenSim, FullQueueDropsItsOldestAndCountsThem)
{
	qor_aen_data_t d{};
	std::vector<qor_aen_entry_t> v;
	for (uint32_t i = 1; i <= 1030; i++)
		v.push_back(qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, d, i));
	ASSERT_EQ(qorsim_inject_events(FC, 1, v.data(), v.size()), 0);
	EXPECT_EQ(qorsim_event_count(FC, 1, qor_aen_app_test), 1024);
	EXPECT_EQ(qorsim_event_dropped(FC, 1, qor_aen_app_test), 6);
	qor_aen_entry_t first;
	int n = 1;
	ASSERT_EQ(qorl_aen_get_events(qt::controller(FC, 1), &first, &n, qor_aen_app_test), QOR_STATUS_OK);
	EXPECT_EQ(first.aen_tv.tv_usec, 7u);
}

TEST_F(AenSim, ScheduledChangesHappenAtTheirVirtualTime)
{
	topology(topo(R"(, "schedule": [
	  { "at_ms": 200, "action": "rport_offline", "instance": 0, "rpwwn": "21:00:00:24:ff:00:00:01" },
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
		{R"([{ "at_ms": 1, "action": "rport_offline", "rpwwn": "21:00:00:24:ff:00:00:09" }])",
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
	  { "at_ms": 200, "action": "rport_offline", "instance": 0, "rpwwn": "21:00:00:24:ff:00:00:01" } ])"));
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
}

// qorsim --topology F -- mxt events --follow --json prints the scheduled offline.
TEST(AenSimMxt, FollowPrintsAScheduledRemotePortOffline)
{
	std::string dir = qt::make_temp_dir();
	std::string file = dir + "/topo.json";
	qt::write_file(file, topo(R"(, "schedule": [
	  { "at_ms": 200, "action": "rport_offline", "instance": 0, "rpwwn": "21:00:00:24:ff:00:00:01" } ])"));
	int fds[2];
	ASSERT_EQ(pipe(fds), 0);
	pid_t pid = fork();
	ASSERT_GE(pid, 0);
	if (pid == 0) {
		dup2(fds[1], 1);
		close(fds[0]);
		std::string qs = std::string(QORL_BINARY_DIR) + "/qorsim", mxt = std::string(QORL_BINARY_DIR) + "/mxt";
		execl(qs.c_str(), qs.c_str(), "--topology", file.c_str(), "--root", dir.c_str(), "--", mxt.c_str(),
		      "events", "--follow", "--json", static_cast<char *>(nullptr));
		_exit(127);
	}
	close(fds[1]);
	FILE *out = fdopen(fds[0], "r");
	std::string line, found;
	char buf[4096];
	while (found.empty() && fgets(buf, sizeof buf, out)) {
		line = buf;
		if (line.find("\"category\":\"rport\"") != std::string::npos)
			found = line;
	}
	kill(pid, SIGTERM);
	int status = 0;
	waitpid(pid, &status, 0);
	fclose(out);
	qt::remove_tree(dir);
	EXPECT_NE(found.find("\"type\":\"offline\""), std::string::npos) << found;
	EXPECT_NE(found.find("\"rpwwn\":\"21:00:00:24:ff:00:00:01\""), std::string::npos) << found;
	EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "mxt ends cleanly on SIGTERM";
}

} // namespace
