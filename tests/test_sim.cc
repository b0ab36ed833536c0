// The emulator's own contract: routing, errors, faults, the log, virtual
// time, path redirection and event readiness. Every other suite relies on it.
#include "testutil.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <set>

#include <dirent.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using qt::SimTest;

constexpr int FC = QORSIM_DRV_FC;
constexpr int ETH = QORSIM_DRV_ETH;
constexpr size_t kQueue = 1024; // events a controller keeps per application

uint32_t eth_code(uint32_t code) { return (code & ~0xff00u) | (QOR_IOCTL_TYPE_ETH << 8); }

// An open node; req() returns 0 or the errno of the request.
struct Node {
	int fd;
	int drv;
	explicit Node(const char *path) : fd(open(path, O_RDWR | O_CLOEXEC)), drv(strcmp(path, QOR_DEV_ETH) ? FC : ETH) {}
	~Node()
	{
		if (fd >= 0)
			close(fd);
	}
	int req(uint32_t code, void *rec) const
	{
		if (drv == ETH)
			code = eth_code(code);
		return ioctl(fd, code, rec) == 0 ? 0 : errno;
	}
	void announce(uint32_t app) const
	{
		qor_ioctl_aen_t a{};
		a.app_id = app;
		ASSERT_EQ(req(QOR_IOCTL_AEN_APP_REGISTER, &a), 0);
	}
	bool readable() const
	{
		pollfd p{fd, POLLIN, 0};
		return poll(&p, 1, 0) == 1 && (p.revents & POLLIN);
	}
};

qor_ioctl_ioc_info_t identity(const Node &n, uint16_t inst, int *err = nullptr)
{
	qor_ioctl_ioc_info_t r{};
	r.qord_num = inst;
	int e = n.req(QOR_IOCTL_IOC_GET_INFO, &r);
	if (err)
		*err = e;
	return r;
}

qor_ioc_attr_t attributes(const Node &n, uint16_t inst)
{
	qor_ioctl_ioc_attr_t r{};
	r.qord_num = inst;
	EXPECT_EQ(n.req(QOR_IOCTL_IOC_GET_ATTR, &r), 0);
	return r.ioc_attr;
}

uint32_t gen_req(const Node &n, uint32_t code, uint16_t inst, int *err = nullptr)
{
	qor_ioctl_gen_t g{};
	g.qord_num = inst;
	int e = n.req(code, &g);
	if (err)
		*err = e;
	return g.status;
}

std::string text(const char *s) { return std::string(s); }

// ---- the default machine ----------------------------------------------------

TEST_F(SimTest, VersionAndInstanceListPerDriver)
{
	struct Row {
		const char *node;
		uint32_t cnt;
		uint8_t bm0;
	} rows[] = {{QOR_DEV_FC, 4, 0x0f}, {QOR_DEV_ETH, 2, 0x03}, {QOR_DEV_IPFC, 4, 0x0f}};
	for (const auto &row : rows) {
		SCOPED_TRACE(row.node);
		Node n(row.node);
		ASSERT_GE(n.fd, 0);
		qor_ioctl_ioc_get_version_t v{};
		EXPECT_EQ(n.req(QOR_IOCTL_IOC_GET_VERSION, &v), 0);
		EXPECT_EQ(v.version, 4133u);
		qor_ioctl_ioc_get_inst_t in{};
		EXPECT_EQ(n.req(QOR_IOCTL_IOC_GET_INST, &in), 0);
		EXPECT_EQ(in.cnt, row.cnt);
		EXPECT_EQ(in.bm[0], row.bm0);
	}
}

TEST_F(SimTest, DefaultControllersIdentityAndAttributes)
{
	struct Row {
		int drv;
		uint16_t inst;
		uint32_t type;
		uint8_t port;
		const char *serial;
		const char *hwpath;
		bool cna;
	} rows[] = {
		{FC, 0, QOR_IOC_TYPE_FC, 0, "QXA2210F001", "0000:05:00", false},
		{FC, 1, QOR_IOC_TYPE_FC, 1, "QXA2210F001", "0000:05:00", false},
		{FC, 2, QOR_IOC_TYPE_FCoE, 0, "QXC2214C007", "0000:07:00", true},
		{FC, 3, QOR_IOC_TYPE_FCoE, 1, "QXC2214C007", "0000:07:00", true},
		{ETH, 0, QOR_IOC_TYPE_LL, 0, "QXC2214C007", "0000:07:00", true},
		{ETH, 1, QOR_IOC_TYPE_LL, 1, "QXC2214C007", "0000:07:00", true},
	};
	Node fc(QOR_DEV_FC), eth(QOR_DEV_ETH);
	std::set<std::pair<std::string, uint32_t>> pcifns;
	for (const auto &row : rows) {
		SCOPED_TRACE(std::to_string(row.drv) + "/" + std::to_string(row.inst));
		const Node &n = row.drv == FC ? fc : eth;
		auto id = identity(n, row.inst);
		EXPECT_EQ(id.status, QOR_STATUS_OK);
		EXPECT_EQ(id.ioc_type, row.type);
		EXPECT_EQ(text(id.serialnum), row.serial);
		EXPECT_EQ(text(id.adapter_hwpath), row.hwpath);
		EXPECT_EQ(id.pwwn != 0, row.drv == FC);
		EXPECT_EQ(id.mac.mac[0] != 0, row.type != QOR_IOC_TYPE_FC);
		auto at = attributes(n, row.inst);
		EXPECT_EQ(at.state, QOR_IOC_OPERATIONAL);
		EXPECT_EQ(at.port_id, row.port);
		EXPECT_EQ(at.adapter_attr.cna_capable, row.cna);
		EXPECT_EQ(at.adapter_attr.trunk_capable, !row.cna);
		EXPECT_EQ(at.adapter_attr.nports, 2);
		EXPECT_TRUE(pcifns.insert({row.hwpath, at.pci_attr.pcifn}).second) << "pcifn repeats";
	}
}

