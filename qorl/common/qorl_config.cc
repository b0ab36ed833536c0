// Persistent configuration: model, reader, setters and write-back of the
// configuration file that the drivers read too.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "qorl_adapter.h"
#include "qorl_config_int.h"

namespace qorl::cfg {

qorl_ad_config_t ad_config_data[QORL_CFG_MAX_AD];
qorl_ioc_config_t ioc_config_data[QORL_CFG_MAX_IOC];
uint32_t config_all[4];

namespace {

#define IOC(f) false, offsetof(qorl_ioc_config_t, f), sizeof(qorl_ioc_config_t::f)
#define AD(f) true, offsetof(qorl_ad_config_t, f), sizeof(qorl_ad_config_t::f)
#define NOFIELD false, 0, 0
constexpr uint8_t fcg = fc | glob;
using S = syn;
using R = bit_rule;

} // namespace

// One row per setting code: the reader, the setters and the writer all
// work from it.
constexpr setting table[max_code + 1] = {
	{0, nullptr, 0, S::text, AD(id), R::none, 0, false},
	{1, "name", 0, S::text, AD(name), R::none, 0, false},
	{2, "power", 0, S::power, true, 0, 0, R::none, 0, false},
	{3, "trunk", 0, S::boolw, AD(ad_trunk), R::none, 0, false},
	{4, "port-wwn", fc, S::text, IOC(pwwn), R::none, 0, false},
	{5, "port-mac", eth, S::text, IOC(mac), R::none, 0, false},
	{6, "port-name", fc, S::text, IOC(name), R::none, 0, false},
	{7, "port-name", eth, S::text, IOC(ethname), R::none, 0, false},
	{8, "port-mtu", eth, S::dec, IOC(mtu), R::none, 0, false},
	{9, "port-speed", fcg, S::dec, IOC(speed), R::not_default, 0, false},
	{10, "port-topology", fcg, S::topo, IOC(topology), R::not_default, 0, false},
	{11, "port-hardalpa", fc, S::hex, IOC(alpa), R::mode, 0, false},
	{12, "port-maxfrsize", fcg, S::dec, IOC(maxfrsz), R::not_default, 2112, false},
	{13, "port-trunk", fcg, S::list, IOC(trunking), R::mode, 0, false},
	{14, "port-enable", fcg, S::boolw, IOC(enable), R::not_default, 1, false},
	{15, "ipfc-enable", fcg, S::boolw, IOC(ipfc_enable), R::not_default, 1, false},
	{16, "log-level", fcg, S::logw, IOC(log), R::not_default, 0, false},
	{17, "vf-enable", fcg, S::boolw, IOC(vf_enable), R::none, 0, true},
	{18, "vf-default", fcg, S::dec, IOC(vf_default_id), R::none, 0, false},
	{19, "vf-list", fcg, S::list, IOC(vf_list), R::none, 0, false},
	{20, "vport", 0, S::vport, NOFIELD, R::none, 0, false},
	{21, "auth-policy", fcg, S::onoff, IOC(authpolicy), R::not_default, 0, false},
	{22, "auth-algo", fcg, S::algo, IOC(authalgo), R::not_default, 0, false},
	{23, "auth-group", fcg, S::dec, IOC(authgroup), R::not_default, 1, false},
	{24, "auth-secretsource", fcg, S::secsrc, IOC(authssource), R::not_default, 1, false},
	{25, "auth-encrypt", fcg, S::text, IOC(authsstring), R::not_empty, 0, false},
	{26, nullptr, 0, S::none, NOFIELD, R::none, 0, false},
	{27, "pathtov", fcg, S::dec, IOC(pathtov), R::not_default, 0, false},
	{28, "qdepth", fcg, S::dec, IOC(qdepth), R::not_default, 0, false},
	{29, "qos", fcg, S::boolw, IOC(qos), R::not_default, 0, false},
	{30, "ratelim", fcg, S::boolw, IOC(ratelim), R::not_default, 0, false},
	{31, "ratelim-defspeed", fcg, S::dec, IOC(defspeed), R::not_default, 1, false},
	{32, "coalesce", fcg, S::onoff, IOC(coalesce), R::none, 0, false},
	{33, "delay", fcg, S::dec, IOC(delay), R::none, 0, false},
	{34, "latency", fcg, S::dec, IOC(latency), R::none, 0, false},
	{35, "persistent-binding", fcg, S::boolw, IOC(binding), R::not_default, 0, false},
};
#undef IOC
#undef AD
#undef NOFIELD

namespace {

constexpr bool table_in_code_order()
{
	for (int c = 0; c <= max_code; c++)
		if (table[c].code != c)
			return false;
	return true;
}
static_assert(table_in_code_order(), "setting table out of code order");

// Words of a coded value, indexed by the value. The reader takes back the
// words from first_read on; an unknown word clears the bit unless keep_bit.
struct vocab {
	const char *const *words;
	int count;
	int first_read;
	bool keep_bit;
};
constexpr const char *bool_words[] = {"FALSE", "TRUE"};
constexpr const char *onoff_words[] = {"off", "on"};
constexpr const char *topo_words[] = {"none", "p2p", "loop", "auto"};
constexpr const char *log_words[] = {"None", "Critical", "Error", "Warning", "Info", "Info"};
constexpr const char *algo_words[] = {" ", "md5", "sha1", "ms", "sm"};
constexpr const char *secsrc_words[] = {" ", "LOCAL", "RADIUS", "TACACS"};

const vocab *vocab_of(syn s)
{
	static constexpr vocab v_bool{bool_words, 2, 0, false}, v_onoff{onoff_words, 2, 0, false},
		v_topo{topo_words, 4, 0, false}, v_log{log_words, 6, 1, true},
		v_algo{algo_words, 5, 1, false}, v_secsrc{secsrc_words, 4, 1, false};
	switch (s) {
	case syn::boolw: return &v_bool;
	case syn::onoff: return &v_onoff;
	case syn::topo: return &v_topo;
	case syn::logw: return &v_log;
	case syn::algo: return &v_algo;
	case syn::secsrc: return &v_secsrc;
	default: return nullptr;
	}
}

// Driver tuning keys: read into variables, kept over a rewrite.
struct tuning {
	const char *key;
	int initial;
};
constexpr tuning tuning_keys[] = {
	{"msix-disable", 0},      {"num-rports", 0},          {"num-ios", 0},
	{"num-tms", 0},           {"num-fcxps", 0},           {"num-ufbufs", 0},
	{"reqq-size", 0},         {"rspq-size", 0},           {"num-sgpgs", 0},
	{"ioc-auto-recover", 1},  {"ipfc-disable", 1},        {"rport-del-timeout", 150},
	{"dma-relaxed-ordering", 1}, {"pcie-max-read-reqsz", 512},
};
constexpr int n_tuning = sizeof tuning_keys / sizeof tuning_keys[0];
int tuning_value[n_tuning] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 150, 1, 512};
uint32_t tuning_set; // bit i: the file set tuning_keys[i]

// "power" values: the design's model has no field for them, yet a rewrite
// must not drop them.
char ad_power[QORL_CFG_MAX_AD][512];
char global_power[512];
bool global_power_set;

// The adapter slot that the next adapter line fills; stops at the table's end.
int ad_next;

constexpr size_t line_buf = 1024, line_lim = 512, key_buf = 64, id_buf = 12, value_buf = 512,
		 temp_buf = 512;

void *field(const setting &s, int idx)
{
	char *base = s.ad ? reinterpret_cast<char *>(&ad_config_data[idx])
			  : reinterpret_cast<char *>(&ioc_config_data[idx]);
	return base + s.off;
}

uint32_t *flags_of(const setting &s, int idx)
{
	return s.ad ? ad_config_data[idx].flags : ioc_config_data[idx].flags;
}

// A number as the field of width s.size holds it.
int64_t normalize(const setting &s, int64_t v)
{
	switch (s.size) {
	case 1: return static_cast<uint8_t>(v);
	case 2: return static_cast<uint16_t>(v);
	default: return static_cast<int32_t>(static_cast<uint32_t>(v));
	}
}

int64_t get_int(const setting &s, int idx)
{
	const void *p = field(s, idx);
	switch (s.size) {
	case 1: return *static_cast<const uint8_t *>(p);
	case 2: { uint16_t v; std::memcpy(&v, p, 2); return v; }
	default: { int32_t v; std::memcpy(&v, p, 4); return v; }
	}
}

void put_int(const setting &s, int idx, int64_t v)
{
	void *p = field(s, idx);
	switch (s.size) {
	case 1: *static_cast<uint8_t *>(p) = static_cast<uint8_t>(v); break;
	case 2: { uint16_t x = static_cast<uint16_t>(v); std::memcpy(p, &x, 2); break; }
	default: { int32_t x = static_cast<int32_t>(normalize(s, v)); std::memcpy(p, &x, 4); break; }
	}
}

int xtod(char c)
{
	if (c >= '0' && c <= '9')
		return c - '0';
	if (c >= 'a' && c <= 'f')
		return c - 'a' + 10;
	if (c >= 'A' && c <= 'F')
		return c - 'A' + 10;
	return 0;
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
			tuning_value[i] = qorl_config_get_num(value);
			tuning_set |= 1u << i;
			return;
		}
	if (std::strcmp(key, "power") == 0) {
		copy_cut(global_power, sizeof global_power, value);
		global_power_set = true;
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

// ---- writer ----------------------------------------------------------------

// Word of a coded value, or nullptr when the value has none.
const char *word_of(const setting &s, int64_t v)
{
	const vocab *w = vocab_of(s.syntax);
	if (!w || v < 0 || v >= w->count)
		return nullptr;
	return w->words[v];
}

void write_list(FILE *fd, uint32_t bmp)
{
	int list[32], num = 0;
	bmptolist(static_cast<int>(bmp), list, &num);
	for (int i = 0; i < num; i++)
		std::fprintf(fd, i + 1 < num ? "%d, " : "%d;\n", list[i]);
}

// One setting line of slot idx; prefix is "" for a global line.
void write_setting(FILE *fd, const setting &s, int idx, const char *prefix, int num)
{
	char head[96];
	if (*prefix)
		std::snprintf(head, sizeof head, "%s%d-%s = ", prefix, num, s.key);
	else
		std::snprintf(head, sizeof head, "%s = ", s.key);
	switch (s.syntax) {
	case syn::text:
		std::fprintf(fd, "%s\"%s\";\n", head, static_cast<const char *>(field(s, idx)));
		break;
	case syn::dec:
		std::fprintf(fd, "%s%d;\n", head, static_cast<int>(get_int(s, idx)));
		break;
	case syn::hex:
		std::fprintf(fd, "%s0x%x;\n", head, static_cast<unsigned>(get_int(s, idx)));
		break;
	case syn::list: {
		uint32_t bmp = static_cast<uint32_t>(get_int(s, idx));
		if (bmp) {
			std::fputs(head, fd);
			write_list(fd, bmp);
		}
		break;
	}
	default:
		if (const char *w = word_of(s, get_int(s, idx)))
			std::fprintf(fd, s.no_semi ? "%s\"%s\"\n" : "%s\"%s\";\n", head, w);
		break;
	}
}

struct group {
	const char *heading;
	int8_t codes[6];
};
constexpr int8_t E = -1;
constexpr group port_groups[] = {
	{"\n#\n# Persistent naming of port\n#\n", {4, 6, E}},
	{"", {5, 7, E}},
	{"\n#\n# Port configuration\n#\n", {9, 10, 11, 12, E}},
	{"\n# trunking\n", {13, E}},
	{"\n# disable a port persistently\n", {14, E}},
	{"", {15, E}},
	{"\n#\n# Driver log level\n# level: INFO, WARN, ERROR, CRITICAL\n#\n", {16, E}},
	{"\n#\n# VF configuration\n#\n", {17, 18, 19, E}},
	{"\n#\n# vport configuration\n#\n# vport-<id> = pwwn, nwwn,symname, roles [, vf_id]\n#\n",
	 {20, E}},
	{"\n#\n# Authentication\n#\n", {21, 22, 23, 24, 25, E}},
	{"\n#\n# Initiator mode configuration\n#\n", {27, 35, E}},
	{"", {28, E}},
	{"\n#\n# QoS, rate limiting configuration\n#\n", {29, 30, 31, E}},
	{"\n#\n# IOC intr configuration\n#\n", {32, 33, 34, E}},
};

bool is_global(const setting &s)
{
	return (s.where & glob) && test_bit(config_all, s.code);
}

void write_group(FILE *fd, const group &g)
{
	std::fputs(g.heading, fd);
	for (int8_t c : g.codes) {
		if (c == E)
			break;
		if (is_global(table[c]))
			write_setting(fd, table[c], 0, "", 0);
	}
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++) {
		const uint32_t *f = ioc_config_data[i].flags;
		for (int8_t c : g.codes) {
			if (c == E)
				break;
			const setting &s = table[c];
			if (is_global(s) || !test_bit(f, c))
				continue;
			if (c == QORL_CFG_VPORT)
				vport_traverse(fd, i);
			else
				write_setting(fd, s, i, (s.where & eth) ? "vek" : "qor", i);
		}
	}
}

// Keys the file held that the design's layout has no line for.
void write_kept(FILE *fd)
{
	bool any = tuning_set || global_power_set;
	for (int i = 0; i < QORL_CFG_MAX_AD && !any; i++)
		any = test_bit(ad_config_data[i].flags, QORL_CFG_AD_POWER);
	for (int i = 0; i < QORL_CFG_MAX_IOC && !any; i++)
		any = test_bit(ioc_config_data[i].flags, QORL_CFG_PORT_MTU);
	if (!any)
		return;
	std::fputs("\n#\n# Driver parameters\n#\n", fd);
	for (int i = 0; i < n_tuning; i++)
		if (tuning_set & (1u << i))
			std::fprintf(fd, "%s = %d;\n", tuning_keys[i].key, tuning_value[i]);
	if (global_power_set)
		std::fprintf(fd, "power = \"%s\";\n", global_power);
	for (int i = 0; i < QORL_CFG_MAX_AD; i++)
		if (test_bit(ad_config_data[i].flags, QORL_CFG_AD_POWER))
			std::fprintf(fd, "adapter-%s-power = \"%s\";\n", ad_config_data[i].id, ad_power[i]);
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++)
		if (test_bit(ioc_config_data[i].flags, QORL_CFG_PORT_MTU))
			write_setting(fd, table[QORL_CFG_PORT_MTU], i, "vek", i);
}

