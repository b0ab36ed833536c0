// Write-back from several processes: each applies what it changed since it
// loaded onto the file as it is now, under the file's lock, which it holds
// only for the write-back.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <sstream>

#include "config_util.h"
#include "qorl_ioc.h"

namespace {

// What the library does to the files, in order: 'L'/'U' lock and unlock of
// a descriptor (by its path), 'R' a file opened for reading (by its path),
// 'N' a rename (by the new name as the library gives it).
std::vector<std::pair<char, std::string>> g_calls;
bool g_recording;

void record(char op, const std::string &path)
{
	if (g_recording)
		g_calls.emplace_back(op, path);
}

std::string fd_path(int fd)
{
	char link[64], buf[4096];
	std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
	ssize_t n = readlink(link, buf, sizeof buf - 1);
	return n > 0 ? std::string(buf, static_cast<size_t>(n)) : std::string();
}

} // namespace

extern "C" int flock(int fd, int op)
{
	static auto next = qt::next_fn<int(int, int)>("flock");
	record((op & LOCK_UN) ? 'U' : 'L', fd_path(fd));
	return next(fd, op);
}

extern "C" FILE *fopen(const char *path, const char *mode)
{
	static auto next = qt::next_fn<FILE *(const char *, const char *)>("fopen");
	FILE *f = next(path, mode);
	if (f && mode[0] == 'r')
		record('R', fd_path(fileno(f)));
	return f;
}

extern "C" int rename(const char *from, const char *to)
{
	static auto next = qt::next_fn<int(const char *, const char *)>("rename");
	int rc = next(from, to);
	if (rc == 0)
		record('N', to);
	return rc;
}

namespace {

using strings = std::vector<std::string>;

// A process of its own that runs its steps one at a time, each when told.
class worker {
public:
	explicit worker(std::vector<std::function<qor_status_t()>> steps)
	{
		if (pipe(to_) != 0 || pipe(from_) != 0)
			return;
		pid_ = fork();
		if (pid_ == 0) {
			close(to_[1]);
			close(from_[0]);
			for (auto &step : steps) {
				char go;
				if (read(to_[0], &go, 1) != 1)
					_exit(1);
				const unsigned char st = static_cast<unsigned char>(step());
				if (write(from_[1], &st, 1) != 1)
					_exit(1);
			}
			_exit(0);
		}
		close(to_[0]);
		close(from_[1]);
	}
	~worker()
	{
		close(to_[1]);
		close(from_[0]);
		if (pid_ > 0)
			waitpid(pid_, nullptr, 0);
	}
	worker(const worker &) = delete;
	worker &operator=(const worker &) = delete;

