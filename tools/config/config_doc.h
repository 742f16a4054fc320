// The configuration as the service holds it (a snapshot of the records) and
// as a JSON document, and the conversion of one value between the two.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "config_table.h"
#include "vg_mgmt_client.h"
#include "vg_mgmt_values.h"

namespace vgcfg {

// One open handle, counting the calls made through it.
struct conn {
    mgmt_client *h = nullptr;
    unsigned gets = 0;
    unsigned sets = 0;
    int32_t err = 0;  // error number of the last failed call
    std::string what; // the setting a step of several writes was sending when refused
    // flag is MGMT_OPT_SET or MGMT_OPT_GET; buf holds the domain's value size.
    bool call(uint32_t flag, uint32_t domain, uint16_t id, void *buf);
};

using record = std::vector<uint8_t>;
record new_record(uint32_t domain);

struct snapshot {
    std::map<std::string, record> groups; // read records, by instance_key()
    // Lists by instance_key(): an array of entries (secrets in clear), or
    // for an optional value the value or null.
    std::map<std::string, json> lists;
};

// The key of a group's or list's record in a snapshot: its place in groups()
// or lists() and the Wi-Fi interface (0 when none).
std::string instance_key(size_t index, int iface);
// The document object path of a group or list for an interface.
std::string object_path(const std::string &object, int iface);
// The interfaces a row covers: 1 to 3, or only 0.
int first_instance(const vgm::command &c);
int last_instance(const vgm::command &c);
// A record holding a row's instance (the interface, or the fixed ones).
record instance_record(const vgm::command &c, int iface);

// The entries of an exact list's record (its list row's) as the document
// writes them.
json exact_entries(const list_desc &l, const uint8_t *rec);

// Reads everything the document holds; false with the failing call's error
// number in c.err.
bool read_snapshot(conn &c, snapshot &s, std::string &what);
// Only the groups (object path, false) and lists (list path, true) that the
// filter takes; to_document leaves out what was not read.
using path_filter = std::function<bool(const std::string &path, bool list)>;
bool read_snapshot(conn &c, snapshot &s, std::string &what, const path_filter &only);
json to_document(const snapshot &s, bool show_secrets);
// The configuration of a fresh module, as the protocol's description gives
// it: its settings and profiles, and no other list entries.
snapshot factory_snapshot();

// A field's value in a record, as the document writes it.
json field_value(const field &f, const uint8_t *rec, bool show_secrets);
// Why a document value is not a value of the field, or empty when it is.
std::string field_problem(const field &f, const json &v);
// Writes a document value (already checked) into a write record.
void field_store(const field &f, const json &v, uint8_t *wrec);
// True when a secret is given as the mask, which keeps the current one.
bool is_mask(const field &f, const json &v);
// An entry of a list, secrets masked unless show_secrets.
json masked_entry(const list_desc &l, const json &entry, bool show_secrets);
// Whether a field exists in a record (the WEP keys only with WEP ...).
inline bool applies(const field &f, const uint8_t *rec)
{
    return f.shown == nullptr || f.shown(rec);
}
// The document object at a dotted path, or null when it is not there.
const json *find_path(const json &doc, const std::string &path);
json &make_path(json &doc, const std::string &path);
// The list at a document path, or null.
const list_desc *list_of_path(const std::string &path);

} // namespace vgcfg
