// Registration with a SNIA wrapper, the load and free of the library on its
// behalf, and the QOR_ entry points of the wrapper's table.
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <pthread.h>

#include "qorl_adapter.h"
#include "qorl_aen.h"
#include "qorl_snia.h"
#include "qorl_snia_int.h"

// The version 2 table begins with the version 1 table.
static_assert(sizeof(HBA_ENTRYPOINTS) == 24 * sizeof(void (*)(void)));
static_assert(sizeof(HBA_ENTRYPOINTSV2) == 54 * sizeof(void (*)(void)));
static_assert(offsetof(HBA_ENTRYPOINTSV2, ReadCapacityHandler) == offsetof(HBA_ENTRYPOINTS, ReadCapacityHandler));

namespace qorl::snia {
namespace {

// Lock order: life_mutex, then calls_lock, then snia_mutex; callbacks run
// with none of them held.
pthread_mutex_t life_mutex = PTHREAD_MUTEX_INITIALIZER;   // one load or free at a time
pthread_rwlock_t calls_lock = PTHREAD_RWLOCK_INITIALIZER; // calls against initialisation and teardown
pthread_mutex_t snia_mutex = PTHREAD_MUTEX_INITIALIZER;   // loads and the subscription list

std::atomic<unsigned> loads{0};      // SNIA loads not yet freed; changed under snia_mutex
std::atomic<bool> cpq_ready{false};  // a CPQFC load holds the library
bool initialised;                    // identity set and configuration read; under life_mutex

struct sub {
	void *h;
	sub_kind k;
	sub *next;
};
sub *subs; // under snia_mutex

void set_loads(unsigned n)
{
	pthread_mutex_lock(&snia_mutex);
	loads.store(n);
	pthread_mutex_unlock(&snia_mutex);
}

qor_status_t initialise()
{
	if (initialised)
		return QOR_STATUS_OK;
	qorl_libinit(qor_aen_app_snia);
	initialised = true;
	return qorl_libload();
}

} // namespace

bool loaded()
{
	return loads.load() > 0 || cpq_ready.load();
}

void call_begin()
{
	pthread_rwlock_rdlock(&calls_lock);
}

void call_end()
{
	pthread_rwlock_unlock(&calls_lock);
}

bool track(void *h, sub_kind k)
{
	auto *n = static_cast<sub *>(std::malloc(sizeof(sub)));
	if (!n)
		return false;
	pthread_mutex_lock(&snia_mutex);
	const bool ok = loads.load() > 0;
	if (ok) {
		*n = {h, k, subs};
		subs = n;
	}
	pthread_mutex_unlock(&snia_mutex);
	if (!ok)
		std::free(n);
	return ok;
}

bool untrack(void *h, sub_kind *k)
{
	pthread_mutex_lock(&snia_mutex);
	sub **link = &subs;
	while (*link && (*link)->h != h)
		link = &(*link)->next;
	sub *n = *link;
	if (n) {
		*link = n->next;
		*k = n->k;
	}
	pthread_mutex_unlock(&snia_mutex);
	std::free(n);
	return n != nullptr;
}

void cpqfc_load()
{
	pthread_mutex_lock(&life_mutex);
	// A SNIA load holds a current inventory, which subscriptions point into.
	if (loads.load() == 0) {
		pthread_rwlock_wrlock(&calls_lock);
		(void)initialise();
		qorl_adapter_get_init();
		cpq_ready.store(true);
		pthread_rwlock_unlock(&calls_lock);
	}
	pthread_mutex_unlock(&life_mutex);
}

} // namespace qorl::snia

namespace {

using qorl::snia::guarded;

// Before a load (or after the last free) no handle means anything.
constexpr HBA_STATUS kNotLoaded = HBA_STATUS_ERROR_INVALID_HANDLE;

// An entry point that forwards its arguments, unchanged, within a call.
template <auto Fn, class R, class... A> R fwd(R refused, A... a)
{
	return guarded(refused, [&] { return Fn(a...); });
}
template <auto Fn, class... A> void fwd_void(A... a)
{
	guarded([&] { Fn(a...); });
}

} // namespace

