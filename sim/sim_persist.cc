// What the drivers take from the configuration file when they load: port
// speed, topology, hard loop address, frame size, enable and trunk state,
// interrupt coalescing and names. So a setting made by one program is what
// the next one run under the same root finds, as with real drivers after a
// reload. The file is read line by line as the drivers read it; the
// emulator does not link the library, so this is a reader of its own.
#include "san.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <charconv>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "qor/qor_text.h"

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

constexpr int kSlots = 128; // port slots of the file ("qor<N>-", "vek<N>-")

using Values = std::map<std::string, std::string, std::less<>>; // key -> value text

// The file as the drivers see it: port slots of each side, adapters by serial.
struct Conf {
	Values fc[kSlots], eth[kSlots];
	std::map<std::string, Values> adapters;
};

// A token without the blanks, quotes and ';' around it.
std::string_view clean(std::string_view s)
{
	constexpr std::string_view drop = " \t\r\n\";";
	const size_t a = s.find_first_not_of(drop);
	if (a == std::string_view::npos)
		return {};
	return s.substr(a, s.find_last_not_of(drop) - a + 1);
}

// The slot of a port line: the digits that end the text before the first
// '-'; none for a number that is no slot (above 127, however long).
std::optional<int> slot_of(std::string_view head)
{
	size_t a = head.size();
	while (a > 0 && head[a - 1] >= '0' && head[a - 1] <= '9')
		a--;
	int n = 0;
	for (char c : head.substr(a)) {
		n = n * 10 + (c - '0');
		if (n >= kSlots)
			return std::nullopt;
	}
	return n;
}

// Global port keys a driver takes; each reaches the slots the file has
// named a port for so far.
constexpr std::string_view kGlobalKeys[] = {"port-speed", "port-topology", "port-maxfrsize", "port-trunk",
					    "port-enable", "coalesce",	    "delay",	      "latency"};

void read_line(Conf &c, std::string_view line)
{
	const size_t eq = line.find('=');
	if (line.empty() || line[0] == '#' || eq == std::string_view::npos)
		return;
	const std::string value(clean(line.substr(eq + 1)));
	const size_t dash = line.find('-');
	const bool dashed = dash != std::string_view::npos && dash < eq;
	if (dashed && line.find("adapter") != std::string_view::npos) {
		const size_t end = line.find('-', dash + 1);
		const std::string_view id = clean(line.substr(dash + 1, end == std::string_view::npos ? 0 : end - dash - 1));
		const std::string_view key = clean(line.substr(dash + 1, eq - dash - 1));
		if (id.empty() || id.size() > 11)
			return;
		Values &a = c.adapters[std::string(id)];
		for (const char *k : {"name", "trunk"})
			if (key.find(k) != std::string_view::npos)
				a[k] = value;
		return;
	}
	const bool fc = line.find("qor") != std::string_view::npos;
	if (dashed && (fc || line.find("vek") != std::string_view::npos)) {
		const std::optional<int> n = slot_of(line.substr(0, dash));
		if (n)
			(fc ? c.fc : c.eth)[*n][std::string(clean(line.substr(dash + 1, eq - dash - 1)))] = value;
		return;
	}
	const std::string_view key = clean(line.substr(0, eq));
	int named = 0;
	for (const Values &s : c.fc)
		named += s.count("port-wwn") != 0;
	for (std::string_view g : kGlobalKeys)
		if (key == g)
			for (int i = 0; i < named; i++)
				c.fc[i][std::string(key)] = value;
}

// ---- values as the drivers read them -----------------------------------------

std::optional<uint32_t> decimal(const std::string &s, uint32_t max)
{
	if (s.empty() || s.size() > 9 || s.find_first_not_of("0123456789") != std::string::npos)
		return std::nullopt;
	const uint32_t v = static_cast<uint32_t>(std::stoul(s));
	return v <= max ? std::optional<uint32_t>(v) : std::nullopt;
}

// "0x7f" or "7f".
std::optional<uint8_t> hex_byte(const std::string &s)
{
	const bool prefixed = s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
	const char *first = s.data() + (prefixed ? 2 : 0), *last = s.data() + s.size();
	uint8_t v = 0;
	const auto [end, ec] = std::from_chars(first, last, v, 16);
	if (first == last || last - first > 2 || end != last || ec != std::errc())
		return std::nullopt;
	return v;
}

std::optional<bool> word(const std::string &s, const char *yes, const char *no)
{
	if (s == yes)
		return true;
	if (s == no)
		return false;
	return std::nullopt;
}

