// vg-mgmt config ansible ARGS: the module side of the Ansible collection.
// Ansible writes the task's arguments as one JSON object into a file; the
// module prints one JSON object with changed, msg, diff (in diff mode) and
// failed when the task fails.
#include <fstream>

#include "config_cmd.h"
#include "config_safe.h"
#include "config_session.h"

namespace vgcfg {

namespace {

struct task {
    json doc;
    std::string socket;
    bool check = false;
    bool diff = false;
};

std::optional<task> read_task(const char *args_file, std::string &problem)
{
    std::optional<json> args = read_document(args_file, problem);
    if (!args)
        return std::nullopt;
    task t;
    t.check = args->value("_ansible_check_mode", false);
    t.diff = args->value("_ansible_diff", false);
    if (args->contains("socket") && (*args)["socket"].is_string())
        t.socket = (*args)["socket"].get<std::string>();
    const bool inline_doc = args->contains("config") && !(*args)["config"].is_null();
    const bool path_doc = args->contains("src") && !(*args)["src"].is_null();
    if (inline_doc == path_doc) {
        problem = "give the document either inline (config) or as a path on the module (src)";
        return std::nullopt;
    }
    if (path_doc) {
        std::optional<json> doc = read_document((*args)["src"].get<std::string>(), problem);
        if (!doc)
            return std::nullopt;
        t.doc = *doc;
    } else if ((*args)["config"].is_string()) { // a document passed as text
        try {
            t.doc = json::parse((*args)["config"].get<std::string>());
        } catch (const json::parse_error &e) {
            problem = std::string("config: not JSON: ") + e.what();
            return std::nullopt;
        }
    } else {
        t.doc = (*args)["config"];
    }
    return t;
}

int answer(FILE *out, json result)
{
    fprintf(out, "%s\n", result.dump().c_str());
    return result.value("failed", false) ? 1 : 0;
}

json failure(const std::string &msg, const std::vector<std::string> &details = {})
{
    json r = json{{"failed", true}, {"changed", false}, {"msg", msg}};
    if (!details.empty())
        r["problems"] = details;
    return r;
}

} // namespace

} // namespace vgcfg

int vg_mgmt_config_ansible(const char *args_file, FILE *out)
{
    using namespace vgcfg;
    std::string problem;
    const std::optional<task> t = read_task(args_file, problem);
    if (!t)
        return answer(out, failure(problem));
    const std::vector<std::string> problems = validate(t->doc);
    if (!problems.empty())
        return answer(out, failure(std::to_string(problems.size()) + " problem(s) in the document: " +
                                       problems.front(),
                                   problems));
    const signal_hold held; // a time-out or a dropped session ends in an undo, as for apply
    guard g;
    session s;
    if (guard_open(g, "", t->socket, !t->check, problem) != VG_CONFIG_OK)
        return answer(out, failure(problem));
    if (!s.open_and_read(t->socket))
        return answer(out, failure(s.problem));
    bool found = false;
    if (recover_unfinished(g, s, stderr, found) != VG_CONFIG_OK)
        return answer(out, failure("an unfinished apply left changes that could not be restored"));
    const apply_result r = t->check ? apply_document(s, t->doc, true) : guarded_apply(g, s, t->doc, 0, "ansible");
    json result = json{{"changed", r.changed}, {"msg", r.message}, {"changes", r.lines}};
    if (t->diff)
        result["diff"] = json{{"before", r.before}, {"after", r.after}};
    if (r.status != VG_CONFIG_OK && r.status != VG_CONFIG_PENDING) {
        result["failed"] = true;
        if (r.status == VG_CONFIG_USAGE)
            result["problems"] = r.lines;
    }
    return answer(out, result);
}
