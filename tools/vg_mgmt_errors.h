// Why vg-mgmt failed: the exit statuses, and the names and texts of the
// library's error numbers and of the simulated service's codes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vgm {

// Exit statuses of vg-mgmt.
enum exit_status : int {
    EXIT_DONE = 0,       // done
    EXIT_REFUSED = 1,    // the library or the service refused the command
    EXIT_USAGE = 2,      // the command line is wrong; nothing was sent
    EXIT_NO_SERVICE = 3, // no service to talk to
    EXIT_NO_ANSWER = 4,  // the service did not answer; events: --timeout before --count
    EXIT_LOST = 5,       // events --exit-on-loss: the service went away
    EXIT_TOO_MANY = 10,  // the service refused the connection: too many clients
    EXIT_UNTRUSTED = 11, // the process at the socket is not trusted as the service
};

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

// The texts of the exit statuses, for help and the manual page.
struct status_text {
    int status;
    const char *text;
};
extern const status_text kExitStatuses[8];

} // namespace vgm
