// The error codes of kestd, the simulated KEST management service, with their
// names and one-line texts: one table for kestd (which answers with them) and
// for vg-mgmt (which explains them).
//
// A refused request is still answered with its full response record: the
// record is all zero but for resp_status, where `result` is 1 (failure) and
// `error` one of the codes below. The codes start at 101 so that an
// application never mistakes them for the library's own error numbers (-2,
// -1, 2, 5, 9), which share the same per-thread error number. They are what
// the simulated service means by them: a module's service may use codes of
// its own, so a code is always shown with its number.
#pragma once

#include <cstddef>
#include <cstdint>

// X(enumerator, code, name, text)
#define KEST_ERROR_TABLE(X)                                                                        \
    /* The state file could not be written; the change was undone in memory. */                    \
    X(KESTD_ERR_STORAGE, 101, "STORAGE", "the service could not store the change")                 \
    /* Wi-Fi interface outside 1..3, or not the one the operation needs (station status on an  */  \
    /* AP interface, a station joining interface 3). */                                            \
    X(KESTD_ERR_INVALID_INTERFACE, 102, "INVALID_INTERFACE", "not an interface this works on")     \
    /* A number outside what the service takes (work mode above 4, speed 1000 with half duplex, */ \
    /* ethernet mode above 1, USB instance settings...). */                                        \
    X(KESTD_ERR_INVALID_VALUE, 103, "INVALID_VALUE", "a value the service does not take")          \
    /* A channel that is no channel, or not one of the interface's band: 1..14 on interface 1,  */ \
    /* 5 GHz channels on interface 2, only 0 (follow the access point) on interface 3. */          \
    X(KESTD_ERR_INVALID_CHANNEL, 104, "INVALID_CHANNEL", "not a channel of this interface's band") \
    /* A text the service cannot store: an empty SSID, a country code that is not two letters, */  \
    /* an empty or unprintable USB info text. */                                                   \
    X(KESTD_ERR_INVALID_TEXT, 105, "INVALID_TEXT", "a text the service cannot store")              \
    /* A WEP key that is not 5 or 13 characters or 10 or 26 hex digits (an empty default key    */ \
    /* included), or a WPA passphrase that is not 8..63 characters or 64 hex digits. */            \
    X(KESTD_ERR_INVALID_KEY, 106, "INVALID_KEY",                                                   \
      "WEP keys are 5 or 13 characters or 10 or 26 hex digits; passphrases 8 to 63 characters")    \
    /* An all-zero or group MAC address, an IPv4 address outside the LAN subnet or equal to the */ \
    /* LAN gateway, a LAN block whose mask, gateway or DHCP range does not fit together. */        \
    X(KESTD_ERR_INVALID_ADDRESS, 107, "INVALID_ADDRESS", "an address the service cannot use")      \
    /* The list holds its maximum: 32 MAC addresses per interface, 32 SNAT rules, 25 APN       */  \
    /* profiles per profile type, 16 stations (or the interface's maximum number of stations). */  \
    X(KESTD_ERR_LIST_FULL, 108, "LIST_FULL", "the list is full")                                   \
    /* Already there: a MAC address in the list, an SNAT rule on the same global port and      */  \
    /* protocol, a DMZ address when one is set, a station that is already attached. */             \
    X(KESTD_ERR_DUPLICATE, 109, "DUPLICATE", "already there")                                      \
    /* Nothing to delete: the MAC address, SNAT rule, DMZ address or station is not there. */      \
    X(KESTD_ERR_NOT_FOUND, 110, "NOT_FOUND", "not there")                                          \
    /* No APN profile at this profile type and index (data calls and the default profile use  */   \
    /* profile type 0). */                                                                         \
    X(KESTD_ERR_UNKNOWN_PROFILE, 111, "UNKNOWN_PROFILE", "no APN profile at this type and index")  \
    /* Data call up with no APN name, neither in the request nor in the profile. */                \
    X(KESTD_ERR_NO_APN, 112, "NO_APN", "no APN name, neither given nor in the profile")            \
    /* The IP type asked for is not offered by the profile's PDP type (PDP type 0 is IPv4 only, */ \
    /* 1 is IPv6 only). */                                                                         \
    X(KESTD_ERR_IP_TYPE_MISMATCH, 113, "IP_TYPE_MISMATCH",                                         \
      "the profile's PDP type does not offer this IP type")                                        \
    /* Data call up when every family asked for is already up. */                                  \
    X(KESTD_ERR_CALL_ACTIVE, 114, "CALL_ACTIVE", "the data call is already up")                    \
    /* Data call down when no family asked for is up. */                                           \
    X(KESTD_ERR_CALL_INACTIVE, 115, "CALL_INACTIVE", "the data call is not up")                    \
    /* The APN profile carries a data call or is the default profile. */                           \
    X(KESTD_ERR_PROFILE_IN_USE, 116, "PROFILE_IN_USE",                                             \
      "the profile carries a data call or is the default")                                         \
    /* USB instance other than 0. */                                                               \
    X(KESTD_ERR_INVALID_INSTANCE, 117, "INVALID_INSTANCE", "no USB instance of this number")       \
    /* Wi-Fi is disabled or the access point interface is not active, so no station can join. */   \
    X(KESTD_ERR_WIFI_OFF, 118, "WIFI_OFF", "Wi-Fi or the interface is off")                        \
    /* The interface's MAC access rule keeps this station out. */                                  \
    X(KESTD_ERR_ACL_DENIED, 119, "ACL_DENIED", "the MAC access rule keeps this station out")       \
    /* A LAN block that would leave the DMZ host or an SNAT rule's private address outside the */  \
    /* LAN or on its gateway: move or remove those first. */                                       \
    X(KESTD_ERR_LAN_IN_USE, 120, "LAN_IN_USE",                                                     \
      "the DMZ host or an SNAT rule's private address would leave the LAN: remove them first")

enum kestd_error : uint16_t {
    KESTD_OK = 0,
#define KEST_ERROR_ENUM(e, code, name, text) e = code,
    KEST_ERROR_TABLE(KEST_ERROR_ENUM)
#undef KEST_ERROR_ENUM
};

struct kest_error_row {
    uint16_t code;
    const char *name;
    const char *text;
};

inline constexpr kest_error_row kKestErrorRows[] = {
#define KEST_ERROR_ROW(e, code, name, text) {code, name, text},
    KEST_ERROR_TABLE(KEST_ERROR_ROW)
#undef KEST_ERROR_ROW
};

// The row of a code, or null for a code that is not in the table.
inline const kest_error_row *kest_error_find(uint32_t code)
{
    for (const kest_error_row &r : kKestErrorRows)
        if (r.code == code)
            return &r;
    return nullptr;
}
