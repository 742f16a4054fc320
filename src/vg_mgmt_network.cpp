// Network domain: dispatcher and handlers.

#include <cstring>
#include <iterator>

#include "vg_mgmt_core.h"

namespace {
constexpr char kVgLogFile[] = "vg_mgmt_network";

int32_t network_null_params(const vg_site &site)
{
    VG_LOG_AT(site, 1, "the network params is null");
    return vg_fail(MGMT_ERR_INVALID);
}

// ---------------------------------------------------------------------------
// DMZ
//
// Addresses go out and come back bit for bit; only the log lines turn them
// into text. vg_ipv4_ntoa stands in the VG_LOG arguments so that each sink
// takes a fresh text: the formatter reuses its buffer on the next call.

int32_t network_dmz_add_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const network_dmz_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    const network_dmz_add_set_req req{p->ipv4_addr};
    VG_LOG(4, "network add dmz: IPv4 address %s", vg_ipv4_ntoa(p->ipv4_addr));
    resp_status resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_NETWORK_DMZ_ADD_SET, "add dmz"), req, resp)) {
        VG_LOG(1, "can not add dmz ipv4 address: error %d", resp.error);
        return -1;
    }
    VG_LOG(3, "network add dmz IPv4 address %s success", vg_ipv4_ntoa(p->ipv4_addr));
    return 0;
}

// Deleting names no address: value is never looked at and may be null.
int32_t network_dmz_del_set(mgmt_client *handle, void *)
{
    resp_status resp;
    VG_LOG(4, "network delete dmz");
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_NETWORK_DMZ_DEL_SET, "delete dmz"), resp)) {
        VG_LOG(1, "can not delete dmz ipv4 address: error %d", resp.error);
        return -1;
    }
    VG_LOG(3, "network delete dmz IPv4 address success");
    return 0;
}

int32_t network_dmz_get_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<network_dmz_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    network_dmz_get_get_resp resp;
    VG_LOG(4, "network get dmz");
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_NETWORK_DMZ_GET_GET, "get dmz"), resp)) {
        VG_LOG(1, "can not get dmz ipv4 address: error %d", resp.status.error);
        return -1;
    }
    p->ipv4_addr = resp.ipv4_addr;
    VG_LOG(3, "network get dmz IPv4 address %s success", vg_ipv4_ntoa(p->ipv4_addr));
    return 0;
}

// ---------------------------------------------------------------------------
// SNAT

// The four fields of a rule, between value record and wire in either
// direction; the 3 bytes behind protocol are never touched.
template <class Dst, class Src>
void network_snat_copy(Dst &d, const Src &s)
{
    d.private_ip = s.private_ip;
    d.private_port = s.private_port;
    d.global_port = s.global_port;
    d.protocol = s.protocol;
}

// The level 4 line of one rule. Each sink gets its own address text, taken
// just before it writes, as a VG_LOG argument would be.
void network_snat_log(const vg_site &site, int line, const vg_fmt &f, const network_snat_params &r)
{
    __vg_log(site.file, line, site.func, 4, f.fmt, vg_ipv4_ntoa(r.private_ip), r.private_port,
             r.global_port, r.protocol);
    vg_sys_log_print(kVgSysLogKind, vg_severity(4), VG_LOG_TAG, f.twin, site.func, line,
                     vg_ipv4_ntoa(r.private_ip), r.private_port, r.global_port, r.protocol);
}

// Add and delete are one procedure; a row holds what tells them apart.
struct network_snat_change_row {
    kest_call call;
    vg_fmt rule;    // the rule, written before the send
    vg_fmt failure; // "can not ... snat: error %d"
};

constexpr network_snat_change_row kSnatAdd{
    KEST_CALL(KEST_NETWORK_SNAT_ADD_SET, "add snat"),
    VG_FMT("add snat private ip %s private port %d global port %d protocol %d", "sddd"),
    VG_FMT("can not add snat: error %d", "d"),
};
constexpr network_snat_change_row kSnatDel{
    KEST_CALL(KEST_NETWORK_SNAT_DEL_SET, "del snat"),
    VG_FMT("del snat private ip %s private port %d global port %d protocol %d", "sddd"),
    VG_FMT("can not del snat: error %d", "d"),
};
constexpr vg_fmt kSnatGetRule =
    VG_FMT("get snat private ip %s private port %d global port %d protocol %d", "sddd");

// A successful change writes nothing after the transport line: the rule
// line before the send is its only trace.
int32_t network_snat_change(const vg_site &site, const network_snat_change_row &row,
                            mgmt_client *handle, const void *value)
{
    auto *p = static_cast<const network_snat_params *>(value);
    if (p == nullptr)
        return network_null_params(site);
    network_snat_rule req{};
    resp_status resp;
    if (p->private_port == 0 || p->global_port == 0 || p->protocol < kSnatProtocolRange.min ||
        p->protocol > kSnatProtocolRange.max) {
        VG_LOG_AT(site, 1, "invalid private port %d global port %d protocol %d", p->private_port,
                  p->global_port, p->protocol);
        return vg_fail(MGMT_ERR_INVALID);
    }
    network_snat_copy(req, *p);
    network_snat_log(site, __LINE__, row.rule, *p);
    if (!vg_exchange(site, handle, row.call, req, resp)) {
        vg_log_fmt(site, __LINE__, 1, row.failure, resp.error);
        return -1;
    }
    return 0;
}

