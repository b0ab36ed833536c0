// Boot package reader: plain and wrapped packages, the card descriptions,
// and every kind of damaged archive or description it must refuse.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <tuple>
#include <cstring>
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
	const int ports = c.port ? std::max(c.portcnt, 0) : 0;
	return {c.card_type, c.firmware_name, c.option_rom_name, c.option_rom_2_name, c.boot_overlay_name,
		c.pxe_overlay_name, c.fw_config_name, std::vector<int>(c.port, c.port + ports)};
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
		EXPECT_EQ(std::tuple(images, cards), std::tuple(0, 0));
		expect_default_tables(g);
	}
	EXPECT_EQ(qorl_boot_pkg_image(0), nullptr);
	EXPECT_EQ(qorl_boot_pkg_card(0), nullptr);
	EXPECT_EQ(qorl_boot_pkg_free(), QOR_STATUS_OK) << "nothing held";
	pkg_guard g;
	EXPECT_EQ(load(qt::make_tar(members()), g), QOR_STATUS_OK);
}

// A stream open only for writing cannot be read; one past the size limit
// is refused; missing arguments are.
TEST(BootPackage, StreamThatCannotBeReadIsTooLargeOrMissing)
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
	// No stream, no place for a count.
	int images = -1, cards = -1;
	EXPECT_EQ(populate_flash_data(nullptr, &images, &cards), QOR_STATUS_EINVAL);
	EXPECT_EQ(populate_flash_data(f, nullptr, &cards), QOR_STATUS_EINVAL);
	EXPECT_EQ(populate_flash_data(f, &images, nullptr), QOR_STATUS_EINVAL);
	std::fclose(f);
	EXPECT_EQ(qorl_boot_pkg_image(0), nullptr);
}

// A second CARDTYPE in an open block starts that card over; blank-only
// cards leave no entry behind.
TEST(BootPackage, CardTypeRestartsOpenBlock)
{
	pkg_guard g;
	std::string txt = "Version=2.3.0.0\nCARDTYPE=611\nFIRMWARE=fw.bin\nCARDTYPE=621\nOPTROM=rom.bin\n\n";
	ASSERT_EQ(load(qt::make_tar({{"boot.txt", txt}, {"fw.bin", "f"}, {"rom.bin", "r"}}), g), QOR_STATUS_OK);
	ASSERT_EQ(g.cards, 1);
	EXPECT_EQ(names(*qorl_boot_pkg_card(0)), (Names{621, "", "rom.bin", "", "", "", "", {0}}));
}

struct refusal {
	const char *name;
	std::string bytes;
	qor_status_t status;
};

std::string with_boot_txt(const std::string &txt) { return qt::make_tar(members(txt)); }
// A package whose one card, type 612, is described by `lines`.
std::string card_612(const std::string &lines) { return with_boot_txt(kHead + "CARDTYPE=612\n" + lines); }

std::string spoil_member(size_t i, qt::tar_spoil s)
{
	auto ms = members();
	ms[i].spoil = s;
	return qt::make_tar(ms);
}

// The package as the one member of an outer archive, boot.txt second or damaged.
std::string wrapped(bool swap, bool damage)
{
	auto ms = members();
	if (swap)
		std::swap(ms[0], ms[1]);
	ms[2].spoil.bad_checksum = damage;
	return qt::make_tar({{"inner.tar", qt::make_tar(ms)}});
}

