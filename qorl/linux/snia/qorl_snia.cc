// The SNIA HBA API onto the library's own operations: handles, attributes,
// statistics, link services, CT pass-through, events; and the CPQFC entry
// points. Records are the standard's, filled field by field.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "protocol/fc_ct.h"
#include "protocol/fc_els.h"
#include "protocol/scsi.h"
#include "qorl_adapter.h"
#include "qorl_aen.h"
#include "qorl_int.h"
#include "qorl_ioc.h"
#include "qorl_itnim.h"
#include "qorl_lport.h"
#include "qorl_port.h"
#include "qorl_rport.h"
#include "qorl_scsi.h"
#include "qorl_snia.h"
#include "qorl_snia_int.h"

// Speeds later revisions of the standard added; its header predates them.
#ifndef HBA_PORTSPEED_4GBIT
#define HBA_PORTSPEED_4GBIT 8
#endif
#ifndef HBA_PORTSPEED_8GBIT
#define HBA_PORTSPEED_8GBIT 16
#endif

static_assert(sizeof(HBA_WWN) == sizeof(wwn_t));
static_assert(sizeof(HBA_ADAPTERATTRIBUTES) == 2192);
static_assert(sizeof(HBA_PORTATTRIBUTES) == 632);
static_assert(sizeof(HBA_PORTSTATISTICS) == 120);
static_assert(sizeof(HBA_FC4STATISTICS) == 40);
static_assert(sizeof(HBA_EVENTINFO) == 20);
static_assert(sizeof(HBA_MGMTINFO) == 44);

QOR_CHECK_SIZE(CPQFC_ADAPTERATTRIBUTES, 2200);
QOR_CHECK_OFF(CPQFC_ADAPTERATTRIBUTES, NodeWWN, 640);
QOR_CHECK_OFF(CPQFC_ADAPTERATTRIBUTES, VendorSpecificID, 1928);
QOR_CHECK_OFF(CPQFC_ADAPTERATTRIBUTES, DriverName, 1936);
QOR_CHECK_OFF(CPQFC_ADAPTERATTRIBUTES, SubsystemID, 2192);
QOR_CHECK_OFF(CPQFC_ADAPTERATTRIBUTES, BusID, 2196);
QOR_CHECK_OFF(CPQFC_ADAPTERATTRIBUTES, DevFuncID, 2197);
QOR_CHECK_OFF(CPQFC_ADAPTERATTRIBUTES, DomainID, 2198);
QOR_CHECK_SIZE(CPQFC_PORTATTRIBUTES, 632);

