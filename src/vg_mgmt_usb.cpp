// USB domain: dispatcher, the instance check and the handlers.

#include <cstddef>
#include <cstring>
#include <iterator>

#include "vg_mgmt_core.h"

namespace {
constexpr char kVgLogFile[] = "vg_mgmt_usb";

// The domain has one USB instance, number 0.
bool check_usb_num(uint32_t usb_num)
{
    if (usb_num == 0)
        return true;
    VG_LOG(1, "check usb num %d failure", usb_num);
    return false;
}

// The first steps of every handler that reads a record: the null check and
// the instance check, before any other field is read. Null when either
// fails; the error number is then set.
template <class Params>
Params *usb_params(const vg_site &site, void *value)
{
    auto *p = static_cast<Params *>(value);
    if (p == nullptr) {
        VG_LOG_AT(site, 1, "NULL params");
        vg_fail(MGMT_ERR_INVALID);
        return nullptr;
    }
    if (!check_usb_num(p->usb_num)) {
        vg_fail(MGMT_ERR_INVALID);
        return nullptr;
    }
    return p;
}

// ---------------------------------------------------------------------------
// Settings: each sends one request and gets a bare status back. Its success
// and failure lines print the request's fields, so they show what was sent;
// the failure line adds the service's error last.

struct usb_set_lines {
    vg_fmt success; // level 4
    vg_fmt failure; // level 1, the request's fields then the error
};

template <class Req, class... Fields>
int32_t usb_set_send(const vg_site &site, mgmt_client *handle, const kest_call &call,
                     const Req &req, const usb_set_lines &lines, Fields... fields)
{
    resp_status resp;
    if (!vg_exchange(site, handle, call, req, resp)) {
        vg_log_fmt(site, __LINE__, 1, lines.failure, fields..., resp.error);
        return -1;
    }
    vg_log_fmt(site, __LINE__, 4, lines.success, fields...);
    return 0;
}

// Bootup, net and action: a u32 behind usb_num with an upper bound.
struct usb_u32_params {
    uint32_t usb_num;
    uint32_t setting;
};
static_assert(sizeof(usb_u32_params) == sizeof(usb_bootup_params) &&
              offsetof(usb_bootup_params, bootup) == offsetof(usb_u32_params, setting));
static_assert(sizeof(usb_u32_params) == sizeof(usb_net_params) &&
              offsetof(usb_net_params, net) == offsetof(usb_u32_params, setting));
static_assert(sizeof(usb_u32_params) == sizeof(usb_action_params) &&
              offsetof(usb_action_params, action_type) == offsetof(usb_u32_params, setting));

struct usb_u32_setting {
    kest_call call;
    uint32_t max;
    vg_fmt invalid; // level 1
    usb_set_lines lines;
};

int32_t usb_u32_set(const vg_site &site, const usb_u32_setting &s, mgmt_client *handle, void *value)
{
    const auto *p = usb_params<const usb_u32_params>(site, value);
    if (p == nullptr)
        return -1;
    if (p->setting > s.max) {
        vg_log_fmt(site, __LINE__, 1, s.invalid, p->setting);
        return vg_fail(MGMT_ERR_INVALID);
    }
    const usb_u32_setting_set_req req{p->usb_num, p->setting};
    return usb_set_send(site, handle, s.call, req, s.lines, req.usb_num, req.setting);
}

constexpr usb_u32_setting kUsbBootup{
    KEST_CALL(KEST_USB_BOOTUP_SET, "set usb bootup"),
    2,
    VG_FMT("invalid usb bootup %d params.", "d"),
    {VG_FMT("set usb num %d bootup %d success", "dd"),
     VG_FMT("Can not set usb num %d bootup %d: error %d", "ddd")},
};
constexpr usb_u32_setting kUsbNet{
    KEST_CALL(KEST_USB_NET_SET, "set usb net"),
    3,
    VG_FMT("invalid usb net %d", "d"),
    {VG_FMT("set usb num %d net %d success", "dd"),
     VG_FMT("Can not set usb num %d net %d: error %d", "ddd")},
};
constexpr usb_u32_setting kUsbAction{
    KEST_CALL(KEST_USB_ACTION_SET, "set usb action"),
    2,
    VG_FMT("invalid action type %d", "d"),
    {VG_FMT("set usb num %d action type %d success", "dd"),
     VG_FMT("Can not set usb num %d action %d: error %d", "ddd")},
};

int32_t usb_bootup_set(mgmt_client *handle, void *value)
{
    return usb_u32_set(VG_SITE, kUsbBootup, handle, value);
}

int32_t usb_net_set(mgmt_client *handle, void *value)
{
    return usb_u32_set(VG_SITE, kUsbNet, handle, value);
}

int32_t usb_action_set(mgmt_client *handle, void *value)
{
    return usb_u32_set(VG_SITE, kUsbAction, handle, value);
}

// Product and manufacturer info: a text behind usb_num of which at most 32
// bytes go out; a longer one is cut, and the request stays terminated by its
// 33rd byte.
struct usb_info_params {
    uint32_t usb_num;
    char info[88];
};
static_assert(sizeof(usb_info_params) == sizeof(usb_product_info_params) &&
              offsetof(usb_product_info_params, product_info) == offsetof(usb_info_params, info));
static_assert(sizeof(usb_info_params) == sizeof(usb_manufac_info_params) &&
              offsetof(usb_manufac_info_params, manufac_info) == offsetof(usb_info_params, info));

static_assert(sizeof(usb_info_set_req::info) == kUsbTextMax + 1);

struct usb_info_setting {
    kest_call call;
    usb_set_lines lines;
};

int32_t usb_info_set(const vg_site &site, const usb_info_setting &s, mgmt_client *handle,
                     void *value)
{
    const auto *p = usb_params<const usb_info_params>(site, value);
    if (p == nullptr)
        return -1;
    usb_info_set_req req{};
    req.usb_num = p->usb_num;
    vg_copy_text(req.info, p->info, kUsbTextMax);
    return usb_set_send(site, handle, s.call, req, s.lines, req.usb_num, req.info);
}

constexpr usb_info_setting kUsbProductInfo{
    KEST_CALL(KEST_USB_PRODUCT_INFO_SET, "set usb product info"),
    {VG_FMT("set usb num %d product info %s success", "ds"),
     VG_FMT("Can not set usb num %d product info %s: error %d", "dsd")},
};
constexpr usb_info_setting kUsbManufacInfo{
    KEST_CALL(KEST_USB_MANUFAC_INFO_SET, "set usb manufac info"),
    {VG_FMT("set usb num %d manufac info %s success", "ds"),
     VG_FMT("Can not set usb num %d manufac info %s: error %d", "dsd")},
};

int32_t usb_product_info_set(mgmt_client *handle, void *value)
{
    return usb_info_set(VG_SITE, kUsbProductInfo, handle, value);
}

int32_t usb_manufac_info_set(mgmt_client *handle, void *value)
{
    return usb_info_set(VG_SITE, kUsbManufacInfo, handle, value);
}

// Product and vendor ids: any pair goes out.
int32_t usb_id_set(mgmt_client *handle, void *value)
{
    const auto *p = usb_params<const usb_id_params>(VG_SITE, value);
    if (p == nullptr)
        return -1;
    const usb_id_set_req req{p->usb_num, p->pid, p->vid};
    static constexpr usb_set_lines kLines{
        VG_FMT("set usb num %d pid 0x%x vid 0x%x success", "dxx"),
        VG_FMT("Can not set usb num %d pid 0x%x vid 0x%x: error %d", "dxxd"),
    };
    return usb_set_send(VG_SITE, handle, KEST_CALL(KEST_USB_ID_SET, "set usb id"), req, kLines,
                        req.usb_num, req.pid, req.vid);
}

// The seven function switches go out as the caller gave them, not reduced.
int32_t usb_func_set(mgmt_client *handle, void *value)
{
    const auto *p = usb_params<const usb_func_params>(VG_SITE, value);
    if (p == nullptr)
        return -1;
    usb_func_set_req req{};
    req.usb_num = p->usb_num;
    req.diag = p->diag;
    req.nmea = p->nmea;
    req.at = p->at;
    req.modem = p->modem;
    req.net = p->net;
    req.adb = p->adb;
    req.audio_uac = p->audio_uac;
    static constexpr usb_set_lines kLines{
        VG_FMT("set usb num %d diag enable %d nmea enable %d at enable %d modem enable %d net "
               "enable %d adb enable %d audio uac enable %d success",
               "dddddddd"),
        VG_FMT("Can not set usb num %d diag enable %d nmea enable %d at enable %d modem enable "
               "%d net enable %d adb enable %d audio uac enable %d: error %d",
               "ddddddddd"),
    };
    return usb_set_send(VG_SITE, handle, KEST_CALL(KEST_USB_FUNC_SET, "set usb func"), req, kLines,
                        req.usb_num, req.diag, req.nmea, req.at, req.modem, req.net, req.adb,
                        req.audio_uac);
}

// ---------------------------------------------------------------------------
// The whole configuration

// A text of the configuration: at most 32 bytes, zero-filled behind the text.
// The 33rd byte is the caller's, and is written only when the text fills all
// 32, so that the field always ends in a terminator.
template <size_t W>
void usb_config_text(char (&dst)[W], const char (&src)[W])
{
    static_assert(W == kUsbTextMax + 1);
    vg_copy_text(dst, src, kUsbTextMax);
    if (dst[kUsbTextMax - 1] != '\0')
        dst[kUsbTextMax] = '\0';
}

int32_t usb_config_get(mgmt_client *handle, void *value)
{
    auto *p = usb_params<usb_config_params>(VG_SITE, value);
    if (p == nullptr)
        return -1;
    const usb_config_get_req req{p->usb_num};
    usb_config_get_resp resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_USB_CONFIG_GET, "get usb config"), req,
                     resp)) {
        VG_LOG(1, "Can not get usb num %d config: error %d", req.usb_num, resp.status.error);
        return -1;
    }
    p->bootup = resp.bootup;
    p->pid = resp.pid;
    p->vid = resp.vid;
    usb_config_text(p->product_info, resp.product_info);
    usb_config_text(p->manufac_info, resp.manufac_info);
    p->usbnet = resp.usbnet;
    p->diag = vg_flag(resp.diag);
    p->nmea = vg_flag(resp.nmea);
    p->at = vg_flag(resp.at);
    p->modem = vg_flag(resp.modem);
    p->net = vg_flag(resp.net);
    p->adb = vg_flag(resp.adb);
    p->audio_uac = vg_flag(resp.audio_uac);
    VG_LOG(4,
           "get usb num %d bootup %d pid 0x%x vid 0x%x product info %s manufac info %s usbnet %d "
           "diag %d nmea %d at %d modem %d net %d adb %d audio uac %d success",
           p->usb_num, p->bootup, p->pid, p->vid, p->product_info, p->manufac_info, p->usbnet,
           p->diag, p->nmea, p->at, p->modem, p->net, p->adb, p->audio_uac);
    return 0;
}

