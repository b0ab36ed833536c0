// Event delivery under load, meant for ThreadSanitizer: N injected events
// spread over four controllers, two subscriptions per controller that stay
// for the whole run, and two threads that keep adding and removing
// subscriptions (half of them removed by their own callback).
// Checks: subscriptions that stayed see every event of their controller
// once and in order; no subscription is called twice for one event or
// after its unregistration returned.
//
// Usage: stress_aen [events]   (default 1000000); exit 0 when clean.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

#include "aen_util.h"

namespace {

constexpr int kCtl = 4;
constexpr int kBatch = 64;
constexpr int kQueueRoom = 1024;

qorl_t *g_ctl[kCtl];
std::atomic<uint64_t> g_violations{0};

void violation(const char *what, uint64_t a, uint64_t b)
{
	if (g_violations.fetch_add(1) < 10)
		fprintf(stderr, "stress_aen: %s (%llu, %llu)\n", what, (unsigned long long)a, (unsigned long long)b);
}

// Called only on the reader thread; read by main after the reader stopped.
struct Stable {
	uint64_t last = 0;
	std::atomic<uint64_t> seen{0};
};

void stable_cb(void *ud, qor_port_aen_event_t, qor_port_aen_data_t *d, qor_timeval_t)
{
	auto *s = static_cast<Stable *>(ud);
	if (d->fwwn != s->last + 1)
		violation("stable subscription lost, repeated or reordered an event", s->last, d->fwwn);
	s->last = d->fwwn;
	s->seen.fetch_add(1, std::memory_order_release);
}

struct Churn {
	qorl_port_aen_cbhandle_t *h = nullptr;
	std::atomic<bool> gone{false};     // unregistration has returned
	std::atomic<bool> self_off{false}; // the callback is to remove itself
	std::atomic<bool> done{false};     // the callback removed itself and left
	std::atomic<uint64_t> calls{0};
	uint64_t last = 0;
};

void churn_cb(void *ud, qor_port_aen_event_t, qor_port_aen_data_t *d, qor_timeval_t)
{
	auto *c = static_cast<Churn *>(ud);
	if (c->gone.load())
		violation("callback after unregistration returned", 0, d->fwwn);
	if (c->last && d->fwwn <= c->last)
		violation("churn subscription saw an event twice or out of order", c->last, d->fwwn);
	c->last = d->fwwn;
	c->calls.fetch_add(1);
	if (c->self_off.load() && !c->done.load()) {
		// FAILED only when the churner removed it first.
		if (qorl_port_aen_unregister(c->h) == QOR_STATUS_OK)
			c->gone.store(true);
		c->done.store(true); // the last touch of *c
	}
}

void churner(int id, std::atomic<bool> &stop, std::atomic<uint64_t> &rounds)
{
	for (uint64_t n = 0; !stop.load(); n++) {
		auto *c = new Churn;
		qorl_t *q = g_ctl[(n + static_cast<uint64_t>(id)) % kCtl];
		qor_port_aen_data_t key{};
		key.pwwn = q->pwwn;
		if (qorl_port_aen_register(q, churn_cb, c, &key, &c->h) != QOR_STATUS_OK) {
			violation("registration failed", n, 0);
			delete c;
			continue;
		}
		const uint64_t want = 1 + n % 50;
		while (c->calls.load() < want && !stop.load())
			std::this_thread::yield();
		if (n % 2 == 0) {
			c->self_off.store(true);
			while (!c->done.load() && !stop.load())
				std::this_thread::yield();
		}
		if (!c->done.load()) {
			// Either the callback never got to remove itself, or it is doing so now.
			qor_status_t st = qorl_port_aen_unregister(c->h);
			if (st == QOR_STATUS_OK)
				c->gone.store(true);
			else
				while (!c->done.load())
					std::this_thread::yield();
		}
		delete c;
		rounds.fetch_add(1);
	}
}

} // namespace

int main(int argc, char **argv)
{
	const uint64_t total = argc > 1 ? strtoull(argv[1], nullptr, 10) : 1000000;
	std::string root = "/tmp/qorl-stress-XXXXXX";
	if (!mkdtemp(root.data()))
		return 2;
	qorsim_set_root(root.c_str());
	qorsim_log_enable(0);
	if (!qt::load_library())
		return 2;
	for (int i = 0; i < kCtl; i++)
		if (!(g_ctl[i] = qt::controller(QORSIM_DRV_FC, i)))
			return 2;

	std::vector<Stable> stable(kCtl * 2);
	for (int i = 0; i < kCtl * 2; i++) {
		qorl_port_aen_cbhandle_t *h;
		qor_port_aen_data_t key{};
		key.pwwn = g_ctl[i % kCtl]->pwwn;
		if (qorl_port_aen_register(g_ctl[i % kCtl], stable_cb, &stable[i], &key, &h) != QOR_STATUS_OK)
			return 2;
	}
	if (qorl_aen_init() != QOR_STATUS_OK)
		return 2;

	std::atomic<bool> stop{false};
	std::atomic<uint64_t> rounds{0};
	std::thread c1(churner, 0, std::ref(stop), std::ref(rounds));
	std::thread c2(churner, 1, std::ref(stop), std::ref(rounds));

	const auto t0 = std::chrono::steady_clock::now();
	uint64_t sent[kCtl] = {};
	std::vector<qor_aen_entry_t> batch(kBatch);
	for (uint64_t done = 0; done < total;) {
		for (int c = 0; c < kCtl && done < total; c++) {
			// The emulated queue is bounded; never let it overflow.
			while (qorsim_event_count(QORSIM_DRV_FC, c, qor_aen_app_test) > kQueueRoom - kBatch)
				std::this_thread::yield();
			size_t n = 0;
			for (; n < kBatch && done < total; n++, done++) {
				qor_aen_data_t d{};
				d.port.pwwn = g_ctl[c]->pwwn;
				d.port.fwwn = ++sent[c];
				batch[n] = qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, d, 0);
			}
			if (qorsim_inject_events(QORSIM_DRV_FC, c, batch.data(), n) != 0)
				violation("injection failed", 0, 0);
		}
	}
	// Every stable subscription must reach its controller's count.
	const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(5);
	for (int i = 0; i < kCtl * 2; i++)
		while (stable[i].seen.load(std::memory_order_acquire) < sent[i % kCtl] &&
		       std::chrono::steady_clock::now() < limit)
			std::this_thread::yield();
	const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
	stop.store(true);
	c1.join();
	c2.join();
	qorl_aen_exit();

	for (int i = 0; i < kCtl * 2; i++)
		if (stable[i].seen.load() != sent[i % kCtl] || stable[i].last != sent[i % kCtl])
			violation("stable subscription missed events", stable[i].seen.load(), sent[i % kCtl]);
	printf("stress_aen: %llu events in %.2f s (%.0f/s), %llu subscriptions churned, %llu violations\n",
	       (unsigned long long)total, secs, static_cast<double>(total) / secs, (unsigned long long)rounds.load(),
	       (unsigned long long)g_violations.load());
	qorl_libexit();
	std::error_code ec;
	std::filesystem::remove_all(root, ec);
	return g_violations.load() ? 1 : 0;
}
