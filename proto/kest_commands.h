// Every command of the public interface and the message that carries it: one
// row per command and direction, with the wire records' lengths and the
// time-out. The library, kestd, the fuzzers, the tests and the tool take
// these facts from here; a build check or a test fails where a table of
// theirs disagrees.
//
//   domain   command            flag  message id        request  response  time-out
//   WIFI     WIFI_CMD_RSSI      SET   KEST_WIFI_RSSI_SET   2 B      4 B     5000 ms
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "kest_msg.h"
#include "vg_mgmt_client.h"

struct kest_command {
    uint32_t domain;
    uint32_t command;
    uint32_t flag; // MGMT_OPT_SET or MGMT_OPT_GET
    uint32_t msg_id;
    uint32_t req_len; // 0: the message carries no request record
    uint32_t resp_len;
    uint32_t timeout_ms;
    uint32_t record_len; // the public value record; 0 for a command without one
};

// The type of a record that a message or command does not have.
struct kest_no_req {};
template <class T>
inline constexpr uint32_t kest_len = sizeof(T);
template <>
inline constexpr uint32_t kest_len<kest_no_req> = 0;

// clang-format off
#define KEST_COMMAND(domain, cmd, flag, msg, req, resp, record, timeout)                           \
    kest_command{MGMT_DOMAIN_##domain, cmd, MGMT_OPT_##flag, msg, kest_len<req>, sizeof(resp),     \
                 timeout, kest_len<record>}
// clang-format on
#define KEST_WIFI(cmd, flag, msg, req, resp, record)                                               \
    KEST_COMMAND(WIFI, cmd, flag, msg, req, resp, record, kKestTimeoutMs)
