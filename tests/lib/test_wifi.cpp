// What is particular to the Wi-Fi handlers: their lines, widths, flags,
// bounded copies, and the decoder of the two Wi-Fi indications.
#include "domain_test.h"

using fake::g;

namespace {

// The ten settings of an interface: the label in their lines, a number
// widened and a flag reduced to 0 or 1 on the way back, the rest kept.
TEST_F(Wifi, SettingsCarryTheirLabelAndValues)
{
    struct row {
        uint32_t id;
        const char *label;
        bool flag;
        uint16_t answer;
        uint32_t stored;
    };
    const row rows[] = {
        {WIFI_CMD_MODE, "ieee80211 mode", false, 200, 200},
        {WIFI_CMD_CHANNEL, "channel", false, 0xfffe, 0xfffe},
        {WIFI_CMD_BANDWIDTH, "bandwidth", false, 3, 3},
        {WIFI_CMD_MAX_NUM_STA, "maximum station number", false, 17, 17},
        {WIFI_CMD_RSSI, "rssi", false, 255, 255},
        {WIFI_CMD_SSID_HIDE, "ssid hide", true, 2, 1},
        {WIFI_CMD_11N_ONLY, "only ieee80211n accept", true, 0x80, 1},
        {WIFI_CMD_11AC_ONLY, "only ieee80211ac accept", true, 1, 1},
        {WIFI_CMD_AP_ISOLATE, "ap isolate", true, 0, 0},
        {WIFI_CMD_DFS, "DFS", true, 2, 1},
    };
    for (const row &r : rows) {
        const std::string label = r.label;
        SCOPED_TRACE(label);
        rec<wifi_channel_params>() = {3, 1};
        EXPECT_EQ(set(r.id), 0);
        EXPECT_EQ(last(), "Set WiFi index 3 " + label + " 1 success");
        EXPECT_EQ(fake::logs().back().level, 3);
        fake::reply_status(2, 9);
        EXPECT_EQ(set(r.id), -1);
        EXPECT_EQ(last(), "Can not set WiFi index 3 " + label + " 1: error 9");
        fake::reply_status(2, 9);
        EXPECT_EQ(get(r.id), -1);
        EXPECT_EQ(last(), "Can not get WiFi index 3 " + label + ": error 9");
        const auto before = buf;
        if (r.id == WIFI_CMD_CHANNEL)
            fake::reply_with(wifi_channel_get_resp{{0, 0}, r.answer});
        else
            fake::reply_with(wifi_u8_setting_get_resp{{0, 0}, static_cast<uint8_t>(r.answer), 0});
        EXPECT_EQ(get(r.id), 0);
        uint32_t stored = 0;
        memcpy(&stored, buf.data() + 4, r.flag ? 1 : 4);
        EXPECT_EQ(stored, r.stored);
        EXPECT_TRUE(kept_from(r.flag ? 5 : 8, before)); // a flag's three bytes behind it stay
        EXPECT_EQ(last(),
                  "Get WiFi index 3 " + label + " " + std::to_string(r.stored) + " success");
    }
    buf[0] = 2; // enable sends its byte unchanged and reads back a flag
    EXPECT_EQ(set(WIFI_CMD_ENABLE), 0);
    EXPECT_EQ(req(), (std::vector<uint8_t>{2}));
    fake::reply_with(wifi_enable_get_resp{{0, 0}, 2, 0});
    EXPECT_EQ(get(WIFI_CMD_ENABLE), 0);
    EXPECT_EQ(buf[0], 1);
    fake::reply_with(wifi_work_mode_get_resp{{0, 0}, 200, 0}); // widened, not tested
    EXPECT_EQ(get(WIFI_CMD_WORK_MODE), 0);
    EXPECT_EQ(rec<wifi_work_mode_params>().work_mode, 200u);
}

TEST_F(Wifi, CountryCodeIsTwoCharactersEachWay)
{
    for (const char *bad : {"", "U", "USA"}) {
        memcpy(buf.data(), bad, strlen(bad) + 1);
        EXPECT_EQ(set(WIFI_CMD_COUNTRY_CODE), -1);
        EXPECT_EQ(last(), "Invalid WiFi country code parameter " + std::string(bad));
    }
    memcpy(buf.data(), "USA", 3); // no terminator in the field: measured and printed within it
    EXPECT_EQ(set(WIFI_CMD_COUNTRY_CODE), -1);
    EXPECT_EQ(last(), "Invalid WiFi country code parameter USA");
    memcpy(buf.data(), "42", 3);
    EXPECT_EQ(set(WIFI_CMD_COUNTRY_CODE), 0);
    EXPECT_EQ(req(), (std::vector<uint8_t>{'4', '2'}));
    EXPECT_EQ(last(), "Set WiFi country code 42 success");
    const auto before = buf;
    fake::reply_with(wifi_country_code_get_resp{{0, 0}, {'D', 'E'}});
    EXPECT_EQ(get(WIFI_CMD_COUNTRY_CODE), 0);
    EXPECT_EQ(buf[1], 'E');
    EXPECT_TRUE(kept_from(2, before)); // two characters, not a text
    EXPECT_EQ(last(), "get WiFi country code DE success");
}

TEST_F(Wifi, SsidIsOneToThirtyTwoCharactersAndCopiedBounded)
{
    auto &p = rec<wifi_essid_params>();
    p = {2, 1, {}};
    memset(p.ssid, 'a', 32);
    EXPECT_EQ(set(WIFI_CMD_ESSID), 0);
    EXPECT_EQ(std::string(fake::request_as<wifi_essid_set_req>(fake::last_sent()).ssid, 32),
              std::string(32, 'a')); // unterminated
    EXPECT_EQ(last(), "Set WiFi index 2 ssid " + std::string(32, 'a') + " fomart type 1 success");
    p.ssid[32] = 'a'; // 33 characters, and no terminator in the field at all
    EXPECT_EQ(set(WIFI_CMD_ESSID), -1);
    EXPECT_EQ(last(), "Invalid WiFi ssid " + std::string(33, 'a') + " length 33 (in 1...32)");
    p.ssid[0] = '\0';
    EXPECT_EQ(set(WIFI_CMD_ESSID), -1);
    EXPECT_EQ(last(), "Invalid WiFi ssid  length 0 (in 1...32)");

    strcpy(p.ssid, "a longer network name");
    fake::reply_with(wifi_essid_get_resp{{0, 0}, 7, "home"});
    EXPECT_EQ(get(WIFI_CMD_ESSID), 0);
    EXPECT_EQ(p.format_type, 7u);
    EXPECT_EQ(std::string(p.ssid + 5), "ger network name"); // the old text stays behind
    EXPECT_EQ(last(), "Get WiFi index 2 ssid home format type 7 success");
    const auto before = buf;
    wifi_essid_get_resp full{{0, 0}, 7, {}};
    memset(full.ssid, 'z', sizeof full.ssid); // an answer without a terminator
    fake::reply_with(full);
    EXPECT_EQ(get(WIFI_CMD_ESSID), 0);
    EXPECT_EQ(std::string(p.ssid, 33), std::string(33, 'z'));
    EXPECT_TRUE(kept_from(sizeof p, before));
}

TEST_F(Wifi, AuthSendsWhatItsTypeUsesAndJudgesAnswersBeforeCopying)
{
    auto &p = rec<wifi_auth_params>(); // the union holds the pattern
    p.index = 1;
    p.auth = WIFI_AUTH_WEP;
    p.wep.default_index = 3;
    memset(p.wep.key0, 'k', 64); // no terminator: goes out filling its field
    strcpy(p.wep.key3, "three");
    EXPECT_EQ(set(WIFI_CMD_AUTH), 0);
    const auto wep = fake::request_as<wifi_auth_set_req>(fake::last_sent());
    EXPECT_EQ(std::string(wep.key0, 64), std::string(64, 'k'));
    EXPECT_STREQ(wep.key3, "three");
    EXPECT_EQ(wep.pairwise | wep.password[0] | wep.group_rekey, 0);
    p.auth = 3;
    p.wpa.pairwise = 2;
    strcpy(p.wpa.password, "secret");
    p.wpa.group_rekey = 0xffffffff;
    EXPECT_EQ(set(WIFI_CMD_AUTH), 0);
    const auto wpa = fake::request_as<wifi_auth_set_req>(fake::last_sent());
    EXPECT_EQ(wpa.group_rekey, 0xffffffffu);
    EXPECT_EQ(wpa.default_index | wpa.key0[0] | wpa.key3[63], 0);
    EXPECT_TRUE(fake::logged("set wifi index 1 wpa psk auth: auth 3 pairwise 2 password secret "
                             "group_rekey -1"));

    wifi_auth_get_resp a{};
    for (const auto &[auth, index, pairwise] : {std::tuple{1, 4, 0}, {2, 0, 3}, {5, 0, 0}}) {
        a.auth = static_cast<uint8_t>(auth);
        a.default_index = static_cast<uint8_t>(index);
        a.pairwise = static_cast<uint8_t>(pairwise);
        const auto before = buf;
        fake::reply_with(a);
        EXPECT_EQ(get(WIFI_CMD_AUTH), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_EQ(buf, before);
    }
    a = {};
    a.auth = WIFI_AUTH_WEP;
    a.default_index = 3;
    memset(a.key2, 'w', 64);
    fake::reply_with(a);
    EXPECT_EQ(get(WIFI_CMD_AUTH), 0);
    EXPECT_EQ(std::string(p.wep.key2, 64), std::string(64, 'w')); // no terminator added
    EXPECT_EQ(p.wep.key3[63], 0);                                 // filled with zero
    EXPECT_TRUE(fake::logged("default index 3, key0  key1  key2 " + std::string(64, 'w')));
}

TEST_F(Wifi, MacAclListIsBoundedByBothLists)
{
    wifi_mac_acl_info_get_resp resp{};
    for (uint8_t i = 0; i < 32; ++i)
        memset(resp.mac_list[i], i + 1, 6);
    for (const auto &[count, copied] : {std::pair{40, 32}, {32, 32}, {2, 2}, {-1, 0}}) {
        SCOPED_TRACE(count);
        buf = fake::patterned(5000);
        rec<wifi_mac_acl_info_params>().index = 3;
        const auto before = buf;
        resp.count = count;
        fake::reply_with(resp);
        g().logs.clear();
        EXPECT_EQ(get(WIFI_CMD_MAC_ACL_INFO), 0);
        const auto &p = rec<wifi_mac_acl_info_params>();
        EXPECT_EQ(p.count, static_cast<uint32_t>(copied));
        EXPECT_EQ(memcmp(p.mac_list, resp.mac_list, 6 * static_cast<size_t>(copied)), 0);
        EXPECT_TRUE(kept_from(8 + 6 * static_cast<size_t>(copied), before));
        EXPECT_EQ(fake::logs().size(), 4u + static_cast<size_t>(copied)); // a line per address
        EXPECT_EQ(fake::logs()[3].text,
                  copied == 0 ? last() : "get wifi index 3 mac acl address01:01:01:01:01:01");
        EXPECT_EQ(last(),
                  "get wifi index 3 mac acl numbers " + std::to_string(copied) + " success");
    }
    rec<wifi_mac_acl_params>() = {1, {0x01, 0x00, 0x5e, 0xff, 0x00, 0xab}};
    EXPECT_EQ(set(WIFI_CMD_MAC_ACL_DEL), 0); // the address is the service's to judge
    EXPECT_EQ(req(), (std::vector<uint8_t>{1, 0x01, 0x00, 0x5e, 0xff, 0x00, 0xab}));
    EXPECT_EQ(last(), "del wifi index 1 mac acl 01:00:5e:ff:00:ab success");
}

TEST_F(Wifi, StationListCopiesAtMostSixteen)
{
    wifi_sta_info_get_resp r{};
    for (uint32_t i = 0; i < WIFI_STA_INFO_MAX; ++i) {
        r.stations[i].field_a = 100 + i;
        memset(r.stations[i].mac, static_cast<int>(0xa0 + i), 6);
        memset(r.stations[i].text, 'T', 256); // no terminator
    }
    for (uint32_t num : {17u, 0xffffffffu, 2u}) {
        r.num_sta = num;
        fake::reply_with(r);
        buf = fake::patterned(5000);
        const auto before = buf;
        EXPECT_EQ(get(WIFI_CMD_STA_INFO), 0);
        const auto &p = rec<wifi_sta_info_params>();
        const uint32_t n = std::min(num, 16u);
        EXPECT_EQ(p.num_sta, n);
        EXPECT_EQ(p.stations[n - 1].field_a, 100 + n - 1);
        EXPECT_EQ(p.stations[n - 1].mac[5], 0xa0 + n - 1);
        EXPECT_EQ(std::string(p.stations[n - 1].text, 256), std::string(256, 'T'));
        EXPECT_TRUE(kept_from(8 + sizeof p.stations[0] * n, before));
        EXPECT_EQ(last(), "get WiFi ap station number " + std::to_string(n));
    }
}

TEST_F(Wifi, StationStatusIsTheStationInterfacesAlone)
{
    for (uint32_t index : {1u, 2u, 4u}) {
        rec<wifi_station_status_params>().index = index;
        EXPECT_EQ(get(WIFI_CMD_STATION_STATUS), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 1234); // the refusal that keeps the error number
        EXPECT_EQ(last(), "invalid WiFi station index");
    }
    EXPECT_EQ(fake::sent_count(), 0u);
    rec<wifi_station_status_params>().index = 3;
    const auto before = buf;
    wifi_station_status_get_resp resp{{0, 0}, {}, 6, 0};
    memset(resp.ssid, 'S', 32);
    fake::reply_with(resp);
    EXPECT_EQ(get(WIFI_CMD_STATION_STATUS), 0);
    EXPECT_EQ(std::string(rec<wifi_station_status_params>().ssid, 32), std::string(32, 'S'));
    EXPECT_EQ(buf[36], before[36]); // the 33rd byte stays the application's
    EXPECT_EQ(rec<wifi_station_status_params>().status, 6);
    EXPECT_EQ(last(),
              "get wifi index 3 station status 6 ssid " + std::string(32, 'S') + " success");
}

TEST_F(Wifi, RestoreNamesAnInterfaceOnlyWithinOneToThree)
{
    for (const auto &[index, sent] : {std::pair{2u, std::vector<uint8_t>{1, 2}},
                                      {0u, std::vector<uint8_t>{0, 0}},
                                      {4u, std::vector<uint8_t>{0, 0}}}) {
        rec<wifi_restore_default_params>().index = index;
        EXPECT_EQ(set(WIFI_CMD_RESTORE_DEFAULT), 0);
        EXPECT_EQ(req(), sent);
        EXPECT_EQ(last(), "set restore default WiFi config success.");
    }
}

// ---------------------------------------------------------------------------
// Indications

TEST_F(Wifi, StationStatusEventCarriesItsSsidTerminated)
{
    wifi_sta_status_ind ind{3, {}, 9};
    memset(ind.ssid, 'S', sizeof ind.ssid);
    fake::decode_with(ind);
    fake::deliver_indication(KEST_WIFI_STA_STATUS_IND, "raw", 3);
    ASSERT_EQ(g().decodes.size(), 1u);
    EXPECT_EQ(g().decodes[0].kind, kKestMsgKindInd);
    EXPECT_EQ(g().decodes[0].src_len, 3u);
    EXPECT_EQ(g().decodes[0].dst_len, sizeof ind);
    ASSERT_EQ(g_events.size(), 1u);
    EXPECT_EQ(g_events[0].id, uint32_t{WIFI_EVENT_STA_STATUS});
    wifi_station_status_params ev;
    ASSERT_EQ(g_events[0].bytes.size(), sizeof ev);
    memcpy(&ev, g_events[0].bytes.data(), sizeof ev);
    EXPECT_EQ(std::string(ev.ssid), std::string(32, 'S'));
    EXPECT_EQ(ev.status, 9);
    EXPECT_EQ(last(),
              "receive sta status indication message: idx 3 state 9 ssid " + std::string(32, 'S'));
}

TEST_F(Wifi, ApStationEventWidensTheAction)
{
    wifi_ap_sta_ind ind{};
    ind.action = 0xfe;
    ind.index = 0x01020304;
    memcpy(ind.mac, "\xaa\xbb\xcc\x01\x02\x03", 6);
    fake::decode_with(ind);
    fake::deliver_indication(KEST_WIFI_AP_STA_IND);
    ASSERT_EQ(g_events.size(), 1u);
    EXPECT_EQ(g_events[0].id, uint32_t{WIFI_EVENT_AP_STA});
    wifi_ap_sta_event ev;
    ASSERT_EQ(g_events[0].bytes.size(), sizeof ev);
    memcpy(&ev, g_events[0].bytes.data(), sizeof ev);
    EXPECT_EQ(ev.action, 0xfeu);
    EXPECT_EQ(ev.index, 0x01020304u);
    EXPECT_EQ(memcmp(ev.mac, ind.mac, 6), 0);
    EXPECT_EQ(last(), "receive ap sta indication messge; idx 16909060 action 254 "
                      "mac aa:bb:cc:01:02:03");
}

TEST_F(Wifi, FailedDecodeCallsNobodyAndTheNextWorks)
{
    for (uint32_t id : {KEST_WIFI_STA_STATUS_IND, KEST_WIFI_AP_STA_IND}) {
        g_events.clear();
        fake::decode_with(wifi_ap_sta_ind{}, 9);
        fake::deliver_indication(id);
        EXPECT_TRUE(g_events.empty());
        EXPECT_EQ(last(), "wifi status event decode qmi_client_message_decode error 9");
        EXPECT_EQ(fake::logs().back().level, 1);
        fake::decode_with(wifi_ap_sta_ind{});
        fake::deliver_indication(id);
        EXPECT_EQ(g_events.size(), 1u);
    }
    EXPECT_EQ(vg_mgmt_get_errno(), 1234);
}

} // namespace
