// In-process platform for the fuzzers: a transport that plays scripted
// answers, a decode that hands back scripted records, and log sinks that
// format every line and insist that each file-sink line has its system-sink
// twin. Free of GoogleTest; a broken rule aborts, which libFuzzer reports.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qmi_cci.h"
#include "vg_mgmt_client.h"

namespace fz {

// What one send writes into the response (at most its length) and returns.
struct answer {
    int rc;
    const uint8_t *bytes;
    size_t len;
};

inline constexpr size_t kMaxAnswers = 2;

struct script {
    answer answers[kMaxAnswers]; // each send takes the next; then rc 0, nothing written
    size_t next_answer;
    size_t sends;
    int decode_rc;
    const uint8_t *decoded; // what the decode writes into its destination
    size_t decoded_len;
};

// The script of the calls to come, reset by every fuzzer input.
script &play();
void reset_script();

[[noreturn]] void fail(const char *what);
inline void require(bool ok, const char *what)
{
    if (!ok)
        fail(what);
}

// Aborts when a file-sink line still waits for its twin.
void require_pairs_closed();

// A handle opened against the fake service; ind_cb is the transport's
// indication callback of the last open.
mgmt_client *open_handle(mgmt_event_cb cb);
qmi_client_ind_cb indication_callback();

} // namespace fz
