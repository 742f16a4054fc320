/*
 * libvg_mgmt_client: read and change the module's configuration through the
 * KEST management service.
 *
 * Open a handle, call vg_mgmt_client_set / vg_mgmt_client_get with a command
 * code (domain in the high half, command id in the low half) and a value
 * buffer of the domain's size, read vg_mgmt_get_errno() on the same thread
 * when a call returns -1, and close the handle. Events arrive through the
 * callback given at open, on a thread of the transport.
 *
 * Valid C99 and C++. Records use the processor's own byte order.
 */
#ifndef VG_MGMT_CLIENT_H
#define VG_MGMT_CLIENT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define VG_MGMT_API __attribute__((visibility("default")))
#define VG_MGMT_EXTENSION __extension__
#define VG_MGMT_ALIGN8 __attribute__((aligned(8)))
#else
#define VG_MGMT_API
#define VG_MGMT_EXTENSION
#define VG_MGMT_ALIGN8
#endif

#define VG_MGMT_CAT2(a, b) a##b
#define VG_MGMT_CAT(a, b) VG_MGMT_CAT2(a, b)
#if defined(__cplusplus)
#define VG_MGMT_CHECK(cond) static_assert(cond, #cond)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define VG_MGMT_CHECK(cond) _Static_assert(cond, #cond)
#else
#define VG_MGMT_CHECK(cond) typedef char VG_MGMT_CAT(vg_mgmt_check_, __LINE__)[(cond) ? 1 : -1]
#endif
#define VG_MGMT_AT(type, field, off) VG_MGMT_CHECK(offsetof(type, field) == (off))
#define VG_MGMT_SIZE(type, size) VG_MGMT_CHECK(sizeof(type) == (size))

/* ------------------------------------------------------------------ */
/* Handles, directions, domains, command codes, errors                  */
/* ------------------------------------------------------------------ */

/* The record behind a handle; opaque to applications. */
typedef struct mgmt_client mgmt_client;

/* Which handler of a command runs. */
#define MGMT_OPT_SET 1u
#define MGMT_OPT_GET 2u

#define MGMT_DOMAIN_WIFI 1u
#define MGMT_DOMAIN_NETWORK 3u
#define MGMT_DOMAIN_DATA_CALL 6u
#define MGMT_DOMAIN_USB 7u

/* Value buffer size of each domain: the size argument of set/get (0 is
 * accepted too). */
#define MGMT_WIFI_VALUE_SIZE 5000u
#define MGMT_NETWORK_VALUE_SIZE 392u
#define MGMT_DATA_CALL_VALUE_SIZE 416u
#define MGMT_USB_VALUE_SIZE 92u

/* Command code of a domain and a command id. */
#define MGMT_COMMAND(domain, id)                                                                   \
    ((uint32_t)((((uint32_t)(domain)) << 16) | (((uint32_t)(id)) & 0xffffu)))
#define MGMT_COMMAND_DOMAIN(command) ((uint32_t)(command) >> 16)
#define MGMT_COMMAND_ID(command) ((uint32_t)(command)&0xffffu)

/* Error numbers of the library itself. Any other value is the service's
 * own error code, passed through. */
#define MGMT_ERR_HANDLE (-1)        /* the handle is null */
#define MGMT_ERR_NOT_SUPPORTED (-2) /* unknown domain, command, flag or direction */
#define MGMT_ERR_INVALID 2          /* wrong size, null value, field out of range */
#define MGMT_ERR_NO_SERVICE 5       /* open found no service */
#define MGMT_ERR_NO_MEMORY 9        /* open could not allocate */

