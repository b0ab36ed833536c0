// mxt end to end: the real binary, under the qorsim launcher (or without any
// driver), with the configuration redirected to a private root.
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "testutil.h"

namespace {

using nlohmann::json;

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

bool has(const std::string &text, const std::string &part)
{
	return text.find(part) != std::string::npos;
}

// One run of a command. Setup is written to etc/qor.conf first; present and
// absent are lines of etc/qor.conf after the command.
struct invocation {
	const char *path;
	const char *args = "";
	const char *setup = "";
	std::vector<std::string> present = {};
	std::vector<std::string> absent = {};
	const char *topology = "";
	std::string text() const { return std::string(path) + " " + args; }
};

class Mxt : public ::testing::Test {
protected:
	void SetUp() override
	{
		root = qt::make_temp_dir();
		bin = QORL_BINARY_DIR;
	}
	void TearDown() override { qt::remove_tree(root); }
	// mxt under the emulator with this test's root (or another one).
	result mxt(const std::string &args, const std::string &topology = "", const std::string &in_root = "")
	{
		std::string t = topology.empty() ? "" : " --topology " + topology;
		return sh(bin + "/qorsim --root " + (in_root.empty() ? root : in_root) + t + " -- " + bin + "/mxt " +
			  args);
	}
	std::string conf() { return qt::read_file(root + "/etc/qor.conf"); }
	// A fresh root under this test's root.
	std::string fresh_root()
	{
		std::string r = root + "/run" + std::to_string(runs++);
		mkdir(r.c_str(), 0755);
		return r;
	}
	// The schema check of docs/mxt-json.md over the collected outputs.
	void check_schemas()
	{
		std::string file = root + "/cases.json";
		qt::write_file(file, cases.dump());
		result r = sh("/usr/bin/python3 " QORL_SOURCE_DIR "/tests/mxt_json_check.py " QORL_SOURCE_DIR
			      "/docs/mxt-json.md " +
			      file);
		EXPECT_EQ(r.rc, 0) << r.out << r.err;
	}
	// Parses a JSON output and queues it for the schema check.
	json collect(const std::string &schema, const std::string &what, const std::string &out)
	{
		json j = json::parse(out, nullptr, false);
		EXPECT_FALSE(j.is_discarded()) << what << ": not JSON: " << out;
		if (!j.is_discarded())
			cases.push_back({{"schema", schema}, {"what", what}, {"output", j}});
		return j;
	}
	// A refused command: exit 1, nothing on stdout, one line on stderr that
	// begins with "mxt: " and message; with --json the same message as an
	// error object without a library status.
	void refused(const std::string &args, const std::string &message)
	{
		result t = mxt(args);
		EXPECT_EQ(t.rc, 1) << args;
		EXPECT_EQ(t.out, "") << args;
		EXPECT_EQ(t.err.rfind("mxt: " + message, 0), 0u) << args << ": " << t.err;
		EXPECT_EQ(t.err.find('\n'), t.err.size() - 1) << args << ": one line: " << t.err;
		result j = mxt(args + " --json");
		EXPECT_EQ(j.rc, 1) << args;
		json e = collect("error", args, j.out);
		EXPECT_TRUE(e["error"]["status"].is_null()) << j.out;
		EXPECT_TRUE(e["error"]["name"].is_null()) << j.out;
		EXPECT_EQ(e["error"]["message"], t.err.substr(5, t.err.size() - 6)) << j.out;
	}
	// Runs an invocation in a fresh root set up for it; *written gets the
	// root's etc/qor.conf afterwards. With trap, a directory takes the file's place.
	result run(const invocation &i, bool as_json, std::string *written = nullptr, bool trap = false)
	{
		std::string r = fresh_root(), topo;
		if (*i.topology) {
			topo = r + "/topology.json";
			qt::write_file(topo, i.topology);
		}
		if (trap) {
			EXPECT_EQ(mkdir((r + "/etc").c_str(), 0755), 0);
			EXPECT_EQ(mkdir((r + "/etc/qor.conf").c_str(), 0755), 0);
		} else if (*i.setup) {
			qt::write_file(r + "/etc/qor.conf", i.setup);
		}
		result out = mxt((as_json ? "--json " : "") + i.text(), topo, r);
		if (written)
			*written = qt::read_file(r + "/etc/qor.conf");
		return out;
	}
	std::string root, bin;
	int runs = 0;
	json cases = json::array();
};

// The commands as the binary lists them: path -> effect.
std::map<std::string, std::string> listed_commands(const std::string &bin)
{
	result r = sh(bin + "/mxt --list-commands --json");
	EXPECT_EQ(r.rc, 0) << r.err;
	std::map<std::string, std::string> paths;
	for (auto &c : json::parse(r.out))
		paths[c["path"]] = c["effect"];
	return paths;
}

// ---- the table walk -------------------------------------------------------------

// Adapter 1's ports trunked, so that there is a trunk to disable.
const char *const trunked_topology = R"({"adapters":[{"serial":"QXA2210F001","trunk_capable":true,"functions":[
	{"type":"fc","fcport":{"trunked":true}},{"type":"fc","fcport":{"trunked":true}}]}]})";

