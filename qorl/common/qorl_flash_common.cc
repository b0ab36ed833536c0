// Boot packages and flash images: the archive walk, "boot.txt", the
// module-wide package tables and who holds them, the option ROM walker, the
// VPD rebuild, word swaps and checksums. Nothing here sends a request or
// opens a file; every offset and length from a package or a driver reply is
// checked before it is used.
#include <algorithm>
#include <bit>
#include <iterator>
#include <memory>
#include <mutex>
#include <utility>
#include <cstdlib>
#include <cstring>

#include "qor/qor_text.h"
#include "qorl_flash.h"
#include "qorl_flash_int.h"

namespace qorl::flash {

// ---- adapter models -------------------------------------------------------------

namespace {

#define QORL_CARD_ROW(code, model, ports, speed, cna, descr) {code, model, ports, speed, cna != 0, descr},
constexpr card_model models[] = {QOR_CARD_TYPE_LIST(QORL_CARD_ROW)};
#undef QORL_CARD_ROW

constexpr int single_port_models()
{
	int n = 0;
	for (const auto &m : models)
		n += m.ports == 1;
	return n;
}
static_assert(std::size(models) == QOR_CARD_TYPE_COUNT && single_port_models() == 3);

} // namespace

std::span<const card_model> card_models()
{
	return models;
}

const card_model *card_model_of(uint32_t code)
{
	for (const auto &m : models)
		if (m.code == code)
			return &m;
	return nullptr;
}

bool is_oem_model(const char *model_descr, size_t n)
{
	constexpr std::string_view oem = QOR_OEM_MODEL_DESCR;
	return model_descr && std::string_view(model_descr, strnlen(model_descr, n)) == oem;
}

// ---- archives -----------------------------------------------------------------------

namespace {

// An octal number field: optional leading blanks, digits, then only NULs
// and blanks to the end of the field (a terminator may be missing when the
// digits fill it).
bool octal_field(const char *f, size_t n, uint64_t &out)
{
	size_t i = 0;
	while (i < n && f[i] == ' ')
		i++;
	size_t start = i;
	uint64_t v = 0;
	for (; i < n && f[i] >= '0' && f[i] <= '7'; i++)
		v = v * 8 + static_cast<uint64_t>(f[i] - '0');
	if (i == start)
		return false;
	for (; i < n; i++)
		if (f[i] != '\0' && f[i] != ' ')
			return false;
	out = v;
	return true;
}

// The header checksum: the bytes summed with the checksum field counted as
// blanks. Writers differ in whether the bytes are signed; both are taken.
bool checksum_ok(const tar_header_t &h)
{
	uint64_t stored;
	if (!octal_field(h.cheksum, sizeof h.cheksum, stored))
		return false;
	const auto *b = reinterpret_cast<const uint8_t *>(&h);
	uint32_t usum = 0;
	int32_t ssum = 0;
	for (size_t i = 0; i < kTarBlock; i++) {
		bool in_field = i >= offsetof(tar_header_t, cheksum) && i < offsetof(tar_header_t, linkindicator);
		uint8_t c = in_field ? ' ' : b[i];
		usum += c;
		ssum += static_cast<int8_t>(c);
	}
	return stored == usum || stored == static_cast<uint64_t>(static_cast<uint32_t>(ssum));
}

struct member {
	std::string_view name;
	std::span<const uint8_t> data;
};

enum class header { member, end, bad };

// The header at `off` and its member, all checked against the archive.
header read_header(std::span<const uint8_t> archive, size_t off, member &m)
{
	if (off > archive.size() || archive.size() - off < kTarBlock)
		return header::bad;
	tar_header_t h;
	std::memcpy(&h, archive.data() + off, kTarBlock);
	if (h.filename[0] == '\0')
		return header::end;
	uint64_t size;
	if (std::memcmp(h.magic, "ustar", 5) != 0 || !checksum_ok(h) ||
	    !std::memchr(h.filename, '\0', sizeof h.filename) ||
	    !octal_field(h.filesize, sizeof h.filesize, size))
		return header::bad;
	const size_t data_off = off + kTarBlock;
	if (size > archive.size() - data_off)
		return header::bad;
	m.name = std::string_view(reinterpret_cast<const char *>(archive.data() + off));
	m.data = archive.subspan(data_off, static_cast<size_t>(size));
	return header::member;
}

size_t next_header(size_t off, size_t size)
{
	return off + kTarBlock + (size + kTarBlock - 1) / kTarBlock * kTarBlock;
}

// Calls fn(member) for each member up to the end block. Every step moves at
// least one block forward, so the walk ends within size / 512 steps.
template <class Fn> qor_status_t walk(std::span<const uint8_t> archive, Fn fn)
{
	member m;
	for (size_t off = 0;; off = next_header(off, m.data.size())) {
		switch (read_header(archive, off, m)) {
		case header::end:
			return QOR_STATUS_OK;
		case header::bad:
			return QOR_STATUS_BAD_FILE;
		case header::member:
			if (qor_status_t st = fn(m); st != QOR_STATUS_OK)
				return st;
		}
	}
}

bool is_boot_txt(std::string_view name)
{
	return name.find("boot.txt") != std::string_view::npos;
}

} // namespace

qor_status_t check_file_contains_tar(std::span<const uint8_t> file, std::span<const uint8_t> &archive)
{
	member first;
	if (read_header(file, 0, first) != header::member)
		return QOR_STATUS_BAD_FILE;
	archive = is_boot_txt(first.name) ? file : first.data;
	return QOR_STATUS_OK;
}

qor_status_t count_images(std::span<const uint8_t> archive, int &image_count)
{
	image_count = 0;
	return walk(archive, [&](const member &) {
		image_count++;
		return QOR_STATUS_OK;
	});
}

qor_status_t read_boot_image(std::span<const uint8_t> archive, int image_count)
{
	if (image_count <= 0 || static_cast<size_t>(image_count) > archive.size() / kTarBlock)
		return QOR_STATUS_BAD_FILE;
	// Entries start empty (calloc), so the table can be freed whole at any point.
	pimagefiledata = static_cast<PIFDATA>(std::calloc(static_cast<size_t>(image_count), sizeof(IMAGEFILE_DATA_T)));
	if (!pimagefiledata)
		return QOR_STATUS_ENOMEM;
	int n = 0;
	return walk(archive, [&](const member &m) {
		if (n == image_count)
			return QOR_STATUS_BAD_FILE; // the archive changed between the walks
		if (m.data.size() > INT32_MAX)
			return QOR_STATUS_BAD_FILE;
		IMAGEFILE_DATA_T &e = pimagefiledata[n++];
		// One byte more, so an empty member still has a buffer of its own.
		e.ibuf = static_cast<uint8_t *>(std::malloc(m.data.size() + 1));
		if (!e.ibuf)
			return QOR_STATUS_ENOMEM;
		e.ialloc = QOR_TRUE;
		if (!m.data.empty())
			std::memcpy(e.ibuf, m.data.data(), m.data.size());
		std::memcpy(e.iname, m.name.data(), m.name.size());
		e.isize = static_cast<int>(m.data.size());
		return QOR_STATUS_OK;
	});
}

const IMAGEFILE_DATA_T *find_image(const tables &t, const char *name)
{
	if (!name || !*name)
		return nullptr;
	for (int i = 0; i < t.image_count; i++)
		if (std::strncmp(t.images[i].iname, name, sizeof t.images[i].iname) == 0)
			return &t.images[i];
	return nullptr;
}

void free_imagefiledata(int image_count)
{
	for (int i = 0; pimagefiledata && i < image_count; i++)
		if (pimagefiledata[i].ialloc)
			std::free(pimagefiledata[i].ibuf);
	std::free(pimagefiledata);
	pimagefiledata = nullptr;
}

void free_carddata(int card_count)
{
	for (int i = 0; pcarddata && i < card_count; i++)
		std::free(pcarddata[i].port);
	std::free(pcarddata);
	pcarddata = nullptr;
}

// ---- "boot.txt" ---------------------------------------------------------------------

namespace {

// The next line from `seek`: its bytes including the line feed (if any);
// an empty view at the end of the text.
std::string_view getline(std::string_view text, size_t seek)
{
	if (seek >= text.size())
		return {};
	size_t lf = text.find('\n', seek);
	return text.substr(seek, lf == std::string_view::npos ? std::string_view::npos : lf - seek + 1);
}

std::string_view without_lf(std::string_view line)
{
	return !line.empty() && line.back() == '\n' ? line.substr(0, line.size() - 1) : line;
}

// The keys of a card block, in the order a line is tested for them.
enum key { k_cardtype, k_firmware, k_optrom, k_optrom2, k_bootovl, k_pxeovl, k_fwcfg, k_port, k_none };

key key_of(std::string_view line)
{
	constexpr struct {
		const char *word;
		key k;
	} words[] = {{"CARDTYPE", k_cardtype}, {"FIRMWARE", k_firmware}, {"OPTROM", k_optrom},
		     {"BOOTOVL", k_bootovl},   {"PXEOVL", k_pxeovl},     {"FWCFG", k_fwcfg},
		     {"PORT", k_port}};
	for (const auto &w : words)
		if (line.find(w.word) != std::string_view::npos)
			return w.k == k_optrom && line.find("OPTROM2") != std::string_view::npos ? k_optrom2 : w.k;
	return k_none;
}

constexpr size_t kValueMax = 63;

// Decimal card type: digits only, within 32 bits.
bool card_type_value(std::string_view v, uint32_t &out)
{
	if (v.empty() || v.size() > 10)
		return false;
	uint64_t n = 0;
	for (char c : v) {
		if (c < '0' || c > '9')
			return false;
		n = n * 10 + static_cast<uint64_t>(c - '0');
	}
	if (n > UINT32_MAX)
		return false;
	out = static_cast<uint32_t>(n);
	return true;
}

// Port list: hexadecimal numbers of one byte each, separated by commas.
bool port_values(const char *v, CARD_DATA_T &card)
{
	const int cnt = get_port_cnt(v);
	auto *ports = static_cast<uint8_t *>(std::calloc(static_cast<size_t>(cnt), 1));
	if (!ports)
		return false;
	int i = 0, digits = 0;
	unsigned value = 0;
	for (const char *p = v;; p++) {
		if (*p == ',' || *p == '\0') {
			if (digits == 0)
				break;
			ports[i++] = static_cast<uint8_t>(value);
			if (*p == '\0') {
				std::free(card.port);
				card.port = ports;
				card.portcnt = cnt;
				return true;
			}
			digits = 0;
			value = 0;
			continue;
		}
		int d = qor_text_hexval_(*p);
		if (d < 0)
			break;
		value = value * 16 + static_cast<unsigned>(d);
		if (value > 0xff)
			break;
		digits++;
	}
	std::free(ports);
	return false;
}

// Stores the value of one key line in the card. The value is everything
// after the first "=", without carriage returns, blanks and tabs; a line
// without "=", a value over 63 characters, a control character in it, or a
// number that does not read fails.
bool fill_card_data(std::string_view line, CARD_DATA_T &card, key k)
{
	size_t eq = line.find('=');
	if (eq == std::string_view::npos)
		return false;
	char value[kValueMax + 1] = {};
	size_t n = 0;
	for (char c : without_lf(line.substr(eq + 1))) {
		if (c == '\r' || c == ' ' || c == '\t')
			continue;
		if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f || n == kValueMax)
			return false;
		value[n++] = c;
	}
	char *name = nullptr;
	switch (k) {
	case k_cardtype:
		return card_type_value(std::string_view(value, n), card.card_type);
	case k_port:
		return port_values(value, card);
	case k_firmware:
		name = card.firmware_name;
		break;
	case k_optrom:
		name = card.option_rom_name;
		break;
	case k_optrom2:
		name = card.option_rom_2_name;
		break;
	case k_bootovl:
		name = card.boot_overlay_name;
		break;
	case k_pxeovl:
		name = card.pxe_overlay_name;
		break;
	case k_fwcfg:
		name = card.fw_config_name;
		break;
	case k_none:
		return false;
	}
	std::memcpy(name, value, n + 1);
	return true;
}

void clear_card(CARD_DATA_T &card)
{
	std::free(card.port);
	card = CARD_DATA_T{};
}

// A block without "PORT" writes its firmware configuration to port 0.
bool close_block(CARD_DATA_T &card)
{
	if (card.port)
		return true;
	card.port = static_cast<uint8_t *>(std::calloc(1, 1));
	card.portcnt = card.port ? 1 : 0;
	return card.port != nullptr;
}

qor_status_t card_walk(std::string_view text, int capacity, int &card_count)
{
	int idx = 0;
	bool in_block = false;
	bool seen[k_none] = {};
	for (size_t seek = 0; seek < text.size();) {
		std::string_view line = getline(text, seek);
		seek += line.size();
		if (line == "\n") {
			if (in_block && !close_block(pcarddata[idx]))
				return QOR_STATUS_ENOMEM;
			idx += in_block;
			in_block = false;
			continue;
		}
		if (line.find('#') != std::string_view::npos)
			continue;
		key k = key_of(line);
		if (k == k_none)
			continue;
		if (k == k_cardtype) {
			// A second CARDTYPE in an open block starts that card over.
			if (idx >= capacity)
				return QOR_STATUS_FAILED;
			clear_card(pcarddata[idx]);
			std::fill(std::begin(seen), std::end(seen), false);
			in_block = true;
		} else if (!in_block || seen[k]) {
			return QOR_STATUS_FAILED;
		}
		if (!fill_card_data(line, pcarddata[idx], k))
			return QOR_STATUS_FAILED;
		seen[k] = true;
	}
	if (in_block && !close_block(pcarddata[idx]))
		return QOR_STATUS_ENOMEM;
	card_count = idx + in_block;
	return QOR_STATUS_OK;
}

// Every member a card names must be in the package.
qor_status_t check_members(const tables &t)
{
	for (int i = 0; i < t.card_count; i++) {
		const CARD_DATA_T &c = t.cards[i];
		for (const card_image &ci : kCardImages)
			if (*(c.*ci.name) && !find_image(t, c.*ci.name))
				return QOR_STATUS_FILE_NOT_FOUND;
	}
	return QOR_STATUS_OK;
}

} // namespace

