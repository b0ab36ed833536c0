// Fuzzes the boot package reader with whole package files (plain or
// wrapped) read from a stream, then runs the option ROM fix-up over every
// option ROM a loaded card names, as an update would.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "qorl_flash_int.h"

using namespace qorl::flash;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	// fmemopen takes no empty buffer; an empty stream is a temporary file.
	FILE *fp = size ? fmemopen(const_cast<uint8_t *>(data), size, "rb") : std::tmpfile();
	if (!fp)
		return 0;
	int image_count = -1, card_count = -1;
	const qor_status_t st = populate_flash_data(fp, &image_count, &card_count);
	std::fclose(fp);
	if (st != QOR_STATUS_OK) {
		if (image_count || card_count || pimagefiledata || pcarddata)
			std::abort(); // a refused package leaves nothing behind
		if (qorl_boot_pkg_free() != QOR_STATUS_OK)
			std::abort();
		return 0;
	}
	const tables t = held_tables();
	if (t.image_count != image_count || t.card_count != card_count)
		std::abort();
	for (int c = 0; c < card_count; c++) {
		const CARD_DATA_T &card = pcarddata[c];
		if (card.portcnt < 1 || !card.port)
			std::abort();
		for (const char *name : {card.option_rom_name, card.option_rom_2_name}) {
			const IMAGEFILE_DATA_T *img = find_image(t, name);
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
	// The tables are held until freed: a second load is refused meanwhile.
	int ic = -1, cc = -1;
	if (populate_flash_data(stdin, &ic, &cc) != QOR_STATUS_DEVBUSY || ic || cc)
		std::abort();
	if (qorl_boot_pkg_free() != QOR_STATUS_OK || pimagefiledata || pcarddata)
		std::abort();
	return 0;
}
