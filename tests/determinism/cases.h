// A case of the determinism tests: a small procedure with a command.
#pragma once

#include <string>
#include <vector>

#include "tests/determinism/runs.h"

namespace libzepl {

// TYPE in the text stands for each of `types` in turn. An output `to "result"` must be the same bytes however the input
// arrives; one `to "varies"` hangs on it, `why` says how, and `holds` checks what must hold of it all the same.
struct Case {
    std::string command;
    std::string text;
    void (*holds)(const Run&) = nullptr;
    std::string why{};
    std::vector<std::string> types{"int16", "int32", "float", "double"};
};

using Cases = std::vector<Case>;

}  // namespace libzepl
