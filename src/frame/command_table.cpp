#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    // clang-format off
    {"ABS",      abs,      &absSignature},
    {"AVERAGE",  average,  &averageSignature},
    {"BAVERAGE", baverage, &baverageSignature},
    {"HIGH",     high,     &highSignature},
    {"LOW",      low,      &lowSignature},
    {"RMS",      rms,      &averageSignature},
    {"STDDEV",   stddev,   &stddevSignature},
    {"VARIANCE", variance, &varianceSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
