// Whole reads and writes on a descriptor, written once for every part that
// moves bytes: frames on the service's socket, the state file, log lines.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <sys/socket.h>
#include <sys/types.h>

// Calls step(p, n), one read or write of at most n bytes, until `len` bytes
// are through; a step cut short by a signal (EINTR) is repeated. The bytes
// done, fewer than len when a step met the end (0); -1 on error, errno kept.
template <class Step>
inline ssize_t kest_io_loop(uint8_t *p, size_t len, Step step)
{
    size_t done = 0;
    while (done < len) {
        const ssize_t n = step(p + done, len - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return -1;
        if (n == 0)
            break;
        done += static_cast<size_t>(n);
    }
    return static_cast<ssize_t>(done);
}

// Reads exactly n bytes from a stream socket; false on end of stream or error.
inline bool kest_read_full(int fd, void *buf, size_t n)
{
    return kest_io_loop(static_cast<uint8_t *>(buf), n, [fd](uint8_t *p, size_t k) {
               return ::recv(fd, p, k, 0);
           }) == static_cast<ssize_t>(n);
}

// Writes all n bytes to a stream socket, blocking as needed; never raises
// SIGPIPE. False when the peer is gone or on error.
inline bool kest_write_full(int fd, const void *data, size_t n)
{
    auto *p = static_cast<uint8_t *>(const_cast<void *>(data));
    return kest_io_loop(p, n, [fd](uint8_t *q, size_t k) {
               return ::send(fd, q, k, MSG_NOSIGNAL);
           }) == static_cast<ssize_t>(n);
}
