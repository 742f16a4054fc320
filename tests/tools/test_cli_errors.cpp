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
#include <filesystem>
#include <map>
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
            e2e::control_link ctl(cli::Kestd::kestd().socket_path());
            ctl(row.control);
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
        ErrorRow{"unknown_verb", nullptr, w("wifi channel st 1 6"), vgm::EXIT_USAGE,
                 "vg-mgmt: unknown word 'st'; did you mean 'set'?", "USAGE"},
        ErrorRow{"missing_verb", nullptr, w("wifi channel"), vgm::EXIT_USAGE,
                 "vg-mgmt: 'channel' needs a further word\nusage: vg-mgmt [options] wifi channel "
                 "<get|set>",
                 "USAGE"},
        ErrorRow{
            "out_of_range", nullptr, w("wifi channel set 1 15"), vgm::EXIT_USAGE,
            "vg-mgmt: wifi channel set: channel: 15 is out of range; takes 0, 1-14, 36-64 even",
            "USAGE"},
        ErrorRow{"rssi_out_of_range", nullptr, w("wifi rssi set 1 96"), vgm::EXIT_USAGE,
                 "vg-mgmt: wifi rssi set: rssi: 96 is out of range; takes 0 to 95", "USAGE"},
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
    e2e::RowName{});

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
    std::vector<std::string> args = GetParam().args;
    args.insert(args.begin(), "vg-mgmt");
    std::vector<char *> argv;
    for (auto &a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    char *buf = nullptr;
    size_t len = 0;
    FILE *err = open_memstream(&buf, &len);
    const int argc = static_cast<int>(args.size());
    const int status = vg_mgmt_cli_run(argc, argv.data(), stdout, err);
    std::fclose(err);
    const std::string text(buf, len);
    std::free(buf);
    EXPECT_EQ(vgm::EXIT_USAGE, status) << text;
    EXPECT_EQ(GetParam().line, text.substr(0, text.find('\n'))) << text;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DeadEnds,
    ::testing::Values(
        DeadEndRow{"help_unknown", w("help nosuch"), "vg-mgmt: help: unknown word 'nosuch'"},
        DeadEndRow{"help_typo", w("help wifi chanel"),
                   "vg-mgmt: help: unknown word 'chanel'; did you mean 'channel'?"},
        DeadEndRow{"option_typo", w("wifi channel get 1 --jsn"),
                   "vg-mgmt: unknown option '--jsn'; did you mean '--json'?"},
        DeadEndRow{"global_option_typo", w("--jsno status"),
                   "vg-mgmt: unknown option '--jsno'; did you mean '--json'?"},
        DeadEndRow{"set_option_typo", w("wifi auth set 1 open --pasword x"),
                   "vg-mgmt: unknown option '--pasword'; did you mean '--password'?"},
        DeadEndRow{"config_verb_typo", w("config exprot"),
                   "vg-mgmt config: unknown word 'exprot'; did you mean 'export'?"},
        DeadEndRow{
            "config_option_typo", w("config export --show-secret"),
            "vg-mgmt config: unknown option '--show-secret'; did you mean '--show-secrets'?"},
        DeadEndRow{"config_own_option_typo", w("config --stat export"),
                   "vg-mgmt config: unknown option '--stat'; did you mean '--stats'?"},
        DeadEndRow{"status_extra", w("status --jsn"),
                   "vg-mgmt: unknown option '--jsn'; did you mean '--json'?"},
        DeadEndRow{"events_option_typo", w("events --cont 1"),
                   "vg-mgmt: unknown option '--cont'; did you mean '--count'?"},
        DeadEndRow{"shell_typo", w("completion bsh"),
                   "vg-mgmt: shell: unknown word 'bsh'; did you mean 'bash'?"},
        DeadEndRow{"not_seconds", w("--timeout abc status"),
                   "vg-mgmt: --timeout: 'abc' is not a number of seconds (0 or more)"}),
    e2e::RowName{});

