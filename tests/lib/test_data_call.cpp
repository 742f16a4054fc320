// What is particular to the data-call handlers: the texts of a profile on the
// wire, the two passes of the call information, the copies back, and the
// decoder of the status indication.
#include <arpa/inet.h>

#include "domain_test.h"

using fake::g;

namespace {

data_call_status_event deliver(const data_call_status_ind &ind)
{
    fake::decode_with(ind);
    fake::deliver_indication(KEST_DATA_CALL_STATUS_IND);
    data_call_status_event ev{};
    EXPECT_EQ(g_events.back().id, uint32_t{DATA_CALL_EVENT_STATUS});
    EXPECT_EQ(g_events.back().bytes.size(), sizeof ev);
    memcpy(&ev, g_events.back().bytes.data(), sizeof ev);
    return ev;
}

data_call_status_ind connected(uint8_t family, const char *a0)
{
    data_call_status_ind ind{};
    ind.index = 7;
    ind.ip_family = family;
    ind.state = 1;
    ind.reason_code = 0x11223344;
    memset(ind.name, 'N', sizeof ind.name); // no terminator
    strcpy(ind.address_text[0], a0);
    strcpy(ind.address_text[1], "not an address");
    memset(ind.address_text[3], '1', 64); // no terminator
    return ind;
}

TEST_F(DataCall, StatusEventConvertsTheAddressesOfAConnectedCall)
{
    auto ev = deliver(connected(DATA_CALL_IP_V4, "10.0.0.2"));
    EXPECT_EQ(ev.index, 7);
    EXPECT_EQ(std::string(ev.name), std::string(18, 'N')); // cut, the fields behind intact
    EXPECT_EQ(ev.reason_code, 0x11223344u);
    EXPECT_EQ(ev.address.ipv4[0], inet_addr("10.0.0.2"));
    EXPECT_EQ(ev.address.ipv4[1] & ev.address.ipv4[2] & ev.address.ipv4[3], 0xffffffffu);
    EXPECT_EQ(ev.address.ipv6[3][15], 0);
    EXPECT_EQ(last(), "receive data call status event indication index 7 name " +
                          std::string(18, 'N') + " ip faimly 0 state 1 reason code 287454020");
    ev = deliver(connected(2, "2001:db8::1")); // any family but IPv4 takes the IPv6 form
    in6_addr a{};
    inet_pton(AF_INET6, "2001:db8::1", &a);
    EXPECT_EQ(memcmp(ev.address.ipv6[0], &a, 16), 0);
    EXPECT_EQ(ev.address.ipv6[1][0] | ev.address.ipv6[1][15], 0);
    for (uint8_t state : {0, 2}) {
        auto ind = connected(DATA_CALL_IP_V4, "10.0.0.2");
        ind.state = state;
        ev = deliver(ind);
        EXPECT_EQ(ev.state, state);
        EXPECT_EQ(ev.name[0] | ev.address.ipv6[0][0], 0); // no name and no address
    }
    fake::decode_with(data_call_status_ind{}, 4);
    fake::deliver_indication(KEST_DATA_CALL_STATUS_IND);
    EXPECT_EQ(g_events.size(), 4u);
    EXPECT_EQ(last(), "data call status event decode qmi_client_message_decode error 4");
    EXPECT_EQ(vg_mgmt_get_errno(), 1234);
}

TEST_F(DataCall, ProfileTextsGoOutCutAndTerminated)
{
    auto &up = rec<data_call_up_params>();
    up = {3, {}, 2, 255, {}, {}, {}};
    memset(up.apn_name, 'A', sizeof up.apn_name); // no terminator
    strcpy(up.password, "p@ss %s");
    const auto before = buf;
    ASSERT_EQ(set(DATA_CALL_CMD_UP), 0);
    const auto r = fake::request_as<data_call_up_set_req>(fake::last_sent());
    EXPECT_EQ(r.reconnect, 255);
    EXPECT_EQ(std::string(r.apn_name), std::string(150, 'A'));
    EXPECT_EQ(r.username[0] | r.username[127], 0);
    EXPECT_STREQ(r.password, "p@ss %s");
    EXPECT_EQ(r.password[127], 0);
    EXPECT_EQ(buf, before);
    EXPECT_TRUE(fake::logged("data_call up: profile id 3, ip type 2, reconnect 255"));

    auto &apn = rec<data_call_apn_params>();
    apn = {1, 4, 2, 255, "internet", "user", "secret"};
    ASSERT_EQ(set(DATA_CALL_CMD_APN), 0);
    const auto s = fake::request_as<data_call_apn_set_req>(fake::last_sent());
    EXPECT_EQ(s.auth_protocol, 255);
    EXPECT_STREQ(s.username, "user");
    fake::reply_with(data_call_apn_add_set_resp{{0, 0}, 17, 0xee});
    ASSERT_EQ(set(DATA_CALL_CMD_APN_ADD), 0);
    const auto a = fake::request_as<data_call_apn_add_set_req>(fake::last_sent());
    EXPECT_STREQ(a.password, "secret");
    EXPECT_EQ(apn.profile_index, 17); // the index the service chose, and nothing else
    EXPECT_EQ(last(), "add apn : profile index 17, profile type 1 success");
}

data_call_info_get_resp info_answer(const char *a0)
{
    data_call_info_get_resp r{};
    r.call_status = 200;
    r.flag = 2;
    memset(r.name, 'N', sizeof r.name); // no terminator
    strcpy(r.address_text[0], a0);
    strcpy(r.address_text[1], "not an address");
    r.stat_3 = 0x123456789abcdef0ull;
    r.stat_6 = 6;
    return r;
}

TEST_F(DataCall, InfoOfBothFamiliesTakesTwoPassesIpv4First)
{
    buf = fake::patterned(MGMT_DATA_CALL_VALUE_SIZE);
    auto &p = rec<data_call_info_params>();
    p.profile_id = 7;
    p.ip_type = DATA_CALL_IP_V4V6;
    const auto before = buf;
    fake::reply_with(info_answer("10.1.2.3"));
    auto v6 = info_answer("2001:db8::7");
    v6.status.result = 3; // result alone does not fail this command
    fake::reply_with(v6);
    ASSERT_EQ(get(DATA_CALL_CMD_INFO), 0);
    ASSERT_EQ(fake::sent_count(), 2u);
    EXPECT_EQ(g().sent[0].req, (std::vector<uint8_t>{7, 0}));
    EXPECT_EQ(g().sent[1].req, (std::vector<uint8_t>{7, 1}));
    EXPECT_EQ(std::string(p.ipv4.name), std::string(15, 'N'));
    EXPECT_EQ(p.ipv4.flag, 1);
    EXPECT_EQ(p.ipv4.address[0], inet_addr("10.1.2.3"));
    EXPECT_EQ(p.ipv4.address[1], 0xffffffffu);
    EXPECT_EQ(p.ipv4.stat_3, 0x123456789abcdef0ull);
    EXPECT_EQ(p.ipv6.stat_6, 6u);
    in6_addr a{};
    inet_pton(AF_INET6, "2001:db8::7", &a);
    EXPECT_EQ(memcmp(p.ipv6.address[0], &a, 16), 0);
    const size_t slot1 = offsetof(data_call_info_params, ipv6.address) + 16;
    EXPECT_EQ(memcmp(buf.data() + slot1, before.data() + slot1, 16), 0); // no address: kept
    EXPECT_TRUE(kept_from(sizeof p, before));
    EXPECT_EQ(last(), "get data_call info(profile id 7) success");

    buf = before; // a failed second pass leaves the IPv4 group filled, IPv6 untouched
    fake::reply_with(info_answer("10.0.0.1"));
    fake::reply_send_failure(4);
    EXPECT_EQ(get(DATA_CALL_CMD_INFO), -1);
    EXPECT_EQ(p.ipv4.address[0], inet_addr("10.0.0.1"));
    EXPECT_TRUE(kept_from(offsetof(data_call_info_params, ipv6), before));
    for (uint32_t family : {DATA_CALL_IP_V4, DATA_CALL_IP_V6}) { // one pass, one group
        buf = before;
        p.ip_type = family;
        fake::reply_with(info_answer("::1"));
        ASSERT_EQ(get(DATA_CALL_CMD_INFO), 0);
        EXPECT_EQ(req()[1], family);
        const size_t other = family == DATA_CALL_IP_V4 ? offsetof(data_call_info_params, ipv6)
                                                       : offsetof(data_call_info_params, ipv4);
        EXPECT_EQ(memcmp(buf.data() + other, before.data() + other, sizeof p.ipv4), 0);
    }
}

TEST_F(DataCall, CopiesBackStayWithinTheirFields)
{
    auto &apn = rec<data_call_apn_params>();
    apn = {1, 4, 0, 0, "internet", {}, "secret"};
    memset(apn.username, 'U', sizeof apn.username); // the caller's, unterminated
    const auto before = buf;
    data_call_apn_get_resp r{};
    r.pdp_type = 3;
    memset(r.apn_name, 'B', sizeof r.apn_name); // no terminator in the answer
    fake::reply_with(r);
    ASSERT_EQ(get(DATA_CALL_CMD_APN), 0);
    EXPECT_EQ(apn.pdp_type, 3);
    EXPECT_EQ(std::string(apn.apn_name), std::string(150, 'B'));
    EXPECT_EQ(std::string(apn.username, 128), std::string(128, 'U')); // an empty answer keeps it
    EXPECT_STREQ(apn.password, "secret");
    EXPECT_TRUE(kept_from(sizeof apn, before));
    strcpy(r.username, "bob"); // a text in the answer replaces the caller's, zero behind it
    fake::reply_with(r);
    ASSERT_EQ(get(DATA_CALL_CMD_APN), 0);
    EXPECT_EQ(std::string(apn.username, 5), std::string("bob\0\0", 5));

    for (uint8_t length : {0, 3, 255}) {
        buf = fake::patterned(MGMT_DATA_CALL_VALUE_SIZE);
        buf[0] = 1;
        const auto kept = buf;
        data_call_get_apn_list_get_resp l{};
        l.length = length;
        memset(l.index_list, 9, sizeof l.index_list);
        fake::reply_with(l);
        ASSERT_EQ(get(DATA_CALL_CMD_APN_LIST), 0);
        EXPECT_EQ(buf[1], length);
        EXPECT_TRUE(kept_from(2u + length, kept));
        EXPECT_EQ(std::count(buf.begin() + 2, buf.begin() + 2 + length, 9), length);
        EXPECT_EQ(last(), "get apn profile index list length " + std::to_string(length));
    }
    fake::reply_with(data_call_default_profile_get_resp{{0, 0}, 24, 200, 2, 0xee});
    ASSERT_EQ(get(DATA_CALL_CMD_DEFAULT_PROFILE), 0);
    EXPECT_EQ(rec<data_call_default_profile_params>().tech_pref, 200u); // widened
    EXPECT_EQ(rec<data_call_default_profile_params>().ip_family, 2u);
}

} // namespace
