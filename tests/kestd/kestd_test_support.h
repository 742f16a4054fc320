// What the kestd tests share: a kestd of each test's own in a private
// folder, a client that speaks the frame format directly, and the fixture
// that starts one and checks that it stops cleanly.
#pragma once

#include <gtest/gtest.h>

#include "kestd_launch.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "kest_commands.h"
#include "kest_msg.h"
#include "kestd_client.h"
#include "kestd_errors.h"

namespace kestd_test {

using bytes = std::vector<uint8_t>;

// The room a test client offers for an answer: the largest described response.
inline constexpr uint32_t kRoom = [] {
    uint32_t most = 0;
    for (const kest_command_table &t : kCommandTables)
        for (size_t i = 0; i < t.count; ++i)
            most = std::max(most, t.rows[i].resp_len);
    return most;
}();

template <class T>
bytes raw(const T &rec)
{
    const auto *p = reinterpret_cast<const uint8_t *>(&rec);
    return bytes(p, p + sizeof rec);
}

inline uint32_t ipv4(uint8_t a, uint8_t b, uint8_t c, uint8_t d)
{
    const uint8_t v[4] = {a, b, c, d};
    uint32_t w;
    std::memcpy(&w, v, 4);
    return w;
}

inline std::string read_all(int fd)
{
    std::string s;
    char buf[512];
    ssize_t r;
    while ((r = ::read(fd, buf, sizeof buf)) > 0)
        s.append(buf, static_cast<size_t>(r));
    return s;
}

// One kestd process with its socket (and state file) in a private folder.
struct service {
    std::string dir, sock, state;
    pid_t pid = -1;
    int err_fd = -1;
    std::string err_text; // all the service wrote on stderr, once it has ended
    std::thread drain;    // reads stderr while the service runs, so that it never blocks on it

    service()
    {
        char tmpl[] = "/tmp/kestd-test-XXXXXX";
        dir = ::mkdtemp(tmpl);
        sock = dir + "/kest.sock";
        state = dir + "/state";
    }
    ~service()
    {
        if (pid > 0)
            stop();
        if (drain.joinable())
            collect_stderr();
        std::string cmd = "rm -rf '" + dir + "'";
        if (std::system(cmd.c_str()) != 0)
            ADD_FAILURE() << "cannot remove " << dir;
    }

    // Starts kestd; true once it said where it listens.
    bool start(bool with_state = false)
    {
        std::vector<std::string> more;
        if (with_state)
            more = {"--state", state};
        return start_with(more);
    }

    // Starts kestd with these arguments after --socket, and at most `nofile`
    // descriptors when not 0.
    bool start_with(const std::vector<std::string> &more, rlim_t nofile = 0)
    {
        const kestd_launch l = launch_kestd(KESTD_PATH, sock, more, 5000, &err_fd, nofile);
        if (err_fd >= 0)
            drain = std::thread([this] { err_text = read_all(err_fd); });
        pid = l.pid;
        return l.listening;
    }

    // Sends `sig` and returns the exit status (-1 if killed by a signal). A
    // service that has not ended 10 s later is killed.
    int stop(int sig = SIGTERM)
    {
        ::kill(pid, sig);
        int status = 0;
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (::waitpid(pid, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > until) {
                ADD_FAILURE() << "kestd did not stop";
                ::kill(pid, SIGKILL);
                ::waitpid(pid, &status, 0);
                break;
            }
            ::poll(nullptr, 0, 10);
        }
        pid = -1;
        collect_stderr();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    void collect_stderr()
    {
        if (drain.joinable())
            drain.join();
        ::close(err_fd);
        err_fd = -1;
    }

    // For a start that fails: the exit status once the process ended.
    int wait_exit()
    {
        int status = 0;
        ::waitpid(pid, &status, 0);
        pid = -1;
        collect_stderr();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

struct frame {
    kest_frame_header h{};
    bytes payload;
};

// One connection; indications that arrive while it waits for an answer are
// passed over (the end-to-end tests look at them).
struct client {
    int fd = -1;
    uint32_t txn = 0;

    explicit client(const std::string &path) : fd(kestd_connect(path)) {}
    ~client()
    {
        if (fd >= 0)
            ::close(fd);
    }

    bool send_raw(const bytes &b) { return kest_write_full(fd, b.data(), b.size()); }

    // The response to a request, or a frame with kind 0 when none came.
    frame request(uint32_t id, const bytes &req, int timeout_ms = 2000)
    {
        const uint32_t t = ++txn;
        send_raw(kest_frame_bytes(KEST_FRAME_REQUEST, t, id, 0, req.data(),
                                  static_cast<uint32_t>(req.size()), kRoom));
        frame f;
        while (kest_read_frame(fd, f.h, f.payload, timeout_ms)) {
            if (f.h.kind == KEST_FRAME_RESPONSE && f.h.txn == t && f.h.msg_id == id)
                return f;
        }
        return frame{};
    }

    // The service's `error` of a response record (0 on success), -1 when the
    // frame carried no record.
    int error_of(uint32_t id, const bytes &req)
    {
        const frame f = request(id, req);
        if (f.h.kind != KEST_FRAME_RESPONSE || f.h.status != 0 || f.payload.size() < 4)
            return -1;
        resp_status st;
        std::memcpy(&st, f.payload.data(), sizeof st);
        EXPECT_EQ(st.result == 0, st.error == 0) << "message " << id;
        return st.error;
    }

    template <class Resp>
    Resp get(uint32_t id, const bytes &req = {})
    {
        const frame f = request(id, req);
        Resp r{};
        EXPECT_EQ(f.payload.size(), sizeof r) << "message " << id;
        if (f.payload.size() == sizeof r)
            std::memcpy(&r, f.payload.data(), sizeof r);
        EXPECT_EQ(r_status(f), 0) << "message " << id;
        return r;
    }
    static int r_status(const frame &f)
    {
        return f.payload.size() >= 4 ? f.payload[2] | f.payload[3] << 8 : -1;
    }

    std::string control(const std::string &cmd, int32_t *status = nullptr)
    {
        int32_t st = -1;
        std::string text;
        EXPECT_TRUE(kestd_control_call(fd, cmd, st, text, 2000)) << cmd;
        if (status)
            *status = st;
        else
            EXPECT_EQ(st, 0) << cmd << ": " << text;
        return text;
    }

    // True when the service closed this connection.
    bool closed_by_peer(int timeout_ms = 2000)
    {
        pollfd p{fd, POLLIN, 0};
        uint8_t b[64];
        while (::poll(&p, 1, timeout_ms) == 1) {
            const ssize_t r = ::recv(fd, b, sizeof b, 0);
            if (r <= 0)
                return true;
        }
        return false;
    }
};

class Kestd : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(svc.start()); }
    // Every test ends with a clean stop and nothing on stderr (a sanitizer
    // report included).
    void TearDown() override
    {
        if (svc.pid > 0) {
            EXPECT_EQ(svc.stop(), 0);
            EXPECT_EQ(svc.err_text, "");
        }
    }
    service svc;
};

} // namespace kestd_test
