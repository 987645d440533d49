#include "cli/modules.h"

#include <algorithm>
#include <filesystem>

#include "cli/crash.h"

namespace cli {

void loadModules(libzepl::CommandLibrary& library, const ModuleArguments& arguments) {
    if (!arguments.defaults && arguments.files.empty())
        throw libzepl::Problem("no module is named", "name one with --module, or leave out --no-default-modules");
    namespace fs = std::filesystem;
    std::vector<fs::path> files = arguments.defaults ? libzepl::defaultModules() : std::vector<fs::path>();
    files.insert(files.end(), arguments.files.begin(), arguments.files.end());
    for (auto file = files.begin(); file != files.end(); ++file) {
        const auto isSame = [file](const fs::path& other) {
            std::error_code unknown;
            return fs::equivalent(*file, other, unknown);
        };
        if (std::any_of(files.begin(), file, isSame)) continue;
        library.onCrash([name = libzepl::quoted(file->string())](const char* what) { endOfLoading(name, what); });
        library.load(*file);
    }
}

}  // namespace cli
