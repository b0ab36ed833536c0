// Event delivery: driver queue to callbacks, registration to first
// delivery, and stopping the reader.
#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "qorl.h"
#include "qorl_adapter.h"
#include "qorl_aen.h"
#include "qorl_ioc.h"
#include "qorsim.h"

namespace {

constexpr int kFc = 4;      // FC-side controllers of the default machine
constexpr int kQueue = 1024; // the emulated queue's bound

qorl_t *ctl(bool fc, int inst)
{
	int n = qorl_ioc_get_num(), i = 0;
	for (qorl_t *q = qorl_ioc_get_list(); q && i < n; q = q->next, i++)
		if ((q->ioc_type != QOR_IOC_TYPE_LL) == fc && q->instance == inst)
			return q;
	return nullptr;
}

void setup_once()
{
	static bool done = [] {
		static std::string root = "/tmp/qorl-bench-XXXXXX";
		if (mkdtemp(root.data()))
			qorsim_set_root(root.c_str());
		qorsim_log_enable(0);
		qorl_libinit(qor_aen_app_test);
		qorl_libload();
		qorl_adapter_scan();
		return true;
	}();
	(void)done;
}

qor_aen_entry_t port_event(qorl_t *q)
{
	qor_aen_entry_t e{};
	e.aen_category = QOR_AEN_CAT_PORT;
	e.aen_type = QOR_PORT_AEN_ONLINE;
	e.aen_data.port.pwwn = q->pwwn;
	e.aen_tv.tv_sec = 1;
	return e;
}

// Delivered so far; the waiting thread sleeps until `g_want` is reached so
// it leaves both cores to the reader and the emulated driver.
std::atomic<uint64_t> g_count{0};
std::atomic<uint64_t> g_want{UINT64_MAX};
std::mutex g_mu;
std::condition_variable g_cv;
void count_cb(void *, qor_port_aen_event_t, qor_port_aen_data_t *, qor_timeval_t)
{
	if (g_count.fetch_add(1, std::memory_order_relaxed) + 1 == g_want.load(std::memory_order_relaxed)) {
		std::lock_guard lk(g_mu);
		g_cv.notify_all();
	}
}

void wait_count(uint64_t want)
{
	std::unique_lock lk(g_mu);
	g_cv.wait(lk, [&] { return g_count.load() >= want; });
}

std::atomic<bool> g_hit{false};
void hit_eth(void *, qor_ethport_aen_event_t, qor_ethport_aen_data_t *, qor_timeval_t)
{
	g_hit.store(true, std::memory_order_release);
}
void hit_port(void *, qor_port_aen_event_t, qor_port_aen_data_t *, qor_timeval_t)
{
	g_hit.store(true, std::memory_order_release);
}

void wait_hit()
{
	while (!g_hit.load(std::memory_order_acquire))
		std::this_thread::yield();
	g_hit.store(false);
}

// A subscriber to the port events of the controller's own port.
qorl_port_aen_cbhandle_t *watch_port(qorl_t *q, qorl_port_aen_cbfn_t cb)
{
	qor_port_aen_data_t key{};
	key.pwwn = q->pwwn;
	qorl_port_aen_cbhandle_t *h;
	qorl_port_aen_register(q, cb, nullptr, &key, &h);
	return h;
}

// Full queues on every FC controller, drained by a freshly started reader
// into one subscriber per controller.
void BM_QueueToCallbacks(benchmark::State &state)
{
	setup_once();
	std::vector<qorl_port_aen_cbhandle_t *> subs;
	for (int i = 0; i < kFc; i++)
		subs.push_back(watch_port(ctl(true, i), count_cb));
	std::vector<qor_aen_entry_t> batch;
	uint64_t delivered = 0;
	for (auto _ : state) {
		state.PauseTiming();
		for (int i = 0; i < kFc; i++) {
			batch.assign(kQueue, port_event(ctl(true, i)));
			qorsim_inject_events(QORSIM_DRV_FC, i, batch.data(), batch.size());
		}
		const uint64_t want = g_count.load() + kFc * kQueue;
		g_want.store(want);
		state.ResumeTiming();
		qorl_aen_init();
		wait_count(want);
		state.PauseTiming();
		qorl_aen_exit();
		delivered += kFc * kQueue;
		state.ResumeTiming();
	}
	for (auto *h : subs)
		qorl_port_aen_unregister(h);
	state.SetItemsProcessed(static_cast<int64_t>(delivered));
}
BENCHMARK(BM_QueueToCallbacks)->UseRealTime()->Unit(benchmark::kMillisecond);

// Dispatch alone: one batch of 64 records to one subscriber each, no driver.
void BM_Dispatch(benchmark::State &state)
{
	setup_once();
	qorl_t *q = ctl(true, 2);
	qorl_port_aen_cbhandle_t *h = watch_port(q, count_cb);
	std::vector<qor_aen_entry_t> batch(64, port_event(q));
	for (auto &e : batch)
		e.qord_num = q->instance;
	for (auto _ : state)
		qorl_aen_handling(64 * sizeof(qor_aen_entry_t), batch.data());
	qorl_port_aen_unregister(h);
	state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 64);
}
BENCHMARK(BM_Dispatch);

