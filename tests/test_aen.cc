// Event notification: fetch, dispatch, every subscription kind through the
// reader thread, key matching, subscribers changing during delivery, and
// starting and stopping the reader.
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif
#include <sys/select.h>

#include <atomic>
#include <thread>

#include "aen_util.h"
#include "testutil.h"

namespace {

// While set, the reader's waits have no time limit: only a wake-up or an
// event on a descriptor it watches ends them, so a missed wake-up cannot
// hide behind the five seconds. g_waits counts the waits begun.
std::atomic<bool> g_untimed;
std::mutex g_wait_mu;
std::condition_variable g_wait_cv;
int g_waits;

} // namespace

extern "C" int select(int n, fd_set *r, fd_set *w, fd_set *e, struct timeval *tv)
{
	static auto next = qt::next_fn<int(int, fd_set *, fd_set *, fd_set *, struct timeval *)>("select");
	if (!g_untimed || !tv)
		return next(n, r, w, e, tv);
	{
		std::lock_guard lk(g_wait_mu);
		g_waits++;
	}
	g_wait_cv.notify_all();
	return next(n, r, w, e, nullptr);
}

namespace {

using qt::Call;
using qt::Sub;

constexpr int FC = QORSIM_DRV_FC;
constexpr int ETH = QORSIM_DRV_ETH;

class Aen : public qt::SimTest {
protected:
	void SetUp() override
	{
		qt::SimTest::SetUp();
		ASSERT_TRUE(qt::load_library());
	}
	void TearDown() override
	{
		qorl_aen_exit();
		qorl_libexit();
		qt::SimTest::TearDown();
	}
	static void inject(int drv, int inst, const qor_aen_entry_t &e)
	{
		ASSERT_EQ(qorsim_inject_event(drv, inst, &e), 0) << qorsim_error();
	}
	qt::Recorder rec;
};

qor_aen_data_t port_data(qorl_t *q)
{
	qor_aen_data_t d{};
	d.port.pwwn = q->pwwn;
	return d;
}

void port_sub(qorl_t *q, Sub *s, qorl_port_aen_cbhandle_t **h)
{
	qor_port_aen_data_t key{};
	key.pwwn = q->pwwn;
	ASSERT_EQ(qorl_port_aen_register(q, qt::on_event, s, &key, h), QOR_STATUS_OK);
}

// ---- every kind: own events delivered, others' not ------------------------------------

using unsubscribe = std::function<qor_status_t()>;

struct KindRow {
	const char *name;
	uint32_t cat;
	int type;
	int drv, inst;   // the subscribed controller
	int other_inst;  // where the foreign event is raised; drained before `inst`
	std::function<unsubscribe(qorl_t *q, Sub *s)> subscribe;
	std::function<qor_aen_data_t(qorl_t *q, qorl_t *other, bool mine)> data;
};

constexpr wwn_t kLport2 = 0x2200000000000011ull;
constexpr wwn_t kRport1 = 0x2100000000000001ull;
constexpr wwn_t kRport2 = 0x2100000000000002ull;

template <class H, class Fn> unsubscribe unreg(H *h, Fn fn)
{
	return [h, fn] { return fn(h); };
}

const KindRow kKinds[] = {
	{"adapter", QOR_AEN_CAT_ADAPTER, QOR_ADAPTER_AEN_REMOVE, FC, 2, 0,
	 [](qorl_t *q, Sub *s) {
		 int ad = 0, port = 0;
		 EXPECT_EQ(qorl_adapter_get_adapter_port(q, &ad, &port), QOR_STATUS_OK);
		 qorl_adapter_aen_cbhandle_t *h = nullptr;
		 EXPECT_EQ(qorl_adapter_aen_register(qorl_adapter_open_idx(ad), qt::on_event, s, &h, 0), QOR_STATUS_OK);
		 return unreg(h, qorl_adapter_aen_unregister);
	 },
	 [](qorl_t *q, qorl_t *other, bool mine) {
		 qor_aen_data_t d{};
		 std::memcpy(d.adapter.serial_num, (mine ? q : other)->serialnum, sizeof d.adapter.serial_num);
		 d.adapter.pwwn = (mine ? q : other)->pwwn;
		 return d;
	 }},
	{"ioc", QOR_AEN_CAT_IOC, QOR_IOC_AEN_HB_FAIL, FC, 1, 0,
	 [](qorl_t *q, Sub *s) {
		 qorl_ioc_aen_cbhandle_t *h = nullptr;
		 EXPECT_EQ(qorl_ioc_aen_register(q, qt::on_event, s, &h), QOR_STATUS_OK);
		 return unreg(h, qorl_ioc_aen_unregister);
	 },
	 [](qorl_t *q, qorl_t *other, bool mine) {
		 qor_aen_data_t d{};
		 d.ioc.pwwn = (mine ? q : other)->pwwn;
		 return d;
	 }},
	{"port", QOR_AEN_CAT_PORT, QOR_PORT_AEN_OFFLINE, FC, 1, 0,
	 [](qorl_t *q, Sub *s) {
		 qorl_port_aen_cbhandle_t *h = nullptr;
		 port_sub(q, s, &h);
		 return unreg(h, qorl_port_aen_unregister);
	 },
	 [](qorl_t *q, qorl_t *other, bool mine) { return port_data(mine ? q : other); }},
	{"lport", QOR_AEN_CAT_LPORT, QOR_LPORT_AEN_OFFLINE, FC, 0, 0,
	 [](qorl_t *q, Sub *s) {
		 qor_lport_aen_data_t key{};
		 key.lpwwn = q->pwwn;
		 qorl_lport_aen_cbhandle_t *h = nullptr;
		 EXPECT_EQ(qorl_lport_aen_register(q, qt::on_event, s, &key, &h, 0), QOR_STATUS_OK);
		 return unreg(h, qorl_lport_aen_unregister);
	 },
	 [](qorl_t *q, qorl_t *, bool mine) {
		 qor_aen_data_t d{};
		 d.lport.ppwwn = q->pwwn;
		 d.lport.lpwwn = mine ? q->pwwn : kLport2;
		 return d;
	 }},
	{"rport", QOR_AEN_CAT_RPORT, QOR_RPORT_AEN_OFFLINE, FC, 0, 0,
	 [](qorl_t *q, Sub *s) {
		 qor_rport_aen_data_t key{};
		 key.lpwwn = q->pwwn;
		 qorl_rport_aen_cbhandle_t *h = nullptr;
		 EXPECT_EQ(qorl_rport_aen_register(q, qt::on_event, s, &key, &h), QOR_STATUS_OK);
		 return unreg(h, qorl_rport_aen_unregister);
	 },
	 [](qorl_t *q, qorl_t *, bool mine) {
		 qor_aen_data_t d{};
		 d.rport.ppwwn = q->pwwn;
		 d.rport.lpwwn = mine ? q->pwwn : kLport2;
		 d.rport.rpwwn = kRport1;
		 return d;
	 }},
	{"itnim", QOR_AEN_CAT_ITNIM, QOR_ITNIM_AEN_OFFLINE, FC, 0, 0,
	 [](qorl_t *q, Sub *s) {
		 qor_itnim_aen_data_t key{};
		 key.lpwwn = q->pwwn;
		 key.rpwwn = kRport1;
		 qorl_itnim_aen_cbhandle_t *h = nullptr;
		 EXPECT_EQ(qorl_itnim_aen_register(q, qt::on_event, s, &key, &h, 0), QOR_STATUS_OK);
		 return unreg(h, qorl_itnim_aen_unregister);
	 },
	 [](qorl_t *q, qorl_t *, bool mine) {
		 qor_aen_data_t d{};
		 d.itnim.ppwwn = d.itnim.lpwwn = q->pwwn;
		 d.itnim.rpwwn = mine ? kRport1 : kRport2;
		 return d;
	 }},
	{"ethport", QOR_AEN_CAT_ETHPORT, QOR_ETHPORT_AEN_LINKDOWN, ETH, 1, 0,
	 [](qorl_t *q, Sub *s) {
		 qorl_ethport_aen_cbhandle_t *h = nullptr;
		 EXPECT_EQ(qorl_ethport_aen_register(q, qt::on_event, s, nullptr, &h), QOR_STATUS_OK);
		 return unreg(h, qorl_ethport_aen_unregister);
	 },
	 [](qorl_t *q, qorl_t *other, bool mine) {
		 qor_aen_data_t d{};
		 std::memcpy(d.ethport.mac, (mine ? q : other)->mac.mac, 6);
		 return d;
	 }},
	{"audit", QOR_AEN_CAT_AUDIT, QOR_AUDIT_AEN_FLASH_UPDATE, FC, 0, 0,
	 [](qorl_t *q, Sub *s) {
		 qor_audit_aen_data_t key{};
		 key.pwwn = q->pwwn;
		 qorl_audit_aen_cbhandle_t *h = nullptr;
		 EXPECT_EQ(qorl_audit_aen_register(q, qt::on_event, s, &key, &h), QOR_STATUS_OK);
		 return unreg(h, qorl_audit_aen_unregister);
	 },
	 [](qorl_t *q, qorl_t *, bool mine) {
		 qor_aen_data_t d{};
		 d.audit.pwwn = mine ? q->pwwn : kLport2;
		 return d;
	 }},
};

void PrintTo(const KindRow &k, std::ostream *os)
{
	*os << k.name;
}

class AenKind : public Aen, public ::testing::WithParamInterface<KindRow> {};

TEST_P(AenKind, DeliversOwnEventsOnlyThroughTheReader)
{
	const KindRow &k = GetParam();
	qorl_t *q = qt::controller(k.drv, k.inst), *other = qt::controller(k.drv, k.other_inst);
	ASSERT_TRUE(q && other);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	Sub s{&rec, 1, {}};
	unsubscribe off = k.subscribe(q, &s);

	inject(k.drv, k.other_inst, qt::entry(k.cat, k.type, k.data(q, other, false), 1));
	inject(k.drv, k.inst, qt::entry(k.cat, k.type, k.data(q, other, true), 2));
	ASSERT_TRUE(rec.wait_id(2));
	auto calls = rec.calls();
	ASSERT_EQ(calls.size(), 1u) << "foreign event delivered to " << k.name;
	EXPECT_EQ(calls[0].event, k.type);
	EXPECT_EQ(calls[0].tag, 1);

	EXPECT_EQ(off(), QOR_STATUS_OK);
	testing::internal::CaptureStdout();
	EXPECT_EQ(off(), QOR_STATUS_FAILED);
	testing::internal::GetCapturedStdout();
}

// Records of categories 6, 7 and unknown ones reach no kind, whatever they carry.
TEST_P(AenKind, TargetModeAndIpfcCategoriesAreDropped)
{
	const KindRow &k = GetParam();
	qorl_t *q = qt::controller(k.drv, k.inst), *other = qt::controller(k.drv, k.other_inst);
	Sub s{&rec, 1, {}};
	k.subscribe(q, &s);
	qor_aen_data_t d = k.data(q, other, true);
	std::vector<qor_aen_entry_t> v;
	for (uint32_t cat : {6u, 7u, 0u, 11u, 0xffffffffu})
		v.push_back(qt::entry(cat, k.type, d, cat));
	v.push_back(qt::entry(k.cat, k.type, d, 99));
	for (auto &e : v)
		e.qord_num = k.inst;
	qorl_aen_handling(static_cast<int>(v.size() * sizeof(qor_aen_entry_t)), v.data());
	auto calls = rec.calls();
	ASSERT_EQ(calls.size(), 1u);
	EXPECT_EQ(calls[0].id, 99u);
}

INSTANTIATE_TEST_SUITE_P(Kinds, AenKind, ::testing::ValuesIn(kKinds),
			 [](const auto &p) { return std::string(p.param.name); });

// ---- a subscription made while the reader waits ---------------------------------------

// The reader is waiting and watches no controller; a subscription then made
// is watched at once, with no event anywhere else to wake the reader.
TEST_F(Aen, NewSubscriptionIsWatchedWithoutAnEventElsewhere)
{
	g_untimed = true;
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	{
		std::unique_lock lk(g_wait_mu);
		ASSERT_TRUE(g_wait_cv.wait_for(lk, std::chrono::seconds(30), [] { return g_waits > 0; }));
	}
	qorl_t *q = qt::controller(FC, 1);
	Sub a{&rec, 1, {}};
	qorl_port_aen_cbhandle_t *h;
	port_sub(q, &a, &h);
	inject(FC, 1, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q), 77));
	EXPECT_TRUE(rec.wait_id(77)) << "the reader never watched the new subscription";
	EXPECT_EQ(qorl_port_aen_unregister(h), QOR_STATUS_OK);
	g_untimed = false;
}

