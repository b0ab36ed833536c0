/*
 * hbaapi-list: what a SNIA Common HBA API client sees of the host's Fibre
 * Channel adapters, through the system's HBA API wrapper library and the
 * vendor libraries its configuration names: every adapter, port,
 * discovered port, port statistics and FCP target mapping, as text or JSON.
 */
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <hbaapi.h>

#include "qor/qor_text.h"

#ifndef HBAAPI_LIST_VERSION
#define HBAAPI_LIST_VERSION "0"
#endif

/* ---- output: one writer for both forms ---------------------------------- */

/*
 * Text: "name: value" lines indented by depth, sections as "name:" lines.
 * JSON: the same tree as objects and arrays. Keys are given in both forms.
 */
struct out {
	int json;
	int depth;
	int first[32]; /* JSON: nothing written yet at this depth */
};

static struct out O;

static void indent(void)
{
	for (int i = 0; i < O.depth; i++)
		fputs("  ", stdout);
}

/*
 * Text from the vendor library (and behind it a driver or another device on
 * the fabric) may hold anything: the length of the printable UTF-8 character
 * at p, 0 for a byte to show escaped (a control character, C1 included, or
 * one that is not UTF-8).
 */
static size_t printable(const unsigned char *p)
{
	size_t n = *p < 0x80 ? 1 : *p >= 0xc2 && *p <= 0xdf ? 2 : *p >= 0xe0 && *p <= 0xef ? 3
		   : *p >= 0xf0 && *p <= 0xf4 ? 4 : 0;
	if (n == 0 || *p < 0x20 || *p == 0x7f || (*p == 0xc2 && p[1] < 0xa0))
		return 0;
	for (size_t i = 1; i < n; i++)
		if ((p[i] & 0xc0) != 0x80)
			return 0;
	return n;
}

/* Text: a byte that is not printable as "\xNN". */
static void put_text(FILE *f, const char *s)
{
	for (const unsigned char *p = (const unsigned char *)s; *p;) {
		size_t n = printable(p);
		if (n == 0)
			fprintf(f, "\\x%02x", *p++);
		for (; n; n--)
			fputc(*p++, f);
	}
}

/* JSON: a byte that is not UTF-8 is taken as Latin-1; controls are escaped. */
static void json_string(const char *s)
{
	putchar('"');
	for (const unsigned char *p = (const unsigned char *)s; *p;) {
		size_t n = printable(p);
		if (*p == '"' || *p == '\\') {
			printf("\\%c", *p++);
		} else if (n == 0 && *p == 0xc2 && (p[1] & 0xc0) == 0x80) { /* C1 */
			printf("\\u%04x", p[1]);
			p += 2;
		} else if (n == 0) {
			printf("\\u%04x", *p++);
		} else {
			fwrite(p, 1, n, stdout);
			p += n;
		}
	}
	putchar('"');
}

static void json_sep(void)
{
	if (!O.first[O.depth])
		putchar(',');
	O.first[O.depth] = 0;
}

static void key(const char *json_key)
{
	json_sep();
	if (json_key) {
		json_string(json_key);
		putchar(':');
	}
}

/* A section: an object (or, with list set, an array) under a key. */
static void open_section(const char *label, const char *json_key, int list)
{
	if (O.json) {
		key(json_key);
		putchar(list ? '[' : '{');
	} else if (label) {
		indent();
		put_text(stdout, label);
		puts(":");
	}
	if (O.depth + 1 < (int)(sizeof O.first / sizeof O.first[0]))
		O.depth++;
	O.first[O.depth] = 1;
}

static void close_section(int list)
{
	O.depth--;
	if (O.json)
		putchar(list ? ']' : '}');
}

static void text_field(const char *label, const char *json_key, const char *value)
{
	if (O.json) {
		key(json_key);
		if (value)
			json_string(value);
		else
			fputs("null", stdout);
		return;
	}
	indent();
	put_text(stdout, label);
	fputs(": ", stdout);
	put_text(stdout, value ? value : "-");
	putchar('\n');
}

