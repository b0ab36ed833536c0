/*
 * Fibre Channel frame header (FC-FS) in wire order, and the big-endian
 * helpers every protocol record here is read and written with. Multi-byte
 * fields are byte arrays: nothing here depends on the host's byte order.
 * Compiles as C11 and C++.
 */
#ifndef FC_FCHS_H
#define FC_FCHS_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#define FC_CHECK_SIZE(type, size) static_assert(sizeof(type) == (size), #type " size")
#define FC_CHECK_OFF(type, field, off) \
	static_assert(offsetof(type, field) == (off), #type "." #field " offset")

static inline void fc_put_be16(uint8_t *p, uint16_t v)
{
	p[0] = (uint8_t)(v >> 8);
	p[1] = (uint8_t)v;
}
static inline void fc_put_be24(uint8_t *p, uint32_t v)
{
	p[0] = (uint8_t)(v >> 16);
	p[1] = (uint8_t)(v >> 8);
	p[2] = (uint8_t)v;
}
static inline void fc_put_be32(uint8_t *p, uint32_t v)
{
	p[0] = (uint8_t)(v >> 24);
	p[1] = (uint8_t)(v >> 16);
	p[2] = (uint8_t)(v >> 8);
	p[3] = (uint8_t)v;
}
static inline uint16_t fc_get_be16(const uint8_t *p)
{
	return (uint16_t)((p[0] << 8) | p[1]);
}
static inline uint32_t fc_get_be24(const uint8_t *p)
{
	return ((uint32_t)p[0] << 16) | ((uint32_t)p[1] << 8) | p[2];
}
static inline uint32_t fc_get_be32(const uint8_t *p)
{
	return ((uint32_t)p[0] << 24) | ((uint32_t)p[1] << 16) | ((uint32_t)p[2] << 8) | p[3];
}
static inline void fc_put_be64(uint8_t *p, uint64_t v)
{
	fc_put_be32(p, (uint32_t)(v >> 32));
	fc_put_be32(p + 4, (uint32_t)v);
}
static inline uint64_t fc_get_be64(const uint8_t *p)
{
	return ((uint64_t)fc_get_be32(p) << 32) | fc_get_be32(p + 4);
}

/*
 * A port address as the drivers store it in a 32-bit attribute word: its
 * three bytes first, in wire order. These move it without reinterpreting.
 */
static inline void fc_pid_to_wire(uint32_t stored, uint8_t out[3])
{
	memcpy(out, &stored, 3);
}
static inline uint32_t fc_pid_from_wire(const uint8_t in[3])
{
	uint32_t stored = 0;
	memcpy(&stored, in, 3);
	return stored;
}

/* R_CTL: routing in the high nibble, information category in the low one. */
#define FC_RCTL_ROUTING(r) ((uint8_t)((r) >> 4))
#define FC_RCTL_CAT_INFO(r) ((uint8_t)((r) & 0x0f))
#define FC_RCTL_FC4_UNSOL_CTL 0x02 /* device data, unsolicited control: CT requests */
#define FC_RCTL_ELS_REQ 0x22       /* extended link service request */
#define FC_RCTL_ELS_RSP 0x23       /* extended link service reply */
#define FC_RCTL_FC4_SOL_CTL 0x03   /* CT replies */

/* TYPE field. */
#define FC_TYPE_ELS 0x01
#define FC_TYPE_SERVICES 0x20

/* F_CTL of a single-frame request: first and last sequence, end sequence,
 * sequence initiative transferred. */
#define FC_FCTL_REQ_SINGLE 0x290000u

/* Well-known addresses. */
#define FC_DIRECTORY_SERVER 0xFFFFFCu
#define FC_MANAGEMENT_SERVER 0xFFFFFAu

typedef struct fchs_s {
	uint8_t r_ctl;     /* routing (high nibble), cat_info (low nibble) */
	uint8_t d_id[3];   /* destination address */
	uint8_t cs_ctl;
	uint8_t s_id[3];   /* source address */
	uint8_t type;
	uint8_t f_ctl[3];
	uint8_t seq_id;
	uint8_t df_ctl;
	uint8_t seq_cnt[2];
	uint8_t ox_id[2];
	uint8_t rx_id[2];
	uint8_t ro[4];     /* relative offset */
} fchs_t;
FC_CHECK_SIZE(fchs_t, 24);
FC_CHECK_OFF(fchs_t, d_id, 1);
FC_CHECK_OFF(fchs_t, cs_ctl, 4);
FC_CHECK_OFF(fchs_t, s_id, 5);
FC_CHECK_OFF(fchs_t, type, 8);
FC_CHECK_OFF(fchs_t, f_ctl, 9);
FC_CHECK_OFF(fchs_t, seq_id, 12);
FC_CHECK_OFF(fchs_t, df_ctl, 13);
FC_CHECK_OFF(fchs_t, seq_cnt, 14);
FC_CHECK_OFF(fchs_t, ox_id, 16);
FC_CHECK_OFF(fchs_t, rx_id, 18);
FC_CHECK_OFF(fchs_t, ro, 20);

/*
 * The one builder of request frame headers: everything 0, then R_CTL,
 * D_ID, S_ID, TYPE, a single-frame F_CTL and RX_ID FFFF (unassigned).
 */
static inline void fc_req_fchdr_build(fchs_t *fchs, uint8_t r_ctl, const uint8_t d_id[3],
				      const uint8_t s_id[3], uint8_t type)
{
	memset(fchs, 0, sizeof *fchs);
	fchs->r_ctl = r_ctl;
	memcpy(fchs->d_id, d_id, 3);
	memcpy(fchs->s_id, s_id, 3);
	fchs->type = type;
	fc_put_be24(fchs->f_ctl, FC_FCTL_REQ_SINGLE);
	fc_put_be16(fchs->rx_id, 0xFFFF);
}

#endif
