// Fuzzes the indications: the record that the decode hands back, for every
// message id, reaches the decoders through the transport's callback. The
// event callback checks the record's size for its event and reads all of it.
#include <cstring>

#include "fuzz_input.h"
#include "fuzz_platform.h"

namespace {

uint32_t event_size(uint32_t event_id)
{
    switch (event_id) {
    case WIFI_EVENT_STA_STATUS:
        return sizeof(wifi_station_status_params);
    case WIFI_EVENT_AP_STA:
        return sizeof(wifi_ap_sta_event);
    case DATA_CALL_EVENT_STATUS:
        return sizeof(data_call_status_event);
    default:
        return 0;
    }
}

// A text field of an event is a C string for the application.
template <size_t N>
void require_terminated(const char (&field)[N], const char *what)
{
    fz::require(memchr(field, '\0', N) != nullptr, what);
}

int g_events;

int32_t on_event(uint32_t event_id, const void *event, uint32_t size)
{
    ++g_events;
    fz::require(event != nullptr, "an event record");
    fz::require(size != 0 && size == event_size(event_id), "an event's size is its record's");
    uint8_t copy[sizeof(data_call_status_event)];
    std::memcpy(copy, event, size); // every byte of it readable
    if (event_id == WIFI_EVENT_STA_STATUS) {
        wifi_station_status_params e;
        std::memcpy(&e, copy, sizeof e);
        require_terminated(e.ssid, "the station event's SSID ends in the field");
    } else if (event_id == DATA_CALL_EVENT_STATUS) {
        data_call_status_event e;
        std::memcpy(&e, copy, sizeof e);
        require_terminated(e.name, "the call event's name ends in the field");
    }
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static mgmt_client *const with_cb = fz::open_handle(on_event);
    static const qmi_client_ind_cb ind_cb_with = fz::indication_callback();
    static mgmt_client *const without_cb = fz::open_handle(nullptr);
    static const qmi_client_ind_cb ind_cb = fz::indication_callback();
    fz::require(ind_cb == ind_cb_with && ind_cb != nullptr, "one indication callback");

    fz::reader in{data, size};
    fz::indication_head hd;
    if (!in.head(hd))
        return -1;
    fz::reset_script();
    fz::play().decode_rc = hd.decode_rc;
    fz::play().decoded = in.run(hd.decoded_len, fz::play().decoded_len);
    size_t ind_len = 0;
    const uint8_t *ind_bytes = in.run(hd.ind_len, ind_len);
    // The encoded message in a block of its own size, as the transport has it.
    auto *ind = new uint8_t[ind_len + 1];
    std::memcpy(ind, ind_bytes, ind_len);

    void *cb_data = (hd.options & fz::kNullCbData)  ? nullptr
                    : (hd.options & fz::kNoEventCb) ? static_cast<void *>(without_cb)
                                                    : static_cast<void *>(with_cb);
    g_events = 0;
    ind_cb(reinterpret_cast<qmi_client_type>(with_cb), hd.msg_id, ind,
           static_cast<uint32_t>(ind_len), cb_data);
    delete[] ind;
    fz::require_pairs_closed();
    fz::require(g_events <= 1, "at most one event per indication");
    const bool event_kind = hd.msg_id == 32 || hd.msg_id == 33 || hd.msg_id == 43;
    if (cb_data == with_cb && hd.decode_rc == 0 && event_kind)
        fz::require(g_events == 1, "a decoded indication reaches the callback");
    else
        fz::require(g_events == 0, "no event without a decoded indication and a callback");
    return 0;
}
