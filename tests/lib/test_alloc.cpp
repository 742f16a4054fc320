// The command path and the decoders use no heap: every command of the four
// tables, on its success and failure paths, and both decoders make no call
// of malloc, calloc, realloc or free (nor of new and delete, which land
// there).
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "command_rows.h"
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
using namespace vg_rows;

// Every command on every path: success, refused by the service, a failed
// send, and a null record (which the commands without one take).
class HeapFree : public ::testing::TestWithParam<kest_command> {};

TEST_P(HeapFree, OnEveryPath)
{
    const kest_command &r = GetParam();
    mgmt_client *h = fake::open_handle();
    std::vector<uint8_t> buf(size_of(r.domain), 0);
    fill(r, buf.data());
    const std::pair<void (*)(), int32_t> paths[] = {
        {[] {}, 0},
        {[] { fake::reply_status(1, 5); }, -1},
        {[] { fake::reply_send_failure(-1); }, -1},
        {nullptr, r.record_len == 0 ? 0 : -1},
    };
    for (const auto &[script, rc] : paths) {
        if (script != nullptr)
            script();
        fake::count_heap(true);
        EXPECT_EQ(run(h, r, script != nullptr ? buf.data() : nullptr), rc);
        fake::count_heap(false);
        EXPECT_EQ(fake::heap_calls(), 0u);
    }
    vg_mgmt_client_close(h);
}

INSTANTIATE_TEST_SUITE_P(EveryCommand, HeapFree, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<kest_command> &row) {
                             return "d" + std::to_string(row.param.domain) + "_id" +
                                    std::to_string(row.param.command) +
                                    (row.param.flag == S ? "_set" : "_get");
                         });

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
