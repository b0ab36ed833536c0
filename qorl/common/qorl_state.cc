// Code-to-text tables, port log and SFP media names, the 8-bit checksum and
// the library-wide last error.
#include "qorl.h"
#include "qorl_state.h"

#include <cstddef>
#include <iterator>
#include <span>

namespace {
qor_status_t last_error = QOR_STATUS_OK;

constexpr int end_code = -1;
// What a code without a row reads as; deliberately not the end row's text.
constexpr const char *unknown_text = "unknown";

// Every table must end with the end row (so the walk always stops inside
// it) and must not repeat a code (a repeat could never be reached).
template <std::size_t N> constexpr bool well_formed(const qor_state_t (&t)[N])
{
	if (N == 0 || t[N - 1].code != end_code)
		return false;
	for (std::size_t i = 0; i < N; ++i) {
		if (t[i].str == nullptr || (i + 1 < N && t[i].code == end_code))
			return false;
		for (std::size_t j = i + 1; j < N; ++j)
			if (t[i].code == t[j].code)
				return false;
	}
	return true;
}

// The one walk every lookup shares: first matching row wins, in table order.
const char *lookup(std::span<const qor_state_t> table, int code)
{
	for (const qor_state_t &row : table) {
		if (row.code == end_code)
			break;
		if (row.code == code)
			return row.str;
	}
	return unknown_text;
}

constexpr qor_state_t flash_status_str[] = {
	{0, "good"}, {1, "absent"}, {2, "uninit"}, {3, "bad"}, {4, "empty"},
	{5, "badcksum"}, {-1, "--"},
};

constexpr qor_state_t flash_part_type_str[] = {
	{0, "null"}, {1, "optrom"}, {2, "fw"}, {3, "cfg"}, {4, "drv"},
	{5, "boot"}, {6, "asic"}, {7, "mfg"}, {8, "optrom2"}, {9, "vpd"},
	{10, "pbc"}, {11, "bootovl"}, {12, "log"}, {13, "pxecfg"},
	{14, "pxeovl"}, {15, "portcfg"}, {-1, "--"},
};

// 1 and 12 have no row on purpose.
constexpr qor_state_t ioc_state_str[] = {
	{2, "reset"}, {3, "semwait"}, {4, "hwinit"}, {11, "firmware mismatch"},
	{5, "getattr"}, {6, "operational"}, {7, "hwfail"}, {8, "fail"},
	{9, "disabling"}, {10, "disabled"}, {-1, "--"},
};

constexpr qor_state_t port_states_str[] = {
	{0, "Unknown"}, {1, "Uninit"}, {2, "Enabling (qwait)"}, {3, "Enabling"},
	{4, "Linkdown"}, {5, "Linkup"}, {6, "Disabling (qwait)"},
	{7, "Disabling"}, {8, "Disabled"}, {9, "Stopped"}, {10, "IOC down"},
	{11, "IOC disabled"}, {12, "FW mismatch"}, {13, "Disabled#"},
	{14, "Link toggling (qwait)"}, {15, "Invalid"}, {-1, "--"},
};

// The trailing blanks keep every speed three characters wide.
constexpr qor_state_t port_speed_str[] = {
	{0, "---"}, {1, "1G "}, {2, "2G "}, {4, "4G "}, {8, "8G "},
	{10, "10G"}, {16, "16G"}, {15, "Auto"}, {-1, "--"},
};

constexpr qor_state_t port_type_str[] = {
	{1, "UN"}, {5, "N"}, {6, "NL"}, {20, "LP"}, {21, "P2P"}, {22, "VP"},
	{-1, "--"},
};

constexpr qor_state_t port_topology_str[] = {
	{0, "Unknown"}, {1, "P2P"}, {2, "Loop"}, {3, "Auto"}, {-1, "--"},
};

constexpr qor_state_t rport_state_str[] = {
	{0, "uninit"}, {1, "offline"}, {2, "plogi"}, {3, "online"}, {4, "retry"},
	{5, "nsquery"}, {6, "adisc"}, {7, "logo"}, {8, "logorecv"},
	{9, "nsdisc"}, {-1, "--"},
};

constexpr qor_state_t itnim_state_str[] = {
	{0, "offline"}, {1, "prli send"}, {2, "prli sent"}, {3, "prli retry"},
	{4, "online callback"}, {5, "online"}, {6, "offline callback"},
	{7, "initiator"}, {-1, "--"},
};

constexpr qor_state_t auth_status_str[] = {
	{0, "no_auth"}, {1, "uninit"}, {2, "neg_send"}, {3, "chal_wait"},
	{4, "neg_retry"}, {5, "reply_send"}, {6, "status_wait"},
	{7, "success"}, {8, "failed"}, {9, "unknown"}, {-1, "--"},
};

constexpr qor_state_t auth_algo_str[] = {
	{1, "MD5"}, {2, "SHA1"}, {3, "MD5,SHA1"}, {4, "SHA1,MD5"}, {-1, "--"},
};

constexpr qor_state_t auth_group_str[] = {
	{0, "DH-NULL"}, {1, "DH-768"}, {2, "DH-1024"}, {4, "DH-1280"},
	{8, "DH-1536"}, {256, "DH-ALL(1,2,3,4)"}, {-1, "--"},
};

constexpr qor_state_t auth_rej_code_str[] = {
	{1, "Auth fail"}, {2, "Logical err"}, {255, "Logical err"},
	{254, "no password"}, {-1, "--"},
};

constexpr qor_state_t auth_rej_code_exp_str[] = {
	{1, "Auth Mech"}, {2, "DH Group"}, {3, "Hash Func"}, {4, "Auth XACT"},
	{5, "Auth fail"}, {6, "Payload"}, {7, "Proto msg"}, {8, "Restart Auth"},
	{9, "Auth Concat"}, {10, "Proto Ver."}, {255, "-"}, {254, "-"},
	{-1, "--"},
};

constexpr qor_state_t vport_state_str[] = {
	{0, "uninit"}, {1, "offline"}, {2, "fdisc*"}, {3, "fdisc"},
	{4, "fdisc-retry"}, {5, "online"}, {6, "deleting"}, {7, "logo*"},
	{8, "logo"}, {9, "Error"}, {-1, "--"},
};

constexpr qor_state_t log_severity_str[] = {
	{0, "invalid"}, {1, "Critical"}, {2, "Error"}, {3, "Warning"},
	{4, "Info"}, {-1, "--"},
};

constexpr qor_state_t qos_state_str[] = {
	{0, "Disabled"}, {1, "Online"}, {2, "Offline"}, {-1, "--"},
};

constexpr qor_state_t qos_priority_str[] = {
	{0, "Unknown"}, {1, "High"}, {2, "Medium"}, {3, "Low"}, {-1, "--"},
};

// The joined words ("notcompatible", "Waitingto", ...) are user-visible
// output that tools and scripts already match; keep them as they are.
constexpr qor_state_t port_linkstate_rsn_str[] = {
	{20, "Timeout waiting to receive from peer"},
	{21, "Received LLDP shutdown TLV from peer"},
	{22, "Peer not advertising DCBX"},
	{23, "Peer not advertising PG TLV"},
	{24, "Peer not advertising PFC TLV"},
	{25, "Peer not advertising FCOE TLV"},
	{26, "Protocol Error - PG values not compatible"},
	{27, "Protocol Error - PFC values not compatible"},
	{28, "Protocol Error - FCOE values notcompatible"},
	{29, "Invalid PGID values received [Valid values 0-7]"},
	{30, "Invalid BW values received [Sum of all BW shouldequal to 100]"},
	{31, "Invalid PFC values received [PFCs should beconsistent within a priority group]"},
	{32, "Invalid App values received [At least oneApp priority(s) must be set]"},
	{33, "PFC disabled for FCoE priority(s)"},
	{34, "Protocol Error - Duplicate Control TLVsreceived"},
	{35, "Protocol Error - Duplicate Feature TLVsreceived"},
	{36, "Applying new configuration in progress.Please retry"},
	{37, "Protocol Initialization in progress Or Waitingto receive from Peer"},
	{38, "Physical link down"},
	{41, "Protocol Error - ISCSI values notcompatible"},
	{42, "PFC disabled for iSCSI priority(s)"},
	{43, "iSCSI priority(s) overlap FCoE priority(s)"},
	{-1, "Unknown Error."},
};

constexpr qor_state_t ethport_cee_state_str[] = {
	{1, "Linkdown"}, {2, "Linkup"}, {-1, "--"},
};

constexpr qor_state_t trunk_state_str[] = {
	{0, "Disabled"}, {1, "Linkup"}, {2, "Linkdown"}, {-1, "--"},
};

constexpr qor_state_t trunk_link_state_str[] = {
	{1, "Linkup"}, {2, "Linkdown"}, {3, "MisGrp"}, {4, "MisSpd"},
	{5, "MisMode"}, {-1, "--"},
};

constexpr qor_state_t trunk_link_fctl_str[] = {
	{0, "Normal"}, {1, "VC"}, {2, "QoS VC"}, {-1, "--"},
};

constexpr qor_state_t cee_status_str[] = {
	{0, "CEE Linkup"}, {1, "Linkup"}, {3, "Linkdown"}, {2, "Loopback"},
	{-1, "--"},
};

static_assert(well_formed(flash_status_str) && std::size(flash_status_str) == 7);
static_assert(well_formed(flash_part_type_str) && std::size(flash_part_type_str) == 17);
static_assert(well_formed(ioc_state_str) && std::size(ioc_state_str) == 11);
static_assert(well_formed(port_states_str) && std::size(port_states_str) == 17);
static_assert(well_formed(port_speed_str) && std::size(port_speed_str) == 9);
static_assert(well_formed(port_type_str) && std::size(port_type_str) == 7);
static_assert(well_formed(port_topology_str) && std::size(port_topology_str) == 5);
static_assert(well_formed(rport_state_str) && std::size(rport_state_str) == 11);
static_assert(well_formed(itnim_state_str) && std::size(itnim_state_str) == 9);
static_assert(well_formed(auth_status_str) && std::size(auth_status_str) == 11);
static_assert(well_formed(auth_algo_str) && std::size(auth_algo_str) == 5);
static_assert(well_formed(auth_group_str) && std::size(auth_group_str) == 7);
static_assert(well_formed(auth_rej_code_str) && std::size(auth_rej_code_str) == 5);
static_assert(well_formed(auth_rej_code_exp_str) && std::size(auth_rej_code_exp_str) == 13);
static_assert(well_formed(vport_state_str) && std::size(vport_state_str) == 11);
static_assert(well_formed(log_severity_str) && std::size(log_severity_str) == 6);
static_assert(well_formed(qos_state_str) && std::size(qos_state_str) == 4);
static_assert(well_formed(qos_priority_str) && std::size(qos_priority_str) == 5);
static_assert(well_formed(port_linkstate_rsn_str) && std::size(port_linkstate_rsn_str) == 23);
static_assert(well_formed(ethport_cee_state_str) && std::size(ethport_cee_state_str) == 3);
static_assert(well_formed(trunk_state_str) && std::size(trunk_state_str) == 4);
static_assert(well_formed(trunk_link_state_str) && std::size(trunk_link_state_str) == 6);
static_assert(well_formed(trunk_link_fctl_str) && std::size(trunk_link_fctl_str) == 4);
static_assert(well_formed(cee_status_str) && std::size(cee_status_str) == 5);

constexpr qor_plog_mid_strings_t pl_mid_strs[] = {
	{"Invalid"}, {"Debug"}, {"Driver"}, {"HAL"}, {"FCXP"}, {"UF"},
	{"FCS"}, {"LPS"}, {"Max"},
};
static_assert(std::size(pl_mid_strs) == 9);

constexpr qor_plog_eid_strings_t pl_eid_strs[] = {
	{"Invalid"}, {"iocstop"}, {"iocstrt"}, {"pstop"}, {"pstart"},
	{"pstchg"}, {"Tx"}, {"Tx_Ack1"}, {"Tx_Rjt"}, {"Tx_Bsy"}, {"Rx"},
	{"Rx_Ack1"}, {"Rx_Rjt"}, {"Rx_Bsy"}, {"ct_in"}, {"ct_out"},
	{"drvstrt"}, {"rscn"}, {"debug"}, {"misc"}, {"fcfdisc"}, {"fcfcvl"},
	{"login"}, {"logout"}, {"trkscn"}, {""},
};
static_assert(std::size(pl_eid_strs) == 26);

constexpr const char *sfp_media_strs[] = {"--", "cu", "lw", "sw", "el", "us"};
static_assert(std::size(sfp_media_strs) == QOR_SFP_MEDIA_UNSUPPORT + 1);

// An index outside the table answers with entry 0, the table's own
// "no value" name, so callers printing garbage codes stay in bounds.
template <class T, std::size_t N> const T &entry_or_first(const T (&t)[N], long long index)
{
	return (index >= 0 && static_cast<unsigned long long>(index) < N) ? t[index] : t[0];
}
} // namespace

