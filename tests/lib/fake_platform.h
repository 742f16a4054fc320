// In-process fake of the platform for unit tests: a scriptable transport, a
// decode fake, recording log sinks and vg_ipv4_ntoa. Test executables link it
// in place of the platform's libraries. State is reset before every test.
#pragma once

#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include <ctime>
#include <sys/time.h>

#include "kest_msg.h"
#include "qmi_cci.h"
#include "vg_mgmt_client.h"

namespace fake {

// One qmi_client_send_msg_sync call.
struct sent_msg {
    uint32_t msg_id;
    bool req_null;
    std::vector<uint8_t> req; // the request bytes as they went out
    uint32_t req_len;
    uint32_t resp_len;
    uint32_t timeout_ms;
};

// The answer to one send: the bytes written at the head of the response (at
// most its length) and the send's return code.
struct reply {
    int rc = 0;
    std::vector<uint8_t> bytes;
};

// One log pair as the file sink saw it, with the system sink's severity.
struct log_line {
    std::string file;
    int line;
    std::string func;
    int level;
    std::string fmt;
    std::string text;
    int severity;
};

struct decode_call {
    int kind;
    uint32_t msg_id;
    uint32_t src_len;
    uint32_t dst_len;
};

struct state {
    std::mutex mu;

    // Connection script.
    int notifier_rc = 0;
    bool signal_at_notifier_init = false; // signal_set is 1 from the start
    uint32_t clock_id = 1;
    std::deque<int> probe_rc; // each probe takes the next; 0 when empty
    int list_rc = 0;
    uint32_t num_services = 1;
    int init_rc = 0;
    std::vector<std::string>
        calls; // "notifier_init", "probe", "list", "init", "release notifier", ...
    std::vector<std::vector<int32_t>> service_object_args;
    uint32_t list_room_seen = 0;
    qmi_client_ind_cb ind_cb = nullptr;
    void *ind_cb_data = nullptr;
    void *init_os_params = nullptr;
    mgmt_os_signal *os_signal = nullptr;

    // Sends.
    std::vector<sent_msg> sent;
    std::deque<reply>
        replies; // each send takes the next; rc 0 and an untouched response when empty

    // Decodes.
    std::vector<decode_call> decodes;
    std::deque<reply> decode_replies;

    // Logs.
    std::vector<log_line> logs;
    int ntoa_calls = 0; // calls of vg_ipv4_ntoa

    // Clocks and waits: when fake_waits is set, a wait returns wait_rc at once
    // and records its deadline; when fake_now is set, the clocks read these.
    bool fake_waits = false;
    int wait_rc = 110;
    std::vector<timespec> wait_deadlines;
    bool fake_now = false;
    timespec now_mono{};
    timeval now_wall{};

    bool fail_next_malloc = false; // the library's next malloc fails with ENOMEM
};

state &g();
void reset();

// A record's bytes as an answer with the given return code.
template <class T>
reply bytes_of(const T &record, int rc)
{
    reply r{rc, std::vector<uint8_t>(sizeof record)};
    std::memcpy(r.bytes.data(), &record, sizeof record);
    return r;
}
// Queues the answer to the next send: the record's bytes, or a bare status.
template <class Resp>
void reply_with(const Resp &resp, int rc = 0)
{
    g().replies.push_back(bytes_of(resp, rc));
}
void reply_status(uint16_t result, uint16_t error, int rc = 0);
void reply_send_failure(int rc); // the transport fails and writes nothing
// Queues what the next decode writes into its destination.
template <class Ind>
void decode_with(const Ind &ind, int rc = 0)
{
    g().decode_replies.push_back(bytes_of(ind, rc));
}

// The request of a recorded send as its wire record.
template <class Req>
Req request_as(const sent_msg &m)
{
    Req r{};
    std::memcpy(&r, m.req.data(), std::min(sizeof r, m.req.size()));
    return r;
}

// Delivers an indication through the callback that qmi_client_init took.
void deliver_indication(uint32_t msg_id, const void *buf = "", uint32_t len = 1);

// Opens a handle against a service that is there at once.
mgmt_client *open_handle(mgmt_event_cb cb = nullptr);

// Lines logged so far, and lines whose text contains the given part.
std::vector<log_line> logs();
bool logged(const std::string &text_part);
size_t sent_count();
sent_msg last_sent();

// Heap calls (malloc, calloc, realloc, free) made by the code under test
// while counting is on; the fake platform's own calls are not counted.
void count_heap(bool on);
size_t heap_calls();

// Guards a value record inside a buffer of the domain's size: fills the
// buffer with a pattern so that tests can see which bytes a call touched.
std::vector<uint8_t> patterned(size_t size, uint8_t seed = 0xa5);

} // namespace fake
