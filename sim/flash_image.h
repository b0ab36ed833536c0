// Flash image formats of the emulated adapters, shared by the emulator (the
// contents a fresh card carries, the versions its attributes report) and
// the tests that build packages. scripts/make-boot-package.py writes the
// same formats.
//
// Firmware image: "QXFW", the version text in 32 NUL-padded bytes, the
// payload, and a last word that makes the XOR of all little-endian 32-bit
// words 0 (a valid firmware image).
// Option ROM: PCI expansion ROM images back to back; each has its PCI data
// structure at 0x40; an x86 image has its PnP header at 0x60 and its
// version ("d.d.d.d") at 0x90. In flash, option ROMs and overlays are held
// with every whole 32-bit word byte-reversed, as the boot update writes them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace qorsim::image {

using bytes = std::vector<uint8_t>;

inline void put16(bytes &b, size_t at, uint16_t v)
{
	b[at] = static_cast<uint8_t>(v);
	b[at + 1] = static_cast<uint8_t>(v >> 8);
}
inline void put32(bytes &b, size_t at, uint32_t v)
{
	for (int i = 0; i < 4; i++)
		b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}
inline uint16_t get16(const bytes &b, size_t at)
{
	return static_cast<uint16_t>(b[at] | b[at + 1] << 8);
}
inline uint32_t get32(const bytes &b, size_t at)
{
	return get16(b, at) | static_cast<uint32_t>(get16(b, at + 2)) << 16;
}

// Sets b[at] so that the bytes [from, from + n) sum to 0 modulo 256.
inline void fix_sum(bytes &b, size_t from, size_t n, size_t at)
{
	b[at] = 0;
	unsigned s = 0;
	for (size_t i = from; i < from + n; i++)
		s += b[i];
	b[at] = static_cast<uint8_t>((256 - s % 256) % 256);
}

inline void swap_words(bytes &b)
{
	for (size_t i = 0; i + 4 <= b.size(); i += 4) {
		std::swap(b[i], b[i + 3]);
		std::swap(b[i + 1], b[i + 2]);
	}
}

constexpr size_t kFwHeader = 36;
constexpr size_t kPcir = 0x40, kPnp = 0x60, kVersion = 0x90;
constexpr uint16_t kVendorId = 0xf1e0;

inline bytes firmware(const std::string &version, size_t payload = 65536, uint8_t seed = 1)
{
	bytes b(kFwHeader + payload, 0);
	std::memcpy(b.data(), "QXFW", 4);
	std::memcpy(b.data() + 4, version.data(), std::min<size_t>(version.size(), 31));
	for (size_t i = 0; i < payload; i++)
		b[kFwHeader + i] = static_cast<uint8_t>(i * 13 + seed);
	b.resize((b.size() + 3) / 4 * 4 + 4, 0);
	uint32_t x = 0;
	for (size_t i = 0; i + 8 <= b.size(); i += 4)
		x ^= get32(b, i);
	put32(b, b.size() - 4, x);
	return b;
}

// The version of a valid firmware image; "" for anything else.
inline std::string firmware_version(const bytes &b)
{
	if (b.size() < kFwHeader + 4 || b.size() % 4 || std::memcmp(b.data(), "QXFW", 4) != 0)
		return "";
	uint32_t x = 0;
	for (size_t i = 0; i + 4 <= b.size(); i += 4)
		x ^= get32(b, i);
	if (x != 0)
		return "";
	const char *v = reinterpret_cast<const char *>(b.data() + 4);
	return std::string(v, strnlen(v, 31));
}

struct rom_image {
	uint8_t codetype = 0; // 0: x86, 3: EFI
	uint16_t devid = 0x13;
	std::string version = "2.3.0.0"; // x86 only
	uint16_t units = 2;              // 512-byte units
	bool last = true;
};

inline bytes optrom(const std::vector<rom_image> &images)
{
	bytes rom;
	for (const auto &im : images) {
		bytes b(static_cast<size_t>(im.units) * 512, 0);
		for (size_t i = 0xa0; i + 1 < b.size(); i++)
			b[i] = static_cast<uint8_t>(i * 7 + im.codetype); // code bytes
		put16(b, 0, 0xAA55);
		b[2] = static_cast<uint8_t>(im.units);
		put16(b, 0x18, kPcir);
		std::memcpy(&b[kPcir], "PCIR", 4);
		put16(b, kPcir + 4, kVendorId);
		put16(b, kPcir + 6, im.devid);
		put16(b, kPcir + 10, 28);
		b[kPcir + 12] = 3;
		b[kPcir + 14] = 0x04; // serial bus controller, Fibre Channel
		b[kPcir + 15] = 0x0c;
		put16(b, kPcir + 16, im.units);
		b[kPcir + 20] = im.codetype;
		b[kPcir + 21] = im.last ? 0x80 : 0;
		if (im.codetype == 0) {
			put16(b, 0x16, kVersion);
			put16(b, 0x1a, kPnp);
			std::memcpy(&b[kPnp], "$PnP", 4);
			b[kPnp + 4] = 1;
			b[kPnp + 5] = 2; // 32 bytes
			put32(b, kPnp + 10, static_cast<uint32_t>(im.devid) << 16 | kVendorId);
			fix_sum(b, kPnp, 32, kPnp + 9);
			std::memcpy(&b[kVersion], im.version.c_str(), std::min<size_t>(im.version.size() + 1, 0x10));
		}
		fix_sum(b, 0, b.size(), b.size() - 1);
		rom.insert(rom.end(), b.begin(), b.end());
	}
	return rom;
}

// An x86 image then an EFI image, as the family's option ROM carries.
inline bytes optrom(const std::string &version, uint16_t devid)
{
	return optrom({{0, devid, version, 4, false}, {3, devid, "", 6, true}});
}

// The version of the first x86 image of an option ROM as the flash holds it
// (words reversed); "" when there is none. Every offset is checked.
inline std::string optrom_version(bytes b)
{
	swap_words(b);
	for (size_t off = 0; off + 0x44 <= b.size();) {
		if (get16(b, off) != 0xAA55)
			return "";
		size_t pcir = off + get16(b, off + 0x18);
		if (pcir + 28 > b.size() || std::memcmp(&b[pcir], "PCIR", 4) != 0)
			return "";
		size_t size = static_cast<size_t>(get16(b, pcir + 16)) * 512;
		if (size == 0 || off + size > b.size())
			return "";
		if (b[pcir + 20] == 0) {
			size_t v = off + get16(b, off + 0x16);
			if (v >= off + size)
				return "";
			const char *t = reinterpret_cast<const char *>(&b[v]);
			return std::string(t, strnlen(t, std::min<size_t>(16, off + size - v)));
		}
		if (b[pcir + 21] & 0x80)
			return "";
		off += size;
	}
	return "";
}

} // namespace qorsim::image
