// The check of a loaded state file, in-process: the factory state passes, and
// each row damages one field of it, which the check must name, or changes it
// to a value the rules of the module take (a key, a channel), which the check
// must let pass. The edges of the described ranges are test_kestd_edges'.
#include "kestd_test_support.h"

#include <cstring>
#include <string>

#include "kest_commands.h"
#include "kestd_state.h"
#include "module_channels.h"
#include "module_factory.h"

namespace {

using kestd_test::ipv4;

using damage = void (*)(kestd_config &);

struct check_row {
    const char *name;
    damage change;
    const char *problem; // nullptr: still a good state
};

std::string bytes_of(uint8_t a, uint8_t b, uint8_t c, uint8_t d, uint8_t e)
{
    return {char(a), char(b), char(c), char(d), char(e)};
}

void fill(char *text, size_t size, char c)
{
    std::memset(text, c, size); // no terminator left
}

void wep(kestd_iface &f, const char *key0)
{
    f.auth = 1;
    f.wep_default = 0;
    std::memset(f.wep_key, 0, sizeof f.wep_key);
    std::strcpy(f.wep_key[0], key0);
}

void wpa(kestd_iface &f, const char *password)
{
    f.auth = 2;
    f.pairwise = 0;
    std::memset(f.password, 0, sizeof f.password);
    std::strcpy(f.password, password);
}

const char kAuth[] = "Wi-Fi authentication damaged";
const char kAcl[] = "Wi-Fi MAC access list holds an invalid address";
const char kHex64[] = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

// clang-format off
const check_row kRows[] = {
    {"factory", [](kestd_config &) {}, nullptr},
    {"country_digit", [](kestd_config &c) { c.country_code[0] = '1'; }, "Wi-Fi global settings out of range"},
    {"ssid_unterminated", [](kestd_config &c) { fill(c.iface[2].ssid, 33, 'a'); }, "Wi-Fi interface SSID or activation damaged"},
    {"ssid_32", [](kestd_config &c) { fill(c.iface[2].ssid, 32, 'a'); }, nullptr},
    {"wep_key_unterminated", [](kestd_config &c) { fill(c.iface[2].wep_key[3], 65, '0'); },
     "Wi-Fi WEP key not terminated"},
    {"password_unterminated", [](kestd_config &c) { fill(c.iface[0].password, 65, 'a'); }, kAuth},
    {"wep_5", [](kestd_config &c) { wep(c.iface[0], "abcde"); }, nullptr},
    {"wep_13", [](kestd_config &c) { wep(c.iface[0], "abcdefghijklm"); }, nullptr},
    {"wep_10_hex", [](kestd_config &c) { wep(c.iface[0], "0123456789"); }, nullptr},
    {"wep_26_hex", [](kestd_config &c) { wep(c.iface[0], "0123456789abcdef0123456789"); }, nullptr},
    {"wep_4", [](kestd_config &c) { wep(c.iface[0], "abcd"); }, "Wi-Fi authentication damaged"},
    {"wep_10_not_hex", [](kestd_config &c) { wep(c.iface[0], "012345678g"); }, kAuth},
    {"wep_5_control", [](kestd_config &c) { wep(c.iface[0], "abc\x01" "d"); }, kAuth},
    {"wep_default_empty", [](kestd_config &c) { wep(c.iface[0], "abcde"); c.iface[0].wep_default = 1; }, kAuth},
    {"wep_other_key_bad", [](kestd_config &c) { wep(c.iface[0], "abcde"); std::strcpy(c.iface[0].wep_key[2], "ab"); }, kAuth},
    {"wpa_8", [](kestd_config &c) { wpa(c.iface[1], "12345678"); }, nullptr},
    {"wpa_63", [](kestd_config &c) { wpa(c.iface[1], kHex64 + 1); }, nullptr},
    {"wpa_64_hex", [](kestd_config &c) { wpa(c.iface[1], kHex64); }, nullptr},
    {"wpa_7", [](kestd_config &c) { wpa(c.iface[1], "1234567"); }, kAuth},
    {"wpa_64_not_hex", [](kestd_config &c) { wpa(c.iface[1], kHex64); c.iface[1].password[63] = 'g'; }, kAuth},
    {"wpa_control", [](kestd_config &c) { wpa(c.iface[1], "1234\x7f" "678"); }, kAuth},
    {"wpa_type_5", [](kestd_config &c) { wpa(c.iface[1], "12345678"); c.iface[1].auth = 5; }, kAuth},
    {"acl_full", [](kestd_config &c) { c.iface[0].acl_count = kKestdMacAclMax; for (auto &m : c.iface[0].acl) m[5] = m[0] = 2; }, nullptr},
    {"acl_over", [](kestd_config &c) { c.iface[0].acl_count = kKestdMacAclMax + 1; }, "Wi-Fi MAC access list damaged"},
    {"acl_zero_address", [](kestd_config &c) { c.iface[1].acl_count = 1; std::memset(c.iface[1].acl[0], 0, 6); }, kAcl},
    {"acl_multicast", [](kestd_config &c) { c.iface[1].acl_count = 1; c.iface[1].acl[0][0] = 1; }, kAcl},
    {"acl_last_bad", [](kestd_config &c) { c.iface[1].acl_count = 2; c.iface[1].acl[0][5] = 1; std::memset(c.iface[1].acl[1], 0, 6); }, kAcl},
    {"apn_used_2", [](kestd_config &c) { c.apn[2][24].used = 2; }, "APN profile out of range"},
    {"apn_name_unterminated", [](kestd_config &c) { fill(c.apn[0][1].apn_name, 151, 'a'); }, "APN profile text not terminated"},
    {"apn_user_unterminated", [](kestd_config &c) { fill(c.apn[0][1].username, 128, 'a'); }, "APN profile text not terminated"},
    {"apn_password_unterminated", [](kestd_config &c) { fill(c.apn[0][1].password, 128, 'a'); }, "APN profile text not terminated"},
    {"default_unused", [](kestd_config &c) { c.apn[0][c.default_id].used = 0; }, "default profile damaged"},
    {"snat_over", [](kestd_config &c) { c.snat_count = kKestdSnatMax + 1; }, "SNAT list damaged"},
    {"usb_pid_0", [](kestd_config &c) { c.usb.pid = 0; }, "USB setting out of range"},
    {"usb_vid_0", [](kestd_config &c) { c.usb.vid = 0; }, "USB setting out of range"},
    {"usb_product_unterminated", [](kestd_config &c) { fill(c.usb.product_info, 33, 'a'); }, "USB info text damaged"},
};
// clang-format on

class StateCheck : public ::testing::TestWithParam<check_row> {};

TEST_P(StateCheck, NamesTheDamageOrLetsTheEdgePass)
{
    kestd_config cfg;
    std::memset(&cfg, 0xa5, sizeof cfg); // the defaults must set every field they rely on
    kestd_default_config(cfg);
    GetParam().change(cfg);
    const char *problem = kestd_config_problem(cfg);
    EXPECT_EQ(std::string(GetParam().problem ? GetParam().problem : "(none)"),
              std::string(problem ? problem : "(none)"));
}

INSTANTIATE_TEST_SUITE_P(Rows, StateCheck, ::testing::ValuesIn(kRows),
                         [](const auto &row) { return std::string(row.param.name); });

// kestd's defaults are the module's factory settings.
TEST(StateCheck, TheDefaultsAreTheFactorySettings)
{
    namespace mf = module_factory;
    kestd_config cfg;
    kestd_default_config(cfg);
    for (int i = 0; i < 3; ++i) {
        const kestd_iface &f = cfg.iface[i];
        const mf::iface &m = mf::kIfaces[i];
        EXPECT_STREQ(f.ssid, m.ssid) << i;
        EXPECT_STREQ(f.password, m.password) << i;
        EXPECT_EQ(bytes_of(f.active, f.auth, f.mode, f.bandwidth, f.max_num_sta),
                  bytes_of(m.active, m.auth, m.mode, m.bandwidth, m.max_num_sta))
            << i;
        EXPECT_EQ(f.channel, m.channel) << i;
    }
    EXPECT_EQ(std::string(cfg.country_code, 2), mf::kCountry);
    const uint8_t *net = mf::kLanNet;
    const auto host = [&](uint8_t h) { return ipv4(net[0], net[1], net[2], h); };
    EXPECT_EQ(cfg.lan.lan_word_a, host(mf::kLanGateway));
    EXPECT_EQ(cfg.lan.lan_word_c, host(mf::kDhcpFirst));
    EXPECT_EQ(cfg.lan.lan_word_d, host(mf::kDhcpLast));
    EXPECT_EQ(cfg.lan.lan_word_e, mf::kLeaseSeconds);
    EXPECT_EQ(cfg.usb.pid, mf::kUsbPid);
    EXPECT_EQ(cfg.usb.vid, mf::kUsbVid);
    EXPECT_STREQ(cfg.usb.product_info, mf::kUsbProduct);
    EXPECT_STREQ(cfg.usb.manufac_info, mf::kUsbMaker);
    EXPECT_EQ(std::string(cfg.usb.func, cfg.usb.func + 7),
              std::string(mf::kUsbFunctions, mf::kUsbFunctions + 7));
    EXPECT_STREQ(cfg.apn[0][0].apn_name, mf::kApn);
    EXPECT_EQ(cfg.ip_family, mf::kIpFamily);
}

// Every number up to 200 on each interface: the 2.4 GHz access point takes
// the module's channels up to 14, the 5 GHz one those from 36, both take 0
// (automatic), and the station interface only 0.
TEST(StateCheckChannels, EveryNumberOnEveryInterface)
{
    for (int iface = 1; iface <= 3; ++iface)
        for (uint32_t ch = 0; ch <= 200; ++ch) {
            kestd_config cfg;
            kestd_default_config(cfg);
            cfg.iface[iface - 1].channel = static_cast<uint16_t>(ch);
            const bool band = ch == 0 || (iface == 1 && ch <= 14) || (iface == 2 && ch >= 36);
            const bool ok = kModuleChannels.count(ch) != 0 && band;
            EXPECT_EQ(kestd_config_problem(cfg) == nullptr, ok)
                << "interface " << iface << " channel " << ch;
        }
}

} // namespace