extern "C" {

// ---- registration ------------------------------------------------------------------

HBA_STATUS HBA_RegisterLibrary(HBA_ENTRYPOINTS *e)
{
	if (!e)
		return HBA_STATUS_ERROR_ARG;
	e->GetVersionHandler = QOR_GetVersion;
	e->LoadLibraryHandler = QOR_LoadLibrary;
	e->FreeLibraryHandler = QOR_FreeLibrary;
	e->GetNumberOfAdaptersHandler = QOR_GetNumberOfAdapters;
	e->GetAdapterNameHandler = QOR_GetAdapterName;
	e->OpenAdapterHandler = QOR_OpenAdapter;
	e->CloseAdapterHandler = QOR_CloseAdapter;
	e->GetAdapterAttributesHandler = QOR_GetAdapterAttributes;
	e->GetAdapterPortAttributesHandler = QOR_GetAdapterPortAttributes;
	e->GetPortStatisticsHandler = QOR_GetPortStatistics;
	e->GetDiscoveredPortAttributesHandler = QOR_GetDiscoveredPortAttributes;
	e->GetPortAttributesByWWNHandler = QOR_GetPortAttributesByWWN;
	e->SendCTPassThruHandler = QOR_HBA_SendCTPassThru;
	e->RefreshInformationHandler = QOR_RefreshInformation;
	e->ResetStatisticsHandler = QOR_HBA_ResetStatistics;
	e->GetFcpTargetMappingHandler = QOR_HBA_GetFcpTargetMapping;
	e->GetFcpPersistentBindingHandler = QOR_HBA_GetFcpPersistentBinding;
	e->GetEventBufferHandler = QOR_HBA_GetEventBuffer;
	e->SetRNIDMgmtInfoHandler = QOR_HBA_SetRNIDMgmtInfo;
	e->GetRNIDMgmtInfoHandler = QOR_HBA_GetRNIDMgmtInfo;
	e->SendRNIDHandler = QOR_HBA_SendRNID;
	e->ScsiInquiryHandler = QOR_HBA_SendScsiInquiry;
	e->ReportLUNsHandler = QOR_HBA_SendReportLUNs;
	e->ReadCapacityHandler = QOR_HBA_SendReadCapacity;
	return HBA_STATUS_OK;
}

HBA_STATUS HBA_RegisterLibraryV2(HBA_ENTRYPOINTSV2 *e)
{
	if (!e)
		return HBA_STATUS_ERROR_ARG;
	HBA_RegisterLibrary(reinterpret_cast<HBA_ENTRYPOINTS *>(e));
	e->OpenAdapterByWWNHandler = QOR_OpenAdapterByWWN;
	e->GetFcpTargetMappingV2Handler = QOR_HBA_GetFcpTargetMappingV2;
	e->SendCTPassThruV2Handler = QOR_HBA_SendCTPassThruV2;
	e->RefreshAdapterConfigurationHandler = QOR_RefreshAdapterConfiguration;
	e->GetBindingCapabilityHandler = QOR_HBA_GetBindingCapability;
	e->GetBindingSupportHandler = QOR_HBA_GetBindingSupport;
	e->SetBindingSupportHandler = QOR_HBA_SetBindingSupport;
	e->SetPersistentBindingV2Handler = QOR_HBA_SetPersistentBindingV2;
	e->GetPersistentBindingV2Handler = QOR_HBA_GetPersistentBindingV2;
	e->RemovePersistentBindingHandler = QOR_HBA_RemovePersistentBinding;
	e->RemoveAllPersistentBindingsHandler = QOR_HBA_RemoveAllPersistentBindings;
	e->SendRNIDV2Handler = QOR_HBA_SendRNIDV2;
	e->ScsiInquiryV2Handler = QOR_HBA_SendScsiInquiryV2;
	e->ScsiReportLUNsV2Handler = QOR_HBA_SendReportLUNsV2;
	e->ScsiReadCapacityV2Handler = QOR_HBA_SendReadCapacityV2;
	e->GetVendorLibraryAttributesHandler = QOR_HBA_GetVendorLibraryAttributes;
	e->RemoveCallbackHandler = QOR_RemoveCallback;
	e->RegisterForAdapterAddEventsHandler = QOR_RegisterForAdapterAddEvents;
	e->RegisterForAdapterEventsHandler = QOR_RegisterForAdapterEvents;
	e->RegisterForAdapterPortEventsHandler = QOR_RegisterForAdapterPortEvents;
	e->RegisterForAdapterPortStatEventsHandler = QOR_RegisterForAdapterPortStatEvents;
	e->RegisterForTargetEventsHandler = QOR_RegisterForTargetEvents;
	e->RegisterForLinkEventsHandler = QOR_RegisterForLinkEvents;
	e->SendRPLHandler = QOR_HBA_SendRPL;
	e->SendRPSHandler = QOR_HBA_SendRPS;
	e->SendSRLHandler = QOR_HBA_SendSRL;
	e->SendLIRRHandler = QOR_HBA_SendLIRR;
	e->GetFC4StatisticsHandler = QOR_HBA_GetFC4Statistics;
	e->GetFCPStatisticsHandler = QOR_HBA_GetFCPStatistics;
	e->SendRLSHandler = QOR_HBA_SendRLS;
	return HBA_STATUS_OK;
}

// ---- load and free --------------------------------------------------------------------

HBA_UINT32 QOR_GetVersion(void)
{
	return 2;
}

HBA_STATUS QOR_LoadLibrary(void)
{
	using namespace qorl::snia;
	pthread_mutex_lock(&life_mutex);
	qor_status_t st = QOR_STATUS_OK;
	const unsigned n = loads.load();
	if (n == 0) {
		// Calls wait until the inventory is built.
		pthread_rwlock_wrlock(&calls_lock);
		st = initialise();
		qorl_adapter_get_init();
		set_loads(1);
		pthread_rwlock_unlock(&calls_lock);
		qorl_aen_init();
	} else {
		set_loads(n + 1);
	}
	pthread_mutex_unlock(&life_mutex);
	return static_cast<HBA_STATUS>(st);
}

HBA_STATUS QOR_FreeLibrary(void)
{
	using namespace qorl::snia;
	pthread_mutex_lock(&life_mutex);
	pthread_mutex_lock(&snia_mutex);
	const unsigned n = loads.load();
	sub *left = nullptr;
	if (n > 0)
		loads.store(n - 1);
	if (n == 1) {
		// From here on calls are refused and nothing new is subscribed.
		left = subs;
		subs = nullptr;
	}
	pthread_mutex_unlock(&snia_mutex);
	if (n == 1) {
		while (sub *s = left) {
			left = s->next;
			unsubscribe(s->h, s->k);
			std::free(s);
		}
		qorl_aen_exit();
		pthread_rwlock_wrlock(&calls_lock); // the calls still running end first
		qorl_libsync();
		qorl_libexit();
		initialised = false;
		cpq_ready.store(false);
		pthread_rwlock_unlock(&calls_lock);
	}
	pthread_mutex_unlock(&life_mutex);
	return HBA_STATUS_OK;
}

// ---- the other entry points, in slot order --------------------------------------------

HBA_UINT32 QOR_GetNumberOfAdapters(void)
{
	return fwd<qorl_adapter_get_number>(HBA_UINT32{0});
}

HBA_STATUS QOR_GetAdapterName(HBA_UINT32 adapterindex, char *adaptername)
{
	return fwd<qorl_get_name>(HBA_STATUS{HBA_STATUS_ERROR_ILLEGAL_INDEX}, adapterindex, adaptername);
}

HBA_HANDLE QOR_OpenAdapter(char *adaptername)
{
	return fwd<qorl_open_by_name>(HBA_HANDLE{0}, adaptername);
}

void QOR_CloseAdapter(HBA_HANDLE handle)
{
	qorl_close(handle);
}

HBA_STATUS QOR_GetAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES *hbaattributes)
{
	return fwd<qorl_adapter_get_attributes>(kNotLoaded, handle, hbaattributes);
}

