#include "cli/modules.h"

#include <filesystem>

namespace cli {

void loadModules(libzepl::CommandLibrary& library, const std::vector<std::string>& named) {
    for (const std::string& file : named) library.load(file);
    if (named.empty()) library.load(std::filesystem::read_symlink("/proc/self/exe").parent_path() / "zcmds3.zlm");
}

}  // namespace cli
