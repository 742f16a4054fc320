// vg-mgmt events: the service's indications as they come, one line each.
#pragma once

#include "vg_mgmt_output.h"

namespace vgm {

struct events_options {
    unsigned count = 0;   // stop after this many (0: no limit)
    double timeout_s = 0; // stop after this long (0: no limit)
    bool exit_on_loss = false;
};

// Listens until the count, the time-out or a signal; when the service goes
// away, says so on stderr and waits for it to come back (or exits with
// EXIT_LOST). Exit 0 only when a --count was reached (or none was asked for).
int run_events(const output &o, const events_options &e, double wait_s);

// An event's name: "wifi-station-status", "wifi-ap-station", "datacall-status".
const char *event_name(uint32_t id);
// An event as one object: {"event": its name, and its fields}.
json event_json(uint32_t id, const void *event, bool show_secrets);
// Whether the service still answers on the handle (a cheap read).
bool service_alive(mgmt_client *h);

} // namespace vgm
