/*
 * A SNIA HBA API client, through the system's wrapper library only: it
 * writes a private hba.conf under the emulator's root and lets the wrapper
 * find and load the vendor library from it, as any SNIA application would.
 *
 *   snia_client MODE LIBRARY
 *
 * MODE: basic   every V1 and V2 function, events, three load/free cycles
 *       twice   the library listed twice in hba.conf
 *       badlib  a library that fails to load listed next to ours
 *       threads 8 threads querying while callbacks fire and a ninth
 *               thread loads and frees the vendor library itself
 * Exits 0 when every check held.
 */
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <hbaapi.h>

#include "protocol/fc_ct.h"
#include "protocol/fc_els.h"
#include "qorsim.h"

/* Exported by the wrapper under a name its header spells differently. */
HBA_STATUS HBA_SetBindingSupport(HBA_HANDLE, HBA_WWN, HBA_BIND_CAPABILITY);

static atomic_int failures, checks;

static void check_eq(unsigned long long a, unsigned long long b, int line, const char *ta, const char *tb)
{
	checks++;
	if (a != b) {
		failures++;
		fprintf(stderr, "%s:%d: %s is %llu (0x%llx), not %s = %llu\n", __FILE__, line, ta, a, a, tb, b);
	}
}
#define CHECK_EQ(a, b) check_eq((unsigned long long)(a), (unsigned long long)(b), __LINE__, #a, #b)
#define CHECK(c) check_eq(!!(c), 1, __LINE__, #c, "true")

