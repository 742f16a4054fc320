// Data-call domain: dispatcher, handlers and the decoder of the data-call
// status indication.

#include <arpa/inet.h>
#include <cstring>
#include <iterator>

#include "vg_mgmt_core.h"

namespace {
constexpr char kVgLogFile[] = "vg_mgmt_data_call";

int32_t data_call_null_params(const vg_site &site)
{
    VG_LOG_AT(site, 1, "the data call params is null");
    return vg_fail(MGMT_ERR_INVALID);
}

// Up, down and info answer with a result that the service may leave set on a
// call that did go through; for those only error tells.
// clang-format off
#define KEST_CALL_BY_ERROR(id, label)                                                              \
    kest_call{id, VG_TRANSPORT(label), kKestTimeoutMs, vg_judge::error}
// clang-format on

// The profile and IP type test that up, down and info share.
bool data_call_profile_ok(const vg_site &site, uint8_t profile_id, uint32_t ip_type)
{
    if (profile_id <= DATA_CALL_PROFILE_MAX && ip_type <= kIpTypeRange.max)
        return true;
    VG_LOG_AT(site, 1, "Invalid profile id %d, ip type %d", profile_id, ip_type);
    vg_fail(MGMT_ERR_INVALID);
    return false;
}

// A text of the value record going out: one without a terminator in its
// field is cut by a byte, so the request's field always ends in one.
template <size_t N>
void data_call_put_text(char (&dst)[N], const char (&src)[N])
{
    vg_copy_text(dst, src, N - 1);
    dst[N - 1] = '\0';
}

// APN name and credentials, from a value record to a request, in whichever
// of the layouts the request has.
template <class Req, class Params>
void data_call_put_credentials(Req &req, const Params &p)
{
    data_call_put_text(req.apn_name, p.apn_name);
    data_call_put_text(req.username, p.username);
    data_call_put_text(req.password, p.password);
}

// ---------------------------------------------------------------------------
// Up and down

int32_t data_call_up_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const data_call_up_params *>(value);
    if (p == nullptr)
        return data_call_null_params(VG_SITE);
    if (!data_call_profile_ok(VG_SITE, p->profile_id, p->ip_type))
        return -1;
    data_call_up_set_req req{};
    req.profile_id = p->profile_id;
    req.ip_type = static_cast<uint8_t>(p->ip_type);
    req.reconnect = p->reconnect;
    data_call_put_credentials(req, *p);
    VG_LOG(4, "data_call up: profile id %d, ip type %d, reconnect %d", req.profile_id, req.ip_type,
           req.reconnect);
    data_call_up_set_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL_BY_ERROR(KEST_DATA_CALL_UP_SET, "set data_call up"),
                     req, resp)) {
        VG_LOG(1,
               "Can not set data_call up(profile id %d, ip type %d, reconnect %d apn name %s "
               "username %s password %s): error %d",
               req.profile_id, req.ip_type, req.reconnect, req.apn_name, req.username, req.password,
               resp.error);
        return -1;
    }
    VG_LOG(3,
           "set data_call up (profile id %d, ip type %d, reconnect %d apn name %s username %s "
           "password %s) success",
           req.profile_id, req.ip_type, req.reconnect, req.apn_name, req.username, req.password);
    return 0;
}

int32_t data_call_down_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const data_call_down_params *>(value);
    if (p == nullptr)
        return data_call_null_params(VG_SITE);
    if (!data_call_profile_ok(VG_SITE, p->profile_id, p->ip_type))
        return -1;
    const data_call_down_set_req req{p->profile_id, static_cast<uint8_t>(p->ip_type)};
    VG_LOG(4, "data_call down: profile id %d, ip type %d", req.profile_id, req.ip_type);
    data_call_down_set_resp resp;
    if (!vg_exchange(VG_SITE, handle,
                     KEST_CALL_BY_ERROR(KEST_DATA_CALL_DOWN_SET, "set data_call down"), req,
                     resp)) {
        VG_LOG(1, "Can not set data_call down(profile id %d): error %d", req.profile_id,
               resp.error);
        return -1;
    }
    VG_LOG(3, "set data_call down(profile id %d) success", req.profile_id);
    return 0;
}

