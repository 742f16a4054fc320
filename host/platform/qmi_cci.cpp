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

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "kest_frame_io.h"
#include "kest_socket_path.h"
#include "qmi_cci_host.h"

#define VG_HOST_API extern "C" __attribute__((visibility("default")))

// The handle of either object; kind says which.
struct qmi_client_struct {
    uint32_t kind;
};

namespace {
constexpr uint32_t kNotifierKind = 0x4e4f5449;
constexpr uint32_t kClientKind = 0x544e4c43;

// While the socket file exists but takes no connection (bound, not yet
// listening), the watcher looks again this often, this many times.
constexpr int kRecheckMs = 20;
constexpr int kRechecks = 100;

// The reader thread leaves the socket to the senders until none has begun
// for this long; an indication that comes in such a pause waits at most this.
constexpr uint32_t kIdleReadMs = 2;

// ---------------------------------------------------------------------------
// Helpers

struct service_address {
    sockaddr_un addr;
    socklen_t len;
};

// The service's socket, from the environment or the default.
bool resolve_service(service_address &out)
{
    out = {};
    if (!kest_socket_path(out.addr.sun_path, sizeof out.addr.sun_path))
        return false;
    out.addr.sun_family = AF_UNIX;
    const size_t n = strlen(out.addr.sun_path);
    out.len = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + n + 1);
    return true;
}

// A connected socket, or -1 when the service takes no connection now.
int connect_service(const service_address &where)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    int rc;
    do {
        rc = connect(fd, reinterpret_cast<const sockaddr *>(&where.addr), where.len);
    } while (rc != 0 && errno == EINTR);
    if (rc != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

bool service_accepts(const service_address &where)
{
    const int fd = connect_service(where);
    if (fd < 0)
        return false;
    close(fd);
    return true;
}

// Our threads take no signal of the application, and bear names that begin
// with "qmi_" for whoever looks at the process.
bool start_thread(pthread_t &thread, const char *name, void *(*fn)(void *), void *arg)
{
    sigset_t all;
    sigset_t old;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &old);
    const int rc = pthread_create(&thread, nullptr, fn, arg);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    if (rc == 0)
        pthread_setname_np(thread, name);
    return rc == 0;
}

void init_monotonic_cond(pthread_cond_t &cond)
{
    pthread_condattr_t attr;
    pthread_condattr_init(&attr);
    pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    pthread_cond_init(&cond, &attr);
    pthread_condattr_destroy(&attr);
}

timespec monotonic_after_ms(uint32_t ms)
{
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    t.tv_sec += static_cast<time_t>(ms / 1000);
    t.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    if (t.tv_nsec >= 1000000000L) {
        t.tv_sec += 1;
        t.tv_nsec -= 1000000000L;
    }
    return t;
}

// ---------------------------------------------------------------------------
// Notifier

struct host_notifier {
    qmi_client_struct base;
    mgmt_os_signal *sig;
    service_address where;
    char name[sizeof(sockaddr_un::sun_path)]; // the socket's file name in its folder
    int inotify_fd;
    int stop_fd;
    pthread_t watcher;
};

// Whether a batch of inotify events names the socket's file.
bool events_name_socket(const host_notifier &n)
{
    alignas(inotify_event) char buf[4096];
    bool named = false;
    for (;;) {
        const ssize_t got = read(n.inotify_fd, buf, sizeof buf);
        if (got <= 0)
            return named;
        for (ssize_t off = 0; off + static_cast<ssize_t>(sizeof(inotify_event)) <= got;) {
            // buf is aligned for inotify_event and the kernel keeps every record aligned.
            const auto *ev = static_cast<const inotify_event *>(static_cast<const void *>(buf + off));
            if (ev->len > 0 && strncmp(ev->name, n.name, ev->len) == 0)
                named = true;
            if ((ev->mask & IN_Q_OVERFLOW) != 0)
                named = true;
            off += static_cast<ssize_t>(sizeof(inotify_event) + ev->len);
        }
    }
}

