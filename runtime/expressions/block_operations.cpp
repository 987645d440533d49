#include "runtime/expressions/block_operations.h"

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "host/mathematics.h"
#include "runtime/base/mathematics.h"
#include "runtime/base/vector_clones.h"
#include "runtime/expressions/evaluate.h"

namespace libzepl {

namespace {

using UnaryArray = void (*)(const double*, double*, std::int32_t);
using BinaryArray = void (*)(const double*, const double*, double*, std::int32_t);

// The powers that are products do not come from the function.
void powers(const double* base, const double* exponent, double* result, std::int32_t n) {
    zepl::pow_array(base, exponent, result, n);
    for (std::int32_t i = 0; i < n; ++i) {
        const bool isProduct = exponent[i] == 2 || exponent[i] == 3 ||
                               (std::floor(exponent[i]) == exponent[i] && std::floor(base[i]) == base[i]);
        if (isProduct) result[i] = powerOf(base[i], exponent[i]);
    }
}

// The loops of one step over a block. They are inlined where they are used, so that each clone has its own.
struct BlockLoops {
    const BlockStep& step;
    std::int32_t n;

    template <class Function>
    [[gnu::always_inline]] void unary(Function function) const {
        const double* __restrict a = step.operands[0];
        double* __restrict result = step.result;
        for (std::int32_t i = 0; i < n; ++i) result[i] = function(a[i]);
    }

    template <class Function>
    [[gnu::always_inline]] void binary(Function function) const {
        const double* __restrict a = step.operands[0];
        const double* __restrict b = step.operands[1];
        double* __restrict result = step.result;
        if (step.strides[0] == 0) {
            const double first = *a;
            for (std::int32_t i = 0; i < n; ++i) result[i] = function(first, b[i]);
        } else if (step.strides[1] == 0) {
            const double second = *b;
            for (std::int32_t i = 0; i < n; ++i) result[i] = function(a[i], second);
        } else {
            for (std::int32_t i = 0; i < n; ++i) result[i] = function(a[i], b[i]);
        }
    }

    [[gnu::always_inline]] void copy() const {
        if (step.strides[0] == 1)
            std::memcpy(step.result, step.operands[0], static_cast<std::size_t>(n) * sizeof(double));
        else
            for (std::int32_t i = 0; i < n; ++i) step.result[i] = *step.operands[0];
    }

    [[gnu::always_inline]] void choose() const {
        const double* __restrict condition = step.operands[0];
        const double* __restrict a = step.operands[1];
        const double* __restrict b = step.operands[2];
        double* __restrict result = step.result;
        const bool isConstantA = step.strides[1] == 0, isConstantB = step.strides[2] == 0;
        if (step.strides[0] == 0)
            for (std::int32_t i = 0; i < n; ++i) result[i] = *condition != 0 ? at(1, i) : at(2, i);
        else if (isConstantA && isConstantB)
            pick(
                condition, result, [x = *a](std::int32_t) { return x; }, [x = *b](std::int32_t) { return x; });
        else if (isConstantA)
            pick(
                condition, result, [x = *a](std::int32_t) { return x; }, [b](std::int32_t i) { return b[i]; });
        else if (isConstantB)
            pick(
                condition, result, [a](std::int32_t i) { return a[i]; }, [x = *b](std::int32_t) { return x; });
        else
            pick(
                condition, result, [a](std::int32_t i) { return a[i]; }, [b](std::int32_t i) { return b[i]; });
    }

    template <class First, class Second>
    [[gnu::always_inline]] void pick(const double* __restrict condition, double* __restrict result, First first,
                                     Second second) const {
        for (std::int32_t i = 0; i < n; ++i) {
            const double a = first(i), b = second(i);
            result[i] = condition[i] != 0 ? a : b;
        }
    }

    // Calls `use` with what gives the operand of each sample.
    template <class Use>
    [[gnu::always_inline]] void withOperand(int operand, Use use) const {
        const double* values = step.operands[operand];
        if (step.strides[operand] == 0)
            use([value = *values](std::int32_t) { return value; });
        else
            use([values](std::int32_t i) { return values[i]; });
    }

