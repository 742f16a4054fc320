// A task with confirm: the document is applied by this same vg-mgmt's
// "config apply --confirm SECONDS FILE", so that the change goes back by
// itself unless "vg-mgmt config confirm" follows in time. The document goes
// through a private file (0600, created new) that is removed afterwards.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "config_ansible.h"

namespace vgcfg {

namespace {

constexpr size_t kMaxOutput = 64 * 1024; // what is kept of the command's output

bool write_all(int fd, const std::string &text)
{
    for (size_t done = 0; done < text.size();) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

std::string read_all(int fd)
{
    std::string out;
    char buf[4096];
    for (;;) {
        const ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return out;
        if (out.size() < kMaxOutput)
            out.append(buf, static_cast<size_t>(n));
    }
}

int run_apply(const std::string &file, uint64_t seconds, std::string &output)
{
    int pipe_fds[2];
    if (pipe2(pipe_fds, O_CLOEXEC) != 0)
        return -1;
    const std::string secs = std::to_string(seconds);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(pipe_fds[1], 1);
        dup2(pipe_fds[1], 2);
        execl("/proc/self/exe", "vg-mgmt", "config", "apply", "--confirm", secs.c_str(), file.c_str(),
              static_cast<char *>(nullptr));
        _exit(127);
    }
    close(pipe_fds[1]);
    if (pid < 0) {
        close(pipe_fds[0]);
        return -1;
    }
    output = read_all(pipe_fds[0]);
    close(pipe_fds[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

int apply_confirmed(const json &doc, uint64_t seconds, std::string &output)
{
    const char *tmp = secure_getenv("TMPDIR");
    std::string file = std::string(tmp != nullptr && tmp[0] == '/' ? tmp : "/tmp") + "/vg-mgmt-ansible-XXXXXX";
    const int fd = mkostemp(file.data(), O_CLOEXEC); // 0600, O_EXCL
    if (fd < 0) {
        output = "cannot create a private file for the document";
        return -1;
    }
    const bool written = write_all(fd, doc.dump(-1, ' ', false, json::error_handler_t::replace));
    close(fd);
    const int rc = written ? run_apply(file, seconds, output) : -1;
    unlink(file.c_str());
    if (!written)
        output = "cannot write the document's private file";
    while (!output.empty() && output.back() == '\n')
        output.pop_back();
    return rc;
}

} // namespace vgcfg
