// The range of every field that a handler tests, taken from the field
// description, on the record's full width before anything is narrowed: every
// value from min - 1 to max + 1 (a wide range at its ends), and for a wide
// field max + 256 and min + 65536, whose low bytes lie in the range. An
// accepted value goes out in the request; a refused one sends nothing and
// logs the handler's line.
#include <gtest/gtest.h>

#include <algorithm>

#include "command_rows.h"
#include "fake_platform.h"

using fake::g;
using namespace vg_rows;

namespace {

// The instances that a data call command names at its record's head.
constexpr kest_field kProfile{
    D, 0, "profile", 0, 1, kest_kind::number, KEST_RANGE(kProfileIndexRange)};
constexpr kest_field kProfileType{
    D, 0, "profile-type", 0, 1, kest_kind::number, KEST_RANGE(kProfileTypeRange)};
constexpr kest_field kProfileIndex{
    D, 0, "profile-index", 1, 1, kest_kind::number, KEST_RANGE(kProfileIndexRange)};

#define F(domain, cmd, word) &kest_field_at(domain, cmd, word)
#define REQ(rec, member) offsetof(rec, member), sizeof(static_cast<rec *>(nullptr)->member)

struct edge_row {
    uint32_t domain, id, flag;
    const kest_field *field;
    size_t req_at, req_width; // where the value goes out; width 0: not compared
    const char *refusal;      // "%d" the value; "": refused without a line
    int level = 1;
    uint32_t auth = 0; // the auth type written first
};

using A = data_call_apn_params;
// clang-format off
const edge_row kEdges[] = {
    {W, WIFI_CMD_WORK_MODE, S, F(W, WIFI_CMD_WORK_MODE, "work-mode"), REQ(wifi_work_mode_set_req, work_mode), "Invalid WiFi work mode parameter %d"},
    {W, WIFI_CMD_MODE, S, F(W, WIFI_CMD_MODE, "mode"), REQ(wifi_u8_setting_set_req, setting), "Invalid WiFi index 1 mode parameter %d"},
    {W, WIFI_CMD_CHANNEL, S, F(W, WIFI_CMD_CHANNEL, "channel"), REQ(wifi_channel_set_req, channel), "Invalid WiFi index 1 channel parameters %d"},
    {W, WIFI_CMD_BANDWIDTH, S, F(W, WIFI_CMD_BANDWIDTH, "bandwidth"), REQ(wifi_u8_setting_set_req, setting), "Invalid WiFi index 1 bandwidth parameters %d"},
    {W, WIFI_CMD_RSSI, S, F(W, WIFI_CMD_RSSI, "rssi"), REQ(wifi_u8_setting_set_req, setting), "Invalid WiFi index 1 rssi parameter %d"},
    {W, WIFI_CMD_MAX_NUM_STA, S, F(W, WIFI_CMD_MAX_NUM_STA, "max-sta"), REQ(wifi_u8_setting_set_req, setting), "Invalid WiFi index 1 maximum station number parameter %d"},
    {W, WIFI_CMD_ESSID, S, F(W, WIFI_CMD_ESSID, "format-type"), REQ(wifi_essid_set_req, format_type), "invvalid WiFi index 1 ssid format type %d"},
    {W, WIFI_CMD_ACTIVE, S, F(W, WIFI_CMD_ACTIVE, "active"), REQ(wifi_active_set_req, active), ""},
    {W, WIFI_CMD_MAC_ACL_RULE, S, F(W, WIFI_CMD_MAC_ACL_RULE, "acl-rule"), REQ(wifi_mac_acl_rule_set_req, rule), "invalid wifi index 1 mac address acl rule %d"},
    {W, WIFI_CMD_AUTH, S, F(W, WIFI_CMD_AUTH, "auth"), REQ(wifi_auth_set_req, auth), "set wifi index 1 not support", 2},
    {W, WIFI_CMD_AUTH, S, F(W, WIFI_CMD_AUTH, "default-index"), REQ(wifi_auth_set_req, default_index), "set wifi index 1 wep auth failure: invvalid wep default index(0 ~ 3)", 1, WIFI_AUTH_WEP},
    {W, WIFI_CMD_AUTH, S, F(W, WIFI_CMD_AUTH, "pairwise"), REQ(wifi_auth_set_req, pairwise), "set wifi index 1 wpa psk auth failure: invvalid pairwise"},
    {D, DATA_CALL_CMD_UP, S, &kProfile, REQ(data_call_up_set_req, profile_id), "Invalid profile id %d, ip type 2"},
    {D, DATA_CALL_CMD_UP, S, F(D, DATA_CALL_CMD_UP, "ip-type"), REQ(data_call_up_set_req, ip_type), "Invalid profile id 0, ip type %d"},
    {D, DATA_CALL_CMD_DOWN, S, &kProfile, REQ(data_call_down_set_req, profile_id), "Invalid profile id %d, ip type 2"},
    {D, DATA_CALL_CMD_DOWN, S, F(D, DATA_CALL_CMD_DOWN, "ip-type"), REQ(data_call_down_set_req, ip_type), "Invalid profile id 0, ip type %d"},
    {D, DATA_CALL_CMD_INFO, G, &kProfile, REQ(data_call_info_get_req, profile_id), "Invalid profile id %d, ip type 2"},
    {D, DATA_CALL_CMD_INFO, G, F(D, DATA_CALL_CMD_INFO, "ip-type"), 0, 0, "Invalid profile id 0, ip type %d"},
    {D, DATA_CALL_CMD_APN, S, &kProfileType, REQ(data_call_apn_set_req, profile_type), "set apn failure: invalid profile type %d, profile index 0, pdp type 2, auth protocol 0"},
    {D, DATA_CALL_CMD_APN, S, &kProfileIndex, REQ(data_call_apn_set_req, profile_index), "set apn failure: invalid profile type 0, profile index %d, pdp type 2, auth protocol 0"},
    {D, DATA_CALL_CMD_APN, S, F(D, DATA_CALL_CMD_APN, "pdp-type"), REQ(data_call_apn_set_req, pdp_type), "set apn failure: invalid profile type 0, profile index 0, pdp type %d, auth protocol 0"},
    {D, DATA_CALL_CMD_APN, S, F(D, DATA_CALL_CMD_APN, "auth-protocol"), REQ(data_call_apn_set_req, auth_protocol), "set apn failure: invalid profile type 0, profile index 0, pdp type 2, auth protocol %d"},
    {D, DATA_CALL_CMD_APN_ADD, S, &kProfileType, REQ(data_call_apn_add_set_req, profile_type), "add apn failure: invalid profile type %d, pdp type 0, auth protocol 0"},
    {D, DATA_CALL_CMD_APN_ADD, S, F(D, DATA_CALL_CMD_APN, "pdp-type"), REQ(data_call_apn_add_set_req, pdp_type), "add apn failure: invalid profile type 0, pdp type %d, auth protocol 0"},
    {D, DATA_CALL_CMD_APN_ADD, S, F(D, DATA_CALL_CMD_APN, "auth-protocol"), REQ(data_call_apn_add_set_req, auth_protocol), "add apn failure: invalid profile type 0, pdp type 0, auth protocol %d"},
    {D, DATA_CALL_CMD_APN, G, &kProfileType, REQ(data_call_apn_get_req, profile_type), "get apn failure: invalid profile type %d, profile index 0"},
    {D, DATA_CALL_CMD_APN, G, &kProfileIndex, REQ(data_call_apn_get_req, profile_index), "get apn failure: invalid profile type 0, profile index %d"},
    {D, DATA_CALL_CMD_APN_DEL, S, &kProfileType, REQ(data_call_apn_del_set_req, profile_type), "delete apn failure: invalid profile type %d, profile index 0"},
    {D, DATA_CALL_CMD_APN_DEL, S, &kProfileIndex, REQ(data_call_apn_del_set_req, profile_index), "delete apn failure: invalid profile type 0, profile index %d"},
    {D, DATA_CALL_CMD_APN_LIST, G, &kProfileType, REQ(data_call_get_apn_list_get_req, profile_type), "get apn list failure: invalid profile type %d"},
    {D, DATA_CALL_CMD_DEFAULT_PROFILE, S, F(D, DATA_CALL_CMD_DEFAULT_PROFILE, "profile"), REQ(data_call_default_profile_set_req, default_id), "Invalid profile id %d, tech pref 0 ip type 2"},
    {D, DATA_CALL_CMD_DEFAULT_PROFILE, S, F(D, DATA_CALL_CMD_DEFAULT_PROFILE, "tech-pref"), REQ(data_call_default_profile_set_req, tech_pref), "Invalid profile id 0, tech pref %d ip type 2"},
    {D, DATA_CALL_CMD_DEFAULT_PROFILE, S, F(D, DATA_CALL_CMD_DEFAULT_PROFILE, "ip-family"), REQ(data_call_default_profile_set_req, ip_family), "Invalid profile id 0, tech pref 0 ip type %d"},
    {N, NETWORK_CMD_ETHERNET_MODE, S, F(N, NETWORK_CMD_ETHERNET_MODE, "ethernet-mode"), REQ(network_ethernet_mode_set_req, mode), "invalid ethernet mode %d"},
    {N, NETWORK_CMD_SGMII_CONFIG, S, F(N, NETWORK_CMD_SGMII_CONFIG, "speed"), REQ(network_sgmii_config_set_req, speed), "invalid speed(%d) and duplex(1) params"},
    {N, NETWORK_CMD_SGMII_CONFIG, S, F(N, NETWORK_CMD_SGMII_CONFIG, "duplex"), REQ(network_sgmii_config_set_req, duplex), "invalid speed(2) and duplex(%d) params"},
    {N, NETWORK_CMD_SNAT_ADD, S, F(N, NETWORK_CMD_SNAT_ADD, "private-port"), REQ(network_snat_rule, private_port), "invalid private port %d global port 1 protocol 6"},
    {N, NETWORK_CMD_SNAT_ADD, S, F(N, NETWORK_CMD_SNAT_ADD, "global-port"), REQ(network_snat_rule, global_port), "invalid private port 1 global port %d protocol 6"},
    {N, NETWORK_CMD_SNAT_ADD, S, F(N, NETWORK_CMD_SNAT_ADD, "protocol"), REQ(network_snat_rule, protocol), "invalid private port 1 global port 1 protocol %d"},
    {N, NETWORK_CMD_SNAT_DEL, S, F(N, NETWORK_CMD_SNAT_ADD, "protocol"), REQ(network_snat_rule, protocol), "invalid private port 1 global port 1 protocol %d"},
    {U, USB_CMD_NET, S, F(U, USB_CMD_NET, "net-mode"), REQ(usb_net_set_req, setting), "invalid usb net %d"},
    {U, USB_CMD_BOOTUP, S, F(U, USB_CMD_BOOTUP, "bootup"), REQ(usb_bootup_set_req, setting), "invalid usb bootup %d params."},
    {U, USB_CMD_ACTION, S, F(U, USB_CMD_ACTION, "action-type"), REQ(usb_action_set_req, setting), "invalid action type %d"},
};
// clang-format on

// The values a field takes: its range, or those of its names; and a narrower
// set where it has one.
kest_range range_of(const kest_field &f)
{
    if (f.max != 0 || f.names.count == 0)
        return {static_cast<uint32_t>(f.min), static_cast<uint32_t>(f.max)};
    kest_range r{~0u, 0};
    for (uint32_t i = 0; i < f.names.count; ++i) {
        r.min = std::min(r.min, f.names.rows[i].value);
        r.max = std::max(r.max, f.names.rows[i].value);
    }
    return r;
}

class Ranges : public ::testing::Test {
protected:
    void SetUp() override { h = fake::open_handle(); }
    void TearDown() override { vg_mgmt_client_close(h); }

