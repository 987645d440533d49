// The inner loops of the FIR engine, one for each pair of source and destination type. The sum of an output runs in the
// order of the taps, whatever the machine: the loops are vectorised across outputs and channels.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "fir/fir_deal.h"
#include "fir/fir_engine.h"
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

// Sums are computed in whole vectors, as wide as any machine has them.
template <class Sum>
inline constexpr std::int32_t lanes = 64 / sizeof(Sum);

template <class Sum>
constexpr std::int32_t wholeVectors(std::int32_t n) {
    return (n + lanes<Sum> - 1) / lanes<Sum> * lanes<Sum>;
}

// The memory of one pass. Each sample is converted once, instead of once for every tap that meets it, and dealt out to
// `decimation` rows.
template <class Sum>
struct Work {
    std::int32_t rowSize;     // elements from row to row
    std::int32_t* samplesAt;  // for each tap, where in `rows` the sample of the first output and channel stands
    Sum* converted;           // all frames in their order
    Sum* rows;                // the same with decimation 1
    Sum* sums;                // whole vectors
};

template <class Element>
Element* allocate(std::int32_t n) {
    return static_cast<Element*>(zepl::ralloc(static_cast<std::size_t>(n) * sizeof(Element)));
}

// Behind each row there is room for the rest of a vector of outputs, which is computed and dropped, and all has room for
// what dealing out reads and writes too much.
template <class Sum>
Work<Sum>* makeWork(const FirState& state) {
    const std::int32_t taps = state.frames - firHeadroom, rowCount = state.decimation, nchans = state.nchans;
    auto* const work = allocate<Work<Sum>>(1);
    work->rowSize = wholeVectors<Sum>((state.frames / rowCount + 1) * nchans + dealPiece) + lanes<Sum>;
    work->samplesAt = allocate<std::int32_t>(taps);
    for (std::int32_t k = 0; k < taps; ++k) work->samplesAt[k] = k % rowCount * work->rowSize + k / rowCount * nchans;
    work->rows = allocate<Sum>((rowCount + squareSize<Sum> - 1) * work->rowSize);
    work->converted =
        rowCount == 1 ? work->rows : allocate<Sum>(state.frames * nchans + squareSize<Sum> * rowCount + dealPiece);
    work->sums = allocate<Sum>(wholeVectors<Sum>(state.destCapacity));
    return work;
}

template <class Source, class Sum>
ZCMDS_VECTOR_CLONES void convert(const Source* __restrict samples, std::int32_t n, Sum* __restrict to) {
    for (std::int32_t i = 0; i < n; ++i) to[i] = static_cast<Sum>(samples[i]);
}

template <class Sum>
void dealOut(const Work<Sum>& work, std::int32_t frames, std::int32_t nchans, std::int32_t rowCount) {
    if (rowCount == 1) return;
    if (nchans == 1)
        dealSamples(work.converted, frames, rowCount, work.rows, work.rowSize);
    else
        dealFrames(work.converted, frames, nchans, rowCount, work.rows, work.rowSize);
}

// Adds to each of `n` sums what the next `taps` taps give, one after the other.
template <std::int32_t taps, class Sum, class Coefficient>
[[gnu::always_inline]] inline void addTaps(const Sum* rows, const std::int32_t* samplesAt,
                                           const Coefficient* coefficients, Sum* __restrict sums, std::int32_t n) {
    const Sum* met[taps];
    Sum factors[taps];
    for (std::int32_t k = 0; k < taps; ++k) {
        met[k] = rows + samplesAt[k];
        factors[k] = static_cast<Sum>(coefficients[k]);
    }
    for (std::int32_t i = 0; i < n; ++i) {
        Sum sum = sums[i];
        for (std::int32_t k = 0; k < taps; ++k) sum += factors[k] * met[k][i];
        sums[i] = sum;
    }
}

// Eight taps at a time: as many coefficients as fit into the registers beside sum and product.
template <class Sum, class Coefficient>
ZCMDS_VECTOR_CLONES void sumTaps(const Work<Sum>& work, const Coefficient* coefficients, std::int32_t length,
                                 std::int32_t count) {
    Sum* const __restrict sums = work.sums;
    const std::int32_t n = wholeVectors<Sum>(count);
    for (std::int32_t i = 0; i < n; ++i) sums[i] = 0;
    std::int32_t k = 0;
    for (; k + 8 <= length; k += 8) addTaps<8>(work.rows, work.samplesAt + k, coefficients + k, sums, n);
    for (; k + 4 <= length; k += 4) addTaps<4>(work.rows, work.samplesAt + k, coefficients + k, sums, n);
    for (; k < length; ++k) addTaps<1>(work.rows, work.samplesAt + k, coefficients + k, sums, n);
}

template <class Sum, class Destination>
ZCMDS_VECTOR_CLONES void storeSums(const Sum* __restrict sums, std::int32_t n, Destination* __restrict to) {
    for (std::int32_t i = 0; i < n; ++i) to[i] = stored<Destination>(sums[i]);
}

template <class Source, class Destination>
void filterPass(FirState& state, const FirCoefficients& coefficients) {
    using Sum = SumFor<Source, Destination>;
    const auto& work = *static_cast<const Work<Sum>*>(state.work);
    const std::int32_t nchans = state.nchans, frames = state.available - state.start;
    const std::int32_t outputs = (frames - coefficients.length) / state.decimation + 1, count = outputs * nchans;
    const auto* const table = static_cast<const CoefficientFor<Source>*>(coefficients.table);

    convert(static_cast<const Source*>(state.srcData) + state.start * nchans, frames * nchans, work.converted);
    dealOut(work, frames, nchans, state.decimation);
    sumTaps(work, table, coefficients.length, count);
    storeSums(work.sums, count, static_cast<Destination*>(state.destData) + state.outCount * nchans);
    state.outCount += outputs;
    state.start += outputs * state.decimation;
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