// ---- several subscribers, changes during delivery -------------------------------------

TEST_F(Aen, SubscribersAreCalledNewestFirstEachOnce)
{
	qorl_t *q = qt::controller(FC, 0);
	Sub a{&rec, 1, {}}, b{&rec, 2, {}};
	qorl_port_aen_cbhandle_t *ha, *hb;
	port_sub(q, &a, &ha);
	port_sub(q, &b, &hb);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	inject(FC, 0, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q), 1));
	inject(FC, 0, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_OFFLINE, port_data(q), 2));
	ASSERT_TRUE(rec.wait_count(4));
	auto c = rec.calls();
	ASSERT_EQ(c.size(), 4u);
	int want[][2] = {{2, 1}, {1, 1}, {2, 2}, {1, 2}};
	for (size_t i = 0; i < 4; i++) {
		EXPECT_EQ(c[i].tag, want[i][0]) << i;
		EXPECT_EQ(c[i].id, static_cast<uint32_t>(want[i][1])) << i;
	}
}

TEST_F(Aen, CallbackUnregisteringItselfKeepsOthersAndGetsNoMore)
{
	qorl_t *q = qt::controller(FC, 0);
	qorl_port_aen_cbhandle_t *ha, *hb;
	std::atomic<int> unreg_status{-1};
	Sub a{&rec, 1, {}};
	Sub b{&rec, 2, [&](const Call &) { unreg_status = qorl_port_aen_unregister(hb); }};
	port_sub(q, &a, &ha);
	port_sub(q, &b, &hb);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	inject(FC, 0, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q), 1));
	inject(FC, 0, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_OFFLINE, port_data(q), 2));
	ASSERT_TRUE(rec.wait([](auto &v) { return !v.empty() && v.back().tag == 1 && v.back().id == 2; }));
	auto c = rec.calls();
	ASSERT_EQ(c.size(), 3u);
	EXPECT_EQ(c[0].tag, 2);
	EXPECT_EQ(c[1].tag, 1);
	EXPECT_EQ(c[2].tag, 1);
	EXPECT_EQ(unreg_status.load(), QOR_STATUS_OK);
}

