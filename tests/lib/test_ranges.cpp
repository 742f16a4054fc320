// The range edges of every field that a handler tests, on the record's full
// width, before anything is narrowed: min - 1, min, max, max + 1 and, for a
// wide field, max + 256, whose low byte lies in the range. An accepted value
// goes out in the request; a refused one sends nothing and logs its line.
#include <gtest/gtest.h>

#include "command_rows.h"
#include "fake_platform.h"

using fake::g;
using namespace vg_rows;

namespace {

// The bounds are described (proto/kest_commands.h); these two only the
// library's code states.
constexpr kest_range kAuthType{0, WIFI_AUTH_WPA_PSK_MAX}, kPort{1, 65535};

#define AT(rec, member) offsetof(rec, member), sizeof(static_cast<rec *>(nullptr)->member)

struct field {
    uint32_t domain, id, flag;
    size_t at, width;         // in the record
    size_t req_at, req_width; // in the request; width 0: not compared
    kest_range range;
    const char *refusal; // "%d" the value; "": refused without a line
    int level = 1;
    uint32_t auth = 0;    // the auth type written first
    uint32_t also_ok = 0; // a value outside the range that passes (0: none)
};

// clang-format off
const field kFields[] = {
    {W, WIFI_CMD_WORK_MODE, S, 0, 4, 0, 1, kWorkModeRange, "Invalid WiFi work mode parameter %d"},
    {W, WIFI_CMD_MODE, S, 4, 4, 1, 1, kWifiModeRange, "Invalid WiFi index 1 mode parameter %d"},
    {W, WIFI_CMD_BANDWIDTH, S, 4, 4, 1, 1, kBandwidthRange, "Invalid WiFi index 1 bandwidth parameters %d"},
    {W, WIFI_CMD_RSSI, S, 4, 4, 1, 1, kRssiRange, "Invalid WiFi index 1 rssi parameter %d"},
    {W, WIFI_CMD_MAX_NUM_STA, S, 4, 4, 1, 1, kMaxStaRange, "Invalid WiFi index 1 maximum station number parameter %d"},
    {W, WIFI_CMD_ESSID, S, AT(wifi_essid_params, format_type), AT(wifi_essid_set_req, format_type), kSsidFormatRange, "invvalid WiFi index 1 ssid format type %d"},
    {W, WIFI_CMD_ACTIVE, S, AT(wifi_active_params, active), AT(wifi_active_set_req, active), kActiveRange, ""},
    {W, WIFI_CMD_MAC_ACL_RULE, S, AT(wifi_mac_acl_rule_params, rule), AT(wifi_mac_acl_rule_set_req, rule), kMacAclRuleRange, "invalid wifi index 1 mac address acl rule %d"},
    {W, WIFI_CMD_AUTH, S, AT(wifi_auth_params, auth), AT(wifi_auth_set_req, auth), kAuthType, "set wifi index 1 not support", 2},
    {W, WIFI_CMD_AUTH, S, AT(wifi_auth_params, wep.default_index), AT(wifi_auth_set_req, default_index), kWepDefaultIndexRange, "set wifi index 1 wep auth failure: invvalid wep default index(0 ~ 3)", 1, WIFI_AUTH_WEP},
    {W, WIFI_CMD_AUTH, S, AT(wifi_auth_params, wpa.pairwise), AT(wifi_auth_set_req, pairwise), kPairwiseRange, "set wifi index 1 wpa psk auth failure: invvalid pairwise", 1, WIFI_AUTH_WPA_PSK_MAX},
    {D, DATA_CALL_CMD_UP, S, AT(data_call_up_params, profile_id), AT(data_call_up_set_req, profile_id), kProfileIndexRange, "Invalid profile id %d, ip type 0"},
    {D, DATA_CALL_CMD_UP, S, AT(data_call_up_params, ip_type), AT(data_call_up_set_req, ip_type), kIpTypeRange, "Invalid profile id 0, ip type %d"},
    {D, DATA_CALL_CMD_DOWN, S, AT(data_call_down_params, profile_id), AT(data_call_down_set_req, profile_id), kProfileIndexRange, "Invalid profile id %d, ip type 0"},
    {D, DATA_CALL_CMD_DOWN, S, AT(data_call_down_params, ip_type), AT(data_call_down_set_req, ip_type), kIpTypeRange, "Invalid profile id 0, ip type %d"},
    {D, DATA_CALL_CMD_INFO, G, AT(data_call_info_params, profile_id), AT(data_call_info_get_req, profile_id), kProfileIndexRange, "Invalid profile id %d, ip type 2"},
    {D, DATA_CALL_CMD_INFO, G, AT(data_call_info_params, ip_type), 0, 0, kIpTypeRange, "Invalid profile id 0, ip type %d"},
    {D, DATA_CALL_CMD_APN, S, AT(data_call_apn_params, profile_type), AT(data_call_apn_set_req, profile_type), kProfileTypeRange, "set apn failure: invalid profile type %d, profile index 0, pdp type 0, auth protocol 0"},
    {D, DATA_CALL_CMD_APN, S, AT(data_call_apn_params, profile_index), AT(data_call_apn_set_req, profile_index), kProfileIndexRange, "set apn failure: invalid profile type 0, profile index %d, pdp type 0, auth protocol 0"},
    {D, DATA_CALL_CMD_APN, S, AT(data_call_apn_params, pdp_type), AT(data_call_apn_set_req, pdp_type), kPdpRange, "set apn failure: invalid profile type 0, profile index 0, pdp type %d, auth protocol 0", 1, 0, kPdpAny},
    {D, DATA_CALL_CMD_APN, S, AT(data_call_apn_params, auth_protocol), AT(data_call_apn_set_req, auth_protocol), kPdpRange, "set apn failure: invalid profile type 0, profile index 0, pdp type 0, auth protocol %d", 1, 0, kPdpAny},
    {D, DATA_CALL_CMD_APN_ADD, S, AT(data_call_apn_params, profile_type), AT(data_call_apn_add_set_req, profile_type), kProfileTypeRange, "add apn failure: invalid profile type %d, pdp type 0, auth protocol 0"},
    {D, DATA_CALL_CMD_APN_ADD, S, AT(data_call_apn_params, pdp_type), AT(data_call_apn_add_set_req, pdp_type), kPdpRange, "add apn failure: invalid profile type 0, pdp type %d, auth protocol 0", 1, 0, kPdpAny},
    {D, DATA_CALL_CMD_APN_ADD, S, AT(data_call_apn_params, auth_protocol), AT(data_call_apn_add_set_req, auth_protocol), kPdpRange, "add apn failure: invalid profile type 0, pdp type 0, auth protocol %d", 1, 0, kPdpAny},
    {D, DATA_CALL_CMD_APN, G, AT(data_call_apn_params, profile_type), AT(data_call_apn_get_req, profile_type), kProfileTypeRange, "get apn failure: invalid profile type %d, profile index 0"},
    {D, DATA_CALL_CMD_APN, G, AT(data_call_apn_params, profile_index), AT(data_call_apn_get_req, profile_index), kProfileIndexRange, "get apn failure: invalid profile type 0, profile index %d"},
    {D, DATA_CALL_CMD_APN_DEL, S, AT(data_call_apn_params, profile_type), AT(data_call_apn_del_set_req, profile_type), kProfileTypeRange, "delete apn failure: invalid profile type %d, profile index 0"},
    {D, DATA_CALL_CMD_APN_DEL, S, AT(data_call_apn_params, profile_index), AT(data_call_apn_del_set_req, profile_index), kProfileIndexRange, "delete apn failure: invalid profile type 0, profile index %d"},
    {D, DATA_CALL_CMD_APN_LIST, G, AT(data_call_apn_list_params, profile_type), AT(data_call_get_apn_list_get_req, profile_type), kProfileTypeRange, "get apn list failure: invalid profile type %d"},
    {D, DATA_CALL_CMD_DEFAULT_PROFILE, S, AT(data_call_default_profile_params, default_id), AT(data_call_default_profile_set_req, default_id), kProfileIndexRange, "Invalid profile id %d, tech pref 0 ip type 0"},
    {D, DATA_CALL_CMD_DEFAULT_PROFILE, S, AT(data_call_default_profile_params, tech_pref), AT(data_call_default_profile_set_req, tech_pref), kTechPrefRange, "Invalid profile id 0, tech pref %d ip type 0"},
    {D, DATA_CALL_CMD_DEFAULT_PROFILE, S, AT(data_call_default_profile_params, ip_family), AT(data_call_default_profile_set_req, ip_family), kIpFamilyRange, "Invalid profile id 0, tech pref 0 ip type %d"},
    {N, NETWORK_CMD_ETHERNET_MODE, S, AT(network_ethernet_mode_params, mode), AT(network_ethernet_mode_set_req, mode), kEthernetModeRange, "invalid ethernet mode %d"},
    {N, NETWORK_CMD_SGMII_CONFIG, S, AT(network_sgmii_config_params, speed), AT(network_sgmii_config_set_req, speed), kSgmiiSpeedRange, "invalid speed(%d) and duplex(0) params"},
    {N, NETWORK_CMD_SGMII_CONFIG, S, AT(network_sgmii_config_params, duplex), AT(network_sgmii_config_set_req, duplex), kSgmiiDuplexRange, "invalid speed(0) and duplex(%d) params"},
    {N, NETWORK_CMD_SNAT_ADD, S, AT(network_snat_params, private_port), AT(network_snat_rule, private_port), kPort, "invalid private port %d global port 8080 protocol 6"},
    {N, NETWORK_CMD_SNAT_ADD, S, AT(network_snat_params, global_port), AT(network_snat_rule, global_port), kPort, "invalid private port 80 global port %d protocol 6"},
    {N, NETWORK_CMD_SNAT_ADD, S, AT(network_snat_params, protocol), AT(network_snat_rule, protocol), kSnatProtocolRange, "invalid private port 80 global port 8080 protocol %d"},
    {N, NETWORK_CMD_SNAT_DEL, S, AT(network_snat_params, protocol), AT(network_snat_rule, protocol), kSnatProtocolRange, "invalid private port 80 global port 8080 protocol %d"},
    {U, USB_CMD_NET, S, AT(usb_net_params, net), AT(usb_net_set_req, setting), kUsbNetRange, "invalid usb net %d"},
    {U, USB_CMD_BOOTUP, S, AT(usb_bootup_params, bootup), AT(usb_bootup_set_req, setting), kUsbBootupRange, "invalid usb bootup %d params."},
    {U, USB_CMD_ACTION, S, AT(usb_action_params, action_type), AT(usb_action_set_req, setting), kUsbActionRange, "invalid action type %d"},
};
// clang-format on

class Ranges : public ::testing::Test {
protected:
    void SetUp() override { h = fake::open_handle(); }
    void TearDown() override { vg_mgmt_client_close(h); }