// ---- routing and request errors -----------------------------------------------

TEST_F(SimTest, RequestErrorsLikeADriver)
{
	struct Row {
		const char *what;
		const char *node;
		uint32_t code; // sent as is
		int err;
	} rows[] = {
		{"size field too small", QOR_DEV_FC, 0xC0044301, EINVAL},
		{"size field too large", QOR_DEV_FC, 0xC6504306, EINVAL},
		{"unknown number", QOR_DEV_FC, 0xC00843EE, ENOTTY},
		{"unknown type byte", QOR_DEV_FC, 0xC0089901, ENOTTY},
		{"Ethernet type on the FC node", QOR_DEV_FC, 0xC0084401, ENOTTY},
		{"FC type on the Ethernet node", QOR_DEV_ETH, 0xC0084301, ENOTTY},
		{"FC-only module on the Ethernet node", QOR_DEV_ETH, 0xC040B001, ENOTTY},
		{"other direction", QOR_DEV_FC, 0x80084301, ENOTTY},
		{"Ethernet version", QOR_DEV_ETH, 0xC0084401, 0},
		{"IP-over-FC version", QOR_DEV_IPFC, 0xC0084301, 0},
	};
	for (const auto &row : rows) {
		SCOPED_TRACE(row.what);
		int fd = open(row.node, O_RDWR);
		ASSERT_GE(fd, 0);
		alignas(8) uint8_t rec[2048] = {};
		int rc = ioctl(fd, row.code, rec);
		EXPECT_EQ(rc == 0 ? 0 : errno, row.err);
		close(fd);
	}
}

TEST_F(SimTest, MissingInstanceIsENXIO)
{
	topology(R"({"drivers": {"fc": {"count": 3}},
	  "adapters": [{"functions": [{"type": "fc", "instance": 0}, {"type": "fc", "instance": 2}]}]})");
	Node fc(QOR_DEV_FC);
	qor_ioctl_ioc_get_inst_t in{};
	ASSERT_EQ(fc.req(QOR_IOCTL_IOC_GET_INST, &in), 0);
	EXPECT_EQ(in.cnt, 3u);
	EXPECT_EQ(in.bm[0], 0x05);
	struct Row {
		uint16_t inst;
		int err;
	} rows[] = {{0, 0}, {1, ENXIO}, {2, 0}, {3, ENXIO}, {200, ENXIO}};
	for (const auto &row : rows) {
		int err = -1;
		identity(fc, row.inst, &err);
		EXPECT_EQ(err, row.err) << "instance " << row.inst;
	}
	qor_ioctl_aen_t a{};
	a.qord_num = -1;
	a.aen_count = 1;
	EXPECT_EQ(fc.req(QOR_IOCTL_AEN_GET, &a), ENXIO);
}

// ---- faults ------------------------------------------------------------------------

TEST_F(SimTest, RequestFaultsOnceNAlways)
{
	struct Row {
		int count;
		int failures_of_5;
	} rows[] = {{1, 1}, {3, 3}, {QORSIM_ALWAYS, 5}};
	Node fc(QOR_DEV_FC);
	for (const auto &row : rows) {
		qorsim_fault_clear();
		int id = qorsim_fault_request(QOR_IOCTL_IOC_GET_STATS, -1, EIO, 0, row.count);
		ASSERT_GE(id, 0);
		int failed = 0;
		for (int i = 0; i < 5; i++) {
			qor_ioctl_ioc_stats_t s{};
			int e = fc.req(QOR_IOCTL_IOC_GET_STATS, &s);
			EXPECT_TRUE(e == 0 || e == EIO);
			failed += e == EIO;
		}
		EXPECT_EQ(failed, row.failures_of_5) << "count " << row.count;
		EXPECT_EQ(qorsim_fault_hits(id), static_cast<unsigned>(row.failures_of_5));
	}
}

TEST_F(SimTest, StatusFaultRefusesAndMatchesInstance)
{
	Node fc(QOR_DEV_FC);
	ASSERT_GE(qorsim_fault_request(QOR_IOCTL_IOC_SET_NAME, 1, 0, QOR_STATUS_FAILED, QORSIM_ALWAYS), 0);
	for (uint16_t inst : {0, 1}) {
		qor_ioctl_ioc_set_adapter_name_t r{};
		r.qord_num = inst;
		strcpy(r.name, "renamed");
		ASSERT_EQ(fc.req(QOR_IOCTL_IOC_SET_NAME, &r), 0);
		EXPECT_EQ(r.status, inst == 1 ? QOR_STATUS_FAILED : QOR_STATUS_OK);
		EXPECT_EQ(text(identity(fc, inst).port_name), inst == 1 ? "" : "renamed");
	}
	// A reading request still answers; only its status word changes.
	ASSERT_GE(qorsim_fault_request(QOR_IOCTL_IOC_GET_ATTR, -1, 0, QOR_STATUS_IOC_FAILURE, 1), 0);
	qor_ioctl_ioc_attr_t a{};
	ASSERT_EQ(fc.req(QOR_IOCTL_IOC_GET_ATTR, &a), 0);
	EXPECT_EQ(a.status, QOR_STATUS_IOC_FAILURE);
	EXPECT_EQ(text(a.ioc_attr.adapter_attr.serial_num), "QXA2210F001");
}

