#include "cli/catalogue.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <optional>
#include <sstream>
#include <utility>

#include "cli/markdown.h"
#include "cli/modules.h"
#include "cli/pages.h"
#include "cli/run.h"
#include "cli/standard_streams.h"
#include "cli/terminal.h"
#include "runtime/diagnostics.h"
#include "runtime/json_writer.h"
#include "runtime/signature.h"

namespace cli {

namespace {

using namespace libzepl;

// The signature with each run of blanks made one, for a line.
std::string inOneLine(const std::string& signature) {
    std::string line;
    for (char letter : signature)
        if (letter != ' ' || (!line.empty() && line.back() != ' ')) line += letter;
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line;
}

bool hasWord(const std::string& text, const std::string& word) {
    const auto isLetter = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; };
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        if ((at == 0 || !isLetter(text[at - 1])) && (end == text.size() || !isLetter(text[end]))) return true;
    }
    return false;
}

// How well the command fits the word, 0 being best; nothing where it does not.
std::optional<int> rankOf(const Command& command, const std::string& word) {
    const std::string wanted = upperCase(word), name = command.name;
    const auto has = [&](const std::string& text) { return upperCase(text).find(wanted) != std::string::npos; };
    if (name == wanted) return 0;
    if (name.starts_with(wanted)) return 1;
    if (has(name)) return 2;
    if (has(summaryOf(command))) return 3;
    for (const std::string& task : tasksOf(command))
        if (has(task)) return 4;
    if (has(command.signature.value_or(""))) return 5;
    if (hasWord(upperCase(pageOf(command)), wanted)) return 6;
    return std::nullopt;
}

// Those that fit the word, the best first; all, in the order of their installation, without one.
std::vector<const Command*> matching(const CommandLibrary& library, const std::string& word) {
    std::vector<std::pair<int, const Command*>> found;
    for (const Command& command : library.commands())
        if (const std::optional<int> rank = word.empty() ? 0 : rankOf(command, word))
            found.emplace_back(*rank, &command);
    std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<const Command*> commands;
    for (const auto& [rank, command] : found) commands.push_back(command);
    return commands;
}

std::string areaOf(const Command& command) {
    if (!pageOf(command).empty())
        for (const CommandArea& area : commandAreas())
            for (const std::string& name : area.commands)
                if (name == command.name) return area.title;
    return "Of the module " + command.module;
}

class StandardOutput : public TextSink {
 public:
    void write(std::string_view text) override { print(text); }
};

void printJson(const std::vector<const Command*>& commands) {
    StandardOutput output;
    JsonWriter json(output);
    json.beginList();
    for (const Command* command : commands) {
        json.beginObject();
        json.pair("name", command->name);
        json.pair("module", command->module);
        json.pair("area", areaOf(*command));
        json.pair("summary", summaryOf(*command));
        json.pair("taskSpace", command->taskSpace);
        json.pair("attributes", command->attributes);
        json.key("signature");
        if (command->signature)
            json.value(*command->signature);
        else
            json.null();
        json.end();
    }
    json.end();
    output.write("\n");
}

constexpr std::size_t nameColumns = 12;

std::string lineOf(const Command& command, const std::string& text, int width) {
    const std::size_t used = std::min(command.name.size(), nameColumns - 1);
    std::string name(2, ' ');
    name.append(command.name).append(nameColumns - used, ' ');
    return wrapped(text.empty() ? "of the module " + command.module : text, width, name,
                   std::string(2 + nameColumns, ' '));
}

std::string signatureLine(const Command& command) {
    char space[32];
    std::snprintf(space, sizeof space, "%6u  ", command.taskSpace);
    return command.name + std::string(command.name.size() < nameColumns ? nameColumns - command.name.size() : 0, ' ') +
           " " + space + (command.signature ? inOneLine(*command.signature) : "(without a signature)") + "\n";
}

std::string headingOf(const std::string& title, const Screen& wide) {
    return rendered(std::string("# ").append(title), wide);
}

// By area, in the order of the index; those of other modules come last, in the order of their installation.
std::string listByArea(const std::vector<const Command*>& commands, const Screen& wide) {
    std::string text;
    const auto add = [&](const std::string& title, const std::string& lines) {
        if (lines.empty()) return;
        if (!text.empty()) text.push_back('\n');
        text.append(headingOf(title, wide)).append(lines);
    };
    for (const CommandArea& area : commandAreas()) {
        std::string lines;
        for (const std::string& name : area.commands)
            for (const Command* command : commands)
                if (command->name == name && !pageOf(*command).empty())
                    lines += lineOf(*command, summaryOf(*command), wide.width);
        add(area.title, lines);
    }
    std::string module, lines;
    for (const Command* command : commands) {
        if (!pageOf(*command).empty()) continue;
        if (command->module != module) add("Of the module " + module, std::exchange(lines, {}));
        module = command->module;
        lines += lineOf(*command, {}, wide.width);
    }
    add("Of the module " + module, lines);
    return text;
}

