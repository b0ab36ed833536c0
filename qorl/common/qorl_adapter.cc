// Adapters: discovery by grouping controllers, lookups, naming, enable/disable.
#include <cstring>

#include "qorl_adapter.h"
#include "qorl_config_int.h"
#include "qorl_int.h"
#include "qorl_ioc.h"

namespace {

qorl_adapter_t *adapter_list = nullptr;
unsigned adapter_count = 0;

qorl_t *copy_of(const qorl_t *ioc)
{
	auto *c = static_cast<qorl_t *>(std::malloc(sizeof(qorl_t)));
	if (!c)
		return nullptr;
	*c = *ioc;
	c->id = ioc->port_num;
	c->next = nullptr;
	return c;
}

void push_copy(qorl_t *&list, qorl_t *c)
{
	if (!list)
		list = c;
	else
		list_append(list, c, e_ic);
}

qorl_adapter_t *exists(const char *hwpath, qorl_adapter_t *alist, int cnt)
{
	for (int i = 1; i <= cnt; i++) {
		auto *a = static_cast<qorl_adapter_t *>(find(alist, i, e_ad));
		if (!a)
			return nullptr;
		if (std::strcmp(a->adapter_hwpath, hwpath) == 0)
			return a;
	}
	return nullptr;
}

qor_boolean_t fill_adapter_info(qorl_adapter_t *adapter, qorl_t *ioc, const qor_ioc_attr_t &attr,
				const qor_ioctl_ioc_info_t &info)
{
	adapter->ioccount++;
	qorl::copy_text(adapter->serial_num, ioc->serialnum);
	if (qorl_config_ad_lookup(adapter->serial_num) < 0)
		qorl_config_ad_add(adapter->serial_num);
	qorl::copy_text(adapter->model_descr, attr.adapter_attr.model_descr);
	qorl_t *c = copy_of(ioc);
	if (!c) {
		qorl_set_last_error(QOR_STATUS_ENOMEM);
		return QOR_FALSE;
	}
	if (qorl::is_fc_side(ioc->ioc_type))
		adapter->fcioc_list = c;
	else
		adapter->ethioc_list = c;
	char devpath[256], hwpath[32];
	qorl_ioc_get_path(ioc, devpath, hwpath, adapter->adapter_hwpath);
	if (ioc->port_num == 0)
		qorl::copy_text(adapter->name, info.name);
	adapter->cna_capable = attr.adapter_attr.cna_capable ? QOR_TRUE : QOR_FALSE;
	adapter->trunk_capable = attr.adapter_attr.trunk_capable ? QOR_TRUE : QOR_FALSE;
	return QOR_TRUE;
}

qorl_adapter_t *adapter(int n)
{
	return static_cast<qorl_adapter_t *>(find(adapter_list, n, e_ad));
}

// Walks adapter numbers 1 .. count; a number without an adapter ends the walk.
// Calls f(adapter) until it returns true; the result is that adapter or null,
// and *gap says whether the walk ended at a missing number.
template <class F> qorl_adapter_t *walk_adapters(F f, bool *gap = nullptr)
{
	if (gap)
		*gap = false;
	for (unsigned i = 1; i <= adapter_count; i++) {
		qorl_adapter_t *a = adapter((int)i);
		if (!a) {
			if (gap)
				*gap = true;
			return nullptr;
		}
		if (f(*a))
			return a;
	}
	return nullptr;
}

// Calls f(copy) for every present controller copy, by port, FC side first.
template <class F> void each_copy(qorl_adapter_t *a, F f)
{
	for (int p = 0; p < a->port_count; p++) {
		if (qorl_t *c = qorl_adapter_get_fcioc(a, p))
			f(c);
		if (qorl_t *c = qorl_adapter_get_ethioc(a, p))
			f(c);
	}
}

bool wwn_on_port(qorl_adapter_t &a, wwn_t wn, bool node_too, int *port)
{
	for (int p = 0; p < a.port_count; p++) {
		qorl_t *c = qorl_adapter_get_fcioc(&a, p);
		if (c && (c->pwwn == wn || (node_too && c->nwwn == wn))) {
			if (port)
				*port = c->id;
			return true;
		}
	}
	return false;
}

qor_boolean_t all_in_state(uint32_t ad, qor_ioc_state_t want)
{
	qorl_adapter_t *a = qorl_adapter_get_by_idx((int)ad);
	if (!a)
		return QOR_FALSE;
	bool all = true;
	each_copy(a, [&](qorl_t *c) {
		if (!all)
			return;
		qor_ioc_attr_t attr;
		if (qorl_ioc_get_attr(c, &attr) != QOR_STATUS_OK || attr.state != (uint32_t)want)
			all = false;
	});
	return all ? QOR_TRUE : QOR_FALSE;
}

qor_boolean_t qorl_adapter_is_enabled(uint32_t ad)
{
	return all_in_state(ad, QOR_IOC_OPERATIONAL);
}

} // namespace