const std::vector<invocation> &walk()
{
	static const std::vector<invocation> w = {
		{"ioc list"},
		{"ioc show", "0"},
		{"ioc show", "4"},
		{"ioc coalesce", "0 off --delay 100 --latency 20", "", {"qor0-coalesce = \"off\";"}},
		{"ioc name", "1 uplink-b", "", {"qor1-port-name = \"uplink-b\";"}},
		{"ioc name", "4 eth-a", "", {"vek0-port-name = \"eth-a\";"}},
		{"adapter list"},
		{"adapter show", "2"},
		{"adapter name", "2 lab-west", "", {"adapter-QXC2214C007-name = \"lab-west\";"}},
		{"adapter enable", "1"},
		{"adapter disable", "2"},
		{"config show"},
		{"config path"},
		{"port list"},
		{"port show", "1/0"},
		{"port show", "2/1"},
		{"port enable", "1/0", "qor0-port-enable = \"FALSE\";\n", {}, {"qor0-port-enable"}},
		{"port disable", "1/1", "", {"qor1-port-enable = \"FALSE\";"}},
		{"port speed", "1/0 4", "", {"qor0-port-speed = 4;"}},
		{"port topology", "1/1 loop", "", {"qor1-port-topology = \"loop\";"}},
		{"port alpa", "1/0 0x02", "", {"qor0-port-hardalpa = 0x2;"}},
		{"port alpa", "1/0 clear", "qor0-port-hardalpa = 0x2;\n", {}, {"qor0-port-hardalpa"}},
		{"port frame-size", "1/0 1024", "", {"qor0-port-maxfrsize = 1024;"}},
		{"port stats", "1/0"},
		{"port stats", "2/0"},
		{"port stats", "1/1 --reset"},
		{"trunk show", "1"},
		{"trunk enable", "1", "", {"adapter-QXA2210F001-trunk = \"TRUE\";"}},
		{"trunk disable", "1"},
		// A disabled trunk is the default: its line goes.
		{"trunk disable", "1", "adapter-QXA2210F001-trunk = \"TRUE\";\n", {}, {"adapter-QXA2210F001-trunk"},
		 trunked_topology},
		{"lport list", "1/0"},
		{"rport list", "1/0"},
		{"rport show", "1/0 50:06:0e:80:10:3a:7c:00"},
		{"rport show", "1/0 0x50060e80103a7c01 --stats"},
		{"itnim show", "1/0 50060e80103a7c00"},
		{"eth show", "2/0"},
		{"eth stats", "2/1"},
		{"eth stats", "2/0 --reset"},
		{"fcoe show", "2/0"},
		{"fcoe stats", "2/0"},
		{"fcoe stats", "2/1 --reset"},
		{"fcoe enable", "2/0", "qor2-port-enable = \"FALSE\";\n", {}, {"qor2-port-enable"}},
		{"fcoe disable", "2/1", "", {"qor3-port-enable = \"FALSE\";"}},
		{"events"},
		{"events", "--kind rport"},
	};
	return w;
}

// Every command the binary knows is walked, every "sets" command has its
// persisted line checked, and the manual names every command. A new command
// without an invocation here fails this test.
TEST_F(Mxt, TheWalkCoversTheCommandTable)
{
	std::map<std::string, std::string> listed = listed_commands(bin);
	ASSERT_FALSE(listed.empty());
	std::set<std::string> walked, persisted;
	for (const invocation &i : walk()) {
		walked.insert(i.path);
		if (!i.present.empty() || !i.absent.empty())
			persisted.insert(i.path);
	}
	std::string manual = qt::read_file(QORL_SOURCE_DIR "/docs/mxt.1");
	for (size_t at; (at = manual.find("\\-")) != std::string::npos;)
		manual.erase(at, 1);
	for (auto &[path, effect] : listed) {
		EXPECT_TRUE(walked.count(path)) << "'mxt " << path << "' has no invocation in walk()";
		if (effect == "sets") {
			EXPECT_TRUE(persisted.count(path)) << "'mxt " << path << "' has no persisted line to check";
		}
		EXPECT_TRUE(has(manual, path)) << "docs/mxt.1 does not name '" << path << "'";
	}
	for (const std::string &path : walked)
		EXPECT_TRUE(listed.count(path)) << "walk() runs '" << path << "', which mxt does not list";
}

