// The configuration model: adapter and port slots, their keys, and the
// lookups and adds through which discovery gives every port and adapter a
// slot.
#include <cstring>
#include <sys/utsname.h>

#include "qor/qor_text.h"
#include "qorl_config_int.h"
#include "qorl_int.h"

namespace qorl::cfg {

qorl_ad_config_t ad_config_data[QORL_CFG_MAX_AD];
qorl_ioc_config_t ioc_config_data[QORL_CFG_MAX_IOC];
uint32_t config_all[4];
slot_key slot_keys[QORL_CFG_MAX_IOC];

namespace {

// The MAC lookup matches a slot whose text begins with the 17 characters
// the library writes for that MAC; any other text matches no MAC.
bool mac_of_text(const char *text, mac_t *mac)
{
	char head[QOR_MAC_TEXT_LEN];
	size_t n = strnlen(text, sizeof head - 1);
	if (n != sizeof head - 1)
		return false;
	std::memcpy(head, text, n);
	head[n] = '\0';
	char again[QOR_MAC_TEXT_LEN];
	return qor_mac_parse(head, mac->mac) && std::strcmp(qor_mac_format(mac->mac, again), head) == 0;
}

} // namespace

void key_from_text(int code, int idx)
{
	slot_key &k = slot_keys[idx];
	const qorl_ioc_config_t &p = ioc_config_data[idx];
	if (code == QORL_CFG_PORT_WWN)
		k.wwn = wwn_convert(const_cast<char *>(p.pwwn));
	else if (code == QORL_CFG_PORT_MAC)
		k.has_mac = mac_of_text(p.mac, &k.mac);
}

int fc_slot(const qorl_t *q)
{
	// An Ethernet function has no FC slot; its zero WWN would find any slot
	// without WWN text.
	if (!q || !is_fc_side(q->ioc_type) || q->pwwn == 0)
		return -1;
	return qorl_config_ioc_lookup(q->pwwn);
}

int own_slot(const qorl_t *q, bool *fc_side)
{
	*fc_side = is_fc_side(q->ioc_type);
	return *fc_side ? qorl_config_ioc_lookup(q->pwwn) : qorl_config_ethioc_lookup(q->mac);
}

int ad_slot(const char *serial)
{
	if (!serial)
		return -1;
	for (int i = 0; i < QORL_CFG_MAX_AD; i++)
		if (std::strcmp(ad_config_data[i].id, serial) == 0)
			return i;
	return -1;
}

} // namespace qorl::cfg

using namespace qorl::cfg;

extern "C" {

int qorl_config_ioc_lookup(wwn_t wwn)
{
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++)
		if (slot_keys[i].wwn == wwn)
			return i;
	return -1;
}

int qorl_config_ethioc_lookup(mac_t mac)
{
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++)
		if (slot_keys[i].has_mac && qorl::mac_equal(slot_keys[i].mac, mac))
			return i;
	return -1;
}

void qorl_config_ioc_pwwn(uint16_t inst, wwn_t wwn)
{
	if (inst >= QORL_CFG_MAX_IOC)
		return;
	qorl_ioc_config_t &p = ioc_config_data[inst];
	set_bit(p.flags, QORL_CFG_PORT_WWN);
	qor_wwn_format(wwn, p.pwwn);
	slot_keys[inst].wwn = wwn;
}

void qorl_config_ethioc_mac(uint16_t inst, mac_t mac)
{
	if (inst >= QORL_CFG_MAX_IOC)
		return;
	qorl_ioc_config_t &p = ioc_config_data[inst];
	set_bit(p.flags, QORL_CFG_PORT_MAC);
	qor_mac_format(mac.mac, p.mac);
	slot_keys[inst].has_mac = true;
	slot_keys[inst].mac = mac;
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
	return ad_slot(serialnum);
}

void qorl_config_ad_add(char *serialnum)
{
	// The id is written inside the adapter lines' keys.
	if (!text_ok(serialnum, text_use::id))
		return;
	for (auto &a : ad_config_data)
		if (!test_bit(a.flags, QORL_CFG_AD_ID)) {
			set_bit(a.flags, QORL_CFG_AD_ID);
			copy_cut(a.id, sizeof a.id, serialnum);
			return;
		}
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

} // extern "C"
