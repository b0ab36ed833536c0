// Ethernet port statistics and attributes; FCoE port operations.
#include "qorl_config.h"
#include "qorl_ethport.h"
#include "qorl_int.h"
#include "qorl_port.h"

namespace {

template <uint32_t Code> qor_status_t fcoe_switch(qorl_t *q, qor_boolean_t enable)
{
	if (!qorl::is_fc_side(q->ioc_type))
		return QOR_STATUS_FAILED;
	qor_ioctl_gen_t rec{};
	return qorl::apply<Code>(q, rec, [&] { qorl_config_enable(q, enable); });
}

} // namespace

extern "C" {

qor_status_t qorl_ethport_get_stats(qorl_t *qorl, qor_ethport_stats_t *stats)
{
	if (qorl::is_fc_side(qorl->ioc_type))
		return QOR_STATUS_FAILED;
	qor_ioctl_ethport_stats_t rec{};
	qorl::outcome o = qorl::exec_nomask<QOR_IOCTL_ETHPORT_GET_STATS>(qorl, rec);
	if (o.sent && stats)
		*stats = rec.stats;
	return o.status;
}

qor_status_t qorl_ethport_reset_stats(qorl_t *qorl)
{
	return qorl_port_reset_stats(qorl);
}

qor_status_t qorl_ethport_get_attr(qorl_t *qorl, qor_ethport_attr_t *attr)
{
	if (qorl::is_fc_side(qorl->ioc_type))
		return QOR_STATUS_FAILED;
	qor_ioctl_ethport_attr_t rec{};
	qorl::outcome o = qorl::exec_nomask<QOR_IOCTL_ETHPORT_GET_ATTR>(qorl, rec);
	if (o.sent && attr)
		*attr = rec.attr;
	return o.status;
}

qor_status_t qorl_fcoe_port_enable(qorl_t *qorl)
{
	return fcoe_switch<QOR_IOCTL_FCOE_ENABLE>(qorl, QOR_TRUE);
}

qor_status_t qorl_fcoe_port_disable(qorl_t *qorl)
{
	return fcoe_switch<QOR_IOCTL_FCOE_DISABLE>(qorl, QOR_FALSE);
}

qor_status_t qorl_fcoe_get_stats(qorl_t *qorl, qorl_stats_long_t *stats)
{
	if (!qorl::is_fc_side(qorl->ioc_type))
		return QOR_STATUS_FAILED;
	qor_ioctl_fcport_stats_t rec{};
	qorl::outcome o = qorl::exec<QOR_IOCTL_FCOE_GET_STATS>(qorl, rec);
	if (o.sent && o.status == QOR_STATUS_OK && stats)
		qorl_stats_long_to_nv_pair(&rec.stats.fcoe.secs_reset, stats, qorl_fcoe_stats, QORL_FCOE_STATS_COUNT);
	return o.status;
}

qor_status_t qorl_fcoe_reset_stats(qorl_t *qorl)
{
	if (!qorl::is_fc_side(qorl->ioc_type))
		return QOR_STATUS_FAILED;
	return qorl::exec_gen<QOR_IOCTL_FCOE_RESET_STATS>(qorl);
}

} // extern "C"
