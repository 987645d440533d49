#include "cli/modules.h"

#include <filesystem>

#include "cli/crash.h"

namespace cli {

void loadModules(libzepl::CommandLibrary& library, const std::vector<std::string>& named) {
    const auto load = [&library](const std::filesystem::path& file) {
        library.onCrash([name = libzepl::quoted(file.string())](const char* what) { endOfLoading(name, what); });
        library.load(file);
    };
    for (const std::string& file : named) load(file);
    if (named.empty()) load(std::filesystem::read_symlink("/proc/self/exe").parent_path() / "zcmds3.zlm");
}

}  // namespace cli
