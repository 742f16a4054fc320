// vg-webd's events: what the service indicates (stations, data calls) and
// what the console's own changes do (applied, confirmed, reverted), kept in a
// short ring for the Server-Sent Events streams, and counted for /metrics.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "vg_mgmt_values.h"

namespace webd {

using vgm::json;

struct event {
    uint64_t seq = 0;
    std::string kind; // "station", "datacall", "config"
    std::string data; // one line of JSON
};

class event_bus {
public:
    void publish(const std::string &kind, const json &data);
    // The events after `seq`, waiting up to `wait_ms` for one; empty on time-out or stop.
    std::vector<event> after(uint64_t seq, int wait_ms);
    uint64_t last_seq();
    std::map<std::string, unsigned long> counts();
    void stop();
    bool stopped() const { return stopped_; }

private:
    static constexpr size_t kKept = 256;
    std::mutex mu_;
    std::condition_variable cv_;
    std::deque<event> ring_;
    uint64_t seq_ = 0;
    std::map<std::string, unsigned long> counts_;
    std::atomic<bool> stopped_{false};
};

// Listens to the service (a handle of the library with its callback, opened
// again when the service comes back) and to the module's pending change,
// publishing both on the bus, until stop.
class event_source {
public:
    event_source(event_bus &bus, std::string state_dir);
    ~event_source();
    bool service_up() const { return up_; }

private:
    event_bus &bus_;
    std::string state_dir_;
    std::atomic<bool> up_{false};
    std::thread thread_;
    void run();
};

} // namespace webd
