// Network messages 51 to 65: DMZ, SNAT rules, the LAN block, SGMII and the
// Ethernet mode.
//
// The LAN block: lan_word_a is the gateway address, lan_word_b the subnet
// mask, lan_byte switches DHCP on (any non-zero byte, kept as sent),
// lan_word_c and lan_word_d are the first and last DHCP address, lan_word_e
// the lease time in seconds. All addresses travel in network byte order.
#include <arpa/inet.h>

#include <cstdio>

#include "kestd_msg.h"

namespace {

uint32_t host_of(uint32_t wire)
{
    return kestd_ipv4_host(wire);
}

// The LAN rule: the DMZ host and every SNAT rule's private address are
// hosts of the LAN other than its gateway. It holds at every set (an address
// outside is refused with INVALID_ADDRESS, a LAN block that would leave one
// outside with LAN_IN_USE) and at load, so that what was accepted loads.
bool dependants_fit(const kestd_config &cfg, const network_lan_config_block &lan)
{
    kestd_config probe{};
    probe.lan = lan;
    if (cfg.dmz != 0 && !kestd_in_lan(probe, cfg.dmz))
        return false;
    for (uint32_t i = 0; i < cfg.snat_count && i < kKestdSnatMax; ++i)
        if (!kestd_in_lan(probe, cfg.snat[i].private_ip))
            return false;
    return true;
}

// The mask is contiguous and leaves room for hosts (/8 to /30); the gateway
// is a host of its subnet; the DHCP range lies in the subnet, in order, and
// without the gateway; a lease lasts at least two minutes.
uint16_t lan_check(const network_lan_config_block &lan)
{
    const uint32_t mask = host_of(lan.lan_word_b);
    const uint32_t gw = host_of(lan.lan_word_a);
    const uint32_t inv = ~mask;
    if ((inv & (inv + 1)) != 0 || mask < 0xff000000u || mask > 0xfffffffcu)
        return KESTD_ERR_INVALID_ADDRESS;
    if ((gw & inv) == 0 || (gw & inv) == inv)
        return KESTD_ERR_INVALID_ADDRESS;
    if (!lan.lan_byte)
        return KESTD_OK;
    const uint32_t first = host_of(lan.lan_word_c);
    const uint32_t last = host_of(lan.lan_word_d);
    const auto host_in_subnet = [&](uint32_t a) {
        return (a & mask) == (gw & mask) && (a & inv) != 0 && (a & inv) != inv;
    };
    if (!host_in_subnet(first) || !host_in_subnet(last) || first > last ||
        (gw >= first && gw <= last))
        return KESTD_ERR_INVALID_ADDRESS;
    return lan.lan_word_e >= 120 ? KESTD_OK : KESTD_ERR_INVALID_VALUE;
}

bool snat_rule_ok(const network_snat_rule &r)
{
    return r.private_port != 0 && r.global_port != 0 && r.protocol >= kSnatProtocolRange.min &&
           r.protocol <= kSnatProtocolRange.max;
}

// Protocol 253 stands for TCP and UDP together, so it meets both.
bool snat_overlaps(const network_snat_rule &a, const network_snat_rule &b)
{
    return a.global_port == b.global_port &&
           (a.protocol == b.protocol || a.protocol == 253 || b.protocol == 253);
}

bool snat_same(const network_snat_rule &a, const network_snat_rule &b)
{
    return a.private_ip == b.private_ip && a.private_port == b.private_port &&
           a.global_port == b.global_port && a.protocol == b.protocol;
}

uint16_t dmz_add(kestd_ctx &ctx, const network_dmz_add_set_req &req, resp_status &)
{
    if (ctx.st.cfg.dmz != 0)
        return KESTD_ERR_DUPLICATE;
    if (!kestd_in_lan(ctx.st.cfg, req.ipv4_addr))
        return KESTD_ERR_INVALID_ADDRESS;
    ctx.st.cfg.dmz = req.ipv4_addr;
    return KESTD_OK;
}

uint16_t dmz_del(kestd_ctx &ctx, const kestd_no_req &, resp_status &)
{
    if (ctx.st.cfg.dmz == 0)
        return KESTD_ERR_NOT_FOUND;
    ctx.st.cfg.dmz = 0;
    return KESTD_OK;
}

// With no DMZ the address reads 0.
uint16_t dmz_get(kestd_ctx &ctx, const kestd_no_req &, network_dmz_get_get_resp &resp)
{
    resp.ipv4_addr = ctx.st.cfg.dmz;
    return KESTD_OK;
}

uint16_t snat_add(kestd_ctx &ctx, const network_snat_add_set_req &req, resp_status &)
{
    kestd_config &cfg = ctx.st.cfg;
    network_snat_rule rule = req;
    std::memset(rule.reserved, 0, sizeof rule.reserved);
    if (!snat_rule_ok(rule))
        return KESTD_ERR_INVALID_VALUE;
    if (!kestd_in_lan(cfg, rule.private_ip))
        return KESTD_ERR_INVALID_ADDRESS;
    for (uint32_t i = 0; i < cfg.snat_count; ++i)
        if (snat_overlaps(cfg.snat[i], rule))
            return KESTD_ERR_DUPLICATE;
    if (cfg.snat_count >= kKestdSnatMax)
        return KESTD_ERR_LIST_FULL;
    cfg.snat[cfg.snat_count++] = rule;
    return KESTD_OK;
}

uint16_t snat_del(kestd_ctx &ctx, const network_snat_del_set_req &req, resp_status &)
{
    kestd_config &cfg = ctx.st.cfg;
    for (uint32_t i = 0; i < cfg.snat_count; ++i) {
        if (!snat_same(cfg.snat[i], req))
            continue;
        for (uint32_t j = i; j + 1 < cfg.snat_count; ++j)
            cfg.snat[j] = cfg.snat[j + 1];
        cfg.snat[--cfg.snat_count] = network_snat_rule{};
        return KESTD_OK;
    }
    return KESTD_ERR_NOT_FOUND;
}

uint16_t snat_get(kestd_ctx &ctx, const kestd_no_req &, network_snat_get_get_resp &resp)
{
    resp.count = ctx.st.cfg.snat_count;
    std::memcpy(resp.entries, ctx.st.cfg.snat, sizeof resp.entries);
    return KESTD_OK;
}

uint16_t lan_set(kestd_ctx &ctx, const network_lan_config_set_req &req, resp_status &)
{
    network_lan_config_block lan = req;
    std::memset(lan.reserved, 0, sizeof lan.reserved);
    if (const uint16_t err = lan_check(lan); err != KESTD_OK)
        return err;
    if (!dependants_fit(ctx.st.cfg, lan))
        return KESTD_ERR_LAN_IN_USE;
    ctx.st.cfg.lan = lan;
    return KESTD_OK;
}

uint16_t lan_get(kestd_ctx &ctx, const kestd_no_req &, network_lan_config_get_resp &resp)
{
    resp.lan = ctx.st.cfg.lan;
    return KESTD_OK;
}

uint16_t sgmii_enable_set(kestd_ctx &ctx, const network_sgmii_enable_set_req &req, resp_status &)
{
    ctx.st.cfg.sgmii_enable = req.enable != 0;
    return KESTD_OK;
}

uint16_t sgmii_enable_get(kestd_ctx &ctx, const kestd_no_req &, network_sgmii_enable_get_resp &resp)
{
    resp.enable = ctx.st.cfg.sgmii_enable;
    return KESTD_OK;
}

// Speed 0, 1, 2 is 10, 100, 1000 Mbit/s; duplex 0 half, 1 full. Gigabit
// Ethernet has no half duplex.
uint16_t sgmii_config_check(uint8_t speed, uint8_t duplex)
{
    return speed > kSgmiiSpeedRange.max || duplex > kSgmiiDuplexRange.max ||
                   (speed == 2 && duplex == 0)
               ? KESTD_ERR_INVALID_VALUE
               : KESTD_OK;
}

uint16_t sgmii_config_set(kestd_ctx &ctx, const network_sgmii_config_set_req &req, resp_status &)
{
    if (const uint16_t err = sgmii_config_check(req.speed, req.duplex); err != KESTD_OK)
        return err;
    ctx.st.cfg.sgmii_autoneg = req.autoneg != 0;
    ctx.st.cfg.sgmii_speed = req.speed;
    ctx.st.cfg.sgmii_duplex = req.duplex;
    return KESTD_OK;
}

uint16_t sgmii_config_get(kestd_ctx &ctx, const kestd_no_req &, network_sgmii_config_get_resp &resp)
{
    resp.autoneg = ctx.st.cfg.sgmii_autoneg;
    resp.speed = ctx.st.cfg.sgmii_speed;
    resp.duplex = ctx.st.cfg.sgmii_duplex;
    return KESTD_OK;
}

// flag_a: enabled, flag_b: link up, flag_c: auto-negotiation; byte_a and
// byte_b: speed and duplex in use; the 8-byte fields count received and sent
// bytes and packets (quad_a, quad_b, quad_c, quad_d), zero while no traffic
// is simulated.
uint16_t sgmii_info_get(kestd_ctx &ctx, const kestd_no_req &, network_sgmii_info_get_resp &resp)
{
    const kestd_config &cfg = ctx.st.cfg;
    resp.flag_a = cfg.sgmii_enable;
    resp.flag_b = cfg.sgmii_enable;
    resp.flag_c = cfg.sgmii_autoneg;
    resp.byte_a = cfg.sgmii_enable ? (cfg.sgmii_autoneg ? 2 : cfg.sgmii_speed) : 0;
    resp.byte_b = cfg.sgmii_enable ? (cfg.sgmii_autoneg ? 1 : cfg.sgmii_duplex) : 0;
    return KESTD_OK;
}

// 0: the port is a LAN port, 1: the port is the WAN uplink.
uint16_t ethernet_mode_set(kestd_ctx &ctx, const network_ethernet_mode_set_req &req, resp_status &)
{
    if (req.mode > 1)
        return KESTD_ERR_INVALID_VALUE;
    ctx.st.cfg.ethernet_mode = req.mode;
    return KESTD_OK;
}

uint16_t ethernet_mode_get(kestd_ctx &ctx, const kestd_no_req &,
                           network_ethernet_mode_get_resp &resp)
{
    resp.mode = ctx.st.cfg.ethernet_mode;
    return KESTD_OK;
}

constexpr kestd_msg_row rows[] = {
    KESTD_ROW(KEST_NETWORK_DMZ_ADD_SET, dmz_add),
    KESTD_ROW(KEST_NETWORK_DMZ_DEL_SET, dmz_del),
    KESTD_ROW(KEST_NETWORK_DMZ_GET_GET, dmz_get),
    KESTD_ROW(KEST_NETWORK_SGMII_ENABLE_SET, sgmii_enable_set),
    KESTD_ROW(KEST_NETWORK_SGMII_ENABLE_GET, sgmii_enable_get),
    KESTD_ROW(KEST_NETWORK_SGMII_CONFIG_SET, sgmii_config_set),
    KESTD_ROW(KEST_NETWORK_SGMII_CONFIG_GET, sgmii_config_get),
    KESTD_ROW(KEST_NETWORK_SGMII_INFO_GET, sgmii_info_get),
    KESTD_ROW(KEST_NETWORK_LAN_CONFIG_SET, lan_set),
    KESTD_ROW(KEST_NETWORK_LAN_CONFIG_GET, lan_get),
    KESTD_ROW(KEST_NETWORK_SNAT_ADD_SET, snat_add),
    KESTD_ROW(KEST_NETWORK_SNAT_DEL_SET, snat_del),
    KESTD_ROW(KEST_NETWORK_SNAT_GET_GET, snat_get),
    KESTD_ROW(KEST_NETWORK_ETHERNET_MODE_SET, ethernet_mode_set),
    KESTD_ROW(KEST_NETWORK_ETHERNET_MODE_GET, ethernet_mode_get),
};

} // namespace

