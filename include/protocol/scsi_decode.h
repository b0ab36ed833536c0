/*
 * Bounded readers of the SCSI replies that the library and its tools look
 * into: REPORT LUNS data, sense data, standard INQUIRY data, VPD pages and
 * READ CAPACITY data. Every reader takes the buffer and the number of bytes
 * it holds and never looks past them, whatever the lengths inside the reply
 * claim; a field the reply does not reach reads as absent (0 or empty
 * text). Header-only; compiles as C11 and C++.
 */
#ifndef SCSI_DECODE_H
#define SCSI_DECODE_H

#include "scsi.h"

#ifdef __cplusplus
extern "C" {
#endif

static inline size_t scsi_min_(size_t a, size_t b)
{
	return a < b ? a : b;
}

/*
 * Printable text of a fixed ASCII field of n bytes into out (room bytes,
 * always terminated): bytes outside 0x20-0x7E other than NUL become '?',
 * NUL counts as a blank, trailing blanks are dropped. Returns out.
 */
static inline char *scsi_text(const uint8_t *src, size_t n, char *out, size_t room)
{
	size_t i, k = 0, end = 0;
	if (!room)
		return out;
	for (i = 0; i < n && k + 1 < room; i++) {
		uint8_t c = src[i];
		char ch = c == 0 ? ' ' : (c < 0x20 || c > 0x7E) ? '?' : (char)c;
		out[k++] = ch;
		if (ch != ' ')
			end = k;
	}
	out[end] = '\0';
	return out;
}

/* ---- REPORT LUNS ---- */

/* The list length that the report's header claims; 0 when the header is not all there. */
static inline uint32_t scsi_report_luns_length(const uint8_t *buf, size_t len)
{
	return buf && len >= SCSI_REPORT_LUNS_HDR_LEN ? fc_get_be32(buf) : 0;
}

/*
 * Bytes a report with list length list_len needs: the header and its whole
 * entries, at most SCSI_REPORT_LUNS_MAX of them. No wrap-around for any
 * list_len.
 */
static inline uint32_t scsi_report_luns_needed(uint32_t list_len)
{
	uint32_t n = list_len / SCSI_LUN_LEN;
	if (n > SCSI_REPORT_LUNS_MAX)
		n = SCSI_REPORT_LUNS_MAX;
	return SCSI_REPORT_LUNS_HDR_LEN + n * SCSI_LUN_LEN;
}

/* Entries of a report that lie within its len bytes: the claimed count, bounded by the buffer. */
static inline uint32_t scsi_report_luns_count(const uint8_t *buf, size_t len)
{
	if (!buf || len < SCSI_REPORT_LUNS_HDR_LEN)
		return 0;
	size_t held = (len - SCSI_REPORT_LUNS_HDR_LEN) / SCSI_LUN_LEN;
	return (uint32_t)scsi_min_(fc_get_be32(buf) / SCSI_LUN_LEN, held);
}

/*
 * Makes a report in a buffer of size bytes claim no more than the buffer
 * holds: a longer list length is lowered to the bytes of whole entries
 * after the header.
 */
static inline void scsi_report_luns_fit(uint8_t *buf, size_t size)
{
	if (!buf || size < SCSI_REPORT_LUNS_HDR_LEN)
		return;
	const size_t room = (size - SCSI_REPORT_LUNS_HDR_LEN) / SCSI_LUN_LEN * SCSI_LUN_LEN;
	if (fc_get_be32(buf) > room)
		fc_put_be32(buf, (uint32_t)room);
}

/* Entry i of a report (i below scsi_report_luns_count). */
static inline const uint8_t *scsi_report_luns_entry(const uint8_t *buf, uint32_t i)
{
	return buf + SCSI_REPORT_LUNS_HDR_LEN + (size_t)i * SCSI_LUN_LEN;
}

/* ---- sense data ---- */

typedef struct scsi_sense_info_s {
	uint8_t response_code; /* 0x70-0x73 */
	uint8_t key;           /* SCSI_SK_... */
	uint8_t asc;
	uint8_t ascq;
	uint8_t flags;         /* SCSI_SENSE_FILEMARK, _EOM, _ILI (fixed format) */
	uint8_t info_valid;
	uint64_t information;
} scsi_sense_info_t;

/*
 * Fixed (0x70, 0x71) or descriptor (0x72, 0x73) format sense. Returns 1 and
 * fills out when the response code is one of these and the sense key is
 * there; fields the data does not reach (within len and its own additional
 * length) are 0. Returns 0 otherwise, out zeroed.
 */
static inline int scsi_sense_decode(const uint8_t *sns, size_t len, scsi_sense_info_t *out)
{
	memset(out, 0, sizeof *out);
	if (!sns || len < 1)
		return 0;
	const uint8_t rc = sns[0] & 0x7F;
	if (rc == SCSI_SENSE_FIXED_CURRENT || rc == SCSI_SENSE_FIXED_DEFERRED) {
		if (len < 3)
			return 0;
		out->response_code = rc;
		out->key = sns[2] & 0x0F;
		out->flags = sns[2] & (SCSI_SENSE_FILEMARK | SCSI_SENSE_EOM | SCSI_SENSE_ILI);
		size_t have = len >= 8 ? scsi_min_(len, (size_t)8 + sns[7]) : len;
		if (have >= 7 && (sns[0] & SCSI_SENSE_VALID)) {
			out->info_valid = 1;
			out->information = fc_get_be32(sns + 3);
		}
		if (have >= 13)
			out->asc = sns[12];
		if (have >= 14)
			out->ascq = sns[13];
		return 1;
	}
	if (rc == SCSI_SENSE_DESC_CURRENT || rc == SCSI_SENSE_DESC_DEFERRED) {
		if (len < 2)
			return 0;
		out->response_code = rc;
		out->key = sns[1] & 0x0F;
		if (len >= 3)
			out->asc = sns[2];
		if (len >= 4)
			out->ascq = sns[3];
		/* Information descriptor (type 0, 12 bytes), if one lies within the data. */
		size_t have = len >= 8 ? scsi_min_(len, (size_t)8 + sns[7]) : len;
		size_t off = 8;
		while (off + 2 <= have) {
			size_t dlen = (size_t)2 + sns[off + 1];
			if (off + dlen > have)
				break;
			if (sns[off] == 0x00 && dlen >= 12) {
				out->info_valid = (sns[off + 2] & SCSI_SENSE_VALID) ? 1 : 0;
				out->information = fc_get_be64(sns + off + 4);
				break;
			}
			off += dlen;
		}
		return 1;
	}
	return 0;
}

/* ---- standard INQUIRY ---- */

typedef struct scsi_inquiry_info_s {
	uint8_t qualifier;   /* 0-7 */
	uint8_t type;        /* SCSI_TYPE_... */
	uint8_t removable;
	uint8_t version;
	uint8_t response_format;
	char vendor[9];
	char product[17];
	char revision[5];
} scsi_inquiry_info_t;

/*
 * Standard INQUIRY data. Returns 1 with out filled from the bytes that are
 * within len and the data's own additional length (a field cut short is
 * taken as far as it goes); 0 when not even the peripheral byte is there.
 */
static inline int scsi_inquiry_decode(const uint8_t *buf, size_t len, scsi_inquiry_info_t *out)
{
	memset(out, 0, sizeof *out);
	if (!buf || len < 1)
		return 0;
	out->qualifier = (uint8_t)(buf[0] >> 5);
	out->type = buf[0] & 0x1F;
	size_t have = len >= 5 ? scsi_min_(len, (size_t)5 + buf[4]) : len;
	if (have >= 2)
		out->removable = (buf[1] & 0x80) ? 1 : 0;
	if (have >= 3)
		out->version = buf[2];
	if (have >= 4)
		out->response_format = buf[3] & 0x0F;
	const size_t voff = offsetof(scsi_inquiry_data_t, vendor), poff = offsetof(scsi_inquiry_data_t, product),
		     roff = offsetof(scsi_inquiry_data_t, revision);
	if (have > voff)
		scsi_text(buf + voff, scsi_min_(have - voff, 8), out->vendor, sizeof out->vendor);
	if (have > poff)
		scsi_text(buf + poff, scsi_min_(have - poff, 16), out->product, sizeof out->product);
	if (have > roff)
		scsi_text(buf + roff, scsi_min_(have - roff, 4), out->revision, sizeof out->revision);
	return 1;
}

/* ---- VPD pages ---- */

/*
 * A VPD page's code and its payload (the bytes after the header), bounded by
 * len. Returns 0 when the header is not all there.
 */
static inline int scsi_vpd_page(const uint8_t *buf, size_t len, uint8_t *page, const uint8_t **payload,
				size_t *payload_len)
{
	if (!buf || len < sizeof(scsi_vpd_hdr_t))
		return 0;
	*page = buf[1];
	*payload = buf + sizeof(scsi_vpd_hdr_t);
	*payload_len = scsi_min_(len - sizeof(scsi_vpd_hdr_t), fc_get_be16(buf + 2));
	return 1;
}

/* One designation descriptor of page 0x83. */
typedef struct scsi_designator_s {
	uint8_t protocol;
	uint8_t code_set;
	uint8_t piv;
	uint8_t association;
	uint8_t type;
	const uint8_t *id;
	size_t len;
} scsi_designator_t;

/*
 * The descriptor at *off of a page 0x83 payload; advances *off past it.
 * Returns 0 at the end, or when the next descriptor does not lie wholly
 * within the payload.
 */
static inline int scsi_vpd83_next(const uint8_t *payload, size_t len, size_t *off, scsi_designator_t *d)
{
	if (*off >= len || len - *off < sizeof(scsi_vpd_desig_t))
		return 0;
	const uint8_t *p = payload + *off;
	size_t dlen = p[3];
	if (len - *off - sizeof(scsi_vpd_desig_t) < dlen)
		return 0;
	d->protocol = (uint8_t)(p[0] >> 4);
	d->code_set = p[0] & 0x0F;
	d->piv = (p[1] & 0x80) ? 1 : 0;
	d->association = (uint8_t)((p[1] >> 4) & 0x03);
	d->type = p[1] & 0x0F;
	d->id = p + sizeof(scsi_vpd_desig_t);
	d->len = dlen;
	*off += sizeof(scsi_vpd_desig_t) + dlen;
	return 1;
}

/* ---- READ CAPACITY ---- */

typedef struct scsi_capacity_s {
	uint64_t last_lba;
	uint32_t block_len;
	uint64_t bytes; /* (last_lba + 1) x block_len; UINT64_MAX when that does not fit */
} scsi_capacity_t;

static inline void scsi_capacity_bytes_(scsi_capacity_t *c)
{
	if (c->last_lba == UINT64_MAX || (c->block_len && c->last_lba + 1 > UINT64_MAX / c->block_len))
		c->bytes = UINT64_MAX;
	else
		c->bytes = (c->last_lba + 1) * c->block_len;
}

/* READ CAPACITY(10) data; 0 when shorter than 8 bytes. */
static inline int scsi_capacity10_decode(const uint8_t *buf, size_t len, scsi_capacity_t *out)
{
	memset(out, 0, sizeof *out);
	if (!buf || len < sizeof(scsi_read_capacity10_data_t))
		return 0;
	out->last_lba = fc_get_be32(buf);
	out->block_len = fc_get_be32(buf + 4);
	scsi_capacity_bytes_(out);
	return 1;
}

/* READ CAPACITY(16) data; 0 when shorter than its first 12 bytes. */
static inline int scsi_capacity16_decode(const uint8_t *buf, size_t len, scsi_capacity_t *out)
{
	memset(out, 0, sizeof *out);
	if (!buf || len < offsetof(scsi_read_capacity16_data_t, prot))
		return 0;
	out->last_lba = fc_get_be64(buf);
	out->block_len = fc_get_be32(buf + 8);
	scsi_capacity_bytes_(out);
	return 1;
}

#ifdef __cplusplus
}
#endif

#endif
