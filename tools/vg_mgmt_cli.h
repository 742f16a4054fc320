// vg-mgmt: every command of the library from the command line.
#pragma once

#include <cstdio>

// Runs one command line (argv[0] is the program). Exit status: 0 success,
// 1 the call failed, 2 the arguments are wrong.
int vg_mgmt_cli_run(int argc, char **argv, FILE *out, FILE *err);