HBA_STATUS QOR_GetAdapterPortAttributes(HBA_HANDLE handle, HBA_UINT32 portindex, HBA_PORTATTRIBUTES *portattributes)
{
	return fwd<qorl_port_get_attributes>(kNotLoaded, handle, portindex, portattributes);
}

HBA_STATUS QOR_GetPortStatistics(HBA_HANDLE handle, HBA_UINT32 portindex, HBA_PORTSTATISTICS *portstatistics)
{
	return fwd<qorl_port_get_statistics>(kNotLoaded, handle, portindex, portstatistics);
}

HBA_STATUS QOR_GetDiscoveredPortAttributes(HBA_HANDLE handle, HBA_UINT32 portindex, HBA_UINT32 discoveredportindex,
					   HBA_PORTATTRIBUTES *portattributes)
{
	return fwd<qorl_rport_get_attributes>(kNotLoaded, handle, portindex, discoveredportindex, portattributes);
}

HBA_STATUS QOR_GetPortAttributesByWWN(HBA_HANDLE handle, HBA_WWN PortWWN, HBA_PORTATTRIBUTES *portattributes)
{
	return fwd<qorl_port_get_attributes_by_wwn>(kNotLoaded, handle, PortWWN, portattributes);
}

HBA_STATUS QOR_HBA_SendCTPassThru(HBA_HANDLE handle, void *pReqBuffer, HBA_UINT32 ReqBufferSize, void *pRspBuffer,
				  HBA_UINT32 RspBufferSize)
{
	return fwd<qorl_send_ct_passthru>(kNotLoaded, handle, pReqBuffer, ReqBufferSize, pRspBuffer, RspBufferSize);
}

