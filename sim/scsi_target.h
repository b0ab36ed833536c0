// The logical units behind an emulated target port, and the SCSI device
// server that answers the pass-through's commands for them: standard and
// VPD INQUIRY, READ CAPACITY(10) and (16), REPORT LUNS, TEST UNIT READY and
// READ(10), with fixed-format sense for what a real target refuses.
//
// READ(10) data is a pattern a reader can check: in block L of the unit
// with LUN number n, bytes 0-7 hold L (big-endian) and every later byte i
// holds (L + n + i) mod 256.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "protocol/scsi.h"
#include "qor/ioctl/qor_ioctl.h"

namespace qorsim {
namespace scsi {

// How the unit appears under /sys/class/scsi_device/H:B:T:L/device/.
enum class Sysfs : uint8_t {
	dir,   // a directory "block" (or "tape") holding the device name (newer kernels)
	entry, // an entry "block:<name>" (older kernels)
	link,  // a link "block" to ../../block/<name> (older kernels)
};

struct Unit {
	uint16_t number = 0;           // LUN number, 0-16383
	uint8_t type = SCSI_TYPE_DISK; // SCSI_TYPE_DISK or SCSI_TYPE_TAPE
	uint32_t block_size = 512;
	uint64_t blocks = 0;
	std::string vendor, product, revision, serial;
	uint64_t naa = 0; // the unit's NAA designator (page 0x83)
	Sysfs sysfs = Sysfs::dir;
	std::string devname;   // "sdb", "st0"; empty: none known to the OS
	bool auto_name = true; // the emulator names it (false: named, or none, by the topology)
};

// Faults of one target's answers.
enum class Fault : uint8_t {
	none,
	underrun,  // only fault_arg bytes of any data reach the initiator
	no_answer, // the target stops answering; the driver's exchange times out
	long_sense, // sense of kLongSense bytes, whose whole length the driver reports
	lun_list_len, // REPORT LUNS claims a list length of fault_arg bytes
};
constexpr size_t kLongSense = 96;

struct Target {
	std::vector<Unit> units; // in LUN order, numbers unique
	bool luns_changed = false; // REPORTED LUNS DATA HAS CHANGED not yet reported
	Fault fault = Fault::none;
	uint32_t fault_arg = 0;

	const Unit *find(const uint8_t lun[SCSI_LUN_LEN]) const;
	// Adds or replaces the unit with u's number; fills what u leaves empty.
	void put(Unit u, wwn_t port);
};

struct Reply {
	uint8_t status = SCSI_STATUS_GOOD;
	std::vector<uint8_t> data;  // what the device sends, at most the room
	std::vector<uint8_t> sense; // fixed format, with CHECK CONDITION
};

// Runs one CDB for the initiator; data beyond `room` bytes is not made.
// `port` is the target port's WWN (page 0x83 names it).
Reply execute(Target &t, wwn_t port, const uint8_t lun[SCSI_LUN_LEN], const uint8_t cdb[SCSI_CDB_LEN],
	      uint32_t room);

// Byte i of block `lba` of LUN number n, as READ(10) returns it.
uint8_t pattern_byte(uint64_t lba, uint16_t n, uint32_t i);

} // namespace scsi
} // namespace qorsim
