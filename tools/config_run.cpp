// Sending a plan's steps, and undoing them in reverse order when the service
// refuses one; then reading back what the configuration is.
#include "config_apply.h"
#include "config_session.h"

namespace vgcfg {

namespace {

void diff_into(const json &a, const json &b, const std::string &path, std::vector<change> &out)
{
    if (a.is_object() && b.is_object()) {
        for (const auto &[k, v] : a.items())
            diff_into(v, b.contains(k) ? b[k] : json(nullptr), path.empty() ? k : path + "." + k, out);
        for (const auto &[k, v] : b.items())
            if (!a.contains(k))
                diff_into(json(nullptr), v, path.empty() ? k : path + "." + k, out);
        return;
    }
    if (a != b)
        out.push_back({path, a, b});
}

std::string shown(const json &v) { return v.is_null() ? "(none)" : v.dump(); }

} // namespace

std::vector<change> document_diff(const json &before, const json &after)
{
    std::vector<change> out;
    diff_into(before, after, "", out);
    return out;
}

std::string change_line(const change &c)
{
    if (c.entry)
        return c.path + (c.after.is_null() ? ": - " + c.before.dump() : ": + " + c.after.dump());
    return c.path + ": " + shown(c.before) + " -> " + shown(c.after);
}

json change_json(const change &c)
{
    json j = json::object();
    j["path"] = c.path;
    j["old"] = c.before;
    j["new"] = c.after;
    return j;
}

outcome run_plan(conn &c, const plan &p, const snapshot &before)
{
    outcome o;
    size_t done = 0;
    for (; done < p.steps.size(); ++done) {
        c.what.clear();
        if (!p.steps[done].run(c))
            break;
    }
    if (done == p.steps.size())
        return o;
    o.done = false;
    o.refused_what = c.what.empty() ? p.steps[done].what : c.what;
    o.refused_error = c.err;
    // A step of several calls may have made some of them: undo it too.
    size_t undo_from = p.steps[done].partial ? done + 1 : done;
    while (undo_from-- > 0)
        if (!p.steps[undo_from].undo(c))
            o.undo_failed.push_back(p.steps[undo_from].what + " (" + error_text(c.err) + ")");
    snapshot after;
    std::string what;
    o.read_back = read_snapshot(c, after, what);
    if (!o.read_back)
        return o;
    // Compared with the secrets, shown without them.
    const json was = to_document(before, false), is = to_document(after, false);
    for (change ch : document_diff(to_document(before, true), to_document(after, true))) {
        const json *a = find_path(was, ch.path), *b = find_path(is, ch.path);
        ch.before = a != nullptr ? *a : json(nullptr);
        ch.after = b != nullptr ? *b : json(nullptr);
        o.left_changed.push_back(ch);
    }
    return o;
}

} // namespace vgcfg
