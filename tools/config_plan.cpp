// Turning the differences between a document and the current records into
// steps: the groups of settings (read, change the named fields, write back).
#include <algorithm>
#include <cstring>

#include "config_apply.h"

namespace vgcfg {

namespace {

// The shortest text each changed text setting takes (the SSID and the
// country code); an unchanged empty one is left alone.
size_t min_text(const group &g, const field &f)
{
    if (g.domain == MGMT_DOMAIN_WIFI && std::string(f.key) == "ssid")
        return 1;
    if (g.domain == MGMT_DOMAIN_WIFI && std::string(f.key) == "country")
        return 2;
    return 0;
}

bool send_record(conn &c, const group &g, const record &rec)
{
    for (const writer &w : g.writers) {
        record buf = new_record(g.domain);
        if (w.parts.empty())
            buf = rec;
        for (const write_part &p : w.parts)
            memcpy(buf.data() + p.to, rec.data() + p.from, p.width);
        if (!c.call(MGMT_OPT_SET, g.domain, w.set_id, buf.data()))
            return false;
    }
    if (g.commit_id != 0) {
        record none = new_record(g.domain);
        return c.call(MGMT_OPT_SET, g.domain, g.commit_id, none.data());
    }
    return true;
}

json shown(const field &f, const record &rec, uint32_t selector)
{
    return applies(f, selector) ? field_value(f, rec.data(), false) : json(nullptr);
}

// The changed fields of one group instance, secrets masked; a changed
// secret reads "(new secret)".
std::vector<change> group_changes(const group &g, const std::string &path, const record &old, const record &neu)
{
    std::vector<change> out;
    const uint32_t s0 = selector_of(g, old.data()), s1 = selector_of(g, neu.data());
    for (const field &f : g.fields) {
        const json a = applies(f, s0) ? field_value(f, old.data(), true) : json(nullptr);
        const json b = applies(f, s1) ? field_value(f, neu.data(), true) : json(nullptr);
        if (a == b)
            continue;
        json after = shown(f, neu, s1);
        if (f.secret && !after.is_null() && after != "")
            after = "(new secret)";
        out.push_back({path + "." + f.key, shown(f, old, s0), after});
    }
    return out;
}

void plan_group(const group &g, const json &obj, const std::string &path, const record &old, plan &p)
{
    record neu = old;
    const uint32_t old_sel = selector_of(g, old.data());
    if (g.variant >= 0) {
        const field &sel = g.fields[static_cast<size_t>(g.variant)];
        if (obj.contains(sel.key))
            field_store(sel, obj[sel.key], neu.data());
        if (selector_of(g, neu.data()) != old_sel) // another variant: its fields start from zero
            std::fill(neu.begin() + sel.off + sel.width, neu.end(), 0);
    }
    const uint32_t new_sel = selector_of(g, neu.data());
    for (const field &f : g.fields) {
        if (!applies(f, new_sel))
            continue;
        const std::string at = path + "." + f.key;
        const bool masked = obj.contains(f.key) && is_mask(f, obj[f.key]);
        if (new_sel != old_sel && f.secret && (masked || !obj.contains(f.key))) {
            p.problems.push_back(at + ": the type changes, so this secret must be given in clear");
            continue;
        }
        if (obj.contains(f.key) && !masked && (g.variant < 0 || &f != &g.fields[static_cast<size_t>(g.variant)]))
            field_store(f, obj[f.key], neu.data());
        const size_t min = min_text(g, f);
        if (min > 0 && strnlen(reinterpret_cast<const char *>(neu.data() + f.off), f.width) < min &&
            field_value(f, neu.data(), true) != field_value(f, old.data(), true))
            p.problems.push_back(at + ": at least " + std::to_string(min) + " characters");
    }
    std::vector<change> changes = group_changes(g, path, old, neu);
    if (changes.empty())
        return;
    step s{g.phase, path, std::move(changes), nullptr, nullptr, g.commit_id != 0};
    s.run = [&g, neu](conn &c) { return send_record(c, g, neu); };
    s.undo = [&g, old](conn &c) { return send_record(c, g, old); };
    p.steps.push_back(std::move(s));
}

} // namespace

void plan_groups(const json &doc, const snapshot &cur, plan &p)
{
    const auto &all = groups();
    for (size_t gi = 0; gi < all.size(); ++gi) {
        const group &g = all[gi];
        for (int i = g.per_interface ? 1 : 0; i <= (g.per_interface ? wifi_interfaces : 0); ++i) {
            const std::string path = object_path(g.object, i);
            const json *obj = find_path(doc, path);
            if (obj == nullptr || !obj->is_object())
                continue;
            const bool named = std::any_of(g.fields.begin(), g.fields.end(),
                                           [&](const field &f) { return obj->contains(f.key); });
            if (named)
                plan_group(g, *obj, path, cur.groups.at(instance_key(gi, i)), p);
        }
    }
}

size_t plan::change_count() const
{
    size_t n = 0;
    for (const step &s : steps)
        n += s.changes.size();
    return n;
}

plan make_plan(const json &doc, const snapshot &current)
{
    plan p;
    plan_groups(doc, current, p);
    plan_lists(doc, current, p);
    std::stable_sort(p.steps.begin(), p.steps.end(), [](const step &a, const step &b) { return a.phase < b.phase; });
    return p;
}

} // namespace vgcfg
