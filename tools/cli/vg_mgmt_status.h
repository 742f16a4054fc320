// vg-mgmt status: the service, Wi-Fi, data calls, network and USB at a glance.
#pragma once

#include "vg_mgmt_output.h"

namespace vgm {

// Prints how the module stands (text, or one JSON object with --json);
// returns the exit status (3 when no service answers).
int run_status(const output &o, double wait_s);

} // namespace vgm
