// vg-mgmt config's private state: a folder of the user's own (0700) that
// holds, per module, the lock that keeps applies one at a time and the
// journal of the apply under way (what it changes and the values to restore).
// Files are 0600, opened with O_NOFOLLOW and written whole: a temporary file
// made with O_EXCL, synced, renamed over the old one, the folder synced.
#pragma once

#include <signal.h>

#include <optional>
#include <string>

#include "vg_mgmt_values.h"

namespace vgcfg {

using vgm::json;

// --state-dir, else VG_MGMT_STATE_DIR, else /var/lib/vg-mgmt for root and
// $XDG_STATE_HOME/vg-mgmt or ~/.local/state/vg-mgmt for others.
std::string state_dir_default();

class state_store {
public:
    // Makes the folder (and its missing parents) 0700 and checks that it is
    // a folder of this user that no one else may enter. False with problem.
    bool open(const std::string &dir, std::string &problem);
    const std::string &dir() const { return dir_; }

    // The file name of this module (its socket) with a suffix.
    static std::string module_file(const std::string &suffix);

    bool write(const std::string &name, const std::string &text, std::string &problem) const;
    std::optional<std::string> read(const std::string &name) const;
    // A file that holds one JSON object: the object, or null (none, or not one).
    json read_object(const std::string &name) const;
    void remove(const std::string &name) const;

private:
    std::string dir_;
};

// One apply at a time on one module: an exclusive lock on the module's lock
// file, held while the object lives (and by a process that inherits it).
class apply_lock {
public:
    apply_lock() = default;
    apply_lock(const apply_lock &) = delete;
    apply_lock &operator=(const apply_lock &) = delete;
    ~apply_lock();
    // False with problem; busy when another apply holds it. With wait, the
    // lock of `suffix` is waited for (held for moments only).
    bool take(const state_store &st, bool &busy, std::string &problem, const char *suffix = ".lock",
              bool wait = false);
    int fd() const { return fd_; }

private:
    int fd_ = -1;
};

// SIGINT, SIGTERM, SIGHUP and SIGPIPE held back while the object lives (made
// before the service is opened, so that every thread holds them back): an
// apply asks between its steps whether one came, finishes the step in flight
// and undoes the steps done.
class signal_hold {
public:
    signal_hold();
    signal_hold(const signal_hold &) = delete;
    signal_hold &operator=(const signal_hold &) = delete;
    ~signal_hold(); // takes the signals that came, then lets them through again

private:
    sigset_t set_, old_;
};
// The signal that came while a signal_hold lives, 0 when none.
int interrupted();

// Now, as "2026-11-25T15:04:05Z": the times the journal and the history keep.
std::string utc_now();

} // namespace vgcfg
