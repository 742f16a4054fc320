// Wi-Fi handlers and the Wi-Fi indication decoder.
#include <gtest/gtest.h>

#include "fake_platform.h"

using fake::g;

namespace {

class WifiTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        h = fake::open_handle(capture);
        g().logs.clear();
        events().clear();
        vg_mgmt_set_errno(1234);
    }
    void TearDown() override { vg_mgmt_client_close(h); }

    int32_t set(uint32_t id) { return vg_mgmt_client_set(h, MGMT_COMMAND(1, id), buf.data(), 5000); }
    int32_t get(uint32_t id) { return vg_mgmt_client_get(h, MGMT_COMMAND(1, id), buf.data(), 5000); }
    template <class T>
    T &record() { return *reinterpret_cast<T *>(buf.data()); }

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

    mgmt_client *h = nullptr;
    std::vector<uint8_t> buf = fake::patterned(5000);
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
