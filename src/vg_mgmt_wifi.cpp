// Wi-Fi domain: dispatcher, handlers and the decoder of the two Wi-Fi
// indications.

#include <cstring>
#include <iterator>

#include "vg_mgmt_core.h"

namespace {
constexpr char kVgLogFile[] = "vg_mgmt_wifi";

int32_t wifi_null_params(const vg_site &site)
{
    VG_LOG_AT(site, 1, "the wifi params is null");
    return vg_fail(MGMT_ERR_INVALID);
}

// ---------------------------------------------------------------------------
// Work mode

int32_t wifi_work_mode_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const wifi_work_mode_params *>(value);
    if (p == nullptr)
        return wifi_null_params(VG_SITE);
    if (p->work_mode > kWorkModeRange.max) {
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
        return wifi_null_params(VG_SITE);
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

// Common steps of the Wi-Fi handlers

constexpr bool wifi_index_ok(uint32_t index)
{
    return index >= kInterfaceRange.min && index <= kInterfaceRange.max;
}

// The record of a per-interface command, or null after a refusal: a null
// pointer (logged) or an interface outside 1 to 3 (silent); both store
// error number 2.
template <class P>
P *wifi_interface_record(void *value, const vg_site &site)
{
    if (value == nullptr) {
        wifi_null_params(site);
        return nullptr;
    }
    auto *p = static_cast<P *>(value);
    if (!wifi_index_ok(p->index)) {
        vg_fail(MGMT_ERR_INVALID);
        return nullptr;
    }
    return p;
}

// Length of a text field up to its terminator; the field's width when it has
// none, so nothing behind the field is read.
template <size_t W>
size_t wifi_text_len(const char (&field)[W])
{
    const void *end = memchr(field, '\0', W);
    return end == nullptr ? W : static_cast<size_t>(static_cast<const char *>(end) - field);
}

// ---------------------------------------------------------------------------
// Enable and country code

int32_t wifi_enable_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const wifi_enable_params *>(value);
    if (p == nullptr)
        return wifi_null_params(VG_SITE);
    // Switching the radio on or off takes the service far longer than any
    // other command.
    static constexpr kest_call kCall{KEST_WIFI_ENABLE_SET, VG_TRANSPORT("set WiFi enable"),
                                     kKestWifiEnableTimeoutMs, vg_judge::result};
    const wifi_enable_set_req req{p->enable};
    wifi_enable_set_resp resp;
    if (!vg_exchange(VG_SITE, handle, kCall, req, resp)) {
        VG_LOG(1, "Can not set WiFi enable %d: error %d", req.enable, resp.status.error);
        return -1;
    }
    VG_LOG(3, "Set WiFi enable %d success", req.enable);
    return 0;
}

int32_t wifi_enable_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<wifi_enable_params *>(value);
    if (p == nullptr)
        return wifi_null_params(VG_SITE);
    wifi_enable_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_ENABLE_GET, "get WiFi enable"), resp)) {
        VG_LOG(1, "Can not get WiFi enable: error %d", resp.status.error);
        return -1;
    }
    p->enable = vg_flag(resp.enable);
    VG_LOG(3, "Get WiFi enable %d success", p->enable);
    return 0;
}

int32_t wifi_country_code_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const wifi_country_code_params *>(value);
    if (p == nullptr)
        return wifi_null_params(VG_SITE);
    // A field without a terminator measures 3 and is refused like any other
    // text that is not two characters long.
    if (wifi_text_len(p->country_code) != sizeof(wifi_country_code_set_req::country_code)) {
        VG_LOG(1, "Invalid WiFi country code parameter %s", vg_field_text(p->country_code).s);
        return vg_fail(MGMT_ERR_INVALID);
    }
    wifi_country_code_set_req req;
    memcpy(req.country_code, p->country_code, sizeof req.country_code);
    wifi_country_code_set_resp resp;
    if (!vg_exchange(VG_SITE, handle,
                     KEST_CALL(KEST_WIFI_COUNTRY_CODE_SET, "set WiFi country code"), req, resp)) {
        VG_LOG(1, "Can not set WiFi country code %s: error %d", vg_field_text(p->country_code).s,
               resp.error);
        return -1;
    }
    VG_LOG(3, "Set WiFi country code %c%c success", req.country_code[0], req.country_code[1]);
    return 0;
}

int32_t wifi_country_code_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<wifi_country_code_params *>(value);
    if (p == nullptr)
        return wifi_null_params(VG_SITE);
    wifi_country_code_get_resp resp;
    if (!vg_exchange(VG_SITE, handle,
                     KEST_CALL(KEST_WIFI_COUNTRY_CODE_GET, "get WiFi country code"), resp)) {
        VG_LOG(1, "Can not get WiFi country code: error %d", resp.status.error);
        return -1;
    }
    // Two characters, not a text: the third byte stays the application's.
    memcpy(p->country_code, resp.country_code, sizeof resp.country_code);
    VG_LOG(3, "get WiFi country code %c%c success", p->country_code[0], p->country_code[1]);
    return 0;
}