// Each invocation runs once in text and once in JSON, each in a fresh root:
// exit 0, JSON that matches the command's schema, and the persisted lines.
TEST_F(Mxt, EveryCommandRunsInTextAndJson)
{
	std::map<std::string, std::string> listed = listed_commands(bin);
	for (const invocation &i : walk()) {
		const std::string what = i.text();
		for (bool as_json : {false, true}) {
			std::string c;
			result out = run(i, as_json, &c);
			ASSERT_EQ(out.rc, 0) << what << (as_json ? " (JSON)" : "") << ": " << out.err;
			const bool shows = listed[i.path] == "reads" && !has(i.args, "--reset");
			if (as_json) {
				collect(i.path, what, out.out);
			} else if (shows && std::string(i.path) != "events") {
				EXPECT_NE(out.out, "") << what;
			} else if (!shows) {
				EXPECT_EQ(out.out, "") << what << ": a change prints nothing in text";
			}
			for (const std::string &line : i.present)
				EXPECT_TRUE(has(c, line + "\n")) << what << ": no '" << line << "' in\n" << c;
			for (const std::string &key : i.absent)
				EXPECT_FALSE(has(c, key)) << what << ": '" << key << "' still in\n" << c;
		}
	}
	check_schemas();
}

// A setting the driver took but the file did not is a failure that says so:
// exit 1, the status and the path, in text and as the JSON error object.
TEST_F(Mxt, FailedWriteBackExitsOneAndSaysSo)
{
	std::map<std::string, std::string> listed = listed_commands(bin);
	std::set<std::string> tried;
	for (const invocation &i : walk()) {
		// The invocations whose persisted lines are checked make real changes.
		if (listed[i.path] != "sets" || (i.present.empty() && i.absent.empty()) || !tried.insert(i.path).second)
			continue;
		const std::string what = i.text();
		for (bool as_json : {false, true}) {
			result out = run(i, as_json, nullptr, true);
			EXPECT_EQ(out.rc, 1) << what;
			EXPECT_TRUE(has(out.err, "mxt: the setting is active now but will not survive a restart"))
				<< out.err;
			EXPECT_TRUE(has(out.err, "/etc/qor.conf")) << out.err;
			EXPECT_TRUE(has(out.err, "(QOR_STATUS_")) << out.err;
			EXPECT_EQ(out.err.find('\n'), out.err.size() - 1) << what << ": one line: " << out.err;
			if (!as_json) {
				EXPECT_EQ(out.out, "") << what;
				continue;
			}
			json j = collect("error", what + " (write-back)", out.out);
			EXPECT_TRUE(j["error"]["status"].is_number()) << out.out;
			EXPECT_TRUE(has(j["error"].value("message", ""), "will not survive a restart")) << out.out;
		}
	}
	EXPECT_EQ(tried.size(), 13u);
	check_schemas();
}

