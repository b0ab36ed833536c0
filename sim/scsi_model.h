// The logical units of the emulated targets within the model: read from
// the topology, named as the operating system would name them, shown in
// the sysfs tree under the root, and the driver's side of a SCSI command.
#pragma once

#include <string>

#include "san.h"
#include "scsi_target.h"
#include "sim.h"

namespace qorsim {

class Field;

namespace scsi {

// The keys of a remote port entry that describe a target's units.
#define QORSIM_SCSI_RPORT_KEYS "luns", "lun_count", "scsi_fault"

// Reads "luns", "lun_count" and "scsi_fault" of a target's entry into t;
// `port` is the target port's WWN. Throws BadInput naming the place.
void parse_units(const Field &rport, wwn_t port, Target &t);
// One unit as a topology entry or schedule action gives it; `def_number`
// when it names no LUN.
Unit parse_unit(const Field &u, uint16_t def_number);
// Gives every unit the emulator names a device name ("sda" on for disks,
// "st0" on for tapes) in topology order, not one taken already; units that
// have one keep it. Takes a new units_serial.
void name_units(Model &m);
// The model's units changed: a new units_serial.
void units_changed(Model &m);

// Runs fn on every logical port's view of target rpwwn of controller f;
// how many there were.
template <class Fn> int for_target(Function &f, wwn_t rpwwn, Fn fn)
{
	int n = 0;
	for (auto &l : san::port_of(f).lports)
		for (auto &r : l.rports)
			if (r.pwwn == rpwwn && r.target) {
				fn(*r.target);
				n++;
			}
	return n;
}
// Target rpwwn of f gets unit u (in place of the one with its number, if
// any), named like the others, and reports REPORTED LUNS DATA HAS CHANGED
// once. False when f sees no such target.
bool add_unit(Model &m, Function &f, wwn_t rpwwn, const Unit &u);
// Writes the sysfs tree of the model's units under the root, if the root is
// a directory of the emulator's own and the tree is not the current set's
// already. Takes Sim::mu.
void ensure_sysfs();

// The driver's side of one command to a unit of t behind `port`: runs it,
// moves data and sense into the caller's buffers (never more than their
// sizes) and fills the record's answer. 0, or the errno of a bad buffer.
int exchange(Target &t, wwn_t port, qor_ioctl_scsi_t &v, uint32_t sense_room);

} // namespace scsi
} // namespace qorsim
