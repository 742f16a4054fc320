// A blocking client of kestd's socket.
#include "kestd_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "kest_socket_path.h"

std::string kestd_socket_path(const char *arg)
{
    if (arg && *arg)
        return arg;
    char path[4096];
    return kest_socket_path(path, sizeof path) ? path : std::string();
}

int kestd_connect(const std::string &path, std::string *why)
{
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (path.size() >= sizeof addr.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    char untrusted[256] = "";
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) != 0 ||
        !kest_peer_trusted(fd, path.c_str(), untrusted, sizeof untrusted)) {
        const int err = errno;
        if (why != nullptr)
            *why = untrusted[0] != '\0' ? untrusted
                                        : "cannot connect to " + path + ": " + std::strerror(err);
        ::close(fd);
        errno = err;
        return -1;
    }
    return fd;
}

bool kestd_control_call(int fd, const std::string &command, int32_t &status, std::string &text,
                        int timeout_ms)
{
    static uint32_t txn = 0x40000000u;
    const uint32_t my_txn = ++txn;
    const auto frame = kest_frame_bytes(KEST_FRAME_CONTROL, my_txn, 0, 0, command.data(),
                                        static_cast<uint32_t>(command.size()));
    if (!kest_write_full(fd, frame.data(), frame.size()))
        return false;
    kest_frame_header h{};
    std::vector<uint8_t> payload;
    while (kest_read_frame(fd, h, payload, timeout_ms)) {
        if (h.kind == KEST_FRAME_REFUSED) {
            status = -1;
            text = "the service refused the connection: " +
                   std::string(payload.begin(), payload.end());
            return true;
        }
        if (h.kind != KEST_FRAME_CONTROL_RESPONSE || h.txn != my_txn)
            continue; // an indication, or an answer to someone else's request
        status = h.status;
        text.assign(payload.begin(), payload.end());
        return true;
    }
    return false;
}