// The CPQFC record begins with the SNIA adapter attributes, field for field.
#define QORL_CPQFC_SAME_(f) \
	static_assert(offsetof(CPQFC_ADAPTERATTRIBUTES, f) == offsetof(HBA_ADAPTERATTRIBUTES, f), #f);
QORL_CPQFC_SAME_(Manufacturer)
QORL_CPQFC_SAME_(SerialNumber)
QORL_CPQFC_SAME_(Model)
QORL_CPQFC_SAME_(ModelDescription)
QORL_CPQFC_SAME_(NodeWWN)
QORL_CPQFC_SAME_(NodeSymbolicName)
QORL_CPQFC_SAME_(HardwareVersion)
QORL_CPQFC_SAME_(DriverVersion)
QORL_CPQFC_SAME_(OptionROMVersion)
QORL_CPQFC_SAME_(FirmwareVersion)
QORL_CPQFC_SAME_(VendorSpecificID)
QORL_CPQFC_SAME_(NumberOfPorts)
QORL_CPQFC_SAME_(DriverName)
#undef QORL_CPQFC_SAME_

namespace qorl::snia {
std::atomic<uint32_t> totalnum{0};
}

namespace {

using qorl::snia::sub_kind;

// Every request of this layer: base fabric, 20 seconds, class 3.
constexpr uint16_t kVf = 0;
constexpr uint32_t kTimeout = 20;
constexpr uint32_t kFcpType = FC_TYPE_FCP;

// The layer's diagnostics: one line on standard error naming what failed.
void say(const char *fmt, ...)
{
	va_list ap;
	va_start(ap, fmt);
	vfprintf(stderr, fmt, ap);
	va_end(ap);
}

wwn_t wwn_of(const HBA_WWN &w)
{
	wwn_t v;
	std::memcpy(&v, w.wwn, sizeof v);
	return v;
}

HBA_WWN hba_wwn(wwn_t v)
{
	HBA_WWN w;
	std::memcpy(w.wwn, &v, sizeof w.wwn);
	return w;
}

// A port address as a number (0x011a00) from the form the driver stores.
uint32_t fcid_of(uint32_t stored)
{
	uint8_t b[3];
	fc_pid_to_wire(stored, b);
	return fc_get_be24(b);
}

// Handles are adapter numbers; anything else names no adapter.
int ad_of(HBA_HANDLE h)
{
	return h >= 1 && h <= 0x7fffffffu ? static_cast<int>(h) : 0;
}

qorl_t *first_ioc(HBA_HANDLE h)
{
	const int ad = ad_of(h);
	return ad ? qorl_adapter_get_port(ad) : nullptr;
}

// The adapter's first controller for a record to fill; why not, when not.
HBA_STATUS first_for(HBA_HANDLE h, const void *out, qorl_t *&q)
{
	q = first_ioc(h);
	if (!q)
		return HBA_STATUS_ERROR_INVALID_HANDLE;
	return out ? HBA_STATUS_OK : HBA_STATUS_ERROR_ARG;
}

qorl_t *port_by_index(HBA_HANDLE h, unsigned int portindex)
{
	const int ad = ad_of(h);
	qorl_adapter_t *a = ad ? qorl_adapter_get_by_idx(ad) : nullptr;
	return a && portindex <= 0x7fffffffu ? qorl_adapter_get_fcioc(a, static_cast<int>(portindex)) : nullptr;
}

qorl_t *port_by_wwn(HBA_HANDLE h, const HBA_WWN &w)
{
	const int ad = ad_of(h);
	return ad ? qorl_adapter_get_port_by_wwn(ad, wwn_of(w)) : nullptr;
}

// The remote ports a logical port lists, however many: asked with room for
// 512 and asked again with the room the driver says it needs (up to 65536).
struct rport_list {
	qorl::heap_ptr<wwn_t> v;
	uint32_t n = 0;
	const wwn_t *begin() const { return v.get(); }
	const wwn_t *end() const { return v.get() + n; }
};

qor_status_t get_rports(qorl_t *q, wwn_t pwwn, rport_list &l)
{
	constexpr uint32_t kFirst = 512, kMost = 65536;
	l.n = 0;
	for (uint32_t room = kFirst;;) {
		l.v = qorl::heap_alloc<wwn_t>(room * sizeof(wwn_t));
		if (!l.v)
			return QOR_STATUS_ENOMEM;
		uint32_t n = room;
		qor_status_t st = qorl_lport_get_rports(q, kVf, pwwn, l.v.get(), &n);
		const bool more = n > room && (st == QOR_STATUS_OK || st == QOR_STATUS_ENOMEM);
		if (more && room < kMost) {
			room = std::min(n, kMost);
			continue;
		}
		if (st != QOR_STATUS_OK && !more)
			return st;
		l.n = std::min(n, room); // past the most we ask for, the list is cut
		return QOR_STATUS_OK;
	}
}

// ---- conversions ----------------------------------------------------------------

template <class A> void fill_adapter(A &a, const qor_ioc_attr_t &ia, const qorl_t &q)
{
	qorl::copy_text(a.Manufacturer, ia.adapter_attr.manufacturer);
	qorl::copy_text(a.SerialNumber, ia.adapter_attr.serial_num);
	qorl::copy_text(a.Model, ia.adapter_attr.model);
	qorl::copy_text(a.ModelDescription, ia.adapter_attr.model_descr);
	a.NodeWWN = hba_wwn(q.nwwn);
	qorl::copy_text(a.NodeSymbolicName, ia.adapter_attr.node_symname);
	qorl::copy_text(a.HardwareVersion, ia.adapter_attr.hw_ver);
	qorl::copy_text(a.OptionROMVersion, ia.adapter_attr.optrom_ver);
	qorl::copy_text(a.FirmwareVersion, ia.adapter_attr.fw_ver);
	a.NumberOfPorts = ia.adapter_attr.nports;
	qorl::copy_text(a.DriverVersion, ia.driver_attr.driver_ver);
	qorl::copy_text(a.DriverName, ia.driver_attr.driver);
	a.VendorSpecificID = ia.pci_attr.vendor_id;
}

HBA_STATUS read_ioc_attr(qorl_t *q, qor_ioc_attr_t &ia)
{
	qor_status_t st = qorl_ioc_get_attr(q, &ia);
	if (st != QOR_STATUS_OK) {
		say("qorl_ioc_get_attr status %d \n", st);
		return HBA_STATUS_ERROR;
	}
	return HBA_STATUS_OK;
}

// A port found (or not) for a record to fill (or not), and its attributes.
HBA_STATUS read_port_attr(qorl_t *q, const void *out, qor_port_attr_t &attr)
{
	if (!q)
		return HBA_STATUS_ERROR_ILLEGAL_INDEX;
	if (!out)
		return HBA_STATUS_ERROR_ARG;
	qor_status_t st = qorl_port_get_attr(q, &attr);
	if (st != QOR_STATUS_OK) {
		say("qorl_port_get_attr status %d \n", st);
		return HBA_STATUS_ERROR;
	}
	return HBA_STATUS_OK;
}

// The port itself, by index or by WWN.
HBA_STATUS port_attributes(qorl_t *q, HBA_PORTATTRIBUTES *pa)
{
	qor_port_attr_t attr;
	if (HBA_STATUS s = read_port_attr(q, pa, attr))
		return s;
	qor_lport_attr_t lattr;
	wwn_t fabric = 0;
	qor_status_t st = qorl_lport_get_attr(q, kVf, attr.pwwn, &lattr);
	if (st != QOR_STATUS_OK)
		say("qorl_lport_get_attr status %d \n", st);
	else
		fabric = lattr.fabric_name;
	rport_list rl;
	st = get_rports(q, attr.pwwn, rl);
	if (st != QOR_STATUS_OK)
		say("qorl_lport_get_rports status %d \n", st);

	pa->NodeWWN = hba_wwn(attr.nwwn);
	pa->PortWWN = hba_wwn(attr.pwwn);
	pa->PortFcId = fcid_of(attr.pid);
	pa->PortType = qorl_port_type_convert(static_cast<qor_port_type_t>(attr.port_type));
	pa->PortState = qorl_port_state_convert(attr.port_state);
	pa->PortSupportedClassofService = attr.cos_supported;
	qorl_port_set_fc4type(reinterpret_cast<uint32_t *>(pa->PortSupportedFc4Types.bits));
	qorl_port_set_fc4type(reinterpret_cast<uint32_t *>(pa->PortActiveFc4Types.bits));
	qorl::copy_text(pa->PortSymbolicName, attr.port_symname.symname);
	qorl::copy_text(pa->OSDeviceName, q->devpath, 64);
	pa->PortSupportedSpeed = qorl_port_speed_convert(attr.speed_supported);
	pa->PortSpeed = qorl_port_speed_convert(attr.speed);
	pa->PortMaxFrameSize = attr.pport_cfg.maxfrsize;
	pa->FabricName = hba_wwn(fabric);
	pa->NumberofDiscoveredPorts = st == QOR_STATUS_OK ? rl.n : 0;
	return HBA_STATUS_OK;
}

// ---- statistics -------------------------------------------------------------------

using PS = HBA_PORTSTATISTICS;

// A counter pair feeding a SNIA field: set to it (shifted), or added to it.
struct stat_row {
	HBA_INT64 PS::*field;
	const char *name;
	int shift = 0;
	bool add = false;
};

constexpr stat_row kFcStats[] = {
	{&PS::SecondsSinceLastReset, "Seconds since stats is reset"},
	{&PS::TxFrames, "Tx frames"},
	{&PS::TxWords, "Tx words"},
	{&PS::RxFrames, "Rx frames"},
	{&PS::RxWords, "Rx words"},
	{&PS::LIPCount, "Rx LIP"},
	{&PS::NOSCount, "Rx NOS"},
	{&PS::ErrorFrames, "Errored frames"},
	{&PS::DumpedFrames, "Dropped frames"},
	{&PS::LinkFailureCount, "Link Failure (LF) count"},
	{&PS::LossOfSyncCount, "Loss of sync count"},
	{&PS::LossOfSignalCount, "Loss of signal count"},
	{&PS::PrimitiveSeqProtocolErrCount, "Primitive sequence protocol err."},
	{&PS::InvalidTxWordCount, "Encoding err nonframe_8b10b"},
	{&PS::InvalidCRCCount, "Rx CRC err frames"},
};

constexpr stat_row kEthStats[] = {
	{&PS::SecondsSinceLastReset, "Seconds since stats is reset"},
	{&PS::TxFrames, "Tx packets"},
	{&PS::TxWords, "Tx bytes", 2},
	{&PS::RxFrames, "Rx packets"},
	{&PS::RxWords, "Rx bytes", 2},
	{&PS::ErrorFrames, "Rx alignment errors", 0, true},
	{&PS::ErrorFrames, "Rx frame len errors", 0, true},
	{&PS::ErrorFrames, "Rx code errors", 0, true},
	{&PS::DumpedFrames, "Tx drops", 0, true},
	{&PS::DumpedFrames, "Rx drops", 0, true},
	{&PS::InvalidCRCCount, "Rx jabber", 0, true},
	{&PS::InvalidCRCCount, "Rx FCS errors", 0, true},
	{&PS::InvalidCRCCount, "Rx fragments", 0, true},
	{&PS::InvalidCRCCount, "Tx jabber", 0, true},
	{&PS::InvalidCRCCount, "Tx FCS errors", 0, true},
	{&PS::InvalidCRCCount, "Tx fragments", 0, true},
};

// What an Ethernet port has no counter for, and the sums, start from 0.
constexpr HBA_INT64 PS::*kEthZeroed[] = {
	&PS::LIPCount,	       &PS::NOSCount,	     &PS::LinkFailureCount,
	&PS::LossOfSyncCount,  &PS::LossOfSignalCount, &PS::PrimitiveSeqProtocolErrCount,
	&PS::InvalidTxWordCount, &PS::ErrorFrames,   &PS::DumpedFrames,
	&PS::InvalidCRCCount,
};

// Which row, if any, each pair of a statistics table feeds: the pairs come
// in the order of the library's name table, so the names are compared once.
struct stat_map {
	const stat_row *row[QORL_PORT_ETH_STATS_COUNT] = {};
};

template <size_t N> stat_map map_rows(const char *const *names, int count, const stat_row (&rows)[N])
{
	stat_map m;
	for (int i = 0; i < count; i++)
		for (const stat_row &r : rows)
			if (std::strcmp(names[i], r.name) == 0)
				m.row[i] = &r;
	return m;
}

// The port's counters as SNIA statistics; false (with the message) when
// they cannot be read.
bool read_port_stats(qorl_t *q, PS &out, const char *fail_fmt)
{
	static const stat_map fc_map = map_rows(qorl_port_fc_stats, QORL_PORT_FC_STATS_COUNT, kFcStats);
	static const stat_map eth_map = map_rows(qorl_port_eth_stats, QORL_PORT_ETH_STATS_COUNT, kEthStats);
	qorl_stats_long_t pairs[QORL_PORT_ETH_STATS_COUNT];
	qor_status_t st = qorl_port_get_stats(q, pairs);
	if (st != QOR_STATUS_OK) {
		say(fail_fmt, st);
		return false;
	}
	const bool fc = q->ioc_type == QOR_IOC_TYPE_FC;
	const int n = fc ? QORL_PORT_FC_STATS_COUNT : QORL_PORT_ETH_STATS_COUNT;
	const stat_map &m = fc ? fc_map : eth_map;
	if (!fc)
		for (auto f : kEthZeroed)
			out.*f = 0;
	for (int i = 0; i < n; i++) {
		const stat_row *r = m.row[i];
		if (!r)
			continue;
		const auto v = static_cast<HBA_INT64>(pairs[i].value >> r->shift);
		out.*r->field = r->add ? out.*r->field + v : v;
	}
	return true;
}

// A buffer and its size: there is a size, and a buffer unless the size is 0.
bool size_args_ok(const void *buf, const HBA_UINT32 *size)
{
	return size && (buf || *size == 0);
}

// ---- FCP target mapping ------------------------------------------------------------------

// REPORT LUNS of one target into the library's buffer: the number of LUNs
// it holds (the library's report never claims more than that), 0 when the
// command failed.
struct lun_report {
	qorl::heap_ptr<uint8_t> buf;
	uint32_t n = 0;
	const uint8_t *lun(uint32_t i) const { return buf.get() + SCSI_REPORT_LUNS_HDR_LEN + i * SCSI_LUN_LEN; }
	uint32_t bytes() const { return n * SCSI_LUN_LEN + SCSI_REPORT_LUNS_HDR_LEN; }
};

qor_status_t report_luns(qorl_t *q, wwn_t lpwwn, wwn_t rpwwn, uint8_t *scsi, void *sense, uint32_t *snssz,
			 lun_report &r)
{
	scsi_cdb_t cdb{};
	void *buf = nullptr;
	qor_status_t st = qorl_scsi_reportluns(q, kVf, lpwwn, rpwwn, 0, &cdb, 0, &buf, 0, scsi, sense, snssz);
	r.buf.reset(static_cast<uint8_t *>(buf));
	if (st == QOR_STATUS_OK && *scsi == SCSI_STATUS_GOOD && r.buf)
		r.n = fc_get_be32(r.buf.get()) / SCSI_LUN_LEN;
	return st;
}

// Every logical unit behind the targets of the controller's port, in list
// order: emit(i, entry) for the first `room` of them (their device names
// are looked up only then); *nmaps the number there are.
template <class Emit> qor_status_t fcp_mapping(qorl_t *q, uint32_t room, uint32_t *nmaps, Emit &&emit)
{
	qor_ioctl_ioc_info_t info;
	qor_status_t st = qorl_ioc_get_info(q, &info);
	if (st != QOR_STATUS_OK)
		return st;
	const wwn_t lpwwn = info.pwwn;
	rport_list rl;
	st = get_rports(q, lpwwn, rl);
	if (st != QOR_STATUS_OK)
		return st;
	uint32_t n = 0;
	qor_port_fcpmap_t e;
	for (wwn_t r : rl) {
		qor_rport_attr_t ra;
		uint32_t host, bus, target;
		if (qorl_rport_get_attr(q, kVf, lpwwn, r, &ra) != QOR_STATUS_OK || ra.scsi_function != QOR_RPORT_TARGET ||
		    qorl_rport_get_scsi_address(q, kVf, lpwwn, r, &host, &bus, &target) != QOR_STATUS_OK)
			continue;
		uint8_t scsi = 0, sense[256] = {};
		uint32_t snssz = sizeof sense;
		lun_report rep;
		if (report_luns(q, lpwwn, r, &scsi, sense, &snssz, rep) != QOR_STATUS_OK || scsi != SCSI_STATUS_GOOD) {
			printf("Report Luns failed \n");
			if (scsi != SCSI_STATUS_GOOD)
				printf("\tASC = %02x and ASCQ = %02x\n", sense[12], sense[13]);
		}
		// A target without a list is listed once, with LUN 0.
		static const uint8_t kLun0[SCSI_LUN_LEN] = {};
		const uint32_t luns = rep.n ? rep.n : 1;
		for (uint32_t i = 0; i < luns; i++, n++) {
			if (n >= room)
				continue;
			const uint8_t *lun = rep.n ? rep.lun(i) : kLun0;
			std::memset(&e, 0, sizeof e);
			e.oslun = scsi_lun_number(lun);
			char *name = e.osdevname; // the lookup writes at most QORL_OSNAME_LEN bytes
			uint32_t ndev;
			(void)qorl_get_osname(host, bus, target, e.oslun, &name, &ndev);
			e.bus = bus;
			e.target = target;
			e.fcid = fcid_of(ra.pid);
			e.nwwn = ra.nwwn;
			e.pwwn = ra.pwwn;
			std::memcpy(&e.fcplun, lun, sizeof e.fcplun);
			emit(n, e);
		}
	}
	*nmaps = n;
	return QOR_STATUS_OK;
}

template <class Entry> void fill_entry(Entry &out, const qor_port_fcpmap_t &e)
{
	std::memset(&out, 0, sizeof out); // LUID (version 2) stays zero
	qorl::copy_text(out.ScsiId.OSDeviceName, e.osdevname);
	out.ScsiId.ScsiBusNumber = e.bus;
	out.ScsiId.ScsiTargetNumber = e.target;
	out.ScsiId.ScsiOSLun = e.oslun;
	out.FcpId.FcId = e.fcid;
	out.FcpId.NodeWWN = hba_wwn(e.nwwn);
	out.FcpId.PortWWN = hba_wwn(e.pwwn);
	std::memcpy(&out.FcpId.FcpLun, &e.fcplun, sizeof out.FcpId.FcpLun);
}

// The mapping into the caller's record, which has room for NumberOfEntries.
template <class Mapping> HBA_STATUS target_mapping(qorl_t *q, Mapping *m)
{
	const uint32_t room = m->NumberOfEntries;
	uint32_t n = 0;
	qor_status_t st = fcp_mapping(q, room, &n, [&](uint32_t i, const qor_port_fcpmap_t &e) { fill_entry(m->entry[i], e); });
	if (st != QOR_STATUS_OK)
		return st;
	m->NumberOfEntries = n;
	return n > room ? HBA_STATUS_ERROR_MORE_DATA : HBA_STATUS_OK;
}

// ---- SCSI commands --------------------------------------------------------------------------

// The two outcomes every SCSI request reports the same way.
HBA_STATUS scsi_outcome(qor_status_t st, uint8_t scsi, const char *fail_fmt, const char *scsi_fmt,
			const uint8_t *sense, uint32_t snssz)
{
	if (st != QOR_STATUS_OK) {
		say(fail_fmt, st);
		return HBA_STATUS_ERROR;
	}
	if (scsi == SCSI_STATUS_GOOD)
		return HBA_STATUS_OK;
	say(scsi_fmt, scsi);
	if (sense)
		say("\tASC = %02x and ASCQ = %02x\n", snssz > 12 ? sense[12] : 0, snssz > 13 ? sense[13] : 0);
	return HBA_STATUS_SCSI_CHECK_CONDITION;
}

// Version 1: the local port is the one that logged the remote port in; the
// sense size stays private.
template <class Send>
HBA_STATUS scsi_v1(HBA_HANDLE h, const HBA_WWN &rport, const void *rsp, HBA_UINT32 rspsz, void *sense,
		   HBA_UINT32 snssz, const char *fail_fmt, const char *scsi_fmt, bool asc, Send &&send)
{
	qorl_t *q = qorl_get_lport_for_rport(h, rport);
	if (!q)
		return HBA_STATUS_ERROR_INVALID_HANDLE;
	if (!size_args_ok(rsp, &rspsz))
		return HBA_STATUS_ERROR_ARG;
	uint32_t sn = sense ? snssz : 0;
	uint8_t scsi = SCSI_STATUS_GOOD;
	qor_status_t st = send(q, q->pwwn, &scsi, sense, &sn);
	return scsi_outcome(st, scsi, fail_fmt, scsi_fmt, asc ? static_cast<const uint8_t *>(sense) : nullptr, sn);
}

// Version 2: the local port named by WWN; the SCSI status and the sense
// length go back to the caller.
template <class Send>
HBA_STATUS scsi_v2(HBA_HANDLE h, const HBA_WWN &port, const void *rsp, const HBA_UINT32 *rspsz, HBA_UINT8 *pscsi,
		   void *sense, HBA_UINT32 *snssz, Send &&send)
{
	qorl_t *q = port_by_wwn(h, port);
	if (!q)
		return HBA_STATUS_ERROR_ILLEGAL_WWN;
	if (!size_args_ok(rsp, rspsz))
		return HBA_STATUS_ERROR_ARG;
	uint32_t none = 0;
	uint32_t *sn = sense && snssz ? snssz : &none;
	uint8_t scsi = SCSI_STATUS_GOOD;
	qor_status_t st = send(q, wwn_of(port), &scsi, sense, sn);
	if (st == QOR_STATUS_OK && pscsi)
		*pscsi = scsi;
	return scsi_outcome(st, scsi, "status is %d \n", "scsi status is %x \n", nullptr, 0);
}

// REPORT LUNS into the caller's buffer: the report, at most its room; the
// library's buffer is freed on every path.
qor_status_t report_into(qorl_t *q, wwn_t lpwwn, wwn_t rpwwn, void *rsp, HBA_UINT32 room, HBA_UINT32 *copied,
			 uint8_t *scsi, void *sense, uint32_t *snssz)
{
	lun_report rep;
	qor_status_t st = report_luns(q, lpwwn, rpwwn, scsi, sense, snssz, rep);
	*copied = 0;
	if (st == QOR_STATUS_OK && *scsi == SCSI_STATUS_GOOD && rep.buf) {
		*copied = std::min(room, rep.bytes());
		std::memcpy(rsp, rep.buf.get(), *copied);
	}
	return st;
}

// ---- link services and CT -------------------------------------------------------------

// Who a link service goes to: a remote port of the local port, or (SRL)
// the domain controller of a domain.
struct ls_route {
	qorl_t *q;
	wwn_t attr_local; // local WWN for the remote port lookup; 0: the port's own
	wwn_t send_local; // local WWN the frame goes from; 0: the port's own
	wwn_t dest;       // destination WWN given to the pass-through
	bool domain = false;
	uint32_t domain_id = 0;
};

// The steps every link service shares: the local port's address, the
// remote port's, the frame header, the exchange. Library statuses are
// handed on for attribute failures and missing addresses.
HBA_STATUS send_ls(const ls_route &r, const fc_ls_req8_t &req, void *rsp, HBA_UINT32 *rspsz)
{
	if (!size_args_ok(rsp, rspsz))
		return HBA_STATUS_ERROR_ARG;
	qor_port_attr_t pa;
	qor_status_t st = qorl_port_get_attr(r.q, &pa);
	if (st != QOR_STATUS_OK)
		return st;
	qor_rport_attr_t ra{};
	if (!r.domain) {
		st = qorl_rport_get_attr(r.q, kVf, r.attr_local ? r.attr_local : pa.pwwn, r.dest, &ra);
		if (st != QOR_STATUS_OK)
			return st;
	}
	if (pa.pid == 0)
		return QOR_STATUS_PORT_OFFLINE;
	if (!r.domain && ra.pid == 0)
		return QOR_STATUS_RPORT_OFFLINE;
	uint8_t d_id[3], s_id[3];
	if (r.domain)
		fc_put_be24(d_id, FC_DOMAIN_CONTROLLER | (r.domain_id & 0xffu));
	else
		fc_pid_to_wire(ra.pid, d_id);
	fc_pid_to_wire(pa.pid, s_id);
	fchs_t h;
	fc_req_fchdr_build(&h, FC_RCTL_ELS_REQ, d_id, s_id, FC_TYPE_ELS);
	fc_ls_req8_t payload = req;
	st = qorl_fcpt(r.q, kVf, r.send_local ? r.send_local : pa.pwwn, r.dest, kTimeout, QOR_FALSE, FC_CLASS_3, &h,
		       &payload, sizeof payload, rsp, rspsz);
	if (st != QOR_STATUS_OK) {
		say("status is %d \n", st);
		return HBA_STATUS_ERROR;
	}
	return HBA_STATUS_OK;
}

fc_ls_req8_t ls_req(uint8_t cmd, uint8_t p0 = 0, uint8_t p1 = 0)
{
	fc_ls_req8_t r{};
	r.els_cmd = cmd;
	r.param[0] = p0;
	r.param[1] = p1;
	return r;
}

// A CT unit the caller built, to the management server.
HBA_STATUS send_ct(qorl_t *q, wwn_t local, void *req, HBA_UINT32 reqsz, void *rsp, HBA_UINT32 *rspsz,
		   const char *fail_fmt)
{
	if (!size_args_ok(req, &reqsz) || !size_args_ok(rsp, rspsz))
		return HBA_STATUS_ERROR_ARG;
	qor_port_attr_t pa;
	qor_status_t st = qorl::port_address(q, pa);
	if (st != QOR_STATUS_OK)
		return st;
	uint8_t d_id[3], s_id[3];
	fc_put_be24(d_id, FC_MANAGEMENT_SERVER);
	fc_pid_to_wire(pa.pid, s_id);
	fchs_t h;
	fc_req_fchdr_build(&h, FC_RCTL_FC4_UNSOL_CTL, d_id, s_id, FC_TYPE_SERVICES);
	st = qorl_fcpt(q, kVf, local ? local : pa.pwwn, 0, kTimeout, QOR_FALSE, FC_CLASS_3, &h, req, reqsz, rsp,
		       rspsz);
	if (st != QOR_STATUS_OK) {
		say(fail_fmt, st);
		return HBA_STATUS_ERROR;
	}
	return HBA_STATUS_OK;
}

// ---- events ---------------------------------------------------------------------------

// A SNIA callback kept as the subscription's callback: its arguments are
// the library's SNIA form (an HBA_WWN travels like the wwn_t it holds).
template <class To, class From> To as_native(From f)
{
	return reinterpret_cast<To>(reinterpret_cast<void (*)(void)>(f));
}

template <class Reg> HBA_STATUS subscribe(sub_kind k, HBA_CALLBACKHANDLE *out, Reg reg)
{
	if (!out)
		return HBA_STATUS_ERROR_ARG;
	void *h = nullptr;
	if (reg(&h) != QOR_STATUS_OK)
		return HBA_STATUS_ERROR;
	if (!qorl::snia::track(h, k)) {
		qorl::snia::unsubscribe(h, k);
		return HBA_STATUS_ERROR;
	}
	*out = h;
	return HBA_STATUS_OK;
}

// Persistent binding is not supported: a known port says so, nothing is
// stored and no record is written.
HBA_STATUS binding_refused(HBA_HANDLE handle, const HBA_WWN &port)
{
	return port_by_wwn(handle, port) ? HBA_STATUS_ERROR_NOT_SUPPORTED : HBA_STATUS_ERROR_ILLEGAL_WWN;
}

// Events fetched per request, whatever the caller's room.
constexpr HBA_UINT32 kEventBatch = QOR_AEN_MAX_ENTRIES;

} // namespace

namespace qorl::snia {

qor_status_t unsubscribe(void *h, sub_kind k)
{
	switch (k) {
	case sub_kind::adapter:
		return qorl_adapter_aen_unregister(static_cast<qorl_adapter_aen_cbhandle_t *>(h));
	case sub_kind::lport:
		return qorl_lport_aen_unregister(static_cast<qorl_lport_aen_cbhandle_t *>(h));
	case sub_kind::itnim:
		return qorl_itnim_aen_unregister(static_cast<qorl_itnim_aen_cbhandle_t *>(h));
	}
	return QOR_STATUS_FAILED;
}

} // namespace qorl::snia

extern "C" {

// ---- handles, names, library attributes ---------------------------------------------

HBA_UINT32 qorl_adapter_get_number(void)
{
	return qorl::snia::totalnum.load();
}

HBA_UINT32 qorl_adapter_get_init(void)
{
	const int n = qorl_adapter_scan();
	if (n > 0) {
		qorl::snia::totalnum.store(static_cast<uint32_t>(n));
		return static_cast<HBA_UINT32>(n);
	}
	say("No Adapter Found!\n");
	return 0;
}

HBA_STATUS qorl_get_name(unsigned int adapterindex, char *adaptername)
{
	if (!adaptername)
		return HBA_STATUS_ERROR_ARG;
	const HBA_UINT32 handle = adapterindex + 1u;
	if (adapterindex >= qorl::snia::totalnum.load() || handle == 0)
		return HBA_STATUS_ERROR_ILLEGAL_INDEX;
	qorl_t *q = first_ioc(handle);
	if (!q)
		return HBA_STATUS_ERROR_INVALID_HANDLE;
	qorl_adapter_update_ioc(handle, q);
	const char *name = qorl_adapter_get_name(handle);
	if (!name || !*name)
		name = qorl_adapter_get_serial_num_by_idx(static_cast<uint16_t>(handle));
	// The standard's name buffer holds 256 characters; ours are at most 64.
	std::snprintf(adaptername, 256, "%s", name ? name : "");
	return HBA_STATUS_OK;
}

HBA_HANDLE qorl_open_by_name(char *adaptername)
{
	if (!adaptername) {
		say("adapter name is NULL\n");
		return 0;
	}
	const int ad = qorl_adapter_open_by_name(adaptername);
	return ad > 0 ? static_cast<HBA_HANDLE>(ad) : 0;
}

HBA_STATUS qorl_open_by_wwn(HBA_WWN wwn, HBA_HANDLE *handle)
{
	if (!handle)
		return HBA_STATUS_ERROR_ARG;
	const int ad = qorl_adapter_open_by_wwn(wwn_of(wwn));
	if (ad <= 0)
		return HBA_STATUS_ERROR_ILLEGAL_WWN;
	*handle = static_cast<HBA_HANDLE>(ad);
	return HBA_STATUS_OK;
}

void qorl_close(HBA_HANDLE) {}

void qorl_adapter_refresh_information(HBA_HANDLE) {}

HBA_UINT32 qorl_vendor_lib_get_attributes(HBA_LIBRARYATTRIBUTES *attributes)
{
	if (!attributes)
		return 1;
	std::memset(attributes, 0, sizeof *attributes);
	attributes->final = 0;
	std::snprintf(attributes->VName, sizeof attributes->VName, "%s", "Kestrun");
	std::snprintf(attributes->VVersion, sizeof attributes->VVersion, "%s", "Version 1.0");
	return 1;
}

// ---- attributes and statistics -----------------------------------------------------------

HBA_STATUS qorl_adapter_get_attributes(HBA_HANDLE handle, PHBA_ADAPTERATTRIBUTES hbaattributes)
{
	qorl_t *q;
	if (HBA_STATUS s = first_for(handle, hbaattributes, q))
		return s;
	qor_ioc_attr_t ia;
	if (HBA_STATUS s = read_ioc_attr(q, ia))
		return s;
	fill_adapter(*hbaattributes, ia, *q);
	return HBA_STATUS_OK;
}

HBA_STATUS qorl_port_get_attributes(HBA_HANDLE handle, unsigned int portindex, HBA_PORTATTRIBUTES *portattributes)
{
	return port_attributes(port_by_index(handle, portindex), portattributes);
}

HBA_STATUS qorl_port_get_attributes_by_wwn(HBA_HANDLE handle, HBA_WWN PortWWN, HBA_PORTATTRIBUTES *portattributes)
{
	return port_attributes(port_by_wwn(handle, PortWWN), portattributes);
}

HBA_STATUS qorl_rport_get_attributes(HBA_HANDLE handle, unsigned int portindex, unsigned int discoveredportindex,
				     HBA_PORTATTRIBUTES *portattributes)
{
	qorl_t *q = port_by_index(handle, portindex);
	qor_port_attr_t attr;
	if (HBA_STATUS s = read_port_attr(q, portattributes, attr))
		return s;
	rport_list rl;
	qor_status_t st = get_rports(q, attr.pwwn, rl);
	if (st != QOR_STATUS_OK) {
		say("qorl_lport_get_rports status %d \n", st);
		return HBA_STATUS_ERROR;
	}
	portattributes->NumberofDiscoveredPorts = rl.n;
	if (discoveredportindex >= rl.n)
		return HBA_STATUS_ERROR_ILLEGAL_INDEX;
	qor_rport_attr_t ra;
	st = qorl_rport_get_attr(q, kVf, attr.pwwn, rl.v.get()[discoveredportindex], &ra);
	if (st != QOR_STATUS_OK) {
		say("qorl_rport_get_attr status %d \n", st);
		return HBA_STATUS_ERROR;
	}
	HBA_PORTATTRIBUTES &pa = *portattributes;
	pa.NodeWWN = hba_wwn(ra.nwwn);
	pa.PortWWN = hba_wwn(ra.pwwn);
	pa.PortFcId = fcid_of(ra.pid);
	pa.PortType = 0;
	pa.PortState = qorl_port_state_convert(ra.state);
	pa.PortSupportedClassofService = ra.cos_supported;
	std::memset(&pa.PortSupportedFc4Types, 0, sizeof pa.PortSupportedFc4Types);
	std::memset(&pa.PortActiveFc4Types, 0, sizeof pa.PortActiveFc4Types);
	qorl::copy_text(pa.PortSymbolicName, ra.symname.symname, 128);
	pa.PortSupportedSpeed = 0;
	pa.PortSpeed = qorl_port_speed_convert(ra.curr_speed);
	pa.PortMaxFrameSize = ra.df_sz;
	pa.FabricName = hba_wwn(0);
	return HBA_STATUS_OK;
}

HBA_STATUS qorl_port_get_statistics(HBA_HANDLE handle, unsigned int portindex, HBA_PORTSTATISTICS *portstatistics)
{
	qorl_t *q = port_by_index(handle, portindex);
	if (!q)
		return HBA_STATUS_ERROR_ILLEGAL_INDEX;
	if (!portstatistics)
		return HBA_STATUS_ERROR_ARG;
	return read_port_stats(q, *portstatistics, "1. qorl_port_get_stats status %d \n") ? HBA_STATUS_OK
											 : HBA_STATUS_ERROR;
}

void qorl_port_reset_statistics(HBA_HANDLE handle, unsigned int portindex)
{
	qorl_t *q = port_by_index(handle, portindex);
	if (!q)
		return;
	qor_status_t st = qorl_port_reset_stats(q);
	if (st != QOR_STATUS_OK)
		say("Statistics Reset Error %d \n", st);
}

HBA_STATUS qorl_port_get_fc4_statistics(HBA_HANDLE handle, HBA_WWN portWWN, unsigned char FC4type,
					HBA_FC4STATISTICS *pstatistics)
{
	if (FC4type != kFcpType)
		return HBA_STATUS_ERROR_NOT_SUPPORTED;
	qorl_t *q = port_by_wwn(handle, portWWN);
	if (!q)
		return HBA_STATUS_ERROR_ILLEGAL_INDEX;
	if (!pstatistics)
		return HBA_STATUS_ERROR_ARG;
	const wwn_t lpwwn = wwn_of(portWWN);
	rport_list rl;
	if (get_rports(q, lpwwn, rl) != QOR_STATUS_OK)
		return HBA_STATUS_ERROR;
	HBA_FC4STATISTICS &s = *pstatistics;
	s.InputRequests = s.OutputRequests = s.ControlRequests = 0;
	struct {
		HBA_INT64 HBA_FC4STATISTICS::*field;
		const char *name;
	} const wanted[] = {
		{&HBA_FC4STATISTICS::InputRequests, "Data in-bound requests"},
		{&HBA_FC4STATISTICS::OutputRequests, "Data out-bound requests"},
		{&HBA_FC4STATISTICS::ControlRequests, "TM Requests"},
	};
	for (wwn_t r : rl) {
		qorl_stats_t io[QORL_ITNIM_IOSTATS_COUNT];
		if (qorl_itnim_get_iostats(q, kVf, lpwwn, r, io) != QOR_STATUS_OK)
			continue;
		size_t found = 0;
		for (int i = 0; i < QORL_ITNIM_IOSTATS_COUNT && found < std::size(wanted); i++)
			for (const auto &w : wanted)
				if (std::strcmp(io[i].name, w.name) == 0) {
					s.*w.field += io[i].value;
					found++;
				}
	}
	HBA_PORTSTATISTICS ps{};
	if (!read_port_stats(q, ps, "qorl_port_get_stats status %d \n"))
		return HBA_STATUS_ERROR;
	s.InputMegabytes = ps.RxWords >> 20;
	s.OutputMegabytes = ps.TxWords >> 20;
	return HBA_STATUS_OK;
}

HBA_STATUS qorl_port_get_fcp_statistics(HBA_HANDLE handle, const HBA_SCSIID *, HBA_FC4STATISTICS *pstatistics)
{
	qorl_t *q = first_ioc(handle);
	if (!q)
		return HBA_STATUS_ERROR_ILLEGAL_INDEX;
	return qorl_port_get_fc4_statistics(handle, hba_wwn(q->pwwn), kFcpType, pstatistics);
}

HBA_PORTTYPE qorl_port_type_convert(qor_port_type_t type)
{
	switch (type) {
	case QOR_PORT_TYPE_NPORT:
		return HBA_PORTTYPE_NPORT;
	case QOR_PORT_TYPE_NLPORT:
		return HBA_PORTTYPE_NLPORT;
	case QOR_PORT_TYPE_LPORT:
		return HBA_PORTTYPE_LPORT;
	case QOR_PORT_TYPE_P2P:
		return HBA_PORTTYPE_PTP;
	case QOR_PORT_TYPE_VPORT:
		return HBA_PORTTYPE_OTHER;
	default:
		return HBA_PORTTYPE_UNKNOWN;
	}
}

HBA_PORTSTATE qorl_port_state_convert(uint32_t port_state)
{
	// One table for port and remote-port states, by number.
	switch (port_state) {
	case 1: // QOR_PORT_ST_UNINIT, QOR_RPORT_OFFLINE
	case 8: // QOR_PORT_ST_DISABLED, QOR_RPORT_LOGORCV
		return HBA_PORTSTATE_OFFLINE;
	case 3: // QOR_PORT_ST_ENABLING, QOR_RPORT_ONLINE
	case 5: // QOR_PORT_ST_LINKUP, QOR_RPORT_NSQUERY
		return HBA_PORTSTATE_ONLINE;
	case 4: // QOR_PORT_ST_LINKDOWN, QOR_RPORT_PLOGI_RETRY
		return HBA_PORTSTATE_LINKDOWN;
	default:
		return HBA_PORTSTATE_UNKNOWN;
	}
}

HBA_PORTSPEED qorl_port_speed_convert(uint32_t port_speed)
{
	switch (port_speed) {
	case QOR_PORT_SPEED_1GBPS:
		return HBA_PORTSPEED_1GBIT;
	case QOR_PORT_SPEED_2GBPS:
		return HBA_PORTSPEED_2GBIT;
	case QOR_PORT_SPEED_4GBPS:
		return HBA_PORTSPEED_4GBIT;
	case QOR_PORT_SPEED_8GBPS:
		return HBA_PORTSPEED_8GBIT;
	case QOR_PORT_SPEED_10GBPS:
		return HBA_PORTSPEED_10GBIT;
	default:
		return HBA_PORTSPEED_UNKNOWN;
	}
}

void qorl_port_set_fc4type(uint32_t *fc4)
{
	if (!fc4)
		return;
	uint32_t w;
	std::memcpy(&w, fc4, sizeof w);
	w |= 1u << kFcpType;
	std::memcpy(fc4, &w, sizeof w);
}

// ---- FCP target mapping ---------------------------------------------------------------------

qor_status_t qorl_port_get_fcpmapping(qorl_t *qorl, qor_port_fcpmap_t *map, uint32_t room, uint32_t *nmaps)
{
	if (!qorl || !nmaps || (!map && room))
		return QOR_STATUS_EINVAL;
	return fcp_mapping(qorl, room, nmaps, [&](uint32_t i, const qor_port_fcpmap_t &e) { map[i] = e; });
}

HBA_STATUS qorl_port_get_fcp_target_mapping(HBA_HANDLE handle, HBA_FCPTARGETMAPPING *pmapping)
{
	qorl_t *q;
	if (HBA_STATUS s = first_for(handle, pmapping, q))
		return s;
	return target_mapping(q, pmapping);
}

HBA_STATUS qorl_port_get_fcp_target_mapping_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN,
					       HBA_FCPTARGETMAPPINGV2 *pmapping)
{
	qorl_t *q = port_by_wwn(handle, hbaPortWWN);
	if (!q)
		return HBA_STATUS_ERROR_ILLEGAL_WWN;
	if (!pmapping)
		return HBA_STATUS_ERROR_ARG;
	return target_mapping(q, pmapping);
}

// ---- SCSI commands ----------------------------------------------------------------------------

HBA_STATUS qorl_send_scsi_inquiry(HBA_HANDLE handle, HBA_WWN PortWWN, HBA_UINT64 fcLUN, HBA_UINT8 EVPD,
				  HBA_UINT32 PageCode, void *pRspBuffer, HBA_UINT32 RspBufferSize,
				  void *pSenseBuffer, HBA_UINT32 SenseBufferSize)
{
	return scsi_v1(handle, PortWWN, pRspBuffer, RspBufferSize, pSenseBuffer, SenseBufferSize,
		       " qorl_scsi_cmnd in inquiry status is %d \n", "scsi status is %x \n", false,
		       [&](qorl_t *q, wwn_t l, uint8_t *scsi, void *sense, uint32_t *sn) {
			       scsi_cdb_t cdb{};
			       cdb.scsi_cdb[1] = EVPD;
			       cdb.scsi_cdb[2] = static_cast<uint8_t>(PageCode);
			       return qorl_scsi_inquiry(q, kVf, l, wwn_of(PortWWN), fcLUN, &cdb, 0, pRspBuffer,
							RspBufferSize, scsi, sense, sn);
		       });
}

HBA_STATUS qorl_send_read_capacity(HBA_HANDLE handle, HBA_WWN portWWN, HBA_UINT64 fcLUN, void *pRspBuffer,
				   HBA_UINT32 RspBufferSize, void *pSenseBuffer, HBA_UINT32 SenseBufferSize)
{
	return scsi_v1(handle, portWWN, pRspBuffer, RspBufferSize, pSenseBuffer, SenseBufferSize, "status is %d \n",
		       "scsi status is %x \n", false,
		       [&](qorl_t *q, wwn_t l, uint8_t *scsi, void *sense, uint32_t *sn) {
			       scsi_cdb_t cdb{};
			       return qorl_scsi_readcapacity(q, kVf, l, wwn_of(portWWN), fcLUN, &cdb, 0, pRspBuffer,
							     RspBufferSize, scsi, sense, sn);
		       });
}

HBA_STATUS qorl_send_report_luns(HBA_HANDLE handle, HBA_WWN portWWN, void *pRspBuffer, HBA_UINT32 RspBufferSize,
				 void *pSenseBuffer, HBA_UINT32 SenseBufferSize)
{
	return scsi_v1(handle, portWWN, pRspBuffer, RspBufferSize, pSenseBuffer, SenseBufferSize,
		       "qorl_scsi_cmnd in report lun status is %d \n", "report lun scsi status is %x \n", true,
		       [&](qorl_t *q, wwn_t l, uint8_t *scsi, void *sense, uint32_t *sn) {
			       HBA_UINT32 copied;
			       return report_into(q, l, wwn_of(portWWN), pRspBuffer, RspBufferSize, &copied, scsi,
						  sense, sn);
		       });
}

HBA_STATUS qorl_scsi_inquiry_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				HBA_UINT64 fcLUN, HBA_UINT8 CDB_Byte1, HBA_UINT8 CDB_Byte2, void *pRspBuffer,
				HBA_UINT32 *pRspBufferSize, HBA_UINT8 *pScsiStatus, void *pSenseBuffer,
				HBA_UINT32 *pSenseBufferSize)
{
	return scsi_v2(handle, hbaPortWWN, pRspBuffer, pRspBufferSize, pScsiStatus, pSenseBuffer, pSenseBufferSize,
		       [&](qorl_t *q, wwn_t l, uint8_t *scsi, void *sense, uint32_t *sn) {
			       scsi_cdb_t cdb{};
			       cdb.scsi_cdb[1] = CDB_Byte1;
			       cdb.scsi_cdb[2] = CDB_Byte2;
			       return qorl_scsi_inquiry(q, kVf, l, wwn_of(discoveredPortWWN), fcLUN, &cdb, 0,
							pRspBuffer, *pRspBufferSize, scsi, sense, sn);
		       });
}

