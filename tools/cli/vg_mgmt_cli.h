// vg-mgmt: the module's settings from the command line, through the public
// API of the library.
#pragma once

#include <cstdio>

// Runs one command line (argv[0] is the program); output goes to `out`,
// messages to `err`. Returns the exit status (see vgm::exit_status).
int vg_mgmt_cli_run(int argc, char **argv, FILE *out, FILE *err);