// The write-back names no instance and carries no record: value is not read.
int32_t usb_config_write_set(mgmt_client *handle, void * /*value*/)
{
    resp_status resp;
    if (!vg_exchange(VG_SITE, handle, KEST_CALL(KEST_USB_CONFIG_WRITE_SET, "set usb config write"),
                     resp)) {
        VG_LOG(1, "Can not write usb config: error %d", resp.error);
        return -1;
    }
    VG_LOG(4, "write usb config success");
    return 0;
}

// ---------------------------------------------------------------------------
// Dispatch

constexpr mgmt_command_row kUsbCommandTable[] = {
    {USB_CMD_CONFIG_WRITE, usb_config_write_set, nullptr},
    {USB_CMD_ACTION, usb_action_set, nullptr},
    {USB_CMD_BOOTUP, usb_bootup_set, nullptr},
    {USB_CMD_ID, usb_id_set, nullptr},
    {USB_CMD_PRODUCT_INFO, usb_product_info_set, nullptr},
    {USB_CMD_MANUFAC_INFO, usb_manufac_info_set, nullptr},
    {USB_CMD_NET, usb_net_set, nullptr},
    {USB_CMD_FUNC, usb_func_set, nullptr},
    {USB_CMD_CONFIG_GET, nullptr, usb_config_get},
    {kVgLastRowId, nullptr, nullptr},
};
static_assert(vg_rows_described(kUsbCommandTable, kUsbCommands),
              "the table has a handler for every described direction and no other");
} // namespace

extern "C" int32_t usb_command_handle(mgmt_client *handle, uint32_t flag, uint32_t command_id,
                                      void *value)
{
    static constexpr vg_row_index kIndex = vg_index_rows(kUsbCommandTable);
    static constexpr vg_dispatcher kDispatcher{
        VG_SITE,
        kUsbCommandTable,
        std::size(kUsbCommandTable),
        &kIndex,
        VG_FMT("cannot found %d Usb command", "d"),
        VG_FMT("found Usb command %d, command flag %d", "dd"),
        false,
    };
    return vg_dispatch(kDispatcher, handle, flag, command_id, value);
}
