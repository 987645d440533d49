#include "cli/serve/messages.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    cli::parseRequest({reinterpret_cast<const char*>(bytes), count});
    return 0;
}
