// The entries that a module needs, each with an answer that a host is content with unless the module tells another.
#pragma once

#include "host/modules.h"

#define COMPATIBILITY(answer) \
    extern "C" std::uint32_t ModuleCompatibilityCheck(std::uint32_t, std::uint32_t, std::uint32_t) { return answer; }
#define VERSION(answer) \
    extern "C" std::uint32_t ModuleVersion(zepl::VersionRecord*) { return answer; }
#define INSTALL(answer) \
    extern "C" std::uint32_t ModuleInstall(zepl::InstallContext) { return answer; }
