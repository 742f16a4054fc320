// vg-mgmt config: the module's whole configuration as one document.
#pragma once

#include <cstdio>

#include "vg_mgmt_errors.h"

// Exit statuses: vgm::exit_status (vg_mgmt_errors.h).

// argv[0] is "config".
int vg_mgmt_config_run(int argc, char **argv, FILE *out, FILE *err);
// The index of "config" in a whole command line (argv[0] the program) when it
// is its first word, the values of --socket and --timeout skipped; else 0.
int vg_mgmt_config_at(int argc, char **argv);
// Such a command line: the global options before "config" given to it where
// it takes them (--socket, --show-secrets for export, --json for diff), any
// other refused with exit status 2; then vg_mgmt_config_run.
int vg_mgmt_config_main(int argc, char **argv, int at, FILE *out, FILE *err);
