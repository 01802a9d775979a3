#pragma once

#include <string>

#include "service/sdk/module.h"

namespace orvan::core {

// A module's help: the whole one that it gives, or else one that is made of its rows. Throws what
// the module throws.
std::string HelpTextOf(const sdk::Module& module);

}  // namespace orvan::core
