// vg-mgmt config: the module's whole configuration as one document.
#pragma once

#include <cstdio>

// Exit statuses of the config commands: 0 to 3 as the rest of vg-mgmt
// (4 and 5 are its no-answer and lost-service statuses), then their own.
enum vg_config_exit : int {
    VG_CONFIG_OK = 0,         // done, or nothing to change
    VG_CONFIG_REFUSED = 1,    // the service refused a step; all undone
    VG_CONFIG_USAGE = 2,      // wrong arguments, or a document with problems
    VG_CONFIG_NO_SERVICE = 3, // the service could not be reached
    VG_CONFIG_PENDING = 6,    // apply --check: changes are pending
    VG_CONFIG_PARTIAL = 7,    // refused, and an undo was refused too
    VG_CONFIG_INTERRUPTED = 8, // a signal stopped the apply; the steps done were undone
    VG_CONFIG_BUSY = 9,       // another apply holds this module; nothing was sent
};

// argv[0] is "config".
int vg_mgmt_config_run(int argc, char **argv, FILE *out, FILE *err);
// The index of "config" in a whole command line (argv[0] the program) when it
// is its first word, the values of --socket and --timeout skipped; else 0.
int vg_mgmt_config_at(int argc, char **argv);
// Such a command line: the global options before "config" given to it where
// it takes them (--socket, --show-secrets for export, --json for diff), any
// other refused with exit status 2; then vg_mgmt_config_run.
int vg_mgmt_config_main(int argc, char **argv, int at, FILE *out, FILE *err);
// Ansible's binary-module protocol: the arguments file in, one JSON object out.
int vg_mgmt_config_ansible(const char *args_file, FILE *out);
