#include "runtime/host/handle_lookup.h"

namespace libzepl {

void endForHandle(Engine& e, std::uint32_t handle, const char* what) {
    misuse(e, std::string(what) + " handle " + std::to_string(handle) + " was never given");
}

void endForMode(Engine& e, const std::string& channel, PortMode mode) {
    misuse(e, (mode == PortMode::reading ? "reads `" : "writes `") + channel + "`, which it has not opened for that");
}

}  // namespace libzepl
