// End-to-end tests: the library as an application uses it, over the host
// transport, against a kestd of its own in a private folder.
#pragma once

#include <gtest/gtest.h>

#include "kestd_launch.h"

#include <arpa/inet.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kestd_client.h"
#include "vg_mgmt_client.h"

namespace e2e {

using bytes = std::vector<uint8_t>;
using steady = std::chrono::steady_clock;

inline long ms_since(steady::time_point t0)
{
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(steady::now() - t0).count());
}

// The bytes of a record, built from all zeros so that padding compares too.
template <class R, class F>
bytes rec(F fill)
{
    R r;
    std::memset(&r, 0, sizeof r);
    fill(r);
    const auto *p = reinterpret_cast<const uint8_t *>(&r);
    return bytes(p, p + sizeof r);
}

template <class R>
R as(const bytes &b)
{
    R r;
    std::memset(&r, 0, sizeof r);
    std::memcpy(&r, b.data(), std::min(b.size(), sizeof r));
    return r;
}

// Two records alike, or the first byte where they part.
inline ::testing::AssertionResult same_record(const bytes &want, const bytes &got)
{
    if (want.size() != got.size())
        return ::testing::AssertionFailure()
               << "size " << got.size() << ", expected " << want.size();
    const auto parted = std::mismatch(want.begin(), want.end(), got.begin());
    if (parted.first == want.end())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "byte " << (parted.first - want.begin()) << " is " << int{*parted.second}
           << ", expected " << int{*parted.first};
}

// A kestd process listening on a socket in a private folder.
class kestd_process {
public:
    kestd_process()
    {
        char tmpl[] = "/tmp/vg-e2e-XXXXXX";
        const char *made = ::mkdtemp(tmpl);
        dir_ = made != nullptr ? made : "/tmp";
        sock_ = dir_ + "/kest.sock";
    }
    ~kestd_process()
    {
        if (pid_ > 0)
            stop();
        ::unlink(sock_.c_str());
        ::rmdir(dir_.c_str());
    }
    kestd_process(const kestd_process &) = delete;
    kestd_process &operator=(const kestd_process &) = delete;

    const std::string &socket_path() const { return sock_; }
    bool running() const { return pid_ > 0; }

    // Starts kestd; true once it says it listens.
    bool start()
    {
        const kestd_launch launched = launch_kestd(KESTD_PATH, sock_);
        pid_ = launched.pid;
        return launched.listening;
    }

    // Sends sig and waits; the exit status, or -1 when a signal ended it.
    int stop(int sig = SIGTERM)
    {
        ::kill(pid_, sig);
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    std::string dir_;
    std::string sock_;
    pid_t pid_ = -1;
};

// A control connection to kestd.
class control_link {
public:
    explicit control_link(const std::string &sock) : fd_(kestd_connect(sock)) {}
    ~control_link()
    {
        if (fd_ >= 0)
            ::close(fd_);
    }
    control_link(const control_link &) = delete;
    control_link &operator=(const control_link &) = delete;

