// Configuration setters: record in the model a setting the driver has just
// accepted, so that the next write-back puts it into the file.
#include <cstring>

#include "qorl_adapter.h"
#include "qorl_config_int.h"

namespace qorl::cfg {

namespace {

// Longest secret text whose per-slot line still fits one read of the reader.
constexpr size_t secret_max = line_lim - 1 - (sizeof "qor127-auth-encrypt = \"" - 1) - (sizeof "\";\n" - 1);

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
	supersede_port(slot, code);
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

// The serial number of adapter number idx; false when there is none.
bool serial_of(int idx, char (&sn)[12])
{
	qorl_adapter_t *ad = qorl_adapter_get_by_idx(idx);
	if (!ad)
		return false;
	std::memset(sn, 0, sizeof sn);
	qorl_adapter_get_serial_num(ad, sn);
	sn[sizeof sn - 1] = '\0';
	return true;
}

} // namespace

// The adapter's first slot takes the setting; later slots of the same id
// (a file that names and trunks an adapter fills two) stop writing it, so
// the value set is the one the file carries.
template <class Store> void ad_set(const char *serial, int code, bool present, Store store)
{
	int slot = ad_slot(serial);
	if (slot < 0)
		return;
	qorl_ad_config_t &a = ad_config_data[slot];
	put_bit(a.flags, code, present);
	store(a);
	for (int i = slot + 1; i < QORL_CFG_MAX_AD; i++)
		if (std::strcmp(ad_config_data[i].id, a.id) == 0)
			clear_bit(ad_config_data[i].flags, code);
	supersede_adapter(a.id, code);
}

void ad_name(const char *serial, const char *name)
{
	if (!text_ok(name, text_use::adapter))
		return;
	ad_set(serial, QORL_CFG_AD_NAME, name[0] != '\0', [&](qorl_ad_config_t &a) { copy_cut(a.name, sizeof a.name, name); });
}

void ad_trunk(const char *serial, qor_boolean_t mode)
{
	ad_set(serial, QORL_CFG_AD_TRUNK, raw(mode) != 0, [&](qorl_ad_config_t &a) { a.ad_trunk = mode; });
}

} // namespace qorl::cfg

using namespace qorl::cfg;

extern "C" {

void qorl_config_speed(qorl_t *q, qor_port_speed_t speed) { port_set(q, QORL_CFG_PORT_SPEED, speed_stored(speed)); }
void qorl_config_topology(qorl_t *q, qor_port_topology_t topo) { port_set(q, QORL_CFG_PORT_TOPOLOGY, raw(topo)); }
void qorl_config_alpa(qorl_t *q, uint8_t alpa, qor_boolean_t mode) { port_set(q, QORL_CFG_PORT_HARDALPA, alpa, raw(mode) != 0); }
void qorl_config_maxfrsz(qorl_t *q, uint16_t maxfrsz) { port_set(q, QORL_CFG_PORT_MAXFRSIZE, maxfrsz); }
void qorl_config_trunk(qorl_t *q, uint32_t pp_bmap, qor_boolean_t mode) { port_set(q, QORL_CFG_PORT_TRUNK, pp_bmap, raw(mode) != 0); }
void qorl_config_enable(qorl_t *q, qor_boolean_t enable) { port_set(q, QORL_CFG_PORT_ENABLE, raw(enable)); }
void qorl_config_ipfc_enable(qorl_t *q, qor_boolean_t enable) { port_set(q, QORL_CFG_IPFC_ENABLE, raw(enable)); }
void qorl_config_log_level(qorl_t *q, int log_level) { port_set(q, QORL_CFG_LOG_LEVEL, log_level); }
void qorl_config_auth_policy(qorl_t *q, qor_boolean_t mode) { port_set(q, QORL_CFG_AUTH_POLICY, raw(mode)); }
void qorl_config_auth_algo(qorl_t *q, qor_auth_algo_t algo) { port_set(q, QORL_CFG_AUTH_ALGO, raw(algo)); }
void qorl_config_auth_group(qorl_t *q, qor_auth_group_t group) { port_set(q, QORL_CFG_AUTH_GROUP, raw(group)); }
void qorl_config_auth_secretsource(qorl_t *q, qor_auth_secretsource_t source) { port_set(q, QORL_CFG_AUTH_SECRETSOURCE, raw(source)); }
void qorl_config_fcpim(qorl_t *q, uint16_t pathtov) { port_set(q, QORL_CFG_PATHTOV, pathtov); }
void qorl_config_qdepth(qorl_t *q, uint16_t qdepth) { port_set(q, QORL_CFG_QDEPTH, qdepth); }
void qorl_config_qos(qorl_t *q, qor_boolean_t mode) { port_set(q, QORL_CFG_QOS, raw(mode)); }
void qorl_config_ratelim(qorl_t *q, qor_boolean_t mode) { port_set(q, QORL_CFG_RATELIM, raw(mode)); }
void qorl_config_defspeed(qorl_t *q, qor_port_speed_t speed) { port_set(q, QORL_CFG_RATELIM_DEFSPEED, speed_stored(speed)); }
void qorl_config_pbind(qorl_t *q, qor_boolean_t mode) { port_set(q, QORL_CFG_PBIND, raw(mode)); }

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
	supersede_port(slot, QORL_CFG_AUTH_ENCRYPT);
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
	for (int code : {QORL_CFG_COALESCE, QORL_CFG_DELAY, QORL_CFG_LATENCY})
		supersede_port(slot, code);
}

