// Statistics name tables: name i labels counter i of its record.
#include "qorl_stats.h"

#include <cstddef>
#include <iterator>
#include <string_view>

namespace {
// A short initializer leaves null names at the end, and a name of 64 or more
// characters would be cut in a pair; both are build errors.
template <std::size_t N> constexpr bool complete(const char *const (&t)[N])
{
	for (const char *name : t)
		if (name == nullptr || std::string_view(name).size() >= QORL_STATS_NAME_LEN)
			return false;
	return true;
}
} // namespace

extern "C" {

constexpr const char *const qorl_port_fc_stats[QORL_PORT_FC_STATS_COUNT] = {
	"Seconds since stats is reset", "Tx frames", "Tx words", "Tx LIP",
	"Tx NOS", "Tx OLS", "Tx LR", "Tx LRR", "Rx frames", "Rx words",
	"Rx LIP", "Rx NOS", "Rx OLS", "Rx LR", "Rx LRR", "Rx CRC err frames",
	"Rx CRC err good EOF frames", "Rx undersized frames",
	"Rx oversized frames", "Rx frames with bad EOF", "Errored frames",
	"Dropped frames", "Link Failure (LF) count", "Loss of sync count",
	"Loss of signal count", "Primitive sequence protocol err.",
	"Invalid ordered sets", "Encoding err nonframe_8b10b",
	"Encoding err frame_8b10b",
};

constexpr const char *const qorl_port_eth_stats[QORL_PORT_ETH_STATS_COUNT] = {
	"Seconds since stats is reset", "Frames 64 bytes",
	"Frames 65-127 bytes", "Frames 128-255 bytes", "Frames 256-511 bytes",
	"Frames 512-1023 bytes", "Frames 1024-1518 bytes",
	"Frames 1519-1522 bytes", "Tx bytes", "Tx packets",
	"Tx multicast packets", "Tx broadcast packets", "Tx control frame",
	"Tx drops", "Tx jabber", "Tx FCS errors", "Tx fragments", "Rx bytes",
	"Rx packets", "Rx multicast packets", "Rx broadcast packets",
	"Rx control frames", "Rx unknown opcode", "Rx drops", "Rx jabber",
	"Rx FCS errors", "Rx alignment errors", "Rx frame len errors",
	"Rx code errors", "Rx fragments", "Rx pause", "Rx zero pause",
	"Tx pause", "Tx zero pause", "Rx FCoE pause", "Rx FCoE zero pause",
	"Tx FCoE pause", "Tx FCoE zero pause", "Rx iSCSI pause",
	"Rx iSCSI zero pause", "Tx iSCSI pause", "Tx iSCSI zero pause",
};

constexpr const char *const qorl_fcoe_stats[QORL_FCOE_STATS_COUNT] = {
	"Seconds since stats reset", "CEE link up", "CEE link down",
	"FIP link up", "FIP link down", "FIP failures",
	"Invalid mac assignments", "Vlan requests", "Vlan notifications",
	"Vlan notification errors", "Vlan request timeouts", "Vlan invalids",
	"Discovery requests", "Discovery responses", "Discovery error frames",
	"Discovery unsolicited", "Discovery timeouts",
	"Discovery FCF not avail", "FIP link service req unsupp.",
	"FIP link service req errors", "FIP logos received",
	"Clear virtual link requests", "FIP operation unsupp.",
	"FIP untagged frames", "Tx FCoE unicast frames",
	"Tx FCoE unicast vlan frames", "Tx FCoE unicast octets",
	"Tx FCoE multicast frames", "Tx FCoE multicast vlan frames",
	"Tx FCoE multicast octets", "Tx FCoE broadcast frames",
	"Tx FCoE broadcast vlan frames", "Tx FCoE broadcast octets",
	"Tx timeouts", "Transmit parity err", "Transmit FID parity err",
	"Rx FCoE unicast octets", "Rx FCoE unicast frames",
	"Rx FCoE unicast vlan frames", "Rx FCoE multicast octets",
	"Rx FCoE multicast frames", "Rx FCoE multicast vlan frames",
	"Rx FCoE broadcast octets", "Rx FCoE broadcast frames",
	"Rx FCoE broadcast vlan frames",
};

constexpr const char *const qorl_lport_stats[QORL_LPORT_STATS_COUNT] = {
	"ns_plogi_sent", "ns_plogi_rsp_err", "ns_plogi_acc_err",
	"ns_plogi_accepts", "NS command rejects", "ns_plogi_unknown_rsp",
	"ns_plogi_alloc_wait", "NS command retries", "NS command timeouts",
	"ns_rspnid_sent", "ns_rspnid_accepts", "ns_rspnid_rsp_err",
	"ns_rspnid_rejects", "ns_rspnid_alloc_wait", "ns_rftid_sent",
	"ns_rftid_accepts", "ns_rftid_rsp_err", "ns_rftid_rejects",
	"ns_rftid_alloc_wait", "ns_rffid_sent", "ns_rffid_accepts",
	"ns_rffid_rsp_err", "ns_rffid_rejects", "ns_rffid_alloc_wait",
	"ns_gidft_sent", "ns_gidft_accepts", "ns_gidft_rsp_err",
	"ns_gidft_rejects", "ns_gidft_unknown_rsp", "ns_gidft_alloc_wait",
	"MS command retries", "MS command timeouts", "ms_plogi_sent",
	"ms_plogi_rsp_err", "ms_plogi_acc_err", "ms_plogi_accepts",
	"MS command rejects", "ms_plogi_unknown_rsp", "ms_plogi_alloc_wait",
	"Num of RSCN received", "Num portid format RSCN",
	"Unsolicited recv frames", "Dropped received frames",
	"Received plogi", "Received prli", "Received adisc", "Received prlo",
	"Received logo", "Received rpsc", "Received unhandled ELS",
	"Rport plogi retry timeout count",
	"Deleted rport (max retry of plogi)",
};

constexpr const char *const qorl_itnim_iostats[QORL_ITNIM_IOSTATS_COUNT] = {
	"Total IO Requests", "Data in-bound requests",
	"Data out-bound requests", "Total IO Completions",
	"Write data transfered in bytes", "Read data transfered in bytes",
	"Slowpath IO completions", "IO underrun", "IO overrun",
	"IO Request-Q wait", "IO Request-Q wait done", "No free IO tag",
	"IO timeouts", "IO failure due to target offline",
	"IO protocol errors", "IO SBC-3 protection errors",
	"fcp-2 error recovery failed", "Delayed freeing of IO tag",
	"Host IO abort requests", "Host IO abort completions",
	"IO clean-up requests", "IO path tov expired", "IO abort completions",
	"IO cleaned-up due to IOC down", "IO comp with unknown tags",
	"Abort request due to TM command",
	"Abort completion due to TM command", "IT Nexus create requests",
	"IT Nexus FW create requests", "IT Nexus FW create completions",
	"IT Nexus onlines", "IT Nexus offlines", "IT Nexus FW delete requests",
	"IT Nexus FW delete completions", "IT Nexus delete requests",
	"SLER events", "Num IOC disables", "IT Nexus cleanup completions",
	"TM Requests", "TM Completions", "TM initiated IO cleanup success",
	"TM initiated IO cleanup failure", "No free TM tag",
	"TM Request-Q wait", "TM Request-Q wait done",
	"TM cleaned-up due to IOC down", "TM cleanup requests",
	"TM cleanup completions",
};

constexpr const char *const qorl_itnim_stats[QORL_ITNIM_STATS_COUNT] = {
	"num rport online", "num rport offline", "num prli sent out",
	"num fcxp alloc waits", "num prli rsp errors", "num prli rsp accepts",
	"rport is an initiator", "prli rsp parsing errors",
	"num prli rsp rejects", "num timeouts detected",
	"num sler notification from QOR",
};

constexpr const char *const qorl_rport_remote_link_stats[QORL_RPORT_REMOTE_LINK_STATS_COUNT] = {
	"Link Failure Count", "Loss of Synchronization Count",
	"Loss of Signal Count", "Primitive Sequence Protocol Error Count",
	"Invalid Transmission Word Count", "Invalid CRC Count",
};

constexpr const char *const qorl_vf_stats[QORL_VF_STATS_COUNT] = {
	"Num FLOGIs sent", "FLOGI response errors", "FLOGI accept errors",
	"FLOGI accepts received", "FLOGI rejects received",
	"Unknown responses for FLOGI",
	"Allocation waits prior to sending FLOGI", "FLOGIs received",
	"Incoming FLOGIs rejected",
	"Internal fabric online notification sent to other modules",
	"Internal fabric offline notification sent to other modules",
};

constexpr const char *const qorl_qos_stats[QORL_QOS_STATS_COUNT] = {
	"QoS Flogi sent", "QoS Flogi Acc received",
	"QoS Flogi rejects received", "QoS Flogi retries", "QoS ELP received",
	"QoS ELP Accepted", "QoS ELP rejected", "QoS ELP dropped",
	"QoS RSCN received",
};

constexpr const char *const qorl_fcpim_del_itn_stats[QORL_FCPIM_DEL_ITN_STATS_COUNT] = {
	"Aborted IO requests", "IO timeouts", "IO retry for SQ error recovery",
	"Delayed freeing of IO resources", "Host IO abort requests",
	"Total IO count", "IO cleaned-up due to IOC down",
	"TM cleaned-up due to IOC down",
};

constexpr const char *const qorl_ipfc_stats[QORL_IPFC_STATS_COUNT] = {
	"ARP sent", "ARP rcvd", "ARP reply sent", "ARP reply rcvd",
	"FARP sent", "FARP rcvd", "FARP reply sent", "FARP reply rcvd",
	"FARP reject sent", "FARP reject rcvd",
};

constexpr const char *const qorl_cee_stats[QORL_CEE_STATS_COUNT] = {
	"LLDP Tx Frames", "LLDP Rx Frames", "LLDP Rx Frames invalid",
	"LLDP Rx Frames new", "LLDP Rx unrecog. TLVs", "LLDP Rx shutdown TLVs",
	"LLDP remote info aged", "DCBX phy link ups", "DCBX phy link downs",
	"DCBX Rx TLVs", "DCBX Rx TLVs invalid", "DCBX control TLV errors",
	"DCBX feature TLV errors", "DCBX new CEE cfg rcvd", "CEE status down",
	"CEE status up", "CEE hw cfg changed", "CEE invalid cfg",
};

} // extern "C"

static_assert(complete(qorl_port_fc_stats) && std::size(qorl_port_fc_stats) == 29);
static_assert(complete(qorl_port_eth_stats) && std::size(qorl_port_eth_stats) == 42);
static_assert(complete(qorl_fcoe_stats) && std::size(qorl_fcoe_stats) == 45);
static_assert(complete(qorl_lport_stats) && std::size(qorl_lport_stats) == 52);
static_assert(complete(qorl_itnim_iostats) && std::size(qorl_itnim_iostats) == 48);
static_assert(complete(qorl_itnim_stats) && std::size(qorl_itnim_stats) == 11);
static_assert(complete(qorl_rport_remote_link_stats) && std::size(qorl_rport_remote_link_stats) == 6);
static_assert(complete(qorl_vf_stats) && std::size(qorl_vf_stats) == 11);
static_assert(complete(qorl_qos_stats) && std::size(qorl_qos_stats) == 9);
static_assert(complete(qorl_fcpim_del_itn_stats) && std::size(qorl_fcpim_del_itn_stats) == 8);
static_assert(complete(qorl_ipfc_stats) && std::size(qorl_ipfc_stats) == 10);
static_assert(complete(qorl_cee_stats) && std::size(qorl_cee_stats) == 18);
