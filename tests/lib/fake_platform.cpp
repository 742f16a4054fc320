#include "fake_platform.h"

#include <algorithm>
#include <atomic>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdarg>
#include <string_view>
#include <utility>
#include <cstdio>
#include <memory>
#include <gtest/gtest.h>

#include "vg_log.h"
#include "vg_manager_msgr.h"

namespace fake {
namespace {
state *g_state = new state; // never destroyed: transport threads may outlive main

int g_service_object = 1, g_notifier = 2, g_client = 3; // the handles the fake gives out

std::string vformat(const char *fmt, va_list ap)
{
    char buf[8192];
    vsnprintf(buf, sizeof buf, fmt, ap);
    return buf;
}

// The file sink's half of a pair, waiting for the system sink's half.
struct pending_pair {
    bool open = false;
    log_line line;
};
thread_local pending_pair t_pending;

std::atomic<bool> g_count_heap{false};
std::atomic<size_t> g_heap_calls{0};
thread_local int t_in_platform = 0;

// Marks the fake platform's own work, whose heap use is not counted.
struct platform_scope {
    platform_scope() { ++t_in_platform; }
    ~platform_scope() { --t_in_platform; }
    platform_scope(const platform_scope &) = delete;
    platform_scope &operator=(const platform_scope &) = delete;
};

void note_heap_call()
{
    if (g_count_heap.load(std::memory_order_relaxed) && t_in_platform == 0)
        g_heap_calls.fetch_add(1, std::memory_order_relaxed);
}

// The source file of a function's lines follows from its name: the domain's
// prefix names its file, and the rest are the client's, but for the one
// helper of a domain whose name bears no prefix.
std::string file_of(std::string_view func)
{
    if (func == "check_usb_num")
        return "vg_mgmt_usb";
    for (std::string domain : {"wifi", "data_call", "network", "usb"})
        if (func.starts_with(domain + "_"))
            return "vg_mgmt_" + domain;
    return "vg_mgmt_client";
}

// The system sink's severity of each file sink level.
int severity_of(int level)
{
    constexpr int kSeverities[] = {-1, 6, 4, 4, 3};
    return level >= 1 && level <= 4 ? kSeverities[level] : -1;
}
} // namespace

state &g()
{
    return *g_state;
}

// A fresh state in the same place: no thread of the fake runs between tests.
void reset()
{
    std::destroy_at(g_state);
    std::construct_at(g_state);
    t_pending = {};
}

bool pair_left_open()
{
    return t_pending.open;
}

void reply_status(uint16_t result, uint16_t error, int rc)
{
    reply_with(resp_status{result, error}, rc);
}

void reply_send_failure(int rc)
{
    std::lock_guard lock(g().mu);
    g().replies.push_back(reply{rc, {}});
}

void deliver_indication(uint32_t msg_id, const void *buf, uint32_t len)
{
    ASSERT_NE(g().ind_cb, nullptr);
    g().ind_cb(reinterpret_cast<qmi_client_type>(&g_client), msg_id, const_cast<void *>(buf), len,
               g().ind_cb_data);
}

mgmt_client *open_handle(mgmt_event_cb cb)
{
    mgmt_client *h = nullptr;
    EXPECT_EQ(vg_mgmt_client_open(&h, cb), 0);
    return h;
}

std::vector<log_line> logs()
{
    std::lock_guard lock(g().mu);
    return g().logs;
}

bool logged(const std::string &part)
{
    for (const auto &l : logs())
        if (l.text.find(part) != std::string::npos)
            return true;
    return false;
}

size_t sent_count()
{
    std::lock_guard lock(g().mu);
    return g().sent.size();
}

sent_msg last_sent()
{
    std::lock_guard lock(g().mu);
    return g().sent.empty() ? sent_msg{} : g().sent.back();
}

void count_heap(bool on)
{
    if (on)
        g_heap_calls = 0;
    g_count_heap = on;
}

size_t heap_calls()
{
    return g_heap_calls;
}

std::vector<uint8_t> patterned(size_t size, uint8_t seed)
{
    std::vector<uint8_t> v(size);
    for (size_t i = 0; i < size; ++i)
        v[i] = static_cast<uint8_t>(seed + i * 7);
    return v;
}

} // namespace fake

using fake::g;

// ---------------------------------------------------------------------------
// Platform functions

extern "C" qmi_idl_service_object_type
vg_manager_msgr_get_service_object_internal_v01(int32_t major, int32_t minor, int32_t tag)
{
    std::lock_guard lock(g().mu);
    g().service_object_args.push_back({major, minor, tag});
    return reinterpret_cast<qmi_idl_service_object_type>(&fake::g_service_object);
}

