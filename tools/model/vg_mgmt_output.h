// Output of vg-mgmt: records as "key: value" lines or as one JSON object
// with the same keys, and failures as one line on stderr (with --json, also
// a JSON error object on stdout).
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "vg_mgmt_errors.h"
#include "vg_mgmt_model.h"

namespace vgm {

struct output {
    FILE *out;
    FILE *err;
    bool json = false;
    bool show_secrets = false;
    bool raw = false;
};

// The fields of a record that it says are shown.
json record_json(const std::vector<field> &fields, const uint8_t *rec, bool show_secrets);
// A counted list: {"count": n, key: [...]}; entries of one field are plain values.
json list_json(const list_def &l, const uint8_t *rec, bool show_secrets, bool raw);

// The text of a value as text output shows it: escaped (escape_text), or
// its bytes unchanged with --raw.
std::string shown_text(const output &o, const json &v);

// Prints an object: JSON on one line, or one "key: value" line per key (a
// list of objects as one indented "k=v ..." line per entry).
void print_object(const output &o, const json &obj);

// Prints a failure of `what` ("wifi channel set") and returns its status.
int print_failure(const output &o, const std::string &what, const failure &f);

// The JSON text of a value: UTF-8 passes unchanged, invalid bytes become U+FFFD.
std::string dump_json(const json &v);

// What a command prints, caught in memory: run(out, err)'s status, its
// standard output and its standard error.
struct captured {
    int status = 0;
    std::string out, err;
};
template <class F>
captured capture(F &&run)
{
    char *ob = nullptr, *eb = nullptr;
    size_t ol = 0, el = 0;
    FILE *o = open_memstream(&ob, &ol), *e = open_memstream(&eb, &el);
    captured r;
    if (o != nullptr && e != nullptr)
        r.status = run(o, e);
    else
        r.status = EXIT_USAGE, r.err = "out of memory";
    if (o != nullptr)
        fclose(o);
    if (e != nullptr)
        fclose(e);
    r.out.assign(ob != nullptr ? ob : "", ol);
    r.err += std::string(eb != nullptr ? eb : "", el);
    free(ob);
    free(eb);
    return r;
}

} // namespace vgm