// The value of a key when it is there and reads, else nothing.
template <class Read> auto get(const Values &v, std::string_view key, Read read) -> decltype(read(std::string()))
{
	const auto it = v.find(key);
	return it == v.end() ? std::nullopt : read(it->second);
}

std::optional<std::string> name_text(const std::string &s)
{
	return s.size() < 64 ? std::optional<std::string>(s) : std::nullopt;
}

std::optional<bool> true_false(const std::string &s)
{
	return word(s, "TRUE", "FALSE");
}

// The settable topologies, as the file spells them.
std::optional<uint32_t> topology_word(const std::string &s)
{
	for (uint32_t t = QOR_PORT_TOPOLOGY_P2P; t <= QOR_PORT_TOPOLOGY_AUTO; t++)
		if (s == qor_topology_word(t))
			return t;
	return std::nullopt;
}

// The ports of the adapter that a trunk list names ("0, 1").
std::optional<uint32_t> port_list(const std::string &s)
{
	uint32_t bits = 0;
	size_t pos = 0;
	while (pos <= s.size()) {
		size_t comma = s.find(',', pos);
		if (comma == std::string::npos)
			comma = s.size();
		const std::optional<uint32_t> n = decimal(std::string(clean(std::string_view(s).substr(pos, comma - pos))), 31);
		if (!n)
			return std::nullopt;
		bits |= 1u << *n;
		pos = comma + 1;
	}
	return bits;
}

// Settings a driver refuses are left at their defaults, as it would.
void apply_fc(const Model &m, Function &f, const Values &v)
{
	if (auto name = get(v, "port-name", name_text))
		f.port_name = *name;
	if (auto s = get(v, "port-speed", [](const std::string &x) { return decimal(x, 255); }))
		san::set_speed(f, *s ? *s : uint32_t{QOR_PORT_SPEED_AUTO});
	if (auto t = get(v, "port-topology", topology_word))
		san::set_topology(f, *t);
	if (auto a = get(v, "port-hardalpa", hex_byte))
		san::set_hardalpa(f, true, *a);
	if (auto n = get(v, "port-maxfrsize", [](const std::string &x) { return decimal(x, 65535); }))
		san::set_maxfrsize(f, *n);
	if (auto t = get(v, "port-trunk", port_list))
		san::set_trunked(m, f, (*t >> f.port) & 1);
	if (auto e = get(v, "port-enable", true_false))
		san::set_enabled(f, *e);
	qor_iocfc_intr_attr_t &ia = f.iocfc.intr_attr;
	if (auto c = get(v, "coalesce", [](const std::string &x) { return word(x, "on", "off"); }))
		ia.coalesce = *c;
	if (auto d = get(v, "delay", [](const std::string &x) { return decimal(x, 65535); }))
		ia.delay = static_cast<uint16_t>(*d);
	if (auto l = get(v, "latency", [](const std::string &x) { return decimal(x, 65535); }))
		ia.latency = static_cast<uint16_t>(*l);
}

} // namespace

void apply_config(Model &m)
{
	std::string path;
	if (!root_path("/etc/qor.conf", path))
		return;
	Conf c;
	const std::string text = read_raw(path, 1u << 20);
	for (size_t pos = 0; pos < text.size();) {
		size_t end = text.find('\n', pos);
		if (end == std::string::npos)
			end = text.size();
		read_line(c, std::string_view(text).substr(pos, end - pos));
		pos = end + 1;
	}
	for (auto &a : m.adapters) {
		const auto it = c.adapters.find(a.serial);
		if (it == c.adapters.end())
			continue;
		if (auto name = get(it->second, "name", name_text))
			a.name[0] = a.name[1] = *name;
		if (auto t = get(it->second, "trunk", true_false))
			for (int i : a.fns)
				san::set_trunked(m, m.fns[i], *t);
	}
	// Slots find their port by WWN (FC side) or MAC (Ethernet side).
	for (const Values &v : c.fc) {
		wwn_t w = 0;
		if (auto key = v.find("port-wwn"); key != v.end() && qor_wwn_parse(key->second.c_str(), &w))
			for (auto &f : m.fns)
				if (f.drv == QORSIM_DRV_FC && f.pwwn == w)
					apply_fc(m, f, v);
	}
	for (const Values &v : c.eth) {
		mac_t mac{};
		if (auto key = v.find("port-mac"); key != v.end() && qor_mac_parse(key->second.c_str(), mac.mac))
			for (auto &f : m.fns)
				if (f.drv == QORSIM_DRV_ETH && memcmp(f.mac.mac, mac.mac, 6) == 0)
					if (auto name = get(v, "port-name", name_text))
						f.port_name = *name;
	}
}

} // namespace qorsim