qor_status_t check_boot_code_version(std::string_view text)
{
	std::string_view line = without_lf(getline(text, 0));
	size_t eq = line.find('=');
	if (eq == std::string_view::npos || line.substr(0, eq) != "Version" || eq + 1 == line.size())
		return QOR_STATUS_BAD_FILE;
	return line.substr(eq + 1) == QORL_BOOT_PKG_VERSION ? QOR_STATUS_OK : QOR_STATUS_BOOT_VERSION;
}

qor_status_t populate_card_data(std::string_view text, int &card_count)
{
	int capacity = 0;
	for (size_t seek = 0; seek < text.size();) {
		std::string_view line = getline(text, seek);
		seek += line.size();
		capacity += line.find("CARDTYPE") != std::string_view::npos && line.find('#') == std::string_view::npos;
	}
	card_count = 0;
	// The walk also checks a text without cards (keys outside any block).
	pcarddata = static_cast<PCDATA>(std::calloc(static_cast<size_t>(std::max(capacity, 1)), sizeof(CARD_DATA_T)));
	if (!pcarddata)
		return QOR_STATUS_ENOMEM;
	qor_status_t st = card_walk(text, capacity, card_count);
	if (st != QOR_STATUS_OK) {
		free_carddata(capacity);
		card_count = 0;
	}
	return st;
}

