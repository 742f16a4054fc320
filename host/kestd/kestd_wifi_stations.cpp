// Stations on the access points: the station changes that the control
// channel asks for, the ones a setting brings, and the dump of the Wi-Fi
// state with its stations.
#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "kestd_msg.h"
#include "kestd_wifi_internal.h"

using namespace kestd_wifi;

namespace {

int station_slot(const kestd_state &st, const uint8_t *mac)
{
    for (uint32_t i = 0; i < st.rt.sta_count; ++i)
        if (std::memcmp(st.rt.sta[i].mac, mac, 6) == 0)
            return static_cast<int>(i);
    return -1;
}

bool acl_admits(const kestd_iface &f, const uint8_t *mac)
{
    return f.acl_rule == 1 ? acl_lists(f, mac) : f.acl_rule == 2 ? !acl_lists(f, mac) : true;
}

bool ap_up(const kestd_state &st, uint32_t iface)
{
    return st.cfg.wifi_enable && iface >= 1 && iface < kKestdStaIface &&
           st.cfg.iface[iface - 1].active;
}

void mac_text(char (&buf)[18], const uint8_t *mac)
{
    std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
                  mac[4], mac[5]);
}

} // namespace

namespace kestd_wifi {

void remove_station(kestd_state &st, uint32_t slot)
{
    for (uint32_t i = slot; i + 1 < st.rt.sta_count; ++i)
        st.rt.sta[i] = st.rt.sta[i + 1];
    st.rt.sta[--st.rt.sta_count] = kestd_station{};
}

bool acl_lists(const kestd_iface &f, const uint8_t *mac)
{
    for (uint32_t i = 0; i < f.acl_count; ++i)
        if (std::memcmp(f.acl[i], mac, 6) == 0)
            return true;
    return false;
}

// Sends away every station that its access point no longer takes: Wi-Fi or
// the interface switched off, the MAC access rule keeps it out, or more
// stations than the interface's maximum (the newest leave first).
void enforce_stations(kestd_state &st)
{
    uint32_t kept[kKestdWifiIfaces + 1] = {};
    for (uint32_t i = 0; i < st.rt.sta_count;) {
        const kestd_station &s = st.rt.sta[i];
        const kestd_iface &f = st.cfg.iface[s.iface - 1];
        if (ap_up(st, s.iface) && acl_admits(f, s.mac) && kept[s.iface] < f.max_num_sta) {
            ++kept[s.iface];
            ++i;
        } else {
            remove_station(st, i);
        }
    }
    if (!st.cfg.wifi_enable || !st.cfg.iface[kKestdStaIface - 1].active)
        st.rt.sta_state = 0;
}

} // namespace kestd_wifi

uint16_t kestd_station_join(kestd_state &st, uint32_t iface, const uint8_t mac[6], const char *name)
{
    if (iface < 1 || iface >= kKestdStaIface)
        return KESTD_ERR_INVALID_INTERFACE;
    if (!ap_up(st, iface))
        return KESTD_ERR_WIFI_OFF;
    if (!mac_ok(mac))
        return KESTD_ERR_INVALID_ADDRESS;
    if (station_slot(st, mac) >= 0)
        return KESTD_ERR_DUPLICATE;
    uint32_t on_iface = 0;
    for (uint32_t i = 0; i < st.rt.sta_count; ++i)
        on_iface += st.rt.sta[i].iface == iface;
    if (st.rt.sta_count >= kKestdStationsMax || on_iface >= st.cfg.iface[iface - 1].max_num_sta)
        return KESTD_ERR_LIST_FULL;
    if (!acl_admits(st.cfg.iface[iface - 1], mac))
        return KESTD_ERR_ACL_DENIED;
    // The lowest DHCP address that no other station holds.
    // The whole field goes to clients, so no byte of it is left unset.
    char ip[16];
    for (uint32_t host = kestd_ipv4_host(st.cfg.lan.lan_word_c);; ++host) {
        std::memset(ip, 0, sizeof ip);
        kestd_ipv4_text(ip, htonl(host));
        bool taken = false;
        for (uint32_t i = 0; i < st.rt.sta_count; ++i)
            taken = taken || std::strcmp(st.rt.sta[i].ip, ip) == 0;
        if (!taken)
            break;
    }
    kestd_station &s = st.rt.sta[st.rt.sta_count++];
    s = kestd_station{};
    s.iface = iface;
    std::memcpy(s.mac, mac, 6);
    std::snprintf(s.name, sizeof s.name, "%s", name);
    s.rate_mbps = iface == 1 ? 144 : 866;
    std::memcpy(s.ip, ip, sizeof s.ip);
    return KESTD_OK;
}