// ---------------------------------------------------------------------------
// SSID and activation

constexpr size_t kSsidMax = sizeof(wifi_essid_set_req::ssid);

int32_t wifi_essid_set(mgmt_client *handle, void *value)
{
    auto *p = wifi_interface_record<const wifi_essid_params>(value, VG_SITE);
    if (p == nullptr)
        return -1;
    if (p->format_type > kSsidFormatRange.max) {
        VG_LOG(1, "invvalid WiFi index %d ssid format type %d", p->index, p->format_type);
        return vg_fail(MGMT_ERR_INVALID);
    }
    // An SSID field without a terminator measures 33 and is refused.
    const size_t len = wifi_text_len(p->ssid);
    if (len == 0 || len > kSsidMax) {
        VG_LOG(1, "Invalid WiFi ssid %s length %d (in 1...32)", vg_field_text(p->ssid).s,
               static_cast<int>(len));
        return vg_fail(MGMT_ERR_INVALID);
    }
    wifi_essid_set_req req{};
    req.index = static_cast<uint8_t>(p->index);
    req.format_type = static_cast<uint8_t>(p->format_type);
    memcpy(req.ssid, p->ssid, len); // 32 characters fill the field, unterminated
    wifi_essid_set_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_ESSID_SET, "set WiFi ssid"), req, resp)) {
        VG_LOG(1, "Can not set WiFi index %d ssid %s: error %d", req.index,
               vg_field_text(req.ssid).s, resp.error);
        return -1;
    }
    VG_LOG(3, "Set WiFi index %d ssid %s fomart type %d success", req.index,
           vg_field_text(req.ssid).s, req.format_type);
    return 0;
}

int32_t wifi_essid_get(mgmt_client *handle, void *value)
{
    auto *p = wifi_interface_record<wifi_essid_params>(value, VG_SITE);
    if (p == nullptr)
        return -1;
    const wifi_essid_get_req req{static_cast<uint8_t>(p->index)};
    wifi_essid_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_ESSID_GET, "get WiFi ssid"), req, resp)) {
        VG_LOG(1, "Can not get WiFi index %d ssid: error %d", req.index, resp.status.error);
        return -1;
    }
    p->format_type = resp.format_type;
    // Up to and including the terminator: the application's bytes behind it
    // stay. An answer without one fills the field and is printed bounded.
    for (size_t i = 0; i < sizeof p->ssid; ++i) {
        p->ssid[i] = resp.ssid[i];
        if (resp.ssid[i] == '\0')
            break;
    }
    VG_LOG(3, "Get WiFi index %d ssid %s format type %d success", p->index,
           vg_field_text(p->ssid).s, p->format_type);
    return 0;
}

int32_t wifi_active_set(mgmt_client *handle, void *value)
{
    auto *p = wifi_interface_record<const wifi_active_params>(value, VG_SITE);
    if (p == nullptr)
        return -1;
    if (p->active > kActiveRange.max)
        return vg_fail(MGMT_ERR_INVALID);
    const wifi_active_set_req req{static_cast<uint8_t>(p->index), p->active};
    wifi_active_set_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_ACTIVE_SET, "set active"), req, resp)) {
        VG_LOG(1, "Can not set wifi index %d active: error %d", p->index, resp.error);
        return -1;
    }
    VG_LOG(4, "set wifi index %d active success", p->index);
    return 0;
}

// ---------------------------------------------------------------------------
// Authentication

constexpr bool wifi_auth_is_wpa(uint32_t auth)
{
    return auth >= WIFI_AUTH_WPA_PSK_MIN && auth <= WIFI_AUTH_WPA_PSK_MAX;
}

