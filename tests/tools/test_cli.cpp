// vg-mgmt against kestd: every setting set and read back in text and JSON; a
// set of one field leaves the others of its record as they were; every get
// gives JSON with the keys of its text; values read as a person reads them.
#include "cli_support.h"

#include <cstddef>
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
// One row per setting: set, then get in text and in JSON.

struct SettingRow {
    const char *name;
    std::vector<std::string> set;
    std::vector<std::string> get;
    const char *key;
    const char *text; // the value in the text output
    json value;       // the value in the JSON output
    std::vector<std::string> then = {};
};

class Settings : public ::testing::TestWithParam<SettingRow> {};

TEST_P(Settings, SetThenGetInTextAndJson)
{
    const SettingRow &row = GetParam();
    auto r = run(row.set);
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_EQ("ok\n", r.out);
    if (!row.then.empty()) {
        ASSERT_EQ(0, run(row.then).status);
    }
    r = run(row.get);
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_NE(std::string::npos, r.out.find(std::string(row.key) + ": " + row.text + "\n"))
        << r.out;
    r = run(with({"--json"}, row.get));
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_EQ(row.value, json::parse(r.out).at(row.key)) << r.out;
}

const std::vector<std::string> kUsbWrite = {"usb", "config", "write"};
const std::vector<std::string> kUsbGet = {"usb", "config", "get"};
const std::vector<std::string> kAuthGet = {"--show-secrets", "wifi", "auth", "get", "2"};
const std::vector<std::string> kApnGet = {"--show-secrets", "datacall", "apn", "get", "0", "0"};
const std::vector<std::string> kLanGet = {"network", "lan", "get"};

INSTANTIATE_TEST_SUITE_P(
    Wifi, Settings,
    ::testing::Values(
        SettingRow{"work_mode", w("wifi work-mode set 3"), w("wifi work-mode get"), "work-mode",
                   "3", 3},
        SettingRow{"enable", w("wifi enable set on"), w("wifi enable get"), "enable", "on", "on"},
        SettingRow{"country", w("wifi country set DE"), w("wifi country get"), "country", "DE",
                   "DE"},
        SettingRow{"ssid",
                   {"wifi", "ssid", "set", "2", "Café 5G"},
                   w("wifi ssid get 2"),
                   "ssid",
                   "Café 5G",
                   "Café 5G"},
        // A value that would drive the terminal and forge a line is shown
        // escaped; JSON keeps it exact, --raw prints its bytes.
        SettingRow{"forged_ssid",
                   {"wifi", "ssid", "set", "2", "\x1b]0;pwn\x07\nwifi.1.auth=open"},
                   w("wifi ssid get 2"),
                   "ssid",
                   "\\x1b]0;pwn\\x07\\x0awifi.1.auth=open",
                   "\x1b]0;pwn\x07\nwifi.1.auth=open"},
        SettingRow{"backslash_ssid",
                   {"wifi", "ssid", "set", "2", "a\\b"},
                   w("wifi ssid get 2"),
                   "ssid",
                   "a\\\\b",
                   "a\\b"},
        SettingRow{"raw_ssid",
                   {"wifi", "ssid", "set", "2", "\x1b[2J"},
                   w("--raw wifi ssid get 2"),
                   "ssid",
                   "\x1b[2J",
                   "\x1b[2J"},
        SettingRow{"format_type", w("wifi ssid set 2 --format-type 1"), w("wifi ssid get 2"),
                   "format-type", "1", 1},
        SettingRow{"auth", w("wifi auth set 2 wpa-psk-4 --password passphrase-1"), kAuthGet, "auth",
                   "wpa-psk-4", "wpa-psk-4"},
        SettingRow{"pairwise", w("wifi auth set 2 --pairwise 2"), kAuthGet, "pairwise", "2", 2},
        SettingRow{"password", w("wifi auth set 2 --password passphrase-2"), kAuthGet, "password",
                   "passphrase-2", "passphrase-2"},
        SettingRow{"group_rekey", w("wifi auth set 2 --group-rekey 600"), kAuthGet, "group-rekey",
                   "600", 600},
        SettingRow{"wep_key0", w("wifi auth set 2 wep --key0 abcde"), kAuthGet, "key0", "abcde",
                   "abcde"},
        SettingRow{"wep_key3", w("wifi auth set 2 --key3 0123456789"), kAuthGet, "key3",
                   "0123456789", "0123456789"},
        SettingRow{"wep_default_index", w("wifi auth set 2 --default-index 3"), kAuthGet,
                   "default-index", "3", 3},
        SettingRow{"mode", w("wifi mode set 1 4"), w("wifi mode get 1"), "mode", "4", 4},
        SettingRow{"channel", w("wifi channel set 1 11"), w("wifi channel get 1"), "channel", "11",
                   11},
        SettingRow{"bandwidth", w("wifi bandwidth set 1 2"), w("wifi bandwidth get 1"), "bandwidth",
                   "2", 2},
        SettingRow{"max_sta", w("wifi max-sta set 1 12"), w("wifi max-sta get 1"), "max-sta", "12",
                   12},
        SettingRow{"rssi", w("wifi rssi set 1 40"), w("wifi rssi get 1"), "rssi", "40", 40},
        SettingRow{"ssid_hide", w("wifi ssid-hide set 2 on"), w("wifi ssid-hide get 2"),
                   "ssid-hide", "on", "on"},
        SettingRow{"only_11n", w("wifi 11n-only set 2 1"), w("wifi 11n-only get 2"), "11n-only",
                   "on", "on"},
        SettingRow{"only_11ac", w("wifi 11ac-only set 2 on"), w("wifi 11ac-only get 2"),
                   "11ac-only", "on", "on"},
        SettingRow{"ap_isolate", w("wifi ap-isolate set 2 on"), w("wifi ap-isolate get 2"),
                   "ap-isolate", "on", "on"},
        SettingRow{"dfs", w("wifi dfs set 2 on"), w("wifi dfs get 2"), "dfs", "on", "on"},
        SettingRow{"acl_rule", w("wifi acl-rule set 2 deny-listed"), w("wifi acl-rule get 2"),
                   "acl-rule", "deny-listed", "deny-listed"}),
    e2e::RowName{});

