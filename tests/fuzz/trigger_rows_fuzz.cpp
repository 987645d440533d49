#include "tests/fuzz/files_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    try {
        libzepl::readTriggerRows(libzepl::fuzzFile(".csv", bytes, count));
    } catch (const libzepl::Problem& problem) {
        if (std::string(problem.what()).empty()) std::abort();
    }
    return 0;
}
