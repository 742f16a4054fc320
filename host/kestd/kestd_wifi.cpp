// Wi-Fi messages 1 to 39: global settings, the three interfaces (3 is the
// station interface), MAC access lists, the stations on the access points,
// and the station changes the control channel asks for.
#include <array>
#include <cctype>
#include <cstdio>

#include "kestd_msg.h"

namespace {

bool iface_ok(uint32_t index) { return index >= 1 && index <= KESTD_WIFI_IFACES; }
kestd_iface &iface_of(kestd_ctx &ctx, uint32_t index) { return ctx.st.cfg.iface[index - 1]; }

// ---------------------------------------------------------------------------
// Validators, shared by the handlers and the check of a loaded state file.

constexpr std::array<uint16_t, 60> channel_list = {
    0,   1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,
    36,  38,  40,  42,  44,  46,  48,  50,  52,  54,  56,  58,  60,  62,  64,
    100, 102, 104, 106, 108, 110, 112, 114, 116, 118, 120, 122, 124, 126, 128,
    132, 134, 136, 138, 140, 142, 144, 149, 151, 153, 155, 157, 159, 161, 165};

// Interface 1 is the 2.4 GHz access point, 2 the 5 GHz one; the station
// interface follows whatever access point it joins, so it only takes 0.
uint16_t channel_check(uint32_t index, uint32_t channel)
{
    bool member = false;
    for (uint16_t c : channel_list)
        member = member || c == channel;
    if (!member)
        return KESTD_ERR_INVALID_CHANNEL;
    if (channel == 0)
        return KESTD_OK;
    const bool band_ok = index == 1 ? channel <= 14 : index == 2 ? channel >= 36 : false;
    return band_ok ? KESTD_OK : KESTD_ERR_INVALID_CHANNEL;
}

bool all_hex(const char *s, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        if (!std::isxdigit(static_cast<unsigned char>(s[i])))
            return false;
    return true;
}

bool printable(const char *s, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        if (s[i] < 0x20 || s[i] > 0x7e)
            return false;
    return true;
}

// WEP-40 or WEP-104: 5 or 13 characters, or 10 or 26 hex digits.
bool wep_key_ok(const char *key, size_t len)
{
    if ((len == 10 || len == 26) && all_hex(key, len))
        return true;
    return (len == 5 || len == 13) && printable(key, len);
}

// A WPA passphrase of 8..63 characters, or the PSK as 64 hex digits.
bool wpa_password_ok(const char *pw, size_t len)
{
    if (len == 64)
        return all_hex(pw, len);
    return len >= 8 && len <= 63 && printable(pw, len);
}

uint16_t auth_check(const kestd_iface &f)
{
    if (f.auth == 0)
        return KESTD_OK;
    if (f.auth == 1) {
        if (f.wep_default > 3)
            return KESTD_ERR_INVALID_VALUE;
        for (int k = 0; k < 4; ++k) {
            const size_t len = strnlen(f.wep_key[k], sizeof f.wep_key[k]);
            if ((len != 0 || k == f.wep_default) && !wep_key_ok(f.wep_key[k], len))
                return KESTD_ERR_INVALID_KEY;
        }
        return KESTD_OK;
    }
    if (f.auth > 4 || f.pairwise > 2)
        return KESTD_ERR_INVALID_VALUE;
    return wpa_password_ok(f.password, strnlen(f.password, sizeof f.password)) ? KESTD_OK
                                                                                : KESTD_ERR_INVALID_KEY;
}

bool mac_ok(const uint8_t *mac)
{
    static constexpr uint8_t zero[6] = {};
    return (mac[0] & 1) == 0 && std::memcmp(mac, zero, 6) != 0;
}

// The nine one-byte radio settings: one shape, one row each. A flag is
// stored as 0 or 1; a number must lie in [min, max].
struct u8_setting {
    uint8_t kestd_iface::*field;
    bool flag;
    uint8_t min;
    uint8_t max;
};
constexpr u8_setting mode_setting{&kestd_iface::mode, false, 0, 5};
constexpr u8_setting bandwidth_setting{&kestd_iface::bandwidth, false, 0, 3};
constexpr u8_setting max_num_sta_setting{&kestd_iface::max_num_sta, false, 1, KESTD_STATIONS_MAX};
constexpr u8_setting rssi_setting{&kestd_iface::rssi, false, 0, 95};
constexpr u8_setting only_11n_setting{&kestd_iface::only_11n, true, 0, 1};
constexpr u8_setting only_11ac_setting{&kestd_iface::only_11ac, true, 0, 1};
constexpr u8_setting ap_isolate_setting{&kestd_iface::ap_isolate, true, 0, 1};
constexpr u8_setting dfs_setting{&kestd_iface::dfs, true, 0, 1};
constexpr u8_setting ssid_hide_setting{&kestd_iface::ssid_hide, true, 0, 1};
// The MAC access rule has the same records: 0 off, 1 allow only the listed,
// 2 deny the listed.
constexpr u8_setting acl_rule_setting{&kestd_iface::acl_rule, false, 0, 2};
constexpr const u8_setting *u8_settings[] = {&mode_setting,       &bandwidth_setting, &max_num_sta_setting,
                                             &rssi_setting,       &only_11n_setting,  &only_11ac_setting,
                                             &ap_isolate_setting, &dfs_setting,       &ssid_hide_setting,
                                             &acl_rule_setting};

bool u8_setting_ok(const u8_setting &s, uint8_t v) { return s.flag ? v <= 1 : v >= s.min && v <= s.max; }

// ---------------------------------------------------------------------------
// Stations on the access points.

int station_slot(const kestd_state &st, const uint8_t *mac)
{
    for (uint32_t i = 0; i < st.rt.sta_count; ++i)
        if (std::memcmp(st.rt.sta[i].mac, mac, 6) == 0)
            return static_cast<int>(i);
    return -1;
}

void remove_station(kestd_state &st, uint32_t slot)
{
    for (uint32_t i = slot; i + 1 < st.rt.sta_count; ++i)
        st.rt.sta[i] = st.rt.sta[i + 1];
    st.rt.sta[--st.rt.sta_count] = kestd_station{};
}

bool acl_lists(const kestd_iface &f, const uint8_t *mac)
{
    for (uint32_t i = 0; i < f.acl_count; ++i)
        if (std::memcmp(f.acl[i], mac, 6) == 0)
            return true;
    return false;
}

bool acl_admits(const kestd_iface &f, const uint8_t *mac)
{
    return f.acl_rule == 1 ? acl_lists(f, mac) : f.acl_rule == 2 ? !acl_lists(f, mac) : true;
}

bool ap_up(const kestd_state &st, uint32_t iface)
{
    return st.cfg.wifi_enable && iface >= 1 && iface < KESTD_STA_IFACE && st.cfg.iface[iface - 1].active;
}

// Sends away every station that its access point no longer takes: Wi-Fi or
// the interface switched off, the MAC access rule keeps it out, or more
// stations than the interface's maximum (the newest leave first).
void enforce_stations(kestd_state &st)
{
    uint32_t kept[KESTD_WIFI_IFACES + 1] = {};
    for (uint32_t i = 0; i < st.rt.sta_count;) {
        const kestd_station &s = st.rt.sta[i];
        const kestd_iface &f = st.cfg.iface[s.iface - 1];
        if (ap_up(st, s.iface) && acl_admits(f, s.mac) && kept[s.iface] < f.max_num_sta) {
            ++kept[s.iface];
            ++i;
        } else {
            remove_station(st, i);
        }
    }
    if (!st.cfg.wifi_enable || !st.cfg.iface[KESTD_STA_IFACE - 1].active)
        st.rt.sta_state = 0;
}

void ipv4_text(char (&buf)[16], uint32_t host)
{
    std::snprintf(buf, sizeof buf, "%u.%u.%u.%u", host >> 24, (host >> 16) & 255, (host >> 8) & 255, host & 255);
}

// ---------------------------------------------------------------------------
// Handlers: global settings.

uint16_t work_mode_set(kestd_ctx &ctx, const wifi_work_mode_set_req &req, wifi_work_mode_set_resp &)
{
    if (req.work_mode > 4)
        return KESTD_ERR_INVALID_VALUE;
    ctx.st.cfg.work_mode = req.work_mode;
    return KESTD_OK;
}

uint16_t work_mode_get(kestd_ctx &ctx, const kestd_no_req &, wifi_work_mode_get_resp &resp)
{
    resp.work_mode = ctx.st.cfg.work_mode;
    return KESTD_OK;
}

uint16_t enable_set(kestd_ctx &ctx, const wifi_enable_set_req &req, wifi_enable_set_resp &)
{
    ctx.st.cfg.wifi_enable = req.enable != 0;
    enforce_stations(ctx.st);
    return KESTD_OK;
}

uint16_t enable_get(kestd_ctx &ctx, const kestd_no_req &, wifi_enable_get_resp &resp)
{
    resp.enable = ctx.st.cfg.wifi_enable;
    return KESTD_OK;
}

bool country_ok(const char *cc)
{
    return std::isalpha(static_cast<unsigned char>(cc[0])) && std::isalpha(static_cast<unsigned char>(cc[1]));
}

uint16_t country_code_set(kestd_ctx &ctx, const wifi_country_code_set_req &req, wifi_country_code_set_resp &)
{
    if (!country_ok(req.country_code))
        return KESTD_ERR_INVALID_TEXT;
    std::memcpy(ctx.st.cfg.country_code, req.country_code, 2);
    return KESTD_OK;
}

uint16_t country_code_get(kestd_ctx &ctx, const kestd_no_req &, wifi_country_code_get_resp &resp)
{
    std::memcpy(resp.country_code, ctx.st.cfg.country_code, 2);
    return KESTD_OK;
}

// ---------------------------------------------------------------------------
// SSID, activation, authentication.

uint16_t essid_set(kestd_ctx &ctx, const wifi_essid_set_req &req, wifi_essid_set_resp &)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    if (req.format_type > 3)
        return KESTD_ERR_INVALID_VALUE;
    kestd_iface &f = iface_of(ctx, req.index);
    if (kestd_text_len(req.ssid) == 0 || !kestd_take_text(f.ssid, req.ssid))
        return KESTD_ERR_INVALID_TEXT;
    f.format_type = req.format_type;
    return KESTD_OK;
}

