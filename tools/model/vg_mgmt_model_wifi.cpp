// The Wi-Fi rows of the model (domain 1).
#include <cstddef>
#include <cstring>

#include "kest_commands.h"
#include "vg_mgmt_client.h"
#include "vg_mgmt_model.h"

namespace vgm {
namespace {

constexpr name_value kAuth[] = {
    {"open", 0}, {"wep", 1}, {"wpa-psk-2", 2}, {"wpa-psk-3", 3}, {"wpa-psk-4", 4}};
// As the simulated service takes them; a module's service may differ.
constexpr name_value kAclRule[] = {{"off", 0}, {"allow-listed", 1}, {"deny-listed", 2}};
constexpr name_value kStationState[] = {{"disconnected", 0}, {"connecting", 1}, {"connected", 2}};

uint32_t auth_of(const uint8_t *rec)
{
    uint32_t a;
    std::memcpy(&a, rec + offsetof(wifi_auth_params, auth), 4);
    return a;
}
bool is_wep(const uint8_t *rec)
{
    return auth_of(rec) == WIFI_AUTH_WEP;
}
bool is_wpa(const uint8_t *rec)
{
    return auth_of(rec) >= WIFI_AUTH_WPA_PSK_MIN && auth_of(rec) <= WIFI_AUTH_WPA_PSK_MAX;
}
int auth_family(const uint8_t *rec)
{
    return is_wep(rec) ? 1 : is_wpa(rec) ? 2 : 0;
}

// A set that changes the family (open, WEP, WPA) starts the new family's
// fields from zero: the old ones mean something else in the same bytes.
void auth_prepare(const uint8_t *rrec, uint8_t *wrec)
{
    if (auth_family(rrec) != auth_family(wrec))
        std::memset(wrec + offsetof(wifi_auth_params, wep), 0, sizeof(wifi_auth_wep));
}

command setting(const char *subject, const char *help, uint16_t id, std::vector<field> fields,
                axis inst = axis::iface, uint8_t npos = 1)
{
    return command{.domain_word = "wifi",
                   .subject = subject,
                   .verb = "",
                   .k = kind::set,
                   .help = help,
                   .domain = MGMT_DOMAIN_WIFI,
                   .read_id = id,
                   .write_id = id,
                   .inst = inst,
                   .fields = std::move(fields),
                   .npos = npos};
}

command row(const char *subject, const char *verb, kind k, const char *help, uint16_t read,
            uint16_t write, axis inst, std::vector<field> fields, uint8_t npos = 0)
{
    return command{.domain_word = "wifi",
                   .subject = subject,
                   .verb = verb,
                   .k = k,
                   .help = help,
                   .domain = MGMT_DOMAIN_WIFI,
                   .read_id = read,
                   .write_id = write,
                   .inst = inst,
                   .fields = std::move(fields),
                   .npos = npos};
}

field auth_field()
{
    return named(
        "auth", offsetof(wifi_auth_params, auth), 4, kAuth,
        "authentication type: wpa-psk-2, -3 and -4 are WPA with a passphrase; which of them is "
        "WPA2, WPA3 or a mix is the service's matter (the library passes the number through)");
}

std::vector<field> auth_fields()
{
    using A = wifi_auth_params;
    return {auth_field(),
            num("default-index", offsetof(A, wep.default_index), 4, 0, 3, "WEP: the default key")
                .when(is_wep),
            secret("key0", offsetof(A, wep.key0), 64, "WEP key 0").when(is_wep),
            secret("key1", offsetof(A, wep.key1), 64, "WEP key 1").when(is_wep),
            secret("key2", offsetof(A, wep.key2), 64, "WEP key 2").when(is_wep),
            secret("key3", offsetof(A, wep.key3), 64, "WEP key 3").when(is_wep),
            num("pairwise", offsetof(A, wpa.pairwise), 4, 0, 2,
                "WPA: pairwise cipher selector (its ciphers are the service's matter)")
                .when(is_wpa),
            secret("password", offsetof(A, wpa.password), 64, "WPA: the passphrase").when(is_wpa),
            num("group-rekey", offsetof(A, wpa.group_rekey), 4, 0, 0, "WPA: group rekey interval")
                .when(is_wpa)};
}

field channel_field()
{
    field f = num("channel", 4, 4, 0, 165, "radio channel; 0 picks one (or follows the AP)");
    f.allowed = kest_wifi_channel_ok;
    f.range_text = "0, 1-14, 36-64 even, 100-128 even, 132-144 even, 149-161 odd, 165";
    return f;
}

const list_def kAclList{"addresses",
                        offsetof(wifi_mac_acl_info_params, count),
                        4,
                        offsetof(wifi_mac_acl_info_params, mac_list),
                        6,
                        WIFI_MAC_ACL_MAX,
                        {of_type(vtype::mac, "mac", 0, 6, "")},
                        {}};

using E = wifi_sta_info_entry;
const list_def kStations{
    "stations",
    offsetof(wifi_sta_info_params, num_sta),
    4,
    offsetof(wifi_sta_info_params, stations),
    sizeof(E),
    WIFI_STA_INFO_MAX,
    {of_type(vtype::mac, "mac", offsetof(E, mac), 6, ""),
     num("interface", offsetof(E, field_a), 4, 0, 0, "access point the station is on"),
     of_type(vtype::ipv4_text, "address", offsetof(E, field_c), 16, "its IPv4 address"),
     num("rate", offsetof(E, field_b), 4, 0, 0, "link rate", "Mbit/s"),
     of_type(vtype::textn, "name", offsetof(E, text), 256, "its host name")},
    {num("field-a", offsetof(E, field_a), 4, 0, 0, ""),
     num("field-b", offsetof(E, field_b), 4, 0, 0, ""),
     of_type(vtype::hex, "field-c", offsetof(E, field_c), 16, ""),
     of_type(vtype::mac, "mac", offsetof(E, mac), 6, ""),
     of_type(vtype::textn, "text", offsetof(E, text), 256, "")}};

// The on/off switches of an interface: word, command, what it is, its field.
struct wifi_switch {
    const char *word;
    uint32_t cmd;
    const char *what;
    const char *help;
};
const wifi_switch kWifiSwitches[] = {
    {"ssid-hide", WIFI_CMD_SSID_HIDE, "whether an interface hides its SSID",
     "SSID left out of beacons"},
    {"11n-only", WIFI_CMD_11N_ONLY, "whether an interface takes 802.11n stations only",
     "802.11n stations only"},
    {"11ac-only", WIFI_CMD_11AC_ONLY, "whether an interface takes 802.11ac stations only",
     "802.11ac stations only"},
    {"ap-isolate", WIFI_CMD_AP_ISOLATE, "whether an interface keeps its stations apart",
     "stations cannot reach each other"},
    {"dfs", WIFI_CMD_DFS, "whether an interface uses DFS channels", "dynamic frequency selection"},
};

// The settings of Wi-Fi as a whole and an interface's name and security.
void add_wifi_basics(std::vector<command> &c)
{
    add_setting(c, setting("work-mode", "the Wi-Fi work mode (numbers as the service defines them)",
                           WIFI_CMD_WORK_MODE,
                           {num("work-mode", 0, 4, kWorkModeRange.min, kWorkModeRange.max,
                                "Wi-Fi work mode")},
                           axis::none));
    add_setting(c, setting("enable", "whether Wi-Fi is on", WIFI_CMD_ENABLE,
                           {flag("enable", 0, "Wi-Fi as a whole on or off")}, axis::none));
    add_setting(c, setting("country", "the country code", WIFI_CMD_COUNTRY_CODE,
                           {text("country", 0, 3, "two-letter country code (ISO 3166)", 2)},
                           axis::none));
    add_setting(c, setting("ssid", "an interface's SSID", WIFI_CMD_ESSID,
                           {text("ssid", offsetof(wifi_essid_params, ssid), 33, "network name", 1),
                            num("format-type", offsetof(wifi_essid_params, format_type), 4, 0, 3,
                                "SSID format type (as the service defines it)")}));
    c.push_back(row("active", "set", kind::run, "activate or deactivate an interface (no read)", 0,
                    WIFI_CMD_ACTIVE, axis::iface,
                    {num("active", offsetof(wifi_active_params, active), 1, 0, 2,
                         "0 inactive; 1 and 2 active (as the service defines them)")},
                    1));
    command auth = setting("auth", "an interface's authentication", WIFI_CMD_AUTH, auth_fields());
    auth.prepare = auth_prepare;
    auth.note = "Changing the type starts the new type's fields from zero: give them with it.";
    add_setting(c, auth);
}

// An interface's radio settings and switches.
void add_wifi_radio(std::vector<command> &c)
{
    add_setting(
        c,
        setting("mode", "an interface's radio mode (as the service defines it)", WIFI_CMD_MODE,
                {num("mode", 4, 4, kWifiModeRange.min, kWifiModeRange.max,
                     "802.11 radio mode; what each number stands for is the service's matter")}));
    add_setting(
        c, setting("channel", "an interface's radio channel", WIFI_CMD_CHANNEL, {channel_field()}));
    add_setting(
        c,
        setting("bandwidth", "an interface's channel bandwidth (as the service defines it)",
                WIFI_CMD_BANDWIDTH,
                {num("bandwidth", 4, 4, kBandwidthRange.min, kBandwidthRange.max,
                     "channel bandwidth; what each number stands for is the service's matter")}));
    add_setting(c, setting("max-sta", "the most stations an interface takes", WIFI_CMD_MAX_NUM_STA,
                           {num("max-sta", 4, 4, 1, 16, "most stations at once")}));
    add_setting(c, setting("rssi", "an interface's RSSI threshold", WIFI_CMD_RSSI,
                           {num("rssi", 4, 4, kRssiRange.min, kRssiRange.max, "RSSI threshold")}));
    for (const wifi_switch &w : kWifiSwitches)
        add_setting(c, setting(w.word, w.what, w.cmd, {flag(w.word, 4, w.help)}));
    add_setting(
        c, setting("acl-rule", "an interface's MAC access rule", WIFI_CMD_MAC_ACL_RULE,
                   {named("acl-rule", 4, 4, kAclRule, "which stations the MAC list lets in")}));
}

// The MAC list, the stations and restore.
void add_wifi_lists(std::vector<command> &c)
{
    const field mac =
        of_type(vtype::mac, "mac", offsetof(wifi_mac_acl_params, mac), 6, "station address");
    c.push_back(row("acl", "add", kind::run, "add an address to an interface's MAC list", 0,
                    WIFI_CMD_MAC_ACL_ADD, axis::iface, {mac}, 1));
    c.push_back(row("acl", "del", kind::run, "delete an address from an interface's MAC list", 0,
                    WIFI_CMD_MAC_ACL_DEL, axis::iface, {mac}, 1));
    command acl = row("acl", "list", kind::list, "list an interface's MAC addresses",
                      WIFI_CMD_MAC_ACL_INFO, 0, axis::iface, {});
    acl.list = &kAclList;
    c.push_back(acl);
    command sta = row("stations", "get", kind::list, "list the stations on the access points",
                      WIFI_CMD_STA_INFO, 0, axis::none, {});
    sta.list = &kStations;
    sta.note = "Interface, address, rate and name are the simulated service's meanings of the "
               "station fields; --raw shows them as the library gives them.";
    c.push_back(sta);
    c.push_back(row("station-status", "get", kind::get, "show the station interface's connection",
                    WIFI_CMD_STATION_STATUS, 0, axis::sta_iface,
                    {text("ssid", offsetof(wifi_station_status_params, ssid), 33, "network joined"),
                     named("status", offsetof(wifi_station_status_params, status), 1, kStationState,
                           "connection state")}));
    c.push_back(row(
        "restore", "", kind::run, "restore the default Wi-Fi configuration", 0,
        WIFI_CMD_RESTORE_DEFAULT, axis::none,
        {num("interface", 0, 4, 0, 3, "1 to 3: that interface; 0: all of Wi-Fi").or_default("0")}));
}

} // namespace

void add_wifi_commands(std::vector<command> &c)
{
    add_wifi_basics(c);
    add_wifi_radio(c);
    add_wifi_lists(c);
}

} // namespace vgm
