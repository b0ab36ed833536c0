// mxt config: the persistent configuration file.
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include "qorl_config.h"
#include "qorl_ioc.h"
#include "table.h"

namespace mxt {

namespace {

// What a write-back would put in the file now, without touching it.
std::string rendered()
{
	const char *tmp = getenv("TMPDIR");
	std::string dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/mxt-XXXXXX";
	if (!mkdtemp(dir.data()))
		fail("cannot create a temporary directory under " + dir.substr(0, dir.rfind('/')) +
		     "; set TMPDIR to a writable directory");
	std::string path = dir + "/qor.conf";
	qor_status_t st = qorl_config_sync(path.data());
	std::ifstream in(path);
	std::stringstream ss;
	ss << in.rdbuf();
	unlink(path.c_str());
	rmdir(dir.c_str());
	check(st, "rendering the configuration");
	return ss.str();
}

} // namespace

doc config_show(call &)
{
	std::string text = rendered();
	if (!opts().json)
		return text;
	return {{"path", qorl_get_cfg_path()}, {"text", text}};
}

doc config_path(call &)
{
	return opts().json ? doc{{"path", qorl_get_cfg_path()}} : doc(qorl_get_cfg_path());
}

} // namespace mxt
