// The state file: see kestd_store.h for its layout.
#include "kestd_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "kestd_msg.h"

namespace {

constexpr char MAGIC[8] = {'K', 'E', 'S', 'T', 'D', 'C', 'F', 'G'};
constexpr size_t HEAD = 16;
constexpr size_t FILE_SIZE = HEAD + sizeof(kestd_config) + 4;

bool write_all(int fd, const uint8_t *p, size_t n)
{
    while (n > 0) {
        const ssize_t w = ::write(fd, p, n);
        if (w < 0 && errno == EINTR)
            continue;
        if (w <= 0)
            return false;
        p += w;
        n -= static_cast<size_t>(w);
    }
    return true;
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

} // namespace

uint32_t kestd_crc32(const uint8_t *data, size_t len)
{
    uint32_t crc = 0xffffffffu;
    for (size_t i = 0; i < len; ++i) {
        crc ^= data[i];
        for (int b = 0; b < 8; ++b)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

bool kestd_save_config(const std::string &path, const kestd_config &cfg, std::string &why)
{
    std::vector<uint8_t> bytes(FILE_SIZE);
    const uint32_t version = KESTD_STORE_VERSION;
    const uint32_t size = sizeof cfg;
    std::memcpy(bytes.data(), MAGIC, 8);
    std::memcpy(bytes.data() + 8, &version, 4);
    std::memcpy(bytes.data() + 12, &size, 4);
    std::memcpy(bytes.data() + HEAD, &cfg, sizeof cfg);
    const uint32_t crc = kestd_crc32(bytes.data(), FILE_SIZE - 4);
    std::memcpy(bytes.data() + FILE_SIZE - 4, &crc, 4);

    const std::string tmp = path + ".tmp";
    const int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        why = fail("cannot create", tmp);
        return false;
    }
    const bool written = write_all(fd, bytes.data(), bytes.size()) && ::fsync(fd) == 0;
    why = written ? "" : fail("cannot write", tmp);
    if (::close(fd) != 0 && written) {
        why = fail("cannot close", tmp);
    }
    if (!why.empty()) {
        ::unlink(tmp.c_str());
        return false;
    }
    if (::rename(tmp.c_str(), path.c_str()) != 0) {
        why = fail("cannot rename onto", path);
        ::unlink(tmp.c_str());
        return false;
    }
    // The rename itself lasts only once the folder is on disk.
    const std::string folder = folder_of(path);
    const int dfd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
    return true;
}

kestd_load_result kestd_load_config(const std::string &path, kestd_config &cfg, std::string &why)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT)
            return kestd_load_result::missing;
        why = fail("cannot open", path);
        return kestd_load_result::damaged;
    }
    std::vector<uint8_t> bytes(FILE_SIZE + 1);
    size_t got = 0;
    for (;;) {
        const ssize_t r = ::read(fd, bytes.data() + got, bytes.size() - got);
        if (r < 0 && errno == EINTR)
            continue;
        if (r <= 0)
            break;
        got += static_cast<size_t>(r);
        if (got == bytes.size())
            break;
    }
    ::close(fd);
    uint32_t version = 0, size = 0, crc = 0;
    std::memcpy(&version, bytes.data() + 8, 4);
    std::memcpy(&size, bytes.data() + 12, 4);
    std::memcpy(&crc, bytes.data() + FILE_SIZE - 4, 4);
    if (got < HEAD || std::memcmp(bytes.data(), MAGIC, 8) != 0)
        why = "not a kestd state file";
    else if (version != KESTD_STORE_VERSION)
        why = "format version " + std::to_string(version) + ", this kestd reads " +
              std::to_string(KESTD_STORE_VERSION);
    else if (got != FILE_SIZE || size != sizeof cfg)
        why = "length " + std::to_string(got) + " bytes, expected " + std::to_string(FILE_SIZE);
    else if (kestd_crc32(bytes.data(), FILE_SIZE - 4) != crc)
        why = "checksum mismatch";
    if (!why.empty())
        return kestd_load_result::damaged;
    // Checked in place before it is taken: the service must never run on
    // values it would have refused.
    kestd_config copy;
    std::memcpy(&copy, bytes.data() + HEAD, sizeof copy);
    if (const char *problem = kestd_config_problem(copy)) {
        why = problem;
        return kestd_load_result::damaged;
    }
    std::memcpy(&cfg, &copy, sizeof cfg);
    return kestd_load_result::loaded;
}
