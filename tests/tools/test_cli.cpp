// vg-mgmt against the fake platform: arguments, output, JSON, error lines.
#include <arpa/inet.h>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "fake_platform.h"
#include "vg_mgmt_cli.h"

using fake::g;

namespace {

struct result {
    int status;
    std::string out;
    std::string err;
};

result run(std::vector<std::string> args)
{
    args.insert(args.begin(), "vg-mgmt");
    std::vector<char *> argv;
    for (auto &a : args)
        argv.push_back(a.data());
    char *out_buf = nullptr, *err_buf = nullptr;
    size_t out_len = 0, err_len = 0;
    FILE *out = open_memstream(&out_buf, &out_len);
    FILE *err = open_memstream(&err_buf, &err_len);
    const int status = vg_mgmt_cli_run(static_cast<int>(argv.size()), argv.data(), out, err);
    fclose(out);
    fclose(err);
    result r{status, out_buf, err_buf};
    free(out_buf);
    free(err_buf);
    return r;
}

TEST(Cli, WifiChannelSetAndGet)
{
    auto r = run({"wifi", "channel", "set", "1", "36"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "ok\n");
    const auto m = fake::last_sent();
    EXPECT_EQ(m.msg_id, 9u);
    EXPECT_EQ(m.req, (std::vector<uint8_t>{1, 0, 36, 0}));

    fake::reply_with(wifi_channel_get_resp{{0, 0}, 149});
    r = run({"wifi", "channel", "get", "2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "channel: 149\n");
    EXPECT_EQ(fake::last_sent().req, (std::vector<uint8_t>{2}));
}

TEST(Cli, WifiAuthGetShowsTheFieldsOfItsType)
{
    wifi_auth_get_resp resp{};
    resp.auth = 3;
    resp.pairwise = 2;
    strcpy(resp.password, "s3cret \"quoted\"");
    resp.group_rekey = 3600;
    fake::reply_with(resp);
    const auto r = run({"--json", "wifi", "auth", "get", "1"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["auth"], "wpa-psk-3");
    EXPECT_EQ(j["pairwise"], 2);
    EXPECT_EQ(j["password"], "s3cret \"quoted\"");
    EXPECT_EQ(j["group-rekey"], 3600);
    EXPECT_FALSE(j.contains("key0"));
}

TEST(Cli, DataCallUpTakesNamedOptions)
{
    const auto r = run({"datacall", "up", "1", "--apn", "internet", "--ip-type", "ipv4v6",
                        "--user", "me", "--password", "pw"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto req = fake::request_as<data_call_up_set_req>(fake::last_sent());
    EXPECT_EQ(fake::last_sent().msg_id, 40u);
    EXPECT_EQ(req.profile_id, 1);
    EXPECT_EQ(req.ip_type, 2);
    EXPECT_STREQ(req.apn_name, "internet");
    EXPECT_STREQ(req.username, "me");
    EXPECT_STREQ(req.password, "pw");
}

TEST(Cli, DataCallInfoPrintsAddressesAsText)
{
    data_call_info_get_resp v4{};
    strcpy(v4.address_text[0], "10.64.0.2");
    data_call_info_get_resp v6{};
    strcpy(v6.address_text[0], "2001:db8::5");
    fake::reply_with(v4);
    fake::reply_with(v6);
    const auto r = run({"--json", "datacall", "info", "3"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["ipv4_addresses"][0], "10.64.0.2");
    EXPECT_EQ(j["ipv6_addresses"][0], "2001:db8::5");
}

TEST(Cli, NetworkSnatAddAndList)
{
    auto r = run({"network", "snat", "add", "192.168.1.10", "8080", "80", "tcp"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto rule = fake::request_as<network_snat_rule>(fake::last_sent());
    EXPECT_EQ(rule.private_ip, inet_addr("192.168.1.10"));
    EXPECT_EQ(rule.private_port, 8080);
    EXPECT_EQ(rule.global_port, 80);
    EXPECT_EQ(rule.protocol, 6);

    network_snat_get_get_resp resp{};
    resp.count = 2;
    resp.entries[0] = network_snat_rule{inet_addr("192.168.1.10"), 8080, 80, 6, {}};
    resp.entries[1] = network_snat_rule{inet_addr("192.168.1.11"), 53, 5353, 17, {}};
    fake::reply_with(resp);
    r = run({"--json", "network", "snat", "list"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["count"], 2);
    ASSERT_EQ(j["rules"].size(), 2u);
    EXPECT_EQ(j["rules"][1]["private_ip"], "192.168.1.11");
    EXPECT_EQ(j["rules"][1]["protocol"], "udp");

    fake::reply_with(resp);
    r = run({"network", "snat", "list"});
    EXPECT_NE(r.out.find("[0] private_ip=192.168.1.10 private_port=8080 global_port=80 protocol=tcp"),
              std::string::npos)
        << r.out;
}

TEST(Cli, UsbConfigGetInJson)
{
    usb_config_get_resp resp{};
    resp.pid = 0x9025;
    resp.vid = 0x05c6;
    strcpy(resp.product_info, "Router Module");
    resp.adb = 1;
    fake::reply_with(resp);
    auto r = run({"--json", "usb", "config", "get"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["pid"], 0x9025);
    EXPECT_EQ(j["product_info"], "Router Module");
    EXPECT_EQ(j["adb"], 1);
    fake::reply_with(resp);
    r = run({"usb", "config", "get"});
    EXPECT_NE(r.out.find("pid: 0x9025\n"), std::string::npos) << r.out;
}

struct ErrorCase {
    const char *name;
    void (*script)();
    std::vector<std::string> args;
    std::string line;
};

class CliErrors : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(CliErrors, OneLineAndStatusOne)
{
    const ErrorCase &c = GetParam();
    c.script();
    const auto r = run(c.args);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, c.line + "\n");
    EXPECT_EQ(r.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    Classes, CliErrors,
    ::testing::Values(
        ErrorCase{"refused", [] { fake::reply_status(1, 23); }, {"wifi", "dfs", "get", "1"},
                  "vg-mgmt: wifi dfs get: the service refused: error 23"},
        ErrorCase{"invalid", [] {}, {"wifi", "channel", "set", "1", "15"},
                  "vg-mgmt: wifi channel set: invalid argument"},
        ErrorCase{"unreachable", [] { g().notifier_rc = 1; }, {"usb", "config", "get"},
                  "vg-mgmt: usb config get: service not reachable"},
        ErrorCase{"memory", [] { g().fail_next_malloc = true; }, {"network", "dmz", "get"},
                  "vg-mgmt: network dmz get: out of memory"},
        ErrorCase{"no_answer", [] { fake::reply_send_failure(4); }, {"network", "dmz", "del"},
                  "vg-mgmt: network dmz del: no answer from the service"}),
    [](const auto &p) { return std::string(p.param.name); });

class CliUsage : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(CliUsage, IsRefusedBeforeAnyCall)
{
    const auto r = run(GetParam());
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("usage: vg-mgmt"), std::string::npos) << r.err;
    EXPECT_TRUE(g().calls.empty());
    EXPECT_EQ(fake::sent_count(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, CliUsage,
    ::testing::Values(std::vector<std::string>{}, std::vector<std::string>{"wifi", "nothing"},
                      std::vector<std::string>{"wifi", "channel", "set", "1"},
                      std::vector<std::string>{"wifi", "channel", "set", "1", "x36"},
                      std::vector<std::string>{"wifi", "channel", "set", "1", "-1"},
                      std::vector<std::string>{"wifi", "channel", "get", "1", "2"},
                      std::vector<std::string>{"wifi", "acl", "add", "1", "aa:bb:cc"},
                      std::vector<std::string>{"wifi", "ssid", "set", "1", std::string(33, 's')},
                      std::vector<std::string>{"datacall", "up", "1", "--ip-type", "ipv5"},
                      std::vector<std::string>{"datacall", "up", "1", "--bogus", "1"},
                      std::vector<std::string>{"datacall", "up", "1", "--apn"},
                      std::vector<std::string>{"datacall", "up", "256"},
                      std::vector<std::string>{"network", "dmz", "add", "300.1.1.1"},
                      std::vector<std::string>{"events", "--count", "x"}));

TEST(CliHelp, EveryLevelListsWhatFollows)
{
    auto r = run({"--help"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("vg-mgmt usb config get"), std::string::npos);
    r = run({"wifi", "--help"});
    EXPECT_NE(r.out.find("vg-mgmt wifi channel set <index> <channel>"), std::string::npos);
    EXPECT_EQ(r.out.find("vg-mgmt usb"), std::string::npos);
    r = run({"wifi", "channel", "--help"});
    EXPECT_NE(r.out.find("vg-mgmt wifi channel get <index>"), std::string::npos);
    EXPECT_EQ(r.out.find("vg-mgmt wifi dfs"), std::string::npos);
    EXPECT_TRUE(g().calls.empty());
}

} // namespace