extern "C" qmi_client_error_type qmi_client_notifier_init(qmi_idl_service_object_type,
                                                          qmi_client_os_params *os_params,
                                                          qmi_client_type *user_handle)
{
    auto &s = g();
    s.calls.push_back("notifier_init");
    if (s.notifier_rc != 0)
        return s.notifier_rc;
    os_params->signal_set = s.signal_at_notifier_init ? 1 : 0;
    os_params->timed_out = 0;
    os_params->clock_id = s.clock_id;
    pthread_condattr_t attr;
    pthread_condattr_init(&attr);
    if (s.clock_id == 1)
        pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    pthread_cond_init(&os_params->cond, &attr);
    pthread_condattr_destroy(&attr);
    pthread_mutex_init(&os_params->mutex, nullptr);
    s.os_signal = os_params;
    *user_handle = reinterpret_cast<qmi_client_type>(&fake::g_notifier);
    return 0;
}

extern "C" qmi_client_error_type qmi_client_get_service_list(qmi_idl_service_object_type,
                                                             qmi_service_info *list,
                                                             uint32_t *num_entries,
                                                             uint32_t *num_services)
{
    auto &s = g();
    if (list == nullptr && num_entries == nullptr) {
        s.calls.push_back("probe");
        int rc = 0;
        if (!s.probe_rc.empty()) {
            rc = s.probe_rc.front();
            s.probe_rc.pop_front();
        }
        if (rc == 0)
            *num_services = s.num_services;
        return rc;
    }
    s.calls.push_back("list");
    s.list_room_seen = *num_entries;
    if (s.list_rc != 0)
        return s.list_rc;
    const uint32_t n = std::min(*num_entries, s.num_services);
    for (uint32_t i = 0; i < n; ++i)
        list[i] = qmi_service_info{0x42, i, {0, 0, 0}};
    *num_entries = n;
    *num_services = s.num_services;
    return 0;
}

extern "C" qmi_client_error_type qmi_client_init(qmi_service_info *, qmi_idl_service_object_type,
                                                 qmi_client_ind_cb ind_cb, void *ind_cb_data,
                                                 qmi_client_os_params *os_params,
                                                 qmi_client_type *user_handle)
{
    auto &s = g();
    s.calls.push_back("init");
    s.init_os_params = os_params;
    if (s.init_rc != 0)
        return s.init_rc;
    s.ind_cb = ind_cb;
    s.ind_cb_data = ind_cb_data;
    *user_handle = reinterpret_cast<qmi_client_type>(&fake::g_client);
    return 0;
}

extern "C" qmi_client_error_type qmi_client_send_msg_sync(qmi_client_type, uint32_t msg_id,
                                                          const void *req, uint32_t req_len,
                                                          void *resp, uint32_t resp_len,
                                                          uint32_t timeout_msecs)
{
    const fake::platform_scope scope;
    auto &s = g();
    fake::reply r;
    {
        std::lock_guard lock(s.mu);
        fake::sent_msg m{msg_id, req == nullptr, {}, req_len, resp_len, timeout_msecs};
        if (req != nullptr)
            m.req.assign(static_cast<const uint8_t *>(req),
                         static_cast<const uint8_t *>(req) + req_len);
        s.sent.push_back(std::move(m));
        if (!s.replies.empty()) {
            r = std::move(s.replies.front());
            s.replies.pop_front();
        }
    }
    if (!r.bytes.empty())
        std::memcpy(resp, r.bytes.data(), std::min<size_t>(r.bytes.size(), resp_len));
    return r.rc;
}

extern "C" qmi_client_error_type qmi_client_message_decode(qmi_client_type, int kind,
                                                           uint32_t msg_id, const void *,
                                                           uint32_t src_len, void *dst,
                                                           uint32_t dst_len)
{
    const fake::platform_scope scope;
    auto &s = g();
    fake::reply r;
    {
        std::lock_guard lock(s.mu);
        s.decodes.push_back({kind, msg_id, src_len, dst_len});
        if (!s.decode_replies.empty()) {
            r = std::move(s.decode_replies.front());
            s.decode_replies.pop_front();
        }
    }
    if (!r.bytes.empty())
        std::memcpy(dst, r.bytes.data(), std::min<size_t>(r.bytes.size(), dst_len));
    return r.rc;
}

