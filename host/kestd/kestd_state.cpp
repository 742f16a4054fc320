// Defaults of the module, the check of a whole configuration and the
// message table over all domains: what gathers the domains. What the domains
// call back (error names, dump lines) is in kestd_text.cpp.
#include <array>
#include <cstdio>

#include "kestd_msg.h"

void kestd_default_config(kestd_config &cfg)
{
    // Zero every byte, padding included: the configuration is stored as bytes.
    std::memset(&cfg, 0, sizeof cfg);
    kestd_default_wifi(cfg);
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

// One row per message id 0..kKestMsgIdMax, null where the id is no request.
std::array<const kestd_msg_row *, kKestMsgIdMax + 1> build_index()
{
    std::array<const kestd_msg_row *, kKestMsgIdMax + 1> index{};
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
