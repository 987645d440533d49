// zepl commands, zepl help and zepl version.
#pragma once

#include <string>

#include "cli/modules.h"

namespace cli {

struct CatalogueArguments {
    std::string word;  // of commands: a part of a name or signature; of help: the command
    bool json = false;
    ModuleArguments modules;
};

int listCommands(const CatalogueArguments& arguments);
int explainCommand(const CatalogueArguments& arguments);
int printVersions(const CatalogueArguments& arguments);

}  // namespace cli
