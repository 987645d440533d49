// One command that is well, and one for each reason to refuse one.

#include "entries.h"

COMPATIBILITY(1)
VERSION(1)

extern "C" std::uint32_t ModuleInstall(zepl::InstallContext context) {
    const zepl::CommandRoutine entry = [](zepl::ParamList) { return std::uint32_t{0}; };
    const zepl::CommandInfo good{
        .recordSize = 16, .taskSpace = 0, .attributes = 0x80000000, .signature = "( in pipe int16 a )"};
    zepl::CommandInfo shortRecord = good, unreadable = good;
    shortRecord.recordSize = 15;
    unreadable.signature = "( in pipe int17 a )";
    const std::uint32_t kept = zepl::CommandInstall(context, "WELL", entry, &good);
    const std::uint32_t refused = zepl::CommandInstall(context, "WELL", entry, &good) +
                                  zepl::CommandInstall(context, "SHORT", entry, &shortRecord) +
                                  zepl::CommandInstall(context, "NOWHERE", nullptr, &good) +
                                  zepl::CommandInstall(context, "", entry, &good) +
                                  zepl::CommandInstall(context, "GARBLED", entry, &unreadable);
    return kept == 1 && refused == 0 ? 0 : 1;
}
