// Every field of every public value record, described once: the word people
// use for it, where it stands (offsetof and sizeof of its member), its kind,
// its range or its names, its path in the configuration document and its
// value on a fresh module. Beside them, the subjects: the words and the help
// of each command, and the instance it names.
//
// The library and kestd take their plain ranges from the kest_range
// constants these rows name; kestd its factory state; kestctl its words; the
// tool its commands, options, help, completion, JSON, checks, and the
// document's paths, schema, validation and factory document. A field or a
// subject left out fails a test that names it.
//
//   domain  command           word       member            kind    range  path                          factory
//   WIFI    WIFI_CMD_CHANNEL  "channel"  channel (4 at 4)  number  list   wifi.interfaces.{i}.channel   6 | 36 | 0
#pragma once

#include "kest_field_types.h"

// clang-format off
#define KEST_W(cmd) MGMT_DOMAIN_WIFI, WIFI_CMD_##cmd
#define KEST_D(cmd) MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_##cmd
#define KEST_N(cmd) MGMT_DOMAIN_NETWORK, NETWORK_CMD_##cmd
#define KEST_U(cmd) MGMT_DOMAIN_USB, USB_CMD_##cmd
#define KEST_IF(word) "wifi.interfaces.{i}." word
#define KEST_RANGE(r) (r).min, (r).max
#define KEST_FLAG(domain_cmd, rec, member, word, path, factory, help)                              \
    kest_field{domain_cmd, word, KEST_AT(rec, member), kest_kind::flag, 0, 1, {}, path, factory, help}

