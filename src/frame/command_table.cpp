#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    {"ABS", abs, &absSignature},
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
