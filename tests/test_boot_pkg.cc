// Boot package reader: plain and wrapped packages, the card descriptions,
// and every kind of damaged archive or description it must refuse.
#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>

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

std::vector<qt::tar_member> members(const std::string &boot_txt = kBootTxt)
{
	return {{"boot.txt", boot_txt},         {"fw.bin", std::string(700, 'F')},
		{"empty.bin", ""},              {"rom.bin", std::string(1024, 'R')},
		{"cfg.bin", "config bytes"},    {"fw2.bin", std::string(513, 'G')},
		{"rom2.bin", "second rom"},     {"bovl.bin", "boot overlay"},
		{"pxe.bin", std::string(512, 'P')}};
}

struct pkg_guard {
	qorl_boot_pkg_t pkg{};
	~pkg_guard() { qorl_boot_pkg_free(&pkg); }
};

qor_status_t load(const std::string &bytes, qorl_boot_pkg_t &pkg)
{
	return populate_flash_data(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), &pkg);
}

std::string image(const qorl_boot_pkg_t &pkg, int i)
{
	return std::string(reinterpret_cast<const char *>(pkg.pimagefiledata[i].ibuf), pkg.pimagefiledata[i].isize);
}

void expect_default_tables(const qorl_boot_pkg_t &pkg)
{
	auto ms = members();
	ASSERT_EQ(pkg.image_count, (int)ms.size());
	for (size_t i = 0; i < ms.size(); i++) {
		EXPECT_STREQ(pkg.pimagefiledata[i].iname, ms[i].name.c_str());
		EXPECT_EQ(image(pkg, (int)i), ms[i].data) << ms[i].name;
		EXPECT_EQ(pkg.pimagefiledata[i].ialloc, QOR_TRUE);
	}
	ASSERT_EQ(pkg.card_count, 2);
	const CARD_DATA_T &a = pkg.pcarddata[0], &b = pkg.pcarddata[1];
	EXPECT_EQ(a.card_type, 612u);
	EXPECT_STREQ(a.firmware_name, "fw.bin"); // blanks around "=" left out
	EXPECT_STREQ(a.option_rom_name, "rom.bin"); // carriage return left out
	EXPECT_STREQ(a.option_rom_2_name, "");
	EXPECT_STREQ(a.fw_config_name, "cfg.bin");
	ASSERT_EQ(a.portcnt, 2);
	EXPECT_EQ(a.port[0], 0);
	EXPECT_EQ(a.port[1], 10);
	EXPECT_EQ(b.card_type, 632u);
	EXPECT_STREQ(b.firmware_name, "fw2.bin");
	EXPECT_STREQ(b.option_rom_name, "");
	EXPECT_STREQ(b.option_rom_2_name, "rom2.bin");
	EXPECT_STREQ(b.boot_overlay_name, "bovl.bin");
	EXPECT_STREQ(b.pxe_overlay_name, "pxe.bin");
	ASSERT_EQ(b.portcnt, 1); // no PORT line: port 0 only
	EXPECT_EQ(b.port[0], 0);
}

TEST(BootPackage, PlainArchive)
{
	pkg_guard g;
	ASSERT_EQ(load(qt::make_tar(members()), g.pkg), QOR_STATUS_OK);
	expect_default_tables(g.pkg);
}

TEST(BootPackage, WrappedInOuterArchive)
{
	pkg_guard g;
	std::string outer = qt::make_tar({{"package.tar", qt::make_tar(members())}, {"notes.txt", "outer"}});
	ASSERT_EQ(load(outer, g.pkg), QOR_STATUS_OK);
	expect_default_tables(g.pkg);
}

