// The emulated drivers take their settings from the root's configuration
// file when they load, as real drivers take their parameters: what one run
// set is what the next run finds. Every run here is a fresh model
// (qorsim_reset) that loads the file (qorsim_load_config).
#include "testutil.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "qorl_adapter.h"
#include "qorl_config.h"
#include "qorl_ethport.h"
#include "qorl_ioc.h"
#include "qorl_lport.h"
#include "qorl_port.h"
#include "qorl_rport.h"

namespace {

constexpr const char *kFc0 = "20:00:02:5a:31:0a:f0:00";
constexpr const char *kFc1 = "20:00:02:5a:31:0a:f0:01";
constexpr const char *kFcoe0 = "20:00:02:5a:31:0c:c0:00";
constexpr const char *kTarget = "50:25:a3:40:10:3a:7c:00"; // behind adapter 1 port 0

class NextRun : public qt::ScannedTest {
protected:
	void SetUp() override
	{
		qt::ScannedTest::SetUp();
		ASSERT_EQ(mkdir(root_path("/etc").c_str(), 0755), 0); // as qorsim prepares a root
	}
	// The drivers of the next run: the topology's model, then the file.
	void next_run()
	{
		qorsim_reset();
		ASSERT_EQ(qorsim_load_config(), 0) << qorsim_error();
	}
	void next_run(const std::string &conf)
	{
		qt::write_file(root_path("/etc/qor.conf"), conf);
		next_run();
	}
	qor_port_attr_t port(qorl_t *q)
	{
		qor_port_attr_t a{};
		EXPECT_EQ(qorl_port_get_attr(q, &a), QOR_STATUS_OK);
		return a;
	}
	qor_ioctl_ioc_info_t info(qorl_t *q)
	{
		qor_ioctl_ioc_info_t i{};
		EXPECT_EQ(qorl_ioc_get_info(q, &i), QOR_STATUS_OK);
		return i;
	}
	qor_iocfc_intr_attr_t intr(qorl_t *q)
	{
		qor_iocfc_attr_t a{};
		EXPECT_EQ(qorl_iocfc_get_attr(q, &a), QOR_STATUS_OK);
		return a.intr_attr;
	}
};

// Every kind of setting the drivers take, set through the library and
// written back by it.
TEST_F(NextRun, EverySettingComesBack)
{
	ASSERT_EQ(qorl_port_cfg_speed(fc0, QOR_PORT_SPEED_4GBPS), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_cfg_hardalpa(fc0, 0x01), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_cfg_maxfrsize(fc0, 1024), QOR_STATUS_OK);
	ASSERT_EQ(qorl_iocfc_intr_set(fc0, QOR_TRUE, 500, 100), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_cfg_topology(fc1, QOR_PORT_TOPOLOGY_LOOP), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_disable(fc1), QOR_STATUS_OK);
	ASSERT_EQ(qorl_iocfc_intr_set(fc1, QOR_FALSE, 0, 0), QOR_STATUS_OK);
	ASSERT_EQ(qorl_fcoe_port_disable(fcoe), QOR_STATUS_OK);
	ASSERT_EQ(qorl_port_cfg_maxfrsize(fcoe, 2048), QOR_STATUS_OK);
	char left[] = "left", uplink[] = "uplink", cna[] = "cna";
	ASSERT_EQ(qorl_ioc_set_name(fc0, left), QOR_STATUS_OK);
	ASSERT_EQ(qorl_ioc_set_name(eth, uplink), QOR_STATUS_OK);
	qorl_adapter_set_name(2, cna);
	ASSERT_EQ(qorl_get_last_error(), QOR_STATUS_OK);
	char path[] = "/etc/qor.conf";
	ASSERT_EQ(qorl_config_sync(path), QOR_STATUS_OK);

	qorsim_reset();
	EXPECT_EQ(port(fc0).pport_cfg.speed, QOR_PORT_SPEED_AUTO) << "a new model knows nothing yet";
	next_run();
	const qor_port_attr_t a0 = port(fc0), a1 = port(fc1), af = port(fcoe);
	EXPECT_EQ(a0.pport_cfg.speed, QOR_PORT_SPEED_4GBPS);
	EXPECT_EQ(a0.speed, (uint32_t)QOR_PORT_SPEED_4GBPS);
	EXPECT_EQ(a0.pport_cfg.cfg_hardalpa, 1);
	EXPECT_EQ(a0.pport_cfg.hardalpa, 0x01);
	EXPECT_EQ(a0.pport_cfg.maxfrsize, 1024);
	EXPECT_EQ(a0.port_state, (uint32_t)QOR_PORT_ST_LINKUP);
	EXPECT_EQ(a1.pport_cfg.topology, QOR_PORT_TOPOLOGY_LOOP);
	EXPECT_EQ(a1.port_state, (uint32_t)QOR_PORT_ST_DISABLED);
	EXPECT_EQ(af.port_state, (uint32_t)QOR_PORT_ST_DISABLED);
	EXPECT_EQ(af.pport_cfg.maxfrsize, 2048);
	const qor_iocfc_intr_attr_t i0 = intr(fc0), i1 = intr(fc1);
	EXPECT_EQ(i0.coalesce, 1);
	EXPECT_EQ(i0.delay, 500);
	EXPECT_EQ(i0.latency, 100);
	EXPECT_EQ(i1.coalesce, 0);
	EXPECT_STREQ(info(fc0).port_name, "left");
	EXPECT_STREQ(info(eth).port_name, "uplink");
	EXPECT_STREQ(info(fcoe).name, "cna");
	EXPECT_STREQ(info(eth).name, "cna") << "both drivers of the card take the adapter name";
	EXPECT_STREQ(info(fc1).port_name, "");
}

// The library records trunking as the adapter's setting; a topology of loop
// and trunking exclude each other, so this one is a run of its own.
TEST_F(NextRun, TrunkingComesBack)
{
	ASSERT_EQ(qorl_trunk_enable(1), QOR_STATUS_OK);
	char path[] = "/etc/qor.conf";
	ASSERT_EQ(qorl_config_sync(path), QOR_STATUS_OK);
	next_run();
	EXPECT_EQ(port(fc0).pport_cfg.trunked, 1);
	EXPECT_EQ(port(fc1).pport_cfg.trunked, 1);
	qor_trunk_attr_t t{};
	ASSERT_EQ(qorl_trunk_query(1, &t), QOR_STATUS_OK);
	EXPECT_EQ(t.state, QOR_TRUNK_ONLINE);

	// A list of the adapter's port numbers per slot trunks those ports only.
	next_run(std::string("qor0-port-wwn = \"") + kFc0 + "\";\nqor0-port-trunk = 0, 1;\n"
		 "qor1-port-wwn = \"" + kFc1 + "\";\nqor1-port-trunk = 0;\n");
	EXPECT_EQ(port(fc0).pport_cfg.trunked, 1);
	EXPECT_EQ(port(fc1).pport_cfg.trunked, 0);
}

// Files written by hand, read as the drivers read them: what reaches which
// port, and what a driver would not take.
struct FileCase {
	const char *what;
	std::string conf;
	uint8_t speed0, speed1; // configured speed of adapter 1 ports 0 and 1
	uint16_t maxfr0, maxfr_fcoe;
	uint32_t state0;
};

std::string wwn_line(int slot, const char *wwn)
{
	return "qor" + std::to_string(slot) + "-port-wwn = \"" + wwn + "\";\n";
}

constexpr uint8_t kAuto = QOR_PORT_SPEED_AUTO;
constexpr uint32_t kUp = QOR_PORT_ST_LINKUP;

const FileCase kFiles[] = {
	{"global lines reach the slots named before them",
	 wwn_line(0, kFc0) + wwn_line(1, kFc1) + "port-speed = 4;\nport-maxfrsize = 1024;\n" + wwn_line(2, kFcoe0) +
		 "qor1-port-speed = 2;\n",
	 4, 2, 1024, 2112, kUp},
	{"a later global line overrides a slot's own",
	 wwn_line(0, kFc0) + "qor0-port-speed = 2;\nport-speed = \"8\";\nport-enable = \"FALSE\";\n", 8, kAuto, 2112, 2112,
	 QOR_PORT_ST_DISABLED},
	{"values a driver refuses are left out",
	 wwn_line(0, kFc0) + wwn_line(2, kFcoe0) +
		 "qor0-port-speed = 1;\nqor0-port-maxfrsize = 1000;\nqor0-port-enable = \"false\";\n"
		 "qor2-port-maxfrsize = 4096;\nqor0-port-hardalpa = 0x03;\n",
	 kAuto, kAuto, 2112, 2112, kUp},
	{"values that do not read are left out",
	 wwn_line(0, kFc0) + "qor0-port-speed = 8G;\nqor0-port-maxfrsize = -1024;\nqor0-port-speed = 99999999999999999999;\n",
	 kAuto, kAuto, 2112, 2112, kUp},
	{"slot numbers that do not fit are lines to ignore",
	 "qor99999999999-port-name = \"x\";\nqor99999999999-port-wwn = \"" + std::string(kFc0) +
		 "\";\nqor99999999999-port-speed = 4;\nqor128-port-wwn = \"" + kFc0 + "\";\nqor128-port-speed = 4;\n"
		 "qor000000000000000000001-port-wwn = \"" + kFc1 + "\";\nqor000000000000000000001-port-speed = 4;\n",
	 kAuto, 4, 2112, 2112, kUp},
	{"a slot finds its port by WWN in any form, whatever the order",
	 "qor7-port-speed = 2;\nqor7-port-wwn = \"20:00:02:5A:31:0A:F0:01\";\nqor9-port-wwn = \"0x20000011223344ff\";\n"
	 "qor9-port-speed = 4;\n",
	 kAuto, 2, 2112, 2112, kUp},
	{"only a line that begins with # is a comment",
	 wwn_line(0, kFc0) + wwn_line(1, kFc1) + "# qor0-port-speed = 4;\n  #qor1-port-speed = 4;\n", kAuto, 4, 2112, 2112,
	 kUp},
};

class FileLines : public NextRun, public ::testing::WithParamInterface<FileCase> {};

TEST_P(FileLines, ReachThePortsTheyName)
{
	const FileCase &c = GetParam();
	next_run(c.conf);
	const qor_port_attr_t a0 = port(fc0);
	EXPECT_EQ(a0.pport_cfg.speed, c.speed0);
	EXPECT_EQ(port(fc1).pport_cfg.speed, c.speed1);
	EXPECT_EQ(a0.pport_cfg.maxfrsize, c.maxfr0);
	EXPECT_EQ(port(fcoe).pport_cfg.maxfrsize, c.maxfr_fcoe);
	EXPECT_EQ(a0.port_state, c.state0);
	EXPECT_EQ(a0.pport_cfg.cfg_hardalpa, 0);
	EXPECT_STREQ(info(fc0).port_name, "");
}

INSTANTIATE_TEST_SUITE_P(Files, FileLines, ::testing::ValuesIn(kFiles),
			 [](const auto &i) { return qt::test_name(i.param.what); });

TEST_F(NextRun, SettingsOnTheWrongSideAreLeftOut)
{
	next_run(wwn_line(2, kFcoe0) + "qor2-port-speed = 4;\nqor2-port-topology = \"loop\";\n"
				       "vek0-port-mac = \"02:5a:31:0c:c0:02\";\nvek0-port-enable = \"FALSE\";\n"
				       "vek0-port-name = \"" + std::string(64, 'n') + "\";\n");
	const qor_port_attr_t af = port(fcoe);
	EXPECT_EQ(af.pport_cfg.speed, QOR_PORT_SPEED_AUTO) << "a converged port takes no speed";
	EXPECT_EQ(af.pport_cfg.topology, QOR_PORT_TOPOLOGY_AUTO);
	EXPECT_EQ(port(eth).port_state, (uint32_t)QOR_PORT_ST_LINKUP) << "no FC setting on an Ethernet port";
	EXPECT_STREQ(info(eth).port_name, "") << "a name longer than the driver holds";
}

TEST_F(NextRun, NoRootNoFile)
{
	qorsim_set_root(nullptr);
	EXPECT_EQ(qorsim_load_config(), -1);
	errno = 0;
	EXPECT_EQ(open("/etc/qor.conf", O_RDONLY), -1);
	EXPECT_EQ(errno, EACCES) << "without a root the host's file is out of reach";
	EXPECT_EQ(fopen("/etc/qor.conf.tmp", "w"), nullptr);
	EXPECT_EQ(open("/etc", O_RDONLY | O_DIRECTORY), -1);
	char path[] = "/etc/qor.conf";
	EXPECT_NE(qorl_config_sync(path), QOR_STATUS_OK);
}

// ---- a controller that is down has no link ----------------------------------------

TEST_F(NextRun, PortsOfADownControllerAreNotUp)
{
	const wwn_t lp = qt::wwn(kFc0), rp = qt::wwn(kTarget);
	struct Row {
		uint32_t ioc_state;
		uint32_t port_state;
	} rows[] = {{QOR_IOC_DISABLED, QOR_PORT_ST_IOCDIS},
		    {QOR_IOC_FAIL, QOR_PORT_ST_IOCDOWN},
		    {QOR_IOC_ENABLING, QOR_PORT_ST_IOCDOWN},
		    {QOR_IOC_OPERATIONAL, QOR_PORT_ST_LINKUP}};
	for (const Row &r : rows) {
		SCOPED_TRACE(r.ioc_state);
		ASSERT_EQ(qorsim_set_ioc_state(QORSIM_DRV_FC, 0, r.ioc_state), 0);
		const bool up = r.port_state == QOR_PORT_ST_LINKUP;
		const qor_port_attr_t a = port(fc0);
		EXPECT_EQ(a.port_state, r.port_state);
		EXPECT_EQ(a.speed != QOR_PORT_SPEED_UNKNOWN, up);
		EXPECT_EQ(a.pid != 0, up);
		qor_lport_attr_t l{};
		ASSERT_EQ(qorl_lport_get_attr(fc0, 0, lp, &l), QOR_STATUS_OK);
		EXPECT_EQ(l.state, up ? QOR_LPORT_ONLINE : QOR_LPORT_OFFLINE);
		qor_rport_attr_t ra{};
		ASSERT_EQ(qorl_rport_get_attr(fc0, 0, lp, rp, &ra), QOR_STATUS_OK);
		EXPECT_EQ(ra.state, up ? QOR_RPORT_ONLINE : QOR_RPORT_OFFLINE);
	}
	// The port's own enable state outlives the controller's.
	ASSERT_EQ(qorl_port_disable(fc1), QOR_STATUS_OK);
	ASSERT_EQ(qorsim_set_ioc_enabled(QORSIM_DRV_FC, 1, 0), 0);
	EXPECT_EQ(port(fc1).port_state, (uint32_t)QOR_PORT_ST_IOCDIS);
	ASSERT_EQ(qorsim_set_ioc_enabled(QORSIM_DRV_FC, 1, 1), 0);
	EXPECT_EQ(port(fc1).port_state, (uint32_t)QOR_PORT_ST_DISABLED);
}

} // namespace
