// Naming a refused step down to the document's leaf (config_leaf.cpp).
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "config_apply.h"

namespace vgcfg {

// "network.snat[3].global-port": the n-th entry of the document's list and,
// where the service's reason (error number err) points at one, its field.
std::string entry_leaf(const list_desc &l, const std::string &list_path, size_t n, int32_t err);
// The paths of a step's changes, joined by ", ".
std::string leaves_of(const std::vector<change> &changes);
// A step's call that, when refused, names leaf(error number) in c.what.
std::function<bool(conn &)> naming(std::function<bool(conn &)> run,
                                   std::function<std::string(int32_t)> leaf);

} // namespace vgcfg
