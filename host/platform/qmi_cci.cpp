// Host stand-in for the QMI common client interface: reaches kestd over a
// Unix stream socket, in the frames of kest_proto.h.
//
// Threads of the transport:
//  - a notifier has one watcher thread, from init until it has signalled
//    the service or is released;
//  - a client has a reader thread and a delivery thread. One thread at a
//    time reads the socket (it holds the "reading" turn): while sends are
//    under way, a waiting sender reads for itself and hands on the answers
//    of others, so that a lone caller gets its answer without waking
//    another thread; once no send has begun for kIdleReadMs, the reader
//    thread takes the turn and reads the indications that come while the
//    client is idle. The delivery thread calls the indication callback one
//    indication at a time in arrival order. Because the callback runs apart
//    from whoever reads, it may itself send on the client.
// qmi_client_release of a client joins both of its threads, so once it has
// returned no callback runs or will run. It may be called from any thread
// except the client's delivery thread (from inside the indication
// callback), where it refuses with QMI_HOST_ERR_THREAD instead of waiting
// for itself.
//
// The parts: qmi_cci_common.cpp (address, threads, clocks),
// qmi_cci_notifier.cpp (notifier, service list), qmi_cci_read.cpp (the
// reading turn), qmi_cci_delivery.cpp (the indication queue and its
// callback), and here the client's life and its sends.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "qmi_cci_internal.h"

namespace qmi_host {

namespace {

void free_client(host_client *c)
{
    end_delivery(*c);
    close(c->fd);
    pthread_cond_destroy(&c->ind_ready);
    pthread_cond_destroy(&c->sends_done);
    pthread_cond_destroy(&c->reader_idle);
    pthread_mutex_destroy(&c->lock);
    pthread_mutex_destroy(&c->write_lock);
    free(c);
}

qmi_client_error_type release_client(host_client *c)
{
    if (pthread_equal(pthread_self(), c->delivery))
        return QMI_HOST_ERR_THREAD;
    pthread_mutex_lock(&c->lock);
    c->releasing = true;
    pthread_cond_signal(&c->ind_ready);
    pthread_cond_signal(&c->reader_idle);
    pthread_mutex_unlock(&c->lock);

    shutdown(c->fd, SHUT_RDWR); // whoever reads sees the end and fails every waiting send
    pthread_join(c->reader, nullptr);
    pthread_join(c->delivery, nullptr); // returns once a running callback has returned

    // A send still on its way out has been failed; let it leave the record.
    pthread_mutex_lock(&c->lock);
    while (c->active_sends > 0)
        pthread_cond_wait(&c->sends_done, &c->lock);
    pthread_mutex_unlock(&c->lock);
    free_client(c);
    return 0;
}

// Puts a frame on the socket by the deadline. A frame cut in the middle
// ends the connection, since the stream can no longer be read.
int write_request(host_client &c, const kest_frame_header &h, const void *req,
                  const timespec *deadline)
{
    if (deadline != nullptr) {
        // The lock's wait goes by the wall clock: convert what is left.
        timespec wall{};
        clock_gettime(CLOCK_REALTIME, &wall);
        const uint32_t left = static_cast<uint32_t>(kest_ms_until(deadline));
        wall.tv_sec += static_cast<time_t>(left / 1000);
        wall.tv_nsec += static_cast<long>(left % 1000) * 1000000L;
        if (wall.tv_nsec >= 1000000000L) {
            wall.tv_sec += 1;
            wall.tv_nsec -= 1000000000L;
        }
        if (pthread_mutex_timedlock(&c.write_lock, &wall) != 0)
            return QMI_HOST_ERR_TIMEOUT;
    } else {
        pthread_mutex_lock(&c.write_lock);
    }
    const kest_write_result written = kest_write_frame(c.fd, h, req, deadline);
    pthread_mutex_unlock(&c.write_lock);
    if (written == KEST_WRITE_SENT)
        return 0;
    if (written == KEST_WRITE_TIMED_OUT)
        return QMI_HOST_ERR_TIMEOUT;
    shutdown(c.fd, SHUT_RDWR);
    return QMI_HOST_ERR_CLOSED;
}

host_client *as_client(qmi_client_type handle)
{
    return handle != nullptr && handle->kind == kClientKind
               ? static_cast<host_client *>(static_cast<void *>(handle))
               : nullptr;
}

} // namespace

} // namespace qmi_host

using namespace qmi_host;

// ---------------------------------------------------------------------------
// Interface

VG_HOST_API qmi_client_error_type qmi_client_init(qmi_service_info *service_info,
                                                  qmi_idl_service_object_type service_obj,
                                                  qmi_client_ind_cb ind_cb, void *ind_cb_data,
                                                  qmi_client_os_params *os_params,
                                                  qmi_client_type *user_handle)
{
    (void)os_params; // the host transport waits on its own conditions
    service_address where{};
    if (service_info == nullptr || service_obj == nullptr || user_handle == nullptr ||
        service_info->service_id != QMI_HOST_KEST_SERVICE_ID || !resolve_service(where))
        return QMI_HOST_ERR_ARGUMENT;
    char why[256] = "";
    const int fd = connect_service(where, why, sizeof why);
    if (fd < 0) {
        if (why[0] != '\0')
            report_untrusted(why);
        return QMI_HOST_ERR_NO_SERVICE;
    }
    auto *c = static_cast<host_client *>(calloc(1, sizeof(host_client)));
    if (c == nullptr) {
        close(fd);
        return QMI_HOST_ERR_RESOURCE;
    }
    c->base.kind = kClientKind;
    c->fd = fd;
    c->ind_cb = ind_cb;
    c->ind_cb_data = ind_cb_data;
    c->connected = true;
    pthread_mutex_init(&c->write_lock, nullptr);
    pthread_mutex_init(&c->lock, nullptr);
    pthread_cond_init(&c->ind_ready, nullptr);
    pthread_cond_init(&c->sends_done, nullptr);
    init_monotonic_cond(c->reader_idle);
    clock_gettime(CLOCK_MONOTONIC, &c->last_send);
    if (!start_thread(c->delivery, "qmi_delivery", deliver_indications, c)) {
        free_client(c);
        return QMI_HOST_ERR_RESOURCE;
    }
    if (!start_thread(c->reader, "qmi_reader", read_frames, c)) {
        pthread_mutex_lock(&c->lock);
        c->releasing = true;
        pthread_cond_signal(&c->ind_ready);
        pthread_mutex_unlock(&c->lock);
        pthread_join(c->delivery, nullptr);
        free_client(c);
        return QMI_HOST_ERR_RESOURCE;
    }
    *user_handle = &c->base;
    return 0;
}

