// The one table of refusals of kestd, the simulated KEST management service.
//
// A refused request is still answered with its full response record: the
// record is all zero but for resp_status, where `result` is
// KESTD_RESULT_FAILURE and `error` one of the codes below. The codes start at
// 101 so that an application never mistakes them for the library's own error
// numbers (-2, -1, 2, 5, 9), which share the same per-thread error number.
//
// Frames that cannot be taken at all get a response frame with a non-zero
// header status and no record: see kestd_frame_status.
#pragma once

#include <cstdint>

inline constexpr uint16_t KESTD_RESULT_FAILURE = 1;

enum kestd_error : uint16_t {
    KESTD_OK = 0,
    // The state file could not be written; the change was undone in memory.
    KESTD_ERR_STORAGE = 101,
    // Wi-Fi interface outside 1..3, or not the one the operation needs
    // (station status on an AP interface, a station joining interface 3).
    KESTD_ERR_INVALID_INTERFACE = 102,
    // A number outside what the service takes (work mode above 4, speed 1000
    // with half duplex, ethernet mode above 1, USB instance settings...).
    KESTD_ERR_INVALID_VALUE = 103,
    // A channel that is no channel, or not one of the interface's band:
    // 1..14 on interface 1, 5 GHz channels on interface 2, only 0 (follow the
    // access point) on the station interface 3.
    KESTD_ERR_INVALID_CHANNEL = 104,
    // A text the service cannot store: an empty SSID, a country code that is
    // not two letters, an empty or unprintable USB info text.
    KESTD_ERR_INVALID_TEXT = 105,
    // A WEP key that is not 5 or 13 characters or 10 or 26 hex digits (an
    // empty default key included), or a WPA passphrase that is not 8..63
    // characters or 64 hex digits.
    KESTD_ERR_INVALID_KEY = 106,
    // An address the service cannot use: an all-zero or group MAC address,
    // an IPv4 address outside the LAN subnet or equal to the LAN gateway, a
    // LAN block whose mask, gateway or DHCP range does not fit together.
    KESTD_ERR_INVALID_ADDRESS = 107,
    // The list holds its maximum: 32 MAC addresses per interface, 32 SNAT
    // rules, 25 APN profiles per profile type, 16 stations (or the
    // interface's maximum number of stations).
    KESTD_ERR_LIST_FULL = 108,
    // Already there: a MAC address in the list, an SNAT rule on the same
    // global port and protocol, a DMZ address when one is set, a station that
    // is already attached.
    KESTD_ERR_DUPLICATE = 109,
    // Nothing to delete: the MAC address, SNAT rule, DMZ address or station
    // is not there.
    KESTD_ERR_NOT_FOUND = 110,
    // No APN profile at this profile type and index (data calls and the
    // default profile use profile type 0).
    KESTD_ERR_UNKNOWN_PROFILE = 111,
    // Data call up with no APN name, neither in the request nor in the
    // profile.
    KESTD_ERR_NO_APN = 112,
    // The IP type asked for is not offered by the profile's PDP type
    // (PDP type 0 is IPv4 only, 1 is IPv6 only).
    KESTD_ERR_IP_TYPE_MISMATCH = 113,
    // Data call up when every family asked for is already up.
    KESTD_ERR_CALL_ACTIVE = 114,
    // Data call down when no family asked for is up.
    KESTD_ERR_CALL_INACTIVE = 115,
    // The APN profile cannot be deleted: it carries a data call or is the
    // default profile.
    KESTD_ERR_PROFILE_IN_USE = 116,
    // USB instance other than 0.
    KESTD_ERR_INVALID_INSTANCE = 117,
    // Wi-Fi is disabled or the access point interface is not active, so no
    // station can join it.
    KESTD_ERR_WIFI_OFF = 118,
    // The interface's MAC access rule keeps this station out.
    KESTD_ERR_ACL_DENIED = 119,
};

// Header status of a response frame that carries no record.
enum kestd_frame_status : int32_t {
    KESTD_STATUS_OK = 0,
    // msg_id is not a request of the service (0, 43, above 74).
    KESTD_STATUS_UNKNOWN_MSG = 1,
    // The payload is not exactly the request record of msg_id.
    KESTD_STATUS_BAD_LENGTH = 2,
    // A control command was refused; the text says why.
    KESTD_STATUS_CONTROL_REFUSED = 3,
};

// The name of a code, for logs, dumps and the control channel.
const char *kestd_error_name(uint16_t code);
