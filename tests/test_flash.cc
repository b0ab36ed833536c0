// Flash partition operations against the emulated cards: what goes on the
// wire, what lands in flash and in files, and every refusal.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "pkg_util.h"
#include "qorl_adapter.h"
#include "qorl_flash.h"
#include "qorl_ioc.h"
#include "testutil.h"

namespace {

constexpr int kCard0 = 0, kCard1 = 1; // fc0/fc1 and fcoe/eth

std::string flash_get(int card, uint32_t type, int inst)
{
	long n = qorsim_flash_get(card, type, inst, nullptr, 0);
	if (n < 0)
		return "<none>";
	std::string s(static_cast<size_t>(n), '\0');
	qorsim_flash_get(card, type, inst, s.data(), s.size());
	return s;
}

void flash_put(int card, uint32_t type, int inst, const std::string &s)
{
	ASSERT_EQ(qorsim_flash_put(card, type, inst, s.data(), s.size()), 0) << qorsim_error();
}

qor_ioctl_flash_t wire(const qorsim_log_entry_t &e, bool out = false)
{
	qor_ioctl_flash_t r;
	std::memcpy(&r, out ? e.out : e.in, sizeof r);
	return r;
}

qor_status_t update_mem(qorl_t *q, qor_flash_part_type_t type, uint8_t inst, const std::string &data)
{
	return qorl_flash_update_part(q, type, inst, reinterpret_cast<const unsigned char *>(data.data()), QOR_FALSE,
				      (uint32_t)data.size());
}

qor_status_t update_file(qorl_t *q, qor_flash_part_type_t type, uint8_t inst, const std::string &path)
{
	return qorl_flash_update_part(q, type, inst, reinterpret_cast<const unsigned char *>(path.c_str()), QOR_TRUE, 0);
}

using Flash = qt::ScannedTest;

TEST_F(Flash, AttributesDescribeTheCard)
{
	qor_flash_attr_t a;
	std::memset(&a, 0xee, sizeof a);
	ASSERT_EQ(qorl_flash_get_attr(fc1, &a), QOR_STATUS_OK);
	auto e = qt::log_entries(QOR_IOCTL_FLASH_GET_ATTR);
	ASSERT_EQ(e.size(), 1u);
	EXPECT_EQ(e[0].code, 0xC4104344u);
	EXPECT_EQ(e[0].instance, fc1->instance);
	ASSERT_EQ(a.npart, 16u); // 14 kinds, "cfg" and "portcfg" once per port
	uint32_t off = 0;
	int cfgs = 0;
	for (uint32_t i = 0; i < a.npart; i++) {
		const qor_flash_part_attr_t &p = a.part[i];
		EXPECT_EQ(p.part_off, off) << i;
		off += p.part_size;
		EXPECT_LE(p.part_len, p.part_size);
		EXPECT_EQ((long)p.part_len, qorsim_flash_get(kCard0, p.part_type, (int)p.part_instance, nullptr, 0));
		EXPECT_EQ(p.part_status, p.part_len ? QOR_FLASH_STATUS_GOOD : QOR_FLASH_STATUS_EMPTY) << i;
		cfgs += p.part_type == QOR_FLASH_PART_FWCFG;
	}
	EXPECT_EQ(cfgs, 2);
	// Firmware that fails its checksum shows as such.
	std::string fw = qt::make_firmware("3.3.0.0");
	fw[100] ^= 1;
	flash_put(kCard0, QOR_FLASH_PART_FWIMG, 0, fw);
	ASSERT_EQ(qorl_flash_get_attr(fc0, &a), QOR_STATUS_OK);
	EXPECT_EQ(a.part[1].part_type, (uint32_t)QOR_FLASH_PART_FWIMG);
	EXPECT_EQ(a.part[1].part_status, (uint32_t)QOR_FLASH_STATUS_CKFAIL);
}

TEST_F(Flash, ReadToMemory)
{
	const std::string fw = flash_get(kCard0, QOR_FLASH_PART_FWIMG, 0);
	std::vector<char> buf(fw.size() + 100, 'x');
	ASSERT_EQ(qorl_flash_read_part(fc0, QOR_FLASH_PART_FWIMG, 0, buf.data(), (uint32_t)buf.size(), QOR_FALSE),
		  QOR_STATUS_OK);
	EXPECT_EQ(std::string(buf.data(), fw.size()), fw);
	auto e = qt::log_entries(QOR_IOCTL_FLASH_READ_PART);
	ASSERT_EQ(e.size(), 1u);
	qor_ioctl_flash_t in = wire(e[0]), out = wire(e[0], true);
	EXPECT_EQ(e[0].code, 0xC0184347u);
	EXPECT_EQ(std::tuple(in.qord_num, in.type, in.instance, in.bufsz),
		  std::tuple(fc0->instance, (uint32_t)QOR_FLASH_PART_FWIMG, 0, (int32_t)buf.size()));
	EXPECT_EQ(out.bufsz, (int32_t)fw.size());
}

// A partition shorter than the room asked for gives a shorter file; the
// file is replaced whole, and left alone when the read fails.
TEST_F(Flash, ReadToFile)
{
	const std::string cfg = flash_get(kCard0, QOR_FLASH_PART_FWCFG, 1);
	const std::string path = root_path("/cfg1.bin");
	qt::write_file(path, std::string(5000, 'o'));
	ASSERT_EQ(qorl_flash_read_part(fc0, QOR_FLASH_PART_FWCFG, 1, (char *)path.c_str(), 4096, QOR_TRUE),
		  QOR_STATUS_OK);
	EXPECT_EQ(qt::read_file(path), cfg);
	// Never more than asked, whatever the partition holds.
	ASSERT_EQ(qorl_flash_read_part(fc0, QOR_FLASH_PART_FWCFG, 1, (char *)path.c_str(), 10, QOR_TRUE), QOR_STATUS_OK);
	EXPECT_EQ(qt::read_file(path), cfg.substr(0, 10));
	const std::string nodir = root_path("/no/such/dir/f.bin");
	EXPECT_EQ(qorl_flash_read_part(fc0, QOR_FLASH_PART_FWCFG, 0, (char *)nodir.c_str(), 4096, QOR_TRUE),
		  QOR_STATUS_EFOPEN);
	qorsim_fault_request(QOR_IOCTL_FLASH_READ_PART, -1, EIO, 0, 1);
	EXPECT_EQ(qorl_flash_read_part(fc0, QOR_FLASH_PART_FWCFG, 0, (char *)path.c_str(), 4096, QOR_TRUE),
		  QOR_STATUS_EIO);
	EXPECT_EQ(qt::read_file(path), cfg.substr(0, 10));
}

// Write, read back, compare: every kind of partition from memory and from a
// file, on both sides of a converged card.
TEST_F(Flash, UpdateRoundTrips)
{
	struct row {
		qorl_t *q;
		int card;
		qor_flash_part_type_t type;
		uint8_t inst;
		bool file;
	};
	const std::string fw = qt::make_firmware("4.0.0.1", 3000);
	for (const row &r : {row{fc0, kCard0, QOR_FLASH_PART_FWCFG, 1, false}, row{fc1, kCard0, QOR_FLASH_PART_FWIMG, 0, true},
			     row{fcoe, kCard1, QOR_FLASH_PART_PXEOVL, 0, false}, row{eth, kCard1, QOR_FLASH_PART_OPTROM2, 0, true},
			     row{eth, kCard1, QOR_FLASH_PART_PORTCFG, 1, false}}) {
		std::string data = r.type == QOR_FLASH_PART_FWIMG ? fw : std::string(777 + r.inst, char('a' + r.type));
		qorsim_log_clear();
		qor_status_t st;
		if (r.file) {
			std::string path = root_path("/img.bin");
			qt::write_file(path, data);
			st = update_file(r.q, r.type, r.inst, path);
		} else {
			st = update_mem(r.q, r.type, r.inst, data);
		}
		ASSERT_EQ(st, QOR_STATUS_OK) << r.type;
		EXPECT_EQ(flash_get(r.card, r.type, r.inst), data) << r.type;
		auto log = qt::log_entries();
		ASSERT_EQ(log.size(), 2u);
		// The write, then the read-back, to the function's own driver.
		EXPECT_EQ(std::tuple(log[0].code & 0xff, log[1].code & 0xff), std::tuple(0x46u, 0x47u));
		EXPECT_EQ((log[0].code >> 8) & 0xff, r.q == eth ? 0x44u : 0x43u);
		qor_ioctl_flash_t w = wire(log[0]);
		EXPECT_EQ(std::tuple(w.type, w.instance, w.bufsz),
			  std::tuple((uint32_t)r.type, r.inst, (int32_t)data.size()));
		EXPECT_EQ(wire(log[1]).bufsz, (int32_t)data.size());
	}
}

TEST_F(Flash, FirmwareChecksumCheckedBeforeSending)
{
	std::string fw = qt::make_firmware("4.0.0.1");
	const std::string before = flash_get(kCard0, QOR_FLASH_PART_FWIMG, 0);
	fw[50] ^= 0x10;
	EXPECT_EQ(update_mem(fc0, QOR_FLASH_PART_FWIMG, 0, fw), QOR_STATUS_CHECKSUM_FAIL);
	EXPECT_EQ(qt::log_entries().size(), 0u);
	EXPECT_EQ(flash_get(kCard0, QOR_FLASH_PART_FWIMG, 0), before);
	// Other partitions take any bytes; a length not a multiple of 4 counts whole words only.
	EXPECT_EQ(update_mem(fc0, QOR_FLASH_PART_FWCFG, 0, fw), QOR_STATUS_OK);
	std::string odd = qt::make_firmware("4.0.0.1") + "xyz";
	EXPECT_EQ(update_mem(fc0, QOR_FLASH_PART_FWIMG, 0, odd), QOR_STATUS_OK);
	EXPECT_EQ(flash_get(kCard0, QOR_FLASH_PART_FWIMG, 0), odd);
}

TEST_F(Flash, WriteRefusals)
{
	// A read-back that differs fails, though the driver took the write.
	ASSERT_GE(qorsim_flash_fault(kCard0, QORSIM_FLASH_READBACK_DIFFERS, QOR_FLASH_PART_FWCFG, 0, 0, 1), 0);
	EXPECT_EQ(update_mem(fc0, QOR_FLASH_PART_FWCFG, 0, std::string(300, 'c')), QOR_STATUS_FAILED);
	auto w = qt::log_entries(QOR_IOCTL_FLASH_UPDATE_PART);
	ASSERT_EQ(w.size(), 1u);
	EXPECT_EQ(wire(w[0], true).status, (uint32_t)QOR_STATUS_OK);
	const std::string before = flash_get(kCard0, QOR_FLASH_PART_FWCFG, 0);
	qorsim_log_clear();
	// Failing write: its status, and no read-back.
	ASSERT_GE(qorsim_flash_fault(kCard0, QORSIM_FLASH_WRITE_FAIL, QOR_FLASH_PART_FWCFG, -1, QOR_STATUS_HDMA_FAILED, 1), 0);
	EXPECT_EQ(update_mem(fc0, QOR_FLASH_PART_FWCFG, 0, "new"), QOR_STATUS_HDMA_FAILED);
	EXPECT_EQ(qt::log_entries(QOR_IOCTL_FLASH_READ_PART).size(), 0u);
	// Partition too small for the image.
	ASSERT_EQ(qorsim_flash_set_part_size(kCard0, QOR_FLASH_PART_FWCFG, 0, 100), 0);
	EXPECT_EQ(update_mem(fc0, QOR_FLASH_PART_FWCFG, 0, std::string(101, 'z')), QOR_STATUS_FLASH_BAD_LEN);
	EXPECT_EQ(flash_get(kCard0, QOR_FLASH_PART_FWCFG, 0), before);
	// No such partition.
	EXPECT_EQ(update_mem(fc0, QOR_FLASH_PART_FWCFG, 9, "x"), QOR_STATUS_EINVAL);
	// From a file that does not exist: the size step fails, nothing is sent.
	qorsim_log_clear();
	EXPECT_EQ(update_file(fc0, QOR_FLASH_PART_FWCFG, 0, root_path("/missing.bin")), QOR_STATUS_FAILED);
	const std::string empty = root_path("/empty.bin");
	qt::write_file(empty, "");
	EXPECT_EQ(update_file(fc0, QOR_FLASH_PART_FWCFG, 0, empty), QOR_STATUS_FAILED);
	const std::string unreadable = root_path("/unreadable.bin");
	qt::write_file(unreadable, "data");
	chmod(unreadable.c_str(), 0);
	if (geteuid() != 0) { // root reads anything
		EXPECT_EQ(update_file(fc0, QOR_FLASH_PART_FWCFG, 0, unreadable), QOR_STATUS_EFOPEN);
	}
	EXPECT_EQ(qt::log_entries().size(), 0u);
	EXPECT_EQ(qorl_flash_update_part(nullptr, QOR_FLASH_PART_FWCFG, 0, (const unsigned char *)"x", QOR_FALSE, 1),
		  QOR_STATUS_EINVAL);
}

TEST_F(Flash, Erase)
{
	ASSERT_EQ(qorsim_flash_optrom_enabled(kCard1), 1);
	ASSERT_EQ(qorl_flash_erase_part(fcoe, QOR_FLASH_PART_OPTROM, 0), QOR_STATUS_OK);
	EXPECT_EQ(flash_get(kCard1, QOR_FLASH_PART_OPTROM, 0), "");
	EXPECT_EQ(qorsim_flash_optrom_enabled(kCard1), 0); // boot code gone: off until enabled
	auto e = qt::log_entries(QOR_IOCTL_FLASH_ERASE_PART);
	ASSERT_EQ(e.size(), 1u);
	EXPECT_EQ(e[0].code, 0xC0184345u);
	EXPECT_EQ(wire(e[0]).type, (uint32_t)QOR_FLASH_PART_OPTROM);
	qor_flash_attr_t a{};
	ASSERT_EQ(qorl_flash_get_attr(fcoe, &a), QOR_STATUS_OK);
	EXPECT_EQ(a.part[0].part_status, (uint32_t)QOR_FLASH_STATUS_EMPTY);

	const std::string cfg = flash_get(kCard1, QOR_FLASH_PART_FWCFG, 0);
	ASSERT_GE(qorsim_flash_fault(kCard1, QORSIM_FLASH_ERASE_TIMEOUT, 0, -1, 0, 1), 0);
	EXPECT_EQ(qorl_flash_erase_part(fcoe, QOR_FLASH_PART_FWCFG, 0), QOR_STATUS_ETIMER);
	EXPECT_EQ(flash_get(kCard1, QOR_FLASH_PART_FWCFG, 0), cfg);
}

TEST_F(Flash, OptionRomSwitch)
{
	ASSERT_EQ(qorl_flash_disable_optrom(fc0), QOR_STATUS_OK);
	EXPECT_EQ(std::tuple(qorsim_flash_optrom_enabled(kCard0), qorsim_flash_optrom_enabled(kCard1)), std::tuple(0, 1));
	ASSERT_EQ(qorl_flash_enable_optrom(fc1), QOR_STATUS_OK);
	EXPECT_EQ(qorsim_flash_optrom_enabled(kCard0), 1);
	EXPECT_EQ(qt::log_entries(QOR_IOCTL_FLASH_DISABLE_OPTROM).at(0).code, 0xC008434Au);
	EXPECT_EQ(qt::log_entries(QOR_IOCTL_FLASH_ENABLE_OPTROM).at(0).code, 0xC0084349u);
	// Writing boot code turns it off again.
	ASSERT_EQ(update_mem(fc0, QOR_FLASH_PART_BOOTOVL, 0, "overlay"), QOR_STATUS_OK);
	EXPECT_EQ(qorsim_flash_optrom_enabled(kCard0), 0);
}

qor_mfg_block_t mfg_written(int card)
{
	qor_mfg_block_t b{};
	std::string s = flash_get(card, QOR_FLASH_PART_MFG, 0);
	EXPECT_EQ(s.size(), sizeof b);
	std::memcpy(&b, s.data(), std::min(s.size(), sizeof b));
	return b;
}

TEST_F(Flash, ManufacturingBlock)
{
	mac_t mac{{0x02, 0x11, 0x22, 0x33, 0x44, 0x55}};
	const wwn_t w = qt::wwn("20:00:00:11:22:33:44:55");
	struct row {
		uint32_t card_type;
		const char *serial, *partnum;
		uint8_t num_wwn;
	};
	for (const row &r : {row{612, "ABCDEFGHIJKL", "PN-0123456789ABC", 2}, row{611, "S1", "P1", 1},
			     row{631, "SN631", "QX-631", 1}, row{672, "OEM", "HX10C2-A01", 2}}) {
		ASSERT_EQ(qorl_flash_mfg_info(fc0, r.serial, r.partnum, w, mac, r.card_type), QOR_STATUS_OK) << r.card_type;
		qor_mfg_block_t b = mfg_written(kCard0);
		EXPECT_EQ(std::tuple(b.version, std::string((const char *)b.mfg_sig, 3), b.mfgsize, b.u16_chksum),
			  std::tuple(2, std::string("MFG"), 256, 0));
		// A 12-character serial fills its field with no terminator.
		EXPECT_EQ(std::string(b.vlox_serialnum, strnlen(b.vlox_serialnum, 12)), r.serial);
		EXPECT_EQ(std::string(b.vlox_partnum, strnlen(b.vlox_partnum, 16)), r.partnum);
		EXPECT_EQ(b.mfg_wwn, w);
		EXPECT_EQ(b.num_wwn, r.num_wwn) << r.card_type;
		EXPECT_EQ(std::memcmp(b.mfg_mac.mac, mac.mac, 6), 0);
		const uint8_t *t = reinterpret_cast<const uint8_t *>(&b.mfg_type);
		EXPECT_EQ((uint32_t)(t[0] << 24 | t[1] << 16 | t[2] << 8 | t[3]), r.card_type);
		const uint8_t *raw = reinterpret_cast<const uint8_t *>(&b);
		for (size_t i : {36u, 37u, 38u, 39u, 49u, 126u})
			EXPECT_EQ(raw[i], 0) << i;
		for (size_t i = 132; i < 256; i++)
			ASSERT_EQ(raw[i], 0) << i;
	}
	auto e = qt::log_entries(QOR_IOCTL_FLASH_MFG);
	ASSERT_FALSE(e.empty());
	EXPECT_EQ(e[0].code, 0xC1084348u);
}

TEST_F(Flash, ManufacturingBlockRefusals)
{
	const std::string before = flash_get(kCard0, QOR_FLASH_PART_MFG, 0);
	mac_t mac{};
	EXPECT_EQ(qorl_flash_mfg_info(fc0, "S", "P", 0, mac, 825), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_flash_mfg_info(fc0, "S", "P", 0, mac, 0), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_flash_mfg_info(fc0, "ABCDEFGHIJKLM", "P", 0, mac, 612), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_flash_mfg_info(fc0, "S", "PN-0123456789ABCD", 0, mac, 612), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_flash_mfg_info(fc0, nullptr, "P", 0, mac, 612), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_flash_mfg_info(fc0, "S", nullptr, 0, mac, 612), QOR_STATUS_EINVAL);
	EXPECT_EQ(qt::log_entries().size(), 0u);
	EXPECT_EQ(flash_get(kCard0, QOR_FLASH_PART_MFG, 0), before);
}

// The card's flash is kept under the root: a new model (a driver reload,
// the next program run) finds what was written, and the attributes report
// the versions the images carry. A damaged file is not used.
TEST_F(Flash, ContentsSurviveUnderTheRoot)
{
	const std::string fw = qt::make_firmware("5.1.0.2");
	const std::string rom = qt::swapped(qt::make_optrom({{.codetype = 0, .version = "5.1.0.2"}}));
	ASSERT_EQ(update_mem(fcoe, QOR_FLASH_PART_FWIMG, 0, fw), QOR_STATUS_OK);
	ASSERT_EQ(update_mem(fcoe, QOR_FLASH_PART_OPTROM, 0, rom), QOR_STATUS_OK);
	ASSERT_EQ(qorl_flash_erase_part(fcoe, QOR_FLASH_PART_FWCFG, 1), QOR_STATUS_OK);
	struct stat st;
	EXPECT_EQ(stat(root_path("/var/lib/qorsim/flash-QXC2214C007.bin").c_str(), &st), 0);
	qorsim_reset();
	EXPECT_EQ(flash_get(kCard1, QOR_FLASH_PART_FWIMG, 0), fw);
	EXPECT_EQ(flash_get(kCard1, QOR_FLASH_PART_OPTROM, 0), rom);
	EXPECT_EQ(flash_get(kCard1, QOR_FLASH_PART_FWCFG, 1), "");
	EXPECT_EQ(qorsim_flash_optrom_enabled(kCard1), 0);
	ASSERT_EQ(qorl_adapter_scan(), 2);
	qor_ioc_attr_t a{};
	ASSERT_EQ(qorl_ioc_get_attr(qorl_ioc_open_idx(2), &a), QOR_STATUS_OK);
	EXPECT_EQ(std::tuple(std::string(a.adapter_attr.fw_ver), std::string(a.adapter_attr.optrom_ver),
			     std::string(a.driver_attr.bios_ver)),
		  std::tuple("5.1.0.2", "5.1.0.2", "5.1.0.2"));
	// The other card is untouched and keeps the versions it came with.
	ASSERT_EQ(qorl_ioc_get_attr(qorl_ioc_open_idx(0), &a), QOR_STATUS_OK);
	EXPECT_STREQ(a.adapter_attr.fw_ver, "3.2.1.0");
	qt::write_file(root_path("/var/lib/qorsim/flash-QXA2210F001.bin"), "QXFLASH1 but then nonsense");
	qorsim_reset();
	EXPECT_EQ(flash_get(kCard0, QOR_FLASH_PART_FWIMG, 0).substr(0, 4), "QXFW");
	// Without a root nothing is kept.
	qorsim_set_root(nullptr);
	qorsim_reset();
	EXPECT_EQ(flash_get(kCard1, QOR_FLASH_PART_FWIMG, 0).substr(0, 11), "QXFW3.2.1.0");
}

// The topology's flash keys: partition room, the boot code switch, the
// latency on the virtual clock and a fault.
TEST_F(Flash, TopologySetsRoomSwitchLatencyAndFaults)
{
	ASSERT_EQ(qorsim_load_topology(R"({"flash_latency": {"write_ms": 20, "erase_ms": 300},
		"adapters": [{"serial": "QXF1", "flash": {"part_size": {"cfg": 64, "2": 4096}, "optrom_enabled": false},
			      "functions": [{"type": "fc"}]}],
		"faults": [{"flash": "write_fail", "adapter": 0, "part": "cfg", "status": "QOR_STATUS_HDMA_FAILED"}]})"),
		  0)
		<< qorsim_error();
	ASSERT_EQ(qorl_adapter_scan(), 1);
	qorl_t *q = qorl_ioc_open_idx(0);
	ASSERT_NE(q, nullptr);
	EXPECT_EQ(qorsim_flash_optrom_enabled(0), 0);
	qor_flash_attr_t a{};
	ASSERT_EQ(qorl_flash_get_attr(q, &a), QOR_STATUS_OK);
	// fw by type number, cfg by name
	EXPECT_EQ(std::tuple(a.part[1].part_size, a.part[2].part_size), std::tuple(4096u, 64u));
	EXPECT_EQ(update_mem(q, QOR_FLASH_PART_FWCFG, 0, std::string(65, 'c')), QOR_STATUS_FLASH_BAD_LEN);
	const uint64_t t0 = qorsim_now_ns();
	EXPECT_EQ(update_mem(q, QOR_FLASH_PART_FWCFG, 0, std::string(64, 'c')), QOR_STATUS_HDMA_FAILED);
	EXPECT_EQ(qorsim_now_ns() - t0, 20000000u);
	EXPECT_EQ(update_mem(q, QOR_FLASH_PART_FWCFG, 0, std::string(64, 'c')), QOR_STATUS_OK) << "the fault was once";
	EXPECT_EQ(flash_get(0, QOR_FLASH_PART_FWCFG, 0), std::string(64, 'c'));
	const uint64_t t1 = qorsim_now_ns();
	EXPECT_EQ(qorl_flash_erase_part(q, QOR_FLASH_PART_FWCFG, 0), QOR_STATUS_OK);
	EXPECT_EQ(qorsim_now_ns() - t1, 300000000u);
}

TEST_F(Flash, NullController)
{
	qor_flash_attr_t a;
	char b[4];
	mac_t mac{};
	EXPECT_EQ(qorl_flash_get_attr(nullptr, &a), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_flash_read_part(nullptr, QOR_FLASH_PART_FWIMG, 0, b, 4, QOR_FALSE), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_flash_read_part(fc0, QOR_FLASH_PART_FWIMG, 0, nullptr, 4, QOR_FALSE), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_flash_erase_part(nullptr, QOR_FLASH_PART_FWIMG, 0), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_flash_mfg_info(nullptr, "S", "P", 0, mac, 612), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_flash_enable_optrom(nullptr), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_flash_disable_optrom(nullptr), QOR_STATUS_EINVAL);
	EXPECT_EQ(qt::log_entries().size(), 0u);
}

} // namespace
