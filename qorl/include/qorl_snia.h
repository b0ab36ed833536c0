/*
 * The SNIA Common HBA API vendor library: registration with a wrapper
 * (HBA_RegisterLibrary, HBA_RegisterLibraryV2), the QOR_ entry points the
 * wrapper calls, the qorl_ functions they forward to, and the CPQFC_
 * management entry points. The HBA_ records are those of the standard's
 * headers (hbaapi.h, vendorhbaapi.h), used as they are.
 *
 * Handles: an HBA_HANDLE is an adapter number, 1 to the number of
 * adapters; valid from QOR_LoadLibrary to the matching QOR_FreeLibrary.
 * Loads are counted: only the first initialises the library and only the
 * last free unloads it (removing the callbacks still registered first).
 * Entry points may be called from any thread; event callbacks run on the
 * event reader's thread with no library lock held.
 *
 * Statuses are SNIA values, except where a function says it hands a
 * library status (qor_status_t) on. Compiles as C11 and C++; nothing throws.
 */
#ifndef QORL_SNIA_H
#define QORL_SNIA_H

#include <time.h>

#include <hbaapi.h>
#include <vendorhbaapi.h>

#include "qorl.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- registration ------------------------------------------------------- */

/* Fill every slot of the table; HBA_STATUS_OK. */
HBA_STATUS HBA_RegisterLibrary(HBA_ENTRYPOINTS *entrypoints);
HBA_STATUS HBA_RegisterLibraryV2(HBA_ENTRYPOINTSV2 *entrypoints);

/* ---- entry points (the table's slots, in slot order) --------------------- */

HBA_UINT32 QOR_GetVersion(void);
/* The configuration loader's status (a library status), 0 normally. */
HBA_STATUS QOR_LoadLibrary(void);
HBA_STATUS QOR_FreeLibrary(void);
HBA_UINT32 QOR_GetNumberOfAdapters(void);
HBA_STATUS QOR_GetAdapterName(HBA_UINT32 adapterindex, char *adaptername);
HBA_HANDLE QOR_OpenAdapter(char *adaptername);
void QOR_CloseAdapter(HBA_HANDLE handle);
HBA_STATUS QOR_GetAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES *hbaattributes);
HBA_STATUS QOR_GetAdapterPortAttributes(HBA_HANDLE handle, HBA_UINT32 portindex,
					HBA_PORTATTRIBUTES *portattributes);
HBA_STATUS QOR_GetPortStatistics(HBA_HANDLE handle, HBA_UINT32 portindex, HBA_PORTSTATISTICS *portstatistics);
HBA_STATUS QOR_GetDiscoveredPortAttributes(HBA_HANDLE handle, HBA_UINT32 portindex,
					   HBA_UINT32 discoveredportindex, HBA_PORTATTRIBUTES *portattributes);
HBA_STATUS QOR_GetPortAttributesByWWN(HBA_HANDLE handle, HBA_WWN PortWWN, HBA_PORTATTRIBUTES *portattributes);
HBA_STATUS QOR_HBA_SendCTPassThru(HBA_HANDLE handle, void *pReqBuffer, HBA_UINT32 ReqBufferSize,
				  void *pRspBuffer, HBA_UINT32 RspBufferSize);
void QOR_RefreshInformation(HBA_HANDLE handle);
void QOR_HBA_ResetStatistics(HBA_HANDLE handle, HBA_UINT32 portindex);
HBA_STATUS QOR_HBA_GetFcpTargetMapping(HBA_HANDLE handle, HBA_FCPTARGETMAPPING *pmapping);
HBA_STATUS QOR_HBA_GetFcpPersistentBinding(HBA_HANDLE handle, HBA_FCPBINDING *binding);
HBA_STATUS QOR_HBA_GetEventBuffer(HBA_HANDLE handle, HBA_EVENTINFO *EventBuffer, HBA_UINT32 *EventBufferCount);
HBA_STATUS QOR_HBA_SetRNIDMgmtInfo(HBA_HANDLE handle, HBA_MGMTINFO *pInfo);
HBA_STATUS QOR_HBA_GetRNIDMgmtInfo(HBA_HANDLE handle, HBA_MGMTINFO *pInfo);
HBA_STATUS QOR_HBA_SendRNID(HBA_HANDLE handle, HBA_WWN wwn, HBA_WWNTYPE wwntype, void *pRspBuffer,
			    HBA_UINT32 *pRspBufferSize);
