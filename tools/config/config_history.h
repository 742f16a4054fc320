// The history of applies: each apply that changed something keeps the values
// it replaced (secrets in clear, in the private state folder only), at most
// kHistoryMax per module; `config history` lists them, newest first, and
// `config rollback [N]` applies one back through the safe apply.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "config_state.h"

namespace vgcfg {

inline constexpr size_t kHistoryMax = 10;

bool history_add(const state_store &st, const json &replaced, size_t changes,
                 const std::string &applied, std::string &problem);
// Newest first: {"n", "when", "changes", "applied"}, without the documents.
std::vector<json> history_list(const state_store &st);
// The values replaced by the N-th apply back (1: the last one).
std::optional<json> history_document(const state_store &st, size_t n);

} // namespace vgcfg
