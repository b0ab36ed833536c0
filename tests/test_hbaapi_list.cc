// hbaapi-list under the launcher: the system's HBA API wrapper loads the
// built library from the hba.conf the launcher puts in the root, and the
// tool shows both default adapters with their ports and discovered ports.
#include "testutil.h"

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

namespace {

class HbaapiList : public ::testing::Test {
protected:
	void SetUp() override { dir = qt::make_temp_dir(); }
	void TearDown() override { qt::remove_tree(dir); }

	qt::Run run(const std::string &args, const std::string &qorsim_args = "")
	{
		return qt::run_command(bin + "/qorsim --root " + dir + "/root " + qorsim_args + " -- " + bin +
					       "/hbaapi-list " + args,
				       dir + "/stderr");
	}
	std::string dir, bin = QORL_BINARY_DIR;
};

TEST_F(HbaapiList, BothDefaultAdaptersWithPortsAndDiscoveredPorts)
{
	qt::Run r = run("--json");
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_NE(qt::read_file(dir + "/root/etc/hba.conf").find(bin + "/libqorl.so"), std::string::npos)
		<< "the launcher named the built library";
	auto j = nlohmann::json::parse(r.out, nullptr, false);
	ASSERT_TRUE(j.is_object()) << r.out;
	EXPECT_EQ(j["version"], QORL_PROJECT_VERSION);
	auto &a = j["adapters"];
	ASSERT_EQ(a.size(), 2u) << r.out;
	EXPECT_EQ(a[0]["serial_number"], "QXA2210F001");
	EXPECT_EQ(a[1]["serial_number"], "QXC2214C007");
	struct {
		int ad, port;
		const char *pwwn;
		size_t discovered;
	} const want[] = {
		{0, 0, "20:00:02:5a:31:0a:f0:00", 3},
		{0, 1, "20:00:02:5a:31:0a:f0:01", 1},
		{1, 0, "20:00:02:5a:31:0c:c0:00", 1},
		{1, 1, "20:00:02:5a:31:0c:c0:01", 0},
	};
	for (const auto &w : want) {
		SCOPED_TRACE(w.pwwn);
		ASSERT_EQ(a[w.ad]["ports"].size(), 2u);
		auto &p = a[w.ad]["ports"][w.port];
		EXPECT_EQ(p["port_wwn"], w.pwwn);
		EXPECT_EQ(p["discovered_ports"], w.discovered);
		ASSERT_EQ(p["discovered"].size(), w.discovered);
		for (auto &d : p["discovered"])
			EXPECT_TRUE(d["port_wwn"].is_string());
		EXPECT_GT(p["statistics"]["tx_frames"].get<long long>(), 0);
	}
	EXPECT_EQ(a[0]["ports"][0]["discovered"][0]["port_wwn"], "50:25:a3:40:10:3a:7c:00");
	EXPECT_EQ(a[0]["ports"][0]["discovered"][0]["port_id"], "011a00");
	EXPECT_EQ(a[0]["ports"][0]["speed_gbps"], nlohmann::json::array({8}));
	auto &map = a[0]["ports"][0]["target_mapping"];
	ASSERT_EQ(map.size(), 6u) << r.out;
	EXPECT_EQ(map[0]["os_device_name"], "/dev/sda");
	EXPECT_EQ(map[3]["fcp_lun"], "412c000000000000");
	EXPECT_EQ(a[0]["ports"][1]["target_mapping"][0]["os_device_name"], "/dev/st0");

	r = run("");
	ASSERT_EQ(r.rc, 0) << r.err;
	for (const char *s : {"2 adapters", "Adapter QXA2210F001:", "Adapter QXC2214C007:", "Port 1:",
			      "Discovered port 2:", "Port WWN: 50:25:a3:40:10:3a:7c:00", "Tx frames: ",
			      "OS device name: /dev/sdd", "  Number of ports: 2\n  Ports:\n",
			      "      Number of discovered ports: 3\n"})
		EXPECT_NE(r.out.find(s), std::string::npos) << s << "\n" << r.out;
	// A count and the section it counts are two names: a line's name says what it is.
	EXPECT_EQ(r.out.find("Ports: 2"), std::string::npos) << r.out;
}

TEST_F(HbaapiList, VersionUsageAndAConfigurationOfItsOwn)
{
	qt::Run r = run("--version");
	EXPECT_EQ(r.rc, 0);
	EXPECT_EQ(r.out, std::string("hbaapi-list ") + QORL_PROJECT_VERSION + "\n");
	r = run("--bogus");
	EXPECT_EQ(r.rc, 2);
	EXPECT_NE(r.err.find("unknown argument '--bogus'"), std::string::npos) << r.err;
	r = run("$(printf 'x\\033y')");
	EXPECT_EQ(r.rc, 2);
	EXPECT_NE(r.err.find("unknown argument 'x\\x1by'"), std::string::npos) << r.err;

	// A root's own hba.conf is kept: here it names no usable library.
	const std::string conf = "# nothing here\nother /nonexistent/libother.so\n";
	std::filesystem::create_directories(dir + "/root/etc");
	qt::write_file(dir + "/root/etc/hba.conf", conf);
	r = run("");
	EXPECT_EQ(qt::read_file(dir + "/root/etc/hba.conf"), conf);
	// The wrapper loaded no library: said, with where to look.
	EXPECT_EQ(r.rc, 1);
	EXPECT_EQ(r.out, "");
	EXPECT_NE(r.err.find("did not load"), std::string::npos) << r.err;
	EXPECT_NE(r.err.find("/etc/hba.conf"), std::string::npos) << r.err;
}

// Names come from the vendor library, and behind it from other devices on
// the fabric: what a terminal would take as a control is shown escaped, in
// text as \xNN, in JSON as \uNNNN (so the value reads back whole).
TEST_F(HbaapiList, ControlsInNamesAreEscaped)
{
	const std::string name = "\x1b[2J\xc3\xa9 \xc2\x9b\x7f\"\\";
	const std::string topology = dir + "/topology.json";
	qt::write_file(topology, R"({"adapters": [{"functions": [{"type": "fc", "fcport": {"rports": [
		{"pwwn": "50:25:a3:40:10:3a:7c:00", "symname": "\u001b[2J\u00e9 \u009b\u007f\"\\"}]}}]}]})");
	qt::Run r = run("", "--topology " + topology);
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_NE(r.out.find("Symbolic name: \\x1b[2J\xc3\xa9 \\xc2\\x9b\\x7f\"\\\n"), std::string::npos) << r.out;
	r = run("--json", "--topology " + topology);
	ASSERT_EQ(r.rc, 0) << r.err;
	for (const char c : {'\x1b', '\x7f', '\x9b'})
		EXPECT_EQ(r.out.find(c), std::string::npos) << "raw byte " << int(c);
	const auto j = nlohmann::json::parse(r.out, nullptr, false);
	ASSERT_TRUE(j.is_object()) << r.out;
	EXPECT_EQ(j["adapters"][0]["ports"][0]["discovered"][0]["symbolic_name"], name);
}

} // namespace
