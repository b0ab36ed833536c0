// Configuration module internals shared by its source files: the setting
// table and its words (qorl_config_table.cc), the check of text entering
// the model (qorl_config_text.cc), the model and its slot keys
// (qorl_config_slot.cc), the reader (qorl_config_read.cc), the writer
// (qorl_config_write.cc), the setters (qorl_config_set.cc), the virtual port
// lists (qorl_config_vport.cc) and the file's load and write-back with its
// lock and merge (qorl_config_file.cc). Not exported.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <pthread.h>
#include <string_view>

#include "qorl_config.h"

namespace qorl::cfg {

// ---- the setting table (qorl_config_table.cc) ----------------------------------

constexpr int max_code = QORL_CFG_PBIND;

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

// Words of a coded value, indexed by the value. The reader takes back the
// words from first_read on, and the other spellings in also (nullptr where
// a value has none); an unknown word clears the bit unless keep_bit.
struct vocab {
	const char *const *words;
	int count;
	int first_read;
	bool keep_bit;
	const char *const *also;
};
// The value of a word in its vocabulary, or -1.
int word_value(const vocab &w, const char *word);
const vocab *vocab_of(syn s);
// Word of a coded value, or nullptr when the value has none.
const char *word_of(const setting &s, int64_t v);

// Driver tuning keys: read into variables, kept over a rewrite.
struct tuning {
	const char *key;
	int initial;
};
constexpr int n_tuning = 14;
extern const tuning tuning_keys[n_tuning];

// A slot's field of a setting, and numbers as the field's width holds them.
void *field(const setting &s, int idx);
uint32_t *flags_of(const setting &s, int idx);
int64_t normalize(const setting &s, int64_t v);
int64_t get_int(const setting &s, int idx);
void put_int(const setting &s, int idx, int64_t v);

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

// ---- text entering the model (qorl_config_text.cc) -----------------------------

// The kind of line a text is written on, which decides the words it must not
// hold: the reader classifies a line by the first of "adapter", "qor" and
// "vek" found anywhere in it, value included.
enum class text_use : uint8_t {
	adapter, // adapter-<id>-<key> lines: any word
	fc,      // qor<N>- lines: no "adapter"
	eth,     // vek<N>- lines: no "adapter", no "qor"
	global,  // lines without a prefix: none of the three
	id,      // the adapter id inside adapter lines: no "-", no "=", not empty
};
// The one check of text from outside (a caller, a driver, the file) before
// it enters the model: valid UTF-8 without control characters, '"', ';' or
// '\', and no word of use's list.
bool text_ok(const char *s, text_use use);
// Where the text of setting code goes.
text_use use_of(int code);

// ---- the model (qorl_config_slot.cc) ---------------------------------------------

extern qorl_ad_config_t ad_config_data[QORL_CFG_MAX_AD];
extern qorl_ioc_config_t ioc_config_data[QORL_CFG_MAX_IOC];
extern uint32_t config_all[4];
extern pthread_mutex_t vportmutex;

// A port slot's keys as numbers, kept beside their text so that lookups
// compare numbers. wwn is what the WWN text converts to (0 for none); mac
// is valid when the MAC text begins with the library's own form of one.
struct slot_key {
	wwn_t wwn;
	bool has_mac;
	mac_t mac;
};
extern slot_key slot_keys[QORL_CFG_MAX_IOC];
// Recomputes slot idx's key of code (port WWN or MAC) from its text.
void key_from_text(int code, int idx);

// What the file held that the public slot records have no field for; the
// writer puts it under "# Driver parameters".
struct driver_params {
	int tuning[n_tuning];
	uint32_t tuning_set; // bit i: the file set tuning_keys[i]
	char global_power[512];
	bool global_power_set;
	char ad_power[QORL_CFG_MAX_AD][512];
};
extern driver_params params;

// Port slot of the controller's FC side, or -1.
int fc_slot(const qorl_t *q);
// Slot of the controller's own side (FC by WWN, Ethernet by MAC), or -1.
int own_slot(const qorl_t *q, bool *fc_side);
// First adapter slot whose id is serial, or -1.
int ad_slot(const char *serial);

// ---- the reader (qorl_config_read.cc) ----------------------------------------------

// A line is read in pieces of at most line_lim - 1 characters.
constexpr size_t line_lim = 512;

// The adapter slot that the next adapter line fills; the write-back resets it.
extern int ad_next;

// Bounded, always-terminated copy of src into dst[size]; a cut never splits
// a UTF-8 character.
void copy_cut(char *dst, size_t size, const char *src);
// Cleaning with an output bound.
void filter(char *input, char *output, size_t outsz);

// Reads a file's text into the model, line by line, as the loader does.
// Lines that are not read into the model are kept (carried). With path set,
// each line that names a setting but cannot be read is reported once. False
// when a line could not be kept for want of memory.
bool read_text(std::string_view text, const char *path);

// Lines of the file that the model does not hold, written back verbatim
// after the sections of the layout: comments other than the library's own
// headings, unknown keys, and lines naming a setting that could not be read.
// In the order read; allocation is checked.
class kept_lines {
public:
	enum class of : uint8_t { other, port, adapter, global };
	struct line {
		line *next;
		size_t len;       // of the text, newline included when the file had one
		of kind;
		int slot;         // port lines: the slot number
		int code;         // the setting the line names; -1 for none
		char id[12];      // adapter lines: the adapter id
		const char *text() const { return reinterpret_cast<const char *>(this + 1); }
	};

