// The service behind the socket: answers requests through the message table,
// turns state changes into indications, keeps the state file, and carries
// out control commands and the faults they inject. It knows nothing of
// sockets; kestd_server.cpp moves its frames.
#pragma once

#include <string>
#include <vector>

#include "kest_frame.h"
#include "kestd_state.h"

using kestd_frames = std::vector<std::vector<uint8_t>>;

struct kestd_faults {
    uint32_t delay_ms;   // every answer waits this long
    uint16_t fail_error; // answer the next fail_count requests with this error
    uint32_t fail_count;
    uint32_t fail_msg;  // only requests of this message id count; 0: any
    uint32_t fail_skip; // so many matching requests pass before the failures
    bool muted;         // requests are read and never answered
};

struct kestd_service {
    kestd_state st;
    kestd_state before;     // the state before the change in progress
    std::string state_path; // empty: nothing is kept across restarts
    int lock_fd = -1;       // the state file's lock, held for the service's life
    kestd_faults faults;
};

// Starts with the defaults, or with the state file when there is one, whose
// lock it takes for the rest of the process's life. False with the reason
// when the file is in use by another service, damaged, unreadable or cannot
// be written.
bool kestd_service_start(kestd_service &svc, const std::string &state_path, std::string &why);

struct kestd_answer {
    bool silent; // muted: nothing goes back
    uint32_t delay_ms;
    std::vector<uint8_t> response;
    kestd_frames indications; // to every client, after the response
};

kestd_answer kestd_request(kestd_service &svc, const kest_frame_header &h, const uint8_t *payload);

struct kestd_control_answer {
    std::vector<uint8_t> response;
    kestd_frames indications;
    bool drop_others; // close every other connection
};

kestd_control_answer kestd_control(kestd_service &svc, const kest_frame_header &h,
                                   const uint8_t *payload);