uint16_t essid_get(kestd_ctx &ctx, const wifi_essid_get_req &req, wifi_essid_get_resp &resp)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    const kestd_iface &f = iface_of(ctx, req.index);
    resp.format_type = f.format_type;
    kestd_put_text(resp.ssid, f.ssid);
    return KESTD_OK;
}

// 0 switches the interface off, 1 on, 2 restarts it (and leaves it on).
uint16_t active_set(kestd_ctx &ctx, const wifi_active_set_req &req, wifi_active_set_resp &)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    if (req.active > 2)
        return KESTD_ERR_INVALID_VALUE;
    iface_of(ctx, req.index).active = req.active != 0;
    enforce_stations(ctx.st);
    return KESTD_OK;
}

uint16_t auth_set(kestd_ctx &ctx, const wifi_auth_set_req &req, wifi_auth_set_resp &)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    kestd_iface next = iface_of(ctx, req.index);
    std::memset(next.wep_key, 0, sizeof next.wep_key);
    std::memset(next.password, 0, sizeof next.password);
    next.auth = req.auth;
    next.wep_default = 0;
    next.pairwise = 0;
    next.group_rekey = 0;
    if (req.auth == 1) {
        next.wep_default = req.default_index;
        const char(*keys[4])[64] = {&req.key0, &req.key1, &req.key2, &req.key3};
        for (int k = 0; k < 4; ++k)
            if (!kestd_take_text(next.wep_key[k], *keys[k]))
                return KESTD_ERR_INVALID_KEY;
    } else if (req.auth >= 2) {
        next.pairwise = req.pairwise;
        next.group_rekey = req.group_rekey;
        if (!kestd_take_text(next.password, req.password))
            return KESTD_ERR_INVALID_KEY;
    }
    if (const uint16_t err = auth_check(next); err != KESTD_OK)
        return err;
    iface_of(ctx, req.index) = next;
    return KESTD_OK;
}