HBA_STATUS qorl_scsi_read_capacity_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				      HBA_UINT64 fcLUN, void *pRspBuffer, HBA_UINT32 *pRspBufferSize,
				      HBA_UINT8 *pScsiStatus, void *pSenseBuffer, HBA_UINT32 *SenseBufferSize)
{
	return scsi_v2(handle, hbaPortWWN, pRspBuffer, pRspBufferSize, pScsiStatus, pSenseBuffer, SenseBufferSize,
		       [&](qorl_t *q, wwn_t l, uint8_t *scsi, void *sense, uint32_t *sn) {
			       scsi_cdb_t cdb{};
			       return qorl_scsi_readcapacity(q, kVf, l, wwn_of(discoveredPortWWN), fcLUN, &cdb, 0,
							     pRspBuffer, *pRspBufferSize, scsi, sense, sn);
		       });
}

HBA_STATUS qorl_scsi_report_luns_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				    void *pRespBuffer, HBA_UINT32 *pRespBufferSize, HBA_UINT8 *pScsiStatus,
				    void *pSenseBuffer, HBA_UINT32 *pSenseBufferSize)
{
	return scsi_v2(handle, hbaPortWWN, pRespBuffer, pRespBufferSize, pScsiStatus, pSenseBuffer, pSenseBufferSize,
		       [&](qorl_t *q, wwn_t l, uint8_t *scsi, void *sense, uint32_t *sn) {
			       return report_into(q, l, wwn_of(discoveredPortWWN), pRespBuffer, *pRespBufferSize,
						  pRespBufferSize, scsi, sense, sn);
		       });
}

