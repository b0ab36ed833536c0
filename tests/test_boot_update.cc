// The boot update of one adapter or all: what each card's flash holds
// afterwards, in which order it was written, what a failure leaves, and the
// results in the mask, the err_code table and the progress records.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "pkg_util.h"
#include "qorl_adapter.h"
#include "qorl_boot.h"
#include "qorl_flash.h"
#include "defs/qor_defs_card.h"
#include "qorl_ioc.h"
#include "testutil.h"

namespace {

const std::string kFw = qt::make_firmware("3.3.0.0", 4000);
const std::string kRom = qt::make_optrom({{.codetype = 0, .version = "3.3.0.0", .units = 2, .last = false},
					  {.codetype = 3, .units = 3, .last = true}});
const std::string kRom2 = qt::make_optrom({{.codetype = 3, .units = 1}});
const std::string kBootOvl(1500, 'B'), kPxeOvl(2048, 'X'), kCfg = "firmware configuration";

// Every model gets the same images; the converged ones their PXE overlay.
std::string boot_txt(const std::string &extra = "")
{
	std::string t = "Version=2.3.0.0\n";
	for (uint32_t type : {611u, 612u, 631u, 632u, 672u}) {
		bool cna = type > 630;
		t += "CARDTYPE=" + std::to_string(type) + "\nFIRMWARE=fw.bin\nOPTROM=rom.bin\nOPTROM2=rom2.bin\n";
		t += cna ? "PXEOVL=pxe.bin\n" : "BOOTOVL=bovl.bin\n";
		t += "FWCFG=cfg.bin\n" + std::string(type % 10 == 1 ? "" : "PORT=0,1\n") + "\n";
	}
	return t + extra;
}

std::string package(const std::string &txt = boot_txt(), const std::string &rom = kRom)
{
	return qt::make_tar({{"boot.txt", txt}, {"fw.bin", kFw}, {"rom.bin", rom}, {"rom2.bin", kRom2},
			     {"bovl.bin", kBootOvl}, {"pxe.bin", kPxeOvl}, {"cfg.bin", kCfg}});
}

std::string flash_get(int card, uint32_t type, int inst = 0)
{
	long n = qorsim_flash_get(card, type, inst, nullptr, 0);
	std::string s(n < 0 ? 0 : static_cast<size_t>(n), '\0');
	qorsim_flash_get(card, type, inst, s.data(), s.size());
	return s;
}

std::string unswapped_rom(int card) { return qt::swapped(flash_get(card, QOR_FLASH_PART_OPTROM)); }

using Pairs = std::vector<std::pair<uint32_t, int>>;

// Values as the uint32_t fields of a progress record hold them.
template <class... T> auto u32(T... v)
{
	return std::tuple{static_cast<uint32_t>(v)...};
}

// Every partition of a dual-port card, in the order it is written.
const Pairs kOrder = {{QOR_FLASH_PART_FWIMG, 0},   {QOR_FLASH_PART_OPTROM, 0}, {QOR_FLASH_PART_OPTROM2, 0},
		      {QOR_FLASH_PART_BOOTOVL, 0}, {QOR_FLASH_PART_FWCFG, 0},  {QOR_FLASH_PART_FWCFG, 1}};

// The flash writes on the wire: (type, instance), in order.
Pairs writes()
{
	Pairs v;
	for (auto &e : qt::log_entries_any(QOR_IOCTL_FLASH_UPDATE_PART)) {
		qor_ioctl_flash_t r;
		std::memcpy(&r, e.in, sizeof r);
		v.emplace_back(r.type, r.instance);
	}
	return v;
}

// An option ROM (x86 image, then EFI) carrying `devid` in both images.
void expect_devid(const std::string &rom, uint16_t devid, int card)
{
	ASSERT_EQ(rom.size(), kRom.size());
	EXPECT_EQ(qt::le16_at(rom, qt::kRomPcir + 6), devid) << card;
	EXPECT_EQ(qt::le16_at(rom, 1024 + qt::kRomPcir + 6), devid) << card;
	EXPECT_EQ(qt::le32_at(rom, qt::kRomPnp + 10) >> 16, devid) << card;
	EXPECT_TRUE(qt::sums_to_zero(rom, 0, 1024) && qt::sums_to_zero(rom, 1024, 1536)) << card;
	EXPECT_TRUE(qt::sums_to_zero(rom, qt::kRomPnp, 32)) << card;
}

// An update on a thread of its own, stopped at its first flash write until
// finish() lets it go on.
struct Held {
	std::atomic<qor_status_t> st{QOR_STATUS_MAX_VAL};
	std::thread t;
	explicit Held(std::function<qor_status_t()> update)
	{
		qorsim_flash_hold(1);
		t = std::thread([this, update] { st = update(); });
		while (qorsim_flash_held() == 0)
			std::this_thread::yield();
	}
	qor_status_t finish()
	{
		qorsim_flash_hold(0);
		t.join();
		return st;
	}
};

class BootUpdate : public qt::SimTest {
protected:
	void SetUp() override
	{
		SimTest::SetUp();
		pkg_ = root_path("/pkg.tar");
		qt::write_file(pkg_, package());
	}
	void scan(unsigned adapters)
	{
		ASSERT_EQ(qorl_adapter_scan(), (int)adapters);
		qorsim_log_clear();
	}
	void write_package(const std::string &bytes) { qt::write_file(pkg_, bytes); }
	qor_status_t update_all(uint16_t devid = 0)
	{
		for (auto &e : err_)
			e = QOR_STATUS_MAX_VAL;
		mask_ = 0x7777;
		return qorl_boot_fwupdate_progress(nullptr, pkg_.c_str(), devid, &mask_, err_, progress_);
	}
	qor_status_t load(int *images, int *cards)
	{
		FILE *f = std::fopen(pkg_.c_str(), "rb");
		EXPECT_NE(f, nullptr);
		qor_status_t st = f ? populate_flash_data(f, images, cards) : QOR_STATUS_MAX_VAL;
		if (f)
			std::fclose(f);
		return st;
	}
	qorl_boot_progress_t progress(int i)
	{
		qorl_boot_progress_t p;
		qorl_boot_progress_get(&progress_[i], &p);
		return p;
	}
	std::string pkg_;
	uint16_t mask_ = 0;
	qor_status_t err_[16];
	qorl_boot_progress_t progress_[16] = {};
};

// One adapter: every image of its card, in their fixed order, then the
// option ROM on; its own device ID 0x13 leaves the option ROM as packaged
// (byte-swapped only). err_code is not touched on success.
TEST_F(BootUpdate, OneAdapterWritesItsCard)
{
	scan(2);
	qorl_t *fc1 = qorl_ioc_open_idx(1);
	ASSERT_EQ(qorl_flash_disable_optrom(fc1), QOR_STATUS_OK);
	qorsim_log_clear();
	err_[0] = QOR_STATUS_MAX_VAL;
	ASSERT_EQ(qorl_boot_fwupdate(fc1, pkg_.c_str(), 0, &mask_, err_), QOR_STATUS_OK);
	EXPECT_EQ(err_[0], QOR_STATUS_MAX_VAL);
	EXPECT_EQ(writes(), kOrder);
	auto log = qt::log_entries();
	ASSERT_FALSE(log.empty());
	EXPECT_EQ(log.back().code, QOR_IOCTL_FLASH_ENABLE_OPTROM);
	EXPECT_EQ(qorsim_flash_optrom_enabled(0), 1);
	const std::string want[] = {kFw, qt::swapped(kRom), qt::swapped(kRom2), qt::swapped(kBootOvl), kCfg, kCfg};
	for (size_t i = 0; i < kOrder.size(); i++)
		EXPECT_EQ(flash_get(0, kOrder[i].first, kOrder[i].second), want[i]) << i;
	EXPECT_EQ(flash_get(0, QOR_FLASH_PART_VPD), ""); // not the OEM model
	EXPECT_NE(flash_get(1, QOR_FLASH_PART_FWIMG), kFw) << "the other card saw nothing";
	qor_ioc_attr_t a{};
	ASSERT_EQ(qorl_ioc_get_attr(fc1, &a), QOR_STATUS_OK);
	EXPECT_STREQ(a.adapter_attr.fw_ver, "3.3.0.0");
	EXPECT_STREQ(a.adapter_attr.optrom_ver, "3.3.0.0");
}

// Option ROM images carry the device ID the update uses: each controller's
// own unless the caller names one, which then stands for the whole update.
TEST_F(BootUpdate, DeviceIdInOptionRoms)
{
	scan(2);
	ASSERT_EQ(update_all(), QOR_STATUS_OK);
	EXPECT_EQ(mask_, 0x3);
	EXPECT_EQ(unswapped_rom(0), kRom); // 0x13: as packaged
	expect_devid(unswapped_rom(1), 0x14, 1);
	// The second option ROM gets it too.
	EXPECT_EQ(qt::le16_at(qt::swapped(flash_get(1, QOR_FLASH_PART_OPTROM2)), qt::kRomPcir + 6), 0x14);
	for (uint16_t devid : {0x17, 0x21, 0x13}) {
		ASSERT_EQ(update_all(devid), QOR_STATUS_OK) << devid;
		for (int card : {0, 1}) {
			if (devid == 0x13) // nothing patched on either card
				EXPECT_EQ(unswapped_rom(card), kRom) << card;
			else
				expect_devid(unswapped_rom(card), devid, card);
		}
	}
}

// Refused before anything is sent: the status in every err_code entry.
TEST_F(BootUpdate, RefusalsBeforeFlashing)
{
	scan(2);
	struct row {
		const char *name;
		uint16_t devid;
		std::string pkg;
		qor_status_t st;
	};
	for (const row &r : {row{"devid 0x15", 0x15, package(), QOR_STATUS_INVALID_DEVID},
			     row{"devid 0x12", 0x12, package(), QOR_STATUS_INVALID_DEVID},
			     row{"version", 0, package("Version=2.3.0.1\n"), QOR_STATUS_BOOT_VERSION},
			     row{"missing member", 0, package(boot_txt("CARDTYPE=624\nFIRMWARE=fw9.bin\n")),
				 QOR_STATUS_FILE_NOT_FOUND},
			     row{"damaged archive", 0, package().substr(0, 3000), QOR_STATUS_BAD_FILE}}) {
		write_package(r.pkg);
		EXPECT_EQ(update_all(r.devid), r.st) << r.name;
		for (auto e : err_)
			EXPECT_EQ(e, r.st) << r.name;
		EXPECT_EQ(mask_, 0x7777) << r.name;
		EXPECT_EQ(progress_[0].state, (uint32_t)QORL_BOOT_IDLE);
		// One controller: the same.
		err_[15] = QOR_STATUS_OK;
		EXPECT_EQ(qorl_boot_fwupdate(qorl_ioc_open_idx(0), pkg_.c_str(), r.devid, nullptr, err_), r.st) << r.name;
		EXPECT_EQ(err_[15], r.st);
	}
	EXPECT_EQ(qorl_boot_fwupdate(nullptr, root_path("/nothere.tar").c_str(), 0, nullptr, err_), QOR_STATUS_FAILED);
	EXPECT_EQ(qt::log_entries_any(QOR_IOCTL_FLASH_UPDATE_PART).size(), 0u);
}

TEST_F(BootUpdate, CardTypeMissing)
{
	topology(R"({"adapters": [{"card_type": 624, "functions": [{"type": "fc"}, {"type": "fc"}]}]})");
	scan(1);
	ASSERT_EQ(update_all(), QOR_STATUS_OK);
	EXPECT_EQ(std::tuple(mask_, err_[0], err_[1]), std::tuple(0, QOR_STATUS_CARDTYPE_MISSING, QOR_STATUS_FAILED));
	EXPECT_EQ(writes().size(), 0u);
	EXPECT_EQ(std::tuple(progress_[0].state, progress_[0].status),
		  u32(QORL_BOOT_DONE, QOR_STATUS_CARDTYPE_MISSING));
}

// Three cards, the second failing: bits 0 and 2, its failure in entry 1.
TEST_F(BootUpdate, ThreeAdaptersSecondFails)
{
	topology(R"({"adapters": [
		{"serial": "QXT0000001", "card_type": 611, "functions": [{"type": "fc"}]},
		{"serial": "QXT0000002", "card_type": 611, "functions": [{"type": "fc"}]},
		{"serial": "QXT0000003", "card_type": 611, "functions": [{"type": "fc"}]}]})");
	scan(3);
	ASSERT_GE(qorsim_flash_fault(1, QORSIM_FLASH_WRITE_FAIL, 0, -1, QOR_STATUS_HDMA_FAILED, 1), 0);
	ASSERT_EQ(update_all(), QOR_STATUS_OK);
	EXPECT_EQ(mask_, 0x5);
	for (int i = 0; i < 16; i++)
		EXPECT_EQ(err_[i], i == 1 ? QOR_STATUS_HDMA_FAILED : i < 3 ? QOR_STATUS_OK : QOR_STATUS_FAILED) << i;
	EXPECT_EQ(flash_get(0, QOR_FLASH_PART_FWIMG), kFw);
	EXPECT_NE(flash_get(1, QOR_FLASH_PART_FWIMG), kFw);
	EXPECT_EQ(flash_get(2, QOR_FLASH_PART_FWIMG), kFw);
	for (int i = 0; i < 3; i++) {
		EXPECT_EQ(progress_[i].state, (uint32_t)QORL_BOOT_DONE);
		EXPECT_EQ(progress_[i].ad_id, (uint32_t)i + 1);
		EXPECT_EQ(progress_[i].status, (uint32_t)err_[i]);
	}
	EXPECT_EQ(progress_[3].state, (uint32_t)QORL_BOOT_IDLE);
}

