// Physical port operations and trunking of a whole adapter.
#include <optional>

#include "qorl_adapter.h"
#include "qorl_config_int.h"
#include "qorl_int.h"
#include "qorl_port.h"
#include "qorl_state.h"

namespace {

using qorl::copy_when;

template <uint32_t Code> qor_status_t trunk_switch(qorl_t *q)
{
	return qorl::exec_gen<Code>(q);
}

qor_status_t qorl_port_enable_trunk(qorl_t *q)
{
	return trunk_switch<qorl::req::TRUNK_ENABLE>(q);
}

qor_status_t qorl_port_disable_trunk(qorl_t *q)
{
	return trunk_switch<qorl::req::TRUNK_DISABLE>(q);
}

// The adapter of a trunk operation: none, or not capable, end it early.
qor_status_t trunk_adapter(uint32_t ad, qorl_adapter_t **out)
{
	qorl_adapter_t *a = qorl_adapter_get_by_idx((int)ad);
	if (!a)
		return QOR_STATUS_FAILED;
	if (!a->trunk_capable)
		return QOR_STATUS_TRUNK_UNSUPP;
	*out = a;
	return QOR_STATUS_OK;
}

// Reads each port's attributes in port order; the first port whose verdict
// is a status ends the walk with it.
template <class Verdict> qor_status_t check_ports(qorl_adapter_t *a, Verdict verdict)
{
	for (int i = 0; i < a->port_count; i++) {
		qorl_t *q = qorl_adapter_get_ioc(a, i);
		if (!q)
			return QOR_STATUS_NO_PORT_INSTANCE;
		qor_port_attr_t attr;
		if (qor_status_t st = qorl_port_get_attr(q, &attr); st != QOR_STATUS_OK)
			return st;
		if (std::optional<qor_status_t> v = verdict(attr))
			return *v;
	}
	return QOR_STATUS_OK;
}

// Switches trunking port by port, upward to turn it on and downward to turn
// it off; a failure switches the ports already done back (best effort).
// Only when every port has switched is the adapter's trunk setting recorded.
qor_status_t switch_ports(qorl_adapter_t *a, bool on)
{
	const int n = a->port_count, step = on ? 1 : -1;
	for (int k = 0, i = on ? 0 : n - 1; k < n; k++, i += step) {
		qorl_t *q = qorl_adapter_get_ioc(a, i);
		if (!q)
			return QOR_STATUS_NO_PORT_INSTANCE;
		qor_status_t st = on ? qorl_port_enable_trunk(q) : qorl_port_disable_trunk(q);
		if (st == QOR_STATUS_OK)
			continue;
		for (int j = i - step; j >= 0 && j < n; j -= step)
			if (qorl_t *u = qorl_adapter_get_ioc(a, j))
				(void)(on ? qorl_port_disable_trunk(u) : qorl_port_enable_trunk(u));
		return st;
	}
	qorl::cfg::ad_trunk(a->serial_num, on ? QOR_TRUE : QOR_FALSE);
	return QOR_STATUS_OK;
}

} // namespace

qor_status_t qorl::port_address(qorl_t *q, qor_port_attr_t &attr)
{
	qor_status_t st = qorl_port_get_attr(q, &attr);
	if (st != QOR_STATUS_OK)
		return st;
	return attr.pid == 0 ? QOR_STATUS_PORT_OFFLINE : QOR_STATUS_OK;
}

