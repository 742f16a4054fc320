// kestd under load from hostile or careless local clients: more clients than
// descriptors, more than the cap, a flood of requests while answers are
// delayed, a frame that is never finished. Each time the service must stay
// responsive, idle when there is nothing to do, and bounded in memory.
#include "kestd_test_support.h"

#include "kestd_server.h"
#include "kestd_state.h"

#include <grp.h>
#include <sys/un.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>

namespace {

using namespace kestd_test;
using steady = std::chrono::steady_clock;

// Processor time the process has used so far (user and system), in ms.
long cpu_ms(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string skip;
    for (int i = 3; i < 14; ++i) // fields 3 to 13
        fields >> skip;
    long utime = 0, stime = 0;
    fields >> utime >> stime;
    return (utime + stime) * 1000 / ::sysconf(_SC_CLK_TCK);
}

// Resident memory of the process, in kB.
long rss_kb(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(in, line))
        if (line.rfind("VmRSS:", 0) == 0)
            return std::stol(line.substr(6));
    return -1;
}

// A connection that never waits in connect: -1 when the service's queue of
// waiting clients is full.
int connect_at_once(const std::string &path)
{
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", path.c_str());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

enum class outcome { served, refused, silent };

// What became of one request: answered, or its connection closed.
outcome await(int fd, steady::time_point deadline)
{
    kest_frame_header h{};
    std::vector<uint8_t> payload;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - steady::now()).count();
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, static_cast<int>(std::max<long long>(left, 0))) != 1)
        return outcome::silent;
    uint8_t probe;
    const ssize_t r = ::recv(fd, &probe, 1, MSG_PEEK);
    if (r <= 0)
        return outcome::refused;
    return kest_read_frame(fd, h, payload, 2000) && h.kind == KEST_FRAME_RESPONSE
               ? outcome::served
               : outcome::refused;
}

