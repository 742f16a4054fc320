// What every handler shares, over every described command and direction:
// the message it sends, how it fails, its null check, its name on its lines,
// the dispatchers' refusals, and the range edges of every tested field.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "command_rows.h"
#include "fake_platform.h"

using fake::g;
using namespace vg_rows;

namespace {

const kest_command &described(const command_row &r)
{
    return *kest_command_find(r.domain, r.id, r.flag);
}

std::string row_name(const command_row &r)
{
    return "domain " + std::to_string(r.domain) + " command " + std::to_string(r.id) +
           (r.flag == S ? " set" : " get");
}

bool is_transport(const fake::log_line &l)
{
    return l.text.starts_with("qmi_client_send_msg_sync(");
}

// A transport line with the given end was logged.
bool logged_transport(const std::string &tail)
{
    const auto lines = fake::logs();
    return std::ranges::any_of(
        lines, [&](const fake::log_line &l) { return is_transport(l) && l.text.ends_with(tail); });
}

// Queues a patterned answer of the row's response length with the status.
void answer(const command_row &r, uint16_t result, uint16_t error)
{
    fake::reply a{0, fake::patterned(described(r).resp_len, 0x3c)};
    const resp_status st{result, error};
    memcpy(a.bytes.data(), &st, sizeof st);
    g().replies.push_back(a);
}

class Commands : public ::testing::Test {
protected:
    void SetUp() override { h = fake::open_handle(); }
    void TearDown() override { vg_mgmt_client_close(h); }

    // A buffer of the row's domain: its record zeroed and filled so that it
    // passes the range tests, the bytes behind the record patterned.
    static std::vector<uint8_t> buffer(const command_row &r)
    {
        auto buf = fake::patterned(domain_of(r.domain).size);
        memset(buf.data(), 0, described(r).record_len);
        r.fill(buf.data());
        return buf;
    }
    // Runs the row with a clean log, nothing sent and error number 1234.
    int32_t call(const command_row &r, void *value)
    {
        g().logs.clear();
        g().sent.clear();
        vg_mgmt_set_errno(1234);
        return run(h, r, value);
    }
    // The name on the lines of the row's handler, from a call that succeeds.
    std::string handler(const command_row &r)
    {
        auto buf = buffer(r);
        EXPECT_EQ(call(r, buf.data()), 0);
        return fake::logs().back().func;
    }