// ---- word swaps and checksums ---------------------------------------------------------

void swap32(uint8_t *buf, size_t size)
{
	for (size_t i = 0; i + 4 <= size; i += 4) {
		std::swap(buf[i], buf[i + 3]);
		std::swap(buf[i + 1], buf[i + 2]);
	}
}

uint16_t swap16(uint16_t swp)
{
	if constexpr (std::endian::native == std::endian::little)
		return swp;
	else
		return static_cast<uint16_t>(swp << 8 | swp >> 8);
}

namespace {

uint32_t le32(uint32_t v)
{
	if constexpr (std::endian::native == std::endian::little)
		return v;
	else
		return __builtin_bswap32(v);
}

uint8_t sum8(std::span<const uint8_t> b)
{
	uint32_t s = 0;
	for (uint8_t c : b)
		s += c;
	return static_cast<uint8_t>(s);
}

// Sets b[at] so that the bytes of b sum to 0 modulo 256.
void fix_checksum(std::span<uint8_t> b, size_t at)
{
	b[at] = 0;
	b[at] = static_cast<uint8_t>(256u - sum8(b));
}

// A record of the image at `off`, when it lies wholly inside.
template <class T> bool load(std::span<const uint8_t> img, size_t off, T &out)
{
	if (off > img.size() || img.size() - off < sizeof(T))
		return false;
	std::memcpy(&out, img.data() + off, sizeof(T));
	return true;
}

template <class T> void store(std::span<uint8_t> img, size_t off, const T &in)
{
	std::memcpy(img.data() + off, &in, sizeof(T));
}

bool digit(uint8_t c)
{
	return c >= '0' && c <= '9';
}

// A structure inside one image: after the ROM header, before the checksum
// byte, and (checked separately) clear of the other structures, so that no
// patch or checksum lands in another structure.
struct region {
	size_t at, n;
};

bool inside(region r, size_t size)
{
	return r.at >= sizeof(pci_optrom_hdr_t) && r.at < size - 1 && r.n <= size - 1 - r.at;
}

bool apart(region a, region b)
{
	return a.at + a.n <= b.at || b.at + b.n <= a.at;
}

// "d.d.d.d" at verptr becomes "0d.0d.0d.0d"; any other text is not taken.
void take_version(std::span<const uint8_t> img, size_t verptr, fwver &v)
{
	const uint8_t *t = img.data() + verptr;
	for (int i = 0; i < 7; i++)
		if (i % 2 ? t[i] != '.' : !digit(t[i]))
			return;
	if (t[7] != '\0')
		return;
	for (int f = 0; f < 4; f++) {
		v.text[f * 3] = '0';
		v.text[f * 3 + 1] = static_cast<char>(t[f * 2]);
		v.text[f * 3 + 2] = static_cast<char>(t[f * 2 + 1]);
	}
	v.taken = true;
}

// The x86 image's PnP header: its signature, and its whole length inside
// the image and clear of the PCI data structure.
bool pnp_region(std::span<const uint8_t> img, size_t at, region ds, region &out)
{
	pnp_hdr_t p;
	if (!load<pnp_hdr_t>(img, at, p) || le32(p.signature) != kPnpSig)
		return false;
	out = {at, std::max(sizeof p, static_cast<size_t>(p.len) * 16)};
	return inside(out, img.size()) && apart(out, ds);
}

// The PnP header gets the device ID in its upper 16 bits and a fresh checksum.
void patch_pnp(std::span<uint8_t> img, size_t at, uint16_t devid)
{
	pnp_hdr_t p;
	(void)load<pnp_hdr_t>(img, at, p);
	p.pnp_dev_id = le32((le32(p.pnp_dev_id) & 0xffffu) | static_cast<uint32_t>(devid) << 16);
	p.cksum = 0;
	store(img, at, p);
	img[at + offsetof(pnp_hdr_t, cksum)] =
		static_cast<uint8_t>(256u - sum8(img.subspan(at, static_cast<size_t>(p.len) * 16)));
}

} // namespace

