#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    // clang-format off
    {"ABS",        abs,        &absSignature},
    {"FINDMAX",    findmax,    &findmaxSignature},
    {"INTERP",     interp,     &interpSignature},
    {"TFUNCTION1", tfunction1, &tfunction1Signature},
    {"TFUNCTION2", tfunction2, &tfunction2Signature},
    {"THERMO",     thermo,     &thermoSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
