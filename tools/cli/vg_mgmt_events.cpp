// vg-mgmt events: prints each event the library hands to its callback, and
// watches the service with a cheap read so that a lost service is noticed.
#include "vg_mgmt_events.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <mutex>

#include "vg_mgmt_run.h"

namespace vgm {
namespace {

using clock_type = std::chrono::steady_clock;

constexpr name_value kApAction[] = {{"joined", 1}, {"left", 2}};

std::mutex g_mu;
std::condition_variable g_cv;
const output *g_out = nullptr;
unsigned g_seen = 0;
unsigned g_limit = 0;            // --count: events after this many are not printed
std::atomic<bool> g_stop{false}; // set by SIGINT and SIGTERM (lock-free, so signal-safe)

std::vector<field> event_fields(uint32_t id, const uint8_t *rec)
{
    if (id == WIFI_EVENT_STA_STATUS)
        return {num("interface", 0, 4, 0, 0, ""), text("ssid", 4, 33, ""),
                named("status", offsetof(wifi_station_status_params, status), 1, kStationStateNames,
                      "")};
    if (id == WIFI_EVENT_AP_STA)
        return {named("action", 0, 4, kApAction, ""), num("interface", 4, 4, 0, 0, ""),
                of_type(vtype::mac, "mac", 8, 6, "")};
    using D = data_call_status_event;
    uint32_t family;
    std::memcpy(&family, rec + offsetof(D, ip_family), 4);
    std::vector<field> f = {num("profile", 0, 1, 0, 0, ""), text("ifname", 1, 19, ""),
                            named("ip-family", offsetof(D, ip_family), 4, kIpTypeNames, ""),
                            named("state", offsetof(D, state), 4, kCallStatusNames, ""),
                            num("reason", offsetof(D, reason_code), 4, 0, 0, "")};
    const char *keys[] = {"address", "gateway", "dns1", "dns2"};
    for (uint16_t i = 0; i < 4; ++i)
        f.push_back(family == 0
                        ? of_type(vtype::ipv4, keys[i], offsetof(D, address) + 4 * i, 4, "")
                        : of_type(vtype::ipv6, keys[i], offsetof(D, address) + 16 * i, 16, ""));
    return f;
}

int32_t on_event(uint32_t id, const void *event, uint32_t)
{
    const auto *rec = static_cast<const uint8_t *>(event);
    std::lock_guard lock(g_mu);
    if (g_limit != 0 && g_seen >= g_limit)
        return 0;
    const json obj = event_json(id, rec, g_out->show_secrets);
    if (g_out->json) {
        std::fprintf(g_out->out, "%s\n", dump_json(obj).c_str());
    } else {
        std::string line = obj["event"].get<std::string>() + ":";
        for (const auto &[k, v] : obj.items())
            line += k == "event" ? "" : " " + k + "=" + shown_text(*g_out, v);
        std::fprintf(g_out->out, "%s\n", line.c_str());
    }
    std::fflush(g_out->out);
    ++g_seen;
    g_cv.notify_all();
    return 0;
}

} // namespace

const char *event_name(uint32_t id)
{
    return id == WIFI_EVENT_STA_STATUS ? "wifi-station-status"
           : id == WIFI_EVENT_AP_STA   ? "wifi-ap-station"
                                       : "datacall-status";
}

json event_json(uint32_t id, const void *event, bool show_secrets)
{
    const auto *rec = static_cast<const uint8_t *>(event);
    json obj = json::object();
    obj["event"] = event_name(id);
    obj.update(record_json(event_fields(id, rec), rec, show_secrets));
    return obj;
}

bool service_alive(mgmt_client *h)
{
    std::vector<uint8_t> b(MGMT_WIFI_VALUE_SIZE, 0);
    if (vg_mgmt_client_get(h, MGMT_COMMAND(MGMT_DOMAIN_WIFI, WIFI_CMD_ENABLE), b.data(),
                           static_cast<uint32_t>(b.size())) == 0)
        return true;
    return vg_mgmt_get_errno() != 0; // 0: no answer, the connection is gone
}

namespace {

enum class ended { done, lost };

// Waits for events on an open handle; probes the service twice a second.
ended listen(mgmt_client *h, const events_options &e, clock_type::time_point deadline)
{
    for (;;) {
        {
            std::unique_lock lock(g_mu);
            g_cv.wait_for(lock, std::chrono::milliseconds(500));
            if (g_stop || (e.count != 0 && g_seen >= e.count) ||
                (e.timeout_s > 0 && clock_type::now() >= deadline))
                return ended::done;
        }
        if (!service_alive(h))
            return ended::lost;
    }
}

// Done, or fewer events than --count came: said, on stderr or as the error
// object of --json.
int final_status(const output &o, const events_options &e)
{
    std::lock_guard lock(g_mu);
    if (e.count == 0 || g_seen >= e.count)
        return EXIT_DONE;
    return print_failure(o, "events",
                         failure{EXIT_NO_ANSWER, 0, "TOO_FEW_EVENTS",
                                 std::to_string(g_seen) + " of " + std::to_string(e.count) +
                                     " event(s) came before it stopped (--timeout or a signal)"});
}

} // namespace

int run_events(const output &o, const events_options &e, double wait_s)
{
    {
        std::lock_guard lock(g_mu);
        g_out = &o;
        g_seen = 0;
        g_limit = e.count;
    }
    g_stop = false;
    std::signal(SIGINT, [](int) { g_stop = true; });
    std::signal(SIGTERM, [](int) { g_stop = true; });
    const auto deadline = clock_type::now() + std::chrono::duration_cast<clock_type::duration>(
                                                  std::chrono::duration<double>(e.timeout_s));
    const std::string where = socket_path();
    for (bool first = true;; first = false) {
        mgmt_client *h = nullptr;
        if (auto f = connect(&h, on_event, first ? wait_s : 0.5)) {
            if (first)
                return print_failure(o, "events", *f);
            if (g_stop || (e.timeout_s > 0 && clock_type::now() >= deadline))
                return final_status(o, e);
            continue;
        }
        if (!first)
            std::fprintf(o.err, "vg-mgmt: events: the service is back at %s; listening again\n",
                         where.c_str());
        const ended how = listen(h, e, deadline);
        vg_mgmt_client_close(h);
        if (how == ended::done)
            return final_status(o, e);
        std::fprintf(o.err, "vg-mgmt: events: lost the service at %s%s\n", where.c_str(),
                     e.exit_on_loss ? "" : "; waiting for it to come back");
        if (e.exit_on_loss)
            return EXIT_LOST;
    }
}

} // namespace vgm
