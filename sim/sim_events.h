// State changes that raise the drivers' events, for the control API and the
// topology's schedule. All run with Sim::mu held and leave the descriptors'
// readiness to the caller (refresh_ready).
#pragma once

#include "sim.h"
#include "sim_json.h"

namespace qorsim::ev {

// Each returns false when nothing changed (state already held, or no such object).
bool link(Model &m, Function &f, bool up);
bool rport(Model &m, Function &f, wwn_t rpwwn, bool online);
bool ioc_enable(Model &m, Function &f, bool enabled);
bool adapter_enable(Model &m, size_t adapter, bool enabled);
bool adapter_event(Model &m, size_t adapter, int type);
void audit(Model &m, Function &f, int type, int32_t partition_inst, int32_t partition_type);

// Builds an event record from its category, type and data fields by name
// (JSON as topology files give it); throws BadInput naming the place.
qor_aen_entry_t entry_from_json(const Field &j);
// An event code of the category from its name or number; throws as above.
int type_from_json(uint32_t cat, const Field &v);

} // namespace qorsim::ev
