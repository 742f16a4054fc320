// Every direction of the four command tables, each with a value record that
// passes the library's range tests, for table-driven runs of all commands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "vg_mgmt_client.h"

namespace vg_rows {

using fill_fn = void (*)(uint8_t *value);

struct command_row {
    uint32_t domain;
    uint32_t id;
    uint32_t flag;
    fill_fn fill; // a record that passes the range tests
};

template <class T>
inline void put(uint8_t *value, size_t at, T v)
{
    memcpy(value + at, &v, sizeof v);
}

inline void none(uint8_t *) {}
inline void iface1(uint8_t *v) { put<uint32_t>(v, 0, 1); }
inline void iface3(uint8_t *v) { put<uint32_t>(v, 0, 3); }
inline void country(uint8_t *v) { memcpy(v, "US", 3); }
inline void essid(uint8_t *v)
{
    iface1(v);
    memcpy(v + offsetof(wifi_essid_params, ssid), "home", 5);
}
inline void max_sta(uint8_t *v)
{
    iface1(v);
    put<uint32_t>(v, offsetof(wifi_max_num_sta_params, max_num_sta), 8);
}
inline void info_both(uint8_t *v) { put<uint32_t>(v, offsetof(data_call_info_params, ip_type), DATA_CALL_IP_V4V6); }
inline void snat(uint8_t *v)
{
    put<uint16_t>(v, offsetof(network_snat_params, private_port), 80);
    put<uint16_t>(v, offsetof(network_snat_params, global_port), 8080);
    put<uint8_t>(v, offsetof(network_snat_params, protocol), 6);
}
inline void usb_id(uint8_t *v)
{
    put<uint16_t>(v, offsetof(usb_id_params, pid), 0x9001);
    put<uint16_t>(v, offsetof(usb_id_params, vid), 0x05c6);
}
inline void usb_text(uint8_t *v) { memcpy(v + 4, "vg", 3); }

constexpr uint32_t W = MGMT_DOMAIN_WIFI, D = MGMT_DOMAIN_DATA_CALL, N = MGMT_DOMAIN_NETWORK,
                   U = MGMT_DOMAIN_USB, S = MGMT_OPT_SET, G = MGMT_OPT_GET;

inline constexpr command_row kRows[] = {
    {W, WIFI_CMD_WORK_MODE, S, none}, {W, WIFI_CMD_WORK_MODE, G, none},
    {W, WIFI_CMD_ENABLE, S, none}, {W, WIFI_CMD_ENABLE, G, none},
    {W, WIFI_CMD_COUNTRY_CODE, S, country}, {W, WIFI_CMD_COUNTRY_CODE, G, none},
    {W, WIFI_CMD_MODE, S, iface1}, {W, WIFI_CMD_MODE, G, iface1},
    {W, WIFI_CMD_CHANNEL, S, iface1}, {W, WIFI_CMD_CHANNEL, G, iface1},
    {W, WIFI_CMD_ESSID, S, essid}, {W, WIFI_CMD_ESSID, G, iface1},
    {W, WIFI_CMD_SSID_HIDE, S, iface1}, {W, WIFI_CMD_SSID_HIDE, G, iface1},
    {W, WIFI_CMD_BANDWIDTH, S, iface1}, {W, WIFI_CMD_BANDWIDTH, G, iface1},
    {W, WIFI_CMD_MAX_NUM_STA, S, max_sta}, {W, WIFI_CMD_MAX_NUM_STA, G, iface1},
    {W, WIFI_CMD_11N_ONLY, S, iface1}, {W, WIFI_CMD_11N_ONLY, G, iface1},
    {W, WIFI_CMD_11AC_ONLY, S, iface1}, {W, WIFI_CMD_11AC_ONLY, G, iface1},
    {W, WIFI_CMD_AP_ISOLATE, S, iface1}, {W, WIFI_CMD_AP_ISOLATE, G, iface1},
    {W, WIFI_CMD_AUTH, S, iface1}, {W, WIFI_CMD_AUTH, G, iface1},
    {W, WIFI_CMD_DFS, S, iface1}, {W, WIFI_CMD_DFS, G, iface1},
    {W, WIFI_CMD_RSSI, S, iface1}, {W, WIFI_CMD_RSSI, G, iface1},
    {W, WIFI_CMD_STA_INFO, G, iface1},
    {W, WIFI_CMD_RESTORE_DEFAULT, S, iface1},
    {W, WIFI_CMD_MAC_ACL_RULE, S, iface1}, {W, WIFI_CMD_MAC_ACL_RULE, G, iface1},
    {W, WIFI_CMD_MAC_ACL_ADD, S, iface1}, {W, WIFI_CMD_MAC_ACL_DEL, S, iface1},
    {W, WIFI_CMD_MAC_ACL_INFO, G, iface1},
    {W, WIFI_CMD_ACTIVE, S, iface1},
    {W, WIFI_CMD_STATION_STATUS, G, iface3},
    {D, DATA_CALL_CMD_UP, S, none}, {D, DATA_CALL_CMD_DOWN, S, none},
    {D, DATA_CALL_CMD_INFO, G, info_both},
    {D, DATA_CALL_CMD_APN, S, none}, {D, DATA_CALL_CMD_APN, G, none},
    {D, DATA_CALL_CMD_APN_LIST, G, none},
    {D, DATA_CALL_CMD_APN_DEL, S, none}, {D, DATA_CALL_CMD_APN_ADD, S, none},
    {D, DATA_CALL_CMD_DEFAULT_PROFILE, S, none}, {D, DATA_CALL_CMD_DEFAULT_PROFILE, G, none},
    {N, NETWORK_CMD_DMZ_ADD, S, none}, {N, NETWORK_CMD_DMZ_DEL, S, none},
    {N, NETWORK_CMD_DMZ_GET, G, none},
    {N, NETWORK_CMD_SGMII_ENABLE, S, none}, {N, NETWORK_CMD_SGMII_ENABLE, G, none},
    {N, NETWORK_CMD_SGMII_CONFIG, S, none}, {N, NETWORK_CMD_SGMII_CONFIG, G, none},
    {N, NETWORK_CMD_SGMII_INFO, G, none},
    {N, NETWORK_CMD_LAN_CONFIG, S, none}, {N, NETWORK_CMD_LAN_CONFIG, G, none},
    {N, NETWORK_CMD_SNAT_ADD, S, snat}, {N, NETWORK_CMD_SNAT_DEL, S, snat},
    {N, NETWORK_CMD_SNAT_GET, G, none},
    {N, NETWORK_CMD_ETHERNET_MODE, S, none}, {N, NETWORK_CMD_ETHERNET_MODE, G, none},
    {U, USB_CMD_CONFIG_WRITE, S, none}, {U, USB_CMD_ACTION, S, none},
    {U, USB_CMD_BOOTUP, S, none}, {U, USB_CMD_ID, S, usb_id},
    {U, USB_CMD_PRODUCT_INFO, S, usb_text}, {U, USB_CMD_MANUFAC_INFO, S, usb_text},
    {U, USB_CMD_NET, S, none}, {U, USB_CMD_FUNC, S, none},
    {U, USB_CMD_CONFIG_GET, G, none},
};
static_assert(std::size(kRows) == 39 + 10 + 15 + 9, "every direction of the four tables");

inline uint32_t value_size(uint32_t domain)
{
    switch (domain) {
    case MGMT_DOMAIN_WIFI: return MGMT_WIFI_VALUE_SIZE;
    case MGMT_DOMAIN_NETWORK: return MGMT_NETWORK_VALUE_SIZE;
    case MGMT_DOMAIN_DATA_CALL: return MGMT_DATA_CALL_VALUE_SIZE;
    default: return MGMT_USB_VALUE_SIZE;
    }
}

} // namespace vg_rows