// A failed partition write ends that adapter at once: what was written
// stays, the option ROM stays off, the progress names the partitions
// written and the one that failed.
TEST_F(BootUpdate, FailedWriteStopsTheAdapter)
{
	scan(2);
	ASSERT_GE(qorsim_flash_fault(0, QORSIM_FLASH_WRITE_FAIL, QOR_FLASH_PART_FWCFG, 1, 0, 1), 0);
	ASSERT_EQ(update_all(), QOR_STATUS_OK);
	EXPECT_EQ(std::tuple(mask_, err_[0], err_[1]), std::tuple(0x2, QOR_STATUS_FAILED, QOR_STATUS_OK));
	EXPECT_EQ(std::tuple(qorsim_flash_optrom_enabled(0), qorsim_flash_optrom_enabled(1)), std::tuple(0, 1));
	EXPECT_EQ(flash_get(0, QOR_FLASH_PART_FWCFG, 0), kCfg);
	EXPECT_NE(flash_get(0, QOR_FLASH_PART_FWCFG, 1), kCfg);
	qorl_boot_progress_t p = progress(0);
	EXPECT_EQ(std::tuple(p.state, p.status, p.part_type, p.part_instance),
		  u32(QORL_BOOT_DONE, QOR_STATUS_FAILED, QOR_FLASH_PART_FWCFG, 1));
	Pairs done;
	for (uint32_t i = 0; i < p.nwritten; i++)
		done.emplace_back(p.written[i].type, (int)p.written[i].instance);
	EXPECT_EQ(done, Pairs(kOrder.begin(), kOrder.end() - 1));
	EXPECT_LT(p.bytes_done, p.bytes_total);
	// The card that succeeded: everything written, all bytes counted.
	p = progress(1);
	EXPECT_EQ(std::tuple(p.status, p.part_type, p.nwritten), u32(QOR_STATUS_OK, 0, 6));
	EXPECT_EQ(p.bytes_done, p.bytes_total);
	EXPECT_EQ(p.bytes_total, kFw.size() + kRom.size() + kRom2.size() + kPxeOvl.size() + 2 * kCfg.size());
	// An option ROM whose walk runs off its member stops the adapter too;
	// with 0x13 the walk ends at the first (x86) image and never sees it.
	write_package(package(boot_txt(), kRom.substr(0, 1500)));
	ASSERT_EQ(update_all(), QOR_STATUS_OK);
	EXPECT_EQ(std::tuple(mask_, err_[0], err_[1]), std::tuple(0x1, QOR_STATUS_OK, QOR_STATUS_BAD_BOOT_CODE));
	// The firmware only; the option ROM was refused before writing.
	EXPECT_EQ(std::tuple(progress(1).nwritten, progress(1).part_type), std::tuple(1u, 0u));
}

