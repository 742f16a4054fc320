// kestd's state file: kept across restarts, refused when damaged, written
// safely beside files that others planted, held by one service at a time,
// and every start-up failure named with its cause.
#include "kestd_test_support.h"

#include "kestd_store.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace {

using namespace kestd_test;

std::string file_text(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

TEST(KestdState, SurvivesARestart)
{
    service s;
    ASSERT_TRUE(s.start(true));
    {
        client c(s.sock);
        EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_SET, {2}), 0);
        data_call_apn_add_set_req add{};
        add.profile_type = 1;
        std::strcpy(add.apn_name, "kept");
        EXPECT_EQ(c.error_of(KEST_DATA_CALL_APN_ADD_SET, raw(add)), 0);
    }
    EXPECT_EQ(s.stop(SIGINT), 0);
    ASSERT_TRUE(s.start(true));
    client c(s.sock);
    EXPECT_EQ(c.get<wifi_work_mode_get_resp>(KEST_WIFI_WORK_MODE_GET).work_mode, 2);
    EXPECT_STREQ(c.get<data_call_apn_get_resp>(KEST_DATA_CALL_APN_GET, {1, 0}).apn_name, "kept");
}

TEST(KestdState, ADamagedFileIsRefusedAndKept)
{
    struct row {
        const char *name;
        void (*damage)(std::string &file);
    };
    // The record ends the file; the version is the first copy of its number.
    const row rows[] = {
        {"refused_value",
         [](std::string &f) {
             f[f.size() - sizeof(kestd_config) + offsetof(kestd_config, work_mode)] = 9;
         }},
        {"truncated", [](std::string &f) { f.resize(f.size() - 10); }},
        {"other_version",
         [](std::string &f) {
             const uint32_t v = kKestdStoreVersion;
             f[f.find(std::string(reinterpret_cast<const char *>(&v), sizeof v))] ^= 1;
         }},
        {"not_a_state_file", [](std::string &f) { f = "work_mode=2\n"; }},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.name);
        service s;
        ASSERT_TRUE(s.start(true));
        EXPECT_EQ(s.stop(), 0);
        std::ifstream in(s.state, std::ios::binary);
        std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        r.damage(file);
        std::ofstream(s.state, std::ios::binary | std::ios::trunc) << file;

        EXPECT_FALSE(s.start(true));
        EXPECT_NE(s.wait_exit(), 0);
        EXPECT_NE(s.err_text.find("damaged"), std::string::npos) << s.err_text;
        std::ifstream again(s.state, std::ios::binary);
        EXPECT_EQ(
            std::string((std::istreambuf_iterator<char>(again)), std::istreambuf_iterator<char>()),
            file);
        struct stat sb;
        EXPECT_NE(::stat(s.sock.c_str(), &sb), 0) << "no socket for a service that did not start";
    }
}

// Files planted under the name the old code wrote through ("FILE.tmp"): a
// link must not lead the service to write its target, and a file of someone
// else must not become the state file. The service runs under umask 000.
TEST(KestdState, FilesPlantedBesideTheStateAreLeftAlone)
{
    struct row {
        const char *name;
        bool link; // a symbolic link to a victim file, else a planted file
    };
    const row rows[] = {{"symbolic_link", true}, {"regular_file", false}};
    for (const row &r : rows) {
        SCOPED_TRACE(r.name);
        service s;
        const std::string planted = s.state + ".tmp";
        const std::string victim = s.dir + "/victim";
        std::ofstream(r.link ? victim : planted) << "not yours\n";
        if (r.link)
            ASSERT_EQ(::symlink(victim.c_str(), planted.c_str()), 0);
        else
            ASSERT_EQ(::chmod(planted.c_str(), 0666), 0);

        const mode_t old_mask = ::umask(0);
        const bool started = s.start(true);
        ::umask(old_mask);
        ASSERT_TRUE(started);
        {
            client c(s.sock);
            EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_SET, {3}), 0);
        }
        EXPECT_EQ(s.stop(), 0);
        EXPECT_EQ(s.err_text, "");

        EXPECT_TRUE(file_text(r.link ? victim : planted) == "not yours\n")
            << "the planted file was written";
        struct stat sb;
        ASSERT_EQ(::lstat(planted.c_str(), &sb), 0);
        EXPECT_EQ(S_ISLNK(sb.st_mode), r.link);
        ASSERT_EQ(::lstat(s.state.c_str(), &sb), 0);
        EXPECT_TRUE(S_ISREG(sb.st_mode));
        EXPECT_EQ(sb.st_mode & 07777, 0600u);
        EXPECT_EQ(sb.st_uid, ::geteuid());
        EXPECT_NE(file_text(s.state).find("KESTDCFG"), std::string::npos);
    }
}

