// Routes: POST /api (JSON-RPC), GET /api/events (Server-Sent Events),
// GET /metrics, and the page's files. One thread per connection, bounded in
// number overall and per address; a client that idles is dropped.
#include "webd_http.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <microhttpd.h>
#include <netdb.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "webd_rpc.h"

namespace webd {

namespace {

constexpr size_t kMaxStaticFile = 512 * 1024;

struct upload {
    std::string body;
    bool too_large = false;
};

const char *header(MHD_Connection *con, enum MHD_ValueKind kind, const char *name)
{
    const char *v = MHD_lookup_connection_value(con, kind, name);
    return v != nullptr ? v : "";
}

std::string address_of(MHD_Connection *con)
{
    const MHD_ConnectionInfo *ci = MHD_get_connection_info(con, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    char text[INET6_ADDRSTRLEN] = "?";
    if (ci != nullptr && ci->client_addr != nullptr) {
        const sockaddr *sa = ci->client_addr;
        const void *raw =
            sa->sa_family == AF_INET6
                ? static_cast<const void *>(&reinterpret_cast<const sockaddr_in6 *>(sa)->sin6_addr)
                : static_cast<const void *>(&reinterpret_cast<const sockaddr_in *>(sa)->sin_addr);
        inet_ntop(sa->sa_family, raw, text, sizeof text);
    }
    return text;
}

request request_of(MHD_Connection *con)
{
    return request{address_of(con),
                   header(con, MHD_COOKIE_KIND, "vg_session"),
                   header(con, MHD_HEADER_KIND, "X-CSRF-Token"),
                   header(con, MHD_HEADER_KIND, "Origin"),
                   header(con, MHD_HEADER_KIND, "Host"),
                   header(con, MHD_HEADER_KIND, "Last-Event-ID")};
}

// Every answer: no sniffing, no framing, nothing from elsewhere, no referrer.
void harden(MHD_Response *r, bool cache)
{
    MHD_add_response_header(r, "X-Content-Type-Options", "nosniff");
    MHD_add_response_header(r, "X-Frame-Options", "DENY");
    MHD_add_response_header(r, "Referrer-Policy", "no-referrer");
    MHD_add_response_header(r, "Content-Security-Policy",
                            "default-src 'self'; img-src 'self' data:; frame-ancestors 'none'; "
                            "form-action 'self'; base-uri 'none'");
    MHD_add_response_header(r, "Cache-Control", cache ? "no-cache" : "no-store");
}

MHD_Result send(MHD_Connection *con, unsigned status, const std::string &body, const char *type,
                const reply *rp = nullptr)
{
    MHD_Response *r = MHD_create_response_from_buffer(body.size(), const_cast<char *>(body.data()),
                                                      MHD_RESPMEM_MUST_COPY);
    if (r == nullptr)
        return MHD_NO;
    MHD_add_response_header(r, "Content-Type", type);
    harden(r, std::strcmp(type, "application/json") != 0);
    if (rp != nullptr && !rp->set_cookie.empty())
        MHD_add_response_header(r, "Set-Cookie", rp->set_cookie.c_str());
    if (rp != nullptr && rp->retry_after > 0)
        MHD_add_response_header(r, "Retry-After", std::to_string(rp->retry_after).c_str());
    const MHD_Result q = MHD_queue_response(con, status, r);
    MHD_destroy_response(r);
    return q;
}

MHD_Result send_error(MHD_Connection *con, unsigned status, const std::string &message)
{
    return send(con, status, vgm::dump_json(json{{"error", message}}) + "\n", "application/json");
}

const char *type_of(const std::string &name)
{
    const std::string ext = name.substr(name.rfind('.') + 1);
    return ext == "html"  ? "text/html; charset=utf-8"
           : ext == "js"  ? "text/javascript; charset=utf-8"
           : ext == "css" ? "text/css; charset=utf-8"
           : ext == "svg" ? "image/svg+xml"
           : ext == "png" ? "image/png"
                          : "application/octet-stream";
}

// A file of the page's folder: a plain name, a regular file, not a link.
MHD_Result send_file(console &c, MHD_Connection *con, const std::string &url)
{
    const std::string name = url == "/" ? "index.html" : url.substr(1);
    bool plain = !name.empty() && name[0] != '.' && name.size() <= 64;
    for (char ch : name)
        plain = plain &&
                ((ch >= 'a' && ch <= 'z') || (ch >= '0' && ch <= '9') || ch == '.' || ch == '-');
    const int fd = plain ? ::open((c.set.www + "/" + name).c_str(),
                                  O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK)
                         : -1;
    struct stat st {};
    if (fd < 0 || ::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) ||
        st.st_size > static_cast<off_t>(kMaxStaticFile)) {
        if (fd >= 0)
            ::close(fd);
        return send_error(con, MHD_HTTP_NOT_FOUND, "no such page");
    }
    std::string body(static_cast<size_t>(st.st_size), '\0');
    const ssize_t n = ::read(fd, body.data(), body.size());
    ::close(fd);
    body.resize(n > 0 ? static_cast<size_t>(n) : 0);
    return send(con, MHD_HTTP_OK, body, type_of(name));
}

bool metrics_allowed(console &c, MHD_Connection *con)
{
    const std::string auth = header(con, MHD_HEADER_KIND, "Authorization");
    if (!c.metrics_token.empty() && auth.rfind("Bearer ", 0) == 0 &&
        same_token(auth.substr(7), c.metrics_token))
        return true;
    return session_of(c, request_of(con)).has_value();
}

} // namespace

// The event stream of a client with a session, counted in c.streams already
// (webd_http_events.cpp).
MHD_Result send_events(console &c, MHD_Connection *con, const request &rq);

namespace {

MHD_Result route_get(console &c, MHD_Connection *con, const std::string &url)
{
    if (url == "/api/events") {
        const request rq = request_of(con);
        if (!session_of(c, rq))
            return send_error(con, MHD_HTTP_UNAUTHORIZED, "no session: log in first");
        if (++c.streams > kMaxEventStreams) {
            --c.streams;
            return send_error(con, MHD_HTTP_SERVICE_UNAVAILABLE, "too many event streams are open");
        }
        return send_events(c, con, rq);
    }
    if (url == "/metrics")
        return metrics_allowed(c, con) ? send(con, MHD_HTTP_OK, metrics_text(c),
                                              "text/plain; version=0.0.4; charset=utf-8")
                                       : send_error(con, MHD_HTTP_UNAUTHORIZED,
                                                    "a session or the metrics token is needed");
    if (url == "/api")
        return send_error(con, MHD_HTTP_METHOD_NOT_ALLOWED, "POST a JSON-RPC 2.0 call here");
    return send_file(c, con, url);
}

// POST /api: the body is gathered (within kMaxBody) and then answered.
MHD_Result route_post(console &c, MHD_Connection *con, const char *data, size_t *size, void **state)
{
    auto *up = static_cast<upload *>(*state);
    if (*size != 0) {
        if (up->body.size() + *size > kMaxBody)
            up->too_large = true, up->body.clear();
        else
            up->body.append(data, *size);
        *size = 0;
        return MHD_YES;
    }
    if (up->too_large)
        return send_error(con, MHD_HTTP_CONTENT_TOO_LARGE, "the body is larger than 1088 KiB");
    const reply rp = handle_rpc(c, request_of(con), up->body);
    return send(con, static_cast<unsigned>(rp.http), rp.body, "application/json", &rp);
}

MHD_Result on_request(void *cls, MHD_Connection *con, const char *url, const char *method,
                      const char *, const char *data, size_t *size, void **state)
{
    console &c = *static_cast<console *>(cls);
    const std::string m = method, u = url;
    if (m == "POST" && u == "/api") {
        if (*state == nullptr) {
            const char *length =
                MHD_lookup_connection_value(con, MHD_HEADER_KIND, "Content-Length");
            if (length != nullptr && std::strtoull(length, nullptr, 10) > kMaxBody)
                return send_error(con, MHD_HTTP_CONTENT_TOO_LARGE,
                                  "the body is larger than 1088 KiB");
            *state = new upload;
            return MHD_YES;
        }
        return route_post(c, con, data, size, state);
    }
    if (m == "GET" || m == "HEAD")
        return route_get(c, con, u);
    return send_error(con, m == "POST" ? MHD_HTTP_NOT_FOUND : MHD_HTTP_METHOD_NOT_ALLOWED,
                      "GET the page, POST to /api");
}

void on_completed(void *, MHD_Connection *, void **state, enum MHD_RequestTerminationCode)
{
    delete static_cast<upload *>(*state);
    *state = nullptr;
}

bool parse_listen(const std::string &listen, sockaddr_storage &addr, std::string &problem)
{
    const size_t colon = listen.rfind(':');
    std::string host = colon == std::string::npos ? "" : listen.substr(0, colon);
    const std::string port = colon == std::string::npos ? "" : listen.substr(colon + 1);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    addrinfo hints{}, *res = nullptr;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    if (host.empty() || port.empty() || getaddrinfo(host.c_str(), port.c_str(), &hints, &res) != 0)
        return problem = "--listen " + listen + ": give ADDRESS:PORT (127.0.0.1:8080, [::1]:8080)",
               false;
    std::memcpy(&addr, res->ai_addr, res->ai_addrlen);
    freeaddrinfo(res);
    return true;
}

} // namespace

bool http_server::start(const std::string &cert_pem, const std::string &key_pem,
                        std::string &problem)
{
    sockaddr_storage addr{};
    if (!parse_listen(c_.set.listen, addr, problem))
        return false;
    cert_ = cert_pem, key_ = key_pem;
    c_.tls = !cert_.empty();
    unsigned flags =
        MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_ERROR_LOG;
    flags |= addr.ss_family == AF_INET6 ? MHD_USE_IPv6 : 0;
    flags |= c_.tls ? MHD_USE_TLS : 0;
    MHD_OptionItem tls_options[] = {
        {MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char *>(cert_.c_str())},
        {MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char *>(key_.c_str())},
        {MHD_OPTION_END, 0, nullptr}};
    MHD_OptionItem none[] = {{MHD_OPTION_END, 0, nullptr}};
    d_ = MHD_start_daemon(
        flags, 0, nullptr, nullptr, &on_request, &c_, MHD_OPTION_SOCK_ADDR, &addr,
        MHD_OPTION_CONNECTION_LIMIT, c_.set.max_clients, MHD_OPTION_PER_IP_CONNECTION_LIMIT,
        c_.set.max_per_address, MHD_OPTION_CONNECTION_TIMEOUT, c_.set.client_timeout,
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, kMaxHeaderBytes * 2, MHD_OPTION_THREAD_STACK_SIZE,
        static_cast<size_t>(256 * 1024), MHD_OPTION_NOTIFY_COMPLETED, &on_completed, nullptr,
        MHD_OPTION_ARRAY, c_.tls ? tls_options : none, MHD_OPTION_END);
    if (d_ == nullptr)
        return problem =
                   "cannot listen on " + c_.set.listen + " (in use, or not this machine's address)",
               false;
    const MHD_DaemonInfo *info = MHD_get_daemon_info(d_, MHD_DAEMON_INFO_BIND_PORT);
    std::string host = c_.set.listen.substr(0, c_.set.listen.rfind(':'));
    url_ = std::string(c_.tls ? "https://" : "http://") + host + ":" +
           std::to_string(info != nullptr ? info->port : 0);
    return true;
}

void http_server::stop()
{
    if (d_ != nullptr)
        MHD_stop_daemon(d_);
    d_ = nullptr;
}

http_server::~http_server()
{
    stop();
}

} // namespace webd