/* Wi-Fi command ids (domain 1). */
enum {
    WIFI_CMD_WORK_MODE = 1,
    WIFI_CMD_COUNTRY_CODE = 2,
    WIFI_CMD_MODE = 3,
    WIFI_CMD_CHANNEL = 4,
    WIFI_CMD_ESSID = 5,
    WIFI_CMD_SSID_HIDE = 6,
    WIFI_CMD_BANDWIDTH = 7,
    WIFI_CMD_MAX_NUM_STA = 8,
    WIFI_CMD_11N_ONLY = 9,
    WIFI_CMD_11AC_ONLY = 10,
    WIFI_CMD_AP_ISOLATE = 11,
    WIFI_CMD_DFS = 12,
    WIFI_CMD_AUTH = 13,
    WIFI_CMD_RSSI = 14,
    WIFI_CMD_STA_INFO = 15,
    WIFI_CMD_ENABLE = 16,
    WIFI_CMD_ACTIVE = 17,
    WIFI_CMD_RESTORE_DEFAULT = 18,
    WIFI_CMD_MAC_ACL_RULE = 19,
    WIFI_CMD_MAC_ACL_ADD = 20,
    WIFI_CMD_MAC_ACL_DEL = 21,
    WIFI_CMD_MAC_ACL_INFO = 22,
    WIFI_CMD_STATION_STATUS = 23
};

/* Data-call command ids (domain 6). */
enum {
    DATA_CALL_CMD_UP = 1,
    DATA_CALL_CMD_DOWN = 2,
    DATA_CALL_CMD_INFO = 3,
    DATA_CALL_CMD_APN = 4,
    DATA_CALL_CMD_APN_LIST = 5,
    DATA_CALL_CMD_APN_DEL = 6,
    DATA_CALL_CMD_APN_ADD = 7,
    DATA_CALL_CMD_DEFAULT_PROFILE = 8
};

/* Network command ids (domain 3). */
enum {
    NETWORK_CMD_DMZ_ADD = 1,
    NETWORK_CMD_DMZ_DEL = 2,
    NETWORK_CMD_DMZ_GET = 3,
    NETWORK_CMD_SGMII_ENABLE = 4,
    NETWORK_CMD_SGMII_CONFIG = 5,
    NETWORK_CMD_SGMII_INFO = 6,
    NETWORK_CMD_LAN_CONFIG = 7,
    NETWORK_CMD_SNAT_ADD = 8,
    NETWORK_CMD_SNAT_DEL = 9,
    NETWORK_CMD_SNAT_GET = 10,
    NETWORK_CMD_ETHERNET_MODE = 11
};

/* USB command ids (domain 7). */
enum {
    USB_CMD_CONFIG_WRITE = 1,
    USB_CMD_ACTION = 2,
    USB_CMD_BOOTUP = 3,
    USB_CMD_ID = 4,
    USB_CMD_PRODUCT_INFO = 5,
    USB_CMD_MANUFAC_INFO = 6,
    USB_CMD_NET = 7,
    USB_CMD_FUNC = 8,
    USB_CMD_CONFIG_GET = 9
};

/* ------------------------------------------------------------------ */
/* Events                                                               */
/* ------------------------------------------------------------------ */

/* Event ids passed to the callback, with their records. */
#define WIFI_EVENT_STA_STATUS 0x10017u  /* wifi_station_status_params, 40 bytes */
#define WIFI_EVENT_AP_STA 0x1000fu      /* wifi_ap_sta_event, 16 bytes */
#define DATA_CALL_EVENT_STATUS 0x60001u /* data_call_status_event, 96 bytes */

/* The application's event callback. The record lives on the caller's stack
 * and is valid only during the call; the result is ignored. */
typedef int32_t (*mgmt_event_cb)(uint32_t event_id, const void *event, uint32_t size);

/* ------------------------------------------------------------------ */
/* Exported functions                                                   */
/* ------------------------------------------------------------------ */

/* *handle must be null; on success it holds the new handle. Waits up to
 * about 5 s for the service. event_cb may be null. */
