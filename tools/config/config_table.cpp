// The document's groups and lists, read off the model's rows, and the order
// in which the service takes their changes.
#include "config_table.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "kest_fields.h"
#include "vg_mgmt_client.h"

namespace vgcfg {

namespace {

using vgm::axis;
using vgm::command;
using vgm::kind;

// Writes go out phase by phase, each document path in the phase of the
// longest path here that holds it. Removals from lists come first and the
// LAN block before the addresses that must lie in it; profiles before the
// default profile that names them, and their removal after it; a MAC list
// before the rule that reads it; USB settings last, then one write-back.
struct order {
    const char *path;
    int remove; // a list's removals
    int write;  // a setting's writes, a list's additions
};
constexpr order kOrders[] = {
    {"network.snat", 10, 52},
    {"network.dmz", 11, 51},
    {"wifi", 0, 20},
    {"wifi.interfaces.{i}", 0, 30},
    {"wifi.interfaces.{i}.acl", 31, 32},
    {"wifi.interfaces.{i}.acl-rule", 0, 33},
    {"datacall.apn", 42, 40},
    {"datacall.default-profile", 0, 41},
    {"network.lan", 0, 50},
    {"network", 0, 53},
    {"usb", 0, 60},
};

const order &order_of(const std::string &path)
{
    const order *best = &kOrders[0];
    size_t best_len = 0;
    for (const order &o : kOrders) {
        const size_t n = std::strlen(o.path);
        if (n > best_len && path.compare(0, n, o.path) == 0 &&
            (path.size() == n || path[n] == '.')) {
            best = &o;
            best_len = n;
        }
    }
    return *best;
}

struct rows {
    std::map<std::string, const command *> by_verb;
    const command *at(const char *verb) const
    {
        const auto it = by_verb.find(verb);
        return it == by_verb.end() ? nullptr : it->second;
    }
};

// The model's rows by domain and subject, in the model's order.
std::vector<std::pair<std::string, rows>> subjects()
{
    std::vector<std::pair<std::string, rows>> out;
    for (const command &c : vgm::commands()) {
        const std::string name = std::string(c.domain_word) + " " + c.subject;
        auto it =
            std::find_if(out.begin(), out.end(), [&](const auto &p) { return p.first == name; });
        if (it == out.end())
            it = out.insert(out.end(), {name, rows{}});
        it->second.by_verb[c.verb] = &c;
    }
    return out;
}

// The document path of a command's field, as the protocol describes it:
// "wifi.interfaces.{i}.channel", "network.snat[].protocol"; empty when the
// field is not in the document.
std::string described_path(const command &c, uint16_t cmd, const char *key)
{
    const kest_field *d = kest_field_find(c.domain, cmd, key);
    return d != nullptr && d->path != nullptr ? d->path : "";
}

// The object that holds a path's last word, and that word.
std::pair<std::string, std::string> split_path(const std::string &path)
{
    const std::string p = path.substr(0, path.find("[]"));
    const size_t dot = p.rfind('.');
    return {p.substr(0, dot), p.substr(dot + 1)};
}

group setting_group(const command &set)
{
    const std::string path = described_path(set, set.write_id, set.fields.at(0).key);
    return group{&set, split_path(path).first, order_of(path).write};
}

const command *find_row(const char *domain_word, const char *subject, const char *verb)
{
    for (const command &c : vgm::commands())
        if (std::strcmp(c.domain_word, domain_word) == 0 && std::strcmp(c.subject, subject) == 0 &&
            std::strcmp(c.verb, verb) == 0)
            return &c;
    return nullptr;
}

} // namespace

bool per_interface(const command &c)
{
    return c.inst == axis::iface;
}

const std::vector<group> &groups()
{
    static const std::vector<group> all = [] {
        std::vector<group> g;
        const command *commit = find_row("usb", "config", "write");
        for (const auto &[name, r] : subjects()) {
            const command *get = r.at("get"), *set = r.at("set");
            if (get == nullptr || set == nullptr || set->k != kind::set ||
                described_path(*set, set->write_id, set->fields.at(0).key).empty() ||
                set->inst == axis::apn)
                continue;
            g.push_back(setting_group(*set));
            if (set->domain == MGMT_DOMAIN_USB && commit != nullptr)
                g.back().commit_id = commit->write_id;
        }
        return g;
    }();
    return all;
}

const std::vector<list_desc> &lists()
{
    static const std::vector<list_desc> all = [] {
        std::vector<list_desc> l;
        for (const auto &[name, r] : subjects()) {
            const command *list = r.at("list"), *add = r.at("add"), *del = r.at("del"),
                          *get = r.at("get"), *set = r.at("set");
            if (add == nullptr || del == nullptr)
                continue;
            const command *entry_row = set != nullptr && set->inst == axis::apn ? set : add;
            if (entry_row->fields.empty())
                continue;
            const std::string path =
                described_path(*entry_row, entry_row->write_id, entry_row->fields[0].key);
            if (path.empty())
                continue;
            const auto [object, key] = split_path(path);
            const order &o = order_of(object + "." + key);
            if (set != nullptr && set->inst == axis::apn && list != nullptr) {
                std::vector<field> entry = vgm::axis_fields(axis::apn);
                entry.insert(entry.end(), set->fields.begin(), set->fields.end());
                l.push_back(
                    {list_kind::keyed, list, add, del, set, object, key, o.remove, o.write, entry});
            } else if (list != nullptr && list->list != nullptr) {
                l.push_back({list_kind::exact, list, add, del, nullptr, object, key, o.remove,
                             o.write, list->list->entry});
            } else if (get != nullptr && set == nullptr) {
                l.push_back({list_kind::optional, get, add, del, nullptr, object, key, o.remove,
                             o.write, get->fields});
            }
        }
        return l;
    }();
    return all;
}

} // namespace vgcfg