// ---- setters ---------------------------------------------------------------

// The port setter family: global check on the stored form, presence bit, store.
void port_set(const qorl_t *q, int code, int64_t value, bool present)
{
	int slot = fc_slot(q);
	if (slot < 0)
		return;
	const setting &s = table[code];
	int64_t v = normalize(s, value);
	if ((s.where & glob) && test_bit(config_all, code) && get_int(s, slot) != v)
		clear_bit(config_all, code);
	put_bit(ioc_config_data[slot].flags, code, present);
	put_int(s, slot, v);
}

// The same, with the bit set whenever the stored value is not the default.
void port_set(const qorl_t *q, int code, int64_t value)
{
	const setting &s = table[code];
	port_set(q, code, value, normalize(s, value) != normalize(s, s.def));
}

int speed_stored(qor_port_speed_t speed)
{
	int v = raw(speed);
	return v == QOR_PORT_SPEED_AUTO ? 0 : v;
}

// Longest secret text whose per-slot line still fits one read of the reader.
constexpr size_t secret_max = line_lim - 1 - (sizeof "qor127-auth-encrypt = \"" - 1) - (sizeof "\";\n" - 1);

qorl_adapter_t *adapter_slot(int idx, int *slot, char (&sn)[12])
{
	qorl_adapter_t *ad = qorl_adapter_get_by_idx(idx);
	if (!ad)
		return nullptr;
	std::memset(sn, 0, sizeof sn);
	qorl_adapter_get_serial_num(ad, sn);
	sn[sizeof sn - 1] = '\0';
	*slot = qorl_config_ad_lookup(sn);
	return *slot < 0 ? nullptr : ad;
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

void wwn_text(wwn_t wwn, char (&out)[32])
{
	uint8_t b[8];
	std::memcpy(b, &wwn, sizeof b);
	std::snprintf(out, sizeof out, "%02x:%02x:%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2],
		      b[3], b[4], b[5], b[6], b[7]);
}

int fc_slot(const qorl_t *q)
{
	return q ? qorl_config_ioc_lookup(q->pwwn) : -1;
}

} // namespace qorl::cfg

