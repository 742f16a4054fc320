// Sending a plan's steps, and undoing them in reverse order when the service
// refuses one; then reading back what the configuration is.
#include "config_apply.h"
#include "config_session.h"
#include "config_state.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace vgcfg {

namespace {

void diff_into(const json &a, const json &b, const std::string &path, std::vector<change> &out)
{
    if (a.is_object() && b.is_object()) {
        for (const auto &[k, v] : a.items())
            diff_into(v, b.contains(k) ? b[k] : json(nullptr), path.empty() ? k : path + "." + k,
                      out);
        for (const auto &[k, v] : b.items())
            if (!a.contains(k))
                diff_into(json(nullptr), v, path.empty() ? k : path + "." + k, out);
        return;
    }
    if (a != b)
        out.push_back({path, a, b});
}

std::string shown(const json &v)
{
    return v.is_null() ? "(none)" : v.dump();
}

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

namespace {

bool no_answer(int32_t err)
{
    return err == 0 || err == MGMT_ERR_NO_SERVICE;
}

// A connection that got no answer may be gone: a fresh one reads back.
void reconnect(conn &c)
{
    mgmt_client *h = nullptr;
    if (vg_mgmt_client_open(&h, nullptr) != 0)
        return;
    vg_mgmt_client_close(c.h);
    c.h = h;
}

// The groups and lists that hold a step's probes.
path_filter probed(const step &s)
{
    return [&s](const std::string &path, bool list) {
        return std::any_of(s.probes.begin(), s.probes.end(), [&](const probe &pr) {
            return list ? pr.path == path : pr.path.rfind(path + ".", 0) == 0;
        });
    };
}

// Undoes steps [0, count) last first, each only where it still holds what
// it wrote; the refused step `unchecked` (one of several calls, part done)
// is undone as it is.
void undo_steps(conn &c, const plan &p, size_t count, size_t unchecked, outcome &o)
{
    test_pause("undo");
    while (count-- > 0) {
        const step &s = p.steps[count];
        if (count != unchecked && step_holds(c, s, &o.others) == 0)
            continue;
        c.what.clear();
        if (!s.undo(c))
            o.undo_failed.push_back((c.what.empty() ? s.what : c.what) + " (" + error_text(c.err) +
                                    ")");
    }
}

// What differs from before, after the undo, but for what others set since.
void read_back(conn &c, const snapshot &before, outcome &o)
{
    snapshot after;
    std::string what;
    o.read_back = read_snapshot(c, after, what);
    if (!o.read_back)
        return;
    // Compared with the secrets, shown without them.
    const json was = to_document(before, false), is = to_document(after, false);
    for (change ch : document_diff(to_document(before, true), to_document(after, true))) {
        if (std::find(o.others.begin(), o.others.end(), ch.path) != o.others.end())
            continue;
        const json *a = find_path(was, ch.path), *b = find_path(is, ch.path);
        ch.before = a != nullptr ? *a : json(nullptr);
        ch.after = b != nullptr ? *b : json(nullptr);
        o.left_changed.push_back(ch);
    }
}

} // namespace

int step_holds(conn &c, const step &s, std::vector<std::string> *others)
{
    if (s.probes.empty())
        return 1;
    const int32_t err = c.err;
    snapshot now;
    std::string what;
    if (!read_snapshot(c, now, what, probed(s))) {
        c.err = err;
        return -1;
    }
    const json doc = to_document(now, true);
    int holds = 1;
    for (const probe &pr : s.probes) {
        const json *v = find_path(doc, pr.path);
        const json cur = v != nullptr ? *v : json(nullptr);
        const bool same = pr.entry
                              ? (cur.is_array() && std::find(cur.begin(), cur.end(), pr.value) !=
                                                       cur.end()) == pr.present
                              : cur == pr.value;
        if (same)
            continue;
        holds = 0;
        if (others != nullptr &&
            std::find(others->begin(), others->end(), pr.path) == others->end())
            others->push_back(pr.path);
    }
    return holds;
}

void test_pause(const std::string &point)
{
    const char *hook = secure_getenv("VG_CONFIG_TEST_PAUSE");
    if (hook == nullptr)
        return;
    const std::string h = hook;
    const size_t sp = h.rfind(' ');
    if (sp != std::string::npos && h.substr(0, sp) == point)
        ::usleep(static_cast<useconds_t>(std::strtoul(h.c_str() + sp + 1, nullptr, 10) * 1000));
}

outcome run_plan(conn &c, const plan &p, const snapshot &before)
{
    outcome o;
    size_t done = 0;
    for (; done < p.steps.size(); ++done) {
        test_pause("step " + std::to_string(done + 1));
        if ((o.signal = interrupted()) != 0)
            break;
        c.what.clear();
        if (!p.steps[done].run(c))
            break;
    }
    o.steps_done = done;
    if (done == p.steps.size())
        return o;
    o.done = false;
    if (o.signal != 0) { // the steps done are undone, as after a refusal
        undo_steps(c, p, done, p.steps.size(), o);
        read_back(c, before, o);
        return o;
    }
    const step &failed = p.steps[done];
    o.refused_what = c.what.empty() ? failed.what : c.what;
    o.refused_error = c.err;
    size_t undo_to = done, unchecked = p.steps.size();
    if (no_answer(c.err)) { // it may have landed: read it back, and undo it if it did
        o.no_answer = true;
        reconnect(c);
        o.landed = step_holds(c, failed, nullptr);
        undo_to += o.landed != 0 ? 1 : 0;
    } else if (failed.partial) { // a step of several calls may have made some of them: undo it too
        undo_to += 1;
        unchecked = done;
    }
    undo_steps(c, p, undo_to, unchecked, o);
    read_back(c, before, o);
    return o;
}

} // namespace vgcfg
