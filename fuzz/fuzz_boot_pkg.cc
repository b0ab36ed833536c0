// Fuzzes the boot package reader with whole package files (plain or
// wrapped), then runs the option ROM fix-up over every option ROM a loaded
// card names, as an update would.
#include <cstdlib>
#include <cstring>

#include "qorl_flash_int.h"

using namespace qorl::flash;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	qorl_boot_pkg_t pkg{};
	if (populate_flash_data(data, size, &pkg) != QOR_STATUS_OK) {
		if (pkg.image_count || pkg.card_count || pkg.pimagefiledata || pkg.pcarddata)
			std::abort(); // a refused package leaves nothing behind
		return 0;
	}
	for (int c = 0; c < pkg.card_count; c++) {
		const CARD_DATA_T &card = pkg.pcarddata[c];
		if (card.portcnt < 1 || !card.port)
			std::abort();
		for (const char *name : {card.option_rom_name, card.option_rom_2_name}) {
			const IMAGEFILE_DATA_T *img = find_image(pkg, name);
			if (*name && !img)
				std::abort(); // every named member is there
			if (!img)
				continue;
			uint8_t *copy = static_cast<uint8_t *>(std::malloc(img->isize ? img->isize : 1));
			std::memcpy(copy, img->ibuf, img->isize);
			fwver v;
			v.reset();
			(void)update_device_id_chksum({copy, (size_t)img->isize}, 0x17, true, v);
			swap32(copy, img->isize);
			std::free(copy);
		}
	}
	qorl_boot_pkg_free(&pkg);
	return 0;
}
