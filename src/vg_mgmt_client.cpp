// Client connection, the per-thread error number's accessors and the router
// of every command. The steps that the domains share are in vg_mgmt_core.cpp,
// so calls go one way: from here to the domains, from the domains to the core.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/time.h>

#include "vg_manager_msgr.h"
#include "vg_mgmt_core.h"

namespace {
constexpr char kVgLogFile[] = "vg_mgmt_client";

constexpr int kServiceAttempts = 10;
constexpr long kServiceWaitNs = 500000000L;
constexpr long kNsPerSecond = 1000000000L;
constexpr int kCondTimedOut = 110; // the platform's ETIMEDOUT
constexpr size_t kServiceListBytes = 200;
constexpr uint32_t kServiceListRoom = kServiceListBytes / sizeof(qmi_service_info);
} // namespace

extern "C" int32_t vg_mgmt_get_errno(void)
{
    return vg_errno;
}

extern "C" void vg_mgmt_set_errno(int32_t err)
{
    vg_errno = err;
}

// ---------------------------------------------------------------------------
// Connection

// 500 ms from now on the clock that the transport chose for the wait.
static timespec service_wait_deadline(const mgmt_os_signal &sig)
{
    timespec deadline{};
    if (sig.clock_id == 1) {
        clock_gettime(CLOCK_MONOTONIC, &deadline);
        deadline.tv_nsec += kServiceWaitNs;
    } else {
        timeval now{};
        gettimeofday(&now, nullptr);
        deadline.tv_sec = now.tv_sec;
        deadline.tv_nsec = now.tv_usec * 1000L + kServiceWaitNs;
    }
    if (deadline.tv_nsec > kNsPerSecond - 1) {
        deadline.tv_sec += 1;
        deadline.tv_nsec %= kNsPerSecond;
    }
    return deadline;
}

// Waits until the transport signals the service or 500 ms have passed.
static void wait_for_service_signal(mgmt_os_signal &sig)
{
    sig.timed_out = 0;
    const timespec deadline = service_wait_deadline(sig);
    pthread_mutex_lock(&sig.mutex);
    while (sig.signal_set == 0) {
        if (pthread_cond_timedwait(&sig.cond, &sig.mutex, &deadline) == kCondTimedOut) {
            sig.timed_out = 1;
            break;
        }
    }
    pthread_mutex_unlock(&sig.mutex);
}

static void kest_ind_cb(qmi_client_type user_handle, uint32_t msg_id, void *ind_buf,
                        uint32_t ind_buf_len, void *ind_cb_data)
{
    if (ind_cb_data == nullptr) {
        VG_LOG(1, "Invalid indication cb data");
        return;
    }
    VG_LOG(4, "Receive KEST msgr indication message 0x%x", msg_id);
    switch (msg_id) {
    case KEST_WIFI_STA_STATUS_IND:
    case KEST_WIFI_AP_STA_IND:
        wifi_event_ind_msg(user_handle, msg_id, ind_buf, ind_buf_len, ind_cb_data);
        break;
    case KEST_DATA_CALL_STATUS_IND:
        data_call_status_event_ind_msg(user_handle, ind_buf, ind_buf_len, ind_cb_data);
        break;
    default:
        break;
    }
}

// Finds the service and connects; 0 on success.
static int access_msgr_qmi_init(mgmt_client *mc)
{
    uint32_t num_entries = 0;
    uint32_t num_services = 0;
    qmi_service_info service_list[kServiceListRoom];
    qmi_idl_service_object_type service = vg_manager_msgr_get_service_object_internal_v01(1, 1, 6);

    int rc = qmi_client_notifier_init(service, &mc->os_signal, &mc->notifier);
    if (rc != 0) {
        VG_LOG(1, "qmi_client_notifier_init failure: %d", rc);
        return -1;
    }

    int attempts = kServiceAttempts;
    while (qmi_client_get_service_list(service, nullptr, nullptr, &num_services) != 0) {
        wait_for_service_signal(mc->os_signal);
        if (--attempts == 0) {
            qmi_client_release(mc->notifier);
            VG_LOG(1, "kest reached maximum retry attempts %d", kServiceAttempts);
            return -1;
        }
    }

    // The probe's count goes in as the room, bounded by the list we have.
    num_entries = num_services < kServiceListRoom ? num_services : kServiceListRoom;
    rc = qmi_client_get_service_list(service, service_list, &num_entries, &num_services);
    VG_LOG(4, "qmi_client_get_service_list() kest num_entries %d num_services %d, and retuned %d",
           num_entries, num_services, rc);
    if (rc != 0) {
        qmi_client_release(mc->notifier);
        VG_LOG(1, "Can not get kest services list %d", rc);
        return -1;
    }

    rc = qmi_client_init(&service_list[0], service, kest_ind_cb, mc, nullptr, &mc->client);
    if (rc != 0) {
        qmi_client_release(mc->notifier);
        VG_LOG(1, "Can not initialization kest services: %d", rc);
        return -1;
    }
    VG_LOG(4, "initialization kest services success %p", static_cast<void *>(mc->client));
    return 0;
}

