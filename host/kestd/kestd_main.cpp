// kestd [--socket PATH] [--state FILE] [--max-clients N]: the simulated KEST
// management service. Prints "kestd listening on PATH" once it accepts
// clients, stops on SIGINT or SIGTERM and removes its socket.
#include <fcntl.h>
#include <getopt.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "kest_nearest.h"
#include "kest_socket_path.h"
#include "kestd_client.h"
#include "kestd_server.h"
#include "kestd_service.h"

namespace {

constexpr const char *USAGE = "usage: kestd [--socket PATH] [--state FILE] [--max-clients N]\n";

// The options as --help lists them, with their defaults; kestd(1) is checked
// against this list.
constexpr const char *OPTIONS[][2] = {
    {"--socket PATH",
     "the socket to listen on, after one passed by socket activation (default: VG_KEST_SOCKET, "
     "else /run/kestd/kestd.sock as root, else $XDG_RUNTIME_DIR/vg-kestd.sock, "
     "else /tmp/vg-kestd-UID/kestd.sock)"},
    {"--state FILE", "keep the configuration in FILE across restarts (default: none, every start "
                     "has the defaults)"},
    {"--max-clients N", "clients served at once, 1 to 4096 (default: 64)"},
    {"-h, --help", "this help"},
};

static_assert(kKestdMaxClients == 64, "--help and kestd(1) name the default");

void print_help()
{
    std::fputs(USAGE, stdout);
    std::fputs("\noptions:\n", stdout);
    for (const auto &o : OPTIONS)
        std::printf("  %-18s %s\n", o[0], o[1]);
}

// The socket's mode: the service's user and its group may connect, nobody
// else, whatever the umask.
constexpr mode_t kSocketMode = 0660;

int die(const std::string &why)
{
    std::fprintf(stderr, "kestd: %s\n", why.c_str());
    return 1;
}

std::string sys(const char *what, const std::string &path)
{
    return std::string(what) + " " + path + ": " + std::strerror(errno);
}

// A socket left behind by a service that is gone is removed; one that
// answers belongs to a running service, and anything else is not ours.
bool clear_path(const std::string &path, std::string &why)
{
    struct stat sb;
    if (::lstat(path.c_str(), &sb) != 0)
        return errno == ENOENT || (why = sys("cannot examine", path), false);
    if (!S_ISSOCK(sb.st_mode)) {
        why = path + " exists and is not a socket";
        return false;
    }
    const int probe = kestd_connect(path);
    if (probe >= 0) {
        ::close(probe);
        why = "another service listens on " + path;
        return false;
    }
    if (::unlink(path.c_str()) != 0) {
        why = sys("cannot remove stale socket", path);
        return false;
    }
    return true;
}

// With no --socket and no VG_KEST_SOCKET: root serves the system socket
// (its folder made 0755 when missing), anyone else the user's own socket.
std::string default_path(const char *arg)
{
    if ((arg != nullptr && *arg != '\0') || ::geteuid() != 0 ||
        secure_getenv(KEST_SOCKET_ENV) != nullptr)
        return kestd_socket_path(arg);
    ::mkdir(KEST_SYSTEM_SOCKET_DIR, 0755);
    return KEST_SYSTEM_SOCKET;
}

// The socket is made only in a folder of this user's or root's that nobody
// else can write to: elsewhere another user could take its name or put a
// socket of theirs in its place.
bool trusted_folder(const std::string &path, std::string &why)
{
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "."
                            : slash == 0               ? "/"
                                                       : path.substr(0, slash);
    if (kest_folder_trusted(dir.c_str(), ::geteuid()))
        return true;
    why = "will not listen in " + dir +
          ": it must be a folder of root or of this user that no one else can write to";
    return false;
}

int listen_on(const std::string &path, std::string &why)
{
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof addr.sun_path) {
        why = "socket path must have 1 to " + std::to_string(sizeof addr.sun_path - 1) +
              " characters";
        return -1;
    }
    if (!trusted_folder(path, why) || !clear_path(path, why))
        return -1;
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        why = sys("cannot create socket for", path);
        return -1;
    }
    // The file is born with no more than kSocketMode allows (the umask is
    // the process's, and no other thread runs yet), then set to it exactly.
    const mode_t old_mask = ::umask(0777 & ~kSocketMode);
    const int bound = ::bind(fd, reinterpret_cast<const sockaddr *>(&addr), sizeof addr);
    ::umask(old_mask);
    if (bound != 0 || ::chmod(path.c_str(), kSocketMode) != 0 || ::listen(fd, 64) != 0) {
        why = sys("cannot listen on", path);
        if (bound == 0)
            ::unlink(path.c_str());
        ::close(fd);
        return -1;
    }
    return fd;
}