HBA_STATUS QOR_HBA_SendScsiInquiry(HBA_HANDLE handle, HBA_WWN PortWWN, HBA_UINT64 fcLUN, HBA_UINT8 EVPD,
				   HBA_UINT32 PageCode, void *pRspBuffer, HBA_UINT32 RspBufferSize,
				   void *pSenseBuffer, HBA_UINT32 SenseBufferSize);
HBA_STATUS QOR_HBA_SendReportLUNs(HBA_HANDLE handle, HBA_WWN portWWN, void *pRspBuffer, HBA_UINT32 RspBufferSize,
				  void *pSenseBuffer, HBA_UINT32 SenseBufferSize);
HBA_STATUS QOR_HBA_SendReadCapacity(HBA_HANDLE handle, HBA_WWN portWWN, HBA_UINT64 fcLUN, void *pRspBuffer,
				    HBA_UINT32 RspBufferSize, void *pSenseBuffer, HBA_UINT32 SenseBufferSize);
HBA_STATUS QOR_OpenAdapterByWWN(HBA_HANDLE *handle, HBA_WWN wwn);
HBA_STATUS QOR_HBA_GetFcpTargetMappingV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_FCPTARGETMAPPINGV2 *pmapping);
HBA_STATUS QOR_HBA_SendCTPassThruV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, void *pReqBuffer,
				    HBA_UINT32 ReqBufferSize, void *pRspBuffer, HBA_UINT32 *pRspBufferSize);
void QOR_RefreshAdapterConfiguration(void);
HBA_STATUS QOR_HBA_GetBindingCapability(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_BIND_CAPABILITY *pcapability);
HBA_STATUS QOR_HBA_GetBindingSupport(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_BIND_CAPABILITY *pcapability);
HBA_STATUS QOR_HBA_SetBindingSupport(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_BIND_CAPABILITY capability);
HBA_STATUS QOR_HBA_SetPersistentBindingV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, const HBA_FCPBINDING2 *pbinding);
HBA_STATUS QOR_HBA_GetPersistentBindingV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_FCPBINDING2 *pbinding);
HBA_STATUS QOR_HBA_RemovePersistentBinding(HBA_HANDLE handle, HBA_WWN hbaPortWWN, const HBA_FCPBINDING2 *pbinding);
HBA_STATUS QOR_HBA_RemoveAllPersistentBindings(HBA_HANDLE handle, HBA_WWN hbaPortWWN);
HBA_STATUS QOR_HBA_SendRNIDV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN destWWN, HBA_UINT32 destFCID,
			      HBA_UINT32 NodeIdDataFormat, void *pRspBuffer, HBA_UINT32 *pRspBufferSize);
HBA_STATUS QOR_HBA_SendScsiInquiryV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				     HBA_UINT64 fcLUN, HBA_UINT8 CDB_Byte1, HBA_UINT8 CDB_Byte2, void *pRspBuffer,
				     HBA_UINT32 *pRspBufferSize, HBA_UINT8 *pScsiStatus, void *pSenseBuffer,
				     HBA_UINT32 *pSenseBufferSize);
HBA_STATUS QOR_HBA_SendReportLUNsV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				    void *pRespBuffer, HBA_UINT32 *pRespBufferSize, HBA_UINT8 *pScsiStatus,
				    void *pSenseBuffer, HBA_UINT32 *pSenseBufferSize);
