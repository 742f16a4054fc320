// Indications of kestd reach the application's callback as event records of
// the right id, size and contents, in order, and nothing more.
#include "e2e_support.h"

#include <arpa/inet.h>

namespace {
using namespace e2e;

const uint8_t kMac[6] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
const std::string kMacText = "02:11:22:33:44:55";

// A control command of kestd, or (when `control` is empty) a set through
// the library.
struct action {
    std::string control;
    uint32_t command = 0;
    bytes record = {};
};

struct event_row {
    const char *name;
    std::vector<action> before; // their `before_events` events are counted, not looked at
    size_t before_events;
    action trigger;
    std::vector<event> expect;
};

event ap_station(uint32_t action_code, uint32_t index)
{
    return {WIFI_EVENT_AP_STA, rec<wifi_ap_sta_event>([&](auto &r) {
                r.action = action_code, r.index = index, std::memcpy(r.mac, kMac, 6);
            })};
}
event station_status(const char *ssid, uint8_t status)
{
    return {WIFI_EVENT_STA_STATUS, rec<wifi_station_status_params>([&](auto &r) {
                r.index = 3, r.status = status, std::strcpy(r.ssid, ssid);
            })};
}
// A half of profile 0's call going up, with the addresses the first call up is given.
event call_up(uint32_t family)
{
    return {DATA_CALL_EVENT_STATUS, rec<data_call_status_event>([&](auto &r) {
                r.index = 0, r.ip_family = family, r.state = 1;
                std::strcpy(r.name, "rmnet_data0");
                for (int i = 0; i < 4; ++i)
                    if (family == 0)
                        r.address.ipv4[i] = kCallV4[i];
                    else
                        EXPECT_EQ(1, inet_pton(AF_INET6, kCallV6[i], r.address.ipv6[i]));
            })};
}
// A half that went down: no name, no addresses, reason 1 (asked by a client).
event call_down(uint32_t family)
{
    return {DATA_CALL_EVENT_STATUS, rec<data_call_status_event>([&](auto &r) {
                r.index = 0, r.ip_family = family, r.state = 0, r.reason_code = 1;
            })};
}
action call_action(uint32_t cmd, uint32_t ip_type)
{
    return {"", data_call(cmd), rec<data_call_up_params>([&](auto &r) { r.ip_type = ip_type; })};
}
action switch_off(uint32_t index)
{
    return {"", wifi(WIFI_CMD_ACTIVE),
            rec<wifi_active_params>([&](auto &r) { r.index = index, r.active = 0; })};
}

std::vector<event_row> event_rows()
{
    const action join1{"sta-join 1 " + kMacText + " phone"};
    const uint32_t up = DATA_CALL_CMD_UP, down = DATA_CALL_CMD_DOWN;
    const uint32_t v4 = DATA_CALL_IP_V4, both = DATA_CALL_IP_V4V6;
    return {
        {"station_joins", {}, 0, {"sta-join 2 " + kMacText + " tablet"}, {ap_station(1, 2)}},
        {"station_leaves", {join1}, 1, {"sta-leave " + kMacText}, {ap_station(2, 1)}},
        {"access_point_off_sends_stations_away", {join1}, 1, switch_off(1), {ap_station(2, 1)}},
        {"station_interface_status", {}, 0, {"sta-status 1 Office"}, {station_status("Office", 1)}},
        {"station_interface_off",
         {{"sta-status 2 Office"}},
         1,
         switch_off(3),
         {station_status("Office", 0)}},
        {"station_interface_ssid",
         {},
         0,
         {"", wifi(WIFI_CMD_ESSID),
          rec<wifi_essid_params>([](auto &r) { r.index = 3, std::strcpy(r.ssid, "Uplink"); })},
         {station_status("Uplink", 0)}},
        {"call_up_v4", {}, 0, call_action(up, v4), {call_up(0)}},
        {"call_up_both", {}, 0, call_action(up, both), {call_up(0), call_up(1)}},
        {"call_down_v4", {call_action(up, v4)}, 1, call_action(down, v4), {call_down(0)}},
        {"call_down_both",
         {call_action(up, both)},
         2,
         call_action(down, both),
         {call_down(0), call_down(1)}},
    };
}

class Events : public Service, public ::testing::WithParamInterface<event_row> {
protected:
    void run(const action &a)
    {
        if (!a.control.empty())
            return (void)ctl->control(a.control);
        bytes r = a.record;
        r.resize(kest_command_find(MGMT_COMMAND_DOMAIN(a.command), MGMT_COMMAND_ID(a.command),
                                   MGMT_OPT_SET)
                     ->record_len);
        ASSERT_EQ(0, set(a.command, r)) << "error " << vg_mgmt_get_errno();
    }
};

TEST_P(Events, ReachTheCallback)
{
    const event_row &row = GetParam();
    for (const action &a : row.before)
        run(a);
    ASSERT_EQ(row.before_events, events().wait_for(row.before_events).size());
    events().clear();

    run(row.trigger);
    const std::vector<event> got = events().wait_for(row.expect.size());
    ASSERT_EQ(row.expect.size(), got.size());
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(row.expect[i].id, got[i].id) << "event " << i;
        EXPECT_TRUE(same_record(row.expect[i].record, got[i].record)) << "event " << i;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(row.expect.size(), events().wait_for(0).size()) << "more events than expected";
}

INSTANTIATE_TEST_SUITE_P(Rows, Events, ::testing::ValuesIn(event_rows()), RowName());

// Every connected client hears every indication; a handle opened without a
// callback takes them and goes on working.
TEST_F(Service, IndicationsWithoutACallbackAreDropped)
{
    mgmt_client *quiet = nullptr;
    ASSERT_EQ(0, vg_mgmt_client_open(&quiet, nullptr));
    ctl->control("sta-join 1 " + kMacText);
    ctl->control("sta-status 2 Quiet");
    bytes up = rec<data_call_up_params>([](auto &) {});
    ASSERT_EQ(0, call(quiet, MGMT_OPT_SET, data_call(DATA_CALL_CMD_UP), up));
    ASSERT_EQ(3u, events().wait_for(3).size()) << "the other handle hears them";
    bytes mode = rec<wifi_work_mode_params>([](auto &) {});
    EXPECT_EQ(0, call(quiet, MGMT_OPT_GET, wifi(WIFI_CMD_WORK_MODE), mode));
    vg_mgmt_client_close(quiet);
}

} // namespace
