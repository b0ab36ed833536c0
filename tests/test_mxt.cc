// mxt end to end: the real binary, under the qorsim launcher (or without any
// driver), with the configuration redirected to a private root.
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "testutil.h"

namespace {

using nlohmann::json;

using result = qt::Run;

// Runs a command line through the shell; stdout and stderr kept apart.
result sh(const std::string &cmd)
{
	const std::string dir = qt::make_temp_dir();
	result r = qt::run_command(cmd, dir + "/err");
	qt::remove_tree(dir);
	return r;
}

bool has(const std::string &text, const std::string &part)
{
	return text.find(part) != std::string::npos;
}

std::vector<std::string> lines_of(const std::string &text)
{
	std::vector<std::string> l;
	for (size_t at = 0, nl; at < text.size(); at = nl + 1) {
		nl = text.find('\n', at);
		if (nl == std::string::npos)
			nl = text.size();
		l.push_back(text.substr(at, nl - at));
	}
	return l;
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
	// A topology file under this test's root.
	std::string topo_file(const std::string &text, const std::string &name = "topology.json")
	{
		qt::write_file(root + "/" + name, text);
		return root + "/" + name;
	}
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
	// error object, whose status is named (and numbered alike in the text)
	// or, without status, null. With a topology each run gets a fresh root.
	// Returns stderr.
	std::string refused(const std::string &args, const std::string &message, const std::string &topo = "",
			    const char *status = nullptr)
	{
		result t = mxt(args, topo, topo.empty() ? "" : fresh_root());
		EXPECT_EQ(t.rc, 1) << args;
		EXPECT_EQ(t.out, "") << args;
		EXPECT_EQ(t.err.rfind("mxt: " + message, 0), 0u) << args << ": " << t.err;
		EXPECT_EQ(t.err.find('\n'), t.err.size() - 1) << args << ": one line: " << t.err;
		result j = mxt(args + " --json", topo, topo.empty() ? "" : fresh_root());
		EXPECT_EQ(j.rc, 1) << args;
		json e = collect("error", args, j.out);
		if (status) {
			EXPECT_EQ(e["error"]["name"], status) << j.out;
			EXPECT_TRUE(has(t.err, "status " + e["error"]["status"].dump() + " (" + status + ")")) << t.err;
		} else {
			EXPECT_TRUE(e["error"]["status"].is_null()) << j.out;
			EXPECT_TRUE(e["error"]["name"].is_null()) << j.out;
		}
		EXPECT_EQ(e["error"]["message"], t.err.substr(5, t.err.size() - 6)) << j.out;
		return t.err;
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
		result out = mxt((as_json ? "--json " : "") + expand(i.text(), r), topo, r);
		if (written)
			*written = qt::read_file(r + "/etc/qor.conf");
		return out;
	}
	// A boot image package for the default hardware, built once per test by
	// the repository's script, with the version its images carry.
	std::string package(const std::string &version = "3.3.0.0")
	{
		std::string pkg = root + "/pkg-" + version + ".tar";
		if (qt::read_file(pkg).empty()) {
			result r = sh("/usr/bin/python3 " QORL_SOURCE_DIR "/scripts/make-boot-package.py -o " + pkg +
				      " --version " + version);
			EXPECT_EQ(r.rc, 0) << r.err;
		}
		return pkg;
	}
	// Arguments with @ROOT@ (the run's root) and @PKG@ (the package) filled in.
	std::string expand(std::string args, const std::string &run_root)
	{
		for (auto [mark, value] : {std::pair<std::string, std::string>{"@ROOT@", run_root}, {"@PKG@", ""}})
			for (size_t at; (at = args.find(mark)) != std::string::npos;)
				args.replace(at, mark.size(), mark == "@PKG@" ? package() : value);
		return args;
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
		{"ioc list"}, {"ioc show", "0"}, {"ioc show", "4"},
		{"ioc coalesce", "0 off --delay 100 --latency 20", "", {"qor0-coalesce = \"off\";"}},
		{"ioc name", "1 uplink-b", "", {"qor1-port-name = \"uplink-b\";"}},
		{"ioc name", "4 eth-a", "", {"vek0-port-name = \"eth-a\";"}},
		{"adapter list"}, {"adapter show", "2"},
		{"adapter name", "2 lab-west", "", {"adapter-QXC2214C007-name = \"lab-west\";"}},
		{"adapter enable", "1"}, {"adapter disable", "2"},
		{"config show"}, {"config path"},
		{"port list"}, {"port show", "1/0"}, {"port show", "2/1"},
		{"port enable", "1/0", "qor0-port-enable = \"FALSE\";\n", {}, {"qor0-port-enable"}},
		{"port disable", "1/1", "", {"qor1-port-enable = \"FALSE\";"}},
		{"port speed", "1/0 4", "", {"qor0-port-speed = 4;"}},
		{"port topology", "1/1 loop", "", {"qor1-port-topology = \"loop\";"}},
		{"port alpa", "1/0 0x02", "", {"qor0-port-hardalpa = 0x2;"}},
		{"port alpa", "1/0 clear", "qor0-port-hardalpa = 0x2;\n", {}, {"qor0-port-hardalpa"}},
		{"port frame-size", "1/0 1024", "", {"qor0-port-maxfrsize = 1024;"}},
		{"port stats", "1/0"}, {"port stats", "2/0"}, {"port stats", "1/1 --reset"},
		{"trunk show", "1"},
		{"trunk enable", "1", "", {"adapter-QXA2210F001-trunk = \"TRUE\";"}},
		{"trunk disable", "1"},
		// A disabled trunk is the default: its line goes.
		{"trunk disable", "1", "adapter-QXA2210F001-trunk = \"TRUE\";\n", {}, {"adapter-QXA2210F001-trunk"},
		 trunked_topology},
		{"lport list", "1/0"},
		{"rport list", "1/0"}, {"rport show", "1/0 50:25:a3:40:10:3a:7c:00"},
		{"rport show", "1/0 0x5025a340103a7c01 --stats"},
		{"itnim show", "1/0 5025a340103a7c00"},
		{"eth show", "2/0"}, {"eth stats", "2/1"}, {"eth stats", "2/0 --reset"},
		{"fcoe show", "2/0"}, {"fcoe stats", "2/0"}, {"fcoe stats", "2/1 --reset"},
		{"fcoe enable", "2/0", "qor2-port-enable = \"FALSE\";\n", {}, {"qor2-port-enable"}},
		{"fcoe disable", "2/1", "", {"qor3-port-enable = \"FALSE\";"}},
		{"events"}, {"events", "--kind rport"},
		{"flash list", "1"}, {"flash read", "2 fw @ROOT@/fw.bin"}, {"flash write", "1 optrom2 @PKG@"},
		{"flash erase", "1 cfg:1 --yes"}, {"flash optrom", "2 off"},
		{"boot inspect", "@PKG@"}, {"boot update", "@PKG@ --all"},
		{"boot update", "@PKG@ 2 --devid 0x17"},
		{"lun list", "1/0"}, {"lun list", "1/1 50:25:a3:30:02:5b:6e:20"},
		{"lun list", "2/0 0x5025a35186f71c10"},
		{"scsi inquiry", "1/0 50:25:a3:40:10:3a:7c:00 0"},
		{"scsi inquiry", "1/0 50:25:a3:40:10:3a:7c:00 300 --page 0x00"},
		{"scsi inquiry", "1/0 50:25:a3:40:10:3a:7c:00 1 --page 0x80 --hex"},
		{"scsi inquiry", "1/0 50:25:a3:40:10:3a:7c:00 2 --page 131"},
		{"scsi capacity", "1/0 50:25:a3:40:10:3a:7c:00 0"},
		{"scsi capacity", "1/0 50:25:a3:40:10:3a:7c:00 1"},
		{"scsi tur", "1/1 50:25:a3:30:02:5b:6e:20 0"}, {"scsi tur", "1/0 50:25:a3:40:10:3a:7c:00 7"},
		{"scsi read", "1/0 50:25:a3:40:10:3a:7c:00 0 0"},
		{"scsi read", "1/0 50:25:a3:40:10:3a:7c:01 1 41943035 --count 5 --output /dev/null"},
		{"stats"}, {"stats", "1/0 2/0 --rports"},
		{"report", "-o @ROOT@/bundle.tar.gz"},
	};
	return w;
}

// Every command the binary knows is walked and every "sets" command has its
// persisted line checked. A new command without an invocation here fails
// this test.
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
	for (auto &[path, effect] : listed) {
		EXPECT_TRUE(walked.count(path)) << "'mxt " << path << "' has no invocation in walk()";
		if (effect == "sets") {
			EXPECT_TRUE(persisted.count(path)) << "'mxt " << path << "' has no persisted line to check";
		}
	}
	for (const std::string &path : walked)
		EXPECT_TRUE(listed.count(path)) << "walk() runs '" << path << "', which mxt does not list";
}

// The manual as plain text: font escapes, quotes and "\-" gone, blanks
// collapsed; macro lines keep their macro.
std::string plain(std::string t)
{
	for (const char *esc : {"\\fB", "\\fR", "\\fI", "\\fP", "\"", "\\(dq"})
		for (size_t at; (at = t.find(esc)) != std::string::npos;)
			t.erase(at, strlen(esc));
	for (size_t at; (at = t.find("\\-")) != std::string::npos;)
		t.erase(at, 1);
	for (size_t at; (at = t.find("  ")) != std::string::npos;)
		t.erase(at, 1);
	return t;
}

// The manual's tagged paragraphs: tag lines (the line after .TP and after
// each .TQ) -> the whole paragraph.
std::map<std::string, std::string> manual_entries(const std::string &manual)
{
	std::map<std::string, std::string> entries;
	std::vector<std::string> lines = lines_of(manual);
	for (std::string &l : lines)
		l = plain(l);
	for (size_t i = 0; i < lines.size(); i++) {
		if (lines[i] != ".TP" || i + 1 >= lines.size())
			continue;
		std::string tags, body;
		size_t j = i + 1;
		for (; j < lines.size() && lines[j] != ".TP" && lines[j].rfind(".S", 0) != 0; j++) {
			const bool tag = j == i + 1 || lines[j - 1] == ".TQ";
			(tag ? tags : body) += lines[j] + "\n";
		}
		entries[tags] = tags + body;
		i = j - 1;
	}
	return entries;
}

// The forms of an argument's name ("--output,-o").
std::vector<std::string> forms_of(const json &argument)
{
	return lines_of(std::regex_replace(argument["name"].get<std::string>(), std::regex(","), "\n"));
}

bool has_word(const std::string &text, const std::string &w)
{
	auto edge = [](char c) { return !std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '_'; };
	for (size_t at = text.find(w); at != std::string::npos; at = text.find(w, at + 1))
		if ((at == 0 || edge(text[at - 1])) && (at + w.size() == text.size() || edge(text[at + w.size()])))
			return true;
	return false;
}