void QOR_RefreshInformation(HBA_HANDLE handle)
{
	qorl_adapter_refresh_information(handle);
}

void QOR_HBA_ResetStatistics(HBA_HANDLE handle, HBA_UINT32 portindex)
{
	fwd_void<qorl_port_reset_statistics>(handle, portindex);
}

HBA_STATUS QOR_HBA_GetFcpTargetMapping(HBA_HANDLE handle, HBA_FCPTARGETMAPPING *pmapping)
{
	return fwd<qorl_port_get_fcp_target_mapping>(kNotLoaded, handle, pmapping);
}

HBA_STATUS QOR_HBA_GetFcpPersistentBinding(HBA_HANDLE handle, HBA_FCPBINDING *binding)
{
	return fwd<qorl_port_get_persistent_binding>(kNotLoaded, handle, binding);
}

HBA_STATUS QOR_HBA_GetEventBuffer(HBA_HANDLE handle, HBA_EVENTINFO *EventBuffer, HBA_UINT32 *EventBufferCount)
{
	return fwd<qorl_get_event_buffer>(kNotLoaded, handle, EventBuffer, EventBufferCount);
}

HBA_STATUS QOR_HBA_SetRNIDMgmtInfo(HBA_HANDLE handle, HBA_MGMTINFO *pInfo)
{
	return fwd<qorl_set_rnid_mgmt_info>(kNotLoaded, handle, pInfo);
}

HBA_STATUS QOR_HBA_GetRNIDMgmtInfo(HBA_HANDLE handle, HBA_MGMTINFO *pInfo)
{
	return fwd<qorl_get_rnid_mgmt_info>(kNotLoaded, handle, pInfo);
}

HBA_STATUS QOR_HBA_SendRNID(HBA_HANDLE handle, HBA_WWN wwn, HBA_WWNTYPE wwntype, void *pRspBuffer,
			    HBA_UINT32 *pRspBufferSize)
{
	return fwd<qorl_send_rnid>(kNotLoaded, handle, wwn, wwntype, pRspBuffer, pRspBufferSize);
}

