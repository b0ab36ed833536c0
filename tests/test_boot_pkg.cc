// Boot package reader: plain and wrapped packages, the card descriptions,
// and every kind of damaged archive or description it must refuse.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <tuple>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "pkg_util.h"
#include "qorl_boot.h"
#include "testutil.h"

namespace {

const char *const kBootTxt = "Version=2.3.0.0\n"
			     "# CARDTYPE=1 in a comment is no card\n"
			     "CARDTYPE=612\n"
			     "FIRMWARE = fw.bin\n"
			     "OPTROM=rom.bin\r\n"
			     "FWCFG=cfg.bin\n"
			     "PORT=0,a\n"
			     "\n"
			     "CARDTYPE=632\n"
			     "FIRMWARE=fw2.bin\n"
			     "OPTROM2=rom2.bin\n"
			     "BOOTOVL=\tbovl.bin\n"
			     "PXEOVL=pxe.bin\n"
			     "UNKNOWN line is ignored\n";

const std::string kHead = "Version=2.3.0.0\n";

std::vector<qt::tar_member> members(const std::string &boot_txt = kBootTxt)
{
	return {{"boot.txt", boot_txt},         {"fw.bin", std::string(700, 'F')},
		{"empty.bin", ""},              {"rom.bin", std::string(1024, 'R')},
		{"cfg.bin", "config bytes"},    {"fw2.bin", std::string(513, 'G')},
		{"rom2.bin", "second rom"},     {"bovl.bin", "boot overlay"},
		{"pxe.bin", std::string(512, 'P')}};
}

// The package tables loaded in a test, freed at its end.
struct pkg_guard {
	int images = -1, cards = -1;
	~pkg_guard() { EXPECT_EQ(qorl_boot_pkg_free(), QOR_STATUS_OK); }
};

// A temporary file holding the bytes, left positioned at its end: the
// reader starts from the beginning of a stream it can seek.
FILE *stream_of(const std::string &bytes)
{
	FILE *f = std::tmpfile();
	if (f && !bytes.empty())
		(void)!std::fwrite(bytes.data(), 1, bytes.size(), f);
	return f;
}

qor_status_t load(const std::string &bytes, pkg_guard &g)
{
	FILE *f = stream_of(bytes);
	if (!f)
		return QOR_STATUS_MAX_VAL;
	qor_status_t st = populate_flash_data(f, &g.images, &g.cards);
	std::fclose(f);
	return st;
}

std::string image(int i)
{
	const IMAGEFILE_DATA_T *m = qorl_boot_pkg_image(i);
	return m ? std::string(reinterpret_cast<const char *>(m->ibuf), m->isize) : "<none>";
}

// A card's description: type, FIRMWARE, OPTROM, OPTROM2, BOOTOVL, PXEOVL, FWCFG, ports.
using Names = std::tuple<uint32_t, std::string, std::string, std::string, std::string, std::string, std::string,
			 std::vector<int>>;
Names names(const CARD_DATA_T &c)
{
	return {c.card_type,	     c.firmware_name,	 c.option_rom_name, c.option_rom_2_name, c.boot_overlay_name,
		c.pxe_overlay_name, c.fw_config_name, std::vector<int>(c.port, c.port + std::max(c.port ? c.portcnt : 0, 0))};
}

void expect_default_tables(const pkg_guard &g)
{
	auto ms = members();
	ASSERT_EQ(g.images, (int)ms.size());
	for (size_t i = 0; i < ms.size(); i++) {
		const IMAGEFILE_DATA_T *m = qorl_boot_pkg_image((int)i);
		ASSERT_NE(m, nullptr) << i;
		EXPECT_STREQ(m->iname, ms[i].name.c_str());
		EXPECT_EQ(image((int)i), ms[i].data) << ms[i].name;
		EXPECT_EQ(m->ialloc, QOR_TRUE);
	}
	EXPECT_EQ(qorl_boot_pkg_image((int)ms.size()), nullptr);
	EXPECT_EQ(qorl_boot_pkg_image(-1), nullptr);
	ASSERT_EQ(g.cards, 2);
	ASSERT_NE(qorl_boot_pkg_card(1), nullptr);
	EXPECT_EQ(qorl_boot_pkg_card(2), nullptr);
	const CARD_DATA_T &a = *qorl_boot_pkg_card(0), &b = *qorl_boot_pkg_card(1);
	// Blanks around "=" and a carriage return left out; no PORT line: port 0 only.
	EXPECT_EQ(names(a), (Names{612, "fw.bin", "rom.bin", "", "", "", "cfg.bin", {0, 10}}));
	EXPECT_EQ(names(b), (Names{632, "fw2.bin", "", "rom2.bin", "bovl.bin", "pxe.bin", "", {0}}));
}

// Plain, and wrapped in an outer archive. A member of size 0 still counts,
// and the next header follows one block later.
TEST(BootPackage, PlainAndWrappedArchive)
{
	const std::string plain = qt::make_tar(members());
	for (const std::string &bytes : {plain, qt::make_tar({{"package.tar", plain}, {"notes.txt", "outer"}})}) {
		pkg_guard g;
		ASSERT_EQ(load(bytes, g), QOR_STATUS_OK);
		expect_default_tables(g);
	}
}

// A stream that cannot seek is read from where it stands.
TEST(BootPackage, FromAPipe)
{
	const std::string bytes = qt::make_tar(members());
	ASSERT_LT(bytes.size(), 65536u); // fits the pipe's buffer
	int fds[2];
	ASSERT_EQ(pipe(fds), 0);
	ASSERT_EQ(write(fds[1], bytes.data(), bytes.size()), (ssize_t)bytes.size());
	close(fds[1]);
	FILE *f = fdopen(fds[0], "rb");
	ASSERT_NE(f, nullptr);
	pkg_guard g;
	EXPECT_EQ(populate_flash_data(f, &g.images, &g.cards), QOR_STATUS_OK);
	std::fclose(f);
	expect_default_tables(g);
}

// The tables are one per process: a package is held until it is freed, and
// a second load meanwhile is refused without touching it.
TEST(BootPackage, OnePackageAtATime)
{
	{
		pkg_guard g;
		ASSERT_EQ(load(qt::make_tar(members()), g), QOR_STATUS_OK);
		FILE *f = stream_of(qt::make_tar({{"boot.txt", kHead}}));
		ASSERT_NE(f, nullptr);
		int images = -1, cards = -1;
		EXPECT_EQ(populate_flash_data(f, &images, &cards), QOR_STATUS_DEVBUSY);
		std::fclose(f);
		EXPECT_EQ(images, 0);
		EXPECT_EQ(cards, 0);
		expect_default_tables(g);
	}
	EXPECT_EQ(qorl_boot_pkg_image(0), nullptr);
	EXPECT_EQ(qorl_boot_pkg_card(0), nullptr);
	EXPECT_EQ(qorl_boot_pkg_free(), QOR_STATUS_OK) << "nothing held";
	pkg_guard g;
	EXPECT_EQ(load(qt::make_tar(members()), g), QOR_STATUS_OK);
}

// A stream open only for writing cannot be read; one past the size limit
// is refused.
TEST(BootPackage, StreamThatCannotBeReadOrIsTooLarge)
{
	FILE *f = std::fopen("/dev/null", "w");
	ASSERT_NE(f, nullptr);
	pkg_guard g;
	EXPECT_EQ(populate_flash_data(f, &g.images, &g.cards), QOR_STATUS_FAILED);
	std::fclose(f);
	EXPECT_EQ(qorl_boot_pkg_image(0), nullptr);
	f = stream_of(qt::make_tar(members()));
	ASSERT_NE(f, nullptr);
	// Past the limit by one byte; the hole reads as zeros.
	ASSERT_EQ(std::fseek(f, QORL_BOOT_PKG_MAX_SIZE, SEEK_SET), 0);
	ASSERT_EQ(std::fputc(0, f), 0);
	EXPECT_EQ(populate_flash_data(f, &g.images, &g.cards), QOR_STATUS_BAD_FILE);
	std::fclose(f);
}

// A second CARDTYPE in an open block starts that card over; blank-only
// cards leave no entry behind.
TEST(BootPackage, CardTypeRestartsOpenBlock)
{
	pkg_guard g;
	std::string txt = "Version=2.3.0.0\nCARDTYPE=611\nFIRMWARE=fw.bin\nCARDTYPE=621\nOPTROM=rom.bin\n\n";
	ASSERT_EQ(load(qt::make_tar({{"boot.txt", txt}, {"fw.bin", "f"}, {"rom.bin", "r"}}), g), QOR_STATUS_OK);
	ASSERT_EQ(g.cards, 1);
	const CARD_DATA_T &c = *qorl_boot_pkg_card(0);
	EXPECT_EQ(c.card_type, 621u);
	EXPECT_STREQ(c.firmware_name, "");
	EXPECT_STREQ(c.option_rom_name, "rom.bin");
}

struct refusal {
	const char *name;
	std::function<std::string()> bytes;
	qor_status_t status;
};

std::string with_boot_txt(const std::string &txt)
{
	return qt::make_tar(members(txt));
}

std::string spoil_member(size_t i, qt::tar_spoil s)
{
	auto ms = members();
	ms[i].spoil = s;
	return qt::make_tar(ms);
}


const refusal refusals[] = {
	// archive
	{"empty file", [] { return std::string(); }, QOR_STATUS_BAD_FILE},
	{"shorter than a header", [] { return qt::make_tar(members()).substr(0, 300); }, QOR_STATUS_BAD_FILE},
	{"not an archive", [] { return std::string(4096, 'x'); }, QOR_STATUS_BAD_FILE},
	{"bad magic", [] { return spoil_member(0, {.bad_magic = true}); }, QOR_STATUS_BAD_FILE},
	{"bad magic later", [] { return spoil_member(4, {.bad_magic = true}); }, QOR_STATUS_BAD_FILE},
	{"header checksum", [] { return spoil_member(0, {.bad_checksum = true}); }, QOR_STATUS_BAD_FILE},
	{"later header checksum", [] { return spoil_member(5, {.bad_checksum = true}); }, QOR_STATUS_BAD_FILE},
	{"size not octal", [] { return spoil_member(1, {.size_field = "00000001x74"}); }, QOR_STATUS_BAD_FILE},
	{"size with 8", [] { return spoil_member(1, {.size_field = "00000001284"}); }, QOR_STATUS_BAD_FILE},
	{"size field blank", [] { return spoil_member(1, {.size_field = std::string(12, ' ')}); }, QOR_STATUS_BAD_FILE},
	{"size past the file", [] { return spoil_member(8, {.size_field = "77777777777"}); }, QOR_STATUS_BAD_FILE},
	{"name without terminator", [] { return spoil_member(3, {.unterminated_name = true}); }, QOR_STATUS_BAD_FILE},
	{"no end block", [] { return qt::make_tar(members(), false); }, QOR_STATUS_BAD_FILE},
	{"cut inside a member", [] {
		 std::string t = qt::make_tar(members());
		 return t.substr(0, 512 * 4 + 100);
	 }, QOR_STATUS_BAD_FILE},
	{"boot.txt not first", [] {
		 auto ms = members();
		 std::swap(ms[0], ms[1]);
		 return qt::make_tar({{"inner.tar", qt::make_tar(ms)}});
	 }, QOR_STATUS_BAD_FILE},
	{"outer member not an archive", [] { return qt::make_tar({{"readme", std::string(2048, 'r')}}); },
	 QOR_STATUS_BAD_FILE},
	{"damaged inner archive", [] {
		 auto ms = members();
		 ms[2].spoil.bad_checksum = true;
		 return qt::make_tar({{"inner.tar", qt::make_tar(ms)}});
	 }, QOR_STATUS_BAD_FILE},
	// version line
	{"other version", [] { return with_boot_txt("Version=2.3.0.1\n"); }, QOR_STATUS_BOOT_VERSION},
	{"carriage return in version", [] { return with_boot_txt("Version=2.3.0.0\r\n"); }, QOR_STATUS_BOOT_VERSION},
	{"other key", [] { return with_boot_txt("Vers=2.3.0.0\n"); }, QOR_STATUS_BAD_FILE},
	{"no value", [] { return with_boot_txt("Version=\nCARDTYPE=612\n"); }, QOR_STATUS_BAD_FILE},
	{"version without =", [] { return with_boot_txt("Version 2.3.0.0\n"); }, QOR_STATUS_BAD_FILE},
	{"empty boot.txt", [] { return with_boot_txt(""); }, QOR_STATUS_BAD_FILE},
	{"empty first line", [] { return with_boot_txt("\nVersion=2.3.0.0\n"); }, QOR_STATUS_BAD_FILE},
	// card descriptions
	{"key line without =", [] { return with_boot_txt(kHead + "CARDTYPE=612\nFIRMWARE fw.bin\n"); },
	 QOR_STATUS_FAILED},
	{"cardtype without =", [] { return with_boot_txt(kHead + "CARDTYPE 612\n"); }, QOR_STATUS_FAILED},
	{"second FIRMWARE", [] { return with_boot_txt(kHead + "CARDTYPE=612\nFIRMWARE=fw.bin\nFIRMWARE=fw2.bin\n"); },
	 QOR_STATUS_FAILED},
	{"second PORT", [] { return with_boot_txt(kHead + "CARDTYPE=612\nPORT=0\nPORT=1\n"); }, QOR_STATUS_FAILED},
	{"key outside a block", [] { return with_boot_txt(kHead + "FIRMWARE=fw.bin\n"); }, QOR_STATUS_FAILED},
	{"key after a block ended", [] { return with_boot_txt(kHead + "CARDTYPE=612\n\nOPTROM=rom.bin\n"); },
	 QOR_STATUS_FAILED},
	{"card type not decimal", [] { return with_boot_txt(kHead + "CARDTYPE=6x2\n"); }, QOR_STATUS_FAILED},
	{"card type too large", [] { return with_boot_txt(kHead + "CARDTYPE=4294967296\n"); }, QOR_STATUS_FAILED},
	{"empty card type", [] { return with_boot_txt(kHead + "CARDTYPE=\n"); }, QOR_STATUS_FAILED},
	{"port not hexadecimal", [] { return with_boot_txt(kHead + "CARDTYPE=612\nPORT=0,g\n"); }, QOR_STATUS_FAILED},
	{"port above a byte", [] { return with_boot_txt(kHead + "CARDTYPE=612\nPORT=100\n"); }, QOR_STATUS_FAILED},
	{"empty port", [] { return with_boot_txt(kHead + "CARDTYPE=612\nPORT=0,,1\n"); }, QOR_STATUS_FAILED},
	{"value over 63 characters", [] {
		 return with_boot_txt(kHead + "CARDTYPE=612\nFIRMWARE=" + std::string(64, 'n') + "\n");
	 }, QOR_STATUS_FAILED},
	{"control character in a value", [] { return with_boot_txt(kHead + "CARDTYPE=612\nFIRMWARE=fw\x01.bin\n"); },
	 QOR_STATUS_FAILED},
	{"NUL in a value", [] { return with_boot_txt(kHead + "CARDTYPE=612\nFIRMWARE=fw" + std::string(1, '\0') + "\n"); },
	 QOR_STATUS_FAILED},
	{"card names a missing member", [] { return with_boot_txt(kHead + "CARDTYPE=612\nOPTROM=nothere.bin\n"); },
	 QOR_STATUS_FILE_NOT_FOUND},
	{"second card names a missing member", [] {
		 return with_boot_txt(kHead + "CARDTYPE=612\nFIRMWARE=fw.bin\n\nCARDTYPE=632\nFWCFG=cfg2.bin\n");
	 }, QOR_STATUS_FILE_NOT_FOUND},
};

class BootPackageRefusal : public ::testing::TestWithParam<refusal> {};

TEST_P(BootPackageRefusal, RefusedAndEmpty)
{
	pkg_guard g;
	std::string bytes = GetParam().bytes();
	EXPECT_EQ(load(bytes, g), GetParam().status);
	EXPECT_EQ(g.images, 0);
	EXPECT_EQ(g.cards, 0);
	EXPECT_EQ(qorl_boot_pkg_image(0), nullptr);
	EXPECT_EQ(qorl_boot_pkg_card(0), nullptr);
	// Nothing is held after a refusal: the next package loads.
	pkg_guard next;
	EXPECT_EQ(load(qt::make_tar(members()), next), QOR_STATUS_OK);
}

INSTANTIATE_TEST_SUITE_P(All, BootPackageRefusal, ::testing::ValuesIn(refusals),
			 [](const auto &p) { return qt::test_name(p.param.name); });

TEST(BootPackage, NumberHelpers)
{
	EXPECT_EQ(octal_to_decimal("1750"), 1000);
	EXPECT_EQ(octal_to_decimal("00000001000"), 512);
	EXPECT_EQ(octal_to_decimal(""), 0);
	EXPECT_EQ(power(0), 1);
	EXPECT_EQ(power(3), 512);
	EXPECT_EQ(get_port_cnt("0,1,2"), 3);
	EXPECT_EQ(get_port_cnt("7"), 1);
	EXPECT_EQ(get_card_type_cnt("611,612"), 2);
	EXPECT_EQ(get_port_cnt(nullptr), 0);
}

TEST(BootPackage, NullArguments)
{
	int images = -1, cards = -1;
	EXPECT_EQ(populate_flash_data(nullptr, &images, &cards), QOR_STATUS_EINVAL);
	FILE *f = stream_of(qt::make_tar(members()));
	ASSERT_NE(f, nullptr);
	EXPECT_EQ(populate_flash_data(f, nullptr, &cards), QOR_STATUS_EINVAL);
	EXPECT_EQ(populate_flash_data(f, &images, nullptr), QOR_STATUS_EINVAL);
	std::fclose(f);
	EXPECT_EQ(qorl_boot_pkg_image(0), nullptr);
}

} // namespace
