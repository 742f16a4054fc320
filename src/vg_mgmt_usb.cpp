// USB domain: dispatcher, the instance check and the handlers.

#include <cstring>
#include <iterator>

#include "vg_mgmt_core.h"

namespace {
constexpr char vg_log_file[] = "vg_mgmt_usb";

// The domain has one USB instance, number 0.
[[maybe_unused]] bool check_usb_num(uint32_t usb_num)
{
    if (usb_num == 0)
        return true;
    VG_LOG(1, "check usb num %d failure", usb_num);
    return false;
}

constexpr mgmt_command_row usb_command_table[] = {
    {USB_CMD_CONFIG_WRITE, nullptr, nullptr},
    {USB_CMD_ACTION, nullptr, nullptr},
    {USB_CMD_BOOTUP, nullptr, nullptr},
    {USB_CMD_ID, nullptr, nullptr},
    {USB_CMD_PRODUCT_INFO, nullptr, nullptr},
    {USB_CMD_MANUFAC_INFO, nullptr, nullptr},
    {USB_CMD_NET, nullptr, nullptr},
    {USB_CMD_FUNC, nullptr, nullptr},
    {USB_CMD_CONFIG_GET, nullptr, nullptr},
    {VG_LAST_ROW_ID, nullptr, nullptr},
};
static_assert(std::size(usb_command_table) == 10);
} // namespace

extern "C" int32_t usb_command_handle(mgmt_client *handle, uint32_t flag, uint32_t command_id,
                                      void *value)
{
    static constexpr vg_dispatcher kDispatcher{
        VG_SITE,
        usb_command_table,
        std::size(usb_command_table),
        VG_FMT("cannot found %d Usb command", "d"),
        VG_FMT("found Usb command %d, command flag %d", "dd"),
        false,
    };
    return vg_dispatch(kDispatcher, handle, flag, command_id, value);
}
