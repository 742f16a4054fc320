// Indications of kestd reach the application's callback as event records of
// the right id, size and contents, in order, and nothing more.
#include "e2e_support.h"

#include <thread>

namespace {
using namespace e2e;
using namespace std::chrono_literals;

const uint8_t kMac[6] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
constexpr const char *kMacText = "02:11:22:33:44:55";

// Something that happens: a control command of kestd, or a set through the
// library.
struct action {
    std::string control;
    uint32_t command;
    bytes record;
};

action control(const std::string &command)
{
    return {command, 0, {}};
}

action library_set(uint32_t command, bytes record)
{
    return {"", command, std::move(record)};
}

struct event_row {
    const char *name;
    std::vector<action> before; // their events are counted, not looked at
    size_t before_events;
    action trigger;
    std::vector<event> expect;
};

event ap_station(uint32_t action_code, uint32_t index)
{
    return {WIFI_EVENT_AP_STA, rec<wifi_ap_sta_event>([&](auto &r) {
                r.action = action_code, r.index = index;
                std::memcpy(r.mac, kMac, 6);
            })};
}

event station_status(const char *ssid, uint8_t status)
{
    return {WIFI_EVENT_STA_STATUS, rec<wifi_station_status_params>([&](auto &r) {
                r.index = 3, r.status = status;
                std::strcpy(r.ssid, ssid);
            })};
}

event call_v4_up()
{
    return {DATA_CALL_EVENT_STATUS, rec<data_call_status_event>([](auto &r) {
                r.index = 0, r.ip_family = 0, r.state = 1, r.reason_code = 0;
                std::strcpy(r.name, "rmnet_data0");
                r.address.ipv4[0] = ipv4(10, 64, 0, 3);
                r.address.ipv4[1] = ipv4(10, 64, 0, 1);
                r.address.ipv4[2] = ipv4(8, 8, 8, 8);
                r.address.ipv4[3] = ipv4(8, 8, 4, 4);
            })};
}

event call_v6_up(const char *address)
{
    return {DATA_CALL_EVENT_STATUS, rec<data_call_status_event>([&](auto &r) {
                r.index = 0, r.ip_family = 1, r.state = 1, r.reason_code = 0;
                std::strcpy(r.name, "rmnet_data0");
                const char *texts[4] = {address, "2001:db8:40:0::1", "2001:4860:4860::8888",
                                        "2001:4860:4860::8844"};
                for (int i = 0; i < 4; ++i)
                    EXPECT_EQ(1, inet_pton(AF_INET6, texts[i], r.address.ipv6[i]));
            })};
}

// A half that went down: no name, no addresses, reason 1 (asked by a client).
event call_down(uint32_t family)
{
    return {DATA_CALL_EVENT_STATUS, rec<data_call_status_event>([&](auto &r) {
                r.index = 0, r.ip_family = family, r.state = 0, r.reason_code = 1;
            })};
}

bytes call_up_record(uint32_t ip_type)
{
    return rec<data_call_up_params>([&](auto &r) { r.ip_type = ip_type, r.reconnect = 0; });
}

bytes call_down_record(uint32_t ip_type)
{
    return rec<data_call_down_params>([&](auto &r) { r.ip_type = ip_type; });
}

std::vector<event_row> event_rows()
{
    const std::string join1 = std::string("sta-join 1 ") + kMacText + " phone";
    return {
        {"station_joins",
         {},
         0,
         control(std::string("sta-join 2 ") + kMacText + " tablet"),
         {ap_station(1, 2)}},
        {"station_leaves",
         {control(join1)},
         1,
         control(std::string("sta-leave ") + kMacText),
         {ap_station(2, 1)}},
        {"access_point_off_sends_stations_away",
         {control(join1)},
         1,
         library_set(wifi(WIFI_CMD_ACTIVE),
                     rec<wifi_active_params>([](auto &r) { r.index = 1, r.active = 0; })),
         {ap_station(2, 1)}},
        {"station_interface_status",
         {},
         0,
         control("sta-status 1 Office"),
         {station_status("Office", 1)}},
        {"station_interface_ssid",
         {},
         0,
         library_set(wifi(WIFI_CMD_ESSID), rec<wifi_essid_params>([](auto &r) {
                         r.index = 3;
                         std::strcpy(r.ssid, "Uplink");
                     })),
         {station_status("Uplink", 0)}},
        {"call_up_v4",
         {},
         0,
         library_set(data_call(DATA_CALL_CMD_UP), call_up_record(DATA_CALL_IP_V4)),
         {call_v4_up()}},
        {"call_up_both",
         {},
         0,
         library_set(data_call(DATA_CALL_CMD_UP), call_up_record(DATA_CALL_IP_V4V6)),
         {call_v4_up(), call_v6_up("2001:db8:40:0::4")}},
        {"call_down_v4",
         {library_set(data_call(DATA_CALL_CMD_UP), call_up_record(DATA_CALL_IP_V4))},
         1,
         library_set(data_call(DATA_CALL_CMD_DOWN), call_down_record(DATA_CALL_IP_V4)),
         {call_down(0)}},
        {"call_down_both",
         {library_set(data_call(DATA_CALL_CMD_UP), call_up_record(DATA_CALL_IP_V4V6))},
         2,
         library_set(data_call(DATA_CALL_CMD_DOWN), call_down_record(DATA_CALL_IP_V4V6)),
         {call_down(0), call_down(1)}},
    };
}

void PrintTo(const event_row &row, std::ostream *os)
{
    *os << row.name;
}

class Events : public Service, public ::testing::WithParamInterface<event_row> {
protected:
    void run(const action &a)
    {
        if (!a.control.empty()) {
            (*ctl)(a.control);
            return;
        }
        bytes r = a.record;
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
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(row.expect.size(), events().count()) << "more events than expected";
}

INSTANTIATE_TEST_SUITE_P(Rows, Events, ::testing::ValuesIn(event_rows()), RowName());

// A handle opened without a callback takes indications and goes on working.
TEST_F(Service, IndicationsWithoutACallbackAreDropped)
{
    mgmt_client *quiet = nullptr;
    ASSERT_EQ(0, vg_mgmt_client_open(&quiet, nullptr));
    (*ctl)(std::string("sta-join 1 ") + kMacText);
    (*ctl)("sta-status 2 Quiet");
    bytes up = call_up_record(DATA_CALL_IP_V4);
    ASSERT_EQ(0, call(quiet, MGMT_OPT_SET, data_call(DATA_CALL_CMD_UP), up));
    ASSERT_EQ(3u, events().wait_for(3).size()) << "the other handle hears them";
    bytes mode = rec<wifi_work_mode_params>([](auto &) {});
    EXPECT_EQ(0, call(quiet, MGMT_OPT_GET, wifi(WIFI_CMD_WORK_MODE), mode));
    vg_mgmt_client_close(quiet);
}

} // namespace
