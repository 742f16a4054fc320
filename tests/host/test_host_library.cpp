// The library as an application loads it: libvg_mgmt_client.so.1 over the
// host transport, against a scripted service.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <thread>

#include "kest_msg.h"
#include "kest_wifi_msg.h"
#include "scripted_service.h"
#include "vg_mgmt_client.h"

namespace {
using namespace vg_test;

std::atomic<int> g_events{0};
wifi_ap_sta_event g_event{};

int32_t on_event(uint32_t event_id, const void *event, uint32_t size)
{
    if (event_id == WIFI_EVENT_AP_STA && size == sizeof g_event) {
        memcpy(&g_event, event, size);
        ++g_events;
    }
    return 0;
}

// Answers the work mode with 3, then reports a station on interface 2.
void work_mode_then_station(Conn &c, const Frame &f)
{
    if (f.h.msg_id != KEST_WIFI_WORK_MODE_GET) {
        c.answer(f, nullptr, 0, 1);
        return;
    }
    const wifi_work_mode_get_resp resp{{0, 0}, 3, 0};
    c.answer(f, &resp, sizeof resp);
    const wifi_ap_sta_ind ind{1, {}, 2, {0x02, 0x11, 0x22, 0x33, 0x44, 0x55}, {}};
    c.indicate(KEST_WIFI_AP_STA_IND, &ind, sizeof ind);
}

TEST(Library, OpensWhenTheServiceComesLaterRunsACommandAndReceivesAnEvent)
{
    std::unique_ptr<Service> service;
    std::thread starter([&] {
        std::this_thread::sleep_for(300ms);
        service = std::make_unique<Service>(work_mode_then_station);
    });
    mgmt_client *handle = nullptr;
    const auto t0 = steady::now();
    const int32_t opened = vg_mgmt_client_open(&handle, on_event);
    const long waited = ms_since(t0);
    starter.join();
    ASSERT_EQ(0, opened);
    EXPECT_GE(waited, 290);
    EXPECT_LT(waited, 1500) << "the notifier did not wake the wait";

    alignas(8) uint8_t value[MGMT_WIFI_VALUE_SIZE] = {};
    EXPECT_EQ(0, vg_mgmt_client_get(handle, MGMT_COMMAND(MGMT_DOMAIN_WIFI, WIFI_CMD_WORK_MODE),
                                    value, sizeof value));
    wifi_work_mode_params mode{};
    memcpy(&mode, value, sizeof mode);
    EXPECT_EQ(3u, mode.work_mode);
    ASSERT_TRUE(service->wait_until([] { return g_events.load() == 1; }));
    EXPECT_EQ(1u, g_event.action);
    EXPECT_EQ(2u, g_event.index);
    EXPECT_EQ(0x55, g_event.mac[5]);

    vg_mgmt_client_close(handle);
    EXPECT_TRUE(transport_threads_become(0));
}
} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    const vg_test::SocketFolder folder;
    return RUN_ALL_TESTS();
}