TEST_F(Aen, SubscriberRemovedDuringDeliveryIsNotCalled)
{
	qorl_t *q = qt::controller(FC, 0);
	qorl_port_aen_cbhandle_t *ha, *hb;
	std::atomic<int> unreg_status{-1};
	Sub a{&rec, 1, {}};
	Sub b{&rec, 2, [&](const Call &c) {
		      if (c.id == 1)
			      unreg_status = qorl_port_aen_unregister(ha);
	      }};
	port_sub(q, &a, &ha);
	port_sub(q, &b, &hb); // newer, so called before a
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	inject(FC, 0, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q), 1));
	inject(FC, 0, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_OFFLINE, port_data(q), 2));
	ASSERT_TRUE(rec.wait_id(2));
	for (auto &c : rec.calls())
		EXPECT_EQ(c.tag, 2) << "removed subscriber called for event " << c.id;
	EXPECT_EQ(unreg_status.load(), QOR_STATUS_OK);
}

TEST_F(Aen, CallbackMayRegisterANewSubscription)
{
	qorl_t *q = qt::controller(FC, 0);
	qorl_port_aen_cbhandle_t *ha, *hc = nullptr;
	Sub c3{&rec, 3, {}};
	Sub a{&rec, 1, [&](const Call &c) {
		      if (c.id == 1)
			      port_sub(q, &c3, &hc);
	      }};
	port_sub(q, &a, &ha);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	inject(FC, 0, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q), 1));
	ASSERT_TRUE(rec.wait_id(1));
	inject(FC, 0, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_OFFLINE, port_data(q), 2));
	ASSERT_TRUE(rec.wait([](auto &v) { return v.size() >= 3; }));
	auto c = rec.calls();
	ASSERT_EQ(c.size(), 3u);
	EXPECT_EQ(c[0].tag, 1);
	EXPECT_EQ(c[1].tag, 3); // the newest first
	EXPECT_EQ(c[1].id, 2u);
	EXPECT_EQ(c[2].tag, 1);
	EXPECT_EQ(qorl_port_aen_unregister(hc), QOR_STATUS_OK);
}

