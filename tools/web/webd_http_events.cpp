// GET /api/events: the bus as Server-Sent Events, for as long as the session
// lives; a comment every 15 s keeps proxies from closing a quiet stream.
#include <microhttpd.h>

#include <cstdlib>
#include <cstring>

#include "webd_rpc.h"

namespace webd {

namespace {

struct stream {
    console &c;
    std::string token;
    uint64_t seq;
    std::string pending; // formatted and not yet handed out
    size_t at = 0;
};

ssize_t read_events(void *cls, uint64_t, char *buf, size_t max)
{
    auto *s = static_cast<stream *>(cls);
    while (s->at == s->pending.size()) {
        if (s->c.bus.stopped() || !s->c.sess.alive(s->token))
            return MHD_CONTENT_READER_END_OF_STREAM;
        s->pending.clear();
        s->at = 0;
        const std::vector<event> got = s->c.bus.after(s->seq, 15000);
        for (const event &e : got) {
            s->pending += "id: " + std::to_string(e.seq) + "\nevent: " + e.kind +
                          "\ndata: " + e.data + "\n\n";
            s->seq = e.seq;
        }
        if (got.empty())
            s->pending = ": still here\n\n";
    }
    const size_t n = std::min(max, s->pending.size() - s->at);
    std::memcpy(buf, s->pending.data() + s->at, n);
    s->at += n;
    return static_cast<ssize_t>(n);
}

void end_stream(void *cls)
{
    auto *s = static_cast<stream *>(cls);
    --s->c.streams;
    delete s;
}

} // namespace

MHD_Result send_events(console &c, MHD_Connection *con, const request &rq)
{
    // A stream that comes back names the last event it saw: what it missed
    // meanwhile (and the ring still holds) is sent first.
    const uint64_t last = c.bus.last_seq();
    const uint64_t seen = std::strtoull(rq.last_event_id.c_str(), nullptr, 10);
    auto *s = new stream{c, rq.cookie, seen != 0 && seen <= last ? seen : last, "", 0};
    MHD_Response *r =
        MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, 4096, &read_events, s, &end_stream);
    if (r == nullptr) {
        end_stream(s);
        return MHD_NO;
    }
    MHD_add_response_header(r, "Content-Type", "text/event-stream");
    MHD_add_response_header(r, "Cache-Control", "no-store");
    MHD_add_response_header(r, "X-Content-Type-Options", "nosniff");
    const MHD_Result q = MHD_queue_response(con, MHD_HTTP_OK, r);
    MHD_destroy_response(r);
    return q;
}

} // namespace webd