// ---- persistent binding (not supported) --------------------------------------------------

HBA_STATUS qorl_port_get_persistent_binding(HBA_HANDLE handle, HBA_FCPBINDING *)
{
	return first_ioc(handle) ? HBA_STATUS_ERROR_NOT_SUPPORTED : HBA_STATUS_ERROR_INVALID_HANDLE;
}

HBA_STATUS qorl_get_binding_capability(HBA_HANDLE, HBA_WWN, HBA_BIND_CAPABILITY *pcapability)
{
	if (!pcapability)
		return HBA_STATUS_ERROR_ARG;
	*pcapability = HBA_CAN_BIND_TO_WWPN;
	return HBA_STATUS_OK;
}

HBA_STATUS qorl_port_get_binding_support(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_BIND_CAPABILITY *pcapability)
{
	return qorl_get_binding_capability(handle, hbaPortWWN, pcapability);
}

HBA_STATUS qorl_port_set_binding_support(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_BIND_CAPABILITY)
{
	return binding_refused(handle, hbaPortWWN);
}

HBA_STATUS qorl_port_get_persistent_binding_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_FCPBINDING2 *)
{
	return binding_refused(handle, hbaPortWWN);
}

HBA_STATUS qorl_port_set_persistent_binding_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, const HBA_FCPBINDING2 *)
{
	return binding_refused(handle, hbaPortWWN);
}

