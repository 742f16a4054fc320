// The model of vg-mgmt: every command of the tool as one row that says which
// library command reads its record and which writes it, the instance it
// names, and the fields a person gives and sees. Parsing, calling, printing,
// JSON, help, the manual page and shell completion are all made from it.
//
// A setting is a pair of rows of one subject with the verbs "get" and "set":
// the set reads the record first (read_id), changes the fields given and
// writes it back (write_id), so it changes only what it names. A whole
// configuration is the gets of all settings over all their instances.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "vg_mgmt_values.h"

namespace vgm {

// The instance a command names, given as leading words.
using axis = kest_instance;

enum class kind : uint8_t {
    get,  // read the record, print its fields
    set,  // read, change the fields given, write back (all fields, with no read)
    run,  // write a record made of the fields given (or their defaults)
    list, // read a record holding a counted list, print its entries
};

// A counted list inside a record.
struct list_def {
    const char *key; // the JSON and text key of the entries
    uint16_t count_off;
    uint16_t count_width;
    uint16_t entries_off;
    uint16_t stride;
    uint16_t max;
    std::vector<field> entry;
    std::vector<field> raw_entry; // with --raw, when not empty
};

struct command {
    const char *domain_word; // "wifi", "datacall", "network", "usb"
    const char *subject;     // "channel"
    const char *verb;        // "get", "set", "add", ...
    kind k;
    std::string help; // one line: what it does
    uint32_t domain;
    uint16_t read_id = 0;  // library command that reads the record (0: none)
    uint16_t write_id = 0; // library command that writes it (0: none)
    axis inst = axis::none;
    std::vector<field> fields = {}; // set/run: what is given; get: what is printed
    uint8_t npos = 0;               // leading fields given as words instead of --key V
    std::vector<field> query = {};  // get: inputs of the read besides the instance
    std::vector<field> out = {};    // run: fields printed after the call
    std::vector<field> raw = {};    // get: the fields as the library gives them (--raw)
    const list_def *list = nullptr;
    // set: called with the record read and the record to write once the
    // given fields are in it; the given fields are parsed in again after it.
    void (*prepare)(const uint8_t *rrec, uint8_t *wrec) = nullptr;
    const char *note = nullptr;         // a further help line
    const char *when_refused = nullptr; // what to do instead, added to the service's refusal
};

// All rows, in the order help lists them.
const std::vector<command> &commands();

// The words of the instance of an axis, as fields at their offsets.
std::vector<field> axis_fields(axis a);
// Writes the fixed instance of an axis (station interface 3, USB instance 0).
void axis_fixed(axis a, uint8_t *rec);

// The value buffer size of a domain.
uint32_t value_size(uint32_t domain);

// "wifi channel set"
std::string command_name(const command &c);

// The fields of a command's record as the protocol describes them, all or
// the ones named.
std::vector<field> described_fields(uint32_t domain, uint32_t cmd);
field described_field(uint32_t domain, uint32_t cmd, const char *word);

// A command whose rows are not the plain ones its description gives: its
// builder gets the subject's row with its words, help and instance filled in
// and adds what the command needs.
struct special {
    uint32_t domain;
    uint32_t cmd;
    void (*add)(std::vector<command> &c, command base);
};
std::span<const special> wifi_specials();
std::span<const special> data_call_specials();
std::span<const special> network_specials();
std::span<const special> usb_specials();

// A setting's get and set rows from one description of both.
void add_setting(std::vector<command> &c, const command &row);
// The plain rows of a described command: a setting when it has both
// directions, else a read or a run of its described fields.
void add_plain(std::vector<command> &c, command base);

} // namespace vgm
