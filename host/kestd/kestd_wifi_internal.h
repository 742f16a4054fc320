// What the Wi-Fi files of kestd share, inside the service only: the
// validators (kestd_wifi_check.cpp), the one-byte radio setting rows, and the
// station changes a setting can bring (kestd_wifi_stations.cpp). The message
// handlers are in kestd_wifi.cpp.
#pragma once

#include <cstdint>
#include <iterator>

#include "kest_fields.h"
#include "kestd_state.h"

namespace kestd_wifi {

// KESTD_OK, or KESTD_ERR_INVALID_CHANNEL when `channel` does not suit interface `index`.
uint16_t channel_check(uint32_t index, uint32_t channel);
// KESTD_OK, or why the authentication of `f` (method, WEP keys, WPA password) is refused.
uint16_t auth_check(const kestd_iface &f);
// A unicast MAC address that is not all zeros.
bool mac_ok(const uint8_t *mac);
// A country code of two letters.
bool country_ok(const char *cc);

// The one-byte radio settings: one shape, one row each, with the field's
// description (its kind, range and factory value). A flag is stored as 0 or
// 1; a number must lie in the described range.
struct u8_setting {
    uint8_t kestd_iface::*field;
    const kest_field *desc;
    const char *name; // in the state dump
};
#define KESTD_U8_SETTING(member, cmd, word)                                                        \
    u8_setting                                                                                     \
    {                                                                                              \
        &kestd_iface::member, &kest_field_at(MGMT_DOMAIN_WIFI, cmd, word), #member                 \
    }
#define KESTD_SWITCH_SETTING(name, setting, field, word, ...)                                      \
    u8_setting{&kestd_iface::field, &kest_field_at(MGMT_DOMAIN_WIFI, WIFI_CMD_##name, word),       \
               #setting},
// Every one-byte setting of an interface, the switches last.
inline constexpr u8_setting kU8Settings[] = {
    KESTD_U8_SETTING(mode, WIFI_CMD_MODE, "mode"),
    KESTD_U8_SETTING(bandwidth, WIFI_CMD_BANDWIDTH, "bandwidth"),
    KESTD_U8_SETTING(max_num_sta, WIFI_CMD_MAX_NUM_STA, "max-sta"),
    KESTD_U8_SETTING(rssi, WIFI_CMD_RSSI, "rssi"),
    KESTD_U8_SETTING(acl_rule, WIFI_CMD_MAC_ACL_RULE, "acl-rule"),
    KEST_WIFI_SWITCHES(KESTD_SWITCH_SETTING)};
#undef KESTD_SWITCH_SETTING
// The place of a setting's command in kU8Settings.
consteval size_t u8_setting_of(uint32_t cmd)
{
    for (size_t i = 0; i < std::size(kU8Settings); ++i)
        if (kU8Settings[i].desc->command == cmd)
            return i;
    return std::size(kU8Settings);
}

// Whether `v` may be stored in setting `s`.
bool u8_setting_ok(const u8_setting &s, uint8_t v);

// Takes the station in `slot` off its access point.
void remove_station(kestd_state &st, uint32_t slot);
// Whether `mac` is on the MAC access list of `f`.
bool acl_lists(const kestd_iface &f, const uint8_t *mac);
// Sends away every station that its access point no longer takes.
void enforce_stations(kestd_state &st);

} // namespace kestd_wifi