static HBA_WWN wwn(const char *text)
{
	HBA_WWN w;
	unsigned b[8];
	sscanf(text, "%x:%x:%x:%x:%x:%x:%x:%x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5], &b[6], &b[7]);
	for (int i = 0; i < 8; i++)
		w.wwn[i] = (HBA_UINT8)b[i];
	return w;
}

static int same_wwn(HBA_WWN a, HBA_WWN b)
{
	return memcmp(a.wwn, b.wwn, 8) == 0;
}

static const char *kPort0 = "20:00:02:5a:31:0a:f0:00", *kPort1 = "20:00:02:5a:31:0a:f0:01",
		  *kTgtA = "50:25:a3:40:10:3a:7c:00", *kInit = "21:00:02:5a:30:4c:8e:10",
		  *kFabric = "10:00:02:5a:30:fa:b0:01", *kNobody = "20:00:00:00:00:00:00:99";

/* ---- the private root and its hba.conf ------------------------------------- */

static char root[256];

static const char *under_root(const char *rel)
{
	static char path[512];
	snprintf(path, sizeof path, "%s%s", root, rel);
	return path;
}

static void write_conf(const char *lines)
{
	mkdir(under_root("/etc"), 0700);
	FILE *f = fopen(under_root("/etc/hba.conf"), "w");
	if (!f) {
		perror(under_root("/etc/hba.conf"));
		exit(2);
	}
	fputs(lines, f);
	fclose(f);
}

static void remove_root(void)
{
	unlink(under_root("/etc/hba.conf"));
	unlink(under_root("/etc/qor.conf"));
	rmdir(under_root("/etc"));
	rmdir(root);
}

/* ---- events ------------------------------------------------------------------- */

struct events {
	pthread_mutex_t mu;
	pthread_cond_t cv;
	int n;
	HBA_UINT32 last_type;
	HBA_WWN last_wwn;
	HBA_UINT32 last_fcid;
};

#define EVENTS_INIT {PTHREAD_MUTEX_INITIALIZER, PTHREAD_COND_INITIALIZER, 0, 0, {{0}}, 0}

static void note(struct events *e, HBA_UINT32 type, HBA_WWN w, HBA_UINT32 fcid)
{
	pthread_mutex_lock(&e->mu);
	e->n++;
	e->last_type = type;
	e->last_wwn = w;
	e->last_fcid = fcid;
	pthread_cond_broadcast(&e->cv);
	pthread_mutex_unlock(&e->mu);
}

static int wait_for(struct events *e, int n)
{
	struct timespec until;
	clock_gettime(CLOCK_REALTIME, &until);
	until.tv_sec += 30;
	pthread_mutex_lock(&e->mu);
	int rc = 0;
	while (e->n < n && rc != ETIMEDOUT)
		rc = pthread_cond_timedwait(&e->cv, &e->mu, &until);
	int got = e->n >= n;
	pthread_mutex_unlock(&e->mu);
	return got;
}

static int count_of(struct events *e)
{
	pthread_mutex_lock(&e->mu);
	int n = e->n;
	pthread_mutex_unlock(&e->mu);
	return n;
}

static void on_adapter(void *ud, HBA_WWN w, HBA_UINT32 type) { note(ud, type, w, 0); }
static void on_port(void *ud, HBA_WWN w, HBA_UINT32 type, HBA_UINT32 fcid) { note(ud, type, w, fcid); }
static void on_target(void *ud, HBA_WWN l, HBA_WWN r, HBA_UINT32 type) { (void)l, note(ud, type, r, 0); }
static void on_link(void *ud, HBA_WWN w, HBA_UINT32 type, void *buf, HBA_UINT32 size)
{
	(void)buf, (void)size, note(ud, type, w, 0);
}

/* ---- one session: everything a client can ask ------------------------------------ */

/* The room argument of a request, set to v. */
static HBA_UINT32 *room(HBA_UINT32 *n, HBA_UINT32 v)
{
	*n = v;
	return n;
}

static HBA_HANDLE open_first(void)
{
	char name[256] = "";
	CHECK_EQ(HBA_GetAdapterName(0, name), HBA_STATUS_OK);
	CHECK(strcmp(name, "QXA2210F001") == 0);
	HBA_HANDLE h = HBA_OpenAdapter(name);
	CHECK(h != 0);
	return h;
}

static void adapters_and_ports(void)
{
	CHECK_EQ(HBA_GetNumberOfAdapters(), 2);
	char name[256] = "";
	CHECK_EQ(HBA_GetAdapterName(1, name), HBA_STATUS_OK);
	CHECK(strcmp(name, "QXC2214C007") == 0);
	HBA_HANDLE h = open_first(), byw = 0;
	CHECK_EQ(HBA_OpenAdapterByWWN(&byw, wwn("10:00:02:5a:31:0a:f0:01")), HBA_STATUS_OK);
	CHECK(byw != 0);
	HBA_CloseAdapter(byw);
	CHECK(HBA_OpenAdapterByWWN(&byw, wwn(kNobody)) != HBA_STATUS_OK);

	HBA_ADAPTERATTRIBUTES a = {0};
	CHECK_EQ(HBA_GetAdapterAttributes(h, &a), HBA_STATUS_OK);
	CHECK(strcmp(a.SerialNumber, "QXA2210F001") == 0);
	CHECK_EQ(a.NumberOfPorts, 2);

	HBA_PORTATTRIBUTES p = {0}, q = {0};
	CHECK_EQ(HBA_GetAdapterPortAttributes(h, 0, &p), HBA_STATUS_OK);
	CHECK(same_wwn(p.PortWWN, wwn(kPort0)));
	CHECK_EQ(p.PortFcId, 0x100000);
	CHECK_EQ(p.NumberofDiscoveredPorts, 3);
	CHECK_EQ(HBA_GetPortAttributesByWWN(h, wwn(kPort1), &q), HBA_STATUS_OK);
	CHECK_EQ(q.PortType, HBA_PORTTYPE_PTP);
	CHECK_EQ(q.NumberofDiscoveredPorts, 1);
	CHECK_EQ(HBA_GetAdapterPortAttributes(h, 2, &q), HBA_STATUS_ERROR_ILLEGAL_INDEX);
	for (HBA_UINT32 d = 0; d < p.NumberofDiscoveredPorts; d++) {
		memset(&q, 0, sizeof q);
		CHECK_EQ(HBA_GetDiscoveredPortAttributes(h, 0, d, &q), HBA_STATUS_OK);
		CHECK(q.PortFcId != 0);
	}
	CHECK_EQ(HBA_GetDiscoveredPortAttributes(h, 0, 3, &q), HBA_STATUS_ERROR_ILLEGAL_INDEX);

	HBA_PORTSTATISTICS s = {0};
	CHECK_EQ(HBA_GetPortStatistics(h, 0, &s), HBA_STATUS_OK);
	CHECK(s.TxFrames > 0 && s.RxWords > 0);
	HBA_ResetStatistics(h, 0);
	HBA_FC4STATISTICS f4;
	CHECK_EQ(HBA_GetFC4Statistics(h, wwn(kPort0), 8, &f4), HBA_STATUS_OK);
	CHECK_EQ(HBA_GetFC4Statistics(h, wwn(kPort0), 5, &f4), HBA_STATUS_ERROR_NOT_SUPPORTED);
	CHECK_EQ(HBA_GetFCPStatistics(h, NULL, &f4), HBA_STATUS_ERROR_NOT_SUPPORTED);
	HBA_RefreshInformation(h);
	HBA_RefreshAdapterConfiguration();

	HBA_LIBRARYATTRIBUTES la = {0};
	HBA_GetVendorLibraryAttributes(0, &la);
	CHECK(strcmp(la.VName, "Kestrun") == 0);
	HBA_GetWrapperLibraryAttributes(&la);
	CHECK(HBA_GetVersion() >= 1);
	HBA_CloseAdapter(h);
}

static void requests(void)
{
	HBA_HANDLE h = open_first();
	unsigned char rsp[512];
	HBA_UINT32 n;

	/* Link services. */
	CHECK_EQ(HBA_SendRLS(h, wwn(kPort0), wwn(kTgtA), rsp, room(&n, sizeof rsp)), HBA_STATUS_OK);
	CHECK_EQ(n, sizeof(fc_rls_acc_t));
	CHECK_EQ(rsp[0], FC_ELS_ACC);
	CHECK_EQ(HBA_SendLIRR(h, wwn(kPort0), wwn(kTgtA), 1, 0x18, rsp, room(&n, sizeof rsp)), HBA_STATUS_OK);
	CHECK_EQ(rsp[0], FC_ELS_ACC);
	CHECK_EQ(HBA_SendSRL(h, wwn(kPort0), wwn(kFabric), 0x10, rsp, room(&n, sizeof rsp)), HBA_STATUS_OK);
	CHECK_EQ(rsp[0], FC_ELS_ACC);
	CHECK_EQ(HBA_SendRNID(h, wwn(kInit), NODE_WWN, rsp, room(&n, sizeof rsp)), HBA_STATUS_OK);
	CHECK(memcmp(rsp + 8, wwn(kInit).wwn, 8) == 0);
	CHECK_EQ(HBA_SendRNIDV2(h, wwn(kPort0), wwn(kTgtA), 0x011a00, 0xDF, rsp, room(&n, sizeof rsp)), HBA_STATUS_OK);
	CHECK_EQ(n, sizeof(fc_rnid_acc_t));
	CHECK_EQ(HBA_SendRNIDV2(h, wwn(kPort0), wwn(kTgtA), 0x011a00, 0xDF, rsp, room(&n, 8)), HBA_STATUS_ERROR);
	CHECK_EQ(HBA_SendRPL(h, wwn(kPort0), wwn(kFabric), 0x10, 0, rsp, room(&n, sizeof rsp)),
		 HBA_STATUS_ERROR_NOT_SUPPORTED);
	CHECK_EQ(HBA_SendRPS(h, wwn(kPort0), wwn(kFabric), 0x10, wwn(kTgtA), 0, rsp, &n), HBA_STATUS_ERROR_NOT_SUPPORTED);

	/* CT: GID_FT to the management server. */
	unsigned char req[20] = {CT_GS3_REVISION, 0, 0, 0, CT_GSTYPE_DIRSERVICE, CT_GSSUBTYPE_NAMESERVER};
	fc_put_be16(req + 8, GS_GID_FT);
	req[19] = FC_TYPE_FCP;
	CHECK_EQ(HBA_SendCTPassThruV2(h, wwn(kPort0), req, sizeof req, rsp, room(&n, sizeof rsp)), HBA_STATUS_OK);
	CHECK_EQ(fc_get_be16(rsp + 8), CT_RSP_ACCEPT);
	CHECK_EQ(n, 16 + 4 * 4);
	CHECK_EQ(HBA_SendCTPassThruV2(h, wwn(kPort0), req, sizeof req, rsp, room(&n, 20)), HBA_STATUS_OK);
	CHECK_EQ(n, 16 + 4 * 4);
	CHECK_EQ(HBA_SendCTPassThru(h, req, sizeof req, rsp, sizeof rsp), HBA_STATUS_OK);

	/* RNID management data. */
	HBA_MGMTINFO m = {0};
	CHECK_EQ(HBA_GetRNIDMgmtInfo(h, &m), HBA_STATUS_OK);
	CHECK_EQ(m.PortId, 0x100000);
	m.unittype = 7;
	CHECK_EQ(HBA_SetRNIDMgmtInfo(h, &m), HBA_STATUS_OK);

	/* Persistent binding: a capability, nothing else. */
	HBA_BIND_CAPABILITY c = 0;
	CHECK_EQ(HBA_GetBindingCapability(h, wwn(kPort0), &c), HBA_STATUS_OK);
	CHECK_EQ(c, HBA_CAN_BIND_TO_WWPN);
	CHECK_EQ(HBA_GetBindingSupport(h, wwn(kPort0), &c), HBA_STATUS_OK);
	CHECK_EQ(HBA_SetBindingSupport(h, wwn(kPort0), c), HBA_STATUS_ERROR_NOT_SUPPORTED);
	HBA_FCPBINDING2 *b2 = calloc(1, sizeof *b2);
	HBA_FCPBINDING *b1 = calloc(1, sizeof *b1);
	CHECK_EQ(HBA_GetPersistentBindingV2(h, wwn(kPort0), b2), HBA_STATUS_ERROR_NOT_SUPPORTED);
	CHECK_EQ(HBA_SetPersistentBindingV2(h, wwn(kPort0), b2), HBA_STATUS_ERROR_NOT_SUPPORTED);
	CHECK_EQ(HBA_RemovePersistentBinding(h, wwn(kPort0), b2), HBA_STATUS_ERROR_NOT_SUPPORTED);
	CHECK_EQ(HBA_RemoveAllPersistentBindings(h, wwn(kPort0)), HBA_STATUS_ERROR_NOT_SUPPORTED);
	CHECK_EQ(HBA_GetFcpPersistentBinding(h, b1), HBA_STATUS_ERROR_NOT_SUPPORTED);
	free(b1);
	free(b2);

	/* Target mapping with the operating system's device names. */
	HBA_FCPTARGETMAPPINGV2 *map2 = calloc(1, sizeof *map2 + 15 * sizeof map2->entry[0]);
	HBA_FCPTARGETMAPPING *map1 = calloc(1, sizeof *map1 + 15 * sizeof map1->entry[0]);
	map2->NumberOfEntries = map1->NumberOfEntries = 16;
	CHECK_EQ(HBA_GetFcpTargetMappingV2(h, wwn(kPort0), map2), HBA_STATUS_OK);
	CHECK_EQ(map2->NumberOfEntries, 6);
	CHECK(strcmp(map2->entry[0].ScsiId.OSDeviceName, "/dev/sda") == 0);
	CHECK(strcmp(map2->entry[3].ScsiId.OSDeviceName, "/dev/sdd") == 0);
	CHECK_EQ(map2->entry[3].ScsiId.ScsiOSLun, 300);
	CHECK(same_wwn(map2->entry[5].FcpId.PortWWN, wwn("50:25:a3:40:10:3a:7c:01")));
	CHECK_EQ(HBA_GetFcpTargetMapping(h, map1), HBA_STATUS_OK);
	CHECK_EQ(map1->NumberOfEntries, 6);
	CHECK(strcmp(map1->entry[5].ScsiId.OSDeviceName, "/dev/sdf") == 0);
	const HBA_UINT64 lun300 = map2->entry[3].FcpId.FcpLun;
	map2->NumberOfEntries = 2;
	CHECK_EQ(HBA_GetFcpTargetMappingV2(h, wwn(kPort0), map2), HBA_STATUS_ERROR_MORE_DATA);
	CHECK_EQ(map2->NumberOfEntries, 6);
	free(map1);
	free(map2);

	/* SCSI commands, version 2 and version 1. */
	unsigned char sense[96];
	HBA_UINT8 scsi = 0xff;
	HBA_UINT32 sn = sizeof sense;
	CHECK_EQ(HBA_ScsiInquiryV2(h, wwn(kPort0), wwn(kTgtA), lun300, 0, 0, rsp, room(&n, 96), &scsi, sense, &sn),
		 HBA_STATUS_OK);
	CHECK_EQ(scsi, 0);
	CHECK_EQ(rsp[0] & 0x1f, 0); /* a disk */
	CHECK_EQ(HBA_ScsiReportLUNsV2(h, wwn(kPort0), wwn(kTgtA), rsp, room(&n, sizeof rsp), &scsi, sense, &sn),
		 HBA_STATUS_OK);
	CHECK_EQ(n, 8 + 4 * 8);
	CHECK_EQ(HBA_ScsiReadCapacityV2(h, wwn(kPort0), wwn(kTgtA), lun300, rsp, room(&n, 8), &scsi, sense, &sn),
		 HBA_STATUS_OK);
	CHECK_EQ(fc_get_be32(rsp + 4), 512);
	CHECK_EQ(HBA_ScsiReadCapacityV2(h, wwn(kPort0), wwn(kTgtA), 0x0900, rsp, room(&n, 8), &scsi, sense,
					room(&sn, sizeof sense)),
		 HBA_STATUS_SCSI_CHECK_CONDITION);
	CHECK_EQ(scsi, 2);
	CHECK_EQ(HBA_SendScsiInquiry(h, wwn(kTgtA), 0, 1, 0x80, rsp, 96, sense, sizeof sense), HBA_STATUS_OK);
	CHECK_EQ(rsp[1], 0x80);
	CHECK_EQ(HBA_SendReportLUNs(h, wwn(kTgtA), rsp, 16, sense, sizeof sense), HBA_STATUS_OK);
	CHECK_EQ(fc_get_be32(rsp), 32);
	CHECK_EQ(HBA_SendReadCapacity(h, wwn(kTgtA), 0, rsp, 8, sense, sizeof sense), HBA_STATUS_OK);
	CHECK_EQ(HBA_SendScsiInquiry(h, wwn(kNobody), 0, 0, 0, rsp, 96, sense, sizeof sense), HBA_STATUS_ERROR_INVALID_HANDLE);
	HBA_CloseAdapter(h);
}

static void events(void)
{
	HBA_HANDLE h = open_first();
	/* Static: the subscriptions left for the free outlive this function. */
	static struct events port = EVENTS_INIT, target = EVENTS_INIT, added = EVENTS_INIT, adapter = EVENTS_INIT,
			     none = EVENTS_INIT;
	struct events *all[] = {&port, &target, &added, &adapter, &none};
	for (size_t i = 0; i < sizeof all / sizeof all[0]; i++) {
		pthread_mutex_lock(&all[i]->mu);
		all[i]->n = 0;
		pthread_mutex_unlock(&all[i]->mu);
	}
	HBA_CALLBACKHANDLE hp = NULL, ht = NULL, ha = NULL, had = NULL, hx = NULL;
	CHECK_EQ(HBA_RegisterForAdapterPortEvents(on_port, &port, h, wwn(kPort0), &hp), HBA_STATUS_OK);
	CHECK_EQ(HBA_RegisterForTargetEvents(on_target, &target, h, wwn(kPort0), wwn(kTgtA), &ht, 0), HBA_STATUS_OK);
	CHECK_EQ(HBA_RegisterForAdapterAddEvents(on_adapter, &added, &ha), HBA_STATUS_OK);
	CHECK_EQ(HBA_RegisterForAdapterEvents(on_adapter, &adapter, h, &had), HBA_STATUS_OK);
	HBA_PORTSTATISTICS st = {0};
	CHECK(HBA_RegisterForAdapterPortStatEvents(on_adapter, &none, h, wwn(kPort0), st, 0, &hx) != HBA_STATUS_OK);
	CHECK(HBA_RegisterForLinkEvents(on_link, &none, NULL, 0, h, &hx) != HBA_STATUS_OK);

	CHECK_EQ(qorsim_set_link(QORSIM_DRV_FC, 0, 0), 0);
	CHECK_EQ(qorsim_set_link(QORSIM_DRV_FC, 0, 1), 0);
	CHECK(wait_for(&port, 2));
	CHECK_EQ(port.last_type, HBA_EVENT_PORT_ONLINE);
	CHECK_EQ(port.last_fcid, 0x100000);
	CHECK(wait_for(&target, 2));
	CHECK_EQ(target.last_type, HBA_EVENT_TARGET_ONLINE);
	CHECK(same_wwn(target.last_wwn, wwn(kTgtA)));
	CHECK_EQ(qorsim_adapter_event(0, 1), 0);
	CHECK(wait_for(&added, 1));
	CHECK(wait_for(&adapter, 1));
	CHECK_EQ(adapter.last_type, HBA_EVENT_ADAPTER_ADD);

	/* Removed: no more calls. */
	CHECK_EQ(HBA_RemoveCallback(hp), HBA_STATUS_OK);
	CHECK_EQ(HBA_RemoveCallback(ht), HBA_STATUS_OK);
	const int before = count_of(&port);
	CHECK_EQ(qorsim_set_link(QORSIM_DRV_FC, 0, 0), 0);
	CHECK_EQ(qorsim_set_link(QORSIM_DRV_FC, 0, 1), 0);
	CHECK_EQ(qorsim_adapter_event(0, 2), 0); /* still watched through the adapter subscription */
	CHECK(wait_for(&adapter, 2));
	CHECK_EQ(count_of(&port), before);

	/* The event buffer: port online and offline of this adapter. */
	HBA_EVENTINFO ev[16];
	HBA_UINT32 n = 16;
	CHECK_EQ(HBA_GetEventBuffer(h, ev, &n), HBA_STATUS_OK);
	CHECK(n <= 16);
	/* ha and had are left for the free to remove. */
	HBA_CloseAdapter(h);
}

static void session(void)
{
	CHECK_EQ(HBA_LoadLibrary(), HBA_STATUS_OK);
	adapters_and_ports();
	requests();
	events();
	CHECK_EQ(HBA_FreeLibrary(), HBA_STATUS_OK);
}

/* ---- concurrency --------------------------------------------------------------------- */

static atomic_int stop_all;
static HBA_STATUS (*vendor_load)(void), (*vendor_free)(void);

static void *querier(void *arg)
{
	const int id = (int)(intptr_t)arg;
	HBA_HANDLE h = open_first();
	for (int i = 0; i < 200; i++) {
		HBA_ADAPTERATTRIBUTES a;
		HBA_PORTATTRIBUTES p;
		HBA_PORTSTATISTICS s;
		CHECK_EQ(HBA_GetAdapterAttributes(h, &a), HBA_STATUS_OK);
		CHECK_EQ(HBA_GetAdapterPortAttributes(h, (HBA_UINT32)(i + id) % 2, &p), HBA_STATUS_OK);
		CHECK_EQ(HBA_GetPortStatistics(h, 0, &s), HBA_STATUS_OK);
		HBA_PORTATTRIBUTES d;
		CHECK_EQ(HBA_GetDiscoveredPortAttributes(h, 0, 0, &d), HBA_STATUS_OK);
		unsigned char rsp[64], sense[32];
		HBA_UINT32 n, sn = sizeof sense;
		HBA_UINT8 scsi = 0;
		CHECK_EQ(HBA_ScsiInquiryV2(h, wwn(kPort0), wwn(kTgtA), 0, 0, 0, rsp, room(&n, sizeof rsp), &scsi, sense, &sn),
			 HBA_STATUS_OK);
		CHECK_EQ(HBA_ScsiReportLUNsV2(h, wwn(kPort0), wwn(kTgtA), rsp, room(&n, sizeof rsp), &scsi, sense, &sn),
			 HBA_STATUS_OK);
	}
	HBA_CloseAdapter(h);
	return NULL;
}

static void *loader(void *arg)
{
	(void)arg;
	for (int i = 0; i < 100 && !stop_all; i++) {
		CHECK_EQ(vendor_load(), HBA_STATUS_OK);
		CHECK_EQ(vendor_free(), HBA_STATUS_OK);
	}
	return NULL;
}

static void threads(const char *lib)
{
	void *self = dlopen(lib, RTLD_NOW);
	CHECK(self != NULL);
	if (!self)
		return;
	vendor_load = (HBA_STATUS(*)(void))dlsym(self, "QOR_LoadLibrary");
	vendor_free = (HBA_STATUS(*)(void))dlsym(self, "QOR_FreeLibrary");
	CHECK(vendor_load && vendor_free);
	CHECK_EQ(HBA_LoadLibrary(), HBA_STATUS_OK);
	CHECK_EQ(HBA_GetNumberOfAdapters(), 2); /* the wrapper learns the names here */
	HBA_HANDLE h = open_first();
	struct events port = EVENTS_INIT;
	HBA_CALLBACKHANDLE hp = NULL;
	CHECK_EQ(HBA_RegisterForAdapterPortEvents(on_port, &port, h, wwn(kPort0), &hp), HBA_STATUS_OK);

	pthread_t t[9];
	for (int i = 0; i < 8; i++)
		pthread_create(&t[i], NULL, querier, (void *)(intptr_t)i);
	pthread_create(&t[8], NULL, loader, NULL);
	/* Callbacks fire while they run: port events that change nothing, so
	 * every query keeps its answer. */
	qor_aen_entry_t e = {0};
	e.aen_category = QOR_AEN_CAT_LPORT;
	e.aen_type = QOR_LPORT_AEN_ONLINE;
	HBA_WWN p0 = wwn(kPort0);
	memcpy(&e.aen_data.lport.lpwwn, p0.wwn, 8);
	for (int i = 0; i < 100; i++)
		CHECK_EQ(qorsim_inject_event(QORSIM_DRV_FC, 0, &e), 0);
	for (int i = 0; i < 8; i++)
		pthread_join(t[i], NULL);
	stop_all = 1;
	pthread_join(t[8], NULL);
	CHECK(wait_for(&port, 100));
	CHECK_EQ(HBA_RemoveCallback(hp), HBA_STATUS_OK);
	HBA_CloseAdapter(h);
	CHECK_EQ(HBA_FreeLibrary(), HBA_STATUS_OK);
	dlclose(self);
}

int main(int argc, char **argv)
{
	if (argc != 3) {
		fprintf(stderr, "usage: snia_client basic|twice|badlib|threads LIBRARY\n");
		return 2;
	}
	const char *mode = argv[1], *lib = argv[2];
	snprintf(root, sizeof root, "/tmp/snia_client.XXXXXX");
	if (!mkdtemp(root)) {
		perror("mkdtemp");
		return 2;
	}
	qorsim_set_root(root);
	char conf[2048];
	if (strcmp(mode, "basic") == 0 || strcmp(mode, "threads") == 0) {
		snprintf(conf, sizeof conf, "# test\nqorl\t%s\n", lib);
	} else if (strcmp(mode, "twice") == 0) {
		snprintf(conf, sizeof conf, "qorl %s\nqorl-again %s\n", lib, lib);
	} else if (strcmp(mode, "badlib") == 0) {
		snprintf(conf, sizeof conf, "missing /nonexistent/libvendor.so\nnot-a-vendor %s\nqorl %s\n",
			 "libm.so.6", lib);
	} else {
		fprintf(stderr, "snia_client: unknown mode %s\n", mode);
		return 2;
	}
	write_conf(conf);

	if (strcmp(mode, "threads") == 0) {
		threads(lib);
	} else {
		/* Three cycles: the library unloads and loads again each time. */
		for (int cycle = 0; cycle < 3; cycle++)
			session();
	}
	remove_root();
	printf("%d passed, %d failed\n", (int)checks - (int)failures, (int)failures);
	return failures ? 1 : 0;
}
