// vg-webd's API: JSON-RPC 2.0 at POST /api. Each method is a row: its name,
// who may call it, and what runs it; every change needs a session of an
// admin, the session's CSRF token and this server's own Origin.
#pragma once

#include <string>

#include "webd.h"

namespace webd {

struct request {
    std::string address;            // the client's address
    std::string cookie;             // the session token of the cookie, or ""
    std::string csrf;               // X-CSRF-Token
    std::string origin;             // Origin, or ""
    std::string host;               // Host
    std::string last_event_id = {}; // Last-Event-ID of an event stream that comes back
};

struct reply {
    int http = 200;
    std::string body;
    std::string set_cookie; // a Set-Cookie value, or ""
    long retry_after = 0;   // seconds, for 429
};

// Answers one call (a body of JSON-RPC 2.0; batches are refused).
reply handle_rpc(console &c, const request &rq, const std::string &body);

// The session of a request's cookie, for the other routes (events, metrics).
std::optional<session_info> session_of(console &c, const request &rq);

// The names of the methods, and which change something (for the manual page).
struct method_doc {
    const char *name;
    const char *who; // "anyone", "viewer", "admin"
    const char *help;
};
std::vector<method_doc> method_docs();

} // namespace webd