using namespace qorl::cfg;

extern "C" {

// ---- reader ----------------------------------------------------------------

qor_status_t qorl_config_load(char *path)
{
	FILE *fd = path ? std::fopen(path, "r") : nullptr;
	if (!fd)
		return QOR_STATUS_OK;
	char line[line_buf];
	int got;
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
		break;
	case syn::dec:
		put_int(s, idx, qorl_config_get_num(const_cast<char *>(v)));
		break;
	case syn::hex:
		put_int(s, idx, static_cast<uint32_t>(xstrtoi(const_cast<char *>(v))));
		break;
	case syn::list:
		put_int(s, idx, list_bitmap(v));
		break;
	case syn::power:
		copy_cut(ad_power[idx], sizeof ad_power[idx], v);
		break;
	case syn::none:
	case syn::vport:
		break;
	default: {
		const vocab *w = vocab_of(s.syntax);
		int i = w->first_read;
		while (i < w->count && std::strcmp(w->words[i], v) != 0)
			i++;
		if (i < w->count)
			put_int(s, idx, i);
		else if (!w->keep_bit)
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

int qorl_config_ad_get_num(void)
{
	int n = 0;
	for (const auto &a : ad_config_data)
		n += test_bit(a.flags, QORL_CFG_AD_ID);
	return n;
}

int qorl_config_ioc_get_num(void)
{
	int n = 0;
	for (const auto &p : ioc_config_data)
		n += test_bit(p.flags, QORL_CFG_PORT_WWN);
	return n;
}

void bmptolist(int bmp, int *list, int *num)
{
	if (!list || !num)
		return;
	int n = 0;
	for (int i = 0; i < 32; i++)
		if (static_cast<uint32_t>(bmp) & (1u << i))
			list[n++] = i;
	*num = n;
}

// ---- model -----------------------------------------------------------------

int qorl_config_ioc_lookup(wwn_t wwn)
{
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++)
		if (wwn_convert(ioc_config_data[i].pwwn) == wwn)
			return i;
	return -1;
}

int qorl_config_ethioc_lookup(mac_t mac)
{
	char text[32];
	const uint8_t *m = mac.mac;
	std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", m[0], m[1], m[2], m[3], m[4],
		      m[5]);
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++)
		if (std::strncmp(ioc_config_data[i].mac, text, 17) == 0)
			return i;
	return -1;
}

