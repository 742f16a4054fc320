// The edges of every described range, in-process: for each field of a set
// message that has a range (a number, names, a flag or a text's length), the
// values at and beside its edges go to kestd's message table on a fresh
// state. A value of the range is taken, and the state it leaves passes the
// check of a loaded state file; a value outside is refused. Then the stored
// byte is found (where the lowest and highest values differ) and each value
// that no set stores there is written into a state, which the check must
// refuse. The ranges come from proto/, not from here.
#include "kestd_test_support.h"

#include <cstddef>
#include <memory>

#include "kest_fields.h"
#include "kestd_service.h"

namespace {

using namespace kestd_test;

// Where a described field lies in its set message's request, and a request
// the service takes around it.
struct place {
    uint32_t domain, command;
    const char *word;
    uint16_t off, width;
    bytes base;
    void (*prepare)(kestd_service &) = nullptr;
    bool no_empty = false; // kestd takes no empty text where the description allows one
};

#define AT(req, member)                                                                            \
    static_cast<uint16_t>(offsetof(req, member)), static_cast<uint16_t>(sizeof(req::member))

template <class R, class F>
bytes req(F fill)
{
    R r{};
    fill(r);
    return raw(r);
}

// The error of one request, on the service's state.
uint16_t send(kestd_service &svc, uint32_t msg, const bytes &request)
{
    kest_frame_header h{};
    h.msg_id = msg;
    h.len = static_cast<uint32_t>(request.size());
    const kestd_answer a = kestd_request(svc, h, request.data());
    resp_status st{0xffff, 0xffff};
    if (a.response.size() >= sizeof h + sizeof st)
        std::memcpy(&st, a.response.data() + sizeof h, sizeof st);
    return st.error;
}

uint32_t set_msg(uint32_t domain, uint32_t command)
{
    const kest_command *c = kest_command_find(domain, command, MGMT_OPT_SET);
    return c != nullptr ? c->msg_id : 0;
}

const uint32_t W = MGMT_DOMAIN_WIFI, D = MGMT_DOMAIN_DATA_CALL, N = MGMT_DOMAIN_NETWORK,
               U = MGMT_DOMAIN_USB;

#define U8_PLACE(name, record, member, word, ...)                                                  \
    {W, WIFI_CMD_##name, word, AT(wifi_u8_setting_set_req, setting), iface1},

std::vector<place> places()
{
    const bytes iface1 = {1, 0};
    const auto auth = [](uint8_t type) {
        return req<wifi_auth_set_req>([&](auto &r) {
            r.index = 1, r.auth = type;
            for (char *k : {r.key0, r.key1, r.key2, r.key3})
                std::strcpy(k, "abcde");
            std::strcpy(r.password, "12345678");
        });
    };
    const bytes apn = req<data_call_apn_set_req>([](auto &r) { std::strcpy(r.apn_name, "x"); });
    const bytes up_both = req<data_call_up_set_req>([](auto &r) { r.ip_type = DATA_CALL_IP_V4V6; });
    const bytes snat = raw(network_snat_rule{ipv4(192, 168, 225, 30), 80, 8080, 6, {}});
    const bytes sgmii = {1, 1, 1};
    kestd_config factory;
    kestd_default_config(factory);
    const auto usb = [](uint32_t) { return req<usb_u32_setting_set_req>([](auto &) {}); };
    bytes funcs(sizeof(usb_func_set_req), 0);
    std::copy(factory.usb.func, factory.usb.func + 7,
              funcs.begin() + offsetof(usb_func_set_req, diag));
    // clang-format off
    return {
        {W, WIFI_CMD_WORK_MODE, "work-mode", AT(wifi_work_mode_set_req, work_mode), {0}},
        {W, WIFI_CMD_ENABLE, "enable", AT(wifi_enable_set_req, enable), {0}},
        {W, WIFI_CMD_COUNTRY_CODE, "country", AT(wifi_country_code_set_req, country_code), {0, 0}},
        {W, WIFI_CMD_ESSID, "ssid", AT(wifi_essid_set_req, ssid), req<wifi_essid_set_req>([](auto &r) { r.index = 1; })},
        {W, WIFI_CMD_ESSID, "format-type", AT(wifi_essid_set_req, format_type), req<wifi_essid_set_req>([](auto &r) { r.index = 1, r.ssid[0] = 'x'; })},
        {W, WIFI_CMD_ACTIVE, "active", AT(wifi_active_set_req, active), iface1},
        {W, WIFI_CMD_AUTH, "auth", AT(wifi_auth_set_req, auth), auth(0)},
        {W, WIFI_CMD_AUTH, "default-index", AT(wifi_auth_set_req, default_index), auth(WIFI_AUTH_WEP)},
        {W, WIFI_CMD_AUTH, "pairwise", AT(wifi_auth_set_req, pairwise), auth(WIFI_AUTH_WPA_PSK_MAX)},
        U8_PLACE(MODE, setting, mode, "mode")
        U8_PLACE(BANDWIDTH, setting, bandwidth, "bandwidth")
        U8_PLACE(MAX_NUM_STA, setting, max_num_sta, "max-sta")
        U8_PLACE(RSSI, setting, rssi, "rssi")
        KEST_WIFI_SWITCHES(U8_PLACE)
        {W, WIFI_CMD_MAC_ACL_RULE, "acl-rule", AT(wifi_mac_acl_rule_set_req, rule), iface1},
        // Not walked: the channel's list and bands have a test of their own
        // (test_kestd_check), and a restore names all interfaces by a flag.
        {W, WIFI_CMD_CHANNEL, "channel", 0, 0, {}},
        {W, WIFI_CMD_RESTORE_DEFAULT, "interface", 0, 0, {}},
        {D, DATA_CALL_CMD_UP, "ip-type", AT(data_call_up_set_req, ip_type), req<data_call_up_set_req>([](auto &) {})},
        {D, DATA_CALL_CMD_UP, "reconnect", AT(data_call_up_set_req, reconnect), req<data_call_up_set_req>([](auto &) {})},
        {D, DATA_CALL_CMD_DOWN, "ip-type", AT(data_call_down_set_req, ip_type), {0, 0},
         [](kestd_service &s) { send(s, set_msg(D, DATA_CALL_CMD_UP), req<data_call_up_set_req>([](auto &r) { r.ip_type = DATA_CALL_IP_V4V6; })); }},
        {D, DATA_CALL_CMD_APN, "pdp-type", AT(data_call_apn_set_req, pdp_type), apn},
        {D, DATA_CALL_CMD_APN, "auth-protocol", AT(data_call_apn_set_req, auth_protocol), apn},
        // The highest profile exists, so that only the range decides.
        {D, DATA_CALL_CMD_DEFAULT_PROFILE, "profile", AT(data_call_default_profile_set_req, default_id), {0, 0, 0},
         [](kestd_service &s) { s.st.cfg.apn[0][kProfileIndexRange.max].used = 1; }},
        {D, DATA_CALL_CMD_DEFAULT_PROFILE, "tech-pref", AT(data_call_default_profile_set_req, tech_pref), {0, 0, 0}},
        {D, DATA_CALL_CMD_DEFAULT_PROFILE, "ip-family", AT(data_call_default_profile_set_req, ip_family), {0, 0, 0}},
        {N, NETWORK_CMD_SNAT_ADD, "private-port", AT(network_snat_rule, private_port), snat},
        {N, NETWORK_CMD_SNAT_ADD, "global-port", AT(network_snat_rule, global_port), snat},
        {N, NETWORK_CMD_SNAT_ADD, "protocol", AT(network_snat_rule, protocol), snat},
        {N, NETWORK_CMD_LAN_CONFIG, "dhcp", AT(network_lan_config_block, lan_byte), raw(factory.lan)},
        {N, NETWORK_CMD_SGMII_ENABLE, "enable", AT(network_sgmii_enable_set_req, enable), {0}},
        {N, NETWORK_CMD_SGMII_CONFIG, "autoneg", AT(network_sgmii_config_set_req, autoneg), sgmii},
        {N, NETWORK_CMD_SGMII_CONFIG, "speed", AT(network_sgmii_config_set_req, speed), sgmii},
        {N, NETWORK_CMD_SGMII_CONFIG, "duplex", AT(network_sgmii_config_set_req, duplex), sgmii},
        {N, NETWORK_CMD_ETHERNET_MODE, "ethernet-mode", AT(network_ethernet_mode_set_req, mode), {0, 0, 0, 0}},
        {U, USB_CMD_BOOTUP, "bootup", AT(usb_u32_setting_set_req, setting), usb(0)},
        {U, USB_CMD_NET, "net-mode", AT(usb_u32_setting_set_req, setting), usb(0)},
        {U, USB_CMD_ACTION, "action-type", AT(usb_u32_setting_set_req, setting), usb(0)},
        {U, USB_CMD_PRODUCT_INFO, "product", AT(usb_info_set_req, info), req<usb_info_set_req>([](auto &) {}), nullptr, true},
        {U, USB_CMD_MANUFAC_INFO, "manufacturer", AT(usb_info_set_req, info), req<usb_info_set_req>([](auto &) {}), nullptr, true},
        {U, USB_CMD_FUNC, "diag", AT(usb_func_set_req, diag), funcs},
        {U, USB_CMD_FUNC, "nmea", AT(usb_func_set_req, nmea), funcs},
        {U, USB_CMD_FUNC, "at", AT(usb_func_set_req, at), funcs},
        {U, USB_CMD_FUNC, "modem", AT(usb_func_set_req, modem), funcs},
        {U, USB_CMD_FUNC, "net", AT(usb_func_set_req, net), funcs},
        {U, USB_CMD_FUNC, "adb", AT(usb_func_set_req, adb), funcs},
        {U, USB_CMD_FUNC, "audio-uac", AT(usb_func_set_req, audio_uac), funcs},
    };
    // clang-format on
}

bool is_text(const kest_field &f)
{
    return f.kind == kest_kind::text || f.kind == kest_kind::textn;
}

// A field with edges: a flag, a number with a range or names, a text with a
// most characters.
bool has_range(const kest_field &f)
{
    if (is_text(f))
        return f.max != 0;
    return f.kind == kest_kind::flag ||
           (f.kind != kest_kind::secret && (f.max != 0 || f.names.count != 0));
}

// The highest value of a number: its range's, else its highest name's.
uint64_t highest(const kest_field &f)
{
    uint64_t top = f.max;
    for (uint32_t i = 0; f.max == 0 && i < f.names.count; ++i)
        top = std::max<uint64_t>(top, f.names.rows[i].value);
    return top;
}

// Whether a set takes `v` (a text's length): a flag takes any byte as on.
bool takes(const place &p, const kest_field &f, uint64_t v)
{
    if (f.kind == kest_kind::flag)
        return true;
    return v >= std::max<uint64_t>(f.min, p.no_empty) && v <= highest(f) && f.allowed(v);
}

// The values at and beside the edges that fit `width` bytes: of the range,
// and where the set that `allowed` takes begins or ends.
std::vector<uint64_t> edges(const kest_field &f, uint16_t width)
{
    const uint64_t lo = f.kind == kest_kind::flag ? 0 : f.min;
    const uint64_t hi = f.kind == kest_kind::flag ? 1 : highest(f);
    const uint64_t room = is_text(f) ? width : width >= 8 ? ~0ull : (1ull << (8 * width)) - 1;
    std::vector<uint64_t> out = {lo, hi};
    if (lo > 0)
        out.push_back(lo - 1);
    if (hi < room)
        out.push_back(hi + 1);
    for (uint64_t v = lo + 1; v <= std::min<uint64_t>(hi, 0xffff); ++v)
        if (f.allowed(v) != f.allowed(v - 1))
            out.insert(out.end(), {v - 1, v});
    return out;
}

bytes with(const place &p, const kest_field &f, uint64_t v)
{
    bytes r = p.base;
    if (is_text(f)) {
        std::fill_n(r.begin() + p.off, p.width, 0);
        std::fill_n(r.begin() + p.off, v, 'a');
    } else {
        std::memcpy(r.data() + p.off, &v, p.width); // little-endian, as the wire
    }
    return r;
}

struct outcome {
    uint16_t error;
    kestd_config cfg; // after the set, and the USB write-back
};

outcome one_set(const place &p, const bytes &request)
{
    auto svc = std::make_unique<kestd_service>();
    std::string why;
    kestd_service_start(*svc, "", why);
    if (p.prepare != nullptr)
        p.prepare(*svc);
    const uint16_t err = send(*svc, set_msg(p.domain, p.command), request);
    if (err == 0 && p.domain == U)
        send(*svc, set_msg(U, USB_CMD_CONFIG_WRITE), {});
    return {err, svc->st.cfg};
}

// The one byte where two states differ, or -1.
long differing_byte(const kestd_config &a, const kestd_config &b)
{
    const auto *x = reinterpret_cast<const uint8_t *>(&a),
               *y = reinterpret_cast<const uint8_t *>(&b);
    long at = -1;
    for (size_t i = 0; i < sizeof a; ++i)
        if (x[i] != y[i]) {
            if (at >= 0)
                return -1;
            at = static_cast<long>(i);
        }
    return at;
}

TEST(Edges, EveryDescribedRangeHoldsOnTheWireAndInTheStateCheck)
{
    const std::vector<place> rows = places();
    for (const kest_field &f : kFields) {
        const bool walked = set_msg(f.domain, f.command) != 0 && has_range(f);
        const auto n = std::count_if(rows.begin(), rows.end(), [&](const place &p) {
            return p.domain == f.domain && p.command == f.command && std::string(p.word) == f.word;
        });
        EXPECT_EQ(n, walked ? 1 : 0) << "a place for " << f.word << " of command " << f.command;
    }
    for (const place &p : rows) {
        const kest_field *f = kest_field_find(p.domain, p.command, p.word);
        ASSERT_NE(f, nullptr) << p.word;
        if (p.width == 0)
            continue;
        SCOPED_TRACE(std::string(kest_domain_word(p.domain)) + " " + p.word);
        ASSERT_EQ(p.base.size(), kest_command_find(p.domain, p.command, MGMT_OPT_SET)->req_len);
        const std::vector<uint64_t> values = edges(*f, p.width);
        std::vector<outcome> got;
        for (const uint64_t v : values) {
            got.push_back(one_set(p, with(p, *f, v)));
            EXPECT_EQ(got.back().error == 0, takes(p, *f, v))
                << v << ": error " << got.back().error;
            if (got.back().error == 0) {
                EXPECT_EQ(kestd_config_problem(got.back().cfg), nullptr) << v;
            }
        }
        const long at = is_text(*f) ? -1 : differing_byte(got[0].cfg, got[1].cfg);
        for (size_t i = 0; at >= 0 && i < values.size(); ++i) {
            kestd_config damaged = got[1].cfg;
            auto *b = reinterpret_cast<uint8_t *>(&damaged) + at;
            const auto *stored = reinterpret_cast<const uint8_t *>(&got[i].cfg) + at;
            if (values[i] > 0xff || (got[i].error == 0 && *stored == values[i]))
                continue; // a set stores it: the check takes it (above)
            *b = static_cast<uint8_t>(values[i]);
            EXPECT_NE(kestd_config_problem(damaged), nullptr) << "state holding " << values[i];
        }
    }
}

} // namespace
