// Steps that make each list of a document exact (MAC lists, SNAT rules, APN
// profiles) and set the optional values (the DMZ host). Removals come before
// additions of the same list, and every step's undo is its opposite.
#include <algorithm>
#include <cstring>
#include <map>

#include "config_apply.h"
#include "config_leaf.h"

namespace vgcfg {

namespace {

using call_fn = std::function<bool(conn &)>;

call_fn send(const vgm::command &row, const record &rec)
{
    return [&row, rec](conn &c) {
        record buf = rec;
        return c.call(MGMT_OPT_SET, row.domain, row.write_id, buf.data());
    };
}

// The record of a row that takes an entry: the instance, then the entry's
// values by key (an entry of one field is that value).
record entry_record(const vgm::command &row, int iface, const json &entry, bool single)
{
    record rec = instance_record(row, iface);
    for (const field &f : row.fields)
        if (single)
            field_store(f, entry, rec.data());
        else if (entry.contains(f.key) && !is_mask(f, entry[f.key]))
            field_store(f, entry[f.key], rec.data());
    return rec;
}

// An entry as the service would give it back: parsed, then shown.
json canonical(const vgm::command &row, const json &entry, bool single)
{
    const record rec = entry_record(row, 1, entry, single);
    if (single)
        return field_value(row.fields[0], rec.data(), true);
    json e = json::object();
    for (const field &f : row.fields)
        e[f.key] = field_value(f, rec.data(), true);
    return e;
}

void plan_exact(const list_desc &l, int iface, const json &cur, const json &want, plan &p)
{
    const std::string path = object_path(l.object, iface) + "." + l.key;
    json wanted = json::array();
    for (const json &e : want)
        wanted.push_back(canonical(*l.add, e, l.single()));
    auto holds = [](const json &list, const json &e) {
        return std::find(list.begin(), list.end(), e) != list.end();
    };
    for (const json &e : cur)
        if (!holds(wanted, e)) {
            const record r = entry_record(*l.del, iface, e, l.single());
            p.steps.push_back({l.phase_del,
                               path,
                               {{path, masked_entry(l, e, false), nullptr, true}},
                               send(*l.del, r),
                               send(*l.add, entry_record(*l.add, iface, e, l.single())),
                               false,
                               {{path, e, true, false}}});
        }
    for (size_t n = 0; n < wanted.size(); ++n)
        if (const json &e = wanted[n]; !holds(cur, e)) {
            const record r = entry_record(*l.add, iface, e, l.single());
            p.steps.push_back(
                {l.phase_add,
                 path,
                 {{path, nullptr, masked_entry(l, e, false), true}},
                 naming(send(*l.add, r),
                        [&l, path, n](int32_t err) { return entry_leaf(l, path, n, err); }),
                 send(*l.del, entry_record(*l.del, iface, e, l.single())),
                 false,
                 {{path, e, true, true}}});
        }
}

void plan_optional(const list_desc &l, const json &cur, const json &want, plan &p)
{
    const std::string path = object_path(l.object, 0) + "." + l.key;
    const json wanted = want.is_null() ? want : canonical(*l.add, want, true);
    if (wanted == cur)
        return;
    const record none = instance_record(*l.del, 0);
    if (!cur.is_null())
        p.steps.push_back({l.phase_del,
                           path,
                           {{path, cur, wanted}},
                           send(*l.del, none),
                           send(*l.add, entry_record(*l.add, 0, cur, true)),
                           false,
                           {{path, nullptr}}});
    if (!wanted.is_null())
        p.steps.push_back(
            {l.phase_add,
             path,
             cur.is_null() ? std::vector<change>{{path, cur, wanted}} : std::vector<change>{},
             send(*l.add, entry_record(*l.add, 0, wanted, true)),
             send(*l.del, none),
             false,
             {{path, wanted}}});
}

} // namespace

void plan_lists(const json &doc, const snapshot &cur, plan &p)
{
    const auto &ls = lists();
    for (size_t li = 0; li < ls.size(); ++li) {
        const list_desc &l = ls[li];
        for (int i = first_instance(*l.read); i <= last_instance(*l.read); ++i) {
            const json *want = find_path(doc, object_path(l.object, i) + "." + l.key);
            if (want == nullptr)
                continue;
            const json &have = cur.lists.at(instance_key(li, i));
            if (l.kind == list_kind::exact)
                plan_exact(l, i, have, *want, p);
            else if (l.kind == list_kind::optional)
                plan_optional(l, have, *want, p);
            else
                plan_keyed(l, have, *want, p);
        }
    }
}

json canonical_entry(const list_desc &l, const json &entry)
{
    return l.kind == list_kind::keyed ? keyed_entry(l, entry)
                                      : canonical(*l.add, entry, l.single());
}

} // namespace vgcfg
