// mxt stats: the counters of every port at once (FC, FCoE and Ethernet, and
// remote ports with --rports), as text, JSON or the Prometheus text format,
// or as per-second rates with --watch.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <ctime>
#include <deque>
#include <iostream>
#include <map>
#include <unordered_map>

#include "qor/qor_text.h"
#include "qorl_port.h"
#include "qorl_rport.h"
#include "qorl_state.h"
#include "table.h"

namespace mxt {

namespace {

// One controller of a port address: the FC side (FC or FCoE) or the
// Ethernet side. Groups that could not be read are absent, with the
// failure in errors.
struct port_snap {
	int adapter = 0, port = 0;
	qorl_t *q = nullptr;
	const char *kind = ""; // "fc_port", "fcoe_port", "eth_port"
	bool have_attr = false;
	qor_port_attr_t attr{};
	std::vector<counter_group> groups;
	bool with_rports = false;
	std::vector<std::pair<wwn_t, counter_list>> rports;
	std::vector<std::string> errors;

	bool fc_side() const { return q->ioc_type != QOR_IOC_TYPE_LL; }
	std::string address() const { return std::to_string(adapter) + "/" + std::to_string(port); }
	std::string where() const { return "port " + address(); }
};

// Runs one read of a snapshot; a failure is noted, not fatal, so that one
// port that does not answer leaves the others' counters.
template <class Read> void attempt(port_snap &s, Read read)
{
	try {
		read();
	} catch (const failure &f) {
		s.errors.push_back(f.message);
	}
}

void read_port(port_snap &s, bool rports)
{
	const std::string where = s.where();
	s.have_attr = qorl_port_get_attr(s.q, &s.attr) == QOR_STATUS_OK;
	switch (s.q->ioc_type) {
	case QOR_IOC_TYPE_FC:
		s.kind = "fc_port";
		attempt(s, [&] { s.groups.push_back({"fc_port", port_counters(s.q, where)}); });
		break;
	case QOR_IOC_TYPE_FCoE:
		s.kind = "fcoe_port";
		attempt(s, [&] { s.groups.push_back({"fcoe_port", port_counters(s.q, where)}); });
		attempt(s, [&] { s.groups.push_back({"fcoe", fcoe_counters(s.q, where)}); });
		break;
	default: {
		s.kind = "eth_port";
		attempt(s, [&] { s.groups.push_back({"eth_port", port_counters(s.q, where)}); });
		static const std::map<std::string, std::string> renamed = {
			{"txf_stats", "eth_tx"}, {"rxf_stats", "eth_rx"}, {"drv_stats", "eth_driver"}};
		attempt(s, [&] {
			for (counter_group &g : eth_counters(s.q, where))
				s.groups.push_back({renamed.at(g.name), std::move(g.values)});
		});
	}
	}
	if (!rports || !s.fc_side())
		return;
	s.with_rports = true;
	attempt(s, [&] {
		const wwn_t lp = base_lport(s.q, where);
		for (wwn_t rw : rport_wwns(s.q, where, lp)) {
			qor_rport_stats_t st;
			qor_status_t rc = qorl_rport_get_stats(s.q, 0, lp, rw, &st);
			if (rc == QOR_STATUS_OK)
				s.rports.emplace_back(rw, rport_counters(st));
			else
				s.errors.push_back("reading the statistics of remote port " + wwn_text(rw) + " of " + where +
						   ": " + status_text(rc));
		}
	});
}

// The ports asked for (every port when none), checked before anything is read.
std::vector<std::pair<int, int>> selected(const call &c)
{
	std::vector<std::pair<int, int>> out;
	if (!c.addresses.empty()) {
		for (auto [a, p] : c.addresses) {
			qorl_adapter_t *ad = qorl_adapter_open_idx(a);
			if (!ad)
				fail("no adapter " + std::to_string(a) + "; 'mxt adapter list' shows the adapters");
			if (!qorl_adapter_get_ioc(ad, p))
				fail("adapter " + std::to_string(a) + " has no port " + std::to_string(p) +
				     "; 'mxt port list' shows the ports");
			// A port named twice is shown once: the exposition format
			// refuses a series that appears twice.
			if (std::find(out.begin(), out.end(), std::pair{a, p}) == out.end())
				out.emplace_back(a, p);
		}
		return out;
	}
	for (unsigned a = 1; a <= qorl_adapter_get_count(); a++)
		if (qorl_adapter_t *ad = qorl_adapter_open_idx((int)a))
			for (int p = 0; p < ad->port_count; p++)
				if (qorl_adapter_get_ioc(ad, p))
					out.emplace_back((int)a, p);
	return out;
}

std::vector<port_snap> snapshot(const std::vector<std::pair<int, int>> &ports, bool rports)
{
	std::vector<port_snap> snaps;
	for (auto [a, p] : ports) {
		qorl_adapter_t *ad = qorl_adapter_open_idx(a);
		for (qorl_t *q : {ad ? qorl_adapter_get_fcioc(ad, p) : nullptr, ad ? qorl_adapter_get_ethioc(ad, p) : nullptr}) {
			if (!q)
				continue;
			port_snap &s = snaps.emplace_back();
			s.adapter = a;
			s.port = p;
			s.q = q;
			read_port(s, rports);
		}
	}
	return snaps;
}

doc state_of(const port_snap &s)
{
	return s.have_attr ? word_value(qorl_port_get_state_name((qor_port_states_t)s.attr.port_state)) : doc();
}

doc snap_doc(const port_snap &s)
{
	doc d;
	d["port"] = s.address();
	d["adapter"] = s.adapter;
	d["port_num"] = s.port;
	d["ioc_type"] = type_value(s.q->ioc_type);
	d["pwwn"] = s.fc_side() ? wwn_value(s.q->pwwn) : doc();
	d["mac"] = s.q->ioc_type != QOR_IOC_TYPE_FC ? mac_value(s.q->mac.mac) : doc();
	d["port_state"] = state_of(s);
	put_speed(d, "speed", s.have_attr ? s.attr.speed : (uint32_t)QOR_PORT_SPEED_UNKNOWN);
	doc groups = doc::object();
	for (const counter_group &g : s.groups)
		groups[g.name] = counters_doc(g.values);
	d["counters"] = groups;
	if (s.with_rports) {
		doc rs = doc::array();
		for (const auto &[w, c] : s.rports)
			rs.push_back({{"pwwn", wwn_text(w)}, {"counters", counters_doc(c)}});
		d["rports"] = rs;
	} else {
		d["rports"] = nullptr;
	}
	d["errors"] = s.errors;
	return d;
}

// ---- the Prometheus text format -------------------------------------------------

// Metric families in order of first use; the samples of each family are
// written together, as the format asks. A sample is a label set (kept once)
// and a value; the HELP text is made only for a new family, so that
// thousands of remote ports cost one lookup a sample and no text is copied
// until it is written.
class exposition {
public:
	// A label set: `a="1",b="2"`; its id for add().
	size_t labels(std::string set)
	{
		sets_.push_back(std::move(set));
		return sets_.size() - 1;
	}
	void add(const std::string &name, const char *type, std::string_view help, std::string_view detail,
		 size_t set, uint64_t value)
	{
		auto [it, fresh] = at_.try_emplace(name, fams_.size());
		if (fresh)
			fams_.push_back({name, type, escaped(std::string(help).append(detail), false), {}});
		fams_[it->second].samples.push_back({set, value});
	}
	// Writes the text in pieces of about 64 KiB to out.
	void write(const std::function<void(std::string_view)> &out) const
	{
		std::string buf;
		buf.reserve(1 << 17);
		char num[24];
		for (const family &f : fams_) {
			buf.append("# HELP ").append(f.name).append(" ").append(f.help);
			buf.append("\n# TYPE ").append(f.name).append(" ").append(f.type).append("\n");
			for (const auto &[set, value] : f.samples) {
				buf.append(f.name);
				if (!sets_[set].empty())
					buf.append("{").append(sets_[set]).append("}");
				buf += ' ';
				buf.append(num, std::to_chars(num, num + sizeof num, value).ptr);
				buf += '\n';
				if (buf.size() >= (1 << 16)) {
					out(buf);
					buf.clear();
				}
			}
		}
		out(buf);
	}
	// A label value with backslash, newline (and in labels the double quote) escaped.
	static std::string escaped(const std::string &v, bool label = true)
	{
		std::string e;
		for (char ch : v) {
			if (ch == '\\')
				e += "\\\\";
			else if (ch == '\n')
				e += "\\n";
			else if (ch == '"' && label)
				e += "\\\"";
			else
				e += ch;
		}
		return e;
	}

private:
	struct family {
		std::string name;
		const char *type;
		std::string help;
		std::vector<std::pair<size_t, uint64_t>> samples;
	};
	std::vector<family> fams_;
	std::unordered_map<std::string, size_t> at_;
	std::deque<std::string> sets_;
};

// What each counter group counts, for HELP lines.
const char *group_noun(const std::string &g)
{
	static const std::map<std::string, const char *> nouns = {
		{"fc_port", "Fibre Channel port"},
		{"fcoe_port", "FCoE function's Ethernet port"},
		{"fcoe", "FCoE port"},
		{"eth_port", "Ethernet function's port"},
		{"eth_tx", "Ethernet port transmit"},
		{"eth_rx", "Ethernet port receive"},
		{"eth_driver", "Ethernet driver"},
		{"fc_rport", "remote port"},
	};
	auto it = nouns.find(g);
	return it == nouns.end() ? "port" : it->second;
}

// The statistics records open with the seconds since their reset: a gauge.
bool is_age(const counter &c)
{
	return c.key.rfind("seconds_since", 0) == 0;
}

void add_counters(exposition &x, const std::string &group, const counter_list &values, size_t labels)
{
	const std::string noun = group_noun(group);
	const std::string age = "Seconds since the " + noun + " counters were reset", each = noun + " counter: ";
	std::string name;
	for (const counter &c : values) {
		if (is_age(c))
			x.add(name.assign("qorl_").append(group).append("_since_reset_seconds"), "gauge", age, "", labels,
			      c.value);
		else
			x.add(name.assign("qorl_").append(group).append("_").append(c.key).append("_total"), "counter", each,
			      c.label, labels, c.value);
	}
}

std::string label(const char *name, const std::string &value)
{
	return std::string(name) + "=\"" + exposition::escaped(value) + "\"";
}

exposition prometheus(const std::vector<port_snap> &snaps)
{
	exposition x;
	uint64_t failed = 0;
	for (const port_snap &s : snaps) {
		std::string text = label("adapter", std::to_string(s.adapter)) + "," + label("port", std::to_string(s.port));
		if (s.fc_side())
			text += "," + label("port_wwn", wwn_text(s.q->pwwn));
		if (s.q->ioc_type != QOR_IOC_TYPE_FC)
			text += "," + label("mac", mac_text(s.q->mac));
		const size_t labels = x.labels(text);
		const std::string k = s.kind;
		if (s.have_attr) {
			const doc state = state_of(s);
			x.add("qorl_" + k + "_up", "gauge", "1 when the port's link is up, else 0", "", labels,
			      s.attr.port_state == QOR_PORT_ST_LINKUP ? 1 : 0);
			const unsigned gbps = qor_speed_gbps(s.attr.speed);
			if (gbps)
				x.add("qorl_" + k + "_speed_bytes", "gauge", "Link speed in bytes per second", "", labels,
				      (uint64_t)gbps * 125000000u);
			x.add("qorl_" + k + "_info", "gauge", "The port's state, in the library's words", "",
			      x.labels(text + "," + label("state", state.is_null() ? "unknown" : state.get<std::string>())), 1);
		}
		for (const counter_group &g : s.groups)
			add_counters(x, g.name, g.values, labels);
		for (const auto &[w, c] : s.rports)
			add_counters(x, "fc_rport", c, x.labels(text + "," + label("rport_wwn", wwn_text(w))));
		failed += s.errors.size();
	}
	x.add("qorl_stats_read_errors", "gauge", "Reads of counters that failed in this run", "", x.labels(""), failed);
	return x;
}

void warn_errors(const std::vector<port_snap> &snaps)
{
	for (const port_snap &s : snaps)
		for (const std::string &e : s.errors)
			fprintf(stderr, "mxt: warning: %s\n", e.c_str());
}

// ---- --watch ---------------------------------------------------------------------------

volatile sig_atomic_t stopping = 0;

void on_stop(int)
{
	stopping = 1;
}

// Counter values by what names them: "A/P kind group key" or "A/P kind rport-WWN key".
using values_by_id = std::unordered_map<std::string, uint64_t>;

// Calls visit(id, group, remote port WWN or 0, counter) for every counter.
template <class Visit> void each_counter(const port_snap &s, Visit visit)
{
	const std::string base = s.address() + " " + s.kind + " ";
	for (const counter_group &g : s.groups)
		for (const counter &c : g.values)
			visit(base + g.name + " " + c.key, g.name, wwn_t(0), c);
	for (const auto &[w, cs] : s.rports) {
		const std::string rp = wwn_text(w);
		for (const counter &c : cs)
			visit(base + rp + " " + c.key, "fc_rport", w, c);
	}
}

values_by_id values_of(const std::vector<port_snap> &snaps)
{
	values_by_id v;
	for (const port_snap &s : snaps)
		each_counter(s, [&](const std::string &id, const std::string &, wwn_t, const counter &c) { v[id] = c.value; });
	return v;
}

// Per second over the interval; a counter that went back was reset and
// counts from 0.
double rate(uint64_t before, uint64_t now, unsigned seconds)
{
	return (double)(now >= before ? now - before : now) / seconds;
}

std::string now_text()
{
	time_t t = time(nullptr);
	struct tm tm;
	gmtime_r(&t, &tm);
	char s[32];
	strftime(s, sizeof s, "%Y-%m-%dT%H:%M:%SZ", &tm);
	return s;
}

std::string rate_text(double r)
{
	char s[32];
	snprintf(s, sizeof s, r == (double)(uint64_t)r ? "%.0f" : "%.2f", r);
	return s;
}

// One round as a JSON line: counters and their rates.
void watch_json(const std::vector<port_snap> &snaps, const values_by_id &before, unsigned seconds)
{
	doc ports = doc::array();
	for (const port_snap &s : snaps) {
		doc d;
		d["port"] = s.address();
		d["ioc_type"] = type_value(s.q->ioc_type);
		doc counters = doc::object(), rates = doc::object();
		std::map<wwn_t, std::pair<doc, doc>> remote; // remote port -> counters, rates
		each_counter(s, [&](const std::string &id, const std::string &group, wwn_t rp, const counter &c) {
			auto b = before.find(id);
			const doc r = b == before.end() ? doc() : doc(rate(b->second, c.value, seconds));
			if (rp) {
				remote[rp].first[c.key] = c.value;
				remote[rp].second[c.key] = r;
			} else {
				counters[group][c.key] = c.value;
				rates[group][c.key] = r;
			}
		});
		d["counters"] = counters;
		d["rates"] = rates;
		doc rs = doc::array();
		for (auto &[w, cr] : remote)
			rs.push_back({{"pwwn", wwn_text(w)}, {"counters", cr.first}, {"rates", cr.second}});
		d["rports"] = s.with_rports ? rs : doc();
		d["errors"] = s.errors;
		ports.push_back(d);
	}
	std::cout << one_line({{"time", now_text()}, {"interval_s", seconds}, {"ports", ports}}) << std::endl;
}

// One round as lines: the counters that moved, with their rates; on a
// terminal the screen is redrawn with every counter that is not 0.
void watch_text(const std::vector<port_snap> &snaps, const values_by_id &before, unsigned seconds, bool tty)
{
	const std::string now = now_text();
	std::string out;
	if (tty)
		out = "\033[H\033[2J" + now + "  per-second rates over " + std::to_string(seconds) +
		      " s (interrupt to end)\n";
	for (const port_snap &s : snaps) {
		if (tty) {
			const doc state = state_of(s);
			out += "\n" + s.address() + "  " + scalar_text(type_value(s.q->ioc_type)) + "  " +
			       (s.fc_side() ? wwn_text(s.q->pwwn) : mac_text(s.q->mac)) + "  " + scalar_text(state) + "\n";
			for (const std::string &e : s.errors)
				out += "  error: " + e + "\n";
		}
		each_counter(s, [&](const std::string &id, const std::string &group, wwn_t rp, const counter &c) {
			auto b = before.find(id);
			const double r = b == before.end() ? 0 : rate(b->second, c.value, seconds);
			const std::string name = group + (rp ? " " + wwn_text(rp) : "") + "." + c.key;
			if (tty && (c.value || r)) {
				char line[256];
				snprintf(line, sizeof line, "  %-48s %20llu %14s/s\n", name.c_str(),
					 (unsigned long long)c.value, rate_text(r).c_str());
				out += line;
			} else if (!tty && r) {
				out += now + "  " + s.address() + "  " + name + "  " + rate_text(r) + "/s\n";
			}
		});
	}
	std::cout << out << std::flush;
}

void watch(const std::vector<std::pair<int, int>> &ports, bool rports, unsigned seconds)
{
	struct sigaction sa {};
	sa.sa_handler = on_stop;
	sigemptyset(&sa.sa_mask);
	for (int sig : {SIGINT, SIGTERM, SIGHUP})
		sigaction(sig, &sa, nullptr);
	const bool tty = isatty(STDOUT_FILENO);
	values_by_id before = values_of(snapshot(ports, rports));
	// An absolute schedule, so that the time spent reading does not add up.
	timespec next{};
	clock_gettime(CLOCK_MONOTONIC, &next);
	while (!stopping) {
		next.tv_sec += seconds;
		while (!stopping && clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr) == EINTR) {
		}
		if (stopping)
			break;
		std::vector<port_snap> snaps = snapshot(ports, rports);
		if (opts().json)
			watch_json(snaps, before, seconds);
		else
			watch_text(snaps, before, seconds, tty);
		// The screen shows them; lines of moved counters would not.
		if (!opts().json && !tty)
			warn_errors(snaps);
		before = values_of(snaps);
	}
}

} // namespace