INSTANTIATE_TEST_SUITE_P(
    DataCall, Settings,
    ::testing::Values(SettingRow{"pdp_type", w("datacall apn set 0 0 --pdp-type ipv4v6"), kApnGet,
                                 "pdp-type", "ipv4v6", "ipv4v6"},
                      SettingRow{"auth_protocol", w("datacall apn set 0 0 --auth-protocol chap"),
                                 kApnGet, "auth-protocol", "chap", "chap"},
                      SettingRow{"apn",
                                 {"datacall", "apn", "set", "0", "0", "--apn", "Café.example"},
                                 kApnGet,
                                 "apn",
                                 "Café.example",
                                 "Café.example"},
                      SettingRow{"user", w("datacall apn set 0 0 --user bob"), kApnGet, "user",
                                 "bob", "bob"},
                      SettingRow{"apn_password", w("datacall apn set 0 0 --password pw-1"), kApnGet,
                                 "password", "pw-1", "pw-1"},
                      SettingRow{"default_profile", w("datacall default-profile set 0"),
                                 w("datacall default-profile get"), "profile", "0", 0},
                      SettingRow{"tech_pref", w("datacall default-profile set --tech-pref 2"),
                                 w("datacall default-profile get"), "tech-pref", "2", 2},
                      SettingRow{"ip_family", w("datacall default-profile set --ip-family ipv6"),
                                 w("datacall default-profile get"), "ip-family", "ipv6", "ipv6"}),
    e2e::RowName{});