VG_MGMT_API int32_t vg_mgmt_client_open(mgmt_client **handle, mgmt_event_cb event_cb);
/* Ends the connection and frees the handle; no call may still use it. */
VG_MGMT_API void vg_mgmt_client_close(mgmt_client *handle);
/* The calling thread's error number. */
VG_MGMT_API int32_t vg_mgmt_get_errno(void);
VG_MGMT_API void vg_mgmt_set_errno(int32_t err);

/* value points at the command's record at the start of a buffer of the
 * domain's size; size is that size, or 0. 0 on success, -1 on failure.
 *
 * -1 with error number 0 means that no answer came from the service: it
 * has gone away (stopped, restarted, crashed) or did not answer within the
 * command's time-out. Whether the service carried the request out is then
 * unknown. A handle whose service went away stays unusable: it does not
 * reconnect, and every later call fails the same way at once. The
 * application closes the handle, opens a new one (open waits about 5 s for
 * the service and fails with MGMT_ERR_NO_SERVICE if none comes), and, when
 * it still wants the change, reads the state or repeats the call. */
VG_MGMT_API int32_t vg_mgmt_client_set(mgmt_client *handle, uint32_t command, void *value,
                                       uint32_t size);
VG_MGMT_API int32_t vg_mgmt_client_get(mgmt_client *handle, uint32_t command, void *value,
                                       uint32_t size);

/* The domains' dispatchers: flag is MGMT_OPT_SET or MGMT_OPT_GET. */
VG_MGMT_API int32_t wifi_command_handle(mgmt_client *handle, uint32_t flag, uint32_t command_id,
                                        void *value);
VG_MGMT_API int32_t data_call_command_handle(mgmt_client *handle, uint32_t flag,
                                             uint32_t command_id, void *value);
VG_MGMT_API int32_t network_command_handle(mgmt_client *handle, uint32_t flag, uint32_t command_id,
                                           void *value);
VG_MGMT_API int32_t usb_command_handle(mgmt_client *handle, uint32_t flag, uint32_t command_id,
                                       void *value);

/* Indication decoders; the transport's indication callback of a handle
 * routes to them. ind_cb_data is the live handle. */
struct qmi_client_struct;
VG_MGMT_API void wifi_event_ind_msg(struct qmi_client_struct *user_handle, uint32_t msg_id,
                                    void *ind_buf, uint32_t ind_buf_len, void *ind_cb_data);
VG_MGMT_API void data_call_status_event_ind_msg(struct qmi_client_struct *user_handle,
                                                void *ind_buf, uint32_t ind_buf_len,
                                                void *ind_cb_data);

/* ------------------------------------------------------------------ */
/* Wi-Fi value records (buffer of 5000 bytes; index is 1 to 3)          */
/* ------------------------------------------------------------------ */

typedef struct wifi_work_mode_params {
    uint32_t work_mode; /* 0 to 4 */
} wifi_work_mode_params;

typedef struct wifi_enable_params {
    uint8_t enable; /* set: any byte; get: 0 or 1 */
} wifi_enable_params;

typedef struct wifi_country_code_params {
    char country_code[3]; /* set: two characters and NUL; get: two characters */
} wifi_country_code_params;

typedef struct wifi_essid_params {
    uint32_t index;
    uint32_t format_type; /* 0 to 3 */
    char ssid[33];        /* 1 to 32 characters and NUL */
} wifi_essid_params;

typedef struct wifi_active_params {
    uint32_t index;
    uint8_t active; /* 0 to 2 */
} wifi_active_params;

/* Authentication types. */
#define WIFI_AUTH_OPEN 0u
#define WIFI_AUTH_WEP 1u
#define WIFI_AUTH_WPA_PSK_MIN 2u
#define WIFI_AUTH_WPA_PSK_MAX 4u

typedef struct wifi_auth_wep {
    uint32_t default_index; /* 0 to 3 */
    char key0[64];
    char key1[64];
    char key2[64];
    char key3[64];
} wifi_auth_wep;

