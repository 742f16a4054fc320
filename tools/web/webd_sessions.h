// vg-webd's sessions: random 128-bit tokens in a cookie, each with a CSRF
// token of its own, an idle and an absolute expiry; and the slowing of
// failed logins per address and per user.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "webd_users.h"

namespace webd {

using clock_type = std::chrono::steady_clock;

struct session_info {
    std::string user;
    role r = role::viewer;
    std::string csrf;
};

struct session_limits {
    std::chrono::seconds idle{15 * 60};
    std::chrono::seconds absolute{8 * 60 * 60};
    size_t max_sessions = 64;
};

class sessions {
public:
    explicit sessions(session_limits l) : limits_(l) {}
    // A new session; its token goes into the cookie. (The oldest session
    // goes when there are too many.)
    std::string open(const std::string &user, role r, session_info &info);
    // The live session of a cookie's token (its idle time starts again).
    std::optional<session_info> find(const std::string &token);
    // Whether the session lives, without counting this as use (an open stream).
    bool alive(const std::string &token);
    void close(const std::string &token);
    // Ends every session of a user (a password changed, a user removed).
    void close_user(const std::string &user);
    size_t count();

private:
    struct entry {
        session_info info;
        clock_type::time_point created, used;
    };
    session_limits limits_;
    std::mutex mu_;
    std::map<std::string, entry> by_token_;
    void drop_expired(clock_type::time_point now);
};

// Failed logins: after a few, each further attempt from that address or for
// that user must wait, twice as long each time (up to a minute).
class login_throttle {
public:
    // The seconds to wait before an attempt is heard, 0 when it may go on.
    long wait_for(const std::string &address, const std::string &user);
    void failed(const std::string &address, const std::string &user);
    void succeeded(const std::string &user);

private:
    struct record {
        unsigned failures = 0;
        clock_type::time_point next{}, last{};
    };
    std::mutex mu_;
    std::map<std::string, record> records_; // "a:" address, "u:" user
    long wait_of(const std::string &key, clock_type::time_point now);
    void note(const std::string &key, clock_type::time_point now);
};

// n random bytes as lower-case hex (getrandom), or "" when none can be had.
std::string random_hex(size_t n);

} // namespace webd
