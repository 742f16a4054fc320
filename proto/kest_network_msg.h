// Wire records of the network messages (51 to 65).
#pragma once

#include "kest_wire.h"

struct [[gnu::packed]] network_dmz_add_set_req {
    uint32_t ipv4_addr;
};
struct [[gnu::packed]] network_dmz_get_get_resp {
    resp_status status;
    uint32_t ipv4_addr;
};
KEST_WIRE_SIZE(network_dmz_add_set_req, 4);
KEST_WIRE_AT(network_dmz_get_get_resp, ipv4_addr, 4);
KEST_WIRE_SIZE(network_dmz_get_get_resp, 8);

struct [[gnu::packed]] network_snat_rule {
    uint32_t private_ip;
    uint16_t private_port;
    uint16_t global_port;
    uint8_t protocol;
    uint8_t reserved[3];
};
using network_snat_add_set_req = network_snat_rule;
using network_snat_del_set_req = network_snat_rule;
struct [[gnu::packed]] network_snat_get_get_resp {
    resp_status status;
    uint32_t count;
    network_snat_rule entries[32];
};
KEST_WIRE_AT(network_snat_rule, private_port, 4);
KEST_WIRE_AT(network_snat_rule, global_port, 6);
KEST_WIRE_AT(network_snat_rule, protocol, 8);
KEST_WIRE_SIZE(network_snat_rule, 12);
KEST_WIRE_AT(network_snat_get_get_resp, count, 4);
KEST_WIRE_AT(network_snat_get_get_resp, entries, 8);
KEST_WIRE_SIZE(network_snat_get_get_resp, 392);

struct [[gnu::packed]] network_lan_config_block {
    uint32_t lan_word_a;
    uint32_t lan_word_b;
    uint8_t lan_byte;
    uint8_t reserved[3];
    uint32_t lan_word_c;
    uint32_t lan_word_d;
    uint32_t lan_word_e;
};
using network_lan_config_set_req = network_lan_config_block;
struct [[gnu::packed]] network_lan_config_get_resp {
    resp_status status;
    network_lan_config_block lan;
};
KEST_WIRE_AT(network_lan_config_block, lan_byte, 8);
KEST_WIRE_AT(network_lan_config_block, lan_word_c, 12);
KEST_WIRE_AT(network_lan_config_block, lan_word_e, 20);
KEST_WIRE_SIZE(network_lan_config_block, 24);
KEST_WIRE_SIZE(network_lan_config_get_resp, 28);

struct [[gnu::packed]] network_sgmii_enable_set_req {
    uint8_t enable;
};
struct [[gnu::packed]] network_sgmii_enable_get_resp {
    resp_status status;
    uint8_t enable;
    uint8_t reserved;
};
KEST_WIRE_SIZE(network_sgmii_enable_set_req, 1);
KEST_WIRE_SIZE(network_sgmii_enable_get_resp, 6);

struct [[gnu::packed]] network_sgmii_config_set_req {
    uint8_t autoneg;
    uint8_t speed;
    uint8_t duplex;
};
struct [[gnu::packed]] network_sgmii_config_get_resp {
    resp_status status;
    uint8_t autoneg;
    uint8_t speed;
    uint8_t duplex;
    uint8_t reserved;
};
KEST_WIRE_SIZE(network_sgmii_config_set_req, 3);
KEST_WIRE_AT(network_sgmii_config_get_resp, duplex, 6);
KEST_WIRE_SIZE(network_sgmii_config_get_resp, 8);

struct [[gnu::packed]] network_sgmii_info_get_resp {
    resp_status status;
    uint8_t flag_a;
    uint8_t flag_b;
    uint8_t flag_c;
    uint8_t byte_a;
    uint8_t byte_b;
    uint8_t reserved[7];
    uint8_t quad_d[8];
    uint8_t quad_c[8];
    uint8_t quad_b[8];
    uint8_t quad_a[8];
};
KEST_WIRE_AT(network_sgmii_info_get_resp, flag_c, 6);
KEST_WIRE_AT(network_sgmii_info_get_resp, byte_a, 7);
KEST_WIRE_AT(network_sgmii_info_get_resp, byte_b, 8);
KEST_WIRE_AT(network_sgmii_info_get_resp, quad_d, 16);
KEST_WIRE_AT(network_sgmii_info_get_resp, quad_c, 24);
KEST_WIRE_AT(network_sgmii_info_get_resp, quad_b, 32);
KEST_WIRE_AT(network_sgmii_info_get_resp, quad_a, 40);
KEST_WIRE_SIZE(network_sgmii_info_get_resp, 48);

struct [[gnu::packed]] network_ethernet_mode_set_req {
    uint32_t mode;
};
struct [[gnu::packed]] network_ethernet_mode_get_resp {
    resp_status status;
    uint32_t mode;
};
KEST_WIRE_SIZE(network_ethernet_mode_set_req, 4);
KEST_WIRE_AT(network_ethernet_mode_get_resp, mode, 4);
KEST_WIRE_SIZE(network_ethernet_mode_get_resp, 8);
