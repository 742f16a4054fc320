// What is particular to the network handlers: addresses formatted by each
// sink, the SNAT rule and list, the LAN block and SGMII's fields and flags.
#include "domain_test.h"

using fake::g;

namespace {

TEST_F(Network, DmzAddressTravelsBitForBitAndEachSinkFormatsIt)
{
    rec<network_dmz_params>().ipv4_addr = 0x0401a8c0; // 192.168.1.4
    EXPECT_EQ(set(NETWORK_CMD_DMZ_ADD), 0);
    EXPECT_EQ(fake::request_as<network_dmz_add_set_req>(fake::last_sent()).ipv4_addr, 0x0401a8c0u);
    EXPECT_TRUE(fake::logged("network add dmz: IPv4 address 192.168.1.4"));
    EXPECT_EQ(last(), "network add dmz IPv4 address 192.168.1.4 success");
    EXPECT_EQ(g().ntoa_calls, 4); // two lines, two sinks each
    fake::reply_with(network_dmz_get_get_resp{{0, 0}, 0xfeffa8c0});
    EXPECT_EQ(get(NETWORK_CMD_DMZ_GET), 0);
    EXPECT_EQ(rec<network_dmz_params>().ipv4_addr, 0xfeffa8c0u);
    EXPECT_EQ(last(), "network get dmz IPv4 address 192.168.255.254 success");
}

TEST_F(Network, SnatRuleGoesOutWithItsGapZeroed)
{
    rec<network_snat_params>() = {0x0100000a, 80, 8080, 17, {0xaa, 0xbb, 0xcc}};
    const auto before = buf;
    EXPECT_EQ(set(NETWORK_CMD_SNAT_DEL), 0);
    std::vector<uint8_t> want(before.begin(), before.begin() + 9);
    want.insert(want.end(), 3, 0);
    EXPECT_EQ(req(), want);
    EXPECT_TRUE(fake::logged("del snat private ip 10.0.0.1 private port 80 global port 8080 "
                             "protocol 17"));
}

TEST_F(Network, SnatListCopiesAtMost32Rules)
{
    network_snat_get_get_resp r{};
    for (uint32_t i = 0; i < NETWORK_SNAT_MAX; ++i)
        r.entries[i] = {0x0000a8c0 | ((i + 1) << 24),
                        static_cast<uint16_t>(1000 + i),
                        static_cast<uint16_t>(0 - i),
                        static_cast<uint8_t>(i * 9),
                        {1, 1, 1}};
    for (const auto &[count, kept] : {std::pair{0u, 0u}, {3u, 3u}, {33u, 32u}, {~0u, 32u}}) {
        SCOPED_TRACE(count);
        buf = fake::patterned(MGMT_NETWORK_VALUE_SIZE);
        const auto before = buf;
        r.count = count;
        fake::reply_with(r);
        g().logs.clear();
        ASSERT_EQ(get(NETWORK_CMD_SNAT_GET), 0);
        const auto &list = rec<network_snat_list_params>();
        EXPECT_EQ(list.count, kept);
        for (uint32_t i = 0; i < kept; ++i) {
            EXPECT_EQ(memcmp(&list.entries[i], &r.entries[i], 9), 0) << i;
            EXPECT_EQ(memcmp(list.entries[i].reserved, before.data() + 13 + 12 * i, 3), 0) << i;
        }
        EXPECT_TRUE(kept_from(4 + 12 * kept, before));
        EXPECT_EQ(fake::logs().size(), 5 + kept); // a line per rule
        EXPECT_EQ(last(), "snat get information count " + std::to_string(kept));
    }
    EXPECT_EQ(fake::logs()[fake::logs().size() - 2].text,
              "get snat private ip 192.168.0.32 private port 1031 global "
              "port 65505 protocol 23");
}

TEST_F(Network, LanBlockPassesThroughAndLeavesTheGap)
{
    rec<network_lan_config_params>() = {0xdeadbeef, 0, 255, {1, 2, 3}, 0x01020304, ~0u, 7};
    EXPECT_EQ(set(NETWORK_CMD_LAN_CONFIG), 0);
    const auto s = fake::request_as<network_lan_config_set_req>(fake::last_sent());
    EXPECT_EQ(s.lan_byte, 255);
    EXPECT_EQ(s.reserved[0] | s.reserved[1] | s.reserved[2], 0);
    EXPECT_EQ(s.lan_word_d, ~0u);
    EXPECT_EQ(s.lan_word_e, 7u);
    const auto before = buf;
    network_lan_config_get_resp resp{};
    resp.lan = {1, 2, 255, {9, 9, 9}, 3, 4, 5};
    fake::reply_with(resp);
    EXPECT_EQ(get(NETWORK_CMD_LAN_CONFIG), 0);
    EXPECT_EQ(rec<network_lan_config_params>().lan_word_e, 5u);
    EXPECT_EQ(memcmp(buf.data() + 9, before.data() + 9, 3), 0);
    EXPECT_EQ(last(), "qmi_client_send_msg_sync(get lan config): error 0 result 0");
}

TEST_F(Network, SgmiiSendsBytesUnreducedAndReadsFlagsBack)
{
    rec<network_sgmii_config_params>() = {5, 2, 1};
    EXPECT_EQ(set(NETWORK_CMD_SGMII_CONFIG), 0);
    EXPECT_EQ(req(), (std::vector<uint8_t>{5, 2, 1}));
    fake::reply_with(network_sgmii_config_get_resp{{0, 0}, 5, 200, 9, 0});
    EXPECT_EQ(get(NETWORK_CMD_SGMII_CONFIG), 0);
    EXPECT_EQ(std::vector<uint8_t>(buf.begin(), buf.begin() + 3),
              (std::vector<uint8_t>{1, 200, 9}));
    EXPECT_EQ(last(), "sgmii config get: autoneg 1 speed 200 duplex 9");
    fake::reply_with(network_sgmii_enable_get_resp{{0, 0}, 5, 0});
    EXPECT_EQ(get(NETWORK_CMD_SGMII_ENABLE), 0);
    EXPECT_EQ(buf[0], 1);

    network_sgmii_info_get_resp resp{};
    resp = {{0, 0}, 2, 0, 0x80, 0xab, 0xcd, {}, {}, {}, {}, {}};
    for (uint8_t i = 0; i < 8; ++i) {
        resp.quad_d[i] = static_cast<uint8_t>(0xd0 + i);
        resp.quad_c[i] = static_cast<uint8_t>(0xc0 + i);
        resp.quad_b[i] = static_cast<uint8_t>(0xb0 + i);
        resp.quad_a[i] = static_cast<uint8_t>(0xa0 + i);
    }
    const auto before = buf;
    fake::reply_with(resp);
    EXPECT_EQ(get(NETWORK_CMD_SGMII_INFO), 0);
    const auto &info = rec<network_sgmii_info_params>();
    EXPECT_EQ(info.flag_a + info.flag_b + info.flag_c, 2);
    EXPECT_EQ(info.byte_a, 0xab);
    EXPECT_EQ(info.byte_b, 0xcd);
    EXPECT_EQ(memcmp(&info.quad_a, resp.quad_a, 8), 0); // each by its name
    EXPECT_EQ(memcmp(&info.quad_b, resp.quad_b, 8), 0);
    EXPECT_EQ(memcmp(&info.quad_c, resp.quad_c, 8), 0);
    EXPECT_EQ(memcmp(&info.quad_d, resp.quad_d, 8), 0);
    EXPECT_EQ(memcmp(buf.data() + 5, before.data() + 5, 3), 0);
    EXPECT_TRUE(kept_from(sizeof info, before));
}

} // namespace
