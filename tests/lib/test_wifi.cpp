// Wi-Fi handlers and the Wi-Fi indication decoder.
#include <gtest/gtest.h>

#include <set>
#include <tuple>

#include "module_channels.h"
#include "domain_test.h"
#include "kest_commands.h"

using fake::g;

namespace {

class WifiTest : public DomainTest<MGMT_DOMAIN_WIFI, MGMT_WIFI_VALUE_SIZE> {
protected:
    WifiTest() : DomainTest(capture) {}
    void SetUp() override
    {
        DomainTest::SetUp();
        events().clear();
    }

    int32_t run(uint32_t id, uint32_t flag) { return flag == MGMT_OPT_SET ? set(id) : get(id); }
    template <class T>
    void put(size_t at, T v)
    {
        memcpy(buf.data() + at, &v, sizeof v);
    }
    void put_text(size_t at, const std::string &s) { memcpy(buf.data() + at, s.data(), s.size()); }
    bool same_from(size_t at, const std::vector<uint8_t> &before) const
    {
        return std::equal(buf.begin() + static_cast<std::ptrdiff_t>(at), buf.end(),
                          before.begin() + static_cast<std::ptrdiff_t>(at));
    }

    struct event {
        uint32_t id;
        std::vector<uint8_t> bytes;
    };
    static std::vector<event> &events()
    {
        static std::vector<event> e;
        return e;
    }
    static int32_t capture(uint32_t id, const void *rec, uint32_t size)
    {
        const auto *b = static_cast<const uint8_t *>(rec);
        events().push_back({id, std::vector<uint8_t>(b, b + size)});
        return 0;
    }
};

// ---------------------------------------------------------------------------
// Work mode

TEST_F(WifiTest, WorkModeSetSendsTheByte)
{
    record<wifi_work_mode_params>().work_mode = 4;
    EXPECT_EQ(set(WIFI_CMD_WORK_MODE), 0);
    const auto m = fake::last_sent();
    EXPECT_EQ(m.msg_id, 1u);
    EXPECT_EQ(m.req, (std::vector<uint8_t>{4}));
    EXPECT_EQ(m.resp_len, 4u);
    EXPECT_EQ(m.timeout_ms, 5000u);
    EXPECT_TRUE(fake::logged("qmi_client_send_msg_sync(set WiFi work mode): error 0 result 0"));
    EXPECT_EQ(fake::logs().back().text, "Set WiFi work mode 4 success");
    EXPECT_EQ(fake::logs().back().level, 3);
    EXPECT_EQ(vg_mgmt_get_errno(), 1234);
}

TEST_F(WifiTest, WorkModeRangeIsTestedOnTheFullWord)
{
    for (uint32_t mode : {5u, 256u, 0xffffffffu}) {
        record<wifi_work_mode_params>().work_mode = mode;
        EXPECT_EQ(set(WIFI_CMD_WORK_MODE), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_EQ(fake::logs().back().text,
                  "Invalid WiFi work mode parameter " + std::to_string(static_cast<int>(mode)));
    }
    EXPECT_EQ(fake::sent_count(), 0u);
}

TEST_F(WifiTest, WorkModeGetWidensWithoutATest)
{
    fake::reply_with(wifi_work_mode_get_resp{{0, 0}, 200, 0});
    const auto before = buf;
    EXPECT_EQ(get(WIFI_CMD_WORK_MODE), 0);
    const auto m = fake::last_sent();
    EXPECT_EQ(m.msg_id, 2u);
    EXPECT_TRUE(m.req_null);
    EXPECT_EQ(m.req_len, 0u);
    EXPECT_EQ(m.resp_len, 6u);
    EXPECT_EQ(record<wifi_work_mode_params>().work_mode, 200u);
    EXPECT_TRUE(std::equal(buf.begin() + 4, buf.end(), before.begin() + 4));
    EXPECT_EQ(fake::logs().back().level, 3);
}

TEST_F(WifiTest, WorkModeFailuresLeaveTheRecordAndPassTheErrorOn)
{
    const auto before = buf;
    fake::reply_status(1, 5);
    EXPECT_EQ(get(WIFI_CMD_WORK_MODE), -1);
    EXPECT_EQ(vg_mgmt_get_errno(), 5);
    EXPECT_EQ(fake::logs().back().text, "Can not get WiFi work mode: error 5");
    EXPECT_EQ(fake::logs().back().level, 1);

    fake::reply_send_failure(3);
    EXPECT_EQ(get(WIFI_CMD_WORK_MODE), -1);
    EXPECT_EQ(vg_mgmt_get_errno(), 0);
    EXPECT_TRUE(fake::logged("qmi_client_send_msg_sync(get WiFi work mode): error 3 result 0"));
    EXPECT_EQ(buf, before);

    record<wifi_work_mode_params>().work_mode = 3;
    fake::reply_status(7, 300);
    EXPECT_EQ(set(WIFI_CMD_WORK_MODE), -1);
    EXPECT_EQ(vg_mgmt_get_errno(), 300);
    EXPECT_EQ(fake::logs().back().text, "Can not set WiFi work mode 3: error 300");
}

// ---------------------------------------------------------------------------
// Every command and direction: message, lengths, time-out, label, and the
// handler's name on its lines

constexpr uint32_t S = MGMT_OPT_SET, G = MGMT_OPT_GET;

struct msg_row {
    uint32_t id, flag;
    const char *handler;
    const char *label;
    size_t record;          // bytes of the record at the buffer's start
    bool indexed;           // index 3 at offset 0
    void (*fix)(uint8_t *); // makes the zeroed record valid
};

void fix_country(uint8_t *b)
{
    memcpy(b, "US", 3);
}
void fix_ssid(uint8_t *b)
{
    b[8] = 'x';
}
void fix_max_sta(uint8_t *b)
{
    b[4] = 1;
}

const msg_row kMessages[] = {
    {WIFI_CMD_WORK_MODE, S, "wifi_work_mode_set", "set WiFi work mode", 4, false, nullptr},
    {WIFI_CMD_WORK_MODE, G, "wifi_work_mode_get", "get WiFi work mode", 4, false, nullptr},
    {WIFI_CMD_ENABLE, S, "wifi_enable_set", "set WiFi enable", 1, false, nullptr},
    {WIFI_CMD_ENABLE, G, "wifi_enable_get", "get WiFi enable", 1, false, nullptr},
    {WIFI_CMD_COUNTRY_CODE, S, "wifi_country_code_set", "set WiFi country code", 3, false,
     fix_country},
    {WIFI_CMD_COUNTRY_CODE, G, "wifi_country_code_get", "get WiFi country code", 3, false, nullptr},
    {WIFI_CMD_ESSID, S, "wifi_essid_set", "set WiFi ssid", 41, true, fix_ssid},
    {WIFI_CMD_ESSID, G, "wifi_essid_get", "get WiFi ssid", 41, true, nullptr},
    {WIFI_CMD_ACTIVE, S, "wifi_active_set", "set active", 5, true, nullptr},
    {WIFI_CMD_AUTH, S, "wifi_auth_set", "set WiFi auth", 268, true, nullptr},
    {WIFI_CMD_AUTH, G, "wifi_auth_get", "get WiFi auth", 268, true, nullptr},
    {WIFI_CMD_MODE, S, "wifi_mode_set", "set WiFi ieee80211 mode", 8, true, nullptr},
    {WIFI_CMD_MODE, G, "wifi_mode_get", "get WiFi ieee80211 mode", 8, true, nullptr},
    {WIFI_CMD_CHANNEL, S, "wifi_channel_set", "set WiFi channel", 8, true, nullptr},
    {WIFI_CMD_CHANNEL, G, "wifi_channel_get", "get WiFi channel", 8, true, nullptr},
    {WIFI_CMD_SSID_HIDE, S, "wifi_ssid_hide_set", "set WiFi ssid hide", 5, true, nullptr},
    {WIFI_CMD_SSID_HIDE, G, "wifi_ssid_hide_get", "get WiFi ssid hide", 5, true, nullptr},
    {WIFI_CMD_BANDWIDTH, S, "wifi_bandwidth_set", "set WiFi bandwidth", 8, true, nullptr},
    {WIFI_CMD_BANDWIDTH, G, "wifi_bandwidth_get", "get WiFi bandwidth", 8, true, nullptr},
    {WIFI_CMD_MAX_NUM_STA, S, "wifi_max_num_sta_set", "set WiFi maximum station number", 8, true,
     fix_max_sta},
    {WIFI_CMD_MAX_NUM_STA, G, "wifi_max_num_sta_get", "get WiFi maximum station number", 8, true,
     nullptr},
    {WIFI_CMD_11N_ONLY, S, "wifi_11n_only_set", "set WiFi only ieee80211n accept", 5, true,
     nullptr},
    {WIFI_CMD_11N_ONLY, G, "wifi_11n_only_get", "get WiFi only ieee80211n accept", 5, true,
     nullptr},
    {WIFI_CMD_11AC_ONLY, S, "wifi_11ac_only_set", "set WiFi only ieee80211ac accept", 5, true,
     nullptr},
    {WIFI_CMD_11AC_ONLY, G, "wifi_11ac_only_get", "get WiFi only ieee80211ac accept", 5, true,
     nullptr},
    {WIFI_CMD_AP_ISOLATE, S, "wifi_ap_isolate_set", "set WiFi ap isolate", 5, true, nullptr},
    {WIFI_CMD_AP_ISOLATE, G, "wifi_ap_isolate_get", "get WiFi ap isolate", 5, true, nullptr},
    {WIFI_CMD_DFS, S, "wifi_dfs_set", "set WiFi DFS", 5, true, nullptr},
    {WIFI_CMD_DFS, G, "wifi_dfs_get", "get WiFi DFS", 5, true, nullptr},
    {WIFI_CMD_RSSI, S, "wifi_rssi_set", "set WiFi rssi", 8, true, nullptr},
    {WIFI_CMD_RSSI, G, "wifi_rssi_get", "get WiFi rssi", 8, true, nullptr},
    {WIFI_CMD_MAC_ACL_RULE, S, "wifi_mac_acl_rule_set", "set mac acl rule", 8, true, nullptr},
    {WIFI_CMD_MAC_ACL_RULE, G, "wifi_mac_acl_rule_get", "get mac acl rule", 8, true, nullptr},
    {WIFI_CMD_MAC_ACL_ADD, S, "wifi_mac_acl_add_set", "add mac acl", 10, true, nullptr},
    {WIFI_CMD_MAC_ACL_DEL, S, "wifi_mac_acl_del_set", "del mac acl", 10, true, nullptr},
    {WIFI_CMD_MAC_ACL_INFO, G, "wifi_mac_acl_info_get", "get mac acl", 200, true, nullptr},
    {WIFI_CMD_STA_INFO, G, "wifi_sta_info_get", "get WiFi ap sta info", 5000, false, nullptr},
    {WIFI_CMD_STATION_STATUS, G, "wifi_station_status_get", "get station status", 38, true,
     nullptr},
    {WIFI_CMD_RESTORE_DEFAULT, S, "wifi_restore_default_set", "set wifi resotre", 4, true, nullptr},
};

const msg_row *find_row(uint32_t id, uint32_t flag)
{
    for (const auto &r : kMessages)
        if (r.id == id && r.flag == flag)
            return &r;
    return nullptr;
}

// A valid record of the row, written over the pattern.
void prepare(std::vector<uint8_t> &buf, const msg_row &r)
{
    memset(buf.data(), 0, r.record);
    if (r.indexed)
        buf[0] = 3;
    if (r.fix != nullptr)
        r.fix(buf.data());
}

std::string trace(const msg_row &r, int rc)
{
    return "qmi_client_send_msg_sync(" + std::string(r.label) + "): error " + std::to_string(rc) +
           " result 0";
}

bool ends_with(const std::string &s, const std::string &tail)
{
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

// The message of a row, as the command descriptions give it.
const kest_command &described(const msg_row &r)
{
    static const kest_command none{};
    const kest_command *c = kest_command_find(MGMT_DOMAIN_WIFI, r.id, r.flag);
    return c != nullptr ? *c : none;
}

// The rows above are every handler, one per described direction; the other
// directions have none.
TEST_F(WifiTest, DirectionsWithoutARowEndInTheDispatcher)
{
    constexpr size_t ids = kest_distinct_commands(kWifiCommands);
    ASSERT_EQ(std::size(kMessages), std::size(kWifiCommands));
    size_t missing = 0;
    for (uint32_t id = 1; id <= ids; ++id) {
        for (uint32_t flag : {S, G}) {
            if (find_row(id, flag) != nullptr)
                continue;
            ++missing;
            EXPECT_EQ(run(id, flag), -1) << id;
            EXPECT_EQ(fake::logs().back().text,
                      "command " + std::to_string(id) + " function is null");
        }
    }
    EXPECT_EQ(missing, 2 * ids - std::size(kWifiCommands));
    EXPECT_EQ(fake::sent_count(), 0u);
    EXPECT_EQ(vg_mgmt_get_errno(), 1234);
}

TEST_F(WifiTest, MessagesGoOutAsTheirRowsSay)
{
    for (const auto &r : kMessages) {
        SCOPED_TRACE(r.handler);
        prepare(buf, r);
        const auto before = buf;
        g().logs.clear();
        const size_t sent = fake::sent_count();
        EXPECT_EQ(run(r.id, r.flag), 0);
        ASSERT_EQ(fake::sent_count(), sent + 1);
        const auto m = fake::last_sent();
        const kest_command &c = described(r);
        EXPECT_EQ(m.msg_id, c.msg_id);
        EXPECT_EQ(m.req_len, c.req_len);
        EXPECT_EQ(m.req_null, c.req_len == 0);
        EXPECT_EQ(m.resp_len, c.resp_len);
        EXPECT_EQ(m.timeout_ms, c.timeout_ms);
        EXPECT_TRUE(fake::logged(trace(r, 0)));
        const auto lines = fake::logs();
        for (size_t i = 2; i < lines.size(); ++i) // behind the router's and the dispatcher's
            EXPECT_EQ(lines[i].func, r.handler) << lines[i].text;
        EXPECT_TRUE(r.flag == S ? buf == before : same_from(r.record, before));
        EXPECT_EQ(vg_mgmt_get_errno(), 1234);
    }
}

TEST_F(WifiTest, FailuresPassTheServiceErrorOnAndLeaveTheRecord)
{
    for (const auto &r : kMessages) {
        SCOPED_TRACE(r.handler);
        prepare(buf, r);
        const auto before = buf;
        fake::reply_status(1, 77);
        EXPECT_EQ(run(r.id, r.flag), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 77);
        EXPECT_TRUE(ends_with(fake::logs().back().text, ": error 77"));
        EXPECT_EQ(fake::logs().back().level, 1);
        EXPECT_EQ(fake::logs().back().func, r.handler);

        fake::reply_send_failure(3);
        EXPECT_EQ(run(r.id, r.flag), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 0);
        EXPECT_TRUE(fake::logged(trace(r, 3)));
        EXPECT_TRUE(ends_with(fake::logs().back().text, ": error 0"));
        EXPECT_EQ(buf, before);

        const size_t sent = fake::sent_count();
        EXPECT_EQ(wifi_command_handle(h, r.flag, r.id, nullptr), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_EQ(fake::logs().back().text, "the wifi params is null");
        EXPECT_EQ(fake::logs().back().func, r.handler);
        EXPECT_EQ(fake::sent_count(), sent);
    }
}

TEST_F(WifiTest, InterfaceOutsideOneToThreeIsRefusedSilently)
{
    for (const auto &r : kMessages) {
        if (!r.indexed || r.id == WIFI_CMD_RESTORE_DEFAULT || r.id == WIFI_CMD_STATION_STATUS)
            continue;
        SCOPED_TRACE(r.handler);
        for (uint32_t index : {0u, 4u, 257u}) {
            prepare(buf, r);
            put(0, index);
            vg_mgmt_set_errno(1234);
            g().logs.clear();
            EXPECT_EQ(run(r.id, r.flag), -1);
            EXPECT_EQ(vg_mgmt_get_errno(), 2);
            EXPECT_EQ(fake::logs().size(), 2u); // the router's and the dispatcher's lines alone
        }
    }
    EXPECT_EQ(fake::sent_count(), 0u);
}

// ---------------------------------------------------------------------------
// Range edges, on the record's full width before narrowing

struct edge {
    uint32_t id;
    size_t at;
    uint8_t width; // 4: u32 field, 1: byte field
    uint32_t value;
    size_t req_at; // where an accepted value stands in the request
    uint8_t req_width;
    const char *refusal; // null: accepted; "": refused without a line
    uint32_t auth = 0;   // the auth type, for the auth rows
};

const edge kEdges[] = {
    {WIFI_CMD_MODE, 4, 4, 0, 1, 1, nullptr},
    {WIFI_CMD_MODE, 4, 4, 5, 1, 1, nullptr},
    {WIFI_CMD_MODE, 4, 4, 6, 0, 0, "Invalid WiFi index 3 mode parameter 6"},
    {WIFI_CMD_MODE, 4, 4, 256 + 5, 0, 0, "Invalid WiFi index 3 mode parameter 261"},
    {WIFI_CMD_BANDWIDTH, 4, 4, 3, 1, 1, nullptr},
    {WIFI_CMD_BANDWIDTH, 4, 4, 4, 0, 0, "Invalid WiFi index 3 bandwidth parameters 4"},
    {WIFI_CMD_MAX_NUM_STA, 4, 4, 1, 1, 1, nullptr},
    {WIFI_CMD_MAX_NUM_STA, 4, 4, 16, 1, 1, nullptr},
    {WIFI_CMD_MAX_NUM_STA, 4, 4, 0, 0, 0,
     "Invalid WiFi index 3 maximum station number parameter 0"},
    {WIFI_CMD_MAX_NUM_STA, 4, 4, 17, 0, 0,
     "Invalid WiFi index 3 maximum station number parameter 17"},
    {WIFI_CMD_MAX_NUM_STA, 4, 4, 256 + 1, 0, 0,
     "Invalid WiFi index 3 maximum station number parameter 257"},
    {WIFI_CMD_RSSI, 4, 4, 0, 1, 1, nullptr},
    {WIFI_CMD_RSSI, 4, 4, 95, 1, 1, nullptr},
    {WIFI_CMD_RSSI, 4, 4, 96, 0, 0, "Invalid WiFi index 3 rssi parameter 96"},
    {WIFI_CMD_RSSI, 4, 4, 256 + 5, 0, 0, "Invalid WiFi index 3 rssi parameter 261"},
    {WIFI_CMD_ESSID, 4, 4, 3, 1, 1, nullptr},
    {WIFI_CMD_ESSID, 4, 4, 4, 0, 0, "invvalid WiFi index 3 ssid format type 4"},
    {WIFI_CMD_ESSID, 4, 4, 256, 0, 0, "invvalid WiFi index 3 ssid format type 256"},
    {WIFI_CMD_ACTIVE, 4, 1, 2, 1, 1, nullptr},
    {WIFI_CMD_ACTIVE, 4, 1, 3, 0, 0, ""},
    {WIFI_CMD_MAC_ACL_RULE, 4, 4, 2, 1, 1, nullptr},
    {WIFI_CMD_MAC_ACL_RULE, 4, 4, 3, 0, 0, "invalid wifi index 3 mac address acl rule 3"},
    {WIFI_CMD_MAC_ACL_RULE, 4, 4, 256, 0, 0, "invalid wifi index 3 mac address acl rule 256"},
    {WIFI_CMD_AUTH, 8, 4, 3, 2, 1, nullptr, 1},
    {WIFI_CMD_AUTH, 8, 4, 4, 0, 0,
     "set wifi index 3 wep auth failure: invvalid wep default index(0 ~ 3)", 1},
    {WIFI_CMD_AUTH, 8, 4, 2, 262, 1, nullptr, 4},
    {WIFI_CMD_AUTH, 8, 4, 3, 0, 0, "set wifi index 3 wpa psk auth failure: invvalid pairwise", 2},
    {WIFI_CMD_AUTH, 8, 4, 0, 0, 0, "set wifi index 3 not support", 5},
    {WIFI_CMD_AUTH, 8, 4, 0, 0, 0, "set wifi index 3 not support", 0xffffffff},
};

TEST_F(WifiTest, RangeEdges)
{
    for (const auto &e : kEdges) {
        SCOPED_TRACE(std::to_string(e.id) + " value " + std::to_string(e.value));
        prepare(buf, *find_row(e.id, S));
        if (e.id == WIFI_CMD_AUTH)
            put(4, e.auth);
        e.width == 4 ? put(e.at, e.value) : put(e.at, static_cast<uint8_t>(e.value));
        vg_mgmt_set_errno(1234);
        g().logs.clear();
        const size_t sent = fake::sent_count();
        const int32_t rc = set(e.id);
        if (e.refusal == nullptr) {
            EXPECT_EQ(rc, 0);
            ASSERT_EQ(fake::sent_count(), sent + 1);
            uint32_t out = 0;
            memcpy(&out, fake::last_sent().req.data() + e.req_at, e.req_width);
            EXPECT_EQ(out, e.value);
            continue;
        }
        EXPECT_EQ(rc, -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_EQ(fake::sent_count(), sent);
        if (*e.refusal == '\0') {
            EXPECT_EQ(fake::logs().size(), 2u);
        } else {
            EXPECT_EQ(fake::logs().back().text, e.refusal);
            EXPECT_EQ(fake::logs().back().level, e.auth > 4 ? 2 : 1);
        }
    }
}

// Every number up to 200 against the module's list.
TEST_F(WifiTest, ChannelMustBeInTheList)
{
    const std::set<uint32_t> &module = kModuleChannels;
    for (uint32_t ch = 0; ch <= 200; ++ch) {
        record<wifi_channel_params>() = {2, ch};
        const size_t sent = fake::sent_count();
        if (module.count(ch) != 0) {
            EXPECT_EQ(set(WIFI_CMD_CHANNEL), 0) << ch;
            const auto req = fake::request_as<wifi_channel_set_req>(fake::last_sent());
            EXPECT_EQ(req.reserved, 0);
            EXPECT_EQ(req.channel, ch);
        } else {
            EXPECT_EQ(set(WIFI_CMD_CHANNEL), -1) << ch;
            EXPECT_EQ(fake::sent_count(), sent) << ch;
            EXPECT_EQ(fake::logs().back().text,
                      "Invalid WiFi index 2 channel parameters " + std::to_string(ch));
        }
    }
    record<wifi_channel_params>() = {2, 0x10000u + 36u}; // not cut to 16 bits first
    EXPECT_EQ(set(WIFI_CMD_CHANNEL), -1);
}

// ---------------------------------------------------------------------------
// Radio parameters: the label in the four lines, flags and widening

struct radio_row {
    uint32_t id;
    const char *label;
    bool flag;
    uint32_t set_value; // sent unchanged
    uint16_t answer;    // the service's answer to a read
    uint32_t stored;    // what the read leaves in the record
};

const radio_row kRadio[] = {
    {WIFI_CMD_MODE, "ieee80211 mode", false, 5, 200, 200},
    {WIFI_CMD_CHANNEL, "channel", false, 165, 0xfffe, 0xfffe},
    {WIFI_CMD_BANDWIDTH, "bandwidth", false, 3, 3, 3},
    {WIFI_CMD_MAX_NUM_STA, "maximum station number", false, 16, 17, 17},
    {WIFI_CMD_RSSI, "rssi", false, 95, 255, 255},
    {WIFI_CMD_SSID_HIDE, "ssid hide", true, 2, 2, 1},
    {WIFI_CMD_11N_ONLY, "only ieee80211n accept", true, 255, 0x80, 1},
    {WIFI_CMD_11AC_ONLY, "only ieee80211ac accept", true, 2, 1, 1},
    {WIFI_CMD_AP_ISOLATE, "ap isolate", true, 0, 0, 0},
    {WIFI_CMD_DFS, "DFS", true, 2, 2, 1},
};

TEST_F(WifiTest, RadioSettingsCarryTheirLabelAndValues)
{
    for (const auto &r : kRadio) {
        const std::string label = r.label, v = std::to_string(r.set_value);
        SCOPED_TRACE(label);
        put(0, 3u);
        r.flag ? put(4, static_cast<uint8_t>(r.set_value)) : put(4, r.set_value);
        EXPECT_EQ(set(r.id), 0);
        const auto req = fake::last_sent().req;
        EXPECT_EQ(r.id == WIFI_CMD_CHANNEL ? req[2] | req[3] << 8 : req[1], r.set_value);
        EXPECT_EQ(fake::logs().back().text, "Set WiFi index 3 " + label + " " + v + " success");
        EXPECT_EQ(fake::logs().back().level, 3);
        fake::reply_status(2, 9);
        EXPECT_EQ(set(r.id), -1);
        EXPECT_EQ(fake::logs().back().text,
                  "Can not set WiFi index 3 " + label + " " + v + ": error 9");

        const auto before = buf;
        fake::reply_status(2, 9);
        EXPECT_EQ(get(r.id), -1);
        EXPECT_EQ(fake::logs().back().text, "Can not get WiFi index 3 " + label + ": error 9");
        EXPECT_EQ(buf, before);
        if (r.id == WIFI_CMD_CHANNEL)
            fake::reply_with(wifi_channel_get_resp{{0, 0}, r.answer});
        else
            fake::reply_with(wifi_u8_setting_get_resp{{0, 0}, static_cast<uint8_t>(r.answer), 0});
        EXPECT_EQ(get(r.id), 0);
        uint32_t stored = 0;
        memcpy(&stored, buf.data() + 4, r.flag ? 1 : 4);
        EXPECT_EQ(stored, r.stored);
        EXPECT_TRUE(same_from(r.flag ? 5 : 8, before)); // a flag's three bytes behind it stay
        EXPECT_EQ(fake::logs().back().text,
                  "Get WiFi index 3 " + label + " " + std::to_string(r.stored) + " success");
    }
}

TEST_F(WifiTest, EnableFollowsTheFlagRule)
{
    buf[0] = 2;
    EXPECT_EQ(set(WIFI_CMD_ENABLE), 0);
    EXPECT_EQ(fake::last_sent().req, (std::vector<uint8_t>{2}));
    EXPECT_EQ(fake::logs().back().text, "Set WiFi enable 2 success");
    const auto before = buf;
    fake::reply_with(wifi_enable_get_resp{{0, 0}, 2, 0});
    EXPECT_EQ(get(WIFI_CMD_ENABLE), 0);
    EXPECT_EQ(buf[0], 1);
    EXPECT_TRUE(same_from(1, before));
    EXPECT_EQ(fake::logs().back().text, "Get WiFi enable 1 success");
}

// ---------------------------------------------------------------------------
// Texts: measured, copied and printed within their fields

TEST_F(WifiTest, CountryCodeIsTwoCharactersEachWay)
{
    for (const std::string &bad :
         {std::string("\0", 1), std::string("U\0", 2), std::string("USA\0", 4)}) {
        put_text(0, bad);
        EXPECT_EQ(set(WIFI_CMD_COUNTRY_CODE), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_EQ(fake::logs().back().text,
                  "Invalid WiFi country code parameter " + std::string(bad.c_str()));
    }
    put_text(0, "USA"); // no terminator in the field: measured and printed within it
    EXPECT_EQ(set(WIFI_CMD_COUNTRY_CODE), -1);
    EXPECT_EQ(fake::logs().back().text, "Invalid WiFi country code parameter USA");
    EXPECT_EQ(fake::sent_count(), 0u);

    put_text(0, std::string("42\0", 3));
    EXPECT_EQ(set(WIFI_CMD_COUNTRY_CODE), 0);
    EXPECT_EQ(fake::last_sent().req, (std::vector<uint8_t>{'4', '2'}));
    EXPECT_EQ(fake::logs().back().text, "Set WiFi country code 42 success");

    const auto before = buf;
    fake::reply_with(wifi_country_code_get_resp{{0, 0}, {'D', 'E'}});
    EXPECT_EQ(get(WIFI_CMD_COUNTRY_CODE), 0);
    EXPECT_EQ(buf[0], 'D');
    EXPECT_EQ(buf[1], 'E');
    EXPECT_TRUE(same_from(2, before)); // two characters, not a text
    EXPECT_EQ(fake::logs().back().text, "get WiFi country code DE success");
}

TEST_F(WifiTest, SsidLengthsAndCopies)
{
    auto &p = record<wifi_essid_params>();
    p.index = 2;
    p.format_type = 1;
    memset(p.ssid, 'a', 32);
    p.ssid[32] = '\0';
    EXPECT_EQ(set(WIFI_CMD_ESSID), 0);
    const auto req = fake::request_as<wifi_essid_set_req>(fake::last_sent());
    EXPECT_EQ(memcmp(req.ssid, std::string(32, 'a').data(), 32),
              0); // fills the field, no terminator
    EXPECT_EQ(fake::logs().back().text,
              "Set WiFi index 2 ssid " + std::string(32, 'a') + " fomart type 1 success");

    p.ssid[32] = 'a'; // 33 characters, and no terminator in the field at all
    EXPECT_EQ(set(WIFI_CMD_ESSID), -1);
    EXPECT_EQ(fake::logs().back().text,
              "Invalid WiFi ssid " + std::string(33, 'a') + " length 33 (in 1...32)");
    p.ssid[0] = '\0';
    EXPECT_EQ(set(WIFI_CMD_ESSID), -1);
    EXPECT_EQ(fake::logs().back().text, "Invalid WiFi ssid  length 0 (in 1...32)");

    strcpy(p.ssid, "a longer network name");
    wifi_essid_get_resp resp{{0, 0}, 7, "home"};
    fake::reply_with(resp);
    EXPECT_EQ(get(WIFI_CMD_ESSID), 0);
    EXPECT_EQ(p.format_type, 7u);
    EXPECT_EQ(std::string(p.ssid), "home");
    EXPECT_EQ(std::string(p.ssid + 5), "ger network name"); // the old text stays behind
    EXPECT_EQ(fake::logs().back().text, "Get WiFi index 2 ssid home format type 7 success");

    const auto before = buf;
    memset(resp.ssid, 'z', sizeof resp.ssid); // an answer without a terminator
    fake::reply_with(resp);
    EXPECT_EQ(get(WIFI_CMD_ESSID), 0);
    EXPECT_EQ(memcmp(p.ssid, std::string(33, 'z').data(), 33), 0);
    EXPECT_TRUE(same_from(41, before));
    EXPECT_EQ(fake::logs().back().text,
              "Get WiFi index 2 ssid " + std::string(33, 'z') + " format type 7 success");
}

TEST_F(WifiTest, AuthSetFillsOnlyWhatItsTypeUses)
{
    auto &p = record<wifi_auth_params>(); // the union holds the pattern
    p.index = 1;
    p.auth = 0;
    EXPECT_EQ(set(WIFI_CMD_AUTH), 0);
    std::vector<uint8_t> open(332, 0);
    open[0] = 1;
    EXPECT_EQ(fake::last_sent().req, open);
    EXPECT_EQ(fake::logs().back().text, "set WiFi index 1 auth successed.");

    p.auth = 1;
    p.wep.default_index = 3;
    memset(p.wep.key0, 'k', 64); // no terminator: goes out filling its field
    strcpy(p.wep.key1, "one");
    strcpy(p.wep.key2, "");
    strcpy(p.wep.key3, "three");
    EXPECT_EQ(set(WIFI_CMD_AUTH), 0);
    auto wep = fake::request_as<wifi_auth_set_req>(fake::last_sent());
    EXPECT_EQ(wep.auth, 1);
    EXPECT_EQ(wep.default_index, 3);
    EXPECT_EQ(memcmp(wep.key0, std::string(64, 'k').data(), 64), 0);
    EXPECT_STREQ(wep.key1, "one");
    EXPECT_STREQ(wep.key3, "three");
    EXPECT_EQ(wep.pairwise | wep.password[0] | wep.group_rekey, 0);
    EXPECT_TRUE(fake::logged("set wifi wep auth: default index 3 key0 " + std::string(64, 'k') +
                             " key1 one key2  key3 three"));

    p.auth = 3;
    p.wpa.pairwise = 2;
    memset(p.wpa.password, 'p', 64);
    p.wpa.group_rekey = 0xffffffff;
    EXPECT_EQ(set(WIFI_CMD_AUTH), 0);
    auto wpa = fake::request_as<wifi_auth_set_req>(fake::last_sent());
    EXPECT_EQ(wpa.auth, 3);
    EXPECT_EQ(wpa.pairwise, 2);
    EXPECT_EQ(memcmp(wpa.password, std::string(64, 'p').data(), 64), 0);
    EXPECT_EQ(wpa.reserved1, 0);
    EXPECT_EQ(wpa.group_rekey, 0xffffffffu);
    EXPECT_EQ(wpa.default_index | wpa.key0[0] | wpa.key3[63], 0);
    EXPECT_TRUE(fake::logged("set wifi index 1 wpa psk auth: auth 3 pairwise 2 password " +
                             std::string(64, 'p') + " group_rekey -1"));
}

TEST_F(WifiTest, AuthGetJudgesTheAnswerBeforeCopying)
{
    record<wifi_auth_params>().index = 2;
    wifi_auth_get_resp bad{};
    for (const auto &[auth, def, pairwise, line] :
         {std::tuple{1, 4, 0, "get WiFi index 2 wep failure: invalid default index 4"},
          std::tuple{2, 0, 3, "get WiFi index 2 wpa psk failure: invalid pairwise 3"},
          std::tuple{5, 0, 0, "wif index 2 auth not support 5"}}) {
        bad.auth = static_cast<uint8_t>(auth);
        bad.default_index = static_cast<uint8_t>(def);
        bad.pairwise = static_cast<uint8_t>(pairwise);
        const auto before = buf;
        fake::reply_with(bad);
        EXPECT_EQ(get(WIFI_CMD_AUTH), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_EQ(fake::logs().back().text, line);
        EXPECT_EQ(fake::logs().back().level, 1);
        EXPECT_EQ(buf, before);
    }

    const auto before = buf;
    fake::reply_with(wifi_auth_get_resp{}); // open: auth alone is written
    EXPECT_EQ(get(WIFI_CMD_AUTH), 0);
    EXPECT_EQ(record<wifi_auth_params>().auth, 0u);
    EXPECT_TRUE(same_from(8, before));
    EXPECT_EQ(fake::logs().back().text, "get WiFi index 2 open auth");

    wifi_auth_get_resp wep{};
    wep.auth = 1;
    wep.default_index = 3;
    memset(wep.key2, 'w', 64);
    strcpy(wep.key3, "k3");
    fake::reply_with(wep);
    EXPECT_EQ(get(WIFI_CMD_AUTH), 0);
    const auto &p = record<wifi_auth_params>();
    EXPECT_EQ(p.wep.default_index, 3u);
    EXPECT_EQ(memcmp(p.wep.key2, std::string(64, 'w').data(), 64), 0); // no terminator added
    EXPECT_STREQ(p.wep.key3, "k3");
    EXPECT_EQ(p.wep.key3[63], 0); // filled with zero behind the text
    EXPECT_TRUE(same_from(268, before));
    EXPECT_EQ(fake::logs().back().text,
              "get WiFi index 2 wep auth: default index 3, key0  key1  key2 " +
                  std::string(64, 'w') + " key3 k3");

    wifi_auth_get_resp wpa{};
    wpa.auth = 4;
    wpa.pairwise = 2;
    strcpy(wpa.password, "secret");
    wpa.group_rekey = 3600;
    fake::reply_with(wpa);
    EXPECT_EQ(get(WIFI_CMD_AUTH), 0);
    EXPECT_EQ(p.auth, 4u);
    EXPECT_EQ(p.wpa.group_rekey, 3600u);
    EXPECT_EQ(fake::logs().back().text,
              "get WiFi index 2 wpa psk auth: auth 4 pairwise 2 password secret group rekey 3600");
}

// ---------------------------------------------------------------------------
// MAC access control

TEST_F(WifiTest, MacAclAddAndDelSendTheAddressAsItIs)
{
    const uint8_t mac[6] = {0x01, 0x00, 0x5e, 0xff, 0x00, 0xab};
    for (const auto &[id, word] :
         {std::pair{WIFI_CMD_MAC_ACL_ADD, "add"}, std::pair{WIFI_CMD_MAC_ACL_DEL, "del"}}) {
        auto &p = record<wifi_mac_acl_params>();
        p.index = 1;
        memcpy(p.mac, mac, 6);
        EXPECT_EQ(set(id), 0);
        EXPECT_EQ(fake::last_sent().req,
                  (std::vector<uint8_t>{1, 0x01, 0x00, 0x5e, 0xff, 0x00, 0xab}));
        EXPECT_EQ(fake::logs().back().text,
                  std::string(word) + " wifi index 1 mac acl 01:00:5e:ff:00:ab success");
        fake::reply_status(1, 12);
        EXPECT_EQ(set(id), -1);
        EXPECT_EQ(fake::logs().back().text,
                  "Can not " + std::string(word) + " wifi index 1 mac acl: error 12");
    }
}

TEST_F(WifiTest, MacAclListIsBoundedByBothLists)
{
    wifi_mac_acl_info_get_resp resp{};
    for (uint8_t i = 0; i < 32; ++i)
        memset(resp.mac_list[i], i + 1, 6);
    for (const auto &[count, copied] :
         {std::pair{40, 32}, std::pair{32, 32}, std::pair{2, 2}, std::pair{0, 0}, std::pair{-1, 0},
          std::pair{INT32_MIN, 0}}) {
        SCOPED_TRACE(count);
        buf = fake::patterned(5000);
        record<wifi_mac_acl_info_params>().index = 3;
        const auto before = buf;
        resp.count = count;
        fake::reply_with(resp);
        g().logs.clear();
        EXPECT_EQ(get(WIFI_CMD_MAC_ACL_INFO), 0);
        const auto &p = record<wifi_mac_acl_info_params>();
        EXPECT_EQ(p.count, static_cast<uint32_t>(copied));
        EXPECT_EQ(memcmp(p.mac_list, resp.mac_list, 6 * static_cast<size_t>(copied)), 0);
        EXPECT_TRUE(same_from(8 + 6 * static_cast<size_t>(copied), before)); // the old tail stays
        const auto lines = fake::logs(); // router, dispatcher, transport, one per address, numbers
        EXPECT_EQ(lines.size(), 4u + static_cast<size_t>(copied));
        if (copied > 0) {
            EXPECT_EQ(lines[3].text, "get wifi index 3 mac acl address01:01:01:01:01:01");
        }
        EXPECT_EQ(lines.back().text,
                  "get wifi index 3 mac acl numbers " + std::to_string(copied) + " success");
    }
}

TEST_F(WifiTest, MacAclRuleReadIsNotTested)
{
    record<wifi_mac_acl_rule_params>().index = 2;
    fake::reply_with(wifi_mac_acl_rule_get_resp{{0, 0}, 9, 0});
    EXPECT_EQ(get(WIFI_CMD_MAC_ACL_RULE), 0);
    EXPECT_EQ(record<wifi_mac_acl_rule_params>().rule, 9u);
    EXPECT_EQ(fake::logs().back().text, "get wifi index 2 mac acl rule 9 success");
    EXPECT_EQ(fake::logs().back().level, 4);
}

// ---------------------------------------------------------------------------
// Stations and restore

wifi_sta_info_get_resp station_list(uint32_t num_sta, char fill)
{
    wifi_sta_info_get_resp r{};
    r.num_sta = num_sta;
    for (uint32_t i = 0; i < 16; ++i) {
        auto &e = r.stations[i];
        e.field_a = 100 + i;
        e.field_b = 200 + i;
        memset(e.field_c, static_cast<int>(i), 16);
        memset(e.mac, static_cast<int>(0xa0 + i), 6);
        memset(e.text, fill, 256); // no terminator
        e.reserved[0] = 0xee;
    }
    return r;
}

TEST_F(WifiTest, StationListCopiesAtMostSixteenEntries)
{
    for (uint32_t num : {17u, 0xffffffffu}) {
        buf = fake::patterned(5000);
        const auto before = buf;
        fake::reply_with(station_list(num, 'T'));
        EXPECT_EQ(get(WIFI_CMD_STA_INFO), 0);
        const auto &p = record<wifi_sta_info_params>();
        EXPECT_EQ(p.num_sta, 16u);
        EXPECT_EQ(memcmp(p.reserved, before.data() + 4, 4), 0);
        for (uint32_t i = 0; i < 16; ++i) {
            const auto &e = p.stations[i];
            EXPECT_EQ(e.field_a, 100 + i);
            EXPECT_EQ(e.field_b, 200 + i);
            EXPECT_EQ(e.field_c[15], i);
            EXPECT_EQ(e.mac[5], 0xa0 + i);
            EXPECT_EQ(memcmp(e.text, std::string(256, 'T').data(), 256), 0);
            const size_t reserved = 8 + 312 * i + offsetof(wifi_sta_info_entry, reserved);
            EXPECT_EQ(memcmp(e.reserved, before.data() + reserved, 26), 0);
        }
        EXPECT_EQ(fake::logs().back().text, "get WiFi ap station number 16");
    }

    auto fewer = station_list(2, 'u');
    strcpy(fewer.stations[1].text, "short");
    fake::reply_with(fewer);
    const auto before = buf;
    EXPECT_EQ(get(WIFI_CMD_STA_INFO), 0);
    const auto &p = record<wifi_sta_info_params>();
    EXPECT_EQ(p.num_sta, 2u);
    EXPECT_STREQ(p.stations[1].text, "short");
    EXPECT_EQ(p.stations[1].text[255], 0);       // filled with zero behind the text
    EXPECT_TRUE(same_from(8 + 312 * 2, before)); // the earlier list's tail stays

    fake::reply_with(station_list(0, 'x'));
    const auto kept = buf;
    EXPECT_EQ(get(WIFI_CMD_STA_INFO), 0);
    EXPECT_EQ(p.num_sta, 0u);
    EXPECT_TRUE(same_from(4, kept));
}

TEST_F(WifiTest, StationStatusIsForTheStationInterfaceOnly)
{
    for (uint32_t index : {1u, 2u, 4u}) {
        record<wifi_station_status_params>().index = index;
        vg_mgmt_set_errno(0);
        EXPECT_EQ(get(WIFI_CMD_STATION_STATUS), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 0);
        EXPECT_EQ(fake::logs().back().text, "invalid WiFi station index");
    }
    EXPECT_EQ(fake::sent_count(), 0u);

    record<wifi_station_status_params>().index = 3;
    const auto before = buf;
    wifi_station_status_get_resp resp{{0, 0}, {}, 6, 0};
    memset(resp.ssid, 'S', 32);
    fake::reply_with(resp);
    EXPECT_EQ(get(WIFI_CMD_STATION_STATUS), 0);
    const auto &p = record<wifi_station_status_params>();
    EXPECT_EQ(memcmp(p.ssid, std::string(32, 'S').data(), 32), 0);
    EXPECT_EQ(buf[36], before[36]); // the 33rd byte stays the application's
    EXPECT_EQ(p.status, 6);
    EXPECT_TRUE(same_from(38, before));
    EXPECT_EQ(fake::logs().back().text,
              "get wifi index 3 station status 6 ssid " + std::string(32, 'S') + " success");
}

TEST_F(WifiTest, RestoreNamesAnInterfaceOnlyWithinOneToThree)
{
    for (const auto &[index, sent] :
         {std::pair{2u, std::vector<uint8_t>{1, 2}}, std::pair{0u, std::vector<uint8_t>{0, 0}},
          std::pair{4u, std::vector<uint8_t>{0, 0}},
          std::pair{0x102u, std::vector<uint8_t>{0, 0}}}) {
        record<wifi_restore_default_params>().index = index;
        g().logs.clear();
        EXPECT_EQ(set(WIFI_CMD_RESTORE_DEFAULT), 0);
        EXPECT_EQ(fake::last_sent().req, sent);
        EXPECT_EQ(fake::logged("restore default config wifi id 2"), sent[0] == 1);
        EXPECT_EQ(fake::logs().back().text, "set restore default WiFi config success.");
    }
}

// ---------------------------------------------------------------------------
// Indications

TEST_F(WifiTest, StationStatusEventCarriesAFullWidthSsidTerminated)
{
    wifi_sta_status_ind ind{};
    ind.index = 3;
    memset(ind.ssid, 'S', sizeof ind.ssid);
    ind.status = 9;
    fake::decode_with(ind);
    fake::deliver_indication(32, "raw", 3);
    ASSERT_EQ(g().decodes.size(), 1u);
    EXPECT_EQ(g().decodes[0].kind, 2);
    EXPECT_EQ(g().decodes[0].msg_id, 32u);
    EXPECT_EQ(g().decodes[0].src_len, 3u);
    EXPECT_EQ(g().decodes[0].dst_len, 34u);
    ASSERT_EQ(events().size(), 1u);
    EXPECT_EQ(events()[0].id, 0x10017u);
    ASSERT_EQ(events()[0].bytes.size(), 40u);
    wifi_station_status_params ev;
    memcpy(&ev, events()[0].bytes.data(), sizeof ev);
    EXPECT_EQ(ev.index, 3u);
    EXPECT_EQ(std::string(ev.ssid), std::string(32, 'S'));
    EXPECT_EQ(ev.status, 9);
    EXPECT_EQ(ev.reserved[0] | ev.reserved[1], 0);
    EXPECT_EQ(fake::logs().back().text,
              "receive sta status indication message: idx 3 state 9 ssid " + std::string(32, 'S'));
}

TEST_F(WifiTest, StationStatusEventShortSsidHasAZeroTail)
{
    wifi_sta_status_ind ind{};
    ind.index = 3;
    memcpy(ind.ssid, "home\0garbage", 12);
    fake::decode_with(ind);
    fake::deliver_indication(32);
    ASSERT_EQ(events().size(), 1u);
    wifi_station_status_params ev;
    memcpy(&ev, events()[0].bytes.data(), sizeof ev);
    EXPECT_STREQ(ev.ssid, "home");
    for (size_t i = 4; i < sizeof ev.ssid; ++i)
        EXPECT_EQ(ev.ssid[i], 0) << i;
}

TEST_F(WifiTest, ApStationEventWidensTheActionAndKeepsTheAddress)
{
    wifi_ap_sta_ind ind{};
    ind.action = 0xfe;
    ind.index = 0x01020304;
    const uint8_t mac[6] = {0xaa, 0xbb, 0xcc, 0x01, 0x02, 0x03};
    memcpy(ind.mac, mac, 6);
    memset(ind.reserved1, 0xff, 2);
    fake::decode_with(ind);
    fake::deliver_indication(33);
    EXPECT_EQ(g().decodes[0].dst_len, 16u);
    ASSERT_EQ(events().size(), 1u);
    EXPECT_EQ(events()[0].id, 0x1000fu);
    ASSERT_EQ(events()[0].bytes.size(), 16u);
    wifi_ap_sta_event ev;
    memcpy(&ev, events()[0].bytes.data(), sizeof ev);
    EXPECT_EQ(ev.action, 0xfeu);
    EXPECT_EQ(ev.index, 0x01020304u);
    EXPECT_EQ(memcmp(ev.mac, mac, 6), 0);
    EXPECT_EQ(ev.reserved[0] | ev.reserved[1], 0);
    EXPECT_EQ(fake::logs().back().text, "receive ap sta indication messge; idx 16909060 action 254 "
                                        "mac aa:bb:cc:01:02:03");
}

TEST_F(WifiTest, FailedDecodeLogsOnceAndTheNextIndicationWorks)
{
    for (uint32_t id : {32u, 33u}) {
        events().clear();
        fake::decode_with(wifi_ap_sta_ind{}, 9);
        fake::deliver_indication(id);
        EXPECT_TRUE(events().empty());
        EXPECT_EQ(fake::logs().back().text,
                  "wifi status event decode qmi_client_message_decode error 9");
        EXPECT_EQ(fake::logs().back().level, 1);
        fake::decode_with(wifi_ap_sta_ind{});
        fake::deliver_indication(id);
        EXPECT_EQ(events().size(), 1u);
    }
    EXPECT_EQ(vg_mgmt_get_errno(), 1234);
}

TEST(WifiEvents, NullCallbackStillDecodesAndLogs)
{
    mgmt_client *h = fake::open_handle(nullptr);
    fake::decode_with(wifi_sta_status_ind{});
    fake::deliver_indication(32);
    EXPECT_EQ(g().decodes.size(), 1u);
    EXPECT_TRUE(fake::logged("receive sta status indication message"));
    vg_mgmt_client_close(h);
}

TEST(WifiEvents, OtherIdsOnADirectCallAreIgnored)
{
    mgmt_client *h = fake::open_handle(nullptr);
    g().logs.clear();
    wifi_event_ind_msg(nullptr, 34, nullptr, 0, h);
    EXPECT_TRUE(g().decodes.empty());
    EXPECT_TRUE(fake::logs().empty());
    vg_mgmt_client_close(h);
}

} // namespace
