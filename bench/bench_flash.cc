// Flash: the all-adapters boot update against one adapter with a real 20 ms
// per emulated partition write (the workers must overlap), and the
// library's cost of moving a partition to and from a file over the bare
// emulated requests plus the same file work.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "pkg_util.h"
#include "qorl.h"
#include "qorl_adapter.h"
#include "qorl_boot.h"
#include "qorl_flash.h"
#include "qorl_ioc.h"
#include "qorsim.h"

namespace {

std::string temp_dir()
{
	char tmpl[] = "/tmp/qorl-bench-XXXXXX";
	const char *d = mkdtemp(tmpl);
	return d ? d : "/tmp";
}

void write_bytes(const std::string &path, const std::string &data)
{
	FILE *f = fopen(path.c_str(), "wb");
	if (f) {
		fwrite(data.data(), 1, data.size(), f);
		fclose(f);
	}
}

// Six partition writes per card: firmware, two option ROMs, boot overlay,
// configuration of both ports.
std::string package()
{
	std::string txt = "Version=2.3.0.0\nCARDTYPE=612\nFIRMWARE=fw.bin\nOPTROM=rom.bin\nOPTROM2=rom2.bin\n"
			  "BOOTOVL=bovl.bin\nFWCFG=cfg.bin\nPORT=0,1\n";
	return qt::make_tar({{"boot.txt", txt},
			     {"fw.bin", qt::make_firmware("3.3.0.0", 200000)},
			     {"rom.bin", qt::make_optrom({{.codetype = 0, .version = "3.3.0.0", .units = 64, .last = false},
						      {.codetype = 3, .units = 64, .last = true}})},
			     {"rom2.bin", qt::make_optrom({{.codetype = 3, .units = 32}})},
			     {"bovl.bin", std::string(40000, 'b')},
			     {"cfg.bin", std::string(4000, 'c')}});
}

void BM_BootUpdateAllAdapters(benchmark::State &state)
{
	const int n = static_cast<int>(state.range(0));
	qorsim_reset();
	if (qorsim_load_topology(qt::card_topology(n, "QXB").c_str()) != 0) {
		state.SkipWithError(qorsim_error());
		return;
	}
	qorsim_log_enable(0);
	qorsim_set_flash_latency(20000000, 0, 1);
	if (qorl_adapter_scan() != n) {
		state.SkipWithError("discovery");
		return;
	}
	const std::string dir = temp_dir(), pkg = dir + "/pkg.tar";
	write_bytes(pkg, package());
	uint16_t mask = 0;
	qor_status_t err[16];
	for (auto _ : state) {
		qor_status_t st = qorl_boot_fwupdate(nullptr, pkg.c_str(), 0, &mask, err);
		if (st != QOR_STATUS_OK || mask != (1u << n) - 1) {
			state.SkipWithError("update failed");
			break;
		}
	}
	state.counters["adapters"] = n;
	state.counters["writes"] = 6.0 * n;
	qorl_libexit();
	unlink(pkg.c_str());
	rmdir(dir.c_str());
}
BENCHMARK(BM_BootUpdateAllAdapters)->Arg(1)->Arg(16)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

struct partition_fixture {
	std::string dir, file;
	qorl_t *q = nullptr;
	static constexpr size_t size = 120000;

	bool open(benchmark::State &state)
	{
		qorsim_reset();
		qorsim_log_enable(0);
		qorl_ioc_scan();
		q = qorl_ioc_open_idx(0);
		dir = temp_dir();
		file = dir + "/part.bin";
		write_bytes(file, std::string(size, 'p'));
		if (!q || qorsim_flash_put(0, QOR_FLASH_PART_PXEOVL, 0, std::string(size, 'p').data(), size) != 0) {
			state.SkipWithError("no flash");
			return false;
		}
		return true;
	}
	~partition_fixture()
	{
		unlink(file.c_str());
		rmdir(dir.c_str());
		qorl_libexit();
	}
};

qor_ioctl_flash_t part_rec(qorl_t *q, void *buf, size_t n)
{
	qor_ioctl_flash_t rec{};
	rec.qord_num = static_cast<uint16_t>(q->instance);
	rec.type = QOR_FLASH_PART_PXEOVL;
	rec.bufsz = static_cast<int32_t>(n);
	rec.buf_ptr = reinterpret_cast<uintptr_t>(buf);
	return rec;
}

// The same file work the library does: a temporary file beside the target,
// written, synced and renamed over it, and the directory synced.
void replace_file(const std::string &dir, const std::string &path, const void *buf, size_t n)
{
	const std::string tmp = path + ".tmp";
	int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
	if (fd < 0)
		return;
	benchmark::DoNotOptimize(write(fd, buf, n));
	fsync(fd);
	close(fd);
	rename(tmp.c_str(), path.c_str());
	int dfd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
	fsync(dfd);
	close(dfd);
}

void BM_PartitionReadToFileLibrary(benchmark::State &state)
{
	partition_fixture f;
	if (!f.open(state))
		return;
	for (auto _ : state)
		benchmark::DoNotOptimize(
			qorl_flash_read_part(f.q, QOR_FLASH_PART_PXEOVL, 0, f.file.data(), 128 << 10, QOR_TRUE));
}
BENCHMARK(BM_PartitionReadToFileLibrary)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_PartitionReadToFileBare(benchmark::State &state)
{
	partition_fixture f;
	if (!f.open(state))
		return;
	std::vector<uint8_t> buf(128 << 10);
	for (auto _ : state) {
		qor_ioctl_flash_t rec = part_rec(f.q, buf.data(), buf.size());
		benchmark::DoNotOptimize(ioctl(f.q->fd, QOR_IOCTL_FLASH_READ_PART, &rec));
		replace_file(f.dir, f.file, buf.data(), static_cast<size_t>(rec.bufsz));
	}
}
BENCHMARK(BM_PartitionReadToFileBare)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_PartitionWriteFromFileLibrary(benchmark::State &state)
{
	partition_fixture f;
	if (!f.open(state))
		return;
	for (auto _ : state)
		benchmark::DoNotOptimize(qorl_flash_update_part(f.q, QOR_FLASH_PART_PXEOVL, 0,
								reinterpret_cast<const unsigned char *>(f.file.c_str()),
								QOR_TRUE, 0));
}
BENCHMARK(BM_PartitionWriteFromFileLibrary)->Unit(benchmark::kMicrosecond)->UseRealTime();

// Reading the file, the write, the read-back and the compare.
void BM_PartitionWriteFromFileBare(benchmark::State &state)
{
	partition_fixture f;
	if (!f.open(state))
		return;
	std::vector<uint8_t> data(f.size), back(f.size);
	for (auto _ : state) {
		int fd = ::open(f.file.c_str(), O_RDONLY | O_CLOEXEC);
		benchmark::DoNotOptimize(read(fd, data.data(), data.size()));
		close(fd);
		qor_ioctl_flash_t w = part_rec(f.q, data.data(), data.size());
		benchmark::DoNotOptimize(ioctl(f.q->fd, QOR_IOCTL_FLASH_UPDATE_PART, &w));
		qor_ioctl_flash_t r = part_rec(f.q, back.data(), back.size());
		benchmark::DoNotOptimize(ioctl(f.q->fd, QOR_IOCTL_FLASH_READ_PART, &r));
		benchmark::DoNotOptimize(memcmp(data.data(), back.data(), data.size()));
	}
}
BENCHMARK(BM_PartitionWriteFromFileBare)->Unit(benchmark::kMicrosecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
