// vg-mgmt config: the module's whole configuration as one document, a
// command of vg-mgmt's command line like any other.
#pragma once

#include <cstdio>
#include <optional>
#include <string>

#include "vg_mgmt_errors.h"

namespace CLI {
class App;
}

namespace vgcfg {

// What config's command line says; CLI11 fills it while parsing. The socket,
// --json and --show-secrets are vg-mgmt's own options, copied in after.
struct options {
    std::string socket;
    std::string state_dir;
    std::string file;
    std::optional<std::string>
        document; // the document's text, when not read from `file` (its name)
    std::string args_file;
    bool show_secrets = false;
    bool json_out = false;
    bool check = false;
    unsigned confirm = 0;
    bool stats = false;
    size_t back = 1; // rollback N
};

// Registers config's verbs and its own options, each once, on `config`.
void add_config(CLI::App *config, options &o);

// The refusal of the first option given (on vg-mgmt or on config) that the
// verb does not take, or "" when every one is taken.
std::string misplaced_option(const CLI::App &root, const CLI::App &config);

// Runs the verb that was parsed; the exit status (vgm::exit_status).
int run_config(const CLI::App &config, const options &o, FILE *out, FILE *err);
// Runs a verb by its word, as run_config does (for other front ends).
int run_verb(const std::string &verb, const options &o, FILE *out, FILE *err);

} // namespace vgcfg
