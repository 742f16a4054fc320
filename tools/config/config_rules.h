// The rules of a document that reach across its values (config_validate_rules.cpp
// and config_validate_auth.cpp); each adds "path: why" problems.
#pragma once

#include <string>
#include <vector>

#include "config_apply.h"

namespace vgcfg {

// The list's limit, entries that are the same however spelled, and the
// list's own rules (SNAT global ports).
void check_list_rules(const list_desc &l, const json &v, const std::string &at,
                      std::vector<std::string> &out);
// References within the document, the keys an authentication type needs,
// and USB with every function off.
void check_document_rules(const json &doc, std::vector<std::string> &out);

} // namespace vgcfg
