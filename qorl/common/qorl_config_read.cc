// The configuration file's reader: lines, keys and values, the number
// syntaxes, and storing a value text in the model.
#include <climits>
#include <cstdarg>
#include <cstring>

#include "qorl_int.h"

#include "qor/qor_text.h"
#include "qorl_config_int.h"

namespace qorl::cfg {

int ad_next;

namespace {

constexpr size_t line_buf = 1024, key_buf = 64, value_buf = 512, temp_buf = 512;

// Any character that is not a hexadecimal digit counts as 0.
int xtod(char c)
{
	int v = qor_text_hexval_(c);
	return v < 0 ? 0 : v;
}

// Value of the digit string, modulo 2^32 (the low bits are what callers cut to).
uint32_t HextoDec(const char *hex)
{
	uint32_t v = 0;
	for (const char *p = hex; *p; p++)
		v = v * 16u + static_cast<uint32_t>(xtod(*p));
	return v;
}

int power(int b, int l)
{
	int r = 1;
	while (l-- > 0)
		r *= b;
	return r;
}

int listtobmp(const int *list, int num)
{
	uint32_t bmp = 0;
	for (int i = 0; i < num; i++)
		bmp |= 1u << (static_cast<unsigned>(list[i]) % 32);
	return static_cast<int>(bmp);
}

// Number list: pieces between commas (empty ones skipped), bit (number mod 32).
uint32_t list_bitmap(const char *value)
{
	char copy[value_buf];
	copy_cut(copy, sizeof copy, value);
	int list[32], num = 0;
	uint32_t bmp = 0;
	char *save = nullptr;
	for (char *t = strtok_r(copy, ",", &save); t; t = strtok_r(nullptr, ",", &save)) {
		list[num++] = qorl_config_get_num(t);
		if (num == 32) {
			bmp |= static_cast<uint32_t>(listtobmp(list, num));
			num = 0;
		}
	}
	return bmp | static_cast<uint32_t>(listtobmp(list, num));
}

void get_key_n(char start, char end, const char *input, char *temp, char *key, size_t ksz)
{
	const char *b = input;
	if (start == '-') {
		b = std::strchr(input, '-');
		if (!b)
			return;
		b++;
	}
	const char *e = std::strchr(b, end);
	if (!e || e == b)
		return;
	size_t n = static_cast<size_t>(e - b);
	if (n > temp_buf - 1)
		n = temp_buf - 1;
	std::memcpy(temp, b, n);
	temp[n] = '\0';
	filter(temp, key, ksz);
}

void get_data_n(char token, const char *value, char *temp, char *config)
{
	const char *p = std::strchr(value, token);
	if (!p)
		return;
	copy_cut(temp, temp_buf, p + 1);
	filter(temp, config, value_buf);
}

const setting *find_key(const char *key, uint8_t w)
{
	for (const setting &s : table)
		if ((s.where & w) && std::strcmp(s.key, key) == 0)
			return &s;
	return nullptr;
}

// ---- the strict value syntaxes: what the reader takes into the model -----------

// Digits only, at least one, the value at most max.
bool digits_ok(const char *v, uint64_t max)
{
	if (!*v)
		return false;
	uint64_t n = 0;
	for (; *v; v++) {
		if (*v < '0' || *v > '9')
			return false;
		n = n * 10 + static_cast<uint64_t>(*v - '0');
		if (n > max)
			return false;
	}
	return true;
}

// "0x" or not, then hexadecimal digits of a value that fits 32 bits.
bool hex_ok(const char *v)
{
	if (v[0] == '0' && (v[1] == 'x' || v[1] == 'X'))
		v += 2;
	if (!*v)
		return false;
	uint64_t n = 0;
	for (; *v; v++) {
		int d = qor_text_hexval_(*v);
		if (d < 0)
			return false;
		n = n * 16 + static_cast<uint64_t>(d);
		if (n > 0xFFFFFFFFu)
			return false;
	}
	return true;
}

// Numbers between commas (empty pieces skipped, blanks around a number
// allowed), at least one.
bool list_ok(const char *v)
{
	char copy[value_buf];
	copy_cut(copy, sizeof copy, v);
	int count = 0;
	char *save = nullptr;
	for (char *t = strtok_r(copy, ",", &save); t; t = strtok_r(nullptr, ",", &save), count++) {
		while (*t == ' ' || *t == '\t')
			t++;
		char *e = t + std::strlen(t);
		while (e > t && (e[-1] == ' ' || e[-1] == '\t'))
			*--e = '\0';
		if (!digits_ok(t, INT_MAX))
			return false;
	}
	return count > 0;
}

// A record whose first field holds more than blanks.
bool vport_ok(const char *v)
{
	size_t b = std::strspn(v, ", \t");
	return v[b] && text_ok(v, text_use::fc);
}

bool value_ok(const setting &s, const char *v)
{
	switch (s.syntax) {
	case syn::text: return std::strlen(v) < s.size && text_ok(v, use_of(s.code));
	case syn::power: return text_ok(v, use_of(s.code));
	case syn::dec: return digits_ok(v, INT_MAX);
	case syn::hex: return hex_ok(v);
	case syn::list: return list_ok(v);
	case syn::vport: return vport_ok(v);
	case syn::none: return true;
	default: return word_value(*vocab_of(s.syntax), v) >= 0;
	}
}

bool ends_with(std::string_view s, std::string_view tail)
{
	return s.size() >= tail.size() && s.substr(s.size() - tail.size()) == tail;
}

// What became of one line: stored in the model, or kept as it was (with the
// reason when the line names a setting it could not give a value).
struct verdict {
	bool stored = false;
	kept_lines::of kind = kept_lines::of::other;
	int slot = -1, code = -1;
	char id[12] = {};
	char why[160] = {};
};

__attribute__((format(printf, 2, 3))) void refuse(verdict &v, const char *fmt, ...)
{
	va_list ap;
	va_start(ap, fmt);
	std::vsnprintf(v.why, sizeof v.why, fmt, ap);
	va_end(ap);
}

// adapter-<id>-<key> = <value>; the key names one or more of name, power, trunk.
void parse_adapter(const char *line, char *key, char *value, char *temp, verdict &v)
{
	v.kind = kept_lines::of::adapter;
	char id[key_buf] = {};
	get_key_n('-', '-', line, temp, id, sizeof id);
	get_key_n('-', '=', line, temp, key, key_buf);
	get_data_n('=', line, temp, value);
	copy_cut(v.id, sizeof v.id, id);
	static constexpr struct {
		const char *word;
		int code;
	} words[] = {{"name", QORL_CFG_AD_NAME}, {"power", QORL_CFG_AD_POWER}, {"trunk", QORL_CFG_AD_TRUNK}};
	int codes[3], n = 0;
	for (const auto &w : words)
		if (std::strstr(key, w.word))
			codes[n++] = w.code;
	if (!n)
		return;
	v.code = codes[0];
	if (!ends_with(std::string_view(line, static_cast<size_t>(std::strchr(line, '-') - line)), "adapter"))
		return refuse(v, "%s is not on an adapter-<id>-<key> line", key);
	if (std::strlen(id) >= sizeof v.id || !text_ok(id, text_use::id))
		return refuse(v, "the adapter id %s cannot be used", id);
	if (ad_next >= QORL_CFG_MAX_AD)
		return refuse(v, "no adapter slot is left");
	for (int i = 0; i < n; i++)
		if (!value_ok(table[codes[i]], value))
			return refuse(v, "the value of %s cannot be read", key);
	qorl_config_set_data(QORL_CFG_AD_ID, ad_next, id);
	for (int i = 0; i < n; i++)
		qorl_config_set_data(codes[i], ad_next, value);
	ad_next++;
	v.stored = true;
}

// qor<N>-<key> = <value> (FC) or vek<N>-<key> = <value> (Ethernet).
void parse_port(const char *line, bool is_fc, char *key, char *value, char *temp, verdict &v)
{
	v.kind = kept_lines::of::port;
	size_t n = static_cast<size_t>(std::strchr(line, '-') - line);
	if (n > temp_buf - 1)
		n = temp_buf - 1;
	std::memcpy(temp, line, n);
	temp[n] = '\0';
	const int slot = qorl_config_get_num(temp);
	size_t e = n;
	while (e > 0 && temp[e - 1] >= '0' && temp[e - 1] <= '9')
		e--;
	const bool shaped = ends_with(std::string_view(temp, e), is_fc ? "qor" : "vek");
	get_key_n('-', '=', line, temp, key, key_buf);
	get_data_n('=', line, temp, value);
	const setting *s = find_key(key, is_fc ? fc : eth);
	if (!s && !(is_fc && std::strstr(key, "vport")))
		return;
	v.code = s ? s->code : QORL_CFG_VPORT;
	v.slot = slot;
	if (!shaped)
		return refuse(v, "%s is not on a %s<N>-<key> line", key, is_fc ? "qor" : "vek");
	if (slot < 0 || slot >= QORL_CFG_MAX_IOC)
		return refuse(v, "the instance number of %s is above %d", key, QORL_CFG_MAX_IOC - 1);
	if (!value_ok(table[v.code], value))
		return refuse(v, "the value of %s cannot be read", key);
	if (s)
		qorl_config_set_data(s->code, slot, value);
	else
		qorl_config_set_vportdata(slot, value);
	v.stored = true;
}

// <key> = <value>: a driver tuning key, "power", or a key with a global form.
void parse_global(const char *line, char *key, char *value, char *temp, verdict &v)
{
	v.kind = kept_lines::of::global;
	get_key_n(' ', '=', line, temp, key, key_buf);
	get_data_n('=', line, temp, value);
	for (int i = 0; i < n_tuning; i++)
		if (std::strcmp(key, tuning_keys[i].key) == 0) {
			if (!digits_ok(value, INT_MAX))
				return refuse(v, "the value of %s cannot be read", key);
			params.tuning[i] = qorl_config_get_num(value);
			params.tuning_set |= 1u << i;
			v.stored = true;
			return;
		}
	if (std::strcmp(key, "power") == 0) {
		if (!text_ok(value, text_use::global))
			return refuse(v, "the value of %s cannot be read", key);
		copy_cut(params.global_power, sizeof params.global_power, value);
		params.global_power_set = true;
		v.stored = true;
		return;
	}
	const setting *s = find_key(key, glob);
	if (!s)
		return;
	v.code = s->code;
	if (!value_ok(*s, value))
		return refuse(v, "the value of %s cannot be read", key);
	set_bit(config_all, s->code);
	int m = qorl_config_ioc_get_num();
	for (int i = 0; i < m; i++)
		qorl_config_set_data(s->code, i, value);
	v.stored = true;
}

bool blank(const char *s)
{
	return s[std::strspn(s, " \t\r\n")] == '\0';
}

// One line (up to and including its first newline) of `len` bytes at raw:
// into the model, or kept as it was. False when it could not be kept.
bool take_line(const char *raw, size_t len, const char *path, int lineno)
{
	size_t n = 0;
	while (n < len && raw[n] != '\n')
		n++;
	if (n < len)
		n++;
	// The parse sees the text up to a NUL, as C text.
	char line[line_buf];
	size_t c = strnlen(raw, n < sizeof line - 1 ? n : sizeof line - 1);
	std::memcpy(line, raw, c);
	line[c] = '\0';
	if (blank(line))
		return true;
	verdict v;
	if (line[0] == '#') {
		if (own_heading(std::string_view(line, c && line[c - 1] == '\n' ? c - 1 : c)))
			return true;
	} else {
		char key[key_buf] = {}, value[value_buf] = {}, temp[temp_buf] = {};
		bool dash = std::strchr(line, '-') != nullptr;
		if (dash && std::strstr(line, "adapter"))
			parse_adapter(line, key, value, temp, v);
		else if (dash && std::strstr(line, "qor"))
			parse_port(line, true, key, value, temp, v);
		else if (dash && std::strstr(line, "vek"))
			parse_port(line, false, key, value, temp, v);
		else
			parse_global(line, key, value, temp, v);
		if (v.stored)
			return true;
	}
	if (path && v.why[0])
		qorl::report("qorl_config_load: %s:%d: %s; the line is kept as it was", path, lineno, v.why);
	return carried.add(raw, n, v.kind, v.slot, v.code, v.id);
}

} // namespace

void copy_cut(char *dst, size_t size, const char *src)
{
	if (!size)
		return;
	size_t n = src ? strnlen(src, size) : 0;
	if (n == size) {
		// Cut: a character that does not end within the room is left out whole.
		n = size - 1;
		auto byte = [&](size_t i) { return static_cast<unsigned char>(src[i]); };
		size_t lead = n;
		while (lead > 0 && (byte(lead) & 0xC0) == 0x80)
			lead--;
		if ((byte(n) & 0xC0) == 0x80)
			n = lead;
	}
	std::memcpy(dst, src, n);
	dst[n] = '\0';
}

kept_lines carried;

bool kept_lines::add(const char *text, size_t len, of kind, int slot, int code, const char *id)
{
	auto *l = static_cast<line *>(std::malloc(sizeof(line) + len));
	if (!l)
		return false;
	l->next = nullptr;
	l->len = len;
	l->kind = kind;
	l->slot = slot;
	l->code = code;
	copy_cut(l->id, sizeof l->id, id ? id : "");
	std::memcpy(l + 1, text, len);
	(tail_ ? tail_->next : head_) = l;
	tail_ = l;
	return true;
}

bool kept_lines::copy_from(const kept_lines &o)
{
	clear();
	for (const line *l = o.head_; l; l = l->next)
		if (!add(l->text(), l->len, l->kind, l->slot, l->code, l->id)) {
			clear();
			return false;
		}
	return true;
}

void kept_lines::take_from(kept_lines &o)
{
	clear();
	head_ = o.head_;
	tail_ = o.tail_;
	o.head_ = o.tail_ = nullptr;
}

void kept_lines::clear()
{
	free_chain(head_);
	head_ = tail_ = nullptr;
}

void kept_lines::drop(of kind, int slot, const char *id, int code)
{
	line *prev = nullptr;
	for (line *l = head_; l;) {
		line *next = l->next;
		if (l->kind == kind && l->code == code && l->slot == slot && std::strcmp(l->id, id) == 0) {
			(prev ? prev->next : head_) = next;
			if (tail_ == l)
				tail_ = prev;
			std::free(l);
		} else {
			prev = l;
		}
		l = next;
	}
}

void supersede_port(int idx, int code)
{
	carried.drop(kept_lines::of::port, idx, "", code);
}

void supersede_adapter(const char *id, int code)
{
	carried.drop(kept_lines::of::adapter, -1, id, code);
}

bool read_text(std::string_view text, const char *path)
{
	bool kept_all = true;
	char line[line_buf];
	size_t pos = 0;
	int lineno = 1;
	// Pieces of at most line_lim - 1 characters, as the loader reads them;
	// the last, empty read is handled too and matches nothing.
	for (;;) {
		size_t i = 0;
		while (i < line_lim - 1 && pos < text.size()) {
			char c = text[pos++];
			line[i++] = c;
			if (c == '\n')
				break;
		}
		line[i] = '\0';
		kept_all &= take_line(line, i, path, lineno);
		if (i == 0)
			break;
		lineno += line[i - 1] == '\n';
	}
	return kept_all;
}

void filter(char *input, char *output, size_t outsz)
{
	auto lead = [](char c) { return c == ' ' || c == '\t' || c == '"' || c == ';' || c == '\n'; };
	char *s = input;
	while (*s && lead(*s))
		s++;
	char *e = s + std::strlen(s);
	while (e > s && lead(e[-1]))
		e--;
	*e = '\0';
	copy_cut(output, outsz, e == s ? " " : s);
}

} // namespace qorl::cfg

