// The sysfs SCSI device tree of the emulated units (sim/scsi_sysfs.cc).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "scsi_target.h"

namespace qorsim {
namespace scsi {

// One unit at its Linux SCSI address.
struct Node {
	uint32_t host, bus, target;
	const Unit *unit;
};

// The device names Linux gives: sda ... sdz, sdaa ...; st0, st1 ...
std::string disk_name(size_t i);
std::string tape_name(size_t i);

// Writes the SCSI device tree (what /sys/class/scsi_device shows) into the
// directory base for the units that have a device name, in place of the
// units an earlier set wrote (nothing else there is touched); does nothing
// when the tree was last written for the same units. False when a part
// could not be written.
bool write_sysfs(const std::string &base, const std::vector<Node> &nodes);

} // namespace scsi
} // namespace qorsim
