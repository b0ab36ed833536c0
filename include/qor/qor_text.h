/*
 * Text forms of world-wide names, MAC addresses, port speeds and
 * topologies: the one codec that the library, the emulator, the tool and
 * the tests share. Header-only; compiles as C11 and C++.
 *
 * Accepted on input (nothing else, no blanks, no sign):
 *   WWN  "20:00:00:11:22:33:00:01" (two hex digits a byte), "0x2000001122330001",
 *        "2000001122330001"
 *   MAC  "00:11:22:33:44:55", "0x001122334455", "001122334455"
 *   speed "1", "2", "4", "8", "10", "16" with an optional "G" or "Gbps"
 *        (any case), or "auto"
 *   topology "p2p", "loop", "auto" (any case)
 *   logical port role "initiator", "target", "ipfc"
 * Controller types are named "fc", "fcoe" and "eth" on output.
 * Hex digits may be upper or lower case; output is always lower case.
 */
#ifndef QOR_TEXT_H
#define QOR_TEXT_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "../defs/qor_defs_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Room for the colon forms, terminator included. */
#define QOR_WWN_TEXT_LEN 24
#define QOR_MAC_TEXT_LEN 18

static inline int qor_text_hexval_(char c)
{
	if (c >= '0' && c <= '9')
		return c - '0';
	if (c >= 'a' && c <= 'f')
		return c - 'a' + 10;
	if (c >= 'A' && c <= 'F')
		return c - 'A' + 10;
	return -1;
}

static inline char qor_text_lower_(char c)
{
	return (c >= 'A' && c <= 'Z') ? (char)(c - 'A' + 'a') : c;
}

/* Formats n bytes as "xx:xx:..." into out (3 * n bytes). */
static inline char *qor_text_colon_(const uint8_t *b, size_t n, char *out)
{
	static const char hex[] = "0123456789abcdef";
	size_t i;
	for (i = 0; i < n; i++) {
		out[3 * i] = hex[b[i] >> 4];
		out[3 * i + 1] = hex[b[i] & 0xf];
		out[3 * i + 2] = i + 1 < n ? ':' : '\0';
	}
	return out;
}

/* Reads n bytes from any accepted form; 1 on success, 0 (out untouched) otherwise. */
static inline int qor_text_bytes_(const char *s, uint8_t *out, size_t n)
{
	uint8_t b[8];
	size_t len, i;
	int hi, lo;
	if (!s || n > sizeof b)
		return 0;
	len = strlen(s);
	if (len == 3 * n - 1) {
		for (i = 0; i < n; i++) {
			hi = qor_text_hexval_(s[3 * i]);
			lo = qor_text_hexval_(s[3 * i + 1]);
			if (hi < 0 || lo < 0 || (i + 1 < n && s[3 * i + 2] != ':'))
				return 0;
			b[i] = (uint8_t)(hi << 4 | lo);
		}
	} else {
		if (len == 2 * n + 2 && s[0] == '0' && qor_text_lower_(s[1]) == 'x')
			s += 2;
		else if (len != 2 * n)
			return 0;
		for (i = 0; i < n; i++) {
			hi = qor_text_hexval_(s[2 * i]);
			lo = qor_text_hexval_(s[2 * i + 1]);
			if (hi < 0 || lo < 0)
				return 0;
			b[i] = (uint8_t)(hi << 4 | lo);
		}
	}
	memcpy(out, b, n);
	return 1;
}

/* "xx:xx:xx:xx:xx:xx:xx:xx" of the 8 bytes as held (wire order). */
static inline char *qor_wwn_format(wwn_t w, char out[QOR_WWN_TEXT_LEN])
{
	uint8_t b[8];
	memcpy(b, &w, sizeof b);
	return qor_text_colon_(b, sizeof b, out);
}

static inline char *qor_mac_format(const uint8_t mac[6], char out[QOR_MAC_TEXT_LEN])
{
	return qor_text_colon_(mac, 6, out);
}

/* 1 and *w set when s is a WWN in one of the accepted forms, else 0. */
static inline int qor_wwn_parse(const char *s, wwn_t *w)
{
	uint8_t b[8];
	if (!w || !qor_text_bytes_(s, b, sizeof b))
		return 0;
	memcpy(w, b, sizeof b);
	return 1;
}