// A per-interface setting of the family "index, then one value".
#define KEST_WIFI_SETTING(name, setting, req, resp)                                                \
    KEST_WIFI(WIFI_CMD_##name, SET, KEST_WIFI_##name##_SET, req, wifi_setting_set_resp,            \
              wifi_##setting##_params),                                                            \
        KEST_WIFI(WIFI_CMD_##name, GET, KEST_WIFI_##name##_GET, wifi_setting_get_req, resp,        \
                  wifi_##setting##_params)
#define KEST_WIFI_U8(name, setting)                                                                \
    KEST_WIFI_SETTING(name, setting, wifi_u8_setting_set_req, wifi_u8_setting_get_resp)

// The on/off switches of a Wi-Fi interface, one row each: the name of the
// command and its messages, of the value record, of the record's field, the
// word that the tools use, what the setting is, its help and its value on a
// fresh module. Every switch is a one-byte setting; the library, kestd (its
// state, messages, checks, defaults and dump), kestctl and the tool expand
// this list, so a new switch is one row here. Expanders take the columns
// they need and leave the rest to `...`.
// clang-format off
#define KEST_WIFI_SWITCHES(X)                                                                      \
    X(SSID_HIDE, ssid_hide, ssid_hide, "ssid-hide", "whether an interface hides its SSID",        \
      "SSID left out of beacons", "off")                                                           \
    X(11N_ONLY, 11n_only, only_11n, "11n-only", "whether an interface takes 802.11n stations only",\
      "802.11n stations only", "off")                                                              \
    X(11AC_ONLY, 11ac_only, only_11ac, "11ac-only",                                                \
      "whether an interface takes 802.11ac stations only", "802.11ac stations only", "off")        \
    X(AP_ISOLATE, ap_isolate, ap_isolate, "ap-isolate",                                            \
      "whether an interface keeps its stations apart", "stations cannot reach each other", "off")  \
    X(DFS, dfs, dfs, "dfs", "whether an interface uses DFS channels", "dynamic frequency selection",\
      "off")
// clang-format on
#define KEST_WIFI_SWITCH_COMMANDS(name, setting, ...) KEST_WIFI_U8(name, setting),
#define KEST_WIFI_SWITCH_ONE(...) +1
inline constexpr size_t kKestWifiSwitchCount = 0 KEST_WIFI_SWITCHES(KEST_WIFI_SWITCH_ONE);

inline constexpr kest_command kWifiCommands[] = {
    KEST_WIFI(WIFI_CMD_WORK_MODE, SET, KEST_WIFI_WORK_MODE_SET, wifi_work_mode_set_req,
              wifi_work_mode_set_resp, wifi_work_mode_params),
    KEST_WIFI(WIFI_CMD_WORK_MODE, GET, KEST_WIFI_WORK_MODE_GET, kest_no_req,
              wifi_work_mode_get_resp, wifi_work_mode_params),
    KEST_COMMAND(WIFI, WIFI_CMD_ENABLE, SET, KEST_WIFI_ENABLE_SET, wifi_enable_set_req,
                 wifi_enable_set_resp, wifi_enable_params, kKestWifiEnableTimeoutMs),
    KEST_WIFI(WIFI_CMD_ENABLE, GET, KEST_WIFI_ENABLE_GET, kest_no_req, wifi_enable_get_resp,
              wifi_enable_params),
    KEST_WIFI(WIFI_CMD_COUNTRY_CODE, SET, KEST_WIFI_COUNTRY_CODE_SET, wifi_country_code_set_req,
              wifi_country_code_set_resp, wifi_country_code_params),
    KEST_WIFI(WIFI_CMD_COUNTRY_CODE, GET, KEST_WIFI_COUNTRY_CODE_GET, kest_no_req,
              wifi_country_code_get_resp, wifi_country_code_params),
    KEST_WIFI(WIFI_CMD_ESSID, SET, KEST_WIFI_ESSID_SET, wifi_essid_set_req, wifi_essid_set_resp,
              wifi_essid_params),
    KEST_WIFI(WIFI_CMD_ESSID, GET, KEST_WIFI_ESSID_GET, wifi_essid_get_req, wifi_essid_get_resp,
              wifi_essid_params),
    KEST_WIFI(WIFI_CMD_ACTIVE, SET, KEST_WIFI_ACTIVE_SET, wifi_active_set_req, wifi_active_set_resp,
              wifi_active_params),
    KEST_WIFI(WIFI_CMD_AUTH, SET, KEST_WIFI_AUTH_SET, wifi_auth_set_req, wifi_auth_set_resp,
              wifi_auth_params),
    KEST_WIFI(WIFI_CMD_AUTH, GET, KEST_WIFI_AUTH_GET, wifi_auth_get_req, wifi_auth_get_resp,
              wifi_auth_params),
    KEST_WIFI_U8(MODE, mode),
    KEST_WIFI_SETTING(CHANNEL, channel, wifi_channel_set_req, wifi_channel_get_resp),
    KEST_WIFI_U8(BANDWIDTH, bandwidth),
    KEST_WIFI_U8(MAX_NUM_STA, max_num_sta),
    KEST_WIFI_U8(RSSI, rssi),
    KEST_WIFI_SWITCHES(KEST_WIFI_SWITCH_COMMANDS)
        KEST_WIFI(WIFI_CMD_MAC_ACL_RULE, SET, KEST_WIFI_MAC_ACL_RULE_SET, wifi_mac_acl_rule_set_req,
                  wifi_mac_acl_rule_set_resp, wifi_mac_acl_rule_params),
    KEST_WIFI(WIFI_CMD_MAC_ACL_RULE, GET, KEST_WIFI_MAC_ACL_RULE_GET, wifi_mac_acl_rule_get_req,
              wifi_mac_acl_rule_get_resp, wifi_mac_acl_rule_params),
    KEST_WIFI(WIFI_CMD_MAC_ACL_ADD, SET, KEST_WIFI_MAC_ACL_ADD_SET, wifi_mac_acl_add_set_req,
              wifi_mac_acl_add_set_resp, wifi_mac_acl_params),
    KEST_WIFI(WIFI_CMD_MAC_ACL_DEL, SET, KEST_WIFI_MAC_ACL_DEL_SET, wifi_mac_acl_del_set_req,
              wifi_mac_acl_del_set_resp, wifi_mac_acl_params),
    KEST_WIFI(WIFI_CMD_MAC_ACL_INFO, GET, KEST_WIFI_MAC_ACL_INFO_GET, wifi_mac_acl_info_get_req,
              wifi_mac_acl_info_get_resp, wifi_mac_acl_info_params),
    KEST_WIFI(WIFI_CMD_STA_INFO, GET, KEST_WIFI_STA_INFO_GET, kest_no_req, wifi_sta_info_get_resp,
              wifi_sta_info_params),
    KEST_WIFI(WIFI_CMD_STATION_STATUS, GET, KEST_WIFI_STATION_STATUS_GET,
              wifi_station_status_get_req, wifi_station_status_get_resp,
              wifi_station_status_params),
    KEST_WIFI(WIFI_CMD_RESTORE_DEFAULT, SET, KEST_WIFI_RESTORE_DEFAULT_SET,
              wifi_restore_default_set_req, wifi_restore_default_set_resp,
              wifi_restore_default_params),
};

#define KEST_DATA_CALL(cmd, flag, msg, req, resp, record)                                          \
    KEST_COMMAND(DATA_CALL, DATA_CALL_CMD_##cmd, flag, KEST_DATA_CALL_##msg, req, resp, record,    \
                 kKestTimeoutMs)

inline constexpr kest_command kDataCallCommands[] = {
    KEST_DATA_CALL(UP, SET, UP_SET, data_call_up_set_req, data_call_up_set_resp,
                   data_call_up_params),
    KEST_DATA_CALL(DOWN, SET, DOWN_SET, data_call_down_set_req, data_call_down_set_resp,
                   data_call_down_params),
    KEST_DATA_CALL(INFO, GET, INFO_GET, data_call_info_get_req, data_call_info_get_resp,
                   data_call_info_params),
    KEST_DATA_CALL(APN, SET, APN_SET, data_call_apn_set_req, data_call_apn_set_resp,
                   data_call_apn_params),
    KEST_DATA_CALL(APN, GET, APN_GET, data_call_apn_get_req, data_call_apn_get_resp,
                   data_call_apn_params),
    KEST_DATA_CALL(APN_LIST, GET, GET_APN_LIST_GET, data_call_get_apn_list_get_req,
                   data_call_get_apn_list_get_resp, data_call_apn_list_params),
    KEST_DATA_CALL(APN_DEL, SET, APN_DEL_SET, data_call_apn_del_set_req, data_call_apn_del_set_resp,
                   data_call_apn_params),
    KEST_DATA_CALL(APN_ADD, SET, APN_ADD_SET, data_call_apn_add_set_req, data_call_apn_add_set_resp,
                   data_call_apn_params),
    KEST_DATA_CALL(DEFAULT_PROFILE, SET, DEFAULT_PROFILE_SET, data_call_default_profile_set_req,
                   data_call_default_profile_set_resp, data_call_default_profile_params),
    KEST_DATA_CALL(DEFAULT_PROFILE, GET, DEFAULT_PROFILE_GET, kest_no_req,
                   data_call_default_profile_get_resp, data_call_default_profile_params),
};

#define KEST_NETWORK(cmd, flag, msg, req, resp, record)                                            \
    KEST_COMMAND(NETWORK, NETWORK_CMD_##cmd, flag, KEST_NETWORK_##msg, req, resp, record,          \
                 kKestTimeoutMs)

inline constexpr kest_command kNetworkCommands[] = {
    KEST_NETWORK(DMZ_ADD, SET, DMZ_ADD_SET, network_dmz_add_set_req, resp_status,
                 network_dmz_params),
    KEST_NETWORK(DMZ_DEL, SET, DMZ_DEL_SET, kest_no_req, resp_status, kest_no_req),
    KEST_NETWORK(DMZ_GET, GET, DMZ_GET_GET, kest_no_req, network_dmz_get_get_resp,
                 network_dmz_params),
    KEST_NETWORK(SGMII_ENABLE, SET, SGMII_ENABLE_SET, network_sgmii_enable_set_req, resp_status,
                 network_sgmii_enable_params),
    KEST_NETWORK(SGMII_ENABLE, GET, SGMII_ENABLE_GET, kest_no_req, network_sgmii_enable_get_resp,
                 network_sgmii_enable_params),
    KEST_NETWORK(SGMII_CONFIG, SET, SGMII_CONFIG_SET, network_sgmii_config_set_req, resp_status,
                 network_sgmii_config_params),
    KEST_NETWORK(SGMII_CONFIG, GET, SGMII_CONFIG_GET, kest_no_req, network_sgmii_config_get_resp,
                 network_sgmii_config_params),
    KEST_NETWORK(SGMII_INFO, GET, SGMII_INFO_GET, kest_no_req, network_sgmii_info_get_resp,
                 network_sgmii_info_params),
    KEST_NETWORK(LAN_CONFIG, SET, LAN_CONFIG_SET, network_lan_config_set_req, resp_status,
                 network_lan_config_params),
    KEST_NETWORK(LAN_CONFIG, GET, LAN_CONFIG_GET, kest_no_req, network_lan_config_get_resp,
                 network_lan_config_params),
    KEST_NETWORK(SNAT_ADD, SET, SNAT_ADD_SET, network_snat_add_set_req, resp_status,
                 network_snat_params),
    KEST_NETWORK(SNAT_DEL, SET, SNAT_DEL_SET, network_snat_del_set_req, resp_status,
                 network_snat_params),
    KEST_NETWORK(SNAT_GET, GET, SNAT_GET_GET, kest_no_req, network_snat_get_get_resp,
                 network_snat_list_params),
    KEST_NETWORK(ETHERNET_MODE, SET, ETHERNET_MODE_SET, network_ethernet_mode_set_req, resp_status,
                 network_ethernet_mode_params),
    KEST_NETWORK(ETHERNET_MODE, GET, ETHERNET_MODE_GET, kest_no_req, network_ethernet_mode_get_resp,
                 network_ethernet_mode_params),
};

#define KEST_USB(cmd, flag, msg, req, resp, record)                                                \
    KEST_COMMAND(USB, USB_CMD_##cmd, flag, KEST_USB_##msg, req, resp, record, kKestTimeoutMs)

inline constexpr kest_command kUsbCommands[] = {
    KEST_USB(CONFIG_WRITE, SET, CONFIG_WRITE_SET, kest_no_req, resp_status, kest_no_req),
    KEST_USB(ACTION, SET, ACTION_SET, usb_action_set_req, resp_status, usb_action_params),
    KEST_USB(BOOTUP, SET, BOOTUP_SET, usb_bootup_set_req, resp_status, usb_bootup_params),
    KEST_USB(ID, SET, ID_SET, usb_id_set_req, resp_status, usb_id_params),
    KEST_USB(PRODUCT_INFO, SET, PRODUCT_INFO_SET, usb_product_info_set_req, resp_status,
             usb_product_info_params),
    KEST_USB(MANUFAC_INFO, SET, MANUFAC_INFO_SET, usb_manufac_info_set_req, resp_status,
             usb_manufac_info_params),
    KEST_USB(NET, SET, NET_SET, usb_net_set_req, resp_status, usb_net_params),
    KEST_USB(FUNC, SET, FUNC_SET, usb_func_set_req, resp_status, usb_func_params),
    KEST_USB(CONFIG_GET, GET, CONFIG_GET, usb_config_get_req, usb_config_get_resp,
             usb_config_params),
};

// The ranges of the numbers that the library checks before it sends them;
// kestd and the tool take the same.
struct kest_range {
    uint32_t min;
    uint32_t max;
};
inline constexpr kest_range kWorkModeRange{0, 4};
inline constexpr kest_range kWifiModeRange{0, 5};
inline constexpr kest_range kBandwidthRange{0, 3};
inline constexpr kest_range kRssiRange{0, 95};
inline constexpr kest_range kInterfaceRange{1, 3};
inline constexpr kest_range kMaxStaRange{1, WIFI_STA_INFO_MAX};
inline constexpr kest_range kSsidFormatRange{0, 3};
inline constexpr kest_range kActiveRange{0, 2};
inline constexpr kest_range kWepDefaultIndexRange{0, 3};
inline constexpr kest_range kPairwiseRange{0, 2};
inline constexpr kest_range kMacAclRuleRange{0, 2};
inline constexpr kest_range kProfileTypeRange{0, 2};
inline constexpr kest_range kProfileIndexRange{0, DATA_CALL_PROFILE_MAX};
inline constexpr kest_range kIpTypeRange{0, DATA_CALL_IP_V4V6};
inline constexpr kest_range kTechPrefRange{0, 2};
inline constexpr kest_range kIpFamilyRange{0, 2};
inline constexpr kest_range kSnatProtocolRange{6, 253};
inline constexpr kest_range kEthernetModeRange{0, 1};
inline constexpr kest_range kSgmiiSpeedRange{0, 2};
inline constexpr kest_range kSgmiiDuplexRange{0, 1};
inline constexpr kest_range kUsbBootupRange{0, 2};
inline constexpr kest_range kUsbNetRange{0, 3};
inline constexpr kest_range kUsbActionRange{0, 2};
// The most characters of a USB product or manufacturer text.
inline constexpr size_t kUsbTextMax = 32;
// The PDP type and authentication protocol of a profile: 0 to 3, or 255.
inline constexpr kest_range kPdpRange{0, 3};
inline constexpr uint8_t kPdpAny = 255;
constexpr bool kest_pdp_ok(uint64_t v)
{
    return v <= kPdpRange.max || v == kPdpAny;
}

// The Wi-Fi channels the module takes: 0 (automatic), 1 to 14 (2.4 GHz) and
// the 5 GHz channels of its list.
inline constexpr uint16_t kWifiChannels[] = {
    0,   1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,
    36,  38,  40,  42,  44,  46,  48,  50,  52,  54,  56,  58,  60,  62,  64,
    100, 102, 104, 106, 108, 110, 112, 114, 116, 118, 120, 122, 124, 126, 128,
    132, 134, 136, 138, 140, 142, 144, 149, 151, 153, 155, 157, 159, 161, 165,
};
inline constexpr bool kest_wifi_channel_ok(uint64_t channel)
{
    for (uint16_t c : kWifiChannels)
        if (c == channel)
            return true;
    return false;
}

// The four tables in domain order, and what is counted from them.
struct kest_command_table {
    const kest_command *rows;
    size_t count;
};
inline constexpr kest_command_table kCommandTables[] = {
    {kWifiCommands, std::size(kWifiCommands)},
    {kDataCallCommands, std::size(kDataCallCommands)},
    {kNetworkCommands, std::size(kNetworkCommands)},
    {kUsbCommands, std::size(kUsbCommands)},
};
inline constexpr size_t kCommandCount = std::size(kWifiCommands) + std::size(kDataCallCommands) +
                                        std::size(kNetworkCommands) + std::size(kUsbCommands);

// The highest message id of a request.
inline constexpr uint32_t kKestMsgIdMax = [] {
    uint32_t top = 0;
    for (const kest_command_table &t : kCommandTables)
        for (size_t i = 0; i < t.count; ++i)
            top = t.rows[i].msg_id > top ? t.rows[i].msg_id : top;
    return top;
}();

// The number of distinct commands of a table (a command with both directions
// has two rows, next to each other).
template <size_t N>
consteval size_t kest_distinct_commands(const kest_command (&rows)[N])
{
    size_t n = 0;
    for (size_t i = 0; i < N; ++i)
        n += i == 0 || rows[i].command != rows[i - 1].command;
    return n;
}

// The row of a command and direction, or null.
constexpr const kest_command *kest_command_find(uint32_t domain, uint32_t command, uint32_t flag)
{
    for (const kest_command_table &t : kCommandTables)
        for (size_t i = 0; i < t.count; ++i)
            if (t.rows[i].domain == domain && t.rows[i].command == command &&
                t.rows[i].flag == flag)
                return &t.rows[i];
    return nullptr;
}