std::span<const kestd_msg_row> kestd_network_rows()
{
    return rows;
}

uint32_t kestd_ipv4(uint8_t a, uint8_t b, uint8_t c, uint8_t d)
{
    const uint8_t bytes[4] = {a, b, c, d};
    uint32_t wire;
    std::memcpy(&wire, bytes, 4);
    return wire;
}

uint32_t kestd_ipv4_host(uint32_t wire)
{
    return ntohl(wire);
}

void kestd_ipv4_text(char (&buf)[16], uint32_t wire)
{
    static_assert(INET_ADDRSTRLEN == 16);
    in_addr a{};
    a.s_addr = wire;
    inet_ntop(AF_INET, &a, buf, sizeof buf);
}

bool kestd_in_lan(const kestd_config &cfg, uint32_t addr)
{
    const uint32_t mask = host_of(cfg.lan.lan_word_b);
    const uint32_t gw = host_of(cfg.lan.lan_word_a);
    const uint32_t a = host_of(addr);
    return (a & mask) == (gw & mask) && (a & ~mask) != 0 && (a & ~mask) != ~mask && a != gw;
}

void kestd_default_network(kestd_config &cfg)
{
    const auto address = [](const char *word) {
        in_addr a{};
        inet_pton(
            AF_INET,
            kest_factory_text(kest_field_at(MGMT_DOMAIN_NETWORK, NETWORK_CMD_LAN_CONFIG, word)),
            &a);
        return a.s_addr;
    };
    const auto number = [](uint32_t cmd, const char *word) {
        return static_cast<uint8_t>(
            kest_factory_number(kest_field_at(MGMT_DOMAIN_NETWORK, cmd, word)));
    };
    cfg.lan.lan_word_a = address("gateway");
    cfg.lan.lan_word_b = address("netmask");
    cfg.lan.lan_byte = number(NETWORK_CMD_LAN_CONFIG, "dhcp");
    cfg.lan.lan_word_c = address("dhcp-start");
    cfg.lan.lan_word_d = address("dhcp-end");
    cfg.lan.lan_word_e = static_cast<uint32_t>(
        kest_factory_number(kest_field_at(MGMT_DOMAIN_NETWORK, NETWORK_CMD_LAN_CONFIG, "lease")));
    cfg.sgmii_enable = number(NETWORK_CMD_SGMII_ENABLE, "enable");
    cfg.sgmii_autoneg = number(NETWORK_CMD_SGMII_CONFIG, "autoneg");
    cfg.sgmii_speed = number(NETWORK_CMD_SGMII_CONFIG, "speed");
    cfg.sgmii_duplex = number(NETWORK_CMD_SGMII_CONFIG, "duplex");
    cfg.ethernet_mode = number(NETWORK_CMD_ETHERNET_MODE, "ethernet-mode");
}

