// The settings that make up the module's configuration document: for each
// group of settings, the record that holds it, the command that reads the
// record and the commands that write it, and for each setting its key in the
// document, its place in the record, its type, range or named values, and a
// line that says what it is. Export, schema, diff and apply all work from
// this table; adding a setting to the document is one row here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vgcfg {

// How a value is held in a record and written in the document.
enum class vtype : uint8_t {
    uint,  // u8/u16/u32 by width: a JSON integer within [min, max]
    flag,  // u8: a JSON boolean (any non-zero byte reads as true)
    named, // u8/u32 by width: a JSON string, one of the names
    text,  // char[width]: a JSON string of at most max bytes
    ipv4,  // u32 in network byte order: "a.b.c.d"
    hex16, // u16: "0x1234"
    mac,   // u8[6]: "aa:bb:cc:dd:ee:ff"
};

struct name_value {
    const char *name;
    uint32_t value;
};

struct names {
    const name_value *v = nullptr;
    size_t n = 0;
    const char *name_of(uint32_t value) const;
    bool value_of(const std::string &name, uint32_t &value) const;
};

struct field {
    const char *key;
    uint16_t off;
    uint16_t width; // bytes in the record
    vtype type;
    uint32_t min = 0;
    uint32_t max = 0; // uint: largest value; text: most characters
    names values{};              // named values; numbers in [min, max] pass too
    std::vector<uint32_t> only{}; // uint: the values taken, when not all of the range
    bool secret = false;
    // When the group has a variant (the Wi-Fi authentication), the variant
    // values for which the field exists, as a bit mask; 0: always.
    uint32_t variants = 0;
    const char *help = "";
};

// One command that writes part of a group's record: which bytes of the read
// record go where in the command's own record.
struct write_part {
    uint16_t from;
    uint16_t to;
    uint16_t width;
};
struct writer {
    uint16_t set_id;
    std::vector<write_part> parts; // empty: the read record as it is
};

// A group of settings read by one command and written back by one or more.
struct group {
    const char *object; // dotted path of the document object; "{i}" is the interface
    uint32_t domain;
    uint16_t get_id;
    uint16_t size;         // bytes of the read record
    bool per_interface;    // the record starts with the Wi-Fi interface, 1 to 3
    int phase;             // order of the writes among all changes
    std::vector<writer> writers;
    uint16_t commit_id = 0; // sent once after the writers (USB write-back)
    int variant = -1;       // index of the field that selects the variant
    const char *help = "";
    std::vector<field> fields;
};

const std::vector<group> &groups();

// The lists of the document, each made exactly equal to what it holds.
enum class list_kind : uint8_t { mac_acl, snat, apn };
struct list_desc {
    list_kind kind;
    const char *object; // path of the object holding the list
    const char *key;
    int phase_del, phase_add;
    const char *help;
    std::vector<field> entry; // the entry's fields, offsets in the add record
};
const std::vector<list_desc> &lists();

// The DMZ address: one address or none.
extern const field dmz_field;

constexpr int wifi_interfaces = 3;
constexpr const char *secret_mask = "********";
constexpr int document_version = 1;

} // namespace vgcfg
