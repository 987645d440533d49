// CROSSPOWER gives the one-sided cross-power spectrum of two signals, block by block, as a real and an imaginary stream,
// and, where it is asked for, the power of the first signal.

#include <cstddef>
#include <cstring>

#include "frame/element_type.h"
#include "frame/values.h"
#include "frame/vector_clones.h"
#include "host/memory.h"
#include "host/modules.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "module/commands.h"
#include "spectral/narrowing.h"
#include "spectral/spectrum_block.h"

namespace zcmds {

const char* const crosspowerSignature =
    "( in pipe (int16|int32|float|double) src1, in typeof(src1) src2, const int16 blklen, "
    "( const anyscalar vector[uint32] windvec |   "
    "const keyword wtypes {BARTLETT,VONHANN,HAMMING,BLACKMAN,RECTANGULAR} windtype ), "
    "out pipe (int16|int32|float|double) realpow, out typeof(realpow) imagpow [, out typeof(realpow) autopow] )";

namespace {

struct CrossPowerOutput {
    PipeHandle pipe{};
    PbufHandle pbuf{};
    void* data = nullptr;  // the pbuf's own
};

struct CrossPowerState {
    std::int32_t length = 0;       // N
    std::int32_t outCount = 0;     // elements that each output gets of a block
    std::int32_t outputCount = 0;  // 2, or 3 with the power of the first signal
    SpectrumBlock blocks[2];       // the signals
    FftPlan plans[2];
    CrossPowerOutput outputs[3];  // real, imaginary, power of the first
    void (*productOp)(const CrossPowerState& state) = nullptr;
};

// Twice conj(A) * B for the elements from 1 on. Unlike elsewhere the last one of an odd N is doubled as well.
template <class Element>
ZCMDS_VECTOR_CLONES void crossProduct(const SpectrumBlock& a, const SpectrumBlock& b, std::int32_t n,
                                      Element* __restrict real, Element* __restrict imag) {
    const double* __restrict aRe = a.re;
    const double* __restrict aIm = a.im;
    const double* __restrict bRe = b.re;
    const double* __restrict bIm = b.im;
    real[0] = clampIntegerTo<Element>(bRe[0] * aRe[0]);
    imag[0] = 0;
    for (std::int32_t i = 1; i < n; ++i) {
        real[i] = clampIntegerTo<Element>((aRe[i] * bRe[i] + aIm[i] * bIm[i]) * 2.0);
        imag[i] = clampIntegerTo<Element>((bIm[i] * aRe[i] - aIm[i] * bRe[i]) * 2.0);
    }
}

template <class Element>
ZCMDS_VECTOR_CLONES void autoPower(const SpectrumBlock& a, std::int32_t n, Element* __restrict power) {
    const double* __restrict re = a.re;
    const double* __restrict im = a.im;
    power[0] = clampIntegerTo<Element>(re[0] * re[0]);
    for (std::int32_t i = 1; i < n; ++i) power[i] = clampIntegerTo<Element>((im[i] * im[i] + re[i] * re[i]) * 2.0);
}

template <class Element>
void product(const CrossPowerState& state) {
    const SpectrumBlock& first = state.blocks[0];
    const auto data = [&](std::int32_t output) { return static_cast<Element*>(state.outputs[output].data); };
    crossProduct(first, state.blocks[1], state.outCount, data(0), data(1));
    if (state.outputCount == 3) autoPower(first, state.outCount, data(2));
}

// An exponent of 2 from 3 to 14, and a length from 16 on; so 15 is neither.
std::int32_t blockLength(Slot blklen) {
    const std::int16_t given = *valueIn<std::int16_t>(blklen);
    if (given < 3 || given == 15) zepl::param_error_msg(ParamError::outOfRange, 3);
    return given < 15 ? 1 << given : given;
}

void openOutputs(CrossPowerState& state) {
    const auto forEach = [&](auto action) {
        for (std::int32_t i = 0; i < state.outputCount; ++i) action(state.outputs[i]);
    };
    forEach([](CrossPowerOutput& output) { zepl::pipe_open(output.pipe, zepl::OpenMode::write); });
    forEach([&](CrossPowerOutput& output) { output.pbuf = zepl::pbuf_open(output.pipe, state.outCount); });
    forEach([&](CrossPowerOutput& output) {
        zepl::pbuf_set_min_cnt(output.pbuf, state.outCount);
        zepl::pbuf_set_max_cnt(output.pbuf, state.outCount);
    });
    forEach([](CrossPowerOutput& output) { output.data = zepl::pbuf_get_data_ptr(output.pbuf); });
}

void openAll(CrossPowerState& state, const Slot* params) {
    const std::size_t bytes = static_cast<std::size_t>(state.length) * sizeof(double);
    for (std::int32_t i = 0; i < 2; ++i) {
        SpectrumBlock& block = state.blocks[i];
        block.length = state.length;
        block.outCount = state.outCount;
        block.half = true;
        block.rIn = handleIn<PipeHandle>(params[1 + i]);
        block.re = static_cast<double*>(zepl::ralloc(bytes));
        block.im = static_cast<double*>(zepl::ralloc(bytes));
    }
    for (std::int32_t i = 0; i < state.outputCount; ++i) state.outputs[i].pipe = handleIn<PipeHandle>(params[5 + i]);
    spectrumOpenInputs(state.blocks[0], state.blocks[1]);
    openOutputs(state);
}

// KAISER would need a parameter that this command does not have.
void selectWindow(SpectrumBlock& block, Slot window, ParamMask kind) {
    if (kind != declaredKeyword) return takeWindowVector(block, handleIn<VectorHandle>(window), 4);
    const char* name = valueIn<const char>(window);
    if (std::strcmp(name, "KAISER") == 0 || !selectWindowByName(block, 0, name))
        zepl::param_error_msg(ParamError::unknownWord, 4);
}

void buildPlans(CrossPowerState& state) {
    bool built = true;
    for (FftPlan& plan : state.plans)
        built = fftPlanBuild(0, state.length, state.length, state.length, 1, plan) && built;
    if (built) return;
    zepl::printf("*** Warning: FFT block size invalid, factoring failed\r\n");
    zepl::param_error_msg(ParamError::unusableLength, 1);
}

// The products are stored in the first output's type, which the buffer of a narrower pipe would not hold.
void checkWidths(ParamList list, std::int32_t count) {
    constexpr std::int32_t realPosition = 5;
    const std::uint32_t width = elementSizeOf(zepl::param_type(list, realPosition));
    for (std::int32_t position = realPosition + 1; position <= count; ++position)
        if (elementSizeOf(zepl::param_type(list, position)) < width)
            zepl::param_error_msg(ParamError::typeMismatch, position);
}

[[noreturn]] void run(CrossPowerState& state) {
    for (;;) {
        spectrumTransformPair(state.blocks, state.plans);
        state.productOp(state);
        for (std::int32_t i = 0; i < state.outputCount; ++i)
            zepl::pbuf_put_set_cnt(state.outputs[i].pbuf, state.outCount);
    }
}

}  // namespace

std::uint32_t crosspower(ParamList list) {
    CrossPowerState state;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 6, 7, anyPipe, anyPipe, constantInt16,
                                             declaredKeyword | anyVector, anyPipe, anyPipe, anyPipe);
    state.length = blockLength(params[3]);
    state.outCount = (state.length + 1) / 2;
    state.outputCount = count - 4;
    openAll(state, params);
    for (SpectrumBlock& block : state.blocks) selectReadOp(block);
    for (SpectrumBlock& block : state.blocks) selectWindow(block, params[4], zepl::param_type(list, 4));
    for (SpectrumBlock& block : state.blocks) selectWidenOp(block, zepl::param_type(list, 1));
    buildPlans(state);
    for (SpectrumBlock& block : state.blocks) selectPostTwo(block, "PARTS", pipeDouble, pipeDouble);
    keepWindowWeights(state.blocks[0]);
    state.blocks[1].weights = state.blocks[0].weights;
    checkWidths(list, count);
    forElementType(zepl::param_type(list, 5), [&]<class Element>() -> std::uint32_t {
        state.productOp = product<Element>;
        return 0;
    });
    run(state);
}

}  // namespace zcmds
