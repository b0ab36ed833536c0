#include "testutil.h"

#include "qor/qor_text.h"

#include "qorl_adapter.h"
#include "qorl_config.h"
#include "qorl_ioc.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace qt {

void SimTest::SetUp()
{
	qorsim_reset();
	root_ = make_temp_dir();
	qorsim_set_root(root_.c_str());
}

void SimTest::TearDown()
{
	qorsim_set_root(nullptr);
	remove_tree(root_);
}

void SimTest::topology(const std::string &json)
{
	ASSERT_EQ(qorsim_load_topology(json.c_str()), 0) << qorsim_error();
}

void ScannedTest::SetUp()
{
	SimTest::SetUp();
	ASSERT_EQ(qorl_adapter_scan(), 2);
	fc0 = qorl_ioc_open_idx(0);
	fc1 = qorl_ioc_open_idx(1);
	fcoe = qorl_ioc_open_idx(2);
	eth = qorl_ioc_open_idx(4);
	ASSERT_TRUE(fc0 && fc1 && fcoe && eth);
	qorsim_log_clear();
}

std::string ScannedTest::written_config()
{
	std::string path = root_ + "/qor.conf";
	EXPECT_EQ(qorl_config_sync(path.data()), QOR_STATUS_OK);
	return read_file(path);
}

Run run_command(const std::string &cmd, const std::string &errfile)
{
	Run r;
	FILE *p = popen((cmd + " 2>" + errfile).c_str(), "r");
	if (!p)
		return r;
	char buf[4096];
	for (size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;)
		r.out.append(buf, n);
	const int st = pclose(p);
	r.rc = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
	r.err = read_file(errfile);
	return r;
}

std::string read_file(const std::string &path)
{
	std::ifstream in(path, std::ios::binary);
	std::ostringstream ss;
	ss << in.rdbuf();
	return ss.str();
}

void write_file(const std::string &path, const std::string &text)
{
	std::filesystem::create_directories(std::filesystem::path(path).parent_path());
	std::ofstream out(path, std::ios::binary | std::ios::trunc);
	out << text;
}

Lines read_lines(const std::vector<std::string> &argv,
		 const std::function<bool(const std::vector<std::string> &)> &enough)
{
	Lines r;
	int fds[2];
	if (argv.empty() || pipe(fds) != 0)
		return r;
	pid_t pid = fork();
	if (pid == 0) {
		dup2(fds[1], 1);
		close(fds[0]);
		std::vector<std::string> args = argv;
		std::vector<char *> cargv;
		for (auto &a : args)
			cargv.push_back(a.data());
		cargv.push_back(nullptr);
		execv(cargv[0], cargv.data());
		_exit(127);
	}
	close(fds[1]);
	std::string pending;
	char buf[4096];
	while (pid > 0 && !enough(r.lines)) {
		pollfd p{fds[0], POLLIN, 0};
		if (poll(&p, 1, 30000) != 1)
			break;
		ssize_t n = read(fds[0], buf, sizeof buf);
		if (n <= 0)
			break;
		pending.append(buf, static_cast<size_t>(n));
		for (size_t nl; (nl = pending.find('\n')) != std::string::npos; pending.erase(0, nl + 1))
			r.lines.push_back(pending.substr(0, nl));
	}
	if (pid > 0) {
		kill(pid, SIGTERM);
		waitpid(pid, &r.status, 0);
	}
	close(fds[0]);
	return r;
}

std::string make_temp_dir()
{
	char tmpl[] = "/tmp/qorl-test-XXXXXX";
	const char *d = mkdtemp(tmpl);
	return d ? std::string(d) : std::string();
}

void remove_tree(const std::string &dir)
{
	std::error_code ec;
	if (!dir.empty())
		std::filesystem::remove_all(dir, ec);
}

std::vector<qorsim_log_entry_t> log_entries()
{
	std::vector<qorsim_log_entry_t> v(qorsim_log_count());
	for (size_t i = 0; i < v.size(); i++)
		qorsim_log_get(i, &v[i]);
	return v;
}

std::vector<qorsim_log_entry_t> log_entries(uint32_t code)
{
	std::vector<qorsim_log_entry_t> v;
	for (auto &e : log_entries())
		if ((e.code & 0xffff) == (code & 0xffff))
			v.push_back(e);
	return v;
}

std::vector<qorsim_log_entry_t> log_entries_any(uint32_t code)
{
	std::vector<qorsim_log_entry_t> v;
	for (auto &e : log_entries()) {
		uint32_t type = (e.code >> 8) & 0xff;
		if ((e.code & 0xff) == (code & 0xff) && (type == ((code >> 8) & 0xff) || type == 0x44))
			v.push_back(e);
	}
	return v;
}

std::string test_name(std::string text)
{
	for (char &ch : text)
		if (!isalnum((unsigned char)ch))
			ch = '_';
	return text;
}

uint64_t wwn(const char *text)
{
	wwn_t w = 0;
	EXPECT_TRUE(qor_wwn_parse(text, &w)) << text;
	return w;
}

} // namespace qt
