// The data-call (domain 6), network (domain 3) and USB (domain 7) commands of
// the model whose rows are not plain.
#include <cstddef>
#include <cstring>

#include "vg_mgmt_client.h"
#include "vg_mgmt_model.h"

namespace vgm {
namespace {

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

// The call's two halves: state and counters while asked for, the name and
// the addresses while the call is up.
void add_call_info(std::vector<command> &c, command base)
{
    base.verb = "get";
    base.k = kind::get;
    base.write_id = 0;
    for (field f : described_fields(MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_INFO)) {
        if (f.off == offsetof(I, ip_type)) {
            f.def =
                kest_factory_text(kest_field_at(MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_INFO, f.key));
            base.query.push_back(f);
            continue;
        }
        const bool v4 = f.off < offsetof(I, ipv6);
        // The state and the counters are numbers; the name and addresses are not.
        const bool always = f.type == vtype::named || f.type == vtype::number;
        f.shown = always ? (v4 ? v4_shown : v6_shown) : (v4 ? v4_up : v6_up);
        base.fields.push_back(f);
    }
    c.push_back(base);
}

void add_apn_add(std::vector<command> &c, command base)
{
    add_plain(c, base);
    c.back().fields = described_fields(MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN);
    c.back().out = described_fields(MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_ADD);
}

const list_def kApnList{"indexes",
                        offsetof(data_call_apn_list_params, length),
                        1,
                        offsetof(data_call_apn_list_params, index_list),
                        1,
                        255,
                        {num("index", 0, 1, 0, 0, "")},
                        {}};

void add_list(std::vector<command> &c, command base, const list_def &l)
{
    base.verb = "list";
    base.k = kind::list;
    base.write_id = 0;
    base.list = &l;
    c.push_back(base);
}
void add_apn_list(std::vector<command> &c, command base)
{
    add_list(c, base, kApnList);
}

// The DMZ host: none while the address is all zeros.
void add_dmz_get(std::vector<command> &c, command base)
{
    add_plain(c, base);
    c.back().fields.at(0).none_when_zero();
}
void add_dmz_add(std::vector<command> &c, command base)
{
    add_plain(c, base);
    command &add = c.back();
    add.npos = 1;
    add.fields.at(0).none_when_zero();
    add.note = "One DMZ host at a time: while one is set the service refuses another (DUPLICATE); "
               "'network dmz del' removes it first.";
    add.when_refused =
        "a DMZ host may be set already: 'network dmz get' shows it, 'network dmz del' removes it";
}

// Both directions of a rule take its four fields as words.
void add_snat_rule(std::vector<command> &c, command base)
{
    add_plain(c, base);
    c.back().fields = described_fields(MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_ADD);
    c.back().npos = static_cast<uint8_t>(c.back().fields.size());
}

const list_def kSnatList{"rules",
                         offsetof(network_snat_list_params, count),
                         4,
                         offsetof(network_snat_list_params, entries),
                         sizeof(network_snat_params),
                         NETWORK_SNAT_MAX,
                         described_fields(MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_ADD),
                         {}};
void add_snat_list(std::vector<command> &c, command base)
{
    add_list(c, base, kSnatList);
}

// The raw words of a record: its members as the public header names them.
field raw(const char *key, size_t off, size_t width)
{
    return num(key, static_cast<uint16_t>(off), static_cast<uint16_t>(width), 0, 0, "");
}
#define VGM_RAW(rec, member, key) raw(key, offsetof(rec, member), sizeof(rec::member))

void add_lan(std::vector<command> &c, command base)
{
    using L = network_lan_config_params;
    base.raw = {VGM_RAW(L, lan_word_a, "lan-word-a"), VGM_RAW(L, lan_word_b, "lan-word-b"),
                VGM_RAW(L, lan_byte, "lan-byte"),     VGM_RAW(L, lan_word_c, "lan-word-c"),
                VGM_RAW(L, lan_word_d, "lan-word-d"), VGM_RAW(L, lan_word_e, "lan-word-e")};
    base.note = "Gateway, netmask, DHCP, range and lease are the simulated service's meanings of "
                "the block; --raw shows it as the library gives it.";
    add_plain(c, base);
}

void add_sgmii_info(std::vector<command> &c, command base)
{
    using S = network_sgmii_info_params;
    base.raw = {
        VGM_RAW(S, flag_a, "flag-a"), VGM_RAW(S, flag_b, "flag-b"), VGM_RAW(S, byte_a, "byte-a"),
        VGM_RAW(S, byte_b, "byte-b"), VGM_RAW(S, flag_c, "flag-c"), VGM_RAW(S, quad_a, "quad-a"),
        VGM_RAW(S, quad_b, "quad-b"), VGM_RAW(S, quad_c, "quad-c"), VGM_RAW(S, quad_d, "quad-d")};
    base.note = "Link, speed, duplex and counters are the simulated service's meanings of the "
                "block; --raw shows it as the library gives it.";
    add_plain(c, base);
}

// A USB setting reads the whole configuration and writes its own record.
void add_usb_setting(std::vector<command> &c, command base)
{
    base.read_id = USB_CMD_CONFIG_GET;
    add_plain(c, base);
    for (size_t i = c.size() - 2; i < c.size(); ++i) {
        for (field &f : c[i].fields) {
            const uint16_t woff = f.off;
            f = described_field(MGMT_DOMAIN_USB, USB_CMD_CONFIG_GET, f.key);
            f.woff = woff;
        }
        c[i].note = "Changes wait for 'usb config write'; a read shows the configuration in use.";
    }
}

void add_usb_action(std::vector<command> &c, command base)
{
    add_plain(c, base);
    c.back().npos = 1;
}

constexpr special kDataCallSpecials[] = {
    {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_INFO, add_call_info},
    {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_ADD, add_apn_add},
    {MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_LIST, add_apn_list},
};
constexpr special kNetworkSpecials[] = {
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_GET, add_dmz_get},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_ADD, add_dmz_add},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_ADD, add_snat_rule},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_DEL, add_snat_rule},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_GET, add_snat_list},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_LAN_CONFIG, add_lan},
    {MGMT_DOMAIN_NETWORK, NETWORK_CMD_SGMII_INFO, add_sgmii_info},
};
constexpr special kUsbSpecials[] = {
    {MGMT_DOMAIN_USB, USB_CMD_ACTION, add_usb_action},
    {MGMT_DOMAIN_USB, USB_CMD_BOOTUP, add_usb_setting},
    {MGMT_DOMAIN_USB, USB_CMD_ID, add_usb_setting},
    {MGMT_DOMAIN_USB, USB_CMD_PRODUCT_INFO, add_usb_setting},
    {MGMT_DOMAIN_USB, USB_CMD_MANUFAC_INFO, add_usb_setting},
    {MGMT_DOMAIN_USB, USB_CMD_NET, add_usb_setting},
    {MGMT_DOMAIN_USB, USB_CMD_FUNC, add_usb_setting},
};

} // namespace

std::span<const special> data_call_specials()
{
    return kDataCallSpecials;
}
std::span<const special> network_specials()
{
    return kNetworkSpecials;
}
std::span<const special> usb_specials()
{
    return kUsbSpecials;
}

} // namespace vgm
