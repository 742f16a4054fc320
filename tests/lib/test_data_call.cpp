// Data-call handlers and the data-call status indication decoder.
#include <arpa/inet.h>

#include <gtest/gtest.h>

#include "domain_test.h"

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

// ---------------------------------------------------------------------------
// Handlers

namespace {

constexpr uint32_t kSet = MGMT_OPT_SET;
constexpr uint32_t kGet = MGMT_OPT_GET;

template <class T>
T &as(uint8_t *b)
{
    return *reinterpret_cast<T *>(b);
}

template <size_t N>
void put(char (&field)[N], const char *text)
{
    memset(field, 0, N);
    memcpy(field, text, strlen(text));
}

void up_record(uint8_t *b)
{
    auto &p = as<data_call_up_params>(b);
    p.profile_id = 3;
    p.ip_type = 2;
    p.reconnect = 1;
    put(p.apn_name, "internet");
    put(p.username, "user");
    put(p.password, "secret");
}
void apn_record(uint8_t *b)
{
    auto &p = as<data_call_apn_params>(b);
    p.profile_type = 1;
    p.profile_index = 4;
    p.pdp_type = 2;
    p.auth_protocol = 255;
    put(p.apn_name, "internet");
    put(p.username, "user");
    put(p.password, "secret");
}

// One command and direction: a good record for it, the message it sends and
// the lines it writes with that record.
struct handler_row {
    uint32_t id;
    uint32_t flag;
    const char *func;
    void (*prep)(uint8_t *b);
    uint32_t msg_id;
    uint32_t req_len; // 0: a null request
    uint32_t resp_len;
    const char *label;
    bool judged_on_error;
    const char *start;
    const char *success;
    int success_level;
    const char *failure; // with error 9
};

const handler_row kHandlers[] = {
    {1, kSet, "data_call_up_set", up_record, 40, 410, 4, "set data_call up", true,
     "data_call up: profile id 3, ip type 2, reconnect 1",
     "set data_call up (profile id 3, ip type 2, reconnect 1 apn name internet username user "
     "password secret) success",
     3,
     "Can not set data_call up(profile id 3, ip type 2, reconnect 1 apn name internet username "
     "user password secret): error 9"},
    {2, kSet, "data_call_down_set",
     [](uint8_t *b) {
         as<data_call_down_params>(b) = {3, {9, 9, 9}, 1};
     },
     41, 2, 4, "set data_call down", true, "data_call down: profile id 3, ip type 1",
     "set data_call down(profile id 3) success", 3,
     "Can not set data_call down(profile id 3): error 9"},
    {3, kGet, "data_call_info_get",
     [](uint8_t *b) {
         as<data_call_info_params>(b).profile_id = 3;
         as<data_call_info_params>(b).ip_type = 0;
     },
     42, 2, 312, "get data_call info", true, "data_call get info: profile id 3",
     "get data_call info(profile id 3) success", 3,
     "Can not get data_call info(profile id 3): error 9"},
    {4, kSet, "data_call_apn_set", apn_record, 44, 411, 4, "set data_call apn", false,
     "set apn : profile id 4, profile type 1", "set apn : profile index 4, profile type 1 success",
     4, "Can not set data_call apn(profile index 4): error 9"},
    {4, kGet, "data_call_apn_get", apn_record, 45, 2, 416, "get data_call apn", false,
     "get apn : profile id 4, profile type 1",
     "get apn profile index 4 profile type 1 pdp type 0 auth protocol 0 apn name internet "
     "username user passwd secret",
     4, "Can not get data_call apn(profile index 4): error 9"},
    {5, kGet, "data_call_get_apn_list_get",
     [](uint8_t *b) { as<data_call_apn_list_params>(b).profile_type = 2; }, 46, 1, 262,
     "get data call apn list profile type 2", false, "get apn list profile type 2",
     "get apn profile index list length 0", 4,
     "Can not get data call apn list profile type 2: error 9"},
    {6, kSet, "data_call_apn_del_set", apn_record, 47, 2, 4, "delete data call apn", false,
     "delete apn : profile id 4, profile type 1", "Delete data call apn profile index 4 successed.",
     4, "Can not delete data_call apn(profile index 4): error 9"},
    {7, kSet, "data_call_apn_add_set", apn_record, 48, 410, 6, "add data_call apn", false,
     "add apn : profile type 1, pdp type 2, protocol 255 apn name internet username user "
     "password secret",
     "add apn : profile index 0, profile type 1 success", 4,
     "Can not add data_call apn(profile type 1): error 9"},
    {8, kSet, "data_call_default_profile_set",
     [](uint8_t *b) {
         as<data_call_default_profile_params>(b) = {5, {9, 9, 9}, 1, 2};
     },
     49, 3, 4, "set default profile", false,
     "set default profile: qcmap default id 5, tech pref 1, ip family 2",
     "Set default profile index 5 successed.", 4, "Can not set default profile: error 9"},
    {8, kGet, "data_call_default_profile_get", [](uint8_t *) {}, 50, 0, 8, "get default profile",
     false, "get default profile",
     "get default profile: qcmap default id 0, tech pref 0, ip family 0", 4,
     "Can not get default profile: error 9"},
};

class DataCallTest : public DomainTest<MGMT_DOMAIN_DATA_CALL, MGMT_DATA_CALL_VALUE_SIZE> {
protected:
    using DomainTest::run;
    int32_t run(const handler_row &r) { return run(r.flag, r.id, buf.data()); }

