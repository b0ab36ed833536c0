// The command table: every mxt command is one row. A new command is a row
// here, its action, its schema in docs/mxt-json.md and its invocation in
// tests/test_mxt.cc.
#include "table.h"

namespace mxt {

namespace {

const param adapter_no{arg::adapter, "N", "adapter number, from 1 ('mxt adapter list')"};
const param port_ap{arg::port, "A/P", "port address ADAPTER/PORT, e.g. 1/0 ('mxt port list')"};
const param controller_id{arg::controller, "ID", "controller id ('mxt ioc list')"};
const param name_text{arg::text, "TEXT", "the name, at most 63 characters"};
const param remote_wwn{arg::wwn, "RPWWN",
		       "the remote port's WWN: 21:00:00:24:ff:00:00:01, 0x21000024ff000001 or 21000024ff000001"};
const param reset{arg::flag, "--reset", "reset the counters instead of showing them"};

} // namespace

const std::map<std::string, std::string> &groups()
{
	static const std::map<std::string, std::string> g = {
		{"ioc", "controllers (one per PCI function: FC, FCoE, Ethernet)"},
		{"adapter", "adapters (physical cards), numbered from 1"},
		{"config", "the persistent configuration file"},
		{"port", "physical ports, addressed as ADAPTER/PORT (e.g. 1/0)"},
		{"trunk", "trunking of an adapter's ports"},
		{"lport", "logical ports behind a physical port"},
		{"rport", "remote ports a port has logged in to"},
		{"itnim", "IT nexus between a port and a remote target"},
		{"eth", "Ethernet ports of converged adapters"},
		{"fcoe", "FCoE ports of converged adapters"},
	};
	return g;
}

const std::vector<command> &commands()
{
	static const std::vector<command> table = {
		{.path = "ioc list", .help = "list the controllers", .run = ioc_list},
		{.path = "ioc show",
		 .help = "attributes, identity and statistics of a controller",
		 .params = {controller_id},
		 .run = ioc_show},
		{.path = "ioc coalesce",
		 .help = "turn interrupt coalescing of an FC or FCoE controller on or off",
		 .params = {controller_id,
			    {arg::choice, "MODE", "coalescing", {"on", "off"}},
			    {arg::number, "--delay", "interrupt delay in microseconds", {}, 0, 65535, "1125"},
			    {arg::number, "--latency", "interrupt latency in microseconds", {}, 0, 65535, "225"}},
		 .needs = side::fc,
		 .does = effect::sets,
		 .run = ioc_coalesce},
		{.path = "ioc name",
		 .help = "name a controller's port (kept in the configuration)",
		 .params = {controller_id, name_text},
		 .does = effect::sets,
		 .run = ioc_name},

		{.path = "adapter list",
		 .help = "list the adapters and their controllers by port",
		 .run = adapter_list},
		{.path = "adapter show",
		 .help = "an adapter and its controllers by port",
		 .params = {adapter_no},
		 .run = adapter_show},
		{.path = "adapter name",
		 .help = "name an adapter on both drivers and in the configuration",
		 .params = {adapter_no, name_text},
		 .does = effect::sets,
		 .run = adapter_name},
		{.path = "adapter enable",
		 .help = "enable every controller of an adapter (waits until they run)",
		 .params = {adapter_no},
		 .does = effect::acts,
		 .run = adapter_switch<true>,
		 .already = {QOR_STATUS_AD_IS_ENABLE, QOR_STATUS_ADAPTER_ENABLED, QOR_STATUS_IOC_ENABLED}},
		{.path = "adapter disable",
		 .help = "disable every controller of an adapter (waits until they stop)",
		 .params = {adapter_no},
		 .does = effect::acts,
		 .run = adapter_switch<false>,
		 .already = {QOR_STATUS_ADAPTER_DISABLED, QOR_STATUS_IOC_DISABLED},
		 .probe = adapter_disabled},

		{.path = "config show",
		 .help = "the configuration file as the library would write it now",
		 .run = config_show},
		{.path = "config path",
		 .help = "where the configuration file lives",
		 .run = config_path,
		 .opens = session::none},

		{.path = "port list", .help = "list the ports of every adapter", .run = port_list},
		{.path = "port show", .help = "attributes of a port", .params = {port_ap}, .run = port_show},
		{.path = "port enable",
		 .help = "enable a port (kept in the configuration)",
		 .params = {port_ap},
		 .needs = side::fc,
		 .does = effect::sets,
		 .run = port_switch<true>,
		 .probe = port_is<true>},
		{.path = "port disable",
		 .help = "disable a port (kept in the configuration)",
		 .params = {port_ap},
		 .needs = side::fc,
		 .does = effect::sets,
		 .run = port_switch<false>,
		 .probe = port_is<false>},
		{.path = "port speed",
		 .help = "set a port's speed (kept in the configuration)",
		 .params = {port_ap,
			    {arg::speed, "SPEED", "1, 2, 4, 8, 10, 16 (Gbit/s; 8, 8G and 8Gbps alike) or auto"}},
		 .needs = side::fc,
		 .does = effect::sets,
		 .run = port_speed},
		{.path = "port topology",
		 .help = "set a port's topology (kept in the configuration)",
		 .params = {port_ap, {arg::topology, "TOPO", "p2p, loop or auto (any case)"}},
		 .needs = side::fc,
		 .does = effect::sets,
		 .run = port_topology},
		{.path = "port alpa",
		 .help = "set (or clear) a port's hard loop address (kept in the configuration)",
		 .params = {port_ap, {arg::alpa, "ALPA", "the address (0x01 to 0xef), or 'clear'"}},
		 .needs = side::fc,
		 .does = effect::sets,
		 .run = port_alpa},
		{.path = "port frame-size",
		 .help = "set a port's maximum frame size (kept in the configuration)",
		 .params = {port_ap, {arg::number, "BYTES", frame_sizes, {}, 0, 65535}},
		 .needs = side::fc,
		 .does = effect::sets,
		 .run = port_frame_size},
		{.path = "port stats", .help = "a port's statistics", .params = {port_ap, reset}, .run = port_stats},

		{.path = "trunk show",
		 .help = "the trunk of an adapter",
		 .params = {adapter_no},
		 .needs = side::fc,
		 .run = trunk_show},
		{.path = "trunk enable",
		 .help = "trunk the ports of an adapter (kept in the configuration)",
		 .params = {adapter_no},
		 .needs = side::fc,
		 .does = effect::sets,
		 .run = trunk_switch<true>,
		 .already = {QOR_STATUS_TRUNK_ENABLED}},
		{.path = "trunk disable",
		 .help = "stop trunking the ports of an adapter (kept in the configuration)",
		 .params = {adapter_no},
		 .needs = side::fc,
		 .does = effect::sets,
		 .run = trunk_switch<false>,
		 .already = {QOR_STATUS_TRUNK_DISABLED}},

		{.path = "lport list",
		 .help = "the logical ports of a port",
		 .params = {port_ap},
		 .needs = side::fc,
		 .run = lport_list},
		{.path = "rport list",
		 .help = "the remote ports of a port",
		 .params = {port_ap},
		 .needs = side::fc,
		 .run = rport_list},
		{.path = "rport show",
		 .help = "attributes (and statistics) of a remote port",
		 .params = {port_ap, remote_wwn, {arg::flag, "--stats", "add its statistics and link error status"}},
		 .needs = side::fc,
		 .run = rport_show},
		{.path = "itnim show",
		 .help = "state, statistics and I/O profile of an IT nexus",
		 .params = {port_ap, remote_wwn},
		 .needs = side::fc,
		 .run = itnim_show},

		{.path = "eth show",
		 .help = "attributes of an Ethernet port",
		 .params = {port_ap},
		 .needs = side::eth,
		 .run = eth_show},
		{.path = "eth stats",
		 .help = "statistics of an Ethernet port",
		 .params = {port_ap, reset},
		 .needs = side::eth,
		 .run = eth_stats},
		{.path = "fcoe show",
		 .help = "attributes of an FCoE port",
		 .params = {port_ap},
		 .needs = side::fcoe,
		 .run = fcoe_show},
		{.path = "fcoe stats",
		 .help = "statistics of an FCoE port",
		 .params = {port_ap, reset},
		 .needs = side::fcoe,
		 .run = fcoe_stats},
		{.path = "fcoe enable",
		 .help = "enable an FCoE port (kept in the configuration)",
		 .params = {port_ap},
		 .needs = side::fcoe,
		 .does = effect::sets,
		 .run = fcoe_switch<true>,
		 .probe = port_is<true>},
		{.path = "fcoe disable",
		 .help = "disable an FCoE port (kept in the configuration)",
		 .params = {port_ap},
		 .needs = side::fcoe,
		 .does = effect::sets,
		 .run = fcoe_switch<false>,
		 .probe = port_is<false>},

		{.path = "events",
		 .help = "the drivers' events: those queued now, or with --follow as they arrive",
		 .params = {{arg::flag, "--follow,-f",
			     "keep running and print events as they arrive (JSON: one object a line)"},
			    {arg::choice, "--kind", "only events of this kind", event_kinds()}},
		 .run = events,
		 .opens = session::events},
	};
	return table;
}

doc events(call &c)
{
	events_run(c.flags["--follow,-f"], c.words["--kind"]);
	return printed();
}

} // namespace mxt