uint16_t auth_get(kestd_ctx &ctx, const wifi_auth_get_req &req, wifi_auth_get_resp &resp)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    const kestd_iface &f = iface_of(ctx, req.index);
    resp.auth = f.auth;
    if (f.auth == 1) {
        resp.default_index = f.wep_default;
        char(*keys[4])[64] = {&resp.key0, &resp.key1, &resp.key2, &resp.key3};
        for (int k = 0; k < 4; ++k)
            kestd_put_text(*keys[k], f.wep_key[k]);
    } else if (f.auth >= 2) {
        resp.pairwise = f.pairwise;
        kestd_put_text(resp.password, f.password);
        resp.group_rekey = f.group_rekey;
    }
    return KESTD_OK;
}

// ---------------------------------------------------------------------------
// Radio settings and the MAC access rule. A change may send stations away
// (fewer allowed stations, a stricter rule).

template <const u8_setting &S>
uint16_t u8_set(kestd_ctx &ctx, const wifi_u8_setting_set_req &req, wifi_setting_set_resp &)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    const uint8_t v = S.flag ? req.setting != 0 : req.setting;
    if (!u8_setting_ok(S, v))
        return KESTD_ERR_INVALID_VALUE;
    iface_of(ctx, req.index).*S.field = v;
    enforce_stations(ctx.st);
    return KESTD_OK;
}