const char *kestd_network_config_problem(const kestd_config &cfg)
{
    if (lan_check(cfg.lan) != KESTD_OK)
        return "LAN block damaged";
    if (cfg.snat_count > kKestdSnatMax)
        return "SNAT list damaged";
    if (!dependants_fit(cfg, cfg.lan))
        return "DMZ host or SNAT private address outside the LAN";
    for (uint32_t i = 0; i < cfg.snat_count; ++i) {
        if (!snat_rule_ok(cfg.snat[i]))
            return "SNAT rule out of range";
        for (uint32_t j = 0; j < i; ++j)
            if (snat_overlaps(cfg.snat[j], cfg.snat[i]))
                return "two SNAT rules on one global port and protocol";
    }
    if (cfg.sgmii_enable > 1 || cfg.sgmii_autoneg > 1 ||
        sgmii_config_check(cfg.sgmii_speed, cfg.sgmii_duplex) || cfg.ethernet_mode > 1)
        return "SGMII or Ethernet mode out of range";
    return nullptr;
}

void kestd_network_dump(const kestd_state &st, std::string &out)
{
    const kestd_config &cfg = st.cfg;
    char a[INET_ADDRSTRLEN], b[INET_ADDRSTRLEN], c[INET_ADDRSTRLEN], d[INET_ADDRSTRLEN];
    kestd_ipv4_text(a, cfg.dmz);
    kestd_dump_line(out, "dmz", "%s", cfg.dmz ? a : "none");
    kestd_dump_line(out, "snat.count", "%u", cfg.snat_count);
    for (uint32_t i = 0; i < cfg.snat_count; ++i) {
        const network_snat_rule &r = cfg.snat[i];
        kestd_ipv4_text(a, r.private_ip);
        kestd_dump_line(out, "snat", "private %s:%u global %u protocol %u", a, r.private_port,
                        r.global_port, r.protocol);
    }
    kestd_ipv4_text(a, cfg.lan.lan_word_a);
    kestd_ipv4_text(b, cfg.lan.lan_word_b);
    kestd_ipv4_text(c, cfg.lan.lan_word_c);
    kestd_ipv4_text(d, cfg.lan.lan_word_d);
    kestd_dump_line(out, "lan", "gateway %s mask %s dhcp %u range %s-%s lease %u", a, b,
                    cfg.lan.lan_byte, c, d, cfg.lan.lan_word_e);
    kestd_dump_line(out, "sgmii", "enable %u autoneg %u speed %u duplex %u", cfg.sgmii_enable,
                    cfg.sgmii_autoneg, cfg.sgmii_speed, cfg.sgmii_duplex);
    kestd_dump_line(out, "ethernet_mode", "%u", cfg.ethernet_mode);
}