HBA_STATUS QOR_HBA_SendReadCapacityV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				      HBA_UINT64 fcLUN, void *pRspBuffer, HBA_UINT32 *pRspBufferSize,
				      HBA_UINT8 *pScsiStatus, void *pSenseBuffer, HBA_UINT32 *SenseBufferSize);
HBA_UINT32 QOR_HBA_GetVendorLibraryAttributes(HBA_LIBRARYATTRIBUTES *attributes);
HBA_STATUS QOR_RemoveCallback(HBA_CALLBACKHANDLE cbhandle);
HBA_STATUS QOR_RegisterForAdapterAddEvents(void (*callback)(void *, HBA_WWN, HBA_UINT32), void *userData,
					   HBA_CALLBACKHANDLE *callbackHandle);
HBA_STATUS QOR_RegisterForAdapterEvents(void (*callback)(void *, HBA_WWN, HBA_UINT32), void *userData,
					HBA_HANDLE handle, HBA_CALLBACKHANDLE *callbackHandle);
HBA_STATUS QOR_RegisterForAdapterPortEvents(void (*callback)(void *, HBA_WWN, HBA_UINT32, HBA_UINT32),
					    void *userData, HBA_HANDLE handle, HBA_WWN PortWWN,
					    HBA_CALLBACKHANDLE *callbackHandle);
HBA_STATUS QOR_RegisterForAdapterPortStatEvents(void (*callback)(void *, HBA_WWN, HBA_UINT32), void *userData,
						HBA_HANDLE handle, HBA_WWN PortWWN, HBA_PORTSTATISTICS stats,
						HBA_UINT32 statType, HBA_CALLBACKHANDLE *callbackHandle);
HBA_STATUS QOR_RegisterForTargetEvents(void (*callback)(void *, HBA_WWN, HBA_WWN, HBA_UINT32), void *userData,
				       HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				       HBA_CALLBACKHANDLE *callbackHandle, HBA_UINT32 allTargets);
HBA_STATUS QOR_RegisterForLinkEvents(void (*callback)(void *, HBA_WWN, HBA_UINT32, void *, HBA_UINT32),
				     void *userData, void *pRLIRBuffer, HBA_UINT32 RLIRBufferSize, HBA_HANDLE handle,
				     HBA_CALLBACKHANDLE *callbackHandle);
HBA_STATUS QOR_HBA_SendRPL(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN agent_wwn, HBA_UINT32 agent_domain,
			   HBA_UINT32 portindex, void *pRspBuffer, HBA_UINT32 *pRspBufferSize);
HBA_STATUS QOR_HBA_SendRPS(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN agent_wwn, HBA_UINT32 agent_domain,
			   HBA_WWN object_wwn, HBA_UINT32 object_port_number, void *pRspBuffer,
			   HBA_UINT32 *pRspBufferSize);
HBA_STATUS QOR_HBA_SendSRL(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN wwn, HBA_UINT32 domain, void *pRspBuffer,
			   HBA_UINT32 *pRspBufferSize);
HBA_STATUS QOR_HBA_SendLIRR(HBA_HANDLE handle, HBA_WWN sourceWWN, HBA_WWN destWWN, HBA_UINT8 function,
			    HBA_UINT8 type, void *pRspBuffer, HBA_UINT32 *pRspBufferSize);
HBA_STATUS QOR_HBA_GetFC4Statistics(HBA_HANDLE handle, HBA_WWN portWWN, HBA_UINT8 FC4type,
				    HBA_FC4STATISTICS *pstatistics);
HBA_STATUS QOR_HBA_GetFCPStatistics(HBA_HANDLE handle, const HBA_SCSIID *lunit, HBA_FC4STATISTICS *pstatistics);
HBA_STATUS QOR_HBA_SendRLS(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN destWWN, void *pRspBuffer,
			   HBA_UINT32 *pRspBufferSize);

/* ---- handles, names, library attributes --------------------------------- */

/* Adapters the SNIA layer has seen; 0 before the first successful scan. */
HBA_UINT32 qorl_adapter_get_number(void);
/* Rescans; the number of adapters, or 0 ("No Adapter Found!"). */
HBA_UINT32 qorl_adapter_get_init(void);
/* The adapter's name (at most 64 characters), else its serial number;
 * adaptername has the standard's 256 characters of room. */
