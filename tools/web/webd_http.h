// vg-webd's HTTP server (GNU libmicrohttpd): the routes, the limits on what
// a client may send and hold, and the page's static files.
#pragma once

#include <string>

#include "webd.h"

struct MHD_Daemon;

namespace webd {

class http_server {
public:
    explicit http_server(console &c) : c_(c) {}
    ~http_server();
    // Listens on c.set.listen (TLS with the cert and key given). False with problem.
    bool start(const std::string &cert_pem, const std::string &key_pem, std::string &problem);
    // The address it listens on, as a URL ("http://127.0.0.1:8080").
    std::string url() const { return url_; }
    void stop();

private:
    console &c_;
    MHD_Daemon *d_ = nullptr;
    std::string cert_, key_, url_;
};

// The metrics in Prometheus' text format (webd_metrics.cpp).
std::string metrics_text(console &c);

} // namespace webd
