// Checking a whole document against the table before anything is sent: every
// problem, each with its path in the document.
#include <algorithm>
#include <cstring>
#include <set>

#include "config_rules.h"
#include "kest_nearest.h"
#include "vg_mgmt_output_escape.h"
#include "vg_mgmt_text.h"

namespace vgcfg {

namespace {

// A key of the document as a problem's path shows it: escaped, so that it
// can neither drive a terminal nor forge a line, and with its colons as
// \x3a, so that the first ": " of a problem ends its path.
std::string key_text(const std::string &k)
{
    std::string out;
    for (const char c : vgm::escape_text(k))
        out += c == ':' ? std::string("\\x3a") : std::string(1, c);
    return out;
}

// The table's path of a document object: the interface number becomes {i}.
std::string pattern_of(const std::string &path)
{
    const std::string ifaces = "wifi.interfaces.";
    if (path.rfind(ifaces, 0) != 0 || path.size() == ifaces.size())
        return path;
    const size_t end = path.find('.', ifaces.size());
    return ifaces + "{i}" + (end == std::string::npos ? "" : path.substr(end));
}

// Object paths below `pattern` that the table names, one level down.
std::set<std::string> child_objects(const std::string &pattern)
{
    std::set<std::string> out;
    auto add = [&](const std::string &obj) {
        for (std::string p = obj; !p.empty();) {
            const size_t dot = p.rfind('.');
            const std::string parent = dot == std::string::npos ? "" : p.substr(0, dot);
            if (parent == pattern)
                out.insert(p.substr(dot == std::string::npos ? 0 : dot + 1));
            p = parent;
        }
    };
    for (const group &g : groups())
        add(g.object);
    for (const list_desc &l : lists())
        add(l.object);
    return out;
}

// "unknown key", with the nearest key that the place takes when it is near.
std::string unknown_key(const std::string &given, const std::vector<std::string> &valid)
{
    const std::string text = kest_unknown_text("key", given, valid);
    const size_t hint = text.find("; did you mean");
    return "unknown key" + (hint == std::string::npos ? std::string() : text.substr(hint));
}

// The keys that the table gives an object at `pattern`.
std::vector<std::string> keys_at(const std::string &pattern)
{
    std::vector<std::string> out;
    for (const std::string &o : child_objects(pattern))
        if (o != "{i}")
            out.push_back(o);
    for (const group &g : groups())
        if (g.object == pattern)
            for (const field &f : g.row->fields)
                out.emplace_back(f.key);
    for (const list_desc &l : lists())
        if (l.object == pattern)
            out.push_back(l.key);
    if (pattern.empty())
        out.emplace_back("version");
    return out;
}

struct checker {
    std::vector<std::string> &problems;
    // Ansible's templates give numbers as text ("6"): with this set, a text of
    // decimal digits where the field takes that number becomes the number, as
    // Ansible's own modules convert their int options.
    bool numbers_from_text = false;

    void problem(const std::string &path, const std::string &why)
    {
        problems.push_back(path + ": " + why);
    }

    void check_value(const field &f, json &v, const std::string &at)
    {
        if (numbers_from_text && v.is_string() && !v.get_ref<const std::string &>().empty() &&
            v.get_ref<const std::string &>().size() <= 10 &&
            v.get_ref<const std::string &>().find_first_not_of("0123456789") == std::string::npos) {
            const json n = std::stoull(v.get<std::string>());
            if (!field_problem(f, v).empty() && field_problem(f, n).empty())
                v = n;
        }
        if (const std::string p = field_problem(f, v); !p.empty())
            problem(at, p);
    }

    void check_entry(const list_desc &l, json &e, const std::string &at)
    {
        if (l.single())
            return check_value(l.entry[0], e, at);
        if (!e.is_object())
            return problem(at, "an object is needed");
        for (const auto &[k, v] : e.items()) {
            const auto f = std::find_if(l.entry.begin(), l.entry.end(),
                                        [&](const field &x) { return k == x.key; });
            if (f == l.entry.end()) {
                std::vector<std::string> keys;
                for (const field &x : l.entry)
                    keys.emplace_back(x.key);
                problem(at + "." + key_text(k), unknown_key(k, keys));
            } else
                check_value(*f, v, at + "." + k);
        }
        const size_t needed = l.kind == list_kind::keyed ? 2 : l.entry.size();
        for (size_t i = 0; i < needed; ++i)
            if (!e.contains(l.entry[i].key))
                problem(at, std::string("'") + l.entry[i].key + "' is missing");
    }

    void check_list(const list_desc &l, json &v, const std::string &at)
    {
        if (l.kind == list_kind::optional) {
            if (!v.is_null())
                check_value(l.entry[0], v, at);
            return;
        }
        if (!v.is_array())
            return problem(at, "a list is needed");
        check_list_rules(l, v, at, problems);
        if (l.kind == list_kind::exact && l.read->list != nullptr && v.size() > l.read->list->max)
            return; // over its limit: not checked entry by entry
        for (size_t n = 0; n < v.size(); ++n)
            check_entry(l, v[n], at + "[" + std::to_string(n) + "]");
    }

