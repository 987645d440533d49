// Every command's entry and signature. A command's own file, named after it, defines both.
#pragma once

#include <cstdint>

#include "frame/types.h"

namespace zcmds {

std::uint32_t abs(ParamList list);
std::uint32_t alarm(ParamList list);
std::uint32_t average(ParamList list);
std::uint32_t baverage(ParamList list);
std::uint32_t bintegrate(ParamList list);
std::uint32_t biramp(ParamList list);
std::uint32_t bmergef(ParamList list);
std::uint32_t bound(ParamList list);
std::uint32_t cangle(ParamList list);
std::uint32_t chirp(ParamList list);
std::uint32_t cmag(ParamList list);
std::uint32_t compress(ParamList list);
std::uint32_t ctcount(ParamList list);
std::uint32_t ctrate(ParamList list);
std::uint32_t decibel(ParamList list);
std::uint32_t delta(ParamList list);
std::uint32_t dexpand(ParamList list);
std::uint32_t dft(ParamList list);
std::uint32_t discard(ParamList list);
std::uint32_t findmax(ParamList list);
std::uint32_t firfilter(ParamList list);
std::uint32_t firlowpass(ParamList list);
std::uint32_t frequency(ParamList list);
std::uint32_t high(ParamList list);
std::uint32_t interp(ParamList list);
std::uint32_t integrate(ParamList list);
std::uint32_t loading(ParamList list);
std::uint32_t low(ParamList list);
std::uint32_t mergef(ParamList list);
std::uint32_t mrblock(ParamList list);
std::uint32_t mtsfilt(ParamList list);
std::uint32_t nth(ParamList list);
std::uint32_t offset(ParamList list);
std::uint32_t pcassert(ParamList list);
std::uint32_t pcount(ParamList list);
std::uint32_t pid(ParamList list);
std::uint32_t pid1(ParamList list);
std::uint32_t pidlatch(ParamList list);
std::uint32_t pidramp(ParamList list);
std::uint32_t pidscram(ParamList list);
std::uint32_t polar(ParamList list);
std::uint32_t pulsecount(ParamList list);
std::uint32_t pvalue(ParamList list);
std::uint32_t pwm(ParamList list);
std::uint32_t qdcount(ParamList list);
std::uint32_t qdecode(ParamList list);
std::uint32_t random(ParamList list);
std::uint32_t range(ParamList list);
std::uint32_t raverage(ParamList list);
std::uint32_t replicate(ParamList list);
std::uint32_t rms(ParamList list);
std::uint32_t rsum(ParamList list);
std::uint32_t scale(ParamList list);
std::uint32_t separate(ParamList list);
std::uint32_t separatef(ParamList list);
std::uint32_t skip(ParamList list);
std::uint32_t sqrt(ParamList list);
std::uint32_t stddev(ParamList list);
std::uint32_t tcollate(ParamList list);
std::uint32_t tfunction1(ParamList list);
std::uint32_t tfunction2(ParamList list);
std::uint32_t thermo(ParamList list);
std::uint32_t tand(ParamList list);
std::uint32_t tgen(ParamList list);
std::uint32_t toggle(ParamList list);
std::uint32_t toggwt(ParamList list);
std::uint32_t tor(ParamList list);
std::uint32_t trigrecv(ParamList list);
std::uint32_t trigscale(ParamList list);
std::uint32_t trigsend(ParamList list);
std::uint32_t tstamp(ParamList list);
std::uint32_t variance(ParamList list);
std::uint32_t cosinewave(ParamList list);
std::uint32_t sawtooth(ParamList list);
std::uint32_t sinewave(ParamList list);
std::uint32_t squarewave(ParamList list);
std::uint32_t triangle(ParamList list);
std::uint32_t correlate(ParamList list);
std::uint32_t crosspower(ParamList list);
std::uint32_t fft(ParamList list);
std::uint32_t mixrfft(ParamList list);

extern const char* const absSignature;  // DELTA's as well
extern const char* const alarmSignature;
extern const char* const averageSignature;  // RMS's as well
extern const char* const baverageSignature;
extern const char* const birampSignature;
extern const char* const bmergefSignature;
extern const char* const boundSignature;
extern const char* const cangleSignature;
extern const char* const chirpSignature;
extern const char* const cmagSignature;
extern const char* const compressSignature;
extern const char* const ctcountSignature;
extern const char* const ctrateSignature;
extern const char* const decibelSignature;
extern const char* const dexpandSignature;
extern const char* const dftSignature;
extern const char* const discardSignature;
extern const char* const findmaxSignature;
extern const char* const firfilterSignature;
extern const char* const firlowpassSignature;
extern const char* const frequencySignature;
extern const char* const highSignature;
extern const char* const interpSignature;
extern const char* const loadingSignature;
extern const char* const lowSignature;
extern const char* const mergefSignature;
extern const char* const mrblockSignature;
extern const char* const mtsfiltSignature;
extern const char* const nthSignature;
extern const char* const offsetSignature;
extern const char* const pcassertSignature;
extern const char* const pcountSignature;
extern const char* const pidSignature;
extern const char* const pidlatchSignature;
extern const char* const pidrampSignature;
extern const char* const pidscramSignature;
extern const char* const polarSignature;
extern const char* const pulsecountSignature;
extern const char* const pvalueSignature;
extern const char* const pwmSignature;
extern const char* const qdcountSignature;
extern const char* const qdecodeSignature;
extern const char* const randomSignature;
extern const char* const rangeSignature;
extern const char* const raverageSignature;
extern const char* const replicateSignature;
extern const char* const rsumSignature;
extern const char* const scaleSignature;
extern const char* const separateSignature;
extern const char* const separatefSignature;
extern const char* const skipSignature;
extern const char* const sqrtSignature;
extern const char* const stddevSignature;
extern const char* const tcollateSignature;  // TOR's as well
extern const char* const tfunction1Signature;
extern const char* const tfunction2Signature;
extern const char* const thermoSignature;
extern const char* const tandSignature;
extern const char* const tgenSignature;
extern const char* const toggleSignature;
extern const char* const toggwtSignature;
extern const char* const trigrecvSignature;
extern const char* const trigscaleSignature;
extern const char* const trigsendSignature;
extern const char* const tstampSignature;
extern const char* const varianceSignature;
extern const char* const cosinewaveSignature;  // SAWTOOTH's, SINEWAVE's, SQUAREWAVE's and TRIANGLE's as well
extern const char* const correlateSignature;
extern const char* const crosspowerSignature;
extern const char* const fftSignature;
extern const char* const mixrfftSignature;

}  // namespace zcmds