using namespace qorl::cfg;

extern "C" {

void qorl_config_parse(char *line)
{
	if (line)
		(void)take_line(line, std::strlen(line), nullptr, 0);
}

void qorl_config_set_data(int type, int idx, void *value)
{
	if (!value || type < 0 || type > max_code)
		return;
	const setting &s = table[type];
	if (idx < 0 || idx >= (s.ad ? QORL_CFG_MAX_AD : QORL_CFG_MAX_IOC))
		return;
	const char *v = static_cast<const char *>(value);
	if ((s.syntax == syn::text || s.syntax == syn::power) && !text_ok(v, use_of(type)))
		return;
	uint32_t *flags = flags_of(s, idx);
	set_bit(flags, type);
	switch (s.syntax) {
	case syn::text:
		copy_cut(static_cast<char *>(field(s, idx)), s.size, v);
		if (!s.ad)
			key_from_text(type, idx);
		break;
	case syn::dec:
		put_int(s, idx, qorl_config_get_num(const_cast<char *>(v)));
		break;
	case syn::hex:
		put_int(s, idx, HextoDec(v));
		break;
	case syn::list:
		put_int(s, idx, list_bitmap(v));
		break;
	case syn::power:
		copy_cut(params.ad_power[idx], sizeof params.ad_power[idx], v);
		break;
	case syn::none:
	case syn::vport:
		break;
	default: {
		const vocab &w = *vocab_of(s.syntax);
		if (int i = word_value(w, v); i >= 0)
			put_int(s, idx, i);
		else if (!w.keep_bit)
			clear_bit(flags, type);
		break;
	}
	}
}

void qorl_config_filter_space(char *input, char *output)
{
	if (!input || !output)
		return;
	filter(input, output, std::strlen(input) + 2);
}

void qorl_config_get_key(char start, char end, char *input, char *temp, char *key)
{
	if (input && temp && key)
		get_key_n(start, end, input, temp, key, key_buf);
}

void qorl_config_get_data(char token, char *value, char *temp, char *config)
{
	if (value && temp && config)
		get_data_n(token, value, temp, config);
}

int qorl_config_get_num(char *value)
{
	if (!value)
		return -1;
	int64_t acc = 0;
	int pos = 0;
	bool big = false;
	for (size_t i = std::strlen(value); i-- > 0;) {
		char c = value[i];
		if (c == '\n')
			continue;
		if (c < '0' || c > '9')
			break;
		if (c != '0') {
			if (pos > 9)
				big = true;
			else
				acc += static_cast<int64_t>(c - '0') * power(10, pos);
		}
		pos++;
	}
	return big || acc > INT_MAX ? INT_MAX : static_cast<int>(acc);
}

wwn_t wwn_convert(char *value)
{
	if (!value)
		return 0;
	char copy[33];
	copy_cut(copy, sizeof copy, value);
	uint8_t b[8] = {};
	int n = 0;
	char *save = nullptr;
	for (char *t = strtok_r(copy, ":", &save); t && n < 8; t = strtok_r(nullptr, ":", &save))
		b[n++] = static_cast<uint8_t>(HextoDec(t));
	wwn_t w;
	std::memcpy(&w, b, sizeof w);
	return w;
}

int xstrtoi(char *hex)
{
	return hex ? static_cast<int>(HextoDec(hex)) : 0;
}

} // extern "C"
