// What the parts of the host transport share: the handles, the client
// record, and the functions that one part offers the others. See qmi_cci.cpp
// for the threads and how they share a client.
#pragma once

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdint>
#include <ctime>

#include "kest_frame_io.h"
#include "qmi_cci_host.h"

#define VG_HOST_API extern "C" __attribute__((visibility("default")))

// The handle of either object; kind says which.
struct qmi_client_struct {
    uint32_t kind;
};

namespace qmi_host {

inline constexpr uint32_t kNotifierKind = 0x4e4f5449;
inline constexpr uint32_t kClientKind = 0x544e4c43;

// The reader thread leaves the socket to the senders until none has begun
// for this long; an indication that comes in such a pause waits at most this.
inline constexpr uint32_t kIdleReadMs = 2;

// ---------------------------------------------------------------------------
// The service's address, threads and clocks (qmi_cci_common.cpp)

struct service_address {
    sockaddr_un addr;
    socklen_t len;
};

bool resolve_service(service_address &out);
int connect_service(const service_address &where, char *why, size_t why_size);
bool service_accepts(const service_address &where);
void report_untrusted(const char *why);
bool start_thread(pthread_t &thread, const char *name, void *(*fn)(void *), void *arg);
void init_monotonic_cond(pthread_cond_t &cond);
timespec monotonic_after_ms(uint32_t ms);

// ---------------------------------------------------------------------------
// Notifier (qmi_cci_notifier.cpp)

qmi_client_error_type release_notifier(qmi_client_struct *handle);

// ---------------------------------------------------------------------------
// Client

// A send waiting for its answer; lives on the sender's stack and is linked
// into the client's list while it waits.
struct pending_send {
    pending_send *next;
    uint32_t txn;
    uint32_t msg_id;
    void *resp;
    uint32_t resp_len;
    bool done;
    int rc;
    pthread_cond_t answered;
};

struct queued_indication {
    queued_indication *next;
    uint32_t msg_id;
    uint32_t len;
    // followed by len bytes
};

struct host_client {
    qmi_client_struct base;
    int fd;
    qmi_client_ind_cb ind_cb;
    void *ind_cb_data;
    pthread_t reader;
    pthread_t delivery;
    pthread_mutex_t write_lock; // one frame on the socket at a time

    pthread_mutex_t lock; // everything below
    bool connected;       // false once the connection has ended
    bool releasing;
    uint32_t last_txn;
    uint32_t active_sends;
    pending_send *pending;
    queued_indication *ind_head;
    queued_indication *ind_tail;
    uint32_t ind_count;
    uint32_t ind_dropped;       // dropped since the last report
    uint64_t ind_dropped_total; // dropped in the client's life
    pthread_cond_t ind_ready;
    pthread_cond_t sends_done;
    bool reading;               // a thread has the reading turn
    timespec last_send;         // when a send last began (monotonic)
    pthread_cond_t reader_idle; // the reader thread waits here for its turn

    // The reading turn's alone: what came off the socket and is not taken yet.
    // Room for two whole frames, so that one read can take a frame and the
    // start of the next.
    uint8_t rx[2 * (sizeof(kest_frame_header) + kKestFrameMaxPayload)];
    size_t rx_used;
};

// Reading (qmi_cci_read.cpp)
void fail_pending(host_client &c, int rc);
void end_connection(host_client &c);
void read_with_turn(host_client &c, const timespec *deadline);
void pass_turn(host_client &c);
void *read_frames(void *arg);

// Indication delivery (qmi_cci_delivery.cpp)
void take_indication(host_client &c, const kest_frame_header &h, const uint8_t *payload);
void *deliver_indications(void *arg);
// After the delivery thread has ended: reports what was dropped and not yet
// told, and frees what still waits.
void end_delivery(host_client &c);

} // namespace qmi_host
