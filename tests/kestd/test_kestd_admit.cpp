// Who may have one more connection, in-process: one row per limit and per
// edge of it (the whole limit, one user's quarter, the eighth kept for root
// and the service's own user, and the small limits that keep no eighth).
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "kestd_loop.h"

namespace {

using kestd_loop::server;

// Users other than root and the service's own; `kOwn` is that own user.
enum who : int { kRoot = -1, kOwn = -2 };

uid_t uid_of(int user)
{
    if (user == kRoot)
        return 0;
    if (user == kOwn)
        return ::geteuid();
    const uid_t base = ::geteuid() == 60000 ? 61000 : 60000;
    return base + static_cast<uid_t>(user);
}

struct admit_row {
    const char *name;
    size_t max_clients;
    std::vector<int> connected; // a user per connection
    int newcomer;
    const char *refusal; // nullptr: admitted
};

// `n` connections, spread over users `first`, `first + 1`, ..., `per` each.
std::vector<int> spread(size_t n, int first, size_t per)
{
    std::vector<int> users;
    for (size_t i = 0; i < n; ++i)
        users.push_back(first + static_cast<int>(i / per));
    return users;
}

std::vector<int> times(size_t n, int user)
{
    return std::vector<int>(n, user);
}

const char *const kAll = "the limit (--max-clients)";
const char *const kOne = "the limit for one user";
const char *const kOthers = "the limit for users other than root and the service's";

const admit_row kRows[] = {
    {"empty", 64, {}, 1, nullptr},
    {"full_refuses_root_too", 4, times(4, kRoot), kRoot, kAll},
    {"full_refuses_own_user_too", 4, times(4, 1), kOwn, kAll},
    {"root_below_full", 64, spread(63, 1, 15), kRoot, nullptr},
    {"own_user_below_full", 64, spread(63, 1, 15), kOwn, nullptr},
    {"quarter_less_one", 64, times(15, 1), 1, nullptr},
    {"quarter", 64, times(16, 1), 1, kOne},
    {"quarter_is_per_user", 64, times(16, 1), 2, nullptr},
    {"quarter_at_least_one", 3, {}, 1, nullptr},
    {"quarter_at_least_one_used", 3, times(1, 1), 1, kOne},
    {"eighth_kept_less_one", 64, spread(55, 1, 15), 9, nullptr},
    {"eighth_kept", 64, spread(56, 1, 15), 9, kOthers},
    {"root_and_own_take_from_no_share", 64,
     [] {
         auto v = spread(55, 1, 15);
         v.insert(v.end(), 4, kRoot);
         v.insert(v.end(), 4, kOwn);
         return v;
     }(),
     9, nullptr},
    {"no_eighth_below_eight", 7, spread(6, 1, 1), 9, nullptr},
    {"no_eighth_below_eight_full", 7, spread(7, 1, 1), 9, kAll},
    {"eighth_of_eight", 8, spread(7, 1, 2), 9, kOthers},
};

class Admit : public ::testing::TestWithParam<admit_row> {};

TEST_P(Admit, OneMoreConnection)
{
    const admit_row &row = GetParam();
    kestd_service svc;
    kestd_limits limits;
    limits.max_clients = row.max_clients;
    server s(svc, limits);
    for (int user : row.connected) {
        s.conns.push_back(std::make_unique<kestd_loop::connection>());
        s.conns.back()->uid = uid_of(user);
    }
    const char *why = kestd_loop::full_for(s, uid_of(row.newcomer));
    if (row.refusal == nullptr)
        EXPECT_EQ(why, nullptr) << why;
    else
        EXPECT_EQ(std::string(why ? why : "admitted"), row.refusal);
}

std::string row_name(const ::testing::TestParamInfo<admit_row> &row)
{
    return row.param.name;
}

INSTANTIATE_TEST_SUITE_P(Limits, Admit, ::testing::ValuesIn(kRows), row_name);

} // namespace