const auto BAD = QOR_STATUS_BAD_FILE, FAILED = QOR_STATUS_FAILED;
const refusal refusals[] = {
	// archive
	{"empty file", "", BAD},
	{"shorter than a header", qt::make_tar(members()).substr(0, 300), BAD},
	{"not an archive", std::string(4096, 'x'), BAD},
	{"bad magic", spoil_member(0, {.bad_magic = true}), BAD},
	{"bad magic later", spoil_member(4, {.bad_magic = true}), BAD},
	{"header checksum", spoil_member(0, {.bad_checksum = true}), BAD},
	{"later header checksum", spoil_member(5, {.bad_checksum = true}), BAD},
	{"size not octal", spoil_member(1, {.size_field = "00000001x74"}), BAD},
	{"size with 8", spoil_member(1, {.size_field = "00000001284"}), BAD},
	{"size field blank", spoil_member(1, {.size_field = std::string(12, ' ')}), BAD},
	{"size past the file", spoil_member(8, {.size_field = "77777777777"}), BAD},
	{"name without terminator", spoil_member(3, {.unterminated_name = true}), BAD},
	{"no end block", qt::make_tar(members(), false), BAD},
	{"cut inside a member", qt::make_tar(members()).substr(0, 512 * 4 + 100), BAD},
	{"boot.txt not first", wrapped(true, false), BAD},
	{"outer member not an archive", qt::make_tar({{"readme", std::string(2048, 'r')}}), BAD},
	{"damaged inner archive", wrapped(false, true), BAD},
	// version line
	{"other version", with_boot_txt("Version=2.3.0.1\n"), QOR_STATUS_BOOT_VERSION},
	{"carriage return in version", with_boot_txt("Version=2.3.0.0\r\n"), QOR_STATUS_BOOT_VERSION},
	{"other key", with_boot_txt("Vers=2.3.0.0\n"), BAD},
	{"no value", with_boot_txt("Version=\nCARDTYPE=612\n"), BAD},
	{"version without =", with_boot_txt("Version 2.3.0.0\n"), BAD},
	{"empty boot.txt", with_boot_txt(""), BAD},
	{"empty first line", with_boot_txt("\nVersion=2.3.0.0\n"), BAD},
	// card descriptions
	{"key line without =", card_612("FIRMWARE fw.bin\n"), FAILED},
	{"cardtype without =", with_boot_txt(kHead + "CARDTYPE 612\n"), FAILED},
	{"second FIRMWARE", card_612("FIRMWARE=fw.bin\nFIRMWARE=fw2.bin\n"), FAILED},
	{"second PORT", card_612("PORT=0\nPORT=1\n"), FAILED},
	{"key outside a block", with_boot_txt(kHead + "FIRMWARE=fw.bin\n"), FAILED},
	{"key after a block ended", card_612("\nOPTROM=rom.bin\n"), FAILED},
	{"card type not decimal", with_boot_txt(kHead + "CARDTYPE=6x2\n"), FAILED},
	{"card type too large", with_boot_txt(kHead + "CARDTYPE=4294967296\n"), FAILED},
	{"empty card type", with_boot_txt(kHead + "CARDTYPE=\n"), FAILED},
	{"port not hexadecimal", card_612("PORT=0,g\n"), FAILED},
	{"port above a byte", card_612("PORT=100\n"), FAILED},
	{"empty port", card_612("PORT=0,,1\n"), FAILED},
	{"value over 63 characters", card_612("FIRMWARE=" + std::string(64, 'n') + "\n"), FAILED},
	{"control character in a value", card_612("FIRMWARE=fw\x01.bin\n"), FAILED},
	{"NUL in a value", card_612("FIRMWARE=fw" + std::string(1, '\0') + "\n"), FAILED},
	{"card names a missing member", card_612("OPTROM=nothere.bin\n"), QOR_STATUS_FILE_NOT_FOUND},
	{"second card names a missing member", card_612("FIRMWARE=fw.bin\n\nCARDTYPE=632\nFWCFG=cfg2.bin\n"),
	 QOR_STATUS_FILE_NOT_FOUND},
};

class BootPackageRefusal : public ::testing::TestWithParam<refusal> {};

TEST_P(BootPackageRefusal, RefusedAndEmpty)
{
	pkg_guard g;
	EXPECT_EQ(load(GetParam().bytes, g), GetParam().status);
	EXPECT_EQ(std::tuple(g.images, g.cards), std::tuple(0, 0));
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

} // namespace
