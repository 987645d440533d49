#include "cli/pages.h"

#include <set>
#include <sstream>

namespace cli {

namespace {

// A command of another module can have the name of one that has a page.
bool isDescribed(const libzepl::Command& command) { return command.module == "zcmds3"; }

void addCautions(libzepl::CautionTable& table, const libzepl::Command* command, const std::string& text) {
    if (command != nullptr && isDescribed(*command)) table.add(command->name, text);
}

std::vector<CommandArea> readAreas() {
    std::vector<CommandArea> areas;
    std::istringstream lines(documentTexts().at("commands"));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("## ")) areas.push_back({line.substr(3), {}});
        if (line.starts_with("- [")) areas.back().commands.push_back(line.substr(3, line.find(']') - 3));
    }
    return areas;
}

// The rows of docs/tasks.md: | task | [NAME](commands/NAME.md), ... | example |
std::multimap<std::string, std::string> readTasks() {
    std::multimap<std::string, std::string> tasks;
    std::istringstream lines(documentTexts().at("tasks"));
    constexpr std::string_view link = "](commands/";
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("| ")) continue;
        const std::string task = line.substr(2, line.find(" |", 2) - 2);
        for (std::size_t at = line.find(link); at != std::string::npos; at = line.find(link, at + 1)) {
            const std::size_t name = at + link.size();
            tasks.emplace(line.substr(name, line.find('.', name) - name), task);
        }
    }
    return tasks;
}

}  // namespace

std::string pageOf(const libzepl::Command& command) {
    const auto found = pageTexts().find(command.name);
    return found == pageTexts().end() || !isDescribed(command) ? std::string() : found->second;
}

std::string summaryOf(const libzepl::Command& command) {
    const std::string page = pageOf(command), line = page.substr(0, page.find('\n'));
    const std::size_t dash = line.find(" - ");
    return dash == std::string::npos ? std::string() : line.substr(dash + 3);
}

std::vector<std::string> tasksOf(const libzepl::Command& command) {
    static const std::multimap<std::string, std::string> all = readTasks();
    std::vector<std::string> tasks;
    if (!isDescribed(command)) return tasks;
    const auto [first, last] = all.equal_range(command.name);
    for (auto each = first; each != last; ++each) tasks.push_back(each->second);
    return tasks;
}

const std::vector<CommandArea>& commandAreas() {
    static const std::vector<CommandArea> areas = readAreas();
    return areas;
}

std::string guideSection(const std::string& title) {
    std::istringstream lines(documentTexts().at("guide"));
    std::string section, line;
    std::size_t level = 0;  // of the heading
    bool inCode = false;
    while (std::getline(lines, line)) {
        if (line.starts_with("```")) inCode = !inCode;
        const std::size_t marks = inCode ? 0 : std::min(line.find_first_not_of('#'), line.size());
        if (level > 0 && marks > 0 && marks <= level) break;
        if (marks > 0 && line.substr(marks) == " " + title) level = marks;
        if (level > 0) section += line + "\n";
    }
    return section;
}

std::shared_ptr<const libzepl::CautionTable> pageCautions(const libzepl::CommandLibrary& library) {
    auto table = std::make_shared<libzepl::CautionTable>();
    for (const auto& [name, text] : cautionTexts()) addCautions(*table, library.find(name), text);
    return table;
}

std::shared_ptr<const libzepl::CautionTable> pageCautions(const libzepl::CommandLibrary& library,
                                                          const libzepl::Procedure& procedure) {
    std::set<std::string_view> names;
    for (const libzepl::CommandUse& use : procedure.commands) names.insert(use.command);
    auto table = std::make_shared<libzepl::CautionTable>();
    for (const std::string_view name : names)
        if (const auto found = cautionTexts().find(std::string(name)); found != cautionTexts().end())
            addCautions(*table, library.find(name), found->second);
    return table;
}

}  // namespace cli
