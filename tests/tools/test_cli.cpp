// vg-mgmt against kestd: one row per command line, with its exit status, a
// text of its output and a value of its JSON; every get gives JSON with the
// keys of its text; help and the manual page are made from the model. (Every
// setting's round trip: test_cli_settings.cpp.)
#include "cli_support.h"

#include <set>

#include "config_states.h"
#include "vg_mgmt_docs.h"
#include "vg_mgmt_errors.h"
#include "vg_mgmt_model.h"

namespace {
using cli::run;
using cli::w;
using cli::with;
using json = nlohmann::json;

[[maybe_unused]] const auto *const kEnv = ::testing::AddGlobalTestEnvironment(new cli::Kestd);

const json kAny = json(json::value_t::discarded); // the key is there, whatever its value

struct Row {
    const char *name;
    const char *before; // a command line run first, or "kestd|" and a control command
    const char *args;   // words split at '|' where there is one, else at ' '
    int status;
    const char *text;    // in stdout; or, when it fails, in stderr's first two lines
    const char *pointer; // in the --json output (a failure's: its error's name)
    json value;
    bool absent = false; // the key is not there
};

std::vector<std::string> words_of(const std::string &line)
{
    if (line.find('|') == std::string::npos)
        return line.empty() ? std::vector<std::string>{} : w(line);
    std::vector<std::string> out;
    for (size_t at = 0, end = 0; end != std::string::npos; at = end + 1)
        out.push_back(line.substr(at, (end = line.find('|', at)) - at));
    return out;
}

class Lines : public ::testing::TestWithParam<Row> {};

// The row's `before` runs once, then the row as text and as --json (but for
// config, which takes --json after its verb).
TEST_P(Lines, StatusTextAndJson)
{
    const Row &row = GetParam();
    const auto before = words_of(row.before), args = words_of(row.args);
    if (!before.empty() && before[0] == "kestd")
        cli::Kestd::control(before[1]);
    else if (!before.empty())
        run(before);
    for (const bool as_json : {false, args[0] != "config"}) {
        const auto t0 = std::chrono::steady_clock::now();
        const auto r = run(as_json ? with({"--json"}, args) : args);
        EXPECT_LT(cli::ms_since(t0), 1000);
        ::setenv(KEST_SOCKET_ENV, cli::Kestd::kestd().sock.c_str(), 1); // --socket changes it
        EXPECT_EQ(row.status, r.status) << r.err;
        const std::string first = r.err.substr(0, r.err.find('\n', r.err.find('\n') + 1));
        if (!as_json) {
            EXPECT_NE(std::string::npos, (row.status == 0 ? r.out : first).find(row.text))
                << r.out << r.err;
            EXPECT_TRUE(row.status == 0 || r.out.empty()) << r.out;
            continue;
        }
        const json doc = json::parse(r.out);
        const json::json_pointer at(row.status == 0 ? row.pointer : "/error/name");
        if (row.absent)
            EXPECT_FALSE(doc.contains(at)) << doc;
        else if (row.value.is_discarded())
            EXPECT_TRUE(doc.contains(at)) << doc;
        else
            EXPECT_EQ(row.value, doc.value(at, json())) << doc;
        if (row.status != 0) {
            const json &e = doc.at("error");
            EXPECT_TRUE(e.at("code").is_number());
            EXPECT_EQ(row.status, e.at("status"));
            EXPECT_NE(std::string::npos, r.err.find(e.at("message").get<std::string>()));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Lines,
    ::testing::Values(
        // A text that would drive the terminal and forge a line is shown
        // escaped; JSON keeps it exact, --raw prints its bytes.
        Row{"forged_ssid", "wifi|ssid|set|2|\x1b]0;pwn\x07\nwifi.1.auth=open", "wifi ssid get 2", 0,
            "ssid: \\x1b]0;pwn\\x07\\x0awifi.1.auth=open\n", "/ssid",
            "\x1b]0;pwn\x07\nwifi.1.auth=open"},
        Row{"backslash_ssid", "wifi ssid set 2 a\\b", "wifi ssid get 2", 0, "ssid: a\\\\b\n",
            "/ssid", "a\\b"},
        Row{"raw_ssid", "wifi ssid set 2 \x1b[2J", "--raw wifi ssid get 2", 0, "ssid: \x1b[2J\n",
            "/ssid", "\x1b[2J"},
        Row{"non_ascii_ssid", "wifi|ssid|set|1|My Café AP", "wifi ssid get 1", 0,
            "ssid: My Café AP\n", "/ssid", "My Café AP"},
        Row{"non_ascii_apn", "datacall apn set 0 0 --apn Zürich-Netz", "datacall apn get 0 0", 0,
            "apn: Zürich-Netz\n", "/apn", "Zürich-Netz"},
        Row{"leading_zero_is_decimal", "wifi channel set 1 011", "wifi channel get 1", 0,
            "channel: 11\n", "/channel", 11},
        Row{"word_after_double_dash", "wifi ssid set 1 -- --guest", "wifi ssid get 1", 0,
            "ssid: --guest\n", "/ssid", "--guest"},
        Row{"protocol_without_a_name", "network snat add 192.168.225.9 8081 81 253",
            "network snat list", 0, "protocol=253", "/rules/0/protocol", 253},
        Row{"usb_id_as_text", "", "usb config get", 0, "pid: 0x", "/pid", kAny},
        Row{"station", "kestd|sta-join 1 02:00:00:00:00:31 phone", "wifi stations get", 0,
            "mac=02:00:00:00:00:31 interface=1 address=", "/stations/0/name", "phone"},
        Row{"station_raw", "", "--raw wifi stations get", 0, "field-c=", "/stations/0/field-c",
            kAny},
        Row{"sgmii", "", "network sgmii-info get", 0, "link: ", "/link", kAny},
        Row{"lan_raw", "", "--raw network lan get", 0, "lan-word-a: ", "/lan-word-a", kAny},
        Row{"no_dmz_host", "network dmz del", "network dmz get", 0, "address: none\n", "/address",
            nullptr},
        Row{"call_down_has_no_address",
            "datacall|apn|add|0|--pdp-type|ipv4|--auth-protocol|none|--apn|x|--user||--password|",
            "datacall info get 0 --ip-type ipv4", 0, "ipv4-status: disconnected\n", "/ipv4-address",
            nullptr, true},
        // Failures: what stderr says, the error's name.
        Row{"no_such_profile", "", "datacall info get 24", vgm::EXIT_REFUSED,
            "there is no profile 24 ('datacall apn list 0' lists them)", "", "NO_SUCH_PROFILE"},
        Row{"dmz_taken_says_what_to_do", "network dmz add 192.168.225.40",
            "network dmz add 192.168.225.41", vgm::EXIT_REFUSED,
            "(already there); a DMZ host may be set already: 'network dmz get' shows it, 'network "
            "dmz del' removes it",
            "", "DUPLICATE"},
        Row{"refused", "", "wifi channel set 1 36", vgm::EXIT_REFUSED,
            "vg-mgmt: wifi channel set: refused by the service: error 104 INVALID_CHANNEL", "",
            "INVALID_CHANNEL"},
        Row{"code_not_in_table", "kestd|fail 4242 2", "wifi enable get", vgm::EXIT_REFUSED,
            "refused by the service: error 4242\n", "", "SERVICE_ERROR"},
        Row{"no_service", "", "--socket /nonexistent/kest.sock wifi enable get",
            vgm::EXIT_NO_SERVICE, "/nonexistent/kest.sock does not exist", "", kAny},
        Row{"no_service_names_the_variable", "", "--socket /nonexistent/kest.sock wifi enable get",
            vgm::EXIT_NO_SERVICE, "VG_KEST_SOCKET", "", kAny},
        // The command line's mistakes: named, with the nearest right word, and one usage line.
        Row{"unknown_word", "", "wfi ssid get 1", vgm::EXIT_USAGE,
            "vg-mgmt: unknown word 'wfi'; did you mean 'wifi'?\nusage: vg-mgmt", "", "USAGE"},
        Row{"config_typo", "", "confg export", vgm::EXIT_USAGE,
            "unknown word 'confg'; did you mean 'config'?\nusage: vg-mgmt", "", "USAGE"},
        Row{"missing_verb", "", "wifi channel", vgm::EXIT_USAGE,
            "'channel' needs a further word\nusage: vg-mgmt [options] wifi channel <get|set>", "",
            "USAGE"},
        Row{"out_of_range", "", "wifi channel set 1 15", vgm::EXIT_USAGE,
            "vg-mgmt: wifi channel set: channel: 15 is out of range; takes ", "", "USAGE"},
        Row{"not_a_name", "", "datacall up 0 --ip-type ipv5", vgm::EXIT_USAGE,
            "datacall up: ip-type: 'ipv5' is not valid; takes ipv4 (0)", "", "USAGE"},
        // What config validate refuses in a list is refused before it is sent.
        Row{"acl_entry_twice", "wifi acl add 2 02:00:00:00:00:51",
            "wifi acl add 2 02:00:00:00:00:51", vgm::EXIT_USAGE, "]: listed twice", "", "USAGE"},
        Row{"snat_port_taken", "network snat add 192.168.225.50 90 9090 tcp",
            "network snat add 192.168.225.51 91 9090 tcp", vgm::EXIT_USAGE,
            "global port 9090 and its protocol are taken by another rule of the list", "", "USAGE"},
        Row{"nothing_to_set", "", "network lan set", vgm::EXIT_USAGE,
            "network lan set: nothing to change", "", "USAGE"},
        Row{"help_typo", "", "help wifi chanel", vgm::EXIT_USAGE,
            "help: unknown word 'chanel'; did you mean 'channel'?", "", kAny},
        Row{"option_typo", "", "wifi channel get 1 --jsn", vgm::EXIT_USAGE,
            "unknown option '--jsn'; did you mean '--json'?", "", kAny},
        Row{"config_verb_typo", "", "config exprot", vgm::EXIT_USAGE,
            "vg-mgmt config: unknown word 'exprot'; did you mean 'export'?", "", kAny},
        Row{"config_option_typo", "", "config export --show-secret", vgm::EXIT_USAGE,
            "unknown option '--show-secret'; did you mean '--show-secrets'?", "", kAny},
        Row{"shell_typo", "", "completion bsh", vgm::EXIT_USAGE,
            "shell: unknown word 'bsh'; did you mean 'bash'?", "", kAny},
        Row{"not_seconds", "", "--timeout abc status", vgm::EXIT_USAGE,
            "--timeout: 'abc' is not a number of seconds (0 or more)", "", kAny}),
    cli::RowName{});

std::vector<std::string> lines(const std::string &text)
{
    std::vector<std::string> out;
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = std::min(text.find('\n', at), text.size());
        out.push_back(text.substr(at, end - at));
    }
    return out;
}

// Every get of the model gives one JSON object with the keys of its text.
TEST(EveryGet, JsonHasTheKeysOfTheText)
{
    const auto instance_words = [](vgm::axis a) -> std::vector<std::string> {
        return a == vgm::axis::iface                                 ? w("1")
               : a == vgm::axis::apn                                 ? w("0 0")
               : a == vgm::axis::apn_type || a == vgm::axis::profile ? w("0")
                                                                     : w("");
    };
    for (const vgm::command &c : vgm::commands()) {
        if (c.k != vgm::kind::get && c.k != vgm::kind::list)
            continue;
        const auto args = with({c.domain_word, c.subject, c.verb}, instance_words(c.inst));
        const auto text = run(args), js = run(with({"--json"}, args));
        ASSERT_EQ(0, text.status + js.status) << vgm::command_name(c) << ": " << text.err << js.err;
        std::set<std::string> text_keys, json_keys;
        for (const std::string &line : lines(text.out))
            if (!line.starts_with(" "))
                text_keys.insert(line.substr(0, line.find(':')));
        const json doc = json::parse(js.out);
        for (const auto &[k, v] : doc.items()) {
            json_keys.insert(k);
            EXPECT_EQ(std::string::npos, k.find('_')) << "keys are words joined by '-': " << k;
        }
        EXPECT_EQ(text_keys, json_keys) << vgm::command_name(c);
    }
}

// The tool keeps kestd's factory configuration for the states that put
// settings back to their defaults: a fresh kestd exports exactly that.
TEST(Factory, AFreshServiceExportsTheDefaultsTheToolKeeps)
{
    kestd_test::service fresh;
    ASSERT_TRUE(fresh.start());
    const auto r = cli::run_program({"--socket", fresh.sock, "config", "export"});
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_EQ(json::parse(r.out), vgcfg::defaults_document());
}

// Words separated by single spaces, whatever the line breaks.
std::string words(const std::string &text)
{
    std::string out;
    for (char c : text)
        if (c != ' ' && c != '\n')
            out += c;
        else if (!out.empty() && out.back() != ' ')
            out += ' ';
    return out;
}

TEST(Help, EveryRowsHelpFitsSaysWhatItsValuesAreAndIsInTheManualPage)
{
    const auto man = run({"help", "--man"});
    ASSERT_EQ(0, man.status);
    EXPECT_TRUE(man.out.starts_with("vg-mgmt(1)\n")) << man.out.substr(0, 40);
    std::set<std::string> seen;
    for (const vgm::command &c : vgm::commands()) {
        const auto r = run({c.domain_word, c.subject, c.verb, "--help"});
        ASSERT_EQ(0, r.status) << vgm::command_name(c);
        for (const std::string &line : lines(r.out))
            EXPECT_LE(line.size(), 100u) << line;
        EXPECT_TRUE(seen.insert(c.help).second) << "two rows say: " << c.help;
        for (const vgm::field &f : c.fields)
            EXPECT_NE(std::string::npos, words(r.out).find(words(vgm::range_of(f))))
                << vgm::command_name(c) << " " << f.key;
        EXPECT_NE(std::string::npos, man.out.find("*vg-mgmt " + vgm::command_name(c)))
            << vgm::command_name(c);
    }
    for (const vgm::config_verb &v : vgm::kConfigVerbs)
        EXPECT_NE(std::string::npos, man.out.find("\n*vg-mgmt config " + std::string(v.verb)))
            << v.verb;
}

// Every command that is no row of the model answers --help, and help before
// it, with its usage and what it does; a config verb names each option it
// takes.
TEST(Help, EveryOtherCommandAndConfigVerbTellsItsUsageAndOptions)
{
    std::vector<std::vector<std::string>> all = {
        {"status"}, {"events"}, {"completion"}, {"help"}, {"config"}};
    for (const vgm::config_verb &v : vgm::kConfigVerbs)
        all.push_back({"config", v.verb});
    for (const std::vector<std::string> &words : all) {
        const auto asked = run(cli::with(words, {"--help"})),
                   told = run(cli::with({"help"}, words));
        EXPECT_EQ(0, asked.status + told.status) << words.back();
        EXPECT_EQ(asked.out, told.out) << words.back();
        EXPECT_TRUE(asked.out.starts_with("usage: vg-mgmt ")) << words.back() << ": " << asked.out;
        EXPECT_GE(lines(asked.out).size(), 2u) << words.back() << ": " << asked.out;
        for (const std::string &line : lines(asked.out))
            EXPECT_LE(line.size(), 100u) << line;
        for (size_t i = 0; words[0] == "config" && words.size() == 2 && i < vgm::kConfigOptionCount;
             ++i)
            EXPECT_EQ(vgm::config_option_takes(vgm::kConfigOptions[i], words[1]),
                      asked.out.find(std::string("  ") + vgm::kConfigOptions[i].name + " ") !=
                          std::string::npos)
                << words[1] << " " << vgm::kConfigOptions[i].name;
    }
}

} // namespace
