// The apply lock, the journal and the restore after an apply that did not finish.
#include "config_safe.h"
#include "config_confirm.h"
#include "config_history.h"
#include "config_restore.h"

#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace vgcfg {

namespace {

std::string journal_name()
{
    return state_store::module_file(".journal");
}

} // namespace

int guard_open(guard &g, const std::string &state_dir, const std::string &socket, bool need_lock,
               std::string &problem)
{
    if (!socket.empty())
        setenv("VG_KEST_SOCKET", socket.c_str(), 1);
    if (!g.st.open(state_dir.empty() ? state_dir_default() : state_dir, problem))
        return need_lock ? vgm::EXIT_USAGE : vgm::EXIT_DONE;
    bool busy = false;
    g.locked = g.lock.take(g.st, busy, problem);
    if (g.locked || !need_lock)
        return vgm::EXIT_DONE;
    return busy ? vgm::EXIT_BUSY : vgm::EXIT_USAGE;
}

int recover_unfinished(guard &g, session &s, FILE *err, bool &found)
{
    found = false;
    apply_lock decide; // confirm and the watcher decide under it too
    bool busy = false;
    std::string problem;
    if (!g.locked || !decide.take(g.st, busy, problem, ".decide", true))
        return vgm::EXIT_DONE;
    const std::optional<std::string> text = g.st.read(journal_name());
    if (!text)
        return vgm::EXIT_DONE;
    found = true;
    // What the module holds now: this session may have read it before an
    // apply of its own (a revert right after it).
    std::string what;
    s.before = snapshot{};
    if (!read_snapshot(s.c, s.before, what)) {
        fprintf(err,
                "vg-mgmt config: cannot read the configuration to restore it (%s); the "
                "journal is kept\n",
                what.c_str());
        return vgm::EXIT_REFUSED;
    }
    const json j = json::parse(*text, nullptr, false);
    if (j.is_discarded() || !j.is_object() || !j.contains("restore") || !j["restore"].is_object()) {
        fprintf(err, "vg-mgmt config: the journal %s/%s is damaged; it is left as it is\n",
                g.st.dir().c_str(), journal_name().c_str());
        return vgm::EXIT_USAGE;
    }
    fprintf(err,
            "vg-mgmt config: an apply started %s (process %s, %s change(s)) %s: restoring the "
            "configuration from before it\n",
            j.value("started", "?").c_str(), j.value("pid", json("?")).dump().c_str(),
            j.value("changes", json("?")).dump().c_str(),
            j.contains("confirm_by") ? "was not confirmed in time" : "did not finish");
    // Only what that apply changed and is still as it left it: what another
    // client has set since stays. (A journal of an older tool restores all.)
    std::vector<std::string> left;
    const json doc =
        j.contains("was") && j.contains("after")
            ? restoration(j["restore"], j["was"], j["after"], to_document(s.before, false),
                          to_document(s.before, true), left)
            : j["restore"];
    for (const std::string &l : left)
        fprintf(err, "  left as another client set it since: %s\n", l.c_str());
    const apply_result r = apply_document(s, doc, false);
    if (r.status != vgm::EXIT_DONE) {
        fprintf(err, "vg-mgmt config: the restore did not complete (%s); the journal is kept\n",
                r.message.c_str());
        return r.status;
    }
    if (j.contains("confirm_by")) // first: whoever sees the journal gone finds how it ended
        record_decision(g.st, j, "reverted");
    g.st.remove(journal_name());
    for (const std::string &l : r.lines)
        fprintf(err, "  restored %s\n", l.c_str());
    fprintf(err, "vg-mgmt config: restored: %s\n",
            left.empty() ? "the configuration is as it was before that apply"
                         : "what that apply changed is as it was, but for what others set since");
    s.before = snapshot{};
    return read_snapshot(s.c, s.before, what) ? vgm::EXIT_DONE : vgm::EXIT_REFUSED;
}

apply_result guarded_apply(guard &g, session &s, const json &doc, unsigned confirm_seconds,
                           const std::string &applied)
{
    bool written = false;
    json replaced;
    size_t count = 0;
    auto journal = [&](const json &restore, const json &was, const json &after, size_t changes,
                       std::string &why) {
        replaced = restore;
        count = changes;
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now); // with the pid: this apply and no other
        const std::string id = std::to_string(::getpid()) + "-" + std::to_string(now.tv_sec) + "." +
                               std::to_string(now.tv_nsec);
        const json j = {
            {"version", 1},         {"id", id},           {"pid", static_cast<long>(::getpid())},
            {"started", utc_now()}, {"changes", changes}, {"restore", restore},
            {"was", was},           {"after", after}};
        written = g.st.write(journal_name(), j.dump(), why);
        return written;
    };
    apply_result r = apply_document(s, doc, false, journal);
    if (!written)
        return r;
    std::string problem;
    if (r.status == vgm::EXIT_DONE && r.changed &&
        !history_add(g.st, replaced, count, applied, problem))
        r.message += "; not in the history (" + problem + "): 'config rollback' cannot undo it";
    if (confirm_seconds == 0 || r.status != vgm::EXIT_DONE || !r.changed) {
        g.st.remove(journal_name());
    } else if (await_confirm(g, confirm_seconds, problem)) {
        r.message += "; it is reverted in " + std::to_string(confirm_seconds) +
                     " s unless 'vg-mgmt config confirm' comes first";
    } else { // no watcher: nothing would revert it, so it is reverted now
        bool found = false;
        r.status = vgm::EXIT_REFUSED;
        r.message = problem + "; the change was reverted: " +
                    (recover_unfinished(g, s, stderr, found) == vgm::EXIT_DONE
                         ? "the configuration is as it was"
                         : "the revert did not complete");
    }
    return r;
}

} // namespace vgcfg
