// A command that tells nothing of itself.

#include "entries.h"

COMPATIBILITY(1)
VERSION(1)

extern "C" std::uint32_t ModuleInstall(zepl::InstallContext context) {
    const zepl::CommandRoutine entry = [](zepl::ParamList) { return std::uint32_t{0}; };
    return zepl::CommandInstall(context, "BARE", entry, nullptr);
}
