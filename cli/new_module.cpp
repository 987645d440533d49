#include "cli/new_module.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "cli/catalogue.h"
#include "cli/pages.h"
#include "cli/run.h"
#include "cli/standard_streams.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using libzepl::Problem;

void checkName(const std::string& name) {
    const auto isGood = [](char letter) { return std::islower(static_cast<unsigned char>(letter)) != 0; };
    const auto canFollow = [&](char letter) {
        return isGood(letter) || letter == '_' || std::isdigit(static_cast<unsigned char>(letter)) != 0;
    };
    // Names of CMake's own targets are taken, too.
    const std::set<std::string> taken{"all", "clean", "help", "install", "package", "test", "zcmds3", "zepl"};
    if (name.empty() || !isGood(name[0]) || !std::all_of(name.begin(), name.end(), canFollow) || taken.contains(name))
        throw Problem("a module cannot be named " + libzepl::quoted(name),
                      "use small letters, digits and _, such as bench_tools");
    if (pageTexts().contains(upperCase(name)))
        throw Problem("the module would have the command " + upperCase(name) + ", which zcmds3 has already",
                      "choose another name");
    if (fs::exists(name)) throw Problem(libzepl::quoted(name) + " exists already", "choose another name");
}

std::string filled(std::string text, const std::string& mark, const std::string& with) {
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + with.size()))
        text.replace(at, mark.size(), with);
    return text;
}

void writeFile(const fs::path& path, const std::string& text) {
    errno = 0;
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        throw Problem(path.string() + " cannot be written: " + std::strerror(errno),
                      "remove the folder, make room, and call this again");
}

}  // namespace

int newModule(const std::string& name) {
    checkName(name);
    const std::string command = upperCase(name);
    std::error_code error;
    if (!fs::create_directory(name, error))
        throw Problem(libzepl::quoted(name) + " cannot be made: " + error.message(), "call this where you may write");
    for (const auto& [file, text] : moduleTemplate()) {
        const std::string placed = file.starts_with("module") ? name + file.substr(6) : file;
        writeFile(fs::path(name) / placed, filled(filled(text, "@NAME@", name), "@COMMAND@", command));
    }
    print("made the module " + name + " with the command " + command + "; next:\n    cd " + name +
          "\n    cmake -S . -B build && cmake --build build && ctest --test-dir build\n    zepl run --module build/" +
          name + ".zlm example.zp\n");
    return allWell;
}

}  // namespace cli
