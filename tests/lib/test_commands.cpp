// What every handler shares, over every described command and direction:
// the message it sends, how it fails, its null check, its instance check,
// its name on its lines, and the dispatchers' refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "command_rows.h"
#include "fake_platform.h"

using fake::g;
using namespace vg_rows;

namespace {

// What a domain's dispatcher and handlers say in their own words: the prefix
// of the handlers' names, the line of a null value, the dispatcher's word
// ("cannot found %d <word> command"), whether a direction without a handler
// sets the error number, and whether the table ends in a row of id -1.
struct domain_row {
    uint32_t domain;
    const char *prefix, *null_text, *word;
    int32_t (*dispatch)(mgmt_client *, uint32_t, uint32_t, void *);
    bool null_handler_sets_errno, has_last_row;
};
constexpr domain_row kDomains[] = {
    {W, "wifi_", "the wifi params is null", "WiFi", wifi_command_handle, false, true},
    {D, "data_call_", "the data call params is null", "Data Call", data_call_command_handle, true,
     false},
    {N, "network_", "the network params is null", "network", network_command_handle, true, false},
    {U, "usb_", "NULL params", "Usb", usb_command_handle, false, true},
};
const domain_row &domain_of(uint32_t domain)
{
    return *std::ranges::find(kDomains, domain, &domain_row::domain);
}

bool is_transport(const fake::log_line &l)
{
    return l.text.starts_with("qmi_client_send_msg_sync(");
}
bool logged_transport(const std::string &tail)
{
    return std::ranges::any_of(fake::logs(), [&](const fake::log_line &l) {
        return is_transport(l) && l.text.ends_with(tail);
    });
}

// The commands that judge an answer by its error rather than its result.
bool judged_by_error(const kest_command &r)
{
    return r.domain == D && (r.command == DATA_CALL_CMD_UP || r.command == DATA_CALL_CMD_DOWN ||
                             r.command == DATA_CALL_CMD_INFO);
}

class Commands : public ::testing::Test {
protected:
    void SetUp() override { h = fake::open_handle(); }
    void TearDown() override { vg_mgmt_client_close(h); }

