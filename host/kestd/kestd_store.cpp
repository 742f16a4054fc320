// The state file: see kestd_store.h for its layout.
#include "kestd_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "kest_io.h"
#include "kestd_msg.h"

namespace {

constexpr char kMagic[8] = {'K', 'E', 'S', 'T', 'D', 'C', 'F', 'G'};
constexpr size_t kHeadSize = 16;
constexpr size_t kFileSize = kHeadSize + sizeof(kestd_config);

bool write_all(int fd, const uint8_t *p, size_t n)
{
    return kest_io_loop(const_cast<uint8_t *>(p), n, [fd](uint8_t *q, size_t k) {
               return ::write(fd, q, k);
           }) == static_cast<ssize_t>(n);
}

std::string folder_of(const std::string &path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

std::string fail(const char *step, const std::string &path)
{
    return std::string(step) + " " + path + ": " + std::strerror(errno);
}

// Writes `bytes` to a new file beside `path`; its name, or empty with the
// reason. mkostemp makes the file with O_CREAT|O_EXCL and mode 0600, so a
// file or link planted under any name is never opened, and the file is the
// service's own whatever the umask.
std::string write_fresh(const std::string &path, const std::vector<uint8_t> &bytes,
                        std::string &why)
{
    std::string name = path + ".XXXXXX";
    const int fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0) {
        why = fail("cannot create a file beside", path);
        return {};
    }
    const bool written = write_all(fd, bytes.data(), bytes.size()) && ::fsync(fd) == 0;
    if (!written)
        why = fail("cannot write", name);
    if (::close(fd) != 0 && written)
        why = fail("cannot close", name);
    if (!why.empty()) {
        ::unlink(name.c_str());
        return {};
    }
    return name;
}

// Reads at most `room` bytes; the count, or -1 with errno set.
ssize_t read_up_to(int fd, uint8_t *p, size_t room)
{
    return kest_io_loop(p, room, [fd](uint8_t *q, size_t k) { return ::read(fd, q, k); });
}

// What is wrong with the file's bytes, or empty.
std::string problem_of(const std::vector<uint8_t> &bytes, size_t got)
{
    uint32_t version = 0, size = 0;
    std::memcpy(&version, bytes.data() + 8, 4);
    std::memcpy(&size, bytes.data() + 12, 4);
    if (got < kHeadSize || std::memcmp(bytes.data(), kMagic, 8) != 0)
        return "not a kestd state file";
    if (version != kKestdStoreVersion)
        return "format version " + std::to_string(version) + ", this kestd reads " +
               std::to_string(kKestdStoreVersion);
    if (got != kFileSize || size != sizeof(kestd_config))
        return "length " + std::to_string(got) + " bytes, expected " + std::to_string(kFileSize);
    return {};
}

// False with the reason when `fd` is not a regular file.
bool regular_file(int fd, const std::string &path, std::string &why)
{
    struct stat sb;
    if (::fstat(fd, &sb) != 0) {
        why = fail("cannot examine", path);
        return false;
    }
    if (S_ISDIR(sb.st_mode)) {
        errno = EISDIR;
        why = fail("cannot read", path);
        return false;
    }
    if (!S_ISREG(sb.st_mode)) {
        why = path + " is not a regular file";
        return false;
    }
    return true;
}

} // namespace

bool kestd_save_config(const std::string &path, const kestd_config &cfg, std::string &why)
{
    std::vector<uint8_t> bytes(kFileSize);
    const uint32_t version = kKestdStoreVersion;
    const uint32_t size = sizeof cfg;
    std::memcpy(bytes.data(), kMagic, 8);
    std::memcpy(bytes.data() + 8, &version, 4);
    std::memcpy(bytes.data() + 12, &size, 4);
    std::memcpy(bytes.data() + kHeadSize, &cfg, sizeof cfg);

    why.clear();
    const std::string fresh = write_fresh(path, bytes, why);
    if (fresh.empty())
        return false;
    if (::rename(fresh.c_str(), path.c_str()) != 0) {
        why = fail("cannot rename onto", path);
        ::unlink(fresh.c_str());
        return false;
    }
    // The rename itself lasts only once the folder is on disk.
    const std::string folder = folder_of(path);
    const int dfd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd < 0 || ::fsync(dfd) != 0) {
        why = fail("cannot sync folder", folder);
        if (dfd >= 0)
            ::close(dfd);
        return false;
    }
    ::close(dfd);
    return true;
}

kestd_load_result kestd_load_config(const std::string &path, kestd_config &cfg, std::string &why)
{
    // O_NONBLOCK: a FIFO planted under the name must not hang the start.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT)
            return kestd_load_result::missing;
        why = fail("cannot open", path);
        return kestd_load_result::unreadable;
    }
    if (!regular_file(fd, path, why)) {
        ::close(fd);
        return kestd_load_result::unreadable;
    }
    std::vector<uint8_t> bytes(kFileSize + 1);
    const ssize_t got = read_up_to(fd, bytes.data(), bytes.size());
    if (got < 0) {
        why = fail("cannot read", path);
        ::close(fd);
        return kestd_load_result::unreadable;
    }
    ::close(fd);
    why = problem_of(bytes, static_cast<size_t>(got));
    if (!why.empty())
        return kestd_load_result::damaged;
    // Checked in place before it is taken: the service must never run on
    // values it would have refused.
    kestd_config copy;
    std::memcpy(&copy, bytes.data() + kHeadSize, sizeof copy);
    if (const char *problem = kestd_config_problem(copy)) {
        why = problem;
        return kestd_load_result::damaged;
    }
    std::memcpy(&cfg, &copy, sizeof cfg);
    return kestd_load_result::loaded;
}

namespace {

// The state may be kept only where no other user can put a file of theirs in
// its place: a folder of this user's or root's that others cannot write to,
// or a sticky one (where nobody removes or renames what is not theirs); and
// a state file that is this user's own.
bool trusted_place(int dfd, const std::string &folder, const std::string &path, std::string &why)
{
    const uid_t me = ::geteuid();
    struct stat sb;
    if (::fstat(dfd, &sb) != 0) {
        why = fail("cannot examine", folder);
        return false;
    }
    const bool others_write =
        (sb.st_uid != me && sb.st_uid != 0) || (sb.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    if (others_write && (sb.st_mode & S_ISVTX) == 0) {
        why = "state folder " + folder +
              " can be written by other users; keep the state in a folder of its own";
        return false;
    }
    const std::string name = path.substr(path.rfind('/') + 1);
    if (::fstatat(dfd, name.c_str(), &sb, AT_SYMLINK_NOFOLLOW) == 0 && sb.st_uid != me) {
        why = "state file " + path + " belongs to uid " + std::to_string(sb.st_uid) +
              ", not to this service's uid " + std::to_string(me);
        return false;
    }
    return true;
}

} // namespace

int kestd_lock_state(const std::string &path, std::string &why)
{
    const std::string folder = folder_of(path);
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        why = fail("cannot open state folder", folder);
        return -1;
    }
    if (!trusted_place(fd, folder, path, why)) {
        ::close(fd);
        return -1;
    }
    while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EINTR)
            continue;
        why = errno == EWOULDBLOCK
                  ? "state file " + path + " is in use by another kestd (its folder " + folder +
                        " is locked)"
                  : fail("cannot lock", folder);
        ::close(fd);
        return -1;
    }
    return fd;
}
