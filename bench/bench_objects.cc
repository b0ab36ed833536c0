// Object reads through the library against the bare emulated request of the
// same record: the library's own cost is the difference.
#include <benchmark/benchmark.h>

#include <cstring>
#include <sys/ioctl.h>
#include <vector>

#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorl_lport.h"
#include "qorl_port.h"
#include "qorsim.h"

namespace {

constexpr uint32_t kRports = 1024;

qorl_t *setup()
{
	static qorl_t *q = [] {
		const char *topo = R"({"adapters":[{"functions":[{"type":"fc","fcport":{"rport_count":1024}}]}]})";
		if (qorsim_load_topology(topo) != 0)
			return (qorl_t *)nullptr;
		qorsim_log_enable(0); // the log would dominate both sides
		qorl_adapter_scan();
		return qorl_ioc_open_idx(0);
	}();
	return q;
}

void BM_port_get_attr_library(benchmark::State &st)
{
	qorl_t *q = setup();
	qor_port_attr_t a;
	for (auto _ : st) {
		qor_status_t s = qorl_port_get_attr(q, &a);
		benchmark::DoNotOptimize(s);
	}
}

void BM_port_get_attr_bare(benchmark::State &st)
{
	qorl_t *q = setup();
	qor_ioctl_port_attr_t rec{};
	rec.qord_num = (uint16_t)q->instance;
	for (auto _ : st) {
		int r = ioctl(q->fd, QOR_IOCTL_PORT_GET_ATTR, &rec);
		benchmark::DoNotOptimize(r);
	}
}

void BM_lport_get_rports_library(benchmark::State &st)
{
	qorl_t *q = setup();
	std::vector<wwn_t> w(kRports);
	for (auto _ : st) {
		uint32_t n = kRports;
		qor_status_t s = qorl_lport_get_rports(q, 0, q->pwwn, w.data(), &n);
		benchmark::DoNotOptimize(s);
	}
}

void BM_lport_get_rports_bare(benchmark::State &st)
{
	qorl_t *q = setup();
	std::vector<wwn_t> w(kRports);
	qor_ioctl_lport_get_rports_t rec{};
	rec.qord_num = (uint16_t)q->instance;
	rec.pwwn = q->pwwn;
	rec.rbuf_ptr = (uint64_t)(uintptr_t)w.data();
	for (auto _ : st) {
		rec.nrports = kRports;
		int r = ioctl(q->fd, QOR_IOCTL_LPORT_GET_RPORTS, &rec);
		benchmark::DoNotOptimize(r);
	}
}

BENCHMARK(BM_port_get_attr_library);
BENCHMARK(BM_port_get_attr_bare);
BENCHMARK(BM_lport_get_rports_library);
BENCHMARK(BM_lport_get_rports_bare);

} // namespace

BENCHMARK_MAIN();
