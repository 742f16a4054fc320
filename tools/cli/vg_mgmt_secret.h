// A secret given through a file instead of the command line (where ps shows
// it): --password-file FILE, or "-" for stdin, with a prompt that does not
// echo when stdin is a terminal.
#pragma once

#include <optional>
#include <string>

namespace vgm {

// At most this many bytes are read; the longest secret the module holds is
// shorter.
inline constexpr size_t kMaxSecretFile = 4096;

// The secret in `file` ("-": stdin), without one trailing newline; nullopt
// with the problem (which never holds the secret).
std::optional<std::string> read_secret(const std::string &file, const std::string &what,
                                       std::string &problem);

} // namespace vgm
