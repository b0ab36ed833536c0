// Option ROM fix-up, VPD rebuild, word swap and firmware checksum, on the
// module's own code: which bytes change, which must not, and what is refused.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "pkg_util.h"
#include "qorl_flash.h"
#include "qorl_flash_int.h"
#include "testutil.h"

namespace {

using namespace qorl::flash;

std::span<uint8_t> bytes(std::string &s)
{
	return {reinterpret_cast<uint8_t *>(s.data()), s.size()};
}

// Positions where two byte sequences of one length differ and `allowed` says no.
template <class A, class Allowed> std::vector<size_t> unexpected_changes(const A &a, const A &b, Allowed allowed)
{
	std::vector<size_t> out;
	for (size_t i = 0; i < a.size(); i++)
		if (a[i] != b[i] && !allowed(i))
			out.push_back(i);
	return out;
}

// ---- option ROM -------------------------------------------------------------------

struct rom_case {
	const char *name;
	std::vector<qt::rom_image> images;
};

const rom_case rom_cases[] = {
	{"x86", {{.codetype = 0, .units = 2, .last = true}}},
	{"x86_then_efi", {{.codetype = 0, .units = 2, .last = false}, {.codetype = 3, .units = 3, .last = true}}},
};

class OptionRom : public ::testing::TestWithParam<std::tuple<rom_case, uint16_t>> {};

// Each image gets the device ID in its PCI data structure (and, for x86, in
// its PnP header) and checksums that sum to zero; nothing else changes. The
// controller's own 0x13 leaves the member untouched.
TEST_P(OptionRom, DeviceIdAndChecksums)
{
	const auto &[rc, devid] = GetParam();
	const std::string before = qt::make_optrom(rc.images);
	std::string rom = before;
	fwver v;
	v.reset();
	ASSERT_EQ(update_device_id_chksum(bytes(rom), devid, true, v), QOR_STATUS_OK);
	EXPECT_STREQ(v.text, "02.03.00.00");
	EXPECT_TRUE(v.taken);
	if (devid == 0x13) {
		EXPECT_EQ(rom, before);
		return;
	}
	std::set<size_t> may_change;
	size_t off = 0;
	for (const auto &im : rc.images) {
		const size_t size = im.units * 512u;
		EXPECT_EQ(qt::le16_at(rom, off + qt::kRomPcir + 6), devid);
		EXPECT_TRUE(qt::sums_to_zero(rom, off, size)) << "image at " << off;
		for (size_t k : {qt::kRomPcir + 6, qt::kRomPcir + 7, size - 1})
			may_change.insert(off + k);
		if (im.codetype == 0) {
			EXPECT_EQ(qt::le32_at(rom, off + qt::kRomPnp + 10), (uint32_t)devid << 16 | 0xf1e0);
			EXPECT_TRUE(qt::sums_to_zero(rom, off + qt::kRomPnp, 32));
			for (size_t k : {9, 12, 13})
				may_change.insert(off + qt::kRomPnp + k);
		}
		off += size;
	}
	EXPECT_EQ(unexpected_changes(rom, before, [&](size_t i) { return may_change.count(i) > 0; }),
		  std::vector<size_t>{});
}

INSTANTIATE_TEST_SUITE_P(All, OptionRom,
			 ::testing::Combine(::testing::ValuesIn(rom_cases), ::testing::Values(0x13, 0x14, 0x17, 0x21)),
			 [](const auto &p) {
				 char id[8];
				 snprintf(id, sizeof id, "%02x", std::get<1>(p.param));
				 return std::string(std::get<0>(p.param).name) + "_devid_" + id;
			 });

TEST(OptionRomVersion, TakenOnceFromFirstX86ImageWhenAsked)
{
	std::string rom = qt::make_optrom({{.codetype = 3, .units = 1, .last = false},
					   {.codetype = 0, .version = "3.1.4.1", .units = 2, .last = false},
					   {.codetype = 0, .version = "9.9.9.9", .units = 2, .last = true}});
	fwver v;
	v.reset();
	ASSERT_EQ(update_device_id_chksum(bytes(rom), 0x14, true, v), QOR_STATUS_OK);
	EXPECT_STREQ(v.text, "03.01.04.01");
	// A version already taken during this adapter's update stays.
	ASSERT_EQ(update_device_id_chksum(bytes(rom), 0x14, true, v), QOR_STATUS_OK);
	EXPECT_STREQ(v.text, "03.01.04.01");
	// Not taken when not asked or malformed.
	for (auto [ver, ask] : {std::pair{"2.3.0.0", false}, {"2.10.0", true}, {"2.3.0.0x", true}, {"a.b.c.d", true}}) {
		rom = qt::make_optrom({{.codetype = 0, .version = ver}});
		v.reset();
		ASSERT_EQ(update_device_id_chksum(bytes(rom), 0x17, ask, v), QOR_STATUS_OK) << ver;
		EXPECT_STREQ(v.text, "00000000000") << ver;
		EXPECT_FALSE(v.taken) << ver;
	}
}

struct rom_damage {
	const char *name;
	std::function<void(std::string &)> spoil;
};

void put16(std::string &b, size_t at, uint16_t v)
{
	b[at] = static_cast<char>(v);
	b[at + 1] = static_cast<char>(v >> 8);
}

const rom_damage rom_damages[] = {
	{"empty member", [](std::string &b) { b.clear(); }},
	{"shorter than a header", [](std::string &b) { b.resize(20); }},
	{"no ROM signature", [](std::string &b) { b[0] = 0; }},
	{"PCI data past the member", [](std::string &b) { put16(b, 0x18, 0xfff0); }},
	{"PCI data past the image", [](std::string &b) { put16(b, 0x18, 1020); }},
	{"no PCIR signature", [](std::string &b) { b[qt::kRomPcir] = 'X'; }},
	{"image length 0", [](std::string &b) { put16(b, qt::kRomPcir + 16, 0); }},
	{"image past the member", [](std::string &b) { put16(b, qt::kRomPcir + 16, 40); }},
	{"second image past the member", [](std::string &b) { b.resize(1024 + 1000); }},
	{"no last image", [](std::string &b) { b[1024 + qt::kRomPcir + 21] = 0; }},
	{"PnP header past the image", [](std::string &b) { put16(b, 0x1a, 1010); }},
	{"PnP header far outside", [](std::string &b) { put16(b, 0x1a, 0xffff); }},
	{"no PnP signature", [](std::string &b) { b[qt::kRomPnp] = '#'; }},
	{"PnP length past the image", [](std::string &b) { b[qt::kRomPnp + 5] = (char)0xff; }},
	{"second image no ROM signature", [](std::string &b) { b[1024] = 0x12; }},
	{"PnP header on the checksum byte", [](std::string &b) { b[qt::kRomPnp + 5] = 58; }},
	{"PCI data over the PnP header", [](std::string &b) {
		 std::memmove(&b[0x70], &b[qt::kRomPcir], 28);
		 put16(b, 0x18, 0x70);
	 }},
	{"PCI data inside the ROM header", [](std::string &b) {
		 std::memmove(&b[0x08], &b[qt::kRomPcir], 16); // signature, IDs, length up to the class code
		 put16(b, 0x18, 0x08);
	 }},
};

class OptionRomDamage : public ::testing::TestWithParam<rom_damage> {};

TEST_P(OptionRomDamage, Refused)
{
	std::string rom = qt::make_optrom({{.codetype = 0, .units = 2, .last = false}, {.codetype = 3, .units = 2}});
	GetParam().spoil(rom);
	fwver v;
	v.reset();
	EXPECT_EQ(update_device_id_chksum(bytes(rom), 0x21, true, v), QOR_STATUS_BAD_BOOT_CODE);
}

INSTANTIATE_TEST_SUITE_P(All, OptionRomDamage, ::testing::ValuesIn(rom_damages),
			 [](const auto &p) { return qt::test_name(p.param.name); });

// ---- swaps and checksums ------------------------------------------------------------------

TEST(ImageWords, Swap32WholeWordsOnly)
{
	uint8_t b[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
	swap32(b, sizeof b);
	const uint8_t want[] = {4, 3, 2, 1, 8, 7, 6, 5, 9, 10};
	EXPECT_EQ(std::memcmp(b, want, sizeof b), 0);
	EXPECT_EQ(swap16(0x1234), 0x1234); // images are little-endian, as this host
}

TEST(ImageWords, FirmwareChecksum)
{
	std::string fw = qt::make_firmware("3.2.1.0");
	EXPECT_EQ(qor_checksum_u32(reinterpret_cast<uint32_t *>(fw.data()), (int)fw.size()), 0u);
	fw[10] ^= 0x40;
	EXPECT_NE(qor_checksum_u32(reinterpret_cast<uint32_t *>(fw.data()), (int)fw.size()), 0u);
	// Whole words only: trailing bytes never count.
	uint8_t b[7] = {0x11, 0x22, 0x33, 0x44, 0xff, 0xff, 0xff};
	EXPECT_EQ(qor_checksum_u32(reinterpret_cast<uint32_t *>(b), 7), 0x44332211u);
	EXPECT_EQ(qor_checksum_u32(reinterpret_cast<uint32_t *>(b + 1), 4), 0xff443322u); // unaligned
	EXPECT_EQ(qor_checksum_u32(nullptr, 8), 0u);
	EXPECT_EQ(qor_checksum_u32(reinterpret_cast<uint32_t *>(b), 3), 0u);
}

// ---- VPD ------------------------------------------------------------------------------------

std::string text_at(const vpd_image &v, size_t at, size_t n)
{
	return std::string(reinterpret_cast<const char *>(v.data()) + at, n);
}

bool vpd_sum_ok(const vpd_image &v)
{
	unsigned s = 0;
	for (size_t i = 0; i <= kVpdChecksumPos; i++)
		s += v[i];
	return s % 256 == 0;
}

TEST(Vpd, TemplateLayout)
{
	const vpd_image &t = oem_vpd_template();
	EXPECT_EQ(text_at(t, 0, 3 + std::strlen(QOR_OEM_VPD_PRODUCT_NAME)),
		  std::string("\x82\x80\0", 3) + QOR_OEM_VPD_PRODUCT_NAME);
	EXPECT_EQ(text_at(t, 131, 7), std::string("\x90\xec\0V0\x10\x23", 7));
	EXPECT_EQ(text_at(t, 153, 3 + std::strlen(QOR_OEM_VPD_PART_NUMBER)), "PN\x10" QOR_OEM_VPD_PART_NUMBER);
	EXPECT_EQ(text_at(t, 191, 10), "MN\x04" QOR_OEM_VPD_MFR_CODE "SN\x10");
	EXPECT_EQ(text_at(t, 238, 17), std::string("V2\x0e") + "FFV02.03.00.00");
	EXPECT_EQ(text_at(t, 320, 46), std::string("V7\x2b") + "DCM" + QOR_OEM_VPD_CAPABILITY);
	EXPECT_EQ(text_at(t, 366, 3), "RV\x01");
	EXPECT_EQ(t[370], 0x78);
	EXPECT_TRUE(vpd_sum_ok(t));
	vpd_layout l;
	ASSERT_TRUE(vpd_parse(t, l));
	EXPECT_EQ(std::tuple(l.vpdr_tag, l.first_keyword, l.v2, l.rv), std::tuple(131u, 134u, 241u, 369u));
}

qor_adapter_attr_t adapter(const char *serial)
{
	qor_adapter_attr_t ad{};
	std::memcpy(ad.serial_num, serial, std::min<size_t>(std::strlen(serial), sizeof ad.serial_num));
	return ad;
}

TEST(Vpd, FromTemplateWhenAdapterHasNone)
{
	qor_adapter_attr_t ad = adapter("HX1234567890"); // 12 characters, no terminator
	vpd_image out;
	bool current = true;
	rebuild_vpd(ad, "03.01.04.01", out, &current);
	EXPECT_FALSE(current);
	EXPECT_EQ(text_at(out, 201, 12), "HX1234567890");
	EXPECT_EQ(text_at(out, 241, 14), "FFV03.01.04.01");
	EXPECT_TRUE(vpd_sum_ok(out));
	const vpd_image &t = oem_vpd_template();
	EXPECT_EQ(unexpected_changes(out, t,
				     [](size_t i) {
					     return (i >= 201 && i < 213) || (i >= 244 && i < 255) || i == kVpdChecksumPos;
				     }),
		  std::vector<size_t>{});
}

// An adapter whose own VPD is in the OEM layout with its own serial number,
// an old VPD-R length and a spoilt capability map.
vpd_image stale_own_vpd()
{
	vpd_image own = oem_vpd_template();
	std::memcpy(own.data() + 201, "OWNSERIAL123", 12);
	own[132] = 0xE9;
	std::memset(own.data() + 326, 'z', 40);
	return own;
}

// The rebuild for an adapter that reports `own` as its VPD (version 3).
vpd_image rebuilt_from(const vpd_image &own, bool *current, uint8_t len = 0xff)
{
	qor_adapter_attr_t ad = adapter("ATTRSERIAL00");
	ad.vpd.version = 3;
	ad.vpd.len = len;
	std::memcpy(ad.vpd.data, own.data(), own.size());
	vpd_image out;
	rebuild_vpd(ad, "02.03.00.00", out, current);
	return out;
}

// The adapter's own VPD keeps its data; the VPD-R length, version, map and
// checksum are fixed.
TEST(Vpd, FromAdapterOwn)
{
	vpd_image own = stale_own_vpd();
	std::memcpy(own.data() + 156, "PN-OWN", 6);
	std::memcpy(own.data() + 244, "01.02.03.04", 11);
	std::memcpy(own.data() + 10, "V7+DCM", 6); // in the product name, not a keyword
	bool current = true;
	vpd_image out = rebuilt_from(own, &current);
	EXPECT_FALSE(current);
	EXPECT_EQ(out[132], 236);
	EXPECT_EQ(std::tuple(text_at(out, 201, 12), text_at(out, 156, 6), text_at(out, 244, 11), text_at(out, 326, 40)),
		  std::tuple("OWNSERIAL123", "PN-OWN", "02.03.00.00", QOR_OEM_VPD_CAPABILITY));
	EXPECT_EQ(text_at(out, 10, 46), text_at(own, 10, 46));
	EXPECT_TRUE(vpd_sum_ok(out));
}

// Already carrying the new version: only length, map and checksum change.
TEST(Vpd, AlreadyCurrent)
{
	vpd_image own = stale_own_vpd();
	own[369] = 0x5a;
	bool current = false;
	vpd_image out = rebuilt_from(own, &current);
	EXPECT_TRUE(current);
	EXPECT_EQ(unexpected_changes(out, own, [](size_t i) { return i == 132 || (i >= 326 && i < 366) || i == 369; }),
		  std::vector<size_t>{});
	EXPECT_EQ(out[132], 236);
	EXPECT_EQ(text_at(out, 326, 40), QOR_OEM_VPD_CAPABILITY);
	EXPECT_TRUE(vpd_sum_ok(out));
}

TEST(Vpd, OwnVpdNotInLayoutUsesTemplate)
{
	vpd_image own{};
	for (size_t i = 0; i < own.size(); i++)
		own[i] = static_cast<uint8_t>(i * 31 + 7);
	vpd_image want = oem_vpd_template();
	std::memcpy(want.data() + 201, "ATTRSERIAL00", 12);
	want[kVpdChecksumPos] = 0;
	unsigned s = 0;
	for (size_t i = 0; i < kVpdChecksumPos; i++)
		s += want[i];
	want[kVpdChecksumPos] = static_cast<uint8_t>(256 - s % 256);
	EXPECT_EQ(rebuilt_from(own, nullptr), want);
	// Version 3 with length 0 is no VPD either.
	own = oem_vpd_template();
	own[156] = 'Q';
	EXPECT_EQ(rebuilt_from(own, nullptr, 0), want);
}

struct vpd_damage {
	const char *name;
	std::function<void(vpd_image &)> spoil;
};

const vpd_damage vpd_damages[] = {
	{"keyword past its section", [](vpd_image &v) { v[366 + 2] = 9; }},
	{"section past the image", [](vpd_image &v) { v[133] = 2; }},
	{"identifier past the image", [](vpd_image &v) { v[2] = 3; }},
	{"no RV keyword", [](vpd_image &v) { v[366] = 'Z'; }},
	{"empty RV keyword", [](vpd_image &v) { v[368] = 0; }},
	{"no end tag", [](vpd_image &v) { std::memset(v.data() + 370, 0x11, 142); }},
	{"VPD-W past the image", [](vpd_image &v) {
		 v[370] = 0x91; // VPD-W whose header does not fit
		 v[371] = 0xff;
		 v[372] = 0x00;
	 }},
};

class VpdDamage : public ::testing::TestWithParam<vpd_damage> {};

TEST_P(VpdDamage, ParseRefuses)
{
	vpd_image v = oem_vpd_template();
	GetParam().spoil(v);
	vpd_layout l;
	EXPECT_FALSE(vpd_parse(v, l));
}

INSTANTIATE_TEST_SUITE_P(All, VpdDamage, ::testing::ValuesIn(vpd_damages),
			 [](const auto &p) { return qt::test_name(p.param.name); });

// ---- adapter models ---------------------------------------------------------------------------

TEST(CardModels, ElevenCodesThreeSinglePort)
{
	auto models = card_models();
	ASSERT_EQ(models.size(), 11u);
	std::set<uint32_t> codes;
	int single = 0;
	for (const auto &m : models) {
		codes.insert(m.code);
		single += m.ports == 1;
		EXPECT_EQ(card_model_of(m.code), &m);
	}
	EXPECT_EQ(std::tuple(codes.size(), single), std::tuple(11u, 3));
	EXPECT_EQ(card_model_of(0), nullptr);
	const card_model *oem = card_model_of(QOR_OEM_CARD_TYPE);
	ASSERT_TRUE(oem);
	EXPECT_TRUE(is_oem_model(oem->descr, 128));
	EXPECT_FALSE(is_oem_model(card_model_of(612)->descr, 128));
}

} // namespace
