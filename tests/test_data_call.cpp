// Data-call handlers and the data-call status indication decoder.
#include <arpa/inet.h>

#include <gtest/gtest.h>

#include "fake_platform.h"

using fake::g;

namespace {

std::vector<std::vector<uint8_t>> g_events;
int32_t capture(uint32_t id, const void *rec, uint32_t size)
{
    EXPECT_EQ(id, 0x60001u);
    const auto *b = static_cast<const uint8_t *>(rec);
    g_events.emplace_back(b, b + size);
    return 0;
}

class DataCallEvent : public ::testing::Test {
protected:
    void SetUp() override
    {
        h = fake::open_handle(capture);
        g().logs.clear();
        g_events.clear();
    }
    void TearDown() override { vg_mgmt_client_close(h); }

    data_call_status_event deliver(const data_call_status_ind &ind, int rc = 0)
    {
        fake::decode_with(ind, rc);
        fake::deliver_indication(43, "x", 1);
        data_call_status_event ev{};
        if (!g_events.empty()) {
            EXPECT_EQ(g_events.back().size(), 96u);
            memcpy(&ev, g_events.back().data(), sizeof ev);
        }
        return ev;
    }

    static data_call_status_ind connected(uint8_t family)
    {
        data_call_status_ind ind{};
        ind.index = 7;
        ind.ip_family = family;
        ind.state = 1;
        ind.reason_code = 0x11223344;
        strcpy(ind.name, "rmnet_data0");
        return ind;
    }

    mgmt_client *h = nullptr;
};

TEST_F(DataCallEvent, Ipv4AddressesAreConvertedInOrder)
{
    auto ind = connected(0);
    strcpy(ind.address_text[0], "10.0.0.2");
    strcpy(ind.address_text[1], "not an address");
    strcpy(ind.address_text[2], "");
    memset(ind.address_text[3], '1', 64); // no terminator in the field
    const auto ev = deliver(ind);
    ASSERT_EQ(g_events.size(), 1u);
    ASSERT_EQ(g().decodes.size(), 1u);
    EXPECT_EQ(g().decodes[0].msg_id, 43u);
    EXPECT_EQ(g().decodes[0].dst_len, 284u);
    EXPECT_EQ(ev.index, 7);
    EXPECT_STREQ(ev.name, "rmnet_data0");
    EXPECT_EQ(ev.ip_family, 0u);
    EXPECT_EQ(ev.state, 1u);
    EXPECT_EQ(ev.reason_code, 0x11223344u);
    EXPECT_EQ(ev.address.ipv4[0], inet_addr("10.0.0.2"));
    EXPECT_EQ(ev.address.ipv4[1], 0xffffffffu);
    EXPECT_EQ(ev.address.ipv4[2], 0xffffffffu);
    EXPECT_EQ(ev.address.ipv4[3], 0xffffffffu);
    for (size_t i = 16; i < 64; ++i)
        EXPECT_EQ(ev.address.ipv6[i / 16][i % 16], 0) << i;
    EXPECT_EQ(fake::logs().back().text,
              "receive data call status event indication index 7 name rmnet_data0 ip faimly 0 "
              "state 1 reason code 287454020");
}

TEST_F(DataCallEvent, AnyNonZeroFamilyTakesTheIpv6Form)
{
    auto ind = connected(2);
    strcpy(ind.address_text[0], "2001:db8::1");
    strcpy(ind.address_text[1], "bogus");
    strcpy(ind.address_text[2], "::");
    strcpy(ind.address_text[3], "fe80::abcd");
    const auto ev = deliver(ind);
    in6_addr a{};
    inet_pton(AF_INET6, "2001:db8::1", &a);
    EXPECT_EQ(memcmp(ev.address.ipv6[0], &a, 16), 0);
    const uint8_t zero[16] = {};
    EXPECT_EQ(memcmp(ev.address.ipv6[1], zero, 16), 0);
    inet_pton(AF_INET6, "fe80::abcd", &a);
    EXPECT_EQ(memcmp(ev.address.ipv6[3], &a, 16), 0);
}

TEST_F(DataCallEvent, OtherStatesCarryNoNameAndNoAddress)
{
    for (uint8_t state : {0, 2, 255}) {
        auto ind = connected(0);
        ind.state = state;
        strcpy(ind.address_text[0], "10.0.0.2");
        const auto ev = deliver(ind);
        EXPECT_EQ(ev.state, state);
        EXPECT_EQ(ev.name[0], 0);
        const uint8_t zero[64] = {};
        EXPECT_EQ(memcmp(&ev.address, zero, 64), 0);
        EXPECT_NE(fake::logs().back().text.find("name  ip faimly"), std::string::npos);
    }
}

TEST_F(DataCallEvent, LongNameIsCutAndTheFieldsBehindItStayIntact)
{
    auto ind = connected(0);
    memset(ind.name, 'N', sizeof ind.name); // 21 bytes, no terminator
    const auto ev = deliver(ind);
    EXPECT_EQ(std::string(ev.name), std::string(18, 'N'));
    EXPECT_EQ(ev.ip_family, 0u);
    EXPECT_EQ(ev.state, 1u);
    EXPECT_EQ(ev.reason_code, 0x11223344u);
}

TEST_F(DataCallEvent, FailedDecodeCallsNobody)
{
    vg_mgmt_set_errno(55);
    deliver(connected(0), 4);
    EXPECT_TRUE(g_events.empty());
    EXPECT_EQ(fake::logs().back().text,
              "data call status event decode qmi_client_message_decode error 4");
    EXPECT_EQ(fake::logs().back().level, 1);
    EXPECT_EQ(vg_mgmt_get_errno(), 55);
}

TEST(DataCallEvents, NullCallbackStillDecodesAndLogs)
{
    mgmt_client *h = fake::open_handle(nullptr);
    fake::decode_with(data_call_status_ind{});
    fake::deliver_indication(43);
    EXPECT_TRUE(fake::logged("receive data call status event indication index 0"));
    vg_mgmt_client_close(h);
}

} // namespace