TEST_F(SimTest, NodeOpenFailures)
{
	qorsim_fault_open(QOR_DEV_FC, EACCES);
	errno = 0;
	EXPECT_EQ(open(QOR_DEV_FC, O_RDWR), -1);
	EXPECT_EQ(errno, EACCES);
	Node eth(QOR_DEV_ETH);
	EXPECT_GE(eth.fd, 0);
	qorsim_fault_open(QOR_DEV_FC, 0);
	Node fc(QOR_DEV_FC);
	EXPECT_GE(fc.fd, 0);
	EXPECT_EQ(qorsim_open_count(), 2);

	topology(R"({"drivers": {"eth": {"present": false}},
	  "adapters": [{"functions": [{"type": "fc"}]}],
	  "faults": [{"open": "/dev/qoripfc", "errno": "ENODEV"}, {"driver": "fc", "version": 4132}]})");
	errno = 0;
	EXPECT_EQ(open(QOR_DEV_ETH, O_RDWR), -1);
	EXPECT_EQ(errno, ENOENT);
	EXPECT_EQ(open(QOR_DEV_IPFC, O_RDWR), -1);
	EXPECT_EQ(errno, ENODEV);
	Node fc2(QOR_DEV_FC);
	qor_ioctl_ioc_get_version_t v{};
	ASSERT_EQ(fc2.req(QOR_IOCTL_IOC_GET_VERSION, &v), 0);
	EXPECT_EQ(v.version, 4132u);
}

// ---- the request log ------------------------------------------------------------------

TEST_F(SimTest, LogKeepsBytesInAndOut)
{
	Node eth(QOR_DEV_ETH);
	qorsim_log_clear();
	int err = -1;
	identity(eth, 1, &err);
	ASSERT_EQ(err, 0);
	identity(eth, 7, &err);
	EXPECT_EQ(err, ENXIO);
	auto log = qt::log_entries();
	ASSERT_EQ(log.size(), 2u);
	EXPECT_EQ(log[0].code, 0xC2084407u);
	EXPECT_EQ(log[0].drv, ETH);
	EXPECT_EQ(log[0].instance, 1);
	EXPECT_EQ(log[0].err, 0);
	EXPECT_EQ(log[0].len, sizeof(qor_ioctl_ioc_info_t));
	qor_ioctl_ioc_info_t in, out;
	memcpy(&in, log[0].in, sizeof in);
	memcpy(&out, log[0].out, sizeof out);
	EXPECT_EQ(in.qord_num, 1);
	EXPECT_EQ(in.serialnum[0], 0);
	EXPECT_EQ(text(out.serialnum), "QXC2214C007");
	EXPECT_EQ(text(out.eth_name), "eth1");
	EXPECT_EQ(log[1].err, ENXIO);
	EXPECT_EQ(qorsim_log_count_code(QOR_IOCTL_IOC_GET_INFO), 0u) << "sent as 0x44";
	EXPECT_EQ(qorsim_log_count_code(eth_code(QOR_IOCTL_IOC_GET_INFO)), 2u);
	qorsim_log_enable(0);
	identity(eth, 0);
	EXPECT_EQ(qorsim_log_count(), 2u);
}

// ---- controller state in virtual time ---------------------------------------------------

TEST_F(SimTest, EnableDisableTakeVirtualTime)
{
	Node fc(QOR_DEV_FC);
	EXPECT_EQ(gen_req(fc, QOR_IOCTL_IOC_ENABLE, 1), QOR_STATUS_IOC_ENABLED);
	EXPECT_EQ(gen_req(fc, QOR_IOCTL_IOC_DISABLE, 1), QOR_STATUS_OK);
	EXPECT_EQ(attributes(fc, 1).state, QOR_IOC_DISABLING);
	qorsim_advance_ns(2499000000ull);
	EXPECT_EQ(attributes(fc, 1).state, QOR_IOC_DISABLING);
	qorsim_advance_ns(1000000ull);
	EXPECT_EQ(attributes(fc, 1).state, QOR_IOC_DISABLED);
	EXPECT_EQ(text(identity(fc, 1).serialnum), "QXA2210F001") << "a disabled controller still answers";
	EXPECT_EQ(gen_req(fc, QOR_IOCTL_IOC_DISABLE, 1), QOR_STATUS_IOC_DISABLED);

	EXPECT_EQ(gen_req(fc, QOR_IOCTL_IOC_ENABLE, 1), QOR_STATUS_OK);
	int polls = 0;
	while (attributes(fc, 1).state != QOR_IOC_OPERATIONAL && polls < 20) {
		sleep(1);
		polls++;
	}
	EXPECT_EQ(polls, 3);
	EXPECT_EQ(qorsim_sleep_count(), 3u);
	EXPECT_EQ(qorsim_now_ns(), 5500000000ull);
	qor_ioctl_ioc_stats_t s{};
	s.qord_num = 1;
	ASSERT_EQ(fc.req(QOR_IOCTL_IOC_GET_STATS, &s), 0);
	EXPECT_EQ(s.ioc_stats.drv_stats.ioc_disables, 1u);
	EXPECT_EQ(s.ioc_stats.drv_stats.ioc_enables, 2u);

	qorsim_set_transition_ms(FC, 1, -1);
	EXPECT_EQ(gen_req(fc, QOR_IOCTL_IOC_DISABLE, 1), QOR_STATUS_OK);
	sleep(1000);
	EXPECT_EQ(attributes(fc, 1).state, QOR_IOC_DISABLING);
}

