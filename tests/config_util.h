// Helpers for the configuration suites: the model's text, its setting
// lines, controller handles and child processes.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "qorl_config.h"
#include "testutil.h"

namespace ct {

// Every suite runs on a fresh emulated machine with a private root.
using Fixture = qt::SimTest;

// The text a write-back of the current model produces.
inline std::string dump()
{
	char *buf = nullptr;
	size_t len = 0;
	FILE *f = open_memstream(&buf, &len);
	qorl_config_ad_update(f);
	qorl_config_ioc_update(f);
	std::fclose(f);
	std::string s(buf, len);
	std::free(buf);
	return s;
}

// Lines of a text that are neither comments nor blank.
inline std::vector<std::string> setting_lines(const std::string &text)
{
	std::vector<std::string> out;
	std::istringstream in(text);
	for (std::string l; std::getline(in, l);)
		if (!l.empty() && l[0] != '#')
			out.push_back(l);
	return out;
}
inline std::vector<std::string> lines() { return setting_lines(dump()); }
// The setting lines from the n-th on.
inline std::vector<std::string> lines_from(size_t n)
{
	std::vector<std::string> l = lines();
	return std::vector<std::string>(l.begin() + static_cast<long>(std::min(n, l.size())), l.end());
}

// Feeds a file's text through the reader.
inline void load_text(const std::string &dir, const std::string &text)
{
	std::string p = dir + "/in.conf";
	qt::write_file(p, text);
	ASSERT_EQ(qorl_config_load(p.data()), QOR_STATUS_OK);
}

// An FC controller handle keyed by a WWN, with its slot added.
inline qorl_t fc_port(const char *wwn_text, bool add = true)
{
	qorl_t q{};
	q.ioc_type = QOR_IOC_TYPE_FC;
	q.pwwn = qt::wwn(wwn_text);
	if (add)
		qorl_config_ioc_add(q.pwwn);
	return q;
}

// Runs fn in a child process; true when it exited with 0.
template <class F> bool in_child(F fn)
{
	pid_t pid = fork();
	if (pid == 0) {
		fn();
		_exit(0);
	}
	int st = 0;
	waitpid(pid, &st, 0);
	return WIFEXITED(st) && WEXITSTATUS(st) == 0;
}

} // namespace ct