// Looks for the service at start, whenever the folder reports the socket's
// name, and for a while after that until the socket takes connections.
void *watch_for_service(void *arg)
{
    auto &n = *static_cast<host_notifier *>(arg);
    struct stat st{};
    int rechecks = stat(n.where.addr.sun_path, &st) == 0 ? kRechecks : 0;
    bool look = true;
    for (;;) {
        if (look && service_accepts(n.where)) {
            pthread_mutex_lock(&n.sig->mutex);
            n.sig->signal_set = 1;
            pthread_cond_broadcast(&n.sig->cond);
            pthread_mutex_unlock(&n.sig->mutex);
            return nullptr;
        }
        pollfd fds[2] = {{n.stop_fd, POLLIN, 0}, {n.inotify_fd, POLLIN, 0}};
        const int ready = poll(fds, 2, rechecks > 0 ? kRecheckMs : -1);
        if (ready < 0 && errno != EINTR)
            return nullptr;
        if ((fds[0].revents & POLLIN) != 0)
            return nullptr;
        look = ready == 0 && rechecks > 0;
        if (look)
            --rechecks;
        if (ready > 0 && (fds[1].revents & POLLIN) != 0 && events_name_socket(n)) {
            rechecks = kRechecks;
            look = true;
        }
    }
}

// The folder part of the socket's path, and its file name.
void split_path(const char *path, char *dir, size_t dir_room, char *name, size_t name_room)
{
    const char *slash = strrchr(path, '/');
    if (slash == nullptr) {
        snprintf(dir, dir_room, ".");
        snprintf(name, name_room, "%s", path);
    } else {
        const int dir_len = slash == path ? 1 : static_cast<int>(slash - path);
        snprintf(dir, dir_room, "%.*s", dir_len, path);
        snprintf(name, name_room, "%s", slash + 1);
    }
}

void close_notifier(host_notifier *n)
{
    if (n->inotify_fd >= 0)
        close(n->inotify_fd);
    if (n->stop_fd >= 0)
        close(n->stop_fd);
    free(n);
}

qmi_client_error_type release_notifier(host_notifier *n)
{
    const uint64_t one = 1;
    if (write(n->stop_fd, &one, sizeof one) != sizeof one)
        return QMI_HOST_ERR_RESOURCE; // the watcher would never end; leave it be
    pthread_join(n->watcher, nullptr);
    pthread_cond_destroy(&n->sig->cond);
    pthread_mutex_destroy(&n->sig->mutex);
    close_notifier(n);
    return 0;
}

// ---------------------------------------------------------------------------
// Client

// A send waiting for its answer; lives on the sender's stack and is linked
// into the client's list while it waits.
struct pending_send {
    pending_send *next;
    uint32_t txn;
    uint32_t msg_id;
    void *resp;
    uint32_t resp_len;
    bool done;
    int rc;
    pthread_cond_t answered;
};

struct queued_indication {
    queued_indication *next;
    uint32_t msg_id;
    uint32_t len;
    // followed by len bytes
};

struct host_client {
    qmi_client_struct base;
    int fd;
    qmi_client_ind_cb ind_cb;
    void *ind_cb_data;
    pthread_t reader;
    pthread_t delivery;
    pthread_mutex_t write_lock; // one frame on the socket at a time

    pthread_mutex_t lock; // everything below
    bool connected;       // false once the connection has ended
    bool releasing;
    uint32_t last_txn;
    uint32_t active_sends;
    pending_send *pending;
    queued_indication *ind_head;
    queued_indication *ind_tail;
    uint32_t ind_count;
    pthread_cond_t ind_ready;
    pthread_cond_t sends_done;
    bool reading;             // a thread has the reading turn
    timespec last_send;       // when a send last began (monotonic)
    pthread_cond_t reader_idle; // the reader thread waits here for its turn

    // The reading turn's alone: what came off the socket and is not taken yet.
    // Room for two whole frames, so that one read can take a frame and the
    // start of the next.
    uint8_t rx[2 * (sizeof(kest_frame_header) + KEST_FRAME_MAX_PAYLOAD)];
    size_t rx_used;
};

uint8_t *indication_bytes(queued_indication *q)
{
    return reinterpret_cast<uint8_t *>(q + 1);
}

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

