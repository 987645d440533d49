// The inner loops of the FIR engine, one for each pair of source and destination type. The sum of an output runs in the
// order of the taps, whatever the machine: the loops are vectorised across outputs and channels.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

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

// Vectors of sums are computed whole: this many sums make whole vectors on every machine.
constexpr std::int32_t lanes = 16;

constexpr std::int32_t roundedUp(std::int32_t n) { return (n + lanes - 1) / lanes * lanes; }

// The samples of one pass, each converted once instead of once for every tap that meets it, and dealt out to `decimation`
// rows: row p holds the frames p, p + decimation, ... one behind the other. So the samples that one tap meets in
// consecutive outputs lie side by side. Behind the rows there is room for the sums.
struct WorkShape {
    explicit WorkShape(const FirState& state)
        : rowSize(roundedUp((state.frames / state.decimation + 1) * state.nchans) + lanes),
          rowCount(state.decimation),
          channels(state.nchans) {}

    std::ptrdiff_t sumsAt() const { return std::ptrdiff_t{rowSize} * rowCount; }
    std::size_t elements(const FirState& state) const {
        return static_cast<std::size_t>(sumsAt() + roundedUp(state.destCapacity));
    }

    std::int32_t rowSize;   // elements from row to row
    std::int32_t rowCount;  // rows
    std::int32_t channels;  // elements of a frame
};

template <class Source, class Sum>
ZCMDS_VECTOR_CLONES void dealOut(const WorkShape& shape, const Source* samples, std::int32_t frames, Sum* work) {
    if (shape.rowCount == 1) {
        for (std::int32_t i = 0; i < frames * shape.channels; ++i) work[i] = static_cast<Sum>(samples[i]);
        return;
    }
    for (std::int32_t p = 0; p < shape.rowCount; ++p) {
        Sum* to = work + std::ptrdiff_t{p} * shape.rowSize;
        const std::int32_t inRow = (frames - p + shape.rowCount - 1) / shape.rowCount;
        const std::int32_t step = shape.rowCount * shape.channels;
        const Source* from = samples + p * shape.channels;
        if (shape.channels == 1) {
            for (std::int32_t i = 0; i < inRow; ++i) to[i] = static_cast<Sum>(from[i * step]);
            continue;
        }
        for (std::int32_t i = 0; i < inRow; ++i, from += step, to += shape.channels)
            for (std::int32_t channel = 0; channel < shape.channels; ++channel)
                to[channel] = static_cast<Sum>(from[channel]);
    }
}

// Where the sample of the first output and channel stands that a tap meets; it steps from tap to tap.
template <class Sum>
struct TapCursor {
    const Sum* at;
    std::ptrdiff_t toNextRow, toNextColumn;
    std::int32_t rowCount, row = 0;

    TapCursor(const WorkShape& shape, const Sum* work)
        : at(work),
          toNextRow(shape.rowSize),
          toNextColumn(shape.channels - std::ptrdiff_t{shape.rowSize} * (shape.rowCount - 1)),
          rowCount(shape.rowCount) {}

    const Sum* next() {
        const Sum* const here = at;
        const bool last = ++row == rowCount;
        at += last ? toNextColumn : toNextRow;
        if (last) row = 0;
        return here;
    }
};

// Adds the products of the next `taps` taps to each sum, one after the other.
template <std::int32_t taps, class Sum, class Coefficient>
[[gnu::always_inline]] inline void addTaps(TapCursor<Sum>& cursor, const Coefficient*& coefficients,
                                           Sum* __restrict sums, std::int32_t n) {
    const Sum* samples[taps];
    Sum factors[taps];
    for (std::int32_t k = 0; k < taps; ++k) {
        samples[k] = cursor.next();
        factors[k] = static_cast<Sum>(*coefficients++);
    }
    for (std::int32_t i = 0; i < n; ++i) {
        Sum sum = sums[i];
        for (std::int32_t k = 0; k < taps; ++k) sum += factors[k] * samples[k][i];
        sums[i] = sum;
    }
}

template <class Sum, class Coefficient>
ZCMDS_VECTOR_CLONES void sumTaps(const WorkShape& shape, const Sum* work, const Coefficient* coefficients,
                                 std::int32_t length, Sum* __restrict sums, std::int32_t count) {
    const std::int32_t n = roundedUp(count);
    TapCursor<Sum> cursor(shape, work);
    for (std::int32_t i = 0; i < n; ++i) sums[i] = 0;
    for (; length >= 8; length -= 8) addTaps<8>(cursor, coefficients, sums, n);
    for (; length >= 4; length -= 4) addTaps<4>(cursor, coefficients, sums, n);
    for (; length >= 1; length -= 1) addTaps<1>(cursor, coefficients, sums, n);
}

template <class Sum, class Destination>
ZCMDS_VECTOR_CLONES void storeSums(const Sum* __restrict sums, std::int32_t n, Destination* __restrict to) {
    for (std::int32_t i = 0; i < n; ++i) to[i] = stored<Destination>(sums[i]);
}

template <class Source, class Destination>
void filterPass(FirState& state, const FirCoefficients& coefficients) {
    using Sum = SumFor<Source, Destination>;
    const WorkShape shape(state);
    auto* const work = static_cast<Sum*>(state.work);
    Sum* const sums = work + shape.sumsAt();
    const std::int32_t frames = state.available - state.start;
    const std::int32_t outputs = (frames - coefficients.length) / state.decimation + 1;
    const std::int32_t count = outputs * state.nchans;

    dealOut(shape, static_cast<const Source*>(state.srcData) + state.start * state.nchans, frames, work);
    sumTaps(shape, work, static_cast<const CoefficientFor<Source>*>(coefficients.table), coefficients.length, sums,
            count);
    storeSums(sums, count, static_cast<Destination*>(state.destData) + state.outCount * state.nchans);
    state.outCount += outputs;
    state.start += outputs * state.decimation;
}

template <class Source, class Destination>
void select(FirState& state) {
    state.inner = filterPass<Source, Destination>;
    state.work = zepl::ralloc(WorkShape(state).elements(state) * sizeof(SumFor<Source, Destination>));
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
