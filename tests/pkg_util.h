// Boot packages and flash images built by the tests: a small ustar writer,
// "boot.txt" texts, option ROMs, firmware images and VPD images. Nothing is
// copied from elsewhere; every byte is made here.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qt {

// How to spoil one member header.
struct tar_spoil {
	bool bad_checksum = false;
	bool bad_magic = false;
	bool unterminated_name = false; // a 100-character name with no NUL
	std::string size_field;         // raw 12-byte size field instead of the true size
};

struct tar_member {
	std::string name;
	std::string data;
	tar_spoil spoil{};
};

// A ustar header for a member of `size` bytes.
std::string tar_header(const std::string &name, size_t size, const tar_spoil &spoil = {});
// Members with their data padded to 512 bytes, then (unless told not to) the
// two zero blocks that end an archive.
std::string make_tar(const std::vector<tar_member> &members, bool end_block = true);

// One image of an option ROM.
struct rom_image {
	uint8_t codetype = 0;         // 0: x86, 3: EFI
	uint16_t devid = 0x13;
	const char *version = "2.3.0.0"; // x86 only, at verptr
	uint16_t units = 2;           // size in 512-byte units
	bool last = true;
};
// Field offsets inside each image made by make_optrom.
constexpr size_t kRomPcir = 0x40, kRomPnp = 0x60, kRomVersion = 0x90;
std::string make_optrom(const std::vector<rom_image> &images);
// Whether the bytes of [from, from + n) sum to 0 modulo 256.
bool sums_to_zero(const std::string &b, size_t from, size_t n);
uint16_t le16_at(const std::string &b, size_t at);
uint32_t le32_at(const std::string &b, size_t at);
// Every whole 32-bit word byte-reversed (as images are written to flash).
std::string swapped(std::string b);

// A firmware image of the emulated family: "QXFW", the version text in 32
// bytes, `payload` filler bytes, and a last word that makes the XOR of all
// whole words 0.
std::string make_firmware(const std::string &version, size_t payload = 1000);

} // namespace qt
