/*
 * Request codes, one per line of qor_requests.def, each checked at build
 * time against its literal code. In C++ a code is a constant expression
 * (usable as a template argument); in C it is a const object, usable
 * wherever a value is (C enumerations cannot hold codes above INT_MAX).
 */
#ifndef QOR_REQUESTS_H
#define QOR_REQUESTS_H

#include "qor_ioctl.h"
#include "qor_ioctl_aen.h"
#include "qor_ioctl_ioc.h"
#include "qor_ioctl_port.h"
#include "qor_ioctl_lport.h"
#include "qor_ioctl_rport.h"
#include "qor_ioctl_itnim.h"
#include "qor_ioctl_fcpt.h"
#include "qor_ioctl_scsi.h"
#include "qor_ioctl_ethport.h"
#include "qor_ioctl_flash.h"

#ifdef __cplusplus
#define QOR_REQUEST_CODE_DECL constexpr uint32_t
#else
#define QOR_REQUEST_CODE_DECL static const uint32_t
#endif

#define QOR_REQUEST(name, type, nr, rec, side, target, effect, code, label) \
	QOR_REQUEST_CODE_DECL QOR_IOCTL_##name = QOR_IOCTL_CODE(type, nr, sizeof(rec)); \
	static_assert(QOR_IOCTL_CODE(type, nr, sizeof(rec)) == (code), "QOR_IOCTL_" #name " code");
#include "qor_requests.def"
#undef QOR_REQUEST
#undef QOR_REQUEST_CODE_DECL

#endif
