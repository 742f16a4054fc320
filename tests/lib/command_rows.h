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

inline uint32_t value_size(uint32_t domain)
{
    switch (domain) {
    case MGMT_DOMAIN_WIFI:
        return MGMT_WIFI_VALUE_SIZE;
    case MGMT_DOMAIN_NETWORK:
        return MGMT_NETWORK_VALUE_SIZE;
    case MGMT_DOMAIN_DATA_CALL:
        return MGMT_DATA_CALL_VALUE_SIZE;
    default:
        return MGMT_USB_VALUE_SIZE;
    }
}

} // namespace vg_rows
