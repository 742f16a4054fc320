// vg-webd: the module's web console and HTTP API over the same settings
// model and configuration code as vg-mgmt. What every part of it shares.
#pragma once

#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "vg_mgmt_output.h"
#include "webd_events.h"
#include "webd_sessions.h"
#include "webd_users.h"

namespace webd {

struct settings {
    std::string socket;     // --socket, else VG_KEST_SOCKET, else the default
    std::string state_dir;  // --state-dir: vg-mgmt config's, shared with it
    std::string users_file; // --users
    std::string listen = "127.0.0.1:8080";
    std::string cert, key; // --cert, --key: TLS
    std::string www;       // the page's folder
    std::string audit_log; // --audit-log: every change, who and which paths
    std::string metrics_token_file;
    unsigned idle_seconds = 15 * 60, session_seconds = 8 * 3600;
    unsigned client_timeout = 30; // a client that sends nothing for so long is dropped
    unsigned max_clients = 64, max_per_address = 16;
    unsigned default_confirm = 90; // config.apply's window when the call names none
};

// The limits of what a client may send.
constexpr size_t kMaxBody = 1024 * 1024 + 64 * 1024; // a whole document and its call
constexpr size_t kMaxHeaderBytes = 16 * 1024;
constexpr unsigned kMaxEventStreams = 16;

struct console {
    explicit console(settings s);

    settings set;
    bool tls = false;
    std::vector<user> users;
    std::string metrics_token;
    sessions sess;
    login_throttle throttle;
    event_bus bus;
    std::mutex config_mu; // one configuration command at a time
    std::mutex audit_mu;
    std::mutex counts_mu;
    std::map<std::string, unsigned long> applies; // by result, for /metrics
    std::atomic<unsigned> streams{0};             // open event streams
    std::atomic<bool> service_up{false};

    // One line in the audit log: when, who, from where, what, which paths.
    void audit(const std::string &who, const std::string &address, const std::string &what,
               const std::vector<std::string> &paths, int status);
};

} // namespace webd
