// The files of the page, as the build made them from web/.
#pragma once

#include <string>

namespace cli {

struct Bundle {
    std::string page, script, style;
};

// Those beside the tool's build, or in the installed folder. The page's links carry the token. A Problem, with what to do, where
// they are missing.
Bundle loadBundle(const std::string& token);

}  // namespace cli
