// mxt end to end: the real binary, under the qorsim launcher (or without any
// driver), with the configuration redirected to a private root.
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include <nlohmann/json.hpp>

#include "testutil.h"

namespace {

struct result {
	int rc;
	std::string out, err;
};

// Runs a command line through the shell; stdout and stderr kept apart.
result sh(const std::string &cmd)
{
	std::string errfile = qt::make_temp_dir() + "/err";
	FILE *p = popen((cmd + " 2>" + errfile).c_str(), "r");
	result r{-1, "", ""};
	if (!p)
		return r;
	char buf[4096];
	size_t n;
	while ((n = fread(buf, 1, sizeof buf, p)) > 0)
		r.out.append(buf, n);
	int st = pclose(p);
	r.rc = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
	r.err = qt::read_file(errfile);
	qt::remove_tree(errfile.substr(0, errfile.rfind('/')));
	return r;
}

class Mxt : public ::testing::Test {
protected:
	void SetUp() override
	{
		root = qt::make_temp_dir();
		bin = QORL_BINARY_DIR;
	}
	void TearDown() override { qt::remove_tree(root); }
	// mxt under the emulator with this test's root.
	result mxt(const std::string &args, const std::string &topology = "")
	{
		std::string t = topology.empty() ? "" : " --topology " + topology;
		return sh(bin + "/qorsim --root " + root + t + " -- " + bin + "/mxt " + args);
	}
	std::string conf() { return qt::read_file(root + "/etc/qor.conf"); }
	std::string root, bin;
};

TEST_F(Mxt, WithoutDriversSaysSoAndFails)
{
	result r = sh("env -u LD_PRELOAD " + bin + "/mxt ioc list");
	EXPECT_EQ(r.rc, 1);
	EXPECT_EQ(r.out, "");
	EXPECT_NE(r.err.find("status 133 (QOR_STATUS_NO_DRIVER)"), std::string::npos) << r.err;
	EXPECT_NE(r.err.find("driver is not loaded"), std::string::npos) << r.err;
	EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "one line";
}

TEST_F(Mxt, IocListOfDefaultHardware)
{
	result r = mxt("ioc list --json");
	ASSERT_EQ(r.rc, 0) << r.err;
	auto j = nlohmann::json::parse(r.out);
	ASSERT_EQ(j.size(), 6u);
	EXPECT_EQ(j[2]["ioc_type"], "fcoe");
	EXPECT_TRUE(j[0].contains("pwwn"));
	r = mxt("ioc list");
	ASSERT_EQ(r.rc, 0);
	EXPECT_NE(r.out.find("operational"), std::string::npos);
}

TEST_F(Mxt, TopologyFileDecidesTheControllers)
{
	std::string topo = root + "/topo.json";
	qt::write_file(topo, R"({"adapters":[{"serial":"TESTSN1","functions":[{"type":"fc"},{"type":"fc"},{"type":"fc"}]}]})");
	result r = mxt("ioc list --json", topo);
	ASSERT_EQ(r.rc, 0) << r.err;
	auto j = nlohmann::json::parse(r.out);
	ASSERT_EQ(j.size(), 3u);
	for (auto &c : j)
		EXPECT_EQ(c["serialnum"], "TESTSN1");
}

TEST_F(Mxt, BadTopologyIsRefusedByTheLauncher)
{
	std::string topo = root + "/bad.json";
	qt::write_file(topo, R"({"adapters":[{"functions":[{"type":"scsi"}]}]})");
	result r = mxt("ioc list", topo);
	EXPECT_EQ(r.rc, 2);
	EXPECT_NE(r.err.find("type"), std::string::npos) << r.err;
}

TEST_F(Mxt, IocShowUnknownIdFails)
{
	result r = mxt("ioc show 42");
	EXPECT_EQ(r.rc, 1);
	EXPECT_NE(r.err.find("no controller 42"), std::string::npos) << r.err;
	r = mxt("ioc show 4 --json");
	ASSERT_EQ(r.rc, 0) << r.err;
	auto j = nlohmann::json::parse(r.out);
	EXPECT_EQ(j["identity"]["ioc_type"], "eth");
	EXPECT_TRUE(j["attributes"]["adapter_attr"].contains("model_descr"));
}

// Naming rewrites the file by rename and keeps every line the model carries.
TEST_F(Mxt, AdapterNameKeepsTuningKeysAndAbsentPorts)
{
	qt::write_file(root + "/etc/qor.conf", "num-ios = 2048;\n"
					       "qor7-port-wwn = \"21:00:00:00:00:00:00:77\";\n"
					       "qor7-port-speed = 4;\n"
					       "vek3-port-mac = \"02:00:00:00:00:33\";\n"
					       "vek3-port-mtu = 9000;\n");
	result r = mxt("adapter name 1 lab-east");
	ASSERT_EQ(r.rc, 0) << r.err;
	std::string c = conf();
	auto list = nlohmann::json::parse(mxt("adapter list --json").out);
	std::string serial = list[0]["serial_num"];
	EXPECT_NE(c.find("adapter-" + serial + "-name = \"lab-east\";\n"), std::string::npos) << c;
	EXPECT_NE(c.find("num-ios = 2048;"), std::string::npos) << c;
	EXPECT_NE(c.find("qor7-port-wwn = \"21:00:00:00:00:00:00:77\";"), std::string::npos) << c;
	EXPECT_NE(c.find("qor7-port-speed = 4;"), std::string::npos) << c;
	EXPECT_NE(c.find("vek3-port-mtu = 9000;"), std::string::npos) << c;
	EXPECT_EQ(r.out, "");
}

TEST_F(Mxt, AdapterListShowsControllersByPort)
{
	result r = mxt("adapter list --json");
	ASSERT_EQ(r.rc, 0) << r.err;
	auto j = nlohmann::json::parse(r.out);
	ASSERT_EQ(j.size(), 2u);
	EXPECT_EQ(j[0]["ports"].size(), 2u);
	EXPECT_TRUE(j[0]["ports"][1].contains("fc"));
	EXPECT_FALSE(j[0]["ports"][1].contains("eth"));
	EXPECT_TRUE(j[1]["ports"][0].contains("fc"));
	EXPECT_TRUE(j[1]["ports"][0].contains("eth"));
	EXPECT_EQ(j[1]["cna_capable"], true);
}

// The emulated drivers take names from the file when they load, as real ones do.
TEST_F(Mxt, NamesSurviveIntoTheNextRun)
{
	ASSERT_EQ(mxt("adapter name 2 lab-west").rc, 0);
	ASSERT_EQ(mxt("ioc name 4 uplink-a").rc, 0);
	auto ads = nlohmann::json::parse(mxt("adapter list --json").out);
	EXPECT_EQ(ads[1]["name"], "lab-west");
	auto iocs = nlohmann::json::parse(mxt("ioc list --json").out);
	EXPECT_EQ(iocs[4]["port_name"], "uplink-a");
	EXPECT_EQ(iocs[5]["port_name"], "");
}

TEST_F(Mxt, OverlongNameIsRefused)
{
	result r = mxt("adapter name 1 " + std::string(64, 'x'));
	EXPECT_EQ(r.rc, 1);
	EXPECT_NE(r.err.find("63 characters"), std::string::npos) << r.err;
}

TEST_F(Mxt, PortSpeedShowsInConfig)
{
	ASSERT_EQ(mxt("port speed 1/0 8").rc, 0);
	result r = mxt("config show");
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_NE(r.out.find("qor0-port-speed = 8;\n"), std::string::npos) << r.out;
	EXPECT_EQ(mxt("config path").out, "/etc/qor.conf\n");
}

TEST_F(Mxt, RemotePortsOfFabricPort)
{
	result r = mxt("rport list 1/0 --json");
	ASSERT_EQ(r.rc, 0) << r.err;
	auto j = nlohmann::json::parse(r.out);
	ASSERT_TRUE(j.is_array());
	EXPECT_GE(j.size(), 3u);
}

TEST_F(Mxt, UsageErrorsExitOne)
{
	EXPECT_EQ(mxt("").rc, 1);
	EXPECT_EQ(mxt("ioc frobnicate").rc, 1);
	EXPECT_EQ(mxt("--help").rc, 0);
}

} // namespace
