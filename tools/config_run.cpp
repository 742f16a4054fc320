// Sending a plan's steps, and undoing them in reverse order when the service
// refuses one; then reading back what the configuration is.
#include "config_apply.h"

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
    if (c.before.is_null() && c.after.is_array() == false && c.path.find('.') != std::string::npos &&
        !c.after.is_null() && (c.after.is_object() || c.path.ends_with("mac_list")))
        return c.path + ": + " + c.after.dump();
    if (c.after.is_null() && !c.before.is_null() && (c.before.is_object() || c.path.ends_with("mac_list")))
        return c.path + ": - " + c.before.dump();
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
            o.undo_failed.push_back(p.steps[undo_from].what + " (error " + std::to_string(c.err) + ")");
    // A refused undo is named with its error number; its text is the refusal's.
    snapshot after;
    std::string what;
    o.read_back = read_snapshot(c, after, what);
    if (o.read_back)
        o.left_changed = document_diff(to_document(before, false), to_document(after, false));
    return o;
}

} // namespace vgcfg
