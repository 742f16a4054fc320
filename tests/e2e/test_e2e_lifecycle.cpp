// The life of a handle against a real service: a service that comes late,
// one that never comes, one that restarts, and one handle shared by many
// threads while indications flow.
#include "e2e_support.h"

#include "module_factory.h"

#include <atomic>
#include <future>
#include <thread>

namespace {
using namespace e2e;
using namespace std::chrono_literals;

bytes work_mode_record()
{
    return rec<wifi_work_mode_params>([](auto &) {});
}

TEST(Open, WaitsForAServiceThatStartsLate)
{
    service kestd;
    ::setenv(KEST_SOCKET_ENV, kestd.sock.c_str(), 1);
    // The starting thread stays until kestd has stopped: kestd ends with it.
    std::promise<bool> started;
    std::promise<void> stopped;
    std::thread starter([&] {
        std::this_thread::sleep_for(2s);
        started.set_value(kestd.start());
        stopped.get_future().wait();
    });
    mgmt_client *handle = nullptr;
    const auto t0 = steady::now();
    const int32_t opened = vg_mgmt_client_open(&handle, nullptr);
    const long waited = ms_since(t0);
    EXPECT_TRUE(started.get_future().get());
    EXPECT_EQ(0, opened) << "error " << vg_mgmt_get_errno();
    EXPECT_GE(waited, 1900);
    EXPECT_LT(waited, 4500) << "open took the whole wait";
    if (opened == 0) {
        bytes mode = work_mode_record();
        EXPECT_EQ(0, call(handle, MGMT_OPT_GET, wifi(WIFI_CMD_WORK_MODE), mode));
        vg_mgmt_client_close(handle);
    }
    EXPECT_EQ(0, kestd.stop());
    stopped.set_value();
    starter.join();
}

TEST(Open, FailsWithErrorFiveWhenNoServiceComes)
{
    service nobody; // a private folder whose socket never appears
    ::setenv(KEST_SOCKET_ENV, nobody.sock.c_str(), 1);
    mgmt_client *handle = nullptr;
    vg_mgmt_set_errno(0);
    const auto t0 = steady::now();
    EXPECT_EQ(-1, vg_mgmt_client_open(&handle, record_event));
    const long waited = ms_since(t0);
    EXPECT_EQ(MGMT_ERR_NO_SERVICE, vg_mgmt_get_errno());
    EXPECT_EQ(nullptr, handle);
    EXPECT_GE(waited, 4900) << "fewer than ten waits of 500 ms";
    EXPECT_LT(waited, 8000);
}

// What the header tells an application to do when a call fails with error
// number 0 because the service went away: close the handle and open a new
// one. The old handle never comes back; the new one works once the service
// is there again.
TEST(Recovery, CloseAndOpenAgainRecoversAfterTheServiceRestarts)
{
    service kestd;
    ::setenv(KEST_SOCKET_ENV, kestd.sock.c_str(), 1);
    ASSERT_TRUE(kestd.start());
    mgmt_client *handle = nullptr;
    ASSERT_EQ(0, vg_mgmt_client_open(&handle, record_event));
    bytes mode = work_mode_record();
    ASSERT_EQ(0, call(handle, MGMT_OPT_GET, wifi(WIFI_CMD_WORK_MODE), mode));

    EXPECT_EQ(-1, kestd.stop(SIGKILL));
    ASSERT_TRUE(kestd.start());
    vg_mgmt_set_errno(77);
    EXPECT_EQ(-1, call(handle, MGMT_OPT_GET, wifi(WIFI_CMD_WORK_MODE), mode))
        << "the old handle stays dead";
    EXPECT_EQ(0, vg_mgmt_get_errno()) << "no answer from the service";

    vg_mgmt_client_close(handle);
    handle = nullptr;
    ASSERT_EQ(0, vg_mgmt_client_open(&handle, record_event)) << "error " << vg_mgmt_get_errno();
    EXPECT_EQ(0, call(handle, MGMT_OPT_GET, wifi(WIFI_CMD_WORK_MODE), mode));
    vg_mgmt_client_close(handle);
    EXPECT_EQ(0, kestd.stop());
}

// ---------------------------------------------------------------------------
// Many threads on one handle

struct known_answer {
    uint32_t command;
    bytes query;
    bytes answer;
};

// Reads whose answers differ from each other: an answer handed to the
// wrong caller shows.
std::vector<known_answer> known_answers()
{
    namespace mf = module_factory;
    std::vector<known_answer> rows = {
        {wifi(WIFI_CMD_COUNTRY_CODE), rec<wifi_country_code_params>([](auto &) {}),
         rec<wifi_country_code_params>([](auto &r) { std::strcpy(r.country_code, mf::kCountry); })},
        {MGMT_COMMAND(MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_DEFAULT_PROFILE),
         rec<data_call_default_profile_params>([](auto &) {}),
         rec<data_call_default_profile_params>([](auto &r) { r.ip_family = mf::kIpFamily; })},
        {MGMT_COMMAND(MGMT_DOMAIN_USB, USB_CMD_BOOTUP) /* set-only: a refusal of the library */,
         {},
         {}},
    };
    for (uint32_t i = 1; i <= 2; ++i) {
        rows.push_back({wifi(WIFI_CMD_CHANNEL),
                        rec<wifi_channel_params>([&](auto &r) { r.index = i; }),
                        rec<wifi_channel_params>([&](auto &r) {
                            r.index = i, r.channel = mf::kIfaces[i - 1].channel;
                        })});
        rows.push_back({wifi(WIFI_CMD_ESSID), rec<wifi_essid_params>([&](auto &r) { r.index = i; }),
                        rec<wifi_essid_params>([&](auto &r) {
                            r.index = i, std::strcpy(r.ssid, mf::kIfaces[i - 1].ssid);
                        })});
    }
    return rows;
}

TEST_F(Service, EightThreadsShareAHandleWhileIndicationsFlow)
{
    constexpr int kThreads = 8;
    constexpr int kCalls = 1000;
    const std::vector<known_answer> answers = known_answers();
    std::atomic<int> wrong{0};
    std::atomic<int> failed{0};
    std::atomic<bool> done{false};

    // Stations join and leave access point 1 as fast as kestd takes it.
    int station_events = 0;
    std::thread stations([&] {
        client link(kestd.sock);
        for (int i = 0; !done; ++i) {
            char mac[32];
            std::snprintf(mac, sizeof mac, "02:00:00:00:%02x:%02x", (i >> 8) & 0xff, i & 0xff);
            link.control(std::string("sta-join 1 ") + mac);
            link.control(std::string("sta-leave ") + mac);
            station_events += 2;
        }
    });

    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t)
        workers.emplace_back([&, t] {
            for (int i = 0; i < kCalls; ++i) {
                const known_answer &a = answers[static_cast<size_t>(t + i) % answers.size()];
                if (a.query.empty()) {
                    // The library refuses a get of a set-only USB command
                    // without the service and without an error number of
                    // its own: this thread's number stays as it was.
                    vg_mgmt_set_errno(1000 + t);
                    bytes r = rec<usb_bootup_params>([](auto &) {});
                    if (call(handle, MGMT_OPT_GET, a.command, r) != -1 ||
                        vg_mgmt_get_errno() != 1000 + t)
                        ++wrong;
                    continue;
                }
                bytes r = a.query;
                if (call(handle, MGMT_OPT_GET, a.command, r) != 0)
                    ++failed;
                else if (r != a.answer)
                    ++wrong;
            }
        });
    for (std::thread &w : workers)
        w.join();
    done = true;
    stations.join();

    EXPECT_EQ(0, failed.load());
    EXPECT_EQ(0, wrong.load()) << "answers reached the wrong caller";
    EXPECT_GT(station_events, 0);
    const std::vector<event> got = events().wait_for(static_cast<size_t>(station_events));
    ASSERT_EQ(static_cast<size_t>(station_events), got.size());
    for (size_t i = 0; i < got.size(); ++i) {
        ASSERT_EQ(WIFI_EVENT_AP_STA, got[i].id);
        ASSERT_EQ(sizeof(wifi_ap_sta_event), got[i].record.size());
        EXPECT_EQ(i % 2 == 0 ? 1u : 2u, as<wifi_ap_sta_event>(got[i].record).action)
            << "event " << i;
    }
    // TearDown closes the handle: it must end its threads and leak nothing.
}

} // namespace
