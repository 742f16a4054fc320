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
// Texts of decimal digits where a field takes that number become the number
// (what Ansible's templates give); nothing else changes.
void numbers_from_text(json &doc);

// One setting (or list entry) that a step changes, secrets masked.
struct change {
    std::string path;
    json before; // null: the entry is added
    json after;  // null: the entry is removed
    bool entry = false; // an entry of a list, added or removed
};

struct step {
    int phase;
    std::string what; // the path of what the step writes
    std::vector<change> changes;
    std::function<bool(conn &)> run;
    std::function<bool(conn &)> undo;
    bool partial = false; // made of several calls: a refusal may leave part done
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
    std::string refused_what;   // the step the service refused
    int32_t refused_error = 0;  // its error number
    std::vector<std::string> undo_failed; // steps whose undo was refused
    bool read_back = false;     // the configuration could be read afterwards
    std::vector<change> left_changed; // what differs from before, after the undo
};

outcome run_plan(conn &c, const plan &p, const snapshot &before);

// The settings that differ between two documents, by path.
std::vector<change> document_diff(const json &before, const json &after);
std::string change_line(const change &c);
json change_json(const change &c);

} // namespace vgcfg