static void num_field(const char *label, const char *json_key, long long v)
{
	if (O.json) {
		key(json_key);
		printf("%lld", v);
		return;
	}
	indent();
	printf("%s: %lld\n", label, v);
}

static void fmt_field(const char *label, const char *json_key, const char *fmt, ...)
{
	char buf[512];
	va_list ap;
	va_start(ap, fmt);
	vsnprintf(buf, sizeof buf, fmt, ap);
	va_end(ap);
	text_field(label, json_key, buf);
}

/* Fixed-size text fields of the records, never trusted to be terminated. */
static void str_field(const char *label, const char *json_key, const char *s, size_t n)
{
	char buf[257];
	size_t len = strnlen(s, n < sizeof buf - 1 ? n : sizeof buf - 1);
	memcpy(buf, s, len);
	buf[len] = '\0';
	text_field(label, json_key, len ? buf : NULL);
}

static void wwn_field(const char *label, const char *json_key, HBA_WWN w)
{
	wwn_t v;
	char t[QOR_WWN_TEXT_LEN];
	memcpy(&v, w.wwn, sizeof v);
	text_field(label, json_key, v ? qor_wwn_format(v, t) : NULL);
}

/* ---- SNIA values as words ------------------------------------------------- */

static const char *port_type(HBA_PORTTYPE t)
{
	switch (t) {
	case HBA_PORTTYPE_UNKNOWN: return "unknown";
	case HBA_PORTTYPE_OTHER: return "other";
	case HBA_PORTTYPE_NOTPRESENT: return "not present";
	case HBA_PORTTYPE_NPORT: return "N_Port";
	case HBA_PORTTYPE_NLPORT: return "NL_Port";
	case HBA_PORTTYPE_FLPORT: return "FL_Port";
	case HBA_PORTTYPE_FPORT: return "F_Port";
	case HBA_PORTTYPE_LPORT: return "L_Port";
	case HBA_PORTTYPE_PTP: return "point-to-point";
	default: return NULL;
	}
}

static const char *port_state(HBA_PORTSTATE s)
{
	switch (s) {
	case HBA_PORTSTATE_UNKNOWN: return "unknown";
	case HBA_PORTSTATE_ONLINE: return "online";
	case HBA_PORTSTATE_OFFLINE: return "offline";
	case HBA_PORTSTATE_BYPASSED: return "bypassed";
	case HBA_PORTSTATE_DIAGNOSTICS: return "diagnostics";
	case HBA_PORTSTATE_LINKDOWN: return "link down";
	case HBA_PORTSTATE_ERROR: return "error";
	case HBA_PORTSTATE_LOOPBACK: return "loopback";
	default: return NULL;
	}
}

/* Speeds are bits: 1, 2, 10, 4, 8 and 16 Gbit/s in that order of bits. */
static void speed_field(const char *label, const char *json_key, HBA_PORTSPEED s)
{
	static const unsigned gbps[] = {1, 2, 10, 4, 8, 16};
	char buf[96] = "";
	size_t n = 0;
	for (unsigned i = 0; i < sizeof gbps / sizeof gbps[0]; i++)
		if (s & (1u << i))
			n += (size_t)snprintf(buf + n, sizeof buf - n, "%s%u", n ? ", " : "", gbps[i]);
	if (O.json) {
		key(json_key);
		putchar('[');
		int first = 1;
		for (unsigned i = 0; i < sizeof gbps / sizeof gbps[0]; i++)
			if (s & (1u << i)) {
				printf("%s%u", first ? "" : ",", gbps[i]);
				first = 0;
			}
		putchar(']');
		return;
	}
	indent();
	printf("%s: %s\n", label, n ? strcat(buf, " Gbit/s") : "unknown");
}

