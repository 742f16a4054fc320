// Every command of the four domains through the library, the host transport
// and kestd: what a set changes is what a get reads back, refusals of the
// service reach the application as error numbers, and refusals of the
// library send nothing.
#include "e2e_support.h"

#include "kest_msg.h"
#include "kestd_errors.h"

namespace {
using namespace e2e;

const uint8_t kMacA[6] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
const uint8_t kMacB[6] = {0x02, 0x66, 0x77, 0x88, 0x99, 0xaa};

// ---------------------------------------------------------------------------
// Records used by several rows

bytes mac_acl(const uint8_t (&mac)[6])
{
    return rec<wifi_mac_acl_params>([&](auto &r) {
        r.index = 1;
        std::memcpy(r.mac, mac, 6);
    });
}

bytes apn_profile(uint8_t type, uint8_t index, const char *name)
{
    return rec<data_call_apn_params>([&](auto &r) {
        r.profile_type = type;
        r.profile_index = index;
        r.pdp_type = 1;
        r.auth_protocol = 2;
        std::strcpy(r.apn_name, name);
        std::strcpy(r.username, "e2e-user");
        std::strcpy(r.password, "e2e-secret");
    });
}

bytes apn_selector(uint8_t type, uint8_t index)
{
    return rec<data_call_apn_params>([&](auto &r) {
        r.profile_type = type;
        r.profile_index = index;
    });
}

bytes apn_list(uint8_t type, std::vector<uint8_t> indexes)
{
    return rec<data_call_apn_list_params>([&](auto &r) {
        r.profile_type = type;
        r.length = static_cast<uint8_t>(indexes.size());
        std::copy(indexes.begin(), indexes.end(), r.index_list);
    });
}

bytes call_up(uint32_t ip_type)
{
    return rec<data_call_up_params>([&](auto &r) {
        r.profile_id = 0;
        r.ip_type = ip_type;
        r.reconnect = 1;
    });
}

bytes call_down(uint32_t ip_type)
{
    return rec<data_call_down_params>([&](auto &r) { r.ip_type = ip_type; });
}

bytes call_info_query(uint32_t ip_type)
{
    return rec<data_call_info_params>([&](auto &r) { r.ip_type = ip_type; });
}

void ipv6(uint8_t (&out)[16], const char *text)
{
    ASSERT_EQ(1, inet_pton(AF_INET6, text, out)) << text;
}

// The IPv4 half of profile 0 as the first call up gives it.
void call_v4_up(data_call_info_v4 &v4, uint32_t host)
{
    std::strcpy(v4.name, "rmnet_data0");
    v4.status = 1;
    v4.flag = 1;
    v4.address[0] = ipv4(10, 64, 0, static_cast<uint8_t>(host));
    v4.address[1] = ipv4(10, 64, 0, 1);
    v4.address[2] = ipv4(8, 8, 8, 8);
    v4.address[3] = ipv4(8, 8, 4, 4);
}

bytes snat_rule(uint16_t global_port)
{
    return rec<network_snat_params>([&](auto &r) {
        r.private_ip = ipv4(192, 168, 225, 30);
        r.private_port = 8080;
        r.global_port = global_port;
        r.protocol = 6;
    });
}

bytes snat_list(std::vector<bytes> rules)
{
    return rec<network_snat_list_params>([&](auto &r) {
        r.count = static_cast<uint32_t>(rules.size());
        for (size_t i = 0; i < rules.size(); ++i)
            r.entries[i] = as<network_snat_params>(rules[i]);
    });
}

const bytes kUsbQuery = rec<usb_config_params>([](auto &) {});

// The committed USB configuration of a fresh kestd, with one change.
template <class F>
bytes usb_config(F change)
{
    return rec<usb_config_params>([&](auto &r) {
        r.pid = 0x9025;
        r.vid = 0x05c6;
        std::strcpy(r.product_info, "KEST LTE Module");
        std::strcpy(r.manufac_info, "KEST");
        r.diag = r.nmea = r.at = r.modem = r.net = 1;
        change(r);
    });
}

const bytes kUsbWrite = rec<usb_config_params>([](auto &) {});

// ---------------------------------------------------------------------------
// Round trips: the sets of a row (after an optional control command), then
// one get whose record must come back as `expect`; commands without a get
// are checked against kestd's dump instead.

struct step {
    uint32_t command;
    bytes record;
};

struct round_trip {
    const char *name;
    const char *control; // run first, or null
    std::vector<step> sets;
    uint32_t get;     // 0: no get
    bytes query;      // the get's record going in
    bytes expect;     // the get's record coming out
    const char *dump; // a line of `dump` that must appear, or null
};

round_trip wifi_row(const char *name, uint32_t id, bytes set, bytes query, bytes expect = {})
{
    bytes want = expect.empty() ? set : expect;
    return {name,     nullptr,          {{wifi(id), std::move(set)}},
            wifi(id), std::move(query), std::move(want),
            nullptr};
}

template <class R>
bytes index_only(uint32_t index)
{
    return rec<R>([&](auto &r) { r.index = index; });
}

// A setting of one interface: index and value, read back by index.
template <class R, class V>
round_trip setting_row(const char *name, uint32_t id, uint32_t index, V R::*field, V value,
                       V reads = V{})
{
    const V back = reads == V{} ? value : reads;
    return wifi_row(name, id, rec<R>([&](R &r) { r.index = index, r.*field = value; }),
                    index_only<R>(index), rec<R>([&](R &r) { r.index = index, r.*field = back; }));
}

std::vector<round_trip> wifi_rows()
{
    return {
        wifi_row("work_mode", WIFI_CMD_WORK_MODE,
                 rec<wifi_work_mode_params>([](auto &r) { r.work_mode = 3; }),
                 rec<wifi_work_mode_params>([](auto &) {})),
        wifi_row("enable_off", WIFI_CMD_ENABLE,
                 rec<wifi_enable_params>([](auto &r) { r.enable = 0; }),
                 rec<wifi_enable_params>([](auto &r) { r.enable = 9; })),
        wifi_row("enable_any_byte_reads_1", WIFI_CMD_ENABLE,
                 rec<wifi_enable_params>([](auto &r) { r.enable = 7; }),
                 rec<wifi_enable_params>([](auto &) {}),
                 rec<wifi_enable_params>([](auto &r) { r.enable = 1; })),
        wifi_row("country_code", WIFI_CMD_COUNTRY_CODE,
                 rec<wifi_country_code_params>([](auto &r) { std::strcpy(r.country_code, "DE"); }),
                 rec<wifi_country_code_params>([](auto &) {})),
        setting_row("mode", WIFI_CMD_MODE, 1, &wifi_mode_params::mode, 2u),
        setting_row("channel_5ghz", WIFI_CMD_CHANNEL, 2, &wifi_channel_params::channel, 149u),
        setting_row("channel_24ghz", WIFI_CMD_CHANNEL, 1, &wifi_channel_params::channel, 13u),
        setting_row("bandwidth", WIFI_CMD_BANDWIDTH, 2, &wifi_bandwidth_params::bandwidth, 3u),
        setting_row("max_num_sta", WIFI_CMD_MAX_NUM_STA, 1, &wifi_max_num_sta_params::max_num_sta,
                    16u),
        setting_row("rssi", WIFI_CMD_RSSI, 1, &wifi_rssi_params::rssi, 95u),
        setting_row("ssid_hide", WIFI_CMD_SSID_HIDE, 1, &wifi_ssid_hide_params::ssid_hide,
                    uint8_t{1}),
        setting_row("11n_only", WIFI_CMD_11N_ONLY, 1, &wifi_11n_only_params::only_11n, uint8_t{3},
                    uint8_t{1}),
        setting_row("11ac_only", WIFI_CMD_11AC_ONLY, 2, &wifi_11ac_only_params::only_11ac,
                    uint8_t{1}),
        setting_row("ap_isolate", WIFI_CMD_AP_ISOLATE, 2, &wifi_ap_isolate_params::ap_isolate,
                    uint8_t{1}),
        setting_row("dfs", WIFI_CMD_DFS, 2, &wifi_dfs_params::dfs, uint8_t{0xff}, uint8_t{1}),
        setting_row("mac_acl_rule", WIFI_CMD_MAC_ACL_RULE, 2, &wifi_mac_acl_rule_params::rule, 2u),
        wifi_row("essid", WIFI_CMD_ESSID, rec<wifi_essid_params>([](auto &r) {
                     r.index = 2, r.format_type = 1;
                     std::strcpy(r.ssid, "e2e-five-gigahertz-network-name!"); // 32 characters
                 }),
                 index_only<wifi_essid_params>(2)),
        wifi_row("auth_wep", WIFI_CMD_AUTH, rec<wifi_auth_params>([](auto &r) {
                     r.index = 1, r.auth = WIFI_AUTH_WEP, r.wep.default_index = 2;
                     std::strcpy(r.wep.key0, "abcde");
                     std::strcpy(r.wep.key1, "0123456789");
                     std::strcpy(r.wep.key2, "ABCDEFGHIJKLM");
                     std::strcpy(r.wep.key3, "0123456789abcdef0123456789");
                 }),
                 index_only<wifi_auth_params>(1)),
        wifi_row("auth_wpa", WIFI_CMD_AUTH, rec<wifi_auth_params>([](auto &r) {
                     r.index = 2, r.auth = 4, r.wpa.pairwise = 2, r.wpa.group_rekey = 7200;
                     std::strcpy(r.wpa.password, "a passphrase for e2e");
                 }),
                 index_only<wifi_auth_params>(2)),
        wifi_row("auth_open", WIFI_CMD_AUTH,
                 rec<wifi_auth_params>([](auto &r) { r.index = 1, r.auth = WIFI_AUTH_OPEN; }),
                 index_only<wifi_auth_params>(1)),
        {"mac_acl_add_then_info",
         nullptr,
         {{wifi(WIFI_CMD_MAC_ACL_ADD), mac_acl(kMacA)}},
         wifi(WIFI_CMD_MAC_ACL_INFO),
         index_only<wifi_mac_acl_info_params>(1),
         rec<wifi_mac_acl_info_params>([](auto &r) {
             r.index = 1, r.count = 1;
             std::memcpy(r.mac_list[0], kMacA, 6);
         }),
         nullptr},
        {"mac_acl_del",
         nullptr,
         {{wifi(WIFI_CMD_MAC_ACL_ADD), mac_acl(kMacA)},
          {wifi(WIFI_CMD_MAC_ACL_ADD), mac_acl(kMacB)},
          {wifi(WIFI_CMD_MAC_ACL_DEL), mac_acl(kMacA)}},
         wifi(WIFI_CMD_MAC_ACL_INFO),
         index_only<wifi_mac_acl_info_params>(1),
         rec<wifi_mac_acl_info_params>([](auto &r) {
             r.index = 1, r.count = 1;
             std::memcpy(r.mac_list[0], kMacB, 6);
         }),
         nullptr},
        {"active_off",
         nullptr,
         {{wifi(WIFI_CMD_ACTIVE),
           rec<wifi_active_params>([](auto &r) { r.index = 2, r.active = 0; })}},
         0,
         {},
         {},
         "wifi.2.auth=ssid \"KEST-5G\" format 0 active 0 "},
        {"restore_one_interface",
         nullptr,
         {{wifi(WIFI_CMD_CHANNEL),
           rec<wifi_channel_params>([](auto &r) { r.index = 1, r.channel = 11; })},
          {wifi(WIFI_CMD_CHANNEL),
           rec<wifi_channel_params>([](auto &r) { r.index = 2, r.channel = 40; })},
          {wifi(WIFI_CMD_RESTORE_DEFAULT),
           rec<wifi_restore_default_params>([](auto &r) { r.index = 1; })}},
         wifi(WIFI_CMD_CHANNEL),
         index_only<wifi_channel_params>(2),
         rec<wifi_channel_params>([](auto &r) { r.index = 2, r.channel = 40; }),
         "wifi.1.radio=channel 6 "},
        {"restore_all",
         nullptr,
         {{wifi(WIFI_CMD_CHANNEL),
           rec<wifi_channel_params>([](auto &r) { r.index = 2, r.channel = 40; })},
          {wifi(WIFI_CMD_RESTORE_DEFAULT),
           rec<wifi_restore_default_params>([](auto &r) { r.index = 0; })}},
         wifi(WIFI_CMD_CHANNEL),
         index_only<wifi_channel_params>(2),
         rec<wifi_channel_params>([](auto &r) { r.index = 2, r.channel = 36; }),
         nullptr},
        {"station_list_after_join",
         "sta-join 1 02:11:22:33:44:55 phone",
         {},
         wifi(WIFI_CMD_STA_INFO),
         rec<wifi_sta_info_params>([](auto &) {}),
         rec<wifi_sta_info_params>([](auto &r) {
             r.num_sta = 1;
             r.stations[0].field_a = 1;
             r.stations[0].field_b = 144;
             std::strcpy(reinterpret_cast<char *>(r.stations[0].field_c), "192.168.225.20");
             std::memcpy(r.stations[0].mac, kMacA, 6);
             std::strcpy(r.stations[0].text, "phone");
         }),
         nullptr},
        {"station_status",
         "sta-status 2 HomeNet",
         {},
         wifi(WIFI_CMD_STATION_STATUS),
         index_only<wifi_station_status_params>(3),
         rec<wifi_station_status_params>([](auto &r) {
             r.index = 3, r.status = 2;
             std::strcpy(r.ssid, "HomeNet");
         }),
         nullptr},
    };
}

std::vector<round_trip> data_call_rows()
{
    return {
        {"up_v4_then_info",
         nullptr,
         {{data_call(DATA_CALL_CMD_UP), call_up(DATA_CALL_IP_V4)}},
         data_call(DATA_CALL_CMD_INFO),
         call_info_query(DATA_CALL_IP_V4),
         rec<data_call_info_params>([](auto &r) {
             r.ip_type = DATA_CALL_IP_V4;
             call_v4_up(r.ipv4, 3);
         }),
         nullptr},
        {"up_both_then_info",
         nullptr,
         {{data_call(DATA_CALL_CMD_UP), call_up(DATA_CALL_IP_V4V6)}},
         data_call(DATA_CALL_CMD_INFO),
         call_info_query(DATA_CALL_IP_V4V6),
         rec<data_call_info_params>([](auto &r) {
             r.ip_type = DATA_CALL_IP_V4V6;
             call_v4_up(r.ipv4, 3);
             std::strcpy(r.ipv6.name, "rmnet_data0");
             r.ipv6.status = 1;
             r.ipv6.flag = 1;
             ipv6(r.ipv6.address[0], "2001:db8:40:0::4");
             ipv6(r.ipv6.address[1], "2001:db8:40:0::1");
             ipv6(r.ipv6.address[2], "2001:4860:4860::8888");
             ipv6(r.ipv6.address[3], "2001:4860:4860::8844");
         }),
         nullptr},
        // A call that is down has no name and no addresses: IPv4 texts that
        // are no address read as all ones.
        {"down_then_info",
         nullptr,
         {{data_call(DATA_CALL_CMD_UP), call_up(DATA_CALL_IP_V4)},
          {data_call(DATA_CALL_CMD_DOWN), call_down(DATA_CALL_IP_V4)}},
         data_call(DATA_CALL_CMD_INFO),
         call_info_query(DATA_CALL_IP_V4),
         rec<data_call_info_params>([](auto &r) {
             r.ip_type = DATA_CALL_IP_V4;
             std::fill(std::begin(r.ipv4.address), std::end(r.ipv4.address), 0xffffffffu);
         }),
         nullptr},
        {"apn_set_then_get",
         nullptr,
         {{data_call(DATA_CALL_CMD_APN), apn_profile(0, 0, "apn.e2e")}},
         data_call(DATA_CALL_CMD_APN),
         apn_selector(0, 0),
         apn_profile(0, 0, "apn.e2e"),
         nullptr},
        {"apn_add_then_get",
         nullptr,
         {{data_call(DATA_CALL_CMD_APN_ADD), apn_profile(1, 0, "iot.e2e")}},
         data_call(DATA_CALL_CMD_APN),
         apn_selector(1, 0),
         apn_profile(1, 0, "iot.e2e"),
         nullptr},
        {"apn_add_then_list",
         nullptr,
         {{data_call(DATA_CALL_CMD_APN_ADD), apn_profile(0, 0, "one")},
          {data_call(DATA_CALL_CMD_APN_ADD), apn_profile(0, 0, "two")}},
         data_call(DATA_CALL_CMD_APN_LIST),
         apn_list(0, {}),
         apn_list(0, {0, 1, 2}),
         nullptr},
        {"apn_del_then_list",
         nullptr,
         {{data_call(DATA_CALL_CMD_APN_ADD), apn_profile(0, 0, "one")},
          {data_call(DATA_CALL_CMD_APN_ADD), apn_profile(0, 0, "two")},
          {data_call(DATA_CALL_CMD_APN_DEL), apn_selector(0, 1)}},
         data_call(DATA_CALL_CMD_APN_LIST),
         apn_list(0, {}),
         apn_list(0, {0, 2}),
         nullptr},
        {"default_profile",
         nullptr,
         {{data_call(DATA_CALL_CMD_DEFAULT_PROFILE),
           rec<data_call_default_profile_params>(
               [](auto &r) { r.default_id = 0, r.tech_pref = 2, r.ip_family = 1; })}},
         data_call(DATA_CALL_CMD_DEFAULT_PROFILE),
         rec<data_call_default_profile_params>([](auto &) {}),
         rec<data_call_default_profile_params>(
             [](auto &r) { r.default_id = 0, r.tech_pref = 2, r.ip_family = 1; }),
         nullptr},
    };
}

std::vector<round_trip> network_rows()
{
    const bytes dmz =
        rec<network_dmz_params>([](auto &r) { r.ipv4_addr = ipv4(192, 168, 225, 100); });
    const bytes no_dmz = rec<network_dmz_params>([](auto &) {});
    const bytes lan = rec<network_lan_config_params>([](auto &r) {
        r.lan_word_a = ipv4(10, 1, 2, 1), r.lan_word_b = ipv4(255, 255, 255, 0), r.lan_byte = 1;
        r.lan_word_c = ipv4(10, 1, 2, 100), r.lan_word_d = ipv4(10, 1, 2, 150), r.lan_word_e = 3600;
    });
    const bytes sgmii_config =
        rec<network_sgmii_config_params>([](auto &r) { r.autoneg = 0, r.speed = 1, r.duplex = 0; });
    return {
        {"dmz_add_then_get",
         nullptr,
         {{network(NETWORK_CMD_DMZ_ADD), dmz}},
         network(NETWORK_CMD_DMZ_GET),
         no_dmz,
         dmz,
         nullptr},
        {"dmz_del_then_get",
         nullptr,
         {{network(NETWORK_CMD_DMZ_ADD), dmz}, {network(NETWORK_CMD_DMZ_DEL), {}}},
         network(NETWORK_CMD_DMZ_GET),
         dmz,
         no_dmz,
         nullptr},
        {"sgmii_enable",
         nullptr,
         {{network(NETWORK_CMD_SGMII_ENABLE),
           rec<network_sgmii_enable_params>([](auto &r) { r.enable = 5; })}},
         network(NETWORK_CMD_SGMII_ENABLE),
         rec<network_sgmii_enable_params>([](auto &) {}),
         rec<network_sgmii_enable_params>([](auto &r) { r.enable = 1; }),
         nullptr},
        {"sgmii_config",
         nullptr,
         {{network(NETWORK_CMD_SGMII_CONFIG), sgmii_config}},
         network(NETWORK_CMD_SGMII_CONFIG),
         rec<network_sgmii_config_params>(
             [](auto &r) { r.autoneg = 1, r.speed = 2, r.duplex = 1; }),
         sgmii_config,
         nullptr},
        {"sgmii_info",
         nullptr,
         {{network(NETWORK_CMD_SGMII_ENABLE),
           rec<network_sgmii_enable_params>([](auto &r) { r.enable = 1; })},
          {network(NETWORK_CMD_SGMII_CONFIG), sgmii_config}},
         network(NETWORK_CMD_SGMII_INFO),
         rec<network_sgmii_info_params>([](auto &) {}),
         rec<network_sgmii_info_params>(
             [](auto &r) { r.flag_a = 1, r.flag_b = 1, r.byte_a = 1, r.byte_b = 0, r.flag_c = 0; }),
         nullptr},
        {"lan_config",
         nullptr,
         {{network(NETWORK_CMD_LAN_CONFIG), lan}},
         network(NETWORK_CMD_LAN_CONFIG),
         rec<network_lan_config_params>([](auto &) {}),
         lan,
         nullptr},
        {"snat_add_then_list",
         nullptr,
         {{network(NETWORK_CMD_SNAT_ADD), snat_rule(80)}},
         network(NETWORK_CMD_SNAT_GET),
         snat_list({}),
         snat_list({snat_rule(80)}),
         nullptr},
        {"snat_del_then_list",
         nullptr,
         {{network(NETWORK_CMD_SNAT_ADD), snat_rule(80)},
          {network(NETWORK_CMD_SNAT_ADD), snat_rule(443)},
          {network(NETWORK_CMD_SNAT_DEL), snat_rule(80)}},
         network(NETWORK_CMD_SNAT_GET),
         snat_list({}),
         snat_list({snat_rule(443)}),
         nullptr},
        {"ethernet_mode",
         nullptr,
         {{network(NETWORK_CMD_ETHERNET_MODE),
           rec<network_ethernet_mode_params>([](auto &r) { r.mode = 1; })}},
         network(NETWORK_CMD_ETHERNET_MODE),
         rec<network_ethernet_mode_params>([](auto &) {}),
         rec<network_ethernet_mode_params>([](auto &r) { r.mode = 1; }),
         nullptr},
    };
}

// A USB setting, written back, and the configuration read.
round_trip usb_row(const char *name, uint32_t id, bytes setting, bytes config)
{
    return {name,
            nullptr,
            {{usb(id), std::move(setting)}, {usb(USB_CMD_CONFIG_WRITE), kUsbWrite}},
            usb(USB_CMD_CONFIG_GET),
            kUsbQuery,
            std::move(config),
            nullptr};
}

std::vector<round_trip> usb_rows()
{
    return {
        usb_row("bootup", USB_CMD_BOOTUP, rec<usb_bootup_params>([](auto &r) { r.bootup = 2; }),
                usb_config([](auto &r) { r.bootup = 2; })),
        usb_row("id", USB_CMD_ID,
                rec<usb_id_params>([](auto &r) { r.pid = 0x1234, r.vid = 0xabcd; }),
                usb_config([](auto &r) { r.pid = 0x1234, r.vid = 0xabcd; })),
        // 40 characters: the first 32 go out.
        usb_row("product_info", USB_CMD_PRODUCT_INFO, rec<usb_product_info_params>([](auto &r) {
                    std::strcpy(r.product_info, "0123456789abcdefghijklmnopqrstuvWXYZWXYZ");
                }),
                usb_config([](auto &r) {
                    std::strcpy(r.product_info, "0123456789abcdefghijklmnopqrstuv");
                })),
        usb_row("manufac_info", USB_CMD_MANUFAC_INFO, rec<usb_manufac_info_params>([](auto &r) {
                    std::strcpy(r.manufac_info, "E2E Makers");
                }),
                usb_config([](auto &r) { std::strcpy(r.manufac_info, "E2E Makers"); })),
        usb_row("net", USB_CMD_NET, rec<usb_net_params>([](auto &r) { r.net = 3; }),
                usb_config([](auto &r) { r.usbnet = 3; })),
        usb_row("func", USB_CMD_FUNC, rec<usb_func_params>([](auto &r) {
                    r.diag = 1, r.nmea = 0, r.at = 1, r.modem = 0, r.net = 0, r.adb = 1,
                    r.audio_uac = 1;
                }),
                usb_config([](auto &r) {
                    r.nmea = 0, r.modem = 0, r.net = 0, r.adb = 1, r.audio_uac = 1;
                })),
        {"setting_unwritten_is_not_committed",
         nullptr,
         {{usb(USB_CMD_BOOTUP), rec<usb_bootup_params>([](auto &r) { r.bootup = 1; })}},
         usb(USB_CMD_CONFIG_GET),
         kUsbQuery,
         usb_config([](auto &) {}),
         "usb.pending=bootup 1 "},
        {"action",
         nullptr,
         {{usb(USB_CMD_ACTION), rec<usb_action_params>([](auto &r) { r.action_type = 2; })}},
         0,
         {},
         {},
         "usb.last_action=2"},
    };
}

void PrintTo(const round_trip &row, std::ostream *os)
{
    *os << row.name;
}

class RoundTrip : public Service, public ::testing::WithParamInterface<round_trip> {};

TEST_P(RoundTrip, WhatIsSetReadsBack)
{
    const round_trip &row = GetParam();
    if (row.control != nullptr)
        (*ctl)(row.control);
    for (const step &s : row.sets) {
        bytes r = s.record;
        ASSERT_EQ(0, set(s.command, r))
            << "set 0x" << std::hex << s.command << " error " << std::dec << vg_mgmt_get_errno();
    }
    if (row.get != 0) {
        bytes r = row.query;
        ASSERT_EQ(0, get(row.get, r)) << "error " << vg_mgmt_get_errno();
        EXPECT_TRUE(same_record(row.expect, r));
    }
    if (row.dump != nullptr) {
        const std::string dump = (*ctl)("dump");
        EXPECT_NE(std::string::npos, dump.find(row.dump)) << dump;
    }
}

INSTANTIATE_TEST_SUITE_P(Wifi, RoundTrip, ::testing::ValuesIn(wifi_rows()), RowName());
INSTANTIATE_TEST_SUITE_P(DataCall, RoundTrip, ::testing::ValuesIn(data_call_rows()), RowName());
INSTANTIATE_TEST_SUITE_P(Network, RoundTrip, ::testing::ValuesIn(network_rows()), RowName());
INSTANTIATE_TEST_SUITE_P(Usb, RoundTrip, ::testing::ValuesIn(usb_rows()), RowName());

// The index that add reports is the one the service chose: the lowest free.
TEST_F(Service, ApnAddReportsTheIndexTheServiceChose)
{
    for (uint8_t want : {1, 2}) {
        bytes r = apn_profile(0, 99, "added");
        ASSERT_EQ(0, set(data_call(DATA_CALL_CMD_APN_ADD), r));
        EXPECT_EQ(want, as<data_call_apn_params>(r).profile_index);
    }
    bytes del = apn_selector(0, 1);
    ASSERT_EQ(0, set(data_call(DATA_CALL_CMD_APN_DEL), del));
    bytes again = apn_profile(0, 99, "again");
    ASSERT_EQ(0, set(data_call(DATA_CALL_CMD_APN_ADD), again));
    EXPECT_EQ(1, as<data_call_apn_params>(again).profile_index);
}

// ---------------------------------------------------------------------------
// Refusals of the service: the steps before succeed, the last call fails
// with the service's error as the error number, and its record is left as
// it was.

struct refusal {
    const char *name;
    std::vector<step> before;
    uint32_t opt;
    step last;
    int32_t error;
};

std::vector<step> mac_acl_fill(int n)
{
    std::vector<step> steps;
    for (int i = 0; i < n; ++i)
        steps.push_back({wifi(WIFI_CMD_MAC_ACL_ADD), rec<wifi_mac_acl_params>([&](auto &r) {
                             r.index = 1;
                             const uint8_t mac[6] = {0x02, 0, 0, 0, 0, static_cast<uint8_t>(i + 1)};
                             std::memcpy(r.mac, mac, 6);
                         })});
    return steps;
}

std::vector<refusal> refusals()
{
    const bytes dmz =
        rec<network_dmz_params>([](auto &r) { r.ipv4_addr = ipv4(192, 168, 225, 100); });
    return {
        {"mac_list_full",
         mac_acl_fill(32),
         MGMT_OPT_SET,
         {wifi(WIFI_CMD_MAC_ACL_ADD), mac_acl(kMacA)},
         KESTD_ERR_LIST_FULL},
        {"mac_duplicate",
         {{wifi(WIFI_CMD_MAC_ACL_ADD), mac_acl(kMacA)}},
         MGMT_OPT_SET,
         {wifi(WIFI_CMD_MAC_ACL_ADD), mac_acl(kMacA)},
         KESTD_ERR_DUPLICATE},
        {"mac_group_address",
         {},
         MGMT_OPT_SET,
         {wifi(WIFI_CMD_MAC_ACL_ADD), mac_acl({0x01, 0, 0x5e, 0, 0, 1})},
         KESTD_ERR_INVALID_ADDRESS},
        {"mac_del_absent",
         {},
         MGMT_OPT_SET,
         {wifi(WIFI_CMD_MAC_ACL_DEL), mac_acl(kMacA)},
         KESTD_ERR_NOT_FOUND},
        {"snat_duplicate",
         {{network(NETWORK_CMD_SNAT_ADD), snat_rule(80)}},
         MGMT_OPT_SET,
         {network(NETWORK_CMD_SNAT_ADD), snat_rule(80)},
         KESTD_ERR_DUPLICATE},
        {"snat_del_absent",
         {},
         MGMT_OPT_SET,
         {network(NETWORK_CMD_SNAT_DEL), snat_rule(80)},
         KESTD_ERR_NOT_FOUND},
        {"dmz_twice",
         {{network(NETWORK_CMD_DMZ_ADD), dmz}},
         MGMT_OPT_SET,
         {network(NETWORK_CMD_DMZ_ADD), dmz},
         KESTD_ERR_DUPLICATE},
        {"channel_of_other_band",
         {},
         MGMT_OPT_SET,
         {wifi(WIFI_CMD_CHANNEL),
          rec<wifi_channel_params>([](auto &r) { r.index = 1, r.channel = 36; })},
         KESTD_ERR_INVALID_CHANNEL},
        {"wpa_key_too_short",
         {},
         MGMT_OPT_SET,
         {wifi(WIFI_CMD_AUTH), rec<wifi_auth_params>([](auto &r) {
              r.index = 1, r.auth = 3;
              std::strcpy(r.wpa.password, "short");
          })},
         KESTD_ERR_INVALID_KEY},
        {"apn_get_unknown",
         {},
         MGMT_OPT_GET,
         {data_call(DATA_CALL_CMD_APN), apn_selector(2, 7)},
         KESTD_ERR_UNKNOWN_PROFILE},
        {"call_up_twice",
         {{data_call(DATA_CALL_CMD_UP), call_up(DATA_CALL_IP_V4)}},
         MGMT_OPT_SET,
         {data_call(DATA_CALL_CMD_UP), call_up(DATA_CALL_IP_V4)},
         KESTD_ERR_CALL_ACTIVE},
        {"call_down_inactive",
         {},
         MGMT_OPT_SET,
         {data_call(DATA_CALL_CMD_DOWN), call_down(DATA_CALL_IP_V4V6)},
         KESTD_ERR_CALL_INACTIVE},
        {"usb_id_zero",
         {},
         MGMT_OPT_SET,
         {usb(USB_CMD_ID), rec<usb_id_params>([](auto &) {})},
         KESTD_ERR_INVALID_VALUE},
    };
}

void PrintTo(const refusal &row, std::ostream *os)
{
    *os << row.name;
}

class ServiceRefusal : public Service, public ::testing::WithParamInterface<refusal> {};

TEST_P(ServiceRefusal, ReachesTheApplicationAsTheErrorNumber)
{
    const refusal &row = GetParam();
    for (const step &s : row.before) {
        bytes r = s.record;
        ASSERT_EQ(0, set(s.command, r)) << "error " << vg_mgmt_get_errno();
    }
    vg_mgmt_set_errno(12345);
    bytes r = row.last.record;
    EXPECT_EQ(-1, call(handle, row.opt, row.last.command, r));
    EXPECT_EQ(row.error, vg_mgmt_get_errno());
    EXPECT_TRUE(same_record(row.last.record, r)) << "a refused call changed the record";
}

INSTANTIATE_TEST_SUITE_P(Rows, ServiceRefusal, ::testing::ValuesIn(refusals()), RowName());

// Any code the service answers with passes through, beyond the table too.
TEST_F(Service, AnyServiceErrorCodePassesThrough)
{
    (*ctl)("fail 65535 1");
    bytes r = rec<wifi_work_mode_params>([](auto &) {});
    EXPECT_EQ(-1, get(wifi(WIFI_CMD_WORK_MODE), r));
    EXPECT_EQ(65535, vg_mgmt_get_errno());
    EXPECT_EQ(0, get(wifi(WIFI_CMD_WORK_MODE), r)) << "the fault is spent";
}

// ---------------------------------------------------------------------------
// Refusals of the library: error number 2 (or untouched), and nothing goes
// to the service. An armed fault of kestd would refuse the first request
// that arrives; the good call after the refused one must be that request.

struct library_refusal {
    const char *name;
    uint32_t opt;
    step call;
    int32_t error;
};

std::vector<library_refusal> library_refusals()
{
    return {
        {"work_mode_5",
         MGMT_OPT_SET,
         {wifi(WIFI_CMD_WORK_MODE), rec<wifi_work_mode_params>([](auto &r) { r.work_mode = 5; })},
         2},
        {"channel_15",
         MGMT_OPT_SET,
         {wifi(WIFI_CMD_CHANNEL),
          rec<wifi_channel_params>([](auto &r) { r.index = 1, r.channel = 15; })},
         2},
        {"interface_4", MGMT_OPT_GET, {wifi(WIFI_CMD_ESSID), index_only<wifi_essid_params>(4)}, 2},
        {"station_status_of_1",
         MGMT_OPT_GET,
         {wifi(WIFI_CMD_STATION_STATUS), index_only<wifi_station_status_params>(1)},
         12345},
        {"snat_protocol_5",
         MGMT_OPT_SET,
         {network(NETWORK_CMD_SNAT_ADD), rec<network_snat_params>([](auto &r) {
              r.private_port = 1, r.global_port = 1, r.protocol = 5;
          })},
         2},
        {"call_profile_25",
         MGMT_OPT_SET,
         {data_call(DATA_CALL_CMD_UP),
          rec<data_call_up_params>([](auto &r) { r.profile_id = 25; })},
         2},
        {"apn_pdp_type_4",
         MGMT_OPT_SET,
         {data_call(DATA_CALL_CMD_APN_ADD),
          rec<data_call_apn_params>([](auto &r) { r.pdp_type = 4; })},
         2},
        {"usb_instance_1",
         MGMT_OPT_GET,
         {usb(USB_CMD_CONFIG_GET), rec<usb_config_params>([](auto &r) { r.usb_num = 1; })},
         2},
        {"usb_net_4",
         MGMT_OPT_SET,
         {usb(USB_CMD_NET), rec<usb_net_params>([](auto &r) { r.net = 4; })},
         2},
        {"unknown_command", MGMT_OPT_GET, {wifi(99), {0, 0, 0, 0}}, MGMT_ERR_NOT_SUPPORTED},
        {"set_of_get_only",
         MGMT_OPT_SET,
         {network(NETWORK_CMD_SGMII_INFO), {0, 0, 0, 0}},
         MGMT_ERR_NOT_SUPPORTED},
    };
}

void PrintTo(const library_refusal &row, std::ostream *os)
{
    *os << row.name;
}

class LibraryRefusal : public Service, public ::testing::WithParamInterface<library_refusal> {};

TEST_P(LibraryRefusal, SendsNothing)
{
    const library_refusal &row = GetParam();
    (*ctl)("fail 4242 1");
    vg_mgmt_set_errno(12345);
    bytes r = row.call.record;
    EXPECT_EQ(-1, call(handle, row.opt, row.call.command, r));
    EXPECT_EQ(row.error, vg_mgmt_get_errno());
    EXPECT_TRUE(same_record(row.call.record, r));

    bytes probe = rec<wifi_work_mode_params>([](auto &) {});
    EXPECT_EQ(-1, get(wifi(WIFI_CMD_WORK_MODE), probe));
    EXPECT_EQ(4242, vg_mgmt_get_errno()) << "the refused call reached the service";
}

INSTANTIATE_TEST_SUITE_P(Rows, LibraryRefusal, ::testing::ValuesIn(library_refusals()), RowName());

} // namespace
