// Values of vg-mgmt: how one field of a value record is parsed from a word,
// checked against its range, and shown (as JSON; the text form is made from
// the same JSON value, so both always agree).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include <nlohmann/json.hpp>

#include "kest_fields.h"

namespace vgm {

using json = nlohmann::ordered_json;

// A named value: accepted and printed by name, the number accepted too.
using name_value = kest_name;
using names = std::span<const name_value>;

enum class vtype : uint8_t {
    number,    // unsigned integer of `width` bytes, decimal or 0x hex
    named,     // unsigned integer with names; an unnamed number prints as its decimal text
    flag,      // one byte, off/on
    usb_id,    // u16 shown as 0x%04x
    text,      // char[width]: at most width-1 bytes and a terminator
    textn,     // char[width] that may fill every byte (no terminator needed)
    mac,       // 6 bytes aa:bb:cc:dd:ee:ff
    ipv4,      // u32 in network byte order
    ipv4_text, // char[width] holding an address as text
    ipv6,      // 16 bytes
    hex,       // width raw bytes shown as hex (for --raw)
};

// One field of a record: where it stands, what it takes and what it means.
struct field {
    const char *key; // the text key, the JSON key and the option name
    vtype type;
    uint16_t off;     // offset in the record the read command fills
    uint16_t woff;    // offset in the record the write command takes
    uint16_t width;   // bytes
    uint64_t min = 0; // least number, or least text length
    uint64_t max = 0; // 0: the width's largest number
    names named = {};
    const char *help = "";
    const char *unit = nullptr;
    bool (*allowed)(uint64_t) = nullptr; // a set narrower than min..max
    const char *range_text = nullptr;    // says what `allowed` takes
    bool secret = false;
    bool (*shown)(const uint8_t *rec) = nullptr; // printed only when this says so
    const char *def = nullptr; // the word taken when an optional input is not given
    bool zero_is_none = false; // an address of all zeros means none: null, "none" in text

    field &at(uint16_t write_off)
    {
        woff = write_off;
        return *this;
    }
    field &or_default(const char *word)
    {
        def = word;
        return *this;
    }
    field &when(bool (*pred)(const uint8_t *))
    {
        shown = pred;
        return *this;
    }
    field &none_when_zero()
    {
        zero_is_none = true;
        return *this;
    }
};

// The field as the protocol's description gives it.
field described(const kest_field &d);

// Fields of the usual kinds. `min` of a text is its least length.
field num(const char *key, uint16_t off, uint16_t width, uint64_t min, uint64_t max,
          const char *help, const char *unit = nullptr);
field named(const char *key, uint16_t off, uint16_t width, names n, const char *help);
field flag(const char *key, uint16_t off, const char *help);
field text(const char *key, uint16_t off, uint16_t width, const char *help, uint64_t min_len = 0);
field secret(const char *key, uint16_t off, uint16_t width, const char *help);
field of_type(vtype t, const char *key, uint16_t off, uint16_t width, const char *help);

// The largest number a field of this width holds, or the field's max.
uint64_t field_max(const field &f);

// "0 to 24", "1 to 3", "off, on", "ipv4 (0), ipv6 (1), ...", the channel list.
std::string range_of(const field &f);

// Parses `word` into the write record; an error text naming the range when
// the word is not a valid value of the field.
std::optional<std::string> parse_field(const field &f, const std::string &word, uint8_t *wrec);

// Parses a word as a whole number: decimal, or hex with 0x; never octal.
std::optional<uint64_t> parse_uint(const std::string &word);

// The field's value in the read record. Secrets show as ******** unless
// show_secrets.
json field_json(const field &f, const uint8_t *rec, bool show_secrets);

// The text form of a JSON value: strings as they are, numbers in decimal,
// arrays as words separated by spaces.
std::string json_text(const json &v);

// Copies the field's bytes from the read record to the write record.
void carry_field(const field &f, const uint8_t *rrec, uint8_t *wrec);

// A text that lives as long as the program (for keys made at start).
const char *intern(const std::string &s);

inline constexpr const char *kMasked = "********";

} // namespace vgm
