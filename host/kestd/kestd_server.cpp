// The event loop of kestd: one poll over the listening socket, the signal
// descriptor and every client; non-blocking sockets with a buffer each way
// per connection. A connection that sends a frame it may not send, leaves a
// frame half-sent too long or stops reading is closed alone; the others go
// on. Memory per client is bounded: its input buffer, its unsent output
// (kOutLimit) and its waiting answers (kKestdMaxDeferred).
#include "kestd_server.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "kestd_errors.h"
#include "kestd_loop.h"

namespace kestd_loop {

namespace {

// Beyond this much unsent output a client is not reading: it is dropped.
constexpr size_t kOutLimit = 1u << 20;

constexpr auto kFrameTimeLimit = std::chrono::milliseconds(kKestdFrameTimeLimitMs);

void flush(connection &c)
{
    size_t sent = 0;
    while (!c.dead && sent < c.out.size()) {
        const ssize_t w =
            ::send(c.fd, c.out.data() + sent, c.out.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
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
    if (c.out.size() > kOutLimit)
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

// Control commands change what every client sees and can read the secrets
// of the state: only the service's own user and root may send them.
bool may_control(const connection &c)
{
    return c.uid == 0 || c.uid == ::geteuid();
}

void take_control(server &s, connection &c, const kest_frame_header &h, const uint8_t *payload)
{
    if (!may_control(c)) {
        const std::string text = "control commands are taken only from uid " +
                                 std::to_string(::geteuid()) + " (the service's user) or root";
        send_to(c, kest_frame_bytes(KEST_FRAME_CONTROL_RESPONSE, h.txn, h.msg_id,
                                    KESTD_STATUS_CONTROL_REFUSED, text.data(),
                                    static_cast<uint32_t>(text.size())));
        note(s.control_refused, "refused a control command from uid " + std::to_string(c.uid));
        return;
    }
    kestd_control_answer a = kestd_control(s.svc, h, payload);
    send_to(c, a.response);
    broadcast(s, a.indications);
    if (a.drop_others)
        for (auto &other : s.conns)
            other->dead = other->dead || other->id != c.id;
}

void take_frame(server &s, connection &c, const kest_frame_header &h, const uint8_t *payload)
{
    if (h.kind == KEST_FRAME_CONTROL)
        return take_control(s, c, h, payload);
    kestd_answer a = kestd_request(s.svc, h, payload);
    if (a.silent)
        return;
    const auto due =
        std::max(clock_type::now() + std::chrono::milliseconds(a.delay_ms), c.last_due);
    c.last_due = due;
    ++c.deferred;
    s.waiting.push_back({c.id, due, std::move(a.response), std::move(a.indications)});
}

// Takes every whole frame from the input buffer while the client's waiting
// answers are below their bound. Clients send requests and control commands
// only; anything else, a bad header or an oversized payload ends the
// connection. An unfinished frame starts the clock of its time limit.
void parse(server &s, connection &c)
{
    size_t used = 0;
    bool whole = false; // a whole frame is left, held back by the bound
    while (!c.dead && c.in.size() - used >= sizeof(kest_frame_header)) {
        kest_frame_header h;
        std::memcpy(&h, c.in.data() + used, sizeof h);
        if (!kest_frame_header_ok(h) ||
            (h.kind != KEST_FRAME_REQUEST && h.kind != KEST_FRAME_CONTROL)) {
            c.dead = true;
            break;
        }
        if (c.in.size() - used - sizeof h < h.len)
            break;
        if (c.deferred >= kKestdMaxDeferred || s.waiting.size() >= kKestdMaxWaiting) {
            whole = true;
            break;
        }
        take_frame(s, c, h, c.in.data() + used + sizeof h);
        used += sizeof h + h.len;
    }
    c.in.erase(c.in.begin(), c.in.begin() + static_cast<std::ptrdiff_t>(used));
    if (c.in.empty() || whole)
        c.partial_since = {};
    else if (c.partial_since == clock_type::time_point{})
        c.partial_since = clock_type::now();
}

// A client is read only while its waiting answers are below their bound and
// all waiting answers below theirs; beyond, its requests wait in its socket.
bool wants_input(const server &s, const connection &c)
{
    return !c.dead && c.deferred < kKestdMaxDeferred && s.waiting.size() < kKestdMaxWaiting;
}

// Reads what is there, but at most a few buffers per round, so that one busy
// client cannot keep the others waiting.
void receive(server &s, connection &c)
{
    uint8_t buf[16384];
    for (int round = 0; round < 8 && wants_input(s, c); ++round) {
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

// Sends every answer whose time has come, each followed by its indications.
void release_due(server &s)
{
    const auto now = clock_type::now();
    std::stable_sort(s.waiting.begin(), s.waiting.end(),
                     [](const deferred &a, const deferred &b) { return a.due < b.due; });
    size_t n = 0;
    for (; n < s.waiting.size() && s.waiting[n].due <= now; ++n) {
        if (connection *c = find(s, s.waiting[n].conn)) {
            send_to(*c, s.waiting[n].response);
            --c->deferred;
        }
        broadcast(s, s.waiting[n].indications);
    }
    s.waiting.erase(s.waiting.begin(), s.waiting.begin() + static_cast<std::ptrdiff_t>(n));
}

// Frames held back by the bound are taken once answers have left.
void resume_held(server &s)
{
    for (auto &c : s.conns)
        if (!c->in.empty() && wants_input(s, *c))
            parse(s, *c);
}

// A frame left half-sent beyond its time limit ends its connection.
void expire_partial(server &s)
{
    const auto now = clock_type::now();
    for (auto &c : s.conns)
        if (!c->dead && c->partial_since != clock_type::time_point{} &&
            now - c->partial_since >= kFrameTimeLimit) {
            c->dead = true;
            note(s.timed_out, "closed a client that left a frame unfinished for " +
                                  std::to_string(kKestdFrameTimeLimitMs) + " ms");
        }
}

// When the loop must look again at the latest: the first waiting answer, the
// first frame time limit, the end of an accept pause.
int poll_timeout(const server &s)
{
    clock_type::time_point first = clock_type::time_point::max();
    for (const deferred &d : s.waiting)
        first = std::min(first, d.due);
    for (const auto &c : s.conns)
        if (c->partial_since != clock_type::time_point{})
            first = std::min(first, c->partial_since + kFrameTimeLimit);
    if (s.accept_resume != clock_type::time_point{})
        first = std::min(first, s.accept_resume);
    if (first == clock_type::time_point::max())
        return -1;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(first - clock_type::now()).count();
    return left <= 0 ? 0 : static_cast<int>(std::min<long long>(left + 1, 60000));
}

// Closes the dead connections and frees what waits for them: the answers of
// a client that is gone are dropped with their indications (its changes are
// made; only their news is not told), counted.
void close_dead(server &s)
{
    const size_t before = s.conns.size();
    std::erase_if(s.conns, [](const std::unique_ptr<connection> &c) {
        if (c->dead)
            ::close(c->fd);
        return c->dead;
    });
    if (s.conns.size() == before)
        return;
    const size_t dropped =
        std::erase_if(s.waiting, [&](const deferred &d) { return find(s, d.conn) == nullptr; });
    if (dropped > 0) {
        s.dropped_waiting += dropped;
        note(s.dropped_note, "dropped " + std::to_string(dropped) +
                                 " waiting answers of clients that left (" +
                                 std::to_string(s.dropped_waiting) + " so far)");
        s.waiting.shrink_to_fit();
    }
    // A slot is free: accept again, through a reserve that is whole again.
    s.accept_resume = {};
    keep_reserve(s);
}

bool accepting(const server &s)
{
    return s.accept_resume == clock_type::time_point{} || clock_type::now() >= s.accept_resume;
}

enum class round_end { go_on, stop, failed };

// One round of the loop.
round_end serve_round(server &s, int listen_fd, int signal_fd, std::vector<pollfd> &fds)
{
    fds.clear();
    fds.push_back({signal_fd, POLLIN, 0});
    fds.push_back({accepting(s) ? listen_fd : -1, POLLIN, 0});
    for (const auto &c : s.conns)
        fds.push_back(
            {c->fd,
             static_cast<short>((wants_input(s, *c) ? POLLIN : 0) | (c->out.empty() ? 0 : POLLOUT)),
             0});
    const int ready = ::poll(fds.data(), fds.size(), poll_timeout(s));
    if (ready < 0 && errno != EINTR) {
        std::fprintf(stderr, "kestd: poll: %s\n", std::strerror(errno));
        return round_end::failed;
    }
    if (ready > 0 && (fds[0].revents & POLLIN)) {
        signalfd_siginfo info;
        if (::read(signal_fd, &info, sizeof info) == static_cast<ssize_t>(sizeof info))
            return round_end::stop;
    }
    // Connections accepted below were not polled yet: only the polled ones
    // are looked at.
    const size_t polled = s.conns.size();
    if (accepting(s) && s.accept_resume != clock_type::time_point{})
        s.accept_resume = {};
    if (ready > 0 && (fds[1].revents & POLLIN))
        accept_all(s, listen_fd);
    for (size_t i = 0; ready > 0 && i < polled; ++i) {
        connection &c = *s.conns[i];
        const short ev = fds[i + 2].revents;
        if ((ev & (POLLHUP | POLLERR)) && !wants_input(s, c))
            c.dead = true; // gone while its requests were held: nobody to answer
        else if (ev & (POLLIN | POLLHUP | POLLERR))
            receive(s, c);
        if ((ev & POLLOUT) && !c.dead)
            flush(c);
    }
    release_due(s);
    resume_held(s);
    expire_partial(s);
    close_dead(s);
    return round_end::go_on;
}

} // namespace

} // namespace kestd_loop

int kestd_serve(kestd_service &svc, int listen_fd, int signal_fd, const kestd_limits &limits)
{
    using namespace kestd_loop;
    server s(svc, limits);
    keep_reserve(s);
    std::vector<pollfd> fds;
    round_end end = round_end::go_on;
    while (end == round_end::go_on)
        end = serve_round(s, listen_fd, signal_fd, fds);
    for (const auto &c : s.conns)
        ::close(c->fd);
    if (s.reserve_fd >= 0)
        ::close(s.reserve_fd);
    return end == round_end::stop ? 0 : 1;
}