HBA_STATUS qorl_port_remove_persistent_binding(HBA_HANDLE handle, HBA_WWN hbaPortWWN, const HBA_FCPBINDING2 *)
{
	return binding_refused(handle, hbaPortWWN);
}

HBA_STATUS qorl_port_remove_all_persistent_binding(HBA_HANDLE handle, HBA_WWN hbaPortWWN)
{
	return binding_refused(handle, hbaPortWWN);
}

// ---- link services and CT pass-through ------------------------------------------------------

qorl_t *qorl_get_lport_for_rport(HBA_HANDLE handle, HBA_WWN PortWWN)
{
	const int ad = ad_of(handle);
	qorl_adapter_t *a = ad ? qorl_adapter_get_by_idx(ad) : nullptr;
	if (!a)
		return nullptr;
	qorl_t *first = qorl_adapter_get_port(ad);
	if (!first) {
		say("Invalid Index\n");
		return nullptr;
	}
	qor_ioc_attr_t ia;
	if (read_ioc_attr(first, ia) != HBA_STATUS_OK)
		return nullptr;
	const wwn_t want = wwn_of(PortWWN);
	for (int i = 0; i < ia.adapter_attr.nports; i++) {
		qorl_t *q = qorl_adapter_get_fcioc(a, i);
		if (!q) {
			say("Invalid Idx\n");
			return nullptr;
		}
		rport_list rl;
		if (get_rports(q, q->pwwn, rl) != QOR_STATUS_OK)
			continue;
		if (std::find(rl.begin(), rl.end(), want) != rl.end())
			return q;
	}
	return nullptr;
}

