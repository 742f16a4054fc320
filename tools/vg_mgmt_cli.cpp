// vg-mgmt: the library's commands in words. Each command is one row of a
// table that says where its arguments go in the value record and which
// fields to print afterwards, so parsing, calling and printing are written
// once for all of them.

#include "vg_mgmt_cli.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "vg_mgmt_client.h"

namespace {

// ---------------------------------------------------------------------------
// Fields of value records

enum class kind : uint8_t {
    u8,
    u16,
    u32,
    u64,
    flag,     // u8 shown as 0/1; "on"/"off" accepted
    hex16,    // u16 shown as 0x%04x
    text,     // char[width], printed up to its terminator or its width
    mac,      // u8[6]
    ipv4,     // u32s in network byte order, one behind the other in the field's width
    ipv6,     // addresses of 16 bytes, one behind the other in the field's width
    bytes,    // width raw bytes, shown as hex
    ip_type,  // u32: ipv4, ipv6, ipv4v6
    ip_type8, // the same in one byte
    auth,     // u32 Wi-Fi authentication type
    protocol, // u8 IP protocol: tcp, udp or a number
};

using shown_fn = bool (*)(const uint8_t *record);

struct field {
    const char *name;
    uint16_t off;
    kind k;
    uint16_t width = 1; // bytes of the field
    shown_fn shown = nullptr;  // printed only when this says so
    const char *flag = nullptr; // option spelling, when not derived from the name
};

#define FLD(T, m, k, ...) field{#m, offsetof(T, m), kind::k, sizeof(T::m), __VA_ARGS__}
#define FLDN(name, T, m, k, ...) field{name, offsetof(T, m), kind::k, sizeof(T::m), __VA_ARGS__}

// An option: a field given as --name value, with the value it has when absent.
struct option {
    field f;
    const char *default_value = nullptr;
};

// A list in a record: a count and entries of a fixed stride.
struct list_spec {
    const char *name;
    uint16_t count_off;
    kind count_kind; // u8 or u32
    uint16_t entries_off;
    uint16_t stride;
    uint16_t max;
    std::vector<field> entry;
};

struct command {
    std::vector<std::string> words;
    const char *summary;
    uint32_t domain;
    uint32_t id;
    uint32_t flag;
    std::vector<field> args;
    std::vector<option> opts;
    std::vector<field> out;
    std::optional<list_spec> list;
};

uint32_t value_size(uint32_t domain)
{
    switch (domain) {
    case MGMT_DOMAIN_WIFI: return MGMT_WIFI_VALUE_SIZE;
    case MGMT_DOMAIN_NETWORK: return MGMT_NETWORK_VALUE_SIZE;
    case MGMT_DOMAIN_DATA_CALL: return MGMT_DATA_CALL_VALUE_SIZE;
    default: return MGMT_USB_VALUE_SIZE;
    }
}

template <class T>
T load(const uint8_t *p)
{
    T v;
    memcpy(&v, p, sizeof v);
    return v;
}

template <class T>
void store(uint8_t *p, T v)
{
    memcpy(p, &v, sizeof v);
}

// ---------------------------------------------------------------------------
// Names of enumerated values

struct name_value {
    const char *name;
    uint32_t value;
};
const name_value kIpTypes[] = {{"ipv4", 0}, {"ipv6", 1}, {"ipv4v6", 2}};
const name_value kAuthTypes[] = {
    {"open", 0}, {"wep", 1}, {"wpa-psk-2", 2}, {"wpa-psk-3", 3}, {"wpa-psk-4", 4}};
const name_value kProtocols[] = {{"tcp", 6}, {"udp", 17}};
const name_value kSwitch[] = {{"off", 0}, {"on", 1}};

template <size_t N>
const char *name_of(const name_value (&names)[N], uint32_t v)
{
    for (const auto &n : names)
        if (n.value == v)
            return n.name;
    return nullptr;
}

template <size_t N>
std::optional<uint32_t> value_of(const name_value (&names)[N], const std::string &s)
{
    for (const auto &n : names)
        if (s == n.name)
            return n.value;
    return std::nullopt;
}

std::optional<uint64_t> parse_number(const std::string &s, uint64_t max)
{
    if (s.empty() || s[0] == '-' || s[0] == '+')
        return std::nullopt;
    errno = 0;
    char *end = nullptr;
    const unsigned long long v = strtoull(s.c_str(), &end, 0);
    if (errno != 0 || *end != '\0' || v > max)
        return std::nullopt;
    return v;
}

std::optional<uint64_t> parse_named(const std::string &s, uint64_t max,
                                    std::optional<uint32_t> named)
{
    if (named)
        return *named;
    return parse_number(s, max);
}

bool parse_mac(const std::string &s, uint8_t *mac)
{
    unsigned b[6];
    char tail;
    if (sscanf(s.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%c", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5],
               &tail) != 6)
        return false;
    for (int i = 0; i < 6; ++i)
        mac[i] = static_cast<uint8_t>(b[i]);
    return true;
}

// Writes the text of s into the field; an error text when it does not fit.
std::optional<std::string> parse_into(const field &f, const std::string &s, uint8_t *rec)
{
    uint8_t *p = rec + f.off;
    std::optional<uint64_t> v;
    switch (f.k) {
    case kind::u8: v = parse_number(s, UINT8_MAX); if (v) *p = static_cast<uint8_t>(*v); break;
    case kind::u16:
    case kind::hex16: v = parse_number(s, UINT16_MAX); if (v) store<uint16_t>(p, *v); break;
    case kind::u32: v = parse_number(s, UINT32_MAX); if (v) store<uint32_t>(p, *v); break;
    case kind::u64: v = parse_number(s, UINT64_MAX); if (v) store<uint64_t>(p, *v); break;
    case kind::flag:
        v = parse_named(s, UINT8_MAX, value_of(kSwitch, s));
        if (v) *p = static_cast<uint8_t>(*v);
        break;
    case kind::ip_type:
        v = parse_named(s, UINT32_MAX, value_of(kIpTypes, s));
        if (v) store<uint32_t>(p, *v);
        break;
    case kind::ip_type8:
        v = parse_named(s, UINT8_MAX, value_of(kIpTypes, s));
        if (v) *p = static_cast<uint8_t>(*v);
        break;
    case kind::auth:
        v = parse_named(s, UINT32_MAX, value_of(kAuthTypes, s));
        if (v) store<uint32_t>(p, *v);
        break;
    case kind::protocol:
        v = parse_named(s, UINT8_MAX, value_of(kProtocols, s));
        if (v) *p = static_cast<uint8_t>(*v);
        break;
    case kind::text:
        if (s.size() >= f.width)
            return "'" + s + "' is too long for " + f.name + " (at most " +
                   std::to_string(f.width - 1) + " characters)";
        memset(p, 0, f.width);
        memcpy(p, s.data(), s.size());
        return std::nullopt;
    case kind::mac:
        if (!parse_mac(s, p))
            return "'" + s + "' is not a MAC address (aa:bb:cc:dd:ee:ff)";
        return std::nullopt;
    case kind::ipv4: {
        in_addr a{};
        if (inet_pton(AF_INET, s.c_str(), &a) != 1)
            return "'" + s + "' is not an IPv4 address";
        store<uint32_t>(p, a.s_addr);
        return std::nullopt;
    }
    case kind::ipv6:
    case kind::bytes: return std::string(f.name) + " cannot be given";
    }
    if (!v)
        return "'" + s + "' is not a valid " + f.name;
    return std::nullopt;
}

// ---------------------------------------------------------------------------
// Printing

struct printer {
    FILE *out;
    bool json;
    bool first = true;