int32_t wifi_auth_set(mgmt_client *handle, void *value)
{
    auto *p = wifi_interface_record<const wifi_auth_params>(value, VG_SITE);
    if (p == nullptr)
        return -1;
    // Keys and the password go out bounded by their 64-byte fields: 64
    // characters without a terminator is what a raw WPA key looks like, and
    // the service answers reads in the same form.
    wifi_auth_set_req req{};
    if (p->auth == WIFI_AUTH_OPEN) {
        VG_LOG(4, "set wifi index %d open auth", p->index);
    } else if (p->auth == WIFI_AUTH_WEP) {
        req.auth = static_cast<uint8_t>(p->auth);
        if (p->wep.default_index > kWepDefaultIndexRange.max) {
            VG_LOG(1, "set wifi index %d wep auth failure: invvalid wep default index(0 ~ 3)",
                   p->index);
            return vg_fail(MGMT_ERR_INVALID);
        }
        req.default_index = static_cast<uint8_t>(p->wep.default_index);
        vg_copy_text(req.key0, p->wep.key0, sizeof req.key0);
        vg_copy_text(req.key1, p->wep.key1, sizeof req.key1);
        vg_copy_text(req.key2, p->wep.key2, sizeof req.key2);
        vg_copy_text(req.key3, p->wep.key3, sizeof req.key3);
        VG_LOG(4, "set wifi wep auth: default index %d key0 %s key1 %s key2 %s key3 %s",
               req.default_index, vg_field_text(req.key0).s, vg_field_text(req.key1).s,
               vg_field_text(req.key2).s, vg_field_text(req.key3).s);
    } else if (wifi_auth_is_wpa(p->auth)) {
        req.auth = static_cast<uint8_t>(p->auth);
        if (p->wpa.pairwise > kPairwiseRange.max) {
            VG_LOG(1, "set wifi index %d wpa psk auth failure: invvalid pairwise", p->index);
            return vg_fail(MGMT_ERR_INVALID);
        }
        req.pairwise = static_cast<uint8_t>(p->wpa.pairwise);
        vg_copy_text(req.password, p->wpa.password, sizeof req.password);
        req.group_rekey = p->wpa.group_rekey;
        VG_LOG(4, "set wifi index %d wpa psk auth: auth %d pairwise %d password %s group_rekey %d",
               p->index, p->auth, req.pairwise, vg_field_text(req.password).s, req.group_rekey);
    } else {
        VG_LOG(2, "set wifi index %d not support", p->index);
        return vg_fail(MGMT_ERR_INVALID);
    }
    req.index = static_cast<uint8_t>(p->index);
    wifi_auth_set_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_AUTH_SET, "set WiFi auth"), req, resp)) {
        VG_LOG(1, "Can not set WiFi index %d auth: error %d", req.index, resp.error);
        return -1;
    }
    VG_LOG(4, "set WiFi index %d auth successed.", req.index);
    return 0;
}

// The answer is judged whole before anything reaches the record, so a bad
// answer leaves the record as it was.
int32_t wifi_auth_get(mgmt_client *handle, void *value)
{
    auto *p = wifi_interface_record<wifi_auth_params>(value, VG_SITE);
    if (p == nullptr)
        return -1;
    const wifi_auth_get_req req{static_cast<uint8_t>(p->index)};
    wifi_auth_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_AUTH_GET, "get WiFi auth"), req, resp)) {
        VG_LOG(1, "Can not get WiFi index %d auth: error %d", req.index, resp.status.error);
        return -1;
    }
    if (resp.auth == WIFI_AUTH_OPEN) {
        p->auth = WIFI_AUTH_OPEN;
        VG_LOG(4, "get WiFi index %d open auth", p->index);
        return 0;
    }
    if (resp.auth == WIFI_AUTH_WEP) {
        if (resp.default_index > kWepDefaultIndexRange.max) {
            VG_LOG(1, "get WiFi index %d wep failure: invalid default index %d", p->index,
                   resp.default_index);
            return vg_fail(MGMT_ERR_INVALID);
        }
        p->auth = WIFI_AUTH_WEP;
        p->wep.default_index = resp.default_index;
        vg_copy_text(p->wep.key0, resp.key0, sizeof resp.key0);
        vg_copy_text(p->wep.key1, resp.key1, sizeof resp.key1);
        vg_copy_text(p->wep.key2, resp.key2, sizeof resp.key2);
        vg_copy_text(p->wep.key3, resp.key3, sizeof resp.key3);
        VG_LOG(4, "get WiFi index %d wep auth: default index %d, key0 %s key1 %s key2 %s key3 %s",
               p->index, p->wep.default_index, vg_field_text(p->wep.key0).s,
               vg_field_text(p->wep.key1).s, vg_field_text(p->wep.key2).s,
               vg_field_text(p->wep.key3).s);
        return 0;
    }
    if (wifi_auth_is_wpa(resp.auth)) {
        if (resp.pairwise > kPairwiseRange.max) {
            VG_LOG(1, "get WiFi index %d wpa psk failure: invalid pairwise %d", p->index,
                   resp.pairwise);
            return vg_fail(MGMT_ERR_INVALID);
        }
        p->auth = resp.auth;
        p->wpa.pairwise = resp.pairwise;
        vg_copy_text(p->wpa.password, resp.password, sizeof resp.password);
        p->wpa.group_rekey = resp.group_rekey;
        VG_LOG(4, "get WiFi index %d wpa psk auth: auth %d pairwise %d password %s group rekey %d",
               p->index, p->auth, p->wpa.pairwise, vg_field_text(p->wpa.password).s,
               p->wpa.group_rekey);
        return 0;
    }
    VG_LOG(1, "wif index %d auth not support %d", req.index, resp.auth);
    return vg_fail(MGMT_ERR_INVALID);
}

