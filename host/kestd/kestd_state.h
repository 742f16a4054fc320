// What kestd holds: the module's configuration (kept across restarts with
// --state) and what lives only while the service runs (stations, station
// status, data calls, the USB settings that wait for write-back).
//
// Both are plain, trivially copyable records, so a request can be undone by
// copying the record back and the configuration can be stored as bytes.
#pragma once

#include <cstdint>
#include <type_traits>

#include "kest_fields.h"
#include "kest_msg.h"

inline constexpr int kKestdWifiIfaces = 3;
inline constexpr int kKestdStaIface = 3;     // the station interface
inline constexpr int kKestdMacAclMax = 32;   // addresses per interface
inline constexpr int kKestdStationsMax = 16; // stations on the access points
inline constexpr int kKestdProfileTypes = 3;
inline constexpr int kKestdProfiles = 25; // indexes 0..24 per profile type
inline constexpr int kKestdSnatMax = 32;
inline constexpr int kKestdFamilies = 2; // IPv4, IPv6

struct kestd_iface {
    char ssid[33];
    uint8_t format_type;
    uint8_t active;
    uint8_t auth; // 0 open, 1 WEP, 2..4 WPA PSK
    uint8_t wep_default;
    char wep_key[4][65];
    uint8_t pairwise;
    char password[65];
    uint32_t group_rekey;
    uint16_t channel;
    // The one-byte radio settings: four numbers, then the switches.
    uint8_t mode;
    uint8_t bandwidth;
    uint8_t max_num_sta;
    uint8_t rssi;
#define KESTD_SWITCH_FIELD(name, setting, field, ...) uint8_t field;
    KEST_WIFI_SWITCHES(KESTD_SWITCH_FIELD)
#undef KESTD_SWITCH_FIELD
    uint8_t acl_rule; // 0 off, 1 allow only the listed, 2 deny the listed
    uint32_t acl_count;
    uint8_t acl[kKestdMacAclMax][6];
};

struct kestd_apn {
    uint8_t used;
    uint8_t pdp_type;
    uint8_t auth_protocol;
    char apn_name[151];
    char username[128];
    char password[128];
};

struct kestd_usb {
    uint32_t bootup;
    uint16_t pid;
    uint16_t vid;
    char product_info[33];
    char manufac_info[33];
    uint32_t usbnet;
    uint8_t func[7]; // diag, nmea, at, modem, net, adb, audio uac
};

struct kestd_config {
    uint8_t work_mode;
    uint8_t wifi_enable;
    char country_code[2];
    kestd_iface iface[kKestdWifiIfaces];
    kestd_apn apn[kKestdProfileTypes][kKestdProfiles];
    uint8_t default_id;
    uint8_t tech_pref;
    uint8_t ip_family;
    uint32_t dmz; // 0: none
    uint32_t snat_count;
    network_snat_rule snat[kKestdSnatMax];
    network_lan_config_block lan;
    uint8_t sgmii_enable;
    uint8_t sgmii_autoneg;
    uint8_t sgmii_speed;
    uint8_t sgmii_duplex;
    uint32_t ethernet_mode;
    kestd_usb usb; // the committed USB configuration
};

struct kestd_station {
    uint32_t iface;
    uint8_t mac[6];
    char name[64];
    uint32_t rate_mbps;
    char ip[16];
};

struct kestd_call {
    uint8_t up;
    uint8_t reconnect;
    uint32_t reason;     // of the last change
    uint32_t serial;     // counts the ups of this call, for the addresses
    char address[4][64]; // address, gateway, primary DNS, secondary DNS
};

struct kestd_runtime {
    kestd_usb usb_pending; // settings not yet written back
    uint32_t usb_last_action;
    uint32_t sta_count;
    kestd_station sta[kKestdStationsMax];
    uint8_t sta_state; // station interface: 0 disconnected, 1 connecting, 2 connected
    kestd_call call[kKestdProfiles][kKestdFamilies];
    uint32_t call_serial;
};

struct kestd_state {
    kestd_config cfg;
    kestd_runtime rt;
};
static_assert(std::is_trivially_copyable_v<kestd_state>);

// The module's defaults; the runtime part starts empty with the USB
// settings equal to the committed ones.
void kestd_default_config(kestd_config &cfg);
void kestd_default_wifi(kestd_config &cfg);
void kestd_reset_runtime(kestd_state &st);

// Why a configuration cannot be taken, or null when it can. Run on every
// loaded state file, so that a file with a good checksum but impossible
// contents is refused as well.
const char *kestd_config_problem(const kestd_config &cfg);
const char *kestd_wifi_config_problem(const kestd_config &cfg);
const char *kestd_data_call_config_problem(const kestd_config &cfg);
const char *kestd_network_config_problem(const kestd_config &cfg);
const char *kestd_usb_config_problem(const kestd_usb &usb);