template <const u8_setting &S>
uint16_t u8_get(kestd_ctx &ctx, const wifi_setting_get_req &req, wifi_u8_setting_get_resp &resp)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    resp.setting = iface_of(ctx, req.index).*S.field;
    return KESTD_OK;
}

uint16_t channel_set(kestd_ctx &ctx, const wifi_channel_set_req &req, wifi_setting_set_resp &)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    if (const uint16_t err = channel_check(req.index, req.channel); err != KESTD_OK)
        return err;
    iface_of(ctx, req.index).channel = req.channel;
    return KESTD_OK;
}

uint16_t channel_get(kestd_ctx &ctx, const wifi_setting_get_req &req, wifi_channel_get_resp &resp)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    resp.channel = iface_of(ctx, req.index).channel;
    return KESTD_OK;
}

// ---------------------------------------------------------------------------
// MAC access control.

uint16_t acl_add(kestd_ctx &ctx, const wifi_mac_acl_add_set_req &req, wifi_mac_acl_add_set_resp &)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    kestd_iface &f = iface_of(ctx, req.index);
    if (!mac_ok(req.mac))
        return KESTD_ERR_INVALID_ADDRESS;
    if (acl_lists(f, req.mac))
        return KESTD_ERR_DUPLICATE;
    if (f.acl_count >= KESTD_MAC_ACL_MAX)
        return KESTD_ERR_LIST_FULL;
    std::memcpy(f.acl[f.acl_count++], req.mac, 6);
    enforce_stations(ctx.st);
    return KESTD_OK;
}

uint16_t acl_del(kestd_ctx &ctx, const wifi_mac_acl_del_set_req &req, wifi_mac_acl_del_set_resp &)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    kestd_iface &f = iface_of(ctx, req.index);
    for (uint32_t i = 0; i < f.acl_count; ++i) {
        if (std::memcmp(f.acl[i], req.mac, 6) != 0)
            continue;
        for (uint32_t j = i; j + 1 < f.acl_count; ++j)
            std::memcpy(f.acl[j], f.acl[j + 1], 6);
        std::memset(f.acl[--f.acl_count], 0, 6);
        enforce_stations(ctx.st);
        return KESTD_OK;
    }
    return KESTD_ERR_NOT_FOUND;
}