void fwver::reset()
{
	std::memset(text, '0', sizeof text);
	text[sizeof text - 1] = '\0';
	taken = false;
}

qor_status_t update_device_id_chksum(std::span<uint8_t> rom, uint16_t devid, bool bfwvread, fwver &v)
{
	const bool patch = devid_patches(devid);
	for (size_t off = 0;;) {
		if (off >= rom.size())
			return QOR_STATUS_BAD_BOOT_CODE;
		std::span<uint8_t> img = rom.subspan(off);
		pci_optrom_hdr_t h;
		pci_3_0_ds_t ds;
		if (!load<pci_optrom_hdr_t>(img, 0, h) || swap16(h.sig) != kRomSig)
			return QOR_STATUS_BAD_BOOT_CODE;
		const region dsr{swap16(h.pcids), sizeof ds};
		if (!load<pci_3_0_ds_t>(img, dsr.at, ds) || le32(ds.sig) != kPcirSig)
			return QOR_STATUS_BAD_BOOT_CODE;
		const size_t size = static_cast<size_t>(swap16(ds.imglen)) * kRomUnit;
		if (size == 0 || size > img.size() || !inside(dsr, size))
			return QOR_STATUS_BAD_BOOT_CODE;
		img = img.first(size);
		const bool x86 = ds.codetype == 0;
		region pnpr{0, 0};
		if (x86 && patch && !pnp_region(img, swap16(h.pnphdr), dsr, pnpr))
			return QOR_STATUS_BAD_BOOT_CODE;
		if (x86 && bfwvread && !v.taken) {
			const region verr{swap16(h.verptr), 8};
			if (inside(verr, size) && apart(verr, dsr) && apart(verr, pnpr))
				take_version(img, verr.at, v);
		}
		if (!patch) {
			if (x86)
				return QOR_STATUS_OK; // nothing here or later changes
		} else {
			ds.devid = swap16(devid);
			store(img, dsr.at, ds);
			if (x86)
				patch_pnp(img, pnpr.at, devid);
		}
		fix_checksum(img, size - 1);
		off += size;
		if (ds.indr & 0x80)
			return QOR_STATUS_OK;
	}
}

