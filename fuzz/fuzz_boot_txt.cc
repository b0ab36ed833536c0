// Fuzzes the "boot.txt" reader: the version line and the card descriptions.
#include <cstdlib>
#include <string_view>

#include "qorl_flash_int.h"

using namespace qorl::flash;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	std::string_view text(reinterpret_cast<const char *>(data), size);
	(void)check_boot_code_version(text);
	int card_count = -1;
	if (populate_card_data(text, card_count) == QOR_STATUS_OK) {
		for (int i = 0; i < card_count; i++) {
			const CARD_DATA_T &c = pcarddata[i];
			if (c.portcnt < 1 || !c.port)
				std::abort(); // a closed block always has its ports
			for (const char *name : {c.firmware_name, c.option_rom_name, c.option_rom_2_name,
						 c.boot_overlay_name, c.pxe_overlay_name, c.fw_config_name})
				if (std::string_view(name).size() > 63)
					std::abort();
		}
	} else if (pcarddata || card_count) {
		std::abort();
	}
	free_carddata(card_count);
	return 0;
}