uint16_t acl_info(kestd_ctx &ctx, const wifi_mac_acl_info_get_req &req, wifi_mac_acl_info_get_resp &resp)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    const kestd_iface &f = iface_of(ctx, req.index);
    resp.count = static_cast<int32_t>(f.acl_count);
    std::memcpy(resp.mac_list, f.acl, sizeof resp.mac_list);
    return KESTD_OK;
}

// ---------------------------------------------------------------------------
// Stations and restore.

uint16_t sta_info(kestd_ctx &ctx, const kestd_no_req &, wifi_sta_info_get_resp &resp)
{
    const kestd_runtime &rt = ctx.st.rt;
    resp.num_sta = rt.sta_count;
    for (uint32_t i = 0; i < rt.sta_count; ++i) {
        wifi_sta_info_resp_entry &e = resp.stations[i];
        e.field_a = rt.sta[i].iface;
        std::memcpy(e.mac, rt.sta[i].mac, 6);
        kestd_put_text(e.text, rt.sta[i].name);
        e.field_b = rt.sta[i].rate_mbps;
        std::memcpy(e.field_c, rt.sta[i].ip, sizeof e.field_c);
    }
    return KESTD_OK;
}

uint16_t station_status_get(kestd_ctx &ctx, const wifi_station_status_get_req &req,
                            wifi_station_status_get_resp &resp)
{
    if (req.index != KESTD_STA_IFACE)
        return KESTD_ERR_INVALID_INTERFACE;
    kestd_put_text(resp.ssid, ctx.st.cfg.iface[KESTD_STA_IFACE - 1].ssid);
    resp.sta_status = ctx.st.rt.sta_state;
    return KESTD_OK;
}

// id_valid 0 restores all of Wi-Fi, 1 the one interface `id`.
uint16_t restore_default(kestd_ctx &ctx, const wifi_restore_default_set_req &req, wifi_restore_default_set_resp &)
{
    if (req.id_valid && !iface_ok(req.id))
        return KESTD_ERR_INVALID_INTERFACE;
    kestd_config defaults;
    kestd_default_config(defaults);
    kestd_config &cfg = ctx.st.cfg;
    if (req.id_valid) {
        cfg.iface[req.id - 1] = defaults.iface[req.id - 1];
    } else {
        cfg.work_mode = defaults.work_mode;
        cfg.wifi_enable = defaults.wifi_enable;
        std::memcpy(cfg.country_code, defaults.country_code, 2);
        std::memcpy(cfg.iface, defaults.iface, sizeof cfg.iface);
    }
    // A restored access point restarts: its stations have to join again.
    for (uint32_t i = ctx.st.rt.sta_count; i-- > 0;)
        if (!req.id_valid || ctx.st.rt.sta[i].iface == req.id)
            remove_station(ctx.st, i);
    if (!req.id_valid || req.id == KESTD_STA_IFACE)
        ctx.st.rt.sta_state = 0;
    enforce_stations(ctx.st);
    return KESTD_OK;
}

