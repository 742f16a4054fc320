// The error numbers of the library and the codes of the simulated service,
// named (the service's from the table kestd answers with).
#include "vg_mgmt_errors.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "kest_errors.h"
#include "kest_frame_io.h"
#include "kest_socket_path.h"
#include "vg_mgmt_client.h"

namespace vgm {

failure call_failure(int32_t err)
{
    switch (err) {
    case MGMT_ERR_HANDLE:
        return {EXIT_REFUSED, err, "NULL_HANDLE", "the library was given no handle"};
    case MGMT_ERR_NOT_SUPPORTED:
        return {EXIT_REFUSED, err, "NOT_SUPPORTED", "the library does not support this command"};
    case MGMT_ERR_INVALID:
        return {EXIT_REFUSED, err, "INVALID_ARGUMENT", "the library refused a value"};
    case MGMT_ERR_NO_SERVICE:
        return {EXIT_NO_SERVICE, err, "NO_SERVICE", "no service answered"};
    case MGMT_ERR_NO_MEMORY:
        return {EXIT_REFUSED, err, "NO_MEMORY", "out of memory"};
    case 0:
        return {EXIT_NO_ANSWER, 0, "NO_ANSWER", "no answer from the service"};
    default:
        break;
    }
    const std::string number = "error " + std::to_string(err);
    if (const kest_error_row *row = kest_error_find(static_cast<uint32_t>(err)))
        return {EXIT_REFUSED, err, row->name,
                "refused by the service: " + number + " " + row->name + " (" + row->text + ")"};
    return {EXIT_REFUSED, err, "SERVICE_ERROR", "refused by the service: " + number};
}

failure usage_failure(const std::string &message)
{
    return {EXIT_USAGE, MGMT_ERR_INVALID, "USAGE", message};
}

failure no_service(const std::string &why)
{
    return {EXIT_NO_SERVICE, MGMT_ERR_NO_SERVICE, "NO_SERVICE", why};
}

std::optional<failure> probe_service(const std::string &path, int wait_ms)
{
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof addr.sun_path)
        return std::nullopt;
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return std::nullopt;
    std::optional<failure> f;
    char why[256];
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) != 0) {
        // no service there: the caller's own failure says so
    } else if (!kest_peer_trusted(fd, path.c_str(), why, sizeof why)) {
        f = failure{EXIT_UNTRUSTED, MGMT_ERR_NO_SERVICE, "UNTRUSTED_SERVICE", why};
    } else {
        pollfd p{fd, POLLIN, 0};
        kest_frame_header h{};
        if (::poll(&p, 1, wait_ms) == 1 &&
            ::recv(fd, &h, sizeof h, MSG_WAITALL) == static_cast<ssize_t>(sizeof h) &&
            kest_frame_header_ok(h) && h.kind == KEST_FRAME_REFUSED)
            f = failure{EXIT_TOO_MANY, MGMT_ERR_NO_SERVICE, "TOO_MANY_CLIENTS",
                        std::string("the service refused the connection: ") + kKestRefusedTooMany};
    }
    ::close(fd);
    return f;
}

std::string socket_path()
{
    char path[4096];
    return kest_socket_path(path, sizeof path) ? path : "";
}

failure service_failure(int32_t err)
{
    failure f = call_failure(err);
    if (f.status == EXIT_NO_SERVICE || f.status == EXIT_NO_ANSWER)
        if (auto refused = probe_service(socket_path(), 300))
            return *refused;
    return f;
}

} // namespace vgm
