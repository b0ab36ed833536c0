// The SNIA vendor library as a wrapper drives it: the registered table,
// load and free, handles, attributes, statistics, link services, CT,
// events and the event buffer, and the CPQFC entry points by name.
#include <dlfcn.h>

#include <functional>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "aen_util.h"
#include "protocol/fc_ct.h"
#include "protocol/fc_els.h"
#include "qorl_ioc.h"
#include "qorl_port.h"
#include "qorl_snia.h"
#include "qorsim_san.h"
#include "qorsim_scsi.h"
#include "testutil.h"

namespace {

constexpr int FC = QORSIM_DRV_FC;

HBA_WWN hw(const char *text)
{
	HBA_WWN w;
	uint64_t v = qt::wwn(text);
	std::memcpy(w.wwn, &v, 8);
	return w;
}

wwn_t w64(HBA_WWN w)
{
	wwn_t v;
	std::memcpy(&v, w.wwn, 8);
	return v;
}

const HBA_WWN kPort0 = hw("20:00:02:5a:31:0a:f0:00"), kNode1 = hw("10:00:02:5a:31:0a:f0:01"),
	      kFcoe0 = hw("20:00:02:5a:31:0c:c0:00"), kTgtA = hw("50:25:a3:40:10:3a:7c:00"),
	      kInit = hw("21:00:02:5a:30:4c:8e:10"), kFabric = hw("10:00:02:5a:30:fa:b0:01"),
	      kNobody = hw("20:00:00:00:00:00:00:99");

// The requests of one code sent since the log was cleared.
template <class R> std::vector<R> sent(uint32_t code)
{
	std::vector<R> v;
	for (auto &e : qt::log_entries(code)) {
		R r;
		std::memcpy(&r, e.in, sizeof r);
		v.push_back(r);
	}
	return v;
}

// The wrapper's view: the table the library filled, loaded once.
class Snia : public qt::SimTest {
protected:
	void SetUp() override
	{
		qt::SimTest::SetUp();
		ASSERT_EQ(HBA_RegisterLibraryV2(&t), HBA_STATUS_OK);
		ASSERT_EQ(t.LoadLibraryHandler(), HBA_STATUS_OK);
		qorsim_log_clear();
	}
	void TearDown() override
	{
		free_all();
		qt::SimTest::TearDown();
	}
	void free_all()
	{
		for (int i = 0; i < 8 && t.GetNumberOfAdaptersHandler() != 0; i++)
			t.FreeLibraryHandler();
	}
	// The pass-through requests sent since the log was cleared.
	std::vector<qor_ioctl_fcpt_t> frames() { return sent<qor_ioctl_fcpt_t>(QOR_IOCTL_FCPT); }
	std::vector<uint8_t> payload()
	{
		std::vector<uint8_t> p(256);
		p.resize(std::min<size_t>(qorsim_san_last_payload(p.data(), p.size()), p.size()));
		return p;
	}
	HBA_ENTRYPOINTSV2 t{};
};

// ---- registration, load and free ---------------------------------------------------

using slot = void (*)(void);

TEST(SniaRegistration, EverySlotFilledAndV2BeginsWithV1)
{
	HBA_ENTRYPOINTS v1{};
	HBA_ENTRYPOINTSV2 v2{};
	ASSERT_EQ(HBA_RegisterLibrary(&v1), HBA_STATUS_OK);
	ASSERT_EQ(HBA_RegisterLibraryV2(&v2), HBA_STATUS_OK);
	slot s1[24], s2[54];
	static_assert(sizeof s1 == sizeof v1 && sizeof s2 == sizeof v2);
	std::memcpy(s1, &v1, sizeof v1);
	std::memcpy(s2, &v2, sizeof v2);
	for (int i = 0; i < 54; i++)
		EXPECT_NE(s2[i], nullptr) << "V2 slot " << i + 1;
	for (int i = 0; i < 24; i++) {
		EXPECT_NE(s1[i], nullptr) << "slot " << i + 1;
		EXPECT_EQ(s1[i], s2[i]) << "slot " << i + 1;
	}
	EXPECT_EQ(v2.GetVersionHandler(), 2u);
	EXPECT_EQ(v2.LoadLibraryHandler, &QOR_LoadLibrary);
	EXPECT_EQ(v2.SendRLSHandler, &QOR_HBA_SendRLS);
	EXPECT_EQ(HBA_RegisterLibraryV2(nullptr), HBA_STATUS_ERROR_ARG);
}

TEST_F(Snia, LoadsAreCountedAndTheLastFreeUnloads)
{
	ASSERT_EQ(t.LoadLibraryHandler(), HBA_STATUS_OK);
	EXPECT_EQ(qt::reader_threads(), 1);
	EXPECT_EQ(qorsim_log_count(), 0u) << "a second load initialises nothing";
	EXPECT_EQ(t.FreeLibraryHandler(), HBA_STATUS_OK);
	EXPECT_EQ(t.GetNumberOfAdaptersHandler(), 2u) << "one load still holds the library";
	HBA_ADAPTERATTRIBUTES a;
	EXPECT_EQ(t.GetAdapterAttributesHandler(1, &a), HBA_STATUS_OK);
	EXPECT_EQ(qt::reader_threads(), 1);

	EXPECT_EQ(t.FreeLibraryHandler(), HBA_STATUS_OK);
	EXPECT_EQ(qt::reader_threads(), 0);
	EXPECT_EQ(t.GetNumberOfAdaptersHandler(), 0u);
	EXPECT_EQ(t.GetAdapterAttributesHandler(1, &a), HBA_STATUS_ERROR_INVALID_HANDLE);
	EXPECT_EQ(t.FreeLibraryHandler(), HBA_STATUS_OK) << "a free too many is harmless";

	ASSERT_EQ(t.LoadLibraryHandler(), HBA_STATUS_OK);
	EXPECT_EQ(t.GetNumberOfAdaptersHandler(), 2u);
	EXPECT_EQ(t.GetAdapterAttributesHandler(2, &a), HBA_STATUS_OK);
}

void ignore_adapter(void *, HBA_WWN, HBA_UINT32) {}
void ignore_port(void *, HBA_WWN, HBA_UINT32, HBA_UINT32) {}

TEST_F(Snia, FreeRemovesCallbacksAndRemovalAfterItIsHarmless)
{
	HBA_CALLBACKHANDLE h1, h2;
	ASSERT_EQ(t.RegisterForAdapterPortEventsHandler(ignore_port, nullptr, 1, kPort0, &h1), HBA_STATUS_OK);
	ASSERT_EQ(t.RegisterForAdapterAddEventsHandler(ignore_adapter, nullptr, &h2), HBA_STATUS_OK);
	ASSERT_EQ(t.FreeLibraryHandler(), HBA_STATUS_OK);
	// The wrapper removes its callbacks after the free: nothing is left to remove.
	EXPECT_EQ(t.RemoveCallbackHandler(h1), HBA_STATUS_ERROR);
	EXPECT_EQ(t.RemoveCallbackHandler(h2), HBA_STATUS_ERROR);
	HBA_CALLBACKHANDLE h3;
	EXPECT_EQ(t.RegisterForAdapterAddEventsHandler(ignore_adapter, nullptr, &h3), HBA_STATUS_ERROR)
		<< "nothing is subscribed while not loaded";
}

TEST(SniaConvert, TypesStatesAndSpeeds)
{
	struct {
		uint32_t in, type, state, speed;
	} const rows[] = {
		// library value: port type, port or remote-port state, speed
		{0, HBA_PORTTYPE_UNKNOWN, HBA_PORTSTATE_UNKNOWN, HBA_PORTSPEED_UNKNOWN},
		{1, HBA_PORTTYPE_UNKNOWN, HBA_PORTSTATE_OFFLINE, HBA_PORTSPEED_1GBIT},
		{2, HBA_PORTTYPE_UNKNOWN, HBA_PORTSTATE_UNKNOWN, HBA_PORTSPEED_2GBIT},
		{3, HBA_PORTTYPE_UNKNOWN, HBA_PORTSTATE_ONLINE, HBA_PORTSPEED_UNKNOWN},
		{4, HBA_PORTTYPE_UNKNOWN, HBA_PORTSTATE_LINKDOWN, 8},
		{5, HBA_PORTTYPE_NPORT, HBA_PORTSTATE_ONLINE, HBA_PORTSPEED_UNKNOWN},
		{6, HBA_PORTTYPE_NLPORT, HBA_PORTSTATE_UNKNOWN, HBA_PORTSPEED_UNKNOWN},
		{8, HBA_PORTTYPE_UNKNOWN, HBA_PORTSTATE_OFFLINE, 16},
		{10, HBA_PORTTYPE_UNKNOWN, HBA_PORTSTATE_UNKNOWN, HBA_PORTSPEED_10GBIT},
		{15, HBA_PORTTYPE_UNKNOWN, HBA_PORTSTATE_UNKNOWN, HBA_PORTSPEED_UNKNOWN},
		{16, HBA_PORTTYPE_UNKNOWN, HBA_PORTSTATE_UNKNOWN, HBA_PORTSPEED_UNKNOWN},
		{20, HBA_PORTTYPE_LPORT, HBA_PORTSTATE_UNKNOWN, HBA_PORTSPEED_UNKNOWN},
		{21, HBA_PORTTYPE_PTP, HBA_PORTSTATE_UNKNOWN, HBA_PORTSPEED_UNKNOWN},
		{22, HBA_PORTTYPE_OTHER, HBA_PORTSTATE_UNKNOWN, HBA_PORTSPEED_UNKNOWN},
	};
	for (const auto &r : rows) {
		EXPECT_EQ(qorl_port_type_convert(static_cast<qor_port_type_t>(r.in)), r.type) << r.in;
		EXPECT_EQ(qorl_port_state_convert(r.in), r.state) << r.in;
		EXPECT_EQ(qorl_port_speed_convert(r.in), r.speed) << r.in;
	}
	uint8_t bits[32];
	std::memset(bits, 0x80, sizeof bits);
	qorl_port_set_fc4type(reinterpret_cast<uint32_t *>(bits));
	EXPECT_EQ(bits[1], 0x81) << "FC-4 type 8: bit 0 of byte 1";
	EXPECT_EQ(bits[0], 0x80);
	EXPECT_EQ(bits[2], 0x80);
}

// ---- handles, names, library attributes ----------------------------------------------

TEST_F(Snia, NamesAndOpening)
{
	EXPECT_EQ(t.GetNumberOfAdaptersHandler(), 2u);
	char name[256];
	ASSERT_EQ(t.GetAdapterNameHandler(0, name), HBA_STATUS_OK);
	EXPECT_STREQ(name, "QXA2210F001") << "an unnamed adapter is named by its serial number";
	ASSERT_EQ(t.GetAdapterNameHandler(1, name), HBA_STATUS_OK);
	EXPECT_STREQ(name, "QXC2214C007");
	EXPECT_EQ(t.GetAdapterNameHandler(2, name), HBA_STATUS_ERROR_ILLEGAL_INDEX);

	qorl_adapter_set_name(2, const_cast<char *>("san-b"));
	ASSERT_EQ(qorl_get_last_error(), QOR_STATUS_OK);
	ASSERT_EQ(t.GetAdapterNameHandler(1, name), HBA_STATUS_OK);
	EXPECT_STREQ(name, "san-b");
	// By name, by the serial number too; 0 for no adapter.
	for (auto [n, want] : {std::pair<const char *, HBA_HANDLE>{"san-b", 2}, {"QXC2214C007", 2}, {"QXA2210F001", 1},
			       {"nobody", 0}, {nullptr, 0}})
		EXPECT_EQ(t.OpenAdapterHandler(const_cast<char *>(n)), want) << (n ? n : "null");

	HBA_HANDLE h = 77;
	EXPECT_EQ(t.OpenAdapterByWWNHandler(&h, kNode1), HBA_STATUS_OK) << "a node WWN of any FC port";
	EXPECT_EQ(h, 1u);
	EXPECT_EQ(t.OpenAdapterByWWNHandler(&h, kFcoe0), HBA_STATUS_OK);
	EXPECT_EQ(h, 2u);
	h = 77;
	EXPECT_EQ(t.OpenAdapterByWWNHandler(&h, kNobody), HBA_STATUS_ERROR_ILLEGAL_WWN);
	EXPECT_EQ(h, 77u) << "left alone";

	HBA_LIBRARYATTRIBUTES la;
	std::memset(&la, 0x55, sizeof la);
	EXPECT_EQ(t.GetVendorLibraryAttributesHandler(&la), 1u);
	EXPECT_STREQ(la.VName, "Kestrun");
	EXPECT_STREQ(la.VVersion, "Version 1.0");
	EXPECT_STREQ(la.LibPath, "");
	EXPECT_EQ(la.final, 0);
	EXPECT_EQ(la.build_date.tm_year, 0);
}

// ---- attributes ---------------------------------------------------------------------------

TEST_F(Snia, AdapterAttributesFieldByFieldWithTextCleared)
{
	qorl_t *q = qorl_adapter_get_port(1);
	qor_ioc_attr_t ia;
	ASSERT_EQ(qorl_ioc_get_attr(q, &ia), QOR_STATUS_OK);
	HBA_ADAPTERATTRIBUTES a;
	std::memset(&a, 'x', sizeof a);
	ASSERT_EQ(t.GetAdapterAttributesHandler(1, &a), HBA_STATUS_OK);
	struct {
		const char *field;
		size_t size;
		std::string want;
	} const text[] = {
		{a.Manufacturer, sizeof a.Manufacturer, "QOR Inc"},
		{a.SerialNumber, sizeof a.SerialNumber, "QXA2210F001"},
		{a.Model, sizeof a.Model, ia.adapter_attr.model},
		{a.ModelDescription, sizeof a.ModelDescription, ia.adapter_attr.model_descr},
		{a.NodeSymbolicName, sizeof a.NodeSymbolicName, ia.adapter_attr.node_symname},
		{a.HardwareVersion, sizeof a.HardwareVersion, ia.adapter_attr.hw_ver},
		{a.DriverVersion, sizeof a.DriverVersion, "3.2.1.0"},
		{a.OptionROMVersion, sizeof a.OptionROMVersion, ia.adapter_attr.optrom_ver},
		{a.FirmwareVersion, sizeof a.FirmwareVersion, "3.2.1.0"},
		{a.DriverName, sizeof a.DriverName, ia.driver_attr.driver},
	};
	for (const auto &f : text) {
		EXPECT_EQ(std::string(f.field), f.want);
		for (size_t i = f.want.size(); i < f.size; i++)
			ASSERT_EQ(f.field[i], '\0') << f.want << ": byte " << i << " not cleared";
	}
	EXPECT_EQ(std::memcmp(a.NodeWWN.wwn, &q->nwwn, 8), 0);
	EXPECT_EQ(a.NumberOfPorts, 2u);
	EXPECT_EQ(a.VendorSpecificID, 0xf1e0u) << "the vendor identifier alone";
	EXPECT_EQ(t.GetAdapterAttributesHandler(3, &a), HBA_STATUS_ERROR_INVALID_HANDLE);
	EXPECT_EQ(t.GetAdapterAttributesHandler(0, &a), HBA_STATUS_ERROR_INVALID_HANDLE);
}

TEST_F(Snia, PortAttributesByIndexAndByWwnAgree)
{
	HBA_PORTATTRIBUTES by_index, by_wwn;
	std::memset(&by_index, 'x', sizeof by_index);
	std::memset(&by_wwn, 'x', sizeof by_wwn);
	ASSERT_EQ(t.GetAdapterPortAttributesHandler(1, 0, &by_index), HBA_STATUS_OK);
	ASSERT_EQ(t.GetPortAttributesByWWNHandler(1, kPort0, &by_wwn), HBA_STATUS_OK);
	EXPECT_EQ(std::memcmp(&by_index, &by_wwn, sizeof by_index), 0) << "every byte, OSDeviceName included";
	const HBA_PORTATTRIBUTES &p = by_index;
	EXPECT_EQ(std::memcmp(p.PortWWN.wwn, kPort0.wwn, 8), 0);
	EXPECT_EQ(p.PortFcId, 0x100000u) << "the address as a number";
	EXPECT_EQ(p.PortType, (HBA_PORTTYPE)HBA_PORTTYPE_NPORT);
	EXPECT_EQ(p.PortState, (HBA_PORTSTATE)HBA_PORTSTATE_ONLINE);
	EXPECT_EQ(p.PortSupportedClassofService, 8u);
	EXPECT_EQ(p.PortSupportedFc4Types.bits[1], 'x' | 1) << "the FCP bit is set, others untouched";
	EXPECT_EQ(p.PortActiveFc4Types.bits[1], 'x' | 1);
	EXPECT_STREQ(p.OSDeviceName, "/dev/qor");
	EXPECT_EQ(p.PortSupportedSpeed, 16u) << "8 Gbit/s";
	EXPECT_EQ(p.PortSpeed, 16u);
	EXPECT_EQ(p.PortMaxFrameSize, 2112u);
	EXPECT_EQ(std::memcmp(p.FabricName.wwn, kFabric.wwn, 8), 0);
	EXPECT_EQ(p.NumberofDiscoveredPorts, 3u);
	EXPECT_EQ(std::string(p.PortSymbolicName).find("port 0") != std::string::npos, true) << p.PortSymbolicName;
	EXPECT_EQ(p.PortSymbolicName[255], '\0');

	HBA_PORTATTRIBUTES fcoe{};
	ASSERT_EQ(t.GetAdapterPortAttributesHandler(2, 0, &fcoe), HBA_STATUS_OK);
	EXPECT_EQ(fcoe.PortSpeed, (HBA_PORTSPEED)HBA_PORTSPEED_10GBIT);
	EXPECT_EQ(t.GetAdapterPortAttributesHandler(1, 2, &fcoe), HBA_STATUS_ERROR_ILLEGAL_INDEX);
	EXPECT_EQ(t.GetAdapterPortAttributesHandler(9, 0, &fcoe), HBA_STATUS_ERROR_ILLEGAL_INDEX);
	EXPECT_EQ(t.GetPortAttributesByWWNHandler(1, kFcoe0, &fcoe), HBA_STATUS_ERROR_ILLEGAL_INDEX)
		<< "a port of another adapter";
}

TEST_F(Snia, DiscoveredPortsAndFailedRemotePortLists)
{
	HBA_PORTATTRIBUTES r;
	std::memset(&r, 'x', sizeof r);
	ASSERT_EQ(t.GetDiscoveredPortAttributesHandler(1, 0, 0, &r), HBA_STATUS_OK);
	EXPECT_EQ(std::memcmp(r.PortWWN.wwn, kTgtA.wwn, 8), 0);
	EXPECT_EQ(r.PortFcId, 0x011a00u);
	EXPECT_EQ(r.PortType, 0u);
	EXPECT_EQ(r.PortState, (HBA_PORTSTATE)HBA_PORTSTATE_ONLINE);
	EXPECT_EQ(r.PortSupportedSpeed, 0u);
	EXPECT_EQ(r.PortSpeed, 16u);
	for (uint8_t b : r.PortSupportedFc4Types.bits)
		ASSERT_EQ(b, 0);
	for (uint8_t b : r.FabricName.wwn)
		ASSERT_EQ(b, 0);
	EXPECT_STREQ(r.PortSymbolicName, "QX-Array A ctl0 port 0");
	EXPECT_EQ(r.OSDeviceName[0], 'x') << "not written for a discovered port";

	r.NumberofDiscoveredPorts = 99;
	EXPECT_EQ(t.GetDiscoveredPortAttributesHandler(1, 0, 3, &r), HBA_STATUS_ERROR_ILLEGAL_INDEX);
	EXPECT_EQ(r.NumberofDiscoveredPorts, 3u) << "the count is written all the same";

	// The remote port list cannot be read: no discovered ports.
	qorsim_fault_request(QOR_IOCTL_LPORT_GET_RPORTS, -1, EIO, 0, QORSIM_ALWAYS);
	HBA_PORTATTRIBUTES p;
	std::memset(&p, 'x', sizeof p);
	ASSERT_EQ(t.GetAdapterPortAttributesHandler(1, 0, &p), HBA_STATUS_OK);
	EXPECT_EQ(p.NumberofDiscoveredPorts, 0u);
	EXPECT_EQ(t.GetDiscoveredPortAttributesHandler(1, 0, 0, &r), HBA_STATUS_ERROR);
}

TEST_F(Snia, ManyRemotePortsAreAllCounted)
{
	free_all();
	topology(R"({"adapters":[{"functions":[{"type":"fc","fcport":{"rport_count":700}}]}]})");
	ASSERT_EQ(t.LoadLibraryHandler(), HBA_STATUS_OK);
	HBA_PORTATTRIBUTES p;
	ASSERT_EQ(t.GetAdapterPortAttributesHandler(1, 0, &p), HBA_STATUS_OK);
	EXPECT_EQ(p.NumberofDiscoveredPorts, 700u);
	EXPECT_EQ(t.GetDiscoveredPortAttributesHandler(1, 0, 699, &p), HBA_STATUS_OK);
}

// ---- statistics --------------------------------------------------------------------------

int64_t pair(qorl_t *q, const char *name)
{
	qorl_stats_long_t s[QORL_PORT_ETH_STATS_COUNT] = {};
	EXPECT_EQ(qorl_port_get_stats(q, s), QOR_STATUS_OK);
	for (auto &p : s)
		if (std::strcmp(p.name, name) == 0)
			return static_cast<int64_t>(p.value);
	ADD_FAILURE() << name;
	return -1;
}

TEST_F(Snia, PortStatisticsFromTheLibrarysCounters)
{
	// Counters only grow, so each SNIA value lies between two reads of its source.
	qorl_t *fc = qorl_adapter_get_fcioc(qorl_adapter_get_by_idx(1), 0);
	qorl_t *fcoe = qorl_adapter_get_fcioc(qorl_adapter_get_by_idx(2), 0);
	HBA_PORTSTATISTICS s;
	std::memset(&s, 0x11, sizeof s);
	const int64_t tx0 = pair(fc, "Tx frames");
	ASSERT_EQ(t.GetPortStatisticsHandler(1, 0, &s), HBA_STATUS_OK);
	EXPECT_GE(s.TxFrames, tx0);
	EXPECT_LE(s.TxFrames, pair(fc, "Tx frames"));
	EXPECT_GE(s.RxWords, 1);
	EXPECT_EQ(s.InvalidCRCCount, 0);

	std::memset(&s, 0x11, sizeof s);
	const int64_t bytes0 = pair(fcoe, "Tx bytes");
	ASSERT_EQ(t.GetPortStatisticsHandler(2, 0, &s), HBA_STATUS_OK);
	EXPECT_GE(s.TxWords, bytes0 / 4) << "Ethernet bytes as words";
	EXPECT_LE(s.TxWords, pair(fcoe, "Tx bytes") / 4);
	for (auto f : {s.LIPCount, s.NOSCount, s.LinkFailureCount, s.LossOfSyncCount, s.LossOfSignalCount,
		       s.PrimitiveSeqProtocolErrCount, s.InvalidTxWordCount})
		EXPECT_EQ(f, 0) << "no such counter on Ethernet";

	EXPECT_EQ(t.GetPortStatisticsHandler(1, 5, &s), HBA_STATUS_ERROR_ILLEGAL_INDEX);
	qorsim_log_clear();
	t.ResetStatisticsHandler(1, 0);
	EXPECT_EQ(qorsim_log_count_code(QOR_IOCTL_PORT_RESET_STATS), 1u);
	t.ResetStatisticsHandler(1, 7);
	EXPECT_EQ(qorsim_log_count_code(QOR_IOCTL_PORT_RESET_STATS), 1u) << "no port, no request";

	HBA_FC4STATISTICS f4;
	EXPECT_EQ(t.GetFC4StatisticsHandler(1, kPort0, 5, &f4), HBA_STATUS_ERROR_NOT_SUPPORTED);
	ASSERT_EQ(t.GetFC4StatisticsHandler(1, kPort0, 8, &f4), HBA_STATUS_OK);
	EXPECT_GT(f4.InputRequests, 0) << "summed over the targets";
	EXPECT_EQ(t.GetFCPStatisticsHandler(1, nullptr, &f4), HBA_STATUS_ERROR_NOT_SUPPORTED);
}

// ---- link services and CT -----------------------------------------------------------------

TEST_F(Snia, LinkServiceFramesOnTheWire)
{
	struct Case {
		const char *what;
		std::function<HBA_STATUS(uint8_t *, HBA_UINT32 *)> send;
		uint8_t d_id[3];
		std::vector<uint8_t> payload;
		wwn_t dest;
		uint8_t reply = FC_ELS_ACC;
	};
	const wwn_t fabric = w64(kFabric), tgt = w64(kTgtA);
	const Case cases[] = {
		{"SRL to own domain", [&](auto *b, auto *n) { return t.SendSRLHandler(1, kPort0, kFabric, 0x10, b, n); },
		 {0xFF, 0xFC, 0x10}, {0x7B, 0, 0, 0, 0, 0, 0, 0}, fabric},
		{"SRL domain 5", [&](auto *b, auto *n) { return t.SendSRLHandler(1, kPort0, kFabric, 5, b, n); },
		 {0xFF, 0xFC, 0x05}, {0x7B, 0, 0, 0, 0, 0, 0, 0}, fabric, FC_ELS_LS_RJT},
		{"LIRR", [&](auto *b, auto *n) { return t.SendLIRRHandler(1, kPort0, kTgtA, 1, 0x18, b, n); },
		 {0x01, 0x1a, 0x00}, {0x7A, 0, 0, 0, 0x01, 0x18, 0, 0}, tgt},
		{"RLS", [&](auto *b, auto *n) { return t.SendRLSHandler(1, kPort0, kTgtA, b, n); },
		 {0x01, 0x1a, 0x00}, {0x0F, 0, 0, 0, 0, 0, 0, 0}, tgt},
		{"RNID", [&](auto *b, auto *n) { return t.SendRNIDHandler(1, kInit, NODE_WWN, b, n); },
		 {0x01, 0x1c, 0x00}, {0x78, 0, 0, 0, 0xDF, 0, 0, 0}, w64(kInit)},
		{"RNID v2", [&](auto *b, auto *n) { return t.SendRNIDV2Handler(1, kPort0, kTgtA, 0, 0x00, b, n); },
		 {0x01, 0x1a, 0x00}, {0x78, 0, 0, 0, 0x00, 0, 0, 0}, tgt},
	};
	for (const auto &c : cases) {
		SCOPED_TRACE(c.what);
		qorsim_log_clear();
		uint8_t rsp[128] = {};
		HBA_UINT32 n = sizeof rsp;
		ASSERT_EQ(c.send(rsp, &n), HBA_STATUS_OK);
		auto f = frames();
		ASSERT_EQ(f.size(), 1u);
		const fchs_t &h = f[0].fchs;
		EXPECT_EQ(h.r_ctl, 0x22);
		EXPECT_EQ(std::memcmp(h.d_id, c.d_id, 3), 0);
		const uint8_t s_id[3] = {0x10, 0x00, 0x00};
		EXPECT_EQ(std::memcmp(h.s_id, s_id, 3), 0);
		EXPECT_EQ(h.type, 0x01);
		EXPECT_EQ(fc_get_be24(h.f_ctl), 0x290000u);
		EXPECT_EQ(fc_get_be16(h.rx_id), 0xFFFFu);
		EXPECT_EQ(f[0].dpwwn, c.dest);
		EXPECT_EQ(f[0].lpwwn, qt::wwn("20:00:02:5a:31:0a:f0:00"));
		EXPECT_EQ(f[0].tsecs, 20u);
		EXPECT_EQ(f[0].cos, (uint32_t)FC_CLASS_3);
		EXPECT_EQ(payload(), c.payload);
		EXPECT_EQ(rsp[0], c.reply);
		EXPECT_GE(n, 4u) << "the response's size comes back";
	}
}

TEST_F(Snia, LinkServiceRefusalsAndLibraryStatuses)
{
	uint8_t rsp[64];
	HBA_UINT32 n = sizeof rsp;
	EXPECT_EQ(t.SendRLSHandler(1, kNobody, kTgtA, rsp, &n), HBA_STATUS_ERROR_ILLEGAL_WWN);
	EXPECT_EQ(t.SendRNIDHandler(1, kNobody, NODE_WWN, rsp, &n), HBA_STATUS_ERROR_INVALID_HANDLE)
		<< "no port has logged it in";
	EXPECT_EQ(t.SendRLSHandler(1, kPort0, kNobody, rsp, &n), (HBA_STATUS)QOR_STATUS_UNKNOWN_RWWN)
		<< "the remote port's attributes, a library status";
	EXPECT_EQ(t.SendRLSHandler(1, kPort0, kTgtA, nullptr, &n), HBA_STATUS_ERROR_ARG);
	EXPECT_EQ(t.SendRLSHandler(1, kPort0, kTgtA, rsp, nullptr), HBA_STATUS_ERROR_ARG);

	qorsim_log_clear();
	ASSERT_EQ(qorsim_set_link(FC, 0, 0), 0);
	EXPECT_EQ(t.SendRLSHandler(1, kPort0, kTgtA, rsp, &n), (HBA_STATUS)QOR_STATUS_PORT_OFFLINE);
	EXPECT_EQ(frames().size(), 0u) << "nothing sent from an offline port";
	ASSERT_EQ(qorsim_set_link(FC, 0, 1), 0);
	ASSERT_EQ(qorsim_set_rport_online(FC, 0, qt::wwn("50:25:a3:40:10:3a:7c:00"), 0), 0);
	EXPECT_EQ(t.SendRLSHandler(1, kPort0, kTgtA, rsp, &n), (HBA_STATUS)QOR_STATUS_RPORT_OFFLINE);
	EXPECT_EQ(frames().size(), 0u);

	// A refused exchange is an error, its status printed, not returned.
	qorsim_fault_request(QOR_IOCTL_FCPT, -1, 0, QOR_STATUS_FAILED, 1);
	n = sizeof rsp;
	EXPECT_EQ(t.SendSRLHandler(1, kPort0, kFabric, 0x10, rsp, &n), HBA_STATUS_ERROR);
	EXPECT_EQ(t.SendSRLHandler(1, kPort0, kFabric, 0x10, rsp, &n), HBA_STATUS_OK);
}

TEST_F(Snia, RnidV2ChecksTheNameItGetsBack)
{
	alignas(8) uint8_t rsp[128];
	HBA_UINT32 n = sizeof rsp;
	EXPECT_EQ(t.SendRNIDV2Handler(1, kPort0, kTgtA, 0x011a00, 0xDF, rsp, &n), HBA_STATUS_OK);
	EXPECT_EQ(n, sizeof(fc_rnid_acc_t));
	EXPECT_EQ(std::memcmp(rsp + 8, kTgtA.wwn, 8), 0);

	// A buffer too short for the name: refused before sending.
	qorsim_log_clear();
	qt::Guarded<15> small;
	n = sizeof small.buf;
	EXPECT_EQ(t.SendRNIDV2Handler(1, kPort0, kTgtA, 0x011a00, 0xDF, small.buf, &n), HBA_STATUS_ERROR);
	EXPECT_EQ(frames().size(), 0u);
	n = sizeof small.buf;
	EXPECT_EQ(t.SendRNIDV2Handler(1, kPort0, kTgtA, 0, 0xDF, small.buf, &n), HBA_STATUS_OK)
		<< "no address, no check: the room is filled and the size reported";
	EXPECT_EQ(n, sizeof(fc_rnid_acc_t));
	EXPECT_TRUE(small.intact()) << "nothing written past the room";

	// A response cut short: nothing past it is compared.
	qorsim_san_fabric_fault(QORSIM_SAN_FAULT_RNID_SHORT);
	std::memset(rsp, 0, sizeof rsp);
	std::memcpy(rsp + 8, kTgtA.wwn, 8); // what a read past the response would find
	n = sizeof rsp;
	EXPECT_EQ(t.SendRNIDV2Handler(1, kPort0, kTgtA, 0x011a00, 0xDF, rsp, &n), HBA_STATUS_ERROR);
	EXPECT_EQ(n, 12u);
}

TEST_F(Snia, CtPassThroughToTheManagementServer)
{
	// GID_FT for FCP, built by the caller.
	alignas(8) uint8_t req[20] = {};
	auto *ct = reinterpret_cast<ct_hdr_t *>(req);
	ct->rev_id = CT_GS3_REVISION;
	ct->gs_type = CT_GSTYPE_DIRSERVICE;
	ct->gs_sub_type = CT_GSSUBTYPE_NAMESERVER;
	fc_put_be16(ct->cmd_rsp_code, GS_GID_FT);
	req[19] = FC_TYPE_FCP;
	alignas(8) uint8_t rsp[256] = {};
	HBA_UINT32 n = sizeof rsp;
	ASSERT_EQ(t.SendCTPassThruV2Handler(1, kPort0, req, sizeof req, rsp, &n), HBA_STATUS_OK);
	auto f = frames();
	ASSERT_EQ(f.size(), 1u);
	EXPECT_EQ(fc_get_be24(f[0].fchs.d_id), 0xFFFFFAu);
	EXPECT_EQ(f[0].fchs.r_ctl, 0x02);
	EXPECT_EQ(f[0].fchs.type, 0x20);
	EXPECT_EQ(f[0].dpwwn, 0u);
	EXPECT_EQ(f[0].nport_nexus_needed, 0);
	EXPECT_EQ(fc_get_be16(rsp + 8), CT_RSP_ACCEPT);
	// Our port and the three remote ports, the last one marked.
	ASSERT_EQ(n, 16u + 4 * 4);
	EXPECT_EQ(fc_get_be24(rsp + 17), 0x100000u);
	EXPECT_EQ(rsp[28], FC_GID_LAST);
	EXPECT_EQ(fc_get_be24(rsp + 29), 0x011c00u);

	// A reply larger than the room: what fits, and the full size.
	qt::Guarded<20> small;
	n = sizeof small.buf;
	EXPECT_EQ(t.SendCTPassThruV2Handler(1, kPort0, req, sizeof req, small.buf, &n), HBA_STATUS_OK);
	EXPECT_EQ(n, 32u);
	EXPECT_EQ(std::memcmp(small.buf, rsp, sizeof small.buf), 0);
	EXPECT_TRUE(small.intact());
	EXPECT_EQ(t.SendCTPassThruHandler(1, req, sizeof req, small.buf, sizeof small.buf), HBA_STATUS_OK);
	EXPECT_TRUE(small.intact());

	// Port name and features of an address.
	fc_put_be16(ct->cmd_rsp_code, GS_GPN_ID);
	req[17] = 0x01, req[18] = 0x1a, req[19] = 0x00;
	n = sizeof rsp;
	ASSERT_EQ(t.SendCTPassThruV2Handler(1, kPort0, req, sizeof req, rsp, &n), HBA_STATUS_OK);
	ASSERT_EQ(n, 24u);
	EXPECT_EQ(std::memcmp(rsp + 16, kTgtA.wwn, 8), 0);
	fc_put_be16(ct->cmd_rsp_code, GS_GFF_ID);
	n = sizeof rsp;
	ASSERT_EQ(t.SendCTPassThruV2Handler(1, kPort0, req, sizeof req, rsp, &n), HBA_STATUS_OK);
	EXPECT_EQ(rsp[16 + 7], FC_FEATURE_TARGET);

	// A point-to-point port has no fabric to ask.
	n = sizeof rsp;
	HBA_PORTATTRIBUTES p1;
	ASSERT_EQ(t.GetAdapterPortAttributesHandler(1, 1, &p1), HBA_STATUS_OK);
	EXPECT_EQ(t.SendCTPassThruV2Handler(1, p1.PortWWN, req, sizeof req, rsp, &n), HBA_STATUS_ERROR);
	EXPECT_EQ(t.SendCTPassThruV2Handler(1, kNobody, req, sizeof req, rsp, &n), HBA_STATUS_ERROR_ILLEGAL_WWN);
	EXPECT_EQ(t.SendCTPassThruHandler(5, req, sizeof req, rsp, sizeof rsp), HBA_STATUS_ERROR_INVALID_HANDLE);
}

TEST_F(Snia, RnidManagementInformation)
{
	HBA_MGMTINFO m;
	std::memset(&m, 0x33, sizeof m);
	ASSERT_EQ(t.GetRNIDMgmtInfoHandler(1, &m), HBA_STATUS_OK);
	EXPECT_EQ(std::memcmp(m.wwn.wwn, kPort0.wwn, 8), 0);
	EXPECT_EQ(m.unittype, 10u);
	EXPECT_EQ(m.PortId, 0x100000u);
	EXPECT_EQ(m.NumberOfAttachedNodes, 1u);
	EXPECT_EQ(m.IPVersion, 0);
	EXPECT_EQ(m.UDPPort, 0);
	EXPECT_EQ(m.TopologyDiscoveryFlags, 0xDF);
	EXPECT_EQ(m.reserved, 0x3333) << "not written";

	HBA_MGMTINFO set{.wwn = kPort0, .unittype = 3, .PortId = 0x10203, .NumberOfAttachedNodes = 4, .IPVersion = 6,
			 .UDPPort = 1234, .IPAddress = {}, .reserved = 0, .TopologyDiscoveryFlags = 0x80};
	set.IPAddress[15] = 9;
	ASSERT_EQ(t.SetRNIDMgmtInfoHandler(1, &set), HBA_STATUS_OK);
	qor_port_rnid_t r;
	ASSERT_EQ(qorl_port_get_rnid_info(qorl_adapter_get_port(1), &r), QOR_STATUS_OK);
	EXPECT_EQ(r.unittype, 3u);
	EXPECT_EQ(r.portid, 0x10203u);
	EXPECT_EQ(r.attached_nodes_num, 4u);
	EXPECT_EQ(r.ip_version, 6);
	EXPECT_EQ(r.udp_port, 1234);
	EXPECT_EQ(r.ipaddr[15], 9);
	EXPECT_EQ(r.topologydiscoveryflags, 0x80);
	EXPECT_EQ(t.SetRNIDMgmtInfoHandler(9, &set), HBA_STATUS_ERROR_INVALID_HANDLE);
}

TEST_F(Snia, PersistentBindingIsNotSupported)
{
	HBA_BIND_CAPABILITY c = 0;
	EXPECT_EQ(t.GetBindingCapabilityHandler(99, kNobody, &c), HBA_STATUS_OK);
	EXPECT_EQ(c, (HBA_BIND_CAPABILITY)HBA_CAN_BIND_TO_WWPN);
	c = 0;
	EXPECT_EQ(t.GetBindingSupportHandler(1, kPort0, &c), HBA_STATUS_OK);
	EXPECT_EQ(c, (HBA_BIND_CAPABILITY)HBA_CAN_BIND_TO_WWPN);
	HBA_FCPBINDING2 b;
	std::memset(&b, 0x44, sizeof b);
	for (HBA_WWN w : {kPort0, kNobody}) {
		const HBA_STATUS want = w.wwn[7] == kPort0.wwn[7] ? HBA_STATUS_ERROR_NOT_SUPPORTED
								  : HBA_STATUS_ERROR_ILLEGAL_WWN;
		EXPECT_EQ(t.SetBindingSupportHandler(1, w, HBA_CAN_BIND_TO_WWPN), want);
		EXPECT_EQ(t.GetPersistentBindingV2Handler(1, w, &b), want);
		EXPECT_EQ(t.SetPersistentBindingV2Handler(1, w, &b), want);
		EXPECT_EQ(t.RemovePersistentBindingHandler(1, w, &b), want);
		EXPECT_EQ(t.RemoveAllPersistentBindingsHandler(1, w), want);
	}
	EXPECT_EQ(b.NumberOfEntries, 0x44444444u) << "never written";
	HBA_FCPBINDING b1;
	EXPECT_EQ(t.GetFcpPersistentBindingHandler(1, &b1), HBA_STATUS_ERROR_NOT_SUPPORTED);
	EXPECT_EQ(t.GetFcpPersistentBindingHandler(7, &b1), HBA_STATUS_ERROR_INVALID_HANDLE);
	EXPECT_EQ(t.SendRPLHandler(1, kPort0, kFabric, 1, 0, nullptr, nullptr), HBA_STATUS_ERROR_NOT_SUPPORTED);
	EXPECT_EQ(t.SendRPSHandler(1, kPort0, kFabric, 1, kPort0, 0, nullptr, nullptr), HBA_STATUS_ERROR_NOT_SUPPORTED);
}

// ---- events --------------------------------------------------------------------------------

// SNIA callbacks record into a qt::Recorder: event is the SNIA type, key the
// first WWN, id the port's address.
void on_adapter(void *ud, HBA_WWN pwwn, HBA_UINT32 type)
{
	static_cast<qt::Recorder *>(ud)->add({0, (int)type, 0, w64(pwwn)});
}
void on_port(void *ud, HBA_WWN pwwn, HBA_UINT32 type, HBA_UINT32 fcid)
{
	static_cast<qt::Recorder *>(ud)->add({0, (int)type, fcid, w64(pwwn)});
}
void on_target(void *ud, HBA_WWN l, HBA_WWN, HBA_UINT32 type)
{
	static_cast<qt::Recorder *>(ud)->add({0, (int)type, 0, w64(l)});
}

TEST_F(Snia, EventsReachCallbacksInSniaForm)
{
	qt::Recorder ports, targets, adapters;
	HBA_CALLBACKHANDLE hp, ht, ha;
	ASSERT_EQ(t.RegisterForAdapterPortEventsHandler(on_port, &ports, 1, kPort0, &hp), HBA_STATUS_OK);
	ASSERT_EQ(t.RegisterForTargetEventsHandler(on_target, &targets, 1, kPort0, kNobody, &ht, 1), HBA_STATUS_OK);
	ASSERT_EQ(t.RegisterForAdapterAddEventsHandler(on_adapter, &adapters, &ha), HBA_STATUS_OK);

	ASSERT_EQ(qorsim_set_link(FC, 0, 0), 0);
	ASSERT_EQ(qorsim_set_link(FC, 0, 1), 0);
	ASSERT_TRUE(ports.wait_count(2));
	auto p = ports.calls();
	EXPECT_EQ(p[0].event, HBA_EVENT_PORT_OFFLINE);
	EXPECT_EQ(p[0].key, w64(kPort0));
	EXPECT_EQ(p[1].event, HBA_EVENT_PORT_ONLINE);
	EXPECT_EQ(p[1].id, 0x100000u) << "the port's address as a number";
	ASSERT_TRUE(targets.wait_count(4)) << "every target of the port (allTargets)";
	auto tg = targets.calls();
	EXPECT_EQ(tg[0].event, HBA_EVENT_TARGET_OFFLINE);
	EXPECT_EQ(tg[3].event, HBA_EVENT_TARGET_ONLINE);

	// Additions of any adapter; the queue of the adapter's function is watched
	// because the port subscription's controller shares its driver node.
	ASSERT_EQ(qorsim_adapter_event(1, QOR_ADAPTER_AEN_ADD), 0);
	ASSERT_TRUE(adapters.wait_count(1));
	EXPECT_EQ(adapters.calls()[0].event, HBA_EVENT_ADAPTER_ADD);
	EXPECT_EQ(adapters.calls()[0].key, w64(kFcoe0));

	EXPECT_EQ(t.RemoveCallbackHandler(ht), HBA_STATUS_OK);
	EXPECT_EQ(t.RemoveCallbackHandler(ht), HBA_STATUS_ERROR) << "a second removal";
	EXPECT_EQ(t.RemoveCallbackHandler(hp), HBA_STATUS_OK);
	EXPECT_EQ(t.RemoveCallbackHandler(ha), HBA_STATUS_OK);
	HBA_CALLBACKHANDLE none = nullptr;
	EXPECT_EQ(t.RegisterForAdapterPortStatEventsHandler(ignore_adapter, nullptr, 1, kPort0, HBA_PORTSTATISTICS{}, 0,
							    &none),
		  HBA_STATUS_ERROR_NOT_SUPPORTED);
	EXPECT_EQ(t.RegisterForLinkEventsHandler(nullptr, nullptr, nullptr, 0, 1, &none), HBA_STATUS_ERROR_NOT_SUPPORTED);
	EXPECT_EQ(none, nullptr);
}

TEST_F(Snia, AdapterEventsOfAnAdapter)
{
	qt::Recorder ev, watch;
	HBA_CALLBACKHANDLE h, hw2;
	ASSERT_EQ(t.RegisterForAdapterEventsHandler(on_adapter, &ev, 1, &h), HBA_STATUS_OK);
	// The adapter handle watches its first controller's queue.
	ASSERT_EQ(qorsim_adapter_event(0, QOR_ADAPTER_AEN_REMOVE), 0);
	ASSERT_TRUE(ev.wait_count(1));
	EXPECT_EQ(ev.calls()[0].event, HBA_EVENT_ADAPTER_REMOVE);
	EXPECT_EQ(ev.calls()[0].key, w64(kPort0));
	// Handle 0 names no adapter: a subscription to additions of any adapter.
	ASSERT_EQ(t.RegisterForAdapterEventsHandler(on_adapter, &watch, 0, &hw2), HBA_STATUS_OK);
	ASSERT_EQ(qorsim_adapter_event(0, QOR_ADAPTER_AEN_ADD), 0);
	ASSERT_TRUE(watch.wait_count(1));
	EXPECT_EQ(watch.calls()[0].event, HBA_EVENT_ADAPTER_ADD);
	// Removed before the recorders go: a call still running is waited for.
	EXPECT_EQ(t.RemoveCallbackHandler(h), HBA_STATUS_OK);
	EXPECT_EQ(t.RemoveCallbackHandler(hw2), HBA_STATUS_OK);
}

TEST_F(Snia, DirectDeliveryReachesSniaSubscribers)
{
	qt::Recorder ev;
	HBA_CALLBACKHANDLE h;
	ASSERT_EQ(t.RegisterForAdapterPortEventsHandler(on_port, &ev, 1, kPort0, &h), HBA_STATUS_OK);
	qor_lport_aen_data_t d{};
	d.lpwwn = w64(kPort0);
	ASSERT_EQ(qorl_lport_windows_event(qorl_adapter_get_port(1), &d, QOR_LPORT_AEN_ONLINE, qor_timeval_t{}),
		  QOR_STATUS_OK);
	ASSERT_EQ(ev.calls().size(), 1u) << "called on this thread, before the delivery returned";
	EXPECT_EQ(ev.calls()[0].event, HBA_EVENT_PORT_ONLINE);
	EXPECT_EQ(ev.calls()[0].id, 0x100000u);
	EXPECT_EQ(t.RemoveCallbackHandler(h), HBA_STATUS_OK);
}

// Two callbacks on two threads, each removing the other's subscription while
// both run: neither waits for the other.
struct Crossing {
	std::mutex mu;
	std::condition_variable cv;
	int running = 0;
	HBA_CALLBACKHANDLE other[2];
	HBA_STATUS removed[2] = {99, 99};
};

template <int I> void crossing_cb(void *ud, HBA_WWN, HBA_UINT32, HBA_UINT32)
{
	auto *c = static_cast<Crossing *>(ud);
	{
		std::unique_lock lk(c->mu);
		if (c->removed[I] != 99)
			return;
		c->running++;
		c->cv.notify_all();
		c->cv.wait_for(lk, std::chrono::seconds(30), [&] { return c->running >= 2; });
	}
	const HBA_STATUS st = QOR_RemoveCallback(c->other[I]);
	std::lock_guard lk(c->mu);
	c->removed[I] = st;
	c->cv.notify_all();
}

TEST_F(Snia, CallbacksRemovingEachOtherDoNotWait)
{
	Crossing c;
	HBA_CALLBACKHANDLE h0, h1;
	const HBA_WWN port1 = hw("20:00:02:5a:31:0a:f0:01");
	ASSERT_EQ(t.RegisterForAdapterPortEventsHandler(crossing_cb<0>, &c, 1, kPort0, &h0), HBA_STATUS_OK);
	ASSERT_EQ(t.RegisterForAdapterPortEventsHandler(crossing_cb<1>, &c, 1, port1, &h1), HBA_STATUS_OK);
	c.other[0] = h1;
	c.other[1] = h0;
	// The reader calls h0 for port 0; this thread calls h1 for port 1.
	ASSERT_EQ(qorsim_set_link(FC, 0, 0), 0);
	qor_lport_aen_data_t d{};
	d.lpwwn = w64(port1);
	qorl_lport_windows_event(qorl_adapter_get_fcioc(qorl_adapter_get_by_idx(1), 1), &d, QOR_LPORT_AEN_OFFLINE,
				 qor_timeval_t{});
	std::unique_lock lk(c.mu);
	ASSERT_TRUE(c.cv.wait_for(lk, std::chrono::seconds(30), [&] { return c.removed[0] != 99; }));
	EXPECT_EQ(c.removed[0], HBA_STATUS_OK);
	EXPECT_EQ(c.removed[1], HBA_STATUS_OK);
}

// ---- target mapping and SCSI ---------------------------------------------------------------

template <class M> std::unique_ptr<M, decltype(&std::free)> mapping(uint32_t room)
{
	auto *m = static_cast<M *>(std::calloc(1, sizeof(M) + room * sizeof(M::entry[0])));
	m->NumberOfEntries = room;
	return {m, &std::free};
}

TEST_F(Snia, TargetMappingWithDeviceNames)
{
	auto m = mapping<HBA_FCPTARGETMAPPINGV2>(16);
	std::memset(m->entry, 'x', 16 * sizeof m->entry[0]);
	ASSERT_EQ(t.GetFcpTargetMappingV2Handler(1, kPort0, m.get()), HBA_STATUS_OK);
	ASSERT_EQ(m->NumberOfEntries, 6u) << "4 LUNs of one target, 2 of the other; no initiator";
	struct {
		const char *dev;
		uint32_t target, lun;
		uint8_t lun0, lun1;
		uint32_t fcid;
	} const want[] = {
		{"/dev/sda", 0, 0, 0x00, 0x00, 0x011a00}, {"/dev/sdb", 0, 1, 0x00, 0x01, 0x011a00},
		{"/dev/sdc", 0, 2, 0x00, 0x02, 0x011a00}, {"/dev/sdd", 0, 300, 0x41, 0x2c, 0x011a00},
		{"/dev/sde", 1, 0, 0x00, 0x00, 0x011b00}, {"/dev/sdf", 1, 1, 0x00, 0x01, 0x011b00},
	};
	for (size_t i = 0; i < 6; i++) {
		SCOPED_TRACE(i);
		const HBA_FCPSCSIENTRYV2 &e = m->entry[i];
		EXPECT_STREQ(e.ScsiId.OSDeviceName, want[i].dev) << "every layout of the sysfs tree";
		EXPECT_EQ(e.ScsiId.OSDeviceName[255], '\0');
		EXPECT_EQ(e.ScsiId.ScsiBusNumber, 0u);
		EXPECT_EQ(e.ScsiId.ScsiTargetNumber, want[i].target);
		EXPECT_EQ(e.ScsiId.ScsiOSLun, want[i].lun);
		EXPECT_EQ(e.FcpId.FcId, want[i].fcid);
		uint8_t lun[8];
		std::memcpy(lun, &e.FcpId.FcpLun, 8);
		EXPECT_EQ(lun[0], want[i].lun0) << "the LUN bytes as REPORT LUNS sent them";
		EXPECT_EQ(lun[1], want[i].lun1);
		for (char c : e.LUID.buffer)
			ASSERT_EQ(c, 0);
	}
	EXPECT_EQ(std::memcmp(m->entry[0].FcpId.PortWWN.wwn, kTgtA.wwn, 8), 0);
	EXPECT_EQ(m->entry[6].ScsiId.OSDeviceName[0], 'x') << "nothing past the entries";

	// Room for fewer: the room filled and the number needed.
	auto small = mapping<HBA_FCPTARGETMAPPING>(2);
	EXPECT_EQ(t.GetFcpTargetMappingHandler(1, small.get()), HBA_STATUS_ERROR_MORE_DATA);
	EXPECT_EQ(small->NumberOfEntries, 6u);
	EXPECT_STREQ(small->entry[1].ScsiId.OSDeviceName, "/dev/sdb");
	EXPECT_EQ(t.GetFcpTargetMappingV2Handler(1, kNobody, m.get()), HBA_STATUS_ERROR_ILLEGAL_WWN);

	// A target without units, and one whose REPORT LUNS fails: listed once with LUN 0.
	ASSERT_EQ(qorsim_scsi_set_luns(FC, 0, qt::wwn("50:25:a3:40:10:3a:7c:00"), nullptr, 0), 0);
	ASSERT_EQ(qorsim_scsi_fault(FC, 0, qt::wwn("50:25:a3:40:10:3a:7c:01"), QORSIM_SCSI_FAULT_NO_ANSWER, 0), 0);
	m->NumberOfEntries = 16;
	ASSERT_EQ(t.GetFcpTargetMappingV2Handler(1, kPort0, m.get()), HBA_STATUS_OK);
	ASSERT_EQ(m->NumberOfEntries, 2u);
	EXPECT_EQ(m->entry[0].FcpId.FcpLun, 0u);
	EXPECT_EQ(m->entry[1].ScsiId.ScsiTargetNumber, 1u);

	// Only initiators: no entry.
	topology(R"({"adapters":[{"functions":[{"type":"fc","fcport":{"rports":[{"role":"initiator"}]}}]}]})");
	free_all();
	ASSERT_EQ(t.LoadLibraryHandler(), HBA_STATUS_OK);
	m->NumberOfEntries = 16;
	ASSERT_EQ(t.GetFcpTargetMappingHandler(1, reinterpret_cast<HBA_FCPTARGETMAPPING *>(m.get())), HBA_STATUS_OK);
	EXPECT_EQ(m->NumberOfEntries, 0u);
}

qor_ioctl_scsi_t last_scsi()
{
	auto l = sent<qor_ioctl_scsi_t>(QOR_IOCTL_SCSI);
	return l.empty() ? qor_ioctl_scsi_t{} : l.back();
}

TEST_F(Snia, ScsiCommandsBothVersions)
{
	uint8_t rsp[256], sense[96];
	// INQUIRY version 1: the local port is the one that logged the target in.
	qorsim_log_clear();
	ASSERT_EQ(t.ScsiInquiryHandler(1, kTgtA, 0, 1, 0x80, rsp, 96, sense, sizeof sense), HBA_STATUS_OK);
	qor_ioctl_scsi_t r = last_scsi();
	const uint8_t cdb[6] = {0x12, 0x01, 0x80, 0x00, 0x60, 0x00};
	EXPECT_EQ(std::memcmp(r.cdb.scsi_cdb, cdb, 6), 0);
	EXPECT_EQ(r.lpwwn, qt::wwn("20:00:02:5a:31:0a:f0:00"));
	EXPECT_EQ(rsp[1], 0x80) << "the unit serial number page";
	EXPECT_EQ(t.ScsiInquiryHandler(1, kNobody, 0, 0, 0, rsp, 96, sense, sizeof sense),
		  HBA_STATUS_ERROR_INVALID_HANDLE);

	// READ CAPACITY of LUN 1 (as the mapping names it), both versions.
	const HBA_UINT64 lun1 = 0x0100; // bytes 00 01 00 ... in wire order
	ASSERT_EQ(t.ReadCapacityHandler(1, kTgtA, lun1, rsp, 8, sense, sizeof sense), HBA_STATUS_OK);
	EXPECT_EQ(last_scsi().lun, lun1);
	EXPECT_EQ(fc_get_be32(rsp), 0xFFFFFFFFu) << "a 3 TiB unit";
	HBA_UINT32 n = 8, sn = sizeof sense;
	HBA_UINT8 st = 0x77;
	ASSERT_EQ(t.ScsiReadCapacityV2Handler(1, kPort0, kTgtA, 0, rsp, &n, &st, sense, &sn), HBA_STATUS_OK);
	EXPECT_EQ(st, 0);
	EXPECT_EQ(n, 8u) << "not changed";

	// A CHECK CONDITION: status 9, the SCSI status and the sense length back.
	n = 8, sn = sizeof sense;
	ASSERT_EQ(t.ScsiReadCapacityV2Handler(1, kPort0, kTgtA, 0x0700, rsp, &n, &st, sense, &sn),
		  HBA_STATUS_SCSI_CHECK_CONDITION);
	EXPECT_EQ(st, 2);
	EXPECT_EQ(sn, 18u);
	EXPECT_EQ(sense[12], 0x25) << "LOGICAL UNIT NOT SUPPORTED";
	EXPECT_EQ(t.ReadCapacityHandler(1, kTgtA, 0x0700, rsp, 8, sense, sizeof sense), HBA_STATUS_SCSI_CHECK_CONDITION);

	// REPORT LUNS: the first 64 bytes into a 64-byte buffer; version 2 tells what it copied.
	qt::Guarded<64> g;
	ASSERT_EQ(t.ReportLUNsHandler(1, kTgtA, g.buf, sizeof g.buf, sense, sizeof sense), HBA_STATUS_OK);
	EXPECT_EQ(fc_get_be32(g.buf), 32u) << "four LUNs";
	EXPECT_TRUE(g.intact());
	qt::Guarded<16> g2;
	n = sizeof g2.buf, sn = sizeof sense;
	ASSERT_EQ(t.ScsiReportLUNsV2Handler(1, kPort0, kTgtA, g2.buf, &n, &st, sense, &sn), HBA_STATUS_OK);
	EXPECT_EQ(n, 16u) << "bytes copied";
	EXPECT_TRUE(g2.intact());
	n = sizeof rsp;
	ASSERT_EQ(t.ScsiReportLUNsV2Handler(1, kPort0, kTgtA, rsp, &n, &st, sense, &sn), HBA_STATUS_OK);
	EXPECT_EQ(n, 40u);
	EXPECT_EQ(t.ScsiReportLUNsV2Handler(1, kNobody, kTgtA, rsp, &n, &st, sense, &sn), HBA_STATUS_ERROR_ILLEGAL_WWN);
	EXPECT_EQ(t.ScsiInquiryV2Handler(1, kPort0, kTgtA, 0, 0, 0, rsp, nullptr, &st, sense, &sn),
		  HBA_STATUS_ERROR_ARG);

	// A library failure is an error; its status is printed.
	qorsim_fault_request(QOR_IOCTL_SCSI, -1, EIO, 0, 1);
	n = 96;
	EXPECT_EQ(t.ScsiInquiryV2Handler(1, kPort0, kTgtA, 0, 0, 0, rsp, &n, &st, sense, &sn), HBA_STATUS_ERROR);
}

// ---- the event buffer ---------------------------------------------------------------------------

qor_aen_entry_t port_event(int type, wwn_t pwwn, uint32_t id)
{
	qor_aen_data_t d{};
	d.port.pwwn = pwwn;
	return qt::entry(QOR_AEN_CAT_PORT, type, d, id);
}

TEST_F(Snia, EventBufferKeepsPortOnlineAndOffline)
{
	const wwn_t p0 = w64(kPort0);
	qor_aen_data_t ad{};
	const qor_aen_entry_t v[] = {
		port_event(QOR_PORT_AEN_ONLINE, p0, 1),
		qt::entry(QOR_AEN_CAT_ADAPTER, QOR_ADAPTER_AEN_ADD, ad, 2),
		port_event(QOR_PORT_AEN_OFFLINE, p0, 3),
		port_event(QOR_PORT_AEN_SFP_POM, p0, 4),
	};
	ASSERT_EQ(qorsim_inject_events(FC, 0, v, 4), 0);
	HBA_EVENTINFO e[10];
	std::memset(e, 0x66, sizeof e);
	HBA_UINT32 n = 10;
	ASSERT_EQ(t.GetEventBufferHandler(1, e, &n), HBA_STATUS_OK);
	ASSERT_EQ(n, 2u);
	EXPECT_EQ(e[0].EventCode, (HBA_UINT32)HBA_EVENT_PORT_ONLINE);
	EXPECT_EQ(e[0].Event.Link_EventInfo.PortFcId, 0x100000u);
	EXPECT_EQ(e[1].EventCode, (HBA_UINT32)HBA_EVENT_PORT_OFFLINE);
	EXPECT_EQ(e[1].Event.Link_EventInfo.Reserved[2], 0u);
	EXPECT_EQ(e[2].EventCode, 0x66666666u) << "nothing past the records written";
	EXPECT_EQ(qorsim_event_count(FC, 0, qor_aen_app_snia), 0);
}

TEST_F(Snia, EventBufferFetchesAtMost64AndOnlyWhatFits)
{
	std::vector<qor_aen_entry_t> v;
	for (uint32_t i = 0; i < 150; i++)
		v.push_back(port_event(QOR_PORT_AEN_ONLINE, w64(kPort0), i));
	ASSERT_EQ(qorsim_inject_events(FC, 0, v.data(), v.size()), 0);
	std::vector<HBA_EVENTINFO> e(100000);
	HBA_UINT32 n = 100000;
	qorsim_log_clear();
	ASSERT_EQ(t.GetEventBufferHandler(1, e.data(), &n), HBA_STATUS_OK);
	EXPECT_EQ(n, 150u);
	for (auto &r : sent<qor_ioctl_aen_t>(QOR_IOCTL_AEN_GET))
		EXPECT_LE(r.aen_count, 64) << "a bounded fetch";
	ASSERT_EQ(qorsim_inject_events(FC, 0, v.data(), 10), 0);
	n = 3;
	ASSERT_EQ(t.GetEventBufferHandler(1, e.data(), &n), HBA_STATUS_OK);
	EXPECT_EQ(n, 3u);
	EXPECT_EQ(qorsim_event_count(FC, 0, qor_aen_app_snia), 7) << "only what fits is consumed";
	EXPECT_EQ(t.GetEventBufferHandler(9, e.data(), &n), HBA_STATUS_ERROR_INVALID_HANDLE);
	EXPECT_EQ(t.GetEventBufferHandler(1, nullptr, &n), HBA_STATUS_ERROR_ARG);
}

// ---- CPQFC by name ----------------------------------------------------------------------------

struct Cpqfc {
	void *lib = dlopen((std::string(QORL_BINARY_DIR) + "/libqorl.so.1").c_str(), RTLD_NOW);
	template <class F> F *sym(const char *name) { return reinterpret_cast<F *>(dlsym(lib, name)); }
	~Cpqfc()
	{
		if (lib)
			dlclose(lib);
	}
};

class Cpqfc_ : public qt::SimTest {};

TEST_F(Cpqfc_, EntryPointsByNameAndTheirRecord)
{
	topology(R"({"adapters":[
	  {"serial":"QXA0000B001","hwpath":"0000:0b:00",
	   "pci":{"vendor_id":"0xf1e0","device_id":"0x13","ssid":"0x113","ssvid":"0xf1e0"},
	   "functions":[{"type":"fc","pwwn":"20:00:00:00:00:00:0b:01","hwpath":"0000:0b:00.1"}]},
	  {"serial":"QXA0000C002","hwpath":"0001:04:1f",
	   "functions":[{"type":"fc","pwwn":"20:00:00:00:00:00:04:07","hwpath":"0001:04:1f.7"}]}]})");
	Cpqfc c;
	ASSERT_NE(c.lib, nullptr) << dlerror();
	auto load = c.sym<HBA_STATUS()>("CPQFC_LoadLibrary");
	auto count = c.sym<HBA_UINT32()>("CPQFC_GetNumberOfAdapters");
	auto name = c.sym<HBA_STATUS(HBA_UINT32, char *)>("CPQFC_GetAdapterName");
	auto open = c.sym<HBA_HANDLE(char *)>("CPQFC_OpenAdapter");
	auto attrs = c.sym<HBA_STATUS(HBA_HANDLE, CPQFC_ADAPTERATTRIBUTES *)>("CPQFC_GetAdapterAttributes");
	auto attrs2 = c.sym<HBA_STATUS(HBA_HANDLE, CPQFC_ADAPTERATTRIBUTES *)>("CPQFC_GetAdapterAttributes2");
	auto port = c.sym<HBA_STATUS(HBA_HANDLE, HBA_UINT32, CPQFC_PORTATTRIBUTES *)>("CPQFC_GetAdapterPortAttributes");
	auto scsi = c.sym<HBA_STATUS(HBA_HANDLE, HBA_WWN, FCP_CMD *, void *, HBA_UINT32, FCP_RSP *)>(
		"CPQFC_SendScsiCommand");
	for (void *f : {(void *)load, (void *)count, (void *)name, (void *)open, (void *)attrs, (void *)attrs2,
			(void *)port, (void *)scsi, c.sym<void>("CPQFC_FreeLibrary"), c.sym<void>("CPQFC_CloseAdapter"),
			c.sym<void>("CPQFC_GetDiscoveredPortAttributes")})
		ASSERT_NE(f, nullptr);

	EXPECT_EQ(count(), 0u) << "nothing before the load";
	ASSERT_EQ(load(), HBA_STATUS_OK);
	EXPECT_EQ(count(), 2u);
	char n[256];
	ASSERT_EQ(name(1, n), HBA_STATUS_OK);
	EXPECT_STREQ(n, "QXA0000C002");
	EXPECT_EQ(open(n), 2u);

	struct {
		HBA_HANDLE h;
		uint32_t vendor_specific, subsystem;
		uint8_t bus, devfunc, domain;
	} const rows[] = {
		{1, 0x0013f1e0, 0x0113f1e0, 0x0b, 0x01, 0x00},
		{2, 0x0013f1e0, 0x0113f1e0, 0x04, 0xff, 0x01},
	};
	for (const auto &w : rows) {
		SCOPED_TRACE(w.h);
		CPQFC_ADAPTERATTRIBUTES a;
		std::memset(&a, 'z', sizeof a);
		ASSERT_EQ(attrs(w.h, &a), HBA_STATUS_OK);
		// The SNIA part, as the SNIA query fills it.
		qorl_t *q = qorl_adapter_get_port((int)w.h);
		qor_ioc_attr_t ia;
		ASSERT_EQ(qorl_ioc_get_attr(q, &ia), QOR_STATUS_OK);
		const auto &ad = ia.adapter_attr;
		for (auto [got, want] : {std::pair<const char *, const char *>{a.Manufacturer, ad.manufacturer},
					 {a.SerialNumber, ad.serial_num}, {a.Model, ad.model},
					 {a.ModelDescription, ad.model_descr}, {a.NodeSymbolicName, ad.node_symname},
					 {a.HardwareVersion, ad.hw_ver}, {a.DriverVersion, ia.driver_attr.driver_ver},
					 {a.OptionROMVersion, ad.optrom_ver}, {a.FirmwareVersion, ad.fw_ver},
					 {a.DriverName, ia.driver_attr.driver}})
			EXPECT_STREQ(got, want);
		EXPECT_EQ(std::memcmp(a.NodeWWN.wwn, &q->nwwn, 8), 0);
		EXPECT_EQ(a.NumberOfPorts, 1u);
		EXPECT_EQ(a.Manufacturer[63], '\0');
		EXPECT_EQ(a.DriverName[255], '\0');
		// The PCI identity and location.
		EXPECT_EQ(a.VendorSpecificID, w.vendor_specific);
		EXPECT_EQ(a.SubsystemID, w.subsystem);
		EXPECT_EQ(a.BusID, w.bus);
		EXPECT_EQ(a.DevFuncID, w.devfunc);
		EXPECT_EQ(a.DomainID, w.domain);
		CPQFC_ADAPTERATTRIBUTES b;
		std::memset(&b, 'z', sizeof b);
		ASSERT_EQ(attrs2(w.h, &b), HBA_STATUS_OK);
		EXPECT_EQ(std::memcmp(&a, &b, offsetof(CPQFC_ADAPTERATTRIBUTES, DomainID) + 1), 0);
	}
	CPQFC_ADAPTERATTRIBUTES a;
	EXPECT_EQ(attrs(3, &a), HBA_STATUS_ERROR_INVALID_HANDLE);
	HBA_PORTATTRIBUTES pa;
	EXPECT_EQ(port(1, 0, &pa), HBA_STATUS_ERROR_NOT_SUPPORTED);
	uint8_t data[4] = {1, 2, 3, 4};
	EXPECT_EQ(scsi(1, HBA_WWN{}, nullptr, data, sizeof data, nullptr), HBA_STATUS_ERROR_NOT_SUPPORTED);
	EXPECT_EQ(data[3], 4);
}

} // namespace