    // The lines of the handler itself, past the router's and the dispatcher's.
    static std::vector<fake::log_line> handler_lines()
    {
        std::vector<fake::log_line> out;
        for (auto &l : fake::logs())
            if (l.func != "mgmt_client_handle" && l.func != "data_call_command_handle")
                out.push_back(l);
        return out;
    }
};

std::string transport(const char *label, int rc, int result)
{
    return std::string("qmi_client_send_msg_sync(") + label + "): error " + std::to_string(rc) +
           " result " + std::to_string(result);
}

TEST_F(DataCallTest, EveryRowSendsItsMessageAndLogsUnderItsHandler)
{
    for (const auto &r : kHandlers) {
        SCOPED_TRACE(r.func);
        g().logs.clear();
        g().sent.clear();
        buf = fake::patterned(416);
        r.prep(buf.data());
        EXPECT_EQ(run(r), 0);
        ASSERT_EQ(fake::sent_count(), 1u);
        const auto m = fake::last_sent();
        EXPECT_EQ(m.msg_id, r.msg_id);
        EXPECT_EQ(m.req_null, r.req_len == 0);
        EXPECT_EQ(m.req_len, r.req_len);
        EXPECT_EQ(m.resp_len, r.resp_len);
        EXPECT_EQ(m.timeout_ms, 5000u);
        const auto lines = handler_lines();
        ASSERT_EQ(lines.size(), 3u);
        EXPECT_EQ(lines[0].text, r.start);
        EXPECT_EQ(lines[1].text, transport(r.label, 0, 0));
        EXPECT_EQ(lines[2].text, r.success);
        EXPECT_EQ(lines[2].level, r.success_level);
        for (const auto &l : lines) {
            EXPECT_EQ(l.func, r.func) << l.text;
            EXPECT_EQ(l.file, "vg_mgmt_data_call") << l.text;
        }
        EXPECT_EQ(lines[0].level, 4);
        EXPECT_EQ(lines[1].level, 4);
        EXPECT_EQ(vg_mgmt_get_errno(), 1234);
    }
}

// Every kind of bad answer, judged on the field that the command reads: up,
// down and info look at error, the rest at result. A failure leaves the
// record as it was and the error number holds the response's error, which a
// transport failure leaves at 0.
TEST_F(DataCallTest, AnswersAreJudgedAndFailuresLeaveTheRecord)
{
    struct answer {
        int rc; // not 0: the transport fails and writes nothing
        uint16_t result, error;
    };
    const answer answers[] = {{0, 1, 9}, {-3, 0, 0}, {0, 1, 0}, {0, 0, 7}};
    for (const auto &r : kHandlers) {
        for (const answer &a : answers) {
            SCOPED_TRACE(std::string(r.func) + " answer " + std::to_string(a.rc) + "/" +
                         std::to_string(a.result) + "/" + std::to_string(a.error));
            buf = fake::patterned(416);
            r.prep(buf.data());
            const auto before = buf;
            vg_mgmt_set_errno(1234);
            if (a.rc != 0)
                fake::reply_send_failure(a.rc);
            else
                fake::reply_status(a.result, a.error);
            const bool failed = a.rc != 0 || (r.judged_on_error ? a.error : a.result) != 0;
            EXPECT_EQ(run(r), failed ? -1 : 0);
            EXPECT_TRUE(fake::logged(transport(r.label, a.rc, a.result)));
            if (!failed) {
                EXPECT_EQ(vg_mgmt_get_errno(), 1234);
                continue;
            }
            EXPECT_EQ(vg_mgmt_get_errno(), a.error);
            std::string failure = r.failure;
            failure.replace(failure.rfind('9'), 1, std::to_string(a.error));
            EXPECT_EQ(fake::logs().back().text, failure);
            EXPECT_EQ(fake::logs().back().level, 1);
            EXPECT_EQ(fake::logs().back().func, r.func);
            EXPECT_EQ(buf, before);
        }
    }
}

TEST_F(DataCallTest, NullValueIsRefusedByEveryHandler)
{
    for (const auto &r : kHandlers) {
        SCOPED_TRACE(r.func);
        vg_mgmt_set_errno(1234);
        EXPECT_EQ(run(r.flag, r.id, nullptr), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_EQ(fake::logs().back().text, "the data call params is null");
        EXPECT_EQ(fake::logs().back().func, r.func);
        EXPECT_EQ(fake::logs().back().level, 1);
    }
    EXPECT_EQ(fake::sent_count(), 0u);
}

TEST_F(DataCallTest, DirectionsARowLacksAreRefused)
{
    const std::pair<uint32_t, uint32_t> missing[] = {{1, kGet}, {2, kGet}, {3, kSet},
                                                     {5, kSet}, {6, kGet}, {7, kGet}};
    for (const auto &[id, flag] : missing) {
        vg_mgmt_set_errno(1234);
        EXPECT_EQ(run(flag, id, buf.data()), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), -2);
        EXPECT_EQ(fake::logs().back().text, "command " + std::to_string(id) + " function is null");
    }
    for (uint32_t id : {0u, 9u}) {
        EXPECT_EQ(data_call_command_handle(h, kSet, id, buf.data()), -1);
        EXPECT_EQ(fake::logs().back().text,
                  "cannot found " + std::to_string(id) + " Data Call command");
    }
    EXPECT_EQ(data_call_command_handle(h, 3, 8, buf.data()), -1);
    EXPECT_EQ(fake::logs().back().text, "3 invalid command flag");
    EXPECT_EQ(fake::sent_count(), 0u);
}

// ---------------------------------------------------------------------------
// Range edges

struct edge_row {
    uint32_t id;
    uint32_t flag;
    void (*write)(uint8_t *b); // a good record, then the field under test
    const char *refusal;       // nullptr: the command is sent
};

void up_with(uint8_t *b, uint8_t profile, uint32_t ip_type)
{
    up_record(b);
    as<data_call_up_params>(b).profile_id = profile;
    as<data_call_up_params>(b).ip_type = ip_type;
}
void apn_with(uint8_t *b, uint8_t type, uint8_t index, uint8_t pdp, uint8_t auth)
{
    apn_record(b);
    as<data_call_apn_params>(b).profile_type = type;
    as<data_call_apn_params>(b).profile_index = index;
    as<data_call_apn_params>(b).pdp_type = pdp;
    as<data_call_apn_params>(b).auth_protocol = auth;
}
void default_with(uint8_t *b, uint8_t id, uint32_t tech, uint32_t family)
{
    as<data_call_default_profile_params>(b).default_id = id;
    as<data_call_default_profile_params>(b).tech_pref = tech;
    as<data_call_default_profile_params>(b).ip_family = family;
}

const edge_row kEdges[] = {
    // Up, down and info share the profile and IP type test.
    {1, kSet, [](uint8_t *b) { up_with(b, 24, 2); }, nullptr},
    {1, kSet, [](uint8_t *b) { up_with(b, 25, 0); }, "Invalid profile id 25, ip type 0"},
    {1, kSet, [](uint8_t *b) { up_with(b, 0, 3); }, "Invalid profile id 0, ip type 3"},
    {1, kSet, [](uint8_t *b) { up_with(b, 0, 256); }, "Invalid profile id 0, ip type 256"},
    {2, kSet, [](uint8_t *b) { up_with(b, 24, 2); }, nullptr},
    {2, kSet, [](uint8_t *b) { up_with(b, 25, 2); }, "Invalid profile id 25, ip type 2"},
    {2, kSet, [](uint8_t *b) { up_with(b, 1, 256); }, "Invalid profile id 1, ip type 256"},
    {3, kGet, [](uint8_t *b) { up_with(b, 24, 1); }, nullptr},
    {3, kGet, [](uint8_t *b) { up_with(b, 25, 1); }, "Invalid profile id 25, ip type 1"},
    {3, kGet, [](uint8_t *b) { up_with(b, 2, 3); }, "Invalid profile id 2, ip type 3"},
    {3, kGet, [](uint8_t *b) { up_with(b, 2, 256); }, "Invalid profile id 2, ip type 256"},
    // APN set: all four fields.
    {4, kSet, [](uint8_t *b) { apn_with(b, 2, 24, 3, 255); }, nullptr},
    {4, kSet, [](uint8_t *b) { apn_with(b, 2, 24, 255, 3); }, nullptr},
    {4, kSet, [](uint8_t *b) { apn_with(b, 3, 0, 0, 0); },
     "set apn failure: invalid profile type 3, profile index 0, pdp type 0, auth protocol 0"},
    {4, kSet, [](uint8_t *b) { apn_with(b, 0, 25, 0, 0); },
     "set apn failure: invalid profile type 0, profile index 25, pdp type 0, auth protocol 0"},
    {4, kSet, [](uint8_t *b) { apn_with(b, 0, 0, 4, 0); },
     "set apn failure: invalid profile type 0, profile index 0, pdp type 4, auth protocol 0"},
    {4, kSet, [](uint8_t *b) { apn_with(b, 0, 0, 254, 0); },
     "set apn failure: invalid profile type 0, profile index 0, pdp type 254, auth protocol 0"},
    {4, kSet, [](uint8_t *b) { apn_with(b, 0, 0, 0, 4); },
     "set apn failure: invalid profile type 0, profile index 0, pdp type 0, auth protocol 4"},
    {4, kSet, [](uint8_t *b) { apn_with(b, 0, 0, 0, 254); },
     "set apn failure: invalid profile type 0, profile index 0, pdp type 0, auth protocol 254"},
    // APN add: the index is an output and is not tested.
    {7, kSet, [](uint8_t *b) { apn_with(b, 2, 200, 255, 3); }, nullptr},
    {7, kSet, [](uint8_t *b) { apn_with(b, 3, 0, 0, 0); },
     "add apn failure: invalid profile type 3, pdp type 0, auth protocol 0"},
    {7, kSet, [](uint8_t *b) { apn_with(b, 0, 0, 4, 255); },
     "add apn failure: invalid profile type 0, pdp type 4, auth protocol 255"},
    {7, kSet, [](uint8_t *b) { apn_with(b, 0, 0, 3, 254); },
     "add apn failure: invalid profile type 0, pdp type 3, auth protocol 254"},
    // APN get and delete: type and index only.
    {4, kGet, [](uint8_t *b) { apn_with(b, 2, 24, 200, 200); }, nullptr},
    {4, kGet, [](uint8_t *b) { apn_with(b, 3, 0, 0, 0); },
     "get apn failure: invalid profile type 3, profile index 0"},
    {4, kGet, [](uint8_t *b) { apn_with(b, 0, 25, 0, 0); },
     "get apn failure: invalid profile type 0, profile index 25"},
    {6, kSet, [](uint8_t *b) { apn_with(b, 2, 24, 200, 200); }, nullptr},
    {6, kSet, [](uint8_t *b) { apn_with(b, 3, 0, 0, 0); },
     "delete apn failure: invalid profile type 3, profile index 0"},
    {6, kSet, [](uint8_t *b) { apn_with(b, 1, 25, 0, 0); },
     "delete apn failure: invalid profile type 1, profile index 25"},
    // APN list.
    {5, kGet, [](uint8_t *b) { b[0] = 2; }, nullptr},
    {5, kGet, [](uint8_t *b) { b[0] = 3; }, "get apn list failure: invalid profile type 3"},
    // Default profile: the set direction only.
    {8, kSet, [](uint8_t *b) { default_with(b, 24, 2, 2); }, nullptr},
    {8, kSet, [](uint8_t *b) { default_with(b, 25, 0, 0); },
     "Invalid profile id 25, tech pref 0 ip type 0"},
    {8, kSet, [](uint8_t *b) { default_with(b, 0, 3, 0); },
     "Invalid profile id 0, tech pref 3 ip type 0"},
    {8, kSet, [](uint8_t *b) { default_with(b, 0, 256, 0); },
     "Invalid profile id 0, tech pref 256 ip type 0"},
    {8, kSet, [](uint8_t *b) { default_with(b, 0, 0, 3); },
     "Invalid profile id 0, tech pref 0 ip type 3"},
    {8, kGet, [](uint8_t *b) { default_with(b, 255, 0xffffffff, 0xffffffff); }, nullptr},
};

TEST_F(DataCallTest, RangeEdges)
{
    size_t row = 0;
    for (const auto &e : kEdges) {
        SCOPED_TRACE("edge row " + std::to_string(row++));
        g().sent.clear();
        buf = fake::patterned(416);
        e.write(buf.data());
        const auto before = buf;
        vg_mgmt_set_errno(1234);
        if (e.refusal == nullptr) {
            EXPECT_EQ(run(e.flag, e.id, buf.data()), 0);
            EXPECT_EQ(fake::sent_count(), 1u);
            EXPECT_EQ(vg_mgmt_get_errno(), 1234);
            continue;
        }
        EXPECT_EQ(run(e.flag, e.id, buf.data()), -1);
        EXPECT_EQ(fake::sent_count(), 0u);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_EQ(fake::logs().back().text, e.refusal);
        EXPECT_EQ(fake::logs().back().level, 1);
        EXPECT_EQ(buf, before);
    }
}

// ---------------------------------------------------------------------------
// Requests

// The profile data in each of its layouts on the wire.
struct layout_row {
    uint32_t id;
    std::vector<uint8_t> head; // the bytes before the texts
    size_t apn, user, pass;    // offsets of the texts
};

TEST_F(DataCallTest, TextsReachTheRequestByteForByte)
{
    const layout_row layouts[] = {
        {1, {3, 2, 255}, 3, 154, 282},
        {4, {1, 4, 2, 255}, 4, 155, 283},
        {7, {1, 2, 255}, 3, 154, 282},
    };
    const char password[] = "p@ss \"w0rd\" %s %d\t\x7f\xe9";
    for (const auto &l : layouts) {
        SCOPED_TRACE(l.id);
        buf = fake::patterned(416);
        if (l.id == 1) {
            up_record(buf.data());
            record<data_call_up_params>().reconnect = 255;
            put(record<data_call_up_params>().password, password);
            memset(record<data_call_up_params>().apn_name, 'A', 151); // no terminator
            put(record<data_call_up_params>().username, "");
        } else {
            apn_record(buf.data());
            put(record<data_call_apn_params>().password, password);
            memset(record<data_call_apn_params>().apn_name, 'A', 151);
            put(record<data_call_apn_params>().username, "");
        }
        const auto before = buf;
        ASSERT_EQ(set(l.id), 0);
        const auto req = fake::last_sent().req;
        EXPECT_TRUE(std::equal(l.head.begin(), l.head.end(), req.begin()));
        // A full-width text goes out cut by a byte, terminated.
        EXPECT_EQ(std::string(reinterpret_cast<const char *>(&req[l.apn]), 150),
                  std::string(150, 'A'));
        EXPECT_EQ(req[l.apn + 150], 0);
        for (size_t i = l.user; i < l.user + 128; ++i)
            ASSERT_EQ(req[i], 0) << i;
        EXPECT_EQ(memcmp(&req[l.pass], password, sizeof password), 0);
        for (size_t i = l.pass + sizeof password; i < l.pass + 128; ++i)
            ASSERT_EQ(req[i], 0) << i;
        if (l.id != DATA_CALL_CMD_APN_ADD) { // add writes back the index
            EXPECT_EQ(buf, before);
        }
    }
}

TEST_F(DataCallTest, EmptyTextsLeaveTheUpRequestZeroBehindItsHead)
{
    up_record(buf.data());
    put(record<data_call_up_params>().apn_name, "");
    put(record<data_call_up_params>().username, "");
    put(record<data_call_up_params>().password, "");
    ASSERT_EQ(set(DATA_CALL_CMD_UP), 0);
    const auto req = fake::last_sent().req;
    ASSERT_EQ(req.size(), 410u);
    EXPECT_EQ(std::vector<uint8_t>(req.begin() + 3, req.end()), std::vector<uint8_t>(407, 0));
}

TEST_F(DataCallTest, NarrowRequestsCarryTheLowBytes)
{
    as<data_call_down_params>(buf.data()) = {24, {}, 2};
    ASSERT_EQ(set(DATA_CALL_CMD_DOWN), 0);
    EXPECT_EQ(fake::last_sent().req, (std::vector<uint8_t>{24, 2}));
    default_with(buf.data(), 24, 2, 1);
    ASSERT_EQ(set(DATA_CALL_CMD_DEFAULT_PROFILE), 0);
    EXPECT_EQ(fake::last_sent().req, (std::vector<uint8_t>{24, 2, 1}));
    apn_with(buf.data(), 2, 17, 0, 0);
    ASSERT_EQ(get(DATA_CALL_CMD_APN), 0);
    EXPECT_EQ(fake::last_sent().req, (std::vector<uint8_t>{2, 17}));
    ASSERT_EQ(set(DATA_CALL_CMD_APN_DEL), 0);
    EXPECT_EQ(fake::last_sent().req, (std::vector<uint8_t>{2, 17}));
    ASSERT_EQ(get(DATA_CALL_CMD_APN_LIST), 0);
    EXPECT_EQ(fake::last_sent().req, (std::vector<uint8_t>{2}));
}

// ---------------------------------------------------------------------------
// Call information

data_call_info_get_resp info_answer(const char *a0, uint8_t flag)
{
    data_call_info_get_resp r{};
    r.call_status = 200;
    r.flag = flag;
    strcpy(r.name, "rmnet0");
    strcpy(r.address_text[0], a0);
    strcpy(r.address_text[1], "not an address");
    r.address_text[2][0] = '\0';
    memset(r.address_text[3], '1', 64); // no terminator in the field
    r.stat_1 = 1;
    r.stat_2 = 0xfffffffe;
    r.stat_3 = 0x123456789abcdef0ull;
    r.stat_4 = 4;
    r.stat_5 = 5;
    r.stat_6 = 6;
    return r;
}

TEST_F(DataCallTest, InfoBothFamiliesTakesTwoPassesIpv4First)
{
    auto &p = record<data_call_info_params>();
    p.profile_id = 7;
    p.ip_type = 2;
    const auto before = buf;
    auto v4 = info_answer("10.1.2.3", 2);
    memset(v4.name, 'N', sizeof v4.name); // no terminator
    fake::reply_with(v4, 0);
    auto v6 = info_answer("2001:db8::7", 0);
    v6.status.result = 3; // result alone does not fail this command
    fake::reply_with(v6);
    ASSERT_EQ(get(DATA_CALL_CMD_INFO), 0);
    ASSERT_EQ(fake::sent_count(), 2u);
    EXPECT_EQ(g().sent[0].req, (std::vector<uint8_t>{7, 0}));
    EXPECT_EQ(g().sent[1].req, (std::vector<uint8_t>{7, 1}));
    EXPECT_EQ(g().sent[1].resp_len, 312u);

    EXPECT_EQ(std::string(p.ipv4.name), std::string(15, 'N'));
    EXPECT_EQ(p.ipv4.status, 200u);
    EXPECT_EQ(p.ipv4.flag, 1);
    EXPECT_EQ(p.ipv4.address[0], inet_addr("10.1.2.3"));
    EXPECT_EQ(p.ipv4.address[1], 0xffffffffu);
    EXPECT_EQ(p.ipv4.address[2], 0xffffffffu);
    EXPECT_EQ(p.ipv4.address[3], 0xffffffffu);
    EXPECT_EQ(p.ipv4.stat_2, 0xfffffffeu);
    EXPECT_EQ(p.ipv4.stat_3, 0x123456789abcdef0ull);
    EXPECT_EQ(p.ipv4.stat_6, 6u);
    // Reserved bytes behind the flag are not the library's.
    EXPECT_EQ(memcmp(p.ipv4.reserved,
                     before.data() + offsetof(data_call_info_params, ipv4) +
                         offsetof(data_call_info_v4, reserved),
                     3),
              0);

    EXPECT_STREQ(p.ipv6.name, "rmnet0");
    EXPECT_EQ(p.ipv6.flag, 0);
    in6_addr a{};
    inet_pton(AF_INET6, "2001:db8::7", &a);
    EXPECT_EQ(memcmp(p.ipv6.address[0], &a, 16), 0);
    // Texts that are no address leave the caller's bytes.
    const size_t slot1 =
        offsetof(data_call_info_params, ipv6) + offsetof(data_call_info_v6, address) + 16;
    EXPECT_TRUE(std::equal(buf.begin() + slot1, buf.begin() + slot1 + 48, before.begin() + slot1));
    EXPECT_EQ(p.ipv6.stat_5, 5u);
    EXPECT_TRUE(std::equal(buf.begin() + 200, buf.end(), before.begin() + 200));

    const auto lines = handler_lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[1].text, transport("get data_call info", 0, 0));
    EXPECT_EQ(lines[2].text, transport("get data_call info", 0, 3));
    EXPECT_EQ(lines[3].text, "get data_call info(profile id 7) success");
}

