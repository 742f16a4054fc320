// The deadline of a change awaiting confirmation, its watcher, and confirm.
#include "config_confirm.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <ctime>
#include <vector>

namespace vgcfg {

namespace {

std::string journal_file()
{
    return state_store::module_file(".journal");
}

std::string decision_file()
{
    return state_store::module_file(".decided");
}

// Whether a decision is about this journal's apply.
bool same_apply(const json &decision, const json &journal)
{
    return decision.is_object() && journal.is_object() &&
           decision.value("id", "") == journal.value("id", "") &&
           decision.value("started", "") == journal.value("started", "?");
}

bool awaits_confirm(const json &journal)
{
    return journal.is_object() && journal.contains("confirm_by") &&
           journal["confirm_by"].is_number_integer();
}

// The watcher ends within moments of the decision: waited for (5 s at most),
// so that an apply right after confirm or revert is not refused as busy.
void await_watcher_end(const guard &g)
{
    for (int i = 0; i < 100 && !g.locked; ++i) {
        apply_lock probe;
        bool busy = false;
        std::string problem;
        if (probe.take(g.st, busy, problem) || !busy)
            return;
        ::poll(nullptr, 0, 50);
    }
}

constexpr const char *kNothingAwaits =
    "vg-mgmt config: no change awaits confirmation on this module (none was made with "
    "--confirm, or it was confirmed or reverted already)\n";

// Double fork: the watcher is no child of the caller, leads a session of its
// own, has /dev/null as its standard streams and only the lock besides.
bool start_watcher(const guard &g, std::string &problem)
{
    char exe[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n <= 0)
        return problem = "cannot find vg-mgmt itself to start the watcher", false;
    exe[n] = '\0';
    std::vector<std::string> args = {"vg-mgmt", "config", "--state-dir", g.st.dir(),
                                     "watch-confirm"};
    std::vector<char *> argv;
    for (std::string &a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    const int keep = g.lock.fd();
    const pid_t pid = ::fork();
    if (pid < 0)
        return problem = "cannot start the watcher", false;
    if (pid == 0) {
        ::setsid();
        if (::fork() != 0)
            ::_exit(0);
        sigset_t none;
        sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        const int null_fd = ::open("/dev/null", O_RDWR);
        for (int fd = 0; fd < 3; ++fd)
            ::dup2(null_fd, fd);
        ::close_range(3, static_cast<unsigned>(keep - 1), 0);
        ::close_range(static_cast<unsigned>(keep + 1), ~0u, 0);
        ::fcntl(keep, F_SETFD, 0); // the lock goes on with the watcher
        ::execv(exe, argv.data());
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0
               ? true
               : (problem = "the watcher did not start", false);
}

} // namespace

bool take_decide_lock(const guard &g, apply_lock &decide, std::string &problem)
{
    bool busy = false;
    return decide.take(g.st, busy, problem, ".decide", true);
}

bool await_confirm(guard &g, unsigned seconds, std::string &problem)
{
    json j = g.st.read_object(journal_file());
    if (j.is_null())
        return problem = "the journal of this apply is gone", false;
    j["confirm_by"] = static_cast<long long>(std::time(nullptr)) + seconds;
    return g.st.write(journal_file(), j.dump(), problem) && start_watcher(g, problem);
}

int confirm_now(guard &g, FILE *out, FILE *err)
{
    json j;
    {
        apply_lock decide;
        std::string problem;
        if (!take_decide_lock(g, decide, problem))
            return fprintf(err, "vg-mgmt config: %s\n", problem.c_str()), vgm::EXIT_USAGE;
        j = g.st.read_object(journal_file());
        if (!awaits_confirm(j))
            return fputs(kNothingAwaits, err), vgm::EXIT_REFUSED;
        // First: whoever sees the journal gone finds how it ended.
        record_decision(g.st, j, "confirmed");
        g.st.remove(journal_file());
    }
    await_watcher_end(g);
    fprintf(out, "confirmed: the change applied at %s stays\n", j.value("started", "?").c_str());
    return vgm::EXIT_DONE;
}

int revert_now(guard &g, FILE *out, FILE *err)
{
    std::string problem;
    json j;
    {
        apply_lock decide;
        if (!take_decide_lock(g, decide, problem))
            return fprintf(err, "vg-mgmt config: %s\n", problem.c_str()), vgm::EXIT_USAGE;
        j = g.st.read_object(journal_file());
        if (!awaits_confirm(j))
            return fputs(kNothingAwaits, err), vgm::EXIT_REFUSED;
        j["confirm_by"] =
            static_cast<long long>(std::time(nullptr)) - 1; // due: the watcher reverts
        if (!g.st.write(journal_file(), j.dump(), problem))
            return fprintf(err, "vg-mgmt config: %s\n", problem.c_str()), vgm::EXIT_USAGE;
    }
    for (int waited = 1; waited <= 600 && !same_apply(g.st.read_object(decision_file()), j);
         ++waited) {
        ::poll(nullptr, 0, 100);
        bool busy = false;
        if (waited % 10 == 0 && !g.locked && (g.locked = g.lock.take(g.st, busy, problem))) {
            session s; // the watcher is gone (the module restarted): the revert is done here
            bool found = false;
            if (s.open_and_read(""))
                recover_unfinished(g, s, err, found);
        }
    }
    const json last = g.st.read_object(decision_file());
    if (!same_apply(last, j)) {
        fprintf(err,
                "vg-mgmt config: the change applied at %s is not reverted yet; 'vg-mgmt "
                "config recover' reverts it once its watcher is gone\n",
                j.value("started", "?").c_str());
        return vgm::EXIT_NO_ANSWER;
    }
    await_watcher_end(g);
    fprintf(out, "%s: the change applied at %s\n", last.value("what", "?").c_str(),
            j.value("started", "?").c_str());
    return last.value("what", "") == "reverted" ? vgm::EXIT_DONE : vgm::EXIT_REFUSED;
}

json confirm_state(const state_store &st)
{
    const json j = st.read_object(journal_file());
    const json last = st.read_object(decision_file());
    // Decided, and its journal not removed yet: no longer pending.
    const bool pending = awaits_confirm(j) && !same_apply(last, j);
    json s = {{"pending", pending}};
    if (pending) {
        s["started"] = j.value("started", "");
        s["confirm_by"] = j["confirm_by"];
    }
    if (last.is_object())
        s["last"] = last;
    return s;
}

void record_decision(const state_store &st, const json &journal, const char *what)
{
    std::string problem; // only a status page reads it: a failure changes nothing else
    st.write(decision_file(),
             json{{"what", what},
                  {"when", utc_now()},
                  {"started", journal.value("started", "")},
                  {"id", journal.value("id", "")}}
                 .dump(),
             problem);
}

int watch_confirm(guard &g)
{
    for (;;) {
        ::poll(nullptr, 0, 100);
        const json j = g.st.read_object(journal_file());
        if (!awaits_confirm(j))
            return vgm::EXIT_DONE; // confirmed, or restored by someone else
        const long long late = std::time(nullptr) - j["confirm_by"].get<long long>();
        if (late < 0)
            continue;
        session s;
        if (!s.open_and_read(""))
            if (late < 600)
                continue; // the module may be restarting: try again, and leave it to recover after that
        bool found = false;
        return recover_unfinished(g, s, stderr, found);
    }
}

} // namespace vgcfg
