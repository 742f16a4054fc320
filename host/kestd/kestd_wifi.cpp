// Wi-Fi messages 1 to 39: global settings, the three interfaces (3 is the
// station interface), MAC access lists and the stations on the access points;
// their table rows and the Wi-Fi defaults. The validators are in
// kestd_wifi_check.cpp, the stations and the station changes the control
// channel asks for in kestd_wifi_stations.cpp.
#include <cstdio>

#include "kestd_msg.h"
#include "kestd_wifi_internal.h"

using namespace kestd_wifi;

namespace {

bool iface_ok(uint32_t index)
{
    return index >= 1 && index <= kKestdWifiIfaces;
}
kestd_iface &iface_of(kestd_ctx &ctx, uint32_t index)
{
    return ctx.st.cfg.iface[index - 1];
}

// ---------------------------------------------------------------------------
// Handlers: global settings.

uint16_t work_mode_set(kestd_ctx &ctx, const wifi_work_mode_set_req &req, wifi_work_mode_set_resp &)
{
    if (req.work_mode > kWorkModeRange.max)
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

uint16_t country_code_set(kestd_ctx &ctx, const wifi_country_code_set_req &req,
                          wifi_country_code_set_resp &)
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
    if (req.format_type > kSsidFormatRange.max)
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
    if (req.active > kActiveRange.max)
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

template <size_t I>
uint16_t u8_set(kestd_ctx &ctx, const wifi_u8_setting_set_req &req, wifi_setting_set_resp &)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    const u8_setting &S = kU8Settings[I];
    const uint8_t v = S.desc->kind == kest_kind::flag ? req.setting != 0 : req.setting;
    if (!u8_setting_ok(S, v))
        return KESTD_ERR_INVALID_VALUE;
    iface_of(ctx, req.index).*S.field = v;
    enforce_stations(ctx.st);
    return KESTD_OK;
}

template <size_t I>
uint16_t u8_get(kestd_ctx &ctx, const wifi_setting_get_req &req, wifi_u8_setting_get_resp &resp)
{
    if (!iface_ok(req.index))
        return KESTD_ERR_INVALID_INTERFACE;
    resp.setting = iface_of(ctx, req.index).*kU8Settings[I].field;
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
    if (f.acl_count >= kKestdMacAclMax)
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

uint16_t acl_info(kestd_ctx &ctx, const wifi_mac_acl_info_get_req &req,
                  wifi_mac_acl_info_get_resp &resp)
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
    if (req.index != kKestdStaIface)
        return KESTD_ERR_INVALID_INTERFACE;
    kestd_put_text(resp.ssid, ctx.st.cfg.iface[kKestdStaIface - 1].ssid);
    resp.sta_status = ctx.st.rt.sta_state;
    return KESTD_OK;
}

// id_valid 0 restores all of Wi-Fi, 1 the one interface `id`.
uint16_t restore_default(kestd_ctx &ctx, const wifi_restore_default_set_req &req,
                         wifi_restore_default_set_resp &)
{
    if (req.id_valid && !iface_ok(req.id))
        return KESTD_ERR_INVALID_INTERFACE;
    kestd_config defaults{};
    kestd_default_wifi(defaults);
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
    if (!req.id_valid || req.id == kKestdStaIface)
        ctx.st.rt.sta_state = 0;
    enforce_stations(ctx.st);
    return KESTD_OK;
}

// A one-byte setting's two rows, and a switch's.
#define KESTD_U8_ROWS(name)                                                                        \
    KESTD_ROW(KEST_WIFI_##name##_SET, u8_set<u8_setting_of(WIFI_CMD_##name)>),                     \
        KESTD_ROW(KEST_WIFI_##name##_GET, u8_get<u8_setting_of(WIFI_CMD_##name)>)
#define KESTD_SWITCH_ROWS(name, ...) KESTD_U8_ROWS(name),
// clang-format off
constexpr kestd_msg_row rows[] = {
    KESTD_ROW(KEST_WIFI_WORK_MODE_SET, work_mode_set),
    KESTD_ROW(KEST_WIFI_WORK_MODE_GET, work_mode_get),
    KESTD_ROW(KEST_WIFI_ESSID_SET, essid_set),
    KESTD_ROW(KEST_WIFI_ESSID_GET, essid_get),
    KESTD_ROW(KEST_WIFI_COUNTRY_CODE_SET, country_code_set),
    KESTD_ROW(KEST_WIFI_COUNTRY_CODE_GET, country_code_get),
    KESTD_ROW(KEST_WIFI_CHANNEL_SET, channel_set),
    KESTD_ROW(KEST_WIFI_CHANNEL_GET, channel_get),
    KESTD_ROW(KEST_WIFI_AUTH_SET, auth_set),
    KESTD_ROW(KEST_WIFI_AUTH_GET, auth_get),
    KESTD_ROW(KEST_WIFI_ENABLE_SET, enable_set),
    KESTD_ROW(KEST_WIFI_ENABLE_GET, enable_get),
    KESTD_ROW(KEST_WIFI_ACTIVE_SET, active_set),
    KESTD_ROW(KEST_WIFI_STATION_STATUS_GET, station_status_get),
    KESTD_ROW(KEST_WIFI_STA_INFO_GET, sta_info),
    KESTD_ROW(KEST_WIFI_MAC_ACL_ADD_SET, acl_add),
    KESTD_ROW(KEST_WIFI_MAC_ACL_DEL_SET, acl_del),
    KESTD_ROW(KEST_WIFI_MAC_ACL_INFO_GET, acl_info),
    KESTD_ROW(KEST_WIFI_RESTORE_DEFAULT_SET, restore_default),
    KESTD_U8_ROWS(MODE),
    KESTD_U8_ROWS(BANDWIDTH),
    KESTD_U8_ROWS(MAX_NUM_STA),
    KESTD_U8_ROWS(RSSI),
    KESTD_U8_ROWS(MAC_ACL_RULE),
    KEST_WIFI_SWITCHES(KESTD_SWITCH_ROWS)
};
// clang-format on

// A fresh module's value of a field of an interface.
uint32_t factory(uint32_t cmd, const char *word, int iface)
{
    return static_cast<uint32_t>(
        kest_factory_number(kest_field_at(MGMT_DOMAIN_WIFI, cmd, word), iface));
}
template <size_t N>
void factory_text(char (&dst)[N], uint32_t cmd, const char *word, int iface)
{
    std::snprintf(dst, N, "%s",
                  kest_factory_text(kest_field_at(MGMT_DOMAIN_WIFI, cmd, word), iface));
}

void default_wifi_iface(kestd_config &cfg, int iface)
{
    kestd_iface &f = cfg.iface[iface - 1];
    f = kestd_iface{};
    factory_text(f.ssid, WIFI_CMD_ESSID, "ssid", iface);
    f.format_type = static_cast<uint8_t>(factory(WIFI_CMD_ESSID, "format-type", iface));
    f.active = static_cast<uint8_t>(factory(WIFI_CMD_ACTIVE, "active", iface));
    f.auth = static_cast<uint8_t>(factory(WIFI_CMD_AUTH, "auth", iface));
    f.pairwise = static_cast<uint8_t>(factory(WIFI_CMD_AUTH, "pairwise", iface));
    f.group_rekey = factory(WIFI_CMD_AUTH, "group-rekey", iface);
    factory_text(f.password, WIFI_CMD_AUTH, "password", iface);
    f.channel = static_cast<uint16_t>(factory(WIFI_CMD_CHANNEL, "channel", iface));
    for (const u8_setting &s : kU8Settings)
        f.*s.field = static_cast<uint8_t>(kest_factory_number(*s.desc, iface));
}

} // namespace

std::span<const kestd_msg_row> kestd_wifi_rows()
{
    return rows;
}

void kestd_default_wifi(kestd_config &cfg)
{
    cfg.work_mode = static_cast<uint8_t>(factory(WIFI_CMD_WORK_MODE, "work-mode", 1));
    cfg.wifi_enable = static_cast<uint8_t>(factory(WIFI_CMD_ENABLE, "enable", 1));
    std::memcpy(
        cfg.country_code,
        kest_factory_text(kest_field_at(MGMT_DOMAIN_WIFI, WIFI_CMD_COUNTRY_CODE, "country")), 2);
    for (int i = 1; i <= kKestdWifiIfaces; ++i)
        default_wifi_iface(cfg, i);
}
