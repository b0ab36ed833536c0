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

// Builds an event record from its category, type and data fields by name
// (JSON as topology files give it); throws std::invalid_argument with
// `path` on bad input.
qor_aen_entry_t entry_from_json(const nlohmann::json &j, const std::string &path);
// An event code of the category from its name or number; throws as above.
int type_from_json(uint32_t cat, const nlohmann::json &v, const std::string &path);

} // namespace qorsim::ev

namespace qorsim {

// An integer given as a JSON number or as text ("42", "0x1d"); false when
// it is neither or does not fit 64 bits.
bool as_integer(const nlohmann::json &v, int64_t *out);

} // namespace qorsim
