// The command path and the decoders use no heap: every command of the four
// tables, on its success and failure paths, and both decoders make no call
// of malloc, calloc, realloc or free (nor of new and delete, which land
// there).
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "fake_platform.h"

// The replaceable new and delete go through the wrapped malloc and free, so
// the count sees them too. GCC cannot see that the pair replaces the default
// one when it inlines them into this file's templates.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void *operator new(size_t n)
{
    if (void *p = std::malloc(n ? n : 1))
        return p;
    std::abort();
}
void operator delete(void *p) noexcept
{
    std::free(p);
}
void operator delete(void *p, size_t) noexcept
{
    std::free(p);
}

namespace {

using fill_fn = void (*)(uint8_t *value);

struct command_row {
    uint32_t domain;
    uint32_t id;
    uint32_t flag;
    fill_fn fill; // a record that passes the range tests
};

template <class T>
void put(uint8_t *value, size_t at, T v)
{
    memcpy(value + at, &v, sizeof v);
}

void none(uint8_t *) {}
void iface1(uint8_t *v) { put<uint32_t>(v, 0, 1); }
void iface3(uint8_t *v) { put<uint32_t>(v, 0, 3); }
void country(uint8_t *v) { memcpy(v, "US", 3); }
void essid(uint8_t *v)
{
    iface1(v);
    memcpy(v + offsetof(wifi_essid_params, ssid), "home", 5);
}
void max_sta(uint8_t *v)
{
    iface1(v);
    put<uint32_t>(v, offsetof(wifi_max_num_sta_params, max_num_sta), 8);
}
void info_both(uint8_t *v) { put<uint32_t>(v, offsetof(data_call_info_params, ip_type), DATA_CALL_IP_V4V6); }
void snat(uint8_t *v)
{
    put<uint16_t>(v, offsetof(network_snat_params, private_port), 80);
    put<uint16_t>(v, offsetof(network_snat_params, global_port), 8080);
    put<uint8_t>(v, offsetof(network_snat_params, protocol), 6);
}
void usb_id(uint8_t *v)
{
    put<uint16_t>(v, offsetof(usb_id_params, pid), 0x9001);
    put<uint16_t>(v, offsetof(usb_id_params, vid), 0x05c6);
}
void usb_text(uint8_t *v) { memcpy(v + 4, "vg", 3); }

constexpr uint32_t W = MGMT_DOMAIN_WIFI, D = MGMT_DOMAIN_DATA_CALL, N = MGMT_DOMAIN_NETWORK,
                   U = MGMT_DOMAIN_USB, S = MGMT_OPT_SET, G = MGMT_OPT_GET;

const command_row kRows[] = {
    {W, WIFI_CMD_WORK_MODE, S, none}, {W, WIFI_CMD_WORK_MODE, G, none},
    {W, WIFI_CMD_ENABLE, S, none}, {W, WIFI_CMD_ENABLE, G, none},
    {W, WIFI_CMD_COUNTRY_CODE, S, country}, {W, WIFI_CMD_COUNTRY_CODE, G, none},
    {W, WIFI_CMD_MODE, S, iface1}, {W, WIFI_CMD_MODE, G, iface1},
    {W, WIFI_CMD_CHANNEL, S, iface1}, {W, WIFI_CMD_CHANNEL, G, iface1},
    {W, WIFI_CMD_ESSID, S, essid}, {W, WIFI_CMD_ESSID, G, iface1},
    {W, WIFI_CMD_SSID_HIDE, S, iface1}, {W, WIFI_CMD_SSID_HIDE, G, iface1},
    {W, WIFI_CMD_BANDWIDTH, S, iface1}, {W, WIFI_CMD_BANDWIDTH, G, iface1},
    {W, WIFI_CMD_MAX_NUM_STA, S, max_sta}, {W, WIFI_CMD_MAX_NUM_STA, G, iface1},
    {W, WIFI_CMD_11N_ONLY, S, iface1}, {W, WIFI_CMD_11N_ONLY, G, iface1},
    {W, WIFI_CMD_11AC_ONLY, S, iface1}, {W, WIFI_CMD_11AC_ONLY, G, iface1},
    {W, WIFI_CMD_AP_ISOLATE, S, iface1}, {W, WIFI_CMD_AP_ISOLATE, G, iface1},
    {W, WIFI_CMD_AUTH, S, iface1}, {W, WIFI_CMD_AUTH, G, iface1},
    {W, WIFI_CMD_DFS, S, iface1}, {W, WIFI_CMD_DFS, G, iface1},
    {W, WIFI_CMD_RSSI, S, iface1}, {W, WIFI_CMD_RSSI, G, iface1},
    {W, WIFI_CMD_STA_INFO, G, iface1},
    {W, WIFI_CMD_RESTORE_DEFAULT, S, iface1},
    {W, WIFI_CMD_MAC_ACL_RULE, S, iface1}, {W, WIFI_CMD_MAC_ACL_RULE, G, iface1},
    {W, WIFI_CMD_MAC_ACL_ADD, S, iface1}, {W, WIFI_CMD_MAC_ACL_DEL, S, iface1},
    {W, WIFI_CMD_MAC_ACL_INFO, G, iface1},
    {W, WIFI_CMD_ACTIVE, S, iface1},
    {W, WIFI_CMD_STATION_STATUS, G, iface3},
    {D, DATA_CALL_CMD_UP, S, none}, {D, DATA_CALL_CMD_DOWN, S, none},
    {D, DATA_CALL_CMD_INFO, G, info_both},
    {D, DATA_CALL_CMD_APN, S, none}, {D, DATA_CALL_CMD_APN, G, none},
    {D, DATA_CALL_CMD_APN_LIST, G, none},
    {D, DATA_CALL_CMD_APN_DEL, S, none}, {D, DATA_CALL_CMD_APN_ADD, S, none},
    {D, DATA_CALL_CMD_DEFAULT_PROFILE, S, none}, {D, DATA_CALL_CMD_DEFAULT_PROFILE, G, none},
    {N, NETWORK_CMD_DMZ_ADD, S, none}, {N, NETWORK_CMD_DMZ_DEL, S, none},
    {N, NETWORK_CMD_DMZ_GET, G, none},
    {N, NETWORK_CMD_SGMII_ENABLE, S, none}, {N, NETWORK_CMD_SGMII_ENABLE, G, none},
    {N, NETWORK_CMD_SGMII_CONFIG, S, none}, {N, NETWORK_CMD_SGMII_CONFIG, G, none},
    {N, NETWORK_CMD_SGMII_INFO, G, none},
    {N, NETWORK_CMD_LAN_CONFIG, S, none}, {N, NETWORK_CMD_LAN_CONFIG, G, none},
    {N, NETWORK_CMD_SNAT_ADD, S, snat}, {N, NETWORK_CMD_SNAT_DEL, S, snat},
    {N, NETWORK_CMD_SNAT_GET, G, none},
    {N, NETWORK_CMD_ETHERNET_MODE, S, none}, {N, NETWORK_CMD_ETHERNET_MODE, G, none},
    {U, USB_CMD_CONFIG_WRITE, S, none}, {U, USB_CMD_ACTION, S, none},
    {U, USB_CMD_BOOTUP, S, none}, {U, USB_CMD_ID, S, usb_id},
    {U, USB_CMD_PRODUCT_INFO, S, usb_text}, {U, USB_CMD_MANUFAC_INFO, S, usb_text},
    {U, USB_CMD_NET, S, none}, {U, USB_CMD_FUNC, S, none},
    {U, USB_CMD_CONFIG_GET, G, none},
};
static_assert(std::size(kRows) == 39 + 10 + 15 + 9, "every direction of the four tables");

uint32_t value_size(uint32_t domain)
{
    switch (domain) {
    case MGMT_DOMAIN_WIFI: return MGMT_WIFI_VALUE_SIZE;
    case MGMT_DOMAIN_NETWORK: return MGMT_NETWORK_VALUE_SIZE;
    case MGMT_DOMAIN_DATA_CALL: return MGMT_DATA_CALL_VALUE_SIZE;
    default: return MGMT_USB_VALUE_SIZE;
    }
}

// How the call ends.
enum class path { success, refused, send_failed, bad_record };

class HeapFree : public ::testing::TestWithParam<command_row> {
protected:
    void SetUp() override { h = fake::open_handle(); }
    void TearDown() override { vg_mgmt_client_close(h); }

