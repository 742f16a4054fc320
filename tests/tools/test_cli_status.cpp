// vg-mgmt status against kestd with a call up, stations joined and the SNAT
// and MAC lists full: one row per value, checked in the text and the JSON.
#include "cli_support.h"

namespace {
using cli::run;
using json = nlohmann::json;

[[maybe_unused]] const auto *const kEnv = ::testing::AddGlobalTestEnvironment(new cli::Kestd);

class Status : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        ASSERT_EQ(0, run({"wifi", "acl-rule", "set", "1", "off"}).status);
        for (int i = 0; i < 32; ++i) {
            const std::string n = std::to_string(i + 10);
            ASSERT_EQ(0, run({"network", "snat", "add", "192.168.225.20", std::to_string(1000 + i),
                              std::to_string(2000 + i), "tcp"})
                             .status);
            ASSERT_EQ(0, run({"wifi", "acl", "add", "2", "02:00:00:00:01:" + n}).status);
        }
        ASSERT_EQ(0, run({"datacall", "apn", "add", "0", "--pdp-type", "ipv4v6", "--auth-protocol",
                          "none", "--apn", "internet", "--user", "", "--password", ""})
                         .status);
        ASSERT_EQ(0, run({"datacall", "up", "1", "--ip-type", "ipv4"}).status);
        cli::Kestd::control("sta-join 1 02:00:00:00:00:51 phone");
        cli::Kestd::control("sta-join 1 02:00:00:00:00:52 tablet");
        ASSERT_EQ(0, run({"wifi", "ssid", "set", "3", kForged}).status);
    }
    // An SSID that another member of the module's group may set: it would
    // clear the owner's screen and forge a line.
    static constexpr const char *kForged = "\x1b[2J\x1b[H\nreachable: false";
};

struct Row {
    const char *pointer; // in the JSON object
    json value;
    const char *text; // a line of the text output
};

const Row kRows[] = {
    {"/service/reachable", true, "  reachable: true\n"},
    {"/wifi/interfaces/0/stations", 2, "      stations: 2\n"},
    {"/wifi/interfaces/0/band", "2.4 GHz", "      band: 2.4 GHz\n"},
    {"/wifi/interfaces/1/band", "5 GHz", "      band: 5 GHz\n"},
    {"/wifi/interfaces/0/active", nullptr, "      active: cannot be read (see sources)\n"},
    {"/datacall/calls/1/profile", 1, "    - profile: 1\n"},
    {"/datacall/calls/1/ipv4-status", "connected", "      ipv4-status: connected\n"},
    {"/datacall/calls/1/ipv4-address", "10.64.1.3", "      ipv4-address: 10.64.1.3\n"},
    {"/datacall/calls/1/ipv6-status", "disconnected", "      ipv6-status: disconnected\n"},
    {"/network/snat-rules", 32, "  snat-rules: 32\n"},
    {"/network/dmz", nullptr, "  dmz: none\n"},
    {"/usb/pending", nullptr, "  pending: cannot be read (see sources)\n"},
    {"/wifi/interfaces/2/ssid", "\x1b[2J\x1b[H\nreachable: false",
     "      ssid: \\x1b[2J\\x1b[H\\x0areachable: false\n"},
};

TEST_F(Status, TextAndJsonAgree)
{
    const auto text = run({"status"}), js = run({"--json", "status"});
    ASSERT_EQ(0, text.status + js.status) << text.err << js.err;
    const json doc = json::parse(js.out);
    for (const Row &row : kRows) {
        EXPECT_EQ(row.value, doc.at(json::json_pointer(row.pointer))) << row.pointer;
        EXPECT_NE(std::string::npos, text.out.find(row.text)) << row.text << text.out;
    }
    EXPECT_FALSE(doc.contains(json::json_pointer("/datacall/calls/1/ipv6-address"))) << doc;
    EXPECT_EQ(std::string::npos, text.out.find('\x1b')) << text.out;
}

TEST(StatusNoService, SaysUnreachableAndExits3)
{
    const auto r = run({"--socket", "/nonexistent/kest.sock", "--json", "status"});
    EXPECT_EQ(3, r.status);
    EXPECT_EQ(false, json::parse(r.out.substr(0, r.out.find('\n'))).at("service").at("reachable"));
    ::setenv(KEST_SOCKET_ENV, cli::Kestd::kestd().sock.c_str(), 1);
}

} // namespace
