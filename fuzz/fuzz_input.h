// The layouts of the fuzzers' inputs, shared with the corpus generator.
// Every input begins with a fixed head; the byte runs it names follow in
// order. A run cut short by the end of the input is as long as what is left.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace fz {

// Commands: one call of vg_mgmt_client_set or _get and up to two answers.
struct command_head {
    uint8_t domain;         // 0 to 8 as is; above, (domain << 8) | domain
    uint8_t id;             // the command id, with 0xff00 added when kIdHigh is set
    uint8_t flag;           // the router's flag: 1 set, 2 get, anything else as is
    uint8_t options;        // k* bits below
    int8_t rc[2];           // what each send returns
    uint16_t answer_len[2]; // bytes each answer writes at the head of the response
    uint16_t value_len;     // bytes of the value record given; the rest is a pattern
};
static_assert(sizeof(command_head) == 12);

inline constexpr uint8_t kNullHandle = 1;
inline constexpr uint8_t kNullValue = 2;
inline constexpr uint8_t kSizeZero = 4;
inline constexpr uint8_t kSizeWrong = 8;
inline constexpr uint8_t kIdHigh = 16;

// Indications: one message through the transport's indication callback.
struct indication_head {
    uint8_t msg_id;
    uint8_t options; // k* bits below
    int8_t decode_rc;
    uint8_t reserved;
    uint16_t decoded_len; // bytes the decode writes into the library's record
    uint16_t ind_len;     // bytes of the encoded message handed to the callback
};
static_assert(sizeof(indication_head) == 8);

inline constexpr uint8_t kNullCbData = 1;
inline constexpr uint8_t kNoEventCb = 2;

// kestd: a run of operations on one connection; each starts with its op byte.
enum kestd_op : uint8_t {
    kRaw = 0,     // u16 n, then n bytes appended to the connection's input
    kRequest = 1, // u8 msg_id, u16 len (0xffff: the record's own length), u16 cut, then the payload
    kControl = 2, // u8 n, then n bytes of text
};

// Reads the byte runs of an input in order.
struct reader {
    const uint8_t *p;
    size_t left;

    template <class T>
    bool head(T &out)
    {
        if (left < sizeof out)
            return false;
        std::memcpy(&out, p, sizeof out);
        p += sizeof out;
        left -= sizeof out;
        return true;
    }

    // A run of at most n bytes; its length lands in got.
    const uint8_t *run(size_t n, size_t &got)
    {
        got = n < left ? n : left;
        const uint8_t *r = p;
        p += got;
        left -= got;
        return r;
    }
};

} // namespace fz
