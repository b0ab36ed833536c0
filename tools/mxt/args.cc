// The one strict reader of command arguments: decimal numbers in range (no
// sign, no blank, no overflow), port addresses, WWNs, speeds, topologies.
// Every refusal names the argument and says what it takes.
#include <charconv>

#include "qor/qor_text.h"
#include "qorl_config.h"
#include "qorl_state.h"
#include "table.h"

namespace mxt {

namespace {

constexpr long max_adapter = QORL_CFG_MAX_AD;
constexpr long max_port = 255;
constexpr long max_controller = 2 * QORL_CFG_MAX_IOC - 1;

// Digits of the base only (hex after "0x" when hex is allowed), within lo..hi.
bool number_in(std::string_view s, long lo, long hi, bool hex, long *out)
{
	int base = 10;
	if (hex && s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
		s.remove_prefix(2);
		base = 16;
	}
	unsigned long v = 0;
	const char *end = s.data() + s.size();
	auto [p, ec] = std::from_chars(s.data(), end, v, base);
	if (s.empty() || ec != std::errc() || p != end || v < (unsigned long)lo || v > (unsigned long)hi)
		return false;
	*out = (long)v;
	return true;
}

[[noreturn]] void refuse(const std::string &name, const std::string &s, const std::string &what,
			 const std::string &hint)
{
	fail("argument " + name + ": '" + s + "' is not " + what + "; " + hint);
}

std::string range(long lo, long hi)
{
	return "a decimal number from " + std::to_string(lo) + " to " + std::to_string(hi);
}

long read_number(const std::string &name, const std::string &s, long lo, long hi, bool hex, const char *what)
{
	long v = 0;
	if (!number_in(s, lo, hi, hex, &v))
		refuse(name, s, what, "give " + range(lo, hi) + (hex ? " (or 0x and hex digits)" : ""));
	return v;
}

void read_port_address(const std::string &name, const std::string &s, int *adapter, int *port)
{
	const std::string hint = "write ADAPTER/PORT with decimal numbers, adapter 1 to " +
				 std::to_string(max_adapter) + " and port 0 to " + std::to_string(max_port) +
				 ", e.g. 1/0 ('mxt port list' shows the ports)";
	size_t slash = s.find('/');
	long a = 0, p = 0;
	if (slash == std::string::npos || !number_in(std::string_view(s).substr(0, slash), 1, max_adapter, false, &a) ||
	    !number_in(std::string_view(s).substr(slash + 1), 0, max_port, false, &p))
		refuse(name, s, "a port address", hint);
	*adapter = (int)a;
	*port = (int)p;
}

// "fw", "cfg:1": a partition type by its display name, and an instance.
void read_partition(const std::string &name, const std::string &s, call &c)
{
	std::string hint = "write a partition name and optionally :INSTANCE (0 to 255), e.g. fw or cfg:1; names: ";
	for (int t = QOR_FLASH_PART_OPTROM; t <= QOR_FLASH_PART_PORTCFG; t++)
		hint += std::string(t == QOR_FLASH_PART_OPTROM ? "" : ", ") +
			qorl_flash_part_type_to_string((qor_flash_part_type_t)t);
	const size_t colon = s.find(':');
	const std::string word = s.substr(0, colon);
	long inst = 0;
	if (colon != std::string::npos && !number_in(std::string_view(s).substr(colon + 1), 0, 255, false, &inst))
		refuse(name, s, "a partition", hint);
	for (int t = QOR_FLASH_PART_OPTROM; t <= QOR_FLASH_PART_PORTCFG; t++)
		if (word == qorl_flash_part_type_to_string((qor_flash_part_type_t)t)) {
			c.part = (qor_flash_part_type_t)t;
			c.part_instance = (uint8_t)inst;
			return;
		}
	refuse(name, s, "a partition", hint);
}

wwn_t read_wwn(const std::string &name, const std::string &s)
{
	wwn_t w = 0;
	if (!qor_wwn_parse(s.c_str(), &w))
		refuse(name, s, "a WWN",
		       "write 8 hex bytes as 21:00:02:5a:30:00:00:01, 0x2100025a30000001 or 2100025a30000001");
	// 0 stands for "none" everywhere (lun list's optional target too): no port has it.
	if (w == 0)
		refuse(name, s, "a port's WWN", "the null WWN names no port; 'mxt rport list' shows the remote ports");
	return w;
}

} // namespace

// Reads one argument of the row into the call.
void read_arg(call &c, const param &p, const std::string &s)
{
	long v = 0;
	switch (p.type) {
	case arg::adapter:
		c.adapter = (int)read_number(p.name, s, 1, max_adapter, false, "an adapter number");
		break;
	case arg::port:
		read_port_address(p.name, s, &c.adapter, &c.port);
		break;
	case arg::controller:
		c.id = (int)read_number(p.name, s, 0, max_controller, false, "a controller id");
		break;
	case arg::wwn:
		c.wwn = read_wwn(p.name, s);
		break;
	case arg::text:
		c.words[p.name] = s;
		break;
	case arg::choice: {
		std::string list;
		for (auto &ch : p.choices) {
			if (s == ch) {
				c.words[p.name] = s;
				return;
			}
			list += (list.empty() ? "" : ", ") + ch;
		}
		refuse(p.name, s, "a valid choice", "use one of " + list);
	}
	case arg::number:
		c.numbers[p.name] = read_number(p.name, s, p.lo, p.hi, p.hex, "a valid number");
		break;
	case arg::speed:
		if (!qor_speed_parse(s.c_str(), &c.speed))
			refuse(p.name, s, "a speed",
			       "use 1, 2, 4, 8, 10 or 16 (Gbit/s, optionally with G or Gbps) or auto");
		break;
	case arg::topology:
		if (!qor_topology_parse(s.c_str(), &c.topology))
			refuse(p.name, s, "a topology", "use p2p, loop or auto");
		break;
	case arg::alpa:
		if (s == "clear")
			c.numbers[p.name] = -1;
		else if (number_in(s, 0x01, 0xef, true, &v))
			c.numbers[p.name] = v;
		else
			refuse(p.name, s, "a loop address", "give 0x01 to 0xef, or 'clear'");
		break;
	case arg::ports:
		// Every word is an address: an empty one ("$PORT" unset) is refused, not skipped.
		for (size_t at = 0; at <= s.size();) {
			size_t sp = s.find(' ', at);
			if (sp == std::string::npos)
				sp = s.size();
			int a = 0, port = 0;
			read_port_address(p.name, s.substr(at, sp - at), &a, &port);
			c.addresses.emplace_back(a, port);
			at = sp + 1;
		}
		break;
	case arg::partition:
		read_partition(p.name, s, c);
		break;
	case arg::flag:
		break;
	}
}

} // namespace mxt
