// vg-mgmt's failures: each class with its exit status, its one line on
// stderr and its JSON error object; the command line's mistakes named with
// one usage line; help, manual page and completion made from the model.
#include "cli_support.h"
#include "impostor.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <set>

#include "kest_commands.h"
#include "kestctl_messages.h"
#include "vg_mgmt_docs.h"
#include "vg_mgmt_errors.h"
#include "vg_mgmt_model.h"

namespace {
using cli::run;
using cli::w;
using cli::with;
using json = nlohmann::json;

[[maybe_unused]] const auto *const kEnv = ::testing::AddGlobalTestEnvironment(new cli::Kestd);

struct ErrorRow {
    const char *name;
    const char *control; // a kestd control command before the run, or null
    std::vector<std::string> args;
    int status;
    const char *line;  // the start of stderr's first line
    const char *error; // the JSON error's name
};

class Errors : public ::testing::TestWithParam<ErrorRow> {};

TEST_P(Errors, StatusLineAndJsonObject)
{
    const ErrorRow &row = GetParam();
    for (const bool as_json : {false, true}) {
        if (row.control != nullptr) {
            cli::Kestd::control(row.control);
        }
        const auto r = run(as_json ? with({"--json"}, row.args) : row.args);
        EXPECT_EQ(row.status, r.status) << r.err;
        EXPECT_TRUE(r.err.starts_with(row.line)) << r.err;
        if (!as_json) {
            EXPECT_EQ("", r.out);
            continue;
        }
        const json e = json::parse(r.out).at("error");
        EXPECT_EQ(row.error, e.at("name")) << r.out;
        EXPECT_TRUE(e.at("code").is_number());
        EXPECT_EQ(row.status, e.at("status"));
        EXPECT_NE(std::string::npos, r.err.find(e.at("message").get<std::string>()));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Classes, Errors,
    ::testing::Values(
        ErrorRow{"unknown_word", nullptr, w("wfi ssid get 1"), vgm::EXIT_USAGE,
                 "vg-mgmt: unknown word 'wfi'; did you mean 'wifi'?\nusage: vg-mgmt", "USAGE"},
        ErrorRow{"config_typo", nullptr, w("confg export"), vgm::EXIT_USAGE,
                 "vg-mgmt: unknown word 'confg'; did you mean 'config'?\nusage: vg-mgmt", "USAGE"},
        ErrorRow{"missing_verb", nullptr, w("wifi channel"), vgm::EXIT_USAGE,
                 "vg-mgmt: 'channel' needs a further word\nusage: vg-mgmt [options] wifi channel "
                 "<get|set>",
                 "USAGE"},
        ErrorRow{
            "out_of_range", nullptr, w("wifi channel set 1 15"), vgm::EXIT_USAGE,
            "vg-mgmt: wifi channel set: channel: 15 is out of range; takes 0, 1-14, 36-64 even",
            "USAGE"},
        ErrorRow{"not_a_name", nullptr, w("datacall up 0 --ip-type ipv5"), vgm::EXIT_USAGE,
                 "vg-mgmt: datacall up: ip-type: 'ipv5' is not valid; takes ipv4 (0), ipv6 (1), "
                 "ipv4v6 (2)",
                 "USAGE"},
        ErrorRow{"nothing_to_set", nullptr, w("network lan set"), vgm::EXIT_USAGE,
                 "vg-mgmt: network lan set: nothing to change", "USAGE"},
        ErrorRow{"refused", nullptr, w("wifi channel set 1 36"), vgm::EXIT_REFUSED,
                 "vg-mgmt: wifi channel set: refused by the service: error 104 INVALID_CHANNEL "
                 "(not a channel",
                 "INVALID_CHANNEL"},
        ErrorRow{"code_not_in_table", "fail 4242", w("wifi enable get"), vgm::EXIT_REFUSED,
                 "vg-mgmt: wifi enable get: refused by the service: error 4242\n",
                 "SERVICE_ERROR"}),
    cli::RowName{});

// A new user's mistakes: each gets exit 2 and a first line naming the wrong
// word or option with the nearest right one.
struct DeadEndRow {
    const char *name;
    std::vector<std::string> args;
    const char *line; // stderr's first line
};

class DeadEnds : public ::testing::TestWithParam<DeadEndRow> {};

TEST_P(DeadEnds, NamedWithTheNearestWord)
{
    const auto r = run(GetParam().args);
    EXPECT_EQ(vgm::EXIT_USAGE, r.status) << r.err;
    EXPECT_EQ(GetParam().line, r.err.substr(0, r.err.find('\n'))) << r.err;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DeadEnds,
    ::testing::Values(
        DeadEndRow{"help_typo", w("help wifi chanel"),
                   "vg-mgmt: help: unknown word 'chanel'; did you mean 'channel'?"},
        DeadEndRow{"option_typo", w("wifi channel get 1 --jsn"),
                   "vg-mgmt: unknown option '--jsn'; did you mean '--json'?"},
        DeadEndRow{"config_verb_typo", w("config exprot"),
                   "vg-mgmt config: unknown word 'exprot'; did you mean 'export'?"},
        DeadEndRow{
            "config_option_typo", w("config export --show-secret"),
            "vg-mgmt config: unknown option '--show-secret'; did you mean '--show-secrets'?"},
        DeadEndRow{"shell_typo", w("completion bsh"),
                   "vg-mgmt: shell: unknown word 'bsh'; did you mean 'bash'?"},
        DeadEndRow{"not_seconds", w("--timeout abc status"),
                   "vg-mgmt: --timeout: 'abc' is not a number of seconds (0 or more)"}),
    cli::RowName{});

TEST(NoService, NamedAtOnceWhenTheSocketIsMissing)
{
    const auto t0 = std::chrono::steady_clock::now();
    const auto r = run({"--socket", "/nonexistent/kest.sock", "wifi", "enable", "get"});
    ::setenv(KEST_SOCKET_ENV, cli::Kestd::kestd().sock.c_str(), 1);
    EXPECT_EQ(vgm::EXIT_NO_SERVICE, r.status);
    EXPECT_LT(cli::ms_since(t0), 1000);
    EXPECT_NE(std::string::npos, r.err.find("/nonexistent/kest.sock does not exist")) << r.err;
    EXPECT_NE(std::string::npos, r.err.find("VG_KEST_SOCKET")) << r.err;
}

TEST(NoAnswer, IsItsOwnStatus)
{
    const vgm::failure f = vgm::call_failure(0);
    EXPECT_EQ(vgm::EXIT_NO_ANSWER, f.status);
    EXPECT_EQ("NO_ANSWER", f.name);
}

// A service that takes no more clients says so, and the tool tells that
// apart from a service that does not answer, config as well.
TEST(TooManyClients, IsItsOwnStatus)
{
    const std::string sock = cli::Kestd::kestd().sock;
    std::vector<int> held;
    for (int i = 0; i < 64; ++i) { // kestd's default limit
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", sock.c_str());
        held.push_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(0,
                  ::connect(held.back(), reinterpret_cast<const sockaddr *>(&addr), sizeof addr));
    }
    // A command of the model and one of config, which opens the service its own way.
    std::vector<cli::result> results;
    for (const char *line : {"wifi enable get", "config export"})
        results.push_back(run(w(line)));
    for (const int fd : held)
        ::close(fd);
    for (const cli::result &r : results) {
        EXPECT_EQ(vgm::EXIT_TOO_MANY, r.status) << r.err;
        EXPECT_NE(std::string::npos,
                  r.err.find("the service refused the connection: too many clients"))
            << r.err;
    }
    for (int tries = 0; tries < 100 && run({"wifi", "enable", "get"}).status != 0; ++tries)
        ::usleep(20000); // until the service has seen the held ones go
}

// A process of another user at the socket is not the service: nothing is
// sent to it, and the tool says whose it is.
TEST(Untrusted, IsItsOwnStatus)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root, to act as another user";
    char tmpl[] = "/tmp/vg-untrusted-XXXXXX";
    const std::string dir = ::mkdtemp(tmpl);
    ASSERT_EQ(0, ::chown(dir.c_str(), 65534, 65534));
    const std::string sock = dir + "/kest.sock";
    const pid_t child = impostor::start(sock, 65534);
    ASSERT_GT(child, 0);
    const auto r = run({"--socket", sock, "wifi", "auth", "set", "1", "--password", "secret-1234"});
    EXPECT_EQ(vgm::EXIT_UNTRUSTED, r.status) << r.err;
    EXPECT_NE(std::string::npos, r.err.find(sock + ": it runs as user nobody (uid 65534)"))
        << r.err;
    EXPECT_EQ(0, impostor::outcome(child)) << "the tool sent something to the impostor";
    ::unlink(sock.c_str());
    ::rmdir(dir.c_str());
    ::setenv(KEST_SOCKET_ENV, cli::Kestd::kestd().sock.c_str(), 1);
}

TEST(Usage, VersionPrintsOneLine)
{
    const auto r = run({"--version"});
    EXPECT_EQ(0, r.status);
    EXPECT_TRUE(r.out.starts_with("vg-mgmt ")) << r.out;
    EXPECT_EQ(1, std::count(r.out.begin(), r.out.end(), '\n'));
}

TEST(Usage, MistakesPrintTwoLinesNotTheHelp)
{
    for (const std::vector<std::string> &args : {std::vector<std::string>{},
                                                 {"wifi"},
                                                 {"wifi", "channel", "get"},
                                                 {"wifi", "channel", "get", "1", "2"}}) {
        const auto r = run(args);
        EXPECT_EQ(vgm::EXIT_USAGE, r.status);
        EXPECT_EQ(2, std::count(r.err.begin(), r.err.end(), '\n')) << r.err;
        EXPECT_NE(std::string::npos, r.err.find("\nusage: vg-mgmt")) << r.err;
    }
}

// ---------------------------------------------------------------------------
// Help, manual page and completion.

std::vector<std::string> lines(const std::string &text)
{
    std::vector<std::string> out;
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at);
        out.push_back(text.substr(at, end - at));
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return out;
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

TEST(Help, EveryRowsHelpFitsAndSaysWhatItsValuesAre)
{
    std::set<std::string> seen;
    for (const vgm::command &c : vgm::commands()) {
        const auto r = run({c.domain_word, c.subject, c.verb, "--help"});
        ASSERT_EQ(0, r.status) << vgm::command_name(c);
        for (const auto &line : lines(r.out))
            EXPECT_LE(line.size(), 100u) << line;
        EXPECT_TRUE(seen.insert(c.help).second) << "two rows say: " << c.help;
        for (const vgm::field &f : c.fields)
            EXPECT_NE(std::string::npos, words(r.out).find(words(vgm::range_of(f))))
                << vgm::command_name(c) << " " << f.key;
    }
}

TEST(Help, ManualPageNamesEveryCommand)
{
    const auto r = run({"help", "--man"});
    ASSERT_EQ(0, r.status);
    EXPECT_TRUE(r.out.starts_with("vg-mgmt(1)\n")) << r.out.substr(0, 40);
    for (const vgm::command &c : vgm::commands())
        EXPECT_NE(std::string::npos, r.out.find("*vg-mgmt " + vgm::command_name(c)))
            << vgm::command_name(c);
    for (const vgm::config_verb &v : vgm::kConfigVerbs)
        EXPECT_NE(std::string::npos, r.out.find("\n*vg-mgmt config " + std::string(v.verb)))
            << v.verb;
}

// kestctl aims a fault at a command by the tool's words: every command of the
// tool has a message, and the N-th matching request is the one refused.
TEST(KestctlNames, EveryCommandOfTheToolNamesItsMessage)
{
    for (const vgm::command &c : vgm::commands())
        EXPECT_NE(0u, kestctl_message_id(vgm::command_name(c))) << vgm::command_name(c);
}

struct NthRow {
    const char *name;
    unsigned skip;
    std::vector<std::vector<std::string>> runs;
    std::vector<int> statuses;
};

class FailNth : public ::testing::TestWithParam<NthRow> {};

TEST_P(FailNth, OnlyTheNthMatchingRequestIsRefused)
{
    cli::Kestd::control("fail 104 1 " + std::to_string(kestctl_message_id("wifi channel set")) +
                        " " + std::to_string(GetParam().skip));
    for (size_t i = 0; i < GetParam().runs.size(); ++i)
        EXPECT_EQ(GetParam().statuses[i], run(GetParam().runs[i]).status) << i;
    cli::Kestd::control("clear");
}

const std::vector<std::string> kChannelSet = {"wifi", "channel", "set", "1", "6"};
const std::vector<std::string> kChannelGet = {"wifi", "channel", "get", "1"};

INSTANTIATE_TEST_SUITE_P(
    Rows, FailNth,
    ::testing::Values(NthRow{"first", 0, {kChannelSet, kChannelSet}, {1, 0}},
                      NthRow{"third", 2, {kChannelSet, kChannelSet, kChannelSet}, {0, 0, 1}},
                      NthRow{"gets_do_not_count",
                             1,
                             {kChannelGet, kChannelSet, kChannelGet, kChannelSet},
                             {0, 0, 0, 1}}),
    cli::RowName{});

} // namespace

// ---------------------------------------------------------------------------
// The model holds together: what a whole-configuration document will read.

TEST(Model, EveryRowIsADescribedCommandAndItsFieldsLieInTheRecord)
{
    for (const vgm::command &c : vgm::commands()) {
        EXPECT_TRUE(c.read_id == 0 || kest_command_find(c.domain, c.read_id, MGMT_OPT_GET))
            << vgm::command_name(c);
        EXPECT_TRUE(c.write_id == 0 || kest_command_find(c.domain, c.write_id, MGMT_OPT_SET))
            << vgm::command_name(c);
        for (const vgm::field &f : c.fields) {
            EXPECT_LE(f.off + f.width, vgm::value_size(c.domain))
                << vgm::command_name(c) << " " << f.key;
            EXPECT_LE(f.woff + f.width, vgm::value_size(c.domain))
                << vgm::command_name(c) << " " << f.key;
        }
    }
}