// ---------------------------------------------------------------------------
// Radio parameters
//
// The settings of one interface that are a record of index and setting share
// one set and one get shape; a constant row holds what differs.

enum class wifi_setting_kind : uint8_t {
    number,  // u32 in the record, u8 on the wire, tested against min..max
    channel, // u32 in the record, u16 on the wire, tested against kWifiChannels
    flag,    // u8 in the record and on the wire, untested; read back as 0 or 1
};

struct wifi_setting_row {
    kest_call set_call;
    kest_call get_call;
    wifi_setting_kind kind;
    uint32_t min;
    uint32_t max;
    vg_fmt invalid;  // index, setting
    vg_fmt set_ok;   // index, setting
    vg_fmt set_fail; // index, setting, error
    vg_fmt get_ok;   // index, setting
    vg_fmt get_fail; // index, error
};

// clang-format off
#define WIFI_SETTING_ROW(set_id, get_id, label, kind, min, max, invalid)                           \
    wifi_setting_row{KEST_CALL(set_id, "set WiFi " label),                                         \
                     KEST_CALL(get_id, "get WiFi " label),                                         \
                     kind,                                                                         \
                     min,                                                                          \
                     max,                                                                          \
                     invalid,                                                                      \
                     VG_FMT("Set WiFi index %d " label " %d success", "dd"),                       \
                     VG_FMT("Can not set WiFi index %d " label " %d: error %d", "ddd"),            \
                     VG_FMT("Get WiFi index %d " label " %d success", "dd"),                       \
                     VG_FMT("Can not get WiFi index %d " label ": error %d", "dd")}
// clang-format on
#define WIFI_NUMBER_ROW(set_id, get_id, label, min, max, invalid)                                  \
    WIFI_SETTING_ROW(set_id, get_id, label, wifi_setting_kind::number, min, max,                   \
                     VG_FMT(invalid, "dd"))
#define WIFI_FLAG_ROW(set_id, get_id, label)                                                       \
    WIFI_SETTING_ROW(set_id, get_id, label, wifi_setting_kind::flag, 0, 0, vg_fmt{})

constexpr wifi_setting_row kModeRow =
    WIFI_NUMBER_ROW(KEST_WIFI_MODE_SET, KEST_WIFI_MODE_GET, "ieee80211 mode", kWifiModeRange.min,
                    kWifiModeRange.max, "Invalid WiFi index %d mode parameter %d");
constexpr wifi_setting_row kChannelRow = WIFI_SETTING_ROW(
    KEST_WIFI_CHANNEL_SET, KEST_WIFI_CHANNEL_GET, "channel", wifi_setting_kind::channel, 0, 0,
    VG_FMT("Invalid WiFi index %d channel parameters %d", "dd"));
constexpr wifi_setting_row kBandwidthRow = WIFI_NUMBER_ROW(
    KEST_WIFI_BANDWIDTH_SET, KEST_WIFI_BANDWIDTH_GET, "bandwidth", kBandwidthRange.min,
    kBandwidthRange.max, "Invalid WiFi index %d bandwidth parameters %d");
constexpr wifi_setting_row kMaxNumStaRow =
    WIFI_NUMBER_ROW(KEST_WIFI_MAX_NUM_STA_SET, KEST_WIFI_MAX_NUM_STA_GET, "maximum station number",
                    kMaxStaRange.min, kMaxStaRange.max,
                    "Invalid WiFi index %d maximum station number parameter %d");
constexpr wifi_setting_row kRssiRow =
    WIFI_NUMBER_ROW(KEST_WIFI_RSSI_SET, KEST_WIFI_RSSI_GET, "rssi", kRssiRange.min, kRssiRange.max,
                    "Invalid WiFi index %d rssi parameter %d");

// The head of every per-interface record.
struct wifi_interface_head {
    uint32_t index;
};

// Every record of the family is index at offset 0 and the setting at offset
// 4: a u32, or a single byte for the flags.
constexpr size_t kSettingAt = 4;
#define WIFI_SETTING_LAYOUT(type, field, width)                                                    \
    static_assert(offsetof(type, index) == 0 && offsetof(type, field) == kSettingAt &&             \
                  sizeof(type::field) == (width))
