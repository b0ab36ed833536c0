// Write-back: exact layout, golden file, atomic replacement under SIGKILL,
// failures that keep the old file, and write/read round trips.
#include <dirent.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <random>
#include <sstream>

#include "config_util.h"

namespace {

// fsync and rename as the library calls them: recorded by the file they
// name, and rename made to fail when asked.
struct fs_call {
	char op; // 's' fsync, 'r' rename (the file renamed)
	dev_t dev;
	ino_t ino;
};
std::vector<fs_call> g_calls;
bool g_recording;
int g_rename_errno;

} // namespace

extern "C" int fsync(int fd)
{
	static auto next = qt::next_fn<int(int)>("fsync");
	struct stat st;
	if (g_recording && fstat(fd, &st) == 0)
		g_calls.push_back({'s', st.st_dev, st.st_ino});
	return next(fd);
}

extern "C" int rename(const char *from, const char *to)
{
	static auto next = qt::next_fn<int(const char *, const char *)>("rename");
	struct stat st;
	if (g_recording && stat(from, &st) == 0)
		g_calls.push_back({'r', st.st_dev, st.st_ino});
	if (g_rename_errno) {
		errno = g_rename_errno;
		return -1;
	}
	return next(from, to);
}

namespace {

using strings = std::vector<std::string>;

const char *const empty_text =
	"# Syntax for global parameter (applied to all HBA instances):\n"
	"#   param_name=param_value \n"
	"#   qor<instance_number>-param_name=param_value \n"
	"# \n"
	"\n#\n# Persistent naming of adapter\n# \n"
	"\n#\n# Trunking of adapter\n# \n"
	"\n#\n# Persistent naming of port\n#\n"
	"\n#\n# Port configuration\n#\n"
	"\n# trunking\n"
	"\n# disable a port persistently\n"
	"\n#\n# Driver log level\n# level: INFO, WARN, ERROR, CRITICAL\n#\n"
	"\n#\n# VF configuration\n#\n"
	"\n#\n# vport configuration\n#\n# vport-<id> = pwwn, nwwn,symname, roles [, vf_id]\n#\n"
	"\n#\n# Authentication\n#\n"
	"\n#\n# Initiator mode configuration\n#\n"
	"\n#\n# QoS, rate limiting configuration\n#\n"
	"\n#\n# IOC intr configuration\n#\n";

std::string conf(const std::string &root) { return root + "/etc/qor.conf"; }

size_t temp_files(const std::string &dir)
{
	size_t n = 0;
	if (DIR *d = opendir(dir.c_str())) {
		while (dirent *e = readdir(d))
			n += std::strstr(e->d_name, ".tmp.") != nullptr;
		closedir(d);
	}
	return n;
}

class ConfigWriter : public ct::Fixture {
protected:
	void SetUp() override
	{
		ct::Fixture::SetUp();
		qt::write_file(root_ + "/etc/.keep", "");
		path_ = conf(root_);
	}
	qor_status_t sync() { return qorl_config_sync(path_.data()); }
	std::string path_;
};

TEST_F(ConfigWriter, EmptyModelWritesHeaderAndHeadingsOnly)
{
	ASSERT_EQ(sync(), QOR_STATUS_OK);
	EXPECT_EQ(qt::read_file(path_), empty_text);
	EXPECT_EQ(temp_files(root_ + "/etc"), 0u);
}

TEST_F(ConfigWriter, DiscoveredPortWritesOnlyItsWwn)
{
	qorl_config_ioc_add(qt::wwn("20:00:00:11:22:33:00:01"));
	EXPECT_EQ(ct::lines(), (strings{"qor0-port-wwn = \"20:00:00:11:22:33:00:01\";"}));
}

TEST_F(ConfigWriter, GlobalUsesSlotZeroEvenWithoutPort)
{
	qorl_config_parse((char *)"port-maxfrsize = 2048;\n");
	qorl_config_parse((char *)"vf-enable = \"TRUE\"\n");
	EXPECT_EQ(ct::lines(), (strings{"port-maxfrsize = 0;", "vf-enable = \"FALSE\""}));
}

TEST_F(ConfigWriter, PerSlotForms)
{
	qorl_config_set_data(QORL_CFG_PORT_HARDALPA, 2, (void *)"7f");
	qorl_config_set_data(QORL_CFG_PORT_TRUNK, 1, (void *)"0,2");
	qorl_config_set_data(QORL_CFG_VF_ENABLE, 0, (void *)"TRUE");
	qorl_config_set_data(QORL_CFG_VF_LIST, 0, (void *)"15");
	EXPECT_EQ(ct::lines(), (strings{"qor2-port-hardalpa = 0x7f;", "qor1-port-trunk = 0, 2;",
					"qor0-vf-enable = \"TRUE\"", "qor0-vf-list = 15;"}));
}

TEST_F(ConfigWriter, SameAdapterIdTwice)
{
	qorl_config_set_data(QORL_CFG_AD_ID, 0, (void *)"SN1");
	qorl_config_set_data(QORL_CFG_AD_NAME, 0, (void *)"a");
	qorl_config_set_data(QORL_CFG_AD_ID, 1, (void *)"SN1");
	qorl_config_set_data(QORL_CFG_AD_NAME, 1, (void *)"b");
	EXPECT_EQ(ct::lines(), (strings{"adapter-SN1-name = \"a\";", "adapter-SN1-name = \"b\";"}));
}

TEST_F(ConfigWriter, ValuesWithoutWordAreNotWritten)
{
	qorl_t q = ct::fc_port("20:00:00:11:22:33:00:01");
	qorl_config_log_level(&q, 5);
	qorl_config_auth_algo(&q, (qor_auth_algo_t)7);
	qorl_config_auth_secretsource(&q, (qor_auth_secretsource_t)-1);
	strings l = ct::lines();
	EXPECT_EQ(strings(l.begin() + 1, l.end()), (strings{"qor0-log-level = \"Info\";"}));
	qorl_config_log_level(&q, 6);
	EXPECT_EQ(ct::lines().size(), 1u);
}

TEST_F(ConfigWriter, UnopenableTargetIsEfopen)
{
	std::string p = root_ + "/no/such/dir/qor.conf";
	EXPECT_EQ(qorl_config_sync(p.data()), QOR_STATUS_EFOPEN);
	EXPECT_EQ(qorl_config_sync(nullptr), QOR_STATUS_EFOPEN);
	EXPECT_EQ(qorl_config_sync((char *)""), QOR_STATUS_EFOPEN);
	// The target is a directory: no file can be opened there.
	std::string dir = root_ + "/etc/adir";
	qt::write_file(dir + "/inside", "x");
	EXPECT_EQ(qorl_config_sync(dir.data()), QOR_STATUS_EFOPEN);
	EXPECT_EQ(qorl_config_load(dir.data()), QOR_STATUS_OK);
	EXPECT_EQ(qorl_config_sync(dir.data()), QOR_STATUS_EFOPEN);
	EXPECT_EQ(qt::read_file(dir + "/inside"), "x");
	EXPECT_EQ(temp_files(root_ + "/etc"), 0u);
}

TEST_F(ConfigWriter, FileModeKeptOrFromUmask)
{
	mode_t old = umask(022);
	ASSERT_EQ(sync(), QOR_STATUS_OK);
	struct stat st;
	ASSERT_EQ(stat(path_.c_str(), &st), 0);
	EXPECT_EQ(st.st_mode & 07777, 0644u);
	ASSERT_EQ(chmod(path_.c_str(), 0640), 0);
	umask(077);
	qorl_config_ioc_add(qt::wwn("20:00:00:11:22:33:00:01"));
	EXPECT_EQ(sync(), QOR_STATUS_OK);
	umask(old);
	ASSERT_EQ(stat(path_.c_str(), &st), 0);
	EXPECT_EQ(st.st_mode & 07777, 0640u);
	EXPECT_NE(qt::read_file(path_).find("qor0-port-wwn"), std::string::npos);
	EXPECT_EQ(temp_files(root_ + "/etc"), 0u);
}

// A failed rename (an immutable file) or failed writes (a file size limit)
// are EIO and keep the old file.
TEST_F(ConfigWriter, FailuresAreEioAndKeepTheOldFile)
{
	qt::write_file(path_, "old text\n");
	qorl_config_ioc_add(qt::wwn("20:00:00:11:22:33:00:01"));
	g_rename_errno = EPERM;
	EXPECT_EQ(sync(), QOR_STATUS_EIO);
	g_rename_errno = 0;
	EXPECT_EQ(qt::read_file(path_), "old text\n");
	EXPECT_EQ(temp_files(root_ + "/etc"), 0u);
	for (int i = 0; i < 128; i++)
		qorl_config_ioc_add(0x100 + i);
	ASSERT_TRUE(ct::in_child([&] {
		signal(SIGXFSZ, SIG_IGN);
		struct rlimit rl{1024, 1024};
		setrlimit(RLIMIT_FSIZE, &rl);
		_exit(sync() == QOR_STATUS_EIO ? 0 : 1);
	}));
	EXPECT_EQ(qt::read_file(path_), "old text\n");
	EXPECT_EQ(temp_files(root_ + "/etc"), 0u);
}

// The new file's data is on disk before it replaces the old one, and the
// directory is synced after the rename.
TEST_F(ConfigWriter, TheNewFileIsSyncedBeforeItReplacesTheOld)
{
	qt::write_file(path_, "old text\n");
	qorl_config_ioc_add(qt::wwn("20:00:00:11:22:33:00:01"));
	g_recording = true;
	ASSERT_EQ(sync(), QOR_STATUS_OK);
	g_recording = false;
	auto r = std::find_if(g_calls.begin(), g_calls.end(), [](const fs_call &c) { return c.op == 'r'; });
	ASSERT_NE(r, g_calls.end());
	auto synced = [](auto from, auto to, dev_t dev, ino_t ino) {
		return std::any_of(from, to, [&](const fs_call &c) { return c.op == 's' && c.dev == dev && c.ino == ino; });
	};
	EXPECT_TRUE(synced(g_calls.begin(), r, r->dev, r->ino)) << "the renamed file was not synced before the rename";
	struct stat dir;
	ASSERT_EQ(stat((root_ + "/etc").c_str(), &dir), 0);
	EXPECT_TRUE(synced(r, g_calls.end(), dir.st_dev, dir.st_ino)) << "the directory was not synced after the rename";
}

// ---- golden file -------------------------------------------------------------

void build_full_model()
{
	const char *file = "num-ios = 512;\n"
			   "power = \"full\";\n"
			   "adapter-SN100-power = \"on\";\n"
			   "qor0-port-wwn = \"20:00:00:11:22:33:00:01\";\n"
			   "qor1-port-wwn = \"20:00:00:11:22:33:00:02\";\n"
			   "qor2-port-wwn = \"20:00:00:11:22:33:00:03\";\n"
			   "log-level = \"Error\";\n"
			   "qos = \"TRUE\";\n"
			   "vek0-port-mac = \"00:11:22:aa:bb:01\";\n"
			   "vek0-port-mtu = 9000;\n";
	for (const char *p = file; *p;) {
		const char *nl = std::strchr(p, '\n');
		std::string line(p, nl + 1);
		qorl_config_parse(line.data());
		p = nl + 1;
	}
	qorl_config_ad_add((char *)"SN100");
	qorl_config_ad_add((char *)"SN200");
	qorl_config_set_data(QORL_CFG_AD_NAME, 1, (void *)"lab card");
	qorl_config_set_data(QORL_CFG_AD_TRUNK, 2, (void *)"TRUE");
	qorl_config_set_data(QORL_CFG_AD_NAME, 2, (void *)"second");
	qorl_config_ethioc_add(mac_t{{0x00, 0x11, 0x22, 0xaa, 0xbb, 0x02}});
	qorl_config_set_data(QORL_CFG_ETH_PORT_NAME, 1, (void *)"eth one");

	qorl_t p0 = ct::fc_port("20:00:00:11:22:33:00:01", false);
	qorl_t p1 = ct::fc_port("20:00:00:11:22:33:00:02", false);
	qorl_t p2 = ct::fc_port("20:00:00:11:22:33:00:03", false);
	qorl_config_ioc_name(&p0, (char *)"port zero");
	qorl_config_speed(&p0, QOR_PORT_SPEED_8GBPS);
	qorl_config_topology(&p1, QOR_PORT_TOPOLOGY_LOOP);
	qorl_config_alpa(&p2, 0x7f, QOR_TRUE);
	qorl_config_maxfrsz(&p0, 2048);
	qorl_config_trunk(&p1, 0x5, QOR_TRUE);
	qorl_config_enable(&p2, QOR_FALSE);
	qorl_config_ipfc_enable(&p0, QOR_FALSE);
	qorl_config_log_level(&p1, 4); // the global log level turns per slot
	qorl_config_vf_mode(&p0, 5, QOR_TRUE);
	qorl_config_vf_list(&p0, 3, QOR_TRUE);
	qorl_config_vf_list(&p0, 0, QOR_TRUE);
	qor_lport_cfg_t vp{};
	vp.pwwn = qt::wwn("20:00:00:11:22:33:00:09");
	vp.nwwn = qt::wwn("20:00:00:11:22:33:00:0a");
	std::strcpy(vp.sym_name.symname, "vp one");
	vp.roles = QOR_LPORT_ROLE_FCP_IM | QOR_LPORT_ROLE_FCP_IPFC;
	qorl_config_vport_add(&p0, 1, &vp);
	vp.pwwn = qt::wwn("20:00:00:11:22:33:00:0b");
	vp.roles = QOR_LPORT_ROLE_FCP_TM;
	std::strcpy(vp.sym_name.symname, "vp two");
	qorl_config_vport_add(&p0, 2, &vp);
	qorl_config_auth_policy(&p1, QOR_TRUE);
	qorl_config_auth_algo(&p1, QOR_AUTH_ALGO_SHA1);
	qorl_config_auth_group(&p1, QOR_AUTH_GROUP_DH1024);
	qorl_config_auth_secretsource(&p1, QOR_AUTH_SECSRC_RADIUS);
	uint32_t secret[] = {1, 0xffffffffu, 300};
	qorl_config_auth_secretstring(&p1, secret, 3);
	qorl_config_fcpim(&p2, 30);
	qorl_config_pbind(&p2, QOR_TRUE);
	qorl_config_qdepth(&p2, 64);
	qorl_config_ratelim(&p0, QOR_TRUE);
	qorl_config_defspeed(&p0, QOR_PORT_SPEED_AUTO);
	qorl_config_iocfc_intr(&p1, QOR_TRUE, 100, 50);
	qorl_config_iocfc_intr(&p2, QOR_FALSE, 0, 0);
}

TEST_F(ConfigWriter, GoldenFullModel)
{
	build_full_model();
	ASSERT_EQ(sync(), QOR_STATUS_OK);
	std::string golden = std::string(QORL_SOURCE_DIR) + "/tests/data/config_full.golden";
	if (std::getenv("QORL_UPDATE_GOLDEN"))
		qt::write_file(golden, qt::read_file(path_));
	EXPECT_EQ(qt::read_file(path_), qt::read_file(golden));
}

// In a child process of its own: builds a model and writes it to path.
template <class F> bool write_in_child(F build, const std::string &path)
{
	return ct::in_child([&] {
		build();
		_exit(qorl_config_sync(const_cast<char *>(path.c_str())) == QOR_STATUS_OK ? 0 : 1);
	});
}

// The file that loading `text` into a fresh model and writing it back gives.
std::string rewrite(const std::string &dir, const std::string &text)
{
	std::string in = dir + "/rt.in", out = dir + "/rt.out";
	qt::write_file(in, text);
	std::remove(out.c_str());
	EXPECT_TRUE(write_in_child([&] { qorl_config_load(in.data()); }, out));
	return qt::read_file(out);
}

// Each slot's virtual port lines in reverse order, renumbered: what one
// load and write-back does to them.
std::string reverse_vports(const std::string &text)
{
	std::istringstream in(text);
	std::string out, line;
	std::vector<std::string> run;
	int run_slot = -1;
	auto flush = [&] {
		for (size_t k = 0; k < run.size(); k++)
			out += "qor" + std::to_string(run_slot) + "-vport-" + std::to_string(k) +
			       run[run.size() - 1 - k] + "\n";
		run.clear();
	};
	while (std::getline(in, line)) {
		int slot, k, used = 0;
		if (std::sscanf(line.c_str(), "qor%d-vport-%d%n", &slot, &k, &used) == 2 && used) {
			if (slot != run_slot)
				flush();
			run_slot = slot;
			run.push_back(line.substr(static_cast<size_t>(used)));
			continue;
		}
		flush();
		out += line + "\n";
	}
	flush();
	return out;
}

TEST_F(ConfigWriter, GoldenReadsBackToItself)
{
	std::string gold = qt::read_file(std::string(QORL_SOURCE_DIR) + "/tests/data/config_full.golden");
	ASSERT_FALSE(gold.empty());
	std::string once = rewrite(root_, gold);
	EXPECT_EQ(reverse_vports(once), gold);
	EXPECT_EQ(rewrite(root_, once), gold);
}

// A file edited by hand: what the model holds is written in the layout, every
// other line of it follows verbatim, in its order, under one heading at the
// end; a second round changes nothing.
TEST_F(ConfigWriter, HandEditedFileKeepsEveryLineItDoesNotModel)
{
	const std::string kept[] = {
		"# Site notes: port 0 goes to the tape library",
		"# speed fixed by the switch",
		"qor0-port-maxfrsize = abc;",
		"qor0-new-feature = \"on\";",
		"qor0-port-speed = 99999999999999999999;",
		"vek0-port-name = \"qor-x\";",
		"  # indented, so not a comment",
		"adapter-SN1-name = \"lab\\\\card\";",
		"# Persistent naming of port, said the old file",
		"port-speed = 4 # fast",
	};
	const std::string edited = kept[0] + "\n" + "qor0-port-wwn = \"20:00:00:11:22:33:00:01\";\n" + kept[1] + "\n" +
				   "qor0-port-speed = 8;\n" + kept[2] + "\n" + kept[3] + "\n" + "num-ios = 512;\n" + kept[4] +
				   "\n" + kept[5] + "\n" + kept[6] + "\n" + "#\n" + "# Port configuration\n" + kept[7] + "\n" +
				   "log-level = \"WARN\";\n" + kept[8] + "\n" + kept[9] + "\n";
	std::string want = empty_text;
	auto after = [&](const std::string &heading, const std::string &line) {
		size_t at = want.find(heading);
		ASSERT_NE(at, std::string::npos) << heading;
		want.insert(at + heading.size(), line);
	};
	after("# Persistent naming of port\n#\n", "qor0-port-wwn = \"20:00:00:11:22:33:00:01\";\n");
	after("# Port configuration\n#\n", "qor0-port-speed = 8;\n");
	after("# level: INFO, WARN, ERROR, CRITICAL\n#\n", "log-level = \"Warning\";\n");
	want += "\n#\n# Driver parameters\n#\nnum-ios = 512;\n";
	want += "\n#\n# Other lines, kept as they were\n#\n";
	for (const std::string &l : kept)
		want += l + "\n";
	const std::string once = rewrite(root_, edited);
	EXPECT_EQ(once, want);
	EXPECT_EQ(rewrite(root_, once), once);
}

// ---- random models: write, read back, write again ------------------------------

struct gen {
	std::mt19937 rng;
	explicit gen(unsigned seed) : rng(seed) {}
	int num(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }
	bool coin(int pct = 50) { return num(1, 100) <= pct; }
	// Text that the reader gives back unchanged: no cleaning character at
	// its ends, no word that classifies a line, no comma, and nothing the
	// library refuses in a text (quotes, semicolons).
	std::string text(int maxlen)
	{
		static const char inner[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 _./:()=-#";
		static const char edge[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./()";
		int len = num(1, maxlen);
		std::string s;
		for (int i = 0; i < len; i++) {
			bool at_edge = i == 0 || i == len - 1;
			s += at_edge ? edge[num(0, sizeof edge - 2)] : inner[num(0, sizeof inner - 2)];
		}
		return s;
	}
	std::string wwn()
	{
		char b[32];
		std::snprintf(b, sizeof b, "%02x:%02x:%02x:%02x:%02x:%02x:%02x:%02x", num(0, 255), num(0, 255),
			      num(0, 255), num(0, 255), num(0, 255), num(0, 255), num(0, 255), num(0, 255));
		return b;
	}
	void set(int code, int slot, const std::string &v) { qorl_config_set_data(code, slot, (void *)v.c_str()); }
	template <size_t N> std::string pick(const char *const (&w)[N]) { return w[num(0, N - 1)]; }
};

void build_random_model(unsigned seed)
{
	gen g(seed);
	static const char *const tuning[] = {"msix-disable", "num-rports", "num-ios", "num-tms",
		"num-fcxps", "num-ufbufs", "reqq-size", "rspq-size", "num-sgpgs", "ioc-auto-recover",
		"ipfc-disable", "rport-del-timeout", "dma-relaxed-ordering", "pcie-max-read-reqsz"};
	static const char *const bools[] = {"TRUE", "FALSE"}, *const onoff[] = {"on", "off"},
		*const topo[] = {"none", "p2p", "loop", "auto"},
		*const logw[] = {"Critical", "Error", "Warning", "Info"},
		*const algo[] = {"md5", "sha1", "ms", "sm"}, *const src[] = {"LOCAL", "RADIUS", "TACACS"},
		*const roles[] = {"IM", "TM", "IP", "IM + TM", "IM + TM + IP"};

	// Adapters: every name, trunk and power line takes a slot when read back.
	int lines = 0;
	for (int a = 0; a < 128 && lines < 120 && g.coin(85); a++) {
		std::string id;
		for (int i = g.num(1, 11); i > 0; i--)
			id += "ABCDEFGHJKLMNPRSTUVWXYZ0123456789"[g.num(0, 32)];
		g.set(QORL_CFG_AD_ID, a, id);
		if (g.coin(60)) { g.set(QORL_CFG_AD_NAME, a, g.text(127)); lines++; }
		if (g.coin(40)) { g.set(QORL_CFG_AD_TRUNK, a, g.pick(bools)); lines++; }
		if (g.coin(20)) { g.set(QORL_CFG_AD_POWER, a, g.text(40)); lines++; }
	}

	// Ports: at least one WWN, so global lines reach slot 0 when read back.
	int nports = g.num(1, 128);
	for (int i = 0; i < nports; i++) {
		int slot = i == 0 ? 0 : g.num(0, 127);
		g.set(QORL_CFG_PORT_WWN, slot, g.wwn());
	}
	for (int t = 0; t < 14; t++)
		if (g.coin(20)) {
			std::string line = std::string(tuning[t]) + " = " + std::to_string(g.num(0, 100000)) + ";\n";
			qorl_config_parse(line.data());
		}
	if (g.coin(20)) {
		std::string line = "power = \"" + g.text(30) + "\";\n";
		qorl_config_parse(line.data());
	}
	// Some keys global, through the reader as a file would give them.
	static const char *const globals[] = {"port-speed = 8;", "port-topology = \"p2p\";",
		"port-maxfrsize = 1024;", "port-trunk = 0, 3;", "port-enable = \"FALSE\";",
		"ipfc-enable = \"FALSE\";", "log-level = \"Error\";", "vf-enable = \"TRUE\"",
		"vf-default = 7;", "vf-list = 2, 4;", "auth-policy = \"on\";", "auth-algo = \"md5\";",
		"auth-group = 4;", "auth-secretsource = \"TACACS\";", "auth-encrypt = \"5,6\";",
		"pathtov = 30;", "qdepth = 32;", "qos = \"TRUE\";", "ratelim = \"TRUE\";",
		"ratelim-defspeed = 4;", "coalesce = \"off\";", "delay = 10;", "latency = 20;",
		"persistent-binding = \"TRUE\";"};
	for (const char *gl : globals)
		if (g.coin(10)) {
			std::string line = std::string(gl) + "\n";
			qorl_config_parse(line.data());
		}

	// Per-slot settings, grouped by how a value is made.
	auto number = [&](int lo, int hi) { return std::to_string(g.num(lo, hi)); };
	const struct {
		std::vector<int> codes;
		std::function<std::string()> value;
	} per_slot[] = {
		{{QORL_CFG_PORT_NAME, QORL_CFG_ETH_PORT_NAME}, [&] { return g.text(127); }},
		{{QORL_CFG_AUTH_ENCRYPT}, [&] { return g.text(200); }},
		{{QORL_CFG_PORT_MAC}, [&] { return "00:11:22:33:44:" + number(10, 99); }},
		{{QORL_CFG_PORT_MTU}, [&] { return number(0, 9000); }},
		{{QORL_CFG_PORT_SPEED, QORL_CFG_RATELIM_DEFSPEED}, [&] { return number(0, 16); }},
		{{QORL_CFG_PORT_MAXFRSIZE, QORL_CFG_VF_DEFAULT, QORL_CFG_PATHTOV, QORL_CFG_QDEPTH, QORL_CFG_DELAY,
		  QORL_CFG_LATENCY},
		 [&] { return number(0, 65535); }},
		{{QORL_CFG_VF_LIST}, [&] { return number(0, 15); }},
		{{QORL_CFG_AUTH_GROUP}, [&] { return number(0, 256); }},
		{{QORL_CFG_PORT_TRUNK}, [&] { return number(0, 31) + ", " + number(0, 31); }},
		{{QORL_CFG_PORT_HARDALPA},
		 [&] {
			 char hex[8];
			 std::snprintf(hex, sizeof hex, "%x", g.num(0, 255));
			 return std::string(hex);
		 }},
		{{QORL_CFG_PORT_ENABLE, QORL_CFG_IPFC_ENABLE, QORL_CFG_VF_ENABLE, QORL_CFG_QOS, QORL_CFG_RATELIM,
		  QORL_CFG_PBIND},
		 [&] { return g.pick(bools); }},
		{{QORL_CFG_AUTH_POLICY, QORL_CFG_COALESCE}, [&] { return g.pick(onoff); }},
		{{QORL_CFG_PORT_TOPOLOGY}, [&] { return g.pick(topo); }},
		{{QORL_CFG_LOG_LEVEL}, [&] { return g.pick(logw); }},
		{{QORL_CFG_AUTH_ALGO}, [&] { return g.pick(algo); }},
		{{QORL_CFG_AUTH_SECRETSOURCE}, [&] { return g.pick(src); }},
	};
	for (int slot = 0; slot < 128; slot++) {
		if (!g.coin(40))
			continue;
		for (const auto &kind : per_slot)
			for (int code : kind.codes)
				if (g.coin(30))
					g.set(code, slot, kind.value());
		for (int v = g.coin(30) ? g.num(1, 4) : 0; v > 0; v--) {
			std::string rec = g.wwn() + "," + g.wwn() + "," + g.text(60) + "," + g.pick(roles) +
					  "," + std::to_string(g.num(0, 65535));
			qorl_config_set_vportdata(slot, rec.data());
		}
	}
	// Setters on a few ports, which turn some global keys per slot.
	for (int i = 0; i < 8; i++) {
		qorl_t q{};
		q.ioc_type = QOR_IOC_TYPE_FC;
		int slot = g.num(0, 127);
		char pw[32];
		std::snprintf(pw, sizeof pw, "99:00:00:00:00:00:00:%02x", i);
		qorl_config_ioc_pwwn(static_cast<uint16_t>(slot), qt::wwn(pw));
		q.pwwn = qt::wwn(pw);
		qorl_config_speed(&q, (qor_port_speed_t)g.num(0, 16));
		qorl_config_enable(&q, (qor_boolean_t)g.num(0, 1));
		qorl_config_log_level(&q, g.num(0, 4));
		qorl_config_trunk(&q, static_cast<uint32_t>(g.num(0, 255)), (qor_boolean_t)g.num(0, 1));
		qorl_config_iocfc_intr(&q, (qor_boolean_t)g.num(0, 1), static_cast<uint16_t>(g.num(0, 2000)),
				       static_cast<uint16_t>(g.num(0, 400)));
		qorl_config_vf_list(&q, static_cast<uint16_t>(g.num(0, 20)), (qor_boolean_t)g.num(0, 1));
		uint32_t secret[4] = {(uint32_t)g.rng(), (uint32_t)g.rng(), (uint32_t)g.rng(), (uint32_t)g.rng()};
		qorl_config_auth_secretstring(&q, secret, g.num(0, 4));
	}
}

TEST_F(ConfigWriter, RandomModelsRoundTrip)
{
	std::string a = root_ + "/a.conf";
	for (unsigned seed = 1; seed <= 200; seed++) {
		ASSERT_TRUE(write_in_child([&] { build_random_model(seed); }, a)) << "seed " << seed;
		std::string first = qt::read_file(a);
		std::string once = rewrite(root_, first);
		ASSERT_EQ(reverse_vports(once), first) << "seed " << seed;
		ASSERT_EQ(rewrite(root_, once), first) << "seed " << seed;
	}
}

// ---- crash safety ----------------------------------------------------------------

// A model big enough that writing it takes a while.
void build_big_model(int variant)
{
	for (int i = 0; i < 128; i++) {
		qorl_config_ioc_add(0x2000 + i);
		char v[512];
		for (int k = 0; k < 24; k++) {
			std::snprintf(v, sizeof v, "%02x:%02x:00:00:00:00:00:%02x,20:00:00:00:00:00:00:01,vport %d %d,IM,%d",
				      i, k, variant, k, variant, k);
			qorl_config_set_vportdata(i, v);
		}
		std::snprintf(v, sizeof v, "%d", 1000 + variant);
		qorl_config_set_data(QORL_CFG_PORT_MAXFRSIZE, i, v);
	}
}

TEST_F(ConfigWriter, KilledWriterLeavesOldOrNewFile)
{
	std::string texts[2];
	for (int v = 0; v < 2; v++) {
		std::string p = root_ + "/variant" + std::to_string(v);
		ASSERT_TRUE(write_in_child([&] { build_big_model(v); }, p));
		texts[v] = qt::read_file(p);
		ASSERT_GT(texts[v].size(), 100000u);
	}
	ASSERT_NE(texts[0], texts[1]);
	qt::write_file(path_, texts[0]);

	using clock = std::chrono::steady_clock;
	// How long one child takes from fork to exit, to spread the kills over it.
	auto t0 = clock::now();
	ASSERT_TRUE(write_in_child([] { build_big_model(1); }, path_));
	auto span = std::chrono::duration_cast<std::chrono::microseconds>(clock::now() - t0).count();
	qt::write_file(path_, texts[0]);

	std::mt19937 rng(12345);
	int killed = 0, old_seen = 0, new_seen = 0;
	for (int i = 0; i < 120; i++) {
		int v = i % 2;
		pid_t pid = fork();
		if (pid == 0) {
			build_big_model(v);
			_exit(qorl_config_sync(path_.data()) == QOR_STATUS_OK ? 0 : 1);
		}
		auto until = clock::now() + std::chrono::microseconds(rng() % (span + 1));
		while (clock::now() < until) {
		}
		kill(pid, SIGKILL);
		int st = 0;
		waitpid(pid, &st, 0);
		killed += WIFSIGNALED(st);
		std::string now = qt::read_file(path_);
		ASSERT_TRUE(now == texts[0] || now == texts[1]) << "torn file after kill " << i;
		old_seen += now == texts[0];
		new_seen += now == texts[1];
	}
	RecordProperty("killed", killed);
	RecordProperty("old_seen", old_seen);
	RecordProperty("new_seen", new_seen);
	EXPECT_GT(killed, 0);
}

} // namespace
