// Every command's entry and signature. A command's own file, named after it, defines both.
#pragma once

#include <cstdint>

#include "frame/types.h"

namespace zcmds {

#define COMMAND(name, entry, signature)  \
    std::uint32_t entry(ParamList list); \
    extern const char* const signature;
#define COMMAND_WITHOUT_SIGNATURE(name, entry) std::uint32_t entry(ParamList list);
#define FFT_COMMAND(name, entry, signature) COMMAND(name, entry, signature)
#include "module/commands.def"

}  // namespace zcmds
