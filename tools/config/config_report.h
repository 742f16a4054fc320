// How a config command reports: in text, lines on stdout and failures on
// stderr; with --json, also one JSON object on stdout for every outcome,
// errors included ({"status": n, "error": {"message": ..., "problems": [...]}}).
// Any config command (apply, check, validate, diff, and the ones that manage
// what an apply leaves behind) prints its result and errors through this.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "config_doc.h"

namespace vgcfg {

// A problem line "path: why" as {"path": ..., "problem": ...}.
json problem_json(const std::string &line);
json problems_json(const std::vector<std::string> &lines);

// The problems a failure prints as text, at most: a document of a hundred
// thousand bad keys is told in a screenful (--json gives them all).
constexpr size_t kMaxProblemLines = 100;

struct report {
    FILE *out;
    FILE *err;
    bool as_json = false;

    // A failure with its exit status: "vg-mgmt config: why" and the problems
    // indented on stderr; with --json the error object on stdout as well.
    int fail(int status, const std::string &why,
             const std::vector<std::string> &problems = {}) const;
    // A result: with --json the object, with "status" added, on stdout.
    int result(int status, json obj) const;
};

} // namespace vgcfg
