// The model's shared parts: instances, buffer sizes, names, and the table of
// all rows made from the domains' tables.
#include "vg_mgmt_model.h"

#include <cstring>

#include "vg_mgmt_client.h"

namespace vgm {

std::vector<field> axis_fields(axis a)
{
    switch (a) {
    case axis::iface:
        return {
            num("interface", 0, 4, 1, 3, "Wi-Fi interface: 1 and 2 access points, 3 the station")};
    case axis::apn:
        return {num("profile-type", 0, 1, 0, 2, "APN profile type"),
                num("profile-index", 1, 1, 0, 24, "APN profile index within its type")};
    case axis::apn_type:
        return {num("profile-type", 0, 1, 0, 2, "APN profile type")};
    case axis::profile:
        return {num("profile", 0, 1, 0, 24, "APN profile of type 0 that carries the call")};
    default:
        return {};
    }
}

void axis_fixed(axis a, uint8_t *rec)
{
    if (a == axis::sta_iface) {
        const uint32_t station = 3;
        std::memcpy(rec, &station, 4);
    } else if (a == axis::usb) {
        std::memset(rec, 0, 4);
    }
}

std::vector<std::vector<std::string>> axis_instances(axis a)
{
    switch (a) {
    case axis::iface:
        return {{"1"}, {"2"}, {"3"}};
    case axis::apn:
    case axis::apn_type:
    case axis::profile:
        return {};
    default:
        return {{}};
    }
}

uint32_t value_size(uint32_t domain)
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

std::string command_name(const command &c)
{
    std::string n = std::string(c.domain_word) + " " + c.subject;
    return c.verb[0] != '\0' ? n + " " + c.verb : n;
}

void add_setting(std::vector<command> &c, const command &row)
{
    if (row.read_id != 0) {
        command get = row;
        get.verb = "get";
        get.k = kind::get;
        get.help = "show " + row.help;
        get.npos = 0;
        c.push_back(get);
    }
    if (row.write_id != 0) {
        command set = row;
        set.verb = "set";
        set.k = kind::set;
        set.help = "change " + row.help;
        set.raw.clear();
        c.push_back(set);
    }
}

const std::vector<command> &commands()
{
    static const std::vector<command> table = [] {
        std::vector<command> c;
        add_wifi_commands(c);
        add_data_call_commands(c);
        add_network_commands(c);
        add_usb_commands(c);
        return c;
    }();
    return table;
}

} // namespace vgm
