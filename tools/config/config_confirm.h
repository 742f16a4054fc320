// Confirm or revert: `config apply --confirm SECONDS FILE` applies, keeps the
// journal with a deadline and returns; a watcher in a session of its own (it
// outlives the shell or SSH session that started it, with no descriptor of
// it) restores the values from before at the deadline unless `config
// confirm` came first. Until then it holds the module's apply lock.
#pragma once

#include <cstdio>

#include "config_safe.h"

namespace vgcfg {

// After an apply that changed something: the journal gets its deadline and
// the watcher is started. False with problem.
bool await_confirm(guard &g, unsigned seconds, std::string &problem);

// vg-mgmt config confirm: the change awaiting confirmation stays.
int confirm_now(guard &g, FILE *out, FILE *err);

// vg-mgmt config revert: the watcher puts back now what the change awaiting
// confirmation replaced; waits until it is done.
int revert_now(guard &g, FILE *out, FILE *err);

// Whether a change awaits confirmation ({"pending": bool, "started",
// "confirm_by"}) and how the last one ended ("last": {"what": "confirmed" or
// "reverted", "when", "started"}), for status pages.
json confirm_state(const state_store &st);

// Records how a change awaiting confirmation ended ("confirmed", "reverted").
void record_decision(const state_store &st, const json &journal, const char *what);

// The watcher (vg-mgmt config watch-confirm, started by await_confirm).
int watch_confirm(guard &g);

// The lock that confirm, the watcher and a restore take before they decide.
bool take_decide_lock(const guard &g, apply_lock &decide, std::string &problem);

} // namespace vgcfg
