// Every command's entry and signature. A command's own file, named after it, defines both.
#pragma once

#include <cstdint>

#include "frame/types.h"

namespace zcmds {

std::uint32_t abs(ParamList list);
extern const char* const absSignature;  // DELTA's as well

}  // namespace zcmds
