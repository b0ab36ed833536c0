// Controller discovery: both drivers' instances, one record each.
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "qorl_config.h"
#include "qorl_int.h"
#include "qorl_ioc.h"

namespace {

qorl_t *ioc_list = nullptr;
int total = 0;

constexpr char cfg_path[] = "/etc/qor.conf";

int open_node(const char *path)
{
	return open(path, O_RDWR | O_CLOEXEC);
}

// Closes the pass's descriptors and withdraws the records it appended, so no
// record outlives the descriptor it holds.
int fail_pass(qor_status_t st, int fd, int ipfc_fd, qorl_t *last_before)
{
	qorl_set_last_error(st);
	if (last_before) {
		list_free(last_before->next, e_ic);
		last_before->next = nullptr;
	} else {
		list_free(ioc_list, e_ic);
		ioc_list = nullptr;
	}
	close(fd);
	if (ipfc_fd >= 0)
		close(ipfc_fd);
	return -1;
}

qorl_t *list_tail()
{
	qorl_t *n = ioc_list;
	while (n && n->next)
		n = n->next;
	return n;
}

bool bit_set(const uint8_t *bm, int i)
{
	return bm[i / 8] & (1u << (i % 8));
}

int ioc_scan_cna(qor_ioc_type_e type)
{
	bool fc = type == QOR_IOC_TYPE_FC;
	int fd = open_node(fc ? QOR_DEV_FC : QOR_DEV_ETH);
	int ipfc_fd = fc ? open_node(QOR_DEV_IPFC) : -1;
	if (fd < 0) {
		if (ipfc_fd >= 0)
			close(ipfc_fd);
		qorl_set_last_error(QOR_STATUS_NO_DRIVER);
		return -1;
	}
	qorl_t *last_before = list_tail();

	qorl_t tmp{};
	tmp.fd = fd;
	tmp.ipfc_fd = ipfc_fd;
	tmp.ioc_type = type;

	qor_status_t st = qorl_ioc_compare_versions(&tmp);
	if (st != QOR_STATUS_OK)
		return fail_pass(st, fd, ipfc_fd, last_before);

	qor_ioctl_ioc_get_inst_t inst{};
	st = qorl::exec<qorl::req::IOC_GET_INST>(&tmp, inst).status;
	if (st != QOR_STATUS_OK)
		return fail_pass(st, fd, ipfc_fd, last_before);
	if (inst.cnt > QOR_MAX_INSTANCES)
		return fail_pass(QOR_STATUS_EIO, fd, ipfc_fd, last_before);
	int cnt = (int)inst.cnt;

	// Only a failed request fails the pass; the reply is not inspected.
	qor_ioctl_aen_t announce{};
	announce.app_id = qorl::application_id;
	qorl::outcome o = qorl::exec<qorl::req::AEN_APP_REGISTER>(&tmp, announce);
	if (!o.sent)
		return fail_pass(o.status, fd, ipfc_fd, last_before);

	int pos = total;
	for (int i = 0; i < cnt; i++) {
		if (!bit_set(inst.bm, i))
			continue;
		qor_ioctl_ioc_info_t info{};
		tmp.instance = i;
		st = qorl::exec<qorl::req::IOC_GET_INFO>(&tmp, info).status;
		if (st != QOR_STATUS_OK)
			return fail_pass(st, fd, ipfc_fd, last_before);
		auto *rec = static_cast<qorl_t *>(std::calloc(1, sizeof(qorl_t)));
		if (!rec)
			return fail_pass(QOR_STATUS_ENOMEM, fd, ipfc_fd, last_before);
		rec->fd = fd;
		rec->ipfc_fd = ipfc_fd;
		rec->instance = i;
		rec->id = pos++;
		qorl_fill_ioc_info(rec, &info);
		std::strcpy(rec->devpath, qorl::is_fc_side((int)info.ioc_type) ? QOR_DEV_FC : QOR_DEV_ETH);
		if (!ioc_list)
			ioc_list = rec;
		else
			list_append(ioc_list, rec, e_ic);
	}
	return cnt;
}

} // namespace

extern "C" {

int qorl_ioc_scan(void)
{
	if (ioc_list) {
		list_free(ioc_list, e_ic);
		ioc_list = nullptr;
	}
	total = 0;
	int n = ioc_scan_cna(QOR_IOC_TYPE_FC);
	if (n != -1)
		total = n;
	n = ioc_scan_cna(QOR_IOC_TYPE_LL);
	if (n != -1)
		total += n;
	return total;
}

int qorl_ioc_get_num(void)
{
	return total;
}

qorl_t *qorl_ioc_get_list(void)
{
	return ioc_list;
}

char *qorl_get_cfg_path(void)
{
	return const_cast<char *>(cfg_path);
}

qor_status_t qorl_ioc_compare_versions(qorl_t *qorl)
{
	qor_ioctl_ioc_get_version_t v{};
	qor_status_t st = qorl::exec<qorl::req::IOC_GET_VERSION>(qorl, v).status;
	if (st != QOR_STATUS_OK)
		return st;
	if (v.version != QOR_DRV_INTERFACE_VERSION) {
		fputs("\nWARNING: MXT and Driver versions don't match!!!\n\n", stdout);
		fflush(stdout);
	}
	return QOR_STATUS_OK;
}

void qorl_fill_ioc_info(qorl_t *qorl, qor_ioctl_ioc_info_t *info)
{
	using qorl::copy_text;
	copy_text(qorl->serialnum, info->serialnum);
	copy_text(qorl->ioc_hwpath, info->hwpath);
	copy_text(qorl->adapter_hwpath, info->adapter_hwpath);
	copy_text(qorl->name, info->name);
	copy_text(qorl->port_name, info->port_name);
	qorl->ioc_type = (qor_ioc_type_e)info->ioc_type;
	if (!qorl::is_fc_side((int)info->ioc_type)) {
		qorl->pwwn = 0;
		qorl->nwwn = 0;
		qorl->mac = info->mac;
		qorl->factory_mac = info->factory_mac;
		qorl->current_mac = info->current_mac;
	} else {
		qorl->pwwn = info->pwwn;
		qorl->nwwn = info->nwwn;
		qorl->factorypwwn = info->factorypwwn;
		qorl->factorynwwn = info->factorynwwn;
		if (info->ioc_type == QOR_IOC_TYPE_FCoE) {
			qorl->mac = info->mac;
			qorl->factory_mac = info->factory_mac;
		}
	}
	qorl_get_ioc_params(qorl, info);
	qorl->next = nullptr;
}

void qorl_get_ioc_params(qorl_t *ioc, qor_ioctl_ioc_info_t *info)
{
	if (!qorl::is_fc_side((int)info->ioc_type)) {
		qorl::copy_text(ioc->eth_name, info->eth_name);
		if (qorl_config_ethioc_lookup(info->mac) < 0)
			qorl_config_ethioc_add(info->mac);
	} else if (qorl_config_ioc_lookup(ioc->pwwn) < 0) {
		qorl_config_ioc_add(ioc->pwwn);
	}
}

} // extern "C"