TEST_F(SimTest, SettingsShowInLaterReads)
{
	Node fc(QOR_DEV_FC), eth(QOR_DEV_ETH);
	qor_ioctl_iocfc_intr_t ic{};
	ic.qord_num = 2;
	ic.attr = {0, {}, 77, 88};
	ASSERT_EQ(fc.req(QOR_IOCTL_IOCFC_SET_INTR, &ic), 0);
	qor_ioctl_iocfc_attr_t fa{};
	fa.qord_num = 2;
	ASSERT_EQ(fc.req(QOR_IOCTL_IOCFC_GET_ATTR, &fa), 0);
	EXPECT_EQ(fa.iocfc_attr.intr_attr.coalesce, 0);
	EXPECT_EQ(fa.iocfc_attr.intr_attr.latency, 77);
	EXPECT_EQ(fa.iocfc_attr.intr_attr.delay, 88);

	// An adapter name belongs to one driver of the card.
	qor_ioctl_ioc_set_adapter_name_t an{};
	an.qord_num = 2;
	strcpy(an.name, "cna-one");
	ASSERT_EQ(fc.req(QOR_IOCTL_ADAPTER_SET_NAME, &an), 0);
	EXPECT_EQ(an.status, QOR_STATUS_OK);
	EXPECT_EQ(text(identity(fc, 3).name), "cna-one");
	EXPECT_EQ(text(identity(fc, 0).name), "");
	EXPECT_EQ(text(identity(eth, 0).name), "");
	memset(an.name, 'x', sizeof an.name);
	ASSERT_EQ(fc.req(QOR_IOCTL_ADAPTER_SET_NAME, &an), 0);
	EXPECT_EQ(an.status, QOR_STATUS_EINVAL) << "an unterminated name";
}

TEST_F(SimTest, FirmwareStatisticsWriteCallerMemory)
{
	Node fc(QOR_DEV_FC);
	qor_fw_stats_t fw;
	memset(&fw, 0xee, sizeof fw);
	qor_ioctl_ioc_fwstats_t r{};
	r.buf_size = sizeof fw;
	r.buf_ptr = reinterpret_cast<uintptr_t>(&fw);
	ASSERT_EQ(fc.req(QOR_IOCTL_IOC_GET_FWSTATS, &r), 0);
	EXPECT_EQ(r.status, QOR_STATUS_OK);
	EXPECT_NE(fw.ioc_stats.enable_reqs, 0xeeeeeeeeu);
	r.buf_size = 643;
	ASSERT_EQ(fc.req(QOR_IOCTL_IOC_GET_FWSTATS, &r), 0);
	EXPECT_EQ(r.status, QOR_STATUS_EINVAL);
	r.buf_size = sizeof fw;
	r.buf_ptr = 8;
	EXPECT_EQ(fc.req(QOR_IOCTL_IOC_GET_FWSTATS, &r), EFAULT);
}

// ---- events ------------------------------------------------------------------------------

TEST_F(SimTest, EventQueueDrivesReadinessAndFetch)
{
	Node fc(QOR_DEV_FC), other(QOR_DEV_FC), eth(QOR_DEV_ETH);
	fc.announce(qor_aen_app_test);
	other.announce(qor_aen_app_dxm);
	eth.announce(qor_aen_app_test);
	EXPECT_FALSE(fc.readable());
	qor_aen_entry_t e[3] = {};
	for (auto &x : e) {
		x.aen_category = QOR_AEN_CAT_PORT;
		x.aen_type = QOR_PORT_AEN_ONLINE;
	}
	ASSERT_EQ(qorsim_inject_events(FC, 1, e, 3), 0);
	EXPECT_TRUE(fc.readable());
	EXPECT_TRUE(other.readable());
	EXPECT_FALSE(eth.readable());

	alignas(8) uint8_t buf[24 + 64 * 4] = {};
	auto *a = reinterpret_cast<qor_ioctl_aen_t *>(buf);
	auto fetch = [&](int room) {
		memset(buf, 0, sizeof buf);
		a->qord_num = 1;
		a->aen_count = room;
		a->app_id = qor_aen_app_test;
		EXPECT_EQ(fc.req(QOR_IOCTL_AEN_GET, a), 0);
		EXPECT_EQ(a->status, QOR_STATUS_OK);
		return a->aen_count;
	};
	EXPECT_EQ(fetch(2), 2);
	EXPECT_EQ(a->aen_list[0].qord_num, 1);
	EXPECT_EQ(a->aen_list[1].seq_num, a->aen_list[0].seq_num + 1);
	EXPECT_EQ(a->aen_list[0].aen_tv.tv_sec, 1700000000u);
	EXPECT_TRUE(fc.readable());
	EXPECT_EQ(fetch(4), 1);
	EXPECT_EQ(reinterpret_cast<qor_aen_entry_t *>(buf + 24)[0].aen_type, QOR_PORT_AEN_ONLINE);
	EXPECT_FALSE(fc.readable());
	EXPECT_TRUE(other.readable()) << "every application has its own queue";
	EXPECT_EQ(qorsim_event_count(FC, 1, qor_aen_app_dxm), 3);
	EXPECT_EQ(qorsim_inject_event(FC, 9, e), -1);
}