HBA_STATUS qorl_send_srl(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN wwn, HBA_UINT32 domain, void *pRspBuffer,
			 HBA_UINT32 *pRspBufferSize)
{
	qorl_t *q = port_by_wwn(handle, hbaPortWWN);
	if (!q)
		return HBA_STATUS_ERROR_ILLEGAL_WWN;
	const wwn_t local = wwn_of(hbaPortWWN);
	ls_route r{q, local, local, wwn_of(wwn), true, domain};
	return send_ls(r, ls_req(FC_ELS_SRL), pRspBuffer, pRspBufferSize);
}

HBA_STATUS qorl_send_rls(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN destWWN, void *pRspBuffer,
			 HBA_UINT32 *pRspBufferSize)
{
	qorl_t *q = port_by_wwn(handle, hbaPortWWN);
	if (!q)
		return HBA_STATUS_ERROR_ILLEGAL_WWN;
	const wwn_t local = wwn_of(hbaPortWWN);
	return send_ls({q, local, local, wwn_of(destWWN)}, ls_req(FC_ELS_RLS), pRspBuffer, pRspBufferSize);
}

HBA_STATUS qorl_send_lirr(HBA_HANDLE handle, HBA_WWN sourceWWN, HBA_WWN destWWN, HBA_UINT8 function,
			  HBA_UINT8 type, void *pRspBuffer, HBA_UINT32 *pRspBufferSize)
{
	qorl_t *q = port_by_wwn(handle, sourceWWN);
	if (!q)
		return HBA_STATUS_ERROR_ILLEGAL_WWN;
	const wwn_t local = wwn_of(sourceWWN);
	return send_ls({q, local, local, wwn_of(destWWN)}, ls_req(FC_ELS_LIRR, function, type), pRspBuffer,
		       pRspBufferSize);
}

