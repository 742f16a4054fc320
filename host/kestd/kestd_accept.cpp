// New clients of kestd: the cap on connections, descriptor exhaustion, and
// the rate-limited lines that tell of both.
//
// When the process runs out of descriptors (EMFILE, ENFILE) the waiting
// client cannot even be accepted, and the listening socket stays readable:
// looping on it would burn the processor. A reserve descriptor is kept
// open for that case; it is closed to make room, the client accepted and
// closed at once (it sees the end of its connection, not a time-out), and
// the reserve opened again. If that fails, accepting pauses until a
// connection ends or a second has passed.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "kestd_loop.h"

namespace kestd_loop {

namespace {

constexpr auto kNoteInterval = std::chrono::seconds(1);
constexpr auto kAcceptPause = std::chrono::seconds(1);

uid_t peer_uid(int fd)
{
    ucred cred{};
    socklen_t len = sizeof cred;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0 || len != sizeof cred)
        return static_cast<uid_t>(-1);
    return cred.uid;
}

enum class shed { one, none_waiting, pause };

// Out of descriptors: one waiting client is accepted through the reserve
// and closed. (The kernel finds no descriptor before it looks at the queue:
// EMFILE may come when nobody waits at all.)
shed shed_one(server &s, int listen_fd, int err)
{
    if (s.reserve_fd < 0) {
        note(s.accept_failed,
             std::string("cannot accept clients: ") + std::strerror(err) + "; pausing");
        return shed::pause;
    }
    ::close(s.reserve_fd);
    s.reserve_fd = -1;
    const int fd = ::accept4(listen_fd, nullptr, nullptr, SOCK_CLOEXEC);
    const int accept_err = errno;
    if (fd >= 0) {
        ::close(fd);
        note(s.refused_fds, std::string("refused a client: ") + std::strerror(err) + " (" +
                                std::to_string(s.conns.size()) + " clients connected)");
    }
    keep_reserve(s);
    if (s.reserve_fd < 0)
        return shed::pause;
    return fd >= 0 || accept_err == EINTR || accept_err == ECONNABORTED ? shed::one
                                                                        : shed::none_waiting;
}

// A refused client hears why before its connection ends.
void refuse(server &s, int fd, uid_t uid, const char *limit)
{
    const auto frame = kest_frame_bytes(KEST_FRAME_REFUSED, 0, 0, 0, kKestRefusedTooMany,
                                        static_cast<uint32_t>(sizeof kKestRefusedTooMany - 1));
    (void)::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    ::close(fd);
    ++s.refused_clients;
    note(s.refused_full, "refused a client of uid " + std::to_string(uid) + ": " +
                             std::to_string(s.conns.size()) + " clients connected, " + limit +
                             " (" + std::to_string(s.refused_clients) + " refused so far)");
}

void add_connection(server &s, int fd)
{
    const uid_t uid = peer_uid(fd);
    if (const char *limit = full_for(s, uid))
        return refuse(s, fd, uid, limit);
    auto c = std::make_unique<connection>();
    c->id = s.next_id++;
    c->fd = fd;
    c->uid = uid;
    s.conns.push_back(std::move(c));
}

} // namespace

// Root and the service's own user are refused only at the limit itself.
const char *full_for(const server &s, uid_t uid)
{
    if (s.conns.size() >= s.limits.max_clients)
        return "the limit (--max-clients)";
    if (uid == 0 || uid == ::geteuid())
        return nullptr;
    const size_t reserve = s.limits.max_clients / 8; // none below 8: a tiny limit is all for use
    const size_t per_user = std::max<size_t>(1, s.limits.max_clients / 4);
    size_t others = 0;
    size_t same = 0;
    for (const auto &c : s.conns) {
        others += c->uid != 0 && c->uid != ::geteuid();
        same += c->uid == uid;
    }
    if (same >= per_user)
        return "the limit for one user";
    return others + reserve >= s.limits.max_clients
               ? "the limit for users other than root and the service's"
               : nullptr;
}

void note(rate_note &n, const std::string &text)
{
    const auto now = clock_type::now();
    if (n.said && now - n.last < kNoteInterval) {
        ++n.held;
        return;
    }
    if (n.held > 0)
        std::fprintf(stderr, "kestd: %s (and %u more like it)\n", text.c_str(), n.held);
    else
        std::fprintf(stderr, "kestd: %s\n", text.c_str());
    n = {now, 0, true};
}

void keep_reserve(server &s)
{
    if (s.reserve_fd < 0)
        s.reserve_fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

void accept_all(server &s, int listen_fd)
{
    for (;;) {
        const int fd = ::accept4(listen_fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd >= 0) {
            add_connection(s, fd);
            continue;
        }
        const int err = errno;
        if (err == EINTR || err == ECONNABORTED)
            continue;
        if (err == EAGAIN || err == EWOULDBLOCK)
            return;
        if (err == EMFILE || err == ENFILE) {
            const shed done = shed_one(s, listen_fd, err);
            if (done == shed::one)
                continue;
            if (done == shed::none_waiting)
                return;
        } else {
            note(s.accept_failed,
                 std::string("cannot accept clients: ") + std::strerror(err) + "; pausing");
        }
        s.accept_resume = clock_type::now() + kAcceptPause;
        return;
    }
}

} // namespace kestd_loop
