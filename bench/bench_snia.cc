// SNIA queries through the system's HBA API wrapper (which loads the library
// from a private hba.conf) against the bare emulated requests each needs:
// the wrapper's and the SNIA layer's cost is the difference.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <hbaapi.h>

#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorsim.h"

namespace {

// A root of its own in dir with an hba.conf naming the built library, the
// topology (null: the default), the wrapper loaded and the first adapter
// open; 0 when any of it fails.
HBA_HANDLE open_first(const char *dir, const char *topology, HBA_UINT32 adapters)
{
	std::string root = std::string(dir) + "/bench_snia.XXXXXX";
	if (!mkdtemp(root.data()))
		return 0;
	const std::string etc = root + "/etc";
	mkdir(etc.c_str(), 0700);
	if (FILE *f = fopen((etc + "/hba.conf").c_str(), "w")) {
		fprintf(f, "qorl %s/libqorl.so.1\n", QORL_BINARY_DIR);
		fclose(f);
	}
	qorsim_set_root(root.c_str());
	if (topology && qorsim_load_topology(topology) != 0)
		return 0;
	qorsim_log_enable(0); // the log would dominate both sides
	if (HBA_LoadLibrary() != HBA_STATUS_OK || HBA_GetNumberOfAdapters() != adapters)
		return 0;
	char name[256];
	HBA_GetAdapterName(0, name);
	return HBA_OpenAdapter(name);
}

HBA_HANDLE setup()
{
	static HBA_HANDLE h = open_first("/tmp", nullptr, 2);
	return h;
}

// The controller the wrapper's handle reaches, for the bare requests.
qorl_t *port0()
{
	setup();
	return qorl_adapter_get_port(1);
}

template <class Rec> void bare(qorl_t *q, uint32_t code, Rec &rec)
{
	rec.qord_num = static_cast<uint16_t>(q->instance);
	int r = ioctl(q->fd, code, &rec);
	benchmark::DoNotOptimize(r);
}

// One bare request a pass.
template <class Rec> void bare_each_pass(benchmark::State &st, uint32_t code, Rec &rec)
{
	qorl_t *q = port0();
	for (auto _ : st)
		bare(q, code, rec);
}

// One SNIA query through the wrapper a pass, on the first adapter's handle.
template <class Query> void through_wrapper(benchmark::State &st, Query query)
{
	HBA_HANDLE h = setup();
	for (auto _ : st)
		benchmark::DoNotOptimize(query(h));
}

void BM_adapter_attributes_wrapper(benchmark::State &st)
{
	HBA_ADAPTERATTRIBUTES a;
	through_wrapper(st, [&](HBA_HANDLE h) { return HBA_GetAdapterAttributes(h, &a); });
}

void BM_adapter_attributes_bare(benchmark::State &st)
{
	qor_ioctl_ioc_attr_t rec{};
	bare_each_pass(st, QOR_IOCTL_IOC_GET_ATTR, rec);
}

void BM_port_attributes_wrapper(benchmark::State &st)
{
	HBA_PORTATTRIBUTES p;
	through_wrapper(st, [&](HBA_HANDLE h) { return HBA_GetAdapterPortAttributes(h, 0, &p); });
}

// Port, logical port and remote port list: the three requests the SNIA
// port attributes need.
void BM_port_attributes_bare(benchmark::State &st)
{
	qorl_t *q = port0();
	qor_ioctl_port_attr_t pa{};
	qor_ioctl_lport_attr_t la{};
	la.pwwn = q->pwwn;
	qor_ioctl_lport_get_rports_t rp{};
	wwn_t list[512];
	rp.pwwn = q->pwwn;
	rp.rbuf_ptr = reinterpret_cast<uintptr_t>(list);
	for (auto _ : st) {
		bare(q, QOR_IOCTL_PORT_GET_ATTR, pa);
		bare(q, QOR_IOCTL_LPORT_GET_ATTR, la);
		rp.nrports = 512;
		bare(q, QOR_IOCTL_LPORT_GET_RPORTS, rp);
	}
}

void BM_port_statistics_wrapper(benchmark::State &st)
{
	HBA_PORTSTATISTICS s;
	through_wrapper(st, [&](HBA_HANDLE h) { return HBA_GetPortStatistics(h, 0, &s); });
}

void BM_port_statistics_bare(benchmark::State &st)
{
	qor_port_stats_t buf;
	qor_ioctl_port_stats_t rec{};
	rec.buf_size = sizeof buf;
	rec.buf_ptr = reinterpret_cast<uintptr_t>(&buf);
	bare_each_pass(st, QOR_IOCTL_PORT_GET_STATS, rec);
}

// A port with one target of 4,096 LUNs, each with a device name.
void BM_target_mapping_4096_luns(benchmark::State &st)
{
	// sysfs lives in memory: so does the emulated tree, where it can.
	static HBA_HANDLE h = [] {
		HBA_FreeLibrary();
		return open_first(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp",
				  R"({"adapters":[{"functions":[{"type":"fc","fcport":{"rports":[
				    {"role":"target","lun_count":4096}]}}]}]})",
				  1);
	}();
	const uint32_t room = 4096;
	// The emulator writes the units' sysfs tree at the first look; not timed.
	static const bool warm = [] {
		auto *w = static_cast<HBA_FCPTARGETMAPPING *>(calloc(1, sizeof(HBA_FCPTARGETMAPPING)));
		HBA_GetFcpTargetMapping(h, w);
		free(w);
		return true;
	}();
	(void)warm;
	auto *m = static_cast<HBA_FCPTARGETMAPPING *>(
		calloc(1, sizeof(HBA_FCPTARGETMAPPING) + room * sizeof(HBA_FCPSCSIENTRY)));
	for (auto _ : st) {
		m->NumberOfEntries = room;
		if (HBA_GetFcpTargetMapping(h, m) != HBA_STATUS_OK || m->NumberOfEntries != room ||
		    std::strncmp(m->entry[room - 1].ScsiId.OSDeviceName, "/dev/sd", 7) != 0)
			st.SkipWithError("mapping incomplete");
	}
	free(m);
}

} // namespace

BENCHMARK(BM_adapter_attributes_wrapper);
BENCHMARK(BM_adapter_attributes_bare);
BENCHMARK(BM_port_attributes_wrapper);
BENCHMARK(BM_port_attributes_bare);
BENCHMARK(BM_port_statistics_wrapper);
BENCHMARK(BM_port_statistics_bare);
// Last: it replaces the topology the others use.
BENCHMARK(BM_target_mapping_4096_luns)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
