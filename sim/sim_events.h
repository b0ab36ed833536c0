// State changes that raise the drivers' events, for the control API and the
// topology's schedule. All run with Sim::mu held and leave the descriptors'
// readiness to the caller (refresh_ready).
#pragma once

#include "sim.h"

namespace qorsim::ev {

// Each returns false when nothing changed (state already held, or no such object).
bool link(Model &m, Function &f, bool up);
bool rport(Model &m, Function &f, wwn_t rpwwn, bool online);
bool ioc_enable(Model &m, Function &f, bool enabled);
bool adapter_enable(Model &m, size_t adapter, bool enabled);
bool adapter_event(Model &m, size_t adapter, int type);
void audit(Model &m, Function &f, int type, int32_t partition_inst, int32_t partition_type);

// Builds an event record from a category and named data fields; throws
// std::invalid_argument with `path` on bad input.
qor_aen_entry_t entry_from_json(const nlohmann::json &j, const std::string &path);

} // namespace qorsim::ev