TEST_F(Aen, EventsOfOneControllerArriveInDriverOrder)
{
	qorl_t *q = qt::controller(FC, 3);
	Sub a{&rec, 1, {}};
	qorl_port_aen_cbhandle_t *h;
	port_sub(q, &a, &h);
	std::vector<qor_aen_entry_t> v;
	for (uint32_t i = 1; i <= 500; i++)
		v.push_back(qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q), i));
	ASSERT_EQ(qorsim_inject_events(FC, 3, v.data(), v.size()), 0);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	ASSERT_TRUE(rec.wait_count(500));
	auto c = rec.calls();
	ASSERT_EQ(c.size(), 500u);
	for (uint32_t i = 0; i < 500; i++)
		ASSERT_EQ(c[i].id, i + 1);
}

// ---- the reader's start and stop ------------------------------------------------------

TEST_F(Aen, ExitWhileEventsAreFlowingStopsTheReader)
{
	ASSERT_EQ(qt::reader_threads(), 0);
	qorl_t *q = qt::controller(FC, 0);
	Sub a{&rec, 1, {}};
	qorl_port_aen_cbhandle_t *h;
	port_sub(q, &a, &h);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	EXPECT_EQ(qt::reader_threads(), 1);

	std::atomic<bool> stop{false};
	std::thread injector([&] {
		auto e = qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q), 7);
		std::vector<qor_aen_entry_t> batch(64, e);
		while (!stop)
			if (qorsim_event_count(FC, 0, qor_aen_app_test) < 512)
				qorsim_inject_events(FC, 0, batch.data(), batch.size());
			else
				std::this_thread::yield();
	});
	ASSERT_TRUE(rec.wait_count(1000));
	qorl_aen_exit();
	const size_t seen = rec.calls().size();
	stop = true;
	injector.join();
	EXPECT_EQ(qt::reader_threads(), 0);
	EXPECT_EQ(rec.calls().size(), seen) << "callback after the reader stopped";
	EXPECT_EQ(qorl_port_aen_unregister(h), QOR_STATUS_OK);
}

TEST_F(Aen, ExitWithoutReaderReturnsAtOnce)
{
	ASSERT_EQ(qt::reader_threads(), 0);
	qorl_aen_exit();
	EXPECT_EQ(qt::reader_threads(), 0);
}

TEST_F(Aen, CommandLineIdentityStartsNoReader)
{
	qorl_libinit(qor_aen_app_mxt);
	ASSERT_EQ(qt::reader_threads(), 0);
	EXPECT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	EXPECT_EQ(qt::reader_threads(), 0);
	qorl_aen_exit();
}

TEST_F(Aen, SecondInitStartsNoSecondReaderAndRestartWorks)
{
	ASSERT_EQ(qt::reader_threads(), 0);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	EXPECT_EQ(qt::reader_threads(), 1);
	qorl_aen_exit();
	EXPECT_EQ(qt::reader_threads(), 0);

	qorl_t *q = qt::controller(FC, 0);
	Sub a{&rec, 1, {}};
	qorl_port_aen_cbhandle_t *h;
	port_sub(q, &a, &h);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	inject(FC, 0, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q), 1));
	EXPECT_TRUE(rec.wait_id(1));
}