void qorl_config_ioc_pwwn(uint16_t inst, wwn_t wwn)
{
	if (inst >= QORL_CFG_MAX_IOC)
		return;
	char text[32];
	wwn_text(wwn, text);
	qorl_ioc_config_t &p = ioc_config_data[inst];
	set_bit(p.flags, QORL_CFG_PORT_WWN);
	copy_cut(p.pwwn, sizeof p.pwwn, text);
}

void qorl_config_ethioc_mac(uint16_t inst, mac_t mac)
{
	if (inst >= QORL_CFG_MAX_IOC)
		return;
	qorl_ioc_config_t &p = ioc_config_data[inst];
	const uint8_t *m = mac.mac;
	set_bit(p.flags, QORL_CFG_PORT_MAC);
	std::snprintf(p.mac, sizeof p.mac, "%02x:%02x:%02x:%02x:%02x:%02x", m[0], m[1], m[2], m[3],
		      m[4], m[5]);
}

void qorl_config_ioc_add(wwn_t wwn)
{
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++)
		if (!test_bit(ioc_config_data[i].flags, QORL_CFG_PORT_WWN)) {
			qorl_config_ioc_pwwn(static_cast<uint16_t>(i), wwn);
			return;
		}
}

void qorl_config_ethioc_add(mac_t mac)
{
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++)
		if (!test_bit(ioc_config_data[i].flags, QORL_CFG_PORT_MAC)) {
			qorl_config_ethioc_mac(static_cast<uint16_t>(i), mac);
			return;
		}
}

