// The source file of every function of the library that writes log lines:
// a line must carry the file of the function it names. A function that logs
// and is missing here fails the test that makes it log, so a new one cannot
// go unchecked.
#pragma once

#include <string_view>

namespace fake {

struct log_source {
    std::string_view func;
    std::string_view file;
};

inline constexpr log_source kLogSources[] = {
    // vg_mgmt_client
    {"access_msgr_qmi_init", "vg_mgmt_client"},
    {"kest_ind_cb", "vg_mgmt_client"},
    {"mgmt_client_handle", "vg_mgmt_client"},
    {"vg_mgmt_client_close", "vg_mgmt_client"},
    {"vg_mgmt_client_open", "vg_mgmt_client"},
    // vg_mgmt_wifi
    {"wifi_11ac_only_get", "vg_mgmt_wifi"},
    {"wifi_11ac_only_set", "vg_mgmt_wifi"},
    {"wifi_11n_only_get", "vg_mgmt_wifi"},
    {"wifi_11n_only_set", "vg_mgmt_wifi"},
    {"wifi_active_set", "vg_mgmt_wifi"},
    {"wifi_ap_isolate_get", "vg_mgmt_wifi"},
    {"wifi_ap_isolate_set", "vg_mgmt_wifi"},
    {"wifi_auth_get", "vg_mgmt_wifi"},
    {"wifi_auth_set", "vg_mgmt_wifi"},
    {"wifi_bandwidth_get", "vg_mgmt_wifi"},
    {"wifi_bandwidth_set", "vg_mgmt_wifi"},
    {"wifi_channel_get", "vg_mgmt_wifi"},
    {"wifi_channel_set", "vg_mgmt_wifi"},
    {"wifi_command_handle", "vg_mgmt_wifi"},
    {"wifi_country_code_get", "vg_mgmt_wifi"},
    {"wifi_country_code_set", "vg_mgmt_wifi"},
    {"wifi_dfs_get", "vg_mgmt_wifi"},
    {"wifi_dfs_set", "vg_mgmt_wifi"},
    {"wifi_enable_get", "vg_mgmt_wifi"},
    {"wifi_enable_set", "vg_mgmt_wifi"},
    {"wifi_essid_get", "vg_mgmt_wifi"},
    {"wifi_essid_set", "vg_mgmt_wifi"},
    {"wifi_event_ind_msg", "vg_mgmt_wifi"},
    {"wifi_mac_acl_add_set", "vg_mgmt_wifi"},
    {"wifi_mac_acl_del_set", "vg_mgmt_wifi"},
    {"wifi_mac_acl_info_get", "vg_mgmt_wifi"},
    {"wifi_mac_acl_rule_get", "vg_mgmt_wifi"},
    {"wifi_mac_acl_rule_set", "vg_mgmt_wifi"},
    {"wifi_max_num_sta_get", "vg_mgmt_wifi"},
    {"wifi_max_num_sta_set", "vg_mgmt_wifi"},
    {"wifi_mode_get", "vg_mgmt_wifi"},
    {"wifi_mode_set", "vg_mgmt_wifi"},
    {"wifi_restore_default_set", "vg_mgmt_wifi"},
    {"wifi_rssi_get", "vg_mgmt_wifi"},
    {"wifi_rssi_set", "vg_mgmt_wifi"},
    {"wifi_ssid_hide_get", "vg_mgmt_wifi"},
    {"wifi_ssid_hide_set", "vg_mgmt_wifi"},
    {"wifi_sta_info_get", "vg_mgmt_wifi"},
    {"wifi_station_status_get", "vg_mgmt_wifi"},
    {"wifi_work_mode_get", "vg_mgmt_wifi"},
    {"wifi_work_mode_set", "vg_mgmt_wifi"},
    // vg_mgmt_data_call
    {"data_call_apn_add_set", "vg_mgmt_data_call"},
    {"data_call_apn_del_set", "vg_mgmt_data_call"},
    {"data_call_apn_get", "vg_mgmt_data_call"},
    {"data_call_apn_set", "vg_mgmt_data_call"},
    {"data_call_command_handle", "vg_mgmt_data_call"},
    {"data_call_default_profile_get", "vg_mgmt_data_call"},
    {"data_call_default_profile_set", "vg_mgmt_data_call"},
    {"data_call_down_set", "vg_mgmt_data_call"},
    {"data_call_get_apn_list_get", "vg_mgmt_data_call"},
    {"data_call_info_get", "vg_mgmt_data_call"},
    {"data_call_status_event_ind_msg", "vg_mgmt_data_call"},
    {"data_call_up_set", "vg_mgmt_data_call"},
    // vg_mgmt_network
    {"network_command_handle", "vg_mgmt_network"},
    {"network_dmz_add_set", "vg_mgmt_network"},
    {"network_dmz_del_set", "vg_mgmt_network"},
    {"network_dmz_get_get", "vg_mgmt_network"},
    {"network_ethernet_mode_get", "vg_mgmt_network"},
    {"network_ethernet_mode_set", "vg_mgmt_network"},
    {"network_lan_config_get", "vg_mgmt_network"},
    {"network_lan_config_set", "vg_mgmt_network"},
    {"network_sgmii_config_get", "vg_mgmt_network"},
    {"network_sgmii_config_set", "vg_mgmt_network"},
    {"network_sgmii_enable_get", "vg_mgmt_network"},
    {"network_sgmii_enable_set", "vg_mgmt_network"},
    {"network_sgmii_info_get", "vg_mgmt_network"},
    {"network_snat_add_set", "vg_mgmt_network"},
    {"network_snat_del_set", "vg_mgmt_network"},
    {"network_snat_get_get", "vg_mgmt_network"},
    // vg_mgmt_usb
    {"check_usb_num", "vg_mgmt_usb"},
    {"usb_action_set", "vg_mgmt_usb"},
    {"usb_bootup_set", "vg_mgmt_usb"},
    {"usb_command_handle", "vg_mgmt_usb"},
    {"usb_config_get", "vg_mgmt_usb"},
    {"usb_config_write_set", "vg_mgmt_usb"},
    {"usb_func_set", "vg_mgmt_usb"},
    {"usb_id_set", "vg_mgmt_usb"},
    {"usb_manufac_info_set", "vg_mgmt_usb"},
    {"usb_net_set", "vg_mgmt_usb"},
    {"usb_product_info_set", "vg_mgmt_usb"},
};

// The file of a function that logs, or an empty view when it is unknown.
constexpr std::string_view log_source_file(std::string_view func)
{
    for (const log_source &s : kLogSources)
        if (s.func == func)
            return s.file;
    return {};
}

} // namespace fake