extern "C" {

void qorl_adapter_lib_init(void) {}

int qorl_adapter_scan(void)
{
	int total = qorl_ioc_scan();
	list_free(adapter_list, e_ad);
	adapter_list = nullptr;
	// The count always equals the adapters listed, also after an early exit.
	adapter_count = 0;
	if (total <= 0)
		return 0;
	int next_no = 1;
	for (int i = 0; i < total; i++) {
		qorl_t *ioc = qorl_ioc_open_idx(i);
		if (!ioc)
			return 0;
		qor_ioc_attr_t attr;
		qor_status_t st = qorl_ioc_get_attr(ioc, &attr);
		if (st != QOR_STATUS_OK) {
			qorl_set_last_error(st);
			return 0;
		}
		ioc->port_num = attr.port_id;
		qor_ioctl_ioc_info_t info;
		st = qorl_ioc_get_info(ioc, &info);
		if (st != QOR_STATUS_OK) {
			qorl_set_last_error(st);
			return 0;
		}
		char hwpath[sizeof(qorl_adapter_t::adapter_hwpath)];
		qorl::copy_text(hwpath, info.adapter_hwpath);
		qorl_adapter_t *a = exists(hwpath, adapter_list, next_no - 1);
		if (!a) {
			a = static_cast<qorl_adapter_t *>(std::calloc(1, sizeof(qorl_adapter_t)));
			if (!a) {
				qorl_set_last_error(QOR_STATUS_ENOMEM);
				return 0;
			}
			a->id = next_no;
			a->port_count = ioc->port_num + 1;
			if (!fill_adapter_info(a, ioc, attr, info)) {
				std::free(a);
				return 0;
			}
			if (!adapter_list)
				adapter_list = a;
			else
				list_append(adapter_list, a, e_ad);
			next_no++;
			adapter_count = (unsigned)(next_no - 1);
		} else {
			qorl_t *c = copy_of(ioc);
			if (!c) {
				qorl_set_last_error(QOR_STATUS_ENOMEM);
				return 0;
			}
			a->ioccount++;
			if (ioc->port_num + 1 > a->port_count)
				a->port_count = ioc->port_num + 1;
			push_copy(qorl::is_fc_side(ioc->ioc_type) ? a->fcioc_list : a->ethioc_list, c);
			if (attr.pci_attr.pcifn == 0)
				qorl::copy_text(a->name, info.name);
		}
		qorl_ioc_close(ioc);
	}
	adapter_count = (unsigned)(next_no - 1);
	return (int)adapter_count;
}

qor_boolean_t qorl_adapter_is_cna_capable(int ad_idx)
{
	qorl_adapter_t *a = qorl_adapter_open_idx(ad_idx);
	return a ? a->cna_capable : QOR_FALSE;
}

qorl_t *qorl_adapter_get_first_ioc(qorl_adapter_t *padapter)
{
	if (!padapter)
		return nullptr;
	if (auto *c = static_cast<qorl_t *>(find(padapter->fcioc_list, 0, e_ic)))
		return c;
	if (padapter->fcioc_list)
		return padapter->fcioc_list;
	if (auto *c = static_cast<qorl_t *>(find(padapter->ethioc_list, 0, e_ic)))
		return c;
	return padapter->ethioc_list;
}

qor_status_t qorl_adapter_get_adapter_port(qorl_t *qorl, int *ad_id, int *port_id)
{
	qorl_t *hit = nullptr;
	qorl_adapter_t *a = walk_adapters([&](qorl_adapter_t &ad) {
		for (qorl_t *c = ad.fcioc_list; c && !hit; c = c->next)
			if (c->pwwn == qorl->pwwn)
				hit = c;
		for (qorl_t *c = ad.ethioc_list; c && !hit; c = c->next)
			if (qorl::mac_equal(c->mac, qorl->mac))
				hit = c;
		return hit != nullptr;
	});
	if (!a)
		return QOR_STATUS_FAILED;
	*ad_id = a->id;
	*port_id = hit->port_num;
	return QOR_STATUS_OK;
}

void qorl_adapter_update_ioc(uint32_t ad, qorl_t *qorl)
{
	qorl_adapter_t *a = qorl_adapter_open_idx((int)ad);
	if (!a)
		return;
	qorl_t *first = qorl::is_fc_side(qorl->ioc_type) ? a->fcioc_list : a->ethioc_list;
	if (first)
		qorl_update_file_handle(first, qorl);
}

qorl_adapter_t *qorl_adapter_open_idx(int ad_idx)
{
	if (ad_idx < 1 || (unsigned)ad_idx > adapter_count)
		return nullptr;
	return adapter(ad_idx);
}

qorl_adapter_t *qorl_adapter_get_by_idx(int idx)
{
	return adapter(idx);
}

qorl_adapter_t *qorl_adapter_lookup(char *serial_num)
{
	return walk_adapters([&](qorl_adapter_t &a) { return serial_num && std::strcmp(a.serial_num, serial_num) == 0; });
}

int qorl_adapter_open_by_name(char *sn)
{
	qorl_adapter_t *a = walk_adapters([&](qorl_adapter_t &ad) {
		return sn && (std::strcmp(ad.serial_num, sn) == 0 || std::strcmp(ad.name, sn) == 0);
	});
	return a ? a->id : 0;
}

unsigned int qorl_adapter_get_idx_by_name(char *name)
{
	qorl_adapter_t *a = walk_adapters([&](qorl_adapter_t &ad) { return name && std::strcmp(ad.name, name) == 0; });
	return a ? (unsigned)a->id : 0;
}

unsigned int qorl_adapter_get_idx_by_sn(char *sn)
{
	qorl_adapter_t *a = qorl_adapter_lookup(sn);
	return a ? (unsigned)a->id : 0;
}

uint32_t qorl_adapter_get_idx_by_hwpath(char *hw)
{
	// Counted in 8 bits: adapters beyond 255 are not reached.
	for (uint8_t i = 1; i != 0 && i <= adapter_count; i++) {
		qorl_adapter_t *a = adapter(i);
		if (!a)
			return 0;
		if (hw && std::strcmp(a->adapter_hwpath, hw) == 0)
			return i;
	}
	return 0;
}

int qorl_adapter_open_by_wwn(wwn_t wn)
{
	bool gap;
	qorl_adapter_t *a = walk_adapters([&](qorl_adapter_t &ad) { return wwn_on_port(ad, wn, true, nullptr); }, &gap);
	return a ? a->id : gap ? -1 : 0;
}

uint32_t qorl_adapter_get_by_pwwn(wwn_t wn)
{
	bool gap;
	qorl_adapter_t *a = walk_adapters([&](qorl_adapter_t &ad) { return wwn_on_port(ad, wn, true, nullptr); }, &gap);
	return a ? (uint32_t)a->id : gap ? 0 : 0xFFFFFFFFu;
}

uint32_t qorl_adapter_get_by_mac(mac_t mac)
{
	bool gap;
	qorl_adapter_t *a = walk_adapters(
		[&](qorl_adapter_t &ad) {
			for (int p = 0; p < ad.port_count; p++) {
				qorl_t *fc = qorl_adapter_get_fcioc(&ad, p);
				if (fc && fc->ioc_type == QOR_IOC_TYPE_FCoE && qorl::mac_equal(fc->mac, mac))
					return true;
				qorl_t *eth = qorl_adapter_get_ethioc(&ad, p);
				if (eth && qorl::mac_equal(eth->mac, mac))
					return true;
			}
			return false;
		},
		&gap);
	return a ? (uint32_t)a->id : gap ? 0xFFFFFFFFu : 0;
}

int qorl_adapter_get_pcifn(wwn_t wn)
{
	bool gap;
	int port = -1;
	qorl_adapter_t *a = walk_adapters([&](qorl_adapter_t &ad) { return wwn_on_port(ad, wn, false, &port); }, &gap);
	return a ? port : gap ? 0 : -1;
}

qorl_t *qorl_adapter_get_fcioc(qorl_adapter_t *adapter, int port_num)
{
	return adapter ? static_cast<qorl_t *>(find(adapter->fcioc_list, port_num, e_ic)) : nullptr;
}

qorl_t *qorl_adapter_get_ethioc(qorl_adapter_t *adapter, int port_num)
{
	return adapter ? static_cast<qorl_t *>(find(adapter->ethioc_list, port_num, e_ic)) : nullptr;
}

qorl_t *qorl_adapter_get_ioc(qorl_adapter_t *adapter, int port_num)
{
	qorl_t *c = qorl_adapter_get_fcioc(adapter, port_num);
	return c ? c : qorl_adapter_get_ethioc(adapter, port_num);
}

char *qorl_adapter_get_fcioc_hwpath(qorl_adapter_t *pa, int id)
{
	qorl_t *c = qorl_adapter_get_fcioc(pa, id);
	return c ? c->ioc_hwpath : nullptr;
}

char *qorl_adapter_get_ethioc_hwpath(qorl_adapter_t *pa, int id)
{
	qorl_t *c = qorl_adapter_get_ethioc(pa, id);
	return c ? c->ioc_hwpath : nullptr;
}

wwn_t qorl_adapter_get_ioc_pwwn(qorl_adapter_t *adapter, unsigned int uid)
{
	qorl_t *c = qorl_adapter_get_fcioc(adapter, (int)uid);
	return c ? c->pwwn : 0;
}

int qorl_adapter_get_ioc_idx_by_pwwn(uint16_t ad, wwn_t w)
{
	qorl_adapter_t *a = qorl_adapter_open_idx(ad);
	int port = -1;
	if (a && wwn_on_port(*a, w, true, &port))
		return port;
	return -1;
}

int qorl_adapter_get_ioc_idx_by_mac(uint16_t ad, mac_t mac)
{
	qorl_adapter_t *a = qorl_adapter_open_idx(ad);
	for (int p = 0; a && p < a->port_count; p++) {
		qorl_t *c = qorl_adapter_get_ethioc(a, p);
		if (c && qorl::mac_equal(c->mac, mac))
			return p;
	}
	return -1;
}

int qorl_adapter_get_ioc_idx_by_hwpath(uint16_t ad, char *hw)
{
	qorl_adapter_t *a = qorl_adapter_open_idx(ad);
	for (int p = 0; a && hw && p < a->port_count; p++) {
		qorl_t *fc = qorl_adapter_get_fcioc(a, p);
		if (fc && std::strcmp(fc->ioc_hwpath, hw) == 0)
			return p;
		qorl_t *eth = qorl_adapter_get_ethioc(a, p);
		if (eth && std::strcmp(eth->ioc_hwpath, hw) == 0)
			return p;
	}
	return -1;
}

qorl_t *qorl_adapter_get_port(int ad_id)
{
	if (ad_id < 0 || (unsigned)ad_id > adapter_count)
		return nullptr;
	qorl_adapter_t *a = adapter(ad_id);
	return a ? qorl_adapter_get_first_ioc(a) : nullptr;
}

qorl_t *qorl_adapter_get_port_by_wwn(int ad_id, wwn_t wn)
{
	qorl_adapter_t *a = qorl_adapter_open_idx(ad_id);
	int port = -1;
	if (!a || !wwn_on_port(*a, wn, true, &port))
		return nullptr;
	return qorl_ioc_open_pwwn(qorl_adapter_get_fcioc(a, port)->pwwn);
}

unsigned int qorl_adapter_get_num(void) { return adapter_count; }
unsigned int qorl_adapter_get_count(void) { return adapter_count; }

int qorl_adapter_get_num_ioc(int ad_id)
{
	qorl_adapter_t *a = qorl_adapter_open_idx(ad_id);
	return a ? a->ioccount : -1;
}

int qorl_adapter_get_num_port(int ad_id)
{
	qorl_adapter_t *a = qorl_adapter_open_idx(ad_id);
	return a ? a->port_count : -1;
}

void qorl_adapter_get_serial_num(qorl_adapter_t *adapter, char *sn)
{
	std::memcpy(sn, adapter->serial_num, sizeof adapter->serial_num);
}

char *qorl_adapter_get_serial_num_by_idx(uint16_t ad_id)
{
	qorl_adapter_t *a = qorl_adapter_open_idx(ad_id);
	return a ? a->serial_num : nullptr;
}

void qorl_adapter_get_model(qorl_adapter_t *adapter, char *md)
{
	std::memcpy(md, adapter->model_descr, sizeof adapter->model_descr);
}

void qorl_adapter_get_hw_path(qorl_adapter_t *adapter, char *hw)
{
	std::memcpy(hw, adapter->adapter_hwpath, sizeof adapter->adapter_hwpath);
}

char *qorl_adapter_get_name(unsigned int ad_id)
{
	qorl_adapter_t *a = qorl_adapter_open_idx((int)ad_id);
	qorl_t *first = a ? qorl_adapter_get_first_ioc(a) : nullptr;
	if (!first)
		return nullptr;
	qor_ioctl_ioc_info_t info;
	if (qorl_ioc_get_info(first, &info) == QOR_STATUS_OK)
		qorl::copy_text(a->name, info.name);
	return a->name;
}

qor_boolean_t qorl_adapter_is_disabled(uint32_t ad)
{
	return all_in_state(ad, QOR_IOC_DISABLED);
}

qor_status_t qorl_adapter_enable(uint32_t ad)
{
	qorl_adapter_t *a = qorl_adapter_get_by_idx((int)ad);
	if (!a)
		return QOR_STATUS_FAILED;
	if (qorl_adapter_is_enabled(ad))
		return QOR_STATUS_AD_IS_ENABLE;
	int attempts = 0, already = 0;
	qor_status_t pending = QOR_STATUS_OK;
	each_copy(a, [&](qorl_t *c) {
		qor_status_t st = qorl_ioc_enable(c);
		attempts++;
		if (st == QOR_STATUS_IOC_ENABLED)
			already++;
		else if (st != QOR_STATUS_OK)
			pending = st;
	});
	if (attempts > 0 && already == attempts)
		return QOR_STATUS_AD_IS_ENABLE;
	return pending;
}

qor_status_t qorl_adapter_disable(uint32_t ad)
{
	qorl_adapter_t *a = qorl_adapter_get_by_idx((int)ad);
	if (!a)
		return QOR_STATUS_FAILED;
	qor_status_t last = QOR_STATUS_OK;
	each_copy(a, [&](qorl_t *c) {
		qor_status_t st = qorl_ioc_disable(c);
		if (st != QOR_STATUS_OK)
			last = st;
	});
	return last;
}

void qorl_adapter_set_name(unsigned int ad_id, char *name)
{
	qorl_set_last_error(QOR_STATUS_OK);
	qorl_adapter_t *a = qorl_adapter_get_by_idx((int)ad_id);
	qorl_t *first = (a && ad_id <= adapter_count) ? qorl_adapter_get_port((int)ad_id) : nullptr;
	if (!first) {
		qorl_set_last_error(QOR_STATUS_NO_ADAPTER);
		return;
	}
	qor_ioctl_ioc_set_adapter_name_t rec{};
	if (!qorl::put_text(rec.name, name) || !qorl::cfg::text_ok(name, qorl::cfg::text_use::adapter)) {
		qorl_set_last_error(QOR_STATUS_EINVAL);
		return;
	}
	qorl::outcome o = qorl::exec<QOR_IOCTL_ADAPTER_SET_NAME>(first, rec);
	if (!o.sent) {
		qorl_set_last_error(o.status);
		return;
	}
	if (o.status == QOR_STATUS_OK) {
		// A converged card's name reaches both drivers through port 0 of each side.
		qorl_t *other = qorl::is_fc_side(first->ioc_type) ? qorl_adapter_get_ethioc(a, 0) : qorl_adapter_get_fcioc(a, 0);
		if (other) {
			qor_ioctl_ioc_set_adapter_name_t rec2{};
			qorl::put_text(rec2.name, name);
			o = qorl::exec<QOR_IOCTL_ADAPTER_SET_NAME>(other, rec2);
			if (!o.sent) {
				qorl_set_last_error(o.status);
				return;
			}
		}
	}
	if (o.status != QOR_STATUS_OK) {
		qorl_set_last_error(o.status);
		return;
	}
	qorl::put_text(a->name, name);
	qorl::cfg::ad_name(a->serial_num, name);
}

} // extern "C"