// The OEM model gets its VPD rebuilt after the first option ROM: from the
// template the first time, from its own VPD afterwards, when the version is
// already there and only the fix-ups change.
TEST_F(BootUpdate, OemAdapterVpd)
{
	topology(R"({"adapters": [{"serial": "HXS00000001", "card_type": 672,
		"functions": [{"type": "fcoe"}, {"type": "fcoe"}, {"type": "eth"}, {"type": "eth"}]}]})");
	scan(1);
	ASSERT_EQ(qorl_boot_fwupdate(qorl_ioc_open_idx(0), pkg_.c_str(), 0x13, nullptr, nullptr), QOR_STATUS_OK);
	EXPECT_EQ(unswapped_rom(0), kRom); // 0x13 given: nothing patched, version still taken
	Pairs w = writes();
	ASSERT_GE(w.size(), 3u);
	EXPECT_EQ(w[1], (std::pair<uint32_t, int>{QOR_FLASH_PART_OPTROM, 0}));
	EXPECT_EQ(w[2], (std::pair<uint32_t, int>{QOR_FLASH_PART_VPD, 0}));
	const std::string vpd = flash_get(0, QOR_FLASH_PART_VPD);
	ASSERT_EQ(vpd.size(), 512u);
	// The template (its layout is checked on the module's own code) with
	// this card's serial number and the option ROM's version.
	EXPECT_EQ(vpd.substr(0, 3 + sizeof QOR_OEM_VPD_PRODUCT_NAME - 1), "\x82\x80" + std::string(1, '\0') +
										  QOR_OEM_VPD_PRODUCT_NAME);
	EXPECT_EQ(vpd.substr(198, 15), std::string("SN\x10HXS00000001\0", 15));
	EXPECT_EQ(vpd.substr(238, 17), "V2\x0e" "FFV03.03.00.00");
	EXPECT_EQ(vpd.substr(320, 46), std::string("V7\x2b") + "DCM" + QOR_OEM_VPD_CAPABILITY);
	EXPECT_TRUE(qt::sums_to_zero(vpd, 0, 370));
	// The card now reports that image as its own VPD; a second update with
	// the same version changes only length, map and checksum, none of which
	// differ here.
	qorsim_log_clear();
	ASSERT_EQ(update_all(), QOR_STATUS_OK);
	EXPECT_EQ(flash_get(0, QOR_FLASH_PART_VPD), vpd);
	EXPECT_EQ(writes().at(2), (std::pair<uint32_t, int>{QOR_FLASH_PART_VPD, 0}));
}

