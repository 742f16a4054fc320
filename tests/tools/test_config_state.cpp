// vg-mgmt config's private state folder: made closed to others, refused when
// it is not; its files private, written whole, never through a link; one
// apply lock per module.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "config_state.h"

namespace {

using vgcfg::apply_lock;
using vgcfg::state_store;

struct tmp_dir {
    std::string path;
    tmp_dir()
    {
        char t[] = "/tmp/vg-state-test-XXXXXX";
        path = ::mkdtemp(t);
    }
    ~tmp_dir() { EXPECT_EQ(std::system(("rm -rf '" + path + "'").c_str()), 0); }
};

mode_t mode_of(const std::string &p)
{
    struct stat st {};
    ::lstat(p.c_str(), &st);
    return st.st_mode & 07777;
}

TEST(ConfigState, TheFolderIsMadePrivateOrRefused)
{
    struct row {
        const char *name;
        const char *prepare; // shell commands in a fresh folder
        const char *folder;  // the one to open, in it ('/' first: as it is)
        bool ok;
    };
    const row rows[] = {
        {"missing_folders_made_0700", "true", "a/b", true},
        {"open_to_others", "mkdir -m 755 o", "o", false},
        {"a_link", "mkdir -m 700 t && ln -s t l", "l", false},
        {"relative", "true", "/state", false},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.name);
        tmp_dir t;
        ASSERT_EQ(0, std::system(("cd '" + t.path + "' && " + r.prepare).c_str()));
        const std::string dir = *r.folder == '/' ? r.folder + 1 : t.path + "/" + r.folder;
        state_store st;
        std::string problem;
        EXPECT_EQ(st.open(dir, problem), r.ok) << problem;
        EXPECT_TRUE(!r.ok || mode_of(dir) == 0700u);
    }
}

TEST(ConfigState, FilesArePrivateAndNeverFollowALink)
{
    tmp_dir t;
    state_store st;
    std::string problem;
    ASSERT_TRUE(st.open(t.path + "/s", problem)) << problem;
    ASSERT_TRUE(st.write("j", "first", problem)) << problem;
    EXPECT_EQ(mode_of(t.path + "/s/j"), 0600u);
    EXPECT_EQ(st.read("j").value_or(""), "first");

    std::ofstream(t.path + "/victim") << "keep";
    ASSERT_EQ(::symlink((t.path + "/victim").c_str(), (t.path + "/s/k").c_str()), 0);
    ASSERT_EQ(::symlink((t.path + "/victim").c_str(), (t.path + "/s/k.new").c_str()), 0);
    EXPECT_FALSE(st.read("k").has_value());
    ASSERT_TRUE(st.write("k", "mine", problem)) << problem;
    EXPECT_EQ(st.read("k").value_or(""), "mine");
    std::ifstream victim(t.path + "/victim");
    std::string v;
    victim >> v;
    EXPECT_EQ(v, "keep");
}

// A file that is not a private plain file of this user is not read: a
// journal that others could write would be replayed, a FIFO would hang.
TEST(ConfigState, OnlyPrivatePlainFilesAreRead)
{
    tmp_dir t;
    state_store st;
    std::string problem;
    ASSERT_TRUE(st.open(t.path, problem)) << problem;
    ASSERT_EQ(
        0, std::system(
               ("cd '" + t.path + "' && echo x > open && chmod 644 open && mkfifo fifo").c_str()));
    EXPECT_FALSE(st.read("open").has_value());
    EXPECT_FALSE(st.read("fifo").has_value());
}

TEST(ConfigState, OneApplyLockPerModule)
{
    tmp_dir t;
    state_store st;
    std::string problem;
    ASSERT_TRUE(st.open(t.path, problem)) << problem;
    apply_lock first, second;
    bool busy = false;
    ASSERT_TRUE(first.take(st, busy, problem)) << problem;
    EXPECT_FALSE(second.take(st, busy, problem));
    EXPECT_TRUE(busy);
    EXPECT_NE(problem.find("another apply is in progress"), std::string::npos);
}

} // namespace
