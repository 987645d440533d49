// The pages of the user guide about commands, which are built into the tool.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "runtime/cautions.h"
#include "runtime/commands.h"

namespace cli {

// The page about a command of the module that the pages describe, else an empty text.
std::string pageOf(const libzepl::Command& command);

// The cautions of the pages, for the commands of the library that they describe.
std::shared_ptr<const libzepl::CautionTable> pageCautions(const libzepl::CommandLibrary& library);

// What the build took from docs/commands, by command.
const std::map<std::string, std::string>& pageTexts();
const std::map<std::string, std::string>& cautionTexts();

}  // namespace cli
