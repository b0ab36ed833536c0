// Logical ports: attributes, statistics and their remote ports.
#include "qorl_int.h"
#include "qorl_lport.h"

namespace {

template <class Rec> void name_lport(Rec &rec, uint16_t vf_id, wwn_t pwwn)
{
	rec.vf_id = vf_id;
	rec.pwwn = pwwn;
}

} // namespace

extern "C" {

qor_status_t qorl_lport_get_attr(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, qor_lport_attr_t *lport_attr)
{
	qor_ioctl_lport_attr_t rec{};
	name_lport(rec, vf_id, pwwn);
	return qorl::query<qorl::req::LPORT_GET_ATTR>(qorl, rec, rec.port_attr, lport_attr, qorl::copy_when::sent);
}

qor_status_t qorl_lport_get_iostats(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, qorl_stats_t *lport_iostats)
{
	qor_ioctl_lport_iostats_t rec{};
	name_lport(rec, vf_id, pwwn);
	return qorl::pairs<qorl::req::LPORT_GET_IOSTATS>(qorl, rec, rec.iostats, lport_iostats, qorl_itnim_iostats,
						  QORL_ITNIM_IOSTATS_COUNT);
}

qor_status_t qorl_lport_get_stats(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, qorl_stats_t *lport_stats)
{
	qor_ioctl_lport_stats_t rec{};
	name_lport(rec, vf_id, pwwn);
	return qorl::pairs<qorl::req::LPORT_GET_STATS>(qorl, rec, rec.port_stats, lport_stats, qorl_lport_stats,
						QORL_LPORT_STATS_COUNT);
}

qor_status_t qorl_lport_reset_stats(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn)
{
	qor_ioctl_lport_reset_stats_t rec{};
	name_lport(rec, vf_id, pwwn);
	return qorl::exec<qorl::req::LPORT_RESET_STATS>(qorl, rec).status;
}

qor_status_t qorl_lport_get_rports(qorl_t *qorl, uint16_t vf_id, wwn_t pwwn, wwn_t *rports, uint32_t *nrports)
{
	if (!nrports)
		return QOR_STATUS_FAILED;
	qor_ioctl_lport_get_rports_t rec{};
	name_lport(rec, vf_id, pwwn);
	rec.rbuf_ptr = (uint64_t)(uintptr_t)rports;
	rec.nrports = rports ? *nrports : 0;
	qorl::outcome o = qorl::exec<qorl::req::LPORT_GET_RPORTS>(qorl, rec);
	if (o.sent)
		*nrports = rec.nrports;
	return o.status;
}

} // extern "C"
