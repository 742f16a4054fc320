// One round trip per described command through the library, the host
// transport and kestd: what a set changes is what a get reads back (a
// command without a get is read by another command, or in kestd's dump).
// Every command of the descriptions has its row, and every record has the
// described length. kestd's refusals are its own tests', at the wire.
#include "e2e_support.h"

#include <arpa/inet.h>

#include "module_factory.h"

namespace {
using namespace e2e;
namespace mf = module_factory;

constexpr uint32_t W = MGMT_DOMAIN_WIFI, D = MGMT_DOMAIN_DATA_CALL, N = MGMT_DOMAIN_NETWORK,
                   U = MGMT_DOMAIN_USB;
const uint8_t kMacA[6] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
const uint8_t kMacB[6] = {0x02, 0x66, 0x77, 0x88, 0x99, 0xaa};

struct step {
    uint32_t domain, command;
    bytes record;
};

struct trip {
    const char *name;
    uint32_t domain, command; // the described command whose round trip this is
    std::vector<step> sets;   // after `control`, when given
    uint32_t read;            // the command of the domain whose get reads back; 0: none
    bytes query, expect;
    const char *control = nullptr;
    const char *dump = nullptr; // a text of kestd's dump that must appear
};

template <class R>
bytes zero()
{
    return rec<R>([](R &) {});
}

// A setting of an interface, read back by index: `stored` is what the get
// reads (a flag is stored as 1).
template <class R, class V>
trip setting(const char *name, uint32_t cmd, V R::*field, V value, V stored)
{
    auto with = [&](V v) { return rec<R>([&](R &r) { r.index = 2, r.*field = v; }); };
    return {name, W, cmd, {{W, cmd, with(value)}}, cmd, with(V{}), with(stored)};
}
// A command set and read back as it was set.
trip same(const char *name, uint32_t domain, uint32_t cmd, bytes set, bytes query)
{
    return {name, domain, cmd, {{domain, cmd, set}}, cmd, std::move(query), set};
}

bytes mac_acl(const uint8_t (&mac)[6])
{
    return rec<wifi_mac_acl_params>([&](auto &r) { r.index = 1, std::memcpy(r.mac, mac, 6); });
}
bytes mac_list(const uint8_t (&mac)[6])
{
    return rec<wifi_mac_acl_info_params>(
        [&](auto &r) { r.index = 1, r.count = 1, std::memcpy(r.mac_list[0], mac, 6); });
}
bytes channel(uint32_t index, uint32_t ch)
{
    return rec<wifi_channel_params>([&](auto &r) { r.index = index, r.channel = ch; });
}
bytes apn(uint8_t type, uint8_t index, const char *name)
{
    return rec<data_call_apn_params>([&](auto &r) {
        r.profile_type = type, r.profile_index = index, r.pdp_type = 1, r.auth_protocol = 2;
        std::strcpy(r.apn_name, name), std::strcpy(r.username, "user");
        std::strcpy(r.password, "secret");
    });
}
bytes apn_list(std::vector<uint8_t> indexes)
{
    return rec<data_call_apn_list_params>([&](auto &r) {
        r.length = static_cast<uint8_t>(indexes.size());
        std::copy(indexes.begin(), indexes.end(), r.index_list);
    });
}
bytes call_up(uint32_t ip_type)
{
    return rec<data_call_up_params>([&](auto &r) { r.ip_type = ip_type, r.reconnect = 1; });
}
bytes call_info(uint32_t ip_type)
{
    return rec<data_call_info_params>([&](auto &r) { r.ip_type = ip_type; });
}
// Both halves of profile 0 up: the addresses the first call up is given.
bytes call_info_up()
{
    return rec<data_call_info_params>([](auto &r) {
        r.ip_type = DATA_CALL_IP_V4V6;
        for (auto *half : {&r.ipv4.status, &r.ipv6.status})
            *half = 1;
        r.ipv4.flag = r.ipv6.flag = 1;
        std::strcpy(r.ipv4.name, "rmnet_data0"), std::strcpy(r.ipv6.name, "rmnet_data0");
        const uint32_t v4[4] = {ipv4(10, 64, 0, 3), ipv4(10, 64, 0, 1), ipv4(8, 8, 8, 8),
                                ipv4(8, 8, 4, 4)};
        std::copy(v4, v4 + 4, r.ipv4.address);
        const char *v6[4] = {"2001:db8:40:0::4", "2001:db8:40:0::1", "2001:4860:4860::8888",
                             "2001:4860:4860::8844"};
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(1, inet_pton(AF_INET6, v6[i], r.ipv6.address[i]));
    });
}
bytes snat(uint16_t global_port)
{
    return rec<network_snat_params>([&](auto &r) {
        r.private_ip = ipv4(192, 168, 225, 30), r.private_port = 8080;
        r.global_port = global_port, r.protocol = 6;
    });
}
bytes snat_list(uint16_t global_port)
{
    return rec<network_snat_list_params>(
        [&](auto &r) { r.count = 1, r.entries[0] = as<network_snat_params>(snat(global_port)); });
}
const bytes kDmz = rec<network_dmz_params>([](auto &r) { r.ipv4_addr = ipv4(192, 168, 225, 9); });
const bytes kSgmiiFixed =
    rec<network_sgmii_config_params>([](auto &r) { r.autoneg = 0, r.speed = 1, r.duplex = 0; });

// The committed USB configuration of a fresh kestd, with a change.
template <class G>
bytes usb_config(G change)
{
    return rec<usb_config_params>([&](auto &r) {
        r.pid = mf::kUsbPid, r.vid = mf::kUsbVid;
        std::strcpy(r.product_info, mf::kUsbProduct), std::strcpy(r.manufac_info, mf::kUsbMaker);
        uint8_t *f[7] = {&r.diag, &r.nmea, &r.at, &r.modem, &r.net, &r.adb, &r.audio_uac};
        for (int i = 0; i < 7; ++i)
            *f[i] = mf::kUsbFunctions[i];
        change(r);
    });
}
// A USB setting, written back, and the committed configuration read.
template <class R, class F, class G>
trip usb(const char *name, uint32_t cmd, F setting, G change)
{
    return {name,
            U,
            cmd,
            {{U, cmd, rec<R>(setting)}, {U, USB_CMD_CONFIG_WRITE, {}}},
            USB_CMD_CONFIG_GET,
            zero<usb_config_params>(),
            usb_config(change)};
}

#define SWITCH_TRIP(name, setting_name, field, ...)                                                \
    setting(#setting_name, WIFI_CMD_##name, &wifi_##setting_name##_params::field, uint8_t{7},      \
            uint8_t{1}),

std::vector<trip> trips()
{
    using essid = wifi_essid_params;
    using sta = wifi_station_status_params;
    using acl_info = wifi_mac_acl_info_params;
    using sgmii_on = network_sgmii_enable_params;
    const bytes wep = rec<wifi_auth_params>([](auto &r) {
        r.index = 1, r.auth = WIFI_AUTH_WEP, r.wep.default_index = 2;
        std::strcpy(r.wep.key0, "abcde"), std::strcpy(r.wep.key1, "0123456789");
        std::strcpy(r.wep.key2, "ABCDEFGHIJKLM"),
            std::strcpy(r.wep.key3, "0123456789abcdef0123456789");
    });
    const bytes lan = rec<network_lan_config_params>([](auto &r) {
        r.lan_word_a = ipv4(10, 1, 2, 1), r.lan_word_b = ipv4(255, 255, 255, 0), r.lan_byte = 1;
        r.lan_word_c = ipv4(10, 1, 2, 100), r.lan_word_d = ipv4(10, 1, 2, 150), r.lan_word_e = 3600;
    });
    const bytes v4_down = rec<data_call_info_params>([](auto &r) {
        r.ip_type = DATA_CALL_IP_V4; // a half that is down has no name and no addresses
        std::fill(std::begin(r.ipv4.address), std::end(r.ipv4.address), 0xffffffffu);
    });
    const bytes stations = rec<wifi_sta_info_params>([](auto &r) {
        r.num_sta = 1, r.stations[0].field_a = 1, r.stations[0].field_b = 144;
        std::strcpy(reinterpret_cast<char *>(r.stations[0].field_c), "192.168.225.20");
        std::memcpy(r.stations[0].mac, kMacA, 6), std::strcpy(r.stations[0].text, "phone");
    });
    const bytes two_rules = rec<network_snat_list_params>([](auto &r) {
        r.count = 2, r.entries[0] = as<network_snat_params>(snat(80));
        r.entries[1] = as<network_snat_params>(snat(443));
    });
    const auto acl = [](uint32_t index) {
        return rec<acl_info>([&](auto &r) { r.index = index; });
    };
    const auto on = [](uint8_t v) { return rec<sgmii_on>([&](auto &r) { r.enable = v; }); };
    const step write_back{U, USB_CMD_CONFIG_WRITE, {}};
    // clang-format off
    return {
        same("work_mode", W, WIFI_CMD_WORK_MODE, rec<wifi_work_mode_params>([](auto &r) { r.work_mode = 3; }), zero<wifi_work_mode_params>()),
        same("enable", W, WIFI_CMD_ENABLE, zero<wifi_enable_params>(), rec<wifi_enable_params>([](auto &r) { r.enable = 9; })),
        same("country_code", W, WIFI_CMD_COUNTRY_CODE, rec<wifi_country_code_params>([](auto &r) { std::strcpy(r.country_code, "DE"); }), zero<wifi_country_code_params>()),
        same("essid", W, WIFI_CMD_ESSID, rec<essid>([](auto &r) { r.index = 2, r.format_type = 1, std::strcpy(r.ssid, "a-thirty-two-character-ssid-name"); }), rec<essid>([](auto &r) { r.index = 2; })),
        same("auth", W, WIFI_CMD_AUTH, wep, rec<wifi_auth_params>([](auto &r) { r.index = 1; })),
        setting("mode", WIFI_CMD_MODE, &wifi_mode_params::mode, 2u, 2u),
        same("channel", W, WIFI_CMD_CHANNEL, channel(2, 149), channel(2, 0)),
        setting("bandwidth", WIFI_CMD_BANDWIDTH, &wifi_bandwidth_params::bandwidth, 3u, 3u),
        setting("max_num_sta", WIFI_CMD_MAX_NUM_STA, &wifi_max_num_sta_params::max_num_sta, 16u, 16u),
        setting("rssi", WIFI_CMD_RSSI, &wifi_rssi_params::rssi, 95u, 95u),
        KEST_WIFI_SWITCHES(SWITCH_TRIP)
        setting("mac_acl_rule", WIFI_CMD_MAC_ACL_RULE, &wifi_mac_acl_rule_params::rule, 2u, 2u),
        {"mac_acl_add", W, WIFI_CMD_MAC_ACL_ADD, {{W, WIFI_CMD_MAC_ACL_ADD, mac_acl(kMacA)}}, WIFI_CMD_MAC_ACL_INFO, acl(1), mac_list(kMacA)},
        {"mac_acl_del", W, WIFI_CMD_MAC_ACL_DEL, {{W, WIFI_CMD_MAC_ACL_ADD, mac_acl(kMacA)}, {W, WIFI_CMD_MAC_ACL_ADD, mac_acl(kMacB)}, {W, WIFI_CMD_MAC_ACL_DEL, mac_acl(kMacA)}}, WIFI_CMD_MAC_ACL_INFO, acl(1), mac_list(kMacB)},
        // Each interface has its own list.
        {"mac_acl_info", W, WIFI_CMD_MAC_ACL_INFO, {{W, WIFI_CMD_MAC_ACL_ADD, mac_acl(kMacA)}}, WIFI_CMD_MAC_ACL_INFO, acl(2), acl(2)},
        // A station of access point 1, given the first address of the DHCP range.
        {"sta_info", W, WIFI_CMD_STA_INFO, {}, WIFI_CMD_STA_INFO, zero<wifi_sta_info_params>(), stations, "sta-join 1 02:11:22:33:44:55 phone"},
        {"station_status", W, WIFI_CMD_STATION_STATUS, {}, WIFI_CMD_STATION_STATUS, rec<sta>([](auto &r) { r.index = 3; }), rec<sta>([](auto &r) { r.index = 3, r.status = 2, std::strcpy(r.ssid, "HomeNet"); }), "sta-status 2 HomeNet"},
        {"active", W, WIFI_CMD_ACTIVE, {{W, WIFI_CMD_ACTIVE, rec<wifi_active_params>([](auto &r) { r.index = 2; })}}, 0, {}, {}, nullptr, "wifi.2.auth=ssid \"KEST-5G\" format 0 active 0 "},
        // Interface 1 only: interface 2 keeps its channel.
        {"restore_default", W, WIFI_CMD_RESTORE_DEFAULT, {{W, WIFI_CMD_CHANNEL, channel(1, 11)}, {W, WIFI_CMD_CHANNEL, channel(2, 40)}, {W, WIFI_CMD_RESTORE_DEFAULT, rec<wifi_restore_default_params>([](auto &r) { r.index = 1; })}}, WIFI_CMD_CHANNEL, channel(2, 0), channel(2, 40), nullptr, "wifi.1.radio=channel 6 "},

        {"up", D, DATA_CALL_CMD_UP, {{D, DATA_CALL_CMD_UP, call_up(DATA_CALL_IP_V4V6)}}, DATA_CALL_CMD_INFO, call_info(DATA_CALL_IP_V4V6), call_info_up()},
        {"down", D, DATA_CALL_CMD_DOWN, {{D, DATA_CALL_CMD_UP, call_up(DATA_CALL_IP_V4)}, {D, DATA_CALL_CMD_DOWN, rec<data_call_down_params>([](auto &r) { r.ip_type = DATA_CALL_IP_V4; })}}, DATA_CALL_CMD_INFO, call_info(DATA_CALL_IP_V4), v4_down},
        {"info", D, DATA_CALL_CMD_INFO, {}, DATA_CALL_CMD_INFO, call_info(DATA_CALL_IP_V6), call_info(DATA_CALL_IP_V6)},
        same("apn", D, DATA_CALL_CMD_APN, apn(0, 0, "apn.example"), zero<data_call_apn_params>()),
        // Add takes the lowest free index.
        {"apn_add", D, DATA_CALL_CMD_APN_ADD, {{D, DATA_CALL_CMD_APN_ADD, apn(1, 0, "iot")}, {D, DATA_CALL_CMD_APN_ADD, apn(1, 7, "two")}}, DATA_CALL_CMD_APN, apn(1, 1, ""), apn(1, 1, "two")},
        {"apn_del", D, DATA_CALL_CMD_APN_DEL, {{D, DATA_CALL_CMD_APN_ADD, apn(0, 0, "one")}, {D, DATA_CALL_CMD_APN_ADD, apn(0, 0, "two")}, {D, DATA_CALL_CMD_APN_DEL, apn(0, 1, "")}}, DATA_CALL_CMD_APN_LIST, apn_list({}), apn_list({0, 2})},
        {"apn_list", D, DATA_CALL_CMD_APN_LIST, {}, DATA_CALL_CMD_APN_LIST, apn_list({}), apn_list({0})},
        same("default_profile", D, DATA_CALL_CMD_DEFAULT_PROFILE, rec<data_call_default_profile_params>([](auto &r) { r.tech_pref = 2, r.ip_family = 1; }), zero<data_call_default_profile_params>()),

        {"dmz_add", N, NETWORK_CMD_DMZ_ADD, {{N, NETWORK_CMD_DMZ_ADD, kDmz}}, NETWORK_CMD_DMZ_GET, zero<network_dmz_params>(), kDmz},
        {"dmz_del", N, NETWORK_CMD_DMZ_DEL, {{N, NETWORK_CMD_DMZ_ADD, kDmz}, {N, NETWORK_CMD_DMZ_DEL, {}}}, NETWORK_CMD_DMZ_GET, kDmz, zero<network_dmz_params>()},
        {"dmz_get", N, NETWORK_CMD_DMZ_GET, {}, NETWORK_CMD_DMZ_GET, kDmz, zero<network_dmz_params>()},
        {"sgmii_enable", N, NETWORK_CMD_SGMII_ENABLE, {{N, NETWORK_CMD_SGMII_ENABLE, on(5)}}, NETWORK_CMD_SGMII_ENABLE, on(0), on(1)},
        same("sgmii_config", N, NETWORK_CMD_SGMII_CONFIG, kSgmiiFixed, rec<network_sgmii_config_params>([](auto &r) { r.autoneg = r.speed = r.duplex = 1; })),
        {"sgmii_info", N, NETWORK_CMD_SGMII_INFO, {{N, NETWORK_CMD_SGMII_ENABLE, on(1)}, {N, NETWORK_CMD_SGMII_CONFIG, kSgmiiFixed}}, NETWORK_CMD_SGMII_INFO, zero<network_sgmii_info_params>(), rec<network_sgmii_info_params>([](auto &r) { r.flag_a = r.flag_b = r.byte_a = 1; })},
        same("lan_config", N, NETWORK_CMD_LAN_CONFIG, lan, zero<network_lan_config_params>()),
        {"snat_add", N, NETWORK_CMD_SNAT_ADD, {{N, NETWORK_CMD_SNAT_ADD, snat(80)}}, NETWORK_CMD_SNAT_GET, zero<network_snat_list_params>(), snat_list(80)},
        {"snat_del", N, NETWORK_CMD_SNAT_DEL, {{N, NETWORK_CMD_SNAT_ADD, snat(80)}, {N, NETWORK_CMD_SNAT_ADD, snat(443)}, {N, NETWORK_CMD_SNAT_DEL, snat(80)}}, NETWORK_CMD_SNAT_GET, zero<network_snat_list_params>(), snat_list(443)},
        {"snat_get", N, NETWORK_CMD_SNAT_GET, {{N, NETWORK_CMD_SNAT_ADD, snat(80)}, {N, NETWORK_CMD_SNAT_ADD, snat(443)}}, NETWORK_CMD_SNAT_GET, zero<network_snat_list_params>(), two_rules},
        same("ethernet_mode", N, NETWORK_CMD_ETHERNET_MODE, rec<network_ethernet_mode_params>([](auto &r) { r.mode = 1; }), zero<network_ethernet_mode_params>()),

        usb<usb_bootup_params>("bootup", USB_CMD_BOOTUP, [](auto &r) { r.bootup = 2; }, [](auto &r) { r.bootup = 2; }),
        usb<usb_id_params>("id", USB_CMD_ID, [](auto &r) { r.pid = 0x1234, r.vid = 0xabcd; }, [](auto &r) { r.pid = 0x1234, r.vid = 0xabcd; }),
        // 40 characters: the first 32 go out.
        usb<usb_product_info_params>("product_info", USB_CMD_PRODUCT_INFO, [](auto &r) { std::strcpy(r.product_info, "0123456789abcdefghijklmnopqrstuvWXYZWXYZ"); }, [](auto &r) { std::strcpy(r.product_info, "0123456789abcdefghijklmnopqrstuv"); }),
        usb<usb_manufac_info_params>("manufac_info", USB_CMD_MANUFAC_INFO, [](auto &r) { std::strcpy(r.manufac_info, "Makers"); }, [](auto &r) { std::strcpy(r.manufac_info, "Makers"); }),
        usb<usb_net_params>("net", USB_CMD_NET, [](auto &r) { r.net = 3; }, [](auto &r) { r.usbnet = 3; }),
        usb<usb_func_params>("func", USB_CMD_FUNC, [](auto &r) { r.at = r.adb = r.audio_uac = 1; }, [](auto &r) { r.diag = r.nmea = r.modem = r.net = 0, r.adb = r.audio_uac = 1; }),
        // Without a write-back nothing is committed: the dump shows it pending.
        {"config_write", U, USB_CMD_CONFIG_WRITE, {{U, USB_CMD_BOOTUP, rec<usb_bootup_params>([](auto &r) { r.bootup = 1; })}}, USB_CMD_CONFIG_GET, zero<usb_config_params>(), usb_config([](auto &) {}), nullptr, "usb.pending=bootup 1 "},
        {"config_get", U, USB_CMD_CONFIG_GET, {{U, USB_CMD_NET, rec<usb_net_params>([](auto &r) { r.net = 2; })}, write_back}, USB_CMD_CONFIG_GET, zero<usb_config_params>(), usb_config([](auto &r) { r.usbnet = 2; })},
        {"action", U, USB_CMD_ACTION, {{U, USB_CMD_ACTION, rec<usb_action_params>([](auto &r) { r.action_type = 2; })}}, 0, {}, {}, nullptr, "usb.last_action=2"},
    };
    // clang-format on
}

// The described length of a record of `domain`'s command in direction `flag`.
uint32_t described_len(uint32_t domain, uint32_t command, uint32_t flag)
{
    const kest_command *c = kest_command_find(domain, command, flag);
    return c != nullptr ? c->record_len : ~0u;
}

TEST(RoundTrips, OneForEveryDescribedCommandWithDescribedRecords)
{
    const std::vector<trip> rows = trips();
    for (const kest_command_table &t : kCommandTables)
        for (size_t i = 0; i < t.count; ++i) {
            const kest_command &c = t.rows[i];
            EXPECT_EQ(1, std::count_if(rows.begin(), rows.end(),
                                       [&](const trip &r) {
                                           return r.domain == c.domain && r.command == c.command;
                                       }))
                << "command " << c.command << " of domain " << c.domain;
        }
    for (const trip &r : rows) {
        for (const step &s : r.sets)
            EXPECT_EQ(described_len(s.domain, s.command, MGMT_OPT_SET), s.record.size()) << r.name;
        const uint32_t query_len = r.read != 0 ? described_len(r.domain, r.read, MGMT_OPT_GET) : 0;
        EXPECT_EQ(query_len, r.query.size()) << r.name;
    }
}

class RoundTrip : public Service, public ::testing::WithParamInterface<trip> {};

TEST_P(RoundTrip, WhatIsSetReadsBack)
{
    const trip &row = GetParam();
    if (row.control != nullptr)
        ctl->control(row.control);
    for (const step &s : row.sets) {
        bytes r = s.record;
        ASSERT_EQ(0, set(MGMT_COMMAND(s.domain, s.command), r))
            << "set " << s.command << " error " << vg_mgmt_get_errno();
    }
    if (row.read != 0) {
        bytes r = row.query;
        ASSERT_EQ(0, get(MGMT_COMMAND(row.domain, row.read), r)) << vg_mgmt_get_errno();
        EXPECT_TRUE(same_record(row.expect, r));
    }
    EXPECT_NE(std::string::npos, ctl->control("dump").find(row.dump ? row.dump : "\n"));
}

INSTANTIATE_TEST_SUITE_P(Commands, RoundTrip, ::testing::ValuesIn(trips()), RowName());

// Any code the service answers with reaches the application as the error
// number, beyond the error table too, and leaves the record as it was.
TEST_F(Service, AnyServiceErrorCodePassesThrough)
{
    ctl->control("fail 65535 1");
    const bytes before = channel(1, 0);
    bytes r = before;
    EXPECT_EQ(-1, get(wifi(WIFI_CMD_CHANNEL), r));
    EXPECT_EQ(65535, vg_mgmt_get_errno());
    EXPECT_TRUE(same_record(before, r));
    EXPECT_EQ(0, get(wifi(WIFI_CMD_CHANNEL), r)) << "the fault is spent";
}

} // namespace
