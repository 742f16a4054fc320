// kestd over its socket: each test starts its own kestd in a private folder
// and speaks the frame format directly.
#include <gtest/gtest.h>

#include "kestd_test_support.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "kest_msg.h"
#include "kestd_client.h"
#include "kestd_errors.h"

namespace {

using namespace kestd_test;

// ---------------------------------------------------------------------------
// A set, then a get of the same thing, per domain: the get answer from byte 4
// on (behind resp_status) must hold what was set.

struct round_trip {
    const char *name;
    std::vector<std::pair<uint32_t, bytes>> sets;
    uint32_t get_id;
    bytes get_req;
    bytes expect; // bytes of the get record from offset 4
};

wifi_auth_set_req wpa_auth()
{
    wifi_auth_set_req r{};
    r.index = 1;
    r.auth = 4;
    r.pairwise = 2;
    std::strcpy(r.password, "correct horse battery");
    r.group_rekey = 86400;
    return r;
}

wifi_auth_get_resp wpa_auth_answer()
{
    wifi_auth_get_resp r{};
    r.auth = 4;
    r.pairwise = 2;
    std::strcpy(r.password, "correct horse battery");
    r.group_rekey = 86400;
    return r;
}

data_call_apn_set_req apn_profile()
{
    data_call_apn_set_req r{};
    r.profile_type = 0;
    r.profile_index = 0;
    r.pdp_type = 2;
    r.auth_protocol = 255;
    std::strcpy(r.apn_name, "corp.example");
    std::strcpy(r.username, "fleet");
    std::strcpy(r.password, "s3cret");
    return r;
}

data_call_apn_get_resp apn_answer()
{
    data_call_apn_get_resp r{};
    r.unused0[0] = 0;
    r.unused0[1] = 0;
    r.pdp_type = 2;
    r.auth_protocol = 255;
    std::strcpy(r.apn_name, "corp.example");
    std::strcpy(r.username, "fleet");
    std::strcpy(r.password, "s3cret");
    return r;
}

network_lan_config_block lan_block()
{
    return {ipv4(10, 1, 0, 1), ipv4(255, 255, 0, 0), 7,   {},
            ipv4(10, 1, 2, 0), ipv4(10, 1, 2, 200),  3600};
}

template <class T>
bytes tail(const T &rec)
{
    bytes b = raw(rec);
    return bytes(b.begin() + 4, b.end());
}

// The SGMII port's state while enabled: auto-negotiation, speed and duplex in use.
bytes sgmii_info(uint8_t autoneg, uint8_t speed, uint8_t duplex)
{
    network_sgmii_info_get_resp r{};
    r.flag_a = r.flag_b = 1;
    r.flag_c = autoneg;
    r.byte_a = speed;
    r.byte_b = duplex;
    return tail(r);
}

network_snat_rule snat_rule(uint8_t host)
{
    return network_snat_rule{
        ipv4(192, 168, 225, host), 80, static_cast<uint16_t>(8000 + host), 6, {}};
}

const std::vector<round_trip> &round_trips()
{
    static const wifi_essid_get_resp essid = [] {
        wifi_essid_get_resp r{};
        r.format_type = 1;
        std::strcpy(r.ssid, "Office Net");
        return r;
    }();
    static const std::vector<round_trip> rows = {
        {"work_mode", {{1, {3}}}, 2, {}, {3, 0}},
        {"country_code", {{5, {'D', 'E'}}}, 6, {}, {'D', 'E'}},
        {"essid",
         {{3,
           [] {
               wifi_essid_set_req r{2, 1, {}};
               std::strcpy(r.ssid, "Office Net");
               return raw(r);
           }()}},
         4,
         {2},
         tail(essid)},
        {"channel", {{9, raw(wifi_channel_set_req{1, 0, 11})}}, 10, {1}, {11, 0}},
        {"rssi", {{25, {2, 60}}}, 26, {2}, {60, 0}},
        {"flag_is_stored_as_one", {{19, {1, 9}}}, 20, {1}, {1, 0}},
        {"auth_wpa", {{21, raw(wpa_auth())}}, 22, {1}, tail(wpa_auth_answer())},
        {"mac_acl_rule", {{34, {3, 2}}}, 35, {3}, {2, 0}},
        {"mac_acl_list",
         {{36, {1, 0x02, 1, 2, 3, 4, 5}}},
         38,
         {1},
         [] {
             wifi_mac_acl_info_get_resp r{};
             r.count = 1;
             const uint8_t m[6] = {2, 1, 2, 3, 4, 5};
             std::memcpy(r.mac_list[0], m, 6);
             return tail(r);
         }()},
        {"apn", {{44, raw(apn_profile())}}, 45, {0, 0}, tail(apn_answer())},
        {"default_profile", {{49, {0, 1, 0}}}, 50, {}, {0, 1, 0, 0}},
        {"dmz", {{51, raw(ipv4(192, 168, 225, 50))}}, 53, {}, raw(ipv4(192, 168, 225, 50))},
        {"snat",
         {{61, raw(network_snat_rule{ipv4(192, 168, 225, 30), 8080, 80, 6, {}})}},
         63,
         {},
         [] {
             network_snat_get_get_resp r{};
             r.count = 1;
             r.entries[0] = network_snat_rule{ipv4(192, 168, 225, 30), 8080, 80, 6, {}};
             return tail(r);
         }()},
        // A rule taken from the middle leaves the others in their order.
        {"snat_delete_middle",
         {{62, raw(network_snat_rule{ipv4(192, 168, 225, 30), 8080, 80, 6, {}})},
          {61, raw(snat_rule(31))},
          {61, raw(snat_rule(32))},
          {61, raw(snat_rule(33))},
          {62, raw(snat_rule(32))}},
         63,
         {},
         [] {
             network_snat_get_get_resp r{};
             r.count = 2;
             r.entries[0] = snat_rule(31);
             r.entries[1] = snat_rule(33);
             return tail(r);
         }()},
        // The DMZ host and SNAT rules above leave first: the new LAN does not hold them.
        {"lan",
         {{52, {}}, {62, raw(snat_rule(31))}, {62, raw(snat_rule(33))}, {59, raw(lan_block())}},
         60,
         {},
         raw(lan_block())},
        {"sgmii_enable", {{54, {5}}}, 55, {}, {1, 0}},
        {"sgmii_config", {{56, {0, 1, 0}}}, 57, {}, {0, 1, 0, 0}},
        // In use: what auto-negotiation found (1000 Mb/s, full), else what was set.
        {"sgmii_info_autoneg", {{54, {1}}, {56, {1, 0, 0}}}, 58, {}, sgmii_info(1, 2, 1)},
        {"sgmii_info_fixed", {{54, {1}}, {56, {0, 1, 0}}}, 58, {}, sgmii_info(0, 1, 0)},
        {"ethernet_mode", {{64, raw(uint32_t{1})}}, 65, {}, raw(uint32_t{1})},
        {"usb_after_write_back",
         {{68, raw(usb_u32_setting_set_req{0, 2})}, {66, {}}},
         74,
         raw(uint32_t{0}),
         [] {
             bytes b(4, 0);
             b[0] = 2;
             return b;
         }()},
    };
    return rows;
}

TEST_F(Kestd, SetThenGetRoundTripsPerDomain)
{
    client c(svc.sock);
    for (const round_trip &row : round_trips()) {
        SCOPED_TRACE(row.name);
        for (const auto &[id, req] : row.sets)
            EXPECT_EQ(c.error_of(id, req), 0) << "set " << id;
        const frame f = c.request(row.get_id, row.get_req);
        ASSERT_EQ(f.h.kind, KEST_FRAME_RESPONSE);
        EXPECT_EQ(f.h.status, 0);
        ASSERT_GE(f.payload.size(), 4 + row.expect.size());
        EXPECT_EQ(client::r_status(f), 0);
        EXPECT_EQ(bytes(f.payload.begin() + 4,
                        f.payload.begin() + 4 + static_cast<long>(row.expect.size())),
                  row.expect);
    }
}

// The dump shows a value that holds control characters escaped: it can
// neither forge a line nor drive the terminal.
TEST_F(Kestd, TheDumpEscapesWhatCouldForgeALine)
{
    client c(svc.sock);
    wifi_essid_set_req req{};
    req.index = 2;
    std::memcpy(req.ssid, "\x1b]0;pwn\x07\nwifi.1.auth=open", 26);
    EXPECT_EQ(c.error_of(KEST_WIFI_ESSID_SET, raw(req)), 0);
    const std::string dump = c.control("dump");
    EXPECT_NE(dump.find("ssid \"\\x1b]0;pwn\\x07\\x0awifi.1.auth=open\""), std::string::npos)
        << dump;
    EXPECT_EQ(dump.find_first_of("\x1b\x07"), std::string::npos);
}

TEST_F(Kestd, UsbSettingsWaitForWriteBack)
{
    client c(svc.sock);
    EXPECT_EQ(c.error_of(KEST_USB_NET_SET, raw(usb_u32_setting_set_req{0, 3})), 0);
    EXPECT_EQ(c.get<usb_config_get_resp>(KEST_USB_CONFIG_GET, raw(uint32_t{0})).usbnet, 0u);
    EXPECT_NE(c.control("dump usb")
                  .find("usb.pending=bootup 0 pid 0x9025 vid 0x05c6 product \"KEST LTE Module\" "
                        "manufacturer \"KEST\" net 3"),
              std::string::npos);
    EXPECT_EQ(c.error_of(KEST_USB_CONFIG_WRITE_SET, {}), 0);
    EXPECT_EQ(c.get<usb_config_get_resp>(KEST_USB_CONFIG_GET, raw(uint32_t{0})).usbnet, 3u);
}

TEST_F(Kestd, ApnAddPicksTheLowestFreeIndex)
{
    client c(svc.sock);
    data_call_apn_add_set_req add{};
    add.profile_type = 1;
    std::strcpy(add.apn_name, "ims");
    for (uint8_t expect : {0, 1, 2})
        EXPECT_EQ(
            c.get<data_call_apn_add_set_resp>(KEST_DATA_CALL_APN_ADD_SET, raw(add)).profile_index,
            expect);
    EXPECT_EQ(c.error_of(KEST_DATA_CALL_APN_DEL_SET, {1, 1}), 0);
    EXPECT_EQ(c.get<data_call_apn_add_set_resp>(KEST_DATA_CALL_APN_ADD_SET, raw(add)).profile_index,
              1);
    const auto list = c.get<data_call_get_apn_list_get_resp>(KEST_DATA_CALL_GET_APN_LIST_GET, {1});
    EXPECT_EQ(bytes(list.index_list, list.index_list + list.length), (bytes{0, 1, 2}));
}

// ---------------------------------------------------------------------------
// Refusals from the error table: each row fills what it needs, then sends
// the request that must be refused.

struct refusal {
    const char *name;
    std::vector<std::pair<uint32_t, bytes>> setup;
    uint32_t id;
    bytes req;
    uint16_t error;
};

bytes acl_add(uint8_t index, uint8_t n)
{
    return {index, 0x02, 0, 0, 0, 0, n};
}

bytes call_up(uint8_t profile, uint8_t ip_type)
{
    data_call_up_set_req r{};
    r.profile_id = profile;
    r.ip_type = ip_type;
    return raw(r);
}

const std::vector<refusal> &refusals()
{
    static const std::vector<refusal> rows = [] {
        std::vector<refusal> r;
        refusal full_acl{"mac_list_full_at_33", {}, 36, acl_add(1, 32), KESTD_ERR_LIST_FULL};
        for (uint8_t i = 0; i < 32; ++i)
            full_acl.setup.push_back({36, acl_add(1, i)});
        r.push_back(full_acl);
        r.push_back(
            {"mac_duplicate", {{36, acl_add(2, 7)}}, 36, acl_add(2, 7), KESTD_ERR_DUPLICATE});
        r.push_back(
            {"mac_group_address", {}, 36, {1, 0x01, 0, 0x5e, 0, 0, 1}, KESTD_ERR_INVALID_ADDRESS});
        r.push_back({"mac_delete_unknown", {}, 37, acl_add(1, 99), KESTD_ERR_NOT_FOUND});
        const network_snat_rule rule{ipv4(192, 168, 225, 30), 22, 2222, 6, {}};
        const network_snat_rule udp{ipv4(192, 168, 225, 30), 53, 3333, 17, {}};
        const network_snat_rule both{ipv4(192, 168, 225, 31), 54, 3333, 253, {}};
        r.push_back({"snat_duplicate", {{61, raw(rule)}}, 61, raw(rule), KESTD_ERR_DUPLICATE});
        r.push_back(
            {"snat_same_global_port", {{61, raw(udp)}}, 61, raw(both), KESTD_ERR_DUPLICATE});
        r.push_back({"snat_outside_lan",
                     {},
                     61,
                     raw(network_snat_rule{ipv4(10, 0, 0, 5), 22, 22, 6, {}}),
                     KESTD_ERR_INVALID_ADDRESS});
        refusal full_apn{"apn_add_beyond_25", {}, 48, apn_add(2, "x"), KESTD_ERR_LIST_FULL};
        for (int i = 0; i < 25; ++i)
            full_apn.setup.push_back({48, apn_add(2, "x")});
        r.push_back(full_apn);
        r.push_back({"apn_get_unknown_profile", {}, 45, {1, 3}, KESTD_ERR_UNKNOWN_PROFILE});
        r.push_back({"apn_set_unknown_profile",
                     {},
                     44,
                     [] {
                         auto a = apn_profile();
                         a.profile_index = 9;
                         return raw(a);
                     }(),
                     KESTD_ERR_UNKNOWN_PROFILE});
        r.push_back({"default_profile_unknown", {}, 49, {7, 0, 0}, KESTD_ERR_UNKNOWN_PROFILE});
        r.push_back({"apn_delete_default_profile", {}, 47, {0, 0}, KESTD_ERR_PROFILE_IN_USE});
        r.push_back({"call_up_unknown_profile", {}, 40, call_up(5, 0), KESTD_ERR_UNKNOWN_PROFILE});
        r.push_back({"call_up_profile_without_apn",
                     {{48, apn_add(0, "")}},
                     40,
                     call_up(1, 0),
                     KESTD_ERR_NO_APN});
        r.push_back(
            {"call_up_twice", {{40, call_up(0, 0)}}, 40, call_up(0, 0), KESTD_ERR_CALL_ACTIVE});
        r.push_back({"call_down_when_down", {}, 41, {3, 2}, KESTD_ERR_CALL_INACTIVE});
        r.push_back({"channel_5ghz_on_2g_interface",
                     {},
                     9,
                     raw(wifi_channel_set_req{1, 0, 36}),
                     KESTD_ERR_INVALID_CHANNEL});
        r.push_back({"channel_on_station_interface",
                     {},
                     9,
                     raw(wifi_channel_set_req{3, 0, 6}),
                     KESTD_ERR_INVALID_CHANNEL});
        r.push_back({"interface_4", {}, 4, {4}, KESTD_ERR_INVALID_INTERFACE});
        r.push_back({"station_status_of_ap", {}, 32, {1}, KESTD_ERR_INVALID_INTERFACE});
        r.push_back({"short_wpa_password",
                     {},
                     21,
                     [] {
                         auto a = wpa_auth();
                         std::strcpy(a.password, "short");
                         return raw(a);
                     }(),
                     KESTD_ERR_INVALID_KEY});
        r.push_back({"gigabit_half_duplex", {}, 56, {0, 2, 0}, KESTD_ERR_INVALID_VALUE});
        r.push_back({"dmz_twice",
                     {{51, raw(ipv4(192, 168, 225, 9))}},
                     51,
                     raw(ipv4(192, 168, 225, 10)),
                     KESTD_ERR_DUPLICATE});
        r.push_back({"usb_instance_1", {}, 74, raw(uint32_t{1}), KESTD_ERR_INVALID_INSTANCE});
        r.push_back(
            {"apn_list_type_3", {}, KEST_DATA_CALL_GET_APN_LIST_GET, {3}, KESTD_ERR_INVALID_VALUE});
        r.push_back({"lan_gateway_is_the_network",
                     {},
                     59,
                     [] {
                         network_lan_config_block b = lan_block();
                         b.lan_word_a = ipv4(10, 1, 0, 0);
                         return raw(b);
                     }(),
                     KESTD_ERR_INVALID_ADDRESS});
        // Instance 1 is judged before the values, which are bad here too.
        r.push_back({"usb_id_instance_1",
                     {},
                     KEST_USB_ID_SET,
                     raw(usb_id_set_req{1, 0, 0}),
                     KESTD_ERR_INVALID_INSTANCE});
        r.push_back({"usb_func_instance_1",
                     {},
                     KEST_USB_FUNC_SET,
                     raw(usb_func_set_req{1, 0, 0, 0, 0, 0, 0, 0, 0}),
                     KESTD_ERR_INVALID_INSTANCE});
        return r;
    }();
    return rows;
}

// A profile's PDP type offers its IP types only: 0 IPv4, 1 IPv6, 2 both.
TEST_F(Kestd, ACallUpTakesTheIpTypesItsPdpTypeOffers)
{
    client c(svc.sock);
    const struct {
        uint8_t pdp, ip;
        uint16_t error;
    } rows[] = {{0, 0, 0},
                {0, 1, KESTD_ERR_IP_TYPE_MISMATCH},
                {1, 0, KESTD_ERR_IP_TYPE_MISMATCH},
                {1, 1, 0},
                {2, 0, 0},
                {2, 1, 0}};
    for (const auto &row : rows) {
        data_call_apn_add_set_req add{};
        add.pdp_type = row.pdp;
        std::strcpy(add.apn_name, "internet");
        const auto index =
            c.get<data_call_apn_add_set_resp>(KEST_DATA_CALL_APN_ADD_SET, raw(add)).profile_index;
        EXPECT_EQ(c.error_of(KEST_DATA_CALL_UP_SET, call_up(index, row.ip)), row.error)
            << "pdp " << int{row.pdp} << " ip " << int{row.ip};
    }
}

// The rows run in order on one service, each on state of its own.
TEST_F(Kestd, RefusalsComeFromTheErrorTable)
{
    client c(svc.sock);
    for (const refusal &row : refusals()) {
        SCOPED_TRACE(row.name);
        for (const auto &[id, req] : row.setup)
            ASSERT_EQ(c.error_of(id, req), 0) << "setup " << id;
        const std::string before = c.control("dump");
        EXPECT_EQ(c.error_of(row.id, row.req), row.error);
        EXPECT_EQ(c.control("dump"), before) << "a refusal changes nothing";
    }
}

// ---------------------------------------------------------------------------
// Indications reach every client.

// The dump shows what the requests set: both profile types, a MAC list, a
// station with the address it was given.
TEST_F(Kestd, TheDumpShowsWhatWasSet)
{
    client c(svc.sock);
    for (uint8_t type : {0, 1}) {
        data_call_apn_add_set_req add{};
        add.profile_type = type;
        std::strcpy(add.apn_name, type == 0 ? "internet" : "ims");
        EXPECT_EQ(c.error_of(KEST_DATA_CALL_APN_ADD_SET, raw(add)), 0);
    }
    EXPECT_EQ(c.error_of(KEST_WIFI_MAC_ACL_ADD_SET, acl_add(1, 7)), 0);
    c.control("sta-join 1 02:aa:bb:cc:dd:01 laptop");
    c.control("sta-join 1 02:aa:bb:cc:dd:02 phone");
    const std::string dump = c.control("dump");
    for (const char *line :
         {"\napn.0.1=pdp ", "apn \"internet\"", "\napn.1.0=pdp ", "apn \"ims\"",
          "\nwifi.1.acl=acl_rule 0 acl_count 1 02:00:00:00:00:07\n",
          "\nwifi.sta=iface 1 mac 02:aa:bb:cc:dd:01 name \"laptop\" ip 192.168.225.20 ",
          "\nwifi.sta=iface 1 mac 02:aa:bb:cc:dd:02 name \"phone\" ip 192.168.225.21 "})
        EXPECT_NE(dump.find(line), std::string::npos) << line << "\n" << dump;
}

TEST_F(Kestd, DataCallUpAndDownIndicateToEveryClient)
{
    client caller(svc.sock), watcher(svc.sock);
    ASSERT_EQ(caller.error_of(KEST_DATA_CALL_UP_SET, call_up(0, 2)), 0);
    for (uint8_t family : {0, 1}) {
        bytes b;
        ASSERT_TRUE(watcher.indication(KEST_DATA_CALL_STATUS_IND, b));
        const auto ind = indication_as<data_call_status_ind>(b);
        EXPECT_EQ(ind.index, 0);
        EXPECT_EQ(ind.ip_family, family);
        EXPECT_EQ(ind.state, 1);
        EXPECT_STREQ(ind.name, "rmnet_data0");
        EXPECT_EQ(std::string(ind.address_text[0]).rfind(family == 0 ? "10.64.0." : "2001:db8:", 0),
                  0u);
    }
    const auto info = caller.get<data_call_info_get_resp>(KEST_DATA_CALL_INFO_GET, {0, 0});
    EXPECT_EQ(info.call_status, 1);
    EXPECT_EQ(std::string(info.address_text[0]).rfind("10.64.0.", 0), 0u);

    ASSERT_EQ(caller.error_of(KEST_DATA_CALL_DOWN_SET, {0, 0}), 0);
    bytes b;
    ASSERT_TRUE(watcher.indication(KEST_DATA_CALL_STATUS_IND, b));
    const auto down = indication_as<data_call_status_ind>(b);
    EXPECT_EQ(down.ip_family, 0);
    EXPECT_EQ(down.state, 0);
    EXPECT_EQ(down.address_text[0][0], 0);
    EXPECT_EQ(caller.get<data_call_info_get_resp>(KEST_DATA_CALL_INFO_GET, {0, 0}).call_status, 0);
    EXPECT_EQ(caller.get<data_call_info_get_resp>(KEST_DATA_CALL_INFO_GET, {0, 1}).call_status, 1);
}

TEST_F(Kestd, StationsJoinAndLeaveThroughControl)
{
    client ctl(svc.sock), app(svc.sock);
    ctl.control("sta-join 2 02:aa:bb:cc:dd:01 laptop");
    bytes b;
    ASSERT_TRUE(app.indication(KEST_WIFI_AP_STA_IND, b));
    auto ind = indication_as<wifi_ap_sta_ind>(b);
    EXPECT_EQ(ind.action, 1);
    EXPECT_EQ(ind.index, 2u);
    EXPECT_EQ(bytes(ind.mac, ind.mac + 6), (bytes{2, 0xaa, 0xbb, 0xcc, 0xdd, 1}));
    const auto list = app.get<wifi_sta_info_get_resp>(KEST_WIFI_STA_INFO_GET);
    ASSERT_EQ(list.num_sta, 1u);
    EXPECT_STREQ(list.stations[0].text, "laptop");
    EXPECT_EQ(list.stations[0].field_a, 2u);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(list.stations[0].field_c)),
              "192.168.225.20")
        << "the first address of the DHCP range";

    int32_t status = 0;
    ctl.control("sta-join 2 02:aa:bb:cc:dd:01", &status);
    EXPECT_EQ(status, KESTD_STATUS_CONTROL_REFUSED);
    ctl.control("sta-leave 02:aa:bb:cc:dd:01");
    ASSERT_TRUE(app.indication(KEST_WIFI_AP_STA_IND, b));
    ind = indication_as<wifi_ap_sta_ind>(b);
    EXPECT_EQ(ind.action, 2);
    EXPECT_EQ(app.get<wifi_sta_info_get_resp>(KEST_WIFI_STA_INFO_GET).num_sta, 0u);
}

