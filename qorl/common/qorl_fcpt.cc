// Fabric pass-through, and the name server and RLS queries built on it.
#include "protocol/fc_ct.h"
#include "protocol/fc_els.h"
#include "qorl_int.h"
#include "qorl_lport.h"
#include "qorl_port.h"
#include "qorl_rport.h"

namespace {

// What every request of the library itself asks of the pass-through.
constexpr uint16_t kVfId = 0;
constexpr uint32_t kTimeout = 20;
constexpr size_t kNsBufSize = 512;

// Name server request header: from our address to the directory server.
void gs_req_fchdr_build(fchs_t *fchs, uint32_t pid)
{
	uint8_t d_id[3], s_id[3];
	fc_put_be24(d_id, FC_DIRECTORY_SERVER);
	fc_pid_to_wire(pid, s_id);
	fc_req_fchdr_build(fchs, FC_RCTL_FC4_UNSOL_CTL, d_id, s_id, FC_TYPE_SERVICES);
}

void gs_req_cthdr_build(ct_hdr_t *ct, uint16_t gs_cmd)
{
	memset(ct, 0, sizeof *ct);
	ct->rev_id = CT_GS3_REVISION;
	ct->gs_type = CT_GSTYPE_DIRSERVICE;
	ct->gs_sub_type = CT_GSSUBTYPE_NAMESERVER;
	fc_put_be16(ct->cmd_rsp_code, gs_cmd);
}

// Extended link service request header: from our address to the remote port.
void els_req_fchdr_build(fchs_t *fchs, uint32_t d_pid, uint32_t s_pid)
{
	uint8_t d_id[3], s_id[3];
	fc_pid_to_wire(d_pid, d_id);
	fc_pid_to_wire(s_pid, s_id);
	fc_req_fchdr_build(fchs, FC_RCTL_ELS_REQ, d_id, s_id, FC_TYPE_ELS);
}

} // namespace

