// Wire records of the Wi-Fi messages and indications.
#pragma once

#include "kest_wire.h"

// Work mode, enable, country code.
struct [[gnu::packed]] wifi_work_mode_set_req {
    uint8_t work_mode;
};
using wifi_work_mode_set_resp = resp_status;
struct [[gnu::packed]] wifi_work_mode_get_resp {
    resp_status status;
    uint8_t work_mode;
    uint8_t reserved;
};
KEST_WIRE_SIZE(wifi_work_mode_set_req, 1);
KEST_WIRE_AT(wifi_work_mode_get_resp, work_mode, 4);
KEST_WIRE_SIZE(wifi_work_mode_get_resp, 6);

struct [[gnu::packed]] wifi_enable_set_req {
    uint8_t enable;
};
struct [[gnu::packed]] wifi_enable_set_resp {
    resp_status status;
    uint8_t reserved[2];
};
struct [[gnu::packed]] wifi_enable_get_resp {
    resp_status status;
    uint8_t enable;
    uint8_t reserved;
};
KEST_WIRE_SIZE(wifi_enable_set_req, 1);
KEST_WIRE_SIZE(wifi_enable_set_resp, 6);
KEST_WIRE_AT(wifi_enable_get_resp, enable, 4);
KEST_WIRE_SIZE(wifi_enable_get_resp, 6);

struct [[gnu::packed]] wifi_country_code_set_req {
    char country_code[2];
};
using wifi_country_code_set_resp = resp_status;
struct [[gnu::packed]] wifi_country_code_get_resp {
    resp_status status;
    char country_code[2];
};
KEST_WIRE_SIZE(wifi_country_code_set_req, 2);
KEST_WIRE_AT(wifi_country_code_get_resp, country_code, 4);
KEST_WIRE_SIZE(wifi_country_code_get_resp, 6);

// Every per-interface read sends the interface alone.
struct [[gnu::packed]] wifi_index_req {
    uint8_t index;
};
KEST_WIRE_SIZE(wifi_index_req, 1);

// SSID and activation.
struct [[gnu::packed]] wifi_essid_set_req {
    uint8_t index;
    uint8_t format_type;
    char ssid[32];
};
using wifi_essid_set_resp = resp_status;
using wifi_essid_get_req = wifi_index_req;
struct [[gnu::packed]] wifi_essid_get_resp {
    resp_status status;
    uint8_t format_type;
    char ssid[33];
};
KEST_WIRE_AT(wifi_essid_set_req, ssid, 2);
KEST_WIRE_SIZE(wifi_essid_set_req, 34);
KEST_WIRE_AT(wifi_essid_get_resp, format_type, 4);
KEST_WIRE_AT(wifi_essid_get_resp, ssid, 5);
KEST_WIRE_SIZE(wifi_essid_get_resp, 38);

struct [[gnu::packed]] wifi_active_set_req {
    uint8_t index;
    uint8_t active;
};
using wifi_active_set_resp = resp_status;
KEST_WIRE_SIZE(wifi_active_set_req, 2);

// Authentication.
struct [[gnu::packed]] wifi_auth_set_req {
    uint8_t index;
    uint8_t auth;
    uint8_t default_index;
    char key0[64];
    char key1[64];
    char key2[64];
    char key3[64];
    uint8_t reserved0[3];
    uint8_t pairwise;
    char password[64];
    uint8_t reserved1;
    uint32_t group_rekey;
};
using wifi_auth_set_resp = resp_status;
using wifi_auth_get_req = wifi_index_req;
struct [[gnu::packed]] wifi_auth_get_resp {
    resp_status status;
    uint8_t auth;
    uint8_t default_index;
    char key0[64];
    char key1[64];
    char key2[64];
    char key3[64];
    uint8_t reserved0[4];
    uint8_t pairwise;
    char password[64];
    uint8_t reserved1;
    uint32_t group_rekey;
};
KEST_WIRE_AT(wifi_auth_set_req, auth, 1);
KEST_WIRE_AT(wifi_auth_set_req, default_index, 2);
KEST_WIRE_AT(wifi_auth_set_req, key0, 3);
KEST_WIRE_AT(wifi_auth_set_req, key1, 67);
KEST_WIRE_AT(wifi_auth_set_req, key2, 131);
KEST_WIRE_AT(wifi_auth_set_req, key3, 195);
KEST_WIRE_AT(wifi_auth_set_req, reserved0, 259);
KEST_WIRE_AT(wifi_auth_set_req, pairwise, 262);
KEST_WIRE_AT(wifi_auth_set_req, password, 263);
KEST_WIRE_AT(wifi_auth_set_req, group_rekey, 328);
KEST_WIRE_SIZE(wifi_auth_set_req, 332);
KEST_WIRE_AT(wifi_auth_get_resp, auth, 4);
KEST_WIRE_AT(wifi_auth_get_resp, default_index, 5);
KEST_WIRE_AT(wifi_auth_get_resp, key0, 6);
KEST_WIRE_AT(wifi_auth_get_resp, key1, 70);
KEST_WIRE_AT(wifi_auth_get_resp, key2, 134);
KEST_WIRE_AT(wifi_auth_get_resp, key3, 198);
KEST_WIRE_AT(wifi_auth_get_resp, pairwise, 266);
KEST_WIRE_AT(wifi_auth_get_resp, password, 267);
KEST_WIRE_AT(wifi_auth_get_resp, group_rekey, 332);
KEST_WIRE_SIZE(wifi_auth_get_resp, 336);

