// kestctl's names of the service's messages: the words of the vg-mgmt command
// that sends each one ("wifi channel set"), so that a fault can be aimed at a
// command without knowing its message id. A setting's "get" reads with the
// first id, its "set" writes with the second (0: none).
#pragma once

#include <cstdint>
#include <string>

#include "kest_commands.h"
#include "kest_msg.h"

struct kestctl_message {
    const char *words;
    uint32_t get_id, set_id;
};

#define KESTCTL_SWITCH(name, setting, field, word)                                                 \
    {"wifi " word, KEST_WIFI_##name##_GET, KEST_WIFI_##name##_SET},
inline constexpr kestctl_message kestctl_messages[] = {
    {"wifi work-mode", KEST_WIFI_WORK_MODE_GET, KEST_WIFI_WORK_MODE_SET},
    {"wifi ssid", KEST_WIFI_ESSID_GET, KEST_WIFI_ESSID_SET},
    {"wifi country", KEST_WIFI_COUNTRY_CODE_GET, KEST_WIFI_COUNTRY_CODE_SET},
    {"wifi mode", KEST_WIFI_MODE_GET, KEST_WIFI_MODE_SET},
    {"wifi channel", KEST_WIFI_CHANNEL_GET, KEST_WIFI_CHANNEL_SET},
    {"wifi bandwidth", KEST_WIFI_BANDWIDTH_GET, KEST_WIFI_BANDWIDTH_SET},
    {"wifi max-sta", KEST_WIFI_MAX_NUM_STA_GET, KEST_WIFI_MAX_NUM_STA_SET},
    {"wifi auth", KEST_WIFI_AUTH_GET, KEST_WIFI_AUTH_SET},
    {"wifi rssi", KEST_WIFI_RSSI_GET, KEST_WIFI_RSSI_SET},
    {"wifi enable", KEST_WIFI_ENABLE_GET, KEST_WIFI_ENABLE_SET},
    {"wifi active", 0, KEST_WIFI_ACTIVE_SET},
    {"wifi station-status", KEST_WIFI_STATION_STATUS_GET, 0},
    {"wifi stations", KEST_WIFI_STA_INFO_GET, 0},
    {"wifi acl-rule", KEST_WIFI_MAC_ACL_RULE_GET, KEST_WIFI_MAC_ACL_RULE_SET},
    {"wifi acl add", 0, KEST_WIFI_MAC_ACL_ADD_SET},
    {"wifi acl del", 0, KEST_WIFI_MAC_ACL_DEL_SET},
    {"wifi acl list", KEST_WIFI_MAC_ACL_INFO_GET, 0},
    {"wifi restore", 0, KEST_WIFI_RESTORE_DEFAULT_SET},
    KEST_WIFI_SWITCHES(KESTCTL_SWITCH){"datacall up", 0, KEST_DATA_CALL_UP_SET},
    {"datacall down", 0, KEST_DATA_CALL_DOWN_SET},
    {"datacall info", KEST_DATA_CALL_INFO_GET, 0},
    {"datacall apn", KEST_DATA_CALL_APN_GET, KEST_DATA_CALL_APN_SET},
    {"datacall apn list", KEST_DATA_CALL_GET_APN_LIST_GET, 0},
    {"datacall apn del", 0, KEST_DATA_CALL_APN_DEL_SET},
    {"datacall apn add", 0, KEST_DATA_CALL_APN_ADD_SET},
    {"datacall default-profile", KEST_DATA_CALL_DEFAULT_PROFILE_GET,
     KEST_DATA_CALL_DEFAULT_PROFILE_SET},
    {"network dmz add", 0, KEST_NETWORK_DMZ_ADD_SET},
    {"network dmz del", 0, KEST_NETWORK_DMZ_DEL_SET},
    {"network dmz", KEST_NETWORK_DMZ_GET_GET, 0},
    {"network sgmii-enable", KEST_NETWORK_SGMII_ENABLE_GET, KEST_NETWORK_SGMII_ENABLE_SET},
    {"network sgmii-config", KEST_NETWORK_SGMII_CONFIG_GET, KEST_NETWORK_SGMII_CONFIG_SET},
    {"network sgmii-info", KEST_NETWORK_SGMII_INFO_GET, 0},
    {"network lan", KEST_NETWORK_LAN_CONFIG_GET, KEST_NETWORK_LAN_CONFIG_SET},
    {"network snat add", 0, KEST_NETWORK_SNAT_ADD_SET},
    {"network snat del", 0, KEST_NETWORK_SNAT_DEL_SET},
    {"network snat list", KEST_NETWORK_SNAT_GET_GET, 0},
    {"network ethernet-mode", KEST_NETWORK_ETHERNET_MODE_GET, KEST_NETWORK_ETHERNET_MODE_SET},
    {"usb config write", 0, KEST_USB_CONFIG_WRITE_SET},
    {"usb action", 0, KEST_USB_ACTION_SET},
    {"usb bootup", KEST_USB_CONFIG_GET, KEST_USB_BOOTUP_SET},
    {"usb id", KEST_USB_CONFIG_GET, KEST_USB_ID_SET},
    {"usb product", KEST_USB_CONFIG_GET, KEST_USB_PRODUCT_INFO_SET},
    {"usb manufacturer", KEST_USB_CONFIG_GET, KEST_USB_MANUFAC_INFO_SET},
    {"usb net-mode", KEST_USB_CONFIG_GET, KEST_USB_NET_SET},
    {"usb func", KEST_USB_CONFIG_GET, KEST_USB_FUNC_SET},
    {"usb config", KEST_USB_CONFIG_GET, 0},
};

// The message id that the vg-mgmt command `words` sends last ("wifi channel
// set" writes, "wifi channel get" reads, "wifi acl add" has one); 0 when the
// words name none.
inline uint32_t kestctl_message_id(const std::string &words)
{
    for (const kestctl_message &m : kestctl_messages) {
        const std::string base = m.words;
        if (words == base)
            return m.set_id != 0 ? m.set_id : m.get_id;
        if (words == base + " get" && m.get_id != 0)
            return m.get_id;
        if (words == base + " set" && m.set_id != 0)
            return m.set_id;
    }
    return 0;
}
