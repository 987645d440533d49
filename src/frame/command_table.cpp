#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    // clang-format off
    {"ABS",        abs,        &absSignature},
    {"BIRAMP",     biramp,     &birampSignature},
    {"CHIRP",      chirp,      &chirpSignature},
    {"PWM",        pwm,        &pwmSignature},
    {"RANDOM",     random,     &randomSignature},
    {"COSINEWAVE", cosinewave, &cosinewaveSignature},
    {"SAWTOOTH",   sawtooth,   &cosinewaveSignature},
    {"SINEWAVE",   sinewave,   &cosinewaveSignature},
    {"SQUAREWAVE", squarewave, &cosinewaveSignature},
    {"TRIANGLE",   triangle,   &cosinewaveSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