WIFI_SETTING_LAYOUT(wifi_mode_params, mode, 4);
WIFI_SETTING_LAYOUT(wifi_channel_params, channel, 4);
WIFI_SETTING_LAYOUT(wifi_bandwidth_params, bandwidth, 4);
WIFI_SETTING_LAYOUT(wifi_max_num_sta_params, max_num_sta, 4);
WIFI_SETTING_LAYOUT(wifi_rssi_params, rssi, 4);
#define WIFI_SWITCH_LAYOUT(name, setting, field, ...)                                              \
    WIFI_SETTING_LAYOUT(wifi_##setting##_params, field, 1);
KEST_WIFI_SWITCHES(WIFI_SWITCH_LAYOUT)

// The setting field of a record: the flags touch their one byte only.
uint32_t wifi_setting_read(const void *value, wifi_setting_kind kind)
{
    const auto *at = static_cast<const uint8_t *>(value) + kSettingAt;
    if (kind == wifi_setting_kind::flag)
        return *at;
    uint32_t setting;
    memcpy(&setting, at, sizeof setting);
    return setting;
}

void wifi_setting_write(void *value, wifi_setting_kind kind, uint32_t setting)
{
    auto *at = static_cast<uint8_t *>(value) + kSettingAt;
    if (kind == wifi_setting_kind::flag)
        *at = static_cast<uint8_t>(setting);
    else
        memcpy(at, &setting, sizeof setting);
}

// Tested on the record's full width, so the narrowing that follows is exact.
bool wifi_setting_ok(const wifi_setting_row &row, uint32_t setting)
{
    switch (row.kind) {
    case wifi_setting_kind::number:
        return setting >= row.min && setting <= row.max;
    case wifi_setting_kind::channel:
        return kest_wifi_channel_ok(setting);
    case wifi_setting_kind::flag:
        break;
    }
    return true;
}

int32_t wifi_setting_set(mgmt_client *handle, void *value, const wifi_setting_row &row,
                         const vg_site &site)
{
    auto *p = wifi_interface_record<const wifi_interface_head>(value, site);
    if (p == nullptr)
        return -1;
    const uint32_t setting = wifi_setting_read(value, row.kind);
    if (!wifi_setting_ok(row, setting)) {
        vg_log_fmt(site, __LINE__, 1, row.invalid, p->index, setting);
        return vg_fail(MGMT_ERR_INVALID);
    }
    const auto index = static_cast<uint8_t>(p->index);
    resp_status resp;
    bool ok;
    if (row.kind == wifi_setting_kind::channel) {
        const wifi_channel_set_req req{index, 0, static_cast<uint16_t>(setting)};
        ok = vg_exchange(site, handle, row.set_call, req, resp);
    } else {
        const wifi_u8_setting_set_req req{index, static_cast<uint8_t>(setting)};
        ok = vg_exchange(site, handle, row.set_call, req, resp);
    }
    if (!ok) {
        vg_log_fmt(site, __LINE__, 1, row.set_fail, index, setting, resp.error);
        return -1;
    }
    vg_log_fmt(site, __LINE__, 3, row.set_ok, index, setting);
    return 0;
}

int32_t wifi_setting_get(mgmt_client *handle, void *value, const wifi_setting_row &row,
                         const vg_site &site)
{
    auto *p = wifi_interface_record<const wifi_interface_head>(value, site);
    if (p == nullptr)
        return -1;
    const wifi_setting_get_req req{static_cast<uint8_t>(p->index)};
    uint32_t setting;
    resp_status status;
    bool ok;
    if (row.kind == wifi_setting_kind::channel) {
        wifi_channel_get_resp resp;
        ok = vg_exchange(site, handle, row.get_call, req, resp);
        status = resp.status;
        setting = resp.channel;
    } else {
        wifi_u8_setting_get_resp resp;
        ok = vg_exchange(site, handle, row.get_call, req, resp);
        status = resp.status;
        setting = row.kind == wifi_setting_kind::flag ? vg_flag(resp.setting) : resp.setting;
    }
    if (!ok) {
        vg_log_fmt(site, __LINE__, 1, row.get_fail, req.index, status.error);
        return -1;
    }
    wifi_setting_write(value, row.kind, setting);
    vg_log_fmt(site, __LINE__, 3, row.get_ok, p->index, setting);
    return 0;
}

// One handler per command and direction, so that each log line names it.
// clang-format off
int32_t wifi_mode_set(mgmt_client *h, void *v) { return wifi_setting_set(h, v, kModeRow, VG_SITE); }
int32_t wifi_mode_get(mgmt_client *h, void *v) { return wifi_setting_get(h, v, kModeRow, VG_SITE); }
int32_t wifi_channel_set(mgmt_client *h, void *v) { return wifi_setting_set(h, v, kChannelRow, VG_SITE); }
int32_t wifi_channel_get(mgmt_client *h, void *v) { return wifi_setting_get(h, v, kChannelRow, VG_SITE); }
int32_t wifi_bandwidth_set(mgmt_client *h, void *v) { return wifi_setting_set(h, v, kBandwidthRow, VG_SITE); }
int32_t wifi_bandwidth_get(mgmt_client *h, void *v) { return wifi_setting_get(h, v, kBandwidthRow, VG_SITE); }
int32_t wifi_max_num_sta_set(mgmt_client *h, void *v) { return wifi_setting_set(h, v, kMaxNumStaRow, VG_SITE); }
int32_t wifi_max_num_sta_get(mgmt_client *h, void *v) { return wifi_setting_get(h, v, kMaxNumStaRow, VG_SITE); }
int32_t wifi_rssi_set(mgmt_client *h, void *v) { return wifi_setting_set(h, v, kRssiRow, VG_SITE); }
int32_t wifi_rssi_get(mgmt_client *h, void *v) { return wifi_setting_get(h, v, kRssiRow, VG_SITE); }
// clang-format on

// The switches, each with the label of its log lines. A switch's row, its two
// handlers (named after the command, as the log lines need) and its dispatch
// row all come from this list.
// clang-format off
#define WIFI_SWITCHES(X)                                                                           \
    X(ssid_hide, SSID_HIDE, "ssid hide")                                                           \
    X(11n_only, 11N_ONLY, "only ieee80211n accept")                                                \
    X(11ac_only, 11AC_ONLY, "only ieee80211ac accept")                                             \
    X(ap_isolate, AP_ISOLATE, "ap isolate")                                                        \
    X(dfs, DFS, "DFS")
#define WIFI_SWITCH_ROW(NAME, label) WIFI_FLAG_ROW(KEST_WIFI_##NAME##_SET, KEST_WIFI_##NAME##_GET, label)
#define WIFI_SWITCH_HANDLERS(name, NAME, label)                                                    \
    int32_t wifi_##name##_set(mgmt_client *h, void *v)                                             \
    {                                                                                              \
        static constexpr wifi_setting_row row = WIFI_SWITCH_ROW(NAME, label);                      \
        return wifi_setting_set(h, v, row, VG_SITE);                                               \
    }                                                                                              \
    int32_t wifi_##name##_get(mgmt_client *h, void *v)                                             \
    {                                                                                              \
        static constexpr wifi_setting_row row = WIFI_SWITCH_ROW(NAME, label);                      \
        return wifi_setting_get(h, v, row, VG_SITE);                                               \
    }
#define WIFI_SWITCH_DISPATCH(name, NAME, label) {WIFI_CMD_##NAME, wifi_##name##_set, wifi_##name##_get},
// clang-format on
WIFI_SWITCHES(WIFI_SWITCH_HANDLERS)

// ---------------------------------------------------------------------------
// MAC access control

int32_t wifi_mac_acl_rule_set(mgmt_client *handle, void *value)
{
    auto *p = wifi_interface_record<const wifi_mac_acl_rule_params>(value, VG_SITE);
    if (p == nullptr)
        return -1;
    if (p->rule > kMacAclRuleRange.max) {
        VG_LOG(1, "invalid wifi index %d mac address acl rule %d", p->index, p->rule);
        return vg_fail(MGMT_ERR_INVALID);
    }
    const wifi_mac_acl_rule_set_req req{static_cast<uint8_t>(p->index),
                                        static_cast<uint8_t>(p->rule)};
    wifi_mac_acl_rule_set_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_MAC_ACL_RULE_SET, "set mac acl rule"),
                     req, resp)) {
        VG_LOG(1, "Can not set wifi index %d mac acl: error %d", req.index, resp.error);
        return -1;
    }
    VG_LOG(4, "set wifi index %d mac acl rule %d success", req.index, req.rule);
    return 0;
}