constexpr kestd_msg_row rows[] = {
    KESTD_ROW(KEST_WIFI_WORK_MODE_SET, work_mode_set),
    KESTD_ROW(KEST_WIFI_WORK_MODE_GET, work_mode_get),
    KESTD_ROW(KEST_WIFI_ESSID_SET, essid_set),
    KESTD_ROW(KEST_WIFI_ESSID_GET, essid_get),
    KESTD_ROW(KEST_WIFI_COUNTRY_CODE_SET, country_code_set),
    KESTD_ROW(KEST_WIFI_COUNTRY_CODE_GET, country_code_get),
    KESTD_ROW(KEST_WIFI_MODE_SET, u8_set<mode_setting>),
    KESTD_ROW(KEST_WIFI_MODE_GET, u8_get<mode_setting>),
    KESTD_ROW(KEST_WIFI_CHANNEL_SET, channel_set),
    KESTD_ROW(KEST_WIFI_CHANNEL_GET, channel_get),
    KESTD_ROW(KEST_WIFI_BANDWIDTH_SET, u8_set<bandwidth_setting>),
    KESTD_ROW(KEST_WIFI_BANDWIDTH_GET, u8_get<bandwidth_setting>),
    KESTD_ROW(KEST_WIFI_MAX_NUM_STA_SET, u8_set<max_num_sta_setting>),
    KESTD_ROW(KEST_WIFI_MAX_NUM_STA_GET, u8_get<max_num_sta_setting>),
    KESTD_ROW(KEST_WIFI_11N_ONLY_SET, u8_set<only_11n_setting>),
    KESTD_ROW(KEST_WIFI_11N_ONLY_GET, u8_get<only_11n_setting>),
    KESTD_ROW(KEST_WIFI_11AC_ONLY_SET, u8_set<only_11ac_setting>),
    KESTD_ROW(KEST_WIFI_11AC_ONLY_GET, u8_get<only_11ac_setting>),
    KESTD_ROW(KEST_WIFI_AP_ISOLATE_SET, u8_set<ap_isolate_setting>),
    KESTD_ROW(KEST_WIFI_AP_ISOLATE_GET, u8_get<ap_isolate_setting>),
    KESTD_ROW(KEST_WIFI_AUTH_SET, auth_set),
    KESTD_ROW(KEST_WIFI_AUTH_GET, auth_get),
    KESTD_ROW(KEST_WIFI_DFS_SET, u8_set<dfs_setting>),
    KESTD_ROW(KEST_WIFI_DFS_GET, u8_get<dfs_setting>),
    KESTD_ROW(KEST_WIFI_RSSI_SET, u8_set<rssi_setting>),
    KESTD_ROW(KEST_WIFI_RSSI_GET, u8_get<rssi_setting>),
    KESTD_ROW(KEST_WIFI_SSID_HIDE_SET, u8_set<ssid_hide_setting>),
    KESTD_ROW(KEST_WIFI_SSID_HIDE_GET, u8_get<ssid_hide_setting>),
    KESTD_ROW(KEST_WIFI_ENABLE_SET, enable_set),
    KESTD_ROW(KEST_WIFI_ENABLE_GET, enable_get),
    KESTD_ROW(KEST_WIFI_ACTIVE_SET, active_set),
    KESTD_ROW(KEST_WIFI_STATION_STATUS_GET, station_status_get),
    KESTD_ROW(KEST_WIFI_STA_INFO_GET, sta_info),
    KESTD_ROW(KEST_WIFI_MAC_ACL_RULE_SET, u8_set<acl_rule_setting>),
    KESTD_ROW(KEST_WIFI_MAC_ACL_RULE_GET, u8_get<acl_rule_setting>),
    KESTD_ROW(KEST_WIFI_MAC_ACL_ADD_SET, acl_add),
    KESTD_ROW(KEST_WIFI_MAC_ACL_DEL_SET, acl_del),
    KESTD_ROW(KEST_WIFI_MAC_ACL_INFO_GET, acl_info),
    KESTD_ROW(KEST_WIFI_RESTORE_DEFAULT_SET, restore_default),
};

void default_iface(kestd_iface &f, const char *ssid, uint8_t active, uint8_t auth, const char *password,
                   uint16_t channel, uint8_t mode, uint8_t bandwidth, uint8_t max_num_sta)
{
    f = kestd_iface{};
    std::snprintf(f.ssid, sizeof f.ssid, "%s", ssid);
    f.active = active;
    f.auth = auth;
    f.pairwise = auth >= 2 ? 1 : 0;
    f.group_rekey = auth >= 2 ? 3600 : 0;
    std::snprintf(f.password, sizeof f.password, "%s", password);
    f.channel = channel;
    f.mode = mode;
    f.bandwidth = bandwidth;
    f.max_num_sta = max_num_sta;
}