extern "C" int32_t vg_mgmt_client_open(mgmt_client **handle, mgmt_event_cb event_cb)
{
    if (handle == nullptr)
        return -1;
    if (*handle != nullptr) {
        VG_LOG(3, "handle has been initialized");
        return 0;
    }
    auto *mc = static_cast<mgmt_client *>(malloc(sizeof(mgmt_client)));
    if (mc == nullptr) {
        VG_LOG(1, "handle malloc failed: %s", strerror(errno));
        return vg_fail(MGMT_ERR_NO_MEMORY);
    }
    mc->client = nullptr;
    mc->notifier = nullptr;
    mc->event_cb = event_cb;
    if (access_msgr_qmi_init(mc) != 0) {
        free(mc);
        vg_errno = MGMT_ERR_NO_SERVICE;
        VG_LOG(1, "initialization kest qmi service failure");
        return -1;
    }
    *handle = mc;
    VG_LOG(4, "Open mgmt client handle %p success", static_cast<void *>(mc));
    return 0;
}

extern "C" void vg_mgmt_client_close(mgmt_client *handle)
{
    VG_LOG(4, "destroy handle %p", static_cast<void *>(handle));
    if (handle == nullptr)
        return;
    if (handle->notifier != nullptr)
        qmi_client_release(handle->notifier);
    if (handle->client != nullptr)
        qmi_client_release(handle->client);
    free(handle);
}

// ---------------------------------------------------------------------------
// Router

namespace {
using dispatcher_fn = int32_t (*)(mgmt_client *, uint32_t, uint32_t, void *);

struct domain_route {
    dispatcher_fn dispatch; // null: the domain is accepted and does nothing
    uint32_t value_size;
    vg_fmt size_message;
};

constexpr uint32_t kDomainCount = 8;
constexpr domain_route kDomains[kDomainCount] = {
    {nullptr, 0, {}},
    {wifi_command_handle, MGMT_WIFI_VALUE_SIZE,
     VG_FMT("wifi command value size %d does not equal %d", "dd")},
    {nullptr, 0, {}},
    {network_command_handle, MGMT_NETWORK_VALUE_SIZE,
     VG_FMT("network command value size %d does not equal %d", "dd")},
    {nullptr, 0, {}},
    {nullptr, 0, {}},
    {data_call_command_handle, MGMT_DATA_CALL_VALUE_SIZE,
     VG_FMT("data call command value size %d does not equal %d", "dd")},
    {usb_command_handle, MGMT_USB_VALUE_SIZE,
     VG_FMT("usb command value size %d does not equal %d", "dd")},
};
} // namespace

static int32_t mgmt_client_handle(mgmt_client *handle, uint32_t flag, uint32_t command, void *value,
                                  uint32_t size)
{
    if (handle == nullptr) {
        VG_LOG(1, "the handle is null");
        return vg_fail(MGMT_ERR_HANDLE);
    }
    const uint32_t domain = MGMT_COMMAND_DOMAIN(command);
    VG_LOG(4, "opt %d command 0x%04x, base 0x%x", flag, domain, 0xffffu);
    if (domain == 0 || domain >= kDomainCount) {
        VG_LOG(2, "0x%08x command not support", domain);
        return vg_fail(MGMT_ERR_NOT_SUPPORTED);
    }
    const domain_route &route = kDomains[domain];
    if (route.dispatch == nullptr)
        return 0;
    if (size != route.value_size && size != 0) {
        vg_log_fmt(VG_SITE, __LINE__, 1, route.size_message, size, route.value_size);
        return vg_fail(MGMT_ERR_INVALID);
    }
    return route.dispatch(handle, flag, MGMT_COMMAND_ID(command), value);
}

extern "C" int32_t vg_mgmt_client_set(mgmt_client *handle, uint32_t command, void *value,
                                      uint32_t size)
{
    return mgmt_client_handle(handle, MGMT_OPT_SET, command, value, size);
}

extern "C" int32_t vg_mgmt_client_get(mgmt_client *handle, uint32_t command, void *value,
                                      uint32_t size)
{
    return mgmt_client_handle(handle, MGMT_OPT_GET, command, value, size);
}
