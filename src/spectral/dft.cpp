// DFT gives chosen frequency terms of blocks of any length, from recurrences that run on the stream as it arrives. A few
// terms of a long block cost less than its whole transform, and no block is kept.

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/mathematics.h"
#include "frame/values.h"
#include "frame/vector_clones.h"
#include "host/memory.h"
#include "host/modules.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "host/vectors.h"
#include "module/commands.h"
#include "spectral/dft_terms.h"
#include "spectral/dft_window.h"

namespace zcmds {

const char* const dftSignature =
    "( const   storage  int16  mode ,  const   storage  (int16|int32)  bsize  ,  "
    "( const   storage  int16  wintype  |    const   storage  (      int16  vector[uint32]  |      "
    "int32  vector[uint32]  |      float  vector[uint32]  |      double vector[uint32] )   winvect ),  "
    "const   storage  (int16|int32)  vector[uint16]  selterms,  ( const   pipe int16  src , "
    "out   pipe int32  power  |   const   pipe (int16|int32|float|double)  src      , "
    "out   typeof(src)  freqr     [ , out   typeof(src)  freqi] ) ) ";

namespace {

enum class Mode : std::int16_t { parts = 0, power = 4, magnitude = 5, polar = 6 };

struct DftState {
    std::uint32_t length;  // N, samples of a block
    std::int32_t nterms;
    ParamMask sourceType;
    Mode mode;
    DftTerm* terms;
    DftWindow window;
    PbufHandle srcBuf, firstBuf, secondBuf;  // secondBuf is null without a second output
};

using PostOperation = void (*)(const DftState& state);

// Real and imaginary part of a term at the end of a block, before their division by N.
double realPart(const DftTerm& term) { return term.coeff * 0.5 * term.s1 - term.s2; }
double imaginaryPart(const DftTerm& term) { return term.sine * term.s1; }

double squaredMagnitude(const DftTerm& term) {
    return term.s2 * term.s2 + term.s1 * term.s1 - term.s2 * term.s1 * term.coeff;
}

// Radians for floating elements; half a turn is full scale for integers. Nothing is clamped.
template <class Element>
Element phaseTo(double phase) {
    constexpr double scale = sizeof(Element) == 2 ? 10430.060040584269 : 683565275.2581217;
    return truncateTo<Element>(std::is_integral_v<Element> ? phase * scale : phase);
}

template <class Element>
Element* dataOf(PbufHandle pbuf) {
    return static_cast<Element*>(zepl::pbuf_get_data_ptr(pbuf));
}

template <class Element>
void putParts(const DftState& state) {
    Element* const real = dataOf<Element>(state.firstBuf);
    Element* const imaginary = dataOf<Element>(state.secondBuf);
    const double length = state.length;
    for (std::int32_t i = 0; i < state.nterms; ++i) {
        real[i] = truncateTo<Element>(realPart(state.terms[i]) / length);
        imaginary[i] = truncateTo<Element>(imaginaryPart(state.terms[i]) / length);
    }
}

template <class Element>
void putPower(const DftState& state) {
    Element* const power = dataOf<Element>(state.firstBuf);
    const double squaredLength = state.length * state.length;  // modulo 2^32
    for (std::int32_t i = 0; i < state.nterms; ++i)
        power[i] = truncateTo<Element>(squaredMagnitude(state.terms[i]) / squaredLength);
}

template <class Element>
void putMagnitude(const DftState& state) {
    Element* const magnitude = dataOf<Element>(state.firstBuf);
    const double length = state.length;
    for (std::int32_t i = 0; i < state.nterms; ++i)
        magnitude[i] = truncateTo<Element>(std::sqrt(squaredMagnitude(state.terms[i])) / length);
}

template <class Element>
void putPolar(const DftState& state) {
    Element* const magnitude = dataOf<Element>(state.firstBuf);
    Element* const phase = dataOf<Element>(state.secondBuf);
    const double length = state.length;
    inPieces(state.nterms, [&](std::int32_t start, std::int32_t count) {
        double x[mathematicsPiece] = {}, y[mathematicsPiece] = {};
        for (std::int32_t i = 0; i < count; ++i) {
            const double re = x[i] = realPart(state.terms[start + i]),
                         im = y[i] = imaginaryPart(state.terms[start + i]);
            magnitude[start + i] = truncateTo<Element>(std::sqrt(re * re + im * im) / length);
        }
        mathematics.atan2Array(y, x, y, count);
        for (std::int32_t i = 0; i < count; ++i) phase[start + i] = phaseTo<Element>(y[i]);
    });
}

// The power of int16 samples is delivered in int32.
template <class Element>
PostOperation postFor(Mode mode) {
    using Power = std::conditional_t<std::is_same_v<Element, std::int16_t>, std::int32_t, Element>;
    switch (mode) {
        case Mode::parts:
            return putParts<Element>;
        case Mode::power:
            return putPower<Power>;
        case Mode::magnitude:
            return putMagnitude<Element>;
        default:
            return putPolar<Element>;
    }
}

template <class Element>
ZCMDS_VECTOR_CLONES void weigh(const Element* __restrict samples, const float* __restrict table,
                               double* __restrict weighted, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) weighted[i] = static_cast<double>(table[i]) * static_cast<double>(samples[i]);
}

// Takes the block's samples from `position` on into the terms, by pieces that fit on the task's stack.
template <class Element>
void takeSamples(const DftState& state, const Element* samples, std::uint32_t position, std::int32_t n) {
    constexpr std::int32_t pieceSize = 256;
    double weighted[pieceSize];
    for (std::int32_t start = 0; start < n; start += pieceSize) {
        const std::int32_t count = std::min(n - start, pieceSize);
        weigh(samples + start, state.window.table + position + start, weighted, count);
        advanceDftTerms(state.terms, state.nterms, weighted, count);
    }
}

template <class Element>
[[noreturn]] void run(const DftState& state, PostOperation post) {
    const Element* samples = nullptr;
    std::int32_t left = 0;  // samples of the last delivery
    for (;;) {
        for (std::int32_t i = 0; i < state.nterms; ++i) state.terms[i].s1 = state.terms[i].s2 = 0.0;
        for (std::uint32_t taken = 0; taken < state.length;) {
            if (left == 0) {
                left = zepl::pbuf_get(state.srcBuf);
                samples = dataOf<Element>(state.srcBuf);
            }
            const std::uint32_t n = std::min(static_cast<std::uint32_t>(left), state.length - taken);
            takeSamples(state, samples, taken, static_cast<std::int32_t>(n));
            samples += n;
            left -= static_cast<std::int32_t>(n);
            taken += n;
        }
        post(state);
        zepl::pbuf_put_set_cnt(state.firstBuf, state.nterms);
        if (state.secondBuf != PbufHandle{}) zepl::pbuf_put_set_cnt(state.secondBuf, state.nterms);
    }
}

constexpr std::int32_t sourcePosition = 5, firstPosition = 6, secondPosition = 7;

void checkType(ParamList list, std::int32_t position, ParamMask expected) {
    if (zepl::param_type(list, position) != expected) zepl::param_error_msg(ParamError::typeMismatch, position);
}

void checkTwoOutputs(ParamList list, std::int32_t count) {
    if (count != secondPosition) zepl::param_error_msg(ParamError::missing, secondPosition);
    const ParamMask sourceType = zepl::param_type(list, sourcePosition);
    checkType(list, firstPosition, sourceType);
    checkType(list, secondPosition, sourceType);
}

void checkOneOutput(ParamList list, std::int32_t count, Mode mode) {
    if (count > firstPosition) zepl::param_error_msg(ParamError::tooMany, secondPosition);
    const ParamMask sourceType = zepl::param_type(list, sourcePosition);
    checkType(list, firstPosition, mode == Mode::power && sourceType == pipeInt16 ? pipeInt32 : sourceType);
}

Mode checkedMode(ParamList list, Slot slot, std::int32_t count) {
    const Mode mode{*valueIn<std::int16_t>(slot)};
    if (mode == Mode::parts || mode == Mode::polar)
        checkTwoOutputs(list, count);
    else if (mode == Mode::power || mode == Mode::magnitude)
        checkOneOutput(list, count, mode);
    else
        zepl::param_error_msg(ParamError::notPositive, 1);
    return mode;
}

// A negative size is a very large one.
std::uint32_t blockLength(ParamList list, Slot slot) {
    const std::int32_t given = integerIn(slot, zepl::param_type(list, 2));
    if (given == 0) zepl::param_error_msg(ParamError::outOfRange, 2);
    return static_cast<std::uint32_t>(given);
}

void setTerms(DftState& state, VectorHandle selected) {
    state.nterms = zepl::vector_length(selected);
    state.terms = static_cast<DftTerm*>(zepl::ralloc(static_cast<std::size_t>(state.nterms) * sizeof(DftTerm)));
    const void* entries = zepl::vector_start(selected);
    const bool narrow = zepl::vector_type(selected) == vectorInt16;
    for (std::int32_t i = 0; i < state.nterms; ++i) {
        const std::int32_t index =
            narrow ? static_cast<const std::int16_t*>(entries)[i] : static_cast<const std::int32_t*>(entries)[i];
        if (static_cast<std::uint32_t>(index) >= state.length) {
            zepl::printf("*** Warning: DFT index %ld exceeds block size\r\n", static_cast<long>(index));
            zepl::param_error_msg(ParamError::outOfRange, 4);
        }
        setDftTerm(state.terms[i], static_cast<std::uint32_t>(index), state.length);
    }
}

DftWindow windowFor(Slot slot, ParamMask kind, std::uint32_t length) {
    if (kind == constantInt16) {
        const std::int16_t code = *valueIn<std::int16_t>(slot);
        if (code < 0 || code >= dftVectorWindow) zepl::param_error_msg(ParamError::unknownWord, 3);
        return makeDftWindow(code, length);
    }
    const VectorHandle vector = handleIn<VectorHandle>(slot);
    if (static_cast<std::uint32_t>(zepl::vector_length(vector)) != length)
        zepl::param_error_msg(ParamError::vectorLengthMismatch, 3);
    return convertDftWindow(vector, length);
}

PbufHandle openOutput(Slot slot, std::int32_t nterms) {
    const PipeHandle pipe = handleIn<PipeHandle>(slot);
    zepl::pipe_open(pipe, zepl::OpenMode::write);
    return zepl::pbuf_open(pipe, nterms);
}

void open(DftState& state, const Slot* params) {
    const PipeHandle src = handleIn<PipeHandle>(params[sourcePosition]);
    zepl::pipe_open(src, zepl::OpenMode::read);
    state.srcBuf = zepl::pbuf_open(src, static_cast<std::int32_t>(zepl::sys_get_info(SysInfo::defaultBlock)));
    state.firstBuf = openOutput(params[firstPosition], state.nterms);
    const bool twoOutputs = state.mode == Mode::parts || state.mode == Mode::polar;
    state.secondBuf = twoOutputs ? openOutput(params[secondPosition], state.nterms) : PbufHandle{};
}

}  // namespace

std::uint32_t dft(ParamList list) {
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 6, 7, constantInt16, constantInteger, anyVector | constantInt16,
                            vectorInt16 | vectorInt32, anyPipe, anyPipe, anyPipe);
    DftState& state = *static_cast<DftState*>(zepl::malloc(sizeof(DftState)));
    state.length = blockLength(list, params[2]);
    state.mode = checkedMode(list, params[1], count);
    state.sourceType = zepl::param_type(list, sourcePosition);
    setTerms(state, handleIn<VectorHandle>(params[4]));
    state.window = windowFor(params[3], zepl::param_type(list, 3), state.length);
    open(state, params);
    return forElementType(state.sourceType,
                          [&]<class Element>() -> std::uint32_t { run<Element>(state, postFor<Element>(state.mode)); });
}

}  // namespace zcmds
