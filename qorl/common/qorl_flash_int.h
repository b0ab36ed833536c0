// Flash images and boot packages inside the library: the archive walk, the
// "boot.txt" reader, the package tables and who holds them, the option ROM
// walker and the VPD rebuild. All of it is pure (no requests, no files) and
// checks every length it is given.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>

#include "defs/qor_defs_card.h"
#include "qorl_boot.h"

namespace qorl::flash {

// ---- adapter models -------------------------------------------------------

struct card_model {
	uint32_t code;
	const char *model;
	int ports;
	int speed;
	bool converged;
	const char *descr;
};
std::span<const card_model> card_models();
// The model of a card-type code; nullptr for a code not of this family.
const card_model *card_model_of(uint32_t code);
// Whether a model description (a field of n bytes) is the OEM model's.
bool is_oem_model(const char *model_descr, size_t n);

// ---- archives -------------------------------------------------------------

constexpr size_t kTarBlock = 512;

// The ustar member header; only name, size, checksum and magic are read.
struct tar_header_t {
	char filename[100];
	char filemode[8];
	char ouserid[8];
	char guserid[8];
	char filesize[12];
	char modifytime[12];
	char cheksum[8];
	char linkindicator;
	char linkfile[100];
	char magic[6];
	char rsvd[249];
};
static_assert(sizeof(tar_header_t) == kTarBlock);
static_assert(offsetof(tar_header_t, filesize) == 124 && offsetof(tar_header_t, cheksum) == 148 &&
	      offsetof(tar_header_t, magic) == 257);

// The archive a package file holds: the file itself when its first member is
// "boot.txt", else its first member (a package wrapped in an outer archive),
// without copying. QOR_STATUS_BAD_FILE when the first header is not sound.
qor_status_t check_file_contains_tar(std::span<const uint8_t> file, std::span<const uint8_t> &archive);
// Members up to the end block; QOR_STATUS_BAD_FILE for any unsound header,
// a member running past the data, or no end block.
qor_status_t count_images(std::span<const uint8_t> archive, int &image_count);
// The module-wide package tables: one package at a time per process.
extern PIFDATA pimagefiledata;
extern PCDATA pcarddata;

// Builds pimagefiledata with copies of the members.
qor_status_t read_boot_image(std::span<const uint8_t> archive, int image_count);
// Line 1 of "boot.txt" must be "Version=2.3.0.0".
qor_status_t check_boot_code_version(std::string_view text);
// Builds pcarddata from "boot.txt"; on failure it is freed and the count 0.
qor_status_t populate_card_data(std::string_view text, int &card_count);
// Free the owned buffers of the first n entries, then the table.
void free_imagefiledata(int image_count);
void free_carddata(int card_count);

// The module-wide tables as one call sees them: their first image_count
// members and card_count cards.
struct tables {
	const IMAGEFILE_DATA_T *images = nullptr;
	int image_count = 0;
	const CARD_DATA_T *cards = nullptr;
	int card_count = 0;
};
// The first member named exactly `name`; nullptr when there is none.
const IMAGEFILE_DATA_T *find_image(const tables &t, const char *name);

// The images a card description names, in the order an update writes them:
// the partition each is written to and the card's field naming its member.
struct card_image {
	qor_flash_part_type_t type;
	char (CARD_DATA_T::*name)[sizeof CARD_DATA_T::firmware_name];
};
inline constexpr card_image kCardImages[] = {
	{QOR_FLASH_PART_FWIMG, &CARD_DATA_T::firmware_name},
	{QOR_FLASH_PART_OPTROM, &CARD_DATA_T::option_rom_name},
	{QOR_FLASH_PART_OPTROM2, &CARD_DATA_T::option_rom_2_name},
	{QOR_FLASH_PART_BOOTOVL, &CARD_DATA_T::boot_overlay_name},
	{QOR_FLASH_PART_PXEOVL, &CARD_DATA_T::pxe_overlay_name},
	{QOR_FLASH_PART_FWCFG, &CARD_DATA_T::fw_config_name},
};

// ---- who holds the tables ---------------------------------------------------
//
// One package at a time per process: a caller's, from populate_flash_data
// to qorl_boot_pkg_free, or an update's, from its load to its end.
enum class holder { none, caller, update };
// QOR_STATUS_DEVBUSY when the tables are held.
qor_status_t take_tables(holder h);
// Reads the stream whole and loads it into the tables (already taken).
qor_status_t load_tables(FILE *fp, int &image_count, int &card_count);
// All of the tables as loaded.
tables held_tables();
// The tables a caller loaded; empty when none are.
tables caller_tables();
// Frees the tables; nobody holds them afterwards.
void drop_tables();
// qorl_boot_pkg_free: the caller's tables, unless an update holds them or a
// call uses them (QOR_STATUS_DEVBUSY).
qor_status_t free_caller_tables();
// A call reading the tables a caller loaded, for its whole length:
// QOR_STATUS_DEVBUSY while an update holds them (or, with workers, while
// another all-adapters run uses the work records), QOR_STATUS_EINVAL for
// counts beyond those loaded.
class table_use {
public:
	table_use(int image_count, int card_count, bool workers);
	~table_use();
	table_use(const table_use &) = delete;
	table_use &operator=(const table_use &) = delete;
	qor_status_t status() const { return st_; }
	const tables &view() const { return t_; }

private:
	qor_status_t st_ = QOR_STATUS_FAILED;
	bool workers_;
	tables t_;
};

// ---- images ---------------------------------------------------------------

// Reverses the bytes of every whole 32-bit word; trailing bytes stay.
void swap32(uint8_t *buf, size_t size);
// A little-endian 16-bit image field in host order.
uint16_t swap16(uint16_t swp);

// PCI expansion ROM layouts (little-endian, unaligned in the image).
struct __attribute__((packed)) pci_optrom_hdr_t {
	uint16_t sig; // 0xAA55
	uint8_t len;
	uint8_t inivec[3];
	uint8_t vendor_sig[4];
	uint16_t bofmds;
	uint8_t rsvd[5];
	uint16_t ovltable;
	uint8_t cksum;
	uint16_t verlen;
	uint16_t verptr;
	uint16_t pcids;
	uint16_t pnphdr;
};
struct __attribute__((packed)) pci_3_0_ds_t {
	uint32_t sig; // "PCIR"
	uint16_t vendid;
	uint16_t devid;
	uint16_t devlistoff;
	uint16_t len;
	uint8_t rev;
	uint8_t clcode[3];
	uint16_t imglen;
	uint16_t coderev;
	uint8_t codetype; // 0: x86 PC-AT
	uint8_t indr;     // bit 7: last image
	uint16_t mrtimglen;
	uint16_t cuoff;
	uint16_t dmtfclp;
};
struct __attribute__((packed)) pnp_hdr_t {
	uint32_t signature; // "$PnP"
	uint8_t rev;
	uint8_t len; // 16-byte units
	uint16_t off;
	uint8_t rsvd;
	uint8_t cksum;
	uint32_t pnp_dev_id; // upper 16 bits: device ID
	uint16_t mfstr;
	uint16_t prstr;
	uint8_t devtype[3];
	uint8_t devind;
	uint16_t bcventr;
	uint16_t rsvd2;
	uint16_t sriv;
};
static_assert(sizeof(pci_optrom_hdr_t) == 28 && sizeof(pci_3_0_ds_t) == 28 && sizeof(pnp_hdr_t) == 28);
static_assert(offsetof(pci_optrom_hdr_t, ovltable) == 17 && offsetof(pci_optrom_hdr_t, pcids) == 24);
static_assert(offsetof(pci_3_0_ds_t, imglen) == 16 && offsetof(pci_3_0_ds_t, indr) == 21);
static_assert(offsetof(pnp_hdr_t, cksum) == 9 && offsetof(pnp_hdr_t, pnp_dev_id) == 10);

constexpr uint16_t kRomSig = 0xAA55;
constexpr uint32_t kPcirSig = 0x52494350; // "PCIR"
constexpr uint32_t kPnpSig = 0x506E5024;  // "$PnP"
constexpr size_t kRomUnit = 512;

// Device IDs the option ROM fix-up writes into the images.
constexpr bool devid_patches(uint16_t devid)
{
	return devid == 0x14 || devid == 0x17 || devid == 0x21;
}
// Device IDs a caller may ask an update to use.
constexpr bool devid_accepted(uint16_t devid)
{
	return devid == 0x13 || devid_patches(devid);
}

// The firmware version an adapter's update takes from its first option ROM:
// "00000000000" until taken; 11 characters and a NUL.
struct fwver {
	char text[12];
	bool taken;
	void reset();
};

// Walks the images of one option ROM member, patching device IDs and
// checksums for devid; takes the version from the first x86 image when
// bfwvread. QOR_STATUS_BAD_BOOT_CODE for any header, data structure or
// PnP header outside the member or without its signature, and for a walk
// that runs off the member without a last image.
qor_status_t update_device_id_chksum(std::span<uint8_t> rom, uint16_t devid, bool bfwvread, fwver &v);

// ---- VPD ------------------------------------------------------------------

constexpr size_t kVpdSize = 512;
using vpd_image = std::array<uint8_t, kVpdSize>;

// Fixed places of the OEM layout.
constexpr size_t kVpdRLenPos = 132;
constexpr size_t kVpdFirstKeyword = 134;
constexpr size_t kVpdSerialPos = 201;
constexpr size_t kVpdFwverPos = 244;
constexpr size_t kVpdFwverLen = 11;
constexpr size_t kVpdChecksumPos = 369;
constexpr uint8_t kVpdRLen = 236;

// The OEM VPD template (serial number left zero).
const vpd_image &oem_vpd_template();

// Where a walk found the keywords of a VPD image.
struct vpd_layout {
	size_t vpdr_tag = 0;      // VPD-R tag
	size_t first_keyword = 0; // first VPD-R keyword
	size_t v2 = 0, v2_len = 0; // V2 data, 0 when absent
	size_t rv = 0;            // RV data (its first byte is the checksum)
	size_t v7[8] = {};        // data of the V7 keywords that hold "DCM" and a map
	int nv7 = 0;
};
// Walks resource tags and VPD-R keywords, each bounded by its section and
// the image; false for anything that runs past them or no RV keyword.
bool vpd_parse(std::span<const uint8_t, kVpdSize> vpd, vpd_layout &out);

// The VPD image an OEM adapter gets: its own (VPD version 3, nonzero
// length, in the OEM layout) or the template with its serial number, the
// firmware version at 244, the VPD-R length, capability map and checksum
// fixed. version_current tells whether the version was already there.
void rebuild_vpd(const qor_adapter_attr_t &ad, const char *fwver11, vpd_image &out, bool *version_current);

// ---- the update ------------------------------------------------------------

// Progress of one adapter's update, if the caller watches (p may be null).
// Fields are stored atomically; entries of `written` before their count.
class progress_writer {
public:
	explicit progress_writer(qorl_boot_progress_t *p) : p_(p) {}
	void start(uint32_t ad_id);
	void total(uint64_t bytes);
	void current(uint32_t type, uint32_t instance);
	void written(uint32_t type, uint32_t instance, uint64_t bytes);
	qor_status_t done(qor_status_t st);

private:
	qorl_boot_progress_t *p_;
};

// One adapter's update through controller q with device ID devid.
qor_status_t boot_flash_data(qorl_t *q, uint16_t devid, uint32_t cardtype, const tables &t, progress_writer &prog);
// Every adapter, one worker each, through the process-wide work records,
// which carry devid (0: each controller's own) and the progress records to
// the workers. The caller has the tables and the records to itself.
qor_status_t update_adapters(uint16_t *status, qor_status_t *err_code, const tables &t, uint16_t devid,
			     qorl_boot_progress_t *progress);

} // namespace qorl::flash