TEST_F(SimTest, WaitJumpsToScheduledChange)
{
	Node fc(QOR_DEV_FC);
	fc.announce(qor_aen_app_test);
	ASSERT_EQ(gen_req(fc, QOR_IOCTL_IOC_DISABLE, 0), QOR_STATUS_OK);
	fd_set rd;
	FD_ZERO(&rd);
	FD_SET(fc.fd, &rd);
	timeval tv{5, 0};
	EXPECT_EQ(select(fc.fd + 1, &rd, nullptr, nullptr, &tv), 1);
	EXPECT_EQ(qorsim_now_ns(), 2500000000ull);
	alignas(8) uint8_t buf[24 + 64 * 2] = {};
	auto *a = reinterpret_cast<qor_ioctl_aen_t *>(buf);
	a->aen_count = 2;
	a->app_id = qor_aen_app_test;
	ASSERT_EQ(fc.req(QOR_IOCTL_AEN_GET, a), 0);
	ASSERT_EQ(a->aen_count, 1);
	EXPECT_EQ(a->aen_list[0].aen_category, QOR_AEN_CAT_IOC);
	EXPECT_EQ(a->aen_list[0].aen_type, QOR_IOC_AEN_DISABLE);
	EXPECT_EQ(a->aen_list[0].aen_data.ioc.pwwn, qt::wwn("20:00:02:5a:31:0a:f0:00"));
	pollfd p{fc.fd, POLLIN, 0};
	EXPECT_EQ(poll(&p, 1, 0), 0);
}

TEST_F(SimTest, EventFromAnotherThreadWakesAWait)
{
	Node fc(QOR_DEV_FC);
	fc.announce(qor_aen_app_cim);
	std::thread t([] {
		qor_aen_entry_t e{};
		e.aen_category = QOR_AEN_CAT_ADAPTER;
		e.aen_type = QOR_ADAPTER_AEN_ADD;
		qorsim_inject_event(FC, 3, &e);
	});
	pollfd p{fc.fd, POLLIN, 0};
	EXPECT_EQ(poll(&p, 1, 60000), 1) << "nothing is scheduled, so this is a real wait";
	t.join();
	EXPECT_EQ(qorsim_now_ns(), 0u);
}

// ---- configuration paths -------------------------------------------------------------------

TEST_F(SimTest, ConfigurationPathsResolveUnderRoot)
{
	ASSERT_EQ(mkdir("/etc", 0755), 0) << strerror(errno);
	FILE *f = fopen("/etc/qor.conf.tmp.42", "w");
	ASSERT_NE(f, nullptr);
	fputs("qor.version=1\n", f);
	fclose(f);
	ASSERT_EQ(rename("/etc/qor.conf.tmp.42", "/etc/qor.conf"), 0);
	EXPECT_EQ(qt::read_file(root_path("/etc/qor.conf")), "qor.version=1\n");
	int dfd = open("/etc", O_RDONLY | O_DIRECTORY);
	ASSERT_GE(dfd, 0);
	EXPECT_EQ(fsync(dfd), 0);
	close(dfd);
	struct stat st;
	EXPECT_EQ(stat("/etc/qor.conf", &st), 0);
	EXPECT_EQ(access("/etc/hba.conf", F_OK), -1);
	EXPECT_EQ(remove("/etc/qor.conf"), 0);
	EXPECT_NE(access(root_path("/etc/qor.conf").c_str(), F_OK), 0);
	// The SCSI device tree is the root's: the emulated units' and what else lies there.
	qt::write_file(root_path("/sys/class/scsi_device/9:0:0:0/device/block:sdz"), "");
	DIR *d = opendir("/sys/class/scsi_device");
	ASSERT_NE(d, nullptr);
	std::set<std::string> names;
	while (const dirent *e = readdir(d))
		names.insert(e->d_name);
	closedir(d);
	EXPECT_TRUE(names.count("9:0:0:0"));
	EXPECT_TRUE(names.count("1:0:0:0")) << "the first unit of the default topology";
}

// ---- topology validation ------------------------------------------------------------------------

TEST(SimTopology, BadFilesGetClearErrors)
{
	struct Row {
		const char *json;
		const char *says;
	} rows[] = {
		{"{", "not valid JSON"},
		{R"({"adapterz": []})", "unknown key 'adapterz'"},
		{R"({"adapters": [{"functions": [{"type": "scsi"}]}]})", "adapters[0].functions[0].type"},
		{R"({"adapters": [{"serial": "ABCDEFGHIJKL", "functions": []}]})", "at most 11 characters"},
		{R"({"adapters": [{"functions": [{"type": "eth", "mac": "zz:00:00:00:00:00"}]}]})", "MAC address"},
		{R"({"adapters": [{"functions": [{"type": "fc", "instance": 1}, {"type": "fc", "instance": 1}]}]})",
		 "given twice"},
		{R"({"drivers": {"fc": {"count": 1}}, "adapters": [{"functions": [{"type": "fc", "instance": 1}]}]})",
		 "drivers.fc.count"},
		{R"({"adapters": [{"functions": [{"type": "fc", "state": "sleepy"}]}]})", "unknown state"},
		{R"({"faults": [{"code": "0xC0084303", "errno": "EWHAT"}]})", "unknown errno name"},
		{R"({"faults": [{"code": "0xC0084303"}]})", "needs \"errno\" or \"status\""},
		{R"({"adapters": [{"functions": [{"type": "fc", "pcifn": 1}, {"type": "fc", "pcifn": 1}]}]})",
		 "appears twice"},
		{R"({"adapters": [{"functions": [{"type": 5}]}]})", "functions[0].type"},
		{R"({"adapters": [7]})", "adapters[0]: must be an object"},
	};
	for (const auto &row : rows) {
		EXPECT_EQ(qorsim_load_topology(row.json), -1) << row.json;
		EXPECT_NE(std::string(qorsim_error()).find(row.says), std::string::npos)
			<< row.json << " -> " << qorsim_error();
	}
	EXPECT_EQ(qorsim_load_topology(qorsim_default_topology()), 0) << qorsim_error();
}

