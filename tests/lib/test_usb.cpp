// What is particular to the USB handlers: their requests and lines, the
// info texts cut to 32 characters, and the configuration read back.
#include "domain_test.h"

using fake::g;

namespace {

TEST_F(Usb, SettingsSendTheirFieldsAndPrintThem)
{
    memcpy(buf.data() + 4, "\x09\x00\x07\xff\x00\x01\x02", 7);
    EXPECT_EQ(set(USB_CMD_FUNC), 0);
    EXPECT_EQ(req(), (std::vector<uint8_t>{0, 0, 0, 0, 9, 0, 7, 0xff, 0, 1, 2, 0}));
    EXPECT_EQ(last(), "set usb num 0 diag enable 9 nmea enable 0 at enable 7 modem enable 255 "
                      "net enable 0 adb enable 1 audio uac enable 2 success");
    rec<usb_id_params>() = {0, 0x0125, 0x2c7c};
    fake::reply_status(1, 77);
    EXPECT_EQ(set(USB_CMD_ID), -1);
    EXPECT_EQ(last(), "Can not set usb num 0 pid 0x125 vid 0x2c7c: error 77");
    EXPECT_EQ(set(USB_CMD_ID), 0);
    EXPECT_EQ(req(), (std::vector<uint8_t>{0, 0, 0, 0, 0x25, 0x01, 0x7c, 0x2c}));
}

TEST_F(Usb, InfoTextsAreCutTo32AndTerminated)
{
    for (uint32_t cmd : {USB_CMD_PRODUCT_INFO, USB_CMD_MANUFAC_INFO})
        for (size_t given : {0u, 31u, 32u, 33u, 87u}) {
            SCOPED_TRACE(std::to_string(cmd) + " " + std::to_string(given));
            const std::string text(given, 'c'), sent(std::min<size_t>(given, 32), 'c');
            memcpy(buf.data() + 4, text.c_str(), given + 1);
            EXPECT_EQ(set(cmd), 0);
            const auto r = req();
            ASSERT_EQ(r.size(), sizeof(usb_info_set_req));
            EXPECT_EQ(std::string(reinterpret_cast<const char *>(r.data()) + 4), sent);
            EXPECT_EQ(std::count(r.begin() + 4, r.end(), 0), 36 - sent.size());
            EXPECT_TRUE(last().ends_with(" info " + sent + " success"));
        }
}

TEST_F(Usb, ConfigIsCopiedWidenedAndItsFlagsReduced)
{
    usb_config_get_resp r;
    memset(&r, 0xee, sizeof r);
    r.status = {0, 0x4242}; // judged by result alone
    r.bootup = 2;
    r.pid = 0x0125;
    r.vid = 0x2c7c;
    memset(r.product_info, 'P', sizeof r.product_info); // no terminator
    memcpy(r.manufac_info, "Kest\0junk", 9);
    r.usbnet = 0xfffffffe;
    const uint8_t flags[] = {5, 0, 1, 0xff, 0, 0x80, 2};
    memcpy(&r.diag, flags, sizeof flags);
    const auto before = buf;
    fake::reply_with(r);
    EXPECT_EQ(get(USB_CMD_CONFIG_GET), 0);
    const auto &p = rec<usb_config_params>();
    EXPECT_EQ(p.usb_num, 0u);
    EXPECT_EQ(p.bootup, 2u);
    EXPECT_EQ(p.vid, 0x2c7c);
    EXPECT_EQ(std::string(p.product_info), std::string(32, 'P')); // terminated by its 33rd byte
    EXPECT_EQ(std::string(p.manufac_info, 32), std::string("Kest") + std::string(28, '\0'));
    EXPECT_EQ(uint8_t(p.manufac_info[32]), before[offsetof(usb_config_params, manufac_info) + 32]);
    EXPECT_EQ(p.usbnet, 0xfffffffeu);
    EXPECT_EQ(std::vector<uint8_t>(&p.diag, &p.diag + 7),
              (std::vector<uint8_t>{1, 0, 1, 1, 0, 1, 1}));
    EXPECT_EQ(memcmp(p.reserved0, before.data() + offsetof(usb_config_params, reserved0), 2), 0);
    EXPECT_EQ(last(), "get usb num 0 bootup 2 pid 0x125 vid 0x2c7c product info " +
                          std::string(32, 'P') +
                          " manufac info Kest usbnet -2 diag 1 nmea 0 at 1 modem 1 net 0 adb 1 "
                          "audio uac 1 success");
}

} // namespace
