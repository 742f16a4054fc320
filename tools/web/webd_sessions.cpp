// Sessions and the slowing of failed logins.
#include "webd_sessions.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>

namespace webd {

namespace {

constexpr unsigned kFreeFailures = 3; // before any wait
constexpr long kMaxWaitSeconds = 60;  // the longest wait
constexpr size_t kMaxRecords = 4096;  // bounded: a flood of names forgets the oldest
constexpr auto kForgetAfter = std::chrono::minutes(15);

} // namespace

std::string random_hex(size_t n)
{
    unsigned char buf[64];
    if (n > sizeof buf)
        return "";
    for (size_t got = 0; got < n;) {
        const ssize_t r = ::getrandom(buf + got, n - got, 0);
        if (r < 0 && errno != EINTR)
            return "";
        got += r > 0 ? static_cast<size_t>(r) : 0;
    }
    static const char digits[] = "0123456789abcdef";
    std::string s;
    for (size_t i = 0; i < n; ++i)
        s += {digits[buf[i] >> 4], digits[buf[i] & 15]};
    return s;
}

void sessions::drop_expired(clock_type::time_point now)
{
    for (auto it = by_token_.begin(); it != by_token_.end();)
        if (now - it->second.used > limits_.idle || now - it->second.created > limits_.absolute)
            it = by_token_.erase(it);
        else
            ++it;
}

std::string sessions::open(const std::string &user, role r, session_info &info)
{
    const std::string token = random_hex(16), csrf = random_hex(16);
    if (token.empty() || csrf.empty())
        return "";
    const clock_type::time_point now = clock_type::now();
    std::lock_guard lock(mu_);
    drop_expired(now);
    while (by_token_.size() >= limits_.max_sessions)
        by_token_.erase(
            std::min_element(by_token_.begin(), by_token_.end(), [](const auto &a, const auto &b) {
                return a.second.used < b.second.used;
            }));
    info = session_info{user, r, csrf};
    by_token_[token] = entry{info, now, now};
    return token;
}

std::optional<session_info> sessions::find(const std::string &token)
{
    const clock_type::time_point now = clock_type::now();
    std::lock_guard lock(mu_);
    drop_expired(now);
    const auto it = by_token_.find(token); // a map of random keys: its order tells nothing useful
    if (token.size() != 32 || it == by_token_.end())
        return std::nullopt;
    it->second.used = now;
    return it->second.info;
}

bool sessions::alive(const std::string &token)
{
    std::lock_guard lock(mu_);
    drop_expired(clock_type::now());
    return by_token_.count(token) != 0;
}

void sessions::close(const std::string &token)
{
    std::lock_guard lock(mu_);
    by_token_.erase(token);
}

void sessions::close_user(const std::string &user)
{
    std::lock_guard lock(mu_);
    std::erase_if(by_token_, [&](const auto &e) { return e.second.info.user == user; });
}

size_t sessions::count()
{
    std::lock_guard lock(mu_);
    drop_expired(clock_type::now());
    return by_token_.size();
}

long login_throttle::wait_of(const std::string &key, clock_type::time_point now)
{
    const auto it = records_.find(key);
    if (it == records_.end() || it->second.next <= now)
        return 0;
    return std::chrono::duration_cast<std::chrono::seconds>(it->second.next - now).count() + 1;
}

long login_throttle::wait_for(const std::string &address, const std::string &user)
{
    const clock_type::time_point now = clock_type::now();
    std::lock_guard lock(mu_);
    return std::max(wait_of("a:" + address, now), wait_of("u:" + user, now));
}

void login_throttle::note(const std::string &key, clock_type::time_point now)
{
    if (records_.size() >= kMaxRecords)
        std::erase_if(records_, [&](const auto &e) { return now - e.second.last > kForgetAfter; });
    if (records_.size() >= kMaxRecords)
        records_.erase(
            std::min_element(records_.begin(), records_.end(), [](const auto &a, const auto &b) {
                return a.second.last < b.second.last;
            }));
    record &r = records_[key];
    if (now - r.last > kForgetAfter)
        r.failures = 0;
    r.last = now;
    if (++r.failures > kFreeFailures)
        r.next = now + std::chrono::seconds(std::min(
                           kMaxWaitSeconds, 1L << std::min(r.failures - kFreeFailures, 6u)));
}

void login_throttle::failed(const std::string &address, const std::string &user)
{
    const clock_type::time_point now = clock_type::now();
    std::lock_guard lock(mu_);
    note("a:" + address, now);
    note("u:" + user, now);
}

void login_throttle::succeeded(const std::string &user)
{
    std::lock_guard lock(mu_);
    records_.erase("u:" + user);
}

} // namespace webd
