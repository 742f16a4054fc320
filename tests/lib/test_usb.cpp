// Usb handlers.
#include <gtest/gtest.h>

#include <functional>

#include "domain_test.h"

using fake::g;

namespace {

using bytes = std::vector<uint8_t>;

class UsbTest : public DomainTest<MGMT_DOMAIN_USB, MGMT_USB_VALUE_SIZE> {
protected:
    void SetUp() override
    {
        DomainTest::SetUp();
        record<uint32_t>() = 0; // usb_num
    }

    using DomainTest::set;
    int32_t set(uint32_t id, void *value) { return run(MGMT_OPT_SET, id, value); }
};

bytes le32(uint32_t v)
{
    return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
}
bytes operator+(bytes a, const bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
bytes text_field(const std::string &s, size_t width)
{
    bytes b(s.begin(), s.end());
    b.resize(width, 0);
    return b;
}

// ---------------------------------------------------------------------------
// The seven settings: one row per command, with a good record and what it sends.

struct SetCase {
    uint32_t cmd;
    std::string handler;
    uint32_t msg_id;
    std::string label;
    std::function<void(uint8_t *)> fill; // the record behind usb_num 0
    bytes req;
    std::string success;
    std::string failure; // with error 77
};

void put32(uint8_t *p, uint32_t v)
{
    memcpy(p, &v, 4);
}

const std::vector<SetCase> &set_cases()
{
    static const std::vector<SetCase> cases = {
        {USB_CMD_ACTION, "usb_action_set", 67, "set usb action",
         [](uint8_t *b) { put32(b + 4, 2); }, le32(0) + le32(2),
         "set usb num 0 action type 2 success", "Can not set usb num 0 action 2: error 77"},
        {USB_CMD_BOOTUP, "usb_bootup_set", 68, "set usb bootup",
         [](uint8_t *b) { put32(b + 4, 1); }, le32(0) + le32(1), "set usb num 0 bootup 1 success",
         "Can not set usb num 0 bootup 1: error 77"},
        {USB_CMD_ID, "usb_id_set", 69, "set usb id", [](uint8_t *b) { put32(b + 4, 0x2c7c0125); },
         le32(0) + le32(0x2c7c0125), "set usb num 0 pid 0x125 vid 0x2c7c success",
         "Can not set usb num 0 pid 0x125 vid 0x2c7c: error 77"},
        {USB_CMD_PRODUCT_INFO, "usb_product_info_set", 70, "set usb product info",
         [](uint8_t *b) { memcpy(b + 4, "Router X\0tail", 13); },
         le32(0) + text_field("Router X", 36), "set usb num 0 product info Router X success",
         "Can not set usb num 0 product info Router X: error 77"},
        {USB_CMD_MANUFAC_INFO, "usb_manufac_info_set", 71, "set usb manufac info",
         [](uint8_t *b) { memcpy(b + 4, "Kest\0tail", 9); }, le32(0) + text_field("Kest", 36),
         "set usb num 0 manufac info Kest success",
         "Can not set usb num 0 manufac info Kest: error 77"},
        {USB_CMD_NET, "usb_net_set", 72, "set usb net", [](uint8_t *b) { put32(b + 4, 3); },
         le32(0) + le32(3), "set usb num 0 net 3 success", "Can not set usb num 0 net 3: error 77"},
        {USB_CMD_FUNC, "usb_func_set", 73, "set usb func",
         [](uint8_t *b) { memcpy(b + 4, "\x09\x00\x07\xff\x00\x01\x02", 7); },
         le32(0) + bytes{9, 0, 7, 0xff, 0, 1, 2, 0},
         "set usb num 0 diag enable 9 nmea enable 0 at enable 7 modem enable 255 net enable 0 "
         "adb enable 1 audio uac enable 2 success",
         "Can not set usb num 0 diag enable 9 nmea enable 0 at enable 7 modem enable 255 net "
         "enable 0 adb enable 1 audio uac enable 2: error 77"},
    };
    return cases;
}

TEST_F(UsbTest, EverySettingSendsItsRequestAndLeavesTheRecord)
{
    for (const auto &c : set_cases()) {
        SCOPED_TRACE(c.handler);
        g().logs.clear();
        c.fill(buf.data());
        const bytes before = buf;
        EXPECT_EQ(set(c.cmd), 0);
        const auto m = fake::last_sent();
        EXPECT_EQ(m.msg_id, c.msg_id);
        EXPECT_EQ(m.req, c.req);
        EXPECT_EQ(m.req_len, c.req.size());
        EXPECT_EQ(m.resp_len, 4u);
        EXPECT_EQ(m.timeout_ms, 5000u);
        const auto lines = fake::logs();
        ASSERT_EQ(lines.size(), 4u); // router, found, transport, success
        EXPECT_EQ(lines[2].text, "qmi_client_send_msg_sync(" + c.label + "): error 0 result 0");
        EXPECT_EQ(lines[2].level, 4);
        EXPECT_EQ(lines[2].func, c.handler);
        EXPECT_EQ(lines[3].text, c.success);
        EXPECT_EQ(lines[3].level, 4);
        EXPECT_EQ(lines[3].func, c.handler);
        EXPECT_EQ(lines[3].file, "vg_mgmt_usb");
        EXPECT_EQ(buf, before);
        EXPECT_EQ(vg_mgmt_get_errno(), 1234);
    }
}

TEST_F(UsbTest, EverySettingPassesTheServiceErrorOn)
{
    for (const auto &c : set_cases()) {
        SCOPED_TRACE(c.handler);
        c.fill(buf.data());
        fake::reply_status(1, 77);
        EXPECT_EQ(set(c.cmd), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 77);
        EXPECT_EQ(fake::logs().back().text, c.failure);
        EXPECT_EQ(fake::logs().back().level, 1);
        EXPECT_EQ(fake::logs().back().func, c.handler);

        // The transport fails and writes nothing: the zeroed response's error.
        g().logs.clear();
        fake::reply_send_failure(-3);
        EXPECT_EQ(set(c.cmd), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 0);
        EXPECT_TRUE(fake::logged("qmi_client_send_msg_sync(" + c.label + "): error -3 result 0"));
        EXPECT_EQ(fake::logs().back().level, 1);
        vg_mgmt_set_errno(1234);
    }
}

// ---------------------------------------------------------------------------
// Checks before anything is sent, for every handler that reads a record.

struct RecordHandler {
    uint32_t cmd;
    bool get;
    std::string handler;
};
std::vector<RecordHandler> record_handlers()
{
    std::vector<RecordHandler> v;
    for (const auto &c : set_cases())
        v.push_back({c.cmd, false, c.handler});
    v.push_back({USB_CMD_CONFIG_GET, true, "usb_config_get"});
    return v;
}

TEST_F(UsbTest, NullValueIsRefusedByTheHandler)
{
    for (const auto &r : record_handlers()) {
        SCOPED_TRACE(r.handler);
        vg_mgmt_set_errno(1234);
        const int32_t rc = r.get ? vg_mgmt_client_get(h, MGMT_COMMAND(7, r.cmd), nullptr, 0)
                                 : vg_mgmt_client_set(h, MGMT_COMMAND(7, r.cmd), nullptr, 0);
        EXPECT_EQ(rc, -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_EQ(fake::logs().back().text, "NULL params");
        EXPECT_EQ(fake::logs().back().level, 1);
        EXPECT_EQ(fake::logs().back().func, r.handler);
    }
    EXPECT_EQ(fake::sent_count(), 0u);
}

TEST_F(UsbTest, InstanceIsCheckedFirstAndNamesItsOwnFunction)
{
    for (const auto &r : record_handlers())
        for (uint32_t num : {1u, 0xffffffffu}) {
            SCOPED_TRACE(r.handler + " " + std::to_string(num));
            buf = fake::patterned(92);
            record<uint32_t>() = num; // the setting behind it is out of every range
            const bytes before = buf;
            vg_mgmt_set_errno(1234);
            EXPECT_EQ(r.get ? get(r.cmd) : set(r.cmd), -1);
            EXPECT_EQ(vg_mgmt_get_errno(), 2);
            const auto lines = fake::logs();
            EXPECT_EQ(lines.back().text,
                      "check usb num " + std::to_string(static_cast<int32_t>(num)) + " failure");
            EXPECT_EQ(lines.back().level, 1);
            EXPECT_EQ(lines.back().func, "check_usb_num");
            EXPECT_EQ(buf, before);
        }
    EXPECT_EQ(fake::sent_count(), 0u);
}

struct RangeEdge {
    uint32_t cmd;
    uint32_t setting;
    const char *refusal; // null: sent
};
const RangeEdge kRangeEdges[] = {
    {USB_CMD_NET, 0, nullptr},
    {USB_CMD_NET, 3, nullptr},
    {USB_CMD_NET, 4, "invalid usb net 4"},
    {USB_CMD_NET, 0x80000000u, "invalid usb net -2147483648"},
    {USB_CMD_BOOTUP, 2, nullptr},
    {USB_CMD_BOOTUP, 3, "invalid usb bootup 3 params."},
    {USB_CMD_BOOTUP, 0xffffffffu, "invalid usb bootup -1 params."},
    {USB_CMD_ACTION, 2, nullptr},
    {USB_CMD_ACTION, 3, "invalid action type 3"},
    {USB_CMD_ACTION, 0xffffffffu, "invalid action type -1"},
    {USB_CMD_ACTION, 0x100u, "invalid action type 256"},
};

TEST_F(UsbTest, RangeEdgesOfTheNumberSettings)
{
    for (const auto &e : kRangeEdges) {
        SCOPED_TRACE(std::to_string(e.cmd) + " " + std::to_string(e.setting));
        g().logs.clear();
        g().sent.clear();
        vg_mgmt_set_errno(1234);
        record<uint32_t[2]>()[1] = e.setting;
        if (e.refusal == nullptr) {
            EXPECT_EQ(set(e.cmd), 0);
            ASSERT_EQ(fake::sent_count(), 1u);
            EXPECT_EQ(fake::last_sent().req, le32(0) + le32(e.setting));
        } else {
            EXPECT_EQ(set(e.cmd), -1);
            EXPECT_EQ(vg_mgmt_get_errno(), 2);
            EXPECT_EQ(fake::sent_count(), 0u);
            EXPECT_EQ(fake::logs().back().text, e.refusal);
            EXPECT_EQ(fake::logs().back().level, 1);
        }
    }
}

TEST_F(UsbTest, IdsAreNeverRefused)
{
    record<uint16_t[4]>()[2] = 0;
    record<uint16_t[4]>()[3] = 0;
    EXPECT_EQ(set(USB_CMD_ID), 0);
    EXPECT_EQ(fake::last_sent().req, le32(0) + le32(0));
    EXPECT_EQ(fake::logs().back().text, "set usb num 0 pid 0x0 vid 0x0 success");
}

// ---------------------------------------------------------------------------
// Info texts: at most 32 bytes out, the request always terminated.

struct TextCase {
    std::string given; // written with its terminator into the 88-byte field
    std::string sent;
};
const TextCase kTexts[] = {
    {"", ""},
    {std::string(31, 'a'), std::string(31, 'a')},
    {std::string(32, 'b'), std::string(32, 'b')},
    {std::string(40, 'c'), std::string(32, 'c')},
    {std::string(87, 'd'), std::string(32, 'd')},
};

TEST_F(UsbTest, InfoTextsAreCutTo32AndTerminated)
{
    for (uint32_t cmd : {USB_CMD_PRODUCT_INFO, USB_CMD_MANUFAC_INFO})
        for (const auto &t : kTexts) {
            SCOPED_TRACE(std::to_string(cmd) + " " + std::to_string(t.given.size()));
            buf = fake::patterned(92);
            record<uint32_t>() = 0;
            memcpy(buf.data() + 4, t.given.c_str(), t.given.size() + 1);
            EXPECT_EQ(set(cmd), 0);
            const auto m = fake::last_sent();
            ASSERT_EQ(m.req.size(), 40u);
            EXPECT_EQ(m.req, le32(0) + text_field(t.sent, 36));
            EXPECT_NE(fake::logs().back().text.find(" info " + t.sent + " success"),
                      std::string::npos);
        }
}

// ---------------------------------------------------------------------------
// Reading the configuration back

usb_config_get_resp full_config()
{
    usb_config_get_resp r;
    memset(&r, 0xee, sizeof r);
    r.status = {0, 0x4242}; // judged by result alone; the head never reaches usb_num
    r.bootup = 2;
    r.pid = 0x0125;
    r.vid = 0x2c7c;
    memset(r.product_info, 'P', sizeof r.product_info); // 33 bytes, no terminator
    memcpy(r.manufac_info, "Kest\0junk", 9);
    r.usbnet = 0xfffffffe;
    r.diag = 5;
    r.nmea = 0;
    r.at = 1;
    r.modem = 0xff;
    r.net = 0;
    r.adb = 0x80;
    r.audio_uac = 2;
    return r;
}

TEST_F(UsbTest, ConfigGetCopiesWidensAndReducesTheFlags)
{
    const bytes before = buf;
    fake::reply_with(full_config());
    EXPECT_EQ(get(USB_CMD_CONFIG_GET), 0);
    const auto m = fake::last_sent();
    EXPECT_EQ(m.msg_id, 74u);
    EXPECT_EQ(m.req, le32(0));
    EXPECT_EQ(m.resp_len, 92u);
    EXPECT_EQ(m.timeout_ms, 5000u);

    const auto &p = record<usb_config_params>();
    EXPECT_EQ(p.usb_num, 0u);
    EXPECT_EQ(p.bootup, 2u);
    EXPECT_EQ(p.pid, 0x0125);
    EXPECT_EQ(p.vid, 0x2c7c);
    EXPECT_EQ(std::string(p.product_info), std::string(32, 'P')); // terminated by its 33rd byte
    EXPECT_EQ(p.product_info[32], 0);
    EXPECT_EQ(bytes(p.manufac_info, p.manufac_info + 32), text_field("Kest", 32));
    EXPECT_EQ(uint8_t(p.manufac_info[32]), before[45 + 32]); // not needed, not written
    EXPECT_EQ(p.usbnet, 0xfffffffeu);
    EXPECT_EQ(bytes(buf.begin() + 84, buf.begin() + 91), (bytes{1, 0, 1, 1, 0, 1, 1}));
    // The gaps stay as the caller left them.
    EXPECT_EQ(buf[78], before[78]);
    EXPECT_EQ(buf[79], before[79]);
    EXPECT_EQ(buf[91], before[91]);

    const auto lines = fake::logs();
    EXPECT_TRUE(fake::logged("qmi_client_send_msg_sync(get usb config): error 0 result 0"));
    EXPECT_EQ(lines.back().text, "get usb num 0 bootup 2 pid 0x125 vid 0x2c7c product info " +
                                     std::string(32, 'P') +
                                     " manufac info Kest usbnet -2 diag 1 nmea 0 at 1 modem 1 "
                                     "net 0 adb 1 audio uac 1 success");
    EXPECT_EQ(lines.back().level, 4);
    EXPECT_EQ(lines.back().func, "usb_config_get");
    EXPECT_EQ(vg_mgmt_get_errno(), 1234);
}

TEST_F(UsbTest, ConfigGetEmptyTextsGive32ZeroBytes)
{
    usb_config_get_resp r = full_config();
    memset(r.product_info, 0, sizeof r.product_info);
    memcpy(r.manufac_info, "\0junk", 5);
    const bytes before = buf;
    fake::reply_with(r);
    EXPECT_EQ(get(USB_CMD_CONFIG_GET), 0);
    EXPECT_EQ(bytes(buf.begin() + 12, buf.begin() + 44), bytes(32, 0));
    EXPECT_EQ(buf[44], before[44]);
    EXPECT_EQ(bytes(buf.begin() + 45, buf.begin() + 77), bytes(32, 0));
    EXPECT_EQ(buf[77], before[77]);
    EXPECT_TRUE(fake::logged("product info  manufac info  usbnet"));
}

TEST_F(UsbTest, ConfigGetFailuresLeaveTheRecord)
{
    const bytes before = buf;
    usb_config_get_resp refused = full_config();
    refused.status = {1, 9};
    fake::reply_with(refused);
    EXPECT_EQ(get(USB_CMD_CONFIG_GET), -1);
    EXPECT_EQ(vg_mgmt_get_errno(), 9);
    EXPECT_EQ(fake::logs().back().text, "Can not get usb num 0 config: error 9");
    EXPECT_EQ(fake::logs().back().level, 1);
    EXPECT_EQ(buf, before);

    fake::reply_send_failure(4);
    EXPECT_EQ(get(USB_CMD_CONFIG_GET), -1);
    EXPECT_EQ(vg_mgmt_get_errno(), 0);
    EXPECT_TRUE(fake::logged("qmi_client_send_msg_sync(get usb config): error 4 result 0"));
    EXPECT_EQ(fake::logs().back().text, "Can not get usb num 0 config: error 0");
    EXPECT_EQ(buf, before);
}

// ---------------------------------------------------------------------------
// Write-back: no record, no instance.

TEST_F(UsbTest, ConfigWriteSendsWhateverTheValue)
{
    record<uint32_t>() = 5;
    for (void *value : {static_cast<void *>(nullptr), static_cast<void *>(buf.data())}) {
        g().logs.clear();
        g().sent.clear();
        EXPECT_EQ(set(USB_CMD_CONFIG_WRITE, value), 0);
        ASSERT_EQ(fake::sent_count(), 1u);
        const auto m = fake::last_sent();
        EXPECT_EQ(m.msg_id, 66u);
        EXPECT_TRUE(m.req_null);
        EXPECT_EQ(m.req_len, 0u);
        EXPECT_EQ(m.resp_len, 4u);
        EXPECT_EQ(m.timeout_ms, 5000u);
        EXPECT_TRUE(
            fake::logged("qmi_client_send_msg_sync(set usb config write): error 0 result 0"));
        EXPECT_EQ(fake::logs().back().text, "write usb config success");
        EXPECT_EQ(fake::logs().back().level, 4);
        EXPECT_EQ(fake::logs().back().func, "usb_config_write_set");
    }
    fake::reply_status(3, 33);
    EXPECT_EQ(set(USB_CMD_CONFIG_WRITE, nullptr), -1);
    EXPECT_EQ(vg_mgmt_get_errno(), 33);
    EXPECT_EQ(fake::logs().back().text, "Can not write usb config: error 33");
    EXPECT_EQ(fake::logs().back().level, 1);
}

} // namespace