    // The row's domain buffer: its record zeroed and filled good, the bytes
    // behind it patterned.
    static std::vector<uint8_t> buffer(const kest_command &r)
    {
        auto buf = fake::patterned(size_of(r.domain));
        memset(buf.data(), 0, r.record_len);
        fill(r, buf.data());
        return buf;
    }
    // Runs the row with a clean log, nothing sent and error number 1234.
    int32_t call(const kest_command &r, void *value)
    {
        g().logs.clear();
        g().sent.clear();
        vg_mgmt_set_errno(1234);
        return run(h, r, value);
    }
    // The name on the lines of the row's handler, from a call that succeeds.
    std::string handler(const kest_command &r)
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
    for (const kest_command &c : kRows) {
        SCOPED_TRACE(row_name(c));
        auto buf = buffer(c);
        const auto before = buf;
        ASSERT_EQ(call(c, buf.data()), 0);
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
        EXPECT_TRUE(name.starts_with(domain_of(c.domain).prefix)) << name;
        EXPECT_TRUE(name.ends_with(c.flag == S ? "_set" : "_get")) << name;
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
        EXPECT_TRUE(c.flag == G || buf == before);
    }
}

// A refusal passes the service's error on, a failed send leaves error 0; both
// end in the handler's failure line and leave the record as it was.
TEST_F(Commands, PassTheServiceErrorOnAndLeaveTheRecord)
{
    for (const kest_command &r : kRows) {
        SCOPED_TRACE(row_name(r));
        const std::string name = handler(r);
        auto buf = buffer(r);
        const auto before = buf;
        fake::reply_status(1, 77);
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
    for (const kest_command &r : kRows) {
        SCOPED_TRACE(row_name(r));
        const std::string name = handler(r);
        const int32_t rc = call(r, nullptr);
        if (r.record_len == 0) {
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

// A Wi-Fi interface outside 1 to 3 is refused without a line; a USB instance
// other than 0 is refused first, by a helper of its own, with every other
// field out of range too. Nothing is sent and the record stays.
TEST_F(Commands, InstanceOutsideItsRangeIsRefused)
{
    size_t tested = 0;
    for (const kest_command &r : kRows) {
        const kest_instance in = instance_of(r.domain, r.command);
        const bool iface = in == kest_instance::iface, usb = in == kest_instance::usb;
        if ((!iface && !usb) || r.record_len == 0)
            continue;
        SCOPED_TRACE(row_name(r));
        ++tested;
        for (uint32_t index : iface ? std::vector{0u, 4u, 0x101u} : std::vector{1u, ~0u}) {
            auto buf = usb ? fake::patterned(MGMT_USB_VALUE_SIZE) : buffer(r);
            put<uint32_t>(buf.data(), 0, index);
            const auto before = buf;
            EXPECT_EQ(call(r, buf.data()), -1);
            EXPECT_EQ(vg_mgmt_get_errno(), 2);
            EXPECT_TRUE(g().sent.empty());
            EXPECT_EQ(buf, before);
            const auto lines = fake::logs();
            ASSERT_EQ(lines.size(), iface ? 2u : 3u); // the router's and the dispatcher's
            if (usb) {
                EXPECT_EQ(lines[2].text, "check usb num " +
                                             std::to_string(static_cast<int32_t>(index)) +
                                             " failure");
                EXPECT_EQ(lines[2].level, 1);
                EXPECT_EQ(lines[2].func, "check_usb_num");
            }
        }
    }
    EXPECT_GT(tested, 0u);
}

// ---------------------------------------------------------------------------
// Dispatchers: a dispatcher called directly, its lines all in its name.

uint32_t last_id(uint32_t domain)
{
    uint32_t n = 0;
    for (const kest_command &r : kRows)
        n = r.domain == domain ? std::max(n, r.command) : n;
    return n;
}

std::vector<fake::log_line> dispatch(mgmt_client *h, const domain_row &d, uint32_t flag,
                                     uint32_t id, int32_t err)
{
    SCOPED_TRACE(std::string(d.word) + " " + std::to_string(id) + " " + std::to_string(flag));
    g().logs.clear();
    vg_mgmt_set_errno(1234);
    std::vector<uint8_t> buf(size_of(d.domain));
    EXPECT_EQ(d.dispatch(h, flag, id, buf.data()), -1);
    EXPECT_EQ(vg_mgmt_get_errno(), err);
    const auto lines = fake::logs();
    for (const fake::log_line &l : lines)
        EXPECT_EQ(l.func, std::string(d.prefix) + "command_handle");
    return lines;
}

// An id outside the table is not found, whatever the flag. A found id logs
// the find; then a flag other than set or get, or a direction without a
// handler (the -1 row that ends some tables has none), is refused.
TEST_F(Commands, DispatchersRefuseWhatTheyCannotRun)
{
    for (const domain_row &d : kDomains) {
        const uint32_t top = last_id(d.domain);
        for (uint32_t id : {0u, top + 1, 65535u, ~0u}) {
            if (id == ~0u && d.has_last_row)
                continue;
            for (uint32_t flag : {0u, 1u, 2u, 3u}) {
                const auto lines = dispatch(h, d, flag, id, -2);
                ASSERT_EQ(lines.size(), 1u);
                EXPECT_EQ(lines[0].text, "cannot found " + std::to_string(static_cast<int>(id)) +
                                             " " + d.word + " command");
                EXPECT_EQ(lines[0].level, 2);
            }
        }
        for (uint32_t id = 1; id <= top + 1; ++id) {
            const uint32_t at = id <= top ? id : ~0u;
            if (at == ~0u && !d.has_last_row)
                continue;
            for (uint32_t flag : {0u, 1u, 2u, 3u}) {
                if (kest_command_find(d.domain, at, flag) != nullptr)
                    continue;
                const bool known = flag == S || flag == G;
                const auto lines =
                    dispatch(h, d, flag, at, !known || d.null_handler_sets_errno ? -2 : 1234);
                ASSERT_EQ(lines.size(), 2u);
                const std::string n = std::to_string(static_cast<int>(at));
                EXPECT_EQ(lines[0].text, "found " + std::string(d.word) + " command " + n +
                                             ", command flag " + std::to_string(flag));
                EXPECT_EQ(lines[0].level, 4);
                EXPECT_EQ(lines[1].text, known ? "command " + n + " function is null"
                                               : std::to_string(flag) + " invalid command flag");
                EXPECT_EQ(lines[1].level, 2);
            }
        }
    }
    EXPECT_TRUE(g().sent.empty());
}

} // namespace
