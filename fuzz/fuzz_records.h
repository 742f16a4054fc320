// Every command of the four tables with the size of its value record.
#pragma once

#include <cstdint>
#include <iterator>

#include "vg_mgmt_client.h"

namespace fz {

struct record_row {
    uint32_t domain;
    uint32_t id;
    uint32_t size;
};

inline constexpr record_row kCommands[] = {
    {MGMT_DOMAIN_WIFI, WIFI_CMD_WORK_MODE, sizeof(wifi_work_mode_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_COUNTRY_CODE, sizeof(wifi_country_code_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_MODE, sizeof(wifi_mode_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_CHANNEL, sizeof(wifi_channel_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_ESSID, sizeof(wifi_essid_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_SSID_HIDE, sizeof(wifi_ssid_hide_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_BANDWIDTH, sizeof(wifi_bandwidth_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_MAX_NUM_STA, sizeof(wifi_max_num_sta_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_11N_ONLY, sizeof(wifi_11n_only_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_11AC_ONLY, sizeof(wifi_11ac_only_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_AP_ISOLATE, sizeof(wifi_ap_isolate_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_DFS, sizeof(wifi_dfs_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_AUTH, sizeof(wifi_auth_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_RSSI, sizeof(wifi_rssi_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_STA_INFO, sizeof(wifi_sta_info_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_ENABLE, sizeof(wifi_enable_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_ACTIVE, sizeof(wifi_active_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_RESTORE_DEFAULT, sizeof(wifi_restore_default_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_RULE, sizeof(wifi_mac_acl_rule_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_ADD, sizeof(wifi_mac_acl_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_DEL, sizeof(wifi_mac_acl_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_INFO, sizeof(wifi_mac_acl_info_params)},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_STATION_STATUS, sizeof(wifi_station_status_params)},
    {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_UP, sizeof(data_call_up_params)},
    {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_DOWN, sizeof(data_call_down_params)},
    {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_INFO, sizeof(data_call_info_params)},
    {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN, sizeof(data_call_apn_params)},
    {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_LIST, sizeof(data_call_apn_list_params)},
    {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_DEL, sizeof(data_call_apn_params)},
    {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_ADD, sizeof(data_call_apn_params)},
    {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_DEFAULT_PROFILE, sizeof(data_call_default_profile_params)},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_ADD, sizeof(network_dmz_params)},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_DEL, 0},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_GET, sizeof(network_dmz_params)},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SGMII_ENABLE, sizeof(network_sgmii_enable_params)},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SGMII_CONFIG, sizeof(network_sgmii_config_params)},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SGMII_INFO, sizeof(network_sgmii_info_params)},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_LAN_CONFIG, sizeof(network_lan_config_params)},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_ADD, sizeof(network_snat_params)},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_DEL, sizeof(network_snat_params)},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_GET, sizeof(network_snat_list_params)},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_ETHERNET_MODE, sizeof(network_ethernet_mode_params)},
    {MGMT_DOMAIN_USB, USB_CMD_CONFIG_WRITE, 0},
    {MGMT_DOMAIN_USB, USB_CMD_ACTION, sizeof(usb_action_params)},
    {MGMT_DOMAIN_USB, USB_CMD_BOOTUP, sizeof(usb_bootup_params)},
    {MGMT_DOMAIN_USB, USB_CMD_ID, sizeof(usb_id_params)},
    {MGMT_DOMAIN_USB, USB_CMD_PRODUCT_INFO, sizeof(usb_product_info_params)},
    {MGMT_DOMAIN_USB, USB_CMD_MANUFAC_INFO, sizeof(usb_manufac_info_params)},
    {MGMT_DOMAIN_USB, USB_CMD_NET, sizeof(usb_net_params)},
    {MGMT_DOMAIN_USB, USB_CMD_FUNC, sizeof(usb_func_params)},
    {MGMT_DOMAIN_USB, USB_CMD_CONFIG_GET, sizeof(usb_config_params)},
};

// Bytes of the command's record at the buffer's head: what the call may
// write. 0 for commands without a record and for unknown ones.
inline uint32_t record_size(uint32_t domain, uint32_t id)
{
    for (const record_row &r : kCommands)
        if (r.domain == domain && r.id == id)
            return r.size;
    return 0;
}
static_assert(std::size(kCommands) == 23 + 8 + 11 + 9);

} // namespace fz
