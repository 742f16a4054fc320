// The Wi-Fi commands of the model (domain 1) whose rows are not plain.
#include <cstddef>
#include <cstring>

#include "vg_mgmt_client.h"
#include "vg_mgmt_model.h"

namespace vgm {
namespace {

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

// The WEP fields (the keys and the default one) show for WEP, the others
// but the type for WPA: both halves share the bytes after the type.
void add_auth(std::vector<command> &c, command base)
{
    base.fields = described_fields(MGMT_DOMAIN_WIFI, WIFI_CMD_AUTH);
    for (field &f : base.fields) {
        const bool wep =
            std::strncmp(f.key, "key", 3) == 0 || std::strcmp(f.key, "default-index") == 0;
        if (f.off != offsetof(wifi_auth_params, auth))
            f.shown = wep ? is_wep : is_wpa;
    }
    base.prepare = auth_prepare;
    base.npos = 1;
    base.note = "Changing the type starts the new type's fields from zero: give them with it.";
    add_setting(c, base);
}

// A run whose first field is given as a word.
void add_worded_run(std::vector<command> &c, command base)
{
    add_plain(c, base);
    c.back().npos = 1;
    if (c.back().verb[0] == '\0')
        c.back().verb = "set";
}

const list_def kAclList{"addresses",
                        offsetof(wifi_mac_acl_info_params, count),
                        4,
                        offsetof(wifi_mac_acl_info_params, mac_list),
                        6,
                        WIFI_MAC_ACL_MAX,
                        {of_type(vtype::mac, "mac", 0, 6, "")},
                        {}};

void add_acl_list(std::vector<command> &c, command base)
{
    base.verb = "list";
    base.k = kind::list;
    base.write_id = 0;
    base.list = &kAclList;
    c.push_back(base);
}

using E = wifi_sta_info_entry;
const list_def kStations{"stations",
                         offsetof(wifi_sta_info_params, num_sta),
                         4,
                         offsetof(wifi_sta_info_params, stations),
                         sizeof(E),
                         WIFI_STA_INFO_MAX,
                         described_fields(MGMT_DOMAIN_WIFI, WIFI_CMD_STA_INFO),
                         {num("field-a", offsetof(E, field_a), 4, 0, 0, ""),
                          num("field-b", offsetof(E, field_b), 4, 0, 0, ""),
                          of_type(vtype::hex, "field-c", offsetof(E, field_c), 16, ""),
                          of_type(vtype::mac, "mac", offsetof(E, mac), 6, ""),
                          of_type(vtype::textn, "text", offsetof(E, text), 256, "")}};

void add_stations(std::vector<command> &c, command base)
{
    base.verb = "get";
    base.k = kind::list;
    base.write_id = 0;
    base.list = &kStations;
    base.note = "Interface, address, rate and name are the simulated service's meanings of the "
                "station fields; --raw shows them as the library gives them.";
    c.push_back(base);
}

constexpr special kSpecials[] = {
    {MGMT_DOMAIN_WIFI, WIFI_CMD_AUTH, add_auth},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_ACTIVE, add_worded_run},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_ADD, add_worded_run},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_DEL, add_worded_run},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_INFO, add_acl_list},
    {MGMT_DOMAIN_WIFI, WIFI_CMD_STA_INFO, add_stations},
};

} // namespace

std::span<const special> wifi_specials()
{
    return kSpecials;
}

} // namespace vgm
