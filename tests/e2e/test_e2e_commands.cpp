// One round trip through the library, the host transport and kestd for each
// described command that is no setting of the configuration document: what
// a set changes is what a get reads back (a command without a get is read by
// another command, or in kestd's dump). The document's settings go round
// through the tool (tests/tools/test_cli_settings.cpp); a row here for one of
// them shows what that walk cannot (the library's cut of a long text). Every
// record has the described length; kestd's refusals are its own tests'.
#include "e2e_support.h"

#include <arpa/inet.h>

#include "kest_fields.h"
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
        std::copy(kCallV4, kCallV4 + 4, r.ipv4.address);
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(1, inet_pton(AF_INET6, kCallV6[i], r.ipv6.address[i]));
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
std::vector<trip> trips()
{
    using sta = wifi_station_status_params;
    using acl_info = wifi_mac_acl_info_params;
    using sgmii_on = network_sgmii_enable_params;
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
        // Add takes the lowest free index.
        {"apn_add", D, DATA_CALL_CMD_APN_ADD, {{D, DATA_CALL_CMD_APN_ADD, apn(1, 0, "iot")}, {D, DATA_CALL_CMD_APN_ADD, apn(1, 7, "two")}}, DATA_CALL_CMD_APN, apn(1, 1, ""), apn(1, 1, "two")},
        {"apn_del", D, DATA_CALL_CMD_APN_DEL, {{D, DATA_CALL_CMD_APN_ADD, apn(0, 0, "one")}, {D, DATA_CALL_CMD_APN_ADD, apn(0, 0, "two")}, {D, DATA_CALL_CMD_APN_DEL, apn(0, 1, "")}}, DATA_CALL_CMD_APN_LIST, apn_list({}), apn_list({0, 2})},
        {"apn_list", D, DATA_CALL_CMD_APN_LIST, {}, DATA_CALL_CMD_APN_LIST, apn_list({}), apn_list({0})},

        {"dmz_del", N, NETWORK_CMD_DMZ_DEL, {{N, NETWORK_CMD_DMZ_ADD, kDmz}, {N, NETWORK_CMD_DMZ_DEL, {}}}, NETWORK_CMD_DMZ_GET, kDmz, zero<network_dmz_params>()},
        {"dmz_get", N, NETWORK_CMD_DMZ_GET, {}, NETWORK_CMD_DMZ_GET, kDmz, zero<network_dmz_params>()},
        {"sgmii_info", N, NETWORK_CMD_SGMII_INFO, {{N, NETWORK_CMD_SGMII_ENABLE, on(1)}, {N, NETWORK_CMD_SGMII_CONFIG, kSgmiiFixed}}, NETWORK_CMD_SGMII_INFO, zero<network_sgmii_info_params>(), rec<network_sgmii_info_params>([](auto &r) { r.flag_a = r.flag_b = r.byte_a = 1; })},
        {"snat_del", N, NETWORK_CMD_SNAT_DEL, {{N, NETWORK_CMD_SNAT_ADD, snat(80)}, {N, NETWORK_CMD_SNAT_ADD, snat(443)}, {N, NETWORK_CMD_SNAT_DEL, snat(80)}}, NETWORK_CMD_SNAT_GET, zero<network_snat_list_params>(), snat_list(443)},
        {"snat_get", N, NETWORK_CMD_SNAT_GET, {{N, NETWORK_CMD_SNAT_ADD, snat(80)}, {N, NETWORK_CMD_SNAT_ADD, snat(443)}}, NETWORK_CMD_SNAT_GET, zero<network_snat_list_params>(), two_rules},

        // 40 characters: the first 32 go out.
        {"product_info", U, USB_CMD_PRODUCT_INFO, {{U, USB_CMD_PRODUCT_INFO, rec<usb_product_info_params>([](auto &r) { std::strcpy(r.product_info, "0123456789abcdefghijklmnopqrstuvWXYZWXYZ"); })}, write_back}, USB_CMD_CONFIG_GET, zero<usb_config_params>(), usb_config([](auto &r) { std::strcpy(r.product_info, "0123456789abcdefghijklmnopqrstuv"); })},
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

// A command with a field of the configuration document.
bool in_document(uint32_t domain, uint32_t command)
{
    const kest_field_span fields = kest_fields_of(domain, command);
    return std::any_of(fields.begin(), fields.end(), [](const kest_field &f) { return f.path; });
}

TEST(RoundTrips, OneForEveryCommandBesideTheSettingsWithDescribedRecords)
{
    const std::vector<trip> rows = trips();
    for (const kest_command_table &t : kCommandTables)
        for (size_t i = 0; i < t.count; ++i) {
            const kest_command &c = t.rows[i];
            const auto n = std::count_if(rows.begin(), rows.end(), [&](const trip &r) {
                return r.domain == c.domain && r.command == c.command;
            });
            EXPECT_EQ(n, in_document(c.domain, c.command) ? std::min<long>(n, 1) : 1)
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
