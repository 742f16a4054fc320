// The configuration's methods: each runs the verb of vg-mgmt config that
// does the same, in-process and with --json, under the console's one lock;
// changes are audited (paths, never values) and published as events.
#include <cstdlib>

#include "config_cmd.h"
#include "config_confirm.h"
#include "config_schema.h"
#include "config_session.h"
#include "vg_mgmt_status.h"
#include "webd_call.h"

namespace webd {

namespace {

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
json answer_of(call &k, const vgm::captured &r)
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
        k, vgm::capture([&](FILE *out, FILE *err) { return vgcfg::run_verb(verb, o, out, err); }));
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

} // namespace

json module_status(bool secrets, double wait_s, int &status, std::string &why)
{
    const vgm::captured r = vgm::capture([&](FILE *out, FILE *err) {
        return vgm::run_status(vgm::output{out, err, true, secrets, false}, wait_s);
    });
    status = r.status;
    why = first_message(r.err);
    const json s = json::parse(r.out, nullptr, false);
    return s.is_object() ? s : json();
}

bool show_secrets(call &k)
{
    const bool asked = k.params.value("show_secrets", false);
    if (asked && k.who->r != role::admin)
        return k.fail(403, "only an admin may see secrets", nullptr, 403), false;
    return asked;
}

json m_status(call &k)
{
    const bool secrets = show_secrets(k);
    if (k.failed)
        return nullptr;
    int status = 0;
    std::string why;
    const json s = module_status(secrets, 0.5, status, why);
    return s.is_object() ? s : k.fail(status, why, {{"status", status}});
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
    if (!seconds.is_number_integer() || seconds.get<long long>() < 0 ||
        seconds.get<long long>() > 86400)
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
    if (!n.is_number_integer() || n.get<long long>() < 1 || n.get<long long>() > 10)
        return k.fail(-32602, "params.n: which apply back, 1 (the last) to 10");
    o.back = n.get<size_t>();
    return change_verb(k, "rollback", o, "applied");
}

} // namespace webd
