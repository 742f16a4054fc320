// Where the simulated service's socket lives, and whom a client trusts at
// the other end: one rule for the host transport, kestd, kestctl and
// vg-mgmt, so that they always agree.
#pragma once

#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kest_proto.h"

// The socket's name in the user's runtime folder.
#define KEST_SOCKET_NAME "vg-kestd.sock"
// The system service's socket, in a folder of root's.
#define KEST_SYSTEM_SOCKET_DIR "/run/kestd"
#define KEST_SYSTEM_SOCKET KEST_SYSTEM_SOCKET_DIR "/kestd.sock"
// The user that a client trusts as the service besides root and itself: a
// name or a number.
#define KEST_SERVICE_USER_ENV "VG_KEST_SERVICE_USER"

// A folder is trusted to hold the socket when it is a real folder owned by
// `owner` or root that nobody else may write to.
inline bool kest_folder_trusted(const char *dir, uid_t owner)
{
    struct stat sb;
    return ::lstat(dir, &sb) == 0 && S_ISDIR(sb.st_mode) &&
           (sb.st_uid == owner || sb.st_uid == 0) && (sb.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// The user's own socket: KEST_SOCKET_NAME in XDG_RUNTIME_DIR when that is an
// absolute path, else kestd.sock in the private folder /tmp/vg-kestd-<uid>,
// made 0700 when missing and refused (false, errno EPERM) when it is not the
// user's own folder closed to everyone else.
inline bool kest_user_socket_path(char *buf, size_t size)
{
    const char *runtime = secure_getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/') {
        const int n = std::snprintf(buf, size, "%s/%s", runtime, KEST_SOCKET_NAME);
        return n > 0 && static_cast<size_t>(n) < size;
    }
    const uid_t me = ::geteuid();
    char dir[64];
    std::snprintf(dir, sizeof dir, "/tmp/vg-kestd-%u", static_cast<unsigned>(me));
    const int n = std::snprintf(buf, size, "%s/kestd.sock", dir);
    if (n <= 0 || static_cast<size_t>(n) >= size)
        return false;
    if (::mkdir(dir, 0700) != 0 && errno != EEXIST)
        return false;
    struct stat sb;
    if (::lstat(dir, &sb) != 0 || !S_ISDIR(sb.st_mode) || sb.st_uid != me ||
        (sb.st_mode & 077) != 0) {
        errno = EPERM;
        return false;
    }
    return true;
}

// Writes the socket path a client uses into `buf`: VG_KEST_SOCKET when set
// and not empty; else the system socket when it exists in its root-owned
// folder; else the user's own socket (kest_user_socket_path). The
// environment is ignored in a set-user-id or set-group-id process. False
// when the path does not fit `size` bytes or the private folder is not safe.
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
    struct stat sb;
    if (::lstat(KEST_SYSTEM_SOCKET, &sb) == 0 && S_ISSOCK(sb.st_mode) &&
        kest_folder_trusted(KEST_SYSTEM_SOCKET_DIR, 0) && size > sizeof KEST_SYSTEM_SOCKET) {
        std::memcpy(buf, KEST_SYSTEM_SOCKET, sizeof KEST_SYSTEM_SOCKET);
        return true;
    }
    return kest_user_socket_path(buf, size);
}

// The user named by KEST_SERVICE_USER_ENV, or (uid_t)-1.
inline uid_t kest_service_user()
{
    const char *name = secure_getenv(KEST_SERVICE_USER_ENV);
    if (name == nullptr || name[0] == '\0')
        return static_cast<uid_t>(-1);
    char *end = nullptr;
    const unsigned long n = std::strtoul(name, &end, 10);
    if (*end == '\0' && name[0] != '-')
        return static_cast<uid_t>(n);
    passwd pw{};
    passwd *found = nullptr;
    char text[1024];
    if (::getpwnam_r(name, &pw, text, sizeof text, &found) != 0 || found == nullptr)
        return static_cast<uid_t>(-1);
    return pw.pw_uid;
}

// True when the process at the other end of the connected socket `fd` may
// be trusted as the service: it runs as root, as the calling user or as the
// user KEST_SERVICE_USER_ENV names. Otherwise `why` (of `size` bytes) tells
// which socket and which user, errno is EACCES, and nothing must be sent.
inline bool kest_peer_trusted(int fd, const char *path, char *why, size_t size)
{
    ucred cred{};
    socklen_t len = sizeof cred;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0 || len != sizeof cred) {
        std::snprintf(why, size, "cannot learn who serves %s: %s", path, std::strerror(errno));
        errno = EACCES;
        return false;
    }
    if (cred.uid == 0 || cred.uid == ::geteuid() || cred.uid == kest_service_user())
        return true;
    passwd pw{};
    passwd *found = nullptr;
    char text[1024];
    const bool named =
        ::getpwuid_r(cred.uid, &pw, text, sizeof text, &found) == 0 && found != nullptr;
    std::snprintf(why, size,
                  "not trusting the service at %s: it runs as user %s (uid %u), "
                  "not root, you or " KEST_SERVICE_USER_ENV,
                  path, named ? pw.pw_name : "?", static_cast<unsigned>(cred.uid));
    errno = EACCES;
    return false;
}
