// The emulated targets' device server.
#include "scsi_target.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace qorsim {
namespace scsi {
namespace {

constexpr uint8_t kPages[] = {SCSI_VPD_SUPPORTED_PAGES, SCSI_VPD_UNIT_SERIAL, SCSI_VPD_DEVICE_ID};

void append(std::vector<uint8_t> &v, const void *p, size_t n)
{
	const size_t at = v.size();
	v.resize(at + n);
	if (n)
		memcpy(v.data() + at, p, n);
}

template <class T> void append(std::vector<uint8_t> &v, const T &rec)
{
	append(v, &rec, sizeof rec);
}

void check(Reply &r, uint8_t key, uint8_t asc, uint8_t ascq)
{
	scsi_sense_fixed_t s{};
	s.response_code = SCSI_SENSE_FIXED_CURRENT;
	s.flags_key = key;
	s.add_sense_len = sizeof s - 8;
	s.asc = asc;
	s.ascq = ascq;
	r.status = SCSI_STATUS_CHECK_CONDITION;
	r.data.clear();
	r.sense.clear();
	append(r.sense, s);
}

void illegal(Reply &r, uint8_t asc)
{
	check(r, SCSI_SK_ILLEGAL_REQUEST, asc, 0);
}

// Space-padded ASCII field.
void pad(uint8_t *dst, size_t n, const std::string &s)
{
	memset(dst, ' ', n);
	memcpy(dst, s.data(), std::min(n, s.size()));
}

void desig(std::vector<uint8_t> &v, uint8_t proto, uint8_t codeset, bool piv, uint8_t assoc, uint8_t type,
	   const void *id, size_t n)
{
	scsi_vpd_desig_t d{};
	d.proto_codeset = (uint8_t)(proto << 4 | codeset);
	d.piv_assoc_type = (uint8_t)((piv ? 0x80 : 0) | assoc << 4 | type);
	d.len = (uint8_t)n;
	append(v, d);
	append(v, id, n);
}

void standard_inquiry(Reply &r, const Unit *u)
{
	scsi_inquiry_data_t d{};
	d.peripheral = u ? u->type : (SCSI_PQ_NOT_SUPPORTED | SCSI_TYPE_NONE);
	d.rmb = u && u->type == SCSI_TYPE_TAPE ? 0x80 : 0;
	d.version = 6;
	d.response_format = 0x12; // HISUP, format 2
	d.add_len = sizeof d - 5;
	d.flags[2] = 0x02; // CMDQUE
	pad(d.vendor, sizeof d.vendor, u ? u->vendor : "");
	pad(d.product, sizeof d.product, u ? u->product : "");
	pad(d.revision, sizeof d.revision, u ? u->revision : "");
	append(r.data, d);
}

void vpd(Reply &r, const Unit &u, wwn_t port, uint8_t page)
{
	std::vector<uint8_t> p;
	switch (page) {
	case SCSI_VPD_SUPPORTED_PAGES:
		p.assign(std::begin(kPages), std::end(kPages));
		break;
	case SCSI_VPD_UNIT_SERIAL:
		p.assign(u.serial.begin(), u.serial.end());
		break;
	case SCSI_VPD_DEVICE_ID: {
		uint8_t naa[8], wwpn[8];
		fc_put_be64(naa, u.naa);
		memcpy(wwpn, &port, 8);
		desig(p, 0, SCSI_CODESET_BINARY, false, SCSI_ASSOC_LU, SCSI_DESIG_NAA, naa, 8);
		uint8_t t10[8 + 16 + 32];
		pad(t10, 8, u.vendor);
		pad(t10 + 8, 16, u.product);
		pad(t10 + 24, 32, u.serial);
		desig(p, 0, SCSI_CODESET_ASCII, false, SCSI_ASSOC_LU, SCSI_DESIG_T10, t10, sizeof t10);
		desig(p, SCSI_PROTO_FCP, SCSI_CODESET_BINARY, true, SCSI_ASSOC_TARGET_PORT, SCSI_DESIG_NAA, wwpn, 8);
		break;
	}
	default:
		illegal(r, SCSI_ASC_INVALID_FIELD_IN_CDB);
		return;
	}
	scsi_vpd_hdr_t h{};
	h.peripheral = u.type;
	h.page_code = page;
	fc_put_be16(h.page_len, (uint16_t)p.size());
	append(r.data, h);
	append(r.data, p.data(), p.size());
}

void read_capacity10(Reply &r, const Unit &u)
{
	scsi_read_capacity10_data_t d{};
	const uint64_t last = u.blocks ? u.blocks - 1 : 0;
	fc_put_be32(d.last_lba, last >= SCSI_RC10_LBA_OVERFLOW ? SCSI_RC10_LBA_OVERFLOW : (uint32_t)last);
	fc_put_be32(d.block_len, u.block_size);
	append(r.data, d);
}

void read_capacity16(Reply &r, const Unit &u)
{
	scsi_read_capacity16_data_t d{};
	fc_put_be64(d.last_lba, u.blocks ? u.blocks - 1 : 0);
	fc_put_be32(d.block_len, u.block_size);
	append(r.data, d);
}

void report_luns(Reply &r, const Target &t)
{
	scsi_report_luns_data_t h{};
	const uint32_t len = (uint32_t)(t.units.size() * SCSI_LUN_LEN);
	fc_put_be32(h.lun_list_length, t.fault == Fault::lun_list_len ? t.fault_arg : len);
	append(r.data, h);
	for (const Unit &u : t.units) {
		uint8_t lun[SCSI_LUN_LEN];
		scsi_lun_encode(u.number, lun);
		append(r.data, lun, sizeof lun);
	}
}

void read10(Reply &r, const Unit &u, const uint8_t *cdb, uint32_t room)
{
	const uint64_t lba = fc_get_be32(cdb + SCSI_READ10_LBA_OFF);
	const uint32_t count = fc_get_be16(cdb + SCSI_READ10_LEN_OFF);
	if (lba + count > u.blocks) {
		illegal(r, SCSI_ASC_LBA_OUT_OF_RANGE);
		return;
	}
	const uint64_t total = (uint64_t)count * u.block_size;
	r.data.resize((size_t)std::min<uint64_t>(total, room));
	for (size_t k = 0; k < r.data.size(); k++)
		r.data[k] = pattern_byte(lba + k / u.block_size, u.number, (uint32_t)(k % u.block_size));
}

} // namespace

uint8_t pattern_byte(uint64_t lba, uint16_t n, uint32_t i)
{
	if (i < 8)
		return (uint8_t)(lba >> (56 - 8 * i));
	return (uint8_t)(lba + n + i);
}

const Unit *Target::find(const uint8_t lun[SCSI_LUN_LEN]) const
{
	// Units are kept in LUN order; a LUN names one only in its own encoding.
	const uint16_t n = scsi_lun_number(lun);
	uint8_t enc[SCSI_LUN_LEN];
	scsi_lun_encode(n, enc);
	if (memcmp(enc, lun, SCSI_LUN_LEN) != 0)
		return nullptr;
	auto at = std::lower_bound(units.begin(), units.end(), n, [](const Unit &a, uint16_t v) { return a.number < v; });
	return at != units.end() && at->number == n ? &*at : nullptr;
}

void Target::put(Unit u, wwn_t port)
{
	const bool tape = u.type == SCSI_TYPE_TAPE;
	uint8_t w[8];
	memcpy(w, &port, 8);
	char serial[32];
	snprintf(serial, sizeof serial, "QX%02X%02X%02X%04X", w[5], w[6], w[7], u.number);
	if (u.vendor.empty())
		u.vendor = "QOR";
	if (u.product.empty())
		u.product = tape ? "QX-Tape" : "QX-Disk";
	if (u.revision.empty())
		u.revision = "0001";
	if (u.serial.empty())
		u.serial = serial;
	if (!u.naa)
		u.naa = 0x5000000000000000ull | (uint64_t)0x025a31 << 36 | (fc_get_be32(w + 4) & 0xFFFFFull) << 16 |
			u.number;
	auto at = std::lower_bound(units.begin(), units.end(), u.number,
				   [](const Unit &a, uint16_t n) { return a.number < n; });
	if (at != units.end() && at->number == u.number)
		*at = std::move(u);
	else
		units.insert(at, std::move(u));
}

Reply execute(Target &t, wwn_t port, const uint8_t lun[SCSI_LUN_LEN], const uint8_t cdb[SCSI_CDB_LEN],
	      uint32_t room)
{
	Reply r;
	const Unit *u = t.find(lun);
	const uint8_t op = cdb[0];
	// INQUIRY and REPORT LUNS never report a unit attention; REPORT LUNS clears this one.
	if (op == SCSI_OP_REPORT_LUNS) {
		const uint32_t alloc = fc_get_be32(cdb + SCSI_REPORT_LUNS_ALLOC_OFF);
		if (alloc < 16 || cdb[2] > 2) {
			illegal(r, SCSI_ASC_INVALID_FIELD_IN_CDB);
			return r;
		}
		t.luns_changed = false;
		report_luns(r, t);
		r.data.resize(std::min<size_t>({r.data.size(), alloc, room}));
		return r;
	}
	if (op == SCSI_OP_INQUIRY) {
		const uint32_t alloc = fc_get_be16(cdb + SCSI_INQUIRY_ALLOC_OFF);
		const bool evpd = cdb[1] & SCSI_INQUIRY_EVPD;
		if (!evpd && cdb[2] != 0)
			illegal(r, SCSI_ASC_INVALID_FIELD_IN_CDB);
		else if (!evpd)
			standard_inquiry(r, u);
		else if (!u)
			illegal(r, SCSI_ASC_LUN_NOT_SUPPORTED);
		else
			vpd(r, *u, port, cdb[2]);
		r.data.resize(std::min<size_t>({r.data.size(), alloc, room}));
		return r;
	}
	if (!u) {
		illegal(r, SCSI_ASC_LUN_NOT_SUPPORTED);
		return r;
	}
	if (t.luns_changed) {
		t.luns_changed = false;
		check(r, SCSI_SK_UNIT_ATTENTION, SCSI_ASC_TARGET_CHANGED, SCSI_ASCQ_REPORTED_LUNS_CHANGED);
		return r;
	}
	const bool disk = u->type == SCSI_TYPE_DISK;
	switch (op) {
	case SCSI_OP_TEST_UNIT_READY:
		break;
	case SCSI_OP_READ_CAPACITY10:
		if (!disk)
			illegal(r, SCSI_ASC_INVALID_OPCODE);
		else
			read_capacity10(r, *u);
		break;
	case SCSI_OP_SERVICE_ACTION_IN16:
		if (!disk)
			illegal(r, SCSI_ASC_INVALID_OPCODE);
		else if ((cdb[1] & 0x1F) != SCSI_SAI_READ_CAPACITY16)
			illegal(r, SCSI_ASC_INVALID_FIELD_IN_CDB);
		else
			read_capacity16(r, *u);
		r.data.resize(std::min<size_t>(r.data.size(), fc_get_be32(cdb + SCSI_RC16_ALLOC_OFF)));
		break;
	case SCSI_OP_READ10:
		if (!disk)
			illegal(r, SCSI_ASC_INVALID_OPCODE);
		else
			read10(r, *u, cdb, room);
		break;
	default:
		illegal(r, SCSI_ASC_INVALID_OPCODE);
	}
	if (r.data.size() > room)
		r.data.resize(room);
	return r;
}

} // namespace scsi
} // namespace qorsim
