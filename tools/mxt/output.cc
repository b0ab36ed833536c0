// The two output forms: JSON, and text (tables for lists, "name: value" lines
// for records).
#include <cstdio>
#include <iostream>
#include <vector>

#include "mxt.h"

namespace mxt {

namespace {

std::string scalar(const doc &v)
{
	if (v.is_string())
		return v.get<std::string>();
	if (v.is_boolean())
		return v.get<bool>() ? "yes" : "no";
	if (v.is_null())
		return "-";
	return v.dump();
}

void print_record(const doc &d, int indent)
{
	size_t width = 0;
	for (auto it = d.begin(); it != d.end(); ++it)
		if (!it.value().is_structured())
			width = std::max(width, it.key().size());
	for (auto it = d.begin(); it != d.end(); ++it) {
		std::string pad(indent, ' ');
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
	std::vector<std::string> cols;
	for (auto it = rows[0].begin(); it != rows[0].end(); ++it)
		if (!it.value().is_structured())
			cols.push_back(it.key());
	std::vector<size_t> w(cols.size());
	for (size_t c = 0; c < cols.size(); c++) {
		w[c] = cols[c].size();
		for (auto &r : rows)
			w[c] = std::max(w[c], scalar(r.value(cols[c], doc())).size());
	}
	auto line = [&](auto cell) {
		std::string s;
		for (size_t c = 0; c < cols.size(); c++) {
			std::string v = cell(c);
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
		std::cout << d.dump(2) << "\n";
		return;
	}
	if (d.is_array())
		print_table(d);
	else if (d.is_object())
		print_record(d, 0);
	else
		std::cout << scalar(d) << "\n";
}

std::string wwn_text(wwn_t w)
{
	const auto *b = reinterpret_cast<const uint8_t *>(&w);
	char s[24];
	snprintf(s, sizeof s, "%02x:%02x:%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4], b[5], b[6],
		 b[7]);
	return s;
}

std::string mac_text(const uint8_t *m)
{
	char s[18];
	snprintf(s, sizeof s, "%02x:%02x:%02x:%02x:%02x:%02x", m[0], m[1], m[2], m[3], m[4], m[5]);
	return s;
}

std::string mac_text(const mac_t &m)
{
	return mac_text(m.mac);
}

bool parse_wwn(const std::string &s, wwn_t *w)
{
	unsigned v[8];
	char tail;
	if (sscanf(s.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x:%2x:%2x%c", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6],
		   &v[7], &tail) != 8)
		return false;
	uint8_t b[8];
	for (int i = 0; i < 8; i++)
		b[i] = (uint8_t)v[i];
	memcpy(w, b, 8);
	return true;
}

std::string field(const char *s, size_t n)
{
	return std::string(s, strnlen(s, n));
}

} // namespace mxt
