// vg-mgmt config export | schema | diff | apply, and the Ansible module entry.
#include "config_cmd.h"

#include <CLI/CLI.hpp>

#include <fstream>
#include <sstream>

#include "config_schema.h"
#include "config_session.h"
#include "vg_mgmt_docs.h"

namespace vgcfg {

namespace {

struct options {
    std::string socket;
    std::string file;
    bool show_secrets = false;
    bool json_out = false;
    bool check = false;
    bool stats = false;
};

void print_stats(const options &o, const session &s, FILE *err)
{
    if (o.stats)
        fprintf(err, "%s\n", s.stats().c_str());
}

int fail(FILE *err, int status, const std::string &why)
{
    fprintf(err, "vg-mgmt config: %s\n", why.c_str());
    return status;
}

int cmd_export(const options &o, FILE *out, FILE *err)
{
    session s;
    if (!s.open_and_read(o.socket))
        return fail(err, s.status, s.problem);
    fprintf(out, "%s\n", to_document(s.before, o.show_secrets).dump(2).c_str());
    print_stats(o, s, err);
    return VG_CONFIG_OK;
}

// Reads and checks the document; prints every problem.
std::optional<json> checked_document(const options &o, FILE *err)
{
    std::string problem;
    std::optional<json> doc = read_document(o.file, problem);
    if (!doc) {
        fail(err, VG_CONFIG_USAGE, problem);
        return std::nullopt;
    }
    const std::vector<std::string> problems = validate(*doc);
    if (problems.empty())
        return doc;
    fprintf(err, "vg-mgmt config: %zu problem(s) in %s; nothing was sent:\n", problems.size(), o.file.c_str());
    for (const std::string &p : problems)
        fprintf(err, "  %s\n", p.c_str());
    return std::nullopt;
}

// The checked document and the configuration as the service has it; the
// exit status when either cannot be had (the reason is printed).
int document_and_current(const options &o, FILE *err, json &doc, session &s)
{
    std::optional<json> checked = checked_document(o, err);
    if (!checked)
        return VG_CONFIG_USAGE;
    doc = std::move(*checked);
    if (!s.open_and_read(o.socket))
        return fail(err, s.status, s.problem);
    return VG_CONFIG_OK;
}

int cmd_diff(const options &o, FILE *out, FILE *err)
{
    json doc;
    session s;
    if (const int status = document_and_current(o, err, doc, s); status != VG_CONFIG_OK)
        return status;
    const plan p = make_plan(doc, s.before);
    for (const std::string &pr : p.problems)
        fprintf(err, "  %s\n", pr.c_str());
    if (!p.problems.empty())
        return fail(err, VG_CONFIG_USAGE, "the document cannot be applied as it is");
    json changes = json::array();
    for (const step &st : p.steps)
        for (const change &c : st.changes) {
            if (o.json_out)
                changes.push_back(change_json(c));
            else
                fprintf(out, "%s\n", change_line(c).c_str());
        }
    if (o.json_out)
        fprintf(out, "%s\n", json{{"changes", changes}}.dump(2).c_str());
    print_stats(o, s, err);
    return VG_CONFIG_OK;
}

int cmd_apply(const options &o, FILE *out, FILE *err)
{
    json doc;
    session s;
    if (const int status = document_and_current(o, err, doc, s); status != VG_CONFIG_OK)
        return status;
    const apply_result r = apply_document(s, doc, o.check);
    FILE *lines_to = r.status == VG_CONFIG_USAGE ? err : out;
    for (const std::string &l : r.lines)
        fprintf(lines_to, "%s%s\n", r.status == VG_CONFIG_USAGE ? "  " : "", l.c_str());
    fprintf(r.status == VG_CONFIG_OK || r.status == VG_CONFIG_PENDING ? out : err, "%s\n", r.message.c_str());
    print_stats(o, s, err);
    return r.status;
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
    exp->add_flag("--show-secrets", o.show_secrets, "passwords and keys in clear, not " + std::string(secret_mask));
    app.add_subcommand("schema", vgm::config_verb_help("schema"));
    CLI::App *diff = app.add_subcommand("diff", vgm::config_verb_help("diff"));
    diff->add_option("FILE", o.file, "the document ('-': stdin)")->required();
    diff->add_flag("--json", o.json_out, "the changes as JSON");
    CLI::App *apply = app.add_subcommand("apply", vgm::config_verb_help("apply"));
    const char *statuses = "Exit statuses: 0 done or nothing to do, 1 refused and undone, 2 wrong arguments or\n"
                           "problems in FILE, 3 no service, 6 changes pending (--check), 7 refused and the\n"
                           "undo incomplete.";
    app.footer(statuses);
    apply->footer(statuses);
    apply->add_option("FILE", o.file, "the document ('-': stdin)")->required();
    apply->add_flag("--check", o.check, "send nothing; exit 6 when changes are pending, 0 when none");
    std::string args_file;
    CLI::App *ansible = app.add_subcommand("ansible", vgm::config_verb_help("ansible"));
    ansible->add_option("ARGS", args_file, "the JSON arguments file that Ansible wrote")->required();
    for (CLI::App *sub : {exp, diff, apply})
        sub->add_option("--socket", o.socket, "the service's socket (else VG_KEST_SOCKET)");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        if (auto mistake = vgm::config_mistake(argc, argv); mistake && e.get_exit_code() != 0) {
            fprintf(err, "vg-mgmt config: %s\nusage: %s\n", mistake->c_str(), vgm::usage_line(std::vector<std::string>{"config"}).c_str());
            return VG_CONFIG_USAGE;
        }
        std::ostringstream o_out, o_err;
        const int code = app.exit(e, o_out, o_err);
        fputs(o_out.str().c_str(), out);
        fputs(o_err.str().c_str(), err);
        return code == 0 ? VG_CONFIG_OK : VG_CONFIG_USAGE;
    }
    if (ansible->parsed())
        return vg_mgmt_config_ansible(args_file.c_str(), out);
    if (exp->parsed())
        return cmd_export(o, out, err);
    if (diff->parsed())
        return cmd_diff(o, out, err);
    if (apply->parsed())
        return cmd_apply(o, out, err);
    fprintf(out, "%s\n", make_schema().dump(2).c_str());
    return VG_CONFIG_OK;
}
