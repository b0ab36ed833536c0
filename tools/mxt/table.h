// The command table: one row per command, and the call its action receives.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "mxt.h"
#include "qorl_adapter.h"
#include "qorl_rport.h"

namespace mxt {

// What an argument is; the runner parses each kind with one strict parser.
enum class arg {
	adapter,    // adapter number, decimal, from 1
	port,       // "A/P": adapter number and port number, decimal
	controller, // controller id, decimal, as 'mxt ioc list' shows it
	wwn,        // 21:00:02:5a:30:00:00:01, 0x + 16 hex digits, or 16 hex digits
	text,       // free text
	choice,     // one of the param's choices
	number,     // decimal within the param's range
	speed,      // what the codec reads: 8, 8G, 8Gbps, auto
	topology,   // p2p, loop, auto (any case)
	alpa,       // a loop address (0x01 to 0xef, or decimal), or "clear"
	partition,  // a flash partition: its name ('mxt flash list'), optionally ":INSTANCE"
	flag,       // an option without a value
	ports,      // zero or more "A/P" addresses (positional, optional)
};

// The controller an address must lead to.
enum class side { any, fc, eth, fcoe };
// What a command does: only "sets" rows write the configuration back.
enum class effect { reads, acts, sets };
// The library session a command opens.
enum class session { none, tool, events };

struct param {
	arg type;
	const char *name; // positional "A/P"; option "--delay"; flag "--follow,-f"
	const char *help;
	std::vector<std::string> choices = {};
	long lo = 0, hi = 0;       // number range
	const char *def = nullptr; // value of an option that is not given
	bool optional = false;     // a positional that may be left out
	bool hex = false;          // a number may also be given as 0x and hex digits
	bool in_report = false;    // a flag 'mxt report' sets when it runs the row
};
// Whether a param must be given: positionals, except optional ones.
inline bool required(const param &p)
{
	return p.name[0] != '-' && !p.optional;
}

struct call;
// An action returns what to print: a document; null for a change with nothing
// to show (--json then prints what was done); or printed() when it wrote its
// own output.
using action = doc (*)(call &);
doc printed();

struct command {
	const char *path; // "port speed"
	const char *help;
	std::vector<param> params = {};
	side needs = side::any;
	effect does = effect::reads;
	action run = nullptr;
	session opens = session::tool;
	// Statuses that mean the object was already as asked: the command
	// succeeds, with a note.
	std::vector<qor_status_t> already = {};
	// For a change the driver answers with success either way: whether the
	// object already is as asked, read before the action ("the port is
	// already enabled"), or null. It then decides the note, not the status.
	const char *(*probe)(call &) = nullptr;
};

const std::vector<command> &commands();
// The maximum frame sizes a port takes.
inline constexpr char frame_sizes[] = "512, 1024, 2048 or 2112";
// Help of the command groups ("port": physical ports ...).
const std::map<std::string, std::string> &groups();

// One run of a command: its parsed arguments and what they lead to.
struct call {
	const command &cmd;
	int adapter = 0; // adapter number, 0 when none
	int port = -1;   // port number of an A/P address
	std::vector<std::pair<int, int>> addresses; // an address list: adapter and port of each
	int id = -1;     // controller id
	qorl_adapter_t *ad = nullptr;
	qorl_t *q = nullptr; // the controller of the row's side
	wwn_t wwn = 0;
	qor_port_speed_t speed = QOR_PORT_SPEED_AUTO;
	qor_port_topology_t topology = QOR_PORT_TOPOLOGY_AUTO;
	qor_flash_part_type_t part = QOR_FLASH_PART_FWIMG; // a partition argument
	uint8_t part_instance = 0;
	std::map<std::string, std::string> words; // text and choice arguments
	std::map<std::string, long> numbers;      // number and alpa (-1: clear)
	std::map<std::string, bool> flags;
	bool already = false;       // nothing changed: it was so
	const char *was = nullptr;  // what the row's probe found
	std::string note;           // printed once the command succeeded