int32_t network_snat_add_set(mgmt_client *handle, void *value)
{
    return network_snat_change(VG_SITE, kSnatAdd, handle, value);
}

int32_t network_snat_del_set(mgmt_client *handle, void *value)
{
    return network_snat_change(VG_SITE, kSnatDel, handle, value);
}

int32_t network_snat_get_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<network_snat_list_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    network_snat_get_get_resp resp;
    VG_LOG(4, "get snat config information");
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_NETWORK_SNAT_GET_GET, "get snat"), resp)) {
        VG_LOG(1, "can not get snat: error %d", resp.status.error);
        return -1;
    }
    // The response and the record both end at 32 rules. A larger count
    // cannot be honoured; the 32 rules that did arrive are still good, so
    // they are kept and count says how many the record holds.
    const uint32_t n = resp.count < NETWORK_SNAT_MAX ? resp.count : NETWORK_SNAT_MAX;
    for (uint32_t i = 0; i < n; ++i) {
        network_snat_copy(p->entries[i], resp.entries[i]);
        network_snat_log(VG_SITE, __LINE__, kSnatGetRule, p->entries[i]);
    }
    p->count = n;
    VG_LOG(4, "snat get information count %d", p->count);
    return 0;
}

// ---------------------------------------------------------------------------
// LAN configuration: a block that the library passes through untested and
// unlogged. The 3 bytes behind lan_byte belong to neither side.

template <class Dst, class Src>
void network_lan_copy(Dst &d, const Src &s)
{
    d.lan_word_a = s.lan_word_a;
    d.lan_word_b = s.lan_word_b;
    d.lan_byte = s.lan_byte;
    d.lan_word_c = s.lan_word_c;
    d.lan_word_d = s.lan_word_d;
    d.lan_word_e = s.lan_word_e;
}

int32_t network_lan_config_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const network_lan_config_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    network_lan_config_set_req req{};
    network_lan_copy(req, *p);
    resp_status resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_NETWORK_LAN_CONFIG_SET, "set lan config"), req,
                     resp)) {
        VG_LOG(1, "can not set lan config: error %d", resp.error);
        return -1;
    }
    VG_LOG(3, "network set lan config success");
    return 0;
}

int32_t network_lan_config_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<network_lan_config_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    network_lan_config_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_NETWORK_LAN_CONFIG_GET, "get lan config"),
                     resp)) {
        VG_LOG(1, "can not get lan config: error %d", resp.status.error);
        return -1;
    }
    network_lan_copy(*p, resp.lan);
    return 0;
}

// ---------------------------------------------------------------------------
// SGMII and Ethernet mode

int32_t network_ethernet_mode_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const network_ethernet_mode_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    if (p->mode > kEthernetModeRange.max) {
        VG_LOG(1, "invalid ethernet mode %d", p->mode);
        return vg_fail(MGMT_ERR_INVALID);
    }
    const network_ethernet_mode_set_req req{p->mode};
    resp_status resp;
    if (!vg_exchange(VG_SITE, handle,
                     KEST_CALL(KEST_NETWORK_ETHERNET_MODE_SET, "set ethernet mode"), req, resp)) {
        VG_LOG(1, "can not set ethernet mode: error %d", resp.error);
        return -1;
    }
    VG_LOG(4, "set ethernet mode %d success", p->mode);
    return 0;
}

int32_t network_ethernet_mode_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<network_ethernet_mode_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    network_ethernet_mode_get_resp resp;
    if (!vg_exchange(VG_SITE, handle,
                     KEST_CALL(KEST_NETWORK_ETHERNET_MODE_GET, "get ethernet mode"), resp)) {
        VG_LOG(1, "can not get ethernet mode: error %d", resp.status.error);
        return -1;
    }
    p->mode = resp.mode; // what the service holds, in range or not
    VG_LOG(4, "get ethernet mode %d success", p->mode);
    return 0;
}

// The caller's byte goes out as it is; only a read reduces it to 0 or 1.
int32_t network_sgmii_enable_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const network_sgmii_enable_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    const network_sgmii_enable_set_req req{p->enable};
    VG_LOG(4, "network sgmii ethernet enable %d", req.enable);
    resp_status resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_NETWORK_SGMII_ENABLE_SET, "set sgmii enable"),
                     req, resp)) {
        VG_LOG(1, "can not set enable sgmii: error %d", resp.error);
        return -1;
    }
    VG_LOG(3, "network enable(%d) ethernet sgmii success", req.enable);
    return 0;
}