// A lower maximum on one interface sends its newest stations away, and
// only its own.
TEST_F(Kestd, ALowerMaximumSendsTheNewestStationsAway)
{
    client ctl(svc.sock), app(svc.sock);
    ctl.control("sta-join 1 02:aa:bb:cc:dd:01 first");
    ctl.control("sta-join 1 02:aa:bb:cc:dd:02 second");
    ctl.control("sta-join 2 02:aa:bb:cc:dd:03 other");
    EXPECT_EQ(app.error_of(KEST_WIFI_MAX_NUM_STA_SET, {1, 1}), 0);
    const auto list = app.get<wifi_sta_info_get_resp>(KEST_WIFI_STA_INFO_GET);
    ASSERT_EQ(list.num_sta, 2u);
    EXPECT_STREQ(list.stations[0].text, "first");
    EXPECT_STREQ(list.stations[1].text, "other");
    int32_t status = 0;
    ctl.control("sta-join 1 02:aa:bb:cc:dd:04 third", &status);
    EXPECT_NE(status, 0) << "a station beyond the interface's maximum";
}

TEST_F(Kestd, StationStatusIndicatesAndReadsBack)
{
    client ctl(svc.sock), app(svc.sock);
    ctl.control("sta-status 2 HomeNet");
    bytes b;
    ASSERT_TRUE(app.indication(KEST_WIFI_STA_STATUS_IND, b));
    const auto ind = indication_as<wifi_sta_status_ind>(b);
    EXPECT_EQ(ind.index, 3);
    EXPECT_EQ(ind.status, 2);
    EXPECT_EQ(std::string(ind.ssid, strnlen(ind.ssid, 32)), "HomeNet");
    const auto st = app.get<wifi_station_status_get_resp>(KEST_WIFI_STATION_STATUS_GET, {3});
    EXPECT_EQ(st.sta_status, 2);
    EXPECT_STREQ(st.ssid, "HomeNet");
    // Switching the station interface off disconnects it.
    EXPECT_EQ(app.error_of(KEST_WIFI_ACTIVE_SET, {3, 0}), 0);
    ASSERT_TRUE(app.indication(KEST_WIFI_STA_STATUS_IND, b));
    EXPECT_EQ(indication_as<wifi_sta_status_ind>(b).status, 0);
    // While it is off it can only be disconnected.
    int32_t status = 0;
    ctl.control("sta-status 1", &status);
    EXPECT_NE(status, 0);
    ctl.control("sta-status 0", &status);
    EXPECT_EQ(status, 0);
}

