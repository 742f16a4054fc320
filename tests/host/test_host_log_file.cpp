// Where the file sink's lines may go. Each group runs in a process of its
// own (the sink reads its settings once), with VG_LOG_FILE naming a file in
// the build folder:
//  LogPrivate  no VG_LOG_LEVEL: the default level, and a file of mode 0600
//              made under umask 000;
//  LogTrace    VG_LOG_LEVEL=4: the trace is written when asked for;
//  LogLink     the name is a symbolic link, planted before the first line;
//  LogFifo     the name is a FIFO, with a reader waiting on it;
//  LogRotate   the file is renamed between two lines.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "vg_log.h"

namespace {

std::string log_path()
{
    const char *path = std::getenv("VG_LOG_FILE");
    return path != nullptr ? path : "";
}

std::string file_text(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// One line per level 1 to 4, each naming its level, on a fresh file.
void log_each_level()
{
    for (int level = 1; level <= 4; ++level)
        __vg_log("vg_mgmt_test", level, "levels", level, "line of level %d", level);
}

class LogSink : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (log_path().empty())
            GTEST_SKIP() << "runs with VG_LOG_FILE set";
        ::unlink(log_path().c_str());
    }
};

using LogPrivate = LogSink;
using LogTrace = LogSink;
using LogLink = LogSink;
using LogFifo = LogSink;
using LogRotate = LogSink;

// The trace prints passphrases and keys: it stays out unless asked for, and
// the file is the user's alone whatever the umask.
TEST_F(LogPrivate, TheTraceStaysOutAndTheFileIsTheUsersAlone)
{
    const mode_t old_mask = ::umask(0);
    log_each_level();
    ::umask(old_mask);
    const std::string text = file_text(log_path());
    for (int level = 1; level <= 3; ++level)
        EXPECT_NE(text.find("line of level " + std::to_string(level)), std::string::npos) << level;
    EXPECT_EQ(text.find("line of level 4"), std::string::npos);
    struct stat st {};
    ASSERT_EQ(::lstat(log_path().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
}

TEST_F(LogTrace, TheTraceIsWrittenWhenAskedFor)
{
    log_each_level();
    EXPECT_NE(file_text(log_path()).find("line of level 4"), std::string::npos);
}

// A link planted under the file's name must not lead the lines, and the
// secrets in them, into the file it points to.
TEST_F(LogLink, APlantedLinkIsNotFollowed)
{
    const std::string victim = log_path() + ".victim";
    std::ofstream(victim, std::ios::trunc) << "not yours\n";
    ASSERT_EQ(::symlink(victim.c_str(), log_path().c_str()), 0);
    log_each_level();
    EXPECT_EQ(file_text(victim), "not yours\n");
    ::unlink(victim.c_str());
    ::unlink(log_path().c_str());
}

// A FIFO planted under the name is not written to: it could hand the lines
// to another user, or stall the caller with nobody reading.
TEST_F(LogFifo, AFifoReceivesNothing)
{
    ASSERT_EQ(::mkfifo(log_path().c_str(), 0666), 0);
    const int reader = ::open(log_path().c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    log_each_level();
    char buf[64];
    EXPECT_LE(::read(reader, buf, sizeof buf), 0) << "a line went into the FIFO";
    ::close(reader);
    ::unlink(log_path().c_str());
}

// After a rotation (the file renamed away), the next lines go to a new file
// under the name, not to the old one.
TEST_F(LogRotate, LinesFollowTheNameAfterARename)
{
    __vg_log("vg_mgmt_test", 1, "rotate", 1, "before the rotation");
    const std::string old_file = log_path() + ".1";
    ASSERT_EQ(::rename(log_path().c_str(), old_file.c_str()), 0);
    __vg_log("vg_mgmt_test", 2, "rotate", 1, "after the rotation");
    const std::string old_text = file_text(old_file);
    const std::string new_text = file_text(log_path());
    EXPECT_NE(old_text.find("before the rotation"), std::string::npos) << old_text;
    EXPECT_EQ(old_text.find("after the rotation"), std::string::npos) << old_text;
    EXPECT_NE(new_text.find("after the rotation"), std::string::npos) << new_text;
    ::unlink(old_file.c_str());
}

} // namespace
