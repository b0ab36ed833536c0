// The configuration's setting table, its value words and the driver tuning
// keys: the reader, the setters and the writer all work from these.
#include <cstring>

#include "qorl_config_int.h"

namespace qorl::cfg {

namespace {

#define IOC(f) false, offsetof(qorl_ioc_config_t, f), sizeof(qorl_ioc_config_t::f)
#define AD(f) true, offsetof(qorl_ad_config_t, f), sizeof(qorl_ad_config_t::f)
#define NOFIELD false, 0, 0
constexpr uint8_t fcg = fc | glob;
using S = syn;
using R = bit_rule;

} // namespace

// One row per setting code.
constexpr setting table[max_code + 1] = {
	{QORL_CFG_AD_ID, nullptr, 0, S::text, AD(id), R::none, 0, false},
	{QORL_CFG_AD_NAME, "name", 0, S::text, AD(name), R::none, 0, false},
	{QORL_CFG_AD_POWER, "power", 0, S::power, true, 0, 0, R::none, 0, false},
	{QORL_CFG_AD_TRUNK, "trunk", 0, S::boolw, AD(ad_trunk), R::none, 0, false},
	{QORL_CFG_PORT_WWN, "port-wwn", fc, S::text, IOC(pwwn), R::none, 0, false},
	{QORL_CFG_PORT_MAC, "port-mac", eth, S::text, IOC(mac), R::none, 0, false},
	{QORL_CFG_PORT_NAME, "port-name", fc, S::text, IOC(name), R::none, 0, false},
	{QORL_CFG_ETH_PORT_NAME, "port-name", eth, S::text, IOC(ethname), R::none, 0, false},
	{QORL_CFG_PORT_MTU, "port-mtu", eth, S::dec, IOC(mtu), R::none, 0, false},
	{QORL_CFG_PORT_SPEED, "port-speed", fcg, S::dec, IOC(speed), R::not_default, 0, false},
	{QORL_CFG_PORT_TOPOLOGY, "port-topology", fcg, S::topo, IOC(topology), R::not_default, 0, false},
	{QORL_CFG_PORT_HARDALPA, "port-hardalpa", fc, S::hex, IOC(alpa), R::mode, 0, false},
	{QORL_CFG_PORT_MAXFRSIZE, "port-maxfrsize", fcg, S::dec, IOC(maxfrsz), R::not_default, 2112, false},
	{QORL_CFG_PORT_TRUNK, "port-trunk", fcg, S::list, IOC(trunking), R::mode, 0, false},
	{QORL_CFG_PORT_ENABLE, "port-enable", fcg, S::boolw, IOC(enable), R::not_default, 1, false},
	{QORL_CFG_IPFC_ENABLE, "ipfc-enable", fcg, S::boolw, IOC(ipfc_enable), R::not_default, 1, false},
	{QORL_CFG_LOG_LEVEL, "log-level", fcg, S::logw, IOC(log), R::not_default, 0, false},
	{QORL_CFG_VF_ENABLE, "vf-enable", fcg, S::boolw, IOC(vf_enable), R::none, 0, true},
	{QORL_CFG_VF_DEFAULT, "vf-default", fcg, S::dec, IOC(vf_default_id), R::none, 0, false},
	{QORL_CFG_VF_LIST, "vf-list", fcg, S::list, IOC(vf_list), R::none, 0, false},
	{QORL_CFG_VPORT, "vport", 0, S::vport, NOFIELD, R::none, 0, false},
	{QORL_CFG_AUTH_POLICY, "auth-policy", fcg, S::onoff, IOC(authpolicy), R::not_default, 0, false},
	{QORL_CFG_AUTH_ALGO, "auth-algo", fcg, S::algo, IOC(authalgo), R::not_default, 0, false},
	{QORL_CFG_AUTH_GROUP, "auth-group", fcg, S::dec, IOC(authgroup), R::not_default, 1, false},
	{QORL_CFG_AUTH_SECRETSOURCE, "auth-secretsource", fcg, S::secsrc, IOC(authssource), R::not_default, 1, false},
	{QORL_CFG_AUTH_ENCRYPT, "auth-encrypt", fcg, S::text, IOC(authsstring), R::not_empty, 0, false},
	{26, nullptr, 0, S::none, NOFIELD, R::none, 0, false}, // a code without a setting
	{QORL_CFG_PATHTOV, "pathtov", fcg, S::dec, IOC(pathtov), R::not_default, 0, false},
	{QORL_CFG_QDEPTH, "qdepth", fcg, S::dec, IOC(qdepth), R::not_default, 0, false},
	{QORL_CFG_QOS, "qos", fcg, S::boolw, IOC(qos), R::not_default, 0, false},
	{QORL_CFG_RATELIM, "ratelim", fcg, S::boolw, IOC(ratelim), R::not_default, 0, false},
	{QORL_CFG_RATELIM_DEFSPEED, "ratelim-defspeed", fcg, S::dec, IOC(defspeed), R::not_default, 1, false},
	{QORL_CFG_COALESCE, "coalesce", fcg, S::onoff, IOC(coalesce), R::none, 0, false},
	{QORL_CFG_DELAY, "delay", fcg, S::dec, IOC(delay), R::none, 0, false},
	{QORL_CFG_LATENCY, "latency", fcg, S::dec, IOC(latency), R::none, 0, false},
	{QORL_CFG_PBIND, "persistent-binding", fcg, S::boolw, IOC(binding), R::not_default, 0, false},
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

constexpr const char *bool_words[] = {"FALSE", "TRUE"};
constexpr const char *onoff_words[] = {"off", "on"};
constexpr const char *topo_words[] = {"none", "p2p", "loop", "auto"};
constexpr const char *log_words[] = {"None", "Critical", "Error", "Warning", "Info", "Info"};
// The spellings the file's own header gives the levels.
constexpr const char *log_also[] = {nullptr, "CRITICAL", "ERROR", "WARN", "INFO", nullptr};
constexpr const char *algo_words[] = {" ", "md5", "sha1", "ms", "sm"};
constexpr const char *secsrc_words[] = {" ", "LOCAL", "RADIUS", "TACACS"};

} // namespace

const vocab *vocab_of(syn s)
{
	static constexpr vocab v_bool{bool_words, 2, 0, false, nullptr}, v_onoff{onoff_words, 2, 0, false, nullptr},
		v_topo{topo_words, 4, 0, false, nullptr}, v_log{log_words, 6, 1, true, log_also},
		v_algo{algo_words, 5, 1, false, nullptr}, v_secsrc{secsrc_words, 4, 1, false, nullptr};
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

int word_value(const vocab &w, const char *word)
{
	for (int i = w.first_read; i < w.count; i++)
		if (std::strcmp(w.words[i], word) == 0 || (w.also && w.also[i] && std::strcmp(w.also[i], word) == 0))
			return i;
	return -1;
}

const char *word_of(const setting &s, int64_t v)
{
	const vocab *w = vocab_of(s.syntax);
	if (!w || v < 0 || v >= w->count)
		return nullptr;
	return w->words[v];
}

constexpr tuning tuning_keys[n_tuning] = {
	{"msix-disable", 0},      {"num-rports", 0},          {"num-ios", 0},
	{"num-tms", 0},           {"num-fcxps", 0},           {"num-ufbufs", 0},
	{"reqq-size", 0},         {"rspq-size", 0},           {"num-sgpgs", 0},
	{"ioc-auto-recover", 1},  {"ipfc-disable", 1},        {"rport-del-timeout", 150},
	{"dma-relaxed-ordering", 1}, {"pcie-max-read-reqsz", 512},
};

namespace {

constexpr driver_params initial_params()
{
	driver_params p{};
	for (int i = 0; i < n_tuning; i++)
		p.tuning[i] = tuning_keys[i].initial;
	return p;
}

} // namespace

constinit driver_params params = initial_params();

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

} // namespace qorl::cfg
