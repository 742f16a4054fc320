// vg-mgmt status: how the module stands, on one screen or as one JSON object,
// read through the model's own get rows. A value the library cannot read is
// named as such, never guessed; a value whose meaning is the simulated
// service's says so in "sources".
#include "vg_mgmt_status.h"

#include <algorithm>

#include "config_confirm.h"
#include "vg_mgmt_docs.h"
#include "vg_mgmt_run.h"

namespace vgm {
namespace {

struct reader {
    mgmt_client *h;
    bool secrets;
};

const command *row_named(const std::string &name)
{
    for (const command &c : commands())
        if (command_name(c) == name)
            return &c;
    return nullptr;
}

// The record of one get row for one instance, as JSON; {"error": "..."} when
// the library or the service refuses it.
json read_row(const reader &r, const std::string &name, const std::vector<std::string> &inst = {})
{
    const command &c = *row_named(name);
    std::vector<uint8_t> b(value_size(c.domain), 0);
    const auto axis = axis_fields(c.inst);
    for (size_t i = 0; i < axis.size() && i < inst.size(); ++i)
        parse_field(axis[i], inst[i], b.data());
    axis_fixed(c.inst, b.data());
    for (const field &q : c.query)
        if (q.def != nullptr)
            parse_field(q, q.def, b.data());
    if (vg_mgmt_client_get(r.h, MGMT_COMMAND(c.domain, c.read_id), b.data(),
                           static_cast<uint32_t>(b.size())) != 0)
        return json{{"error", call_failure(vg_mgmt_get_errno()).message}};
    return c.list != nullptr ? list_json(*c.list, b.data(), r.secrets, false)
                             : record_json(c.fields, b.data(), r.secrets);
}

json value_of(const json &rec, const char *key)
{
    return rec.contains(key) ? rec[key] : rec;
}

std::string band_of(const json &channel)
{
    if (!channel.is_number())
        return "unknown";
    const auto ch = channel.get<uint64_t>();
    return ch == 0 ? "picked by the service" : ch <= 14 ? "2.4 GHz" : "5 GHz";
}

json wifi_status(const reader &r)
{
    json w = json::object();
    w["enable"] = value_of(read_row(r, "wifi enable get"), "enable");
    w["work-mode"] = value_of(read_row(r, "wifi work-mode get"), "work-mode");
    w["country"] = value_of(read_row(r, "wifi country get"), "country");
    const json stations = read_row(r, "wifi stations get");
    json ifaces = json::array();
    for (int i = 1; i <= 3; ++i) {
        const std::string n = std::to_string(i);
        json f = json::object();
        f["interface"] = i;
        f["ssid"] = value_of(read_row(r, "wifi ssid get", {n}), "ssid");
        f["channel"] = value_of(read_row(r, "wifi channel get", {n}), "channel");
        f["band"] = band_of(f["channel"]);
        f["auth"] = value_of(read_row(r, "wifi auth get", {n}), "auth");
        f["active"] = nullptr;
        const json &list = stations.contains("stations") ? stations["stations"] : json::array();
        f["stations"] = std::count_if(list.begin(), list.end(),
                                      [i](const json &s) { return s["interface"] == i; });
        ifaces.push_back(f);
    }
    w["interfaces"] = ifaces;
    return w;
}

// Each profile of type 0 and its call; a family that is not connected shows
// its state alone (no address).
json call_status(const reader &r)
{
    const json list = read_row(r, "datacall apn list", {"0"});
    json calls = json::array();
    for (const json &idx : list.value("indexes", json::array())) {
        json info = read_row(r, "datacall info get", {std::to_string(idx.get<int>())});
        json call = json::object();
        call["profile"] = idx;
        for (const char *fam : {"ipv4-", "ipv6-"}) {
            const std::string p = fam;
            const json state = info.value(p + "status", json());
            call[p + "status"] = state;
            if (state != "connected")
                continue;
            for (const char *k : {"ifname", "address", "gateway", "dns1", "dns2"})
                call[p + k] = info.value(p + k, json());
        }
        if (info.contains("error"))
            call["error"] = info["error"];
        calls.push_back(call);
    }
    return calls;
}

json network_status(const reader &r)
{
    json n = json::object();
    n["lan"] = read_row(r, "network lan get");
    n["dmz"] = value_of(read_row(r, "network dmz get"), "address");
    n["snat-rules"] = value_of(read_row(r, "network snat list"), "count");
    n["ethernet-mode"] = value_of(read_row(r, "network ethernet-mode get"), "ethernet-mode");
    return n;
}

json usb_status(const reader &r)
{
    json u = json::object();
    u["in-use"] = read_row(r, "usb config get");
    u["pending"] = nullptr;
    return u;
}

// A change awaiting confirmation in the state folder, and how the last one
// ended (null when the folder cannot be opened).
json config_status()
{
    vgcfg::state_store st;
    std::string problem;
    return st.open(vgcfg::state_dir_default(), problem) ? vgcfg::confirm_state(st) : json();
}

// Where the values come from, for the ones that are not plain reads.
json sources()
{
    json s = json::object();
    s["wifi.interfaces.active"] =
        "cannot be read: the library has a set for it (wifi active set) and no get";
    s["wifi.interfaces.band"] = "from the channel: 1 to 14 is 2.4 GHz, 36 and up 5 GHz";
    s["wifi.interfaces.stations"] =
        "stations whose interface field names it (the simulated service's meaning)";
    s["network.lan"] =
        "the simulated service's meaning of the LAN block (--raw on network lan get)";
    s["usb.pending"] = "cannot be read: the library reads only the configuration in use; "
                       "usb config write applies what is pending";
    return s;
}

// A value in the text: null is "none", or "cannot be read" for the values
// the library has no read for. What the service gives (an SSID, a station's
// name) is escaped unless --raw is given.
std::string text_of(const output &o, const std::string &key, const json &v)
{
    if (!v.is_null())
        return shown_text(o, v);
    return key == "active" || key == "pending" ? "cannot be read (see sources)" : "none";
}

// Indented "key: value" lines; each entry of a list of objects starts with "- ".
void print_text(const output &o, const json &v, size_t indent, const char *first = nullptr)
{
    for (const auto &[key, value] : v.items()) {
        const std::string pad =
            first != nullptr ? std::string(indent - 2, ' ') + first : std::string(indent, ' ');
        first = nullptr;
        const bool rows = value.is_array() && !value.empty() && value[0].is_object();
        if (value.is_object() || rows)
            std::fprintf(o.out, "%s%s:\n", pad.c_str(), key.c_str());
        if (value.is_object())
            print_text(o, value, indent + 2);
        else if (rows)
            for (const json &e : value)
                print_text(o, e, indent + 4, "- ");
        else
            std::fprintf(o.out, "%s%s: %s\n", pad.c_str(), key.c_str(),
                         text_of(o, key, value).c_str());
    }
}

} // namespace

int run_status(const output &o, double wait_s)
{
    json s = json::object();
    s["service"] = json{{"socket", socket_path()}, {"reachable", false}};
    mgmt_client *h = nullptr;
    if (auto f = connect(&h, nullptr, wait_s)) {
        s["service"]["error"] = f->message;
        if (o.json)
            std::fprintf(o.out, "%s\n", dump_json(s).c_str());
        else
            print_text(o, s, 0);
        return print_failure(output{o.out, o.err, false, false, false}, "status", *f);
    }
    s["service"]["reachable"] = true;
    const reader r{h, o.show_secrets};
    s["wifi"] = wifi_status(r);
    s["datacall"] = json{{"calls", call_status(r)}};
    s["network"] = network_status(r);
    s["usb"] = usb_status(r);
    s["config"] = config_status();
    s["sources"] = sources();
    vg_mgmt_client_close(h);
    if (o.json)
        std::fprintf(o.out, "%s\n", dump_json(s).c_str());
    else
        print_text(o, s, 0);
    return EXIT_DONE;
}

} // namespace vgm
