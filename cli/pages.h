// The pages of the user guide about commands, which are built into the tool.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "runtime/cautions.h"
#include "runtime/commands.h"
#include "runtime/procedure.h"

namespace cli {

// The page about a command of the module that the pages describe, else an empty text.
std::string pageOf(const libzepl::Command& command);

// The cautions of the pages, for the commands of the library that they describe, or for those that the procedure uses.
std::shared_ptr<const libzepl::CautionTable> pageCautions(const libzepl::CommandLibrary& library);
std::shared_ptr<const libzepl::CautionTable> pageCautions(const libzepl::CommandLibrary& library,
                                                          const libzepl::Procedure& procedure);

// The areas of commands, in order, with their commands; from docs/commands.md.
struct CommandArea {
    std::string title;
    std::vector<std::string> commands;
};
const std::vector<CommandArea>& commandAreas();

// What the page says of the command in half a line; empty without a page.
std::string summaryOf(const libzepl::Command& command);

// What one does with the command, by the index of tasks.
std::vector<std::string> tasksOf(const libzepl::Command& command);

// The part of the guide under the heading of that title, with it; empty where there is none.
std::string guideSection(const std::string& title);

// What the build took from docs/commands, by command, and from docs, by name.
const std::map<std::string, std::string>& pageTexts();
const std::map<std::string, std::string>& cautionTexts();
const std::map<std::string, std::string>& documentTexts();

}  // namespace cli