#define KEST_SWITCH_FIELD(name, setting, field, word, what, help, factory)                         \
    KEST_FLAG(KEST_W(name), wifi_##setting##_params, field, word, KEST_IF(word), {factory}, help),
#define KEST_SWITCH_SUBJECT(name, setting, field, word, what, ...)                                 \
    {KEST_W(name), word, what, kest_instance::iface},

// The fields of one half (IPv4 or IPv6) of a data call's record.
#define KEST_CALL_HALF(prefix, half, type, addr_kind, addr_width)                                 \
    kest_field{KEST_D(INFO), prefix "status", KEST_AT(data_call_info_params, half.status),          \
               kest_kind::named, 0, 0, KEST_NAMES(kCallStatusNames), nullptr, {}, "call state"},    \
    kest_field{KEST_D(INFO), prefix "ifname", KEST_AT(data_call_info_params, half.name),            \
               kest_kind::text, 0, 15, {}, nullptr, {}, "network interface name (while connected)"},\
    kest_field{KEST_D(INFO), prefix "address", KEST_AT(data_call_info_params, half.address[0]),     \
               addr_kind, 0, 0, {}, nullptr, {}, "address"},                                        \
    kest_field{KEST_D(INFO), prefix "gateway", KEST_AT(data_call_info_params, half.address[1]),     \
               addr_kind, 0, 0, {}, nullptr, {}, "gateway"},                                        \
    kest_field{KEST_D(INFO), prefix "dns1", KEST_AT(data_call_info_params, half.address[2]),        \
               addr_kind, 0, 0, {}, nullptr, {}, "primary DNS server"},                             \
    kest_field{KEST_D(INFO), prefix "dns2", KEST_AT(data_call_info_params, half.address[3]),        \
               addr_kind, 0, 0, {}, nullptr, {}, "secondary DNS server"},                           \
    KEST_STAT(prefix "stat-1", half.stat_1), KEST_STAT(prefix "stat-2", half.stat_2),               \
    KEST_STAT(prefix "stat-3", half.stat_3), KEST_STAT(prefix "stat-4", half.stat_4),               \
    KEST_STAT(prefix "stat-5", half.stat_5), KEST_STAT(prefix "stat-6", half.stat_6)
#define KEST_STAT(word, member)                                                                    \
    kest_field{KEST_D(INFO), word, KEST_AT(data_call_info_params, member), kest_kind::number, 0, 0, \
               {}, nullptr, {}, "a counter of the call; what it counts is the service's matter"}

#define KEST_USB_FUNC(member, word, factory, help)                                                 \
    KEST_FLAG(KEST_U(FUNC), usb_func_params, member, word, "usb.func." word, {factory}, help)
#define KEST_USB_SHOWN(kind, member, word, help)                                                   \
    kest_field{KEST_U(CONFIG_GET), word, KEST_AT(usb_config_params, member), kind, 0, 0, {},        \
               nullptr, {}, help}

inline constexpr kest_field kFields[] = {
    // Wi-Fi as a whole
    {KEST_W(WORK_MODE), "work-mode", KEST_AT(wifi_work_mode_params, work_mode), kest_kind::number,
     KEST_RANGE(kWorkModeRange), {}, "wifi.work-mode", {"0"}, "Wi-Fi work mode"},
    KEST_FLAG(KEST_W(ENABLE), wifi_enable_params, enable, "enable", "wifi.enable", {"on"},
              "Wi-Fi as a whole on or off"),
    {KEST_W(COUNTRY_CODE), "country", KEST_AT(wifi_country_code_params, country_code),
     kest_kind::text, 2, 2, {}, "wifi.country", {"US"}, "two-letter country code (ISO 3166)"},
    // An interface's name and security
    {KEST_W(ESSID), "ssid", KEST_AT(wifi_essid_params, ssid), kest_kind::text, 1,
     KEST_TEXT_MAX(wifi_essid_params, ssid), {}, KEST_IF("ssid.ssid"),
     {"KEST-2.4G", "KEST-5G", ""}, "network name"},
    {KEST_W(ESSID), "format-type", KEST_AT(wifi_essid_params, format_type), kest_kind::number,
     KEST_RANGE(kSsidFormatRange), {}, KEST_IF("ssid.format-type"), {"0"},
     "SSID format type (as the service defines it)"},
    {KEST_W(ACTIVE), "active", KEST_AT(wifi_active_params, active), kest_kind::number,
     KEST_RANGE(kActiveRange), {}, nullptr, {"1"},
     "0 inactive; 1 and 2 active (as the service defines them)"},
    {KEST_W(AUTH), "auth", KEST_AT(wifi_auth_params, auth), kest_kind::named, 0, 0,
     KEST_NAMES(kAuthNames), KEST_IF("auth.auth"), {"wpa-psk-3", "wpa-psk-3", "open"},
     "authentication type: wpa-psk-2, -3 and -4 are WPA with a passphrase; which of them is "
     "WPA2, WPA3 or a mix is the service's matter (the library passes the number through)"},
    {KEST_W(AUTH), "default-index", KEST_AT(wifi_auth_params, wep.default_index),
     kest_kind::number, KEST_RANGE(kWepDefaultIndexRange), {}, KEST_IF("auth.default-index"), {},
     "WEP: the default key"},
    {KEST_W(AUTH), "key0", KEST_AT(wifi_auth_params, wep.key0), kest_kind::secret, 0, 0, {},
     KEST_IF("auth.key0"), {}, "WEP key 0"},
    {KEST_W(AUTH), "key1", KEST_AT(wifi_auth_params, wep.key1), kest_kind::secret, 0, 0, {},
     KEST_IF("auth.key1"), {}, "WEP key 1"},
    {KEST_W(AUTH), "key2", KEST_AT(wifi_auth_params, wep.key2), kest_kind::secret, 0, 0, {},
     KEST_IF("auth.key2"), {}, "WEP key 2"},
    {KEST_W(AUTH), "key3", KEST_AT(wifi_auth_params, wep.key3), kest_kind::secret, 0, 0, {},
     KEST_IF("auth.key3"), {}, "WEP key 3"},
    {KEST_W(AUTH), "pairwise", KEST_AT(wifi_auth_params, wpa.pairwise), kest_kind::number,
     KEST_RANGE(kPairwiseRange), {}, KEST_IF("auth.pairwise"), {"1", "1", "0"},
     "WPA: pairwise cipher selector (its ciphers are the service's matter)"},
    {KEST_W(AUTH), "password", KEST_AT(wifi_auth_params, wpa.password), kest_kind::secret, 0, 0,
     {}, KEST_IF("auth.password"), {"kest-module-24", "kest-module-5g", ""},
     "WPA: the passphrase"},
    {KEST_W(AUTH), "group-rekey", KEST_AT(wifi_auth_params, wpa.group_rekey), kest_kind::number, 0,
     0, {}, KEST_IF("auth.group-rekey"), {"3600", "3600", "0"}, "WPA: group rekey interval"},
    // An interface's radio
    {KEST_W(MODE), "mode", KEST_AT(wifi_mode_params, mode), kest_kind::number,
     KEST_RANGE(kWifiModeRange), {}, KEST_IF("mode"), {"4", "5", "4"},
     "802.11 radio mode; what each number stands for is the service's matter"},
    {KEST_W(CHANNEL), "channel", KEST_AT(wifi_channel_params, channel), kest_kind::number, 0, 165,
     {}, KEST_IF("channel"), {"6", "36", "0"}, "radio channel; 0 picks one (or follows the AP)",
     kest_wifi_channel_ok, "0, 1-14, 36-64 even, 100-128 even, 132-144 even, 149-161 odd, 165"},
    {KEST_W(BANDWIDTH), "bandwidth", KEST_AT(wifi_bandwidth_params, bandwidth), kest_kind::number,
     KEST_RANGE(kBandwidthRange), {}, KEST_IF("bandwidth"), {"1", "2", "0"},
     "channel bandwidth; what each number stands for is the service's matter"},
    {KEST_W(MAX_NUM_STA), "max-sta", KEST_AT(wifi_max_num_sta_params, max_num_sta),
     kest_kind::number, KEST_RANGE(kMaxStaRange), {}, KEST_IF("max-sta"), {"10", "10", "1"},
     "most stations at once"},
    {KEST_W(RSSI), "rssi", KEST_AT(wifi_rssi_params, rssi), kest_kind::number,
     KEST_RANGE(kRssiRange), {}, KEST_IF("rssi"), {"0"}, "RSSI threshold"},
    KEST_WIFI_SWITCHES(KEST_SWITCH_FIELD)
    // An interface's MAC list
    {KEST_W(MAC_ACL_RULE), "acl-rule", KEST_AT(wifi_mac_acl_rule_params, rule), kest_kind::named,
     KEST_RANGE(kMacAclRuleRange), KEST_NAMES(kAclRuleNames), KEST_IF("acl-rule"), {"off"},
     "which stations the MAC list lets in"},
    {KEST_W(MAC_ACL_ADD), "mac", KEST_AT(wifi_mac_acl_params, mac), kest_kind::mac, 0, 0, {},
     KEST_IF("acl[]"), {}, "station address"},
    {KEST_W(MAC_ACL_DEL), "mac", KEST_AT(wifi_mac_acl_params, mac), kest_kind::mac, 0, 0, {},
     nullptr, {}, "station address"},
    // Stations; the meanings of their fields are the simulated service's
    {KEST_W(STA_INFO), "mac", KEST_AT(wifi_sta_info_entry, mac), kest_kind::mac, 0, 0, {}, nullptr,
     {}, ""},
    {KEST_W(STA_INFO), "interface", KEST_AT(wifi_sta_info_entry, field_a), kest_kind::number, 0, 0,
     {}, nullptr, {}, "access point the station is on"},
    {KEST_W(STA_INFO), "address", KEST_AT(wifi_sta_info_entry, field_c), kest_kind::ipv4_text, 0,
     0, {}, nullptr, {}, "its IPv4 address"},
    {KEST_W(STA_INFO), "rate", KEST_AT(wifi_sta_info_entry, field_b), kest_kind::number, 0, 0, {},
     nullptr, {}, "link rate"},
    {KEST_W(STA_INFO), "name", KEST_AT(wifi_sta_info_entry, text), kest_kind::textn, 0, 0, {},
     nullptr, {}, "its host name"},
    {KEST_W(STATION_STATUS), "ssid", KEST_AT(wifi_station_status_params, ssid), kest_kind::text, 0,
     0, {}, nullptr, {}, "network joined"},
    {KEST_W(STATION_STATUS), "status", KEST_AT(wifi_station_status_params, status),
     kest_kind::named, 0, 0, KEST_NAMES(kStationStateNames), nullptr, {}, "connection state"},
    {KEST_W(RESTORE_DEFAULT), "interface", KEST_AT(wifi_restore_default_params, index),
     kest_kind::number, 0, kInterfaceRange.max, {}, nullptr, {"0"},
     "1 to 3: that interface; 0: all of Wi-Fi"},

    // Data calls
    {KEST_D(UP), "ip-type", KEST_AT(data_call_up_params, ip_type), kest_kind::named, 0, 0,
     KEST_NAMES(kIpTypeNames), nullptr, {"ipv4v6"}, "IP family of the call"},
    KEST_FLAG(KEST_D(UP), data_call_up_params, reconnect, "reconnect", nullptr, {"off"},
              "reconnect when dropped"),
    {KEST_D(UP), "apn", KEST_AT(data_call_up_params, apn_name), kest_kind::text, 0, 0, {}, nullptr,
     {""}, "APN name; empty: the profile's"},
    {KEST_D(UP), "user", KEST_AT(data_call_up_params, username), kest_kind::text, 0, 0, {}, nullptr,
     {""}, "user name"},
    {KEST_D(UP), "password", KEST_AT(data_call_up_params, password), kest_kind::secret, 0, 0, {},
     nullptr, {""}, "password"},
    {KEST_D(DOWN), "ip-type", KEST_AT(data_call_down_params, ip_type), kest_kind::named, 0, 0,
     KEST_NAMES(kIpTypeNames), nullptr, {"ipv4v6"}, "IP family of the call"},
    {KEST_D(INFO), "ip-type", KEST_AT(data_call_info_params, ip_type), kest_kind::named, 0, 0,
     KEST_NAMES(kIpTypeNames), nullptr, {"ipv4v6"}, "IP family of the call"},
    KEST_CALL_HALF("ipv4-", ipv4, data_call_info_v4, kest_kind::ipv4, 4),
    KEST_CALL_HALF("ipv6-", ipv6, data_call_info_v6, kest_kind::ipv6, 16),
    {KEST_D(APN), "pdp-type", KEST_AT(data_call_apn_params, pdp_type), kest_kind::named, 0, 0,
     KEST_NAMES(kPdpTypeNames), "datacall.apn[].pdp-type", {"ipv4v6"}, "PDP type", kest_pdp_ok,
     "or 3"},
    {KEST_D(APN), "auth-protocol", KEST_AT(data_call_apn_params, auth_protocol), kest_kind::named,
     0, 0, KEST_NAMES(kAuthProtocolNames), "datacall.apn[].auth-protocol", {"none"},
     "authentication protocol", kest_pdp_ok},
    {KEST_D(APN), "apn", KEST_AT(data_call_apn_params, apn_name), kest_kind::text, 0, 0, {},
     "datacall.apn[].apn", {"internet"}, "access point name"},
    {KEST_D(APN), "user", KEST_AT(data_call_apn_params, username), kest_kind::text, 0, 0, {},
     "datacall.apn[].user", {""}, "user name"},
    {KEST_D(APN), "password", KEST_AT(data_call_apn_params, password), kest_kind::secret, 0, 0, {},
     "datacall.apn[].password", {""}, "password"},
    {KEST_D(APN_ADD), "profile-index", KEST_AT(data_call_apn_params, profile_index),
     kest_kind::number, 0, 0, {}, nullptr, {}, "the index the service chose"},
    {KEST_D(APN_LIST), "index", KEST_AT(data_call_apn_list_params, index_list[0]),
     kest_kind::number, 0, 0, {}, nullptr, {}, ""},
    {KEST_D(DEFAULT_PROFILE), "profile", KEST_AT(data_call_default_profile_params, default_id),
     kest_kind::number, KEST_RANGE(kProfileIndexRange), {}, "datacall.default-profile.profile",
     {"0"}, "APN profile of type 0"},
    {KEST_D(DEFAULT_PROFILE), "tech-pref", KEST_AT(data_call_default_profile_params, tech_pref),
     kest_kind::number, KEST_RANGE(kTechPrefRange), {}, "datacall.default-profile.tech-pref",
     {"0"}, "technology preference (as the service defines it)"},
    {KEST_D(DEFAULT_PROFILE), "ip-family", KEST_AT(data_call_default_profile_params, ip_family),
     kest_kind::named, KEST_RANGE(kIpFamilyRange), KEST_NAMES(kIpTypeNames),
     "datacall.default-profile.ip-family", {"ipv4v6"}, "IP family"},

    // Network
    {KEST_N(DMZ_ADD), "address", KEST_AT(network_dmz_params, ipv4_addr), kest_kind::ipv4, 0, 0, {},
     "network.dmz", {}, "LAN host that takes unsolicited traffic"},
    {KEST_N(DMZ_GET), "address", KEST_AT(network_dmz_params, ipv4_addr), kest_kind::ipv4, 0, 0, {},
     nullptr, {}, "LAN host that takes unsolicited traffic"},
    {KEST_N(SNAT_ADD), "private-ip", KEST_AT(network_snat_params, private_ip), kest_kind::ipv4, 0,
     0, {}, "network.snat[].private-ip", {}, "LAN address"},
    {KEST_N(SNAT_ADD), "private-port", KEST_AT(network_snat_params, private_port),
     kest_kind::number, 1, 65535, {}, "network.snat[].private-port", {}, "LAN port"},
    {KEST_N(SNAT_ADD), "global-port", KEST_AT(network_snat_params, global_port), kest_kind::number,
     1, 65535, {}, "network.snat[].global-port", {}, "public port"},
    {KEST_N(SNAT_ADD), "protocol", KEST_AT(network_snat_params, protocol), kest_kind::named,
     KEST_RANGE(kSnatProtocolRange), KEST_NAMES(kProtocolNames), "network.snat[].protocol", {},
     "IP protocol", kest_any, "or a protocol number from 6 to 253"},
    {KEST_N(LAN_CONFIG), "gateway", KEST_AT(network_lan_config_params, lan_word_a),
     kest_kind::ipv4, 0, 0, {}, "network.lan.gateway", {"192.168.225.1"},
     "the module's LAN address"},
    {KEST_N(LAN_CONFIG), "netmask", KEST_AT(network_lan_config_params, lan_word_b),
     kest_kind::ipv4, 0, 0, {}, "network.lan.netmask", {"255.255.255.0"}, "LAN subnet mask"},
    KEST_FLAG(KEST_N(LAN_CONFIG), network_lan_config_params, lan_byte, "dhcp", "network.lan.dhcp",
              {"on"}, "DHCP server"),
    {KEST_N(LAN_CONFIG), "dhcp-start", KEST_AT(network_lan_config_params, lan_word_c),
     kest_kind::ipv4, 0, 0, {}, "network.lan.dhcp-start", {"192.168.225.20"},
     "first DHCP address"},
    {KEST_N(LAN_CONFIG), "dhcp-end", KEST_AT(network_lan_config_params, lan_word_d),
     kest_kind::ipv4, 0, 0, {}, "network.lan.dhcp-end", {"192.168.225.60"},
     "last DHCP address"},
    {KEST_N(LAN_CONFIG), "lease", KEST_AT(network_lan_config_params, lan_word_e), kest_kind::number,
     0, 0, {}, "network.lan.lease", {"43200"}, "DHCP lease time (s)"},
    KEST_FLAG(KEST_N(SGMII_ENABLE), network_sgmii_enable_params, enable, "enable",
              "network.sgmii-enable.enable", {"off"}, "SGMII port on or off"),
    KEST_FLAG(KEST_N(SGMII_CONFIG), network_sgmii_config_params, autoneg, "autoneg",
              "network.sgmii-config.autoneg", {"on"}, "auto-negotiation"),
    {KEST_N(SGMII_CONFIG), "speed", KEST_AT(network_sgmii_config_params, speed), kest_kind::named,
     KEST_RANGE(kSgmiiSpeedRange), KEST_NAMES(kSpeedNames), "network.sgmii-config.speed",
     {"1000mbps"}, "link speed"},
    {KEST_N(SGMII_CONFIG), "duplex", KEST_AT(network_sgmii_config_params, duplex),
     kest_kind::named, KEST_RANGE(kSgmiiDuplexRange), KEST_NAMES(kDuplexNames),
     "network.sgmii-config.duplex", {"full"}, "duplex"},
    KEST_FLAG(KEST_N(SGMII_INFO), network_sgmii_info_params, flag_a, "enabled", nullptr, {},
              "port on"),
    KEST_FLAG(KEST_N(SGMII_INFO), network_sgmii_info_params, flag_b, "link", nullptr, {},
              "link up"),
    {KEST_N(SGMII_INFO), "speed", KEST_AT(network_sgmii_info_params, byte_a), kest_kind::named, 0,
     0, KEST_NAMES(kSpeedNames), nullptr, {}, "link speed"},
    {KEST_N(SGMII_INFO), "duplex", KEST_AT(network_sgmii_info_params, byte_b), kest_kind::named, 0,
     0, KEST_NAMES(kDuplexNames), nullptr, {}, "duplex"},
    KEST_FLAG(KEST_N(SGMII_INFO), network_sgmii_info_params, flag_c, "autoneg", nullptr, {},
              "auto-negotiation"),
    {KEST_N(SGMII_INFO), "rx-bytes", KEST_AT(network_sgmii_info_params, quad_a), kest_kind::number,
     0, 0, {}, nullptr, {}, "bytes received"},
    {KEST_N(SGMII_INFO), "tx-bytes", KEST_AT(network_sgmii_info_params, quad_b), kest_kind::number,
     0, 0, {}, nullptr, {}, "bytes sent"},
    {KEST_N(SGMII_INFO), "rx-packets", KEST_AT(network_sgmii_info_params, quad_c),
     kest_kind::number, 0, 0, {}, nullptr, {}, "packets received"},
    {KEST_N(SGMII_INFO), "tx-packets", KEST_AT(network_sgmii_info_params, quad_d),
     kest_kind::number, 0, 0, {}, nullptr, {}, "packets sent"},
    {KEST_N(ETHERNET_MODE), "ethernet-mode", KEST_AT(network_ethernet_mode_params, mode),
     kest_kind::named, KEST_RANGE(kEthernetModeRange), KEST_NAMES(kEthernetModeNames),
     "network.ethernet-mode", {"lan"}, "LAN port or WAN uplink (as the simulated service)"},

    // USB: what a read shows, then what each setting writes
    KEST_USB_SHOWN(kest_kind::number, bootup, "bootup", "bootup setting"),
    KEST_USB_SHOWN(kest_kind::usb_id, pid, "pid", "USB product id"),
    KEST_USB_SHOWN(kest_kind::usb_id, vid, "vid", "USB vendor id"),
    KEST_USB_SHOWN(kest_kind::text, product_info, "product", "USB product text"),
    KEST_USB_SHOWN(kest_kind::text, manufac_info, "manufacturer", "USB manufacturer text"),
    KEST_USB_SHOWN(kest_kind::number, usbnet, "net-mode", "USB network mode"),
    KEST_USB_SHOWN(kest_kind::flag, diag, "diag", "diagnostics port"),
    KEST_USB_SHOWN(kest_kind::flag, nmea, "nmea", "NMEA port"),
    KEST_USB_SHOWN(kest_kind::flag, at, "at", "AT command port"),
    KEST_USB_SHOWN(kest_kind::flag, modem, "modem", "modem port"),
    KEST_USB_SHOWN(kest_kind::flag, net, "net", "network adapter"),
    KEST_USB_SHOWN(kest_kind::flag, adb, "adb", "Android debug bridge"),
    KEST_USB_SHOWN(kest_kind::flag, audio_uac, "audio-uac", "USB audio"),
    {KEST_U(BOOTUP), "bootup", KEST_AT(usb_bootup_params, bootup), kest_kind::number,
     KEST_RANGE(kUsbBootupRange), {}, "usb.bootup", {"0"},
     "bootup setting (as the service defines it)"},
    {KEST_U(ID), "pid", KEST_AT(usb_id_params, pid), kest_kind::usb_id, 0, 0, {}, "usb.id.pid",
     {"0x9025"}, "USB product id"},
    {KEST_U(ID), "vid", KEST_AT(usb_id_params, vid), kest_kind::usb_id, 0, 0, {}, "usb.id.vid",
     {"0x05c6"}, "USB vendor id"},
    {KEST_U(PRODUCT_INFO), "product", KEST_AT(usb_product_info_params, product_info),
     kest_kind::text, 0, kUsbTextMax, {}, "usb.product", {"KEST LTE Module"},
     "USB product text"},
    {KEST_U(MANUFAC_INFO), "manufacturer", KEST_AT(usb_manufac_info_params, manufac_info),
     kest_kind::text, 0, kUsbTextMax, {}, "usb.manufacturer", {"KEST"}, "USB manufacturer text"},
    {KEST_U(NET), "net-mode", KEST_AT(usb_net_params, net), kest_kind::number,
     KEST_RANGE(kUsbNetRange), {}, "usb.net-mode", {"0"},
     "USB network mode (as the service defines it)"},
    KEST_USB_FUNC(diag, "diag", "on", "diagnostics port"),
    KEST_USB_FUNC(nmea, "nmea", "on", "NMEA port"),
    KEST_USB_FUNC(at, "at", "on", "AT command port"),
    KEST_USB_FUNC(modem, "modem", "on", "modem port"),
    KEST_USB_FUNC(net, "net", "on", "network adapter"),
    KEST_USB_FUNC(adb, "adb", "off", "Android debug bridge"),
    KEST_USB_FUNC(audio_uac, "audio-uac", "off", "USB audio"),
    {KEST_U(ACTION), "action-type", KEST_AT(usb_action_params, action_type), kest_kind::number,
     KEST_RANGE(kUsbActionRange), {}, nullptr, {}, "the action"},
};

inline constexpr kest_subject kSubjects[] = {
    {KEST_W(WORK_MODE), "work-mode", "the Wi-Fi work mode (numbers as the service defines them)",
     kest_instance::none},
    {KEST_W(ENABLE), "enable", "whether Wi-Fi is on", kest_instance::none},
    {KEST_W(COUNTRY_CODE), "country", "the country code", kest_instance::none},
    {KEST_W(ESSID), "ssid", "an interface's SSID", kest_instance::iface},
    {KEST_W(ACTIVE), "active", "activate or deactivate an interface (no read)", kest_instance::iface},
    {KEST_W(AUTH), "auth", "an interface's authentication", kest_instance::iface},
    {KEST_W(MODE), "mode", "an interface's radio mode (as the service defines it)",
     kest_instance::iface},
    {KEST_W(CHANNEL), "channel", "an interface's radio channel", kest_instance::iface},
    {KEST_W(BANDWIDTH), "bandwidth", "an interface's channel bandwidth (as the service defines it)",
     kest_instance::iface},
    {KEST_W(MAX_NUM_STA), "max-sta", "the most stations an interface takes", kest_instance::iface},
    {KEST_W(RSSI), "rssi", "an interface's RSSI threshold", kest_instance::iface},
    KEST_WIFI_SWITCHES(KEST_SWITCH_SUBJECT)
    {KEST_W(MAC_ACL_RULE), "acl-rule", "an interface's MAC access rule", kest_instance::iface},
    {KEST_W(MAC_ACL_ADD), "acl add", "add an address to an interface's MAC list",
     kest_instance::iface},
    {KEST_W(MAC_ACL_DEL), "acl del", "delete an address from an interface's MAC list",
     kest_instance::iface},
    {KEST_W(MAC_ACL_INFO), "acl list", "list an interface's MAC addresses", kest_instance::iface},
    {KEST_W(STA_INFO), "stations", "list the stations on the access points", kest_instance::none},
    {KEST_W(STATION_STATUS), "station-status", "show the station interface's connection",
     kest_instance::sta_iface},
    {KEST_W(RESTORE_DEFAULT), "restore", "restore the default Wi-Fi configuration",
     kest_instance::none},
    {KEST_D(UP), "up", "start the data call of a profile", kest_instance::profile},
    {KEST_D(DOWN), "down", "stop the data call of a profile", kest_instance::profile},
    {KEST_D(INFO), "info", "show the data call of a profile", kest_instance::profile},
    {KEST_D(APN), "apn", "an APN profile", kest_instance::apn},
    {KEST_D(APN_ADD), "apn add", "add an APN profile; prints the index it got (give every field)",
     kest_instance::apn_type},
    {KEST_D(APN_DEL), "apn del", "delete an APN profile", kest_instance::apn},
    {KEST_D(APN_LIST), "apn list", "list the profile indexes of a type", kest_instance::apn_type},
    {KEST_D(DEFAULT_PROFILE), "default-profile", "the default profile", kest_instance::none},
    {KEST_N(DMZ_GET), "dmz", "show the DMZ host", kest_instance::none},
    {KEST_N(DMZ_ADD), "dmz add", "set the DMZ host", kest_instance::none},
    {KEST_N(DMZ_DEL), "dmz del", "remove the DMZ host", kest_instance::none},
    {KEST_N(SNAT_ADD), "snat add", "add an SNAT (port forwarding) rule", kest_instance::none},
    {KEST_N(SNAT_DEL), "snat del", "delete an SNAT rule", kest_instance::none},
    {KEST_N(SNAT_GET), "snat list", "list the SNAT rules", kest_instance::none},
    {KEST_N(LAN_CONFIG), "lan", "the LAN block", kest_instance::none},
    {KEST_N(SGMII_ENABLE), "sgmii-enable", "whether the SGMII port is on", kest_instance::none},
    {KEST_N(SGMII_CONFIG), "sgmii-config", "the SGMII link settings", kest_instance::none},
    {KEST_N(SGMII_INFO), "sgmii-info", "show the SGMII link state", kest_instance::none},
    {KEST_N(ETHERNET_MODE), "ethernet-mode", "the Ethernet port's role", kest_instance::none},
    {KEST_U(CONFIG_GET), "config", "show the USB configuration in use", kest_instance::usb},

    {KEST_U(CONFIG_WRITE), "config write", "write the changed USB settings out (they apply then)",
     kest_instance::usb},
    {KEST_U(BOOTUP), "bootup", "the USB bootup setting", kest_instance::usb},
    {KEST_U(ID), "id", "the USB product and vendor ids", kest_instance::usb},
    {KEST_U(PRODUCT_INFO), "product", "the USB product text", kest_instance::usb},
    {KEST_U(MANUFAC_INFO), "manufacturer", "the USB manufacturer text", kest_instance::usb},
    {KEST_U(NET), "net-mode", "the USB network mode", kest_instance::usb},
    {KEST_U(FUNC), "func", "which USB functions are on", kest_instance::usb},
    {KEST_U(ACTION), "action", "run a one-off USB action (as the service defines it)",
     kest_instance::usb},
};
// clang-format on

// The profiles of a fresh module.
inline constexpr data_call_apn_params kFactoryProfiles[] = {
    {0, 0, DATA_CALL_IP_V4V6, 0, "internet", "", ""},
};

// The fields of one command's record, in the description's order.
struct kest_field_span {
    const kest_field *first = nullptr;
    size_t count = 0;
    constexpr const kest_field *begin() const { return first; }
    constexpr const kest_field *end() const { return first + count; }
    constexpr bool empty() const { return count == 0; }
};
// The lookups compare indexes, never a pointer with null, so that they stay
// constant expressions under the sanitizers too.
constexpr kest_field_span kest_fields_of(uint32_t domain, uint32_t command)
{
    size_t first = std::size(kFields), count = 0;
    for (size_t i = 0; i < std::size(kFields); ++i)
        if (kFields[i].domain == domain && kFields[i].command == command) {
            first = count == 0 ? i : first;
            ++count;
        }
    return count == 0 ? kest_field_span{} : kest_field_span{&kFields[first], count};
}
// The place of a field in kFields, or the size of kFields when there is none.
constexpr size_t kest_field_index(uint32_t domain, uint32_t command, std::string_view word)
{
    for (size_t i = 0; i < std::size(kFields); ++i)
        if (kFields[i].domain == domain && kFields[i].command == command && word == kFields[i].word)
            return i;
    return std::size(kFields);
}
constexpr const kest_field *kest_field_find(uint32_t domain, uint32_t command,
                                            std::string_view word)
{
    const size_t i = kest_field_index(domain, command, word);
    return i < std::size(kFields) ? &kFields[i] : nullptr;
}
// A described field; a word that names none does not compile where it is
// used in a constant expression.
constexpr const kest_field &kest_field_at(uint32_t domain, uint32_t command, std::string_view word)
{
    return kFields[kest_field_index(domain, command, word)];
}
constexpr bool kest_has_subject(uint32_t domain, uint32_t command)
{
    for (const kest_subject &s : kSubjects)
        if (s.domain == domain && s.command == command)
            return true;
    return false;
}
constexpr bool kest_is_described(uint32_t domain, uint32_t command)
{
    for (const kest_command_table &t : kCommandTables)
        for (size_t i = 0; i < t.count; ++i)
            if (t.rows[i].domain == domain && t.rows[i].command == command)
                return true;
    return false;
}
// The length of a command's value record (0 when it is not described).
constexpr uint32_t kest_record_len(uint32_t domain, uint32_t command)
{
    for (const kest_command_table &t : kCommandTables)
        for (size_t i = 0; i < t.count; ++i)
            if (t.rows[i].domain == domain && t.rows[i].command == command)
                return t.rows[i].record_len;
    return 0;
}

// A row's fields stand next to each other, so a command's fields are one
// span; every described command has a subject, and every subject a command.
consteval bool kest_fields_grouped()
{
    for (size_t i = 0; i < std::size(kFields); ++i)
        for (size_t j = i + 2; j < std::size(kFields); ++j)
            if (kFields[j].domain == kFields[i].domain &&
                kFields[j].command == kFields[i].command &&
                (kFields[j - 1].domain != kFields[i].domain ||
                 kFields[j - 1].command != kFields[i].command))
                return false;
    return true;
}
static_assert(kest_fields_grouped(), "the fields of a command stand together");
consteval bool kest_subjects_complete()
{
    for (const kest_command_table &t : kCommandTables)
        for (size_t i = 0; i < t.count; ++i)
            if (!kest_has_subject(t.rows[i].domain, t.rows[i].command))
                return false;
    for (const kest_subject &s : kSubjects)
        if (!kest_is_described(s.domain, s.command))
            return false;
    return true;
}
static_assert(kest_subjects_complete(), "every described command has a subject and no other");
consteval bool kest_fields_fit()
{
    for (const kest_field &f : kFields)
        if (f.off + f.width > kest_record_len(f.domain, f.command))
            return false;
    return true;
}
static_assert(kest_fields_fit(), "every field lies in its command's record");

// The number a word names in a field: a name of the field, "off" or "on" of
// a flag, a decimal or 0x hex number; false when it is none of them.
constexpr bool kest_word_number(const kest_field &f, std::string_view word, uint64_t &out)
{
    for (uint32_t i = 0; i < f.names.count; ++i)
        if (word == f.names.rows[i].name) {
            out = f.names.rows[i].value;
            return true;
        }
    if (f.kind == kest_kind::flag && (word == "off" || word == "on")) {
        out = word == "on";
        return true;
    }
    const bool hex = word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
    const uint64_t base = hex ? 16 : 10;
    if (hex)
        word.remove_prefix(2);
    if (word.empty() || word.size() > 19)
        return false;
    uint64_t v = 0;
    for (char c : word) {
        const int d = c >= '0' && c <= '9'   ? c - '0'
                      : c >= 'a' && c <= 'f' ? c - 'a' + 10
                      : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                             : 99;
        if (d >= static_cast<int>(base))
            return false;
        v = v * base + static_cast<uint64_t>(d);
    }
    out = v;
    return true;
}

// The number of a fresh module's value of a field (0 when it has none).
constexpr uint64_t kest_factory_number(const kest_field &f, int iface = 1)
{
    uint64_t v = 0;
    const char *word = f.factory.at(iface);
    return word != nullptr && kest_word_number(f, word, v) ? v : 0;
}
// A fresh module's text of a field ("" when it has none).
constexpr const char *kest_factory_text(const kest_field &f, int iface = 1)
{
    const char *word = f.factory.at(iface);
    return word != nullptr ? word : "";
}

// Every factory value is a value of its field.
consteval bool kest_factories_valid()
{
    for (const kest_field &f : kFields)
        for (int i = 1; i <= 3; ++i) {
            uint64_t v = 0;
            if (!f.factory.given || f.kind == kest_kind::text || f.kind == kest_kind::secret ||
                f.kind == kest_kind::ipv4)
                continue;
            if (!kest_word_number(f, f.factory.at(i), v) ||
                (f.max != 0 && (v < f.min || v > f.max)) || !f.allowed(v))
                return false;
        }
    return true;
}
static_assert(kest_factories_valid(), "every factory value is a value of its field");