uint16_t kestd_station_leave(kestd_state &st, const uint8_t mac[6])
{
    const int slot = station_slot(st, mac);
    if (slot < 0)
        return KESTD_ERR_NOT_FOUND;
    remove_station(st, static_cast<uint32_t>(slot));
    return KESTD_OK;
}

uint16_t kestd_station_status(kestd_state &st, uint8_t state, const char *ssid)
{
    if (state > 2)
        return KESTD_ERR_INVALID_VALUE;
    kestd_iface &f = st.cfg.iface[kKestdStaIface - 1];
    if (ssid) {
        const size_t len = std::strlen(ssid);
        if (len == 0 || len >= sizeof f.ssid)
            return KESTD_ERR_INVALID_TEXT;
        std::memset(f.ssid, 0, sizeof f.ssid);
        std::memcpy(f.ssid, ssid, len);
    }
    if (state != 0 && (!st.cfg.wifi_enable || !f.active))
        return KESTD_ERR_WIFI_OFF;
    st.rt.sta_state = state;
    return KESTD_OK;
}

void kestd_wifi_dump(const kestd_state &st, std::string &out)
{
    const kestd_config &cfg = st.cfg;
    kestd_dump_line(out, "wifi.work_mode", "%u", cfg.work_mode);
    kestd_dump_line(out, "wifi.enable", "%u", cfg.wifi_enable);
    kestd_dump_line(out, "wifi.country_code", "%s", kestd_dump_text(cfg.country_code).c_str());
    for (int i = 1; i <= kKestdWifiIfaces; ++i) {
        const kestd_iface &f = cfg.iface[i - 1];
        char key[32];
        std::snprintf(key, sizeof key, "wifi.%d.auth", i);
        kestd_dump_line(
            out, key,
            "ssid %s format %u active %u auth %u wep_default %u pairwise %u password %s "
            "group_rekey %u",
            kestd_dump_text(f.ssid).c_str(), f.format_type, f.active, f.auth, f.wep_default,
            f.pairwise, kestd_dump_text(f.password).c_str(), f.group_rekey);
        std::snprintf(key, sizeof key, "wifi.%d.radio", i);
        std::string switches;
        for (const u8_setting &s : kU8Settings)
            if (s.desc->kind == kest_kind::flag)
                switches += std::string(" ") + s.name + " " + std::to_string(f.*s.field);
        kestd_dump_line(out, key, "channel %u mode %u bandwidth %u max_num_sta %u rssi %u%s",
                        f.channel, f.mode, f.bandwidth, f.max_num_sta, f.rssi, switches.c_str());
        std::string acl;
        for (uint32_t k = 0; k < f.acl_count; ++k) {
            char mac[18];
            mac_text(mac, f.acl[k]);
            acl += std::string(" ") + mac;
        }
        std::snprintf(key, sizeof key, "wifi.%d.acl", i);
        kestd_dump_line(out, key, "acl_rule %u acl_count %u%s", f.acl_rule, f.acl_count,
                        acl.c_str());
    }
    kestd_dump_line(out, "wifi.station", "state %u ssid %s", st.rt.sta_state,
                    kestd_dump_text(cfg.iface[kKestdStaIface - 1].ssid).c_str());
    kestd_dump_line(out, "wifi.stations", "%u", st.rt.sta_count);
    for (uint32_t i = 0; i < st.rt.sta_count; ++i) {
        const kestd_station &s = st.rt.sta[i];
        char mac[18];
        mac_text(mac, s.mac);
        kestd_dump_line(out, "wifi.sta", "iface %u mac %s name %s ip %s rate %u", s.iface, mac,
                        kestd_dump_text(s.name).c_str(), s.ip, s.rate_mbps);
    }
}
