#include <cstdio>
#include <cstring>

#include "mxt.h"
#include "qorl_adapter.h"
#include "qorl_ioc.h"

namespace mxt {

globals &opts()
{
	static globals g;
	return g;
}

void fail(const std::string &what)
{
	throw failure{what};
}

void fail_status(const std::string &what, qor_status_t st, const std::string &hint)
{
	std::string msg = what + ": " + status_text(st);
	if (!hint.empty())
		msg += "; " + hint;
	throw failure{msg};
}

void open_session(qor_aen_app_t app)
{
	qorl_libinit(app);
	qorl_libload();
	int n = qorl_adapter_scan();
	if (n > 0)
		return;
	qor_status_t st = qorl_get_last_error();
	if (qorl_ioc_get_num() == 0 && st == QOR_STATUS_NO_DRIVER)
		fail_status("no adapter driver answers", st,
			    "load the adapter drivers, or run under qorsim for emulated hardware");
	if (st != QOR_STATUS_OK)
		fail_status("adapter discovery failed", st, "check the drivers' state and try again");
}

void sync_config()
{
	qorl_libsync();
}

void add_commands(CLI::App &app)
{
	register_ioc(app);
	register_adapter(app);
	register_config(app);
	register_port(app);
	register_rport(app);
	register_eth(app);
	register_events(app);
}

} // namespace mxt

int main(int argc, char **argv)
{
	CLI::App app{"mxt: manage the host's Fibre Channel, FCoE and Ethernet adapters"};
	app.require_subcommand(1);
	app.add_flag("--json", mxt::opts().json, "print JSON instead of text");
	// "--json" may also follow the command and its arguments.
	app.fallthrough();
	app.set_version_flag("--version", "mxt 1.0.0");
	mxt::add_commands(app);
	int rc = 0;
	try {
		app.parse(argc, argv);
	} catch (const CLI::ParseError &e) {
		rc = app.exit(e);
		return rc == 0 ? 0 : 1;
	} catch (const mxt::failure &f) {
		fprintf(stderr, "mxt: %s\n", f.what.c_str());
		rc = 1;
	}
	qorl_libexit();
	return rc;
}