INSTANTIATE_TEST_SUITE_P(
    Network, Settings,
    ::testing::Values(
        SettingRow{"dmz", w("network dmz add 192.168.225.7"), w("network dmz get"), "address",
                   "192.168.225.7", "192.168.225.7"},
        SettingRow{"lan_gateway", w("network lan set --gateway 192.168.225.2"), kLanGet, "gateway",
                   "192.168.225.2", "192.168.225.2"},
        SettingRow{"lan_netmask", w("network lan set --netmask 255.255.0.0"), kLanGet, "netmask",
                   "255.255.0.0", "255.255.0.0"},
        SettingRow{"lan_dhcp_start", w("network lan set --dhcp-start 192.168.225.30"), kLanGet,
                   "dhcp-start", "192.168.225.30", "192.168.225.30"},
        SettingRow{"lan_dhcp_end", w("network lan set --dhcp-end 192.168.225.50"), kLanGet,
                   "dhcp-end", "192.168.225.50", "192.168.225.50"},
        SettingRow{"lan_lease", w("network lan set --lease 3600"), kLanGet, "lease", "3600", 3600},
        SettingRow{"lan_dhcp", w("network lan set --dhcp off"), kLanGet, "dhcp", "off", "off"},
        SettingRow{"sgmii_enable", w("network sgmii-enable set on"), w("network sgmii-enable get"),
                   "enable", "on", "on"},
        SettingRow{"sgmii_speed", w("network sgmii-config set --speed 100mbps"),
                   w("network sgmii-config get"), "speed", "100mbps", "100mbps"},
        SettingRow{"sgmii_duplex", w("network sgmii-config set --duplex half"),
                   w("network sgmii-config get"), "duplex", "half", "half"},
        SettingRow{"sgmii_autoneg", w("network sgmii-config set --autoneg off"),
                   w("network sgmii-config get"), "autoneg", "off", "off"},
        SettingRow{"ethernet_mode", w("network ethernet-mode set wan"),
                   w("network ethernet-mode get"), "ethernet-mode", "wan", "wan"}),
    e2e::RowName{});

INSTANTIATE_TEST_SUITE_P(
    Usb, Settings,
    ::testing::Values(SettingRow{"bootup", w("usb bootup set 2"), w("usb bootup get"), "bootup",
                                 "2", 2, kUsbWrite},
                      SettingRow{"pid", w("usb id set --pid 0x9091"), kUsbGet, "pid", "0x9091",
                                 "0x9091", kUsbWrite},
                      SettingRow{"vid", w("usb id set --vid 0x2C7C"), kUsbGet, "vid", "0x2c7c",
                                 "0x2c7c", kUsbWrite},
                      SettingRow{"product",
                                 {"usb", "product", "set", "Router Module"},
                                 w("usb product get"),
                                 "product",
                                 "Router Module",
                                 "Router Module",
                                 kUsbWrite},
                      SettingRow{"manufacturer", w("usb manufacturer set Maker"), kUsbGet,
                                 "manufacturer", "Maker", "Maker", kUsbWrite},
                      SettingRow{"net_mode", w("usb net-mode set 3"), w("usb net-mode get"),
                                 "net-mode", "3", 3, kUsbWrite},
                      SettingRow{"adb", w("usb func set --adb on"), w("usb func get"), "adb", "on",
                                 "on", kUsbWrite},
                      SettingRow{"audio_uac", w("usb func set --audio-uac on"), kUsbGet,
                                 "audio-uac", "on", "on", kUsbWrite}),
    e2e::RowName{});

// ---------------------------------------------------------------------------
// A set of one field leaves every other field of its record as it was, read
// through the library.

struct Span {
    size_t off, width;
};

struct KeepRow {
    const char *name;
    uint32_t read;       // command code of the library's read
    e2e::bytes instance; // first bytes of the read record
    std::vector<std::string> set;
    std::vector<Span> changed; // the bytes the set names
    std::vector<std::string> then = {};
};

class KeepsOtherFields : public ::testing::TestWithParam<KeepRow> {};

TEST_P(KeepsOtherFields, SetOfOneField)
{
    const KeepRow &row = GetParam();
    cli::Library lib;
    const size_t size = e2e::domain_size(row.read);
    const e2e::bytes before = lib.get(row.read, size, row.instance);
    const auto r = run(row.set);
    ASSERT_EQ(0, r.status) << r.err;
    if (!row.then.empty()) {
        ASSERT_EQ(0, run(row.then).status);
    }
    const e2e::bytes after = lib.get(row.read, size, row.instance);
    bool any_changed = false;
    for (size_t i = 0; i < size; ++i) {
        bool named = false;
        for (const Span &s : row.changed)
            named = named || (i >= s.off && i < s.off + s.width);
        if (named)
            any_changed = any_changed || before[i] != after[i];
        else
            EXPECT_EQ(before[i], after[i]) << "byte " << i << " changed";
    }
    EXPECT_TRUE(any_changed) << "the field named did not change";
}

using Auth = wifi_auth_params;
using Apn = data_call_apn_params;
using Usb = usb_config_params;
const e2e::bytes kIface1 = {1, 0, 0, 0};

