// The message table of kestd: one row per message id with the lengths of its
// request and response records and its handler. Each domain file writes its
// handlers on the wire records themselves and lists them with KESTD_ROW,
// which takes both lengths from the handler's own parameter types.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>

#include "kestd_errors.h"
#include "kestd_state.h"

// A handler sees the whole state and answers with KESTD_OK or a code of
// kestd_errors.h. It fills its response record (which starts zeroed) only on
// success; resp_status is written by the table.
struct kestd_ctx {
    kestd_state &st;
};

// The request type of a message that carries no request record.
struct kestd_no_req {};

template <class Req>
inline constexpr uint32_t kestd_req_size = std::is_same_v<Req, kestd_no_req> ? 0 : sizeof(Req);

using kestd_runner = uint16_t (*)(kestd_ctx &ctx, const uint8_t *req, uint8_t *resp);

struct kestd_msg_row {
    uint32_t id;
    uint32_t req_size;
    uint32_t resp_size;
    kestd_runner run;
};

template <class F>
struct kestd_handler_types;
template <class Req, class Resp>
struct kestd_handler_types<uint16_t (*)(kestd_ctx &, const Req &, Resp &)> {
    using req = Req;
    using resp = Resp;
};

// Copies the request out of the frame, runs the handler on a zeroed response
// record and puts the record, or on refusal only its status, into `resp`.
template <auto F>
uint16_t kestd_run(kestd_ctx &ctx, const uint8_t *req_bytes, uint8_t *resp_bytes)
{
    using types = kestd_handler_types<decltype(F)>;
    typename types::req req{};
    if constexpr (kestd_req_size<typename types::req> != 0)
        std::memcpy(&req, req_bytes, sizeof req);
    typename types::resp resp{};
    static_assert(sizeof resp >= sizeof(resp_status), "every response starts with resp_status");
    const uint16_t err = F(ctx, req, resp);
    if (err == KESTD_OK) {
        std::memcpy(resp_bytes, &resp, sizeof resp);
        return KESTD_OK;
    }
    std::memset(resp_bytes, 0, sizeof resp);
    const resp_status status{kKestdResultFailure, err};
    std::memcpy(resp_bytes, &status, sizeof status);
    return err;
}

template <auto F>
constexpr kestd_msg_row kestd_row(uint32_t id)
{
    using types = kestd_handler_types<decltype(F)>;
    return {id, kestd_req_size<typename types::req>, sizeof(typename types::resp), &kestd_run<F>};
}
#define KESTD_ROW(id, handler) kestd_row<&handler>(id)

std::span<const kestd_msg_row> kestd_wifi_rows();
std::span<const kestd_msg_row> kestd_data_call_rows();
std::span<const kestd_msg_row> kestd_network_rows();
std::span<const kestd_msg_row> kestd_usb_rows();

// The row of a message id, or null.
const kestd_msg_row *kestd_find_row(uint32_t id);

// Text fields of the wire records: a field may be full with no terminator.
// Stores the text of `src` in `dst` with its terminator; false, with `dst`
// untouched, when the text does not fit.
template <size_t D, size_t S>
[[nodiscard]] bool kestd_take_text(char (&dst)[D], const char (&src)[S])
{
    const size_t len = strnlen(src, S);
    if (len >= D)
        return false;
    std::memset(dst, 0, D);
    std::memcpy(dst, src, len);
    return true;
}

// Copies a stored text into a wire field, zero-filled; a text as long as the
// field fills it without a terminator.
template <size_t D, size_t S>
void kestd_put_text(char (&dst)[D], const char (&src)[S])
{
    std::memset(dst, 0, D);
    std::memcpy(dst, src, strnlen(src, D < S ? D : S));
}

// Length of a wire text field, which may lack a terminator.
template <size_t S>
size_t kestd_text_len(const char (&src)[S])
{
    return strnlen(src, S);
}

// IPv4 addresses travel in network byte order: the bytes a.b.c.d in memory.
uint32_t kestd_ipv4(uint8_t a, uint8_t b, uint8_t c, uint8_t d);
uint32_t kestd_ipv4_host(uint32_t wire);                   // to a number for comparisons
void kestd_ipv4_text(char (&buf)[16], uint32_t wire);      // dotted, terminated
bool kestd_in_lan(const kestd_config &cfg, uint32_t addr); // a LAN host, not the gateway

// Station changes that the control channel asks for, in kestd_wifi_stations.cpp.
uint16_t kestd_station_join(kestd_state &st, uint32_t iface, const uint8_t mac[6],
                            const char *name);
uint16_t kestd_station_leave(kestd_state &st, const uint8_t mac[6]);
uint16_t kestd_station_status(kestd_state &st, uint8_t state, const char *ssid);

// Each domain renders its part of the state as "key=value" lines for the
// control command "dump".
void kestd_wifi_dump(const kestd_state &st, std::string &out);
void kestd_data_call_dump(const kestd_state &st, std::string &out);
void kestd_network_dump(const kestd_state &st, std::string &out);
void kestd_usb_dump(const kestd_state &st, std::string &out);
// A line of the dump; a text that a client set goes in through
// kestd_dump_text.
[[gnu::format(printf, 3, 4)]] void kestd_dump_line(std::string &out, const char *key,
                                                   const char *fmt, ...);
// A text of at most `max` bytes, quoted, with its control characters, invalid
// UTF-8, backslashes and quotes escaped: it can neither forge a field or a
// line of the dump nor drive the terminal that shows it.
std::string kestd_dump_text(const char *text, size_t max);
template <size_t N>
std::string kestd_dump_text(const char (&text)[N])
{
    return kestd_dump_text(text, N);
}

// Per-domain defaults, called by kestd_default_config.
void kestd_default_network(kestd_config &cfg);
void kestd_default_usb(kestd_usb &usb);

// The status indication of one half (0 IPv4, 1 IPv6) of a profile's call,
// as it stands now.
data_call_status_ind kestd_call_indication(const kestd_state &st, uint32_t profile, int family);
