/*
 * Records of the event queue requests: fetch waiting events, announce the
 * application.
 */
#ifndef QOR_IOCTL_AEN_H
#define QOR_IOCTL_AEN_H

#include "qor_ioctl.h"
#include "../../defs/qor_defs_aen.h"

/* The largest number of events one fetch asks for. */
#define QOR_AEN_MAX_ENTRIES 64

/*
 * Declared with one entry; a fetch is sent with room for aen_count entries
 * and the driver takes the real extent from aen_count. The header differs
 * from qor_ioctl_gen_t: instance first, status fourth.
 */
typedef struct qor_ioctl_aen_s {
	int32_t qord_num;
	int32_t aen_count;
	uint32_t app_id; /* qor_aen_app_t */
	uint32_t status;
	uint32_t block;  /* qor_boolean_t */
	uint32_t rsvd;
	qor_aen_entry_t aen_list[1];
} qor_ioctl_aen_t;
QOR_CHECK_SIZE(qor_ioctl_aen_t, 88);
QOR_CHECK_OFF(qor_ioctl_aen_t, app_id, 8);
QOR_CHECK_OFF(qor_ioctl_aen_t, status, 12);
QOR_CHECK_OFF(qor_ioctl_aen_t, aen_list, 24);

#endif