HBA_STATUS QOR_HBA_SendScsiInquiry(HBA_HANDLE handle, HBA_WWN PortWWN, HBA_UINT64 fcLUN, HBA_UINT8 EVPD,
				   HBA_UINT32 PageCode, void *pRspBuffer, HBA_UINT32 RspBufferSize,
				   void *pSenseBuffer, HBA_UINT32 SenseBufferSize)
{
	return fwd<qorl_send_scsi_inquiry>(kNotLoaded, handle, PortWWN, fcLUN, EVPD, PageCode, pRspBuffer,
					   RspBufferSize, pSenseBuffer, SenseBufferSize);
}

HBA_STATUS QOR_HBA_SendReportLUNs(HBA_HANDLE handle, HBA_WWN portWWN, void *pRspBuffer, HBA_UINT32 RspBufferSize,
				  void *pSenseBuffer, HBA_UINT32 SenseBufferSize)
{
	return fwd<qorl_send_report_luns>(kNotLoaded, handle, portWWN, pRspBuffer, RspBufferSize, pSenseBuffer,
					  SenseBufferSize);
}

HBA_STATUS QOR_HBA_SendReadCapacity(HBA_HANDLE handle, HBA_WWN portWWN, HBA_UINT64 fcLUN, void *pRspBuffer,
				    HBA_UINT32 RspBufferSize, void *pSenseBuffer, HBA_UINT32 SenseBufferSize)
{
	return fwd<qorl_send_read_capacity>(kNotLoaded, handle, portWWN, fcLUN, pRspBuffer, RspBufferSize,
					    pSenseBuffer, SenseBufferSize);
}

HBA_STATUS QOR_OpenAdapterByWWN(HBA_HANDLE *handle, HBA_WWN wwn)
{
	return fwd<qorl_open_by_wwn>(HBA_STATUS{HBA_STATUS_ERROR_ILLEGAL_WWN}, wwn, handle);
}

HBA_STATUS QOR_HBA_GetFcpTargetMappingV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_FCPTARGETMAPPINGV2 *pmapping)
{
	return fwd<qorl_port_get_fcp_target_mapping_v2>(kNotLoaded, handle, hbaPortWWN, pmapping);
}

HBA_STATUS QOR_HBA_SendCTPassThruV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, void *pReqBuffer,
				    HBA_UINT32 ReqBufferSize, void *pRspBuffer, HBA_UINT32 *pRspBufferSize)
{
	return fwd<qorl_send_ct_passthru_v2>(kNotLoaded, handle, hbaPortWWN, pReqBuffer, ReqBufferSize, pRspBuffer,
					     pRspBufferSize);
}

void QOR_RefreshAdapterConfiguration(void) {}

HBA_STATUS QOR_HBA_GetBindingCapability(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_BIND_CAPABILITY *pcapability)
{
	return qorl_get_binding_capability(handle, hbaPortWWN, pcapability);
}

HBA_STATUS QOR_HBA_GetBindingSupport(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_BIND_CAPABILITY *pcapability)
{
	return qorl_port_get_binding_support(handle, hbaPortWWN, pcapability);
}

HBA_STATUS QOR_HBA_SetBindingSupport(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_BIND_CAPABILITY capability)
{
	return fwd<qorl_port_set_binding_support>(kNotLoaded, handle, hbaPortWWN, capability);
}

HBA_STATUS QOR_HBA_SetPersistentBindingV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, const HBA_FCPBINDING2 *pbinding)
{
	return fwd<qorl_port_set_persistent_binding_v2>(kNotLoaded, handle, hbaPortWWN, pbinding);
}

HBA_STATUS QOR_HBA_GetPersistentBindingV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_FCPBINDING2 *pbinding)
{
	return fwd<qorl_port_get_persistent_binding_v2>(kNotLoaded, handle, hbaPortWWN, pbinding);
}

HBA_STATUS QOR_HBA_RemovePersistentBinding(HBA_HANDLE handle, HBA_WWN hbaPortWWN, const HBA_FCPBINDING2 *pbinding)
{
	return fwd<qorl_port_remove_persistent_binding>(kNotLoaded, handle, hbaPortWWN, pbinding);
}

