// The words about vg-mgmt config: its lines in the help, its section of the
// manual page and its part of the bash completion, from kConfigVerbs.
#include <algorithm>
#include <cstdio>
#include <string>

#include "config_cmd.h"
#include "kest_nearest.h"
#include "vg_mgmt_docs.h"

namespace vgm {
namespace {

const char *const kConfigOptions[][2] = {
    {"--socket PATH", "the service's socket (sets VG_KEST_SOCKET), before or after config"},
    {"--stats", "print the calls made and the time taken on stderr"},
    {"--show-secrets", "export: passwords and keys in clear, not ********"},
    {"--json", "diff, apply, validate, history, recover, confirm, rollback: the result, or the "
               "error, as one JSON "
               "object on stdout"},
    {"--check", "apply: send nothing; exit 6 when changes are pending, 0 when none"},
    {"--confirm SECONDS",
     "apply: apply, return, and put the configuration from before back after SECONDS (1 to 86400) "
     "unless "
     "'vg-mgmt config confirm' comes first. A watcher does it: a vg-mgmt of its own session "
     "(double fork, "
     "setsid, standard streams on /dev/null, no other inherited descriptor), so it outlives the "
     "shell or SSH "
     "session that started it; it holds the module's apply lock until then. When the watcher is "
     "gone (a restart), "
     "'config recover' or the next config command reverts the unconfirmed change"},
    {"--state-dir DIR", "the private folder (0700, files 0600) of the apply lock and journal; "
                        "default: VG_MGMT_STATE_DIR, else "
                        "/var/lib/vg-mgmt for root, $XDG_STATE_HOME/vg-mgmt or "
                        "~/.local/state/vg-mgmt for others. An apply takes "
                        "the module's lock (a second apply is refused with 9) and writes the "
                        "journal (the values to restore) before "
                        "its first change; every later config command that finds the journal of an "
                        "apply that did not finish "
                        "reports it and restores the configuration from before it"},
};

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

void print_config_help(FILE *out)
{
    for (const config_verb &v : kConfigVerbs)
        std::fprintf(out, "  %-31s %s\n", verb_usage(v).c_str(), v.help);
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
        "list it holds exactly as given. Before *config*, the options *--socket*, *--show-secrets* "
        "(export) and *--json* (diff, apply, validate) are taken; any other is refused. A document "
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
    for (const auto &o : kConfigOptions)
        std::fprintf(out, "*%s*\n\t%s\n\n", o[0], scdoc_escape(o[1]).c_str());
    std::fprintf(out, "The exit statuses of *config* are among those under EXIT STATUS.\n\n");
}

// Case lines of _vg_mgmt for the words after "config <verb>"; `files` set
// where FILE (or ARGS) is completed with file names.
void print_config_completion(FILE *out)
{
    std::fprintf(
        out, "        'config export'*) words='--show-secrets --socket --stats --help' ;;\n"
             "        'config schema'*) words='--help' ;;\n"
             "        'config diff'*) words='--json --socket --stats --help' files=1 ;;\n"
             "        'config apply'*) words='--check --confirm --json --socket --state-dir "
             "--stats --help' files=1 ;;\n"
             "        'config validate'*) words='--json --help' files=1 ;;\n"
             "        'config recover'*) words='--json --socket --state-dir --help' ;;\n"
             "        'config confirm'*) words='--json --socket --state-dir --help' ;;\n"
             "        'config history'*) words='--json --socket --state-dir --help' ;;\n"
             "        'config rollback'*) words='--confirm --json --socket --state-dir --help' ;;\n"
             "        'config ansible'*) words='--help' files=1 ;;\n");
}

namespace {

// config's option names, from its option table.
std::vector<std::string> config_option_names()
{
    std::vector<std::string> names = {"--help", "-h"};
    for (const auto &o : kConfigOptions)
        names.emplace_back(std::string(o[0]).substr(0, std::string(o[0]).find(' ')));
    return names;
}

} // namespace

std::optional<std::string> config_mistake(int argc, char **argv)
{
    bool verb_seen = false;
    for (int i = 1; i < argc; ++i) {
        const std::string w = argv[i];
        const std::string name = w.substr(0, w.find('='));
        if (w == "--")
            break;
        if (w.size() > 1 && w[0] == '-') {
            const auto known = config_option_names();
            if (std::find(known.begin(), known.end(), name) == known.end())
                return kest_unknown_text("option", name, known);
            i += name == "--socket" && name == w ? 1 : 0;
        } else if (!verb_seen) {
            verb_seen = true;
            if (*config_verb_help(w) == '\0')
                return kest_unknown_text("word", w, next_words(std::vector<std::string>{"config"}));
        }
    }
    return std::nullopt;
}

} // namespace vgm
