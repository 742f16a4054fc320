// The fixture of a domain's handler tests: an open handle on the fake
// platform, an error number of 1234 that failures must overwrite and
// successes must keep, and a value buffer of the domain's size filled with a
// pattern, so a test can see every byte a call touched.
#pragma once

#include <gtest/gtest.h>

#include "fake_platform.h"

template <uint32_t Domain, uint32_t Size>
class DomainTest : public ::testing::Test {
protected:
    explicit DomainTest(mgmt_event_cb cb = nullptr) : cb_(cb) {}

    void SetUp() override
    {
        h = fake::open_handle(cb_);
        fake::g().logs.clear();
        vg_mgmt_set_errno(1234);
    }
    void TearDown() override { vg_mgmt_client_close(h); }

    int32_t run(uint32_t flag, uint32_t id, void *value)
    {
        const uint32_t cmd = MGMT_COMMAND(Domain, id);
        return flag == MGMT_OPT_SET ? vg_mgmt_client_set(h, cmd, value, Size)
                                    : vg_mgmt_client_get(h, cmd, value, Size);
    }
    int32_t set(uint32_t id) { return run(MGMT_OPT_SET, id, buf.data()); }
    int32_t get(uint32_t id) { return run(MGMT_OPT_GET, id, buf.data()); }
    template <class T>
    T &record()
    {
        return *reinterpret_cast<T *>(buf.data());
    }

    mgmt_client *h = nullptr;
    std::vector<uint8_t> buf = fake::patterned(Size);

private:
    mgmt_event_cb cb_;
};
