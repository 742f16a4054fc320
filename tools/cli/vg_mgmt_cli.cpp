// vg-mgmt's command line: CLI11 parses it into the model's rows; an error
// names the wrong word (with the nearest right one) and prints one usage line.
#include "vg_mgmt_cli.h"
#include "vg_mgmt_secret.h"

#include "config_cmd.h"

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <map>

#include <CLI/CLI.hpp>

#include "kest_nearest.h"
#include "kest_proto.h"
#include "vg_mgmt_docs.h"
#include "vg_mgmt_events.h"
#include "vg_mgmt_run.h"
#include "vg_mgmt_status.h"

#ifndef VG_MGMT_VERSION
#define VG_MGMT_VERSION "0"
#endif

namespace vgm {
namespace {

// The variables CLI11 fills for one row.
struct binding {
    const command *cmd;
    std::vector<std::string> inst, values, query;
    std::vector<CLI::Option *> inst_opt, value_opt, query_opt;
};

struct parsed {
    output o;
    std::string socket;
    double wait_s = 0;
    bool version = false, man = false;
    std::deque<binding> rows;
    const binding *chosen = nullptr;
    events_options events;
    bool run_events = false, completion = false, status = false;
    std::string shell;
    std::vector<std::string> help_words;
    bool help = false;
    vgcfg::options config;
    CLI::App *config_app = nullptr;
};

CLI::App *child(CLI::App *parent, const std::string &name)
{
    for (CLI::App *sub : parent->get_subcommands({}))
        if (sub->get_name() == name)
            return sub;
    CLI::App *sub = parent->add_subcommand(name);
    sub->fallthrough();
    return sub;
}

std::vector<word> words_given(const std::vector<std::string> &v,
                              const std::vector<CLI::Option *> &opts)
{
    std::vector<word> w;
    for (size_t i = 0; i < v.size(); ++i)
        w.push_back(opts[i]->count() > 0 ? word(v[i]) : word());
    return w;
}

// --KEY-file FILE for a secret value option: the secret read from FILE ("-":
// stdin, asked for without echo on a terminal), never on the command line.
void add_secret_file(CLI::App *node, binding &b, size_t i)
{
    const std::string key = b.cmd->fields[i].key;
    CLI::Option *value = b.value_opt[i];
    CLI::Option *file = node->add_option_function<std::string>(
        "--" + key + "-file",
        [value, &b, i, key](const std::string &path) {
            std::string problem;
            if (value->count() > 0)
                throw CLI::ValidationError("--" + key + "-file",
                                           "give --" + key + " or --" + key + "-file, not both");
            const std::optional<std::string> secret = read_secret(path, key, problem);
            if (!secret)
                throw CLI::ValidationError("--" + key + "-file", problem);
            b.values[i] = *secret;
            value->add_result(*secret);
        },
        "read --" + key + " from FILE ('-': stdin, asked for on a terminal)");
    file->type_name("FILE");
}

void bind_row(CLI::App *app, parsed &p, const command &c)
{
    CLI::App *node = child(child(app, c.domain_word), c.subject);
    if (c.verb[0] != '\0')
        node = child(node, c.verb);
    binding &b = p.rows.emplace_back();
    b.cmd = &c;
    const auto inst = axis_fields(c.inst);
    b.inst.resize(inst.size());
    b.values.resize(c.fields.size());
    b.query.resize(c.query.size());
    for (size_t i = 0; i < inst.size(); ++i)
        b.inst_opt.push_back(node->add_option(inst[i].key, b.inst[i])->required());
    const bool input = c.k == kind::set || c.k == kind::run;
    for (size_t i = 0; i < c.fields.size(); ++i) {
        const field &f = c.fields[i];
        const bool positional = input && i < c.npos;
        CLI::Option *opt = node->add_option(
            positional ? std::string(f.key) : "--" + std::string(f.key), b.values[i]);
        if (!input)
            opt->group(""); // a get has no value options: keep them out of sight
        b.value_opt.push_back(opt);
    }
    for (size_t i = 0; i < c.fields.size(); ++i)
        if (input && c.fields[i].secret && i >= c.npos)
            add_secret_file(node, b, i);
    for (size_t i = 0; i < c.query.size(); ++i)
        b.query_opt.push_back(node->add_option("--" + std::string(c.query[i].key), b.query[i]));
    const binding *bp = &b;
    node->callback([&p, bp] { p.chosen = bp; });
}

// A number of seconds, 0 or more, in the tool's words when it is not.
std::string seconds(const std::string &w)
{
    char *end = nullptr;
    const double v = std::strtod(w.c_str(), &end);
    return end != w.c_str() && *end == '\0' && v >= 0
               ? std::string()
               : "'" + w + "' is not a number of seconds (0 or more)";
}

void build(CLI::App &app, parsed &p)
{
    app.set_help_flag("-h,--help");
    app.add_flag("--json", p.o.json);
    app.add_flag("--show-secrets", p.o.show_secrets);
    app.add_flag("--raw", p.o.raw);
    app.add_option("--socket", p.socket);
    app.add_option("--timeout", p.wait_s)->check(seconds);
    app.add_flag("--version", p.version);
    for (const command &c : commands())
        bind_row(&app, p, c);
    CLI::App *ev = child(&app, "events");
    ev->add_option("--count", p.events.count);
    ev->add_option("--timeout", p.events.timeout_s)->check(seconds);
    ev->add_flag("--exit-on-loss", p.events.exit_on_loss);
    ev->callback([&p] { p.run_events = true; });
    child(&app, "status")->callback([&p] { p.status = true; });
    CLI::App *comp = child(&app, "completion");
    comp->add_option("shell", p.shell)->required()->check([](const std::string &w) {
        return w == "bash" ? std::string() : kest_unknown_text("word", w, {"bash"});
    });
    comp->callback([&p] { p.completion = true; });
    p.config_app = child(&app, "config");
    vgcfg::add_config(p.config_app, p.config);
    CLI::App *help = child(&app, "help");
    help->add_flag("--man", p.man);
    help->add_option("words", p.help_words);
    help->callback([&p] { p.help = true; });
}

// The subcommand words CLI11 took, in order.
std::vector<std::string> chosen_words(CLI::App &app)
{
    std::vector<std::string> w;
    for (CLI::App *a = &app;;) {
        auto subs = a->get_subcommands();
        if (subs.empty())
            return w;
        a = subs[0];
        w.push_back(a->get_name());
    }
}

// The first of `words` that names no command at its place, with the nearest one.
std::optional<std::string> unknown_in(const std::vector<std::string> &words,
                                      std::vector<std::string> &prefix)
{
    prefix.clear();
    for (const std::string &w : words) {
        const auto next = next_words(prefix);
        if (next.empty() || prefix == std::vector<std::string>{"help"})
            return std::nullopt;
        if (std::find(next.begin(), next.end(), w) == next.end())
            return kest_unknown_text("word", w, next);
        prefix.push_back(w);
    }
    return std::nullopt;
}

// The first word of the command line that names no command at its place.
std::optional<std::string> unknown_word(int argc, char **argv, std::vector<std::string> &prefix)
{
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i) {
        const std::string w = argv[i];
        const config_option *row = config_option_row(w);
        if (w == "--timeout" || w == "--count" || (row != nullptr && row->arg[0] != '\0'))
            ++i;
        else if (!w.starts_with("-"))
            words.push_back(w);
    }
    return unknown_in(words, prefix);
}

// The first option of the command line that neither the tool nor the
// commands taken know, with the nearest one they do.
std::optional<std::string> unknown_option(int argc, char **argv, CLI::App &app)
{
    std::vector<std::string> names;
    for (CLI::App *a = &app; a != nullptr;) {
        for (const CLI::Option *o : a->get_options()) {
            for (const std::string &n : o->get_lnames())
                names.push_back("--" + n);
            for (const std::string &n : o->get_snames())
                names.push_back("-" + n);
        }
        const auto subs = a->get_subcommands();
        a = subs.empty() ? nullptr : subs[0];
    }
    for (int i = 1; i < argc; ++i) {
        const std::string w = std::string(argv[i]).substr(0, std::string(argv[i]).find('='));
        if (w == "--")
            break;
        if (w.size() > 1 && w[0] == '-' && std::find(names.begin(), names.end(), w) == names.end())
            return kest_unknown_text("option", w, names);
    }
    return std::nullopt;
}

std::string joined(const std::vector<std::string> &words)
{
    std::string s;
    for (const auto &w : words)
        s += (s.empty() ? "" : " ") + w;
    return s;
}

// One line that names the mistake, one usage line.
int parse_failure(const parsed &p, int argc, char **argv, CLI::App &app, const CLI::ParseError &e)
{
    std::vector<std::string> prefix;
    std::string msg, usage;
    if (auto unknown = unknown_word(argc, argv, prefix)) {
        msg = *unknown;
        usage = usage_line(prefix);
    } else {
        prefix = chosen_words(app);
        msg = e.what();
        const bool extras = e.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError);
        if (const size_t colon = msg.find(": "); extras && colon != std::string::npos)
            msg = unknown_option(argc, argv, app)
                      .value_or("unexpected word(s): " + msg.substr(colon + 2));
        const auto row = std::find_if(p.rows.begin(), p.rows.end(), [&](const binding &b) {
            return command_name(*b.cmd) == joined(prefix);
        });
        usage = row != p.rows.end() ? usage_line(*row->cmd) : usage_line(prefix);
        const bool config_verb = prefix.size() == 2 && prefix[0] == "config"; // "FILE is required"
        if (e.get_name() == "RequiredError" && row == p.rows.end() && !config_verb)
            msg = prefix.empty() ? "no command given"
                                 : "'" + prefix.back() + "' needs a further word";
    }
    if (!prefix.empty() && prefix[0] == "config") // in config's words, as its other refusals
        return std::fprintf(p.o.err, "vg-mgmt config: %s\nusage: %s\n", msg.c_str(), usage.c_str()),
               EXIT_USAGE;
    const int status = print_failure(p.o, "", usage_failure(msg));
    std::fprintf(p.o.err, "usage: %s\n", usage.c_str());
    return status;
}

