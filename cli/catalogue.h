// zepl commands, zepl help and zepl version.
#pragma once

#include <string>
#include <vector>

namespace cli {

struct CatalogueArguments {
    std::string word;  // of commands: a part of a name or signature; of help: the command
    bool json = false;
    std::vector<std::string> modules;
};

int listCommands(const CatalogueArguments& arguments);
int explainCommand(const CatalogueArguments& arguments);
int printVersions(const CatalogueArguments& arguments);

}  // namespace cli
