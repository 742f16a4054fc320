// Defaults of the module, the check of a whole configuration, the message
// table over all domains and the names of the error codes.
#include <array>
#include <cstdarg>
#include <cstdio>

#include "kestd_msg.h"
#include "vg_mgmt_output_escape.h"

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
    if (code == KESTD_OK)
        return "OK";
    const kest_error_row *row = kest_error_find(code);
    return row != nullptr ? row->name : "INJECTED";
}

void kestd_dump_line(std::string &out, const char *key, const char *fmt, ...)
{
    char value[1024];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(value, sizeof value, fmt, ap);
    va_end(ap);
    // A value may hold anything a client set: escaped, it cannot forge a line
    // of the dump nor drive the terminal that shows it.
    out += key;
    out += '=';
    out += vgm::escape_text(value);
    out += '\n';
}
