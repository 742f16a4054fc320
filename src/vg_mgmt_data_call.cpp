// Data-call domain: dispatcher, handlers and the decoder of the data-call
// status indication.

#include <arpa/inet.h>
#include <cstring>
#include <iterator>

#include "vg_mgmt_core.h"

namespace {
constexpr char vg_log_file[] = "vg_mgmt_data_call";

constexpr mgmt_command_row data_call_command_table[] = {
    {DATA_CALL_CMD_UP, nullptr, nullptr},
    {DATA_CALL_CMD_DOWN, nullptr, nullptr},
    {DATA_CALL_CMD_INFO, nullptr, nullptr},
    {DATA_CALL_CMD_APN, nullptr, nullptr},
    {DATA_CALL_CMD_APN_LIST, nullptr, nullptr},
    {DATA_CALL_CMD_APN_DEL, nullptr, nullptr},
    {DATA_CALL_CMD_APN_ADD, nullptr, nullptr},
    {DATA_CALL_CMD_DEFAULT_PROFILE, nullptr, nullptr},
};
static_assert(std::size(data_call_command_table) == 8);

constexpr uint8_t kStateConnected = 1;
} // namespace

extern "C" int32_t data_call_command_handle(mgmt_client *handle, uint32_t flag,
                                            uint32_t command_id, void *value)
{
    static constexpr vg_dispatcher kDispatcher{
        VG_SITE,
        data_call_command_table,
        std::size(data_call_command_table),
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
    const int rc = qmi_client_message_decode(user_handle, KEST_MSG_KIND_IND,
                                             KEST_DATA_CALL_STATUS_IND, ind_buf, ind_buf_len, &ind,
                                             sizeof ind);
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