    mgmt_client *h = nullptr;
};

// On success: the described message, one name on all the handler's lines (the
// domain's prefix, the direction last, no two alike), a transport line per
// send, the error number kept, nothing written behind the record, and a set
// handler writes nothing at all.
TEST_F(Commands, SendTheirDescribedMessage)
{
    std::set<std::string> names;
    for (const command_row &r : kRows) {
        SCOPED_TRACE(row_name(r));
        const kest_command &c = described(r);
        auto buf = buffer(r);
        const auto before = buf;
        ASSERT_EQ(call(r, buf.data()), 0);
        ASSERT_FALSE(g().sent.empty());
        for (const fake::sent_msg &m : g().sent) {
            EXPECT_EQ(m.msg_id, c.msg_id);
            EXPECT_EQ(m.req_len, c.req_len);
            EXPECT_EQ(m.req_null, c.req_len == 0);
            EXPECT_EQ(m.resp_len, c.resp_len);
            EXPECT_EQ(m.timeout_ms, c.timeout_ms);
        }
        const auto lines = fake::logs(); // the router's, the dispatcher's, then the handler's
        ASSERT_GT(lines.size(), 2u);
        const std::string name = lines.back().func;
        EXPECT_TRUE(name.starts_with(domain_of(r.domain).prefix)) << name;
        EXPECT_TRUE(name.ends_with(r.flag == S ? "_set" : "_get")) << name;
        EXPECT_TRUE(names.insert(name).second) << name;
        size_t transport = 0;
        for (size_t i = 2; i < lines.size(); ++i) {
            EXPECT_EQ(lines[i].func, name) << lines[i].text;
            if (is_transport(lines[i])) {
                ++transport;
                EXPECT_TRUE(lines[i].text.ends_with("): error 0 result 0")) << lines[i].text;
                EXPECT_EQ(lines[i].level, 4);
            }
        }
        EXPECT_EQ(transport, g().sent.size());
        EXPECT_EQ(vg_mgmt_get_errno(), 1234);
        const auto tail = static_cast<std::ptrdiff_t>(c.record_len);
        EXPECT_TRUE(std::equal(buf.begin() + tail, buf.end(), before.begin() + tail));
        if (r.flag == S) {
            EXPECT_EQ(buf, before);
        }
    }
    EXPECT_EQ(names.size(), kCommandCount);
}

// The commands that judge an answer by its error rather than its result.
bool judged_by_error(const command_row &r)
{
    return r.domain == D &&
           (r.id == DATA_CALL_CMD_UP || r.id == DATA_CALL_CMD_DOWN || r.id == DATA_CALL_CMD_INFO);
}

// A refusal passes the service's error on, a failed send leaves error 0; both
// end in the handler's failure line and leave the record as it was.
TEST_F(Commands, PassTheServiceErrorOnAndLeaveTheRecord)
{
    for (const command_row &r : kRows) {
        SCOPED_TRACE(row_name(r));
        const std::string name = handler(r);
        auto buf = buffer(r);
        const auto before = buf;
        answer(r, 1, 77);
        EXPECT_EQ(call(r, buf.data()), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 77);
        EXPECT_TRUE(fake::logs().back().text.ends_with(": error 77")) << fake::logs().back().text;
        EXPECT_EQ(fake::logs().back().level, 1);
        EXPECT_EQ(fake::logs().back().func, name);
        EXPECT_TRUE(logged_transport("): error 0 result 1"));
        EXPECT_EQ(buf, before);

        fake::reply_send_failure(-3);
        EXPECT_EQ(call(r, buf.data()), -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 0);
        EXPECT_TRUE(logged_transport("): error -3 result 0"));
        EXPECT_TRUE(fake::logs().back().text.ends_with(": error 0")) << fake::logs().back().text;
        EXPECT_EQ(buf, before);

        const bool by_error = judged_by_error(r);
        fake::reply_status(1, 0);
        EXPECT_EQ(call(r, buf.data()), by_error ? 0 : -1);
        EXPECT_EQ(vg_mgmt_get_errno(), by_error ? 1234 : 0);
        buf = before;
        fake::reply_status(0, 7);
        EXPECT_EQ(call(r, buf.data()), by_error ? -1 : 0);
        EXPECT_EQ(vg_mgmt_get_errno(), by_error ? 7 : 1234);
    }
}

// A null value is refused in the handler's name, before anything is sent;
// the commands that describe no record take none and run.
TEST_F(Commands, RefuseANullValueInTheirOwnName)
{
    for (const command_row &r : kRows) {
        SCOPED_TRACE(row_name(r));
        const std::string name = handler(r);
        const int32_t rc = call(r, nullptr);
        if (described(r).record_len == 0) {
            EXPECT_EQ(rc, 0);
            EXPECT_EQ(g().sent.size(), 1u);
            continue;
        }
        EXPECT_EQ(rc, -1);
        EXPECT_EQ(vg_mgmt_get_errno(), 2);
        EXPECT_TRUE(g().sent.empty());
        const auto lines = fake::logs();
        ASSERT_EQ(lines.size(), 3u);
        EXPECT_EQ(lines[2].text, domain_of(r.domain).null_text);
        EXPECT_EQ(lines[2].level, 1);
        EXPECT_EQ(lines[2].func, name);
    }
}

// Wi-Fi commands whose record names an interface refuse one outside 1 to 3
// without a line; the others have no interface, or their own test of it.
TEST_F(Commands, WifiInterfaceOutsideOneToThreeIsRefusedSilently)
{
    constexpr uint32_t kNoInterfaceTest[] = {WIFI_CMD_WORK_MODE,      WIFI_CMD_ENABLE,
                                             WIFI_CMD_COUNTRY_CODE,   WIFI_CMD_STA_INFO,
                                             WIFI_CMD_STATION_STATUS, WIFI_CMD_RESTORE_DEFAULT};
    size_t tested = 0;
    for (const command_row &r : kRows) {
        if (r.domain != W || std::ranges::count(kNoInterfaceTest, r.id) != 0)
            continue;
        SCOPED_TRACE(row_name(r));
        ++tested;
        for (uint32_t index : {0u, 4u, 0x101u}) {
            auto buf = buffer(r);
            put<uint32_t>(buf.data(), 0, index);
            EXPECT_EQ(call(r, buf.data()), -1);
            EXPECT_EQ(vg_mgmt_get_errno(), 2);
            EXPECT_EQ(fake::logs().size(), 2u); // the router's and the dispatcher's alone
            EXPECT_TRUE(g().sent.empty());
        }
    }
    EXPECT_GT(tested, 0u);
}

// USB's instance is tested first, by a helper of its own, in every handler
// that reads a record.
TEST_F(Commands, UsbInstanceIsCheckedFirst)
{
    for (const command_row &r : kRows) {
        if (r.domain != U || described(r).record_len == 0)
            continue;
        SCOPED_TRACE(row_name(r));
        for (uint32_t num : {1u, 0xffffffffu}) {
            auto buf = fake::patterned(MGMT_USB_VALUE_SIZE); // every field out of range
            put<uint32_t>(buf.data(), 0, num);
            const auto before = buf;
            EXPECT_EQ(call(r, buf.data()), -1);
            EXPECT_EQ(vg_mgmt_get_errno(), 2);
            EXPECT_EQ(fake::logs().back().text,
                      "check usb num " + std::to_string(static_cast<int32_t>(num)) + " failure");
            EXPECT_EQ(fake::logs().back().level, 1);
            EXPECT_EQ(fake::logs().back().func, "check_usb_num");
            EXPECT_EQ(buf, before);
            EXPECT_TRUE(g().sent.empty());
        }
    }
}

// ---------------------------------------------------------------------------
// Dispatchers

uint32_t last_id(uint32_t domain)
{
    uint32_t n = 0;
    for (const command_row &r : kRows)
        n = r.domain == domain ? std::max(n, r.id) : n;
    return n;
}

// Calls a dispatcher directly; its lines, which must carry its name.
std::vector<fake::log_line> dispatch(mgmt_client *h, const domain_row &d, uint32_t flag,
                                     uint32_t id, int32_t rc, int32_t err)
{
    g().logs.clear();
    vg_mgmt_set_errno(1234);
    std::vector<uint8_t> buf(d.size);
    EXPECT_EQ(d.dispatch(h, flag, id, buf.data()), rc);
    EXPECT_EQ(vg_mgmt_get_errno(), err);
    const auto lines = fake::logs();
    for (const fake::log_line &l : lines)
        EXPECT_EQ(l.func, std::string(d.prefix) + "command_handle");
    return lines;
}

// An id outside the table is not found, whatever the flag.
TEST_F(Commands, DispatchersFindNoIdOutsideTheirTable)
{
    for (const domain_row &d : kDomains) {
        std::vector<uint32_t> ids{0, last_id(d.domain) + 1, 65535};
        if (!d.has_last_row)
            ids.push_back(0xffffffffu);
        for (uint32_t id : ids)
            for (uint32_t flag : {0u, 1u, 2u, 3u}) {
                SCOPED_TRACE(std::string(d.word) + " " + std::to_string(id));
                const auto lines = dispatch(h, d, flag, id, -1, -2);
                ASSERT_EQ(lines.size(), 1u);
                EXPECT_EQ(lines[0].text, "cannot found " + std::to_string(static_cast<int>(id)) +
                                             " " + d.word + " command");
                EXPECT_EQ(lines[0].level, 2);
            }
    }
    EXPECT_TRUE(g().sent.empty());
}

// A found id logs the find; then a flag other than set or get, or a direction
// without a handler (the -1 row that ends some tables has none), is refused.
TEST_F(Commands, DispatchersRefuseBadFlagsAndMissingDirections)
{
    for (const domain_row &d : kDomains) {
        std::vector<uint32_t> ids;
        for (uint32_t id = 1; id <= last_id(d.domain); ++id)
            ids.push_back(id);
        if (d.has_last_row)
            ids.push_back(0xffffffffu);
        for (uint32_t id : ids)
            for (uint32_t flag : {0u, 1u, 2u, 3u}) {
                const bool handled = kest_command_find(d.domain, id, flag) != nullptr;
                if (handled)
                    continue;
                const bool known_flag = flag == S || flag == G;
                SCOPED_TRACE(std::string(d.word) + " " + std::to_string(id));
                const auto lines = dispatch(h, d, flag, id, -1,
                                            !known_flag || d.null_handler_sets_errno ? -2 : 1234);
                ASSERT_EQ(lines.size(), 2u);
                const std::string n = std::to_string(static_cast<int>(id));
                EXPECT_EQ(lines[0].text, "found " + std::string(d.word) + " command " + n +
                                             ", command flag " + std::to_string(flag));
                EXPECT_EQ(lines[0].level, 4);
                EXPECT_EQ(lines[1].text, known_flag
                                             ? "command " + n + " function is null"
                                             : std::to_string(flag) + " invalid command flag");
                EXPECT_EQ(lines[1].level, 2);
            }
    }
    EXPECT_TRUE(g().sent.empty());
}

} // namespace