extern "C" {

qor_status_t qorl_port_enable(qorl_t *qorl)
{
	return qorl::switch_port<qorl::req::PORT_ENABLE>(qorl, QOR_TRUE);
}

qor_status_t qorl_port_disable(qorl_t *qorl)
{
	return qorl::switch_port<qorl::req::PORT_DISABLE>(qorl, QOR_FALSE);
}

qor_status_t qorl_port_get_attr(qorl_t *qorl, qor_port_attr_t *attr)
{
	qor_ioctl_port_attr_t rec{};
	return qorl::query<qorl::req::PORT_GET_ATTR>(qorl, rec, rec.attr, attr, copy_when::sent);
}

const char *qorl_port_get_state_name(qor_port_states_t port_state)
{
	if ((uint32_t)port_state >= QOR_PORT_ST_MAX_STATE)
		return "Unknown";
	return qorl_port_states_to_string(port_state);
}

qor_status_t qorl_port_get_stats(qorl_t *qorl, qorl_stats_long_t *stats)
{
	// Room after the request as the design lays it out; the driver only
	// writes the statistics buffer.
	constexpr size_t room = 360;
	static_assert(room >= sizeof(qor_ioctl_port_stats_t));
	auto rec = qorl::heap_alloc<qor_ioctl_port_stats_t>(room);
	if (!rec)
		return QOR_STATUS_ENOMEM;
	qor_port_stats_t buf{};
	rec->buf_size = sizeof buf;
	rec->buf_ptr = (uint64_t)(uintptr_t)&buf;
	if (qorl->ioc_type == QOR_IOC_TYPE_FC)
		return qorl::pairs<qorl::req::PORT_GET_STATS>(qorl, *rec, buf.fc, stats, qorl_port_fc_stats,
							      QORL_PORT_FC_STATS_COUNT);
	return qorl::pairs<qorl::req::PORT_GET_STATS>(qorl, *rec, buf.eth, stats, qorl_port_eth_stats,
						      QORL_PORT_ETH_STATS_COUNT);
}

qor_status_t qorl_port_reset_stats(qorl_t *qorl)
{
	return qorl::exec_gen<qorl::req::PORT_RESET_STATS>(qorl);
}

qor_status_t qorl_port_cfg_topology(qorl_t *qorl, qor_port_topology_t topo)
{
	qor_ioctl_port_cfg_topo_t rec{};
	rec.topo = (uint32_t)topo;
	return qorl::apply<qorl::req::PORT_CFG_TOPO>(qorl, rec, [&] { qorl_config_topology(qorl, topo); });
}

qor_status_t qorl_port_cfg_speed(qorl_t *qorl, qor_port_speed_t speed)
{
	qor_ioctl_port_cfg_speed_t rec{};
	rec.speed = (uint32_t)speed;
	return qorl::apply<qorl::req::PORT_CFG_SPEED>(qorl, rec, [&] { qorl_config_speed(qorl, speed); });
}

qor_status_t qorl_port_cfg_hardalpa(qorl_t *qorl, uint8_t alpa)
{
	qor_ioctl_port_alpa_t rec{};
	rec.alpa = alpa;
	return qorl::apply<qorl::req::PORT_CFG_ALPA>(qorl, rec, [&] { qorl_config_alpa(qorl, alpa, QOR_TRUE); });
}

qor_status_t qorl_port_clr_hardalpa(qorl_t *qorl)
{
	qor_ioctl_port_alpa_t rec{};
	return qorl::apply<qorl::req::PORT_CLR_ALPA>(qorl, rec, [&] { qorl_config_alpa(qorl, 0, QOR_FALSE); });
}

qor_status_t qorl_port_cfg_maxfrsize(qorl_t *qorl, uint16_t maxfrsize)
{
	qor_ioctl_port_cfg_maxfrsize_t rec{};
	rec.maxfrsize = maxfrsize;
	return qorl::apply<qorl::req::PORT_CFG_MAXFRSZ>(qorl, rec, [&] { qorl_config_maxfrsz(qorl, maxfrsize); });
}

qor_status_t qorl_port_cfg_rnid_info(qorl_t *qorl, qor_port_rnid_t info)
{
	qor_ioctl_port_rnid_t rec{};
	rec.info = info;
	return qorl::exec<qorl::req::PORT_CFG_RNID>(qorl, rec).status;
}

qor_status_t qorl_port_get_rnid_info(qorl_t *qorl, qor_port_rnid_t *info)
{
	qor_ioctl_port_rnid_t rec{};
	return qorl::query<qorl::req::PORT_GET_RNID>(qorl, rec, rec.info, info, copy_when::sent);
}

qor_status_t qorl_port_get_trunk_attr(qorl_t *qorl, qor_trunk_attr_t *attr)
{
	qor_ioctl_trunk_attr_t rec{};
	return qorl::query<qorl::req::TRUNK_GET_ATTR>(qorl, rec, rec.attr, attr, copy_when::ok);
}

qor_status_t qorl_trunk_enable(uint32_t ad)
{
	qorl_adapter_t *a = nullptr;
	if (qor_status_t st = trunk_adapter(ad, &a); st != QOR_STATUS_OK)
		return st;
	// The rate-limit test comes first: it decides when both are on.
	qor_status_t st = check_ports(a, [](const qor_port_attr_t &attr) -> std::optional<qor_status_t> {
		if (attr.pport_cfg.ratelimit)
			return QOR_STATUS_TRUNK_ERROR_TRL_ENABLED;
		if (attr.pport_cfg.trunked)
			return QOR_STATUS_TRUNK_ENABLED;
		return std::nullopt;
	});
	return st != QOR_STATUS_OK ? st : switch_ports(a, true);
}

qor_status_t qorl_trunk_disable(uint32_t ad)
{
	qorl_adapter_t *a = nullptr;
	if (qor_status_t st = trunk_adapter(ad, &a); st != QOR_STATUS_OK)
		return st;
	qor_status_t st = check_ports(a, [](const qor_port_attr_t &attr) -> std::optional<qor_status_t> {
		if (!attr.pport_cfg.trunked)
			return QOR_STATUS_TRUNK_DISABLED;
		return std::nullopt;
	});
	return st != QOR_STATUS_OK ? st : switch_ports(a, false);
}

qor_status_t qorl_trunk_query(uint32_t ad, qor_trunk_attr_t *attr)
{
	qorl_adapter_t *a = nullptr;
	if (qor_status_t st = trunk_adapter(ad, &a); st != QOR_STATUS_OK)
		return st;
	qorl_t *q = qorl_adapter_get_ioc(a, 0);
	if (!q)
		return QOR_STATUS_NO_PORT_INSTANCE;
	return qorl_port_get_trunk_attr(q, attr);
}

qor_status_t qorl_trunk_get_ports_state(qorl_t *qorl)
{
	uint32_t idx = qorl_adapter_get_idx_by_hwpath(qorl->adapter_hwpath);
	qorl_adapter_t *a = idx ? qorl_adapter_get_by_idx((int)idx) : nullptr;
	if (!a)
		return QOR_STATUS_FAILED;
	// The first port that is not trunked ends the check.
	return check_ports(a, [](const qor_port_attr_t &attr) -> std::optional<qor_status_t> {
		if (!attr.pport_cfg.trunked)
			return QOR_STATUS_OK;
		if (attr.port_state != QOR_PORT_ST_DISABLED)
			return QOR_STATUS_NEED_PORTS_DISABLE;
		return std::nullopt;
	});
}

} // extern "C"
