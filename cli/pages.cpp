#include "cli/pages.h"

namespace cli {

namespace {

// A command of another module can have the name of one that has a page.
bool isDescribed(const libzepl::Command& command) { return command.module == "zcmds3"; }

}  // namespace

std::string pageOf(const libzepl::Command& command) {
    const auto found = pageTexts().find(command.name);
    return found == pageTexts().end() || !isDescribed(command) ? std::string() : found->second;
}

std::shared_ptr<const libzepl::CautionTable> pageCautions(const libzepl::CommandLibrary& library) {
    auto table = std::make_shared<libzepl::CautionTable>();
    for (const auto& [name, text] : cautionTexts()) {
        const libzepl::Command* command = library.find(name);
        if (command != nullptr && isDescribed(*command)) table->add(name, text);
    }
    return table;
}

}  // namespace cli