// The package tables are one per process: while an update of one adapter
// or of all holds them, every other update, load or free is busy and
// touches nothing.
TEST_F(BootUpdate, OneUpdateAtATime)
{
	scan(2);
	qorl_t *fc0 = qorl_ioc_open_idx(0);
	for (bool all : {true, false}) {
		SCOPED_TRACE(all ? "all adapters first" : "one adapter first");
		mask_ = 0;
		Held first([&] { return all ? update_all() : qorl_boot_fwupdate(fc0, pkg_.c_str(), 0, nullptr, nullptr); });
		uint16_t mask = 0x7777;
		qor_status_t err[16];
		EXPECT_EQ(qorl_boot_fwupdate(nullptr, pkg_.c_str(), 0, &mask, err), QOR_STATUS_DEVBUSY);
		EXPECT_EQ(std::tuple(err[0], err[15], mask), std::tuple(QOR_STATUS_DEVBUSY, QOR_STATUS_DEVBUSY, 0x7777));
		err[3] = QOR_STATUS_OK;
		EXPECT_EQ(qorl_boot_fwupdate(qorl_ioc_open_idx(2), pkg_.c_str(), 0, &mask, err), QOR_STATUS_DEVBUSY);
		EXPECT_EQ(err[3], QOR_STATUS_DEVBUSY);
		int images = -1, cards = -1;
		EXPECT_EQ(load(&images, &cards), QOR_STATUS_DEVBUSY);
		EXPECT_EQ(images, 0);
		EXPECT_EQ(qorl_boot_pkg_free(), QOR_STATUS_DEVBUSY) << "the update's tables are not the caller's";
		EXPECT_EQ(qorl_boot_pkg_image(0), nullptr);
		EXPECT_EQ(qorl_boot_flash_data(fc0, 0x13, 612, 0, 0), QOR_STATUS_DEVBUSY);
		EXPECT_EQ(qorl_update_adapter_thread(&mask, err, 0, 0), QOR_STATUS_DEVBUSY);
		EXPECT_EQ(first.finish(), QOR_STATUS_OK);
		EXPECT_EQ(mask_, all ? 0x3 : 0);
	}
	// The update freed its tables: a caller's package loads.
	int images = 0, cards = 0;
	EXPECT_EQ(load(&images, &cards), QOR_STATUS_OK);
	EXPECT_EQ(qorl_boot_pkg_free(), QOR_STATUS_OK);
}

