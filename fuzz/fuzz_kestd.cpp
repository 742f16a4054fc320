// Fuzzes kestd in-process: byte streams on one connection go through the
// server's own frame parser (its source is compiled into this file) and the
// service's handlers, with no state file. Every frame that comes back must be
// well formed, and every whole request frame must get its answer unless the
// stream turned bad, in which case the connection must be closed.
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>

#include "kestd_server.cpp"
#include "kestd_msg.h"
#include "fuzz_input.h"

namespace {

using namespace kestd_loop;

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "fuzz check failed: %s\n", what);
    std::abort();
}

void require(bool ok, const char *what)
{
    if (!ok)
        fail(what);
}

constexpr size_t kHead = sizeof(kest_frame_header);
constexpr size_t kMaxOps = 64;

// What the client side of the connection has seen.
struct client_view {
    std::vector<uint8_t> pending; // bytes of a frame not yet whole
    size_t responses = 0;
    size_t control_responses = 0;
};

uint32_t indication_size(uint32_t msg_id)
{
    switch (msg_id) {
    case KEST_WIFI_STA_STATUS_IND:
        return sizeof(wifi_sta_status_ind);
    case KEST_WIFI_AP_STA_IND:
        return sizeof(wifi_ap_sta_ind);
    case KEST_DATA_CALL_STATUS_IND:
        return sizeof(data_call_status_ind);
    default:
        return 0;
    }
}

// One frame that kestd sent.
void check_frame(const kest_frame_header &h, client_view &v)
{
    require(kest_frame_header_ok(h), "kestd sends good headers");
    switch (h.kind) {
    case KEST_FRAME_RESPONSE: {
        ++v.responses;
        const kestd_msg_row *row = kestd_find_row(h.msg_id);
        if (h.status == 0)
            require(row != nullptr && h.len == row->resp_size, "a response is the whole record");
        else
            require(h.len == 0, "a refused frame has no payload");
        break;
    }
    case KEST_FRAME_INDICATION:
        require(h.txn == 0 && h.len == indication_size(h.msg_id) && h.len != 0,
                "an indication is one of the three records");
        break;
    case KEST_FRAME_CONTROL_RESPONSE:
        ++v.control_responses;
        break;
    default:
        fail("kestd sends responses, indications and control responses only");
    }
}

void take_frames(std::vector<uint8_t> &bytes, client_view &v)
{
    size_t at = 0;
    while (bytes.size() - at >= kHead) {
        kest_frame_header h;
        std::memcpy(&h, bytes.data() + at, kHead);
        require(kest_frame_header_ok(h), "kestd sends good headers");
        if (bytes.size() - at - kHead < h.len)
            break;
        check_frame(h, v);
        at += kHead + h.len;
    }
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

void drain(int fd, client_view &v)
{
    uint8_t buf[65536];
    for (;;) {
        const ssize_t r = ::recv(fd, buf, sizeof buf, MSG_DONTWAIT);
        if (r <= 0)
            break;
        v.pending.insert(v.pending.end(), buf, buf + r);
    }
    take_frames(v.pending, v);
}

// The frames a client sent, read independently of the server: up to the
// first frame that the server must refuse, or the end of the whole ones.
struct sent_view {
    size_t requests = 0;
    size_t controls = 0;
    bool bad = false;   // a frame the server must close the connection for
    bool muted = false; // a control text that may silence the service
};

sent_view walk(const std::vector<uint8_t> &stream)
{
    sent_view s;
    size_t at = 0;
    while (stream.size() - at >= kHead) {
        kest_frame_header h;
        std::memcpy(&h, stream.data() + at, kHead);
        if (!kest_frame_header_ok(h) ||
            (h.kind != KEST_FRAME_REQUEST && h.kind != KEST_FRAME_CONTROL)) {
            s.bad = true;
            break;
        }
        if (stream.size() - at - kHead < h.len)
            break;
        if (h.kind == KEST_FRAME_REQUEST) {
            ++s.requests;
        } else {
            ++s.controls;
            const std::string_view text(reinterpret_cast<const char *>(stream.data() + at + kHead),
                                        h.len);
            s.muted = s.muted || text.find("mute") != std::string_view::npos;
        }
        at += kHead + h.len;
    }
    return s;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int sock[2] = {-1, -1};
    if (sock[0] < 0)
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, sock) == 0, "socketpair");
    static kestd_service svc;
    std::string why;
    require(kestd_service_start(svc, "", why), "kestd starts with the defaults");

    server s(svc, kestd_limits{});
    // The fuzzer runs as the service's user: its control commands are taken.
    s.conns.push_back(std::make_unique<connection>());
    connection &c = *s.conns.front();
    c.id = 1;
    c.fd = sock[0];
    c.uid = ::geteuid();
    std::vector<uint8_t> stream; // everything the client sent
    client_view view;
    uint32_t txn = 1;

    auto feed = [&](const uint8_t *p, size_t n) {
        if (c.dead || n == 0)
            return;
        c.in.insert(c.in.end(), p, p + n);
        stream.insert(stream.end(), p, p + n);
        parse(s, c);
        release_due(s);
        drain(sock[1], view);
    };

    fz::reader in{data, size};
    uint8_t op = 0;
    for (size_t ops = 0; ops < kMaxOps && !c.dead && in.head(op);) {
        ++ops;
        size_t got = 0;
        switch (op % 3) {
        case fz::kRaw: {
            uint16_t n = 0;
            in.head(n);
            const uint8_t *bytes = in.run(n, got);
            feed(bytes, got);
            break;
        }
        case fz::kRequest: {
            uint8_t msg_id = 0;
            uint16_t len = 0, cut = 0;
            in.head(msg_id);
            in.head(len);
            in.head(cut);
            if (len == 0xffff) {
                const kestd_msg_row *row = kestd_find_row(msg_id);
                len = row ? static_cast<uint16_t>(row->req_size) : 0;
            }
            std::vector<uint8_t> payload(len, 0);
            const uint8_t *bytes = in.run(len, got);
            if (got != 0)
                std::memcpy(payload.data(), bytes, got);
            const auto frame =
                kest_frame_bytes(KEST_FRAME_REQUEST, txn++, msg_id, 0, payload.data(), len, 0);
            const size_t first = cut != 0 && cut < frame.size() ? cut : frame.size();
            feed(frame.data(), first);
            feed(frame.data() + first, frame.size() - first);
            break;
        }
        default: {
            uint8_t n = 0;
            in.head(n);
            const uint8_t *bytes = in.run(n, got);
            const auto frame = kest_frame_bytes(KEST_FRAME_CONTROL, txn++, 1, 0, bytes,
                                                static_cast<uint32_t>(got));
            feed(frame.data(), frame.size());
            break;
        }
        }
        // A live connection keeps less than one whole frame.
        if (!c.dead && c.in.size() >= kHead) {
            kest_frame_header h;
            std::memcpy(&h, c.in.data(), kHead);
            require(c.in.size() - kHead < h.len, "a whole frame left unparsed");
        }
    }

    // The end of the stream: a frame cut short closes the connection.
    const sent_view sent = walk(stream);
    require(c.dead == sent.bad, "a connection is closed exactly when a frame is bad");
    flush(c);
    drain(sock[1], view);
    if (sent.bad)
        return 0; // closed: what was queued for it is dropped
    const size_t answered = view.responses + s.waiting.size();
    require(view.control_responses == sent.controls, "every control frame is answered");
    if (sent.muted)
        require(answered <= sent.requests, "no answer without a request");
    else
        require(answered == sent.requests, "every request frame is answered");
    require(view.pending.empty(), "kestd's frames arrive whole");
    return 0;
}
