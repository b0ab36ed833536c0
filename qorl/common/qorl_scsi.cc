// SCSI pass-through: one request carries the CDB and the addresses of the
// caller's data and sense buffers.
#include "qorl_int.h"
#include "qorl_scsi.h"

extern "C" {

qor_status_t qorl_scsi_cmnd(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, lun_t lun, scsi_cdb_t *cdb,
			    int write, void *iobuf, uint32_t iosz, uint8_t *scsi_status, void *snsbuf,
			    uint32_t *snssz)
{
	if (!qorl || !cdb)
		return QOR_STATUS_EINVAL;
	auto rec = qorl::heap_record<qor_ioctl_scsi_t>();
	if (!rec)
		return QOR_STATUS_ENOMEM;
	const uint32_t sense_room = snssz ? *snssz : 0;
	rec->vf_id = vf_id;
	rec->lpwwn = lpwwn;
	rec->rpwwn = rpwwn;
	rec->lun = lun;
	rec->cdb = *cdb;
	rec->write = write;
	rec->iosz = iosz;
	rec->snssz = sense_room;
	rec->iobuf_ptr = (uint64_t)(uintptr_t)iobuf;
	rec->snsbuf_pt = (uint64_t)(uintptr_t)snsbuf;
	qorl::outcome o = qorl::exec<qorl::req::SCSI>(qorl, *rec);
	if (!o.sent)
		return o.status;
	// The driver cannot have put more sense in the buffer than it had room for.
	qorl::put(snssz, rec->snssz < sense_room ? rec->snssz : sense_room);
	qorl::put(scsi_status, rec->scsi_status);
	return o.status;
}

} // extern "C"