HBA_STATUS QOR_HBA_RemoveAllPersistentBindings(HBA_HANDLE handle, HBA_WWN hbaPortWWN)
{
	return fwd<qorl_port_remove_all_persistent_binding>(kNotLoaded, handle, hbaPortWWN);
}

HBA_STATUS QOR_HBA_SendRNIDV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN destWWN, HBA_UINT32 destFCID,
			      HBA_UINT32 NodeIdDataFormat, void *pRspBuffer, HBA_UINT32 *pRspBufferSize)
{
	return fwd<qorl_send_rnid_v2>(kNotLoaded, handle, hbaPortWWN, destWWN, destFCID, NodeIdDataFormat, pRspBuffer,
				      pRspBufferSize);
}

HBA_STATUS QOR_HBA_SendScsiInquiryV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				     HBA_UINT64 fcLUN, HBA_UINT8 CDB_Byte1, HBA_UINT8 CDB_Byte2, void *pRspBuffer,
				     HBA_UINT32 *pRspBufferSize, HBA_UINT8 *pScsiStatus, void *pSenseBuffer,
				     HBA_UINT32 *pSenseBufferSize)
{
	return fwd<qorl_scsi_inquiry_v2>(kNotLoaded, handle, hbaPortWWN, discoveredPortWWN, fcLUN, CDB_Byte1,
					 CDB_Byte2, pRspBuffer, pRspBufferSize, pScsiStatus, pSenseBuffer,
					 pSenseBufferSize);
}

HBA_STATUS QOR_HBA_SendReportLUNsV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				    void *pRespBuffer, HBA_UINT32 *pRespBufferSize, HBA_UINT8 *pScsiStatus,
				    void *pSenseBuffer, HBA_UINT32 *pSenseBufferSize)
{
	return fwd<qorl_scsi_report_luns_v2>(kNotLoaded, handle, hbaPortWWN, discoveredPortWWN, pRespBuffer,
					     pRespBufferSize, pScsiStatus, pSenseBuffer, pSenseBufferSize);
}

HBA_STATUS QOR_HBA_SendReadCapacityV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				      HBA_UINT64 fcLUN, void *pRspBuffer, HBA_UINT32 *pRspBufferSize,
				      HBA_UINT8 *pScsiStatus, void *pSenseBuffer, HBA_UINT32 *SenseBufferSize)
{
	return fwd<qorl_scsi_read_capacity_v2>(kNotLoaded, handle, hbaPortWWN, discoveredPortWWN, fcLUN, pRspBuffer,
					       pRspBufferSize, pScsiStatus, pSenseBuffer, SenseBufferSize);
}

HBA_UINT32 QOR_HBA_GetVendorLibraryAttributes(HBA_LIBRARYATTRIBUTES *attributes)
{
	return qorl_vendor_lib_get_attributes(attributes);
}

// Works loaded or not: a wrapper may remove callbacks after the last free.
HBA_STATUS QOR_RemoveCallback(HBA_CALLBACKHANDLE cbhandle)
{
	return qorl_remove_callback(cbhandle);
}

HBA_STATUS QOR_RegisterForAdapterAddEvents(void (*callback)(void *, HBA_WWN, HBA_UINT32), void *userData,
					   HBA_CALLBACKHANDLE *callbackHandle)
{
	return fwd<qorl_adapteraddevent_register>(HBA_STATUS{HBA_STATUS_ERROR}, callback, userData, callbackHandle);
}

HBA_STATUS QOR_RegisterForAdapterEvents(void (*callback)(void *, HBA_WWN, HBA_UINT32), void *userData,
					HBA_HANDLE handle, HBA_CALLBACKHANDLE *callbackHandle)
{
	return fwd<qorl_adapterevent_register>(HBA_STATUS{HBA_STATUS_ERROR}, callback, userData, handle,
					       callbackHandle);
}

HBA_STATUS QOR_RegisterForAdapterPortEvents(void (*callback)(void *, HBA_WWN, HBA_UINT32, HBA_UINT32),
					    void *userData, HBA_HANDLE handle, HBA_WWN PortWWN,
					    HBA_CALLBACKHANDLE *callbackHandle)
{
	return fwd<qorl_portevent_register>(HBA_STATUS{HBA_STATUS_ERROR}, callback, userData, handle, PortWWN,
					    callbackHandle);
}