    template <class Function>
    [[gnu::always_inline]] void ternary(Function function) const {
        double* __restrict result = step.result;
        // Each must be in line, or it would not be part of a clone.
        withOperand(
            0, [&](auto a) __attribute__((always_inline)) {
                withOperand(
                    1, [&](auto b) __attribute__((always_inline)) {
                        withOperand(
                            2, [&](auto c) __attribute__((always_inline)) {
                                for (std::int32_t i = 0; i < n; ++i) result[i] = function(a(i), b(i), c(i));
                            });
                    });
            });
    }

    // All but the first operand are single values.
    template <class Compare>
    [[gnu::always_inline]] void chooseBy(Compare compare) const {
        const double* __restrict x = step.operands[0];
        double* __restrict result = step.result;
        const double limit = *step.operands[1], a = *step.operands[2], b = *step.operands[3];
        for (std::int32_t i = 0; i < n; ++i) result[i] = compare(x[i], limit) ? a : b;
    }

    void array(UnaryArray function) const { function(step.operands[0], step.result, n); }

    void array(BinaryArray function) const {
        std::array<double, maxBlockSamples> first, second;
        function(spread(0, first.data()), spread(1, second.data()), step.result, n);
    }

    double at(int operand, std::int32_t i) const {
        return step.operands[operand][static_cast<std::size_t>(i) * step.strides[operand]];
    }

    // The operand as an array: a single value is repeated in `room`.
    const double* spread(int operand, double* room) const {
        if (step.strides[operand] == 1) return step.operands[operand];
        for (std::int32_t i = 0; i < n; ++i) room[i] = *step.operands[operand];
        return room;
    }
};

// One step of one sample.
struct SampleLoops {
    const BlockStep& step;
    std::size_t i;

    double at(int operand) const { return step.operands[operand][i * step.strides[operand]]; }
    double& result() const { return step.result[i * step.resultStride]; }