// The designed steps one by one: load the package, then update with the
// counts it gave. The package stays held until freed.
TEST_F(BootUpdate, LoadedPackageThenUpdate)
{
	scan(2);
	qorl_t *fc0 = qorl_ioc_open_idx(0);
	int images = 0, cards = 0;
	ASSERT_EQ(load(&images, &cards), QOR_STATUS_OK);
	EXPECT_EQ(std::tuple(images, cards), std::tuple(7, 5));
	// Counts beyond the package are refused before anything is sent.
	EXPECT_EQ(qorl_boot_flash_data(fc0, 0x13, 612, images + 1, cards), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_boot_flash_data(fc0, 0x13, 612, images, -1), QOR_STATUS_EINVAL);
	uint16_t mask = 0x7777;
	qor_status_t err[16];
	EXPECT_EQ(qorl_update_adapter_thread(&mask, err, images, cards + 1), QOR_STATUS_EINVAL);
	EXPECT_EQ(mask, 0x7777);
	EXPECT_EQ(writes().size(), 0u);
	// Fewer cards than the package has: the 612 card is the second.
	EXPECT_EQ(qorl_boot_flash_data(fc0, 0x13, 612, images, 1), QOR_STATUS_CARDTYPE_MISSING);
	ASSERT_EQ(qorl_boot_flash_data(fc0, 0x13, 612, images, cards), QOR_STATUS_OK);
	EXPECT_EQ(flash_get(0, QOR_FLASH_PART_FWIMG), kFw);
	// A package held by a caller is no update's.
	EXPECT_EQ(qorl_boot_fwupdate(nullptr, pkg_.c_str(), 0, &mask, err), QOR_STATUS_DEVBUSY);

	// Every adapter, each with its own device ID; a second such run while
	// one is under way is busy, a single adapter is not.
	qorsim_log_clear();
	Held first([&] { return qorl_update_adapter_thread(&mask, err, images, cards); });
	uint16_t mask2 = 0x7777;
	qor_status_t err2[16];
	EXPECT_EQ(qorl_update_adapter_thread(&mask2, err2, images, cards), QOR_STATUS_DEVBUSY);
	EXPECT_EQ(mask2, 0x7777);
	EXPECT_EQ(qorl_boot_flash_data(fc0, 0x13, 624, images, cards), QOR_STATUS_CARDTYPE_MISSING);
	EXPECT_EQ(qorl_boot_pkg_free(), QOR_STATUS_DEVBUSY) << "freed under a running update";
	EXPECT_EQ(first.finish(), QOR_STATUS_OK);
	EXPECT_EQ(mask, 0x3);
	EXPECT_EQ(std::tuple(err[0], err[1], err[2]), std::tuple(QOR_STATUS_OK, QOR_STATUS_OK, QOR_STATUS_FAILED));
	EXPECT_EQ(qt::le16_at(unswapped_rom(1), qt::kRomPcir + 6), 0x14);
	EXPECT_EQ(qorl_boot_pkg_free(), QOR_STATUS_OK);
	EXPECT_EQ(qorl_boot_pkg_image(0), nullptr);
	EXPECT_EQ(qorl_boot_pkg_card(0), nullptr);
	// With nothing held, an update with no tables finds no card.
	EXPECT_EQ(qorl_boot_flash_data(fc0, 0x13, 612, 0, 0), QOR_STATUS_CARDTYPE_MISSING);
	EXPECT_EQ(qorl_boot_flash_data(nullptr, 0x13, 612, 0, 0), QOR_STATUS_EINVAL);
}

