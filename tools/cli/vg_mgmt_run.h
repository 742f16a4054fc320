// Running one row of the model: the words a command line gave it are checked
// against their ranges before anything is sent, then the row's handler reads
// and writes the records through the library.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "vg_mgmt_client.h"
#include "vg_mgmt_model.h"
#include "vg_mgmt_output.h"

namespace vgm {

using word = std::optional<std::string>;

// What the command line gave one row: a word per instance field, per field
// and per query field (none when not given).
struct request {
    const command *cmd = nullptr;
    std::vector<word> inst;
    std::vector<word> values;
    std::vector<word> query;
};

// Checks and runs the row; prints its result; returns the exit status.
// `wait_s`: how long to wait for the service's socket to appear.
int run_request(const output &o, const request &r, double wait_s);

// Waits up to wait_s for the socket, then opens a handle; a failure naming
// the socket when there is no service.
std::optional<failure> connect(mgmt_client **h, mgmt_event_cb cb, double wait_s);

} // namespace vgm
