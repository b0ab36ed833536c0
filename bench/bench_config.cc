// Loading and writing back a configuration that fills every adapter and
// port slot.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "qorl_config.h"

namespace {

std::string full_file()
{
	std::string t;
	char b[2048];
	for (int i = 0; i < 128; i++) {
		std::snprintf(b, sizeof b, "adapter-SN%05d-name = \"adapter name %d\";\n", i, i);
		t += b;
	}
	for (int i = 0; i < 128; i++) {
		std::snprintf(b, sizeof b,
			      "qor%d-port-wwn = \"20:00:00:11:22:33:%02x:%02x\";\nqor%d-port-name = \"port %d\";\n"
			      "vek%d-port-mac = \"00:11:22:33:%02x:%02x\";\nvek%d-port-name = \"eth%d\";\n"
			      "qor%d-port-speed = 8;\nqor%d-port-topology = \"p2p\";\nqor%d-port-maxfrsize = 2048;\n"
			      "qor%d-port-trunk = 0, 1;\nqor%d-port-enable = \"FALSE\";\nqor%d-log-level = \"Error\";\n"
			      "qor%d-vf-enable = \"TRUE\"\nqor%d-vf-list = 1, 2;\n"
			      "qor%d-vport-0 = \"20:00:00:11:22:34:%02x:%02x,20:00:00:11:22:35:%02x:%02x,vp,IM,1\";\n"
			      "qor%d-auth-policy = \"on\";\nqor%d-auth-encrypt = \"1,2,3,4\";\n"
			      "qor%d-pathtov = 30;\nqor%d-qdepth = 64;\nqor%d-qos = \"TRUE\";\nqor%d-delay = 100;\n",
			      i, i / 256, i % 256, i, i, i, i / 256, i % 256, i, i, i, i, i, i, i, i, i, i, i,
			      i / 256, i % 256, i / 256, i % 256, i, i, i, i, i, i);
		t += b;
	}
	return t;
}

// dir: where the files live; /dev/shm shows the cost without the disk's flushes.
void load_sync(benchmark::State &state, const char *base)
{
	std::string tmpl = std::string(base) + "/qorl-bench-XXXXXX";
	if (access(base, W_OK) != 0 || !mkdtemp(tmpl.data())) {
		state.SkipWithError("no temp dir");
		return;
	}
	const std::string &dir = tmpl;
	std::string in = dir + "/in.conf", out = dir + "/qor.conf";
	FILE *f = std::fopen(in.c_str(), "w");
	std::string text = full_file();
	std::fwrite(text.data(), 1, text.size(), f);
	std::fclose(f);
	for (auto _ : state) {
		qorl_config_load(in.data());  // the same slots again: the model does not grow
		qorl_config_sync(out.data()); // also resets the adapter counter
	}
	state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
	std::remove(in.c_str());
	std::remove(out.c_str());
	rmdir(dir.c_str());
}

void BM_ConfigLoadSync_Disk(benchmark::State &state) { load_sync(state, "/tmp"); }
void BM_ConfigLoadSync_Memory(benchmark::State &state) { load_sync(state, "/dev/shm"); }
BENCHMARK(BM_ConfigLoadSync_Disk)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ConfigLoadSync_Memory)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