// ---- VPD --------------------------------------------------------------------------------

namespace {

struct vpd_keyword {
	char name[3];
	uint8_t len;
	const char *text; // data, zero-padded
};

// The VPD-R keywords of the OEM layout, back to back from 134.
constexpr vpd_keyword oem_keywords[] = {
	{"V0", 16, "\x23"},
	{"PN", 16, QOR_OEM_VPD_PART_NUMBER},
	{"EC", 16, QOR_OEM_VPD_EC_LEVEL},
	{"MN", 4, QOR_OEM_VPD_MFR_CODE},
	{"SN", 16, ""},
	{"V1", 18, QOR_OEM_VPD_VENDOR_TEXT},
	{"V2", 14, "FFV" QOR_OEM_VPD_FW_VERSION},
	{"V3", 4, QOR_OEM_VPD_V3_TEXT},
	{"V4", 4, QOR_OEM_VPD_V4_TEXT},
	{"V5", 39, QOR_OEM_VPD_MFR_NAME},
	{"V6", 6, QOR_OEM_VPD_V6_TEXT},
	{"V7", 43, "DCM" QOR_OEM_VPD_CAPABILITY},
	{"RV", 1, ""},
};
constexpr std::string_view kCapability = QOR_OEM_VPD_CAPABILITY;
static_assert(kCapability.size() == 40);
constexpr std::string_view kProductName = QOR_OEM_VPD_PRODUCT_NAME;
static_assert(kProductName.size() <= 128);

constexpr size_t put_text(vpd_image &v, size_t at, std::string_view s)
{
	for (size_t i = 0; i < s.size(); i++)
		v[at + i] = static_cast<uint8_t>(s[i]);
	return at + s.size();
}

constexpr size_t keyword_at(size_t i)
{
	size_t at = kVpdFirstKeyword;
	for (size_t k = 0; k < i; k++)
		at += 3 + oem_keywords[k].len;
	return at;
}
constexpr size_t kw_index(std::string_view name)
{
	for (size_t i = 0; i < std::size(oem_keywords); i++)
		if (name == oem_keywords[i].name)
			return i;
	return SIZE_MAX;
}
static_assert(keyword_at(kw_index("SN")) + 3 == kVpdSerialPos);
static_assert(keyword_at(kw_index("V2")) + 6 == kVpdFwverPos);
static_assert(keyword_at(kw_index("V7")) + 6 == 326);
static_assert(keyword_at(kw_index("RV")) + 3 == kVpdChecksumPos);
static_assert(keyword_at(std::size(oem_keywords)) == kVpdFirstKeyword + kVpdRLen);

constexpr vpd_image make_template()
{
	vpd_image v{};
	v[0] = 0x82; // identifier string, 128 bytes
	v[1] = 128;
	put_text(v, 3, kProductName);
	v[131] = 0x90; // VPD-R
	v[kVpdRLenPos] = kVpdRLen;
	for (size_t i = 0; i < std::size(oem_keywords); i++) {
		size_t at = keyword_at(i);
		const vpd_keyword &k = oem_keywords[i];
		put_text(v, at, std::string_view(k.name, 2));
		v[at + 2] = k.len;
		put_text(v, at + 3, k.text);
	}
	v[kVpdFirstKeyword + kVpdRLen] = 0x78; // end tag
	uint32_t s = 0;
	for (size_t i = 0; i < kVpdChecksumPos; i++)
		s += v[i];
	v[kVpdChecksumPos] = static_cast<uint8_t>(256u - (s & 0xffu));
	return v;
}
constexpr vpd_image oem_template = make_template();

bool check_vpd_fwver(const vpd_image &v, const char *fwver11)
{
	return std::memcmp(v.data() + kVpdFwverPos, fwver11, kVpdFwverLen) == 0;
}

void update_fwver(vpd_image &v, const char *fwver11)
{
	std::memcpy(v.data() + kVpdFwverPos, fwver11, kVpdFwverLen);
}

void check_and_update_vpdr_len(vpd_image &v)
{
	if (v[kVpdFirstKeyword] == 'V' && v[kVpdFirstKeyword + 1] == '0')
		v[kVpdRLenPos] = kVpdRLen;
}

// Every V7 keyword that holds "DCM" gets the capability map after it.
void update_dcm(vpd_image &v, const vpd_layout &l)
{
	for (int i = 0; i < l.nv7; i++)
		put_text(v, l.v7[i] + 3, kCapability);
}

void update_checksum(vpd_image &v)
{
	fix_checksum(std::span<uint8_t>(v).first(kVpdChecksumPos + 1), kVpdChecksumPos);
}

// The fixed places the rebuild writes are those of the image's keywords.
bool oem_layout(const vpd_image &v, vpd_layout &l)
{
	return vpd_parse(v, l) && l.vpdr_tag == 131 && l.first_keyword == kVpdFirstKeyword &&
	       l.v2 == kVpdFwverPos - 3 && l.v2_len >= 3 + kVpdFwverLen && l.rv == kVpdChecksumPos;
}

} // namespace

