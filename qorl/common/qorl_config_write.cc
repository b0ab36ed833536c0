// The configuration file's writer: the layout the drivers read.
#include <cstring>

#include "qorl_config_int.h"

namespace qorl::cfg {

namespace {

constexpr const char header[] = "# Syntax for global parameter (applied to all HBA instances):\n"
				"#   param_name=param_value \n"
				"#   qor<instance_number>-param_name=param_value \n"
				"# \n";
constexpr const char ad_name_heading[] = "\n#\n# Persistent naming of adapter\n# \n";
constexpr const char ad_trunk_heading[] = "\n#\n# Trunking of adapter\n# \n";
constexpr const char params_heading[] = "\n#\n# Driver parameters\n#\n";
constexpr const char carried_heading[] = "\n#\n# Other lines, kept as they were\n#\n";

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

// A port section: its heading, its global lines, then one pass over the
// slots. An empty heading continues the section before it with a pass of
// its own.
struct group {
	const char *heading;
	int8_t codes[6];
};
constexpr int8_t E = -1;
constexpr group port_groups[] = {
	{"\n#\n# Persistent naming of port\n#\n", {QORL_CFG_PORT_WWN, QORL_CFG_PORT_NAME, E}},
	{"", {QORL_CFG_PORT_MAC, QORL_CFG_ETH_PORT_NAME, E}},
	{"\n#\n# Port configuration\n#\n",
	 {QORL_CFG_PORT_SPEED, QORL_CFG_PORT_TOPOLOGY, QORL_CFG_PORT_HARDALPA, QORL_CFG_PORT_MAXFRSIZE, E}},
	{"\n# trunking\n", {QORL_CFG_PORT_TRUNK, E}},
	{"\n# disable a port persistently\n", {QORL_CFG_PORT_ENABLE, E}},
	{"", {QORL_CFG_IPFC_ENABLE, E}},
	{"\n#\n# Driver log level\n# level: INFO, WARN, ERROR, CRITICAL\n#\n", {QORL_CFG_LOG_LEVEL, E}},
	{"\n#\n# VF configuration\n#\n", {QORL_CFG_VF_ENABLE, QORL_CFG_VF_DEFAULT, QORL_CFG_VF_LIST, E}},
	{"\n#\n# vport configuration\n#\n# vport-<id> = pwwn, nwwn,symname, roles [, vf_id]\n#\n",
	 {QORL_CFG_VPORT, E}},
	{"\n#\n# Authentication\n#\n",
	 {QORL_CFG_AUTH_POLICY, QORL_CFG_AUTH_ALGO, QORL_CFG_AUTH_GROUP, QORL_CFG_AUTH_SECRETSOURCE,
	  QORL_CFG_AUTH_ENCRYPT, E}},
	{"\n#\n# Initiator mode configuration\n#\n", {QORL_CFG_PATHTOV, QORL_CFG_PBIND, E}},
	{"", {QORL_CFG_QDEPTH, E}},
	{"\n#\n# QoS, rate limiting configuration\n#\n", {QORL_CFG_QOS, QORL_CFG_RATELIM, QORL_CFG_RATELIM_DEFSPEED, E}},
	{"\n#\n# IOC intr configuration\n#\n", {QORL_CFG_COALESCE, QORL_CFG_DELAY, QORL_CFG_LATENCY, E}},
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

// Keys the file held that the designed layout has no line for.
void write_kept(FILE *fd)
{
	bool any = params.tuning_set || params.global_power_set;
	for (int i = 0; i < QORL_CFG_MAX_AD && !any; i++)
		any = test_bit(ad_config_data[i].flags, QORL_CFG_AD_POWER);
	for (int i = 0; i < QORL_CFG_MAX_IOC && !any; i++)
		any = test_bit(ioc_config_data[i].flags, QORL_CFG_PORT_MTU);
	if (!any)
		return;
	std::fputs(params_heading, fd);
	for (int i = 0; i < n_tuning; i++)
		if (params.tuning_set & (1u << i))
			std::fprintf(fd, "%s = %d;\n", tuning_keys[i].key, params.tuning[i]);
	if (params.global_power_set)
		std::fprintf(fd, "power = \"%s\";\n", params.global_power);
	for (int i = 0; i < QORL_CFG_MAX_AD; i++)
		if (test_bit(ad_config_data[i].flags, QORL_CFG_AD_POWER))
			std::fprintf(fd, "adapter-%s-power = \"%s\";\n", ad_config_data[i].id, params.ad_power[i]);
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++)
		if (test_bit(ioc_config_data[i].flags, QORL_CFG_PORT_MTU))
			write_setting(fd, table[QORL_CFG_PORT_MTU], i, "vek", i);
}

// What the file held that the model does not: verbatim, in the order read.
void write_carried(FILE *fd)
{
	if (!carried.first())
		return;
	std::fputs(carried_heading, fd);
	for (const kept_lines::line *l = carried.first(); l; l = l->next) {
		std::fwrite(l->text(), 1, l->len, fd);
		if (!l->len || l->text()[l->len - 1] != '\n')
			std::fputc('\n', fd);
	}
}

} // namespace

bool own_heading(std::string_view line)
{
	auto in = [&](std::string_view text) {
		while (!text.empty()) {
			size_t nl = text.find('\n');
			std::string_view l = text.substr(0, nl);
			if (!l.empty() && l[0] == '#' && l == line)
				return true;
			if (nl == std::string_view::npos)
				break;
			text.remove_prefix(nl + 1);
		}
		return false;
	};
	if (in(header) || in(ad_name_heading) || in(ad_trunk_heading) || in(params_heading) || in(carried_heading))
		return true;
	for (const group &g : port_groups)
		if (in(g.heading))
			return true;
	return false;
}

void render(FILE *fd)
{
	qorl_config_ad_update(fd);
	qorl_config_ioc_update(fd);
}

} // namespace qorl::cfg

using namespace qorl::cfg;

extern "C" {

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

qor_status_t qorl_config_ad_update(FILE *fd)
{
	if (!fd)
		return QOR_STATUS_EINVAL;
	std::fputs(header, fd);
	std::fputs(ad_name_heading, fd);
	for (const auto &a : ad_config_data)
		if (test_bit(a.flags, QORL_CFG_AD_NAME))
			std::fprintf(fd, "adapter-%s-name = \"%s\";\n", a.id, a.name);
	std::fputs(ad_trunk_heading, fd);
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
	write_carried(fd);
}

} // extern "C"
