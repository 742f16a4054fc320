// Where the simulated service's socket lives: one rule for the host transport,
// kestd, kestctl and vg-mgmt, so that they always agree.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kest_proto.h"

// The socket's name in the user's runtime folder.
#define KEST_SOCKET_NAME "vg-kestd.sock"

// Writes the socket path into `buf`: VG_KEST_SOCKET when set and not empty;
// else KEST_SOCKET_NAME in XDG_RUNTIME_DIR when that is an absolute path (a
// folder of the user's own, where nobody else can take the name first);
// else KEST_SOCKET_DEFAULT. The environment is ignored in a set-user-id or
// set-group-id process. False when the path does not fit `size` bytes.
inline bool kest_socket_path(char *buf, size_t size)
{
    const char *path = secure_getenv(KEST_SOCKET_ENV);
    if (path != nullptr && path[0] != '\0') {
        const size_t n = std::strlen(path);
        if (n >= size)
            return false;
        std::memcpy(buf, path, n + 1);
        return true;
    }
    const char *runtime = secure_getenv("XDG_RUNTIME_DIR");
    const int n = runtime != nullptr && runtime[0] == '/'
                      ? std::snprintf(buf, size, "%s/%s", runtime, KEST_SOCKET_NAME)
                      : std::snprintf(buf, size, "%s", KEST_SOCKET_DEFAULT);
    return n > 0 && static_cast<size_t>(n) < size;
}