// ---------------------------------------------------------------------------
// Call information

// The service reports addresses as text; each family is stored as its own
// kind of number. A text that is no address gives inet_addr's all ones, and
// leaves an IPv6 slot as it was.
void data_call_put_address(uint32_t &dst, const char *text)
{
    dst = inet_addr(text);
}
void data_call_put_address(uint8_t (&dst)[16], const char *text)
{
    inet_pton(AF_INET6, text, dst);
}

// One exchange for one family, copied into that family's group.
template <class Info>
bool data_call_info_pass(const vg_site &site, mgmt_client *handle, uint8_t profile_id,
                         uint8_t family, Info &out)
{
    const data_call_info_get_req req{profile_id, family};
    data_call_info_get_resp resp;
    if (!vg_exchange(site, handle,
                     KEST_CALL_BY_ERROR(KEST_DATA_CALL_INFO_GET, "get data_call info"), req,
                     resp)) {
        VG_LOG_AT(site, 1, "Can not get data_call info(profile id %d): error %d", profile_id,
                  resp.status.error);
        return false;
    }
    data_call_put_text(out.name, resp.name);
    out.status = resp.call_status;
    out.flag = vg_flag(resp.flag);
    for (size_t i = 0; i < std::size(resp.address_text); ++i)
        data_call_put_address(out.address[i], vg_field_text(resp.address_text[i]).s);
    out.stat_1 = resp.stat_1;
    out.stat_2 = resp.stat_2;
    out.stat_3 = resp.stat_3;
    out.stat_4 = resp.stat_4;
    out.stat_5 = resp.stat_5;
    out.stat_6 = resp.stat_6;
    return true;
}

int32_t data_call_info_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<data_call_info_params *>(value);
    if (p == nullptr)
        return data_call_null_params(VG_SITE);
    if (!data_call_profile_ok(VG_SITE, p->profile_id, p->ip_type))
        return -1;
    VG_LOG(4, "data_call get info: profile id %d", p->profile_id);
    // With both families a failed IPv6 pass keeps what the IPv4 pass wrote.
    if (p->ip_type != DATA_CALL_IP_V6 &&
        !data_call_info_pass(VG_SITE, handle, p->profile_id, DATA_CALL_IP_V4, p->ipv4))
        return -1;
    if (p->ip_type != DATA_CALL_IP_V4 &&
        !data_call_info_pass(VG_SITE, handle, p->profile_id, DATA_CALL_IP_V6, p->ipv6))
        return -1;
    VG_LOG(3, "get data_call info(profile id %d) success", p->profile_id);
    return 0;
}

// ---------------------------------------------------------------------------
// APN profiles

constexpr bool data_call_pdp_auth_ok(uint8_t v)
{
    return kest_pdp_ok(v);
}

constexpr bool data_call_profile_type_ok(uint8_t t)
{
    return t <= kProfileTypeRange.max;
}

constexpr bool data_call_profile_index_ok(uint8_t i)
{
    return i <= DATA_CALL_PROFILE_MAX;
}

// The profile data that add and set share; set's layout also has the index.
template <class Req>
void data_call_put_profile(Req &req, const data_call_apn_params &p)
{
    req.profile_type = p.profile_type;
    req.pdp_type = p.pdp_type;
    req.auth_protocol = p.auth_protocol;
    data_call_put_credentials(req, p);
}

