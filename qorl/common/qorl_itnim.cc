// IT nexus: attributes, statistics, I/O profile and throughput.
#include "qorl_int.h"
#include "qorl_itnim.h"

namespace {

template <class Rec> void name_itn(Rec &rec, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn)
{
	rec.vf_id = vf_id;
	rec.lpwwn = lpwwn;
	rec.rpwwn = rpwwn;
}

// Driver ticks to the reported unit; 32-bit arithmetic as the driver's.
uint32_t scale(uint32_t v, uint32_t mul, uint32_t div)
{
	return (uint32_t)(mul * v) / div;
}

void convert(qor_itnim_ioprofile_t &p)
{
	const uint32_t n = p.index < QOR_IOBUCKET_MAX ? p.index : QOR_IOBUCKET_MAX;
	qor_itnim_latency_t &l = p.io_latency;
	for (uint32_t i = 0; i < n; i++) {
		if (l.min[i] == 0xFFFFFFFFu)
			l.min[i] = 0;
		l.max[i] = scale(l.max[i], p.clock_res_mul, p.clock_res_div);
		l.min[i] = scale(l.min[i], p.clock_res_mul, p.clock_res_div);
		if (l.count[i] != 0)
			l.avg[i] = scale(l.avg[i], p.clock_res_mul, p.clock_res_div) / l.count[i];
	}
}

} // namespace

extern "C" {

qor_status_t qorl_itnim_get_attr(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, qor_itnim_attr_t *attr)
{
	qor_ioctl_itnim_attr_t rec{};
	name_itn(rec, vf_id, lpwwn, rpwwn);
	return qorl::query<qorl::req::ITNIM_GET_ATTR>(qorl, rec, rec.attr, attr, qorl::copy_when::sent);
}

qor_status_t qorl_itnim_get_itnstats(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, qorl_stats_t *stats)
{
	qor_ioctl_itnim_itnstats_t rec{};
	name_itn(rec, vf_id, lpwwn, rpwwn);
	return qorl::pairs<qorl::req::ITNIM_GET_ITNSTATS>(qorl, rec, rec.itnstats, stats, qorl_itnim_stats,
						   QORL_ITNIM_STATS_COUNT);
}

qor_status_t qorl_itnim_get_iostats(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn, qorl_stats_t *stats)
{
	qor_ioctl_itnim_iostats_t rec{};
	name_itn(rec, vf_id, lpwwn, rpwwn);
	return qorl::pairs<qorl::req::ITNIM_GET_IOSTATS>(qorl, rec, rec.iostats, stats, qorl_itnim_iostats,
						  QORL_ITNIM_IOSTATS_COUNT);
}

qor_status_t qorl_itnim_reset_stats(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn)
{
	qor_ioctl_itnim_reset_stats_t rec{};
	name_itn(rec, vf_id, lpwwn, rpwwn);
	return qorl::exec<qorl::req::ITNIM_RESET_STATS>(qorl, rec).status;
}

qor_status_t qorl_itnim_get_ioprofile(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t rpwwn,
				      qor_itnim_ioprofile_t *stats)
{
	qor_ioctl_itnim_ioprofile_t rec{};
	name_itn(rec, vf_id, lpwwn, rpwwn);
	qorl::outcome o = qorl::exec<qorl::req::ITNIM_GET_IOPROFILE>(qorl, rec);
	if (!o.sent)
		return o.status;
	if (o.status == QOR_STATUS_OK) {
		if (rec.ioprofile.clock_res_div == 0)
			return QOR_STATUS_FAILED;
		convert(rec.ioprofile);
	}
	if (stats)
		*stats = rec.ioprofile;
	return o.status;
}

uint32_t qorl_itnim_get_iothroughput(const qorl_stats_t *stats)
{
	static const char read_name[] = "Read data transfered in bytes";
	static const char write_name[] = "Write data transfered in bytes";
	if (!stats)
		return 0;
	uint32_t rd = 0, wr = 0;
	bool have_rd = false, have_wr = false;
	for (int i = 0; i < QORL_ITNIM_IOSTATS_COUNT && !(have_rd && have_wr); i++) {
		const qorl_stats_t &s = stats[i];
		// Names are compared within their field, terminated or not.
		if (!have_rd && strncmp(s.name, read_name, sizeof s.name) == 0) {
			rd = s.value;
			have_rd = true;
		} else if (!have_wr && strncmp(s.name, write_name, sizeof s.name) == 0) {
			wr = s.value;
			have_wr = true;
		}
	}
	return rd + wr;
}

} // extern "C"