    void key(const std::string &name)
    {
        if (json)
            fprintf(out, "%s\"%s\": ", first ? "" : ", ", name.c_str());
        else
            fprintf(out, "%s: ", name.c_str());
        first = false;
    }
    void end_value() const
    {
        if (!json)
            fputc('\n', out);
    }
};

std::string json_string(const char *s, size_t max)
{
    std::string r = "\"";
    for (size_t i = 0; i < max && s[i] != '\0'; ++i) {
        const unsigned char c = static_cast<unsigned char>(s[i]);
        if (c == '"' || c == '\\') {
            r += '\\';
            r += static_cast<char>(c);
        } else if (c < 0x20 || c >= 0x7f) {
            char esc[8];
            snprintf(esc, sizeof esc, "\\u%04x", c);
            r += esc;
        } else {
            r += static_cast<char>(c);
        }
    }
    return r + "\"";
}

std::string value_text(const field &f, const uint8_t *rec, bool json)
{
    const uint8_t *p = rec + f.off;
    char buf[64];
    auto named = [&](const char *name, uint32_t v) {
        if (name == nullptr)
            return std::to_string(v);
        return json ? "\"" + std::string(name) + "\"" : std::string(name);
    };
    // Addresses: the field's width in bytes holds one or more of them; a
    // single one is printed as a value, several as a list.
    auto many = [&](uint16_t each, auto one) {
        const uint16_t n = f.width / each;
        if (n == 1)
            return one(0);
        std::string r = json ? "[" : "";
        for (uint16_t i = 0; i < n; ++i)
            r += (i ? (json ? ", " : " ") : "") + one(i);
        return r + (json ? "]" : "");
    };
    switch (f.k) {
    case kind::u8: return std::to_string(*p);
    case kind::u16: return std::to_string(load<uint16_t>(p));
    case kind::u32: return std::to_string(load<uint32_t>(p));
    case kind::u64: return std::to_string(load<uint64_t>(p));
    case kind::flag: return std::to_string(*p);
    case kind::hex16:
        if (json)
            return std::to_string(load<uint16_t>(p));
        snprintf(buf, sizeof buf, "0x%04x", load<uint16_t>(p));
        return buf;
    case kind::text:
        return json ? json_string(reinterpret_cast<const char *>(p), f.width)
                    : std::string(reinterpret_cast<const char *>(p),
                                  strnlen(reinterpret_cast<const char *>(p), f.width));
    case kind::mac:
        snprintf(buf, sizeof buf, json ? "\"%02x:%02x:%02x:%02x:%02x:%02x\"" : "%02x:%02x:%02x:%02x:%02x:%02x",
                 p[0], p[1], p[2], p[3], p[4], p[5]);
        return buf;
    case kind::ipv4:
        return many(4, [&](uint16_t i) {
            in_addr a{load<uint32_t>(p + 4 * i)};
            inet_ntop(AF_INET, &a, buf, sizeof buf);
            return json ? "\"" + std::string(buf) + "\"" : std::string(buf);
        });
    case kind::ipv6:
        return many(16, [&](uint16_t i) {
            inet_ntop(AF_INET6, p + 16 * i, buf, sizeof buf);
            return json ? "\"" + std::string(buf) + "\"" : std::string(buf);
        });
    case kind::bytes: {
        std::string hex;
        for (uint16_t i = 0; i < f.width; ++i) {
            snprintf(buf, sizeof buf, "%02x", p[i]);
            hex += buf;
        }
        return json ? "\"" + hex + "\"" : hex;
    }
    case kind::ip_type: return named(name_of(kIpTypes, load<uint32_t>(p)), load<uint32_t>(p));
    case kind::ip_type8: return named(name_of(kIpTypes, *p), *p);
    case kind::auth: return named(name_of(kAuthTypes, load<uint32_t>(p)), load<uint32_t>(p));
    case kind::protocol: return named(name_of(kProtocols, *p), *p);
    }
    return "";
}

void print_fields(printer &pr, const std::vector<field> &fields, const uint8_t *rec)
{
    for (const field &f : fields) {
        if (f.shown != nullptr && !f.shown(rec))
            continue;
        pr.key(f.name);
        fputs(value_text(f, rec, pr.json).c_str(), pr.out);
        pr.end_value();
    }
}

void print_list(printer &pr, const list_spec &l, const uint8_t *rec)
{
    const uint32_t count = l.count_kind == kind::u8 ? rec[l.count_off] : load<uint32_t>(rec + l.count_off);
    const uint32_t shown = count < l.max ? count : l.max;
    pr.key("count");
    fprintf(pr.out, "%u", count);
    pr.end_value();
    pr.key(l.name);
    if (pr.json)
        fputc('[', pr.out);
    else
        fputc('\n', pr.out);
    for (uint32_t i = 0; i < shown; ++i) {
        const uint8_t *entry = rec + l.entries_off + i * l.stride;
        if (pr.json) {
            fprintf(pr.out, "%s{", i ? ", " : "");
            printer inner{pr.out, true};
            for (const field &f : l.entry) {
                inner.key(f.name);
                fputs(value_text(f, entry, true).c_str(), pr.out);
            }
            fputc('}', pr.out);
        } else {
            fprintf(pr.out, "  [%u]", i);
            for (const field &f : l.entry)
                fprintf(pr.out, " %s=%s", f.name, value_text(f, entry, false).c_str());
            fputc('\n', pr.out);
        }
    }
    if (pr.json)
        fputc(']', pr.out);
}

// ---------------------------------------------------------------------------
// The command table

bool is_wep(const uint8_t *r) { return load<uint32_t>(r + offsetof(wifi_auth_params, auth)) == 1; }
bool is_wpa(const uint8_t *r)
{
    const uint32_t a = load<uint32_t>(r + offsetof(wifi_auth_params, auth));
    return a >= 2 && a <= 4;
}
bool has_v4(const uint8_t *r) { return load<uint32_t>(r + offsetof(data_call_info_params, ip_type)) != 1; }
bool has_v6(const uint8_t *r) { return load<uint32_t>(r + offsetof(data_call_info_params, ip_type)) != 0; }

constexpr uint32_t SET = MGMT_OPT_SET;
constexpr uint32_t GET = MGMT_OPT_GET;

#define CALL_INFO_FAMILY(fam, T, shown)                                                      \
    field{#fam "_name", offsetof(data_call_info_params, fam) + offsetof(T, name), kind::text, \
          16, shown},                                                                          \
        field{#fam "_status", offsetof(data_call_info_params, fam) + offsetof(T, status),     \
              kind::u32, 1, shown},                                                            \
        field{#fam "_flag", offsetof(data_call_info_params, fam) + offsetof(T, flag),         \
              kind::u8, 1, shown},                                                             \
        field{#fam "_addresses", offsetof(data_call_info_params, fam) + offsetof(T, address), \
              kind::fam, sizeof(T::address), shown},                                                            \
        field{#fam "_stat_1", offsetof(data_call_info_params, fam) + offsetof(T, stat_1),     \
              kind::u32, 1, shown},                                                            \
        field{#fam "_stat_2", offsetof(data_call_info_params, fam) + offsetof(T, stat_2),     \
              kind::u32, 1, shown},                                                            \
        field{#fam "_stat_3", offsetof(data_call_info_params, fam) + offsetof(T, stat_3),     \
              kind::u64, 1, shown},                                                            \
        field{#fam "_stat_4", offsetof(data_call_info_params, fam) + offsetof(T, stat_4),     \
              kind::u64, 1, shown},                                                            \
        field{#fam "_stat_5", offsetof(data_call_info_params, fam) + offsetof(T, stat_5),     \
              kind::u32, 1, shown},                                                            \
        field {                                                                                \
        #fam "_stat_6", offsetof(data_call_info_params, fam) + offsetof(T, stat_6), kind::u32, \
            1, shown                                                                           \
    }

std::vector<command> build_commands()
{
    using W = std::vector<std::string>;
    std::vector<command> c;
    const uint32_t wifi = MGMT_DOMAIN_WIFI, dc = MGMT_DOMAIN_DATA_CALL, net = MGMT_DOMAIN_NETWORK,
                   usb = MGMT_DOMAIN_USB;
    const field wifi_index = FLD(wifi_mode_params, index, u32);

    c.push_back({W{"wifi", "work-mode", "get"}, "read the Wi-Fi work mode", wifi, WIFI_CMD_WORK_MODE,
                 GET, {}, {}, {FLD(wifi_work_mode_params, work_mode, u32)}, {}});
    c.push_back({W{"wifi", "work-mode", "set"}, "set the Wi-Fi work mode (0-4)", wifi,
                 WIFI_CMD_WORK_MODE, SET, {FLD(wifi_work_mode_params, work_mode, u32)}, {}, {}, {}});
    c.push_back({W{"wifi", "enable", "get"}, "read the Wi-Fi switch", wifi, WIFI_CMD_ENABLE, GET, {},
                 {}, {FLD(wifi_enable_params, enable, flag)}, {}});
    c.push_back({W{"wifi", "enable", "set"}, "switch Wi-Fi on or off", wifi, WIFI_CMD_ENABLE, SET,
                 {FLD(wifi_enable_params, enable, flag)}, {}, {}, {}});
    c.push_back({W{"wifi", "country", "get"}, "read the country code", wifi, WIFI_CMD_COUNTRY_CODE,
                 GET, {}, {}, {field{"country_code", 0, kind::text, 2}}, {}});
    c.push_back({W{"wifi", "country", "set"}, "set the two-letter country code", wifi,
                 WIFI_CMD_COUNTRY_CODE, SET, {FLD(wifi_country_code_params, country_code, text)},
                 {}, {}, {}});
    c.push_back({W{"wifi", "ssid", "get"}, "read an interface's SSID", wifi, WIFI_CMD_ESSID, GET,
                 {wifi_index}, {},
                 {FLD(wifi_essid_params, format_type, u32), FLD(wifi_essid_params, ssid, text)}, {}});
    c.push_back({W{"wifi", "ssid", "set"}, "set an interface's SSID", wifi, WIFI_CMD_ESSID, SET,
                 {wifi_index, FLD(wifi_essid_params, ssid, text)},
                 {{FLD(wifi_essid_params, format_type, u32), "0"}}, {}, {}});
    c.push_back({W{"wifi", "active", "set"}, "activate an interface (0-2)", wifi, WIFI_CMD_ACTIVE,
                 SET, {wifi_index, FLD(wifi_active_params, active, u8)}, {}, {}, {}});

    const std::vector<field> wep = {
        FLD(wifi_auth_params, wep.default_index, u32, is_wep, "default-index"),
        FLD(wifi_auth_params, wep.key0, text, is_wep, "key0"),
        FLD(wifi_auth_params, wep.key1, text, is_wep, "key1"),
        FLD(wifi_auth_params, wep.key2, text, is_wep, "key2"),
        FLD(wifi_auth_params, wep.key3, text, is_wep, "key3")};
    const std::vector<field> wpa = {
        FLD(wifi_auth_params, wpa.pairwise, u32, is_wpa, "pairwise"),
        FLD(wifi_auth_params, wpa.password, text, is_wpa, "password"),
        FLD(wifi_auth_params, wpa.group_rekey, u32, is_wpa, "group-rekey")};
    std::vector<field> auth_out = {FLD(wifi_auth_params, auth, auth)};
    auth_out.insert(auth_out.end(), wep.begin(), wep.end());
    auth_out.insert(auth_out.end(), wpa.begin(), wpa.end());
    for (field &f : auth_out)
        if (f.flag != nullptr)
            f.name = f.flag;
    std::vector<option> auth_opts;
    for (size_t i = 1; i < auth_out.size(); ++i)
        auth_opts.push_back({auth_out[i], nullptr});
    c.push_back({W{"wifi", "auth", "get"}, "read an interface's authentication", wifi, WIFI_CMD_AUTH,
                 GET, {wifi_index}, {}, auth_out, {}});
    c.push_back({W{"wifi", "auth", "set"},
                 "set authentication: open, wep (--default-index, --key0..3) or wpa-psk-2..4 "
                 "(--pairwise, --password, --group-rekey)",
                 wifi, WIFI_CMD_AUTH, SET, {wifi_index, FLD(wifi_auth_params, auth, auth)},
                 auth_opts, {}, {}});

    struct radio {
        const char *word;
        uint32_t id;
        field f;
    };
    const radio radios[] = {
        {"mode", WIFI_CMD_MODE, FLD(wifi_mode_params, mode, u32)},
        {"channel", WIFI_CMD_CHANNEL, FLD(wifi_channel_params, channel, u32)},
        {"bandwidth", WIFI_CMD_BANDWIDTH, FLD(wifi_bandwidth_params, bandwidth, u32)},
        {"max-sta", WIFI_CMD_MAX_NUM_STA, FLD(wifi_max_num_sta_params, max_num_sta, u32)},
        {"rssi", WIFI_CMD_RSSI, FLD(wifi_rssi_params, rssi, u32)},
        {"ssid-hide", WIFI_CMD_SSID_HIDE, FLD(wifi_ssid_hide_params, ssid_hide, flag)},
        {"11n-only", WIFI_CMD_11N_ONLY, FLD(wifi_11n_only_params, only_11n, flag)},
        {"11ac-only", WIFI_CMD_11AC_ONLY, FLD(wifi_11ac_only_params, only_11ac, flag)},
        {"ap-isolate", WIFI_CMD_AP_ISOLATE, FLD(wifi_ap_isolate_params, ap_isolate, flag)},
        {"dfs", WIFI_CMD_DFS, FLD(wifi_dfs_params, dfs, flag)},
    };
    for (const radio &r : radios) {
        c.push_back({W{"wifi", r.word, "get"}, "read an interface's radio setting", wifi, r.id, GET,
                     {wifi_index}, {}, {r.f}, {}});
        c.push_back({W{"wifi", r.word, "set"}, "set an interface's radio setting", wifi, r.id, SET,
                     {wifi_index, r.f}, {}, {}, {}});
    }

    c.push_back({W{"wifi", "acl-rule", "get"}, "read an interface's MAC access rule", wifi,
                 WIFI_CMD_MAC_ACL_RULE, GET, {wifi_index}, {},
                 {FLD(wifi_mac_acl_rule_params, rule, u32)}, {}});
    c.push_back({W{"wifi", "acl-rule", "set"}, "set an interface's MAC access rule (0-2)", wifi,
                 WIFI_CMD_MAC_ACL_RULE, SET, {wifi_index, FLD(wifi_mac_acl_rule_params, rule, u32)},
                 {}, {}, {}});
    c.push_back({W{"wifi", "acl", "add"}, "add an address to an interface's MAC list", wifi,
                 WIFI_CMD_MAC_ACL_ADD, SET, {wifi_index, FLD(wifi_mac_acl_params, mac, mac)}, {},
                 {}, {}});
    c.push_back({W{"wifi", "acl", "del"}, "delete an address from an interface's MAC list", wifi,
                 WIFI_CMD_MAC_ACL_DEL, SET, {wifi_index, FLD(wifi_mac_acl_params, mac, mac)}, {},
                 {}, {}});
    c.push_back({W{"wifi", "acl", "list"}, "list an interface's MAC addresses", wifi,
                 WIFI_CMD_MAC_ACL_INFO, GET, {wifi_index}, {}, {},
                 list_spec{"addresses", offsetof(wifi_mac_acl_info_params, count), kind::u32,
                           offsetof(wifi_mac_acl_info_params, mac_list), 6, WIFI_MAC_ACL_MAX,
                           {field{"mac", 0, kind::mac}}}});
    c.push_back({W{"wifi", "stations", "get"}, "list the stations on the access point", wifi,
                 WIFI_CMD_STA_INFO, GET, {}, {}, {},
                 list_spec{"stations", offsetof(wifi_sta_info_params, num_sta), kind::u32,
                           offsetof(wifi_sta_info_params, stations), sizeof(wifi_sta_info_entry),
                           WIFI_STA_INFO_MAX,
                           {FLD(wifi_sta_info_entry, mac, mac), FLD(wifi_sta_info_entry, field_a, u32),
                            FLD(wifi_sta_info_entry, field_b, u32),
                            FLD(wifi_sta_info_entry, field_c, bytes),
                            FLD(wifi_sta_info_entry, text, text)}}});
    c.push_back({W{"wifi", "station-status", "get"}, "read the station interface's state", wifi,
                 WIFI_CMD_STATION_STATUS, GET, {},
                 {{FLD(wifi_station_status_params, index, u32), "3"}},
                 {FLD(wifi_station_status_params, ssid, text),
                  FLD(wifi_station_status_params, status, u8)},
                 {}});
    c.push_back({W{"wifi", "restore", "set"}, "restore the default Wi-Fi configuration", wifi,
                 WIFI_CMD_RESTORE_DEFAULT, SET, {},
                 {{FLD(wifi_restore_default_params, index, u32), "0"}}, {}, {}});

    // Data calls.
    const field profile = FLD(data_call_up_params, profile_id, u8);
    const option ip_type{FLDN("ip-type", data_call_up_params, ip_type, ip_type), "ipv4"};
    c.push_back({W{"datacall", "up"}, "start the data call of a profile", dc, DATA_CALL_CMD_UP, SET,
                 {profile},
                 {ip_type, {FLD(data_call_up_params, reconnect, u8), "0"},
                  {FLDN("apn", data_call_up_params, apn_name, text), ""},
                  {FLDN("user", data_call_up_params, username, text), ""},
                  {FLD(data_call_up_params, password, text), ""}},
                 {}, {}});
    c.push_back({W{"datacall", "down"}, "stop the data call of a profile", dc, DATA_CALL_CMD_DOWN,
                 SET, {profile}, {ip_type}, {}, {}});
    c.push_back({W{"datacall", "info"}, "read a profile's data call", dc, DATA_CALL_CMD_INFO, GET,
                 {profile}, {{ip_type.f, "ipv4v6"}},
                 {CALL_INFO_FAMILY(ipv4, data_call_info_v4, has_v4),
                  CALL_INFO_FAMILY(ipv6, data_call_info_v6, has_v6)},
                 {}});
    const field apn_type = FLDN("type", data_call_apn_params, profile_type, u8);
    const field apn_index = FLDN("index", data_call_apn_params, profile_index, u8);
    const std::vector<option> apn_opts = {
        {FLDN("pdp-type", data_call_apn_params, pdp_type, u8), "0"},
        {FLDN("auth-protocol", data_call_apn_params, auth_protocol, u8), "0"},
        {FLDN("apn", data_call_apn_params, apn_name, text), ""},
        {FLDN("user", data_call_apn_params, username, text), ""},
        {FLD(data_call_apn_params, password, text), ""}};
    c.push_back({W{"datacall", "apn", "add"}, "add an APN profile; prints the index it got", dc,
                 DATA_CALL_CMD_APN_ADD, SET, {apn_type}, apn_opts, {apn_index}, {}});
    c.push_back({W{"datacall", "apn", "set"}, "change an APN profile", dc, DATA_CALL_CMD_APN, SET,
                 {apn_type, apn_index}, apn_opts, {}, {}});
    c.push_back({W{"datacall", "apn", "get"}, "read an APN profile", dc, DATA_CALL_CMD_APN, GET,
                 {apn_type, apn_index}, {},
                 {FLD(data_call_apn_params, pdp_type, u8), FLD(data_call_apn_params, auth_protocol, u8),
                  FLD(data_call_apn_params, apn_name, text), FLD(data_call_apn_params, username, text),
                  FLD(data_call_apn_params, password, text)},
                 {}});
    c.push_back({W{"datacall", "apn", "del"}, "delete an APN profile", dc, DATA_CALL_CMD_APN_DEL,
                 SET, {apn_type, apn_index}, {}, {}, {}});
    c.push_back({W{"datacall", "apn", "list"}, "list the profile indexes of a type", dc,
                 DATA_CALL_CMD_APN_LIST, GET, {FLDN("type", data_call_apn_list_params, profile_type, u8)},
                 {}, {},
                 list_spec{"indexes", offsetof(data_call_apn_list_params, length), kind::u8,
                           offsetof(data_call_apn_list_params, index_list), 1, 255,
                           {field{"index", 0, kind::u8}}}});
    c.push_back({W{"datacall", "default-profile", "get"}, "read the default profile", dc,
                 DATA_CALL_CMD_DEFAULT_PROFILE, GET, {}, {},
                 {FLD(data_call_default_profile_params, default_id, u8),
                  FLD(data_call_default_profile_params, tech_pref, u32),
                  FLD(data_call_default_profile_params, ip_family, ip_type)},
                 {}});
    c.push_back({W{"datacall", "default-profile", "set"}, "set the default profile", dc,
                 DATA_CALL_CMD_DEFAULT_PROFILE, SET,
                 {FLD(data_call_default_profile_params, default_id, u8)},
                 {{FLDN("tech-pref", data_call_default_profile_params, tech_pref, u32), "0"},
                  {FLDN("ip-family", data_call_default_profile_params, ip_family, ip_type), "ipv4"}},
                 {}, {}});

    // Network.
    const field dmz = FLD(network_dmz_params, ipv4_addr, ipv4);
    c.push_back({W{"network", "dmz", "add"}, "set the DMZ address", net, NETWORK_CMD_DMZ_ADD, SET,
                 {dmz}, {}, {}, {}});
    c.push_back({W{"network", "dmz", "del"}, "remove the DMZ address", net, NETWORK_CMD_DMZ_DEL, SET,
                 {}, {}, {}, {}});
    c.push_back({W{"network", "dmz", "get"}, "read the DMZ address", net, NETWORK_CMD_DMZ_GET, GET, {},
                 {}, {dmz}, {}});
    const std::vector<field> snat = {FLD(network_snat_params, private_ip, ipv4),
                                     FLD(network_snat_params, private_port, u16),
                                     FLD(network_snat_params, global_port, u16),
                                     FLD(network_snat_params, protocol, protocol)};
    c.push_back({W{"network", "snat", "add"}, "add an SNAT rule", net, NETWORK_CMD_SNAT_ADD, SET, snat,
                 {}, {}, {}});
    c.push_back({W{"network", "snat", "del"}, "delete an SNAT rule", net, NETWORK_CMD_SNAT_DEL, SET,
                 snat, {}, {}, {}});
    c.push_back({W{"network", "snat", "list"}, "list the SNAT rules", net, NETWORK_CMD_SNAT_GET, GET,
                 {}, {}, {},
                 list_spec{"rules", offsetof(network_snat_list_params, count), kind::u32,
                           offsetof(network_snat_list_params, entries), sizeof(network_snat_params),
                           NETWORK_SNAT_MAX, snat}});
    const std::vector<field> lan = {FLD(network_lan_config_params, lan_word_a, u32),
                                    FLD(network_lan_config_params, lan_word_b, u32),
                                    FLD(network_lan_config_params, lan_byte, u8),
                                    FLD(network_lan_config_params, lan_word_c, u32),
                                    FLD(network_lan_config_params, lan_word_d, u32),
                                    FLD(network_lan_config_params, lan_word_e, u32)};
    c.push_back({W{"network", "lan", "get"}, "read the LAN block", net, NETWORK_CMD_LAN_CONFIG, GET, {},
                 {}, lan, {}});
    c.push_back({W{"network", "lan", "set"}, "replace the LAN block", net, NETWORK_CMD_LAN_CONFIG, SET,
                 lan, {}, {}, {}});
    const field sgmii_enable = FLD(network_sgmii_enable_params, enable, flag);
    c.push_back({W{"network", "sgmii-enable", "get"}, "read the SGMII switch", net,
                 NETWORK_CMD_SGMII_ENABLE, GET, {}, {}, {sgmii_enable}, {}});
    c.push_back({W{"network", "sgmii-enable", "set"}, "switch SGMII on or off", net,
                 NETWORK_CMD_SGMII_ENABLE, SET, {sgmii_enable}, {}, {}, {}});
    const std::vector<field> sgmii_config = {FLD(network_sgmii_config_params, autoneg, flag),
                                             FLD(network_sgmii_config_params, speed, u8),
                                             FLD(network_sgmii_config_params, duplex, u8)};
    c.push_back({W{"network", "sgmii-config", "get"}, "read the SGMII configuration", net,
                 NETWORK_CMD_SGMII_CONFIG, GET, {}, {}, sgmii_config, {}});
    c.push_back({W{"network", "sgmii-config", "set"}, "set autoneg, speed (0-2), duplex (0-1)", net,
                 NETWORK_CMD_SGMII_CONFIG, SET, sgmii_config, {}, {}, {}});
    c.push_back({W{"network", "sgmii-info", "get"}, "read the SGMII status block", net,
                 NETWORK_CMD_SGMII_INFO, GET, {}, {},
                 {FLD(network_sgmii_info_params, flag_a, flag), FLD(network_sgmii_info_params, flag_b, flag),
                  FLD(network_sgmii_info_params, byte_a, u8), FLD(network_sgmii_info_params, byte_b, u8),
                  FLD(network_sgmii_info_params, flag_c, flag), FLD(network_sgmii_info_params, quad_a, u64),
                  FLD(network_sgmii_info_params, quad_b, u64), FLD(network_sgmii_info_params, quad_c, u64),
                  FLD(network_sgmii_info_params, quad_d, u64)},
                 {}});
    const field eth_mode = FLD(network_ethernet_mode_params, mode, u32);
    c.push_back({W{"network", "ethernet-mode", "get"}, "read the Ethernet mode", net,
                 NETWORK_CMD_ETHERNET_MODE, GET, {}, {}, {eth_mode}, {}});
    c.push_back({W{"network", "ethernet-mode", "set"}, "set the Ethernet mode (0-1)", net,
                 NETWORK_CMD_ETHERNET_MODE, SET, {eth_mode}, {}, {}, {}});

    // USB: every record starts with the instance number, 0 unless given.
    const option usb_num{FLDN("usb-num", usb_config_params, usb_num, u32), "0"};
    c.push_back({W{"usb", "config", "get"}, "read the USB configuration", usb, USB_CMD_CONFIG_GET, GET,
                 {}, {usb_num},
                 {FLD(usb_config_params, bootup, u32), FLD(usb_config_params, pid, hex16),
                  FLD(usb_config_params, vid, hex16), FLD(usb_config_params, product_info, text),
                  FLD(usb_config_params, manufac_info, text), FLD(usb_config_params, usbnet, u32),
                  FLD(usb_config_params, diag, flag), FLD(usb_config_params, nmea, flag),
                  FLD(usb_config_params, at, flag), FLD(usb_config_params, modem, flag),
                  FLD(usb_config_params, net, flag), FLD(usb_config_params, adb, flag),
                  FLD(usb_config_params, audio_uac, flag)},
                 {}});
    c.push_back({W{"usb", "config", "write"}, "write the USB configuration", usb, USB_CMD_CONFIG_WRITE,
                 SET, {}, {}, {}, {}});
    c.push_back({W{"usb", "bootup", "set"}, "set the bootup setting (0-2)", usb, USB_CMD_BOOTUP, SET,
                 {FLD(usb_bootup_params, bootup, u32)}, {usb_num}, {}, {}});
    c.push_back({W{"usb", "net", "set"}, "set the USB net setting (0-3)", usb, USB_CMD_NET, SET,
                 {FLD(usb_net_params, net, u32)}, {usb_num}, {}, {}});
    c.push_back({W{"usb", "action", "set"}, "set the USB action (0-2)", usb, USB_CMD_ACTION, SET,
                 {FLD(usb_action_params, action_type, u32)}, {usb_num}, {}, {}});
    c.push_back({W{"usb", "id", "set"}, "set the product and vendor ids", usb, USB_CMD_ID, SET,
                 {FLD(usb_id_params, pid, hex16), FLD(usb_id_params, vid, hex16)}, {usb_num}, {}, {}});
    c.push_back({W{"usb", "product", "set"}, "set the product text (32 bytes are sent)", usb,
                 USB_CMD_PRODUCT_INFO, SET, {FLD(usb_product_info_params, product_info, text)},
                 {usb_num}, {}, {}});
    c.push_back({W{"usb", "manufacturer", "set"}, "set the manufacturer text (32 bytes are sent)", usb,
                 USB_CMD_MANUFAC_INFO, SET, {FLD(usb_manufac_info_params, manufac_info, text)},
                 {usb_num}, {}, {}});
    std::vector<option> funcs = {usb_num};
    for (const field &f : {FLD(usb_func_params, diag, flag), FLD(usb_func_params, nmea, flag),
                           FLD(usb_func_params, at, flag), FLD(usb_func_params, modem, flag),
                           FLD(usb_func_params, net, flag), FLD(usb_func_params, adb, flag),
                           FLD(usb_func_params, audio_uac, flag)})
        funcs.push_back({f, "0"});
    c.push_back({W{"usb", "func", "set"}, "switch the USB functions (--diag on --adb off ...)", usb,
                 USB_CMD_FUNC, SET, {}, funcs, {}, {}});
    return c;
}

const std::vector<command> &commands()
{
    static const std::vector<command> table = build_commands();
    return table;
}

// ---------------------------------------------------------------------------
// Help and errors

std::string option_name(const field &f)
{
    std::string s = f.flag != nullptr ? f.flag : f.name;
    for (char &ch : s)
        if (ch == '_')
            ch = '-';
    return s;
}

std::string usage_of(const command &cmd)
{
    std::string u = "vg-mgmt";
    for (const auto &w : cmd.words)
        u += " " + w;
    for (const field &f : cmd.args)
        u += " <" + option_name(f) + ">";
    for (const option &o : cmd.opts)
        u += " [--" + option_name(o.f) + " V]";
    return u;
}

void print_help(FILE *out, const std::vector<std::string> &prefix)
{
    fprintf(out,
            "usage: vg-mgmt [--json] <domain> <subject> [<verb>] [args...]\n"
            "       vg-mgmt [--json] events [--count N] [--timeout S]\n"
            "Options: --json prints JSON; --help at any level lists what follows.\n"
            "Names are accepted for ip types (ipv4, ipv6, ipv4v6), authentication (open, wep,\n"
            "wpa-psk-2..4), protocols (tcp, udp) and switches (on, off); numbers always are.\n\n");
    for (const command &cmd : commands()) {
        if (prefix.size() > cmd.words.size() ||
            !std::equal(prefix.begin(), prefix.end(), cmd.words.begin()))
            continue;
        fprintf(out, "  %-58s %s\n", usage_of(cmd).c_str(), cmd.summary);
    }
}

std::string failure_reason(int32_t e)
{
    switch (e) {
    case MGMT_ERR_HANDLE: return "invalid handle";
    case MGMT_ERR_NOT_SUPPORTED: return "not supported";
    case MGMT_ERR_INVALID: return "invalid argument";
    case MGMT_ERR_NO_SERVICE: return "service not reachable";
    case MGMT_ERR_NO_MEMORY: return "out of memory";
    case 0: return "no answer from the service";
    default: return "the service refused: error " + std::to_string(e);
    }
}

// ---------------------------------------------------------------------------
// Events

std::mutex g_event_mu;
std::condition_variable g_event_cv;
FILE *g_event_out = nullptr;
bool g_event_json = false;
unsigned g_events_seen = 0;
volatile std::sig_atomic_t g_stop = 0;

void print_event(uint32_t id, const void *rec)
{
    const auto *r = static_cast<const uint8_t *>(rec);
    printer pr{g_event_out, g_event_json};
    const char *name = "";
    std::vector<field> fields;
    if (id == WIFI_EVENT_STA_STATUS) {
        name = "wifi station status";
        fields = {FLD(wifi_station_status_params, index, u32),
                  FLD(wifi_station_status_params, ssid, text),
                  FLD(wifi_station_status_params, status, u8)};
    } else if (id == WIFI_EVENT_AP_STA) {
        name = "wifi ap station";
        fields = {FLD(wifi_ap_sta_event, action, u32), FLD(wifi_ap_sta_event, index, u32),
                  FLD(wifi_ap_sta_event, mac, mac)};
    } else if (id == DATA_CALL_EVENT_STATUS) {
        name = "data call status";
        const bool v4 = load<uint32_t>(r + offsetof(data_call_status_event, ip_family)) == 0;
        fields = {FLD(data_call_status_event, index, u8), FLD(data_call_status_event, name, text),
                  FLD(data_call_status_event, ip_family, u32), FLD(data_call_status_event, state, u32),
                  FLD(data_call_status_event, reason_code, u32),
                  field{"addresses", offsetof(data_call_status_event, address),
                        v4 ? kind::ipv4 : kind::ipv6, static_cast<uint16_t>(v4 ? 16 : 64)}};
    }
    if (pr.json) {
        fprintf(pr.out, "{\"event\": \"%s\"", name);
        pr.first = false;
        for (const field &f : fields) {
            pr.key(f.name);
            fputs(value_text(f, r, true).c_str(), pr.out);
        }
        fputs("}\n", pr.out);
    } else {
        fprintf(pr.out, "%s:", name);
        for (const field &f : fields)
            fprintf(pr.out, " %s=%s", f.name, value_text(f, r, false).c_str());
        fputc('\n', pr.out);
    }
    fflush(pr.out);
}

int32_t on_event(uint32_t id, const void *rec, uint32_t)
{
    std::lock_guard lock(g_event_mu);
    print_event(id, rec);
    ++g_events_seen;
    g_event_cv.notify_all();
    return 0;
}

int run_events(const std::vector<std::string> &args, bool json, FILE *out, FILE *err)
{
    unsigned want = 0;
    uint64_t timeout_s = 0;
    for (size_t i = 0; i < args.size(); ++i) {
        const bool has_value = i + 1 < args.size();
        std::optional<uint64_t> v;
        if (has_value && (args[i] == "--count" || args[i] == "--timeout"))
            v = parse_number(args[i + 1], UINT32_MAX);
        if (!v) {
            fprintf(err, "vg-mgmt: events: '%s' is not understood\n"
                         "usage: vg-mgmt [--json] events [--count N] [--timeout S]\n",
                    args[i].c_str());
            return 2;
        }
        if (args[i] == "--count")
            want = static_cast<unsigned>(*v);
        else
            timeout_s = *v;
        ++i;
    }
    {
        std::lock_guard lock(g_event_mu);
        g_event_out = out;
        g_event_json = json;
        g_events_seen = 0;
    }
    mgmt_client *h = nullptr;
    if (vg_mgmt_client_open(&h, on_event) != 0) {
        fprintf(err, "vg-mgmt: events: %s\n", failure_reason(vg_mgmt_get_errno()).c_str());
        return 1;
    }
    g_stop = 0;
    auto stop = [](int) { g_stop = 1; };
    signal(SIGINT, stop);
    signal(SIGTERM, stop);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeout_s);
    {
        std::unique_lock lock(g_event_mu);
        while (!g_stop && (want == 0 || g_events_seen < want) &&
               (timeout_s == 0 || std::chrono::steady_clock::now() < deadline))
            g_event_cv.wait_for(lock, std::chrono::milliseconds(100));
    }
    vg_mgmt_client_close(h);
    return 0;
}