void mac_text(char (&buf)[18], const uint8_t *mac)
{
    std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
                  mac[5]);
}

} // namespace

std::span<const kestd_msg_row> kestd_wifi_rows() { return rows; }

void kestd_default_wifi_iface(kestd_config &cfg, int iface)
{
    kestd_iface &f = cfg.iface[iface - 1];
    switch (iface) {
    case 1:
        default_iface(f, "KEST-2.4G", 1, 3, "kest-module-24", 6, 4, 1, 10);
        break;
    case 2:
        default_iface(f, "KEST-5G", 1, 3, "kest-module-5g", 36, 5, 2, 10);
        break;
    default:
        default_iface(f, "", 1, 0, "", 0, 4, 0, 1); // on, but joined to no network yet
        break;
    }
}

const char *kestd_wifi_config_problem(const kestd_config &cfg)
{
    if (cfg.work_mode > 4 || cfg.wifi_enable > 1 || !country_ok(cfg.country_code))
        return "Wi-Fi global settings out of range";
    for (uint32_t i = 1; i <= KESTD_WIFI_IFACES; ++i) {
        const kestd_iface &f = cfg.iface[i - 1];
        if (strnlen(f.ssid, sizeof f.ssid) == sizeof f.ssid || f.format_type > 3 || f.active > 1)
            return "Wi-Fi interface SSID or activation damaged";
        for (const auto &key : f.wep_key)
            if (strnlen(key, sizeof key) == sizeof key)
                return "Wi-Fi WEP key not terminated";
        if (strnlen(f.password, sizeof f.password) == sizeof f.password || auth_check(f) != KESTD_OK)
            return "Wi-Fi authentication damaged";
        if (channel_check(i, f.channel) != KESTD_OK)
            return "Wi-Fi channel not valid for its interface";
        for (const u8_setting *s : u8_settings)
            if (!u8_setting_ok(*s, f.*s->field))
                return "Wi-Fi radio setting out of range";
        if (f.acl_count > KESTD_MAC_ACL_MAX)
            return "Wi-Fi MAC access list damaged";
        for (uint32_t k = 0; k < f.acl_count; ++k)
            if (!mac_ok(f.acl[k]))
                return "Wi-Fi MAC access list holds an invalid address";
    }
    return nullptr;
}

uint16_t kestd_station_join(kestd_state &st, uint32_t iface, const uint8_t mac[6], const char *name)
{
    if (iface < 1 || iface >= KESTD_STA_IFACE)
        return KESTD_ERR_INVALID_INTERFACE;
    if (!ap_up(st, iface))
        return KESTD_ERR_WIFI_OFF;
    if (!mac_ok(mac))
        return KESTD_ERR_INVALID_ADDRESS;
    if (station_slot(st, mac) >= 0)
        return KESTD_ERR_DUPLICATE;
    uint32_t on_iface = 0;
    for (uint32_t i = 0; i < st.rt.sta_count; ++i)
        on_iface += st.rt.sta[i].iface == iface;
    if (st.rt.sta_count >= KESTD_STATIONS_MAX || on_iface >= st.cfg.iface[iface - 1].max_num_sta)
        return KESTD_ERR_LIST_FULL;
    if (!acl_admits(st.cfg.iface[iface - 1], mac))
        return KESTD_ERR_ACL_DENIED;
    // The lowest DHCP address that no other station holds.
    // The whole field goes to clients, so no byte of it is left unset.
    char ip[16];
    for (uint32_t host = kestd_ipv4_host(st.cfg.lan.lan_word_c);; ++host) {
        std::memset(ip, 0, sizeof ip);
        ipv4_text(ip, host);
        bool taken = false;
        for (uint32_t i = 0; i < st.rt.sta_count; ++i)
            taken = taken || std::strcmp(st.rt.sta[i].ip, ip) == 0;
        if (!taken)
            break;
    }
    kestd_station &s = st.rt.sta[st.rt.sta_count++];
    s = kestd_station{};
    s.iface = iface;
    std::memcpy(s.mac, mac, 6);
    std::snprintf(s.name, sizeof s.name, "%s", name);
    s.rate_mbps = iface == 1 ? 144 : 866;
    std::memcpy(s.ip, ip, sizeof s.ip);
    return KESTD_OK;
}