// A topology file is a regular file of JSON text: a device or a pipe is
// refused before it is read (/dev/zero would never end, a pipe without a
// writer would wait), and what the JSON parser says comes without its ids.
TEST(SimTopology, FilesThatCannotBeTopologies)
{
	const std::string dir = qt::make_temp_dir();
	ASSERT_EQ(mkfifo((dir + "/fifo").c_str(), 0600), 0);
	std::string nul = R"({"adapters": []})";
	nul += '\0';
	nul += "{{{";
	qt::write_file(dir + "/nul.json", nul);
	qt::write_file(dir + "/big.json", R"({"transition_ms": 1e400})");
	qt::write_file(dir + "/cut.json", R"({"adapters": [)");
	// Counts that each fit their key but together would take more memory than a host has.
	std::string many = R"({"adapters": [{"functions": [)";
	for (int k = 0; k < 65; k++)
		many += std::string(k ? "," : "") + R"({"type": "fc", "fcport": {"rport_count": 4096}})";
	qt::write_file(dir + "/rports.json", many + "]}]}");
	std::string luns = R"({"adapters": [{"functions": [{"type": "fc", "fcport": {"rports": [)";
	for (int k = 0; k < 65; k++)
		luns += std::string(k ? "," : "") + R"({"pwwn": "21:00:00:00:00:00:00:)" + "0123456789"[k / 10] +
			"0123456789"[k % 10] + R"(", "lun_count": 16384})";
	qt::write_file(dir + "/luns.json", luns + "]}}]}]}");
	std::string vports = R"({"adapters": [{"functions": [{"type": "fc", "fcport": {"vports": [{})";
	for (int k = 0; k < 65536; k++)
		vports += ", {}";
	qt::write_file(dir + "/vports.json", vports + "]}}]}]}");
	qt::write_file(dir + "/large.json", std::string(16 << 20, ' ') + "{}");
	const struct {
		std::string path, says;
	} rows[] = {
		{"/dev/zero", "topology file /dev/zero is not a regular file"},
		{dir + "/fifo", "topology file " + dir + "/fifo is not a regular file"},
		{dir, "topology file " + dir + " is not a regular file"},
		{dir + "/nul.json", dir + "/nul.json: not valid JSON: a NUL byte at offset 16"},
		{dir + "/big.json", dir + "/big.json: not valid JSON: number overflow parsing '1e400'"},
		{dir + "/cut.json", dir + "/cut.json: not valid JSON: parse error at line 1, column 15"},
		{dir + "/rports.json", "adapters[0].functions[64].fcport.rport_count: a topology has at most 262144 remote ports"},
		{dir + "/luns.json", "adapters[0].functions[0].fcport.rports[64]: a topology has at most 1048576 logical units"},
		{dir + "/vports.json", "adapters[0].functions[0].fcport.vports[65536]: a topology has at most 65536 virtual ports"},
		{dir + "/large.json", "topology file " + dir + "/large.json is larger than 16 MiB"},
	};
	for (const auto &row : rows) {
		EXPECT_EQ(qorsim_load_topology_file(row.path.c_str()), -1) << row.path;
		EXPECT_NE(std::string(qorsim_error()).find(row.says), std::string::npos) << qorsim_error();
	}
	qt::remove_tree(dir);
	EXPECT_EQ(qorsim_load_topology(qorsim_default_topology()), 0) << qorsim_error();
}

