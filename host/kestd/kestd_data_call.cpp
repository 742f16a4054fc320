// Data-call messages 40 to 50: APN profiles per profile type, the default
// profile and the data calls. Data calls and the default profile use the
// profiles of type 0; a call has an IPv4 and an IPv6 half, brought up and
// down on their own.
#include <cstdio>

#include "kestd_msg.h"

namespace {

constexpr uint32_t kCallProfileType = 0;
// Reason codes of the status indication.
constexpr uint32_t kReasonNone = 0;
constexpr uint32_t kReasonClientDown = 1;

bool pdp_or_auth_ok(uint8_t v)
{
    return kest_pdp_ok(v);
}

// An ip_type of the requests: 0 IPv4, 1 IPv6, 2 both.
bool family_wanted(uint8_t ip_type, int family)
{
    return ip_type == 2 || ip_type == family;
}

// PDP type 0 offers IPv4 only, 1 IPv6 only; 2 (IPv4v6), 3 and 255 offer both.
bool pdp_offers(uint8_t pdp_type, uint8_t ip_type)
{
    if (pdp_type == 0)
        return ip_type == 0;
    if (pdp_type == 1)
        return ip_type == 1;
    return true;
}

const kestd_apn *call_profile(const kestd_state &st, uint32_t profile)
{
    const kestd_apn &apn = st.cfg.apn[kCallProfileType][profile];
    return apn.used ? &apn : nullptr;
}

// The texts of a profile as the add and set requests carry them; each must
// end within its field.
template <class Req>
uint16_t take_profile(kestd_apn &apn, const Req &req)
{
    if (!pdp_or_auth_ok(req.pdp_type) || !pdp_or_auth_ok(req.auth_protocol))
        return KESTD_ERR_INVALID_VALUE;
    kestd_apn next{};
    next.used = 1;
    next.pdp_type = req.pdp_type;
    next.auth_protocol = req.auth_protocol;
    if (!kestd_take_text(next.apn_name, req.apn_name) ||
        !kestd_take_text(next.username, req.username) ||
        !kestd_take_text(next.password, req.password))
        return KESTD_ERR_INVALID_TEXT;
    apn = next;
    return KESTD_OK;
}

void call_addresses(kestd_call &c, uint32_t profile, int family, uint32_t serial)
{
    if (family == 0) {
        std::snprintf(c.address[0], sizeof c.address[0], "10.64.%u.%u", profile, 2 + serial % 250);
        std::snprintf(c.address[1], sizeof c.address[1], "10.64.%u.1", profile);
        std::snprintf(c.address[2], sizeof c.address[2], "8.8.8.8");
        std::snprintf(c.address[3], sizeof c.address[3], "8.8.4.4");
    } else {
        std::snprintf(c.address[0], sizeof c.address[0], "2001:db8:40:%x::%x", profile,
                      2 + serial % 0xfff0);
        std::snprintf(c.address[1], sizeof c.address[1], "2001:db8:40:%x::1", profile);
        std::snprintf(c.address[2], sizeof c.address[2], "2001:4860:4860::8888");
        std::snprintf(c.address[3], sizeof c.address[3], "2001:4860:4860::8844");
    }
}

uint16_t up_set(kestd_ctx &ctx, const data_call_up_set_req &req, data_call_up_set_resp &)
{
    if (req.profile_id >= kKestdProfiles || req.ip_type > kIpTypeRange.max)
        return KESTD_ERR_INVALID_VALUE;
    const kestd_apn *profile = call_profile(ctx.st, req.profile_id);
    if (!profile)
        return KESTD_ERR_UNKNOWN_PROFILE;
    char apn_name[151];
    if (!kestd_take_text(apn_name, req.apn_name))
        return KESTD_ERR_INVALID_TEXT;
    if (apn_name[0] == 0 && profile->apn_name[0] == 0)
        return KESTD_ERR_NO_APN;
    if (!pdp_offers(profile->pdp_type, req.ip_type))
        return KESTD_ERR_IP_TYPE_MISMATCH;
    kestd_call(&calls)[kKestdFamilies] = ctx.st.rt.call[req.profile_id];
    bool any = false;
    for (int fam = 0; fam < kKestdFamilies; ++fam) {
        if (!family_wanted(req.ip_type, fam) || calls[fam].up)
            continue;
        kestd_call &c = calls[fam];
        c = kestd_call{};
        c.up = 1;
        c.reconnect = req.reconnect;
        c.reason = kReasonNone;
        c.serial = ++ctx.st.rt.call_serial;
        call_addresses(c, req.profile_id, fam, c.serial);
        any = true;
    }
    return any ? KESTD_OK : KESTD_ERR_CALL_ACTIVE;
}

uint16_t down_set(kestd_ctx &ctx, const data_call_down_set_req &req, data_call_down_set_resp &)
{
    if (req.profile_id >= kKestdProfiles || req.ip_type > kIpTypeRange.max)
        return KESTD_ERR_INVALID_VALUE;
    bool any = false;
    for (int fam = 0; fam < kKestdFamilies; ++fam) {
        kestd_call &c = ctx.st.rt.call[req.profile_id][fam];
        if (!family_wanted(req.ip_type, fam) || !c.up)
            continue;
        const uint32_t serial = c.serial;
        c = kestd_call{};
        c.serial = serial;
        c.reason = kReasonClientDown;
        any = true;
    }
    return any ? KESTD_OK : KESTD_ERR_CALL_INACTIVE;
}

// Any profile in range can be asked: a call that is not up reads as
// disconnected, with no name and no addresses.
uint16_t info_get(kestd_ctx &ctx, const data_call_info_get_req &req, data_call_info_get_resp &resp)
{
    if (req.profile_id >= kKestdProfiles || req.family >= kKestdFamilies)
        return KESTD_ERR_INVALID_VALUE;
    const kestd_call &c = ctx.st.rt.call[req.profile_id][req.family];
    resp.unused0 = req.profile_id;
    resp.unused1 = req.family;
    resp.call_status = c.up;
    if (!c.up)
        return KESTD_OK;
    resp.flag = c.reconnect != 0;
    std::snprintf(resp.name, sizeof resp.name, "rmnet_data%u", req.profile_id);
    for (int a = 0; a < 4; ++a)
        kestd_put_text(resp.address_text[a], c.address[a]);
    return KESTD_OK;
}

// The stored profile that a set, get or delete names.
uint16_t find_profile(kestd_ctx &ctx, uint8_t type, uint8_t index, kestd_apn *&apn)
{
    if (type >= kKestdProfileTypes || index >= kKestdProfiles)
        return KESTD_ERR_INVALID_VALUE;
    apn = &ctx.st.cfg.apn[type][index];
    return apn->used ? KESTD_OK : KESTD_ERR_UNKNOWN_PROFILE;
}

uint16_t apn_set(kestd_ctx &ctx, const data_call_apn_set_req &req, data_call_apn_set_resp &)
{
    kestd_apn *apn = nullptr;
    const uint16_t err = find_profile(ctx, req.profile_type, req.profile_index, apn);
    return err != KESTD_OK ? err : take_profile(*apn, req);
}

uint16_t apn_get(kestd_ctx &ctx, const data_call_apn_get_req &req, data_call_apn_get_resp &resp)
{
    kestd_apn *found = nullptr;
    if (const uint16_t err = find_profile(ctx, req.profile_type, req.profile_index, found);
        err != KESTD_OK)
        return err;
    const kestd_apn &apn = *found;
    resp.unused0[0] = req.profile_type;
    resp.unused0[1] = req.profile_index;
    resp.pdp_type = apn.pdp_type;
    resp.auth_protocol = apn.auth_protocol;
    kestd_put_text(resp.apn_name, apn.apn_name);
    kestd_put_text(resp.username, apn.username);
    kestd_put_text(resp.password, apn.password);
    return KESTD_OK;
}

uint16_t apn_list(kestd_ctx &ctx, const data_call_get_apn_list_get_req &req,
                  data_call_get_apn_list_get_resp &resp)
{
    if (req.profile_type >= kKestdProfileTypes)
        return KESTD_ERR_INVALID_VALUE;
    for (uint8_t i = 0; i < kKestdProfiles; ++i)
        if (ctx.st.cfg.apn[req.profile_type][i].used)
            resp.index_list[resp.length++] = i;
    return KESTD_OK;
}

uint16_t apn_del(kestd_ctx &ctx, const data_call_apn_del_set_req &req, data_call_apn_del_set_resp &)
{
    kestd_apn *apn = nullptr;
    if (const uint16_t err = find_profile(ctx, req.profile_type, req.profile_index, apn);
        err != KESTD_OK)
        return err;
    if (req.profile_type == kCallProfileType) {
        const kestd_call(&calls)[kKestdFamilies] = ctx.st.rt.call[req.profile_index];
        if (calls[0].up || calls[1].up || ctx.st.cfg.default_id == req.profile_index)
            return KESTD_ERR_PROFILE_IN_USE;
    }
    *apn = kestd_apn{};
    return KESTD_OK;
}

uint16_t apn_add(kestd_ctx &ctx, const data_call_apn_add_set_req &req,
                 data_call_apn_add_set_resp &resp)
{
    if (req.profile_type >= kKestdProfileTypes)
        return KESTD_ERR_INVALID_VALUE;
    for (uint8_t i = 0; i < kKestdProfiles; ++i) {
        kestd_apn &apn = ctx.st.cfg.apn[req.profile_type][i];
        if (apn.used)
            continue;
        if (const uint16_t err = take_profile(apn, req); err != KESTD_OK)
            return err;
        resp.profile_index = i;
        return KESTD_OK;
    }
    return KESTD_ERR_LIST_FULL;
}

uint16_t default_profile_set(kestd_ctx &ctx, const data_call_default_profile_set_req &req,
                             data_call_default_profile_set_resp &)
{
    if (req.default_id >= kKestdProfiles || req.tech_pref > kTechPrefRange.max ||
        req.ip_family > kIpFamilyRange.max)
        return KESTD_ERR_INVALID_VALUE;
    if (!call_profile(ctx.st, req.default_id))
        return KESTD_ERR_UNKNOWN_PROFILE;
    ctx.st.cfg.default_id = req.default_id;
    ctx.st.cfg.tech_pref = req.tech_pref;
    ctx.st.cfg.ip_family = req.ip_family;
    return KESTD_OK;
}

uint16_t default_profile_get(kestd_ctx &ctx, const kestd_no_req &,
                             data_call_default_profile_get_resp &resp)
{
    resp.default_id = ctx.st.cfg.default_id;
    resp.tech_pref = ctx.st.cfg.tech_pref;
    resp.ip_family = ctx.st.cfg.ip_family;
    return KESTD_OK;
}

constexpr kestd_msg_row rows[] = {
    KESTD_ROW(KEST_DATA_CALL_UP_SET, up_set),
    KESTD_ROW(KEST_DATA_CALL_DOWN_SET, down_set),
    KESTD_ROW(KEST_DATA_CALL_INFO_GET, info_get),
    KESTD_ROW(KEST_DATA_CALL_APN_SET, apn_set),
    KESTD_ROW(KEST_DATA_CALL_APN_GET, apn_get),
    KESTD_ROW(KEST_DATA_CALL_GET_APN_LIST_GET, apn_list),
    KESTD_ROW(KEST_DATA_CALL_APN_DEL_SET, apn_del),
    KESTD_ROW(KEST_DATA_CALL_APN_ADD_SET, apn_add),
    KESTD_ROW(KEST_DATA_CALL_DEFAULT_PROFILE_SET, default_profile_set),
    KESTD_ROW(KEST_DATA_CALL_DEFAULT_PROFILE_GET, default_profile_get),
};

} // namespace

