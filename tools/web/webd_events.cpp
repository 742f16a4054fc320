// The event bus and its two sources: the service's indications through the
// library's callback, and the state folder's record of a pending change.
#include "webd_events.h"

#include <chrono>

#include "config_confirm.h"
#include "vg_mgmt_events.h"
#include "vg_mgmt_run.h"

namespace webd {

namespace {

event_bus *g_bus = nullptr; // the callback of the library has no context of its own

int32_t on_event(uint32_t id, const void *rec, uint32_t)
{
    if (g_bus != nullptr)
        g_bus->publish(id == DATA_CALL_EVENT_STATUS ? "datacall" : "station",
                       vgm::event_json(id, rec, false));
    return 0;
}

} // namespace

void event_bus::publish(const std::string &kind, const json &data)
{
    {
        std::lock_guard lock(mu_);
        ring_.push_back(event{++seq_, kind, vgm::dump_json(data)});
        if (ring_.size() > kKept)
            ring_.pop_front();
        ++counts_[kind];
    }
    cv_.notify_all();
}

std::vector<event> event_bus::after(uint64_t seq, int wait_ms)
{
    std::unique_lock lock(mu_);
    cv_.wait_for(lock, std::chrono::milliseconds(wait_ms), [&] { return stopped_ || seq_ > seq; });
    std::vector<event> out;
    for (const event &e : ring_)
        if (e.seq > seq)
            out.push_back(e);
    return out;
}

uint64_t event_bus::last_seq()
{
    std::lock_guard lock(mu_);
    return seq_;
}

std::map<std::string, unsigned long> event_bus::counts()
{
    std::lock_guard lock(mu_);
    return counts_;
}

void event_bus::stop()
{
    {
        std::lock_guard lock(mu_);
        stopped_ = true;
    }
    cv_.notify_all();
}

event_source::event_source(event_bus &bus, std::string state_dir)
    : bus_(bus), state_dir_(std::move(state_dir))
{
    g_bus = &bus_;
    thread_ = std::thread([this] { run(); });
}

event_source::~event_source()
{
    bus_.stop();
    thread_.join();
    g_bus = nullptr;
}

// Twice a second: the service still there (else open it again), and the end
// of a pending change, whoever ended it (this console, vg-mgmt, the watcher).
void event_source::run()
{
    vgcfg::state_store st;
    std::string problem;
    const bool have_state = st.open(state_dir_, problem);
    json last = have_state ? vgcfg::confirm_state(st) : json();
    mgmt_client *h = nullptr;
    while (!bus_.stopped()) {
        if (h == nullptr && vgm::connect(&h, on_event, 0.2))
            h = nullptr;
        up_ = h != nullptr;
        if (h != nullptr && !vgm::service_alive(h)) {
            vg_mgmt_client_close(h);
            h = nullptr;
        }
        const json now = have_state ? vgcfg::confirm_state(st) : json();
        if (now != last) {
            json change = now;
            change["what"] = now.value("pending", false) ? "pending"
                             : now.contains("last")      ? now["last"].value("what", "ended")
                                                         : "ended";
            bus_.publish("config", change);
            last = now;
        }
        bus_.after(UINT64_MAX, 500); // a sleep that stop cuts short
    }
    if (h != nullptr)
        vg_mgmt_client_close(h);
}

} // namespace webd
