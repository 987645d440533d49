#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    // clang-format off
    {"ABS",     abs,     &absSignature},
    {"MTSFILT", mtsfilt, &mtsfiltSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
