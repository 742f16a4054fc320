// vg-mgmt config export | schema | diff | apply, and the Ansible module entry.
#include "config_cmd.h"
#include "config_ansible.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <sstream>
#include <vector>

#include "config_confirm.h"
#include "config_history.h"
#include "vg_mgmt_output_escape.h"
#include "config_report.h"
#include "config_safe.h"
#include "config_schema.h"
#include "config_session.h"
#include "vg_mgmt_docs.h"
#include "vg_mgmt_output.h"

namespace vgcfg {

namespace {

void print_stats(const options &o, const session &s, FILE *err)
{
    if (o.stats)
        fprintf(err, "%s\n", s.stats().c_str());
}

// Opens the service and restores what an apply that did not finish left.
int open_settled(const options &o, const report &rep, guard &g, session &s)
{
    std::string problem;
    guard_open(g, o.state_dir, o.socket, false, problem);
    if (!s.open_and_read(o.socket))
        return rep.fail(s.status, s.problem);
    bool found = false;
    return recover_unfinished(g, s, rep.err, found);
}

int cmd_export(const options &o, FILE *out, FILE *err)
{
    guard g;
    session s;
    if (const int status = open_settled(o, report{out, err}, g, s); status != vgm::EXIT_DONE)
        return status;
    fprintf(out, "%s\n", to_document(s.before, o.show_secrets).dump(2).c_str());
    print_stats(o, s, err);
    return vgm::EXIT_DONE;
}

// Reads and checks the document; reports every problem.
std::optional<json> checked_document(const options &o, const report &rep)
{
    std::string problem;
    std::optional<json> doc =
        o.document ? parse_document(*o.document, o.file, problem) : read_document(o.file, problem);
    if (!doc) {
        rep.fail(vgm::EXIT_USAGE, problem);
        return std::nullopt;
    }
    const std::vector<std::string> problems = validate(*doc);
    if (problems.empty())
        return doc;
    rep.fail(vgm::EXIT_USAGE,
             std::to_string(problems.size()) + " problem(s) in " + o.file + "; nothing was sent:",
             problems);
    return std::nullopt;
}

// The checked document and the configuration as the service has it; the
// exit status when either cannot be had (the reason is reported).
int document_and_current(const options &o, const report &rep, json &doc, session &s, guard &g)
{
    std::optional<json> checked = checked_document(o, rep);
    if (!checked)
        return vgm::EXIT_USAGE;
    doc = std::move(*checked);
    return open_settled(o, rep, g, s);
}

// Every problem the document alone shows; nothing is read from the service.
int cmd_validate(const options &o, FILE *out, FILE *err)
{
    const report rep{out, err, o.json_out};
    if (!checked_document(o, rep))
        return vgm::EXIT_USAGE;
    if (!o.json_out)
        fprintf(out, "%s: no problem found\n", o.file.c_str());
    return rep.result(vgm::EXIT_DONE, json{{"problems", json::array()}});
}

int cmd_diff(const options &o, FILE *out, FILE *err)
{
    json doc;
    guard g;
    session s;
    const report rep{out, err, o.json_out};
    if (const int status = document_and_current(o, rep, doc, s, g); status != vgm::EXIT_DONE)
        return status;
    const plan p = make_plan(doc, s.before);
    if (!p.problems.empty())
        return rep.fail(vgm::EXIT_USAGE, "the document cannot be applied as it is:", p.problems);
    json changes = json::array();
    for (const step &st : p.steps)
        for (const change &c : st.changes) {
            if (o.json_out)
                changes.push_back(change_json(c));
            else
                fprintf(out, "%s\n", change_line(c).c_str());
        }
    print_stats(o, s, err);
    return rep.result(vgm::EXIT_DONE, json{{"changes", changes}});
}

// apply FILE, or rollback N (the values the N-th apply back replaced).
int cmd_apply(const options &o, FILE *out, FILE *err, size_t rollback = 0)
{
    json doc;
    const signal_hold held; // before the service is opened: every thread holds the signals back
    guard g;
    session s;
    const report rep{out, err, o.json_out};
    if (rollback == 0) {
        std::optional<json> checked = checked_document(o, rep);
        if (!checked)
            return vgm::EXIT_USAGE;
        doc = std::move(*checked);
    }
    std::string problem;
    if (const int status = guard_open(g, o.state_dir, o.socket, !o.check, problem);
        status != vgm::EXIT_DONE)
        return rep.fail(status, problem);
    const std::string back = "rollback " + std::to_string(rollback);
    if (rollback != 0) {
        std::optional<json> replaced = history_document(g.st, rollback);
        if (!replaced)
            return rep.fail(vgm::EXIT_USAGE,
                            "no apply " + std::to_string(rollback) +
                                " back in the history of this module (vg-mgmt config history)");
        doc = std::move(*replaced);
    }
    if (!s.open_and_read(o.socket))
        return rep.fail(s.status, s.problem);
    bool found = false;
    if (const int status = recover_unfinished(g, s, err, found); status != vgm::EXIT_DONE)
        return status;
    const apply_result r = o.check
                               ? apply_document(s, doc, true)
                               : guarded_apply(g, s, doc, o.confirm, rollback != 0 ? back : o.file);
    print_stats(o, s, err);
    if (r.status == vgm::EXIT_USAGE)
        return rep.fail(r.status, r.message, r.lines);
    if (!o.json_out) {
        for (const std::string &l : r.lines)
            fprintf(out, "%s\n", l.c_str());
        fprintf(r.status == vgm::EXIT_DONE || r.status == vgm::EXIT_PENDING ? out : err, "%s\n",
                r.message.c_str());
    }
    return rep.result(r.status,
                      json{{"changed", r.changed}, {"message", r.message}, {"changes", r.lines}});
}

// The state folder of the module, for the commands that need no service.
bool open_state(const options &o, guard &g, FILE *err)
{
    std::string problem;
    if (!o.socket.empty())
        setenv("VG_KEST_SOCKET", o.socket.c_str(), 1);
    if (g.st.open(o.state_dir.empty() ? state_dir_default() : o.state_dir, problem))
        return true;
    report{nullptr, err}.fail(vgm::EXIT_USAGE, problem);
    return false;
}

// confirm, and the watcher: the state folder only, no service for confirm.
int cmd_confirm(const options &o, FILE *out, FILE *err, bool watcher)
{
    guard g;
    if (!open_state(o, g, err))
        return vgm::EXIT_USAGE;
    g.locked = watcher; // the watcher holds the apply lock it inherited
    return watcher ? watch_confirm(g) : confirm_now(g, out, err);
}

int cmd_history(const options &o, FILE *out, FILE *err)
{
    guard g;
    if (!open_state(o, g, err))
        return vgm::EXIT_USAGE;
    const std::vector<json> list = history_list(g.st);
    if (o.json_out)
        fprintf(out, "%s\n", json{{"history", list}}.dump(2).c_str());
    for (const json &e : o.json_out ? std::vector<json>{} : list)
        fprintf(out, "%-3s %s  %s change(s)  replaced by %s\n", e["n"].dump().c_str(),
                vgm::escape_text(e.value("when", "?")).c_str(),
                e.value("changes", json(0)).dump().c_str(),
                vgm::escape_text(e.value("applied", "?")).c_str());
    if (list.empty() && !o.json_out)
        fprintf(out, "no apply in the history of this module\n");
    return vgm::EXIT_DONE;
}

std::vector<std::string> lines_of(const char *buf, size_t len)
{
    std::vector<std::string> lines;
    std::string text(buf != nullptr ? buf : "", len);
    for (size_t at = 0; at < text.size();) {
        const size_t nl = text.find('\n', at);
        const size_t end = nl == std::string::npos ? text.size() : nl;
        const std::string line = text.substr(at, end - at);
        lines.push_back(line.rfind("vg-mgmt config: ", 0) == 0 ? line.substr(16) : line);
        at = end + 1;
    }
    return lines;
}

// --json of confirm, recover and rollback: what the command would print, as
// one object on stdout: {"status", "output": [lines], "messages": [lines]}.
template <class F>
int as_json(FILE *out, F &&command)
{
    const vgm::captured c = vgm::capture(command);
    const json j = {{"status", c.status},
                    {"output", lines_of(c.out.data(), c.out.size())},
                    {"messages", lines_of(c.err.data(), c.err.size())}};
    fprintf(out, "%s\n", j.dump(2, ' ', false, json::error_handler_t::replace).c_str());
    return c.status;
}

int cmd_recover(const options &o, FILE *out, FILE *err)
{
    const signal_hold held;
    guard g;
    session s;
    std::string problem;
    const report rep{out, err};
    if (const int status = guard_open(g, o.state_dir, o.socket, true, problem);
        status != vgm::EXIT_DONE)
        return rep.fail(status, problem);
    if (!s.open_and_read(o.socket))
        return rep.fail(s.status, s.problem);
    bool found = false;
    const int status = recover_unfinished(g, s, err, found);
    if (!found)
        fprintf(out, "nothing to recover: no apply was left unfinished\n");
    return status;
}

int cmd_schema(const options &, FILE *out, FILE *)
{
    fprintf(out, "%s\n", make_schema().dump(2).c_str());
    return vgm::EXIT_DONE;
}

int cmd_apply_file(const options &o, FILE *out, FILE *err)
{
    return cmd_apply(o, out, err);
}

int cmd_rollback(const options &o, FILE *out, FILE *err)
{
    return cmd_apply(o, out, err, o.back); // reports as apply does, --json included
}

int cmd_confirm_now(const options &o, FILE *out, FILE *err)
{
    return cmd_confirm(o, out, err, false);
}

int cmd_revert(const options &o, FILE *out, FILE *err)
{
    guard g;
    if (!open_state(o, g, err))
        return vgm::EXIT_USAGE;
    return revert_now(g, out, err);
}

int cmd_watch(const options &o, FILE *out, FILE *err)
{
    return cmd_confirm(o, out, err, true);
}

int cmd_ansible(const options &o, FILE *out, FILE *)
{
    return vg_mgmt_config_ansible(o.args_file.c_str(), out);
}

using verb_fn = int (*)(const options &, FILE *, FILE *);

// With --json, what the command would print as one object (as_json).
template <verb_fn F>
int json_or_text(const options &o, FILE *out, FILE *err)
{
    auto run = [&o](FILE *to, FILE *errs) { return F(o, to, errs); };
    return o.json_out ? as_json(out, run) : run(out, err);
}

// Each verb: its word, the words of its argument (positional, or none), and
// what runs it.
struct verb_row {
    const char *verb;
    const char *arg;
    verb_fn run;
};
constexpr verb_row kVerbRows[] = {
    {"export", nullptr, cmd_export},
    {"schema", nullptr, cmd_schema},
    {"diff", "FILE", cmd_diff},
    {"apply", "FILE", cmd_apply_file},
    {"validate", "FILE", cmd_validate},
    {"confirm", nullptr, json_or_text<cmd_confirm_now>},
    {"revert", nullptr, json_or_text<cmd_revert>},
    {"recover", nullptr, json_or_text<cmd_recover>},
    {"history", nullptr, cmd_history},
    {"rollback", nullptr, cmd_rollback},
    {"ansible", "ARGS", cmd_ansible},
    {"watch-confirm", nullptr, cmd_watch}, // the watcher that apply --confirm starts
};

// "'config diff', 'apply' or 'validate'": the verbs a user may give.
std::string verb_list(const char *verbs)
{
    std::vector<std::string> v;
    std::istringstream in(verbs);
    for (std::string w; in >> w;)
        if (w != "watch-confirm")
            v.push_back(w);
    std::string s;
    for (size_t i = 0; i < v.size(); ++i)
        s += (i == 0 ? "'config " : i + 1 == v.size() ? " or '" : ", '") + v[i] + "'";
    return s;
}

} // namespace

void add_config(CLI::App *config, options &o)
{
    config->add_flag("--stats", o.stats);
    config->add_option("--state-dir", o.state_dir);
    config->add_flag("--check", o.check);
    config->add_option("--confirm", o.confirm)->check(CLI::Range(1u, 86400u));
    for (const verb_row &v : kVerbRows) {
        CLI::App *sub = config->add_subcommand(v.verb, vgm::config_verb_help(v.verb));
        sub->fallthrough(); // options of config and vg-mgmt after the verb too
        if (v.arg != nullptr)
            sub->add_option(v.arg, std::string(v.arg) == "ARGS" ? o.args_file : o.file)->required();
    }
    config->get_subcommand("rollback")->add_option("N", o.back)->check(CLI::Range(1, 10));
}

std::string misplaced_option(const CLI::App &root, const CLI::App &config)
{
    const std::string verb = config.get_subcommands().at(0)->get_name();
    for (const CLI::App *app : {&root, &config})
        for (const CLI::Option *opt : app->get_options()) {
            const std::string name = opt->get_name();
            if (opt->count() == 0 || name == "--version")
                continue;
            const vgm::config_option *row = vgm::config_option_row(name);
            if (row == nullptr)
                return name + " is not an option of config";
            if (vgm::config_option_takes(*row, verb))
                continue;
            return name + " is an option of " + verb_list(row->verbs) + " only";
        }
    return "";
}

int run_config(const CLI::App &config, const options &o, FILE *out, FILE *err)
{
    return run_verb(config.get_subcommands().at(0)->get_name(), o, out, err);
}

int run_verb(const std::string &verb, const options &o, FILE *out, FILE *err)
{
    try {
        for (const verb_row &v : kVerbRows)
            if (verb == v.verb)
                return v.run(o, out, err);
    } catch (const std::exception &e) { // every failure is a message and a status, never an abort
        fprintf(err, "vg-mgmt config: cannot go on: %s\n", e.what());
    }
    return vgm::EXIT_USAGE;
}

} // namespace vgcfg