static inline int qor_mac_parse(const char *s, uint8_t mac[6])
{
	return mac ? qor_text_bytes_(s, mac, 6) : 0;
}

static inline int qor_text_ieq_(const char *a, const char *b)
{
	for (; *a && *b; a++, b++)
		if (qor_text_lower_(*a) != qor_text_lower_(*b))
			return 0;
	return *a == *b;
}

/* Gbit/s of a speed code; 0 for unknown and auto. */
static inline unsigned qor_speed_gbps(uint32_t speed)
{
	switch (speed) {
	case QOR_PORT_SPEED_1GBPS:
	case QOR_PORT_SPEED_2GBPS:
	case QOR_PORT_SPEED_4GBPS:
	case QOR_PORT_SPEED_8GBPS:
	case QOR_PORT_SPEED_10GBPS:
	case QOR_PORT_SPEED_16GBPS:
		return speed;
	default:
		return 0;
	}
}

/* 1 and *speed set for "auto" or a supported number of Gbit/s ("8", "8G", "8Gbps"). */
static inline int qor_speed_parse(const char *s, qor_port_speed_t *speed)
{
	unsigned v = 0;
	const char *p = s;
	if (!s || !speed || !*s)
		return 0;
	if (qor_text_ieq_(s, "auto")) {
		*speed = QOR_PORT_SPEED_AUTO;
		return 1;
	}
	while (*p >= '0' && *p <= '9' && v < 100)
		v = v * 10 + (unsigned)(*p++ - '0');
	if (p == s || (*p && !qor_text_ieq_(p, "g") && !qor_text_ieq_(p, "gbps")))
		return 0;
	if (v == 0 || qor_speed_gbps(v) != v)
		return 0;
	*speed = (qor_port_speed_t)v;
	return 1;
}

/* Lower-case words of the settable topologies. */
static inline const char *qor_topology_word(uint32_t topo)
{
	switch (topo) {
	case QOR_PORT_TOPOLOGY_P2P:
		return "p2p";
	case QOR_PORT_TOPOLOGY_LOOP:
		return "loop";
	case QOR_PORT_TOPOLOGY_AUTO:
		return "auto";
	default:
		return "none";
	}
}

static inline int qor_topology_parse(const char *s, qor_port_topology_t *topo)
{
	uint32_t t;
	if (!s || !topo)
		return 0;
	for (t = QOR_PORT_TOPOLOGY_P2P; t <= QOR_PORT_TOPOLOGY_AUTO; t++)
		if (qor_text_ieq_(s, qor_topology_word(t))) {
			*topo = (qor_port_topology_t)t;
			return 1;
		}
	return 0;
}

/* "fc", "fcoe", "eth", or "unknown" for a controller type (qor_ioc_type_e). */
static inline const char *qor_ioc_type_word(uint32_t type)
{
	switch (type) {
	case QOR_IOC_TYPE_FC:
		return "fc";
	case QOR_IOC_TYPE_FCoE:
		return "fcoe";
	case QOR_IOC_TYPE_LL:
		return "eth";
	default:
		return "unknown";
	}
}

/* Words of the logical port role bits QOR_LPORT_ROLE_FCP_IM, _TM and _IPFC
 * (1, 2, 4), in bit order. */
#define QOR_ROLE_BITS 3
static inline const char *qor_role_word_at_(unsigned i)
{
	static const char *const words[QOR_ROLE_BITS] = {"initiator", "target", "ipfc"};
	return i < QOR_ROLE_BITS ? words[i] : 0;
}

/* Word of one role bit, or NULL for any other value. */
static inline const char *qor_role_word(uint32_t bit)
{
	unsigned i;
	for (i = 0; i < QOR_ROLE_BITS; i++)
		if (bit == 1u << i)
			return qor_role_word_at_(i);
	return 0;
}

/* The role bit of a word (exact, lower case), or 0. */
static inline uint32_t qor_role_parse(const char *s)
{
	unsigned i;
	for (i = 0; s && i < QOR_ROLE_BITS; i++)
		if (strcmp(s, qor_role_word_at_(i)) == 0)
			return 1u << i;
	return 0;
}

#ifdef __cplusplus
}
#endif

#endif
