// Reading a secret from a file or stdin, with a prompt that does not echo.
#include "vg_mgmt_secret.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vgm {

namespace {

// Reads up to kMaxSecretFile + 1 bytes (stops at a newline on a terminal).
bool read_bounded(int fd, bool line, std::string &out)
{
    char c;
    while (out.size() <= kMaxSecretFile) {
        const ssize_t n = read(fd, &c, 1);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0 || (line && c == '\n'))
            break;
        out += c;
    }
    return true;
}

// Asks on stderr with echo off; the terminal is put back as it was.
bool prompt_for(const std::string &what, std::string &out)
{
    termios was{};
    const bool tty = tcgetattr(STDIN_FILENO, &was) == 0;
    termios quiet = was;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    fprintf(stderr, "%s: ", what.c_str());
    fflush(stderr);
    if (tty)
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    const bool ok = read_bounded(STDIN_FILENO, true, out);
    if (tty)
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &was);
    fprintf(stderr, "\n");
    return ok;
}

} // namespace

std::optional<std::string> read_secret(const std::string &file, const std::string &what,
                                       std::string &problem)
{
    std::string secret;
    bool ok;
    if (file == "-" && isatty(STDIN_FILENO)) {
        ok = prompt_for(what, secret);
    } else {
        const int fd =
            file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
        ok = fd >= 0 && read_bounded(fd, false, secret);
        const int saved = errno;
        if (fd > STDIN_FILENO)
            close(fd);
        errno = saved;
    }
    if (!ok) {
        problem =
            (file == "-" ? std::string("stdin") : file) + ": cannot be read: " + strerror(errno);
        return std::nullopt;
    }
    if (secret.size() > kMaxSecretFile) {
        problem = file + ": longer than " + std::to_string(kMaxSecretFile) +
                  " bytes: not a secret of the module";
        return std::nullopt;
    }
    if (!secret.empty() && secret.back() == '\n')
        secret.pop_back();
    return secret;
}

} // namespace vgm
