// The model's shared parts: instances, buffer sizes, names, and the table of
// all rows made from the domains' tables.
#include "vg_mgmt_model.h"

#include <cstring>

#include "vg_mgmt_client.h"

namespace vgm {

std::vector<field> axis_fields(axis a)
{
    switch (a) {
    case axis::iface:
        return {num("interface", 0, 4, 1, 3, "Wi-Fi interface: 1 and 2 access points, 3 the station")};
    case axis::apn:
        return {num("profile-type", 0, 1, 0, 2, "APN profile type"),
                num("profile-index", 1, 1, 0, 24, "APN profile index within its type")};
    case axis::apn_type: return {num("profile-type", 0, 1, 0, 2, "APN profile type")};
    case axis::profile:
        return {num("profile", 0, 1, 0, 24, "APN profile of type 0 that carries the call")};
    default: return {};
    }
}

void axis_fixed(axis a, uint8_t *rec)
{
    if (a == axis::sta_iface) {
        const uint32_t station = 3;
        std::memcpy(rec, &station, 4);
    } else if (a == axis::usb) {
        std::memset(rec, 0, 4);
    }
}

std::vector<std::vector<std::string>> axis_instances(axis a)
{
    switch (a) {
    case axis::iface: return {{"1"}, {"2"}, {"3"}};
    case axis::apn:
    case axis::apn_type:
    case axis::profile: return {};
    default: return {{}};
    }
}

const char *record_name(uint32_t domain, uint16_t id)
{
    static const struct {
        uint32_t domain;
        uint16_t id;
        const char *record;
    } records[] = {
        {MGMT_DOMAIN_WIFI, WIFI_CMD_WORK_MODE, "wifi_work_mode_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_COUNTRY_CODE, "wifi_country_code_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_MODE, "wifi_mode_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_CHANNEL, "wifi_channel_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_ESSID, "wifi_essid_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_SSID_HIDE, "wifi_ssid_hide_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_BANDWIDTH, "wifi_bandwidth_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_MAX_NUM_STA, "wifi_max_num_sta_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_11N_ONLY, "wifi_11n_only_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_11AC_ONLY, "wifi_11ac_only_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_AP_ISOLATE, "wifi_ap_isolate_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_DFS, "wifi_dfs_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_AUTH, "wifi_auth_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_RSSI, "wifi_rssi_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_STA_INFO, "wifi_sta_info_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_ENABLE, "wifi_enable_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_ACTIVE, "wifi_active_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_RESTORE_DEFAULT, "wifi_restore_default_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_RULE, "wifi_mac_acl_rule_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_ADD, "wifi_mac_acl_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_DEL, "wifi_mac_acl_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_INFO, "wifi_mac_acl_info_params"},
        {MGMT_DOMAIN_WIFI, WIFI_CMD_STATION_STATUS, "wifi_station_status_params"},
        {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_UP, "data_call_up_params"},
        {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_DOWN, "data_call_down_params"},
        {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_INFO, "data_call_info_params"},
        {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN, "data_call_apn_params"},
        {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_LIST, "data_call_apn_list_params"},
        {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_DEL, "data_call_apn_params"},
        {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_ADD, "data_call_apn_params"},
        {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_DEFAULT_PROFILE, "data_call_default_profile_params"},
        {MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_ADD, "network_dmz_params"},
        {MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_DEL, "none"},
        {MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_GET, "network_dmz_params"},
        {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SGMII_ENABLE, "network_sgmii_enable_params"},
        {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SGMII_CONFIG, "network_sgmii_config_params"},
        {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SGMII_INFO, "network_sgmii_info_params"},
        {MGMT_DOMAIN_NETWORK, NETWORK_CMD_LAN_CONFIG, "network_lan_config_params"},
        {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_ADD, "network_snat_params"},
        {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_DEL, "network_snat_params"},
        {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_GET, "network_snat_list_params"},
        {MGMT_DOMAIN_NETWORK, NETWORK_CMD_ETHERNET_MODE, "network_ethernet_mode_params"},
        {MGMT_DOMAIN_USB, USB_CMD_CONFIG_WRITE, "none"},
        {MGMT_DOMAIN_USB, USB_CMD_ACTION, "usb_action_params"},
        {MGMT_DOMAIN_USB, USB_CMD_BOOTUP, "usb_bootup_params"},
        {MGMT_DOMAIN_USB, USB_CMD_ID, "usb_id_params"},
        {MGMT_DOMAIN_USB, USB_CMD_PRODUCT_INFO, "usb_product_info_params"},
        {MGMT_DOMAIN_USB, USB_CMD_MANUFAC_INFO, "usb_manufac_info_params"},
        {MGMT_DOMAIN_USB, USB_CMD_NET, "usb_net_params"},
        {MGMT_DOMAIN_USB, USB_CMD_FUNC, "usb_func_params"},
        {MGMT_DOMAIN_USB, USB_CMD_CONFIG_GET, "usb_config_params"},
    };
    for (const auto &r : records)
        if (r.domain == domain && r.id == id)
            return r.record;
    return nullptr;
}

uint32_t value_size(uint32_t domain)
{
    switch (domain) {
    case MGMT_DOMAIN_WIFI: return MGMT_WIFI_VALUE_SIZE;
    case MGMT_DOMAIN_NETWORK: return MGMT_NETWORK_VALUE_SIZE;
    case MGMT_DOMAIN_DATA_CALL: return MGMT_DATA_CALL_VALUE_SIZE;
    default: return MGMT_USB_VALUE_SIZE;
    }
}

std::string command_name(const command &c)
{
    std::string n = std::string(c.domain_word) + " " + c.subject;
    return c.verb[0] != '\0' ? n + " " + c.verb : n;
}

void add_setting(std::vector<command> &c, const command &row)
{
    if (row.read_id != 0) {
        command get = row;
        get.verb = "get";
        get.k = kind::get;
        get.help = "show " + row.help;
        get.npos = 0;
        c.push_back(get);
    }
    if (row.write_id != 0) {
        command set = row;
        set.verb = "set";
        set.k = kind::set;
        set.help = "change " + row.help;
        set.raw.clear();
        c.push_back(set);
    }
}

const std::vector<command> &commands()
{
    static const std::vector<command> table = [] {
        std::vector<command> c;
        add_wifi_commands(c);
        add_data_call_commands(c);
        add_network_commands(c);
        add_usb_commands(c);
        return c;
    }();
    return table;
}

} // namespace vgm