int32_t wifi_mac_acl_rule_get(mgmt_client *handle, void *value)
{
    auto *p = wifi_interface_record<wifi_mac_acl_rule_params>(value, VG_SITE);
    if (p == nullptr)
        return -1;
    const wifi_mac_acl_rule_get_req req{static_cast<uint8_t>(p->index)};
    wifi_mac_acl_rule_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_MAC_ACL_RULE_GET, "get mac acl rule"),
                     req, resp)) {
        VG_LOG(1, "Can not get wifi index %d mac acl rule: error %d", req.index, resp.status.error);
        return -1;
    }
    p->rule = resp.rule;
    VG_LOG(4, "get wifi index %d mac acl rule %d success", p->index, p->rule);
    return 0;
}

// Add and delete differ in their message and their words.
struct wifi_mac_acl_change {
    kest_call call;
    vg_fmt ok;   // index, six octets
    vg_fmt fail; // index, error
};
// clang-format off
#define WIFI_MAC_ACL_CHANGE(id, word)                                                              \
    wifi_mac_acl_change{                                                                           \
        KEST_CALL(id, word " mac acl"),                                                            \
        VG_FMT(word " wifi index %d mac acl %02x:%02x:%02x:%02x:%02x:%02x success", "dxxxxxx"),    \
        VG_FMT("Can not " word " wifi index %d mac acl: error %d", "dd")}