typedef struct wifi_auth_wpa {
    uint32_t pairwise; /* 0 to 2 */
    char password[64];
    uint32_t group_rekey;
} wifi_auth_wpa;

typedef struct wifi_auth_params {
    uint32_t index;
    uint32_t auth; /* WIFI_AUTH_OPEN, WIFI_AUTH_WEP, or 2 to 4 for WPA PSK */
    VG_MGMT_EXTENSION union {
        wifi_auth_wep wep; /* auth 1 */
        wifi_auth_wpa wpa; /* auth 2, 3, 4 */
    };
} wifi_auth_params;

typedef struct wifi_mode_params {
    uint32_t index;
    uint32_t mode; /* 0 to 5 */
} wifi_mode_params;

typedef struct wifi_channel_params {
    uint32_t index;
    uint32_t channel; /* 0, 1-14, 36-64, 100-144 even, 149-161 odd, 165 */
} wifi_channel_params;

typedef struct wifi_bandwidth_params {
    uint32_t index;
    uint32_t bandwidth; /* 0 to 3 */
} wifi_bandwidth_params;

typedef struct wifi_max_num_sta_params {
    uint32_t index;
    uint32_t max_num_sta; /* 1 to 16 */
} wifi_max_num_sta_params;

typedef struct wifi_rssi_params {
    uint32_t index;
    uint32_t rssi; /* 0 to 95 */
} wifi_rssi_params;

/* The flag records: one byte behind index; get stores 0 or 1. */
typedef struct wifi_ssid_hide_params {
    uint32_t index;
    uint8_t ssid_hide;
} wifi_ssid_hide_params;

typedef struct wifi_11n_only_params {
    uint32_t index;
    uint8_t only_11n;
} wifi_11n_only_params;

typedef struct wifi_11ac_only_params {
    uint32_t index;
    uint8_t only_11ac;
} wifi_11ac_only_params;

typedef struct wifi_ap_isolate_params {
    uint32_t index;
    uint8_t ap_isolate;
} wifi_ap_isolate_params;

typedef struct wifi_dfs_params {
    uint32_t index;
    uint8_t dfs;
} wifi_dfs_params;

typedef struct wifi_mac_acl_rule_params {
    uint32_t index;
    uint32_t rule; /* 0 to 2 */
} wifi_mac_acl_rule_params;

typedef struct wifi_mac_acl_params {
    uint32_t index;
    uint8_t mac[6];
} wifi_mac_acl_params;

#define WIFI_MAC_ACL_MAX 32

typedef struct wifi_mac_acl_info_params {
    uint32_t index;
    uint32_t count; /* entries written to mac_list, 0 to 32 */
    uint8_t mac_list[WIFI_MAC_ACL_MAX][6];
} wifi_mac_acl_info_params;

#define WIFI_STA_INFO_MAX 16

typedef struct wifi_sta_info_entry {
    uint32_t field_a;
    uint32_t field_b;
    uint8_t field_c[16];
    uint8_t mac[6];
    char text[256]; /* may fill all 256 bytes without a terminator */
    uint8_t reserved[26];
} wifi_sta_info_entry;

typedef struct wifi_sta_info_params {
    uint32_t num_sta;
    uint8_t reserved[4];
    wifi_sta_info_entry stations[WIFI_STA_INFO_MAX];
} wifi_sta_info_params;

/* Value record of WIFI_CMD_STATION_STATUS and record of
 * WIFI_EVENT_STA_STATUS. index must be 3, the station interface. */
typedef struct wifi_station_status_params {
    uint32_t index;
    char ssid[33];
    uint8_t status;
    uint8_t reserved[2];
} wifi_station_status_params;

typedef struct wifi_restore_default_params {
    uint32_t index; /* 1 to 3 names an interface; anything else none */
} wifi_restore_default_params;