int32_t data_call_apn_add_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<data_call_apn_params *>(value);
    if (p == nullptr)
        return data_call_null_params(VG_SITE);
    if (!data_call_profile_type_ok(p->profile_type) || !data_call_pdp_auth_ok(p->pdp_type) ||
        !data_call_pdp_auth_ok(p->auth_protocol)) {
        VG_LOG(1, "add apn failure: invalid profile type %d, pdp type %d, auth protocol %d",
               p->profile_type, p->pdp_type, p->auth_protocol);
        return vg_fail(MGMT_ERR_INVALID);
    }
    data_call_apn_add_set_req req{};
    data_call_put_profile(req, *p);
    VG_LOG(4,
           "add apn : profile type %d, pdp type %d, protocol %d apn name %s username %s "
           "password %s",
           req.profile_type, req.pdp_type, req.auth_protocol, req.apn_name, req.username,
           req.password);
    data_call_apn_add_set_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_DATA_CALL_APN_ADD_SET, "add data_call apn"),
                     req, resp)) {
        VG_LOG(1, "Can not add data_call apn(profile type %d): error %d", req.profile_type,
               resp.status.error);
        return -1;
    }
    // The service chooses the index; the caller learns it here.
    p->profile_index = resp.profile_index;
    VG_LOG(4, "add apn : profile index %d, profile type %d success", p->profile_index,
           p->profile_type);
    return 0;
}

int32_t data_call_apn_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const data_call_apn_params *>(value);
    if (p == nullptr)
        return data_call_null_params(VG_SITE);
    if (!data_call_profile_type_ok(p->profile_type) ||
        !data_call_profile_index_ok(p->profile_index) || !data_call_pdp_auth_ok(p->pdp_type) ||
        !data_call_pdp_auth_ok(p->auth_protocol)) {
        VG_LOG(1,
               "set apn failure: invalid profile type %d, profile index %d, pdp type %d, auth "
               "protocol %d",
               p->profile_type, p->profile_index, p->pdp_type, p->auth_protocol);
        return vg_fail(MGMT_ERR_INVALID);
    }
    data_call_apn_set_req req{};
    data_call_put_profile(req, *p);
    req.profile_index = p->profile_index;
    VG_LOG(4, "set apn : profile id %d, profile type %d", req.profile_index, req.profile_type);
    data_call_apn_set_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_DATA_CALL_APN_SET, "set data_call apn"), req,
                     resp)) {
        VG_LOG(1, "Can not set data_call apn(profile index %d): error %d", req.profile_index,
               resp.error);
        return -1;
    }
    VG_LOG(4, "set apn : profile index %d, profile type %d success", req.profile_index,
           req.profile_type);
    return 0;
}

// Get and delete name a profile by type and index and test both alike.
bool data_call_apn_selector_ok(const vg_site &site, const data_call_apn_params &p, vg_fmt refusal)
{
    if (data_call_profile_type_ok(p.profile_type) && data_call_profile_index_ok(p.profile_index))
        return true;
    vg_log_fmt(site, __LINE__, 1, refusal, p.profile_type, p.profile_index);
    vg_fail(MGMT_ERR_INVALID);
    return false;
}

// A text of the answer coming in: an empty one leaves the caller's text, and
// one without a terminator in its field is cut to fit with one.
template <size_t N>
void data_call_take_text(char (&dst)[N], const char (&src)[N])
{
    if (src[0] != '\0')
        data_call_put_text(dst, src);
}

int32_t data_call_apn_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<data_call_apn_params *>(value);
    if (p == nullptr)
        return data_call_null_params(VG_SITE);
    if (!data_call_apn_selector_ok(
            VG_SITE, *p,
            VG_FMT("get apn failure: invalid profile type %d, profile index %d", "dd")))
        return -1;
    const data_call_apn_get_req req{p->profile_type, p->profile_index};
    VG_LOG(4, "get apn : profile id %d, profile type %d", req.profile_index, req.profile_type);
    data_call_apn_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_DATA_CALL_APN_GET, "get data_call apn"), req,
                     resp)) {
        VG_LOG(1, "Can not get data_call apn(profile index %d): error %d", req.profile_index,
               resp.status.error);
        return -1;
    }
    p->pdp_type = resp.pdp_type;
    p->auth_protocol = resp.auth_protocol;
    data_call_take_text(p->apn_name, resp.apn_name);
    data_call_take_text(p->username, resp.username);
    data_call_take_text(p->password, resp.password);
    // A text the caller kept need not be terminated.
    VG_LOG(4,
           "get apn profile index %d profile type %d pdp type %d auth protocol %d apn name %s "
           "username %s passwd %s",
           p->profile_index, p->profile_type, p->pdp_type, p->auth_protocol,
           vg_field_text(p->apn_name).s, vg_field_text(p->username).s,
           vg_field_text(p->password).s);
    return 0;
}