// ---------------------------------------------------------------------------
// Frames the service cannot take.

TEST_F(Kestd, UnknownIdsAndWrongLengthsGetAStatusAndNoRecord)
{
    struct row {
        uint32_t id;
        bytes req;
        int32_t status;
    };
    const row rows[] = {
        {0, {}, KESTD_STATUS_UNKNOWN_MSG},
        {43, bytes(284), KESTD_STATUS_UNKNOWN_MSG},
        {kKestMsgIdMax + 1, {}, KESTD_STATUS_UNKNOWN_MSG},
        {0xffffffffu, {}, KESTD_STATUS_UNKNOWN_MSG},
        {1, {}, KESTD_STATUS_BAD_LENGTH},
        {2, {0}, KESTD_STATUS_BAD_LENGTH},
        {21, bytes(331), KESTD_STATUS_BAD_LENGTH},
    };
    client c(svc.sock);
    for (const row &r : rows) {
        const frame f = c.request(r.id, r.req);
        EXPECT_EQ(f.h.kind, KEST_FRAME_RESPONSE) << r.id;
        EXPECT_EQ(f.h.status, r.status) << r.id;
        EXPECT_TRUE(f.payload.empty()) << r.id;
    }
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0) << "the connection stays";
}

TEST_F(Kestd, BadFramesCloseOnlyThatConnection)
{
    const auto header = [](uint32_t magic, uint16_t version, uint16_t kind, uint32_t len) {
        return raw(kest_frame_header{magic, version, kind, 1, 2, len, 0, 0});
    };
    struct row {
        const char *name;
        bytes data;
        bool half_close;
    };
    const row rows[] = {
        {"garbage", bytes(64, 0xa5), false},
        {"wrong_version", header(kKestFrameMagic, 2, KEST_FRAME_REQUEST, 0), false},
        {"oversized", header(kKestFrameMagic, 1, KEST_FRAME_REQUEST, kKestFrameMaxPayload + 1),
         false},
        {"response_from_client", header(kKestFrameMagic, 1, KEST_FRAME_RESPONSE, 0), false},
        {"truncated_header", bytes{0x4b, 0x45, 0x53}, true},
        {"truncated_payload",
         [&] {
             bytes b = header(kKestFrameMagic, 1, KEST_FRAME_REQUEST, 34);
             b.resize(40);
             return b;
         }(),
         true},
    };
    client good(svc.sock);
    for (const row &r : rows) {
        SCOPED_TRACE(r.name);
        client bad(svc.sock);
        ASSERT_TRUE(bad.send_raw(r.data));
        if (r.half_close)
            ::shutdown(bad.fd, SHUT_WR);
        EXPECT_TRUE(bad.closed_by_peer());
        EXPECT_EQ(good.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
    }
}

// ---------------------------------------------------------------------------
// Faults injected through the control channel.

TEST_F(Kestd, InjectedFailuresHitTheChosenRequests)
{
    client c(svc.sock);
    c.control("fail 4242 2 2");
    EXPECT_EQ(c.error_of(KEST_WIFI_ENABLE_GET, {}), 0) << "another message is not hit";
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 4242);
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 4242);
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
    c.control("fail 4243"); // the next request, once
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 4243);
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
}

TEST_F(Kestd, DelayMuteAndDrop)
{
    client c(svc.sock), other(svc.sock);
    c.control("delay 150");
    const auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(150));
    c.control("clear");

    c.control("mute");
    EXPECT_EQ(c.request(KEST_WIFI_WORK_MODE_GET, {}, 200).h.kind, 0) << "no answer while muted";
    c.control("unmute");
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);

    c.control("drop");
    EXPECT_TRUE(other.closed_by_peer());
    client again(svc.sock);
    EXPECT_EQ(again.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
}

// ---------------------------------------------------------------------------
// Start and stop.

TEST_F(Kestd, SigtermRemovesTheSocket)
{
    struct stat sb;
    ASSERT_EQ(::stat(svc.sock.c_str(), &sb), 0);
    EXPECT_EQ(svc.stop(SIGTERM), 0);
    EXPECT_NE(::stat(svc.sock.c_str(), &sb), 0);
}

} // namespace