extern "C" {

qor_status_t qorl_fcpt(qorl_t *qorl, uint16_t vf_id, wwn_t lpwwn, wwn_t dpwwn, uint32_t tsecs, qor_boolean_t cts,
		       fc_cos_t cos, fchs_t *fchs, void *reqbuf, uint32_t reqsz, void *rspbuf, uint32_t *rspsz)
{
	if (!fchs || !rspsz)
		return QOR_STATUS_FAILED;
	const uint32_t room = *rspsz;
	auto rec = qorl::heap_record<qor_ioctl_fcpt_t>(room);
	if (!rec)
		return QOR_STATUS_ENOMEM;
	rec->vf_id = vf_id;
	rec->lpwwn = lpwwn;
	rec->dpwwn = dpwwn;
	rec->tsecs = tsecs;
	rec->cts = (int32_t)cts;
	rec->cos = (uint32_t)cos;
	rec->fchs = *fchs;
	rec->nport_nexus_needed = dpwwn != 0 ? 1 : 0;
	rec->reqsz = reqsz;
	rec->rspsz = room;
	rec->reqbuf_ptr = (uint64_t)(uintptr_t)reqbuf;
	rec->rspbuf_ptr = (uint64_t)(uintptr_t)rspbuf;
	qorl::outcome o = qorl::exec<qorl::req::FCPT>(qorl, *rec);
	if (!o.sent)
		return o.status;
	// The driver's size, also above the room: the caller learns how much the
	// reply needed. Readers bound themselves by their own buffers.
	*rspsz = rec->rspsz;
	return o.status;
}

qor_status_t qorl_get_rport_symname(qorl_t *qorl, uint16_t vf_id, uint32_t rport_pid, wwn_t lpwwn, wwn_t rpwwn,
				    qor_rport_symname_t *symname)
{
	qor_lport_attr_t lattr;
	qor_status_t st = qorl_lport_get_attr(qorl, vf_id, lpwwn, &lattr);
	if (st != QOR_STATUS_OK)
		return st;
	if (lattr.pid == 0)
		return QOR_STATUS_PORT_OFFLINE;

	alignas(8) uint8_t req[kNsBufSize] = {};
	alignas(8) uint8_t rsp[kNsBufSize] = {};
	fchs_t fchs;
	gs_req_fchdr_build(&fchs, lattr.pid);
	auto *frame = reinterpret_cast<fcgs_gspnid_frame_t *>(req);
	gs_req_cthdr_build(&frame->ct, GS_GSPN_ID);
	fc_pid_to_wire(rport_pid, frame->req.dap);
	uint32_t rspsz = sizeof rsp;
	st = qorl_fcpt(qorl, kVfId, lpwwn, rpwwn, kTimeout, QOR_FALSE, FC_CLASS_3, &fchs, req,
		       sizeof(fcgs_gspnid_frame_t), rsp, &rspsz);
	if (st != QOR_STATUS_OK || rspsz == 0)
		return st;
	// Whatever size the driver reported, the reply is read from our cleared
	// buffer: a reply too short to hold the accept code reads as a refusal,
	// a name longer than what arrived ends at the zeros after it.
	const auto *acc = reinterpret_cast<const fcgs_gspnid_acc_frame_t *>(rsp);
	static_assert(sizeof(fcgs_gspnid_acc_frame_t) <= sizeof rsp, "the name lies within the buffer");
	if (fc_get_be16(acc->ct.cmd_rsp_code) != CT_RSP_ACCEPT)
		return QOR_STATUS_FABRIC_RJT;
	size_t n = acc->rsp.spn_len;
	if (n == 0 || !symname)
		return QOR_STATUS_OK;
	if (n > sizeof symname->symname - 1)
		n = sizeof symname->symname - 1;
	memcpy(symname->symname, acc->rsp.spn, n);
	symname->symname[n] = '\0';
	return QOR_STATUS_OK;
}

qor_status_t qorl_rport_get_remote_link_error_status(qorl_t *qorl, wwn_t lpwwn, wwn_t rpwwn, qorl_stats_t *stats)
{
	alignas(8) uint8_t rsp[sizeof(fc_rls_acc_t)] = {};
	qor_port_attr_t pattr;
	qor_status_t st = qorl::port_address(qorl, pattr);
	if (st != QOR_STATUS_OK)
		return st;
	qor_rport_attr_t rattr;
	st = qorl_rport_get_attr(qorl, 0, lpwwn, rpwwn, &rattr);
	if (st != QOR_STATUS_OK)
		return st;
	if (rattr.pid == 0)
		return QOR_STATUS_RPORT_OFFLINE;

	fchs_t fchs;
	els_req_fchdr_build(&fchs, rattr.pid, pattr.pid);
	fc_rls_req_t req{};
	req.els_cmd = FC_ELS_RLS;
	uint32_t rspsz = sizeof rsp;
	st = qorl_fcpt(qorl, kVfId, lpwwn, rpwwn, kTimeout, QOR_FALSE, FC_CLASS_3, &fchs, &req, sizeof req, rsp,
		       &rspsz);
	if (st != QOR_STATUS_OK)
		return st;
	// The accept is read from our cleared 28 bytes whatever size the driver
	// reported; counters that did not arrive read 0.
	const auto *acc = reinterpret_cast<const fc_rls_acc_t *>(rsp);
	if (acc->ls_code != FC_ELS_ACC || acc->rsvd[0] || acc->rsvd[1] || acc->rsvd[2])
		return QOR_STATUS_FAILED;
	qorl_rls_rsp_t out{};
	out.rls_acc = acc->ls_code;
	// The counters are handed on in the byte order of the response, as the
	// callers of this interface have always received them.
	qor_rport_remote_link_stats_t &l = out.lseb;
	static_assert(sizeof l == sizeof acc->lesb);
	memcpy(&l, &acc->lesb, sizeof l);
	if (stats)
		qorl_stats_to_nv_pair(&l.lfc, stats, qorl_rport_remote_link_stats, QORL_RPORT_REMOTE_LINK_STATS_COUNT);
	return QOR_STATUS_OK;
}

} // extern "C"