// The manual has an entry for every command, which names each of its
// arguments and options (every form), the choices of a choice and the
// default of an option; and every option of 'mxt --help'.
TEST_F(Mxt, TheManualMatchesEveryCommandAndOption)
{
	result r = sh(bin + "/mxt --list-commands --json");
	ASSERT_EQ(r.rc, 0) << r.err;
	json commands = collect("--list-commands", "--list-commands", r.out);
	ASSERT_FALSE(commands.empty());
	const std::string manual = qt::read_file(QORL_SOURCE_DIR "/docs/mxt.1");
	const std::map<std::string, std::string> entries = manual_entries(manual);
	for (const json &c : commands) {
		const std::string path = c["path"];
		std::string entry, usage;
		for (auto &[tags, text] : entries)
			if (has(" " + tags, " " + path + " ") || has(" " + tags, " " + path + "\n")) {
				entry = text;
				for (std::string l : lines_of(tags)) {
					if (l.rfind(".", 0) == 0) // the macro of a tag line
						l = l.substr(l.find(' ') + 1);
					if (l == path || l.rfind(path + " ", 0) == 0)
						usage = l;
				}
			}
		if (entry.empty()) {
			ADD_FAILURE() << "docs/mxt.1 has no entry for '" << path << "'";
			continue;
		}
		EXPECT_NE(usage, "") << "no usage line for '" << path << "' in " << entry;
		// Every option the entry's usage line names is one the command takes.
		std::set<std::string> forms = {"--json"};
		for (const json &a : c["arguments"])
			for (const std::string &f : forms_of(a))
				forms.insert(f);
		const std::regex option("(^|[ [|])(--?[a-z][a-z-]*)");
		for (std::sregex_iterator m(usage.begin(), usage.end(), option), end; m != end; ++m)
			EXPECT_TRUE(forms.count((*m)[2])) << "docs/mxt.1 gives '" << path << "' the option " << (*m)[2]
							  << ", which it does not take: " << usage;
		for (const json &a : c["arguments"]) {
			const std::string name = a["name"];
			for (const std::string &form : forms_of(a))
				EXPECT_TRUE(has_word(entry, form)) << "the entry of '" << path << "' lacks " << form << ":\n"
								   << entry;
			for (const json &choice : a["choices"]) {
				EXPECT_TRUE(has_word(entry, choice.get<std::string>()))
					<< "the entry of '" << path << "' lacks " << name << " " << choice;
			}
			if (!a["default"].is_null()) {
				EXPECT_TRUE(has_word(entry, a["default"].get<std::string>()))
					<< "the entry of '" << path << "' lacks the default of " << name;
			}
		}
	}
	result help = sh(bin + "/mxt --help");
	const std::string opts = plain(manual.substr(manual.find(".SH OPTIONS")));
	std::string h = help.out.substr(help.out.find("Options:"));
	h = h.substr(0, h.find("Subcommands:"));
	for (size_t at = 0; (at = h.find('-', at)) != std::string::npos;) {
		size_t end = h.find_first_of(" ,\n", at);
		const std::string option = h.substr(at, end - at);
		EXPECT_TRUE(has_word(opts.substr(0, opts.find(".SH COMMANDS")), option))
			<< "the OPTIONS of docs/mxt.1 lack " << option;
		at = end;
	}
	check_schemas();
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
			// The boot update acts, and still shows each adapter's result.
			const bool shows = (listed[i.path] == "reads" || std::string(i.path) == "boot update") &&
					   !has(i.args, "--reset");
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
	// Arguments are read strictly: no sign, no blank, no overflow, no extra
	// part; the message names the argument.
	for (const std::string ap : {"1/4294967297", "-1/0", "1/ 0", " 1/0", "+1/0", "x", "1/0/0", "1/", "0/0"})
		refused("port disable '" + ap + "'", "argument A/P: '" + ap + "' is not a port address");
	struct refusal {
		const char *args, *message;
	};
	const refusal cases_[] = {
		{"adapter disable 99999999999999999999999",
		 "argument N: '99999999999999999999999' is not an adapter number"},
		{"adapter disable 4294967297", "argument N: '4294967297' is not an adapter number"},
		{"trunk enable -1", "argument N: '-1' is not an adapter number"},
		{"ioc name 1x uplink", "argument ID: '1x' is not a controller id"},
		{"ioc name 4294967296 uplink", "argument ID: '4294967296' is not a controller id"},
		{"ioc coalesce 0 maybe", "argument MODE: 'maybe' is not a valid choice; use one of on, off"},
		{"ioc coalesce 0 on --delay 70000", "argument --delay: '70000' is not a valid number"},
		{"rport show 1/0 50:25:a3:40:10:3a:7c", "argument RPWWN: '50:25:a3:40:10:3a:7c' is not a WWN"},
		{"itnim show 1/0 0x5025a340103a7c0g", "argument RPWWN: '0x5025a340103a7c0g' is not a WWN"},
		{"port speed 1/0 7", "argument SPEED: '7' is not a speed"},
		{"port speed 1/0 ' 8'", "argument SPEED: ' 8' is not a speed"},
		{"port topology 1/0 star", "argument TOPO: 'star' is not a topology"},
		{"port alpa 1/0 0xf0", "argument ALPA: '0xf0' is not a loop address"},
		{"port frame-size 1/0 -2048", "argument BYTES: '-2048' is not a valid number"},
		{"events --kind tin", "argument --kind: 'tin' is not a valid choice"},
		// Well formed, but leading nowhere or to the wrong side.
		{"adapter show 3", "no adapter 3; 'mxt adapter list' shows the adapters"},
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
		{"--bogus", "The following argument was not expected: --bogus; see mxt --help"},
		{"port show", "port show: A/P is required; see mxt port show --help"},
		{"stats 1/9", "adapter 1 has no port 9; 'mxt port list' shows the ports"},
		{"stats 1/0 x", "argument A/P: 'x' is not a port address"},
		{"stats ''", "argument A/P: '' is not a port address"},
		{"stats 1/0 ''", "argument A/P: '' is not a port address"},
		{"stats --watch 0", "argument --watch: '0' is not a valid number"},
		{"stats --watch 2 --prometheus", "--watch shows rates, which --prometheus does not carry"},
		{"stats -o x.prom", "--output writes the Prometheus form; give --prometheus with it"},
		// An empty file name is no file; the null WWN names no port (it
		// once listed every target).
		{"stats -o ''", "--output writes the Prometheus form; give --prometheus with it"},
		{"lun list 1/0 0x0000000000000000", "argument RPWWN: '0x0000000000000000' is not a port's WWN"},
		{"rport show 1/0 00:00:00:00:00:00:00:00", "argument RPWWN: '00:00:00:00:00:00:00:00' is not a port's WWN"},
	};
	for (const refusal &r : cases_)
		refused(r.args, r.message);
	result empty = mxt("stats --prometheus -o ''");
	EXPECT_EQ(empty.rc, 1);
	EXPECT_EQ(empty.out, "") << "not printed instead";
	EXPECT_EQ(empty.err.rfind("mxt: no file name in ''; give the name of a file", 0), 0u) << empty.err;
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
	EXPECT_TRUE(has(mxt("config show").out, "qor0-port-speed = 8;\n"));
	EXPECT_EQ(mxt("config path").out, "/etc/qor.conf\n");
	for (const char *s : {"4Gbps", "2g", "Auto", "AUTO"})
		EXPECT_EQ(mxt(std::string("port speed 1/1 ") + s).rc, 0) << s;
	EXPECT_EQ(port["pport_cfg"]["topology"], "auto");
	for (const char *t : {"P2P", "Loop", "auto", "p2p"})
		EXPECT_EQ(mxt(std::string("port topology 1/1 ") + t).rc, 0) << t;
	EXPECT_TRUE(has(conf(), "qor1-port-topology = \"p2p\";\n")) << conf();
	EXPECT_EQ(mxt("port alpa 1/0 239").rc, 0);
	EXPECT_TRUE(has(conf(), "qor0-port-hardalpa = 0xef;\n")) << conf();
}

// Adapter 1 quiet: its controllers and ports disabled; the converged card's
// first FCoE port disabled. Adapter 1 can trunk.
const char *const quiet_topology = R"({"adapters":[
	{"serial":"QXA2210F001","trunk_capable":true,"functions":[
		{"type":"fc","state":"disabled","fcport":{"enabled":false}},
		{"type":"fc","state":"disabled","fcport":{"enabled":false}}]},
	{"serial":"QXC2214C007","functions":[
		{"type":"fcoe","fcport":{"enabled":false}},{"type":"fcoe"},{"type":"eth"},{"type":"eth"}]}]})";

// Adapter 1's controllers running, their ports disabled: a port on a
// disabled controller shows the controller's state, not its own.
const char *const ports_off_topology = R"({"adapters":[{"serial":"QXA2210F001","functions":[
	{"type":"fc","fcport":{"enabled":false}},{"type":"fc","fcport":{"enabled":false}}]}]})";

// Adapter 1 half quiet: port 0's controller disabled, port 1's running.
const char *const half_topology = R"({"adapters":[{"serial":"QXA2210F001","functions":[
	{"type":"fc","state":"disabled"},{"type":"fc"}]}]})";

// Changing to what already is succeeds with a note on stderr, and --json
// says nothing changed; a real change has no note. Alike for adapters,
// ports, trunks and FCoE ports, whether the library answers with a status
// of its own or the driver takes the repeated request without a word.
TEST_F(Mxt, AlreadySoIsANoteForAdaptersPortsTrunksAndFcoe)
{
	struct change {
		const char *args, *topology;
		const char *note; // null: a real change
	};
	const change changes[] = {
		{"adapter enable 1", "", "enabling adapter 1: status 67 (QOR_STATUS_AD_IS_ENABLE): the adapter is already enabled"},
		{"adapter enable 1", quiet_topology, nullptr},
		{"adapter disable 1", quiet_topology, "disabling adapter 1: every controller is already disabled"},
		{"adapter disable 1", "", nullptr},
		// One controller already disabled: the adapter still changed.
		{"adapter disable 1", half_topology, nullptr},
		{"port enable 1/0", "", "enabling port 1/0: the port is already enabled"},
		{"port enable 1/0", ports_off_topology, nullptr},
		{"port disable 1/1", ports_off_topology, "disabling port 1/1: the port is already disabled"},
		{"port disable 1/1", "", nullptr},
		{"trunk enable 1", trunked_topology, "enabling trunking on adapter 1: status 164 (QOR_STATUS_TRUNK_ENABLED)"},
		{"trunk enable 1", "", nullptr},
		{"trunk disable 1", "", "disabling trunking on adapter 1: status 165 (QOR_STATUS_TRUNK_DISABLED)"},
		{"trunk disable 1", trunked_topology, nullptr},
		{"fcoe enable 2/1", "", "enabling FCoE on port 2/1: the port is already enabled"},
		{"fcoe enable 2/0", quiet_topology, nullptr},
		{"fcoe disable 2/0", quiet_topology, "disabling FCoE on port 2/0: the port is already disabled"},
		{"fcoe disable 2/1", quiet_topology, nullptr},
	};
	for (const change &c : changes) {
		const std::string what = std::string(c.args) + (*c.topology ? " (own topology)" : "");
		const std::string topo = topo_file(*c.topology ? c.topology : qorsim_default_topology());
		result t = mxt(c.args, topo, fresh_root());
		EXPECT_EQ(t.rc, 0) << what << ": " << t.err;
		EXPECT_EQ(t.out, "") << what;
		if (c.note) {
			EXPECT_EQ(t.err.rfind(std::string("mxt: note: ") + c.note, 0), 0u) << what << ": " << t.err;
			EXPECT_TRUE(has(t.err, "; nothing changed\n")) << what << ": " << t.err;
			EXPECT_EQ(t.err.find('\n'), t.err.size() - 1) << what << ": one line: " << t.err;
		} else {
			EXPECT_EQ(t.err, "") << what;
		}
		result j = mxt(std::string("--json ") + c.args, topo, fresh_root());
		ASSERT_EQ(j.rc, 0) << what << ": " << j.err;
		json d = collect(std::string(c.args).substr(0, std::string(c.args).rfind(' ')), what, j.out);
		EXPECT_EQ(d["changed"], c.note == nullptr) << what;
	}
	check_schemas();
}

