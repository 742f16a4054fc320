// The host log sinks and vg_ipv4_ntoa. The LogFile tests run with
// VG_LOG_FILE set and VG_LOG_LEVEL=3; LogQuiet runs with no destination.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <barrier>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

#include "vg_log.h"

namespace {
// The lines appended to the log file while `write` ran.
std::vector<std::string> lines_written_by(const std::function<void()> &write)
{
    const char *path = getenv("VG_LOG_FILE");
    struct stat st {};
    const off_t start = stat(path, &st) == 0 ? st.st_size : 0;
    write();
    std::ifstream in(path, std::ios::binary);
    in.seekg(start);
    std::stringstream text;
    text << in.rdbuf();
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(text, line))
        lines.push_back(line);
    EXPECT_TRUE(text.str().empty() || text.str().back() == '\n') << "last line not ended";
    return lines;
}

class LogFile : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (getenv("VG_LOG_FILE") == nullptr)
            GTEST_SKIP() << "runs with VG_LOG_FILE and VG_LOG_LEVEL=3";
    }
};

// time [level] file:line function: message
const std::regex kLine(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[(\d)\] (\S+):(\d+) (\S+): (.*))");

TEST_F(LogFile, ManyThreadsWriteWholeLinesAndLevelsAboveTheLimitStayOut)
{
    constexpr int kThreads = 8;
    constexpr int kLines = 200;
    const auto lines = lines_written_by([] {
        std::vector<std::thread> writers;
        for (int t = 0; t < kThreads; ++t) {
            writers.emplace_back([t] {
                const std::string filler(300, static_cast<char>('a' + t));
                for (int i = 0; i < kLines; ++i)
                    __vg_log("vg_mgmt_test", 100 + t, "writer", 1 + i % 4, "thread %d line %d %s",
                             t, i, filler.c_str());
            });
        }
        for (auto &w : writers)
            w.join();
    });

    ASSERT_EQ(static_cast<size_t>(kThreads * kLines * 3 / 4), lines.size());
    int next[kThreads] = {};
    const std::regex message(R"(thread (\d) line (\d+) ([a-z]+))");
    for (const std::string &line : lines) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(line, m, kLine)) << line;
        std::smatch msg;
        const std::string text = m[5];
        ASSERT_TRUE(std::regex_match(text, msg, message)) << line;
        const int t = std::stoi(msg[1]);
        const int i = std::stoi(msg[2]);
        while (next[t] % 4 == 3) // level 4 lines are filtered out
            ++next[t];
        EXPECT_EQ(next[t]++, i) << line;
        EXPECT_EQ(std::to_string(1 + i % 4), m[1].str());
        EXPECT_EQ("vg_mgmt_test", m[2].str());
        EXPECT_EQ(std::to_string(100 + t), m[3].str());
        EXPECT_EQ("writer", m[4].str());
        EXPECT_EQ(std::string(300, static_cast<char>('a' + t)), msg[3].str());
    }
}

struct MessageRow {
    const char *what;
    std::string value;
    std::string logged; // the message part of the one line written
};

TEST_F(LogFile, EveryCallIsOneLine)
{
    const std::string huge(10000, 'x');
    const MessageRow rows[] = {
        {"plain", "ready", "value ready"},
        {"line break in a value", "two\nparts\r", "value two parts "},
        {"a value that drives a terminal",
         "\x1b[2J\x07"
         "bell\x7f",
         "value \\x1b[2J\\x07bell\\x7f"},
        {"longer than a line", huge, ""}, // cut, checked by length below
    };
    for (const MessageRow &row : rows) {
        const auto lines = lines_written_by(
            [&] { __vg_log("vg_mgmt_test", 7, "one_line", 1, "value %s", row.value.c_str()); });
        ASSERT_EQ(1u, lines.size()) << row.what;
        std::smatch m;
        ASSERT_TRUE(std::regex_match(lines[0], m, kLine)) << row.what;
        if (!row.logged.empty())
            EXPECT_EQ(row.logged, m[5].str()) << row.what;
        else
            EXPECT_EQ(4094u, lines[0].size()) << row.what;
    }
}

TEST_F(LogFile, SystemSinkWritesNothingToTheFile)
{
    const auto lines = lines_written_by(
        [] { vg_sys_log_print(3, 6, "vg_mgmt_cli", "[%s  %d]: failed %d", "f", 1, 2); });
    EXPECT_TRUE(lines.empty());
}

TEST(LogQuiet, NoDestinationWritesNothing)
{
    if (getenv("VG_LOG_FILE") != nullptr && getenv("VG_LOG_FILE")[0] != '\0')
        GTEST_SKIP() << "runs without VG_LOG_FILE";
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    __vg_log("vg_mgmt_test", 1, "quiet", 1, "nothing %d", 1);
    vg_sys_log_print(3, 6, "vg_mgmt_cli", "[%s  %d]: nothing", "quiet", 1);
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
}

// ---------------------------------------------------------------------------
// vg_ipv4_ntoa

TEST(Ipv4Text, ReadsTheAddressInNetworkOrder)
{
    const char *rows[] = {"192.168.1.1", "0.0.0.0", "255.255.255.255", "10.0.200.7", "1.2.3.4"};
    for (const char *text : rows)
        EXPECT_STREQ(text, vg_ipv4_ntoa(inet_addr(text)));
}

TEST(Ipv4Text, EachThreadKeepsItsOwnText)
{
    constexpr int kThreads = 8;
    std::barrier all_formatted(kThreads);
    std::vector<std::string> seen(kThreads);
    std::vector<const char *> where(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            const std::string mine = "10.0.0." + std::to_string(t + 1);
            const char *text = vg_ipv4_ntoa(inet_addr(mine.c_str()));
            all_formatted.arrive_and_wait(); // every thread has formatted its own
            seen[t] = text;
            where[t] = text;
        });
    }
    for (auto &th : threads)
        th.join();
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ("10.0.0." + std::to_string(t + 1), seen[t]);
        for (int u = 0; u < t; ++u)
            EXPECT_NE(where[u], where[t]);
    }
}
} // namespace
