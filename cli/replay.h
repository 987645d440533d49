// zepl replay.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/modules.h"

namespace cli {

struct ReplayArguments {
    std::string folder;
    std::optional<std::uint64_t> until;  // a round
    std::vector<std::string> set, out;
    std::string report;
    bool quiet = false;
    bool sync = true;
    ModuleArguments modules;
};

int replay(const ReplayArguments& arguments);

}  // namespace cli