void qorl_config_ioc_name(qorl_t *q, char *name)
{
	if (!q || !name)
		return;
	bool fc_side;
	int slot = own_slot(q, &fc_side);
	if (slot < 0 || !text_ok(name, fc_side ? text_use::fc : text_use::eth))
		return;
	qorl_ioc_config_t &p = ioc_config_data[slot];
	const int code = fc_side ? QORL_CFG_PORT_NAME : QORL_CFG_ETH_PORT_NAME;
	put_bit(p.flags, code, name[0] != '\0');
	copy_cut(fc_side ? p.name : p.ethname, sizeof p.name, name);
	supersede_port(slot, code);
}

// The adapter-number forms find the adapter's serial number and go on as
// the serial-keyed setters.

void qorl_config_ad_name(int idx, char *name)
{
	char sn[12];
	if (name && serial_of(idx, sn))
		ad_name(sn, name);
}

void qorl_config_ad_trunk(int idx, qor_boolean_t mode)
{
	char sn[12];
	if (serial_of(idx, sn))
		ad_trunk(sn, mode);
}

qor_boolean_t qorl_config_get_ad_name_exists(int idx, char *nm, char *snum)
{
	char sn[12];
	if (!nm || !nm[0] || !serial_of(idx, sn))
		return QOR_FALSE;
	int slot = ad_slot(sn);
	if (slot < 0 || std::strcmp(ad_config_data[slot].name, nm) != 0)
		return QOR_FALSE;
	return snum && std::strcmp(sn, snum) == 0 ? QOR_FALSE : QOR_TRUE;
}

qor_boolean_t qorl_config_get_port_name_exists(int idx, char *nm, int port_num)
{
	qorl_adapter_t *ad = qorl_adapter_get_by_idx(idx);
	qorl_t *q = ad ? qorl_adapter_get_ioc(ad, port_num) : nullptr;
	if (!q || !nm)
		return QOR_FALSE;
	bool fc_side;
	int slot = own_slot(q, &fc_side);
	if (slot < 0)
		return QOR_FALSE;
	const qorl_ioc_config_t &p = ioc_config_data[slot];
	return std::strncmp(nm, fc_side ? p.name : p.ethname, 128) == 0 ? QOR_TRUE : QOR_FALSE;
}

} // extern "C"
