// The JSON-RPC methods: sessions, status and schema, and the configuration
// verbs run in-process as vg-mgmt config runs them with --json.
#include "webd_rpc.h"

#include <cstdlib>

#include "config_cmd.h"
#include "config_confirm.h"
#include "config_schema.h"
#include "config_session.h"
#include "vg_mgmt_status.h"

namespace webd {

namespace {

enum class need { anyone, viewer, admin };

struct failure {
    int code = 0;
    std::string message;
    json data;
    int http = 200;
};

struct call {
    console &c;
    const request &rq;
    const json &params;
    std::optional<session_info> who;
    reply &out;
    std::optional<failure> failed;

    json fail(int code, std::string message, json data = nullptr, int http = 200)
    {
        failed = failure{code, std::move(message), std::move(data), http};
        return nullptr;
    }
};

using handler = json (*)(call &);

// What a command prints into memory: its stdout and its stderr.
struct captured {
    int status = 0;
    std::string out, err;
};

template <class F>
captured capture(F &&run)
{
    char *ob = nullptr, *eb = nullptr;
    size_t ol = 0, el = 0;
    FILE *o = open_memstream(&ob, &ol), *e = open_memstream(&eb, &el);
    captured r;
    if (o != nullptr && e != nullptr)
        r.status = run(o, e);
    else
        r.status = vgm::EXIT_USAGE, r.err = "out of memory";
    if (o != nullptr)
        fclose(o);
    if (e != nullptr)
        fclose(e);
    r.out.assign(ob != nullptr ? ob : "", ol);
    r.err += std::string(eb != nullptr ? eb : "", el);
    free(ob);
    free(eb);
    return r;
}

// The first line of a command's messages, without the tool's prefix.
std::string first_message(const std::string &err)
{
    std::string line = err.substr(0, err.find('\n'));
    for (const char *prefix : {"vg-mgmt config: ", "vg-mgmt: "})
        if (line.rfind(prefix, 0) == 0)
            line.erase(0, std::string(prefix).size());
    return line.empty() ? "the command failed" : line;
}

// A result of the tool's --json as the call's result, or its error.
json answer_of(call &k, const captured &r)
{
    json obj = json::parse(r.out, nullptr, false);
    if (obj.is_discarded())
        obj = json();
    if (r.status == vgm::EXIT_DONE && !obj.is_null())
        return obj;
    if (obj.is_object() && obj.contains("error")) {
        const json &e = obj["error"];
        return k.fail(r.status, e.value("message", first_message(r.err)),
                      {{"status", r.status}, {"problems", e.value("problems", json::array())}});
    }
    std::string message = obj.is_object() && obj.contains("message")
                              ? obj["message"].get<std::string>()
                          : obj.is_object() && !obj.value("messages", json::array()).empty()
                              ? first_message(obj["messages"][0].get<std::string>())
                              : first_message(r.err);
    json data = obj.is_object() ? obj : json::object();
    data["status"] = r.status;
    return k.fail(r.status, message, data);
}

// The document a call gives: an object, or its text.
bool document_of(call &k, vgcfg::options &o)
{
    const json d = k.params.value("document", json());
    if (!d.is_object() && !d.is_string())
        return k.fail(-32602,
                      "params.document: the configuration document (an object, or its text)"),
               false;
    o.file = "the document";
    o.document = d.is_string() ? d.get<std::string>() : d.dump();
    return true;
}

json run_verb(call &k, const char *verb, vgcfg::options o)
{
    o.json_out = true;
    o.state_dir = k.c.set.state_dir;
    std::lock_guard lock(k.c.config_mu);
    return answer_of(
        k, capture([&](FILE *out, FILE *err) { return vgcfg::run_verb(verb, o, out, err); }));
}

std::vector<std::string> paths_of(const json &result)
{
    std::vector<std::string> paths;
    for (const json &line : result.value("changes", json::array()))
        if (line.is_string())
            paths.push_back(line.get<std::string>().substr(0, line.get<std::string>().find(": ")));
    return paths;
}

// A change: run, then audit (who, which paths, never a value) and publish.
json change_verb(call &k, const char *verb, vgcfg::options o, const char *event)
{
    json r = run_verb(k, verb, std::move(o));
    const int status = k.failed ? k.failed->code : vgm::EXIT_DONE;
    const json &shown = k.failed ? k.failed->data : r;
    k.c.audit(k.who->user, k.rq.address, verb, paths_of(shown), status);
    if (std::string(verb) == "apply" || std::string(verb) == "rollback") {
        std::lock_guard lock(k.c.counts_mu);
        ++k.c.applies[status != 0                     ? "failed"
                      : shown.value("changed", false) ? "changed"
                                                      : "unchanged"];
    }
    if (!k.failed && event != nullptr)
        k.c.bus.publish("config",
                        {{"what", event}, {"by", k.who->user}, {"changes", paths_of(shown)}});
    return r;
}

bool show_secrets(call &k)
{
    const bool asked = k.params.value("show_secrets", false);
    if (asked && k.who->r != role::admin)
        return k.fail(403, "only an admin may see secrets", nullptr, 403), false;
    return asked;
}

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

json m_status(call &k)
{
    const bool secrets = show_secrets(k);
    if (k.failed)
        return nullptr;
    const captured r = capture([&](FILE *out, FILE *err) {
        return vgm::run_status(vgm::output{out, err, true, secrets, false}, 0.5);
    });
    json s = json::parse(r.out, nullptr, false);
    if (s.is_discarded() || !s.is_object())
        return k.fail(r.status, first_message(r.err), {{"status", r.status}});
    vgcfg::state_store st;
    std::string problem;
    if (st.open(k.c.set.state_dir.empty() ? vgcfg::state_dir_default() : k.c.set.state_dir,
                problem))
        s["config"] = vgcfg::confirm_state(st);
    return s;
}

json m_schema(call &)
{
    return vgcfg::make_schema();
}

json m_export(call &k)
{
    vgcfg::options o;
    o.show_secrets = show_secrets(k);
    return k.failed ? nullptr : run_verb(k, "export", o);
}

json m_validate(call &k)
{
    vgcfg::options o;
    return document_of(k, o) ? run_verb(k, "validate", o) : nullptr;
}

json m_diff(call &k)
{
    vgcfg::options o;
    return document_of(k, o) ? run_verb(k, "diff", o) : nullptr;
}

json m_apply(call &k)
{
    vgcfg::options o;
    const json seconds = k.params.value("confirm", json(k.c.set.default_confirm));
    if (!seconds.is_number_unsigned() || seconds.get<unsigned long>() > 86400)
        return k.fail(-32602, "params.confirm: seconds to confirm in, 1 to 86400 (0: no confirm)");
    o.confirm = seconds.get<unsigned>();
    return document_of(k, o) ? change_verb(k, "apply", o, o.confirm != 0 ? nullptr : "applied")
                             : nullptr;
}

json m_confirm(call &k)
{
    return change_verb(k, "confirm", {}, "confirmed");
}

json m_revert(call &k)
{
    return change_verb(k, "revert", {}, nullptr); // the state folder's record tells the events
}

json m_history(call &k)
{
    return run_verb(k, "history", {});
}

json m_rollback(call &k)
{
    vgcfg::options o;
    const json n = k.params.value("n", json(1));
    if (!n.is_number_unsigned() || n.get<unsigned long>() < 1 || n.get<unsigned long>() > 10)
        return k.fail(-32602, "params.n: which apply back, 1 (the last) to 10");
    o.back = n.get<size_t>();
    return change_verb(k, "rollback", o, "applied");
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
    call k{c, rq, none, std::nullopt, out, std::nullopt};
    json id = nullptr, result;
    if (!parsed) {
        k.fail(-32700, problem);
    } else if (!parsed->is_object() || parsed->value("jsonrpc", "") != "2.0" ||
               !(*parsed)["method"].is_string() || !(parsed->value("params", none).is_object())) {
        k.fail(-32600, "not a JSON-RPC 2.0 request: {\"jsonrpc\": \"2.0\", \"id\", \"method\", "
                       "\"params\": {...}} (one call, not a batch)");
    } else {
        id = parsed->value("id", json());
        const json params = parsed->value("params", none);
        call run{c, rq, params, std::nullopt, out, std::nullopt};
        const method_row *m = method_named((*parsed)["method"].get<std::string>());
        if (m == nullptr)
            run.fail(-32601, "no method " + vgm::dump_json((*parsed)["method"]) +
                                 " (session.login, status, config.apply, ...)");
        else if (admit(run, *m); !run.failed)
            result = m->run(run);
        out.http = run.failed ? run.failed->http : 200;
        out.body = envelope(id, result, run.failed);
        return out;
    }
    out.http = 200;
    out.body = envelope(id, result, k.failed);
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
