#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    // clang-format off
    {"ABS", abs, &absSignature},
    {"DFT", dft, &dftSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    // clang-format off
    {"CORRELATE",  correlate,  &correlateSignature},
    {"CROSSPOWER", crosspower, &crosspowerSignature},
    {"FFT",        fft,        &fftSignature},
    {"MIXRFFT",    mixrfft,    &mixrfftSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