/* Record of WIFI_EVENT_AP_STA. */
typedef struct wifi_ap_sta_event {
    uint32_t action;
    uint32_t index;
    uint8_t mac[6];
    uint8_t reserved[2];
} wifi_ap_sta_event;

/* ------------------------------------------------------------------ */
/* Data-call value records (buffer of 416 bytes)                        */
/* ------------------------------------------------------------------ */

/* ip_type and ip family values */
#define DATA_CALL_IP_V4 0u
#define DATA_CALL_IP_V6 1u
#define DATA_CALL_IP_V4V6 2u
#define DATA_CALL_PROFILE_MAX 24u

typedef struct data_call_up_params {
    uint8_t profile_id; /* 0 to 24 */
    uint8_t reserved[3];
    uint32_t ip_type; /* DATA_CALL_IP_* */
    uint8_t reconnect;
    char apn_name[151];
    char username[128];
    char password[128];
} data_call_up_params;

typedef struct data_call_down_params {
    uint8_t profile_id;
    uint8_t reserved[3];
    uint32_t ip_type;
} data_call_down_params;

typedef struct data_call_info_v4 {
    char name[16];
    uint32_t status;
    uint8_t flag;
    uint8_t reserved[3];
    uint32_t address[4]; /* network byte order */
    uint32_t stat_1;
    uint32_t stat_2;
    uint64_t stat_3 VG_MGMT_ALIGN8;
    uint64_t stat_4 VG_MGMT_ALIGN8;
    uint32_t stat_5;
    uint32_t stat_6;
} data_call_info_v4;

typedef struct data_call_info_v6 {
    char name[16];
    uint32_t status;
    uint8_t flag;
    uint8_t reserved[3];
    uint8_t address[4][16];
    uint32_t stat_1;
    uint32_t stat_2;
    uint64_t stat_3 VG_MGMT_ALIGN8;
    uint64_t stat_4 VG_MGMT_ALIGN8;
    uint32_t stat_5;
    uint32_t stat_6;
} data_call_info_v6;

typedef struct data_call_info_params {
    uint8_t profile_id;
    uint8_t reserved[3];
    uint32_t ip_type;
    data_call_info_v4 ipv4; /* ip_type 0 or 2 */
    data_call_info_v6 ipv6; /* ip_type 1 or 2 */
} data_call_info_params;

typedef struct data_call_apn_params {
    uint8_t profile_type;  /* 0 to 2 */
    uint8_t profile_index; /* 0 to 24; add writes the index the service chose */
    uint8_t pdp_type;      /* 0 to 3, or 255 */
    uint8_t auth_protocol; /* 0 to 3, or 255 */
    char apn_name[151];
    char username[128];
    char password[128];
} data_call_apn_params;

typedef struct data_call_apn_list_params {
    uint8_t profile_type;
    uint8_t length; /* valid bytes in index_list */
    uint8_t index_list[255];
} data_call_apn_list_params;

typedef struct data_call_default_profile_params {
    uint8_t default_id; /* 0 to 24 */
    uint8_t reserved[3];
    uint32_t tech_pref; /* 0 to 2 */
    uint32_t ip_family; /* 0 to 2 */
} data_call_default_profile_params;

/* Record of DATA_CALL_EVENT_STATUS. */
typedef struct data_call_status_event {
    uint8_t index;
    char name[19]; /* empty unless state is 1 */
    uint32_t ip_family;
    uint32_t state;
    uint32_t reason_code;
    union {
        uint32_t ipv4[4];    /* ip_family 0, network byte order */
        uint8_t ipv6[4][16]; /* any other ip_family */
    } address;               /* all zero unless state is 1 */
} data_call_status_event;

/* ------------------------------------------------------------------ */
/* Network value records (buffer of 392 bytes)                          */
/* ------------------------------------------------------------------ */

/* Addresses are held in network byte order (as inet_addr gives them) and
 * copied to and from the service bit for bit. */
typedef struct network_dmz_params {
    uint32_t ipv4_addr;
} network_dmz_params;

