// The checks of a configuration document, in-process and without a service:
// one row per rule, each with the problems it must name (all at once).
#include <chrono>
#include <string>
#include <vector>

#include "config_session.h"
#include "row_name.h"

namespace {

using vgcfg::json;

struct rule_row {
    const char *name;
    const char *doc;                 // the document, version 1 added
    std::vector<const char *> named; // each is found in one problem line; none: no problem
};

std::string macs(int n, const char *first = "")
{
    std::string out = first;
    for (int i = 0; i < n; ++i) {
        char mac[32];
        snprintf(mac, sizeof mac, "%s\"02:00:00:00:%02x:%02x\"", out.empty() ? "" : ",", i / 256,
                 i % 256);
        out += mac;
    }
    return out;
}

const std::string many_macs = R"({"wifi":{"interfaces":{"1":{"acl":[)" + macs(33) + "]}}}}";
const std::string full_macs = R"({"wifi":{"interfaces":{"1":{"acl":[)" + macs(32) + "]}}}}";
const std::string huge_list = R"({"wifi":{"interfaces":{"1":{"acl":[)" + macs(20000) + "]}}}}";

const rule_row rule_rows[] = {
    {"a full MAC list", full_macs.c_str(), {}},
    {"a MAC list past its limit",
     many_macs.c_str(),
     {"wifi.interfaces.1.acl: 33 entries; the module holds at most 32"}},
    {"a long MAC list at once", huge_list.c_str(), {"20000 entries"}},
    {"one MAC in two cases",
     R"({"wifi":{"interfaces":{"2":{"acl":["aa:bb:cc:00:00:01","AA:BB:CC:00:00:01"]}}}})",
     {"wifi.interfaces.2.acl[1]: listed twice"}},
    {"two SNAT rules on one port and protocol",
     R"({"network":{"snat":[{"private-ip":"192.168.225.5","private-port":80,"global-port":8080,"protocol":"tcp"},
                            {"private-ip":"192.168.225.6","private-port":81,"global-port":8080,"protocol":6}]}})",
     {"network.snat[1].global-port: global port 8080"}},
    {"TCP and UDP together meet TCP",
     R"({"network":{"snat":[{"private-ip":"192.168.225.5","private-port":80,"global-port":8080,"protocol":"tcp"},
                            {"private-ip":"192.168.225.6","private-port":81,"global-port":8080,"protocol":253}]}})",
     {"network.snat[1].global-port"}},
    {"TCP and UDP on one port",
     R"({"network":{"snat":[{"private-ip":"192.168.225.5","private-port":80,"global-port":8080,"protocol":"tcp"},
                            {"private-ip":"192.168.225.6","private-port":81,"global-port":8080,"protocol":"udp"}]}})",
     {}},
    {"a default profile the list lacks",
     R"({"datacall":{"default-profile":{"profile":3},"apn":[{"profile-type":0,"profile-index":0}]}})",
     {"datacall.default-profile.profile: profile 3 of type 0 is not in datacall.apn"}},
    {"a default profile the list holds",
     R"({"datacall":{"default-profile":{"profile":0},"apn":[{"profile-type":0,"profile-index":0}]}})",
     {}},
    {"a profile index past one byte's range",
     R"({"datacall":{"apn":[{"profile-type":0,"profile-index":256}]}})",
     {"datacall.apn[0].profile-index"}},
    {"WEP with its keys missing or wrong",
     R"({"wifi":{"interfaces":{"1":{"auth":{"auth":"wep","default-index":2,"key0":"abc","key1":"0123456789"}}}}})",
     {"wifi.interfaces.1.auth.key0: a WEP key of 3 bytes",
      "wifi.interfaces.1.auth.key2: WEP needs its default key"}},
    {"WEP with a masked default key",
     R"({"wifi":{"interfaces":{"1":{"auth":{"auth":"wep","key0":"********"}}}}})",
     {}},
    {"a WPA password too short",
     R"({"wifi":{"interfaces":{"1":{"auth":{"auth":"wpa-psk-2","password":"short"}}}}})",
     {"wifi.interfaces.1.auth.password: a WPA password of 5 bytes"}},
    {"every USB function off",
     R"({"usb":{"func":{"diag":"off","nmea":"off","at":"off","modem":"off","net":"off","adb":"off","audio-uac":"off"}}})",
     {"usb.func: every function off"}},
    {"a too long secret named by length only",
     R"({"wifi":{"interfaces":{"1":{"auth":{"auth":"wpa-psk-2","password":"TOPSECRET-TOPSECRET-TOPSECRET-TOPSECRET-TOPSECRET-TOPSECRET-TOPSECRET"}}}}})",
     {"password: (a secret of 69 bytes) does not fit", "a WPA password of 69 bytes"}},
    {"a long value quoted by a short prefix",
     R"({"wifi":{"country":"XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX"}})",
     {"'XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX...' (51 bytes)"}},
    {"a quoted value shown escaped",
     R"({"wifi":{"country":"\u001b\\XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX"}})",
     {"'\\x1b\\\\XXXX"}},
    {"a misspelt key",
     R"({"wifi":{"interfaces":{"1":{"chanel":6}}},"network":{"snat":[{"private_ip":"192.168.225.5","private-port":80,"global-port":8080,"protocol":"tcp"}]}})",
     {"wifi.interfaces.1.chanel: unknown key; did you mean 'channel'?",
      "network.snat[0].private_ip: unknown key; did you mean 'private-ip'?",
      "'private-ip' is missing"}},
    {"a key that would forge a line",
     R"({"wifi\nesc3.json: no problem found\n\u001b[8m":1})",
     {"wifi\\x0aesc3.json\\x3a no problem found\\x0a\\x1b[8m: unknown key"}},
};

