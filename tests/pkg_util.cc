#include "pkg_util.h"

#include <cstdio>
#include <cstring>

namespace qt {

std::string tar_header(const std::string &name, size_t size, const tar_spoil &spoil)
{
	std::string h(512, '\0');
	std::memcpy(&h[0], name.data(), std::min<size_t>(name.size(), 100));
	if (spoil.unterminated_name)
		for (size_t i = name.size(); i < 100; i++)
			h[i] = 'x';
	std::memcpy(&h[100], "0000644", 8);
	std::memcpy(&h[108], "0000000", 8);
	std::memcpy(&h[116], "0000000", 8);
	char field[16];
	snprintf(field, sizeof field, "%011zo", size);
	std::memcpy(&h[124], field, 12);
	if (!spoil.size_field.empty())
		std::memcpy(&h[124], spoil.size_field.data(), std::min<size_t>(spoil.size_field.size(), 12));
	std::memcpy(&h[136], "14544745400", 12);
	h[156] = '0';
	std::memcpy(&h[257], spoil.bad_magic ? "notar" : "ustar", 6);
	std::memcpy(&h[263], "00", 2);
	std::memset(&h[148], ' ', 8);
	unsigned sum = 0;
	for (unsigned char c : h)
		sum += c;
	if (spoil.bad_checksum)
		sum += 1;
	snprintf(field, sizeof field, "%06o", sum);
	std::memcpy(&h[148], field, 7);
	return h;
}

std::string make_tar(const std::vector<tar_member> &members, bool end_block)
{
	std::string out;
	for (const auto &m : members) {
		out += tar_header(m.name, m.data.size(), m.spoil);
		out += m.data;
		out.append((512 - m.data.size() % 512) % 512, '\0');
	}
	if (end_block)
		out.append(1024, '\0');
	return out;
}

std::string make_optrom(const std::vector<rom_image> &images)
{
	auto b = qorsim::image::optrom(images);
	return std::string(b.begin(), b.end());
}

bool sums_to_zero(const std::string &b, size_t from, size_t n)
{
	unsigned s = 0;
	for (size_t i = from; i < from + n && i < b.size(); i++)
		s += static_cast<unsigned char>(b[i]);
	return s % 256 == 0;
}

uint16_t le16_at(const std::string &b, size_t at)
{
	return static_cast<uint16_t>(static_cast<uint8_t>(b[at]) | static_cast<uint8_t>(b[at + 1]) << 8);
}

uint32_t le32_at(const std::string &b, size_t at)
{
	return le16_at(b, at) | static_cast<uint32_t>(le16_at(b, at + 2)) << 16;
}

std::string swapped(std::string b)
{
	for (size_t i = 0; i + 4 <= b.size(); i += 4) {
		std::swap(b[i], b[i + 3]);
		std::swap(b[i + 1], b[i + 2]);
	}
	return b;
}

std::string card_topology(int n, const std::string &prefix)
{
	std::string j = R"({"transition_ms": 0, "adapters": [)";
	for (int i = 0; i < n; i++) {
		char serial[32];
		snprintf(serial, sizeof serial, "%s%08d", prefix.c_str(), i);
		j += std::string(i ? "," : "") + R"({"serial": ")" + serial +
		     R"(", "card_type": 612, "functions": [{"type": "fc"}, {"type": "fc"}]})";
	}
	return j + "]}";
}

std::string make_firmware(const std::string &version, size_t payload)
{
	auto b = qorsim::image::firmware(version, payload, 5);
	return std::string(b.begin(), b.end());
}

} // namespace qt
