// The rules of a document that reach across its values: list limits, entries
// that are the same however they are spelled, references within the
// document, the keys that an authentication type needs, and settings that
// leave the module unusable. Each runs once over the document (no step is
// quadratic in a list's length).
#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "config_rules.h"
#include "vg_mgmt_text.h"

namespace vgcfg {

namespace {

using problems_t = std::vector<std::string>;

// A value in the one spelling that the module stores ("AA:..." as "aa:...",
// "tcp" as its number's name), or the value itself when it is not valid.
json canonical(const field &f, const json &v)
{
    if (!field_problem(f, v).empty() || is_mask(f, v))
        return v;
    field at = f;
    at.off = f.woff;
    record scratch(static_cast<size_t>(f.woff) + f.width, 0);
    field_store(f, v, scratch.data());
    return field_value(at, scratch.data(), true);
}

json entry_key(const list_desc &l, const json &e, size_t fields)
{
    if (l.single())
        return canonical(l.entry[0], e);
    json key = json::array();
    for (size_t i = 0; i < fields && i < l.entry.size(); ++i)
        key.push_back(e.is_object() && e.contains(l.entry[i].key)
                          ? canonical(l.entry[i], e[l.entry[i].key])
                          : json());
    return key;
}

// The protocol number that stands for TCP and UDP together.
constexpr uint64_t kBothProtocols = 253;

const field *entry_field(const list_desc &l, const char *key)
{
    for (const field &f : l.entry)
        if (std::strcmp(f.key, key) == 0)
            return &f;
    return nullptr;
}

// A valid number as the module stores it.
uint64_t stored_number(const field &f, const json &v)
{
    record w(static_cast<size_t>(f.woff) + f.width, 0);
    field_store(f, v, w.data());
    uint64_t x = 0;
    std::memcpy(&x, w.data() + f.woff,
                std::min<size_t>(f.width, sizeof x)); // little-endian hosts and targets
    return x;
}

bool valid_at(const json &e, const field &f)
{
    return e.is_object() && e.contains(f.key) && field_problem(f, e[f.key]).empty();
}

// SNAT rules meet when they share a global port and a protocol (TCP and UDP
// together meeting each).
void snat_rules(const list_desc &l, const json &rules, const std::string &at, problems_t &out)
{
    const field *port = entry_field(l, "global-port"), *proto = entry_field(l, "protocol");
    if (port == nullptr || proto == nullptr)
        return;
    std::map<uint64_t, std::set<uint64_t>> taken; // global port: its protocols
    for (size_t n = 0; n < rules.size(); ++n) {
        if (!valid_at(rules[n], *port) || !valid_at(rules[n], *proto))
            continue;
        const uint64_t g = stored_number(*port, rules[n][port->key]),
                       p = stored_number(*proto, rules[n][proto->key]);
        std::set<uint64_t> &ps = taken[g];
        if (!ps.empty() &&
            (ps.count(p) != 0 || ps.count(kBothProtocols) != 0 || p == kBothProtocols))
            out.push_back(at + "[" + std::to_string(n) + "]." + port->key + ": global port " +
                          std::to_string(g) +
                          " and its protocol are taken by another rule of the list");
        ps.insert(p);
    }
}

} // namespace

void check_list_rules(const list_desc &l, const json &v, const std::string &at, problems_t &out)
{
    if (!v.is_array())
        return;
    if (l.kind == list_kind::exact && l.read->list != nullptr && v.size() > l.read->list->max) {
        out.push_back(at + ": " + std::to_string(v.size()) + " entries; the module holds at most " +
                      std::to_string(l.read->list->max));
        return; // its entries are not worth checking one by one
    }
    std::set<std::string> seen;
    const size_t key_fields = l.kind == list_kind::keyed ? 2 : l.entry.size();
    for (size_t n = 0; n < v.size(); ++n)
        if (!seen.insert(entry_key(l, v[n], key_fields).dump()).second)
            out.push_back(at + "[" + std::to_string(n) + "]: listed twice");
    if (l.key == "snat")
        snat_rules(l, v, at, out);
}

} // namespace vgcfg
