// Opening the service, reading documents, and applying one with a report.
#include "config_session.h"

#include "vg_mgmt_errors.h"

#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

namespace vgcfg {

session::~session()
{
    if (c.h != nullptr)
        vg_mgmt_client_close(c.h);
}

bool session::open_and_read(const std::string &socket)
{
    if (!socket.empty())
        setenv("VG_KEST_SOCKET", socket.c_str(), 1);
    const char *path = getenv("VG_KEST_SOCKET");
    struct stat st;
    if (path != nullptr && path[0] != '\0' && stat(path, &st) != 0) {
        problem =
            std::string("no service: ") + path + " does not exist (--socket or VG_KEST_SOCKET)";
        status = vgm::EXIT_NO_SERVICE;
        return false;
    }
    if (vg_mgmt_client_open(&c.h, nullptr) != 0) {
        const vgm::failure f = vgm::service_failure(vg_mgmt_get_errno());
        problem = f.status != vgm::EXIT_NO_SERVICE
                      ? f.message
                      : std::string("no service: cannot reach the management service") +
                            (path != nullptr ? std::string(" at ") + path : std::string());
        status = f.status;
        return false;
    }
    std::string what;
    if (!read_snapshot(c, before, what)) {
        // The first calls of a service that takes no more clients find no answer.
        const vgm::failure f = vgm::service_failure(c.err);
        const bool refused = f.status == vgm::EXIT_TOO_MANY || f.status == vgm::EXIT_UNTRUSTED;
        problem = refused ? f.message : "cannot read " + what + ": " + error_text(c.err);
        status = refused ? f.status : vgm::EXIT_REFUSED;
        return false;
    }
    return true;
}

std::string session::stats() const
{
    const auto us = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - start);
    std::ostringstream s;
    s << "calls: " << c.gets << " get, " << c.sets << " set; "
      << static_cast<double>(us.count()) / 1000.0 << " ms";
    return s.str();
}

std::string error_text(int32_t err)
{
    const vgm::failure f = vgm::call_failure(err);
    return f.message.rfind("refused by the service", 0) == 0
               ? f.message.substr(std::strlen("refused by the service: "))
               : "error " + std::to_string(err) + " " + f.name + " (" + f.message + ")";
}

json restrict_to(const json &full, const json &keys)
{
    if (!full.is_object() || !keys.is_object())
        return full;
    json out = json::object();
    for (const auto &[k, v] : keys.items())
        if (full.contains(k))
            out[k] = restrict_to(full[k], v);
    return out;
}

const list_desc *list_of_path(const std::string &path)
{
    for (const list_desc &l : lists())
        for (int i = first_instance(*l.read); i <= last_instance(*l.read); ++i)
            if (object_path(l.object, i) + "." + l.key == path)
                return &l;
    return nullptr;
}

namespace {

// The list of the document at a path, if any.
json masked_list(const list_desc &l, json list);

// The managed keys as they will be: each changed setting's new value, and
// each changed list as the document gives it.
json predicted(const json &before, const plan &p, const json &managed)
{
    json after = before;
    for (const step &s : p.steps)
        for (const change &c : s.changes) {
            const size_t dot = c.path.rfind('.');
            json &parent = make_path(after, c.path.substr(0, dot));
            const list_desc *l = c.entry ? list_of_path(c.path) : nullptr;
            const json *want = find_path(managed, c.path);
            parent[c.path.substr(dot + 1)] =
                l != nullptr && want != nullptr ? masked_list(*l, *want) : c.after;
        }
    return after;
}

json masked_list(const list_desc &l, json list)
{
    if (list.is_array())
        for (json &e : list)
            e = masked_entry(l, e, false);
    return list;
}

std::string first_part(const outcome &o)
{
    if (!o.no_answer)
        return "the service refused " + o.refused_what + ": " + error_text(o.refused_error) + "; ";
    static const char *const landed[] = {"it could not be read back", "it had not landed",
                                         "it had landed and was undone with the rest"};
    return "unknown: " + o.refused_what + " got no answer (" + error_text(o.refused_error) + "); " +
           landed[o.landed + 1] + "; ";
}

std::string outcome_text(const outcome &o)
{
    std::string m = o.signal != 0 ? std::string("interrupted by SIG") + sigabbrev_np(o.signal) +
                                        " after " + std::to_string(o.steps_done) + " step(s); "
                                  : first_part(o);
    std::string kept;
    for (const std::string &path : o.others)
        kept += "; left as another client set it since: " + path;
    if (o.undo_failed.empty() && o.read_back && o.left_changed.empty())
        return m +
               (o.signal != 0
                    ? "the steps done were undone: the configuration is as it was"
                    : "every step already done was undone: the configuration is as it was") +
               kept;
    m += "the undo was not complete" + kept;
    for (const std::string &u : o.undo_failed)
        m += "; undo refused: " + u;
    if (!o.read_back)
        return m + "; the configuration could not be read back";
    for (const change &c : o.left_changed)
        m += "; left changed: " + change_line(c);
    return m;
}

} // namespace

apply_result apply_document(session &s, const json &doc, bool check,
                            const before_first_change &journal)
{
    apply_result r;
    const plan p = make_plan(doc, s.before);
    if (!p.problems.empty()) {
        r.status = vgm::EXIT_USAGE;
        r.lines = p.problems;
        r.message =
            std::to_string(p.problems.size()) + " problem(s) in the document; nothing was sent";
        return r;
    }
    for (const step &st : p.steps)
        for (const change &c : st.changes)
            r.lines.push_back(change_line(c));
    json managed = doc;
    managed.erase("version");
    r.before = restrict_to(to_document(s.before, false), managed);
    r.after = predicted(r.before, p, managed);
    if (p.steps.empty()) {
        r.message = "no change: the configuration already matches the document";
        return r;
    }
    r.changed = true;
    if (check) {
        r.status = vgm::EXIT_PENDING;
        r.message =
            std::to_string(p.change_count()) + " change(s) pending; nothing was sent (check)";
        return r;
    }
    if (journal) {
        json restore = restrict_to(to_document(s.before, true), managed);
        restore["version"] = kDocumentVersion;
        std::string why;
        if (!journal(restore, r.before, r.after, p.change_count(), why)) {
            r.status = vgm::EXIT_REFUSED;
            r.changed = false;
            r.message = why + "; nothing was sent";
            return r;
        }
    }
    const outcome o = run_plan(s.c, p, s.before);
    if (o.done) {
        r.message = "applied " + std::to_string(p.change_count()) + " change(s) in " +
                    std::to_string(p.steps.size()) + " step(s)";
        return r;
    }
    r.changed = !(o.undo_failed.empty() && o.read_back && o.left_changed.empty());
    r.status = r.changed       ? vgm::EXIT_PARTIAL
               : o.signal != 0 ? vgm::EXIT_INTERRUPTED
                               : vgm::EXIT_REFUSED;
    r.message = outcome_text(o);
    return r;
}

} // namespace vgcfg