HBA_STATUS qorl_get_name(unsigned int adapterindex, char *adaptername);
/* By name or serial number; 0 when none matches. */
HBA_HANDLE qorl_open_by_name(char *adaptername);
/* By a port or node WWN of an FC port; the handle is left alone on failure. */
HBA_STATUS qorl_open_by_wwn(HBA_WWN wwn, HBA_HANDLE *handle);
void qorl_close(HBA_HANDLE handle);
void qorl_adapter_refresh_information(HBA_HANDLE handle);
HBA_UINT32 qorl_vendor_lib_get_attributes(HBA_LIBRARYATTRIBUTES *attributes);

/* ---- attributes and statistics ------------------------------------------- */

HBA_STATUS qorl_adapter_get_attributes(HBA_HANDLE handle, PHBA_ADAPTERATTRIBUTES hbaattributes);
HBA_STATUS qorl_port_get_attributes(HBA_HANDLE handle, unsigned int portindex,
				    HBA_PORTATTRIBUTES *portattributes);
HBA_STATUS qorl_port_get_attributes_by_wwn(HBA_HANDLE handle, HBA_WWN PortWWN,
					   HBA_PORTATTRIBUTES *portattributes);
HBA_STATUS qorl_rport_get_attributes(HBA_HANDLE handle, unsigned int portindex, unsigned int discoveredportindex,
				     HBA_PORTATTRIBUTES *portattributes);
HBA_STATUS qorl_port_get_statistics(HBA_HANDLE handle, unsigned int portindex,
				    HBA_PORTSTATISTICS *portstatistics);
void qorl_port_reset_statistics(HBA_HANDLE handle, unsigned int portindex);
HBA_STATUS qorl_port_get_fc4_statistics(HBA_HANDLE handle, HBA_WWN portWWN, unsigned char FC4type,
					HBA_FC4STATISTICS *pstatistics);
HBA_STATUS qorl_port_get_fcp_statistics(HBA_HANDLE handle, const HBA_SCSIID *lunit,
					HBA_FC4STATISTICS *pstatistics);
HBA_PORTTYPE qorl_port_type_convert(qor_port_type_t type);
HBA_PORTSTATE qorl_port_state_convert(uint32_t port_state);
HBA_PORTSPEED qorl_port_speed_convert(uint32_t port_speed);
/* Sets the FCP bit (FC-4 type 8) of a 32-byte FC-4 types bitmap. */
void qorl_port_set_fc4type(uint32_t *fc4);

/* ---- target mapping and persistent binding (not supported) ----------------- */

/* One FCP logical unit and its operating-system device. */
typedef struct qor_port_fcpmap_s {
	char osdevname[256]; /* "/dev/sdb"; empty when the unit has no device */
	uint32_t bus;
	uint32_t target;
	uint32_t oslun;
	uint32_t fcid;       /* the target port's address */
	wwn_t nwwn;
	wwn_t pwwn;
	uint64_t fcplun;     /* the 8 LUN bytes as REPORT LUNS returned them */
	char luid[256];      /* zeroed */
} qor_port_fcpmap_t;

/*
 * The logical units behind the targets of the controller's port, at most
 * room entries written into map; *nmaps becomes the number there are (which
 * may exceed room). A library status.
 */
qor_status_t qorl_port_get_fcpmapping(qorl_t *qorl, qor_port_fcpmap_t *map, uint32_t room, uint32_t *nmaps);
/*
 * The mapping into the caller's record, which has room for the entries its
 * NumberOfEntries says; more than that: HBA_STATUS_ERROR_MORE_DATA with the
 * number needed in NumberOfEntries (the room filled). LUID is zero. A failed
 * controller or remote-port request answers its library status.
 */
