// The module's factory settings, as its documentation lists them. Written
// here apart from kestd's defaults, so that a default changed on either side
// is seen by the tests that compare the two.
#pragma once

#include <cstdint>

namespace module_factory {

// The Wi-Fi interfaces: 1 the 2.4 GHz access point, 2 the 5 GHz one, 3 the
// station interface (on, joined to no network).
struct iface {
    const char *ssid;
    uint8_t active, auth;
    const char *password;
    uint16_t channel;
    uint8_t mode, bandwidth, max_num_sta;
};
inline constexpr iface kIfaces[3] = {
    {"KEST-2.4G", 1, 3, "kest-module-24", 6, 4, 1, 10},
    {"KEST-5G", 1, 3, "kest-module-5g", 36, 5, 2, 10},
    {"", 1, 0, "", 0, 4, 0, 1},
};
inline constexpr char kCountry[] = "US";

// The LAN: gateway 192.168.225.1/24, DHCP from .20 to .60 for 12 hours.
inline constexpr uint8_t kLanNet[3] = {192, 168, 225};
inline constexpr uint8_t kLanGateway = 1, kDhcpFirst = 20, kDhcpLast = 60;
inline constexpr uint32_t kLeaseSeconds = 43200;

// USB: diag, nmea, at, modem and net on; adb and audio off.
inline constexpr uint16_t kUsbPid = 0x9025, kUsbVid = 0x05c6;
inline constexpr char kUsbProduct[] = "KEST LTE Module", kUsbMaker[] = "KEST";
inline constexpr uint8_t kUsbFunctions[7] = {1, 1, 1, 1, 1, 0, 0};

// Data calls: the default profile is type 0 index 0, APN "internet", IP
// family 2 (both).
inline constexpr char kApn[] = "internet";
inline constexpr uint8_t kIpFamily = 2;

} // namespace module_factory
