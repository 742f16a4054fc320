// The configuration as the service holds it (a snapshot of the records) and
// as a JSON document, and the conversion of one value between the two.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "config_table.h"
#include "vg_mgmt_client.h"

namespace vgcfg {

using json = nlohmann::ordered_json;

// One open handle, counting the calls made through it.
struct conn {
    mgmt_client *h = nullptr;
    unsigned gets = 0;
    unsigned sets = 0;
    int32_t err = 0; // error number of the last failed call
    // flag is MGMT_OPT_SET or MGMT_OPT_GET; buf holds the domain's value size.
    bool call(uint32_t flag, uint32_t domain, uint16_t id, void *buf);
};

using record = std::vector<uint8_t>;
record new_record(uint32_t domain);

struct apn_entry {
    data_call_apn_params p;
};

struct snapshot {
    std::map<std::string, record> groups; // by instance_key()
    std::vector<std::string> mac[wifi_interfaces]; // "aa:bb:..." in the service's order
    std::vector<record> snat;                      // network_snat_params each
    std::vector<record> apn;                       // data_call_apn_params each, by type and index
    uint32_t dmz = 0;
};

// The key of a group's record in a snapshot: its place in groups() and the
// Wi-Fi interface (0 when none).
std::string instance_key(size_t group_index, int iface);
// The document object path of a group or list for an interface.
std::string object_path(const char *object, int iface);

// Reads everything the document holds; false with the failing call's error
// number in c.err.
bool read_snapshot(conn &c, snapshot &s, std::string &what);
json to_document(const snapshot &s, bool show_secrets);

// A field's value in a record, as the document writes it.
json field_value(const field &f, const uint8_t *rec, bool show_secrets);
// Why a document value is not a value of the field, or empty when it is.
std::string field_problem(const field &f, const json &v);
// Writes a document value (already checked) into the record.
void field_store(const field &f, const json &v, uint8_t *rec);
// True when a secret is given as the mask, which keeps the current one.
bool is_mask(const field &f, const json &v);
// The variant a group's record holds (0 when the group has none), and
// whether a field exists in that variant.
uint32_t selector_of(const group &g, const uint8_t *rec);
bool applies(const field &f, uint32_t selector);
// The document object at a dotted path, or null when it is not there.
const json *find_path(const json &doc, const std::string &path);
json &make_path(json &doc, const std::string &path);

} // namespace vgcfg
