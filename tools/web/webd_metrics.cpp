// GET /metrics: Prometheus' text format (version 0.0.4).
#include <cstdio>

#include "webd_call.h"
#include "webd_http.h"

namespace webd {

namespace {

struct family {
    std::string text;

    family(const char *name, const char *type, const char *help)
    {
        text = std::string("# HELP ") + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
    }
    void add(const std::string &name, const std::string &labels, double value)
    {
        char v[32];
        std::snprintf(v, sizeof v, "%.17g", value);
        text += name + (labels.empty() ? "" : "{" + labels + "}") + " " + v + "\n";
    }
};

// A label's value, escaped as the format wants.
std::string label(const std::string &key, const std::string &value)
{
    std::string v;
    for (char ch : value)
        v += ch == '\\' ? "\\\\" : ch == '"' ? "\\\"" : ch == '\n' ? "\\n" : std::string(1, ch);
    return key + "=\"" + v + "\"";
}

} // namespace

std::string metrics_text(console &c)
{
    int status = 0;
    std::string why;
    json s = module_status(false, 0.2, status, why);
    if (!s.is_object())
        s = json::object();
    const bool up = s.contains("service") && s["service"].value("reachable", false);
    family service("vg_service_up", "gauge", "Whether the KEST service answers.");
    service.add("vg_service_up", "", up ? 1 : 0);
    family stations("vg_wifi_stations", "gauge", "Stations joined, per Wi-Fi interface.");
    for (const json &i : s.value("wifi", json::object()).value("interfaces", json::array()))
        if (i.value("stations", json()).is_number())
            stations.add("vg_wifi_stations",
                         label("interface", i.value("interface", json()).dump()),
                         i["stations"].get<double>());
    family calls("vg_datacall_connected", "gauge",
                 "Whether a profile's data call is connected, per IP family.");
    for (const json &call : s.value("datacall", json::object()).value("calls", json::array()))
        for (const char *family_key : {"ipv4-status", "ipv6-status"})
            if (call.value(family_key, json()).is_string())
                calls.add("vg_datacall_connected",
                          label("profile", call.value("profile", json(0)).dump()) + "," +
                              label("family", std::string(family_key).substr(0, 4)),
                          call[family_key] == "connected" ? 1 : 0);
    family events("vg_events_total", "counter", "Events seen, by kind.");
    for (const auto &[kind, n] : c.bus.counts())
        events.add("vg_events_total", label("kind", kind), static_cast<double>(n));
    family applies("vg_config_applies_total", "counter",
                   "Applies through this console, by result.");
    {
        std::lock_guard lock(c.counts_mu);
        for (const auto &[result, n] : c.applies)
            applies.add("vg_config_applies_total", label("result", result), static_cast<double>(n));
    }
    family pending("vg_config_confirm_pending", "gauge", "Whether a change awaits confirmation.");
    const json config = s.value("config", json());
    pending.add("vg_config_confirm_pending", "",
                config.is_object() && config.value("pending", false) ? 1 : 0);
    family sessions_now("vg_webd_sessions", "gauge", "Live sessions of the console.");
    sessions_now.add("vg_webd_sessions", "", static_cast<double>(c.sess.count()));
    return service.text + stations.text + calls.text + events.text + applies.text + pending.text +
           sessions_now.text;
}

} // namespace webd