void take_indication(host_client &c, const kest_frame_header &h, const uint8_t *payload)
{
    if (c.ind_cb == nullptr)
        return;
    auto *q = static_cast<queued_indication *>(malloc(sizeof(queued_indication) + h.len));
    if (q == nullptr)
        return;
    *q = {nullptr, h.msg_id, h.len};
    memcpy(indication_bytes(q), payload, h.len);
    pthread_mutex_lock(&c.lock);
    if (c.releasing || c.ind_count >= QMI_HOST_MAX_QUEUED_INDICATIONS) {
        pthread_mutex_unlock(&c.lock);
        free(q);
        return;
    }
    if (c.ind_tail != nullptr)
        c.ind_tail->next = q;
    else
        c.ind_head = q;
    c.ind_tail = q;
    ++c.ind_count;
    pthread_cond_signal(&c.ind_ready);
    pthread_mutex_unlock(&c.lock);
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

void *deliver_indications(void *arg)
{
    auto &c = *static_cast<host_client *>(arg);
    pthread_mutex_lock(&c.lock);
    for (;;) {
        while (!c.releasing && c.ind_head == nullptr)
            pthread_cond_wait(&c.ind_ready, &c.lock);
        if (c.releasing)
            break;
        queued_indication *q = c.ind_head;
        c.ind_head = q->next;
        if (c.ind_head == nullptr)
            c.ind_tail = nullptr;
        --c.ind_count;
        pthread_mutex_unlock(&c.lock);
        c.ind_cb(&c.base, q->msg_id, indication_bytes(q), q->len, c.ind_cb_data);
        free(q);
        pthread_mutex_lock(&c.lock);
    }
    pthread_mutex_unlock(&c.lock);
    return nullptr;
}

void free_client(host_client *c)
{
    while (c->ind_head != nullptr) {
        queued_indication *q = c->ind_head;
        c->ind_head = q->next;
        free(q);
    }
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

// ---------------------------------------------------------------------------
// Interface

VG_HOST_API qmi_client_error_type qmi_client_notifier_init(qmi_idl_service_object_type service_obj,
                                                           qmi_client_os_params *os_params,
                                                           qmi_client_type *user_handle)
{
    service_address where{};
    if (service_obj == nullptr || os_params == nullptr || user_handle == nullptr ||
        !resolve_service(where))
        return QMI_HOST_ERR_ARGUMENT;
    auto *n = static_cast<host_notifier *>(calloc(1, sizeof(host_notifier)));
    if (n == nullptr)
        return QMI_HOST_ERR_RESOURCE;
    n->base.kind = kNotifierKind;
    n->sig = os_params;
    n->where = where;
    n->inotify_fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    n->stop_fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    char dir[sizeof where.addr.sun_path];
    split_path(where.addr.sun_path, dir, sizeof dir, n->name, sizeof n->name);
    // The watch is in place before the watcher's first look, so a socket
    // that appears in between is not missed.
    if (n->inotify_fd < 0 || n->stop_fd < 0 ||
        inotify_add_watch(n->inotify_fd, dir, IN_CREATE | IN_MOVED_TO | IN_ATTRIB) < 0) {
        close_notifier(n);
        return QMI_HOST_ERR_RESOURCE;
    }

    os_params->signal_set = 0;
    os_params->timed_out = 0;
    os_params->clock_id = 1;
    os_params->reserved0 = 0;
    os_params->reserved1 = 0;
    init_monotonic_cond(os_params->cond);
    pthread_mutex_init(&os_params->mutex, nullptr);

    if (!start_thread(n->watcher, "qmi_notifier", watch_for_service, n)) {
        pthread_cond_destroy(&os_params->cond);
        pthread_mutex_destroy(&os_params->mutex);
        close_notifier(n);
        return QMI_HOST_ERR_RESOURCE;
    }
    *user_handle = &n->base;
    return 0;
}

VG_HOST_API qmi_client_error_type qmi_client_get_service_list(
    qmi_idl_service_object_type service_obj, qmi_service_info *service_info_array,
    uint32_t *num_entries, uint32_t *num_services)
{
    service_address where{};
    if (service_obj == nullptr || !resolve_service(where) ||
        (service_info_array != nullptr && num_entries == nullptr))
        return QMI_HOST_ERR_ARGUMENT;
    const bool present = service_accepts(where);
    if (num_services != nullptr)
        *num_services = present ? 1 : 0;
    if (service_info_array == nullptr)
        return present ? 0 : QMI_HOST_ERR_NO_SERVICE;
    if (!present || *num_entries == 0) {
        *num_entries = 0;
        return present ? QMI_HOST_ERR_ARGUMENT : QMI_HOST_ERR_NO_SERVICE;
    }
    service_info_array[0] = {QMI_HOST_KEST_SERVICE_ID, QMI_HOST_KEST_INSTANCE_ID, {0, 0, 0}};
    *num_entries = 1;
    return 0;
}

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
    const int fd = connect_service(where);
    if (fd < 0)
        return QMI_HOST_ERR_NO_SERVICE;
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

// A time-out of 0 waits without limit, for the answer or the end of the
// connection.
VG_HOST_API qmi_client_error_type qmi_client_send_msg_sync(qmi_client_type user_handle,
                                                           uint32_t msg_id, const void *req,
                                                           uint32_t req_len, void *resp,
                                                           uint32_t resp_len,
                                                           uint32_t timeout_msecs)
{
    host_client *c = as_client(user_handle);
    if (c == nullptr || req_len > KEST_FRAME_MAX_PAYLOAD || (req_len > 0 && req == nullptr) ||
        (resp_len > 0 && resp == nullptr))
        return QMI_HOST_ERR_ARGUMENT;
    const timespec until = monotonic_after_ms(timeout_msecs);
    const timespec *deadline = timeout_msecs > 0 ? &until : nullptr;

    pending_send p{};
    p.msg_id = msg_id;
    p.resp = resp;
    p.resp_len = resp_len;
    init_monotonic_cond(p.answered);

    pthread_mutex_lock(&c->lock);
    if (!c->connected || c->releasing) {
        pthread_mutex_unlock(&c->lock);
        pthread_cond_destroy(&p.answered);
        return QMI_HOST_ERR_CLOSED;
    }
    if (++c->last_txn == 0) // 0 is the txn of indications
        c->last_txn = 1;
    p.txn = c->last_txn;
    p.next = c->pending;
    c->pending = &p;
    ++c->active_sends;
    clock_gettime(CLOCK_MONOTONIC, &c->last_send);
    pthread_mutex_unlock(&c->lock);

    const kest_frame_header h =
        kest_frame_make(KEST_FRAME_REQUEST, p.txn, msg_id, req_len, resp_len);
    const int written = write_request(*c, h, req, deadline);

    pthread_mutex_lock(&c->lock);
    if (written != 0 && !p.done) {
        p.done = true;
        p.rc = written;
    }
    while (!p.done) {
        if (!c->reading && c->connected) {
            // Nobody reads: read for ourselves, and for the others.
            c->reading = true;
            read_with_turn(*c, deadline);
            c->reading = false;
            if (!p.done && deadline != nullptr && kest_ms_until(deadline) == 0) {
                p.done = true;
                p.rc = QMI_HOST_ERR_TIMEOUT;
            }
            continue;
        }
        const int rc = deadline != nullptr
                           ? pthread_cond_timedwait(&p.answered, &c->lock, deadline)
                           : pthread_cond_wait(&p.answered, &c->lock);
        if (rc == ETIMEDOUT && !p.done) {
            p.done = true;
            p.rc = QMI_HOST_ERR_TIMEOUT;
        }
    }
    pending_send **link = &c->pending;
    while (*link != &p)
        link = &(*link)->next;
    *link = p.next;
    if (!c->reading)
        pass_turn(*c);
    if (--c->active_sends == 0)
        pthread_cond_broadcast(&c->sends_done);
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
        return release_notifier(reinterpret_cast<host_notifier *>(user_handle));
    if (host_client *c = as_client(user_handle))
        return release_client(c);
    return QMI_HOST_ERR_ARGUMENT;
}
