// A module for the tests alone: SCRIPT performs host operations one by one, the others show one trait of a host each.

#include "host/modules.h"
#include "probe.h"

namespace probe {

namespace {

struct Row {
    const char* name;
    zepl::CommandRoutine entry;
};

constexpr Row rows[] = {
    {"SCRIPT", script},   {"PAIR", pair},     {"GROUPED", grouped},   {"MANY", many},
    {"SIMILAR", similar}, {"DIVIDE", divide}, {"OVERFLOW", overflow}, {"UNKNOWNHANDLE", unknownHandle},
};

}  // namespace

}  // namespace probe

extern "C" std::uint32_t ModuleCompatibilityCheck(std::uint32_t, std::uint32_t, std::uint32_t) { return 1; }

extern "C" std::uint32_t ModuleVersion(zepl::VersionRecord* record) {
    record->buildVersion = 100;
    record->interfaceVersion = 104;
    return 1;
}

extern "C" std::uint32_t ModuleInstall(zepl::InstallContext context) {
    const zepl::CommandInfo info{.recordSize = 16, .taskSpace = 0, .attributes = 0x80000000, .signature = nullptr};
    for (const auto& row : probe::rows)
        if (zepl::CommandInstall(context, row.name, row.entry, &info) == 0) return 0;
    return 1;
}
