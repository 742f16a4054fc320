// What every domain of the library shares: the handle record, the error
// number, the log pair, the handler pattern and the dispatch of a table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kest_commands.h"
#include "kest_msg.h"
#include "qmi_cci.h"
#include "vg_log.h"
#include "vg_mgmt_client.h"

// The record behind a handle. client comes first, so that the record's
// address is also the address of client.
struct mgmt_client {
    qmi_client_type client;
    qmi_client_type notifier;
    mgmt_os_signal os_signal;
    mgmt_event_cb event_cb;
};
static_assert(offsetof(mgmt_client, client) == 0);

// ---------------------------------------------------------------------------
// Error number

extern constinit thread_local int32_t vg_errno;

// Stores err as the calling thread's error number; -1 for the caller to
// return.
inline int32_t vg_fail(int32_t err)
{
    vg_errno = err;
    return -1;
}

// ---------------------------------------------------------------------------
// Logging
//
// Every log point is a pair: the file sink, then the system sink with kind 3,
// the level's severity, the tag and the twin format "[%s  %d]: " + format,
// which takes the function's name and the line before the values. Each
// source file names itself in a constant kVgLogFile, and a line carries the
// file and the name of the function it belongs to, together, as a vg_site.

inline constexpr int kVgSysLogKind = 3;
#define VG_LOG_TAG "vg_mgmt_cli"
#define VG_LOG_PREFIX "[%s  %d]: "

constexpr int vg_severity(int level)
{
    return level == 1 ? 6 : level == 4 ? 3 : 4;
}

// The short format is the tail of its twin, so each text is stored once.
#define VG_LOG_SHORT(lit) (VG_LOG_PREFIX lit + (sizeof(VG_LOG_PREFIX) - 1))

// Where a line is logged: the source file and the function that the line
// belongs to, which for a shared helper is the function it works for. A
// helper that logs for another function takes its site, never a bare name,
// so the file cannot be that of the helper.
struct vg_site {
    const char *file;
    const char *func;
};
#define VG_SITE (vg_site{kVgLogFile, __func__})

#define VG_LOG_AT(site, level, fmt, ...)                                                           \
    do {                                                                                           \
        const vg_site &vg_at_ = (site);                                                            \
        __vg_log(vg_at_.file, __LINE__, vg_at_.func, level,                                        \
                 VG_LOG_SHORT(fmt) __VA_OPT__(, ) __VA_ARGS__);                                    \
        vg_sys_log_print(kVgSysLogKind, vg_severity(level), VG_LOG_TAG, VG_LOG_PREFIX fmt,         \
                         vg_at_.func, __LINE__ __VA_OPT__(, ) __VA_ARGS__);                        \
    } while (0)

// A log line of the calling function.
#define VG_LOG(level, fmt, ...) VG_LOG_AT(VG_SITE, level, fmt __VA_OPT__(, ) __VA_ARGS__)

// A format and its twin, for lines whose text comes from a table.
struct vg_fmt {
    const char *fmt;
    const char *twin;
};

void vg_format_mismatch(); // never defined: reached only in a failed compile-time check

// The conversions of a printf format, in order ("%02x" gives 'x').
consteval bool vg_conversions_are(const char *fmt, const char *expected)
{
    for (const char *p = fmt; *p; ++p) {
        if (*p != '%')
            continue;
        ++p;
        while (*p == '0' || *p == '-' || *p == '.' || (*p >= '1' && *p <= '9'))
            ++p;
        if (*p == '%')
            continue;
        if (*expected++ != *p)
            return false;
    }
    return *expected == '\0';
}

// A table format whose conversions are checked at compile time, as -Wformat
// checks a literal.
consteval vg_fmt vg_checked_fmt(vg_fmt f, const char *conversions)
{
    if (!vg_conversions_are(f.fmt, conversions))
        vg_format_mismatch();
    return f;
}
#define VG_FMT(lit, conversions)                                                                   \
    vg_checked_fmt(vg_fmt{VG_LOG_SHORT(lit), VG_LOG_PREFIX lit}, conversions)

// The log pair of a table format.
template <class... Args>
[[gnu::always_inline]] inline void vg_log_fmt(const vg_site &site, int line, int level, vg_fmt f,
                                              Args... args)
{
    __vg_log(site.file, line, site.func, level, f.fmt, args...);
    vg_sys_log_print(kVgSysLogKind, vg_severity(level), VG_LOG_TAG, f.twin, site.func, line,
                     args...);
}

// ---------------------------------------------------------------------------
// The handler pattern
//
// A handler checks its record, fills its request, then calls vg_exchange,
// which zeroes the response, sends, writes the transport line and tests the
// answer; on failure the error number holds the response's error, and the
// handler writes its failure line and returns -1. On success it copies out.

// How a response is judged: most commands by result, a few by error.
enum class vg_judge : uint8_t { result, error };

struct kest_call {
    uint32_t msg_id;
    vg_fmt transport; // "qmi_client_send_msg_sync(<label>): error %d result %d"
    uint32_t timeout_ms;
    vg_judge judge;
};

#define VG_TRANSPORT(label) VG_FMT("qmi_client_send_msg_sync(" label "): error %d result %d", "dd")
// clang-format off
#define KEST_CALL(id, label) kest_call{id, VG_TRANSPORT(label), kKestTimeoutMs, vg_judge::result}
// clang-format on

// The send alone: zeroes the response and sends; the transport's return code.
// For a handler whose transport line is not the common one.
int vg_send(const mgmt_client *h, uint32_t msg_id, const void *req, uint32_t req_len, void *resp,
            uint32_t resp_len, uint32_t timeout_ms);

