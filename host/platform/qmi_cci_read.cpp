// Reading a client's socket: one thread at a time holds the reading turn,
// takes whole frames off the socket and hands answers to their senders and
// indications to the delivery queue.
#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "qmi_cci_internal.h"

namespace qmi_host {

namespace {

// An answer reaches the send with its txn; one nobody waits for any more
// is dropped.
void take_response(host_client &c, const kest_frame_header &h, const uint8_t *payload)
{
    pthread_mutex_lock(&c.lock);
    pending_send *p = c.pending;
    while (p != nullptr && p->txn != h.txn)
        p = p->next;
    if (p != nullptr && !p->done) {
        const uint32_t n = h.len < p->resp_len ? h.len : p->resp_len;
        // An answer to another message than the one sent counts as refused.
        const bool ok = h.msg_id == p->msg_id && h.status == 0;
        if (ok && n > 0)
            memcpy(p->resp, payload, n);
        p->rc = ok ? 0 : QMI_HOST_ERR_REFUSED;
        p->done = true;
        pthread_cond_signal(&p->answered);
    }
    pthread_mutex_unlock(&c.lock);
}

// Hands on every whole frame at the start of rx; false on a header that
// ends the connection.
bool take_frames(host_client &c)
{
    size_t off = 0;
    for (;;) {
        kest_frame_header h;
        if (c.rx_used - off < sizeof h)
            break;
        memcpy(&h, c.rx + off, sizeof h);
        if (!kest_frame_header_ok(h))
            return false;
        if (c.rx_used - off - sizeof h < h.len)
            break;
        const uint8_t *payload = c.rx + off + sizeof h;
        if (h.kind == KEST_FRAME_RESPONSE)
            take_response(c, h, payload);
        else if (h.kind == KEST_FRAME_INDICATION)
            take_indication(c, h, payload);
        // Control answers and other kinds are not the client's: skipped.
        off += sizeof h + h.len;
    }
    memmove(c.rx, c.rx + off, c.rx_used - off);
    c.rx_used -= off;
    return true;
}

// With the reading turn, without lock: one read of whatever the socket
// holds (often several frames, never a read per header and per payload),
// waiting for data at most until deadline (null: as long as it takes).
// False once the connection has ended.
bool read_some(host_client &c, const timespec *deadline)
{
    pollfd p{c.fd, POLLIN, 0};
    const int ready = poll(&p, 1, kest_ms_until(deadline));
    if (ready == 0 || (ready < 0 && errno == EINTR))
        return true;
    if (ready < 0)
        return false;
    const ssize_t got = recv(c.fd, c.rx + c.rx_used, sizeof c.rx - c.rx_used, MSG_DONTWAIT);
    if (got < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK))
        return true;
    if (got <= 0)
        return false;
    c.rx_used += static_cast<size_t>(got);
    return take_frames(c);
}

bool idle_since(const host_client &c, uint32_t ms, timespec &until)
{
    until = c.last_send;
    until.tv_sec += static_cast<time_t>(ms / 1000);
    until.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    if (until.tv_nsec >= 1000000000L) {
        until.tv_sec += 1;
        until.tv_nsec -= 1000000000L;
    }
    return c.active_sends == 0 && kest_ms_until(&until) == 0;
}

} // namespace

// Under lock: every waiting send fails with rc.
void fail_pending(host_client &c, int rc)
{
    for (pending_send *p = c.pending; p != nullptr; p = p->next) {
        if (!p->done) {
            p->done = true;
            p->rc = rc;
            pthread_cond_signal(&p->answered);
        }
    }
}

// Ends the connection: waiting and later sends fail at once, and the
// service sees the end. The descriptor stays open until release, so that no
// sender can write to a reused one.
void end_connection(host_client &c)
{
    pthread_mutex_lock(&c.lock);
    c.connected = false;
    fail_pending(c, QMI_HOST_ERR_CLOSED);
    pthread_mutex_unlock(&c.lock);
    shutdown(c.fd, SHUT_RDWR);
}

// Under lock, with the turn: reads once, the lock let go meanwhile.
void read_with_turn(host_client &c, const timespec *deadline)
{
    pthread_mutex_unlock(&c.lock);
    const bool alive = read_some(c, deadline);
    if (!alive)
        end_connection(c);
    pthread_mutex_lock(&c.lock);
}

// Under lock: gives up the turn; a send still waiting for its answer takes
// it on, so that somebody reads for it.
void pass_turn(host_client &c)
{
    c.reading = false;
    for (pending_send *p = c.pending; p != nullptr; p = p->next) {
        if (!p->done) {
            pthread_cond_signal(&p->answered);
            break;
        }
    }
}

// The reader thread: takes the turn once the client is idle, and reads
// until a send begins.
void *read_frames(void *arg)
{
    auto &c = *static_cast<host_client *>(arg);
    pthread_mutex_lock(&c.lock);
    while (!c.releasing && c.connected) {
        timespec until{};
        if (c.reading || !idle_since(c, kIdleReadMs, until)) {
            if (c.active_sends > 0 || c.reading)
                until = monotonic_after_ms(kIdleReadMs);
            pthread_cond_timedwait(&c.reader_idle, &c.lock, &until);
            continue;
        }
        c.reading = true;
        read_with_turn(c, nullptr);
        pass_turn(c);
    }
    pthread_mutex_unlock(&c.lock);
    return nullptr;
}

} // namespace qmi_host