extern "C" {

void qorl_set_last_error(qor_status_t status)
{
	last_error = status;
}

qor_status_t qorl_get_last_error(void)
{
	return last_error;
}

// Codes come from the drivers and may lie outside their enumeration, so
// the walk takes them as plain ints.
const char *qorl_flash_status_to_string(qor_flash_status_t state)
{
	return lookup(flash_status_str, state);
}

const char *qorl_flash_part_type_to_string(qor_flash_part_type_t state)
{
	return lookup(flash_part_type_str, state);
}

const char *qorl_ioc_state_to_string(qor_ioc_state_t state)
{
	return lookup(ioc_state_str, state);
}

const char *qorl_port_states_to_string(qor_port_states_t state)
{
	return lookup(port_states_str, state);
}

const char *qorl_port_speed_to_string(qor_port_speed_t state)
{
	return lookup(port_speed_str, state);
}

const char *qorl_port_type_to_string(qor_port_type_t state)
{
	return lookup(port_type_str, state);
}

const char *qorl_port_topology_to_string(qor_port_topology_t state)
{
	return lookup(port_topology_str, state);
}

const char *qorl_rport_state_to_string(qor_rport_state_t state)
{
	return lookup(rport_state_str, state);
}

const char *qorl_itnim_state_to_string(qor_itnim_state_t state)
{
	return lookup(itnim_state_str, state);
}

const char *qorl_auth_status_to_string(qor_auth_status_t state)
{
	return lookup(auth_status_str, state);
}

const char *qorl_auth_algo_to_string(qor_auth_algo_t state)
{
	return lookup(auth_algo_str, state);
}

const char *qorl_auth_group_to_string(qor_auth_group_t state)
{
	return lookup(auth_group_str, state);
}

const char *qorl_auth_rej_code_to_string(qor_auth_rej_code_t state)
{
	return lookup(auth_rej_code_str, state);
}

const char *qorl_auth_rej_code_exp_to_string(qor_auth_rej_code_exp_t state)
{
	return lookup(auth_rej_code_exp_str, state);
}

const char *qorl_vport_state_to_string(qor_vport_state_t state)
{
	return lookup(vport_state_str, state);
}

const char *qorl_log_severity_to_string(qor_log_severity_t state)
{
	return lookup(log_severity_str, state);
}

const char *qorl_qos_state_to_string(qor_qos_state_t state)
{
	return lookup(qos_state_str, state);
}

const char *qorl_qos_priority_to_string(qor_qos_priority_t state)
{
	return lookup(qos_priority_str, state);
}

const char *qorl_port_linkstate_rsn_to_string(qor_port_linkstate_rsn_t state)
{
	return lookup(port_linkstate_rsn_str, state);
}

const char *qorl_ethport_cee_state_to_string(qor_ethport_cee_state_t state)
{
	return lookup(ethport_cee_state_str, state);
}

const char *qorl_trunk_state_to_string(qor_trunk_state_t state)
{
	return lookup(trunk_state_str, state);
}

const char *qorl_trunk_link_state_to_string(qor_trunk_link_state_t state)
{
	return lookup(trunk_link_state_str, state);
}

const char *qorl_trunk_link_fctl_to_string(qor_trunk_link_fctl_t state)
{
	return lookup(trunk_link_fctl_str, state);
}

const char *qorl_cee_status_to_string(qor_cee_status_t state)
{
	return lookup(cee_status_str, state);
}

const char *qor_plog_mid_strings(int index)
{
	return entry_or_first(pl_mid_strs, index).m_str;
}

const char *qor_plog_eid_strings(int index)
{
	return entry_or_first(pl_eid_strs, index).e_str;
}

const char *qorl_get_sfp_media(qor_defs_sfp_media_t media)
{
	return entry_or_first(sfp_media_strs, static_cast<long long>(media));
}

uint32_t qorl_checksum_u8(const uint8_t *buf, uint32_t count)
{
	if (buf == nullptr)
		return 0;
	uint32_t sum = 0;
	for (uint32_t i = 0; i < count; ++i)
		sum += buf[i];
	return (0u - sum) & 0xffu;
}

} // extern "C"
