// mxt's entry: the command-line parser is built from the command table; a
// usage error and a failed command are reported the same way.
#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <list>
#include <string_view>

#include "table.h"

namespace mxt {

namespace {

// One command's parser entries.
struct leaf {
	const command *cmd = nullptr;
	CLI::App *app = nullptr;
	std::list<std::string> values;      // one per param, in order
	std::list<std::vector<std::string>> lists; // one per param: the words of an address list
	std::vector<CLI::Option *> options; // one per param, in order
};

std::vector<std::string> words(std::string_view path)
{
	std::vector<std::string> w;
	for (size_t at = 0; at <= path.size();) {
		size_t sp = path.find(' ', at);
		if (sp == std::string_view::npos)
			sp = path.size();
		w.emplace_back(path.substr(at, sp - at));
		at = sp + 1;
	}
	return w;
}

void build(CLI::App &app, std::list<leaf> &leaves)
{
	std::map<std::string, CLI::App *> made;
	for (const command &cmd : commands()) {
		std::vector<std::string> w = words(cmd.path);
		CLI::App *parent = &app;
		std::string prefix;
		for (size_t i = 0; i + 1 < w.size(); i++) {
			prefix += (i ? " " : "") + w[i];
			CLI::App *&g = made[prefix];
			if (!g) {
				g = parent->add_subcommand(w[i], groups().at(prefix));
				g->require_subcommand(1);
			}
			parent = g;
		}
		leaf &l = leaves.emplace_back();
		l.cmd = &cmd;
		l.app = parent->add_subcommand(w.back(), cmd.help);
		for (const param &p : cmd.params) {
			std::string &v = l.values.emplace_back();
			std::vector<std::string> &many = l.lists.emplace_back();
			std::string text = p.help;
			for (size_t i = 0; i < p.choices.size(); i++)
				text += (i ? ", " : ": ") + p.choices[i];
			if (p.def)
				text += " (default " + std::string(p.def) + ")";
			// Const: given a non-const string, add_flag would store the flag's value in it.
			const std::string help = text;
			CLI::Option *o = p.type == arg::flag	? l.app->add_flag(p.name, help)
					 : p.type == arg::ports ? l.app->add_option(p.name, many, help)
								: l.app->add_option(p.name, v, help);
			if (p.type != arg::flag)
				o->type_name(p.name[0] == '-' ? "VALUE" : "");
			if (required(p))
				o->required();
			l.options.push_back(o);
		}
	}
}

// Options that need no command.
bool standalone(std::string_view a)
{
	return a == "-h" || a == "--help" || a == "--help-all" || a == "--version" || a == "--list-commands";
}

// The command path is checked before the parser sees it, so that an unknown
// command is named as such.
void check_path(int argc, char **argv)
{
	std::vector<std::string> given;
	bool unknown_option = false;
	for (int i = 1; i < argc; i++) {
		std::string_view a = argv[i];
		if (standalone(a))
			return;
		if (a.empty() || a[0] != '-')
			given.emplace_back(a);
		else
			unknown_option = unknown_option || a != "--json";
	}
	// An option mxt does not know is named by the parser, not taken for a missing command.
	if (given.empty() && unknown_option)
		return;
	if (given.empty())
		fail("no command given; see mxt --help");
	std::string path;
	for (const std::string &word : given) {
		std::string want = path.empty() ? word : path + " " + word;
		bool leaf = false, group = false;
		for (const command &c : commands()) {
			std::string_view cp = c.path;
			leaf = leaf || cp == want;
			group = group || cp.starts_with(want + " ");
		}
		if (leaf)
			return;
		if (!group)
			fail("unknown command '" + want + "'; see mxt " + (path.empty() ? "" : path + " ") + "--help");
		path = want;
	}
	fail("'" + path + "' needs a command; see mxt " + path + " --help");
}

// The deepest command the parser reached, e.g. "port speed".
std::string reached(CLI::App &app)
{
	std::string path;
	for (CLI::App *a = &app; !a->get_subcommands().empty();) {
		a = a->get_subcommands().front();
		path += (path.empty() ? "" : " ") + a->get_name();
	}
	return path;
}

// An address list as one text, words apart by a blank.
std::string join(const std::vector<std::string> &words)
{
	std::string s;
	for (const std::string &w : words)
		s += (s.empty() ? "" : " ") + w;
	return s;
}

void tell(const failure &f)
{
	fprintf(stderr, "mxt: %s\n", printable(f.message).c_str());
	if (opts().json)
		print(error_doc(f));
}

} // namespace

} // namespace mxt

int main(int argc, char **argv)
{
	using namespace mxt;
	// Known before parsing, so that a usage error is reported in the asked form too.
	for (int i = 1; i < argc; i++)
		if (std::string_view(argv[i]) == "--json")
			opts().json = true;

	CLI::App app{"mxt: manage the host's Fibre Channel, FCoE and Ethernet adapters"};
	app.add_flag("--json", opts().json, "print JSON instead of text");
	bool list = false;
	app.add_flag("--list-commands", list, "list every command with its arguments, side and effect");
	// "--json" may also follow the command and its arguments.
	app.fallthrough();
	app.set_version_flag("--version", "mxt " QORL_VERSION);
	std::list<leaf> leaves;
	build(app, leaves);

	int rc = 0;
	try {
		check_path(argc, argv);
		app.parse(argc, argv);
		if (list) {
			print(opts().json ? command_list() : doc(command_lines()));
		} else {
			for (leaf &l : leaves) {
				if (!l.app->parsed())
					continue;
				std::map<std::string, std::string> raw;
				std::map<std::string, bool> flags;
				auto v = l.values.begin();
				auto many = l.lists.begin();
				for (size_t i = 0; i < l.cmd->params.size(); i++, ++v, ++many) {
					const param &p = l.cmd->params[i];
					if (p.type == arg::flag)
						flags[p.name] = l.options[i]->count() > 0;
					else if (p.type == arg::ports && !many->empty())
						raw[p.name] = join(*many);
					else if (l.options[i]->count() > 0)
						raw[p.name] = *v;
				}
				run(*l.cmd, raw, flags);
			}
		}
	} catch (const CLI::ParseError &e) {
		if (e.get_exit_code() == 0) {
			app.exit(e); // help and version, checked below like any output
		} else {
			std::string path = reached(app);
			std::string see = "see mxt " + (path.empty() ? "" : path + " ") + "--help";
			tell(failure{(path.empty() ? "" : path + ": ") + e.what() + "; " + see});
			rc = 1;
		}
	} catch (const failure &f) {
		tell(f);
		rc = 1;
	} catch (const std::exception &e) {
		tell(failure{std::string("internal error: ") + e.what()});
		rc = 1;
	}
	// Output that did not reach its file is a failure: a monitoring run into
	// a full disk must not leave a cut file behind with status 0. A command
	// that failed has said so in its one line.
	errno = 0;
	std::cout.flush();
	const bool lost = std::fflush(stdout) != 0 || std::ferror(stdout) || !std::cout;
	if (lost && rc == 0) {
		const int e = errno;
		fprintf(stderr, "mxt: writing the output failed: %s; check the space left on the file system it goes to\n",
			e ? strerror(e) : "a write error");
		rc = 1;
	}
	qorl_libexit();
	return rc ? rc : opts().exit_code;
}
