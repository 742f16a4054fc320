// Who may reach kestd: its socket is made with a fixed mode whatever the
// umask, control commands are taken only from its own user or root, and
// the default socket lives in the user's runtime folder when there is one.
#include "kestd_test_support.h"

#include <grp.h>
#include <sys/un.h>

#include "impostor.h"
#include "kest_socket_path.h"

#include <cstdlib>

namespace {

using namespace kestd_test;

TEST(KestdAccess, TheSocketIsNotOpenToEveryoneUnderUmaskZero)
{
    service s;
    const mode_t old_mask = ::umask(0);
    const bool started = s.start();
    ::umask(old_mask);
    ASSERT_TRUE(started);
    struct stat sb;
    ASSERT_EQ(::stat(s.sock.c_str(), &sb), 0);
    EXPECT_EQ(sb.st_mode & 07777, 0660u);
    EXPECT_EQ(s.stop(), 0);
}

constexpr uid_t kNobody = 65534;

// In a child that has become user and group kNobody: 0 when the service
// refuses its control command and answers its request, else which step
// went wrong.
int as_another_user(const std::string &sock)
{
    if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
        return 10;
    const int fd = kestd_connect(sock);
    if (fd < 0)
        return 11;
    int32_t status = 0;
    std::string text;
    if (!kestd_control_call(fd, "mute", status, text, 5000))
        return 12;
    if (status != KESTD_STATUS_CONTROL_REFUSED || text.find("only from uid") == std::string::npos)
        return 13;
    const bytes req =
        kest_frame_bytes(KEST_FRAME_REQUEST, 7, KEST_WIFI_WORK_MODE_GET, 0, nullptr, 0, kRoom);
    kest_frame_header h{};
    std::vector<uint8_t> payload;
    if (!kest_write_full(fd, req.data(), req.size()) || !kest_read_frame(fd, h, payload, 5000) ||
        h.kind != KEST_FRAME_RESPONSE || h.txn != 7)
        return 14;
    return 0;
}

// Requests are for everyone who may open the socket; faults, drops and the
// dump (which shows the passphrases) are not.
TEST(KestdAccess, ControlCommandsFromAnotherUserAreRefused)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root, to act as another user";
    service s;
    ASSERT_TRUE(s.start());
    // Let the other user reach the socket: search on the folder, the group.
    ASSERT_EQ(::chmod(s.dir.c_str(), 0711), 0);
    ASSERT_EQ(::chown(s.sock.c_str(), static_cast<uid_t>(-1), kNobody), 0);

    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(as_another_user(s.sock));
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "step that failed (see as_another_user)";

    client own(s.sock);
    EXPECT_NE(own.control("dump faults").find("muted 0"), std::string::npos);
    own.control("mute"); // the service's own user may
    own.control("unmute");
    EXPECT_EQ(s.stop(), 0);
    EXPECT_NE(s.err_text.find("refused a control command from uid 65534"), std::string::npos)
        << s.err_text;
}

TEST(KestdAccess, TheDefaultSocketIsInTheRuntimeFolder)
{
    struct row {
        const char *name;
        const char *socket_env; // null: unset
        const char *runtime_dir;
        std::string path;
    };
    // No shared name in /tmp: a private folder of the user's own.
    const std::string own = "/tmp/vg-kestd-" + std::to_string(::geteuid()) + "/kestd.sock";
    const row rows[] = {
        {"runtime_folder", nullptr, "/run/user/1000", "/run/user/1000/vg-kestd.sock"},
        {"no_runtime_folder", nullptr, nullptr, own},
        {"empty_runtime_folder", nullptr, "", own},
        {"relative_runtime_folder", nullptr, "run", own},
        {"socket_named", "/srv/k.sock", "/run/user/1000", "/srv/k.sock"},
    };
    const auto put = [](const char *name, const char *value) {
        if (value != nullptr)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
    };
    const char *saved_socket = std::getenv(KEST_SOCKET_ENV);
    const std::string kept_socket = saved_socket ? saved_socket : "";
    const char *saved_runtime = std::getenv("XDG_RUNTIME_DIR");
    const std::string kept_runtime = saved_runtime ? saved_runtime : "";
    // A system service's socket on this host comes before the user's own.
    struct stat sb;
    const bool system_socket = ::lstat(KEST_SYSTEM_SOCKET, &sb) == 0 && S_ISSOCK(sb.st_mode) &&
                               kest_folder_trusted(KEST_SYSTEM_SOCKET_DIR, 0);
    for (const row &r : rows) {
        SCOPED_TRACE(r.name);
        put(KEST_SOCKET_ENV, r.socket_env);
        put("XDG_RUNTIME_DIR", r.runtime_dir);
        EXPECT_EQ(kestd_socket_path(nullptr),
                  system_socket && r.socket_env == nullptr ? KEST_SYSTEM_SOCKET : r.path);
        EXPECT_EQ(kestd_socket_path("/given.sock"), "/given.sock");
    }
    put(KEST_SOCKET_ENV, saved_socket ? kept_socket.c_str() : nullptr);
    put("XDG_RUNTIME_DIR", saved_runtime ? kept_runtime.c_str() : nullptr);
}

