#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    // clang-format off
    {"ABS",      abs,      &absSignature},
    {"BOUND",    bound,    &boundSignature},
    {"CANGLE",   cangle,   &cangleSignature},
    {"CMAG",     cmag,     &cmagSignature},
    {"DECIBEL",  decibel,  &decibelSignature},
    {"DELTA",    delta,    &absSignature},
    {"OFFSET",   offset,   &offsetSignature},
    {"PID",      pid,      &pidSignature},
    {"PID1",     pid1,     nullptr},
    {"PIDLATCH", pidlatch, &pidlatchSignature},
    {"PIDRAMP",  pidramp,  &pidrampSignature},
    {"PIDSCRAM", pidscram, &pidscramSignature},
    {"POLAR",    polar,    &polarSignature},
    {"RANGE",    range,    &rangeSignature},
    {"SCALE",    scale,    &scaleSignature},
    {"SQRT",     sqrt,     &sqrtSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