// Refusals by the driver or the library: exit 1, one line that names the
// status and says why and what to do, the JSON error object with the status.
TEST_F(Mxt, RefusalsSayWhyAndWhatToDo)
{
	struct refusal {
		const char *args, *topology, *status;
		std::vector<std::string> says;
		std::vector<std::string> not_says = {};
	};
	const refusal refusals[] = {
		{"port frame-size 1/0 1000", "", "QOR_STATUS_INVLD_DFSZ",
		 {"setting the frame size of port 1/0:", "; use 512, 1024, 2048 or 2112"}},
		{"port topology 2/0 loop", "", "QOR_STATUS_NO_TOPOLOGY_FOR_CNA",
		 {"converged adapters take no topology setting: their FCoE ports run point-to-point over Ethernet"}},
		{"port speed 2/0 4", "", "QOR_STATUS_CMD_NOTSUPP_CNA",
		 {"converged adapters do not take this setting on their FCoE ports"},
		 {"highest supported speed"}},
		{"port alpa 2/1 0x01", "", "QOR_STATUS_CMD_NOTSUPP_CNA",
		 {"converged adapters do not take this setting"},
		 {"126 valid loop addresses"}},
		{"port alpa 1/0 0x03", "", "QOR_STATUS_EINVAL", {"one of the 126 valid loop addresses"}},
		{"port speed 1/0 16", "", "QOR_STATUS_UNSUPP_SPEED", {"'mxt port show 1/0' shows the highest supported speed"}},
		{"trunk enable 2", "", "QOR_STATUS_TRUNK_UNSUPP", {"this adapter cannot trunk its ports"}},
		// A name the file cannot hold: what a name may be, not only its length.
		{"adapter name 1 'a\"b'", "", "QOR_STATUS_EINVAL",
		 {"naming adapter 1:", "without control characters, '\"', ';' or '\\'"}, {"port's name"}},
		{"ioc name 4 qor-uplink", "", "QOR_STATUS_EINVAL", {"naming controller 4:", "may not contain 'adapter' or 'qor'"}},
		{"ioc name 1 adapter-b", "", "QOR_STATUS_EINVAL", {"may not contain 'adapter'"}, {"'qor'"}},
		// An enable or disable that does not complete names the controller:
		// driver, instance, port.
		{"adapter enable 1",
		 R"({"adapters":[{"serial":"QXA2210F001","functions":[
			{"type":"fc","state":"disabled","transition_ms":-1},{"type":"fc"}]}]})",
		 "QOR_STATUS_FAILED",
		 {"enabling adapter 1:", "timed out after 20 seconds per controller: fc instance 0 (port 1/0) is not operational"},
		 {"port 1/1"}},
		{"adapter disable 1",
		 R"({"adapters":[{"serial":"QXC2214C007","functions":[{"type":"fcoe"},{"type":"fcoe"},
			{"type":"eth"},{"type":"eth","transition_ms":-1}]}]})",
		 "QOR_STATUS_FAILED",
		 {"disabling adapter 1:", "timed out", "eth instance 1 (port 1/1) is not disabled (disabling)"},
		 {"fc instance"}},
	};
	for (const refusal &r : refusals) {
		const std::string err =
			refused(r.args, "", topo_file(*r.topology ? r.topology : qorsim_default_topology()), r.status);
		for (const std::string &part : r.says)
			EXPECT_TRUE(has(err, part)) << r.args << ": no '" << part << "' in " << err;
		for (const std::string &part : r.not_says)
			EXPECT_FALSE(has(err, part)) << r.args << ": '" << part << "' in " << err;
	}
	check_schemas();
}

// Every command's address that leads nowhere is named as such ("no adapter
// 3", "adapter 1 has no port 9", "no controller 42"), never as a status
// that hides it.
TEST_F(Mxt, EveryAddressThatLeadsNowhereIsNamed)
{
	// A valid value of every required argument.
	const std::map<std::string, std::string> sample = {
		{"N", "1"},      {"A/P", "1/0"},      {"ID", "0"},
		{"TEXT", "x"},   {"MODE", "on"},      {"SPEED", "4"},   {"TOPO", "loop"},
		{"ALPA", "0x01"}, {"BYTES", "2048"}, {"RPWWN", "21:00:02:5a:30:00:00:01"},
		{"PART", "fw"},   {"FILE", "/nonexistent/part.bin"}, {"PKG", "/nonexistent/pkg.tar"},
		{"LUN", "0"},    {"LBA", "0"},
	};
	struct miss {
		const char *arg, *value, *says;
	};
	const miss misses[] = {
		{"N", "3", "no adapter 3; 'mxt adapter list' shows the adapters"},
		{"A/P", "3/0", "no adapter 3; 'mxt adapter list' shows the adapters"},
		{"A/P", "1/9", "adapter 1 has no "},
		{"ID", "42", "no controller 42; 'mxt ioc list' shows the controllers"},
	};
	int tried = 0;
	for (const json &c : json::parse(sh(bin + "/mxt --list-commands --json").out))
		for (const miss &m : misses) {
			std::string args = c["path"];
			bool addressed = false;
			for (const json &a : c["arguments"]) {
				if (!a["required"])
					continue;
				addressed = addressed || a["name"] == m.arg;
				args += " " + (a["name"] == m.arg ? m.value : sample.at(a["name"]));
			}
			if (!addressed)
				continue;
			tried++;
			result r = mxt(args);
			EXPECT_EQ(r.rc, 1) << args;
			EXPECT_EQ(r.err.rfind(std::string("mxt: ") + m.says, 0), 0u) << args << ": " << r.err;
			EXPECT_FALSE(has(r.err, "has no a")) << args << ": " << r.err;
			EXPECT_FALSE(has(r.err, "QOR_STATUS_")) << args << ": " << r.err;
			EXPECT_TRUE(has(r.err, "port 9; 'mxt port list' shows the ports") || m.value != std::string("1/9"))
				<< args << ": " << r.err;
		}
	EXPECT_GE(tried, 40);
}

// Discovery that leaves out a driver which reports more instances than the
// library takes says so: a warning when other controllers were found, a
// failure when none were.
TEST_F(Mxt, TheInstanceLimitIsNamed)
{
	const std::string limit = "more than 128 instances (the library's limit per driver)";
	std::string topo = topo_file(R"({"drivers":{"fc":{"count":129}},"adapters":[{"serial":"QXC2214C007",
		"functions":[{"type":"fcoe"},{"type":"eth"}]}]})");
	result r = mxt("--json ioc list", topo);
	EXPECT_EQ(r.rc, 0) << r.err;
	EXPECT_EQ(r.err.rfind("mxt: warning: adapter discovery left a driver's controllers out: status 42 (QOR_STATUS_EIO)", 0),
		  0u)
		<< r.err;
	EXPECT_TRUE(has(r.err, limit)) << r.err;
	json list = collect("ioc list", "ioc list with a driver left out", r.out);
	ASSERT_EQ(list.size(), 1u) << r.out;
	EXPECT_EQ(list[0]["ioc_type"], "eth");

	qt::write_file(topo, R"({"drivers":{"fc":{"count":129},"eth":{"count":0}},"adapters":[{"serial":"QXA2210F001",
		"functions":[{"type":"fc"}]}]})");
	r = mxt("ioc list", topo);
	EXPECT_EQ(r.rc, 1);
	EXPECT_EQ(r.err.rfind("mxt: adapter discovery failed: status 42 (QOR_STATUS_EIO)", 0), 0u) << r.err;
	EXPECT_TRUE(has(r.err, limit)) << r.err;
	// 128 is taken.
	qt::write_file(topo, R"({"drivers":{"fc":{"count":128}},"adapters":[{"serial":"QXA2210F001",
		"functions":[{"type":"fc"}]}]})");
	r = mxt("ioc list", topo);
	EXPECT_EQ(r.rc, 0) << r.err;
	EXPECT_EQ(r.err, "");
	check_schemas();
}

// ---- events ------------------------------------------------------------------------

// Two cards, the converged one with FC and Ethernet instances 1 that overlap
// in number; state changes that raise an event of every category, due at
// at_ms.
std::string events_topology(int at_ms)
{
	json t = json::parse(R"({"adapters": [
	  { "serial": "QXA2210F001", "functions": [
	      { "type": "fc", "fcport": { "rports": [ { "pwwn": "21:00:02:5a:30:00:00:01" },
	                                              { "pwwn": "21:00:02:5a:30:00:00:02", "role": "initiator" } ] } },
	      { "type": "fc" } ] },
	  { "serial": "QXC2214C007", "functions": [
	      { "type": "fcoe" }, { "type": "fcoe" }, { "type": "eth" }, { "type": "eth" } ] } ],
	  "schedule": [
	    { "action": "link_down", "instance": 0 },
	    { "action": "ioc_disable", "instance": 1 },
	    { "action": "link_down", "driver": "eth", "instance": 0 },
	    { "action": "ioc_disable", "driver": "eth", "instance": 1 },
	    { "action": "adapter_add", "adapter": 1 },
	    { "action": "audit", "instance": 2, "partition_inst": -1 },
	    { "action": "event", "instance": 0,
	      "event": { "category": "lport", "type": "new", "data": { "roles": 3 } } } ]})");
	for (auto &e : t["schedule"])
		e["at_ms"] = at_ms;
	return t.dump();
}