HBA_STATUS qorl_port_get_fcp_target_mapping(HBA_HANDLE handle, HBA_FCPTARGETMAPPING *pmapping);
HBA_STATUS qorl_port_get_fcp_target_mapping_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN,
					       HBA_FCPTARGETMAPPINGV2 *pmapping);

HBA_STATUS qorl_port_get_persistent_binding(HBA_HANDLE handle, HBA_FCPBINDING *binding);
HBA_STATUS qorl_get_binding_capability(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_BIND_CAPABILITY *pcapability);
HBA_STATUS qorl_port_get_binding_support(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_BIND_CAPABILITY *pcapability);
HBA_STATUS qorl_port_set_binding_support(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_BIND_CAPABILITY capability);
HBA_STATUS qorl_port_get_persistent_binding_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_FCPBINDING2 *pbinding);
HBA_STATUS qorl_port_set_persistent_binding_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN,
					       const HBA_FCPBINDING2 *pbinding);
HBA_STATUS qorl_port_remove_persistent_binding(HBA_HANDLE handle, HBA_WWN hbaPortWWN,
					       const HBA_FCPBINDING2 *pbinding);
HBA_STATUS qorl_port_remove_all_persistent_binding(HBA_HANDLE handle, HBA_WWN hbaPortWWN);

/* ---- SCSI and link-service requests --------------------------------------- */

/* The FC controller of the adapter whose port has logged in PortWWN; NULL if none. */
qorl_t *qorl_get_lport_for_rport(HBA_HANDLE handle, HBA_WWN PortWWN);
/*
 * SCSI commands. fcLUN is the 8-byte FCP LUN as the target mapping reports
 * it. A failed request: HBA_STATUS_ERROR; a SCSI status other than GOOD:
 * HBA_STATUS_SCSI_CHECK_CONDITION with the sense data in the caller's
 * buffer (version 2 also hands the status and the sense length back).
 */
HBA_STATUS qorl_send_scsi_inquiry(HBA_HANDLE handle, HBA_WWN PortWWN, HBA_UINT64 fcLUN, HBA_UINT8 EVPD,
				  HBA_UINT32 PageCode, void *pRspBuffer, HBA_UINT32 RspBufferSize,
				  void *pSenseBuffer, HBA_UINT32 SenseBufferSize);
HBA_STATUS qorl_send_read_capacity(HBA_HANDLE handle, HBA_WWN portWWN, HBA_UINT64 fcLUN, void *pRspBuffer,
				   HBA_UINT32 RspBufferSize, void *pSenseBuffer, HBA_UINT32 SenseBufferSize);
/* The report (header and LUN list), at most RspBufferSize bytes of it. */
HBA_STATUS qorl_send_report_luns(HBA_HANDLE handle, HBA_WWN portWWN, void *pRspBuffer, HBA_UINT32 RspBufferSize,
				 void *pSenseBuffer, HBA_UINT32 SenseBufferSize);
HBA_STATUS qorl_scsi_inquiry_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				HBA_UINT64 fcLUN, HBA_UINT8 CDB_Byte1, HBA_UINT8 CDB_Byte2, void *pRspBuffer,
				HBA_UINT32 *pRspBufferSize, HBA_UINT8 *pScsiStatus, void *pSenseBuffer,
				HBA_UINT32 *pSenseBufferSize);
HBA_STATUS qorl_scsi_read_capacity_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				      HBA_UINT64 fcLUN, void *pRspBuffer, HBA_UINT32 *pRspBufferSize,
				      HBA_UINT8 *pScsiStatus, void *pSenseBuffer, HBA_UINT32 *SenseBufferSize);
/* *pRespBufferSize becomes the number of bytes copied. */
HBA_STATUS qorl_scsi_report_luns_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				    void *pRespBuffer, HBA_UINT32 *pRespBufferSize, HBA_UINT8 *pScsiStatus,
				    void *pSenseBuffer, HBA_UINT32 *pSenseBufferSize);