	// Lets the next step run; result() waits for its status.
	void start()
	{
		const char go = 1;
		ASSERT_EQ(write(to_[1], &go, 1), 1);
	}
	int result()
	{
		unsigned char st;
		return read(from_[0], &st, 1) == 1 ? st : -1;
	}
	int step()
	{
		start();
		return result();
	}

private:
	int to_[2] = {-1, -1}, from_[2] = {-1, -1};
	pid_t pid_ = -1;
};

const char *const kPath = "/etc/qor.conf"; // the emulator puts it under the test's root

std::string wwn_text(int i)
{
	char b[32];
	std::snprintf(b, sizeof b, "20:00:00:11:22:33:00:%02x", i);
	return b;
}

qor_status_t load()
{
	return qorl_libload();
}

// The written-back file of the loaded configuration, with its result.
qor_status_t sync()
{
	return qorl_config_sync(qorl_get_cfg_path());
}

qorl_t port(int i)
{
	return ct::fc_port(wwn_text(i).c_str(), false);
}

// A step that sets port i's speed and writes back.
std::function<qor_status_t()> set_speed(int i, qor_port_speed_t s)
{
	return [i, s] {
		qorl_t q = port(i);
		qorl_config_speed(&q, s);
		return sync();
	};
}

class ConfigMerge : public ct::Fixture {
protected:
	std::string file() { return qt::read_file(root_path(kPath)); }
	strings file_lines() { return ct::setting_lines(file()); }
	bool has_line(const std::string &l)
	{
		strings v = file_lines();
		return std::find(v.begin(), v.end(), l) != v.end();
	}
	void write(const std::string &text) { qt::write_file(root_path(kPath), text); }
	// A file that knows ports 1 to n in slots 0 to n-1.
	void ports(int n)
	{
		std::string t;
		for (int i = 1; i <= n; i++)
			t += "qor" + std::to_string(i - 1) + "-port-wwn = \"" + wwn_text(i) + "\";\n";
		write(t);
	}
};

// Sixteen processes load the same file, then all write back at once: each
// its own port's name or setting, or a port new to the file. All survive.
TEST_F(ConfigMerge, SixteenWritersAllSurvive)
{
	ports(12);
	std::vector<std::unique_ptr<worker>> w;
	for (int i = 0; i < 16; i++) {
		std::function<qor_status_t()> change;
		if (i >= 12) {
			// A port this process discovered: a slot of its own, and a name.
			change = [i] {
				qorl_t q = ct::fc_port(("21:00:00:00:00:00:00:" + std::to_string(10 + i)).c_str(), true);
				std::string n = "new-" + std::to_string(i);
				qorl_config_ioc_name(&q, n.data());
				return QOR_STATUS_OK;
			};
		} else {
			change = [i] {
				qorl_t q = port(i + 1);
				std::string n = "name-" + std::to_string(i);
				switch (i % 3) {
				case 0: qorl_config_ioc_name(&q, n.data()); break;
				case 1: qorl_config_speed(&q, QOR_PORT_SPEED_8GBPS); break;
				default: qorl_config_enable(&q, QOR_FALSE); break;
				}
				return QOR_STATUS_OK;
			};
		}
		// Half of them write back the way mxt learns the result, half as a
		// SNIA client unloads.
		std::function<qor_status_t()> write_back = i % 2 ? std::function<qor_status_t()>(sync) : [] {
			qorl_libsync();
			return QOR_STATUS_OK;
		};
		w.push_back(std::make_unique<worker>(std::vector<std::function<qor_status_t()>>{load, change, write_back}));
	}
	for (auto &x : w) {
		ASSERT_EQ(x->step(), QOR_STATUS_OK); // every one has loaded the same file
		ASSERT_EQ(x->step(), QOR_STATUS_OK);
	}
	for (auto &x : w)
		x->start();
	for (auto &x : w)
		EXPECT_EQ(x->result(), QOR_STATUS_OK);

	const strings l = file_lines();
	auto has = [&](const std::string &s) { return std::find(l.begin(), l.end(), s) != l.end(); };
	for (int i = 0; i < 12; i++) {
		const std::string slot = "qor" + std::to_string(i);
		EXPECT_TRUE(has(slot + "-port-wwn = \"" + wwn_text(i + 1) + "\";")) << i;
		switch (i % 3) {
		case 0: EXPECT_TRUE(has(slot + "-port-name = \"name-" + std::to_string(i) + "\";")) << i; break;
		case 1: EXPECT_TRUE(has(slot + "-port-speed = 8;")) << i; break;
		default: EXPECT_TRUE(has(slot + "-port-enable = \"FALSE\";")) << i; break;
		}
	}
	std::set<int> new_slots;
	for (int i = 12; i < 16; i++) {
		const std::string wwn = "21:00:00:00:00:00:00:" + std::to_string(10 + i);
		int slot = -1;
		for (const std::string &s : l)
			if (s.find("-port-wwn = \"" + wwn + "\";") != std::string::npos)
				std::sscanf(s.c_str(), "qor%d-", &slot);
		ASSERT_GE(slot, 12) << wwn;
		new_slots.insert(slot);
		EXPECT_TRUE(has("qor" + std::to_string(slot) + "-port-name = \"new-" + std::to_string(i) + "\";")) << i;
	}
	EXPECT_EQ(new_slots.size(), 4u) << "each new port in a slot of its own";
}

// Two processes change one key: the one that writes back last wins, whatever
// the order in which they loaded.
TEST_F(ConfigMerge, LastWriterOfOneKeyWins)
{
	for (bool a_last : {false, true}) {
		SCOPED_TRACE(a_last ? "a last" : "b last");
		ports(1);
		worker a({load, set_speed(1, QOR_PORT_SPEED_4GBPS)}), b({load, set_speed(1, QOR_PORT_SPEED_8GBPS)});
		ASSERT_EQ(a.step(), QOR_STATUS_OK);
		ASSERT_EQ(b.step(), QOR_STATUS_OK);
		worker &first = a_last ? b : a, &second = a_last ? a : b;
		ASSERT_EQ(first.step(), QOR_STATUS_OK);
		ASSERT_EQ(second.step(), QOR_STATUS_OK);
		EXPECT_TRUE(has_line(a_last ? "qor0-port-speed = 4;" : "qor0-port-speed = 8;")) << file();
		EXPECT_EQ(file().find(a_last ? "speed = 8" : "speed = 4"), std::string::npos);
	}
}

// A write-back applies only what its process changed: what another process
// wrote meanwhile stays, also over several write-backs of the first.
TEST_F(ConfigMerge, WhatAProcessDidNotChangeItDoesNotUndo)
{
	ports(2);
	auto name = [](const char *n) {
		return [n] {
			qorl_t q = port(2);
			qorl_config_ioc_name(&q, const_cast<char *>(n));
			return sync();
		};
	};
	worker a({load, set_speed(1, QOR_PORT_SPEED_4GBPS), name("from-a")});
	worker b({load, set_speed(1, QOR_PORT_SPEED_8GBPS)});
	ASSERT_EQ(a.step(), QOR_STATUS_OK);
	ASSERT_EQ(a.step(), QOR_STATUS_OK); // speed 4 written
	ASSERT_EQ(b.step(), QOR_STATUS_OK);
	ASSERT_EQ(b.step(), QOR_STATUS_OK); // speed 8 over it
	ASSERT_EQ(a.step(), QOR_STATUS_OK); // a's name; its speed is in the file already
	EXPECT_TRUE(has_line("qor0-port-speed = 8;")) << file();
	EXPECT_TRUE(has_line("qor1-port-name = \"from-a\";")) << file();
	EXPECT_FALSE(has_line("qor0-port-speed = 4;"));
}

// Virtual ports are merged entry by entry; settings removed by a process are
// removed from the file.
TEST_F(ConfigMerge, VirtualPortsAndRemovalsMergeByEntry)
{
	write("qor0-port-wwn = \"" + wwn_text(1) + "\";\n"
	      "qor0-port-enable = \"FALSE\";\n"
	      "qor0-vport-0 = \"20:00:00:00:00:00:00:aa,20:00:00:00:00:00:00:ab,old,IM,1\";\n");
	auto add = [](int k) {
		return [k] {
			qorl_t q = port(1);
			qor_lport_cfg_t vp{};
			vp.pwwn = 0x0100000000000020ull + (static_cast<uint64_t>(k) << 56);
			vp.nwwn = 0x0200000000000020ull;
			vp.roles = QOR_LPORT_ROLE_FCP_IM;
			std::snprintf(vp.sym_name.symname, sizeof vp.sym_name.symname, "vp%d", k);
			qorl_config_vport_add(&q, 1, &vp);
			return sync();
		};
	};
	auto del_old_and_enable = [] {
		qorl_t q = port(1);
		qorl_config_vport_del(&q, qt::wwn("20:00:00:00:00:00:00:aa"));
		qorl_config_enable(&q, QOR_TRUE);
		return sync();
	};
	worker a({load, add(1)}), b({load, add(2)}), c({load, del_old_and_enable});
	for (worker *x : {&a, &b, &c})
		ASSERT_EQ(x->step(), QOR_STATUS_OK);
	for (worker *x : {&a, &b, &c})
		ASSERT_EQ(x->step(), QOR_STATUS_OK);
	const std::string f = file();
	EXPECT_NE(f.find(",vp1,IM,1\";"), std::string::npos) << f;
	EXPECT_NE(f.find(",vp2,IM,1\";"), std::string::npos) << f;
	EXPECT_EQ(f.find(",old,"), std::string::npos) << f;
	EXPECT_EQ(f.find("port-enable"), std::string::npos) << f;
}

// Lines the library does not model stay through a merged write-back, the
// file's as they are at the write-back.
TEST_F(ConfigMerge, KeptLinesAreTheFilesAtWriteBack)
{
	ports(1);
	write(file() + "# kept comment\nqor0-port-maxfrsize = abc;\n");
	worker a({load, set_speed(1, QOR_PORT_SPEED_8GBPS)});
	ASSERT_EQ(a.step(), QOR_STATUS_OK);
	write(file() + "# added while a was running\n");
	ASSERT_EQ(a.step(), QOR_STATUS_OK);
	const std::string f = file();
	EXPECT_NE(f.find("qor0-port-speed = 8;\n"), std::string::npos) << f;
	EXPECT_NE(f.find("# Other lines, kept as they were\n#\n# kept comment\nqor0-port-maxfrsize = abc;\n"
			 "# added while a was running\n"),
		  std::string::npos)
		<< f;
}

// The lock is taken before the file is read again and released after the new
// file is in place, and is held at no other time.
TEST_F(ConfigMerge, LockCoversTheReadAndTheRenameOnly)
{
	ports(1);
	ASSERT_EQ(load(), QOR_STATUS_OK);
	const std::string conf = root_path(kPath), lock = conf + ".lock";
	auto free_now = [&] {
		int fd = open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
		bool ok = fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0;
		if (fd >= 0)
			close(fd);
		return ok;
	};
	EXPECT_TRUE(free_now()) << "after loading";
	qorl_t q = port(1);
	qorl_config_speed(&q, QOR_PORT_SPEED_8GBPS);
	g_calls.clear();
	g_recording = true;
	ASSERT_EQ(sync(), QOR_STATUS_OK);
	g_recording = false;
	EXPECT_TRUE(free_now()) << "after writing back";
	auto at = [&](char op, const std::string &path) {
		for (size_t i = 0; i < g_calls.size(); i++)
			if (g_calls[i].first == op && g_calls[i].second == path)
				return static_cast<long>(i);
		return -1L;
	};
	long locked = at('L', lock), read = at('R', conf), renamed = at('N', kPath), unlocked = at('U', lock);
	ASSERT_GE(locked, 0);
	EXPECT_LT(locked, read) << "the file is read again under the lock";
	EXPECT_LT(read, renamed);
	EXPECT_LT(renamed, unlocked) << "the new file is in place before the lock goes";
	EXPECT_TRUE(has_line("qor0-port-speed = 8;"));
}

// Any other path gets the model as it is: no lock, nothing read, nothing
// merged (mxt shows the configuration that way).
TEST_F(ConfigMerge, OtherPathsJustRenderTheModel)
{
	ports(1);
	ASSERT_EQ(load(), QOR_STATUS_OK);
	qorl_t q = port(1);
	qorl_config_speed(&q, QOR_PORT_SPEED_8GBPS);
	write(file() + "qor0-port-name = \"written meanwhile\";\n");
	const std::string other = root_ + "/shown.conf";
	g_calls.clear();
	g_recording = true;
	ASSERT_EQ(qorl_config_sync(const_cast<char *>(other.c_str())), QOR_STATUS_OK);
	g_recording = false;
	EXPECT_EQ(qt::read_file(other), ct::dump());
	EXPECT_EQ(qt::read_file(other).find("written meanwhile"), std::string::npos);
	for (const auto &c : g_calls)
		EXPECT_TRUE(c.first == 'N') << c.first << " " << c.second;
	EXPECT_EQ(file().find("port-speed"), std::string::npos) << "the loaded file is not written";
}

} // namespace
