// Fuzzes the readers of SCSI replies with arbitrary bytes, and the names
// mxt shows for what they find: every reader sees the same input as a reply
// of its kind, in a buffer of exactly the input's size, so any read past
// what the target sent is caught.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "protocol/scsi_decode.h"
#include "protocol/scsi_names.h"

namespace {

size_t text_len(const char *s)
{
	return s ? strlen(s) : 0;
}

// Keeps results alive so nothing is optimised away.
volatile uint64_t g_sink;
void sink(uint64_t v)
{
	g_sink = g_sink + v;
}

void report_luns(const uint8_t *d, size_t n)
{
	sink(scsi_report_luns_needed(scsi_report_luns_length(d, n)));
	const uint32_t count = scsi_report_luns_count(d, n);
	for (uint32_t i = 0; i < count; i++)
		sink(scsi_lun_number(scsi_report_luns_entry(d, i)));
	// The library lowers the length of what it returns; the result must hold.
	std::vector<uint8_t> copy(d, d + n);
	scsi_report_luns_fit(copy.data(), copy.size());
	if (n >= SCSI_REPORT_LUNS_HDR_LEN && scsi_report_luns_length(copy.data(), n) > n - SCSI_REPORT_LUNS_HDR_LEN)
		std::abort();
}

void sense(const uint8_t *d, size_t n)
{
	scsi_sense_info_t s;
	if (scsi_sense_decode(d, n, &s))
		sink(s.key + s.asc + s.ascq + s.information + text_len(scsi_sense_key_name(s.key)) +
		     text_len(scsi_asc_name(s.asc, s.ascq)));
	if (n)
		sink(text_len(scsi_status_name(d[0])));
}

void inquiry(const uint8_t *d, size_t n)
{
	scsi_inquiry_info_t inq;
	if (scsi_inquiry_decode(d, n, &inq))
		sink(strlen(inq.vendor) + strlen(inq.product) + strlen(inq.revision) + text_len(scsi_type_word(inq.type)));
}

void vpd(const uint8_t *d, size_t n)
{
	uint8_t page;
	const uint8_t *p;
	size_t len;
	if (!scsi_vpd_page(d, n, &page, &p, &len))
		return;
	char text[256];
	scsi_text(p, len, text, sizeof text);
	sink(strlen(text));
	size_t off = 0;
	scsi_designator_t desig;
	while (scsi_vpd83_next(p, len, &off, &desig)) {
		sink(text_len(scsi_association_word(desig.association)) + text_len(scsi_designator_word(desig.type)) +
		     text_len(scsi_code_set_word(desig.code_set)));
		scsi_text(desig.id, desig.len, text, sizeof text);
		sink(strlen(text));
		for (size_t i = 0; i < desig.len; i++)
			sink(desig.id[i]);
	}
}

void capacity(const uint8_t *d, size_t n)
{
	scsi_capacity_t c;
	if (scsi_capacity10_decode(d, n, &c))
		sink(c.bytes);
	if (scsi_capacity16_decode(d, n, &c))
		sink(c.bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	report_luns(data, size);
	sense(data, size);
	inquiry(data, size);
	vpd(data, size);
	capacity(data, size);
	return 0;
}
