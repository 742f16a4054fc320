#include <cstdio>
#include <cstring>

#include "config_cmd.h"
#include "vg_mgmt_cli.h"

int main(int argc, char **argv)
{
    if (argc > 1 && std::strcmp(argv[1], "config") == 0) // the configuration as one document
        return vg_mgmt_config_run(argc - 1, argv + 1, stdout, stderr);
    return vg_mgmt_cli_run(argc, argv, stdout, stderr);
}