typedef struct network_snat_params {
    uint32_t private_ip;
    uint16_t private_port; /* not 0 */
    uint16_t global_port;  /* not 0 */
    uint8_t protocol;      /* 6 to 253 */
    uint8_t reserved[3];
} network_snat_params;

#define NETWORK_SNAT_MAX 32

typedef struct network_snat_list_params {
    uint32_t count;
    network_snat_params entries[NETWORK_SNAT_MAX];
} network_snat_list_params;

typedef struct network_lan_config_params {
    uint32_t lan_word_a;
    uint32_t lan_word_b;
    uint8_t lan_byte;
    uint8_t reserved[3];
    uint32_t lan_word_c;
    uint32_t lan_word_d;
    uint32_t lan_word_e;
} network_lan_config_params;

typedef struct network_sgmii_enable_params {
    uint8_t enable;
} network_sgmii_enable_params;

typedef struct network_sgmii_config_params {
    uint8_t autoneg;
    uint8_t speed;  /* 0 to 2 */
    uint8_t duplex; /* 0 or 1 */
} network_sgmii_config_params;

typedef struct network_sgmii_info_params {
    uint8_t flag_a;
    uint8_t flag_b;
    uint8_t byte_a;
    uint8_t byte_b;
    uint8_t flag_c;
    uint8_t reserved[3];
    uint64_t quad_a VG_MGMT_ALIGN8;
    uint64_t quad_b VG_MGMT_ALIGN8;
    uint64_t quad_c VG_MGMT_ALIGN8;
    uint64_t quad_d VG_MGMT_ALIGN8;
} network_sgmii_info_params;

typedef struct network_ethernet_mode_params {
    uint32_t mode; /* 0 or 1 */
} network_ethernet_mode_params;

/* ------------------------------------------------------------------ */
/* USB value records (buffer of 92 bytes; usb_num is 0)                 */
/* ------------------------------------------------------------------ */

typedef struct usb_config_params {
    uint32_t usb_num;
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
} usb_config_params;

typedef struct usb_action_params {
    uint32_t usb_num;
    uint32_t action_type; /* 0 to 2 */
} usb_action_params;

typedef struct usb_bootup_params {
    uint32_t usb_num;
    uint32_t bootup; /* 0 to 2 */
} usb_bootup_params;

typedef struct usb_net_params {
    uint32_t usb_num;
    uint32_t net; /* 0 to 3 */
} usb_net_params;

typedef struct usb_id_params {
    uint32_t usb_num;
    uint16_t pid;
    uint16_t vid;
} usb_id_params;

/* At most the first 32 bytes of the text are sent. */
typedef struct usb_product_info_params {
    uint32_t usb_num;
    char product_info[88];
} usb_product_info_params;

typedef struct usb_manufac_info_params {
    uint32_t usb_num;
    char manufac_info[88];
} usb_manufac_info_params;

typedef struct usb_func_params {
    uint32_t usb_num;
    uint8_t diag;
    uint8_t nmea;
    uint8_t at;
    uint8_t modem;
    uint8_t net;
    uint8_t adb;
    uint8_t audio_uac;
} usb_func_params;

/* ------------------------------------------------------------------ */
/* Layout checks                                                        */
/* ------------------------------------------------------------------ */

