// The data-call (domain 6), network (domain 3) and USB (domain 7) rows of the
// model.
#include <cstddef>
#include <cstring>

#include "vg_mgmt_client.h"
#include "vg_mgmt_model.h"

namespace vgm {
namespace {

constexpr name_value kIpType[] = {{"ipv4", 0}, {"ipv6", 1}, {"ipv4v6", 2}};
constexpr name_value kPdpType[] = {{"ipv4", 0}, {"ipv6", 1}, {"ipv4v6", 2}};
constexpr name_value kAuthProtocol[] = {{"none", 0}, {"pap", 1}, {"chap", 2}, {"pap-chap", 3}};
constexpr name_value kProtocol[] = {{"tcp", 6}, {"udp", 17}};
constexpr name_value kSpeed[] = {{"10mbps", 0}, {"100mbps", 1}, {"1000mbps", 2}};
constexpr name_value kDuplex[] = {{"half", 0}, {"full", 1}};
constexpr name_value kEthernetMode[] = {{"lan", 0}, {"wan", 1}};
constexpr name_value kCallStatus[] = {{"disconnected", 0}, {"connected", 1}};

bool pdp_ok(uint64_t v)
{
    return v <= 3 || v == 255;
}

field pdp_field(const char *key, uint16_t off, names n, const char *help)
{
    field f = named(key, off, 1, n, help);
    f.max = 255;
    f.allowed = pdp_ok;
    f.range_text = "3 or 255";
    return f;
}

command dc(const char *subject, const char *verb, kind k, const char *help, uint16_t read,
           uint16_t write, axis inst, std::vector<field> fields, uint8_t npos = 0)
{
    return command{.domain_word = "datacall",
                   .subject = subject,
                   .verb = verb,
                   .k = k,
                   .help = help,
                   .domain = MGMT_DOMAIN_DATA_CALL,
                   .read_id = read,
                   .write_id = write,
                   .inst = inst,
                   .fields = std::move(fields),
                   .npos = npos};
}

command net(const char *subject, const char *verb, kind k, const char *help, uint16_t read,
            uint16_t write, std::vector<field> fields, uint8_t npos = 0)
{
    return command{.domain_word = "network",
                   .subject = subject,
                   .verb = verb,
                   .k = k,
                   .help = help,
                   .domain = MGMT_DOMAIN_NETWORK,
                   .read_id = read,
                   .write_id = write,
                   .inst = axis::none,
                   .fields = std::move(fields),
                   .npos = npos};
}

command usb(const char *subject, const char *verb, kind k, const char *help, uint16_t write,
            std::vector<field> fields, uint8_t npos = 1)
{
    return command{.domain_word = "usb",
                   .subject = subject,
                   .verb = verb,
                   .k = k,
                   .help = help,
                   .domain = MGMT_DOMAIN_USB,
                   .read_id = k == kind::run ? uint16_t{0} : uint16_t{USB_CMD_CONFIG_GET},
                   .write_id = write,
                   .inst = axis::usb,
                   .fields = std::move(fields),
                   .npos = npos};
}

std::vector<field> apn_fields()
{
    using A = data_call_apn_params;
    return {pdp_field("pdp-type", offsetof(A, pdp_type), kPdpType, "PDP type"),
            pdp_field("auth-protocol", offsetof(A, auth_protocol), kAuthProtocol,
                      "authentication protocol"),
            text("apn", offsetof(A, apn_name), 151, "access point name"),
            text("user", offsetof(A, username), 128, "user name"),
            secret("password", offsetof(A, password), 128, "password")};
}

// Which halves of a call record a get shows (by the IP type asked for), and
// whether each half's call is up: a call that is down has no addresses.
using I = data_call_info_params;
bool v4_shown(const uint8_t *r)
{
    return r[offsetof(I, ip_type)] != 1;
}
bool v6_shown(const uint8_t *r)
{
    return r[offsetof(I, ip_type)] != 0;
}
bool half_up(const uint8_t *r, size_t off)
{
    uint32_t status;
    std::memcpy(&status, r + off, 4);
    return status == 1;
}
bool v4_up(const uint8_t *r)
{
    return v4_shown(r) && half_up(r, offsetof(I, ipv4) + offsetof(data_call_info_v4, status));
}
bool v6_up(const uint8_t *r)
{
    return v6_shown(r) && half_up(r, offsetof(I, ipv6) + offsetof(data_call_info_v6, status));
}

std::vector<field> call_family(const char *prefix, uint16_t base, bool v4)
{
    bool (*shown)(const uint8_t *) = v4 ? v4_shown : v6_shown;
    bool (*up)(const uint8_t *) = v4 ? v4_up : v6_up;
    // Offsets are the same in both halves up to the addresses.
    const auto key = [prefix](const std::string &k) { return intern(prefix + k); };
    using V4 = data_call_info_v4;
    using V6 = data_call_info_v6;
    std::vector<field> f = {
        named(key("status"), base + offsetof(V4, status), 4, kCallStatus, "call state").when(shown),
        text(key("ifname"), base + offsetof(V4, name), 16,
             "network interface name (while connected)")
            .when(up)};
    const char *addr[] = {"address", "gateway", "dns1", "dns2"};
    for (uint16_t i = 0; i < 4; ++i)
        f.push_back(
            (v4 ? of_type(vtype::ipv4, key(addr[i]), base + offsetof(V4, address) + 4 * i, 4, "")
                : of_type(vtype::ipv6, key(addr[i]), base + offsetof(V6, address) + 16 * i, 16, ""))
                .when(up));
    const uint16_t stats = v4 ? offsetof(V4, stat_1) : offsetof(V6, stat_1);
    const uint16_t stat_off[] = {0, 4, 8, 16, 24, 28};
    const uint16_t stat_width[] = {4, 4, 8, 8, 4, 4};
    for (int i = 0; i < 6; ++i)
        f.push_back(num(key("stat-" + std::to_string(i + 1)),
                        static_cast<uint16_t>(base + stats + stat_off[i]), stat_width[i], 0, 0,
                        "a counter of the call; what it counts is the service's matter")
                        .when(shown));
    return f;
}

const list_def kApnList{"indexes",
                        offsetof(data_call_apn_list_params, length),
                        1,
                        offsetof(data_call_apn_list_params, index_list),
                        1,
                        255,
                        {num("index", 0, 1, 0, 0, "")},
                        {}};

std::vector<field> snat_fields()
{
    using S = network_snat_params;
    field proto = named("protocol", offsetof(S, protocol), 1, kProtocol, "IP protocol");
    proto.min = 6;
    proto.max = 253;
    proto.range_text = "or a protocol number from 6 to 253";
    return {of_type(vtype::ipv4, "private-ip", offsetof(S, private_ip), 4, "LAN address"),
            num("private-port", offsetof(S, private_port), 2, 1, 65535, "LAN port"),
            num("global-port", offsetof(S, global_port), 2, 1, 65535, "public port"), proto};
}

const list_def kSnatList{"rules",
                         offsetof(network_snat_list_params, count),
                         4,
                         offsetof(network_snat_list_params, entries),
                         sizeof(network_snat_params),
                         NETWORK_SNAT_MAX,
                         snat_fields(),
                         {}};

} // namespace

void add_data_call_commands(std::vector<command> &c)
{
    using U = data_call_up_params;
    const field ip_type =
        named("ip-type", offsetof(U, ip_type), 4, kIpType, "IP family of the call");
    c.push_back(dc(
        "up", "", kind::run, "start the data call of a profile", 0, DATA_CALL_CMD_UP, axis::profile,
        {field(ip_type).or_default("ipv4"),
         flag("reconnect", offsetof(U, reconnect), "reconnect when dropped").or_default("off"),
         text("apn", offsetof(U, apn_name), 151, "APN name; empty: the profile's").or_default(""),
         text("user", offsetof(U, username), 128, "user name").or_default(""),
         secret("password", offsetof(U, password), 128, "password").or_default("")}));
    c.push_back(dc("down", "", kind::run, "stop the data call of a profile", 0, DATA_CALL_CMD_DOWN,
                   axis::profile, {field(ip_type).or_default("ipv4")}));
    std::vector<field> info = call_family("ipv4-", offsetof(I, ipv4), true);
    std::vector<field> v6 = call_family("ipv6-", offsetof(I, ipv6), false);
    info.insert(info.end(), v6.begin(), v6.end());
    command get = dc("info", "get", kind::get, "show the data call of a profile",
                     DATA_CALL_CMD_INFO, 0, axis::profile, info);
    get.query = {field(ip_type).or_default("ipv4v6")};
    c.push_back(get);

    command apn = dc("apn", "", kind::set, "an APN profile", DATA_CALL_CMD_APN, DATA_CALL_CMD_APN,
                     axis::apn, apn_fields());
    add_setting(c, apn);
    command add = dc("apn", "add", kind::run,
                     "add an APN profile; prints the index it got (give every field)", 0,
                     DATA_CALL_CMD_APN_ADD, axis::apn_type, apn_fields());
    add.out = {num("profile-index", offsetof(data_call_apn_params, profile_index), 1, 0, 0, "")};
    c.push_back(add);
    c.push_back(dc("apn", "del", kind::run, "delete an APN profile", 0, DATA_CALL_CMD_APN_DEL,
                   axis::apn, {}));
    command list = dc("apn", "list", kind::list, "list the profile indexes of a type",
                      DATA_CALL_CMD_APN_LIST, 0, axis::apn_type, {});
    list.list = &kApnList;
    c.push_back(list);

    using D = data_call_default_profile_params;
    add_setting(c, dc("default-profile", "", kind::set, "the default profile",
                      DATA_CALL_CMD_DEFAULT_PROFILE, DATA_CALL_CMD_DEFAULT_PROFILE, axis::none,
                      {num("profile", offsetof(D, default_id), 1, 0, 24, "APN profile of type 0"),
                       num("tech-pref", offsetof(D, tech_pref), 4, 0, 2,
                           "technology preference (as the service defines it)"),
                       named("ip-family", offsetof(D, ip_family), 4, kIpType, "IP family")},
                      1));
}

namespace {

// The DMZ host and the SNAT rules.
void add_forwarding(std::vector<command> &c)
{
    const field dmz =
        of_type(vtype::ipv4, "address", 0, 4, "LAN host that takes unsolicited traffic")
            .none_when_zero();
    c.push_back(net("dmz", "get", kind::get, "show the DMZ host", NETWORK_CMD_DMZ_GET, 0, {dmz}));
    command dmz_add =
        net("dmz", "add", kind::run, "set the DMZ host", 0, NETWORK_CMD_DMZ_ADD, {dmz}, 1);
    dmz_add.note =
        "One DMZ host at a time: while one is set the service refuses another (DUPLICATE); "
        "'network dmz del' removes it first.";
    dmz_add.when_refused =
        "a DMZ host may be set already: 'network dmz get' shows it, 'network dmz del' removes it";
    c.push_back(dmz_add);
    c.push_back(net("dmz", "del", kind::run, "remove the DMZ host", 0, NETWORK_CMD_DMZ_DEL, {}));
    c.push_back(net("snat", "add", kind::run, "add an SNAT (port forwarding) rule", 0,
                    NETWORK_CMD_SNAT_ADD, snat_fields(), 4));
    c.push_back(net("snat", "del", kind::run, "delete an SNAT rule", 0, NETWORK_CMD_SNAT_DEL,
                    snat_fields(), 4));
    command snat =
        net("snat", "list", kind::list, "list the SNAT rules", NETWORK_CMD_SNAT_GET, 0, {});
    snat.list = &kSnatList;
    c.push_back(snat);
}

// The LAN block, the SGMII port and the Ethernet port's role.
void add_ports(std::vector<command> &c)
{
    using L = network_lan_config_params;
    command lan = net(
        "lan", "", kind::set, "the LAN block", NETWORK_CMD_LAN_CONFIG, NETWORK_CMD_LAN_CONFIG,
        {of_type(vtype::ipv4, "gateway", offsetof(L, lan_word_a), 4, "the module's LAN address"),
         of_type(vtype::ipv4, "netmask", offsetof(L, lan_word_b), 4, "LAN subnet mask"),
         flag("dhcp", offsetof(L, lan_byte), "DHCP server"),
         of_type(vtype::ipv4, "dhcp-start", offsetof(L, lan_word_c), 4, "first DHCP address"),
         of_type(vtype::ipv4, "dhcp-end", offsetof(L, lan_word_d), 4, "last DHCP address"),
         num("lease", offsetof(L, lan_word_e), 4, 0, 0, "DHCP lease time", "s")});
    lan.raw = {num("lan-word-a", 0, 4, 0, 0, ""),  num("lan-word-b", 4, 4, 0, 0, ""),
               num("lan-byte", 8, 1, 0, 0, ""),    num("lan-word-c", 12, 4, 0, 0, ""),
               num("lan-word-d", 16, 4, 0, 0, ""), num("lan-word-e", 20, 4, 0, 0, "")};
    lan.note =
        "Gateway, netmask, DHCP, range and lease are the simulated service's meanings of the "
        "block; --raw shows it as the library gives it.";
    add_setting(c, lan);

    add_setting(c, net("sgmii-enable", "", kind::set, "whether the SGMII port is on",
                       NETWORK_CMD_SGMII_ENABLE, NETWORK_CMD_SGMII_ENABLE,
                       {flag("enable", 0, "SGMII port on or off")}, 1));
    add_setting(
        c, net("sgmii-config", "", kind::set, "the SGMII link settings", NETWORK_CMD_SGMII_CONFIG,
               NETWORK_CMD_SGMII_CONFIG,
               {flag("autoneg", 0, "auto-negotiation"), named("speed", 1, 1, kSpeed, "link speed"),
                named("duplex", 2, 1, kDuplex, "duplex")}));
    using S = network_sgmii_info_params;
    command info =
        net("sgmii-info", "get", kind::get, "show the SGMII link state", NETWORK_CMD_SGMII_INFO, 0,
            {flag("enabled", offsetof(S, flag_a), ""), flag("link", offsetof(S, flag_b), "link up"),
             named("speed", offsetof(S, byte_a), 1, kSpeed, ""),
             named("duplex", offsetof(S, byte_b), 1, kDuplex, ""),
             flag("autoneg", offsetof(S, flag_c), ""),
             num("rx-bytes", offsetof(S, quad_a), 8, 0, 0, ""),
             num("tx-bytes", offsetof(S, quad_b), 8, 0, 0, ""),
             num("rx-packets", offsetof(S, quad_c), 8, 0, 0, ""),
             num("tx-packets", offsetof(S, quad_d), 8, 0, 0, "")});
    info.raw = {num("flag-a", 0, 1, 0, 0, ""),  num("flag-b", 1, 1, 0, 0, ""),
                num("byte-a", 2, 1, 0, 0, ""),  num("byte-b", 3, 1, 0, 0, ""),
                num("flag-c", 4, 1, 0, 0, ""),  num("quad-a", 8, 8, 0, 0, ""),
                num("quad-b", 16, 8, 0, 0, ""), num("quad-c", 24, 8, 0, 0, ""),
                num("quad-d", 32, 8, 0, 0, "")};
    info.note = "Link, speed, duplex and counters are the simulated service's meanings of the "
                "block; --raw shows it as the library gives it.";
    c.push_back(info);
    add_setting(c, net("ethernet-mode", "", kind::set, "the Ethernet port's role",
                       NETWORK_CMD_ETHERNET_MODE, NETWORK_CMD_ETHERNET_MODE,
                       {named("ethernet-mode", 0, 4, kEthernetMode,
                              "LAN port or WAN uplink (as the simulated service)")},
                       1));
}

} // namespace

void add_network_commands(std::vector<command> &c)
{
    add_forwarding(c);
    add_ports(c);
}

void add_usb_commands(std::vector<command> &c)
{
    using C = usb_config_params;
    const std::vector<field> funcs = {
        flag("diag", offsetof(C, diag), "diagnostics port").at(4),
        flag("nmea", offsetof(C, nmea), "NMEA port").at(5),
        flag("at", offsetof(C, at), "AT command port").at(6),
        flag("modem", offsetof(C, modem), "modem port").at(7),
        flag("net", offsetof(C, net), "network adapter").at(8),
        flag("adb", offsetof(C, adb), "Android debug bridge").at(9),
        flag("audio-uac", offsetof(C, audio_uac), "USB audio").at(10)};
    const field bootup =
        num("bootup", offsetof(C, bootup), 4, 0, 2, "bootup setting (as the service defines it)")
            .at(4);
    const std::vector<field> ids = {
        of_type(vtype::usb_id, "pid", offsetof(C, pid), 2, "USB product id").at(4),
        of_type(vtype::usb_id, "vid", offsetof(C, vid), 2, "USB vendor id").at(6)};
    const field product = text("product", offsetof(C, product_info), 33, "USB product text").at(4);
    const field maker =
        text("manufacturer", offsetof(C, manufac_info), 33, "USB manufacturer text").at(4);
    const field net_mode = num("net-mode", offsetof(C, usbnet), 4, 0, 3,
                               "USB network mode (as the service defines it)")
                               .at(4);

    std::vector<field> all = {bootup, ids[0], ids[1], product, maker, net_mode};
    all.insert(all.end(), funcs.begin(), funcs.end());
    c.push_back(usb("config", "get", kind::get, "show the USB configuration in use", 0, all, 0));
    c.push_back(usb("config", "write", kind::run,
                    "write the changed USB settings out (they apply then)", USB_CMD_CONFIG_WRITE,
                    {}, 0));
    const char *pending =
        "Changes wait for 'usb config write'; a read shows the configuration in use.";
    const struct {
        const char *subject, *help;
        uint16_t id;
        std::vector<field> fields;
        uint8_t npos;
    } settings[] = {{"bootup", "the USB bootup setting", USB_CMD_BOOTUP, {bootup}, 1},
                    {"id", "the USB product and vendor ids", USB_CMD_ID, ids, 0},
                    {"product", "the USB product text", USB_CMD_PRODUCT_INFO, {product}, 1},
                    {"manufacturer", "the USB manufacturer text", USB_CMD_MANUFAC_INFO, {maker}, 1},
                    {"net-mode", "the USB network mode", USB_CMD_NET, {net_mode}, 1},
                    {"func", "which USB functions are on", USB_CMD_FUNC, funcs, 0}};
    for (const auto &s : settings) {
        command row = usb(s.subject, "", kind::set, s.help, s.id, s.fields, s.npos);
        row.note = pending;
        add_setting(c, row);
    }
    c.push_back(
        usb("action", "", kind::run, "run a one-off USB action (as the service defines it)",
            USB_CMD_ACTION,
            {num("action-type", offsetof(usb_action_params, action_type), 4, 0, 2, "the action")}));
}

} // namespace vgm
