// The notifier of the host transport: a watcher thread that signals the
// application's os_signal once the service's socket takes connections, and
// the probe and list of the service.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "qmi_cci_internal.h"

namespace qmi_host {

namespace {

// While the socket file exists but takes no connection (bound, not yet
// listening), the watcher looks again this often, this many times.
constexpr int kRecheckMs = 20;
constexpr int kRechecks = 100;

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
            const auto *ev =
                static_cast<const inotify_event *>(static_cast<const void *>(buf + off));
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
    struct stat st {};
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

} // namespace

qmi_client_error_type release_notifier(qmi_client_struct *handle)
{
    auto *n = reinterpret_cast<host_notifier *>(handle);
    const uint64_t one = 1;
    if (write(n->stop_fd, &one, sizeof one) != sizeof one)
        return QMI_HOST_ERR_RESOURCE; // the watcher would never end; leave it be
    pthread_join(n->watcher, nullptr);
    pthread_cond_destroy(&n->sig->cond);
    pthread_mutex_destroy(&n->sig->mutex);
    close_notifier(n);
    return 0;
}

} // namespace qmi_host

using namespace qmi_host;

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
