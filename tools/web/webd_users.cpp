// The users file: checks of its mode and owner, yescrypt hashes, and a write
// that leaves the old file or the new one, never half of either.
#include "webd_users.h"

#include <crypt.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>

namespace webd {

namespace {

constexpr size_t kMaxUsersFile = 64 * 1024;
constexpr size_t kMaxPassword = 512;

std::string hash_of(const std::string &password, const std::string &setting)
{
    auto data = std::make_unique<crypt_data>();
    const char *h = crypt_rn(password.c_str(), setting.c_str(), data.get(), sizeof(crypt_data));
    std::string out = h != nullptr && h[0] != '*' ? h : "";
    explicit_bzero(data.get(), sizeof(crypt_data));
    return out;
}

bool parse_users(const std::string &text, std::vector<user> &users, std::string &problem)
{
    std::istringstream in(text);
    int n = 0;
    for (std::string line; std::getline(in, line);) {
        ++n;
        if (line.empty() || line[0] == '#')
            continue;
        const size_t a = line.find(':'), b = line.find(':', a + 1);
        std::optional<role> r = a == std::string::npos || b == std::string::npos
                                    ? std::nullopt
                                    : role_named(line.substr(a + 1, b - a - 1));
        if (!r || !name_problem(line.substr(0, a)).empty() || line.compare(b + 1, 3, "$y$") != 0)
            return problem = "line " + std::to_string(n) +
                             " is not 'name:admin|viewer:yescrypt hash' (vg-webd passwd writes it)",
                   false;
        users.push_back(user{line.substr(0, a), *r, line.substr(b + 1)});
    }
    return true;
}

bool read_all(int fd, size_t max, std::string &text)
{
    char buf[4096];
    for (ssize_t n; (n = ::read(fd, buf, sizeof buf)) != 0;) {
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 || text.size() + static_cast<size_t>(n) > max)
            return false;
        text.append(buf, static_cast<size_t>(n));
    }
    return true;
}

bool write_whole(const std::string &path, const std::string &text, std::string &problem)
{
    const std::string tmp = path + ".new";
    ::unlink(tmp.c_str()); // one left by a write that died; O_EXCL below refuses anything else
    const int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return problem = tmp + ": " + std::strerror(errno), false;
    const bool ok = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                    ::fsync(fd) == 0;
    ::close(fd);
    if (!ok || ::rename(tmp.c_str(), path.c_str()) != 0) {
        problem = path + ": cannot write it (" + std::strerror(errno) + "); it is as it was";
        ::unlink(tmp.c_str());
        return false;
    }
    return true;
}

} // namespace

bool same_token(const std::string &a, const std::string &b)
{
    unsigned char diff = a.size() == b.size() ? 0 : 1;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

const char *role_name(role r)
{
    return r == role::admin ? "admin" : "viewer";
}

std::optional<role> role_named(const std::string &name)
{
    if (name == "admin")
        return role::admin;
    if (name == "viewer")
        return role::viewer;
    return std::nullopt;
}

std::string name_problem(const std::string &name)
{
    if (name.empty() || name.size() > 32)
        return "a user name has 1 to 32 characters";
    for (char c : name)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-' || c == '.'))
            return "a user name has letters, digits, '_', '-' and '.' only";
    return "";
}

std::string password_problem(const std::string &password)
{
    if (password.size() < 10)
        return "a password has at least 10 characters";
    if (password.size() > kMaxPassword)
        return "a password has at most 512 characters";
    if (password.find('\0') != std::string::npos || password.find('\n') != std::string::npos)
        return "a password holds no NUL and no line break";
    return "";
}

bool read_private_file(const std::string &path, size_t max, std::string &text, std::string &problem)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return problem = path + ": " + std::strerror(errno), false;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        problem = path + ": not a regular file";
    else if (st.st_uid != ::geteuid() && st.st_uid != 0)
        problem = path + ": owned by another user; it must be yours or root's";
    else if ((st.st_mode & 077) != 0)
        problem = path + ": others may read or change it (mode " +
                  std::to_string((st.st_mode >> 6) & 7) + std::to_string((st.st_mode >> 3) & 7) +
                  std::to_string(st.st_mode & 7) + "); it must be 0600 (chmod 600)";
    else if (!read_all(fd, max, text))
        problem = path + ": cannot read it, or larger than " + std::to_string(max / 1024) + " KiB";
    ::close(fd);
    return problem.empty();
}

bool load_users(const std::string &path, std::vector<user> &users, std::string &problem)
{
    std::string text;
    if (!read_private_file(path, kMaxUsersFile, text, problem))
        return false;
    users.clear();
    if (!parse_users(text, users, problem))
        return problem = path + ": " + problem, false;
    return true;
}

std::optional<user> check_password(const std::vector<user> &users, const std::string &name,
                                   const std::string &password)
{
    const user *found = nullptr;
    for (const user &u : users)
        if (u.name == name)
            found = &u;
    // An unknown name costs a hash too: another user's, which cannot match.
    const std::string stored = found != nullptr ? found->hash
                               : users.empty()  ? std::string("$y$")
                                                : users.front().hash;
    const bool ok =
        password.size() <= kMaxPassword && same_token(hash_of(password, stored), stored);
    if (found == nullptr || !ok)
        return std::nullopt;
    return *found;
}

bool set_password(const std::string &path, const std::string &name, role r,
                  const std::string &password, std::string &problem)
{
    std::vector<user> users;
    if (::access(path.c_str(), F_OK) == 0 && !load_users(path, users, problem))
        return false;
    char *salt = crypt_gensalt_ra("$y$", 0, nullptr, 0);
    const std::string hash = salt != nullptr ? hash_of(password, salt) : "";
    free(salt);
    if (hash.empty())
        return problem = "libcrypt cannot make a yescrypt hash here", false;
    bool replaced = false;
    for (user &u : users)
        if (u.name == name)
            u = user{name, r, hash}, replaced = true;
    if (!replaced)
        users.push_back(user{name, r, hash});
    std::string text;
    for (const user &u : users)
        text += u.name + ":" + role_name(u.r) + ":" + u.hash + "\n";
    return write_whole(path, text, problem);
}

} // namespace webd
