// The document that puts back what an apply changed, and only that.
#pragma once

#include <string>
#include <vector>

#include "config_doc.h"

namespace vgcfg {

// From the values an apply replaced (restore, secrets in clear; was, the
// same masked), what it meant them to become (after, masked) and the
// configuration now (masked, and in clear): a document that restores each
// value and list entry the apply changed that is still as it left it. What
// another client has set since is not in it: its path goes to `left`. A
// secret, whose change the masks hide, is put back where it differs.
json restoration(const json &restore, const json &was, const json &after, const json &now,
                 const json &now_clear, std::vector<std::string> &left);

} // namespace vgcfg
