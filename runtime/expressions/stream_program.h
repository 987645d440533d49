// Stream expressions as programs: what is computed once a block, in whole blocks, and sample by sample.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/expressions/block_operations.h"
#include "runtime/expressions/expression.h"

namespace libzepl {

inline constexpr std::int64_t maxPast = 1000000;  // samples

// What the names of a stream expression stand for.
struct StreamNames {
    std::vector<std::string> streams;  // a sample of each is taken for each that is made; the defined pipe is the last
    std::vector<std::string> variables;  // read once a block
};

struct StreamOperand {
    enum class Kind : std::uint8_t {
        scalar,  // by its place among the program's
        block,   // a register of a value for each sample
        sample,  // a register of one value, of what is computed sample by sample
        stream,  // the sample of `past` before
        result,
    };
    Kind kind = Kind::scalar;
    std::uint32_t index = 0;
    std::uint32_t past = 0;
};

struct StreamStep {
    BlockCode code = BlockCode::copy;
    std::vector<StreamOperand> operands;
    StreamOperand result;
};

// One term of a sum that goes sample by sample.
struct StreamTerm {
    StreamOperand elements;               // of a block or a stream
    std::optional<std::uint32_t> factor;  // by its place among the scalars; 1 where there is none
    bool isNegated = false;
};

// Which samples of a stream the program takes.
struct StreamUse {
    std::uint32_t leastPast = ~std::uint32_t{0};  // as it is where none are taken
    std::uint32_t mostPast = 0;
};

struct StreamProgram {
    std::vector<double> scalars;
    std::vector<std::uint32_t> variables;  // where each is among the scalars
    // They run in this order; the last of all gives the result, where no sum does.
    std::vector<StreamStep> scalarSteps, blockSteps, sampleSteps;
    std::vector<StreamTerm> sum;                 // the result, by runSums()
    std::uint32_t blocks = 0;                    // registers
    std::uint32_t samples = 0;                   // registers
    std::vector<StreamUse> uses;                 // of each stream
    std::int32_t mostSamples = maxBlockSamples;  // at once
};

// The tree has names, numbers, operators, functions of numbers, and past samples whose index is a negative number; its depth
// is bounded by the parser.
StreamProgram compileStream(const Expression& tree, const StreamNames& names);

}  // namespace libzepl
