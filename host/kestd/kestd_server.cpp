// The event loop of kestd: one poll over the listening socket, the signal
// descriptor and every client; non-blocking sockets with a buffer each way
// per connection. A connection that sends a frame it may not send is closed
// alone; the others go on.
#include "kestd_server.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <memory>

#include "kestd_service.h"

namespace {

using clock_type = std::chrono::steady_clock;

// Beyond this much unsent output a client is not reading: it is dropped.
constexpr size_t OUT_LIMIT = 1u << 20;

struct connection {
    uint64_t id;
    int fd;
    std::vector<uint8_t> in;
    std::vector<uint8_t> out;
    clock_type::time_point last_due; // answers leave in the order of their requests
    bool dead;
};

// An answer that waits for its time.
struct deferred {
    uint64_t conn;
    clock_type::time_point due;
    std::vector<uint8_t> response;
    kestd_frames indications;
};

struct server {
    kestd_service &svc;
    std::vector<std::unique_ptr<connection>> conns;
    std::vector<deferred> waiting;
    uint64_t next_id = 1;
};

void flush(connection &c)
{
    size_t sent = 0;
    while (!c.dead && sent < c.out.size()) {
        const ssize_t w = ::send(c.fd, c.out.data() + sent, c.out.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (w > 0)
            sent += static_cast<size_t>(w);
        else if (w < 0 && errno == EINTR)
            continue;
        else if (w < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            break;
        else
            c.dead = true;
    }
    c.out.erase(c.out.begin(), c.out.begin() + static_cast<std::ptrdiff_t>(sent));
    if (c.out.size() > OUT_LIMIT)
        c.dead = true;
}

void send_to(connection &c, const std::vector<uint8_t> &frame)
{
    if (c.dead)
        return;
    c.out.insert(c.out.end(), frame.begin(), frame.end());
    flush(c);
}

void broadcast(server &s, const kestd_frames &frames)
{
    for (const auto &frame : frames)
        for (auto &c : s.conns)
            send_to(*c, frame);
}

connection *find(server &s, uint64_t id)
{
    for (auto &c : s.conns)
        if (c->id == id)
            return c.get();
    return nullptr;
}

void take_frame(server &s, connection &c, const kest_frame_header &h, const uint8_t *payload)
{
    if (h.kind == KEST_FRAME_CONTROL) {
        kestd_control_answer a = kestd_control(s.svc, h, payload);
        send_to(c, a.response);
        broadcast(s, a.indications);
        if (a.drop_others)
            for (auto &other : s.conns)
                other->dead = other->dead || other->id != c.id;
        return;
    }
    kestd_answer a = kestd_request(s.svc, h, payload);
    if (a.silent)
        return;
    const auto due = std::max(clock_type::now() + std::chrono::milliseconds(a.delay_ms), c.last_due);
    c.last_due = due;
    s.waiting.push_back({c.id, due, std::move(a.response), std::move(a.indications)});
}

// Takes every whole frame from the input buffer. Clients send requests and
// control commands only; anything else, a bad header or an oversized
// payload ends the connection.
void parse(server &s, connection &c)
{
    size_t used = 0;
    while (!c.dead && c.in.size() - used >= sizeof(kest_frame_header)) {
        kest_frame_header h;
        std::memcpy(&h, c.in.data() + used, sizeof h);
        if (!kest_frame_header_ok(h) || (h.kind != KEST_FRAME_REQUEST && h.kind != KEST_FRAME_CONTROL)) {
            c.dead = true;
            break;
        }
        if (c.in.size() - used - sizeof h < h.len)
            break;
        take_frame(s, c, h, c.in.data() + used + sizeof h);
        used += sizeof h + h.len;
    }
    c.in.erase(c.in.begin(), c.in.begin() + static_cast<std::ptrdiff_t>(used));
}

// Reads what is there, but at most a few buffers per round, so that one busy
// client cannot keep the others waiting.
void receive(server &s, connection &c)
{
    uint8_t buf[16384];
    for (int round = 0; round < 8; ++round) {
        const ssize_t r = ::recv(c.fd, buf, sizeof buf, MSG_DONTWAIT);
        if (r > 0) {
            c.in.insert(c.in.end(), buf, buf + r);
            parse(s, c);
            // A short read took all there was: the next poll tells of more,
            // without a read that only says "nothing now".
            if (c.dead || static_cast<size_t>(r) < sizeof buf)
                return;
            continue;
        }
        if (r < 0 && errno == EINTR)
            continue;
        if (r < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return;
        c.dead = true; // end of stream, a truncated frame included, or an error
        return;
    }
}

void accept_all(server &s, int listen_fd)
{
    for (;;) {
        const int fd = ::accept4(listen_fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EINTR)
                continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK)
                std::fprintf(stderr, "kestd: accept: %s\n", std::strerror(errno));
            return;
        }
        s.conns.push_back(std::make_unique<connection>(connection{s.next_id++, fd, {}, {}, {}, false}));
    }
}

// Sends every answer whose time has come, each followed by its indications.
void release_due(server &s)
{
    const auto now = clock_type::now();
    std::stable_sort(s.waiting.begin(), s.waiting.end(),
                     [](const deferred &a, const deferred &b) { return a.due < b.due; });
    size_t n = 0;
    for (; n < s.waiting.size() && s.waiting[n].due <= now; ++n) {
        if (connection *c = find(s, s.waiting[n].conn))
            send_to(*c, s.waiting[n].response);
        broadcast(s, s.waiting[n].indications);
    }
    s.waiting.erase(s.waiting.begin(), s.waiting.begin() + static_cast<std::ptrdiff_t>(n));
}

int poll_timeout(const server &s)
{
    if (s.waiting.empty())
        return -1;
    auto first = s.waiting.front().due;
    for (const deferred &d : s.waiting)
        first = std::min(first, d.due);
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(first - clock_type::now()).count();
    return left <= 0 ? 0 : static_cast<int>(std::min<long long>(left + 1, 60000));
}

void close_dead(server &s)
{
    std::erase_if(s.conns, [](const std::unique_ptr<connection> &c) {
        if (c->dead)
            ::close(c->fd);
        return c->dead;
    });
}

} // namespace

int kestd_serve(kestd_service &svc, int listen_fd, int signal_fd)
{
    server s{svc, {}, {}};
    std::vector<pollfd> fds;
    for (;;) {
        fds.clear();
        fds.push_back({signal_fd, POLLIN, 0});
        fds.push_back({listen_fd, POLLIN, 0});
        for (const auto &c : s.conns)
            fds.push_back({c->fd, static_cast<short>(POLLIN | (c->out.empty() ? 0 : POLLOUT)), 0});
        const int ready = ::poll(fds.data(), fds.size(), poll_timeout(s));
        if (ready < 0 && errno != EINTR) {
            std::fprintf(stderr, "kestd: poll: %s\n", std::strerror(errno));
            return 1;
        }
        if (ready > 0 && (fds[0].revents & POLLIN)) {
            signalfd_siginfo info;
            if (::read(signal_fd, &info, sizeof info) == static_cast<ssize_t>(sizeof info))
                break;
        }
        // Connections accepted below were not polled yet: only the polled
        // ones are looked at.
        const size_t polled = s.conns.size();
        if (ready > 0 && (fds[1].revents & POLLIN))
            accept_all(s, listen_fd);
        for (size_t i = 0; ready > 0 && i < polled; ++i) {
            connection &c = *s.conns[i];
            const short ev = fds[i + 2].revents;
            if (ev & (POLLIN | POLLHUP | POLLERR))
                receive(s, c);
            if ((ev & POLLOUT) && !c.dead)
                flush(c);
        }
        release_due(s);
        close_dead(s);
    }
    for (const auto &c : s.conns)
        ::close(c->fd);
    return 0;
}