    // A field that exists only with some values of the others (the WEP keys
    // with WEP): checked when all those others are given.
    void check_applies(const group &g, const json &obj, const std::string &path)
    {
        record scratch = new_record(g.row->domain);
        for (const field &f : g.row->fields) {
            if (f.shown == nullptr && !obj.contains(f.key))
                return;
            if (obj.contains(f.key) && field_problem(f, obj[f.key]).empty())
                field_store(f, obj[f.key], scratch.data());
        }
        for (const field &f : g.row->fields)
            if (obj.contains(f.key) && !applies(f, scratch.data()))
                problem(path + "." + f.key, "does not apply with the other values given");
    }

    bool check_field(const std::string &pattern, json &obj, const std::string &k,
                     const std::string &at)
    {
        for (const group &g : groups()) {
            if (pattern != g.object)
                continue;
            for (const field &f : g.row->fields)
                if (k == f.key) {
                    check_value(f, obj[k], at);
                    return true;
                }
        }
        return false;
    }

    void walk(json &obj, const std::string &path)
    {
        const std::string pattern = pattern_of(path);
        const std::set<std::string> objects = child_objects(pattern);
        for (const auto &[k, v] : obj.items()) {
            const std::string at = path.empty() ? key_text(k) : path + "." + key_text(k);
            if (objects.count(k) != 0 || objects.count("{i}") != 0) {
                if (objects.count("{i}") != 0 &&
                    (k.size() != 1 || k[0] < '1' || k[0] > '0' + kWifiInterfaces))
                    problem(at, "no such Wi-Fi interface (1 to " + std::to_string(kWifiInterfaces) +
                                    ")");
                else if (!v.is_object())
                    problem(at, "an object is needed");
                else
                    walk(v, at);
                continue;
            }
            if (check_field(pattern, obj, k, at))
                continue;
            const auto l = std::find_if(lists().begin(), lists().end(), [&](const list_desc &d) {
                return pattern == d.object && k == d.key;
            });
            if (l != lists().end())
                check_list(*l, v, at);
            else if (!(path.empty() && k == "version"))
                problem(at, unknown_key(k, keys_at(pattern)));
        }
        for (const group &g : groups())
            if (pattern == g.object)
                check_applies(g, obj, path);
    }
};

} // namespace

std::vector<std::string> validate(const json &doc)
{
    std::vector<std::string> problems;
    if (!doc.is_object()) {
        problems.push_back("(document): a JSON object is needed");
        return problems;
    }
    if (!doc.contains("version"))
        problems.push_back("version: missing (this tool writes and reads version " +
                           std::to_string(kDocumentVersion) + ")");
    else if (doc["version"] != kDocumentVersion)
        problems.push_back("version: " + vgm::shown_value(doc["version"].dump(), false) +
                           " is not a version this tool reads (" +
                           std::to_string(kDocumentVersion) + ")");
    // Not changed: numbers_from_text is off.
    checker{problems}.walk(const_cast<json &>(doc), "");
    check_document_rules(doc, problems);
    return problems;
}

void numbers_from_text(json &doc)
{
    std::vector<std::string> ignored;
    if (doc.is_object())
        checker{ignored, true}.walk(doc, "");
}

} // namespace vgcfg

namespace vgcfg {

std::vector<std::string> setting_problems(const vgm::command &row, int iface, const uint8_t *rrec,
                                          const uint8_t *wrec)
{
    json doc = json::object();
    doc["version"] = kDocumentVersion;
    std::set<std::string> kept; // fields the write leaves as the module holds them
    for (const group &g : groups()) {
        if (g.row != &row)
            continue;
        const std::string object = object_path(g.object, iface);
        json &obj = make_path(doc, object);
        for (const field &f : g.row->fields) {
            field at = f;
            at.off = f.woff;
            if (!applies(at, wrec))
                continue;
            obj[f.key] = field_value(at, wrec, true);
            if (std::memcmp(rrec + f.woff, wrec + f.woff, f.width) == 0)
                kept.insert(object + "." + f.key);
        }
    }
    std::vector<std::string> out;
    for (const std::string &p : validate(doc))
        if (kept.count(p.substr(0, p.find(": "))) == 0)
            out.push_back(p);
    return out;
}

const list_desc *exact_list_of(const vgm::command &add)
{
    for (const list_desc &l : lists())
        if (l.add == &add && l.kind == list_kind::exact)
            return &l;
    return nullptr;
}

std::vector<std::string> entry_problems(const list_desc &l, int iface, const uint8_t *lrec,
                                        const uint8_t *erec)
{
    json list = exact_entries(l, lrec), entry = json::object();
    for (const field &f : l.add->fields) {
        field at = f;
        at.off = f.woff;
        entry[f.key] = field_value(at, erec, true);
    }
    const std::string path = object_path(l.object, iface) + "." + l.key,
                      added = path + "[" + std::to_string(list.size()) + "]";
    list.push_back(l.single() ? entry.begin().value() : entry);
    std::vector<std::string> all, out;
    check_list_rules(l, list, path, all);
    for (const std::string &p : all)
        if (p.rfind(added, 0) == 0 || p.rfind(path + ": ", 0) == 0)
            out.push_back(p);
    return out;
}

} // namespace vgcfg
