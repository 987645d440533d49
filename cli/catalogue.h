// zepl commands, zepl help and zepl version.
#pragma once

#include <string>
#include <vector>

#include "cli/modules.h"

namespace cli {

struct CatalogueArguments {
    std::string word;  // of commands: what is searched for; of help: the command or topic
    bool json = false;
    bool signatures = false;
    ModuleArguments modules;
};

int listCommands(const CatalogueArguments& arguments);
// A command's page and parameters, or a part of the guide.
int explain(const CatalogueArguments& arguments);
// The topics of help, a line each.
std::string topicList();
std::vector<std::string> topicNames();

std::string upperCase(std::string text);
int printVersions(const CatalogueArguments& arguments);

}  // namespace cli
