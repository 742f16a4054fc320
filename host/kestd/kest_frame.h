// Building and checking frames of host/common/kest_proto.h, for kestd, kestctl
// and the tests that talk to kestd directly.
#pragma once

#include <cstring>
#include <vector>

#include "kest_proto.h"

inline std::vector<uint8_t> kest_frame_bytes(uint16_t kind, uint32_t txn, uint32_t msg_id, int32_t status,
                                             const void *payload, uint32_t len, uint32_t aux = 0)
{
    const kest_frame_header h{KEST_FRAME_MAGIC, KEST_FRAME_VERSION, kind, txn, msg_id, len, aux, status};
    std::vector<uint8_t> frame(sizeof h + len);
    std::memcpy(frame.data(), &h, sizeof h);
    if (len != 0)
        std::memcpy(frame.data() + sizeof h, payload, len);
    return frame;
}

// A header that may be followed by its payload: right magic and version, and
// a payload the receiver is willing to hold.
inline bool kest_header_ok(const kest_frame_header &h)
{
    return h.magic == KEST_FRAME_MAGIC && h.version == KEST_FRAME_VERSION && h.len <= KEST_FRAME_MAX_PAYLOAD;
}
