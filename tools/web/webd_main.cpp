// vg-webd: the web console. Its command line, the passwd command, and the
// life of the server: start, wait for SIGTERM or SIGINT, finish what runs.
#include <fcntl.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "config_cmd.h"
#include "config_state.h"
#include "webd_http.h"
#include "webd_rpc.h"

#ifndef VG_WEBD_WWW
#define VG_WEBD_WWW "/usr/share/vg-webd/www"
#endif

namespace {

using namespace webd;

// A password from standard input: prompted twice, unseen, on a terminal.
bool read_password(std::string &password, std::string &problem)
{
    const bool tty = ::isatty(STDIN_FILENO) != 0;
    termios old{};
    if (tty && ::tcgetattr(STDIN_FILENO, &old) == 0) {
        termios quiet = old;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    std::string again;
    if (tty)
        std::fputs("new password: ", stderr);
    bool ok = static_cast<bool>(std::getline(std::cin, password));
    if (tty) {
        std::fputs("\nagain: ", stderr);
        ok = ok && std::getline(std::cin, again);
        std::fputs("\n", stderr);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &old);
    }
    if (!ok)
        return problem = "no password on standard input", false;
    if (tty && again != password)
        return problem = "the two passwords differ; nothing was changed", false;
    problem = password_problem(password);
    return problem.empty();
}

int run_passwd(const std::string &users_file, const std::string &name, const std::string &role_word)
{
    std::string password, problem = name_problem(name);
    const std::optional<role> r = role_named(role_word);
    if (problem.empty() && !r)
        problem = "--role is admin or viewer";
    if (problem.empty() && read_password(password, problem) &&
        set_password(users_file, name, *r, password, problem)) {
        std::printf("%s: password of %s (%s) set\n", users_file.c_str(), name.c_str(),
                    role_name(*r));
        return 0;
    }
    std::fprintf(stderr, "vg-webd passwd: %s\n", problem.c_str());
    return 2;
}

// What the server needs before it listens: users with an admin, the TLS
// files, the metrics token. False with problem.
bool prepare(console &c, std::string &cert, std::string &key, std::string &problem)
{
    if (!load_users(c.set.users_file, c.users, problem))
        return false;
    bool admin = false;
    for (const user &u : c.users)
        admin = admin || u.r == role::admin;
    if (!admin)
        return problem = c.set.users_file +
                         " has no admin: there is no default password; add one with "
                         "'vg-webd passwd --users " +
                         c.set.users_file + " NAME --role admin'",
               false;
    if (c.set.cert.empty() != c.set.key.empty())
        return problem = "TLS needs both --cert and --key", false;
    if (!c.set.key.empty() && !read_private_file(c.set.key, 64 * 1024, key, problem))
        return false;
    if (!c.set.cert.empty()) {
        std::ifstream in(c.set.cert);
        cert.assign(std::istreambuf_iterator<char>(in), {});
        if (cert.empty())
            return problem = c.set.cert + ": cannot read the certificate", false;
    }
    if (!c.set.metrics_token_file.empty()) {
        if (!read_private_file(c.set.metrics_token_file, 4096, c.metrics_token, problem))
            return false;
        while (!c.metrics_token.empty() &&
               std::isspace(static_cast<unsigned char>(c.metrics_token.back())))
            c.metrics_token.pop_back();
        if (c.metrics_token.size() < 16)
            return problem = c.set.metrics_token_file + ": a token has at least 16 characters",
                   false;
    }
    // Before any thread reads them: status and the watcher take both from there.
    if (!c.set.socket.empty())
        ::setenv("VG_KEST_SOCKET", c.set.socket.c_str(), 1);
    if (!c.set.state_dir.empty())
        ::setenv("VG_MGMT_STATE_DIR", c.set.state_dir.c_str(), 1);
    return true;
}

int serve(const settings &s)
{
    sigset_t stop;
    sigemptyset(&stop);
    for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        sigaddset(&stop, sig);
    pthread_sigmask(SIG_BLOCK, &stop, nullptr); // every thread started from here holds them back
    console c(s);
    std::string cert, key, problem;
    if (!prepare(c, cert, key, problem)) {
        std::fprintf(stderr, "vg-webd: %s\n", problem.c_str());
        return 2;
    }
    event_source source(c.bus, vgcfg::state_dir_default());
    http_server server(c);
    if (!server.start(cert, key, problem)) {
        std::fprintf(stderr, "vg-webd: %s\n", problem.c_str());
        return 2;
    }
    std::printf("vg-webd listening on %s\n", server.url().c_str());
    std::fflush(stdout);
    // That line is all it prints there: a reader that goes away (vg-webd | head -1)
    // must not look like the end of an apply's output, which undoes the apply.
    if (const int null_fd = ::open("/dev/null", O_WRONLY | O_CLOEXEC); null_fd >= 0) {
        ::dup2(null_fd, STDOUT_FILENO);
        ::close(null_fd);
    }
    for (int sig = 0; sig != SIGINT && sig != SIGTERM;)
        sigwait(&stop, &sig);
    c.bus.stop();  // event streams end
    server.stop(); // requests under way finish first: a change is never cut in half
    return 0;
}

void add_server_options(CLI::App &app, settings &s)
{
    auto text = [&](const char *name, std::string &to, const char *arg, const char *help) {
        app.add_option(name, to, help)->option_text(arg);
    };
    auto number = [&](const char *name, unsigned &to, unsigned lo, unsigned hi, const char *help) {
        app.add_option(name, to, help)->check(CLI::Range(lo, hi))->option_text("N");
    };
    text("--users", s.users_file, "FILE", "the users file (vg-webd passwd writes it; 0600)");
    text("--listen", s.listen, "ADDR:PORT",
         "where to listen; port 0: any free one (default: 127.0.0.1:8080)");
    text("--socket", s.socket, "PATH",
         "the service's socket (default: VG_KEST_SOCKET, else the usual place)");
    text("--state-dir", s.state_dir, "DIR",
         "vg-mgmt config's state folder: the apply lock, journal, history");
    text("--cert", s.cert, "FILE", "TLS certificate (PEM); with --key, the console speaks HTTPS");
    text("--key", s.key, "FILE", "TLS private key (PEM, 0600)");
    text("--www", s.www, "DIR", "the page's folder, " VG_WEBD_WWW " unless given");
    text("--audit-log", s.audit_log, "FILE",
         "append a JSON line per change here (default: stderr)");
    text("--metrics-token-file", s.metrics_token_file, "FILE",
         "a file (0600) holding a token that GET /metrics takes as 'Authorization: Bearer'");
    number("--session-idle", s.idle_seconds, 1, 86400,
           "seconds until an unused session ends (default: 900)");
    number("--session-max", s.session_seconds, 1, 7 * 86400,
           "seconds until any session ends (default: 28800)");
    number("--client-timeout", s.client_timeout, 1, 600,
           "seconds a client may send nothing before it is dropped (default: 30)");
    number("--max-clients", s.max_clients, 4, 1024,
           "connections at once, 16 per address at most (default: 64)");
    std::string methods = "API methods (JSON-RPC 2.0 at POST /api; who may call):\n";
    for (const method_doc &m : method_docs())
        methods += std::string("  method ") + m.name + " (" + m.who + "): " + m.help + "\n";
    app.footer(methods + "Events: GET /api/events (Server-Sent Events). Metrics: GET /metrics.");
}

} // namespace

