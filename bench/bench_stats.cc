// 'mxt stats --prometheus' end to end, as node_exporter's timer runs it:
// the process started under the emulator, the topology loaded, discovery,
// every counter read and the exposition written (to /dev/null). A large
// machine: 16 adapters with 32 Fibre Channel ports and 4,096 remote ports.
// Target: under 100 ms a run.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// 16 dual-port FC adapters, 128 remote ports (targets) behind each port.
std::string big_san()
{
	std::string j = R"({"adapters":[)";
	for (int a = 0; a < 16; a++) {
		char hw[16], sn[16];
		snprintf(hw, sizeof hw, "0000:%02x:00", 0x10 + a);
		snprintf(sn, sizeof sn, "QB%09d", a + 1);
		j += std::string(a ? "," : "") + R"({"serial":")" + sn + R"(","hwpath":")" + hw +
		     R"(","functions":[{"type":"fc","fcport":{"rport_count":128}},)" +
		     R"({"type":"fc","fcport":{"rport_count":128}}]})";
	}
	return j + "]}";
}

struct paths {
	std::string dir, topology;
	paths()
	{
		char tmpl[] = "/tmp/bench_stats.XXXXXX";
		dir = mkdtemp(tmpl);
		topology = dir + "/san.json";
		FILE *f = fopen(topology.c_str(), "w");
		fputs(big_san().c_str(), f);
		fclose(f);
	}
	~paths() { std::system(("rm -rf " + dir).c_str()); }
};

const paths &files()
{
	static paths p;
	return p;
}

// Runs the command with stdout to /dev/null; its exit status.
int run(const std::vector<std::string> &argv)
{
	pid_t pid = fork();
	if (pid == 0) {
		int null = open("/dev/null", O_WRONLY);
		dup2(null, 1);
		std::vector<char *> a;
		for (const std::string &s : argv)
			a.push_back(const_cast<char *>(s.c_str()));
		a.push_back(nullptr);
		execv(a[0], a.data());
		_exit(127);
	}
	int st = 0;
	waitpid(pid, &st, 0);
	return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
}

void stats(benchmark::State &state, bool rports)
{
	const paths &p = files();
	std::vector<std::string> argv = {QORL_BINARY_DIR "/qorsim", "--root", p.dir, "--topology", p.topology, "--",
					 QORL_BINARY_DIR "/mxt", "stats", "--prometheus"};
	if (rports)
		argv.push_back("--rports");
	for (auto _ : state) {
		auto t0 = std::chrono::steady_clock::now();
		if (run(argv) != 0) {
			state.SkipWithError("mxt stats failed");
			break;
		}
		state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
	}
}

void BM_StatsPrometheus32Ports(benchmark::State &state)
{
	stats(state, false);
}
BENCHMARK(BM_StatsPrometheus32Ports)->UseManualTime()->Unit(benchmark::kMillisecond);

// The same with the counters of all 4,096 remote ports.
void BM_StatsPrometheus4096RemotePorts(benchmark::State &state)
{
	stats(state, true);
}
BENCHMARK(BM_StatsPrometheus4096RemotePorts)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
