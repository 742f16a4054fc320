// Every direction of every described command, and a value record for each
// that passes the library's checks, made from the field description: the
// instance the command names, then every field at its factory value (or the
// least of its range).
#pragma once

#include <array>
#include <cstring>

#include "kest_fields.h"

namespace vg_rows {

constexpr uint32_t W = MGMT_DOMAIN_WIFI, D = MGMT_DOMAIN_DATA_CALL, N = MGMT_DOMAIN_NETWORK,
                   U = MGMT_DOMAIN_USB, S = MGMT_OPT_SET, G = MGMT_OPT_GET;

// Every described direction of every command, in the descriptions' order.
inline constexpr auto kRows = [] {
    std::array<kest_command, kCommandCount> rows{};
    size_t n = 0;
    for (const kest_command_table &t : kCommandTables)
        for (size_t i = 0; i < t.count; ++i)
            rows[n++] = t.rows[i];
    return rows;
}();

template <class T>
inline void put(uint8_t *value, size_t at, T v)
{
    memcpy(value + at, &v, sizeof v);
}

// The instance a command names; none when it names none.
constexpr kest_instance instance_of(uint32_t domain, uint32_t command)
{
    for (const kest_subject &s : kSubjects)
        if (s.domain == domain && s.command == command)
            return s.instance;
    return kest_instance::none;
}

// The fields of a command's record; a rule's deletion takes the rule's record
// as its addition describes it.
constexpr kest_field_span fields_of(uint32_t domain, uint32_t command)
{
    return domain == N && command == NETWORK_CMD_SNAT_DEL ? kest_fields_of(N, NETWORK_CMD_SNAT_ADD)
                                                          : kest_fields_of(domain, command);
}

// Writes a good record of the command: Wi-Fi interface 1 (the station
// interface 3), the factory texts, and each number at its factory value.
inline void fill(const kest_command &c, uint8_t *v)
{
    const kest_instance in = instance_of(c.domain, c.command);
    if (in == kest_instance::iface || in == kest_instance::sta_iface)
        put<uint32_t>(v, 0, in == kest_instance::iface ? 1 : 3);
    for (const kest_field &f : fields_of(c.domain, c.command)) {
        if (f.kind == kest_kind::text || f.kind == kest_kind::secret) {
            const char *t = kest_factory_text(f);
            memcpy(v + f.off, t, std::min<size_t>(strlen(t) + 1, f.width));
        } else if (f.kind == kest_kind::number || f.kind == kest_kind::named ||
                   f.kind == kest_kind::flag || f.kind == kest_kind::usb_id) {
            const uint64_t n = f.factory.given ? kest_factory_number(f) : f.min;
            memcpy(v + f.off, &n, f.width);
        }
    }
}

// The value buffer's size of a domain.
constexpr uint32_t size_of(uint32_t domain)
{
    return domain == W   ? MGMT_WIFI_VALUE_SIZE
           : domain == D ? MGMT_DATA_CALL_VALUE_SIZE
           : domain == N ? MGMT_NETWORK_VALUE_SIZE
                         : MGMT_USB_VALUE_SIZE;
}

// Runs a row's command through the router with a buffer of its domain's size.
inline int32_t run(mgmt_client *h, const kest_command &r, void *value)
{
    const uint32_t cmd = MGMT_COMMAND(r.domain, r.command);
    return r.flag == S ? vg_mgmt_client_set(h, cmd, value, size_of(r.domain))
                       : vg_mgmt_client_get(h, cmd, value, size_of(r.domain));
}

inline std::string row_name(const kest_command &r)
{
    return "domain " + std::to_string(r.domain) + " command " + std::to_string(r.command) +
           (r.flag == S ? " set" : " get");
}

} // namespace vg_rows
