// The host transport's helpers: where the service is, threads that take no
// signal, monotonic clocks.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <unistd.h>

#include "kest_socket_path.h"
#include "qmi_cci_internal.h"
#include "vg_log.h"

namespace qmi_host {

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

// A connected socket, or -1 when the service takes no connection now or
// the process at the other end is not trusted as the service (then `why`,
// when given, says so and nothing was sent).
int connect_service(const service_address &where, char *why, size_t why_size)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    int rc;
    do {
        rc = connect(fd, reinterpret_cast<const sockaddr *>(&where.addr), where.len);
    } while (rc != 0 && errno == EINTR);
    char untrusted[256];
    if (why == nullptr) {
        why = untrusted;
        why_size = sizeof untrusted;
    }
    if (rc != 0 || !kest_peer_trusted(fd, where.addr.sun_path, why, why_size)) {
        close(fd);
        return -1;
    }
    return fd;
}

// A service that is not trusted: both sinks, level 1, severity 4.
void report_untrusted(const char *why)
{
    __vg_log("qmi_cci", __LINE__, __func__, 1, "%s", why);
    vg_sys_log_print(3, 4, "qmi_cci", "[%s  %d]: %s", __func__, __LINE__, why);
}

bool service_accepts(const service_address &where)
{
    const int fd = connect_service(where, nullptr, 0);
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

} // namespace qmi_host