// ---------------------------------------------------------------------------
// Running one command

struct parsed {
    const command *cmd = nullptr;
    std::vector<uint8_t> value;
};

int usage_error(FILE *err, const command *cmd, const std::string &why)
{
    fprintf(err, "vg-mgmt: %s\n", why.c_str());
    if (cmd != nullptr)
        fprintf(err, "usage: %s\n", usage_of(*cmd).c_str());
    else
        fprintf(err, "usage: vg-mgmt [--json] <domain> <subject> [<verb>] [args...] (see --help)\n");
    return 2;
}

} // namespace

int vg_mgmt_cli_run(int argc, char **argv, FILE *out, FILE *err)
{
    std::vector<std::string> words;
    bool json = false;
    bool help = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--json")
            json = true;
        else if (a == "--help" || a == "-h")
            help = true;
        else
            words.push_back(a);
    }
    if (!words.empty() && words[0] == "events") {
        if (help)
            return fprintf(out, "usage: vg-mgmt [--json] events [--count N] [--timeout S]\n"), 0;
        return run_events({words.begin() + 1, words.end()}, json, out, err);
    }

    // The longest command whose words start the line.
    const command *cmd = nullptr;
    for (const command &c : commands())
        if (c.words.size() <= words.size() &&
            std::equal(c.words.begin(), c.words.end(), words.begin()) &&
            (cmd == nullptr || c.words.size() > cmd->words.size()))
            cmd = &c;
    if (help || cmd == nullptr) {
        std::vector<std::string> prefix;
        for (const std::string &w : words) {
            if (w.starts_with("-"))
                break;
            prefix.push_back(w);
            bool any = false;
            for (const command &c : commands())
                any = any || (prefix.size() <= c.words.size() &&
                              std::equal(prefix.begin(), prefix.end(), c.words.begin()));
            if (!any) {
                prefix.pop_back();
                break;
            }
        }
        if (help) {
            print_help(out, cmd != nullptr ? cmd->words : prefix);
            return 0;
        }
        if (words.empty())
            return usage_error(err, nullptr, "no command given");
        print_help(err, prefix);
        return usage_error(err, nullptr, "unknown command");
    }

    parsed p{cmd, std::vector<uint8_t>(value_size(cmd->domain), 0)};
    for (const option &o : cmd->opts)
        if (o.default_value != nullptr) {
            if (auto e = parse_into(o.f, o.default_value, p.value.data()))
                return usage_error(err, cmd, *e);
        }
    size_t next_arg = 0;
    for (size_t i = cmd->words.size(); i < words.size(); ++i) {
        const std::string &w = words[i];
        if (w.starts_with("--")) {
            const option *o = nullptr;
            for (const option &cand : cmd->opts)
                if (w == "--" + option_name(cand.f))
                    o = &cand;
            if (o == nullptr)
                return usage_error(err, cmd, "unknown option " + w);
            if (i + 1 >= words.size())
                return usage_error(err, cmd, w + " needs a value");
            if (auto e = parse_into(o->f, words[++i], p.value.data()))
                return usage_error(err, cmd, *e);
        } else {
            if (next_arg >= cmd->args.size())
                return usage_error(err, cmd, "too many arguments");
            if (auto e = parse_into(cmd->args[next_arg++], w, p.value.data()))
                return usage_error(err, cmd, *e);
        }
    }
    if (next_arg < cmd->args.size())
        return usage_error(err, cmd, "missing <" + option_name(cmd->args[next_arg]) + ">");

    std::string name;
    for (const auto &w : cmd->words)
        name += (name.empty() ? "" : " ") + w;

    mgmt_client *h = nullptr;
    if (vg_mgmt_client_open(&h, nullptr) != 0) {
        fprintf(err, "vg-mgmt: %s: %s\n", name.c_str(), failure_reason(vg_mgmt_get_errno()).c_str());
        return 1;
    }
    const uint32_t code = MGMT_COMMAND(cmd->domain, cmd->id);
    const uint32_t size = static_cast<uint32_t>(p.value.size());
    const int32_t rc = cmd->flag == MGMT_OPT_SET ? vg_mgmt_client_set(h, code, p.value.data(), size)
                                                 : vg_mgmt_client_get(h, code, p.value.data(), size);
    const int32_t e = vg_mgmt_get_errno();
    vg_mgmt_client_close(h);
    if (rc != 0) {
        fprintf(err, "vg-mgmt: %s: %s\n", name.c_str(), failure_reason(e).c_str());
        return 1;
    }

    printer pr{out, json};
    if (json)
        fprintf(out, "{\"command\": \"%s\", \"ok\": true", name.c_str()), pr.first = false;
    print_fields(pr, cmd->out, p.value.data());
    if (cmd->list)
        print_list(pr, *cmd->list, p.value.data());
    if (json)
        fputs("}\n", out);
    else if (cmd->out.empty() && !cmd->list)
        fputs("ok\n", out);
    fflush(out);
    return 0;
}
