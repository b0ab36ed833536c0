// Shared fixture and helpers for the suites: a fresh emulated machine and a
// private configuration root per test.
#pragma once

#include <gtest/gtest.h>
#include <dlfcn.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "qorl.h"
#include "qorsim.h"

namespace qt {

// Emulator back to the default topology, empty log, clock at 0; the
// configuration paths resolve under a new temporary directory.
class SimTest : public ::testing::Test {
protected:
	void SetUp() override;
	void TearDown() override;
	// Replaces the hardware model; fails the test on a bad topology.
	void topology(const std::string &json);
	// Path of a file under the emulated root, e.g. root_path("/etc/qor.conf").
	std::string root_path(const std::string &p) const { return root_ + p; }
	std::string root_;
};

// The default hardware discovered: FC ports 0 and 1 of adapter 1, the first
// FCoE function and the first Ethernet function of adapter 2. The log starts
// empty.
class ScannedTest : public SimTest {
protected:
	void SetUp() override;
	// The configuration as the next write-back would put it.
	std::string written_config();
	qorl_t *fc0 = nullptr, *fc1 = nullptr, *fcoe = nullptr, *eth = nullptr;
};

std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &text);
std::string make_temp_dir();
void remove_tree(const std::string &dir);

// Log entries, oldest first.
std::vector<qorsim_log_entry_t> log_entries();
// Entries whose code & 0xffff equals code & 0xffff.
std::vector<qorsim_log_entry_t> log_entries(uint32_t code);
// Entries of the same request on either driver: same number, and the code's
// type byte or the Ethernet driver's 0x44.
std::vector<qorsim_log_entry_t> log_entries_any(uint32_t code);

// The lines a program prints on stdout until `enough` holds of them (or
// no output comes for a generous safety limit); it is then ended with
// SIGTERM. status is its wait status.
struct Lines {
	std::vector<std::string> lines;
	int status = -1;
};
Lines read_lines(const std::vector<std::string> &argv,
		 const std::function<bool(const std::vector<std::string> &)> &enough);

// A shell command line's exit code, standard output and standard error
// (kept apart through the file errfile).
struct Run {
	int rc = -1;
	std::string out, err;
};
Run run_command(const std::string &cmd, const std::string &errfile);

// A buffer of N bytes followed by a guard that nothing may write.
template <size_t N> struct Guarded {
	uint8_t buf[N];
	uint8_t after[16];
	Guarded() { std::memset(this, 0x5a, sizeof *this); }
	bool intact() const
	{
		for (uint8_t b : after)
			if (b != 0x5a)
				return false;
		return true;
	}
};

// A parameterised case's name as a test name: letters and digits, the rest '_'.
std::string test_name(std::string text);

// A wwn_t from its text "aa:bb:..." (bytes in wire order).
uint64_t wwn(const char *text);

// The definition of a C function that a suite wraps (a test-local
// definition of, say, rename or ioctl takes the calls of the library): the
// next one after the suite's own, the emulator's or the C library's.
template <class F> F *next_fn(const char *name)
{
	return reinterpret_cast<F *>(dlsym(RTLD_NEXT, name));
}

// Every ioctl of the process goes through this when it is set, with the
// emulator's entry point to pass the request on to. Set it only while no
// other thread makes requests; clear it when done.
using ioctl_fn = int(int fd, unsigned long request, void *arg);
extern std::function<int(int, unsigned long, void *, ioctl_fn *)> ioctl_wrap;

} // namespace qt