TEST_F(DataCallTest, InfoOneFamilyLeavesTheOtherGroupAlone)
{
    struct row {
        uint32_t ip_type;
        size_t kept_from, kept_to; // the group not asked for
    };
    const size_t v4 = offsetof(data_call_info_params, ipv4);
    const size_t v6 = offsetof(data_call_info_params, ipv6);
    for (const row r : {row{0, v6, 200}, row{1, v4, v6}}) {
        buf = fake::patterned(416);
        record<data_call_info_params>().profile_id = 1;
        record<data_call_info_params>().ip_type = r.ip_type;
        const auto before = buf;
        g().sent.clear();
        fake::reply_with(info_answer("::1", 1));
        ASSERT_EQ(get(DATA_CALL_CMD_INFO), 0);
        ASSERT_EQ(fake::sent_count(), 1u);
        EXPECT_EQ(fake::last_sent().req[1], r.ip_type);
        EXPECT_TRUE(std::equal(buf.begin() + r.kept_from, buf.begin() + r.kept_to,
                               before.begin() + r.kept_from));
        EXPECT_NE(buf, before);
    }
}

TEST_F(DataCallTest, InfoFailureInEitherPass)
{
    auto &p = record<data_call_info_params>();
    p.profile_id = 2;
    p.ip_type = 2;
    const auto before = buf;

    // First pass refused: nothing is written and no second message goes out.
    auto bad = info_answer("10.0.0.1", 1);
    bad.status = {0, 12};
    fake::reply_with(bad);
    EXPECT_EQ(get(DATA_CALL_CMD_INFO), -1);
    EXPECT_EQ(fake::sent_count(), 1u);
    EXPECT_EQ(vg_mgmt_get_errno(), 12);
    EXPECT_EQ(buf, before);

    // Second pass refused: the IPv4 group stays filled, IPv6 untouched.
    fake::reply_with(info_answer("10.0.0.1", 1));
    fake::reply_send_failure(4);
    EXPECT_EQ(get(DATA_CALL_CMD_INFO), -1);
    EXPECT_EQ(fake::sent_count(), 3u);
    EXPECT_EQ(vg_mgmt_get_errno(), 0);
    EXPECT_EQ(p.ipv4.address[0], inet_addr("10.0.0.1"));
    const size_t v6 = offsetof(data_call_info_params, ipv6);
    EXPECT_TRUE(std::equal(buf.begin() + v6, buf.end(), before.begin() + v6));
    EXPECT_EQ(fake::logs().back().text, "Can not get data_call info(profile id 2): error 0");
    EXPECT_FALSE(fake::logged("get data_call info(profile id 2) success"));
}

