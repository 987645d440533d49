// The inner loops of the FIR engine, one for each pair of source and destination type. The sum of an output runs in the
// order of the taps, whatever the machine: the loops are vectorised across outputs and channels.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "fir/fir_engine.h"
#include "fir/fir_layout.h"
#include "fir/fir_rows.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/vector_clones.h"
#include "host/memory.h"

namespace zcmds {

namespace {

template <class Source>
inline constexpr bool isSingle = std::is_same_v<Source, std::int16_t> || std::is_same_v<Source, float>;

template <class Source>
using CoefficientFor = std::conditional_t<isSingle<Source>, float, double>;

// Products and sums are formed in this type; it follows no simple rule. Samples and coefficients are exact in it.
template <class Source, class Destination>
using SumFor = std::conditional_t<(isSingle<Source> && std::is_same_v<Destination, std::int16_t>) ||
                                      (std::is_same_v<Source, std::int16_t> && std::is_same_v<Destination, float>),
                                  float, double>;

// An int16 saturates, and a NaN gives 0; what an int32 does not hold gives its most negative value.
template <class Destination, class Sum>
Destination stored(Sum sum) {
    if constexpr (std::is_same_v<Destination, std::int16_t>) {
        const Sum held = sum == sum ? std::clamp<Sum>(sum, -32768, 32767) : 0;
        return static_cast<std::int16_t>(static_cast<std::int32_t>(held));
    } else {
        return truncateTo<Destination>(sum);
    }
}

// The memory of one pass. Each sample is converted once, instead of once for every tap that meets it.
template <class Sum>
struct Work {
    RowLayout layout;
    ScatterSamples<Sum> scatter;
    GatherSums<Sum> gather;
    Sum* taps;       // the coefficients
    Sum* converted;  // all samples in their order
    Sum* rows;       // the same as the sums meet them; the same memory where frames are whole rows
    Sum* rowSums;    // the sums as they are made
    Sum* sums;       // the same in the order of the outputs, in the same memory again
};

template <class Element>
Element* allocate(std::int32_t n) {
    return static_cast<Element*>(zepl::ralloc(static_cast<std::size_t>(n) * sizeof(Element)));
}

// Samples and sums have room for all outputs of whole rows, though those past the last output are dropped, and for what
// their moves read and write too much.
template <class Sum>
Work<Sum>* makeWork(const FirState& state) {
    const std::int32_t tapCount = state.frames - firHeadroom, decimation = state.decimation;
    auto* const work = allocate<Work<Sum>>(1);
    const RowLayout& layout = work->layout = rowLayout<Sum>(state.nchans);
    const std::int32_t perRun = outputsPerRun(layout, firHeadroom / decimation + 1), outputs = perRun * layout.runs;
    const std::int32_t rowCount = ((perRun - 1) * decimation + tapCount) * layout.pieces + transposeSize<Sum>;
    work->taps = allocate<Sum>(tapCount);
    work->converted = allocate<Sum>(((outputs - 1) * decimation + tapCount) * state.nchans + lanes<Sum>);
    work->rowSums = allocate<Sum>(perRun * layout.pieces * lanes<Sum>);
    const bool rowsInPlace = state.nchans % lanes<Sum> == 0;
    work->rows = rowsInPlace ? work->converted : allocate<Sum>(rowCount * lanes<Sum>);
    work->sums = rowsInPlace ? work->rowSums : allocate<Sum>(outputs * state.nchans + lanes<Sum>);
    selectMoves(layout, work->scatter, work->gather);
    return work;
}

template <class From, class To>
ZCMDS_VECTOR_CLONES void convert(const From* __restrict from, std::int32_t n, To* __restrict to) {
    for (std::int32_t i = 0; i < n; ++i) to[i] = static_cast<To>(from[i]);
}

template <class Sum, class Destination>
ZCMDS_VECTOR_CLONES void storeSums(const Sum* __restrict sums, std::int32_t n, Destination* __restrict to) {
    for (std::int32_t i = 0; i < n; ++i) to[i] = stored<Destination>(sums[i]);
}

// `outputs` frames of sums from the converted samples. For few of them rows are not worth their making.
template <class Sum>
void sumOutputs(const Work<Sum>& work, const FirCoefficients& coefficients, std::int32_t nchans, std::int32_t outputs) {
    const std::int32_t decimation = coefficients.decimation, length = coefficients.length, pieces = work.layout.pieces;
    if (outputs * nchans <= maxTileRows)
        return dotProducts({work.converted, work.taps, length, decimation, nchans}, outputs * nchans, work.sums);

    const std::int32_t perRun = outputsPerRun(work.layout, outputs);
    ShiftedRows<Sum> shifted{};
    if (work.rows != work.converted)
        shifted = work.scatter(work.layout, work.converted, perRun * decimation, (perRun - 1) * decimation + length,
                               work.rows);
    sumRows({work.rows, work.taps, length, decimation, pieces}, shifted, perRun * pieces, work.rowSums);
    if (work.sums != work.rowSums) work.gather(work.layout, work.rowSums, perRun, work.sums);
}

template <class Source, class Destination>
void filterPass(FirState& state, const FirCoefficients& coefficients) {
    using Sum = SumFor<Source, Destination>;
    const auto& work = *static_cast<const Work<Sum>*>(state.work);
    const std::int32_t nchans = state.nchans, decimation = state.decimation, length = coefficients.length;
    const std::int32_t outputs = (state.available - state.start - length) / decimation + 1;
    const auto* const samples = static_cast<const Source*>(state.srcData) + state.start * nchans;

    convert(static_cast<const CoefficientFor<Source>*>(coefficients.table), length, work.taps);
    convert(samples, ((outputs - 1) * decimation + length) * nchans, work.converted);
    sumOutputs(work, coefficients, nchans, outputs);
    storeSums(work.sums, outputs * nchans, static_cast<Destination*>(state.destData) + state.outCount * nchans);
    state.outCount += outputs;
    state.start += outputs * decimation;
}

template <class Source, class Destination>
void select(FirState& state) {
    state.inner = filterPass<Source, Destination>;
    state.work = makeWork<SumFor<Source, Destination>>(state);
}

}  // namespace

void firSelectInner(FirState& state) {
    forElementType(state.srcType, [&]<class Source>() -> std::uint32_t {
        return forElementType(state.destType, [&]<class Destination>() -> std::uint32_t {
            select<Source, Destination>(state);
            return 0;
        });
    });
}

}  // namespace zcmds
