// Controller operations: the library's cost over the bare emulated request,
// and discovery of a large machine.
#include <benchmark/benchmark.h>

#include <sys/ioctl.h>

#include <string>

#include "qorl.h"
#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorsim.h"

namespace {

// 64 converged cards: 128 FCoE functions on the FC driver, 128 Ethernet
// functions on the Ethernet driver.
std::string big_machine()
{
	std::string j = R"({"adapters":[)";
	for (int a = 0; a < 64; a++) {
		if (a)
			j += ",";
		char hw[32];
		snprintf(hw, sizeof hw, "0000:%02x:%02x", 0x10 + a / 16, a % 16);
		j += std::string(R"({"serial":"QB)") + std::to_string(100000 + a) + R"(","hwpath":")" + hw +
		     R"(","functions":[{"type":"fcoe"},{"type":"fcoe"},{"type":"eth"},{"type":"eth"}]})";
	}
	return j + "]}";
}

void setup_default()
{
	qorsim_reset();
	qorsim_log_enable(0);
}

void BM_IocGetAttrLibrary(benchmark::State &state)
{
	setup_default();
	qorl_ioc_scan();
	qorl_t *q = qorl_ioc_open_idx(0);
	qor_ioc_attr_t attr;
	for (auto _ : state) {
		benchmark::DoNotOptimize(qorl_ioc_get_attr(q, &attr));
		benchmark::ClobberMemory();
	}
	qorl_libexit();
}
BENCHMARK(BM_IocGetAttrLibrary);

// The same record through the emulated ioctl, with no library in between.
void BM_IocGetAttrBareIoctl(benchmark::State &state)
{
	setup_default();
	qorl_ioc_scan();
	qorl_t *q = qorl_ioc_open_idx(0);
	qor_ioctl_ioc_attr_t rec{};
	for (auto _ : state) {
		rec.qord_num = (uint16_t)q->instance;
		benchmark::DoNotOptimize(ioctl(q->fd, QOR_IOCTL_IOC_GET_ATTR, &rec));
		benchmark::ClobberMemory();
	}
	qorl_libexit();
}
BENCHMARK(BM_IocGetAttrBareIoctl);

// One scan of the large machine a pass; the library's records go between
// passes, untimed.
void scan_big_machine(benchmark::State &state, int (*scan)(), const char *counter)
{
	qorsim_reset();
	if (qorsim_load_topology(big_machine().c_str()) != 0) {
		state.SkipWithError(qorsim_error());
		return;
	}
	qorsim_log_enable(0);
	int n = 0;
	for (auto _ : state) {
		n = scan();
		state.PauseTiming();
		qorl_libexit(); // a pass's descriptors outlive its records
		state.ResumeTiming();
	}
	state.counters[counter] = n;
}

void BM_Discovery128Plus128(benchmark::State &state)
{
	scan_big_machine(state, qorl_ioc_scan, "controllers");
}
BENCHMARK(BM_Discovery128Plus128)->Unit(benchmark::kMillisecond);

void BM_AdapterScan128Plus128(benchmark::State &state)
{
	scan_big_machine(state, qorl_adapter_scan, "adapters");
}
BENCHMARK(BM_AdapterScan128Plus128)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