/*
 * Link services. The response goes to pRspBuffer, *pRspBufferSize being its
 * room on entry and the size of the response on return (which may exceed
 * the room: only the room was written). A port or remote port without an
 * address answers the library status QOR_STATUS_PORT_OFFLINE or
 * QOR_STATUS_RPORT_OFFLINE; a failed attribute read its library status.
 */
HBA_STATUS qorl_send_srl(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN wwn, HBA_UINT32 domain, void *pRspBuffer,
			 HBA_UINT32 *pRspBufferSize);
HBA_STATUS qorl_send_rls(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN destWWN, void *pRspBuffer,
			 HBA_UINT32 *pRspBufferSize);
HBA_STATUS qorl_send_lirr(HBA_HANDLE handle, HBA_WWN sourceWWN, HBA_WWN destWWN, HBA_UINT8 function,
			  HBA_UINT8 type, void *pRspBuffer, HBA_UINT32 *pRspBufferSize);
HBA_STATUS qorl_send_rnid(HBA_HANDLE handle, HBA_WWN wwn, HBA_WWNTYPE wwntype, void *pRspBuffer,
			  HBA_UINT32 *pRspBufferSize);
/* With destFCID not 0 the accept must name destWWN (bytes 8 to 15): a
 * response or a buffer shorter than 16 bytes gives HBA_STATUS_ERROR. */
HBA_STATUS qorl_send_rnid_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN destWWN, HBA_UINT32 destFCID,
			     HBA_UINT32 NodeIdDataFormat, void *pRspBuffer, HBA_UINT32 *pRspBufferSize);
/* CT to the management server; the caller builds the whole CT unit. */
HBA_STATUS qorl_send_ct_passthru(HBA_HANDLE handle, void *pReqBuffer, HBA_UINT32 ReqBufferSize, void *pRspBuffer,
				 HBA_UINT32 RspBufferSize);
HBA_STATUS qorl_send_ct_passthru_v2(HBA_HANDLE handle, HBA_WWN hbaPortWWN, void *pReqBuffer,
				    HBA_UINT32 ReqBufferSize, void *pRspBuffer, HBA_UINT32 *pRspBufferSize);
HBA_STATUS qorl_get_rnid_mgmt_info(HBA_HANDLE handle, HBA_MGMTINFO *pInfo);
HBA_STATUS qorl_set_rnid_mgmt_info(HBA_HANDLE handle, HBA_MGMTINFO *pInfo);

/* ---- events ----------------------------------------------------------------- */

HBA_STATUS qorl_adapteraddevent_register(void (*callback)(void *, HBA_WWN, HBA_UINT32), void *userData,
					 HBA_CALLBACKHANDLE *callbackHandle);
HBA_STATUS qorl_adapterevent_register(void (*callback)(void *, HBA_WWN, HBA_UINT32), void *userData,
				      HBA_HANDLE handle, HBA_CALLBACKHANDLE *callbackHandle);
HBA_STATUS qorl_portevent_register(void (*callback)(void *, HBA_WWN, HBA_UINT32, HBA_UINT32), void *userData,
				   HBA_HANDLE handle, HBA_WWN PortWWN, HBA_CALLBACKHANDLE *callbackHandle);
HBA_STATUS qorl_portstatevent_register(void (*callback)(void *, HBA_WWN, HBA_UINT32), void *userData,
				       HBA_HANDLE handle, HBA_WWN PortWWN, HBA_PORTSTATISTICS stats,
				       HBA_UINT32 statType, HBA_CALLBACKHANDLE *callbackHandle);
HBA_STATUS qorl_targetevent_register(void (*callback)(void *, HBA_WWN, HBA_WWN, HBA_UINT32), void *userData,
				     HBA_HANDLE handle, HBA_WWN hbaPortWWN, HBA_WWN discoveredPortWWN,
				     HBA_CALLBACKHANDLE *callbackHandle, HBA_UINT32 allTargets);
