// Boot packages and flash images built by the tests: a small ustar writer,
// "boot.txt" texts, option ROMs, firmware images and VPD images. Nothing is
// copied from elsewhere; every byte is made here.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "flash_image.h"

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

// Option ROMs and firmware images in the emulated family's formats
// (sim/flash_image.h), as text.
using rom_image = qorsim::image::rom_image;
constexpr size_t kRomPcir = qorsim::image::kPcir, kRomPnp = qorsim::image::kPnp,
		 kRomVersion = qorsim::image::kVersion;
std::string make_optrom(const std::vector<rom_image> &images);
// Whether the bytes of [from, from + n) sum to 0 modulo 256.
bool sums_to_zero(const std::string &b, size_t from, size_t n);
uint16_t le16_at(const std::string &b, size_t at);
uint32_t le32_at(const std::string &b, size_t at);
// Every whole 32-bit word byte-reversed (as images are written to flash).
std::string swapped(std::string b);

// A topology of n dual-port Fibre Channel cards (card type 612), serial
// numbers prefix + 8 digits.
std::string card_topology(int n, const std::string &prefix);

// A valid firmware image carrying `version`.
std::string make_firmware(const std::string &version, size_t payload = 1000);

} // namespace qt
