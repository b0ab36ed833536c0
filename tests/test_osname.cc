// Device nodes of SCSI addresses in both sysfs layouts, built under the
// emulator's private root.
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "qorl_scsi.h"
#include "testutil.h"

namespace {

namespace fs = std::filesystem;

class Osname : public qt::SimTest {
public:
	// The device directory of 2:0:5:3.
	std::string dev() const { return root_path("/sys/class/scsi_device/2:0:5:3/device/"); }
	void file(const std::string &rel) { qt::write_file(dev() + rel, ""); }
	void dir(const std::string &rel) { fs::create_directories(dev() + rel); }
	void link(const std::string &rel, const std::string &to)
	{
		fs::create_directories(dev());
		ASSERT_EQ(symlink(to.c_str(), (dev() + rel).c_str()), 0) << rel;
	}

protected:
	qor_status_t lookup(uint32_t lun = 3)
	{
		memset(name, '#', sizeof name);
		name[sizeof name - 1] = '\0';
		ndev = 7;
		char *p = name;
		return qorl_get_osname(2, 0, 5, lun, &p, &ndev);
	}
	bool untouched() const { return name[0] == '#' && name[62] == '#'; }
	char name[QORL_OSNAME_LEN];
	uint32_t ndev = 0;
};

struct Layout {
	const char *name;
	void (*build)(Osname &);
	std::string expect; // empty: status `st`, name untouched
	uint32_t lun = 3;
	qor_status_t st = QOR_STATUS_FAILED;
};

const Layout kLayouts[] = {
	{"old_entry", [](Osname &t) { t.file("block:sdb"); }, "/dev/sdb"},
	{"old_entry_among_others",
	 [](Osname &t) {
		 t.file("vendor");
		 t.dir("power");
		 t.file("block:sdq");
	 },
	 "/dev/sdq"},
	{"old_tape_entry", [](Osname &t) { t.file("tape:st3"); }, "/dev/st3"},
	{"old_link", [](Osname &t) { t.link("block", "../../../block/sdc"); }, "/dev/sdc"},
	{"new_block_dir", [](Osname &t) { t.dir("block/sdd"); }, "/dev/sdd"},
	{"new_tape_dir", [](Osname &t) { t.dir("tape/st0"); }, "/dev/st0"},
	{"empty_block_dir", [](Osname &t) { t.dir("block"); }, ""},
	{"no_device_entry",
	 [](Osname &t) {
		 t.file("vendor");
		 t.dir("power");
	 },
	 ""},
	// "/dev/" and 58 characters fill the 64 bytes with the terminator.
	{"longest_name_that_fits", [](Osname &t) { t.dir("block/s" + std::string(57, 'x')); },
	 "/dev/s" + std::string(57, 'x')},
	{"name_one_too_long", [](Osname &t) { t.dir("block/s" + std::string(58, 'x')); }, ""},
	{"link_target_too_long", [](Osname &t) { t.link("block", "../../block/s" + std::string(60, 'y')); }, ""},
	{"missing_unit", [](Osname &t) { t.dir("block/sde"); }, "", 4},
	{"no_sysfs", [](Osname &) { qorsim_set_root("/nonexistent-qorl-root"); }, ""},
	{"link_without_slash", [](Osname &t) { t.link("block", "sdg"); }, "", 3, QOR_STATUS_OK},
};

class Layouts : public Osname, public ::testing::WithParamInterface<Layout> {};

TEST_P(Layouts, DeviceNode)
{
	const Layout &c = GetParam();
	c.build(*this);
	qor_status_t st = lookup(c.lun);
	EXPECT_EQ(ndev, 1u);
	if (!c.expect.empty()) {
		ASSERT_EQ(st, QOR_STATUS_OK);
		EXPECT_EQ(std::string(name), c.expect);
	} else {
		EXPECT_EQ(st, c.st);
		EXPECT_TRUE(untouched()) << name;
	}
}

INSTANTIATE_TEST_SUITE_P(Osname, Layouts, ::testing::ValuesIn(kLayouts),
			 [](const auto &i) { return std::string(i.param.name); });

TEST_F(Osname, OverlongLinkTargetIsCutAndReported)
{
	// 117 characters of "../", "block/sdf", then 40 more: cut to 127, the
	// name is "sdf" and the one 'z' that survived.
	std::string to;
	for (int i = 0; i < 39; i++)
		to += "../";
	to += "block/sdf" + std::string(40, 'z');
	link("block", to);
	testing::internal::CaptureStdout();
	qor_status_t st = lookup();
	std::string out = testing::internal::GetCapturedStdout();
	ASSERT_EQ(st, QOR_STATUS_OK);
	EXPECT_EQ(out, "The symbolic link length exceeds the maximum\n");
	EXPECT_EQ(std::string(name), "/dev/sdfz");
}

TEST_F(Osname, NoBufferIsRefused)
{
	uint32_t n = 0;
	EXPECT_EQ(qorl_get_osname(2, 0, 5, 3, nullptr, &n), QOR_STATUS_EINVAL);
	EXPECT_EQ(n, 1u);
	char *p = nullptr;
	EXPECT_EQ(qorl_get_osname(2, 0, 5, 3, &p, nullptr), QOR_STATUS_EINVAL);
}

} // namespace
