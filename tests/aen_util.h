// Helpers shared by the event suites: a loaded library with the test
// identity, injection through the emulator, and a recorder that callbacks
// write to and tests wait on.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <dirent.h>
#include <functional>
#include <mutex>
#include <vector>

#include "qorl.h"
#include "qorl_adapter.h"
#include "qorl_aen.h"
#include "qorl_audit.h"
#include "qorl_ioc.h"
#include "qorsim.h"

namespace qt {

// One callback call as a test sees it: who was called, with what.
struct Call {
	int tag;        // the subscription's tag
	int event;      // event code (or SNIA type)
	uint32_t id;    // the injected event's aen_tv.tv_usec
	uint64_t key;   // a kind-specific field of the record
};

class Recorder {
public:
	void add(const Call &c)
	{
		{
			std::lock_guard lk(mu_);
			calls_.push_back(c);
		}
		cv_.notify_all();
	}
	// Waits until pred(calls) holds; false after a generous safety limit.
	bool wait(const std::function<bool(const std::vector<Call> &)> &pred)
	{
		std::unique_lock lk(mu_);
		return cv_.wait_for(lk, std::chrono::seconds(30), [&] { return pred(calls_); });
	}
	bool wait_count(size_t n)
	{
		return wait([n](const std::vector<Call> &v) { return v.size() >= n; });
	}
	bool wait_id(uint32_t id)
	{
		return wait([id](const std::vector<Call> &v) {
			for (auto &c : v)
				if (c.id == id)
					return true;
			return false;
		});
	}
	std::vector<Call> calls()
	{
		std::lock_guard lk(mu_);
		return calls_;
	}

private:
	std::mutex mu_;
	std::condition_variable cv_;
	std::vector<Call> calls_;
};

// What a callback's userData points to.
struct Sub {
	Recorder *rec;
	int tag;
	std::function<void(const Call &)> also; // runs inside the callback, before recording
};

inline uint64_t key_of(const qor_adapter_aen_data_t &d)
{
	uint64_t k = 0;
	std::memcpy(&k, d.serial_num, sizeof k);
	return k;
}
inline uint64_t key_of(const qor_ioc_aen_data_t &d) { return d.pwwn; }
inline uint64_t key_of(const qor_port_aen_data_t &d) { return d.pwwn; }
inline uint64_t key_of(const qor_lport_aen_data_t &d) { return d.lpwwn; }
inline uint64_t key_of(const qor_rport_aen_data_t &d) { return d.rpwwn; }
inline uint64_t key_of(const qor_itnim_aen_data_t &d) { return d.rpwwn; }
inline uint64_t key_of(const qor_audit_aen_data_t &d) { return d.pwwn; }
inline uint64_t key_of(const qor_ethport_aen_data_t &d)
{
	uint64_t k = 0;
	std::memcpy(&k, d.mac, sizeof d.mac);
	return k;
}

// The native callback of every kind.
template <class Ev, class D> void on_event(void *ud, Ev ev, D *d, qor_timeval_t tv)
{
	auto *s = static_cast<Sub *>(ud);
	Call c{s->tag, static_cast<int>(ev), tv.tv_usec, key_of(*d)};
	// Recording comes last: a test may end (and free *s) once it sees the call.
	if (s->also)
		s->also(c);
	s->rec->add(c);
}

// Delivered records kept whole, with their event codes, in delivery order.
struct Record {
	int event;
	std::vector<uint8_t> bytes;
};
using Records = std::vector<Record>;

// A native callback of any kind: appends to the Records at userData.
// Not locked: for deliveries made on the test's own thread.
template <class Ev, class D> void keep_record(void *ud, Ev ev, D *d, qor_timeval_t)
{
	const auto *b = reinterpret_cast<const uint8_t *>(d);
	static_cast<Records *>(ud)->push_back({static_cast<int>(ev), std::vector<uint8_t>(b, b + sizeof *d)});
}

// Controllers of the emulated machine by driver and instance.
inline qorl_t *controller(int drv, int inst)
{
	int n = qorl_ioc_get_num(), i = 0;
	for (qorl_t *q = qorl_ioc_get_list(); q && i < n; q = q->next, i++) {
		bool fc = q->ioc_type == QOR_IOC_TYPE_FC || q->ioc_type == QOR_IOC_TYPE_FCoE;
		if (fc == (drv == QORSIM_DRV_FC) && q->instance == inst)
			return q;
	}
	return nullptr;
}

// An event record with the given category, code and data; `id` marks it.
inline qor_aen_entry_t entry(uint32_t cat, int type, const qor_aen_data_t &d, uint32_t id)
{
	qor_aen_entry_t e{};
	e.aen_category = cat;
	e.aen_type = type;
	e.aen_data = d;
	e.aen_tv.tv_sec = 1700000000;
	e.aen_tv.tv_usec = id;
	return e;
}

// Event reader threads of this process (the library names them "qorl-aen").
inline int reader_threads()
{
	int n = 0;
	if (DIR *d = opendir("/proc/self/task")) {
		while (dirent *e = readdir(d)) {
			if (e->d_name[0] == '.')
				continue;
			std::string p = std::string("/proc/self/task/") + e->d_name + "/comm";
			if (FILE *f = fopen(p.c_str(), "r")) {
				char name[32] = {};
				if (fgets(name, sizeof name, f))
					n += std::strncmp(name, "qorl-aen", 8) == 0;
				fclose(f);
			}
		}
		closedir(d);
	}
	return n;
}

// Loads the library under the test identity and discovers the controllers.
inline bool load_library(qor_aen_app_t app = qor_aen_app_test)
{
	qorl_libinit(app);
	qorl_libload();
	return qorl_adapter_scan() > 0;
}

} // namespace qt