// clang-format on
constexpr wifi_mac_acl_change kMacAclAdd = WIFI_MAC_ACL_CHANGE(KEST_WIFI_MAC_ACL_ADD_SET, "add");
constexpr wifi_mac_acl_change kMacAclDel = WIFI_MAC_ACL_CHANGE(KEST_WIFI_MAC_ACL_DEL_SET, "del");

// The address is the service's to judge: all zeros, a group address or a
// duplicate go out as they are.
int32_t wifi_mac_acl_change_set(mgmt_client *handle, void *value, const wifi_mac_acl_change &row,
                                const vg_site &site)
{
    auto *p = wifi_interface_record<const wifi_mac_acl_params>(value, site);
    if (p == nullptr)
        return -1;
    wifi_mac_acl_set_req req;
    req.index = static_cast<uint8_t>(p->index);
    memcpy(req.mac, p->mac, sizeof req.mac);
    resp_status resp;
    if (!vg_exchange(site, handle, row.call, req, resp)) {
        vg_log_fmt(site, __LINE__, 1, row.fail, req.index, resp.error);
        return -1;
    }
    vg_log_fmt(site, __LINE__, 4, row.ok, req.index, req.mac[0], req.mac[1], req.mac[2], req.mac[3],
               req.mac[4], req.mac[5]);
    return 0;
}

int32_t wifi_mac_acl_add_set(mgmt_client *handle, void *value)
{
    return wifi_mac_acl_change_set(handle, value, kMacAclAdd, VG_SITE);
}

int32_t wifi_mac_acl_del_set(mgmt_client *handle, void *value)
{
    return wifi_mac_acl_change_set(handle, value, kMacAclDel, VG_SITE);
}

int32_t wifi_mac_acl_info_get(mgmt_client *handle, void *value)
{
    auto *p = wifi_interface_record<wifi_mac_acl_info_params>(value, VG_SITE);
    if (p == nullptr)
        return -1;
    const wifi_mac_acl_info_get_req req{static_cast<uint8_t>(p->index)};
    wifi_mac_acl_info_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_MAC_ACL_INFO_GET, "get mac acl"), req,
                     resp)) {
        VG_LOG(1, "Can not get wifi index %d mac acl: error %d", req.index, resp.status.error);
        return -1;
    }
    // The service's count is only an upper bound: a negative one copies
    // nothing, and no more entries than both lists hold are copied.
    const int32_t count = resp.count;
    uint32_t n = 0;
    for (; static_cast<int32_t>(n) < count && n < std::size(resp.mac_list); ++n) {
        const uint8_t *mac = resp.mac_list[n];
        memcpy(p->mac_list[n], mac, sizeof p->mac_list[n]);
        VG_LOG(4, "get wifi index %d mac acl address%02x:%02x:%02x:%02x:%02x:%02x", req.index,
               mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    }
    p->count = n;
    VG_LOG(4, "get wifi index %d mac acl numbers %d success", req.index, p->count);
    return 0;
}

// ---------------------------------------------------------------------------
// Stations and restore

constexpr uint32_t kStationInterface = 3;
static_assert(std::size(wifi_sta_info_params{}.stations) ==
              std::size(wifi_sta_info_get_resp{}.stations));

int32_t wifi_sta_info_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<wifi_sta_info_params *>(value);
    if (p == nullptr)
        return wifi_null_params(VG_SITE);
    wifi_sta_info_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_STA_INFO_GET, "get WiFi ap sta info"),
                     resp)) {
        VG_LOG(1, "Can not get WiFi ap sta info: error %d", resp.status.error);
        return -1;
    }
    // A count above the 16 entries of both lists is cut to 16, and num_sta
    // tells the application how many entries it may read.
    const uint32_t num_sta = std::min<uint32_t>(resp.num_sta, std::size(resp.stations));
    for (uint32_t i = 0; i < num_sta; ++i) {
        const wifi_sta_info_resp_entry &from = resp.stations[i];
        wifi_sta_info_entry &to = p->stations[i];
        to.field_a = from.field_a;
        to.field_b = from.field_b;
        memcpy(to.field_c, from.field_c, sizeof to.field_c);
        memcpy(to.mac, from.mac, sizeof to.mac);
        vg_copy_text(to.text, from.text, sizeof to.text);
    }
    p->num_sta = num_sta;
    VG_LOG(4, "get WiFi ap station number %d", p->num_sta);
    return 0;
}

