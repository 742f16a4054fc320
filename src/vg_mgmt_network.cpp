// Network domain: dispatcher and handlers.

#include <cstring>
#include <iterator>

#include "vg_mgmt_core.h"

namespace {
constexpr char vg_log_file[] = "vg_mgmt_network";

constexpr mgmt_command_row network_command_table[] = {
    {NETWORK_CMD_DMZ_ADD, nullptr, nullptr},
    {NETWORK_CMD_DMZ_DEL, nullptr, nullptr},
    {NETWORK_CMD_DMZ_GET, nullptr, nullptr},
    {NETWORK_CMD_SGMII_ENABLE, nullptr, nullptr},
    {NETWORK_CMD_SGMII_CONFIG, nullptr, nullptr},
    {NETWORK_CMD_SGMII_INFO, nullptr, nullptr},
    {NETWORK_CMD_LAN_CONFIG, nullptr, nullptr},
    {NETWORK_CMD_SNAT_ADD, nullptr, nullptr},
    {NETWORK_CMD_SNAT_DEL, nullptr, nullptr},
    {NETWORK_CMD_SNAT_GET, nullptr, nullptr},
    {NETWORK_CMD_ETHERNET_MODE, nullptr, nullptr},
};
static_assert(std::size(network_command_table) == 11);
} // namespace

extern "C" int32_t network_command_handle(mgmt_client *handle, uint32_t flag,
                                          uint32_t command_id, void *value)
{
    static constexpr vg_dispatcher kDispatcher{
        VG_SITE,
        network_command_table,
        std::size(network_command_table),
        VG_FMT("cannot found %d network command", "d"),
        VG_FMT("found network command %d, command flag %d", "dd"),
        true,
    };
    return vg_dispatch(kDispatcher, handle, flag, command_id, value);
}