// The driver request alone: full batches of 64 from a full queue.
void BM_Fetch(benchmark::State &state)
{
	setup_once();
	qorl_t *q = ctl(true, 3);
	std::vector<qor_aen_entry_t> batch(kQueue, port_event(q)), out(64);
	for (auto _ : state) {
		state.PauseTiming();
		qorsim_inject_events(QORSIM_DRV_FC, 3, batch.data(), batch.size());
		state.ResumeTiming();
		for (int i = 0; i < kQueue / 64; i++) {
			int n = 64;
			qorl_aen_get_events(q, out.data(), &n, qor_aen_app_test);
		}
	}
	state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kQueue);
}
BENCHMARK(BM_Fetch);

// An event already waiting on an unwatched controller; timed from the
// registration to the callback.
void BM_RegistrationToFirstDelivery(benchmark::State &state)
{
	setup_once();
	qorl_t *fc = ctl(true, 0), *eth = ctl(false, 0);
	qorl_port_aen_cbhandle_t *ping = watch_port(fc, hit_port);
	qorl_aen_init();
	qor_aen_entry_t e{};
	e.aen_category = QOR_AEN_CAT_ETHPORT;
	e.aen_type = QOR_ETHPORT_AEN_LINKUP;
	std::memcpy(e.aen_data.ethport.mac, eth->mac.mac, 6);
	const qor_aen_entry_t p = port_event(fc);
	for (auto _ : state) {
		state.PauseTiming();
		// A pass of the reader after the last unregistration: the Ethernet
		// node is no longer watched when its event arrives.
		qorsim_inject_event(QORSIM_DRV_FC, 0, &p);
		wait_hit();
		qorsim_inject_event(QORSIM_DRV_ETH, 0, &e);
		state.ResumeTiming();
		qorl_ethport_aen_cbhandle_t *h;
		qorl_ethport_aen_register(eth, hit_eth, nullptr, nullptr, &h);
		wait_hit();
		state.PauseTiming();
		qorl_ethport_aen_unregister(h);
		state.ResumeTiming();
	}
	qorl_aen_exit();
	qorl_port_aen_unregister(ping);
}
BENCHMARK(BM_RegistrationToFirstDelivery)->UseRealTime()->Unit(benchmark::kMicrosecond);

// Stopping an idle reader (waiting in select on a watched node).
void BM_AenExit(benchmark::State &state)
{
	setup_once();
	qorl_port_aen_cbhandle_t *h = watch_port(ctl(true, 1), count_cb);
	for (auto _ : state) {
		state.PauseTiming();
		qorl_aen_init();
		state.ResumeTiming();
		qorl_aen_exit();
	}
	qorl_port_aen_unregister(h);
}
BENCHMARK(BM_AenExit)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
