// The configuration file's reader: lines, keys and values, the number
// syntaxes, and storing a value text in the model.
#include <climits>
#include <cstring>

#include "qor/qor_text.h"
#include "qorl_config_int.h"

namespace qorl::cfg {

int ad_next;

namespace {

constexpr size_t line_buf = 1024, key_buf = 64, id_buf = 12, value_buf = 512,
		 temp_buf = 512;

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

int qorl_getline(FILE *fd, char *s, int lim)
{
	int i = 0, c = 0;
	while (i < lim - 1 && (c = getc_unlocked(fd)) != EOF) {
		s[i++] = static_cast<char>(c);
		if (c == '\n')
			break;
	}
	s[i] = '\0';
	return i;
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

// The value of a word in its vocabulary, or -1.
int word_value(const vocab &w, const char *word)
{
	for (int i = w.first_read; i < w.count; i++)
		if (std::strcmp(w.words[i], word) == 0)
			return i;
	return -1;
}

// Each parse_* returns early, storing nothing, for a line that the model
// does not take.

void parse_adapter(const char *line, char *key, char *value, char *temp)
{
	char id[id_buf] = {};
	get_key_n('-', '-', line, temp, id, sizeof id);
	get_key_n('-', '=', line, temp, key, key_buf);
	get_data_n('=', line, temp, value);
	if (ad_next >= QORL_CFG_MAX_AD)
		return;
	qorl_config_set_data(QORL_CFG_AD_ID, ad_next, id);
	if (std::strstr(key, "name"))
		qorl_config_set_data(QORL_CFG_AD_NAME, ad_next, value);
	if (std::strstr(key, "power"))
		qorl_config_set_data(QORL_CFG_AD_POWER, ad_next, value);
	if (std::strstr(key, "trunk"))
		qorl_config_set_data(QORL_CFG_AD_TRUNK, ad_next, value);
	ad_next++;
}

void parse_port(const char *line, bool is_fc, char *key, char *value, char *temp)
{
	const char *dash = std::strchr(line, '-');
	size_t n = static_cast<size_t>(dash - line);
	if (n > temp_buf - 1)
		n = temp_buf - 1;
	std::memcpy(temp, line, n);
	temp[n] = '\0';
	int slot = qorl_config_get_num(temp);
	if (slot < 0 || slot >= QORL_CFG_MAX_IOC)
		return;
	get_key_n('-', '=', line, temp, key, key_buf);
	get_data_n('=', line, temp, value);
	if (const setting *s = find_key(key, is_fc ? fc : eth))
		qorl_config_set_data(s->code, slot, value);
	else if (is_fc && std::strstr(key, "vport"))
		qorl_config_set_vportdata(slot, value);
}

void parse_global(const char *line, char *key, char *value, char *temp)
{
	get_key_n(' ', '=', line, temp, key, key_buf);
	get_data_n('=', line, temp, value);
	for (int i = 0; i < n_tuning; i++)
		if (std::strcmp(key, tuning_keys[i].key) == 0) {
			params.tuning[i] = qorl_config_get_num(value);
			params.tuning_set |= 1u << i;
			return;
		}
	if (std::strcmp(key, "power") == 0) {
		copy_cut(params.global_power, sizeof params.global_power, value);
		params.global_power_set = true;
		return;
	}
	const setting *s = find_key(key, glob);
	if (!s)
		return;
	set_bit(config_all, s->code);
	int m = qorl_config_ioc_get_num();
	for (int i = 0; i < m; i++)
		qorl_config_set_data(s->code, i, value);
}

} // namespace

void copy_cut(char *dst, size_t size, const char *src)
{
	if (!size)
		return;
	size_t n = src ? strnlen(src, size - 1) : 0;
	std::memcpy(dst, src, n);
	dst[n] = '\0';
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

qor_status_t qorl_config_load(char *path)
{
	FILE *fd = path ? std::fopen(path, "r") : nullptr;
	if (!fd)
		return QOR_STATUS_OK;
	char line[line_buf];
	int got;
	// Every piece of the file passes here once, comments included.
	do {
		got = qorl_getline(fd, line, line_lim);
		if (line[0] != '#')
			qorl_config_parse(line);
	} while (got > 0);
	std::fclose(fd);
	return QOR_STATUS_OK;
}

void qorl_config_parse(char *line)
{
	if (!line)
		return;
	char key[key_buf] = {}, value[value_buf] = {}, temp[temp_buf] = {};
	bool dash = std::strchr(line, '-') != nullptr;
	if (dash && std::strstr(line, "adapter"))
		parse_adapter(line, key, value, temp);
	else if (dash && std::strstr(line, "qor"))
		parse_port(line, true, key, value, temp);
	else if (dash && std::strstr(line, "vek"))
		parse_port(line, false, key, value, temp);
	else
		parse_global(line, key, value, temp);
}

void qorl_config_set_data(int type, int idx, void *value)
{
	if (!value || type < 0 || type > max_code)
		return;
	const setting &s = table[type];
	if (idx < 0 || idx >= (s.ad ? QORL_CFG_MAX_AD : QORL_CFG_MAX_IOC))
		return;
	const char *v = static_cast<const char *>(value);
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
