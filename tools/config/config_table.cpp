// The document's groups and lists, read off the model's rows, and the order
// in which the service takes their changes.
#include "config_table.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "vg_mgmt_client.h"

namespace vgcfg {

namespace {

using vgm::axis;
using vgm::command;
using vgm::kind;

// Writes go out phase by phase. Removals from lists come first and the LAN
// block before the addresses that must lie in it; profiles before the
// default profile that names them and their removal after it; a MAC list
// before the rule that reads it; USB settings last, then one write-back.
struct order {
    const char *domain_word;
    const char *subject;
    int phase;
};
constexpr order orders[] = {
    {"network", "snat", 10},  {"network", "dmz", 11},  {"wifi", "", 20},     {"wifi", "acl", 31},
    {"wifi", "acl-rule", 33}, {"datacall", "apn", 40}, {"datacall", "", 41}, {"network", "lan", 50},
    {"network", "", 53},      {"usb", "", 60},
};
// Profiles leave after the default profile has moved off them.
constexpr int kPhaseProfilesRemoved = 42;

int phase_of(const command &c)
{
    const bool wifi_iface = std::strcmp(c.domain_word, "wifi") == 0 && per_interface(c);
    int phase = 30; // settings of a Wi-Fi interface
    for (const order &o : orders)
        if (std::strcmp(o.domain_word, c.domain_word) == 0 && o.subject[0] == '\0' && !wifi_iface)
            phase = o.phase;
    for (const order &o : orders)
        if (std::strcmp(o.domain_word, c.domain_word) == 0 &&
            std::strcmp(o.subject, c.subject) == 0)
            phase = o.phase;
    return phase;
}

std::string domain_object(const command &c)
{
    const std::string word = c.domain_word;
    return per_interface(c) ? word + ".interfaces.{i}" : word;
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

group setting_group(const command &set)
{
    const bool single = set.fields.size() == 1 && std::strcmp(set.fields[0].key, set.subject) == 0;
    std::string object = domain_object(set);
    if (!single)
        object += std::string(".") + set.subject;
    return group{&set, object, phase_of(set)};
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
                !(set->inst == axis::none || set->inst == axis::iface || set->inst == axis::usb))
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
            const int del_phase = phase_of(*add);
            if (set != nullptr && set->inst == axis::apn && list != nullptr) {
                std::vector<field> entry = vgm::axis_fields(axis::apn);
                entry.insert(entry.end(), set->fields.begin(), set->fields.end());
                l.push_back({list_kind::keyed, list, add, del, set, add->domain_word, add->subject,
                             kPhaseProfilesRemoved, del_phase, entry});
            } else if (list != nullptr && list->list != nullptr) {
                const bool network = std::strcmp(add->domain_word, "network") == 0;
                l.push_back({list_kind::exact, list, add, del, nullptr, domain_object(*add),
                             add->subject, del_phase, network ? 52 : del_phase + 1,
                             list->list->entry});
            } else if (get != nullptr && set == nullptr) {
                l.push_back({list_kind::optional, get, add, del, nullptr, domain_object(*add),
                             add->subject, del_phase, 51, get->fields});
            }
        }
        return l;
    }();
    return all;
}

} // namespace vgcfg
