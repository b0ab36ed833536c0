// The runner: every command's arguments are read, its session opened, its
// address resolved, its failure reported and its change written back here,
// the same way for all.
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "qorl_adapter.h"
#include "qorl_config.h"
#include "qorl_ioc.h"
#include "table.h"

namespace mxt {

globals &opts()
{
	static globals g;
	return g;
}

doc printed()
{
	return doc(doc::value_t::discarded);
}

library_lines_to_stderr::library_lines_to_stderr()
{
	std::fflush(stdout);
	saved = dup(STDOUT_FILENO);
	if (saved >= 0)
		dup2(STDERR_FILENO, STDOUT_FILENO);
}

library_lines_to_stderr::~library_lines_to_stderr()
{
	std::fflush(stdout);
	if (saved >= 0) {
		dup2(saved, STDOUT_FILENO);
		close(saved);
	}
}

int discover(qor_aen_app_t app)
{
	// The library warns on standard output when a driver speaks another
	// interface version.
	library_lines_to_stderr quiet;
	qorl_libinit(app);
	qorl_libload();
	// So that the last error after the scan is the scan's own.
	qorl_set_last_error(QOR_STATUS_OK);
	return qorl_adapter_scan();
}

void open_session(qor_aen_app_t app)
{
	static bool open = false;
	if (open)
		return;
	open = true;
	const int n = discover(app);
	qor_status_t st = qorl_get_last_error();
	// A host with one of the two drivers only is no fault.
	if (st == QOR_STATUS_OK || (n > 0 && st == QOR_STATUS_NO_DRIVER))
		return;
	if (qorl_ioc_get_num() == 0 && st == QOR_STATUS_NO_DRIVER)
		fail_status("no adapter driver answers", st,
			    "load the adapter drivers, or run under qorsim for emulated hardware");
	const std::string hint =
		st == QOR_STATUS_EIO ? "a driver that reports more than 128 instances (the library's limit per driver) is "
				       "refused with this status; otherwise a request to a driver failed: check the "
				       "drivers' state and try again"
				     : "check the drivers' state and try again";
	if (n == 0)
		fail_status("adapter discovery failed", st, hint);
	fprintf(stderr, "mxt: warning: adapter discovery left a driver's controllers out: %s; %s\n",
		status_text(st).c_str(), hint.c_str());
}

std::string call::address() const
{
	if (port >= 0)
		return std::to_string(adapter) + "/" + std::to_string(port);
	if (adapter > 0)
		return std::to_string(adapter);
	return id >= 0 ? std::to_string(id) : "";
}

std::string call::where() const
{
	if (port >= 0)
		return "port " + address();
	if (adapter > 0)
		return "adapter " + address();
	return id >= 0 ? "controller " + address() : "";
}

doc call::address_doc() const
{
	if (port >= 0)
		return {{"port", address()}};
	if (adapter > 0)
		return {{"adapter", adapter}};
	if (id >= 0)
		return {{"id", id}};
	return doc::object();
}

doc call::changed(qor_status_t st, const std::string &doing, const std::string &hint)
{
	const bool listed = std::find(cmd.already.begin(), cmd.already.end(), st) != cmd.already.end();
	if (!listed)
		check(st, doing, hint);
	already = cmd.probe ? was != nullptr : listed;
	if (already)
		note = doing + ": " + (was ? was : status_text(st)) + "; nothing changed";
	return nullptr;
}

namespace {

// Names of the sides, in the order of enum side.
struct side_names {
	const char *word, *noun;
};
constexpr side_names side_text[] = {
	{"any", ""}, {"fc", "Fibre Channel or FCoE"}, {"eth", "Ethernet"}, {"fcoe", "FCoE"}};

const char *side_word(side s)
{
	return side_text[(int)s].word;
}

const char *side_noun(side s)
{
	return side_text[(int)s].noun;
}

// Names of the argument kinds, in the order of enum arg.
constexpr const char *arg_words[] = {"adapter", "port",     "controller", "wwn",  "text", "choice", "number",
				     "speed",   "topology", "alpa",       "partition", "flag", "ports"};
static_assert(sizeof arg_words / sizeof *arg_words == (size_t)arg::ports + 1);

const char *effect_word(effect e)
{
	return e == effect::sets ? "sets" : e == effect::acts ? "acts" : "reads";
}

} // namespace

bool on_side(const qorl_t *q, side s)
{
	const bool fc = q->ioc_type == QOR_IOC_TYPE_FC || q->ioc_type == QOR_IOC_TYPE_FCoE;
	switch (s) {
	case side::fc:
		return fc;
	case side::eth:
		return !fc;
	case side::fcoe:
		return q->ioc_type == QOR_IOC_TYPE_FCoE;
	default:
		return true;
	}
}

namespace {

std::string type_noun(const qorl_t *q)
{
	switch (q->ioc_type) {
	case QOR_IOC_TYPE_FC:
		return "a Fibre Channel";
	case QOR_IOC_TYPE_FCoE:
		return "an FCoE";
	default:
		return "an Ethernet";
	}
}

// The adapter, and the controller of the row's side, that the arguments name.
void resolve(call &c)
{
	const side s = c.cmd.needs;
	if (c.adapter > 0) {
		c.ad = qorl_adapter_open_idx(c.adapter);
		if (!c.ad)
			fail("no adapter " + std::to_string(c.adapter) + "; 'mxt adapter list' shows the adapters");
	}
	if (c.port >= 0) {
		c.q = s == side::any   ? qorl_adapter_get_ioc(c.ad, c.port)
		      : s == side::eth ? qorl_adapter_get_ethioc(c.ad, c.port)
				       : qorl_adapter_get_fcioc(c.ad, c.port);
		if (!c.q)
			fail("adapter " + std::to_string(c.adapter) + " has no " +
			     (s == side::any ? std::string() : std::string(side_noun(s)) + " ") + "port " +
			     std::to_string(c.port) + "; 'mxt port list' shows the ports");
		if (!on_side(c.q, s))
			fail("port " + c.address() + " is " + type_noun(c.q) + " port, not an " + side_noun(s) +
			     " port; 'mxt port list' shows each port's type");
	}
	if (c.id >= 0) {
		c.q = qorl_ioc_open_idx(c.id);
		if (!c.q)
			fail("no controller " + std::to_string(c.id) + "; 'mxt ioc list' shows the controllers");
		if (!on_side(c.q, s))
			fail("controller " + std::to_string(c.id) + " is " + type_noun(c.q) + " controller; 'mxt " +
			     c.cmd.path + "' takes " + side_noun(s) +
			     " controllers ('mxt ioc list' shows their types)");
	}
}

// Writes the configuration back and says so when the file did not take it.
void write_back(const call &c)
{
	std::string path = qorl_get_cfg_path();
	qor_status_t st = qorl_config_sync(path.data());
	if (st != QOR_STATUS_OK)
		fail_status("the setting is active now but will not survive a restart: writing " + path + " failed", st,
			    "make " + path + " and its directory writable, then repeat the command");
	// An adapter's settings are kept under its serial number; the library
	// keeps none for a serial that cannot be written as a plain word, or
	// when the file names as many adapters as it can hold.
	if (c.ad && !c.q && !c.already && qorl_config_ad_lookup(c.ad->serial_num) < 0)
		fail("the setting is active now but will not survive a restart: " + path + " has no place for adapter " +
		     std::to_string(c.adapter) + " (serial number '" + c.ad->serial_num +
		     "' is not a plain word, or the file holds as many adapters as it can); set it again after each start");
}

// What --json prints for a command that has nothing else to show.
doc done(const call &c)
{
	doc d;
	d["command"] = c.cmd.path;
	d.update(c.address_doc());
	d["changed"] = !c.already;
	d["config_path"] = c.cmd.does == effect::sets ? doc(qorl_get_cfg_path()) : doc();
	return d;
}

} // namespace

namespace {

// The call of a row with its arguments read.
call read_args(const command &cmd, const std::map<std::string, std::string> &raw,
	       const std::map<std::string, bool> &flags)
{
	call c{cmd};
	for (const param &p : cmd.params) {
		if (p.type == arg::flag) {
			auto f = flags.find(p.name);
			c.flags[p.name] = f != flags.end() && f->second;
		} else if (auto v = raw.find(p.name); v != raw.end()) {
			read_arg(c, p, v->second);
		} else if (p.def) {
			read_arg(c, p, p.def);
		}
	}
	return c;
}

} // namespace

doc collect(const command &cmd, const std::map<std::string, std::string> &raw, const std::map<std::string, bool> &flags)
{
	call c = read_args(cmd, raw, flags);
	resolve(c);
	return cmd.run(c);
}

void run(const command &cmd, const std::map<std::string, std::string> &raw, const std::map<std::string, bool> &flags)
{
	call c = read_args(cmd, raw, flags);
	if (cmd.opens != session::none)
		open_session(cmd.opens == session::events ? qor_aen_app_test : qor_aen_app_mxt);
	resolve(c);
	if (cmd.probe)
		c.was = cmd.probe(c);
	doc out = cmd.run(c);
	if (cmd.does == effect::sets)
		write_back(c);
	if (!c.note.empty())
		fprintf(stderr, "mxt: note: %s\n", c.note.c_str());
	if (out.is_discarded())
		return;
	if (!out.is_null())
		print(out);
	else if (opts().json)
		print(done(c));
}

namespace {

// "on|off", "N", "VALUE": what an argument's value looks like in a usage line.
std::string value_text(const param &p)
{
	if (!p.choices.empty()) {
		std::string s;
		for (const std::string &ch : p.choices)
			s += (s.empty() ? "" : "|") + ch;
		return s;
	}
	if (p.name[0] != '-')
		return p.type == arg::ports ? std::string(p.name) + "..." : p.name;
	return p.type == arg::number ? "N" : "VALUE";
}

} // namespace

std::string usage(const command &c)
{
	std::string s = c.path;
	for (const param &p : c.params) {
		std::string name = p.name;
		for (char &ch : name)
			if (ch == ',')
				ch = '|';
		const std::string item = p.name[0] != '-' ? value_text(p)
					 : p.type == arg::flag ? name
							       : name + " " + value_text(p);
		s += " " + (required(p) ? item : "[" + item + "]");
	}
	return s;
}

std::string command_lines()
{
	std::string out;
	for (const command &c : commands())
		out += usage(c) + "\n    " + c.help + " (" + side_word(c.needs) + ", " + effect_word(c.does) + ")\n";
	return out;
}

doc command_list()
{
	doc rows = doc::array();
	for (const command &c : commands()) {
		doc args = doc::array();
		for (const param &p : c.params)
			args.push_back({{"name", p.name},
					{"help", p.help},
					{"required", required(p)},
					{"choices", p.choices},
					{"default", p.def ? doc(p.def) : doc()},
					{"type", arg_words[(int)p.type]}});
		rows.push_back({{"path", c.path},
				{"arguments", args},
				{"side", side_word(c.needs)},
				{"effect", effect_word(c.does)},
				{"help", c.help}});
	}
	return rows;
}

} // namespace mxt