int32_t network_sgmii_enable_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<network_sgmii_enable_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    network_sgmii_enable_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_NETWORK_SGMII_ENABLE_GET, "get sgmii enable"),
                     resp)) {
        VG_LOG(1, "can not get enable sgmii: error %d", resp.status.error);
        return -1;
    }
    p->enable = vg_flag(resp.enable);
    VG_LOG(3, "network enable(%d) ethernet sgmii success", p->enable);
    return 0;
}

// Speed and duplex are tested whatever autoneg says; autoneg goes out as it
// is.
int32_t network_sgmii_config_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const network_sgmii_config_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    if (p->speed > kSgmiiSpeedRange.max || p->duplex > kSgmiiDuplexRange.max) {
        VG_LOG(1, "invalid speed(%d) and duplex(%d) params", p->speed, p->duplex);
        return vg_fail(MGMT_ERR_INVALID);
    }
    const network_sgmii_config_set_req req{p->autoneg, p->speed, p->duplex};
    VG_LOG(4, "network sgmii set autoneg %d speed %d duplex %d", req.autoneg, req.speed,
           req.duplex);
    resp_status resp;
    if (!vg_exchange(VG_SITE, handle,
                     KEST_CALL(KEST_NETWORK_SGMII_CONFIG_SET, "config set sgmii set"), req, resp)) {
        VG_LOG(1, "can not set sgmii config: error %d", resp.error);
        return -1;
    }
    return 0;
}

int32_t network_sgmii_config_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<network_sgmii_config_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    network_sgmii_config_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_NETWORK_SGMII_CONFIG_GET, "config sgmii get"),
                     resp)) {
        VG_LOG(1, "can not get sgmii config: error %d", resp.status.error);
        return -1;
    }
    p->autoneg = vg_flag(resp.autoneg);
    p->speed = resp.speed;
    p->duplex = resp.duplex;
    VG_LOG(4, "sgmii config get: autoneg %d speed %d duplex %d", p->autoneg, p->speed, p->duplex);
    return 0;
}

// The wire puts flag_c before the two raw bytes and the four 8-byte fields
// last to first; each is moved to its field by name. Nothing is logged.
int32_t network_sgmii_info_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<network_sgmii_info_params *>(value);
    if (p == nullptr)
        return network_null_params(VG_SITE);
    network_sgmii_info_get_resp resp;
    VG_LOG(4, "network sgmii info get");
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_NETWORK_SGMII_INFO_GET, "get sgmii info"),
                     resp)) {
        VG_LOG(1, "can not get sgmii info: error %d", resp.status.error);
        return -1;
    }
    p->flag_a = vg_flag(resp.flag_a);
    p->flag_b = vg_flag(resp.flag_b);
    p->byte_a = resp.byte_a;
    p->byte_b = resp.byte_b;
    p->flag_c = vg_flag(resp.flag_c);
    memcpy(&p->quad_a, resp.quad_a, sizeof p->quad_a);
    memcpy(&p->quad_b, resp.quad_b, sizeof p->quad_b);
    memcpy(&p->quad_c, resp.quad_c, sizeof p->quad_c);
    memcpy(&p->quad_d, resp.quad_d, sizeof p->quad_d);
    return 0;
}

// ---------------------------------------------------------------------------
// Dispatch

constexpr mgmt_command_row kNetworkCommandTable[] = {
    {NETWORK_CMD_DMZ_ADD, network_dmz_add_set, nullptr},
    {NETWORK_CMD_DMZ_DEL, network_dmz_del_set, nullptr},
    {NETWORK_CMD_DMZ_GET, nullptr, network_dmz_get_get},
    {NETWORK_CMD_SGMII_ENABLE, network_sgmii_enable_set, network_sgmii_enable_get},
    {NETWORK_CMD_SGMII_CONFIG, network_sgmii_config_set, network_sgmii_config_get},
    {NETWORK_CMD_SGMII_INFO, nullptr, network_sgmii_info_get},
    {NETWORK_CMD_LAN_CONFIG, network_lan_config_set, network_lan_config_get},
    {NETWORK_CMD_SNAT_ADD, network_snat_add_set, nullptr},
    {NETWORK_CMD_SNAT_DEL, network_snat_del_set, nullptr},
    {NETWORK_CMD_SNAT_GET, nullptr, network_snat_get_get},
    {NETWORK_CMD_ETHERNET_MODE, network_ethernet_mode_set, network_ethernet_mode_get},
};
static_assert(vg_rows_described(kNetworkCommandTable, kNetworkCommands),
              "the table has a handler for every described direction and no other");
} // namespace

extern "C" int32_t network_command_handle(mgmt_client *handle, uint32_t flag, uint32_t command_id,
                                          void *value)
{
    static constexpr vg_row_index kIndex = vg_index_rows(kNetworkCommandTable);
    static constexpr vg_dispatcher kDispatcher{
        VG_SITE,
        kNetworkCommandTable,
        std::size(kNetworkCommandTable),
        &kIndex,
        VG_FMT("cannot found %d network command", "d"),
        VG_FMT("found network command %d, command flag %d", "dd"),
        true,
    };
    return vg_dispatch(kDispatcher, handle, flag, command_id, value);
}
