// The arithmetic of stream expressions: operations on blocks of doubles, the same sample by sample, and the conversion of
// elements. Each gives the double that evaluate() gives for these numbers, and division by zero what IEEE 754 says.
#pragma once

#include <cstddef>
#include <cstdint>

#include "runtime/element_type.h"

namespace libzepl {

enum class BlockCode : std::uint8_t {
    copy,
    negate,
    absolute,
    root,
    floor,
    ceil,
    round,
    trunc,
    square,
    cube,
    exp,
    log,
    log10,
    sin,
    cos,
    tan,
    add,
    subtract,
    multiply,
    divide,
    remainder,
    minimum,
    maximum,
    less,
    lessEqual,
    greater,
    greaterEqual,
    equal,
    unequal,
    power,
    atan2,
    choose,  // the second or the third, by the first
    // Two operations in one pass over a block, each rounded as by itself:
    multiplyAdd,       // first * second + third
    multiplySubtract,  // first * second - third
    addProduct,        // third + first * second
    subtractProduct,   // third - first * second
    chooseByLess,      // the third or the fourth, by first < second, and so on in the order of the comparisons
    chooseByLessEqual,
    chooseByGreater,
    chooseByGreaterEqual,
    chooseByEqual,
    chooseByUnequal,
};

// The most samples that are computed at once: what an expression holds of them fits the cache nearest to the processor.
inline constexpr std::int32_t maxBlockSamples = 1024;

// One operation. Operand k of sample i is at operands[k][i * strides[k]], a stride being 0 or 1; the result is written at
// result[i * resultStride].
struct BlockStep {
    BlockCode code = BlockCode::copy;
    const double* operands[4]{};
    std::size_t strides[4]{};
    double* result = nullptr;
    std::size_t resultStride = 1;
};

// Runs the steps one after the other on `n` samples, maxBlockSamples at most. Results overlap no operand, and advance by 1.
void runBlockSteps(const BlockStep* steps, std::size_t count, std::int32_t n);
// Runs all steps on each sample before the next one, so that a step can take results of earlier samples. There is none of two
// operations among them.
void runSampleSteps(const BlockStep* steps, std::size_t count, std::int32_t n);

// A sum of products, left to right: of sample i, factor * elements[i] of each term, added to what is before it.
struct SumTerm {
    double factor = 1;
    const double* elements = nullptr;
};
inline constexpr std::size_t maxSumTerms = 6;
// The sums of `n` samples one after the other, so that the terms can be earlier results: `previous` is the term whose elements
// begin one before the results, or `count` where none does. There are 2 to maxSumTerms.
void runSums(const SumTerm* terms, std::size_t count, std::size_t previous, double* results, std::int32_t n);

void widenElements(ElementType type, const void* elements, double* to, std::int32_t n);
// Stores as `convert rounded` does. Returns how many were stored: up to a NaN that the type does not hold.
std::int32_t storeElements(ElementType type, const double* from, void* elements, std::int32_t n);

}  // namespace libzepl
