// The private state folder, its files written whole, and the apply lock.
#include "config_state.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace vgcfg {

namespace {
signal_hold *active_hold = nullptr;
int caught_signal = 0;
} // namespace

signal_hold::signal_hold()
{
    sigemptyset(&set_);
    for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        sigaddset(&set_, sig);
    pthread_sigmask(SIG_BLOCK, &set_, &old_);
    active_hold = this;
    caught_signal = 0;
}

signal_hold::~signal_hold()
{
    const timespec now{0, 0};
    while (sigtimedwait(&set_, nullptr, &now) > 0) {
    }
    // Once its reader has gone, output only fails (EPIPE): the status that
    // says what was done is the tool's, not the signal's.
    if (caught_signal == SIGPIPE)
        ::signal(SIGPIPE, SIG_IGN);
    pthread_sigmask(SIG_SETMASK, &old_, nullptr);
    active_hold = nullptr;
}

namespace {
// The reader of standard output has gone (apply | head): SIGPIPE would come
// only with the next write, which may be the last line.
bool output_reader_gone()
{
    pollfd p{STDOUT_FILENO, POLLOUT, 0};
    return ::poll(&p, 1, 0) == 1 && (p.revents & POLLERR) != 0;
}
} // namespace

int interrupted()
{
    if (active_hold == nullptr || caught_signal != 0)
        return caught_signal;
    if (output_reader_gone())
        return caught_signal = SIGPIPE;
    sigset_t pending;
    sigpending(&pending);
    for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        if (sigismember(&pending, sig)) {
            caught_signal = sig;
            break;
        }
    return caught_signal;
}

namespace {

std::string sys_error(const std::string &what)
{
    return what + ": " + std::strerror(errno);
}

// Makes each missing folder of `dir` with mode 0700.
bool make_folders(const std::string &dir, std::string &problem)
{
    for (size_t at = 1; at <= dir.size(); ++at) {
        if (at < dir.size() && dir[at] != '/')
            continue;
        const std::string part = dir.substr(0, at);
        if (::mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) {
            problem = sys_error("cannot make the state folder " + part);
            return false;
        }
    }
    return true;
}

bool write_all(int fd, const std::string &text)
{
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

} // namespace

std::string state_dir_default()
{
    if (const char *env = secure_getenv("VG_MGMT_STATE_DIR"); env != nullptr && env[0] == '/')
        return env;
    if (::geteuid() == 0)
        return "/var/lib/vg-mgmt";
    if (const char *xdg = secure_getenv("XDG_STATE_HOME"); xdg != nullptr && xdg[0] == '/')
        return std::string(xdg) + "/vg-mgmt";
    const char *home = secure_getenv("HOME");
    return std::string(home != nullptr && home[0] == '/' ? home : "/nonexistent") +
           "/.local/state/vg-mgmt";
}

bool state_store::open(const std::string &dir, std::string &problem)
{
    if (dir.empty() || dir[0] != '/') {
        problem = "the state folder must be an absolute path: '" + dir + "'";
        return false;
    }
    if (!make_folders(dir, problem))
        return false;
    struct stat st;
    if (::lstat(dir.c_str(), &st) != 0)
        return problem = sys_error("cannot use the state folder " + dir), false;
    if (!S_ISDIR(st.st_mode) || st.st_uid != ::geteuid() || (st.st_mode & 077) != 0) {
        problem = "the state folder " + dir +
                  " is not a folder of this user closed to others (mode 0700)";
        return false;
    }
    dir_ = dir;
    return true;
}

std::string state_store::module_file(const std::string &suffix)
{
    const char *sock = secure_getenv("VG_KEST_SOCKET");
    uint64_t h = 1469598103934665603ull; // FNV-1a of the socket path
    for (const char *p = sock != nullptr ? sock : ""; *p != '\0'; ++p)
        h = (h ^ static_cast<uint8_t>(*p)) * 1099511628211ull;
    char name[32];
    std::snprintf(name, sizeof name, "module-%016llx", static_cast<unsigned long long>(h));
    return name + suffix;
}

bool state_store::write(const std::string &name, const std::string &text,
                        std::string &problem) const
{
    const std::string path = dir_ + "/" + name, tmp = path + ".new";
    ::unlink(tmp.c_str()); // left by a process that died while writing
    const int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return problem = sys_error("cannot write " + tmp), false;
    const bool ok = write_all(fd, text) && ::fsync(fd) == 0;
    ::close(fd);
    if (!ok || ::rename(tmp.c_str(), path.c_str()) != 0) {
        problem = sys_error("cannot write " + path);
        ::unlink(tmp.c_str());
        return false;
    }
    const int dfd = ::open(dir_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
    return true;
}

// Only a plain file of this user that others cannot write or read is taken:
// one that is not (left from a time when the folder was open to others, or
// planted: a FIFO would hold the reader) is as if it were not there.
std::optional<std::string> state_store::read(const std::string &name) const
{
    const int fd =
        ::open((dir_ + "/" + name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != ::geteuid() ||
        (st.st_mode & 077) != 0) {
        ::close(fd);
        return std::nullopt;
    }
    std::string text;
    char buf[4096];
    ssize_t n;
    while ((n = ::read(fd, buf, sizeof buf)) > 0 && text.size() < (64u << 20))
        text.append(buf, static_cast<size_t>(n));
    ::close(fd);
    return text;
}

void state_store::remove(const std::string &name) const
{
    ::unlink((dir_ + "/" + name).c_str());
    const int dfd = ::open(dir_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
}

apply_lock::~apply_lock()
{
    if (fd_ >= 0)
        ::close(fd_);
}

bool apply_lock::take(const state_store &st, bool &busy, std::string &problem, const char *suffix,
                      bool wait)
{
    busy = false;
    const std::string path = st.dir() + "/" + state_store::module_file(suffix);
    fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd_ < 0)
        return problem = sys_error("cannot open " + path), false;
    if (::flock(fd_, wait ? LOCK_EX : LOCK_EX | LOCK_NB) == 0)
        return true;
    busy = errno == EWOULDBLOCK;
    problem = busy ? "another apply is in progress on this module (" + path +
                         " is locked); nothing was sent"
                   : sys_error("cannot lock " + path);
    ::close(fd_);
    fd_ = -1;
    return false;
}

json state_store::read_object(const std::string &name) const
{
    const std::optional<std::string> text = read(name);
    json j = text ? json::parse(*text, nullptr, false) : json();
    return j.is_object() ? j : json();
}

std::string utc_now()
{
    const std::time_t t = std::time(nullptr);
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &tm);
    return buf;
}

} // namespace vgcfg