VG_MGMT_SIZE(wifi_work_mode_params, 4);
VG_MGMT_SIZE(wifi_enable_params, 1);
VG_MGMT_SIZE(wifi_country_code_params, 3);
VG_MGMT_AT(wifi_essid_params, format_type, 4);
VG_MGMT_AT(wifi_essid_params, ssid, 8);
VG_MGMT_SIZE(wifi_essid_params, 44);
VG_MGMT_AT(wifi_active_params, active, 4);
VG_MGMT_AT(wifi_auth_params, auth, 4);
VG_MGMT_AT(wifi_auth_params, wep.default_index, 8);
VG_MGMT_AT(wifi_auth_params, wep.key0, 12);
VG_MGMT_AT(wifi_auth_params, wep.key1, 76);
VG_MGMT_AT(wifi_auth_params, wep.key2, 140);
VG_MGMT_AT(wifi_auth_params, wep.key3, 204);
VG_MGMT_AT(wifi_auth_params, wpa.pairwise, 8);
VG_MGMT_AT(wifi_auth_params, wpa.password, 12);
VG_MGMT_AT(wifi_auth_params, wpa.group_rekey, 76);
VG_MGMT_SIZE(wifi_auth_params, 268);
VG_MGMT_AT(wifi_channel_params, channel, 4);
VG_MGMT_SIZE(wifi_channel_params, 8);
VG_MGMT_AT(wifi_dfs_params, dfs, 4);
VG_MGMT_AT(wifi_mac_acl_rule_params, rule, 4);
VG_MGMT_AT(wifi_mac_acl_params, mac, 4);
VG_MGMT_AT(wifi_mac_acl_info_params, count, 4);
VG_MGMT_AT(wifi_mac_acl_info_params, mac_list, 8);
VG_MGMT_SIZE(wifi_mac_acl_info_params, 200);
VG_MGMT_AT(wifi_sta_info_entry, field_b, 4);
VG_MGMT_AT(wifi_sta_info_entry, field_c, 8);
VG_MGMT_AT(wifi_sta_info_entry, mac, 24);
VG_MGMT_AT(wifi_sta_info_entry, text, 30);
VG_MGMT_AT(wifi_sta_info_entry, reserved, 286);
VG_MGMT_SIZE(wifi_sta_info_entry, 312);
VG_MGMT_AT(wifi_sta_info_params, stations, 8);
VG_MGMT_SIZE(wifi_sta_info_params, MGMT_WIFI_VALUE_SIZE);
VG_MGMT_AT(wifi_station_status_params, ssid, 4);
VG_MGMT_AT(wifi_station_status_params, status, 37);
VG_MGMT_SIZE(wifi_station_status_params, 40);
VG_MGMT_SIZE(wifi_restore_default_params, 4);
VG_MGMT_AT(wifi_ap_sta_event, index, 4);
VG_MGMT_AT(wifi_ap_sta_event, mac, 8);
VG_MGMT_SIZE(wifi_ap_sta_event, 16);

VG_MGMT_AT(data_call_up_params, ip_type, 4);
VG_MGMT_AT(data_call_up_params, reconnect, 8);
VG_MGMT_AT(data_call_up_params, apn_name, 9);
VG_MGMT_AT(data_call_up_params, username, 160);
VG_MGMT_AT(data_call_up_params, password, 288);
VG_MGMT_SIZE(data_call_up_params, MGMT_DATA_CALL_VALUE_SIZE);
VG_MGMT_AT(data_call_down_params, ip_type, 4);
VG_MGMT_SIZE(data_call_down_params, 8);
VG_MGMT_AT(data_call_info_v4, status, 16);
VG_MGMT_AT(data_call_info_v4, flag, 20);
VG_MGMT_AT(data_call_info_v4, address, 24);
VG_MGMT_AT(data_call_info_v4, stat_1, 40);
VG_MGMT_AT(data_call_info_v4, stat_3, 48);
VG_MGMT_AT(data_call_info_v4, stat_4, 56);
VG_MGMT_AT(data_call_info_v4, stat_6, 68);
VG_MGMT_SIZE(data_call_info_v4, 72);
VG_MGMT_AT(data_call_info_v6, address, 24);
VG_MGMT_AT(data_call_info_v6, stat_1, 88);
VG_MGMT_AT(data_call_info_v6, stat_3, 96);
VG_MGMT_AT(data_call_info_v6, stat_4, 104);
VG_MGMT_AT(data_call_info_v6, stat_6, 116);
VG_MGMT_SIZE(data_call_info_v6, 120);
VG_MGMT_AT(data_call_info_params, ip_type, 4);
VG_MGMT_AT(data_call_info_params, ipv4, 8);
VG_MGMT_AT(data_call_info_params, ipv6, 80);
VG_MGMT_SIZE(data_call_info_params, 200);
VG_MGMT_AT(data_call_apn_params, apn_name, 4);
VG_MGMT_AT(data_call_apn_params, username, 155);
VG_MGMT_AT(data_call_apn_params, password, 283);
VG_MGMT_SIZE(data_call_apn_params, 411);
VG_MGMT_AT(data_call_apn_list_params, index_list, 2);
VG_MGMT_SIZE(data_call_apn_list_params, 257);
VG_MGMT_AT(data_call_default_profile_params, tech_pref, 4);
VG_MGMT_AT(data_call_default_profile_params, ip_family, 8);
VG_MGMT_SIZE(data_call_default_profile_params, 12);
VG_MGMT_AT(data_call_status_event, name, 1);
VG_MGMT_AT(data_call_status_event, ip_family, 20);
VG_MGMT_AT(data_call_status_event, state, 24);
VG_MGMT_AT(data_call_status_event, reason_code, 28);
VG_MGMT_AT(data_call_status_event, address, 32);
VG_MGMT_SIZE(data_call_status_event, 96);