// A callback may stop the reader it runs on.
TEST_F(Aen, ExitFromACallbackEndsTheReader)
{
	ASSERT_EQ(qt::reader_threads(), 0);
	qorl_t *q = qt::controller(FC, 0);
	// The stopped reader finishes the call on its own, unjoined: what it
	// touches lives as long as the process.
	auto *r = new qt::Recorder;
	auto *a = new Sub{r, 1, [](const Call &) { qorl_aen_exit(); }};
#ifdef __SANITIZE_ADDRESS__
	__lsan_ignore_object(r);
	__lsan_ignore_object(a);
#endif
	qorl_port_aen_cbhandle_t *h;
	port_sub(q, a, &h);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	inject(FC, 0, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q), 1));
	ASSERT_TRUE(r->wait_id(1));
	EXPECT_EQ(qorl_port_aen_unregister(h), QOR_STATUS_OK);
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK) << "a new reader can start";
}

// ---- fetch -----------------------------------------------------------------------------

TEST_F(Aen, FetchAsksForAtMost64)
{
	qorl_t *q = qt::controller(FC, 0);
	std::vector<qor_aen_entry_t> v;
	for (uint32_t i = 1; i <= 100; i++)
		v.push_back(qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q), i));
	ASSERT_EQ(qorsim_inject_events(FC, 0, v.data(), v.size()), 0);
	qorsim_log_clear();
	std::vector<qor_aen_entry_t> out(100);
	int count = 100;
	ASSERT_EQ(qorl_aen_get_events(q, out.data(), &count, qor_aen_app_test), QOR_STATUS_OK);
	EXPECT_EQ(count, 64);
	for (int i = 0; i < 64; i++)
		EXPECT_EQ(out[i].aen_tv.tv_usec, static_cast<uint32_t>(i + 1));
	EXPECT_EQ(qorsim_event_count(FC, 0, qor_aen_app_test), 36);
	auto log = qt::log_entries(QOR_IOCTL_AEN_GET);
	ASSERT_EQ(log.size(), 1u);
	qor_ioctl_aen_t sent;
	std::memcpy(&sent, log[0].in, sizeof sent);
	EXPECT_EQ(sent.aen_count, 64);
	EXPECT_EQ(sent.app_id, static_cast<uint32_t>(qor_aen_app_test));
	EXPECT_EQ(sent.qord_num, 0);
}

TEST_F(Aen, RefusedFetchReturnsStatusAndCountAndCopiesNothing)
{
	qorl_t *q = qt::controller(FC, 1);
	inject(FC, 1, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q), 1));
	qorsim_fault_request(QOR_IOCTL_AEN_GET, -1, 0, QOR_STATUS_DEVBUSY, 1);
	qor_aen_entry_t out[5];
	std::memset(out, 0xab, sizeof out);
	int count = 5;
	EXPECT_EQ(qorl_aen_get_events(q, out, &count, qor_aen_app_test), QOR_STATUS_DEVBUSY);
	EXPECT_EQ(count, 5);
	for (auto &e : out)
		EXPECT_EQ(e.aen_category, 0xababababu);
}

TEST_F(Aen, ChannelFailureLeavesCountAndSaysWhy)
{
	qorl_t *q = qt::controller(FC, 1);
	qorsim_fault_request(QOR_IOCTL_AEN_GET, -1, EIO, 0, 1);
	qor_aen_entry_t out[4];
	int count = 4;
	testing::internal::CaptureStdout();
	EXPECT_EQ(qorl_aen_get_events(q, out, &count, qor_aen_app_test), QOR_STATUS_EIO);
	std::string said = testing::internal::GetCapturedStdout();
	EXPECT_EQ(count, 4);
	EXPECT_EQ(said.rfind("qorl_aen_get_events:", 0), 0u) << said;
	EXPECT_NE(said.find("ioctl error: "), std::string::npos) << said;
}

// A full batch is fetched again in the same pass; a short one is not.
class AenBatch : public Aen, public ::testing::WithParamInterface<int> {};

TEST_P(AenBatch, FullBatchIsFollowedByAnotherFetch)
{
	const int n = GetParam();
	qorl_t *q0 = qt::controller(FC, 0), *q1 = qt::controller(FC, 1);
	std::vector<qor_aen_entry_t> v;
	for (int i = 1; i <= n; i++)
		v.push_back(qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q0), static_cast<uint32_t>(i)));
	ASSERT_EQ(qorsim_inject_events(FC, 0, v.data(), v.size()), 0);
	// Instance 1 is drained after instance 0 in the same pass: its event marks the pass's end.
	inject(FC, 1, qt::entry(QOR_AEN_CAT_PORT, QOR_PORT_AEN_ONLINE, port_data(q1), 1000));
	Sub a{&rec, 1, {}}, b{&rec, 2, {}};
	qorl_port_aen_cbhandle_t *ha, *hb;
	port_sub(q0, &a, &ha);
	port_sub(q1, &b, &hb);
	qorsim_log_clear();
	ASSERT_EQ(qorl_aen_init(), QOR_STATUS_OK);
	ASSERT_TRUE(rec.wait_id(1000));
	EXPECT_EQ(rec.calls().size(), static_cast<size_t>(n + 1));
	qorl_aen_exit();

	std::vector<int> counts;
	for (auto &e : qt::log_entries(QOR_IOCTL_AEN_GET)) {
		qor_ioctl_aen_t in, out;
		std::memcpy(&in, e.in, sizeof in);
		std::memcpy(&out, e.out, sizeof out);
		if (e.drv == FC && in.qord_num == 0)
			counts.push_back(out.aen_count);
	}
	std::vector<int> want = n == 64 ? std::vector<int>{64, 0} : std::vector<int>{n};
	EXPECT_EQ(counts, want);
}

