#include "stats/running_sum.h"

#include <algorithm>
#include <limits>

#include "frame/checks.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/vector_clones.h"
#include "host/memory.h"
#include "host/parameters.h"

namespace zcmds {

namespace {

constexpr std::uint32_t transfer = 256;  // the maximum of elements that come at once

// Sums of integers wrap without notice, in 32 bits for int16 and 64 for int32; floating sums are of double precision.
template <class Element>
using Total = std::conditional_t<std::is_integral_v<Element>, Wide<Element>, double>;

std::int32_t plus(std::int32_t sum, std::int16_t x) { return wrappingSum(sum, std::int32_t{x}); }
std::int64_t plus(std::int64_t sum, std::int32_t x) { return wrappingSum(sum, std::int64_t{x}); }
double plus(double sum, double x) { return sum + x; }

// The sum without an element that leaves the window. An int16 is negated in 16 bits: -32768 is its own negative, and so is
// added once more instead of being taken away.
std::int32_t minus(std::int32_t sum, std::int16_t x) { return plus(sum, wrap<std::int16_t>(-std::int32_t{x})); }
std::int64_t minus(std::int64_t sum, std::int32_t x) { return wrappingDifference(sum, std::int64_t{x}); }
double minus(double sum, double x) { return sum - x; }

// The sum that runs on from transfer to transfer.
template <class Element>
struct RunningTotal {
    Total<Element> sum = 0;
    std::uint32_t left;  // inputs to the next output
};

// The elements of a window and those of a transfer, which join it before the ones that leave are taken out.
template <class Element>
struct WindowRing {
    Element* buffer;
    std::uint32_t capacity;
    std::uint32_t window;
    std::uint32_t held = 0;  // elements in the ring
    std::uint32_t readIndex = 0;
    std::uint32_t writeIndex = 0;
};

template <class Element>
WindowRing<Element> makeRing(std::uint32_t window) {
    const std::size_t capacity = std::size_t{window} + transfer;
    return {.buffer = static_cast<Element*>(zepl::ralloc(capacity * sizeof(Element))),
            .capacity = static_cast<std::uint32_t>(capacity),
            .window = window};
}

// The functions below take `n` elements and put the sum at each output into `totals`; they give the number of outputs.

// The sum since its last restart, which comes at an output. What a resetCount that is no multiple of decim leaves over
// counts toward the next one.
template <class Element>
ZCMDS_VECTOR_CLONES std::uint32_t totalsSinceReset(RunningSumState& state, RunningTotal<Element>& running,
                                                   const Element* from, std::uint32_t n, Total<Element>* totals) {
    auto [sum, left] = running;
    std::uint32_t outputs = 0;
    for (; n >= left; left = state.decim) {
        for (std::uint32_t i = 0; i < left; ++i) sum = plus(sum, from[i]);
        from += left;
        n -= left;
        totals[outputs++] = sum;
        if (state.resetCount == 0) continue;
        state.sinceReset += state.decim;
        if (state.sinceReset < state.resetCount) continue;
        state.sinceReset -= state.resetCount;
        sum = 0;
    }
    for (std::uint32_t i = 0; i < n; ++i) sum = plus(sum, from[i]);
    running = {sum, left - n};
    return outputs;
}

// The sum of all there was, after each input.
template <class Element>
ZCMDS_VECTOR_CLONES std::uint32_t totalsOfAll(RunningTotal<Element>& running, const Element* from, std::uint32_t n,
                                              Total<Element>* totals) {
    Total<Element> sum = running.sum;
    for (std::uint32_t i = 0; i < n; ++i) totals[i] = sum = plus(sum, from[i]);
    running.sum = sum;
    return n;
}

template <class Element>
void store(WindowRing<Element>& ring, const Element* from, std::uint32_t n) {
    const std::uint32_t toEnd = std::min(n, ring.capacity - ring.writeIndex);
    std::copy_n(from, toEnd, ring.buffer + ring.writeIndex);
    std::copy_n(from + toEnd, n - toEnd, ring.buffer);
    ring.writeIndex = toEnd < n ? n - toEnd : (ring.writeIndex + n) % ring.capacity;
    ring.held += n;
}

// The sum of the window, after each input.
template <class Element>
ZCMDS_VECTOR_CLONES void totalsOfWindow(WindowRing<Element>& ring, RunningTotal<Element>& running, const Element* from,
                                        std::uint32_t n, Total<Element>* totals) {
    const std::uint32_t growing = std::min(n, ring.window - ring.held);
    store(ring, from, n);
    std::uint32_t i = totalsOfAll(running, from, growing, totals);
    Total<Element> sum = running.sum;
    while (i < n) {
        const std::uint32_t end = i + std::min(n - i, ring.capacity - ring.readIndex);
        const Element* old = ring.buffer + ring.readIndex;
        ring.held -= end - i;
        ring.readIndex = (ring.readIndex + (end - i)) % ring.capacity;
        for (; i < end; ++i) totals[i] = sum = minus(plus(sum, from[i]), *old++);
    }
    running.sum = sum;
}

// Keeps every decim-th of the totals at `n` inputs.
template <class Element>
std::uint32_t decimate(std::uint32_t decim, RunningTotal<Element>& running, std::uint32_t n, Total<Element>* totals) {
    std::uint32_t outputs = 0, at = 0;
    for (; n - at >= running.left; running.left = decim) {
        at += running.left;
        totals[outputs++] = totals[at - 1];
    }
    running.left -= n - at;
    return outputs;
}

// Integers: the quotient toward zero, held at the result's limits. A divisor of 0 is a divide fault.
template <class Result>
ZCMDS_VECTOR_CLONES void storeQuotients(const RunningSumState& state, const std::int32_t* totals, std::uint32_t n,
                                        Result* to) {
    const std::int32_t divisor = wrap<std::int16_t>(divisorOf<std::int32_t>(state));
    if (divisor == 1)
        for (std::uint32_t i = 0; i < n; ++i) to[i] = saturate<Result>(totals[i]);
    else if (divisor == 0 || divisor == -1)
        for (std::uint32_t i = 0; i < n; ++i) to[i] = saturate<Result>(divideOrFault(totals[i], divisor));
    else
        for (std::uint32_t i = 0; i < n; ++i) to[i] = saturate<Result>(divideThroughDouble(totals[i], divisor));
}

std::int32_t heldIn32Bits(double x) {
    const double notAbove = x < 2147483647.0 ? x : 2147483647.0;
    return static_cast<std::int32_t>(notAbove > -2147483648.0 ? notAbove : -2147483648.0);
}

// The bound of divideThroughDouble, for all totals at once.
bool allDivideThroughDouble(const std::int64_t* totals, std::uint32_t n) {
    std::uint64_t signs = 0;  // of the totals' absolute values, one's complement
    for (std::uint32_t i = 0; i < n; ++i) signs |= static_cast<std::uint64_t>(totals[i] ^ (totals[i] >> 63));
    return dividesThroughDouble(static_cast<std::int64_t>(signs));
}

ZCMDS_VECTOR_CLONES void storeQuotients(const RunningSumState& state, const std::int64_t* totals, std::uint32_t n,
                                        std::int32_t* to) {
    const auto divisor = divisorOf<std::int32_t>(state);
    if (divisor == 1)
        for (std::uint32_t i = 0; i < n; ++i) to[i] = saturate<std::int32_t>(totals[i]);
    else if (divisor == 0 || !allDivideThroughDouble(totals, n))
        for (std::uint32_t i = 0; i < n; ++i)
            to[i] = saturate<std::int32_t>(divideOrFault(totals[i], std::int64_t{divisor}));
    else
        for (std::uint32_t i = 0; i < n; ++i) to[i] = heldIn32Bits(static_cast<double>(totals[i]) / divisor);
}

// A float result is held at the extreme finite values; a NaN passes. It is held before it is narrowed, so that the
// compiler, which may not narrow what is not stored, needs no branch.
float heldAtLimits(double x) {
    constexpr double limit = std::numeric_limits<float>::max();
    const double notBelow = x < -limit ? -limit : x;
    return static_cast<float>(notBelow > limit ? limit : notBelow);
}

// Sums that were never divided have the bits of their quotients by 1.
ZCMDS_VECTOR_CLONES void storeQuotients(const RunningSumState& state, const double* totals, std::uint32_t n,
                                        float* to) {
    const double divisor = divisorOf<float>(state);
    if (divisor == 1)
        for (std::uint32_t i = 0; i < n; ++i) to[i] = heldAtLimits(totals[i]);
    else
        for (std::uint32_t i = 0; i < n; ++i) to[i] = heldAtLimits(totals[i] / divisor);
}

ZCMDS_VECTOR_CLONES void storeQuotients(const RunningSumState& state, const double* totals, std::uint32_t n,
                                        double* to) {
    const auto divisor = divisorOf<double>(state);
    if (divisor == 1)
        std::copy_n(totals, n, to);
    else
        for (std::uint32_t i = 0; i < n; ++i) to[i] = totals[i] / divisor;
}

// Forever: takes a transfer, finds the totals of its outputs with `totalsOf`, and divides them. Outputs leave when their
// transfer has been used up.
template <class Element, class Result, class TotalsOf>
[[noreturn]] void sumTransfers(RunningSumState& state, TotalsOf totalsOf) {
    Total<Element> totals[transfer];
    for (;;) {
        const auto n = static_cast<std::uint32_t>(flushAndRefill(state.reader, state.writer));
        const std::uint32_t outputs = totalsOf(static_cast<const Element*>(state.reader.ptr), n, totals);
        state.reader.count = 0;
        storeQuotients(state, totals, outputs, static_cast<Result*>(state.writer.ptr));
        state.writer.pending = static_cast<std::int32_t>(outputs);
    }
}

template <class Element, class Result>
[[noreturn]] void sumStream(RunningSumState& state) {
    RunningTotal<Element> running{.left = state.decim};
    if (state.window != 0) {
        auto ring = makeRing<Element>(state.window);
        sumTransfers<Element, Result>(state, [&](const Element* from, std::uint32_t n, Total<Element>* totals) {
            totalsOfWindow(ring, running, from, n, totals);
            return state.decim == 1 ? n : decimate(state.decim, running, n, totals);
        });
    }
    const bool simple = state.decim == 1 && state.resetCount == 0;
    sumTransfers<Element, Result>(state, [&](const Element* from, std::uint32_t n, Total<Element>* totals) {
        return simple ? totalsOfAll(running, from, n, totals) : totalsSinceReset(state, running, from, n, totals);
    });
}

}  // namespace

void setDivisorFor(RunningSumState& state, ParamMask pipeType, std::int32_t value) {
    if (pipeType == pipeFloat)
        setDivisor(state, static_cast<float>(value));
    else if (pipeType == pipeDouble)
        setDivisor(state, static_cast<double>(value));
    else
        setDivisor(state, value);
}

bool checkIntegralTypes(ParamList list) {
    const bool widens = zepl::param_type(list, 1) == pipeInt16 && zepl::param_type(list, 2) == pipeInt32;
    if (!widens) checkSameElementType(list, {.source = 1, .destination = 2});
    return widens;
}

void openRunningSum(RunningSumState& state) {
    void* first;
    openReader(state.reader, state.src, transfer);
    openWriter(state.writer, state.dest, transfer, &first);
}

std::uint32_t sumByState(RunningSumState& state, ParamMask sourceType, bool widens) {
    if (widens) sumStream<std::int16_t, std::int32_t>(state);
    return forElementType(sourceType, [&]<class Element>() -> std::uint32_t { sumStream<Element, Element>(state); });
}

}  // namespace zcmds
