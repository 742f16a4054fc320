// The size of every command's value record, from the command descriptions.
#pragma once

#include <cstdint>
#include <iterator>

#include "kest_commands.h"

namespace fz {

// Bytes of the command's record at the buffer's head: what the call may
// write. 0 for commands without a record and for unknown ones.
inline uint32_t record_size(uint32_t domain, uint32_t id)
{
    for (uint32_t flag : {MGMT_OPT_SET, MGMT_OPT_GET})
        if (const kest_command *c = kest_command_find(domain, id, flag))
            return c->record_len;
    return 0;
}

} // namespace fz