// A wrapped package file is unwrapped in memory: the working directory
// gets no temporary file.
TEST(BootPackage, FileLoadWritesNothing)
{
	std::string dir = qt::make_temp_dir();
	char old[4096];
	ASSERT_TRUE(getcwd(old, sizeof old));
	std::string pkgfile = dir + "/pkg.tar";
	qt::write_file(pkgfile, qt::make_tar({{"inner.tar", qt::make_tar(members())}}));
	ASSERT_EQ(chdir(dir.c_str()), 0);
	pkg_guard g;
	qor_status_t st = qorl_boot_pkg_load("pkg.tar", &g.pkg);
	std::vector<std::string> names;
	if (DIR *d = opendir(".")) {
		while (dirent *e = readdir(d))
			if (std::strcmp(e->d_name, ".") && std::strcmp(e->d_name, ".."))
				names.push_back(e->d_name);
		closedir(d);
	}
	ASSERT_EQ(chdir(old), 0);
	qt::remove_tree(dir);
	ASSERT_EQ(st, QOR_STATUS_OK);
	expect_default_tables(g.pkg);
	EXPECT_EQ(names, std::vector<std::string>{"pkg.tar"});
}

TEST(BootPackage, FileThatCannotBeOpened)
{
	pkg_guard g;
	EXPECT_EQ(qorl_boot_pkg_load("/nonexistent/pkg.tar", &g.pkg), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_boot_pkg_load(nullptr, &g.pkg), QOR_STATUS_FAILED);
	EXPECT_EQ(g.pkg.image_count, 0);
}

TEST(BootPackage, TooLarge)
{
	std::vector<uint8_t> big(QORL_BOOT_PKG_MAX_SIZE + 1);
	pkg_guard g;
	EXPECT_EQ(populate_flash_data(big.data(), big.size(), &g.pkg), QOR_STATUS_BAD_FILE);
}

// A member of size 0 still counts, and the next header follows one block later.
TEST(BootPackage, EmptyMemberCounts)
{
	pkg_guard g;
	std::string t = qt::make_tar(members());
	ASSERT_EQ(load(t, g.pkg), QOR_STATUS_OK);
	EXPECT_STREQ(g.pkg.pimagefiledata[2].iname, "empty.bin");
	EXPECT_EQ(g.pkg.pimagefiledata[2].isize, 0);
	EXPECT_STREQ(g.pkg.pimagefiledata[3].iname, "rom.bin");
}

// A second CARDTYPE in an open block starts that card over; blank-only
// cards leave no entry behind.
TEST(BootPackage, CardTypeRestartsOpenBlock)
{
	pkg_guard g;
	std::string txt = "Version=2.3.0.0\nCARDTYPE=611\nFIRMWARE=fw.bin\nCARDTYPE=621\nOPTROM=rom.bin\n\n";
	ASSERT_EQ(load(qt::make_tar({{"boot.txt", txt}, {"fw.bin", "f"}, {"rom.bin", "r"}}), g.pkg), QOR_STATUS_OK);
	ASSERT_EQ(g.pkg.card_count, 1);
	EXPECT_EQ(g.pkg.pcarddata[0].card_type, 621u);
	EXPECT_STREQ(g.pkg.pcarddata[0].firmware_name, "");
	EXPECT_STREQ(g.pkg.pcarddata[0].option_rom_name, "rom.bin");
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

const std::string kHead = "Version=2.3.0.0\n";

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
	EXPECT_EQ(load(bytes, g.pkg), GetParam().status);
	EXPECT_EQ(g.pkg.image_count, 0);
	EXPECT_EQ(g.pkg.card_count, 0);
	EXPECT_EQ(g.pkg.pimagefiledata, nullptr);
	EXPECT_EQ(g.pkg.pcarddata, nullptr);
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
	EXPECT_EQ(populate_flash_data(nullptr, 0, nullptr), QOR_STATUS_EINVAL);
	pkg_guard g;
	EXPECT_EQ(populate_flash_data(nullptr, 10, &g.pkg), QOR_STATUS_BAD_FILE);
	qorl_boot_pkg_free(nullptr);
}

} // namespace
