// Where the simulated service's socket lives: one rule for the host transport,
// kestd, kestctl and vg-mgmt, so that they always agree.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "kest_proto.h"

// Writes the socket path into `buf`: VG_KEST_SOCKET when set and not empty,
// else KEST_SOCKET_DEFAULT. False when the path does not fit `size` bytes.
inline bool kest_socket_path(char *buf, size_t size)
{
    const char *path = std::getenv(KEST_SOCKET_ENV);
    if (path == nullptr || path[0] == '\0')
        path = KEST_SOCKET_DEFAULT;
    const size_t n = std::strlen(path);
    if (n >= size)
        return false;
    std::memcpy(buf, path, n + 1);
    return true;
}
