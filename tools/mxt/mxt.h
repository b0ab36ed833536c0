// mxt: the command-line tool. Commands parse their arguments, make a few
// library calls and hand a document to the one formatter of the chosen form.
#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <functional>
#include <string>

#include "qorl.h"

namespace mxt {

using doc = nlohmann::ordered_json;

// Options every command sees.
struct globals {
	bool json = false;
};
globals &opts();

// Failure of a command: one line on stderr, exit 1.
struct failure {
	std::string what;
};
[[noreturn]] void fail(const std::string &what);
// "what failed: status N (NAME): meaning; hint" for a library status.
[[noreturn]] void fail_status(const std::string &what, qor_status_t st, const std::string &hint = "");
const char *status_name(qor_status_t st);
std::string status_text(qor_status_t st);

// Output: a record (object) or a list (array of objects), as text or JSON.
void print(const doc &d);

// Library session: init as the command-line identity, load, discover.
// Fails with the driver message when no driver answers.
void open_session(qor_aen_app_t app = qor_aen_app_mxt);
// Writes the configuration back: only after a change.
void sync_config();

// Text forms.
std::string wwn_text(wwn_t w);
std::string mac_text(const mac_t &m);
std::string mac_text(const uint8_t *m);
bool parse_wwn(const std::string &s, wwn_t *w);
// Up to n bytes of a driver text field.
std::string field(const char *s, size_t n);
template <size_t N> std::string field(const char (&s)[N]) { return field(s, N); }

// Command registration: each command module adds its subcommands.
using registrar = std::function<void(CLI::App &)>;
void add_commands(CLI::App &app);

void register_ioc(CLI::App &app);
void register_adapter(CLI::App &app);
void register_config(CLI::App &app);
void register_port(CLI::App &app);
void register_rport(CLI::App &app);
void register_eth(CLI::App &app);
void register_events(CLI::App &app);

// Ports are addressed as "A/P": adapter number (from 1) and port number.
enum class side { any, fc, eth };
// The controller of that side at the address; fails with a hint when none.
qorl_t *port_arg(const std::string &ap, side s);
// Name/value pairs as one object, in table order.
template <class Pair> doc pairs_doc(const Pair *p, int n)
{
	doc d = doc::object();
	for (int i = 0; i < n; i++)
		d[field(p[i].name)] = p[i].value;
	return d;
}
// A port address as stored in an attribute word: its three bytes, "xxyyzz".
std::string pid_text(uint32_t pid);

} // namespace mxt
