// The configuration document, made from the tool's model of the settings and
// the protocol's description of their fields (kest_fields.h), which gives
// each field its document path. What the model's rows are to the document:
// - a setting (a get and a set row) whose fields have paths is a group of
//   fields in the object that holds them;
// - a list, add and del row of one subject is a list made exactly equal;
// - a get, add and del row with no set (the DMZ host) is one value or none;
// - a setting over APN profiles, with their list, add and del rows, is the
//   list of profiles, each keyed by its type and index.
// A field with no path (status, actions) stays out. Adding a setting with
// paths to the description adds it to the document; config_table.cpp only
// orders the writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vg_mgmt_model.h"

namespace vgcfg {

using vgm::field;
using vgm::json;
using vgm::vtype;

struct group {
    const vgm::command *row; // the set row: fields, read and write commands, instance
    std::string object;      // dotted document path; "{i}" stands for the interface
    int phase;               // order of the writes among all changes
    uint16_t commit_id = 0;  // sent once after the domain's writes (USB write-back)
};
const std::vector<group> &groups();

enum class list_kind : uint8_t { exact, optional, keyed };
struct list_desc {
    list_kind kind;
    const vgm::command *read; // list row (exact, keyed: the index list) or get row (optional)
    const vgm::command *add;
    const vgm::command *del;
    const vgm::command *set = nullptr; // keyed: the setting row of one entry
    std::string object;                // dotted path of the object holding it
    std::string key;
    int phase_del, phase_add;
    // The fields of one entry as the document writes it: the list entry's
    // fields (exact), the value (optional), or the instance and the
    // setting's fields (keyed).
    std::vector<field> entry;
    bool single() const { return kind == list_kind::optional || entry.size() == 1; }
};
const std::vector<list_desc> &lists();

// Whether a row names a Wi-Fi interface (1 to 3, at the start of its record).
bool per_interface(const vgm::command &c);

constexpr int kWifiInterfaces = 3;
inline constexpr const char *kSecretMask = vgm::kMasked;
constexpr int kDocumentVersion = 1;

} // namespace vgcfg
