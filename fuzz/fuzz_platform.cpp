#include "fuzz_platform.h"

#include <arpa/inet.h>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vg_log.h"
#include "vg_manager_msgr.h"

namespace fz {
volatile uint8_t g_touched; // keeps the reads of touch()

namespace {
script g_script;

struct fake_object {
    int tag;
};
fake_object g_service{1};
fake_object g_notifier{2};
fake_object g_client{3};
qmi_client_ind_cb g_ind_cb = nullptr;

// The file sink's line, waiting for the system sink's twin.
struct pending_line {
    bool open;
    char func[128];
    int line;
    char text[2048];
};
pending_line g_pending;

// Reads every byte of a buffer the library handed over, so that ASan sees a
// length that overstates the buffer.
void touch(const void *p, size_t n)
{
    const volatile uint8_t *b = static_cast<const volatile uint8_t *>(p);
    uint8_t sum = 0;
    for (size_t i = 0; i < n; ++i)
        sum = static_cast<uint8_t>(sum + b[i]);
    g_touched = sum;
}
} // namespace

script &play()
{
    return g_script;
}

void reset_script()
{
    g_script = script{};
}

void fail(const char *what)
{
    std::fprintf(stderr, "fuzz check failed: %s\n", what);
    std::abort();
}

void require_pairs_closed()
{
    if (g_pending.open) {
        std::fprintf(stderr, "line without its twin: %s\n", g_pending.text);
        fail("a file-sink line has no system-sink twin");
    }
}

mgmt_client *open_handle(mgmt_event_cb cb)
{
    mgmt_client *h = nullptr;
    require(vg_mgmt_client_open(&h, cb) == 0 && h != nullptr, "open against the fake service");
    return h;
}

qmi_client_ind_cb indication_callback()
{
    return g_ind_cb;
}

} // namespace fz

using fz::g_script;

extern "C" qmi_idl_service_object_type
vg_manager_msgr_get_service_object_internal_v01(int32_t, int32_t, int32_t)
{
    return reinterpret_cast<qmi_idl_service_object_type>(&fz::g_service);
}

extern "C" qmi_client_error_type qmi_client_notifier_init(qmi_idl_service_object_type,
                                                          qmi_client_os_params *os_params,
                                                          qmi_client_type *user_handle)
{
    os_params->signal_set = 1;
    os_params->timed_out = 0;
    os_params->clock_id = 1;
    pthread_cond_init(&os_params->cond, nullptr);
    pthread_mutex_init(&os_params->mutex, nullptr);
    *user_handle = reinterpret_cast<qmi_client_type>(&fz::g_notifier);
    return 0;
}

extern "C" qmi_client_error_type qmi_client_get_service_list(qmi_idl_service_object_type,
                                                             qmi_service_info *list,
                                                             uint32_t *num_entries,
                                                             uint32_t *num_services)
{
    *num_services = 1;
    if (list != nullptr && num_entries != nullptr && *num_entries > 0) {
        list[0] = qmi_service_info{0x42, 0, {0, 0, 0}};
        *num_entries = 1;
    }
    return 0;
}

extern "C" qmi_client_error_type qmi_client_init(qmi_service_info *, qmi_idl_service_object_type,
                                                 qmi_client_ind_cb ind_cb, void *,
                                                 qmi_client_os_params *,
                                                 qmi_client_type *user_handle)
{
    fz::g_ind_cb = ind_cb;
    *user_handle = reinterpret_cast<qmi_client_type>(&fz::g_client);
    return 0;
}

extern "C" qmi_client_error_type qmi_client_send_msg_sync(qmi_client_type user_handle, uint32_t,
                                                          const void *req, uint32_t req_len,
                                                          void *resp, uint32_t resp_len, uint32_t)
{
    fz::require(user_handle == reinterpret_cast<qmi_client_type>(&fz::g_client),
                "send on the handle's connection");
    fz::require((req == nullptr) == (req_len == 0), "a request pointer goes with its length");
    fz::require(resp != nullptr && resp_len >= sizeof(uint32_t), "a response with its status");
    ++g_script.sends;
    if (req != nullptr)
        fz::touch(req, req_len);
    fz::touch(resp, resp_len);
    if (g_script.next_answer == fz::kMaxAnswers)
        return 0;
    const fz::answer &a = g_script.answers[g_script.next_answer++];
    if (a.len != 0)
        std::memcpy(resp, a.bytes, a.len < resp_len ? a.len : resp_len);
    return a.rc;
}

extern "C" qmi_client_error_type qmi_client_message_decode(qmi_client_type, int, uint32_t,
                                                           const void *src, uint32_t src_len,
                                                           void *dst, uint32_t dst_len)
{
    if (src != nullptr)
        fz::touch(src, src_len);
    fz::touch(dst, dst_len);
    if (g_script.decoded_len != 0)
        std::memcpy(dst, g_script.decoded,
                    g_script.decoded_len < dst_len ? g_script.decoded_len : dst_len);
    return g_script.decode_rc;
}

extern "C" qmi_client_error_type qmi_client_release(qmi_client_type)
{
    return 0;
}

extern "C" void __vg_log(const char *, int line, const char *func, int level, const char *fmt, ...)
{
    fz::require_pairs_closed();
    fz::require(level >= 1 && level <= 4, "log level 1 to 4");
    fz::pending_line &p = fz::g_pending;
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(p.text, sizeof p.text, fmt, ap);
    va_end(ap);
    std::snprintf(p.func, sizeof p.func, "%s", func);
    p.line = line;
    p.open = true;
}

extern "C" void vg_sys_log_print(int kind, int, const char *tag, const char *fmt, ...)
{
    fz::pending_line &p = fz::g_pending;
    fz::require(p.open, "a system-sink line without its file-sink line");
    fz::require(kind == 3 && std::strcmp(tag, "vg_mgmt_cli") == 0, "system sink kind and tag");
    char twin[sizeof p.text + 160];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(twin, sizeof twin, fmt, ap);
    va_end(ap);
    char expected[sizeof twin];
    std::snprintf(expected, sizeof expected, "[%s  %d]: %s", p.func, p.line, p.text);
    fz::require(std::strcmp(twin, expected) == 0, "the twin line says what the file line says");
    p.open = false;
}

extern "C" const char *vg_ipv4_ntoa(uint32_t addr)
{
    thread_local char buf[INET_ADDRSTRLEN];
    in_addr a{};
    a.s_addr = addr;
    inet_ntop(AF_INET, &a, buf, sizeof buf);
    return buf;
}