struct Topic {
    const char* name;
    const char* about;
    std::vector<const char*> sections;  // of the guide
};

const std::vector<Topic>& topics() {
    static const std::vector<Topic> all{
        {"language", "statements, clauses and expressions of procedures", {"The procedure language"}},
        {"files", "formats, channels, rates and streams", {"Files"}},
        {"batch", "a procedure on many recordings", {"Many recordings"}},
        {"feeding", "in which pieces inputs arrive, and time", {"Feeding", "Time and pauses"}},
        {"live", "connections and sound cards", {"Live work"}},
        {"errors",
         "what ends a run, faults, refused parameters and exit status",
         {"What ends a run", "Faults", "What is promised"}},
        {"report", "the report as JSON", {"The report"}},
        {"plots", "pictures of recordings, tables and events", {"Plots"}},
        {"editors", "mistakes, completion and pages of commands in an editor", {"In an editor"}},
    };
    return all;
}

[[noreturn]] void refuseTopic(const CommandLibrary& library, const std::string& word) {
    std::vector<std::string> names;
    for (const Command& each : library.commands()) names.push_back(each.name);
    const std::vector<std::string> known = topicNames();
    names.insert(names.end(), known.begin(), known.end());
    const std::string near = suggestion(word, names);
    throw Problem("there is no command or topic " + libzepl::quoted(word),
                  near.empty() ? "zepl commands lists the commands, zepl help the topics" : near);
}

std::string explanationOf(const Command& command, const Screen& wide) {
    const std::string page = pageOf(command), title = page.substr(0, page.find('\n'));
    std::string text = page.empty()
                           ? command.name + ", of the module " + command.module + "\n"
                           : headingOf(title, wide).append("\n").append(rendered(page.substr(title.size()), wide));
    if (!command.signature)
        return text.append("\n") +
               wrapped("It has no signature: the command checks its parameters itself.", wide.width, "", "");
    text.append("\n").append(headingOf("Parameters", wide));
    std::istringstream lines(layOut(*command.parsed));
    for (std::string line; std::getline(lines, line);) {
        const std::string blanks(std::min(line.find_first_not_of(' '), line.size()), ' ');
        text += wrapped(line, wide.width, blanks, blanks + "    ");
    }
    return text;
}

}  // namespace

std::string upperCase(std::string text) {
    for (char& letter : text) letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    return text;
}

int listCommands(const CatalogueArguments& arguments) {
    CommandLibrary library;
    loadModules(library, arguments.modules);
    const std::vector<const Command*> commands = matching(library, arguments.word);
    if (arguments.json) {
        printJson(commands);
        return allWell;
    }
    const Screen wide = screen();
    std::string text;
    if (commands.empty()) {
        text = "no command has " + libzepl::quoted(arguments.word) + " in its name, tasks, signature or page\n";
    } else if (arguments.signatures) {
        for (const Command* command : commands) text += signatureLine(*command);
    } else if (!arguments.word.empty()) {
        for (const Command* command : commands) text += lineOf(*command, summaryOf(*command), wide.width);
    } else {
        text = listByArea(commands, wide) + "\nzepl help NAME explains one, zepl commands WORD searches.\n";
    }
    printPaged(text);
    return allWell;
}

int explain(const CatalogueArguments& arguments) {
    const Screen wide = screen();
    for (const Topic& topic : topics()) {
        if (arguments.word != topic.name) continue;
        std::string text;
        for (const char* section : topic.sections)
            text.append(text.empty() ? "" : "\n").append(rendered(guideSection(section), wide));
        printPaged(text);
        return allWell;
    }
    CommandLibrary library;
    loadModules(library, arguments.modules);
    const Command* command = library.find(upperCase(arguments.word));
    if (command == nullptr) refuseTopic(library, arguments.word);
    printPaged(explanationOf(*command, wide));
    return allWell;
}

std::string topicList() {
    std::string text = "Topics of zepl help:\n";
    for (const Topic& topic : topics())
        text.append(wrapped(
            topic.about, 80,
            std::string(2, ' ').append(topic.name).append(nameColumns - std::string_view(topic.name).size(), ' '), ""));
    return text;
}

std::vector<std::string> topicNames() {
    std::vector<std::string> names;
    for (const Topic& topic : topics()) names.emplace_back(topic.name);
    return names;
}

int printVersions(const CatalogueArguments& arguments) {
    CommandLibrary library;
    loadModules(library, arguments.modules);
    print("runtime: build " + versionText(hostBuildVersion) + ", interface " + versionText(hostInterfaceVersion) +
          "\n");
    for (const LoadedModule& module : library.modules())
        print("module " + module.name + ": build " + versionText(module.buildVersion) + ", interface " +
              versionText(module.interfaceVersion) + ", " + (module.compatible ? "compatible" : "not compatible") +
              " with this runtime\n");
    return allWell;
}

}  // namespace cli