INSTANTIATE_TEST_SUITE_P(Sizes, AenBatch, ::testing::Values(63, 64));

// ---- matching rules on the delivery functions ---------------------------------------------

TEST_F(Aen, AdapterSubscriptionWithoutAdapterSeesEveryAddAndNoRemove)
{
	Sub a{&rec, 1, {}};
	qorl_adapter_aen_cbhandle_t *h;
	ASSERT_EQ(qorl_adapter_aen_register(nullptr, qt::on_event, &a, &h, 0), QOR_STATUS_OK);
	EXPECT_EQ(h->fd, -1);
	qor_adapter_aen_data_t d{};
	std::strcpy(d.serial_num, "QXZ0000001");
	qor_timeval_t tv{1, 1};
	EXPECT_EQ(qorl_adapter_event(&d, QOR_ADAPTER_AEN_ADD, tv), QOR_STATUS_OK);
	tv.tv_usec = 2;
	EXPECT_EQ(qorl_adapter_event(&d, QOR_ADAPTER_AEN_REMOVE, tv), QOR_STATUS_OK);
	auto c = rec.calls();
	ASSERT_EQ(c.size(), 1u);
	EXPECT_EQ(c[0].event, QOR_ADAPTER_AEN_ADD);
	// Nothing to watch for it.
	qorl_aen_fd_list_t l;
	FD_ZERO(&l.fd);
	l.maxfd = 0;
	qorl_aen_fd_collect(&l);
	EXPECT_EQ(l.maxfd, 0);
}

TEST_F(Aen, LportSubscriptionWithKeyZeroSeesOnlyNew)
{
	qorl_t *q = qt::controller(FC, 0);
	Sub a{&rec, 1, {}};
	qor_lport_aen_data_t key{};
	qorl_lport_aen_cbhandle_t *h;
	ASSERT_EQ(qorl_lport_aen_register(q, qt::on_event, &a, &key, &h, 0), QOR_STATUS_OK);
	qor_lport_aen_data_t d{};
	d.lpwwn = kLport2;
	for (int ev : {QOR_LPORT_AEN_NEW, QOR_LPORT_AEN_ONLINE, QOR_LPORT_AEN_DELETE})
		qorl_lport_event(0, &d, static_cast<qor_lport_aen_event_t>(ev), qor_timeval_t{1, 0});
	qorl_lport_event(1, &d, QOR_LPORT_AEN_NEW, qor_timeval_t{1, 0}); // another controller
	auto c = rec.calls();
	ASSERT_EQ(c.size(), 1u);
	EXPECT_EQ(c[0].event, QOR_LPORT_AEN_NEW);
}

TEST_F(Aen, ItnimSubscriptionWithoutTargetSeesEveryTargetOfItsPort)
{
	qorl_t *q = qt::controller(FC, 0);
	Sub a{&rec, 1, {}};
	qor_itnim_aen_data_t key{};
	key.lpwwn = q->pwwn;
	qorl_itnim_aen_cbhandle_t *h;
	ASSERT_EQ(qorl_itnim_aen_register(q, qt::on_event, &a, &key, &h, 0), QOR_STATUS_OK);
	qor_itnim_aen_data_t d{};
	d.lpwwn = q->pwwn;
	for (wwn_t r : {kRport1, kRport2}) {
		d.rpwwn = r;
		qorl_itnim_event(0, &d, QOR_ITNIM_AEN_ONLINE, qor_timeval_t{1, 0});
	}
	d.lpwwn = kLport2;
	qorl_itnim_event(0, &d, QOR_ITNIM_AEN_ONLINE, qor_timeval_t{1, 0});
	EXPECT_EQ(rec.calls().size(), 2u);
}

struct SniaCall {
	uint64_t a, b;
	uint32_t type;
};
std::vector<SniaCall> g_snia;
void snia_lport(void *, wwn_t lpwwn, uint32_t type, uint32_t) { g_snia.push_back({lpwwn, 0, type}); }
void snia_itnim(void *, wwn_t l, wwn_t r, uint32_t type) { g_snia.push_back({l, r, type}); }
void snia_adapter(void *, wwn_t pwwn, uint32_t type) { g_snia.push_back({pwwn, 0, type}); }

template <class To, class From> To as_native(From f)
{
	return reinterpret_cast<To>(reinterpret_cast<void (*)(void)>(f));
}