static const char *status_text(HBA_STATUS s)
{
	static const char *const names[] = {
		"ok", "error", "not supported", "invalid handle", "bad argument", "unknown WWN",
		"index out of range", "more data", "stale data", "SCSI check condition", "busy",
		"try again", "unavailable",
	};
	return s < sizeof names / sizeof names[0] ? names[s] : "failed";
}

static void fail_field(const char *label, const char *json_key, HBA_STATUS s)
{
	if (O.json) {
		key(json_key);
		printf("{\"error\":");
		json_string(status_text(s));
		printf(",\"status\":%u}", s);
		return;
	}
	indent();
	printf("%s: %s (status %u)\n", label, status_text(s), s);
}

/* ---- the records ---------------------------------------------------------- */

static void port_fields(const HBA_PORTATTRIBUTES *p, int discovered)
{
	wwn_field("Port WWN", "port_wwn", p->PortWWN);
	wwn_field("Node WWN", "node_wwn", p->NodeWWN);
	if (p->PortFcId)
		fmt_field("Port ID", "port_id", "%06x", p->PortFcId);
	else
		text_field("Port ID", "port_id", NULL);
	if (!discovered)
		text_field("Type", "type", port_type(p->PortType));
	text_field("State", "state", port_state(p->PortState));
	fmt_field("Classes of service", "classes_of_service", "0x%x", p->PortSupportedClassofService);
	str_field("Symbolic name", "symbolic_name", p->PortSymbolicName, sizeof p->PortSymbolicName);
	if (!discovered) {
		str_field("OS device name", "os_device_name", p->OSDeviceName, sizeof p->OSDeviceName);
		speed_field("Supported speeds", "supported_speeds_gbps", p->PortSupportedSpeed);
	}
	speed_field("Speed", "speed_gbps", p->PortSpeed);
	num_field("Maximum frame size", "max_frame_size", p->PortMaxFrameSize);
	if (!discovered) {
		wwn_field("Fabric name", "fabric_name", p->FabricName);
		num_field("Number of discovered ports", "discovered_ports", p->NumberofDiscoveredPorts);
	}
}

static void statistics(HBA_HANDLE h, HBA_UINT32 port)
{
	HBA_PORTSTATISTICS s;
	memset(&s, 0xff, sizeof s);
	HBA_STATUS st = HBA_GetPortStatistics(h, port, &s);
	if (st != HBA_STATUS_OK) {
		fail_field("Statistics", "statistics", st);
		return;
	}
	open_section("Statistics", "statistics", 0);
	num_field("Seconds since reset", "seconds_since_reset", s.SecondsSinceLastReset);
	num_field("Tx frames", "tx_frames", s.TxFrames);
	num_field("Tx words", "tx_words", s.TxWords);
	num_field("Rx frames", "rx_frames", s.RxFrames);
	num_field("Rx words", "rx_words", s.RxWords);
	num_field("LIP count", "lip_count", s.LIPCount);
	num_field("NOS count", "nos_count", s.NOSCount);
	num_field("Error frames", "error_frames", s.ErrorFrames);
	num_field("Dumped frames", "dumped_frames", s.DumpedFrames);
	num_field("Link failures", "link_failures", s.LinkFailureCount);
	num_field("Loss of sync", "loss_of_sync", s.LossOfSyncCount);
	num_field("Loss of signal", "loss_of_signal", s.LossOfSignalCount);
	num_field("Primitive sequence protocol errors", "primitive_seq_protocol_errors",
		  s.PrimitiveSeqProtocolErrCount);
	num_field("Invalid transmission words", "invalid_tx_words", s.InvalidTxWordCount);
	num_field("Invalid CRCs", "invalid_crcs", s.InvalidCRCCount);
	close_section(0);
}

