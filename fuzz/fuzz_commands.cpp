// Fuzzes every command of the four tables: the application's value record on
// one side, the service's answers on the other. The value buffer is a heap
// block of exactly its domain's size, so ASan sees any access past it; the
// bytes behind the command's own record are checked after the call, and a
// failed command must leave the whole buffer as it was.
#include <cstdlib>
#include <cstring>

#include "fuzz_input.h"
#include "fuzz_platform.h"
#include "fuzz_records.h"

namespace {

constexpr int32_t kErrnoSentinel = 0x7eadbeef;

using dispatcher_fn = int32_t (*)(mgmt_client *, uint32_t, uint32_t, void *);

struct domain_row {
    dispatcher_fn dispatch;
    uint32_t value_size;
};

// Domains without a dispatcher get a small buffer that nothing may touch.
constexpr uint32_t kNoDomainBytes = 64;

domain_row domain_of(uint32_t domain)
{
    switch (domain) {
    case MGMT_DOMAIN_WIFI:
        return {wifi_command_handle, MGMT_WIFI_VALUE_SIZE};
    case MGMT_DOMAIN_NETWORK:
        return {network_command_handle, MGMT_NETWORK_VALUE_SIZE};
    case MGMT_DOMAIN_DATA_CALL:
        return {data_call_command_handle, MGMT_DATA_CALL_VALUE_SIZE};
    case MGMT_DOMAIN_USB:
        return {usb_command_handle, MGMT_USB_VALUE_SIZE};
    default:
        return {nullptr, kNoDomainBytes};
    }
}

uint8_t g_before[MGMT_WIFI_VALUE_SIZE];

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static mgmt_client *const handle = fz::open_handle(nullptr);
    fz::reader in{data, size};
    fz::command_head hd;
    if (!in.head(hd))
        return -1;
    const uint32_t domain = hd.domain <= 8 ? hd.domain : (uint32_t{hd.domain} << 8) | hd.domain;
    const uint32_t id = hd.id | ((hd.options & fz::kIdHigh) ? 0xff00u : 0u);
    const domain_row route = domain_of(domain);

    fz::reset_script();
    size_t value_len = 0;
    const uint8_t *value_bytes = in.run(hd.value_len, value_len);
    for (size_t i = 0; i < fz::kMaxAnswers; ++i) {
        fz::answer &a = fz::play().answers[i];
        a.rc = hd.rc[i];
        a.bytes = in.run(hd.answer_len[i], a.len);
    }

    const uint32_t buf_size = route.value_size;
    auto *buf = static_cast<uint8_t *>(std::malloc(buf_size));
    for (uint32_t i = 0; i < buf_size; ++i)
        buf[i] = static_cast<uint8_t>(0xa5 + i * 7);
    std::memcpy(buf, value_bytes, value_len < buf_size ? value_len : buf_size);
    std::memcpy(g_before, buf, buf_size);

    mgmt_client *const h = (hd.options & fz::kNullHandle) ? nullptr : handle;
    void *const value = (hd.options & fz::kNullValue) ? nullptr : buf;
    uint32_t size_arg = buf_size;
    if (hd.options & fz::kSizeZero)
        size_arg = 0;
    else if (hd.options & fz::kSizeWrong)
        size_arg = buf_size - 1;

    vg_mgmt_set_errno(kErrnoSentinel);
    const uint32_t command = MGMT_COMMAND(domain, id);
    int32_t rc;
    if (hd.flag == MGMT_OPT_SET)
        rc = vg_mgmt_client_set(h, command, value, size_arg);
    else if (hd.flag == MGMT_OPT_GET || route.dispatch == nullptr || h == nullptr)
        rc = vg_mgmt_client_get(h, command, value, size_arg);
    else // a flag that only a direct caller of the dispatcher can give
        rc = route.dispatch(h, hd.flag, id, value);

    fz::require(rc == 0 || rc == -1, "a result of 0 or -1");
    fz::require_pairs_closed();
    if (rc == 0)
        fz::require(vg_mgmt_get_errno() == kErrnoSentinel, "success leaves the error number");
    const bool info = domain == MGMT_DOMAIN_DATA_CALL && id == DATA_CALL_CMD_INFO;
    fz::require(fz::play().sends <= (info ? 2u : 1u), "one send per command, two for call info");
    if (route.dispatch == nullptr && h != nullptr && domain >= 2 && domain <= 5)
        fz::require(rc == 0 && fz::play().sends == 0, "domains 2, 4 and 5 do nothing");

    // What the call may have written: its record on success (a failed call
    // info keeps the family it read), nothing otherwise.
    const uint32_t writable = (rc == 0 || info) ? fz::record_size(domain, id) : 0;
    fz::require(std::memcmp(buf + writable, g_before + writable, buf_size - writable) == 0,
                "nothing written outside the command's record, nothing on failure");
    std::free(buf);
    return 0;
}
