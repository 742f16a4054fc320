// The USB messages. The settings change a pending copy of the USB
// configuration; write-back (66) commits it, as the module would on its next
// USB re-enumeration. A config read returns the committed copy, the one
// the module runs with; "dump" shows both. The action (67) is a one-off
// command and is only remembered for the dump.
#include <cstdio>

#include "kestd_msg.h"

namespace {

constexpr uint32_t kUsbInstance = 0;

bool printable_text(const char *s)
{
    if (*s == 0)
        return false;
    for (; *s; ++s)
        if (*s < 0x20 || *s > 0x7e)
            return false;
    return true;
}

bool funcs_ok(const uint8_t (&func)[7])
{
    bool any = false;
    for (uint8_t f : func) {
        if (f > 1)
            return false;
        any = any || f;
    }
    return any; // a USB device with no function cannot enumerate
}

// The three u32 settings: one shape, one row each.
struct u32_setting {
    uint32_t &(*slot)(kestd_state &st);
    uint32_t max;
};
constexpr u32_setting kActionSetting{
    [](kestd_state &st) -> uint32_t & { return st.rt.usb_last_action; }, kUsbActionRange.max};
constexpr u32_setting kBootupSetting{
    [](kestd_state &st) -> uint32_t & { return st.rt.usb_pending.bootup; }, kUsbBootupRange.max};
constexpr u32_setting kNetSetting{
    [](kestd_state &st) -> uint32_t & { return st.rt.usb_pending.usbnet; }, kUsbNetRange.max};

template <const u32_setting &S>
uint16_t u32_set(kestd_ctx &ctx, const usb_u32_setting_set_req &req, resp_status &)
{
    if (req.usb_num != kUsbInstance)
        return KESTD_ERR_INVALID_INSTANCE;
    if (req.setting > S.max)
        return KESTD_ERR_INVALID_VALUE;
    S.slot(ctx.st) = req.setting;
    return KESTD_OK;
}

// The two info texts: one shape, one row each.
struct info_setting {
    char (kestd_usb::*field)[33];
};
constexpr info_setting kProductSetting{&kestd_usb::product_info};
constexpr info_setting kManufacSetting{&kestd_usb::manufac_info};

template <const info_setting &S>
uint16_t info_set(kestd_ctx &ctx, const usb_info_set_req &req, resp_status &)
{
    if (req.usb_num != kUsbInstance)
        return KESTD_ERR_INVALID_INSTANCE;
    char text[33];
    if (!kestd_take_text(text, req.info) || !printable_text(text))
        return KESTD_ERR_INVALID_TEXT;
    std::memcpy(ctx.st.rt.usb_pending.*S.field, text, sizeof text);
    return KESTD_OK;
}

uint16_t id_set(kestd_ctx &ctx, const usb_id_set_req &req, resp_status &)
{
    if (req.usb_num != kUsbInstance)
        return KESTD_ERR_INVALID_INSTANCE;
    if (req.pid == 0 || req.vid == 0)
        return KESTD_ERR_INVALID_VALUE;
    ctx.st.rt.usb_pending.pid = req.pid;
    ctx.st.rt.usb_pending.vid = req.vid;
    return KESTD_OK;
}

uint16_t func_set(kestd_ctx &ctx, const usb_func_set_req &req, resp_status &)
{
    if (req.usb_num != kUsbInstance)
        return KESTD_ERR_INVALID_INSTANCE;
    const uint8_t func[7] = {req.diag != 0, req.nmea != 0, req.at != 0,       req.modem != 0,
                             req.net != 0,  req.adb != 0,  req.audio_uac != 0};
    if (!funcs_ok(func))
        return KESTD_ERR_INVALID_VALUE;
    std::memcpy(ctx.st.rt.usb_pending.func, func, sizeof func);
    return KESTD_OK;
}

uint16_t config_write(kestd_ctx &ctx, const kestd_no_req &, resp_status &)
{
    ctx.st.cfg.usb = ctx.st.rt.usb_pending;
    return KESTD_OK;
}

uint16_t config_get(kestd_ctx &ctx, const usb_config_get_req &req, usb_config_get_resp &resp)
{
    if (req.usb_num != kUsbInstance)
        return KESTD_ERR_INVALID_INSTANCE;
    const kestd_usb &u = ctx.st.cfg.usb;
    resp.bootup = u.bootup;
    resp.pid = u.pid;
    resp.vid = u.vid;
    kestd_put_text(resp.product_info, u.product_info);
    kestd_put_text(resp.manufac_info, u.manufac_info);
    resp.usbnet = u.usbnet;
    uint8_t *flags[7] = {&resp.diag, &resp.nmea, &resp.at,       &resp.modem,
                         &resp.net,  &resp.adb,  &resp.audio_uac};
    for (int i = 0; i < 7; ++i)
        *flags[i] = u.func[i];
    return KESTD_OK;
}

constexpr kestd_msg_row rows[] = {
    KESTD_ROW(KEST_USB_CONFIG_WRITE_SET, config_write),
    KESTD_ROW(KEST_USB_ACTION_SET, u32_set<kActionSetting>),
    KESTD_ROW(KEST_USB_BOOTUP_SET, u32_set<kBootupSetting>),
    KESTD_ROW(KEST_USB_ID_SET, id_set),
    KESTD_ROW(KEST_USB_PRODUCT_INFO_SET, info_set<kProductSetting>),
    KESTD_ROW(KEST_USB_MANUFAC_INFO_SET, info_set<kManufacSetting>),
    KESTD_ROW(KEST_USB_NET_SET, u32_set<kNetSetting>),
    KESTD_ROW(KEST_USB_FUNC_SET, func_set),
    KESTD_ROW(KEST_USB_CONFIG_GET, config_get),
};

void dump_usb(std::string &out, const char *key, const kestd_usb &u)
{
    kestd_dump_line(out, key,
                    "bootup %u pid 0x%04x vid 0x%04x product %s manufacturer %s net %u "
                    "diag %u nmea %u at %u modem %u net_func %u adb %u audio_uac %u",
                    u.bootup, u.pid, u.vid, kestd_dump_text(u.product_info).c_str(),
                    kestd_dump_text(u.manufac_info).c_str(), u.usbnet, u.func[0], u.func[1],
                    u.func[2], u.func[3], u.func[4], u.func[5], u.func[6]);
}

} // namespace

