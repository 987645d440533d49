// CORRELATE gives the correlation of two signals over a window of lags, block by block, by way of their spectra. A block
// is taken as a circle: lags near its length meet the other end.

#include <algorithm>
#include <cstddef>

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

const char* const correlateSignature =
    "( const pipe anyscalar src1,const typeof(src1) src2,const anyfixed lead,const anyfixed lag,const anyfixed block,"
    "out   pipe anyscalar  dest )";

namespace {

constexpr std::int32_t maxSize = 1048576;

// Multiplies 2, 3, 5 and 7 into products, to find the smallest at or above a target.
struct SizeSearch {
    std::int32_t target;
    std::int32_t best = maxSize;

    // Continues from `product` with the primes from this one on.
    void tryPrimes(const std::int32_t* prime, std::int32_t product) {
        constexpr std::int32_t last = 2;
        for (;; product *= *prime) {
            if (product >= target) {
                best = std::min(best, product);
                return;
            }
            if (*prime != last) tryPrimes(prime + 1, product);
            if (best == target) return;
        }
    }
};

// The smallest number at or above `target` with no prime factor above 7; 0 for one below 0 or above 2^20.
std::int32_t correlateSize(std::int32_t target) {
    constexpr std::int32_t primes[] = {7, 5, 3, 2};
    if (target < 0 || target > maxSize) return 0;
    SizeSearch search{.target = target};
    search.tryPrimes(primes, 1);
    return search.best;
}

struct CorrelateState {
    std::int32_t lead = 0, lag = 0, block = 0;  // lags before and after 0, and what the size is made from
    std::int32_t length = 0;                    // N
    std::int32_t outCount = 0;                  // lead + lag + 1
    PipeHandle dest{};
    PbufHandle destBuf{};
    SpectrumBlock blocks[3];  // the signals, and the way back, which works in the first one's buffers
    FftPlan plans[3];
    void* staging = nullptr;  // what dest gets of a block; room for outCount doubles
    void (*outputOp)(const CorrelateState& state) = nullptr;
};

// The lags in ascending order from -lead, the first being at the end of the circle.
template <class Element>
void output(const CorrelateState& state) {
    const double* correlation = state.blocks[0].re;
    double* lags = state.blocks[0].im;  // free by now
    std::copy_n(correlation + (state.length - state.lead), state.lead, lags);
    std::copy_n(correlation, state.lag + 1, lags + state.lead);
    Element* elements = static_cast<Element*>(state.staging);
    for (std::int32_t i = 0; i < state.outCount; ++i) elements[i] = clampIntegerTo<Element>(lags[i]);
}

// The first spectrum becomes its product with the conjugate of the second.
ZCMDS_VECTOR_CLONES void multiplyByConjugate(double* __restrict re1, double* __restrict im1,
                                             const double* __restrict re2, const double* __restrict im2,
                                             std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) {
        const double re = re1[i], im = im1[i];
        re1[i] = im2[i] * im + re * re2[i];
        im1[i] = im * re2[i] - re * im2[i];
    }
}

void checkSizes(CorrelateState& state) {
    if (state.lead < 0) zepl::param_error_msg(ParamError::outOfRange, 3);
    if (state.lag < 0) zepl::param_error_msg(ParamError::outOfRange, 4);
    const std::int64_t lags = std::int64_t{state.lead} + state.lag + 1;
    if (state.block < lags) zepl::param_error_msg(ParamError::outOfRange, 5);
    if (lags + state.block < 16) zepl::param_error_msg(ParamError::outOfRange, 5);
    state.outCount = static_cast<std::int32_t>(lags);
    state.length = correlateSize(state.block);
    if (state.length == 0) zepl::param_error_msg(ParamError::outOfRange, 5);
}

void allocate(CorrelateState& state) {
    const auto doubles = [](std::int32_t n) {
        return static_cast<double*>(zepl::ralloc(static_cast<std::size_t>(n) * sizeof(double)));
    };
    SpectrumBlock &first = state.blocks[0], &second = state.blocks[1], &back = state.blocks[2];
    for (SpectrumBlock& block : state.blocks) block.length = block.outCount = state.length;
    first.re = doubles(state.length);
    second.re = doubles(state.length);
    first.im = doubles(state.length);
    second.im = doubles(state.length);
    back.re = first.re;
    back.im = first.im;
    state.staging = doubles(state.outCount);
}

void open(CorrelateState& state) {
    spectrumOpenInputs(state.blocks[0], state.blocks[1]);
    zepl::pipe_open(state.dest, zepl::OpenMode::write);
    state.destBuf = zepl::pbuf_open(state.dest, 0);
    zepl::pbuf_set_data_ptr(state.destBuf, state.staging);
    zepl::pbuf_set_min_cnt(state.destBuf, state.outCount);
    zepl::pbuf_set_max_cnt(state.destBuf, state.outCount);
}

void selectOperations(CorrelateState& state, ParamMask inputType) {
    constexpr std::int32_t variants[] = {0, 0, 1};
    for (std::int32_t i = 0; i < 3; ++i) selectWindowByName(state.blocks[i], variants[i], "RECTANGULAR");
    for (std::int32_t i = 0; i < 2; ++i) selectReadOp(state.blocks[i]);
    for (std::int32_t i = 0; i < 2; ++i) selectWidenOp(state.blocks[i], inputType);
    selectWidenOp(state.blocks[2], pipeDouble);
}

void buildPlans(CorrelateState& state) {
    constexpr std::int32_t directions[] = {0, 0, 1};
    bool built = true;
    for (std::int32_t i = 0; i < 3; ++i)
        built = fftPlanBuild(directions[i], state.length, state.length, state.length, 1, state.plans[i]) && built;
    if (built) return;
    zepl::printf("*** Warning: FFT block size invalid, factoring failed\r\n");
    zepl::param_error_msg(ParamError::unusableLength, 5);
}

[[noreturn]] void run(CorrelateState& state) {
    SpectrumBlock &first = state.blocks[0], &second = state.blocks[1], &back = state.blocks[2];
    for (;;) {
        for (double* buffer : {first.re, first.im, second.re, second.im}) std::fill_n(buffer, state.length, 0.0);
        spectrumTransformPair(state.blocks, state.plans);
        multiplyByConjugate(first.re, first.im, second.re, second.im, state.length);
        fftExecute(back.re, back.im, state.plans[2]);
        state.outputOp(state);
        zepl::pbuf_put_set_cnt(state.destBuf, state.outCount);
    }
}

}  // namespace

std::uint32_t correlate(ParamList list) {
    CorrelateState state;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 6, 6, anyPipe, anyPipe, constantInteger, constantInteger,
                                             constantInteger, anyPipe);
    state.blocks[0].rIn = handleIn<PipeHandle>(params[1]);
    state.blocks[1].rIn = handleIn<PipeHandle>(params[2]);
    state.lead = *valueIn<std::int32_t>(params[3]);
    state.lag = *valueIn<std::int32_t>(params[4]);
    state.block = *valueIn<std::int32_t>(params[5]);
    state.dest = handleIn<PipeHandle>(params[6]);
    checkSizes(state);
    allocate(state);
    open(state);
    selectOperations(state, zepl::param_type(list, 1));
    buildPlans(state);
    forElementType(zepl::param_type(list, 6), [&]<class Element>() -> std::uint32_t {
        state.outputOp = output<Element>;
        return 0;
    });
    run(state);
}

}  // namespace zcmds
