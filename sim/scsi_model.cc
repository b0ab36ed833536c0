// The emulated targets' logical units within the model: their topology
// keys, their operating system names and the sysfs tree that shows them.
#include "scsi_model.h"

#include <atomic>
#include <set>

#include "san.h"
#include "scsi_sysfs.h"
#include "sim_json.h"

namespace qorsim {

uint64_t new_units_serial()
{
	static std::atomic<uint64_t> next{1};
	return next++;
}

namespace scsi {

namespace {

constexpr uint64_t kDefaultBlocks = 1ull << 21; // 1 GiB of 512-byte blocks

// Device names: lower-case letters and digits, as the kernel gives them.
bool device_name_ok(const std::string &s)
{
	if (s.empty())
		return false;
	for (char c : s)
		if (!((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')))
			return false;
	return true;
}

template <class Fn> void each_target(Model &m, Fn fn)
{
	for (Function &f : m.fns)
		if (f.san)
			for (auto &l : f.san->lports)
				for (auto &r : l.rports)
					if (r.target)
						fn(*r.target);
}

} // namespace

Unit parse_unit(const Field &u, uint16_t def_number)
{
	u.object({"lun", "type", "block_size", "blocks", "vendor", "product", "revision", "serial", "sysfs", "device"});
	Unit x;
	x.number = def_number;
	u.read("lun", x.number, 0, SCSI_LUN_NUMBER_MAX);
	if (u.has("type"))
		x.type = u["type"].one_of({"disk", "tape"}) == 0 ? SCSI_TYPE_DISK : SCSI_TYPE_TAPE;
	x.blocks = x.type == SCSI_TYPE_DISK ? kDefaultBlocks : 0;
	u.read("block_size", x.block_size, 512, 65536);
	u.read("blocks", x.blocks, 0, INT64_MAX);
	u.read("vendor", x.vendor, 9);
	u.read("product", x.product, 17);
	u.read("revision", x.revision, 5);
	u.read("serial", x.serial, 33);
	if (u.has("sysfs")) {
		static constexpr Sysfs kLayouts[] = {Sysfs::dir, Sysfs::entry, Sysfs::link};
		x.sysfs = kLayouts[u["sysfs"].one_of({"dir", "entry", "link"})];
	}
	if (u.has("device")) {
		const Field d = u["device"];
		x.auto_name = false;
		if (!d.json().is_null()) {
			x.devname = d.text(32);
			if (!device_name_ok(x.devname))
				d.fail("must be a device name of lower-case letters and digits, like \"sdb\", or null");
		}
	}
	return x;
}

void parse_units(const Field &j, wwn_t port, Target &t)
{
	std::set<uint16_t> taken;
	if (j.has("luns")) {
		const Field us = j["luns"];
		uint16_t next = 0;
		for (size_t i = 0, n = us.array(); i < n; i++) {
			Unit u = parse_unit(us[i], next);
			if (!taken.insert(u.number).second)
				us[i].fail("LUN " + std::to_string(u.number) + " is given twice");
			next = (uint16_t)(u.number + 1);
			t.put(std::move(u), port);
		}
	}
	uint32_t extra = 0;
	if (j.read("lun_count", extra, 0, SCSI_REPORT_LUNS_MAX)) {
		if (taken.size() + extra > SCSI_REPORT_LUNS_MAX)
			j["lun_count"].fail("a target has at most " + std::to_string(SCSI_REPORT_LUNS_MAX) + " logical units");
		uint16_t n = 0;
		for (uint32_t k = 0; k < extra; k++, n++) {
			while (taken.count(n))
				n++;
			Unit u;
			u.number = n;
			u.blocks = kDefaultBlocks;
			t.put(std::move(u), port);
		}
	}
	if (j.has("scsi_fault")) {
		const Field f = j["scsi_fault"];
		f.object({"mode", "arg"});
		static constexpr Fault kFaults[] = {Fault::none, Fault::underrun, Fault::no_answer, Fault::long_sense,
						    Fault::lun_list_len};
		t.fault = kFaults[f.need("mode", "needs \"mode\"")
					  .one_of({"none", "underrun", "no_answer", "long_sense", "lun_list_len"})];
		f.read("arg", t.fault_arg, 0, UINT32_MAX);
	}
}

void name_units(Model &m)
{
	std::set<std::string> used;
	each_target(m, [&](san::Target &t) {
		for (const Unit &u : t.lus.units)
			if (!u.devname.empty())
				used.insert(u.devname);
	});
	size_t disks = 0, tapes = 0;
	each_target(m, [&](san::Target &t) {
		for (Unit &u : t.lus.units) {
			if (!u.auto_name || !u.devname.empty())
				continue;
			const bool tape = u.type == SCSI_TYPE_TAPE;
			size_t &i = tape ? tapes : disks;
			do
				u.devname = tape ? tape_name(i++) : disk_name(i++);
			while (used.count(u.devname));
			used.insert(u.devname);
		}
	});
	units_changed(m);
}

void units_changed(Model &m)
{
	m.units_serial = new_units_serial();
}

bool add_unit(Model &m, Function &f, wwn_t rpwwn, const Unit &u)
{
	const int n = for_target(f, rpwwn, [&](san::Target &t) {
		t.lus.put(u, rpwwn);
		t.lus.luns_changed = true;
	});
	if (n)
		name_units(m);
	return n > 0;
}

void ensure_sysfs()
{
	// The tree written last: for which set of units, under which root.
	static uint64_t written_serial;
	static std::string written_root;
	static thread_local bool writing;
	std::string root;
	if (writing || !root_dir(root))
		return;
	Sim &s = sim();
	std::lock_guard lk(s.mu);
	if (s.m.units_serial == written_serial && root == written_root)
		return;
	std::vector<Node> nodes;
	each_target(s.m, [&](san::Target &t) {
		for (const Unit &u : t.lus.units)
			nodes.push_back(Node{t.host, t.bus, t.id, &u});
	});
	writing = true;
	const bool ok = write_sysfs(root + "/sys/class/scsi_device", nodes);
	writing = false;
	if (ok) {
		written_serial = s.m.units_serial;
		written_root = root;
	}
}

} // namespace scsi
} // namespace qorsim
