// vg-mgmt config export | schema | diff | apply, and the Ansible module entry.
#include "config_cmd.h"
#include "config_ansible.h"

#include <CLI/CLI.hpp>

#include <fstream>
#include <sstream>

#include "config_confirm.h"
#include "config_history.h"
#include "config_report.h"
#include "config_safe.h"
#include "config_schema.h"
#include "config_session.h"
#include "vg_mgmt_docs.h"

namespace vgcfg {

namespace {

struct options {
    std::string socket;
    std::string state_dir;
    std::string file;
    bool show_secrets = false;
    bool json_out = false;
    bool check = false;
    unsigned confirm = 0;
    bool stats = false;
};

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
    std::optional<json> doc = read_document(o.file, problem);
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
                e.value("when", "?").c_str(), e.value("changes", json(0)).dump().c_str(),
                e.value("applied", "?").c_str());
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
    char *ob = nullptr, *eb = nullptr;
    size_t ol = 0, el = 0;
    FILE *o = open_memstream(&ob, &ol), *e = open_memstream(&eb, &el);
    const int status = command(o, e);
    fclose(o);
    fclose(e);
    const json j = {
        {"status", status}, {"output", lines_of(ob, ol)}, {"messages", lines_of(eb, el)}};
    free(ob);
    free(eb);
    fprintf(out, "%s\n", j.dump(2, ' ', false, json::error_handler_t::replace).c_str());
    return status;
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

// The commands of the safe apply: recover, confirm, history, rollback, and
// the watcher that apply --confirm starts.
struct safety_cmds {
    CLI::App *recover, *confirm, *watch, *history, *rollback;
    size_t back = 1;
};

void add_safety(CLI::App &app, CLI::App *apply, std::initializer_list<CLI::App *> others,
                options &o, safety_cmds &c)
{
    c.recover = app.add_subcommand("recover", vgm::config_verb_help("recover"));
    c.confirm = app.add_subcommand("confirm", vgm::config_verb_help("confirm"));
    c.watch = app.add_subcommand("watch-confirm", "")->group("");
    c.history = app.add_subcommand("history", vgm::config_verb_help("history"));
    c.history->add_flag("--json", o.json_out, "the list as JSON");
    c.rollback = app.add_subcommand("rollback", vgm::config_verb_help("rollback"));
    c.rollback->add_option("N", c.back, "the N-th apply back (default 1: the last)")
        ->check(CLI::Range(1, 10));
    for (CLI::App *sub : {c.rollback, apply})
        sub->add_option("--confirm", o.confirm,
                        "revert by itself after SECONDS unless 'config confirm' comes")
            ->check(CLI::Range(1u, 86400u));
    app.add_option("--state-dir", o.state_dir,
                   "the private folder of journals (default: /var/lib/vg-mgmt for root, else "
                   "$XDG_STATE_HOME/vg-mgmt or ~/.local/state/vg-mgmt)");
    for (CLI::App *sub : {c.recover, c.confirm, c.rollback})
        sub->add_flag("--json", o.json_out, "the result and messages as one JSON object on stdout");
    for (CLI::App *sub : {c.recover, c.confirm, c.history, c.rollback}) {
        sub->add_option("--socket", o.socket, "the service's socket (else VG_KEST_SOCKET)");
        sub->add_option("--state-dir", o.state_dir, "the private folder of journals");
    }
    for (CLI::App *sub : others)
        sub->add_option("--state-dir", o.state_dir, "the private folder of journals");
}

// The exit status of the safe apply's command given, -1 when none was.
int run_safety(const options &o, const safety_cmds &c, FILE *out, FILE *err)
{
    if (c.rollback->parsed())
        return cmd_apply(o, out, err, c.back); // reports as apply does, --json included
    if (c.recover->parsed() || c.confirm->parsed()) {
        auto run = [&](FILE *to, FILE *errs) {
            return c.recover->parsed() ? cmd_recover(o, to, errs) : cmd_confirm(o, to, errs, false);
        };
        return o.json_out ? as_json(out, run) : run(out, err);
    }
    if (c.history->parsed())
        return cmd_history(o, out, err);
    if (c.watch->parsed())
        return cmd_confirm(o, out, err, true);
    return -1;
}

} // namespace

} // namespace vgcfg

