// Fuzzes the option ROM walker. Byte 0 picks the device ID, byte 1 whether
// the version is taken; the rest is the member, in a buffer of exactly its
// size. A member the walker accepts must come out the same when walked again.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "qorl_flash_int.h"

using namespace qorl::flash;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	if (size < 2)
		return 0;
	const uint16_t ids[] = {0x13, 0x14, 0x17, 0x21};
	const uint16_t devid = data[0] < 4 ? ids[data[0]] : data[0];
	const bool read_version = data[1] & 1;
	const size_t n = size - 2;
	uint8_t *rom = static_cast<uint8_t *>(std::malloc(n ? n : 1));
	if (n)
		std::memcpy(rom, data + 2, n);
	fwver v;
	v.reset();
	if (update_device_id_chksum({rom, n}, devid, read_version, v) == QOR_STATUS_OK) {
		if (std::strlen(v.text) != 11)
			std::abort();
		std::vector<uint8_t> once(rom, rom + n);
		fwver again;
		again.reset();
		if (update_device_id_chksum({rom, n}, devid, read_version, again) != QOR_STATUS_OK ||
		    std::memcmp(once.data(), rom, n) != 0 || std::strcmp(v.text, again.text) != 0)
			std::abort();
	}
	std::free(rom);
	return 0;
}
