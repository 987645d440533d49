// zepl batch: a procedure on many recordings, on all cores.
#pragma once

#include <string>
#include <vector>

#include "cli/run.h"

namespace cli {

struct BatchArguments {
    RunArguments run;  // of which `report` is not used
    std::vector<std::string> each;
    std::vector<std::string> discard;
    std::string table;
    unsigned jobs = 0;  // 0: as many as there are processors
    bool resume = false;
    bool list = false;  // runs nothing
    bool check = true;  // looks at the first recordings before any is run
};

int batch(const BatchArguments& arguments);

}  // namespace cli