HBA_STATUS qorl_send_rnid(HBA_HANDLE handle, HBA_WWN wwn, HBA_WWNTYPE, void *pRspBuffer, HBA_UINT32 *pRspBufferSize)
{
	qorl_t *q = qorl_get_lport_for_rport(handle, wwn);
	if (!q)
		return HBA_STATUS_ERROR_INVALID_HANDLE;
	return send_ls({q, 0, 0, wwn_of(wwn)}, ls_req(FC_ELS_RNID, FC_RNID_FMT_TOPOLOGY), pRspBuffer,
		       pRspBufferSize);
}

HBA_STATUS qorl_send_rnid_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN destWWN, HBA_UINT32 destFCID,
			     HBA_UINT32 NodeIdDataFormat, void *pRspBuffer, HBA_UINT32 *pRspBufferSize)
{
	qorl_t *q = port_by_wwn(handle, hbaPortWWN);
	if (!q)
		return HBA_STATUS_ERROR_ILLEGAL_WWN;
	// The accept's port name is checked below: a buffer that cannot hold it
	// is refused before anything is sent.
	constexpr HBA_UINT32 kNamed = offsetof(fc_rnid_acc_t, node_name);
	if (destFCID != 0 && pRspBufferSize && *pRspBufferSize < kNamed) {
		say("destWWN doesn't match the one in ACC\n");
		return HBA_STATUS_ERROR;
	}
	const HBA_UINT32 room = pRspBufferSize ? *pRspBufferSize : 0;
	HBA_STATUS s = send_ls({q, 0, wwn_of(hbaPortWWN), wwn_of(destWWN)},
			       ls_req(FC_ELS_RNID, static_cast<uint8_t>(NodeIdDataFormat)), pRspBuffer,
			       pRspBufferSize);
	if (s != HBA_STATUS_OK || destFCID == 0)
		return s;
	uint8_t name[8];
	const size_t got = std::min(*pRspBufferSize, room);
	if (!fc_rnid_acc_port_name(static_cast<const uint8_t *>(pRspBuffer), got, name) ||
	    std::memcmp(name, destWWN.wwn, sizeof name) != 0) {
		say("destWWN doesn't match the one in ACC\n");
		return HBA_STATUS_ERROR;
	}
	return HBA_STATUS_OK;
}

HBA_STATUS qorl_send_ct_passthru(HBA_HANDLE handle, void *pReqBuffer, HBA_UINT32 ReqBufferSize, void *pRspBuffer,
				 HBA_UINT32 RspBufferSize)
{
	qorl_t *q = first_ioc(handle);
	if (!q)
		return HBA_STATUS_ERROR_INVALID_HANDLE;
	HBA_UINT32 size = RspBufferSize;
	return send_ct(q, 0, pReqBuffer, ReqBufferSize, pRspBuffer, &size, "status is %d \n");
}

HBA_STATUS qorl_send_ct_passthru_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, void *pReqBuffer,
				    HBA_UINT32 ReqBufferSize, void *pRspBuffer, HBA_UINT32 *pRspBufferSize)
{
	qorl_t *q = port_by_wwn(handle, hbaPortWWN);
	if (!q)
		return HBA_STATUS_ERROR_ILLEGAL_WWN;
	return send_ct(q, wwn_of(hbaPortWWN), pReqBuffer, ReqBufferSize, pRspBuffer, pRspBufferSize,
		       "qorl_fcpt status is %d \n");
}

HBA_STATUS qorl_get_rnid_mgmt_info(HBA_HANDLE handle, HBA_MGMTINFO *pInfo)
{
	qorl_t *q;
	if (HBA_STATUS s = first_for(handle, pInfo, q))
		return s;
	qor_port_attr_t pa;
	qor_status_t st = qorl_port_get_attr(q, &pa);
	if (st != QOR_STATUS_OK) {
		say("status is %d \n", st);
		return HBA_STATUS_ERROR;
	}
	pInfo->wwn = hba_wwn(pa.pwwn);
	pInfo->unittype = 10;
	pInfo->PortId = fcid_of(pa.pid);
	pInfo->NumberOfAttachedNodes = 1;
	pInfo->IPVersion = 0;
	pInfo->UDPPort = 0;
	std::memset(pInfo->IPAddress, 0, sizeof pInfo->IPAddress);
	pInfo->TopologyDiscoveryFlags = FC_RNID_FMT_TOPOLOGY;
	return HBA_STATUS_OK;
}

HBA_STATUS qorl_set_rnid_mgmt_info(HBA_HANDLE handle, HBA_MGMTINFO *pInfo)
{
	qorl_t *q;
	if (HBA_STATUS s = first_for(handle, pInfo, q))
		return s;
	qor_port_rnid_t r{};
	r.wwn = wwn_of(pInfo->wwn);
	r.unittype = pInfo->unittype;
	r.portid = pInfo->PortId;
	r.attached_nodes_num = pInfo->NumberOfAttachedNodes;
	r.ip_version = pInfo->IPVersion;
	r.udp_port = pInfo->UDPPort;
	static_assert(sizeof r.ipaddr == sizeof pInfo->IPAddress);
	std::memcpy(r.ipaddr, pInfo->IPAddress, sizeof r.ipaddr);
	r.rsvd = pInfo->reserved;
	r.topologydiscoveryflags = pInfo->TopologyDiscoveryFlags;
	return qorl_port_cfg_rnid_info(q, r) == QOR_STATUS_OK ? HBA_STATUS_OK : HBA_STATUS_ERROR;
}

// ---- events ------------------------------------------------------------------------------

HBA_STATUS qorl_adapteraddevent_register(void (*callback)(void *, HBA_WWN, HBA_UINT32), void *userData,
					 HBA_CALLBACKHANDLE *callbackHandle)
{
	return subscribe(sub_kind::adapter, callbackHandle, [&](void **h) {
		return qorl_adapter_aen_register(nullptr, as_native<qorl_adapter_aen_cbfn_t>(callback), userData,
						 reinterpret_cast<qorl_adapter_aen_cbhandle_t **>(h), QORL_AEN_FLAG_SNIA);
	});
}

HBA_STATUS qorl_adapterevent_register(void (*callback)(void *, HBA_WWN, HBA_UINT32), void *userData,
				      HBA_HANDLE handle, HBA_CALLBACKHANDLE *callbackHandle)
{
	const int ad = ad_of(handle);
	qorl_adapter_t *a = ad ? qorl_adapter_get_by_idx(ad) : nullptr;
	return subscribe(sub_kind::adapter, callbackHandle, [&](void **h) {
		return qorl_adapter_aen_register(a, as_native<qorl_adapter_aen_cbfn_t>(callback), userData,
						 reinterpret_cast<qorl_adapter_aen_cbhandle_t **>(h), QORL_AEN_FLAG_SNIA);
	});
}

HBA_STATUS qorl_portevent_register(void (*callback)(void *, HBA_WWN, HBA_UINT32, HBA_UINT32), void *userData,
				   HBA_HANDLE handle, HBA_WWN PortWWN, HBA_CALLBACKHANDLE *callbackHandle)
{
	qor_lport_aen_data_t key{};
	key.lpwwn = wwn_of(PortWWN);
	qorl_t *q = port_by_wwn(handle, PortWWN);
	return subscribe(sub_kind::lport, callbackHandle, [&](void **h) {
		return qorl_lport_aen_register(q, as_native<qorl_lport_aen_cbfn_t>(callback), userData, &key,
					       reinterpret_cast<qorl_lport_aen_cbhandle_t **>(h), QORL_AEN_FLAG_SNIA);
	});
}

