// Why vg-mgmt failed: the exit statuses, and the names and texts of the
// library's error numbers and of the simulated service's codes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vgm {

// The exit statuses of vg-mgmt, config included: one table for the code,
// the help, the manual page and the README (a test compares them).
// X(enumerator, status, text)
#define VG_MGMT_EXIT_STATUSES(X)                                                                   \
    X(EXIT_DONE, 0, "done, or nothing to change")                                                  \
    X(EXIT_REFUSED, 1,                                                                             \
      "the library or the service refused the command; config: every change made was undone")      \
    X(EXIT_USAGE, 2,                                                                               \
      "the command line or the document is wrong (each problem named); nothing was sent")          \
    X(EXIT_NO_SERVICE, 3, "no service: its socket is missing or nobody answers there")             \
    X(EXIT_NO_ANSWER, 4,                                                                           \
      "the service did not answer in time; events: --timeout came before --count")                 \
    X(EXIT_LOST, 5, "events --exit-on-loss: the service went away")                                \
    X(EXIT_PENDING, 6, "config apply --check: changes are pending")                                \
    X(EXIT_PARTIAL, 7,                                                                             \
      "config: the service refused a change and an undo too; the configuration is partly changed") \
    X(EXIT_INTERRUPTED, 8,                                                                         \
      "config apply: SIGINT, SIGTERM, SIGHUP or SIGPIPE came; the step in flight was finished "    \
      "and the steps done were undone")                                                            \
    X(EXIT_BUSY, 9, "config: another apply is in progress on this module; nothing was sent")       \
    X(EXIT_TOO_MANY, 10, "the service refused the connection: too many clients")                   \
    X(EXIT_UNTRUSTED, 11,                                                                          \
      "the process at the socket runs as a user not trusted as the service (root, you or "         \
      "VG_KEST_SERVICE_USER); nothing was sent")

#define VG_MGMT_EXIT_ENUM(name, status, text) name = status,
enum exit_status : int { VG_MGMT_EXIT_STATUSES(VG_MGMT_EXIT_ENUM) };
#undef VG_MGMT_EXIT_ENUM

struct failure {
    int status;
    int32_t code;        // the error number (or service code); 2 for a usage error
    std::string name;    // INVALID_CHANNEL, NO_SERVICE, USAGE ...
    std::string message; // one line
};

// The failure of a library call that returned -1 with error number `err`.
failure call_failure(int32_t err);
// A command line that cannot be run.
failure usage_failure(const std::string &message);
// No service: `why` names the socket.
failure no_service(const std::string &why);
// What a new connection to the socket `path` shows: a process not trusted as
// the service, or a service that refuses more clients; nothing otherwise.
// Never sends a byte. `wait_ms`: how long to wait for a refusal.
std::optional<failure> probe_service(const std::string &path, int wait_ms);
// The service's socket: VG_KEST_SOCKET, else the user's own ("" when none).
std::string socket_path();
// The failure of a call that found no service or no answer, told apart by a
// new connection: a service that refuses more clients, or a process not
// trusted as the service; else call_failure(err).
failure service_failure(int32_t err);

// The texts of the exit statuses, for help and the manual page.
struct status_text {
    int status;
    const char *text;
};
#define VG_MGMT_EXIT_ROW(name, status, text) {status, text},
inline constexpr status_text kExitStatuses[] = {VG_MGMT_EXIT_STATUSES(VG_MGMT_EXIT_ROW)};
#undef VG_MGMT_EXIT_ROW

} // namespace vgm
