// An indication that finds the client's queue full behind a slow callback
// is dropped, but never silently: the log sinks tell how many. Runs with
// VG_LOG_FILE naming a file of its own.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>

#include "scripted_service.h"

namespace {
using namespace vg_test;

constexpr uint32_t kSent = 3000;

// A callback that holds the first indication until it is let go.
struct SlowCallback {
    std::mutex m;
    std::condition_variable go;
    bool let_go = false;
    std::atomic<uint32_t> delivered{0};

    static void cb(qmi_client_type, uint32_t, void *, uint32_t, void *data)
    {
        auto &s = *static_cast<SlowCallback *>(data);
        std::unique_lock<std::mutex> hold(s.m);
        s.go.wait(hold, [&] { return s.let_go; });
        ++s.delivered;
    }
    void release()
    {
        std::lock_guard<std::mutex> hold(m);
        let_go = true;
        go.notify_all();
    }
};

// The sum of the counts in the transport's drop lines ("[1] qmi_cci:LINE
// FUNCTION: dropped N indications: ..."), and how many lines.
uint64_t dropped_in_log(const std::string &path, int &lines)
{
    std::ifstream in(path);
    uint64_t sum = 0;
    lines = 0;
    std::string line;
    while (std::getline(in, line)) {
        const size_t source = line.find(" [1] qmi_cci:");
        const size_t what = line.find(": dropped ", source == std::string::npos ? 0 : source);
        if (source == std::string::npos || what == std::string::npos)
            continue;
        sum += std::stoull(line.substr(what + 10));
        ++lines;
    }
    return sum;
}

// Message 1 is answered and followed by kSent indications; message 2 is
// answered after them, so its answer says every indication has come in.
TEST(IndicationLoss, DropsBehindASlowCallbackAreReportedWithTheirCount)
{
    const char *log = std::getenv("VG_LOG_FILE");
    if (log == nullptr || log[0] == '\0')
        GTEST_SKIP() << "runs with VG_LOG_FILE set";
    ::unlink(log);
    Service service([](Conn &c, const Frame &f) {
        c.answer(f, nullptr, 0);
        for (uint32_t seq = 0; f.h.msg_id == 1 && seq < kSent; ++seq) {
            const uint32_t payload[4] = {seq, 0, 0, 0};
            if (!c.indicate(KEST_WIFI_AP_STA_IND, payload, sizeof payload))
                return;
        }
    });
    SlowCallback slow;
    qmi_client_type client = connect_client(SlowCallback::cb, &slow);
    ASSERT_EQ(0, qmi_client_send_msg_sync(client, 1, nullptr, 0, nullptr, 0, 5000));
    ASSERT_EQ(0, qmi_client_send_msg_sync(client, 2, nullptr, 0, nullptr, 0, 10000));

    // The first indication is in the callback, the queue is full, the rest
    // was dropped.
    slow.release();
    constexpr uint32_t kKept = 1 + QMI_HOST_MAX_QUEUED_INDICATIONS;
    EXPECT_TRUE(service.wait_until([&] { return slow.delivered == kKept; }, 10000ms));
    EXPECT_EQ(0, qmi_client_release(client));
    EXPECT_EQ(kKept, slow.delivered.load());

    int lines = 0;
    EXPECT_EQ(kSent - kKept, dropped_in_log(log, lines));
    EXPECT_GE(lines, 1);
    EXPECT_LE(lines, 2) << "one line per run of drops, not one per indication";
}
} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    const vg_test::SocketFolder folder;
    return RUN_ALL_TESTS();
}
