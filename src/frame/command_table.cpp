#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    // clang-format off
    {"ABS",        abs,        &absSignature},
    {"ALARM",      alarm,      &alarmSignature},
    {"AVERAGE",    average,    &averageSignature},
    {"BAVERAGE",   baverage,   &baverageSignature},
    {"BINTEGRATE", bintegrate, nullptr},
    {"BOUND",      bound,      &boundSignature},
    {"CANGLE",     cangle,     &cangleSignature},
    {"CMAG",       cmag,       &cmagSignature},
    {"DECIBEL",    decibel,    &decibelSignature},
    {"DELTA",      delta,      &absSignature},
    {"FINDMAX",    findmax,    &findmaxSignature},
    {"FREQUENCY",  frequency,  &frequencySignature},
    {"HIGH",       high,       &highSignature},
    {"INTERP",     interp,     &interpSignature},
    {"INTEGRATE",  integrate,  nullptr},
    {"LOW",        low,        &lowSignature},
    {"MTSFILT",    mtsfilt,    &mtsfiltSignature},
    {"NTH",        nth,        &nthSignature},
    {"OFFSET",     offset,     &offsetSignature},
    {"PCASSERT",   pcassert,   &pcassertSignature},
    {"POLAR",      polar,      &polarSignature},
    {"RANGE",      range,      &rangeSignature},
    {"RAVERAGE",   raverage,   &raverageSignature},
    {"RMS",        rms,        &averageSignature},
    {"RSUM",       rsum,       &rsumSignature},
    {"SCALE",      scale,      &scaleSignature},
    {"SQRT",       sqrt,       &sqrtSignature},
    {"STDDEV",     stddev,     &stddevSignature},
    {"TCOLLATE",   tcollate,   &tcollateSignature},
    {"TFUNCTION1", tfunction1, &tfunction1Signature},
    {"TFUNCTION2", tfunction2, &tfunction2Signature},
    {"THERMO",     thermo,     &thermoSignature},
    {"TAND",       tand,       &tandSignature},
    {"TGEN",       tgen,       &tgenSignature},
    {"TOGGLE",     toggle,     &toggleSignature},
    {"TOGGWT",     toggwt,     &toggwtSignature},
    {"TOR",        tor,        &tcollateSignature},
    {"TRIGRECV",   trigrecv,   &trigrecvSignature},
    {"TRIGSCALE",  trigscale,  &trigscaleSignature},
    {"TRIGSEND",   trigsend,   &trigsendSignature},
    {"TSTAMP",     tstamp,     &tstampSignature},
    {"VARIANCE",   variance,   &varianceSignature},
    // clang-format on
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
