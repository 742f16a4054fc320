// Wire records of the data-call messages (40 to 50) and indication (43).
#pragma once

#include "kest_wire.h"

struct [[gnu::packed]] data_call_up_set_req {
    uint8_t profile_id;
    uint8_t ip_type;
    uint8_t reconnect;
    char apn_name[151];
    char username[128];
    char password[128];
};
using data_call_up_set_resp = resp_status;
KEST_WIRE_AT(data_call_up_set_req, apn_name, 3);
KEST_WIRE_AT(data_call_up_set_req, username, 154);
KEST_WIRE_AT(data_call_up_set_req, password, 282);
KEST_WIRE_SIZE(data_call_up_set_req, 410);

struct [[gnu::packed]] data_call_down_set_req {
    uint8_t profile_id;
    uint8_t ip_type;
};
using data_call_down_set_resp = resp_status;
KEST_WIRE_SIZE(data_call_down_set_req, 2);

struct [[gnu::packed]] data_call_info_get_req {
    uint8_t profile_id;
    uint8_t family;
};
struct [[gnu::packed]] data_call_info_get_resp {
    resp_status status;
    uint8_t unused0;
    uint8_t call_status;
    uint8_t unused1;
    uint8_t flag;
    char name[16];
    char address_text[4][64];
    uint32_t stat_1;
    uint32_t stat_2;
    uint64_t stat_3;
    uint64_t stat_4;
    uint32_t stat_5;
    uint32_t stat_6;
};
KEST_WIRE_SIZE(data_call_info_get_req, 2);
KEST_WIRE_AT(data_call_info_get_resp, call_status, 5);
KEST_WIRE_AT(data_call_info_get_resp, flag, 7);
KEST_WIRE_AT(data_call_info_get_resp, name, 8);
KEST_WIRE_AT(data_call_info_get_resp, address_text, 24);
KEST_WIRE_AT(data_call_info_get_resp, stat_1, 280);
KEST_WIRE_AT(data_call_info_get_resp, stat_3, 288);
KEST_WIRE_AT(data_call_info_get_resp, stat_4, 296);
KEST_WIRE_AT(data_call_info_get_resp, stat_5, 304);
KEST_WIRE_AT(data_call_info_get_resp, stat_6, 308);
KEST_WIRE_SIZE(data_call_info_get_resp, 312);

// The profile data, in the layout of the set request.
struct [[gnu::packed]] data_call_apn_set_req {
    uint8_t profile_type;
    uint8_t profile_index;
    uint8_t pdp_type;
    uint8_t auth_protocol;
    char apn_name[151];
    char username[128];
    char password[128];
};
using data_call_apn_set_resp = resp_status;
KEST_WIRE_AT(data_call_apn_set_req, apn_name, 4);
KEST_WIRE_AT(data_call_apn_set_req, username, 155);
KEST_WIRE_AT(data_call_apn_set_req, password, 283);
KEST_WIRE_SIZE(data_call_apn_set_req, 411);

struct [[gnu::packed]] data_call_apn_add_set_req {
    uint8_t profile_type;
    uint8_t pdp_type;
    uint8_t auth_protocol;
    char apn_name[151];
    char username[128];
    char password[128];
};
struct [[gnu::packed]] data_call_apn_add_set_resp {
    resp_status status;
    uint8_t profile_index;
    uint8_t unused;
};
KEST_WIRE_AT(data_call_apn_add_set_req, apn_name, 3);
KEST_WIRE_AT(data_call_apn_add_set_req, username, 154);
KEST_WIRE_AT(data_call_apn_add_set_req, password, 282);
KEST_WIRE_SIZE(data_call_apn_add_set_req, 410);
KEST_WIRE_AT(data_call_apn_add_set_resp, profile_index, 4);
KEST_WIRE_SIZE(data_call_apn_add_set_resp, 6);

struct [[gnu::packed]] data_call_apn_select_req {
    uint8_t profile_type;
    uint8_t profile_index;
};
using data_call_apn_get_req = data_call_apn_select_req;
using data_call_apn_del_set_req = data_call_apn_select_req;
using data_call_apn_del_set_resp = resp_status;
KEST_WIRE_SIZE(data_call_apn_select_req, 2);

struct [[gnu::packed]] data_call_apn_get_resp {
    resp_status status;
    uint8_t unused0[2];
    uint8_t pdp_type;
    uint8_t auth_protocol;
    char apn_name[151];
    char username[128];
    char password[128];
    uint8_t unused1;
};
KEST_WIRE_AT(data_call_apn_get_resp, pdp_type, 6);
KEST_WIRE_AT(data_call_apn_get_resp, auth_protocol, 7);
KEST_WIRE_AT(data_call_apn_get_resp, apn_name, 8);
KEST_WIRE_AT(data_call_apn_get_resp, username, 159);
KEST_WIRE_AT(data_call_apn_get_resp, password, 287);
KEST_WIRE_SIZE(data_call_apn_get_resp, 416);

struct [[gnu::packed]] data_call_get_apn_list_get_req {
    uint8_t profile_type;
};
struct [[gnu::packed]] data_call_get_apn_list_get_resp {
    resp_status status;
    uint8_t length;
    uint8_t index_list[257];
};
KEST_WIRE_SIZE(data_call_get_apn_list_get_req, 1);
KEST_WIRE_AT(data_call_get_apn_list_get_resp, length, 4);
KEST_WIRE_AT(data_call_get_apn_list_get_resp, index_list, 5);
KEST_WIRE_SIZE(data_call_get_apn_list_get_resp, 262);

struct [[gnu::packed]] data_call_default_profile_set_req {
    uint8_t default_id;
    uint8_t tech_pref;
    uint8_t ip_family;
};
using data_call_default_profile_set_resp = resp_status;
struct [[gnu::packed]] data_call_default_profile_get_resp {
    resp_status status;
    uint8_t default_id;
    uint8_t tech_pref;
    uint8_t ip_family;
    uint8_t unused;
};
KEST_WIRE_SIZE(data_call_default_profile_set_req, 3);
KEST_WIRE_AT(data_call_default_profile_get_resp, default_id, 4);
KEST_WIRE_AT(data_call_default_profile_get_resp, ip_family, 6);
KEST_WIRE_SIZE(data_call_default_profile_get_resp, 8);

// Indication 43, as the transport decodes it.
struct [[gnu::packed]] data_call_status_ind {
    uint8_t index;
    uint8_t ip_family;
    uint8_t state;
    char name[21];
    uint32_t reason_code;
    char address_text[4][64];
};
KEST_WIRE_AT(data_call_status_ind, state, 2);
KEST_WIRE_AT(data_call_status_ind, name, 3);
KEST_WIRE_AT(data_call_status_ind, reason_code, 24);
KEST_WIRE_AT(data_call_status_ind, address_text, 28);
KEST_WIRE_SIZE(data_call_status_ind, 284);
