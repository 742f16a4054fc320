// Network handlers.
#include <gtest/gtest.h>

#include "domain_test.h"

using fake::g;

namespace {

constexpr uint32_t kSet = MGMT_OPT_SET;
constexpr uint32_t kGet = MGMT_OPT_GET;

class NetworkTest : public DomainTest<MGMT_DOMAIN_NETWORK, MGMT_NETWORK_VALUE_SIZE> {
protected:
    // The lines written after the transport line of the last send.
    static std::vector<fake::log_line> lines_after_transport()
    {
        auto all = fake::logs();
        auto it = std::find_if(all.rbegin(), all.rend(), [](const fake::log_line &l) {
            return l.text.rfind("qmi_client_send_msg_sync(", 0) == 0;
        });
        return {it.base(), all.end()};
    }
};

// ---------------------------------------------------------------------------
// Every command and direction: its message, its lines, its failures

// Makes the record valid for its set handler; the rest of the buffer keeps
// its pattern.
using prepare_fn = void (*)(uint8_t *buf);
void valid_snat(uint8_t *b)
{
    auto *r = reinterpret_cast<network_snat_params *>(b);
    r->private_port = 80;
    r->global_port = 8080;
    r->protocol = 6;
}
void valid_mode(uint8_t *b)
{
    reinterpret_cast<network_ethernet_mode_params *>(b)->mode = 1;
}
void valid_sgmii_config(uint8_t *b)
{
    auto *r = reinterpret_cast<network_sgmii_config_params *>(b);
    r->speed = 2;
    r->duplex = 1;
}

struct command_case {
    uint32_t flag;
    uint32_t id;
    const char *handler;
    uint32_t msg_id;
    uint32_t req_len; // 0: a null request
    uint32_t resp_len;
    const char *label;
    const char *failure; // the failure line without its number
    prepare_fn prepare;
};

const command_case kCommands[] = {
    {kSet, 1, "network_dmz_add_set", 51, 4, 4, "add dmz", "can not add dmz ipv4 address: error ",
     nullptr},
    {kSet, 2, "network_dmz_del_set", 52, 0, 4, "delete dmz",
     "can not delete dmz ipv4 address: error ", nullptr},
    {kGet, 3, "network_dmz_get_get", 53, 0, 8, "get dmz", "can not get dmz ipv4 address: error ",
     nullptr},
    {kSet, 4, "network_sgmii_enable_set", 54, 1, 4, "set sgmii enable",
     "can not set enable sgmii: error ", nullptr},
    {kGet, 4, "network_sgmii_enable_get", 55, 0, 6, "get sgmii enable",
     "can not get enable sgmii: error ", nullptr},
    {kSet, 5, "network_sgmii_config_set", 56, 3, 4, "config set sgmii set",
     "can not set sgmii config: error ", valid_sgmii_config},
    {kGet, 5, "network_sgmii_config_get", 57, 0, 8, "config sgmii get",
     "can not get sgmii config: error ", nullptr},
    {kGet, 6, "network_sgmii_info_get", 58, 0, 48, "get sgmii info",
     "can not get sgmii info: error ", nullptr},
    {kSet, 7, "network_lan_config_set", 59, 24, 4, "set lan config",
     "can not set lan config: error ", nullptr},
    {kGet, 7, "network_lan_config_get", 60, 0, 28, "get lan config",
     "can not get lan config: error ", nullptr},
    {kSet, 8, "network_snat_add_set", 61, 12, 4, "add snat", "can not add snat: error ",
     valid_snat},
    {kSet, 9, "network_snat_del_set", 62, 12, 4, "del snat", "can not del snat: error ",
     valid_snat},
    {kGet, 10, "network_snat_get_get", 63, 0, 392, "get snat", "can not get snat: error ", nullptr},
    {kSet, 11, "network_ethernet_mode_set", 64, 4, 4, "set ethernet mode",
     "can not set ethernet mode: error ", valid_mode},
    {kGet, 11, "network_ethernet_mode_get", 65, 0, 8, "get ethernet mode",
     "can not get ethernet mode: error ", nullptr},
};

std::string transport_line(const command_case &c, int rc, int result)
{
    return std::string("qmi_client_send_msg_sync(") + c.label + "): error " + std::to_string(rc) +
           " result " + std::to_string(result);
}

TEST_F(NetworkTest, EachCommandSendsItsMessage)
{
    for (const auto &c : kCommands) {
        SCOPED_TRACE(c.handler);
        g().logs.clear();
        buf = fake::patterned(392);
        if (c.prepare)
            c.prepare(buf.data());
        EXPECT_EQ(run(c.flag, c.id, buf.data()), 0);
        const auto m = fake::last_sent();
        EXPECT_EQ(m.msg_id, c.msg_id);
        EXPECT_EQ(m.req_null, c.req_len == 0);
        EXPECT_EQ(m.req_len, c.req_len);
        EXPECT_EQ(m.resp_len, c.resp_len);
        EXPECT_EQ(m.timeout_ms, 5000u);
        const auto logs = fake::logs();
        auto t = std::find_if(logs.begin(), logs.end(), [&](const fake::log_line &l) {
            return l.text == transport_line(c, 0, 0);
        });
        ASSERT_NE(t, logs.end());
        EXPECT_EQ(t->func, c.handler);
        EXPECT_EQ(t->file, "vg_mgmt_network");
        EXPECT_EQ(t->level, 4);
        EXPECT_EQ(vg_mgmt_get_errno(), 1234);
    }
    EXPECT_EQ(fake::sent_count(), std::size(kCommands));
}

TEST_F(NetworkTest, EachCommandPassesTheServiceErrorOnAndLeavesTheRecord)
{
    for (const auto &c : kCommands) {
        SCOPED_TRACE(c.handler);
        buf = fake::patterned(392);
        if (c.prepare)
            c.prepare(buf.data());
        const auto before = buf;

        fake::reply_status(1, 300);
        EXPECT_EQ(run(c.flag, c.id, buf.data()), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 300);
        EXPECT_EQ(fake::logs().back().text, c.failure + std::string("300"));
        EXPECT_EQ(fake::logs().back().level, 1);
        EXPECT_EQ(fake::logs().back().func, c.handler);
        EXPECT_TRUE(fake::logged(transport_line(c, 0, 1)));
        EXPECT_EQ(buf, before);

        // The transport fails and writes nothing: the zeroed error stands.
        fake::reply_send_failure(-7);
        EXPECT_EQ(run(c.flag, c.id, buf.data()), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 0);
        EXPECT_EQ(fake::logs().back().text, c.failure + std::string("0"));
        EXPECT_TRUE(fake::logged(transport_line(c, -7, 0)));
        EXPECT_EQ(buf, before);
    }
}

TEST_F(NetworkTest, NullValueIsRefusedByAllButDmzDelete)
{
    for (const auto &c : kCommands) {
        SCOPED_TRACE(c.handler);
        g().sent.clear();
        g().logs.clear();
        vg_mgmt_set_errno(1234);
        const int32_t rc = run(c.flag, c.id, nullptr);
        if (c.id == NETWORK_CMD_DMZ_DEL) {
            EXPECT_EQ(rc, 0);
            EXPECT_EQ(fake::sent_count(), 1u);
            EXPECT_EQ(vg_mgmt_get_errno(), 1234);
            EXPECT_EQ(fake::logs().back().text, "network delete dmz IPv4 address success");
            EXPECT_EQ(fake::logs().back().level, 3);
            continue;
        }
        EXPECT_EQ(rc, -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_EQ(fake::sent_count(), 0u);
        EXPECT_EQ(fake::logs().back().text, "the network params is null");
        EXPECT_EQ(fake::logs().back().func, c.handler);
        EXPECT_EQ(fake::logs().back().level, 1);
    }
}

TEST_F(NetworkTest, MissingDirectionsAreRefusedByTheDispatcher)
{
    const std::pair<uint32_t, uint32_t> missing[] = {{kGet, 1}, {kGet, 2}, {kSet, 3}, {kSet, 6},
                                                     {kGet, 8}, {kGet, 9}, {kSet, 10}};
    for (const auto &[flag, id] : missing) {
        EXPECT_EQ(run(flag, id, buf.data()), -1) << id;
        EXPECT_EQ(vg_mgmt_get_errno(), -2);
        EXPECT_EQ(fake::logs().back().text, "command " + std::to_string(id) + " function is null");
    }
    EXPECT_EQ(fake::sent_count(), 0u);
}

// ---------------------------------------------------------------------------
// DMZ

TEST_F(NetworkTest, DmzAddressesTravelBitForBitAndEachSinkFormatsItsOwnText)
{
    record<network_dmz_params>().ipv4_addr = 0x0401a8c0; // 192.168.1.4 as inet_addr gives it
    EXPECT_EQ(set(NETWORK_CMD_DMZ_ADD), 0);
    EXPECT_EQ(fake::request_as<network_dmz_add_set_req>(fake::last_sent()).ipv4_addr, 0x0401a8c0u);
    EXPECT_TRUE(fake::logged("network add dmz: IPv4 address 192.168.1.4"));
    EXPECT_EQ(fake::logs().back().text, "network add dmz IPv4 address 192.168.1.4 success");
    EXPECT_EQ(fake::logs().back().level, 3);
    EXPECT_EQ(g().ntoa_calls, 4); // two lines, two sinks each

    record<network_dmz_params>().ipv4_addr = 0; // no range test
    EXPECT_EQ(set(NETWORK_CMD_DMZ_ADD), 0);
    EXPECT_EQ(fake::request_as<network_dmz_add_set_req>(fake::last_sent()).ipv4_addr, 0u);

    g().ntoa_calls = 0;
    const auto before = buf;
    fake::reply_with(network_dmz_get_get_resp{{0, 0}, 0xfeffa8c0});
    EXPECT_EQ(get(NETWORK_CMD_DMZ_GET), 0);
    EXPECT_EQ(record<network_dmz_params>().ipv4_addr, 0xfeffa8c0u);
    EXPECT_TRUE(std::equal(buf.begin() + 4, buf.end(), before.begin() + 4));
    EXPECT_EQ(fake::logs().back().text, "network get dmz IPv4 address 192.168.255.254 success");
    EXPECT_EQ(g().ntoa_calls, 2);

    g().ntoa_calls = 0;
    EXPECT_EQ(set(NETWORK_CMD_DMZ_DEL), 0);
    EXPECT_EQ(g().ntoa_calls, 0);
    EXPECT_TRUE(fake::logged("network delete dmz"));
}

// ---------------------------------------------------------------------------
// SNAT add and delete

struct snat_edge {
    uint32_t private_ip;
    uint16_t private_port;
    uint16_t global_port;
    uint8_t protocol;
    bool accepted;
};
const snat_edge kSnatEdges[] = {
    {0x0100000a, 0, 8080, 6, false},    {0x0100000a, 80, 0, 6, false},
    {0x0100000a, 80, 8080, 5, false},   {0x0100000a, 80, 8080, 6, true},
    {0x0100000a, 80, 8080, 17, true},   {0x0100000a, 80, 8080, 253, true},
    {0x0100000a, 80, 8080, 254, false}, {0x0100000a, 80, 8080, 0, false},
    {0x0100000a, 80, 8080, 255, false}, {0, 1, 65535, 6, true},
};

TEST_F(NetworkTest, SnatRuleEdges)
{
    for (uint32_t id : {NETWORK_CMD_SNAT_ADD, NETWORK_CMD_SNAT_DEL}) {
        const std::string verb = id == NETWORK_CMD_SNAT_ADD ? "add" : "del";
        for (const auto &e : kSnatEdges) {
            const std::string rule = "private port " + std::to_string(e.private_port) +
                                     " global port " + std::to_string(e.global_port) +
                                     " protocol " + std::to_string(e.protocol);
            SCOPED_TRACE(verb + " " + rule);
            buf = fake::patterned(392); // the gap behind protocol holds the pattern
            record<network_snat_params>() = {
                e.private_ip, e.private_port, e.global_port, e.protocol, {0xaa, 0xbb, 0xcc}};
            g().sent.clear();
            g().logs.clear();
            g().ntoa_calls = 0;
            const auto before = buf;
            EXPECT_EQ(set(id), e.accepted ? 0 : -1);
            EXPECT_EQ(buf, before);
            if (!e.accepted) {
                EXPECT_EQ(vg_mgmt_get_errno(), 2);
                EXPECT_EQ(fake::sent_count(), 0u);
                EXPECT_EQ(fake::logs().back().text, "invalid " + rule);
                EXPECT_EQ(fake::logs().back().level, 1);
                continue;
            }
            std::vector<uint8_t> want(before.begin(), before.begin() + 9);
            want.insert(want.end(), 3, 0); // reserved bytes go out as zero
            EXPECT_EQ(fake::last_sent().req, want);
            const auto logs = fake::logs(); // router, dispatcher, rule, transport
            ASSERT_EQ(logs.size(), 4u);
            const char *ip = e.private_ip == 0 ? "0.0.0.0" : "10.0.0.1";
            EXPECT_EQ(logs[2].text, verb + " snat private ip " + ip + " " + rule);
            EXPECT_EQ(logs[2].level, 4);
            EXPECT_EQ(g().ntoa_calls, 2);
        }
    }
}

// ---------------------------------------------------------------------------
// SNAT list

network_snat_get_get_resp snat_list(uint32_t count)
{
    network_snat_get_get_resp r{};
    r.count = count;
    for (uint32_t i = 0; i < 32; ++i) {
        r.entries[i].private_ip = 0x0000a8c0 | ((i + 1) << 24); // 192.168.0.(i + 1)
        r.entries[i].private_port = static_cast<uint16_t>(1000 + i);
        r.entries[i].global_port = static_cast<uint16_t>(0 - i); // 0, then 65535 down
        r.entries[i].protocol = static_cast<uint8_t>(i * 9);     // not checked on the way in
        memset(r.entries[i].reserved, 0xee, 3);
    }
    return r;
}

TEST_F(NetworkTest, SnatListCopiesAtMost32Rules)
{
    const std::pair<uint32_t, uint32_t> cases[] = {{0, 0},   {3, 3},     {32, 32},
                                                   {33, 32}, {1000, 32}, {0xffffffff, 32}};
    for (const auto &[count, kept] : cases) {
        SCOPED_TRACE(count);
        buf = fake::patterned(392);
        const auto before = buf;
        const auto resp = snat_list(count);
        g().logs.clear();
        g().ntoa_calls = 0;
        fake::reply_with(resp);
        ASSERT_EQ(get(NETWORK_CMD_SNAT_GET), 0);
        const auto &list = record<network_snat_list_params>();
        EXPECT_EQ(list.count, kept);
        for (uint32_t i = 0; i < kept; ++i) {
            EXPECT_EQ(list.entries[i].private_ip, resp.entries[i].private_ip) << i;
            EXPECT_EQ(list.entries[i].private_port, resp.entries[i].private_port) << i;
            EXPECT_EQ(list.entries[i].global_port, resp.entries[i].global_port) << i;
            EXPECT_EQ(list.entries[i].protocol, resp.entries[i].protocol) << i;
            // The gap keeps the caller's bytes.
            const size_t gap = 4 + 12 * i + 9;
            EXPECT_TRUE(std::equal(buf.begin() + gap, buf.begin() + gap + 3, before.begin() + gap));
        }
        // Elements not copied, and the 4 bytes behind the record, stay as left.
        const size_t end = 4 + 12 * kept;
        EXPECT_TRUE(std::equal(buf.begin() + end, buf.end(), before.begin() + end));

        const auto after = lines_after_transport();
        ASSERT_EQ(after.size(), kept + 1);
        if (kept > 0) {
            EXPECT_EQ(after[0].text,
                      "get snat private ip 192.168.0.1 private port 1000 global port "
                      "0 protocol 0");
        }
        if (kept == 32) {
            EXPECT_EQ(after[31].text, "get snat private ip 192.168.0.32 private port 1031 global "
                                      "port 65505 protocol 23");
        }
        EXPECT_EQ(after.back().text, "snat get information count " + std::to_string(kept));
        EXPECT_EQ(after.back().level, 4);
        EXPECT_EQ(g().ntoa_calls, static_cast<int>(2 * kept));
    }
}

// ---------------------------------------------------------------------------
// LAN block

TEST_F(NetworkTest, LanBlockPassesThroughAndLeavesTheGap)
{
    auto &lan = record<network_lan_config_params>();
    lan = {0xdeadbeef, 0, 255, {1, 2, 3}, 0x01020304, 0xffffffff, 7};
    EXPECT_EQ(set(NETWORK_CMD_LAN_CONFIG), 0);
    const auto req = fake::request_as<network_lan_config_set_req>(fake::last_sent());
    EXPECT_EQ(req.lan_word_a, 0xdeadbeefu);
    EXPECT_EQ(req.lan_word_b, 0u);
    EXPECT_EQ(req.lan_byte, 255);
    EXPECT_EQ(req.reserved[0] | req.reserved[1] | req.reserved[2], 0);
    EXPECT_EQ(req.lan_word_c, 0x01020304u);
    EXPECT_EQ(req.lan_word_d, 0xffffffffu);
    EXPECT_EQ(req.lan_word_e, 7u);
    EXPECT_EQ(fake::logs().back().text, "network set lan config success");
    EXPECT_EQ(fake::logs().back().level, 3);

    const auto fresh = fake::patterned(392);
    std::copy(fresh.begin(), fresh.end(), buf.begin());
    const auto before = buf;
    network_lan_config_get_resp resp{};
    resp.lan = {1, 2, 255, {9, 9, 9}, 3, 4, 5};
    fake::reply_with(resp);
    EXPECT_EQ(get(NETWORK_CMD_LAN_CONFIG), 0);
    EXPECT_EQ(lan.lan_word_a, 1u);
    EXPECT_EQ(lan.lan_word_b, 2u);
    EXPECT_EQ(lan.lan_byte, 255);
    EXPECT_EQ(lan.lan_word_c, 3u);
    EXPECT_EQ(lan.lan_word_d, 4u);
    EXPECT_EQ(lan.lan_word_e, 5u);
    EXPECT_TRUE(std::equal(buf.begin() + 9, buf.begin() + 12, before.begin() + 9));
    EXPECT_TRUE(std::equal(buf.begin() + 24, buf.end(), before.begin() + 24));
    EXPECT_TRUE(lines_after_transport().empty());
}

// ---------------------------------------------------------------------------
// Ethernet mode and SGMII

TEST_F(NetworkTest, EthernetModeAndSgmiiConfigRanges)
{
    struct range_case {
        uint32_t id;
        void (*fill)(uint8_t *, uint32_t, uint32_t);
        uint32_t a, b;
        const char *refusal; // null: sent
    };
    auto mode = [](uint8_t *p, uint32_t a, uint32_t) {
        reinterpret_cast<network_ethernet_mode_params *>(p)->mode = a;
    };
    auto config = [](uint8_t *p, uint32_t a, uint32_t b) {
        *reinterpret_cast<network_sgmii_config_params *>(p) = {0xff, uint8_t(a), uint8_t(b)};
    };
    const range_case cases[] = {
        {11, mode, 0, 0, nullptr},
        {11, mode, 1, 0, nullptr},
        {11, mode, 2, 0, "invalid ethernet mode 2"},
        {11, mode, 0xffffffff, 0, "invalid ethernet mode -1"},
        {5, config, 2, 1, nullptr},
        {5, config, 3, 0, "invalid speed(3) and duplex(0) params"},
        {5, config, 0, 2, "invalid speed(0) and duplex(2) params"},
        {5, config, 255, 255, "invalid speed(255) and duplex(255) params"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::to_string(c.id) + ": " + std::to_string(c.a) + "," + std::to_string(c.b));
        g().sent.clear();
        c.fill(buf.data(), c.a, c.b);
        if (c.refusal == nullptr) {
            EXPECT_EQ(set(c.id), 0);
            EXPECT_EQ(fake::sent_count(), 1u);
            continue;
        }
        EXPECT_EQ(set(c.id), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_EQ(fake::sent_count(), 0u);
        EXPECT_EQ(fake::logs().back().text, c.refusal);
        EXPECT_EQ(fake::logs().back().level, 1);
    }
}

TEST_F(NetworkTest, SetSidesSendBytesUnreduced)
{
    record<network_sgmii_enable_params>().enable = 5;
    EXPECT_EQ(set(NETWORK_CMD_SGMII_ENABLE), 0);
    EXPECT_EQ(fake::last_sent().req, (std::vector<uint8_t>{5}));
    EXPECT_TRUE(fake::logged("network sgmii ethernet enable 5"));
    EXPECT_EQ(fake::logs().back().text, "network enable(5) ethernet sgmii success");
    EXPECT_EQ(fake::logs().back().level, 3);

    record<network_sgmii_config_params>() = {5, 2, 1};
    EXPECT_EQ(set(NETWORK_CMD_SGMII_CONFIG), 0);
    EXPECT_EQ(fake::last_sent().req, (std::vector<uint8_t>{5, 2, 1}));
    EXPECT_TRUE(fake::logged("network sgmii set autoneg 5 speed 2 duplex 1"));
    EXPECT_TRUE(lines_after_transport().empty());

    record<network_ethernet_mode_params>().mode = 1;
    EXPECT_EQ(set(NETWORK_CMD_ETHERNET_MODE), 0);
    EXPECT_EQ(fake::request_as<network_ethernet_mode_set_req>(fake::last_sent()).mode, 1u);
    EXPECT_EQ(fake::logs().back().text, "set ethernet mode 1 success");
    EXPECT_EQ(fake::logs().back().level, 4);
}

TEST_F(NetworkTest, GetSidesReduceFlagsAndCopyRawValues)
{
    struct flag_case {
        const char *what;
        void (*answer)(uint8_t);
        uint32_t id;
        size_t offset; // of the byte in the value record
        uint8_t sent, read_back;
        const char *last_line; // null: none checked
    };
    const flag_case cases[] = {
        {"enable 5",
         [](uint8_t v) {
             fake::reply_with(network_sgmii_enable_get_resp{{0, 0}, v, 0});
         },
         4, 0, 5, 1, "network enable(1) ethernet sgmii success"},
        {"enable 0",
         [](uint8_t v) {
             fake::reply_with(network_sgmii_enable_get_resp{{0, 0}, v, 0});
         },
         4, 0, 0, 0, "network enable(0) ethernet sgmii success"},
        {"autoneg 5",
         [](uint8_t v) {
             fake::reply_with(network_sgmii_config_get_resp{{0, 0}, v, 7, 9, 0});
         },
         5, 0, 5, 1, "sgmii config get: autoneg 1 speed 7 duplex 9"},
        {"speed raw",
         [](uint8_t v) {
             fake::reply_with(network_sgmii_config_get_resp{{0, 0}, 0, v, 0, 0});
         },
         5, 1, 200, 200, "sgmii config get: autoneg 0 speed 200 duplex 0"},
        {"lan_byte raw",
         [](uint8_t v) {
             network_lan_config_get_resp r{};
             r.lan.lan_byte = v;
             fake::reply_with(r);
         },
         7, 8, 255, 255, nullptr},
        {"ethernet mode raw",
         [](uint8_t v) {
             fake::reply_with(network_ethernet_mode_get_resp{{0, 0}, v});
         },
         11, 0, 7, 7, "get ethernet mode 7 success"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        buf = fake::patterned(392);
        c.answer(c.sent);
        EXPECT_EQ(get(c.id), 0);
        EXPECT_EQ(buf[c.offset], c.read_back);
        if (c.last_line) {
            EXPECT_EQ(fake::logs().back().text, c.last_line);
        }
    }
}

TEST_F(NetworkTest, SgmiiInfoMapsEachFieldByName)
{
    network_sgmii_info_get_resp resp{};
    resp.flag_a = 2;
    resp.flag_b = 0;
    resp.flag_c = 0x80;
    resp.byte_a = 0xab;
    resp.byte_b = 0xcd;
    memset(resp.reserved, 0xee, sizeof resp.reserved);
    for (uint8_t i = 0; i < 8; ++i) {
        resp.quad_d[i] = static_cast<uint8_t>(0xd0 + i);
        resp.quad_c[i] = static_cast<uint8_t>(0xc0 + i);
        resp.quad_b[i] = static_cast<uint8_t>(0xb0 + i);
        resp.quad_a[i] = static_cast<uint8_t>(0xa0 + i);
    }
    const auto before = buf;
    fake::reply_with(resp);
    EXPECT_EQ(get(NETWORK_CMD_SGMII_INFO), 0);
    const auto &info = record<network_sgmii_info_params>();
    EXPECT_EQ(info.flag_a, 1);
    EXPECT_EQ(info.flag_b, 0);
    EXPECT_EQ(info.byte_a, 0xab);
    EXPECT_EQ(info.byte_b, 0xcd);
    EXPECT_EQ(info.flag_c, 1);
    EXPECT_TRUE(std::equal(buf.begin() + 5, buf.begin() + 8, before.begin() + 5)); // gap
    EXPECT_EQ(memcmp(&info.quad_a, resp.quad_a, 8), 0); // the response's last field
    EXPECT_EQ(memcmp(&info.quad_b, resp.quad_b, 8), 0);
    EXPECT_EQ(memcmp(&info.quad_c, resp.quad_c, 8), 0);
    EXPECT_EQ(memcmp(&info.quad_d, resp.quad_d, 8), 0); // the response's first field
    EXPECT_EQ(memcmp(buf.data() + 8, resp.quad_a, 8), 0);
    EXPECT_TRUE(std::equal(buf.begin() + 40, buf.end(), before.begin() + 40));
    EXPECT_TRUE(fake::logged("network sgmii info get"));
    EXPECT_TRUE(lines_after_transport().empty());
}

} // namespace
