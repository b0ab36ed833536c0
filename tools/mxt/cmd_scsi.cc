// mxt lun, mxt scsi: the logical units behind a port's targets, and the
// standard SCSI commands sent to one of them. Replies are read only through
// the bounded readers of protocol/scsi_decode.h; what a target refuses is
// shown with the standard names of its sense data.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "protocol/scsi_decode.h"
#include "protocol/scsi_names.h"
#include "qorl_rport.h"
#include "qorl_scsi.h"
#include "table.h"

namespace mxt {

namespace {

constexpr uint32_t kStdInquiry = 96;
constexpr uint32_t kVpdRoom = 1024;
constexpr uint32_t kRead10Blocks = 8; // what the library's READ(10) transfers

using builder = qor_status_t (*)(qorl_t *, uint16_t, wwn_t, wwn_t, lun_t, scsi_cdb_t *, int, void *, uint32_t,
				 uint8_t *, void *, uint32_t *);

// One logical unit behind a remote port of the call's port.
struct unit {
	qorl_t *q;
	wwn_t lpwwn, rpwwn;
	uint16_t number;
	lun_t lun; // SAM encoding of number, wire order

	std::string what() const { return "LUN " + std::to_string(number) + " of " + wwn_text(rpwwn); }
};

lun_t encode(uint16_t number)
{
	uint8_t b[SCSI_LUN_LEN];
	scsi_lun_encode(number, b);
	lun_t l;
	memcpy(&l, b, sizeof l);
	return l;
}

unit unit_of(call &c)
{
	const uint16_t n = (uint16_t)c.numbers["LUN"];
	return unit{c.q, read_port_attr(c).pwwn, c.wwn, n, encode(n)};
}

// What one command came back with.
struct answer {
	qor_status_t st = QOR_STATUS_OK;
	uint8_t status = SCSI_STATUS_GOOD;
	uint8_t sense[SCSI_SENSE_MAX_LEN];
	uint32_t sense_len = 0;