    template <class Function>
    [[gnu::always_inline]] void unary(Function function) const {
        result() = function(at(0));
    }
    template <class Function>
    [[gnu::always_inline]] void binary(Function function) const {
        result() = function(at(0), at(1));
    }
    void copy() const { result() = at(0); }
    void choose() const { result() = at(0) != 0 ? at(1) : at(2); }
    void array(UnaryArray function) const {
        const double a = at(0);
        function(&a, &result(), 1);
    }
    void array(BinaryArray function) const {
        const double a = at(0), b = at(1);
        function(&a, &b, &result(), 1);
    }
};

template <class Loops>
[[gnu::always_inline]] inline void compareBy(BlockCode code, const Loops& loops) {
    switch (code) {
        case BlockCode::less:
            return loops.binary([](double a, double b) { return a < b ? 1.0 : 0.0; });
        case BlockCode::lessEqual:
            return loops.binary([](double a, double b) { return a <= b ? 1.0 : 0.0; });
        case BlockCode::greater:
            return loops.binary([](double a, double b) { return a > b ? 1.0 : 0.0; });
        case BlockCode::greaterEqual:
            return loops.binary([](double a, double b) { return a >= b ? 1.0 : 0.0; });
        case BlockCode::equal:
            return loops.binary([](double a, double b) { return a == b ? 1.0 : 0.0; });
        default:
            return loops.binary([](double a, double b) { return a != b ? 1.0 : 0.0; });
    }
}

template <class Loops>
[[gnu::always_inline]] inline void callBy(BlockCode code, const Loops& loops) {
    switch (code) {
        case BlockCode::exp:
            return loops.array(zepl::exp_array);
        case BlockCode::log:
            return loops.array(naturalLogarithms);
        case BlockCode::log10:
            return loops.array(zepl::log10_array);
        case BlockCode::sin:
            return loops.array(zepl::sin_array);
        case BlockCode::cos:
            return loops.array(zepl::cos_array);
        case BlockCode::tan:
            return loops.array(tangents);
        case BlockCode::power:
            return loops.array(powers);
        default:
            return loops.array(zepl::atan2_array);
    }
}

template <class Loops>
[[gnu::always_inline]] inline void shapeBy(BlockCode code, const Loops& loops) {
    switch (code) {
        case BlockCode::negate:
            return loops.unary([](double x) { return -x; });
        case BlockCode::absolute:
            return loops.unary([](double x) { return std::fabs(x); });
        case BlockCode::root:
            return loops.unary([](double x) { return std::sqrt(x); });
        case BlockCode::floor:
            return loops.unary([](double x) { return std::floor(x); });
        case BlockCode::ceil:
            return loops.unary([](double x) { return std::ceil(x); });
        case BlockCode::round:
            return loops.unary([](double x) { return std::nearbyint(x); });
        case BlockCode::trunc:
            return loops.unary([](double x) { return std::trunc(x); });
        case BlockCode::square:
            return loops.unary([](double x) { return x * x; });
        default:
            return loops.unary([](double x) { return x * x * x; });
    }
}

template <class Loops>
[[gnu::always_inline]] inline void runBy(BlockCode code, const Loops& loops) {
    switch (code) {
        case BlockCode::copy:
            return loops.copy();
        case BlockCode::add:
            return loops.binary([](double a, double b) { return a + b; });
        case BlockCode::subtract:
            return loops.binary([](double a, double b) { return a - b; });
        case BlockCode::multiply:
            return loops.binary([](double a, double b) { return a * b; });
        case BlockCode::divide:
            return loops.binary([](double a, double b) { return a / b; });
        case BlockCode::remainder:
            return loops.binary([](double a, double b) { return std::fmod(a, b); });
        case BlockCode::minimum:
            return loops.binary([](double a, double b) { return b < a ? b : a; });
        case BlockCode::maximum:
            return loops.binary([](double a, double b) { return a < b ? b : a; });
        case BlockCode::choose:
            return loops.choose();
        default:
            break;
    }
    if (code >= BlockCode::less && code <= BlockCode::unequal) return compareBy(code, loops);
    if (code <= BlockCode::cube) return shapeBy(code, loops);
    callBy(code, loops);
}

[[gnu::always_inline]] inline void runTwoBy(BlockCode code, const BlockLoops& loops) {
    switch (code) {
        case BlockCode::multiplyAdd:
            return loops.ternary([](double a, double b, double c) { return a * b + c; });
        case BlockCode::multiplySubtract:
            return loops.ternary([](double a, double b, double c) { return a * b - c; });
        case BlockCode::addProduct:
            return loops.ternary([](double a, double b, double c) { return c + a * b; });
        case BlockCode::subtractProduct:
            return loops.ternary([](double a, double b, double c) { return c - a * b; });
        case BlockCode::chooseByLess:
            return loops.chooseBy([](double a, double b) { return a < b; });
        case BlockCode::chooseByLessEqual:
            return loops.chooseBy([](double a, double b) { return a <= b; });
        case BlockCode::chooseByGreater:
            return loops.chooseBy([](double a, double b) { return a > b; });
        case BlockCode::chooseByGreaterEqual:
            return loops.chooseBy([](double a, double b) { return a >= b; });
        case BlockCode::chooseByEqual:
            return loops.chooseBy([](double a, double b) { return a == b; });
        default:
            return loops.chooseBy([](double a, double b) { return a != b; });
    }
}

template <class Element>
[[gnu::always_inline]] inline void widen(const void* elements, double* __restrict to, std::int32_t n) {
    const auto* __restrict from = static_cast<const Element*>(elements);
    for (std::int32_t i = 0; i < n; ++i) to[i] = from[i];
}

// `from` has no NaN. Bounded first, the integers are within what adding and taking away 1.5 * 2^52 rounds, ties to even.
template <class Integer>
[[gnu::always_inline]] inline void storeRounded(const double* __restrict from, Integer* __restrict to, std::int32_t n) {
    constexpr double low = std::numeric_limits<Integer>::min(), high = std::numeric_limits<Integer>::max();
    constexpr double shift = 6755399441055744.0;
    for (std::int32_t i = 0; i < n; ++i) {
        const double above = from[i] < low ? low : from[i], within = above > high ? high : above;
        to[i] = static_cast<Integer>(static_cast<std::int32_t>((within + shift) - shift));
    }
}

// A finite number beyond the range gives the largest of its sign.
[[gnu::always_inline]] inline void storeFloats(const double* __restrict from, float* __restrict to, std::int32_t n) {
    constexpr double largest = std::numeric_limits<float>::max(), infinity = std::numeric_limits<double>::infinity();
    for (std::int32_t i = 0; i < n; ++i) {
        const double x = from[i], below = x > largest ? largest : x, within = below < -largest ? -largest : below;
        to[i] = static_cast<float>(std::fabs(x) == infinity ? x : within);
    }
}

LIBZEPL_VECTOR_CLONES bool hasNaN(const double* from, std::int32_t n) {
    std::uint64_t count = 0;
    for (std::int32_t i = 0; i < n; ++i) count += from[i] != from[i] ? 1 : 0;
    return count != 0;
}

LIBZEPL_VECTOR_CLONES void storeInt16(const double* from, std::int16_t* to, std::int32_t n) {
    storeRounded(from, to, n);
}
LIBZEPL_VECTOR_CLONES void storeInt32(const double* from, std::int32_t* to, std::int32_t n) {
    storeRounded(from, to, n);
}
LIBZEPL_VECTOR_CLONES void storeReals(const double* from, float* to, std::int32_t n) { storeFloats(from, to, n); }

using SumLoop = void (*)(const SumTerm*, double*, std::int32_t);

// The result before is kept in a register: memory would take longer to give it back than the sum takes.
template <std::size_t count, std::size_t previous>
void sumLoop(const SumTerm* terms, double* results, std::int32_t n) {
    std::array<SumTerm, count> local;
    std::copy(terms, terms + count, local.begin());
    double last = 0;
    if constexpr (previous < count) last = *local[previous].elements;
    for (std::int32_t i = 0; i < n; ++i) {
        double sum = 0;
        for (std::size_t k = 0; k < count; ++k) {
            const double product = local[k].factor * (k == previous ? last : local[k].elements[i]);
            sum = k == 0 ? product : sum + product;
        }
        results[i] = last = sum;
    }
}

template <std::size_t count, std::size_t... previous>
constexpr std::array<SumLoop, maxSumTerms + 1> sumLoopsOf(std::index_sequence<previous...>) {
    return {sumLoop<count, (previous < count ? previous : count)>...};
}

template <std::size_t... counts>
constexpr auto allSumLoops(std::index_sequence<counts...>) {
    return std::array{sumLoopsOf<counts + 2>(std::make_index_sequence<maxSumTerms + 1>())...};
}

constexpr auto sumLoops = allSumLoops(std::make_index_sequence<maxSumTerms - 1>());

}  // namespace

LIBZEPL_VECTOR_CLONES void runBlockSteps(const BlockStep* steps, std::size_t count, std::int32_t n) {
    for (std::size_t i = 0; i < count; ++i) {
        const BlockLoops loops{steps[i], n};
        if (steps[i].code >= BlockCode::multiplyAdd)
            runTwoBy(steps[i].code, loops);
        else
            runBy(steps[i].code, loops);
    }
}

void runSampleSteps(const BlockStep* steps, std::size_t count, std::int32_t n) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i)
        for (std::size_t k = 0; k < count; ++k) runBy(steps[k].code, SampleLoops{steps[k], i});
}

