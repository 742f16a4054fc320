// Wire records of the USB messages (KEST_USB_CONFIG_WRITE_SET to KEST_USB_CONFIG_GET).
#pragma once

#include "kest_wire.h"

struct [[gnu::packed]] usb_config_get_req {
    uint32_t usb_num;
};
struct [[gnu::packed]] usb_config_get_resp {
    resp_status status;
    uint32_t bootup;
    uint16_t pid;
    uint16_t vid;
    char product_info[33];
    char manufac_info[33];
    uint8_t reserved0[2];
    uint32_t usbnet;
    uint8_t diag;
    uint8_t nmea;
    uint8_t at;
    uint8_t modem;
    uint8_t net;
    uint8_t adb;
    uint8_t audio_uac;
    uint8_t reserved1;
};
KEST_WIRE_SIZE(usb_config_get_req, 4);
KEST_WIRE_AT(usb_config_get_resp, bootup, 4);
KEST_WIRE_AT(usb_config_get_resp, pid, 8);
KEST_WIRE_AT(usb_config_get_resp, vid, 10);
KEST_WIRE_AT(usb_config_get_resp, product_info, 12);
KEST_WIRE_AT(usb_config_get_resp, manufac_info, 45);
KEST_WIRE_AT(usb_config_get_resp, usbnet, 80);
KEST_WIRE_AT(usb_config_get_resp, diag, 84);
KEST_WIRE_AT(usb_config_get_resp, audio_uac, 90);
KEST_WIRE_SIZE(usb_config_get_resp, 92);

// Action, bootup and net share one shape.
struct [[gnu::packed]] usb_u32_setting_set_req {
    uint32_t usb_num;
    uint32_t setting;
};
using usb_action_set_req = usb_u32_setting_set_req;
using usb_bootup_set_req = usb_u32_setting_set_req;
using usb_net_set_req = usb_u32_setting_set_req;
KEST_WIRE_SIZE(usb_u32_setting_set_req, 8);

struct [[gnu::packed]] usb_id_set_req {
    uint32_t usb_num;
    uint16_t pid;
    uint16_t vid;
};
KEST_WIRE_AT(usb_id_set_req, vid, 6);
KEST_WIRE_SIZE(usb_id_set_req, 8);

// Product and manufacturer info share one shape.
struct [[gnu::packed]] usb_info_set_req {
    uint32_t usb_num;
    char info[33];
    uint8_t reserved[3];
};
using usb_product_info_set_req = usb_info_set_req;
using usb_manufac_info_set_req = usb_info_set_req;
KEST_WIRE_AT(usb_info_set_req, info, 4);
KEST_WIRE_SIZE(usb_info_set_req, 40);

struct [[gnu::packed]] usb_func_set_req {
    uint32_t usb_num;
    uint8_t diag;
    uint8_t nmea;
    uint8_t at;
    uint8_t modem;
    uint8_t net;
    uint8_t adb;
    uint8_t audio_uac;
    uint8_t reserved;
};
KEST_WIRE_AT(usb_func_set_req, diag, 4);
KEST_WIRE_AT(usb_func_set_req, audio_uac, 10);
KEST_WIRE_SIZE(usb_func_set_req, 12);