    // Writes the value into a good record of the field's command, at the
    // field's width, and runs the command.
    void check(const field &f, uint64_t value)
    {
        const uint32_t v = f.width == 4 ? static_cast<uint32_t>(value)
                                        : static_cast<uint32_t>(value & ((1u << 8 * f.width) - 1));
        const bool ok =
            (v >= f.range.min && v <= f.range.max) || (f.also_ok != 0 && v == f.also_ok);
        const std::string text = [&] {
            char line[160];
            snprintf(line, sizeof line, f.refusal, static_cast<int32_t>(v));
            return std::string(line);
        }();
        SCOPED_TRACE(text + " <- " + std::to_string(v) + (ok ? " accepted" : " refused"));
        const command_row r{f.domain, f.id, f.flag,
                            fill_of(*kest_command_find(f.domain, f.id, f.flag))};
        std::vector<uint8_t> buf(domain_of(f.domain).size);
        r.fill(buf.data());
        if (f.auth != 0)
            put<uint32_t>(buf.data(), offsetof(wifi_auth_params, auth), f.auth);
        memcpy(buf.data() + f.at, &v, f.width);
        g().logs.clear();
        g().sent.clear();
        vg_mgmt_set_errno(1234);
        const int32_t rc = run(h, r, buf.data());
        if (ok) {
            EXPECT_EQ(rc, 0);
            ASSERT_FALSE(g().sent.empty());
            uint32_t out = 0;
            memcpy(&out, g().sent[0].req.data() + f.req_at, f.req_width);
            EXPECT_EQ(out, f.req_width == 0 ? 0 : v);
            return;
        }
        EXPECT_EQ(rc, -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_TRUE(g().sent.empty());
        if (*f.refusal == '\0') {
            EXPECT_EQ(fake::logs().size(), 2u); // the router's and the dispatcher's alone
            return;
        }
        EXPECT_EQ(fake::logs().back().text, text);
        EXPECT_EQ(fake::logs().back().level, f.level);
    }

    mgmt_client *h = nullptr;
};

TEST_F(Ranges, EveryTestedFieldAtItsEdges)
{
    for (const field &f : kFields) {
        check(f, uint64_t{f.range.min} - 1);
        check(f, f.range.min);
        check(f, f.range.max);
        check(f, uint64_t{f.range.max} + 1);
        if (f.width == 4)
            check(f, uint64_t{f.range.max} + 256);
        if (f.also_ok != 0)
            check(f, f.also_ok - 1);
    }
}

// The channels of the list pass and go out whole; their neighbours outside it,
// and a listed channel beyond 16 bits, are refused.
TEST_F(Ranges, ChannelsOfTheListAndNoOther)
{
    const field f{W,
                  WIFI_CMD_CHANNEL,
                  S,
                  AT(wifi_channel_params, channel),
                  AT(wifi_channel_set_req, channel),
                  {0, 0},
                  "Invalid WiFi index 1 channel parameters %d"};
    for (uint16_t c : kWifiChannels) {
        for (uint64_t v : {uint64_t{c} - 1, uint64_t{c}, uint64_t{c} + 1, uint64_t{c} + 0x10000}) {
            const auto w = static_cast<uint32_t>(v);
            field one = f;
            one.range = kest_wifi_channel_ok(w) ? kest_range{w, w} : kest_range{1, 0};
            check(one, v);
        }
    }
}

} // namespace
