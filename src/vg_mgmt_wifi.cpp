// Wi-Fi domain: dispatcher, handlers and the decoder of the two Wi-Fi
// indications.

#include <cstring>
#include <iterator>

#include "vg_mgmt_core.h"

namespace {
constexpr char vg_log_file[] = "vg_mgmt_wifi";

int32_t wifi_null_params(const char *func)
{
    VG_LOG_AS(func, 1, "the wifi params is null");
    return vg_fail(MGMT_ERR_INVALID);
}

// ---------------------------------------------------------------------------
// Work mode

constexpr uint32_t kWorkModeMax = 4;

int32_t wifi_work_mode_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const wifi_work_mode_params *>(value);
    if (p == nullptr)
        return wifi_null_params(__func__);
    if (p->work_mode > kWorkModeMax) {
        VG_LOG(1, "Invalid WiFi work mode parameter %d", p->work_mode);
        return vg_fail(MGMT_ERR_INVALID);
    }
    const wifi_work_mode_set_req req{static_cast<uint8_t>(p->work_mode)};
    wifi_work_mode_set_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_WORK_MODE_SET, "set WiFi work mode"), req,
                     resp)) {
        VG_LOG(1, "Can not set WiFi work mode %d: error %d", req.work_mode, resp.error);
        return -1;
    }
    VG_LOG(3, "Set WiFi work mode %d success", req.work_mode);
    return 0;
}

int32_t wifi_work_mode_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<wifi_work_mode_params *>(value);
    if (p == nullptr)
        return wifi_null_params(__func__);
    wifi_work_mode_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_WORK_MODE_GET, "get WiFi work mode"),
                     resp)) {
        VG_LOG(1, "Can not get WiFi work mode: error %d", resp.status.error);
        return -1;
    }
    p->work_mode = resp.work_mode;
    VG_LOG(3, "Get WiFi work mode %d success", p->work_mode);
    return 0;
}

// ---------------------------------------------------------------------------
// Dispatch

constexpr mgmt_command_row wifi_command_table[] = {
    {WIFI_CMD_WORK_MODE, wifi_work_mode_set, wifi_work_mode_get},
    {WIFI_CMD_ENABLE, nullptr, nullptr},
    {WIFI_CMD_COUNTRY_CODE, nullptr, nullptr},
    {WIFI_CMD_MODE, nullptr, nullptr},
    {WIFI_CMD_CHANNEL, nullptr, nullptr},
    {WIFI_CMD_ESSID, nullptr, nullptr},
    {WIFI_CMD_SSID_HIDE, nullptr, nullptr},
    {WIFI_CMD_BANDWIDTH, nullptr, nullptr},
    {WIFI_CMD_MAX_NUM_STA, nullptr, nullptr},
    {WIFI_CMD_11N_ONLY, nullptr, nullptr},
    {WIFI_CMD_11AC_ONLY, nullptr, nullptr},
    {WIFI_CMD_AP_ISOLATE, nullptr, nullptr},
    {WIFI_CMD_AUTH, nullptr, nullptr},
    {WIFI_CMD_DFS, nullptr, nullptr},
    {WIFI_CMD_RSSI, nullptr, nullptr},
    {WIFI_CMD_STA_INFO, nullptr, nullptr},
    {WIFI_CMD_RESTORE_DEFAULT, nullptr, nullptr},
    {WIFI_CMD_MAC_ACL_RULE, nullptr, nullptr},
    {WIFI_CMD_MAC_ACL_ADD, nullptr, nullptr},
    {WIFI_CMD_MAC_ACL_DEL, nullptr, nullptr},
    {WIFI_CMD_MAC_ACL_INFO, nullptr, nullptr},
    {WIFI_CMD_ACTIVE, nullptr, nullptr},
    {WIFI_CMD_STATION_STATUS, nullptr, nullptr},
    {VG_LAST_ROW_ID, nullptr, nullptr},
};
static_assert(std::size(wifi_command_table) == 24);

} // namespace

extern "C" int32_t wifi_command_handle(mgmt_client *handle, uint32_t flag, uint32_t command_id,
                                       void *value)
{
    static constexpr vg_dispatcher kDispatcher{
        VG_SITE,
        wifi_command_table,
        std::size(wifi_command_table),
        VG_FMT("cannot found %d WiFi command", "d"),
        VG_FMT("found WiFi command %d, command flag %d", "dd"),
        false,
    };
    return vg_dispatch(kDispatcher, handle, flag, command_id, value);
}

// ---------------------------------------------------------------------------
// Indications

extern "C" void wifi_event_ind_msg(qmi_client_type user_handle, uint32_t msg_id, void *ind_buf,
                                   uint32_t ind_buf_len, void *ind_cb_data)
{
    const auto *mc = static_cast<const mgmt_client *>(ind_cb_data);
    if (msg_id == KEST_WIFI_STA_STATUS_IND) {
        wifi_sta_status_ind ind{};
        const int rc = qmi_client_message_decode(user_handle, KEST_MSG_KIND_IND, msg_id, ind_buf,
                                                 ind_buf_len, &ind, sizeof ind);
        if (rc != 0) {
            VG_LOG(1, "wifi status event decode qmi_client_message_decode error %d", rc);
            return;
        }
        wifi_station_status_params event{};
        event.index = ind.index;
        event.status = ind.status;
        vg_copy_text(event.ssid, ind.ssid, sizeof ind.ssid); // the 33rd byte stays 0
        VG_LOG(4, "receive sta status indication message: idx %d state %d ssid %s", event.index,
               event.status, event.ssid);
        if (mc->event_cb != nullptr)
            mc->event_cb(WIFI_EVENT_STA_STATUS, &event, sizeof event);
    } else if (msg_id == KEST_WIFI_AP_STA_IND) {
        wifi_ap_sta_ind ind{};
        const int rc = qmi_client_message_decode(user_handle, KEST_MSG_KIND_IND, msg_id, ind_buf,
                                                 ind_buf_len, &ind, sizeof ind);
        if (rc != 0) {
            VG_LOG(1, "wifi status event decode qmi_client_message_decode error %d", rc);
            return;
        }
        wifi_ap_sta_event event{};
        event.action = ind.action;
        event.index = ind.index;
        memcpy(event.mac, ind.mac, sizeof event.mac);
        VG_LOG(4,
               "receive ap sta indication messge; idx %d action %d mac "
               "%02x:%02x:%02x:%02x:%02x:%02x",
               event.index, event.action, event.mac[0], event.mac[1], event.mac[2], event.mac[3],
               event.mac[4], event.mac[5]);
        if (mc->event_cb != nullptr)
            mc->event_cb(WIFI_EVENT_AP_STA, &event, sizeof event);
    }
}
