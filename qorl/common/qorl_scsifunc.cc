// The standard commands on top of the pass-through: each sets its own CDB
// bytes, leaves the rest as the caller set them, and reads from the device.
#include "protocol/scsi_decode.h"
#include "qorl_int.h"
#include "qorl_scsi.h"

namespace {

// The first REPORT LUNS offers room for the header and 101 LUNs.
constexpr uint32_t kReportLunsFirst = SCSI_REPORT_LUNS_HDR_LEN + 101 * SCSI_LUN_LEN;
static_assert(kReportLunsFirst == 816);

template <class Set>
qor_status_t build_and_send(qorl_t *q, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, lun_t lun, scsi_cdb_t *cdb,
			    void *iobuf, uint32_t iosz, uint8_t *scsi_status, void *snsbuf, uint32_t *snssz, Set set)
{
	if (!cdb)
		return QOR_STATUS_EINVAL;
	set(cdb->scsi_cdb);
	return qorl_scsi_cmnd(q, vf_id, lpwwn, rpwwn, lun, cdb, 0, iobuf, iosz, scsi_status, snsbuf, snssz);
}

} // namespace

// A standard command of one buffer: the pass-through's arguments, its
// direction always a read; the CDB setter (the variadic part, a lambda that
// may use iosz) is all that differs.
#define QORL_SCSI_STANDARD(name, ...)                                                                        \
	qor_status_t name(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, lun_t lun, scsi_cdb_t *cdb,    \
			  int, void *iobuf, uint32_t iosz, uint8_t *scsi_status, void *snsbuf, uint32_t *snssz)       \
	{                                                                                                         \
		return build_and_send(qorl, vf_id, lpwwn, rpwwn, lun, cdb, iobuf, iosz, scsi_status, snsbuf, snssz, \
				      __VA_ARGS__);                                                                   \
	}

extern "C" {

QORL_SCSI_STANDARD(qorl_scsi_inquiry, [&](uint8_t *c) {
	c[0] = SCSI_OP_INQUIRY;
	fc_put_be16(c + SCSI_INQUIRY_ALLOC_OFF, (uint16_t)iosz);
})

QORL_SCSI_STANDARD(qorl_scsi_readcapacity, [](uint8_t *c) { c[0] = SCSI_OP_READ_CAPACITY10; })

QORL_SCSI_STANDARD(qorl_scsi_readcapacity16, [&](uint8_t *c) {
	c[0] = SCSI_OP_SERVICE_ACTION_IN16;
	c[1] = SCSI_SAI_READ_CAPACITY16;
	fc_put_be32(c + SCSI_RC16_ALLOC_OFF, iosz);
})

QORL_SCSI_STANDARD(qorl_scsi_testunitready, [](uint8_t *c) { c[0] = SCSI_OP_TEST_UNIT_READY; })

QORL_SCSI_STANDARD(qorl_scsi_read10, [](uint8_t *c) {
	c[0] = SCSI_OP_READ10;
	fc_put_be16(c + SCSI_READ10_LEN_OFF, 8);
})

qor_status_t qorl_scsi_reportluns(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, lun_t lun,
				  scsi_cdb_t *cdb, int, void **iobuf, uint32_t, uint8_t *scsi_status,
				  void *snsbuf, uint32_t *snssz)
{
	if (!iobuf || !cdb)
		return QOR_STATUS_EINVAL;
	*iobuf = nullptr;
	// Each command offers the whole sense buffer again.
	const uint32_t sense_room = snssz ? *snssz : 0;
	uint8_t own_status = 0;
	uint8_t *status = scsi_status ? scsi_status : &own_status;
	uint32_t size = kReportLunsFirst;
	for (int attempt = 0;; attempt++) {
		auto *buf = static_cast<uint8_t *>(std::calloc(1, size));
		*iobuf = buf;
		if (!buf)
			return QOR_STATUS_ENOMEM;
		if (snssz)
			*snssz = sense_room;
		qor_status_t st = build_and_send(qorl, vf_id, lpwwn, rpwwn, lun, cdb, buf, size, status, snsbuf,
						 snssz, [&](uint8_t *c) {
							 c[0] = SCSI_OP_REPORT_LUNS;
							 fc_put_be32(c + SCSI_REPORT_LUNS_ALLOC_OFF, size);
						 });
		// Data that came with an error status is no report to size a retry by.
		const uint32_t need = st == QOR_STATUS_OK && *status == SCSI_STATUS_GOOD
					      ? scsi_report_luns_needed(scsi_report_luns_length(buf, size))
					      : 0;
		if (need <= size || attempt > 0) {
			// The returned report never claims more than its buffer holds.
			scsi_report_luns_fit(buf, size);
			return st;
		}
		std::free(buf);
		size = need;
	}
}

} // extern "C"
