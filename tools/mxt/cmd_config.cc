// mxt config: the persistent configuration file.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include "mxt.h"
#include "qorl_config.h"
#include "qorl_ioc.h"

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
	if (st != QOR_STATUS_OK)
		fail_status("rendering the configuration", st);
	return ss.str();
}

void show()
{
	open_session();
	std::string text = rendered();
	if (opts().json) {
		doc d;
		d["path"] = qorl_get_cfg_path();
		d["text"] = text;
		print(d);
	} else {
		fputs(text.c_str(), stdout);
	}
}

void path()
{
	if (opts().json)
		print(doc{{"path", qorl_get_cfg_path()}});
	else
		puts(qorl_get_cfg_path());
}

} // namespace

void register_config(CLI::App &app)
{
	auto *c = app.add_subcommand("config", "the persistent configuration file");
	c->require_subcommand(1);
	c->add_subcommand("show", "the file as the library would write it now")->callback(show);
	c->add_subcommand("path", "where the file lives")->callback(path);
}

} // namespace mxt
