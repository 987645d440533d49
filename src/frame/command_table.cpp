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
    {"BIRAMP",     biramp,     &birampSignature},
    {"BOUND",      bound,      &boundSignature},
    {"CANGLE",     cangle,     &cangleSignature},
    {"CHIRP",      chirp,      &chirpSignature},
    {"CMAG",       cmag,       &cmagSignature},
    {"COMPRESS",   compress,   &compressSignature},
    {"CTCOUNT",    ctcount,    &ctcountSignature},
    {"CTRATE",     ctrate,     &ctrateSignature},
    {"DECIBEL",    decibel,    &decibelSignature},
    {"DELTA",      delta,      &absSignature},
    {"DEXPAND",    dexpand,    &dexpandSignature},
    {"DFT",        dft,        &dftSignature},
    {"FINDMAX",    findmax,    &findmaxSignature},
    {"FIRFILTER",  firfilter,  &firfilterSignature},
    {"FIRLOWPASS", firlowpass, &firlowpassSignature},
    {"FREQUENCY",  frequency,  &frequencySignature},
    {"HIGH",       high,       &highSignature},
    {"INTERP",     interp,     &interpSignature},
    {"INTEGRATE",  integrate,  nullptr},
    {"LOW",        low,        &lowSignature},
    {"MTSFILT",    mtsfilt,    &mtsfiltSignature},
    {"NTH",        nth,        &nthSignature},
    {"OFFSET",     offset,     &offsetSignature},
    {"PCASSERT",   pcassert,   &pcassertSignature},
    {"PID",        pid,        &pidSignature},
    {"PID1",       pid1,       nullptr},
    {"PIDLATCH",   pidlatch,   &pidlatchSignature},
    {"PIDRAMP",    pidramp,    &pidrampSignature},
    {"PIDSCRAM",   pidscram,   &pidscramSignature},
    {"POLAR",      polar,      &polarSignature},
    {"PULSECOUNT", pulsecount, &pulsecountSignature},
    {"PWM",        pwm,        &pwmSignature},
    {"QDCOUNT",    qdcount,    &qdcountSignature},
    {"QDECODE",    qdecode,    &qdecodeSignature},
    {"RANDOM",     random,     &randomSignature},
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
    {"COSINEWAVE", cosinewave, &cosinewaveSignature},
    {"SAWTOOTH",   sawtooth,   &cosinewaveSignature},
    {"SINEWAVE",   sinewave,   &cosinewaveSignature},
    {"SQUAREWAVE", squarewave, &cosinewaveSignature},
    {"TRIANGLE",   triangle,   &cosinewaveSignature},
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
