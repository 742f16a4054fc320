// The words about vg-mgmt, made from the model: usage lines, help, the
// manual page (scdoc source) and the bash completion script.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "vg_mgmt_model.h"

namespace vgm {

// "vg-mgmt wifi channel set <interface> <channel>"
std::string usage_line(const command &c);
// The usage line of the commands that start with these words.
std::string usage_line(const std::vector<std::string> &prefix);

// Help for the commands that start with `prefix` (one row: its fields too),
// within 100 columns.
void print_help(FILE *out, const std::vector<std::string> &prefix);

void print_manpage(FILE *out);
void print_bash_completion(FILE *out);

// The words that may follow `prefix` (the next level of the command tree).
std::vector<std::string> next_words(const std::vector<std::string> &prefix);

// The tool's own commands beside the model's domains.
inline const char *const kToolWords[] = {"status", "events", "completion", "help", "config"};

// vg-mgmt config's verbs (cli/config_cmd.cpp): their arguments and what they do.
struct config_verb {
    const char *verb;
    const char *args; // "[--json] FILE"
    const char *help;
};
inline const config_verb kConfigVerbs[] = {
    {"export", "[--show-secrets]", "print every setting as one JSON document"},
    {"schema", "", "print the document's JSON Schema (draft 2020-12)"},
    {"diff", "[--json] FILE", "what apply would change, one line per setting (old -> new)"},
    {"apply", "[--check] [--json] FILE",
     "make the configuration equal to FILE, undone when refused"},
    {"validate", "[--json] FILE",
     "every problem FILE shows by itself, without the service (for CI)"},
    {"confirm", "[--json]", "keep the change of 'apply --confirm SECONDS FILE' (else reverted)"},
    {"revert", "[--json]", "put back now what 'apply --confirm' changed, without waiting"},
    {"recover", "[--json]", "restore what an unfinished apply was changing"},
    {"history", "[--json]", "the last 10 applies: when, changes, document"},
    {"rollback", "[--json] [N]", "apply back what the N-th apply back (1: the last) replaced"},
    {"ansible", "ARGS", "run as the Ansible module: ARGS is the arguments file"},
};
// config's options, each registered once on the config command: the verbs
// that take one (space-separated; "" every verb) drive the refusal of it
// elsewhere, the completion and the manual page.
struct config_option {
    const char *name; // "--json"
    const char *arg;  // "PATH", or ""
    const char *verbs;
    const char *help;
};
extern const config_option kConfigOptions[];
extern const size_t kConfigOptionCount;
// The row of an option name, or nullptr when config does not take it.
const config_option *config_option_row(const std::string &name);
// Whether `verb` takes the option.
bool config_option_takes(const config_option &o, const std::string &verb);

// The help text of a config verb.
const char *config_verb_help(const std::string &verb);

// Prints `text` after an indent, wrapped within the help's width; lines after
// the first are indented by `more` (0: the same).
void wrapped(FILE *out, const std::string &head, size_t indent, const std::string &text,
             size_t more = 0);

// The config parts of the help, the manual page and the completion's case:
// the verbs in one line each; the help of config (verb empty) or of a verb,
// with the options it takes.
void print_config_verbs(FILE *out);
void print_config_help(FILE *out, const std::string &verb);
void print_config_manpage(FILE *out);
void print_config_completion(FILE *out);

std::string scdoc_escape(const std::string &s);

} // namespace vgm
