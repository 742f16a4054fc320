// What the config commands share: reading a document, opening the service,
// taking a snapshot, and running a plan with a report.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "config_apply.h"
#include "vg_mgmt_errors.h"

namespace vgcfg {

struct session {
    conn c;
    snapshot before;
    std::string problem; // why open or read failed
    int status = vgm::EXIT_DONE;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();

    ~session();
    // Opens the service (socket: empty for the default) and reads the
    // configuration. False with problem and status set.
    bool open_and_read(const std::string &socket);
    std::string stats() const; // calls made and time taken
};

// The bounds of a document: its size in bytes and its nesting depth.
constexpr size_t kMaxDocumentBytes = 1024 * 1024;
constexpr int kMaxDocumentDepth = 16;
// Reads a JSON document from a file ("-" for stdin), within those bounds; a
// key given twice in one object is a problem.
std::optional<json> read_document(const std::string &file, std::string &problem);
// The same for a document given as text (named `name` in problems).
std::optional<json> parse_document(const std::string &text, const std::string &name,
                                   std::string &problem);

// The result of applying a document, for people and for Ansible alike.
struct apply_result {
    int status = vgm::EXIT_DONE;
    bool changed = false;
    std::vector<std::string> lines; // the changes, one per setting
    std::string message;
    json before; // the managed keys as they were, secrets masked
    json after;  // as they are meant to be
};

// Called once the plan is made and before its first change, with the values
// to restore (secrets in clear; was: the same masked), the values meant
// (masked) and the number of changes; false (with why) stops the apply
// before anything is sent.
using before_first_change = std::function<bool(
    const json &restore, const json &was, const json &after, size_t changes, std::string &why)>;
apply_result apply_document(session &s, const json &doc, bool check,
                            const before_first_change &journal = {});
// The values of `full` at the keys that `keys` holds.
json restrict_to(const json &full, const json &keys);
std::string error_text(int32_t err);

} // namespace vgcfg
