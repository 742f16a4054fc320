// The safe apply: one apply at a time on one module (a second is refused with
// exit status 9), a journal written before the first change and removed when
// the apply has finished, and the restore of what an apply that did not
// finish (killed, or its machine down) left behind.
#pragma once

#include <cstdio>
#include <string>

#include "config_session.h"
#include "config_state.h"

namespace vgcfg {

struct guard {
    state_store st;
    apply_lock lock;
    bool locked = false;
};

// Opens the state folder (empty: the default) for the module at `socket`
// (empty: VG_KEST_SOCKET or the default), and takes the apply lock. With
// need_lock, a lock held by another apply is vgm::EXIT_BUSY; without, the
// command goes on without it. vgm::EXIT_DONE, or the status with problem.
int guard_open(guard &g, const std::string &state_dir, const std::string &socket, bool need_lock,
               std::string &problem);

// When the module's journal shows an apply that did not finish (and this
// command holds the lock), reports it on err and restores the values from
// before it, then reads `s` again. vgm::EXIT_DONE when nothing was left or all
// is restored; found tells whether there was a journal.
int recover_unfinished(guard &g, session &s, FILE *err, bool &found);

// apply_document with the journal around it; with confirm_seconds, a change
// is reverted after that many seconds unless `config confirm` comes first.
// Each apply that changed something goes into the history, with `applied`
// naming the document.
apply_result guarded_apply(guard &g, session &s, const json &doc, unsigned confirm_seconds = 0,
                           const std::string &applied = "");

} // namespace vgcfg
