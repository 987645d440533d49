#include "frame/command_table.h"

#include "frame/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
    // clang-format off
    {"ABS",        abs,        &absSignature},
    {"AVERAGE",    average,    &averageSignature},
    {"BAVERAGE",   baverage,   &baverageSignature},
    {"BINTEGRATE", bintegrate, nullptr},
    {"BIRAMP",     biramp,     &birampSignature},
    {"BMERGEF",    bmergef,    &bmergefSignature},
    {"BOUND",      bound,      &boundSignature},
    {"CANGLE",     cangle,     &cangleSignature},
    {"CHIRP",      chirp,      &chirpSignature},
    {"CMAG",       cmag,       &cmagSignature},
    {"DECIBEL",    decibel,    &decibelSignature},
    {"DELTA",      delta,      &absSignature},
    {"DISCARD",    discard,    &discardSignature},
    {"FINDMAX",    findmax,    &findmaxSignature},
    {"HIGH",       high,       &highSignature},
    {"INTERP",     interp,     &interpSignature},
    {"INTEGRATE",  integrate,  nullptr},
    {"LOADING",    loading,    &loadingSignature},
    {"LOW",        low,        &lowSignature},
    {"MERGEF",     mergef,     &mergefSignature},
    {"MRBLOCK",    mrblock,    &mrblockSignature},
    {"MTSFILT",    mtsfilt,    &mtsfiltSignature},
    {"OFFSET",     offset,     &offsetSignature},
    {"PCOUNT",     pcount,     &pcountSignature},
    {"POLAR",      polar,      &polarSignature},
    {"PVALUE",     pvalue,     &pvalueSignature},
    {"PWM",        pwm,        &pwmSignature},
    {"RANDOM",     random,     &randomSignature},
    {"RANGE",      range,      &rangeSignature},
    {"RAVERAGE",   raverage,   &raverageSignature},
    {"REPLICATE",  replicate,  &replicateSignature},
    {"RMS",        rms,        &averageSignature},
    {"RSUM",       rsum,       &rsumSignature},
    {"SCALE",      scale,      &scaleSignature},
    {"SEPARATE",   separate,   &separateSignature},
    {"SEPARATEF",  separatef,  &separatefSignature},
    {"SKIP",       skip,       &skipSignature},
    {"SQRT",       sqrt,       &sqrtSignature},
    {"STDDEV",     stddev,     &stddevSignature},
    {"TFUNCTION1", tfunction1, &tfunction1Signature},
    {"TFUNCTION2", tfunction2, &tfunction2Signature},
    {"THERMO",     thermo,     &thermoSignature},
    {"VARIANCE",   variance,   &varianceSignature},
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
