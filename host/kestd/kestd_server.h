// The event loop of kestd.
#pragma once

#include <cstddef>

struct kestd_service;

// Clients connected at once, unless --max-clients says otherwise; one more
// is accepted, sent a KEST_FRAME_REFUSED and closed, with a line on stderr.
// One user other than root and the service's takes at most a quarter of
// them, and all such users together leave an eighth for those two.
inline constexpr size_t kKestdMaxClients = 64;
// Answers that one client may have waiting for their time (delay): while it
// has this many, its further requests stay unread in its socket.
inline constexpr size_t kKestdMaxDeferred = 256;
// The answers waiting for their time, of all clients together.
inline constexpr size_t kKestdMaxWaiting = 4096;
// A frame begun and not finished within this time ends its connection.
inline constexpr int kKestdFrameTimeLimitMs = 5000;

struct kestd_limits {
    size_t max_clients = kKestdMaxClients;
};

// Serves clients on `listen_fd` (non-blocking, listening) until `signal_fd`
// (a signalfd of SIGINT and SIGTERM) reports a signal. Closes every client
// connection before it returns; 0 on a clean stop.
int kestd_serve(kestd_service &svc, int listen_fd, int signal_fd, const kestd_limits &limits = {});
