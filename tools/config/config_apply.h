// Applying a document: validate it, compare it with what the service holds,
// send only what differs in an order the service accepts, and undo the steps
// already done when the service refuses one.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "config_doc.h"

namespace vgcfg {

// Every problem of a document, as "path: why", before anything is read.
std::vector<std::string> validate(const json &doc);
// The problems that config validate finds in one setting about to be
// written (wrec, after reading rrec), for interface iface (0: none): the
// values the write leaves as the module holds them are not judged alone.
std::vector<std::string> setting_problems(const vgm::command &row, int iface, const uint8_t *rrec,
                                          const uint8_t *wrec);
// The list that an add row adds to, when the list is kept exactly equal
// (an ACL, the SNAT rules); null for any other row.
const list_desc *exact_list_of(const vgm::command &add);
// The problems that config validate finds when the entry about to be added
// (erec, the add row's record) joins the list as the service holds it
// (lrec, the list row's record) on interface iface (0: none): its limit,
// an entry already there, a rule it meets.
std::vector<std::string> entry_problems(const list_desc &l, int iface, const uint8_t *lrec,
                                        const uint8_t *erec);
// Texts of decimal digits where a field takes that number become the number
// (what Ansible's templates give); nothing else changes.
void numbers_from_text(json &doc);

// One setting (or list entry) that a step changes, secrets masked.
struct change {
    std::string path;
    json before;        // null: the entry is added
    json after;         // null: the entry is removed
    bool entry = false; // an entry of a list, added or removed
};

// What the service shows once a step is done (secrets in clear): read again
// before the step is undone, so that a value another client has set since
// is left as it is.
struct probe {
    std::string path;
    json value;          // the setting's value (null: not there), or an entry of the list
    bool entry = false;  // value is an entry of the list at path
    bool present = true; // the entry is there (added) or not (removed)
};

struct step {
    int phase;
    std::string what; // the path of what the step writes
    std::vector<change> changes;
    std::function<bool(conn &)> run;
    std::function<bool(conn &)> undo;
    bool partial = false; // made of several calls: a refusal may leave part done
    std::vector<probe> probes;
};

struct plan {
    std::vector<step> steps; // in the order they are sent
    std::vector<std::string> problems;
    size_t change_count() const;
};

plan make_plan(const json &doc, const snapshot &current);
// Plan parts, one per kind of thing the document holds.
void plan_groups(const json &doc, const snapshot &cur, plan &p);
void plan_lists(const json &doc, const snapshot &cur, plan &p);
void plan_keyed(const list_desc &l, const json &cur, const json &want, plan &p);
// An entry of a list as the service would give it back.
json canonical_entry(const list_desc &l, const json &entry);
json keyed_entry(const list_desc &l, const json &entry);

struct outcome {
    bool done = true;
    std::string refused_what;             // the step the service refused
    int32_t refused_error = 0;            // its error number
    std::vector<std::string> undo_failed; // steps whose undo was refused
    bool read_back = false;               // the configuration could be read afterwards
    std::vector<change> left_changed;     // what differs from before, after the undo
    bool no_answer = false;               // the step got no answer: it may or may not have landed
    int landed = -1;                 // then: 1 it had landed (and was undone), 0 not, -1 unknown
    std::vector<std::string> others; // set by another client since: left as they are
    int signal = 0;                  // the signal that stopped the apply between two steps
    size_t steps_done = 0;
};

// Whether the service still shows what a step wrote: 1 yes, 0 another
// client changed it since (the paths that differ go to `others`), -1 it
// could not be read.
int step_holds(conn &c, const step &s, std::vector<std::string> *others);
// The hook of the tests: VG_CONFIG_TEST_PAUSE="POINT MS" sleeps MS
// milliseconds at POINT ("undo", or "step N" before step N, from 1).
void test_pause(const std::string &point);
outcome run_plan(conn &c, const plan &p, const snapshot &before);

// The settings that differ between two documents, by path.
std::vector<change> document_diff(const json &before, const json &after);
std::string change_line(const change &c);
json change_json(const change &c);

} // namespace vgcfg