	// "port 1/0", "adapter 1", "controller 3".
	std::string where() const;
	// "1/0".
	std::string address() const;
	// The address as output keys: {"port": "1/0"}, {"adapter": 1}, {"id": 3}.
	doc address_doc() const;
	// The result of a change: OK; one of the row's "already" statuses (the
	// command still succeeds); anything else fails. When the object was
	// already as asked (the probe's finding, else the status), a note on
	// stderr will say so. Returns the action's result: nothing to show.
	doc changed(qor_status_t st, const std::string &doing, const std::string &hint = "");
};

// Runs one row with the raw argument texts, by param name.
void run(const command &cmd, const std::map<std::string, std::string> &raw, const std::map<std::string, bool> &flags);
// Runs a reading row in the open session with the arguments given and
// returns what it would print (its JSON when opts().json is set); a failure
// throws as in run().
doc collect(const command &cmd, const std::map<std::string, std::string> &raw,
	    const std::map<std::string, bool> &flags);
// Whether a controller is of a side.
bool on_side(const qorl_t *q, side s);
// Every command path with its arguments and traits (--list-commands --json).
doc command_list();
// "ioc coalesce ID on|off [--delay N] [--latency N]".
std::string usage(const command &c);
// --list-commands as text: each command's usage line, then its help, side and effect.
std::string command_lines();

// Reads one argument into the call with the strict reader of its kind;
// fails naming the argument and what it takes.
void read_arg(call &c, const param &p, const std::string &s);

// Actions, by module.
doc ioc_list(call &);
doc ioc_show(call &);
doc ioc_coalesce(call &);
doc ioc_name(call &);
doc adapter_list(call &);
doc adapter_show(call &);
doc adapter_name(call &);
// Enable (true) or disable (false).
template <bool On> doc adapter_switch(call &);
const char *adapter_disabled(call &);
doc config_show(call &);
doc config_path(call &);
doc port_list(call &);
doc port_show(call &);
template <bool On> doc port_switch(call &);
// Probe of the port enable/disable rows (FCoE ports too).
template <bool On> const char *port_is(call &);
doc port_speed(call &);
doc port_topology(call &);
doc port_alpa(call &);
doc port_frame_size(call &);
doc port_stats(call &);
doc trunk_show(call &);
template <bool On> doc trunk_switch(call &);
doc lport_list(call &);
doc rport_list(call &);
doc rport_show(call &);
doc itnim_show(call &);
doc eth_show(call &);
doc eth_stats(call &);
doc fcoe_show(call &);
doc fcoe_stats(call &);
template <bool On> doc fcoe_switch(call &);
doc events(call &);
doc flash_list(call &);
doc flash_read(call &);
doc flash_write(call &);
doc flash_erase(call &);
doc flash_optrom(call &);
doc boot_inspect(call &);
doc boot_update(call &);
doc lun_list(call &);
doc scsi_inquiry(call &);
doc scsi_capacity(call &);
doc scsi_tur(call &);
doc scsi_read(call &);
doc stats(call &);
doc report(call &);

// What a name may hold: an adapter's (null) or the port's of a controller.
std::string name_rules(const qorl_t *q);
// The attributes of the port the call names.
qor_port_attr_t read_port_attr(const call &c);
// Every remote port WWN of the logical port lpwwn of the call's port.
std::vector<wwn_t> rport_wwns(const call &c, wwn_t lpwwn);
// The controller record of the list for a copy kept by an adapter.
qorl_t *listed_controller(const qorl_t *copy);
// The driver, firmware and boot code versions of a controller's attributes.
doc driver_doc(const qor_ioc_driver_attr_t &dr);
// A controller as 'ioc list' and 'adapter show' show it.
doc controller_doc(qorl_t *q);
// "A/P" of the port a controller (or an adapter's copy of one) serves; null
// when unknown.
doc port_of(qorl_t *q);
// What names a controller unambiguously: driver ("fc" or "eth"), instance
// and port; all null without one.
doc controller_key(qorl_t *q);
// The key as text: "fc instance 1 (port 1/1)", "-" without a controller.
std::string controller_text(const doc &key);
// Counters of a named group ("fc_port", "txf_stats", ...).
struct counter_group {
	std::string name;
	counter_list values;
};
// The counters of a controller's port, of an Ethernet port (its transmit,
// receive and driver records) and of an FCoE port; where names the port in
// a failure.
counter_list port_counters(qorl_t *q, const std::string &where);
std::vector<counter_group> eth_counters(qorl_t *q, const std::string &where);
counter_list fcoe_counters(qorl_t *q, const std::string &where);
// The WWN of a port's base logical port; every remote port WWN of a logical
// port; a remote port's counters.
wwn_t base_lport(qorl_t *q, const std::string &where);
std::vector<wwn_t> rport_wwns(qorl_t *q, const std::string &where, wwn_t lpwwn);
counter_list rport_counters(const qor_rport_stats_t &s);
// Shows a port's counters, or resets them with --reset.
template <class Show> doc stats_or_reset(call &c, qor_status_t (*reset)(qorl_t *), const char *what, Show show)
{
	if (c.flags["--reset"]) {
		check(reset(c.q), std::string("resetting the ") + what + " of " + c.where());
		return nullptr;
	}
	return show();
}

// cmd_events.cc: the event kinds, and the command itself.
std::vector<std::string> event_kinds();
// With journal, each event goes to the systemd journal as one structured
// entry instead of standard output.
// Returns what to print (see action).
doc events_run(bool follow_on, const std::string &kind, bool journal);

} // namespace mxt
