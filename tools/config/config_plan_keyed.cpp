// The APN profiles: entries keyed by profile type and index, added where the
// document puts them, changed in place, removed when the document lacks them.
#include <cstring>
#include <map>

#include "config_apply.h"
#include "config_leaf.h"

namespace vgcfg {

namespace {

using key_t = std::pair<json, json>; // profile type, profile index

// The entry's values in a record laid out as the setting's (and add's) record.
record keyed_record(const list_desc &l, const json &entry)
{
    record rec = new_record(l.set->domain);
    for (const field &f : l.entry)
        if (entry.contains(f.key) && !is_mask(f, entry[f.key]))
            field_store(f, entry[f.key], rec.data());
    return rec;
}

json keyed_json(const list_desc &l, const record &rec)
{
    json e = json::object();
    for (const field &f : l.entry)
        e[f.key] = field_value(f, rec.data(), true);
    return e;
}

// Adds a profile at exactly its index: the service takes the lowest free
// index, so free indexes below it are filled for the moment and freed again.
bool place(conn &c, const list_desc &l, const record &rec)
{
    const field &index = l.entry[1];
    std::vector<uint8_t> fillers;
    bool placed = false;
    while (true) {
        record buf = rec;
        if (!c.call(MGMT_OPT_SET, l.add->domain, l.add->write_id, buf.data()))
            break;
        if (buf[index.off] == rec[index.off]) {
            placed = true;
            break;
        }
        fillers.push_back(buf[index.off]);
        if (buf[index.off] > rec[index.off])
            break;
    }
    const int32_t err = c.err;
    for (uint8_t at : fillers) {
        record del = rec;
        del[index.off] = at;
        placed = c.call(MGMT_OPT_SET, l.del->domain, l.del->write_id, del.data()) && placed;
    }
    if (!placed)
        c.err = err;
    return placed;
}

std::function<bool(conn &)> send(const vgm::command &row, const record &rec)
{
    return [&row, rec](conn &c) {
        record buf = rec;
        return c.call(MGMT_OPT_SET, row.domain, row.write_id, buf.data());
    };
}

} // namespace

void plan_keyed(const list_desc &l, const json &cur, const json &want, plan &p)
{
    const std::string path = l.object + "." + l.key;
    const char *type = l.entry[0].key, *index = l.entry[1].key;
    std::map<key_t, json> have, wanted;
    std::map<key_t, std::string> leaf; // the entry's place in the document
    for (const json &e : cur)
        have[{e[type], e[index]}] = e;
    for (size_t n = 0; n < want.size(); ++n) {
        const json &e = want[n];
        const json given = keyed_json(l, keyed_record(l, e));
        const key_t k{given[type], given[index]};
        leaf[k] = path + "[" + std::to_string(n) + "]";
        json merged = have.count(k) ? have[k] : json::object();
        for (const field &f : l.entry)
            if (e.contains(f.key) && is_mask(f, e[f.key]) && have.count(k) == 0)
                p.problems.push_back(path + ": the new profile " + k.first.dump() + "/" +
                                     k.second.dump() + " needs its " + f.key + " in clear");
            else if (e.contains(f.key) && !is_mask(f, e[f.key]))
                merged[f.key] = e[f.key];
        wanted[k] = keyed_json(l, keyed_record(l, merged));
    }
    for (const auto &[k, e] : wanted) { // ascending: each lands on its index
        const record rec = keyed_record(l, e);
        const auto old = have.find(k);
        if (old == have.end())
            p.steps.push_back({l.phase_add,
                               path,
                               {{path, nullptr, masked_entry(l, e, false), true}},
                               naming([&l, rec](conn &c) { return place(c, l, rec); },
                                      [at = leaf[k]](int32_t) { return at; }),
                               send(*l.del, rec),
                               false,
                               {{path, e, true, true}}});
        else if (old->second != e)
            p.steps.push_back(
                {l.phase_add,
                 path,
                 {{path, masked_entry(l, old->second, false), masked_entry(l, e, false)}},
                 naming(send(*l.set, rec), [at = leaf[k]](int32_t) { return at; }),
                 send(*l.set, keyed_record(l, old->second)),
                 false,
                 {{path, e, true, true}}});
    }
    for (auto it = have.rbegin(); it != have.rend();
         ++it) // descending, so the undo re-adds ascending
        if (wanted.count(it->first) == 0) {
            const record rec = keyed_record(l, it->second);
            p.steps.push_back({l.phase_del,
                               path,
                               {{path, masked_entry(l, it->second, false), nullptr, true}},
                               send(*l.del, rec),
                               [&l, rec](conn &c) { return place(c, l, rec); },
                               false,
                               {{path, it->second, true, false}}});
        }
}

json keyed_entry(const list_desc &l, const json &entry)
{
    return keyed_json(l, keyed_record(l, entry));
}

} // namespace vgcfg
