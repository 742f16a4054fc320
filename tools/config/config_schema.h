// The JSON Schema of the configuration document.
#pragma once

#include "config_doc.h"

namespace vgcfg {

json make_schema();

} // namespace vgcfg
