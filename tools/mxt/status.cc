// Failures, status names and what they mean to a user.
#include <string>

#include "mxt.h"

namespace mxt {

namespace {

#define MXT_STATUS_NAME(name, value) #name,
constexpr const char *status_names[] = {QOR_STATUS_LIST(MXT_STATUS_NAME)};
#undef MXT_STATUS_NAME
static_assert(sizeof status_names / sizeof *status_names == QOR_STATUS_MAX_VAL);

struct meaning_row {
	qor_status_t st;
	const char *text;
};

// What a user needs to know about the statuses a command is likely to meet.
constexpr meaning_row meanings[] = {
	{QOR_STATUS_OK, "success"},
	{QOR_STATUS_FAILED, "the operation failed"},
	{QOR_STATUS_EINVAL, "a value is not valid"},
	{QOR_STATUS_ENOMEM, "out of memory"},
	{QOR_STATUS_NODEV, "no such device"},
	{QOR_STATUS_UNKNOWN_LWWN, "no logical port with that WWN"},
	{QOR_STATUS_UNKNOWN_RWWN, "no remote port with that WWN"},
	{QOR_STATUS_UNSUPP_SPEED, "the port does not support that speed"},
	{QOR_STATUS_INVLD_DFSZ, "the frame size is not one the port takes"},
	{QOR_STATUS_CMD_NOTSUPP, "the controller does not support this request"},
	{QOR_STATUS_NO_ADAPTER, "no such adapter"},
	{QOR_STATUS_LINKDOWN, "the link is down"},
	{QOR_STATUS_PORT_OFFLINE, "the port is offline"},
	{QOR_STATUS_RPORT_OFFLINE, "the remote port is offline"},
	{QOR_STATUS_NO_FABRIC, "the port is not on a fabric"},
	{QOR_STATUS_NO_FCPIM_NEXUS, "no IT nexus: the remote port is not a target"},
	{QOR_STATUS_EBADF, "the driver node is not open"},
	{QOR_STATUS_EINTR, "interrupted"},
	{QOR_STATUS_EIO, "input/output error"},
	{QOR_STATUS_ENOTTY, "the driver does not know this request"},
	{QOR_STATUS_ENXIO, "the driver has no such instance"},
	{QOR_STATUS_EFOPEN, "a file could not be opened"},
	{QOR_STATUS_IOC_ENABLED, "the controller is already enabled"},
	{QOR_STATUS_IOC_DISABLED, "the controller is already disabled"},
	{QOR_STATUS_AD_IS_ENABLE, "the adapter is already enabled"},
	{QOR_STATUS_ADAPTER_ENABLED, "the adapter is already enabled"},
	{QOR_STATUS_ADAPTER_DISABLED, "the adapter is already disabled"},
	{QOR_STATUS_SAME_NAME, "the name is already in use"},
	{QOR_STATUS_VERSION_FAIL, "the driver's version check failed"},
	{QOR_STATUS_NO_DRIVER, "the adapter driver is not loaded"},
	{QOR_STATUS_TRUNK_UNSUPP, "the adapter does not support trunking"},
	{QOR_STATUS_TRUNK_ENABLED, "trunking is already enabled"},
	{QOR_STATUS_TRUNK_DISABLED, "trunking is already disabled"},
	{QOR_STATUS_NO_TOPOLOGY_FOR_CNA,
	 "converged adapters take no topology setting: their FCoE ports run point-to-point over Ethernet"},
	{QOR_STATUS_CMD_NOTSUPP_CNA, "converged adapters do not take this setting on their FCoE ports"},
	{QOR_STATUS_TRUNK_ERROR_TRL_ENABLED, "a port has target rate limiting on, which trunking does not allow"},
	{QOR_STATUS_NEED_PORTS_DISABLE, "the trunked ports must be disabled first"},
	{QOR_STATUS_CNFG_FAILED, "the driver refused the configuration"},
	{QOR_STATUS_IOC_FAILURE, "the controller failed"},
	{QOR_STATUS_IOC_NON_OP, "the controller is not operational"},
	{QOR_STATUS_IOPROFILE_OFF, "I/O profiling is off on this port"},
	{QOR_STATUS_NO_PORT_INSTANCE, "no such port"},
	{QOR_STATUS_ETIMER, "the driver timed out"},
	{QOR_STATUS_DEVBUSY, "busy: another update of every adapter is running in this program"},
	{QOR_STATUS_FLASH_BAD_LEN, "the image does not fit the partition"},
	{QOR_STATUS_CHECKSUM_FAIL, "the firmware image's checksum is wrong: it is not a valid image"},
	{QOR_STATUS_BAD_FILE, "not a boot image package, or a damaged one"},
	{QOR_STATUS_INVALID_DEVID, "not a device ID the update takes (0x13, 0x14, 0x17, 0x21)"},
	{QOR_STATUS_FILE_NOT_FOUND, "the package lacks a member its description names"},
	{QOR_STATUS_BOOT_VERSION, "a package of another version"},
	{QOR_STATUS_CARDTYPE_MISSING, "the package has no images for this adapter's card type"},
	{QOR_STATUS_BAD_BOOT_CODE, "an option ROM image of the package is damaged"},
};

} // namespace

const char *status_name(qor_status_t st)
{
	unsigned v = (unsigned)st;
	return v < QOR_STATUS_MAX_VAL ? status_names[v] : "QOR_STATUS_UNKNOWN";
}

std::string status_text(qor_status_t st)
{
	std::string s = "status " + std::to_string((unsigned)st) + " (" + status_name(st) + ")";
	for (auto &m : meanings)
		if (m.st == st)
			return s + ": " + m.text;
	return s;
}

void fail(const std::string &what)
{
	throw failure{what};
}

void fail_status(const std::string &what, qor_status_t st, const std::string &hint)
{
	std::string msg = what + ": " + status_text(st);
	if (!hint.empty())
		msg += "; " + hint;
	throw failure{msg, true, st};
}

void check(qor_status_t st, const std::string &what, const std::string &hint)
{
	if (st != QOR_STATUS_OK)
		fail_status(what, st, hint);
}

doc error_doc(const failure &f)
{
	doc e;
	e["status"] = f.has_status ? doc((unsigned)f.status) : doc();
	e["name"] = f.has_status ? doc(status_name(f.status)) : doc();
	e["message"] = f.message;
	if (!f.scsi.is_null())
		e["scsi"] = f.scsi;
	return {{"error", e}};
}

} // namespace mxt