INSTANTIATE_TEST_SUITE_P(
    Records, KeepsOtherFields,
    ::testing::Values(KeepRow{"ssid_format",
                              e2e::wifi(WIFI_CMD_ESSID),
                              kIface1,
                              w("wifi ssid set 1 --format-type 2"),
                              {{offsetof(wifi_essid_params, format_type), 4}}},
                      KeepRow{"ssid_name",
                              e2e::wifi(WIFI_CMD_ESSID),
                              kIface1,
                              w("wifi ssid set 1 Kept"),
                              {{offsetof(wifi_essid_params, ssid), 33}}},
                      KeepRow{"auth_type_and_password",
                              e2e::wifi(WIFI_CMD_AUTH),
                              kIface1,
                              w("wifi auth set 1 wpa-psk-2 --password longenough"),
                              {{offsetof(Auth, auth), 4}, {offsetof(Auth, wpa.password), 64}}},
                      KeepRow{"auth_pairwise",
                              e2e::wifi(WIFI_CMD_AUTH),
                              kIface1,
                              w("wifi auth set 1 --pairwise 0"),
                              {{offsetof(Auth, wpa.pairwise), 4}}},
                      KeepRow{"apn_user",
                              e2e::data_call(DATA_CALL_CMD_APN),
                              {0, 0},
                              w("datacall apn set 0 0 --user carol"),
                              {{offsetof(Apn, username), 128}}},
                      KeepRow{"apn_pdp",
                              e2e::data_call(DATA_CALL_CMD_APN),
                              {0, 0},
                              w("datacall apn set 0 0 --pdp-type 3"),
                              {{offsetof(Apn, pdp_type), 1}}},
                      KeepRow{"default_tech_pref",
                              e2e::data_call(DATA_CALL_CMD_DEFAULT_PROFILE),
                              {},
                              w("datacall default-profile set 0 --tech-pref 1"),
                              {{offsetof(data_call_default_profile_params, tech_pref), 4}}},
                      KeepRow{"lan_lease",
                              e2e::network(NETWORK_CMD_LAN_CONFIG),
                              {},
                              w("network lan set --lease 7200"),
                              {{offsetof(network_lan_config_params, lan_word_e), 4}}},
                      KeepRow{"sgmii_speed",
                              e2e::network(NETWORK_CMD_SGMII_CONFIG),
                              {},
                              w("network sgmii-config set --speed 10mbps"),
                              {{1, 1}}},
                      KeepRow{"usb_diag",
                              e2e::usb(USB_CMD_CONFIG_GET),
                              {},
                              w("usb func set --diag off"),
                              {{offsetof(Usb, diag), 1}},
                              kUsbWrite},
                      KeepRow{"usb_pid",
                              e2e::usb(USB_CMD_CONFIG_GET),
                              {},
                              w("usb id set --pid 0x1234"),
                              {{offsetof(Usb, pid), 2}},
                              kUsbWrite}),
    e2e::RowName{});

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
    e2e::RowName{});

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

TEST(Values, SecretsAreMaskedUnlessAsked)
{
    ASSERT_EQ(0,
              run({"wifi", "auth", "set", "1", "wpa-psk-3", "--password", "hidden-pass"}).status);
    EXPECT_NE(std::string::npos,
              run({"wifi", "auth", "get", "1"}).out.find("password: ********\n"));
    EXPECT_NE(
        std::string::npos,
        run({"--show-secrets", "wifi", "auth", "get", "1"}).out.find("password: hidden-pass\n"));
}

TEST(Values, StationsAndSgmiiReadable)
{
    ASSERT_EQ(0, run({"wifi", "acl-rule", "set", "1", "off"}).status);
    e2e::control_link ctl(cli::Kestd::kestd().socket_path());
    ctl("sta-join 1 02:00:00:00:00:31 phone");
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
    e2e::kestd_process fresh;
    ASSERT_TRUE(fresh.start());
    const std::string service = std::getenv("VG_KEST_SOCKET"); // --socket changes it
    const auto r = run({"--socket", fresh.socket_path(), "config", "export"});
    ::setenv("VG_KEST_SOCKET", service.c_str(), 1);
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_EQ(json::parse(r.out), vgcfg::defaults_document());
}

} // namespace