// Every reader of topology input names the place of a bad value and the rule
// it breaks, whichever part of the emulator reads it.
TEST(SimTopology, ErrorsNameThePlace)
{
	const std::string fc = R"({"type": "fc"})";
	auto one = [&](const std::string &fcport) {
		return R"({"adapters": [{"functions": [{"type": "fc", "fcport": )" + fcport + "}]}]}";
	};
	struct Row {
		std::string json;
		const char *place_and_rule;
	} rows[] = {
		{"[]", "topology: must be an object"},
		{R"({"adapters": [{"functions": [)" + fc + R"(]}, {"functions": [{"type": "fc", "pwwn": "20:00:00"}]}]})",
		 "adapters[1].functions[0].pwwn: must be a WWN like \"20:00:00:11:22:33:44:55\""},
		{R"({"adapters": [{"functions": [)" + fc + R"(, {"type": "eth", "mac": "02:00"}]}]})",
		 "adapters[0].functions[1].mac: must be a MAC address like"},
		{R"({"adapters": [{"functions": [)" + fc + R"(, {"type": "fc", "fcport": {"rports": [{"lesb": [1, 2, -3, 4, 5, 6]}]}}]}]})",
		 "adapters[0].functions[1].fcport.rports[0].lesb[2]: must be an integer from 0 to 4294967295"},
		{R"({"adapters": [{"functions": [)" + fc + R"(, {"type": "eth", "ethport": {"mtu": 20}}]}]})",
		 "adapters[0].functions[1].ethport.mtu: must be an integer from 68 to 9216"},
		{one(R"({"rports": [{"wwpn": "21:00:02:5a:30:00:00:01"}]})"),
		 "adapters[0].functions[0].fcport.rports[0]: unknown key 'wwpn'"},
		{one(R"({"rports": [{"role": "target"}, {"role": "both"}]})"),
		 "adapters[0].functions[0].fcport.rports[1].role: must be \"target\" or \"initiator\""},
		{one(R"({"rports": [{"role": "initiator", "ioprofile": {}}]})"),
		 "adapters[0].functions[0].fcport.rports[0].ioprofile: only a target has an I/O profile"},
		{one(R"({"rports": [{"ioprofile": {"buckets": [{}, {"count": -1}]}}]})"),
		 "adapters[0].functions[0].fcport.rports[0].ioprofile.buckets[1].count: must be an integer from 0 to"},
		{one(R"({"vports": [{"symname": ")" + std::string(128, 'v') + R"("}]})"),
		 "adapters[0].functions[0].fcport.vports[0].symname: must be text of at most 127 characters"},
		{one(R"({"enabled": "yes"})"), "adapters[0].functions[0].fcport.enabled: must be true or false"},
		{one(R"({"link": "ring"})"),
		 "adapters[0].functions[0].fcport.link: must be \"fabric\", \"p2p\", \"loop\" or \"down\""},
		{one(R"({"pid": "0xZZ"})"), "adapters[0].functions[0].fcport.pid: '0xZZ' is not an integer"},
		{R"({"adapters": [{"functions": [{"type": "fc", "intr": {"delay": 70000}}]}]})",
		 "adapters[0].functions[0].intr.delay: must be an integer from 0 to 65535"},
		{R"({"adapters": [{"pci": {"vendor": 1}, "functions": []}]})", "adapters[0].pci: unknown key 'vendor'"},
		{R"({"faults": [{"code": 1, "errno": "EIO", "count": "twice"}]})", "faults[0].count: unknown count 'twice'"},
		{R"({"drivers": {"fc": {"version": "abc"}}})", "drivers.fc.version: 'abc' is not an integer"},
		{R"({"clock": {"epoch": -1}})", "clock.epoch: must be an integer from 0 to 4294967295"},
		{R"({"adapters": [{"functions": [)" + fc + R"(]}], "schedule": [{"at_ms": 1, "action": "event",
		   "event": {"category": "rport", "data": {"qos_priority": 300}}}]})",
		 "schedule[0].event.data.qos_priority: must be an integer from 0 to 255"},
		{R"({"adapters": [{"functions": [)" + fc + R"(]}], "schedule": [{"at_ms": 1, "action": "event",
		   "event": {"category": "port", "kind": 1}}]})",
		 "schedule[0].event: unknown key 'kind'"},
		{R"({"adapters": [{"flash": {"part_size": {"firmware": 1024}}, "functions": []}]})",
		 "adapters[0].flash.part_size.firmware: unknown partition 'firmware'"},
		{R"({"adapters": [{"flash": {"part_size": {"fw": -1}}, "functions": []}]})",
		 "adapters[0].flash.part_size.fw: must be an integer from 0 to 67108864"},
		{R"({"adapters": [{"flash": {"optrom": true}, "functions": []}]})", "adapters[0].flash: unknown key 'optrom'"},
		{R"({"adapters": [{"functions": []}], "faults": [{"flash": "write_fail"}]})",
		 "faults[0]: a \"flash\" fault needs \"adapter\""},
		{R"({"adapters": [{"functions": []}], "faults": [{"flash": "write_fail", "adapter": 1}]})",
		 "faults[0].adapter: must be an integer from 0 to 0"},
		{R"({"adapters": [{"functions": []}], "faults": [{"flash": "burn", "adapter": 0}]})",
		 "faults[0].flash: unknown flash fault"},
		{R"({"adapters": [{"functions": []}], "faults": [{"flash": "erase_timeout", "adapter": 0, "part": "xx"}]})",
		 "faults[0].part: unknown partition 'xx'"},
		{R"({"flash_latency": {"write_ms": 1, "wall": 1}})", "flash_latency.wall: must be true or false"},
		// errno 0 is no failure: a fault with it would silently do nothing.
		{R"({"faults": [{"code": "0xC0084303", "errno": 0}]})", "faults[0].errno: must be an integer from 1 to 4095"},
		{R"({"faults": [{"open": "/dev/qor", "errno": "0"}]})", "faults[0].errno: must be an integer from 1 to 4095"},
		// A key given twice in one object: one of the two would be lost.
		{R"({"adapters": [], "adapters": []})", "topology: key 'adapters' appears twice"},
		{R"({"adapters": [{"functions": [)" + fc + R"(, {"type": "fc", "pwwn": "20:00:00:00:00:00:00:01",
		   "fcport": {"rports": [{}, {"role": "target", "luns": [{"lun": 1, "lun": 2}]}]}}]}]})",
		 "adapters[0].functions[1].fcport.rports[1].luns[0]: key 'lun' appears twice"},
		// A device name names one unit, over the whole topology.
		{R"({"adapters": [{"functions": [{"type": "fc", "fcport": {"rports": [{"luns": [{"device": "sdb"}]}]}},
		   {"type": "fc", "fcport": {"rports": [{"luns": [{"device": "sdc"}, {"device": "sdb"}]}]}}]}]})",
		 "adapters[0].functions[1].fcport.rports[0]: device sdb appears twice"},
		// A WWN names one port: on the FC side over the whole topology, behind a port among its remote ports.
		{R"({"adapters": [{"functions": [{"type": "fc", "pwwn": "20:00:00:00:00:00:00:01"}]},
		   {"functions": [{"type": "fcoe", "pwwn": "0x2000000000000001"}]}]})",
		 "adapters[1].functions[0].pwwn: port WWN 20:00:00:00:00:00:00:01 appears twice"},
		{one(R"({"vports": [{"pwwn": "2a:00:00:00:00:00:00:01"}, {"pwwn": "2a:00:00:00:00:00:00:01"}]})"),
		 "adapters[0].functions[0].fcport.vports[1].pwwn: port WWN 2a:00:00:00:00:00:00:01 appears twice"},
		{one(R"({"rports": [{"pwwn": "21:00:00:00:00:00:00:01"}, {"pwwn": "21:00:00:00:00:00:00:01", "role": "initiator"}]})"),
		 "adapters[0].functions[0].fcport.rports[1].pwwn: remote port WWN 21:00:00:00:00:00:00:01 appears twice"},
		// Names that become interface or file names hold no control characters.
		{R"({"adapters": [{"functions": [{"type": "eth", "eth_name": "e\nth"}]}]})",
		 "adapters[0].functions[0].eth_name: must be text without control characters"},
		{R"({"adapters": [{"hwpath": "0000:\u009b2J", "functions": []}]})",
		 "adapters[0].hwpath: must be text without control characters"},
	};
	for (const auto &row : rows) {
		EXPECT_EQ(qorsim_load_topology(row.json.c_str()), -1) << row.json;
		EXPECT_EQ(std::string(qorsim_error()).rfind(row.place_and_rule, 0), 0u)
			<< row.json << "\n -> " << qorsim_error();
	}
	// What the card or a remote device reports may be anything: the emulator
	// serves it as given, so that programs can be tried against it.
	for (const std::string &json : {
		     std::string(R"({"adapters": [{"model": "\u001b[2J", "serial": "A\u0007B", "functions": []}]})"),
		     one(R"({"rports": [{"symname": "\u001b[2J\u00e9", "luns": [{"product": "a\u007fb"}]}]})"),
		     one(R"({"vports": [{"symname": "\u009b2J"}]})"),
		     R"({"adapters": [{"functions": [)" + fc + R"(]}], "schedule": [{"at_ms": 1, "action": "event",
		       "event": {"category": "adapter", "data": {"serial_num": "\u0007"}}}]})"})
		EXPECT_EQ(qorsim_load_topology(json.c_str()), 0) << json << "\n -> " << qorsim_error();
	EXPECT_EQ(qorsim_load_topology(qorsim_default_topology()), 0) << qorsim_error();
}