const vpd_image &oem_vpd_template()
{
	return oem_template;
}

bool vpd_parse(std::span<const uint8_t, kVpdSize> vpd, vpd_layout &out)
{
	out = vpd_layout{};
	bool vpdr = false;
	for (size_t off = 0; off < vpd.size();) {
		const uint8_t tag = vpd[off];
		if (tag == 0x78) // end
			return out.rv != 0;
		if (!(tag & 0x80)) { // other small resource
			off += 1 + (tag & 7u);
			continue;
		}
		if (vpd.size() - off < 3)
			return false;
		const size_t len = vpd[off + 1] | static_cast<size_t>(vpd[off + 2]) << 8;
		const size_t start = off + 3;
		if (len > vpd.size() - start)
			return false;
		if (tag == 0x90 && !vpdr) {
			vpdr = true;
			out.vpdr_tag = off;
			out.first_keyword = start;
			for (size_t k = start; k < start + len;) {
				if (start + len - k < 3)
					return false;
				const size_t klen = vpd[k + 2];
				if (klen > start + len - (k + 3))
					return false;
				if (vpd[k] == 'V' && vpd[k + 1] == '2') {
					out.v2 = k + 3;
					out.v2_len = klen;
				}
				if (vpd[k] == 'V' && vpd[k + 1] == '7' && klen >= 3 + kCapability.size() &&
				    std::memcmp(&vpd[k + 3], "DCM", 3) == 0 && out.nv7 < (int)std::size(out.v7))
					out.v7[out.nv7++] = k + 3;
				if (vpd[k] == 'R' && vpd[k + 1] == 'V') {
					if (klen == 0)
						return false;
					out.rv = k + 3;
					break; // RV closes the read-only section
				}
				k += 3 + klen;
			}
			if (!out.rv)
				return false;
		}
		off = start + len;
	}
	return false; // no end tag
}