// Refused commands: one line on stderr saying what is wrong and what to do,
// nothing on stdout, exit 1; with --json the error object.
TEST_F(Mxt, RefusedCommandsSayWhy)
{
	struct refusal {
		const char *args, *message;
	};
	const refusal cases_[] = {
		// Arguments are read strictly: no sign, no blank, no overflow, no
		// extra part; the message names the argument.
		{"port disable 1/4294967297", "argument A/P: '1/4294967297' is not a port address"},
		{"port disable -1/0", "argument A/P: '-1/0' is not a port address"},
		{"port disable '1/ 0'", "argument A/P: '1/ 0' is not a port address"},
		{"port disable ' 1/0'", "argument A/P: ' 1/0' is not a port address"},
		{"port disable +1/0", "argument A/P: '+1/0' is not a port address"},
		{"port disable x", "argument A/P: 'x' is not a port address"},
		{"port disable 1/0/0", "argument A/P: '1/0/0' is not a port address"},
		{"port disable 1/", "argument A/P: '1/' is not a port address"},
		{"port disable 0/0", "argument A/P: '0/0' is not a port address"},
		{"adapter disable 99999999999999999999999",
		 "argument N: '99999999999999999999999' is not an adapter number"},
		{"adapter disable 4294967297", "argument N: '4294967297' is not an adapter number"},
		{"trunk enable -1", "argument N: '-1' is not an adapter number"},
		{"ioc name 1x uplink", "argument ID: '1x' is not a controller id"},
		{"ioc name 4294967296 uplink", "argument ID: '4294967296' is not a controller id"},
		{"ioc coalesce 0 maybe", "argument MODE: 'maybe' is not a valid choice; use one of on, off"},
		{"ioc coalesce 0 on --delay 70000", "argument --delay: '70000' is not a valid number"},
		{"rport show 1/0 50:06:0e:80:10:3a:7c", "argument RPWWN: '50:06:0e:80:10:3a:7c' is not a WWN"},
		{"itnim show 1/0 0x50060e80103a7c0g", "argument RPWWN: '0x50060e80103a7c0g' is not a WWN"},
		{"port speed 1/0 7", "argument SPEED: '7' is not a speed"},
		{"port speed 1/0 ' 8'", "argument SPEED: ' 8' is not a speed"},
		{"port topology 1/0 star", "argument TOPO: 'star' is not a topology"},
		{"port alpa 1/0 0xf0", "argument ALPA: '0xf0' is not a loop address"},
		{"port frame-size 1/0 -2048", "argument BYTES: '-2048' is not a valid number"},
		{"events --kind tin", "argument --kind: 'tin' is not a valid choice"},
		// Well formed, but leading nowhere or to the wrong side.
		{"adapter show 3", "no adapter 3; 'mxt adapter list' shows the adapters"},
		{"trunk show 3", "no adapter 3; 'mxt adapter list' shows the adapters"},
		{"port show 3/0", "no adapter 3; 'mxt adapter list' shows the adapters"},
		{"port show 1/5", "adapter 1 has no port 5; 'mxt port list' shows the ports"},
		{"eth show 1/0", "adapter 1 has no Ethernet port 0; 'mxt port list' shows the ports"},
		{"fcoe show 1/0", "port 1/0 is a Fibre Channel port, not an FCoE port"},
		{"ioc show 42", "no controller 42; 'mxt ioc list' shows the controllers"},
		{"ioc coalesce 4 on",
		 "controller 4 is an Ethernet controller; 'mxt ioc coalesce' takes Fibre Channel or FCoE"},
		// Usage.
		{"foo", "unknown command 'foo'; see mxt --help"},
		{"ioc frobnicate", "unknown command 'ioc frobnicate'; see mxt ioc --help"},
		{"ioc", "'ioc' needs a command; see mxt ioc --help"},
		{"", "no command given; see mxt --help"},
		{"port show", "port show: A/P is required; see mxt port show --help"},
	};
	for (const refusal &r : cases_)
		refused(r.args, r.message);
	// '1/4294967297' once disabled port 1/1.
	EXPECT_FALSE(has(conf(), "port-enable")) << conf();
	check_schemas();
}

// What mxt prints, it takes back: speed and topology words of 'port show'.
TEST_F(Mxt, AcceptsBackWhatItPrints)
{
	json port = json::parse(mxt("--json port show 1/0").out);
	ASSERT_EQ(port["speed"], "8G");
	ASSERT_EQ(port["speed_gbps"], 8);
	ASSERT_EQ(mxt("port speed 1/0 " + port["speed"].get<std::string>()).rc, 0);
	EXPECT_TRUE(has(conf(), "qor0-port-speed = 8;\n")) << conf();
	for (const char *s : {"4Gbps", "2g", "Auto", "AUTO"})
		EXPECT_EQ(mxt(std::string("port speed 1/1 ") + s).rc, 0) << s;
	EXPECT_EQ(port["pport_cfg"]["topology"], "auto");
	for (const char *t : {"P2P", "Loop", "auto", "p2p"})
		EXPECT_EQ(mxt(std::string("port topology 1/1 ") + t).rc, 0) << t;
	EXPECT_TRUE(has(conf(), "qor1-port-topology = \"p2p\";\n")) << conf();
	EXPECT_EQ(mxt("port alpa 1/0 239").rc, 0);
	EXPECT_TRUE(has(conf(), "qor0-port-hardalpa = 0xef;\n")) << conf();
}

// Changing to what already is succeeds with a note, and --json says nothing changed.
TEST_F(Mxt, AlreadySoIsANoteNotAFailure)
{
	result r = mxt("adapter enable 1");
	EXPECT_EQ(r.rc, 0);
	EXPECT_TRUE(has(r.err, "mxt: note: enabling adapter 1:")) << r.err;
	EXPECT_TRUE(has(r.err, "already enabled")) << r.err;
	json j = json::parse(mxt("--json trunk disable 1").out);
	EXPECT_EQ(j["changed"], false);
	EXPECT_EQ(j["adapter"], 1);
	EXPECT_EQ(j["config_path"], "/etc/qor.conf");
}

