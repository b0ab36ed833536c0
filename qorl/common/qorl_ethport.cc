// Ethernet port statistics and attributes; FCoE port operations.
#include "qorl_ethport.h"
#include "qorl_int.h"
#include "qorl_port.h"

extern "C" {

qor_status_t qorl_ethport_get_stats(qorl_t *qorl, qor_ethport_stats_t *stats)
{
	qor_ioctl_ethport_stats_t rec{};
	return qorl::query<qorl::req::ETHPORT_GET_STATS, qorl::channel::nomask>(qorl, rec, rec.stats, stats,
										 qorl::copy_when::sent);
}

qor_status_t qorl_ethport_reset_stats(qorl_t *qorl)
{
	return qorl_port_reset_stats(qorl);
}

qor_status_t qorl_ethport_get_attr(qorl_t *qorl, qor_ethport_attr_t *attr)
{
	qor_ioctl_ethport_attr_t rec{};
	return qorl::query<qorl::req::ETHPORT_GET_ATTR, qorl::channel::nomask>(qorl, rec, rec.attr, attr,
										qorl::copy_when::sent);
}

qor_status_t qorl_fcoe_port_enable(qorl_t *qorl)
{
	return qorl::switch_port<qorl::req::FCOE_ENABLE>(qorl, QOR_TRUE);
}

qor_status_t qorl_fcoe_port_disable(qorl_t *qorl)
{
	return qorl::switch_port<qorl::req::FCOE_DISABLE>(qorl, QOR_FALSE);
}

qor_status_t qorl_fcoe_get_stats(qorl_t *qorl, qorl_stats_long_t *stats)
{
	qor_ioctl_fcport_stats_t rec{};
	return qorl::pairs<qorl::req::FCOE_GET_STATS>(qorl, rec, rec.stats.fcoe, stats, qorl_fcoe_stats,
						      QORL_FCOE_STATS_COUNT);
}

qor_status_t qorl_fcoe_reset_stats(qorl_t *qorl)
{
	return qorl::exec_gen<qorl::req::FCOE_RESET_STATS>(qorl);
}

} // extern "C"
