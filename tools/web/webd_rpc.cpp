// JSON-RPC 2.0: the envelope, who may call what, the sessions' methods and
// the table of every method.
#include "webd_rpc.h"

#include "config_session.h"
#include "webd_call.h"

namespace webd {

namespace {

enum class need { anyone, viewer, admin };

using handler = json (*)(call &);

std::string cookie_value(const console &c, const std::string &token, long max_age)
{
    return "vg_session=" + token +
           "; Path=/; HttpOnly; SameSite=Strict; Max-Age=" + std::to_string(max_age) +
           (c.tls ? "; Secure" : "");
}

json session_json(const session_info &s)
{
    return {{"user", s.user}, {"role", role_name(s.r)}, {"csrf", s.csrf}};
}

json m_login(call &k)
{
    const std::string name = k.params.value("username", ""),
                      password = k.params.value("password", "");
    if (const long wait = k.c.throttle.wait_for(k.rq.address, name); wait > 0) {
        k.out.retry_after = wait;
        return k.fail(429, "too many failed logins: try again in " + std::to_string(wait) + " s",
                      nullptr, 429);
    }
    const std::optional<user> u = check_password(k.c.users, name, password);
    if (!u) {
        k.c.throttle.failed(k.rq.address, name);
        k.c.audit(name, k.rq.address, "login refused", {}, 1);
        return k.fail(401, "wrong user name or password", nullptr, 401);
    }
    k.c.throttle.succeeded(name);
    session_info info;
    const std::string token = k.c.sess.open(u->name, u->r, info);
    if (token.empty())
        return k.fail(500, "no random numbers to make a session", nullptr, 500);
    k.out.set_cookie = cookie_value(k.c, token, static_cast<long>(k.c.set.session_seconds));
    k.c.audit(u->name, k.rq.address, "login", {}, 0);
    return session_json(info);
}

json m_info(call &k)
{
    return session_json(*k.who);
}

json m_logout(call &k)
{
    k.c.sess.close(k.rq.cookie);
    k.out.set_cookie = cookie_value(k.c, "", 0);
    return json::object();
}

struct method_row {
    const char *name;
    need who;
    handler run;
    const char *help;
};
constexpr method_row kMethods[] = {
    {"session.login", need::anyone, m_login,
     "{username, password}: a session (cookie) and its CSRF token"},
    {"session.info", need::viewer, m_info, "the session's user, role and CSRF token"},
    {"session.logout", need::viewer, m_logout, "ends the session"},
    {"status", need::viewer, m_status, "how the module stands, as vg-mgmt status --json"},
    {"schema", need::viewer, m_schema, "the JSON Schema of the configuration document"},
    {"config.export", need::viewer, m_export, "{show_secrets} the configuration document"},
    {"config.validate", need::viewer, m_validate, "{document} every problem of a document"},
    {"config.diff", need::viewer, m_diff, "{document} what an apply would change"},
    {"config.apply", need::admin, m_apply, "{document, confirm} apply, reverted unless confirmed"},
    {"config.confirm", need::admin, m_confirm, "keep the change awaiting confirmation"},
    {"config.revert", need::admin, m_revert, "put back now what that change replaced"},
    {"config.history", need::viewer, m_history, "the last applies"},
    {"config.rollback", need::admin, m_rollback,
     "{n} apply back what the n-th apply back replaced"},
};

const method_row *method_named(const std::string &name)
{
    for (const method_row &m : kMethods)
        if (name == m.name)
            return &m;
    return nullptr;
}

bool same_origin(const console &c, const request &rq)
{
    return !rq.host.empty() && rq.origin == std::string(c.tls ? "https://" : "http://") + rq.host;
}

// Who may call: a session (401), its role (403), and for all but login and
// info, the session's CSRF token and this server's Origin (403).
void admit(call &k, const method_row &m)
{
    const std::string name = m.name;
    if (name == "session.login") {
        if (!k.rq.origin.empty() && !same_origin(k.c, k.rq))
            k.fail(403, "the request comes from another site (Origin)", nullptr, 403);
        return;
    }
    k.who = session_of(k.c, k.rq);
    if (!k.who)
        k.fail(401, "no session: log in first (session.login)", nullptr, 401);
    else if (name != "session.info" && (k.rq.csrf.empty() || !same_token(k.rq.csrf, k.who->csrf)))
        k.fail(403, "the X-CSRF-Token header is missing or not this session's", nullptr, 403);
    else if (name != "session.info" && !same_origin(k.c, k.rq))
        k.fail(403, "the request comes from another site (Origin)", nullptr, 403);
    else if (m.who == need::admin && k.who->r != role::admin)
        k.fail(403, "a viewer may read but not change anything", nullptr, 403);
}

std::string envelope(const json &id, const json &result, const std::optional<failure> &f)
{
    json j = {{"jsonrpc", "2.0"}, {"id", id}};
    if (!f) {
        j["result"] = result;
    } else {
        j["error"] = {{"code", f->code}, {"message", f->message}};
        if (!f->data.is_null())
            j["error"]["data"] = f->data;
    }
    return vgm::dump_json(j);
}

} // namespace

std::optional<session_info> session_of(console &c, const request &rq)
{
    return rq.cookie.empty() ? std::nullopt : c.sess.find(rq.cookie);
}

reply handle_rpc(console &c, const request &rq, const std::string &body)
{
    reply out;
    std::string problem;
    const std::optional<json> parsed = vgcfg::parse_document(body, "the request", problem);
    const json none = json::object();
    auto member = [&](const char *key) { return parsed->contains(key) ? parsed->at(key) : json(); };
    call run{c, rq, none, std::nullopt, out, std::nullopt};
    json id = nullptr, result, params;
    if (!parsed) {
        run.fail(-32700, problem);
    } else if (!parsed->is_object() || member("jsonrpc") != "2.0" ||
               !member("method").is_string() ||
               !(params = member("params").is_null() ? none : member("params")).is_object()) {
        run.fail(-32600, "not a JSON-RPC 2.0 request: {\"jsonrpc\": \"2.0\", \"id\", \"method\", "
                         "\"params\": {...}} (one call, not a batch)");
    } else {
        id = member("id");
        call k{c, rq, params, std::nullopt, out, std::nullopt};
        const method_row *m = method_named(member("method").get<std::string>());
        try {
            if (m == nullptr)
                k.fail(-32601, "no method " + vgm::dump_json(member("method")) +
                                   " (session.login, status, config.apply, ...)");
            else if (admit(k, *m); !k.failed)
                result = m->run(k);
        } catch (const json::exception &) { // a param of another type than the method takes
            k.fail(-32602,
                   "params: a value of the wrong type (vg-webd(8) tells each method's params)");
        }
        run.failed = k.failed;
    }
    out.http = run.failed ? run.failed->http : 200;
    out.body = envelope(id, result, run.failed);
    return out;
}

std::vector<method_doc> method_docs()
{
    std::vector<method_doc> docs;
    for (const method_row &m : kMethods)
        docs.push_back({m.name,
                        m.who == need::anyone  ? "anyone"
                        : m.who == need::admin ? "admin"
                                               : "viewer",
                        m.help});
    return docs;
}

} // namespace webd
