// vg-mgmt's failures that a row of test_cli.cpp cannot make: a service that
// takes no more clients, one of another user, no answer; the command line's
// mistakes in two lines; kestctl's faults aimed by the tool's words.
#include "cli_support.h"
#include "impostor.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

#include "kestctl_messages.h"
#include "vg_mgmt_errors.h"
#include "vg_mgmt_model.h"

namespace {
using cli::run;
using cli::w;

[[maybe_unused]] const auto *const kEnv = ::testing::AddGlobalTestEnvironment(new cli::Kestd);

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

// The version in one line; a mistake in two, not the whole help.
TEST(Usage, VersionInOneLineMistakesInTwo)
{
    const auto v = run({"--version"});
    EXPECT_TRUE(v.status == 0 && v.out.starts_with("vg-mgmt ")) << v.out;
    EXPECT_EQ(1, std::count(v.out.begin(), v.out.end(), '\n'));
    for (const char *line : {"", "wifi", "wifi channel get", "wifi channel get 1 2"}) {
        const auto r = run(w(line));
        EXPECT_EQ(vgm::EXIT_USAGE, r.status);
        EXPECT_EQ(2, std::count(r.err.begin(), r.err.end(), '\n')) << r.err;
        EXPECT_NE(std::string::npos, r.err.find("\nusage: vg-mgmt")) << r.err;
    }
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
    unsigned skip;        // the requests that pass before the refused one
    const char *runs;     // s: a channel set, g: a channel get
    const char *statuses; // of each run
};

class FailNth : public ::testing::TestWithParam<NthRow> {};

TEST_P(FailNth, OnlyTheNthMatchingRequestIsRefused)
{
    const NthRow &row = GetParam();
    cli::Kestd::control("fail 104 1 " + std::to_string(kestctl_message_id("wifi channel set")) +
                        " " + std::to_string(row.skip));
    for (size_t i = 0; row.runs[i] != '\0'; ++i)
        EXPECT_EQ(row.statuses[i] - '0',
                  run(w(row.runs[i] == 's' ? "wifi channel set 1 6" : "wifi channel get 1")).status)
            << i;
    cli::Kestd::control("clear");
}

INSTANTIATE_TEST_SUITE_P(Rows, FailNth,
                         ::testing::Values(NthRow{"first", 0, "ss", "10"},
                                           NthRow{"third", 2, "sss", "001"},
                                           NthRow{"gets_do_not_count", 1, "gsgs", "0001"}),
                         cli::RowName{});

} // namespace