// A new client gets its answer within the deadline, once the service has
// seen the others go.
bool served_again(const std::string &sock, int deadline_ms)
{
    const auto until = steady::now() + std::chrono::milliseconds(deadline_ms);
    do {
        client c(sock);
        if (c.fd >= 0 && c.error_of(KEST_WIFI_WORK_MODE_GET, {}) == 0)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (steady::now() < until);
    return false;
}

const bytes work_mode_get = kest_frame_bytes(KEST_FRAME_REQUEST, 1, KEST_WIFI_WORK_MODE_GET, 0,
                                             nullptr, 0, sizeof(wifi_work_mode_get_resp));

// 100 clients against a limit of 64 descriptors: each one is served or
// refused at once, none waits out a time-out, and while every descriptor
// is taken a further client is refused without the service spinning.
TEST(KestdLimits, DescriptorExhaustionRefusesClientsWithoutSpinning)
{
    service s;
    ASSERT_TRUE(s.start_with({}, 64));
    std::vector<int> fds;
    int refused = 0, served = 0, silent = 0;
    for (int i = 0; i < 100; ++i) {
        const int fd = connect_at_once(s.sock);
        if (fd < 0 || !kest_write_full(fd, work_mode_get.data(), work_mode_get.size()))
            ++refused;
        if (fd >= 0)
            fds.push_back(fd);
    }
    const auto deadline = steady::now() + std::chrono::seconds(10);
    for (int fd : fds) {
        const outcome o = await(fd, deadline);
        served += o == outcome::served;
        refused += o == outcome::refused;
        silent += o == outcome::silent;
    }
    EXPECT_EQ(silent, 0) << "clients left waiting";
    EXPECT_GT(served, 0);
    EXPECT_GT(refused, 0);

    // Every descriptor the service may have is taken: one more client.
    const long cpu_before = cpu_ms(s.pid);
    const auto window = steady::now();
    const int extra = connect_at_once(s.sock);
    if (extra >= 0) {
        kest_write_full(extra, work_mode_get.data(), work_mode_get.size());
        EXPECT_NE(await(extra, steady::now() + std::chrono::seconds(3)), outcome::silent);
        ::close(extra);
    }
    std::this_thread::sleep_until(window +
                                  std::chrono::seconds(1)); // a window to measure idleness in
    EXPECT_LT(cpu_ms(s.pid) - cpu_before, 300) << "the service spins";

    for (int fd : fds)
        ::close(fd);
    EXPECT_TRUE(served_again(s.sock, 5000));
    EXPECT_EQ(s.stop(), 0);
    EXPECT_NE(s.err_text.find("refused a client"), std::string::npos) << s.err_text;
}

TEST(KestdLimits, ClientsBeyondTheCapAreRefusedAtOnce)
{
    service s;
    ASSERT_TRUE(s.start_with({"--max-clients", "2"}));
    auto a = std::make_unique<client>(s.sock);
    client b(s.sock);
    EXPECT_EQ(a->error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
    EXPECT_EQ(b.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0);
    client third(s.sock);
    EXPECT_TRUE(third.closed_by_peer(2000));
    a.reset();
    EXPECT_TRUE(served_again(s.sock, 5000)) << "a slot frees when a client goes";
    EXPECT_EQ(s.stop(), 0);
    EXPECT_NE(s.err_text.find("2 clients connected, the limit"), std::string::npos) << s.err_text;
}

// 20000 requests whose answers are delayed by ten minutes: the service
// takes a bounded number and leaves the rest in the client's socket, so its
// memory stays small; other clients are still served.
TEST(KestdLimits, DelayedAnswersStayBoundedPerClient)
{
    service s;
    ASSERT_TRUE(s.start());
    client ctl(s.sock);
    ctl.control("delay 600000");
    const long rss_before = rss_kb(s.pid);
    auto flood = std::make_unique<client>(s.sock);
    ::fcntl(flood->fd, F_SETFL, O_NONBLOCK);
    const bytes one =
        kest_frame_bytes(KEST_FRAME_REQUEST, 1, KEST_WIFI_STA_INFO_GET, 0, nullptr, 0, kRoom);
    int sent = 0;
    for (size_t off = 0; sent < 20000;) {
        const ssize_t w = ::send(flood->fd, one.data() + off, one.size() - off, MSG_NOSIGNAL);
        if (w > 0 && (off += static_cast<size_t>(w)) == one.size()) {
            off = 0;
            ++sent;
        } else if (w < 0 && errno == EAGAIN) {
            pollfd p{flood->fd, POLLOUT, 0};
            if (::poll(&p, 1, 500) == 0)
                break; // the service has stopped reading this client
        } else if (w < 0) {
            break;
        }
    }
    ctl.control("ping"); // the service has gone round its loop since
    const long grown_kb = rss_kb(s.pid) - rss_before;
    EXPECT_LT(grown_kb, 16 * 1024) << sent << " requests sent";
    EXPECT_LT(sent, 20000) << "the service read every request";

    flood.reset();
    ctl.control("clear");
    EXPECT_TRUE(served_again(s.sock, 5000));
    EXPECT_EQ(s.stop(), 0);
}

TEST(KestdLimits, AFrameLeftUnfinishedEndsItsConnection)
{
    service s;
    ASSERT_TRUE(s.start());
    client idle(s.sock), half(s.sock);
    ASSERT_TRUE(half.send_raw(bytes(work_mode_get.begin(), work_mode_get.begin() + 10)));
    const auto t0 = steady::now();
    EXPECT_TRUE(half.closed_by_peer(kKestdFrameTimeLimitMs + 3000));
    EXPECT_GE(steady::now() - t0, std::chrono::milliseconds(kKestdFrameTimeLimitMs - 500));
    EXPECT_EQ(idle.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0) << "a client between frames stays";
    EXPECT_EQ(s.stop(), 0);
    EXPECT_NE(s.err_text.find("unfinished"), std::string::npos) << s.err_text;
}

// 1000 clients that each send 256 changes of the station's SSID (every one
// with an indication) under a delay of a minute and leave: what waited for
// them is freed when they go, so the service's memory stays bounded.
TEST(KestdLimits, ReconnectingClientsUnderDelayLeaveNothingBehind)
{
    service s;
    ASSERT_TRUE(s.start());
    client ctl(s.sock);
    ctl.control("delay 60000");
    const long rss_before = rss_kb(s.pid);
    const long cpu_before = cpu_ms(s.pid);
    const auto t0 = steady::now();
    bytes batch;
    for (uint32_t i = 0; i < 256; ++i) {
        wifi_essid_set_req essid{};
        essid.index = kKestdStaIface;
        essid.ssid[0] = static_cast<char>('a' + i % 2);
        const bytes rec = raw(essid);
        const bytes f = kest_frame_bytes(KEST_FRAME_REQUEST, i + 1, KEST_WIFI_ESSID_SET, 0,
                                         rec.data(), static_cast<uint32_t>(rec.size()), kRoom);
        batch.insert(batch.end(), f.begin(), f.end());
    }
    int taken = 0; // the others came while 64 clients were still being closed
    for (int n = 0; n < 1000; ++n) {
        client c(s.sock);
        taken += c.send_raw(batch);
    }
    ctl.control("ping");
    const long grown_kb = rss_kb(s.pid) - rss_before;
    const long cpu = cpu_ms(s.pid) - cpu_before;
    const long wall =
        std::chrono::duration_cast<std::chrono::milliseconds>(steady::now() - t0).count();
    std::printf("reconnect flood: %d clients taken, rss +%ld kB, cpu %ld ms in %ld ms\n", taken,
                grown_kb, cpu, wall);
    EXPECT_GT(taken, 100);
    EXPECT_LT(grown_kb, 32 * 1024);
    ctl.control("clear");
    EXPECT_TRUE(served_again(s.sock, 5000));
    EXPECT_EQ(s.stop(), 0);
    EXPECT_NE(s.err_text.find("waiting answers of clients that left"), std::string::npos)
        << s.err_text;
}

constexpr uid_t kNobody = 65534;
constexpr uid_t kOther = 65533;

// In a child of user `uid`: opens `n` connections and counts those the
// service refused with a frame that says why; with n == 1, that one request
// is answered. Exits with the count (or 200 + step that failed).
int connections_as(uid_t uid, const std::string &sock, int n, int ready_fd)
{
    if (::setgroups(0, nullptr) != 0 || ::setgid(uid) != 0 || ::setuid(uid) != 0)
        return 201;
    std::vector<std::unique_ptr<client>> held;
    int refused = 0;
    for (int i = 0; i < n; ++i) {
        held.push_back(std::make_unique<client>(sock));
        kest_frame_header h{};
        std::vector<uint8_t> payload;
        if (held.back()->fd < 0)
            return 202;
        if (kest_read_frame(held.back()->fd, h, payload, 100) && h.kind == KEST_FRAME_REFUSED &&
            std::string(payload.begin(), payload.end()) == kKestRefusedTooMany)
            ++refused;
    }
    if (n == 1 && held[0]->error_of(KEST_WIFI_WORK_MODE_GET, {}) != 0)
        return 203;
    if (ready_fd >= 0) {
        const char c = static_cast<char>(refused);
        (void)!::write(ready_fd, &c, 1);
        ::pause(); // holds its connections until killed
    }
    return refused;
}

// One user's 64 connections leave room for another user, for root and for
// the service's own user; the connections beyond that user's share hear why.
TEST(KestdLimits, OneUsersConnectionsLeaveRoomForOthers)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root, to act as other users";
    service s;
    ASSERT_TRUE(s.start());
    ASSERT_EQ(::chmod(s.dir.c_str(), 0711), 0);
    ASSERT_EQ(::chmod(s.sock.c_str(), 0666), 0);
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t hog = ::fork();
    if (hog == 0)
        ::_exit(connections_as(kNobody, s.sock, 64, ready[1]));
    char c = 0;
    ASSERT_EQ(::read(ready[0], &c, 1), 1);
    EXPECT_EQ(c, 64 - 64 / 4) << "connections refused with a reason beyond one user's share";
    const pid_t other = ::fork();
    if (other == 0)
        ::_exit(connections_as(kOther, s.sock, 1, -1));
    int status = 0;
    ASSERT_EQ(::waitpid(other, &status, 0), other);
    EXPECT_EQ(WEXITSTATUS(status), 0) << "another user's call was not served";
    client own(s.sock);
    EXPECT_EQ(own.control("ping").empty(), false);
    ::kill(hog, SIGKILL);
    ::waitpid(hog, &status, 0);
    ::close(ready[0]);
    ::close(ready[1]);
    EXPECT_EQ(s.stop(), 0);
    EXPECT_NE(s.err_text.find("the limit for one user"), std::string::npos) << s.err_text;
}

// `n` requests of `id` with transactions first, first + 1, ..., sent as one
// stream without reading any answer.
void send_requests(client &c, uint32_t id, uint32_t first, int n, uint32_t room)
{
    bytes all;
    for (int i = 0; i < n; ++i) {
        const bytes one = kest_frame_bytes(KEST_FRAME_REQUEST, first + static_cast<uint32_t>(i), id,
                                           0, nullptr, 0, room);
        all.insert(all.end(), one.begin(), one.end());
    }
    ASSERT_TRUE(c.send_raw(all));
}

// The answers to `n` requests of `id` from `first` on: whole, and in order.
void expect_answers(client &c, uint32_t id, uint32_t first, int n)
{
    for (int i = 0; i < n; ++i) {
        frame f;
        ASSERT_TRUE(kest_read_frame(c.fd, f.h, f.payload, 5000)) << "answer " << i;
        EXPECT_EQ(f.h.kind, KEST_FRAME_RESPONSE);
        EXPECT_EQ(f.h.msg_id, id);
        ASSERT_EQ(f.h.txn, first + static_cast<uint32_t>(i)) << "answers out of order or torn";
    }
}

// A client that reads nothing while its answers fill the socket (600 kB,
// under the limit of unsent output): the others are served meanwhile, and
// when it reads it gets every answer whole.
TEST(KestdLimits, ASlowReaderGetsEveryAnswerWholeAndOthersAreServed)
{
    service s;
    ASSERT_TRUE(s.start());
    client slow(s.sock);
    send_requests(slow, KEST_WIFI_STA_INFO_GET, 1, 130, kRoom);
    client other(s.sock);
    EXPECT_EQ(other.error_of(KEST_WIFI_WORK_MODE_GET, {}), 0) << "one slow reader held up others";
    expect_answers(slow, KEST_WIFI_STA_INFO_GET, 1, 130);
    EXPECT_EQ(s.stop(), 0);
}

// A client held back by the bound on waiting answers keeps its connection,
// costs no processor time while held, and gets every answer in order.
TEST(KestdLimits, AHeldBackClientIsServedInFullWithoutSpinning)
{
    service s;
    ASSERT_TRUE(s.start());
    client ctl(s.sock);
    ctl.control("delay 2000");
    client held(s.sock);
    send_requests(held, KEST_WIFI_WORK_MODE_GET, 1, kKestdMaxDeferred, kRoom);
    ctl.control("ping"); // the service has taken the first batch
    send_requests(held, KEST_WIFI_WORK_MODE_GET, kKestdMaxDeferred + 1, 50, kRoom);
    ctl.control("ping");
    const long cpu_before = cpu_ms(s.pid);
    std::this_thread::sleep_for(std::chrono::milliseconds(900));
    EXPECT_LT(cpu_ms(s.pid) - cpu_before, 150) << "the service spun while it held a client back";
    expect_answers(held, KEST_WIFI_WORK_MODE_GET, 1, kKestdMaxDeferred + 50);
    EXPECT_EQ(s.stop(), 0);
}

} // namespace
