// A scripted KEST service for host tests: a listening Unix socket whose
// per-test script answers, delays, drops, sends bad frames and indications.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "kest_frame_io.h"
#include "kest_wire.h"
#include "qmi_cci_host.h"
#include "vg_manager_msgr.h"

namespace vg_test {
using namespace std::chrono_literals;
using steady = std::chrono::steady_clock;

inline std::string g_socket; // the service's socket for this process

inline long ms_since(steady::time_point t0)
{
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(steady::now() - t0).count());
}

// Names a row of a parameterised test by its `what`.
struct RowName {
    template <class Param>
    std::string operator()(const Param &p) const
    {
        return p.param.what;
    }
};

struct Frame {
    kest_frame_header h;
    std::vector<uint8_t> payload;
};

// One accepted connection of the scripted service.
class Conn {
public:
    explicit Conn(int fd) : fd_(fd) {}
    ~Conn() { close(fd_); }

    bool send(const kest_frame_header &h, const void *payload)
    {
        std::lock_guard<std::mutex> g(write_);
        return kest_write_frame(fd_, h, payload) == KEST_WRITE_SENT;
    }
    bool answer(const Frame &req, const void *payload, uint32_t len, int32_t status = 0)
    {
        return send(kest_frame_make(KEST_FRAME_RESPONSE, req.h.txn, req.h.msg_id, len, 0, status),
                    payload);
    }
    bool indicate(uint32_t msg_id, const void *payload, uint32_t len)
    {
        return send(kest_frame_make(KEST_FRAME_INDICATION, 0, msg_id, len), payload);
    }
    int fd() const { return fd_; }
    // The client ended the connection while the service still read it.
    std::atomic<bool> closed_by_client{false};

private:
    int fd_;
    std::mutex write_;
};

using Script = std::function<void(Conn &, const Frame &)>;

// A service on g_socket that runs `script` for every request it reads, on
// the connection's own thread. It binds at once and listens after
// listen_delay, like a service that is slow to start.
class Service {
public:
    explicit Service(Script script, std::chrono::milliseconds listen_delay = 0ms)
        : script_(std::move(script))
    {
        unlink(g_socket.c_str());
        listen_fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        snprintf(addr.sun_path, sizeof addr.sun_path, "%s", g_socket.c_str());
        EXPECT_EQ(0, bind(listen_fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr));
        stop_fd_ = eventfd(0, EFD_CLOEXEC);
        if (listen_delay == 0ms) {
            EXPECT_EQ(0, listen(listen_fd_, 16));
        }
        acceptor_ = std::thread([this, listen_delay] { accept_loop(listen_delay); });
    }
    ~Service() { stop(); }

    // Ends every connection at once and removes the socket: the service dies.
    void stop()
    {
        if (stopped_.exchange(true))
            return;
        const uint64_t one = 1;
        EXPECT_EQ(static_cast<ssize_t>(sizeof one), write(stop_fd_, &one, sizeof one));
        acceptor_.join();
        {
            std::lock_guard<std::mutex> g(mutex_);
            for (auto &c : conns_)
                shutdown(c->fd(), SHUT_RDWR);
        }
        for (auto &t : readers_)
            t.join();
        close(listen_fd_);
        close(stop_fd_);
        unlink(g_socket.c_str());
    }

    int requests() const { return requests_.load(); }

    template <class Pred>
    bool wait_until(Pred pred, std::chrono::milliseconds limit = 3000ms)
    {
        const auto end = steady::now() + limit;
        while (!pred()) {
            if (steady::now() > end)
                return false;
            std::this_thread::sleep_for(2ms);
        }
        return true;
    }

private:
    void accept_loop(std::chrono::milliseconds listen_delay)
    {
        if (listen_delay > 0ms) {
            pollfd stop{stop_fd_, POLLIN, 0};
            if (poll(&stop, 1, static_cast<int>(listen_delay.count())) != 0)
                return;
            EXPECT_EQ(0, listen(listen_fd_, 16));
        }
        for (;;) {
            pollfd fds[2] = {{stop_fd_, POLLIN, 0}, {listen_fd_, POLLIN, 0}};
            poll(fds, 2, -1);
            if (fds[0].revents != 0)
                return;
            const int fd = accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0)
                continue;
            auto conn = std::make_shared<Conn>(fd);
            std::lock_guard<std::mutex> g(mutex_);
            conns_.push_back(conn);
            readers_.emplace_back([this, conn] { read_loop(*conn); });
        }
    }

    void read_loop(Conn &conn)
    {
        for (;;) {
            Frame f{};
            if (!kest_read_full(conn.fd(), &f.h, sizeof f.h))
                break;
            f.payload.resize(f.h.len);
            if (!kest_read_full(conn.fd(), f.payload.data(), f.h.len))
                break;
            ++requests_;
            script_(conn, f);
        }
        if (!stopped_)
            conn.closed_by_client = true;
    }

    Script script_;
    int listen_fd_ = -1;
    int stop_fd_ = -1;
    std::atomic<bool> stopped_{false};
    std::atomic<int> requests_{0};
    std::mutex mutex_;
    std::vector<std::shared_ptr<Conn>> conns_;
    std::vector<std::thread> readers_;
    std::thread acceptor_;
};

// Answers every request with `fill` bytes as long as the client's record.
inline Script answer_with(uint8_t fill)
{
    return [fill](Conn &c, const Frame &f) {
        std::vector<uint8_t> resp(f.h.aux, fill);
        c.answer(f, resp.data(), f.h.aux);
    };
}

// The transport's threads alive in this process.
inline int transport_threads()
{
    int n = 0;
    DIR *d = opendir("/proc/self/task");
    while (dirent *e = readdir(d)) {
        if (e->d_name[0] == '.')
            continue;
        std::ifstream comm(std::string("/proc/self/task/") + e->d_name + "/comm");
        std::string name;
        std::getline(comm, name);
        n += name.rfind("qmi_", 0) == 0 ? 1 : 0;
    }
    closedir(d);
    return n;
}

// /proc/self/task lags the threads themselves: a thread shows a moment after
// it starts, and a joined thread's entry goes a moment after pthread_join
// returned (the kernel reaps it after waking the joiner). So a count is
// awaited, briefly, rather than read once.
inline bool transport_threads_become(int n)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1000);
    while (transport_threads() != n) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

inline qmi_idl_service_object_type service_object()
{
    return vg_manager_msgr_get_service_object_internal_v01(1, 1, 6);
}

// A client of the service found on g_socket, its indications to `cb`.
inline qmi_client_type connect_client(qmi_client_ind_cb cb = nullptr, void *data = nullptr)
{
    qmi_service_info list[2]{};
    uint32_t entries = 2;
    uint32_t services = 0;
    EXPECT_EQ(0, qmi_client_get_service_list(service_object(), list, &entries, &services));
    qmi_client_type client = nullptr;
    EXPECT_EQ(0, qmi_client_init(&list[0], service_object(), cb, data, nullptr, &client));
    return client;
}

// A fresh folder for the socket, named to the transport by the environment.
class SocketFolder {
public:
    SocketFolder()
    {
        if (mkdtemp(dir_) == nullptr)
            abort();
        g_socket = std::string(dir_) + "/kest.sock";
        setenv(KEST_SOCKET_ENV, g_socket.c_str(), 1);
    }
    ~SocketFolder()
    {
        unlink(g_socket.c_str());
        rmdir(dir_);
    }

private:
    char dir_[32] = "/tmp/vg-host-test-XXXXXX";
};
} // namespace vg_test