HBA_STATUS QOR_RegisterForAdapterPortStatEvents(void (*callback)(void *, HBA_WWN, HBA_UINT32), void *userData,
						HBA_HANDLE handle, HBA_WWN PortWWN, HBA_PORTSTATISTICS stats,
						HBA_UINT32 statType, HBA_CALLBACKHANDLE *callbackHandle)
{
	return qorl_portstatevent_register(callback, userData, handle, PortWWN, stats, statType, callbackHandle);
}

HBA_STATUS QOR_RegisterForTargetEvents(void (*callback)(void *, HBA_WWN, HBA_WWN, HBA_UINT32), void *userData,
				       HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				       HBA_CALLBACKHANDLE *callbackHandle, HBA_UINT32 allTargets)
{
	return fwd<qorl_targetevent_register>(HBA_STATUS{HBA_STATUS_ERROR}, callback, userData, handle, hbaPortWWN,
					      discoveredPortWWN, callbackHandle, allTargets);
}

HBA_STATUS QOR_RegisterForLinkEvents(void (*callback)(void *, HBA_WWN, HBA_UINT32, void *, HBA_UINT32),
				     void *userData, void *pRLIRBuffer, HBA_UINT32 RLIRBufferSize, HBA_HANDLE handle,
				     HBA_CALLBACKHANDLE *callbackHandle)
{
	return qorl_linkevent_register(callback, userData, pRLIRBuffer, RLIRBufferSize, handle, callbackHandle);
}

HBA_STATUS QOR_HBA_SendRPL(HBA_HANDLE, HBA_WWN, HBA_WWN, HBA_UINT32, HBA_UINT32, void *, HBA_UINT32 *)
{
	return HBA_STATUS_ERROR_NOT_SUPPORTED;
}

HBA_STATUS QOR_HBA_SendRPS(HBA_HANDLE, HBA_WWN, HBA_WWN, HBA_UINT32, HBA_WWN, HBA_UINT32, void *, HBA_UINT32 *)
{
	return HBA_STATUS_ERROR_NOT_SUPPORTED;
}

HBA_STATUS QOR_HBA_SendSRL(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN wwn, HBA_UINT32 domain, void *pRspBuffer,
			   HBA_UINT32 *pRspBufferSize)
{
	return fwd<qorl_send_srl>(kNotLoaded, handle, hbaPortWWN, wwn, domain, pRspBuffer, pRspBufferSize);
}

HBA_STATUS QOR_HBA_SendLIRR(HBA_HANDLE handle, HBA_WWN sourceWWN, HBA_WWN destWWN, HBA_UINT8 function,
			    HBA_UINT8 type, void *pRspBuffer, HBA_UINT32 *pRspBufferSize)
{
	return fwd<qorl_send_lirr>(kNotLoaded, handle, sourceWWN, destWWN, function, type, pRspBuffer,
				   pRspBufferSize);
}

HBA_STATUS QOR_HBA_GetFC4Statistics(HBA_HANDLE handle, HBA_WWN portWWN, HBA_UINT8 FC4type,
				    HBA_FC4STATISTICS *pstatistics)
{
	return fwd<qorl_port_get_fc4_statistics>(kNotLoaded, handle, portWWN, FC4type, pstatistics);
}

HBA_STATUS QOR_HBA_GetFCPStatistics(HBA_HANDLE, const HBA_SCSIID *, HBA_FC4STATISTICS *)
{
	return HBA_STATUS_ERROR_NOT_SUPPORTED;
}

HBA_STATUS QOR_HBA_SendRLS(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN destWWN, void *pRspBuffer,
			   HBA_UINT32 *pRspBufferSize)
{
	return fwd<qorl_send_rls>(kNotLoaded, handle, hbaPortWWN, destWWN, pRspBuffer, pRspBufferSize);
}

} // extern "C"
