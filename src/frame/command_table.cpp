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
    {"FINDMAX",    findmax,    &findmaxSignature},
    {"HIGH",       high,       &highSignature},
    {"INTERP",     interp,     &interpSignature},
    {"INTEGRATE",  integrate,  nullptr},
    {"LOW",        low,        &lowSignature},
    {"MTSFILT",    mtsfilt,    &mtsfiltSignature},
    {"OFFSET",     offset,     &offsetSignature},
    {"POLAR",      polar,      &polarSignature},
    {"RANGE",      range,      &rangeSignature},
    {"RAVERAGE",   raverage,   &raverageSignature},
    {"RMS",        rms,        &averageSignature},
    {"RSUM",       rsum,       &rsumSignature},
    {"SCALE",      scale,      &scaleSignature},
    {"SQRT",       sqrt,       &sqrtSignature},
    {"STDDEV",     stddev,     &stddevSignature},
    {"TFUNCTION1", tfunction1, &tfunction1Signature},
    {"TFUNCTION2", tfunction2, &tfunction2Signature},
    {"THERMO",     thermo,     &thermoSignature},
    {"TOGGLE",     toggle,     &toggleSignature},
    {"TOGGWT",     toggwt,     &toggwtSignature},
    {"VARIANCE",   variance,   &varianceSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
