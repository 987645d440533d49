// The modules that the tool loads.
#pragma once

#include <string>
#include <vector>

#include "runtime/commands.h"

namespace cli {

// What a call says of modules.
struct ModuleArguments {
    std::vector<std::string> files;  // beside the others
    bool defaults = true;            // the tool's own, and those of $ZEPL_MODULE_PATH
};

// Loads the tool's own modules (zcmds3.zlm beside the tool, or what is in the installed folder), those in the folders of
// $ZEPL_MODULE_PATH, by their names, and then the named ones. A file that was loaded already is not loaded again.
void loadModules(libzepl::CommandLibrary& library, const ModuleArguments& arguments);

}  // namespace cli