int32_t data_call_apn_del_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const data_call_apn_params *>(value);
    if (p == nullptr)
        return data_call_null_params(VG_SITE);
    if (!data_call_apn_selector_ok(
            VG_SITE, *p,
            VG_FMT("delete apn failure: invalid profile type %d, profile index %d", "dd")))
        return -1;
    const data_call_apn_del_set_req req{p->profile_type, p->profile_index};
    VG_LOG(4, "delete apn : profile id %d, profile type %d", req.profile_index, req.profile_type);
    data_call_apn_del_set_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_DATA_CALL_APN_DEL_SET, "delete data call apn"),
                     req, resp)) {
        VG_LOG(1, "Can not delete data_call apn(profile index %d): error %d", req.profile_index,
               resp.error);
        return -1;
    }
    VG_LOG(4, "Delete data call apn profile index %d successed.", req.profile_index);
    return 0;
}

int32_t data_call_get_apn_list_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<data_call_apn_list_params *>(value);
    if (p == nullptr)
        return data_call_null_params(VG_SITE);
    if (!data_call_profile_type_ok(p->profile_type)) {
        VG_LOG(1, "get apn list failure: invalid profile type %d", p->profile_type);
        return vg_fail(MGMT_ERR_INVALID);
    }
    const data_call_get_apn_list_get_req req{p->profile_type};
    VG_LOG(4, "get apn list profile type %d", req.profile_type);
    // The transport line names the profile type too, so it is not the common one.
    data_call_get_apn_list_get_resp resp;
    const int rc = vg_send(handle, KEST_DATA_CALL_GET_APN_LIST_GET, &req, sizeof req, &resp,
                           sizeof resp, kKestTimeoutMs);
    VG_LOG(4,
           "qmi_client_send_msg_sync(get data call apn list profile type %d): "
           "error %d result %d",
           req.profile_type, rc, resp.status.result);
    if (!vg_judged_ok(rc, &resp, vg_judge::result)) {
        VG_LOG(1, "Can not get data call apn list profile type %d: error %d", req.profile_type,
               resp.status.error);
        return -1;
    }
    // One byte of length always fits the 255 bytes of index_list.
    static_assert(sizeof p->index_list >= UINT8_MAX);
    p->length = resp.length;
    if (resp.length != 0)
        memcpy(p->index_list, resp.index_list, resp.length);
    VG_LOG(4, "get apn profile index list length %d", p->length);
    return 0;
}

// ---------------------------------------------------------------------------
// Default profile

int32_t data_call_default_profile_set(mgmt_client *handle, void *value)
{
    auto *p = static_cast<const data_call_default_profile_params *>(value);
    if (p == nullptr)
        return data_call_null_params(VG_SITE);
    if (p->default_id > DATA_CALL_PROFILE_MAX || p->tech_pref > kTechPrefRange.max ||
        p->ip_family > kIpFamilyRange.max) {
        VG_LOG(1, "Invalid profile id %d, tech pref %d ip type %d", p->default_id, p->tech_pref,
               p->ip_family);
        return vg_fail(MGMT_ERR_INVALID);
    }
    const data_call_default_profile_set_req req{p->default_id, static_cast<uint8_t>(p->tech_pref),
                                                static_cast<uint8_t>(p->ip_family)};
    VG_LOG(4, "set default profile: qcmap default id %d, tech pref %d, ip family %d",
           req.default_id, req.tech_pref, req.ip_family);
    data_call_default_profile_set_resp resp;
    if (!vg_exchange(VG_SITE, handle,
                     KEST_CALL(KEST_DATA_CALL_DEFAULT_PROFILE_SET, "set default profile"), req,
                     resp)) {
        VG_LOG(1, "Can not set default profile: error %d", resp.error);
        return -1;
    }
    VG_LOG(4, "Set default profile index %d successed.", req.default_id);
    return 0;
}

