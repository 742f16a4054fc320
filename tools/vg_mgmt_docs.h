// The words about vg-mgmt, made from the model: usage lines, help, the
// manual page (scdoc source) and the bash completion script.
#pragma once

#include <cstdio>
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
inline const char *const kToolWords[] = {"events", "completion", "help"};

} // namespace vgm
