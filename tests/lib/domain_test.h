// The fixture of the domains' particular tests: an open handle whose events
// are captured, an error number of 1234 that successes must keep, and a
// patterned buffer, so a test can see every byte a call touched.
#pragma once

#include <gtest/gtest.h>

#include "command_rows.h"
#include "fake_platform.h"

struct captured_event {
    uint32_t id;
    std::vector<uint8_t> bytes;
};
inline std::vector<captured_event> g_events;
inline int32_t capture(uint32_t id, const void *rec, uint32_t size)
{
    const auto *b = static_cast<const uint8_t *>(rec);
    g_events.push_back({id, std::vector<uint8_t>(b, b + size)});
    return 0;
}

template <uint32_t domain>
class DomainTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        h = fake::open_handle(capture);
        g_events.clear();
        fake::g().logs.clear();
        vg_mgmt_set_errno(1234);
        if (domain == MGMT_DOMAIN_USB)
            rec<uint32_t>() = 0; // usb_num
    }
    void TearDown() override { vg_mgmt_client_close(h); }

    // Runs a command of the fixture's domain on the buffer (size 0 passes the
    // router for any domain).
    int32_t set(uint32_t id)
    {
        return vg_mgmt_client_set(h, MGMT_COMMAND(domain, id), buf.data(), 0);
    }
    int32_t get(uint32_t id)
    {
        return vg_mgmt_client_get(h, MGMT_COMMAND(domain, id), buf.data(), 0);
    }
    template <class T>
    T &rec()
    {
        return *reinterpret_cast<T *>(buf.data());
    }
    // The buffer from the given byte on is as it was.
    bool kept_from(size_t at, const std::vector<uint8_t> &before) const
    {
        return std::equal(buf.begin() + static_cast<std::ptrdiff_t>(at), buf.end(),
                          before.begin() + static_cast<std::ptrdiff_t>(at));
    }
    static std::string last() { return fake::logs().back().text; }
    static std::vector<uint8_t> req() { return fake::last_sent().req; }

    mgmt_client *h = nullptr;
    std::vector<uint8_t> buf = fake::patterned(vg_rows::size_of(domain));
};
using Wifi = DomainTest<MGMT_DOMAIN_WIFI>;
using DataCall = DomainTest<MGMT_DOMAIN_DATA_CALL>;
using Network = DomainTest<MGMT_DOMAIN_NETWORK>;
using Usb = DomainTest<MGMT_DOMAIN_USB>;