doc stats(call &c)
{
	const bool prom = c.flags["--prometheus"], rports = c.flags["--rports"];
	const bool watching = c.numbers.count("--watch") > 0;
	const bool to_file = c.words.count("--output,-o") > 0;
	const std::string output = to_file ? c.words["--output,-o"] : "";
	if (watching && prom)
		fail("--watch shows rates, which --prometheus does not carry; give one of them (Prometheus computes "
		     "rates itself)");
	if (prom && opts().json)
		fail("--json and --prometheus are two forms of output; give one of them");
	if (to_file && !prom)
		fail("--output writes the Prometheus form; give --prometheus with it");
	if (to_file)
		check_replaceable(output);
	const std::vector<std::pair<int, int>> ports = selected(c);
	if (watching) {
		watch(ports, rports, (unsigned)c.numbers["--watch"]);
		return printed();
	}
	const std::vector<port_snap> snaps = snapshot(ports, rports);
	warn_errors(snaps);
	if (prom) {
		const exposition x = prometheus(snaps);
		if (!to_file) {
			std::cout.flush();
			x.write([](std::string_view piece) { fwrite(piece.data(), 1, piece.size(), stdout); });
			fflush(stdout);
		} else {
			replace_file_with(output, [&](int fd) {
				x.write([&](std::string_view piece) { write_all(fd, piece, output); });
			});
		}
		return printed();
	}
	doc rows = doc::array();
	for (const port_snap &s : snaps)
		rows.push_back(snap_doc(s));
	if (opts().json)
		return rows;
	for (size_t i = 0; i < rows.size(); i++) {
		if (i)
			std::cout << "\n";
		print(rows[i]);
	}
	return printed();
}

} // namespace mxt
