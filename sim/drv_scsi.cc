// The SCSI pass-through: the driver carries one command to a logical unit
// behind a remote port and moves its data and sense straight into the
// caller's buffers, no more than each buffer's size; and the control API of
// the targets' units.
#include <algorithm>
#include <cstring>

#include "qorsim_scsi.h"
#include "san.h"
#include "scsi_model.h"

namespace qorsim {
namespace {

using namespace san;

static_assert((int)scsi::Fault::underrun == QORSIM_SCSI_FAULT_UNDERRUN &&
	      (int)scsi::Fault::no_answer == QORSIM_SCSI_FAULT_NO_ANSWER &&
	      (int)scsi::Fault::long_sense == QORSIM_SCSI_FAULT_LONG_SENSE &&
	      (int)scsi::Fault::lun_list_len == QORSIM_SCSI_FAULT_LUN_LIST_LEN);

} // namespace

int scsi::exchange(Target &t, wwn_t port, qor_ioctl_scsi_t &v, uint32_t sense_room)
{
	// None of the commands the targets know carries data to the device.
	if (v.write != 0) {
		v.status = QOR_STATUS_EINVAL;
		return 0;
	}
	if (t.fault == Fault::no_answer) {
		v.status = QOR_STATUS_ETIMER;
		return 0;
	}
	uint8_t lun[SCSI_LUN_LEN];
	memcpy(lun, &v.lun, sizeof lun);
	Reply rep = execute(t, port, lun, v.cdb.scsi_cdb, v.iosz);
	size_t n = rep.data.size();
	if (t.fault == Fault::underrun)
		n = std::min<size_t>(n, t.fault_arg);
	if (int e = copy_to_user(v.iobuf_ptr, rep.data.data(), n))
		return e;
	const bool long_sense = t.fault == Fault::long_sense && !rep.sense.empty();
	if (long_sense) {
		rep.sense.resize(kLongSense);
		rep.sense[offsetof(scsi_sense_fixed_t, add_sense_len)] = kLongSense - 8;
	}
	const size_t sn = std::min<size_t>(rep.sense.size(), sense_room);
	if (int e = copy_to_user(v.snsbuf_pt, rep.sense.data(), sn))
		return e;
	v.snssz = (uint32_t)(long_sense ? rep.sense.size() : sn);
	v.scsi_status = rep.status;
	v.status = QOR_STATUS_OK;
	return 0;
}

namespace {

// Runs fn on every logical port's view of target rpwwn of a controller,
// under the model's lock; then names the units again.
template <class Fn> int each_target(int drv, int instance, uint64_t rpwwn, Fn fn)
{
	std::lock_guard lk(sim().mu);
	Model &m = sim().m;
	Function *f = m.fn_at(drv, instance);
	if (!f)
		return api_error("driver " + std::to_string(drv) + " has no instance " + std::to_string(instance));
	if (!scsi::for_target(*f, rpwwn, fn))
		return api_error("the controller sees no such target");
	scsi::name_units(m);
	return 0;
}

bool to_unit(const qorsim_lun_t &in, scsi::Unit &u)
{
	if (in.lun > SCSI_LUN_NUMBER_MAX || (in.type != QORSIM_LUN_DISK && in.type != QORSIM_LUN_TAPE) ||
	    (in.block_size && (in.block_size < 512 || in.block_size > 65536)))
		return false;
	u.number = in.lun;
	u.type = in.type;
	u.block_size = in.block_size ? in.block_size : 512;
	u.blocks = in.blocks;
	u.vendor = in.vendor ? in.vendor : "";
	u.product = in.product ? in.product : "";
	u.revision = in.revision ? in.revision : "";
	u.serial = in.serial ? in.serial : "";
	return true;
}

} // namespace
} // namespace qorsim

using namespace qorsim;

#pragma GCC visibility push(default)
extern "C" {

int qorsim_scsi_set_luns(int drv, int instance, uint64_t rpwwn, const qorsim_lun_t *luns, size_t n)
{
	std::vector<scsi::Unit> units(n);
	for (size_t i = 0; i < n; i++)
		if (!to_unit(luns[i], units[i]))
			return api_error("logical unit " + std::to_string(i) + " is not valid");
	return each_target(drv, instance, rpwwn, [&](san::Target &t) {
		t.lus.units.clear();
		for (const auto &u : units)
			t.lus.put(u, rpwwn);
	});
}

int qorsim_scsi_add_lun(int drv, int instance, uint64_t rpwwn, const qorsim_lun_t *lun)
{
	scsi::Unit u;
	if (!lun || !to_unit(*lun, u))
		return api_error("the logical unit is not valid");
	std::lock_guard lk(sim().mu);
	Function *f = sim().m.fn_at(drv, instance);
	if (!f)
		return api_error("driver " + std::to_string(drv) + " has no instance " + std::to_string(instance));
	return scsi::add_unit(sim().m, *f, rpwwn, u) ? 0 : api_error("the controller sees no such target");
}

int qorsim_scsi_fault(int drv, int instance, uint64_t rpwwn, int mode, uint32_t arg)
{
	if (mode < QORSIM_SCSI_FAULT_NONE || mode > QORSIM_SCSI_FAULT_LUN_LIST_LEN)
		return api_error("no such fault");
	return each_target(drv, instance, rpwwn, [&](san::Target &t) {
		t.lus.fault = static_cast<scsi::Fault>(mode);
		t.lus.fault_arg = arg;
	});
}

} // extern "C"
#pragma GCC visibility pop
