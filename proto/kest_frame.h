// Building and checking frames of kest_proto.h, for kestd, kestctl
// and the tests that talk to kestd directly.
#pragma once

#include <cstring>
#include <vector>

#include "kest_frame_io.h"

inline std::vector<uint8_t> kest_frame_bytes(uint16_t kind, uint32_t txn, uint32_t msg_id, int32_t status,
                                             const void *payload, uint32_t len, uint32_t aux = 0)
{
    const kest_frame_header h = kest_frame_make(static_cast<kest_frame_kind>(kind), txn, msg_id, len, aux, status);
    std::vector<uint8_t> frame(sizeof h + len);
    std::memcpy(frame.data(), &h, sizeof h);
    if (len != 0)
        std::memcpy(frame.data() + sizeof h, payload, len);
    return frame;
}

