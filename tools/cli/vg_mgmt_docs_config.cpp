// The words about vg-mgmt config: its lines in the help, its section of the
// manual page and its part of the bash completion, from kConfigVerbs.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include "vg_mgmt_docs.h"

namespace vgm {

const config_option kConfigOptions[] = {
    {"--socket", "PATH", "", "the service's socket (sets VG_KEST_SOCKET), before or after config"},
    {"--stats", "", "export diff apply rollback",
     "print the calls made and the time taken on stderr"},
    {"--show-secrets", "", "export", "export: passwords and keys in clear, not ********"},
    {"--json", "", "diff apply validate recover confirm revert history rollback",
     "diff, apply, validate, history, recover, confirm, revert, rollback: the result, or the "
     "error, as "
     "one JSON object on stdout"},
    {"--check", "", "apply", "apply: send nothing; exit 6 when changes are pending, 0 when none"},
    {"--confirm", "SECONDS", "apply rollback",
     "apply: apply, return, and put the configuration from before back after SECONDS (1 to "
     "86400) unless 'vg-mgmt config confirm' comes first. A watcher does it: a vg-mgmt of its "
     "own session (double fork, setsid, standard streams on /dev/null, no other inherited "
     "descriptor), so it outlives the shell or SSH session that started it; it holds the "
     "module's apply lock until then. When the watcher is gone (a restart), 'config recover' or "
     "the next config command reverts the unconfirmed change"},
    {"--state-dir", "DIR",
     "export diff apply recover confirm revert history rollback watch-confirm",
     "the private folder (0700, files 0600) of the apply lock and journal; default: "
     "VG_MGMT_STATE_DIR, else /var/lib/vg-mgmt for root, $XDG_STATE_HOME/vg-mgmt or "
     "~/.local/state/vg-mgmt for others. An apply takes the module's lock (a second apply is "
     "refused with 9) and writes the journal (the values to restore) before its first change; "
     "every later config command that finds the journal of an apply that did not finish "
     "reports it and restores the configuration from before it"},
};
const size_t kConfigOptionCount = std::size(kConfigOptions);

const config_option *config_option_row(const std::string &name)
{
    for (const config_option &o : kConfigOptions)
        if (name == o.name)
            return &o;
    return nullptr;
}

bool config_option_takes(const config_option &o, const std::string &verb)
{
    const std::string verbs = std::string(" ") + o.verbs + " ";
    return o.verbs[0] == '\0' || verbs.find(" " + verb + " ") != std::string::npos;
}

namespace {

std::string verb_usage(const config_verb &v)
{
    return std::string("config ") + v.verb + (v.args[0] != '\0' ? " " : "") + v.args;
}

} // namespace

const char *config_verb_help(const std::string &verb)
{
    for (const config_verb &v : kConfigVerbs)
        if (verb == v.verb)
            return v.help;
    return "";
}

void print_config_verbs(FILE *out)
{
    for (const config_verb &v : kConfigVerbs)
        std::fprintf(out, "  %-31s %s\n", verb_usage(v).c_str(), v.help);
}

void print_config_help(FILE *out, const std::string &verb)
{
    const auto v = std::find_if(std::begin(kConfigVerbs), std::end(kConfigVerbs),
                                [&](const config_verb &c) { return verb == c.verb; });
    if (v == std::end(kConfigVerbs)) {
        std::fprintf(out, "usage: vg-mgmt [--socket PATH] config [--stats] <verb> [arguments]\n"
                          "the whole configuration as one JSON document\n\nverbs:\n");
        print_config_verbs(out);
        std::fprintf(out, "\noptions (each taken by the verbs it names):\n");
    } else {
        std::fprintf(out, "usage: vg-mgmt [--socket PATH] %s\n%s\n\noptions:\n",
                     verb_usage(*v).c_str(), v->help);
    }
    for (const config_option &o : kConfigOptions)
        if (v == std::end(kConfigVerbs) || config_option_takes(o, v->verb))
            wrapped(out, std::string("  ") + o.name + (o.arg[0] != '\0' ? " " : "") + o.arg, 22,
                    o.help);
}

void print_config_manpage(FILE *out)
{
    std::fprintf(
        out,
        "# CONFIG\n\n*vg-mgmt* [*--socket* _PATH_] *config* [*--stats*] _verb_ [_arguments_]\n\n"
        "*config* reads and writes the module's whole configuration as one JSON document: the "
        "settings of the commands above, under *wifi*, *datacall*, *network* and *usb*. Passwords "
        "and keys are shown as %s unless *--show-secrets* is given, and a secret given as %s keeps "
        "its value. A document may hold some of the keys only: *apply* changes those, and makes "
        "each "
        "list it holds exactly as given. The options below, and vg-mgmt's *--socket*, "
        "*--show-secrets* and *--json*, may stand before or after *config* or its verb; each is "
        "taken by the verbs it names and refused with any other, as are vg-mgmt's other options. "
        "A document "
        "is at "
        "most 1 MiB and 16 levels deep; a key given twice in one object is a problem. A text that "
        "is "
        "not valid UTF-8 is written, and may be given, as {\"hex\": \"<its bytes in lower-case "
        "hex>\"}; a problem line quotes at most 32 bytes of a value, and a secret only by its "
        "length.\n\n",
        scdoc_escape("********").c_str(), scdoc_escape("********").c_str());
    for (const config_verb &v : kConfigVerbs)
        std::fprintf(out, "*vg-mgmt %s*\n\t%s\n\n", scdoc_escape(verb_usage(v)).c_str(),
                     scdoc_escape(v.help).c_str());
    for (const config_option &o : kConfigOptions)
        std::fprintf(out, "*%s%s%s*\n\t%s\n\n", o.name, o.arg[0] != '\0' ? " " : "", o.arg,
                     scdoc_escape(o.help).c_str());
    std::fprintf(out, "The exit statuses of *config* are among those under EXIT STATUS.\n\n");
}

// Case lines of _vg_mgmt for the words after "config <verb>": the options
// that the verb takes; `files` set where FILE (or ARGS) is completed with
// file names.
void print_config_completion(FILE *out)
{
    for (const config_verb &v : kConfigVerbs) {
        std::vector<std::string> words;
        for (const config_option &o : kConfigOptions)
            if (config_option_takes(o, v.verb))
                words.emplace_back(o.name);
        std::sort(words.begin(), words.end());
        std::string list;
        for (const std::string &w : words)
            list += w + " ";
        const std::string args = v.args;
        const bool files = args.ends_with("FILE") || args == "ARGS";
        std::fprintf(out, "        'config %s'*) words='%s--help'%s ;;\n", v.verb, list.c_str(),
                     files ? " files=1" : "");
    }
}

} // namespace vgm
