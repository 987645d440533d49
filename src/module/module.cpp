// The module's three exports.

#include "module/command_table.h"
#include "module/version.h"

namespace {

using namespace zcmds;

// Offers every row to the host, also after one that the host refused. Returns whether it took all.
bool installTable(zepl::InstallContext context, const CommandEntry* table, zepl::CommandInfo& info) {
    bool installed = true;
    for (const CommandEntry* row = table; row->name != nullptr; ++row) {
        info.signature = row->signatureHolder == nullptr ? nullptr : *row->signatureHolder;
        if (zepl::CommandInstall(context, row->name, row->entry, &info) == 0) installed = false;
    }
    return installed;
}

}  // namespace

#define ZCMDS_EXPORT extern "C" [[gnu::visibility("default")]]

// 1 if a host of these versions can run the module: an interface not newer than the module's own, a build of 1.xx.
ZCMDS_EXPORT std::uint32_t ModuleCompatibilityCheck(std::uint32_t hostBuild, std::uint32_t hostInterface,
                                                    std::uint32_t /*reserved*/) {
    return hostInterface <= interfaceVersion && hostBuild <= lastCompatibleBuild ? 1 : 0;
}

// Fills a record of at least 12 bytes with the module's versions and returns 1; leaves a shorter one alone and returns 0.
ZCMDS_EXPORT std::uint32_t ModuleVersion(zepl::VersionRecord* record) {
    if (record->recordSize < 12) return 0;
    record->buildVersion = buildVersion;
    record->interfaceVersion = interfaceVersion;
    return 1;
}

// Offers all commands to the host. 1 if it took every one.
ZCMDS_EXPORT std::uint32_t ModuleInstall(zepl::InstallContext context) {
    zepl::CommandInfo info{.recordSize = 16, .taskSpace = 0, .attributes = 0x80000000, .signature = nullptr};
    const bool mainInstalled = installTable(context, mainTable, info);
    info.taskSpace = 0x4000;
    const bool fftInstalled = installTable(context, fftTable, info);
    return mainInstalled && fftInstalled ? 1 : 0;
}
