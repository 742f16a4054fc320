// vg-mgmt against kestd: every get gives JSON with the keys of its text;
// values read as a person reads them, and texts that would drive a terminal
// shown escaped. (Every setting's round trip: test_cli_settings.cpp.)
#include "cli_support.h"

#include <set>

#include "config_states.h"
#include "vg_mgmt_model.h"

namespace {
using cli::run;
using cli::w;
using cli::with;
using json = nlohmann::json;

[[maybe_unused]] const auto *const kEnv = ::testing::AddGlobalTestEnvironment(new cli::Kestd);

// ---------------------------------------------------------------------------
// Every get of the model gives one JSON object with the keys of its text.

std::vector<std::string> instance_words(vgm::axis a)
{
    switch (a) {
    case vgm::axis::iface:
        return {"1"};
    case vgm::axis::apn:
        return {"0", "0"};
    case vgm::axis::apn_type:
    case vgm::axis::profile:
        return {"0"};
    default:
        return {};
    }
}

TEST(EveryGet, JsonHasTheKeysOfTheText)
{
    for (const vgm::command &c : vgm::commands()) {
        if (c.k != vgm::kind::get && c.k != vgm::kind::list)
            continue;
        const auto args = with({c.domain_word, c.subject, c.verb}, instance_words(c.inst));
        const auto text = run(args);
        const auto js = run(with({"--json"}, args));
        ASSERT_EQ(0, text.status) << vgm::command_name(c) << ": " << text.err;
        ASSERT_EQ(0, js.status) << vgm::command_name(c) << ": " << js.err;
        const json j = json::parse(js.out);
        ASSERT_TRUE(j.is_object()) << js.out;
        std::set<std::string> text_keys;
        for (size_t at = 0; at < text.out.size();) {
            const size_t end = text.out.find('\n', at);
            const std::string line = text.out.substr(at, end - at);
            if (!line.starts_with(" "))
                text_keys.insert(line.substr(0, line.find(':')));
            at = end + 1;
        }
        std::set<std::string> json_keys;
        for (const auto &[k, v] : j.items()) {
            json_keys.insert(k);
            EXPECT_EQ(std::string::npos, k.find('_')) << "keys are words joined by '-': " << k;
        }
        EXPECT_EQ(text_keys, json_keys) << vgm::command_name(c);
    }
}

TEST(Json, NonAsciiTextsPassUnchanged)
{
    ASSERT_EQ(0, run({"wifi", "ssid", "set", "1", "My Café AP"}).status);
    ASSERT_EQ(0, run({"datacall", "apn", "set", "0", "0", "--apn", "Zürich-Netz"}).status);
    auto r = run({"--json", "wifi", "ssid", "get", "1"});
    EXPECT_EQ(std::string::npos, r.out.find("\\u00")) << r.out;
    EXPECT_EQ("My Café AP", json::parse(r.out)["ssid"]);
    r = run({"--json", "datacall", "apn", "get", "0", "0"});
    EXPECT_EQ("Zürich-Netz", json::parse(r.out)["apn"]);
}

TEST(Json, OneTypePerKey)
{
    ASSERT_EQ(0, run({"network", "snat", "add", "192.168.225.9", "8081", "81", "253"}).status);
    ASSERT_EQ(0, run({"network", "snat", "add", "192.168.225.9", "8080", "80", "tcp"}).status);
    const json rules = json::parse(run({"--json", "network", "snat", "list"}).out)["rules"];
    ASSERT_GE(rules.size(), 2u);
    for (const auto &rule : rules) // a name, or the number when it has none
        EXPECT_TRUE(rule["protocol"] == 253 || rule["protocol"] == "tcp") << rule;
    const json usb = json::parse(run({"--json", "usb", "config", "get"}).out);
    EXPECT_TRUE(usb["pid"].is_string());
    EXPECT_NE(std::string::npos,
              run({"usb", "config", "get"}).out.find("pid: " + usb["pid"].get<std::string>()));
}

// ---------------------------------------------------------------------------
// Values as a person reads and writes them.

// Values that say what they mean: one row per command, its status, a line of
// its text (stdout, or stderr when it fails) and a value of its JSON (or a
// key that must be absent).
struct ReadRow {
    const char *name;
    std::vector<std::string> before;
    std::vector<std::string> args;
    int status;
    const char *text;
    const char *pointer;
    json value; // null with absent: the key is not there
    bool absent = false;
};

class Reads : public ::testing::TestWithParam<ReadRow> {};

TEST_P(Reads, TextAndJson)
{
    const ReadRow &row = GetParam();
    if (!row.before.empty()) {
        run(row.before);
    }
    const auto r = run(row.args);
    EXPECT_EQ(row.status, r.status) << r.err;
    EXPECT_NE(std::string::npos, (row.status == 0 ? r.out : r.err).find(row.text))
        << r.out << r.err;
    const json doc = json::parse(run(with({"--json"}, row.args)).out);
    if (row.absent)
        EXPECT_FALSE(doc.contains(json::json_pointer(row.pointer))) << doc;
    else
        EXPECT_EQ(row.value, doc.at(json::json_pointer(row.pointer))) << doc;
}

INSTANTIATE_TEST_SUITE_P(
    Values, Reads,
    ::testing::Values(
        // A text that would drive the terminal and forge a line is shown
        // escaped; JSON keeps it exact, --raw prints its bytes.
        ReadRow{"forged_ssid",
                {"wifi", "ssid", "set", "2", "\x1b]0;pwn\x07\nwifi.1.auth=open"},
                w("wifi ssid get 2"),
                0,
                "ssid: \\x1b]0;pwn\\x07\\x0awifi.1.auth=open\n",
                "/ssid",
                "\x1b]0;pwn\x07\nwifi.1.auth=open"},
        ReadRow{"backslash_ssid",
                {"wifi", "ssid", "set", "2", "a\\b"},
                w("wifi ssid get 2"),
                0,
                "ssid: a\\\\b\n",
                "/ssid",
                "a\\b"},
        ReadRow{"raw_ssid",
                {"wifi", "ssid", "set", "2", "\x1b[2J"},
                w("--raw wifi ssid get 2"),
                0,
                "ssid: \x1b[2J\n",
                "/ssid",
                "\x1b[2J"},
        ReadRow{"no_dmz_host", w("network dmz del"), w("network dmz get"), 0, "address: none\n",
                "/address", nullptr},
        ReadRow{"no_such_profile",
                {},
                w("datacall info get 24"),
                1,
                "datacall info get: there is no profile 24 ('datacall apn list 0' lists them)",
                "/error/name",
                "NO_SUCH_PROFILE"},
        ReadRow{"call_down_has_no_address",
                {"datacall", "apn", "add", "0", "--pdp-type", "ipv4", "--auth-protocol", "none",
                 "--apn", "x", "--user", "", "--password", ""},
                w("datacall info get 0 --ip-type ipv4"),
                0,
                "ipv4-status: disconnected\n",
                "/ipv4-address",
                nullptr,
                true},
        ReadRow{"dmz_taken_says_what_to_do", w("network dmz add 192.168.225.40"),
                w("network dmz add 192.168.225.41"), 1,
                "error 109 DUPLICATE (already there); a DMZ host may be set already: 'network dmz "
                "get' shows it, "
                "'network dmz del' removes it",
                "/error/name", "DUPLICATE"}),
    cli::RowName{});

TEST(Values, LeadingZeroIsDecimal)
{
    ASSERT_EQ(0, run({"wifi", "channel", "set", "1", "011"}).status);
    EXPECT_EQ("channel: 11\n", run({"wifi", "channel", "get", "1"}).out);
}

TEST(Values, WordAfterDoubleDashMayStartWithDash)
{
    ASSERT_EQ(0, run({"wifi", "ssid", "set", "1", "--", "--guest"}).status);
    EXPECT_NE(std::string::npos, run({"wifi", "ssid", "get", "1"}).out.find("ssid: --guest\n"));
}

TEST(Values, StationsAndSgmiiReadable)
{
    ASSERT_EQ(0, run({"wifi", "acl-rule", "set", "1", "off"}).status);
    cli::Kestd::control("sta-join 1 02:00:00:00:00:31 phone");
    auto r = run({"wifi", "stations", "get"});
    EXPECT_NE(std::string::npos, r.out.find("mac=02:00:00:00:00:31 interface=1 address=")) << r.out;
    EXPECT_NE(std::string::npos, r.out.find("name=phone")) << r.out;
    r = run({"--raw", "wifi", "stations", "get"});
    EXPECT_NE(std::string::npos, r.out.find("field-c=")) << r.out;
    r = run({"network", "sgmii-info", "get"});
    EXPECT_NE(std::string::npos, r.out.find("link: ")) << r.out;
    EXPECT_EQ(std::string::npos, r.out.find("flag_a")) << r.out;
}

TEST(Values, LanGivenAndShownAsAddresses)
{
    ASSERT_EQ(
        0, run({"network", "lan", "set", "--gateway", "192.168.225.1", "--netmask", "255.255.255.0",
                "--dhcp", "on", "--dhcp-start", "192.168.225.20", "--dhcp-end", "192.168.225.60"})
               .status);
    const auto r = run({"network", "lan", "get"});
    EXPECT_NE(std::string::npos,
              r.out.find("gateway: 192.168.225.1\nnetmask: 255.255.255.0\ndhcp: on\n"))
        << r.out;
    EXPECT_NE(std::string::npos, run({"--raw", "network", "lan", "get"}).out.find("lan-word-a: "));
}

// The tool keeps kestd's factory configuration for the states that put
// settings back to their defaults: a fresh kestd exports exactly that.
TEST(Factory, AFreshServiceExportsTheDefaultsTheToolKeeps)
{
    kestd_test::service fresh;
    ASSERT_TRUE(fresh.start());
    const std::string service = std::getenv("VG_KEST_SOCKET"); // --socket changes it
    const auto r = run({"--socket", fresh.sock, "config", "export"});
    ::setenv("VG_KEST_SOCKET", service.c_str(), 1);
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_EQ(json::parse(r.out), vgcfg::defaults_document());
}

} // namespace
