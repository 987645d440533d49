// zepl run and zepl check.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace cli {

// What the exit status says.
enum ExitStatus {
    allWell = 0,
    runFailed = 1,  // a task or the run itself failed
    wrongCall = 2,  // the call or the procedure was wrong
};

struct RunArguments {
    std::string procedure;
    std::vector<std::string> in, out, set, info, modules;
    std::string report;
    std::string feed;
    std::string memory;
    std::uint32_t block = 1024;
    std::uint32_t startTime = 0;
    bool quiet = false;
};

int run(const RunArguments& arguments);
int check(const RunArguments& arguments);

}  // namespace cli