// A socket that another user's process serves is refused before a byte is
// sent, with the socket and that user named; unless that user is the one
// VG_KEST_SERVICE_USER names.
TEST(KestdAccess, AServiceRunByAnotherUserIsNotTrusted)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root, to act as another user";
    struct row {
        const char *name;
        const char *service_user; // null: unset
        bool trusted;
    };
    const row rows[] = {{"stranger", nullptr, false},
                        {"named_by_number", "65534", true},
                        {"named", "nobody", true}};
    for (const row &r : rows) {
        SCOPED_TRACE(r.name);
        service s; // only its private folder
        ASSERT_EQ(::chown(s.dir.c_str(), kNobody, kNobody), 0);
        r.service_user ? ::setenv(KEST_SERVICE_USER_ENV, r.service_user, 1)
                       : ::unsetenv(KEST_SERVICE_USER_ENV);
        const pid_t child = impostor::start(s.sock, kNobody);
        ASSERT_GT(child, 0);
        std::string why;
        const int fd = kestd_connect(s.sock, &why);
        EXPECT_EQ(fd >= 0, r.trusted) << why;
        if (!r.trusted) {
            EXPECT_NE(why.find(s.sock + ": it runs as user nobody (uid 65534)"), std::string::npos)
                << why;
        }
        if (fd >= 0)
            ::close(fd);
        EXPECT_EQ(impostor::outcome(child), 0) << "the client sent something to the impostor";
    }
    ::unsetenv(KEST_SERVICE_USER_ENV);
}

// kestd makes its socket only in a folder where no one else could take the
// name first or put a socket of theirs in its place.
TEST(KestdAccess, TheSocketIsMadeOnlyInAFolderNoOneElseCanWrite)
{
    struct row {
        const char *name;
        mode_t mode;
        bool listens;
    };
    const row rows[] = {
        {"private", 0700, true}, {"others_write", 0777, false}, {"sticky_shared", 01777, false}};
    for (const row &r : rows) {
        SCOPED_TRACE(r.name);
        service s;
        // The state in a folder of its own: a start that fails leaves none.
        const std::string folder = s.dir + "/private";
        ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
        s.state = folder + "/state";
        ASSERT_EQ(::chmod(s.dir.c_str(), r.mode), 0);
        EXPECT_EQ(s.start(true), r.listens);
        if (r.listens) {
            EXPECT_EQ(s.stop(), 0);
            continue;
        }
        EXPECT_NE(s.wait_exit(), 0);
        EXPECT_NE(s.err_text.find("will not listen in " + s.dir), std::string::npos) << s.err_text;
        struct stat sb;
        EXPECT_NE(::lstat(s.state.c_str(), &sb), 0)
            << "the state made by the failed start was left";
    }
}

// The client's own refusals: a path that does not fit a socket address is
// not cut to one that might, and a request that cannot be sent has no answer.
TEST(KestdClient, APathTooLongForASocketIsRefusedAsSuch)
{
    errno = 0;
    EXPECT_EQ(kestd_connect("/tmp/" + std::string(sizeof(sockaddr_un{}.sun_path), 'x')), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST(KestdClient, NoAnswerWhenTheRequestCannotBeSent)
{
    int pair[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    ::close(pair[1]);
    int32_t status = 12345;
    std::string text = "untouched";
    EXPECT_FALSE(kestd_control_call(pair[0], "ping", status, text, 100));
    EXPECT_EQ(status, 12345);
    EXPECT_EQ(text, "untouched");
    ::close(pair[0]);
}

} // namespace
