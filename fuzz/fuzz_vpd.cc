// Fuzzes the VPD walk and the OEM VPD rebuild. Input: up to 512 bytes of
// the adapter's VPD, its VPD version, a 12-byte serial number and the
// 11-character firmware version (missing bytes are zero). Whatever the
// adapter held, the rebuilt image must parse and carry a valid checksum.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "qorl_flash_int.h"

using namespace qorl::flash;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	uint8_t in[kVpdSize + 1 + 12 + 11] = {};
	std::memcpy(in, data, std::min(size, sizeof in));
	vpd_layout l;
	(void)vpd_parse(std::span<const uint8_t, kVpdSize>(in, kVpdSize), l);

	qor_adapter_attr_t ad{};
	std::memcpy(ad.vpd.data, in, kVpdSize);
	ad.vpd.version = in[kVpdSize];
	ad.vpd.len = 1;
	std::memcpy(ad.serial_num, in + kVpdSize + 1, 12);
	char fw[12] = {};
	std::memcpy(fw, in + kVpdSize + 13, 11);
	vpd_image out;
	bool current;
	rebuild_vpd(ad, fw, out, &current);
	unsigned sum = 0;
	for (size_t i = 0; i <= kVpdChecksumPos; i++)
		sum += out[i];
	if (sum % 256 != 0 || !vpd_parse(out, l) || std::memcmp(out.data() + kVpdFwverPos, fw, kVpdFwverLen) != 0)
		std::abort();
	return 0;
}
