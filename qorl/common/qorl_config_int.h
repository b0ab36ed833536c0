// Configuration module internals shared by its two source files: the
// setting-code table, bit helpers and the model's tables. Not exported.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <pthread.h>

#include "qorl_config.h"

namespace qorl::cfg {

constexpr int max_code = 35;

// Where a key is accepted. Adapter keys are matched by substring and the
// virtual port key by "contains", so they carry no flag here.
enum where : uint8_t { fc = 1, eth = 2, glob = 4 };

enum class syn : uint8_t { none, text, dec, hex, boolw, onoff, topo, logw, algo, secsrc, list, power, vport };

// How a setter decides the presence bit.
enum class bit_rule : uint8_t { none, not_default, mode, not_empty };

struct setting {
	int code;
	const char *key;
	uint8_t where;
	syn syntax;
	bool ad;          // adapter table field (else port table)
	uint16_t off;     // field offset in its slot
	uint16_t size;    // field size; 0 for none
	bit_rule rule;
	int def;          // the setter's default for bit_rule::not_default
	bool no_semi;     // the written line carries no ";"
};

extern const setting table[max_code + 1];

inline bool test_bit(const uint32_t *w, int c) { return (w[c / 32] >> (c % 32)) & 1u; }
inline void set_bit(uint32_t *w, int c) { w[c / 32] |= 1u << (c % 32); }
inline void clear_bit(uint32_t *w, int c) { w[c / 32] &= ~(1u << (c % 32)); }
inline void put_bit(uint32_t *w, int c, bool on) { on ? set_bit(w, c) : clear_bit(w, c); }

// An enum field's stored number; C callers may have stored any int there.
template <class E> inline int raw(const E &e)
{
	static_assert(sizeof(E) == sizeof(int));
	int v;
	__builtin_memcpy(&v, &e, sizeof v);
	return v;
}

extern qorl_ad_config_t ad_config_data[QORL_CFG_MAX_AD];
extern qorl_ioc_config_t ioc_config_data[QORL_CFG_MAX_IOC];
extern uint32_t config_all[4];
extern pthread_mutex_t vportmutex;

// Bounded, always-terminated copy of src into dst[size].
void copy_cut(char *dst, size_t size, const char *src);
// Cleaning with an output bound.
void filter(char *input, char *output, size_t outsz);
// "%02x:..." of the 8 bytes as held.
void wwn_text(wwn_t wwn, char (&out)[32]);
// Port slot of the controller's FC side, or -1.
int fc_slot(const qorl_t *q);

void vport_delete(int idx, const char *pwwn);
void vport_traverse(FILE *fd, int idx);

} // namespace qorl::cfg
