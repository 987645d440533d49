#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    // clang-format off
    {"ABS",        abs,        &absSignature},
    {"AVERAGE",    average,    &averageSignature},
    {"BAVERAGE",   baverage,   &baverageSignature},
    {"BINTEGRATE", bintegrate, nullptr},
    {"BOUND",      bound,      &boundSignature},
    {"CANGLE",     cangle,     &cangleSignature},
    {"CMAG",       cmag,       &cmagSignature},
    {"DECIBEL",    decibel,    &decibelSignature},
    {"DELTA",      delta,      &absSignature},
    {"HIGH",       high,       &highSignature},
    {"INTEGRATE",  integrate,  nullptr},
    {"LOW",        low,        &lowSignature},
    {"OFFSET",     offset,     &offsetSignature},
    {"PID",        pid,        &pidSignature},
    {"PID1",       pid1,       nullptr},
    {"PIDLATCH",   pidlatch,   &pidlatchSignature},
    {"PIDRAMP",    pidramp,    &pidrampSignature},
    {"PIDSCRAM",   pidscram,   &pidscramSignature},
    {"POLAR",      polar,      &polarSignature},
    {"RANGE",      range,      &rangeSignature},
    {"RAVERAGE",   raverage,   &raverageSignature},
    {"RMS",        rms,        &averageSignature},
    {"RSUM",       rsum,       &rsumSignature},
    {"SCALE",      scale,      &scaleSignature},
    {"SQRT",       sqrt,       &sqrtSignature},
    {"STDDEV",     stddev,     &stddevSignature},
    {"VARIANCE",   variance,   &varianceSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
