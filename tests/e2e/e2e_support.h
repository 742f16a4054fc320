// End-to-end tests: the library as an application uses it, over the host
// transport, against a kestd of its own (kestd_test::service) in a private
// folder.
#pragma once

#include "kestd_test_support.h"

#include <condition_variable>
#include <memory>
#include <mutex>

#include "kest_commands.h"
#include "vg_mgmt_client.h"

namespace e2e {

using namespace kestd_test;
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
    return raw(r);
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
        return ::testing::AssertionFailure() << "size " << got.size() << ", not " << want.size();
    const auto parted = std::mismatch(want.begin(), want.end(), got.begin());
    if (parted.first == want.end())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "byte " << (parted.first - want.begin()) << " is "
                                         << int{*parted.second} << ", not " << int{*parted.first};
}

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

inline uint32_t domain_size(uint32_t domain)
{
    switch (domain) {
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
    const uint32_t size = domain_size(MGMT_COMMAND_DOMAIN(command));
    bytes buf(size, kTail);
    std::copy(record.begin(), record.end(), buf.begin());
    const int32_t rc = opt == MGMT_OPT_SET ? vg_mgmt_client_set(handle, command, buf.data(), size)
                                           : vg_mgmt_client_get(handle, command, buf.data(), size);
    const auto behind = buf.begin() + static_cast<long>(record.size());
    EXPECT_EQ(behind + std::count(behind, buf.end(), kTail), buf.end())
        << "bytes behind the record of command 0x" << std::hex << command << " were written";
    std::copy(buf.begin(), buf.begin() + static_cast<long>(record.size()), record.begin());
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
        ::setenv(KEST_SOCKET_ENV, kestd.sock.c_str(), 1);
        ctl = std::make_unique<client>(kestd.sock);
        ASSERT_EQ(0, vg_mgmt_client_open(&handle, record_event));
    }
    void TearDown() override
    {
        vg_mgmt_client_close(handle);
        ctl.reset();
        if (kestd.pid > 0) {
            EXPECT_EQ(0, kestd.stop()) << "kestd did not end cleanly";
            EXPECT_EQ("", kestd.err_text);
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

    service kestd;
    std::unique_ptr<client> ctl;
    mgmt_client *handle = nullptr;
};

constexpr uint32_t wifi(uint32_t id)
{
    return MGMT_COMMAND(MGMT_DOMAIN_WIFI, id);
}
constexpr uint32_t data_call(uint32_t id)
{
    return MGMT_COMMAND(MGMT_DOMAIN_DATA_CALL, id);
}

// The addresses the first call up of profile 0 is given: its own, the
// gateway's and two DNS servers', for IPv4 and IPv6.
inline const uint32_t kCallV4[4] = {ipv4(10, 64, 0, 3), ipv4(10, 64, 0, 1), ipv4(8, 8, 8, 8),
                                    ipv4(8, 8, 4, 4)};
inline const char *const kCallV6[4] = {"2001:db8:40:0::4", "2001:db8:40:0::1",
                                       "2001:4860:4860::8888", "2001:4860:4860::8844"};

// Test names from a row's name field.
struct RowName {
    template <class Row>
    std::string operator()(const ::testing::TestParamInfo<Row> &info) const
    {
        return info.param.name;
    }
};

} // namespace e2e
