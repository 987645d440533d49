// Elements in place of arrays.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/procedure.h"

namespace libzepl {

// Why the array of so many elements has none of that index.
std::optional<Diagnostic> indexMistake(const std::string& array, std::int64_t count, std::int64_t index,
                                       const Place& place);

}  // namespace libzepl
