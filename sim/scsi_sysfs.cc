// The sysfs SCSI device tree of the emulated units, under the emulator's
// root: /sys/class/scsi_device/H:B:T:L/device/ holds, per unit and in the
// layout the unit asks for, a directory "block" (or "tape") with the device
// name in it, an entry "block:<name>", or a link "block" to
// ../../../block/<name>. A stamp beside the units names those it wrote, so
// an unchanged set is not written again and a changed one replaces only
// what the last one put there.
#include "scsi_sysfs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace qorsim {
namespace scsi {

namespace fs = std::filesystem;

std::string disk_name(size_t i)
{
	std::string s;
	for (long n = (long)i; n >= 0; n = n / 26 - 1)
		s.insert(s.begin(), (char)('a' + n % 26));
	return "sd" + s;
}

std::string tape_name(size_t i)
{
	return "st" + std::to_string(i);
}

namespace {

constexpr const char kStamp[] = ".qorsim-units";

std::string address(const Node &n)
{
	return std::to_string(n.host) + ":" + std::to_string(n.bus) + ":" + std::to_string(n.target) + ":" +
	       std::to_string(n.unit->number);
}

// One line a unit, its directory's name first.
std::string stamp_of(const std::vector<Node> &nodes)
{
	std::string s;
	for (const Node &n : nodes)
		if (!n.unit->devname.empty())
			s += address(n) + " " + std::to_string(n.unit->type) + " " + std::to_string((int)n.unit->sysfs) +
			     " " + n.unit->devname + "\n";
	return s;
}

bool make_dir(const std::string &p)
{
	return ::mkdir(p.c_str(), 0755) == 0 || errno == EEXIST;
}

bool write_unit(const std::string &base, const Node &n)
{
	const Unit &u = *n.unit;
	const std::string dir = base + "/" + address(n), dev = dir + "/device";
	if (!make_dir(dir) || !make_dir(dev))
		return false;
	const char *kind = u.type == SCSI_TYPE_TAPE ? "tape" : "block";
	switch (u.sysfs) {
	case Sysfs::dir:
		return make_dir(dev + "/" + kind) && make_dir(dev + "/" + kind + "/" + u.devname);
	case Sysfs::entry: {
		std::ofstream f(dev + "/" + kind + ":" + u.devname);
		return (bool)f;
	}
	case Sysfs::link:
		return ::symlink(("../../../" + std::string(kind) + "/" + u.devname).c_str(), (dev + "/" + kind).c_str()) ==
			       0 ||
		       errno == EEXIST;
	}
	return false;
}

} // namespace

bool write_sysfs(const std::string &base, const std::vector<Node> &nodes)
{
	const std::string stamp = stamp_of(nodes), stamp_path = base + "/" + kStamp;
	std::string was;
	{
		std::ifstream in(stamp_path, std::ios::binary);
		std::stringstream have;
		have << in.rdbuf();
		was = have.str();
		if (in && was == stamp)
			return true;
	}
	// Only what the last set put there goes: anything else in the tree stays.
	std::error_code ec;
	std::istringstream old(was);
	for (std::string line; std::getline(old, line);) {
		const std::string dir = line.substr(0, line.find(' '));
		if (!dir.empty() && dir.find('/') == std::string::npos && dir[0] != '.')
			fs::remove_all(base + "/" + dir, ec);
	}
	fs::remove(stamp_path, ec);
	fs::create_directories(base, ec);
	if (ec)
		return false;
	for (const Node &n : nodes)
		if (!n.unit->devname.empty() && !write_unit(base, n))
			return false;
	// The stamp goes last: a tree cut short is written again next time.
	std::ofstream out(stamp_path, std::ios::binary | std::ios::trunc);
	out << stamp;
	return (bool)out.flush();
}

} // namespace scsi
} // namespace qorsim