// A wrapped package is unwrapped in memory: the working directory gets no
// temporary file.
TEST_F(BootUpdate, WrappedPackageLeavesNoFileBehind)
{
	scan(2);
	const std::string dir = root_path("/work");
	ASSERT_EQ(mkdir(dir.c_str(), 0700), 0);
	write_package(qt::make_tar({{"inner.tar", package()}, {"notes.txt", "outer"}}));
	char old[4096];
	ASSERT_TRUE(getcwd(old, sizeof old));
	ASSERT_EQ(chdir(dir.c_str()), 0);
	const qor_status_t st = update_all();
	ASSERT_EQ(chdir(old), 0);
	EXPECT_EQ(st, QOR_STATUS_OK);
	EXPECT_EQ(mask_, 0x3);
	EXPECT_EQ(flash_get(1, QOR_FLASH_PART_FWIMG), kFw);
	EXPECT_TRUE(std::filesystem::is_empty(dir));
}

// Sixteen cards at once, watched from this thread while the workers run.
TEST_F(BootUpdate, SixteenAdaptersAtOnce)
{
	topology(qt::card_topology(16, "QXM"));
	scan(16);
	std::atomic<bool> over{false};
	std::thread t([&] {
		EXPECT_EQ(update_all(0x17), QOR_STATUS_OK);
		over = true;
	});
	while (!over)
		for (int i = 0; i < 16; i++) {
			qorl_boot_progress_t p = progress(i);
			EXPECT_LE(p.bytes_done, p.bytes_total ? p.bytes_total : p.bytes_done);
			EXPECT_LE(p.nwritten, 6u);
		}
	t.join();
	EXPECT_EQ(mask_, 0xffff);
	for (int i = 0; i < 16; i++) {
		EXPECT_EQ(err_[i], QOR_STATUS_OK) << i;
		EXPECT_EQ(flash_get(i, QOR_FLASH_PART_FWIMG), kFw) << i;
		EXPECT_EQ(qt::le16_at(unswapped_rom(i), qt::kRomPcir + 6), 0x17) << i;
		EXPECT_EQ(qorsim_flash_optrom_enabled(i), 1) << i;
		EXPECT_EQ(progress(i).ad_id, (uint32_t)i + 1);
		EXPECT_EQ(progress(i).bytes_done, progress(i).bytes_total);
	}
}

TEST_F(BootUpdate, MoreThanSixteenAdapters)
{
	topology(qt::card_topology(17, "QXM"));
	scan(17);
	testing::internal::CaptureStdout();
	EXPECT_EQ(update_all(), QOR_STATUS_FAILED);
	EXPECT_EQ(testing::internal::GetCapturedStdout(), "Adapter count exceeds the maximum!\n");
	EXPECT_EQ(std::tuple(mask_, err_[0], writes().size()), std::tuple(0x7777, QOR_STATUS_MAX_VAL, 0u));
}

} // namespace
