// The shapes of the description of every field and subject (kest_fields.h):
// the kinds of value, the instances, names, factory values, and the macros
// that place a field in its record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "kest_commands.h"

enum class kest_kind : uint8_t {
    number,    // unsigned integer of the member's width
    named,     // unsigned integer with names; the number is taken too
    flag,      // one byte, off/on
    usb_id,    // u16 shown as 0x%04x
    text,      // char[width]: at most `max` characters and a terminator
    secret,    // a text that is shown masked
    textn,     // char[width] that may fill every byte
    mac,       // 6 bytes
    ipv4,      // u32 in network byte order
    ipv4_text, // char[width] holding an address as text
    ipv6,      // 16 bytes
};

// The instance a command names, given as leading words.
enum class kest_instance : uint8_t {
    none,
    iface,     // Wi-Fi interface 1 to 3, the record's u32 `index`
    sta_iface, // the station interface, fixed
    apn,       // APN profile type and index (two bytes at the record's head)
    apn_type,  // APN profile type alone
    profile,   // APN profile of type 0 that carries a call (one byte at the head)
    usb,       // USB instance 0, the record's u32 `usb_num`, fixed
};

struct kest_name {
    const char *name;
    uint32_t value;
};
struct kest_names {
    const kest_name *rows = nullptr;
    uint32_t count = 0;
};
#define KEST_NAMES(table)                                                                          \
    kest_names                                                                                     \
    {                                                                                              \
        table, static_cast<uint32_t>(std::size(table))                                             \
    }

// The value of a fresh module in the document's words: one for every Wi-Fi
// interface (1, 2, 3), or one for them all and for any other field; none
// for a field that a fresh module does not set.
struct kest_factory {
    const char *v[3] = {nullptr, nullptr, nullptr};
    bool given = false;
    constexpr kest_factory() = default;
    constexpr kest_factory(const char *all) : v{all, all, all}, given(true) {}
    constexpr kest_factory(const char *one, const char *two, const char *three)
        : v{one, two, three}, given(true)
    {
    }
    constexpr const char *at(int iface) const
    {
        return v[iface >= 2 && iface <= 3 ? iface - 1 : 0];
    }
};

// Any value of the range: the set of a field that is not narrower.
constexpr bool kest_any(uint64_t)
{
    return true;
}

struct kest_field {
    uint32_t domain;
    uint32_t command; // the command whose value record holds the field
    const char *word; // option, JSON key and label
    uint16_t off;
    uint16_t width;
    kest_kind kind;
    uint64_t min; // number: least; text: fewest characters
    uint64_t max; // number: most (0: the width's largest); text: most characters
    kest_names names = {};
    const char *path = nullptr; // in the document; "{i}" an interface, "[]" a list's entry
    kest_factory factory = {};
    const char *help = "";
    bool (*allowed)(uint64_t) = kest_any; // a set narrower than min..max
    const char *range_text = nullptr;     // what `allowed` takes, or what the names leave out
};

// The offset and width of a member.
#define KEST_AT(rec, member)                                                                       \
    static_cast<uint16_t>(offsetof(rec, member)),                                                  \
        static_cast<uint16_t>(sizeof(static_cast<rec *>(nullptr)->member))
#define KEST_TEXT_MAX(rec, member) (sizeof(static_cast<rec *>(nullptr)->member) - 1)

// clang-format off
inline constexpr kest_name kAuthNames[] = {
    {"open", WIFI_AUTH_OPEN}, {"wep", WIFI_AUTH_WEP}, {"wpa-psk-2", 2}, {"wpa-psk-3", 3},
    {"wpa-psk-4", WIFI_AUTH_WPA_PSK_MAX}};
inline constexpr kest_name kAclRuleNames[] = {{"off", 0}, {"allow-listed", 1}, {"deny-listed", 2}};
inline constexpr kest_name kStationStateNames[] = {
    {"disconnected", 0}, {"connecting", 1}, {"connected", 2}};
inline constexpr kest_name kIpTypeNames[] = {{"ipv4", 0}, {"ipv6", 1}, {"ipv4v6", 2}};
inline constexpr kest_name kAuthProtocolNames[] = {
    {"none", 0}, {"pap", 1}, {"chap", 2}, {"pap-chap", 3}, {"any", kPdpAny}};
inline constexpr kest_name kPdpTypeNames[] = {
    {"ipv4", 0}, {"ipv6", 1}, {"ipv4v6", 2}, {"any", kPdpAny}};
inline constexpr kest_name kProtocolNames[] = {{"tcp", 6}, {"udp", 17}};
inline constexpr kest_name kSpeedNames[] = {{"10mbps", 0}, {"100mbps", 1}, {"1000mbps", 2}};
inline constexpr kest_name kDuplexNames[] = {{"half", 0}, {"full", 1}};
inline constexpr kest_name kEthernetModeNames[] = {{"lan", 0}, {"wan", 1}};
inline constexpr kest_name kCallStatusNames[] = {{"disconnected", 0}, {"connected", 1}};
// clang-format on

// The word of a domain in the tools' commands and the document.
constexpr const char *kest_domain_word(uint32_t domain)
{
    switch (domain) {
    case MGMT_DOMAIN_WIFI:
        return "wifi";
    case MGMT_DOMAIN_DATA_CALL:
        return "datacall";
    case MGMT_DOMAIN_NETWORK:
        return "network";
    default:
        return "usb";
    }
}

// A subject: one command as people name it, with its help and instance.
struct kest_subject {
    uint32_t domain;
    uint32_t command;
    const char *words; // the tool's words after the domain's: "channel", "acl add"
    const char *help;  // what the record is: "an interface's radio channel"
    kest_instance instance;
};
