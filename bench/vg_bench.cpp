// vg-bench: what a call through the library costs against kestd, and what
// the same exchange costs over a bare Unix stream socket.
//
//   vg-bench [--kestd PATH] [--calls N] [--seconds S]
//
// (a) round trip of one small get (WIFI_CMD_WORK_MODE) through library,
//     host transport and kestd: median and 99th percentile of N calls;
// (b) the floor: a ping-pong of the same frame sizes between two processes
//     over a Unix stream socket, blocking read and write on each side;
// (c) calls per second on one handle with 1, 2, 4 and 8 threads, S seconds
//     each.
// kestd is started on a socket in a private folder and stopped at the end.

#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "kest_proto.h"
#include "kestd_launch.h"
#include "kest_msg.h"
#include "kest_wifi_msg.h"
#include "vg_mgmt_client.h"

namespace {

using steady = std::chrono::steady_clock;

double us_between(steady::time_point a, steady::time_point b)
{
    return std::chrono::duration<double, std::micro>(b - a).count();
}

struct spread {
    double median;
    double p99;
};

spread spread_of(std::vector<double> us)
{
    std::sort(us.begin(), us.end());
    return {us[us.size() / 2], us[us.size() * 99 / 100]};
}

// kestd on a socket of its own, for the length of the run.
struct service {
    std::string dir;
    std::string sock;
    pid_t pid = -1;

    bool start(const char *kestd)
    {
        char tmpl[] = "/tmp/vg-bench-XXXXXX";
        if (::mkdtemp(tmpl) == nullptr)
            return false;
        dir = tmpl;
        sock = dir + "/kest.sock";
        const kestd_launch launched = launch_kestd(kestd, sock);
        pid = launched.pid;
        return launched.listening;
    }

    ~service()
    {
        if (pid > 0) {
            ::kill(pid, SIGTERM);
            ::waitpid(pid, nullptr, 0);
        }
        if (!dir.empty())
            ::rmdir(dir.c_str());
    }
};

bool get_work_mode(mgmt_client *handle)
{
    alignas(8) uint8_t value[MGMT_WIFI_VALUE_SIZE] = {};
    return vg_mgmt_client_get(handle, MGMT_COMMAND(MGMT_DOMAIN_WIFI, WIFI_CMD_WORK_MODE), value,
                              sizeof value) == 0;
}

// (a)
spread library_round_trip(mgmt_client *handle, int calls)
{
    for (int i = 0; i < calls / 10; ++i) // warm up
        get_work_mode(handle);
    std::vector<double> us;
    us.reserve(static_cast<size_t>(calls));
    for (int i = 0; i < calls; ++i) {
        const auto t0 = steady::now();
        if (!get_work_mode(handle)) {
            std::fprintf(stderr, "vg-bench: a call failed: error %d\n", vg_mgmt_get_errno());
            std::exit(1);
        }
        us.push_back(us_between(t0, steady::now()));
    }
    return spread_of(us);
}

bool read_full(int fd, uint8_t *p, size_t n)
{
    while (n > 0) {
        const ssize_t r = ::read(fd, p, n);
        if (r <= 0)
            return false;
        p += r;
        n -= static_cast<size_t>(r);
    }
    return true;
}

// (b) The same bytes as (a): a header without payload out, a header and
// the 6-byte response back.
spread raw_ping_pong(int calls)
{
    constexpr size_t kRequest = sizeof(kest_frame_header);
    constexpr size_t kResponse = sizeof(kest_frame_header) + sizeof(wifi_work_mode_get_resp);
    int sv[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) != 0)
        return {0, 0};
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(sv[0]);
        uint8_t req[kRequest];
        uint8_t resp[kResponse] = {};
        while (read_full(sv[1], req, sizeof req))
            if (::write(sv[1], resp, sizeof resp) != static_cast<ssize_t>(sizeof resp))
                break;
        ::_exit(0);
    }
    ::close(sv[1]);
    uint8_t req[kRequest] = {};
    uint8_t resp[kResponse];
    std::vector<double> us;
    us.reserve(static_cast<size_t>(calls));
    for (int i = 0; i < calls + calls / 10; ++i) {
        const auto t0 = steady::now();
        if (::write(sv[0], req, sizeof req) != static_cast<ssize_t>(sizeof req) ||
            !read_full(sv[0], resp, sizeof resp))
            break;
        if (i >= calls / 10)
            us.push_back(us_between(t0, steady::now()));
    }
    ::close(sv[0]);
    ::waitpid(child, nullptr, 0);
    return spread_of(us);
}

// (c)
double calls_per_second(mgmt_client *handle, int threads, double seconds)
{
    std::atomic<bool> stop{false};
    std::atomic<long> total{0};
    std::atomic<long> failed{0};
    std::vector<std::thread> pool;
    const auto t0 = steady::now();
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([&] {
            long n = 0;
            while (!stop.load(std::memory_order_relaxed)) {
                if (!get_work_mode(handle))
                    ++failed;
                ++n;
            }
            total += n;
        });
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    stop = true;
    for (std::thread &t : pool)
        t.join();
    const double elapsed = std::chrono::duration<double>(steady::now() - t0).count();
    if (failed > 0)
        std::fprintf(stderr, "vg-bench: %ld calls failed\n", failed.load());
    return static_cast<double>(total) / elapsed;
}

} // namespace

int main(int argc, char **argv)
{
    const char *kestd = VG_BENCH_KESTD;
    int calls = 20000;
    double seconds = 1.0;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string opt = argv[i];
        if (opt == "--kestd")
            kestd = argv[i + 1];
        else if (opt == "--calls")
            calls = std::max(100, std::atoi(argv[i + 1]));
        else if (opt == "--seconds")
            seconds = std::max(0.1, std::atof(argv[i + 1]));
        else {
            std::fprintf(stderr, "usage: vg-bench [--kestd PATH] [--calls N] [--seconds S]\n");
            return 2;
        }
    }

    service svc;
    if (!svc.start(kestd)) {
        std::fprintf(stderr, "vg-bench: kestd did not start (%s)\n", kestd);
        return 1;
    }
    ::setenv(KEST_SOCKET_ENV, svc.sock.c_str(), 1);
    mgmt_client *handle = nullptr;
    if (vg_mgmt_client_open(&handle, nullptr) != 0) {
        std::fprintf(stderr, "vg-bench: open failed: error %d\n", vg_mgmt_get_errno());
        return 1;
    }

    const spread lib = library_round_trip(handle, calls);
    const spread raw = raw_ping_pong(calls);
    std::printf("round trip of a small get, %d calls, %u cores\n", calls,
                std::thread::hardware_concurrency());
    std::printf("  %-34s %10s %10s\n", "", "median us", "p99 us");
    std::printf("  %-34s %10.1f %10.1f\n", "library + transport + kestd", lib.median, lib.p99);
    std::printf("  %-34s %10.1f %10.1f\n", "raw Unix stream ping-pong", raw.median, raw.p99);
    std::printf("  %-34s %10.2f %10.2f\n", "ratio", lib.median / raw.median, lib.p99 / raw.p99);

    std::printf("throughput on one handle, %.1f s each\n", seconds);
    std::printf("  %-34s %10s %10s\n", "threads", "calls/s", "vs 1");
    double one = 0;
    for (int threads : {1, 2, 4, 8}) {
        const double rate = calls_per_second(handle, threads, seconds);
        if (threads == 1)
            one = rate;
        std::printf("  %-34d %10.0f %10.2f\n", threads, rate, rate / one);
    }
    vg_mgmt_client_close(handle);
    return 0;
}