// What names each event: category, type and its controller (driver,
// instance, port), as printed.
std::multiset<std::string> event_names(const json &events)
{
	std::multiset<std::string> names;
	for (const json &e : events)
		names.insert(e["category"].get<std::string>() + " " + e["type"].get<std::string>() + " " +
			     e["driver"].dump() + " " + e["instance"].dump() + " " + e["port"].dump());
	return names;
}

const std::multiset<std::string> kEventNames = {
	R"(port offline "fc" 0 "1/0")",    R"(lport offline "fc" 0 "1/0")",  R"(rport offline "fc" 0 "1/0")",
	R"(rport offline "fc" 0 "1/0")",   R"(itnim offline "fc" 0 "1/0")",  R"(lport new "fc" 0 "1/0")",
	R"(ioc disable "fc" 1 "1/1")",     R"(port disable "fc" 1 "1/1")",   R"(ethport linkdown "eth" 0 "2/0")",
	R"(ioc disable "eth" 1 "2/1")",    R"(ethport disable "eth" 1 "2/1")", "adapter add null null null",
	R"(audit flash_update "fc" 2 "2/0")",
};

// Real events of every category, queued and followed, in JSON and text:
// every record matches the schema and names its controller by driver,
// instance and port (the two drivers' instances 1 stay apart).
TEST_F(Mxt, EventsOfEveryCategoryNameTheirControllerAndMatchTheSchema)
{
	std::string topo = topo_file(events_topology(0));
	result q = mxt("--json events", topo);
	ASSERT_EQ(q.rc, 0) << q.err;
	json queued = collect("events", "events (queued)", q.out);
	EXPECT_EQ(event_names(queued), kEventNames) << q.out;
	for (const json &e : queued)
		if (e["category"] == "lport" && e["type"] == "new") {
			EXPECT_EQ(e["roles"], json({"initiator", "target"}));
		} else if (e["category"] == "audit") {
			EXPECT_EQ(e["partition_inst"], -1);
		}

	// The text form: one line each, the controller named the same way.
	result t = mxt("events", topo);
	ASSERT_EQ(t.rc, 0) << t.err;
	EXPECT_TRUE(has(t.out, "  ioc disable  fc instance 1 (port 1/1)  pwwn ")) << t.out;
	EXPECT_TRUE(has(t.out, "  ioc disable  eth instance 1 (port 2/1)  mac ")) << t.out;
	EXPECT_TRUE(has(t.out, "  adapter add  -  serial_num QXC2214C007\n")) << t.out;
	EXPECT_EQ(std::count(t.out.begin(), t.out.end(), '\n'), static_cast<long>(kEventNames.size())) << t.out;

	for (int at : {0, 100}) {
		topo_file(events_topology(at));
		const std::vector<std::string> argv = {bin + "/qorsim", "--root", root, "--topology", topo, "--",
						       bin + "/mxt",    "--json", "events", "--follow"};
		qt::Lines f = qt::read_lines(argv, [](const std::vector<std::string> &l) {
			return l.size() >= kEventNames.size();
		});
		json followed = json::array();
		for (const std::string &l : f.lines)
			followed.push_back(json::parse(l, nullptr, false));
		collect("events", "events --follow, changes at " + std::to_string(at) + " ms", followed.dump());
		EXPECT_EQ(event_names(followed), kEventNames) << followed.dump(1);
		EXPECT_TRUE(WIFEXITED(f.status) && WEXITSTATUS(f.status) == 0) << "ends cleanly on SIGTERM";
	}
	check_schemas();
}

// --journal: one structured entry per event, with its priority by
// severity and the fields a journal query selects by; nothing on stdout.
TEST_F(Mxt, EventsGoToTheJournalOneEntryEach)
{
	std::string topo = topo_file(events_topology(0)), journal = root + "/journal.jsonl";
	result j = mxt("--json events", topo);
	ASSERT_EQ(j.rc, 0) << j.err;
	json events = json::parse(j.out);
	result r = sh("QORL_TEST_JOURNAL=" + journal + " LD_PRELOAD=" QORL_JOURNAL_CAPTURE " " + bin + "/qorsim --root " +
		      root + " --topology " + topo + " -- " + bin + "/mxt events --journal");
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_EQ(r.out, "");
	std::vector<json> entries;
	for (const std::string &l : lines_of(qt::read_file(journal)))
		entries.push_back(json::parse(l));
	ASSERT_EQ(entries.size(), events.size());
	const std::map<std::string, std::string> priority = {
		{"port offline", "4"},  {"lport offline", "4"},   {"rport offline", "4"}, {"itnim offline", "4"},
		{"lport new", "6"},     {"ioc disable", "4"},     {"port disable", "4"},  {"ethport linkdown", "4"},
		{"ethport disable", "4"}, {"adapter add", "6"},   {"audit flash_update", "5"},
	};
	for (size_t i = 0; i < entries.size(); i++) {
		const json &e = entries[i], &ev = events[i];
		const std::string what = ev["category"].get<std::string>() + " " + ev["type"].get<std::string>();
		EXPECT_EQ(json::parse(e["QORL_EVENT"].get<std::string>()), ev) << what;
		EXPECT_EQ(e["PRIORITY"], priority.at(what)) << what;
		EXPECT_EQ(e["QORL_KIND"], ev["category"]);
		EXPECT_EQ(e["QORL_TYPE"], ev["type"]);
		EXPECT_EQ(e["SYSLOG_IDENTIFIER"], "mxt");
		EXPECT_TRUE(has(e["MESSAGE"], what)) << e;
		if (ev["port"].is_string()) {
			const std::string ap = ev["port"];
			EXPECT_EQ(e["QORL_ADAPTER"], ap.substr(0, 1)) << what;
			EXPECT_EQ(e["QORL_PORT"], ap.substr(2)) << what;
			EXPECT_EQ(e["QORL_DRIVER"], ev["driver"]) << what;
		} else {
			EXPECT_EQ(e["QORL_ADAPTER"], "2") << "the adapter by its serial number";
			EXPECT_FALSE(e.contains("QORL_PORT"));
		}
		if (ev["category"] == "rport") {
			EXPECT_EQ(e["QORL_WWN"], ev["rpwwn"]);
		} else if (ev["category"] == "port") {
			EXPECT_EQ(e["QORL_WWN"], ev["pwwn"]);
		} else if (ev["category"] == "ethport") {
			EXPECT_FALSE(e.contains("QORL_WWN"));
		}
	}
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

// The default hardware as the lists show it: controllers numbered across
// both cards, each adapter's controllers by port as 'ioc list' numbers them.
TEST_F(Mxt, ListsOfDefaultHardware)
{
	result r = mxt("ioc list --json");
	ASSERT_EQ(r.rc, 0) << r.err;
	json j = json::parse(r.out);
	ASSERT_EQ(j.size(), 6u);
	EXPECT_EQ(j[2]["ioc_type"], "fcoe");
	EXPECT_TRUE(j[0].contains("pwwn"));
	EXPECT_TRUE(j[0]["mac"].is_null());
	EXPECT_TRUE(j[4]["pwwn"].is_null());
	EXPECT_EQ(j[4]["port"], "2/0");
	EXPECT_TRUE(has(mxt("ioc list").out, "operational"));
	j = json::parse(mxt("ioc show 4 --json").out);
	EXPECT_EQ(j["identity"]["ioc_type"], "eth");
	EXPECT_TRUE(j["attributes"]["adapter_attr"].contains("model_descr"));
	j = json::parse(mxt("adapter list --json").out);
	ASSERT_EQ(j.size(), 2u);
	EXPECT_EQ(j[0]["ports"].size(), 2u);
	EXPECT_TRUE(j[0]["ports"][1].contains("fc"));
	EXPECT_FALSE(j[0]["ports"][1].contains("eth"));
	EXPECT_TRUE(j[1]["ports"][0].contains("fc"));
	EXPECT_TRUE(j[1]["ports"][0].contains("eth"));
	EXPECT_EQ(j[1]["cna_capable"], true);
	EXPECT_EQ(j[1]["ports"][0]["eth"]["id"], 4);
	EXPECT_EQ(j[1]["ports"][1]["fc"]["id"], 3);
	EXPECT_GE(json::parse(mxt("rport list 1/0 --json").out).size(), 3u);
}

// The launcher builds the controllers from the topology file, and refuses a bad one.
TEST_F(Mxt, TopologyFileDecidesTheControllers)
{
	result r = mxt("ioc list --json", topo_file(R"({"adapters":[{"serial":"TESTSN1","functions":[
		{"type":"fc"},{"type":"fc"},{"type":"fc"}]}]})"));
	ASSERT_EQ(r.rc, 0) << r.err;
	json j = json::parse(r.out);
	ASSERT_EQ(j.size(), 3u);
	for (auto &c : j)
		EXPECT_EQ(c["serial_num"], "TESTSN1");
	r = mxt("ioc list", topo_file(R"({"adapters":[{"functions":[{"type":"scsi"}]}]})"));
	EXPECT_EQ(r.rc, 2);
	EXPECT_TRUE(has(r.err, "type")) << r.err;
}

// Naming rewrites the file by rename and keeps every line the model
// carries; the emulated drivers take the names from the file when they
// load, as real ones do.
TEST_F(Mxt, NamesKeepEveryOtherLineAndSurviveIntoTheNextRun)
{
	const std::string kept = "num-ios = 2048;\nqor7-port-wwn = \"21:00:00:00:00:00:00:77\";\nqor7-port-speed = 4;\n"
				 "vek3-port-mtu = 9000;\n";
	qt::write_file(root + "/etc/qor.conf", kept + "vek3-port-mac = \"02:00:00:00:00:33\";\n");
	result r = mxt("adapter name 1 lab-east");
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_EQ(r.out, "");
	for (const std::string &line : lines_of(kept + "adapter-QXA2210F001-name = \"lab-east\";"))
		EXPECT_TRUE(has(conf(), line + "\n")) << line << " in\n" << conf();
	ASSERT_EQ(mxt("adapter name 2 lab-west").rc, 0);
	ASSERT_EQ(mxt("ioc name 4 uplink-a").rc, 0);
	EXPECT_EQ(json::parse(mxt("adapter list --json").out)[1]["name"], "lab-west");
	json iocs = json::parse(mxt("ioc list --json").out);
	EXPECT_EQ(iocs[4]["port_name"], "uplink-a");
	EXPECT_EQ(iocs[5]["port_name"], "");
	r = mxt("adapter name 1 " + std::string(64, 'x'));
	EXPECT_EQ(r.rc, 1);
	EXPECT_TRUE(has(r.err, "63 characters")) << r.err;
}

