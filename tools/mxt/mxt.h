// mxt: the command-line tool. Every command is one row of the table in
// commands.cc; the runner parses its arguments, opens the library session,
// finds the adapter or controller it names, runs its action and writes a
// changed setting back. Actions hand a document to the one formatter of the
// chosen form (text or JSON).
#pragma once

#include <nlohmann/json.hpp>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "qorl.h"

namespace mxt {

using doc = nlohmann::ordered_json;

// Options every command sees.
struct globals {
	bool json = false;
	int exit_code = 0; // a command that printed its result and still failed
};
globals &opts();

// A failed command: one line on stderr ("mxt: <message>"), with --json also
// an error object on stdout; exit 1. has_status tells whether a library
// status goes with it.
struct failure {
	std::string message;
	bool has_status = false;
	qor_status_t status = QOR_STATUS_OK;
	doc scsi = nullptr; // what a target answered, for a SCSI command it refused
};
[[noreturn]] void fail(const std::string &what);
// "what: status N (NAME): meaning; hint".
[[noreturn]] void fail_status(const std::string &what, qor_status_t st, const std::string &hint = "");
// Fails as fail_status unless st is QOR_STATUS_OK.
void check(qor_status_t st, const std::string &what, const std::string &hint = "");
const char *status_name(qor_status_t st);
std::string status_text(qor_status_t st);
// The error object of a failure, as --json prints it.
doc error_doc(const failure &f);

// Output: a record (object), a list (array of objects) or a plain text, as
// text or JSON.
void print(const doc &d);
// A document as JSON on one line (bytes that are not UTF-8 become U+FFFD).
std::string one_line(const doc &d);

// Library session: init under an application identity, load, discover.
// Fails with the driver message when no driver answers.
void open_session(qor_aen_app_t app = qor_aen_app_mxt);

// Text forms, through the shared codec.
std::string wwn_text(wwn_t w);
std::string mac_text(const mac_t &m);
std::string mac_text(const uint8_t *m);
// Up to n bytes of a driver text field; bytes that are not UTF-8 become U+FFFD.
std::string field(const char *s, size_t n);
template <size_t N> std::string field(const char (&s)[N])
{
	return field(s, N);
}

// Values as both forms show them; null where there is nothing to show.
doc wwn_value(wwn_t w);              // null for 0
doc mac_value(const uint8_t *m);     // null for 00:00:00:00:00:00
doc word_value(const char *display); // a library display word; null for "unknown", "---", "--"
doc type_value(uint32_t ioc_type);   // "fc", "fcoe", "eth"
doc topology_value(uint32_t topo);   // "p2p", "loop", "auto"
doc pid_value(uint32_t pid);         // the FC address as 6 hex digits; null for 0
doc cos_value(uint32_t cos);         // "class 3", "class 2 and 3"
doc roles_value(uint32_t bits);      // ["initiator", "target"]: the words of the known role bits
// key_gbps (a number) and key (its text, "8G" or "Auto"), null when unknown.
void put_speed(doc &d, const std::string &key, uint32_t code);
// "Rx CRC err frames" -> "rx_crc_err_frames".
std::string snake(std::string_view label);
// Name/value pairs as one object with snake_case keys, in table order.
template <class Pair> doc pairs_doc(const Pair *p, int n)
{
	doc d = doc::object();
	for (int i = 0; i < n; i++) {
		std::string k = snake(field(p[i].name));
		for (int dup = 2; d.contains(k); dup++)
			k = snake(field(p[i].name)) + "_" + std::to_string(dup);
		d[k] = p[i].value;
	}
	return d;
}

} // namespace mxt
