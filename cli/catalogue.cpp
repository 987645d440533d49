#include "cli/catalogue.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "cli/modules.h"
#include "cli/pages.h"
#include "cli/run.h"
#include "cli/standard_streams.h"
#include "runtime/diagnostics.h"
#include "runtime/json_writer.h"
#include "runtime/signature.h"

namespace cli {

namespace {

using namespace libzepl;

std::string upperCase(std::string text) {
    for (char& letter : text) letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    return text;
}

// The signature with each run of blanks made one, for a line.
std::string inOneLine(const std::string& signature) {
    std::string line;
    for (char letter : signature)
        if (letter != ' ' || (!line.empty() && line.back() != ' ')) line += letter;
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line;
}

std::vector<const Command*> matching(const CommandLibrary& library, const std::string& word) {
    std::vector<const Command*> found;
    for (const Command& command : library.commands())
        if (upperCase(command.name + " " + command.signature.value_or("")).find(upperCase(word)) != std::string::npos)
            found.push_back(&command);
    return found;
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

}  // namespace

int listCommands(const CatalogueArguments& arguments) {
    CommandLibrary library;
    loadModules(library, arguments.modules);
    const std::vector<const Command*> commands = matching(library, arguments.word);
    if (arguments.json) {
        printJson(commands);
        return allWell;
    }
    std::string shownModule = library.modules().front().name;
    for (const Command* command : commands) {
        if (command->module != shownModule) print("\nof the module " + command->module + ":\n");
        shownModule = command->module;
        char columns[64];
        std::snprintf(columns, sizeof columns, " %6u  ", command->taskSpace);
        const std::string padding(command->name.size() < 12 ? 12 - command->name.size() : 0, ' ');
        print(command->name + padding + columns +
              (command->signature ? inOneLine(*command->signature) : "(without a signature)") + "\n");
    }
    if (commands.empty()) print("no command has " + libzepl::quoted(arguments.word) + " in its name or signature\n");
    return allWell;
}

int explainCommand(const CatalogueArguments& arguments) {
    CommandLibrary library;
    loadModules(library, arguments.modules);
    const Command* command = library.find(upperCase(arguments.word));
    if (command == nullptr) {
        std::vector<std::string> names;
        for (const Command& each : library.commands()) names.push_back(each.name);
        const std::string near = suggestion(arguments.word, names);
        throw Problem("unknown command " + libzepl::quoted(arguments.word),
                      near.empty() ? "zepl commands lists the commands" : near);
    }
    const std::string page = pageOf(*command);
    print((page.empty() ? command->name + ", of the module " + command->module : page) + "\n");
    print("Parameters:\n" + (command->signature
                                 ? layOut(*command->parsed)
                                 : "  It has no signature: the command checks its parameters itself.\n"));
    return allWell;
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
