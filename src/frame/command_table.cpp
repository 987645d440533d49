#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    // clang-format off
    {"ABS",      abs,      &absSignature},
    {"PID",      pid,      &pidSignature},
    {"PID1",     pid1,     nullptr},
    {"PIDLATCH", pidlatch, &pidlatchSignature},
    {"PIDRAMP",  pidramp,  &pidrampSignature},
    {"PIDSCRAM", pidscram, &pidscramSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
