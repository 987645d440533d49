#include "tests/fuzz/files_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    libzepl::fuzzReader(".npy", bytes, count);
    return 0;
}