VG_MGMT_SIZE(network_dmz_params, 4);
VG_MGMT_AT(network_snat_params, private_port, 4);
VG_MGMT_AT(network_snat_params, global_port, 6);
VG_MGMT_AT(network_snat_params, protocol, 8);
VG_MGMT_SIZE(network_snat_params, 12);
VG_MGMT_AT(network_snat_list_params, entries, 4);
VG_MGMT_SIZE(network_snat_list_params, 388);
VG_MGMT_AT(network_lan_config_params, lan_byte, 8);
VG_MGMT_AT(network_lan_config_params, lan_word_c, 12);
VG_MGMT_AT(network_lan_config_params, lan_word_e, 20);
VG_MGMT_SIZE(network_lan_config_params, 24);
VG_MGMT_SIZE(network_sgmii_enable_params, 1);
VG_MGMT_SIZE(network_sgmii_config_params, 3);
VG_MGMT_AT(network_sgmii_info_params, flag_c, 4);
VG_MGMT_AT(network_sgmii_info_params, quad_a, 8);
VG_MGMT_AT(network_sgmii_info_params, quad_d, 32);
VG_MGMT_SIZE(network_sgmii_info_params, 40);
VG_MGMT_SIZE(network_ethernet_mode_params, 4);

VG_MGMT_AT(usb_config_params, bootup, 4);
VG_MGMT_AT(usb_config_params, pid, 8);
VG_MGMT_AT(usb_config_params, vid, 10);
VG_MGMT_AT(usb_config_params, product_info, 12);
VG_MGMT_AT(usb_config_params, manufac_info, 45);
VG_MGMT_AT(usb_config_params, usbnet, 80);
VG_MGMT_AT(usb_config_params, diag, 84);
VG_MGMT_AT(usb_config_params, audio_uac, 90);
VG_MGMT_SIZE(usb_config_params, MGMT_USB_VALUE_SIZE);
VG_MGMT_AT(usb_action_params, action_type, 4);
VG_MGMT_AT(usb_id_params, pid, 4);
VG_MGMT_AT(usb_id_params, vid, 6);
VG_MGMT_AT(usb_product_info_params, product_info, 4);
VG_MGMT_SIZE(usb_product_info_params, MGMT_USB_VALUE_SIZE);
VG_MGMT_AT(usb_manufac_info_params, manufac_info, 4);
VG_MGMT_AT(usb_func_params, diag, 4);
VG_MGMT_AT(usb_func_params, audio_uac, 10);

#ifdef __cplusplus
}
#endif

#endif
