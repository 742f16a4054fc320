// Connection, error number, indication routing and the router.
#include <algorithm>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

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

// ---------------------------------------------------------------------------
// Open and close

TEST(Open, NullHandleAddressDoesNothing)
{
    vg_mgmt_set_errno(77);
    EXPECT_EQ(vg_mgmt_client_open(nullptr, nullptr), -1);
    EXPECT_EQ(vg_mgmt_get_errno(), 77);
    EXPECT_TRUE(fake::logs().empty());
    EXPECT_TRUE(g().calls.empty());
}

TEST(Open, SucceedsInOrderAndAsksForTheServiceObject)
{
    mgmt_client *h = fake::open_handle();
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(g().calls, (std::vector<std::string>{"notifier_init", "probe", "list", "init"}));
    ASSERT_EQ(g().service_object_args.size(), 1u);
    EXPECT_EQ(g().service_object_args[0], (std::vector<int32_t>{1, 1, 6}));
    EXPECT_EQ(g().ind_cb_data, h);
    EXPECT_EQ(g().init_os_params, nullptr);
    EXPECT_TRUE(fake::logged("initialization kest services success"));
    EXPECT_TRUE(fake::logged("Open mgmt client handle"));
    vg_mgmt_client_close(h);
    EXPECT_EQ(g().calls.back(), "release client");
    EXPECT_EQ(g().calls[g().calls.size() - 2], "release notifier");
}

TEST(Open, OpenVariableIsLeftAloneAndKeepsTheFirstCallback)
{
    mgmt_event_cb first = [](uint32_t, const void *, uint32_t) -> int32_t { return 0; };
    mgmt_client *h = fake::open_handle(first);
    mgmt_client *same = h;
    g().calls.clear();
    EXPECT_EQ(vg_mgmt_client_open(&same, nullptr), 0);
    EXPECT_EQ(same, h);
    EXPECT_TRUE(g().calls.empty());
    const auto lines = fake::logs();
    EXPECT_EQ(lines.back().text, "handle has been initialized");
    EXPECT_EQ(lines.back().level, 3);
    vg_mgmt_client_close(h);
}

TEST(Open, ServiceListRoomIsBoundedByTheLocalList)
{
    g().num_services = 1000;
    mgmt_client *h = fake::open_handle();
    EXPECT_EQ(g().list_room_seen, 200 / sizeof(qmi_service_info));
    vg_mgmt_client_close(h);
}

struct OpenFailure {
    const char *name;
    void (*script)();
    std::vector<std::string> calls;
    std::vector<std::string> failure_lines;
    int32_t errno_after;
};

class OpenFailures : public ::testing::TestWithParam<OpenFailure> {};

TEST_P(OpenFailures, LeaveTheVariableNullAndReleaseWhatWasTaken)
{
    const OpenFailure &f = GetParam();
    f.script();
    mgmt_client *h = nullptr;
    vg_mgmt_set_errno(0);
    EXPECT_EQ(vg_mgmt_client_open(&h, nullptr), -1);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(vg_mgmt_get_errno(), f.errno_after);
    EXPECT_EQ(g().calls, f.calls);
    EXPECT_EQ(level1_texts(), f.failure_lines);
}

std::vector<std::string> ten_probes_then_release()
{
    std::vector<std::string> calls{"notifier_init"};
    for (int i = 0; i < 10; ++i)
        calls.push_back("probe");
    calls.push_back("release notifier");
    return calls;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OpenFailures,
    ::testing::Values(OpenFailure{"malloc",
                                  [] { g().fail_next_malloc = true; },
                                  {},
                                  {"handle malloc failed: " + std::string(strerror(ENOMEM))},
                                  9},
                      OpenFailure{"notifier",
                                  [] { g().notifier_rc = 7; },
                                  {"notifier_init"},
                                  {"qmi_client_notifier_init failure: 7",
                                   "initialization kest qmi service failure"},
                                  5},
                      OpenFailure{"no_service",
                                  [] {
                                      g().fake_waits = true;
                                      g().probe_rc.assign(10, 1);
                                  },
                                  ten_probes_then_release(),
                                  {"kest reached maximum retry attempts 10",
                                   "initialization kest qmi service failure"},
                                  5},
                      OpenFailure{"list",
                                  [] { g().list_rc = 4; },
                                  {"notifier_init", "probe", "list", "release notifier"},
                                  {"Can not get kest services list 4",
                                   "initialization kest qmi service failure"},
                                  5},
                      OpenFailure{"init",
                                  [] { g().init_rc = 6; },
                                  {"notifier_init", "probe", "list", "init", "release notifier"},
                                  {"Can not initialization kest services: 6",
                                   "initialization kest qmi service failure"},
                                  5}),
    [](const auto &p) { return std::string(p.param.name); });

