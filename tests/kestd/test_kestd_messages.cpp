// kestd answers every described message with the described records, and no
// message that the descriptions do not know.
#include <gtest/gtest.h>

#include "kest_commands.h"
#include "kestd_msg.h"

namespace {

TEST(KestdMessages, EveryDescribedMessageHasItsRow)
{
    for (const kest_command_table &t : kCommandTables) {
        for (size_t i = 0; i < t.count; ++i) {
            const kest_command &c = t.rows[i];
            SCOPED_TRACE(c.msg_id);
            const kestd_msg_row *row = kestd_find_row(c.msg_id);
            ASSERT_NE(row, nullptr);
            EXPECT_EQ(row->req_size, c.req_len);
            EXPECT_EQ(row->resp_size, c.resp_len);
        }
    }
}

TEST(KestdMessages, EveryRowIsDescribed)
{
    for (uint32_t id = 0; id <= kKestMsgIdMax + 1; ++id) {
        if (kestd_find_row(id) == nullptr)
            continue;
        bool described = false;
        for (const kest_command_table &t : kCommandTables)
            for (size_t i = 0; i < t.count; ++i)
                described = described || t.rows[i].msg_id == id;
        EXPECT_TRUE(described) << id;
    }
}

} // namespace