std::span<const kestd_msg_row> kestd_usb_rows()
{
    return rows;
}

void kestd_default_usb(kestd_usb &u)
{
    u = kestd_usb{};
    const auto number = [](uint32_t cmd, const char *word) {
        return static_cast<uint32_t>(
            kest_factory_number(kest_field_at(MGMT_DOMAIN_USB, cmd, word)));
    };
    u.bootup = number(USB_CMD_BOOTUP, "bootup");
    u.pid = static_cast<uint16_t>(number(USB_CMD_ID, "pid"));
    u.vid = static_cast<uint16_t>(number(USB_CMD_ID, "vid"));
    std::snprintf(
        u.product_info, sizeof u.product_info, "%s",
        kest_factory_text(kest_field_at(MGMT_DOMAIN_USB, USB_CMD_PRODUCT_INFO, "product")));
    std::snprintf(
        u.manufac_info, sizeof u.manufac_info, "%s",
        kest_factory_text(kest_field_at(MGMT_DOMAIN_USB, USB_CMD_MANUFAC_INFO, "manufacturer")));
    u.usbnet = number(USB_CMD_NET, "net-mode");
    // The functions in the order of the record and of u.func.
    size_t i = 0;
    for (const kest_field &f : kest_fields_of(MGMT_DOMAIN_USB, USB_CMD_FUNC))
        u.func[i++] = static_cast<uint8_t>(kest_factory_number(f));
}

const char *kestd_usb_config_problem(const kestd_usb &u)
{
    if (u.bootup > kBootupSetting.max || u.usbnet > kNetSetting.max || u.pid == 0 || u.vid == 0)
        return "USB setting out of range";
    if (strnlen(u.product_info, sizeof u.product_info) == sizeof u.product_info ||
        strnlen(u.manufac_info, sizeof u.manufac_info) == sizeof u.manufac_info ||
        !printable_text(u.product_info) || !printable_text(u.manufac_info))
        return "USB info text damaged";
    return funcs_ok(u.func) ? nullptr : "USB functions damaged";
}

void kestd_usb_dump(const kestd_state &st, std::string &out)
{
    dump_usb(out, "usb.committed", st.cfg.usb);
    dump_usb(out, "usb.pending", st.rt.usb_pending);
    kestd_dump_line(out, "usb.last_action", "%u", st.rt.usb_last_action);
}
