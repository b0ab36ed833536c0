// Remote ports of a logical port.
#include "qorl_int.h"
#include "qorl_port.h"
#include "qorl_rport.h"

namespace {

template <class Rec> void name_rport(Rec &rec, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn)
{
	rec.vf_id = vf_id;
	rec.pwwn = pwwn;
	rec.rpwwn = rpwwn;
}

// pwwn 0 stands for the physical port's own logical port, read from the
// port's attributes; never for a controller that request Code is not for.
template <uint32_t Code> qor_status_t base_port(qorl_t *q, wwn_t *pwwn)
{
	if (!qorl::serves<Code>(q))
		return QOR_STATUS_FAILED;
	if (*pwwn != 0)
		return QOR_STATUS_OK;
	qor_port_attr_t attr;
	qor_status_t st = qorl_port_get_attr(q, &attr);
	if (st == QOR_STATUS_OK)
		*pwwn = attr.pwwn;
	return st;
}

// Attributes or statistics of one remote port: reply body `body` of the
// request's record to the caller's `out`.
template <uint32_t Code, class Body>
qor_status_t query_rport(qorl_t *q, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn,
			 Body qorl::request<Code>::record::*body, Body *out)
{
	if (qor_status_t st = base_port<Code>(q, &pwwn); st != QOR_STATUS_OK)
		return st;
	typename qorl::request<Code>::record rec{};
	name_rport(rec, vf_id, pwwn, rpwwn);
	return qorl::query<Code>(q, rec, rec.*body, out, qorl::copy_when::sent);
}

} // namespace

extern "C" {

qor_status_t qorl_rport_add(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn)
{
	qor_ioctl_rport_t rec{};
	name_rport(rec, vf_id, pwwn, rpwwn);
	return qorl::exec<qorl::req::RPORT_ADD>(qorl, rec).status;
}

qor_status_t qorl_rport_remove(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn)
{
	qor_ioctl_rport_t rec{};
	name_rport(rec, vf_id, pwwn, rpwwn);
	return qorl::exec<qorl::req::RPORT_REMOVE>(qorl, rec).status;
}

qor_status_t qorl_rport_get_attr(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn, qor_rport_attr_t *attr)
{
	return query_rport<qorl::req::RPORT_GET_ATTR>(qorl, vf_id, pwwn, rpwwn, &qor_ioctl_rport_attr_t::attr, attr);
}

qor_status_t qorl_rport_get_stats(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn, qor_rport_stats_t *stats)
{
	return query_rport<qorl::req::RPORT_GET_STATS>(qorl, vf_id, pwwn, rpwwn, &qor_ioctl_rport_stats_t::stats,
						       stats);
}

qor_status_t qorl_rport_reset_stats(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn)
{
	if (qor_status_t st = base_port<qorl::req::RPORT_RESET_STATS>(qorl, &pwwn); st != QOR_STATUS_OK)
		return st;
	qor_ioctl_rport_reset_stats_t rec{};
	name_rport(rec, vf_id, pwwn, rpwwn);
	return qorl::exec<qorl::req::RPORT_RESET_STATS>(qorl, rec).status;
}

qor_status_t qorl_rport_get_scsi_address(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn, uint32_t *host,
					 uint32_t *bus, uint32_t *target)
{
	qor_ioctl_rport_scsi_addr_t rec{};
	name_rport(rec, vf_id, pwwn, rpwwn);
	return qorl::reply<qorl::req::RPORT_GET_SCSI_ADDR>(qorl, rec, qorl::copy_when::ok, [&] {
		qorl::put(host, rec.host);
		qorl::put(bus, rec.bus);
		qorl::put(target, rec.target);
	});
}

qor_status_t qorl_rport_set_speed(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t rpwwn, qor_port_speed_t spd)
{
	qor_ioctl_rport_set_speed_t rec{};
	name_rport(rec, vf_id, pwwn, rpwwn);
	rec.speed = (uint32_t)spd;
	return qorl::exec<qorl::req::RPORT_SET_SPEED>(qorl, rec).status;
}

} // extern "C"