// ---- event queue overflow ------------------------------------------------------------------------

TEST_F(SimTest, QueueOverflowWarnsOnceAndCounts)
{
	Node fc(QOR_DEV_FC), eth(QOR_DEV_ETH);
	auto inject = [](int drv, int inst, size_t n) {
		std::vector<qor_aen_entry_t> e(n);
		for (size_t i = 0; i < n; i++) {
			e[i].aen_category = QOR_AEN_CAT_PORT;
			e[i].aen_type = QOR_PORT_AEN_ONLINE;
			e[i].aen_tv.tv_usec = static_cast<uint32_t>(i + 1);
		}
		ASSERT_EQ(qorsim_inject_events(drv, inst, e.data(), n), 0);
	};
	// One fetch of one event; what the emulator said on stderr meanwhile.
	uint32_t id = 0; // the fetched event's
	auto fetch = [&id](const Node &n, int inst, uint32_t app) {
		qor_ioctl_aen_t a{};
		a.qord_num = inst;
		a.aen_count = 1;
		a.app_id = app;
		testing::internal::CaptureStderr();
		EXPECT_EQ(n.req(QOR_IOCTL_AEN_GET, &a), 0);
		id = a.aen_list[0].aen_tv.tv_usec;
		return testing::internal::GetCapturedStderr();
	};
	inject(FC, 1, kQueue + 6);
	EXPECT_EQ(qorsim_event_dropped(FC, 1, qor_aen_app_test), 6);
	EXPECT_EQ(qorsim_event_count(FC, 1, qor_aen_app_test), (int)kQueue);
	EXPECT_EQ(fetch(fc, 1, qor_aen_app_test),
		  "qorsim: warning: fc driver instance 1: the event queue of application 4 (test) was full; "
		  "6 events lost, the oldest first\n");
	EXPECT_EQ(id, 7u) << "the oldest are dropped";
	EXPECT_EQ(fetch(fc, 1, qor_aen_app_test), "") << "one warning for one overflow";
	inject(FC, 1, 5); // 1022 queued: three more are lost
	EXPECT_EQ(qorsim_event_dropped(FC, 1, qor_aen_app_test), 9);
	EXPECT_NE(fetch(fc, 1, qor_aen_app_test).find("; 3 events lost"), std::string::npos) << "a new overflow";
	// Every application's queue overflows on its own, and is reported when it fetches.
	EXPECT_NE(fetch(fc, 1, qor_aen_app_dxm).find("application 1 (dxm) was full; 11 events lost"), std::string::npos);
	EXPECT_EQ(fetch(fc, 0, qor_aen_app_test), "") << "other controllers lost nothing";
	inject(ETH, 1, kQueue + 1);
	EXPECT_NE(fetch(eth, 1, qor_aen_app_test).find("eth driver instance 1: the event queue of application 4 (test) "
							 "was full; 1 event lost"),
		  std::string::npos);
	EXPECT_EQ(qorsim_event_dropped(ETH, 1, qor_aen_app_cim), 1);
	EXPECT_EQ(qorsim_event_dropped(ETH, 7, qor_aen_app_cim), -1);
}

} // namespace
