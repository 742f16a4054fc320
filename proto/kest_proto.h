// Framing between the host transport (libqmi_cci.so.1) and kestd, the
// simulated KEST management service, over a Unix stream socket.
//
// Every frame is a kest_frame_header followed by `len` payload bytes.
//  - request   (client -> service): txn chosen by the client, msg_id 1..kKestMsgIdMax,
//               payload = the request record, aux = the length of the
//               client's response record.
//  - response  (service -> client): txn and msg_id of the request, payload =
//               the response record (the client copies at most its own
//               length), status 0; a non-zero status means the service could
//               not take the request at all (unknown id, wrong length) and
//               the client's send returns non-zero.
//  - indication (service -> client): txn 0, msg_id 32, 33 or 43, payload =
//               the indication record.
//  - control request / response: txn, msg_id = a control operation of kestd,
//               payload = text; used by tests, demos and kestctl.
// A frame with a bad magic, version or a length above kKestFrameMaxPayload
// ends the connection.
#pragma once

#include <cstdint>

inline constexpr uint32_t kKestFrameMagic = 0x5453454bu; // "KEST" in memory order
inline constexpr uint16_t kKestFrameVersion = 1;
inline constexpr uint32_t kKestFrameMaxPayload = 8192;

enum kest_frame_kind : uint16_t {
    KEST_FRAME_REQUEST = 1,
    KEST_FRAME_RESPONSE = 2,
    KEST_FRAME_INDICATION = 3,
    KEST_FRAME_CONTROL = 4,
    KEST_FRAME_CONTROL_RESPONSE = 5,
    // service -> client, then the end of the connection: payload = why the
    // service takes no more clients (kKestRefusedTooMany).
    KEST_FRAME_REFUSED = 6,
};

inline constexpr char kKestRefusedTooMany[] = "too many clients";

struct kest_frame_header {
    uint32_t magic;
    uint16_t version;
    uint16_t kind;
    uint32_t txn;
    uint32_t msg_id;
    uint32_t len;
    uint32_t aux;
    int32_t status;
};
static_assert(sizeof(kest_frame_header) == 28);

// The environment variable that names the service's socket.
#define KEST_SOCKET_ENV "VG_KEST_SOCKET"
