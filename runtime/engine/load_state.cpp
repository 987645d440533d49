#include "runtime/engine/load_state.h"

#include <algorithm>
#include <cstring>

namespace libzepl {

namespace {

constinit thread_local LoadState threadsLoadState;

}  // namespace

LoadState& loadState() { return threadsLoadState; }

void LoadState::print(std::string_view text) {
    const std::size_t shown = std::min(text.size(), console.size() - printed);
    std::memcpy(console.data() + printed, text.data(), shown);
    printed += shown;
}

}  // namespace libzepl
