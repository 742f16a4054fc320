#include <cstdio>

#include "vg_mgmt_cli.h"

int main(int argc, char **argv)
{
    return vg_mgmt_cli_run(argc, argv, stdout, stderr);
}