// ---------------------------------------------------------------------------
// Copy-out of APN, list and default profile

TEST_F(DataCallTest, ApnGetKeepsTheCallersTextsWhereTheAnswerIsEmpty)
{
    apn_record(buf.data());
    auto &p = record<data_call_apn_params>();
    memset(p.username, 'U', sizeof p.username); // the caller's, unterminated
    const auto before = buf;
    data_call_apn_get_resp r{};
    r.unused0[0] = r.unused0[1] = 0xee;
    r.pdp_type = 3;
    r.auth_protocol = 1;
    memset(r.apn_name, 'B', sizeof r.apn_name); // no terminator in the answer
    r.password[0] = '\0';
    r.unused1 = 0xee;
    fake::reply_with(r);
    ASSERT_EQ(get(DATA_CALL_CMD_APN), 0);
    EXPECT_EQ(p.profile_type, 1);
    EXPECT_EQ(p.profile_index, 4);
    EXPECT_EQ(p.pdp_type, 3);
    EXPECT_EQ(p.auth_protocol, 1);
    EXPECT_EQ(std::string(p.apn_name), std::string(150, 'B'));
    EXPECT_EQ(memcmp(p.username, before.data() + 155, 128), 0);
    EXPECT_STREQ(p.password, "secret");
    EXPECT_TRUE(std::equal(buf.begin() + 411, buf.end(), before.begin() + 411));
    EXPECT_EQ(fake::logs().back().text,
              "get apn profile index 4 profile type 1 pdp type 3 auth protocol 1 apn name " +
                  std::string(150, 'B') + " username " + std::string(128, 'U') + " passwd secret");

    strcpy(r.password, "new");
    strcpy(r.username, "bob");
    fake::reply_with(r);
    ASSERT_EQ(get(DATA_CALL_CMD_APN), 0);
    EXPECT_STREQ(p.username, "bob");
    EXPECT_STREQ(p.password, "new");
    EXPECT_EQ(p.password[4], 0); // the rest of the field is cleared
}

