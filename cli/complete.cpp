#include "cli/complete.h"

#include <algorithm>

#include "cli/catalogue.h"
#include "cli/modules.h"
#include "cli/run.h"
#include "cli/standard_streams.h"
#include "runtime/procedure.h"

namespace cli {

namespace {

using namespace libzepl;
using Words = std::vector<std::string>;

constexpr const char* anyFile = "@files";

// The declarations of the procedure on the line; none where there is no such file.
Procedure procedureOn(const Words& words) {
    std::vector<Diagnostic> ignored;
    const bool isReplay = words.front() == "replay" && words.size() > 1;
    for (const std::string& word : words) {
        const std::string file = isReplay ? words[1] + "/procedure.zp" : word;
        if (file.ends_with(".zp")) try {
                return parseProcedure({file, readTextFile(file)}, ignored);
            } catch (const Problem&) {
                break;
            }
    }
    return {};
}

template <class Declarations, class Wanted>
void addNames(const Declarations& declarations, Words& names, Wanted wanted) {
    for (const auto& declared : declarations)
        if (wanted(declared)) names.push_back(declared.name + "=");
}

Words namesFor(const std::string& option, const Words& words) {
    const Procedure procedure = procedureOn(words);
    const auto all = [](const auto&) { return true; };
    Words names;
    if (option == "--set") {
        addNames(procedure.variables, names, all);
        addNames(procedure.constants, names, all);
        return names;
    }
    const auto hasFile = [&](const auto& declared) {
        return option == "--in" || option == "--each" ? declared.from.has_value() : declared.to.has_value();
    };
    addNames(procedure.pipes, names, hasFile);
    addNames(procedure.triggers, names, hasFile);
    if (option == "--discard")
        for (std::string& name : names) name.pop_back();
    if (names.empty()) addNames(procedure.pipes, names, all);
    return names;
}

// What the value of the option can be.
Words valuesOf(const std::string& option, const std::string& value, const Words& words) {
    if (option == "--discard") return namesFor(option, words);
    if (option == "--in" || option == "--out" || option == "--set" || option == "--each") {
        if (value.find('=') == std::string::npos) return namesFor(option, words);
        return option == "--set" ? Words() : Words{anyFile};
    }
    if (option == "--feed") return {"whole", "lockstep", "random:"};
    if (option == "--type") return {"int16", "int32", "float", "double"};
    if (option == "--to" || option == "--events") return {anyFile};
    if (option == "--module") return {std::string(anyFile) + " .zlm"};
    if (option == "--table") return {std::string(anyFile) + " .csv"};
    if (option == "--capture") return {anyFile};
    if (option == "--report") return {std::string(anyFile) + " .json"};
    return {};
}

Words commandNames() {
    CommandLibrary library;
    loadModules(library, {});
    Words names = topicNames();
    for (const Command& command : library.commands()) names.push_back(command.name);
    return names;
}

Words optionsOf(const CLI::App& command) {
    Words options;
    for (const CLI::Option* option : command.get_options())
        for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
    return options;
}

Words candidates(const CLI::App& app, const Words& words) {
    Words actions;
    const CLI::App* action = nullptr;
    for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
        actions.push_back(each->get_name());
        if (each->get_name() == words[0]) action = each;
    }
    if (words.size() == 1) return words[0].starts_with("-") ? Words{"--help", "--version"} : actions;
    if (action == nullptr) return {};
    const std::string& last = words.back();
    const std::string& before = words[words.size() - 2];
    if (before.starts_with("--")) {
        const CLI::Option* option = action->get_option_no_throw(before);
        if (option != nullptr && option->get_items_expected_max() > 0) return valuesOf(before, last, words);
    }
    if (last.starts_with("--") && last.find('=') != std::string::npos) return {anyFile};
    if (last.starts_with("-")) return optionsOf(*action);
    if (words[0] == "run" || words[0] == "serve" || words[0] == "check" || words[0] == "batch")
        return {std::string(anyFile) + " .zp"};
    if (words[0] == "plot") return {anyFile};
    if (words[0] == "replay") return {anyFile};
    if (words[0] == "help") return commandNames();
    return {};
}

}  // namespace

int complete(const CLI::App& app, const std::vector<std::string>& words) {
    if (words.empty()) return allWell;
    // Names of commands can be typed in small letters.
    const std::string& last = words.back();
    const bool isCommand = words.size() > 1 && words[0] == "help";
    for (const std::string& candidate : candidates(app, words))
        if (candidate.starts_with(last) || candidate.starts_with(anyFile) ||
            (isCommand && candidate.starts_with(upperCase(last))))
            print(candidate + "\n");
    return allWell;
}

}  // namespace cli
