// Connection, open's wait, error number, indication routing and the router.
#include <chrono>
#include <thread>

#include "domain_test.h"

using fake::g;

namespace {

std::vector<std::string> level1_texts()
{
    std::vector<std::string> out;
    for (const auto &l : fake::logs())
        if (l.level == 1)
            out.push_back(l.text);
    return out;
}

std::vector<std::string> probes_then_release(std::vector<std::string> calls)
{
    calls.insert(calls.begin() + 1, 10, "probe");
    return calls;
}

TEST(Open, SucceedsInOrderAndReleasesInOrder)
{
    vg_mgmt_set_errno(77);
    EXPECT_EQ(vg_mgmt_client_open(nullptr, nullptr), -1); // a null variable: nothing at all
    EXPECT_EQ(vg_mgmt_get_errno(), 77);
    EXPECT_TRUE(fake::logs().empty() && g().calls.empty());
    g().num_services = 1000;
    mgmt_client *h = fake::open_handle(capture);
    EXPECT_EQ(g().calls, (std::vector<std::string>{"notifier_init", "probe", "list", "init"}));
    EXPECT_EQ(g().service_object_args, (std::vector<std::vector<int32_t>>{{1, 1, 6}}));
    EXPECT_EQ(g().list_room_seen, 200 / sizeof(qmi_service_info)); // bounded by the local list
    EXPECT_EQ(g().ind_cb_data, h);
    EXPECT_EQ(g().init_os_params, nullptr);
    EXPECT_TRUE(fake::logged("initialization kest services success"));
    mgmt_client *same = h; // an open variable is left alone, with its first callback
    g().calls.clear();
    EXPECT_EQ(vg_mgmt_client_open(&same, nullptr), 0);
    EXPECT_EQ(same, h);
    EXPECT_TRUE(g().calls.empty());
    EXPECT_EQ(fake::logs().back().text, "handle has been initialized");
    EXPECT_EQ(fake::logs().back().level, 3);
    vg_mgmt_client_close(h);
    EXPECT_EQ(g().calls, (std::vector<std::string>{"release notifier", "release client"}));
}

// A failed open leaves the variable null and releases what it took.
TEST(Open, FailuresLeaveTheVariableNull)
{
    struct row {
        void (*script)();
        std::vector<std::string> calls, lines;
        int32_t err;
    };
    const std::string failed = "initialization kest qmi service failure";
    const row rows[] = {
        {[] { g().fail_next_malloc = true; },
         {},
         {"handle malloc failed: " + std::string(strerror(ENOMEM))},
         9},
        {[] { g().notifier_rc = 7; },
         {"notifier_init"},
         {"qmi_client_notifier_init failure: 7", failed},
         5},
        {[] {
             g().fake_waits = true;
             g().probe_rc.assign(10, 1);
         },
         probes_then_release({"notifier_init", "release notifier"}),
         {"kest reached maximum retry attempts 10", failed},
         5},
        {[] { g().list_rc = 4; },
         {"notifier_init", "probe", "list", "release notifier"},
         {"Can not get kest services list 4", failed},
         5},
        {[] { g().init_rc = 6; },
         {"notifier_init", "probe", "list", "init", "release notifier"},
         {"Can not initialization kest services: 6", failed},
         5},
    };
    for (const row &r : rows) {
        fake::reset();
        r.script();
        mgmt_client *h = nullptr;
        vg_mgmt_set_errno(0);
        EXPECT_EQ(vg_mgmt_client_open(&h, nullptr), -1);
        EXPECT_EQ(h, nullptr);
        EXPECT_EQ(vg_mgmt_get_errno(), r.err);
        EXPECT_EQ(g().calls, r.calls);
        EXPECT_EQ(level1_texts(), r.lines);
    }
}

TEST(OpenWait, ProbesTenTimesUnlessTheSignalIsKept)
{
    g().fake_waits = true;
    g().probe_rc.assign(9, 1);
    mgmt_client *h = fake::open_handle();
    EXPECT_EQ(g().wait_deadlines.size(), 9u);
    EXPECT_EQ(g().os_signal->timed_out, 1u);
    vg_mgmt_client_close(h);
    fake::reset();
    h = nullptr;
    g().signal_at_notifier_init = true;
    g().fake_waits = true;
    g().probe_rc.assign(10, 1);
    EXPECT_EQ(vg_mgmt_client_open(&h, nullptr), -1);
    EXPECT_TRUE(g().wait_deadlines.empty());
    EXPECT_EQ(g().calls, probes_then_release({"notifier_init", "release notifier"}));
}

// A deadline is half a second ahead of the signal's clock, normalised.
TEST(OpenWait, DeadlinesAreHalfASecondAhead)
{
    struct row {
        uint32_t clock_id;
        timespec mono;
        timeval wall;
        timespec expected;
    };
    const row rows[] = {
        {1, {100, 499999999}, {}, {100, 999999999}},
        {1, {100, 500000000}, {}, {101, 0}},
        {1, {100, 999999999}, {}, {101, 499999999}},
        {0, {}, {200, 499999}, {200, 999999000}},
        {0, {}, {200, 500000}, {201, 0}},
        {7, {}, {200, 750000}, {201, 250000000}},
    };
    for (const row &r : rows) {
        fake::reset();
        g().clock_id = r.clock_id;
        g().fake_waits = g().fake_now = true;
        g().now_mono = r.mono;
        g().now_wall = r.wall;
        g().probe_rc.assign(1, 1);
        mgmt_client *h = fake::open_handle();
        ASSERT_EQ(g().wait_deadlines.size(), 1u);
        EXPECT_EQ(g().wait_deadlines[0].tv_sec, r.expected.tv_sec);
        EXPECT_EQ(g().wait_deadlines[0].tv_nsec, r.expected.tv_nsec);
        vg_mgmt_client_close(h);
    }
}

TEST(OpenWait, TenRealWaitsTakeFiveSeconds)
{
    g().probe_rc.assign(10, 1);
    mgmt_client *h = nullptr;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(vg_mgmt_client_open(&h, nullptr), -1);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took.count(), 4.9);
    EXPECT_LT(took.count(), 8.0);
}