void runSums(const SumTerm* terms, std::size_t count, std::size_t previous, double* results, std::int32_t n) {
    sumLoops[count - 2][previous](terms, results, n);
}

LIBZEPL_VECTOR_CLONES void widenElements(ElementType type, const void* elements, double* to, std::int32_t n) {
    switch (type) {
        case ElementType::int16:
            return widen<std::int16_t>(elements, to, n);
        case ElementType::int32:
            return widen<std::int32_t>(elements, to, n);
        case ElementType::float32:
            return widen<float>(elements, to, n);
        default:
            std::memcpy(to, elements, static_cast<std::size_t>(n) * sizeof(double));
    }
}

std::int32_t storeElements(ElementType type, const double* from, void* elements, std::int32_t n) {
    if (isInteger(type) && hasNaN(from, n)) {
        n = 0;
        while (!std::isnan(from[n])) ++n;
    }
    switch (type) {
        case ElementType::int16:
            storeInt16(from, static_cast<std::int16_t*>(elements), n);
            break;
        case ElementType::int32:
            storeInt32(from, static_cast<std::int32_t*>(elements), n);
            break;
        case ElementType::float32:
            storeReals(from, static_cast<float*>(elements), n);
            break;
        default:
            std::memcpy(elements, from, static_cast<std::size_t>(n) * sizeof(double));
    }
    return n;
}

}  // namespace libzepl