// The test of an answer: true when rc is 0 and the judged field is 0;
// otherwise stores the response's error as the error number and returns false.
bool vg_judged_ok(int rc, const void *resp, vg_judge judge);

// Send, transport line and test, on a response that the caller has zeroed.
bool vg_exchange_zeroed(const vg_site &site, const mgmt_client *h, const kest_call &call,
                        const void *req, uint32_t req_len, void *resp, uint32_t resp_len);

// A message with a request record. The response is zeroed here, where its
// size is a constant: a few stores rather than a call of memset.
template <class Req, class Resp>
inline bool vg_exchange(const vg_site &site, const mgmt_client *h, const kest_call &call,
                        const Req &req, Resp &resp)
{
    static_assert(sizeof(Resp) >= sizeof(resp_status));
    memset(&resp, 0, sizeof(Resp));
    return vg_exchange_zeroed(site, h, call, &req, sizeof(Req), &resp, sizeof(Resp));
}

// A message without a request: a null pointer and length 0 go out.
template <class Resp>
inline bool vg_exchange(const vg_site &site, const mgmt_client *h, const kest_call &call,
                        Resp &resp)
{
    static_assert(sizeof(Resp) >= sizeof(resp_status));
    memset(&resp, 0, sizeof(Resp));
    return vg_exchange_zeroed(site, h, call, nullptr, 0, &resp, sizeof(Resp));
}

// Flags read back from the service are reduced to 0 or 1.
constexpr uint8_t vg_flag(uint8_t byte)
{
    return byte != 0;
}

// A copy of at most n bytes that stops after a terminator and fills the rest
// of the n bytes with zero. A text of n bytes or more arrives without one.
inline void vg_copy_text(char *dst, const char *src, size_t n)
{
    size_t i = 0;
    for (; i < n && src[i] != '\0'; ++i)
        dst[i] = src[i];
    memset(dst + i, 0, n - i);
}

// A text field printed in a log line or converted: the field itself when it
// holds a terminator, else a terminated copy of all N - 1 bytes of it, so a
// field without a terminator is never read past its end. Returned only as a
// temporary (the pointer may point into it), so it is never copied.
template <size_t N>
struct vg_text {
    const char *s;
    char spare[N];
    explicit vg_text(const char *field)
    {
        if (memchr(field, '\0', N - 1) != nullptr) {
            s = field;
            return;
        }
        memcpy(spare, field, N - 1);
        spare[N - 1] = '\0';
        s = spare;
    }
    vg_text(const vg_text &) = delete;
    vg_text &operator=(const vg_text &) = delete;
};
template <size_t W>
inline vg_text<W + 1> vg_field_text(const char (&field)[W])
{
    return vg_text<W + 1>(field);
}

// ---------------------------------------------------------------------------
// Dispatch

using mgmt_handler = int32_t (*)(mgmt_client *handle, void *value);

struct mgmt_command_row {
    uint32_t id;
    mgmt_handler set;
    mgmt_handler get;
};
inline constexpr uint32_t kVgLastRowId = 0xffffffffu; // the -1 row that ends some tables

// The row of each command id, worked out from a table at compile time, so a
// dispatch costs one look-up wherever its row stands. Ids are unique in a
// table, so this finds the row that a search in table order finds.
inline constexpr size_t kVgRowIndexIds = 32;
inline constexpr uint8_t kVgNoRow = 0xff;
using vg_row_index = std::array<uint8_t, kVgRowIndexIds>;

template <size_t N>
consteval vg_row_index vg_index_rows(const mgmt_command_row (&rows)[N])
{
    static_assert(N < kVgNoRow);
    vg_row_index index{};
    index.fill(kVgNoRow);
    for (size_t i = 0; i < N; ++i) {
        if (rows[i].id == kVgLastRowId)
            continue;
        if (rows[i].id >= kVgRowIndexIds || index[rows[i].id] != kVgNoRow)
            vg_format_mismatch(); // an id too large for the index, or twice in one table
        index[rows[i].id] = static_cast<uint8_t>(i);
    }
    return index;
}

// True when a command's direction is described.
template <size_t D>
consteval bool vg_described(const kest_command (&described)[D], uint32_t id, uint32_t flag)
{
    for (const kest_command &c : described)
        if (c.command == id && c.flag == flag)
            return true;
    return false;
}

// True when a command table has a row for exactly the described commands,
// with a handler for exactly the described directions (the -1 row aside).
template <size_t N, size_t D>
consteval bool vg_rows_described(const mgmt_command_row (&rows)[N],
                                 const kest_command (&described)[D])
{
    size_t commands = 0;
    for (const mgmt_command_row &row : rows) {
        if (row.id == kVgLastRowId)
            continue;
        ++commands;
        if ((row.set != nullptr) != vg_described(described, row.id, MGMT_OPT_SET) ||
            (row.get != nullptr) != vg_described(described, row.id, MGMT_OPT_GET))
            return false;
    }
    return commands == kest_distinct_commands(described);
}

struct vg_dispatcher {
    vg_site site;
    const mgmt_command_row *rows;
    size_t count;
    const vg_row_index *index; // rows of the ids below kVgRowIndexIds
    vg_fmt not_found;          // "cannot found %d ... command"
    vg_fmt found;              // "found ... command %d, command flag %d"
    bool null_handler_sets_errno;
};

// Finds the id in the table and calls the flag's handler as its last act.
int32_t vg_dispatch(const vg_dispatcher &d, mgmt_client *handle, uint32_t flag, uint32_t command_id,
                    void *value);