int32_t data_call_default_profile_get(mgmt_client *handle, void *value)
{
    auto *p = static_cast<data_call_default_profile_params *>(value);
    if (p == nullptr)
        return data_call_null_params(VG_SITE);
    VG_LOG(4, "get default profile");
    data_call_default_profile_get_resp resp;
    if (!vg_exchange(VG_SITE, handle,
                     KEST_CALL(KEST_DATA_CALL_DEFAULT_PROFILE_GET, "get default profile"), resp)) {
        VG_LOG(1, "Can not get default profile: error %d", resp.status.error);
        return -1;
    }
    p->default_id = resp.default_id;
    p->tech_pref = resp.tech_pref;
    p->ip_family = resp.ip_family;
    VG_LOG(4, "get default profile: qcmap default id %d, tech pref %d, ip family %d", p->default_id,
           p->tech_pref, p->ip_family);
    return 0;
}

// ---------------------------------------------------------------------------
// Dispatch

constexpr mgmt_command_row kDataCallCommandTable[] = {
    {DATA_CALL_CMD_UP, data_call_up_set, nullptr},
    {DATA_CALL_CMD_DOWN, data_call_down_set, nullptr},
    {DATA_CALL_CMD_INFO, nullptr, data_call_info_get},
    {DATA_CALL_CMD_APN, data_call_apn_set, data_call_apn_get},
    {DATA_CALL_CMD_APN_LIST, nullptr, data_call_get_apn_list_get},
    {DATA_CALL_CMD_APN_DEL, data_call_apn_del_set, nullptr},
    {DATA_CALL_CMD_APN_ADD, data_call_apn_add_set, nullptr},
    {DATA_CALL_CMD_DEFAULT_PROFILE, data_call_default_profile_set, data_call_default_profile_get},
};
static_assert(vg_rows_described(kDataCallCommandTable, kDataCallCommands),
              "the table has a handler for every described direction and no other");

constexpr uint8_t kStateConnected = 1;
} // namespace

extern "C" int32_t data_call_command_handle(mgmt_client *handle, uint32_t flag, uint32_t command_id,
                                            void *value)
{
    static constexpr vg_row_index kIndex = vg_index_rows(kDataCallCommandTable);
    static constexpr vg_dispatcher kDispatcher{
        VG_SITE,
        kDataCallCommandTable,
        std::size(kDataCallCommandTable),
        &kIndex,
        VG_FMT("cannot found %d Data Call command", "d"),
        VG_FMT("found Data Call command %d, command flag %d", "dd"),
        true,
    };
    return vg_dispatch(kDispatcher, handle, flag, command_id, value);
}

extern "C" void data_call_status_event_ind_msg(qmi_client_type user_handle, void *ind_buf,
                                               uint32_t ind_buf_len, void *ind_cb_data)
{
    const auto *mc = static_cast<const mgmt_client *>(ind_cb_data);
    data_call_status_ind ind{};
    data_call_status_event event{};
    const int rc =
        qmi_client_message_decode(user_handle, kKestMsgKindInd, KEST_DATA_CALL_STATUS_IND, ind_buf,
                                  ind_buf_len, &ind, sizeof ind);
    if (rc != 0) {
        VG_LOG(1, "data call status event decode qmi_client_message_decode error %d", rc);
        return;
    }
    event.index = ind.index;
    event.ip_family = ind.ip_family;
    event.state = ind.state;
    event.reason_code = ind.reason_code;
    if (ind.state == kStateConnected) {
        // A longer name is cut to what the event's field holds, terminator kept.
        vg_copy_text(event.name, ind.name, sizeof event.name - 1);
        for (size_t i = 0; i < std::size(ind.address_text); ++i) {
            const auto text = vg_field_text(ind.address_text[i]);
            if (ind.ip_family == DATA_CALL_IP_V4)
                event.address.ipv4[i] = inet_addr(text.s);
            else
                inet_pton(AF_INET6, text.s, event.address.ipv6[i]);
        }
    }
    VG_LOG(4,
           "receive data call status event indication index %d name %s ip faimly %d state %d "
           "reason code %d",
           event.index, event.name, event.ip_family, event.state, event.reason_code);
    if (mc->event_cb != nullptr)
        mc->event_cb(DATA_CALL_EVENT_STATUS, &event, sizeof event);
}