HBA_STATUS qorl_portstatevent_register(void (*)(void *, HBA_WWN, HBA_UINT32), void *, HBA_HANDLE, HBA_WWN,
				       HBA_PORTSTATISTICS, HBA_UINT32, HBA_CALLBACKHANDLE *)
{
	return HBA_STATUS_ERROR_NOT_SUPPORTED;
}

HBA_STATUS qorl_targetevent_register(void (*callback)(void *, HBA_WWN, HBA_WWN, HBA_UINT32), void *userData,
				     HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				     HBA_CALLBACKHANDLE *callbackHandle, HBA_UINT32 allTargets)
{
	qor_itnim_aen_data_t key{};
	key.lpwwn = wwn_of(hbaPortWWN);
	key.rpwwn = allTargets ? 0 : wwn_of(discoveredPortWWN);
	qorl_t *q = port_by_wwn(handle, hbaPortWWN);
	return subscribe(sub_kind::itnim, callbackHandle, [&](void **h) {
		return qorl_itnim_aen_register(q, as_native<qorl_itnim_aen_cbfn_t>(callback), userData, &key,
					       reinterpret_cast<qorl_itnim_aen_cbhandle_t **>(h), QORL_AEN_FLAG_SNIA);
	});
}

HBA_STATUS qorl_linkevent_register(void (*)(void *, HBA_WWN, HBA_UINT32, void *, HBA_UINT32), void *, void *,
				   HBA_UINT32, HBA_HANDLE, HBA_CALLBACKHANDLE *)
{
	return HBA_STATUS_ERROR_NOT_SUPPORTED;
}

HBA_STATUS qorl_remove_callback(HBA_CALLBACKHANDLE callbackHandle)
{
	sub_kind k;
	if (qorl::snia::untrack(callbackHandle, &k))
		return qorl::snia::unsubscribe(callbackHandle, k) == QOR_STATUS_OK ? HBA_STATUS_OK : HBA_STATUS_ERROR;
	// Not one of ours: the lists are tried in turn, comparing addresses only.
	for (sub_kind t : {sub_kind::adapter, sub_kind::lport, sub_kind::itnim})
		if (qorl::snia::unsubscribe(callbackHandle, t) == QOR_STATUS_OK)
			return HBA_STATUS_OK;
	return HBA_STATUS_ERROR;
}

HBA_STATUS qorl_get_event_buffer(HBA_HANDLE handle, PHBA_EVENTINFO EventBuffer, HBA_UINT32 *EventBufferCount)
{
	if (!EventBufferCount || (!EventBuffer && *EventBufferCount))
		return HBA_STATUS_ERROR_ARG;
	qorl_t *q = first_ioc(handle);
	if (!q)
		return HBA_STATUS_ERROR_INVALID_HANDLE;
	const HBA_UINT32 room = *EventBufferCount;
	HBA_UINT32 written = 0;
	HBA_STATUS last = HBA_STATUS_OK;
	qor_aen_entry_t batch[kEventBatch];
	// Only what fits is fetched (fetching consumes); dropped kinds make room
	// for more, so the fetch goes on until the queue or the room runs out.
	while (written < room) {
		const int ask = static_cast<int>(std::min(room - written, kEventBatch));
		int got = ask;
		qor_status_t st = qorl_aen_get_events(q, batch, &got, qor_aen_app_snia);
		if (st != QOR_STATUS_OK) {
			say("qorl_aen_get_events status %d \n", st);
			*EventBufferCount = written;
			return HBA_STATUS_ERROR;
		}
		for (int i = 0; i < got; i++) {
			const qor_aen_entry_t &e = batch[i];
			if (e.aen_category != QOR_AEN_CAT_PORT ||
			    (e.aen_type != QOR_PORT_AEN_ONLINE && e.aen_type != QOR_PORT_AEN_OFFLINE))
				continue;
			HBA_EVENTINFO &out = EventBuffer[written++];
			std::memset(&out, 0, sizeof out);
			out.EventCode = e.aen_type == QOR_PORT_AEN_ONLINE ? HBA_EVENT_PORT_ONLINE : HBA_EVENT_PORT_OFFLINE;
			HBA_PORTATTRIBUTES pa{};
			last = qorl_port_get_attributes_by_wwn(handle, hba_wwn(e.aen_data.port.pwwn), &pa);
			out.Event.Link_EventInfo.PortFcId = last == HBA_STATUS_OK ? pa.PortFcId : 0;
		}
		if (got < ask)
			break;
	}
	*EventBufferCount = written;
	return last;
}

// ---- CPQFC -----------------------------------------------------------------------------------

HBA_STATUS qorl_ioc_get_attributes(HBA_HANDLE handle, CPQFC_ADAPTERATTRIBUTES *hbaattributes)
{
	qorl_t *q;
	if (HBA_STATUS s = first_for(handle, hbaattributes, q))
		return s;
	unsigned domain = 0, bus = 0, dev = 0, fn = 0;
	char hw[sizeof q->ioc_hwpath + 1] = {};
	std::memcpy(hw, q->ioc_hwpath, sizeof q->ioc_hwpath);
	(void)std::sscanf(hw, "%4x:%2x:%2x.%1x", &domain, &bus, &dev, &fn);
	qor_ioc_attr_t ia;
	if (HBA_STATUS s = read_ioc_attr(q, ia))
		return s;
	CPQFC_ADAPTERATTRIBUTES &a = *hbaattributes;
	fill_adapter(a, ia, *q);
	a.VendorSpecificID = static_cast<HBA_UINT32>(ia.pci_attr.device_id) << 16 | ia.pci_attr.vendor_id;
	a.SubsystemID = static_cast<HBA_UINT32>(ia.pci_attr.ssid) << 16 | ia.pci_attr.ssvid;
	a.BusID = static_cast<HBA_UINT8>(bus);
	a.DevFuncID = static_cast<HBA_UINT8>((dev & 0x1f) << 3 | (fn & 7));
	a.DomainID = static_cast<HBA_UINT8>(domain);
	return HBA_STATUS_OK;
}

HBA_STATUS CPQFC_LoadLibrary(void)
{
	qorl::snia::cpqfc_load();
	return HBA_STATUS_OK;
}

HBA_STATUS CPQFC_FreeLibrary(void)
{
	return HBA_STATUS_OK;
}

HBA_UINT32 CPQFC_GetNumberOfAdapters(void)
{
	return qorl::snia::guarded(HBA_UINT32{0}, [] { return qorl_adapter_get_number(); });
}

HBA_STATUS CPQFC_GetAdapterName(HBA_UINT32 adapter_index, char *adapter_name)
{
	return qorl::snia::guarded(HBA_STATUS{HBA_STATUS_ERROR_ILLEGAL_INDEX},
				   [&] { return qorl_get_name(adapter_index, adapter_name); });
}

HBA_HANDLE CPQFC_OpenAdapter(char *adapter_name)
{
	return qorl::snia::guarded(HBA_HANDLE{0}, [&] { return qorl_open_by_name(adapter_name); });
}

void CPQFC_CloseAdapter(HBA_HANDLE adapter_handle)
{
	qorl_close(adapter_handle);
}

HBA_STATUS CPQFC_GetAdapterAttributes(HBA_HANDLE adapter_handle, CPQFC_ADAPTERATTRIBUTES *adapter_attributes)
{
	return qorl::snia::guarded(HBA_STATUS{HBA_STATUS_ERROR_INVALID_HANDLE},
				   [&] { return qorl_ioc_get_attributes(adapter_handle, adapter_attributes); });
}

HBA_STATUS CPQFC_GetAdapterAttributes2(HBA_HANDLE adapter_handle, CPQFC_ADAPTERATTRIBUTES *adapter_attributes)
{
	return CPQFC_GetAdapterAttributes(adapter_handle, adapter_attributes);
}

HBA_STATUS CPQFC_GetAdapterPortAttributes(HBA_HANDLE, HBA_UINT32, CPQFC_PORTATTRIBUTES *)
{
	return HBA_STATUS_ERROR_NOT_SUPPORTED;
}

HBA_STATUS CPQFC_GetDiscoveredPortAttributes(HBA_HANDLE, HBA_UINT32, HBA_UINT32, CPQFC_PORTATTRIBUTES *)
{
	return HBA_STATUS_ERROR_NOT_SUPPORTED;
}

HBA_STATUS CPQFC_SendScsiCommand(HBA_HANDLE, HBA_WWN, FCP_CMD *, void *, HBA_UINT32, FCP_RSP *)
{
	return HBA_STATUS_ERROR_NOT_SUPPORTED;
}

} // extern "C"