// The link error counters come big-endian from the remote port; mxt shows
// their values.
TEST_F(Mxt, RemoteLinkErrorCountersAreShownAsNumbers)
{
	const std::string topo = topo_file(R"({"adapters":[{"functions":[{"type":"fc","fcport":{"rports":[
		{"pwwn":"21:00:02:5a:30:00:00:01","lesb":[1,2,3,4,5,6]}]}}]}]})");
	result r = mxt("--json rport show 1/0 21:00:02:5a:30:00:00:01 --stats", topo);
	ASSERT_EQ(r.rc, 0) << r.err;
	json l = json::parse(r.out)["link_error_status"];
	EXPECT_EQ(l, json({{"link_failure_count", 1}, {"loss_of_synchronization_count", 2}, {"loss_of_signal_count", 3},
			   {"primitive_sequence_protocol_error_count", 4}, {"invalid_transmission_word_count", 5},
			   {"invalid_crc_count", 6}}));
}

// Driver text with control characters (a name, a description, a symbolic
// name, a serial number in an event) reaches the terminal escaped as \xNN,
// never raw; JSON keeps the text as it is, escaped by JSON itself. A name
// that is not UTF-8 (here from the file the drivers read) is shown with
// U+FFFD for the bad byte, in both forms; --json does not abort.
TEST_F(Mxt, ControlCharactersNeverReachTheTerminalRawNorBadUtf8)
{
	qt::write_file(root + "/etc/qor.conf", "adapter-QXA2210F001-name = \"lab\xffx\";\n");
	result j = mxt("--json adapter show 1");
	ASSERT_EQ(j.rc, 0) << j.err;
	EXPECT_EQ(json::parse(j.out)["name"], "lab\xef\xbf\xbdx");
	EXPECT_TRUE(has(mxt("adapter list").out, "lab\xef\xbf\xbdx"));
	const std::string topo = topo_file(R"({"adapters":[{"serial":"QX\u001b[31mA","model_descr":"evil\u001b[2J\u0007desc\u009b1m",
		"functions":[{"type":"fc","fcport":{"symname":"sym\u001b]0;title\u0007x",
		"rports":[{"pwwn":"50:00:00:00:00:00:00:01"}]}}]}],
		"schedule":[{"at_ms":0,"action":"adapter_add","adapter":0}]})");
	for (const char *args : {"adapter list", "adapter show 1", "ioc show 0", "lport list 1/0", "events"}) {
		result r = mxt(args, topo);
		ASSERT_EQ(r.rc, 0) << args << ": " << r.err;
		for (const std::string &text : {r.out, r.err})
			for (unsigned char ch : text)
				ASSERT_TRUE(ch >= 0x20 || ch == '\n') << args << ": raw control character " << (int)ch << " in\n"
								       << text;
		EXPECT_FALSE(has(r.out, "\xc2\x9b")) << args << ": a raw C1 control character";
		EXPECT_TRUE(has(r.out, "QX\\x1b[31mA") || has(r.out, "sym\\x1b]0;title\\x07x")) << args << ": " << r.out;
	}
	EXPECT_TRUE(has(mxt("adapter show 1", topo).out, "evil\\x1b[2J\\x07desc\\x9b1m\n"));
	json a = json::parse(mxt("--json adapter show 1", topo).out);
	EXPECT_EQ(a["model_descr"], "evil\x1b[2J\x07" "desc\xc2\x9b" "1m");
	// A byte 0xc2 that does not start a C1 control (user input, not UTF-8) stays as it is.
	result u = mxt("\"$(printf 'x\\302A')\"");
	EXPECT_EQ(u.err, "mxt: unknown command 'x\xc2" "A'; see mxt --help\n");
	// Multi-line text keeps its lines.
	result c = mxt("config show", topo);
	EXPECT_GT(std::count(c.out.begin(), c.out.end(), '\n'), 2) << c.out;
	// The file cannot key a setting on that serial: the driver takes the
	// name, and mxt says it will not last.
	result n = mxt("adapter name 1 foo", topo);
	EXPECT_EQ(n.rc, 1) << n.err;
	EXPECT_TRUE(has(n.err, "active now but will not survive a restart")) << n.err;
	EXPECT_TRUE(has(n.err, "'QX\\x1b[31mA'")) << n.err;
}

// --list-commands in text is one usage line per command (its help below
// it), in the words of 'mxt --help'; the JSON form is what programs read.
TEST_F(Mxt, ListCommandsTextShowsUsageLines)
{
	result r = sh(bin + "/mxt --list-commands");
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_FALSE(has(r.out, "{\"name\"")) << "no raw JSON in the text form";
	for (const char *line : {"ioc coalesce ID on|off [--delay N] [--latency N]\n", "ioc list\n",
				 "lun list A/P [RPWWN]\n", "stats [A/P...] [--watch N] [--prometheus] [--rports] [--output|-o VALUE]\n",
				 "boot update PKG [N] [--all] [--devid 0x13|0x14|0x17|0x21]\n", "flash erase N PART [--yes]\n"})
		EXPECT_TRUE(has("\n" + r.out, std::string("\n") + line)) << line << "in\n" << r.out;
	size_t usages = 0;
	for (const json &c : json::parse(sh(bin + "/mxt --list-commands --json").out)) {
		const std::string path = c["path"];
		const size_t at = ("\n" + r.out).find("\n" + path + (c["arguments"].empty() ? "\n" : " "));
		ASSERT_NE(at, std::string::npos) << path;
		usages++;
		const std::string help = r.out.substr(r.out.find('\n', at) + 1);
		EXPECT_EQ(help.rfind("    " + c["help"].get<std::string>() + " (" + c["side"].get<std::string>() + ", " +
					     c["effect"].get<std::string>() + ")\n",
				     0),
			  0u)
			<< path;
	}
	EXPECT_EQ((size_t)std::count(r.out.begin(), r.out.end(), '\n'), 2 * usages);
	EXPECT_EQ(mxt("--help").rc, 0);
	EXPECT_EQ(mxt("port --help").rc, 0);
}

// Output that cannot be written (a full disk) is a failure, not a cut file
// with exit status 0.
TEST_F(Mxt, UnwritableOutputExitsOne)
{
	struct stat st;
	if (stat("/dev/full", &st) != 0)
		GTEST_SKIP() << "no /dev/full";
	for (const char *args : {"adapter list", "--json stats", "stats --prometheus", "--list-commands", "--help",
				 "--version", "flash --help"}) {
		result r = mxt(std::string(args) + " >/dev/full");
		EXPECT_EQ(r.rc, 1) << args;
		EXPECT_TRUE(has(r.err, "mxt: writing the output failed: ")) << args << ": " << r.err;
		EXPECT_TRUE(has(r.err, "check the space left")) << args << ": " << r.err;
	}
	// Blocks written as they are read: the first failed write ends the command.
	result r = mxt("scsi read 1/0 50:25:a3:40:10:3a:7c:00 0 0 --count 100 >/dev/full");
	EXPECT_EQ(r.rc, 1);
	EXPECT_EQ(r.err, "mxt: writing the data failed: No space left on device; check the space left on the file "
			 "system it goes to\n");
}

// ---- monitoring ------------------------------------------------------------------

// The Prometheus form parses with the Prometheus client's parser, follows
// its naming conventions and carries every counter the JSON form shows,
// value for value (the emulated hardware answers both runs alike), remote
// ports included.
TEST_F(Mxt, PrometheusFormCarriesEveryCounter)
{
	for (const char *ports : {"", "2/0 2/1"}) {
		const std::string args = std::string("stats --rports ") + ports;
		result j = mxt("--json " + args);
		ASSERT_EQ(j.rc, 0) << j.err;
		json stats = collect("stats", args, j.out);
		ASSERT_FALSE(stats.empty());
		result p = mxt(args + " --prometheus");
		ASSERT_EQ(p.rc, 0) << p.err;
		EXPECT_EQ(p.err, "");
		qt::write_file(root + "/stats.json", j.out);
		qt::write_file(root + "/stats.prom", p.out);
		result check = sh("/usr/bin/python3 " QORL_SOURCE_DIR "/tests/prometheus_check.py " + root +
				  "/stats.prom " + root + "/stats.json");
		EXPECT_EQ(check.rc, 0) << check.out << check.err;
		EXPECT_TRUE(has(p.out, "# TYPE qorl_eth_port_up gauge\n"));
		EXPECT_TRUE(has(p.out, "qorl_stats_read_errors 0\n"));
		if (!*ports) {
			EXPECT_TRUE(has(p.out, "# TYPE qorl_fc_port_rx_frames_total counter\n"));
			EXPECT_TRUE(has(p.out, R"(qorl_fc_port_up{adapter="1",port="0",port_wwn="20:00:02:5a:31:0a:f0:00"} 1)"));
			EXPECT_TRUE(has(p.out, R"(qorl_fc_port_speed_bytes{adapter="1",port="0",port_wwn="20:00:02:5a:31:0a:f0:00"} 1000000000)"));
			EXPECT_TRUE(has(p.out, R"(qorl_fc_rport_plogis_total{adapter="1",port="0",port_wwn="20:00:02:5a:31:0a:f0:00",rport_wwn="50:25:a3:40:10:3a:7c:00"} )"));
		} else {
			EXPECT_FALSE(has(p.out, R"(adapter="1")")) << "only the ports asked for";
		}
	}
	// The remote port counters come as the driver counts them: an offline
	// count raised by the emulator's own link change.
	const std::string topo = topo_file(R"({"adapters":[{"functions":[{"type":"fc","pwwn":"20:00:00:00:00:00:00:01",
		"fcport":{"rports":[{"pwwn":"21:00:02:5a:30:00:00:01"}]}}]}],
		"schedule":[{"at_ms":0,"action":"rport_offline","rpwwn":"21:00:02:5a:30:00:00:01"},
		            {"at_ms":0,"action":"rport_online","rpwwn":"21:00:02:5a:30:00:00:01"}]})");
	result p = mxt("stats --rports --prometheus", topo);
	ASSERT_EQ(p.rc, 0) << p.err;
	EXPECT_TRUE(has(p.out, R"(qorl_fc_rport_offlines_total{adapter="1",port="0",port_wwn="20:00:00:00:00:00:00:01",rport_wwn="21:00:02:5a:30:00:00:01"} 1)"))
		<< p.out;
	check_schemas();
}

// A port named twice is read and shown once: the exposition format refuses
// a series that appears twice.
TEST_F(Mxt, StatsShowsAPortNamedTwiceOnce)
{
	result p = mxt("stats 1/0 2/1 1/0 --prometheus");
	ASSERT_EQ(p.rc, 0) << p.err;
	size_t n = 0;
	for (size_t at = 0; (at = p.out.find("qorl_fc_port_up{adapter=\"1\",port=\"0\"", at)) != std::string::npos; at++)
		n++;
	EXPECT_EQ(n, 1u) << p.out.substr(0, 600);
	result j = mxt("--json stats 1/0 1/0");
	ASSERT_EQ(j.rc, 0) << j.err;
	EXPECT_EQ(collect("stats", "stats 1/0 1/0", j.out).size(), 1u);
	check_schemas();
}