TEST(NoService, NamedAtOnceWhenTheSocketIsMissing)
{
    const auto t0 = std::chrono::steady_clock::now();
    const auto r = run({"--socket", "/nonexistent/kest.sock", "wifi", "enable", "get"});
    ::setenv(KEST_SOCKET_ENV, cli::Kestd::kestd().socket_path().c_str(), 1);
    EXPECT_EQ(vgm::EXIT_NO_SERVICE, r.status);
    EXPECT_LT(e2e::ms_since(t0), 1000);
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
    const std::string sock = cli::Kestd::kestd().socket_path();
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
    ::setenv(KEST_SOCKET_ENV, cli::Kestd::kestd().socket_path().c_str(), 1);
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
                                                 {"wfi"},
                                                 {"wifi"},
                                                 {"usb", "func"},
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

TEST(Help, ListsFitToo)
{
    for (const std::vector<std::string> &args : {std::vector<std::string>{"--help"},
                                                 {"wifi", "--help"},
                                                 {"datacall", "--help"},
                                                 {"network", "--help"},
                                                 {"usb", "--help"}}) {
        const auto r = run(args);
        EXPECT_EQ(0, r.status);
        for (const auto &line : lines(r.out))
            EXPECT_LE(line.size(), 100u) << line;
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
}

// vg-mgmt config in the help, the manual page and the help of its word.
struct ConfigDocRow {
    const char *name;
    std::vector<std::string> args;
    std::vector<std::string> has;
    bool fits = true; // every line within 100 columns (the help; not the manual page's source)
};

// config's documented verbs are the ones its command line takes, and each
// option takes just the verbs its row names.
TEST(ConfigVerbs, DocumentedAndTakenAlike)
{
    const std::string service = std::getenv("VG_KEST_SOCKET"); // --socket changes it
    for (const vgm::config_verb &v : vgm::kConfigVerbs) {
        ::setenv("VG_KEST_SOCKET", "/nonexistent/kest.sock", 1); // nothing reaches the service
        EXPECT_EQ(0, run({"config", v.verb, "--help"}).status) << v.verb;
        const std::string args = v.args;
        for (size_t i = 0; i < vgm::kConfigOptionCount; ++i) {
            const vgm::config_option &o = vgm::kConfigOptions[i];
            std::vector<std::string> line = {"--socket", "/nonexistent/kest.sock", "config", v.verb,
                                             o.name};
            if (o.arg[0] != '\0')
                line.emplace_back("5");
            if (args.ends_with("FILE") || args == "ARGS")
                line.emplace_back("/nonexistent/doc.json");
            const cli::result r = run(line);
            const bool refused =
                r.err.find(std::string(o.name) + " is an option of") != std::string::npos;
            const std::string verbs = std::string(" ") + o.verbs + " ";
            const bool takes =
                o.verbs[0] == '\0' || verbs.find(std::string(" ") + v.verb + " ") != verbs.npos;
            EXPECT_EQ(!takes, refused) << v.verb << " " << o.name << ": " << r.err;
        }
    }
    ::setenv("VG_KEST_SOCKET", service.c_str(), 1);
}

class ConfigDocs : public ::testing::TestWithParam<ConfigDocRow> {};

const std::vector<std::string> kConfigHelpLines = {
    "  config export [--show-secrets]  print every setting as one JSON document\n",
    "  config schema                   print the document's JSON Schema (draft 2020-12)\n",
    "  config diff [--json] FILE       what apply would change, one line per setting (old -> "
    "new)\n",
    "  config apply [--check] [--json] FILE make the configuration equal to FILE, undone when "
    "refused\n",
    "  config validate [--json] FILE   every problem FILE shows by itself, without the service "
    "(for CI)\n",
    "  config confirm [--json]         keep the change of 'apply --confirm SECONDS FILE' (else "
    "reverted)\n",
    "  config recover [--json]         restore what an unfinished apply was changing\n",
    "  config history [--json]         the last 10 applies: when, changes, document\n",
    "  config rollback [--json] [N]    apply back what the N-th apply back (1: the last) "
    "replaced\n",
    "  config ansible ARGS             run as the Ansible module: ARGS is the arguments file\n",
};

TEST_P(ConfigDocs, NameConfigItsVerbsAndFit)
{
    const ConfigDocRow &row = GetParam();
    const auto r = run(row.args);
    ASSERT_EQ(0, r.status) << r.err;
    for (const std::string &want : row.has)
        EXPECT_NE(std::string::npos, r.out.find(want)) << want;
    for (const auto &line : lines(r.out))
        EXPECT_TRUE(!row.fits || line.size() <= 100u) << line;
}

INSTANTIATE_TEST_SUITE_P(
    Config, ConfigDocs,
    ::testing::Values(
        ConfigDocRow{
            "help_option",
            {"--help"},
            with({"\n       vg-mgmt [--socket PATH] config [--stats] <verb> [arguments]\n"},
                 kConfigHelpLines)},
        ConfigDocRow{"help_word", {"help"}, kConfigHelpLines},
        ConfigDocRow{"help_config", {"help", "config"}, kConfigHelpLines},
        ConfigDocRow{
            "manual_page",
            {"help", "--man"},
            {"\n# CONFIG\n", "*vg-mgmt* [*--socket* _PATH_] *config* [*--stats*] _verb_",
             "\n*vg-mgmt config export [--show-secrets]*\n\tprint every setting",
             "\n*vg-mgmt config schema*\n", "\n*vg-mgmt config diff [--json] FILE*\n",
             "\n*vg-mgmt config apply [--check] [--json] FILE*\n",
             "\n*vg-mgmt config ansible ARGS*\n", "\n*--check*\n\tapply: send nothing",
             "\n*0*\n\tdone, or nothing to change\n",
             "\n*1*\n\tthe library or the service refused the command; config: every change",
             "\n*2*\n\tthe command line or the document is wrong",
             "\n*3*\n\tno service:", "\n*6*\n\tconfig apply --check: changes are pending\n",
             "\n*7*\n\tconfig: the service refused a change and an undo too"},
            false}),
    e2e::RowName{});

// Runs the completion function of the script for a command line.
std::string complete(const std::string &script, const std::string &line)
{
    char path[] = "/tmp/vg-completion-XXXXXX";
    const int fd = ::mkstemp(path);
    EXPECT_GE(fd, 0);
    const std::string body = script + "\nCOMP_WORDS=(" + line +
                             ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                             "_vg_mgmt\necho \"${COMPREPLY[*]}\"\n";
    EXPECT_EQ(static_cast<ssize_t>(body.size()), ::write(fd, body.data(), body.size()));
    ::close(fd);
    FILE *p = ::popen(("bash " + std::string(path)).c_str(), "r");
    char buf[4096] = {};
    const size_t n = std::fread(buf, 1, sizeof buf - 1, p);
    ::pclose(p);
    ::unlink(path);
    return std::string(buf, n);
}

TEST(Help, BashCompletionFollowsTheModel)
{
    const auto r = run({"completion", "bash"});
    ASSERT_EQ(0, r.status);
    // A command line, the cursor at its end | the words offered.
    const std::pair<const char *, const char *> rows[] = {
        {"vg-mgmt wi", "wifi\n"},
        {"vg-mgmt wifi chan", "channel\n"},
        {"vg-mgmt wifi channel ''", "get set\n"},
        {"vg-mgmt wifi auth set 1 wpa", "wpa-psk-2 wpa-psk-3 wpa-psk-4\n"},
        {"vg-mgmt con", "config\n"},
        {"vg-mgmt config ''",
         "export schema diff apply validate confirm recover history rollback ansible\n"},
        {"vg-mgmt --socket /tmp/kest.sock config ''",
         "export schema diff apply validate confirm recover history rollback ansible\n"},
        {"vg-mgmt config --s", "--socket --stats\n"},
        {"vg-mgmt config export --", "--show-secrets --socket --state-dir --stats --help\n"},
        {"vg-mgmt config diff --j", "--json\n"},
        {"vg-mgmt config apply /proc/self/cmdli", "/proc/self/cmdline\n"},
        {"vg-mgmt config diff /proc/self/cmdli", "/proc/self/cmdline\n"},
    };
    for (const auto &[line, offered] : rows)
        EXPECT_EQ(offered, complete(r.out, line)) << line;
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
    e2e::control_link ctl(cli::Kestd::kestd().socket_path());
    ctl("fail 104 1 " + std::to_string(kestctl_message_id("wifi channel set")) + " " +
        std::to_string(GetParam().skip));
    for (size_t i = 0; i < GetParam().runs.size(); ++i)
        EXPECT_EQ(GetParam().statuses[i], run(GetParam().runs[i]).status) << i;
    ctl("clear");
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
    e2e::RowName{});

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

TEST(Model, EverySettingWithAReadHasItsGet)
{
    for (const vgm::command &c : vgm::commands()) {
        if (c.k != vgm::kind::set || c.read_id == 0)
            continue;
        const auto get = std::find_if(
            vgm::commands().begin(), vgm::commands().end(), [&](const vgm::command &g) {
                return g.k == vgm::kind::get && std::string(g.domain_word) == c.domain_word &&
                       std::string(g.subject) == c.subject;
            });
        EXPECT_NE(vgm::commands().end(), get) << vgm::command_name(c);
    }
}

bool is_number(vgm::vtype t)
{
    return t == vgm::vtype::number;
}

TEST(Model, AKeyHasOneTypeEverywhere)
{
    std::map<std::string, bool> number_key;
    const auto note = [&](const vgm::field &f, const std::string &where) {
        const auto [it, fresh] = number_key.emplace(f.key, is_number(f.type));
        EXPECT_TRUE(fresh || it->second == is_number(f.type)) << f.key << " in " << where;
    };
    for (const vgm::command &c : vgm::commands()) {
        for (const auto &f : vgm::axis_fields(c.inst))
            note(f, vgm::command_name(c));
        for (const auto &f : c.fields)
            note(f, vgm::command_name(c));
        for (const auto &f : c.out)
            note(f, vgm::command_name(c));
        if (c.list != nullptr)
            for (const auto &f : c.list->entry)
                note(f, vgm::command_name(c));
    }
}