    // The answer's text; status 0 is expected unless `status` asks for it.
    std::string operator()(const std::string &command, int32_t *status = nullptr)
    {
        int32_t st = -1;
        std::string text;
        EXPECT_TRUE(kestd_control_call(fd_, command, st, text, 5000)) << command;
        if (status != nullptr)
            *status = st;
        else
            EXPECT_EQ(0, st) << command << ": " << text;
        return text;
    }

private:
    int fd_;
};

// What the application's callback received, in order.
struct event {
    uint32_t id;
    bytes record;
};

class event_log {
public:
    void add(uint32_t id, const void *record, uint32_t size)
    {
        const auto *p = static_cast<const uint8_t *>(record);
        std::lock_guard<std::mutex> hold(lock_);
        events_.push_back({id, bytes(p, p + size)});
        changed_.notify_all();
    }
    // Waits until at least n events arrived; all of them.
    std::vector<event> wait_for(size_t n, int timeout_ms = 5000)
    {
        std::unique_lock<std::mutex> hold(lock_);
        changed_.wait_for(hold, std::chrono::milliseconds(timeout_ms),
                          [&] { return events_.size() >= n; });
        return events_;
    }
    size_t count()
    {
        std::lock_guard<std::mutex> hold(lock_);
        return events_.size();
    }
    void clear()
    {
        std::lock_guard<std::mutex> hold(lock_);
        events_.clear();
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<event> events_;
};

// The callback carries no context: one log for the whole test program.
inline event_log &events()
{
    static event_log log;
    return log;
}

inline int32_t record_event(uint32_t event_id, const void *event, uint32_t size)
{
    events().add(event_id, event, size);
    return 0;
}

inline uint32_t domain_size(uint32_t command)
{
    switch (MGMT_COMMAND_DOMAIN(command)) {
    case MGMT_DOMAIN_WIFI:
        return MGMT_WIFI_VALUE_SIZE;
    case MGMT_DOMAIN_NETWORK:
        return MGMT_NETWORK_VALUE_SIZE;
    case MGMT_DOMAIN_DATA_CALL:
        return MGMT_DATA_CALL_VALUE_SIZE;
    default:
        return MGMT_USB_VALUE_SIZE;
    }
}

constexpr uint8_t kTail = 0xa5;

// One call with a value buffer of the domain's size: the record at its
// start, a pattern behind it that the library must leave alone. `record`
// comes back as the buffer holds it after the call.
inline int32_t call(mgmt_client *handle, uint32_t opt, uint32_t command, bytes &record)
{
    const uint32_t size = domain_size(command);
    bytes buf(size, kTail);
    if (!record.empty())
        std::memcpy(buf.data(), record.data(), std::min<size_t>(record.size(), size));
    const int32_t rc = opt == MGMT_OPT_SET ? vg_mgmt_client_set(handle, command, buf.data(), size)
                                           : vg_mgmt_client_get(handle, command, buf.data(), size);
    for (size_t i = record.size(); i < size; ++i)
        if (buf[i] != kTail) {
            ADD_FAILURE() << "byte " << i << " behind the record of command 0x" << std::hex
                          << command << " was written";
            break;
        }
    record.assign(buf.begin(),
                  buf.begin() + static_cast<long>(std::min<size_t>(record.size(), size)));
    return rc;
}

// A kestd of its own, its socket named in the environment for the
// transport, a control connection, and an open handle whose events go to
// events().
class Service : public ::testing::Test {
protected:
    void SetUp() override
    {
        events().clear();
        ASSERT_TRUE(kestd.start());
        ::setenv(KEST_SOCKET_ENV, kestd.socket_path().c_str(), 1);
        ctl = std::make_unique<control_link>(kestd.socket_path());
        ASSERT_EQ(0, vg_mgmt_client_open(&handle, record_event));
        ASSERT_NE(nullptr, handle);
    }
    void TearDown() override
    {
        vg_mgmt_client_close(handle);
        ctl.reset();
        if (kestd.running()) {
            EXPECT_EQ(0, kestd.stop()) << "kestd did not end cleanly";
        }
    }

    int32_t set(uint32_t command, bytes &record)
    {
        return call(handle, MGMT_OPT_SET, command, record);
    }
    int32_t get(uint32_t command, bytes &record)
    {
        return call(handle, MGMT_OPT_GET, command, record);
    }

    kestd_process kestd;
    std::unique_ptr<control_link> ctl;
    mgmt_client *handle = nullptr;
};

// Command codes of the four domains.
constexpr uint32_t wifi(uint32_t id)
{
    return MGMT_COMMAND(MGMT_DOMAIN_WIFI, id);
}
constexpr uint32_t data_call(uint32_t id)
{
    return MGMT_COMMAND(MGMT_DOMAIN_DATA_CALL, id);
}
constexpr uint32_t network(uint32_t id)
{
    return MGMT_COMMAND(MGMT_DOMAIN_NETWORK, id);
}
constexpr uint32_t usb(uint32_t id)
{
    return MGMT_COMMAND(MGMT_DOMAIN_USB, id);
}

// An IPv4 address as the records hold it: network byte order.
inline uint32_t ipv4(uint8_t a, uint8_t b, uint8_t c, uint8_t d)
{
    const uint8_t v[4] = {a, b, c, d};
    uint32_t w;
    std::memcpy(&w, v, 4);
    return w;
}

// Test names from a row's name field.
struct RowName {
    template <class Row>
    std::string operator()(const ::testing::TestParamInfo<Row> &info) const
    {
        std::string s = info.param.name;
        for (char &c : s)
            if (!std::isalnum(static_cast<unsigned char>(c)))
                c = '_';
        return s;
    }
};

} // namespace e2e