TEST_F(DataCallTest, ApnAddTellsTheChosenIndexAndChangesNothingElse)
{
    apn_record(buf.data());
    const auto before = buf;
    fake::reply_with(data_call_apn_add_set_resp{{0, 0}, 17, 0xee});
    ASSERT_EQ(set(DATA_CALL_CMD_APN_ADD), 0);
    EXPECT_EQ(buf[1], 17);
    buf[1] = before[1];
    EXPECT_EQ(buf, before);
    EXPECT_EQ(fake::logs().back().text, "add apn : profile index 17, profile type 1 success");
}

TEST_F(DataCallTest, ApnListCopiesExactlyLengthBytes)
{
    for (uint8_t length : {0, 3, 255}) {
        SCOPED_TRACE(int(length));
        buf = fake::patterned(416);
        buf[0] = 1;
        const auto before = buf;
        data_call_get_apn_list_get_resp r{};
        r.length = length;
        for (size_t i = 0; i < sizeof r.index_list; ++i)
            r.index_list[i] = static_cast<uint8_t>(i + 1);
        fake::reply_with(r);
        ASSERT_EQ(get(DATA_CALL_CMD_APN_LIST), 0);
        EXPECT_EQ(buf[0], 1);
        EXPECT_EQ(buf[1], length);
        for (size_t i = 0; i < length; ++i)
            ASSERT_EQ(buf[2 + i], i + 1) << i;
        EXPECT_TRUE(std::equal(buf.begin() + 2 + length, buf.end(), before.begin() + 2 + length));
        EXPECT_EQ(fake::logs().back().text,
                  "get apn profile index list length " + std::to_string(length));
    }
}

TEST_F(DataCallTest, DefaultProfileGetWidensAndLeavesTheReservedBytes)
{
    const auto before = buf;
    fake::reply_with(data_call_default_profile_get_resp{{0, 0}, 24, 200, 2, 0xee});
    ASSERT_EQ(get(DATA_CALL_CMD_DEFAULT_PROFILE), 0);
    const auto &p = record<data_call_default_profile_params>();
    EXPECT_EQ(p.default_id, 24);
    EXPECT_EQ(p.tech_pref, 200u);
    EXPECT_EQ(p.ip_family, 2u);
    EXPECT_TRUE(std::equal(buf.begin() + 1, buf.begin() + 4, before.begin() + 1));
    EXPECT_TRUE(std::equal(buf.begin() + 12, buf.end(), before.begin() + 12));
}

} // namespace
