// A stand-in for the service run by another user, for the tests of whom a
// client trusts: a child process of that user listens at the socket, takes
// one client and tells whether that client sent anything.
#pragma once

#include <grp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace impostor {

// Listens at `sock` as user `uid` in a child; returns its pid once it
// listens, or -1. The folder of `sock` must let `uid` in.
inline pid_t start(const std::string &sock, uid_t uid)
{
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (sock.size() >= sizeof addr.sun_path)
        return -1;
    std::memcpy(addr.sun_path, sock.c_str(), sock.size() + 1);
    int ready[2];
    if (::pipe(ready) != 0)
        return -1;
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ready[0]);
        if (::setgroups(0, nullptr) != 0 || ::setgid(uid) != 0 || ::setuid(uid) != 0)
            ::_exit(10);
        // Only calls that are safe after fork in a process with threads.
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        if (::bind(fd, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) != 0 ||
            ::listen(fd, 4) != 0)
            ::_exit(11);
        (void)!::write(ready[1], "r", 1);
        const int c = ::accept(fd, nullptr, nullptr);
        char byte;
        pollfd p{c, POLLIN, 0};
        ::_exit(::poll(&p, 1, 3000) == 1 && ::recv(c, &byte, 1, 0) == 0 ? 0 : 12);
    }
    ::close(ready[1]);
    char c;
    const bool listening = child > 0 && ::read(ready[0], &c, 1) == 1;
    ::close(ready[0]);
    return listening ? child : -1;
}

// 0 when the impostor's client hung up without sending a byte; else the
// step that went otherwise (10 user, 11 listen, 12 a byte or no hang-up).
inline int outcome(pid_t child)
{
    int status = 0;
    if (child <= 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

} // namespace impostor