class Rules : public testing::TestWithParam<rule_row> {};

TEST_P(Rules, NameEveryProblemAtOnce)
{
    const rule_row &row = GetParam();
    json doc = json::parse(row.doc);
    doc["version"] = 1;
    const std::vector<std::string> problems = vgcfg::validate(doc);
    std::string all;
    for (const std::string &p : problems)
        all += p + "\n";
    EXPECT_EQ(problems.size(), row.named.size()) << all;
    for (const char *want : row.named)
        EXPECT_NE(all.find(want), std::string::npos) << want << "\nin:\n" << all;
    EXPECT_EQ(all.find("TOPSECRET"), std::string::npos) << all;
}

INSTANTIATE_TEST_SUITE_P(Document, Rules, testing::ValuesIn(rule_rows), cli::RowName{});

std::string many_keys(int n)
{
    std::string text = "{";
    for (int i = 0; i < n; ++i)
        text += (i != 0 ? ",\"k" : "\"k") + std::to_string(i) + "\":1";
    return text + "}";
}

struct read_row {
    const char *name;
    std::string text;
    const char *problem; // nullptr: read
};

const read_row read_rows[] = {
    {"a document", R"({"version":1})", nullptr},
    {"a key given twice", R"({"version":1,"version":1})",
     "the key 'version' is given twice in one object"},
    {"a key twice deeper", R"({"wifi":{"country":"DE","country":"US"}})",
     "the key 'country' is given twice"},
    {"the same key in two objects", R"({"a":{"k":1},"b":{"k":1}})", nullptr},
    {"nested too deep", std::string(70000, '[') + std::string(70000, ']'),
     "nested deeper than 16 levels"},
    {"a number past every range", R"({"version":1e400})", "a number out of every range ('1e400')"},
    {"not UTF-8", "{\"a\":\"\xff\"}", "not JSON"},
    {"a long bad token", "{\"a\":" + std::string(100000, 'x') + "}", "not JSON"},
    {"more keys than any object has", many_keys(257), "more than 256 keys"},
    {"as many keys as an object may have", many_keys(256), nullptr},
};

class Read : public testing::TestWithParam<read_row> {};

TEST_P(Read, BoundedAndStrict)
{
    const read_row &row = GetParam();
    std::string problem;
    const std::optional<json> doc = vgcfg::parse_document(row.text, "doc", problem);
    EXPECT_EQ(doc.has_value(), row.problem == nullptr) << problem;
    if (row.problem != nullptr) {
        EXPECT_NE(problem.find(row.problem), std::string::npos) << problem;
    }
    EXPECT_LT(problem.size(), 300u) << "a problem line quotes only a short prefix";
}

INSTANTIATE_TEST_SUITE_P(Document, Read, testing::ValuesIn(read_rows), cli::RowName{});

// Reading and checking a list take a time that grows with its length, not
// with its square: four times the entries, not sixteen times the time.
TEST(Document, ALongListIsReadAndCheckedInLinearTime)
{
    const auto seconds = [](size_t entries) {
        std::string text = R"({"version":1,"network":{"snat":[{})";
        for (size_t i = 1; i < entries; ++i)
            text += ",{}";
        text += "]}}";
        const auto t0 = std::chrono::steady_clock::now();
        std::string problem;
        const std::optional<json> doc = vgcfg::parse_document(text, "doc", problem);
        EXPECT_TRUE(doc.has_value()) << problem;
        EXPECT_FALSE(vgcfg::validate(*doc).empty());
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    };
    seconds(1000); // warm
    const double small = seconds(25000), large = seconds(100000);
    EXPECT_LT(large, 8 * small + 0.05)
        << small << " s for 25000 entries, " << large << " s for 100000";
}

TEST(ReadFile, AFolderIsNoDocument)
{
    std::string problem;
    EXPECT_FALSE(vgcfg::read_document("/", problem));
    EXPECT_EQ(problem, "/: is a folder, not a document");
}

} // namespace
