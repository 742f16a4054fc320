// The resource-module states: merged adds to what is there, replaced makes
// each given section equal to the document (what it does not give goes back
// to the defaults), overridden does that for every section, deleted removes
// the entries given and puts everything else given back to its defaults.
#include "config_states.h"

#include <algorithm>

#include "config_apply.h"

namespace vgcfg {

namespace {

constexpr const char *kSections[] = {
    "wifi", "wifi.interfaces.1", "wifi.interfaces.2", "wifi.interfaces.3", "datacall", "network",
    "usb"};

json overlay(json base, const json &top)
{
    if (!base.is_object() || !top.is_object())
        return top;
    for (const auto &[k, v] : top.items())
        base[k] = base.contains(k) ? overlay(base[k], v) : v;
    return base;
}

json *find_mut(json &doc, const std::string &path)
{
    return const_cast<json *>(find_path(doc, path));
}

// A section's own keys: the Wi-Fi section without its interfaces.
json section_of(const json &doc, const std::string &path)
{
    const json *s = find_path(doc, path);
    json out = s != nullptr && s->is_object() ? *s : json::object();
    if (path == "wifi")
        out.erase("interfaces");
    return out;
}

bool section_given(const json &doc, const std::string &path)
{
    const json *s = find_path(doc, path);
    return s != nullptr && s->is_object() &&
           (path != "wifi" || s->size() > (s->contains("interfaces") ? 1U : 0U));
}

void put_section(json &target, const std::string &path, const json &value)
{
    json &at = make_path(target, path);
    for (const auto &[k, v] : value.items())
        at[k] = v;
}

// The lists by their document path.
struct list_at {
    const list_desc *l;
    std::string path;
};

std::vector<list_at> list_paths()
{
    std::vector<list_at> out;
    for (const list_desc &l : lists())
        for (int i = first_instance(*l.read); i <= last_instance(*l.read); ++i)
            out.push_back({&l, object_path(l.object, i) + "." + l.key});
    return out;
}

bool same_key(const list_desc &l, const json &a, const json &b)
{
    return a.value(l.entry[0].key, json()) == b.value(l.entry[0].key, json()) &&
           a.value(l.entry[1].key, json()) == b.value(l.entry[1].key, json());
}

// Whether an entry of the current list is the given one.
bool matches(const list_desc &l, const json &current, const json &given)
{
    if (l.kind == list_kind::keyed)
        return current.is_object() && given.is_object() && same_key(l, current, given);
    return current == canonical_entry(l, given);
}

json merged_list(const list_desc &l, const json &current, const json &given)
{
    json out = current.is_array() ? current : json::array();
    for (const json &g : given) {
        auto at =
            std::find_if(out.begin(), out.end(), [&](const json &c) { return matches(l, c, g); });
        if (at == out.end())
            out.push_back(g);
        else if (l.kind == list_kind::keyed)
            *at = overlay(*at, g);
    }
    return out;
}

json without(const list_desc &l, const json &current, const json &given)
{
    json out = json::array();
    for (const json &c : current)
        if (std::none_of(given.begin(), given.end(),
                         [&](const json &g) { return matches(l, c, g); }))
            out.push_back(c);
    return out;
}

json defaults_at(const std::string &path)
{
    const json *d = find_path(defaults_document(), path);
    return d != nullptr ? *d : json(nullptr);
}

// deleted: list entries given are removed, everything else given (a key, or
// an object given empty) goes back to its defaults.
void delete_walk(const json &given, const std::string &path, const json &current, json &target)
{
    for (const list_at &la : list_paths())
        if (la.path == path) {
            const json *cur = find_path(current, path);
            const bool entries =
                given.is_array() && !given.empty() && la.l->kind != list_kind::optional;
            make_path(target, path) =
                entries && cur != nullptr ? without(*la.l, *cur, given) : defaults_at(path);
            return;
        }
    if (given.is_object() && !given.empty()) {
        for (const auto &[k, v] : given.items())
            delete_walk(v, path.empty() ? k : path + "." + k, current, target);
        return;
    }
    const json d = path.empty() ? defaults_document() : defaults_at(path);
    if (path.empty())
        target = d;
    else if (!d.is_null())
        make_path(target, path) = d;
}

} // namespace

std::optional<config_state> state_named(const std::string &name)
{
    static const std::pair<const char *, config_state> names[] = {
        {"merged", config_state::merged},         {"replaced", config_state::replaced},
        {"overridden", config_state::overridden}, {"deleted", config_state::deleted},
        {"gathered", config_state::gathered},     {"rendered", config_state::rendered},
        {"parsed", config_state::parsed}};
    for (const auto &[n, s] : names)
        if (name == n)
            return s;
    return std::nullopt;
}

const char *state_names()
{
    return "merged, replaced, overridden, deleted, gathered, rendered, parsed";
}

const json &defaults_document()
{
    static const json d = to_document(factory_snapshot(), false);
    return d;
}

json state_target(config_state s, const json &given, const json &current)
{
    json doc = given;
    doc.erase("version");
    json target = json::object();
    if (s == config_state::merged) {
        target = doc;
        for (const list_at &la : list_paths())
            if (const json *g = find_path(doc, la.path); g != nullptr && g->is_array()) {
                const json *cur = find_path(current, la.path);
                make_path(target, la.path) = merged_list(*la.l, cur != nullptr ? *cur : json(), *g);
            }
    } else if (s == config_state::deleted) {
        delete_walk(doc, "", current, target);
    } else {
        for (const char *path : kSections)
            if (s == config_state::overridden || section_given(doc, path))
                put_section(target, path,
                            overlay(section_of(defaults_document(), path), section_of(doc, path)));
    }
    target["version"] = kDocumentVersion;
    return target;
}

json mask_secrets(json doc)
{
    const auto &all = groups();
    for (const group &g : all)
        for (int i = first_instance(*g.row); i <= last_instance(*g.row); ++i)
            if (json *obj = find_mut(doc, object_path(g.object, i));
                obj != nullptr && obj->is_object())
                for (const field &f : g.row->fields)
                    if (f.secret && obj->contains(f.key) && (*obj)[f.key] != "")
                        (*obj)[f.key] = kSecretMask;
    for (const list_at &la : list_paths())
        if (json *l = find_mut(doc, la.path); l != nullptr && l->is_array())
            for (json &e : *l)
                e = masked_entry(*la.l, e, false);
    return doc;
}

json laid_over(json before, json managed)
{
    for (const list_at &la : list_paths()) // the entries as the service gives them back
        if (json *l = find_mut(managed, la.path); l != nullptr && l->is_array())
            for (json &e : *l)
                e = masked_entry(*la.l, canonical_entry(*la.l, e), false);
    return overlay(std::move(before), managed);
}

} // namespace vgcfg