int32_t wifi_station_status_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<wifi_station_status_params *>(value);
    if (p == nullptr)
        return wifi_null_params(VG_SITE);
    if (p->index != kStationInterface) {
        // The one refusal that leaves the error number as it was.
        VG_LOG(1, "invalid WiFi station index");
        return -1;
    }
    const wifi_station_status_get_req req{static_cast<uint8_t>(p->index)};
    wifi_station_status_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_STATION_STATUS_GET, "get station status"),
                     req, resp)) {
        VG_LOG(1, "Can not get wifi index %d station status: error %d", req.index,
               resp.status.error);
        return -1;
    }
    p->status = resp.sta_status;
    vg_copy_text(p->ssid, resp.ssid, sizeof resp.ssid); // the 33rd byte stays the application's
    VG_LOG(4, "get wifi index %d station status %d ssid %s success", req.index, p->status,
           vg_field_text(resp.ssid).s);
    return 0;
}

// An index outside 1 to 3 names no interface and asks for the restore all
// the same.
int32_t wifi_restore_default_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const wifi_restore_default_params *>(value);
    if (p == nullptr)
        return wifi_null_params(VG_SITE);
    wifi_restore_default_set_req req{};
    if (wifi_index_ok(p->index)) {
        req.id_valid = 1;
        req.id = static_cast<uint8_t>(p->index);
        VG_LOG(4, "restore default config wifi id %d", req.id);
    }
    wifi_restore_default_set_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_WIFI_RESTORE_DEFAULT_SET, "set wifi resotre"),
                     req, resp)) {
        VG_LOG(1, "Can not set WiFi restore: error %d", resp.error);
        return -1;
    }
    VG_LOG(4, "set restore default WiFi config success.");
    return 0;
}

// ---------------------------------------------------------------------------
// Dispatch

constexpr mgmt_command_row kWifiCommandTable[] = {
    {WIFI_CMD_WORK_MODE, wifi_work_mode_set, wifi_work_mode_get},
    {WIFI_CMD_ENABLE, wifi_enable_set, wifi_enable_get},
    {WIFI_CMD_COUNTRY_CODE, wifi_country_code_set, wifi_country_code_get},
    {WIFI_CMD_MODE, wifi_mode_set, wifi_mode_get},
    {WIFI_CMD_CHANNEL, wifi_channel_set, wifi_channel_get},
    {WIFI_CMD_ESSID, wifi_essid_set, wifi_essid_get},
    {WIFI_CMD_BANDWIDTH, wifi_bandwidth_set, wifi_bandwidth_get},
    {WIFI_CMD_MAX_NUM_STA, wifi_max_num_sta_set, wifi_max_num_sta_get},
    {WIFI_CMD_AUTH, wifi_auth_set, wifi_auth_get},
    {WIFI_CMD_RSSI, wifi_rssi_set, wifi_rssi_get},
    {WIFI_CMD_STA_INFO, nullptr, wifi_sta_info_get},
    {WIFI_CMD_RESTORE_DEFAULT, wifi_restore_default_set, nullptr},
    {WIFI_CMD_MAC_ACL_RULE, wifi_mac_acl_rule_set, wifi_mac_acl_rule_get},
    {WIFI_CMD_MAC_ACL_ADD, wifi_mac_acl_add_set, nullptr},
    {WIFI_CMD_MAC_ACL_DEL, wifi_mac_acl_del_set, nullptr},
    {WIFI_CMD_MAC_ACL_INFO, nullptr, wifi_mac_acl_info_get},
    {WIFI_CMD_ACTIVE, wifi_active_set, nullptr},
    {WIFI_CMD_STATION_STATUS, nullptr, wifi_station_status_get},
    WIFI_SWITCHES(WIFI_SWITCH_DISPATCH){kVgLastRowId, nullptr, nullptr},
};
static_assert(vg_rows_described(kWifiCommandTable, kWifiCommands),
              "the table has a handler for every described direction and no other");

} // namespace

extern "C" int32_t wifi_command_handle(mgmt_client *handle, uint32_t flag, uint32_t command_id,
                                       void *value)
{
    static constexpr vg_row_index kIndex = vg_index_rows(kWifiCommandTable);
    static constexpr vg_dispatcher kDispatcher{
        VG_SITE,
        kWifiCommandTable,
        std::size(kWifiCommandTable),
        &kIndex,
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
        const int rc = qmi_client_message_decode(user_handle, kKestMsgKindInd, msg_id, ind_buf,
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
        const int rc = qmi_client_message_decode(user_handle, kKestMsgKindInd, msg_id, ind_buf,
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