TEST_F(Mxt, WithoutDriversSaysSoAndFails)
{
	result r = sh("env -u LD_PRELOAD " + bin + "/mxt ioc list");
	EXPECT_EQ(r.rc, 1);
	EXPECT_EQ(r.out, "");
	EXPECT_NE(r.err.find("status 133 (QOR_STATUS_NO_DRIVER)"), std::string::npos) << r.err;
	EXPECT_NE(r.err.find("driver is not loaded"), std::string::npos) << r.err;
	EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "one line";
	r = sh("env -u LD_PRELOAD " + bin + "/mxt --json ioc list");
	json j = json::parse(r.out);
	EXPECT_EQ(j["error"]["status"], 133);
	EXPECT_EQ(j["error"]["name"], "QOR_STATUS_NO_DRIVER");
}

TEST_F(Mxt, IocListOfDefaultHardware)
{
	result r = mxt("ioc list --json");
	ASSERT_EQ(r.rc, 0) << r.err;
	auto j = nlohmann::json::parse(r.out);
	ASSERT_EQ(j.size(), 6u);
	EXPECT_EQ(j[2]["ioc_type"], "fcoe");
	EXPECT_TRUE(j[0].contains("pwwn"));
	EXPECT_TRUE(j[0]["mac"].is_null());
	EXPECT_TRUE(j[4]["pwwn"].is_null());
	EXPECT_EQ(j[4]["port"], "2/0");
	r = mxt("ioc list");
	ASSERT_EQ(r.rc, 0);
	EXPECT_NE(r.out.find("operational"), std::string::npos);
}

TEST_F(Mxt, TopologyFileDecidesTheControllers)
{
	std::string topo = root + "/topo.json";
	qt::write_file(
		topo, R"({"adapters":[{"serial":"TESTSN1","functions":[{"type":"fc"},{"type":"fc"},{"type":"fc"}]}]})");
	result r = mxt("ioc list --json", topo);
	ASSERT_EQ(r.rc, 0) << r.err;
	auto j = nlohmann::json::parse(r.out);
	ASSERT_EQ(j.size(), 3u);
	for (auto &c : j)
		EXPECT_EQ(c["serial_num"], "TESTSN1");
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
	// The controllers as 'ioc list' numbers them, not as the adapter's copies do.
	EXPECT_EQ(j[1]["ports"][0]["eth"]["id"], 4);
	EXPECT_EQ(j[1]["ports"][1]["fc"]["id"], 3);
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

// The link error counters come big-endian from the remote port; mxt shows
// their values.
TEST_F(Mxt, RemoteLinkErrorCountersAreShownAsNumbers)
{
	std::string topo = root + "/lesb.json";
	qt::write_file(topo, R"({"adapters":[{"functions":[{"type":"fc","fcport":{"rports":[
		{"pwwn":"21:00:00:24:ff:00:00:01","lesb":[1,2,3,4,5,6]}]}}]}]})");
	result r = mxt("--json rport show 1/0 21:00:00:24:ff:00:00:01 --stats", topo);
	ASSERT_EQ(r.rc, 0) << r.err;
	json l = json::parse(r.out)["link_error_status"];
	EXPECT_EQ(l, json({{"link_failure_count", 1},
			   {"loss_of_synchronization_count", 2},
			   {"loss_of_signal_count", 3},
			   {"primitive_sequence_protocol_error_count", 4},
			   {"invalid_transmission_word_count", 5},
			   {"invalid_crc_count", 6}}));
}

// A name that is not UTF-8 (here from the file the drivers read) is shown
// with U+FFFD for the bad byte, in both forms; --json does not abort.
TEST_F(Mxt, BytesThatAreNotUtf8AreReplaced)
{
	qt::write_file(root + "/etc/qor.conf", "adapter-QXA2210F001-name = \"lab\xffx\";\n");
	result j = mxt("--json adapter show 1");
	ASSERT_EQ(j.rc, 0) << j.err;
	EXPECT_EQ(json::parse(j.out)["name"], "lab\xef\xbf\xbdx");
	result t = mxt("adapter list");
	ASSERT_EQ(t.rc, 0) << t.err;
	EXPECT_TRUE(has(t.out, "lab\xef\xbf\xbdx")) << t.out;
}

TEST_F(Mxt, UsageErrorsExitOne)
{
	EXPECT_EQ(mxt("").rc, 1);
	EXPECT_EQ(mxt("ioc frobnicate").rc, 1);
	EXPECT_EQ(mxt("--help").rc, 0);
	EXPECT_EQ(mxt("port --help").rc, 0);
}

} // namespace
