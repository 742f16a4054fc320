// The head of the KEST management protocol: the status that starts every
// response record, the message ids, the time-outs, and the macros that check
// a wire record's layout. Every domain's records include it.
#pragma once

#include <cstddef>
#include <cstdint>

#define KEST_WIRE_AT(type, field, off)                                                             \
    static_assert(offsetof(type, field) == (off), #type "." #field)
#define KEST_WIRE_SIZE(type, size) static_assert(sizeof(type) == (size), #type)

// Head of every response record.
struct [[gnu::packed]] resp_status {
    uint16_t result; // 0 for success
    uint16_t error;  // the service's error code
};
KEST_WIRE_AT(resp_status, error, 2);
KEST_WIRE_SIZE(resp_status, 4);

enum kest_msg_id : uint32_t {
    KEST_WIFI_WORK_MODE_SET = 1,
    KEST_WIFI_WORK_MODE_GET = 2,
    KEST_WIFI_ESSID_SET = 3,
    KEST_WIFI_ESSID_GET = 4,
    KEST_WIFI_COUNTRY_CODE_SET = 5,
    KEST_WIFI_COUNTRY_CODE_GET = 6,
    KEST_WIFI_MODE_SET = 7,
    KEST_WIFI_MODE_GET = 8,
    KEST_WIFI_CHANNEL_SET = 9,
    KEST_WIFI_CHANNEL_GET = 10,
    KEST_WIFI_BANDWIDTH_SET = 11,
    KEST_WIFI_BANDWIDTH_GET = 12,
    KEST_WIFI_MAX_NUM_STA_SET = 13,
    KEST_WIFI_MAX_NUM_STA_GET = 14,
    KEST_WIFI_11N_ONLY_SET = 15,
    KEST_WIFI_11N_ONLY_GET = 16,
    KEST_WIFI_11AC_ONLY_SET = 17,
    KEST_WIFI_11AC_ONLY_GET = 18,
    KEST_WIFI_AP_ISOLATE_SET = 19,
    KEST_WIFI_AP_ISOLATE_GET = 20,
    KEST_WIFI_AUTH_SET = 21,
    KEST_WIFI_AUTH_GET = 22,
    KEST_WIFI_DFS_SET = 23,
    KEST_WIFI_DFS_GET = 24,
    KEST_WIFI_RSSI_SET = 25,
    KEST_WIFI_RSSI_GET = 26,
    KEST_WIFI_SSID_HIDE_SET = 27,
    KEST_WIFI_SSID_HIDE_GET = 28,
    KEST_WIFI_ENABLE_SET = 29,
    KEST_WIFI_ENABLE_GET = 30,
    KEST_WIFI_ACTIVE_SET = 31,
    KEST_WIFI_STATION_STATUS_GET = 32,
    KEST_WIFI_STA_STATUS_IND = 32,
    KEST_WIFI_STA_INFO_GET = 33,
    KEST_WIFI_AP_STA_IND = 33,
    KEST_WIFI_MAC_ACL_RULE_SET = 34,
    KEST_WIFI_MAC_ACL_RULE_GET = 35,
    KEST_WIFI_MAC_ACL_ADD_SET = 36,
    KEST_WIFI_MAC_ACL_DEL_SET = 37,
    KEST_WIFI_MAC_ACL_INFO_GET = 38,
    KEST_WIFI_RESTORE_DEFAULT_SET = 39,

    KEST_DATA_CALL_UP_SET = 40,
    KEST_DATA_CALL_DOWN_SET = 41,
    KEST_DATA_CALL_INFO_GET = 42,
    KEST_DATA_CALL_STATUS_IND = 43,
    KEST_DATA_CALL_APN_SET = 44,
    KEST_DATA_CALL_APN_GET = 45,
    KEST_DATA_CALL_GET_APN_LIST_GET = 46,
    KEST_DATA_CALL_APN_DEL_SET = 47,
    KEST_DATA_CALL_APN_ADD_SET = 48,
    KEST_DATA_CALL_DEFAULT_PROFILE_SET = 49,
    KEST_DATA_CALL_DEFAULT_PROFILE_GET = 50,

    KEST_NETWORK_DMZ_ADD_SET = 51,
    KEST_NETWORK_DMZ_DEL_SET = 52,
    KEST_NETWORK_DMZ_GET_GET = 53,
    KEST_NETWORK_SGMII_ENABLE_SET = 54,
    KEST_NETWORK_SGMII_ENABLE_GET = 55,
    KEST_NETWORK_SGMII_CONFIG_SET = 56,
    KEST_NETWORK_SGMII_CONFIG_GET = 57,
    KEST_NETWORK_SGMII_INFO_GET = 58,
    KEST_NETWORK_LAN_CONFIG_SET = 59,
    KEST_NETWORK_LAN_CONFIG_GET = 60,
    KEST_NETWORK_SNAT_ADD_SET = 61,
    KEST_NETWORK_SNAT_DEL_SET = 62,
    KEST_NETWORK_SNAT_GET_GET = 63,
    KEST_NETWORK_ETHERNET_MODE_SET = 64,
    KEST_NETWORK_ETHERNET_MODE_GET = 65,

    KEST_USB_CONFIG_WRITE_SET = 66,
    KEST_USB_ACTION_SET = 67,
    KEST_USB_BOOTUP_SET = 68,
    KEST_USB_ID_SET = 69,
    KEST_USB_PRODUCT_INFO_SET = 70,
    KEST_USB_MANUFAC_INFO_SET = 71,
    KEST_USB_NET_SET = 72,
    KEST_USB_FUNC_SET = 73,
    KEST_USB_CONFIG_GET = 74,
};

// Time-outs of the sends, in milliseconds.
inline constexpr uint32_t kKestTimeoutMs = 5000;
inline constexpr uint32_t kKestWifiEnableTimeoutMs = 30000;

// Message kind of qmi_client_message_decode for indications.
inline constexpr int kKestMsgKindInd = 2;
