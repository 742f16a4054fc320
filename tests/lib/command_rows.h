// Every direction of every described command, each with a value record that
// passes the library's range tests, for table-driven runs of all commands.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "kest_commands.h"

namespace vg_rows {

using fill_fn = void (*)(uint8_t *value);

struct command_row {
    uint32_t domain;
    uint32_t id;
    uint32_t flag;
    fill_fn fill; // a record that passes the range tests
};

template <class T>
inline void put(uint8_t *value, size_t at, T v)
{
    memcpy(value + at, &v, sizeof v);
}

inline void none(uint8_t *) {}
inline void iface1(uint8_t *v)
{
    put<uint32_t>(v, 0, 1);
}
inline void iface3(uint8_t *v)
{
    put<uint32_t>(v, 0, 3);
}
inline void country(uint8_t *v)
{
    memcpy(v, "US", 3);
}
inline void essid(uint8_t *v)
{
    iface1(v);
    memcpy(v + offsetof(wifi_essid_params, ssid), "home", 5);
}
inline void max_sta(uint8_t *v)
{
    iface1(v);
    put<uint32_t>(v, offsetof(wifi_max_num_sta_params, max_num_sta), 8);
}
inline void info_both(uint8_t *v)
{
    put<uint32_t>(v, offsetof(data_call_info_params, ip_type), DATA_CALL_IP_V4V6);
}
inline void snat(uint8_t *v)
{
    put<uint16_t>(v, offsetof(network_snat_params, private_port), 80);
    put<uint16_t>(v, offsetof(network_snat_params, global_port), 8080);
    put<uint8_t>(v, offsetof(network_snat_params, protocol), 6);
}
inline void usb_id(uint8_t *v)
{
    put<uint16_t>(v, offsetof(usb_id_params, pid), 0x9001);
    put<uint16_t>(v, offsetof(usb_id_params, vid), 0x05c6);
}
inline void usb_text(uint8_t *v)
{
    memcpy(v + 4, "vg", 3);
}

constexpr uint32_t W = MGMT_DOMAIN_WIFI, D = MGMT_DOMAIN_DATA_CALL, N = MGMT_DOMAIN_NETWORK,
                   U = MGMT_DOMAIN_USB, S = MGMT_OPT_SET, G = MGMT_OPT_GET;

// Records that the range tests would refuse when left zero; every other
// Wi-Fi record gets interface 1 at its head, every other record stays zero.
struct fill_row {
    uint32_t domain, id, flag;
    fill_fn fill;
};
inline constexpr fill_row kFills[] = {
    {W, WIFI_CMD_COUNTRY_CODE, S, country}, {W, WIFI_CMD_ESSID, S, essid},
    {W, WIFI_CMD_MAX_NUM_STA, S, max_sta},  {W, WIFI_CMD_STATION_STATUS, G, iface3},
    {D, DATA_CALL_CMD_INFO, G, info_both},  {N, NETWORK_CMD_SNAT_ADD, S, snat},
    {N, NETWORK_CMD_SNAT_DEL, S, snat},     {U, USB_CMD_ID, S, usb_id},
    {U, USB_CMD_PRODUCT_INFO, S, usb_text}, {U, USB_CMD_MANUFAC_INFO, S, usb_text},
};

constexpr fill_fn fill_of(const kest_command &c)
{
    for (const fill_row &f : kFills)
        if (f.domain == c.domain && f.id == c.command && f.flag == c.flag)
            return f.fill;
    return c.domain == W ? iface1 : none;
}

// Every described direction of every command, in the descriptions' order.
inline constexpr auto kRows = [] {
    std::array<command_row, kCommandCount> rows{};
    size_t n = 0;
    for (const kest_command_table &t : kCommandTables)
        for (size_t i = 0; i < t.count; ++i)
            rows[n++] = {t.rows[i].domain, t.rows[i].command, t.rows[i].flag, fill_of(t.rows[i])};
    return rows;
}();

// What a domain's handlers and dispatcher share: the value buffer's size, the
// prefix of its handlers' names, the line of a null value, the dispatcher's
// word for the domain, and what a direction without a handler does.
using dispatch_fn = int32_t (*)(mgmt_client *, uint32_t, uint32_t, void *);
struct domain_row {
    uint32_t domain;
    uint32_t size;
    const char *prefix;
    const char *null_text;
    const char *word; // "cannot found %d <word> command"
    dispatch_fn dispatch;
    bool null_handler_sets_errno;
    bool has_last_row; // the table ends in a row of id -1
};
inline constexpr domain_row kDomains[] = {
    {W, MGMT_WIFI_VALUE_SIZE, "wifi_", "the wifi params is null", "WiFi", wifi_command_handle,
     false, true},
    {D, MGMT_DATA_CALL_VALUE_SIZE, "data_call_", "the data call params is null", "Data Call",
     data_call_command_handle, true, false},
    {N, MGMT_NETWORK_VALUE_SIZE, "network_", "the network params is null", "network",
     network_command_handle, true, false},
    {U, MGMT_USB_VALUE_SIZE, "usb_", "NULL params", "Usb", usb_command_handle, false, true},
};
constexpr const domain_row &domain_of(uint32_t domain)
{
    for (const domain_row &d : kDomains)
        if (d.domain == domain)
            return d;
    return kDomains[0];
}

// Runs a row's command through the router with a buffer of its domain's size.
inline int32_t run(mgmt_client *h, const command_row &r, void *value)
{
    const uint32_t cmd = MGMT_COMMAND(r.domain, r.id), size = domain_of(r.domain).size;
    return r.flag == S ? vg_mgmt_client_set(h, cmd, value, size)
                       : vg_mgmt_client_get(h, cmd, value, size);
}

} // namespace vg_rows
