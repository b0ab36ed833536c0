/*
 * Audit event subscriptions (authentication changes, flash erase and
 * update), built like the other kinds of qorl_aen.h.
 */
#ifndef QORL_AUDIT_H
#define QORL_AUDIT_H

#include "qorl_aen.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*qorl_audit_aen_cbfn_t)(void *userData, qor_audit_aen_event_t event,
				      qor_audit_aen_data_t *data, qor_timeval_t tv);

typedef struct qorl_audit_aen_cbhandle_s {
	QORL_AEN_CBHANDLE_BODY(audit); /* key: pwwn */
} qorl_audit_aen_cbhandle_t;

/* Same results as the other kinds' registration and unregistration. */
qor_status_t qorl_audit_aen_register(qorl_t *qorl, qorl_audit_aen_cbfn_t cbfn, void *user_data,
				     qor_audit_aen_data_t *data, qorl_audit_aen_cbhandle_t **cbhandle);
qor_status_t qorl_audit_aen_unregister(qorl_audit_aen_cbhandle_t *cbhandle);
void qorl_audit_fd_collect(qorl_aen_fd_list_t *fd_list);
qor_status_t qorl_audit_event(uint16_t inst, qor_audit_aen_data_t *data,
			      qor_audit_aen_event_t eventType, qor_timeval_t tv);
/* QOR_STATUS_OK even when nobody subscribed. */
qor_status_t qorl_audit_windows_event(qorl_t *qorl, qor_audit_aen_data_t *data,
				      qor_audit_aen_event_t eventType, qor_timeval_t tv);

#ifdef __cplusplus
}
#endif

#endif
