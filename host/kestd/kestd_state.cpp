// Defaults of the module, the check of a whole configuration, the message
// table over all domains and the names of the error codes.
#include <array>
#include <cstdarg>
#include <cstdio>

#include "kestd_msg.h"

void kestd_default_config(kestd_config &cfg)
{
    // Zero every byte, padding included: the configuration is stored as bytes.
    std::memset(&cfg, 0, sizeof cfg);
    cfg.work_mode = 0;
    cfg.wifi_enable = 1;
    std::memcpy(cfg.country_code, "US", 2);
    for (int i = 1; i <= KESTD_WIFI_IFACES; ++i)
        kestd_default_wifi_iface(cfg, i);
    kestd_apn &internet = cfg.apn[0][0];
    internet.used = 1;
    internet.pdp_type = 2;
    std::snprintf(internet.apn_name, sizeof internet.apn_name, "internet");
    cfg.default_id = 0;
    cfg.tech_pref = 0;
    cfg.ip_family = 2;
    kestd_default_network(cfg);
    kestd_default_usb(cfg.usb);
}

void kestd_reset_runtime(kestd_state &st)
{
    std::memset(&st.rt, 0, sizeof st.rt);
    st.rt.usb_pending = st.cfg.usb;
}

const char *kestd_config_problem(const kestd_config &cfg)
{
    if (const char *why = kestd_wifi_config_problem(cfg))
        return why;
    if (const char *why = kestd_data_call_config_problem(cfg))
        return why;
    if (const char *why = kestd_network_config_problem(cfg))
        return why;
    return kestd_usb_config_problem(cfg.usb);
}

namespace {

// One row per message id 0..KEST_MSG_ID_MAX, null where the id is no request.
std::array<const kestd_msg_row *, KEST_MSG_ID_MAX + 1> build_index()
{
    std::array<const kestd_msg_row *, KEST_MSG_ID_MAX + 1> index{};
    for (auto domain : {kestd_wifi_rows, kestd_data_call_rows, kestd_network_rows, kestd_usb_rows})
        for (const kestd_msg_row &row : domain())
            index[row.id] = &row;
    return index;
}

} // namespace

const kestd_msg_row *kestd_find_row(uint32_t id)
{
    static const auto index = build_index();
    return id < index.size() ? index[id] : nullptr;
}

const char *kestd_error_name(uint16_t code)
{
    switch (code) {
    case KESTD_OK: return "OK";
    case KESTD_ERR_STORAGE: return "STORAGE";
    case KESTD_ERR_INVALID_INTERFACE: return "INVALID_INTERFACE";
    case KESTD_ERR_INVALID_VALUE: return "INVALID_VALUE";
    case KESTD_ERR_INVALID_CHANNEL: return "INVALID_CHANNEL";
    case KESTD_ERR_INVALID_TEXT: return "INVALID_TEXT";
    case KESTD_ERR_INVALID_KEY: return "INVALID_KEY";
    case KESTD_ERR_INVALID_ADDRESS: return "INVALID_ADDRESS";
    case KESTD_ERR_LIST_FULL: return "LIST_FULL";
    case KESTD_ERR_DUPLICATE: return "DUPLICATE";
    case KESTD_ERR_NOT_FOUND: return "NOT_FOUND";
    case KESTD_ERR_UNKNOWN_PROFILE: return "UNKNOWN_PROFILE";
    case KESTD_ERR_NO_APN: return "NO_APN";
    case KESTD_ERR_IP_TYPE_MISMATCH: return "IP_TYPE_MISMATCH";
    case KESTD_ERR_CALL_ACTIVE: return "CALL_ACTIVE";
    case KESTD_ERR_CALL_INACTIVE: return "CALL_INACTIVE";
    case KESTD_ERR_PROFILE_IN_USE: return "PROFILE_IN_USE";
    case KESTD_ERR_INVALID_INSTANCE: return "INVALID_INSTANCE";
    case KESTD_ERR_WIFI_OFF: return "WIFI_OFF";
    case KESTD_ERR_ACL_DENIED: return "ACL_DENIED";
    default: return "INJECTED";
    }
}

void kestd_dump_line(std::string &out, const char *key, const char *fmt, ...)
{
    char value[1024];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(value, sizeof value, fmt, ap);
    va_end(ap);
    out += key;
    out += '=';
    out += value;
    out += '\n';
}
