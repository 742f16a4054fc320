#include <cstdio>

#include "config_cmd.h"
#include "vg_mgmt_cli.h"

int main(int argc, char **argv)
{
    if (const int at = vg_mgmt_config_at(argc, argv); at > 0) // the configuration as one document
        return vg_mgmt_config_main(argc, argv, at, stdout, stderr);
    return vg_mgmt_cli_run(argc, argv, stdout, stderr);
}
