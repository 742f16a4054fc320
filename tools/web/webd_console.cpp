// What the parts of vg-webd share, and its audit log.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "config_state.h"
#include "webd.h"

namespace webd {

console::console(settings s)
    : set(std::move(s)), sess(session_limits{std::chrono::seconds(set.idle_seconds),
                                             std::chrono::seconds(set.session_seconds), 64})
{
}

// One JSON line per change, appended whole: when, who, from where, what,
// which paths, the exit status. Values never: a path names a secret, not its text.
void console::audit(const std::string &who, const std::string &address, const std::string &what,
                    const std::vector<std::string> &paths, int status)
{
    const json j = {{"when", vgcfg::utc_now()}, {"user", who},
                    {"address", address},       {"what", what},
                    {"paths", paths},           {"status", status}};
    const std::string line = vgm::dump_json(j) + "\n";
    std::lock_guard lock(audit_mu);
    if (set.audit_log.empty()) {
        fprintf(stderr, "vg-webd: audit: %s", line.c_str());
        return;
    }
    const int fd =
        ::open(set.audit_log.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0 || ::write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        fprintf(stderr, "vg-webd: cannot write the audit log %s (%s): %s", set.audit_log.c_str(),
                std::strerror(errno), line.c_str());
    if (fd >= 0)
        ::close(fd);
}

} // namespace webd
