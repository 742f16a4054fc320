// The tasks of the vg.mgmt modules: config in each state, and facts.
#include "config_ansible.h"
#include "config_apply.h"
#include "config_safe.h"
#include "config_session.h"
#include "config_states.h"

namespace vgcfg {

namespace {

const ansible_module config_module{"vg.mgmt.config",
                                   {{"config", "raw"},
                                    {"confirm", "int"},
                                    {"running_config", "str"},
                                    {"socket", "path"},
                                    {"src", "path"},
                                    {"state", "str"}}};
const ansible_module facts_module{"vg.mgmt.facts", {{"socket", "path"}}};

struct task {
    json args;
    config_state state = config_state::merged;
    json doc; // the document given (config, src or running_config)
    bool check = false;
    bool diff = false;
};

bool offline(config_state s)
{
    return s == config_state::rendered || s == config_state::parsed;
}

// A document given as JSON text; why it is not JSON in problem.
std::optional<json> parse_text(const json &text, const char *why, std::string &problem)
{
    return parse_document(text.get<std::string>(), why, problem);
}

// The document of the task: inline (a dictionary or its JSON text), a file on
// the module, or the running_config text to parse.
std::optional<json> given_document(const task &t, std::string &problem)
{
    const bool inline_doc = option_given(t.args, "config"), path_doc = option_given(t.args, "src");
    if (t.state == config_state::parsed) {
        if (!option_given(t.args, "running_config")) {
            problem = "state is parsed but all of the following are missing: running_config";
            return std::nullopt;
        }
        return parse_text(t.args["running_config"], "running_config", problem);
    }
    if (t.state == config_state::gathered) {
        if (inline_doc || path_doc)
            problem = "parameters are mutually exclusive: state=gathered|config|src";
        return problem.empty() ? std::optional<json>(json::object()) : std::nullopt;
    }
    if (inline_doc && path_doc)
        problem = "parameters are mutually exclusive: config|src";
    else if (!inline_doc && !path_doc)
        problem = "one of the following is required: config, src";
    if (!problem.empty())
        return std::nullopt;
    if (path_doc)
        return read_json_file(t.args["src"].get<std::string>(), "src:", problem);
    const json &c = t.args["config"];
    if (!c.is_string())
        return c;
    return parse_text(c, "config", problem);
}

std::optional<task> read_task(const json &args, const ansible_module &m, std::string &problem)
{
    problem = check_options(args, m);
    if (!problem.empty())
        return std::nullopt;
    task t;
    t.args = args;
    t.check = args.value("_ansible_check_mode", json(false)) == true;
    t.diff = args.value("_ansible_diff", json(false)) == true;
    const std::string state = option_string(args, "state", "merged");
    const std::optional<config_state> s = state_named(state);
    if (!s) {
        problem =
            "value of state must be one of: " + std::string(state_names()) + ", got: " + state;
        return std::nullopt;
    }
    t.state = *s;
    if (&m == &facts_module)
        return t;
    std::optional<json> doc = given_document(t, problem);
    if (!doc)
        return std::nullopt;
    if (!doc->is_object()) {
        problem =
            std::string("the configuration document is a ") + doc->type_name() + ", not an object";
        return std::nullopt;
    }
    t.doc = std::move(*doc);
    numbers_from_text(t.doc);       // "{{ n + 1 }}" gives "6": a number where the field takes one
    if (!t.doc.contains("version")) // the task's document may leave it out
        t.doc["version"] = kDocumentVersion;
    return t;
}

json offline_result(const task &t)
{
    if (t.state == config_state::parsed)
        return json{{"changed", false}, {"parsed", mask_secrets(t.doc)}};
    json doc = t.doc;
    doc.erase("version");
    const json given = mask_secrets(doc);
    json rendered = json::array();
    for (const change &c : document_diff(restrict_to(defaults_document(), given), given))
        rendered.push_back(change_line(c));
    return json{{"changed", false}, {"rendered", rendered}};
}

// Through the safe apply (lock, journal, history; with confirm, reverted
// unless `vg-mgmt config confirm` comes in time), as config apply does.
json changing_result(const task &t, guard &g, session &s)
{
    const json target = state_target(t.state, t.doc, to_document(s.before, true));
    const unsigned confirm =
        option_given(t.args, "confirm") ? t.args["confirm"].get<unsigned>() : 0u;
    const apply_result r =
        t.check ? apply_document(s, target, true) : guarded_apply(g, s, target, confirm, "ansible");
    const json before = to_document(s.before, false);
    json result = json{{"changed", r.changed}, {"msg", r.message}};
    if (t.diff)
        result["diff"] = json{{"before", r.before}, {"after", r.after}};
    if (r.status == vgm::EXIT_DONE || r.status == vgm::EXIT_PENDING) {
        result["commands"] = r.lines;
        result["before"] = before;
        result["after"] = laid_over(before, r.after);
        return result;
    }
    result["failed"] = true;
    if (r.status == vgm::EXIT_USAGE)
        result["problems"] = r.lines;
    else if (r.status == vgm::EXIT_REFUSED)
        result["undone"] = r.lines;
    return result;
}

} // namespace

const std::vector<ansible_option> &internal_options()
{
    static const std::vector<ansible_option> o{{"_ansible_check_mode", "bool"},
                                               {"_ansible_diff", "bool"},
                                               {"_ansible_no_log", "bool"},
                                               {"_ansible_debug", "bool"},
                                               {"_ansible_module_name", "str"}};
    return o;
}

json ansible_task(const char *args_file)
{
    std::string problem;
    const std::optional<json> args = read_json_file(args_file, "the arguments file", problem);
    if (!args)
        return ansible_failure(problem, {});
    const std::string name =
        args->is_object() ? option_string(*args, "_ansible_module_name", "") : "";
    const bool facts = name == "vg.mgmt.facts" || name == "facts";
    const ansible_module &m = facts ? facts_module : config_module;
    const std::optional<task> t = read_task(*args, m, problem);
    if (!t)
        return ansible_failure(problem, {});
    if (!facts && t->state != config_state::gathered) {
        const std::vector<std::string> problems = validate(t->doc);
        if (!problems.empty())
            return ansible_failure(std::to_string(problems.size()) +
                                       " problem(s) in the document: " + problems.front(),
                                   problems);
    }
    if (offline(t->state))
        return offline_result(*t);
    const bool changing = !facts && t->state != config_state::gathered && !t->check;
    const signal_hold held; // a time-out or a dropped session ends in an undo, as for apply
    guard g;
    session s;
    const std::string socket = option_string(t->args, "socket", "");
    if (guard_open(g, "", socket, changing, problem) != vgm::EXIT_DONE)
        return ansible_failure(problem, {});
    if (!s.open_and_read(socket))
        return ansible_failure(s.problem, {});
    bool found = false;
    if (recover_unfinished(g, s, stderr, found) != vgm::EXIT_DONE)
        return ansible_failure("an unfinished apply left changes that could not be restored", {});
    if (facts)
        return json{{"changed", false},
                    {"ansible_facts", {{"vg_mgmt", to_document(s.before, false)}}}};
    if (t->state == config_state::gathered)
        return json{{"changed", false}, {"gathered", to_document(s.before, false)}};
    return changing_result(*t, g, s);
}

} // namespace vgcfg