namespace {

// Puts `p` on the client's list of sends waiting for an answer, with the
// next transaction number; false when the connection is gone or going.
bool enlist_send(host_client &c, pending_send &p)
{
    pthread_mutex_lock(&c.lock);
    if (!c.connected || c.releasing) {
        pthread_mutex_unlock(&c.lock);
        return false;
    }
    if (++c.last_txn == 0) // 0 is the txn of indications
        c.last_txn = 1;
    p.txn = c.last_txn;
    p.next = c.pending;
    c.pending = &p;
    ++c.active_sends;
    clock_gettime(CLOCK_MONOTONIC, &c.last_send);
    pthread_mutex_unlock(&c.lock);
    return true;
}

// With the lock held: waits until `p` is answered, failed or out of time,
// reading for every waiting send while nobody else does.
void await_answer(host_client &c, pending_send &p, const timespec *deadline)
{
    while (!p.done) {
        if (!c.reading && c.connected) {
            // Nobody reads: read for ourselves, and for the others.
            c.reading = true;
            read_with_turn(c, deadline);
            c.reading = false;
            if (!p.done && deadline != nullptr && kest_ms_until(deadline) == 0) {
                p.done = true;
                p.rc = QMI_HOST_ERR_TIMEOUT;
            }
            continue;
        }
        const int rc = deadline != nullptr ? pthread_cond_timedwait(&p.answered, &c.lock, deadline)
                                           : pthread_cond_wait(&p.answered, &c.lock);
        if (rc == ETIMEDOUT && !p.done) {
            p.done = true;
            p.rc = QMI_HOST_ERR_TIMEOUT;
        }
    }
}

// With the lock held: takes `p` off the list, hands the reading turn on and
// wakes a release that waits for the last send.
void delist_send(host_client &c, pending_send &p)
{
    pending_send **link = &c.pending;
    while (*link != &p)
        link = &(*link)->next;
    *link = p.next;
    if (!c.reading)
        pass_turn(c);
    if (--c.active_sends == 0)
        pthread_cond_broadcast(&c.sends_done);
}

} // namespace

// A time-out of 0 waits without limit, for the answer or the end of the
// connection.
VG_HOST_API qmi_client_error_type qmi_client_send_msg_sync(qmi_client_type user_handle,
                                                           uint32_t msg_id, const void *req,
                                                           uint32_t req_len, void *resp,
                                                           uint32_t resp_len,
                                                           uint32_t timeout_msecs)
{
    host_client *c = as_client(user_handle);
    if (c == nullptr || req_len > kKestFrameMaxPayload || (req_len > 0 && req == nullptr) ||
        (resp_len > 0 && resp == nullptr))
        return QMI_HOST_ERR_ARGUMENT;
    const timespec until = monotonic_after_ms(timeout_msecs);
    const timespec *deadline = timeout_msecs > 0 ? &until : nullptr;

    pending_send p{};
    p.msg_id = msg_id;
    p.resp = resp;
    p.resp_len = resp_len;
    init_monotonic_cond(p.answered);
    if (!enlist_send(*c, p)) {
        pthread_cond_destroy(&p.answered);
        return QMI_HOST_ERR_CLOSED;
    }
    const kest_frame_header h =
        kest_frame_make(KEST_FRAME_REQUEST, p.txn, msg_id, req_len, resp_len);
    const int written = write_request(*c, h, req, deadline);

    pthread_mutex_lock(&c->lock);
    if (written != 0 && !p.done) {
        p.done = true;
        p.rc = written;
    }
    await_answer(*c, p, deadline);
    delist_send(*c, p);
    pthread_mutex_unlock(&c->lock);
    pthread_cond_destroy(&p.answered);
    return p.rc;
}

// Encoded messages are the records themselves: decoding is a bounded copy.
VG_HOST_API qmi_client_error_type qmi_client_message_decode(qmi_client_type user_handle,
                                                            int msg_kind, uint32_t msg_id,
                                                            const void *src, uint32_t src_len,
                                                            void *dst, uint32_t dst_len)
{
    (void)user_handle;
    (void)msg_id;
    if (msg_kind != QMI_IDL_INDICATION || src_len > dst_len ||
        (src_len > 0 && (src == nullptr || dst == nullptr)))
        return QMI_HOST_ERR_ARGUMENT;
    if (src_len > 0)
        memcpy(dst, src, src_len);
    return 0;
}

VG_HOST_API qmi_client_error_type qmi_client_release(qmi_client_type user_handle)
{
    if (user_handle == nullptr)
        return QMI_HOST_ERR_ARGUMENT;
    if (user_handle->kind == kNotifierKind)
        return release_notifier(user_handle);
    if (host_client *c = as_client(user_handle))
        return release_client(c);
    return QMI_HOST_ERR_ARGUMENT;
}
