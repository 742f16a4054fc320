// Checking a whole document against the table before anything is sent: every
// problem, each with its path in the document.
#include <set>

#include "config_apply.h"

namespace vgcfg {

namespace {

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

struct checker {
    std::vector<std::string> &problems;

    void problem(const std::string &path, const std::string &why) { problems.push_back(path + ": " + why); }

    void check_entry(const list_desc &l, const json &e, const std::string &at)
    {
        if (l.entry.size() == 1 && l.entry[0].key[0] == '\0') {
            if (const std::string p = field_problem(l.entry[0], e); !p.empty())
                problem(at, p);
            return;
        }
        if (!e.is_object())
            return problem(at, "an object is needed");
        for (const auto &[k, v] : e.items()) {
            const field *f = nullptr;
            for (const field &ef : l.entry)
                f = ef.key == k ? &ef : f;
            if (f == nullptr)
                problem(at + "." + k, "unknown key");
            else if (const std::string p = field_problem(*f, v); !p.empty())
                problem(at + "." + k, p);
        }
        const size_t needed = l.kind == list_kind::apn ? 2 : l.entry.size();
        for (size_t i = 0; i < needed; ++i)
            if (!e.contains(l.entry[i].key))
                problem(at, std::string("'") + l.entry[i].key + "' is missing");
    }

    void check_list(const list_desc &l, const json &v, const std::string &at)
    {
        if (!v.is_array())
            return problem(at, "a list is needed");
        std::set<std::string> seen;
        for (size_t n = 0; n < v.size(); ++n) {
            const std::string entry_at = at + "[" + std::to_string(n) + "]";
            check_entry(l, v[n], entry_at);
            json key = v[n];
            if (l.kind == list_kind::apn && v[n].is_object())
                key = json{v[n].value("type", json()), v[n].value("index", json())};
            if (!seen.insert(key.dump()).second)
                problem(entry_at, "listed twice");
        }
    }

    bool check_field(const std::string &pattern, const json &obj, const std::string &k, const std::string &at)
    {
        for (const group &g : groups()) {
            if (pattern != g.object)
                continue;
            for (const field &f : g.fields) {
                if (k != f.key)
                    continue;
                if (const std::string p = field_problem(f, obj[k]); !p.empty())
                    problem(at, p);
                if (g.variant >= 0 && &f != &g.fields[static_cast<size_t>(g.variant)])
                    check_variant(g, f, obj, at);
                return true;
            }
        }
        return false;
    }

    void check_variant(const group &g, const field &f, const json &obj, const std::string &at)
    {
        const field &sel = g.fields[static_cast<size_t>(g.variant)];
        if (!obj.contains(sel.key) || !field_problem(sel, obj[sel.key]).empty())
            return;
        record rec(g.size + 8u, 0);
        field_store(sel, obj[sel.key], rec.data());
        if (!applies(f, selector_of(g, rec.data())))
            problem(at, "not a setting of " + std::string(sel.key) + " " + obj[sel.key].dump());
    }

    void walk(const json &obj, const std::string &path)
    {
        const std::string pattern = pattern_of(path);
        const std::set<std::string> objects = child_objects(pattern);
        for (const auto &[k, v] : obj.items()) {
            const std::string at = path.empty() ? k : path + "." + k;
            if (objects.count(k) != 0 || (pattern == "wifi.interfaces" && objects.count("{i}") != 0)) {
                if (pattern == "wifi.interfaces" && (k.size() != 1 || k[0] < '1' || k[0] > '0' + wifi_interfaces))
                    problem(at, "no such Wi-Fi interface (1 to " + std::to_string(wifi_interfaces) + ")");
                else if (!v.is_object())
                    problem(at, "an object is needed");
                else
                    walk(v, at);
                continue;
            }
            if (check_field(pattern, obj, k, at))
                continue;
            const list_desc *list = nullptr;
            for (const list_desc &l : lists())
                list = pattern == l.object && k == l.key ? &l : list;
            if (list != nullptr)
                check_list(*list, v, at);
            else if (pattern == "network" && k == dmz_field.key) {
                if (!v.is_null())
                    if (const std::string p = field_problem(dmz_field, v); !p.empty())
                        problem(at, p);
            } else if (!(path.empty() && k == "version"))
                problem(at, "unknown key");
        }
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
                           std::to_string(document_version) + ")");
    else if (doc["version"] != document_version)
        problems.push_back("version: " + doc["version"].dump() + " is not a version this tool reads (" +
                           std::to_string(document_version) + ")");
    checker{problems}.walk(doc, "");
    return problems;
}

} // namespace vgcfg