void require_leaves(CLI::App *app)
{
    for (CLI::App *sub : app->get_subcommands({})) {
        if (!sub->get_subcommands({}).empty())
            sub->require_subcommand(1);
        require_leaves(sub);
    }
}

// config's verbs, with vg-mgmt's own options that they take.
int run_config_line(parsed &p, const CLI::App &app)
{
    if (const std::string why = vgcfg::misplaced_option(app, *p.config_app); !why.empty()) {
        std::fprintf(p.o.err, "vg-mgmt config: %s\n", why.c_str());
        return EXIT_USAGE;
    }
    p.config.socket = p.socket;
    p.config.json_out = p.o.json;
    p.config.show_secrets = p.o.show_secrets;
    return vgcfg::run_config(*p.config_app, p.config, p.o.out, p.o.err);
}

} // namespace
} // namespace vgm

int vg_mgmt_cli_run(int argc, char **argv, FILE *out, FILE *err)
{
    using namespace vgm;
    parsed p;
    p.o.out = out;
    p.o.err = err;
    CLI::App app{"vg-mgmt", "vg-mgmt"};
    build(app, p);
    require_leaves(&app);
    app.require_subcommand(1);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        print_help(out, chosen_words(app));
        return EXIT_DONE;
    } catch (const CLI::ParseError &e) {
        if (p.version)
            return std::fprintf(out, "vg-mgmt %s\n", VG_MGMT_VERSION), EXIT_DONE;
        return parse_failure(p, argc, argv, app, e);
    }
    if (p.version)
        return std::fprintf(out, "vg-mgmt %s\n", VG_MGMT_VERSION), EXIT_DONE;
    if (!p.socket.empty())
        setenv(KEST_SOCKET_ENV, p.socket.c_str(), 1);
    if (p.help) {
        std::vector<std::string> prefix;
        if (auto unknown = unknown_in(p.help_words, prefix)) {
            const int status = print_failure(p.o, "help", usage_failure(*unknown));
            std::fprintf(p.o.err, "usage: %s\n",
                         usage_line(std::vector<std::string>{"help"}).c_str());
            return status;
        }
        if (p.man)
            print_manpage(out);
        else
            print_help(out, p.help_words);
        return EXIT_DONE;
    }
    if (p.completion)
        return print_bash_completion(out), EXIT_DONE;
    if (p.config_app->parsed())
        return run_config_line(p, app);
    if (p.run_events)
        return run_events(p.o, p.events, p.wait_s);
    if (p.status)
        return run_status(p.o, p.wait_s);
    request r;
    r.cmd = p.chosen->cmd;
    r.inst = words_given(p.chosen->inst, p.chosen->inst_opt);
    r.values = words_given(p.chosen->values, p.chosen->value_opt);
    r.query = words_given(p.chosen->query, p.chosen->query_opt);
    return run_request(p.o, r, p.wait_s);
}
