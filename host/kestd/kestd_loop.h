// What the event loop of kestd keeps (kestd_server.cpp) and how it takes
// new clients (kestd_accept.cpp).
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kestd_server.h"
#include "kestd_service.h"

namespace kestd_loop {

using clock_type = std::chrono::steady_clock;

struct connection {
    uint64_t id = 0;
    int fd = -1;
    uid_t uid = static_cast<uid_t>(-1); // the peer's user, as the kernel tells it
    std::vector<uint8_t> in;
    std::vector<uint8_t> out;
    clock_type::time_point last_due{};      // answers leave in the order of their requests
    clock_type::time_point partial_since{}; // when the unfinished frame in `in` began; zero: none
    size_t deferred = 0;                    // answers of this client waiting for their time
    bool dead = false;
};

// An answer that waits for its time.
struct deferred {
    uint64_t conn;
    clock_type::time_point due;
    std::vector<uint8_t> response;
    kestd_frames indications;
};

// A line on stderr at most once a second; the lines held back in between
// are counted in the next one.
struct rate_note {
    clock_type::time_point last{};
    unsigned held = 0;
    bool said = false;
};

void note(rate_note &n, const std::string &text);

struct server {
    server(kestd_service &service, const kestd_limits &lim) : svc(service), limits(lim) {}

    kestd_service &svc;
    kestd_limits limits;
    std::vector<std::unique_ptr<connection>> conns;
    std::vector<deferred> waiting;
    uint64_t next_id = 1;
    int reserve_fd = -1; // kept free for accept-and-close when descriptors run out
    clock_type::time_point accept_resume{}; // no accept before this
    uint64_t refused_clients = 0;           // clients refused for the limits on connections
    uint64_t dropped_waiting = 0; // answers dropped, with their indications, when their client went
    rate_note dropped_note;
    rate_note refused_full, refused_fds, accept_failed, timed_out, control_refused;
};

// Why a client of `uid` cannot have a connection now, or nullptr when it can.
// Root and the service's own user keep a place for control when others fill
// the service: the others together take at most max_clients minus an
// eighth, and each of them at most a quarter.
const char *full_for(const server &s, uid_t uid);

// Opens the reserve descriptor when it is not open.
void keep_reserve(server &s);

// Takes every waiting client: up to the limit as connections, beyond it
// (or when descriptors run out) accepted and closed at once.
void accept_all(server &s, int listen_fd);

} // namespace kestd_loop
