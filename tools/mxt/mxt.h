// mxt: the command-line tool. Every command is one row of the table in
// commands.cc; the runner parses its arguments, opens the library session,
// finds the adapter or controller it names, runs its action and writes a
// changed setting back. Actions hand a document to the one formatter of the
// chosen form (text or JSON).
#pragma once

#include <nlohmann/json.hpp>

#include <functional>
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
// Text for a terminal: control characters (C0, DEL, C1) as \xNN, so that
// a name or vendor string from a driver cannot move the cursor or retitle
// the window; with lines, newlines and tabs stay.
std::string printable(std::string_view s, bool lines = false);
// A value as a text cell shows it: "-" for null, "yes"/"no", lists joined by ",".
std::string scalar_text(const doc &v);

// Replaces a file whole: write(fd) fills a temporary file beside it, which
// is synced and renamed over it. A target that exists and is not a regular
// file is refused; a failure leaves the old file and no temporary.
void replace_file_with(const std::string &path, const std::function<void(int fd)> &write);
// Fails unless path names a file that may be replaced: a name, and nothing
// there but a regular file (a directory, link or device is left alone).
void check_replaceable(const std::string &path);
// Opens a new temporary file beside path (".<name>.XXXXXX", mode 0666 less
// the umask) once check_replaceable passed; *tmp gets its name.
int create_beside(const std::string &path, std::string *tmp);
// As replace_file_with, but a device or pipe there (/dev/stdout, a tape)
// is written as it is, through a link too.
void write_to(const std::string &path, const std::function<void(int fd)> &write);
// Writes all of data to fd; fails naming path.
void write_all(int fd, std::string_view data, const std::string &path);

// Library session: init under an application identity, load, discover.
// Fails with the driver message when no driver answers.
void open_session(qor_aen_app_t app = qor_aen_app_mxt);
// While it lives, what the library prints on standard output (designed
// warnings) goes to standard error: mxt's standard output carries its
// document only (JSON, the Prometheus text).
struct library_lines_to_stderr {
	int saved = -1;
	library_lines_to_stderr();
	~library_lines_to_stderr();
	library_lines_to_stderr(const library_lines_to_stderr &) = delete;
	library_lines_to_stderr &operator=(const library_lines_to_stderr &) = delete;
};
// Init, load and scan, whatever the outcome (the last error is the scan's);
// what the library prints meanwhile goes to standard error. Returns the
// adapter count.
int discover(qor_aen_app_t app);

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
// A counter: its key (snake_case), the name the library or the record gives
// it, and its value.
struct counter {
	std::string key, label;
	uint64_t value;
};
using counter_list = std::vector<counter>;
// Counters as one object, key -> value, in order.
doc counters_doc(const counter_list &c);
// Name/value pairs as counters with snake_case keys, in table order; a key
// met twice gets "_2", "_3", ...
template <class Pair> counter_list pair_counters(const Pair *p, int n)
{
	counter_list c;
	c.reserve(n > 0 ? (size_t)n : 0);
	for (int i = 0; i < n; i++) {
		const std::string label = field(p[i].name);
		std::string k = snake(label);
		for (int dup = 2;; dup++) {
			bool taken = false;
			for (const counter &e : c)
				taken = taken || e.key == k;
			if (!taken)
				break;
			k = snake(label) + "_" + std::to_string(dup);
		}
		c.push_back({k, label, p[i].value});
	}
	return c;
}
// Name/value pairs as one object with snake_case keys, in table order.
template <class Pair> doc pairs_doc(const Pair *p, int n)
{
	return counters_doc(pair_counters(p, n));
}

} // namespace mxt