extern "C" qmi_client_error_type qmi_client_release(qmi_client_type user_handle)
{
    auto &s = g();
    std::lock_guard lock(s.mu);
    if (user_handle == reinterpret_cast<qmi_client_type>(&fake::g_notifier))
        s.calls.push_back("release notifier");
    else if (user_handle == reinterpret_cast<qmi_client_type>(&fake::g_client))
        s.calls.push_back("release client");
    else
        s.calls.push_back("release unknown");
    return 0;
}

extern "C" void __vg_log(const char *file, int line, const char *func, int level, const char *fmt,
                         ...)
{
    const fake::platform_scope scope;
    if (fake::t_pending.open)
        ADD_FAILURE() << "file sink line \"" << fake::t_pending.line.text
                      << "\" has no system sink twin";
    va_list ap;
    va_start(ap, fmt);
    fake::t_pending.line = {file, line, func, level, fmt, fake::vformat(fmt, ap), -1};
    va_end(ap);
    fake::t_pending.open = true;
}

extern "C" void vg_sys_log_print(int kind, int severity, const char *tag, const char *fmt, ...)
{
    const fake::platform_scope scope;
    va_list ap;
    va_start(ap, fmt);
    const std::string twin_text = fake::vformat(fmt, ap);
    va_end(ap);
    if (!fake::t_pending.open) {
        ADD_FAILURE() << "system sink line \"" << twin_text << "\" without a file sink line";
        return;
    }
    fake::log_line l = fake::t_pending.line;
    fake::t_pending.open = false;
    l.severity = severity;
    EXPECT_EQ(kind, 3) << l.text;
    EXPECT_EQ(severity, fake::severity_of(l.level)) << l.text;
    EXPECT_STREQ(tag, "vg_mgmt_cli") << l.text;
    EXPECT_EQ(std::string(fmt), "[%s  %d]: " + l.fmt);
    EXPECT_EQ(twin_text, "[" + l.func + "  " + std::to_string(l.line) + "]: " + l.text);
    EXPECT_EQ(l.file, fake::file_of(l.func)) << l.func << ": " << l.text;
    std::lock_guard lock(g().mu);
    g().logs.push_back(std::move(l));
}

extern "C" const char *vg_ipv4_ntoa(uint32_t addr)
{
    const fake::platform_scope scope;
    {
        std::lock_guard lock(g().mu);
        ++g().ntoa_calls;
    }
    thread_local char buf[INET_ADDRSTRLEN];
    in_addr a{};
    a.s_addr = addr;
    inet_ntop(AF_INET, &a, buf, sizeof buf);
    return buf;
}

// ---------------------------------------------------------------------------
// Clocks and waits, wrapped at link time (--wrap) so tests can drive the wait
// for the service without waiting.

extern "C" void *__real_malloc(size_t);
extern "C" void *__real_calloc(size_t, size_t);
extern "C" void *__real_realloc(void *, size_t);
extern "C" void __real_free(void *);

extern "C" void *__wrap_calloc(size_t n, size_t size)
{
    return fake::note_heap_call(), __real_calloc(n, size);
}
extern "C" void *__wrap_realloc(void *p, size_t n)
{
    return fake::note_heap_call(), __real_realloc(p, n);
}
extern "C" void __wrap_free(void *p)
{
    fake::note_heap_call(), __real_free(p);
}

extern "C" void *__wrap_malloc(size_t n)
{
    fake::note_heap_call();
    if (fake::g_state != nullptr && g().fail_next_malloc) { // null while it is being made
        g().fail_next_malloc = false;
        errno = ENOMEM;
        return nullptr;
    }
    return __real_malloc(n);
}

extern "C" int __real_pthread_cond_timedwait(pthread_cond_t *, pthread_mutex_t *, const timespec *);
extern "C" int __real_clock_gettime(clockid_t, timespec *);
extern "C" int __real_gettimeofday(timeval *, void *);

extern "C" int __wrap_pthread_cond_timedwait(pthread_cond_t *c, pthread_mutex_t *m,
                                             const timespec *deadline)
{
    if (!g().fake_waits)
        return __real_pthread_cond_timedwait(c, m, deadline);
    g().wait_deadlines.push_back(*deadline);
    return g().wait_rc;
}

extern "C" int __wrap_clock_gettime(clockid_t id, timespec *ts)
{
    if (g().fake_now && id == CLOCK_MONOTONIC) {
        *ts = g().now_mono;
        return 0;
    }
    return __real_clock_gettime(id, ts);
}

extern "C" int __wrap_gettimeofday(timeval *tv, void *tz)
{
    if (g().fake_now) {
        *tv = g().now_wall;
        return 0;
    }
    return __real_gettimeofday(tv, tz);
}
