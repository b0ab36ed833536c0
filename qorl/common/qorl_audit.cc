// Audit event subscriptions: the audit kind of the subscription family.
#include <pthread.h>

#include "qorl_aen_family.h"
#include "qorl_audit.h"

namespace qorl::aen {

pthread_mutex_t audit_mutex = PTHREAD_MUTEX_INITIALIZER;
qorl_audit_aen_cbhandle_t *auditCBList;

namespace {

struct audit_kind : kind_base<QOR_AEN_CAT_AUDIT, audit_mutex, auditCBList> {
	static constexpr bool direct_empty_ok = true;

	static bool engine_match(const handle_t &h, uint16_t inst, const data_t &d, int)
	{
		return same_inst(h.inst, inst) && d.pwwn == h.data.pwwn;
	}
	static bool direct_match(const handle_t &h, qorl_t *q, const data_t &d, int)
	{
		return same_pwwn(h.qorl, q) && d.pwwn == h.data.pwwn;
	}
};

} // namespace
} // namespace qorl::aen

using namespace qorl::aen;

extern "C" {

qor_status_t qorl_audit_aen_register(qorl_t *qorl, qorl_audit_aen_cbfn_t cbfn, void *user_data,
				     qor_audit_aen_data_t *data, qorl_audit_aen_cbhandle_t **cbhandle)
{
	return register_kind<audit_kind>(qorl, cbfn, user_data, 0, cbhandle,
					 key_fields(data, &qor_audit_aen_data_t::pwwn));
}

QORL_AEN_KIND_ENTRY_POINTS(audit)

} // extern "C"
