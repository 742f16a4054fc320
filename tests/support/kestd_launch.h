// Starts kestd and waits until it accepts clients: it says so in one line,
// "kestd listening on PATH", on its stdout.
#pragma once

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "exec_program.h"

// The child's pid (-1 when no process could be made) and whether it said it
// listens on `sock` within `timeout_ms`. The child gets SIGKILL when the
// thread that started it ends, so a crashed caller leaves no kestd behind:
// start it from a thread that outlives it.
struct kestd_launch {
    pid_t pid;
    bool listening;
};

// With err_fd, the child's stderr goes to a pipe whose reading end is stored
// there. With nofile, the child may hold at most that many descriptors.
inline kestd_launch launch_kestd(const std::string &kestd, const std::string &sock,
                                 const std::vector<std::string> &more_args = {},
                                 int timeout_ms = 10000, int *err_fd = nullptr, rlim_t nofile = 0)
{
    int out[2], err[2] = {-1, -1};
    if (::pipe(out) != 0 || (err_fd != nullptr && ::pipe(err) != 0))
        return {-1, false};
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() == 1)
            ::_exit(127);
        ::dup2(out[1], 1);
        ::close(out[0]);
        if (err_fd != nullptr) {
            ::dup2(err[1], 2);
            ::close(err[0]);
        }
        const rlimit limit{nofile, nofile};
        if (nofile != 0 && ::setrlimit(RLIMIT_NOFILE, &limit) != 0)
            ::_exit(126);
        std::vector<std::string> args{"--socket", sock};
        args.insert(args.end(), more_args.begin(), more_args.end());
        exec_program(kestd, args);
    }
    ::close(out[1]);
    if (err_fd != nullptr) {
        ::close(err[1]);
        *err_fd = err[0];
    }
    std::string line;
    pollfd p{out[0], POLLIN, 0};
    while (pid > 0 && line.find('\n') == std::string::npos && ::poll(&p, 1, timeout_ms) == 1) {
        char buf[256];
        const ssize_t r = ::read(out[0], buf, sizeof buf);
        if (r <= 0)
            break;
        line.append(buf, static_cast<size_t>(r));
    }
    ::close(out[0]);
    return {pid, line == "kestd listening on " + sock + "\n"};
}