TEST(ErrorNumber, BelongsToItsThread)
{
    vg_mgmt_set_errno(42);
    int32_t seen_in_new_thread = -99;
    std::thread t([&] {
        seen_in_new_thread = vg_mgmt_get_errno();
        vg_mgmt_client_set(nullptr, 0x10001, nullptr, 0); // fails on this thread only
    });
    t.join();
    EXPECT_EQ(seen_in_new_thread, 0);
    EXPECT_EQ(vg_mgmt_get_errno(), 42);
}

TEST(Indications, RoutedByIdAfterTheirDataIsChecked)
{
    mgmt_client *h = fake::open_handle(capture);
    g().ind_cb(nullptr, KEST_WIFI_STA_STATUS_IND, nullptr, 0, nullptr);
    EXPECT_EQ(fake::logs().back().text, "Invalid indication cb data");
    EXPECT_EQ(fake::logs().back().level, 1);
    EXPECT_TRUE(g().decodes.empty());
    g().logs.clear();
    for (uint32_t id : {31u, 34u, 42u, 32u, 33u, 43u})
        fake::deliver_indication(id);
    ASSERT_EQ(g().decodes.size(), 3u);
    EXPECT_EQ(g().decodes[0].msg_id, uint32_t{KEST_WIFI_STA_STATUS_IND});
    EXPECT_EQ(g().decodes[1].msg_id, uint32_t{KEST_WIFI_AP_STA_IND});
    EXPECT_EQ(g().decodes[2].msg_id, uint32_t{KEST_DATA_CALL_STATUS_IND});
    size_t received = 0;
    for (const auto &l : fake::logs())
        received += l.fmt == "Receive KEST msgr indication message 0x%x" && l.level == 4;
    EXPECT_EQ(received, 6u);
    vg_mgmt_client_close(h);
}

// ---------------------------------------------------------------------------
// Router

using Router = Wifi;

TEST_F(Router, ChecksTheHandleThenTheDomain)
{
    for (auto entry : {vg_mgmt_client_set, vg_mgmt_client_get}) {
        for (uint32_t domain : {1u, 2u, 99u}) { // a null handle wins over everything
            g().logs.clear();
            EXPECT_EQ(entry(nullptr, MGMT_COMMAND(domain, 1), buf.data(), 5000), -1);
            EXPECT_EQ(vg_mgmt_get_errno(), -1);
            EXPECT_EQ(fake::logs().size(), 1u);
            EXPECT_EQ(last(), "the handle is null");
        }
        vg_mgmt_set_errno(1234);
        for (uint32_t domain : {2u, 4u, 5u}) // no check, nothing sent, error number kept
            EXPECT_EQ(entry(h, MGMT_COMMAND(domain, 0x1234), nullptr, 17), 0);
        EXPECT_EQ(fake::sent_count(), 0u);
        EXPECT_EQ(vg_mgmt_get_errno(), 1234);
    }
    for (uint32_t domain : {0u, 8u, 0xffffu}) {
        g().logs.clear();
        EXPECT_EQ(vg_mgmt_client_get(h, MGMT_COMMAND(domain, 5), buf.data(), 5000), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), -2);
        const auto lines = fake::logs();
        ASSERT_EQ(lines.size(), 2u);
        char opt[64], refused[64];
        snprintf(opt, sizeof opt, "opt 2 command 0x%04x, base 0xffff", domain);
        snprintf(refused, sizeof refused, "0x%08x command not support", domain);
        EXPECT_EQ(lines[0].text, opt);
        EXPECT_EQ(lines[0].level, 4);
        EXPECT_EQ(lines[1].text, refused);
        EXPECT_EQ(lines[1].level, 2);
    }
}

// A size other than the domain's or 0 is refused before the dispatcher.
TEST_F(Router, SizeMustBeTheDomainsOrZero)
{
    const std::pair<uint32_t, const char *> domains[] = {{MGMT_DOMAIN_WIFI, "wifi"},
                                                         {MGMT_DOMAIN_NETWORK, "network"},
                                                         {MGMT_DOMAIN_DATA_CALL, "data call"},
                                                         {MGMT_DOMAIN_USB, "usb"}};
    for (const auto &[domain, word] : domains)
        for (uint32_t size : {vg_rows::size_of(domain) - 1, vg_rows::size_of(domain) + 1}) {
            g().logs.clear();
            EXPECT_EQ(vg_mgmt_client_set(h, MGMT_COMMAND(domain, 1), buf.data(), size), -1);
            EXPECT_EQ(vg_mgmt_get_errno(), 2);
            ASSERT_EQ(fake::logs().size(), 2u);
            EXPECT_EQ(last(), std::string(word) + " command value size " + std::to_string(size) +
                                  " does not equal " + std::to_string(vg_rows::size_of(domain)));
            EXPECT_EQ(fake::logs().back().level, 1);
            EXPECT_EQ(fake::logs().back().func, "mgmt_client_handle");
        }
    EXPECT_EQ(fake::sent_count(), 0u);
}

} // namespace