	kept_lines() = default;
	~kept_lines() { clear(); }
	kept_lines(const kept_lines &) = delete;
	kept_lines &operator=(const kept_lines &) = delete;

	// False when out of memory; the line is then not kept.
	bool add(const char *text, size_t len, of kind, int slot, int code, const char *id);
	// A copy of o in place of this one's lines; false (and empty) when out of memory.
	bool copy_from(const kept_lines &o);
	// Takes o's lines; o is left empty.
	void take_from(kept_lines &o);
	void clear();
	// Drops the lines of that kind, slot (or id) and code.
	void drop(of kind, int slot, const char *id, int code);
	const line *first() const { return head_; }

private:
	line *head_ = nullptr, *tail_ = nullptr;
};
extern kept_lines carried;
// A setter gave setting code of port slot idx (adapter id) a value of its
// own: kept lines naming that setting are dropped.
void supersede_port(int idx, int code);
void supersede_adapter(const char *id, int code);

// ---- the file (qorl_config_file.cc) ---------------------------------------------------

// Forgets the file loaded and the copy of the model as loaded: a write-back
// then renders the model, and the next load starts a new copy.
void forget_loaded();

// ---- the writer (qorl_config_write.cc) ----------------------------------------------

// Whether line (newline excluded) is a line of the library's own headings.
bool own_heading(std::string_view line);
// The whole file: header, adapter and port sections, driver parameters and
// the kept lines.
void render(FILE *fd);

// ---- setters used outside the module (qorl_config_set.cc) ------------------------

// Adapter settings keyed by the serial number the caller holds; the naming
// and trunk operations call them once the drivers have accepted.
void ad_name(const char *serial, const char *name);
void ad_trunk(const char *serial, qor_boolean_t mode);

// ---- virtual port lists (qorl_config_vport.cc) --------------------------------------

void vport_delete(int idx, const char *pwwn);
void vport_traverse(FILE *fd, int idx);
// Adds the entry to slot idx's list, or updates the entry of its WWN; false
// when out of memory.
bool vport_put(int idx, const qorl_vf_config_t &e);
// A copy of a list (head first); false when out of memory (nothing is then
// allocated).
bool vport_clone(const qorl_vf_config_t *head, qorl_vf_config_t **out);
void vport_free(qorl_vf_config_t *head);
// A copy of slot idx's list, or slot idx's list replaced by `list` (which
// the slot then owns), under the lists' lock.
bool vport_take(int idx, qorl_vf_config_t **out);
void vport_give(int idx, qorl_vf_config_t *list);

} // namespace qorl::cfg