// --output replaces the file whole: the new text, readable by others, no
// temporary left beside it; what is not a regular file is not replaced.
TEST_F(Mxt, PrometheusFileIsReplacedWhole)
{
	const std::string dir = root + "/textfile";
	mkdir(dir.c_str(), 0755);
	qt::write_file(dir + "/qorl.prom", "old\n");
	result r = mxt("stats --prometheus -o " + dir + "/qorl.prom");
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_EQ(r.out, "");
	const std::string text = qt::read_file(dir + "/qorl.prom");
	EXPECT_EQ(text.rfind("# HELP qorl_fc_port_up ", 0), 0u) << text.substr(0, 200);
	struct stat st;
	ASSERT_EQ(stat((dir + "/qorl.prom").c_str(), &st), 0);
	EXPECT_EQ(st.st_mode & 0044, 0044u) << "readable by node_exporter's user";
	result ls = sh("ls -A " + dir);
	EXPECT_EQ(ls.out, "qorl.prom\n");

	mkdir((dir + "/sub.prom").c_str(), 0755);
	for (auto [args, says] : {std::pair<std::string, std::string>{"stats --prometheus --output " + dir + "/sub.prom",
								      "exists and is not a regular file"},
				  {"stats --prometheus -o " + root + "/missing/qorl.prom", "cannot create a file in " + root + "/missing"},
				  {"--json stats --prometheus", "--json and --prometheus are two forms of output"}}) {
		result f = mxt(args);
		EXPECT_EQ(f.rc, 1) << args;
		EXPECT_TRUE(has(f.err, says)) << args << ": " << f.err;
	}
}

// --watch: each line's rates are the difference of the counters it shows
// and the previous line's, over the interval; the emulator's counters move
// with every request, so they advance between the two reads. No real time
// passes: the emulator's sleep only moves its clock.
TEST_F(Mxt, WatchRatesComeFromTwoSnapshots)
{
	const std::vector<std::string> argv = {bin + "/qorsim", "--root", root, "--", bin + "/mxt", "--json", "stats",
					       "1/0", "2/0", "--rports", "--watch", "4"};
	qt::Lines f = qt::read_lines(argv, [](const std::vector<std::string> &l) { return l.size() >= 3; });
	ASSERT_GE(f.lines.size(), 3u);
	EXPECT_TRUE(WIFEXITED(f.status) && WEXITSTATUS(f.status) == 0) << "ends cleanly on SIGTERM";
	std::vector<json> rounds;
	for (const std::string &l : f.lines)
		rounds.push_back(collect("stats --watch", "stats --watch line", l));
	int moved = 0, compared = 0;
	for (size_t k = 1; k < rounds.size(); k++) {
		ASSERT_EQ(rounds[k]["interval_s"], 4);
		const json &now = rounds[k]["ports"], &then = rounds[k - 1]["ports"];
		ASSERT_EQ(now.size(), 3u) << "1/0, and 2/0's FCoE and Ethernet sides";
		for (size_t p = 0; p < now.size(); p++) {
			auto each = [&](const json &c, const json &r, const json &before) {
				for (auto it = c.begin(); it != c.end(); ++it) {
					const double expect =
						(it.value().get<double>() - before.at(it.key()).get<double>()) / 4.0;
					EXPECT_DOUBLE_EQ(r.at(it.key()).get<double>(), expect) << it.key();
					moved += expect > 0;
					compared++;
				}
			};
			for (auto g = now[p]["counters"].begin(); g != now[p]["counters"].end(); ++g)
				each(g.value(), now[p]["rates"][g.key()], then[p]["counters"][g.key()]);
			const json &rp = now[p]["rports"];
			for (size_t i = 0; rp.is_array() && i < rp.size(); i++)
				each(rp[i]["counters"], rp[i]["rates"], then[p]["rports"][i]["counters"]);
		}
	}
	EXPECT_GT(compared, 200);
	EXPECT_GE(moved, 10) << "the counters advanced between the snapshots";

	// Without a terminal: one line per counter that moved, the same rates.
	const std::vector<std::string> plain = {bin + "/qorsim", "--root", root, "--", bin + "/mxt", "stats", "1/0",
						"--watch", "4"};
	qt::Lines t = qt::read_lines(plain, [](const std::vector<std::string> &l) { return l.size() >= 4; });
	ASSERT_GE(t.lines.size(), 4u);
	bool tx = false;
	for (const std::string &l : t.lines) {
		EXPECT_TRUE(has(l, "  1/0  fc_port.")) << l;
		EXPECT_EQ(l.substr(l.size() - 2), "/s") << l;
		tx = tx || has(l, "  1/0  fc_port.tx_frames  ");
	}
	EXPECT_TRUE(tx);

	// A port whose counters cannot be read is a warning each round, not a silence.
	const std::string topo = topo_file(R"({"adapters":[{"functions":[{"type":"fc"},{"type":"fc"}]}],
		"faults":[{"code":"0xC018432F","instance":0,"errno":"EIO","count":"always"}]})");
	const std::vector<std::string> failing = {
		"/bin/sh", "-c", "exec " + bin + "/qorsim --root " + root + " --topology " + topo + " -- " + bin +
					  "/mxt stats 1/0 --watch 3 2>&1"};
	qt::Lines w = qt::read_lines(failing, [](const std::vector<std::string> &l) { return l.size() >= 2; });
	ASSERT_GE(w.lines.size(), 2u);
	for (size_t i = 0; i < 2; i++)
		EXPECT_EQ(w.lines[i], "mxt: warning: reading the statistics of port 1/0: status 42 (QOR_STATUS_EIO): "
				      "input/output error");
	check_schemas();
}

// The support bundle: one member per reading command over the inventory
// (each matches its command's schema, or is the error object), the
// versions, the configuration as it is on disk, the emulator's topology and
// a manifest; a configuration file that is a symbolic link is not followed.
TEST_F(Mxt, ReportBundleHoldsEveryReadingCommand)
{
	const std::string topo = topo_file(qt::read_file(QORL_SOURCE_DIR "/sim/default_topology.json"));
	qt::write_file(root + "/etc/qor.conf", "qor0-port-speed = 4;\n");
	result r = mxt("--json report -o " + root + "/b.tar.gz", topo);
	ASSERT_EQ(r.rc, 0) << r.err;
	json out = collect("report", "report", r.out);
	EXPECT_EQ(out["path"], root + "/b.tar.gz");
	const std::string x = root + "/x";
	mkdir(x.c_str(), 0755);
	result t = sh("tar -xzf " + root + "/b.tar.gz -C " + x + " && cd " + x + " && find . -type f | sort");
	ASSERT_EQ(t.rc, 0) << t.err;
	std::set<std::string> members;
	for (const std::string &l : lines_of(t.out))
		members.insert(l.substr(l.find('/', 2) + 1));
	EXPECT_EQ(members.size(), out["members"].get<size_t>());
	const std::string top = x + "/b/";
	for (const char *m : {"versions.json", "manifest.json", "files/qor.conf", "emulator/topology.json",
			      "commands/stats.json", "commands/events.json", "commands/ioc-show_5.json",
			      "commands/rport-show_1-0_5025a340103a7c00.json", "commands/eth-stats_2-1.json",
			      "commands/flash-list_1.json", "commands/flash-list_2.json", "commands/lun-list_1-0.json"})
		EXPECT_TRUE(members.count(m)) << m << " missing from\n" << t.out;
	EXPECT_EQ(qt::read_file(top + "files/qor.conf"), "qor0-port-speed = 4;\n");
	EXPECT_EQ(qt::read_file(top + "emulator/topology.json"), qt::read_file(topo));
	// Every reading command whose required arguments are addresses the
	// inventory gives; the others (a file, a LUN, a package) cannot be run
	// over it and are left out.
	result list = sh(bin + "/mxt --list-commands --json");
	int rows = 0;
	for (const json &row : json::parse(list.out)) {
		const std::string path = row["path"];
		bool enumerable = row["effect"] == "reads" && path != "report";
		for (const json &a : row["arguments"])
			enumerable = enumerable && (!a["required"].get<bool>() ||
						    std::set<std::string>{"adapter", "port", "controller", "wwn"}.count(a["type"]));
		if (!enumerable)
			continue;
		rows++;
		std::string prefix = "commands/" + path;
		std::replace(prefix.begin(), prefix.end(), ' ', '-');
		int found = 0;
		for (const std::string &m : members) {
			if (m != prefix + ".json" && m.rfind(prefix + "_", 0) != 0)
				continue;
			found++;
			json j = collect(path, "report member " + m, qt::read_file(top + m));
			if (j.is_object() && j.contains("error"))
				cases.back()["schema"] = "error";
		}
		EXPECT_GT(found, 0) << "no member for '" << path << "'";
	}
	EXPECT_GE(rows, 20);
	json versions = json::parse(qt::read_file(top + "versions.json"));
	EXPECT_EQ(versions["mxt"], sh(bin + "/mxt --version").out.substr(4, 5));
	EXPECT_EQ(versions["controllers"].size(), 6u);
	EXPECT_EQ(versions["emulated"]["topology"], topo);
	json stats = json::parse(qt::read_file(top + "commands/stats.json"));
	EXPECT_TRUE(stats[0]["rports"].is_array()) << "remote ports' counters too";
	json manifest = json::parse(qt::read_file(top + "manifest.json"));
	EXPECT_EQ(manifest["members"].size() + 1, members.size());
	// The failures are recorded, not fatal: an initiator has no IT nexus.
	bool initiator = false;
	for (const json &f : manifest["failed"])
		initiator = initiator || f["member"] == "commands/itnim-show_1-0_2100025a304c8e10.json";
	EXPECT_TRUE(initiator) << manifest.dump(1);

	// A configuration file that is a symbolic link stays out.
	qt::write_file(root + "/secret", "not for the bundle\n");
	unlink((root + "/etc/qor.conf").c_str());
	ASSERT_EQ(symlink((root + "/secret").c_str(), (root + "/etc/qor.conf").c_str()), 0);
	result s = mxt("report -o " + root + "/c.tar.gz");
	ASSERT_EQ(s.rc, 0) << s.err;
	EXPECT_TRUE(has(s.err, "mxt: note: /etc/qor.conf was left out of the bundle: a symbolic link, not followed"))
		<< s.err;
	result l = sh("tar -tzf " + root + "/c.tar.gz");
	EXPECT_FALSE(has(l.out, "files/qor.conf")) << l.out;
	result grep = sh("tar -xOzf " + root + "/c.tar.gz | grep -c 'not for the bundle'");
	EXPECT_EQ(grep.out, "0\n");
	check_schemas();
}

// ---- flash and boot update ---------------------------------------------------------

json flash_row(const json &rows, const std::string &partition)
{
	for (auto &r : rows)
		if (r["partition"] == partition && r["instance"] == 0)
			return r;
	return json();
}

