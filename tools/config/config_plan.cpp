// Turning the differences between a document and the current records into
// steps: the settings (read, change the named fields, write back).
#include <algorithm>
#include <cstring>

#include "config_apply.h"
#include "config_leaf.h"

namespace vgcfg {

namespace {

record write_record(const group &g, const record &rrec, int iface)
{
    record w = instance_record(*g.row, iface);
    for (const field &f : g.row->fields)
        vgm::carry_field(f, rrec.data(), w.data());
    return w;
}

bool send_record(conn &c, const vgm::command &row, const record &w)
{
    record buf = w;
    return c.call(MGMT_OPT_SET, row.domain, row.write_id, buf.data());
}

// One setting of one instance: the records before and after, and why the
// document cannot be applied to it, if so.
struct planned {
    int iface;
    record old_w, neu_w;
    std::vector<change> changes;
    std::vector<probe> probes;
};

void given_into(const group &g, const json &obj, record &w)
{
    for (const field &f : g.row->fields)
        if (obj.contains(f.key) && !is_mask(f, obj[f.key]))
            field_store(f, obj[f.key], w.data());
}

std::vector<std::string> check_setting(const group &g, const json &obj, const std::string &path,
                                       const record &old_r, const record &neu_r)
{
    std::vector<std::string> problems;
    for (const field &f : g.row->fields) {
        const std::string at = path + "." + f.key;
        const bool given = obj.contains(f.key), clear = given && !is_mask(f, obj[f.key]);
        const bool same = std::memcmp(old_r.data() + f.off, neu_r.data() + f.off, f.width) == 0;
        if (given && !applies(f, neu_r.data()))
            problems.push_back(at + ": does not apply with the other values given");
        else if (f.secret && applies(f, neu_r.data()) && !clear && !same)
            problems.push_back(at + ": the other values start this secret anew: give it in clear");
        else if (f.secret && given && !clear && applies(f, neu_r.data()) &&
                 (!applies(f, old_r.data()) || old_r[f.off] == 0))
            problems.push_back(at + ": " + kSecretMask +
                               " keeps the current secret, and there is none: give it in clear");
        else if (f.type == vtype::text && f.min > 0 && !same &&
                 strnlen(reinterpret_cast<const char *>(neu_r.data() + f.off), f.width) < f.min)
            problems.push_back(at + ": at least " + std::to_string(f.min) + " characters");
    }
    return problems;
}

planned plan_setting(const group &g, const json &obj, const std::string &path, int iface,
                     const record &old_r, plan &p)
{
    planned s{iface, write_record(g, old_r, iface), {}, {}, {}};
    s.neu_w = s.old_w;
    given_into(g, obj, s.neu_w);
    if (g.row->prepare != nullptr) {
        g.row->prepare(old_r.data(), s.neu_w.data());
        given_into(g, obj, s.neu_w);
    }
    record neu_r = old_r; // the new values where a read would show them
    for (const field &f : g.row->fields)
        std::memcpy(neu_r.data() + f.off, s.neu_w.data() + f.woff, f.width);
    for (const std::string &pr : check_setting(g, obj, path, old_r, neu_r))
        p.problems.push_back(pr);
    for (const field &f : g.row->fields) {
        const bool was = applies(f, old_r.data()), is = applies(f, neu_r.data());
        const json a = was ? field_value(f, old_r.data(), true) : json(nullptr);
        const json b = is ? field_value(f, neu_r.data(), true) : json(nullptr);
        if (a == b)
            continue;
        json after = is ? field_value(f, neu_r.data(), false) : json(nullptr);
        if (f.secret && after == kSecretMask)
            after = "(new secret)";
        s.changes.push_back(
            {path + "." + f.key, was ? field_value(f, old_r.data(), false) : json(nullptr), after});
        s.probes.push_back({path + "." + f.key, b});
    }
    return s;
}

// The undo of a setting: the record as it is now, with the fields that this
// apply changed put back; what another client set since in the others stays.
bool undo_setting(conn &c, const group &g, const planned &s)
{
    record now = instance_record(*g.row, s.iface);
    if (!c.call(MGMT_OPT_GET, g.row->domain, g.row->read_id, now.data()))
        return false;
    record w = write_record(g, now, s.iface);
    for (const field &f : g.row->fields)
        if (std::memcmp(s.old_w.data() + f.woff, s.neu_w.data() + f.woff, f.width) != 0)
            std::memcpy(w.data() + f.woff, s.old_w.data() + f.woff, f.width);
    return send_record(c, *g.row, w);
}

using members_t = std::vector<std::pair<const group *, planned>>;

std::string member_name(const group &g)
{
    const std::string subject = g.row->subject;
    return g.object.ends_with(subject) ? g.object : g.object + "." + g.row->fields[0].key;
}

// After a failed undo of settings written back together: the pending copy
// is set to what the service holds, so that the next write-back by anyone
// commits nothing of this apply; where that fails, what it would commit.
std::string settle_pending(conn &c, const members_t &members, const std::string &failed)
{
    const int32_t err = c.err;
    std::string would;
    for (const auto &[g, s] : members) {
        record now = instance_record(*g->row, s.iface);
        if (c.call(MGMT_OPT_GET, g->row->domain, g->row->read_id, now.data()) &&
            send_record(c, *g->row, write_record(*g, now, s.iface)))
            continue;
        would += (would.empty() ? "" : ", ") + member_name(*g);
    }
    c.err = err;
    return failed +
           (would.empty()
                ? " (the pending settings were set back to those in use: the next write-back "
                  "commits none of this apply)"
                : " (the next write-back would commit this apply's " + would + ")");
}

// The settings written back together (USB): when one changes, all of them
// are written, then the write-back; the undo writes all the old ones back.
void commit_step(const members_t &members, plan &p)
{
    std::vector<change> changes;
    std::vector<probe> probes;
    for (const auto &[g, s] : members) {
        changes.insert(changes.end(), s.changes.begin(), s.changes.end());
        probes.insert(probes.end(), s.probes.begin(), s.probes.end());
    }
    if (changes.empty())
        return;
    const group &first = *members.front().first;
    auto write_all = [members, &first](bool neu) {
        return [members, &first, neu](conn &c) {
            for (const auto &[g, s] : members)
                if (!(neu ? send_record(c, *g->row, s.neu_w) : undo_setting(c, *g, s))) {
                    const std::string name =
                        !s.changes.empty() ? leaves_of(s.changes) : member_name(*g);
                    c.what = neu ? name : settle_pending(c, members, name);
                    return false;
                }
            record none = new_record(first.row->domain);
            if (c.call(MGMT_OPT_SET, first.row->domain, first.commit_id, none.data()))
                return true;
            if (!neu)
                c.what =
                    settle_pending(c, members, first.row->domain_word + std::string(" write-back"));
            return false;
        };
    };
    p.steps.push_back({first.phase, first.row->domain_word, changes, write_all(true),
                       write_all(false), true, probes});
}

} // namespace

void plan_groups(const json &doc, const snapshot &cur, plan &p)
{
    const auto &all = groups();
    members_t committed;
    for (size_t gi = 0; gi < all.size(); ++gi) {
        const group &g = all[gi];
        for (int i = first_instance(*g.row); i <= last_instance(*g.row); ++i) {
            const std::string path = object_path(g.object, i);
            const json *obj = find_path(doc, path);
            const bool named = obj != nullptr && obj->is_object() &&
                               std::any_of(g.row->fields.begin(), g.row->fields.end(),
                                           [&](const field &f) { return obj->contains(f.key); });
            const record &old_r = cur.groups.at(instance_key(gi, i));
            planned s =
                named ? plan_setting(g, *obj, path, i, old_r, p)
                      : planned{i, write_record(g, old_r, i), write_record(g, old_r, i), {}, {}};
            if (g.commit_id != 0) {
                committed.push_back({&g, std::move(s)});
            } else if (!s.changes.empty()) {
                const vgm::command &row = *g.row;
                const std::string leaves = leaves_of(s.changes);
                p.steps.push_back(
                    {g.phase, path, s.changes,
                     naming([&row, w = s.neu_w](conn &c) { return send_record(c, row, w); },
                            [leaves](int32_t) { return leaves; }),
                     [&g, s](conn &c) { return undo_setting(c, g, s); }, false, s.probes});
            }
        }
    }
    if (!committed.empty())
        commit_step(committed, p);
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
    std::stable_sort(p.steps.begin(), p.steps.end(),
                     [](const step &a, const step &b) { return a.phase < b.phase; });
    return p;
}

} // namespace vgcfg
