// The two output forms: JSON, and text (tables for lists, "name: value" lines
// for records); and the values both show.
#include <algorithm>
#include <cstring>
#include <iostream>
#include <vector>

#include "mxt.h"
#include "qor/qor_text.h"
#include "qorl_state.h"

namespace mxt {

namespace {

constexpr auto replace_invalid = doc::error_handler_t::replace;

// An error object kept in a row ({"status", "name", "message"}): shown by its message.
bool error_object(const doc &v)
{
	return v.is_object() && v.contains("message") && v["message"].is_string();
}

std::string scalar(const doc &v)
{
	if (v.is_string())
		return printable(v.get<std::string>());
	if (error_object(v))
		return printable(v["message"].get<std::string>());
	if (v.is_boolean())
		return v.get<bool>() ? "yes" : "no";
	if (v.is_null())
		return "-";
	if (v.is_array()) {
		std::string s;
		for (auto &e : v)
			s += (s.empty() ? "" : ",") + scalar(e);
		return s;
	}
	return v.dump(-1, ' ', false, replace_invalid);
}

// Columns of a table: scalars and lists of scalars.
bool cell(const doc &v)
{
	if (!v.is_array())
		return !v.is_object() || error_object(v);
	for (auto &e : v)
		if (e.is_structured())
			return false;
	return true;
}

void print_record(const doc &d, int indent)
{
	size_t width = 0;
	for (auto it = d.begin(); it != d.end(); ++it)
		if (!it.value().is_structured())
			width = std::max(width, it.key().size());
	const std::string pad(indent, ' ');
	for (auto it = d.begin(); it != d.end(); ++it) {
		if (it.value().is_object()) {
			std::cout << pad << it.key() << ":\n";
			print_record(it.value(), indent + 2);
		} else if (it.value().is_array()) {
			std::cout << pad << it.key() << ":\n";
			for (auto &e : it.value()) {
				if (e.is_object()) {
					print_record(e, indent + 2);
					std::cout << "\n";
				} else {
					std::cout << pad << "  " << scalar(e) << "\n";
				}
			}
		} else {
			std::cout << pad << it.key() << ":" << std::string(width - it.key().size() + 1, ' ')
				  << scalar(it.value()) << "\n";
		}
	}
}

void print_table(const doc &rows)
{
	if (rows.empty())
		return;
	// Every row's columns: a row with fewer (a target that failed) must not
	// hide the others'. A new key goes after the one before it in its row.
	std::vector<std::string> cols;
	for (auto &r : rows) {
		auto after = cols.begin();
		for (auto it = r.begin(); it != r.end(); ++it) {
			if (!cell(it.value()))
				continue;
			auto at = std::find(cols.begin(), cols.end(), it.key());
			if (at == cols.end())
				at = cols.insert(after, it.key());
			after = at + 1;
		}
	}
	std::vector<size_t> w(cols.size());
	for (size_t c = 0; c < cols.size(); c++) {
		w[c] = cols[c].size();
		for (auto &r : rows)
			w[c] = std::max(w[c], scalar(r.value(cols[c], doc())).size());
	}
	auto line = [&](auto text) {
		std::string s;
		for (size_t c = 0; c < cols.size(); c++) {
			std::string v = text(c);
			s += v;
			if (c + 1 < cols.size())
				s += std::string(w[c] - v.size() + 2, ' ');
		}
		std::cout << s << "\n";
	};
	line([&](size_t c) { return cols[c]; });
	for (auto &r : rows)
		line([&](size_t c) { return scalar(r.value(cols[c], doc())); });
}

} // namespace

void print(const doc &d)
{
	if (opts().json) {
		std::cout << d.dump(2, ' ', false, replace_invalid) << "\n";
		return;
	}
	if (d.is_array())
		print_table(d);
	else if (d.is_object())
		print_record(d, 0);
	else if (d.is_string() && !d.get<std::string>().empty() && d.get<std::string>().back() == '\n')
		std::cout << printable(d.get<std::string>(), true);
	else
		std::cout << scalar(d) << "\n";
}

std::string printable(std::string_view s, bool lines)
{
	std::string out;
	out.reserve(s.size());
	for (size_t i = 0; i < s.size(); i++) {
		const auto ch = (unsigned char)s[i];
		// C1 controls arrive as UTF-8 (U+0080 to U+009F): 0xc2 and a byte below 0xa0.
		const bool c1 = ch == 0xc2 && i + 1 < s.size() && (unsigned char)s[i + 1] >= 0x80 &&
				(unsigned char)s[i + 1] < 0xa0;
		if ((ch >= 0x20 && ch != 0x7f && !c1) || (lines && (ch == '\n' || ch == '\t'))) {
			out += (char)ch;
			continue;
		}
		const unsigned v = c1 ? (unsigned char)s[++i] : ch;
		char e[8];
		snprintf(e, sizeof e, "\\x%02x", v);
		out += e;
	}
	return out;
}

std::string scalar_text(const doc &v)
{
	return scalar(v);
}

std::string one_line(const doc &d)
{
	return d.dump(-1, ' ', false, replace_invalid);
}

std::string wwn_text(wwn_t w)
{
	char s[QOR_WWN_TEXT_LEN];
	return qor_wwn_format(w, s);
}

std::string mac_text(const uint8_t *m)
{
	char s[QOR_MAC_TEXT_LEN];
	return qor_mac_format(m, s);
}

std::string mac_text(const mac_t &m)
{
	return mac_text(m.mac);
}

std::string field(const char *s, size_t n)
{
	std::string raw(s, strnlen(s, n));
	// The JSON library's replacing dump is the one UTF-8 check we have.
	return doc::parse(doc(raw).dump(-1, ' ', false, replace_invalid)).get<std::string>();
}

doc wwn_value(wwn_t w)
{
	return w ? doc(wwn_text(w)) : doc();
}

doc mac_value(const uint8_t *m)
{
	static const uint8_t zero[6] = {};
	return memcmp(m, zero, sizeof zero) ? doc(mac_text(m)) : doc();
}

doc word_value(const char *display)
{
	std::string s = display ? display : "";
	while (!s.empty() && s.back() == ' ')
		s.pop_back();
	if (s.empty() || s == "unknown" || s == "Unknown" || s == "---" || s == "--" || s == "-")
		return nullptr;
	return s;
}

doc type_value(uint32_t ioc_type)
{
	return word_value(qor_ioc_type_word(ioc_type));
}

doc topology_value(uint32_t topo)
{
	return topo == QOR_PORT_TOPOLOGY_P2P || topo == QOR_PORT_TOPOLOGY_LOOP || topo == QOR_PORT_TOPOLOGY_AUTO
		       ? doc(qor_topology_word(topo))
		       : doc();
}

doc pid_value(uint32_t pid)
{
	uint8_t b[4];
	memcpy(b, &pid, 4);
	if (!b[0] && !b[1] && !b[2])
		return nullptr;
	char s[8];
	snprintf(s, sizeof s, "%02x%02x%02x", b[0], b[1], b[2]);
	return s;
}

doc cos_value(uint32_t c)
{
	switch (c) {
	case FC_CLASS_2:
		return "class 2";
	case FC_CLASS_3:
		return "class 3";
	case FC_CLASS_2_3:
		return "class 2 and 3";
	default:
		return nullptr;
	}
}

doc roles_value(uint32_t bits)
{
	doc words = doc::array();
	for (uint32_t b = 1; b != 0; b <<= 1)
		if (const char *w = (bits & b) ? qor_role_word(b) : nullptr)
			words.push_back(w);
	return words;
}

void put_speed(doc &d, const std::string &key, uint32_t code)
{
	unsigned g = qor_speed_gbps(code);
	d[key + "_gbps"] = g ? doc(g) : doc();
	d[key] = word_value(qorl_port_speed_to_string((qor_port_speed_t)code));
}

std::string snake(std::string_view label)
{
	std::string s;
	bool gap = false;
	for (char ch : label) {
		bool alnum = (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9');
		if (!alnum) {
			gap = !s.empty();
			continue;
		}
		if (gap)
			s += '_';
		gap = false;
		s += (ch >= 'A' && ch <= 'Z') ? (char)(ch - 'A' + 'a') : ch;
	}
	return s;
}

doc counters_doc(const counter_list &c)
{
	doc d = doc::object();
	for (const counter &e : c)
		d[e.key] = e.value;
	return d;
}

} // namespace mxt
