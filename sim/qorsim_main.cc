// qorsim: runs a program against the emulated drivers.
//
//   qorsim [--topology FILE] [--root DIR] [--verbose] -- COMMAND [ARGS...]
//
// Validates the topology with the emulator's own parser, prepares the root
// (DIR, or a private one kept under the user's state directory; "/" is the
// host itself) and execs COMMAND with libqorsim.so preloaded.
#include <CLI/CLI.hpp>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool is_file(const std::string &p)
{
	struct stat st;
	return !p.empty() && ::stat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string exe_dir()
{
	char buf[PATH_MAX];
	ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
	if (n <= 0)
		return {};
	buf[n] = '\0';
	std::string s(buf);
	size_t slash = s.rfind('/');
	return slash == std::string::npos ? std::string(".") : s.substr(0, slash);
}

// The library of the same installation first (where the package or the
// install put it relative to this program, wherever that tree was
// unpacked), then the build tree's, then the configured place.
std::string find_lib()
{
	std::string beside = exe_dir() + "/" QORSIM_REL_LIBDIR "/libqorsim.so";
	if (is_file(beside))
		return beside;
	if (is_file(QORSIM_BUILD_LIB))
		return QORSIM_BUILD_LIB;
	return std::string(QORSIM_LIBDIR) + "/libqorsim.so";
}

std::string absolute(const std::string &p)
{
	if (p.empty() || p[0] == '/')
		return p;
	char cwd[PATH_MAX];
	if (!getcwd(cwd, sizeof cwd))
		return p;
	return std::string(cwd) + "/" + p;
}

// mkdir -p; false with errno set.
bool make_dirs(const std::string &dir, mode_t mode)
{
	std::string cur;
	size_t pos = 0;
	while (pos != std::string::npos) {
		pos = dir.find('/', pos + 1);
		cur = dir.substr(0, pos);
		if (cur.empty())
			continue;
		if (mkdir(cur.c_str(), mode) != 0 && errno != EEXIST)
			return false;
	}
	struct stat st;
	return ::stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string without_trailing_slashes(std::string p)
{
	while (p.size() > 1 && p.back() == '/')
		p.pop_back();
	return p;
}

// The program's own root when none is given: kept between runs in the
// user's state directory ($XDG_STATE_HOME, else ~/.local/state), so that
// settings persist; empty when neither can be found.
std::string private_root()
{
	const char *state = getenv("XDG_STATE_HOME");
	if (state && state[0] == '/')
		return without_trailing_slashes(state) + "/qorsim/root";
	const char *home = getenv("HOME");
	if (home && home[0] == '/')
		return without_trailing_slashes(home) + "/.local/state/qorsim/root";
	return {};
}

// The library of the same installation (wherever it was unpacked), else
// the built one when run from the build tree, else the configured place.
std::string find_qorl()
{
	const std::string beside = exe_dir() + "/" QORSIM_REL_QORL;
	if (is_file(beside))
		return beside;
	if (is_file(QORSIM_BUILD_QORL))
		return QORSIM_BUILD_QORL;
	return QORSIM_QORL_INSTALLED;
}

// A root without a SNIA wrapper configuration gets one naming our library,
// so that any SNIA program run under the emulator finds the adapters. The
// file is written beside and renamed into place; one already there is kept.
bool ensure_hba_conf(const std::string &root)
{
	const std::string conf = root + "/etc/hba.conf";
	struct stat st;
	if (::lstat(conf.c_str(), &st) == 0)
		return true;
	const std::string tmp = conf + ".tmp." + std::to_string(getpid());
	FILE *f = fopen(tmp.c_str(), "w");
	if (!f)
		return false;
	const int w = fprintf(f, "# SNIA HBA API vendor libraries: a name and the library's path per line.\nqorl\t%s\n",
			      find_qorl().c_str());
	const bool ok = w > 0 && fflush(f) == 0 && fsync(fileno(f)) == 0;
	if (fclose(f) != 0 || !ok || rename(tmp.c_str(), conf.c_str()) != 0) {
		unlink(tmp.c_str());
		return false;
	}
	return true;
}

// The emulator's own parser decides; loaded locally, it interposes nothing.
int validate(const std::string &lib, const std::string &topology)
{
	void *h = dlopen(lib.c_str(), RTLD_NOW | RTLD_LOCAL);
	if (!h) {
		fprintf(stderr, "qorsim: cannot load %s: %s\n", lib.c_str(), dlerror());
		return 2;
	}
	auto load = reinterpret_cast<int (*)(const char *)>(dlsym(h, "qorsim_load_topology_file"));
	auto error = reinterpret_cast<const char *(*)()>(dlsym(h, "qorsim_error"));
	if (!load || !error) {
		fprintf(stderr, "qorsim: %s is not the emulator library\n", lib.c_str());
		return 2;
	}
	if (load(topology.c_str()) != 0) {
		fprintf(stderr, "qorsim: invalid topology: %s\n", error());
		return 2;
	}
	return 0;
}

// A value that is empty or looks like an option is a missing one: the parser
// would otherwise take "--" or "-v" as the name of a directory or a file.
std::string path_value(std::string &v)
{
	if (v.empty())
		return "needs a path";
	if (v[0] == '-')
		return "needs a path, not '" + v + "' (write ./" + v + " for a name that begins with '-')";
	return {};
}

} // namespace

int main(int argc, char **argv)
{
	CLI::App app{"Runs COMMAND against the emulated adapter drivers."};
	std::string topology, root;
	bool verbose = false;
	std::vector<std::string> command;
	app.add_option("--topology", topology, "hardware topology (JSON); default: the built-in one")
		->check(CLI::Validator(path_value, ""));
	app.add_option("--root", root,
		       "directory under which /etc/qor.conf, /etc/hba.conf and /sys/class/scsi_device resolve; "
		       "default: a private one under $XDG_STATE_HOME/qorsim; / uses the host's files")
		->check(CLI::Validator(path_value, ""));
	app.add_flag("-v,--verbose", verbose, "print the root in use");
	app.set_version_flag("--version", "qorsim " QORL_VERSION);
	app.add_option("command", command, "the program to run and its arguments")->required();
	app.positionals_at_end();
	try {
		app.parse(argc, argv);
	} catch (const CLI::ExtrasError &e) {
		// The parser lists the unknown option after the "--" it kept, which reads as if "--" were wrong.
		for (const std::string &a : app.remaining())
			if (a.size() > 1 && a[0] == '-' && a != "--") {
				fprintf(stderr, "qorsim: unknown option '%s'; see qorsim --help (the command follows --)\n",
					a.c_str());
				return 2;
			}
		app.exit(e);
		return 2;
	} catch (const CLI::ParseError &e) {
		int rc = app.exit(e);
		return rc == 0 ? 0 : 2;
	}

	const std::string lib = find_lib();
	if (!is_file(lib)) {
		fprintf(stderr, "qorsim: emulator library not found (looked for %s)\n", lib.c_str());
		return 2;
	}
	if (topology.empty()) {
		const char *env = getenv("QORSIM_TOPOLOGY");
		if (env && *env)
			topology = env;
	}
	if (!topology.empty()) {
		topology = absolute(topology);
		if (int rc = validate(lib, topology))
			return rc;
		setenv("QORSIM_TOPOLOGY", topology.c_str(), 1);
	}
	const bool given = !root.empty();
	root = given ? without_trailing_slashes(absolute(root)) : private_root();
	if (root.empty()) {
		fprintf(stderr, "qorsim: no private root: neither XDG_STATE_HOME nor HOME names a directory; "
				"give one with --root\n");
		return 2;
	}
	if (root != "/" && !make_dirs(root + "/etc", given ? 0755 : 0700)) {
		fprintf(stderr, "qorsim: cannot create %s/etc: %s\n", root.c_str(), strerror(errno));
		return 2;
	}
	// "/.", "/tmp/.." or a link to "/" are the host as much as "/" is: its
	// files are used, and nothing is written there unasked.
	if (char real[PATH_MAX]; root != "/" && realpath(root.c_str(), real) && std::string(real) == "/")
		root = "/";
	if (root != "/" && !ensure_hba_conf(root)) {
		fprintf(stderr, "qorsim: cannot write %s/etc/hba.conf: %s\n", root.c_str(), strerror(errno));
		return 2;
	}
	if (verbose)
		fprintf(stderr, root == "/" ? "qorsim: root %s (the host's own files)\n" : "qorsim: root %s\n", root.c_str());
	setenv("QORSIM_ROOT", root.c_str(), 1);
	std::string preload = lib;
	if (const char *old = getenv("LD_PRELOAD"); old && *old)
		preload += std::string(":") + old;
	setenv("LD_PRELOAD", preload.c_str(), 1);

	std::vector<char *> args;
	for (auto &a : command)
		args.push_back(a.data());
	args.push_back(nullptr);
	execvp(args[0], args.data());
	fprintf(stderr, "qorsim: cannot run %s: %s\n", args[0], strerror(errno));
	return 127;
}