// The update of every adapter, and in the next run under the same root the
// flash shows the package's versions.
TEST_F(Mxt, BootUpdateIsThereInTheNextRun)
{
	for (const char *a : {"1", "2"}) {
		json before = json::parse(mxt(std::string("--json flash list ") + a).out);
		EXPECT_EQ(flash_row(before, "fw")["version"], "3.2.1.0") << a;
	}
	result r = mxt("boot update " + package("3.4.0.1") + " --all");
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_TRUE(has(r.out, "adapter 2: wrote pxeovl:0\n")) << r.out;
	EXPECT_TRUE(has(r.out, "success")) << r.out;
	EXPECT_EQ(r.err, "");
	for (const char *a : {"1", "2"}) {
		json after = json::parse(mxt(std::string("--json flash list ") + a).out);
		EXPECT_EQ(flash_row(after, "fw")["version"], "3.4.0.1") << a;
		EXPECT_EQ(flash_row(after, "optrom")["version"], "3.4.0.1") << a;
		EXPECT_EQ(flash_row(after, "fw")["state"], "good") << a;
	}
	json ioc = json::parse(mxt("--json ioc show 0").out);
	EXPECT_TRUE(has(ioc.dump(), "3.4.0.1")) << ioc.dump();
}

const char *const failing_cfg1 = R"({"adapters": [
	{"serial": "QXF0000001", "card_type": 612, "functions": [{"type": "fc"}, {"type": "fc"}]},
	{"serial": "QXF0000002", "card_type": 611, "functions": [{"type": "fc"}]}],
 "faults": [{"flash": "write_fail", "adapter": 0, "part": "cfg", "instance": 1, "count": "always"}]})";

// A failed partition write: the table has every adapter's result, the
// failure says what was written and what to do, and the exit status is 1.
TEST_F(Mxt, FailedPartitionWriteSaysWhatWasWritten)
{
	const std::string topo = topo_file(failing_cfg1);
	result r = mxt("boot update " + package() + " --all", topo);
	EXPECT_EQ(r.rc, 1);
	EXPECT_EQ(r.err, "mxt: adapter 1: writing cfg:1 failed: status 1 (QOR_STATUS_FAILED): the operation failed; "
			 "written: fw:0, optrom:0, bootovl:0, cfg:0; the boot code stays off: update adapter 1 again "
			 "before it is restarted\n");
	r = mxt("--json boot update " + package() + " --all", topo);
	EXPECT_EQ(r.rc, 1);
	json rows = collect("boot update", "failing write", r.out);
	ASSERT_EQ(rows.size(), 2u);
	EXPECT_EQ(rows[0]["status"], 1);
	EXPECT_EQ(rows[0]["failed_partition"], "cfg:1");
	EXPECT_EQ(rows[0]["written"], json({"fw:0", "optrom:0", "bootovl:0", "cfg:0"}));
	EXPECT_EQ(rows[1]["status"], 0);
	EXPECT_TRUE(rows[1]["failed_partition"].is_null());
	check_schemas();
}

// More adapters than one update takes at once: refused before the library
// is asked (it would say so on standard output, in the middle of --json).
TEST_F(Mxt, BootUpdateOfTooManyAdaptersIsRefusedCleanly)
{
	json t = {{"adapters", json::array()}};
	for (int i = 0; i < 17; i++)
		t["adapters"].push_back({{"serial", "QXS" + std::to_string(100 + i)}, {"card_type", 611},
					 {"functions", {{{"type", "fc"}}}}});
	const std::string topo = topo_file(t.dump());
	const std::string says = "boot update --all updates at most 16 adapters at once and there are 17; update "
				 "them one at a time (mxt boot update " + package() + " N)";
	EXPECT_EQ(refused("boot update " + package() + " --all", says, topo), "mxt: " + says + "\n");
	check_schemas();
}

// A driver of another interface version: the library's warning goes to
// standard error, so that standard output is still one JSON document or
// the Prometheus text (node_exporter refuses a file with a stray line).
TEST_F(Mxt, DriverVersionWarningStaysOffStandardOutput)
{
	const std::string topo = topo_file(R"({"drivers":{"fc":{"present":true,"version":4132}},
		"adapters":[{"serial":"QXA2210F001","functions":[{"type":"fc"}]}]})");
	for (const std::string &args : {std::string("--json adapter list"), std::string("--json stats"),
					 "--json boot inspect " + package()}) {
		result r = mxt(args, topo);
		ASSERT_EQ(r.rc, 0) << args << ": " << r.err;
		EXPECT_FALSE(json::parse(r.out, nullptr, false).is_discarded()) << args << ": " << r.out.substr(0, 200);
		EXPECT_TRUE(has(r.err, "WARNING: MXT and Driver versions don't match!!!")) << args << ": " << r.err;
	}
	result p = mxt("stats --prometheus", topo);
	ASSERT_EQ(p.rc, 0) << p.err;
	EXPECT_EQ(p.out.rfind("# HELP ", 0), 0u) << p.out.substr(0, 200);
	// An event fetch that fails is printed by the library too: the error object stays whole.
	qt::write_file(topo, R"({"adapters":[{"serial":"QXA2210F001","functions":[{"type":"fc"}]}],
		"faults":[{"code":"0xC058432A","errno":"EIO","count":"always"}]})");
	result e = mxt("--json events", topo);
	EXPECT_EQ(e.rc, 1);
	json err = collect("error", "events whose fetch fails", e.out);
	EXPECT_EQ(err["error"]["name"], "QOR_STATUS_EIO") << e.out;
	EXPECT_TRUE(has(e.err, "ioctl error")) << e.err;
	check_schemas();
}

// Run with a terminal as standard input and output (util-linux script).
result on_terminal(const std::string &cmd)
{
	return sh("script -qec '" + cmd + "' /dev/null </dev/null");
}

TEST_F(Mxt, TerminalEraseNeedsYesAndUpdateDrawsBars)
{
	if (sh("command -v script").rc != 0)
		GTEST_SKIP() << "no script(1) to give mxt a terminal";
	const std::string m = bin + "/qorsim --root " + root + " -- " + bin + "/mxt ";
	result r = on_terminal(m + "flash erase 1 cfg:1");
	EXPECT_EQ(r.rc, 1);
	EXPECT_TRUE(has(r.out, "erasing cfg:1 of adapter 1 cannot be undone; repeat the command with --yes")) << r.out;
	json rows = json::parse(mxt("--json flash list 1").out);
	EXPECT_NE(rows[3]["used"], 0);
	r = on_terminal(m + "flash erase 1 cfg:1 --yes");
	EXPECT_EQ(r.rc, 0) << r.out;
	rows = json::parse(mxt("--json flash list 1").out);
	EXPECT_EQ(rows[3]["partition"], "cfg");
	EXPECT_EQ(rows[3]["instance"], 1);
	EXPECT_EQ(rows[3]["used"], 0);
	r = on_terminal(m + "boot update " + package() + " 1");
	EXPECT_EQ(r.rc, 0) << r.out;
	EXPECT_TRUE(has(r.out, "\033[2Kadapter 1 [")) << r.out;
	EXPECT_TRUE(has(r.out, "done")) << r.out;
	EXPECT_FALSE(has(r.out, "wrote fw:0")) << "bars, not lines";
}

TEST_F(Mxt, FlashAndBootRefusals)
{
	const std::string pkg = package();
	struct refusal {
		std::string args, message;
	};
	const refusal cases_[] = {
		{"flash read 1 nosuch x", "argument PART: 'nosuch' is not a partition"},
		{"flash read 1 cfg:x x", "argument PART: 'cfg:x' is not a partition"},
		{"flash read 1 cfg:256 x", "argument PART: 'cfg:256' is not a partition"},
		{"flash read 1 cfg:7 " + root + "/x", "adapter 1 has no partition cfg:7; 'mxt flash list 1' shows"},
		{"flash read 3 fw x", "no adapter 3; 'mxt adapter list' shows the adapters"},
		{"flash write 1 fw /nonexistent/fw.bin", "cannot read image file /nonexistent/fw.bin: No such file"},
		{"flash write 1 fw " + root, "image file " + root + " is not a regular file"},
		{"flash optrom 1 maybe", "argument MODE: 'maybe' is not a valid choice; use one of on, off"},
		{"boot inspect /nonexistent/pkg.tar", "cannot read package /nonexistent/pkg.tar: No such file"},
		{"boot update " + pkg, "name one adapter or give --all"},
		{"boot update " + pkg + " 1 --all", "name one adapter or give --all"},
		{"boot update " + pkg + " --all --devid 0x15", "argument --devid: '0x15' is not a valid choice"},
		{"boot update " + pkg + " 0", "argument N: '0' is not an adapter number"},
	};
	for (const refusal &r : cases_)
		refused(r.args, r.message);
	// Files: what the library would rename over (a directory, a link) is left
	// alone, an empty name is none, an empty image is said to be empty.
	const std::string dir = root + "/d", link = root + "/link", victim = root + "/victim", empty = root + "/empty";
	mkdir(dir.c_str(), 0755);
	qt::write_file(victim, "keep\n");
	qt::write_file(empty, "");
	ASSERT_EQ(symlink(victim.c_str(), link.c_str()), 0);
	// A device or pipe (/dev/null) is not renamed over either.
	const std::string fifo = root + "/fifo";
	ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
	const std::string lun = std::string("scsi read 1/0 ") + "50:25:a3:40:10:3a:7c:00" + " 0 0 -o ";
	const refusal files[] = {
		{"flash read 1 fw " + dir, dir + " exists and is not a regular file; it is left alone; give the name of a file"},
		{"flash read 1 fw " + link, link + " exists and is not a regular file; it is left alone"},
		{"flash read 1 fw ''", "no file name in ''; give the name of a file"},
		{"flash read 1 fw " + fifo, fifo + " exists and is not a regular file; it is left alone"},
		{lun + dir, dir + " exists and is not a regular file; it is left alone"},
		{lun + link, link + " exists and is not a regular file; it is left alone"},
		{lun + root + "/missing/x", "cannot create a file in " + root + "/missing: No such file or directory; give"},
		{"flash write 1 fw " + empty, "image file " + empty + " is empty; give the path of the image file"},
		{"flash write 1 fw " + dir, "image file " + dir + " is not a regular file; give the path of the image file"},
		{"boot inspect " + dir, "package " + dir + " is not a regular file; give the path of the package"},
		{"boot update " + root + "/nonexistent.tar --all",
		 "cannot read package " + root + "/nonexistent.tar: No such file or directory; give the path of the package"},
	};
	for (const refusal &r : files)
		refused(r.args, r.message);
	struct stat st;
	ASSERT_EQ(lstat(link.c_str(), &st), 0);
	EXPECT_TRUE(S_ISLNK(st.st_mode)) << "the link stays a link";
	ASSERT_EQ(lstat(fifo.c_str(), &st), 0);
	EXPECT_TRUE(S_ISFIFO(st.st_mode)) << "the pipe stays a pipe";
	EXPECT_EQ(qt::read_file(victim), "keep\n");
	EXPECT_EQ(sh("ls -A " + root + " | grep -c tmp").out, "0\n") << "no temporary file left";
	// A device is written as it is, through a link too.
	result dev = mxt(lun + "/dev/stdout");
	EXPECT_EQ(dev.rc, 0) << dev.err;
	EXPECT_GE(dev.out.size(), 512u);
	// With a library status: the package is not one.
	const std::string bad = root + "/bad.tar";
	qt::write_file(bad, std::string(2048, 'x'));
	for (const std::string &args : {"boot inspect " + bad, "boot update " + bad + " --all"})
		EXPECT_TRUE(has(refused(args, "", "", "QOR_STATUS_BAD_FILE"), "status 79 (QOR_STATUS_BAD_FILE)"));
	// A firmware image whose checksum fails is refused before anything is sent.
	const std::string fw = root + "/fw.bin";
	qt::write_file(fw, std::string(4100, 'f')); // an odd number of equal words: XOR not 0
	result r = mxt("flash write 1 fw " + fw);
	EXPECT_EQ(r.rc, 1);
	EXPECT_TRUE(has(r.err, "QOR_STATUS_CHECKSUM_FAIL")) << r.err;
}

