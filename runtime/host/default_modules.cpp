#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "runtime/commands.h"
#include "runtime/diagnostics.h"

namespace libzepl {

namespace {

namespace fs = std::filesystem;

void addModulesIn(const fs::path& folder, std::vector<fs::path>& files) {
    const auto before = static_cast<std::ptrdiff_t>(files.size());
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error))
        if (entry.path().extension() == ".zlm") files.push_back(entry.path());
    if (error && error != std::errc::no_such_file_or_directory)
        throw Problem(folder.string() + ": the modules in it cannot be listed: " + error.message(),
                      "make the folder readable; a program can also have too many files open");
    std::sort(files.begin() + before, files.end());
}

fs::path folderOfLibrary() {
    Dl_info info{};
    ::dladdr(reinterpret_cast<void*>(&defaultModules), &info);
    std::error_code unknown;
    return fs::weakly_canonical(info.dli_fname, unknown).parent_path();
}

}  // namespace

std::vector<fs::path> defaultModules() {
    const fs::path library = folderOfLibrary(), built = library / "zcmds3.zlm";
    std::vector<fs::path> files;
    if (!fs::exists(built)) addModulesIn(library / "zepl" / "modules", files);
    if (files.empty()) files.push_back(built);  // whose absence is reported when it is loaded
    const char* const named = std::getenv("ZEPL_MODULE_PATH");
    std::istringstream folders(named == nullptr ? "" : named);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (folder.empty()) continue;
        if (!fs::is_directory(folder))
            throw Problem("$ZEPL_MODULE_PATH names " + libzepl::quoted(folder) + ", which is no folder",
                          "name folders with modules (.zlm), with colons between them");
        addModulesIn(folder, files);
    }
    return files;
}

}  // namespace libzepl
