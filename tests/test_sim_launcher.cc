// The qorsim launcher end to end: the real binary runs programs (a shell,
// mxt) against the emulator, with HOME and XDG_STATE_HOME pointed into a
// temporary directory; the host's own configuration file is never touched.
#include "testutil.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

namespace {

using Result = qt::Run;

class Launcher : public ::testing::Test {
protected:
	void SetUp() override { dir = qt::make_temp_dir(); }
	void TearDown() override { qt::remove_tree(dir); }

	// A command line through the shell; stdout and stderr kept apart.
	Result sh(const std::string &cmd) { return qt::run_command(cmd, dir + "/stderr"); }
	// qorsim in the environment `env` gives (`env` arguments).
	Result qorsim(const std::string &env, const std::string &args)
	{
		return sh("env " + env + " " + bin + "/qorsim " + args);
	}
	// A home and a state directory of the test's own.
	std::string home() const { return "HOME=" + dir + "/home"; }
	std::string homes() const { return home() + " XDG_STATE_HOME=" + dir + "/state"; }
	std::string mxt() const { return bin + "/mxt"; }

	std::string dir, bin = QORL_BINARY_DIR;
};

// What the host's file looks like. The path is spelled so that the
// emulator linked into this test does not redirect it.
std::string host_file()
{
	struct stat st;
	if (stat("/etc/./qor.conf", &st) != 0)
		return "absent";
	return std::to_string(st.st_ino) + ":" + std::to_string(st.st_size) + ":" +
	       std::to_string(st.st_mtim.tv_sec) + "." + std::to_string(st.st_mtim.tv_nsec);
}

// The configured speed of `mxt port show --json`: a number of Gbit/s, a
// text such as "4G", or null or "Auto" (0) for auto.
int configured_gbps(const std::string &out)
{
	const auto j = nlohmann::json::parse(out, nullptr, false);
	if (!j.is_object())
		return -1;
	const auto &cfg = j.contains("pport_cfg") ? j["pport_cfg"] : j;
	if (!cfg.contains("speed"))
		return -1;
	const auto &s = cfg["speed"];
	if (s.is_null())
		return 0; // auto
	if (s.is_number())
		return s.get<int>();
	if (s.is_object() && s.contains("gbps"))
		return s["gbps"].get<int>();
	return s.is_string() ? std::atoi(s.get<std::string>().c_str()) : -1;
}

TEST_F(Launcher, ValidatesAndExecs)
{
	const std::string bad = dir + "/bad.json";
	qt::write_file(bad, R"({"adapters": 3})");
	Result r = qorsim(homes(), "--topology " + bad + " -- true");
	EXPECT_EQ(r.rc, 2);
	EXPECT_NE(r.err.find("adapters: must be an array"), std::string::npos) << r.err;
	// A program that preloads the emulator itself gets the same line, with the file.
	r = sh("env QORSIM_ROOT=" + dir + " QORSIM_TOPOLOGY=" + bad + " LD_PRELOAD=" + bin + "/libqorsim.so " + mxt() +
	       " ioc list");
	EXPECT_EQ(r.rc, 1);
	EXPECT_NE(r.err.find("qorsim: invalid topology: " + bad + ": adapters: must be an array; the emulated drivers are absent\n"),
		  std::string::npos)
		<< r.err;
	EXPECT_EQ(qorsim(homes(), "-- /nonexistent/program").rc, 127);
	for (const char *args : {"--no-such-option -- true", "-x -- true", "-v --no-such-option=1 -- true"}) {
		r = qorsim(homes(), args);
		EXPECT_EQ(r.rc, 2) << args;
		EXPECT_EQ(r.err.rfind("qorsim: unknown option '-", 0), 0u) << r.err;
		EXPECT_NE(r.err.find("see qorsim --help"), std::string::npos) << r.err;
	}
	const std::string root = dir + "/r";
	r = qorsim(homes(), "--root " + root + "/ -- sh -c 'test -d " + root + "/etc && test -n \"$LD_PRELOAD\" && echo \"$QORSIM_ROOT\"'");
	EXPECT_EQ(r.rc, 0) << r.err;
	EXPECT_EQ(r.out, root + "\n");
}

// An option that lacks its value does not take the next word for it: "--"
// or "-v" there used to become a directory of that name in the current one.
TEST_F(Launcher, AMissingPathIsRefusedNotTakenFromTheNextWord)
{
	for (const std::string args : {"--root -- true", "--root -v -- true", "--root= -- true", "--topology -- true",
				       "--topology -v -- true"}) {
		SCOPED_TRACE(args);
		const Result r = sh("cd " + dir + " && env " + homes() + " " + bin + "/qorsim " + args);
		EXPECT_EQ(r.rc, 2);
		EXPECT_NE(r.err.find(args.substr(0, args.find_first_of(" =")) + ": needs a path"), std::string::npos)
			<< r.err;
		EXPECT_FALSE(std::filesystem::exists(dir + "/--") || std::filesystem::exists(dir + "/-v")) << "a directory named after the option";
	}
	const Result r = sh("cd " + dir + " && env " + homes() + " " + bin + "/qorsim --root ./-v -- true");
	EXPECT_EQ(r.rc, 0) << r.err;
	EXPECT_TRUE(std::filesystem::exists(dir + "/-v/etc/hba.conf"));
}

// Without --root a program gets a root of its own, kept between runs: a
// setting lands there and the next run finds it, never in the host's file.
TEST_F(Launcher, WithoutRootTheProgramGetsAPrivateOne)
{
	const std::string before = host_file();
	const std::string state_root = dir + "/state/qorsim/root";
	Result r = qorsim(homes(), "--verbose -- " + mxt() + " port speed 1/0 4");
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_NE(r.err.find("qorsim: root " + state_root + "\n"), std::string::npos) << r.err;
	EXPECT_NE(qt::read_file(state_root + "/etc/qor.conf").find("qor0-port-speed = 4;\n"), std::string::npos);
	// The drivers take it from the file when they start.
	r = qorsim(homes(), "-- " + mxt() + " port show 1/0 --json");
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_EQ(configured_gbps(r.out), 4) << r.out;
	r = qorsim(homes(), "-- " + mxt() + " port show 1/1 --json");
	EXPECT_EQ(configured_gbps(r.out), 0) << "auto: " << r.out;

	// Without a usable XDG_STATE_HOME (unset, or not absolute) the root is under HOME.
	const std::string home_root = dir + "/home/.local/state/qorsim/root";
	for (const std::string &env : {"-u XDG_STATE_HOME " + home(), home() + " XDG_STATE_HOME=relative/state"}) {
		SCOPED_TRACE(env);
		r = qorsim(env, "-v -- " + mxt() + " port speed 1/1 2");
		ASSERT_EQ(r.rc, 0) << r.err;
		EXPECT_NE(r.err.find("qorsim: root " + home_root + "\n"), std::string::npos) << r.err;
	}
	EXPECT_NE(qt::read_file(home_root + "/etc/qor.conf").find("qor1-port-speed = 2;\n"), std::string::npos);
	struct stat st;
	ASSERT_EQ(stat((dir + "/home/.local/state/qorsim").c_str(), &st), 0);
	EXPECT_EQ(st.st_mode & 0777, 0700u) << "a private root is the user's alone";

	r = qorsim("-u HOME -u XDG_STATE_HOME", "-- true");
	EXPECT_EQ(r.rc, 2);
	EXPECT_NE(r.err.find("--root"), std::string::npos) << r.err;
	EXPECT_EQ(host_file(), before) << "the host's configuration file changed";
}

// Only "/" gives the host's files, and the launcher says so.
TEST_F(Launcher, RootSlashIsTheHost)
{
	Result r = qorsim(homes(), "--root / --verbose -- sh -c 'echo \"$QORSIM_ROOT\"'");
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_EQ(r.out, "/\n");
	EXPECT_NE(r.err.find("qorsim: root / (the host's own files)"), std::string::npos) << r.err;

	// Another name of "/" is the host too: no hba.conf is written into the
	// host's /etc, and the launcher says whose files these are.
	ASSERT_EQ(symlink("/", (dir + "/host").c_str()), 0);
	for (const std::string &root : {dir + "/host", std::string("/."), std::string("/tmp/..")}) {
		SCOPED_TRACE(root);
		r = qorsim(homes(), "--root " + root + " --verbose -- sh -c 'echo \"$QORSIM_ROOT\"'");
		ASSERT_EQ(r.rc, 0) << r.err;
		EXPECT_EQ(r.out, "/\n");
		EXPECT_NE(r.err.find("qorsim: root / (the host's own files)"), std::string::npos) << r.err;
	}
}

// A slot number that does not fit is a line the drivers ignore.
TEST_F(Launcher, AnUnfitSlotNumberIsIgnoredByTheDrivers)
{
	qt::write_file(dir + "/r/etc/qor.conf", "qor0-port-speed = 4;\nqor99999999999-port-name = \"x\";\n");
	Result r = qorsim(homes(), " --root " + dir + "/r -- " + mxt() + " ioc list --json");
	ASSERT_EQ(r.rc, 0) << r.err;
	EXPECT_TRUE(nlohmann::json::parse(r.out, nullptr, false).is_array()) << r.out;
	// The library keeps the line and says so; the emulator says nothing.
	EXPECT_EQ(r.err.find("qorsim"), std::string::npos) << r.err;
	EXPECT_NE(r.err.find("the line is kept as it was"), std::string::npos) << r.err;
}

} // namespace
