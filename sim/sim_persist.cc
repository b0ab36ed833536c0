// What the drivers take from the configuration file when they load: the
// names it holds. So a name given by one program is seen by the next one run
// under the same root, as with real drivers after a reload.
#include "sim.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <regex>
#include <string>

namespace qorsim {

// Read with raw system calls: this runs while the emulator starts, before the
// interposed entry points may be used, and under the model's lock.
std::string read_raw(const std::string &path, size_t max)
{
	std::string text;
	int fd = (int)syscall(SYS_openat, AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC);
	if (fd < 0)
		return text;
	char buf[4096];
	for (;;) {
		long n = syscall(SYS_read, fd, buf, sizeof buf);
		if (n <= 0 || text.size() > max)
			break;
		text.append(buf, (size_t)n);
	}
	syscall(SYS_close, fd);
	return text;
}

namespace {

bool parse_wwn_text(const std::string &s, wwn_t &w)
{
	unsigned b[8];
	if (sscanf(s.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x:%2x:%2x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5], &b[6],
		   &b[7]) != 8)
		return false;
	uint8_t v[8];
	for (int i = 0; i < 8; i++)
		v[i] = (uint8_t)b[i];
	memcpy(&w, v, 8);
	return true;
}

std::string mac_key(const mac_t &m)
{
	char s[18];
	snprintf(s, sizeof s, "%02x:%02x:%02x:%02x:%02x:%02x", m.mac[0], m.mac[1], m.mac[2], m.mac[3], m.mac[4],
		 m.mac[5]);
	return s;
}

} // namespace

void apply_persistent_names(Model &m, const char *root)
{
	if (!root || !*root)
		return;
	const std::string text = read_raw(std::string(root) + "/etc/qor.conf", 1u << 20);
	static const std::regex line(R"re(^(adapter-(.+)|qor(\d+)|vek(\d+))-(name|port-wwn|port-mac|port-name) = "([^"]*)";)re");
	std::map<int, std::string> fc_wwn, eth_mac, fc_name, eth_name;
	size_t pos = 0;
	while (pos < text.size()) {
		size_t end = text.find('\n', pos);
		if (end == std::string::npos)
			end = text.size();
		std::smatch mm;
		const std::string l = text.substr(pos, end - pos);
		pos = end + 1;
		if (!std::regex_search(l, mm, line))
			continue;
		const std::string key = mm[5], value = mm[6];
		if (mm[2].matched && key == "name") {
			for (auto &a : m.adapters)
				if (a.serial == mm[2].str() && value.size() < 64)
					a.name[0] = a.name[1] = value;
		} else if (mm[3].matched) {
			int slot = std::stoi(mm[3]);
			(key == "port-wwn" ? fc_wwn : fc_name)[slot] = value;
		} else if (mm[4].matched) {
			int slot = std::stoi(mm[4]);
			(key == "port-mac" ? eth_mac : eth_name)[slot] = value;
		}
	}
	for (auto &[slot, name] : fc_name) {
		wwn_t w;
		if (!fc_wwn.count(slot) || !parse_wwn_text(fc_wwn[slot], w) || name.size() >= 64)
			continue;
		for (auto &f : m.fns)
			if (f.drv == QORSIM_DRV_FC && f.pwwn == w)
				f.port_name = name;
	}
	for (auto &[slot, name] : eth_name) {
		if (!eth_mac.count(slot) || name.size() >= 64)
			continue;
		for (auto &f : m.fns)
			if (f.drv == QORSIM_DRV_ETH && mac_key(f.mac) == eth_mac[slot])
				f.port_name = name;
	}
}

} // namespace qorsim