void rebuild_vpd(const qor_adapter_attr_t &ad, const char *fwver11, vpd_image &out, bool *version_current)
{
	vpd_layout l;
	bool own = ad.vpd.version == 3 && ad.vpd.len != 0;
	if (own) {
		std::memcpy(out.data(), ad.vpd.data, kVpdSize);
		check_and_update_vpdr_len(out);
		own = oem_layout(out, l);
	}
	if (!own) {
		out = oem_template;
		std::memcpy(out.data() + kVpdSerialPos, ad.serial_num, sizeof ad.serial_num);
		(void)oem_layout(out, l);
	}
	const bool current = check_vpd_fwver(out, fwver11);
	if (!current)
		update_fwver(out, fwver11);
	update_dcm(out, l);
	update_checksum(out);
	if (version_current)
		*version_current = current;
}

// ---- the package tables and who holds them --------------------------------------------

PIFDATA pimagefiledata;
PCDATA pcarddata;

namespace {

struct table_state {
	std::mutex mu;
	holder owner = holder::none;
	int users = 0;        // calls reading the tables a caller loaded
	bool workers = false; // the per-adapter work records in use
	int image_count = 0, card_count = 0; // as loaded
};

table_state &state()
{
	static table_state s;
	return s;
}

struct free_deleter {
	void operator()(void *p) const { std::free(p); }
};

// The whole stream, from its start when it can seek: at most
// QORL_BOOT_PKG_MAX_SIZE bytes (one more tells a package that is too large).
qor_status_t read_stream(FILE *fp, std::unique_ptr<uint8_t, free_deleter> &out, size_t &size)
{
	constexpr size_t limit = QORL_BOOT_PKG_MAX_SIZE + 1;
	(void)std::fseek(fp, 0, SEEK_SET); // a pipe is read from where it stands
	size_t cap = 0;
	size = 0;
	for (;;) {
		if (size == cap) {
			if (cap == limit)
				return QOR_STATUS_BAD_FILE;
			const size_t ncap = std::min(limit, cap ? cap * 2 : size_t{1} << 16);
			auto *p = static_cast<uint8_t *>(std::realloc(out.get(), ncap));
			if (!p)
				return QOR_STATUS_ENOMEM;
			(void)out.release();
			out.reset(p);
			cap = ncap;
		}
		const size_t n = std::fread(out.get() + size, 1, cap - size, fp);
		size += n;
		if (n == 0)
			return std::ferror(fp) ? QOR_STATUS_FAILED : QOR_STATUS_OK;
	}
}

// The package's bytes into the tables; on failure nothing is left in them.
qor_status_t parse_package(std::span<const uint8_t> file, int &image_count, int &card_count)
{
	std::span<const uint8_t> archive;
	qor_status_t st = check_file_contains_tar(file, archive);
	if (st == QOR_STATUS_OK)
		st = count_images(archive, image_count);
	if (st == QOR_STATUS_OK)
		st = read_boot_image(archive, image_count);
	if (st == QOR_STATUS_OK && !is_boot_txt(pimagefiledata[0].iname))
		st = QOR_STATUS_BAD_FILE;
	std::string_view text;
	if (st == QOR_STATUS_OK) {
		const IMAGEFILE_DATA_T &bt = pimagefiledata[0];
		text = std::string_view(reinterpret_cast<const char *>(bt.ibuf), static_cast<size_t>(bt.isize));
		st = check_boot_code_version(text);
	}
	if (st == QOR_STATUS_OK && populate_card_data(text, card_count) != QOR_STATUS_OK)
		st = QOR_STATUS_FAILED;
	if (st == QOR_STATUS_OK)
		st = check_members({pimagefiledata, image_count, pcarddata, card_count});
	if (st != QOR_STATUS_OK) {
		free_carddata(card_count);
		free_imagefiledata(image_count);
		image_count = card_count = 0;
	}
	return st;
}

} // namespace

