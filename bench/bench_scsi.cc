// SCSI commands: INQUIRY through the library against the bare emulated
// request of the same record (the library's own cost is the difference).
#include <benchmark/benchmark.h>

#include <sys/ioctl.h>

#include <cstring>

#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "qorl_scsi.h"
#include "qorsim.h"
#include "qorsim_scsi.h"

namespace {

constexpr wwn_t kTarget = 0x007c3a10800e0650ull; // 50:06:0e:80:10:3a:7c:00 in wire order

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

BENCHMARK(BM_scsi_inquiry_library);
BENCHMARK(BM_scsi_inquiry_bare);

} // namespace

BENCHMARK_MAIN();
