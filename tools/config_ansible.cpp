// vg-mgmt config ansible ARGS: the module side of the Ansible collection.
// Ansible writes the task's arguments as one JSON object into a file; the
// module prints one JSON object with changed, msg, diff (in diff mode) and
// failed when the task fails.
#include <fstream>

#include "config_cmd.h"
#include "config_session.h"
#include "vg_mgmt_output.h"

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
    if (path_doc && !(*args)["src"].is_string()) {
        problem = "src: the path of the document on the module is needed";
        return std::nullopt;
    }
    if (path_doc) {
        std::optional<json> doc = read_document((*args)["src"].get<std::string>(), problem);
        if (!doc)
            return std::nullopt;
        t.doc = *doc;
    } else if ((*args)["config"].is_string()) { // a document passed as text
        std::optional<json> doc = parse_document((*args)["config"].get<std::string>(), "config", problem);
        if (!doc)
            return std::nullopt;
        t.doc = *doc;
    } else {
        t.doc = (*args)["config"];
    }
    return t;
}

int answer(FILE *out, json result)
{
    fprintf(out, "%s\n", vgm::dump_json(result).c_str());
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
    session s;
    if (!s.open_and_read(t->socket))
        return answer(out, failure(s.problem));
    const apply_result r = apply_document(s, t->doc, t->check);
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