// ---- logical units and SCSI commands ----------------------------------------------

const char *const kArrayA = "50:25:a3:40:10:3a:7c:00";

// On the default hardware every target of port 1/0 shows its units, with
// capacities and the device nodes the emulator's sysfs tree gives them, in
// each of the tree's layouts.
TEST_F(Mxt, LunListShowsUnitsCapacitiesAndDevices)
{
	result r = mxt("--json lun list 1/0");
	ASSERT_EQ(r.rc, 0) << r.err;
	json rows = collect("lun list", "lun list 1/0", r.out);
	ASSERT_EQ(rows.size(), 6u) << r.out;
	struct expect {
		const char *rpwwn;
		int lun;
		const char *fcp_lun;
		uint64_t bytes;
		const char *capacity, *device;
	} want[] = {
		{kArrayA, 0, "0000000000000000", 20971520ull * 512, "10.0 GiB", "/dev/sda"},
		{kArrayA, 1, "0001000000000000", 6442450944ull * 512, "3.0 TiB", "/dev/sdb"},
		{kArrayA, 2, "0002000000000000", 131072ull * 4096, "512.0 MiB", "/dev/sdc"}, // "block:sdc" entry
		{kArrayA, 300, "412c000000000000", 204800ull * 512, "100.0 MiB", "/dev/sdd"}, // "block" link
		{"50:25:a3:40:10:3a:7c:01", 0, "0000000000000000", 41943040ull * 512, "20.0 GiB", "/dev/sde"},
		{"50:25:a3:40:10:3a:7c:01", 1, "0001000000000000", 41943040ull * 512, "20.0 GiB", "/dev/sdf"},
	};
	for (size_t i = 0; i < rows.size(); i++) {
		SCOPED_TRACE(rows[i].dump());
		const json w = {{"port", "1/0"},	 {"rpwwn", want[i].rpwwn},  {"lun", want[i].lun},
				{"fcp_lun", want[i].fcp_lun}, {"type", "disk"}, {"vendor", "QOR"}, {"product", "QX-Array A"},
				{"capacity_bytes", want[i].bytes}, {"capacity", want[i].capacity}, {"device", want[i].device}};
		for (auto &[key, value] : w.items())
			EXPECT_EQ(rows[i][key], value) << key;
	}
	result t = mxt("lun list 1/0");
	ASSERT_EQ(t.rc, 0) << t.err;
	EXPECT_TRUE(has(t.out, "3.0 TiB")) << t.out;
	EXPECT_TRUE(has(t.out, "/dev/sdd")) << t.out;

	json tape = json::parse(mxt("--json lun list 1/1").out);
	ASSERT_EQ(tape.size(), 1u);
	EXPECT_EQ(tape[0]["type"], "tape");
	EXPECT_EQ(tape[0]["device"], "/dev/st0");
	EXPECT_TRUE(tape[0]["capacity_bytes"].is_null());
	check_schemas();
}

// The block read is the emulator's documented pattern: the LBA big-endian in
// bytes 0-7, then (LBA + LUN + i) mod 256.
TEST_F(Mxt, ScsiReadWritesThePattern)
{
	const std::string blk = root + "/blk";
	result r = mxt(std::string("scsi read 1/0 ") + kArrayA + " 0 0 -o " + blk);
	ASSERT_EQ(r.rc, 0) << r.err;
	std::string data = qt::read_file(blk);
	ASSERT_EQ(data.size(), 512u);
	for (size_t i = 0; i < data.size(); i++)
		ASSERT_EQ((uint8_t)data[i], i < 8 ? 0 : (uint8_t)i) << "byte " << i;

	// Twelve blocks across the 8-block commands, from LUN 300, to a pipe.
	r = mxt(std::string("scsi read 1/0 ") + kArrayA + " 300 1000 --count 12");
	ASSERT_EQ(r.rc, 0) << r.err;
	ASSERT_EQ(r.out.size(), 12u * 512);
	for (uint64_t b = 0; b < 12; b++)
		for (size_t i = 0; i < 512; i++) {
			const uint64_t lba = 1000 + b;
			const uint8_t want = i < 8 ? (uint8_t)(lba >> (56 - 8 * i)) : (uint8_t)(lba + 300 + i);
			ASSERT_EQ((uint8_t)r.out[b * 512 + i], want) << "block " << lba << " byte " << i;
		}
	// The last block of the unit, where an 8-block command would run past the end.
	json j = json::parse(mxt(std::string("--json scsi read 1/0 ") + kArrayA + " 300 204799").out);
	std::string hex = j["data"];
	EXPECT_EQ(hex.substr(0, 16), "0000000000031fff");
	EXPECT_EQ(j["bytes"], 512);
}

// What a target refuses comes back with its sense data named: exit 1, the
// standard names on stderr, the decoded sense in the JSON error.
TEST_F(Mxt, RefusedScsiCommandsNameTheirSense)
{
	result r = mxt("scsi capacity 1/1 50:25:a3:30:02:5b:6e:20 0");
	EXPECT_EQ(r.rc, 1);
	EXPECT_EQ(r.err, "mxt: reading the capacity of LUN 0 of 50:25:a3:30:02:5b:6e:20 on port 1/1: CHECK CONDITION: "
			 "ILLEGAL REQUEST, INVALID COMMAND OPERATION CODE (ASC/ASCQ 20/00)\n");
	r = mxt(std::string("--json scsi inquiry 1/0 ") + kArrayA + " 9 --page 0x80");
	EXPECT_EQ(r.rc, 1);
	json e = collect("error", "inquiry of a missing LUN", r.out);
	EXPECT_TRUE(e["error"]["status"].is_null());
	EXPECT_EQ(e["error"]["scsi"]["status"], 2);
	EXPECT_EQ(e["error"]["scsi"]["status_name"], "CHECK CONDITION");
	EXPECT_EQ(e["error"]["scsi"]["sense"],
		  json({{"key", 5}, {"key_name", "ILLEGAL REQUEST"}, {"asc", 0x25}, {"ascq", 0},
			{"description", "LOGICAL UNIT NOT SUPPORTED"}}));

	// Not ready is an answer, not a failure.
	r = mxt(std::string("--json scsi tur 1/0 ") + kArrayA + " 9");
	ASSERT_EQ(r.rc, 0) << r.err;
	json t = collect("scsi tur", "tur of a missing LUN", r.out);
	EXPECT_EQ(t["ready"], false);
	EXPECT_EQ(t["sense"]["asc"], 0x25);

	// Refused before anything is sent to a target.
	r = mxt(std::string("scsi read 1/0 ") + kArrayA + " 300 204799 --count 2");
	EXPECT_EQ(r.rc, 1);
	EXPECT_TRUE(has(r.err, "blocks 204799 to 204800 are past the end of LUN 300")) << r.err;
	EXPECT_TRUE(has(r.err, "which has 204800 blocks")) << r.err;
	// Within a unit over 2 TiB, but beyond what READ(10) addresses: not "past the end".
	r = mxt(std::string("scsi read 1/0 ") + kArrayA + " 1 4294967290 --count 7");
	EXPECT_EQ(r.rc, 1);
	EXPECT_EQ(r.err, std::string("mxt: blocks 4294967290 to 4294967296 of LUN 1 of ") + kArrayA +
				 " on port 1/0 are beyond the first 4294967296, which are all READ(10) reaches; give "
				 "blocks below 4294967296\n");
	r = mxt("lun list 1/0 21:00:02:5a:30:4c:8e:10");
	EXPECT_EQ(r.rc, 1);
	EXPECT_TRUE(has(r.err, "is not a SCSI target")) << r.err;
	check_schemas();
}

// A target that cannot list its units is one row with the error; the
// others are still shown.
TEST_F(Mxt, LunListShowsATargetThatFailsAsARow)
{
	const std::string topo = topo_file(R"({"adapters":[{"functions":[{"type":"fc","fcport":{"rports":[
		{"pwwn":"50:00:00:00:00:00:00:01","luns":[{"lun":0}],"scsi_fault":{"mode":"no_answer"}},
		{"pwwn":"50:00:00:00:00:00:00:02","luns":[{"lun":0,"blocks":8}]}]}}]}]})");
	result r = mxt("--json lun list 1/0", topo);
	ASSERT_EQ(r.rc, 0) << r.err;
	json rows = collect("lun list", "a target that does not answer", r.out);
	ASSERT_EQ(rows.size(), 2u) << r.out;
	EXPECT_TRUE(rows[0]["lun"].is_null());
	EXPECT_EQ(rows[0]["error"]["name"], "QOR_STATUS_ETIMER");
	EXPECT_EQ(rows[1]["capacity_bytes"], 4096);
	// In text the failed target does not take the others' columns away, and says why.
	result t = mxt("lun list 1/0", topo);
	ASSERT_EQ(t.rc, 0) << t.err;
	const std::string header = t.out.substr(0, t.out.find('\n'));
	for (const char *col : {"vendor", "capacity", "device", "error"})
		EXPECT_TRUE(has_word(header, col)) << col << " in " << header;
	EXPECT_TRUE(has(t.out, "QX-Disk")) << t.out;
	EXPECT_TRUE(has(t.out, "(QOR_STATUS_ETIMER): the driver timed out\n")) << t.out;
	r = mxt("lun list 1/0 50:00:00:00:00:00:00:01", topo);
	EXPECT_EQ(r.rc, 1);
	EXPECT_TRUE(has(r.err, "listing the LUNs of 50:00:00:00:00:00:00:01 on port 1/0: status 5 (QOR_STATUS_ETIMER)"))
		<< r.err;
	check_schemas();
}

} // namespace