int main(int argc, char **argv)
{
    // The confirm watcher that an apply starts is this program again.
    if (argc == 5 && std::string(argv[1]) == "config" && std::string(argv[2]) == "--state-dir" &&
        std::string(argv[4]) == "watch-confirm") {
        vgcfg::options o;
        o.state_dir = argv[3];
        return vgcfg::run_verb("watch-confirm", o, stdout, stderr);
    }
    CLI::App app{"vg-webd: the module's web console and HTTP API (JSON-RPC 2.0 at POST /api)",
                 "vg-webd"};
    settings s;
    s.www = VG_WEBD_WWW;
    add_server_options(app, s);
    CLI::App *passwd = app.add_subcommand(
        "passwd", "set a user's password (read from stdin, or asked twice on a terminal)");
    std::string pw_users, pw_name, pw_role = "viewer";
    passwd->add_option("--users", pw_users, "the users file")->required();
    passwd->add_option("NAME", pw_name, "the user")->required();
    passwd->add_option("--role", pw_role, "admin or viewer (default: viewer)");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    if (passwd->parsed())
        return run_passwd(pw_users, pw_name, pw_role);
    if (s.users_file.empty()) {
        std::fprintf(stderr,
                     "vg-webd: --users FILE is needed: there is no default user nor password\n");
        return 2;
    }
    return serve(s);
}