static void target_mapping(HBA_HANDLE h, HBA_WWN port)
{
	HBA_UINT32 room = 64;
	HBA_FCPTARGETMAPPINGV2 *m = NULL;
	HBA_STATUS st;
	for (int tries = 0;; tries++) {
		free(m);
		m = calloc(1, sizeof *m + (room ? room - 1 : 0) * sizeof m->entry[0]);
		if (!m) {
			fail_field("Target mapping", "target_mapping", HBA_STATUS_ERROR);
			return;
		}
		m->NumberOfEntries = room;
		st = HBA_GetFcpTargetMappingV2(h, port, m);
		if (st != HBA_STATUS_ERROR_MORE_DATA || tries == 3 || m->NumberOfEntries <= room)
			break;
		room = m->NumberOfEntries;
	}
	if (st != HBA_STATUS_OK) {
		fail_field("Target mapping", "target_mapping", st);
		free(m);
		return;
	}
	open_section("Target mapping", "target_mapping", 1);
	const HBA_UINT32 n = m->NumberOfEntries < room ? m->NumberOfEntries : room;
	for (HBA_UINT32 i = 0; i < n; i++) {
		const HBA_FCPSCSIENTRYV2 *e = &m->entry[i];
		char label[32];
		snprintf(label, sizeof label, "LUN %u", i);
		open_section(label, NULL, 0);
		str_field("OS device name", "os_device_name", e->ScsiId.OSDeviceName, sizeof e->ScsiId.OSDeviceName);
		fmt_field("SCSI address", "scsi_address", "%u:%u:%u", e->ScsiId.ScsiBusNumber,
			  e->ScsiId.ScsiTargetNumber, e->ScsiId.ScsiOSLun);
		fmt_field("Port ID", "port_id", "%06x", e->FcpId.FcId);
		wwn_field("Port WWN", "port_wwn", e->FcpId.PortWWN);
		wwn_field("Node WWN", "node_wwn", e->FcpId.NodeWWN);
		unsigned char lun[8];
		memcpy(lun, &e->FcpId.FcpLun, sizeof lun);
		fmt_field("FCP LUN", "fcp_lun", "%02x%02x%02x%02x%02x%02x%02x%02x", lun[0], lun[1], lun[2], lun[3],
			  lun[4], lun[5], lun[6], lun[7]);
		close_section(0);
	}
	close_section(1);
	free(m);
}

static void port(HBA_HANDLE h, HBA_UINT32 index)
{
	HBA_PORTATTRIBUTES p;
	memset(&p, 0, sizeof p);
	HBA_STATUS st = HBA_GetAdapterPortAttributes(h, index, &p);
	char label[32];
	snprintf(label, sizeof label, "Port %u", index);
	if (st != HBA_STATUS_OK) {
		fail_field(label, NULL, st);
		return;
	}
	open_section(label, NULL, 0);
	num_field("Index", "index", index);
	port_fields(&p, 0);
	statistics(h, index);
	open_section("Discovered ports", "discovered", 1);
	for (HBA_UINT32 d = 0; d < p.NumberofDiscoveredPorts; d++) {
		HBA_PORTATTRIBUTES r;
		memset(&r, 0, sizeof r);
		snprintf(label, sizeof label, "Discovered port %u", d);
		st = HBA_GetDiscoveredPortAttributes(h, index, d, &r);
		if (st != HBA_STATUS_OK) {
			fail_field(label, NULL, st);
			continue;
		}
		open_section(label, NULL, 0);
		port_fields(&r, 1);
		close_section(0);
	}
	close_section(1);
	target_mapping(h, p.PortWWN);
	close_section(0);
}

