// Output of vg-mgmt in text and JSON, both from one JSON value.
#include "vg_mgmt_output.h"

#include <cstring>

#include "vg_mgmt_output_escape.h"

namespace vgm {

json record_json(const std::vector<field> &fields, const uint8_t *rec, bool show_secrets)
{
    json obj = json::object();
    for (const field &f : fields)
        if (f.shown == nullptr || f.shown(rec))
            obj[f.key] = field_json(f, rec, show_secrets);
    return obj;
}

json list_json(const list_def &l, const uint8_t *rec, bool show_secrets, bool raw)
{
    uint32_t count = 0;
    std::memcpy(&count, rec + l.count_off, l.count_width); // little-endian hosts and targets
    const std::vector<field> &entry = raw && !l.raw_entry.empty() ? l.raw_entry : l.entry;
    json items = json::array();
    for (uint32_t i = 0; i < count && i < l.max; ++i) {
        const uint8_t *e = rec + l.entries_off + i * l.stride;
        items.push_back(entry.size() == 1 ? field_json(entry[0], e, show_secrets)
                                          : record_json(entry, e, show_secrets));
    }
    json obj = json::object();
    obj["count"] = count;
    obj[l.key] = items;
    return obj;
}

std::string dump_json(const json &v)
{
    return v.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string shown_text(const output &o, const json &v)
{
    return o.raw ? json_text(v) : escape_text(json_text(v));
}

void print_object(const output &o, const json &obj)
{
    if (o.json) {
        std::fprintf(o.out, "%s\n", dump_json(obj).c_str());
        return;
    }
    const auto shown = [&](const json &v) { return shown_text(o, v); };
    for (const auto &[key, value] : obj.items()) {
        if (!value.is_array() || value.empty() || !value[0].is_object()) {
            const std::string text = shown(value);
            std::fprintf(o.out, "%s:%s%s\n", key.c_str(), text.empty() ? "" : " ", text.c_str());
            continue;
        }
        std::fprintf(o.out, "%s:\n", key.c_str());
        for (const auto &entry : value) {
            std::string line = " ";
            for (const auto &[k, v] : entry.items())
                line += " " + k + "=" + shown(v);
            std::fprintf(o.out, "%s\n", line.c_str());
        }
    }
}

int print_failure(const output &o, const std::string &what, const failure &f)
{
    const std::string prefix = what.empty() ? "vg-mgmt: " : "vg-mgmt: " + what + ": ";
    std::fprintf(o.err, "%s%s\n", prefix.c_str(), f.message.c_str());
    if (o.json) {
        json e = json::object();
        e["code"] = f.code;
        e["name"] = f.name;
        e["message"] = f.message;
        e["status"] = f.status;
        json obj = json::object();
        obj["error"] = e;
        std::fprintf(o.out, "%s\n", dump_json(obj).c_str());
    }
    return f.status;
}

} // namespace vgm