int vg_mgmt_config_run(int argc, char **argv, FILE *out, FILE *err)
{
    using namespace vgcfg;
    options o;
    CLI::App app{"The module's whole configuration as one JSON document.", "vg-mgmt config"};
    app.add_option("--socket", o.socket, "the service's socket (else VG_KEST_SOCKET)");
    app.add_flag("--stats", o.stats, "print the calls made and the time taken on stderr");
    app.require_subcommand(1);
    CLI::App *exp = app.add_subcommand("export", vgm::config_verb_help("export"));
    exp->add_flag("--show-secrets", o.show_secrets,
                  "passwords and keys in clear, not " + std::string(kSecretMask));
    app.add_subcommand("schema", vgm::config_verb_help("schema"));
    CLI::App *diff = app.add_subcommand("diff", vgm::config_verb_help("diff"));
    diff->add_option("FILE", o.file, "the document ('-': stdin)")->required();
    diff->add_flag("--json", o.json_out, "the changes, or the error, as one JSON object");
    CLI::App *validate_cmd = app.add_subcommand("validate", vgm::config_verb_help("validate"));
    validate_cmd->add_option("FILE", o.file, "the document ('-': stdin)")->required();
    CLI::App *apply = app.add_subcommand("apply", vgm::config_verb_help("apply"));
    const char *statuses =
        "Exit statuses: 0 done or nothing to do, 1 refused and undone, 2 wrong arguments or\n"
        "problems in FILE, 3 no service, 6 changes pending (--check), 7 refused and the\n"
        "undo incomplete, 8 interrupted by a signal and undone, 9 another apply is in\n"
        "progress on this module (refused at once; nothing was sent).";
    app.footer(statuses);
    apply->footer(statuses);
    apply->add_option("FILE", o.file, "the document ('-': stdin)")->required();
    apply->add_flag("--check", o.check,
                    "send nothing; exit 6 when changes are pending, 0 when none");
    for (CLI::App *sub : {apply, validate_cmd})
        sub->add_flag("--json", o.json_out, "the result, or the error, as one JSON object");
    safety_cmds safety;
    add_safety(app, apply, {exp, diff, apply}, o, safety);
    std::string args_file;
    CLI::App *ansible = app.add_subcommand("ansible", vgm::config_verb_help("ansible"));
    ansible->add_option("ARGS", args_file, "the JSON arguments file that Ansible wrote")
        ->required();
    for (CLI::App *sub : {exp, diff, apply})
        sub->add_option("--socket", o.socket, "the service's socket (else VG_KEST_SOCKET)");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        if (auto mistake = vgm::config_mistake(argc, argv); mistake && e.get_exit_code() != 0) {
            fprintf(err, "vg-mgmt config: %s\nusage: %s\n", mistake->c_str(),
                    vgm::usage_line(std::vector<std::string>{"config"}).c_str());
            return vgm::EXIT_USAGE;
        }
        std::ostringstream o_out, o_err;
        const int code = app.exit(e, o_out, o_err);
        fputs(o_out.str().c_str(), out);
        fputs(o_err.str().c_str(), err);
        return code == 0 ? vgm::EXIT_DONE : vgm::EXIT_USAGE;
    }
    if (ansible->parsed())
        return vg_mgmt_config_ansible(args_file.c_str(), out);
    if (exp->parsed())
        return cmd_export(o, out, err);
    if (diff->parsed())
        return cmd_diff(o, out, err);
    if (apply->parsed())
        return cmd_apply(o, out, err);
    if (validate_cmd->parsed())
        return cmd_validate(o, out, err);
    if (const int status = run_safety(o, safety, out, err); status >= 0)
        return status;
    fprintf(out, "%s\n", make_schema().dump(2).c_str());
    return vgm::EXIT_DONE;
}