// Two services on one state file would each overwrite the other's changes:
// the second refuses to start and says why, the first goes on.
TEST(KestdState, ASecondServiceOnTheSameFileRefusesToStart)
{
    service first;
    ASSERT_TRUE(first.start(true));
    int err_fd = -1;
    const kestd_launch second = launch_kestd(KESTD_PATH, first.dir + "/second.sock",
                                             {"--state", first.state}, 5000, &err_fd);
    EXPECT_FALSE(second.listening);
    if (second.listening)
        ::kill(second.pid, SIGTERM);
    int status = 0;
    ASSERT_EQ(::waitpid(second.pid, &status, 0), second.pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 0);
    const std::string err = read_all(err_fd);
    ::close(err_fd);
    EXPECT_NE(err.find("in use by another kestd"), std::string::npos) << err;

    {
        client c(first.sock);
        EXPECT_EQ(c.error_of(KEST_WIFI_WORK_MODE_SET, {4}), 0);
    }
    EXPECT_EQ(first.stop(), 0);
    ASSERT_TRUE(first.start(true)) << "the lock ends with its service";
    client c(first.sock);
    EXPECT_EQ(c.get<wifi_work_mode_get_resp>(KEST_WIFI_WORK_MODE_GET).work_mode, 4);
}

// A state file that cannot be used at all: the system's own reason, not a
// guess about the contents.
TEST(KestdState, StartErrorsNameTheRealCause)
{
    struct row {
        const char *name;
        std::string (*prepare)(const service &s); // makes the case; the path to give kestd
        int cause;                                // the errno whose text must appear
    };
    const row rows[] = {
        {"directory",
         [](const service &s) { return ::mkdir(s.state.c_str(), 0700) == 0 ? s.state : ""; },
         EISDIR},
        {"symbolic_link",
         [](const service &s) {
             return ::symlink("/etc/passwd", s.state.c_str()) == 0 ? s.state : "";
         },
         ELOOP},
        {"missing_folder", [](const service &s) { return s.dir + "/gone/state"; }, ENOENT},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.name);
        service s;
        s.state = r.prepare(s);
        ASSERT_FALSE(s.state.empty());
        EXPECT_FALSE(s.start(true));
        EXPECT_NE(s.wait_exit(), 0);
        EXPECT_NE(s.err_text.find(std::strerror(r.cause)), std::string::npos) << s.err_text;
        EXPECT_EQ(s.err_text.find("not a kestd state file"), std::string::npos) << s.err_text;
    }
}

// A state where another user could put a file of theirs is refused, with
// nothing left behind: no lock, no state, no socket.
TEST(KestdState, AStateOthersCouldPlantIsRefused)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root, to plant another user's file";
    constexpr uid_t kNobody = 65534;
    struct row {
        const char *name;
        mode_t folder_mode;
        const char *planted; // the state file's content before the start; null: none
        uid_t planted_owner;
        const char *refusal; // null: starts
    };
    const row rows[] = {
        {"folder_others_write", 0777, nullptr, 0, "can be written by other users"},
        {"sticky_folder_others_file", 01777, "KESTDCFG", kNobody, "belongs to uid 65534"},
        {"sticky_folder_own_file", 01777, nullptr, 0, nullptr},
        {"refused_file_leaves_no_lock", 0700, "root:*:19000:0:99999:7:::\n", 0, "damaged"},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.name);
        service s;
        const std::string folder = s.dir + "/shared";
        ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
        ASSERT_EQ(::chmod(folder.c_str(), r.folder_mode), 0);
        s.state = folder + "/state";
        if (r.planted != nullptr) {
            std::ofstream(s.state) << r.planted;
            ASSERT_EQ(::chown(s.state.c_str(), r.planted_owner, r.planted_owner), 0);
        }
        const bool started = s.start(true);
        EXPECT_EQ(started, r.refusal == nullptr) << s.err_text;
        if (started) {
            EXPECT_EQ(s.stop(), 0);
            continue;
        }
        EXPECT_NE(s.wait_exit(), 0);
        EXPECT_NE(s.err_text.find(r.refusal), std::string::npos) << s.err_text;
        const std::string left = "ls -A '" + folder + "' | grep -qv '^state$'";
        EXPECT_NE(std::system(left.c_str()), 0) << "files left in " << folder;
        struct stat sb;
        EXPECT_EQ(::stat(s.state.c_str(), &sb) == 0, r.planted != nullptr);
    }
}

} // namespace