static int adapter(HBA_UINT32 index)
{
	char name[256] = "";
	HBA_STATUS st = HBA_GetAdapterName(index, name);
	if (st != HBA_STATUS_OK) {
		fprintf(stderr, "hbaapi-list: adapter %u: no name: %s (status %u)\n", index, status_text(st), st);
		return 1;
	}
	HBA_HANDLE h = HBA_OpenAdapter(name);
	if (h == HBA_HANDLE_INVALID) {
		fputs("hbaapi-list: adapter ", stderr);
		put_text(stderr, name);
		fputs(" cannot be opened\n", stderr);
		return 1;
	}
	HBA_ADAPTERATTRIBUTES a;
	memset(&a, 0, sizeof a);
	st = HBA_GetAdapterAttributes(h, &a);
	char label[300];
	snprintf(label, sizeof label, "Adapter %s", name);
	open_section(label, NULL, 0);
	text_field("Name", "name", name);
	if (st != HBA_STATUS_OK) {
		fail_field("Attributes", "attributes", st);
	} else {
		str_field("Manufacturer", "manufacturer", a.Manufacturer, sizeof a.Manufacturer);
		str_field("Serial number", "serial_number", a.SerialNumber, sizeof a.SerialNumber);
		str_field("Model", "model", a.Model, sizeof a.Model);
		str_field("Model description", "model_description", a.ModelDescription, sizeof a.ModelDescription);
		wwn_field("Node WWN", "node_wwn", a.NodeWWN);
		str_field("Node symbolic name", "node_symbolic_name", a.NodeSymbolicName, sizeof a.NodeSymbolicName);
		str_field("Hardware version", "hardware_version", a.HardwareVersion, sizeof a.HardwareVersion);
		str_field("Driver", "driver_name", a.DriverName, sizeof a.DriverName);
		str_field("Driver version", "driver_version", a.DriverVersion, sizeof a.DriverVersion);
		str_field("Option ROM version", "option_rom_version", a.OptionROMVersion, sizeof a.OptionROMVersion);
		str_field("Firmware version", "firmware_version", a.FirmwareVersion, sizeof a.FirmwareVersion);
		fmt_field("Vendor specific ID", "vendor_specific_id", "0x%08x", a.VendorSpecificID);
		num_field("Number of ports", "number_of_ports", a.NumberOfPorts);
	}
	open_section("Ports", "ports", 1);
	for (HBA_UINT32 p = 0; st == HBA_STATUS_OK && p < a.NumberOfPorts; p++)
		port(h, p);
	close_section(1);
	close_section(0);
	HBA_CloseAdapter(h);
	return 0;
}

static void usage(FILE *f)
{
	fputs("Usage: hbaapi-list [--json] [--version] [--help]\n"
	      "Lists every Fibre Channel adapter that the SNIA HBA API libraries of /etc/hba.conf\n"
	      "report: attributes, ports, discovered ports, statistics and target mappings.\n",
	      f);
}

int main(int argc, char **argv)
{
	for (int i = 1; i < argc; i++) {
		if (strcmp(argv[i], "--json") == 0) {
			O.json = 1;
		} else if (strcmp(argv[i], "--version") == 0) {
			printf("hbaapi-list %s\n", HBAAPI_LIST_VERSION);
			return 0;
		} else if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0) {
			usage(stdout);
			return 0;
		} else {
			fputs("hbaapi-list: unknown argument '", stderr);
			put_text(stderr, argv[i]);
			fputs("'\n", stderr);
			usage(stderr);
			return 2;
		}
	}
	HBA_STATUS st = HBA_LoadLibrary();
	if (st != HBA_STATUS_OK) {
		fprintf(stderr, "hbaapi-list: the HBA API library did not load: %s (status %u); "
				"check /etc/hba.conf\n",
			status_text(st), st);
		return 1;
	}
	const HBA_UINT32 n = HBA_GetNumberOfAdapters();
	int rc = 0;
	O.first[0] = 1;
	if (O.json) {
		printf("{\"version\":");
		json_string(HBAAPI_LIST_VERSION);
		printf(",\"hba_api_version\":%u,", HBA_GetVersion());
		open_section(NULL, "adapters", 1);
	} else {
		printf("%u adapter%s\n", n, n == 1 ? "" : "s");
	}
	for (HBA_UINT32 i = 0; i < n; i++)
		rc |= adapter(i);
	if (O.json) {
		close_section(1);
		puts("}");
	}
	HBA_FreeLibrary();
	return rc;
}
