/*
 * SCSI commands from a local FC port to a logical unit behind a remote port,
 * and the operating system's device node of a SCSI address. FC-side
 * controllers only: an Ethernet controller gets QOR_STATUS_FAILED without a
 * request. Compiles as C11 and C++; nothing throws.
 *
 * The seven command functions share their arguments:
 *   qorl      controller of the local port
 *   vf_id     virtual fabric (0)
 *   lpwwn     local port WWN; rpwwn remote port WWN; lun the FCP LUN
 *   cdb       the CDB; the builders set their command's bytes, others stay
 *             as the caller set them
 *   write     data direction (0 from the device); the builders send 0
 *   iobuf     data buffer of iosz bytes
 *   scsi_status  receives the SCSI status byte
 *   snsbuf    sense buffer; *snssz is its size on entry and the number of
 *             sense bytes in it on return, never more than its size
 *
 * Result: a failed system call's status, leaving *scsi_status and *snssz
 * as they were; otherwise the driver's status, with *scsi_status and
 * *snssz set. A command that ended in CHECK CONDITION returns the driver's
 * status (normally QOR_STATUS_OK) with a non-zero *scsi_status: callers
 * test both. scsi_status and snssz may be NULL (no sense buffer offered).
 * A NULL qorl or cdb is QOR_STATUS_EINVAL, nothing sent.
 */
#ifndef QORL_SCSI_H
#define QORL_SCSI_H

#include "qorl.h"
#include "protocol/scsi.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Sends cdb as given. */
qor_status_t qorl_scsi_cmnd(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, lun_t lun, scsi_cdb_t *cdb,
			    int write, void *iobuf, uint32_t iosz, uint8_t *scsi_status, void *snsbuf,
			    uint32_t *snssz);

/* INQUIRY (0x12); allocation length = the low 16 bits of iosz. The caller
 * sets byte 1 (EVPD) and byte 2 (page code). */
qor_status_t qorl_scsi_inquiry(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, lun_t lun,
			       scsi_cdb_t *cdb, int write, void *iobuf, uint32_t iosz, uint8_t *scsi_status,
			       void *snsbuf, uint32_t *snssz);
/* READ CAPACITY(10) (0x25). */
qor_status_t qorl_scsi_readcapacity(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, lun_t lun,
				    scsi_cdb_t *cdb, int write, void *iobuf, uint32_t iosz, uint8_t *scsi_status,
				    void *snsbuf, uint32_t *snssz);
/* READ CAPACITY(16) (0x9E, service action 0x10); allocation length = iosz. */
qor_status_t qorl_scsi_readcapacity16(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, lun_t lun,
				      scsi_cdb_t *cdb, int write, void *iobuf, uint32_t iosz,
				      uint8_t *scsi_status, void *snsbuf, uint32_t *snssz);
/*
 * REPORT LUNS (0xA0). iobuf is a void **: the function allocates the
 * response buffer and stores it there (also when the command fails); the
 * caller frees it with free(). iosz is not used. The first command offers
 * 816 bytes (101 LUNs); a list that needs more gets one second command
 * with the size it needs, at most 16,384 LUNs (131,080 bytes). The list
 * length in the returned buffer never claims more entries than the buffer
 * holds: a longer report (beyond 16,384 LUNs, or grown between the two
 * commands) comes back cut, its length lowered to the entries kept. No
 * memory: QOR_STATUS_ENOMEM with *iobuf NULL.
 */
qor_status_t qorl_scsi_reportluns(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, lun_t lun,
				  scsi_cdb_t *cdb, int write, void **iobuf, uint32_t iosz, uint8_t *scsi_status,
				  void *snsbuf, uint32_t *snssz);
/* TEST UNIT READY (0x00). */
qor_status_t qorl_scsi_testunitready(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, lun_t lun,
				     scsi_cdb_t *cdb, int write, void *iobuf, uint32_t iosz, uint8_t *scsi_status,
				     void *snsbuf, uint32_t *snssz);
/* READ(10) (0x28) of 8 blocks from the LBA the caller put in bytes 2-5. */
qor_status_t qorl_scsi_read10(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, lun_t lun,
			      scsi_cdb_t *cdb, int write, void *iobuf, uint32_t iosz, uint8_t *scsi_status,
			      void *snsbuf, uint32_t *snssz);

/*
 * The device node ("/dev/sdb", "/dev/st0") of the Linux SCSI address
 * host:bus:target:lun, found under /sys/class/scsi_device in either sysfs
 * layout. Writes the path into *buf, which must have room for 64 bytes.
 * *ndev is set to 1 on every call. QOR_STATUS_FAILED when the address has
 * no block or tape device, or when its path does not fit 64 bytes with its
 * terminator (nothing written then); QOR_STATUS_ENOMEM without memory;
 * QOR_STATUS_EINVAL for a NULL buf or *buf.
 */
#define QORL_OSNAME_LEN 64
qor_status_t qorl_get_osname(uint32_t host, uint32_t bus, uint32_t target, uint32_t lun, char **buf,
			     uint32_t *ndev);

#ifdef __cplusplus
}
#endif

#endif