uint16_t kestd_station_leave(kestd_state &st, const uint8_t mac[6])
{
    const int slot = station_slot(st, mac);
    if (slot < 0)
        return KESTD_ERR_NOT_FOUND;
    remove_station(st, static_cast<uint32_t>(slot));
    return KESTD_OK;
}

uint16_t kestd_station_status(kestd_state &st, uint8_t state, const char *ssid)
{
    if (state > 2)
        return KESTD_ERR_INVALID_VALUE;
    kestd_iface &f = st.cfg.iface[KESTD_STA_IFACE - 1];
    if (ssid) {
        const size_t len = std::strlen(ssid);
        if (len == 0 || len >= sizeof f.ssid)
            return KESTD_ERR_INVALID_TEXT;
        std::memset(f.ssid, 0, sizeof f.ssid);
        std::memcpy(f.ssid, ssid, len);
    }
    if (state != 0 && (!st.cfg.wifi_enable || !f.active))
        return KESTD_ERR_WIFI_OFF;
    st.rt.sta_state = state;
    return KESTD_OK;
}

void kestd_wifi_dump(const kestd_state &st, std::string &out)
{
    const kestd_config &cfg = st.cfg;
    kestd_dump_line(out, "wifi.work_mode", "%u", cfg.work_mode);
    kestd_dump_line(out, "wifi.enable", "%u", cfg.wifi_enable);
    kestd_dump_line(out, "wifi.country_code", "%.2s", cfg.country_code);
    for (int i = 1; i <= KESTD_WIFI_IFACES; ++i) {
        const kestd_iface &f = cfg.iface[i - 1];
        char key[32];
        std::snprintf(key, sizeof key, "wifi.%d.auth", i);
        kestd_dump_line(out, key,
                        "ssid \"%s\" format %u active %u auth %u wep_default %u pairwise %u password \"%s\" "
                        "group_rekey %u",
                        f.ssid, f.format_type, f.active, f.auth, f.wep_default, f.pairwise, f.password,
                        f.group_rekey);
        std::snprintf(key, sizeof key, "wifi.%d.radio", i);
        kestd_dump_line(out, key,
                        "channel %u mode %u bandwidth %u max_num_sta %u 11n_only %u 11ac_only %u ap_isolate %u "
                        "dfs %u rssi %u ssid_hide %u",
                        f.channel, f.mode, f.bandwidth, f.max_num_sta, f.only_11n, f.only_11ac, f.ap_isolate,
                        f.dfs, f.rssi, f.ssid_hide);
        std::string acl;
        for (uint32_t k = 0; k < f.acl_count; ++k) {
            char mac[18];
            mac_text(mac, f.acl[k]);
            acl += std::string(" ") + mac;
        }
        std::snprintf(key, sizeof key, "wifi.%d.acl", i);
        kestd_dump_line(out, key, "acl_rule %u acl_count %u%s", f.acl_rule, f.acl_count, acl.c_str());
    }
    kestd_dump_line(out, "wifi.station", "state %u ssid \"%s\"", st.rt.sta_state, cfg.iface[KESTD_STA_IFACE - 1].ssid);
    kestd_dump_line(out, "wifi.stations", "%u", st.rt.sta_count);
    for (uint32_t i = 0; i < st.rt.sta_count; ++i) {
        const kestd_station &s = st.rt.sta[i];
        char mac[18];
        mac_text(mac, s.mac);
        kestd_dump_line(out, "wifi.sta", "iface %u mac %s name \"%s\" ip %s rate %u", s.iface, mac, s.name, s.ip,
                        s.rate_mbps);
    }
}