// Radio parameters: the one-byte settings share one shape, the channel has
// a 16-bit field of its own.
struct [[gnu::packed]] wifi_u8_setting_set_req {
    uint8_t index;
    uint8_t setting;
};
struct [[gnu::packed]] wifi_u8_setting_get_resp {
    resp_status status;
    uint8_t setting;
    uint8_t reserved;
};
struct [[gnu::packed]] wifi_channel_set_req {
    uint8_t index;
    uint8_t reserved;
    uint16_t channel;
};
struct [[gnu::packed]] wifi_channel_get_resp {
    resp_status status;
    uint16_t channel;
};
using wifi_setting_set_resp = resp_status;
using wifi_setting_get_req = wifi_index_req;
KEST_WIRE_SIZE(wifi_u8_setting_set_req, 2);
KEST_WIRE_AT(wifi_u8_setting_get_resp, setting, 4);
KEST_WIRE_SIZE(wifi_u8_setting_get_resp, 6);
KEST_WIRE_AT(wifi_channel_set_req, channel, 2);
KEST_WIRE_SIZE(wifi_channel_set_req, 4);
KEST_WIRE_AT(wifi_channel_get_resp, channel, 4);
KEST_WIRE_SIZE(wifi_channel_get_resp, 6);

// MAC access control.
struct [[gnu::packed]] wifi_mac_acl_rule_set_req {
    uint8_t index;
    uint8_t rule;
};
using wifi_mac_acl_rule_set_resp = resp_status;
using wifi_mac_acl_rule_get_req = wifi_index_req;
struct [[gnu::packed]] wifi_mac_acl_rule_get_resp {
    resp_status status;
    uint8_t rule;
    uint8_t reserved;
};
struct [[gnu::packed]] wifi_mac_acl_set_req {
    uint8_t index;
    uint8_t mac[6];
};
using wifi_mac_acl_add_set_req = wifi_mac_acl_set_req;
using wifi_mac_acl_del_set_req = wifi_mac_acl_set_req;
using wifi_mac_acl_add_set_resp = resp_status;
using wifi_mac_acl_del_set_resp = resp_status;
using wifi_mac_acl_info_get_req = wifi_index_req;
struct [[gnu::packed]] wifi_mac_acl_info_get_resp {
    resp_status status;
    int32_t count;
    uint8_t mac_list[32][6];
};
KEST_WIRE_SIZE(wifi_mac_acl_rule_set_req, 2);
KEST_WIRE_SIZE(wifi_mac_acl_rule_get_resp, 6);
KEST_WIRE_AT(wifi_mac_acl_set_req, mac, 1);
KEST_WIRE_SIZE(wifi_mac_acl_set_req, 7);
KEST_WIRE_AT(wifi_mac_acl_info_get_resp, count, 4);
KEST_WIRE_AT(wifi_mac_acl_info_get_resp, mac_list, 8);
KEST_WIRE_SIZE(wifi_mac_acl_info_get_resp, 200);

// Stations and restore.
struct [[gnu::packed]] wifi_sta_info_resp_entry {
    uint32_t field_a;
    uint8_t mac[6];
    char text[256];
    uint8_t reserved[2];
    uint32_t field_b;
    uint8_t field_c[16];
};
struct [[gnu::packed]] wifi_sta_info_get_resp {
    resp_status status;
    uint32_t num_sta;
    wifi_sta_info_resp_entry stations[16];
};
KEST_WIRE_AT(wifi_sta_info_resp_entry, mac, 4);
KEST_WIRE_AT(wifi_sta_info_resp_entry, text, 10);
KEST_WIRE_AT(wifi_sta_info_resp_entry, field_b, 268);
KEST_WIRE_AT(wifi_sta_info_resp_entry, field_c, 272);
KEST_WIRE_SIZE(wifi_sta_info_resp_entry, 288);
KEST_WIRE_AT(wifi_sta_info_get_resp, num_sta, 4);
KEST_WIRE_AT(wifi_sta_info_get_resp, stations, 8);
KEST_WIRE_SIZE(wifi_sta_info_get_resp, 4616);

using wifi_station_status_get_req = wifi_index_req;
struct [[gnu::packed]] wifi_station_status_get_resp {
    resp_status status;
    char ssid[32];
    uint8_t sta_status;
    uint8_t reserved;
};
KEST_WIRE_AT(wifi_station_status_get_resp, ssid, 4);
KEST_WIRE_AT(wifi_station_status_get_resp, sta_status, 36);
KEST_WIRE_SIZE(wifi_station_status_get_resp, 38);

struct [[gnu::packed]] wifi_restore_default_set_req {
    uint8_t id_valid;
    uint8_t id;
};
using wifi_restore_default_set_resp = resp_status;
KEST_WIRE_SIZE(wifi_restore_default_set_req, 2);

// Indications, as the transport decodes them.
struct [[gnu::packed]] wifi_sta_status_ind {
    uint8_t index;
    char ssid[32];
    uint8_t status;
};
struct [[gnu::packed]] wifi_ap_sta_ind {
    uint8_t action;
    uint8_t reserved0[3];
    uint32_t index;
    uint8_t mac[6];
    uint8_t reserved1[2];
};
KEST_WIRE_AT(wifi_sta_status_ind, ssid, 1);
KEST_WIRE_AT(wifi_sta_status_ind, status, 33);
KEST_WIRE_SIZE(wifi_sta_status_ind, 34);
KEST_WIRE_AT(wifi_ap_sta_ind, index, 4);
KEST_WIRE_AT(wifi_ap_sta_ind, mac, 8);
KEST_WIRE_SIZE(wifi_ap_sta_ind, 16);
