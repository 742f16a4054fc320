// Usage lines, help, manual page and completion, all from the model.
#include "vg_mgmt_docs.h"

#include <algorithm>
#include <map>

#include "vg_mgmt_errors.h"

namespace vgm {
namespace {

constexpr size_t kColumns = 100;

const char *const kGlobalOptions[][2] = {
    {"--json", "print one JSON object (on failure an error object: code, name, message, status)"},
    {"--show-secrets", "show passphrases, WEP keys and APN passwords instead of ********"},
    {"--raw", "show the LAN, SGMII and station fields as the library gives them"},
    {"--socket PATH",
     "the service's socket, sets VG_KEST_SOCKET (default: VG_KEST_SOCKET, else "
     "/run/kestd/kestd.sock when it exists, else $XDG_RUNTIME_DIR/vg-kestd.sock, else "
     "/tmp/vg-kestd-UID/kestd.sock)"},
    {"--timeout S", "wait up to S seconds for the service's socket to appear (default 0)"},
    {"--version", "print the version"},
    {"-h, --help", "help for the words before it"},
};

const char *const kEventsOptions[][2] = {
    {"--count N", "stop after N events (exit 0 only when N came)"},
    {"--timeout S", "stop after S seconds"},
    {"--exit-on-loss", "exit with status 5 when the service goes away (default: wait for it)"},
};

const char *const kEventsHelp =
    "print the module's events as they come, one line each (with --json one object each): "
    "stations joining and leaving, data calls going up and down, the station interface's state";
const char *const kCompletionHelp =
    "print the bash completion of vg-mgmt: . <(vg-mgmt completion bash), or install it as "
    "/usr/share/bash-completion/completions/vg-mgmt";
const char *const kHelpHelp = "help for the words given (none: everything); --man prints the "
                              "manual page's source (scdoc)";
const char *const kStatusHelp = "how the module stands: the service's socket and whether it "
                                "answers; per Wi-Fi interface its SSID, "
                                "band and channel, authentication and number of stations; each "
                                "data call's state and addresses; the "
                                "LAN, the DMZ host and the number of SNAT rules; the USB "
                                "configuration in use. With --json one object; "
                                "its \"sources\" say which values are derived or cannot be read "
                                "(interface activation, pending USB "
                                "settings). Exit 3 when no service answers.";

const char *const kManExamples =
    "# EXAMPLES\n\nHow the module stands, then the same as JSON:\n\n"
    "```\nvg-mgmt status\nvg-mgmt --json status\n```\n\n"
    "An access point with WPA on channel 6 (the other settings stay as they were):\n\n"
    "```\nvg-mgmt wifi channel set 1 6\nvg-mgmt wifi auth set 1 wpa-psk-2 --password "
    "longenough\n```\n\n"
    "A profile and its data call:\n\n"
    "```\nvg-mgmt datacall apn add 0 --pdp-type ipv4v6 --auth-protocol none --apn internet --user "
    "'' "
    "--password ''\nvg-mgmt datacall up 1 --ip-type ipv4v6\nvg-mgmt datacall info get 1\n```\n\n"
    "Port forwarding, and a USB function changed and written out:\n\n"
    "```\nvg-mgmt network snat add 192.168.225.20 8080 80 tcp\n"
    "vg-mgmt usb func set --adb on && vg-mgmt usb config write\n```\n\n"
    "The whole configuration saved, then applied to another module after a look at the changes:\n\n"
    "```\nvg-mgmt config export > module.json\nvg-mgmt --socket /run/other.sock config diff "
    "module.json\n"
    "vg-mgmt --socket /run/other.sock config apply module.json\n```\n\n";

std::vector<std::string> words_of(const command &c)
{
    std::vector<std::string> w = {c.domain_word, c.subject};
    if (c.verb[0] != '\0')
        w.emplace_back(c.verb);
    return w;
}

bool starts_with(const command &c, const std::vector<std::string> &prefix)
{
    const auto w = words_of(c);
    return prefix.size() <= w.size() && std::equal(prefix.begin(), prefix.end(), w.begin());
}

bool positional_required(const command &c, size_t i)
{
    return c.k == kind::run ? c.fields[i].def == nullptr : c.npos == c.fields.size();
}

const char *placeholder(const field &f)
{
    switch (f.type) {
    case vtype::text:
    case vtype::textn:
        return "TEXT";
    case vtype::mac:
        return "MAC";
    case vtype::ipv4:
    case vtype::ipv6:
    case vtype::ipv4_text:
        return "ADDR";
    case vtype::usb_id:
        return "ID";
    case vtype::flag:
        return "on|off";
    default:
        return f.named.empty() ? "N" : "NAME";
    }
}

std::string field_text(const field &f, bool with_default)
{
    std::string t = f.help;
    t += t.empty() ? range_of(f) : " (" + range_of(f) + ")";
    if (with_default && f.def != nullptr)
        t += std::string("; default ") + (f.def[0] ? f.def : "empty");
    return t;
}

void print_row_help(FILE *out, const command &c)
{
    wrapped(out, "usage:", 7, usage_line(c), 9);
    wrapped(out, "", 0, c.help);
    if (c.note != nullptr)
        wrapped(out, "", 0, c.note);
    for (const field &f : axis_fields(c.inst))
        wrapped(out, "  <" + std::string(f.key) + ">", 22, field_text(f, false));
    const bool input = c.k == kind::set || c.k == kind::run;
    for (size_t i = 0; i < c.fields.size(); ++i) {
        const field &f = c.fields[i];
        const std::string head = i < c.npos && input ? "<" + std::string(f.key) + ">"
                                                     : (input ? "--" : "") + std::string(f.key);
        wrapped(out, "  " + head, 22, field_text(f, input));
        if (input && f.secret && i >= c.npos)
            wrapped(out, "  " + head + "-file", 22,
                    "read " + head +
                        " from FILE, not the command line ('-': stdin, "
                        "asked for without echo on a terminal)");
    }
    for (const field &f : c.query)
        wrapped(out, "  --" + std::string(f.key), 22, field_text(f, true));
    bool defaults = false;
    for (const field &f : c.fields)
        defaults = defaults || f.def != nullptr;
    if (c.k == kind::set)
        wrapped(out, "", 0,
                c.read_id != 0 ? "Fields not given keep their values." : "Give every field.");
    else if (c.k == kind::run && !c.fields.empty())
        wrapped(out, "", 0,
                defaults ? "Fields not given take the defaults shown."
                         : "This command reads nothing first: give every field.");
}

} // namespace

// Prints `text` after an indent, wrapped within kColumns; lines after the
// first are indented by `more` (default: the same).
void wrapped(FILE *out, const std::string &head, size_t indent, const std::string &text,
             size_t more)
{
    more = more != 0 ? more : indent;
    std::string line = head;
    if (!line.empty() && line.size() + 1 > indent) {
        std::fprintf(out, "%s\n", line.c_str());
        line.clear();
    }
    line.resize(indent, ' ');
    size_t at = 0;
    bool first = true;
    while (at < text.size()) {
        size_t end = at; // a word ends at a space outside brackets: "[--key V]" stays whole
        for (int depth = 0; end < text.size() && (text[end] != ' ' || depth > 0); ++end)
            depth += text[end] == '[' ? 1 : text[end] == ']' ? -1 : 0;
        const std::string w = text.substr(at, end - at);
        if (!first && line.size() + 1 + w.size() > kColumns) {
            std::fprintf(out, "%s\n", line.c_str());
            line.assign(more, ' ');
            first = true;
        }
        line += (first ? "" : " ") + w;
        first = false;
        at = end + 1;
    }
    std::fprintf(out, "%s\n", line.c_str());
}

std::string scdoc_escape(const std::string &s)
{
    std::string r;
    for (char ch : s) {
        if (ch == '*' || ch == '_' || ch == '\\')
            r += '\\';
        r += ch;
    }
    return r;
}

std::string usage_line(const command &c)
{
    std::string u = "vg-mgmt " + command_name(c);
    for (const field &f : axis_fields(c.inst))
        u += " <" + std::string(f.key) + ">";
    const bool input = c.k == kind::set || c.k == kind::run;
    for (size_t i = 0; input && i < c.fields.size(); ++i) {
        const field &f = c.fields[i];
        if (i < c.npos)
            u += positional_required(c, i) ? " <" + std::string(f.key) + ">"
                                           : " [<" + std::string(f.key) + ">]";
        else if (c.k == kind::run && f.def == nullptr)
            u += " --" + std::string(f.key) + " " + placeholder(f);
        else
            u += " [--" + std::string(f.key) + " " + placeholder(f) + "]";
    }
    for (const field &f : c.query)
        u += " [--" + std::string(f.key) + " " + placeholder(f) + "]";
    return u;
}

std::vector<std::string> next_words(const std::vector<std::string> &prefix)
{
    std::vector<std::string> next;
    for (const command &c : commands()) {
        const auto w = words_of(c);
        if (starts_with(c, prefix) && w.size() > prefix.size() &&
            std::find(next.begin(), next.end(), w[prefix.size()]) == next.end())
            next.push_back(w[prefix.size()]);
    }
    if (prefix.empty())
        next.insert(next.end(), std::begin(kToolWords), std::end(kToolWords));
    if (prefix == std::vector<std::string>{"config"})
        for (const config_verb &v : kConfigVerbs)
            next.emplace_back(v.verb);
    return next;
}

std::string usage_line(const std::vector<std::string> &prefix)
{
    if (!prefix.empty() && prefix[0] == "events")
        return "vg-mgmt [options] events [--count N] [--timeout S] [--exit-on-loss]";
    if (!prefix.empty() && prefix[0] == "completion")
        return "vg-mgmt completion bash";
    if (!prefix.empty() && prefix[0] == "status")
        return "vg-mgmt [options] status";
    if (!prefix.empty() && prefix[0] == "help")
        return "vg-mgmt help [--man] [words]";
    if (!prefix.empty() && prefix[0] == "config") {
        std::string verbs;
        for (const config_verb &v : kConfigVerbs)
            verbs += (verbs.empty() ? "" : "|") + std::string(v.verb);
        return "vg-mgmt [--socket PATH] config [--stats] <" + verbs + "> ...";
    }
    std::string u = "vg-mgmt [options]";
    for (const auto &w : prefix)
        u += " " + w;
    std::string alts;
    for (const auto &w : next_words(prefix))
        alts += (alts.empty() ? "" : "|") + w;
    if (alts.size() > 50)
        alts = prefix.empty() ? "domain" : "subject";
    return u + " <" + alts + "> ...";
}

void print_help(FILE *out, const std::vector<std::string> &prefix)
{
    std::vector<const command *> rows;
    for (const command &c : commands())
        if (starts_with(c, prefix))
            rows.push_back(&c);
    if (rows.size() == 1 && words_of(*rows[0]).size() == prefix.size())
        return print_row_help(out, *rows[0]);
    if (!prefix.empty() && prefix[0] == "config")
        return print_config_help(out, prefix.size() > 1 ? prefix[1] : std::string());
    const std::map<std::string, const char *> others = {{"status", kStatusHelp},
                                                        {"events", kEventsHelp},
                                                        {"completion", kCompletionHelp},
                                                        {"help", kHelpHelp}};
    if (prefix.size() == 1 && others.count(prefix[0]) != 0) {
        std::fprintf(out, "usage: %s\n", usage_line(prefix).c_str());
        wrapped(out, "", 0, others.at(prefix[0]));
        if (prefix[0] != "events")
            return;
        std::fprintf(out, "\noptions:\n");
        for (const auto &o : kEventsOptions)
            wrapped(out, std::string("  ") + o[0], 22, o[1]);
        return;
    }
    if (prefix.empty()) {
        std::fprintf(out,
                     "usage: vg-mgmt [options] <domain> <subject> [<verb>] [arguments]\n"
                     "       vg-mgmt [options] status\n"
                     "       vg-mgmt [options] events [--count N] [--timeout S] [--exit-on-loss]\n"
                     "       vg-mgmt [--socket PATH] config [--stats] <verb> [arguments]\n"
                     "       vg-mgmt completion bash | vg-mgmt help [--man] [words]\n\noptions:\n");
        for (const auto &o : kGlobalOptions)
            wrapped(out, std::string("  ") + o[0], 22, o[1]);
        std::fprintf(out, "\nexit status:\n");
        for (const auto &s : kExitStatuses)
            wrapped(out, "  " + std::to_string(s.status), 22, s.text);
        std::fprintf(out, "\ncommands (vg-mgmt <words> --help tells more):\n");
    }
    for (const command *c : rows) {
        wrapped(out, "", 2, usage_line(*c).substr(8), 8);
        wrapped(out, "", 6, c->help);
    }
    if (prefix.empty()) {
        std::fprintf(
            out,
            "\nthe whole configuration as one JSON document (vg-mgmt config --help tells more):\n");
        print_config_verbs(out);
    }
}

void print_manpage(FILE *out)
{
    std::fprintf(
        out,
        "vg-mgmt(1)\n\n# NAME\n\nvg-mgmt - read and change the configuration of the router "
        "module\n\n"
        "# SYNOPSIS\n\n*vg-mgmt* [_options_] _domain_ _subject_ [_verb_] [_arguments_]\n\n"
        "*vg-mgmt* [_options_] *events* [*--count* _N_] [*--timeout* _S_] [*--exit-on-loss*]\n\n"
        "*vg-mgmt* [*--socket* _PATH_] *config* [*--stats*] _verb_ [_arguments_]\n\n"
        "*vg-mgmt* [_options_] *status*\n\n"
        "*vg-mgmt* *help* [*--man*] [_words_] | *completion* *bash*\n\n"
        "# DESCRIPTION\n\n*vg-mgmt* reads and changes the Wi-Fi, data call, network and USB "
        "settings "
        "of the module through its management service. A *set* changes only the values it "
        "names: it reads the setting, changes those values and writes it back.\n\n"
        "Numbers are decimal, or hexadecimal with 0x. Named values are accepted and shown by "
        "name; their numbers are accepted too.\n\n# OPTIONS\n\n");
    for (const auto &o : kGlobalOptions)
        std::fprintf(out, "*%s*\n\t%s\n\n", o[0], scdoc_escape(o[1]).c_str());
    std::fprintf(out, "# COMMANDS\n\n");
    for (const command &c : commands()) {
        // The one-line help is a phrase: it ends with a full stop before the note.
        std::fprintf(out, "*%s*\n\t%s.%s%s\n", scdoc_escape(usage_line(c)).c_str(),
                     scdoc_escape(c.help).c_str(), c.note != nullptr ? " " : "",
                     c.note != nullptr ? scdoc_escape(c.note).c_str() : "");
        std::vector<field> all = axis_fields(c.inst);
        all.insert(all.end(), c.fields.begin(), c.fields.end());
        all.insert(all.end(), c.query.begin(), c.query.end());
        for (const field &f : all)
            std::fprintf(out, "\t- _%s_: %s\n", scdoc_escape(f.key).c_str(),
                         scdoc_escape(field_text(f, c.k != kind::get)).c_str());
        std::fprintf(out, "\n");
    }
    std::fprintf(out, "# STATUS\n\n*vg-mgmt* [_options_] *status*\n\t%s\n\n",
                 scdoc_escape(kStatusHelp).c_str());
    std::fprintf(out, "# EVENTS\n\n");
    for (const auto &o : kEventsOptions)
        std::fprintf(out, "*%s*\n\t%s\n\n", o[0], scdoc_escape(o[1]).c_str());
    print_config_manpage(out);
    std::fprintf(out, "# EXIT STATUS\n\n");
    for (const auto &s : kExitStatuses)
        std::fprintf(out, "*%d*\n\t%s\n\n", s.status, scdoc_escape(s.text).c_str());
    std::fprintf(out, "%s", kManExamples);
    std::fprintf(out, "# ENVIRONMENT\n\n*VG_KEST_SOCKET*\n\tThe service's socket.\n\n"
                      "# SEE ALSO\n\n*kestd*(1), *kestctl*(1)\n");
}

void print_bash_completion(FILE *out)
{
    std::fprintf(out, "# bash completion for vg-mgmt\n_vg_mgmt() {\n"
                      "    local cur=${COMP_WORDS[COMP_CWORD]} path='' i w words='' files=''\n"
                      "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
                      "        w=${COMP_WORDS[i]}\n"
                      "        case $w in --socket|--timeout|--count) ((i++)) ;; -*) ;; *) "
                      "path+=\" $w\" ;; esac\n"
                      "    done\n"
                      "    case ${COMP_WORDS[COMP_CWORD-1]} in\n"
                      "        --socket) compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -f "
                      "-- \"$cur\")); return ;;\n"
                      "        --timeout|--count) COMPREPLY=(); return ;;\n    esac\n"
                      "    case \"${path# }\" in\n");
    std::vector<std::vector<std::string>> nodes = {{}};
    for (size_t n = 0; n < nodes.size(); ++n) {
        std::string pat, list;
        for (const auto &w : nodes[n])
            pat += (pat.empty() ? "" : " ") + w;
        for (const auto &w : next_words(nodes[n])) {
            list += (list.empty() ? "" : " ") + w;
            auto child = nodes[n];
            child.push_back(w);
            nodes.push_back(child);
        }
        if (!list.empty())
            std::fprintf(out, "        '%s') words='%s' ;;\n", pat.c_str(), list.c_str());
    }
    for (const command &c : commands()) {
        std::string list = "--help";
        for (size_t i = 0; i < c.fields.size() && c.k != kind::get && c.k != kind::list; ++i) {
            if (i >= c.npos)
                list += " --" + std::string(c.fields[i].key);
            for (const name_value &v : c.fields[i].named)
                list += " " + std::string(v.name);
            if (c.fields[i].type == vtype::flag)
                list += " on off";
        }
        for (const field &f : c.query)
            list += " --" + std::string(f.key);
        std::fprintf(out, "        '%s'|'%s '*) words='%s' ;;\n", command_name(c).c_str(),
                     command_name(c).c_str(), list.c_str());
    }
    print_config_completion(out);
    std::fprintf(out, "        'events'|'events '*) words='--count --timeout --exit-on-loss' ;;\n"
                      "        'completion') words='bash' ;;\n    esac\n"
                      "    if [[ ${path# } == config ]]; then [[ $cur == -* ]] && words='--socket "
                      "--stats --help'\n"
                      "    elif [[ $cur == -* && ${path# } != config\\ * ]]; then\n"
                      "        words+=' --json --show-secrets --raw --socket --timeout --version "
                      "--help'\n    fi\n"
                      "    COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
                      "    if [[ -n $files && $cur != -* ]]; then\n"
                      "        compopt -o filenames 2>/dev/null\n"
                      "        COMPREPLY+=($(compgen -f -- \"$cur\"))\n    fi\n"
                      "}\ncomplete -F _vg_mgmt vg-mgmt\n");
}

} // namespace vgm
