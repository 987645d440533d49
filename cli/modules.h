// The modules that the tool loads.
#pragma once

#include <string>
#include <vector>

#include "runtime/commands.h"

namespace cli {

// Loads the named modules, or, when none is named, the one beside the tool.
void loadModules(libzepl::CommandLibrary& library, const std::vector<std::string>& named);

}  // namespace cli