TEST_F(Aen, SniaFormGetsConvertedTypes)
{
	qorl_t *q = qt::controller(FC, 0);
	qor_lport_aen_data_t lk{};
	lk.lpwwn = q->pwwn;
	qorl_lport_aen_cbhandle_t *hl;
	ASSERT_EQ(qorl_lport_aen_register(q, as_native<qorl_lport_aen_cbfn_t>(snia_lport), nullptr, &lk, &hl,
					  QORL_AEN_FLAG_SNIA),
		  QOR_STATUS_OK);
	qor_itnim_aen_data_t ik{};
	ik.lpwwn = q->pwwn;
	qorl_itnim_aen_cbhandle_t *hi;
	ASSERT_EQ(qorl_itnim_aen_register(q, as_native<qorl_itnim_aen_cbfn_t>(snia_itnim), nullptr, &ik, &hi,
					  QORL_AEN_FLAG_SNIA),
		  QOR_STATUS_OK);
	qorl_adapter_aen_cbhandle_t *ha;
	ASSERT_EQ(qorl_adapter_aen_register(nullptr, as_native<qorl_adapter_aen_cbfn_t>(snia_adapter), nullptr, &ha,
					    QORL_AEN_FLAG_SNIA),
		  QOR_STATUS_OK);

	qor_lport_aen_data_t ld{};
	ld.lpwwn = q->pwwn;
	EXPECT_EQ(qorl_lport_event(0, &ld, QOR_LPORT_AEN_ONLINE, qor_timeval_t{}), QOR_STATUS_OK);
	EXPECT_EQ(qorl_lport_event(0, &ld, QOR_LPORT_AEN_DELETE, qor_timeval_t{}), QOR_STATUS_OK);
	qor_itnim_aen_data_t id{};
	id.lpwwn = q->pwwn;
	id.rpwwn = kRport1;
	qorl_itnim_event(0, &id, QOR_ITNIM_AEN_DISCONNECT, qor_timeval_t{});
	qor_adapter_aen_data_t ad{};
	ad.pwwn = 0x55;
	qorl_adapter_event(&ad, QOR_ADAPTER_AEN_ADD, qor_timeval_t{});
	ASSERT_EQ(g_snia.size(), 4u);
	EXPECT_EQ(g_snia[0].type, 0x202u);
	EXPECT_EQ(g_snia[0].a, q->pwwn);
	EXPECT_EQ(g_snia[1].type, 0u);
	EXPECT_EQ(g_snia[2].type, 0x403u);
	EXPECT_EQ(g_snia[2].b, kRport1);
	EXPECT_EQ(g_snia[3].type, 0x101u);
	EXPECT_EQ(g_snia[3].a, 0x55u);
}

TEST(AenConvert, SniaEventTypes)
{
	struct {
		uint32_t cat, ev, want;
	} rows[] = {
		{1, 1, 0x101}, {1, 2, 0x102}, {3, 3, 0x202}, {3, 4, 0x201}, {5, 1, 0x402}, {5, 2, 0x401},
		{5, 3, 0x403}, {2, 1, 0},     {3, 2, 0},     {4, 2, 0},     {9, 1, 0},     {0, 0, 0},
	};
	for (auto &r : rows)
		EXPECT_EQ(qorl_snia_event_convert(r.cat, r.ev), r.want) << r.cat << "/" << r.ev;
}

// ---- registration, unregistration, descriptors, direct delivery ------------------------------

TEST_F(Aen, PortAndEthportNeedAController)
{
	Sub a{&rec, 1, {}};
	qor_port_aen_data_t pk{};
	qorl_port_aen_cbhandle_t *hp = reinterpret_cast<qorl_port_aen_cbhandle_t *>(0x1);
	EXPECT_EQ(qorl_port_aen_register(nullptr, qt::on_event, &a, &pk, &hp), QOR_STATUS_EINVAL);
	EXPECT_EQ(hp, reinterpret_cast<qorl_port_aen_cbhandle_t *>(0x1));
	qorl_ethport_aen_cbhandle_t *he = nullptr;
	EXPECT_EQ(qorl_ethport_aen_register(nullptr, qt::on_event, &a, nullptr, &he), QOR_STATUS_EINVAL);
	EXPECT_EQ(he, nullptr);
	qorl_ioc_aen_cbhandle_t *hi = nullptr;
	EXPECT_EQ(qorl_ioc_aen_register(qt::controller(FC, 0), nullptr, &a, &hi), QOR_STATUS_EINVAL);
	EXPECT_EQ(hi, nullptr);
}