std::span<const kestd_msg_row> kestd_data_call_rows()
{
    return rows;
}

const char *kestd_data_call_config_problem(const kestd_config &cfg)
{
    for (const auto &type : cfg.apn)
        for (const kestd_apn &apn : type) {
            if (apn.used > 1 || !pdp_or_auth_ok(apn.pdp_type) || !pdp_or_auth_ok(apn.auth_protocol))
                return "APN profile out of range";
            if (strnlen(apn.apn_name, sizeof apn.apn_name) == sizeof apn.apn_name ||
                strnlen(apn.username, sizeof apn.username) == sizeof apn.username ||
                strnlen(apn.password, sizeof apn.password) == sizeof apn.password)
                return "APN profile text not terminated";
        }
    if (cfg.default_id >= kKestdProfiles || cfg.tech_pref > kTechPrefRange.max ||
        cfg.ip_family > kIpFamilyRange.max || !cfg.apn[kCallProfileType][cfg.default_id].used)
        return "default profile damaged";
    return nullptr;
}

void kestd_data_call_dump(const kestd_state &st, std::string &out)
{
    for (int t = 0; t < kKestdProfileTypes; ++t)
        for (int i = 0; i < kKestdProfiles; ++i) {
            const kestd_apn &apn = st.cfg.apn[t][i];
            if (!apn.used)
                continue;
            char key[32];
            std::snprintf(key, sizeof key, "apn.%d.%d", t, i);
            kestd_dump_line(out, key, "pdp %u auth %u apn %s user %s password %s", apn.pdp_type,
                            apn.auth_protocol, kestd_dump_text(apn.apn_name).c_str(),
                            kestd_dump_text(apn.username).c_str(),
                            kestd_dump_text(apn.password).c_str());
        }
    kestd_dump_line(out, "default_profile", "id %u tech_pref %u ip_family %u", st.cfg.default_id,
                    st.cfg.tech_pref, st.cfg.ip_family);
    for (int p = 0; p < kKestdProfiles; ++p)
        for (int fam = 0; fam < kKestdFamilies; ++fam) {
            const kestd_call &c = st.rt.call[p][fam];
            if (!c.up)
                continue;
            char key[32];
            std::snprintf(key, sizeof key, "call.%d.%s", p, fam == 0 ? "ipv4" : "ipv6");
            kestd_dump_line(out, key, "up address %s gateway %s dns %s %s", c.address[0],
                            c.address[1], c.address[2], c.address[3]);
        }
}

// The indication of one half of a call, as it stands now.
data_call_status_ind kestd_call_indication(const kestd_state &st, uint32_t profile, int family)
{
    const kestd_call &c = st.rt.call[profile][family];
    data_call_status_ind ind{};
    ind.index = static_cast<uint8_t>(profile);
    ind.ip_family = static_cast<uint8_t>(family);
    ind.state = c.up;
    ind.reason_code = c.reason;
    if (c.up) {
        std::snprintf(ind.name, sizeof ind.name, "rmnet_data%u", profile);
        for (int a = 0; a < 4; ++a)
            kestd_put_text(ind.address_text[a], c.address[a]);
    }
    return ind;
}