HBA_STATUS qorl_linkevent_register(void (*callback)(void *, HBA_WWN, HBA_UINT32, void *, HBA_UINT32),
				   void *userData, void *pRLIRBuffer, HBA_UINT32 RLIRBufferSize, HBA_HANDLE handle,
				   HBA_CALLBACKHANDLE *callbackHandle);
/*
 * Removes a subscription made by the functions above. From outside a
 * callback it returns when no call of that subscription runs any more;
 * from inside a callback it only stops new calls. HBA_STATUS_ERROR for a
 * handle it does not know (a second removal, or after the last free).
 */
HBA_STATUS qorl_remove_callback(HBA_CALLBACKHANDLE callbackHandle);
/* Port online/offline events waiting for the adapter, at most
 * *EventBufferCount; the count becomes the number written. */
HBA_STATUS qorl_get_event_buffer(HBA_HANDLE handle, PHBA_EVENTINFO EventBuffer, HBA_UINT32 *EventBufferCount);

/* ---- CPQFC ------------------------------------------------------------------ */

/* The SNIA adapter attributes followed by the adapter's PCI identity. */
typedef struct _CPQFC_AdapterAttributes {
	char Manufacturer[64];
	char SerialNumber[64];
	char Model[256];
	char ModelDescription[256];
	HBA_WWN NodeWWN;
	char NodeSymbolicName[256];
	char HardwareVersion[256];
	char DriverVersion[256];
	char OptionROMVersion[256];
	char FirmwareVersion[256];
	HBA_UINT32 VendorSpecificID; /* device id << 16 | vendor id */
	HBA_UINT32 NumberOfPorts;
	char DriverName[256];
	HBA_UINT32 SubsystemID;      /* subsystem id << 16 | subsystem vendor id */
	HBA_UINT8 BusID;
	HBA_UINT8 DevFuncID;         /* device << 3 | function */
	HBA_UINT8 DomainID;
} CPQFC_ADAPTERATTRIBUTES, *PCPQFC_ADAPTERATTRIBUTES;

typedef HBA_PORTATTRIBUTES CPQFC_PORTATTRIBUTES;
/* The caller's FCP command and response; never read. */
typedef struct _FCP_CMD FCP_CMD;
typedef struct _FCP_RSP FCP_RSP;

/* Initialises the library if no SNIA load did, and scans; 0. */
HBA_STATUS CPQFC_LoadLibrary(void);
HBA_STATUS CPQFC_FreeLibrary(void);
HBA_UINT32 CPQFC_GetNumberOfAdapters(void);
HBA_STATUS CPQFC_GetAdapterName(HBA_UINT32 adapter_index, char *adapter_name);
HBA_HANDLE CPQFC_OpenAdapter(char *adapter_name);
void CPQFC_CloseAdapter(HBA_HANDLE adapter_handle);
HBA_STATUS CPQFC_GetAdapterAttributes(HBA_HANDLE adapter_handle, CPQFC_ADAPTERATTRIBUTES *adapter_attributes);
HBA_STATUS CPQFC_GetAdapterAttributes2(HBA_HANDLE adapter_handle, CPQFC_ADAPTERATTRIBUTES *adapter_attributes);
HBA_STATUS CPQFC_GetAdapterPortAttributes(HBA_HANDLE adapter_handle, HBA_UINT32 port_index,
					  CPQFC_PORTATTRIBUTES *port_attributes);
HBA_STATUS CPQFC_GetDiscoveredPortAttributes(HBA_HANDLE adapter_handle, HBA_UINT32 port_index,
					     HBA_UINT32 discovered_port_index, CPQFC_PORTATTRIBUTES *port_attributes);
HBA_STATUS CPQFC_SendScsiCommand(HBA_HANDLE hba_handle, HBA_WWN wwpn, FCP_CMD *fcp_request, void *data_buf,
				 HBA_UINT32 data_buf_len, FCP_RSP *fcp_response);
HBA_STATUS qorl_ioc_get_attributes(HBA_HANDLE handle, CPQFC_ADAPTERATTRIBUTES *hbaattributes);

#ifdef __cplusplus
}
#endif

#endif