	bool good() const { return st == QOR_STATUS_OK && status == SCSI_STATUS_GOOD; }
	scsi_sense_info_t decoded() const
	{
		scsi_sense_info_t s;
		scsi_sense_decode(sense, sense_len, &s);
		return s;
	}
	bool unit_attention() const
	{
		return st == QOR_STATUS_OK && status == SCSI_STATUS_CHECK_CONDITION &&
		       decoded().key == SCSI_SK_UNIT_ATTENTION;
	}
};

// Sends the command `fn` builds; once more after a unit attention, which a
// target reports once for a change (new LUNs, a reset) and not again.
answer send(const unit &u, builder fn, const scsi_cdb_t &cdb, void *buf, uint32_t len)
{
	answer a;
	for (int i = 0; i < 2; i++) {
		scsi_cdb_t c = cdb;
		a.status = SCSI_STATUS_GOOD;
		a.sense_len = sizeof a.sense;
		a.st = fn(u.q, 0, u.lpwwn, u.rpwwn, u.lun, &c, 0, buf, len, &a.status, a.sense, &a.sense_len);
		if (!a.unit_attention())
			break;
	}
	return a;
}

char hex_digit(unsigned v)
{
	return "0123456789abcdef"[v & 15];
}

std::string hex(const uint8_t *p, size_t n)
{
	std::string s;
	s.reserve(2 * n);
	for (size_t i = 0; i < n; i++) {
		s += hex_digit(p[i] >> 4);
		s += hex_digit(p[i]);
	}
	return s;
}

std::string hex2(uint8_t v)
{
	return std::string{hex_digit(v >> 4), hex_digit(v)};
}

doc sense_doc(const answer &a)
{
	scsi_sense_info_t s;
	if (!scsi_sense_decode(a.sense, a.sense_len, &s))
		return nullptr;
	const char *desc = scsi_asc_name(s.asc, s.ascq);
	return {{"key", s.key},
		{"key_name", scsi_sense_key_name(s.key)},
		{"asc", s.asc},
		{"ascq", s.ascq},
		{"description", desc ? doc(desc) : doc()}};
}

doc status_name_value(uint8_t status)
{
	const char *n = scsi_status_name(status);
	return n ? doc(n) : doc();
}

// "CHECK CONDITION: ILLEGAL REQUEST, LOGICAL UNIT NOT SUPPORTED (ASC/ASCQ 25/00)".
std::string answer_text(const answer &a)
{
	const char *name = scsi_status_name(a.status);
	std::string s = name ? name : "SCSI status 0x" + hex2(a.status);
	scsi_sense_info_t d;
	if (a.status == SCSI_STATUS_CHECK_CONDITION && scsi_sense_decode(a.sense, a.sense_len, &d)) {
		const char *desc = scsi_asc_name(d.asc, d.ascq);
		s += std::string(": ") + scsi_sense_key_name(d.key) + (desc ? std::string(", ") + desc : "") +
		     " (ASC/ASCQ " + hex2(d.asc) + "/" + hex2(d.ascq) + ")";
	}
	return s;
}

doc scsi_doc(const answer &a)
{
	return {{"status", a.status}, {"status_name", status_name_value(a.status)}, {"sense", sense_doc(a)}};
}

// Fails unless the command completed with GOOD; a target's refusal carries
// its status and sense in the error.
void require_good(const answer &a, const std::string &doing)
{
	check(a.st, doing, "'mxt lun list' shows the targets and their LUNs");
	if (a.status == SCSI_STATUS_GOOD)
		return;
	failure f{doing + ": " + answer_text(a)};
	f.scsi = scsi_doc(a);
	throw f;
}

// "1.0 GiB": binary units, one decimal.
std::string human(uint64_t bytes)
{
	static const char *const units[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
	if (bytes < 1024)
		return std::to_string(bytes) + " B";
	double v = (double)bytes;
	size_t i = 0;
	while (v >= 1024 && i + 1 < sizeof units / sizeof *units) {
		v /= 1024;
		i++;
	}
	char s[32];
	snprintf(s, sizeof s, "%.1f %s", v, units[i]);
	return s;
}

// READ CAPACITY(10), and (16) for a unit too large for it.
answer read_capacity(const unit &u, scsi_capacity_t *cap, bool *sixteen)
{
	uint8_t d10[sizeof(scsi_read_capacity10_data_t)] = {};
	answer a = send(u, qorl_scsi_readcapacity, scsi_cdb_t{}, d10, sizeof d10);
	*sixteen = false;
	if (!a.good() || !scsi_capacity10_decode(d10, sizeof d10, cap) || cap->last_lba != SCSI_RC10_LBA_OVERFLOW)
		return a;
	uint8_t d16[sizeof(scsi_read_capacity16_data_t)] = {};
	a = send(u, qorl_scsi_readcapacity16, scsi_cdb_t{}, d16, sizeof d16);
	*sixteen = true;
	if (a.good())
		scsi_capacity16_decode(d16, sizeof d16, cap);
	return a;
}

void put_capacity(doc &d, const scsi_capacity_t *cap)
{
	d["block_size"] = cap ? doc(cap->block_len) : doc();
	d["blocks"] = cap ? doc(cap->last_lba + 1) : doc();
	d["capacity_bytes"] = cap ? doc(cap->bytes) : doc();
	d["capacity"] = cap ? doc(human(cap->bytes)) : doc();
}

doc unit_address(const call &c, const unit &u)
{
	return {{"port", c.address()}, {"rpwwn", wwn_value(u.rpwwn)}, {"lun", u.number}};
}

doc type_value_of(uint8_t type)
{
	const char *w = scsi_type_word(type);
	return w ? doc(w) : doc();
}

// One row of 'lun list': what INQUIRY and READ CAPACITY say, and the OS device.
doc lun_row(const call &c, const unit &u, const uint8_t fcp_lun[SCSI_LUN_LEN], const uint32_t *addr)
{
	doc d = unit_address(c, u);
	d["fcp_lun"] = hex(fcp_lun, SCSI_LUN_LEN);
	uint8_t data[kStdInquiry] = {};
	answer a = send(u, qorl_scsi_inquiry, scsi_cdb_t{}, data, sizeof data);
	scsi_inquiry_info_t inq;
	const bool have = a.good() && scsi_inquiry_decode(data, sizeof data, &inq);
	d["type"] = have ? type_value_of(inq.type) : doc();
	d["vendor"] = have ? doc(inq.vendor) : doc();
	d["product"] = have ? doc(inq.product) : doc();
	d["revision"] = have ? doc(inq.revision) : doc();
	scsi_capacity_t cap;
	bool sixteen;
	const bool sized = have && inq.type == SCSI_TYPE_DISK && read_capacity(u, &cap, &sixteen).good();
	put_capacity(d, sized ? &cap : nullptr);
	char name[QORL_OSNAME_LEN] = {};
	char *p = name;
	uint32_t ndev;
	d["device"] = addr && qorl_get_osname(addr[0], addr[1], addr[2], u.number, &p, &ndev) == QOR_STATUS_OK && name[0]
			      ? doc(name)
			      : doc();
	return d;
}

// The rows of one target; a target that cannot list its LUNs is one row
// with the error, or the command's failure when it was asked for alone.
void target_rows(const call &c, wwn_t lpwwn, wwn_t rpwwn, bool alone, doc &rows)
{
	uint32_t addr[3];
	const bool have_addr = qorl_rport_get_scsi_address(c.q, 0, lpwwn, rpwwn, &addr[0], &addr[1], &addr[2]) ==
			       QOR_STATUS_OK;
	unit u{c.q, lpwwn, rpwwn, 0, 0};
	answer a;
	a.sense_len = sizeof a.sense;
	void *buf = nullptr;
	scsi_cdb_t cdb{};
	a.st = qorl_scsi_reportluns(c.q, 0, lpwwn, rpwwn, 0, &cdb, 0, &buf, 0, &a.status, a.sense, &a.sense_len);
	std::unique_ptr<void, decltype(&free)> owned(buf, free);
	if (!a.good()) {
		const std::string doing = "listing the LUNs of " + wwn_text(rpwwn) + " on " + c.where();
		if (alone)
			require_good(a, doing);
		doc d = {{"port", c.address()}, {"rpwwn", wwn_value(rpwwn)}, {"lun", nullptr}};
		const bool lib = a.st != QOR_STATUS_OK;
		d["error"] = {{"status", lib ? doc((unsigned)a.st) : doc()},
			      {"name", lib ? doc(status_name(a.st)) : doc()},
			      {"message", doing + ": " + (lib ? status_text(a.st) : answer_text(a))},
			      {"scsi", lib ? doc() : scsi_doc(a)}};
		rows.push_back(d);
		return;
	}
	// The library's report never claims more than its buffer holds.
	const auto *report = static_cast<const uint8_t *>(buf);
	const uint32_t len = scsi_report_luns_length(report, SCSI_REPORT_LUNS_HDR_LEN);
	const uint32_t n = scsi_report_luns_count(report, SCSI_REPORT_LUNS_HDR_LEN + (size_t)len);
	for (uint32_t i = 0; i < n; i++) {
		const uint8_t *e = scsi_report_luns_entry(report, i);
		memcpy(&u.lun, e, sizeof u.lun);
		u.number = scsi_lun_number(e);
		rows.push_back(lun_row(c, u, e, have_addr ? addr : nullptr));
	}
}

// "00000010  08 09 ...  |........|", as hexdump -C shows bytes.
void hex_dump(FILE *out, const uint8_t *p, size_t n, uint64_t offset)
{
	for (size_t at = 0; at < n; at += 16) {
		fprintf(out, "%08llx ", (unsigned long long)(offset + at));
		std::string ascii;
		for (size_t i = 0; i < 16; i++) {
			if (i == 8)
				fputc(' ', out);
			if (at + i < n) {
				fprintf(out, " %02x", p[at + i]);
				ascii += p[at + i] >= 0x20 && p[at + i] < 0x7F ? (char)p[at + i] : '.';
			} else {
				fputs("   ", out);
			}
		}
		fprintf(out, "  |%s|\n", ascii.c_str());
	}
}

// The length of an INQUIRY reply by its own header, within the buffer.
size_t inquiry_length(const uint8_t *d, size_t room, bool vpd)
{
	const size_t own = vpd ? sizeof(scsi_vpd_hdr_t) + fc_get_be16(d + 2) : (size_t)5 + d[4];
	return own < room ? own : room;
}

doc designators_doc(const uint8_t *p, size_t n)
{
	doc list = doc::array();
	size_t off = 0;
	scsi_designator_t d;
	while (scsi_vpd83_next(p, n, &off, &d)) {
		const char *assoc = scsi_association_word(d.association), *type = scsi_designator_word(d.type),
			   *set = scsi_code_set_word(d.code_set);
		char text[256];
		const bool printable = d.code_set == SCSI_CODESET_ASCII || d.code_set == SCSI_CODESET_UTF8;
		list.push_back({{"association", assoc ? doc(assoc) : doc()},
				{"type", type ? doc(type) : doc()},
				{"code_set", set ? doc(set) : doc()},
				{"protocol", d.piv ? doc(d.protocol) : doc()},
				{"id", printable ? std::string(scsi_text(d.id, d.len, text, sizeof text)) : hex(d.id, d.len)}});
	}
	return list;
}

} // namespace

doc lun_list(call &c)
{
	const wwn_t pw = read_port_attr(c).pwwn;
	doc rows = doc::array();
	if (c.wwn) {
		qor_rport_attr_t a;
		check(qorl_rport_get_attr(c.q, 0, pw, c.wwn, &a), "reading remote port " + wwn_text(c.wwn) + " of " + c.where(),
		      "'mxt rport list " + c.address() + "' shows the remote ports");
		if (a.scsi_function != QOR_RPORT_TARGET)
			fail("remote port " + wwn_text(c.wwn) + " of " + c.where() +
			     " is not a SCSI target; 'mxt rport list " + c.address() + "' shows which are");
		target_rows(c, pw, c.wwn, true, rows);
		return rows;
	}
	for (wwn_t rw : rport_wwns(c, pw)) {
		qor_rport_attr_t a;
		if (qorl_rport_get_attr(c.q, 0, pw, rw, &a) == QOR_STATUS_OK && a.scsi_function == QOR_RPORT_TARGET)
			target_rows(c, pw, rw, false, rows);
	}
	return rows;
}

doc scsi_inquiry(call &c)
{
	unit u = unit_of(c);
	const bool vpd = c.numbers.count("--page") > 0;
	const uint8_t page = vpd ? (uint8_t)c.numbers["--page"] : 0;
	std::vector<uint8_t> data(vpd ? kVpdRoom : kStdInquiry);
	scsi_cdb_t cdb{};
	if (vpd) {
		cdb.scsi_cdb[1] = SCSI_INQUIRY_EVPD;
		cdb.scsi_cdb[2] = page;
	}
	answer a = send(u, qorl_scsi_inquiry, cdb, data.data(), (uint32_t)data.size());
	require_good(a, std::string("sending INQUIRY") + (vpd ? " for page 0x" + hex2(page) : "") + " to " + u.what() +
				" on " + c.where());
	const size_t n = inquiry_length(data.data(), data.size(), vpd);
	if (!opts().json && c.flags["--hex"]) {
		hex_dump(stdout, data.data(), n, 0);
		return printed();
	}
	doc d = unit_address(c, u);
	d["page"] = vpd ? doc(page) : doc();
	if (!vpd) {
		scsi_inquiry_info_t inq;
		scsi_inquiry_decode(data.data(), n, &inq);
		d["qualifier"] = inq.qualifier;
		d["type"] = type_value_of(inq.type);
		d["type_code"] = inq.type;
		d["removable"] = inq.removable != 0;
		d["version"] = inq.version;
		d["vendor"] = inq.vendor;
		d["product"] = inq.product;
		d["revision"] = inq.revision;
	} else {
		uint8_t got;
		const uint8_t *p;
		size_t len;
		if (scsi_vpd_page(data.data(), n, &got, &p, &len) && got == page) {
			if (page == SCSI_VPD_SUPPORTED_PAGES) {
				d["pages"] = doc::array();
				for (size_t i = 0; i < len; i++)
					d["pages"].push_back(p[i]);
			} else if (page == SCSI_VPD_UNIT_SERIAL) {
				char text[256];
				d["serial"] = scsi_text(p, len, text, sizeof text);
			} else if (page == SCSI_VPD_DEVICE_ID) {
				d["designators"] = designators_doc(p, len);
			}
		}
	}
	if (opts().json)
		d["data"] = hex(data.data(), n);
	return d;
}

doc scsi_capacity(call &c)
{
	unit u = unit_of(c);
	scsi_capacity_t cap;
	bool sixteen;
	require_good(read_capacity(u, &cap, &sixteen), "reading the capacity of " + u.what() + " on " + c.where());
	doc d = unit_address(c, u);
	d["command"] = sixteen ? "read capacity(16)" : "read capacity(10)";
	d["last_lba"] = cap.last_lba;
	put_capacity(d, &cap);
	return d;
}

doc scsi_tur(call &c)
{
	unit u = unit_of(c);
	answer a = send(u, qorl_scsi_testunitready, scsi_cdb_t{}, nullptr, 0);
	check(a.st, "sending TEST UNIT READY to " + u.what() + " on " + c.where(),
	      "'mxt lun list' shows the targets and their LUNs");
	doc d = unit_address(c, u);
	d["ready"] = a.status == SCSI_STATUS_GOOD;
	d["scsi_status"] = a.status;
	d["scsi_status_name"] = status_name_value(a.status);
	d["sense"] = a.status == SCSI_STATUS_CHECK_CONDITION ? sense_doc(a) : doc();
	return d;
}

doc scsi_read(call &c)
{
	unit u = unit_of(c);
	const uint64_t lba = (uint64_t)c.numbers["LBA"];
	const uint64_t count = (uint64_t)c.numbers["--count"];
	const std::string where = u.what() + " on " + c.where();
	scsi_capacity_t cap;
	bool sixteen;
	require_good(read_capacity(u, &cap, &sixteen), "reading the capacity of " + where);
	const uint64_t blocks = cap.last_lba + 1;
	const std::string range = "blocks " + std::to_string(lba) + " to " + std::to_string(lba + count - 1);
	if (lba + count > blocks)
		fail(range + " are past the end of " + where + ", which has " + std::to_string(blocks) + " blocks");
	if (lba + count > (uint64_t)UINT32_MAX + 1)
		fail(range + " of " + where + " are beyond the first 4294967296, which are all READ(10) reaches; give "
		     "blocks below 4294967296");
	if (cap.block_len == 0 || cap.block_len > 1u << 20)
		fail(where + " reports a block size of " + std::to_string(cap.block_len) + " bytes, which cannot be read");

	const auto out_path = c.words.find("--output,-o");
	const bool file = out_path != c.words.end();
	// Where the bytes go: the file, the JSON document, a hex dump on a
	// terminal, or standard output as they are.
	const bool to_json = !file && opts().json, dump = !file && !to_json && isatty(STDOUT_FILENO);
	std::vector<uint8_t> all, chunk((size_t)kRead10Blocks * cap.block_len);
	// Reads the blocks asked for, handing each command's bytes to put with
	// their offset from the first block.
	auto read_all = [&](const auto &put) {
		for (uint64_t at = lba; at < lba + count;) {
			// The library's READ(10) moves 8 blocks; the last ones of the unit go
			// as a READ(10) of what is left.
			const uint32_t n = (uint32_t)std::min<uint64_t>(kRead10Blocks, blocks - at);
			scsi_cdb_t cdb{};
			fc_put_be32(cdb.scsi_cdb + SCSI_READ10_LBA_OFF, (uint32_t)at);
			builder fn = qorl_scsi_read10;
			if (n < kRead10Blocks) {
				cdb.scsi_cdb[0] = SCSI_OP_READ10;
				fc_put_be16(cdb.scsi_cdb + SCSI_READ10_LEN_OFF, (uint16_t)n);
				fn = qorl_scsi_cmnd;
			}
			require_good(send(u, fn, cdb, chunk.data(), n * cap.block_len),
				     "reading block " + std::to_string(at) + " of " + where);
			const uint64_t take = std::min<uint64_t>(n, lba + count - at);
			put((size_t)(take * cap.block_len), (at - lba) * cap.block_len);
			at += take;
		}
	};
	if (file)
		write_to(out_path->second, [&](int fd) {
			read_all([&](size_t bytes, uint64_t) {
				write_all(fd, {(const char *)chunk.data(), bytes}, out_path->second);
			});
		});
	else if (to_json)
		read_all([&](size_t bytes, uint64_t) { all.insert(all.end(), chunk.begin(), chunk.begin() + (ptrdiff_t)bytes); });
	else if (dump)
		read_all([&](size_t bytes, uint64_t off) { hex_dump(stdout, chunk.data(), bytes, off); });
	else
		read_all([&](size_t bytes, uint64_t) {
			if (fwrite(chunk.data(), 1, bytes, stdout) != bytes)
				fail(std::string("writing the data failed: ") + strerror(errno) +
				     "; check the space left on the file system it goes to");
		});
	if (!file && !to_json)
		return printed();
	doc d = unit_address(c, u);
	d["lba"] = lba;
	d["count"] = count;
	d["block_size"] = cap.block_len;
	d["bytes"] = count * cap.block_len;
	d["file"] = file ? doc(out_path->second) : doc();
	d["data"] = file ? doc() : doc(hex(all.data(), all.size()));
	return d;
}

} // namespace mxt
