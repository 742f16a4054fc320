// Refusals of kestd, the simulated KEST management service: the codes come
// from the table shared with vg-mgmt (kest_errors.h).
//
// Frames that cannot be taken at all get a response frame with a non-zero
// header status and no record: see kestd_frame_status.
#pragma once

#include <cstdint>

#include "kest_errors.h"

inline constexpr uint16_t kKestdResultFailure = 1;

// Header status of a response frame that carries no record.
enum kestd_frame_status : int32_t {
    KESTD_STATUS_OK = 0,
    // msg_id is not a request of the service (0, 43, above kKestMsgIdMax).
    KESTD_STATUS_UNKNOWN_MSG = 1,
    // The payload is not exactly the request record of msg_id.
    KESTD_STATUS_BAD_LENGTH = 2,
    // A control command was refused; the text says why.
    KESTD_STATUS_CONTROL_REFUSED = 3,
};

// The name of a code, for logs, dumps and the control channel.
const char *kestd_error_name(uint16_t code);
