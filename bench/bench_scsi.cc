// SCSI commands: INQUIRY through the library against the bare emulated
// request of the same record (the library's own cost is the difference),
// and 'mxt lun list' over a target with 4,096 LUNs as a whole process.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorl_scsi.h"
#include "qorsim.h"
#include "qorsim_scsi.h"

namespace {

constexpr wwn_t kTarget = 0x007c3a10800e0650ull; // 50:25:a3:40:10:3a:7c:00 in wire order

qorl_t *setup()
{
	static qorl_t *q = [] {
		qorsim_reset();
		qorsim_log_enable(0); // the log would dominate both sides
		qorl_adapter_scan();
		qorl_t *c = qorl_ioc_open_idx(0);
		const qorsim_lun_t lun{0, QORSIM_LUN_DISK, 512, 1 << 21, nullptr, nullptr, nullptr, nullptr};
		if (!c || qorsim_scsi_set_luns(QORSIM_DRV_FC, c->instance, kTarget, &lun, 1) != 0)
			return (qorl_t *)nullptr;
		return c;
	}();
	return q;
}

void BM_scsi_inquiry_library(benchmark::State &st)
{
	qorl_t *q = setup();
	uint8_t data[96], sense[96], status;
	for (auto _ : st) {
		scsi_cdb_t cdb{};
		uint32_t sns = sizeof sense;
		qor_status_t s = qorl_scsi_inquiry(q, 0, q->pwwn, kTarget, 0, &cdb, 0, data, sizeof data, &status, sense,
						   &sns);
		benchmark::DoNotOptimize(s);
	}
}

void BM_scsi_inquiry_bare(benchmark::State &st)
{
	qorl_t *q = setup();
	uint8_t data[96], sense[96];
	qor_ioctl_scsi_t rec{};
	rec.qord_num = (uint16_t)q->instance;
	rec.lpwwn = q->pwwn;
	rec.rpwwn = kTarget;
	rec.cdb.scsi_cdb[0] = SCSI_OP_INQUIRY;
	rec.cdb.scsi_cdb[4] = sizeof data;
	rec.iosz = sizeof data;
	rec.iobuf_ptr = (uint64_t)(uintptr_t)data;
	rec.snsbuf_pt = (uint64_t)(uintptr_t)sense;
	for (auto _ : st) {
		rec.snssz = sizeof sense;
		int r = ioctl(q->fd, QOR_IOCTL_SCSI, &rec);
		benchmark::DoNotOptimize(r);
	}
}

// The emulator under its launcher, mxt and the library together: start-up,
// discovery, REPORT LUNS, INQUIRY and READ CAPACITY of every unit and its
// device node, the table printed. The root is kept between runs, as the
// sysfs tree of a real host stays; the first run writes it.
struct lun_list_run {
	std::string dir, topo, root;
	lun_list_run()
	{
		char tmpl[] = "/tmp/qorl-bench-XXXXXX";
		dir = mkdtemp(tmpl) ? tmpl : "/tmp";
		topo = dir + "/topology.json";
		root = dir + "/root";
		if (FILE *f = fopen(topo.c_str(), "w")) {
			fputs(R"({"adapters":[{"functions":[{"type":"fc","fcport":{"rports":[)"
			      R"({"pwwn":"50:00:00:00:00:00:10:00","lun_count":4096}]}}]}]})",
			      f);
			fclose(f);
		}
	}
	~lun_list_run() { (void)std::system(("rm -rf '" + dir + "'").c_str()); }
	int operator()() const
	{
		const char *argv[] = {QORL_QORSIM, "--root", root.c_str(), "--topology", topo.c_str(), "--", QORL_MXT,
				      "lun",       "list",   "1/0",        nullptr};
		posix_spawn_file_actions_t fa;
		posix_spawn_file_actions_init(&fa);
		posix_spawn_file_actions_addopen(&fa, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
		pid_t pid;
		int rc = posix_spawn(&pid, argv[0], &fa, nullptr, const_cast<char **>(argv), environ);
		posix_spawn_file_actions_destroy(&fa);
		int st = 0;
		if (rc != 0 || waitpid(pid, &st, 0) != pid)
			return -1;
		return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
	}
};

void BM_mxt_lun_list_4096(benchmark::State &st)
{
	lun_list_run run;
	if (run() != 0) {
		st.SkipWithError("mxt lun list failed");
		return;
	}
	for (auto _ : st)
		if (run() != 0) {
			st.SkipWithError("mxt lun list failed");
			break;
		}
}

BENCHMARK(BM_scsi_inquiry_library);
BENCHMARK(BM_scsi_inquiry_bare);
BENCHMARK(BM_mxt_lun_list_4096)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(20);

} // namespace

BENCHMARK_MAIN();