// The listening socket a service manager passed (LISTEN_PID is this process,
// LISTEN_FDS 1: descriptor 3, a listening Unix stream socket), or -1. The
// variables are removed so that no child takes the socket for its own.
int inherited_listener()
{
    const char *pid = std::getenv("LISTEN_PID");
    const char *fds = std::getenv("LISTEN_FDS");
    const bool ours = pid != nullptr && fds != nullptr &&
                      std::strtol(pid, nullptr, 10) == ::getpid() && std::strcmp(fds, "1") == 0;
    ::unsetenv("LISTEN_PID");
    ::unsetenv("LISTEN_FDS");
    ::unsetenv("LISTEN_FDNAMES");
    constexpr int fd = 3; // SD_LISTEN_FDS_START
    int listening = 0, type = 0;
    socklen_t len = sizeof listening;
    if (!ours || ::getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listening, &len) != 0 ||
        listening == 0)
        return -1;
    len = sizeof type;
    if (::getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &len) != 0 || type != SOCK_STREAM)
        return -1;
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    return fd;
}

// The path a listening socket is bound to.
std::string bound_path(int fd)
{
    sockaddr_un addr{};
    socklen_t len = sizeof addr;
    if (::getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &len) != 0 ||
        addr.sun_family != AF_UNIX)
        return "";
    return std::string(addr.sun_path, strnlen(addr.sun_path, sizeof addr.sun_path));
}

// Names what is wrong with option `a` (with the nearest known one), then the usage.
int usage_error(const std::string &a, bool has_value)
{
    const std::vector<std::string> known = {"--socket", "--state", "--max-clients", "--help"};
    if (std::find(known.begin(), known.end(), a) == known.end())
        std::fprintf(stderr, "kestd: %s\n", kest_unknown_text("option", a, known).c_str());
    else if (has_value)
        std::fprintf(stderr, "kestd: %s takes a number from 1 to 4096\n", a.c_str());
    else
        std::fprintf(stderr, "kestd: %s needs a value\n", a.c_str());
    std::fputs(USAGE, stderr);
    return 2;
}

bool parse_count(const char *text, size_t &out)
{
    char *end = nullptr;
    errno = 0;
    const unsigned long n = std::strtoul(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || n < 1 || n > 4096 || text[0] == '-')
        return false;
    out = n;
    return true;
}

// What the command line asks for.
struct kestd_args {
    const char *socket = nullptr;
    std::string state;
    kestd_limits limits;
};

// The option as written, without an "=value".
std::string option_name(const char *word)
{
    const std::string w = word;
    return w.substr(0, w.find('='));
}

// -1 when the service is to start, else the exit status (help, or a
// mistake named with the usage).
int parse_args(int argc, char **argv, kestd_args &a)
{
    static const option kOptions[] = {{"socket", required_argument, nullptr, 's'},
                                      {"state", required_argument, nullptr, 'f'},
                                      {"max-clients", required_argument, nullptr, 'm'},
                                      {"help", no_argument, nullptr, 'h'},
                                      {nullptr, 0, nullptr, 0}};
    opterr = 0; // the mistakes are named here
    for (int c; (c = ::getopt_long(argc, argv, ":h", kOptions, nullptr)) != -1;) {
        if (c == 's')
            a.socket = optarg;
        else if (c == 'f')
            a.state = optarg;
        else if (c == 'm' && !parse_count(optarg, a.limits.max_clients))
            return usage_error("--max-clients", true);
        else if (c == 'h')
            return print_help(), 0;
        else if (c == ':' || c == '?')
            return usage_error(option_name(argv[optind - 1]), c == '?');
    }
    return optind < argc ? usage_error(argv[optind], false) : -1;
}

// SIGINT and SIGTERM as a descriptor of the event loop, never in the middle
// of a change; SIGPIPE ignored. -1 when they cannot be watched.
int stop_signals()
{
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGINT);
    sigaddset(&stop, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &stop, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    return ::signalfd(-1, &stop, SFD_CLOEXEC);
}

} // namespace

int main(int argc, char **argv)
{
    kestd_args args;
    if (const int status = parse_args(argc, argv, args); status >= 0)
        return status;
    const std::string path = default_path(args.socket);
    const std::string &state_path = args.state;

    // A state file this start makes is removed again when the start fails.
    struct stat before;
    const bool state_was_there = state_path.empty() || ::lstat(state_path.c_str(), &before) == 0;
    auto svc = std::make_unique<kestd_service>();
    std::string why;
    if (!kestd_service_start(*svc, state_path, why))
        return die(why);
    const int signal_fd = stop_signals();
    if (signal_fd < 0)
        return die(sys("cannot watch signals for", path));

    // Started by the service manager's socket: that socket is used, and left
    // in place at the end (it belongs to the manager).
    const int passed = inherited_listener();
    const int listen_fd = passed >= 0 ? passed : listen_on(path, why);
    if (listen_fd < 0) {
        if (!state_was_there)
            ::unlink(state_path.c_str());
        return die(why);
    }
    struct stat ours;
    ::stat(path.c_str(), &ours);
    std::printf("kestd listening on %s\n", passed >= 0 ? bound_path(passed).c_str() : path.c_str());
    std::fflush(stdout);

    const int rc = kestd_serve(*svc, listen_fd, signal_fd, args.limits);
    ::close(listen_fd);
    ::close(signal_fd);
    // Remove the socket only if it is still the one this service made.
    struct stat now;
    if (passed < 0 && ::stat(path.c_str(), &now) == 0 && now.st_ino == ours.st_ino &&
        now.st_dev == ours.st_dev)
        ::unlink(path.c_str());
    return rc;
}
