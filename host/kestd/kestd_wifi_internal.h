// What the Wi-Fi files of kestd share, inside the service only: the
// validators (kestd_wifi_check.cpp), the one-byte radio setting rows, and the
// station changes a setting can bring (kestd_wifi_stations.cpp). The message
// handlers are in kestd_wifi.cpp.
#pragma once

#include <cstdint>

#include "kest_commands.h"
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

// The one-byte radio settings: one shape, one row each. A flag is stored as
// 0 or 1; a number must lie in [min, max].
struct u8_setting {
    uint8_t kestd_iface::*field;
    bool flag;
    uint8_t min;
    uint8_t max;
};
inline constexpr u8_setting kModeSetting{&kestd_iface::mode, false, kWifiModeRange.min,
                                         kWifiModeRange.max};
inline constexpr u8_setting kBandwidthSetting{&kestd_iface::bandwidth, false, kBandwidthRange.min,
                                              kBandwidthRange.max};
inline constexpr u8_setting kMaxNumStaSetting{&kestd_iface::max_num_sta, false, 1,
                                              kKestdStationsMax};
inline constexpr u8_setting kRssiSetting{&kestd_iface::rssi, false, kRssiRange.min, kRssiRange.max};
// One row per switch, named after its field: kSwitch_ap_isolate.
#define KESTD_SWITCH_SETTING(name, setting, field, word)                                           \
    inline constexpr u8_setting kSwitch_##field{&kestd_iface::field, true, 0, 1};
KEST_WIFI_SWITCHES(KESTD_SWITCH_SETTING)
#undef KESTD_SWITCH_SETTING
// The switches with the names of the state dump.
struct switch_name {
    uint8_t kestd_iface::*field;
    const char *name;
};
#define KESTD_SWITCH_NAME(name, setting, field, word) {&kestd_iface::field, #setting},
inline constexpr switch_name kSwitchNames[] = {KEST_WIFI_SWITCHES(KESTD_SWITCH_NAME)};
#undef KESTD_SWITCH_NAME
// The MAC access rule has the same records: 0 off, 1 allow only the listed,
// 2 deny the listed.
inline constexpr u8_setting kAclRuleSetting{&kestd_iface::acl_rule, false, 0, 2};

// Whether `v` may be stored in setting `s`.
bool u8_setting_ok(const u8_setting &s, uint8_t v);

// Takes the station in `slot` off its access point.
void remove_station(kestd_state &st, uint32_t slot);
// Whether `mac` is on the MAC access list of `f`.
bool acl_lists(const kestd_iface &f, const uint8_t *mac);
// Sends away every station that its access point no longer takes.
void enforce_stations(kestd_state &st);

} // namespace kestd_wifi