TEST(OpenWait, ServiceFoundByTheTenthProbe)
{
    g().fake_waits = true;
    g().probe_rc.assign(9, 1);
    mgmt_client *h = fake::open_handle();
    EXPECT_NE(h, nullptr);
    EXPECT_EQ(g().wait_deadlines.size(), 9u);
    EXPECT_EQ(g().os_signal->timed_out, 1u);
    vg_mgmt_client_close(h);
}

TEST(OpenWait, KeptSignalMeansNoWaiting)
{
    g().signal_at_notifier_init = true;
    g().fake_waits = true;
    g().probe_rc.assign(10, 1);
    mgmt_client *h = nullptr;
    EXPECT_EQ(vg_mgmt_client_open(&h, nullptr), -1);
    EXPECT_TRUE(g().wait_deadlines.empty());
    EXPECT_EQ(g().calls, ten_probes_then_release());
    EXPECT_EQ(vg_mgmt_get_errno(), 5);
}

struct DeadlineCase {
    uint32_t clock_id;
    timespec mono;
    timeval wall;
    timespec expected;
};

class Deadlines : public ::testing::TestWithParam<DeadlineCase> {};

TEST_P(Deadlines, AreHalfASecondAheadAndNormalised)
{
    const DeadlineCase &c = GetParam();
    g().clock_id = c.clock_id;
    g().fake_waits = true;
    g().fake_now = true;
    g().now_mono = c.mono;
    g().now_wall = c.wall;
    g().probe_rc.assign(1, 1);
    mgmt_client *h = fake::open_handle();
    ASSERT_EQ(g().wait_deadlines.size(), 1u);
    EXPECT_EQ(g().wait_deadlines[0].tv_sec, c.expected.tv_sec);
    EXPECT_EQ(g().wait_deadlines[0].tv_nsec, c.expected.tv_nsec);
    vg_mgmt_client_close(h);
}

INSTANTIATE_TEST_SUITE_P(Clocks, Deadlines,
                         ::testing::Values(DeadlineCase{1, {100, 499999999}, {}, {100, 999999999}},
                                           DeadlineCase{1, {100, 500000000}, {}, {101, 0}},
                                           DeadlineCase{1, {100, 999999999}, {}, {101, 499999999}},
                                           DeadlineCase{0, {}, {200, 499999}, {200, 999999000}},
                                           DeadlineCase{0, {}, {200, 500000}, {201, 0}},
                                           DeadlineCase{7, {}, {200, 750000}, {201, 250000000}}));

TEST(OpenWait, TenRealWaitsTakeFiveSeconds)
{
    g().probe_rc.assign(10, 1);
    mgmt_client *h = nullptr;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(vg_mgmt_client_open(&h, nullptr), -1);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_GE(seconds, 4.9);
    EXPECT_LT(seconds, 8.0);
    EXPECT_EQ(vg_mgmt_get_errno(), 5);
}

// ---------------------------------------------------------------------------
// Error number

TEST(ErrorNumber, BelongsToItsThread)
{
    vg_mgmt_set_errno(42);
    int32_t seen_in_new_thread = -99;
    std::thread t([&] {
        seen_in_new_thread = vg_mgmt_get_errno();
        vg_mgmt_set_errno(7);
        vg_mgmt_client_set(nullptr, 0x10001, nullptr, 0); // fails with -1 on this thread only
    });
    t.join();
    EXPECT_EQ(seen_in_new_thread, 0);
    EXPECT_EQ(vg_mgmt_get_errno(), 42);
}

// ---------------------------------------------------------------------------
// Indication routing

