// The Wi-Fi validators, shared by the handlers and the check of a loaded
// state file.
#include <cctype>
#include <cstring>

#include "kest_commands.h"
#include "kestd_errors.h"
#include "kestd_wifi_internal.h"

using namespace kestd_wifi;

namespace {

bool all_hex(const char *s, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        if (!std::isxdigit(static_cast<unsigned char>(s[i])))
            return false;
    return true;
}

bool printable(const char *s, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        if (s[i] < 0x20 || s[i] > 0x7e)
            return false;
    return true;
}

// WEP-40 or WEP-104: 5 or 13 characters, or 10 or 26 hex digits.
bool wep_key_ok(const char *key, size_t len)
{
    if ((len == 10 || len == 26) && all_hex(key, len))
        return true;
    return (len == 5 || len == 13) && printable(key, len);
}

// A WPA passphrase of 8..63 characters, or the PSK as 64 hex digits.
bool wpa_password_ok(const char *pw, size_t len)
{
    if (len == 64)
        return all_hex(pw, len);
    return len >= 8 && len <= 63 && printable(pw, len);
}

} // namespace

namespace kestd_wifi {

// Interface 1 is the 2.4 GHz access point, 2 the 5 GHz one; the station
// interface follows whatever access point it joins, so it only takes 0.
uint16_t channel_check(uint32_t index, uint32_t channel)
{
    if (!kest_wifi_channel_ok(channel))
        return KESTD_ERR_INVALID_CHANNEL;
    if (channel == 0)
        return KESTD_OK;
    const bool band_ok = index == 1 ? channel <= 14 : index == 2 ? channel >= 36 : false;
    return band_ok ? KESTD_OK : KESTD_ERR_INVALID_CHANNEL;
}

uint16_t auth_check(const kestd_iface &f)
{
    if (f.auth == 0)
        return KESTD_OK;
    if (f.auth == 1) {
        if (f.wep_default > kWepDefaultIndexRange.max)
            return KESTD_ERR_INVALID_VALUE;
        for (int k = 0; k < 4; ++k) {
            const size_t len = strnlen(f.wep_key[k], sizeof f.wep_key[k]);
            if ((len != 0 || k == f.wep_default) && !wep_key_ok(f.wep_key[k], len))
                return KESTD_ERR_INVALID_KEY;
        }
        return KESTD_OK;
    }
    if (f.auth > WIFI_AUTH_WPA_PSK_MAX || f.pairwise > kPairwiseRange.max)
        return KESTD_ERR_INVALID_VALUE;
    return wpa_password_ok(f.password, strnlen(f.password, sizeof f.password))
               ? KESTD_OK
               : KESTD_ERR_INVALID_KEY;
}

bool mac_ok(const uint8_t *mac)
{
    static constexpr uint8_t zero[6] = {};
    return (mac[0] & 1) == 0 && std::memcmp(mac, zero, 6) != 0;
}

bool u8_setting_ok(const u8_setting &s, uint8_t v)
{
    const kest_field &d = *s.desc;
    return d.kind == kest_kind::flag ? v <= 1 : v >= d.min && v <= d.max;
}

bool country_ok(const char *cc)
{
    return std::isalpha(static_cast<unsigned char>(cc[0])) &&
           std::isalpha(static_cast<unsigned char>(cc[1]));
}

} // namespace kestd_wifi

const char *kestd_wifi_config_problem(const kestd_config &cfg)
{
    if (cfg.work_mode > kWorkModeRange.max || cfg.wifi_enable > 1 || !country_ok(cfg.country_code))
        return "Wi-Fi global settings out of range";
    for (uint32_t i = 1; i <= kKestdWifiIfaces; ++i) {
        const kestd_iface &f = cfg.iface[i - 1];
        if (strnlen(f.ssid, sizeof f.ssid) == sizeof f.ssid ||
            f.format_type > kSsidFormatRange.max || f.active > 1)
            return "Wi-Fi interface SSID or activation damaged";
        for (const auto &key : f.wep_key)
            if (strnlen(key, sizeof key) == sizeof key)
                return "Wi-Fi WEP key not terminated";
        if (strnlen(f.password, sizeof f.password) == sizeof f.password ||
            auth_check(f) != KESTD_OK)
            return "Wi-Fi authentication damaged";
        if (channel_check(i, f.channel) != KESTD_OK)
            return "Wi-Fi channel not valid for its interface";
        for (const u8_setting &s : kU8Settings)
            if (!u8_setting_ok(s, f.*s.field))
                return "Wi-Fi radio setting out of range";
        if (f.acl_count > kKestdMacAclMax)
            return "Wi-Fi MAC access list damaged";
        for (uint32_t k = 0; k < f.acl_count; ++k)
            if (!mac_ok(f.acl[k]))
                return "Wi-Fi MAC access list holds an invalid address";
    }
    return nullptr;
}