qor_status_t take_tables(holder h)
{
	std::lock_guard lk(state().mu);
	if (state().owner != holder::none)
		return QOR_STATUS_DEVBUSY;
	state().owner = h;
	return QOR_STATUS_OK;
}

qor_status_t load_tables(FILE *fp, int &image_count, int &card_count)
{
	image_count = card_count = 0;
	std::unique_ptr<uint8_t, free_deleter> file;
	size_t size = 0;
	qor_status_t st = read_stream(fp, file, size);
	if (st == QOR_STATUS_OK)
		st = parse_package({file.get(), size}, image_count, card_count);
	std::lock_guard lk(state().mu);
	state().image_count = image_count;
	state().card_count = card_count;
	return st;
}

tables caller_tables()
{
	std::lock_guard lk(state().mu);
	if (state().owner != holder::caller)
		return {};
	return {pimagefiledata, state().image_count, pcarddata, state().card_count};
}

tables held_tables()
{
	std::lock_guard lk(state().mu);
	return {pimagefiledata, state().image_count, pcarddata, state().card_count};
}

void drop_tables()
{
	std::lock_guard lk(state().mu);
	free_carddata(state().card_count);
	free_imagefiledata(state().image_count);
	state().image_count = state().card_count = 0;
	state().owner = holder::none;
}

qor_status_t free_caller_tables()
{
	{
		std::lock_guard lk(state().mu);
		if (state().owner == holder::none)
			return QOR_STATUS_OK;
		if (state().owner == holder::update || state().users > 0)
			return QOR_STATUS_DEVBUSY;
	}
	drop_tables();
	return QOR_STATUS_OK;
}

table_use::table_use(int image_count, int card_count, bool workers) : workers_(workers)
{
	std::lock_guard lk(state().mu);
	table_state &s = state();
	if (s.owner == holder::update || (workers && s.workers)) {
		st_ = QOR_STATUS_DEVBUSY;
		return;
	}
	if (image_count < 0 || card_count < 0 || image_count > s.image_count || card_count > s.card_count) {
		st_ = QOR_STATUS_EINVAL;
		return;
	}
	s.users++;
	s.workers = s.workers || workers;
	t_ = {pimagefiledata, image_count, pcarddata, card_count};
	st_ = QOR_STATUS_OK;
}

table_use::~table_use()
{
	if (st_ != QOR_STATUS_OK)
		return;
	std::lock_guard lk(state().mu);
	state().users--;
	if (workers_)
		state().workers = false;
}

} // namespace qorl::flash

using namespace qorl::flash;

extern "C" {

qor_status_t populate_flash_data(FILE *fp, int *image_count, int *card_count)
{
	if (!fp || !image_count || !card_count)
		return QOR_STATUS_EINVAL;
	*image_count = *card_count = 0;
	if (qor_status_t st = take_tables(holder::caller); st != QOR_STATUS_OK)
		return st;
	qor_status_t st = load_tables(fp, *image_count, *card_count);
	if (st != QOR_STATUS_OK)
		drop_tables();
	return st;
}

qor_status_t qorl_boot_pkg_free(void)
{
	return free_caller_tables();
}

const IMAGEFILE_DATA_T *qorl_boot_pkg_image(int i)
{
	const tables t = caller_tables();
	return i >= 0 && i < t.image_count ? &t.images[i] : nullptr;
}

const CARD_DATA_T *qorl_boot_pkg_card(int i)
{
	const tables t = caller_tables();
	return i >= 0 && i < t.card_count ? &t.cards[i] : nullptr;
}

int octal_to_decimal(const char *octal)
{
	uint32_t v = 0;
	for (const char *p = octal; p && *p; p++)
		v = v * 8u + static_cast<uint32_t>(*p - '0');
	return static_cast<int>(v);
}

int power(int pwr)
{
	uint32_t r = 1;
	for (int i = 0; i < pwr; i++)
		r *= 8u;
	return static_cast<int>(r);
}

int get_port_cnt(const char *s)
{
	if (!s)
		return 0;
	int n = 1;
	for (const char *p = s; *p; p++)
		n += *p == ',';
	return n;
}

int get_card_type_cnt(const char *s)
{
	return get_port_cnt(s);
}

uint32_t qor_checksum_u32(uint32_t *buf, int sz)
{
	uint32_t x = 0;
	if (!buf || sz < 4)
		return 0;
	const auto *b = reinterpret_cast<const uint8_t *>(buf);
	for (size_t i = 0; i + 4 <= static_cast<size_t>(sz); i += 4) {
		uint32_t w;
		std::memcpy(&w, b + i, 4);
		x ^= w;
	}
	return x;
}

} // extern "C"
