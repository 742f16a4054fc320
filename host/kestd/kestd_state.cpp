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
    for (const data_call_apn_params &p : kFactoryProfiles) {
        kestd_apn &a = cfg.apn[p.profile_type][p.profile_index];
        a.used = 1;
        a.pdp_type = p.pdp_type;
        a.auth_protocol = p.auth_protocol;
        std::snprintf(a.apn_name, sizeof a.apn_name, "%s", p.apn_name);
        std::snprintf(a.username, sizeof a.username, "%s", p.username);
        std::snprintf(a.password, sizeof a.password, "%s", p.password);
    }
    const auto number = [](const char *word) {
        return static_cast<uint8_t>(kest_factory_number(
            kest_field_at(MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_DEFAULT_PROFILE, word)));
    };
    cfg.default_id = number("profile");
    cfg.tech_pref = number("tech-pref");
    cfg.ip_family = number("ip-family");
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