TEST(Indications, RoutedById)
{
    mgmt_client *h = fake::open_handle(capture);
    for (uint32_t id : {31u, 34u, 42u, 32u, 33u, 43u})
        fake::deliver_indication(id);
    ASSERT_EQ(g().decodes.size(), 3u);
    EXPECT_EQ(g().decodes[0].msg_id, 32u);
    EXPECT_EQ(g().decodes[1].msg_id, 33u);
    EXPECT_EQ(g().decodes[2].msg_id, 43u);
    int receive_lines = 0;
    for (const auto &l : fake::logs())
        if (l.fmt == "Receive KEST msgr indication message 0x%x") {
            EXPECT_EQ(l.level, 4);
            EXPECT_EQ(l.func, "kest_ind_cb");
            ++receive_lines;
        }
    EXPECT_EQ(receive_lines, 6);
    vg_mgmt_client_close(h);
}

TEST(Indications, NullCallbackDataIsRefusedBeforeAnything)
{
    mgmt_client *h = fake::open_handle();
    g().logs.clear();
    g().ind_cb(nullptr, 32, nullptr, 0, nullptr);
    const auto lines = fake::logs();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "Invalid indication cb data");
    EXPECT_EQ(lines[0].level, 1);
    EXPECT_TRUE(g().decodes.empty());
    vg_mgmt_client_close(h);
}

// ---------------------------------------------------------------------------
// Router

class Router : public ::testing::Test {
protected:
    void SetUp() override
    {
        h = fake::open_handle();
        g().logs.clear();
        vg_mgmt_set_errno(1234);
    }
    void TearDown() override { vg_mgmt_client_close(h); }
    mgmt_client *h = nullptr;
    std::vector<uint8_t> buf = std::vector<uint8_t>(5000);
};

using entry_fn = int32_t (*)(mgmt_client *, uint32_t, void *, uint32_t);
const entry_fn kEntries[] = {vg_mgmt_client_set, vg_mgmt_client_get};

TEST_F(Router, NullHandleWinsOverEverything)
{
    for (entry_fn entry : kEntries)
        for (uint32_t domain : {1u, 2u, 99u}) {
            vg_mgmt_set_errno(0);
            EXPECT_EQ(entry(nullptr, MGMT_COMMAND(domain, 1), buf.data(), 5000), -1);
            EXPECT_EQ(vg_mgmt_get_errno(), -1);
        }
    for (const auto &l : fake::logs()) {
        EXPECT_EQ(l.text, "the handle is null");
        EXPECT_EQ(l.func, "mgmt_client_handle");
    }
}

TEST_F(Router, DomainsTwoFourAndFiveDoNothing)
{
    for (entry_fn entry : kEntries)
        for (uint32_t domain : {2u, 4u, 5u})
            EXPECT_EQ(entry(h, MGMT_COMMAND(domain, 0x1234), nullptr, 17), 0);
    EXPECT_EQ(fake::sent_count(), 0u);
    EXPECT_EQ(vg_mgmt_get_errno(), 1234);
    for (const auto &l : fake::logs())
        EXPECT_EQ(l.fmt, "opt %d command 0x%04x, base 0x%x");
}

TEST_F(Router, UnknownDomainsAreNotSupported)
{
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

struct SizeCase {
    uint32_t domain;
    uint32_t size;
    const char *message;
};

TEST_F(Router, SizeMustBeTheDomainsOrZero)
{
    const SizeCase cases[] = {
        {1, 4999, "wifi command value size 4999 does not equal 5000"},
        {1, 5001, "wifi command value size 5001 does not equal 5000"},
        {3, 391, "network command value size 391 does not equal 392"},
        {6, 415, "data call command value size 415 does not equal 416"},
        {7, 93, "usb command value size 93 does not equal 92"},
    };
    for (const auto &c : cases) {
        g().logs.clear();
        vg_mgmt_set_errno(0);
        EXPECT_EQ(vg_mgmt_client_set(h, MGMT_COMMAND(c.domain, 1), buf.data(), c.size), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        const auto lines = fake::logs();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[1].text, c.message);
        EXPECT_EQ(lines[1].level, 1);
        EXPECT_EQ(lines[1].func, "mgmt_client_handle");
        EXPECT_EQ(lines[1].file, "vg_mgmt_client");
    }
    EXPECT_EQ(fake::sent_count(), 0u);
}

} // namespace