    // Writes the value, at the field's width, into a good record of the
    // row's command, and runs the command.
    void check(const edge_row &e, uint64_t value)
    {
        const kest_field &f = *e.field;
        const kest_range r = range_of(f);
        const auto v =
            static_cast<uint32_t>(f.width == 4 ? value : value & ((1u << 8 * f.width) - 1));
        const bool ok = v >= r.min && v <= r.max && f.allowed(v);
        char text[160];
        snprintf(text, sizeof text, e.refusal, static_cast<int32_t>(v));
        SCOPED_TRACE(std::string(text) + " <- " + std::to_string(v) +
                     (ok ? " accepted" : " refused"));
        const kest_command &c = *kest_command_find(e.domain, e.id, e.flag);
        std::vector<uint8_t> buf(size_of(e.domain));
        fill(c, buf.data());
        if (e.auth != 0)
            put<uint32_t>(buf.data(), offsetof(wifi_auth_params, auth), e.auth);
        memcpy(buf.data() + f.off, &v, f.width);
        g().logs.clear();
        g().sent.clear();
        vg_mgmt_set_errno(1234);
        const int32_t rc = run(h, c, buf.data());
        if (ok) {
            EXPECT_EQ(rc, 0);
            ASSERT_FALSE(g().sent.empty());
            uint32_t out = 0;
            memcpy(&out, g().sent[0].req.data() + e.req_at, e.req_width);
            EXPECT_EQ(out, e.req_width == 0 ? 0 : v);
            return;
        }
        EXPECT_EQ(rc, -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_TRUE(g().sent.empty());
        if (*e.refusal == '\0') {
            EXPECT_EQ(fake::logs().size(), 2u); // the router's and the dispatcher's alone
            return;
        }
        EXPECT_EQ(fake::logs().back().text, text);
        EXPECT_EQ(fake::logs().back().level, e.level);
    }

    mgmt_client *h = nullptr;
};

TEST_F(Ranges, EveryTestedFieldAtItsEdges)
{
    for (const edge_row &e : kEdges) {
        const kest_range r = range_of(*e.field);
        const bool wide = r.max - r.min > 300;
        for (int64_t v = int64_t{r.min} - 1; v <= int64_t{r.max} + 1; ++v) {
            if (wide && v > r.min && v + 1 < r.max)
                v = r.max - 1;
            check(e, static_cast<uint64_t>(v));
        }
        if (e.field->width == 4) {
            check(e, uint64_t{r.max} + 256);
            check(e, uint64_t{r.min} + 0x10000);
        }
    }
}

// Every described field with a range, of a command that sets it, has its
// edges tested; a restore names an interface only within 1 to 3 and sends 0
// for any other (the Wi-Fi tests' matter).
TEST(RangesOf, EveryDescribedSettingIsTested)
{
    for (const kest_field &f : kFields) {
        const bool ranged = (f.kind == kest_kind::number || f.kind == kest_kind::named) &&
                            (f.max != 0 || f.names.count != 0 || f.allowed != kest_any);
        if (!ranged || kest_command_find(f.domain, f.command, S) == nullptr ||
            (f.domain == W && f.command == WIFI_CMD_RESTORE_DEFAULT))
            continue;
        EXPECT_TRUE(std::ranges::any_of(kEdges, [&](const edge_row &e) { return e.field == &f; }))
            << f.word << " of command " << f.command << " of domain " << f.domain;
    }
}

} // namespace
