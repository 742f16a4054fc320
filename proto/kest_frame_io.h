// Whole-frame reads and writes of kest_proto.h frames over a stream socket,
// for the host transport, kestd and the tests.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include "kest_io.h"
#include "kest_proto.h"

// A header whose payload may be read; any other ends the connection.
inline bool kest_frame_header_ok(const kest_frame_header &h)
{
    return h.magic == kKestFrameMagic && h.version == kKestFrameVersion &&
           h.len <= kKestFrameMaxPayload;
}

inline kest_frame_header kest_frame_make(kest_frame_kind kind, uint32_t txn, uint32_t msg_id,
                                         uint32_t len, uint32_t aux = 0, int32_t status = 0)
{
    return kest_frame_header{kKestFrameMagic, kKestFrameVersion, kind, txn, msg_id, len, aux,
                             status};
}

enum kest_write_result {
    KEST_WRITE_SENT,      // the whole frame is on its way
    KEST_WRITE_TIMED_OUT, // nothing was written: the stream is still whole
    KEST_WRITE_BROKEN,    // the peer is gone, or part of a frame went out
};

// Milliseconds left until a CLOCK_MONOTONIC deadline, rounded up; -1 for
// no deadline.
inline int kest_ms_until(const timespec *deadline)
{
    if (deadline == nullptr)
        return -1;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t ns =
        (deadline->tv_sec - now.tv_sec) * 1000000000LL + (deadline->tv_nsec - now.tv_nsec);
    return ns <= 0 ? 0 : static_cast<int>((ns + 999999) / 1000000);
}

// Writes a header and its payload as one frame, waiting for room in the
// socket at most until deadline (CLOCK_MONOTONIC; null waits as long as it
// takes). Never raises SIGPIPE.
inline kest_write_result kest_write_frame(int fd, const kest_frame_header &h, const void *payload,
                                          const timespec *deadline = nullptr)
{
    iovec iov[2] = {{const_cast<kest_frame_header *>(&h), sizeof h},
                    {const_cast<void *>(payload), payload != nullptr ? h.len : 0}};
    msghdr msg{};
    msg.msg_iov = iov;
    msg.msg_iovlen = 2;
    size_t written = 0;
    while (msg.msg_iovlen > 0) {
        const ssize_t n = sendmsg(fd, &msg, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pollfd pfd{fd, POLLOUT, 0};
            const int wait_ms = kest_ms_until(deadline);
            if (wait_ms == 0 || poll(&pfd, 1, wait_ms) == 0)
                return written == 0 ? KEST_WRITE_TIMED_OUT : KEST_WRITE_BROKEN;
            continue;
        }
        if (n < 0)
            return KEST_WRITE_BROKEN;
        written += static_cast<size_t>(n);
        size_t left = static_cast<size_t>(n);
        while (msg.msg_iovlen > 0 && left >= msg.msg_iov->iov_len) {
            left -= msg.msg_iov->iov_len;
            ++msg.msg_iov;
            --msg.msg_iovlen;
        }
        if (msg.msg_iovlen > 0) {
            msg.msg_iov->iov_base = static_cast<uint8_t *>(msg.msg_iov->iov_base) + left;
            msg.msg_iov->iov_len -= left;
        }
    }
    return KEST_WRITE_SENT;
}
