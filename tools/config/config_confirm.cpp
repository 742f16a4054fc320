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
    const std::optional<std::string> text = g.st.read(journal_file());
    json j = text ? json::parse(*text, nullptr, false) : json();
    if (!j.is_object())
        return problem = "the journal of this apply is gone", false;
    j["confirm_by"] = static_cast<long long>(std::time(nullptr)) + seconds;
    return g.st.write(journal_file(), j.dump(), problem) && start_watcher(g, problem);
}

int confirm_now(guard &g, FILE *out, FILE *err)
{
    apply_lock decide;
    std::string problem;
    if (!take_decide_lock(g, decide, problem))
        return fprintf(err, "vg-mgmt config: %s\n", problem.c_str()), vgm::EXIT_USAGE;
    const std::optional<std::string> text = g.st.read(journal_file());
    const json j = text ? json::parse(*text, nullptr, false) : json();
    if (!j.is_object() || !j.contains("confirm_by")) {
        fprintf(err,
                "vg-mgmt config: no change awaits confirmation on this module (none was made with "
                "--confirm, or it was confirmed or reverted already)\n");
        return vgm::EXIT_REFUSED;
    }
    g.st.remove(journal_file());
    fprintf(out, "confirmed: the change applied at %s stays\n", j.value("started", "?").c_str());
    return vgm::EXIT_DONE;
}

int watch_confirm(guard &g)
{
    for (;;) {
        ::poll(nullptr, 0, 100);
        const std::optional<std::string> text = g.st.read(journal_file());
        const json j = text ? json::parse(*text, nullptr, false) : json();
        if (!j.is_object() || !j.contains("confirm_by") || !j["confirm_by"].is_number_integer())
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
