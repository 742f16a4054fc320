// Frames of kest_proto.h as byte vectors: building them, and reading one
// whole with a time-out. For kestd, kestctl, the tool and the tests that
// talk to kestd directly.
#pragma once

#include <chrono>
#include <cstring>
#include <poll.h>
#include <vector>

#include "kest_frame_io.h"

inline std::vector<uint8_t> kest_frame_bytes(uint16_t kind, uint32_t txn, uint32_t msg_id,
                                             int32_t status, const void *payload, uint32_t len,
                                             uint32_t aux = 0)
{
    const kest_frame_header h =
        kest_frame_make(static_cast<kest_frame_kind>(kind), txn, msg_id, len, aux, status);
    std::vector<uint8_t> frame(sizeof h + len);
    std::memcpy(frame.data(), &h, sizeof h);
    if (len != 0)
        std::memcpy(frame.data() + sizeof h, payload, len);
    return frame;
}

// Reads exactly len bytes, waiting for each part at most until deadline;
// false on time-out, end of stream or error.
inline bool kest_read_until(int fd, uint8_t *p, size_t len,
                            std::chrono::steady_clock::time_point deadline)
{
    return kest_io_loop(p, len, [&](uint8_t *q, size_t k) -> ssize_t {
               const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                   deadline - std::chrono::steady_clock::now());
               pollfd pfd{fd, POLLIN, 0};
               const int ready =
                   ::poll(&pfd, 1, left.count() > 0 ? static_cast<int>(left.count()) : 0);
               if (ready <= 0)
                   return ready == 0 ? (errno = ETIMEDOUT, -1) : -1;
               return ::recv(fd, q, k, 0);
           }) == static_cast<ssize_t>(len);
}

// Reads one whole frame within `timeout_ms`. False on time-out, end of
// stream, error or a header that kest_frame_header_ok refuses.
inline bool kest_read_frame(int fd, kest_frame_header &h, std::vector<uint8_t> &payload,
                            int timeout_ms)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    if (!kest_read_until(fd, reinterpret_cast<uint8_t *>(&h), sizeof h, deadline) ||
        !kest_frame_header_ok(h))
        return false;
    payload.resize(h.len);
    return kest_read_until(fd, payload.data(), h.len, deadline);
}
