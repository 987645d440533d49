#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    // clang-format off
    {"ABS",        abs,        &absSignature},
    {"AVERAGE",    average,    &averageSignature},
    {"BAVERAGE",   baverage,   &baverageSignature},
    {"BINTEGRATE", bintegrate, nullptr},
    {"FINDMAX",    findmax,    &findmaxSignature},
    {"HIGH",       high,       &highSignature},
    {"INTERP",     interp,     &interpSignature},
    {"INTEGRATE",  integrate,  nullptr},
    {"LOW",        low,        &lowSignature},
    {"RAVERAGE",   raverage,   &raverageSignature},
    {"RMS",        rms,        &averageSignature},
    {"RSUM",       rsum,       &rsumSignature},
    {"STDDEV",     stddev,     &stddevSignature},
    {"TFUNCTION1", tfunction1, &tfunction1Signature},
    {"TFUNCTION2", tfunction2, &tfunction2Signature},
    {"THERMO",     thermo,     &thermoSignature},
    {"VARIANCE",   variance,   &varianceSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
