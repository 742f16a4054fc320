// The configuration document's changes, in-process and without a service:
// the diff of two documents as `config diff` writes it, and the document
// that each of the Ansible module's states makes true.
#include <string>
#include <vector>

#include "config_apply.h"
#include "config_states.h"
#include "row_name.h"

namespace {

using vgcfg::json;

struct diff_row {
    const char *name;
    const char *before;
    const char *after;
    std::vector<std::string> lines; // in order
};

const diff_row diff_rows[] = {
    {"nothing", R"({"wifi":{"work-mode":1}})", R"({"wifi":{"work-mode":1}})", {}},
    {"one setting",
     R"({"wifi":{"work-mode":1}})",
     R"({"wifi":{"work-mode":3}})",
     {"wifi.work-mode: 1 -> 3"}},
    {"a setting of an interface",
     R"({"wifi":{"interfaces":{"2":{"channel":36}}}})",
     R"({"wifi":{"interfaces":{"2":{"channel":44}}}})",
     {"wifi.interfaces.2.channel: 36 -> 44"}},
    {"an entry added and one removed",
     R"({"wifi":{"interfaces":{"1":{"acl":["02:00:00:00:00:01"]}}}})",
     R"({"wifi":{"interfaces":{"1":{"acl":["02:00:00:00:00:02"]}}}})",
     {"wifi.interfaces.1.acl: [\"02:00:00:00:00:01\"] -> [\"02:00:00:00:00:02\"]"}},
    {"a value that goes away",
     R"({"network":{"dmz":"192.168.225.50"}})",
     R"({"network":{"dmz":null}})",
     {"network.dmz: \"192.168.225.50\" -> (none)"}},
};

class Diff : public ::testing::TestWithParam<diff_row> {};

TEST_P(Diff, WritesOneLinePerChange)
{
    const diff_row &r = GetParam();
    std::vector<std::string> lines;
    for (const vgcfg::change &c : vgcfg::document_diff(json::parse(r.before), json::parse(r.after)))
        lines.push_back(vgcfg::change_line(c));
    EXPECT_EQ(lines, r.lines);
}

INSTANTIATE_TEST_SUITE_P(Rows, Diff, ::testing::ValuesIn(diff_rows), cli::RowName{});

// A current configuration with a list and two settings, secrets in clear.
const char *const kCurrent = R"({"wifi":{"work-mode":1,"interfaces":{"1":{"channel":6,
    "acl":["02:00:00:00:00:01","02:00:00:00:00:02"]}}},"network":{"dmz":"192.168.225.50"}})";

// What the target document holds at a place: a value, or nothing ("").
struct holds {
    const char *pointer;
    const char *value;
};

struct state_row {
    const char *name;
    vgcfg::config_state state;
    const char *given;
    std::vector<holds> target;
};

using S = vgcfg::config_state;
const state_row state_rows[] = {
    {"merged sets a key and adds an entry",
     S::merged,
     R"({"wifi":{"interfaces":{"1":{"channel":11,"acl":["02:00:00:00:00:03"]}}}})",
     {{"/wifi/interfaces/1/channel", "11"},
      {"/wifi/interfaces/1/acl",
       R"(["02:00:00:00:00:01","02:00:00:00:00:02","02:00:00:00:00:03"])"},
      {"/wifi/work-mode", ""},
      {"/network", ""}}},
    {"merged leaves what it is not given",
     S::merged,
     R"({"wifi":{"work-mode":2}})",
     {{"/wifi/work-mode", "2"}, {"/wifi/interfaces", ""}}},
    {"replaced makes a given list exact and the section's other keys default",
     S::replaced,
     R"({"wifi":{"interfaces":{"1":{"acl":["02:00:00:00:00:02"]}}}})",
     {{"/wifi/interfaces/1/acl", R"(["02:00:00:00:00:02"])"},
      {"/wifi/interfaces/1/max-sta", "10"},
      {"/wifi/work-mode", ""},
      {"/network", ""}}},
    {"overridden makes every section default but what is given",
     S::overridden,
     R"({"wifi":{"work-mode":2}})",
     {{"/wifi/work-mode", "2"}, {"/network/dmz", "null"}}},
    {"deleted removes the entries given",
     S::deleted,
     R"({"wifi":{"interfaces":{"1":{"acl":["02:00:00:00:00:01"]}}}})",
     {{"/wifi/interfaces/1/acl", R"(["02:00:00:00:00:02"])"}, {"/wifi/work-mode", ""}}},
};

class States : public ::testing::TestWithParam<state_row> {};

TEST_P(States, TargetWhatTheStateSays)
{
    const state_row &r = GetParam();
    const json target = vgcfg::state_target(r.state, json::parse(r.given), json::parse(kCurrent));
    for (const holds &h : r.target) {
        const json::json_pointer at(h.pointer);
        if (*h.value == '\0')
            EXPECT_FALSE(target.contains(at)) << h.pointer << " in " << target.dump();
        else // a value there: null is not the same as nothing
            EXPECT_EQ(target.contains(at) ? target.at(at) : json("nothing"), json::parse(h.value))
                << h.pointer << " in " << target.dump();
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, States, ::testing::ValuesIn(state_rows), cli::RowName{});

} // namespace