int qorl_config_ad_lookup(char *serialnum)
{
	if (!serialnum)
		return -1;
	for (int i = 0; i < QORL_CFG_MAX_AD; i++)
		if (std::strcmp(ad_config_data[i].id, serialnum) == 0)
			return i;
	return -1;
}

void qorl_config_ad_add(char *serialnum)
{
	if (!serialnum)
		return;
	for (auto &a : ad_config_data)
		if (!test_bit(a.flags, QORL_CFG_AD_ID)) {
			set_bit(a.flags, QORL_CFG_AD_ID);
			copy_cut(a.id, sizeof a.id, serialnum);
			return;
		}
}

void qorl_get_hostname(char *host)
{
	if (!host)
		return;
	struct utsname u;
	if (uname(&u) != 0) {
		host[0] = '\0';
		return;
	}
	copy_cut(host, 65, u.nodename);
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

// ---- setters ---------------------------------------------------------------

void qorl_config_speed(qorl_t *q, qor_port_speed_t speed) { port_set(q, 9, speed_stored(speed)); }
void qorl_config_topology(qorl_t *q, qor_port_topology_t topo) { port_set(q, 10, raw(topo)); }
void qorl_config_alpa(qorl_t *q, uint8_t alpa, qor_boolean_t mode) { port_set(q, 11, alpa, raw(mode) != 0); }
void qorl_config_maxfrsz(qorl_t *q, uint16_t maxfrsz) { port_set(q, 12, maxfrsz); }
void qorl_config_trunk(qorl_t *q, uint32_t pp_bmap, qor_boolean_t mode) { port_set(q, 13, pp_bmap, raw(mode) != 0); }
void qorl_config_enable(qorl_t *q, qor_boolean_t enable) { port_set(q, 14, raw(enable)); }
void qorl_config_ipfc_enable(qorl_t *q, qor_boolean_t enable) { port_set(q, 15, raw(enable)); }
void qorl_config_log_level(qorl_t *q, int log_level) { port_set(q, 16, log_level); }
void qorl_config_auth_policy(qorl_t *q, qor_boolean_t mode) { port_set(q, 21, raw(mode)); }
void qorl_config_auth_algo(qorl_t *q, qor_auth_algo_t algo) { port_set(q, 22, raw(algo)); }
void qorl_config_auth_group(qorl_t *q, qor_auth_group_t group) { port_set(q, 23, raw(group)); }
void qorl_config_auth_secretsource(qorl_t *q, qor_auth_secretsource_t source) { port_set(q, 24, raw(source)); }
void qorl_config_fcpim(qorl_t *q, uint16_t pathtov) { port_set(q, 27, pathtov); }
void qorl_config_qdepth(qorl_t *q, uint16_t qdepth) { port_set(q, 28, qdepth); }
void qorl_config_qos(qorl_t *q, qor_boolean_t mode) { port_set(q, 29, raw(mode)); }
void qorl_config_ratelim(qorl_t *q, qor_boolean_t mode) { port_set(q, 30, raw(mode)); }
void qorl_config_defspeed(qorl_t *q, qor_port_speed_t speed) { port_set(q, 31, speed_stored(speed)); }
void qorl_config_pbind(qorl_t *q, qor_boolean_t mode) { port_set(q, 35, raw(mode)); }

void qorl_config_auth_secretstring(qorl_t *q, uint32_t *encrypt_data, int size)
{
	if (size > 0 && !encrypt_data)
		return;
	char text[512] = {};
	size_t len = 0;
	for (int i = 0; i < size; i++) {
		char num[16];
		int w = std::snprintf(num, sizeof num, i ? ",%d" : "%d", static_cast<int32_t>(encrypt_data[i]));
		// A text that does not fit a line of the file would come back cut: refuse it.
		if (len + static_cast<size_t>(w) > secret_max)
			return;
		std::memcpy(text + len, num, static_cast<size_t>(w) + 1);
		len += static_cast<size_t>(w);
	}
	int slot = fc_slot(q);
	if (slot < 0)
		return;
	qorl_ioc_config_t &p = ioc_config_data[slot];
	if (test_bit(config_all, QORL_CFG_AUTH_ENCRYPT) && std::strcmp(p.authsstring, text) != 0)
		clear_bit(config_all, QORL_CFG_AUTH_ENCRYPT);
	put_bit(p.flags, QORL_CFG_AUTH_ENCRYPT, len != 0);
	copy_cut(p.authsstring, sizeof p.authsstring, text);
}

void qorl_config_iocfc_intr(qorl_t *q, qor_boolean_t coalesce, uint16_t delay, uint16_t latency)
{
	int slot = fc_slot(q);
	if (slot < 0)
		return;
	qorl_ioc_config_t &p = ioc_config_data[slot];
	if (raw(p.coalesce) != raw(coalesce))
		clear_bit(config_all, QORL_CFG_COALESCE);
	if (p.delay != delay)
		clear_bit(config_all, QORL_CFG_DELAY);
	if (p.latency != latency)
		clear_bit(config_all, QORL_CFG_LATENCY);
	int on = raw(coalesce);
	bool defaults = delay == 1125 && latency == 225;
	put_bit(p.flags, QORL_CFG_COALESCE, on != 1);
	put_bit(p.flags, QORL_CFG_DELAY, !(defaults || (on == 0 && delay == 0)));
	put_bit(p.flags, QORL_CFG_LATENCY, !(defaults || (on == 0 && latency == 0)));
	p.coalesce = coalesce;
	if (on == 1) {
		p.delay = delay;
		p.latency = latency;
	}
}

void qorl_config_ioc_name(qorl_t *q, char *name)
{
	if (!q || !name)
		return;
	bool fc_side = q->ioc_type == QOR_IOC_TYPE_FC || q->ioc_type == QOR_IOC_TYPE_FCoE;
	int slot = fc_side ? qorl_config_ioc_lookup(q->pwwn) : qorl_config_ethioc_lookup(q->mac);
	if (slot < 0)
		return;
	qorl_ioc_config_t &p = ioc_config_data[slot];
	int code = fc_side ? QORL_CFG_PORT_NAME : QORL_CFG_ETH_PORT_NAME;
	char *dst = fc_side ? p.name : p.ethname;
	put_bit(p.flags, code, name[0] != '\0');
	copy_cut(dst, sizeof p.name, name);
}

void qorl_config_ad_name(int idx, char *name)
{
	int slot;
	char sn[12];
	if (!name || !adapter_slot(idx, &slot, sn))
		return;
	qorl_ad_config_t &a = ad_config_data[slot];
	put_bit(a.flags, QORL_CFG_AD_NAME, name[0] != '\0');
	copy_cut(a.name, sizeof a.name, name);
}

void qorl_config_ad_trunk(int idx, qor_boolean_t mode)
{
	int slot;
	char sn[12];
	if (!adapter_slot(idx, &slot, sn))
		return;
	qorl_ad_config_t &a = ad_config_data[slot];
	put_bit(a.flags, QORL_CFG_AD_TRUNK, raw(mode) != 0);
	a.ad_trunk = mode;
}

qor_boolean_t qorl_config_get_ad_name_exists(int idx, char *nm, char *snum)
{
	int slot;
	char sn[12];
	if (!nm || !nm[0] || !adapter_slot(idx, &slot, sn))
		return QOR_FALSE;
	if (std::strcmp(ad_config_data[slot].name, nm) != 0)
		return QOR_FALSE;
	return snum && std::strcmp(sn, snum) == 0 ? QOR_FALSE : QOR_TRUE;
}

qor_boolean_t qorl_config_get_port_name_exists(int idx, char *nm, int port_num)
{
	qorl_adapter_t *ad = qorl_adapter_get_by_idx(idx);
	qorl_t *q = ad ? qorl_adapter_get_ioc(ad, port_num) : nullptr;
	if (!q || !nm)
		return QOR_FALSE;
	bool fc_side = q->ioc_type == QOR_IOC_TYPE_FC || q->ioc_type == QOR_IOC_TYPE_FCoE;
	int slot = fc_side ? qorl_config_ioc_lookup(q->pwwn) : qorl_config_ethioc_lookup(q->mac);
	if (slot < 0)
		return QOR_FALSE;
	const qorl_ioc_config_t &p = ioc_config_data[slot];
	return std::strncmp(nm, fc_side ? p.name : p.ethname, 128) == 0 ? QOR_TRUE : QOR_FALSE;
}

// ---- write-back ------------------------------------------------------------

qor_status_t qorl_config_ad_update(FILE *fd)
{
	if (!fd)
		return QOR_STATUS_EINVAL;
	std::fputs("# Syntax for global parameter (applied to all HBA instances):\n"
		   "#   param_name=param_value \n"
		   "#   qor<instance_number>-param_name=param_value \n"
		   "# \n",
		   fd);
	std::fputs("\n#\n# Persistent naming of adapter\n# \n", fd);
	for (const auto &a : ad_config_data)
		if (test_bit(a.flags, QORL_CFG_AD_NAME))
			std::fprintf(fd, "adapter-%s-name = \"%s\";\n", a.id, a.name);
	std::fputs("\n#\n# Trunking of adapter\n# \n", fd);
	for (const auto &a : ad_config_data)
		if (test_bit(a.flags, QORL_CFG_AD_TRUNK))
			if (const char *w = word_of(table[QORL_CFG_AD_TRUNK], a.ad_trunk))
				std::fprintf(fd, "adapter-%s-trunk = \"%s\";\n", a.id, w);
	ad_next = 0;
	return QOR_STATUS_OK;
}

void qorl_config_ioc_update(FILE *fd)
{
	if (!fd)
		return;
	for (const group &g : port_groups)
		write_group(fd, g);
	write_kept(fd);
}

qor_status_t qorl_config_sync(char *path)
{
	if (!path || !*path)
		return QOR_STATUS_EFOPEN;
	char tmp[4096];
	size_t plen = std::strlen(path);
	if (plen > sizeof tmp - 48)
		return QOR_STATUS_EFOPEN;

	// The new file keeps the old one's mode (and owner, where we may).
	mode_t mode = 0644;
	struct stat st;
	bool have_old = false;
	int ofd = open(path, O_RDONLY | O_CLOEXEC);
	if (ofd >= 0) {
		if (fstat(ofd, &st) == 0 && S_ISREG(st.st_mode)) {
			mode = st.st_mode & 07777;
			have_old = true;
		}
		close(ofd);
	}

	static unsigned counter;
	int fd = -1;
	for (int tries = 0; fd < 0 && tries < 16; tries++) {
		std::snprintf(tmp, sizeof tmp, "%s.tmp.%ld.%u", path, static_cast<long>(getpid()), counter++);
		fd = open(tmp, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
		if (fd < 0 && errno != EEXIST)
			break;
	}
	if (fd < 0)
		return QOR_STATUS_EFOPEN;
	(void)fchmod(fd, mode); // open's mode went through the umask
	if (have_old && (st.st_uid != geteuid() || st.st_gid != getegid()))
		(void)fchown(fd, st.st_uid, st.st_gid);
	FILE *f = fdopen(fd, "w");
	if (!f) {
		close(fd);
		std::remove(tmp);
		return QOR_STATUS_EFOPEN;
	}
	static char buf[1 << 16]; // callers serialise write-backs
	std::setvbuf(f, buf, _IOFBF, sizeof buf);
	qorl_config_ad_update(f);
	qorl_config_ioc_update(f);
	bool bad = std::fflush(f) != 0 || std::ferror(f) || fsync(fd) != 0;
	if (std::fclose(f) != 0)
		bad = true;
	if (bad || std::rename(tmp, path) != 0) {
		std::remove(tmp);
		return QOR_STATUS_EIO;
	}

	// Make the rename itself durable. Some file systems refuse fsync on a
	// directory; the new file is in place either way.
	char dir[4096];
	copy_cut(dir, sizeof dir, path);
	char *slash = std::strrchr(dir, '/');
	if (!slash)
		std::strcpy(dir, ".");
	else if (slash == dir)
		dir[1] = '\0';
	else
		*slash = '\0';
	int dfd = open(dir, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
	if (dfd >= 0) {
		(void)fsync(dfd);
		close(dfd);
	}
	return QOR_STATUS_OK;
}

void qorl_config_unload(void) {}

} // extern "C"
