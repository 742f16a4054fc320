// The event loop of kestd.
#pragma once

struct kestd_service;

// Serves clients on `listen_fd` (non-blocking, listening) until `signal_fd`
// (a signalfd of SIGINT and SIGTERM) reports a signal. Closes every client
// connection before it returns; 0 on a clean stop.
int kestd_serve(kestd_service &svc, int listen_fd, int signal_fd);
