// The states of the Ansible collection's config module, as Ansible's network
// resource modules name them: each turns the given document and the current
// configuration into the document that the ordinary apply makes true.
#pragma once

#include <optional>
#include <string>

#include "config_doc.h"

namespace vgcfg {

enum class config_state { merged, replaced, overridden, deleted, gathered, rendered, parsed };

std::optional<config_state> state_named(const std::string &name);
const char *state_names(); // "merged, replaced, ..." for messages

// The configuration that kestd starts with (and a module leaves the factory
// with), secrets masked: a masked secret keeps the one the module holds.
const json &defaults_document();

// The document to apply for a changing state: given is the task's document,
// current the configuration as read, secrets in clear.
json state_target(config_state s, const json &given, const json &current);

// The document with every secret masked (settings and list entries).
json mask_secrets(json doc);
// Before with the predicted values of the managed keys laid over it.
json laid_over(json before, json managed);

} // namespace vgcfg
