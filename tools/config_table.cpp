// The configuration document's table. The meanings of the LAN block, the MAC
// rule, the SGMII speed and the Ethernet mode are those of the simulated
// service (kestd); the library itself passes these numbers through.
#include "config_table.h"

#include <cstring>

#include "vg_mgmt_client.h"

namespace vgcfg {

const char *names::name_of(uint32_t value) const
{
    for (size_t i = 0; i < n; ++i)
        if (v[i].value == value)
            return v[i].name;
    return nullptr;
}

bool names::value_of(const std::string &name, uint32_t &value) const
{
    for (size_t i = 0; i < n; ++i)
        if (name == v[i].name) {
            value = v[i].value;
            return true;
        }
    return false;
}

namespace {

template <size_t N>
names of(const name_value (&v)[N])
{
    return names{v, N};
}

const name_value auth_names[] = {
    {"open", 0}, {"wep", 1}, {"wpa-psk-2", 2}, {"wpa-psk-3", 3}, {"wpa-psk-4", 4}};
const name_value ip_names[] = {{"ipv4", 0}, {"ipv6", 1}, {"ipv4v6", 2}};
const name_value rule_names[] = {{"off", 0}, {"allow-listed", 1}, {"deny-listed", 2}};
const name_value protocol_names[] = {{"tcp", 6}, {"udp", 17}, {"tcp+udp", 253}};
const name_value speed_names[] = {{"10", 0}, {"100", 1}, {"1000", 2}};
const name_value duplex_names[] = {{"half", 0}, {"full", 1}};
const name_value ether_names[] = {{"lan", 0}, {"wan", 1}};

constexpr uint32_t wep = 1u << 1;
constexpr uint32_t wpa = (1u << 2) | (1u << 3) | (1u << 4);

field uint_f(const char *key, size_t off, size_t width, uint32_t min, uint32_t max, const char *help)
{
    return field{.key = key, .off = static_cast<uint16_t>(off), .width = static_cast<uint16_t>(width),
                 .type = vtype::uint, .min = min, .max = max, .help = help};
}

field flag_f(const char *key, size_t off, const char *help)
{
    return field{.key = key, .off = static_cast<uint16_t>(off), .width = 1, .type = vtype::flag, .max = 1,
                 .help = help};
}

field named_f(const char *key, size_t off, size_t width, names v, uint32_t min, uint32_t max, const char *help)
{
    return field{.key = key, .off = static_cast<uint16_t>(off), .width = static_cast<uint16_t>(width),
                 .type = vtype::named, .min = min, .max = max, .values = v, .help = help};
}

field text_f(const char *key, size_t off, size_t width, uint32_t max, bool secret, const char *help)
{
    return field{.key = key, .off = static_cast<uint16_t>(off), .width = static_cast<uint16_t>(width),
                 .type = vtype::text, .max = max, .secret = secret, .help = help};
}

field typed_f(const char *key, size_t off, vtype t, const char *help)
{
    const uint16_t width = t == vtype::ipv4 ? 4 : t == vtype::hex16 ? 2 : 6;
    return field{.key = key, .off = static_cast<uint16_t>(off), .width = width, .type = t, .help = help};
}

field in(field f, uint32_t variants)
{
    f.variants = variants;
    return f;
}

std::vector<uint32_t> wifi_channels()
{
    std::vector<uint32_t> c{0};
    for (uint32_t i = 1; i <= 14; ++i)
        c.push_back(i);
    for (uint32_t i = 36; i <= 144; i += 2)
        if (i <= 64 || i >= 100)
            c.push_back(i);
    for (uint32_t i = 149; i <= 161; i += 2)
        c.push_back(i);
    c.push_back(165);
    return c;
}

#define AT(T, m) offsetof(T, m), sizeof(T::m)
#define OFF(T, m) offsetof(T, m)

constexpr int phase_wifi_global = 20, phase_wifi_iface = 30, phase_mac_rule = 33;
constexpr int phase_default_profile = 41, phase_lan = 50, phase_wired = 53, phase_usb = 60;

// A Wi-Fi setting of one interface: index at 0, the value behind it.
group iface_group(uint16_t id, field f, const char *help, int phase = phase_wifi_iface)
{
    return group{.object = "wifi.interfaces.{i}", .domain = MGMT_DOMAIN_WIFI, .get_id = id,
                 .size = MGMT_WIFI_VALUE_SIZE, .per_interface = true, .phase = phase, .writers = {{id, {}}},
                 .help = help, .fields = {f}};
}

group one(const char *object, uint32_t domain, uint16_t id, uint16_t size, int phase, std::vector<field> f,
          const char *help)
{
    return group{.object = object, .domain = domain, .get_id = id, .size = size, .per_interface = false,
                 .phase = phase, .writers = {{id, {}}}, .help = help, .fields = std::move(f)};
}

std::vector<group> wifi_groups()
{
    std::vector<group> g;
    g.push_back(one("wifi", MGMT_DOMAIN_WIFI, WIFI_CMD_WORK_MODE, MGMT_WIFI_VALUE_SIZE, phase_wifi_global,
                    {uint_f("work_mode", AT(wifi_work_mode_params, work_mode), 0, 4, "Wi-Fi work mode")},
                    "work mode"));
    g.push_back(one("wifi", MGMT_DOMAIN_WIFI, WIFI_CMD_ENABLE, MGMT_WIFI_VALUE_SIZE, phase_wifi_global,
                    {flag_f("enable", OFF(wifi_enable_params, enable), "Wi-Fi switched on")}, "Wi-Fi switch"));
    g.push_back(one("wifi", MGMT_DOMAIN_WIFI, WIFI_CMD_COUNTRY_CODE, MGMT_WIFI_VALUE_SIZE, phase_wifi_global,
                    {text_f("country", AT(wifi_country_code_params, country_code), 2, false,
                            "country code, two letters")},
                    "country code"));
    group essid = iface_group(WIFI_CMD_ESSID, uint_f("ssid_format", AT(wifi_essid_params, format_type), 0, 3,
                                                   "SSID format type"), "SSID");
    essid.fields.push_back(text_f("ssid", AT(wifi_essid_params, ssid), 32, false,
                                  "SSID, 1 to 32 bytes (empty only on an unconfigured station interface)"));
    g.push_back(essid);
    g.push_back(group{
        .object = "wifi.interfaces.{i}.auth", .domain = MGMT_DOMAIN_WIFI, .get_id = WIFI_CMD_AUTH,
        .size = MGMT_WIFI_VALUE_SIZE, .per_interface = true, .phase = phase_wifi_iface,
        .writers = {{WIFI_CMD_AUTH, {}}}, .variant = 0, .help = "authentication",
        .fields = {named_f("type", AT(wifi_auth_params, auth), of(auth_names), 0, 4, "authentication type"),
                   in(uint_f("default_key", AT(wifi_auth_params, wep.default_index), 0, 3, "WEP default key"), wep),
                   in(text_f("key0", AT(wifi_auth_params, wep.key0), 63, true, "WEP key 0"), wep),
                   in(text_f("key1", AT(wifi_auth_params, wep.key1), 63, true, "WEP key 1"), wep),
                   in(text_f("key2", AT(wifi_auth_params, wep.key2), 63, true, "WEP key 2"), wep),
                   in(text_f("key3", AT(wifi_auth_params, wep.key3), 63, true, "WEP key 3"), wep),
                   in(uint_f("pairwise", AT(wifi_auth_params, wpa.pairwise), 0, 2, "WPA pairwise cipher"), wpa),
                   in(text_f("password", AT(wifi_auth_params, wpa.password), 63, true, "WPA passphrase"), wpa),
                   in(uint_f("group_rekey", AT(wifi_auth_params, wpa.group_rekey), 0, UINT32_MAX,
                             "WPA group rekey interval"), wpa)}});
    field channel = uint_f("channel", AT(wifi_channel_params, channel), 0, 165,
                           "channel: 0 automatic, 1-14 (2.4 GHz), 36-165 (5 GHz)");
    channel.only = wifi_channels();
    g.push_back(iface_group(WIFI_CMD_MODE, uint_f("mode", AT(wifi_mode_params, mode), 0, 5, "802.11 mode"), "mode"));
    g.push_back(iface_group(WIFI_CMD_CHANNEL, channel, "channel"));
    g.push_back(iface_group(WIFI_CMD_BANDWIDTH,
                            uint_f("bandwidth", AT(wifi_bandwidth_params, bandwidth), 0, 3, "channel bandwidth"),
                            "bandwidth"));
    g.push_back(iface_group(WIFI_CMD_MAX_NUM_STA,
                            uint_f("max_stations", AT(wifi_max_num_sta_params, max_num_sta), 1, 16,
                                   "most stations at once"),
                            "maximum stations"));
    g.push_back(iface_group(WIFI_CMD_RSSI, uint_f("rssi", AT(wifi_rssi_params, rssi), 0, 95, "RSSI threshold"),
                            "RSSI"));
    g.push_back(iface_group(WIFI_CMD_SSID_HIDE, flag_f("ssid_hide", OFF(wifi_ssid_hide_params, ssid_hide),
                                                       "SSID not broadcast"), "SSID hiding"));
    g.push_back(iface_group(WIFI_CMD_11N_ONLY, flag_f("only_11n", OFF(wifi_11n_only_params, only_11n),
                                                      "only 802.11n stations"), "11n only"));
    g.push_back(iface_group(WIFI_CMD_11AC_ONLY, flag_f("only_11ac", OFF(wifi_11ac_only_params, only_11ac),
                                                       "only 802.11ac stations"), "11ac only"));
    g.push_back(iface_group(WIFI_CMD_AP_ISOLATE, flag_f("ap_isolate", OFF(wifi_ap_isolate_params, ap_isolate),
                                                        "stations kept apart"), "AP isolation"));
    g.push_back(iface_group(WIFI_CMD_DFS, flag_f("dfs", OFF(wifi_dfs_params, dfs), "dynamic frequency selection"),
                            "DFS"));
    g.push_back(iface_group(WIFI_CMD_MAC_ACL_RULE,
                            named_f("mac_rule", AT(wifi_mac_acl_rule_params, rule), of(rule_names), 0, 2,
                                    "MAC rule: off, allow only the listed, deny the listed"),
                            "MAC rule", phase_mac_rule));
    return g;
}

std::vector<group> other_groups()
{
    std::vector<group> g;
    g.push_back(one("data_call.default_profile", MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_DEFAULT_PROFILE,
                    MGMT_DATA_CALL_VALUE_SIZE, phase_default_profile,
                    {uint_f("id", AT(data_call_default_profile_params, default_id), 0, 24,
                            "index of the default profile (profile type 0)"),
                     uint_f("tech_pref", AT(data_call_default_profile_params, tech_pref), 0, 2,
                            "technology preference"),
                     named_f("ip_family", AT(data_call_default_profile_params, ip_family), of(ip_names), 0, 2,
                             "IP family")},
                    "default profile"));
    g.push_back(one("network.lan", MGMT_DOMAIN_NETWORK, NETWORK_CMD_LAN_CONFIG, MGMT_NETWORK_VALUE_SIZE, phase_lan,
                    {typed_f("gateway", OFF(network_lan_config_params, lan_word_a), vtype::ipv4, "gateway address"),
                     typed_f("netmask", OFF(network_lan_config_params, lan_word_b), vtype::ipv4, "subnet mask"),
                     flag_f("dhcp", OFF(network_lan_config_params, lan_byte), "DHCP server on"),
                     typed_f("dhcp_first", OFF(network_lan_config_params, lan_word_c), vtype::ipv4,
                             "first DHCP address"),
                     typed_f("dhcp_last", OFF(network_lan_config_params, lan_word_d), vtype::ipv4,
                             "last DHCP address"),
                     uint_f("lease", AT(network_lan_config_params, lan_word_e), 0, UINT32_MAX,
                            "DHCP lease in seconds (at least 120)")},
                    "LAN block"));
    g.push_back(one("network.sgmii", MGMT_DOMAIN_NETWORK, NETWORK_CMD_SGMII_ENABLE, MGMT_NETWORK_VALUE_SIZE,
                    phase_wired, {flag_f("enable", OFF(network_sgmii_enable_params, enable), "SGMII port on")},
                    "SGMII switch"));
    g.push_back(one("network.sgmii", MGMT_DOMAIN_NETWORK, NETWORK_CMD_SGMII_CONFIG, MGMT_NETWORK_VALUE_SIZE,
                    phase_wired,
                    {flag_f("autoneg", OFF(network_sgmii_config_params, autoneg), "auto-negotiation"),
                     named_f("speed", AT(network_sgmii_config_params, speed), of(speed_names), 0, 2,
                             "speed in Mbit/s"),
                     named_f("duplex", AT(network_sgmii_config_params, duplex), of(duplex_names), 0, 1,
                             "duplex (1000 Mbit/s is full duplex only)")},
                    "SGMII configuration"));
    g.push_back(one("network", MGMT_DOMAIN_NETWORK, NETWORK_CMD_ETHERNET_MODE, MGMT_NETWORK_VALUE_SIZE, phase_wired,
                    {named_f("ethernet_mode", AT(network_ethernet_mode_params, mode), of(ether_names), 0, 1,
                             "Ethernet port: LAN port or WAN uplink")},
                    "Ethernet mode"));
    g.push_back(group{
        .object = "usb", .domain = MGMT_DOMAIN_USB, .get_id = USB_CMD_CONFIG_GET, .size = MGMT_USB_VALUE_SIZE,
        .per_interface = false, .phase = phase_usb,
        .writers = {{USB_CMD_BOOTUP, {{OFF(usb_config_params, bootup), 4, 4}}},
                    {USB_CMD_ID, {{OFF(usb_config_params, pid), 4, 2}, {OFF(usb_config_params, vid), 6, 2}}},
                    {USB_CMD_PRODUCT_INFO, {{OFF(usb_config_params, product_info), 4, 33}}},
                    {USB_CMD_MANUFAC_INFO, {{OFF(usb_config_params, manufac_info), 4, 33}}},
                    {USB_CMD_NET, {{OFF(usb_config_params, usbnet), 4, 4}}},
                    {USB_CMD_FUNC, {{OFF(usb_config_params, diag), 4, 7}}}},
        .commit_id = USB_CMD_CONFIG_WRITE, .help = "the committed USB configuration",
        .fields = {uint_f("bootup", AT(usb_config_params, bootup), 0, 2, "bootup setting"),
                   typed_f("pid", OFF(usb_config_params, pid), vtype::hex16, "USB product id"),
                   typed_f("vid", OFF(usb_config_params, vid), vtype::hex16, "USB vendor id"),
                   text_f("product", AT(usb_config_params, product_info), 32, false, "product text"),
                   text_f("manufacturer", AT(usb_config_params, manufac_info), 32, false, "manufacturer text"),
                   uint_f("usbnet", AT(usb_config_params, usbnet), 0, 3, "USB network mode"),
                   flag_f("diag", OFF(usb_config_params, diag), "diagnostic port"),
                   flag_f("nmea", OFF(usb_config_params, nmea), "NMEA port"),
                   flag_f("at", OFF(usb_config_params, at), "AT command port"),
                   flag_f("modem", OFF(usb_config_params, modem), "modem port"),
                   flag_f("net", OFF(usb_config_params, net), "network function"),
                   flag_f("adb", OFF(usb_config_params, adb), "ADB"),
                   flag_f("audio_uac", OFF(usb_config_params, audio_uac), "USB audio")}});
    return g;
}

std::vector<list_desc> make_lists()
{
    field pdp = uint_f("pdp_type", AT(data_call_apn_params, pdp_type), 0, 255, "PDP type: 0 to 3, or 255");
    pdp.only = {0, 1, 2, 3, 255};
    field auth = uint_f("auth_protocol", AT(data_call_apn_params, auth_protocol), 0, 255,
                        "authentication protocol: 0 to 3, or 255");
    auth.only = pdp.only;
    return {
        {list_kind::mac_acl, "wifi.interfaces.{i}", "mac_list", 31, 32, "the interface's MAC list",
         {typed_f("", OFF(wifi_mac_acl_params, mac), vtype::mac, "MAC address")}},
        {list_kind::snat, "network", "snat", 10, 52, "SNAT rules",
         {typed_f("private_ip", OFF(network_snat_params, private_ip), vtype::ipv4, "private address"),
          uint_f("private_port", AT(network_snat_params, private_port), 1, 65535, "private port"),
          uint_f("global_port", AT(network_snat_params, global_port), 1, 65535, "global port"),
          named_f("protocol", AT(network_snat_params, protocol), of(protocol_names), 6, 253, "IP protocol")}},
        {list_kind::apn, "data_call", "profiles", 42, 40, "APN profiles of every type",
         {uint_f("type", AT(data_call_apn_params, profile_type), 0, 2, "profile type"),
          uint_f("index", AT(data_call_apn_params, profile_index), 0, 24, "profile index"), pdp, auth,
          text_f("apn", AT(data_call_apn_params, apn_name), 150, false, "APN name"),
          text_f("username", AT(data_call_apn_params, username), 127, false, "user name"),
          text_f("password", AT(data_call_apn_params, password), 127, true, "password")}},
    };
}

} // namespace

const std::vector<group> &groups()
{
    static const std::vector<group> all = [] {
        std::vector<group> g = wifi_groups();
        for (auto &o : other_groups())
            g.push_back(std::move(o));
        return g;
    }();
    return all;
}

const std::vector<list_desc> &lists()
{
    static const std::vector<list_desc> all = make_lists();
    return all;
}

const field dmz_field = typed_f("dmz", OFF(network_dmz_params, ipv4_addr), vtype::ipv4,
                                "DMZ host address, or null for none");

} // namespace vgcfg
