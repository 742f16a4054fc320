// vg-webd's users: a file of "name:role:hash" lines (hash: yescrypt through
// libcrypt), 0600, that only its owner may change; there is no default user.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace webd {

enum class role { viewer, admin };

const char *role_name(role r);
std::optional<role> role_named(const std::string &name);

struct user {
    std::string name;
    role r = role::viewer;
    std::string hash;
};

// Reads a file that holds secrets (users, a TLS key, a token): a regular
// file, not a link, of this user or root, that no one else may read or
// write, of at most max bytes. False with problem.
bool read_private_file(const std::string &path, size_t max, std::string &text,
                       std::string &problem);

// Reads the users file. It must be a regular file (not a link) of this user
// or root that no one else may write or read. False with problem.
bool load_users(const std::string &path, std::vector<user> &users, std::string &problem);

// The user whose password this is, or none. Takes as long for a name that is
// not there, so that the time does not tell which names exist.
std::optional<user> check_password(const std::vector<user> &users, const std::string &name,
                                   const std::string &password);

// vg-webd passwd: sets the password (and role) of `name`, adding the user
// when new; the file is written whole (a new 0600 file renamed over it).
bool set_password(const std::string &path, const std::string &name, role r,
                  const std::string &password, std::string &problem);

// Compares two secrets in a time that does not depend on where they differ.
bool same_token(const std::string &a, const std::string &b);

// The problem of a user name or a password, or "" when it may be used.
std::string name_problem(const std::string &name);
std::string password_problem(const std::string &password);

} // namespace webd