    // Runs the row's command on the given path; the heap calls it made.
    size_t heap_calls_of(path p, int32_t expected_rc)
    {
        const command_row &r = GetParam();
        std::vector<uint8_t> buf(value_size(r.domain), 0);
        r.fill(buf.data());
        for (int answer = 0; answer < 2; ++answer) {
            if (p == path::refused)
                fake::reply_status(1, 5);
            else if (p == path::send_failed)
                fake::reply_send_failure(-1);
        }
        void *value = p == path::bad_record ? nullptr : buf.data();
        const uint32_t command = MGMT_COMMAND(r.domain, r.id);
        fake::count_heap(true);
        const int32_t rc = r.flag == MGMT_OPT_SET
                               ? vg_mgmt_client_set(h, command, value, static_cast<uint32_t>(buf.size()))
                               : vg_mgmt_client_get(h, command, value, static_cast<uint32_t>(buf.size()));
        fake::count_heap(false);
        const size_t calls = fake::heap_calls();
        EXPECT_EQ(rc, expected_rc);
        return calls;
    }

    mgmt_client *h = nullptr;
};

TEST_P(HeapFree, Success)
{
    EXPECT_EQ(heap_calls_of(path::success, 0), 0u);
    EXPECT_GE(fake::sent_count(), 1u);
}

TEST_P(HeapFree, Refused)
{
    EXPECT_EQ(heap_calls_of(path::refused, -1), 0u);
}

TEST_P(HeapFree, SendFailed)
{
    EXPECT_EQ(heap_calls_of(path::send_failed, -1), 0u);
}

TEST_P(HeapFree, NullRecord)
{
    const command_row &r = GetParam();
    const bool takes_no_record = (r.domain == N && r.id == NETWORK_CMD_DMZ_DEL) ||
                                 (r.domain == U && r.id == USB_CMD_CONFIG_WRITE);
    EXPECT_EQ(heap_calls_of(path::bad_record, takes_no_record ? 0 : -1), 0u);
}

std::string row_name(const ::testing::TestParamInfo<command_row> &info)
{
    return "d" + std::to_string(info.param.domain) + "_id" + std::to_string(info.param.id) +
           (info.param.flag == MGMT_OPT_SET ? "_set" : "_get");
}

INSTANTIATE_TEST_SUITE_P(EveryCommand, HeapFree, ::testing::ValuesIn(kRows), row_name);

// The count is live: open allocates the handle and close frees it (the
// fake's connection calls record their names on the heap as well).
TEST(HeapCount, SeesOpenAndClose)
{
    fake::count_heap(true);
    mgmt_client *h = fake::open_handle();
    vg_mgmt_client_close(h);
    fake::count_heap(false);
    EXPECT_GE(fake::heap_calls(), 2u);
}

// The router's and dispatchers' refusals.
TEST(HeapFreeRefusals, RouterAndDispatchers)
{
    mgmt_client *h = fake::open_handle();
    std::vector<uint8_t> buf(MGMT_WIFI_VALUE_SIZE, 0);
    fake::count_heap(true);
    vg_mgmt_client_set(nullptr, MGMT_COMMAND(1, 1), buf.data(), 5000);
    vg_mgmt_client_set(h, MGMT_COMMAND(9, 1), buf.data(), 5000);
    vg_mgmt_client_set(h, MGMT_COMMAND(2, 1), buf.data(), 5000);
    vg_mgmt_client_set(h, MGMT_COMMAND(1, 1), buf.data(), 4999);
    vg_mgmt_client_set(h, MGMT_COMMAND(1, 99), buf.data(), 5000);
    vg_mgmt_client_get(h, MGMT_COMMAND(1, WIFI_CMD_RESTORE_DEFAULT), buf.data(), 5000);
    wifi_command_handle(h, 3, WIFI_CMD_WORK_MODE, buf.data());
    fake::count_heap(false);
    EXPECT_EQ(fake::heap_calls(), 0u);
    vg_mgmt_client_close(h);
}

int32_t ignore_event(uint32_t, const void *, uint32_t)
{
    return 0;
}

TEST(HeapFreeDecoders, EveryIndication)
{
    mgmt_client *h = fake::open_handle(ignore_event);
    wifi_sta_status_ind sta{};
    sta.index = 3;
    wifi_ap_sta_ind ap{};
    data_call_status_ind call{};
    call.state = 1;
    memcpy(call.address_text[0], "10.0.0.2", 9);
    fake::decode_with(sta);
    fake::decode_with(ap);
    fake::decode_with(call);
    call.ip_family = DATA_CALL_IP_V6;
    memcpy(call.address_text[0], "2001:db8::2", 12);
    fake::decode_with(call);
    fake::decode_with(call, -1);
    fake::count_heap(true);
    fake::deliver_indication(KEST_WIFI_STA_STATUS_IND);
    fake::deliver_indication(KEST_WIFI_AP_STA_IND);
    fake::deliver_indication(KEST_DATA_CALL_STATUS_IND);
    fake::deliver_indication(KEST_DATA_CALL_STATUS_IND);
    fake::deliver_indication(KEST_DATA_CALL_STATUS_IND);
    fake::count_heap(false);
    EXPECT_EQ(fake::heap_calls(), 0u);
    EXPECT_EQ(fake::g().decodes.size(), 5u);
    vg_mgmt_client_close(h);
}

} // namespace