TEST_F(Aen, HandleHoldsTheDesignedFields)
{
	qorl_t *q = qt::controller(ETH, 1);
	Sub a{&rec, 1, {}};
	qorl_ethport_aen_cbhandle_t *h;
	ASSERT_EQ(qorl_ethport_aen_register(q, qt::on_event, &a, nullptr, &h), QOR_STATUS_OK);
	EXPECT_EQ(h->userData, &a);
	EXPECT_EQ(h->qorl, q);
	EXPECT_EQ(h->fd, q->fd);
	EXPECT_EQ(h->inst, 1);
	EXPECT_EQ(std::memcmp(h->data.mac, q->mac.mac, 6), 0);

	qor_rport_aen_data_t rk{};
	rk.lpwwn = 7;
	qorl_rport_aen_cbhandle_t *hr;
	ASSERT_EQ(qorl_rport_aen_register(nullptr, qt::on_event, &a, &rk, &hr), QOR_STATUS_OK);
	EXPECT_EQ(hr->fd, -1);
	EXPECT_EQ(hr->inst, -1);
	EXPECT_EQ(hr->data.lpwwn, 7u);
	EXPECT_EQ(hr->next, nullptr) << "first of its kind";
}

TEST_F(Aen, UnknownHandleMessagesFollowTheKind)
{
	qorl_port_aen_cbhandle_t bogus{};
	testing::internal::CaptureStdout();
	EXPECT_EQ(qorl_port_aen_unregister(&bogus), QOR_STATUS_FAILED);
	std::string said = testing::internal::GetCapturedStdout();
	EXPECT_EQ(said.rfind("Event callback not registered for handle: ", 0), 0u) << said;

	qorl_lport_aen_cbhandle_t lb{};
	qorl_itnim_aen_cbhandle_t ib{};
	qorl_adapter_aen_cbhandle_t ab{};
	testing::internal::CaptureStdout();
	EXPECT_EQ(qorl_lport_aen_unregister(&lb), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_itnim_aen_unregister(&ib), QOR_STATUS_FAILED);
	EXPECT_EQ(qorl_adapter_aen_unregister(&ab), QOR_STATUS_FAILED);
	EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(Aen, DescriptorsOfSubscribedControllersOnly)
{
	qorl_t *fc = qt::controller(FC, 2), *eth = qt::controller(ETH, 0);
	Sub a{&rec, 1, {}};
	qorl_aen_fd_list_t l;
	FD_ZERO(&l.fd);
	l.maxfd = 0;
	qorl_aen_fd_collect(&l);
	EXPECT_EQ(l.maxfd, 0);

	qorl_port_aen_cbhandle_t *hp;
	port_sub(fc, &a, &hp);
	qorl_ethport_aen_cbhandle_t *he;
	ASSERT_EQ(qorl_ethport_aen_register(eth, qt::on_event, &a, nullptr, &he), QOR_STATUS_OK);
	FD_ZERO(&l.fd);
	l.maxfd = 0;
	qorl_aen_fd_collect(&l);
	EXPECT_TRUE(FD_ISSET(fc->fd, &l.fd));
	EXPECT_TRUE(FD_ISSET(eth->fd, &l.fd));
	EXPECT_EQ(l.maxfd, std::max(fc->fd, eth->fd));

	ASSERT_EQ(qorl_port_aen_unregister(hp), QOR_STATUS_OK);
	FD_ZERO(&l.fd);
	l.maxfd = 0;
	qorl_aen_fd_collect(&l);
	EXPECT_FALSE(fc->fd != eth->fd && FD_ISSET(fc->fd, &l.fd));
	EXPECT_EQ(l.maxfd, eth->fd);
}

TEST_F(Aen, DirectDeliveryMatchesByController)
{
	qorl_t *q0 = qt::controller(FC, 0), *q1 = qt::controller(FC, 1);
	qor_port_aen_data_t d{};
	d.pwwn = q0->pwwn;
	EXPECT_EQ(qorl_port_windows_event(q0, &d, QOR_PORT_AEN_ONLINE, qor_timeval_t{}), QOR_STATUS_FAILED);
	qor_audit_aen_data_t ad{};
	EXPECT_EQ(qorl_audit_windows_event(q0, &ad, QOR_AUDIT_AEN_FLASH_ERASE, qor_timeval_t{}), QOR_STATUS_OK);

	Sub a{&rec, 1, {}}, b{&rec, 2, {}};
	qorl_port_aen_cbhandle_t *ha, *hb;
	port_sub(q0, &a, &ha);
	port_sub(q1, &b, &hb);
	EXPECT_EQ(qorl_port_windows_event(q0, &d, QOR_PORT_AEN_ONLINE, qor_timeval_t{}), QOR_STATUS_OK);
	auto c = rec.calls();
	ASSERT_EQ(c.size(), 1u);
	EXPECT_EQ(c[0].tag, 1);

	qorl_t *e1 = qt::controller(ETH, 1);
	Sub e{&rec, 3, {}};
	qorl_ethport_aen_cbhandle_t *he;
	ASSERT_EQ(qorl_ethport_aen_register(e1, qt::on_event, &e, nullptr, &he), QOR_STATUS_OK);
	qor_ethport_aen_data_t ed{};
	std::memcpy(ed.mac, e1->mac.mac, 6);
	EXPECT_EQ(qorl_ethport_windows_event(e1, &ed, QOR_ETHPORT_AEN_LINKUP, qor_timeval_t{}), QOR_STATUS_OK);
	EXPECT_EQ(rec.calls().size(), 2u);
}

} // namespace
