// CHIRP generates a frequency sweep. One sweep is computed at set-up, into the output's own buffer, and sent again and again.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <numbers>
#include <type_traits>

#include "frame/approximation.h"
#include "frame/checks.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/mathematics.h"
#include "frame/values.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "module/commands.h"

namespace zcmds {

const char* const chirpSignature =
    "( const     string  func ,   const     string  dir ,   in      storage   (int16|int32|float|double)  ampl ,   "
    "in      storage   (int16|int32)  sweep ,   in      storage   (int16|int32)  lperiod ,   "
    "in      storage   (int16|int32)  hperiod,   const   storage   anyfloat  phase ,   "
    "out     pipe      contentof(ampl)  chirp )";

namespace {

constexpr std::int32_t maxBlock = 2048;  // elements

enum class Direction : std::uint32_t { oneWay = 0, outAndBack = 1 };
enum class Law : std::uint32_t { linear = 0, quadratic = 1, logarithmic = 2 };

struct ChirpState {
    Direction direction{};
    Law law{};
    ParamMask elementType = 0;
    std::int32_t blockBytes = 0;  // of the largest block
    void (*emitSamples)(const ChirpState& state, std::int32_t start, double* angles, std::int32_t n) = nullptr;
    PipeHandle chirpPipe{};
    PbufHandle outputPbuf{};
    void* sweepData = nullptr;     // the pbuf's buffer, a whole sweep
    std::int32_t sweepLength = 0;  // elements
    double amplitude = 0;
    double startPhase = 0;  // radians
    double lowOmega = 0;    // radians per sample
    double highOmega = 0;   // radians per sample
};

template <class Element>
ZCMDS_VECTOR_CLONES void storeSamples(const double* cosines, Element* samples, std::int32_t n, double amplitude) {
    for (std::int32_t i = 0; i < n; ++i) samples[i] = truncateTo<Element>(cosines[i] * amplitude);
}

// The samples at `n` angles, where approximations are enough. The angles grow but for some radians, so the ends stand for all.
template <class Element>
bool approximateSamples(const double* angles, Element* samples, std::int32_t n, double amplitude) {
    const double furthest = std::max(std::fabs(angles[0]), std::fabs(angles[n - 1]));
    return furthest < maxCosineAngle / 2 &&
           storeApproximations(
               samples, n, [angles](std::int32_t i) { return cosineAround(angles[i]); },
               [amplitude](double cosine, std::int32_t) { return truncateTo<Element>(cosine * amplitude); });
}

// The samples from `start` on at `n` angles, in whose place their cosines may be left.
template <class Element>
void emit(const ChirpState& state, std::int32_t start, double* angles, std::int32_t n) {
    Element* const samples = static_cast<Element*>(state.sweepData) + start;
    if constexpr (!std::is_same_v<Element, double>)
        if (approximateSamples(angles, samples, n, state.amplitude)) return;
    mathematics.cosArray(angles, angles, n);
    storeSamples(angles, samples, n, state.amplitude);
}

// How far sample `n` is on the way from the low to the high frequency: 0 to 1 over the sweep, or to 1 at its middle and back.
template <Direction direction>
double wayAt(const ChirpState& state, double n) {
    const double last = state.sweepLength - 1.0;
    if constexpr (direction == Direction::oneWay) return n / last;
    const double u = 2.0 * n / last;
    return u > 1.0 ? 2.0 - u : u;
}

// The angular frequencies of the `n` samples, at most a piece, from `start` on, radians per sample. Sample -1 is an
// extrapolation.
template <Law law, Direction direction>
ZCMDS_VECTOR_CLONES void omegasFrom(const ChirpState& state, std::int32_t start, double* omegas, std::int32_t n) {
    const double low = state.lowOmega, high = state.highOmega;
    for (std::int32_t i = 0; i < n; ++i) {
        const double u = wayAt<direction>(state, static_cast<double>(start) + i);
        if constexpr (law == Law::linear) omegas[i] = (1.0 - u) * low + u * high;
        if constexpr (law == Law::quadratic) omegas[i] = (1.0 - u * u) * low + u * u * high;
        if constexpr (law == Law::logarithmic) omegas[i] = u;
    }
    if constexpr (law == Law::logarithmic) {
        double ratios[mathematicsPiece] = {};
        std::fill_n(ratios, n, high / low);
        mathematics.powArray(ratios, omegas, omegas, n);
        for (std::int32_t i = 0; i < n; ++i) omegas[i] = low * omegas[i];
    }
}

using OmegaFunction = void(const ChirpState& state, std::int32_t start, double* omegas, std::int32_t n);

OmegaFunction* omegaFunctionOf(const ChirpState& state) {
    static constexpr OmegaFunction* functions[][2] = {
        {omegasFrom<Law::linear, Direction::oneWay>, omegasFrom<Law::linear, Direction::outAndBack>},
        {omegasFrom<Law::quadratic, Direction::oneWay>, omegasFrom<Law::quadratic, Direction::outAndBack>},
        {omegasFrom<Law::logarithmic, Direction::oneWay>, omegasFrom<Law::logarithmic, Direction::outAndBack>},
    };
    return functions[static_cast<std::uint32_t>(state.law)][static_cast<std::uint32_t>(state.direction)];
}

// How far the angle goes to each of `n` samples, by the Adams-Moulton rule of third order; `omegas` begins two samples before.
ZCMDS_VECTOR_CLONES void anglesBetween(const double* omegas, double* steps, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) steps[i] = (5.0 * omegas[i + 2] + 8.0 * omegas[i + 1] - omegas[i]) / 12.0;
}

// Integrates the frequency. The angle is never wrapped.
void computeSweep(const ChirpState& state) {
    OmegaFunction* const omegasFrom = omegaFunctionOf(state);
    double omegas[mathematicsPiece + 2], angle = state.startPhase, angles[mathematicsPiece] = {angle};
    omegasFrom(state, -1, omegas, 2);
    state.emitSamples(state, 0, angles, 1);
    inPieces(state.sweepLength - 1, [&](std::int32_t start, std::int32_t n) {
        omegasFrom(state, start + 1, omegas + 2, n);
        anglesBetween(omegas, angles, n);
        for (std::int32_t i = 0; i < n; ++i) angles[i] = angle += angles[i];
        state.emitSamples(state, start + 1, angles, n);
        omegas[0] = omegas[n];
        omegas[1] = omegas[n + 1];
    });
}

// The value that the word means. The values are numbered from 0, and each has two words, one after the other.
std::uint32_t readWord(const Slot* params, std::int32_t position, std::initializer_list<const char*> words) {
    const char* given = valueIn<char>(params[position]);
    std::uint32_t index = 0;
    for (const char* word : words) {
        if (std::strcmp(given, word) == 0) return index / 2;
        ++index;
    }
    zepl::param_error_msg(ParamError::unknownWord, position);
}

// The angular frequency of a period in samples, at least 2.
double readPeriod(ParamList list, const Slot* params, std::int32_t position) {
    const std::int32_t period = integerIn(params[position], zepl::param_type(list, position));
    if (period < 2) zepl::param_error_msg(ParamError::outOfRange, position);
    return 2.0 * std::numbers::pi / period;
}

void readAmplitude(const Slot* params, ChirpState& state) {
    forElementType(state.elementType, [&]<class Element>() -> std::uint32_t {
        state.amplitude = static_cast<double>(*valueIn<Element>(params[3]));
        state.emitSamples = emit<Element>;
        state.blockBytes = maxBlock * static_cast<std::int32_t>(sizeof(Element));
        return 0;
    });
}

void readParameters(ParamList list, const Slot* params, ChirpState& state) {
    state.law = Law{readWord(params, 1, {"LINEAR", "LIN", "QUADRATIC", "QUAD", "LOGARITHMIC", "LOG"})};
    state.direction = Direction{readWord(params, 2, {"UNIDIRECTIONAL", "UNIDIR", "BIDIRECTIONAL", "BIDIR"})};
    readAmplitude(params, state);
    state.sweepLength = integerIn(params[4], zepl::param_type(list, 4));
    if (state.sweepLength <= 0) zepl::param_error_msg(ParamError::outOfRange, 4);
    state.lowOmega = readPeriod(list, params, 5);
    state.highOmega = readPeriod(list, params, 6);
    state.startPhase = numberIn(params[7], zepl::param_type(list, 7));
}

void openOutput(const Slot* params, ChirpState& state) {
    state.chirpPipe = handleIn<PipeHandle>(params[8]);
    zepl::pipe_open(state.chirpPipe, zepl::OpenMode::write);
    state.outputPbuf = zepl::pbuf_open(state.chirpPipe, state.sweepLength);
    state.sweepData = zepl::pbuf_get_data_ptr(state.outputPbuf);
    zepl::pbuf_set_max_cnt(state.outputPbuf, maxBlock);
}

// Sends the sweep by pointing the pbuf at one piece of it after the other.
void sendSweep(const ChirpState& state) {
    auto* at = static_cast<std::byte*>(state.sweepData);
    for (std::int32_t remaining = state.sweepLength; remaining != 0;) {
        zepl::pbuf_set_data_ptr(state.outputPbuf, at);
        const std::int32_t count = std::min(remaining, maxBlock);
        zepl::pbuf_put_set_cnt(state.outputPbuf, count);
        remaining -= count;
        if (remaining != 0) at += state.blockBytes;
    }
}

}  // namespace

std::uint32_t chirp(ParamList list) {
    ChirpState state;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 8, 8, stringKind, stringKind, constantScalar,
                                             constantInteger, constantInteger, constantInteger, constantReal, anyPipe);
    state.elementType = zepl::param_type(list, 8);
    checkConstantForPipe(state.elementType, zepl::param_type(list, 3), 3);
    readParameters(list, params, state);
    openOutput(params, state);
    computeSweep(state);
    for (;;) sendSweep(state);
}

}  // namespace zcmds
