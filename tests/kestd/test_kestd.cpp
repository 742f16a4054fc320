// kestd over its socket: each test starts its own kestd in a private folder
// and speaks the frame format directly. What a set stores is read back end
// to end (tests/e2e) and through the tool (tests/tools); the edges of the
// described ranges are test_kestd_edges'. Here are kestd's other refusals,
// what it derives from the state, the frames it cannot take, its dump and its
// control commands.
#include <gtest/gtest.h>

#include "kestd_test_support.h"

#include "kest_commands.h"

namespace {

using namespace kestd_test;

// A request, or (with `control`) a control command.
struct act {
    uint32_t id;
    bytes req;
    const char *control = nullptr;
};

struct refusal {
    const char *name;
    std::vector<act> setup;
    act last;
    uint16_t error;
};

bytes acl(uint8_t index, uint8_t n)
{
    return raw(wifi_mac_acl_set_req{index, {0x02, 0, 0, 0, 0, n}});
}
// A request of an interface (or of a profile type and index) alone.
bytes of(uint8_t index)
{
    return raw(wifi_index_req{index});
}
bytes profile(uint8_t type, uint8_t index)
{
    return raw(data_call_apn_select_req{type, index});
}
bytes u8_setting(uint8_t index, uint8_t value)
{
    return raw(wifi_u8_setting_set_req{index, value});
}
bytes call_up(uint8_t profile, uint8_t ip_type)
{
    data_call_up_set_req r{};
    r.profile_id = profile;
    r.ip_type = ip_type;
    return raw(r);
}
bytes apn_add(uint8_t type, uint8_t pdp, const char *apn)
{
    data_call_apn_add_set_req r{};
    r.profile_type = type;
    r.pdp_type = pdp;
    std::strcpy(r.apn_name, apn);
    return raw(r);
}
bytes snat(uint8_t host, uint16_t global_port, uint8_t protocol = 6)
{
    return raw(network_snat_rule{ipv4(192, 168, 225, host), 80, global_port, protocol, {}});
}
network_lan_config_block lan_block(uint8_t net)
{
    return {ipv4(10, net, 0, 1), ipv4(255, 255, 0, 0),  7,   {},
            ipv4(10, net, 2, 0), ipv4(10, net, 2, 200), 3600};
}
bytes wpa(const char *password)
{
    wifi_auth_set_req r{};
    r.index = 1;
    r.auth = 4;
    std::strcpy(r.password, password);
    return raw(r);
}

const std::vector<refusal> &refusals()
{
    const bytes dmz = raw(ipv4(192, 168, 225, 9));
    std::vector<act> acl_full, apn_full;
    for (uint8_t i = 0; i < WIFI_MAC_ACL_MAX; ++i)
        acl_full.push_back({KEST_WIFI_MAC_ACL_ADD_SET, acl(1, i)});
    for (uint8_t i = 0; i <= DATA_CALL_PROFILE_MAX; ++i)
        apn_full.push_back({KEST_DATA_CALL_APN_ADD_SET, apn_add(2, 2, "x")});
    data_call_apn_set_req apn9{};
    apn9.profile_index = 9;
    network_lan_config_block lan_on_net = lan_block(1);
    lan_on_net.lan_word_a = ipv4(10, 1, 0, 0);
    const act join1{0, {}, "sta-join 1 02:aa:bb:cc:dd:01"},
        join2{0, {}, "sta-join 2 02:aa:bb:cc:dd:01"};
    // clang-format off
    static const std::vector<refusal> rows = {
        {"mac_list_full", acl_full, {KEST_WIFI_MAC_ACL_ADD_SET, acl(1, 99)}, KESTD_ERR_LIST_FULL},
        {"mac_duplicate", {{KEST_WIFI_MAC_ACL_ADD_SET, acl(2, 7)}}, {KEST_WIFI_MAC_ACL_ADD_SET, acl(2, 7)}, KESTD_ERR_DUPLICATE},
        {"mac_group_address", {}, {KEST_WIFI_MAC_ACL_ADD_SET, raw(wifi_mac_acl_set_req{1, {0x01, 0, 0x5e, 0, 0, 1}})}, KESTD_ERR_INVALID_ADDRESS},
        {"mac_delete_unknown", {}, {KEST_WIFI_MAC_ACL_DEL_SET, acl(1, 99)}, KESTD_ERR_NOT_FOUND},
        {"snat_duplicate", {{KEST_NETWORK_SNAT_ADD_SET, snat(30, 22)}}, {KEST_NETWORK_SNAT_ADD_SET, snat(30, 22)}, KESTD_ERR_DUPLICATE},
        {"snat_same_global_port", {{KEST_NETWORK_SNAT_ADD_SET, snat(30, 3333, 17)}}, {KEST_NETWORK_SNAT_ADD_SET, snat(31, 3333, 253)}, KESTD_ERR_DUPLICATE},
        {"snat_outside_lan", {}, {KEST_NETWORK_SNAT_ADD_SET, raw(network_snat_rule{ipv4(10, 0, 0, 5), 22, 22, 6, {}})}, KESTD_ERR_INVALID_ADDRESS},
        {"snat_delete_unknown", {}, {KEST_NETWORK_SNAT_DEL_SET, snat(30, 22)}, KESTD_ERR_NOT_FOUND},
        {"apn_add_beyond_the_last", apn_full, apn_full[0], KESTD_ERR_LIST_FULL},
        {"apn_get_unknown_profile", {}, {KEST_DATA_CALL_APN_GET, profile(1, 3)}, KESTD_ERR_UNKNOWN_PROFILE},
        {"apn_set_unknown_profile", {}, {KEST_DATA_CALL_APN_SET, raw(apn9)}, KESTD_ERR_UNKNOWN_PROFILE},
        {"default_profile_unknown", {}, {KEST_DATA_CALL_DEFAULT_PROFILE_SET, raw(data_call_default_profile_set_req{7, 0, 0})}, KESTD_ERR_UNKNOWN_PROFILE},
        {"apn_delete_default_profile", {}, {KEST_DATA_CALL_APN_DEL_SET, profile(0, 0)}, KESTD_ERR_PROFILE_IN_USE},
        {"apn_delete_profile_in_a_call", {{KEST_DATA_CALL_APN_ADD_SET, apn_add(0, 2, "x")}, {KEST_DATA_CALL_UP_SET, call_up(1, 1)}}, {KEST_DATA_CALL_APN_DEL_SET, profile(0, 1)}, KESTD_ERR_PROFILE_IN_USE},
        {"apn_list_type_3", {}, {KEST_DATA_CALL_GET_APN_LIST_GET, raw(data_call_get_apn_list_get_req{3})}, KESTD_ERR_INVALID_VALUE},
        {"call_up_unknown_profile", {}, {KEST_DATA_CALL_UP_SET, call_up(5, 0)}, KESTD_ERR_UNKNOWN_PROFILE},
        {"call_up_profile_without_apn", {{KEST_DATA_CALL_APN_ADD_SET, apn_add(0, 2, "")}}, {KEST_DATA_CALL_UP_SET, call_up(1, 0)}, KESTD_ERR_NO_APN},
        {"call_up_twice", {{KEST_DATA_CALL_UP_SET, call_up(0, 0)}}, {KEST_DATA_CALL_UP_SET, call_up(0, 0)}, KESTD_ERR_CALL_ACTIVE},
        {"call_down_when_down", {}, {KEST_DATA_CALL_DOWN_SET, raw(data_call_down_set_req{3, 2})}, KESTD_ERR_CALL_INACTIVE},
        {"channel_5ghz_on_2g_interface", {}, {KEST_WIFI_CHANNEL_SET, raw(wifi_channel_set_req{1, 0, 36})}, KESTD_ERR_INVALID_CHANNEL},
        {"interface_4", {}, {KEST_WIFI_ESSID_GET, of(4)}, KESTD_ERR_INVALID_INTERFACE},
        {"station_status_of_ap", {}, {KEST_WIFI_STATION_STATUS_GET, of(1)}, KESTD_ERR_INVALID_INTERFACE},
        {"short_wpa_password", {}, {KEST_WIFI_AUTH_SET, wpa("short")}, KESTD_ERR_INVALID_KEY},
        {"gigabit_half_duplex", {}, {KEST_NETWORK_SGMII_CONFIG_SET, raw(network_sgmii_config_set_req{0, 2, 0})}, KESTD_ERR_INVALID_VALUE},
        {"dmz_twice", {{KEST_NETWORK_DMZ_ADD_SET, dmz}}, {KEST_NETWORK_DMZ_ADD_SET, raw(ipv4(192, 168, 225, 10))}, KESTD_ERR_DUPLICATE},
        {"dmz_on_the_gateway", {}, {KEST_NETWORK_DMZ_ADD_SET, raw(ipv4(192, 168, 225, 1))}, KESTD_ERR_INVALID_ADDRESS},
        {"lan_gateway_is_the_network", {}, {KEST_NETWORK_LAN_CONFIG_SET, raw(lan_on_net)}, KESTD_ERR_INVALID_ADDRESS},
        // The LAN rule: a move that leaves the DMZ host or a rule's address outside.
        {"lan_move_leaves_the_dmz_host", {{KEST_NETWORK_DMZ_ADD_SET, dmz}}, {KEST_NETWORK_LAN_CONFIG_SET, raw(lan_block(1))}, KESTD_ERR_LAN_IN_USE},
        {"lan_move_leaves_a_snat_rule", {{KEST_NETWORK_SNAT_ADD_SET, snat(50, 8080)}}, {KEST_NETWORK_LAN_CONFIG_SET, raw(lan_block(1))}, KESTD_ERR_LAN_IN_USE},
        {"usb_instance_1", {}, {KEST_USB_CONFIG_GET, raw(uint32_t{1})}, KESTD_ERR_INVALID_INSTANCE},
        // Instance 1 is judged before the values, which are bad here too.
        {"usb_id_instance_1", {}, {KEST_USB_ID_SET, raw(usb_id_set_req{1, 0, 0})}, KESTD_ERR_INVALID_INSTANCE},
        {"usb_func_instance_1", {}, {KEST_USB_FUNC_SET, raw(usb_func_set_req{1, 0, 0, 0, 0, 0, 0, 0, 0})}, KESTD_ERR_INVALID_INSTANCE},
        {"usb_id_zero", {}, {KEST_USB_ID_SET, raw(usb_id_set_req{0, 0, 0x05c6})}, KESTD_ERR_INVALID_VALUE},
        {"sta_join_twice", {join2}, join2, KESTD_ERR_DUPLICATE},
        {"sta_join_beyond_the_maximum", {{KEST_WIFI_MAX_NUM_STA_SET, u8_setting(1, 1)}, join1}, {0, {}, "sta-join 1 02:aa:bb:cc:dd:02"}, KESTD_ERR_LIST_FULL},
        {"sta_join_not_allowed", {{KEST_WIFI_MAC_ACL_RULE_SET, raw(wifi_mac_acl_rule_set_req{1, 1})}}, join1, KESTD_ERR_ACL_DENIED},
        {"sta_join_denied", {{KEST_WIFI_MAC_ACL_ADD_SET, raw(wifi_mac_acl_set_req{1, {2, 0xaa, 0xbb, 0xcc, 0xdd, 1}})}, {KEST_WIFI_MAC_ACL_RULE_SET, raw(wifi_mac_acl_rule_set_req{1, 2})}}, join1, KESTD_ERR_ACL_DENIED},
        {"sta_connect_while_off", {{KEST_WIFI_ACTIVE_SET, raw(wifi_active_set_req{3, 0})}}, {0, {}, "sta-status 1"}, KESTD_ERR_WIFI_OFF},
    };
    // clang-format on
    return rows;
}

// The service's error for an act: a request's `error`, or the one a refused
// control command names.
int error_of(client &c, const act &a)
{
    if (a.control == nullptr)
        return c.error_of(a.id, a.req);
    int32_t status = 0;
    const std::string text = c.control(a.control, &status);
    if (status == 0)
        return 0;
    return text.rfind("error ", 0) == 0 ? std::atoi(text.c_str() + 6) : -1;
}

// Each row on a kestd of its own.
TEST(KestdRefusals, ComeFromTheErrorTableAndChangeNothing)
{
    for (const refusal &row : refusals()) {
        SCOPED_TRACE(row.name);
        service s;
        ASSERT_TRUE(s.start());
        {
            client c(s.sock);
            for (const act &a : row.setup)
                ASSERT_EQ(error_of(c, a), 0) << "setup " << a.id;
            const std::string before = c.control("dump");
            EXPECT_EQ(error_of(c, row.last), row.error);
            EXPECT_EQ(c.control("dump"), before) << "a refusal changes nothing";
        }
        EXPECT_EQ(s.stop(), 0);
        EXPECT_EQ(s.err_text, "");
    }
}

// A profile's PDP type offers its IP types only: 0 IPv4, 1 IPv6, 2 both.
TEST_F(Kestd, ACallUpTakesTheIpTypesItsPdpTypeOffers)
{
    client c(svc.sock);
    const uint16_t mismatch = KESTD_ERR_IP_TYPE_MISMATCH;
    const uint16_t rows[3][2] = {{0, mismatch}, {mismatch, 0}, {0, 0}}; // [pdp][ip]
    for (uint8_t pdp = 0; pdp < 3; ++pdp)
        for (uint8_t ip = 0; ip < 2; ++ip) {
            const auto index = c.get<data_call_apn_add_set_resp>(KEST_DATA_CALL_APN_ADD_SET,
                                                                 apn_add(0, pdp, "internet"))
                                   .profile_index;
            EXPECT_EQ(c.error_of(KEST_DATA_CALL_UP_SET, call_up(index, ip)), rows[pdp][ip])
                << "pdp " << int{pdp} << " ip " << int{ip};
        }
}

// What kestd works out from its state, rather than reads back as it was set.
TEST_F(Kestd, WhatTheServiceDerives)
{
    client c(svc.sock);
    // Add takes the lowest free index.
    for (uint8_t expect : {0, 1, 2})
        EXPECT_EQ(c.get<data_call_apn_add_set_resp>(KEST_DATA_CALL_APN_ADD_SET, apn_add(1, 2, "a"))
                      .profile_index,
                  expect);
    EXPECT_EQ(c.error_of(KEST_DATA_CALL_APN_DEL_SET, profile(1, 1)), 0);
    EXPECT_EQ(c.get<data_call_apn_add_set_resp>(KEST_DATA_CALL_APN_ADD_SET, apn_add(1, 2, "b"))
                  .profile_index,
              1);
    // A rule taken from the middle leaves the others in their order.
    for (const uint8_t host : {31, 32, 33})
        EXPECT_EQ(c.error_of(KEST_NETWORK_SNAT_ADD_SET, snat(host, host)), 0);
    EXPECT_EQ(c.error_of(KEST_NETWORK_SNAT_DEL_SET, snat(32, 32)), 0);
    const auto rules = c.get<network_snat_get_get_resp>(KEST_NETWORK_SNAT_GET_GET);
    EXPECT_EQ(rules.count, 2u);
    EXPECT_EQ(raw(rules.entries[1]), snat(33, 33));
    // SGMII in use under auto-negotiation: what it found, 1000 Mbit/s full duplex.
    EXPECT_EQ(c.error_of(KEST_NETWORK_SGMII_ENABLE_SET, raw(network_sgmii_enable_set_req{1})), 0);
    EXPECT_EQ(c.error_of(KEST_NETWORK_SGMII_CONFIG_SET, raw(network_sgmii_config_set_req{1, 0, 0})),
              0);
    const auto info = c.get<network_sgmii_info_get_resp>(KEST_NETWORK_SGMII_INFO_GET);
    EXPECT_EQ(bytes({info.flag_c, info.byte_a, info.byte_b}), bytes({1, 2, 1}));
    // A lower maximum sends an interface's newest stations away, and only its own.
    c.control("sta-join 1 02:aa:bb:cc:dd:01 first");
    c.control("sta-join 1 02:aa:bb:cc:dd:02 second");
    c.control("sta-join 2 02:aa:bb:cc:dd:03 other");
    EXPECT_EQ(c.error_of(KEST_WIFI_MAX_NUM_STA_SET, u8_setting(1, 1)), 0);
    const auto list = c.get<wifi_sta_info_get_resp>(KEST_WIFI_STA_INFO_GET);
    ASSERT_EQ(list.num_sta, 2u);
    EXPECT_STREQ(list.stations[0].text, "first");
    EXPECT_STREQ(list.stations[1].text, "other");
}

// Every message id up to one beyond the last: a described one is answered
// with its response record to a request of the described length, and with
// status 2 and no record to one byte more or less; any other with status 1.
TEST_F(Kestd, EveryIdIsAnsweredAsDescribed)
{
    client c(svc.sock);
    for (uint32_t id = 0; id <= kKestMsgIdMax + 1; ++id) {
        const kest_command *d = nullptr;
        for (const kest_command_table &t : kCommandTables)
            for (size_t i = 0; i < t.count; ++i)
                d = t.rows[i].msg_id == id ? &t.rows[i] : d;
        SCOPED_TRACE(id);
        const bytes req(d != nullptr ? d->req_len : 0);
        frame f = c.request(id, req);
        EXPECT_EQ(f.h.kind, KEST_FRAME_RESPONSE);
        EXPECT_EQ(f.h.status, d != nullptr ? 0 : KESTD_STATUS_UNKNOWN_MSG);
        EXPECT_EQ(f.payload.size(), d != nullptr ? d->resp_len : 0);
        if (d == nullptr)
            continue;
        for (const uint32_t len : {d->req_len + 1, d->req_len - 1}) {
            if (len == ~0u)
                continue; // no record is one byte short
            f = c.request(id, bytes(len));
            EXPECT_EQ(f.h.status, KESTD_STATUS_BAD_LENGTH) << len;
            EXPECT_TRUE(f.payload.empty());
        }
    }
    EXPECT_EQ(c.request(0xffffffffu, {}).h.status, KESTD_STATUS_UNKNOWN_MSG);
}

TEST_F(Kestd, BadFramesCloseOnlyThatConnection)
{
    const auto header = [](uint32_t magic, uint16_t version, uint16_t kind, uint32_t len) {
        return raw(kest_frame_header{magic, version, kind, 1, 2, len, 0, 0});
    };
    bytes truncated = header(kKestFrameMagic, 1, KEST_FRAME_REQUEST, 34);
    truncated.resize(40);
    const struct {
        const char *name;
        bytes data;
        bool half_close;
    } rows[] = {
        {"garbage", bytes(64, 0xa5), false},
        {"wrong_version", header(kKestFrameMagic, 2, KEST_FRAME_REQUEST, 0), false},
        {"oversized", header(kKestFrameMagic, 1, KEST_FRAME_REQUEST, kKestFrameMaxPayload + 1),
         false},
        {"response_from_client", header(kKestFrameMagic, 1, KEST_FRAME_RESPONSE, 0), false},
        {"truncated_header", bytes{0x4b, 0x45, 0x53}, true},
        {"truncated_payload", truncated, true},
    };
    client good(svc.sock);
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        client bad(svc.sock);
        ASSERT_TRUE(bad.send_raw(r.data));
        if (r.half_close)
            ::shutdown(bad.fd, SHUT_WR);
        EXPECT_TRUE(bad.closed_by_peer());
        EXPECT_EQ(good.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
    }
}

// The dump shows what was set, pending USB settings apart, and escapes a
// value that could forge a line or drive the terminal.
TEST_F(Kestd, TheDumpShowsWhatWasSet)
{
    client c(svc.sock);
    EXPECT_EQ(c.error_of(KEST_DATA_CALL_APN_ADD_SET, apn_add(1, 2, "ims")), 0);
    EXPECT_EQ(c.error_of(KEST_WIFI_MAC_ACL_ADD_SET, acl(1, 7)), 0);
    EXPECT_EQ(c.error_of(KEST_USB_NET_SET, raw(usb_u32_setting_set_req{0, 3})), 0);
    wifi_essid_set_req essid{};
    essid.index = 2;
    std::memcpy(essid.ssid, "\x1b]0;pwn\x07\nwifi.1.auth=open", 26);
    EXPECT_EQ(c.error_of(KEST_WIFI_ESSID_SET, raw(essid)), 0);
    essid.index = 3; // a quote that would end the text and forge a field after it
    std::snprintf(essid.ssid, sizeof essid.ssid, "%s", "x\" auth 0 password \"FORGED");
    EXPECT_EQ(c.error_of(KEST_WIFI_ESSID_SET, raw(essid)), 0);
    c.control("sta-join 1 02:aa:bb:cc:dd:01 laptop");
    c.control("sta-join 1 02:aa:bb:cc:dd:02 phone");
    const std::string dump = c.control("dump");
    for (const char *line :
         {"\napn.0.0=pdp 2 ", "apn \"internet\"", "\napn.1.0=pdp 2 ", "apn \"ims\"",
          "\nwifi.1.acl=acl_rule 0 acl_count 1 02:00:00:00:00:07\n",
          "\nwifi.sta=iface 1 mac 02:aa:bb:cc:dd:01 name \"laptop\" ip 192.168.225.20 ",
          "\nwifi.sta=iface 1 mac 02:aa:bb:cc:dd:02 name \"phone\" ip 192.168.225.21 ",
          "usb.pending=bootup 0 pid 0x9025 vid 0x05c6 product \"KEST LTE Module\" "
          "manufacturer \"KEST\" net 3",
          "ssid \"\\x1b]0;pwn\\x07\\x0awifi.1.auth=open\"",
          "\nwifi.3.auth=ssid \"x\\x22 auth 0 password \\x22FORGED\" format "})
        EXPECT_NE(dump.find(line), std::string::npos) << line << "\n" << dump;
    EXPECT_EQ(dump.find_first_of("\x1b\x07"), std::string::npos);
}

TEST_F(Kestd, InjectedFailuresHitTheChosenRequests)
{
    client c(svc.sock);
    c.control("fail 4242 2 2");
    EXPECT_EQ(c.error_of(KEST_WIFI_ENABLE_GET, {}), 0) << "another message is not hit";
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 4242);
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 4242);
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
    c.control("fail 4243 1 0 1"); // the next request, once, after one
    EXPECT_EQ(c.error_of(KEST_WIFI_ENABLE_GET, {}), 0);
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 4243);
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
    c.control("fail 4244 3"); // a fault still waiting is replaced, and the answer says so
    EXPECT_NE(c.control("fail 4245").find("replaces the fault with error 4244, 3 request(s) left"),
              std::string::npos);
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 4245);
    EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
}

TEST_F(Kestd, DelayMuteDropAndStop)
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
    EXPECT_EQ(client(svc.sock).error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
    EXPECT_EQ(svc.stop(SIGTERM), 0);
    struct stat sb;
    EXPECT_NE(::stat(svc.sock.c_str(), &sb), 0) << "the socket is left";
}

} // namespace
