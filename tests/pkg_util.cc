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

namespace {

void put16(std::string &b, size_t at, uint16_t v)
{
	b[at] = static_cast<char>(v & 0xff);
	b[at + 1] = static_cast<char>(v >> 8);
}

void put32(std::string &b, size_t at, uint32_t v)
{
	for (int i = 0; i < 4; i++)
		b[at + i] = static_cast<char>(v >> (8 * i));
}

void fix_sum(std::string &b, size_t from, size_t n, size_t at)
{
	b[at] = 0;
	unsigned s = 0;
	for (size_t i = from; i < from + n; i++)
		s += static_cast<unsigned char>(b[i]);
	b[at] = static_cast<char>((256 - s % 256) % 256);
}

} // namespace

std::string make_optrom(const std::vector<rom_image> &images)
{
	std::string rom;
	for (const auto &im : images) {
		std::string b(static_cast<size_t>(im.units) * 512, '\0');
		for (size_t i = 0xa0; i + 1 < b.size(); i++)
			b[i] = static_cast<char>(i * 7 + im.codetype); // code bytes
		put16(b, 0, 0xAA55);
		b[2] = static_cast<char>(im.units);
		put16(b, 0x18, kRomPcir);
		std::memcpy(&b[kRomPcir], "PCIR", 4);
		put16(b, kRomPcir + 4, 0x1e6b);
		put16(b, kRomPcir + 6, im.devid);
		put16(b, kRomPcir + 10, 28);
		b[kRomPcir + 12] = 3;
		b[kRomPcir + 15] = 0x0c; // serial bus controller, Fibre Channel
		b[kRomPcir + 14] = 0x04;
		put16(b, kRomPcir + 16, im.units);
		b[kRomPcir + 20] = static_cast<char>(im.codetype);
		b[kRomPcir + 21] = static_cast<char>(im.last ? 0x80 : 0);
		if (im.codetype == 0) {
			put16(b, 0x16, kRomVersion);
			put16(b, 0x1a, kRomPnp);
			std::memcpy(&b[kRomPnp], "$PnP", 4);
			b[kRomPnp + 4] = 1;
			b[kRomPnp + 5] = 2; // 32 bytes
			put32(b, kRomPnp + 10, static_cast<uint32_t>(im.devid) << 16 | 0x1e6b);
			fix_sum(b, kRomPnp, 32, kRomPnp + 9);
			std::memcpy(&b[kRomVersion], im.version, std::strlen(im.version) + 1);
		}
		fix_sum(b, 0, b.size(), b.size() - 1);
		rom += b;
	}
	return rom;
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

std::string make_firmware(const std::string &version, size_t payload)
{
	std::string b(4 + 32 + payload, '\0');
	std::memcpy(&b[0], "QXFW", 4);
	std::memcpy(&b[4], version.data(), std::min<size_t>(version.size(), 31));
	for (size_t i = 0; i < payload; i++)
		b[36 + i] = static_cast<char>(i * 13 + 5);
	b.resize((b.size() + 3) / 4 * 4 + 4, '\0');
	uint32_t x = 0;
	for (size_t i = 0; i + 8 <= b.size(); i += 4)
		x ^= le32_at(b, i);
	put32(b, b.size() - 4, x);
	return b;
}

} // namespace qt
